// The locale handle: creation of the null locale, the flags and function
// pointers derived from the loaded data, character length through the
// LC_CTYPE tree, and release of categories and handles.
#include <cstdio>
#include <cstring>

#include <vls/vlscat.h>
#include <vls/vlscoll.h>
#include <vls/vlsctype.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsvlu.h>

#include "vlsint.h"

static_assert(offsetof(vl_locale_t, vl_errno) == 0, "the error number must be the first field");
static_assert(sizeof(vl_wchar) == 4);
static_assert(offsetof(multi_t, data_size) == 0 && offsetof(multi_t, max_length) == 4 &&
              offsetof(multi_t, min_length) == 8 && offsetof(multi_t, tree_flags) == 12 &&
              offsetof(multi_t, err) == 28 && offsetof(multi_t, root) == 32);
static_assert(offsetof(unc_multi_arr_t, next_count) == 0 && offsetof(unc_multi_arr_t, data_index) == 8 &&
              offsetof(unc_multi_arr_t, flags) == (sizeof(void *) == 8 ? 16 : 12));
static_assert(sizeof(vl_desc_t) == 8);
static_assert(offsetof(vl_nmm_block, grouping) == 4 * sizeof(void *));
static_assert(offsetof(vlconv, int_frac_digits) == 22 * sizeof(void *));

extern "C" {

VLS_API vl_locale_t vl_nomem_locale = [] {
  vl_locale_t h{};
  h.vl_errno = VL_ENOMEM;
  return h;
}();
VLS_API vl_locale_t vl_nofile_locale = [] {
  vl_locale_t h{};
  h.vl_errno = VL_ENOENT;
  return h;
}();

const char *const cat_names[VL_CATEGORY_ROWS] = {"VL_CTYPE", "VL_COLLATE", "VL_NUMERIC",
                                                         "VL_MONETARY", "VL_TIME", "VL_MESSAGES"};
const char *const category_params[8] = {"", "", "VL_CTYPE", "VL_COLLATE", "VL_NUMERIC",
                                                 "VL_MONETARY", "VL_TIME", "VL_MESSAGES"};
const char *const category_markers[8] = {"",
                                                 "",
                                                 "### LC_CTYPE\n",
                                                 "### LC_COLLATE\n",
                                                 "### LC_NUMERIC\n",
                                                 "### LC_MONETARY\n",
                                                 "### LC_TIME\n",
                                                 "### LC_MESSAGES\n"};

}  // extern "C"

namespace {

multi_t *empty_tree() {
  const uint16_t zero = 0;
  return _vl_create_multi(2, 0, &zero);
}

void free_derived_tables(vl_locale_t *h) {
  _vl_free_ptr(h->upper_table);
  _vl_free_ptr(h->lower_table);
  _vl_free_ptr(h->class_table);
  h->upper_table = h->lower_table = nullptr;
  h->class_table = nullptr;
}

void free_ctype(vl_locale_t *h) {
  ctype_category &c = h->ctype;
  _vl_free_multi(c.ctype_tree);
  _vl_free_multi(c.case_tree);
  if (c.class_names)
    for (int32_t i = 0; i < c.class_count; ++i) _vl_free_ptr(c.class_names[i].name);
  _vl_free_ptr(c.class_names);
  _vl_free_ptr(c.case_pairs);
  c.ctype_tree = c.case_tree = nullptr;
  c.class_names = nullptr;
  c.class_count = 0;
  c.case_pairs = nullptr;
  free_derived_tables(h);
}

void clear_rows(vl_locale_t *h, int category) {
  if (category >= VL_LC_CTYPE && category <= VL_LC_MESSAGES) {
    int r = vls::ctype_row(category);
    h->codeset_names[r][0] = '\0';
    h->locale_names[r][0] = '\0';
  }
  set_categories_vlu_null(h, category);
  if (category >= VL_LC_CTYPE && category <= VL_LC_MESSAGES) h->bridge_active[vls::ctype_row(category)] = 0;
}

// Class mask of byte i: row i of the root, or the default value.
uint16_t root_mask(const multi_t *t, unsigned i) {
  if (!t) return 0;
  const unsigned char *row = t->root && t->root->data ? t->root->data + (size_t{i} << t->data_shift) : t->default_data;
  if (!row) return 0;
  uint16_t m;
  memcpy(&m, row, sizeof m);
  return m;
}

// The common length walk of the two vl_full_mblen twins.
template <bool CountedTwin>
inline int full_mblen(vl_locale_t *h, const char *string, int32_t limit) {
  if (!string) return 0;
  if (h->bridge_active[0] == 1) {
    int16_t status = 0;
    int r = fn_vlu_mblen(h->bridge_locale[0], string, limit, &status);
    if (status > 0) vls::set_error(h, static_cast<uint32_t>(status));
    return r;
  }
  if (limit <= 0) {
    vls::set_error(h, VL_EINVAL);
    return -1;
  }
  const multi_t *t = h->ctype.ctype_tree;
  const unc_multi_arr_t *node = t->root;
  const auto *s = reinterpret_cast<const unsigned char *>(string);
  int32_t n = 0;
  unsigned b = s[n++];
  uint16_t sum = static_cast<uint16_t>(b);
  unsigned char flag = node->flags ? node->flags[b] : 0;
  while (flag == VL_MULTI_LEADS) {
    if (n >= limit) {
      vls::set_error(h, VL_EINVAL);
      return -1;
    }
    node = node->next[node->offsets[b]];
    b = s[n++];
    sum = static_cast<uint16_t>(sum + b);
    flag = node->flags ? node->flags[b] : 0;
  }
  if (flag != VL_MULTI_COMPLETE) {
    vls::set_error(h, VL_EILSEQ);
    return -1;
  }
  if (!CountedTwin && sum == 0) return 0;
  return n;
}

}  // namespace

