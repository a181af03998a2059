// The writer of conversion object files (".cvo"), shared by the conversion
// compiler and the test fixtures. Trees are built and printed by the
// library's own byte tree functions, as for locale objects.
#ifndef VLS_CVOWRITER_H
#define VLS_CVOWRITER_H

#include <cstdint>
#include <string>
#include <vector>

namespace cvow {

// Flag bits of an entry (the low three bits count the target bytes and are
// filled in by the writer).
enum : uint8_t {
  kTerminator = 0x08,  // ends a conversion that has no input length
  kMapped = 0x10,      // a mapping with no other property
  kSetFlag = 0x20,     // converting it sets the caller's flag
  kShifted = 0x40,     // the target is in its shifted state behind it
  kToggle = 0x80,      // toggles the source state
};

// One source character: its bytes (in the tree's byte order), its flag bits
// 3-7 and its target bytes, most significant first. Flags 0 and no target
// bytes is "no mapping", which is also what every absent character is.
struct Entry {
  std::string source;
  uint8_t flags = kMapped;
  std::string target;
};

struct Object {
  int source_stateful = 0, target_stateful = 0;
  std::string shift[4];  // 0 enters the target's shifted state, 1 leaves it
  int target_min_len = 1, target_max_len = 1;
  int spare_len[2] = {0, 0};
  int source_min_len = 1, source_max_len = 1;
  int partial_map = 0;  // 0 asks the reader to build a byte table for single-byte pairs
  double expansion = 1.0;
  std::vector<std::string> info;  // extra header lines ("KEY=value"), skipped by the reader
  std::vector<Entry> entries;     // the unshifted source state
  std::vector<Entry> shifted;     // the shifted source state (written when source_stateful)
  bool compress = true;
};

// The whole file; false when a tree cannot be built or printed (*bad is then
// the index of the failing entry in entries, or entries.size() + its index in
// shifted, or the total when memory ran out or an entry is longer than
// target_max_len).
bool cvo_text(const Object &o, std::string &out, size_t *bad = nullptr);

}  // namespace cvow

#endif
