// The formatters' shared helpers: a caller's multibyte text in wide form,
// wide characters back to bytes, display columns, class tests, and the
// fixed-point text of a double. Each gives the same answers as the general services it stands
// for, with the common characters answered from the locale's tables inline.
// Not installed.
#ifndef VLS_VLSWIDE_H
#define VLS_VLSWIDE_H

#include <cmath>
#include <cstdint>
#include <cstring>

#include <vls/vls.h>
#include <vls/vlsctype.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsvlu.h>

#include "vlsint.h"
#include "vlswalk.h"

namespace vls {

// The root flags of a locale's own LC_CTYPE tree whose shortest character
// is one byte: there a byte below 0x80 flagged complete is a character
// whose value is the byte. Null for a bridged locale or another tree.
inline const unsigned char *direct_bytes(const vl_locale_t *h) {
  if (_vlu_active(h, VL_LC_CTYPE)) return nullptr;
  const multi_t *t = h->ctype.ctype_tree;
  if (!t || !t->root || t->min_length != 1) return nullptr;
  return t->root->flags;
}

// A character of the class `mask`. With the single-byte class table a
// value above 255 is error 1 and in no class.
inline bool in_class(vl_locale_t *h, vl_wchar c, uint32_t mask) {
  if (const uint16_t *ct = h->class_table) {
    if (c > 0xFFu) {
      set_error(h, VL_EILSEQ);
      return false;
    }
    return (ct[c] & mask) != 0;
  }
  if (c < 0x80u)
    if (const unsigned char *f = direct_bytes(h); f && f[c] == VL_MULTI_COMPLETE) {
      const multi_t *t = h->ctype.ctype_tree;
      return (tree::u16(tree::row(t, t->root, c)) & mask) != 0;
    }
  return _vl_im_iswctype(h, c, mask) != 0;
}
// The terminator is in no class.
inline bool is_digit(vl_locale_t *h, vl_wchar c) { return c && in_class(h, c, VL_CT_DIGIT); }

// A caller's multibyte text widened through the handle's slot: on the
// stack while it has fewer than N characters, on the host heap beyond.
template <int32_t N>
class WideArg {
 public:
  WideArg() = default;
  WideArg(const WideArg &) = delete;
  WideArg &operator=(const WideArg &) = delete;

  // 0; -1 when the conversion into the stack area fails; -2 when a longer
  // text does not measure, finds no heap (error 3) or does not convert.
  // The slot stores why a conversion failed. The slot must be set.
  int widen(vl_locale_t *h, const char *s) {
    if (widen_direct(h, s)) return 0;
    const int got = h->mbstowcs_fn(h, local_, s, N);
    if (got < 0) return -1;
    if (got < N) {
      local_[got] = 0;
      return 0;
    }
    // Characters are never more than the bytes, the terminator included.
    const int32_t bytes = h->single_byte ? static_cast<int32_t>(strlen(s)) + 1 : vl_mbsbytes(h, s);
    if (bytes <= 0) return -2;
    heap_ = alloc_array<vl_wchar>(static_cast<size_t>(bytes));
    if (!heap_) {
      set_error(h, VL_ENOMEM);
      return -2;
    }
    const int n = h->mbstowcs_fn(h, heap_, s, bytes);
    if (n < 0) return -2;
    heap_[n < bytes ? n : bytes - 1] = 0;
    text_ = heap_;
    return 0;
  }
  ~WideArg() {
    if (heap_) _vl_free_ptr(heap_);
  }
  const vl_wchar *get() const { return text_; }

