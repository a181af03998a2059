// Collation: the LC_COLLATE reader on hand-made sections, the engine and
// its sort keys, the single-byte paths against the engine, the key digits
// and the code-value comparisons.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <tuple>
#include <string>
#include <vector>

#include <vls/vls.h>
#include <vls/vlscat.h>
#include <vls/vlscoll.h>

#include "lcofix.h"
#include "shipped.h"
#include "lcowriter.h"

namespace {

using vlstest::latin1_spec;

int sgn(int v) { return (v > 0) - (v < 0); }

// The toy order over Latin-1 (rows; words of pass 0 and pass 1):
//   0   every other byte (digits, space, ...)   ignored, ignored
//   1+i a..z                                    0x10+2i, 0x10
//   27+i A..Z                                   as lower, 0x11
//   53  æ                                       expansion 0 "ae", 0x12
//   54  element "ch"                            0x15 (between c and d), 0x10
//   55  '-' and '+'                             weight 3 tied on the code, 0x10
//   56  ß                                       expansion 1 "ss" in both
//   57  ä                                       as a (a class of identical rows)
std::vector<lcow::Row> toy_rows() {
  std::vector<lcow::Row> rows;
  for (unsigned b = 0; b < 256; ++b) {
    uint16_t r = 0;
    if (b >= 'a' && b <= 'z') r = 1 + (b - 'a');
    if (b >= 'A' && b <= 'Z') r = 27 + (b - 'A');
    if (b == 0xE6) r = 53;
    if (b == '-' || b == '+') r = 55;
    if (b == 0xDF) r = 56;
    if (b == 0xE4) r = 57;
    rows.push_back({std::string(1, static_cast<char>(b)), r});
  }
  return rows;
}

std::string hex4(unsigned v) {
  char b[8];
  snprintf(b, sizeof b, "%04X", v);
  return b;
}

// The section behind the tree: counts, flags, records, row lines.
std::string toy_body(const char *flags) {
  std::string s = "0\n57 2 1 2 64\n" + std::string(flags) + "\n";
  s += "200360000006300000068\n";                 // element "ch" -> row 54 (0x36)
  s += "20000006100000065\n20000007300000073\n";  // expansions "ae", "ss"
  for (unsigned r = 0; r <= 57; ++r) {
    unsigned w0 = 1, w1 = 1;
    if (r >= 1 && r <= 26) w0 = 0x10 + 2 * (r - 1), w1 = 0x10;
    if (r >= 27 && r <= 52) w0 = 0x10 + 2 * (r - 27), w1 = 0x11;
    if (r == 53) w0 = 0x4000, w1 = 0x12;
    if (r == 54) w0 = 0x15, w1 = 0x10;
    if (r == 55) w0 = 0x8003, w1 = 0x10;
    if (r == 56) w0 = w1 = 0x4001;
    if (r == 57) w0 = w1 = 0x10;
    s += hex4(w0) + hex4(w1) + "\n";
  }
  return s;
}

std::string tree_of(const std::vector<lcow::Row> &rows) {
  std::string t;
  EXPECT_TRUE(lcow::tree_text(rows, true, t));
  return t;
}

std::string toy(const char *flags = "00010002") { return "as_specified\n" + tree_of(toy_rows()) + toy_body(flags); }

class Coll : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(h = vlstest::make_handle(latin1_spec()), nullptr); }
  void TearDown() override { vl_lc_unload(h); }
  // Reads `section` as the handle's collation and readies the handle.
  int load(std::string section) {
    vl_free_category(h, VL_LC_COLLATE);
    vl_make_null_category(h, VL_LC_COLLATE);
    h->vl_errno = 0;
    FILE *f = fmemopen(section.data(), section.size(), "r");
    const int r = read_collate(f, h);
    fclose(f);
    set_flags(h);
    return r;
  }
  vl_locale_t *h = nullptr;
};

