/* Number formatting: a locale-aware print routine for numbers, characters
 * and strings, and the directive scanner and integer writer that the money
 * and time formatters share.
 *
 * Numbers come out in the locale's decimal point, group separator and
 * number signs (num_positive_sign, num_negative_sign); widths and fills
 * are counted in display columns. The wide engine vl_wcsfnum1 holds the
 * logic, the multibyte entries convert around it. A name ending in 1 takes
 * a gathered argument list.
 *
 * Directive: %[flags][width][.precision][length]conversion
 *   flags      ' (group)  - (left)  + (plus)  blank (space)  # (alternate),
 *              ended by 0 (zero) or any other character; a 0 right after
 *              - is skipped without setting the zero flag
 *   width      * or digits of the locale's digit class
 *   precision  . then * or digits; . before a letter is precision 0
 *   length     l L ll Ll h H hh Hh
 *   conversion d i b (signed), u o x X q p (unsigned: bases 10 8 16 16 4
 *              16), e E f g G (a double whatever the length), c, s
 * Flags, and the negative state of a signed argument, stay set for the
 * rest of the call. "ll" takes a 64-bit argument, of which only the sign
 * counts, and then prints the 32-bit argument after it. Position prefixes
 * ("%1$d") are not for these formatters.
 *
 * Results: characters (bytes) written without the terminator, or -1 with
 * the reason in vl_errno: 1 bad character, 3 no memory, 9 base above 36,
 * 14 no room (also a float width of 100 or more), 15 format ends inside a
 * directive, 22 unknown conversion, 45 bad precision. A failure leaves
 * what was written, unterminated. Infinity and NaN print as "Inf", "-Inf"
 * and "NaN" without being counted in the result. A float is printed by the
 * C library into 112 bytes: a longer text ("%f" of a huge value, a
 * precision of 112 or more but in %g without '#') fails with 14, as does
 * any output that would run past the end of the caller's buffer. */
#ifndef VLS_VLSFMT_H
#define VLS_VLSFMT_H

#include <stdarg.h>
#include <stdint.h>
#include <vls/vls.h>

VLS_BEGIN_DECLS

/* Flag bits of a directive. */
enum {
  VL_FMT_GROUP = 1,
  VL_FMT_LEFT = 2,
  VL_FMT_PLUS = 4,
  VL_FMT_SPACE = 8,
  VL_FMT_ZERO = 16,
  VL_FMT_UPPER = 128,
  VL_FMT_ALT = 256,
  VL_FMT_ARGS = 512,    /* set by the caller: '*' takes an int argument */
  VL_FMT_SUPPRESS = 1024 /* '*' seen without VL_FMT_ARGS */
};

/* Justification marker of a directive. */
enum {
  VL_FMT_JUSTIFY_LEFT = -1,
  VL_FMT_JUSTIFY_ZERO = 0,
  VL_FMT_JUSTIFY_RIGHT = 1
};

/* The state of a formatting call. `flags` and `negative` last for the whole
 * call; the scanner resets the other fields at each directive. */
typedef struct vl_fmt_state {
  uint32_t flags;
  int32_t negative;
  int32_t width;       /* 0 when absent */
  int32_t precision;   /* -1 when absent */
  vl_wchar pad;        /* ' ', or '0' with the zero flag */
  int32_t justify;     /* VL_FMT_JUSTIFY_* */
  int32_t long_level;  /* 1 for l or L, 2 for ll or Ll */
  int32_t short_level; /* 1 for h or H, 2 for hh or Hh */
  int32_t base;        /* set by the integer conversions */
} vl_fmt_state;

/* Clears a state for a new call. */
VLS_API void _vl_init_format_state(vl_fmt_state *state);

/* Reads the modifiers of one directive: *format points behind the '%' and
 * is left on the conversion character (which may be the terminator). A
 * position "digits$" is stored through `position` when that is not null.
 * `args` feeds '*' when state->flags has VL_FMT_ARGS; it may be null
 * otherwise. 0, or -1 with vl_errno 45 for a '.' before neither digits,
 * '*' nor a letter. */
VLS_API int _vl_scan_format_modifiers(vl_locale_t *handle, const vl_wchar **format, vl_fmt_state *state,
                                      int32_t *position, va_list *args);

/* The integer writer: `magnitude` in `base` (2 to 36) with the sign of
 * `negative`, at *out, where *count (starting at 1 for an empty buffer)
 * counts against `size` as the engine's count does. Flags are the
 * VL_FMT_* bits. Advances *out and *count; 0, or -1 with 9 or 14. */
VLS_API int _vl_format_decimalull(vl_locale_t *handle, uint64_t magnitude, int32_t negative, int32_t base,
                                  int32_t *count, int32_t size, vl_wchar **out, int32_t width, int32_t precision,
                                  uint32_t flags);
VLS_API int _vl_format_decimal(vl_locale_t *handle, uint32_t magnitude, int32_t negative, int32_t base,
                               int32_t *count, int32_t size, vl_wchar **out, int32_t width, int32_t precision,
                               uint32_t flags);

/* Group planning over the locale's `grouping` for n digits: the number of
 * separators, and for the writer the group index, the repeat count and
 * the digits before the next separator. */
enum {
  VL_GROUP_BACKWARD = 0, /* digits written right to left */
  VL_GROUP_FORWARD = 1   /* digits written left to right */
};
VLS_API void init_grouping(vl_locale_t *handle, int32_t *index, int32_t *separators, int32_t *repeat,
                           int32_t *before_next, int32_t n, int32_t mode);

/* 2 for +infinity, 1 for -infinity, else 0; 2 for a NaN, else 0. */
VLS_API int CheckForInfinity(double value);
VLS_API int CheckForNaN(double value);

/* The engine: `size` wide characters of room, the terminator included. */
VLS_API int vl_wcsfnum1(vl_locale_t *handle, vl_wchar *out, int32_t size, const vl_wchar *format, va_list args);
VLS_API int vl_wcsfnum(vl_locale_t *handle, vl_wchar *out, int32_t size, const vl_wchar *format, ...);
VLS_API int vl_wcsprintf(vl_locale_t *handle, vl_wchar *out, int32_t size, const vl_wchar *format, ...);

/* Multibyte forms: `size` bytes of room, the terminator included. */
VLS_API int vl_mbsprintf1(vl_locale_t *handle, char *out, int32_t size, const char *format, va_list args);
VLS_API int vl_mbsfnum(vl_locale_t *handle, char *out, int32_t size, const char *format, ...);
VLS_API int vl_mbsprintf(vl_locale_t *handle, char *out, int32_t size, const char *format, ...);

/* A wide string into `size` bytes, ended by the locale's terminator: the
 * bytes written without it, or -1 with 1 (no such character) or 14 (part
 * of the text stands, unterminated). */
VLS_API int _vl_get_mbstring(vl_locale_t *handle, char *out, const vl_wchar *wide, int32_t size);

VLS_END_DECLS

#endif