 private:
  // A short text whose bytes each are a character of the value of the
  // byte, as both of the library's own conversions take them, is widened
  // here. False leaves the text to the handle's slot.
  bool widen_direct(vl_locale_t *h, const char *s) {
    const unsigned char *f;
    if (h->mbstowcs_fn == _vl_is_mbstowcs) f = nullptr;
    else if (h->mbstowcs_fn != _vl_im_mbstowcs || !(f = direct_bytes(h))) return false;
    const unsigned char *b = reinterpret_cast<const unsigned char *>(s);
    for (int32_t i = 0; i < N; ++i) {
      const unsigned c = b[i];
      if (f && (c >= 0x80u || f[c] != VL_MULTI_COMPLETE)) return false;
      local_[i] = c;
      if (!c) return true;
    }
    return false;
  }
  vl_wchar local_[N];
  vl_wchar *heap_ = nullptr;
  vl_wchar *text_ = local_;
};

// Stores the locale's terminator of `min` zero bytes.
inline void terminate(char *at, int32_t min) {
  if (min == 1) *at = 0;
  else if (min > 0) memset(at, 0, static_cast<size_t>(min));
}

// Wide characters to bytes, as vl_wclen and vl_full_wctomb give them.
class Narrow {
 public:
  explicit Narrow(vl_locale_t *h) : h_(h), direct_(h->single_byte ? nullptr : direct_bytes(h)) {}
  int length(vl_wchar v) const {
    if (h_->single_byte || direct(v)) return 1;
    char scratch[16];
    return vl_full_wctomb(h_, scratch, v);
  }
  // Writes the bytes of v (at most four); their count, or -1 with the
  // error stored.
  int put(char *out, vl_wchar v) const {
    if (direct(v)) {
      *out = static_cast<char>(v);
      return 1;
    }
    return vl_full_wctomb(h_, out, v);
  }
  // v is one byte of its own value in a multibyte locale.
  bool direct(vl_wchar v) const { return direct_ && v < 0x80u && direct_[v] == VL_MULTI_COMPLETE; }

 private:
  vl_locale_t *h_;
  const unsigned char *direct_;
};

// Display columns of the printable characters that the locale's tables
// hold; for anything else the caller asks vl_wcwidth, which then answers
// (and stores its errors) as always.
class Columns {
 public:
  explicit Columns(vl_locale_t *h)
      : h_(h),
        table_(_vlu_active(h, VL_LC_CTYPE) ? nullptr : h->class_table),
        direct_(table_ ? nullptr : direct_bytes(h)) {
    if (direct_) {
      const multi_t *t = h->ctype.ctype_tree;
      rows_ = t->root->data, shift_ = t->data_shift, default_row_ = t->default_data;
    }
  }
  // 1 or 2 for a printable character answered from the tables, 0 when
  // the tables cannot tell.
  int quick(vl_wchar v) {
    uint16_t m;
    if (table_) {
      if (v > 0xFFu) return 0;
      m = table_[v];
    } else if (direct_ && v < 0x80u && direct_[v] == VL_MULTI_COMPLETE) {
      // The root's row of v, as tree::row finds it.
      m = tree::u16(rows_ ? rows_ + (static_cast<size_t>(v) << shift_) : default_row_);
    } else {
      return 0;
    }
    if (!(m & VL_CT_PRINT)) return 0;
    // The full-width class is one of the locale's own (a bit from
    // VL_CT_LOCAL up): a character in none of those is one column.
    if (!(m & ~static_cast<uint32_t>(VL_CT_LOCAL - 1))) return 1;
    return (m & full_width()) ? 2 : 1;
  }
  // vl_wcwidth of v.
  int of(vl_wchar v) {
    if (!v) return 0;
    const int q = quick(v);
    return q ? q : vl_wcwidth(h_, v);
  }
  // The columns of at most `limit` characters of a text, a character with
  // no width counting none.
  int sum(const vl_wchar *s, size_t limit) {
    int n = 0;
    for (size_t i = 0; s[i] && i < limit; ++i) {
      const int w = of(s[i]);
      n += w > 0 ? w : 0;
    }
    return n;
  }
  // The class mask of a printable single-byte character, when the class
  // table answers for v; false otherwise.
  bool table_mask(vl_wchar v, uint16_t *m) const {
    if (!table_ || v > 0xFFu) return false;
    *m = table_[v];
    return true;
  }
  uint32_t full_width() {
    if (!fw_known_) fw_ = vl_ctype(h_, "full_width"), fw_known_ = true;
    return fw_;
  }

