// Time formatting: every directive with its range checks and documented
// quirks in the shipped en_US and ja_JP locales and in fixture locales with
// eras and alternative digits; the multibyte and wide entries agree, the
// measuring mode bounds what is written, a size of exactly the length
// fails; the C library's strftime is the model of the directives it shares.

#include "shipped.h"
#include "timefix.h"

using namespace vlstest;

namespace {

// Fixture locales (Latin-1): "fx" has two eras and ten one-letter digits
// a..j; "loop" is a Hebrew-calendar locale with the digits x, y, z, no
// eras, an empty AM, a t_fmt of only %p and a d_t_fmt that names itself.
class TmFmt : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = std::make_unique<TempDir>();
    dir_->write("vls/cm3/registry", "8859-1 819\n");
    LocaleFile latin;
    latin.ctype = latin1_spec();
    TimeSpec fx, loop;
    fx.eras = {"+:1:1989/01/08:+*:Heisei:H:%EC%Ey", "+:1:1926/12/25:1989/01/07:Showa:S:%EC-%Ey"};
    fx.alt_digits = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"};
    loop.calendar = "hebrew", loop.d_t_fmt = "<%c>", loop.t_fmt = "%p", loop.am_str = "", loop.alt_digits = {"x", "y", "z"};
    dir_->write("vls/lc11/fx.lco", lco_text_with_time(latin, fx));
    dir_->write("vls/lc11/loop.lco", lco_text_with_time(latin, loop));
    en_ = load_locale(kShipped, "en_us/0333.lco"), ja_ = load_locale(kShipped, "ja_jp/e007.lco");
    fx_ = load_locale(dir_->path(), "fx.lco"), loop_ = load_locale(dir_->path(), "loop.lco");
  }
  static void TearDownTestSuite() {
    for (vl_locale_t *h : {en_, ja_, fx_, loop_}) vl_lc_unload(h);
    dir_.reset();
  }
  void SetUp() override {
    for (vl_locale_t *h : {en_, ja_, fx_, loop_}) ASSERT_TRUE(h);
  }
  static inline std::unique_ptr<TempDir> dir_;
  static inline vl_locale_t *en_, *ja_, *fx_, *loop_;
};

enum Loc { EN, JA, FX, LOOP };

// Fields of the record by position, for the tables' changes.
enum Field { FRAC, SEC, MIN, HOUR, MDAY, MON, INDEX, YEAR, WDAY, YDAY };
using Mods = std::vector<std::pair<Field, int32_t>>;
// Monday 5 March 2001, 09:05:07.123456.
vl_alt_tm at(const Mods &mods = {}) {
  vl_alt_tm t = {123456, 7, 5, 9, 5, 2, 2, 101, 1, 63, {0, 0, 0}};
  for (auto [f, v] : mods) {
    reinterpret_cast<int32_t *>(&t)[f] = v;
    if (f == MON) t.month_name_index = v;
  }
  return t;
}
Mods ymd(int32_t y, int32_t m, int32_t d, Mods more = {}) {
  more.insert(more.begin(), {{YEAR, y - 1900}, {MON, m - 1}, {MDAY, d}});
  return more;
}

struct Result {
  std::string text;
  uint32_t err;
  bool operator==(const Result &) const = default;
};
std::ostream &operator<<(std::ostream &o, const Result &r) { return o << '"' << r.text << "\" #" << r.err; }

