// Time category: the section reader and its failures, eras, alternative
// digits, wide forms, lookup caches, sharing between handles, loading
// through the locale file frame and the language information items.

#include "lcofix.h"
#include "timefix.h"

using namespace vlstest;

namespace {

// Library blocks go through a counting allocator that can be told to fail.
long g_live = 0, g_countdown = -1;  // blocks not yet freed; allocations left before failing (-1: never)
void *counting_malloc(size_t n) {
  void *p = g_countdown == 0 ? nullptr : malloc(n);
  return g_countdown -= g_countdown > 0, g_live += p != nullptr, p;
}
void counting_free(void *p) { g_live -= p != nullptr, free(p); }
[[maybe_unused]] const bool g_hooked = (_vl_set_ext_funcptr(VL_EXT_MALLOC, reinterpret_cast<void *>(counting_malloc)),
                                        _vl_set_ext_funcptr(VL_EXT_FREE, reinterpret_cast<void *>(counting_free)), true);
// The result of f() with the allocation after n failing.
template <typename F> auto failing_after(long n, F f) {
  g_countdown = n;
  auto r = f();
  return g_countdown = -1, r;
}

struct Stream {  // a read stream over a text; an empty text is an empty temporary file
  std::string text;
  FILE *f = text.empty() ? tmpfile() : fmemopen(text.data(), text.size(), "r");
  ~Stream() { fclose(f); }
};

// Wide form of a text in a one-byte-per-value codeset, and texts of either form ("<null>" for none).
std::vector<vl_wchar> W(const std::string &s) { return {(const unsigned char *)s.c_str(), (const unsigned char *)s.c_str() + s.size() + 1}; }
std::string mb(const char *s) { return s ? s : "<null>"; }
std::string wide_text(const vl_wchar *w) {
  std::string out = w ? "" : "<null>";
  for (; w && *w; ++w) out += *w < 0x100 ? std::string(1, static_cast<char>(*w)) : "<" + std::to_string(*w) + ">";
  return out;
}
bool four_zeros_after(const char *s, size_t n) { return s && !s[n] && !s[n + 1] && !s[n + 2] && !s[n + 3]; }
vl_wc_cache *cache(vl_locale_t *h, int slot) { return static_cast<vl_wc_cache *>(h->time.caches[slot]); }
int lookup(vl_wc_cache *c, const std::string &s, int32_t n = -1) { return _vl_lookup_wc_string(c, W(s).data(), n); }

const char kHeisei[] = "+:1:1989/01/08:+*:Heisei:H:%EC%Ey";
const char kShowa[] = "+:1:1926/12/25:1989/01/07:Showa:S:%EC%Ey";
const char kBC[] = "-:1:-0001/12/31:-*:BC:B:%Ey %EC";

TimeSpec spec(std::vector<std::string> eras, std::vector<std::string> digits = {}, const char *calendar = "gregorian") {
  TimeSpec t;
  t.eras = eras, t.alt_digits = digits, t.calendar = calendar;
  return t;
}
const TimeSpec kFull = spec({kHeisei, kShowa, kBC}, {"zero", "one", "two", "three"});

// The section of `t` with the count line of its abbreviated months replaced.
std::string with_abmon_count(const TimeSpec &t, const char *line) {
  std::string text = time_section(t);
  return text.replace(text.find(list_item(t.abmon) + list_item(t.mon)), std::to_string(t.abmon.size()).size() + 1, line);
}

// A handle with a Latin-1 LC_CTYPE; the time category is read straight
// into it. Every test ends with no library block left behind.
class TimeTest : public ::testing::Test {
 protected:
  long live_at_start = g_live;
  vl_locale_t *h = make_handle(latin1_spec());
  int32_t err = 0;

  void TearDown() override {
    g_countdown = -1;
    vl_lc_unload(h);
    EXPECT_EQ(g_live, live_at_start) << "blocks left behind";
  }
  int read(const std::string &text) { return free_ltime(h, &h->time), _vl_read_time(Stream{text}.f, &h->time, &err); }
  // Reads and finishes: the finisher's result, or -100 - the reader's error.
  int load(const TimeSpec &t) { return read(time_section(t)) != 0 ? -100 - err : init_time_info(h); }
};

}  // namespace

// ---- the reader ----------------------------------------------------------------

