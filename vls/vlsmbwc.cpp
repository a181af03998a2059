// Multibyte and wide characters. The string conversions arrive with the
// character services; until then they report VL_ENOTSUP.
#include <vls/vlsmbwc.h>

#include "vlsint.h"

extern "C" {

VLS_API int _vl_is_mbstowcs(vl_locale_t *h, vl_wchar *, const char *, int32_t) {
  vls::set_error(h, VL_ENOTSUP);
  return -1;
}
VLS_API int _kvx_vl_is_mbfstowcfs(vl_locale_t *h, vl_wchar *, const char *, int32_t, int32_t) {
  vls::set_error(h, VL_ENOTSUP);
  return -1;
}
VLS_API int _vl_im_mbstowcs(vl_locale_t *h, vl_wchar *, const char *, int32_t) {
  vls::set_error(h, VL_ENOTSUP);
  return -1;
}
VLS_API int _kvx_vl_im_mbfstowcfs(vl_locale_t *h, vl_wchar *, const char *, int32_t, int32_t) {
  vls::set_error(h, VL_ENOTSUP);
  return -1;
}

}  // extern "C"
