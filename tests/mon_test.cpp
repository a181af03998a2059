// Money: the formatter's directives and rounding on the shipped en_US and
// de_DE, the position masks, and the parser as the formatter's inverse over
// every layout the three fields allow.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>

#include <vls/libvls.h>
#include <vls/vlsmon.h>

#include "shipped.h"

namespace {

using namespace vlstest;

class Mon : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { us_ = load_locale(kShipped, "en_us/0333.lco"), de_ = load_locale(kShipped, "de_de/0333.lco"); }
  void SetUp() override { ASSERT_TRUE(us_ && de_); }
  static void TearDownTestSuite() { vl_lc_unload(us_), vl_lc_unload(de_); }
  static inline vl_locale_t *us_ = nullptr, *de_ = nullptr;
  // Tests change the layout fields; they come back whatever happens.
  struct Keep {
    vl_nmm_block saved = us_->nmm;
    ~Keep() { us_->nmm = saved; }
  };
};

std::string fmon(vl_locale_t *h, const char *format, double v, int size = 128) {
  char out[256];
  h->vl_errno = 0;
  const int n = vl_mbsfmon(h, out, size, format, v, v);  // enough for two directives
  return n < 0 ? "error " + std::to_string(h->vl_errno) : std::string(out, n);
}

// Edits of en_US's fields for rows of the format table.
void grouping_3_then_none(vl_nmm_block &m) { m.mon_grouping[0] = 2, m.mon_grouping[1] = 3, m.mon_grouping[2] = -1; }
void no_decimal_point(vl_nmm_block &m) {
  static char mb[4] = {};
  static vl_wchar wc[1] = {};
  m.mon_decimal_point = {mb, wc};
}
void two_character_point(vl_nmm_block &m) {
  static char mb[6] = {'.', ':'};
  static vl_wchar wc[3] = {'.', ':'};
  m.mon_decimal_point = {mb, wc};
}
void sign_position_0_separation_10(vl_nmm_block &m) { m.n_sign_posn = 0, m.n_sep_by_space = 10; }

TEST_F(Mon, FormatTable) {
  struct Case { bool de; const char *format; double value; const char *want; void (*edit)(vl_nmm_block &) = nullptr; } cases[] = {
      {false, "%n", 1234567.891, "$1,234,567.89"}, {false, "%n", -1234.5, "-$1,234.50"},
      {false, "%i", -1234.5, "-USD 1,234.50"},
      {false, "%n", 0.995, "$1.00"},             // rounded on the "%f" text, not the binary value
      {false, "%.0n", 999.5, "$1,000"},          // the carry prefixes a digit before grouping
      {false, "%.0n", -1234.5, "-$1,235"},       // five rounds up
      {false, "%.8n", 0.125, "$0.12500000"},     // "%f" gives six digits, then zeros
      {false, "%n", -0.001, "-$0.00"},           // rounds to zero, laid out as negative
      {false, "%n", -0.0, "$0.00"},              // negative zero is not below zero
      {false, "%(n", -2.0, "($2.00)"}, {false, "%!n", 5.0, "5.00"}, {false, "%^n", 1234567.0, "$1234567.00"},
      {false, "%=*#5n", 123.45, " $***123.45"},  // fill ahead of the separator a width of 5 would take
      {false, "%#5n", -123.45, "-$   123.45"},    // both layouts feed the alignment
      {false, "%#5n", 123.45, " $   123.45"}, {false, "%12n|", 1.5, "       $1.50|"},
      {false, "%-12n|", 1.5, "$1.50       |"}, {false, "[%%] %n", 1.0, "[%] $1.00"}, {false, "%x", 1.0, "error 20"},
      {true, "%n", -1234.5, "-1.234,50 EUR"},
      {true, "%!n", 1.0, "1,00 "},                // the blank behind the number stays
      {true, "%i", 1.0, "1,00 EUR "},
      {true, "%=0#6.1n", 42.0, " 0000042,0 EUR"},  // the negative layout's sign takes a column
      {false, "%n", 1234567.0, "$1234,567.00", grouping_3_then_none},  // a size below 1 ends grouping
      {false, "%n", 1234567.0, "$123,456700", no_decimal_point},       // the last character is set aside as the point
      {false, "%n", 1234567.0, "$12,345,67.:00", two_character_point},  // ... whatever the point's length
      {false, "%n", -1.0, "-$1.00", sign_position_0_separation_10},     // key 0 * 10 + 10: sign symbol number
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.format);
    Keep keep;
    if (c.edit) c.edit(us_->nmm);
    EXPECT_EQ(fmon(c.de ? de_ : us_, c.format, c.value), c.want) << c.value;
  }
  // Integer digits beyond 127 characters store 3, and the text is made.
  for (auto [value, err] : {std::pair{5e126, 0u}, std::pair{2e127, uint32_t{VL_ENOMEM}}}) {
    EXPECT_EQ(fmon(us_, "%!^.0n", value, 256).size(), std::to_string(value).size() - 7);
    EXPECT_EQ(us_->vl_errno, err) << value;
  }
  EXPECT_EQ(fmon(us_, "%n", 1.0, 5), "error 14");  // "$1.00" and its terminator need 6
  EXPECT_EQ(fmon(us_, "%n", 1.0, 6), "$1.00");
  EXPECT_EQ(fmon(us_, "", 1.0), "");
  char out[64];
  ASSERT_EQ(vl_mbsfmon(us_, out, sizeof out, "%(n %n", -2.0, -1.0), 15);
  EXPECT_STREQ(out, "($2.00) ($1.00)");  // ( lasts for the rest of the call
}

