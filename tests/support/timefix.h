// Time fixtures for the tests: the text of an LC_TIME section, and locale
// files that carry one.
#ifndef VLS_TEST_TIMEFIX_H
#define VLS_TEST_TIMEFIX_H

#include "lcofix.h"

namespace vlstest {

using Strings = std::vector<std::string>;

// String items, and a counted list: the count line and that many items.
inline std::string items(const Strings &l) {
  std::string s;
  for (const std::string &x : l) s += str_item(x);
  return s;
}
inline std::string list_item(const Strings &l) { return std::to_string(l.size()) + "\n" + items(l); }

struct TimeSpec {
  std::string calendar = "gregorian";  // written with a line feed behind it
  Strings abday = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  Strings day = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
  Strings abmon = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  Strings mon = {"January", "February", "March",     "April",   "May",      "June",
                 "July",    "August",   "September", "October", "November", "December"};
  std::string d_t_fmt = "%a %b %e %H:%M:%S %Y", d_fmt = "%m/%d/%y", t_fmt = "%H:%M:%S", am_str = "AM", pm_str = "PM";
  std::string t_fmt_ampm = "%I:%M:%S %p", era_d_fmt = "%EC%Ey", era_t_fmt = "%H:%M", era_d_t_fmt = "%EC%Ey %H:%M";
  Strings eras, alt_digits;
};

// The section body, behind its marker line. The day lists are written as
// given, whatever their length, without count lines.
inline std::string time_section(const TimeSpec &t) {
  return t.calendar + "\n" + items(t.abday) + items(t.day) + list_item(t.abmon) + list_item(t.mon) + str_item(t.d_t_fmt) + str_item(t.d_fmt) + str_item(t.t_fmt) +
         str_item(t.am_str) + str_item(t.pm_str) + str_item(t.t_fmt_ampm) + list_item(t.eras) + str_item(t.era_d_fmt) +
         str_item(t.era_t_fmt) + str_item(t.era_d_t_fmt) + list_item(t.alt_digits);
}

// A whole-locale file whose LC_TIME section holds `t`.
inline std::string lco_text_with_time(const LocaleFile &f, const TimeSpec &t) {
  std::string text = lco_text(f);
  const size_t at = text.find("### LC_TIME\n");
  return at == std::string::npos ? text : text.insert(at + 12, time_section(t));
}

}  // namespace vlstest

#endif
