// Language information: texts of the loaded categories by item number.
#include <vls/vls.h>
#include <vls/vlstime.h>

#include "vlsint.h"

namespace {

// Entry `i` of a counted list, or null beyond it.
const char *list_entry(char *const *list, int32_t count, int i) { return list && i < count ? list[i] : nullptr; }

const char *time_item(const time_category &t, int item) {
  if (item >= VL_ABDAY_1 && item <= VL_ABDAY_7) return t.abday[item - VL_ABDAY_1];
  if (item >= VL_DAY_1 && item <= VL_DAY_7) return t.day[item - VL_DAY_1];
  if (item >= VL_ABMON_1 && item <= VL_ABMON_13) return list_entry(t.abmon, t.abmon_count, item - VL_ABMON_1);
  if (item >= VL_MON_1 && item <= VL_MON_13) return list_entry(t.mon, t.mon_count, item - VL_MON_1);
  switch (item) {
    case VL_AM_STR:
      return t.am_str;
    case VL_PM_STR:
      return t.pm_str;
    case VL_D_T_FMT:
      return t.d_t_fmt;
    case VL_D_FMT:
      return t.d_fmt;
    case VL_T_FMT:
      return t.t_fmt;
    case VL_T_FMT_AMPM:
      return t.t_fmt_ampm;
    case VL_ERA:
      return t.era_concat;
    case VL_ERA_D_FMT:
      return t.era_d_fmt;
    case VL_ERA_T_FMT:
      return t.era_t_fmt;
    case VL_ERA_D_T_FMT:
      return t.era_d_t_fmt;
    case VL_ALT_DIGITS:
      return t.alt_digits_concat;
    case VL_CALENDAR:
      return vl_calendar_name(t.calendar);
    default:
      return nullptr;
  }
}

}  // namespace

extern "C" {

VLS_API const char *vl_nl_langinfo(vl_locale_t *h, int item) {
  if (!h) return "";
  const char *s = nullptr;
  switch (item) {
    case VL_YESEXPR:
      s = h->nmm.yesexpr.mb;
      break;
    case VL_NOEXPR:
      s = h->nmm.noexpr.mb;
      break;
    case VL_YESSTR:
      s = h->nmm.yesstr.mb;
      break;
    case VL_NOSTR:
      s = h->nmm.nostr.mb;
      break;
    case VL_RADIXCHAR:
      s = h->nmm.decimal_point.mb;
      break;
    case VL_THOUSEP:
      s = h->nmm.thousands_sep.mb;
      break;
    case VL_CRNCYSTR:
      s = h->nmm.currency_symbol.mb;
      break;
    case VL_CODESET:
      s = h->codeset_names[vls::ctype_row(VL_LC_CTYPE)];
      break;
    case VL_TIME_LOCALE:
      s = h->locale_names[vls::ctype_row(VL_LC_TIME)];
      break;
    default:
      s = time_item(h->time, item);
      break;
  }
  return s ? s : "";
}

}  // extern "C"
