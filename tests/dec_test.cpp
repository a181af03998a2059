// Decimal record and the locale-free conversions: the documented quirks, bounds
// and fixed forms, as operations of dec_model/decops.h with their results. The
// arithmetic at large is checked against the reference model (tests/decmodel.py).
#include "vlstest.h"

#include "dec_model/decops.h"

namespace {
// Status fields of the failures.
const std::string kNoFit = std::to_string(DEC_E_NOFIT) + "|", kBadNum = std::to_string(DEC_E_BADNUM) + "|";
}  // namespace

// Rows the reference model reaches (every line and branch of the arithmetic,
// compare, load, round, truncate, store and machine-number conversions) are
// left to it; these are the operations and forms it does not generate.
TEST(Dec, Operations) {
  const std::pair<const char *, std::string> cases[] = {
      {"sub +1:1.0*14.5 +1:1.0*14.2", "0|+-14:3"},  // down to the last byte of the frame
      {"cmp +1:5 +1:5.1", "-1"},  {"cmp -1:5 -1:5.1", "1"},  // fewer digits: smaller
      {"iszero +-64:", "1"},  {"iszero null", "0"},  {"iszero +1:1", "0"},  {"iszero +3:", "0"},
      {"copy -2:12.34 +9:1.2.3.4.5", "-2:12.34|12.34.3.4.5.0.0.0.0.0.0.0.0.0.0.0"},  // the rest stays
      {"load 1 3 99*17", "0|+4:1.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0"},  // a carry out of the first digit
      {"loadin +0:0.0.5.6.0 2", "0|+0:5.6"},  // the digits may lie inside the result
      // machine numbers; out of range, the target keeps its 12345
      {"cvint -32768", "0|null"},  {"cvint -32767", "0|-3:3.27.67"},  {"cvint 40000", "0|+3:4"},
      {"cvdbl 0", "0|+-64:"},  {"cvdbl -0.0", "0|+-64:"},  {"cvdbl nulld", "0|null"},  {"cvflt nulld", "0|null"},
      {"cvflt fnan", kBadNum + "+-64:"},  // a widened float NaN is not the null double
      // digit strings: carries, and a buffer that keeps its "-"
      {"fcvt +0:99.90 2", "100|1|0"},  {"ecvt +1:99.99 3", "100|3|0"},  {"kecvt +0:99.90 2 8", "0|10|1|0"},
      {"kfcvt +0:99.90 2 3", kNoFit + "-|1|0"},
  };
  for (const auto &[op, want] : cases) EXPECT_EQ(decops::run(op), want) << op;
}

TEST(Dec, LongRequestsGrowTheSharedBuffer) {
  // Larger than anything before in this process, so both growths happen here.
  decimal_t d = decops::rec("+50:3");
  int decpt = 0, sign = 0;
  static char wide[4000];
  EXPECT_EQ(kvx_deccvt(&d, 2000, &decpt, &sign, 1, wide, sizeof wide), 0);  // realloc keeps the digits
  EXPECT_EQ(strlen(wide) * 10 + (size_t)(wide[0] - '0'), 20993u);
  ASSERT_NE(decfcvt(&d, 3000, &decpt, &sign), nullptr);
  const char *t = dececvt(&d, 3500, &decpt, &sign);
  EXPECT_EQ(strlen(t) * 10 + (size_t)(t[0] - '0'), 35003u);
}

TEST(Dec, TextReaders) {
  const std::tuple<const char *, int, int32_t> hexes[] = {{"10", 0, 16}, {"aBcD  ", 0, 0xABCD}, {"ffffffff\n", 0, -1},
      {"123456789", 0, 0x23456789}, {"10.5", -1, 5}, {"12 3", -1, 5}, {"g", -1, 5}};
  for (const auto &[text, st, want] : hexes) {
    int32_t v = 5;
    EXPECT_EQ(decxtoi(text, &v), st) << text;
    EXPECT_EQ(v, want) << text;
  }
  const std::tuple<const char *, int, int> decs[] = {{"-123e", 4, -123}, {"+7", 2, 7}, {"x", 0, 0}};
  for (const auto &[text, used, want] : decs) {
    int v = 9;
    EXPECT_EQ(decstoi(text, &v), text + used) << text;
    EXPECT_EQ(v, want) << text;
  }
}
