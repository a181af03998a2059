// Shared pieces of the vls verbs: options, the locale, messages, and the
// text written to the terminal.
#pragma once
#include <cstdio>
#include <string>
#include <vector>

#include <vls/libvls.h>

namespace vlscli {

enum { kOk = 0, kDataError = 1, kUsageError = 2 };

// A verb's parsed command line: -L NAME, --raw and --help (-h) are common
// to all.
struct Args {
  const char *verb = "";
  const char *locale = nullptr;  // -L
  bool help = false;
  bool raw = false;                     // --raw: the locale's own bytes
  std::vector<std::string> flags;       // short options seen ("-r", "-f" ...), with values in values
  std::vector<std::string> values;      // value of each flag ("" for none)
  std::vector<std::string> operands;
  bool has(const char *flag) const;
  const char *value(const char *flag) const;  // last value, or null
};

// Parses argv[first..] for a verb. `with_value` lists the short options that
// take a value ("L" is always one); `plain` the letters of those that do
// not, then their long forms ("ruf--stats--progress"). Options stop
// at "--" or at the first operand when `stop_at_operand` is set. Prints a
// usage error and gives false on an unknown option.
bool parse(const char *verb, int argc, char **argv, int first, const char *with_value, const char *plain,
           bool stop_at_operand, Args *out);

// Error messages: "vls VERB: ..." on stderr.
void error(const char *verb, const char *fmt, ...) __attribute__((format(printf, 2, 3)));
int usage_error(const char *verb, const char *usage, const char *fmt, ...) __attribute__((format(printf, 3, 4)));

// A library error number in a few words ("no such file", "the date's month
// is out of range" ...), and a start-up status likewise.
const char *reason(uint32_t err);
const char *init_reason(int status);

// The library's name of a codeset given by any of its usual names
// ("ISO-8859-1", "iso88591", "EUC-JP", "eucJP", "Shift_JIS", "UTF-8"):
// "8859-1", "ujis", "sjis", "utf8". Other names come back in lower case.
std::string library_codeset(const char *name);

// The directory of this program ("" when /proc does not tell).
std::string self_dir();

// The locale of a verb: -L NAME (a specification, a bare language such as
// de_DE, or a file name), else the client's settings through start-up.
// Null after an error message that says what failed and why.
vl_locale_t *open_locale(const char *verb, const char *name);
void close_locale(vl_locale_t *h);

// A shipped locale: its specification with the library's codeset name, and
// its file below vls/lc11.
struct Shipped {
  std::string spec;     // ll_TT.codeset[@modifier]
  std::string codeset;  // registry name
  std::string file;     // ll_tt/xxxx[mmmm].lco
};
std::vector<Shipped> shipped_locales();

// The informational header lines of a compiled .lco or .cvo file (the
// lines after HEADER_LINES= that the library's readers skip: SOURCE=,
// CHARMAP= or TARGET=, GENERATOR=), joined by ", " ("" when unreadable).
std::string file_info(const std::string &path);

// Text for people goes out in the terminal's codeset: the codeset of the
// user's environment (LC_ALL, LC_CTYPE, LANG) when the library ships a
// conversion to it from the locale's codeset, else the locale's own bytes.
// With `raw`, always the locale's own bytes.
void terminal_open(vl_locale_t *h, bool raw);
// Writes text of the locale's codeset to standard output (a character
// that the terminal's codeset lacks becomes "?").
void put(const char *text, size_t n);
inline void put(const std::string &s) { put(s.data(), s.size()); }
// Text typed in the terminal's codeset (an operand), in the locale's
// codeset. False when a character of it is not in the locale's codeset.
bool from_terminal(const std::string &in, std::string *out);
void terminal_close();

// Reads a whole stream or file ("-" is standard input). False after a
// message naming the file.
bool read_all(const char *verb, const char *path, std::string *out);

// Work on big input: with --stats a summary on standard error at the end
// (bytes in and out, seconds, throughput, peak memory); progress lines on
// standard error while the work takes more than a few seconds and standard
// error is a terminal, or from the start with --progress.
class Meter {
 public:
  Meter(const char *verb, const Args &a);
  // Progress: `what` ("reading", "keys", "sorting" ...), done of total (total
  // 0: unknown) in `unit` ("MB", "lines").
  void tick(const char *what, double done, double total, const char *unit);
  void done();  // clears the progress line; prints the summary with --stats
  long long in = 0, out = 0;  // bytes

 private:
  double elapsed() const;
  const char *verb_;
  bool stats_, forced_, tty_;
  bool shown_ = false;
  double start_ = 0, last_ = 0;
  const char *last_what_ = nullptr;
};

const char *kelvanixdir();
// Where KELVANIXDIR came from when it was not set: null when it was set.
extern const char *kelvanixdir_found;
// Sets KELVANIXDIR, when unset, to the compiled tree beside the program.
void find_kelvanixdir();

int verb_locale(int argc, char **argv);
int verb_iconv(int argc, char **argv);
int verb_sort(int argc, char **argv);
int verb_printf(int argc, char **argv);
int verb_money(int argc, char **argv);
int verb_decimal(int argc, char **argv);
int verb_date(int argc, char **argv);
int verb_env(int argc, char **argv);

}  // namespace vlscli
