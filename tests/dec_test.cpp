// Decimal record and the locale-free conversions: the documented quirks, bounds
// and fixed forms, as operations of dec_model/decops.h with their results. The
// arithmetic at large is checked against the reference model (tests/decmodel.py).
#include <gtest/gtest.h>

#include <string.h>

#include "dec_model/decops.h"

namespace {
// Status fields of the failures.
const std::string kOver = std::to_string(DEC_E_OVERFLOW) + "|", kUnder = std::to_string(DEC_E_UNDERFLOW) + "|",
                  kDivZero = std::to_string(DEC_E_DIVZERO) + "|", kNoFit = std::to_string(DEC_E_NOFIT) + "|",
                  kBadNum = std::to_string(DEC_E_BADNUM) + "|";
}  // namespace

TEST(Dec, Operations) {
  const std::pair<const char *, std::string> cases[] = {
      // arithmetic
      {"add +16:99*16 +1:1", "0|+17:1"},  // a carry out of sixteen bytes
      {"add +1:1 +-19:1", "0|+1:1"},  {"sub +1:1 +-19:1", "0|+1:1"},  {"add +-19:1 +1:1", "0|+1:1"},  // past the frame
      {"add +2:12.34.56 -2:12.34.56", "0|+-64:"},  {"sub -2:12.34.56 -2:12.34.56", "0|+-64:"},  // exact cancellation
      {"sub +1:1.0*14.5 +1:1.0*14.2", "0|+-14:3"},  // down to the last byte of the frame
      {"add null +1:1", "0|null"},  {"sub +1:1 null", "0|null"},  {"mul -63:7 null", "0|null"},
      {"div null +-64:", "0|null"},  // the null test comes before the zero divisor
      {"div +1:1 +-64:", kDivZero + "+-64:"},  {"div +-64: +1:1", "0|+-64:"},
      {"add +63:99 +63:99", kOver + "+63:1.98"},  {"mul +40:5 +40:5", kOver + "+63:25"},  // clamped, digits kept
      {"mul --40:5 --40:5", kUnder + "+-64:25"},  {"div +63:50 --64:2", kOver + "-63:25"},
      {"div --64:2 +63:50", kUnder + "--64:4"},
      // compare, load, round and truncate
      {"cmp null +1:1", "-2"},  {"cmp +1:1 null", "-2"},  {"cmp null null", "-2"},  {"cmp null +-64:", "-2"},
      {"cmp +1:5 +1:5.1", "-1"},  {"cmp +1:5.1 +1:5", "1"},  {"cmp -1:5 -1:5.1", "1"},  // fewer digits: smaller
      {"iszero +-64:", "1"},  {"iszero null", "0"},  {"iszero +1:1", "0"},  {"iszero +3:", "0"},
      {"copy -2:12.34 +9:1.2.3.4.5", "-2:12.34|12.34.3.4.5.0.0.0.0.0.0.0.0.0.0.0"},  // the rest stays
      {"prec +2:1", "768|768"},  {"prec +-1:10", "259|771"},  {"prec null", "0|0"},
      {"load 1 5 0.0.12.34.0.0", "0|+3:12.34"},  {"load 0 99 0.0.0", "0|+-64:"},  {"load 0 -99", "0|+-64:"},
      {"load -1 1 5", "0|null"},  {"load 1 0 1*16.49.99", "0|+0:1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1"},
      {"load 0 0 1*16.50.0", "0|-0:1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.2"},  // half up on the 17th byte alone
      {"load 1 0 1*15.99.60", "0|+0:1.1.1.1.1.1.1.1.1.1.1.1.1.1.2.0"},  // the zero it leaves stays
      {"load 1 3 99*17", "0|+4:1.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0"},  // a carry out of the first digit
      {"load 1 63 42.7", "0|+63:42.7"},  {"load 1 -64 42.7", "0|+-64:42.7"},  {"load 0 64 42.7", kOver + "-63:42.7"},
      {"load 1 -65 42.7", kUnder + "+-64:42.7"},
      {"load 1 64 0.42", "0|+63:42"},  // leading zeros lower the exponent before the bound
      {"loadin +0:0.0.5.6.0 2", "0|+0:5.6"},  // the digits may lie inside the result
      {"round +1:2.50 0", "+1:3"},  {"round -1:2.50 0", "-1:3"},  {"round +0:12.50 2", "+0:13"},  // half away from 0
      {"round +1:1.25 1", "+1:1.30"},  {"round +2:12.50 -2", "+2:13"},  {"round +0:99.99.50 4", "+1:1"},
      {"round +1:2.50 2", "+1:2.50"},  {"round null 0", "null"},
      {"round +63:99.99.50 -124", "+63:1"},  // an overflow of the sum is not reported
      {"trunc +1:12.34.50 1", "+1:12.30"},  {"trunc +0:5 1", "+-64:"},  {"trunc -2:12.34.56 -3", "-2:10"},
      {"trunc +2:12.34 -4", "+-64:"},  {"trunc +1:5.0.7 2", "+1:5"},
      {"trunc null 2", "null"},  {"trunc null 0", "+-64:"},  {"trunc null -1", "+-64:"},  // no test for null
      // the store form
      {"st +-64: 5", "128.0.0.0.0"},  {"st null 5", "0.0.0.0.0"},  {"ld 0.0.0.0.0 5", "0|null"},
      {"ld 128.0.0 3", "0|+-64:"},  {"st +3:1.23.45 4", "195.1.23.45"},  {"ld 195.1.23.45 4", "0|+3:1.23.45"},
      {"st -3:1.0.30 4", "60.98.99.70"},  {"ld 60.98.99.70 4", "0|-3:1.0.30"},  {"st -0:50 4", "63.50.0.0"},
      {"st -63:99.3 6", "0.0.97.0.0.0"},  {"ld 0.0.97.0.0.0 6", "0|null"},  // reads back as null
      {"st +1:1.99.99 3", "193.2.0"},  {"st +1:99.99.99 2", "194.1"},  {"ld 194.1 2", "0|+2:1"},
      {"st -1:1.49.20 3", "62.98.51"},  {"ld 193.11*16.77 18", "0|+1:11.11.11.11.11.11.11.11.11.11.11.11.11.11.11.12"},
      {"ld 193.11*16.77.99.99 20", "0|+1:11.11.11.11.11.11.11.11.11.11.11.11.11.11.11.12"},  // read as 18
      // machine numbers; out of range, the target keeps its 12345
      {"cvlong 12345", "0|+3:1.23.45"},  {"cvlong 0", "0|+-64:"},  {"cvlong -2147483648", "0|null"},
      {"cvint -32768", "0|null"},  {"cvint -32767", "0|-3:3.27.67"},  {"cvint 40000", "0|+3:4"},
      {"tolong null", "0|-2147483648"},  {"toint null", "0|-32768"},  {"tolong -5:21.47.48.36.47", "0|-2147483647"},
      {"tolong -2:12.34.99", "0|-1234"},  {"toint -2:12.34.99", "0|-1234"},  {"tolong +0:99", "0|0"},  // cut off
      {"tolong +3:5", "0|50000"},  {"toint +3:3.27.67", "0|32767"},  // bytes past digit_count count as zero
      {"tolong +5:21.47.48.36.48", kOver + "12345"},  {"tolong -5:21.47.48.36.48", kOver + "12345"},
      {"tolong +5:21.47.48.36.47.50", kOver + "12345"},  {"tolong +6:1", kOver + "12345"},
      {"toint -5:21.47.48.36.47", kOver + "12345"},  {"toint +3:5", kOver + "12345"},
      {"toint -3:3.27.68", kOver + "12345"},
      {"cvdbl 0.1", "0|+0:10"},  {"cvdbl 0.3333333333333333", "0|+0:33.33.33.33.33.33.33.30"},  // 15 digits
      {"cvflt 3.1415927410125732", "0|+1:3.14.15.92.70"},  {"cvdbl 0", "0|+-64:"},  {"cvdbl -0.0", "0|+-64:"},
      {"cvdbl nulld", "0|null"},  {"cvflt nulld", "0|null"},
      {"cvflt fnan", kBadNum + "+-64:"},  // a widened float NaN is not the null double
      {"cvdbl 1e200", kOver + "+63:1"},  {"cvdbl 1e-200", kUnder + "+-64:1"},
      // digit strings
      {"fcvt +0:99.90 2", "100|1|0"},  {"fcvt +0:60 0", "1|1|0"},  {"ecvt +1:99.99 3", "100|3|0"},  // carries
      {"ecvt +1:99.99 0", "|3|0"},  {"fcvt -3:1.23.45.67 5", "1234567000|5|1"},  {"fcvt +-1:4 2", "|-3|0"},
      {"fcvt +-1:5 3", "1|-2|0"},  {"cvt +-1:12.34 2 2", "1234|-2|0"},  // mode 2 adds the size of decpt
      {"fcvt +-64: 3", "000|0|0"},  {"fcvt null 4", "    |-999|-999"},  {"ecvt null -3", "|-999|-999"},
      {"kfcvt +0:99.90 2 4", "0|100|1|0"},  {"kecvt +0:99.90 2 8", "0|10|1|0"},
      {"kfcvt +-3:4 1 8", "0||-7|0"},  // fewer than no places: empty
      {"kfcvt +0:99.90 2 3", kNoFit + "-|1|0"},  {"kecvt +0:99.90 2 0", kNoFit + "-|1|0"},  // the buffer stays
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
