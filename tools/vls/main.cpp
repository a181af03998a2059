// vls: the library's services at the shell, one verb each.
//
//   vls locale | iconv | sort | printf | money | decimal | date | env | compile
//
// Every verb takes --help and -L NAME (a locale specification such as
// ja_JP.ujis or a file name such as ja_jp/e007.lco); without -L the
// client's settings decide (start-up in mode 1). Exit status: 0 success,
// 1 a data error, 2 a usage error.
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "common.h"

using namespace vlscli;

namespace {

const char kUsage[] =
    "usage: vls VERB [ARGS...]   (vls VERB --help for each)\n"
    "verbs:\n"
    "  locale [-a | -m | -k KEYWORD... | CATEGORY...]   what the locale holds\n"
    "  iconv -f FROM -t TO [-c] [-o FILE] [FILE...]      convert between codesets (-l: pairs)\n"
    "  sort [-r] [-u] [-f] [FILE...]                     lines in the locale's order\n"
    "  printf FORMAT ARG...                              numbers in the locale's conventions\n"
    "  money [--parse] FORMAT VALUE...                   money text and back\n"
    "  decimal [-r N] [-x] EXPR                          exact decimal arithmetic\n"
    "  date [-d DATE] [+FORMAT]                          a date in the locale's words\n"
    "  env [KEY...]                                      settings and where they come from\n"
    "  compile locale|cvo ARGS...                        the locale and conversion compilers\n"
    "common options: -L NAME  a locale: de_DE, de_DE.ISO-8859-1, ja_JP.eucJP, de_DE.8859-1 or a file\n"
    "                         such as de_de/0333.lco (default: the client's settings, vls env)\n"
    "                --raw    write the locale's own bytes, not the terminal's codeset\n"
    "                --unicode  (before or right after the verb) answer through the Unicode bridge of the\n"
    "                         tree (vls/dll, vls/etc) where the locale or conversion has one\n"
    "The compiled locales are read from $KELVANIXDIR, else from the tree beside this program.\n";


int verb_compile(int argc, char **argv) {
  const char *usage = "vls compile locale ARGS... | vls compile cvo ARGS...";
  if (argc < 3 || strcmp(argv[2], "--help") == 0 || strcmp(argv[2], "-h") == 0) {
    if (argc < 3) return usage_error("compile", usage, "which compiler: locale or cvo");
    printf("usage: %s\n  forwards ARGS to vls-localedef or vls-cvodef (see their --help)\n", usage);
    return kOk;
  }
  const char *tool;
  const char *subdir;
  if (strcmp(argv[2], "locale") == 0) {
    tool = "vls-localedef", subdir = "localedef";
  } else if (strcmp(argv[2], "cvo") == 0) {
    tool = "vls-cvodef", subdir = "cvodef";
  } else {
    return usage_error("compile", usage, "unknown compiler '%s'", argv[2]);
  }
  std::vector<char *> args;
  args.push_back(const_cast<char *>(tool));
  for (int i = 3; i < argc; ++i) args.push_back(argv[i]);
  args.push_back(nullptr);
  // Beside this program, then beside it in the build tree, then PATH.
  const std::string dir = self_dir();
  for (const std::string &p : {dir + "/" + tool, dir + "/../" + subdir + "/" + tool}) {
    if (!dir.empty() && access(p.c_str(), X_OK) == 0) {
      execv(p.c_str(), args.data());
      error("compile", "%s: %s", p.c_str(), strerror(errno));
      return kDataError;
    }
  }
  execvp(tool, args.data());
  error("compile", "%s: not found beside vls nor in PATH", tool);
  return kDataError;
}

}  // namespace

// --unicode, before the verb or first after it: the process declares
// itself able to use the Unicode bridge and asks for it as VL_USEVLU=1
// would, so that every verb runs through the bridge where the tree's map
// serves the locale or the pair of codesets. The bridge is bound at once so
// that a missing or broken one is reported here. False after a message.
bool take_unicode(int *argc, char **argv) {
  for (int i = 1; i < *argc && i <= 2; ++i) {
    if (strcmp(argv[i], "--unicode") != 0) continue;
    memmove(argv + i, argv + i + 1, static_cast<size_t>(*argc - i) * sizeof *argv);  // with the final null
    --*argc;
    setenv("VL_USEVLU", "1", 1);
    vl_usevlu(1);
    struct {
      uint32_t vl_errno;
    } rec{};
    if (vl_init_vlu(&rec) != 0) {
      fprintf(stderr, "vls: --unicode: the Unicode bridge of %s does not load: %s\n", kelvanixdir(),
              reason(rec.vl_errno));
      return false;
    }
    break;
  }
  return true;
}

int main(int argc, char **argv) {
  find_kelvanixdir();
  if (!take_unicode(&argc, argv)) return kDataError;
  if (argc < 2) {
    fputs(kUsage, stderr);
    return kUsageError;
  }
  const char *verb = argv[1];
  if (strcmp(verb, "--help") == 0 || strcmp(verb, "-h") == 0 || strcmp(verb, "help") == 0) {
    fputs(kUsage, stdout);
    return kOk;
  }
  struct {
    const char *name;
    int (*fn)(int, char **);
  } const verbs[] = {{"locale", verb_locale}, {"iconv", verb_iconv},   {"sort", verb_sort},
                     {"printf", verb_printf}, {"money", verb_money},   {"decimal", verb_decimal},
                     {"date", verb_date},     {"env", verb_env},       {"compile", verb_compile}};
  for (const auto &v : verbs)
    if (strcmp(verb, v.name) == 0) return v.fn(argc, argv);
  fprintf(stderr, "vls: unknown verb '%s'\n%s", verb, kUsage);
  return kUsageError;
}
