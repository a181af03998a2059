// The locale handle: the null locale, character length through the LC_CTYPE
// tree, the derived flags, tables and function pointers, static handles.

#include "threelocales.h"

using namespace vlstest;

namespace {

struct Handle {
  vl_locale_t *h = nullptr;
  Handle() { EXPECT_EQ(vl_create_null_locale_4(&h), 0); }
  ~Handle() { vl_lc_unload(h); }
  vl_locale_t *operator->() const { return h; }
  operator vl_locale_t *() const { return h; }
};

class Locale : public ThreeLocales {};

}  // namespace

TEST(NullLocale, StartsEmptyAndEveryCharacterIsInvalid) {
  Handle h;
  EXPECT_EQ(std::tuple(h->case_expansion, h->coll_expansion, h->nmm.int_frac_digits, vl_localeconv(h)->grouping),
            std::tuple(1.0, 1.0, VL_ABSENT_INT, nullptr));
  for (int r = 0; r < 6; ++r) EXPECT_EQ(h->codeset_names[r][0] | h->locale_names[r][0] | h->bridge_active[r], 0);
  for (const char *s : {"A", "", "\xA1\xA1"}) {
    h->vl_errno = 0;
    const int full = vl_full_mblen(h, s, 4), counted = _kvx_vl_full_mblen(h, s, 4);
    EXPECT_EQ(std::tuple(full, counted, h->vl_errno), std::tuple(-1, -1, VL_EILSEQ)) << s;
  }
  h->vl_errno = VL_EMISMATCH;  // a null string is 0 and keeps the error
  const int full = vl_full_mblen(h, nullptr, 4), counted = _kvx_vl_full_mblen(h, nullptr, -1);
  EXPECT_EQ(std::tuple(full, counted, h->vl_errno), std::tuple(0, 0, VL_EMISMATCH));
  EXPECT_EQ(set_flags(h), 0);  // counts as multibyte
  EXPECT_EQ(std::tuple((void *)h->mbstowcs_fn, (void *)h->mbfstowcfs_fn, (void *)h->mbsxfrm_fn),
            std::tuple((void *)_vl_im_mbstowcs, (void *)_kvx_vl_im_mbfstowcfs, (void *)vl_full_mbsxfrm));
  const int coll = h->mbscoll_fn(h, "a", "b");  // no character has a length: equal, with the error
  EXPECT_EQ(std::tuple(coll, h->vl_errno), std::tuple(0, VL_EILSEQ));
}

TEST_F(Locale, FullMblen) {
  Handle null;
  struct Case { vl_locale_t *h; bool counted; std::string s; int32_t limit; int want; uint32_t err; } cases[] = {
      {null, false, "", 4, -1, VL_EILSEQ},
      {sb, false, "", 4, 0, 0},  {sb, true, "", 4, 1, 0},  // a counted NUL has its real length
      {sb, false, "\xE9", 1, 1, 0},
      {sb, true, "A", -1, -1, VL_EINVAL},  // -1 is not "terminated" here
      {sb, false, "A", 0, -1, VL_EINVAL},
      {mb, false, "\xB0\xA1x", 4, 2, 0}, {mb, true, "\xB0\xA1", 2, 2, 0}, {mb, false, "x", 4, 1, 0},
      {mb, false, "\xB0\xA1", 1, -1, VL_EINVAL},  // a lead byte as the last byte within the limit
      {mb, false, "\x80", 4, -1, VL_EILSEQ}, {mb, true, "\xB0\x20", 4, -1, VL_EILSEQ},
      {w2, false, B({0, 0, 0, 0}), 4, 0, 0}, {w2, true, B({0, 0, 0, 0}), 4, 2, 0}, {w2, false, B({0, 0x41, 0, 0}), 4, 2, 0},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.s) + " " + std::to_string(c.limit) + (c.counted ? " counted" : ""));
    c.h->vl_errno = 0;
    int n = c.counted ? _kvx_vl_full_mblen(c.h, c.s.data(), c.limit) : vl_full_mblen(c.h, c.s.data(), c.limit);
    EXPECT_EQ(std::tuple(n, c.h->vl_errno), std::tuple(c.want, c.err));
  }
  for (auto [h, max, min, single] : {std::tuple<vl_locale_t *, int, int, int>{null, 0, 4, 0}, {sb, 1, 1, 1}, {mb, 2, 1, 0}, {w2, 2, 2, 0}})
    EXPECT_EQ(std::tuple(vl_mb_loc_max(h), vl_mb_loc_min(h), h->single_byte), std::tuple(max, min, single)) << max << min;
}

TEST(Flags, SingleByteAfterMultibyteBuildsTables) {
  Handle h;
  ASSERT_EQ(install_ctype(h, euc_spec()), 0);
  EXPECT_EQ(h->upper_table, nullptr);
  const CtypeSpec latin = latin1_spec();
  ASSERT_EQ(install_ctype(h, latin), 0);
  EXPECT_EQ(std::tuple((void *)h->mbstowcs_fn, (void *)h->mbfstowcfs_fn), std::tuple((void *)_vl_is_mbstowcs, (void *)_kvx_vl_is_mbfstowcfs));
  ASSERT_TRUE(h->upper_table && h->lower_table && h->class_table);  // their contents: ctype_test
  EXPECT_EQ(std::tuple(h->class_table[0xC0], h->upper_table[0xE9], h->lower_table['A']), std::tuple(latin.chars[0xC0].mask, 0xC9, 'a'));
  h->upper_table['b'] = 'Z';  // a second pass keeps the case tables it has
  ASSERT_EQ(set_flags(h), 0);
  EXPECT_EQ(h->upper_table['b'], 'Z');
  h->collate.codeset_order = 5, h->bridge_active[VL_LC_COLLATE - 2] = 1;  // code order and bridge collation are copied
  ASSERT_EQ(set_flags(h), 0);
  EXPECT_EQ(std::tuple(h->codepoint_collation, h->bridge_collation), std::tuple(1, 1));
  h->bridge_active[VL_LC_COLLATE - 2] = 0;
}

