// Collation: the weighted engine over wide characters, the sort keys, the
// single-byte paths that compare bytes straight through the pass tables,
// the code-value comparisons and the Thai rules.
//
// A weight word: 1 ignored in this pass; bit 15 the low 14 bits are the
// weight and the character's code breaks a tie; bit 14 the low 14 bits name
// an expansion; else a plain weight.
#include <algorithm>
#include <bit>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <vls/vlscat.h>
#include <vls/vlscoll.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsvlu.h>

#include "vlscollidx.h"
#include "vlsctypefast.h"
#include "vlsint.h"
#include "vlswalk.h"

namespace {

using vls::set_error;

constexpr uint16_t kExpansion = 0x4000, kTie = 0x8000, kMask = 0x3FFF;
constexpr int32_t kLocalChars = 127;  // characters compared without allocation
constexpr int32_t kLocalThai = 512;   // bytes of a Thai conversion without allocation

int sign(bool less) { return less ? -1 : 1; }

// The checks every two-string comparison of multibyte text makes first:
// true (the answer is then 0) for a missing handle, one length of -1
// without the other (56) or a missing string (2).
bool refuse_pair(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2) {
  if (!h) return true;
  if ((len1 == -1) != (len2 == -1)) {
    set_error(h, VL_EMIXEDLEN);
    return true;
  }
  if (!s1 || !s2) {
    set_error(h, VL_EBADPTR);
    return true;
  }
  return false;
}

// The row of a wide code through coll_rows; -1 (error 1 stored) for none.
inline int32_t code_row(vl_locale_t *h, vl_wchar code) {
  const unsigned char *r = vls::tree::wide_row(h, code, h->coll_rows);
  return r ? vls::tree::u16(r) : -1;
}

// A wide buffer on the stack up to kLocalChars characters (and the
// terminator), on the host heap beyond.
class WideBuffer {
 public:
  bool reserve(int32_t chars) {
    return buf_.reserve((static_cast<size_t>(chars) + 1) * sizeof(vl_wchar));
  }
  vl_wchar *data() { return reinterpret_cast<vl_wchar *>(buf_.data()); }

 private:
  vls::ShortBuffer<(kLocalChars + 1) * sizeof(vl_wchar)> buf_;
};

// A parallel array owned for one comparison.
void fill_parallel(const collate_category &c, const vl_wchar *string, int32_t length, parallel_entry *arr);

// A parallel array for one comparison or key: on the stack up to
// kLocalChars entries, on the host heap beyond; empty when the locale has
// no collating elements.
struct Parallel {
  parallel_entry local[kLocalChars];
  parallel_entry *p = nullptr;
  ~Parallel() {
    if (p != local) _vl_free_ptr(p);
  }
};

// Builds the parallel array of a string when the locale has collating
// elements; false (error 3) when it could not be made.
bool parallel_for(vl_locale_t *h, const vl_wchar *s, int32_t len, Parallel &out) {
  if (h->collate.num_coll_elems == 0 || len <= 0) return true;
  out.p = len <= kLocalChars ? out.local : vls::alloc_array<parallel_entry>(static_cast<size_t>(len));
  if (!out.p) {
    set_error(h, VL_ENOMEM);
    return false;
  }
  fill_parallel(h->collate, s, len, out.p);
  return true;
}

// The characters at the head of two wide strings that every forward pass
// may pass over: equal codes, cut back to the start of an element that
// runs on past them in either string.
int32_t wide_head(const vl_wchar *s1, int32_t len1, const parallel_entry *p1, const vl_wchar *s2, int32_t len2,
                  const parallel_entry *p2) {
  const int32_t n = len1 < len2 ? len1 : len2;
  int32_t k = 0;
  while (k < n && s1[k] == s2[k]) ++k;
  for (bool moved = true; moved && k > 0;) {
    moved = false;
    for (const parallel_entry *p : {p1, p2}) {
      if (!p) continue;
      const parallel_entry &e = p[k - 1];
      if (e.elem && e.offset + 1 < e.elem->count) {
        k = k - 1 - static_cast<int32_t>(e.offset);
        moved = true;
        if (k == 0) break;
      }
    }
  }
  return k;
}

uint32_t code_limit(vl_locale_t *h) {
  switch (vl_mb_loc_max(h)) {
    case 1:
      return 0xFF;
    case 2:
      return 0xFFFF;
    case 3:
      return 0xFFFFFF;
    default:
      return 0xFFFFFFFF;
  }
}

// ---- Thai ---------------------------------------------------------------------------
//
// Thai text is ordered by its consonants first: a leading vowel (U+0E40 to
// U+0E44, TIS-620 0xE0 to 0xE4) is read after the consonant that follows
// it, and tone marks and other signs above or below (0xE7 to 0xEE) count
// only at the second level; the bytes themselves decide last.

bool thai_leading(unsigned char b) { return b >= 0xE0 && b <= 0xE4; }
bool thai_sign(unsigned char b) { return b >= 0xE7 && b <= 0xEE; }

// The level-1 bytes of `s` (len bytes) into `out`; the count.
int32_t thai_base(const unsigned char *s, int32_t len, unsigned char *out) {
  int32_t n = 0;
  for (int32_t i = 0; i < len; ++i) {
    if (thai_leading(s[i]) && i + 1 < len && !thai_leading(s[i + 1]) && !thai_sign(s[i + 1])) {
      out[n++] = s[i + 1];
      out[n++] = s[i];
      ++i;
    } else if (!thai_sign(s[i])) {
      out[n++] = s[i];
    }
  }
  return n;
}

int32_t thai_signs(const unsigned char *s, int32_t len, unsigned char *out) {
  int32_t n = 0;
  for (int32_t i = 0; i < len; ++i)
    if (thai_sign(s[i])) out[n++] = s[i];
  return n;
}

int bytes_cmp(const unsigned char *a, int32_t la, const unsigned char *b, int32_t lb) {
  const int32_t n = la < lb ? la : lb;
  if (int r = memcmp(a, b, static_cast<size_t>(n)); r != 0) return r < 0 ? -1 : 1;
  return la == lb ? 0 : sign(la < lb);
}

int thai_compare(vl_locale_t *h, const unsigned char *s1, int32_t l1, const unsigned char *s2, int32_t l2) {
  vls::ShortBuffer<kLocalThai> b1, b2;
  if (!b1.reserve(static_cast<size_t>(l1) + 1) || !b2.reserve(static_cast<size_t>(l2) + 1)) {
    set_error(h, VL_ENOMEM);
    return 0;
  }
  auto *x = reinterpret_cast<unsigned char *>(b1.data());
  auto *y = reinterpret_cast<unsigned char *>(b2.data());
  if (int r = bytes_cmp(x, thai_base(s1, l1, x), y, thai_base(s2, l2, y)); r != 0) return r;
  if (int r = bytes_cmp(x, thai_signs(s1, l1, x), y, thai_signs(s2, l2, y)); r != 0) return r;
  return bytes_cmp(s1, l1, s2, l2);
}

// A key byte for each nibble keeps every byte of a Thai key above the
// level separator.
void thai_put(unsigned char v, char *dest, int32_t &count, int32_t size) {
  for (unsigned char d : {static_cast<unsigned char>((v >> 4) + 2), static_cast<unsigned char>((v & 15) + 2)}) {
    if (count < size) dest[count] = static_cast<char>(d);
    ++count;
  }
}

// Digits of a key field for values up to `limit` (as write_weight counts).
inline int key_digits(uint32_t limit) {
  return limit >= 4162314256u ? 5 : limit >= 16387064u ? 4 : limit >= 64516u ? 3 : limit >= 254u ? 2 : 1;
}

// write_weight's digits of `value`, at `count` in `out` while below `size`.
inline void put_digits(uint32_t value, int digits, char *out, int32_t &count, int32_t size) {
  uint32_t field = value - 2;
  if (field < 254u && size - count >= digits) {
    // One digit of value, the rest zeros (a code of one byte, most weights).
    for (int i = 1; i < digits; ++i) out[count++] = 2;
    out[count++] = static_cast<char>(value & 0xFF);
    return;
  }
  auto put = [&](uint32_t d) {
    if (count < size) out[count] = static_cast<char>((d + 2) & 0xFF);
    ++count;
  };
  // Constant divisors, so that no digit costs a division instruction.
  switch (digits) {
    case 1:
      return put(field);
    case 2:
      put(field / 254u);
      return put(field % 254u);
    case 3:
      put(field / 64516u);
      put(field % 64516u / 254u);
      return put(field % 254u);
    case 4:
      put(field / 16387064u);
      put(field % 16387064u / 64516u);
      put(field % 64516u / 254u);
      return put(field % 254u);
    default:
      put(field / 4162314256u);
      field %= 4162314256u;
      put(field / 16387064u);
      put(field % 16387064u / 64516u);
      put(field % 64516u / 254u);
      return put(field % 254u);
  }
}

// ---- single-byte paths --------------------------------------------------------------

// The row of a byte: the root's own, or the tree's default.
inline uint16_t byte_row(const multi_t *t, unsigned b) { return vls::tree::u16(vls::tree::row(t, t->root, b)); }

// The first element that matches the bytes at `text` in full (ending at or
// before `end` when one is given), in file order.
const coll_elem *find_elem(const collate_category &c, const unsigned char *text, const unsigned char *end) {
  for (int32_t i = 0; i < c.num_coll_elems; ++i) {
    const coll_elem &e = c.coll_elems[i];
    if (end && static_cast<int64_t>(e.count) > end - text) continue;
    uint32_t k = 0;
    while (k < e.count && text[k] != 0 && text[k] == e.chars[k]) ++k;
    if (k == e.count) return &e;
  }
  return nullptr;
}

// Reads one side of a forward pass in a locale with expansions, collating
// elements or both, as the general engine would: an element found at a
// character covers the element's characters; a row whose word names an
// expansion is replaced by the expansion's text (once for each character
// of an element that expands). Bytes of an expansion's text do not expand
// again. Allocates nothing.
template <bool Exp, bool Elem>
class SbReader {
 public:
  SbReader(vl_locale_t *h, int32_t pass, const unsigned char *s, const unsigned char *end)
      : c_(h->collate), w_(h->collate.pass_weights[pass]), cand_(h->collate.exp_candidates[pass]),
        words_(vls::coll::byte_words(cand_)), special_(vls::coll::byte_special(cand_)), cursor_(s), end_(end) {}

  // The next byte and its word; false at the end of the side. A byte of
  // the string that starts no element and does not expand takes its word
  // straight from the pass's byte table.
  bool next(unsigned &b, uint16_t &w) {
    if (!saved_ && in_elem_ == 0) {
      if (end_ ? cursor_ >= end_ : *cursor_ == 0) return false;
      b = *cursor_;
      if (!special_[b]) {
        ++cursor_;
        w = words_[b];
        return true;
      }
    }
    for (;;) {
      if (saved_) {
        if (*cursor_ != 0) {
          b = *cursor_++;
          w = words_[b];
          return true;
        }
        cursor_ = saved_ + 1;
        saved_ = nullptr;
        if (in_elem_ > 0) --in_elem_;
      }
      if (end_ ? cursor_ >= end_ : *cursor_ == 0) return false;
      b = *cursor_;
      if (Elem) {
        const coll_elem *e = in_elem_ > 0 ? elem_ : nullptr;
        if (!e && c_.elem_candidates[b] && (e = find_elem(c_, cursor_, end_)) != nullptr) {
          elem_ = e;
          in_elem_ = static_cast<int32_t>(e->count);
        }
        if (e) {
          w = w_[e->row];
          if (Exp && (w & kExpansion)) {
            enter(&c_.expansions[w & kMask]);
            continue;
          }
          cursor_ += e->count;
          in_elem_ = 0;
          return true;
        }
      }
      if (Exp && cand_[b]) {
        enter(cand_[b]);
        continue;
      }
      w = words_[b];
      ++cursor_;
      return true;
    }
  }

 private:
  void enter(const coll_exp_record *x) {
    uint32_t n = 0;
    for (; n < x->count && n < sizeof buf_ - 1; ++n) buf_[n] = static_cast<unsigned char>(x->chars[n]);
    buf_[n] = 0;
    saved_ = cursor_;
    cursor_ = buf_;
  }
  const collate_category &c_;
  const uint16_t *w_;
  coll_exp_record *const *cand_;
  const uint16_t *words_;
  const unsigned char *special_;
  const unsigned char *cursor_;
  const unsigned char *end_;
  const unsigned char *saved_ = nullptr;
  const coll_elem *elem_ = nullptr;
  int32_t in_elem_ = 0;
  unsigned char buf_[16];
};

// Plain bytes forward or backward; reading the first byte of a backward
// side spends it.
template <bool Backward>
class SbPlain {
 public:
  SbPlain(vl_locale_t *h, int32_t pass, const unsigned char *s, const unsigned char *end)
      : words_(vls::coll::byte_words(h->collate.exp_candidates[pass])), begin_(s), end_(end), p_(Backward ? end : s) {}
  bool next(unsigned &b, uint16_t &w) {
    if (Backward ? p_ <= begin_ : p_ >= end_) return false;
    b = Backward ? *--p_ : *p_++;
    w = words_[b];
    return true;
  }

