// Decimal record, arithmetic and the locale-free conversions.
#include <gtest/gtest.h>

#include <math.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <initializer_list>
#include <string>
#include <vector>

#include <vls/decimal.h>

namespace {

decimal_t rec(int sign, int exponent, std::initializer_list<int> digits) {
  decimal_t d;
  memset(&d, 0, sizeof d);
  d.sign = (uint16_t)sign;
  d.exponent = (int16_t)exponent;
  int n = 0;
  for (int v : digits) d.digits[n++] = (unsigned char)v;
  d.digit_count = (int16_t)n;
  return d;
}

decimal_t null_rec() { return rec(0xFFFF, 0, {}); }
decimal_t zero_rec() { return rec(1, -64, {}); }

decimal_t from_long(int32_t v) {
  decimal_t d;
  EXPECT_EQ(0, deccvlong(v, &d));
  return d;
}

decimal_t from_double(double v) {
  decimal_t d;
  EXPECT_EQ(0, deccvdbl(v, &d));
  return d;
}

std::vector<int> digits_of(const decimal_t &d) {
  return std::vector<int>(d.digits, d.digits + (d.digit_count > 0 ? d.digit_count : 0));
}

// Compares the header fields and the meaningful digit bytes.
::testing::AssertionResult same(const decimal_t &want, const decimal_t &got) {
  if (want.sign == got.sign && want.exponent == got.exponent &&
      want.digit_count == got.digit_count && digits_of(want) == digits_of(got))
    return ::testing::AssertionSuccess();
  auto show = [](const decimal_t &d) {
    std::string s = "{sign " + std::to_string(d.sign) + ", exp " + std::to_string(d.exponent) +
                    ", [";
    for (int v : digits_of(d)) s += std::to_string(v) + " ";
    return s + "]}";
  };
  return ::testing::AssertionFailure() << "want " << show(want) << ", got " << show(got);
}

bool is_null(const decimal_t &d) { return d.sign == DEC_NULL_SIGN; }

std::vector<int> bytes_of(const unsigned char *b, int n) { return std::vector<int>(b, b + n); }

const decimal_t kOne = rec(1, 1, {1});

}  // namespace

// ---- the record ------------------------------------------------------------

TEST(DecRecord, LayoutIsThreeHalfwordsAndSixteenBytes) {
  EXPECT_EQ(22u, sizeof(decimal_t));
  EXPECT_EQ(0u, offsetof(decimal_t, exponent));
  EXPECT_EQ(2u, offsetof(decimal_t, sign));
  EXPECT_EQ(4u, offsetof(decimal_t, digit_count));
  EXPECT_EQ(6u, offsetof(decimal_t, digits));
}

TEST(DecRecord, ErrorNumbers) {
  EXPECT_EQ(-1200, DEC_E_OVERFLOW);
  EXPECT_EQ(-1201, DEC_E_UNDERFLOW);
  EXPECT_EQ(-1202, DEC_E_DIVZERO);
  EXPECT_EQ(-406, DEC_E_NOMEM);
  EXPECT_EQ(-1213, DEC_E_BADNUM);
  EXPECT_EQ(-1273, DEC_E_NOFIT);
}

TEST(DecRecord, IsZeroOnlyForTheZeroShape) {
  decimal_t z = zero_rec(), n = null_rec();
  EXPECT_EQ(1, dec_is_zero(&z));
  EXPECT_EQ(0, dec_is_zero(&n));
  EXPECT_EQ(0, dec_is_zero(&kOne));
  decimal_t other = rec(1, 3, {});
  EXPECT_EQ(0, dec_is_zero(&other));
}

TEST(DecRecord, CopyMovesOnlyMeaningfulBytes) {
  decimal_t src = rec(0, 2, {12, 34});
  decimal_t dst = rec(1, 9, {1, 2, 3, 4, 5});
  deccopy(&src, &dst);
  EXPECT_TRUE(same(src, dst));
  EXPECT_EQ(3, dst.digits[2]);  // the rest stays
  EXPECT_EQ(5, dst.digits[4]);
}

// ---- decload ------------------------------------------------------------------

TEST(DecLoad, StripsZerosAtBothEnds) {
  const unsigned char raw[] = {0, 0, 12, 34, 0, 0};
  decimal_t d;
  EXPECT_EQ(0, decload(&d, 1, 5, raw, 6));
  EXPECT_TRUE(same(rec(1, 3, {12, 34}), d));
}

TEST(DecLoad, AllZerosIsTheZeroRecord) {
  const unsigned char raw[] = {0, 0, 0};
  decimal_t d = rec(0, 7, {5});
  EXPECT_EQ(0, decload(&d, 0, 99, raw, 3));
  EXPECT_TRUE(same(zero_rec(), d));
  EXPECT_EQ(0, decload(&d, 0, -99, raw, 0));
  EXPECT_TRUE(same(zero_rec(), d));
}

TEST(DecLoad, SignMinusOneIsNull) {
  const unsigned char raw[] = {5};
  decimal_t d = kOne;
  EXPECT_EQ(0, decload(&d, -1, 1, raw, 1));
  EXPECT_TRUE(same(null_rec(), d));
}

