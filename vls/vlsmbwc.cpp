// Multibyte and wide characters: conversion between the two forms, string
// lengths in characters and bytes, terminators and display widths.
//
// A string ends in vl_mb_loc_min zero bytes; a wide string in a zero value.
// In a tree-driven locale a wide value is the character's bytes folded
// big-endian. Single-byte locales are served by direct byte loops; the
// test of `single_byte` sits at the head of every loop. Walks of the byte
// tree are written inline and allocate nothing.
#include <vls/vlsmbwc.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <vls/vlsctype.h>
#include <vls/vlsvlu.h>

#include "vlsctypefast.h"
#include "vlsint.h"
#include "vlswalk.h"

namespace {

constexpr int32_t kMaxChar = vls::tree::kMaxChar;
constexpr int32_t kUnbounded = INT32_MAX;  // walk bounded only by the tree

inline bool bridged(const vl_locale_t *h) { return _vlu_active(h, VL_LC_CTYPE); }

inline const unsigned char *ubytes(const char *s) { return reinterpret_cast<const unsigned char *>(s); }
inline const char *cbytes(const unsigned char *s) { return reinterpret_cast<const char *>(s); }

// vl_mb_loc_min without a call for a native locale.
inline int32_t loc_min(vl_locale_t *h) {
  return bridged(h) ? vl_mb_loc_min(h) : h->ctype.ctype_tree->min_length;
}

inline int fail(vl_locale_t *h, uint32_t code) {
  vls::set_error(h, code);
  return -1;
}

using vls::tree::Walk;

// Walks one character at `s`, reading at most `limit` bytes (limit >= 1).
// A failed walk gives 7 when the limit ends inside a character and 1 when
// the bytes are no character.
inline Walk walk(const multi_t *tree, const unsigned char *s, int32_t limit) {
  if (limit == kUnbounded) return vls::tree::walk(tree, vls::tree::Bytes{s});
  return vls::tree::walk(tree, vls::tree::Counted{s, limit});
}

// The 16-bit class mask of a walked character of the LC_CTYPE tree.
inline uint16_t class_mask(const multi_t *tree, const Walk &w) { return vls::tree::u16(vls::tree::row(tree, w)); }
inline uint16_t class_mask(const void *row) { return vls::tree::u16(row); }

using vls::tree::wide_length;

// Writes the bytes of `v` as the tree accepts them, highest first. Gives
// the length, or -1 when the value is no character (a prefix may stand).
inline int32_t put_wide(const multi_t *tree, unsigned char *out, vl_wchar v) {
  const Walk w = vls::tree::walk_wide(tree, v, [&out](unsigned b) { *out++ = static_cast<unsigned char>(b); });
  return w.ok() ? w.bytes : -1;
}

// After this many one-byte characters in a row a call asks once whether the
// tree takes all of ASCII that way, and then goes eight bytes at a time.
constexpr int32_t kRunForWords = 16;

// put_wide out of a hot loop's way.
__attribute__((noinline)) int32_t put_wide_walk(const multi_t *tree, unsigned char *out, vl_wchar v) {
  return put_wide(tree, out, v);
}

// Eight bytes as eight wide values.
inline void widen8(vl_wchar *out, const unsigned char *b) {
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  const __m128i half = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(b)), zero);
  _mm_storeu_si128(reinterpret_cast<__m128i *>(out), _mm_unpacklo_epi16(half, zero));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 4), _mm_unpackhi_epi16(half, zero));
#else
  for (int j = 0; j < 8; ++j) out[j] = b[j];
#endif
}

// `n` bytes as as many wide values.
inline void widen(vl_wchar *out, const unsigned char *b, int32_t n) {
  int32_t i = 0;
  for (; i + 8 <= n; i += 8) widen8(out + i, b + i);
  for (; i < n; ++i) out[i] = b[i];
}

