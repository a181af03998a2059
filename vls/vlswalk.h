// The byte-tree walk: from the bytes of one character to its node, its
// value and its row. Every service that reads characters through a tree
// walks with this one template; what varies is where the next byte comes
// from (a buffer, a counted buffer, a stream), given as a byte source.
//
// The rules: a flag of 1 leads on to the child of that byte, 4 completes a
// character, anything else (0) is no character. A walk allocates nothing.
// Not installed.
#ifndef VLS_VLSWALK_H
#define VLS_VLSWALK_H

#include <cstdint>
#include <cstring>

#include <vls/vls.h>

#include "vlsint.h"

namespace vls::tree {

using Node = unc_multi_arr_t;

constexpr int32_t kMaxChar = 4;  // longest character of any codeset

inline unsigned char flag_of(const Node *n, unsigned b) { return n->flags ? n->flags[b] : static_cast<unsigned char>(VL_MULTI_INVALID); }
inline const Node *child(const Node *n, unsigned b) { return n->next[n->offsets[b]]; }

// One walked character.
struct Walk {
  int32_t bytes;     // bytes taken, a failing one included
  uint32_t err;      // 0, or the error number of a failed walk
  vl_wchar value;    // the bytes folded big-endian, first byte highest
  const Node *node;  // node holding the last byte
  unsigned last;     // the last byte
  bool ok() const { return err == 0; }
};

// Byte sources: first() gives the first byte, next(n) byte n (n >= 1); a
// negative answer is minus the error number the walk then fails with.

// A buffer walked as far as the tree leads.
struct Bytes {
  const unsigned char *s;
  int32_t first() const { return s[0]; }
  int32_t next(int32_t n) const { return s[n]; }
};

// A buffer of `limit` bytes (limit >= 1): a character that runs past it
// fails with 7.
struct Counted {
  const unsigned char *s;
  int32_t limit;
  int32_t first() const { return s[0]; }
  int32_t next(int32_t n) const { return n < limit ? s[n] : -static_cast<int32_t>(VL_EINVAL); }
};

// Walks one character from `root`.
template <typename Source>
inline Walk walk(const Node *root, Source &&src) {
  int32_t c = src.first();
  if (c < 0) return {0, static_cast<uint32_t>(-c), 0, root, 0};
  const Node *node = root;
  unsigned b = static_cast<unsigned>(c);
  vl_wchar v = b;
  int32_t n = 1;
  unsigned char flag = flag_of(node, b);
  while (flag == VL_MULTI_LEADS) {
    c = src.next(n);
    if (c < 0) return {n, static_cast<uint32_t>(-c), v, node, b};
    node = child(node, b);
    b = static_cast<unsigned>(c);
    v = (v << 8) | b;
    ++n;
    flag = flag_of(node, b);
  }
  if (flag != VL_MULTI_COMPLETE) return {n, VL_EILSEQ, v, node, b};
  return {n, 0, v, node, b};
}

template <typename Source>
inline Walk walk(const multi_t *t, Source &&src) {
  return walk(t->root, src);
}

// The row of byte `b` in node `n`: its own, or the tree's default.
inline const unsigned char *row(const multi_t *t, const Node *n, unsigned b) {
  return n->data ? n->data + (static_cast<size_t>(b) << t->data_shift) : t->default_data;
}
inline const unsigned char *row(const multi_t *t, const Walk &w) { return row(t, w.node, w.last); }

// The 16-bit value at the head of a row (class masks, case indexes); 0 for
// no row.
inline uint16_t u16(const void *r) {
  if (!r) return 0;
  uint16_t v;
  memcpy(&v, r, sizeof v);
  return v;
}

// The row of the character at `s`, or null with the error stored through
// `record` (any record whose first field is the error number). `bytes`, when
// given, gets the bytes taken: the character's, the bytes before a limit, or
// up to the byte that is no character. Limited adds the byte limit (below 1:
// nothing is read, 7).
template <bool Limited>
inline const unsigned char *text_row(const unsigned char *s, const multi_t *t, int32_t limit, int32_t *bytes,
                                     void *record) {
  if (Limited && limit < 1) {
    if (bytes) *bytes = 0;
    set_error(record, VL_EINVAL);
    return nullptr;
  }
  const Walk w = Limited ? walk(t, Counted{s, limit}) : walk(t, Bytes{s});
  if (bytes) *bytes = w.bytes;
  if (!w.ok()) {
    set_error(record, w.err);
    return nullptr;
  }
  return row(t, w);
}

// ---- wide values ---------------------------------------------------------------------------

// Bytes of the multibyte form of a wide value: the tree's shortest length
// `min`, raised to cover the value's significant bytes.
inline int32_t wide_length(int32_t min, vl_wchar v) {
  int32_t len = min;
  if (v > 0xFFFFFFu) {
    len = 4;
  } else if (v > 0xFFFFu) {
    if (len < 3) len = 3;
  } else if (v > 0xFFu) {
    if (len < 2) len = 2;
  }
  return len;
}
inline int32_t wide_length(const multi_t *t, vl_wchar v) { return wide_length(t->min_length, v); }

struct NoSink {
  void operator()(unsigned) const {}
};

// Walks the bytes of `v`, highest first, handing each to `sink` as the tree
// accepts it (a prefix may be handed before a failure). Fails with 1.
template <typename Sink = NoSink>
inline Walk walk_wide(const multi_t *t, vl_wchar v, Sink &&sink = Sink{}) {
  const int32_t len = wide_length(t, v);
  if (len < 1 || len > kMaxChar) return {0, VL_EILSEQ, v, t->root, 0};
  const Node *node = t->root;
  for (int32_t i = len - 1;; --i) {
    const unsigned b = (v >> (8 * i)) & 0xFFu;
    const unsigned char flag = flag_of(node, b);
    if (i == 0) {
      if (flag != VL_MULTI_COMPLETE) return {len, VL_EILSEQ, v, node, b};
      sink(b);
      return {len, 0, v, node, b};
    }
    if (flag != VL_MULTI_LEADS) return {len - i, VL_EILSEQ, v, node, b};
    sink(b);
    node = child(node, b);
  }
}

// The row of a wide value by the general walk, or null with 1 stored
// through `record`.
__attribute__((noinline)) inline const unsigned char *wide_row_walk(void *record, vl_wchar v, const multi_t *t) {
  const Walk w = walk_wide(t, v);
  if (!w.ok()) {
    set_error(record, VL_EILSEQ);
    return nullptr;
  }
  return row(t, w);
}

// The row of a plain wide value, or null when the straight path cannot
// tell (the caller then walks): values of up to three bytes in a tree whose
// shortest character is one byte (all but a few codesets), each byte taken
// from the node its lead leads to. Stores nothing.
//
// Laid out for the per-character services: a one-byte value runs straight
// through without a taken branch, a longer one takes two, and nothing needs
// a frame. Each lead step strips its byte from the value, so the next
// byte is a plain shift. RowShift, when given, is the row size the caller's
// trees have (1: 16-bit rows); a tree of another size goes the long way.
template <int RowShift = -1>
__attribute__((always_inline)) inline const unsigned char *plain_row(vl_wchar v, const multi_t *t) {
  const Node *n = t->root;
  const unsigned char *f = n->flags;
  if (__builtin_expect(t->min_length != 1 || !f, 0)) return nullptr;
  if (RowShift >= 0 && __builtin_expect(t->data_shift != RowShift, 0)) return nullptr;
  if (__builtin_expect(v > 0xFFu, 0)) {
    if (__builtin_expect(v > 0xFFFFu, 0)) {
      if (v > 0xFFFFFFu) return nullptr;
      const unsigned b2 = v >> 16;
      if (__builtin_expect(f[b2] != VL_MULTI_LEADS, 0)) return nullptr;
      n = child(n, b2);
      if (__builtin_expect(!(f = n->flags), 0)) return nullptr;
      v &= 0xFFFFu;
    }
    const unsigned b1 = v >> 8;
    if (__builtin_expect(f[b1] != VL_MULTI_LEADS, 0)) return nullptr;
    n = child(n, b1);
    if (__builtin_expect(!(f = n->flags), 0)) return nullptr;
    v &= 0xFFu;
  }
  if (__builtin_expect(f[v] != VL_MULTI_COMPLETE, 0)) return nullptr;
  const unsigned char *d = n->data;
  if (__builtin_expect(!d, 0)) return t->default_data;
  return d + (static_cast<size_t>(v) << (RowShift >= 0 ? RowShift : t->data_shift));
}

// The row of a wide value, or null with 1 stored through `record`.
__attribute__((always_inline)) inline const unsigned char *wide_row(void *record, vl_wchar v, const multi_t *t) {
  if (const unsigned char *r = plain_row(v, t)) return r;
  return wide_row_walk(record, v, t);
}

// ---- ASCII runs ----------------------------------------------------------------------------

// True when every flag from `from` up to `to` (multiples of eight)
// completes a character.
inline bool all_complete(const unsigned char *flags, int from, int to) {
  uint64_t diff = 0;
  for (int i = from; i < to; i += 8) {
    uint64_t w;
    memcpy(&w, flags + i, sizeof w);
    diff |= w ^ 0x0404040404040404ull;
  }
  static_assert(VL_MULTI_COMPLETE == 4);
  return diff == 0;
}

// Whether the child of lead byte `b` takes every byte 0x80..0xBF as the
// last byte of a character (a lead of two-byte UTF-8, as the tree has it).
inline bool lead_takes_trails(const multi_t *t, unsigned b) {
  if (t->root->flags[b] != VL_MULTI_LEADS) return false;
  const unsigned char *g = child(t->root, b)->flags;
  return g && all_complete(g, 0x80, 0xC0);
}

// True when the tree takes every byte below 0x80 as a character of its own
// (its value then the byte itself). Callers ask once per call, and only
// when a run of such bytes is long enough to pay for the question.
inline bool ascii_direct(const multi_t *t) {
  const unsigned char *f = t->root ? t->root->flags : nullptr;
  return f && all_complete(f, 0x00, 0x80);
}

// Eight bytes that are all below 0x80 and not zero.
inline bool ascii8(uint64_t w) {
  constexpr uint64_t kLow = 0x0101010101010101ull, kHigh = 0x8080808080808080ull;
  return ((w | ((w - kLow) & ~w)) & kHigh) == 0;
}

// The ASCII run at `p` in whole words of eight bytes, at most `room` bytes:
// each word is handed to `out` (index of its first byte, the eight bytes)
// and the count of bytes taken is returned; the bytes after the run are
// left to the caller's byte loop. With StopAtNul the run ends before a
// zero byte and no byte past it is read; otherwise zero is a character
// like any other byte below 0x80.
template <bool StopAtNul, typename Out>
inline size_t ascii_words(const unsigned char *p, size_t room, Out &&out) {
  constexpr size_t kChunk = 256;
  constexpr uint64_t kHigh = 0x8080808080808080ull;
  size_t done = 0;
  while (room - done >= 8) {
    size_t want = room - done < kChunk ? room - done : kChunk;
    want &= ~size_t{7};
    // The bytes up to a NUL may be read; strnlen finds it without reading on.
    const size_t avail = StopAtNul ? strnlen(reinterpret_cast<const char *>(p + done), want) : want;
    size_t k = 0;
    while (k + 8 <= avail) {
      uint64_t w;
      memcpy(&w, p + done + k, sizeof w);
      if (StopAtNul ? !ascii8(w) : (w & kHigh) != 0) break;
      out(done + k, p + done + k);
      k += 8;
    }
    done += k;
    if (k != want) break;
  }
  return done;
}

}  // namespace vls::tree

#endif