TEST(DecLoad, RoundsHalfUpOnTheSeventeenthByte) {
  unsigned char raw[18];
  for (int i = 0; i < 18; ++i) raw[i] = (unsigned char)(i + 1);
  decimal_t d;
  raw[16] = 49;
  EXPECT_EQ(0, decload(&d, 1, 0, raw, 18));
  EXPECT_TRUE(same(rec(1, 0, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}), d));
  raw[16] = 50;
  raw[17] = 0;  // only the 17th byte is looked at
  EXPECT_EQ(0, decload(&d, 0, 0, raw, 18));
  EXPECT_TRUE(same(rec(0, 0, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 17}), d));
}

TEST(DecLoad, RoundingKeepsTrailingZeros) {
  unsigned char raw[17] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 99, 60};
  decimal_t d;
  EXPECT_EQ(0, decload(&d, 1, 0, raw, 17));
  EXPECT_TRUE(same(rec(1, 0, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 16, 0}), d));
}

TEST(DecLoad, CarryOutOfTheFirstDigitRaisesTheExponent) {
  unsigned char raw[17];
  memset(raw, 99, sizeof raw);
  decimal_t d;
  EXPECT_EQ(0, decload(&d, 1, 3, raw, 17));
  EXPECT_TRUE(same(rec(1, 4, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), d));
  EXPECT_EQ(99, raw[0]);  // the caller's bytes are not touched
}

TEST(DecLoad, OverflowAndUnderflowClampAndKeepDigits) {
  const unsigned char raw[] = {42, 7};
  decimal_t d;
  EXPECT_EQ(DEC_E_OVERFLOW, decload(&d, 0, 64, raw, 2));
  EXPECT_TRUE(same(rec(0, 63, {42, 7}), d));
  EXPECT_EQ(DEC_E_UNDERFLOW, decload(&d, 1, -65, raw, 2));
  EXPECT_TRUE(same(rec(1, -64, {42, 7}), d));
  EXPECT_EQ(0, decload(&d, 1, 63, raw, 2));
  EXPECT_EQ(0, decload(&d, 1, -64, raw, 2));
  // Leading zeros lower the exponent before the bound is applied.
  const unsigned char lead[] = {0, 42};
  EXPECT_EQ(0, decload(&d, 1, 64, lead, 2));
  EXPECT_TRUE(same(rec(1, 63, {42}), d));
}

TEST(DecLoad, DigitsMayLieInsideTheResult) {
  decimal_t d = rec(1, 0, {0, 0, 5, 6, 0});
  EXPECT_EQ(0, decload(&d, 1, 2, d.digits, 5));
  EXPECT_TRUE(same(rec(1, 0, {5, 6}), d));
}

// ---- addition and subtraction ------------------------------------------------------

TEST(DecAdd, OneToSixteenBytesOfNinetyNine) {
  decimal_t nines = rec(1, 16, {99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99});
  decimal_t r;
  EXPECT_EQ(0, decadd(&nines, &kOne, &r));
  EXPECT_TRUE(same(rec(1, 17, {1}), r));
}

TEST(DecAdd, DigitsOutsideTheFrameAreIgnored) {
  decimal_t tiny = rec(1, -19, {1});  // 1E-40
  decimal_t r;
  EXPECT_EQ(0, decadd(&kOne, &tiny, &r));
  EXPECT_TRUE(same(kOne, r));
  EXPECT_EQ(0, decsub(&kOne, &tiny, &r));
  EXPECT_TRUE(same(kOne, r));
  EXPECT_EQ(0, decadd(&tiny, &kOne, &r));
  EXPECT_TRUE(same(kOne, r));
}

TEST(DecAdd, FrameKeepsSeventeenBytesAndRounds) {
  // 1 + 0.00...0075 with the 75 in the 17th byte of the frame.
  decimal_t small = rec(1, -15, {75});
  decimal_t r;
  EXPECT_EQ(0, decadd(&kOne, &small, &r));
  EXPECT_TRUE(same(rec(1, 1, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}), r));
}

TEST(DecAdd, ExactCancellationIsTheZeroRecord) {
  decimal_t a = rec(1, 2, {12, 34, 56}), b = rec(0, 2, {12, 34, 56});
  decimal_t r;
  EXPECT_EQ(0, decadd(&a, &b, &r));
  EXPECT_TRUE(same(zero_rec(), r));
  EXPECT_EQ(0, decadd(&b, &a, &r));
  EXPECT_TRUE(same(zero_rec(), r));
  EXPECT_EQ(0, decsub(&b, &b, &r));
  EXPECT_TRUE(same(zero_rec(), r));
  EXPECT_EQ(0, decsub(&a, &a, &r));
  EXPECT_TRUE(same(zero_rec(), r));
}

TEST(DecAdd, SignOfTheLargerMagnitude) {
  decimal_t r;
  decimal_t a = from_long(5), b = from_long(-7);
  EXPECT_EQ(0, decadd(&a, &b, &r));
  EXPECT_TRUE(same(from_long(-2), r));
  EXPECT_EQ(0, decadd(&b, &a, &r));
  EXPECT_TRUE(same(from_long(-2), r));
  EXPECT_EQ(0, decsub(&a, &b, &r));
  EXPECT_TRUE(same(from_long(12), r));
  EXPECT_EQ(0, decsub(&b, &a, &r));
  EXPECT_TRUE(same(from_long(-12), r));
}

TEST(DecAdd, BorrowRunsThroughZeros) {
  decimal_t a = from_long(1000000), b = rec(1, 0, {1});  // 1000000 - 0.01
  decimal_t r;
  EXPECT_EQ(0, decsub(&a, &b, &r));
  EXPECT_TRUE(same(rec(1, 3, {99, 99, 99, 99}), r));
}