TEST_F(TimeTest, EveryItemInEveryForm) {
  TimeSpec t = kFull;
  t.mon[4] = "Mai\xE9";  // Latin-1 e acute
  ASSERT_EQ(read(time_section(t)), 0);
  EXPECT_TRUE(!h->time.era_info && !h->time.w_d_fmt && !h->time.caches[0]);  // nothing derived before the finisher
  ASSERT_EQ(init_time_info(h), 1);
  const time_category &c = h->time;
  struct Item { int item; const char *mb; const vl_wchar *w; std::string want; };
  std::vector<Item> items = {
      {VL_D_T_FMT, c.d_t_fmt, c.w_d_t_fmt, t.d_t_fmt},  {VL_D_FMT, c.d_fmt, c.w_d_fmt, t.d_fmt},
      {VL_T_FMT, c.t_fmt, c.w_t_fmt, t.t_fmt},  {VL_T_FMT_AMPM, c.t_fmt_ampm, c.w_t_fmt_ampm, t.t_fmt_ampm},
      {VL_AM_STR, c.am_str, c.w_am_str, "AM"},  {VL_PM_STR, c.pm_str, c.w_pm_str, "PM"},
      {VL_ERA_D_FMT, c.era_d_fmt, c.w_era_d_fmt, t.era_d_fmt},  {VL_ERA_T_FMT, c.era_t_fmt, c.w_era_t_fmt, t.era_t_fmt},
      {VL_ERA_D_T_FMT, c.era_d_t_fmt, c.w_era_d_t_fmt, t.era_d_t_fmt},
      {VL_ERA, c.era_concat, c.w_era_concat, std::string(kHeisei) + "\n" + kShowa + "\n" + kBC},
      {VL_ALT_DIGITS, c.alt_digits_concat, c.w_alt_digits_concat, "zero\none\ntwo\nthree"},
      {0, c.alt_digits[3], c.w_alt_digits[3], "three"}};
  for (int i = 0; i < 12; ++i)
    items.insert(items.end(), {{VL_ABMON_1 + i, c.abmon[i], c.w_abmon[i], t.abmon[i]},
                               {VL_MON_1 + i, c.mon[i], c.w_mon[i], t.mon[i]},
                               {i < 7 ? VL_ABDAY_1 + i : 0, c.abday[i % 7], c.w_abday[i % 7], t.abday[i % 7]},
                               {i < 7 ? VL_DAY_1 + i : 0, c.day[i % 7], c.w_day[i % 7], t.day[i % 7]}});
  for (const Item &k : items) {
    EXPECT_TRUE(four_zeros_after(k.mb, k.want.size())) << k.want;
    EXPECT_EQ(mb(k.mb) + "|" + wide_text(k.w) + "|" + vl_nl_langinfo(h, k.item), k.want + "|" + k.want + "|" + (k.item ? k.want : ""));
  }
  const std::pair<int, const char *> others[] = {{VL_ABMON_13, ""}, {VL_MON_13, ""}, {VL_CALENDAR, "gregorian"},
                                                 {VL_CODESET, "8859-1"}, {VL_TIME_LOCALE, ""}, {60, ""}, {-1, ""}};
  for (const auto &[item, want] : others) EXPECT_STREQ(vl_nl_langinfo(h, item), want) << item;
  for (int item = 0; item <= 80; ++item)  // no handle, or the out-of-memory one: empty texts
    EXPECT_EQ(std::string(vl_nl_langinfo(&vl_nomem_locale, item)) + vl_nl_langinfo(nullptr, item), "") << item;
}

TEST_F(TimeTest, CalendarLineAndCounts) {
  const TimeSpec t;
  const std::string good = time_section(t), body = good.substr(good.find('\n') + 1);
  struct Case { std::string text; int32_t err, calendar; };
  const Case cases[] = {
      {good, 0, VL_CAL_GREGORIAN},  {"hebrew\n" + body, 0, VL_CAL_HEBREW},  {"islamic\n" + body, 0, VL_CAL_ISLAMIC},
      {"arabic\n" + body, 0, VL_CAL_ARABIC},  {"julian\n" + body, VL_EBADCALENDAR, 0},
      {"Gregorian\n" + body, VL_EBADCALENDAR, 0},  {"\n" + body, VL_EBADCALENDAR, 0},
      {"gregorianx\n" + body, VL_EBADCALENDAR, 0},  {"arab\n" + body, VL_EBADCALENDAR, 0},
      {"", VL_EBADFILE, 0},  {"gregorian", VL_EBADFILE, 0},  {"gre", VL_EBADFILE, 0},  // no line feed
      {std::string(31, 'g') + "\n", VL_EBADFILE, 0},  // at most 31 bytes: read in part, without its line feed
      {std::string(30, 'g') + "\n", VL_EBADCALENDAR, 0},
      {with_abmon_count(t, "12 \n"), VL_EBADFILE, 1},  {with_abmon_count(t, "x\n"), VL_EBADFILE, 1},
      {with_abmon_count(t, "12x\n"), VL_EBADFILE, 1},  {with_abmon_count(t, ""), VL_EBADFILE, 1},
      {with_abmon_count(t, "2000000000\n"), VL_ENOMEM, 1},  // beyond any locale: refused before allocating
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.text.substr(0, 40));
    free_ltime(h, &h->time);
    h->time.era_count = 5;  // the category is cleared first
    err = 0;
    const long before = g_live;
    EXPECT_EQ(_vl_read_time(Stream{c.text}.f, &h->time, &err), c.err ? -1 : 0);
    EXPECT_EQ(std::to_string(err) + " " + std::to_string(h->time.calendar), std::to_string(c.err) + " " + std::to_string(c.calendar));
    if (c.err)  // only the day lists were read
      EXPECT_TRUE(!h->time.abmon && g_live - before + h->time.era_count == (c.calendar ? 14 : 0)) << g_live - before;
    else EXPECT_EQ(mb(vl_calendar_name(c.calendar)) + "\n", c.text.substr(0, c.text.find('\n') + 1));
  }
  EXPECT_TRUE(!vl_calendar_name(0) && !vl_calendar_name(5));
  EXPECT_EQ(_vl_read_time(Stream{good}.f, &h->time, nullptr), -1);
}

