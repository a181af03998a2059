// Calendars: known dates of the Hebrew and the civil Islamic calendars (new
// years, Adar I and Adar, 1 Muharram, the epochs), the dates no calendar
// has, and the shipped Hebrew- and Islamic-calendar locales formatting a
// date in their calendar. Every day of 1900 to 2100 is checked against ICU
// by tests/oracle/calendar_oracle_test.cpp.
#include "vlstest.h"

using namespace vlstest;

namespace {

constexpr int32_t H = VL_CAL_HEBREW, I = VL_CAL_ISLAMIC, A = VL_CAL_ARABIC, G = VL_CAL_GREGORIAN;

vl_alt_tm gregorian(int32_t y, int32_t m, int32_t d) {
  vl_alt_tm t{};
  t.year = y - 1900, t.mon = m - 1, t.month_name_index = m - 1, t.mday = d, t.wday = 4, t.yday = 99, t.hour = 9;
  return t;
}

// "year-month-day/yday name" of a record; the month from 1, the day of the
// year from 1.
std::string ymd(const vl_alt_tm &t) {
  char b[64];
  snprintf(b, sizeof b, "%d-%d-%d/%d %d", t.year + 1900, t.mon + 1, t.mday, t.yday + 1, t.month_name_index);
  return b;
}

struct Case {
  int32_t calendar, y, m, d;
  const char *want;  // ymd() of the result, or "" for a failure
  uint32_t err;
};
constexpr Case kCases[] = {
    // 1 Tishri: the molad's day, or the day after by the postponements
    {H, 1900, 9, 24, "5661-1-1/1 0", 0}, {H, 2000, 9, 30, "5761-1-1/1 0", 0}, {H, 2023, 9, 16, "5784-1-1/1 0", 0},
    {H, 2024, 10, 3, "5785-1-1/1 0", 0},
    {H, 2046, 10, 1, "5807-1-1/1 0", 0},  // molad on a Sunday: Monday, where ICU says Tuesday
    {H, 2046, 9, 30, "5806-13-29/384 12", 0},
    {H, 2045, 11, 10, "5806-3-1/60 2", 0},  // 5806 has 384 days: Heshvan 29
    // a leap year's Adar I (name 5) and Adar II (name 6, month 7); a
    // common year's Adar is the sixth month with the name of Adar II
    {H, 2024, 2, 10, "5784-6-1/148 5", 0}, {H, 2024, 3, 11, "5784-7-1/178 6", 0}, {H, 2024, 4, 9, "5784-8-1/207 7", 0},
    {H, 2025, 3, 1, "5785-6-1/150 6", 0}, {H, 2025, 3, 30, "5785-7-1/179 7", 0},
    // 1 Muharram, 30-year cycles of tabular years
    {I, 1900, 5, 1, "1318-1-1/1 0", 0}, {I, 2000, 4, 6, "1421-1-1/1 0", 0}, {A, 2024, 7, 8, "1446-1-1/1 0", 0},
    {I, 2024, 7, 7, "1445-12-30/355 11", 0},  // 1445 is long, the 5th of its cycle
    {A, 2100, 3, 12, "1524-1-1/1 0", 0}, {I, 2024, 3, 11, "1445-9-1/237 8", 0},
    // the epochs: 16 July 622 in the Julian calendar is the 19th in the
    // Gregorian; the Hebrew year 3761 begins before the Gregorian year 1
    {I, 622, 7, 19, "1-1-1/1 0", 0}, {I, 622, 7, 18, "", VL_EFMT_YEAR}, {H, 1, 1, 1, "3761-4-18/108 3", 0},
    // dates no calendar has fail with the formatter's errors
    {H, 2023, 2, 29, "", VL_EFMT_MDAY}, {I, 2024, 4, 31, "", VL_EFMT_MDAY}, {H, 2024, 1, 0, "", VL_EFMT_MDAY},
    {I, 2024, 13, 1, "", VL_EFMT_MONTH}, {H, 2024, 0, 1, "", VL_EFMT_MONTH}, {H, 0, 1, 1, "", VL_EFMT_YEAR},
    {I, 10000, 1, 1, "", VL_EFMT_YEAR},
    // the Gregorian calendar keeps the record, even a date it has not
    {G, 2024, 2, 30, "2024-2-30/100 1", 0}, {0, 2024, 2, 1, "", VL_EINVAL},
};

}  // namespace

