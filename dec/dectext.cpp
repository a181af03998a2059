/* Decimal text that follows the client's locale: text to a record
 * (deccvasc), a record to a fixed field (dectoasc, dbltoasc, with the
 * exponential form of dectoexp as the fallback), and a record to a double
 * through text (dectodbl, dectoflt). The decimal point and thousands
 * separator are the client's (g_lconv), settled by client start-up. */
#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <locale.h>

#include <vls/decimal.h>
#include <vls/vlsenv.h>
#include <vls/vlsinit.h>

#include "decint.h"

namespace {

constexpr int kDigits = 32;  // digit characters kept from a text

// The client's conventions, filled once.
const vl_glconv &conventions() {
  if (!_gmoninit) rmoninit();
  return g_lconv;
}

bool at(const char *p, const char *s) { return *s && strncmp(p, s, strlen(s)) == 0; }
bool ix_digit(char c) { return (_ixctype[static_cast<unsigned char>(c)] & IX_DIGIT) != 0; }

// The number of decimals a record holds, for a negative `right`.
int decimals_of(const decimal_t *d) {
  const int n = count_of(d);
  if (n == 0) return 1;
  int r = (n - d->exponent) * 2;
  if (d->digits[n - 1] % 10 == 0) --r;
  return r < 1 ? 1 : r;
}

// Writes at p, never past end; gives the new position.
char *put(char *p, char *end, const char *s, size_t n) {
  for (size_t i = 0; i < n && p < end; ++i) *p++ = s[i];
  return p;
}

// The fixed-field loop shared by dectoasc and dbltoasc.
int to_field(const decimal_t *d, char *buffer, int length, int right, bool plain_double) {
  if (length < 0) length = 0;
  memset(buffer, ' ', static_cast<size_t>(length));
  const char *point = conventions().decimal_point;
  if (right < 0) right = decimals_of(d);
  char *text;
  int decpt = 0, sign = 0;
  for (;;) {
    text = deccvt(d, right, &decpt, &sign, 2);
    if (!text) return -1;
    const int width = (sign ? 1 : 0) + right + 1 + (right >= 1 ? 1 : 0) + (decpt > 0 ? decpt - 1 : 0);
    if (width <= length) break;
    if (decpt < -3 || -right >= decpt) goto exponential;
    const int excess = width - length;
    if (excess <= right) {
      right -= excess;
    } else if (right != 0 && excess - 1 == right) {
      right = 0;  // dropping the point saves the last byte
    } else {
      goto exponential;
    }
  }
  {
    char *p = buffer, *end = buffer + length;
    const bool zero = count_of(d) == 0;
    if (sign && (plain_double || !zero)) p = put(p, end, "-", 1);
    if (plain_double && decpt <= 0) {
      // Trailing zeros go; nothing left is "00".
      size_t n = strlen(text);
      while (n > 0 && text[n - 1] == '0') text[--n] = '\0';
      if (n == 0) strcpy(text, "00");
    }
    const char *digits = text;
    if (decpt > 0) {
      const size_t n = strlen(digits) < static_cast<size_t>(decpt) ? strlen(digits) : static_cast<size_t>(decpt);
      p = put(p, end, digits, n);
      digits += n;
    } else {
      p = put(p, end, "0", 1);
    }
    if (right < 1) return 0;
    p = put(p, end, point, strlen(point));
    int written = 0;
    for (int z = decpt; z < 0 && (plain_double || written < right); ++z, ++written) p = put(p, end, "0", 1);
    const size_t rest = strlen(digits);
    const size_t n = plain_double ? rest : (static_cast<size_t>(right - written) < rest ? static_cast<size_t>(right - written) : rest);
    put(p, end, digits, n);
    return 0;
  }
exponential:
  if (dectoexp(d, buffer, length, decpt, sign) != 0) {
    memset(buffer, '*', static_cast<size_t>(length));
    return -1;
  }
  return 0;
}

locale_t c_numeric() {
  static locale_t c = newlocale(LC_NUMERIC_MASK, "C", nullptr);
  return c;
}

}  // namespace