 private:
  const uint16_t *words_;
  const unsigned char *begin_, *end_, *p_;
};

// The next word other than 1 of a side; false when the side has ended.
template <typename Reader>
inline bool sb_word(Reader &r, uint16_t &w, unsigned &b) {
  while (r.next(b, w))
    if (w != 1) return true;
  return false;
}

// The shared comparison of one pass.
template <typename Reader>
int sb_pass(Reader a, Reader z) {
  for (;;) {
    uint16_t w1 = 0, w2 = 0;
    unsigned b1 = 0, b2 = 0;
    const bool more1 = sb_word(a, w1, b1);
    const bool more2 = sb_word(z, w2, b2);
    if (!more1) return more2 ? -1 : 0;
    if (!more2) return 1;
    if ((w1 & kMask) != (w2 & kMask)) return sign((w1 & kMask) < (w2 & kMask));
    if ((w1 & kTie) && b1 != b2) return sign(b1 < b2);
  }
}

// The bytes at the head of both strings that may be passed over in a
// forward pass: equal bytes (no terminator), cut back so that no element
// that starts among them can reach past them.
// `known`: bytes of terminated strings known to be equal and not zero.
size_t common_head(const collate_category &c, const unsigned char *a, const unsigned char *ea,
                   const unsigned char *z, const unsigned char *ez, size_t known) {
  size_t k = ea ? 0 : known;
  // Counted, or terminated and equal in their first 16 bytes (then
  // measured), the bytes are compared 16 at a time.
  size_t n = 0;
  if (ea) {
    n = static_cast<size_t>(ea - a) < static_cast<size_t>(ez - z) ? static_cast<size_t>(ea - a)
                                                                  : static_cast<size_t>(ez - z);
  } else {
    while (k < 16 && a[k] && a[k] == z[k]) ++k;
    if (k == 16) n = 16 + std::min(strlen(reinterpret_cast<const char *>(a + 16)), strlen(reinterpret_cast<const char *>(z + 16)));
  }
  if (ea || k == 16) {
    for (uint64_t x[2], y[2]; n - k >= 16; k += 16) {
      memcpy(x, a + k, sizeof x);
      memcpy(y, z + k, sizeof y);
      if (((x[0] ^ y[0]) | (x[1] ^ y[1])) != 0) break;
    }
    while (k < n && a[k] == z[k]) ++k;
  }
  if (c.num_coll_elems > 0 && c.elem_candidates) {
    const size_t reach = static_cast<size_t>(vls::coll::elem_longest(c.elem_candidates));
    for (size_t i = k; i > 0;) {
      --i;
      if (i + reach <= k) break;  // no element from here on reaches the cut
      if (c.elem_candidates[a[i]]) k = i;
    }
  }
  return k;
}

enum class SbPath { Exp, Elem, ExpElem, Back };

// sb_pass of pass 0 (forward) from the fast table, read from the start of
// both strings: -1, 0 or 1 as sb_pass answers, 2 at a byte the table
// cannot answer for (an element that may start, a word of 0 or an
// expansion).
int sb_fast_first(const vls::coll::FastTable *ft, const unsigned char *second, const unsigned char *a,
                  const unsigned char *ea, const unsigned char *z, const unsigned char *ez) {
  auto word = [ft, second](const unsigned char *&p, const unsigned char *e, uint16_t &w, unsigned &b) {
    for (;;) {
      if (e ? p >= e : *p == 0) return 0;
      b = *p;
      uint16_t x = ft->word0[b];
      if (x == vls::coll::kFastElem) {
        const unsigned char *q = p + 1;
        if (!((e ? q < e : *q != 0) && !second[*q])) return -1;
        x = ft->elem_word0[b];
      }
      if (x == 0) return -1;
      ++p;
      if (x != 1) {
        w = x;
        return 1;
      }
    }
  };
  for (;;) {
    uint16_t w1 = 0, w2 = 0;
    unsigned b1 = 0, b2 = 0;
    const int m1 = word(a, ea, w1, b1);
    if (m1 < 0) return 2;
    const int m2 = word(z, ez, w2, b2);
    if (m2 < 0) return 2;
    if (m1 == 0) return m2 ? -1 : 0;
    if (m2 == 0) return 1;
    if ((w1 & kMask) != (w2 & kMask)) return sign((w1 & kMask) < (w2 & kMask));
    if ((w1 & kTie) && b1 != b2) return sign(b1 < b2);
  }
}

// sb_fast_first on two terminated strings from their first byte, with the
// same answers but 0: 2 when the pass ties as well. Equal bytes at the head
// that start no element give equal words in every pass (as common_head
// has it); `same`: how many of the first 4 were passed. Equal bytes that the
// table answers for alone (no element may start there) give equal words in
// every pass and are passed in pairs; the end of a text is the table's
// word 0 of the byte 0.
constexpr uint32_t kSbOut = 0x10000;
__attribute__((always_inline)) inline uint32_t sb_term_word(const vls::coll::FastTable *ft,
                                                            const unsigned char *second, const unsigned char *&p,
                                                            unsigned &b) {
  for (;;) {
    b = *p;
    uint32_t x = ft->term0[b];
    if (x == 1) {
      ++p;
      continue;
    }
    if (__builtin_expect(x == 0 || x == vls::coll::kFastElem, 0)) {
      if (x == 0) return b == 0 ? 0 : kSbOut;
      if (p[1] == 0 || second[p[1]]) return kSbOut;
      x = ft->elem_word0[b];
      if (x == 0) return kSbOut;
    }
    ++p;
    if (x != 1) return x;
  }
}

__attribute__((always_inline)) inline int sb_quick(const collate_category &c, const vls::coll::FastTable *ft,
                                                   const unsigned char *a, const unsigned char *z, int32_t &same) {
  const unsigned char *second = c.num_coll_elems > 0 ? vls::coll::elem_second_flags(c.elem_candidates) : nullptr;
  // A longer shared head is passed by common_head's wide steps.
  const unsigned char *const a0 = a, *const z0 = z;
  for (same = 0; *a == *z && ft->sb_same[*a]; ++a, ++z)
    if (++same == 4) {
      const size_t head = common_head(c, a0, nullptr, z0, nullptr, 4);
      a = a0 + head;
      z = z0 + head;
      break;
    }
  for (;;) {
    unsigned b1 = *a, b2 = *z;
    if (b1 == b2) {
      const uint32_t x = ft->term0[b1];
      if (x != 0 && x != vls::coll::kFastElem) {
        ++a;
        ++z;
        continue;
      }
    }
    const uint32_t w1 = sb_term_word(ft, second, a, b1);
    if (w1 == kSbOut) return 2;
    const uint32_t w2 = sb_term_word(ft, second, z, b2);
    if (w2 == kSbOut) return 2;
    if (w1 == 0 || w2 == 0) return w1 == w2 ? 2 : w1 == 0 ? -1 : 1;
    if ((w1 & kMask) != (w2 & kMask)) return sign((w1 & kMask) < (w2 & kMask));
    if ((w1 & kTie) && b1 != b2) return sign(b1 < b2);
  }
}

template <SbPath P>
__attribute__((noinline)) int sb_collate(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2,
                                         size_t known = 0) {
  if (refuse_pair(h, s1, len1, s2, len2)) return 0;
  const auto *a = reinterpret_cast<const unsigned char *>(s1);
  const auto *z = reinterpret_cast<const unsigned char *>(s2);
  const unsigned char *ea = nullptr, *ez = nullptr;
  if (len1 != -1) {
    ea = a + (len1 > 0 ? len1 : 0);
    ez = z + (len2 > 0 ? len2 : 0);
  } else if (P == SbPath::Back) {
    ea = a + strlen(s1);
    ez = z + strlen(s2);
  }
  const collate_category &c = h->collate;
  // A common head of equal bytes gives equal words in every forward pass,
  // unless an element that starts in it runs on past it: forward passes
  // start behind the head, cut back before any such element.
  const size_t head = common_head(c, a, ea, z, ez, known);
  const char *t1 = s1 + head, *t2 = s2 + head;
  // A forward first pass mostly decides at once from the fast table.
  int32_t first = 0;
  const vls::coll::FastTable *ft = vls::coll::fast_table(c);
  if (ft && c.pass_flags[0] == 1 && h->coll_rows->min_length == 1 && (c.num_coll_elems == 0 || c.elem_candidates)) {
    const int r = sb_fast_first(ft, c.num_coll_elems > 0 ? vls::coll::elem_second_flags(c.elem_candidates) : nullptr,
                                a + head, ea, z + head, ez);
    if (r == -1 || r == 1) return r;
    if (r == 0) first = 1;
  }
  for (int32_t p = first; p < c.num_passes; ++p) {
    int r;
    if constexpr (P != SbPath::Back) {
      s1 = t1;
      s2 = t2;
    }
    if constexpr (P == SbPath::Exp) {
      r = collate_sb_exp(h, p, s1, reinterpret_cast<const char *>(ea), s2, reinterpret_cast<const char *>(ez));
    } else if constexpr (P == SbPath::Elem) {
      r = collate_sb_elem(h, p, s1, reinterpret_cast<const char *>(ea), s2, reinterpret_cast<const char *>(ez));
    } else if constexpr (P == SbPath::ExpElem) {
      r = collate_sb_exp_elem(h, p, s1, reinterpret_cast<const char *>(ea), s2, reinterpret_cast<const char *>(ez));
    } else if (c.pass_flags[p] == 1) {
      r = collate_sb_for(h, p, t1, reinterpret_cast<const char *>(ea), t2, reinterpret_cast<const char *>(ez));
    } else {
      r = collate_sb_back(h, p, s1, reinterpret_cast<const char *>(ea), s2, reinterpret_cast<const char *>(ez));
    }
    if (r != 0) return r;
  }
  return 0;
}

// A terminated single-byte entry: the first pass from the fast table, else
// the path's comparison.
template <SbPath P>
__attribute__((always_inline)) inline int sb_terminated(vl_locale_t *h, const char *s1, const char *s2) {
  int32_t same = 0;
  if (h && s1 && s2) {
    const vls::coll::FastTable *ft = vls::coll::fast_table(h->collate);
    if (ft && ft->sb_first) {
      const int r = sb_quick(h->collate, ft, reinterpret_cast<const unsigned char *>(s1),
                             reinterpret_cast<const unsigned char *>(s2), same);
      if (r == -1 || r == 1) return r;
    }
  }
  return sb_collate<P>(h, s1, -1, s2, -1, static_cast<size_t>(same));
}

template <typename Reader>
int sb_pass_of(vl_locale_t *h, int32_t pass, const char *s1, const char *e1, const char *s2, const char *e2) {
  const auto *a = reinterpret_cast<const unsigned char *>(s1), *z = reinterpret_cast<const unsigned char *>(s2);
  return sb_pass(Reader(h, pass, a, reinterpret_cast<const unsigned char *>(e1)),
                 Reader(h, pass, z, reinterpret_cast<const unsigned char *>(e2)));
}

// The sort key of a single-byte string straight from the pass readers the
// comparisons use: the same words the general engine yields, a byte's own
// value as its code in a tie, a separator before every pass but the first.
template <SbPath P>
int sb_xfrm(vl_locale_t *h, char *target, const char *source, int32_t size) {
  const collate_category &c = h->collate;
  const auto *s = reinterpret_cast<const unsigned char *>(source);
  const unsigned char *e = P == SbPath::Back ? s + strlen(source) : nullptr;
  const uint32_t limit = code_limit(h);
  int32_t count = 0;
  // write_weight's digits, their counts worked out once.
  const int dw = key_digits(c.max_weight), dc = key_digits(limit);
  auto emit = [&](auto reader) {
    uint16_t w = 0;
    unsigned b = 0;
    while (sb_word(reader, w, b) && w != 0) {
      if (w & kTie) {
        put_digits(w & kMask, dw, target, count, size);
        put_digits(b, dc, target, count, size);
      } else {
        put_digits(w, dw, target, count, size);
      }
    }
  };
  for (int32_t p = 0; p < c.num_passes; ++p) {
    if (p > 0) {
      if (count < size) target[count] = 1;
      ++count;
    }
    if constexpr (P == SbPath::Exp) {
      emit(SbReader<true, false>(h, p, s, e));
    } else if constexpr (P == SbPath::Elem) {
      emit(SbReader<false, true>(h, p, s, e));
    } else if constexpr (P == SbPath::ExpElem) {
      emit(SbReader<true, true>(h, p, s, e));
    } else if (c.pass_flags[p] == 1) {
      emit(SbPlain<false>(h, p, s, e));
    } else {
      emit(SbPlain<true>(h, p, s, e));
    }
  }
  if (count < size) target[count] = 0;
  return count;
}

// Marks where collating elements lie: at each position the first element
// in file order that starts there and fits, and a jump behind it.
// From position `from` (the start of a character or element) until
// position `upto` is marked; the next position to mark.
int32_t fill_parallel_from(const collate_category &c, const vl_wchar *string, int32_t length, parallel_entry *arr,
                           int32_t from, int32_t upto) {
  const int32_t *cand = c.elem_candidates;
  int32_t i = from;
  while (i < length && i <= upto) {
    coll_elem *found = nullptr;
    const vl_wchar code = string[i];
    auto fits = [&](const coll_elem &e) {
      return vl_wcspre(nullptr, string + i, length - i, e.chars, static_cast<int32_t>(e.count)) != 0;
    };
    if (!cand) {
      for (int32_t k = 0; k < c.num_coll_elems && !found; ++k)
        if (fits(c.coll_elems[k])) found = &c.coll_elems[k];
    } else if (code >= vls::coll::kFlags || cand[code]) {
      // Only the elements that start with this code, in file order.
      const uint32_t *firsts = vls::coll::elem_firsts(cand);
      const int32_t n = vls::coll::elem_index_count(cand);
      const int32_t *numbers = vls::coll::elem_numbers(cand);
      for (int32_t k = static_cast<int32_t>(std::lower_bound(firsts, firsts + n, code) - firsts);
           k < n && firsts[k] == code && !found; ++k)
        if (fits(c.coll_elems[numbers[k]])) found = &c.coll_elems[numbers[k]];
    }
    if (!found) {
      arr[i++] = {nullptr, 0};
      continue;
    }
    for (uint32_t k = 0; k < found->count; ++k) arr[i + static_cast<int32_t>(k)] = {found, k};
    i += static_cast<int32_t>(found->count);
  }
  return i;
}

void fill_parallel(const collate_category &c, const vl_wchar *string, int32_t length, parallel_entry *arr) {
  fill_parallel_from(c, string, length, arr, 0, length - 1);
}

// One character of `n` bytes at `s`: a byte the root marks whole is its
// own code, anything else is walked down the tree. False for no character.
inline bool next_char(const multi_t *t, const unsigned char *root_flags, const unsigned char *s, int32_t n,
                      vl_wchar &code, int32_t &length) {
  if (root_flags && root_flags[*s] == VL_MULTI_COMPLETE) {
    code = *s;
    length = 1;
    return true;
  }
  const vls::tree::Walk w = vls::tree::walk(t, vls::tree::Counted{s, n});
  code = w.value;
  length = w.bytes;
  return w.ok();
}

// Bytes of the character at `s` (at most `room`, room >= 1), or 0 when it
// is no character; characters of one and two bytes take a short path.
inline int32_t char_length(const multi_t *t, const unsigned char *f, const unsigned char *s, int32_t room) {
  const unsigned char fl = f[s[0]];
  if (fl == VL_MULTI_COMPLETE) return 1;
  if (fl == VL_MULTI_LEADS && room >= 2) {
    const vls::tree::Node *n = vls::tree::child(t->root, s[0]);
    const unsigned char f2 = vls::tree::flag_of(n, s[1]);
    if (f2 == VL_MULTI_COMPLETE) return 2;
    if (f2 != VL_MULTI_LEADS) return 0;
  }
  const vls::tree::Walk w = vls::tree::walk(t, vls::tree::Counted{s, room});
  return w.ok() ? w.bytes : 0;
}

// `bytes` bytes of multibyte text as wide codes, at most `room` of them:
// the count, -1 at a byte that is no character (or a character cut by the
// end), -2 when more than `room` characters follow.
int32_t wide_of(const multi_t *t, const char *s, int32_t bytes, vl_wchar *out, int32_t room) {
  const auto *p = reinterpret_cast<const unsigned char *>(s);
  int32_t n = 0;
  for (int32_t i = 0; i < bytes;) {
    if (n == room) return -2;
    const vls::tree::Walk w = vls::tree::walk(t, vls::tree::Counted{p + i, bytes - i});
    if (!w.ok()) return -1;
    out[n++] = w.value;
    i += w.bytes;
  }
  return n;
}

// The characters of a terminated multibyte string, or -1.
int32_t mb_chars(vl_locale_t *h, const char *s, int32_t len) {
  if (len == -1) return h->single_byte ? static_cast<int32_t>(strlen(s)) : _vl_im_mbslen(h, s);
  return h->single_byte ? len : _kvx_vl_im_mbfslen(h, s, len);
}

// ---- the engine on decoded text -----------------------------------------------------
//
// Multibyte text decoded once for all passes: each character's code and its
// row through coll_rows, so that no pass walks a tree for a character of the
// string. The cursor yields exactly the words and codes of next_weight; a
// character without a row stores error 1 when a pass reaches it, as the
// lookup in next_weight does.

constexpr int32_t kNoRowError = -1;  // no row: the walk failed (error 1)
constexpr int32_t kNoRow = -2;       // no row: the tree holds no data there

inline int32_t row_mark(const multi_t *t, vl_wchar v) {
  const vls::tree::Node *root = t->root;
  const unsigned char *r;
  if (t->min_length == 1 && v <= 0xFFu && root->flags && root->flags[v] == VL_MULTI_COMPLETE) {
    r = vls::tree::row(t, root, v);
  } else if (const vls::tree::Node *n = nullptr;
             t->min_length == 1 && v > 0xFFu && v <= 0xFFFFu && root->flags &&
             root->flags[v >> 8] == VL_MULTI_LEADS && (n = vls::tree::child(root, v >> 8))->flags &&
             n->flags[v & 0xFFu] == VL_MULTI_COMPLETE) {
    r = vls::tree::row(t, n, v & 0xFFu);
  } else {
    const vls::tree::Walk w = vls::tree::walk_wide(t, v);
    if (!w.ok()) return kNoRowError;
    r = vls::tree::row(t, w);
  }
  return r ? vls::tree::u16(r) : kNoRow;
}

// A string's codes and rows: on the stack up to kLocalChars characters, on
// the host heap beyond.
class Decoded {
 public:
  Decoded() = default;
  Decoded(const Decoded &) = delete;
  Decoded &operator=(const Decoded &) = delete;
  ~Decoded() {
    if (heap_) _vl_free_ptr(heap_);
  }

  // Decodes `bytes` bytes: the count, -1 at a byte that is no character
  // (or a character cut by the end), -2 when more than `room` characters
  // would be needed (Grow false), -3 without memory.
  template <bool Grow>
  int32_t decode(const multi_t *t, const multi_t *rows, const unsigned char *s, int32_t bytes) {
    int32_t n = fill(t, rows, s, bytes, kLocalChars);
    if (n != -2 || !Grow) return n;
    n = 0;
    for (int32_t i = 0; i < bytes; ++n) {
      const vls::tree::Walk w = vls::tree::walk(t, vls::tree::Counted{s + i, bytes - i});
      if (!w.ok()) return -1;
      i += w.bytes;
    }
    heap_ = _vl_alloc_ptr(static_cast<size_t>(n) * (sizeof(vl_wchar) + sizeof(int32_t)));
    if (!heap_) return -3;
    codes = static_cast<vl_wchar *>(heap_);
    rows_ = reinterpret_cast<int32_t *>(codes + n);
    return fill(t, rows, s, bytes, n);
  }