struct Pair { const char *a, *b; int back, fwd; };  // the sign with pass 1 backward, forward
constexpr Pair kPairs[] = {
    {"a", "b", -1, -1},    {"ab", "a b", 0, 0},   {"a", "A", -1, -1},   {"cz", "ch", -1, -1},
    {"ch", "d", -1, -1},   {"\xe6", "ae", 1, 1},  {"-", "+", 1, 1},     {"\xdf", "ss", 0, 0},
    {"\xe4", "a", 0, 0},   {"Ab", "aB", -1, 1},   {"", "0", 0, 0},      {"a", "a0", 0, 0},
    {"a", "ab", -1, -1},   {"ach", "acz", 1, 1},  {"\xe6z", "aez", 1, 1}, {"B", "a", 1, 1},
};

// The engine, the handle's chosen path and the keys agree on every pair.
TEST_F(Coll, OrderOfTheToyInBothDirections) {
  for (const char *flags : {"00010002", "00010001"}) {
    ASSERT_EQ(load(toy(flags)), 0) << flags;
    const bool back = flags[7] == '2';
    EXPECT_EQ(h->mbscoll_fn, back ? &_vl_im_mbscoll : &_vl_is_mbscoll_exp_elem);
    for (const Pair &p : kPairs) {
      SCOPED_TRACE(std::string(flags) + ": " + p.a + " | " + p.b);
      const int want = back ? p.back : p.fwd;
      EXPECT_EQ(sgn(_vl_im_mbscoll(h, p.a, p.b)), want);
      EXPECT_EQ(sgn(h->mbscoll_fn(h, p.a, p.b)), want);
      EXPECT_EQ(sgn(h->mbfscoll_fn(h, p.a, int32_t(strlen(p.a)), p.b, int32_t(strlen(p.b)))), want);
      EXPECT_EQ(sgn(h->mbscoll_fn(h, p.b, p.a)), -want);
      EXPECT_EQ(h->vl_errno, 0u);
      if (!*p.a || !*p.b) continue;  // an empty key has no pass separator
      char ka[64], kb[64];
      ASSERT_GT(vl_full_mbsxfrm(h, ka, p.a, sizeof ka), 0);
      ASSERT_GT(vl_full_mbsxfrm(h, kb, p.b, sizeof kb), 0);
      EXPECT_EQ(sgn(strcmp(ka, kb)), want);
    }
  }
}

TEST_F(Coll, SortKeys) {
  ASSERT_EQ(load(toy()), 0);
  struct Case { const char *s; std::string key; } cases[] = {
      {"a", "\x10\x01\x10"},
      {"-", "\x03\x02\x2d\x01\x10"},  // the tie writes the code: two digits below 64516
      {"ba", "\x12\x10\x01\x10\x10"}, {"\xe6", std::string("\x10\x18\x01\x12")}, {"0", "\x01"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.s);
    char key[32];
    memset(key, 0x7f, sizeof key);
    const int n = vl_full_mbsxfrm(h, key, c.s, sizeof key);
    EXPECT_EQ(std::string(key, n > 0 ? n : 0), c.key);
    EXPECT_EQ(key[n], 0);
    EXPECT_EQ(vl_full_mbsxfrm(h, nullptr, c.s, 0), n);  // measured
    memset(key, 0x7f, sizeof key);
    EXPECT_EQ(vl_full_mbsxfrm(h, key, c.s, n), n);  // exactly the key: no terminator
    EXPECT_EQ(key[n], 0x7f);
  }
  char key[4] = {9};
  EXPECT_EQ(vl_full_mbsxfrm(h, key, "", 4), 0);
  EXPECT_EQ(key[0], 0);
  const vl_wchar empty[] = {0};
  EXPECT_EQ(vl_wcsxfrm(h, key, empty, 4), 1);  // the terminator read as a character: ignored, then a separator
}

