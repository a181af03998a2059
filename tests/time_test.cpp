// Time category: the section reader and its failures, eras, alternative
// digits, wide forms, lookup caches, sharing between handles, loading
// through the locale file frame and the language information items.
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <vls/vlscat.h>
#include <vls/vlsmbwc.h>
#include <vls/vlstime.h>

#include "lcofix.h"
#include "timefix.h"
#include "vlstest.h"

using namespace vlstest;

namespace {

// ---- counting allocator in the host table ------------------------------------

long g_live = 0;       // blocks handed out and not yet freed
long g_countdown = -1;  // allocations left before failing; -1 never fails

void *counting_malloc(size_t n) {
  if (g_countdown == 0) return nullptr;
  if (g_countdown > 0) --g_countdown;
  void *p = malloc(n);
  if (p) ++g_live;
  return p;
}

void counting_free(void *p) {
  if (p) --g_live;
  free(p);
}

class CountingAllocator : public ::testing::Environment {
 public:
  void SetUp() override {
    _vl_set_ext_funcptr(VL_EXT_MALLOC, reinterpret_cast<void *>(counting_malloc));
    _vl_set_ext_funcptr(VL_EXT_FREE, reinterpret_cast<void *>(counting_free));
  }
};
[[maybe_unused]] const auto *const g_env = ::testing::AddGlobalTestEnvironment(new CountingAllocator);

// ---- streams and wide texts ----------------------------------------------------

class MemStream {
 public:
  explicit MemStream(std::string text) : text_(std::move(text)) {
    f_ = text_.empty() ? tmpfile() : fmemopen(text_.data(), text_.size(), "r");
  }
  ~MemStream() {
    if (f_) fclose(f_);
  }
  FILE *get() const { return f_; }

 private:
  std::string text_;
  FILE *f_;
};

// Wide form of text in a one-byte-per-value codeset.
std::vector<vl_wchar> W(const std::string &s) {
  std::vector<vl_wchar> w;
  for (unsigned char c : s) w.push_back(c);
  w.push_back(0);
  return w;
}

std::string mb(const char *s) { return s ? std::string(s) : std::string("<null>"); }

std::string wide_text(const vl_wchar *w) {
  if (!w) return "<null>";
  std::string out;
  for (; *w; ++w) {
    if (*w < 0x100) {
      out += static_cast<char>(*w);
    } else {
      char buf[16];
      snprintf(buf, sizeof buf, "<%X>", *w);
      out += buf;
    }
  }
  return out;
}

bool four_zeros_after(const char *s, size_t n) {
  return s && s[n] == 0 && s[n + 1] == 0 && s[n + 2] == 0 && s[n + 3] == 0;
}

// Offset of the abbreviated month count in a section.
size_t abmon_count_at(const TimeSpec &t) {
  std::string p = t.calendar + "\n";
  for (const auto &d : t.abday) p += str_item(d);
  for (const auto &d : t.day) p += str_item(d);
  return p.size();
}

const char kHeisei[] = "+:1:1989/01/08:+*:Heisei:H:%EC%Ey";
const char kShowa[] = "+:1:1926/12/25:1989/01/07:Showa:S:%EC%Ey";
const char kBC[] = "-:1:-0001/12/31:-*:BC:B:%Ey %EC";

// A handle with a Latin-1 LC_CTYPE; the time category is read straight
// into it. Every test ends with no library block left behind.
class TimeTest : public ::testing::Test {
 protected:
  vl_locale_t *h = nullptr;
  long live_at_start = 0;

  void SetUp() override {
    g_countdown = -1;
    live_at_start = g_live;
    h = make_handle(latin1_spec());
    ASSERT_NE(h, nullptr);
  }
  void TearDown() override {
    g_countdown = -1;
    vl_lc_unload(h);
    EXPECT_EQ(g_live, live_at_start) << "blocks left behind";
  }
  int read(const std::string &text, int32_t *err) {
    MemStream s(text);
    return _vl_read_time(s.get(), &h->time, err);
  }
  // Reads and finishes; the finisher's result, or -100 when the read failed.
  int load(const TimeSpec &t) {
    int32_t err = 0;
    if (read(time_section(t), &err) != 0) return -100 - err;
    return init_time_info(h);
  }
  static TimeSpec with_eras() {
    TimeSpec t;
    t.eras = {kHeisei, kShowa, kBC};
    t.alt_digits = {"zero", "one", "two", "three"};
    return t;
  }
};

}  // namespace

// ---- the reader ----------------------------------------------------------------

TEST_F(TimeTest, ReadsEveryItem) {
  TimeSpec t = with_eras();
  int32_t err = 0;
  ASSERT_EQ(read(time_section(t), &err), 0);
  EXPECT_EQ(err, 0);
  const time_category &c = h->time;
  EXPECT_EQ(c.calendar, VL_CAL_GREGORIAN);
  for (int i = 0; i < 7; ++i) {
    EXPECT_EQ(mb(c.abday[i]), t.abday[i]);
    EXPECT_EQ(mb(c.day[i]), t.day[i]);
    EXPECT_TRUE(four_zeros_after(c.day[i], t.day[i].size()));
  }
  ASSERT_EQ(c.abmon_count, 12);
  ASSERT_EQ(c.mon_count, 12);
  for (int i = 0; i < 12; ++i) {
    EXPECT_EQ(mb(c.abmon[i]), t.abmon[i]);
    EXPECT_EQ(mb(c.mon[i]), t.mon[i]);
  }
  EXPECT_EQ(mb(c.d_t_fmt), t.d_t_fmt);
  EXPECT_EQ(mb(c.d_fmt), t.d_fmt);
  EXPECT_EQ(mb(c.t_fmt), t.t_fmt);
  EXPECT_EQ(mb(c.am_str), "AM");
  EXPECT_EQ(mb(c.pm_str), "PM");
  EXPECT_EQ(mb(c.t_fmt_ampm), t.t_fmt_ampm);
  ASSERT_EQ(c.era_count, 3);
  EXPECT_EQ(mb(c.era_strings[0]), kHeisei);
  EXPECT_EQ(mb(c.era_strings[2]), kBC);
  EXPECT_EQ(mb(c.era_d_fmt), t.era_d_fmt);
  EXPECT_EQ(mb(c.era_t_fmt), t.era_t_fmt);
  EXPECT_EQ(mb(c.era_d_t_fmt), t.era_d_t_fmt);
  ASSERT_EQ(c.alt_digits_count, 4);
  EXPECT_EQ(mb(c.alt_digits[3]), "three");
  // nothing is derived before the finisher
  EXPECT_EQ(c.era_info, nullptr);
  EXPECT_EQ(c.w_d_fmt, nullptr);
  EXPECT_EQ(c.era_concat, nullptr);
  for (void *cache : c.caches) EXPECT_EQ(cache, nullptr);
}

TEST_F(TimeTest, ReadsTheSectionExactly) {
  // the reader stops at the end of its items
  TimeSpec t;
  MemStream s(time_section(t) + "### LC_MESSAGES\n");
  int32_t err = 0;
  ASSERT_EQ(_vl_read_time(s.get(), &h->time, &err), 0);
  char line[32];
  ASSERT_NE(fgets(line, sizeof line, s.get()), nullptr);
  EXPECT_STREQ(line, "### LC_MESSAGES\n");
}