  vl_wchar *codes = local_codes_;
  const int32_t *row() const { return rows_; }
  int32_t size = 0;

 private:
  int32_t fill(const multi_t *t, const multi_t *rt, const unsigned char *s, int32_t bytes, int32_t room) {
    const unsigned char *f = t->root->flags;
    const unsigned char *rf = rt->min_length == 1 ? rt->root->flags : nullptr;
    int32_t n = 0;
    for (int32_t i = 0; i < bytes; ++n) {
      if (n == room) return -2;
      vl_wchar v;
      int32_t len;
      if (!next_char(t, f, s + i, bytes - i, v, len)) return -1;
      i += len;
      codes[n] = v;
      if (v <= 0xFFu && rf && rf[v] == VL_MULTI_COMPLETE) {
        const unsigned char *r = vls::tree::row(rt, rt->root, v);
        rows_[n] = r ? vls::tree::u16(r) : kNoRow;
      } else {
        rows_[n] = row_mark(rt, v);
      }
    }
    size = n;
    return n;
  }
  vl_wchar local_codes_[kLocalChars];
  int32_t local_rows_[kLocalChars];
  int32_t *rows_ = local_rows_;
  void *heap_ = nullptr;
};

// The parallel array of a decoded string, marked only as far as a cursor
// has read (a comparison mostly stops after a few characters).
struct LazyParallel {
  Parallel par;
  const collate_category *c = nullptr;
  const vl_wchar *codes = nullptr;
  int32_t len = 0, marked = 0;

  // False (error 3) when the array could not be made; null `par.p` when the
  // locale has no elements.
  bool make(vl_locale_t *h, const Decoded &d) {
    if (h->collate.num_coll_elems == 0 || d.size <= 0) return true;
    par.p = d.size <= kLocalChars ? par.local : vls::alloc_array<parallel_entry>(static_cast<size_t>(d.size));
    if (!par.p) {
      set_error(h, VL_ENOMEM);
      return false;
    }
    c = &h->collate;
    codes = d.codes;
    len = d.size;
    return true;
  }
  const parallel_entry *at(int32_t i) {
    if (i >= marked) marked = fill_parallel_from(*c, codes, len, par.p, marked, i);
    return par.p + i;
  }
};

// next_weight's steps over one side of a comparison. The side gives its
// characters' codes, rows and element marks by index, tells where the
// characters end, and its direction (Side::step, +1 or -1).
template <typename Side>
struct StepCursor {
  Side side;
  const uint16_t *weights;
  const coll_exp_record *exp = nullptr;
  int32_t i, exp_index = 0;
  bool done;

  StepCursor(const Side &s, const uint16_t *w, int32_t first) : side(s), weights(w), i(first), done(s.ended(first)) {}

  uint16_t next(vl_locale_t *h, vl_wchar &code) {
    const int32_t step = side.step();
    int32_t entered = 0;
    while (!done) {
      int32_t source = 1;
      vl_wchar c;
      int32_t row;
      if (exp) {
        c = exp->chars[exp_index];
        exp_index += step;
        if (exp_index < 0 || exp_index >= static_cast<int32_t>(exp->count)) exp = nullptr;
        row = code_row(h, c);
      } else if (const coll_elem *e = side.elem(i)) {
        c = 1;
        row = e->row;
        source = static_cast<int32_t>(e->count);
      } else {
        c = side.code(i);
        row = side.row(i);
        if (row == kNoRowError) set_error(h, VL_EILSEQ);
      }
      if (row < 0) break;
      uint16_t w = weights[row];
      if (w & kExpansion) {
        if (++entered > h->collate.num_expansions) {
          set_error(h, VL_EILSEQ);
          break;
        }
        exp = &h->collate.expansions[w & kMask];
        exp_index = step > 0 ? 0 : static_cast<int32_t>(exp->count) - 1;
        w = 1;
      }
      if (!exp) {
        i += source * step;
        done = side.ended(i);
        entered = 0;
      }
      if (w != 1) {
        code = c;
        return w;
      }
    }
    done = true;
    code = 0;
    return 0;
  }
};

// A decoded string (of at least one character) from its character `k` on,
// in the pass's direction.
struct DecodedSide {
  const vl_wchar *codes;
  const int32_t *rows;
  LazyParallel *par;
  int32_t k, last, dir;
  int32_t step() const { return dir; }
  bool ended(int32_t i) const { return (last - i) * dir < 0; }
  vl_wchar code(int32_t i) const { return codes[i]; }
  int32_t row(int32_t i) const { return rows[i]; }
  const coll_elem *elem(int32_t i) const { return par ? par->at(k + i)->elem : nullptr; }
};

// The cursor of next_weight over a decoded string from its character
// `from` on.
struct RowCursor : StepCursor<DecodedSide> {
  RowCursor(const Decoded &d, int32_t from, LazyParallel &lp, uint32_t flags, const uint16_t *w)
      : StepCursor(side_of(d, from, lp, flags), w, (flags & 1) ? 0 : d.size - from - 1) {}
  static DecodedSide side_of(const Decoded &d, int32_t from, LazyParallel &lp, uint32_t flags) {
    const int32_t len = d.size - from;
    return {d.codes + from, d.row() + from, lp.par.p ? &lp : nullptr, from, (flags & 1) ? len - 1 : 0,
            (flags & 1) ? 1 : -1};
  }
};

// collate_pass over decoded strings, from character `k1` and `k2` on.
int decoded_pass(vl_locale_t *h, uint32_t flags, const uint16_t *weights, const Decoded &a, int32_t k1,
                 LazyParallel &p1, const Decoded &z, int32_t k2, LazyParallel &p2) {
  const int32_t len1 = a.size - k1, len2 = z.size - k2;
  RowCursor x(a, k1, p1, flags, weights);
  RowCursor y(z, k2, p2, flags, weights);
  uint16_t w1 = 0, w2 = 0;
  vl_wchar c1 = 0, c2 = 0;
  for (;;) {
    if (len1 != 0)
      w1 = x.next(h, c1);
    else
      x.done = true;
    if (len2 != 0)
      w2 = y.next(h, c2);
    else
      y.done = true;
    if (w1 == 0 && w2 == 0 && (x.done || y.done)) break;
    if ((w1 & kMask) != (w2 & kMask)) return sign((w1 & kMask) < (w2 & kMask));
    if ((w1 & kTie) && c1 != c2) return sign(c1 < c2);
  }
  if (c1 != 0 && c2 == 0) return 1;
  if (c1 == 0 && c2 != 0) return -1;
  return 0;
}

// The weighted comparison of two decoded strings, as _kvx_vl_full_wcscoll
// makes it for a table locale.
int decoded_coll(vl_locale_t *h, const Decoded &a, const Decoded &z) {
  const collate_category &c = h->collate;
  const int32_t len1 = a.size, len2 = z.size;
  LazyParallel p1, p2;
  if (!p1.make(h, a) || !p2.make(h, z)) return 0;
  // wide_head reads the marks up to the equal codes' end.
  int32_t equal = 0;
  while (equal < len1 && equal < len2 && a.codes[equal] == z.codes[equal]) ++equal;
  if (p1.par.p && equal > 0) {
    p1.at(equal - 1);
    p2.at(equal - 1);
  }
  const int32_t head = wide_head(a.codes, len1, p1.par.p, z.codes, len2, p2.par.p);
  for (int32_t p = 0; p < c.num_passes; ++p) {
    const int32_t k = (c.pass_flags[p] & 1) && head > 0 && head < len1 && head < len2 ? head : 0;
    if (int r = decoded_pass(h, c.pass_flags[p], c.pass_weights[p], a, k, p1, z, k, p2); r != 0) return r;
  }
  return 0;
}

// ---- the engine on text decoded as far as it is read ---------------------------------
//
// A comparison mostly decides within the first few characters behind a
// shared head. When every pass runs forward each side is decoded only as
// far as the passes read it; the rest is checked for illegal bytes at the
// end, so that the answer (and the error of an illegal string) is that of
// a string decoded in full.

// Whether the root takes every byte below 0x80 as a character of its own
// (vls::tree::ascii_direct in a few wide loads).
inline bool ascii_whole(const unsigned char *f) {
  typedef unsigned char V16 __attribute__((vector_size(16)));
  V16 acc = {};
#pragma GCC unroll 8
  for (int k = 0; k < 128; k += 16) {
    V16 x;
    memcpy(&x, f + k, sizeof x);
    acc |= x ^ static_cast<unsigned char>(VL_MULTI_COMPLETE);
  }
  uint64_t h[2];
  memcpy(h, &acc, sizeof h);
  return (h[0] | h[1]) == 0;
}

// The bytes at the head of `n` bytes at `s` that are whole characters of
// one byte below 0x80 or of two bytes (a lead 0xC0..0xDF whose child takes
// every 0x80..0xBF, then such a byte), found 32 bytes at a time; the root
// must take every byte below 0x80 whole (ascii_whole). The count ends at a
// character's start: the caller goes on from there with the tree.
int32_t two_byte_run(const multi_t *t, const unsigned char *s, int32_t n) {
#if defined(__SSE2__)
  uint32_t good = 0;   // leads 0xC0..0xDF found to take every trail
  uint32_t carry = 0;  // the block before ended in a lead
  int32_t i = 0;
  const __m128i below_c0 = _mm_set1_epi8(static_cast<char>(0xC0)), below_e0 = _mm_set1_epi8(static_cast<char>(0xE0));
  __m128i last = _mm_setzero_si128();  // the last lead met, in every byte (0: none yet)
  // Blocks of 32 bytes (the last one of 16 if that many are left), bit k
  // of a mask for byte k.
  while (n - i >= 16) {
    const int32_t w = n - i >= 32 ? 32 : 16;
    const uint32_t in = w == 32 ? ~0u : 0xFFFFu;
    const __m128i x0 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + i));
    const __m128i x1 = w == 32 ? _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + i + 16)) : _mm_setzero_si128();
    auto mask = [&x0, &x1](__m128i y0, __m128i y1) {
      return static_cast<uint32_t>(_mm_movemask_epi8(y0)) | static_cast<uint32_t>(_mm_movemask_epi8(y1)) << 16;
    };
    const uint32_t high = mask(x0, x1);
    if ((high | carry) == 0) {
      i += w;
      continue;
    }
    // As signed bytes: 0x80..0xBF lie below 0xC0, 0x80..0xDF below 0xE0.
    const uint32_t trail = mask(_mm_cmplt_epi8(x0, below_c0), _mm_cmplt_epi8(x1, below_c0));
    // Mostly every lead is the last lead met, each with its trail. (The
    // zero bytes of a short block are no lead: `last` is a lead or 0, and
    // with 0 the test below fails.)
    uint32_t lead = mask(_mm_cmpeq_epi8(x0, last), _mm_cmpeq_epi8(x1, last));
    if (high != (trail | lead) || trail != (((lead << 1) | carry) & in)) {
      const uint32_t to_df = mask(_mm_cmplt_epi8(x0, below_e0), _mm_cmplt_epi8(x1, below_e0));
      lead = to_df & ~trail;
      if ((high & ~to_df) != 0 || trail != (((lead << 1) | carry) & in)) return i - static_cast<int32_t>(carry);
      for (uint32_t m = lead; m != 0; m &= m - 1) {
        const unsigned b = s[i + __builtin_ctz(m)];
        if (!(good >> (b - 0xC0) & 1u)) {
          if (!vls::tree::lead_takes_trails(t, b)) return i - static_cast<int32_t>(carry);
          good |= 1u << (b - 0xC0);
        }
      }
      if (lead != 0) last = _mm_set1_epi8(static_cast<char>(s[i + 31 - __builtin_clz(lead)]));
    }
    carry = lead >> (w - 1);
    i += w;
  }
  return i - static_cast<int32_t>(carry);
#else
  (void)t;
  (void)s;
  (void)n;
  return 0;
#endif
}

// Whether `bytes` bytes at `s` are whole characters.
// `ascii`: 1 when the root takes every byte below 0x80 whole, 0 when not,
// -1 to find out here if it pays.
bool text_valid(const multi_t *t, const unsigned char *s, int32_t bytes, int ascii = -1) {
  const unsigned char *f = t->root->flags;
  if (bytes >= 8 && (ascii < 0 ? ascii_whole(f) : ascii != 0)) {
    if (bytes >= 32) {
      const int32_t run = two_byte_run(t, s, bytes);
      s += run;
      bytes -= run;
    }
    // Every byte below 0x80 is a character: runs of them pass eight at a
    // time, up to the first byte with its high bit set.
    for (int32_t i = 0;;) {
      for (;;) {
        if (bytes - i < 8) {
          while (i < bytes && s[i] < 0x80) ++i;
          break;
        }
        uint64_t w;
        memcpy(&w, s + i, sizeof w);
        w &= 0x8080808080808080ull;
        if (w != 0) {
          if constexpr (std::endian::native == std::endian::little)
            i += __builtin_ctzll(w) >> 3;
          else
            i += __builtin_clzll(w) >> 3;
          break;
        }
        i += 8;
      }
      if (i == bytes) return true;
      const int32_t len = char_length(t, f, s + i, bytes - i);
      if (len == 0) return false;
      i += len;
      if (i == bytes) return true;
    }
  }
  for (int32_t i = 0; i < bytes;) {
    while (f[s[i]] == VL_MULTI_COMPLETE)
      if (++i == bytes) return true;
    const int32_t len = char_length(t, f, s + i, bytes - i);
    if (len == 0) return false;
    i += len;
  }
  return true;
}

// Whether the rests of two texts (`n1` bytes at `a`, `n2` at `z`) are whole
// characters.
inline bool rests_valid(const multi_t *t, const unsigned char *a, int32_t n1, const unsigned char *z, int32_t n2) {
  const unsigned char *f = t->root->flags;
  const int ascii = n1 >= 8 || n2 >= 8 ? ascii_whole(f) : 0;
  if (!ascii || n1 >= 16 || n2 >= 16) return text_valid(t, a, n1, ascii) && text_valid(t, z, n2, ascii);
  // Short rests: the bytes below 0x80 of each eight at a time, the others
  // through the tree.
  auto valid = [t, f](const unsigned char *s, int32_t n) {
    for (int32_t i = 0; i < n;) {
      if (n - i >= 8) {
        uint64_t w;
        memcpy(&w, s + i, sizeof w);
        w &= 0x8080808080808080ull;
        if (w == 0) {
          i += 8;
          continue;
        }
        if constexpr (std::endian::native == std::endian::little) {
          i += __builtin_ctzll(w) >> 3;
        } else {
          i += __builtin_clzll(w) >> 3;
        }
      } else if (s[i] < 0x80) {
        ++i;
        continue;
      }
      const int32_t len = char_length(t, f, s + i, n - i);
      if (len == 0) return false;
      i += len;
    }
    return true;
  };
  return valid(a, n1) && valid(z, n2);
}

// One side: codes, rows and element marks of the characters read so far.
class LazySide {
 public:
  LazySide(vl_locale_t *h, const multi_t *t, const unsigned char *s, int32_t bytes)
      : c_(h->collate), t_(t), rt_(h->coll_rows), f_(t->root->flags),
        rf_(h->coll_rows->min_length == 1 ? h->coll_rows->root->flags : nullptr), s_(s), bytes_(bytes) {
    const int32_t *cand = c_.num_coll_elems > 0 ? c_.elem_candidates : nullptr;
    if (c_.num_coll_elems > 0) par_ = local_par_;
    if (cand) {
      cand_ = cand;
      row_count_ = vls::coll::elem_row_count(cand);
      row_flags_ = vls::coll::elem_row_flags(cand);
    }
  }
  LazySide(const LazySide &) = delete;
  LazySide &operator=(const LazySide &) = delete;
  ~LazySide() {
    if (heap_) _vl_free_ptr(heap_);
  }

  // Whether character `i` exists, decoding up to it: false at the end of
  // the text, at a byte that is no character (bad) or without memory.
  bool has(int32_t i) { return i < n_ || fill(i); }
  vl_wchar code(int32_t i) const { return codes_[i]; }
  int32_t row(int32_t i) const { return rows_[i]; }
  // The element marked at character `i` (which exists), or null.
  const coll_elem *elem(int32_t i) {
    if (!par_) return nullptr;
    if (i >= marked_) mark(i);
    return par_[i].elem;
  }
  // Checks the bytes not yet decoded; false when one is no character.
  bool rest_valid() { return !bad && text_valid(t_, s_ + pos_, bytes_ - pos_); }
  bool bad = false, nomem = false;

