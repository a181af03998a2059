// Trees read in one load share their flag arrays. Not installed.
#ifndef VLS_VLSTREEPOOL_H
#define VLS_VLSTREEPOOL_H

#include <cstdint>

#include <vls/vlsmulti.h>

namespace vls {

// While one lives (the outermost on a thread counts), the byte trees read
// in compressed form on this thread keep one copy of each distinct flag
// array, and of the offsets that follow from it, for all of them: the
// ctype, case and collation trees of a UTF-8 locale have the same few
// hundred. The copies go with the last tree that uses them; a tree read
// outside any scope keeps its own.
class TreeLoadScope {
 public:
  TreeLoadScope();
  ~TreeLoadScope();
  TreeLoadScope(const TreeLoadScope &) = delete;
  TreeLoadScope &operator=(const TreeLoadScope &) = delete;

 private:
  bool outermost_;
};

// The largest 16-bit value that begins a row of the block in which a tree
// read in compressed form keeps its data arrays (their rows and the
// default rows around them: every row of every one of its arrays, the
// root's aside, is one of these); -1 for a tree without such a block.
int32_t packed_rows_max(const multi_t *t);

}  // namespace vls

#endif