// Formats through the multibyte and the wide engine; they must agree. On
// success the measures bound the text, and a size of exactly its length
// fails with 14 in both forms.
// (`bounded`: values in their documented ranges, no sign).
Result F(vl_locale_t *h, const std::string &format, const vl_alt_tm &tm, int32_t date_flag = 1, bool bounded = true,
         int32_t size = 200) {
  std::vector<char> out(static_cast<size_t>(size) + 8, 'x');
  h->vl_errno = 0;
  const int n = vl_mbsftime1(h, out.data(), size, format.c_str(), &tm, nullptr, nullptr, date_flag);
  const Result r{n > 0 ? std::string(out.data(), n) : "", h->vl_errno};
  const std::vector<vl_wchar> wf = widen(h, format);
  std::vector<vl_wchar> w(static_cast<size_t>(size) + 8, 0x7878);
  h->vl_errno = 0;
  const int wn = vl_wcsftime1(h, w.data(), size, wf.data(), &tm, nullptr, nullptr, date_flag);
  EXPECT_EQ((Result{wn > 0 ? narrow(h, w.data()) : "", h->vl_errno}), r) << "wide " << format;
  if (n <= 0) return r;
  EXPECT_EQ(out[n], 0);
  int32_t chars = 0, bytes = 0;
  EXPECT_EQ(vl_wcsftime1(h, nullptr, 0, wf.data(), nullptr, &chars, &bytes, date_flag), 0);
  EXPECT_TRUE(!bounded || (chars >= wn && bytes >= n)) << format << ": measured " << chars << "/" << bytes;
  h->vl_errno = 0;
  EXPECT_EQ(vl_mbsftime1(h, out.data(), n, format.c_str(), &tm, nullptr, nullptr, date_flag), 0);
  EXPECT_EQ(h->vl_errno, VL_E2BIG) << format;
  h->vl_errno = 0;
  EXPECT_EQ(vl_wcsftime1(h, w.data(), wn, wf.data(), &tm, nullptr, nullptr, date_flag), 0);
  EXPECT_EQ(h->vl_errno, VL_E2BIG) << format;
  return r;
}

struct Case { Loc loc; const char *format; Mods mods; const char *want; uint32_t err; int32_t date_flag = 1; };