TEST(DecAdd, NullOperandsGiveNull) {
  decimal_t n = null_rec(), r = kOne;
  EXPECT_EQ(0, decadd(&n, &kOne, &r));
  EXPECT_TRUE(is_null(r));
  r = kOne;
  EXPECT_EQ(0, decsub(&kOne, &n, &r));
  EXPECT_TRUE(is_null(r));
}

TEST(DecAdd, ZeroOperands) {
  decimal_t z = zero_rec(), r;
  decimal_t x = rec(0, -3, {4});
  EXPECT_EQ(0, decadd(&z, &x, &r));
  EXPECT_TRUE(same(x, r));
  EXPECT_EQ(0, decsub(&z, &x, &r));
  EXPECT_TRUE(same(rec(1, -3, {4}), r));
  EXPECT_EQ(0, decadd(&z, &z, &r));
  EXPECT_TRUE(same(zero_rec(), r));
}

TEST(DecAdd, OverflowAtTheTop) {
  decimal_t big = rec(1, 63, {99});
  decimal_t r;
  EXPECT_EQ(DEC_E_OVERFLOW, decadd(&big, &big, &r));
  EXPECT_TRUE(same(rec(1, 63, {1, 98}), r));
}

TEST(DecAdd, ResultMayAliasEitherOperand) {
  decimal_t a = from_long(123456), b = from_long(-654321);
  EXPECT_EQ(0, decadd(&a, &b, &a));
  EXPECT_TRUE(same(from_long(-530865), a));
  a = from_long(123456);
  EXPECT_EQ(0, decsub(&a, &b, &b));
  EXPECT_TRUE(same(from_long(777777), b));
  a = from_long(21);
  EXPECT_EQ(0, decadd(&a, &a, &a));
  EXPECT_TRUE(same(from_long(42), a));
}

// ---- multiplication and division --------------------------------------------------------

TEST(DecMul, Products) {
  decimal_t r;
  decimal_t a = from_long(12345), b = from_long(-6789);
  EXPECT_EQ(0, decmul(&a, &b, &r));
  EXPECT_TRUE(same(from_long(-83810205), r));
  decimal_t half = rec(1, 0, {50});
  EXPECT_EQ(0, decmul(&half, &half, &r));
  EXPECT_TRUE(same(rec(1, 0, {25}), r));
  decimal_t n1 = rec(0, 1, {2}), n2 = rec(0, 1, {3});
  EXPECT_EQ(0, decmul(&n1, &n2, &r));
  EXPECT_TRUE(same(rec(1, 1, {6}), r));
}

TEST(DecMul, SixteenBytesEachRoundsToSixteen) {
  decimal_t a = rec(1, 1, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1});
  decimal_t r;
  // (1 + 1E-30)^2 = 1 + 2E-30 + 1E-60: the last part falls off.
  EXPECT_EQ(0, decmul(&a, &a, &r));
  EXPECT_TRUE(same(rec(1, 1, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2}), r));
  decimal_t nines = rec(1, 0, {99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99});
  EXPECT_EQ(0, decmul(&nines, &nines, &r));
  // 0.99..99^2 = 0.99..98 00..01 (16 + 16 bytes), rounded on the 17th.
  EXPECT_TRUE(same(rec(1, 0, {99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 98}), r));
}

TEST(DecMul, ExponentBounds) {
  decimal_t a = rec(1, 40, {5}), r;
  EXPECT_EQ(DEC_E_OVERFLOW, decmul(&a, &a, &r));
  EXPECT_EQ(63, r.exponent);
  EXPECT_TRUE(same(rec(1, 63, {25}), r));
  decimal_t s = rec(0, -40, {5});
  EXPECT_EQ(DEC_E_UNDERFLOW, decmul(&s, &s, &r));
  EXPECT_TRUE(same(rec(1, -64, {25}), r));
}

TEST(DecMul, ZeroNullAndAliasing) {
  decimal_t z = zero_rec(), x = rec(0, 63, {7}), n = null_rec(), r;
  EXPECT_EQ(0, decmul(&z, &x, &r));
  EXPECT_TRUE(same(zero_rec(), r));
  EXPECT_EQ(0, decmul(&x, &n, &r));
  EXPECT_TRUE(is_null(r));
  decimal_t a = from_long(-11);
  EXPECT_EQ(0, decmul(&a, &a, &a));
  EXPECT_TRUE(same(from_long(121), a));
}

TEST(DecDiv, Quotients) {
  decimal_t r;
  decimal_t a = from_long(-83810205), b = from_long(6789);
  EXPECT_EQ(0, decdiv(&a, &b, &r));
  EXPECT_TRUE(same(from_long(-12345), r));
  decimal_t one = kOne, three = from_long(3);
  EXPECT_EQ(0, decdiv(&one, &three, &r));
  EXPECT_TRUE(same(rec(1, 0, {33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33, 33}), r));
  decimal_t two = from_long(2);
  EXPECT_EQ(0, decdiv(&two, &three, &r));
  EXPECT_TRUE(same(rec(1, 0, {66, 66, 66, 66, 66, 66, 66, 66, 66, 66, 66, 66, 66, 66, 66, 67}), r));
  decimal_t seven = from_long(7);
  EXPECT_EQ(0, decdiv(&one, &seven, &r));
  // 0.142857 142857 ... in base 100: 14 28 57 14 28 57 ...; 17th byte 28.
  EXPECT_TRUE(same(rec(1, 0, {14, 28, 57, 14, 28, 57, 14, 28, 57, 14, 28, 57, 14, 28, 57, 14}), r));
}

