/* Decimal record and arithmetic: normalisation, the four operations,
 * comparison, rounding, truncation, precision and the packed store form.
 *
 * Nothing here allocates: every operation works in a fixed stack buffer and
 * writes `result` only at the end, so `result` may alias an operand. */
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <vls/decimal.h>

#include "decint.h"

static_assert(sizeof(decimal_t) == 22, "decimal_t is 3 halfwords and 16 digit bytes");
static_assert(alignof(decimal_t) == 2, "decimal_t is halfword aligned");
static_assert(offsetof(decimal_t, exponent) == 0, "exponent comes first");
static_assert(offsetof(decimal_t, sign) == 2, "sign follows exponent");
static_assert(offsetof(decimal_t, digit_count) == 4, "digit_count follows sign");
static_assert(offsetof(decimal_t, digits) == 6, "digits follow digit_count");

namespace {


/* Compares leading digit bytes as unsigned: -1, 0 or 1. */
inline int bytes_cmp(const unsigned char *a, const unsigned char *b, int n) {
  for (int i = 0; i < n; ++i)
    if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
  return 0;
}

/* deccmp of the two magnitudes, as if both signs were 1. */
int magnitude_cmp(const decimal_t *a, const decimal_t *b) {
  int an = a->digit_count, bn = b->digit_count;
  if (an == 0) return bn == 0 ? 0 : -1;
  if (bn == 0) return 1;
  if (a->exponent != b->exponent) return a->exponent < b->exponent ? -1 : 1;
  int ac = count_of(a), bc = count_of(b);
  int r = bytes_cmp(a->digits, b->digits, ac < bc ? ac : bc);
  if (r != 0 || an == bn) return r;
  return an < bn ? -1 : 1;
}

/* ---- fixed-width helpers ------------------------------------------------
 *
 * Work buffers keep 16 readable bytes past their last digit so that digit
 * strings move in fixed 16-byte blocks.  Eight base-100 bytes are handled at
 * once in a 64-bit word, most significant byte first as in memory. */

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the word helpers assume x86 byte order");

constexpr uint64_t kOnes = 0x0101010101010101ull;
constexpr uint64_t kLowOnes = 0x0001010101010101ull; /* all but the top byte */
constexpr uint64_t kBias = 0x9C9C9C9C9C9C9C9Cull;     /* 256 - 100 in every byte */

inline uint64_t load_be(const unsigned char *p) {
  uint64_t v;
  memcpy(&v, p, 8);
  return __builtin_bswap64(v);
}

inline void store_be(unsigned char *p, uint64_t v) {
  v = __builtin_bswap64(v);
  memcpy(p, &v, 8);
}

/* a + b + carry on eight base-100 bytes.  Each byte of b is biased by 156,
 * so that a byte carries in binary exactly when its base-100 sum reaches
 * 100; the bias is then taken back from the bytes that did not carry. */
inline uint64_t add_words(uint64_t a, uint64_t b, unsigned &carry) {
  const uint64_t biased = b + kBias;
  const uint64_t s1 = a + biased;
  const unsigned c1 = s1 < a;
  const uint64_t s = s1 + carry;
  const unsigned c2 = s < s1;
  carry = c1 | c2;
  const uint64_t carried = (((a ^ biased ^ s) >> 8) & kLowOnes) | ((uint64_t)carry << 56);
  return s - ((~carried & kOnes) * 0x9C);
}

/* a - b - borrow on eight base-100 bytes: a byte that borrowed holds
 * 256 + its difference, and takes 156 off to hold 100 + its difference. */
inline uint64_t sub_words(uint64_t a, uint64_t b, unsigned &borrow) {
  const uint64_t s1 = a - b;
  const unsigned b1 = a < b;
  const uint64_t s = s1 - borrow;
  const unsigned b2 = s1 < borrow;
  borrow = b1 | b2;
  const uint64_t borrowed = (((a ^ b ^ s) >> 8) & kLowOnes) | ((uint64_t)borrow << 56);
  return s - ((borrowed & kOnes) * 0x9C);
}

// Writes count, sign and exponent behind the digits; an exponent out of
// range is clamped to its bound and reported.
inline int set_header(decimal_t *result, int count, int sign, int exponent) {
  result->digit_count = (int16_t)count;
  result->sign = (uint16_t)sign;
  if (exponent < DEC_MIN_EXPONENT) {
    result->exponent = DEC_MIN_EXPONENT;
    return DEC_E_UNDERFLOW;
  }
  if (exponent > DEC_MAX_EXPONENT) {
    result->exponent = DEC_MAX_EXPONENT;
    return DEC_E_OVERFLOW;
  }
  result->exponent = (int16_t)exponent;
  return 0;
}

/* Digit bytes made ready to store: trailing zero bytes dropped, leading ones
 * skipped (each lowering the exponent), and more than 16 bytes rounded half
 * up on the 17th into `rounded`. A count left at 0 or below is zero. */
const unsigned char *normalise(const unsigned char *p, int *count, int *exponent, unsigned char *rounded) {
  int n = *count;
  while (n > 0 && p[n - 1] == 0) --n;
  if (n > 0)
    while (*p == 0) {
      ++p;
      --n;
      --*exponent;
    }
  if (n > DEC_MAX_DIGITS) {
    p = round_17th(p, rounded, exponent);
    n = DEC_MAX_DIGITS;
  }
  *count = n;
  return p;
}

/* decload for a work buffer that stays readable for 16 bytes past `count`. */
int finish(decimal_t *result, int sign, int exponent, const unsigned char *p, int count) {
  unsigned char rounded[1 + DEC_MAX_DIGITS];
  p = normalise(p, &count, &exponent, rounded);
  if (count <= 0) {
    set_zero(result);
    return 0;
  }
  memcpy(result->digits, p, DEC_MAX_DIGITS);
  return set_header(result, count, sign, exponent);
}

/* The digit bytes of a 16-byte block (hi, lo) moved `at` bytes to the right
 * in a frame of three words. */
inline void place(uint64_t hi, uint64_t lo, int at, uint64_t *w) {
  uint64_t a = hi, b = lo, c = 0;
  int bits = 8 * at;
  while (bits >= 64) {
    c = b;
    b = a;
    a = 0;
    bits -= 64;
  }
  if (bits != 0) {
    c = (c >> bits) | (b << (64 - bits));
    b = (b >> bits) | (a << (64 - bits));
    a >>= bits;
  }
  w[0] = a;
  w[1] = b;
  w[2] = c;
}

/* finish() for a frame held in three words, zero past its digits. */
int finish_frame(decimal_t *result, int sign, int exponent, uint64_t *w) {
  int first, last;
  if (w[0] != 0)
    first = __builtin_clzll(w[0]) >> 3;
  else if (w[1] != 0)
    first = 8 + (__builtin_clzll(w[1]) >> 3);
  else if (w[2] != 0)
    first = 16 + (__builtin_clzll(w[2]) >> 3);
  else {
    set_zero(result);
    return 0;
  }
  if (w[2] != 0)
    last = 23 - (__builtin_ctzll(w[2]) >> 3);
  else if (w[1] != 0)
    last = 15 - (__builtin_ctzll(w[1]) >> 3);
  else
    last = 7 - (__builtin_ctzll(w[0]) >> 3);
  int count = last - first + 1;
  exponent -= first;
  /* Bring the first digit to the front. */
  int bits = 8 * first;
  while (bits >= 64) {
    w[0] = w[1];
    w[1] = w[2];
    w[2] = 0;
    bits -= 64;
  }
  if (bits != 0) {
    w[0] = (w[0] << bits) | (w[1] >> (64 - bits));
    w[1] = (w[1] << bits) | (w[2] >> (64 - bits));
    w[2] <<= bits;
  }
  if (count > DEC_MAX_DIGITS) {
    /* Round half up on the 17th byte; trailing zeros stay. */
    if ((w[2] >> 56) > 49) {
      unsigned carry = 0;
      w[1] = add_words(w[1], 1, carry);
      w[0] = add_words(w[0], 0, carry);
      if (carry) {
        w[0] = 1ull << 56;
        ++exponent;
      }
    }
    count = DEC_MAX_DIGITS;
  }
  store_be(result->digits, w[0]);
  store_be(result->digits + 8, w[1]);
  return set_header(result, count, sign, exponent);
}

/* The 16 digit bytes of `d` as two words, zero past `count`. */
inline void digit_words(const decimal_t *d, int count, uint64_t *hi, uint64_t *lo) {
  uint64_t h = load_be(d->digits), l = load_be(d->digits + 8);
  if (count < 16) l = count <= 8 ? 0 : l & (~0ull << (8 * (16 - count)));
  if (count < 8) h &= count <= 0 ? 0 : ~0ull << (8 * (8 - count));
  *hi = h;
  *lo = l;
}

/* Adds or subtracts |small| to or from |big|, which is at least as large,
 * in a frame of at most 17 digit bytes behind a carry byte; digits of
 * `small` that fall outside the frame are ignored.  The result takes big's
 * sign.  The frame lives in three words: big-endian bytes 0 to 23. */
int decadsb(const decimal_t *big, const decimal_t *small, decimal_t *result, bool subtract) {
  const int shift = big->exponent - small->exponent;
  const int bn = count_of(big), sn = count_of(small);
  int width = sn + shift > bn ? sn + shift : bn;
  if (width > 17) width = 17;
  width += 1;
  int n = width - shift - 1;
  if (n > sn) n = sn;
  if (shift < 0) n = 0; /* cannot happen when |big| >= |small| */

  uint64_t hi, lo, w[3];
  digit_words(big, bn, &hi, &lo);
  place(hi, lo, 1, w);
  if (n >= 1) {
    uint64_t v[3];
    digit_words(small, n, &hi, &lo);
    place(hi, lo, 1 + shift, v);
    unsigned carry = 0;
    for (int i = 2; i >= 0; --i) w[i] = subtract ? sub_words(w[i], v[i], carry) : add_words(w[i], v[i], carry);
  }
  return finish_frame(result, big->sign, big->exponent + 1, w);
}

int add_signed(const decimal_t *a, const decimal_t *b, unsigned b_sign, decimal_t *result) {
  bool subtract = a->sign != b_sign;
  if (magnitude_cmp(a, b) < 0) {
    /* |b| leads: the sum takes b's (possibly inverted) sign. */
    decimal_t big = *b;
    big.sign = (uint16_t)b_sign;
    return decadsb(&big, a, result, subtract);
  }
  return decadsb(a, b, result, subtract);
}

/* Eight base-100 bytes as two base-10^8 limbs, high limb first. */
inline void word_limbs(uint64_t w, uint32_t *limbs) {
  w = ((w >> 8) & 0x00FF00FF00FF00FFull) * 100 + (w & 0x00FF00FF00FF00FFull);
  w = ((w >> 16) & 0x0000FFFF0000FFFFull) * 10000 + (w & 0x0000FFFF0000FFFFull);
  limbs[0] = (uint32_t)(w >> 32);
  limbs[1] = (uint32_t)w;
}

/* A base-10^8 limb as four base-100 bytes. */
inline void limb_bytes(uint32_t v, unsigned char *p) {
  const uint32_t hi = v / 10000, lo = v % 10000;
  p[0] = (unsigned char)(hi / 100);
  p[1] = (unsigned char)(hi % 100);
  p[2] = (unsigned char)(lo / 100);
  p[3] = (unsigned char)(lo % 100);
}

/* Long division in base 100, one quotient byte per step, estimating each
 * byte from the leading three remainder bytes over the leading two divisor
 * bytes, with at most one correction.  Writes 18 quotient bytes. */
__attribute__((noinline)) void divide_bytewise(const decimal_t *a, const decimal_t *b, int est,
                                               unsigned char *quotient) {
  const int an = count_of(a), bn = count_of(b);
  unsigned char rem[34 + 2];
  memset(rem, 0, sizeof rem);
  memcpy(rem + 1, a->digits, (size_t)an);
  unsigned char div[17];
  div[0] = 0;
  memcpy(div + 1, b->digits, (size_t)bn);

  for (int i = 0; i < 18; ++i) {
    int q = (rem[i] * 10000 + rem[i + 1] * 100 + rem[i + 2]) / est;
    if (q != 0) {
      int borrow = 0;
      for (int k = bn; k >= 0; --k) {
        int t = rem[i + k] - q * div[k] + borrow + 10000;
        rem[i + k] = (unsigned char)(t % 100);
        borrow = t / 100 - 100;
      }
      if (borrow < 0) {
        --q;
        int carry = 0;
        for (int k = bn; k >= 0; --k) {
          int t = rem[i + k] + div[k] + carry;
          rem[i + k] = (unsigned char)(t % 100);
          carry = t / 100;
        }
      }
    }
    quotient[i] = (unsigned char)q;
  }
}

/* ---- exact quotient in 128-bit arithmetic --------------------------------
 *
 * With a leading divisor byte of 1 to 99 and every digit byte at most 99,
 * each bytewise estimate is never too small and at most one too large, so
 * the single correction always lands on the true quotient byte: the 18
 * bytes are then the truncated quotient Q = floor(A * 10^34 / B), A and B
 * being the two 16-byte digit strings read as 32-digit integers (zero-filled
 * on the right), 10^30 <= A, B < 10^32.
 *
 * Its first byte, floor(A / B), is zero exactly when A < B.  The 16 bytes
 * that normalisation keeps are then K = floor(A' * 10^30 / B), A' being
 * 100 A when A < B and A otherwise, and what follows them, the rounding
 * byte and the byte after it, depends only on the remainder r of K:
 * the 17th byte is floor(100 r / B), and the bytes after K are all zero
 * exactly when r * 10^4 < B (or r * 100 < B, when only one byte follows).
 *
 * K is found as two halves of 16 digits, each from an estimate at most one
 * off that is made exact against its remainder, kept modulo 2^128: the true
 * remainder is then within a divisor of zero, so the wrapped value read as
 * signed is the true one. */

#if defined(__SIZEOF_INT128__)
__extension__ typedef unsigned __int128 u128;

inline u128 u128_make(uint64_t hi, uint64_t lo) { return ((u128)hi << 64) | lo; }
inline uint64_t u128_hi(u128 v) { return (uint64_t)(v >> 64); }
inline uint64_t u128_lo(u128 v) { return (uint64_t)v; }
/* Low 128 bits of v * m. */
inline u128 u128_mul(u128 v, uint64_t m) { return v * m; }
inline u128 u128_wide(uint64_t x, uint64_t y) { return (u128)x * y; }
inline u128 u128_add(u128 x, u128 y) { return x + y; }
inline u128 u128_sub(u128 x, u128 y) { return x - y; }
inline bool u128_less(u128 x, u128 y) { return x < y; }
/* Low 64 bits of v >> n, 0 < n < 64. */
inline uint64_t u128_shr(u128 v, int n) { return (uint64_t)(v >> n); }
#else
/* Two 64-bit limbs. */
struct u128 {
  uint64_t hi, lo;
};

inline u128 u128_make(uint64_t hi, uint64_t lo) { return u128{hi, lo}; }
inline uint64_t u128_hi(u128 v) { return v.hi; }
inline uint64_t u128_lo(u128 v) { return v.lo; }
inline u128 u128_wide(uint64_t x, uint64_t y) {
  const uint64_t xl = (uint32_t)x, xh = x >> 32, yl = (uint32_t)y, yh = y >> 32;
  const uint64_t p0 = xl * yl, p1 = xl * yh, p2 = xh * yl, p3 = xh * yh;
  const uint64_t mid = (p0 >> 32) + (uint32_t)p1 + (uint32_t)p2;
  return u128{p3 + (p1 >> 32) + (p2 >> 32) + (mid >> 32), (mid << 32) | (uint32_t)p0};
}
inline u128 u128_mul(u128 v, uint64_t m) {
  u128 r = u128_wide(v.lo, m);
  r.hi += v.hi * m;
  return r;
}
inline u128 u128_add(u128 x, u128 y) {
  const uint64_t lo = x.lo + y.lo;
  return u128{x.hi + y.hi + (lo < x.lo), lo};
}
inline u128 u128_sub(u128 x, u128 y) { return u128{x.hi - y.hi - (x.lo < y.lo), x.lo - y.lo}; }
inline bool u128_less(u128 x, u128 y) { return x.hi != y.hi ? x.hi < y.hi : x.lo < y.lo; }
inline uint64_t u128_shr(u128 v, int n) { return (v.lo >> n) | (v.hi << (64 - n)); }
#endif

inline bool u128_negative(u128 v) { return (int64_t)u128_hi(v) < 0; }
inline u128 u128_masked(u128 v, uint64_t mask) { return u128_make(u128_hi(v) & mask, u128_lo(v) & mask); }

constexpr uint64_t kTen8 = 100000000u;
constexpr uint64_t kTen14 = 100000000000000u;
constexpr uint64_t kTen16 = kTen8 * kTen8;

/* The top bit of each byte above 99 (and maybe of the byte after it). */
inline uint64_t big_bytes(uint64_t w) { return ((w + 0x1C1C1C1C1C1C1C1Cull) | w) & 0x8080808080808080ull; }

/* The 16 digit bytes as a 32-digit integer, in two halves of 16 digits. */
inline void digit_halves(uint64_t hi, uint64_t lo, uint64_t *top, uint64_t *bottom) {
  uint32_t l[4];
  word_limbs(hi, l);
  word_limbs(lo, l + 2);
  *top = l[0] * kTen8 + l[1];
  *bottom = l[2] * kTen8 + l[3];
}

static_assert(__LDBL_MANT_DIG__ == 64, "long double is the x87 extended format");

/* x rounded to an integer in the current rounding mode, without touching
 * the control word. */
inline int64_t round_extended(long double x) {
  int64_t r;
  __asm__("fistpll %0" : "=m"(r) : "t"(x) : "st");
  return r;
}

/* floor(n / d) < 10^16, given an estimate q of it and n - q * d modulo
 * 2^128, with d below 2^107.  An estimate one off either way is put right;
 * false when it was further off, as it can be only in an unusual
 * floating-point mode.  Leaves the remainder in *r. */
inline bool settle(uint64_t *q, u128 *r, u128 d) {
  u128 v = *r;
  const uint64_t low = (uint64_t)0 - (uint64_t)u128_negative(v);
  v = u128_add(v, u128_masked(d, low));
  const uint64_t high = (uint64_t)0 - (uint64_t)!u128_negative(u128_sub(v, d));
  v = u128_sub(v, u128_masked(d, high));
  const uint64_t n = *q + low - high;
  *q = n;
  *r = v;
  return !u128_negative(v) && u128_less(v, d) && n < kTen16;
}

/* Eight base-100 bytes, in memory order, of a number below 10^16. */
inline uint64_t sixteen_digits(uint64_t v) {
  const uint64_t h = v / kTen8;
  const uint32_t hi = (uint32_t)h, lo = (uint32_t)(v - h * kTen8);
  const uint32_t a = hi / 10000u, c = lo / 10000u;
  /* Four numbers below 10^4 in 32-bit lanes, split by 100 at once. */
  const uint64_t w[2] = {a | (uint64_t)(hi - a * 10000u) << 32, c | (uint64_t)(lo - c * 10000u) << 32};
  uint32_t pack[2];
  for (int i = 0; i < 2; ++i) {
    const uint64_t q = ((w[i] * 5243) >> 19) & 0x0000007F0000007Full;
    const uint64_t pairs = q | (w[i] - q * 100) << 8;
    pack[i] = (uint32_t)(pairs | pairs >> 16);
  }
  return pack[0] | (uint64_t)pack[1] << 32;
}

/* decdiv for two records whose bytes are all digits and whose leading
 * bytes are not zero.  False, with nothing written, when another path
 * must decide. */
bool divide_exact(const decimal_t *a, const decimal_t *b, int sign, int exponent, decimal_t *result,
                  int *status) {
  const int an = count_of(a), bn = count_of(b);
  uint64_t ah, al, bh, bl;
  digit_words(a, an, &ah, &al);
  digit_words(b, bn, &bh, &bl);
  if ((ah >> 56) == 0 || (bh >> 56) == 0) return false;
  if ((big_bytes(ah) | big_bytes(al) | big_bytes(bh) | big_bytes(bl)) != 0) return false;
  uint64_t at, ab, bt, bb;
  digit_halves(ah, al, &at, &ab);
  digit_halves(bh, bl, &bt, &bb);
  const u128 A = u128_add(u128_wide(at, kTen16), u128_make(0, ab));
  const u128 B = u128_add(u128_wide(bt, kTen16), u128_make(0, bb));
  const bool lead = u128_less(A, B);
  const long double inverse = 1.0L / ((long double)(int64_t)bt * 1e16L + (long double)(int64_t)bb);

  /* B has `bits` significant bits, 100 to 107; R = 2^(bits + 8) * 10^16 / B
   * lies in (2^61, 2^63) and is good to a few units. */
  const int bits = 128 - __builtin_clzll(u128_hi(B));
  const int shift = bits + 8 - 64;
  const int64_t R = round_extended((long double)(int64_t)((uint64_t)1 << shift) * 0x1p64L * 1e16L * inverse);

  /* High half: floor(A * 10^(14 or 16) / B). */
  const long double ax = (long double)(int64_t)at * 1e16L + (long double)(int64_t)ab;
  uint64_t k1 = (uint64_t)round_extended(ax * (lead ? 1e16L : 1e14L) * inverse);
  u128 r = u128_sub(u128_mul(A, lead ? kTen16 : kTen14), u128_mul(B, k1));
  if (!settle(&k1, &r, B)) return false;

  /* Low half: floor(r * 10^16 / B), from r * R / 2^(bits + 8). */
  const u128 low = u128_wide(u128_lo(r), (uint64_t)R);
  uint64_t k2 = u128_shr(u128_add(u128_wide(u128_hi(r), (uint64_t)R), u128_make(0, u128_hi(low))), shift);
  r = u128_sub(u128_mul(r, kTen16), u128_mul(B, k2));
  if (!settle(&k2, &r, B)) return false;

  exponent -= lead;
  int count = DEC_MAX_DIGITS;
  const bool more = !u128_less(u128_mul(r, lead ? 100 : 10000), B);
  if (more) {
    /* More than 16 bytes: round half up on the 17th; trailing zeros stay. */
    k2 += !u128_less(u128_add(r, r), B);
    if (k2 == kTen16) {
      k2 = 0;
      if (++k1 == kTen16) {
        k1 = kTen14; /* the single byte 1 */
        ++exponent;
      }
    }
  }
  const uint64_t w0 = sixteen_digits(k1), w1 = sixteen_digits(k2);
  if (!more) {
    /* Sixteen bytes at most: drop the zero bytes at the end. */
    count = w1 != 0 ? 16 - (__builtin_clzll(w1) >> 3) : 8 - (__builtin_clzll(w0) >> 3);
  }
  memcpy(result->digits, &w0, 8);
  memcpy(result->digits + 8, &w1, 8);
  result->digit_count = (int16_t)count;
  result->sign = (uint16_t)sign;
  *status = 0;
  if (exponent < DEC_MIN_EXPONENT) {
    exponent = DEC_MIN_EXPONENT;
    *status = DEC_E_UNDERFLOW;
  } else if (exponent > DEC_MAX_EXPONENT) {
    exponent = DEC_MAX_EXPONENT;
    *status = DEC_E_OVERFLOW;
  }
  result->exponent = (int16_t)exponent;
  return true;
}

}  // namespace

