/* _Decimal128 side of the decimal benchmark. */
#include "d128.h"

#include <string.h>

static _Decimal128 get(const d128_box *b) {
  _Decimal128 v;
  memcpy(&v, b->bytes, sizeof v);
  return v;
}

static void put(d128_box *b, _Decimal128 v) { memcpy(b->bytes, &v, sizeof v); }

void d128_make(d128_box *out, const unsigned char *digits, int count, int exponent, int negative) {
  _Decimal128 v = 0.DL;
  for (int i = 0; i < count; ++i) v = v * 100.DL + (_Decimal128)digits[i];
  for (int e = exponent - count; e > 0; --e) v *= 100.DL;
  for (int e = exponent - count; e < 0; ++e) v /= 100.DL;
  put(out, negative ? -v : v);
}

void d128_add(const d128_box *a, const d128_box *b, d128_box *r) { put(r, get(a) + get(b)); }
void d128_mul(const d128_box *a, const d128_box *b, d128_box *r) { put(r, get(a) * get(b)); }
void d128_div(const d128_box *a, const d128_box *b, d128_box *r) { put(r, get(a) / get(b)); }

int d128_cmp(const d128_box *a, const d128_box *b) {
  _Decimal128 x = get(a), y = get(b);
  return (x > y) - (x < y);
}

void d128_from_double(double v, d128_box *r) { put(r, (_Decimal128)v); }
int32_t d128_to_long(const d128_box *a) { return (int32_t)get(a); }
double d128_to_double(const d128_box *a) { return (double)get(a); }
