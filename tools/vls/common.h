// Shared pieces of the vls verbs: options, the locale, messages.
#pragma once
#include <cstdio>
#include <string>
#include <vector>

#include <vls/libvls.h>

namespace vlscli {

enum { kOk = 0, kDataError = 1, kUsageError = 2 };

// A verb's parsed command line: -L NAME and --help are common to all.
struct Args {
  const char *verb = "";
  const char *locale = nullptr;  // -L
  bool help = false;
  std::vector<std::string> flags;       // short options seen ("-r", "-f" ...), with values in values
  std::vector<std::string> values;      // value of each flag ("" for none)
  std::vector<std::string> operands;
  bool has(const char *flag) const;
  const char *value(const char *flag) const;  // last value, or null
};

// Parses argv[first..] for a verb. `with_value` lists the short options that
// take a value ("L" is always one); `plain` those that do not. Options stop
// at "--" or at the first operand when `stop_at_operand` is set. Prints a
// usage error and gives false on an unknown option.
bool parse(const char *verb, int argc, char **argv, int first, const char *with_value, const char *plain,
           bool stop_at_operand, Args *out);

// Error messages: "vls VERB: ..." on stderr.
void error(const char *verb, const char *fmt, ...) __attribute__((format(printf, 2, 3)));
int usage_error(const char *verb, const char *usage, const char *fmt, ...) __attribute__((format(printf, 3, 4)));

// The locale of a verb: -L NAME (a specification or a file name), else the
// client's settings through start-up. Null after an error message.
vl_locale_t *open_locale(const char *verb, const char *name);
void close_locale(vl_locale_t *h);

// Reads a whole stream or file ("-" is standard input). False after a
// message naming the file.
bool read_all(const char *verb, const char *path, std::string *out);

const char *kelvanixdir();
// KELVANIXDIR was unset and points at the build tree's data.
extern bool kelvanixdir_built_in;

int verb_locale(int argc, char **argv);
int verb_iconv(int argc, char **argv);
int verb_sort(int argc, char **argv);
int verb_printf(int argc, char **argv);
int verb_money(int argc, char **argv);
int verb_decimal(int argc, char **argv);
int verb_date(int argc, char **argv);
int verb_env(int argc, char **argv);

}  // namespace vlscli