TEST_F(TimeTest, StringFailuresAre3AndLeavePartialLists) {
  const std::string text = time_section(kFull);
  std::string bad = text;  // "Wed" without its line feed: the string reader's own error becomes 3
  bad.erase(bad.find(str_item("Wed")) + str_item("Wed").size() - 1, 1);
  EXPECT_EQ(read(bad), -1);
  EXPECT_EQ(err, VL_ENOMEM);
  EXPECT_EQ(mb(h->time.abday[2]) + mb(h->time.abday[3]) + mb(h->time.day[0]), "Tue<null><null>");
  EXPECT_EQ(read(text.substr(0, text.find(str_item("Mar")))), -1);  // a list keeps what it read
  ASSERT_EQ(h->time.abmon_count, 12);
  EXPECT_EQ(mb(h->time.abmon[1]) + mb(h->time.abmon[2]) + mb(h->time.abmon[11]), "Feb<null><null>");
  EXPECT_EQ(read(text.substr(0, text.rfind(str_item("three")))), -1);  // the last list frees its own
  EXPECT_TRUE(!h->time.alt_digits && !h->time.alt_digits_count && h->time.era_count == 3 && h->time.era_strings);
  for (size_t n = 0; n < text.size(); ++n) {  // a cut anywhere fails with 3 or 11
    ASSERT_EQ(read(text.substr(0, n)), -1) << n;
    EXPECT_TRUE(err == VL_ENOMEM || err == VL_EBADFILE) << n << " err " << err;
  }
}

// ---- lists, counts and joined texts -------------------------------------------------

TEST_F(TimeTest, ListShapes) {
  TimeSpec t;
  t.abmon = {};
  ASSERT_EQ(read(with_abmon_count(t, "-3\n")), 0);  // a count below 1 leaves the array null
  EXPECT_EQ(h->time.abmon_count, -3);
  ASSERT_EQ(init_time_info(h), 1);
  EXPECT_TRUE(!h->time.abmon && !h->time.w_abmon[0] && !*vl_nl_langinfo(h, VL_ABMON_1));
  t.abmon = {"Jan", "Feb", "Mar"};  // fewer than the year has: the wide list follows the full count
  ASSERT_EQ(load(t), 1);
  EXPECT_EQ(wide_text(h->time.w_abmon[2]) + wide_text(h->time.w_abmon[3]) + wide_text(h->time.w_abmon[11]) +
                vl_nl_langinfo(h, VL_ABMON_4), "Mar<null><null>");
  EXPECT_EQ(_vl_wc_cache_count(cache(h, VL_CACHE_ABMON)), 3);
  t.abmon = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l", "m"};  // more
  ASSERT_EQ(load(t), 1);
  EXPECT_EQ(wide_text(h->time.w_abmon[11]), "l");
  EXPECT_EQ(_vl_wc_cache_count(cache(h, VL_CACHE_ABMON)), 13);
  t.mon = {};
  ASSERT_EQ(load(t), 1);
  EXPECT_TRUE(!h->time.w_mon && !h->time.w_abmon);  // both sized by the full list
  EXPECT_EQ(_vl_wc_cache_count(cache(h, VL_CACHE_MON)), 0);
  t.calendar = "hebrew";
  t.mon = t.abmon = {"Tishri", "Heshvan", "Kislev", "Tevet", "Shevat", "AdarI", "AdarII",
                     "Nisan",  "Iyyar",   "Sivan",  "Tammuz", "Av",    "Elul"};
  ASSERT_EQ(load(t), 1);
  EXPECT_EQ(std::string(vl_nl_langinfo(h, VL_MON_13)) + vl_nl_langinfo(h, VL_ABMON_13) + wide_text(h->time.w_mon[12]),
            "ElulElulElul");
  t = TimeSpec{};
  t.am_str = t.pm_str = "";  // empty strings are kept, and cached once with AM's index
  ASSERT_EQ(load(t), 1);
  EXPECT_TRUE(four_zeros_after(h->time.am_str, 0) && h->time.w_am_str && !*h->time.w_am_str);
  EXPECT_EQ(_vl_wc_cache_count(cache(h, VL_CACHE_AMPM)), 1);
  EXPECT_EQ(lookup(cache(h, VL_CACHE_AMPM), ""), 0);
}