TEST_F(TimeTest, CalendarTable) {
  const struct {
    const char *name;
    int32_t id;
  } cases[] = {{"gregorian", 1}, {"hebrew", 2}, {"islamic", 3}, {"arabic", 4}};
  for (const auto &k : cases) {
    TimeSpec t;
    t.calendar = k.name;
    int32_t err = 0;
    ASSERT_EQ(read(time_section(t), &err), 0) << k.name;
    EXPECT_EQ(h->time.calendar, k.id);
    EXPECT_STREQ(vl_calendar_name(k.id), k.name);
    free_ltime(h, &h->time);
  }
  EXPECT_EQ(vl_calendar_name(0), nullptr);
  EXPECT_EQ(vl_calendar_name(5), nullptr);
}

TEST_F(TimeTest, UnknownCalendarIs50) {
  for (const char *name : {"julian", "Gregorian", "gregorian ", " gregorian", "", "gregorianx", "arab"}) {
    TimeSpec t;
    t.calendar = name;
    int32_t err = 0;
    EXPECT_EQ(read(time_section(t), &err), -1) << name;
    EXPECT_EQ(err, 50) << name;
    EXPECT_EQ(h->time.calendar, 0);
    EXPECT_EQ(h->time.abday[0], nullptr);
    free_ltime(h, &h->time);
  }
}

TEST_F(TimeTest, CalendarLineWithoutLineFeedIs11) {
  for (const char *text : {"", "gregorian", "gre"}) {
    int32_t err = 0;
    EXPECT_EQ(read(text, &err), -1) << text;
    EXPECT_EQ(err, 11) << text;
  }
  // at most 31 bytes: a longer line is read in part and lacks its line feed
  int32_t err = 0;
  EXPECT_EQ(read(std::string(31, 'g') + "\n", &err), -1);
  EXPECT_EQ(err, 11);
  // 30 bytes and the line feed make a whole line, but no calendar
  err = 0;
  EXPECT_EQ(read(std::string(30, 'g') + "\n", &err), -1);
  EXPECT_EQ(err, 50);
}

TEST_F(TimeTest, NullErrorNumberFails) {
  MemStream s(time_section(TimeSpec{}));
  EXPECT_EQ(_vl_read_time(s.get(), &h->time, nullptr), -1);
}

TEST_F(TimeTest, StringFailureIs3WhateverItsCause) {
  // a string item that lacks its line feed reports 8 from the string
  // reader; the section reports 3
  TimeSpec t;
  std::string text = time_section(t);
  const std::string item = str_item("Wed");
  size_t at = text.find(item);
  ASSERT_NE(at, std::string::npos);
  text.erase(at + item.size() - 1, 1);  // drop the line feed of "Wed"
  int32_t err = 0;
  EXPECT_EQ(read(text, &err), -1);
  EXPECT_EQ(err, 3);
  EXPECT_EQ(mb(h->time.abday[2]), "Tue");
  EXPECT_EQ(h->time.abday[3], nullptr);
  EXPECT_EQ(h->time.abday[6], nullptr);
  EXPECT_EQ(h->time.day[0], nullptr);
}

TEST_F(TimeTest, TruncatedSectionFailsAtEveryPoint) {
  // Cut the section after every byte: each cut fails with 3 or 11, never
  // succeeds early, and leaves nothing behind once freed.
  const std::string text = time_section(with_eras());
  for (size_t n = 0; n < text.size(); ++n) {
    int32_t err = 0;
    ASSERT_EQ(read(text.substr(0, n), &err), -1) << n;
    EXPECT_TRUE(err == 3 || err == 11) << n << " err " << err;
    free_ltime(h, &h->time);
  }
}

TEST_F(TimeTest, CountWithoutLineFeedIs11) {
  TimeSpec t;
  const std::string text = time_section(t);
  const size_t at = abmon_count_at(t);
  ASSERT_EQ(text.substr(at, 3), "12\n");
  for (const char *count : {"12 \n", "x\n", "12x\n", "\n", ""}) {
    std::string bad = text;
    bad.replace(at, 3, count);
    int32_t err = 0;
    EXPECT_EQ(read(bad, &err), -1) << count;
    EXPECT_EQ(err, 11) << count;
    EXPECT_EQ(h->time.abmon, nullptr);
    free_ltime(h, &h->time);
  }
}

TEST_F(TimeTest, CountsBelowOneLeaveTheArrayNull) {
  for (const char *count : {"0\n", "-3\n"}) {
    TimeSpec t;
    t.abmon = {};
    std::string text = time_section(t);
    const size_t at = abmon_count_at(t);
    ASSERT_EQ(text.substr(at, 2), "0\n");
    text.replace(at, 2, count);
    int32_t err = 0;
    ASSERT_EQ(read(text, &err), 0) << count;
    EXPECT_EQ(h->time.abmon, nullptr);
    EXPECT_EQ(h->time.abmon_count, atoi(count));
    EXPECT_EQ(h->time.mon_count, 12);
    ASSERT_EQ(init_time_info(h), 1);
    EXPECT_STREQ(vl_nl_langinfo(h, VL_ABMON_1), "");
    EXPECT_EQ(h->time.w_abmon[0], nullptr);
    free_ltime(h, &h->time);
  }
}

TEST_F(TimeTest, CountBeyondAnyLocaleIs3) {
  TimeSpec t;
  std::string text = time_section(t);
  text.replace(abmon_count_at(t), 3, "2000000000\n");
  int32_t err = 0;
  long before = g_live;
  EXPECT_EQ(read(text, &err), -1);
  EXPECT_EQ(err, 3);
  EXPECT_EQ(h->time.abmon, nullptr);
  EXPECT_EQ(h->time.abmon_count, 0);
  EXPECT_EQ(g_live - before, 14);  // only the day lists were read
}

TEST_F(TimeTest, FailedListKeepsWhatItReadAndNullsTheRest) {
  TimeSpec t;
  std::string text = time_section(t);
  const size_t at = text.find(str_item("Mar"));
  text.erase(at);  // the stream ends after "Feb"
  int32_t err = 0;
  EXPECT_EQ(read(text, &err), -1);
  EXPECT_EQ(err, 3);
  ASSERT_NE(h->time.abmon, nullptr);
  EXPECT_EQ(h->time.abmon_count, 12);
  EXPECT_EQ(mb(h->time.abmon[1]), "Feb");
  for (int i = 2; i < 12; ++i) EXPECT_EQ(h->time.abmon[i], nullptr);
  // free_ltime releases the partial list (checked by the fixture)
}

TEST_F(TimeTest, FailedAltDigitsFreeWhatTheyRead) {
  TimeSpec t = with_eras();
  std::string text = time_section(t);
  text.erase(text.rfind(str_item("three")));
  int32_t err = 0;
  EXPECT_EQ(read(text, &err), -1);
  EXPECT_EQ(err, 3);
  EXPECT_EQ(h->time.alt_digits, nullptr);
  EXPECT_EQ(h->time.alt_digits_count, 0);
  // the lists before it stay for free_ltime
  EXPECT_EQ(h->time.era_count, 3);
  EXPECT_NE(h->time.era_strings, nullptr);
}

