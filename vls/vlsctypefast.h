// LC_CTYPE: the table a loaded category derives from its two trees and
// keeps behind its case pairs (built by read_ctype, see vlsctype.cpp), for
// the class and case answers and for the collation paths that read text
// through the same tree. Not installed.
#ifndef VLS_VLSCTYPEFAST_H
#define VLS_VLSCTYPEFAST_H

#include <cstddef>
#include <cstdint>

#include "vlsint.h"

namespace vls::ctype {

// A loaded category keeps, behind its case pairs (in the same block), a
// table derived from its two trees that answers a wide value in a few loads
// instead of a walk down the tree: the first values (ASCII, or every byte
// where the root completes all 256) straight from arrays of answers, the
// rest of up to three bytes through rows of leaves:
//   leaf = leaves + 8 * rows[lead[v >> 16] + (v >> 8)]  (bytes)
// where a leaf is the flags and data of the node that holds the value's
// last byte. Row 0 is all leaf 0, which completes nothing, so a value the
// tree does not hold (and one the table left out) fails the flag check and
// takes the walk, which sets the error. The two trees share the rows and
// the leaves, each with its own leads and limit. Row 0 of the pairs, which
// no index names, carries a mark that the table is there; pairs that the
// loader did not make (a category built by hand, or none) have no table
// and always walk.
constexpr vl_case_pair kFastMark = {0x6B63A7E1u, 0x94D2315Cu};

struct FastLeaf {
  const unsigned char *flags;  // 256 flags
  const unsigned char *data;   // 256 16-bit rows
};
// Rows name a leaf by its offset in units of this many bytes.
constexpr size_t kLeafUnit = 8;
static_assert(sizeof(FastLeaf) % kLeafUnit == 0);

struct FastCtype {
  uint32_t cls_limit, cas_limit;  // values below these answer from the direct arrays
  const uint16_t *rows;           // 256 leaf offsets per row
  const multi_t *ctype_tree;      // the class tree the table was made from
  // Bit b - 0xC0 for a lead b of 0xC0..0xDF whose child takes every byte
  // 0x80..0xBF as the last byte of a character (two-byte UTF-8).
  uint32_t lead2;
  // By the byte b above the low two: its row's first entry less 256 * b
  // (modulo 2^32), so that adding v >> 8 lands on the entry of the middle byte.
  uint32_t cls_lead[256];
  uint32_t cas_lead[256];
  uint16_t masks[256];
  vl_wchar upper[256], lower[256];
  FastLeaf leaves[1];             // as many as the rows name
};

inline const FastCtype *fast_of(const vl_locale_t *h) {
  const vl_case_pair *p = h->ctype.case_pairs;
  if (__builtin_expect(!p, 0)) return nullptr;
  if (__builtin_expect(p->upper != kFastMark.upper, 0)) return nullptr;
  return reinterpret_cast<const FastCtype *>(p + h->case_pair_count + 1);
}

// Whether the table reads text of `tree` (the handle's class tree): then
// the root takes every byte below cls_limit whole.
inline bool reads(const FastCtype *f, const multi_t *tree) { return f && f->ctype_tree == tree; }

// The leaf that holds a value of up to three bytes at or above the part's
// limit (`lead` is cls_lead or cas_lead); the value is there when its flag
// completes it.
__attribute__((always_inline)) inline const FastLeaf &leaf_of(const FastCtype *f, const uint32_t *lead, vl_wchar v) {
  const uint16_t unit = f->rows[static_cast<uint32_t>(lead[v >> 16] + (v >> 8))];
  return *reinterpret_cast<const FastLeaf *>(reinterpret_cast<const unsigned char *>(f->leaves) + size_t{unit} * kLeafUnit);
}

// Flags that complete nothing: leaf 0 of every table.
inline constexpr unsigned char kNoFlags[256] = {};

// Rows for a handle without the table: row 0 only, each lead's entry less
// 256 times the lead as in a table, and leaf 0.
struct NoRows {
  uint16_t row[256];
  uint32_t lead[256];
  FastLeaf leaf;
};
constexpr NoRows make_no_rows() {
  NoRows n{};
  for (uint32_t b = 0; b < 256; ++b) n.lead[b] = 0u - 256u * b;
  n.leaf = {kNoFlags, nullptr};
  return n;
}
inline constexpr NoRows kNoRows = make_no_rows();

// The class rows as a reader of text uses them. A handle without the table
// gets rows that name only leaf 0, so every character takes the walk.
class TextRows {
 public:
  explicit TextRows(const FastCtype *f)
      : rows_(f ? f->rows : kNoRows.row),
        lead_(f ? f->cls_lead : kNoRows.lead),
        under_(rows_ + lead_[0]),
        leaves_(f ? reinterpret_cast<const unsigned char *>(f->leaves) : reinterpret_cast<const unsigned char *>(&kNoRows.leaf)),
        ascii_(f && f->cls_limit >= 0x80) {}

  // Whether the root takes every byte below 0x80 as a character of its own.
  bool ascii() const { return ascii_; }

  // The character of two or three bytes at `p`: its length with its value
  // (the bytes folded) in `v`, or 0 when the rows cannot tell (a character
  // of one or four bytes, bytes that are no character, a node the table
  // left out), and the caller walks. The rows name a node under a lead
  // only where the tree leads there, so a completing flag means the walk
  // completes on the same bytes. `p[0]` is 0x80 or above; `p[2]` is read
  // only when `p[1]` is not zero, so a terminated text is not read past
  // its terminator.
  __attribute__((always_inline)) int32_t read(const unsigned char *p, vl_wchar &v) const {
    const unsigned b0 = p[0], b1 = p[1];
    if (two(b0, b1)) {
      v = b0 << 8 | b1;
      return 2;
    }
    if (!b1) return 0;
    const unsigned b2 = p[2];
    if (!three(b0, b1, b2)) return 0;
    v = b0 << 16 | b1 << 8 | b2;
    return 3;
  }

  // Whether the bytes complete a character of two (three) bytes.
  bool two(unsigned b0, unsigned b1) const { return flags(under_[b0])[b1] == VL_MULTI_COMPLETE; }
  bool three(unsigned b0, unsigned b1, unsigned b2) const {
    return flags(rows_[static_cast<uint32_t>(lead_[b0] + (b0 << 8 | b1))])[b2] == VL_MULTI_COMPLETE;
  }

 private:
  const unsigned char *flags(uint16_t unit) const {
    return reinterpret_cast<const FastLeaf *>(leaves_ + size_t{unit} * kLeafUnit)->flags;
  }

  const uint16_t *rows_;
  const uint32_t *lead_;
  const uint16_t *under_;  // the entries of the nodes under each lead byte
  const unsigned char *leaves_;
  bool ascii_;
};

}  // namespace vls::ctype

#endif