TEST(DecDiv, WeakEstimateNeedsOneCorrection) {
  // A divisor beginning 1, 0 makes the two-byte estimate one too large at
  // nearly every step: 1 / 1.0099...99 = 0.990099...00999901...
  decimal_t b = rec(1, 1, {1, 0, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99});
  decimal_t r;
  EXPECT_EQ(0, decdiv(&kOne, &b, &r));
  EXPECT_TRUE(same(rec(1, 0, {99, 0, 99, 0, 99, 0, 99, 0, 99, 0, 99, 0, 99, 0, 99, 99}), r));
  decimal_t a = rec(1, 1, {1, 0, 99, 99, 99}), c = rec(1, 1, {1, 0, 99, 99, 99, 99});
  EXPECT_EQ(0, decdiv(&a, &c, &r));
  EXPECT_TRUE(same(rec(1, 0, {99, 99, 99, 99, 1, 98, 1, 98, 1, 0, 97, 4, 93, 7, 93, 4}), r));
}

TEST(DecDiv, ByZeroAndNull) {
  decimal_t z = zero_rec(), n = null_rec(), r = kOne;
  EXPECT_EQ(DEC_E_DIVZERO, decdiv(&kOne, &z, &r));
  EXPECT_TRUE(same(zero_rec(), r));
  r = kOne;
  EXPECT_EQ(0, decdiv(&n, &z, &r));  // the null test comes first
  EXPECT_TRUE(is_null(r));
  EXPECT_EQ(0, decdiv(&z, &kOne, &r));
  EXPECT_TRUE(same(zero_rec(), r));
}

TEST(DecDiv, ExponentBoundsAndAliasing) {
  decimal_t big = rec(1, 63, {50}), tiny = rec(0, -64, {2}), r;
  EXPECT_EQ(DEC_E_OVERFLOW, decdiv(&big, &tiny, &r));
  EXPECT_TRUE(same(rec(0, 63, {25}), r));
  EXPECT_EQ(DEC_E_UNDERFLOW, decdiv(&tiny, &big, &r));
  EXPECT_EQ(-64, r.exponent);
  decimal_t a = from_long(100), b = from_long(8);
  EXPECT_EQ(0, decdiv(&a, &b, &b));
  EXPECT_TRUE(same(rec(1, 1, {12, 50}), b));
}

// ---- comparison ----------------------------------------------------------------------------

TEST(DecCmp, NullComparesAsMinusTwo) {
  decimal_t n = null_rec(), z = zero_rec();
  EXPECT_EQ(-2, deccmp(&n, &kOne));
  EXPECT_EQ(-2, deccmp(&kOne, &n));
  EXPECT_EQ(-2, deccmp(&n, &n));
  EXPECT_EQ(-2, deccmp(&n, &z));
}

TEST(DecCmp, Ordering) {
  const double values[] = {-1e20, -123.5, -123.25, -1, -0.01, 0, 0.001, 0.5, 1, 1.5, 99, 100, 1e30};
  const int n = (int)(sizeof values / sizeof values[0]);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      decimal_t a = from_double(values[i]), b = from_double(values[j]);
      EXPECT_EQ(i < j ? -1 : (i > j ? 1 : 0), deccmp(&a, &b)) << values[i] << " vs " << values[j];
    }
  }
}

TEST(DecCmp, FewerDigitsIsSmaller) {
  decimal_t a = rec(1, 1, {5}), b = rec(1, 1, {5, 1});
  EXPECT_EQ(-1, deccmp(&a, &b));
  EXPECT_EQ(1, deccmp(&b, &a));
  decimal_t na = rec(0, 1, {5}), nb = rec(0, 1, {5, 1});
  EXPECT_EQ(1, deccmp(&na, &nb));
  EXPECT_EQ(-1, deccmp(&nb, &na));
}

// ---- rounding and truncation ---------------------------------------------------------------------

TEST(DecRound, HalfAwayFromZero) {
  decimal_t d = rec(1, 1, {2, 50});  // 2.5
  decround(&d, 0);
  EXPECT_TRUE(same(from_long(3), d));
  d = rec(0, 1, {2, 50});
  decround(&d, 0);
  EXPECT_TRUE(same(from_long(-3), d));
  d = rec(1, 0, {12, 50});  // 0.125
  decround(&d, 2);
  EXPECT_TRUE(same(rec(1, 0, {13}), d));
  d = rec(1, 0, {12, 49});  // 0.1249
  decround(&d, 2);
  EXPECT_TRUE(same(rec(1, 0, {12}), d));
}

TEST(DecRound, OddScalesAndLeftOfThePoint) {
  decimal_t d = rec(1, 1, {1, 25});  // 1.25 at one place
  decround(&d, 1);
  EXPECT_TRUE(same(rec(1, 1, {1, 30}), d));
  d = from_long(1250);
  decround(&d, -2);
  EXPECT_TRUE(same(from_long(1300), d));
  d = from_long(1249);
  decround(&d, -2);
  EXPECT_TRUE(same(from_long(1200), d));
  d = from_long(45);
  decround(&d, -1);
  EXPECT_TRUE(same(from_long(50), d));
  d = rec(1, 0, {99, 99, 50});  // 0.99995 at four places
  decround(&d, 4);
  EXPECT_TRUE(same(kOne, d));
}

