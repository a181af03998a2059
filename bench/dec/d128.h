/* GCC _Decimal128 peers of the decimal operations, compiled as C because
 * g++ has no _Decimal128.  Values travel as opaque 16-byte boxes. */
#ifndef VLS_BENCH_D128_H
#define VLS_BENCH_D128_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct d128_box {
#ifdef __cplusplus
  alignas(16) unsigned char bytes[16];
#else
  _Alignas(16) unsigned char bytes[16];
#endif
} d128_box;

/* The value 0.digits * 100^exponent, negated if `negative`. */
void d128_make(d128_box *out, const unsigned char *digits, int count, int exponent, int negative);
void d128_add(const d128_box *a, const d128_box *b, d128_box *r);
void d128_mul(const d128_box *a, const d128_box *b, d128_box *r);
void d128_div(const d128_box *a, const d128_box *b, d128_box *r);
int d128_cmp(const d128_box *a, const d128_box *b);
void d128_from_double(double v, d128_box *r);
int32_t d128_to_long(const d128_box *a);
double d128_to_double(const d128_box *a);

#ifdef __cplusplus
}
#endif

#endif