TEST_F(Locale, CollationPointersByKind) {
  using Coll = decltype(vl_locale_t::mbscoll_fn);
  struct Case { vl_locale_t *h; int kind, elems, exps, passes; uint32_t dir0, dir1; Coll coll; const void *fcoll, *xfrm; } cases[] = {
      {sb, 0, 0, 0, 1, 1, 0, _vl_is_mbscoll_back, (void *)_kvx_vl_is_mbfscoll_back, (void *)vl_full_mbsxfrm},
      {sb, 0, 0, 2, 1, 1, 0, _vl_is_mbscoll_exp, (void *)_kvx_vl_is_mbfscoll_exp, nullptr},
      {sb, 0, 3, 0, 1, 1, 0, _vl_is_mbscoll_elem, nullptr, nullptr},
      {sb, 0, 0, 0, 2, 1, 2, _vl_is_mbscoll_back, nullptr, nullptr},
      {sb, 0, 1, 0, 1, 1, 2, _vl_is_mbscoll_elem, nullptr, nullptr},  // a backward pass beyond the count
      {sb, 0, 1, 1, 1, 1, 0, _vl_is_mbscoll_exp_elem, (void *)_kvx_vl_is_mbfscoll_exp_elem, nullptr},
      {sb, 0, 1, 0, 1, 2, 0, _vl_im_mbscoll, (void *)_kvx_vl_im_mbfscoll, nullptr},  // one element, backward
      {sb, 0, 1, 1, 1, 2, 0, _vl_im_mbscoll, nullptr, (void *)vl_full_mbsxfrm},
      {sb, 2, 0, 0, 1, 1, 0, _vl_thaismocoll, (void *)_kvx_vl_thaismoncoll, (void *)_vl_thaismoxfrm},
      {sb, 3, 0, 0, 1, 1, 0, _vlu_mbscoll, (void *)_vlu_mbfscoll, (void *)_vlu_mbsxfrm},
      {mb, 0, 0, 0, 1, 1, 0, _vl_im_mbscoll, nullptr, nullptr},  // multibyte: always the general pair
  };
  for (const Case &k : cases) {
    SCOPED_TRACE(&k - cases);
    collate_category saved = k.h->collate, &c = k.h->collate;
    c.collation_kind = k.kind, c.num_coll_elems = k.elems, c.num_expansions = k.exps, c.num_passes = k.passes;
    c.pass_flags[0] = k.dir0, c.pass_flags[1] = k.dir1;
    set_collation_fp(k.h);
    EXPECT_EQ(k.h->mbscoll_fn, k.coll);
    EXPECT_TRUE((!k.fcoll || (const void *)k.h->mbfscoll_fn == k.fcoll) && (!k.xfrm || (const void *)k.h->mbsxfrm_fn == k.xfrm));
    k.h->collate = saved, set_collation_fp(k.h);
  }
}

TEST(StaticHandles, CarryTheirErrorAndIgnoreRelease) {
  for (vl_locale_t *s : {&vl_nomem_locale, &vl_nofile_locale, static_cast<vl_locale_t *>(nullptr)})
    vl_lc_unload(s), vl_free_nonshared_loc(s);
  EXPECT_EQ(std::tuple(vl_nomem_locale.vl_errno, vl_nofile_locale.vl_errno), std::tuple(VL_ENOMEM, VL_ENOENT));
  _vl_set_ext_funcptr(VL_EXT_MALLOC, reinterpret_cast<void *>(+[](size_t) -> void * { return nullptr; }));
  vl_locale_t *h = nullptr;
  int r = vl_create_null_locale_4(&h);
  _vl_set_ext_funcptr(VL_EXT_MALLOC, nullptr);
  EXPECT_EQ(std::tuple(r, h), std::tuple(-1, &vl_nomem_locale));
}

TEST(Categories, MakeNullEmptiesRowsAndTables) {
  Handle h;
  ASSERT_EQ(install_ctype(h, latin1_spec()), 0);
  strcpy(h->locale_names[4], "x.lco");
  vl_free_category(h, VL_LC_CTYPE);
  EXPECT_EQ(std::tuple(h->ctype.ctype_tree, h->upper_table), std::tuple(nullptr, nullptr));
  vl_make_null_category(h, VL_LC_CTYPE);
  EXPECT_EQ(h->codeset_names[0][0] | h->locale_names[0][0], 0);
  EXPECT_NE(h->ctype.ctype_tree, nullptr);
  vl_make_null_category(h, 9), vl_make_null_category(h, 1);  // out of range, and 1: nothing happens
  EXPECT_STREQ(h->locale_names[4], "x.lco");
  for (int c = 2; c <= 7; ++c) vl_free_category(h, c), vl_make_null_category(h, c);
  EXPECT_EQ(std::tuple(h->locale_names[4][0], h->nmm.frac_digits), std::tuple('\0', VL_ABSENT_INT));
}