const Case kCases[] = {
    // names, numbers, default precisions
    {EN, "%A %a %B %b %h|%p", {}, "Monday Mon March Mar Mar|AM", 0},
    {EN, "%C %g %y %Y %iY %iy|%j %u %w", {}, "20 20 01 2001 2001 01|064 01 01", 0},
    {EN, "%H %I %M %S|%d %e %m", {}, "09 09 05 07|05  5 03", 0},
    {EN, "%T|%D|%R", {}, "9:5:7|03/05/01|9:5", 0},  // %T and %R keep single digits, %D does not
    {EN, "%%|%n|%t|%m/%d/%iY", {}, "%|\n|\t|03/05/2001", 0},
    {EN, "%F|%F3|%F7|%iF|%iF4|%.8F|%F0", {}, "123456|123|1234567|.12|.1234|12345600|", 0},
    {EN, "%8F3|%-8F3|%08iF", {}, "     123|123     |00000.12", 0}, {EN, "%iF7", {}, "", VL_EBADFORMAT},
    {EN, "%F", {{FRAC, 5}}, "000005", 0},
    {EN, "%F2", {{FRAC, 123}}, "00", 0},  // the low digits go first
    // width, precision and fill: numbers without a precision stand at the left
    {EN, "%5C|%05C|%5H|%-5H|%.3H|%.H", {}, "20   |00020|   09|   09|009|9", 0},
    {EN, "%.2A|%8a|%-8a|%08a|%3e", {}, "Mo|     Mon|Mon     |00000Mon| 5  ", 0}, {EN, "%.2e|%.1e", {}, "05| 5", 0},
    {EN, "%e", {{MDAY, 15}}, "15", 0},
    {EN, "%1$H|%lH", {}, "", VL_EBADFORMAT},  // the length letters of numbers are directives here
    {EN, "%1$H|%hh|%Hh", {}, "09|Marh|09h", 0}, {EN, "%.-H", {}, "", VL_EMODIFIER},
    // locale formats; en_US's d_t_fmt holds %Z
    {EN, "%x|%X|%r", {{HOUR, 13}}, "03/05/2001|01:05:07 PM|01:05:07 PM", 0}, {EN, "%c", {}, "", VL_EBADFORMAT},
    // values at and past their ranges
    {EN, "%S|%I|%I|%p", {{SEC, 60}, {HOUR, 0}}, "60|12|12|AM", 0}, {EN, "%I %p", {{HOUR, 12}}, "12 PM", 0},
    {EN, "%u %w %a", {{WDAY, 0}}, "07 00 Sun", 0}, {EN, "%y", {{YEAR, -1950}}, "-50", 0},
    {EN, "%Y|%y", {{YEAR, -1850}}, "0050|50", 0}, {EN, "%y|%Y", {{YEAR, 6200}}, "00|8100", 0},
    {EN, "%y", {{YEAR, 8100}}, "00", 0}, {EN, "%Y", {{YEAR, 8100}}, "", VL_EFMT_YEAR},
    {EN, "%iY", {{YEAR, -1901}}, "", VL_EFMT_YEAR}, {EN, "%C", {{YEAR, 8100}}, "", VL_EFMT_YEAR},
    {EN, "%C", {{YEAR, -1901}}, "", VL_EFMT_YEAR},  // compared unsigned
    {EN, "%D", {{YEAR, -1901}}, "", VL_EFMT_YEAR}, {EN, "%d", {{MDAY, 0}}, "", VL_EFMT_MDAY},
    {EN, "%d|%d", {{MDAY, 0}}, "00|00", 0, 0},  // an interval takes day 0 ...
    {EN, "%d", {{MDAY, -5}}, "-05", 0, 0},
    {EN, "%d", {{MDAY, 100}}, "", VL_EFMT_MDAY, 0},  // ... but not beyond 99
    {EN, "%e", {{MDAY, 0}}, "", VL_EFMT_MDAY, 0}, {EN, "%S", {{SEC, 61}}, "", VL_EFMT_SECOND},
    {EN, "%M", {{MIN, 60}}, "", VL_EFMT_MINUTE}, {EN, "%H", {{HOUR, 24}}, "", VL_EFMT_HOUR},
    {EN, "%p", {{HOUR, 24}}, "", VL_EFMT_HOUR},
    {EN, "%T", {{HOUR, 24}, {SEC, 61}}, "", VL_EFMT_SECOND},  // seconds are tested first
    {EN, "%R", {{HOUR, 24}, {MIN, 60}}, "", VL_EFMT_HOUR}, {EN, "%u", {{WDAY, 7}}, "", VL_EFMT_WDAY},
    {EN, "%A", {{WDAY, -1}}, "", VL_EFMT_WDAY}, {EN, "%j", {{YDAY, 366}}, "", VL_EFMT_YDAY},
    {EN, "%m", {{MON, 12}}, "", VL_EFMT_MONTH}, {EN, "%B", {{INDEX, 12}}, "", VL_EFMT_MONTH},
    {EN, "%B %b %m", {{INDEX, 4}}, "May May 03", 0},  // names by the index, numbers by the month
    {EN, "%F", {{FRAC, 1000000}}, "", VL_EFMT_FRACTION},
    // directives outside the set (and below "%" or beyond "y")
    {EN, "%ix", {}, "", VL_EBADFORMAT}, {EN, "abc%", {}, "", VL_EBADFORMAT}, {EN, "%5%|%2000000000H", {}, "", VL_E2BIG},
    // without eras %E is ignored, without alternative digits %O
    {EN, "%Ey|%Oy|%EY|%OH|%EC", {}, "01|01|2001|09|20", 0},
    // eras: the year less one before the anniversary of the start
    {FX, "%EC%Ey|%Eg|%EY", ymd(1990, 1, 5), "Heisei1|H|Heisei1", 0},
    {FX, "%EC%Ey|%Ey|%5Ey|", ymd(1990, 1, 8), "Heisei2|2|2    |", 0}, {FX, "%EY|%Eg", ymd(1989, 1, 7), "Showa-63|S", 0},
    {FX, "%Ec|%Ex|%EX", ymd(1989, 1, 8), "Heisei1 09:05|Heisei1|09:05", 0},
    {FX, "%EC", ymd(1926, 12, 24), "", VL_EBADARG},  // no current era
    {FX, "%Ey", ymd(1990, 13, 5), "", VL_EFMT_MONTH}, {FX, "%Ed", {}, "", VL_EBADFORMAT},
    {FX, "%E", {}, "", VL_EBADFORMAT}, {FX, "%c", {}, "Mon Mar  5 09:05:07 2001", 0},
    // alternative digits in radix 10; %Oy is the year of the era
    {FX, "%OH|%OM|%OS|%OI|%Od|%Om|%Ou|%Ow", {{HOUR, 23}}, "cd|f|h|bb|f|d|b|b", 0},
    {FX, "%OT|%OR|%OD|%OC|%Oy", ymd(1990, 1, 5), "j:f:h|j:f|b/f/ja|bj|b", 0},
    {FX, "%Oj|%Oe|%.2OH|%5OH|%-5OH", {}, "age| f|aj|    j|j    ", 0}, {FX, "%Oe", {{MDAY, 25}}, "cf", 0},
    {FX, "%OB", {}, "", VL_EBADFORMAT}, {FX, "%Oy", ymd(1920, 1, 1), "", VL_EBADARG},
    {FX, "%.2000000000Oj", {}, "", VL_E2BIG},
    // radix 3 without eras; 5 March 2001 is 10 Adar 5761 in a Hebrew-calendar locale (Adar: the seventh name)
    {LOOP, "%OH|%Oy|%Oe|%B", {}, "yxx|zxzy| yxy|July", 0},
    {LOOP, "%c", {}, "", VL_EBADFORMAT},  // a format that names itself ends
    {LOOP, "%p", {}, "", 0},              // an empty result is 0 too ...
    {LOOP, "ab%X", {}, "", 0},            // ... and fails as a nested format
    // the shipped ja_JP (EUC): eras with their own formats, 100 digits
    {JA, "%EC%Ey|%EY", ymd(2021, 3, 1), "\xCE\xE1\xCF\xC2" "3|\xCE\xE1\xCF\xC2" "3\xC7\xAF", 0},
    {JA, "%EY", ymd(2019, 6, 1), "\xCE\xE1\xCF\xC2\xB8\xB5\xC7\xAF", 0},
    {JA, "%OH|%Od", {{HOUR, 23}}, "\xC6\xF3\xBD\xBD\xBB\xB0|\xB8\xDE", 0},
};

}  // namespace