extern "C" {

/* Reads a double from text in the C convention; 0, or -1 when nothing of
 * it is a number or text is left over. errno is left as strtod sets it. */
int rstod(const char *text, double *value) {
  char *end = nullptr;
  locale_t c = c_numeric();
  *value = c ? strtod_l(text, &end, c) : strtod(text, &end);
  return end == text || *end ? -1 : 0;
}

VLS_API int deccvasc(const char *text, int length, decimal_t *result) {
  set_zero(result);
  if (!text || length < 0) return DEC_E_BADNUM;
  char local[40];
  char *copy = local;
  if (length + 1 > static_cast<int>(sizeof local)) {
    copy = static_cast<char *>(malloc(static_cast<size_t>(length) + 1));
    if (!copy) return DEC_E_NOMEM;
  }
  size_t n = 0;
  while (n < static_cast<size_t>(length) && text[n]) ++n;
  memcpy(copy, text, n);
  copy[n] = '\0';
  struct Free {
    char *p, *local;
    ~Free() {
      if (p != local) free(p);
    }
  } release{copy, local};

  const char *p = copy;
  while (*p == ' ') ++p;
  if (!*p) {
    set_null(result);
    return 0;
  }
  if (int rc = chkvlsinit()) return set_zero(result), rc;
  const vl_glconv &conv = conventions();
  const char *point = *conv.decimal_point ? conv.decimal_point : ".";
  const char *sep = conv.thousands_sep;
  const bool negative = *p == '-';
  if (*p == '-' || *p == '+') ++p;
  if (!(*p >= '0' && *p <= '9') && !at(p, point)) return DEC_E_BADNUM;
  if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) {
    int32_t v = 0;
    if (decxtoi(p + 2, &v) != 0) return set_zero(result), DEC_E_BADNUM;
    if (negative) v = static_cast<int32_t>(0u - static_cast<uint32_t>(v));
    return deccvlong(v, result);
  }
  char digits[kDigits + 1];
  int count = 0, points = 0, exp10 = 0;
  for (;;) {
    if (at(p, point)) {
      if (++points > 1) return set_zero(result), DEC_E_BADNUM;
      p += strlen(point);
    } else if (at(p, sep)) {
      if (points && strcmp(sep, " ") != 0) return set_zero(result), DEC_E_BADNUM;
      p += strlen(sep);
    } else if (*p == '0' && count == 0) {
      if (points) --exp10;
      ++p;
    } else if (ix_digit(*p)) {
      if (count < kDigits) digits[count++] = *p;
      if (!points) ++exp10;
      ++p;
    } else {
      break;
    }
  }
  digits[count] = '\0';
  if (*p == 'e' || *p == 'E') {
    int e = 0;
    p = decstoi(p + 1, &e);
    exp10 += e;
    if (exp10 < -128 || exp10 > 126) return set_zero(result), DEC_E_BADNUM;
  }
  while (*p == ' ') ++p;
  if (*p && *p != '\n') return set_zero(result), DEC_E_BADNUM;
  const int bytes = dec2to1(digits, result->digits, exp10 & 1);
  result->digit_count = static_cast<int16_t>(bytes);
  const int rc = decload(result, negative ? 0 : 1, (exp10 + 1) >> 1, result->digits, bytes);
  if (rc != 0) set_zero(result);
  return rc;
}

int dectoexp(const decimal_t *d, char *buffer, int length, int decpt, int sign) {
  const int e = decpt - 1;
  const int overhead = 4 + (e < 0 ? 1 : 0) + (sign ? 1 : 0) + ((e < -99 || e > 99) ? 1 : 0);
  if (overhead >= length) return -1;
  char *text = dececvt(d, length - overhead, &decpt, &sign);
  if (!text) return -1;
  size_t n = strlen(text);
  while (n > 1 && text[n - 1] == '0') text[--n] = '\0';
  char *p = buffer, *end = buffer + length;
  if (sign) p = put(p, end, "-", 1);
  p = put(p, end, text, 1);
  if (n > 1) {
    const char *point = conventions().decimal_point;
    p = put(p, end, point, strlen(point));
    p = put(p, end, text + 1, n - 1);
  }
  int x = decpt - 1;
  p = put(p, end, "e", 1);
  if (x < 0) p = put(p, end, "-", 1), x = -x;
  if (x > 99) {
    const char h = static_cast<char>('0' + x / 100 % 10);
    p = put(p, end, &h, 1);
  }
  const char two[2] = {static_cast<char>('0' + x / 10 % 10), static_cast<char>('0' + x % 10)};
  put(p, end, two, 2);
  return 0;
}

VLS_API int dectoasc(const decimal_t *d, char *buffer, int length, int right) {
  if (!buffer) return -1;
  if (!d || is_null(d)) {
    if (length > 0) memset(buffer, ' ', static_cast<size_t>(length));
    return 0;
  }
  const int rc = chkvlsinit();
  if (rc < 0) return rc;
  return to_field(d, buffer, length, right, false);
}

VLS_API int dbltoasc(const decimal_t *d, char *buffer, int length, int right) {
  if (!buffer) return -1;
  if (!d || is_null(d)) {
    if (length > 0) memset(buffer, ' ', static_cast<size_t>(length));
    return 0;
  }
  return to_field(d, buffer, length, right, true);
}

VLS_API int dectodbl(const decimal_t *d, double *target) {
  if (!d || is_null(d)) {
    memset(target, 0xFF, sizeof *target);
    return 0;
  }
  const int rc = chkvlsinit();
  if (rc < 0) return rc;
  conventions();
  char text[96];
  char *p = text;
  if (d->sign == DEC_NEGATIVE) *p++ = '-';
  const int n = count_of(d);
  int exponent = 0;
  if (d->exponent < 1) {
    *p++ = '0', *p++ = '.';
    p += dec1to2(d->digits, n, p);
    exponent = d->exponent * 2;
  } else if (d->exponent < n) {
    p += dec1to2(d->digits, d->exponent, p);
    *p++ = '.';
    p += dec1to2(d->digits + d->exponent, n - d->exponent, p);
  } else {
    p += dec1to2(d->digits, n, p);
    exponent = (d->exponent - n) * 2;
  }
  if (exponent != 0) {
    *p++ = 'E';
    if (exponent < 0) *p++ = '-', exponent = -exponent;
    if (exponent > 99) *p++ = '1';
    *p++ = static_cast<char>('0' + exponent / 10 % 10);
    *p++ = static_cast<char>('0' + exponent % 10);
  }
  *p = '\0';
  errno = 0;
  double v = 0;
  if (rstod(text, &v) != 0 || errno != 0) return DEC_E_OVERFLOW;
  *target = v;
  return 0;
}

VLS_API int dectoflt(const decimal_t *d, float *target) {
  double v = 0;
  const int rc = dectodbl(d, &v);
  *target = static_cast<float>(v);
  return rc;
}

}  // extern "C"
