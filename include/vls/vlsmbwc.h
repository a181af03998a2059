/* Multibyte and wide characters. */
#ifndef VLS_VLSMBWC_H
#define VLS_VLSMBWC_H

#include <vls/vls.h>

VLS_BEGIN_DECLS

VLS_API int _vl_is_mbstowcs(vl_locale_t *h, vl_wchar *target, const char *source, int32_t capacity);
VLS_API int _kvx_vl_is_mbfstowcfs(vl_locale_t *h, vl_wchar *target, const char *source, int32_t length,
                                  int32_t capacity);
VLS_API int _vl_im_mbstowcs(vl_locale_t *h, vl_wchar *target, const char *source, int32_t capacity);
VLS_API int _kvx_vl_im_mbfstowcfs(vl_locale_t *h, vl_wchar *target, const char *source, int32_t length,
                                  int32_t capacity);

VLS_END_DECLS

#endif
