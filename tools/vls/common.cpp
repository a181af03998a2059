#include "common.h"

#include <dirent.h>
#include <langinfo.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <clocale>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>

namespace vlscli {

bool Args::has(const char *flag) const {
  for (const std::string &f : flags)
    if (f == flag) return true;
  return false;
}

const char *Args::value(const char *flag) const {
  const char *v = nullptr;
  for (size_t i = 0; i < flags.size(); ++i)
    if (flags[i] == flag) v = values[i].c_str();
  return v;
}

void error(const char *verb, const char *fmt, ...) {
  fprintf(stderr, "vls %s: ", verb);
  va_list ap;
  va_start(ap, fmt);
  vfprintf(stderr, fmt, ap);
  va_end(ap);
  fputc('\n', stderr);
}

int usage_error(const char *verb, const char *usage, const char *fmt, ...) {
  fprintf(stderr, "vls %s: ", verb);
  va_list ap;
  va_start(ap, fmt);
  vfprintf(stderr, fmt, ap);
  va_end(ap);
  fprintf(stderr, "\nusage: %s\n", usage);
  return kUsageError;
}

namespace {

bool is_help(const char *a) { return strcmp(a, "--help") == 0 || strcmp(a, "-h") == 0; }

}  // namespace

bool parse(const char *verb, int argc, char **argv, int first, const char *with_value, const char *plain,
           bool stop_at_operand, Args *out) {
  out->verb = verb;
  // `plain` holds the letters of the short options, then the long ones
  // ("ruf--stats--progress").
  const char *longs = strstr(plain, "--");
  const size_t shorts = longs ? static_cast<size_t>(longs - plain) : strlen(plain);
  bool options = true;
  for (int i = first; i < argc; ++i) {
    const char *a = argv[i];
    if (options && is_help(a)) {
      out->help = true;
      continue;
    }
    if (options && strcmp(a, "--raw") == 0) {
      out->raw = true;
      continue;
    }
    if (options && strcmp(a, "--") == 0) {
      options = false;
      continue;
    }
    // "-" alone and negative numbers are operands.
    const bool looks_numeric = a[0] == '-' && (isdigit(static_cast<unsigned char>(a[1])) || a[1] == '.');
    if (!options || a[0] != '-' || a[1] == '\0' || looks_numeric) {
      out->operands.push_back(a);
      if (stop_at_operand) options = false;
      continue;
    }
    if (a[1] == '-') {  // long options other than --help: --parse and the like, as plain words
      const char *name = a + 2;
      std::string word = std::string("--") + name;
      if (strstr(plain, word.c_str())) {
        out->flags.push_back(word);
        out->values.push_back("");
        continue;
      }
      fprintf(stderr, "vls %s: unknown option '%s' (try 'vls %s --help')\n", verb, a, verb);
      return false;
    }
    for (const char *p = a + 1; *p; ++p) {
      const std::string flag = std::string("-") + *p;
      if (*p == 'L' || strchr(with_value, *p)) {
        const char *v = p[1] ? p + 1 : (i + 1 < argc ? argv[++i] : nullptr);
        if (v && is_help(v)) {  // "-L --help" asks for help; it names no locale
          out->help = true;
          break;
        }
        if (!v) {
          fprintf(stderr, "vls %s: option '%s' needs a value (try 'vls %s --help')\n", verb, flag.c_str(), verb);
          return false;
        }
        if (*p == 'L') out->locale = v;
        out->flags.push_back(flag);
        out->values.push_back(v);
        break;
      }
      if (*p == 'h') {
        out->help = true;
        continue;
      }
      if (*p != '-' && memchr(plain, *p, shorts)) {
        out->flags.push_back(flag);
        out->values.push_back("");
        continue;
      }
      fprintf(stderr, "vls %s: unknown option '%s' (try 'vls %s --help')\n", verb, flag.c_str(), verb);
      return false;
    }
  }
  return true;
}

const char *reason(uint32_t err) {
  switch (err) {
    case 0: return "unknown reason";
    case VL_EILSEQ: return "a byte sequence that is no character of the codeset";
    case VL_EBADPTR: return "a required value is missing";
    case VL_ENOMEM: return "out of memory";
    case VL_EBADCOUNT: return "a count out of range";
    case VL_EBADRANGE: return "a range that ends before it starts";
    case VL_ERANGE: return "a number out of range";
    case VL_EINVAL: return "an invalid name, or text that ends inside a character";
    case VL_ENOENT: return "no such file or name";
    case VL_EBADARG: return "an argument out of range";
    case VL_EBADFILE: return "the file is damaged or truncated";
    case VL_EMISMATCH: return "the categories name different codesets";
    case VL_EIO: return "a read or write error";
    case VL_E2BIG: return "the result is too long";
    case VL_EUNKNOWN: return "an unknown codeset name, or a format that ends too early";
    case VL_EEOF: return "end of file";
    case VL_EPARTIAL: return "the text ends inside a character";
    case VL_ENOTSUP: return "not supported by this locale or format";
    case VL_ETOODEEP: return "the file's tables are nested too deeply";
    case VL_EBADFORMAT: return "the format is malformed or does not fit the value";
    case VL_EFMT_FRACTION: return "the fraction of a second is out of range";
    case VL_EFMT_SECOND: return "the second is out of range";
    case VL_EFMT_MINUTE: return "the minute is out of range";
    case VL_EFMT_HOUR: return "the hour is out of range";
    case VL_EFMT_MDAY: return "the day of the month is out of range";
    case VL_EFMT_WDAY: return "the day of the week is out of range";
    case VL_EFMT_YDAY: return "the day of the year is out of range";
    case VL_EFMT_MONTH: return "the month is out of range";
    case VL_EFMT_YEAR: return "the year is out of range";
    case VL_ESCAN_FRACTION: case VL_ESCAN_SECOND: case VL_ESCAN_MINUTE: case VL_ESCAN_HOUR:
    case VL_ESCAN_MDAY: case VL_ESCAN_WDAY: case VL_ESCAN_MONTH: case VL_ESCAN_YEAR:
      return "a field of the date is missing";
    case VL_ESCAN_ERA: return "no era of that name or year";
    case VL_EMODIFIER: return "a bad modifier in the format";
    case VL_ESCAN_LITERAL: return "the text does not match the format";
    case VL_ESCAN_MONTHNAME: return "no month of that name";
    case VL_EERA: return "the locale's era text is malformed";
    case VL_EVERSION: return "the file is of another version";
  }
  return "an error of the library";
}

const char *init_reason(int status) {
  switch (status) {
    case VL_INIT_BADLOCALE: return "a locale setting names no usable locale";
    case VL_INIT_NOMEM: return "out of memory, or no conversion between the client's and the database's codesets";
    case VL_INIT_NOCONV: return "a conversion between the client's and the database's codesets cannot be loaded";
    case VL_INIT_NLSMISSING: return "DBNLS is on and a category setting is missing";
    case VL_INIT_BADMODE: return "a bad start-up mode";
    case VL_INIT_LOADFAIL: return "a locale of the settings cannot be loaded";
  }
  return "start-up failed";
}

// ---- codeset names ----------------------------------------------------------

namespace {

// The name folded to lower case with everything but letters and digits
// dropped: "ISO-8859-1", "iso8859_1" and "ISO88591" all give "iso88591".
std::string compact(const char *name) {
  std::string s;
  for (const char *p = name; *p; ++p)
    if (isalnum(static_cast<unsigned char>(*p))) s += static_cast<char>(tolower(static_cast<unsigned char>(*p)));
  return s;
}

// Compact forms of the usual names -> the library's names.
const struct {
  const char *compact;
  const char *name;
} kCodesetNames[] = {
    {"iso88591", "8859-1"},    {"latin1", "8859-1"},     {"iso88592", "8859-2"},   {"latin2", "8859-2"},
    {"iso88595", "8859-5"},    {"iso88596", "8859-6"},   {"iso88597", "8859-7"},   {"iso88598", "8859-8"},
    {"iso88599", "8859-9"},    {"iso885915", "8859-15"}, {"koi8r", "koi-8"},       {"koi8", "koi-8"},
    {"cp1251", "cp1251"},      {"windows1251", "cp1251"}, {"tis620", "thai620"},   {"shiftjis", "sjis"},
    {"sjis", "sjis"},          {"eucjp", "ujis"},        {"ujis", "ujis"},         {"euckr", "ksc"},
    {"gb2312", "gb"},          {"euccn", "gb"},          {"big5", "big5"},         {"utf8", "utf8"},
    {"ucs2le", "unicode"},     {"iso2022kr", "iso-2022-kr"},
};

}  // namespace

std::string library_codeset(const char *name) {
  const std::string c = compact(name);
  for (const auto &n : kCodesetNames)
    if (c == n.compact) return n.name;
  std::string s(name);
  for (char &ch : s) ch = static_cast<char>(tolower(static_cast<unsigned char>(ch)));
  return s;
}

// ---- the compiled tree ------------------------------------------------------

const char *kelvanixdir_found = nullptr;

const char *kelvanixdir() {
  const char *d = getenv("KELVANIXDIR");
  return d && *d ? d : ".";
}

namespace {

bool is_tree(const std::string &dir) {
  struct stat st;
  return stat((dir + "/vls/cm3/registry").c_str(), &st) == 0;
}


}  // namespace

// The directory of this program.
std::string self_dir() {
  char buf[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) return "";
  buf[n] = '\0';
  char *slash = strrchr(buf, '/');
  if (!slash) return "";
  *slash = '\0';
  return buf;
}

void find_kelvanixdir() {
  if (const char *d = getenv("KELVANIXDIR"); d && *d) return;
  // The program lies at <build>/tools/vls/vls in a build tree and at
  // <prefix>/bin/vls once installed.
  const std::string dir = self_dir();
  static std::string found;
  if (!dir.empty()) {
    for (const char *rel : {"/../../kelvanix", "/../kelvanix", "/../share/kelvanix", "/../lib/kelvanix"}) {
      if (is_tree(dir + rel)) {
        char real[PATH_MAX];
        found = realpath((dir + rel).c_str(), real) ? real : dir + rel;
        kelvanixdir_found = "found beside this program";
        break;
      }
    }
  }
  if (found.empty()) {
    found = VLS_DEFAULT_KELVANIXDIR;
    kelvanixdir_found = "default: the data this program was built with";
  }
  setenv("KELVANIXDIR", found.c_str(), 1);
}

// ---- shipped locales --------------------------------------------------------

namespace {

// Codeset number -> the registry's first name for it. The names "c" and
// "posix" stand for the whole C locale, not a codeset, and are passed over.
std::map<unsigned, std::string> registry_names() {
  std::map<unsigned, std::string> names;
  const std::string path = std::string(kelvanixdir()) + "/vls/cm3/registry";
  FILE *f = fopen(path.c_str(), "r");
  if (!f) return names;
  char line[512];
  while (fgets(line, sizeof line, f)) {
    char name[64];
    unsigned number;
    if (line[0] == '#' || sscanf(line, "%63s %u", name, &number) != 2) continue;
    for (char *p = name; *p; ++p) *p = static_cast<char>(tolower(static_cast<unsigned char>(*p)));
    if (strcmp(name, "c") == 0 || strcmp(name, "posix") == 0) continue;
    names.emplace(number, name);
  }
  fclose(f);
  return names;
}

}  // namespace

std::string file_info(const std::string &path) {
  FILE *f = fopen(path.c_str(), "rb");
  if (!f) return "";
  // The frame: FILE_TYPE=, COMPILER_VERSION=, HEADER_LINES=n, then the
  // rest of the n header lines.
  std::string out;
  char line[256];
  int total = 3;
  for (int i = 0; i < total && fgets(line, sizeof line, f); ++i) {
    line[strcspn(line, "\r\n")] = '\0';
    if (i == 2 && strncmp(line, "HEADER_LINES=", 13) == 0) total = std::clamp(atoi(line + 13), 3, 32);
    if (i < 3) continue;
    if (!out.empty()) out += ", ";
    out += line;
  }
  fclose(f);
  return out;
}

std::vector<Shipped> shipped_locales() {
  std::vector<Shipped> out;
  const auto names = registry_names();
  const std::string root = std::string(kelvanixdir()) + "/vls/lc11";
  DIR *d = opendir(root.c_str());
  if (!d) return out;
  while (dirent *e = readdir(d)) {
    if (e->d_name[0] == '.') continue;
    DIR *sub = opendir((root + "/" + e->d_name).c_str());
    if (!sub) continue;
    while (dirent *f = readdir(sub)) {
      const size_t n = strlen(f->d_name);
      if (n < 5 || strcmp(f->d_name + n - 4, ".lco") != 0) continue;
      const std::string fname = std::string(e->d_name) + "/" + f->d_name;
      char lt[8] = {}, cs[8] = {}, mod[8] = {};
      struct { uint32_t vl_errno; } scratch{0};
      if (vl_lc_fname2lc_pieces(&scratch, fname.c_str(), lt, cs, mod) != 0) continue;
      const unsigned number = static_cast<unsigned>(strtoul(cs, nullptr, 10));
      const auto it = names.find(number);
      Shipped s;
      s.codeset = it != names.end() ? it->second : cs;
      s.spec = std::string(lt) + "." + s.codeset + (mod[0] ? std::string("@") + mod : "");
      s.file = fname;
      out.push_back(s);
    }
    closedir(sub);
  }
  closedir(d);
  std::sort(out.begin(), out.end(), [](const Shipped &a, const Shipped &b) { return a.file < b.file; });
  return out;
}

// ---- the locale -------------------------------------------------------------

namespace {

// A short specification taken apart: ll_TT[.codeset][@modifier].
struct SpecParts {
  std::string lang_terr, codeset, modifier;
};

bool split_spec(const char *text, SpecParts *out) {
  const std::string s(text);
  if (s.size() < 5 || !isalpha(static_cast<unsigned char>(s[0])) || !isalpha(static_cast<unsigned char>(s[1])) ||
      s[2] != '_' || !isalpha(static_cast<unsigned char>(s[3])) || !isalpha(static_cast<unsigned char>(s[4])))
    return false;
  out->lang_terr = s.substr(0, 5);
  size_t i = 5;
  if (i < s.size() && s[i] == '.') {
    const size_t at = s.find('@', i);
    out->codeset = s.substr(i + 1, at == std::string::npos ? std::string::npos : at - i - 1);
    if (out->codeset.empty()) return false;
    i = at == std::string::npos ? s.size() : at;
  }
  if (i < s.size() && s[i] == '@') {
    out->modifier = s.substr(i + 1);
    if (out->modifier.empty()) return false;
    for (char c : out->modifier)
      if (!isalnum(static_cast<unsigned char>(c))) return false;
    i = s.size();
  }
  return i == s.size();
}

std::string lower(std::string s) {
  for (char &c : s) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return s;
}

// A bare language_TERRITORY's codeset where more than one is shipped and the
// first file would not be the usual choice.
const struct {
  const char *lang_terr, *codeset;
} kDefaultCodesets[] = {{"ja_jp", "ujis"}};

// The shipped file of a bare language (and modifier): the table's codeset,
// else the first file without a modifier in the language's directory, else
// its first file. Empty when none is shipped.
std::string default_file(const SpecParts &p, const std::vector<Shipped> &shipped) {
  const std::string dir = lower(p.lang_terr) + "/";
  const std::string mod = p.modifier.substr(0, 4);
  std::vector<const Shipped *> fits;
  for (const Shipped &s : shipped) {
    if (s.file.compare(0, dir.size(), dir) != 0) continue;
    const std::string rest = s.file.substr(dir.size() + 4);  // behind the four digits
    const std::string file_mod = rest.substr(0, rest.size() - 4);
    if (!mod.empty() && file_mod != mod) continue;
    fits.push_back(&s);
  }
  if (fits.empty()) return "";
  for (const auto &d : kDefaultCodesets)
    if (lower(p.lang_terr) == d.lang_terr)
      for (const Shipped *s : fits)
        if (s->codeset == d.codeset || s->spec.find(std::string(".") + d.codeset) != std::string::npos)
          return s->file;
  if (mod.empty())
    for (const Shipped *s : fits)
      if (s->spec.find('@') == std::string::npos) return s->file;
  return fits.front()->file;
}

std::string shipped_for(const std::string &lang_terr, const std::vector<Shipped> &shipped) {
  std::string list;
  const std::string dir = lower(lang_terr) + "/";
  for (const Shipped &s : shipped)
    if (s.file.compare(0, dir.size(), dir) == 0) list += (list.empty() ? "" : ", ") + s.spec;
  return list;
}

vl_locale_t *try_load(const std::string &name, uint32_t *err) {
  vl_locale_t *h = nullptr;
  if (vl_lc_load(&h, name.c_str(), nullptr, nullptr) == 0) return h;
  *err = h ? h->vl_errno : 0;
  if (h) vl_lc_unload(h);
  return nullptr;
}

}  // namespace

vl_locale_t *open_locale(const char *verb, const char *name) {
  if (!name) {
    const int rc = initvls(1);
    if (rc != 0 || !vls_env.locale) {
      const int status = rc != 0 ? rc : getiniterr();
      error(verb, "starting from the client's settings (vls env shows them): %s", init_reason(status));
      return nullptr;
    }
    return vls_env.locale;
  }
  const std::string lc = std::string(kelvanixdir()) + "/vls/lc11";
  uint32_t err = 0;
  const size_t len = strlen(name);
  if (strchr(name, '/') || (len > 4 && strcmp(name + len - 4, ".lco") == 0)) {
    if (vl_locale_t *h = try_load(name, &err)) return h;
    error(verb, "cannot load the locale file %s (below %s): %s", name, lc.c_str(),
          err == VL_ENOENT ? "no such file" : reason(err));
    return nullptr;
  }
  SpecParts p;
  if (!split_spec(name, &p)) {
    if (vl_locale_t *h = try_load(name, &err)) return h;  // a long form, or C and POSIX
    error(verb,
          "cannot load the locale '%s': not a locale name (write language_TERRITORY[.codeset][@modifier] "
          "such as de_DE or de_DE.ISO-8859-1, or a file name such as de_de/0333.lco)",
          name);
    return nullptr;
  }
  const auto shipped = shipped_locales();
  if (p.codeset.empty()) {
    const std::string file = default_file(p, shipped);
    if (file.empty()) {
      error(verb, "cannot load the locale '%s': none is shipped for %s in %s (vls locale -a lists them)", name,
            p.lang_terr.c_str(), lc.c_str());
      return nullptr;
    }
    if (vl_locale_t *h = try_load(file, &err)) return h;
    error(verb, "cannot load the locale '%s' from %s/%s: %s", name, lc.c_str(), file.c_str(), reason(err));
    return nullptr;
  }
  if (vl_locale_t *h = try_load(name, &err)) return h;
  // The codeset by the library's name: eucJP, Shift_JIS, ISO8859-1 ...
  const std::string codeset = library_codeset(p.codeset.c_str());
  const std::string respelled = p.lang_terr + "." + codeset + (p.modifier.empty() ? "" : "@" + p.modifier);
  if (respelled != name)
    if (vl_locale_t *h = try_load(respelled, &err)) return h;
  // Why it failed, in words.
  struct { uint32_t vl_errno; } scratch{0};
  const uint16_t number = vl_cs_name2cs_num(&scratch, codeset.c_str(), nullptr);
  const std::string others = shipped_for(p.lang_terr, shipped);
  const std::string hint = others.empty() ? std::string(" (vls locale -a lists the shipped locales)")
                                          : " (shipped for " + p.lang_terr + ": " + others + ")";
  if (number == VL_CS_NONE) {
    error(verb, "cannot load the locale '%s': the registry %s/vls/cm3/registry knows no codeset '%s'%s", name,
          kelvanixdir(), p.codeset.c_str(), hint.c_str());
    return nullptr;
  }
  if (p.modifier.size() > 4) {
    error(verb, "cannot load the locale '%s': a modifier has at most 4 characters", name);
    return nullptr;
  }
  char file[64];
  snprintf(file, sizeof file, "%s/%04x%s.lco", lower(p.lang_terr).c_str(), number, p.modifier.c_str());
  struct stat st;
  if (stat((lc + "/" + file).c_str(), &st) != 0) {
    error(verb, "cannot load the locale '%s': it is not shipped (no file %s/%s)%s", name, lc.c_str(), file,
          hint.c_str());
    return nullptr;
  }
  error(verb, "cannot load the locale '%s' from %s/%s: %s", name, lc.c_str(), file, reason(err));
  return nullptr;
}

void close_locale(vl_locale_t *h) {
  if (h && h != vls_env.locale) vl_lc_unload(h);
}

// ---- the terminal -----------------------------------------------------------

namespace {

conv_object *g_to_terminal = nullptr;    // locale -> terminal, or null: raw bytes
conv_object *g_from_terminal = nullptr;  // terminal -> locale

// The codeset of the user's environment: the C library's answer for its
// LC_CTYPE, or the codeset part of LC_ALL, LC_CTYPE or LANG when the C
// library does not know that locale.
std::string terminal_codeset() {
  if (setlocale(LC_CTYPE, "")) {
    const char *cs = nl_langinfo(CODESET);
    setlocale(LC_CTYPE, "C");
    return cs ? cs : "";
  }
  for (const char *var : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char *v = getenv(var);
    if (!v || !*v) continue;
    const char *dot = strchr(v, '.');
    if (!dot) return "";
    std::string cs(dot + 1);
    return cs.substr(0, cs.find('@'));
  }
  return "";
}

// Converts a whole text; a character that cannot be converted becomes "?"
// when `substitute`, else the result is false.
bool convert(conv_object *cv, const std::string &in, std::string *out, bool substitute) {
  out->clear();
  if (in.empty()) return true;
  conv_state state{1, 1, 0, 0};
  const char *src = in.data();
  int32_t left = static_cast<int32_t>(in.size());
  std::string buf(static_cast<size_t>(std::max<int32_t>(64, vl_cv_outbuflen(cv, left) + 16)), '\0');
  while (left > 0) {
    char *dst = buf.data();
    int32_t room = static_cast<int32_t>(buf.size());
    int32_t flag = 0;
    cv->vl_errno = 0;
    const int rc = vl_cv_mconv(cv, &state, &src, &left, &dst, &room, &flag);
    out->append(buf.data(), static_cast<size_t>(dst - buf.data()));
    state.first = 0;
    if (rc == 0) continue;
    if (cv->vl_errno == VL_E2BIG) {
      buf.resize(buf.size() * 2);
      continue;
    }
    if (!substitute) return false;
    *out += '?';
    const int32_t skip = std::min(left, std::max<int32_t>(1, cv->source_min_len));
    src += skip;
    left -= skip;
  }
  return true;
}

}  // namespace

void terminal_open(vl_locale_t *h, bool raw) {
  if (raw || !h) return;
  const std::string term = terminal_codeset();
  const char *mine = vl_nl_langinfo(h, VL_CODESET);
  if (term.empty() || !mine || !*mine) return;
  const std::string theirs = library_codeset(term.c_str());
  // A failed load hands back an object that holds the reason: it is
  // released like a loaded one.
  auto load = [](const char *from, const char *to) -> conv_object * {
    conv_object *cv = nullptr;
    if (vl_cv_load(&cv, from, to, nullptr, nullptr) == 1) return cv;
    if (cv) vl_cv_unload(cv);
    return nullptr;
  };
  if ((g_to_terminal = load(mine, theirs.c_str()))) g_from_terminal = load(theirs.c_str(), mine);
}

void put(const char *text, size_t n) {
  if (!g_to_terminal) {
    fwrite(text, 1, n, stdout);
    return;
  }
  std::string out;
  convert(g_to_terminal, std::string(text, n), &out, true);
  fwrite(out.data(), 1, out.size(), stdout);
}

bool from_terminal(const std::string &in, std::string *out) {
  if (!g_from_terminal) {
    *out = in;
    return true;
  }
  return convert(g_from_terminal, in, out, false);
}

void terminal_close() {
  if (g_to_terminal) vl_cv_unload(g_to_terminal);
  if (g_from_terminal) vl_cv_unload(g_from_terminal);
  g_to_terminal = g_from_terminal = nullptr;
}

bool read_all(const char *verb, const char *path, std::string *out) {
  const bool std_in = strcmp(path, "-") == 0;
  FILE *f = std_in ? stdin : fopen(path, "rb");
  if (!f) {
    error(verb, "cannot read %s: %s", path, strerror(errno));
    return false;
  }
  char buf[65536];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0) out->append(buf, n);
  const bool bad = ferror(f);
  if (!std_in) fclose(f);
  if (bad) {
    error(verb, "cannot read %s: a read error", path);
    return false;
  }
  return true;
}

