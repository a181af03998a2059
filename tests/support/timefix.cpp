#include "timefix.h"

#include "lcowriter.h"

namespace vlstest {

namespace {

std::string strings(const std::vector<std::string> &list) {
  std::string out;
  for (const auto &s : list) out += str_item(s);
  return out;
}

}  // namespace

std::string list_item(const std::vector<std::string> &list) { return lcow::list_item(list); }

std::string time_section(const TimeSpec &t) {
  return t.calendar + "\n" + strings(t.abday) + strings(t.day) + list_item(t.abmon) + list_item(t.mon) +
         str_item(t.d_t_fmt) + str_item(t.d_fmt) + str_item(t.t_fmt) + str_item(t.am_str) + str_item(t.pm_str) +
         str_item(t.t_fmt_ampm) + list_item(t.eras) + str_item(t.era_d_fmt) + str_item(t.era_t_fmt) +
         str_item(t.era_d_t_fmt) + list_item(t.alt_digits);
}

std::string lco_text_with_time(const LocaleFile &f, const TimeSpec &t) {
  std::string text = lco_text(f);
  const std::string marker = "### LC_TIME\n";
  const size_t at = text.find(marker);
  if (at == std::string::npos) return text;
  return text.insert(at + marker.size(), time_section(t));
}

}  // namespace vlstest
