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

}  // namespace vls::ctype

#endif