// The digit texts are joined only together with the eras (with eras: EveryItemInEveryForm).
TEST_F(TimeTest, JoinedTextsNeedEras) {
  ASSERT_EQ(load(spec({}, {"0", "1"})), 1);
  EXPECT_TRUE(!h->time.era_concat && !h->time.w_era_concat && !h->time.alt_digits_concat && !h->time.w_alt_digits_concat);
  EXPECT_EQ(std::tuple(vl_get_era_count(h), vl_get_era_count(nullptr), h->time.w_alt_digits != nullptr), std::tuple(0, -1, true));
}

// ---- eras ---------------------------------------------------------------------------

TEST_F(TimeTest, EraForms) {
  // direction offset start end marker name|name2|format
  const std::pair<const char *, const char *> cases[] = {
      {kHeisei, "1 1 1989/1/8 0/0/0 1 Heisei|H|%EC%Ey"},  {kShowa, "1 1 1926/12/25 1989/1/7 0 Showa|S|%EC%Ey"},
      {kBC, "-1 1 -1/12/31 0/0/0 -1 BC|B|%Ey %EC"},  {"-:-5:2000/2/3:+*:a:b:c", "-1 -5 2000/2/3 0/0/0 1 a|b|c"},
      {"+:0:1/1/1:-5/-6/-7:N:M:F", "1 0 1/1/1 -5/-6/-7 0 N|M|F"},
      {"+:0://:+*:A:B:C", "1 0 0/0/0 0/0/0 1 A|B|C"},  // a start without digits reads 0
      {"+:-:-/-/-:-*:A:B:C", "1 0 0/0/0 0/0/0 -1 A|B|C"},  {"+::1/2/3:4/5/6:::", "1 0 1/2/3 4/5/6 0 ||"},
      {"+:7:1/2/3:+*:n:n2:fmt:with:colons", "1 7 1/2/3 0/0/0 1 n|n2|fmt:with:colons"},
      {"+:99999999999:1/2/3:+*:n:m:f", "1 2147483647 1/2/3 0/0/0 1 n|m|f"},
      {"+:0:1/2/3:+*:na me:\xE9:%Y \xE9", "1 0 1/2/3 0/0/0 1 na me|\xE9|%Y \xE9"},
  };
  for (const auto &[text, want] : cases) {
    ASSERT_EQ(load(spec({text})), 1) << text << " " << h->vl_errno;
    const era_record &e = *h->time.era_info[0];
    char got[128];
    snprintf(got, sizeof got, "%d %d %d/%d/%d %d/%d/%d %d ", e.direction, e.offset, e.start_year, e.start_month,
             e.start_day, e.end_year, e.end_month, e.end_day, e.end_marker);
    EXPECT_EQ(got + mb(e.era_name) + "|" + mb(e.era_name2) + "|" + wide_text(e.w_era_format), want);
    EXPECT_TRUE(four_zeros_after(e.era_name2, strlen(e.era_name2)) && four_zeros_after(e.era_format, strlen(e.era_format)));
  }
  const char *bad[] = {"",  "+0:1/1/1:+*:a:b:c",  "+:+5:1/1/1:+*:a:b:c",  "+:0:1/1:+*:a:b:c",
                       "+:0:1/1/1:*:a:b:c",  "+:0:1/1/1:1/1:a:b:c",  "+:0:1/1/1:+*:name",  "+:0:1/1/1:+*:name:name2",
                       "+:0:1989/01/08:+*x:Heisei:H:%EC"};
  for (const char *text : bad) {  // a missing or malformed field is 49
    h->vl_errno = 0;
    const int rc = load(spec({kHeisei, text}));
    EXPECT_EQ(std::tuple(rc, h->vl_errno, h->time.era_info), std::tuple(-1, VL_EERA, nullptr)) << "'" << text << "'";
  }
}