// With p_sign_posn 0 the + flag turns parentheses into a leading sign.
TEST_F(Mon, PlusReplacesParentheses) {
  Keep keep;
  us_->nmm.p_sign_posn = 0, us_->nmm.n_sign_posn = 0;
  EXPECT_EQ(fmon(us_, "%n", 2.0), "($2.00)");
  EXPECT_EQ(fmon(us_, "%+n", 2.0), "$2.00");  // en_US's positive_sign is empty
  EXPECT_EQ(fmon(us_, "%+n", -2.0), "-$2.00");
}

// The byte formatter answers common requests itself; whatever it answers
// must be what formatting wide and narrowing gives, in every shipped locale,
// every layout, and at every output size around the result's length.
TEST(MonBytes, EqualsWideInEveryShippedLocale) {
  const char *formats[] = {"%n", "%i", "%^n", "%+n", "%(n", "%!i", "%.0n", "%.3i", "%-n", "%%%n", "x%n y %i", "%.n", "%5n", "%q"};
  const double values[] = {0.0, -0.0, 0.5, 0.995, -1234.5, 999.5, 4294967295.0, 1e12, -98765432.125};
  for (const auto &dir : std::filesystem::recursive_directory_iterator(kShipped + "/vls/lc11")) {
    if (dir.path().extension() != ".lco") continue;
    const std::string file = std::filesystem::relative(dir.path(), kShipped + "/vls/lc11").string();
    vl_locale_t *h = load_locale(kShipped, file.c_str());
    if (!h) continue;  // locales the build cannot load are the loader's tests
    const vl_nmm_block saved = h->nmm;
    for (int layout = 0; layout < 30; ++layout) {
      h->nmm.p_cs_precedes = h->nmm.n_cs_precedes = layout % 2;
      h->nmm.p_sign_posn = h->nmm.n_sign_posn = layout / 2 % 5;
      h->nmm.p_sep_by_space = h->nmm.n_sep_by_space = layout / 10;
      if (layout == 29) h->nmm = saved;
      for (const char *format : formats)
        for (double v : values) {
          SCOPED_TRACE(file + " " + format + " " + std::to_string(v) + " layout " + std::to_string(layout));
          vl_wchar wide[256];
          h->vl_errno = 0;
          const int wn = vl_wcsfmon(h, wide, 256, widen(h, format).data(), v, v);
          const uint32_t werr = h->vl_errno;
          const std::string want = wn < 0 ? "error " + std::to_string(werr) : narrow(h, wide);
          ASSERT_EQ(fmon(h, format, v), want);
          if (wn < 0) continue;
          char out[256];
          for (int size = 0; size <= static_cast<int>(want.size()) + 1; ++size) {
            h->vl_errno = 0;
            const int n = vl_mbsfmon(h, out, size, format, v, v);
            if (size > static_cast<int>(want.size())) EXPECT_EQ(std::string(out, n), want);
            else EXPECT_EQ((std::tuple{n, h->vl_errno}), (std::tuple{-1, VL_E2BIG})) << size;
          }
        }
    }
    vl_lc_unload(h);
  }
}

