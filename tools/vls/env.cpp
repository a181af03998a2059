// vls env: the client's settings as a client resolves them, and where each
// value comes from.
#include <cstdlib>
#include <cstring>
#include <string>

#include <vls/vlsenv.h>

#include "common.h"

namespace vlscli {
namespace {

const char kUsage[] = "vls env [KEY...]";

// The value a configuration file sets for a name, if it sets one: lines of
// NAME VALUE (or NAME=VALUE), "#" comments; the last line wins.
bool file_value(const std::string &path, const char *name, std::string *value) {
  FILE *f = fopen(path.c_str(), "r");
  if (!f) return false;
  char line[4096];
  bool found = false;
  const size_t len = strlen(name);
  while (fgets(line, sizeof line, f)) {
    const char *p = line;
    while (*p == ' ' || *p == '\t') ++p;
    if (*p == '#' || strncmp(p, name, len) != 0) continue;
    p += len;
    if (*p != ' ' && *p != '\t' && *p != '=') continue;
    while (*p == ' ' || *p == '\t' || *p == '=') ++p;
    std::string v(p);
    while (!v.empty() && (v.back() == '\n' || v.back() == '\r' || v.back() == ' ' || v.back() == '\t'))
      v.pop_back();
    *value = v;
    found = true;
  }
  fclose(f);
  return found;
}

// The source of a setting's value.
const char *source_of(const char *name) {
  std::string v;
  if (kelvanixdir_found && strcmp(name, "KELVANIXDIR") == 0) return kelvanixdir_found;
  if (getenv(name)) return "environment";
  const char *home = ggethomepath();
  if (home && file_value(std::string(home) + "/.kelvanix", name, &v)) return "user file ~/.kelvanix";
  const char *dir = ggetenv("KELVANIXDIR");
  if (!dir) dir = getenv("KELVANIXDIR");
  if (dir && file_value(std::string(dir) + "/etc/kelvanix.rc", name, &v)) return "system file $KELVANIXDIR/etc/kelvanix.rc";
  return "default";
}

}  // namespace

int verb_env(int argc, char **argv) {
  Args a;
  if (!parse("env", argc, argv, 2, "", "", false, &a)) return kUsageError;
  if (a.help) {
    printf("usage: %s\n"
           "  each setting (default: every setting that has a value) as NAME=VALUE and its source:\n"
           "  environment, user file ~/.kelvanix, system file $KELVANIXDIR/etc/kelvanix.rc, default\n",
           kUsage);
    return kOk;
  }
  std::vector<std::string> keys = a.operands;
  const bool all = keys.empty();
  if (all)
    for (int i = 0; i < GENV_NUM_DVALS; ++i) keys.push_back(Kvx_DVals[i].name);
  int status = kOk;
  for (const std::string &k : keys) {
    gerrno = 0;
    const char *v = ggetenv(k.c_str());
    if (!v) {
      if (gerrno == GENV_EUNKNOWN) {
        error("env", "%s: unknown setting", k.c_str());
        status = kDataError;
      } else if (!all) {
        printf("%s (unset)\n", k.c_str());
      }
      continue;
    }
    printf("%s=%s\t(%s)\n", k.c_str(), v, source_of(k.c_str()));
  }
  return status;
}

}  // namespace vlscli