// Values of 1..Top from `s` as bytes at `o`, at most `room` of them, up to
// the first other value: the count written. No value behind that one is
// read, so a terminated text is not read past its zero.
template <vl_wchar Top>
inline int32_t narrow_run(unsigned char *o, const vl_wchar *s, int32_t room) {
  int32_t k = 0;
  auto one = [&](int32_t at) {
    const vl_wchar v = s[at];
    if (v - 1u >= Top) return false;
    o[at] = static_cast<unsigned char>(v);
    return true;
  };
  for (; k + 4 <= room; k += 4)
    if (!one(k)) return k;
    else if (!one(k + 1)) return k + 1;
    else if (!one(k + 2)) return k + 2;
    else if (!one(k + 3)) return k + 3;
  while (k < room && one(k)) ++k;
  return k;
}

// The class rows of the handle's tree, when LC_CTYPE derived them: they
// read most characters of two and three bytes without a walk.
inline vls::ctype::TextRows text_rows(const vl_locale_t *h) {
  const vls::ctype::FastCtype *f = vls::ctype::fast_of(h);
  return vls::ctype::TextRows(vls::ctype::reads(f, h->ctype.ctype_tree) ? f : nullptr);
}

// The character at `p`, of bytes that may be read up to `limit`
// (kUnbounded: a terminated text): its length with its value in `v`,
// through the rows when they tell, else by the walk; 0 on failure with the
// walk's error in `err`.
__attribute__((always_inline)) inline int32_t next_char(const multi_t *tree, const vls::ctype::TextRows &rows,
                                                        const unsigned char *p, int32_t limit, vl_wchar &v,
                                                        uint32_t &err) {
  if (*p >= 0x80 && limit >= 3)
    if (const int32_t n = rows.read(p, v)) return n;
  const Walk w = walk(tree, p, limit);
  if (!w.ok()) {
    err = w.err;
    return 0;
  }
  v = w.value;
  return w.bytes;
}

// Reads the NUL-terminated text at `at` of a tree-driven locale, at most
// `room` characters, a walk reading at most `limit` bytes; with Store each
// value goes to `target` (the terminator's value too when room is left).
// `at` ends at the terminator (or after the last character taken). Gives
// the characters before it, or -1 with the error in `err` at bytes that are
// no character. Runs of one-byte characters go eight bytes at a time once
// they are long enough to pay for asking whether the tree takes all of
// ASCII. Not inlined, so that the rows stay in registers.
template <bool Store>
__attribute__((noinline)) int32_t read_terminated(const multi_t *tree, const vls::ctype::TextRows rows,
                                                  const unsigned char *&at, int32_t room, int32_t limit,
                                                  uint32_t &err, vl_wchar *target = nullptr) {
  const unsigned char *rf = tree->root->flags;
  if (!rf) {  // a root that takes no byte
    if (room < 1) return 0;
    err = VL_EILSEQ;
    return -1;
  }
  const unsigned char *p = at;
  int32_t i = 0, run = 0;
  int direct = -1;
  while (i < room) {
    const unsigned b = *p;
    if (b < 0x80 && rf[b] == VL_MULTI_COMPLETE) {
      if constexpr (Store) target[i] = b;
      if (!b) break;
      ++p;
      ++i;
      if (++run >= kRunForWords) {
        run = 0;
        if (direct < 0) direct = vls::tree::ascii_direct(tree);
        if (direct) {
          const size_t left = static_cast<size_t>(room - i);
          size_t k;
          if constexpr (Store) {
            vl_wchar *out = target + i;
            k = vls::tree::ascii_words<true>(p, left, [out](size_t j, const unsigned char *w) { widen8(out + j, w); });
          } else {
            k = vls::tree::ascii_words<true>(p, left, [](size_t, const unsigned char *) {});
          }
          p += k;
          i += static_cast<int32_t>(k);
        }
      }
      continue;
    }
    run = 0;
    vl_wchar v;
    const int32_t n = next_char(tree, rows, p, limit, v, err);
    if (!n) {
      at = p;
      return -1;
    }
    if constexpr (Store) target[i] = v;
    if (!v) break;
    p += n;
    ++i;
  }
  at = p;
  return i;
}

