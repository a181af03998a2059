/* Decimal conversions that need no locale: machine integers, doubles,
 * digit strings and the small text readers, together with the general
 * control block that holds the shared result buffer of the digit strings. */
#include <charconv>
#include <float.h>
#include <math.h>
#include <stdio.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <vls/decimal.h>
#include <vls/vlsext.h>

#include "decint.h"

namespace {

/* The buffer size that a request of ndigit characters asks for. */
inline int wanted_size(int ndigit) { return ndigit > 80 ? ndigit : 80; }

/* Makes the control block's buffer hold at least ndigit characters;
 * false with DEC_E_NOFIT in *status when it cannot grow. */
bool reserve_digits(vl_gentcb *cb, int ndigit, int *status) {
  if (cb->size != 0 && cb->size >= ndigit) return true;
  const int size = wanted_size(ndigit);
  const size_t bytes = (size_t)size + 2;
  char *grown = static_cast<char *>(cb->buffer == nullptr ? _vl_ext_malloc(bytes)
                                                          : _vl_ext_realloc(cb->buffer, bytes));
  if (grown == nullptr) {
    cb->size = 0;
    *status = DEC_E_NOFIT;
    return false;
  }
  cb->buffer = grown;
  cb->size = size;
  return true;
}

/* Grows the buffer for a mode that counts digits from the point, keeping
 * `text` (written up to `count`) in place; false when it cannot grow. The
 * caller's-buffer form reallocates and quietly gives nothing on failure;
 * the shared form takes a fresh buffer and brings the digits along, so
 * that the text stays meaningful. */
bool grow_for_mode(vl_gentcb *cb, int ndigit, char **text, int count, bool copy_out, int *status) {
  if (ndigit <= cb->size) return true;
  const int size = wanted_size(ndigit);
  const size_t bytes = (size_t)size + 2;
  const ptrdiff_t offset = *text - cb->buffer;
  char *grown;
  if (copy_out) {
    grown = static_cast<char *>(_vl_ext_realloc(cb->buffer, bytes));
    if (grown == nullptr) {
      cb->size = 0;
      *status = 0;
      return false;
    }
  } else {
    grown = static_cast<char *>(_vl_ext_malloc(bytes));
    if (grown == nullptr) {
      cb->size = 0;
      return false;
    }
    memcpy(grown, cb->buffer, (size_t)(offset + count + 1));
    _vl_ext_free(cb->buffer);
  }
  cb->buffer = grown;
  cb->size = size;
  *text = grown + offset;
  return true;
}

/* Cuts or pads the `count` digits at text to ndigit, rounding half up on
 * the digit at the cut; a carry out of the first digit gives 1 and zeros,
 * one place further (and, when digits count from the point, one more). */
void round_digits(char *text, int count, int ndigit, int *decpt, int mode) {
  if (ndigit > count) {
    memset(text + count, '0', (size_t)(ndigit - count));
  } else if (ndigit < count && text[ndigit] >= '5') {
    int i = ndigit - 1;
    while (i >= 0 && text[i] == '9') text[i--] = '0';
    if (i >= 0) {
      text[i]++;
    } else {
      ++*decpt;
      if (mode != 0) text[ndigit++] = '0';
      text[0] = '1';
    }
  }
  text[ndigit] = '\0';
}

/* Digit string of `d` in the control block's buffer: the work shared by
 * deccvt and kvx_deccvt.  `copy_out` selects the caller's-buffer form,
 * which grows its buffer with realloc and reports by `status`. */
char *convert_digits(const decimal_t *d, int ndigit, int *decpt, int *sign, int mode,
                     bool copy_out, int *status) {
  *status = 0;
  vl_gentcb *cb = CheckGenInit();
  if (cb == nullptr) {
    *status = DEC_E_NOMEM;
    return nullptr;
  }
  if (!reserve_digits(cb, ndigit, status)) return nullptr;
  if (ndigit < 0) ndigit = 0;

  char *text = cb->buffer;
  if (is_null(d)) {
    memset(text, ' ', (size_t)ndigit);
    text[ndigit] = '\0';
    return text;
  }

  *sign = d->sign == 0 ? 1 : 0;
  *decpt = d->digit_count == 0 ? 0 : d->exponent * 2;
  int count = dec1to2(d->digits, count_of(d), text);
  if (text[0] == '0') {
    ++text;
    --*decpt;
    --count;
  }

  if (mode != 0) {
    ndigit += mode == 1 ? *decpt : (*decpt < 0 ? -*decpt : *decpt);
    if (!grow_for_mode(cb, ndigit, &text, count, copy_out, status)) return nullptr;
  }

  /* Fewer than no digits after the point: nothing to show. */
  if (ndigit < 0) {
    text[0] = '\0';
    return text;
  }
  round_digits(text, count, ndigit, decpt, mode);
  return text;
}

inline int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

/* ---- general control block ----------------------------------------------- */

vl_gentcb *gentcb = nullptr;

void genfill(vl_gentcb *block) { memset(block, 0, sizeof *block); }

vl_gentcb *gentcb_alloc(void) {
  vl_gentcb *block = static_cast<vl_gentcb *>(_vl_ext_malloc(sizeof(vl_gentcb)));
  if (block != nullptr) genfill(block);
  return block;
}

vl_gentcb *CheckGenInit(void) {
  if (gentcb == nullptr) gentcb = gentcb_alloc();
  return gentcb;
}

/* ---- digit packing ----------------------------------------------------------- */

int dec2to1(const char *source, unsigned char *target, int parity) {
  if (*source == '\0') return 0;
  parity &= 1;
  int pos = parity;
  for (const char *s = source; *s != '\0' && pos < 32; ++s, ++pos) {
    const int v = *s - '0';
    if ((pos & 1) == 0)
      target[pos >> 1] = (unsigned char)(v * 10);
    else if (pos == parity)
      target[pos >> 1] = (unsigned char)v;
    else
      target[pos >> 1] = (unsigned char)(target[pos >> 1] + v);
  }
  /* A pair left with only its tens digit keeps a zero units digit. */
  if (pos & 1) ++pos;
  return pos >> 1;
}

int dec1to2(const unsigned char *source, int count, char *target) {
  int pos = 0;
  for (int i = 0; i < count; ++i) {
    target[pos++] = (char)('0' + source[i] / 10);
    target[pos++] = (char)('0' + source[i] % 10);
  }
  target[pos] = '\0';
  return pos;
}

/* ---- machine integers ---------------------------------------------------------- */

int deccvlong(int32_t value, decimal_t *result) {
  if (value == DEC_NULL_LONG) {
    set_null(result);
    return 0;
  }
  uint32_t magnitude = value < 0 ? 0u - (uint32_t)value : (uint32_t)value;
  unsigned char digits[5];
  for (int i = 4; i >= 0; --i) {
    digits[i] = (unsigned char)(magnitude % 100);
    magnitude /= 100;
  }
  return decload(result, value < 0 ? 0 : 1, 5, digits, 5);
}

int deccvint(int value, decimal_t *result) {
  if (value == DEC_NULL_INT) {
    set_null(result);
    return 0;
  }
  return deccvlong(value, result);
}

int dectolong(const decimal_t *d, int32_t *target) {
  if (is_null(d)) {
    *target = DEC_NULL_LONG;
    return 0;
  }
  if (d->exponent > 5) return DEC_E_OVERFLOW;
  if (d->exponent == 5) {
    static const decimal_t largest = {5, DEC_POSITIVE, 5, {21, 47, 48, 36, 47}};
    static const decimal_t smallest = {5, DEC_NEGATIVE, 5, {21, 47, 48, 36, 47}};
    if (deccmp(d, &largest) > 0 || deccmp(d, &smallest) < 0) return DEC_E_OVERFLOW;
  }
  const int n = count_of(d);
  uint32_t value = 0;
  for (int i = 0; i < d->exponent; ++i) value = value * 100u + (i < n ? d->digits[i] : 0u);
  *target = d->sign == 0 ? (int32_t)(0u - value) : (int32_t)value;
  return 0;
}

int dectoint(const decimal_t *d, int *target) {
  if (is_null(d)) {
    *target = DEC_NULL_INT;
    return 0;
  }
  int32_t value;
  if (dectolong(d, &value) != 0 || value < -32767 || value > 32767) return DEC_E_OVERFLOW;
  *target = value;
  return 0;
}

/* ---- doubles ------------------------------------------------------------------- */

namespace {

// The decimal exponent and digits of one std::to_chars scientific text.
int split_scientific(const char *p, const char *end, char *digits, int *exp10) {
  int n = 0;
  for (; p < end && *p != 'e'; ++p)
    if (*p >= '0' && *p <= '9') digits[n++] = *p;
  int e = 0;
  if (p < end) {
    const bool minus = p[1] == '-';
    for (const char *q = p + 2; q < end; ++q) e = e * 10 + (*q - '0');
    if (minus) e = -e;
  }
  *exp10 = e;
  return n;
}

// `ndigit` significant digits of the positive finite `value`, correctly
// rounded (ties away from zero, as "%.*e" rounds the exact binary value),
// into `text` with a terminator, and the exponent of the first digit: what
// ecvt promises, without its inexact scaling (glibc's ecvt makes 1e100
// 9.99999999999999e99).
//
// The shortest text that reads back as the value lies within half a binary
// unit of it, and no text of fewer digits lies in that interval unless it
// is the shortest one itself. So a rounding boundary of ndigit digits (a
// text of ndigit + 1 digits ending in 5) cannot fall between the value and
// its shortest text unless it is that text: rounding the shortest text
// gives the rounding of the exact value, save where the shortest text is
// that boundary, a tie that only the exact value decides.
// Powers of ten up to 10^27, each exact in the 64-bit significand of a
// long double (5^27 < 2^64), their reciprocals correctly rounded, and the
// same powers as integers up to 10^15.
constexpr int kExactPow = 27;
struct PowerTables {
  long double up[kExactPow + 1], down[kExactPow + 1];
  uint64_t whole[16];
};
constexpr PowerTables kPow10 = [] {
  PowerTables t{};
  long double v = 1;
  for (int i = 0; i <= kExactPow; ++i, v *= 10) {
    t.up[i] = v;
    t.down[i] = 1 / v;
  }
  uint64_t w = 1;
  for (int i = 0; i < 16; ++i, w *= 10) t.whole[i] = w;
  return t;
}();

// value * 10^k with at most three roundings of a long double, for |k| up
// to twice kExactPow.
inline __attribute__((always_inline)) long double scaled(double value, int k) {
  const bool up = k >= 0;
  const int m = up ? k : -k;
  const int first = m > kExactPow ? kExactPow : m;
  const long double *p = up ? kPow10.up : kPow10.down;
  long double y = value * p[first];
  if (m > first) y *= p[m - first];
  return y;
}

// The common case in a few multiplications: the value scaled by an exact
// power of ten (or two) to ndigit digits before the point, in long double.
// Three roundings leave it within 2^-62 of the truth, relative, so the digits
// are certain unless the part after the point lies that close to one half;
// then, and outside the scales it covers, the answer is left to the exact
// path. Gives the ndigit digits as one integer, or 0.
uint64_t ndigits_fast(double value, int ndigit, int *exp10) {
  if (ndigit < 7 || ndigit > 15) return 0;  // four to eight pairs of digits
  uint64_t bits;
  memcpy(&bits, &value, sizeof bits);
  const int e2 = static_cast<int>((bits >> 52) & 0x7FF) - 1022;  // value in [2^(e2-1), 2^e2), for normal values
  int e10 = ((e2 - 1) * 78913) >> 18;                           // floor((e2 - 1) * log10(2)): at or one below
  int k = ndigit - 1 - e10;
  if (k > 2 * kExactPow || k < -2 * kExactPow + 1) return 0;
  long double y = scaled(value, k);
  if (y >= kPow10.up[ndigit]) {
    ++e10;
    y = scaled(value, --k);
  }
  if (y < kPow10.up[ndigit - 1] || y >= kPow10.up[ndigit]) return 0;
  // The nearest integer: added to 2^63 it fills the 64-bit significand
  // of an x87 long double, which then holds 2^63 + q in its low eight
  // bytes. Safe away from the ties only.
  static_assert(LDBL_MANT_DIG == 64, "the x87 extended format");
  const long double big = y + 0x1p63L;
  const long double off = y - (big - 0x1p63L);
  const long double guard = y * 0x1p-58L;
  if (off > 0.5L - guard || off < -0.5L + guard) return 0;
  uint64_t q;
  memcpy(&q, &big, sizeof q);
  q -= uint64_t{1} << 63;
  if (q == kPow10.whole[ndigit]) {  // 9.99... rounded to 10.0...
    q /= 10;
    ++e10;
  }
  *exp10 = e10;
  return q;
}

int ndigits_of(double value, int ndigit, char *text, int *exp10) {
  char formatted[40];
  std::to_chars_result done = std::to_chars(formatted, formatted + sizeof formatted, value,
                                            std::chars_format::scientific);
  char digits[24];
  int n = split_scientific(formatted, done.ptr, digits, exp10);
  const bool tie = n == ndigit + 1 && digits[ndigit] == '5';
  if (tie || value < DBL_MIN) {
    // The exact value decides (and subnormals hold fewer digits than
    // the argument of the shortest form supposes).
    done = std::to_chars(formatted, formatted + sizeof formatted, value, std::chars_format::scientific,
                         ndigit - 1);
    n = split_scientific(formatted, done.ptr, digits, exp10);
  } else if (n > ndigit) {
    const bool up = digits[ndigit] >= '5';
    n = ndigit;
    if (up) {
      int i = n - 1;
      while (i >= 0 && digits[i] == '9') digits[i--] = '0';
      if (i >= 0) {
        ++digits[i];
      } else {  // 9.99... became 10.0...: one more place before the point
        digits[0] = '1';
        ++*exp10;
      }
    }
  }
  memcpy(text, digits, static_cast<size_t>(n));
  while (n < ndigit) text[n++] = '0';  // the shortest text, filled to ndigit digits as "%.*e" writes them
  text[n] = '\0';
  return n;
}

}  // namespace

int deccvfd(double value, decimal_t *result, int ndigit) {
  static const unsigned char null_double[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  if (memcmp(&value, null_double, sizeof value) == 0) {
    set_null(result);
    return 0;
  }
  if (value == 0.0) {
    set_zero(result);
    return 0;
  }
  if (!isfinite(value)) {
    /* Infinities are out of range; any other NaN is no number at all. */
    set_zero(result);
    return isinf(value) ? DEC_E_OVERFLOW : DEC_E_BADNUM;
  }
  result->digit_count = 0;
  result->sign = DEC_NULL_SIGN;
  /* ndigit significant digits of the exact binary value, correctly
   * rounded, and the position of the decimal point: what ecvt promises
   * (glibc's own ecvt scales by inexact powers of ten first, and 1e100
   * would become 9.99999999999999e99). */
  if (ndigit < 1) ndigit = 1;
  if (ndigit > 17) ndigit = 17;
  int exp10 = 0;
  const bool negative = signbit(value);
  int count;
  if (uint64_t q = fabs(value) >= DBL_MIN ? ndigits_fast(fabs(value), ndigit, &exp10) : 0) {
    // The digits straight into pairs: a first pair of one digit when the
    // point falls after an odd number of them, a last one filled with 0.
    int places = ndigit + ((exp10 + 1) & 1);
    if (places & 1) {
      q *= 10;
      ++places;
    }
    count = places >> 1;  // 4 to 8 pairs: the last four, and those before them
    const auto four = [](unsigned char *d, uint32_t v) {  // v below 10^8: halves in parallel
      const uint32_t a = v / 10000, b = v % 10000;
      d[0] = (unsigned char)(a / 100);
      d[1] = (unsigned char)(a % 100);
      d[2] = (unsigned char)(b / 100);
      d[3] = (unsigned char)(b % 100);
    };
    unsigned char head[4];
    four(head, (uint32_t)(q / 100000000u));
    four(result->digits + count - 4, (uint32_t)(q % 100000000u));
    for (int i = 0; i < count - 4; ++i) result->digits[i] = head[8 - count + i];
    // What decload would do with these: the first pair is never 0, the
    // exponent of a value of this scale is in range, only 0 pairs at the
    // end go.
    while (result->digits[count - 1] == 0) --count;
    result->digit_count = (int16_t)count;
    result->sign = negative ? DEC_NEGATIVE : DEC_POSITIVE;
    result->exponent = (int16_t)((exp10 + 2) >> 1);
    return 0;
  } else {
    char text[24];
    ndigits_of(fabs(value), ndigit, text, &exp10);
    count = dec2to1(text, result->digits, (exp10 + 1) & 1);
  }
  const int decpt = exp10 + 1;
  result->digit_count = (int16_t)count;
  return decload(result, negative ? 0 : 1, (decpt + 1) >> 1, result->digits, count);
}

int deccvdbl(double value, decimal_t *result) { return deccvfd(value, result, 15); }

int deccvflt(double value, decimal_t *result) { return deccvfd(value, result, 8); }

/* ---- digit strings ----------------------------------------------------------------- */

char *deccvt(const decimal_t *d, int ndigit, int *decpt, int *sign, int mode) {
  int status;
  return convert_digits(d, ndigit, decpt, sign, mode, false, &status);
}

char *decfcvt(const decimal_t *d, int ndigit, int *decpt, int *sign) {
  return deccvt(d, ndigit, decpt, sign, 1);
}

char *dececvt(const decimal_t *d, int ndigit, int *decpt, int *sign) {
  return deccvt(d, ndigit, decpt, sign, 0);
}

int kvx_deccvt(const decimal_t *d, int ndigit, int *decpt, int *sign, int mode, char *buffer,
               int size) {
  int status;
  const char *text = convert_digits(d, ndigit, decpt, sign, mode, true, &status);
  if (text == nullptr) return status;
  const size_t length = strlen(text);
  if (size != 0 && size > 0 && length < (size_t)size) {
    memcpy(buffer, text, length + 1);
    return 0;
  }
  return DEC_E_NOFIT;
}

int kvx_decfcvt(const decimal_t *d, int ndigit, int *decpt, int *sign, char *buffer, int size) {
  return kvx_deccvt(d, ndigit, decpt, sign, 1, buffer, size);
}

int kvx_dececvt(const decimal_t *d, int ndigit, int *decpt, int *sign, char *buffer, int size) {
  return kvx_deccvt(d, ndigit, decpt, sign, 0, buffer, size);
}

/* ---- small text readers ---------------------------------------------------------------- */

int decxtoi(const char *text, int32_t *target) {
  uint32_t value = 0;
  const char *p = text;
  for (int v; (v = hex_value(*p)) >= 0; ++p) value = value * 16u + (uint32_t)v;
  while (*p == ' ') ++p;
  if (*p != '\0' && *p != '\n') return -1;
  *target = (int32_t)value;
  return 0;
}

char *decstoi(const char *text, int *target) {
  const char *p = text;
  bool negative = false;
  if (*p == '-') {
    negative = true;
    ++p;
  } else if (*p == '+') {
    ++p;
  }
  uint32_t value = 0;
  for (; *p >= '0' && *p <= '9'; ++p) value = value * 10u + (uint32_t)(*p - '0');
  *target = negative ? (int)(0u - value) : (int)value;
  return const_cast<char *>(p);
}
