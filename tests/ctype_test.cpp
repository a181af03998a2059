// Character classes and case: the LC_CTYPE reader, class names, and the
// wide and multibyte classification and case functions, checked on every
// character of the fixture codesets against their descriptions.

#include "shipped.h"
#include "strfix.h"

using namespace vlstest;

namespace {

using Ctype = Codesets;

int read_section(vl_locale_t *h, const std::string &text) {
  FILE *f = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
  int r = read_ctype(f, h);
  fclose(f);
  return r;
}

TEST_F(Ctype, EveryCharacterReadBackAgreesWithTheDescription) {
  const CtypeSpec specs[] = {latin1_spec(), euc_spec(), wide2_spec()};
  const int32_t outbuflen10[] = {10, 40, 30};  // expansions 1.0, a bare line feed (4.0), 2.5
  for (int i = 0; i < 3; ++i)
    for (bool compress : {true, false}) {
      SCOPED_TRACE(specs[i].codeset + (compress ? " compressed" : " uncompressed"));
      std::map<std::string, CtypeCase> pairs;
      for (const auto &c : specs[i].cases) pairs[c.bytes] = c;
      std::map<vl_wchar, std::string> bytes_of;
      for (const Char &c : chars(i)) bytes_of[c.wc] = c.mb;
      vl_locale_t *h = nullptr;
      ASSERT_EQ(vl_create_null_locale_4(&h), 0);
      ASSERT_EQ(read_section(h, ctype_section(specs[i], compress)), 0) << h->vl_errno;
      ASSERT_EQ(set_flags(h), 0);
      EXPECT_EQ(vl_case_conv_outbuflen(h, 10), outbuflen10[i]);
      for (const Char &c : chars(i)) {
        const int n = static_cast<int>(c.mb.size());
        const char *p = c.mb.data();
        auto it = pairs.find(c.mb);
        const vl_wchar up = it != pairs.end() && it->second.upper ? it->second.upper : c.wc;
        const vl_wchar lo = it != pairs.end() && it->second.lower ? it->second.lower : c.wc;
        char t[8];
        auto tom = [&](uint16_t packed, vl_wchar to) {  // bytes consumed high, written low
          const std::string &b = bytes_of[to];
          return packed == ((n << 8) | b.size()) && std::string(t, b.size()) == b;
        };
        h->vl_errno = 0;
        bool ok = _vl_im_iswctype(h, c.wc, 0xFFFF) == c.mask && im_iswctype(h, c.wc, M_PRINT) == (c.mask & M_PRINT) &&
                  _vl_im_ismctype(h, p, 0xFFFF) == c.mask && im_ismctype(h, p, M_ALPHA) == (c.mask & M_ALPHA) &&
                  _kvx_vl_im_ismctype(h, p, n, 0xFFFF) == c.mask && _vl_im_towupper(h, c.wc) == up &&
                  _vl_im_towlower(h, c.wc) == lo && im_towlower(h, c.wc) == lo && tom(_vl_im_tomupper(h, t, p), up) &&
                  tom(_vl_im_tomlower(h, t, p), lo) && tom(im_tomlower(h, t, p), lo) &&
                  tom(_kvx_vl_im_tomupper(h, t, p, n), up) && tom(_kvx_vl_im_tomlower(h, t, p, n), lo) &&
                  h->vl_errno == 0;
        if (h->class_table)  // single-byte: the tables agree with the trees
          ok = ok && h->class_table[c.wc] == c.mask && h->upper_table[c.wc] == up && h->lower_table[c.wc] == lo;
        if (n > 1)  // a limit inside the character: error 7, and the counted case twin writes nothing
          ok = ok && _kvx_vl_im_ismctype(h, p, n - 1, 0xFFFF) == 0 && h->vl_errno == VL_EINVAL &&
               _kvx_vl_im_tomupper(h, t, p, n - 1) == 0;
        EXPECT_TRUE(ok) << std::hex << c.wc;
      }
      vl_lc_unload(h);
    }
}

TEST_F(Ctype, StringCaseMapsFollowTheCharacterMaps) {
  for (const Set &s : sets())
    for (size_t k = 0; k < 40; ++k) {
      Text x = text(s.chars, k % 13);
      std::string up, lo;
      std::vector<vl_wchar> wup, wlo, w = x.wc;
      w.push_back(0);
      char t[8], out[128];
      for (size_t j = 0; j < x.wc.size(); ++j) {
        up.append(t, _vl_im_tomupper(s.h, t, x.mb.data() + x.at[j]) & 0xFF);
        lo.append(t, _vl_im_tomlower(s.h, t, x.mb.data() + x.at[j]) & 0xFF);
        wup.push_back(_vl_im_towupper(s.h, x.wc[j]));
        wlo.push_back(_vl_im_towlower(s.h, x.wc[j]));
      }
      wup.push_back(0);
      wlo.push_back(0);
      const std::string src = Z(x.mb, s.min);
      EXPECT_EQ(vl_tombsupper(s.h, out, src.data()), static_cast<int>(up.size())) << s.name;
      EXPECT_EQ(std::string(out, up.size() + s.min), Z(up, s.min));
      EXPECT_EQ(vl_tombslower(s.h, out, src.data()), static_cast<int>(lo.size()));
      EXPECT_EQ(std::string(out, lo.size() + s.min), Z(lo, s.min));
      std::vector<vl_wchar> wout(w.size());
      EXPECT_EQ(vl_towcsupper(s.h, wout.data(), w.data()), 0);
      EXPECT_EQ(wout, wup);
      EXPECT_EQ(vl_towcslower(s.h, wout.data(), w.data()), 0);
      EXPECT_EQ(wout, wlo);
      EXPECT_EQ(s.h->vl_errno, 0u);
    }
}

TEST_F(Ctype, ClassNamesAndOneOffs) {
  const std::pair<const char *, uint32_t> builtins[] = {
      {"alpha", 4},  {"lower", 2},  {"upper", 1},  {"digit", 8},    {"xdigit", 512}, {"alnum", 12},
      {"blank", 1024}, {"space", 16}, {"punct", 64}, {"graph", 128}, {"print", 256},  {"cntrl", 32}};
  for (const auto &b : builtins) EXPECT_EQ(vl_ctype(mb, b.first), b.second) << b.first;
  vl_locale_t *null_locale = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&null_locale), 0);
  char t[8];
  const vl_wchar big[] = {'a', 256, 0}, stray[] = {'a', 0xA0A0, 0};
  vl_wchar wo[4];
  run({
      {"locale class", [&] { return vl_ctype(mb, "full_width"); }, 2048, 0},
      {"no such locale class", [&] { return vl_ctype(sb, "full_width"); }, 0, 0},
      {"unknown name leaves the error", [&] { mb->vl_errno = 5; return vl_ctype(mb, "nosuch"); }, 0, 5},
      {"null name", [&] { return vl_ctype(mb, nullptr); }, 0, 0},
      {"class at bit 2", [&] {
         mb->ctype.class_names[0].bit = 2;
         uint32_t m = vl_ctype(mb, "full_width");
         mb->ctype.class_names[0].bit = 0;
         return m;
       }, 8192, 0},
      {"iswctype, no character", [&] { return _vl_im_iswctype(mb, 0xA0A0, M_PRINT); }, 0, VL_EILSEQ},
      {"towupper, no character: itself", [&] { return _vl_im_towupper(mb, 0xA0A0); }, 0xA0A0, VL_EILSEQ},
      {"ismctype null", [&] { return _vl_im_ismctype(mb, nullptr, 1); }, 0, VL_EBADPTR},
      {"counted ismctype null", [&] { return _kvx_vl_im_ismctype(mb, nullptr, 4, 1); }, 0, VL_EBADPTR},
      {"tomupper, invalid: copied", [&] { return _vl_im_tomupper(mb, t, "\x80"); }, 0x0101, VL_EILSEQ},
      {"tombsupper, invalid", [&] { return vl_tombsupper(mb, t, "a\x80"); }, -1, VL_EILSEQ},
      {"tombsupper, empty", [&] { t[0] = 'x'; return vl_tombsupper(sb, t, "") + t[0]; }, 0, 0},
      {"towcsupper, single-byte 256", [&] { return vl_towcsupper(sb, wo, big); }, -1, VL_EILSEQ},
      {"towcslower, no character", [&] { return vl_towcslower(mb, wo, stray); }, -1, VL_EILSEQ},
      {"null locale expansion 1", [&] { return vl_case_conv_outbuflen(null_locale, 7); }, 7, 0},
  });
  vl_lc_unload(null_locale);
}