inline int wctomb_on(vl_locale_t *h, const multi_t *tree, char *target, vl_wchar v) {
  if (!tree) return fail(h, VL_EILSEQ);
  const int32_t len = put_wide(tree, reinterpret_cast<unsigned char *>(target), v);
  return len < 0 ? fail(h, VL_EILSEQ) : len;
}

// Length of the character at `p` in the NUL-terminated form of a multibyte
// locale: 0 for a NUL character, -1 on failure. The caller has tested
// `single_byte` already.
inline int32_t mb_char_len(vl_locale_t *h, const unsigned char *p) {
  if (bridged(h)) return vl_full_mblen(h, cbytes(p), kMaxChar);
  const Walk w = walk(h->ctype.ctype_tree, p, kMaxChar);
  if (!w.ok()) return fail(h, w.err);
  return w.value ? w.bytes : 0;
}

// True when the `min` bytes at `p` are all zero.
inline bool at_terminator(const unsigned char *p, int32_t min) {
  for (int32_t i = 0; i < min; ++i)
    if (p[i]) return false;
  return true;
}

inline uint32_t full_width_mask(vl_locale_t *h) { return vl_ctype(h, "full_width"); }

inline int vlu_width(vl_locale_t *h, vl_wchar v) { return _vlu_call(h, fn_vlu_uc32width, v); }

// Columns of one non-zero wide value; -1 with 7 stored when it is not
// printable. `fw` is the mask of "full_width", 0 when the locale has none.
inline int wide_columns(vl_locale_t *h, vl_wchar v, uint32_t fw) {
  uint16_t m;
  if (const uint16_t *ct = h->class_table) {
    if (v > 0xFFu) {
      vls::set_error(h, VL_EILSEQ);
      return fail(h, VL_EINVAL);
    }
    m = ct[v];
    if (!(m & VL_CT_PRINT)) return fail(h, VL_EINVAL);
    if (bridged(h)) return vlu_width(h, v);
  } else if (bridged(h)) {
    if (!_vl_im_iswctype(h, v, VL_CT_PRINT)) return fail(h, VL_EINVAL);
    return vlu_width(h, v);
  } else {
    m = class_mask(vls::tree::wide_row(h, v, h->ctype.ctype_tree));
    if (!(m & VL_CT_PRINT)) return fail(h, VL_EINVAL);
  }
  return (m & fw) ? 2 : 1;
}

// Class mask of the walked character at `p` for the width services: the
// first byte's entry of `class_table` when the table exists, else the row
// of the walk.
inline uint16_t mb_class(vl_locale_t *h, const unsigned char *p, const Walk &w) {
  if (const uint16_t *ct = h->class_table) return ct[*p];
  return class_mask(h->ctype.ctype_tree, w);
}

// narrow_run of ASCII out of the way of plain_run's registers.
__attribute__((noinline)) int32_t ascii_run(unsigned char *o, const vl_wchar *s, int32_t room) {
  return narrow_run<0x7F>(o, s, room);
}

// The values from `s` that are written without a walk, as their bytes at
// `o`: values of one byte the root completes (`rf`: kNoFlags when values
// of one byte need more bytes), runs of ASCII where the root takes all of
// it whole, and values of two and three bytes the rows complete; at most
// `count` values and `room` bytes, up to the first other value.
struct Run {
  int32_t values, bytes;
};
// Its loop is the whole of a conversion of native text, and its speed
// moved by a quarter with where the code happened to fall; a start on 64
// bytes keeps it steady.
__attribute__((noinline, aligned(64))) Run plain_run(const vls::ctype::TextRows rows, const unsigned char *rf, unsigned char *out,
                                        const vl_wchar *s, int32_t count, int32_t room) {
  // A copy of the rows of its own: the bytes written could otherwise be
  // the rows, which would be read again after every byte.
  const vls::ctype::TextRows r = rows;
  // Bounds as counts, not as pointers: a capacity may be far larger than
  // the address space left behind the target.
  if (room < 0) room = 0;
  int32_t k = 0, n = 0;
  while (k < count) {
    const vl_wchar v = s[k];
    if (v - 0x100u < 0xFF00u) {
      if (room - n < 2 || !r.two(v >> 8, v & 0xFFu)) break;
      out[n] = static_cast<unsigned char>(v >> 8);
      out[n + 1] = static_cast<unsigned char>(v);
      n += 2;
    } else if (v - 1u < 0xFFu) {
      if (n == room) break;
      if (v < 0x80u && r.ascii()) {  // takes this value at least
        const int32_t a = ascii_run(out + n, s + k, std::min(count - k, room - n));
        k += a;
        n += a;
        continue;
      }
      if (rf[v] != VL_MULTI_COMPLETE) break;
      out[n++] = static_cast<unsigned char>(v);
    } else if (v - 0x10000u < 0xFF0000u) {
      if (room - n < 3 || !r.three(v >> 16, (v >> 8) & 0xFFu, v & 0xFFu)) break;
      out[n] = static_cast<unsigned char>(v >> 16);
      out[n + 1] = static_cast<unsigned char>(v >> 8);
      out[n + 2] = static_cast<unsigned char>(v);
      n += 3;
    } else {
      break;
    }
    ++k;
  }
  return {k, n};
}

}  // namespace

