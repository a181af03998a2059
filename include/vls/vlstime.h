/* Time category: the era record, the LC_TIME reader and finishers, and the
 * string cache trees that the date parser searches. */
#ifndef VLS_VLSTIME_H
#define VLS_VLSTIME_H

#include <stdint.h>
#include <vls/vls.h>

VLS_BEGIN_DECLS

/* Calendar identifiers of time_category.calendar. */
enum {
  VL_CAL_GREGORIAN = 1,
  VL_CAL_HEBREW = 2,
  VL_CAL_ISLAMIC = 3,
  VL_CAL_ARABIC = 4
};

/* Reader error number of an unknown calendar name. */
#define VL_EBADCALENDAR 50

/* Slots of time_category.caches. */
enum {
  VL_CACHE_ABDAY = 0,
  VL_CACHE_DAY = 1,
  VL_CACHE_ABMON = 2,
  VL_CACHE_MON = 3,
  VL_CACHE_ERA_NAME2 = 4,
  VL_CACHE_ERA_NAME = 5,
  VL_CACHE_ALT_DIGITS = 6,
  VL_CACHE_AMPM = 7 /* AM has index 0, PM index 1 */
};

/* One era, parsed from
 *   direction:offset:start:end:name:name2:format
 * where start is year/month/day and end is a date, "+*" or "-*". */
struct era_record {
  int32_t direction;    /* +1 for "+", -1 for "-" */
  int32_t offset;       /* year number at the start of the era */
  int32_t start_day;
  int32_t start_month;
  int32_t start_year;
  int32_t end_day;      /* the end date is 0 when the era is open-ended */
  int32_t end_month;
  int32_t end_year;
  int32_t end_marker;   /* 0 a date, 1 "+*", -1 "-*" */
  char *era_name;
  char *era_name2;
  char *era_format;
  vl_wchar *w_era_format;
};

/* The calendar name of an identifier ("gregorian", ...), or null. */
VLS_API const char *vl_calendar_name(int32_t calendar);

VLS_API void _vl_init_ltime(time_category *time);
VLS_API int _vl_read_time(void *stream, time_category *time, int32_t *err);
VLS_API int init_time_info(vl_locale_t *handle);
VLS_API void free_ltime(vl_locale_t *handle, time_category *time);
VLS_API int32_t vl_get_era_count(vl_locale_t *handle);

/* Eras: 0, or -1 with vl_errno set (3 no memory, 49 malformed era). */
VLS_API int init_era_info(vl_locale_t *handle);
VLS_API int get_era_struct(vl_locale_t *handle, era_record *record, int32_t index);
VLS_API void era_cleanup(era_record **eras, int32_t count);
/* An optional "-" and ASCII digits; no digit gives 0. *end (if not null)
 * receives the first value not read. Values beyond 32 bits saturate. */
VLS_API int32_t wstrtoi(const vl_wchar *wide, const vl_wchar **end);
/* The wide text up to `stop` (or up to its end when `stop` is 0) in the
 * locale's multibyte form, ended by four zero bytes. *end (if not null)
 * receives the position of the stop value. Null on failure: 49 when the
 * text ends before `stop`, 3 with no memory, 1 for an unconvertible value. */
VLS_API char *alloc_mbs_copy(vl_locale_t *handle, const vl_wchar *wide, vl_wchar stop, const vl_wchar **end);

/* The finisher's steps: 0 or -1. */
VLS_API int create_era_info(vl_locale_t *handle);
VLS_API int create_alt_digits_info(vl_locale_t *handle);
VLS_API int create_wide_time_strings(vl_locale_t *handle);
VLS_API int cache_strings_for_lookup(vl_locale_t *handle);

/* ---- string cache trees ------------------------------------------------------
 * A cache maps wide strings to the index stored with each. Lengths are in
 * wide values; -1 means up to the first zero value. */
typedef struct vl_wc_cache vl_wc_cache;

/* An empty cache, or null with no memory. */
VLS_API vl_wc_cache *_vl_create_wc_cache(void);
/* Adds a NUL-terminated string with its index (0 or more); 0, or -1 with no
 * memory or a bad argument. A string that is already present keeps its
 * first index. */
VLS_API int _vl_cache_wc_string(vl_wc_cache *tree, const vl_wchar *wide, int32_t index);
/* The index of exactly this string, or -1. */
VLS_API int32_t _vl_lookup_wc_string(const vl_wc_cache *tree, const vl_wchar *wide, int32_t length);
/* The index of the longest cached string that starts `wide`, or -1;
 * *matched (if not null) receives its length in wide values (0 when
 * nothing matched). */
VLS_API int32_t _vl_lookup_wc_prefix(const vl_wc_cache *tree, const vl_wchar *wide, int32_t length,
                                     int32_t *matched);
/* Number of strings held. */
VLS_API int32_t _vl_wc_cache_count(const vl_wc_cache *tree);
/* Frees a cache and everything in it; null is ignored. */
VLS_API void _vl_free_wc_cache(vl_wc_cache *tree);

VLS_END_DECLS

#endif
