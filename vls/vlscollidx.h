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

}  // namespace vls::coll

#endif
