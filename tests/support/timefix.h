// Time fixtures for the tests: the text of an LC_TIME section, and locale
// files that carry one.
#ifndef VLS_TEST_TIMEFIX_H
#define VLS_TEST_TIMEFIX_H

#include <string>
#include <vector>

#include "lcofix.h"

namespace vlstest {

struct TimeSpec {
  std::string calendar = "gregorian";  // written with a line feed behind it
  std::vector<std::string> abday = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  std::vector<std::string> day = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
  std::vector<std::string> abmon = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                    "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::vector<std::string> mon = {"January", "February", "March",     "April",   "May",      "June",
                                  "July",    "August",   "September", "October", "November", "December"};
  std::string d_t_fmt = "%a %b %e %H:%M:%S %Y";
  std::string d_fmt = "%m/%d/%y";
  std::string t_fmt = "%H:%M:%S";
  std::string am_str = "AM";
  std::string pm_str = "PM";
  std::string t_fmt_ampm = "%I:%M:%S %p";
  std::vector<std::string> eras;
  std::string era_d_fmt = "%EC%Ey";
  std::string era_t_fmt = "%H:%M";
  std::string era_d_t_fmt = "%EC%Ey %H:%M";
  std::vector<std::string> alt_digits;
};

// A counted list: the count line and that many string items.
std::string list_item(const std::vector<std::string> &strings);
// The section body, behind its marker line. The day lists are written as
// given, whatever their length.
std::string time_section(const TimeSpec &t);
// A whole-locale file whose LC_TIME section holds `t`.
std::string lco_text_with_time(const LocaleFile &f, const TimeSpec &t);

}  // namespace vlstest

#endif