 private:
  bool fill(int32_t i) {
    while (n_ <= i) {
      if (pos_ >= bytes_) return false;
      if (n_ == cap_ && !grow()) return false;
      const unsigned b = s_[pos_];
      if (f_[b] == VL_MULTI_COMPLETE && rf_ && rf_[b] == VL_MULTI_COMPLETE) {
        const unsigned char *r = vls::tree::row(rt_, rt_->root, b);
        codes_[n_] = b;
        rows_[n_] = r ? vls::tree::u16(r) : kNoRow;
        ++pos_;
      } else {
        vl_wchar v;
        int32_t len;
        if (!next_char(t_, f_, s_ + pos_, bytes_ - pos_, v, len)) {
          bad = true;
          return false;
        }
        codes_[n_] = v;
        rows_[n_] = row_mark(rt_, v);
        pos_ += len;
      }
      ++n_;
    }
    return true;
  }

  // Room for every character the rest of the text can hold.
  bool grow() {
    const int32_t cap = n_ + (bytes_ - pos_);
    const size_t each = sizeof(vl_wchar) + sizeof(int32_t) + (par_ ? sizeof(parallel_entry) : 0);
    void *p = _vl_alloc_ptr(static_cast<size_t>(cap) * each);
    if (!p) {
      nomem = true;
      return false;
    }
    auto *par = static_cast<parallel_entry *>(p);
    auto *codes = reinterpret_cast<vl_wchar *>(par_ ? par + cap : par);
    auto *rows = reinterpret_cast<int32_t *>(codes + cap);
    memcpy(codes, codes_, sizeof(vl_wchar) * static_cast<size_t>(n_));
    memcpy(rows, rows_, sizeof(int32_t) * static_cast<size_t>(n_));
    if (par_) {
      memcpy(par, par_, sizeof(parallel_entry) * static_cast<size_t>(marked_));
      par_ = par;
    }
    if (heap_) _vl_free_ptr(heap_);
    heap_ = p;
    codes_ = codes;
    rows_ = rows;
    cap_ = cap;
    return true;
  }

  // Marks elements on from marked_ until character `i` is marked, as
  // fill_parallel does: a character whose row no element's first code has
  // starts none; any other is looked up with as many characters decoded as
  // an element can take.
  void mark(int32_t i) {
    while (marked_ <= i) {
      const int32_t k = marked_;
      const int32_t r = rows_[k];
      if (cand_ && r >= 0 && r < row_count_ && !row_flags_[r]) {
        par_[marked_++] = {nullptr, 0};
        continue;
      }
      if (!cand_) {
        has(INT32_MAX - 1);
        marked_ = fill_parallel_from(c_, codes_, n_, par_, k, k);
        continue;
      }
      const coll_elem *found = find_at(k);
      if (!found) {
        par_[marked_++] = {nullptr, 0};
        continue;
      }
      for (uint32_t j = 0; j < found->count; ++j) par_[k + static_cast<int32_t>(j)] = {const_cast<coll_elem *>(found), j};
      marked_ = k + static_cast<int32_t>(found->count);
    }
  }

  // The first element in file order that starts at character `k` and
  // fits, decoding only as far as the candidates are compared.
  const coll_elem *find_at(int32_t k) {
    const vl_wchar code = codes_[k];
    if (code < vls::coll::kFlags && !cand_[code]) return nullptr;
    const uint32_t *firsts = vls::coll::elem_firsts(cand_);
    const int32_t n = vls::coll::elem_index_count(cand_);
    const int32_t *numbers = vls::coll::elem_numbers(cand_);
    // Codes below 256 lead the ascending list: a short scan finds them.
    int32_t at = 0;
    if (n > 8 && firsts[8] < code)
      at = static_cast<int32_t>(std::lower_bound(firsts, firsts + n, code) - firsts);
    while (at < n && firsts[at] < code) ++at;
    for (; at < n && firsts[at] == code; ++at) {
      const coll_elem &e = c_.coll_elems[numbers[at]];
      uint32_t j = 1;
      while (j < e.count && has(k + static_cast<int32_t>(j)) && codes_[k + static_cast<int32_t>(j)] == e.chars[j]) ++j;
      if (j == e.count) return &e;
    }
    return nullptr;
  }

  const collate_category &c_;
  const multi_t *t_, *rt_;
  const unsigned char *f_, *rf_;
  const unsigned char *s_;
  int32_t bytes_, pos_ = 0, n_ = 0, cap_ = kLocalChars, marked_ = 0;
  const int32_t *cand_ = nullptr;
  int32_t row_count_ = 0;
  const unsigned char *row_flags_ = nullptr;
  vl_wchar *codes_ = local_codes_;
  int32_t *rows_ = local_rows_;
  parallel_entry *par_ = nullptr;
  void *heap_ = nullptr;
  vl_wchar local_codes_[kLocalChars];
  int32_t local_rows_[kLocalChars];
  parallel_entry local_par_[kLocalChars];
};

// A lazily decoded side, read forward.
struct LazyRef {
  LazySide *s;
  static constexpr int32_t step() { return 1; }
  bool ended(int32_t i) const { return !s->has(i); }
  vl_wchar code(int32_t i) const { return s->code(i); }
  int32_t row(int32_t i) const { return s->row(i); }
  const coll_elem *elem(int32_t i) const { return s->elem(i); }
};

// next_weight forward over a lazily decoded side from its character 0.
struct LazyCursor : StepCursor<LazyRef> {
  LazyCursor(LazySide &side, const uint16_t *w) : StepCursor(LazyRef{&side}, w, 0) {}
};

// The first pass of a forward comparison read straight from the bytes, as
// long as every character read is plain: it has a row, starts no element
// here and does not expand in this pass. Such characters give the same
// words and codes as next_weight gives, so the first difference decides.
struct PlainReader {
  const multi_t *t, *rt;
  const unsigned char *f, *rf;
  const uint16_t *w;
  const collate_category *c;
  const int32_t *cand;
  const unsigned char *row_flags;
  int32_t row_count;
  const unsigned char *second;
  const vls::coll::FastTable *ft;  // or null

  // Whether an element in the index starts with `code` at a character whose
  // text follows at `s` (`room` bytes).
  bool elem_here(vl_wchar code, const unsigned char *s, int32_t room) const {
    if (code < vls::coll::kFlags && !cand[code]) return false;
    const uint32_t *firsts = vls::coll::elem_firsts(cand);
    const int32_t n = vls::coll::elem_index_count(cand);
    const int32_t *numbers = vls::coll::elem_numbers(cand);
    int32_t at = 0;
    if (n > 8 && firsts[8] < code) at = static_cast<int32_t>(std::lower_bound(firsts, firsts + n, code) - firsts);
    while (at < n && firsts[at] < code) ++at;
    for (; at < n && firsts[at] == code; ++at) {
      const coll_elem &e = c->coll_elems[numbers[at]];
      const unsigned char *p = s;
      int32_t left = room;
      uint32_t j = 1;
      for (; j < e.count && left > 0; ++j) {
        vl_wchar v;
        int32_t len;
        if (!next_char(t, f, p, left, v, len) || v != e.chars[j]) break;
        p += len;
        left -= len;
      }
      if (j == e.count) return true;
    }
    return false;
  }

  // Whether an element may start with `code` here: the character behind
  // it must be some element's second, and then the index is asked.
  bool elem_may(vl_wchar code, const unsigned char *s, int32_t room) const {
    if (!second[0xFF] || !second[0]) {  // no element of one character
      if (room <= 0) return false;
      vl_wchar v;
      int32_t len;
      if (!next_char(t, f, s, room, v, len)) return true;
      if (!second[v & 0xFFu]) return false;
    }
    return elem_here(code, s, room);
  }

  // The next word other than 1 of a side at byte `pos`, and its code: 1, 0
  // at the end of the side, -1 at a character that is not plain.
  __attribute__((always_inline)) int word(const unsigned char *s, int32_t bytes, int32_t &pos, uint16_t &out,
                                         vl_wchar &code) const {
    for (;;) {
      if (pos >= bytes) return 0;
      const unsigned b = s[pos];
      vl_wchar v;
      int32_t len, row;
      if (ft) {
        // A character in the fast table: its word straight from there. One
        // that an element may start takes the general step, unless the
        // character behind it is a byte that no element has second.
        int32_t x = -1;
        len = 1;
        v = b;
        if (f[b] == VL_MULTI_COMPLETE) {
          x = static_cast<int32_t>(b);
        } else if (f[b] == VL_MULTI_LEADS && bytes - pos >= 2) {
          const unsigned t2 = s[pos + 1];
          x = vls::coll::fast_index2(b, t2);
          if (x >= 0 && vls::tree::flag_of(vls::tree::child(t->root, b), t2) != VL_MULTI_COMPLETE) x = -1;
          len = 2;
          v = (b << 8) | t2;
        }
        if (x >= 0) {
          const uint16_t x0 = ft->elem_word0[x];
          if (x0 != 0 && (ft->word0[x] != vls::coll::kFastElem ||
                          (pos + len < bytes && f[s[pos + len]] == VL_MULTI_COMPLETE && !second[s[pos + len]]))) {
            pos += len;
            if (x0 != 1) {
              out = x0;
              code = v;
              return 1;
            }
            continue;
          }
        }
      }
      if (f[b] == VL_MULTI_COMPLETE && rf && rf[b] == VL_MULTI_COMPLETE) {
        const unsigned char *r = vls::tree::row(rt, rt->root, b);
        if (!r) return -1;
        v = b;
        len = 1;
        row = vls::tree::u16(r);
      } else {
        if (!next_char(t, f, s + pos, bytes - pos, v, len)) return -1;
        row = row_mark(rt, v);
        if (row < 0) return -1;
      }
      if (c->num_coll_elems > 0 && (row >= row_count || row_flags[row]) && elem_may(v, s + pos + len, bytes - pos - len))
        return -1;
      const uint16_t x = w[row];
      if (x & kExpansion) return -1;
      pos += len;
      if (x != 1) {
        out = x;
        code = v;
        return 1;
      }
    }
  }
};

// The first pass straight from the bytes: -1 or 1 when it decides (the rest
// of each text still to be checked), 0 when it ties, 2 when a character
// that is not plain was met.
int plain_first_pass(vl_locale_t *h, const multi_t *t, const unsigned char *a, int32_t bytes1, int32_t &pos1,
                     const unsigned char *z, int32_t bytes2, int32_t &pos2) {
  const collate_category &c = h->collate;
  const int32_t *cand = c.num_coll_elems > 0 ? c.elem_candidates : nullptr;
  if (c.num_coll_elems > 0 && !cand) return 2;
  const multi_t *rt = h->coll_rows;
  const PlainReader r{t,
                      rt,
                      t->root->flags,
                      rt->min_length == 1 ? rt->root->flags : nullptr,
                      c.pass_weights[0],
                      &c,
                      cand,
                      cand ? vls::coll::elem_row_flags(cand) : nullptr,
                      cand ? vls::coll::elem_row_count(cand) : 0,
                      cand ? vls::coll::elem_second_flags(cand) : nullptr,
                      vls::coll::fast_table(c)};
  for (;;) {
    uint16_t w1 = 0, w2 = 0;
    vl_wchar c1 = 0, c2 = 0;
    const int m1 = r.word(a, bytes1, pos1, w1, c1);
    if (m1 < 0) return 2;
    const int m2 = r.word(z, bytes2, pos2, w2, c2);
    if (m2 < 0) return 2;
    if (m1 == 0 && m2 == 0) return 0;
    if ((w1 & kMask) != (w2 & kMask)) return sign((w1 & kMask) < (w2 & kMask));
    if (m1 == 0 || m2 == 0) return 2;  // a weight of 0 with a tie against an ended side
    if ((w1 & kTie) && c1 != c2) return sign(c1 < c2);
  }
}

constexpr uint32_t kFastOut = 0x10000;  // a character the table cannot answer for

// Where a side of a comparison ends: at `e` (a counted text) or at its
// byte 0 (a terminated one, where term0 sends that byte out of the table's
// way and a lead's trail is read only where the lead is not the last byte).
struct CountedEnd {
  static constexpr bool kTerminated = false;
  const unsigned char *e;
  bool at(const unsigned char *q) const { return q == e; }
};
struct TermEnd {
  static constexpr bool kTerminated = true;
  bool at(const unsigned char *q) const { return *q == 0; }
};

// The next word other than 1 of a side read through the fast table alone,
// from `p` to its end: the word (its index in `x`), 0 at the end of the
// side, kFastOut at a character the table cannot answer for (the general
// readers take it from there). A character of one byte takes a load of its
// flag and one of its word; the rest is out of the way. `lead2`: the leads
// 0xC0..0xDF known to take every trail 0x80..0xBF (bit b - 0xC0), the others
// are asked of the tree.
template <class End>
__attribute__((always_inline)) inline uint32_t fast_word(const vls::coll::FastTable *ft, const unsigned char *f,
                                                         const multi_t *t, uint32_t lead2, const unsigned char *&p,
                                                         End end, uint32_t &x) {
  const uint16_t *const words = End::kTerminated ? ft->term0 : ft->word0;
  const unsigned char *q = p;
  uint32_t w;
  do {
    if constexpr (!End::kTerminated)
      if (end.at(q)) {
        x = 0;
        return 0;
      }
    const unsigned b = *q;
    const unsigned char *next = q + 1;
    x = b;
    // (A terminated text is read only where the root takes every byte
    // below 0x80 whole.)
    if (__builtin_expect(End::kTerminated ? b >= 0x80 && f[b] != VL_MULTI_COMPLETE : f[b] != VL_MULTI_COMPLETE, 0)) {
      // (A zero byte behind a lead is no trail of the table.)
      if (f[b] != VL_MULTI_LEADS) return End::kTerminated && b == 0 ? 0 : kFastOut;
      if constexpr (!End::kTerminated)
        if (end.e - q < 2) return kFastOut;
      const unsigned t2 = q[1];
      const int32_t k = vls::coll::fast_index2(b, t2);
      if (k < 0) return kFastOut;
      if (!(lead2 >> (b - 0xC0) & 1u) && vls::tree::flag_of(vls::tree::child(t->root, b), t2) != VL_MULTI_COMPLETE)
        return kFastOut;
      x = static_cast<uint32_t>(k);
      next = q + 2;
    }
    w = words[x];
    if (__builtin_expect((w & kMask) == 0, 0)) {  // 0, an element's mark, or a tie on a weight of 0
      if (w == 0) return End::kTerminated && x == 0 ? 0 : kFastOut;  // (p stays on the byte 0)
      if (w == vls::coll::kFastElem) {
        // An element may start here unless the next character is a byte
        // that no element has second (with an element of one character
        // every byte is flagged).
        if (end.at(next) || f[*next] != VL_MULTI_COMPLETE || ft->elem_second[*next]) return kFastOut;
        w = ft->elem_word0[x];
        if (w == 0) return kFastOut;
      }
    }
    q = next;
  } while (w == 1);
  p = q;
  return w;
}

// The word of the character at `p` of a text whose root takes every byte
// below 0x80 whole, and its bytes, where it is one byte or two of the table
// (a lead that `lead2` names); else 0 (the end of a counted text too). The
// first character of an element has its own word where the next byte is
// 1..0x7F and is second of no element (with an element of one character
// every byte is).
template <class End>
__attribute__((always_inline)) inline int quick_word(const vls::coll::FastTable *ft, uint32_t lead2,
                                                     const unsigned char *p, End end, uint32_t &w) {
  const uint16_t *const words = End::kTerminated ? ft->term0 : ft->word0;
  if constexpr (!End::kTerminated)
    if (end.at(p)) return 0;
  const unsigned b = p[0];
  if (b < 0x80) {
    w = words[b];
    // (The byte 0 that ends a terminated text fails the range check.)
    if (__builtin_expect(w == vls::coll::kFastElem, 0) && (End::kTerminated || !end.at(p + 1)) &&
        p[1] - 1u < 0x7Fu && !ft->elem_second[p[1]])
      w = ft->elem_word0[b];
    return 1;
  }
  if constexpr (!End::kTerminated)
    if (end.e - p < 2) return 0;
  const int32_t k = vls::coll::fast_index2(b, p[1]);
  if (k < 0 || !(lead2 >> (b - 0xC0) & 1u)) return 0;
  w = words[k];
  return 2;
}

