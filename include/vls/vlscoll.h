/* Collation: comparisons and sort keys. */
#ifndef VLS_VLSCOLL_H
#define VLS_VLSCOLL_H

#include <stdint.h>
#include <vls/vls.h>

VLS_BEGIN_DECLS

VLS_API int vl_full_mbsxfrm(vl_locale_t *h, char *target, const char *source, int32_t size);
VLS_API int _vl_im_mbscoll(vl_locale_t *h, const char *s1, const char *s2);
VLS_API int _kvx_vl_im_mbfscoll(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2);
VLS_API int _vl_is_mbscoll_exp(vl_locale_t *h, const char *s1, const char *s2);
VLS_API int _kvx_vl_is_mbfscoll_exp(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2);
VLS_API int _vl_is_mbscoll_elem(vl_locale_t *h, const char *s1, const char *s2);
VLS_API int _kvx_vl_is_mbfscoll_elem(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2);
VLS_API int _vl_is_mbscoll_back(vl_locale_t *h, const char *s1, const char *s2);
VLS_API int _kvx_vl_is_mbfscoll_back(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2);
VLS_API int _vl_is_mbscoll_exp_elem(vl_locale_t *h, const char *s1, const char *s2);
VLS_API int _kvx_vl_is_mbfscoll_exp_elem(vl_locale_t *h, const char *s1, int32_t len1, const char *s2,
                                         int32_t len2);
VLS_API int _vl_thaismocoll(vl_locale_t *h, const char *s1, const char *s2);
VLS_API int _kvx_vl_thaismoncoll(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2);
VLS_API int _vl_thaismoxfrm(vl_locale_t *h, char *target, const char *source, int32_t size);

/* Release of a collation category. */
VLS_API void free_collate(vl_locale_t *h);

VLS_END_DECLS

#endif