/* ---- normalisation ----------------------------------------------------- */

int decload(decimal_t *result, int sign, int exponent, const void *digits, int count) {
  if (sign == -1) {
    set_null(result);
    return 0;
  }
  unsigned char rounded[1 + DEC_MAX_DIGITS];
  const unsigned char *p = normalise(static_cast<const unsigned char *>(digits), &count, &exponent, rounded);
  result->digit_count = (int16_t)count;
  if (count < 1) {
    result->sign = DEC_POSITIVE;
    result->exponent = DEC_MIN_EXPONENT;
    return 0;
  }
  memmove(result->digits, p, (size_t)count);
  return set_header(result, count, sign, exponent);
}

/* ---- the four operations ------------------------------------------------ */

int decadd(const decimal_t *a, const decimal_t *b, decimal_t *result) {
  if (is_null(a) || is_null(b)) {
    set_null(result);
    return 0;
  }
  return add_signed(a, b, b->sign, result);
}

int decsub(const decimal_t *a, const decimal_t *b, decimal_t *result) {
  if (is_null(a) || is_null(b)) {
    set_null(result);
    return 0;
  }
  return add_signed(a, b, b->sign == 0 ? 1u : 0u, result);
}

int decmul(const decimal_t *a, const decimal_t *b, decimal_t *result) {
  if (is_null(a) || is_null(b)) {
    set_null(result);
    return 0;
  }
  const int sign = a->sign == b->sign ? 1 : 0;
  const int an = count_of(a), bn = count_of(b);
  if (an == 0 || bn == 0) {
    set_zero(result);
    return 0;
  }
  /* The exact product of the two 16-byte digit strings, column by column
   * in base 10^8.  Zero bytes past digit_count only append zero bytes to
   * the product, which normalisation drops again. */
  uint64_t ah, al, bh, bl;
  digit_words(a, an, &ah, &al);
  digit_words(b, bn, &bh, &bl);
  uint32_t x[4], y[4];
  word_limbs(ah, x);
  word_limbs(al, x + 2);
  word_limbs(bh, y);
  word_limbs(bl, y + 2);
  const int lx = (an + 3) / 4, ly = (bn + 3) / 4;
  uint64_t col[8] = {0, 0, 0, 0, 0, 0, 0, 0};
  for (int i = 0; i < lx; ++i)
    for (int j = 0; j < ly; ++j) col[i + j + 1] += (uint64_t)x[i] * y[j];
  const int nl = lx + ly;
  unsigned char work[32 + 16];
  uint64_t carry = 0;
  for (int k = nl - 1; k >= 0; --k) {
    const uint64_t v = col[k] + carry;
    carry = v / 100000000u;
    limb_bytes((uint32_t)(v - carry * 100000000u), work + 4 * k);
  }
  memset(work + 4 * nl, 0, 16);
  return finish(result, sign, a->exponent + b->exponent, work, 4 * nl);
}

