// Character classes and case: the LC_CTYPE reader, class names, and the
// wide and multibyte classification and case functions.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include <vls/vlsctype.h>
#include <vls/vlsmbwc.h>

#include "lcofix.h"
#include "vlstest.h"

using namespace vlstest;

namespace {

struct H {
  vl_locale_t *h;
  explicit H(const CtypeSpec &s) : h(make_handle(s)) { EXPECT_NE(h, nullptr); }
  ~H() { vl_lc_unload(h); }
  vl_locale_t *operator->() const { return h; }
  operator vl_locale_t *() const { return h; }
};

// Reads an LC_CTYPE section into a fresh handle; gives read_ctype's result.
int read_section(vl_locale_t *h, const std::string &text) {
  FILE *f = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
  int r = read_ctype(f, h);
  fclose(f);
  return r;
}

}  // namespace

TEST(CtypeRead, SectionRoundTripsThroughTheReader) {
  for (bool compress : {true, false}) {
    CtypeSpec spec = euc_spec();
    vl_locale_t *h = nullptr;
    ASSERT_EQ(vl_create_null_locale_4(&h), 0);
    ASSERT_EQ(read_section(h, ctype_section(spec, compress)), 0) << h->vl_errno;
    h->case_pair_count = h->case_pair_count;  // set by the reader
    EXPECT_EQ(h->ctype.class_count, 1);
    EXPECT_STREQ(h->ctype.class_names[0].name, "full_width");
    EXPECT_EQ(h->case_expansion, 4.0);  // a bare line feed after the pairs
    ASSERT_EQ(set_flags(h), 0);
    EXPECT_EQ(_vl_im_towupper(h, 0xA3E1), 0xA3C1u);
    EXPECT_EQ(_vl_im_towlower(h, 'Q'), static_cast<vl_wchar>('q'));
    EXPECT_EQ(vl_case_conv_outbuflen(h, 10), 40);
    vl_lc_unload(h);
  }
}

TEST(CtypeRead, ExpansionLineAndErrors) {
  CtypeSpec spec = latin1_spec();
  spec.expansion = "1.5\n";
  vl_locale_t *h = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  ASSERT_EQ(read_section(h, ctype_section(spec)), 0);
  EXPECT_EQ(h->case_expansion, 1.5);
  EXPECT_EQ(vl_case_conv_outbuflen(h, 10), 20);
  vl_lc_unload(h);

  std::string good = ctype_section(latin1_spec());
  struct Case {
    const char *name;
    std::string text;
    uint32_t err;
  } cases[] = {
      {"expansion not a number", good.substr(0, good.size() - 4) + "x.5\n", 11},
      {"expansion without line feed", good.substr(0, good.size() - 1), 11},
      {"pairs cut short", good.substr(0, good.find_last_of('\n', good.size() - 30)), 11},
      {"class line without line feed", "1 1 1 0000\n1 0\n0000000\n1\n0 full_width x\n", 11},
      {"class name too long", "1 1 1 0000\n1 0\n0000000\n1\n0 " + std::string(130, 'n') + "\n", 3},
  };
  for (const auto &c : cases) {
    vl_locale_t *x = nullptr;
    ASSERT_EQ(vl_create_null_locale_4(&x), 0);
    EXPECT_NE(read_section(x, c.text), 0) << c.name;
    EXPECT_EQ(x->vl_errno, c.err) << c.name;
    vl_lc_unload(x);  // a partial category is released whole
  }
}

TEST(CtypeClasses, NamesAndMasks) {
  H h(euc_spec());
  EXPECT_EQ(vl_ctype(h, "alnum"), 12u);
  EXPECT_EQ(vl_ctype(h, "blank"), 1024u);
  EXPECT_EQ(vl_ctype(h, "cntrl"), 32u);
  EXPECT_EQ(vl_ctype(h, "full_width"), 2048u);
  h->vl_errno = 5;
  EXPECT_EQ(vl_ctype(h, "nosuch"), 0u);
  EXPECT_EQ(h->vl_errno, 5u);
  // a locale class at bit 2 has the mask 8192; a name starting with "f"
  // never matches a built-in one
  h->ctype.class_names[0].bit = 2;
  EXPECT_EQ(vl_ctype(h, "full_width"), 8192u);
  H l(latin1_spec());
  EXPECT_EQ(vl_ctype(l, "full_width"), 0u);
}