// The lists derived from the rows: ignored characters, and pairs of
// characters (or an expansion's text) that collate alike.
TEST_F(Coll, DerivedLists) {
  ASSERT_EQ(load(toy()), 0);
  auto **ignored = static_cast<char **>(h->coll_sb_tables[0]);
  ASSERT_NE(ignored, nullptr);
  size_t n = 0;
  bool zero = false, digit = false;
  for (; ignored[n]; ++n) zero |= ignored[n][0] == 0, digit |= ignored[n][0] == '7';
  // All but the letters, æ, -, +, ß and ä; and the text of expansion 0,
  // which the row of all ones names too.
  EXPECT_EQ(n, 256 - 52 - 5 + 1);
  EXPECT_TRUE(zero && digit);
  std::vector<std::pair<std::string, std::string>> pairs;
  for (auto *p = static_cast<vl_equiv_pair *>(h->coll_sb_tables[1]); p && p->first; ++p) pairs.push_back({p->first, p->last});
  ASSERT_EQ(pairs.size(), n - 1 + 2u);  // the ignored class, then ß and ä
  EXPECT_EQ(pairs[0], std::make_pair(std::string("ae"), std::string("\xff")));
  EXPECT_EQ(pairs[n - 1], std::make_pair(std::string("ss"), std::string("\xdf")));
  EXPECT_EQ(pairs[n], std::make_pair(std::string("a"), std::string("\xe4")));
  EXPECT_EQ(h->coll_expansion, 2.0);
  ASSERT_NE(h->collate.exp_candidates[1], nullptr);
  EXPECT_EQ(h->collate.exp_candidates[0][0xE6], &h->collate.expansions[0]);
  EXPECT_EQ(h->collate.exp_candidates[1][0xE6], nullptr);
  EXPECT_EQ(h->collate.elem_candidates['c'] + h->collate.elem_candidates['h'], 1);
}

// A multibyte collation has its lists from its load; one of more than
// 65,536 characters (every three-byte UTF-8 form beside these) leaves them
// to vl_coll_lists, which makes the same lists once; either load refuses
// an element that could not be listed (1).
TEST_F(Coll, MultibyteListsAtLoadOrOnRequest) {
  // Row 0 ignored ("b", U+00E5); rows 1 and 2 alike ("a", U+00E4).
  std::vector<lcow::Row> rows = {{"a", 1}, {"b", 0}, {"\xc3\xa4", 2}, {"\xc3\xa5", 0}};
  const std::string small = tree_of(rows);
  auto lists = [&] {
    std::vector<std::string> ignored;
    for (auto **p = static_cast<char **>(h->coll_sb_tables[0]); p && *p; ++p) ignored.push_back(*p);
    std::set<std::pair<std::string, std::string>> pairs;
    size_t n = 0;
    for (auto *p = static_cast<vl_equiv_pair *>(h->coll_sb_tables[1]); p && p->first; ++p, ++n) pairs.insert({p->first, p->last});
    return std::make_tuple(ignored, pairs, n);
  };
  const std::vector<std::string> ignored = {"b", "\xc3\xa5"};
  const std::set<std::pair<std::string, std::string>> alike = {{"b", "\xc3\xa5"}, {"a", "\xc3\xa4"}};
  ASSERT_EQ(load("as_specified\n" + small + "0\n2 1 0 0 16\n0001\n0001\n0010\n0010\n"), 0);
  EXPECT_EQ(lists(), std::make_tuple(ignored, alike, size_t{2}));
  for (int a = 0xE0; a <= 0xEF; ++a)
    for (int b = 0x80; b <= 0xBF; ++b)
      for (int c = 0x80; c <= 0xBF; ++c) rows.push_back({std::string{char(a), char(b), char(c)}, 3, true});
  ASSERT_EQ(load("as_specified\n" + tree_of(rows) + "0\n3 1 0 0 16\n0001\n0001\n0010\n0010\n0020\n"), 0);
  EXPECT_EQ(h->coll_sb_tables[0], nullptr);
  EXPECT_EQ(h->coll_sb_tables[1], nullptr);
  ASSERT_EQ(vl_coll_lists(h), 0);
  EXPECT_EQ(lists(), std::make_tuple(ignored, alike, size_t{2}));
  void *const made[2] = {h->coll_sb_tables[0], h->coll_sb_tables[1]};
  EXPECT_EQ(vl_coll_lists(h), 0);  // made once
  EXPECT_EQ(h->coll_sb_tables[0], made[0]);
  EXPECT_EQ(h->coll_sb_tables[1], made[1]);
  h->vl_errno = 0;
  EXPECT_EQ(load("as_specified\n" + small + "0\n2 1 1 0 16\n0001\n1000100000063\n0001\n0010\n0010\n"), -1);
  EXPECT_EQ(h->vl_errno, VL_EILSEQ);  // "c" has no character
}