namespace {

double now() {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

}  // namespace

Meter::Meter(const char *verb, const Args &a)
    : verb_(verb), stats_(a.has("--stats")), forced_(a.has("--progress")), tty_(isatty(2) == 1) {
  start_ = now();
}

double Meter::elapsed() const { return now() - start_; }

void Meter::tick(const char *what, double done, double total, const char *unit) {
  const double t = now();
  if (!forced_ && (!tty_ || t - start_ < 2.0)) return;
  if (shown_ && t - last_ < 0.25 && what == last_what_) return;  // a new phase always shows
  last_what_ = what;
  last_ = t;
  shown_ = true;
  if (total > 0)
    fprintf(stderr, "\rvls %s: %s %.0f of %.0f %s (%.0f%%)  ", verb_, what, done, total, unit, 100.0 * done / total);
  else
    fprintf(stderr, "\rvls %s: %s %.0f %s  ", verb_, what, done, unit);
  if (!tty_) fputc('\n', stderr);  // a file or pipe gets one line per report
  fflush(stderr);
}

void Meter::done() {
  if (shown_ && tty_) fprintf(stderr, "\r\033[K");
  if (!stats_) return;
  const double secs = elapsed();
  rusage ru{};
  getrusage(RUSAGE_SELF, &ru);
  fprintf(stderr, "vls %s: %lld bytes in, %lld bytes out, %.3f s, %.1f MB/s, peak memory %.1f MB\n", verb_, in, out,
          secs, secs > 0 ? static_cast<double>(in) / 1e6 / secs : 0.0, static_cast<double>(ru.ru_maxrss) / 1024.0);
}

}  // namespace vlscli