TEST_F(TimeTest, ReadClearsTheCategoryFirst) {
  h->time.calendar = 77;
  h->time.era_count = 5;
  int32_t err = 0;
  EXPECT_EQ(read("nothing\n", &err), -1);
  EXPECT_EQ(h->time.calendar, 0);
  EXPECT_EQ(h->time.era_count, 0);
}

TEST_F(TimeTest, EmptyStringsAreKept) {
  TimeSpec t;
  t.am_str = "";
  t.pm_str = "";
  t.t_fmt_ampm = "";
  ASSERT_EQ(load(t), 1);
  ASSERT_NE(h->time.am_str, nullptr);
  EXPECT_TRUE(four_zeros_after(h->time.am_str, 0));
  ASSERT_NE(h->time.w_am_str, nullptr);
  EXPECT_EQ(h->time.w_am_str[0], 0u);
  // the AM/PM cache holds the empty string once, with AM's index
  auto *c = static_cast<vl_wc_cache *>(h->time.caches[VL_CACHE_AMPM]);
  EXPECT_EQ(_vl_wc_cache_count(c), 1);
  EXPECT_EQ(_vl_lookup_wc_string(c, W("").data(), -1), 0);
}

// ---- the finisher ----------------------------------------------------------------

TEST_F(TimeTest, FinisherWidensEverything) {
  TimeSpec t = with_eras();
  t.mon[4] = "Mai\xE9";  // Latin-1 e acute
  ASSERT_EQ(load(t), 1);
  const time_category &c = h->time;
  EXPECT_EQ(wide_text(c.w_d_fmt), t.d_fmt);
  EXPECT_EQ(wide_text(c.w_t_fmt), t.t_fmt);
  EXPECT_EQ(wide_text(c.w_d_t_fmt), t.d_t_fmt);
  EXPECT_EQ(wide_text(c.w_t_fmt_ampm), t.t_fmt_ampm);
  EXPECT_EQ(wide_text(c.w_era_d_fmt), t.era_d_fmt);
  EXPECT_EQ(wide_text(c.w_era_t_fmt), t.era_t_fmt);
  EXPECT_EQ(wide_text(c.w_era_d_t_fmt), t.era_d_t_fmt);
  for (int i = 0; i < 7; ++i) {
    EXPECT_EQ(wide_text(c.w_day[i]), t.day[i]);
    EXPECT_EQ(wide_text(c.w_abday[i]), t.abday[i]);
  }
  for (int i = 0; i < 12; ++i) {
    EXPECT_EQ(wide_text(c.w_mon[i]), t.mon[i]);
    EXPECT_EQ(wide_text(c.w_abmon[i]), t.abmon[i]);
  }
  EXPECT_EQ(c.w_mon[4][3], 0xE9u);
  EXPECT_EQ(wide_text(c.w_am_str), "AM");
  EXPECT_EQ(wide_text(c.w_pm_str), "PM");
  for (int i = 0; i < 4; ++i) EXPECT_EQ(wide_text(c.w_alt_digits[i]), t.alt_digits[i]);
  ASSERT_NE(c.era_info, nullptr);
  EXPECT_EQ(wide_text(c.era_info[0]->w_era_format), "%EC%Ey");
  EXPECT_EQ(wide_text(c.era_info[2]->w_era_format), "%Ey %EC");
  EXPECT_EQ(wide_text(c.w_era_concat), std::string(kHeisei) + "\n" + kShowa + "\n" + kBC);
  EXPECT_EQ(wide_text(c.w_alt_digits_concat), "zero\none\ntwo\nthree");
}

TEST_F(TimeTest, FinisherOnNullLocaleIs57) {
  vl_locale_t *n = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&n), 0);
  MemStream s(time_section(with_eras()));
  int32_t err = 0;
  ASSERT_EQ(_vl_read_time(s.get(), &n->time, &err), 0);
  EXPECT_EQ(init_time_info(n), 0);
  EXPECT_EQ(n->vl_errno, 57u);
  EXPECT_EQ(n->time.era_info, nullptr);  // nothing was parsed
  vl_lc_unload(n);
}

TEST_F(TimeTest, FinisherWithoutCtypeTreeFails) {
  multi_t *tree = h->ctype.ctype_tree;
  h->ctype.ctype_tree = nullptr;
  EXPECT_EQ(init_time_info(h), -1);
  h->ctype.ctype_tree = tree;
}

TEST_F(TimeTest, NoErasStillLoads) {
  TimeSpec t;
  t.alt_digits = {"0", "1"};
  ASSERT_EQ(load(t), 1);
  EXPECT_EQ(vl_get_era_count(h), 0);
  EXPECT_EQ(h->time.era_info, nullptr);
  EXPECT_EQ(h->time.era_concat, nullptr);
  EXPECT_EQ(h->time.w_era_concat, nullptr);
  // the digit texts are joined only together with the eras
  EXPECT_EQ(h->time.alt_digits_concat, nullptr);
  EXPECT_EQ(h->time.w_alt_digits_concat, nullptr);
  EXPECT_STREQ(vl_nl_langinfo(h, VL_ALT_DIGITS), "");
  // the digits themselves are there
  ASSERT_NE(h->time.w_alt_digits, nullptr);
  EXPECT_EQ(wide_text(h->time.w_alt_digits[1]), "1");
}

TEST_F(TimeTest, ErasWithoutAltDigitsJoinAnEmptyText) {
  TimeSpec t;
  t.eras = {kHeisei};
  ASSERT_EQ(load(t), 1);
  EXPECT_EQ(vl_get_era_count(h), 1);
  EXPECT_EQ(mb(h->time.era_concat), kHeisei);
  ASSERT_NE(h->time.alt_digits_concat, nullptr);
  EXPECT_TRUE(four_zeros_after(h->time.alt_digits_concat, 0));
  EXPECT_EQ(h->time.w_alt_digits, nullptr);
}

TEST_F(TimeTest, JoinedTextsEndInFourZeros) {
  ASSERT_EQ(load(with_eras()), 1);
  const std::string eras = std::string(kHeisei) + "\n" + kShowa + "\n" + kBC;
  EXPECT_EQ(mb(h->time.era_concat), eras);
  EXPECT_TRUE(four_zeros_after(h->time.era_concat, eras.size()));
  EXPECT_EQ(mb(h->time.alt_digits_concat), "zero\none\ntwo\nthree");
  EXPECT_TRUE(four_zeros_after(h->time.alt_digits_concat, 18));
}

TEST_F(TimeTest, EraCountOfNullHandle) { EXPECT_EQ(vl_get_era_count(nullptr), -1); }

// ---- eras ---------------------------------------------------------------------------