TEST_F(TimeTest, EraRecordsDirectly) {
  ASSERT_EQ(read(time_section(spec({kShowa, "bad"}))), 0);
  era_record r;
  ASSERT_EQ(get_era_struct(h, &r, 0), 0);
  EXPECT_EQ(mb(r.era_name) + "|" + wide_text(r.w_era_format), "Showa|<null>");
  for (void *p : {(void *)r.era_name, (void *)r.era_name2, (void *)r.era_format}) _vl_free_ptr(p);
  const std::pair<int32_t, uint32_t> failures[] = {{1, VL_EERA}, {2, VL_EBADCOUNT}, {-1, VL_EBADCOUNT}};
  for (const auto &[index, error] : failures) {
    h->vl_errno = 0;
    const int rc = get_era_struct(h, &r, index);
    EXPECT_EQ(std::pair(rc, h->vl_errno), std::pair(-1, error)) << index;
  }
  EXPECT_EQ(get_era_struct(h, nullptr, 0), -1);
  ASSERT_EQ(load(kFull), 1);
  char *concat = h->time.era_concat;
  ASSERT_EQ(init_era_info(h), 0);  // a second run replaces the records and keeps the joined text
  EXPECT_TRUE(!h->time.era_info[0]->w_era_format && h->time.era_concat == concat);
  EXPECT_EQ(mb(h->time.era_info[1]->era_name), "Showa");
  ASSERT_EQ(load(TimeSpec{}), 1);
  EXPECT_EQ(init_era_info(h), 0);
  EXPECT_TRUE(!h->time.era_info && !h->time.era_concat);
  era_cleanup(nullptr, 3);
  auto **a = static_cast<era_record **>(_vl_alloc_ptr(3 * sizeof(era_record *)));
  a[0] = a[2] = nullptr;  // gaps are tolerated
  a[1] = static_cast<era_record *>(memset(_vl_alloc_ptr(sizeof(era_record)), 0, sizeof(era_record)));
  a[1]->era_name = static_cast<char *>(_vl_alloc_ptr(8));
  era_cleanup(a, 3);  // the fixture checks that all three blocks went
}

TEST_F(TimeTest, EraFieldReaders) {
  struct Num { std::vector<vl_wchar> text; int32_t want; size_t used; };
  const Num nums[] = {{W("-12x"), -12, 3},  {W("x"), 0, 0},  {W("-"), 0, 1},  {W("+5"), 0, 0},
                      {W("99999999999999999999"), INT32_MAX, 20},  {W("-99999999999999999999"), INT32_MIN, 21},
                      {{0xA3B1, 0}, 0, 0}};  // full-width digits are not ASCII digits
  for (const Num &c : nums) {
    const vl_wchar *end = nullptr;
    EXPECT_EQ(wstrtoi(c.text.data(), &end), c.want) << wide_text(c.text.data());
    EXPECT_EQ(end, c.text.data() + c.used);
  }
  EXPECT_EQ(wstrtoi(W("0042/").data(), nullptr), 42);
  struct Copy { const char *text; vl_wchar stop; const char *want; uint32_t err; long countdown; };  // text, its end
  const Copy copies[] = {{"ab:c", ':', "ab 2", 0, -1},  {"ab:c", 0, "ab:c 4", 0, -1},  {":x", ':', " 0", 0, -1},
                         {"abc", ':', "<null> 0", VL_EERA, -1},  {"ab:c", ':', "<null> 2", VL_ENOMEM, 0}};
  for (const Copy &c : copies) {
    auto w = W(c.text);
    const vl_wchar *end = w.data();
    h->vl_errno = 0;
    char *s = failing_after(c.countdown, [&] { return alloc_mbs_copy(h, w.data(), c.stop, &end); });
    EXPECT_EQ(mb(s) + " " + std::to_string(end - w.data()) + " " + std::to_string(h->vl_errno),
              c.want + (" " + std::to_string(c.err)));
    EXPECT_TRUE(!s || four_zeros_after(s, strlen(s)));
    _vl_free_ptr(s);
  }
}

// ---- caches -------------------------------------------------------------------------