// plain_first_pass over the characters of the fast table: the same answers,
// and 2 (ends undefined) where it would read any other character. On -1 or
// 1, `a` and `z` are left behind the characters read. `Ascii`: the root
// takes every byte below 0x80 whole (always so for a terminated text), so
// that pairs of plain characters take quick_word; else a head of the same
// codes of one byte on both sides, which start no element, is passed on
// both at once.
template <bool Ascii, class End>
__attribute__((always_inline)) inline int fast_first_pass(const vls::coll::FastTable *ft, const multi_t *t,
                                                          uint32_t lead2, const unsigned char *&a, End e1,
                                                          const unsigned char *&z, End e2) {
  static_assert(Ascii || !End::kTerminated);
  const unsigned char *f = t->root->flags;
  const unsigned char *p1 = a, *p2 = z;
  if constexpr (!Ascii)
    while (!e1.at(p1) && !e2.at(p2) && *p1 == *p2 && ft->plain[*p1] && f[*p1] == VL_MULTI_COMPLETE) ++p1, ++p2;
  for (;;) {
    if constexpr (Ascii) {
      // Two characters of the table with plain words (2..0x3FFF: no tie,
      // no expansion, not ignored) decide or pass at once.
      uint32_t w1, w2;
      if (const int n1 = quick_word(ft, lead2, p1, e1, w1))
        if (const int n2 = quick_word(ft, lead2, p2, e2, w2); n2 && w1 - 2u < 0x3FFEu && w2 - 2u < 0x3FFEu) {
          p1 += n1;
          p2 += n2;
          if (w1 == w2) continue;
          a = p1;
          z = p2;
          return sign(w1 < w2);
        }
    }
    uint32_t x1, x2;
    const uint32_t w1 = fast_word(ft, f, t, lead2, p1, e1, x1);
    if (w1 == kFastOut) return 2;
    const uint32_t w2 = fast_word(ft, f, t, lead2, p2, e2, x2);
    if (w2 == kFastOut) return 2;
    // The same character on both sides (or both ended) mostly.
    if (w1 != w2 || x1 != x2 || w1 == 0) {
      if ((w1 & kMask) != (w2 & kMask)) {
        a = p1;
        z = p2;
        return sign((w1 & kMask) < (w2 & kMask));
      }
      // Both ended, or a weight of 0 with a tie against an ended side.
      if (w1 == 0 || w2 == 0) return w1 == w2 ? 0 : 2;
      // The table's order is the codes' order.
      if ((w1 & kTie) && x1 != x2) {
        a = p1;
        z = p2;
        return sign(x1 < x2);
      }
    }
  }
}

// Whether the bytes from `s` up to `e` are whole characters. `ascii`: the
// root takes every byte below 0x80 whole, so that runs of them pass eight
// at a time (the last few bytes of a rest of eight or more as its last
// eight).
__attribute__((always_inline)) inline bool rest_valid(const multi_t *t, const unsigned char *f, bool ascii,
                                                      const unsigned char *s, const unsigned char *e) {
  constexpr uint64_t kHigh = 0x8080808080808080ull;
  const unsigned char *const begin = s;
  while (s != e) {
    if (ascii && std::endian::native == std::endian::little) {
      for (;;) {
        const ptrdiff_t left = e - s;
        uint64_t w;
        if (left >= 8) {
          memcpy(&w, s, sizeof w);
          w &= kHigh;
          if (w == 0) {
            s += 8;
            if (s == e) return true;
            continue;
          }
          s += __builtin_ctzll(w) >> 3;
          break;
        }
        if (e - begin >= 8) {
          memcpy(&w, e - 8, sizeof w);
          w &= kHigh & (~uint64_t{0} << (8 * (8 - left)));
          if (w == 0) return true;
          s = e - 8 + (__builtin_ctzll(w) >> 3);
          break;
        }
        while (*s < 0x80)
          if (++s == e) return true;
        break;
      }
    } else {
      while (f[*s] == VL_MULTI_COMPLETE)
        if (++s == e) return true;
    }
    const int32_t len = char_length(t, f, s, static_cast<int32_t>(e - s));
    if (len == 0) return false;
    s += len;
  }
  return true;
}

// A comparison decided by the fast table's first pass, with the rest of both
// texts checked: -1 or 1, or 0 with error 1 for an illegal text; 2 when the
// first pass ties or meets a character outside the table.
__attribute__((always_inline)) inline int fast_coll(vl_locale_t *h, const vls::coll::FastTable *ft, const multi_t *t,
                                                    const unsigned char *a, int32_t bytes1, const unsigned char *z,
                                                    int32_t bytes2) {
  const unsigned char *e1 = a + bytes1, *e2 = z + bytes2;
  const int r = fast_first_pass<false>(ft, t, 0, a, CountedEnd{e1}, z, CountedEnd{e2});
  if (r != -1 && r != 1) return 2;
  // Only the bytes not read are left to check.
  const unsigned char *f = t->root->flags;
  const bool ascii = (e1 - a) + (e2 - z) >= 8 && ascii_whole(f);
  if (!rest_valid(t, f, ascii, a, e1) || !rest_valid(t, f, ascii, z, e2)) {
    set_error(h, VL_EILSEQ);
    return 0;
  }
  return r;
}

// The weighted comparison of two multibyte texts whose passes all run
// forward, decoded as far as read.
int lazy_coll(vl_locale_t *h, const multi_t *t, const unsigned char *a, int32_t bytes1, const unsigned char *z,
              int32_t bytes2) {
  const collate_category &c = h->collate;
  if (c.num_passes < 1) return 0;
  int32_t pos1 = 0, pos2 = 0;
  const vls::coll::FastTable *ft = vls::coll::fast_table(c);
  int first = 2;
  if (ft && (c.num_coll_elems == 0 || c.elem_candidates)) {
    const unsigned char *p1 = a, *p2 = z;
    first = fast_first_pass<false>(ft, t, 0, p1, CountedEnd{a + bytes1}, p2, CountedEnd{z + bytes2});
    pos1 = static_cast<int32_t>(p1 - a);
    pos2 = static_cast<int32_t>(p2 - z);
  }
  if (first == 2) {
    pos1 = pos2 = 0;
    first = plain_first_pass(h, t, a, bytes1, pos1, z, bytes2, pos2);
  }
  if (first == -1 || first == 1) {
    // Only the bytes not read are left to check.
    if (!rests_valid(t, a + pos1, bytes1 - pos1, z + pos2, bytes2 - pos2)) {
      set_error(h, VL_EILSEQ);
      return 0;
    }
    return first;
  }
  LazySide x(h, t, a, bytes1), y(h, t, z, bytes2);
  int r = 0;
  for (int32_t p = first == 0 ? 1 : 0; p < c.num_passes && r == 0; ++p) {
    LazyCursor u(x, c.pass_weights[p]), v(y, c.pass_weights[p]);
    uint16_t w1 = 0, w2 = 0;
    vl_wchar c1 = 0, c2 = 0;
    for (;;) {
      w1 = u.next(h, c1);
      w2 = v.next(h, c2);
      if (w1 == 0 && w2 == 0 && (u.done || v.done)) {
        r = c1 != 0 && c2 == 0 ? 1 : c1 == 0 && c2 != 0 ? -1 : 0;
        break;
      }
      if ((w1 & kMask) != (w2 & kMask)) {
        r = sign((w1 & kMask) < (w2 & kMask));
        break;
      }
      if ((w1 & kTie) && c1 != c2) {
        r = sign(c1 < c2);
        break;
      }
    }
  }
  if (x.nomem || y.nomem) {
    set_error(h, VL_ENOMEM);
    return 0;
  }
  if (!x.rest_valid() || !y.rest_valid()) {
    set_error(h, VL_EILSEQ);
    return 0;
  }
  return r;
}

// Whether some collating element starts with `code`.
inline bool starts_elem(const int32_t *cand, vl_wchar code) {
  if (code < vls::coll::kFlags) return cand[code] != 0;
  const uint32_t *firsts = vls::coll::elem_firsts(cand);
  return std::binary_search(firsts, firsts + vls::coll::elem_index_count(cand), code);
}

// The bytes at the head of two multibyte strings that a comparison whose
// passes all run forward may pass over: whole characters of equal bytes, at
// most `cap` bytes, ending where no collating element that starts before
// the end can reach it. Beyond such a head both strings yield the same
// words with the same codes.
// This form looks at every character of the head.
int32_t mb_head_scan(const multi_t *t, const int32_t *cand, const unsigned char *a, int32_t common) {
  const int32_t reach = cand ? vls::coll::elem_longest(cand) : 0;
  const unsigned char *f = t->root->flags;
  int32_t good = 0, since = reach;  // characters since the last that may start an element
  for (int32_t i = 0;;) {
    if (since >= reach) good = i;
    if (i >= common) break;
    vl_wchar v;
    int32_t len;
    if (!next_char(t, f, a + i, common - i, v, len)) break;
    i += len;
    if (cand && starts_elem(cand, v))
      since = 1;
    else if (since < reach)
      ++since;
  }
  return good;
}

// The character at `p` (of at most `room` bytes), walked as before.
inline vl_wchar char_at(const multi_t *t, const unsigned char *p, int32_t room) {
  const unsigned char *f = t->root->flags;
  if (f && f[*p] == VL_MULTI_COMPLETE) return *p;
  return vls::tree::walk(t, vls::tree::Counted{p, room}).value;
}

// This form checks the bulk of a long head character by character without
// keeping anything, then finds the starts of the characters in its last
// tail bytes (16 or more) and looks back from the end for elements, as far as they can
// reach; a head where elements chain back further is scanned in full.
int32_t mb_head(const multi_t *t, const collate_category &c, const unsigned char *a, const unsigned char *z,
                int32_t cap) {
  int32_t common = 0;
#if defined(__SSE2__)
  // 32 bytes at a time, then the first unequal byte of the last block.
  for (; cap - common >= 32; common += 32) {
    const auto *p = reinterpret_cast<const __m128i *>(a + common), *q = reinterpret_cast<const __m128i *>(z + common);
    const __m128i e0 = _mm_cmpeq_epi8(_mm_loadu_si128(p), _mm_loadu_si128(q));
    const __m128i e1 = _mm_cmpeq_epi8(_mm_loadu_si128(p + 1), _mm_loadu_si128(q + 1));
    if (_mm_movemask_epi8(_mm_and_si128(e0, e1)) != 0xFFFF) break;
  }
#endif
  for (uint64_t x[2], y[2]; cap - common >= 16; common += 16) {
    memcpy(x, a + common, sizeof x);
    memcpy(y, z + common, sizeof y);
    if (((x[0] ^ y[0]) | (x[1] ^ y[1])) != 0) break;
  }
  while (common < cap && a[common] == z[common]) ++common;
  if (common == 0) return 0;
  const int32_t *cand = c.num_coll_elems > 0 ? c.elem_candidates : nullptr;
  if (c.num_coll_elems > 0 && !cand) return 0;
  constexpr int32_t kRing = 64;
  // The tail's characters fit the ring, and hold more than an element's
  // reach of characters.
  const int32_t tail = cand ? std::clamp(4 * vls::coll::elem_longest(cand) + 4, 16, kRing) : 16;
  const unsigned char *f = t->root->flags;
  int32_t base = 0;
  if (f && common > tail) {
    // An illegal character here is left for the comparison to find. Where
    // every byte below 0x80 is a character, words of such bytes pass whole.
    const int32_t bulk = common - tail;
    const bool ascii = vls::tree::ascii_direct(t);
    // Where every byte below 0x80 is a character, runs of them pass eight
    // at a time up to the next byte with its high bit set; the flags behind
    // the last lead byte met are kept, as a text mostly draws its
    // characters of two bytes from a lead or two. (Reads stay below bulk + 8,
    // which is inside the head.)
    unsigned lead = 256;
    const unsigned char *lead_flags = nullptr;
    if (ascii) base = two_byte_run(t, a, bulk);
    while (ascii && bulk - base >= 8) {
      uint64_t w;
      memcpy(&w, a + base, sizeof w);
      w &= 0x8080808080808080ull;
      if (w == 0) {
        base += 8;
        continue;
      }
      // Little- or big-endian, the bytes before the first high bit.
      if constexpr (std::endian::native == std::endian::little)
        base += __builtin_ctzll(w) >> 3;
      else
        base += __builtin_clzll(w) >> 3;
      const unsigned b = a[base];
      if (b != lead && f[b] == VL_MULTI_LEADS) {
        const vls::tree::Node *n = vls::tree::child(t->root, b);
        if (n->flags) {
          lead = b;
          lead_flags = n->flags;
        }
      }
      if (b == lead && lead_flags[a[base + 1]] == VL_MULTI_COMPLETE) {
        base += 2;
        continue;
      }
      const int32_t len = char_length(t, f, a + base, common - base);
      if (len == 0) return 0;
      base += len;
    }
    while (base < bulk) {
      const int32_t len = char_length(t, f, a + base, common - base);
      if (len == 0) return 0;
      base += len;
    }
  }
  int32_t start[kRing];
  int32_t m = 0, i = base;  // m whole characters from base end at byte i
  while (i < common) {
    vl_wchar v;
    int32_t len;
    if (!next_char(t, f, a + i, common - i, v, len)) break;
    start[m & (kRing - 1)] = i;
    ++m;
    i += len;
  }
  if (!cand) return i;
  const int32_t reach = vls::coll::elem_longest(cand);
  int32_t k = m, at = i, ch = m - 1;
  for (; ch >= 0 && ch + reach > k; --ch) {
    if (ch < m - kRing) return mb_head_scan(t, cand, a, common);
    const int32_t pos = start[ch & (kRing - 1)];
    if (starts_elem(cand, char_at(t, a + pos, common - pos))) {
      k = ch;
      at = pos;
    }
  }
  // Elements that may chain back into the bulk.
  if (ch < 0 && base > 0 && ch + reach > k) return mb_head_scan(t, cand, a, common);
  return at;
}

// The key of a terminated text (at least one character) whose characters
// all lie in the fast table and have frags in every pass, written from the
// frags; -1 when some character does not (nothing written then).
// A single-byte locale (Single) reads each byte as its own code.
template <bool Single = false>
int fast_xfrm(vl_locale_t *h, const vls::coll::FastTable *ft, const multi_t *t, const unsigned char *s, char *target,
              int32_t size) {
  constexpr int32_t kChars = 64, kBytes = 1024;
  const unsigned char *f = Single ? nullptr : t->root->flags;
  uint16_t index[kChars];
  int32_t n = 0;
  for (int32_t i = 0; s[i];) {
    if (n == kChars) return -1;
    const unsigned b = s[i];
    int32_t x;
    if (Single || f[b] == VL_MULTI_COMPLETE) {
      x = static_cast<int32_t>(b);
      ++i;
    } else {
      const unsigned t2 = s[i + 1];
      if (f[b] != VL_MULTI_LEADS || (x = vls::coll::fast_index2(b, t2)) < 0 ||
          vls::tree::flag_of(vls::tree::child(t->root, b), t2) != VL_MULTI_COMPLETE)
        return -1;
      i += 2;
    }
    index[n++] = static_cast<uint16_t>(x);
  }
  const collate_category &c = h->collate;
  const int dc = key_digits(code_limit(h));
  const int32_t passes = ft->passes;
  if (n * passes * (6 + dc) + passes + 8 > kBytes) return -1;
  // Whole words are stored and the count moves on by the bytes that
  // belong; only the key's bytes are copied out.
  char buf[kBytes];
  int32_t count = 0;
  for (int32_t p = 0; p < passes; ++p) {
    if (p > 0) buf[count++] = 1;
    const vls::coll::Frag *fr = vls::coll::fast_frags(ft, p);
    auto put = [&](uint16_t x) {
      const vls::coll::Frag &g = fr[x];
      if (g.len == vls::coll::kFragNone) return false;
      memcpy(buf + count, &g, sizeof g);
      count += g.len;
      if (g.tie) {
        // The code's digits: leading zeros (2), then its last two.
        memset(buf + count, 2, 8);
        memcpy(buf + count + dc - 2, ft->code_lo[x], 2);
        count += dc;
      }
      return true;
    };
    if (c.pass_flags[p] & 1) {
      for (int32_t k = 0; k < n; ++k)
        if (!put(index[k])) return -1;
    } else {
      for (int32_t k = n - 1; k >= 0; --k)
        if (!put(index[k])) return -1;
    }
  }
  const int32_t m = count < size ? count : size;
  if (m > 0) memcpy(target, buf, static_cast<size_t>(m));
  if (count < size) target[count] = 0;
  return count;
}

