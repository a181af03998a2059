// vls-localedef: compiles a POSIX locale source and a charmap into a
// whole-locale ".lco" file. Shared declarations of the compiler's parts:
// the charmap reader, the locale source reader, the codeset name table
// and the writer.
#ifndef VLS_LOCALEDEF_LDEF_H
#define VLS_LOCALEDEF_LDEF_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

namespace ldef {

constexpr uint32_t kNoUcs = 0xFFFFFFFFu;

// A failure in an input file: the message names the file and the line.
class Error : public std::runtime_error {
 public:
  Error(const std::string &file, int line, const std::string &msg)
      : std::runtime_error(file + (line > 0 ? ":" + std::to_string(line) : std::string()) + ": " + msg) {}
  explicit Error(const std::string &msg) : std::runtime_error(msg) {}
};

// Warnings go to stderr unless silenced; the count decides nothing.
void warn(const std::string &file, int line, const std::string &msg);
extern bool g_verbose;
extern bool g_quiet;

// Reads a whole file, inflating it first when it is gzip data.
std::string read_file(const std::string &path);

// A character as a source names it: by code point (<Uxxxx> or a literal
// character), by another symbolic name, or by its bytes (an escape such as
// /xa4 in a string).
struct CharRef {
  uint32_t ucs = kNoUcs;
  std::string name;   // symbolic name without the angle brackets
  std::string bytes;  // literal bytes in the charmap's encoding
};

// Code point of a name of the form Uxxxx / Uxxxxxxxx, or kNoUcs.
uint32_t ucs_of_name(const std::string &name);

// ---- charmap -------------------------------------------------------------------

struct CharmapEntry {
  std::string bytes;      // 1 to 4 bytes
  uint32_t ucs = kNoUcs;  // from a <Uxxxx> name, else kNoUcs
  std::string name;
  int width = 1;
};

struct Charmap {
  std::string path;
  std::string code_set_name;
  std::vector<std::string> aliases;
  int mb_cur_min = 1;
  int mb_cur_max = 1;
  int width_default = 1;
  std::vector<CharmapEntry> chars;  // file order, one entry per byte sequence
  std::unordered_map<uint32_t, size_t> by_ucs;
  std::unordered_map<std::string, size_t> by_name;
  std::unordered_map<std::string, size_t> by_bytes;

  // The entry a reference stands for, or null when the charmap lacks it.
  const CharmapEntry *find(const CharRef &ref) const;
  const CharmapEntry *find_ucs(uint32_t ucs) const;
  int max_length() const;
};

Charmap read_charmap(const std::string &path);

// ---- locale source --------------------------------------------------------------

enum class TokKind { Ident, Number, Symbol, String, Ellipsis, Semi, Comma, LParen, RParen, Char, Other };

struct Token {
  TokKind kind = TokKind::Other;
  std::string text;            // identifier, number, symbol name, ellipsis text
  std::vector<CharRef> chars;  // String: its characters; Char: one character; Symbol: the character
  int step = 1;                // Ellipsis: the step of ..(n)..
};

struct Statement {
  std::string file;
  int line = 0;
  std::string keyword;
  std::vector<Token> args;
  // A line of a translit_start ... translit_end block. Its keyword is
  // "include", "default_missing" or "translit_ignore", or empty for a
  // transliteration, whose tokens are all in args.
  bool translit = false;
};

enum Category { CAT_CTYPE, CAT_COLLATE, CAT_NUMERIC, CAT_MONETARY, CAT_TIME, CAT_MESSAGES, CAT_COUNT };

// Finds and parses locale sources, follows "copy", and gives each wanted
// category as the flat list of its statements.
class SourceSet {
 public:
  explicit SourceSet(std::vector<std::string> dirs) : dirs_(std::move(dirs)) {}
  // The statements of a category of the named locale (a path or a name
  // found in the search directories), with copies expanded in place.
  std::vector<Statement> category(const std::string &locale, Category cat);
  // Whether the locale defines the category at all (directly or by copy).
  bool has_category(const std::string &locale, Category cat);
  std::string resolve(const std::string &name, const std::string &from_dir) const;
  // A source held in memory under a name that no path can take.
  void add_text(const std::string &name, std::string text) { texts_[name] = std::move(text); }

 private:
  struct Parsed {
    std::string path;
    bool present[CAT_COUNT] = {};
    std::vector<Statement> cats[CAT_COUNT];
  };
  const Parsed &parse(const std::string &path);
  void expand(const std::string &path, Category cat, std::vector<Statement> &out, std::vector<std::string> &stack);
  std::vector<std::string> dirs_;
  std::map<std::string, std::string> texts_;
  std::map<std::string, std::unique_ptr<Parsed>> files_;
};

// ---- codeset names ---------------------------------------------------------------

// The library's codeset name for a charmap's code_set_name (or one of its
// aliases), or "" when the table has none.
std::string library_codeset_name(const Charmap &cm);
struct CodesetRow {
  const char *charmap;
  const char *library;
};
extern const CodesetRow kCodesetTable[];

// ---- the compiled locale ---------------------------------------------------------------

struct CompileOptions {
  std::string locale;       // -i
  std::string charmap;      // -f
  std::string codeset;      // --codeset: the library's name, overrides the table
  std::string registry;     // --registry: checks the name and the output path
  std::vector<std::string> include_dirs;
  std::vector<std::string> charmap_dirs;
  std::string output;
  bool uncompressed = false;
};

// ---- LC_COLLATE ------------------------------------------------------------------

// What the collation compiler had to give up, for -v and for the checker.
struct CollateReport {
  int passes = 0;
  long rows = 0, expansions = 0, elements = 0;
  std::vector<long> values;        // distinct weights of each pass before folding
  long undefined = 0;              // characters the order does not name
  long unknown_weights = 0;        // weights naming nothing in the order, dropped
  long composite = 0;              // character weights of several places that no characters
                                   // spell, ranked as one weight
  long element_composite = 0;      // likewise for collating elements
  long exp_cut = 0;                // expansions cut to 15 characters
  long folded_lossless = 0;        // places folded where code order keeps their order
  long folded_lossy = 0;           // places in folded values where it does not
};

// The LC_COLLATE section (behind its marker line) from the statements of
// the source's LC_COLLATE.
std::string collate_section(const Charmap &cm, const std::vector<Statement> &sts, bool compress,
                            CollateReport *report = nullptr);

// Compiles and writes the file; throws Error.
void compile(const CompileOptions &opt);

}  // namespace ldef

#endif
