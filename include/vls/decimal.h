/* Exact base-100 decimal numbers: the record, its packed store form, the
 * arithmetic on it and its conversions to and from machine numbers and text.
 *
 * A value is 0.d0 d1 d2 ... in base 100, times 100 to the power `exponent`.
 * 1 is exponent 1, digits [1]; 0.5 is exponent 0, digits [50]; 12345.67 is
 * exponent 3, digits [1, 23, 45, 67].
 *
 * Status results are 0 for success and one of the DEC_E_* numbers below on
 * failure.  Nothing in the arithmetic allocates; `result` may be the same
 * record as an operand. */
#ifndef VLS_DECIMAL_H
#define VLS_DECIMAL_H

#include <stdint.h>
#include <vls/vlsexport.h>

VLS_BEGIN_DECLS

/* Capacity and bounds of the record. */
#define DEC_MAX_DIGITS 16
#define DEC_MIN_EXPONENT (-64)
#define DEC_MAX_EXPONENT 63

/* Values of `sign`. */
#define DEC_NEGATIVE 0
#define DEC_POSITIVE 1
#define DEC_NULL_SIGN 0xFFFF

/* The null forms of the machine numbers. */
#define DEC_NULL_LONG ((int32_t)(-2147483647 - 1))
#define DEC_NULL_INT (-32768)

/* Error numbers of the decimal layer. */
#define DEC_E_NOMEM (-406)      /* out of memory */
#define DEC_E_OVERFLOW (-1200)  /* exponent above 63, or value out of range */
#define DEC_E_UNDERFLOW (-1201) /* exponent below -64 */
#define DEC_E_DIVZERO (-1202)   /* division by zero */
#define DEC_E_BADNUM (-1213)    /* text is not a number */
#define DEC_E_NOFIT (-1273)     /* result does not fit the caller's buffer */

/* The record.  Null: exponent 0, sign 0xFFFF, digit_count 0 (only `sign` is
 * tested).  Zero: exponent -64, sign 1, digit_count 0. */
typedef struct decimal_t {
  int16_t exponent;    /* base-100 exponent, -64 to 63 */
  uint16_t sign;       /* 1 positive, 0 negative, 0xFFFF null */
  int16_t digit_count; /* significant bytes in digits, 0 to 16 */
  unsigned char digits[DEC_MAX_DIGITS]; /* base-100 digits, most significant first */
} decimal_t;

/* Arithmetic. */
VLS_API int decadd(const decimal_t *a, const decimal_t *b, decimal_t *result);
VLS_API int decsub(const decimal_t *a, const decimal_t *b, decimal_t *result);
VLS_API int decmul(const decimal_t *a, const decimal_t *b, decimal_t *result);
VLS_API int decdiv(const decimal_t *a, const decimal_t *b, decimal_t *result);
/* -1, 0 or 1; -2 if either is null. */
VLS_API int deccmp(const decimal_t *a, const decimal_t *b);
VLS_API void deccopy(const decimal_t *source, decimal_t *target);
VLS_API void decround(decimal_t *d, int scale);
VLS_API void dectrunc(decimal_t *d, int scale);
/* Precision * 256 + scale. */
VLS_API int dec2prec(const decimal_t *d);
VLS_API int decprec(const decimal_t *d);
VLS_API int dec_is_zero(const decimal_t *d);

/* Normalise `count` raw base-100 digit bytes into `result`; sign -1 makes a
 * null.  `digits` may lie inside `result`. */
VLS_API int decload(decimal_t *result, int sign, int exponent, const void *digits, int count);

/* Packed store form of `length` bytes: byte 0 holds sign and exponent, the
 * rest the digits (hundreds complement when negative). */
VLS_API int lddecimal(const void *bytes, int length, decimal_t *result);
VLS_API void stdecimal(const decimal_t *d, void *bytes, int length);

/* Machine numbers. */
VLS_API int deccvint(int value, decimal_t *result);
VLS_API int deccvlong(int32_t value, decimal_t *result);
VLS_API int dectoint(const decimal_t *d, int *target);
VLS_API int dectolong(const decimal_t *d, int32_t *target);
VLS_API int deccvdbl(double value, decimal_t *result);
VLS_API int deccvflt(double value, decimal_t *result);

/* Digit strings.  `mode` 0 counts all digits, 1 the digits after the
 * decimal point, 2 those plus the size of the decimal point position.
 * The returned text lives in one shared buffer, valid until the next call. */
VLS_API char *deccvt(const decimal_t *d, int ndigit, int *decpt, int *sign, int mode);
VLS_API char *decfcvt(const decimal_t *d, int ndigit, int *decpt, int *sign);
VLS_API char *dececvt(const decimal_t *d, int ndigit, int *decpt, int *sign);
/* The same into the caller's buffer of `size` bytes. */
VLS_API int kvx_deccvt(const decimal_t *d, int ndigit, int *decpt, int *sign, int mode,
                       char *buffer, int size);
VLS_API int kvx_decfcvt(const decimal_t *d, int ndigit, int *decpt, int *sign, char *buffer,
                        int size);
VLS_API int kvx_dececvt(const decimal_t *d, int ndigit, int *decpt, int *sign, char *buffer,
                        int size);

/* Hexadecimal text to an integer: 0, or -1 when the text does not end after
 * the digits and any blanks. */
VLS_API int decxtoi(const char *text, int32_t *target);
/* Signed decimal text to an integer; returns the first unused character. */
VLS_API char *decstoi(const char *text, int *target);

/* Text and float conversions that follow the client's locale. */
VLS_API int deccvasc(const char *text, int length, decimal_t *result);
VLS_API int dectoasc(const decimal_t *d, char *buffer, int length, int right);
VLS_API int dbltoasc(const decimal_t *d, char *buffer, int length, int right);
VLS_API int dectodbl(const decimal_t *d, double *target);
VLS_API int dectoflt(const decimal_t *d, float *target);

VLS_END_DECLS

#endif
