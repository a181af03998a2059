/* Single-byte classification loops compiled as C, where glibc's isalpha_l
 * is the inline lookup in the locale's class table (in C++ it is a call). */
#define _GNU_SOURCE 1
#include <ctype.h>
#include <locale.h>
#include <stddef.h>
#include <stdint.h>

#include <vls/vlsctype.h>

size_t bench_c_glibc_isalpha(const unsigned char *p, size_t n, locale_t l) {
  size_t count = 0;
  for (size_t i = 0; i < n; ++i) count += isalpha_l(p[i], l) != 0;
  return count;
}

/* The handle's class table, read the same way. */
size_t bench_c_vls_isalpha(const unsigned char *p, size_t n, const uint16_t *class_table) {
  size_t count = 0;
  for (size_t i = 0; i < n; ++i) count += (class_table[p[i]] & VL_CT_ALPHA) != 0;
  return count;
}

/* The exported call, one per byte. */
size_t bench_c_vls_iswctype(const unsigned char *p, size_t n, vl_locale_t *h) {
  size_t count = 0;
  for (size_t i = 0; i < n; ++i) count += _vl_im_iswctype(h, p[i], VL_CT_ALPHA) != 0;
  return count;
}