TEST_F(TimeTest, EraFieldsAreParsed) {
  ASSERT_EQ(load(with_eras()), 1);
  ASSERT_EQ(vl_get_era_count(h), 3);
  const era_record *e = h->time.era_info[0];
  EXPECT_EQ(e->direction, 1);
  EXPECT_EQ(e->offset, 1);
  EXPECT_EQ(e->start_year, 1989);
  EXPECT_EQ(e->start_month, 1);
  EXPECT_EQ(e->start_day, 8);
  EXPECT_EQ(e->end_year, 0);
  EXPECT_EQ(e->end_month, 0);
  EXPECT_EQ(e->end_day, 0);
  EXPECT_EQ(e->end_marker, 1);
  EXPECT_EQ(mb(e->era_name), "Heisei");
  EXPECT_TRUE(four_zeros_after(e->era_name, 6));
  EXPECT_EQ(mb(e->era_name2), "H");
  EXPECT_EQ(mb(e->era_format), "%EC%Ey");
  EXPECT_TRUE(four_zeros_after(e->era_format, 6));

  e = h->time.era_info[1];
  EXPECT_EQ(e->direction, 1);
  EXPECT_EQ(e->start_year, 1926);
  EXPECT_EQ(e->start_month, 12);
  EXPECT_EQ(e->start_day, 25);
  EXPECT_EQ(e->end_year, 1989);
  EXPECT_EQ(e->end_month, 1);
  EXPECT_EQ(e->end_day, 7);
  EXPECT_EQ(e->end_marker, 0);
  EXPECT_EQ(mb(e->era_name), "Showa");

  e = h->time.era_info[2];
  EXPECT_EQ(e->direction, -1);
  EXPECT_EQ(e->offset, 1);
  EXPECT_EQ(e->start_year, -1);
  EXPECT_EQ(e->start_month, 12);
  EXPECT_EQ(e->start_day, 31);
  EXPECT_EQ(e->end_marker, -1);
  EXPECT_EQ(e->end_year, 0);
  EXPECT_EQ(mb(e->era_format), "%Ey %EC");
}

namespace {

// Parses one era through the finisher: its result, with the record in *out.
struct EraCase {
  const char *text;
  int direction, offset, sy, sm, sd, ey, em, ed, marker;
  const char *name, *name2, *format;
};

}  // namespace

TEST_F(TimeTest, EraForms) {
  const EraCase cases[] = {
      {"-:-5:2000/2/3:+*:a:b:c", -1, -5, 2000, 2, 3, 0, 0, 0, 1, "a", "b", "c"},
      {"+:0:1/1/1:-5/-6/-7:N:M:F", 1, 0, 1, 1, 1, -5, -6, -7, 0, "N", "M", "F"},
      {"+:0://:+*:A:B:C", 1, 0, 0, 0, 0, 0, 0, 0, 1, "A", "B", "C"},        // start without digits
      {"+:-:-/-/-:-*:A:B:C", 1, 0, 0, 0, 0, 0, 0, 0, -1, "A", "B", "C"},    // lone minus signs
      {"+::1/2/3:4/5/6:::", 1, 0, 1, 2, 3, 4, 5, 6, 0, "", "", ""},         // empty fields
      {"+:7:1/2/3:+*:n:n2:fmt:with:colons", 1, 7, 1, 2, 3, 0, 0, 0, 1, "n", "n2", "fmt:with:colons"},
      {"+:99999999999:1/2/3:+*:n:m:f", 1, INT32_MAX, 1, 2, 3, 0, 0, 0, 1, "n", "m", "f"},
      {"+:0:1/2/3:+*:na me:\xE9:%Y \xE9", 1, 0, 1, 2, 3, 0, 0, 0, 1, "na me", "\xE9", "%Y \xE9"},
  };
  for (const EraCase &k : cases) {
    TimeSpec t;
    t.eras = {k.text};
    ASSERT_EQ(load(t), 1) << k.text << " errno " << h->vl_errno;
    const era_record *e = h->time.era_info[0];
    EXPECT_EQ(e->direction, k.direction) << k.text;
    EXPECT_EQ(e->offset, k.offset) << k.text;
    EXPECT_EQ(e->start_year, k.sy) << k.text;
    EXPECT_EQ(e->start_month, k.sm) << k.text;
    EXPECT_EQ(e->start_day, k.sd) << k.text;
    EXPECT_EQ(e->end_year, k.ey) << k.text;
    EXPECT_EQ(e->end_month, k.em) << k.text;
    EXPECT_EQ(e->end_day, k.ed) << k.text;
    EXPECT_EQ(e->end_marker, k.marker) << k.text;
    EXPECT_EQ(mb(e->era_name), k.name) << k.text;
    EXPECT_EQ(mb(e->era_name2), k.name2) << k.text;
    EXPECT_EQ(mb(e->era_format), k.format) << k.text;
    EXPECT_EQ(wide_text(e->w_era_format), k.format) << k.text;
    free_ltime(h, &h->time);
  }
}

TEST_F(TimeTest, MalformedErasAre49) {
  const char *bad[] = {
      "",                                  // nothing
      "+",                                 // direction only
      "*:0:1/1/1:+*:a:b:c",                // unknown direction
      " +:0:1/1/1:+*:a:b:c",               // leading blank
      "+0:1/1/1:+*:a:b:c",                 // no colon after the direction
      "+:+5:1/1/1:+*:a:b:c",               // "+" is no sign of a number
      "+:0:1/1:+*:a:b:c",                  // start date lacks its day
      "+:0:1-1-1:+*:a:b:c",                // wrong date separator
      "+:0:1/1/1:*:a:b:c",                 // end marker without sign
      "+:0:1/1/1:+:a:b:c",                 // sign without star
      "+:0:1/1/1:1/1:a:b:c",               // end date lacks its day
      "+:0:1/1/1:+*",                      // no names
      "+:0:1/1/1:+*:name",                 // name not ended
      "+:0:1/1/1:+*:name:name2",           // second name not ended: no format
      "+:0:1989/01/08:+*x:Heisei:H:%EC",   // trailing text after the marker
      "+:0:1/1/1 :+*:a:b:c",               // blank before the colon
  };
  for (const char *text : bad) {
    TimeSpec t;
    t.eras = {kHeisei, text};
    h->vl_errno = 0;
    EXPECT_EQ(load(t), -1) << "'" << text << "'";
    EXPECT_EQ(h->vl_errno, 49u) << "'" << text << "'";
    EXPECT_EQ(h->time.era_info, nullptr) << text;
    free_ltime(h, &h->time);
  }
}

TEST_F(TimeTest, GetEraStructDirectly) {
  TimeSpec t;
  t.eras = {kShowa, "bad"};
  int32_t err = 0;
  ASSERT_EQ(read(time_section(t), &err), 0);
  era_record r;
  ASSERT_EQ(get_era_struct(h, &r, 0), 0);
  EXPECT_EQ(r.start_year, 1926);
  EXPECT_EQ(r.end_day, 7);
  EXPECT_EQ(mb(r.era_name), "Showa");
  EXPECT_EQ(r.w_era_format, nullptr);
  _vl_free_ptr(r.era_name);
  _vl_free_ptr(r.era_name2);
  _vl_free_ptr(r.era_format);
  h->vl_errno = 0;
  EXPECT_EQ(get_era_struct(h, &r, 1), -1);
  EXPECT_EQ(h->vl_errno, 49u);
  EXPECT_EQ(get_era_struct(h, &r, 2), -1);
  EXPECT_EQ(h->vl_errno, 4u);
  EXPECT_EQ(get_era_struct(h, &r, -1), -1);
  EXPECT_EQ(get_era_struct(h, nullptr, 0), -1);
}

TEST_F(TimeTest, InitEraInfoReplacesItsRecords) {
  ASSERT_EQ(load(with_eras()), 1);
  char *concat = h->time.era_concat;
  ASSERT_EQ(init_era_info(h), 0);  // a second run frees the first records
  ASSERT_NE(h->time.era_info, nullptr);
  EXPECT_EQ(h->time.era_info[0]->w_era_format, nullptr);
  EXPECT_EQ(h->time.era_concat, concat);  // the joined text is kept
  EXPECT_EQ(mb(h->time.era_info[1]->era_name), "Showa");
}