TEST_F(Coll, DamagedAndSpecialSections) {
  const std::string tree = tree_of(toy_rows()), body = toy_body("00010002");
  auto with = [&](const std::string &from, const std::string &to) {
    std::string s = "as_specified\n" + tree + body;
    s.replace(s.find(from, s.find("57 2")), from.size(), to);
    return s;
  };
  struct Case { const char *name; std::string text; int rc; uint32_t err; int kind; };
  const Case cases[] = {
      {"kind without newline", "as_specified", -1, VL_EBADFILE, 0},
      {"other kind", "weighted\n" + tree, -1, 99, 0},  // the error number stays
      {"thai", "thai_smo\n", 0, 99, VL_COLL_THAI},
      {"counts without newline", with("57 2 1 2 64\n", "57 2 1 2 64 "), -1, VL_EBADFILE, 1},
      {"nine passes", with("57 2 1", "57 9 1"), -1, VL_EBADFILE, 1},
      {"rows beyond 65535", with("57 2 1", "65536 2 1"), -1, VL_EBADFILE, 1},
      {"tree rows beyond max_row", with("57 2 1", "56 2 1"), -1, VL_EBADFILE, 1},
      {"element of no characters", with("20036", "00036"), -1, VL_EBADFILE, 1},
      {"element row beyond", with("20036", "2FFFF"), -1, VL_EBADFILE, 1},
      {"expansion index beyond", with("40014001", "40024001"), -1, VL_EBADFILE, 1},
      {"element code not in the tree", with("00000068\n", "00000168\n"), -1, VL_EILSEQ, 1},
      {"row line without newline", with("00010001\n0010", "000100010010"), -1, 99, 1},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    h->vl_errno = 99;
    vl_free_category(h, VL_LC_COLLATE);
    vl_make_null_category(h, VL_LC_COLLATE);
    std::string text = c.text;
    FILE *f = fmemopen(text.data(), text.size(), "r");
    EXPECT_EQ(read_collate(f, h), c.rc);
    fclose(f);
    EXPECT_EQ(h->vl_errno, c.err);
    EXPECT_EQ(h->collate.collation_kind, c.kind);
  }
}

// Code order: words behind optional spaces and no analysis; the handle then
// compares by code value.
TEST_F(Coll, CodeOrderForm) {
  ASSERT_EQ(load("as_specified\n" + tree_of({{"a", 0}, {"b", 1}, {"c", 1}}) + "1\n1 1 0 0 5\n0001\n 0003 0002"), 0);
  EXPECT_EQ(h->coll_sb_tables[0], nullptr);
  EXPECT_EQ(h->coll_sb_tables[1], nullptr);
  EXPECT_EQ(h->codepoint_collation, 1);
  EXPECT_EQ(sgn(_vl_im_mbscoll(h, "a", "b")), -1);  // by code, not by the words
  EXPECT_EQ(sgn(_vl_im_mbscoll(h, "c", "b")), 1);
  ASSERT_EQ(load("thai_smo\n"), 0);
  EXPECT_EQ(h->mbscoll_fn, &_vl_thaismocoll);
  EXPECT_EQ(vl_getpassdirection(h, 1), -1);
  EXPECT_EQ(h->vl_errno, VL_ENOTSUP);
}

TEST_F(Coll, PassDirection) {
  ASSERT_EQ(load(toy("00010003")), 0);
  struct Case { int pass, want; uint32_t err; } cases[] = {
      {1, 1, 0}, {2, -1, VL_EMISMATCH}, {0, -1, VL_EBADCOUNT}, {3, -1, VL_EBADCOUNT}};
  for (const Case &c : cases) {
    h->vl_errno = 0;
    EXPECT_EQ(vl_getpassdirection(h, c.pass), c.want) << c.pass;
    EXPECT_EQ(h->vl_errno, c.err) << c.pass;
  }
  EXPECT_EQ(vl_getpassdirection(nullptr, 1), -1);
}