// vl_wcsxfrm's key of a decoded string (at least one character) of a table
// locale.
int decoded_xfrm(vl_locale_t *h, char *target, const Decoded &s, int32_t size) {
  const collate_category &c = h->collate;
  LazyParallel par;
  // No element can start in a string whose characters all have rows that
  // no element's first code has.
  bool elems = c.num_coll_elems > 0;
  if (elems && c.elem_candidates) {
    const int32_t *cand = c.elem_candidates;
    const int32_t rows = vls::coll::elem_row_count(cand);
    const unsigned char *flags = vls::coll::elem_row_flags(cand);
    elems = false;
    for (int32_t i = 0; i < s.size && !elems; ++i) {
      const int32_t r = s.row()[i];
      elems = r < 0 || r >= rows || flags[r];
    }
  }
  if (elems && !par.make(h, s)) return -1;
  if (par.par.p) par.at(s.size - 1);  // every pass reads every mark
  const int dw = key_digits(c.max_weight), dc = key_digits(code_limit(h));
  int32_t count = 0;
  for (int32_t p = 0; p < c.num_passes; ++p) {
    if (p > 0) {
      if (count < size) target[count] = 1;
      ++count;
    }
    // Without elements, expansions or characters lacking a row in this
    // pass, each character gives its own word straight from its row.
    const uint16_t *weights = c.pass_weights[p];
    bool plain = !par.par.p;
    for (int32_t i = 0; i < s.size && plain; ++i) plain = s.row()[i] >= 0 && !(weights[s.row()[i]] & kExpansion);
    if (plain) {
      const bool forward = (c.pass_flags[p] & 1) != 0;
      for (int32_t k = 0; k < s.size; ++k) {
        const int32_t i = forward ? k : s.size - 1 - k;
        const uint16_t w = weights[s.row()[i]];
        if (w == 1) continue;
        if (w == 0) break;  // read as the end, as the cursor's caller does
        if (w & kTie) {
          put_digits(w & kMask, dw, target, count, size);
          put_digits(s.codes[i], dc, target, count, size);
        } else {
          put_digits(w, dw, target, count, size);
        }
      }
      continue;
    }
    RowCursor cur(s, 0, par, c.pass_flags[p], c.pass_weights[p]);
    vl_wchar code;
    while (uint16_t w = cur.next(h, code)) {
      if (w & kTie) {
        put_digits(w & kMask, dw, target, count, size);
        put_digits(code, dc, target, count, size);
      } else {
        put_digits(w, dw, target, count, size);
      }
    }
  }
  if (count < size) target[count] = 0;
  return count;
}

}  // namespace

namespace vls::coll {

// The fast table: each code's row as the engine finds it, and what the
// engine then yields for that character alone. A character that starts no
// element gives the same words wherever it stands, so its words (and the
// key bytes of each pass) can be worked out here once.
void build_fast_table(vl_locale_t *h) {
  collate_category &c = h->collate;
  if (!c.exp_candidates[0]) return;
  FastTable *t = fast_table_slot(c);
  t->built = 0;
  const multi_t *rt = h->coll_rows;
  if (!rt || !rt->root || c.num_passes < 1 || c.num_passes > VL_MAX_PASSES) return;
  if (c.num_coll_elems > 0 && !c.elem_candidates) return;
  const int32_t *cand = c.num_coll_elems > 0 ? c.elem_candidates : nullptr;
  t->passes = c.num_passes;
  t->forward = 1;
  for (int32_t p = 0; p < c.num_passes; ++p)
    if (!(c.pass_flags[p] & 1)) t->forward = 0;
  t->sb_first = c.pass_flags[0] == 1 && rt->min_length == 1;
  t->elem_second = cand ? elem_second_flags(cand) : nullptr;
  const int dw = key_digits(c.max_weight);
  t->key_dw = dw;
  for (int32_t x = 0; x < kFastCodes; ++x) {
    const vl_wchar code = fast_code(x);
    const int32_t row = row_mark(rt, code);
    const bool elem = cand && starts_elem(cand, code);
    const uint16_t w0 = row >= 0 ? c.pass_weights[0][row] : 0;
    t->elem_word0[x] = row >= 0 && w0 != 0 && !(w0 & kExpansion) ? w0 : 0;
    t->word0[x] = elem && t->elem_word0[x] ? kFastElem : t->elem_word0[x];
    t->term0[x] = x == 0 ? 0 : t->word0[x];
    if (x < 256) {
      t->sb_same[x] = x != 0 && !elem;
      t->plain[x] = t->sb_same[x] && t->word0[x] != 0;
    }
    const uint32_t field = code - 2;
    t->code_lo[x][0] = static_cast<unsigned char>(field / 254u + 2);
    t->code_lo[x][1] = static_cast<unsigned char>(field % 254u + 2);
    for (int32_t p = 0; p < c.num_passes; ++p) {
      Frag &f = fast_frags(t, p)[x];
      f = Frag{{}, kFragNone, 0};
      if (row < 0 || elem || code < 2) continue;
      char buf[32];
      int32_t n = 0;
      bool ok = true, tie = false;
      const uint16_t w = c.pass_weights[p][row];
      if (w == 0) {
        ok = false;
      } else if (w & kExpansion) {
        // The expansion's characters in the pass's direction; one that
        // expands again, ends the text or ties on its code is left to the
        // engine.
        const coll_exp_record &e = c.expansions[w & kMask];
        const bool fwd = (c.pass_flags[p] & 1) != 0;
        // (A single-byte path reads at most 15 of them.)
        ok = e.count <= 15;
        for (uint32_t k = 0; k < e.count && ok; ++k) {
          const vl_wchar ec = e.chars[fwd ? k : e.count - 1 - k];
          const int32_t er = row_mark(rt, ec);
          const uint16_t ew = er >= 0 ? c.pass_weights[p][er] : 0;
          if (ew == 0 || (ew & (kExpansion | kTie))) ok = false;
          else if (ew != 1) put_digits(ew, dw, buf, n, static_cast<int32_t>(sizeof buf));
        }
      } else if (w != 1) {
        tie = (w & kTie) != 0;
        put_digits(tie ? w & kMask : w, dw, buf, n, static_cast<int32_t>(sizeof buf));
      }
      if (!ok || n > static_cast<int32_t>(sizeof f.bytes)) continue;
      f.len = static_cast<unsigned char>(n);
      f.tie = tie ? 1 : 0;
      memcpy(f.bytes, buf, static_cast<size_t>(n));
    }
  }
  t->built = 1;
}

}  // namespace vls::coll

