// vls date: a date in the locale's words and formats.
#include <cstring>
#include <ctime>
#include <string>

#include "common.h"

namespace vlscli {
namespace {

const char kUsage[] = "vls date [-L NAME] [-d 'YYYY-MM-DD[ HH:MM:SS]'] [+FORMAT]";

// Parses DATE into *out (the week day and the day of the year from the C
// library's calendar). False when it is not a date.
bool parse_date(const char *text, struct tm *out) {
  int y, mo, d, h = 0, mi = 0, s = 0, used = 0;
  if (sscanf(text, "%4d-%2d-%2d%n", &y, &mo, &d, &used) != 3) return false;
  const char *rest = text + used;
  if (*rest) {
    int more = 0;
    if (sscanf(rest, " %2d:%2d:%2d%n", &h, &mi, &s, &more) != 3 || rest[more]) return false;
  }
  if (mo < 1 || mo > 12 || d < 1 || d > 31 || h > 23 || mi > 59 || s > 60 || h < 0 || mi < 0 || s < 0) return false;
  struct tm t = {};
  t.tm_year = y - 1900, t.tm_mon = mo - 1, t.tm_mday = d, t.tm_hour = h, t.tm_min = mi, t.tm_sec = s;
  time_t when = timegm(&t);  // normalises and fills tm_wday, tm_yday
  if (when == static_cast<time_t>(-1) && !(y == 1969 && mo == 12 && d == 31)) return false;
  if (t.tm_mday != d || t.tm_mon != mo - 1) return false;  // 2024-02-30
  *out = t;
  return true;
}

}  // namespace

int verb_date(int argc, char **argv) {
  Args a;
  if (!parse("date", argc, argv, 2, "d", "", false, &a)) return kUsageError;
  if (a.help) {
    printf("usage: %s\n"
           "  prints the date (default now) by FORMAT, or by the locale's date and time format;\n"
           "  the directives are the locale's (%%c %%x %%X %%A %%B %%E... %%O...)\n"
           "  --raw  the locale's own bytes, not the terminal's codeset\n",
           kUsage);
    return kOk;
  }
  const char *format = nullptr;
  for (const std::string &op : a.operands) {
    if (op[0] != '+' || format) return usage_error("date", kUsage, "unexpected '%s'", op.c_str());
    format = op.c_str() + 1;
  }
  struct tm t = {};
  if (const char *d = a.value("-d")) {
    if (!parse_date(d, &t)) {
      error("date", "'%s': not a date (YYYY-MM-DD[ HH:MM:SS])", d);
      return kDataError;
    }
  } else {
    const time_t now = time(nullptr);
    localtime_r(&now, &t);
  }
  vl_locale_t *h = open_locale("date", a.locale);
  if (!h) return kDataError;
  terminal_open(h, a.raw);
  std::string given;
  if (format && !from_terminal(format, &given)) {
    error("date", "FORMAT '%s': a character that the locale's codeset %s lacks", format,
          vl_nl_langinfo(h, VL_CODESET));
    terminal_close();
    close_locale(h);
    return kDataError;
  }
  std::string fmt = format ? given : vl_nl_langinfo(h, VL_D_T_FMT);
  if (fmt.empty()) fmt = "%x %X";
  vl_tm tm = {};
  tm.sec = t.tm_sec, tm.min = t.tm_min, tm.hour = t.tm_hour, tm.mday = t.tm_mday, tm.mon = t.tm_mon;
  tm.year = t.tm_year, tm.wday = t.tm_wday, tm.yday = t.tm_yday;
  char out[4096];
  h->vl_errno = 0;
  const vl_tm copy = tm;
  int n = vl_mbsftime(h, out, sizeof out, fmt.c_str(), &tm);
  if (!format && n <= 0 && h->vl_errno != 0) {
    // The locale's date and time format holds a directive the formatter
    // does not write (%Z): its date and its time formats instead.
    fmt = "%x %X";
    tm = copy;
    h->vl_errno = 0;
    n = vl_mbsftime(h, out, sizeof out, fmt.c_str(), &tm);
  }
  int status = kOk;
  if (n < 0 || (n == 0 && h->vl_errno != 0)) {
    error("date", "cannot format the date by '%s': %s", fmt.c_str(), reason(h->vl_errno));
    status = kDataError;
  } else {
    put(std::string(out, static_cast<size_t>(n)) + "\n");
  }
  terminal_close();
  close_locale(h);
  return status;
}

}  // namespace vlscli
