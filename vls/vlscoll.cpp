// Collation. The weighted engine and the single-byte paths are not built
// yet: until then every comparison and transform reports VL_ENOTSUP.
#include <vls/vlscat.h>
#include <vls/vlscoll.h>

#include "vlsint.h"

namespace {
int coll_unsupported(vl_locale_t *h) {
  vls::set_error(h, VL_ENOTSUP);
  return 0;
}
}  // namespace

extern "C" {

#define VLS_COLL_STUB(name)                                                     \
  VLS_API int name(vl_locale_t *h, const char *, const char *) { return coll_unsupported(h); }
#define VLS_FCOLL_STUB(name)                                                                         \
  VLS_API int name(vl_locale_t *h, const char *, int32_t, const char *, int32_t) {                   \
    return coll_unsupported(h);                                                                      \
  }

VLS_COLL_STUB(_vl_im_mbscoll)
VLS_FCOLL_STUB(_kvx_vl_im_mbfscoll)
VLS_COLL_STUB(_vl_is_mbscoll_exp)
VLS_FCOLL_STUB(_kvx_vl_is_mbfscoll_exp)
VLS_COLL_STUB(_vl_is_mbscoll_elem)
VLS_FCOLL_STUB(_kvx_vl_is_mbfscoll_elem)
VLS_COLL_STUB(_vl_is_mbscoll_back)
VLS_FCOLL_STUB(_kvx_vl_is_mbfscoll_back)
VLS_COLL_STUB(_vl_is_mbscoll_exp_elem)
VLS_FCOLL_STUB(_kvx_vl_is_mbfscoll_exp_elem)
VLS_COLL_STUB(_vl_thaismocoll)
VLS_FCOLL_STUB(_kvx_vl_thaismoncoll)

VLS_API int vl_full_mbsxfrm(vl_locale_t *h, char *, const char *, int32_t) {
  vls::set_error(h, VL_ENOTSUP);
  return -1;
}
VLS_API int _vl_thaismoxfrm(vl_locale_t *h, char *, const char *, int32_t) {
  vls::set_error(h, VL_ENOTSUP);
  return -1;
}

// Releases what a collation reader allocated and leaves the record empty.
VLS_API void free_collate(vl_locale_t *h) {
  _vl_free_multi(h->coll_rows);
  h->coll_rows = nullptr;
  h->coll_sb_tables[0] = h->coll_sb_tables[1] = nullptr;
}

}  // extern "C"

extern "C" {

// The collation section is read by its own reader when collation arrives;
// until then it consumes nothing and the category collates nothing.
VLS_API int read_collate(void *, vl_locale_t *) { return 0; }

}  // extern "C"