TEST_F(TimeTest, InitEraInfoWithoutErasDoesNothing) {
  ASSERT_EQ(load(TimeSpec{}), 1);
  EXPECT_EQ(init_era_info(h), 0);
  EXPECT_EQ(h->time.era_info, nullptr);
  EXPECT_EQ(h->time.era_concat, nullptr);
}

TEST_F(TimeTest, EraCleanupToleratesGaps) {
  era_cleanup(nullptr, 3);
  auto **a = static_cast<era_record **>(_vl_alloc_ptr(3 * sizeof(era_record *)));
  a[0] = nullptr;
  a[1] = static_cast<era_record *>(_vl_alloc_ptr(sizeof(era_record)));
  memset(a[1], 0, sizeof(era_record));
  a[1]->era_name = static_cast<char *>(_vl_alloc_ptr(8));
  a[2] = nullptr;
  era_cleanup(a, 3);  // the fixture checks that all three blocks went
}

TEST_F(TimeTest, Wstrtoi) {
  const vl_wchar *end = nullptr;
  auto w = W("-12x");
  EXPECT_EQ(wstrtoi(w.data(), &end), -12);
  EXPECT_EQ(end, w.data() + 3);
  w = W("x");
  EXPECT_EQ(wstrtoi(w.data(), &end), 0);
  EXPECT_EQ(end, w.data());
  w = W("-");
  EXPECT_EQ(wstrtoi(w.data(), &end), 0);
  EXPECT_EQ(end, w.data() + 1);
  w = W("+5");
  EXPECT_EQ(wstrtoi(w.data(), &end), 0);
  EXPECT_EQ(end, w.data());
  w = W("0042/");
  EXPECT_EQ(wstrtoi(w.data(), nullptr), 42);
  w = W("99999999999999999999");
  EXPECT_EQ(wstrtoi(w.data(), nullptr), INT32_MAX);
  w = W("-99999999999999999999");
  EXPECT_EQ(wstrtoi(w.data(), nullptr), INT32_MIN);
  // full-width digits are not ASCII digits
  std::vector<vl_wchar> fw = {0xA3B1, 0};
  EXPECT_EQ(wstrtoi(fw.data(), &end), 0);
  EXPECT_EQ(end, fw.data());
}

TEST_F(TimeTest, AllocMbsCopy) {
  auto w = W("ab:c");
  const vl_wchar *end = nullptr;
  char *s = alloc_mbs_copy(h, w.data(), ':', &end);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(mb(s), "ab");
  EXPECT_TRUE(four_zeros_after(s, 2));
  EXPECT_EQ(end, w.data() + 2);
  _vl_free_ptr(s);
  s = alloc_mbs_copy(h, w.data(), 0, &end);
  EXPECT_EQ(mb(s), "ab:c");
  EXPECT_EQ(end, w.data() + 4);
  _vl_free_ptr(s);
  auto e = W(":x");
  s = alloc_mbs_copy(h, e.data(), ':', nullptr);
  ASSERT_NE(s, nullptr);
  EXPECT_TRUE(four_zeros_after(s, 0));
  _vl_free_ptr(s);
  h->vl_errno = 0;
  auto n = W("abc");
  EXPECT_EQ(alloc_mbs_copy(h, n.data(), ':', nullptr), nullptr);
  EXPECT_EQ(h->vl_errno, 49u);
  g_countdown = 0;
  EXPECT_EQ(alloc_mbs_copy(h, w.data(), ':', nullptr), nullptr);
  g_countdown = -1;
  EXPECT_EQ(h->vl_errno, 3u);
}

// ---- month lists and their counts ---------------------------------------------------

TEST_F(TimeTest, WideAbbreviationsFollowTheFullCount) {
  TimeSpec t;
  t.abmon = {"Jan", "Feb", "Mar"};  // fewer than the year has
  ASSERT_EQ(load(t), 1);
  EXPECT_EQ(h->time.abmon_count, 3);
  ASSERT_NE(h->time.w_abmon, nullptr);
  EXPECT_EQ(wide_text(h->time.w_abmon[2]), "Mar");
  for (int i = 3; i < 12; ++i) EXPECT_EQ(h->time.w_abmon[i], nullptr) << i;
  // the cache holds what there is
  EXPECT_EQ(_vl_wc_cache_count(static_cast<vl_wc_cache *>(h->time.caches[VL_CACHE_ABMON])), 3);
  EXPECT_STREQ(vl_nl_langinfo(h, VL_ABMON_3), "Mar");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_ABMON_4), "");
  free_ltime(h, &h->time);

  t.abmon = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l", "m"};  // more
  ASSERT_EQ(load(t), 1);
  EXPECT_EQ(wide_text(h->time.w_abmon[11]), "l");  // only twelve wide forms
  EXPECT_EQ(_vl_wc_cache_count(static_cast<vl_wc_cache *>(h->time.caches[VL_CACHE_ABMON])), 13);
}

TEST_F(TimeTest, NoMonthsNoWideMonths) {
  TimeSpec t;
  t.mon = {};
  ASSERT_EQ(load(t), 1);
  EXPECT_EQ(h->time.mon_count, 0);
  EXPECT_EQ(h->time.w_mon, nullptr);
  EXPECT_EQ(h->time.w_abmon, nullptr);  // sized by the full list
  EXPECT_EQ(_vl_wc_cache_count(static_cast<vl_wc_cache *>(h->time.caches[VL_CACHE_MON])), 0);
}

TEST_F(TimeTest, HebrewYearHasThirteenMonths) {
  TimeSpec t;
  t.calendar = "hebrew";
  t.mon = {"Tishri", "Heshvan", "Kislev", "Tevet", "Shevat", "AdarI", "AdarII",
           "Nisan",  "Iyyar",   "Sivan",  "Tammuz", "Av",    "Elul"};
  t.abmon = t.mon;
  ASSERT_EQ(load(t), 1);
  EXPECT_EQ(h->time.calendar, VL_CAL_HEBREW);
  EXPECT_STREQ(vl_nl_langinfo(h, VL_MON_13), "Elul");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_ABMON_13), "Elul");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_CALENDAR), "hebrew");
  EXPECT_EQ(wide_text(h->time.w_mon[12]), "Elul");
}

// ---- caches -------------------------------------------------------------------------