TEST(DecRound, NothingToDo) {
  decimal_t d = rec(1, 1, {2, 50});
  decround(&d, 2);
  EXPECT_TRUE(same(rec(1, 1, {2, 50}), d));
  decimal_t n = null_rec();
  decround(&n, 0);
  EXPECT_TRUE(is_null(n));
}

TEST(DecRound, OverflowIsNotReported) {
  // 0.999950E126 + 0.005E126 leaves the range; the clamped sum is cut.
  decimal_t d = rec(1, 63, {99, 99, 50});
  decround(&d, -124);
  EXPECT_TRUE(same(rec(1, 63, {1}), d));
}

TEST(DecTrunc, Cases) {
  decimal_t d = rec(1, 1, {12, 34, 50});  // 12.345
  dectrunc(&d, 1);
  EXPECT_TRUE(same(rec(1, 1, {12, 30}), d));
  d = rec(1, 0, {5});  // 0.05
  dectrunc(&d, 1);
  EXPECT_TRUE(same(zero_rec(), d));
  d = rec(0, 2, {12, 34, 56});  // -1234.56
  dectrunc(&d, 0);
  EXPECT_TRUE(same(rec(0, 2, {12, 34}), d));
  d = rec(0, 2, {12, 34, 56});
  dectrunc(&d, -3);
  EXPECT_TRUE(same(rec(0, 2, {10}), d));
  d = rec(1, 2, {12, 34});
  dectrunc(&d, -4);
  EXPECT_TRUE(same(zero_rec(), d));
  d = rec(1, 1, {5, 0, 7});  // 5.0007 at two places: the zero byte goes too
  dectrunc(&d, 2);
  EXPECT_TRUE(same(rec(1, 1, {5}), d));
}

TEST(DecTrunc, NullAtPositiveScaleStaysNull) {
  decimal_t n = null_rec();
  dectrunc(&n, 2);
  EXPECT_TRUE(is_null(n));
  dectrunc(&n, 0);
  EXPECT_TRUE(same(zero_rec(), n));
  n = null_rec();
  dectrunc(&n, -1);
  EXPECT_TRUE(same(zero_rec(), n));
}

// ---- precision -------------------------------------------------------------------------------------

TEST(DecPrec, WorkedCases) {
  decimal_t hundred = rec(1, 2, {1});
  EXPECT_EQ(3 * 256, dec2prec(&hundred));
  EXPECT_EQ(3 * 256, decprec(&hundred));
  decimal_t milli = rec(1, -1, {10});
  EXPECT_EQ(1 * 256 + 3, dec2prec(&milli));
  EXPECT_EQ(3 * 256 + 3, decprec(&milli));
  decimal_t x = rec(0, 3, {1, 23, 45, 67});  // 12345.67
  EXPECT_EQ(7 * 256 + 2, dec2prec(&x));
  EXPECT_EQ(7 * 256 + 2, decprec(&x));
  decimal_t z = zero_rec(), n = null_rec();
  EXPECT_EQ(0, dec2prec(&z));
  EXPECT_EQ(0, dec2prec(&n));
  EXPECT_EQ(0, decprec(&n));
}

// ---- store form ---------------------------------------------------------------------------------------

TEST(DecStore, ZeroAndNull) {
  unsigned char b[5];
  decimal_t z = zero_rec(), n = null_rec();
  stdecimal(&z, b, 5);
  EXPECT_EQ((std::vector<int>{0x80, 0, 0, 0, 0}), bytes_of(b, 5));
  memset(b, 0x55, sizeof b);
  stdecimal(&n, b, 5);
  EXPECT_EQ((std::vector<int>{0, 0, 0, 0, 0}), bytes_of(b, 5));
  decimal_t r = kOne;
  EXPECT_EQ(0, lddecimal(b, 5, &r));
  EXPECT_TRUE(is_null(r));
  const unsigned char zs[] = {0x80, 0, 0};
  EXPECT_EQ(0, lddecimal(zs, 3, &r));
  EXPECT_TRUE(same(zero_rec(), r));
}

TEST(DecStore, PositiveAndNegative) {
  unsigned char b[4];
  decimal_t x = rec(1, 3, {1, 23, 45});
  stdecimal(&x, b, 4);
  EXPECT_EQ((std::vector<int>{0x80 | 67, 1, 23, 45}), bytes_of(b, 4));
  decimal_t r;
  EXPECT_EQ(0, lddecimal(b, 4, &r));
  EXPECT_TRUE(same(x, r));
  decimal_t y = rec(0, 3, {1, 0, 30});
  stdecimal(&y, b, 4);
  EXPECT_EQ((std::vector<int>{67 ^ 0x7F, 98, 99, 70}), bytes_of(b, 4));
  EXPECT_EQ(0, lddecimal(b, 4, &r));
  EXPECT_TRUE(same(y, r));
  decimal_t w = rec(0, 0, {50});
  stdecimal(&w, b, 4);
  EXPECT_EQ((std::vector<int>{64 ^ 0x7F, 50, 0, 0}), bytes_of(b, 4));
}

TEST(DecStore, NegativeAtTheTopReadsBackAsNull) {
  decimal_t d = rec(0, 63, {99, 3});
  unsigned char b[6];
  stdecimal(&d, b, 6);
  EXPECT_EQ(0, b[0]);
  EXPECT_EQ(0, b[1]);
  decimal_t r = kOne;
  EXPECT_EQ(0, lddecimal(b, 6, &r));
  EXPECT_TRUE(is_null(r));
}

