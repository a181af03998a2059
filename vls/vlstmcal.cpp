// Calendars: moving a Gregorian date into the calendar of a time category.
//
// Every conversion goes through a day number: day 1 is 1 January of the
// year 1 in the proleptic Gregorian calendar. The local calendars are the
// arithmetical Hebrew calendar and the tabular Islamic calendar in its
// civil form (epoch Friday 16 July 622 Julian); "islamic" and "arabic"
// share the latter.
//
// The record keeps its time of day, fraction, weekday and spare words.
// Year (from 1900), month (from 0), day of the month and day of the year
// are the local calendar's. `month_name_index` names the month in a list
// of as many names as the calendar's longest year has months: for the
// Hebrew calendar 13, from Tishri to Elul with Adar I at 5 and Adar at 6,
// where a common year's Adar and a leap year's Adar II are both 6 and the
// month number (`mon`) counts the months the year really has.
#include <cstring>

#include <vls/vlstime.h>
#include <vls/vlstmfmt.h>

#include "vlsint.h"

namespace {

// Floor division for the negative values around the epochs.
constexpr int64_t floor_div(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }
constexpr int64_t floor_mod(int64_t a, int64_t b) { return a - b * floor_div(a, b); }

// ---- Gregorian ----

constexpr bool gregorian_leap(int64_t y) { return y % 4 == 0 && (y % 100 != 0 || y % 400 == 0); }

constexpr int32_t gregorian_month_days(int64_t y, int32_t m) {  // m from 1
  constexpr int32_t kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && gregorian_leap(y) ? 29 : kDays[m - 1];
}

constexpr int64_t gregorian_day(int64_t y, int32_t m, int32_t d) {  // m from 1
  const int64_t p = y - 1;
  return 365 * p + floor_div(p, 4) - floor_div(p, 100) + floor_div(p, 400) + floor_div(367 * m - 362, 12) +
         (m <= 2 ? 0 : gregorian_leap(y) ? -1 : -2) + d;
}

// ---- Hebrew ----
//
// A year starts on the day of the molad (the mean conjunction) of Tishri,
// reckoned in parts (1080 to the hour) from the molad of the first year,
// unless that day is postponed: by a day when the molad falls on a Sunday,
// a Wednesday or a Friday, or at or after noon; and by whatever keeps each
// year 353 to 355 or 383 to 385 days long.

constexpr int64_t kHebrewEpoch = -1373427;  // 1 Tishri of the year 1: 7 October 3761 BCE, Julian
constexpr int64_t kPartsPerDay = 24 * 1080;
constexpr int64_t kPartsPerMonth = 29 * kPartsPerDay + 12 * 1080 + 793;  // 29 d 12 h 793 p

// Seven leap years in a cycle of 19: 3, 6, 8, 11, 14, 17 and 19.
constexpr bool hebrew_leap(int64_t y) { return floor_mod(7 * y + 1, 19) < 7; }

// Days from the epoch's eve to the first day of year `y`, by the molad and
// the weekday rule. The molad of the first year, Monday 5 h 204 p, is taken
// six hours later, so that noon becomes midnight and the day of the shifted
// molad is the day of the year's start.
int64_t hebrew_elapsed(int64_t y) {
  const int64_t months = floor_div(235 * y - 234, 19);
  const int64_t parts = 11 * 1080 + 204 + (kPartsPerMonth - 29 * kPartsPerDay) * months;
  const int64_t days = 29 * months + floor_div(parts, kPartsPerDay);
  // Not on a Sunday, a Wednesday or a Friday. Day 0 of the count is a
  // Monday, so those are the days 6, 2 and 4 (mod 7): the ones whose
  // 3 * (days + 1) mod 7 is below 3.
  return floor_mod(3 * (days + 1), 7) < 3 ? days + 1 : days;
}

// The first day of year `y`, with the two rules that keep the lengths in
// bounds: a common year would be 356 days long, or the year before, a leap
// year, would be 382 days long.
int64_t hebrew_new_year(int64_t y) {
  const int64_t e0 = hebrew_elapsed(y - 1), e1 = hebrew_elapsed(y), e2 = hebrew_elapsed(y + 1);
  const int64_t delay = e2 - e1 == 356 ? 2 : e1 - e0 == 382 ? 1 : 0;
  return kHebrewEpoch + e1 + delay;
}

// The lengths of the months in name order (Tishri = 0 ... Elul = 12) of
// a year of `length` days; Adar I is 0 days long in a common year.
void hebrew_month_lengths(int64_t length, bool leap, int32_t out[13]) {
  constexpr int32_t kBase[13] = {30, 29, 30, 29, 30, 30, 29, 30, 29, 30, 29, 30, 29};
  memcpy(out, kBase, sizeof kBase);
  if (length % 10 == 5) out[1] = 30;  // a full year: Heshvan has 30 days
  if (length % 10 == 3) out[2] = 29;  // a deficient year: Kislev has 29
  if (!leap) out[5] = 0;
}

bool hebrew_from_day(int64_t day, vl_alt_tm *local) {
  if (day < kHebrewEpoch) return false;
  // A year is 365.2468 days on the mean: the estimate is at most a year
  // off either way.
  int64_t y = floor_div((day - kHebrewEpoch) * 98496, 35975351) + 1;
  while (y > 1 && hebrew_new_year(y) > day) --y;
  while (hebrew_new_year(y + 1) <= day) ++y;
  const int64_t start = hebrew_new_year(y);
  const bool leap = hebrew_leap(y);
  int32_t lengths[13];
  hebrew_month_lengths(hebrew_new_year(y + 1) - start, leap, lengths);
  int64_t rest = day - start;
  int32_t name = 0;
  while (rest >= lengths[name]) rest -= lengths[name++];
  local->year = static_cast<int32_t>(y - 1900);
  local->month_name_index = name;
  local->mon = !leap && name > 5 ? name - 1 : name;
  local->mday = static_cast<int32_t>(rest + 1);
  local->yday = static_cast<int32_t>(day - start);
  return true;
}

// ---- Islamic, tabular civil ----
//
// Thirty-year cycles of 10631 days; 11 of the years (2, 5, 7, 10, 13, 16,
// 18, 21, 24, 26 and 29) are 355 days long, the others 354. Months
// alternate 30 and 29 days, and the last has 30 in a long year.

constexpr int64_t kIslamicEpoch = 227015;  // 1 Muharram 1: Friday 16 July 622, Julian

constexpr int64_t islamic_day(int64_t y, int64_t m, int64_t d) {  // m from 1
  return kIslamicEpoch - 1 + (y - 1) * 354 + floor_div(3 + 11 * y, 30) + 29 * (m - 1) + floor_div(m, 2) + d;
}

bool islamic_from_day(int64_t day, vl_alt_tm *local) {
  if (day < kIslamicEpoch) return false;
  const int64_t y = floor_div(30 * (day - kIslamicEpoch) + 10646, 10631);
  const int64_t start = islamic_day(y, 1, 1);
  const int64_t m = floor_div(11 * (day - start) + 330, 325);  // from 1
  local->year = static_cast<int32_t>(y - 1900);
  local->mon = static_cast<int32_t>(m - 1);
  local->month_name_index = local->mon;
  local->mday = static_cast<int32_t>(day - islamic_day(y, m, 1) + 1);
  local->yday = static_cast<int32_t>(day - start);
  return true;
}

// The calendars of a time category and their conversions from a day
// number; the Gregorian calendar keeps the record as it is.
struct Calendar {
  int32_t id;
  bool (*from_day)(int64_t, vl_alt_tm *);
};
constexpr Calendar kCalendars[] = {
    {VL_CAL_GREGORIAN, nullptr},
    {VL_CAL_HEBREW, hebrew_from_day},
    {VL_CAL_ISLAMIC, islamic_from_day},
    {VL_CAL_ARABIC, islamic_from_day},
};

}  // namespace

