// Collation: the indexes the reader keeps behind the element index of
// elem_candidates (see vls::coll in vlsint.h), so that a multibyte
// comparison can tell with a load or two that no collating element starts
// at a character:
//   [element index][row count r][256 second flags][r row flags]
// A row flag is 1 when some element's first code has that row; a character
// without a row, or with a row at or beyond r, must be asked in full. The
// second flag of byte b is 1 when some element's second code has b as its
// lowest byte; all are 1 when some element is one character long.
// Not installed.
#ifndef VLS_VLSCOLLIDX_H
#define VLS_VLSCOLLIDX_H

#include <cstddef>
#include <cstdint>

#include "vlsint.h"

namespace vls::coll {

// Words (int32_t) of the whole elem_candidates block for `elems` elements
// and `rows` row flags.
inline size_t elem_block_words(int32_t elems, int32_t rows) {
  return elem_index_words(elems) + 1 + 64 + (static_cast<size_t>(rows > 0 ? rows : 0) + 3) / 4;
}
inline int32_t *elem_row_count(int32_t *cand) { return cand + elem_index_words(cand[kFlags]); }
inline int32_t elem_row_count(const int32_t *cand) { return cand[elem_index_words(cand[kFlags])]; }
inline const unsigned char *elem_second_flags(const int32_t *cand) {
  return reinterpret_cast<const unsigned char *>(cand + elem_index_words(cand[kFlags]) + 1);
}
inline const unsigned char *elem_row_flags(const int32_t *cand) { return elem_second_flags(cand) + 256; }

// Behind the pass table of pass 0 (vls::coll::pass_table_bytes) the reader
// keeps a table of the plain characters of multibyte text: every code of
// one byte and the two-byte codes kLead0..kLead0+3 followed by a byte of
// 0x80..0xBF (the Latin letters of UTF-8), 512 in all, indexed by
// fast_index. For each the comparisons find
//   word0   its word in pass 0, or 0 when it must take the general path
//           (no row, an expansion, a word of 0), or kFastElem when some
//           collating element starts with its code (elem_word0 then has
//           the word, for a character where no element can match);
//   term0   word0 with the byte 0 out of the table, so that a terminated
//           text meets its end on the table's unusual path;
//   plain   the codes of one byte that a first pass may pass on both
//           sides at once;
//   frag    per pass, the key bytes it writes (kFragNone when the general
//           path must write the key): the weight digits of its words,
//           then the code's digits when `tie` is set.
// A character of the text is its code by the LC_CTYPE tree, read per call;
// the table holds only what LC_COLLATE decides.
constexpr unsigned kLead0 = 0xC2;
constexpr int32_t kFastCodes = 512;
constexpr unsigned char kFragNone = 0xFF;
constexpr uint16_t kFastElem = 0x4000;  // no word of a plain character: expansions are not plain

struct Frag {
  unsigned char bytes[6];  // first, so that a key may copy all eight
  unsigned char len;       // weight bytes, or kFragNone
  unsigned char tie;       // the code's digits follow
};
static_assert(sizeof(Frag) == 8);

struct FastTable {
  int32_t built;        // 0: not made (take the general paths)
  int32_t passes;       // passes with frags
  int32_t forward;      // every pass runs forward
  int32_t key_dw;       // digits of a weight in a key
  int32_t lists_later;  // the handle's lists are made by vl_coll_lists
  int32_t sb_first;     // pass 0 runs forward over rows of single bytes
  const unsigned char *elem_second;  // elem_second_flags of the element index, or null without elements
  uint16_t word0[kFastCodes];       // kFastElem: see elem_word0
  uint16_t term0[kFastCodes];       // word0, but 0 for the byte 0 (the end of a terminated text)
  unsigned char sb_same[256];       // a single byte that two texts may pass together: no element starts with it, not 0
  // A code of one byte that two multibyte texts may pass together in pass
  // 0 where the root takes it whole: sb_same, and its word0 a plain word.
  unsigned char plain[256];
  uint16_t elem_word0[kFastCodes];  // the word of pass 0 alone
  unsigned char code_lo[kFastCodes][2];  // the code's last two key digits (codes 2..64517)
  // Behind: kFastCodes frags for each pass.
};

inline size_t fast_table_bytes(int32_t passes) {
  return sizeof(FastTable) + static_cast<size_t>(passes > 0 ? passes : 0) * sizeof(Frag) * kFastCodes;
}
inline const Frag *fast_frags(const FastTable *t, int32_t pass) {
  return reinterpret_cast<const Frag *>(t + 1) + static_cast<size_t>(pass) * kFastCodes;
}
inline Frag *fast_frags(FastTable *t, int32_t pass) {
  return reinterpret_cast<Frag *>(t + 1) + static_cast<size_t>(pass) * kFastCodes;
}
// The fast table behind pass 0's table, or null.
inline const FastTable *fast_table(const collate_category &c) {
  if (!c.exp_candidates[0]) return nullptr;
  const auto *t = reinterpret_cast<const FastTable *>(reinterpret_cast<const char *>(c.exp_candidates[0]) +
                                                       pass_table_bytes());
  return t->built ? t : nullptr;
}
inline FastTable *fast_table_slot(collate_category &c) {
  return reinterpret_cast<FastTable *>(reinterpret_cast<char *>(c.exp_candidates[0]) + pass_table_bytes());
}
// The index of a code of one byte, or of the two-byte code (lead, trail);
// -1 for a code outside the table.
inline int32_t fast_index2(unsigned lead, unsigned trail) {
  return (lead - kLead0) < 4u && (trail - 0x80u) < 64u
             ? static_cast<int32_t>(256 + (lead - kLead0) * 64 + (trail - 0x80u))
             : -1;
}
inline vl_wchar fast_code(int32_t index) {
  if (index < 256) return static_cast<vl_wchar>(index);
  const int32_t k = index - 256;
  return static_cast<vl_wchar>(((kLead0 + static_cast<unsigned>(k / 64)) << 8) | (0x80u + static_cast<unsigned>(k % 64)));
}

// Fills the fast table of a collation just read (its pass tables and
// element index made): see vlscoll.cpp.
void build_fast_table(vl_locale_t *h);

}  // namespace vls::coll

#endif