extern "C" {

VLS_API int vl_create_null_locale_4(vl_locale_t **out) {
  auto *h = static_cast<vl_locale_t *>(_vl_alloc_ptr(sizeof(vl_locale_t)));
  if (!h) {
    *out = &vl_nomem_locale;
    return -1;
  }
  h->vl_errno = 0;
  *out = h;
  h->case_expansion = 1.0;
  h->coll_expansion = 1.0;
  h->upper_table = h->lower_table = nullptr;
  h->class_table = nullptr;
  h->single_byte = 0;
  h->codepoint_collation = 0;
  h->coll_sb_tables[0] = h->coll_sb_tables[1] = nullptr;
  h->bridge_collation = 0;
  h->coll_rows = nullptr;
  h->fgetwcs_scratch = nullptr;
  // The rows are filled before make_null reads them.
  memset(h->codeset_names, 0, sizeof h->codeset_names);
  memset(h->codeset_names_w, 0, sizeof h->codeset_names_w);
  memset(h->locale_names, 0, sizeof h->locale_names);
  memset(h->locale_names_w, 0, sizeof h->locale_names_w);
  init_vlconv_monetary(&h->vlconv);
  init_vlconv_numeric(&h->vlconv);
  for (int c = VL_LC_CTYPE; c <= VL_LC_MESSAGES; ++c) {
    h->bridge_locale[vls::ctype_row(c)] = nullptr;
    h->bridge_active[vls::ctype_row(c)] = 0;
    vl_make_null_category(h, c);
  }
  return 0;
}

VLS_API void vl_make_null_category(vl_locale_t *h, int category) {
  switch (category) {
    case VL_LC_CTYPE: {
      ctype_category &c = h->ctype;
      c.ctype_tree = empty_tree();
      c.class_count = 0;
      c.class_names = nullptr;
      c.case_tree = empty_tree();
      c.case_pairs = nullptr;
      if (!c.ctype_tree || !c.case_tree) vls::set_error(h, VL_ENOMEM);
      free_derived_tables(h);
      break;
    }
    case VL_LC_COLLATE:
      h->coll_rows = empty_tree();
      if (!h->coll_rows) vls::set_error(h, VL_ENOMEM);
      memset(&h->collate, 0, sizeof h->collate);
      h->coll_sb_tables[0] = h->coll_sb_tables[1] = nullptr;
      h->bridge_collation = 0;
      break;
    case VL_LC_NUMERIC:
      _vl_init_numeric(&h->nmm);
      free_vlconv_numeric(&h->vlconv);
      break;
    case VL_LC_MONETARY:
      _vl_init_monetary(&h->nmm);
      free_vlconv_monetary(&h->vlconv);
      break;
    case VL_LC_TIME:
      _vl_init_ltime(&h->time);
      break;
    case VL_LC_MESSAGES:
      _vl_init_messages(&h->nmm);
      break;
    default:
      break;
  }
  clear_rows(h, category);
}

VLS_API int set_flags(vl_locale_t *h) {
  h->single_byte = 0;
  h->codepoint_collation = 0;
  if (h->ctype.ctype_tree && _vl_multi_max_length(h->ctype.ctype_tree) == 1) h->single_byte = 1;
  if (h->collate.codeset_order != 0) h->codepoint_collation = 1;
  h->bridge_collation = h->bridge_active[vls::ctype_row(VL_LC_COLLATE)];
  return set_function_pointers(h) == 0 ? 0 : -1;
}

VLS_API int set_function_pointers(vl_locale_t *h) {
  if (h->single_byte) {
    vls::HostPtr<unsigned char> upper(vls::alloc_array<unsigned char>(256));
    vls::HostPtr<unsigned char> lower(vls::alloc_array<unsigned char>(256));
    vls::HostPtr<uint16_t> classes(vls::alloc_array<uint16_t>(256));
    if (!upper || !lower || !classes) {
      vls::set_error(h, VL_ENOMEM);
      return -1;
    }
    for (unsigned i = 0; i < 256; ++i)
      upper[i] = h->upper_table ? h->upper_table[i] : static_cast<unsigned char>(_vl_im_towupper(h, i));
    _vl_free_ptr(h->upper_table);
    h->upper_table = upper.release();
    for (unsigned i = 0; i < 256; ++i)
      lower[i] = h->lower_table ? h->lower_table[i] : static_cast<unsigned char>(_vl_im_towlower(h, i));
    _vl_free_ptr(h->lower_table);
    h->lower_table = lower.release();
    for (unsigned i = 0; i < 256; ++i) classes[i] = root_mask(h->ctype.ctype_tree, i);
    _vl_free_ptr(h->class_table);
    h->class_table = classes.release();
    h->mbstowcs_fn = _vl_is_mbstowcs;
    h->mbfstowcfs_fn = _kvx_vl_is_mbfstowcfs;
  } else {
    h->mbstowcs_fn = _vl_im_mbstowcs;
    h->mbfstowcfs_fn = _kvx_vl_im_mbfstowcfs;
  }
  set_collation_fp(h);
  return 0;
}

VLS_API void set_collation_fp(vl_locale_t *h) {
  const collate_category &c = h->collate;
  if (c.collation_kind == 2) {
    h->mbscoll_fn = _vl_thaismocoll;
    h->mbfscoll_fn = _kvx_vl_thaismoncoll;
    h->mbsxfrm_fn = _vl_thaismoxfrm;
    return;
  }
  if (c.collation_kind == 3) {
    h->mbscoll_fn = _vlu_mbscoll;
    h->mbfscoll_fn = _vlu_mbfscoll;
    h->mbsxfrm_fn = _vlu_mbsxfrm;
    return;
  }
  h->mbsxfrm_fn = vl_full_mbsxfrm;
  h->mbscoll_fn = _vl_im_mbscoll;
  h->mbfscoll_fn = _kvx_vl_im_mbfscoll;
  if (!h->single_byte) return;
  const bool e = c.num_coll_elems > 0;
  const bool x = c.num_expansions > 0;
  bool b = false;
  const int passes = c.num_passes < VL_MAX_PASSES ? c.num_passes : VL_MAX_PASSES;
  for (int i = 0; i < passes; ++i)
    if (c.pass_flags[i] == 2) b = true;
  const int s = int{e} + int{x} + int{b};
  if (x && s == 1) {
    h->mbscoll_fn = _vl_is_mbscoll_exp;
    h->mbfscoll_fn = _kvx_vl_is_mbfscoll_exp;
  } else if (e && s == 1) {
    h->mbscoll_fn = _vl_is_mbscoll_elem;
    h->mbfscoll_fn = _kvx_vl_is_mbfscoll_elem;
  } else if ((b && s == 1) || s == 0) {
    h->mbscoll_fn = _vl_is_mbscoll_back;
    h->mbfscoll_fn = _kvx_vl_is_mbfscoll_back;
  } else if (e && x && !b) {
    h->mbscoll_fn = _vl_is_mbscoll_exp_elem;
    h->mbfscoll_fn = _kvx_vl_is_mbfscoll_exp_elem;
  }
}

VLS_API int vl_full_mblen(vl_locale_t *h, const char *string, int32_t limit) {
  return full_mblen<false>(h, string, limit);
}

VLS_API int _kvx_vl_full_mblen(vl_locale_t *h, const char *string, int32_t limit) {
  return full_mblen<true>(h, string, limit);
}

VLS_API int vl_mb_loc_max(vl_locale_t *h) {
  if (h->bridge_active[0] == 1) return fn_vlu_mb_loc_max(h->bridge_locale[0]);
  return _vl_multi_max_length(h->ctype.ctype_tree);
}

VLS_API int vl_mb_loc_min(vl_locale_t *h) {
  if (h->bridge_active[0] == 1) return fn_vlu_mb_loc_min(h->bridge_locale[0]);
  return _vl_multi_min_length(h->ctype.ctype_tree);
}

// ---- release ------------------------------------------------------------------------

VLS_API void vl_free_category(vl_locale_t *h, int category) {
  switch (category) {
    case VL_LC_CTYPE:
      free_ctype(h);
      break;
    case VL_LC_COLLATE:
      free_collate(h);
      break;
    case VL_LC_NUMERIC:
      free_numeric(&h->nmm);
      free_vlconv_numeric(&h->vlconv);
      break;
    case VL_LC_MONETARY:
      free_monetary(&h->nmm);
      free_vlconv_monetary(&h->vlconv);
      break;
    case VL_LC_TIME:
      free_ltime(&h->time);
      break;
    case VL_LC_MESSAGES:
      free_messages(&h->nmm);
      break;
    default:
      break;
  }
  clear_rows(h, category);
}

VLS_API void vl_lc_unload(vl_locale_t *h) {
  if (!h || vls::is_static_handle(h)) return;
  vls::logf("freeing locale 0x%x", static_cast<unsigned>(reinterpret_cast<uintptr_t>(h)));
  for (int c = VL_LC_CTYPE; c <= VL_LC_MESSAGES; ++c) vl_free_category(h, c);
  free_derived_tables(h);
  _vl_free_ptr(h);
}

VLS_API void vl_free_nonshared_loc(vl_locale_t *h) {
  if (!h || vls::is_static_handle(h)) return;
  free_derived_tables(h);
  free_vlconv_monetary(&h->vlconv);
  free_vlconv_numeric(&h->vlconv);
  _vl_free_ptr(h);
}

}  // extern "C"