extern "C" {

// ---- single characters -----------------------------------------------------------

VLS_API int _kvx_vl_full_mbtowc(vl_locale_t *h, vl_wchar *wide, const char *string, int32_t limit) {
  if (!string) return 0;
  int32_t r;
  if (_vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_mbtouc32, wide, string, limit)) return r;
  if (limit == -1) {
    // The character must end before the terminator.
    const int bytes = vl_mbsbytes(h, string);
    if (bytes <= 0) return -1;
    limit = bytes - loc_min(h);
  }
  if (limit <= 0) return fail(h, VL_EINVAL);
  const Walk w = walk(h->ctype.ctype_tree, ubytes(string), limit);
  if (!w.ok()) return fail(h, w.err);
  if (wide) *wide = w.value;
  return w.value ? w.bytes : 0;
}

VLS_API int vl_full_mbtowc(vl_locale_t *h, vl_wchar *wide, const char *string, int32_t limit) {
  if (!string) return 0;
  if (limit < 1) return fail(h, VL_EINVAL);
  return _kvx_vl_full_mbtowc(h, wide, string, limit);
}

VLS_API int vl_full_wctomb(vl_locale_t *h, char *target, vl_wchar wide) {
  int32_t r;
  if (_vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_uc32tomb, target, wide)) return r;
  return wctomb_on(h, h->ctype.ctype_tree, target, wide);
}

// The collation reader turns the characters of its weights into bytes with
// the collation category's own tree, before LC_CTYPE need agree with it.
VLS_API int _vl_sl_wctomb(vl_locale_t *h, char *target, vl_wchar wide) {
  return wctomb_on(h, h->coll_rows, target, wide);
}

VLS_API int vl_wclen(vl_locale_t *h, vl_wchar wide) {
  if (h->single_byte) return 1;
  char scratch[16];
  return vl_full_wctomb(h, scratch, wide);
}

// ---- lengths and terminators --------------------------------------------------------

VLS_API int32_t vl_wcslen(const vl_wchar *wide) {
  if (!wide) return 0;
  const vl_wchar *p = wide;
  while (*p) ++p;
  return static_cast<int32_t>(p - wide);
}

// A null wide string has no terminator and so 0 bytes, as vl_mbsbytes.
VLS_API int32_t vl_wcsbytes(const vl_wchar *wide) {
  if (!wide) return 0;
  return 4 * (vl_wcslen(wide) + 1);
}

VLS_API int vl_mbsbytes(vl_locale_t *h, const char *string) {
  if (!string) return 0;
  size_t n;
  if (h->single_byte) {
    n = strlen(string);
  } else if (bridged(h)) {
    const unsigned char *p = ubytes(string);
    int32_t len;
    while ((len = mb_char_len(h, p)) > 0) p += len;
    if (len < 0) return 0;
    n = static_cast<size_t>(p - ubytes(string));
  } else {
    const unsigned char *p = ubytes(string);
    uint32_t err = 0;
    if (read_terminated<false>(h->ctype.ctype_tree, text_rows(h), p, kUnbounded, kMaxChar, err) < 0) {
      fail(h, err);
      return 0;
    }
    n = static_cast<size_t>(p - ubytes(string));
  }
  return static_cast<int>(n) + loc_min(h);
}