int decdiv(const decimal_t *a, const decimal_t *b, decimal_t *result) {
  if (is_null(a) || is_null(b)) {
    set_null(result);
    return 0;
  }
  const int bn = count_of(b);
  if (bn == 0) {
    set_zero(result);
    return DEC_E_DIVZERO;
  }
  const int sign = a->sign == b->sign ? 1 : 0;
  const int exponent = a->exponent - b->exponent + 1;
  if (count_of(a) == 0) {
    set_zero(result);
    return 0;
  }
  int status;
  if (divide_exact(a, b, sign, exponent, result, &status)) return status;
  /* A record that was not normalised, or a byte above 99: the literal long
   * division, its estimator taken from the leading divisor bytes whatever
   * they are. */
  const int est = b->digits[0] * 100 + (bn > 1 ? b->digits[1] : 0);
  if (est == 0) {
    set_zero(result);
    return DEC_E_DIVZERO;
  }
  unsigned char quotient[18 + 16];
  memset(quotient + 18, 0, 16);
  divide_bytewise(a, b, est, quotient);
  return finish(result, sign, exponent, quotient, 18);
}

/* ---- comparison and copying ---------------------------------------------- */

int deccmp(const decimal_t *a, const decimal_t *b) {
  if (is_null(a) || is_null(b)) return -2;
  const int more = a->sign != 0 ? 1 : -1;
  const int less = -more;
  if (a->sign != b->sign) return more;
  const int an = a->digit_count, bn = b->digit_count;
  if (an == 0) return bn == 0 ? 0 : less;
  if (bn == 0) return more;
  if (a->exponent < b->exponent) return less;
  if (a->exponent > b->exponent) return more;
  const int ac = count_of(a), bc = count_of(b);
  const int r = bytes_cmp(a->digits, b->digits, ac < bc ? ac : bc);
  if (r != 0 || an == bn) return a->sign != 0 ? r : -r;
  return an < bn ? less : more;
}

