// The locale handle: the null locale, character length through the LC_CTYPE
// tree, the derived flags, tables and function pointers, static handles.
#include <gtest/gtest.h>

#include <cstring>

#include <vls/vlscat.h>
#include <vls/vlscoll.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsvlu.h>

#include "vlstest.h"

using vlstest::desc;

namespace {

struct Handle {
  vl_locale_t *h = nullptr;
  Handle() { EXPECT_EQ(vl_create_null_locale_4(&h), 0); }
  ~Handle() { vl_lc_unload(h); }
  vl_locale_t *operator->() const { return h; }
  operator vl_locale_t *() const { return h; }
};

enum : uint16_t { kUpper = 1, kLower = 2, kDigit = 4 };

// Replaces the handle's LC_CTYPE trees.
void install_ctype(vl_locale_t *h, multi_t *ctype, multi_t *cases, vl_case_pair *pairs, int32_t npairs = 0) {
  _vl_free_multi(h->ctype.ctype_tree);
  _vl_free_multi(h->ctype.case_tree);
  h->ctype.ctype_tree = ctype;
  h->ctype.case_tree = cases;
  h->ctype.case_pairs = pairs;
  h->case_pair_count = npairs;
}

// A Latin-1-like single-byte LC_CTYPE with ASCII case pairs.
void latin1(vl_locale_t *h) {
  const uint16_t zero = 0;
  multi_t *t = _vl_create_multi(2, 0, &zero);
  multi_t *c = _vl_create_multi(2, 0, &zero);
  auto *pairs = static_cast<vl_case_pair *>(_vl_alloc_ptr(27 * sizeof(vl_case_pair)));
  memset(pairs, 0, 27 * sizeof(vl_case_pair));
  for (unsigned b = 0; b < 256; ++b) {
    uint16_t m = (b >= 'A' && b <= 'Z') ? kUpper : (b >= 'a' && b <= 'z') ? kLower : (b >= '0' && b <= '9') ? kDigit : 0;
    vl_desc_t d = desc({b});
    _vl_insert_desc_multi(&d, &m, t);
  }
  for (uint16_t i = 1; i <= 26; ++i) {
    pairs[i] = {static_cast<vl_wchar>('A' + i - 1), static_cast<vl_wchar>('a' + i - 1)};
    vl_desc_t u = desc({static_cast<unsigned>('A' + i - 1)}), l = desc({static_cast<unsigned>('a' + i - 1)});
    _vl_insert_desc_multi(&u, &i, c);
    _vl_insert_desc_multi(&l, &i, c);
  }
  install_ctype(h, t, c, pairs, 26);
}

// An EUC-like multibyte LC_CTYPE: ASCII and 0xA1..0xFE pairs.
void euc(vl_locale_t *h) {
  const uint16_t zero = 0;
  multi_t *t = _vl_create_multi(2, 0, &zero);
  for (unsigned b = 0; b < 0x80; ++b) {
    vl_desc_t d = desc({b});
    _vl_insert_desc_multi(&d, &zero, t);
  }
  for (unsigned a = 0xA1; a <= 0xFE; ++a)
    for (unsigned b = 0xA1; b <= 0xFE; ++b) {
      vl_desc_t d = desc({a, b});
      _vl_insert_desc_multi(&d, &zero, t);
    }
  install_ctype(h, t, _vl_create_multi(2, 0, &zero), nullptr);
}

}  // namespace

TEST(NullLocale, StartsEmpty) {
  Handle h;
  EXPECT_EQ(h->vl_errno, 0u);
  EXPECT_EQ(h->case_expansion, 1.0);
  EXPECT_EQ(h->coll_expansion, 1.0);
  EXPECT_EQ(h->upper_table, nullptr);
  EXPECT_EQ(h->class_table, nullptr);
  EXPECT_EQ(h->single_byte, 0);
  for (int r = 0; r < 6; ++r) {
    EXPECT_EQ(h->codeset_names[r][0], '\0');
    EXPECT_EQ(h->locale_names[r][0], '\0');
    EXPECT_EQ(h->bridge_locale[r], nullptr);
    EXPECT_EQ(h->bridge_active[r], 0);
  }
  EXPECT_EQ(vl_mb_loc_max(h), 0);
  EXPECT_EQ(vl_mb_loc_min(h), 4);
  EXPECT_EQ(h->nmm.int_frac_digits, VL_ABSENT_INT);
  EXPECT_EQ(h->nmm.decimal_point.mb, nullptr);
  EXPECT_EQ(vl_localeconv(h)->grouping, nullptr);
  EXPECT_EQ(h->collate.collation_kind, 0);
  ASSERT_NE(h->ctype.ctype_tree, nullptr);
  ASSERT_NE(h->coll_rows, nullptr);
}