VLS_API int vl_mbsbytes_nt(vl_locale_t *h, const char *string) {
  if (!string) return fail(h, VL_EBADPTR);
  // The bridge counts a one-byte terminator whatever the codeset.
  if (bridged(h)) return vl_mbsbytes(h, string) - 1;
  if (h->single_byte) return static_cast<int>(strlen(string));
  const multi_t *tree = h->ctype.ctype_tree;
  const int32_t min = loc_min(h);
  const unsigned char *s = ubytes(string), *p = s;
  for (;;) {
    // The terminator's bytes must themselves walk as a character.
    const Walk w = walk(tree, p, kUnbounded);
    if (!w.ok()) return fail(h, VL_EILSEQ);
    if (at_terminator(p, min)) return static_cast<int>(p - s);
    p += w.bytes;
  }
}

VLS_API int vl_ismbsterm(vl_locale_t *h, const char *position) {
  if (!position) return 1;
  return at_terminator(ubytes(position), loc_min(h)) ? 1 : 0;
}

VLS_API int vl_mbsterm(vl_locale_t *h, char *position) {
  const int min = loc_min(h);
  if (position && min > 0) memset(position, 0, static_cast<size_t>(min));
  return min;
}

VLS_API int _kvx_vl_im_mbfslen(vl_locale_t *h, const char *string, int32_t length) {
  if (length == -1 && string && !bridged(h)) {
    // One byte a character up to the terminator.
    if (h->single_byte) return static_cast<int>(strlen(string));
    // One pass: measuring the string first and counting up to that end
    // walks the same characters twice with the same outcome.
    const unsigned char *p = ubytes(string);
    uint32_t err = 0;
    const int32_t count = read_terminated<false>(h->ctype.ctype_tree, text_rows(h), p, kUnbounded, kMaxChar, err);
    return count < 0 ? fail(h, VL_EILSEQ) : count;
  }
  if (length == -1) {
    // A failed measure (or a null string) leaves a negative length: no
    // character can end exactly there.
    length = vl_mbsbytes(h, string) - loc_min(h);
    if (length < 0) return fail(h, VL_EILSEQ);
  } else if (length < -1) {
    return fail(h, VL_EBADARG);
  } else if (!string) {
    return fail(h, VL_EBADPTR);
  }
  // One byte a character; a NUL advances by the shortest length, one.
  if (h->single_byte) return length;
  const int32_t min = loc_min(h);
  const bool bridge = bridged(h);
  const multi_t *tree = h->ctype.ctype_tree;
  const unsigned char *p = ubytes(string), *end = p + length;
  int count = 0;
  while (p < end) {
    int32_t len;
    if (bridge) {
      len = vl_full_mblen(h, cbytes(p), kMaxChar);
      if (len < 0) return -1;
    } else {
      // Bounded by the end: a character that runs past it straddles the
      // end, which is the same failure as bytes that are no character.
      const int32_t room = static_cast<int32_t>(end - p);
      const Walk w = walk(tree, p, room < kMaxChar ? room : kMaxChar);
      if (!w.ok()) return fail(h, VL_EILSEQ);
      len = w.value ? w.bytes : 0;
    }
    ++count;
    p += len ? len : min;
  }
  if (p != end) return fail(h, VL_EILSEQ);
  return count;
}

VLS_API int _vl_im_mbslen(vl_locale_t *h, const char *string) { return _kvx_vl_im_mbfslen(h, string, -1); }

// ---- string conversions -----------------------------------------------------------