// Damaged sections: refused by the reader and by a load of a file holding
// them. An error of 0 means any.
TEST(CtypeRead, DamagedSectionsAreRefused) {
  std::string good = ctype_section(latin1_spec());
  CtypeSpec half = latin1_spec();
  half.expansion = "1.5\n";
  struct Case {
    const char *name;
    std::string text;
    uint32_t err;  // VL_EBADFILE...; 0: any
    int32_t outbuflen10;  // of a good section
  } cases[] = {
      {"expansion 1.5", ctype_section(half), 0, 20},
      {"expansion not a number", good.substr(0, good.size() - 4) + "x.5\n", VL_EBADFILE, -1},
      {"expansion without line feed", good.substr(0, good.size() - 1), VL_EBADFILE, -1},
      {"pairs cut short", good.substr(0, good.find_last_of('\n', good.size() - 30)), VL_EBADFILE, -1},
      {"class line without line feed", "1 1 1 0000\n1 0\n0000000\n1\n0 full_width x\n", VL_EBADFILE, -1},
      {"class name too long", "1 1 1 0000\n1 0\n0000000\n1\n0 " + std::string(130, 'n') + "\n", VL_ENOMEM, -1},
      // class bits and tree lengths outside a codeset: hardening_test and loader_test
  };
  TempDir dir;
  EnvVar kvx("KELVANIXDIR", dir.path().c_str()), path("VL_PATH", nullptr);
  dir.write("vls/cm3/registry", "8859-1 819\n");
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    vl_locale_t *h = nullptr;
    ASSERT_EQ(vl_create_null_locale_4(&h), 0);
    const int r = read_section(h, c.text);
    if (c.outbuflen10 >= 0) {
      EXPECT_EQ(r, 0);
      EXPECT_EQ(vl_case_conv_outbuflen(h, 10), c.outbuflen10);
    } else {
      EXPECT_NE(r, 0);
      if (c.err) { EXPECT_EQ(h->vl_errno, c.err); }
    }
    vl_lc_unload(h);  // a partial category is released whole
    dir.write("vls/lc11/t.lco", category_text("8859-1", VL_LC_CTYPE, c.text));
    ASSERT_EQ(vl_create_null_locale_4(&h), 0);
    char *s = vl_setlocale_4(h, VL_LC_CTYPE, "t.lco");
    EXPECT_EQ(s != nullptr, c.outbuflen10 >= 0) << h->vl_errno;
    if (c.err) { EXPECT_EQ(h->vl_errno, c.err); }
    vl_destroystring(s);
    vl_lc_unload(h);
  }
}