TEST_F(TmFmt, Directives) {
  vl_locale_t *const handles[] = {en_, ja_, fx_, loop_};
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.format);
    EXPECT_EQ(F(handles[c.loc], c.format, at(c.mods), c.date_flag, !strchr(c.want, '-')), (Result{c.want, c.err}));
  }
  for (const char *f : {"%Q", "%U", "%W", "%V", "%G", "%Z", "%s", "%z", "%k", "%l", "%P", "%$", "%{", "%\x7f"})
    EXPECT_EQ(F(en_, f, at()), (Result{"", VL_EBADFORMAT})) << f;
}

// The C library's strftime (C locale, whose names are en_US's) for the
// directives both have, on generated dates; where the rules differ the
// model's format says what ours must print. Fixed-width formats measure
// exactly what they write.
TEST_F(TmFmt, AgreesWithStrftime) {
  const std::pair<const char *, const char *> kPairs[] = {
      {"%a %A %b %h %B", "%a %A %b %h %B"}, {"%C %d %e %H %I %j %m %M", "%C %d %e %H %I %j %m %M"},
      {"%D %p %S %y %Y %% %n %t", "%D %p %S %y %Y %% %n %t"}, {"%r", "%r"}, {"%x", "%m/%d/%Y"}, {"%X", "%r"},
      {"%T", "%-H:%-M:%-S"}, {"%R", "%-H:%-M"}, {"%u %w", "0%u 0%w"}, {"%g", "%C"},
      {"%Ey %EC %EY %Od %OH %Oe", "%y %C %Y %d %H %e"}};
  std::mt19937 rng(20240601);
  auto pick = [&rng](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
  for (int i = 0; i < 300; ++i) {
    const vl_alt_tm t = at({{FRAC, pick(0, 999999)}, {SEC, pick(0, 60)}, {MIN, pick(0, 59)}, {HOUR, pick(0, 23)},
                            {MDAY, pick(1, 31)}, {MON, pick(0, 11)}, {YEAR, pick(-900, 6199)}, {WDAY, pick(0, 6)},
                            {YDAY, pick(0, 365)}});
    struct tm c = {};
    c.tm_sec = t.sec, c.tm_min = t.min, c.tm_hour = t.hour, c.tm_mday = t.mday, c.tm_mon = t.mon;
    c.tm_year = t.year, c.tm_wday = t.wday, c.tm_yday = t.yday;
    for (const auto &[ours, model] : kPairs) {
      char want[128];
      strftime(want, sizeof want, model, &c);
      EXPECT_EQ(F(en_, ours, t), (Result{want, 0})) << ours << " on " << want;
    }
    const std::string fixed = "%d/%m/%Y %H:%M:%S.%F %j %iy%iF";
    const std::vector<vl_wchar> wf = widen(en_, fixed);
    int32_t chars = 0, bytes = 0;
    vl_wcsftime1(en_, nullptr, 0, wf.data(), nullptr, &chars, &bytes, 1);
    EXPECT_EQ(static_cast<int32_t>(F(en_, fixed, t).text.size()), chars);
    EXPECT_EQ(chars, bytes);
  }
}

TEST_F(TmFmt, Measures) {
  struct M { Loc loc; const char *format; int32_t chars, bytes; uint32_t err; };
  const M cases[] = {
      {EN, "%A", 9, 9, 0},  {EN, "%B|%p", 12, 12, 0},  {EN, "%D", 8, 8, 0},  {EN, "%T", 8, 8, 0},
      {EN, "%R", 5, 5, 0},  {EN, "%5R", 11, 11, 0},  {EN, "%Y%F%j", 13, 13, 0},  {EN, "%x", 10, 10, 0},
      {EN, "%7H%.4C%iF", 14, 14, 0},  {JA, "%a", 1, 2, 0},  {JA, "%OH", 3, 6, 0},  {FX, "%EC|%Ey", 17, 17, 0},
      {FX, "%OD", 8, 8, 0},  {EN, "%Q", 0, 0, VL_EBADFORMAT},  {EN, "%.-x", 0, 0, VL_EMODIFIER}};
  vl_locale_t *const handles[] = {en_, ja_, fx_, loop_};
  for (const M &c : cases) {
    SCOPED_TRACE(c.format);
    vl_locale_t *h = handles[c.loc];
    const std::vector<vl_wchar> wf = widen(h, c.format);
    int32_t chars = 0, bytes = 0, mb_chars = 0, mb_bytes = 0, only = 0;
    h->vl_errno = 0;
    EXPECT_EQ(vl_wcsftime1(h, nullptr, 0, wf.data(), nullptr, &chars, &bytes, 1), 0);
    EXPECT_EQ(h->vl_errno, c.err);
    if (c.err) continue;
    EXPECT_EQ(std::make_pair(chars, bytes), std::make_pair(c.chars, c.bytes));
    EXPECT_EQ(vl_mbsftime1(h, nullptr, 0, c.format, nullptr, &mb_chars, &mb_bytes, 1), 0);
    EXPECT_EQ(vl_mbsftime1(h, nullptr, 0, c.format, nullptr, &only, nullptr, 1), 0);
    EXPECT_EQ(std::make_pair(mb_chars, mb_bytes), std::make_pair(c.chars, c.bytes));
    EXPECT_EQ(only, c.chars);
  }
}

TEST_F(TmFmt, EntriesRecordsAndHelpers) {
  // The plain record goes through the formatter's record and back whole.
  vl_tm tm = {5, 7, 5, 9, 0, 2, 101, 1, 63, {-1, 2, -3}};
  vl_alt_tm alt;
  tm_to_alt_tm(&tm, 7, &alt);
  EXPECT_EQ(std::vector<int32_t>(&alt.fraction, &alt.fraction + 13),
            (std::vector<int32_t>{5, 7, 5, 9, 0, 2, 7, 101, 1, 63, -1, 2, -3}));
  vl_tm back = {};
  alt_tm_to_tm(&alt, &back);
  EXPECT_EQ(memcmp(&back, &tm, sizeof tm), 0);
  // A date refuses day 0, an interval takes it; the record is rewritten as it was.
  char out[300];
  vl_wchar wout[300];
  const std::vector<vl_wchar> wf = widen(en_, "%d|%B");
  en_->vl_errno = 0;
  EXPECT_EQ(vl_mbsftime(en_, out, 300, "%d|%B", &tm), 0);
  EXPECT_EQ(vl_wcsftime(en_, wout, 300, wf.data(), &tm), 0);
  EXPECT_EQ(en_->vl_errno, VL_EFMT_MDAY);
  ASSERT_EQ(vl_mbsfinterval(en_, out, 300, "%d|%B", &tm), 8);
  EXPECT_STREQ(out, "00|March");
  EXPECT_EQ(memcmp(&back, &tm, sizeof tm), 0);
  // Long formats and outputs leave the stack; a format that is no text of the codeset gives -1.
  tm.mday = 5;
  const std::string long_format = std::string(300, 'x') + "%H";
  EXPECT_EQ(vl_mbsftime(ja_, out, 300, long_format.c_str(), &tm), 0);
  EXPECT_EQ(ja_->vl_errno, VL_E2BIG);
  std::vector<char> big(400);
  ASSERT_EQ(vl_mbsftime(ja_, big.data(), 400, long_format.c_str(), &tm), 302);
  EXPECT_EQ(std::string(big.data()), std::string(300, 'x') + "09");
  EXPECT_EQ(vl_mbsftime(ja_, out, 300, "%H\xFF", &tm), -1);
  EXPECT_EQ(vl_mbsftime(en_, out, 300, nullptr, &tm), 0);
  en_->vl_errno = 0;  // no record, no output
  EXPECT_EQ(vl_mbsftime(en_, out, 300, "%H", nullptr) + vl_mbsfinterval(en_, nullptr, 300, "%H", &tm) +
                vl_wcsftime1(en_, wout, 300, wf.data(), nullptr, nullptr, nullptr, 1), 0);
  EXPECT_EQ(en_->vl_errno, VL_EBADPTR);
  // Blanks in front of an alternative day, by the digits of 31.
  const std::pair<int32_t, int32_t> pads[][2] = {{{5, 10}, {1, 0}}, {{31, 10}, {0, 0}}, {{5, 100}, {0, 0}},
                                                 {{5, 3}, {2, 0}},   {{40, 10}, {0, 0}}, {{0, 10}, {1, 0}}};
  for (const auto &p : pads) EXPECT_EQ(padding(p[0].first, p[0].second), p[1].first) << p[0].first << " " << p[0].second;
  // Eras: the first that holds the date.
  const time_category &t = fx_->time;
  const std::pair<Mods, int32_t> eras[] = {{ymd(1990, 1, 5), 0}, {ymd(1989, 1, 8), 0}, {ymd(1989, 1, 7), 1},
                                           {ymd(1926, 12, 25), 1}, {ymd(1926, 12, 24), -1}};
  for (const auto &[mods, want] : eras) {
    const vl_alt_tm a = at(mods);
    EXPECT_EQ(current_era(t.era_info, t.era_count, &a), want) << a.year << "-" << a.mon << "-" << a.mday;
  }
  EXPECT_EQ(current_era(nullptr, 2, &alt), -1);
  // A nested format: nothing for an empty one, the room left otherwise.
  vl_wchar buf[8] = {};
  vl_wchar *cursor = buf + 2;
  int32_t count = 2, chars = 0;
  const vl_alt_tm a = at();
  const std::vector<vl_wchar> hm = widen(en_, "%H:%M");
  EXPECT_EQ(put_new_fmt(en_, widen(en_, "").data(), &a, &count, 8, &cursor, nullptr, nullptr), 0);
  EXPECT_EQ(put_new_fmt(en_, hm.data(), &a, &count, 8, &cursor, nullptr, nullptr), 0);
  EXPECT_EQ(narrow(en_, buf + 2) + "|" + std::to_string(count) + "|" + std::to_string(cursor - buf), "09:05|7|7");
  EXPECT_NE(put_new_fmt(en_, hm.data(), &a, &count, 8, &cursor, nullptr, nullptr), 0);
  EXPECT_EQ(put_new_fmt(en_, hm.data(), nullptr, &count, 8, &cursor, &chars, nullptr), 0);
  EXPECT_EQ(chars, 5);
}