VLS_API int _kvx_vl_is_mbfstowcfs(vl_locale_t *h, vl_wchar *target, const char *source, int32_t length,
                                  int32_t capacity) {
  if (capacity <= 0) return 0;
  if (length < -1) return fail(h, VL_EBADARG);
  if (!source) return fail(h, VL_EBADPTR);
  const unsigned char *s = ubytes(source);
  if (length == -1) {
    // The zero byte is copied too but not counted.
    const int32_t n = static_cast<int32_t>(strnlen(source, static_cast<size_t>(capacity)));
    widen(target, s, n < capacity ? n + 1 : n);
    return n;
  }
  const int32_t n = length < capacity ? length : capacity;
  widen(target, s, n);
  return n;
}

VLS_API int _vl_is_mbstowcs(vl_locale_t *h, vl_wchar *target, const char *source, int32_t capacity) {
  return _kvx_vl_is_mbfstowcfs(h, target, source, -1, capacity);
}

// In counted mode the result is one more than the loop's count at its exit:
// the true number of values when the input ends, but capacity + 1 when the
// capacity stops the loop (1 for a capacity of 0 or below). Callers give a
// capacity above the longest expected count.
VLS_API int _kvx_vl_im_mbfstowcfs(vl_locale_t *h, vl_wchar *target, const char *source, int32_t length,
                                  int32_t capacity) {
  int32_t r;
  if (_vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_mbstoucs32, target, capacity, source, length)) return r;
  if (length < -1) return fail(h, VL_EBADARG);
  if (!source && capacity > 0) return fail(h, VL_EBADPTR);
  const multi_t *tree = h->ctype.ctype_tree;
  const vls::ctype::TextRows rows = text_rows(h);
  const unsigned char *p = ubytes(source);
  uint32_t err = 0;
  if (length != -1) {
    const unsigned char *end = p + length;
    int32_t i = 0;
    while (i < capacity) {
      const int32_t room = static_cast<int32_t>(end - p);
      if (room < 1) return fail(h, VL_EILSEQ);
      const int32_t n = next_char(tree, rows, p, room, target[i], err);
      if (!n) return fail(h, VL_EILSEQ);
      p += n;
      if (p >= end) break;
      ++i;
    }
    return i + 1;
  }
  const int32_t n = read_terminated<true>(tree, rows, p, capacity, kUnbounded, err, target);
  return n < 0 ? fail(h, VL_EILSEQ) : n;
}

VLS_API int _vl_im_mbstowcs(vl_locale_t *h, vl_wchar *target, const char *source, int32_t capacity) {
  return _kvx_vl_im_mbfstowcfs(h, target, source, -1, capacity);
}

VLS_API int _kvx_vl_is_wcstombs(vl_locale_t *h, char *target, const vl_wchar *source, int32_t length,
                                int32_t capacity) {
  int32_t r;
  if (_vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_ucs32tombs, target, capacity, source, length)) return r;
  if (capacity <= 0) return 0;
  if (length < -1) return fail(h, VL_EBADARG);
  if (!source) return fail(h, VL_EBADPTR);
  unsigned char *t = reinterpret_cast<unsigned char *>(target);
  if (length == -1) {
    for (int32_t i = 0; i < capacity; ++i) {
      const vl_wchar v = source[i];
      if (!v) {
        vl_mbsterm(h, target + i);
        return i;
      }
      if (v > 0xFFu) return fail(h, VL_EILSEQ);
      t[i] = static_cast<unsigned char>(v);
    }
    return capacity;
  }
  const int32_t n = length < capacity ? length : capacity;
  for (int32_t i = 0; i < n; ++i) {
    const vl_wchar v = source[i];
    if (v > 0xFFu) return fail(h, VL_EILSEQ);
    t[i] = static_cast<unsigned char>(v);
  }
  return n;
}

VLS_API int _vl_is_wcstombs(vl_locale_t *h, char *target, const vl_wchar *source, int32_t capacity) {
  return _kvx_vl_is_wcstombs(h, target, source, -1, capacity);
}

VLS_API int is_wcstombs(vl_locale_t *h, char *target, const vl_wchar *source, int32_t capacity) {
  return _vl_is_wcstombs(h, target, source, capacity);
}

