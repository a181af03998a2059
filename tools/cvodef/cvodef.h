// vls-cvodef: compiles a pair of codesets into a codeset conversion object
// (".cvo"). Shared declarations of its parts: the codesets (charmaps,
// fixed-width Unicode, stateful descriptions) and the pairing.
#ifndef VLS_CVODEF_H
#define VLS_CVODEF_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "cvowriter.h"

namespace cvodef {

// One character of a codeset: its bytes in the tree's order (most
// significant first for the fixed-width Unicode codesets), its Unicode
// value (kNone when the charmap names it otherwise) and the shift state
// it is written in (0 unshifted, 1 shifted).
struct Char {
  std::string bytes;
  uint32_t ucs;
  int state = 0;
};
constexpr uint32_t kNone = 0xFFFFFFFFu;

struct Codeset {
  std::string label;  // as the command line named it
  std::string name;   // the library's codeset name
  std::string origin; // the file it came from, or "built in"
  int unicode = 0;    // 2 or 4: fixed-width little-endian Unicode
  bool stateful = false;
  std::string seq[4];  // 0 enters the shifted state, 1 leaves it, 2 the designator
  std::vector<Char> chars;
  std::unordered_map<uint32_t, size_t> by_ucs;  // first character of each value; not for Unicode
  int min_len = 1, max_len = 1;

  // The character a Unicode value is written as, or null.
  const Char *find(uint32_t ucs, Char &scratch) const;
};

struct Options {
  std::string from, to;  // -f, -t
  std::string from_name, to_name;  // --from-name, --to-name: the library's names
  std::vector<std::string> charmap_dirs, desc_dirs;
  std::string registry;
  std::vector<std::string> outputs, reverse_outputs;  // OUTPUT..., -r OUTPUT
  bool uncompressed = false;
};

extern bool g_verbose, g_quiet;
void warn(const std::string &msg);

// Loads a codeset named on the command line: UCS-2LE / UCS-4LE, a
// description (.desc) or a charmap. Throws ldef::Error.
Codeset load_codeset(const Options &opt, const std::string &label, const std::string &name_override);

// The conversion object from one codeset to another, and what it left out.
struct PairReport {
  long mapped = 0, unmapped = 0;
};
cvow::Object build_pair(const Codeset &from, const Codeset &to, bool compress, PairReport &rep);

}  // namespace cvodef

#endif