TEST_F(TimeTest, CachesMapNamesToIndexes) {
  ASSERT_EQ(load(with_eras()), 1);
  auto cache = [this](int slot) { return static_cast<vl_wc_cache *>(h->time.caches[slot]); };
  for (int s = 0; s < 8; ++s) ASSERT_NE(cache(s), nullptr) << s;
  EXPECT_EQ(_vl_lookup_wc_string(cache(VL_CACHE_MON), W("March").data(), -1), 2);
  EXPECT_EQ(_vl_lookup_wc_string(cache(VL_CACHE_MON), W("December").data(), -1), 11);
  EXPECT_EQ(_vl_lookup_wc_string(cache(VL_CACHE_MON), W("Marc").data(), -1), -1);
  EXPECT_EQ(_vl_lookup_wc_string(cache(VL_CACHE_MON), W("march").data(), -1), -1);
  EXPECT_EQ(_vl_lookup_wc_string(cache(VL_CACHE_ABMON), W("Mar").data(), -1), 2);
  EXPECT_EQ(_vl_lookup_wc_string(cache(VL_CACHE_DAY), W("Sunday").data(), -1), 0);
  EXPECT_EQ(_vl_lookup_wc_string(cache(VL_CACHE_ABDAY), W("Sat").data(), -1), 6);
  EXPECT_EQ(_vl_lookup_wc_string(cache(VL_CACHE_ERA_NAME), W("Showa").data(), -1), 1);
  EXPECT_EQ(_vl_lookup_wc_string(cache(VL_CACHE_ERA_NAME2), W("B").data(), -1), 2);
  EXPECT_EQ(_vl_lookup_wc_string(cache(VL_CACHE_ALT_DIGITS), W("three").data(), -1), 3);
  EXPECT_EQ(_vl_lookup_wc_string(cache(VL_CACHE_AMPM), W("AM").data(), -1), 0);
  EXPECT_EQ(_vl_lookup_wc_string(cache(VL_CACHE_AMPM), W("PM").data(), -1), 1);
  // counted lookups and the longest prefix
  auto text = W("Mayday");
  EXPECT_EQ(_vl_lookup_wc_string(cache(VL_CACHE_MON), text.data(), 3), 4);
  int32_t matched = -1;
  EXPECT_EQ(_vl_lookup_wc_prefix(cache(VL_CACHE_MON), text.data(), -1, &matched), 4);
  EXPECT_EQ(matched, 3);
  auto jun = W("June 5");
  EXPECT_EQ(_vl_lookup_wc_prefix(cache(VL_CACHE_ABMON), jun.data(), -1, &matched), 5);
  EXPECT_EQ(matched, 3);
  EXPECT_EQ(_vl_lookup_wc_prefix(cache(VL_CACHE_MON), jun.data(), -1, &matched), 5);
  EXPECT_EQ(matched, 4);
  EXPECT_EQ(_vl_lookup_wc_prefix(cache(VL_CACHE_MON), jun.data(), 3, &matched), -1);
  EXPECT_EQ(matched, 0);
}

TEST_F(TimeTest, CachesAreRebuiltNotLeaked) {
  ASSERT_EQ(load(with_eras()), 1);
  void *before = h->time.caches[VL_CACHE_MON];
  long live = g_live;
  ASSERT_EQ(cache_strings_for_lookup(h), 0);
  EXPECT_NE(h->time.caches[VL_CACHE_MON], nullptr);
  EXPECT_EQ(g_live, live);  // the old trees went
  (void)before;
  // the finisher as a whole may run again without growing
  ASSERT_EQ(init_time_info(h), 1);
  EXPECT_EQ(g_live, live);
}

TEST_F(TimeTest, FailedCacheKeepsTheOldTree) {
  ASSERT_EQ(load(with_eras()), 1);
  void *era_names = h->time.caches[VL_CACHE_ERA_NAME];
  g_countdown = 0;
  EXPECT_EQ(cache_strings_for_lookup(h), -1);
  g_countdown = -1;
  EXPECT_EQ(h->vl_errno, 3u);
  EXPECT_EQ(h->time.caches[VL_CACHE_ERA_NAME], era_names);
}

TEST(WcCache, ExactAndPrefixLookups) {
  vl_wc_cache *c = _vl_create_wc_cache();
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(_vl_lookup_wc_string(c, W("a").data(), -1), -1);
  EXPECT_EQ(_vl_lookup_wc_prefix(c, W("a").data(), -1, nullptr), -1);
  const char *words[] = {"to", "tea", "ted", "ten", "i", "in", "inn", "A"};
  for (int i = 0; i < 8; ++i) ASSERT_EQ(_vl_cache_wc_string(c, W(words[i]).data(), i), 0);
  EXPECT_EQ(_vl_wc_cache_count(c), 8);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(_vl_lookup_wc_string(c, W(words[i]).data(), -1), i) << words[i];
  EXPECT_EQ(_vl_lookup_wc_string(c, W("te").data(), -1), -1);
  EXPECT_EQ(_vl_lookup_wc_string(c, W("t").data(), -1), -1);
  EXPECT_EQ(_vl_lookup_wc_string(c, W("").data(), -1), -1);
  EXPECT_EQ(_vl_lookup_wc_string(c, nullptr, 0), -1);
  EXPECT_EQ(_vl_lookup_wc_string(c, nullptr, 3), -1);
  int32_t m = -1;
  EXPECT_EQ(_vl_lookup_wc_prefix(c, W("innate").data(), -1, &m), 6);
  EXPECT_EQ(m, 3);
  EXPECT_EQ(_vl_lookup_wc_prefix(c, W("innate").data(), 2, &m), 5);
  EXPECT_EQ(m, 2);
  EXPECT_EQ(_vl_lookup_wc_prefix(c, W("tex").data(), -1, &m), -1);
  EXPECT_EQ(m, 0);
  // the first index of a string stays
  EXPECT_EQ(_vl_cache_wc_string(c, W("tea").data(), 99), 0);
  EXPECT_EQ(_vl_lookup_wc_string(c, W("tea").data(), -1), 1);
  EXPECT_EQ(_vl_wc_cache_count(c), 8);
  // the empty string matches as an empty prefix
  ASSERT_EQ(_vl_cache_wc_string(c, W("").data(), 8), 0);
  EXPECT_EQ(_vl_lookup_wc_string(c, W("").data(), -1), 8);
  EXPECT_EQ(_vl_lookup_wc_prefix(c, W("xyz").data(), -1, &m), 8);
  EXPECT_EQ(m, 0);
  // bad arguments
  EXPECT_EQ(_vl_cache_wc_string(c, nullptr, 1), -1);
  EXPECT_EQ(_vl_cache_wc_string(c, W("x").data(), -1), -1);
  EXPECT_EQ(_vl_cache_wc_string(nullptr, W("x").data(), 1), -1);
  EXPECT_EQ(_vl_lookup_wc_string(nullptr, W("x").data(), -1), -1);
  EXPECT_EQ(_vl_wc_cache_count(nullptr), 0);
  _vl_free_wc_cache(c);
  _vl_free_wc_cache(nullptr);
}

TEST(WcCache, ManyStringsAndWideValues) {
  long live = g_live;
  vl_wc_cache *c = _vl_create_wc_cache();
  ASSERT_NE(c, nullptr);
  // numbers spelt in a two-byte codeset's values, many sharing prefixes
  auto key = [](int n) {
    std::vector<vl_wchar> k;
    for (char d : std::to_string(n)) k.push_back(0xA3B0u + static_cast<vl_wchar>(d - '0'));
    k.push_back(0);
    return k;
  };
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(_vl_cache_wc_string(c, key(i).data(), i), 0);
  EXPECT_EQ(_vl_wc_cache_count(c), 5000);
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(_vl_lookup_wc_string(c, key(i).data(), -1), i);
  auto k = key(4999);
  k.insert(k.end() - 1, 0xA3B0u);  // "49990": longest cached prefix is 4999
  int32_t m = 0;
  EXPECT_EQ(_vl_lookup_wc_prefix(c, k.data(), -1, &m), 4999);
  EXPECT_EQ(m, 4);
  EXPECT_EQ(_vl_lookup_wc_string(c, k.data(), -1), -1);
  _vl_free_wc_cache(c);
  EXPECT_EQ(g_live, live);
}