// A character that does not fit whole ends the conversion without error
// and without a terminator. In a single-byte locale each value stores its
// low byte and counts the length of its multibyte form.
VLS_API int _kvx_vl_full_wcstombs(vl_locale_t *h, char *target, const vl_wchar *source, int32_t length,
                                  int32_t capacity) {
  int32_t r;
  if (_vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_ucs32tombs, target, capacity, source, length)) return r;
  if (length < -1) return fail(h, VL_EBADARG);
  if (!source) return fail(h, VL_EBADPTR);
  const multi_t *tree = h->ctype.ctype_tree;
  unsigned char *t = reinterpret_cast<unsigned char *>(target);
  const int32_t end = length == -1 ? INT32_MAX : length;
  const int32_t min = tree->min_length;
  const bool single = h->single_byte != 0;
  const unsigned char *rf = min == 1 && tree->root->flags ? tree->root->flags : vls::ctype::kNoFlags;
  const vls::ctype::TextRows rows = text_rows(h);
  int32_t written = 0;
  for (int32_t i = 0; i < end; ++i) {
    // The run from here that needs no walk: in a single-byte locale values
    // of one byte, in another plain_run's.
    const int32_t room = capacity - written;
    Run run{0, 0};
    if (!single) {
      run = plain_run(rows, rf, t + written, source + i, end - i, room);
    } else if (min == 1 && room > 0) {
      const int32_t k = narrow_run<0xFF>(t + written, source + i, std::min(room, end - i));
      run = {k, k};
    }
    if (run.values) {
      written += run.bytes;
      i += run.values;
      if (i == end) break;
    }
    const vl_wchar v = source[i];
    const int32_t len = wide_length(min, v);
    if (static_cast<int64_t>(written) + len > capacity) return written;
    if (length == -1 && !v) {
      vl_mbsterm(h, target + written);
      return written;
    }
    if (single) {  // the low byte, counted as long as the value's multibyte form
      t[written] = static_cast<unsigned char>(v);
      written += len;
      continue;
    }
    const int32_t n = put_wide_walk(tree, t + written, v);
    if (n < 0) return fail(h, VL_EILSEQ);
    written += n;
  }
  return written;
}

VLS_API int vl_full_wcstombs(vl_locale_t *h, char *target, const vl_wchar *source, int32_t capacity) {
  return _kvx_vl_full_wcstombs(h, target, source, -1, capacity);
}

// ---- display widths ---------------------------------------------------------------

VLS_API int vl_wcwidth(vl_locale_t *h, vl_wchar wide) {
  if (!wide) return 0;
  return wide_columns(h, wide, full_width_mask(h));
}

// A control character of one byte has a width of 1 here, where vl_wcwidth
// rejects it.
VLS_API int vl_mbwidth(vl_locale_t *h, const char *string) {
  if (!string) return fail(h, VL_EBADPTR);
  if (vl_ismbsterm(h, string)) return 0;
  const unsigned char *s = ubytes(string);
  const uint32_t fw = full_width_mask(h);
  uint16_t m;
  if (h->class_table || bridged(h)) {
    const bool printable =
        h->class_table ? (h->class_table[*s] & VL_CT_PRINT) != 0 : _vl_im_ismctype(h, string, VL_CT_PRINT) != 0;
    if (!printable) {
      const int len = h->single_byte ? 1 : vl_full_mblen(h, string, kMaxChar);
      return len == 1 ? 1 : fail(h, VL_EINVAL);
    }
    if (bridged(h)) {
      int32_t r = 0;
      _vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_mbwidth, string);
      return r;
    }
    m = h->class_table[*s];
  } else {
    const Walk w = walk(h->ctype.ctype_tree, s, kMaxChar);
    if (!w.ok()) return fail(h, VL_EINVAL);
    m = class_mask(h->ctype.ctype_tree, w);
    if (!(m & VL_CT_PRINT)) return w.bytes == 1 ? 1 : fail(h, VL_EINVAL);
  }
  return (m & fw) ? 2 : 1;
}