TEST(DecStore, ShortFormsRound) {
  unsigned char b[3];
  decimal_t d = rec(1, 1, {1, 99, 99});  // 1.9999 in 3 bytes
  stdecimal(&d, b, 3);
  EXPECT_EQ((std::vector<int>{0x80 | 65, 2, 0}), bytes_of(b, 3));
  decimal_t e = rec(1, 1, {99, 99, 99});  // 99.9999 in 2 bytes
  stdecimal(&e, b, 2);
  EXPECT_EQ((std::vector<int>{0x80 | 66, 1}), bytes_of(b, 2));
  decimal_t r;
  EXPECT_EQ(0, lddecimal(b, 2, &r));
  EXPECT_TRUE(same(rec(1, 2, {1}), r));
  decimal_t f = rec(0, 1, {1, 49, 20});  // no rounding below 50
  stdecimal(&f, b, 3);
  EXPECT_EQ((std::vector<int>{65 ^ 0x7F, 98, 51}), bytes_of(b, 3));
}

TEST(DecStore, EighteenBytesRoundToSixteen) {
  unsigned char b[18];
  b[0] = 0x80 | 65;
  for (int i = 1; i < 18; ++i) b[i] = 11;
  b[17] = 77;
  decimal_t r;
  EXPECT_EQ(0, lddecimal(b, 18, &r));
  EXPECT_TRUE(same(rec(1, 1, {11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 12}), r));
  // A longer form is read as 18 bytes.
  unsigned char c[20];
  memcpy(c, b, 18);
  c[18] = c[19] = 99;
  EXPECT_EQ(0, lddecimal(c, 20, &r));
  EXPECT_EQ(12, r.digits[15]);
}

TEST(DecStore, BytesOrderLikeValues) {
  const double values[] = {-5e40, -1e3, -2.5, -2.25, -1e-30, 0, 1e-30, 0.5, 2.25, 2.5, 1e3, 5e40};
  const int n = (int)(sizeof values / sizeof values[0]);
  std::vector<std::vector<int>> forms;
  for (int i = 0; i < n; ++i) {
    decimal_t d = from_double(values[i]);
    unsigned char b[10];
    stdecimal(&d, b, 10);
    forms.push_back(bytes_of(b, 10));
  }
  for (int i = 1; i < n; ++i) EXPECT_LT(forms[i - 1], forms[i]) << values[i];
}

// ---- integers ---------------------------------------------------------------------------------------

TEST(DecLong, ToAndFrom) {
  const int32_t values[] = {0, 1, -1, 99, 100, -100, 12345, 2147483647, -2147483647, 1000000};
  for (int32_t v : values) {
    decimal_t d;
    ASSERT_EQ(0, deccvlong(v, &d));
    int32_t back = 0;
    EXPECT_EQ(0, dectolong(&d, &back));
    EXPECT_EQ(v, back);
  }
  decimal_t d;
  EXPECT_EQ(0, deccvlong(12345, &d));
  EXPECT_TRUE(same(rec(1, 3, {1, 23, 45}), d));
  EXPECT_EQ(0, deccvlong(0, &d));
  EXPECT_TRUE(same(zero_rec(), d));
}

TEST(DecLong, NullLong) {
  decimal_t d = kOne;
  EXPECT_EQ(0, deccvlong(DEC_NULL_LONG, &d));
  EXPECT_TRUE(is_null(d));
  int32_t v = 0;
  EXPECT_EQ(0, dectolong(&d, &v));
  EXPECT_EQ(DEC_NULL_LONG, v);
}

TEST(DecLong, RangeAndFraction) {
  int32_t v = 7;
  decimal_t d = rec(1, 5, {21, 47, 48, 36, 48});  // 2147483648
  EXPECT_EQ(DEC_E_OVERFLOW, dectolong(&d, &v));
  EXPECT_EQ(7, v);
  d = rec(0, 5, {21, 47, 48, 36, 48});
  EXPECT_EQ(DEC_E_OVERFLOW, dectolong(&d, &v));
  d = rec(1, 5, {21, 47, 48, 36, 47, 50});  // 2147483647.5 is above the bound
  EXPECT_EQ(DEC_E_OVERFLOW, dectolong(&d, &v));
  d = rec(1, 6, {1});
  EXPECT_EQ(DEC_E_OVERFLOW, dectolong(&d, &v));
  d = rec(0, 2, {12, 34, 99});  // -1234.99 cuts to -1234
  EXPECT_EQ(0, dectolong(&d, &v));
  EXPECT_EQ(-1234, v);
  d = rec(1, 0, {99});
  EXPECT_EQ(0, dectolong(&d, &v));
  EXPECT_EQ(0, v);
  d = rec(1, 3, {5});  // bytes past digit_count count as zero
  EXPECT_EQ(0, dectolong(&d, &v));
  EXPECT_EQ(50000, v);
}

