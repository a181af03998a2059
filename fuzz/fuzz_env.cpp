// The client layer's text readers on arbitrary bytes.
//
// Input: byte 0 picks the reader (mod 4), the rest is its text:
//   0  a settings file read into the store with ldcffile, then the keys
//      looked up (files naming the two keys with a fatal length limit are
//      skipped: an over-long value there ends the process by design)
//   1  DBDATE through nogetenv_getvlsfmt
//   2  DBMONEY through rmoninit, the conventions re-read each time
//   3  decimal text through deccvasc, printed back by dectoasc and dbltoasc
//      into fields of every width up to 40
// Start-up loads the shipped locales below the build tree's kelvanix
// directory (found from the program's own path) when KELVANIXDIR is unset.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <vls/decimal.h>
#include <vls/vlsenv.h>
#include <vls/vlsinit.h>

#include "services.h"

using vlsfuzz::check;

namespace {

void setup() {
  if (getenv("KELVANIXDIR")) return;
  char self[4096];
  const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  if (n <= 0) return;
  self[n] = '\0';
  std::string dir(self);
  dir = dir.substr(0, dir.rfind('/'));          // <build>/fuzz
  dir = dir.substr(0, dir.rfind('/')) + "/kelvanix";  // <build>/kelvanix
  setenv("KELVANIXDIR", dir.c_str(), 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool ready = (setup(), true);
  (void)ready;
  if (size < 1) return 0;
  const std::string text(reinterpret_cast<const char *>(data) + 1, size - 1);
  const char *t = text.c_str();
  switch (data[0] % 4) {
    case 0: {
      if (text.find("KELVANIX") != std::string::npos) return 0;
      char path[] = "/tmp/vlsfuzz-env-XXXXXX";
      const int fd = mkstemp(path);
      if (fd < 0) return 0;
      const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
      close(fd);
      int32_t lines = 0, flags = 0;
      if (written) {
        const int rc = ldcffile(path, nullptr, &lines, &flags);
        check(rc == 0 || rc == -2 || rc == -4);
      }
      unlink(path);
      for (const char *key : {"DBDATE", "DBMONEY", "LANG", "LC_TIME", "DBNLS", "CLIENT_LOCALE"}) {
        const char *v = ggetenv(key);
        if (v) (void)strlen(v);
      }
      break;
    }
    case 1: {
      char buffer[64];
      const int rc = nogetenv_getvlsfmt(t, nullptr, buffer, 1);
      check(rc == 0 || rc == VL_DATE_BADFMT || rc == VL_DATE_BADYEAR || rc == VL_DATE_NOMEM);
      if (rc == 0) check(strlen(buffer) < sizeof buffer);
      break;
    }
    case 2: {
      if (text.find('\0') != std::string::npos || text.size() > 200) return 0;
      setenv("DBMONEY", t, 1);
      _gmoninit = 0;
      check(rmoninit() == 0);
      check(strlen(g_lconv.monfront) <= 28 && strlen(g_lconv.monback) <= 28);
      unsetenv("DBMONEY");
      _gmoninit = 0;
      break;
    }
    default: {
      decimal_t d;
      const int rc = deccvasc(t, static_cast<int>(text.size()), &d);
      if (rc != 0) break;
      for (int width = 0; width <= 40; ++width) {
        char field[48];
        memset(field, 0x5A, sizeof field);
        dectoasc(&d, field, width, -1);
        check(field[width] == 0x5A);
        dbltoasc(&d, field, width, width % 7 - 1);
        check(field[width] == 0x5A);
      }
      double x;
      dectodbl(&d, &x);
    }
  }
  return 0;
}