TEST(CtypeClasses, WideAndMultibyte) {
  H h(euc_spec());
  EXPECT_EQ(_vl_im_iswctype(h, 'a', VL_CT_LOWER), static_cast<uint32_t>(VL_CT_LOWER));
  EXPECT_EQ(im_iswctype(h, 'a', VL_CT_UPPER), 0u);
  EXPECT_EQ(_vl_im_iswctype(h, 0xA3C1, VL_CT_UPPER | VL_CT_LOCAL), static_cast<uint32_t>(VL_CT_UPPER | VL_CT_LOCAL));
  h->vl_errno = 0;
  EXPECT_EQ(_vl_im_iswctype(h, 0xA0A0, VL_CT_PRINT), 0u);
  EXPECT_EQ(h->vl_errno, 1u);
  EXPECT_EQ(_vl_im_ismctype(h, "\xA3\xC1", VL_CT_ALPHA), static_cast<uint32_t>(VL_CT_ALPHA));
  EXPECT_EQ(im_ismctype(h, "7", VL_CT_DIGIT), static_cast<uint32_t>(VL_CT_DIGIT));
  h->vl_errno = 0;
  EXPECT_EQ(_kvx_vl_im_ismctype(h, "\xA3\xC1", 1, VL_CT_ALPHA), 0u);
  EXPECT_EQ(h->vl_errno, 7u);
  EXPECT_EQ(_kvx_vl_im_ismctype(h, "\xA3\xC1", 2, VL_CT_ALPHA), static_cast<uint32_t>(VL_CT_ALPHA));
}

TEST(CtypeCase, WideValues) {
  H h(euc_spec());
  EXPECT_EQ(_vl_im_towupper(h, 'a'), static_cast<vl_wchar>('A'));
  EXPECT_EQ(_vl_im_towupper(h, 'A'), static_cast<vl_wchar>('A'));
  EXPECT_EQ(im_towlower(h, 0xA3C1), 0xA3E1u);
  h->vl_errno = 0;
  EXPECT_EQ(_vl_im_towupper(h, 0xA0A0), 0xA0A0u);  // not in the tree: itself, with error 1
  EXPECT_EQ(h->vl_errno, 1u);
}

TEST(CtypeCase, MultibytePackedPairs) {
  H h(euc_spec());
  char out[8] = {};
  EXPECT_EQ(_vl_im_tomupper(h, out, "\xA3\xE1"), 0x0202);
  EXPECT_EQ(memcmp(out, "\xA3\xC1", 2), 0);
  EXPECT_EQ(_vl_im_tomupper(h, out, "\xA4\xA2"), 0x0202);  // no upper form
  EXPECT_EQ(memcmp(out, "\xA4\xA2", 2), 0);
  EXPECT_EQ(im_tomlower(h, out, "Z"), 0x0101);
  EXPECT_EQ(out[0], 'z');
  EXPECT_EQ(_kvx_vl_im_tomupper(h, out, "\xA3\xE1", 1), 0);  // cannot be walked
  EXPECT_EQ(_kvx_vl_im_tomlower(h, out, "\xA3\xC2", 2), 0x0202);
  EXPECT_EQ(memcmp(out, "\xA3\xE2", 2), 0);
}

TEST(CtypeCase, Strings) {
  H h(euc_spec());
  char out[32];
  EXPECT_EQ(vl_tombsupper(h, out, "ab\xA3\xE1z"), 5);
  EXPECT_STREQ(out, "AB\xA3\xC1Z");
  EXPECT_EQ(vl_tombslower(h, out, ""), 0);
  EXPECT_EQ(out[0], '\0');
  EXPECT_EQ(vl_tombsupper(h, out, "a\x80"), -1);
  vl_wchar w[] = {'a', 0xA3E1, 'Q', 0};
  vl_wchar wo[4];
  EXPECT_EQ(vl_towcsupper(h, wo, w), 0);
  EXPECT_EQ(wo[1], 0xA3C1u);
  EXPECT_EQ(wo[3], 0u);
  EXPECT_EQ(vl_towcslower(h, wo, w), 0);
  EXPECT_EQ(wo[2], static_cast<vl_wchar>('q'));

  H l(latin1_spec());
  EXPECT_EQ(vl_tombsupper(l, out, "\xe9t\xe9"), 3);  // through upper_table
  EXPECT_STREQ(out, "\xc9T\xc9");
  EXPECT_EQ(vl_tombsupper(l, out, ""), 0);
  vl_wchar big[] = {'a', 256, 0};
  l->vl_errno = 0;
  EXPECT_EQ(vl_towcsupper(l, wo, big), -1);
  EXPECT_EQ(l->vl_errno, 1u);
  EXPECT_EQ(vl_case_conv_outbuflen(l, 10), 10);
}

TEST(CtypeCase, NullLocaleExpansionIsOne) {
  vl_locale_t *h = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  EXPECT_EQ(vl_case_conv_outbuflen(h, 7), 7);
  vl_lc_unload(h);
}

TEST(CtypeTables, SingleByteTablesMatchTheTrees) {
  H l(latin1_spec());
  ASSERT_NE(l->class_table, nullptr);
  for (unsigned c = 0; c < 256; ++c) {
    EXPECT_EQ(l->class_table[c], _vl_im_iswctype(l, c, 0xFFFF)) << c;
    EXPECT_EQ(l->upper_table[c], _vl_im_towupper(l, c) & 0xFF) << c;
    EXPECT_EQ(l->lower_table[c], _vl_im_towlower(l, c) & 0xFF) << c;
  }
}