TEST(CollKey, WeightDigits) {
  struct Case { uint32_t value, limit; std::vector<unsigned> digits; } cases[] = {
      {5, 253, {5}},           {5, 254, {2, 5}},            {260, 300, {3, 6}},
      {2, 64515, {2, 2}},      {2, 64516, {2, 2, 2}},       {0xFFFF, 0xFFFF, {3, 6, 3}},
      {2, 16387064, {2, 2, 2, 2}}, {0xFFFFFFFF, 0xFFFFFFFF, {3, 10, 26, 34, 15}},
      {1, 255, {(16909320 + 2) & 0xFF, 17}},  // 1 wraps below zero
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.value);
    char buf[8];
    char *out = buf;
    int32_t count = 0;
    write_weight(c.value, c.limit, &out, &count, sizeof buf);
    ASSERT_EQ(count, int32_t(c.digits.size()));
    for (size_t i = 0; i < c.digits.size(); ++i) EXPECT_EQ(static_cast<unsigned char>(buf[i]), c.digits[i]);
    out = buf;
    count = 0;
    write_weight(c.value, c.limit, &out, &count, 0);
    EXPECT_EQ(out, buf);
    EXPECT_EQ(count, int32_t(c.digits.size()));
  }
}

TEST(CollCodeValue, Comparisons) {
  const vl_wchar ab[] = {'a', 0xFFFFFFF0u, 0}, ac[] = {'a', 'c', 0}, a[] = {'a', 0};
  EXPECT_EQ(vl_wcscmp(ab, ac), 1);  // unsigned codes
  EXPECT_EQ(vl_wcscmp(a, ac), -1);
  EXPECT_EQ(vl_wcscmp(ac, ac), 0);
  EXPECT_EQ(_kvx_vl_wcfscmp(ac, 2, a, 1), 1);
  EXPECT_EQ(_kvx_vl_wcfscmp(ac, 0, a, 1), -1);
  EXPECT_EQ(_kvx_vl_wcfscmp(ab, 2, ac, 2), 1);
  EXPECT_EQ(vl_wcsncmp(ac, ab, 2), int('c' - 0xFFFFFFF0u));  // the plain difference
  EXPECT_EQ(vl_wcsncmp(ac, ab, 1), 0);
  EXPECT_EQ(vl_wcsncmp(ac, ab, 0), 0);
  vl_locale_t *h = vlstest::make_handle(vlstest::euc_spec());
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(_kvx_vl_mbscmp(h, "ab", 2, "abc", -1), 0);
  EXPECT_EQ(h->vl_errno, VL_EMIXEDLEN);
  EXPECT_EQ(_kvx_vl_mbscmp(h, "ab", 2, "abc", 3), -1);
  EXPECT_EQ(_kvx_vl_mbscmp(h, "ac", 2, "abc", 3), 1);
  EXPECT_EQ(vl_full_mbscmp(h, "\xa1\xa1", "z"), 1);  // a longer character is above
  EXPECT_EQ(vl_full_mbscmp(h, "a\xa1\xa2", "a\xa1\xa1"), 1);
  EXPECT_EQ(vl_full_mbscmp(h, "ab", "abc"), -1);
  EXPECT_EQ(vl_full_mbsncmp(h, "\xa1\xa1x", "\xa1\xa1y", 1), 0);
  EXPECT_EQ(vl_full_mbsncmp(h, "\xa1\xa1x", "\xa1\xa1", 2), 1);
  h->vl_errno = 0;
  EXPECT_EQ(vl_full_mbsncmp(h, "\xa1", "a", 1), 0);  // a cut character
  EXPECT_EQ(h->vl_errno, VL_EILSEQ);
  vl_lc_unload(h);
}