TEST_F(TimeTest, CachesMapNamesToIndexes) {
  ASSERT_EQ(load(kFull), 1);
  struct Case { int slot; const char *text; int32_t n, exact, prefix, matched; };
  const Case cases[] = {{VL_CACHE_MON, "March", -1, 2, 2, 5},  {VL_CACHE_MON, "march", -1, -1, -1, 0},
                        {VL_CACHE_ABMON, "Mar", -1, 2, 2, 3},  {VL_CACHE_DAY, "Sunday", -1, 0, 0, 6},
                        {VL_CACHE_ABDAY, "Sat", -1, 6, 6, 3},  {VL_CACHE_ERA_NAME, "Showa", -1, 1, 1, 5},
                        {VL_CACHE_ERA_NAME2, "B", -1, 2, 2, 1},  {VL_CACHE_ALT_DIGITS, "three", -1, 3, 3, 5},
                        {VL_CACHE_AMPM, "PM", -1, 1, 1, 2},  {VL_CACHE_MON, "Mayday", 3, 4, 4, 3},
                        {VL_CACHE_ABMON, "June 5", -1, -1, 5, 3}};  // the longest cached prefix
  for (const Case &c : cases) {
    int32_t matched = -1;
    const int32_t prefix = _vl_lookup_wc_prefix(cache(h, c.slot), W(c.text).data(), c.n, &matched);
    EXPECT_EQ(std::tuple(lookup(cache(h, c.slot), c.text, c.n), prefix, matched), std::tuple(c.exact, c.prefix, c.matched)) << c.text;
  }
  const long live = g_live;  // the finisher may run again without growing
  ASSERT_EQ(init_time_info(h), 1);
  EXPECT_EQ(g_live, live);
  void *era_names = h->time.caches[VL_CACHE_ERA_NAME];
  const int rc = failing_after(0, [&] { return cache_strings_for_lookup(h); });  // a failed cache keeps the old tree
  EXPECT_EQ(std::tuple(rc, h->vl_errno, h->time.caches[VL_CACHE_ERA_NAME]), std::tuple(-1, VL_ENOMEM, era_names));
}

TEST(WcCache, ExactAndPrefixLookups) {
  const long live = g_live;
  vl_wc_cache *c = _vl_create_wc_cache();
  auto prefix = [&c](const std::vector<vl_wchar> &k, int32_t n = -1) {  // index/matched length
    int32_t m = -1;
    const int32_t r = _vl_lookup_wc_prefix(c, k.data(), n, &m);
    return std::to_string(r) + "/" + std::to_string(m);
  };
  EXPECT_EQ(lookup(c, "a") + _vl_lookup_wc_prefix(c, W("a").data(), -1, nullptr), -2);  // empty
  const char *words[] = {"to", "tea", "ted", "ten", "i", "in", "inn", "A"};
  for (int i = 0; i < 8; ++i) ASSERT_EQ(_vl_cache_wc_string(c, W(words[i]).data(), i), 0);
  EXPECT_EQ(_vl_cache_wc_string(c, W("tea").data(), 99) + _vl_wc_cache_count(c), 8);  // a string's first index stays
  for (int i = 0; i < 8; ++i) EXPECT_EQ(lookup(c, words[i]), i) << words[i];
  for (const char *miss : {"te", "t", ""}) EXPECT_EQ(lookup(c, miss), -1) << miss;
  EXPECT_EQ(_vl_lookup_wc_string(c, nullptr, 0) + _vl_lookup_wc_string(c, nullptr, 3), -2);
  EXPECT_EQ(prefix(W("innate")) + " " + prefix(W("innate"), 2) + " " + prefix(W("tex")), "6/3 5/2 -1/0");
  ASSERT_EQ(_vl_cache_wc_string(c, W("").data(), 8), 0);  // the empty string matches as an empty prefix
  EXPECT_EQ(std::to_string(lookup(c, "")) + " " + prefix(W("xyz")), "8 8/0");
  EXPECT_EQ(_vl_cache_wc_string(c, nullptr, 1) + _vl_cache_wc_string(c, W("x").data(), -1) +
                _vl_cache_wc_string(nullptr, W("x").data(), 1) + lookup(nullptr, "x") + _vl_wc_cache_count(nullptr),
            -4);  // bad arguments
  _vl_free_wc_cache(c);
  _vl_free_wc_cache(nullptr);
  c = _vl_create_wc_cache();  // many keys of two-byte values sharing prefixes
  auto key = [](int n) {
    std::vector<vl_wchar> k;
    for (char d : std::to_string(n)) k.push_back(0xA3B0u + static_cast<vl_wchar>(d - '0'));
    return k.push_back(0), k;
  };
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(_vl_cache_wc_string(c, key(i).data(), i), 0);
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(_vl_lookup_wc_string(c, key(i).data(), -1), i);
  auto k = key(4999);
  k.insert(k.end() - 1, 0xA3B0u);  // "49990": the longest cached prefix is 4999
  EXPECT_EQ(prefix(k) + " " + std::to_string(_vl_lookup_wc_string(c, k.data(), -1)), "4999/4 -1");
  _vl_free_wc_cache(c);
  EXPECT_EQ(failing_after(0, _vl_create_wc_cache), nullptr);  // out of memory
  c = _vl_create_wc_cache();
  EXPECT_EQ(failing_after(0, [&] { return _vl_cache_wc_string(c, W("abc").data(), 0); }), -1);
  EXPECT_EQ(lookup(c, "abc"), -1);
  EXPECT_EQ(_vl_cache_wc_string(c, W("abc").data(), 0) + lookup(c, "abc"), 0);
  _vl_free_wc_cache(c);
  EXPECT_EQ(g_live, live);
}