TEST(NullLocale, EveryCharacterIsInvalid) {
  Handle h;
  for (const char *s : {"A", "", "\xA1\xA1"}) {
    h->vl_errno = 0;
    EXPECT_EQ(vl_full_mblen(h, s, 4), -1) << s;
    EXPECT_EQ(h->vl_errno, 1u);
    h->vl_errno = 0;
    EXPECT_EQ(_kvx_vl_full_mblen(h, s, 4), -1);
    EXPECT_EQ(h->vl_errno, 1u);
  }
  // after set_flags a null locale counts as multibyte
  EXPECT_EQ(set_flags(h), 0);
  EXPECT_EQ(h->single_byte, 0);
  EXPECT_EQ(h->mbstowcs_fn, &_vl_im_mbstowcs);
  EXPECT_EQ(h->mbfstowcfs_fn, &_kvx_vl_im_mbfstowcfs);
  EXPECT_EQ(h->mbscoll_fn, &_vl_im_mbscoll);
  EXPECT_EQ(h->mbsxfrm_fn, &vl_full_mbsxfrm);
}

TEST(NullLocale, NullStringIsZeroAndKeepsTheError) {
  Handle h;
  h->vl_errno = 12;
  EXPECT_EQ(vl_full_mblen(h, nullptr, 4), 0);
  EXPECT_EQ(_kvx_vl_full_mblen(h, nullptr, -1), 0);
  EXPECT_EQ(h->vl_errno, 12u);
}

TEST(FullMblen, SingleByteLocale) {
  Handle h;
  latin1(h);
  ASSERT_EQ(set_flags(h), 0);
  EXPECT_EQ(h->single_byte, 1);
  EXPECT_EQ(vl_full_mblen(h, "", 4), 0);
  EXPECT_EQ(_kvx_vl_full_mblen(h, "", 4), 1);  // a NUL has its real length
  EXPECT_EQ(vl_full_mblen(h, "\xE9", 1), 1);
  EXPECT_EQ(_kvx_vl_full_mblen(h, "A", -1), -1);  // -1 is not "terminated" here
  EXPECT_EQ(h->vl_errno, 7u);
  h->vl_errno = 0;
  EXPECT_EQ(vl_full_mblen(h, "A", 0), -1);
  EXPECT_EQ(h->vl_errno, 7u);
  EXPECT_EQ(vl_mb_loc_max(h), 1);
  EXPECT_EQ(vl_mb_loc_min(h), 1);
}

TEST(FullMblen, MultibyteLocale) {
  Handle h;
  euc(h);
  ASSERT_EQ(set_flags(h), 0);
  EXPECT_EQ(h->single_byte, 0);
  EXPECT_EQ(vl_full_mblen(h, "\xB0\xA1x", 4), 2);
  EXPECT_EQ(_kvx_vl_full_mblen(h, "\xB0\xA1", 2), 2);
  EXPECT_EQ(vl_full_mblen(h, "x", 4), 1);
  // a lead byte as the last byte within the limit
  EXPECT_EQ(vl_full_mblen(h, "\xB0\xA1", 1), -1);
  EXPECT_EQ(h->vl_errno, 7u);
  h->vl_errno = 0;
  EXPECT_EQ(vl_full_mblen(h, "\x80", 4), -1);
  EXPECT_EQ(h->vl_errno, 1u);
  h->vl_errno = 0;
  EXPECT_EQ(_kvx_vl_full_mblen(h, "\xB0\x20", 4), -1);
  EXPECT_EQ(h->vl_errno, 1u);
  EXPECT_EQ(vl_mb_loc_max(h), 2);
  EXPECT_EQ(vl_mb_loc_min(h), 1);
}

TEST(FullMblen, TwoByteNulCountsZero) {
  Handle h;
  const uint16_t zero = 0;
  multi_t *t = _vl_create_multi(2, 0, &zero);
  for (unsigned a : {0x00u, 0x30u})
    for (unsigned b = 0; b < 256; ++b) {
      vl_desc_t d = desc({a, b});
      _vl_insert_desc_multi(&d, &zero, t);
    }
  install_ctype(h, t, _vl_create_multi(2, 0, &zero), nullptr);
  ASSERT_EQ(set_flags(h), 0);
  const char nul2[] = {0, 0, 0, 0};
  EXPECT_EQ(vl_full_mblen(h, nul2, 4), 0);
  EXPECT_EQ(_kvx_vl_full_mblen(h, nul2, 4), 2);
  const char a[] = {0, 0x41, 0, 0};
  EXPECT_EQ(vl_full_mblen(h, a, 4), 2);
  EXPECT_EQ(vl_mb_loc_min(h), 2);
}

