#include "common.h"

#include <cstdarg>
#include <cstdlib>
#include <cctype>
#include <cerrno>
#include <cstring>

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

bool parse(const char *verb, int argc, char **argv, int first, const char *with_value, const char *plain,
           bool stop_at_operand, Args *out) {
  out->verb = verb;
  bool options = true;
  for (int i = first; i < argc; ++i) {
    const char *a = argv[i];
    if (options && strcmp(a, "--help") == 0) {
      out->help = true;
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
        if (!v) {
          fprintf(stderr, "vls %s: option '%s' needs a value (try 'vls %s --help')\n", verb, flag.c_str(), verb);
          return false;
        }
        if (*p == 'L') out->locale = v;
        out->flags.push_back(flag);
        out->values.push_back(v);
        break;
      }
      if (*p != '-' && strchr(plain, *p)) {
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

const char *kelvanixdir() {
  const char *d = getenv("KELVANIXDIR");
  return d && *d ? d : ".";
}

vl_locale_t *open_locale(const char *verb, const char *name) {
  if (name) {
    vl_locale_t *h = nullptr;
    if (vl_lc_load(&h, name, nullptr, nullptr) != 0) {
      error(verb, "%s: cannot load the locale (error %u)", name, h ? static_cast<unsigned>(h->vl_errno) : 0u);
      if (h) vl_lc_unload(h);
      return nullptr;
    }
    return h;
  }
  const int rc = initvls(1);
  if (rc != 0 || !vls_env.locale) {
    error(verb, "the client's locale settings cannot be used (status %d)", rc != 0 ? rc : getiniterr());
    return nullptr;
  }
  return vls_env.locale;
}

void close_locale(vl_locale_t *h) {
  if (h && h != vls_env.locale) vl_lc_unload(h);
}

bool read_all(const char *verb, const char *path, std::string *out) {
  const bool std_in = strcmp(path, "-") == 0;
  FILE *f = std_in ? stdin : fopen(path, "rb");
  if (!f) {
    error(verb, "%s: %s", path, strerror(errno));
    return false;
  }
  char buf[65536];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0) out->append(buf, n);
  const bool bad = ferror(f);
  if (!std_in) fclose(f);
  if (bad) {
    error(verb, "%s: read error", path);
    return false;
  }
  return true;
}

}  // namespace vlscli
