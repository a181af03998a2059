/* Private interfaces shared by the decimal sources; nothing here is exported. */
#ifndef VLS_DEC_DECINT_H
#define VLS_DEC_DECINT_H

#include <vls/decimal.h>

#include <string.h>

inline bool is_null(const decimal_t *d) { return d->sign == DEC_NULL_SIGN; }

/* digit_count as a safe index into digits. */
inline int count_of(const decimal_t *d) {
  int n = d->digit_count;
  return n < 0 ? 0 : (n > DEC_MAX_DIGITS ? DEC_MAX_DIGITS : n);
}

inline void set_null(decimal_t *d) {
  d->exponent = 0;
  d->sign = DEC_NULL_SIGN;
  d->digit_count = 0;
}

inline void set_zero(decimal_t *d) {
  d->exponent = DEC_MIN_EXPONENT;
  d->sign = DEC_POSITIVE;
  d->digit_count = 0;
}

/* The first 16 of more than 16 digit bytes at p, rounded half up on the
 * 17th, in `rounded` (17 bytes: a carry out of the first byte lands in a
 * zero byte kept in front of the copy, and raises *exponent). Gives where
 * the 16 bytes start. */
inline const unsigned char *round_17th(const unsigned char *p, unsigned char *rounded, int *exponent) {
  rounded[0] = 0;
  memcpy(rounded + 1, p, DEC_MAX_DIGITS);
  if (p[DEC_MAX_DIGITS] > 49) {
    int i = DEC_MAX_DIGITS;
    while (++rounded[i] == 100) rounded[i--] = 0;
    if (rounded[0] != 0) ++*exponent;
  }
  return rounded[0] != 0 ? rounded : rounded + 1;
}

/* General control block: the one growing result buffer of the digit-string
 * conversions, and the client layer's two error numbers. Created on demand
 * by CheckGenInit and kept for the life of the process. */
struct vl_gentcb {
  char *buffer; /* size + 2 bytes when size is not 0 */
  int size;
  int vlserror; /* the client layer's last status (get_vlserror) */
  int toerrno;  /* and its second error number (get_toerrno) */
};

extern vl_gentcb *gentcb;

/* The block, created on first use; null when it cannot be allocated. */
vl_gentcb *CheckGenInit(void);
/* A fresh cleared block, or null. */
vl_gentcb *gentcb_alloc(void);
/* Clears a block. */
void genfill(vl_gentcb *block);

/* Hundreds complement of n base-100 bytes, in place. */
void deccomplement(unsigned char *bytes, int n);

/* Packs digit characters into base-100 bytes (at most 16); returns the
 * number of bytes written.  parity 1: the first character is the units of
 * the first byte. */
int dec2to1(const char *source, unsigned char *target, int parity);
/* Writes count bytes as two decimal characters each and a NUL; returns the
 * position of the NUL. */
int dec1to2(const unsigned char *source, int count, char *target);
/* double to record with ndigit significant digits. */
int deccvfd(double value, decimal_t *result, int ndigit);
/* The form d.ddde-xx of a record in `length` bytes: 0, or nonzero when the
 * overhead alone fills them. */
extern "C" int dectoexp(const decimal_t *d, char *buffer, int length, int decpt, int sign);
/* A double from text in the C convention: 0, or -1. */
extern "C" int rstod(const char *text, double *value);

#endif