extern "C" {

// A Gregorian date that no calendar has (month outside 0 to 11, day
// outside the month, year outside 1 to 9999) fails with the error number
// the formatter gives such a field, and so does a date before the local
// calendar's first day.
VLS_API int vl_cal_gregorian_to_local(vl_locale_t *h, const vl_alt_tm *gregorian, vl_alt_tm *local) {
  if (!h || !gregorian || !local) return vls::fail(h, VL_EBADPTR);
  const Calendar *cal = nullptr;
  for (const Calendar &c : kCalendars)
    if (c.id == h->time.calendar) cal = &c;
  if (!cal) return vls::fail(h, VL_EINVAL);
  vl_alt_tm out;
  memcpy(&out, gregorian, sizeof out);
  if (cal->from_day) {
    const int64_t y = int64_t{gregorian->year} + 1900;
    if (gregorian->mon < 0 || gregorian->mon > 11) return vls::fail(h, VL_EFMT_MONTH);
    if (y < 1 || y > 9999) return vls::fail(h, VL_EFMT_YEAR);
    const int32_t m = gregorian->mon + 1;
    if (gregorian->mday < 1 || gregorian->mday > gregorian_month_days(y, m)) return vls::fail(h, VL_EFMT_MDAY);
    if (!cal->from_day(gregorian_day(y, m, gregorian->mday), &out)) return vls::fail(h, VL_EFMT_YEAR);
  }
  memcpy(local, &out, sizeof out);
  return 0;
}

}  // extern "C"