TEST(WcCache, OutOfMemory) {
  long live = g_live;
  g_countdown = 0;
  EXPECT_EQ(_vl_create_wc_cache(), nullptr);
  g_countdown = -1;
  vl_wc_cache *c = _vl_create_wc_cache();
  g_countdown = 0;
  EXPECT_EQ(_vl_cache_wc_string(c, W("abc").data(), 0), -1);
  g_countdown = -1;
  EXPECT_EQ(_vl_lookup_wc_string(c, W("abc").data(), -1), -1);
  EXPECT_EQ(_vl_cache_wc_string(c, W("abc").data(), 0), 0);
  EXPECT_EQ(_vl_lookup_wc_string(c, W("abc").data(), -1), 0);
  _vl_free_wc_cache(c);
  EXPECT_EQ(g_live, live);
}

// ---- out of memory everywhere ---------------------------------------------------------

TEST_F(TimeTest, EveryAllocationFailureIsClean) {
  const std::string text = time_section(with_eras());
  bool finished = false;
  for (long n = 0; n < 2000 && !finished; ++n) {
    h->vl_errno = 0;
    MemStream s(text);
    int32_t err = 0;
    g_countdown = n;
    int r = _vl_read_time(s.get(), &h->time, &err);
    if (r == 0) {
      int f = init_time_info(h);
      if (f == 1) {
        finished = true;
      } else {
        EXPECT_EQ(f, -1) << n;
        EXPECT_EQ(h->vl_errno, 3u) << n;
      }
    } else {
      EXPECT_EQ(err, 3) << n;
    }
    g_countdown = -1;
    free_ltime(h, &h->time);
  }
  EXPECT_TRUE(finished);
}

// ---- a two-byte codeset ------------------------------------------------------------------

TEST(TimeEuc, MultibyteNamesAndEras) {
  long live = g_live;
  vl_locale_t *h = make_handle(euc_spec());
  ASSERT_NE(h, nullptr);
  ASSERT_EQ(h->single_byte, 0);
  TimeSpec t;
  t.abday[0] = "\xC6\xFC";             // one two-byte character
  t.mon[0] = "1\xB7\xEE";              // a digit and a character
  t.am_str = "\xB8\xE1\xC1\xB0";
  t.eras = {"+:1:2019/05/01:+*:\xCE\xE1\xCF\xC2:R:\xCE\xE1\xCF\xC2%Ey\xC7\xAF"};
  t.alt_digits = {"\xA1\xBB", "\xB0\xEC"};
  MemStream s(time_section(t));
  int32_t err = 0;
  ASSERT_EQ(_vl_read_time(s.get(), &h->time, &err), 0);
  ASSERT_EQ(init_time_info(h), 1) << h->vl_errno;
  const time_category &c = h->time;
  ASSERT_NE(c.w_abday[0], nullptr);
  EXPECT_EQ(c.w_abday[0][0], 0xC6FCu);
  EXPECT_EQ(c.w_abday[0][1], 0u);
  EXPECT_EQ(c.w_mon[0][0], static_cast<vl_wchar>('1'));
  EXPECT_EQ(c.w_mon[0][1], 0xB7EEu);
  EXPECT_EQ(c.w_am_str[1], 0xC1B0u);
  const era_record *e = c.era_info[0];
  EXPECT_EQ(mb(e->era_name), "\xCE\xE1\xCF\xC2");
  EXPECT_EQ(mb(e->era_format), "\xCE\xE1\xCF\xC2%Ey\xC7\xAF");
  EXPECT_EQ(e->w_era_format[0], 0xCEE1u);
  EXPECT_EQ(e->start_year, 2019);
  EXPECT_EQ(mb(c.alt_digits_concat), "\xA1\xBB\n\xB0\xEC");
  std::vector<vl_wchar> name = {0xCEE1, 0xCFC2, 0};
  EXPECT_EQ(_vl_lookup_wc_string(static_cast<vl_wc_cache *>(c.caches[VL_CACHE_ERA_NAME]), name.data(), -1), 0);
  std::vector<vl_wchar> one = {0xB0EC, 0};
  EXPECT_EQ(_vl_lookup_wc_string(static_cast<vl_wc_cache *>(c.caches[VL_CACHE_ALT_DIGITS]), one.data(), -1), 1);
  vl_lc_unload(h);
  EXPECT_EQ(g_live, live);
}

TEST(TimeEuc, InvalidCharacters) {
  long live = g_live;
  vl_locale_t *h = make_handle(euc_spec());
  ASSERT_NE(h, nullptr);
  // an era whose name breaks off inside a character
  {
    TimeSpec t;
    t.eras = {"+:1:2019/05/01:+*:\xCE:R:x"};
    MemStream s(time_section(t));
    int32_t err = 0;
    ASSERT_EQ(_vl_read_time(s.get(), &h->time, &err), 0);
    h->vl_errno = 0;
    EXPECT_EQ(init_time_info(h), -1);
    EXPECT_EQ(h->vl_errno, 1u);
    EXPECT_EQ(h->time.era_info, nullptr);
    free_ltime(h, &h->time);
  }
  // a month name that is no text of the codeset
  {
    TimeSpec t;
    t.mon[3] = "Ap\xFF";
    MemStream s(time_section(t));
    int32_t err = 0;
    ASSERT_EQ(_vl_read_time(s.get(), &h->time, &err), 0);
    h->vl_errno = 0;
    EXPECT_EQ(init_time_info(h), -1);
    EXPECT_EQ(h->vl_errno, 1u);
    free_ltime(h, &h->time);
  }
  vl_lc_unload(h);
  EXPECT_EQ(g_live, live);
}

// ---- language information ------------------------------------------------------------

TEST_F(TimeTest, LanguageInformationItems) {
  ASSERT_EQ(load(with_eras()), 1);
  EXPECT_STREQ(vl_nl_langinfo(h, VL_ABDAY_1), "Sun");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_ABDAY_7), "Sat");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_DAY_1), "Sunday");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_DAY_4), "Wednesday");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_DAY_7), "Saturday");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_ABMON_1), "Jan");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_ABMON_12), "Dec");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_ABMON_13), "");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_MON_1), "January");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_MON_12), "December");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_MON_13), "");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_AM_STR), "AM");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_PM_STR), "PM");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_D_T_FMT), "%a %b %e %H:%M:%S %Y");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_D_FMT), "%m/%d/%y");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_T_FMT), "%H:%M:%S");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_T_FMT_AMPM), "%I:%M:%S %p");
  EXPECT_EQ(std::string(vl_nl_langinfo(h, VL_ERA)), std::string(kHeisei) + "\n" + kShowa + "\n" + kBC);
  EXPECT_STREQ(vl_nl_langinfo(h, VL_ERA_D_FMT), "%EC%Ey");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_ERA_T_FMT), "%H:%M");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_ERA_D_T_FMT), "%EC%Ey %H:%M");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_ALT_DIGITS), "zero\none\ntwo\nthree");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_CALENDAR), "gregorian");
  EXPECT_EQ(strncmp(vl_nl_langinfo(h, VL_CALENDAR), "gregorian", 9), 0);
  EXPECT_STREQ(vl_nl_langinfo(h, VL_CODESET), "8859-1");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_TIME_LOCALE), "");  // LC_TIME was not loaded from a file
  EXPECT_STREQ(vl_nl_langinfo(h, 0), "");
  EXPECT_STREQ(vl_nl_langinfo(h, 60), "");
  EXPECT_STREQ(vl_nl_langinfo(h, -1), "");
  EXPECT_STREQ(vl_nl_langinfo(nullptr, VL_D_FMT), "");
}