TEST(DecInt, NullIntAndRange) {
  decimal_t d = kOne;
  EXPECT_EQ(0, deccvint(-32768, &d));
  EXPECT_TRUE(is_null(d));
  EXPECT_EQ(0, deccvint(-32767, &d));
  EXPECT_TRUE(same(rec(0, 3, {3, 27, 67}), d));
  int v = 0;
  EXPECT_EQ(0, dectoint(&d, &v));
  EXPECT_EQ(-32767, v);
  EXPECT_EQ(0, deccvint(40000, &d));  // a full int
  EXPECT_TRUE(same(rec(1, 3, {4}), d));
  v = 5;
  EXPECT_EQ(DEC_E_OVERFLOW, dectoint(&d, &v));
  EXPECT_EQ(5, v);
  d = from_long(-32768);
  EXPECT_EQ(DEC_E_OVERFLOW, dectoint(&d, &v));
  EXPECT_EQ(5, v);
  d = from_long(32767);
  EXPECT_EQ(0, dectoint(&d, &v));
  EXPECT_EQ(32767, v);
  decimal_t n = null_rec();
  EXPECT_EQ(0, dectoint(&n, &v));
  EXPECT_EQ(-32768, v);
}

// ---- doubles ------------------------------------------------------------------------------------------

TEST(DecDouble, Values) {
  decimal_t d;
  EXPECT_EQ(0, deccvdbl(0.1, &d));
  EXPECT_TRUE(same(rec(1, 0, {10}), d));
  EXPECT_EQ(0, deccvdbl(-123.456, &d));
  EXPECT_TRUE(same(rec(0, 2, {1, 23, 45, 60}), d));
  EXPECT_EQ(0, deccvdbl(1.0 / 3.0, &d));  // 15 significant digits
  EXPECT_TRUE(same(rec(1, 0, {33, 33, 33, 33, 33, 33, 33, 30}), d));
  EXPECT_EQ(0, deccvdbl(2.0 / 3.0, &d));
  EXPECT_TRUE(same(rec(1, 0, {66, 66, 66, 66, 66, 66, 66, 70}), d));
  EXPECT_EQ(0, deccvdbl(1e100, &d));
  EXPECT_TRUE(same(rec(1, 51, {1}), d));
  EXPECT_EQ(0, deccvdbl(1e-100, &d));
  EXPECT_TRUE(same(rec(1, -49, {1}), d));
  EXPECT_EQ(0, deccvdbl(123456789012345678.0, &d));
  EXPECT_TRUE(same(rec(1, 9, {12, 34, 56, 78, 90, 12, 34, 60}), d));
}

TEST(DecDouble, ZeroNullAndBounds) {
  decimal_t d = kOne;
  EXPECT_EQ(0, deccvdbl(0.0, &d));
  EXPECT_TRUE(same(zero_rec(), d));
  EXPECT_EQ(0, deccvdbl(-0.0, &d));
  EXPECT_TRUE(same(zero_rec(), d));
  double null_double;
  memset(&null_double, 0xFF, sizeof null_double);
  EXPECT_EQ(0, deccvdbl(null_double, &d));
  EXPECT_TRUE(is_null(d));
  EXPECT_EQ(0, deccvflt(null_double, &d));
  EXPECT_TRUE(is_null(d));
  // A float NaN widened to a double is some other pattern.
  float fnan;
  memset(&fnan, 0xFF, sizeof fnan);
  d = kOne;
  deccvflt((double)fnan, &d);
  EXPECT_FALSE(is_null(d));
  EXPECT_EQ(DEC_E_OVERFLOW, deccvdbl(1e200, &d));
  EXPECT_EQ(63, d.exponent);
  EXPECT_EQ(DEC_E_UNDERFLOW, deccvdbl(1e-200, &d));
  EXPECT_EQ(-64, d.exponent);
}

TEST(DecDouble, FloatsTakeEightDigits) {
  decimal_t d;
  EXPECT_EQ(0, deccvflt((double)0.1f, &d));
  EXPECT_TRUE(same(rec(1, 0, {10}), d));
  EXPECT_EQ(0, deccvflt((double)3.14159265f, &d));
  EXPECT_TRUE(same(rec(1, 1, {3, 14, 15, 92, 70}), d));
  EXPECT_EQ(0, deccvflt(-2.5, &d));
  EXPECT_TRUE(same(rec(0, 1, {2, 50}), d));
}

// ---- digit strings ---------------------------------------------------------------------------------

TEST(DecCvt, FixedPlacesCarry) {
  decimal_t d = rec(1, 0, {99, 90});  // 0.999
  int decpt = 0, sign = 0;
  EXPECT_STREQ("100", decfcvt(&d, 2, &decpt, &sign));
  EXPECT_EQ(1, decpt);
  EXPECT_EQ(0, sign);
  d = rec(1, 0, {60});  // 0.6 to no places
  EXPECT_STREQ("1", decfcvt(&d, 0, &decpt, &sign));
  EXPECT_EQ(1, decpt);
}

TEST(DecCvt, FixedPlaces) {
  decimal_t d = rec(0, 3, {1, 23, 45, 67});  // -12345.67
  int decpt = 0, sign = 0;
  EXPECT_STREQ("1234567000", decfcvt(&d, 5, &decpt, &sign));
  EXPECT_EQ(5, decpt);
  EXPECT_EQ(1, sign);
  EXPECT_STREQ("123457", decfcvt(&d, 1, &decpt, &sign));
  EXPECT_EQ(5, decpt);
  d = rec(1, -1, {4});  // 0.0004: nothing at two places
  EXPECT_STREQ("", decfcvt(&d, 2, &decpt, &sign));
  EXPECT_EQ(-3, decpt);
  d = rec(1, -1, {5});  // 0.0005 at three places rounds up
  EXPECT_STREQ("1", decfcvt(&d, 3, &decpt, &sign));
  EXPECT_EQ(-2, decpt);
}