TEST(MonMask, Table) {
  struct Case { int cs, posn, sep, rc; std::vector<int32_t> mask; } cases[] = {
      {1, 0, 1, 0, {1, 2, 5, 3, 6}}, {1, 1, 2, 0, {4, 5, 2, 3}}, {1, 4, 2, 0, {2, 5, 4, 3}},
      {0, 2, 2, 0, {3, 2, 5, 4}},    {0, 3, 1, 0, {3, 5, 4, 2}}, {0, 1, 1, 0, {4, 3, 5, 2}},
      {1, 5, 0, -1, {}},             {2, 1, 0, -1, {}},          {0, 1, 3, -1, {}},
      {1, 0, 12, 0, {4, 5, 2, 3}},   {0, 2, -10, 0, {4, 3, 2}},  // the key is sign_posn * 10 + sep_by_space
      {1, 5, -8, 0, {2, 5, 4, 3}},   {1, 5, 0x7fffffff, -1, {}},
  };
  for (const Case &c : cases) {
    int32_t m[7];
    EXPECT_EQ(mon_mask(m, c.cs, c.posn, c.sep), c.rc) << c.cs << c.posn << c.sep;
    std::vector<int32_t> got(m, m + 7);
    std::vector<int32_t> want = c.mask;
    want.resize(7, 0);
    EXPECT_EQ(got, want) << c.cs << c.posn << c.sep;
  }
}

// Every layout: what the formatter writes, the parser reads back, and it
// says where it stopped.
TEST_F(Mon, ParseInvertsFormat) {
  Keep keep;
  for (int cs = 0; cs < 2; ++cs)
    for (int posn = 0; posn < 5; ++posn)
      for (int sep = 0; sep < 3; ++sep)
        for (double v : {1234.56, -1234.56, 0.5, -7.0}) {
          us_->nmm.p_cs_precedes = us_->nmm.n_cs_precedes = cs;
          // (Both layouts in parentheses would tie, and a tie reads as positive.)
          us_->nmm.p_sign_posn = posn ? posn : 1, us_->nmm.n_sign_posn = posn;
          us_->nmm.p_sep_by_space = us_->nmm.n_sep_by_space = sep;
          const std::string text = fmon(us_, "%n", v) + "|";
          SCOPED_TRACE(text);
          double got = 99;
          // '-' keeps the leading blank a layout may write for an empty sign.
          const char *end = vl_mbspmon(us_, text.c_str(), "%-'n", &got);
          ASSERT_NE(end, nullptr) << us_->vl_errno;
          EXPECT_EQ(got, v);
          EXPECT_STREQ(end, "|");
        }
}

TEST_F(Mon, ParseTable) {
  struct Case {
    const char *input, *format;
    double value;
    const char *rest;  // null: the parse fails
    uint32_t err;
  } cases[] = {
      {"$12.50 left", "%n", 12.5, " left", 0},
      {"12.50", "%n", 12.5, "", 0},                  // the symbol may be left out
      {"-$3.25", "%n", -3.25, "", 0}, {"$1,234.50", "%'n", 1234.5, "", 0},
      {"$1,234.50", "%n", 1.0, ",234.50", 0},        // no group flag: the number stops at the separator
      {"x $5.00", "x %n", 5.0, "", 0}, {"y $5.00", "x %n", 0, nullptr, VL_EBADFORMAT},
      {"$5.00", "%q", 0, nullptr, VL_EBADFORMAT}, {"$5.00", "%", 0, nullptr, VL_EBADFORMAT},
      {"Z5.00", "%%%n", 5.0, "", 0},                 // %% skips any one character
      {"$abc", "%n", 0, nullptr, VL_EBADARG},
      {"$2147483647", "%n", 0, nullptr, VL_EBADARG},  // that value is no value
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.input) + " / " + c.format);
    double got = 0;
    us_->vl_errno = 0;
    const char *end = vl_mbspmon(us_, c.input, c.format, &got);
    if (!c.rest) {
      EXPECT_EQ((std::tuple{end, us_->vl_errno}), (std::tuple{nullptr, c.err}));
      continue;
    }
    ASSERT_NE(end, nullptr) << us_->vl_errno;
    EXPECT_EQ(got, c.value);
    EXPECT_STREQ(end, c.rest);
  }
  // Parentheses in a locale whose negative layout has them.
  Keep keep;
  us_->nmm.n_sign_posn = 0;
  double got = 0;
  EXPECT_STREQ(vl_mbspmon(us_, "($1.00)", "%n", &got), "");
  EXPECT_EQ(got, -1.0);
}

}  // namespace