// The row of a wide value by the tree's documented layout, one byte a level.
const unsigned char *walked_row(const multi_t *t, vl_wchar v) {
  int len = v > 0xFFFFFF ? 4 : v > 0xFFFF ? 3 : v > 0xFF ? 2 : 1;
  if (len < t->min_length) len = t->min_length;
  for (const unc_multi_arr_t *n = t->root;; n = n->next[n->offsets[(v >> 8 * len) & 0xFF]]) {
    const unsigned b = (v >> 8 * --len) & 0xFF, f = n->flags ? n->flags[b] : 0;
    if (len == 0) return f != VL_MULTI_COMPLETE ? nullptr : n->data ? n->data + (b << t->data_shift) : t->default_data;
    if (f != VL_MULTI_LEADS) return nullptr;
  }
}

// Every value of up to three bytes under a byte that leads in either tree
// (and a sample elsewhere and beyond) of the shipped codesets, one handle's
// LC_CTYPE replaced by each in turn: class and both cases as the walk gives
// them, error numbers included.
TEST(CtypeShipped, EveryValueAnswersAsTheWalk) {
  EnvVar kvx("KELVANIXDIR", kShipped.c_str()), path("VL_PATH", nullptr);
  vl_locale_t *h = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  for (const char *file : {"en_us/0333.lco", "ja_jp/e007.lco", "ja_jp/e006.lco", "en_us/e01c.lco", "ko_kr/e00c.lco",
                           "zh_tw/e008.lco", "ja_jp/e01c.lco"}) {
    SCOPED_TRACE(file);
    char *names = vl_setlocale_4(h, VL_LC_CTYPE, file);
    ASSERT_NE(names, nullptr) << h->vl_errno;
    vl_destroystring(names);
    ASSERT_EQ(h->bridge_active[0], 0);
    const ctype_category &c = h->ctype;
    int bad = 0;
    auto check = [&](vl_wchar v) {
      uint32_t got[6];
      h->vl_errno = 0, got[0] = _vl_im_iswctype(h, v, 0xFFFF), got[1] = h->vl_errno;
      h->vl_errno = 0, got[2] = _vl_im_towupper(h, v), got[3] = h->vl_errno;
      h->vl_errno = 0, got[4] = _vl_im_towlower(h, v), got[5] = h->vl_errno;
      const unsigned char *r = walked_row(c.ctype_tree, v), *q = walked_row(c.case_tree, v);
      uint16_t mask = 0, index = 0;
      if (r) memcpy(&mask, r, 2);
      if (q) memcpy(&index, q, 2);
      const vl_case_pair *p = index >= 1 && index <= h->case_pair_count ? &c.case_pairs[index] : nullptr;
      const uint32_t rerr = r ? 0u : uint32_t{VL_EILSEQ}, qerr = q ? 0u : uint32_t{VL_EILSEQ};
      const uint32_t want[6] = {mask, rerr, p && p->upper ? p->upper : v, qerr, p && p->lower ? p->lower : v, qerr};
      if (memcmp(got, want, sizeof got) != 0 && ++bad <= 5) ADD_FAILURE() << std::hex << v;
    };
    const unsigned char *f1 = c.ctype_tree->root->flags, *f2 = c.case_tree->root->flags;
    for (uint32_t hi = 0; hi < 256; ++hi) {
      const bool leads = hi == 0 || f1[hi] == VL_MULTI_LEADS || f2[hi] == VL_MULTI_LEADS;
      for (uint32_t lo = 0; lo < 0x10000; lo += leads ? 1 : 0x3FF) check(hi << 16 | lo);
    }
    for (vl_wchar v : {0x1000000u, 0xF0908080u, 0xE3818282u, 0xFFFFFFFFu}) check(v);
    EXPECT_EQ(bad, 0);
  }
  vl_lc_unload(h);
}

}  // namespace
