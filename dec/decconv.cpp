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
  /* ndigit significant digits, correctly rounded, and the position of the
   * decimal point: what ecvt promises.  The digits come from the exact
   * binary value through printf, because glibc's ecvt scales by inexact
   * powers of ten first (1e100 would become 9.99999999999999e99). */
  if (ndigit < 1) ndigit = 1;
  if (ndigit > 17) ndigit = 17;
  char formatted[40];
  // The digits come from std::to_chars, exact like "%.*e" and without the
  // printf machinery. When the shortest text that reads back as the value
  // has no more than ndigit digits it is already the correctly rounded
  // result (the value lies within half a binary unit of it, far inside half
  // a step of ndigit digits); otherwise round the exact value to ndigit.
  std::to_chars_result done = std::to_chars(formatted, formatted + sizeof formatted - 1, fabs(value),
                                            std::chars_format::scientific);
  int shortest = 0;
  for (const char *q = formatted; q < done.ptr && *q != 'e'; ++q) shortest += *q >= '0' && *q <= '9';
  if (shortest > ndigit || fabs(value) < DBL_MIN)  // (subnormals hold fewer digits than that argument needs)
    done = std::to_chars(formatted, formatted + sizeof formatted - 1, fabs(value), std::chars_format::scientific,
                         ndigit - 1);
  *done.ptr = '\0';
  char text[24];
  int n = 0;
  const char *p = formatted;
  for (; *p != '\0' && *p != 'e'; ++p)
    if (*p >= '0' && *p <= '9') text[n++] = *p;
  while (n < ndigit) text[n++] = '0';  // the shortest text, filled to ndigit digits as "%.*e" writes them
  text[n] = '\0';
  int exp10 = 0;
  if (*p == 'e') {
    const bool minus = p[1] == '-';
    for (const char *q = p + 2; *q >= '0' && *q <= '9'; ++q) exp10 = exp10 * 10 + (*q - '0');
    if (minus) exp10 = -exp10;
  }
  const int decpt = exp10 + 1;
  const bool negative = signbit(value);
  const int count = dec2to1(text, result->digits, decpt & 1);
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