// Multibyte comparisons that the fast table decides read the first pass from
// the bytes and only check the rest of each text: against the wide engine
// on the shipped en_US.UTF-8, decided at once, behind ignored characters or
// a tie of two-byte letters, with rests of every length around words of
// eight bytes and a byte that is no character, a stray trail, a cut
// three-byte character or a lead left at the end anywhere behind the
// decided position; terminated and counted (with bytes beyond the count).
TEST(CollFast, MultibyteRestsAreTheWideEngine) {
  vl_locale_t *h = vlstest::load_locale(vlstest::kShipped, "en_us/e01c.lco");
  ASSERT_NE(h, nullptr);
  ASSERT_EQ(h->mbscoll_fn, &_vl_im_mbscoll);
  const char *const heads[][2] = {
      {"M\xc3\xbcller-\xc3\x96st", "Mueller-Ost"}, {"a", "b"}, {"b", "a"}, {"\xc3\xa9", "e"}, {"Zo\xc3\xab", "Zoe"},
      {"-a", "b"}, {"\xc5\x93uvre", "oeuvre"}, {"x\xc3\xa9", "x\xc3\xa8"}, {"", "a"},
      {"abc\xc3\xa9", "abce"}, {"abcd\xc3\xa9", "abcde"},  // a shared head just below and at 4 bytes
  };
  const char *const pieces[] = {"a", "Q", " ", "\xc3\xa9", "\xc5\xbf", "\xe2\x82\xac", "7"};
  const char *const bad[] = {"\xff", "\x80", "\xe2\x82", "\xc3"};  // the last ones only at the end
  const std::string tail_after = "\xff\xc3";  // beyond a counted text
  auto wide_coll = [h](const std::string &a, const std::string &b, int &r, uint32_t &err) {
    std::vector<vl_wchar> wa(a.size() + 1), wb(b.size() + 1);
    if (h->mbstowcs_fn(h, wa.data(), a.c_str(), static_cast<int32_t>(wa.size())) < 0 ||
        h->mbstowcs_fn(h, wb.data(), b.c_str(), static_cast<int32_t>(wb.size())) < 0) {
      r = 0, err = VL_EILSEQ;
      return;
    }
    h->vl_errno = 0;
    r = vl_full_wcscoll(h, wa.data(), wb.data());
    err = h->vl_errno;
  };
  long bad_rows = 0, rows = 0;
  for (const auto &hd : heads)
    for (int len = 0; len <= 19; ++len)
      for (int kind = 0; kind < 6; ++kind) {
        // A rest of `len` pieces on one side, on the other or both, with a
        // faulty piece somewhere in it (kinds 3..5).
        std::string rest;
        for (int k = 0; k < len; ++k) rest += pieces[(k * 5 + len + kind) % 7];
        if (kind >= 3 && len > 0) {
          const size_t at = (kind == 5) ? rest.size() : (rest.size() * static_cast<size_t>(len % 4)) / 4;
          rest.insert(at, bad[kind == 5 ? 2 + len % 2 : len % 2]);
        }
        const std::string a = hd[0] + ((kind % 3) != 1 ? rest : std::string());
        const std::string b = hd[1] + ((kind % 3) != 0 ? rest.substr(0, rest.size() / 2 + 1) : std::string());
        for (int swap = 0; swap < 2; ++swap) {
          const std::string &x = swap ? b : a, &y = swap ? a : b;
          int want;
          uint32_t want_err;
          wide_coll(x, y, want, want_err);
          h->vl_errno = 0;
          const int mb = _vl_im_mbscoll(h, x.c_str(), y.c_str());
          const uint32_t mb_err = h->vl_errno;
          const std::string cx = x + tail_after, cy = y + "zz" + tail_after;
          h->vl_errno = 0;
          const int counted = _kvx_vl_im_mbfscoll(h, cx.data(), static_cast<int32_t>(x.size()), cy.data(),
                                                  static_cast<int32_t>(y.size()));
          ++rows;
          if ((mb != want || counted != want || mb_err != want_err || h->vl_errno != want_err) && bad_rows++ < 10)
            ADD_FAILURE() << vlstest::hex(x) << " | " << vlstest::hex(y) << ": terminated " << mb << " error " << mb_err
                          << ", counted " << counted << " error " << h->vl_errno << ", wide " << want << " error "
                          << want_err;
        }
      }
  EXPECT_EQ(bad_rows, 0) << "of " << rows;
  vl_lc_unload(h);
}

}  // namespace