// ---- the finisher's failures ------------------------------------------------------------

TEST_F(TimeTest, EveryAllocationFailureIsClean) {
  bool finished = false;
  for (long n = 0; n < 2000 && !finished; ++n) {
    h->vl_errno = 0;
    const int f = failing_after(n, [&] { return read(time_section(kFull)) ? -2 : init_time_info(h); });
    if (!(finished = f == 1)) { EXPECT_EQ(f * 100 + (f == -2 ? err : (int)h->vl_errno), f * 100 + VL_ENOMEM) << n; }
    EXPECT_TRUE(f == 1 || f == -1 || f == -2) << n;
  }
  EXPECT_TRUE(finished);
}

TEST_F(TimeTest, FinisherPreconditions) {
  multi_t *tree = std::exchange(h->ctype.ctype_tree, nullptr);
  EXPECT_EQ(init_time_info(h), -1);
  h->ctype.ctype_tree = tree;
  vl_locale_t *n = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&n), 0);
  ASSERT_EQ(_vl_read_time(Stream{time_section(kFull)}.f, &n->time, &err), 0);
  EXPECT_EQ(init_time_info(n), 0);  // an empty LC_CTYPE tree
  EXPECT_TRUE(n->vl_errno == VL_ECATINIT && !n->time.era_info) << n->vl_errno;
  vl_lc_unload(n);
}

TEST(TimeEuc, MultibyteNamesErasAndInvalidText) {
  const long live = g_live;
  vl_locale_t *h = make_handle(euc_spec());
  TimeSpec t = spec({"+:1:2019/05/01:+*:\xCE\xE1\xCF\xC2:R:\xCE\xE1\xCF\xC2%Ey\xC7\xAF"}, {"\xA1\xBB", "\xB0\xEC"});
  t.abday[0] = "\xC6\xFC";  // one two-byte character
  t.mon[0] = "1\xB7\xEE";   // a digit and a character
  int32_t err = 0;
  ASSERT_EQ(_vl_read_time(Stream{time_section(t)}.f, &h->time, &err), 0);
  ASSERT_EQ(init_time_info(h), 1) << h->vl_errno;
  const time_category &c = h->time;
  EXPECT_EQ(wide_text(c.w_abday[0]) + wide_text(c.w_mon[0]), "<50940>1<47086>");
  EXPECT_EQ(mb(c.era_info[0]->era_name) + "|" + wide_text(c.era_info[0]->w_era_format) + "|" + mb(c.alt_digits_concat),
            "\xCE\xE1\xCF\xC2|<52961><53186>%Ey<51119>|\xA1\xBB\n\xB0\xEC");
  const std::vector<vl_wchar> name = {0xCEE1, 0xCFC2, 0}, one = {0xB0EC, 0};
  EXPECT_EQ(_vl_lookup_wc_string(cache(h, VL_CACHE_ERA_NAME), name.data(), -1), 0);
  EXPECT_EQ(_vl_lookup_wc_string(cache(h, VL_CACHE_ALT_DIGITS), one.data(), -1), 1);
  TimeSpec broken_month;
  broken_month.mon[3] = "Ap\xFF";  // no text of the codeset; below, a name that breaks off inside a character
  for (const TimeSpec &b : {spec({"+:1:2019/05/01:+*:\xCE:R:x"}), broken_month}) {
    free_ltime(h, &h->time);
    ASSERT_EQ(_vl_read_time(Stream{time_section(b)}.f, &h->time, &err), 0);
    h->vl_errno = 0;
    const int rc = init_time_info(h);
    EXPECT_EQ(std::tuple(rc, h->vl_errno, h->time.era_info), std::tuple(-1, VL_EILSEQ, nullptr));
  }
  vl_lc_unload(h);
  EXPECT_EQ(g_live, live);
}

// ---- through the locale file frame ----------------------------------------------------

