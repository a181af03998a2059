/* Money: a double as locale money text, and money text back to a double.
 *
 * Format directive: %[flags][width][#left][.right](i|n)
 *   flags  =f fill character f (default blank)   ^ no grouping
 *          +  positive_sign for values >= 0; a sign position 0 becomes 1
 *             (for the rest of the call)
 *          (  negative values in parentheses (for the rest of the call)
 *          !  no currency symbol                  - left-justify
 *   i uses int_curr_symbol and int_frac_digits, n currency_symbol and
 *   frac_digits (a right precision of -1 becomes 2). Each directive takes
 *   a double. The layout comes from the position mask of the locale's
 *   cs_precedes, sign_posn and sep_by_space; digits are grouped with the
 *   numeric thousands_sep by mon_grouping.
 * Parse: the format's directives are read like number directives, then i
 *   or n; each stores a double through a pointer argument. The input is
 *   matched against the positive and the negative layout; the currency
 *   symbol is optional in it.
 *
 * Results: characters (bytes) written without the terminator, or -1 with
 * vl_errno 14 (no room), 20 (conversion not i or n), 3 (no memory); the
 * parsers give the first character not consumed, or null with 22 (literal
 * mismatch, format ends, bad conversion) or 9 (no layout matches). */
#ifndef VLS_VLSMON_H
#define VLS_VLSMON_H

#include <stdarg.h>
#include <stdint.h>
#include <vls/vls.h>

VLS_BEGIN_DECLS

/* Position mask codes. */
enum {
  VL_MON_END = 0,
  VL_MON_OPEN = 1,   /* ( */
  VL_MON_SYMBOL = 2, /* currency symbol */
  VL_MON_NUMBER = 3,
  VL_MON_SIGN = 4,
  VL_MON_BLANK = 5,
  VL_MON_CLOSE = 6   /* ) */
};

/* Fills mask[0..6] for the three layout fields: 0, or -1 with an empty
 * mask for a combination the table does not have. */
VLS_API int mon_mask(int32_t *mask, int32_t cs_precedes, int32_t sign_posn, int32_t sep_by_space);

VLS_API int vl_wcsfmon1(vl_locale_t *handle, vl_wchar *out, int32_t size, const vl_wchar *format, va_list args);
VLS_API int vl_wcsfmon(vl_locale_t *handle, vl_wchar *out, int32_t size, const vl_wchar *format, ...);
VLS_API int vl_mbsfmon(vl_locale_t *handle, char *out, int32_t size, const char *format, ...);

VLS_API const vl_wchar *vl_wcspmon1(vl_locale_t *handle, const vl_wchar *input, const vl_wchar *format,
                                    va_list args);
VLS_API const vl_wchar *vl_wcspmon(vl_locale_t *handle, const vl_wchar *input, const vl_wchar *format, ...);
VLS_API const char *vl_mbspmon(vl_locale_t *handle, const char *input, const char *format, ...);

/* One layout against the input: 1 with *end and *value when a value was
 * found, else 0. */
VLS_API int mon_maskmatch(vl_locale_t *handle, const int32_t *mask, uint32_t flags, const vl_wchar *sign,
                          const char *symbol, const vl_wchar *input, const vl_wchar **end, double *value);
/* Wide characters of `wide` that match the whole multibyte text; 0 for an
 * empty or invalid text, -1 on a mismatch. */
VLS_API int _vl_compare_wc_to_mb(vl_locale_t *handle, const vl_wchar *wide, const char *mb);
/* A number in the locale's signs and decimal point (monetary or numeric),
 * group separators accepted with `group`; 0.0 with *end at the text when
 * there are no digits. */
VLS_API double vl_wcstod_num_mon(vl_locale_t *handle, const vl_wchar *text, const vl_wchar **end, int32_t group,
                                 int32_t monetary);

VLS_END_DECLS

#endif