TEST(DecCvt, SignificantDigits) {
  decimal_t d = rec(1, 3, {1, 23, 45, 67});
  int decpt = 0, sign = 1;
  EXPECT_STREQ("123", dececvt(&d, 3, &decpt, &sign));
  EXPECT_EQ(5, decpt);
  EXPECT_EQ(0, sign);
  EXPECT_STREQ("12346", dececvt(&d, 5, &decpt, &sign));
  EXPECT_STREQ("1234567000", dececvt(&d, 10, &decpt, &sign));
  d = rec(1, 1, {99, 99});  // 99.99 to 3 digits: 100, one place further
  EXPECT_STREQ("100", dececvt(&d, 3, &decpt, &sign));
  EXPECT_EQ(3, decpt);
  EXPECT_STREQ("", dececvt(&d, 0, &decpt, &sign));
}

TEST(DecCvt, ModeTwoCountsTheSizeOfDecpt) {
  decimal_t d = rec(1, -1, {12, 34});  // 0.001234, decpt -2
  int decpt = 0, sign = 0;
  EXPECT_STREQ("1234", deccvt(&d, 2, &decpt, &sign, 2));
  EXPECT_EQ(-2, decpt);
  EXPECT_STREQ("", deccvt(&d, 1, &decpt, &sign, 1));
}

TEST(DecCvt, ZeroAndNull) {
  decimal_t z = zero_rec(), n = null_rec();
  int decpt = 7, sign = 7;
  EXPECT_STREQ("000", decfcvt(&z, 3, &decpt, &sign));
  EXPECT_EQ(0, decpt);
  EXPECT_EQ(0, sign);
  decpt = sign = 7;
  EXPECT_STREQ("    ", decfcvt(&n, 4, &decpt, &sign));
  EXPECT_STREQ("", dececvt(&n, -3, &decpt, &sign));
}

TEST(DecCvt, LongRequestsGrowTheBuffer) {
  decimal_t d = rec(1, 30, {7});  // 7E59
  int decpt = 0, sign = 0;
  const char *t = decfcvt(&d, 100, &decpt, &sign);
  ASSERT_NE(nullptr, t);
  EXPECT_EQ(159u, strlen(t));
  EXPECT_EQ(59, decpt);
  t = dececvt(&d, 300, &decpt, &sign);
  ASSERT_NE(nullptr, t);
  EXPECT_EQ(300u, strlen(t));
  EXPECT_EQ('7', t[0]);
  EXPECT_EQ('0', t[299]);
}

TEST(DecCvt, CallersBuffer) {
  decimal_t d = rec(1, 0, {99, 90});
  int decpt = 0, sign = 0;
  char buf[8];
  EXPECT_EQ(0, kvx_decfcvt(&d, 2, &decpt, &sign, buf, 4));
  EXPECT_STREQ("100", buf);
  EXPECT_EQ(1, decpt);
  memcpy(buf, "xyz", 4);
  EXPECT_EQ(DEC_E_NOFIT, kvx_decfcvt(&d, 2, &decpt, &sign, buf, 3));
  EXPECT_STREQ("xyz", buf);
  EXPECT_EQ(DEC_E_NOFIT, kvx_dececvt(&d, 2, &decpt, &sign, buf, 0));
  EXPECT_EQ(0, kvx_dececvt(&d, 2, &decpt, &sign, buf, 8));
  EXPECT_STREQ("10", buf);
  EXPECT_EQ(1, decpt);
  decimal_t tiny = rec(1, -3, {4});  // fewer than no places: empty text
  EXPECT_EQ(0, kvx_decfcvt(&tiny, 1, &decpt, &sign, buf, 8));
  EXPECT_STREQ("", buf);
  decimal_t big = rec(1, 50, {3});
  static char wide[400];
  EXPECT_EQ(0, kvx_deccvt(&big, 90, &decpt, &sign, 1, wide, sizeof wide));
  EXPECT_EQ(189u, strlen(wide));
  EXPECT_EQ('3', wide[0]);
}

// ---- small text readers ------------------------------------------------------------------------------

TEST(DecText, Hexadecimal) {
  int32_t v = 0;
  EXPECT_EQ(0, decxtoi("10", &v));
  EXPECT_EQ(16, v);
  EXPECT_EQ(0, decxtoi("aBcD  ", &v));
  EXPECT_EQ(0xABCD, v);
  EXPECT_EQ(0, decxtoi("ffffffff\n", &v));
  EXPECT_EQ(-1, v);
  EXPECT_EQ(0, decxtoi("123456789", &v));  // wraps in 32 bits
  EXPECT_EQ(0x23456789, v);
  v = 5;
  EXPECT_EQ(-1, decxtoi("10.5", &v));
  EXPECT_EQ(-1, decxtoi("12 3", &v));
  EXPECT_EQ(-1, decxtoi("g", &v));
  EXPECT_EQ(5, v);
}

TEST(DecText, SignedDecimal) {
  int v = 9;
  const char *s = "-123e";
  EXPECT_EQ(s + 4, decstoi(s, &v));
  EXPECT_EQ(-123, v);
  s = "+7";
  EXPECT_EQ(s + 2, decstoi(s, &v));
  EXPECT_EQ(7, v);
  s = "x";
  EXPECT_EQ(s, decstoi(s, &v));
  EXPECT_EQ(0, v);
}
