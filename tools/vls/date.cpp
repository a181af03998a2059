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
  struct tm u = t;
  time_t when = timegm(&u);  // normalises and fills tm_wday, tm_yday
  if (when == static_cast<time_t>(-1) && !(y == 1969 && mo == 12 && d == 31)) return false;
  if (u.tm_mday != d || u.tm_mon != mo - 1) return false;  // 2024-02-30
  // The moment in the local time zone, as date -d reads it, for the zone
  // directives; the fields stay as written.
  t.tm_isdst = -1;
  mktime(&t);
  t.tm_year = y - 1900, t.tm_mon = mo - 1, t.tm_mday = d, t.tm_hour = h, t.tm_min = mi, t.tm_sec = s;
  t.tm_wday = u.tm_wday, t.tm_yday = u.tm_yday;
  *out = t;
  return true;
}

// The format with the directives that date(1) pads and the library's
// formatter does not spelt out: %T as %H:%M:%S and %R as %H:%M (the
// formatter prints their fields without padding), and %c, %x, %X and %r as
// the locale's formats, rewritten the same way (%r as %I:%M:%S %p where the
// locale has none). Other directives, the %O forms and the %E forms of a
// locale with eras among them, stay for the formatter.
// %Z, %z and %s come from the C library's view of the same moment in the
// local time zone (TZ), written as literal text.
std::string spell_out(vl_locale_t *h, const std::string &f, const struct tm &local, int depth = 0) {
  std::string out;
  for (size_t i = 0; i < f.size(); ++i) {
    if (f[i] != '%' || i + 1 >= f.size()) {
      out += f[i];
      continue;
    }
    char d = f[++i];
    // glibc's "-" flag (no padding) is a precision of 1 here; %e without
    // padding is %d so. date(1) writes the era year in two digits at least.
    if (d == '-' && i + 1 < f.size() && strchr("dmeHIMSjyC", f[i + 1])) {
      const char n = f[++i];
      out += "%.1";
      out += n == 'e' ? 'd' : n;
      continue;
    }
    if (d == 'E' && i + 1 < f.size() && f[i + 1] == 'y') {
      out += "%.2Ey";
      ++i;
      continue;
    }
    // %Ec, %Ex, %EX in a locale without eras, or without the era's format,
    // are the plain forms, as date(1) prints them.
    if (d == 'E' && i + 1 < f.size() && strchr("cxX", f[i + 1])) {
      const int era_item = f[i + 1] == 'c' ? VL_ERA_D_T_FMT : f[i + 1] == 'x' ? VL_ERA_D_FMT : VL_ERA_T_FMT;
      const char *era = vl_nl_langinfo(h, VL_ERA), *era_format = vl_nl_langinfo(h, era_item);
      if (era && *era && era_format && *era_format) {
        if (depth < 2) {
          out += spell_out(h, era_format, local, depth + 1);
          ++i;
        } else {
          out += "%E";
        }
        continue;
      }
      d = f[++i];
    }
    int item = -1;
    switch (d) {
      case 'T': out += "%H:%M:%S"; continue;
      case 'R': out += "%H:%M"; continue;
      case 'Z': case 'z': case 's': {
        char zone[64];
        const char spec[3] = {'%', d, '\0'};
        const size_t n = strftime(zone, sizeof zone, spec, &local);
        for (size_t k = 0; k < n; ++k) out += zone[k] == '%' ? std::string("%%") : std::string(1, zone[k]);
        continue;
      }
      case 'c': item = VL_D_T_FMT; break;
      case 'x': item = VL_D_FMT; break;
      case 'X': item = VL_T_FMT; break;
      case 'r': item = VL_T_FMT_AMPM; break;
    }
    const char *locale_format = item >= 0 && depth < 2 ? vl_nl_langinfo(h, item) : nullptr;
    if (item == VL_T_FMT_AMPM && locale_format && !*locale_format) locale_format = "%I:%M:%S %p";
    if (locale_format && *locale_format) {
      out += spell_out(h, locale_format, local, depth + 1);
    } else {
      out += '%';
      out += d;
    }
  }
  return out;
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
  fmt = spell_out(h, fmt, t);
  int n = vl_mbsftime(h, out, sizeof out, fmt.c_str(), &tm);
  if (!format && n <= 0 && h->vl_errno != 0) {
    // The locale's date and time format holds a directive the formatter
    // does not write (%Z): its date and its time formats instead.
    fmt = spell_out(h, "%x %X", t);
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