extern "C" {

// ---- the engine ---------------------------------------------------------------------

VLS_API void init_coll_state(const vl_wchar *string, int32_t length, parallel_entry *parallel, uint32_t pass_flags,
                             const uint16_t *weights, coll_state *st) {
  if (pass_flags & 1) {
    st->begin = string;
    st->end = string + length - 1;
    st->parallel = parallel;
    st->step = 1;
  } else {
    // Backward over an empty string the terminator is the one character,
    // as it is forward: nothing before the string is read.
    st->begin = length > 0 ? string + length - 1 : string;
    st->end = string;
    st->parallel = parallel ? parallel + length - 1 : nullptr;
    st->step = -1;
  }
  st->cursor = st->begin;
  st->weights = weights;
  st->exp = nullptr;
  st->done = 0;
  st->exp_index = 0;
}

VLS_API uint16_t next_weight(vl_locale_t *h, coll_state *st, vl_wchar *code) {
  // Between two characters of the string no expansion can be entered
  // twice but by a loop of expansions, which only damage makes.
  int32_t entered = 0;
  while (!st->done) {
    int32_t source = 1;
    vl_wchar c;
    int32_t row;
    if (st->exp) {
      c = st->exp->chars[st->exp_index];
      st->exp_index += st->step;
      if (st->exp_index < 0 || st->exp_index >= static_cast<int32_t>(st->exp->count)) st->exp = nullptr;
      row = code_row(h, c);
    } else if (st->parallel && st->parallel->elem) {
      c = 1;
      row = st->parallel->elem->row;
      source = static_cast<int32_t>(st->parallel->elem->count);
    } else {
      c = *st->cursor;
      row = code_row(h, c);
    }
    if (row < 0) break;  // a character without a row ends the string
    uint16_t w = st->weights[row];
    if (w & kExpansion) {
      if (++entered > h->collate.num_expansions) {
        set_error(h, VL_EILSEQ);
        break;
      }
      st->exp = &h->collate.expansions[w & kMask];
      st->exp_index = st->step > 0 ? 0 : static_cast<int32_t>(st->exp->count) - 1;
      w = 1;
    }
    if (!st->exp) {
      st->cursor += source * st->step;
      if (st->parallel) st->parallel += source * st->step;
      if ((st->end - st->cursor) * st->step < 0) st->done = 1;
      entered = 0;
    }
    if (w != 1) {
      *code = c;
      return w;
    }
  }
  st->done = 1;
  *code = 0;
  return 0;
}

VLS_API int collate_pass(vl_locale_t *h, const uint16_t *weights, uint32_t pass_flags, const vl_wchar *s1,
                         int32_t len1, parallel_entry *p1, const vl_wchar *s2, int32_t len2, parallel_entry *p2) {
  coll_state a, z;
  init_coll_state(s1, len1, p1, pass_flags, weights, &a);
  init_coll_state(s2, len2, p2, pass_flags, weights, &z);
  uint16_t w1 = 0, w2 = 0;
  vl_wchar c1 = 0, c2 = 0;
  for (;;) {
    if (len1 != 0)
      w1 = next_weight(h, &a, &c1);
    else
      a.done = 1;
    if (len2 != 0)
      w2 = next_weight(h, &z, &c2);
    else
      z.done = 1;
    if (w1 == 0 && w2 == 0 && (a.done || z.done)) break;
    if ((w1 & kMask) != (w2 & kMask)) return sign((w1 & kMask) < (w2 & kMask));
    if ((w1 & kTie) && c1 != c2) return sign(c1 < c2);
  }
  if (c1 != 0 && c2 == 0) return 1;
  if (c1 == 0 && c2 != 0) return -1;
  return 0;
}

VLS_API int vl_wcspre(vl_locale_t *, const vl_wchar *string, int32_t remaining, const vl_wchar *prefix,
                      int32_t prefix_length) {
  if (prefix_length > remaining) return 0;
  for (int32_t i = 0; i < prefix_length; ++i)
    if (string[i] != prefix[i]) return 0;
  return 1;
}

VLS_API parallel_entry *make_parallel_arr(vl_locale_t *h, const vl_wchar *string, int32_t length) {
  if (length <= 0) return nullptr;
  parallel_entry *arr = vls::alloc_array<parallel_entry>(static_cast<size_t>(length));
  if (arr) fill_parallel(h->collate, string, length, arr);
  return arr;
}

VLS_API void write_weight(uint32_t value, uint32_t limit, char **output, int32_t *count, int32_t capacity) {
  static constexpr uint32_t kPlace[] = {1u, 254u, 64516u, 16387064u, 4162314256u};
  int digits = 1;
  if (limit >= 4162314256u)
    digits = 5;
  else if (limit >= 16387064u)
    digits = 4;
  else if (limit >= 64516u)
    digits = 3;
  else if (limit >= 254u)
    digits = 2;
  uint32_t field = value - 2;
  auto put = [&](uint32_t d) {
    if (*count < capacity) *(*output)++ = static_cast<char>((d + 2) & 0xFF);
    ++*count;
  };
  if (digits == 1) return put(field);  // the common widths without a loop of divisions
  if (digits == 2) {
    put(field / 254u);
    return put(field % 254u);
  }
  for (int i = digits - 1; i >= 0; --i) {
    const uint32_t d = field / kPlace[i];
    field -= d * kPlace[i];
    put(d);
  }
}

VLS_API int vl_wcsxfrm(vl_locale_t *h, char *target, const vl_wchar *source, int32_t size) {
  if (!h || !source) return vls::fail(h, VL_EBADPTR);
  if (_vlu_active(h, VL_LC_COLLATE))
    return _vlu_call(h, fn_vlu_ucs32xfrm, _vlu_locale(h, VL_LC_COLLATE), target, size, source);
  if (h->codepoint_collation) {
    int32_t bytes = 0;
    for (const vl_wchar *p = source; *p; ++p) bytes += vl_wclen(h, *p);
    const int r = h->single_byte ? _vl_is_wcstombs(h, target, source, size) : vl_full_wcstombs(h, target, source, size);
    return r < 0 ? -1 : bytes;
  }
  const collate_category &c = h->collate;
  if (c.collation_kind == VL_COLL_THAI) {
    const int32_t need = vl_wcsbytes(source);
    vls::ShortBuffer<kLocalThai> text;
    if (!text.reserve(static_cast<size_t>(need > 511 ? need + 1 : 0))) return vls::fail(h, VL_ENOMEM);
    const int r = h->single_byte ? _vl_is_wcstombs(h, text.data(), source, need > 511 ? need + 1 : kLocalThai)
                                 : vl_full_wcstombs(h, text.data(), source, need > 511 ? need + 1 : kLocalThai);
    if (r < 0) return -1;
    return _vl_thaismoxfrm(h, target, text.data(), size);
  }
  const int32_t len = vl_wcslen(source);
  Parallel par;
  if (!parallel_for(h, source, len, par)) return -1;
  const uint32_t limit = code_limit(h);
  int32_t count = 0;
  char *out = target;
  for (int32_t p = 0; p < c.num_passes; ++p) {
    coll_state st;
    init_coll_state(source, len, par.p, c.pass_flags[p], c.pass_weights[p], &st);
    if (p > 0) {
      if (count < size) *out++ = 1;
      ++count;
    }
    vl_wchar code;
    while (uint16_t w = next_weight(h, &st, &code)) {
      if (w & kTie) {
        write_weight(w & kMask, c.max_weight, &out, &count, size);
        write_weight(code, limit, &out, &count, size);
      } else {
        write_weight(w, c.max_weight, &out, &count, size);
      }
    }
  }
  if (count < size) *out = 0;
  return count;
}

VLS_API int vl_full_mbsxfrm(vl_locale_t *h, char *target, const char *source, int32_t size) {
  if (!h || !source) return vls::fail(h, VL_EBADPTR);
  // A single-byte table locale writes its key from the bytes, on the path
  // its comparisons take.
  if (h->single_byte && *source && h->collate.collation_kind == VL_COLL_TABLE && !h->codepoint_collation &&
      !_vlu_active(h, VL_LC_COLLATE)) {
    // Bytes that all have frags write the same key from the fast table.
    const vls::coll::FastTable *ft = vls::coll::fast_table(h->collate);
    if (ft && h->coll_rows->min_length == 1 &&
        (h->mbscoll_fn == _vl_is_mbscoll_back || h->mbscoll_fn == _vl_is_mbscoll_exp ||
         h->mbscoll_fn == _vl_is_mbscoll_elem || h->mbscoll_fn == _vl_is_mbscoll_exp_elem))
      if (const int r = fast_xfrm<true>(h, ft, nullptr, reinterpret_cast<const unsigned char *>(source), target, size);
          r >= 0)
        return r;
    if (h->mbscoll_fn == _vl_is_mbscoll_back) return sb_xfrm<SbPath::Back>(h, target, source, size);
    if (h->mbscoll_fn == _vl_is_mbscoll_exp) return sb_xfrm<SbPath::Exp>(h, target, source, size);
    if (h->mbscoll_fn == _vl_is_mbscoll_elem) return sb_xfrm<SbPath::Elem>(h, target, source, size);
    if (h->mbscoll_fn == _vl_is_mbscoll_exp_elem) return sb_xfrm<SbPath::ExpElem>(h, target, source, size);
  }
  // A multibyte table locale decodes a string of up to kLocalChars
  // characters once into codes and rows; any other string takes the wide
  // copy below.
  const multi_t *tree = h->ctype.ctype_tree;
  if (!h->single_byte && *source && h->collate.collation_kind == VL_COLL_TABLE && !h->codepoint_collation &&
      !_vlu_active(h, VL_LC_COLLATE) && !_vlu_active(h, VL_LC_CTYPE) && h->coll_rows && tree &&
      tree->min_length == 1 && tree->root->flags && tree->root->flags[0] == VL_MULTI_COMPLETE &&
      h->mbstowcs_fn == _vl_im_mbstowcs) {
    if (const vls::coll::FastTable *ft = vls::coll::fast_table(h->collate))
      if (const int r = fast_xfrm(h, ft, tree, reinterpret_cast<const unsigned char *>(source), target, size); r >= 0)
        return r;
    Decoded d;
    const auto *s = reinterpret_cast<const unsigned char *>(source);
    if (d.decode<false>(tree, h->coll_rows, s, static_cast<int32_t>(strlen(source))) > 0)
      return decoded_xfrm(h, target, d, size);
  }
  const int32_t len = mb_chars(h, source, -1);
  if (len < 0) return -1;
  if (len == 0) {
    if (size > 0) target[0] = 0;
    return 0;
  }
  WideBuffer wide;
  if (!wide.reserve(len)) return vls::fail(h, VL_ENOMEM);
  if (h->mbstowcs_fn(h, wide.data(), source, len + 1) < 0) return -1;
  wide.data()[len] = 0;
  return vl_wcsxfrm(h, target, wide.data(), size);
}

VLS_API int _kvx_vl_full_wcscoll(vl_locale_t *h, const vl_wchar *s1, int32_t len1, const vl_wchar *s2,
                                 int32_t len2) {
  if (h && _vlu_active(h, VL_LC_COLLATE))
    return _vlu_call(h, fn_vlu_ucs32coll, _vlu_locale(h, VL_LC_COLLATE), s1, len1, s2, len2);
  if (!h || !s1 || !s2) {
    set_error(h, VL_EBADPTR);
    return 0;
  }
  if ((len1 == -1) != (len2 == -1)) {
    set_error(h, VL_EMIXEDLEN);
    return 0;
  }
  if (len1 == -1) {
    len1 = vl_wcslen(s1);
    len2 = vl_wcslen(s2);
  }
  if (len1 < 0) len1 = 0;
  if (len2 < 0) len2 = 0;
  const collate_category &c = h->collate;
  if (c.collation_kind == VL_COLL_THAI) {
    vls::ShortBuffer<kLocalThai> t1, t2;
    const size_t n1 = static_cast<size_t>(len1) * 4 + 4, n2 = static_cast<size_t>(len2) * 4 + 4;
    if (!t1.reserve(n1) || !t2.reserve(n2)) {
      set_error(h, VL_ENOMEM);
      return 0;
    }
    auto conv = h->single_byte ? _kvx_vl_is_wcstombs : _kvx_vl_full_wcstombs;
    const int r1 = conv(h, t1.data(), s1, len1, static_cast<int32_t>(n1));
    const int r2 = conv(h, t2.data(), s2, len2, static_cast<int32_t>(n2));
    if (r1 < 0 || r2 < 0) return 0;
    vl_mbsterm(h, t1.data() + r1);
    vl_mbsterm(h, t2.data() + r2);
    return _kvx_vl_thaismoncoll(h, t1.data(), r1, t2.data(), r2);
  }
  Parallel p1, p2;
  if (!parallel_for(h, s1, len1, p1) || !parallel_for(h, s2, len2, p2)) return 0;
  // Equal heads give equal weights in a forward pass: such passes start
  // behind the head (a side left empty by it still counts as a string).
  const int32_t head = wide_head(s1, len1, p1.p, s2, len2, p2.p);
  for (int32_t p = 0; p < c.num_passes; ++p) {
    const int32_t k = (c.pass_flags[p] & 1) && head > 0 && head < len1 && head < len2 ? head : 0;
    if (int r = collate_pass(h, c.pass_weights[p], c.pass_flags[p], s1 + k, len1 - k, p1.p ? p1.p + k : nullptr,
                             s2 + k, len2 - k, p2.p ? p2.p + k : nullptr);
        r != 0)
      return r;
  }
  return 0;
}

VLS_API int vl_full_wcscoll(vl_locale_t *h, const vl_wchar *s1, const vl_wchar *s2) {
  return _kvx_vl_full_wcscoll(h, s1, -1, s2, -1);
}

namespace {

// Whether either side failed to decode: -3 stores 3 (no memory), any
// other failure 1.
inline bool decode_failed(vl_locale_t *h, int32_t r1, int32_t r2) {
  if (r1 >= 0 && r2 >= 0) return false;
  set_error(h, r1 == -3 || r2 == -3 ? VL_ENOMEM : VL_EILSEQ);
  return true;
}

// The weighted comparison of two multibyte texts of a table locale read
// through the LC_CTYPE tree (tree_coll_ok), `bytes1` and `bytes2` long.
// Each side is decoded once into codes and rows. When every pass runs
// forward, a head of equal characters is passed over before decoding (each
// side keeps at least its last byte).
// `tried`: fast_coll has answered 2 already.
__attribute__((noinline)) int tree_coll(vl_locale_t *h, const multi_t *tree, const unsigned char *a, int32_t bytes1,
                                        const unsigned char *z, int32_t bytes2, bool tried = false) {
  const collate_category &c = h->collate;
  const vls::coll::FastTable *ft = vls::coll::fast_table(c);
  bool forward = ft ? ft->forward != 0 : c.num_passes <= VL_MAX_PASSES;
  for (int32_t p = 0; !ft && forward && p < c.num_passes; ++p) forward = (c.pass_flags[p] & 1) != 0;
  // A head of a few bytes is not worth finding.
  const int32_t cap = std::min(bytes1, bytes2) - 1;
  const bool head = forward && cap >= 16 && memcmp(a, z, 16) == 0;
  // Without a head to pass over, the fast table mostly decides at once.
  if (!tried && !head && forward && ft && tree->root->flags && (c.num_coll_elems == 0 || c.elem_candidates))
    if (const int r = fast_coll(h, ft, tree, a, bytes1, z, bytes2); r != 2) return r;
  const int32_t skip = head ? mb_head(tree, c, a, z, cap) : 0;
  if (forward && tree->root->flags) return lazy_coll(h, tree, a + skip, bytes1 - skip, z + skip, bytes2 - skip);
  Decoded d1, d2;
  const int32_t r1 = d1.decode<true>(tree, h->coll_rows, a + skip, bytes1 - skip);
  const int32_t r2 = r1 < 0 ? 0 : d2.decode<true>(tree, h->coll_rows, z + skip, bytes2 - skip);
  if (decode_failed(h, r1, r2)) return 0;
  return decoded_coll(h, d1, d2);
}

// Whether tree_coll serves the handle.
inline bool tree_coll_ok(vl_locale_t *h, const multi_t *tree) {
  return !h->single_byte && !_vlu_active(h, VL_LC_CTYPE) && tree && h->coll_rows && !h->codepoint_collation &&
         h->collate.collation_kind == VL_COLL_TABLE && !_vlu_active(h, VL_LC_COLLATE);
}

// The fast table and the derived class table when texts of the handle may
// take term_fast_coll or counted_fast_coll: a table locale whose passes all run
// forward, read through a loaded class tree of one-byte characters that
// takes every byte below 0x80 whole, nothing through the bridge (as
// tree_coll_ok, with single_byte and codepoint_collation, and the two
// bridge marks, read a pair at a time).
__attribute__((always_inline)) inline bool pair_path_ok(const vl_locale_t *h, const vls::coll::FastTable *&ft,
                                                        const vls::ctype::FastCtype *&fc) {
  static_assert(offsetof(vl_locale_t, codepoint_collation) == offsetof(vl_locale_t, single_byte) + 4);
  static_assert(VL_LC_COLLATE == VL_LC_CTYPE + 1);
  ft = vls::coll::fast_table(h->collate);
  if (!ft || !ft->forward) return false;
  uint64_t flags, bridges;
  memcpy(&flags, &h->single_byte, sizeof flags);
  memcpy(&bridges, &h->bridge_active[VL_LC_CTYPE - 2], sizeof bridges);
  if ((flags | bridges) != 0 || !h->coll_rows || h->collate.collation_kind != VL_COLL_TABLE) return false;
  fc = vls::ctype::fast_of(h);
  return vls::ctype::reads(fc, h->ctype.ctype_tree) && fc->cls_limit >= 0x80;
}

// The first pass of two counted texts from the fast table (pair_path_ok
// holds), as term_fast_coll reads terminated ones: -1 or 1 with the rests
// checked (0 with error 1 for an illegal text), 2 when the pass ties or
// meets a character outside the table. Texts that share a head of more
// than 16 bytes are left to tree_coll, which passes it in blocks.
__attribute__((always_inline)) inline int counted_fast_coll(vl_locale_t *h, const vls::coll::FastTable *ft,
                                                            const vls::ctype::FastCtype *fc, const multi_t *t,
                                                            const unsigned char *a, int32_t bytes1,
                                                            const unsigned char *z, int32_t bytes2) {
  if (std::min(bytes1, bytes2) > 16 && memcmp(a, z, 16) == 0) return 2;
  const unsigned char *e1 = a + bytes1, *e2 = z + bytes2;
  const int r = fast_first_pass<true>(ft, t, fc->lead2, a, CountedEnd{e1}, z, CountedEnd{e2});
  if (r != -1 && r != 1) return 2;
  const unsigned char *f = t->root->flags;
  if (!rest_valid(t, f, true, a, e1) || !rest_valid(t, f, true, z, e2)) {
    set_error(h, VL_EILSEQ);
    return 0;
  }
  return r;
}

// tree_coll with the fast table's comparison in front, in the entry's own
// frame: texts without a shared head of 16 bytes that the table decides
// take no other call. (A built table has every pass's direction and the
// element index it needs.)
__attribute__((always_inline)) inline int tree_coll_fast(vl_locale_t *h, const multi_t *tree, const char *s1,
                                                         int32_t bytes1, const char *s2, int32_t bytes2) {
  const auto *a = reinterpret_cast<const unsigned char *>(s1), *z = reinterpret_cast<const unsigned char *>(s2);
  const vls::coll::FastTable *ft = vls::coll::fast_table(h->collate);
  const bool quick = ft && ft->forward && tree->root->flags && (std::min(bytes1, bytes2) <= 16 || memcmp(a, z, 16) != 0);
  if (quick)
    if (const int r = fast_coll(h, ft, tree, a, bytes1, z, bytes2); r != 2) return r;
  return tree_coll(h, tree, a, bytes1, z, bytes2, quick);
}

}  // namespace

VLS_API int _kvx_vl_im_mbfscoll(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2) {
  if (refuse_pair(h, s1, len1, s2, len2)) return 0;
  // Counted texts of a table locale read through a tree that takes every
  // byte below 0x80 whole: the fast table's first pass mostly decides at
  // once.
  if (len1 >= 0 && len2 >= 0) {
    const vls::coll::FastTable *ft;
    const vls::ctype::FastCtype *fc;
    if (pair_path_ok(h, ft, fc)) {
      const auto *a = reinterpret_cast<const unsigned char *>(s1), *z = reinterpret_cast<const unsigned char *>(s2);
      const int r = counted_fast_coll(h, ft, fc, h->ctype.ctype_tree, a, len1, z, len2);
      // (Not the table's first pass again.)
      return r != 2 ? r : tree_coll(h, h->ctype.ctype_tree, a, len1, z, len2, true);
    }
  }
  int32_t bytes1 = len1, bytes2 = len2;
  if (len1 == -1) {
    if (!_vlu_active(h, VL_LC_CTYPE) && h->ctype.ctype_tree && h->ctype.ctype_tree->min_length == 1) {
      bytes1 = static_cast<int32_t>(strlen(s1));  // the byte length less a one-byte terminator
      bytes2 = static_cast<int32_t>(strlen(s2));
    } else {
      bytes1 = vl_mbsbytes(h, s1) - vl_mb_loc_min(h);
      bytes2 = vl_mbsbytes(h, s2) - vl_mb_loc_min(h);
    }
  }
  if (bytes1 < 0 || bytes2 < 0) {
    set_error(h, VL_EILSEQ);
    return 0;
  }
  const multi_t *tree = h->ctype.ctype_tree;
  if (tree_coll_ok(h, tree)) return tree_coll_fast(h, tree, s1, bytes1, s2, bytes2);
  WideBuffer w1, w2;
  int32_t r1, r2;
  if (!h->single_byte && !_vlu_active(h, VL_LC_CTYPE) && tree) {
    // One walk converts a string of up to kLocalChars characters on the
    // stack; a longer one is counted, given room and converted again.
    auto convert = [h](const char *s, int32_t bytes, WideBuffer &w) {
      int32_t n = wide_of(h->ctype.ctype_tree, s, bytes, w.data(), kLocalChars);
      if (n == -2) {
        n = _kvx_vl_im_mbfslen(h, s, bytes);
        if (n < 0) return -1;
        if (!w.reserve(n)) return -3;
        n = wide_of(h->ctype.ctype_tree, s, bytes, w.data(), n);
      }
      return n;
    };
    r1 = convert(s1, bytes1, w1);
    r2 = r1 < 0 ? 0 : convert(s2, bytes2, w2);
  } else {
    const int32_t n1 = mb_chars(h, s1, len1), n2 = mb_chars(h, s2, len2);
    if (n1 < 0 || n2 < 0) {
      set_error(h, VL_EILSEQ);
      return 0;
    }
    if (!w1.reserve(n1) || !w2.reserve(n2)) {
      set_error(h, VL_ENOMEM);
      return 0;
    }
    // An empty side has nothing to convert.
    r1 = bytes1 ? h->mbfstowcfs_fn(h, w1.data(), s1, bytes1, n1 + 1) : 0;
    r2 = bytes2 ? h->mbfstowcfs_fn(h, w2.data(), s2, bytes2, n2 + 1) : 0;
  }
  if (decode_failed(h, r1, r2)) return 0;
  if (h->codepoint_collation) return _kvx_vl_wcfscmp(w1.data(), r1, w2.data(), r2);
  return _kvx_vl_full_wcscoll(h, w1.data(), r1, w2.data(), r2);
}

namespace {

// The bytes of the character at `s` of a terminated text, or 0 when it is
// no character.
__attribute__((noinline)) int32_t term_char_length(const multi_t *t, const unsigned char *s) {
  return char_length(t, t->root->flags, s, static_cast<int32_t>(strlen(reinterpret_cast<const char *>(s))));
}

// Whether a character of two bytes starts at `s`: a lead that `lead2` names
// (bit b - 0xC0 for the leads 0xC0..0xDF that take every byte 0x80..0xBF),
// then such a byte.
inline bool two_byte_at(uint32_t lead2, const unsigned char *s) {
  const unsigned b = s[0];
  return b - 0xC0u < 32u && (lead2 >> (b - 0xC0u) & 1u) && s[1] - 0x80u < 0x40u;
}

// The bytes of the character at `s` of a terminated text (not its end, nor
// a byte below 0x80), or 0 when it is no character.
__attribute__((always_inline)) inline int32_t term_char_bytes(const multi_t *t, uint32_t lead2,
                                                              const unsigned char *s) {
  return two_byte_at(lead2, s) ? 2 : term_char_length(t, s);
}

// Whether the rest of a terminated text from `s` is whole characters, the
// root taking every byte below 0x80 whole: the characters of two bytes
// that two_byte_at finds pass on a range check, others walk the tree.
// The bytes that are 0 or above 0x7F are found sixteen at a time in
// aligned blocks, which never reach into a page the text does not (the
// bytes read beyond the end are not used); a byte at a time where a
// sanitizer watches every read.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VLS_COLL_BYTEWISE 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define VLS_COLL_BYTEWISE 1
#endif
#endif
#if defined(__SSE2__) && !defined(VLS_COLL_BYTEWISE)
__attribute__((always_inline)) inline bool term_rest_valid(const multi_t *t, uint32_t lead2, const unsigned char *s) {
  const __m128i zero = _mm_setzero_si128();
  auto stops = [zero](const unsigned char *block) {
    const __m128i v = _mm_load_si128(reinterpret_cast<const __m128i *>(block));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, zero)) | _mm_movemask_epi8(v));
  };
  const unsigned char *block = s - (reinterpret_cast<uintptr_t>(s) & 15u);
  uint32_t m = stops(block) >> (s - block);  // bit k: the byte at s + k stops the run
  for (;;) {
    while (m == 0) {  // none up to the block's end
      block += 16;
      if (s < block) s = block;
      m = stops(block) >> (s - block);
    }
    const unsigned k = static_cast<unsigned>(__builtin_ctz(m));
    s += k;
    if (*s == 0) return true;
    const int32_t len = term_char_bytes(t, lead2, s);
    if (len == 0) return false;
    // Behind the character, in this block while it lasts.
    s += len;
    m = k + static_cast<unsigned>(len) < 32 ? m >> (k + static_cast<unsigned>(len)) : 0;
  }
}
#else
inline bool term_rest_valid(const multi_t *t, uint32_t lead2, const unsigned char *s) {
  for (;;) {
    while (*s != 0 && *s < 0x80) ++s;
    if (*s == 0) return true;
    const int32_t len = term_char_bytes(t, lead2, s);
    if (len == 0) return false;
    s += len;
  }
}
#endif

