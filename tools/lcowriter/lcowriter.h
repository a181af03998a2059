// The writer of locale object files (".lco"), shared by the locale compiler
// and the test fixtures: the frame, the LC_CTYPE section with its two trees,
// and the counted items of the other sections. Trees are built and printed
// by the library's own byte tree functions, so that what is written is
// exactly what the library's reader expects.
#ifndef VLS_LCOWRITER_H
#define VLS_LCOWRITER_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <vls/vls.h>

namespace lcow {

// One insert into a tree of 16-bit rows: a character's bytes and its value,
// or no value for the flags only. A later row of the same bytes wins.
struct Row {
  std::string bytes;
  uint16_t value = 0;
  bool has_value = true;
};

// Four hexadecimal digits, the form the locale reader takes for a row.
int write_u16(void *stream, const void *row);

// A tree of the rows, compressed on request; null on failure, with *bad
// the index of the row that could not be inserted (rows.size() when
// memory ran out).
multi_t *build_tree(const std::vector<Row> &rows, bool compress, size_t *bad = nullptr);
// The textual form of a tree of 16-bit rows; false when it cannot be printed.
bool tree_text(multi_t *tree, std::string &out);
// Both in one; false with *bad as above.
bool tree_text(const std::vector<Row> &rows, bool compress, std::string &out, size_t *bad = nullptr);

struct Ctype {
  std::vector<Row> class_rows;                            // class masks
  std::vector<std::pair<uint32_t, std::string>> classes;  // bit number, name
  std::vector<Row> case_rows;                             // indexes into pairs, from 1; 0 is none
  std::vector<std::pair<vl_wchar, vl_wchar>> pairs;       // upper, lower
  std::string tail = "\n";                                // rest of the last pair line (the expansion)
  bool compress = true;
};
// The LC_CTYPE section, behind its marker line; false as tree_text.
bool ctype_section(const Ctype &c, std::string &out, size_t *bad = nullptr);

// A counted string: byte count, a blank, two hex digits a byte, line feed.
std::string str_item(const std::string &bytes);
// A counted list: the count line and that many string items.
std::string list_item(const std::vector<std::string> &strings);
// Group sizes: the count and the sizes on one line.
std::string group_item(const std::vector<long> &sizes);
// The frame: the three header lines, the informational lines, the codeset.
std::string header(const std::string &codeset, const std::vector<std::string> &info);

}  // namespace lcow

#endif