void deccopy(const decimal_t *source, decimal_t *target) {
  target->exponent = source->exponent;
  target->sign = source->sign;
  target->digit_count = source->digit_count;
  memmove(target->digits, source->digits, (size_t)count_of(source));
}

/* ---- rounding and truncation --------------------------------------------- */

void dectrunc(decimal_t *d, int scale) {
  int keep = d->exponent + ((scale + 1) >> 1);
  if (d->digit_count < keep) return;
  if (keep >= 1) {
    if (scale & 1) {
      unsigned char &last = d->digits[keep - 1];
      last = (unsigned char)(last / 10 * 10);
      if (last == 0) --keep;
    }
    while (keep > 0 && d->digits[keep - 1] == 0) --keep;
    if (keep > 0) {
      d->digit_count = (int16_t)keep;
      return;
    }
  }
  set_zero(d);
}

void decround(decimal_t *d, int scale) {
  if (is_null(d) || (d->digit_count - d->exponent) * 2 <= scale) return;
  decimal_t half;
  half.exponent = (int16_t)(-(scale >> 1));
  half.sign = d->sign;
  half.digit_count = 1;
  half.digits[0] = (scale & 1) ? 5 : 50;
  (void)decadd(d, &half, d);
  dectrunc(d, scale);
}

/* ---- precision ------------------------------------------------------------ */