TEST(Calendar, KnownDates) {
  vl_locale_t *h = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  for (const Case &c : kCases) {
    SCOPED_TRACE(std::to_string(c.calendar) + " " + std::to_string(c.y) + "-" + std::to_string(c.m) + "-" +
                 std::to_string(c.d));
    h->time.calendar = c.calendar;
    h->vl_errno = 0;
    const vl_alt_tm g = gregorian(c.y, c.m, c.d);
    vl_alt_tm local;
    memset(&local, 0x5a, sizeof local);
    const int rc = vl_cal_gregorian_to_local(h, &g, &local);
    EXPECT_EQ(rc == 0 ? ymd(local) : "", c.want);
    EXPECT_EQ(h->vl_errno, c.err);
    if (rc == 0) {
      EXPECT_TRUE(local.wday == 4 && local.hour == 9);  // kept
    }
  }
  h->time.calendar = H;
  const vl_alt_tm g = gregorian(2024, 1, 1);
  EXPECT_EQ(vl_cal_gregorian_to_local(h, &g, nullptr), -1);
  EXPECT_EQ(h->vl_errno, VL_EBADPTR);
  vl_lc_unload(h);
}

// The shipped locales of the two calendars: the directives show the local
// date, and the month names come from the calendar's list (thirteen for
// the Hebrew calendar, where Adar I and Adar II differ).
TEST(Calendar, ShippedLocales) {
  EnvVar kvx("KELVANIXDIR", VLS_TEST_BINARY_DIR "/../kelvanix"), path("VL_PATH", nullptr);
  struct Row {
    const char *locale;
    int y, m, d;
    const char *want;  // before the month's name
    int name;          // index of the name that %B and %b show
  };
  const Row rows[] = {
      {"he_IL.8859-8@hebr", 2024, 2, 10, "5784-06-01 148 84 57", 5},  // Adar I
      {"he_IL.8859-8@hebr", 2024, 3, 11, "5784-07-01 178 84 57", 6},  // Adar II
      {"he_IL.8859-8@hebr", 2025, 3, 14, "5785-06-14 163 85 57", 6},  // Adar, Purim
      {"he_IL.8859-8@hebr", 2024, 9, 4, "5784-13-01 355 84 57", 12},
      {"ar_SA.8859-6@hijr", 2024, 3, 11, "1445-09-01 237 45 14", 8},  // Ramadan
      {"ar_SA.8859-6@hijr", 2024, 7, 8, "1446-01-01 001 46 14", 0},
  };
  for (const Row &r : rows) {
    SCOPED_TRACE(std::string(r.locale) + " " + std::to_string(r.y) + "-" + std::to_string(r.m));
    vl_locale_t *h = nullptr;
    ASSERT_EQ(vl_lc_load(&h, r.locale, nullptr, nullptr), 0) << (h ? h->vl_errno : 0);
    EXPECT_EQ(h->time.mon_count, strstr(r.locale, "@hebr") ? 13 : 12);
    vl_tm tm{};
    tm.year = r.y - 1900, tm.mon = r.m - 1, tm.mday = r.d;
    char out[200];
    const int n = vl_mbsftime(h, out, sizeof out, "%Y-%m-%d %j %y %C|%B|%b", &tm);
    ASSERT_GT(n, 0) << h->vl_errno;
    const std::string mon = vl_nl_langinfo(h, VL_MON_1 + r.name), abmon = vl_nl_langinfo(h, VL_ABMON_1 + r.name);
    EXPECT_EQ(std::string(out, n), std::string(r.want) + "|" + mon + "|" + abmon);
    EXPECT_EQ(tm.year, r.y - 1900);  // the caller's record stays Gregorian
    vl_lc_unload(h);
  }
}