namespace {

class TimeFiles : public ::testing::Test {
 protected:
  TempDir dir;
  EnvVar kvx{"KELVANIXDIR", dir.path().c_str()}, vlpath{"VL_PATH", nullptr}, all{"VL_ALL", nullptr},
      lang{"VL_LANG", nullptr}, time_env{"VL_TIME", nullptr};
  vl_locale_t *h = nullptr;
  LocaleFile latin;
  const std::string lc11 = dir.path() + "/vls/lc11/";

  void SetUp() override {
    dir.write("vls/cm3/registry", "# test registry\n8859-1 819\nujis 57351\n");
    latin.ctype = latin1_spec();
  }
  void TearDown() override { vl_lc_unload(h); }
  void lc(const std::string &name, const std::string &text) { dir.write("vls/lc11/" + name, text); }
  static TimeSpec full(const char *calendar = "gregorian", std::vector<std::string> eras = {kHeisei, kShowa}) {
    return spec(eras, {"o", "i", "ii"}, calendar);
  }
};

}  // namespace

// One category replaced by a file: a good one, and sections whose era or
// calendar fails.
TEST_F(TimeFiles, OneCategoryAndItsReplacement) {
  lc("default.lco", lco_text_with_time(latin, full()));
  ASSERT_EQ(vl_createlocale2_4(&h, lc11.c_str()), 0);
  const std::tuple<const char *, TimeSpec, uint32_t> cases[] = {
      {"heb.lco", full("hebrew", {}), 0}, {"era.lco", full("gregorian", {kHeisei, "+:0:1/1/1:+*:only-a-name"}), VL_EERA},
      {"bad.lco", full("lunar"), VL_EBADCALENDAR}};  // a reader's failure leaves the category null
  for (const auto &[file, t, error] : cases) {
    lc(file, category_text("8859-1", VL_LC_TIME, time_section(t)));
    char *r = vl_setlocale_4(h, VL_LC_TIME, file);
    EXPECT_EQ(std::tuple(r != nullptr, h->vl_errno), std::tuple(!error, error)) << file;
    vl_destroystring(r);
  }
  for (int item : {VL_CALENDAR, VL_TIME_LOCALE, VL_MON_1}) EXPECT_STREQ(vl_nl_langinfo(h, item), "") << item;
  vl_destroystring(vl_setlocale_4(h, VL_LC_TIME, "heb.lco"));
  EXPECT_EQ(std::string(vl_nl_langinfo(h, VL_CALENDAR)) + " " + vl_nl_langinfo(h, VL_TIME_LOCALE), "hebrew heb.lco");
  EXPECT_TRUE(vl_get_era_count(h) == 0 && !h->time.era_info);
}

TEST_F(TimeFiles, WholeLocaleAndACopyWithoutEraRecords) {
  lc("default.lco", lco_text_with_time(latin, full()));
  ASSERT_EQ(vl_createlocale2_4(&h, lc11.c_str()), 0) << (h ? h->vl_errno : 0);
  const std::pair<int, const char *> items[] = {
      {VL_MON_2, "February"},  {VL_TIME_LOCALE, "default.lco"},  {VL_CODESET, "8859-1"},  {VL_RADIXCHAR, "."},
      {VL_THOUSEP, ","},  {VL_CRNCYSTR, "$"},  {VL_ALT_DIGITS, "o\ni\nii"},
      {VL_YESSTR, "yes"}};  // the section after LC_TIME was found and read
  for (const auto &[item, want] : items) EXPECT_STREQ(vl_nl_langinfo(h, item), want) << item;
  const long live = g_live;
  vl_locale_t *target = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&target), 0);
  ASSERT_EQ(vl_copy_cat(target, h, VL_LC_ALL), 0) << target->vl_errno;
  EXPECT_TRUE(!target->time.era_info && vl_get_era_count(target) == 2);
  EXPECT_TRUE(target->time.era_strings == h->time.era_strings && target->time.w_mon == h->time.w_mon &&
              target->time.caches[VL_CACHE_MON] == h->time.caches[VL_CACHE_MON]);
  EXPECT_STREQ(vl_nl_langinfo(target, VL_ERA), vl_nl_langinfo(h, VL_ERA));
  char *concat = h->time.era_concat;  // the target may make its own records; the shared texts stay
  ASSERT_EQ(init_era_info(target), 0);
  EXPECT_NE(target->time.era_info, h->time.era_info);
  EXPECT_TRUE(target->time.era_concat == concat && h->time.era_concat == concat);
  EXPECT_EQ(target->time.era_info[0]->start_year, 1989);
  vl_free_nonshared_loc(target);  // takes its own era records along, nothing shared
  EXPECT_EQ(g_live, live);
  EXPECT_EQ(mb(h->time.era_info[1]->era_name), "Showa");
}
