/* Character classes and case. */
#ifndef VLS_VLSCTYPE_H
#define VLS_VLSCTYPE_H

#include <stdint.h>
#include <vls/vls.h>

VLS_BEGIN_DECLS

/* Masks of the built-in classes; bits from 2048 up are locale-defined. */
enum {
  VL_CT_UPPER = 1,
  VL_CT_LOWER = 2,
  VL_CT_ALPHA = 4,
  VL_CT_DIGIT = 8,
  VL_CT_ALNUM = 12,
  VL_CT_SPACE = 16,
  VL_CT_CNTRL = 32,
  VL_CT_PUNCT = 64,
  VL_CT_GRAPH = 128,
  VL_CT_PRINT = 256,
  VL_CT_XDIGIT = 512,
  VL_CT_BLANK = 1024,
  VL_CT_LOCAL = 2048
};

VLS_API int read_ctype(void *stream, vl_locale_t *handle);
VLS_API int ub2_reader(void *stream, void *target);
VLS_API int _vl_read_vl_wchar(void *stream, void *target);

VLS_API uint32_t vl_ctype(vl_locale_t *handle, const char *class_name);
VLS_API uint32_t _vl_im_iswctype(vl_locale_t *handle, vl_wchar wide, uint32_t mask);
VLS_API uint32_t im_iswctype(vl_locale_t *handle, vl_wchar wide, uint32_t mask);
VLS_API uint32_t _vl_im_ismctype(vl_locale_t *handle, const char *string, uint32_t mask);
VLS_API uint32_t im_ismctype(vl_locale_t *handle, const char *string, uint32_t mask);
VLS_API uint32_t _kvx_vl_im_ismctype(vl_locale_t *handle, const char *string, int32_t limit, uint32_t mask);
VLS_API vl_wchar _vl_im_towupper(vl_locale_t *handle, vl_wchar wide);
VLS_API vl_wchar _vl_im_towlower(vl_locale_t *handle, vl_wchar wide);
VLS_API vl_wchar im_towlower(vl_locale_t *handle, vl_wchar wide);
/* Packed results: bytes consumed in the high byte, bytes written in the low. */
VLS_API uint16_t _vl_im_tomupper(vl_locale_t *handle, char *target, const char *source);
VLS_API uint16_t _vl_im_tomlower(vl_locale_t *handle, char *target, const char *source);
VLS_API uint16_t im_tomlower(vl_locale_t *handle, char *target, const char *source);
VLS_API uint16_t _kvx_vl_im_tomupper(vl_locale_t *handle, char *target, const char *source, int32_t limit);
VLS_API uint16_t _kvx_vl_im_tomlower(vl_locale_t *handle, char *target, const char *source, int32_t limit);
VLS_API int vl_tombsupper(vl_locale_t *handle, char *target, const char *source);
VLS_API int vl_tombslower(vl_locale_t *handle, char *target, const char *source);
VLS_API int vl_towcsupper(vl_locale_t *handle, vl_wchar *target, const vl_wchar *source);
VLS_API int vl_towcslower(vl_locale_t *handle, vl_wchar *target, const vl_wchar *source);
VLS_API int32_t vl_case_conv_outbuflen(vl_locale_t *handle, int32_t length);

VLS_END_DECLS

#endif