TEST(Flags, SingleByteAfterMultibyteBuildsTables) {
  Handle h;
  euc(h);
  ASSERT_EQ(set_flags(h), 0);
  EXPECT_EQ(h->upper_table, nullptr);
  vl_free_category(h, VL_LC_CTYPE);
  vl_make_null_category(h, VL_LC_CTYPE);
  latin1(h);
  ASSERT_EQ(set_flags(h), 0);
  EXPECT_EQ(h->mbstowcs_fn, &_vl_is_mbstowcs);
  EXPECT_EQ(h->mbfstowcfs_fn, &_kvx_vl_is_mbfstowcfs);
  ASSERT_NE(h->upper_table, nullptr);
  ASSERT_NE(h->lower_table, nullptr);
  ASSERT_NE(h->class_table, nullptr);
  EXPECT_EQ(h->upper_table['a'], 'A');
  EXPECT_EQ(h->upper_table['A'], 'A');
  EXPECT_EQ(h->lower_table['Q'], 'q');
  EXPECT_EQ(h->upper_table[0xE9], 0xE9);
  EXPECT_EQ(h->class_table['7'], kDigit);
  EXPECT_EQ(h->class_table['x'], kLower);
  EXPECT_EQ(h->class_table[0xFF], 0);
  // a second pass keeps the case tables it has
  h->upper_table['b'] = 'Z';
  ASSERT_EQ(set_flags(h), 0);
  EXPECT_EQ(h->upper_table['b'], 'Z');
}

TEST(Flags, CodeOrderAndBridgeCollationAreCopied) {
  Handle h;
  h->collate.codeset_order = 5;
  h->bridge_active[VL_LC_COLLATE - 2] = 1;
  ASSERT_EQ(set_flags(h), 0);
  EXPECT_EQ(h->codepoint_collation, 1);
  EXPECT_EQ(h->bridge_collation, 1);
  h->bridge_active[VL_LC_COLLATE - 2] = 0;
}

TEST(CollationPointers, KindsAndSingleByteTable) {
  Handle h;
  latin1(h);
  ASSERT_EQ(set_flags(h), 0);
  collate_category &c = h->collate;
  auto choose = [&](int elems, int exps, int passes, std::initializer_list<uint32_t> dirs) {
    c.num_coll_elems = elems;
    c.num_expansions = exps;
    c.num_passes = passes;
    int i = 0;
    for (uint32_t d : dirs) c.pass_flags[i++] = d;
    set_collation_fp(h);
    return h->mbscoll_fn;
  };
  EXPECT_EQ(choose(0, 0, 1, {1}), &_vl_is_mbscoll_back);
  EXPECT_EQ(h->mbfscoll_fn, &_kvx_vl_is_mbfscoll_back);
  EXPECT_EQ(choose(0, 2, 1, {1}), &_vl_is_mbscoll_exp);
  EXPECT_EQ(h->mbfscoll_fn, &_kvx_vl_is_mbfscoll_exp);
  EXPECT_EQ(choose(3, 0, 1, {1}), &_vl_is_mbscoll_elem);
  EXPECT_EQ(choose(0, 0, 2, {1, 2}), &_vl_is_mbscoll_back);
  // a backward pass beyond the pass count does not count
  EXPECT_EQ(choose(1, 0, 1, {1, 2}), &_vl_is_mbscoll_elem);
  EXPECT_EQ(choose(1, 1, 1, {1}), &_vl_is_mbscoll_exp_elem);
  EXPECT_EQ(h->mbfscoll_fn, &_kvx_vl_is_mbfscoll_exp_elem);
  // one element and one backward pass: S is 2, the general pair
  EXPECT_EQ(choose(1, 0, 1, {2}), &_vl_im_mbscoll);
  EXPECT_EQ(h->mbfscoll_fn, &_kvx_vl_im_mbfscoll);
  EXPECT_EQ(choose(1, 1, 1, {2}), &_vl_im_mbscoll);
  EXPECT_EQ(h->mbsxfrm_fn, &vl_full_mbsxfrm);
  c.collation_kind = 2;
  set_collation_fp(h);
  EXPECT_EQ(h->mbscoll_fn, &_vl_thaismocoll);
  EXPECT_EQ(h->mbfscoll_fn, &_kvx_vl_thaismoncoll);
  EXPECT_EQ(h->mbsxfrm_fn, &_vl_thaismoxfrm);
  c.collation_kind = 3;
  set_collation_fp(h);
  EXPECT_EQ(h->mbscoll_fn, &_vlu_mbscoll);
  EXPECT_EQ(h->mbfscoll_fn, &_vlu_mbfscoll);
  EXPECT_EQ(h->mbsxfrm_fn, &_vlu_mbsxfrm);
  // multibyte locales always take the general pair
  Handle m;
  euc(m);
  m->collate.num_passes = 1;
  m->collate.pass_flags[0] = 1;
  ASSERT_EQ(set_flags(m), 0);
  EXPECT_EQ(m->mbscoll_fn, &_vl_im_mbscoll);
}