 private:
  vl_locale_t *h_;
  const uint16_t *table_;
  const unsigned char *direct_;
  const unsigned char *rows_ = nullptr, *default_row_ = nullptr;
  int shift_ = 0;
  uint32_t fw_ = 0;
  bool fw_known_ = false;
};

// The text the C library prints for a finite value by "%.<p>f" in the C
// locale, for a magnitude below 2^32 and p from 0 to 9: the exact binary
// value scaled by 10^p (below 2^83, held in two words) and rounded half to
// even. Its length, or 0 when the value is outside that range.
inline int fixed_text(double value, int p, char *out) {
  static constexpr uint64_t kPow10[] = {1,      10,      100,      1000,      10000,
                                        100000, 1000000, 10000000, 100000000, 1000000000};
  const double a = std::fabs(value);
  if (!(a < 4294967296.0) || p < 0 || p > 9) return 0;
  uint64_t bits;
  memcpy(&bits, &a, sizeof bits);
  const int biased = static_cast<int>(bits >> 52);
  uint64_t m = bits & ((uint64_t{1} << 52) - 1);
  if (biased) m |= uint64_t{1} << 52;
  const int shift = biased ? 1075 - biased : 1074;  // a = m / 2^shift, shift at least 21
  const uint64_t b = kPow10[p];
  uint64_t q = 0;
#ifdef __SIZEOF_INT128__
  if (shift <= 90) {  // n = m * b is below 2^83: farther down it rounds to 0
    const unsigned __int128 n = static_cast<unsigned __int128>(m) * b;
    const unsigned __int128 half = static_cast<unsigned __int128>(1) << (shift - 1);
    q = static_cast<uint64_t>(n >> shift);
    if ((n & half) && ((n & (half - 1)) || (q & 1))) ++q;
  }
#else
  const uint64_t low = (m & 0xFFFFFFFFu) * b, high = (m >> 32) * b;  // n = high * 2^32 + low
  const uint64_t n0 = low + (high << 32);
  const uint64_t n1 = (high >> 32) + (n0 < low ? 1 : 0);
  // Bit k of n, and whether n has a bit set below bit k.
  auto bit = [&](int k) { return k < 64 ? (n0 >> k) & 1 : k < 128 ? (n1 >> (k - 64)) & 1 : 0; };
  auto below = [&](int k) {
    if (k <= 0) return false;
    if (k < 64) return (n0 & ((uint64_t{1} << k) - 1)) != 0;
    if (n0) return true;
    return k - 64 < 64 ? (n1 & ((uint64_t{1} << (k - 64)) - 1)) != 0 : n1 != 0;
  };
  if (shift <= 90) {  // n is below 2^83: farther down it rounds to 0
    q = shift < 64 ? (n0 >> shift) | (shift ? n1 << (64 - shift) : 0) : n1 >> (shift - 64);
    if (bit(shift - 1) && (below(shift - 1) || (q & 1))) ++q;
  }
#endif
  static constexpr char kPairs[] =
      "0001020304050607080910111213141516171819202122232425262728293031323334353637383940414243444546474849"
      "5051525354555657585960616263646566676869707172737475767778798081828384858687888990919293949596979899";
  char *o = out;
  if (std::signbit(value)) *o++ = '-';
  // Two digits a division (the fraction is below 10^9).
  uint64_t ip = q / b;
  uint32_t fp = static_cast<uint32_t>(q % b);
  char digits[24];
  int k = 0;
  while (ip >= 100) {
    const uint32_t r = static_cast<uint32_t>(ip % 100);
    ip /= 100;
    digits[k++] = kPairs[2 * r + 1], digits[k++] = kPairs[2 * r];
  }
  if (ip >= 10) digits[k++] = kPairs[2 * ip + 1], digits[k++] = kPairs[2 * ip];
  else digits[k++] = static_cast<char>('0' + ip);
  while (k) *o++ = digits[--k];
  if (p > 0) {
    *o++ = '.';
    int i = p - 1;
    for (; i >= 1; i -= 2) {
      const uint32_t r = fp % 100;
      fp /= 100;
      o[i] = kPairs[2 * r + 1], o[i - 1] = kPairs[2 * r];
    }
    if (i == 0) o[0] = static_cast<char>('0' + fp % 10);
    o += p;
  }
  return static_cast<int>(o - out);
}

}  // namespace vls

#endif