TEST_F(TimeTest, LanguageInformationOfANullCategory) {
  for (int item = 0; item <= 80; ++item) EXPECT_STREQ(vl_nl_langinfo(h, item), item == VL_CODESET ? "8859-1" : "")
      << item;
  EXPECT_STREQ(vl_nl_langinfo(&vl_nomem_locale, VL_CALENDAR), "");
}

// ---- through the locale file frame ----------------------------------------------------

namespace {

const char kRegistry[] = "# test registry\n8859-1 819\nujis 57351\n";

class TimeFiles : public ::testing::Test {
 protected:
  TempDir dir;
  EnvVar kvx{"KELVANIXDIR", dir.path().c_str()};
  EnvVar vlpath{"VL_PATH", nullptr};
  EnvVar all{"VL_ALL", nullptr};
  EnvVar lang{"VL_LANG", nullptr};
  EnvVar time_env{"VL_TIME", nullptr};
  vl_locale_t *h = nullptr;
  LocaleFile latin;

  void SetUp() override {
    g_countdown = -1;
    dir.write("vls/cm3/registry", kRegistry);
    latin.ctype = latin1_spec();
  }
  void TearDown() override { vl_lc_unload(h); }
  std::string lc(const std::string &name, const std::string &text) { return dir.write("vls/lc11/" + name, text); }
  static TimeSpec full() {
    TimeSpec t;
    t.eras = {kHeisei, kShowa};
    t.alt_digits = {"o", "i", "ii"};
    return t;
  }
};

}  // namespace

TEST_F(TimeFiles, WholeLocaleFile) {
  lc("default.lco", lco_text_with_time(latin, full()));
  std::string d = dir.path() + "/vls/lc11/";
  ASSERT_EQ(vl_createlocale2_4(&h, d.c_str()), 0) << (h ? h->vl_errno : 0);
  EXPECT_EQ(h->time.calendar, 1);
  EXPECT_EQ(vl_get_era_count(h), 2);
  ASSERT_NE(h->time.era_info, nullptr);
  EXPECT_EQ(mb(h->time.era_info[1]->era_name), "Showa");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_MON_2), "February");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_TIME_LOCALE), "default.lco");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_CODESET), "8859-1");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_RADIXCHAR), ".");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_THOUSEP), ",");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_CRNCYSTR), "$");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_ALT_DIGITS), "o\ni\nii");
  // the section after LC_TIME was found and read
  EXPECT_STREQ(vl_nl_langinfo(h, VL_YESSTR), "yes");
  EXPECT_EQ(wide_text(h->time.w_t_fmt), "%H:%M:%S");
}

TEST_F(TimeFiles, WholeLocaleFileWithBadEra) {
  TimeSpec t = full();
  t.eras.push_back("+:0:1/1/1:+*:only-a-name");
  lc("default.lco", lco_text_with_time(latin, t));
  std::string d = dir.path() + "/vls/lc11/";
  EXPECT_EQ(vl_createlocale2_4(&h, d.c_str()), -1);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(h->vl_errno, 49u);
}

TEST_F(TimeFiles, WholeLocaleFileWithBadCalendar) {
  TimeSpec t = full();
  t.calendar = "mayan";
  lc("default.lco", lco_text_with_time(latin, t));
  std::string d = dir.path() + "/vls/lc11/";
  EXPECT_EQ(vl_createlocale2_4(&h, d.c_str()), -1);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(h->vl_errno, 50u);
}

TEST_F(TimeFiles, OneCategoryAndItsReplacement) {
  lc("default.lco", lco_text_with_time(latin, full()));
  TimeSpec heb;
  heb.calendar = "hebrew";
  lc("heb.lco", category_text("8859-1", VL_LC_TIME, time_section(heb)));
  TimeSpec bad;
  bad.calendar = "lunar";
  lc("bad.lco", category_text("8859-1", VL_LC_TIME, time_section(bad)));
  std::string d = dir.path() + "/vls/lc11/";
  ASSERT_EQ(vl_createlocale2_4(&h, d.c_str()), 0);
  char *r = vl_setlocale_4(h, VL_LC_TIME, "heb.lco");
  ASSERT_NE(r, nullptr) << h->vl_errno;
  vl_destroystring(r);
  EXPECT_EQ(h->time.calendar, VL_CAL_HEBREW);
  EXPECT_STREQ(vl_nl_langinfo(h, VL_CALENDAR), "hebrew");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_TIME_LOCALE), "heb.lco");
  EXPECT_EQ(vl_get_era_count(h), 0);
  EXPECT_EQ(h->time.era_info, nullptr);
  // a failed load leaves the category null
  EXPECT_EQ(vl_setlocale_4(h, VL_LC_TIME, "bad.lco"), nullptr);
  EXPECT_EQ(h->vl_errno, 50u);
  EXPECT_STREQ(vl_nl_langinfo(h, VL_CALENDAR), "");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_TIME_LOCALE), "");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_MON_1), "");
}

TEST_F(TimeFiles, CopiedCategoryHasNoEraRecords) {
  lc("default.lco", lco_text_with_time(latin, full()));
  std::string d = dir.path() + "/vls/lc11/";
  ASSERT_EQ(vl_createlocale2_4(&h, d.c_str()), 0);
  long live = g_live;
  vl_locale_t *target = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&target), 0);
  ASSERT_EQ(vl_copy_cat(target, h, VL_LC_ALL), 0) << target->vl_errno;
  EXPECT_EQ(target->time.era_info, nullptr);
  EXPECT_EQ(vl_get_era_count(target), 2);
  EXPECT_EQ(target->time.era_strings, h->time.era_strings);
  EXPECT_EQ(target->time.w_mon, h->time.w_mon);
  EXPECT_EQ(target->time.caches[VL_CACHE_MON], h->time.caches[VL_CACHE_MON]);
  EXPECT_STREQ(vl_nl_langinfo(target, VL_ERA), vl_nl_langinfo(h, VL_ERA));
  // the target may make its own era records; the shared texts stay
  char *concat = h->time.era_concat;
  ASSERT_EQ(init_era_info(target), 0);
  ASSERT_NE(target->time.era_info, nullptr);
  EXPECT_NE(target->time.era_info, h->time.era_info);
  EXPECT_EQ(target->time.era_concat, concat);
  EXPECT_EQ(h->time.era_concat, concat);
  EXPECT_EQ(target->time.era_info[0]->start_year, 1989);
  // the source keeps its own
  EXPECT_EQ(mb(h->time.era_info[0]->era_name), "Heisei");
  // releasing the target takes its era records along, nothing shared
  vl_free_nonshared_loc(target);
  EXPECT_EQ(g_live, live);
  EXPECT_EQ(mb(h->time.era_info[1]->era_name), "Showa");
}