// The first pass of two terminated texts from the fast table, as fast_coll
// reads them with the measured lengths: -1 or 1 with the rests checked (0
// with error 1 for an illegal text), 2 when the pass ties or meets a
// character outside the table. The handle reads its text through the tree
// of `fc`, whose root takes every byte below 0x80 whole.
__attribute__((always_inline)) inline int term_fast_coll(vl_locale_t *h, const vls::coll::FastTable *ft,
                                                         const vls::ctype::FastCtype *fc, const multi_t *t,
                                                         const unsigned char *a, const unsigned char *z) {
  const int r = fast_first_pass<true>(ft, t, fc->lead2, a, TermEnd{}, z, TermEnd{});
  if (r != -1 && r != 1) return 2;
  // Only the bytes not read are left to check.
  if (!term_rest_valid(t, fc->lead2, a) || !term_rest_valid(t, fc->lead2, z)) {
    set_error(h, VL_EILSEQ);
    return 0;
  }
  return r;
}

__attribute__((noinline)) int im_terminated(vl_locale_t *h, const char *s1, const char *s2) {
  if (h && s1 && s2) {
    const multi_t *tree = h->ctype.ctype_tree;
    if (tree_coll_ok(h, tree) && tree->min_length == 1)
      return tree_coll_fast(h, tree, s1, static_cast<int32_t>(strlen(s1)), s2, static_cast<int32_t>(strlen(s2)));
  }
  return _kvx_vl_im_mbfscoll(h, s1, -1, s2, -1);
}

}  // namespace

VLS_API int _vl_im_mbscoll(vl_locale_t *h, const char *s1, const char *s2) {
  // Terminated texts of a table locale read through a tree whose shortest
  // character (the terminator) is one byte: the fast table's first pass
  // mostly decides at once; else they are measured and compared as counted
  // texts.
  // (Texts that share their first 4 bytes go to the paths that pass a
  // shared head in wide steps.)
  if (h && s1 && s2) {
    const auto *a = reinterpret_cast<const unsigned char *>(s1), *z = reinterpret_cast<const unsigned char *>(s2);
    const vls::coll::FastTable *ft;
    const vls::ctype::FastCtype *fc;
    const bool head = a[0] == z[0] && a[0] && a[1] == z[1] && a[1] && a[2] == z[2] && a[2] && a[3] == z[3] && a[3];
    if (!head && pair_path_ok(h, ft, fc)) {
      const int r = term_fast_coll(h, ft, fc, h->ctype.ctype_tree, a, z);
      // (Not the table's first pass again; the table's tree has characters
      // of one byte, so the terminator is one.)
      return r != 2 ? r
                    : tree_coll(h, h->ctype.ctype_tree, a, static_cast<int32_t>(strlen(s1)), z,
                                static_cast<int32_t>(strlen(s2)), true);
    }
  }
  return im_terminated(h, s1, s2);
}

VLS_API int vl_full_mbscoll(vl_locale_t *h, const char *s1, const char *s2) {
  if (!h || !h->mbscoll_fn) return 0;
  return h->mbscoll_fn(h, s1, s2);
}

VLS_API int _kvx_vl_full_mbfscoll(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2) {
  if (!h || !h->mbfscoll_fn) return 0;
  return h->mbfscoll_fn(h, s1, len1, s2, len2);
}

VLS_API int vl_getpassdirection(vl_locale_t *h, int32_t pass) {
  if (!h) return -1;
  const collate_category &c = h->collate;
  if (c.collation_kind == VL_COLL_THAI) return vls::fail(h, VL_ENOTSUP);
  if (pass < 1 || pass > c.num_passes || pass > VL_MAX_PASSES) return vls::fail(h, VL_EBADCOUNT);
  const uint32_t f = c.pass_flags[pass - 1];
  if (f != 1 && f != 2) return vls::fail(h, VL_EMISMATCH);
  return static_cast<int>(f);
}

// ---- single-byte paths --------------------------------------------------------------

VLS_API int _kvx_vl_is_mbfscoll_exp(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2) {
  return sb_collate<SbPath::Exp>(h, s1, len1, s2, len2);
}
VLS_API int _vl_is_mbscoll_exp(vl_locale_t *h, const char *s1, const char *s2) {
  return sb_terminated<SbPath::Exp>(h, s1, s2);
}
VLS_API int _kvx_vl_is_mbfscoll_elem(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2) {
  return sb_collate<SbPath::Elem>(h, s1, len1, s2, len2);
}
VLS_API int _vl_is_mbscoll_elem(vl_locale_t *h, const char *s1, const char *s2) {
  return sb_terminated<SbPath::Elem>(h, s1, s2);
}
VLS_API int _kvx_vl_is_mbfscoll_exp_elem(vl_locale_t *h, const char *s1, int32_t len1, const char *s2,
                                         int32_t len2) {
  return sb_collate<SbPath::ExpElem>(h, s1, len1, s2, len2);
}
VLS_API int _vl_is_mbscoll_exp_elem(vl_locale_t *h, const char *s1, const char *s2) {
  return sb_terminated<SbPath::ExpElem>(h, s1, s2);
}
VLS_API int _kvx_vl_is_mbfscoll_back(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2) {
  return sb_collate<SbPath::Back>(h, s1, len1, s2, len2);
}
VLS_API int _vl_is_mbscoll_back(vl_locale_t *h, const char *s1, const char *s2) {
  return sb_terminated<SbPath::Back>(h, s1, s2);
}

// The per-pass functions: handle, pass, each string with its end (null for
// a terminated string but in the two plain ones); -1, 0 or 1.
VLS_API int collate_sb_exp(vl_locale_t *h, int32_t pass, const char *s1, const char *e1, const char *s2,
                           const char *e2) {
  return sb_pass_of<SbReader<true, false>>(h, pass, s1, e1, s2, e2);
}
VLS_API int collate_sb_elem(vl_locale_t *h, int32_t pass, const char *s1, const char *e1, const char *s2,
                            const char *e2) {
  return sb_pass_of<SbReader<false, true>>(h, pass, s1, e1, s2, e2);
}
VLS_API int collate_sb_exp_elem(vl_locale_t *h, int32_t pass, const char *s1, const char *e1, const char *s2,
                                const char *e2) {
  return sb_pass_of<SbReader<true, true>>(h, pass, s1, e1, s2, e2);
}
VLS_API int collate_sb_for(vl_locale_t *h, int32_t pass, const char *s1, const char *e1, const char *s2,
                           const char *e2) {
  return sb_pass_of<SbPlain<false>>(h, pass, s1, e1, s2, e2);
}
VLS_API int collate_sb_back(vl_locale_t *h, int32_t pass, const char *s1, const char *e1, const char *s2,
                            const char *e2) {
  return sb_pass_of<SbPlain<true>>(h, pass, s1, e1, s2, e2);
}

VLS_API const coll_elem *true_elem(const collate_category *c, const char *text, const char *end) {
  return find_elem(*c, reinterpret_cast<const unsigned char *>(text), reinterpret_cast<const unsigned char *>(end));
}

// One byte of a side in a locale with expansions: `saved` holds the place
// in the string while `cursor` runs through an expansion's text in
// `buffer` (16 bytes). The byte at the cursor is the answer; the caller
// tests it for the end as this does, and steps the cursor on by one.
VLS_API int next_char_sb_exp(const collate_category *c, int32_t pass, const char **cursor, const char **saved,
                             const char *end, char *buffer) {
  auto at_end = [&] {
    if (!*saved) return end ? *cursor >= end : **cursor == 0;
    return **cursor == 0 || (end && *saved >= end);
  };
  if (at_end()) {
    if (!*saved) return 0;
    *cursor = *saved + 1;
    *saved = nullptr;
    if (at_end()) return 0;
  }
  const auto b = static_cast<unsigned char>(**cursor);
  if (const coll_exp_record *x = *saved ? nullptr : c->exp_candidates[pass][b]) {
    uint32_t n = 0;
    for (; n < x->count && n < 15; ++n) buffer[n] = static_cast<char>(x->chars[n]);
    buffer[n] = 0;
    *saved = *cursor;
    *cursor = buffer;
  }
  return static_cast<unsigned char>(**cursor);
}

// One row of a side in a locale with collating elements: an element found
// at the cursor is taken whole. The answer is the first byte.
VLS_API int next_row_sb_elem(vl_locale_t *h, const char **cursor, const char *end, uint16_t *row) {
  const collate_category &c = h->collate;
  const auto *p = reinterpret_cast<const unsigned char *>(*cursor);
  const unsigned b = *p;
  if (c.elem_candidates && c.elem_candidates[b])
    if (const coll_elem *e = find_elem(c, p, reinterpret_cast<const unsigned char *>(end))) {
      *cursor += e->count;
      *row = e->row;
      return static_cast<int>(b);
    }
  *row = byte_row(h->coll_rows, b);
  *cursor += 1;
  return static_cast<int>(b);
}

// ---- by code value ------------------------------------------------------------------

VLS_API int vl_wcscmp(const vl_wchar *s1, const vl_wchar *s2) {
  for (;; ++s1, ++s2) {
    if (*s1 != *s2) return sign(*s1 < *s2);
    if (*s1 == 0) return 0;
  }
}

VLS_API int _kvx_vl_wcfscmp(const vl_wchar *s1, int32_t len1, const vl_wchar *s2, int32_t len2) {
  if (len1 < 1 || len2 < 1) return len1 - len2;
  for (int32_t i = 0;; ++i) {
    if (i == len1 || i == len2) return (len1 - i) - (len2 - i);
    if (s1[i] != s2[i]) return sign(s1[i] < s2[i]);
  }
}

VLS_API int vl_wcsncmp(const vl_wchar *s1, const vl_wchar *s2, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    if (s1[i] != s2[i]) return static_cast<int>(s1[i] - s2[i]);
    if (s1[i] == 0) return 0;
  }
  return 0;
}

VLS_API int _kvx_vl_mbscmp(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2) {
  if ((len1 == -1) != (len2 == -1)) {
    set_error(h, VL_EMIXEDLEN);
    return 0;
  }
  if (len1 == -1) {
    len1 = static_cast<int32_t>(strlen(s1));
    len2 = static_cast<int32_t>(strlen(s2));
  }
  const int32_t n = len1 < len2 ? len1 : len2;
  if (int r = memcmp(s1, s2, static_cast<size_t>(n > 0 ? n : 0)); r != 0) return sign(r < 0);
  return len1 - len2;
}

// Bytes of the character at `p` in the terminated form: 0 at the end, and
// a byte that is no character counts as one.
static int32_t char_bytes(vl_locale_t *h, const char *p) {
  if (!*p) return 0;
  if (h->single_byte) return 1;
  const int32_t n = vl_full_mblen(h, p, vls::tree::kMaxChar);
  return n > 0 ? n : 1;
}

VLS_API int vl_full_mbscmp(vl_locale_t *h, const char *s1, const char *s2) {
  for (;;) {
    const int32_t n1 = char_bytes(h, s1), n2 = char_bytes(h, s2);
    if (n1 == 0 || n2 == 0) return n1 == n2 ? 0 : sign(n1 == 0);
    if (n1 != n2) return sign(n1 < n2);
    if (int r = memcmp(s1, s2, static_cast<size_t>(n1)); r != 0) return sign(r < 0);
    s1 += n1;
    s2 += n2;
  }
}

VLS_API int vl_full_mbsncmp(vl_locale_t *h, const char *s1, const char *s2, int32_t count) {
  int32_t ends[2] = {0, 0};
  const char *s[2] = {s1, s2};
  for (int k = 0; k < 2; ++k) {
    const char *p = s[k];
    for (int32_t i = 0; i < count && *p; ++i) {
      const int32_t n = h->single_byte ? 1 : vl_full_mblen(h, p, vls::tree::kMaxChar);
      if (n <= 0) {
        set_error(h, VL_EILSEQ);
        return 0;
      }
      p += n;
    }
    ends[k] = static_cast<int32_t>(p - s[k]);
  }
  const int32_t n = ends[0] < ends[1] ? ends[0] : ends[1];
  if (int r = memcmp(s1, s2, static_cast<size_t>(n)); r != 0) return sign(r < 0);
  return ends[0] == ends[1] ? 0 : sign(ends[0] < ends[1]);
}

// ---- Thai ---------------------------------------------------------------------------

VLS_API int _kvx_vl_thaismoncoll(vl_locale_t *h, const char *s1, int32_t len1, const char *s2, int32_t len2) {
  if (refuse_pair(h, s1, len1, s2, len2)) return 0;
  if (len1 == -1) {
    len1 = static_cast<int32_t>(strlen(s1));
    len2 = static_cast<int32_t>(strlen(s2));
  }
  return thai_compare(h, reinterpret_cast<const unsigned char *>(s1), len1 > 0 ? len1 : 0,
                      reinterpret_cast<const unsigned char *>(s2), len2 > 0 ? len2 : 0);
}

VLS_API int _vl_thaismocoll(vl_locale_t *h, const char *s1, const char *s2) {
  return _kvx_vl_thaismoncoll(h, s1, -1, s2, -1);
}

VLS_API int _vl_thaismoxfrm(vl_locale_t *h, char *target, const char *source, int32_t size) {
  if (!h || !source) return vls::fail(h, VL_EBADPTR);
  const auto *s = reinterpret_cast<const unsigned char *>(source);
  const int32_t len = static_cast<int32_t>(strlen(source));
  vls::ShortBuffer<kLocalThai> scratch;
  if (!scratch.reserve(static_cast<size_t>(len) + 1)) return vls::fail(h, VL_ENOMEM);
  auto *x = reinterpret_cast<unsigned char *>(scratch.data());
  int32_t count = 0;
  auto level = [&](const unsigned char *bytes, int32_t n, bool separator) {
    if (separator) {
      if (count < size) target[count] = 1;
      ++count;
    }
    for (int32_t i = 0; i < n; ++i) thai_put(bytes[i], target, count, size);
  };
  level(x, thai_base(s, len, x), false);
  level(x, thai_signs(s, len, x), true);
  level(s, len, true);
  if (count < size) target[count] = 0;
  return count;
}

// ---- release ------------------------------------------------------------------------

VLS_API void free_collate(vl_locale_t *h) {
  collate_category &c = h->collate;
  _vl_free_multi(h->coll_rows);
  h->coll_rows = nullptr;
  for (auto &t : c.pass_weights) {
    _vl_free_ptr(t);
    t = nullptr;
  }
  if (c.num_coll_elems != 0 && c.coll_elems) {
    for (int32_t i = 0; i < c.num_coll_elems; ++i) _vl_free_ptr(c.coll_elems[i].chars);
    _vl_free_ptr(c.coll_elems);
  }
  c.coll_elems = nullptr;
  if (c.num_expansions != 0 && c.expansions) {
    for (int32_t i = 0; i < c.num_expansions; ++i) _vl_free_ptr(c.expansions[i].chars);
    _vl_free_ptr(c.expansions);
  }
  c.expansions = nullptr;
  for (auto &t : c.exp_candidates) {
    _vl_free_ptr(t);
    t = nullptr;
  }
  _vl_free_ptr(c.elem_candidates);
  c.elem_candidates = nullptr;
  // The two lists and their strings are one block, which starts with the
  // first list that is set.
  _vl_free_ptr(h->coll_sb_tables[0] ? h->coll_sb_tables[0] : h->coll_sb_tables[1]);
  h->coll_sb_tables[0] = h->coll_sb_tables[1] = nullptr;
}

}  // extern "C"
