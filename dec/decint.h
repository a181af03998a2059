/* Private interfaces shared by the decimal sources; nothing here is exported. */
#ifndef VLS_DEC_DECINT_H
#define VLS_DEC_DECINT_H

#include <vls/decimal.h>

/* General control block: the one growing result buffer of the digit-string
 * conversions.  Created on demand by CheckGenInit and kept for the life of
 * the process. */
struct vl_gentcb {
  char *buffer; /* size + 2 bytes when size is not 0 */
  int size;
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

#endif