TEST(CollationPointers, UnbuiltServicesReportNotSupported) {
  Handle h;
  ASSERT_EQ(set_flags(h), 0);
  EXPECT_EQ(h->mbscoll_fn(h, "a", "b"), 0);
  EXPECT_EQ(h->vl_errno, static_cast<uint32_t>(VL_ENOTSUP));
}

TEST(StaticHandles, CarryTheirErrorAndIgnoreUnload) {
  EXPECT_EQ(vl_nomem_locale.vl_errno, 3u);
  EXPECT_EQ(vl_nofile_locale.vl_errno, 8u);
  vl_lc_unload(&vl_nomem_locale);
  vl_lc_unload(&vl_nofile_locale);
  vl_lc_unload(nullptr);
  vl_free_nonshared_loc(&vl_nomem_locale);
  vl_free_nonshared_loc(nullptr);
  EXPECT_EQ(vl_nomem_locale.vl_errno, 3u);
}

namespace {
void *failing_malloc(size_t) { return nullptr; }
}  // namespace

TEST(StaticHandles, FailedAllocationHandsOutTheNoMemoryHandle) {
  _vl_set_ext_funcptr(VL_EXT_MALLOC, reinterpret_cast<void *>(&failing_malloc));
  vl_locale_t *h = nullptr;
  int r = vl_create_null_locale_4(&h);
  _vl_set_ext_funcptr(VL_EXT_MALLOC, nullptr);
  EXPECT_EQ(r, -1);
  EXPECT_EQ(h, &vl_nomem_locale);
  EXPECT_EQ(h->vl_errno, 3u);
  vl_lc_unload(h);
}

TEST(Categories, MakeNullEmptiesRowsAndTables) {
  Handle h;
  latin1(h);
  ASSERT_EQ(set_flags(h), 0);
  strcpy(h->codeset_names[0], "8859-1");
  strcpy(h->locale_names[0], "x.lco");
  strcpy(h->locale_names[4], "x.lco");
  vl_free_category(h, VL_LC_CTYPE);
  EXPECT_EQ(h->ctype.ctype_tree, nullptr);
  EXPECT_EQ(h->upper_table, nullptr);
  vl_make_null_category(h, VL_LC_CTYPE);
  EXPECT_EQ(h->codeset_names[0][0], '\0');
  EXPECT_EQ(h->locale_names[0][0], '\0');
  EXPECT_NE(h->ctype.ctype_tree, nullptr);
  vl_make_null_category(h, 9);  // out of range: nothing happens
  vl_make_null_category(h, 1);
  EXPECT_STREQ(h->locale_names[4], "x.lco");
  for (int c = 2; c <= 7; ++c) {
    vl_free_category(h, c);
    vl_make_null_category(h, c);
  }
  EXPECT_EQ(h->locale_names[4][0], '\0');
  EXPECT_EQ(h->nmm.frac_digits, VL_ABSENT_INT);
}

TEST(Tables, CategoryKeysAndMarkers) {
  EXPECT_STREQ(cat_names[0], "VL_CTYPE");
  EXPECT_STREQ(cat_names[5], "VL_MESSAGES");
  EXPECT_STREQ(category_params[0], "");
  EXPECT_STREQ(category_params[1], "");
  EXPECT_STREQ(category_params[3], "VL_COLLATE");
  EXPECT_STREQ(category_markers[2], "### LC_CTYPE\n");
  EXPECT_STREQ(category_markers[7], "### LC_MESSAGES\n");
}