VLS_API int vl_wcswidth(vl_locale_t *h, const vl_wchar *wide, int32_t count) {
  if (!wide) return fail(h, VL_EBADPTR);
  if (count < 0) return fail(h, VL_EBADCOUNT);
  if (count == 0) return 0;
  if (bridged(h)) return _vlu_call(h, fn_vlu_ucs32width, wide, count);
  const uint32_t fw = full_width_mask(h);
  int total = 0;
  for (int32_t i = 0; i < count && wide[i]; ++i) {
    const int c = wide_columns(h, wide[i], fw);
    if (c < 0) return -1;
    total += c;
  }
  return total;
}

VLS_API int vl_wcspwidth(vl_locale_t *h, const vl_wchar *start, const vl_wchar *end) {
  if (!start || !end) return fail(h, VL_EBADPTR);
  if (start > end) return fail(h, VL_EBADRANGE);
  if (bridged(h)) return _vlu_call(h, fn_vlu_ucs32pwidth, start, end);
  const uint32_t fw = full_width_mask(h);
  int total = 0;
  for (const vl_wchar *p = start; p < end && *p; ++p) {
    const int c = wide_columns(h, *p, fw);
    if (c < 0) return -1;
    total += c;
  }
  return total;
}

VLS_API int vl_mbswidth(vl_locale_t *h, const char *string, int32_t count) {
  if (!string) return fail(h, VL_EBADPTR);
  if (count < 0) return fail(h, VL_EBADCOUNT);
  if (count == 0) return 0;
  int32_t r;
  if (_vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_mbswidth, string, count)) return r;
  const uint32_t fw = full_width_mask(h);
  const unsigned char *p = ubytes(string);
  int total = 0;
  if (h->single_byte && h->class_table) {
    const uint16_t *ct = h->class_table;
    for (int32_t k = 0; k < count && p[k]; ++k) {
      const uint16_t m = ct[p[k]];
      if (!(m & VL_CT_PRINT)) return fail(h, VL_EINVAL);
      total += (m & fw) ? 2 : 1;
    }
    return total;
  }
  const multi_t *tree = h->ctype.ctype_tree;
  for (int32_t k = 0; k < count; ++k) {
    const Walk w = walk(tree, p, kMaxChar);
    if (!w.ok()) return fail(h, VL_EILSEQ);
    if (!w.value) break;
    const uint16_t m = mb_class(h, p, w);
    if (!(m & VL_CT_PRINT)) return fail(h, VL_EINVAL);
    total += (m & fw) ? 2 : 1;
    p += w.bytes;
  }
  return total;
}

// Clears vl_errno first, so that a character that is not printable stores
// 7 only when the class lookup itself stored nothing.
VLS_API int vl_mbspwidth(vl_locale_t *h, const char *start, const char *end) {
  vls::set_error(h, 0);
  if (!start || !end) return fail(h, VL_EBADPTR);
  if (start > end) return fail(h, VL_EBADRANGE);
  int32_t r;
  if (_vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_mbspwidth, start, end)) return r;
  const uint32_t fw = full_width_mask(h);
  const unsigned char *p = ubytes(start), *e = ubytes(end);
  int total = 0;
  if (h->single_byte && h->class_table) {
    const uint16_t *ct = h->class_table;
    for (; p < e && *p; ++p) {
      const uint16_t m = ct[*p];
      if (!(m & VL_CT_PRINT)) return fail(h, VL_EINVAL);
      total += (m & fw) ? 2 : 1;
    }
    return total;
  }
  const multi_t *tree = h->ctype.ctype_tree;
  while (p < e) {
    const Walk w = walk(tree, p, kMaxChar);
    if (!w.ok()) {
      // The class lookup of bytes that are no character reports them.
      vls::set_error(h, VL_EILSEQ);
      return -1;
    }
    if (!w.value) break;
    const uint16_t m = mb_class(h, p, w);
    if (!(m & VL_CT_PRINT)) {
      if (vls::get_error(h) == 0) vls::set_error(h, VL_EINVAL);
      return -1;
    }
    total += (m & fw) ? 2 : 1;
    p += w.bytes;
  }
  return total;
}

}  // extern "C"