int dec2prec(const decimal_t *d) {
  if (d->digit_count == 0 || is_null(d)) return 0;
  const int n = count_of(d);
  int precision = d->digit_count * 2;
  int scale = (d->digit_count - d->exponent) * 2;
  if (n > 0 && d->digits[n - 1] % 10 == 0) {
    --precision;
    --scale;
  }
  if (d->digits[0] <= 9) --precision;
  if (scale >= 0) return precision * 256 + scale;
  return (precision - scale) * 256;
}

int decprec(const decimal_t *d) {
  const int packed = dec2prec(d);
  const int high = packed >> 8, low = packed & 0xFF;
  return (high > low ? high : low) * 256 + low;
}

int dec_is_zero(const decimal_t *d) {
  return d->digit_count == 0 && d->exponent == DEC_MIN_EXPONENT ? 1 : 0;
}

/* ---- store form ------------------------------------------------------------ */

void deccomplement(unsigned char *bytes, int n) {
  int i = n - 1;
  while (i >= 0 && bytes[i] == 0) --i;
  if (i < 0) return;
  bytes[i] = (unsigned char)(100 - bytes[i]);
  for (--i; i >= 0; --i) bytes[i] = (unsigned char)(99 - bytes[i]);
}

void stdecimal(const decimal_t *d, void *store, int length) {
  unsigned char *bytes = static_cast<unsigned char *>(store);
  if (length < 1) return;
  if (is_null(d)) {
    memset(bytes, 0, (size_t)length);
    return;
  }
  bytes[0] = (unsigned char)((d->exponent + 64) & 0x7F);
  const int n = length - 1;
  const int count = d->digit_count;
  const int stored = count_of(d) < n ? count_of(d) : n;
  memcpy(bytes + 1, d->digits, (size_t)stored);
  if (stored < n) memset(bytes + 1 + stored, 0, (size_t)(n - stored));

  if (count > n && n >= 1 && n < DEC_MAX_DIGITS && d->digits[n] > 49) {
    int i = n;
    while (i >= 1 && ++bytes[i] == 100) bytes[i--] = 0;
    if (i < 1) {
      bytes[1] = 1;
      bytes[0]++;
    }
  }
  if (d->sign == 0 && count != 0) {
    deccomplement(bytes + 1, n);
    bytes[0] ^= 0x7F;
  } else {
    bytes[0] |= 0x80;
  }
}

int lddecimal(const void *store, int length, decimal_t *result) {
  const unsigned char *bytes = static_cast<const unsigned char *>(store);
  const unsigned char b0 = length >= 1 ? bytes[0] : 0;
  const unsigned char b1 = length >= 2 ? bytes[1] : 0;
  if (b0 == 0 && b1 == 0) {
    set_null(result);
    return 0;
  }
  int n = (length < 18 ? length : 18) - 1;
  /* A zero byte in front takes a carry out of the rounding in decload. */
  unsigned char copy[1 + 17];
  copy[0] = 0;
  memcpy(copy + 1, bytes + 1, (size_t)n);
  unsigned char expbyte = b0;
  const int positive = (b0 & 0x80) != 0 ? 1 : 0;
  if (!positive) {
    expbyte ^= 0x7F;
    deccomplement(copy + 1, n);
  }
  return decload(result, positive, (expbyte & 0x7F) - 64, copy + 1, n);
}
