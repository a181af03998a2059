/* Multibyte and wide characters: conversion, measuring, terminators and
 * display widths. */
#ifndef VLS_VLSMBWC_H
#define VLS_VLSMBWC_H

#include <stdint.h>
#include <vls/vls.h>

VLS_BEGIN_DECLS

VLS_API int vl_full_mbtowc(vl_locale_t *h, vl_wchar *wide, const char *string, int32_t limit);
VLS_API int _kvx_vl_full_mbtowc(vl_locale_t *h, vl_wchar *wide, const char *string, int32_t limit);
VLS_API int vl_full_wctomb(vl_locale_t *h, char *target, vl_wchar wide);
VLS_API int _vl_sl_wctomb(vl_locale_t *h, char *target, vl_wchar wide);
VLS_API int vl_wclen(vl_locale_t *h, vl_wchar wide);
VLS_API int32_t vl_wcslen(const vl_wchar *wide);
VLS_API int32_t vl_wcsbytes(const vl_wchar *wide);
VLS_API int _vl_im_mbslen(vl_locale_t *h, const char *string);
VLS_API int _kvx_vl_im_mbfslen(vl_locale_t *h, const char *string, int32_t length);
VLS_API int vl_mbsbytes(vl_locale_t *h, const char *string);
VLS_API int vl_mbsbytes_nt(vl_locale_t *h, const char *string);
VLS_API int vl_ismbsterm(vl_locale_t *h, const char *position);
VLS_API int vl_mbsterm(vl_locale_t *h, char *position);

VLS_API int vl_wcwidth(vl_locale_t *h, vl_wchar wide);
VLS_API int vl_mbwidth(vl_locale_t *h, const char *string);
VLS_API int vl_wcswidth(vl_locale_t *h, const vl_wchar *wide, int32_t count);
VLS_API int vl_mbswidth(vl_locale_t *h, const char *string, int32_t count);
VLS_API int vl_wcspwidth(vl_locale_t *h, const vl_wchar *start, const vl_wchar *end);
VLS_API int vl_mbspwidth(vl_locale_t *h, const char *start, const char *end);

/* String conversions; the _vl_ form of each pair passes a length of -1. */
VLS_API int _vl_is_mbstowcs(vl_locale_t *h, vl_wchar *target, const char *source, int32_t capacity);
VLS_API int _kvx_vl_is_mbfstowcfs(vl_locale_t *h, vl_wchar *target, const char *source, int32_t length,
                                  int32_t capacity);
VLS_API int _vl_im_mbstowcs(vl_locale_t *h, vl_wchar *target, const char *source, int32_t capacity);
VLS_API int _kvx_vl_im_mbfstowcfs(vl_locale_t *h, vl_wchar *target, const char *source, int32_t length,
                                  int32_t capacity);
VLS_API int _vl_is_wcstombs(vl_locale_t *h, char *target, const vl_wchar *source, int32_t capacity);
VLS_API int is_wcstombs(vl_locale_t *h, char *target, const vl_wchar *source, int32_t capacity);
VLS_API int _kvx_vl_is_wcstombs(vl_locale_t *h, char *target, const vl_wchar *source, int32_t length,
                                int32_t capacity);
VLS_API int vl_full_wcstombs(vl_locale_t *h, char *target, const vl_wchar *source, int32_t capacity);
VLS_API int _kvx_vl_full_wcstombs(vl_locale_t *h, char *target, const vl_wchar *source, int32_t length,
                                  int32_t capacity);

VLS_END_DECLS

#endif
