/* Time formatting: a broken-down time as text by a format of directives,
 * in the terms of a handle's time category.
 *
 * The wide engine vl_wcsftime1 holds the logic; the multibyte entries
 * convert around it. The engine also measures, without writing, the
 * longest text a format can yield.
 *
 * Directive: %[flags][width][.precision]conversion, the modifiers read by
 * the number formatter's scanner (width and precision are reset at every
 * directive). Numbers are written by the number formatter's integer
 * writer: without a precision they stand at the left of their width, with
 * one at the right; a fill of "0" (the 0 flag) pads in front. The "-" flag
 * places names and fractions at the left of their width.
 *
 *   %%  percent sign           %n %t  line feed, tab
 *   %A %a  day names           %B %b %h  month names (by month_name_index)
 *   %C %g  century             %D  month/day/year of the century (each 2)
 *   %d  day (2)                %e  day, a blank first below 10
 *   %F  fraction, six digits; a digit 0-5 behind it is the precision
 *       (%F7 is the fraction and then a 7)
 *   %H %I  hour, 12-hour (2)   %j  day of the year from 1 (3)
 *   %M %S  minute, second (2)  %m  month from 1 (2)
 *   %p  AM or PM text          %R %T  h:m and h:m:s, no padding
 *   %u  weekday, Sunday 7 (2)  %w  weekday, Sunday 0 (2)
 *   %Y  year (4)               %y  year of the century (2)
 *   %c %x %X %r  d_t_fmt, d_fmt, t_fmt, t_fmt_ampm
 *   %iY %iy  year (4), year of the century (2)
 *   %iF  a point and the fraction (2); a digit 0-5 behind it is the
 *        precision, 6-9 are refused
 *   %Ec %Ex %EX  the era formats     %EC %Eg  era name, second era name
 *   %Ey  year of the era             %EY  the era's own format
 *   %OC %OD %OH %OI %OM %OR %OS %OT %Od %Oe %Oj %Om %Ou %Ow %Oy
 *       the number in alternative digits (%Oy: the year of the era when
 *       the locale has eras)
 * (default precisions in brackets). In a locale without eras %E is
 * ignored, without alternative digits %O. Not directives: %U %W %V %G %Z
 * %s %z %k %l %P and anything else (22).
 *
 * Results: wide characters (bytes) written without the terminator, or 0
 * with the reason in vl_errno: 9 no current era, 14 no room (the
 * terminator needs a place), 22 bad directive, 23 fraction, 24 second,
 * 25 minute, 26 hour, 27 day, 28 weekday, 29 day of the year, 30 month,
 * 31 year out of range, 41 the year could not be written, 45 bad
 * precision. An empty result is also 0: clear vl_errno before the call to
 * tell them apart. A failed call leaves what it wrote, unterminated. */
#ifndef VLS_VLSTMFMT_H
#define VLS_VLSTMFMT_H

#include <stdint.h>
#include <vls/vls.h>
#include <vls/vlstime.h>

VLS_BEGIN_DECLS

/* A broken-down time. The last three words are carried through unread. */
typedef struct vl_tm {
  int32_t fraction; /* microseconds, 0 to 999999 */
  int32_t sec;
  int32_t min;
  int32_t hour;
  int32_t mday;
  int32_t mon;      /* from 0 */
  int32_t year;     /* from 1900 */
  int32_t wday;     /* 0 is Sunday */
  int32_t yday;     /* from 0 */
  int32_t spare[3];
} vl_tm;

/* The formatter's record: a vl_tm with the index of the month's name in
 * the locale's calendar put in after `mon`. Number directives read `mon`,
 * name directives range-test `mon` and name `month_name_index`. */
typedef struct vl_alt_tm {
  int32_t fraction;
  int32_t sec;
  int32_t min;
  int32_t hour;
  int32_t mday;
  int32_t mon;
  int32_t month_name_index;
  int32_t year;
  int32_t wday;
  int32_t yday;
  int32_t spare[3];
} vl_alt_tm;

VLS_API void tm_to_alt_tm(const vl_tm *tm, int32_t month_name_index, vl_alt_tm *alt);
VLS_API void alt_tm_to_tm(const vl_alt_tm *alt, vl_tm *tm);

/* `date_flag` of the engine: 1 a date, 0 an interval (%d then takes any
 * day up to 99). */
enum { VL_TIME_INTERVAL = 0, VL_TIME_DATE = 1 };

/* The engine. `size` counts wide characters, the terminator included.
 * With max_chars or max_bytes set it writes nothing and adds to them the
 * longest text the format can give, in characters and in bytes (out and
 * alt may then be null); the result is then 0 and vl_errno tells a
 * failure. */
VLS_API int vl_wcsftime1(vl_locale_t *handle, vl_wchar *out, int32_t size, const vl_wchar *format,
                         const vl_alt_tm *alt, int32_t *max_chars, int32_t *max_bytes, int32_t date_flag);
/* A plain broken-down time (month_name_index = mon), as a date; the
 * record is rewritten from the copy the call made. */
VLS_API int vl_wcsftime(vl_locale_t *handle, vl_wchar *out, int32_t size, const vl_wchar *format, vl_tm *tm);

/* Multibyte forms: `size` bytes, the terminator included; the result is
 * in bytes. A format that cannot be widened gives -1. */
VLS_API int vl_mbsftime1(vl_locale_t *handle, char *out, int32_t size, const char *format, const vl_alt_tm *alt,
                         int32_t *max_chars, int32_t *max_bytes, int32_t date_flag);
VLS_API int vl_mbsftime(vl_locale_t *handle, char *out, int32_t size, const char *format, vl_tm *tm);
VLS_API int vl_mbsfinterval(vl_locale_t *handle, char *out, int32_t size, const char *format, vl_tm *tm);

/* The first era whose dates hold the record's date, or -1. */
VLS_API int32_t current_era(era_record *const *eras, int32_t count, const vl_alt_tm *alt);
/* The year of the era for the record's date. */
VLS_API int32_t era_offset(const era_record *era, const vl_alt_tm *alt);
/* Digits of 31 in `radix` less those of `value`, at least 0: the blanks
 * in front of a day in alternative digits. */
VLS_API int32_t padding(int32_t value, int32_t radix);

/* A nested format (the locale's d_fmt, ...) written at *cursor where
 * *count of `size` characters are used, as a date; *cursor and *count
 * advance. A null or empty format does nothing. 0, or non-zero on failure
 * (a nested format with empty output fails). With a measure set it adds
 * to the measures and gives 0. */
VLS_API int put_new_fmt(vl_locale_t *handle, const vl_wchar *format, const vl_alt_tm *alt, int32_t *count,
                        int32_t size, vl_wchar **cursor, int32_t *max_chars, int32_t *max_bytes);

/* The record in the locale's calendar (from a Gregorian date); `local` is
 * written whole. 0, or -1 with vl_errno set. */
VLS_API int vl_cal_gregorian_to_local(vl_locale_t *handle, const vl_alt_tm *gregorian, vl_alt_tm *local);

VLS_END_DECLS

#endif
