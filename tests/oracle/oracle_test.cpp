// The shipped locales against glibc: the same source and charmap compiled
// by glibc's localedef, loaded with newlocale, and asked the same
// questions. Every difference is one of the deliberate deviations of
// docs/locale-deviations.md (named D1, D2, ... here and there), or the
// test fails.
#include <gtest/gtest.h>

#include <langinfo.h>
#include <locale.h>
#include <wchar.h>
#include <wctype.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <vls/vls.h>
#include <vls/vlscat.h>
#include <vls/vlsctype.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsmulti.h>
#include <vls/vlsspec.h>

// glibc's newlocale keeps the split LOCPATH list it builds (argz) when
// LOCPATH is set; that is glibc's, not ours.
extern "C" const char *__lsan_default_suppressions() { return "leak:__argz_add_sep\n"; }

namespace {

struct Case {
  const char *source;
  const char *charmap;
  const char *file;   // ll_tt/xxxx.lco below lc11
  const char *glibc;  // directory below the glibc tree
};

void PrintTo(const Case &c, std::ostream *os) { *os << c.source << "." << c.charmap << " (" << c.file << ")"; }

const Case kCases[] = {
#include "oracle_cases.inc"
};

std::string hex(const std::string &b) {
  std::string o;
  char buf[4];
  for (unsigned char c : b) {
    snprintf(buf, sizeof buf, "%02x", c);
    o += buf;
  }
  return o.empty() ? "(empty)" : o;
}

// Both locales of a case, loaded.
struct Pair {
  vl_locale_t *h = nullptr;
  locale_t g = nullptr;
  std::string codeset;
  ~Pair() {
    if (h) vl_lc_unload(h);
    if (g) freelocale(g);
  }
};

void load(const Case &c, Pair &p) {
  setenv("KELVANIXDIR", VLS_ORACLE_KELVANIX, 1);
  setenv("LOCPATH", VLS_ORACLE_GLIBC, 1);
  ASSERT_EQ(vl_create_null_locale_4(&p.h), 0);
  char *names = vl_setlocale_4(p.h, VL_LC_ALL, c.file);
  ASSERT_NE(names, nullptr) << c.file << ": vl_errno " << p.h->vl_errno;
  vl_destroystring(names);
  p.codeset = p.h->codeset_names[0];
  p.g = newlocale(LC_ALL_MASK, c.glibc, nullptr);
  ASSERT_NE(p.g, nullptr) << "glibc cannot load " << c.glibc << " from " << VLS_ORACLE_GLIBC;
}

// ---- characters ---------------------------------------------------------------------

// Every character of the library's tree, by walking its nodes.
void walk(const unc_multi_arr_t *node, std::string &prefix, std::vector<std::string> &out) {
  if (!node || !node->flags) return;
  for (int b = 0; b < 256; ++b) {
    unsigned char f = node->flags[b];
    prefix.push_back(static_cast<char>(b));
    if (f == VL_MULTI_COMPLETE) out.push_back(prefix);
    else if (f == VL_MULTI_LEADS && node->offsets && node->next) walk(node->next[node->offsets[b]], prefix, out);
    prefix.pop_back();
  }
}

// Every character that glibc's converter accepts, up to four bytes, found
// by extending the prefixes it calls incomplete.
void glibc_walk(std::string &prefix, std::vector<std::string> &out) {
  for (int b = 0; b < 256; ++b) {
    prefix.push_back(static_cast<char>(b));
    mbstate_t st{};
    wchar_t wc;
    size_t r = mbrtowc(&wc, prefix.data(), prefix.size(), &st);
    if (r == prefix.size() || (r == 0 && prefix.size() == 1)) out.push_back(prefix);
    else if (r == static_cast<size_t>(-2) && prefix.size() < 4) glibc_walk(prefix, out);
    prefix.pop_back();
  }
}

struct ClassRow {
  const char *name;
  uint32_t mask;
  int (*glibc)(wint_t);
};
const ClassRow kClasses[] = {
    {"upper", VL_CT_UPPER, iswupper}, {"lower", VL_CT_LOWER, iswlower}, {"alpha", VL_CT_ALPHA, iswalpha},
    {"digit", VL_CT_DIGIT, iswdigit}, {"alnum", VL_CT_ALNUM, iswalnum}, {"space", VL_CT_SPACE, iswspace},
    {"cntrl", VL_CT_CNTRL, iswcntrl}, {"punct", VL_CT_PUNCT, iswpunct}, {"graph", VL_CT_GRAPH, iswgraph},
    {"print", VL_CT_PRINT, iswprint}, {"xdigit", VL_CT_XDIGIT, iswxdigit}, {"blank", VL_CT_BLANK, iswblank},
};

// glibc's multibyte form of a wide character, or "" when it has none.
std::string g_mb(wchar_t wc) {
  char buf[MB_LEN_MAX];
  mbstate_t st{};
  size_t n = wcrtomb(buf, wc, &st);
  return n == static_cast<size_t>(-1) ? std::string() : std::string(buf, n);
}

std::string v_mb(vl_locale_t *h, vl_wchar w) {
  char buf[8];
  int n = vl_full_wctomb(h, buf, w);
  return n <= 0 ? std::string() : std::string(buf, static_cast<size_t>(n));
}

class Oracle : public ::testing::TestWithParam<Case> {};

// Differences by deviation, with a few examples for the log.
struct Tally {
  std::map<std::string, int> count;
  std::map<std::string, std::vector<std::string>> examples;
  void add(const std::string &rule, const std::string &what) {
    ++count[rule];
    if (examples[rule].size() < 4) examples[rule].push_back(what);
  }
  void report(const char *locale) const {
    for (const auto &[rule, n] : count) {
      std::string ex;
      for (const auto &e : examples.at(rule)) ex += " " + e;
      printf("[oracle] %s %s: %d (e.g.%s)\n", locale, rule.c_str(), n, ex.c_str());
    }
  }
};

TEST_P(Oracle, Characters) {
  const Case &c = GetParam();
  Pair p;
  load(c, p);
  if (HasFatalFailure()) return;
  locale_t old = uselocale(p.g);

  std::vector<std::string> mine, theirs;
  std::string prefix;
  walk(p.h->ctype.ctype_tree->root, prefix, mine);
  glibc_walk(prefix, theirs);
  std::set<std::string> mine_set(mine.begin(), mine.end()), theirs_set(theirs.begin(), theirs.end());
  const bool single = p.h->ctype.ctype_tree->max_length == 1;

  Tally t;
  int unexplained = 0;
  auto fail = [&](const std::string &what) {
    if (++unexplained <= 40) ADD_FAILURE() << c.source << "." << c.charmap << ": " << what;
  };

  // D1: in a single-byte codeset every byte is a character of the
  // library, also the few bytes that the charmap leaves out.
  for (const auto &s : mine)
    if (!theirs_set.count(s)) {
      if (single) t.add("D1 single-byte codeset: every byte a character", hex(s));
      else fail("valid only in the library: " + hex(s));
    }
  // D2: glibc's converters are algorithmic and accept code points that the
  // charmap does not list; glibc gives them no class.
  for (const auto &s : theirs)
    if (!mine_set.count(s)) {
      mbstate_t st{};
      wchar_t wc = 0;
      mbrtowc(&wc, s.data(), s.size(), &st);
      bool any = false;
      for (const auto &k : kClasses) any |= k.glibc(static_cast<wint_t>(wc)) != 0;
      std::string back = g_mb(wc);
      if (!any) t.add("D2 unlisted code points valid only in glibc", hex(s));
      // D3: a one-way (irreversible) mapping of glibc's converter: the
      // bytes decode to a character that encodes as other bytes, which
      // are the library's character.
      else if (back != s && mine_set.count(back)) t.add("D3 one-way decoding of glibc", hex(s) + "->" + hex(back));
      else fail("valid only in glibc, with classes: " + hex(s));
    }

  const uint32_t full = vl_ctype(p.h, "full_width");
  EXPECT_NE(full, 0u) << "no full_width class";
  // The locale-defined classes that glibc knows by the same name.
  struct Local {
    std::string name;
    uint32_t mask;
    wctype_t glibc;
  };
  std::vector<Local> local;
  for (int32_t i = 0; i < p.h->ctype.class_count; ++i) {
    std::string name = p.h->ctype.class_names[i].name;
    if (name == "full_width") continue;
    wctype_t wt = wctype(name.c_str());
    EXPECT_NE(wt, static_cast<wctype_t>(0)) << "glibc lacks class " << name;
    if (wt) local.push_back({name, vl_ctype(p.h, name.c_str()), wt});
  }

  // D5: only five locale-defined classes fit a row; the others are left
  // out, and the library does not know their names.
  for (const char *name : {"combining", "combining_level3", "jspace", "jhira", "jkata", "jkanji", "jdigit", "hangul",
                           "hanja", "hanzi"})
    if (wctype(name) != 0 && vl_ctype(p.h, name) == 0) t.add("D5 locale class left out", name);

  for (const auto &s : mine) {
    if (!theirs_set.count(s)) continue;
    mbstate_t st{};
    wchar_t gw = 0;
    mbrtowc(&gw, s.data(), s.size(), &st);
    vl_wchar vw = 0;
    int n = vl_full_mbtowc(p.h, &vw, s.c_str(), 4);
    if (s.size() == 1 && s[0] == 0) n = 1;  // the zero byte converts with length 0
    if (n != static_cast<int>(s.size())) {
      fail("length of " + hex(s) + ": " + std::to_string(n));
      continue;
    }
    // The multibyte form of the wide value, both ways round.
    if (v_mb(p.h, vw) != s) fail("multibyte form of " + hex(s) + " is " + hex(v_mb(p.h, vw)));
    std::string gm = g_mb(gw);
    if (gm != s) fail("glibc encodes " + hex(s) + " as " + hex(gm));

    for (const auto &k : kClasses) {
      bool v = _vl_im_iswctype(p.h, vw, k.mask) != 0;
      bool vm = _vl_im_ismctype(p.h, s.c_str(), k.mask) != 0;
      bool g = k.glibc(static_cast<wint_t>(gw)) != 0;
      if (v != vm) fail(std::string(k.name) + " differs between wide and multibyte forms: " + hex(s));
      if (v != g) fail(std::string(k.name) + " of " + hex(s) + ": library " + (v ? "yes" : "no"));
    }
    if (single) {
      uint16_t row = p.h->class_table ? p.h->class_table[static_cast<unsigned char>(s[0])] : 0;
      for (const auto &k : kClasses)
        if (((row & k.mask) != 0) != (_vl_im_iswctype(p.h, vw, k.mask) != 0))
          fail(std::string("class table: ") + k.name + " of " + hex(s));
    }
    bool vf = full && _vl_im_iswctype(p.h, vw, full) != 0;
    bool gf = wcwidth(gw) == 2;
    if (vf != gf) fail("full_width of " + hex(s) + ": library " + (vf ? "yes" : "no"));
    for (const auto &l : local) {
      bool v = _vl_im_iswctype(p.h, vw, l.mask) != 0;
      bool g = iswctype(static_cast<wint_t>(gw), l.glibc) != 0;
      if (v != g) fail("class " + l.name + " of " + hex(s) + ": library " + (v ? "yes" : "no"));
    }

    // Case: glibc's mapping, where its target is a character of the
    // codeset (D4 otherwise), against the library's.
    for (int up = 0; up < 2; ++up) {
      vl_wchar vr = up ? _vl_im_towupper(p.h, vw) : _vl_im_towlower(p.h, vw);
      wint_t gr = up ? towupper(static_cast<wint_t>(gw)) : towlower(static_cast<wint_t>(gw));
      std::string vb = v_mb(p.h, vr), gb = g_mb(static_cast<wchar_t>(gr));
      if (gr != static_cast<wint_t>(gw) && (gb.empty() || !mine_set.count(gb))) {
        t.add("D4 case target outside the codeset", hex(s));
        gb = s;
      }
      if (vb != gb) fail(std::string(up ? "toupper" : "tolower") + " of " + hex(s) + ": library " + hex(vb) + ", glibc " + hex(gb));
      if (single && p.h->upper_table) {
        unsigned char tb = (up ? p.h->upper_table : p.h->lower_table)[static_cast<unsigned char>(s[0])];
        if (std::string(1, static_cast<char>(tb)) != vb) fail("case table of " + hex(s));
      }
    }
  }
  uselocale(old);
  t.report((std::string(c.source) + "." + c.charmap).c_str());
  printf("[oracle] %s.%s: %zu characters in the library, %zu in glibc\n", c.source, c.charmap, mine.size(),
         theirs.size());
  EXPECT_EQ(unexplained, 0);
}

// The file sits where the library looks for the locale's specification.
TEST_P(Oracle, FileName) {
  const Case &c = GetParam();
  Pair p;
  load(c, p);
  if (HasFatalFailure()) return;
  std::string reg = std::string(VLS_ORACLE_KELVANIX) + "/vls/cm3/registry";
  std::string spec = std::string(c.source) + "." + p.codeset;
  char out[400];
  ASSERT_EQ(vl_lc_spec2lc_fname(nullptr, spec.c_str(), out, reg.c_str(), nullptr), 0) << spec;
  EXPECT_STREQ(out, c.file);
  vl_locale_t *h = nullptr;
  EXPECT_EQ(vl_lc_load(&h, spec.c_str(), reg.c_str(), nullptr), 0) << spec;
  vl_lc_unload(h);
}

// ---- numbers, money, messages ------------------------------------------------------------

std::string s_or_empty(const char *s) { return s ? s : ""; }

TEST_P(Oracle, Conventions) {
  const Case &c = GetParam();
  Pair p;
  load(c, p);
  if (HasFatalFailure()) return;
  locale_t old = uselocale(p.g);
  const struct lconv *g = localeconv();
  const vlconv *v = vl_localeconv(p.h);
  Tally t;
  auto str = [&](const char *name, const char *vs, const char *gs) {
    std::string a = s_or_empty(vs), b = s_or_empty(gs);
    if (a == b) return;
    EXPECT_EQ(hex(a), hex(b)) << name;
  };
  str("decimal_point", v->decimal_point, g->decimal_point);
  str("thousands_sep", v->thousands_sep, g->thousands_sep);
  str("grouping", v->grouping, g->grouping);
  str("int_curr_symbol", v->int_curr_symbol, g->int_curr_symbol);
  str("currency_symbol", v->currency_symbol, g->currency_symbol);
  str("mon_decimal_point", v->mon_decimal_point, g->mon_decimal_point);
  str("mon_thousands_sep", v->mon_thousands_sep, g->mon_thousands_sep);
  str("mon_grouping", v->mon_grouping, g->mon_grouping);
  str("positive_sign", v->positive_sign, g->positive_sign);
  str("negative_sign", v->negative_sign, g->negative_sign);
  const signed char vi[8] = {v->int_frac_digits, v->frac_digits, v->p_cs_precedes, v->p_sep_by_space,
                             v->n_cs_precedes,   v->n_sep_by_space, v->p_sign_posn, v->n_sign_posn};
  const char gi[8] = {g->int_frac_digits, g->frac_digits, g->p_cs_precedes, g->p_sep_by_space,
                      g->n_cs_precedes,   g->n_sep_by_space, g->p_sign_posn, g->n_sign_posn};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(static_cast<int>(vi[i]), static_cast<int>(static_cast<signed char>(gi[i]))) << "integer " << i;
  // The number signs have no glibc counterpart: "" and "-".
  EXPECT_EQ(s_or_empty(v->num_positive_sign), "");
  EXPECT_EQ(s_or_empty(v->num_negative_sign), "-");

  str("yesexpr", vl_nl_langinfo(p.h, VL_YESEXPR), nl_langinfo(YESEXPR));
  str("noexpr", vl_nl_langinfo(p.h, VL_NOEXPR), nl_langinfo(NOEXPR));
  str("yesstr", vl_nl_langinfo(p.h, VL_YESSTR), nl_langinfo(__YESSTR));
  str("nostr", vl_nl_langinfo(p.h, VL_NOSTR), nl_langinfo(__NOSTR));
  uselocale(old);
  t.report((std::string(c.source) + "." + c.charmap).c_str());
}

// ---- time -----------------------------------------------------------------------------------

TEST_P(Oracle, Time) {
  const Case &c = GetParam();
  Pair p;
  load(c, p);
  if (HasFatalFailure()) return;
  const time_category &tc = p.h->time;
  if (!tc.day[0]) GTEST_SKIP() << "the library does not read LC_TIME yet";
  locale_t g = p.g;
  auto str = [&](const std::string &name, const char *vs, const char *gs) {
    std::string a = s_or_empty(vs), b = s_or_empty(gs);
    if (a != b) ADD_FAILURE() << name << ": library " << hex(a) << ", glibc " << hex(b);
  };
  for (int i = 0; i < 7; ++i) {
    str("abday " + std::to_string(i), tc.abday[i], nl_langinfo_l(ABDAY_1 + i, g));
    str("day " + std::to_string(i), tc.day[i], nl_langinfo_l(DAY_1 + i, g));
  }
  ASSERT_EQ(tc.mon_count, 12);
  ASSERT_EQ(tc.abmon_count, 12);
  for (int i = 0; i < 12; ++i) {
    str("abmon " + std::to_string(i), tc.abmon[i], nl_langinfo_l(ABMON_1 + i, g));
    str("mon " + std::to_string(i), tc.mon[i], nl_langinfo_l(MON_1 + i, g));
  }
  str("am", tc.am_str, nl_langinfo_l(AM_STR, g));
  str("pm", tc.pm_str, nl_langinfo_l(PM_STR, g));
  str("d_t_fmt", tc.d_t_fmt, nl_langinfo_l(D_T_FMT, g));
  str("d_fmt", tc.d_fmt, nl_langinfo_l(D_FMT, g));
  str("t_fmt", tc.t_fmt, nl_langinfo_l(T_FMT, g));
  str("t_fmt_ampm", tc.t_fmt_ampm, nl_langinfo_l(T_FMT_AMPM, g));
  str("era_d_fmt", tc.era_d_fmt, nl_langinfo_l(ERA_D_FMT, g));
  str("era_t_fmt", tc.era_t_fmt, nl_langinfo_l(ERA_T_FMT, g));
  str("era_d_t_fmt", tc.era_d_t_fmt, nl_langinfo_l(ERA_D_T_FMT, g));

  // Eras: the library's form has a second name behind the name (D5); with
  // it taken out the texts agree.
  int geras = static_cast<int>(reinterpret_cast<intptr_t>(nl_langinfo_l(_NL_TIME_ERA_NUM_ENTRIES, g)));
  ASSERT_EQ(tc.era_count, geras);
  const char *ge = nl_langinfo_l(ERA, g);
  for (int i = 0; i < geras; ++i) {
    std::vector<std::string> f;
    std::string e = tc.era_strings[i];
    for (size_t start = 0;;) {
      size_t colon = e.find(':', start);
      if (colon == std::string::npos || f.size() == 6) {
        f.push_back(e.substr(start));
        break;
      }
      f.push_back(e.substr(start, colon - start));
      start = colon + 1;
    }
    ASSERT_EQ(f.size(), 7u) << e;
    EXPECT_EQ(f[4], f[5]) << "the second name repeats the name";
    std::string without = f[0] + ":" + f[1] + ":" + f[2] + ":" + f[3] + ":" + f[4] + ":" + f[6];
    str("era " + std::to_string(i), without.c_str(), ge);
    ge += strlen(ge) + 1;
  }
  const char *ga = nl_langinfo_l(ALT_DIGITS, g);
  for (int i = 0; i < tc.alt_digits_count; ++i) {
    str("alt digit " + std::to_string(i), tc.alt_digits[i], ga);
    ga += strlen(ga) + 1;
  }
  if (tc.alt_digits_count == 0) {
    EXPECT_STREQ(ga, "");
  }
}

// default.lco is en_US in ISO-8859-1.
TEST(OracleShippedSet, DefaultLocale) {
  setenv("KELVANIXDIR", VLS_ORACLE_KELVANIX, 1);
  vl_locale_t *h = nullptr;
  ASSERT_EQ(vl_createlocale_4(&h), 0);
  EXPECT_STREQ(h->codeset_names[0], "8859-1");
  EXPECT_STREQ(vl_localeconv(h)->currency_symbol, "$");
  EXPECT_EQ(h->single_byte, 1);
  vl_lc_unload(h);
}

// The shipped registry gives every name of the built-in table the table's
// number, and reads as a whole.
TEST(OracleShippedSet, Registry) {
  std::string reg = std::string(VLS_ORACLE_KELVANIX) + "/vls/cm3/registry";
  std::set<std::string> seen;
  for (const vl_registry_pair *p = vls_canned_registry; p->name; ++p) {
    if (!seen.insert(p->name).second) continue;  // the first entry of a name wins
    EXPECT_EQ(vl_cs_name2cs_num(nullptr, p->name, reg.c_str()), p->number) << p->name;
  }
  EXPECT_EQ(vl_cs_name2cs_num(nullptr, "8859-15", reg.c_str()), 57391);
  vl_locale_t *h = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  vl_cache_registry(h, reg.c_str());
  EXPECT_NE(vls_registry_list_cache, nullptr);
  EXPECT_EQ(h->vl_errno, 0u);
  vl_free_registry_cache();
  vl_lc_unload(h);
}

// Every deviation that the tests above allow has its entry in the list.
TEST(OracleDeviations, AreDocumented) {
  FILE *f = fopen(VLS_ORACLE_SOURCE_DIR "/docs/locale-deviations.md", "r");
  ASSERT_NE(f, nullptr);
  std::string doc;
  char buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0) doc.append(buf, n);
  fclose(f);
  for (const char *id : {"D1", "D2", "D3", "D4", "D5", "D6", "D7"})
    EXPECT_NE(doc.find(std::string("## ") + id + " "), std::string::npos) << id << " is not documented";
}

std::string case_name(const ::testing::TestParamInfo<Case> &info) {
  std::string n = std::string(info.param.source) + "_" + info.param.charmap;
  for (auto &ch : n)
    if (!isalnum(static_cast<unsigned char>(ch))) ch = '_';
  return n;
}

INSTANTIATE_TEST_SUITE_P(Shipped, Oracle, ::testing::ValuesIn(kCases), case_name);

}  // namespace
