// The vls program against the C library's programs on the same locale
// sources and charmaps: `locale -k`, `iconv`, `sort`, `date` and `printf`
// run under glibc's build of each shipped locale (LOCPATH), and vls on the
// library's build, byte for byte. The corpus is the locale's own words
// (days, months, their abbreviations) in its codeset, as glibc gives them,
// and the ASCII lines of its source's comments and identification. Where
// the Unicode bridge is built, the UTF-8 locales run a second time through
// it (vls --unicode), all but sort, whose order is then ICU's.
// Known differences are listed in docs/locale-deviations.md ("The vls
// command") and left out here.
#include "vlstest.h"

namespace {

struct Case {
  const char *source, *charmap, *file, *name;
};
const Case kCases[] = {
#include "oracle_cases.inc"
};

using Result = vlstest::ProgramResult;
using vlstest::run_program;

// One locale under both: glibc's programs by name through LOCPATH, vls by
// the library's file, writing the locale's own bytes (with `unicode`,
// through the Unicode bridge: vls --unicode).
struct Pair {
  const Case &c;
  bool unicode = false;
  std::string label() const { return std::string(c.name) + (unicode ? " --unicode" : ""); }
  Result glibc(std::vector<std::string> argv, const std::string &input = "") const {
    return run_program(argv, input, {"LOCPATH=" VLS_ORACLE_GLIBC, std::string("LC_ALL=") + c.name, "TZ=UTC"});
  }
  Result vls(std::vector<std::string> argv, const std::string &input = "") const {
    argv.insert(argv.begin() + 1, {"--raw", "-L", c.file});
    if (unicode) argv.insert(argv.begin(), "--unicode");
    argv.insert(argv.begin(), VLS_CLI);
    return run_program(argv, input, {"KELVANIXDIR=" VLS_ORACLE_KELVANIX, "LC_ALL=C", "TZ=UTC"});
  }
  bool built() const { return access((std::string(VLS_ORACLE_GLIBC "/") + c.name + "/LC_CTYPE").c_str(), R_OK) == 0; }
};

// Every shipped locale natively, and the UTF-8 ones again through the
// bridge where it is built.
std::vector<Pair> Pairs() {
  std::vector<Pair> v;
  for (const Case &c : kCases) v.push_back({c});
#ifdef VLS_ORACLE_BRIDGE
  for (const Case &c : kCases)
    if (std::string(c.charmap) == "UTF-8") v.push_back({c, true});
#endif
  return v;
}

// The words of the locale, one a line, in its codeset, and the lines of
// its source's comments and identification (ASCII: sentences with spaces,
// punctuation and digits).
std::string corpus(const Pair &p) {
  const Result r = p.glibc({"locale", "day", "abday", "mon", "abmon", "am_pm"});
  std::string out;
  for (char ch : r.out) out += ch == ';' ? '\n' : ch;
  const std::string src = vlstest::read_file(std::string("/usr/share/i18n/locales/") + p.c.source);
  size_t at = 0, end;
  while ((end = src.find('\n', at)) != std::string::npos) {
    std::string line = src.substr(at, end - at);
    at = end + 1;
    if (line.rfind("% ", 0) == 0) line.erase(0, 2);
    else if (line.rfind("title ", 0) == 0 || line.rfind("address ", 0) == 0 || line.rfind("language ", 0) == 0)
      line.erase(0, line.find('"'));
    else continue;
    const bool ascii = std::all_of(line.begin(), line.end(), [](char ch) { return ch > 0 && ch < 0x7f; });
    if (!line.empty() && ascii && line.find("<U") == std::string::npos) out += line + '\n';
  }
  return out;
}

// Known differences (docs/locale-deviations.md, "The vls command"): the
// locale and the keyword, date format or printf directive that differs.
const struct {
  const char *locale, *what;
} kKnown[] = {
    {"ja_JP", "era"}, {"th_TH", "era"}, {"zh_TW", "era"},  // the library's era strings carry one more field
    {"el_GR", "grouping"},                                  // "-1", glibc "-1;-1"
    {"ja_JP", "+%Ex|%EX|%Ec|%EC|%Ey|%EY"},                  // %EY's era year in one digit
};
bool known(const Case &c, const std::string &what) {
  for (const auto &k : kKnown)
    if (std::string(c.name).rfind(k.locale, 0) == 0 && what == k.what) return true;
  return false;
}

const char *const kKeywords[] = {
    "decimal_point", "thousands_sep", "grouping", "int_curr_symbol", "currency_symbol", "mon_decimal_point",
    "mon_thousands_sep", "mon_grouping", "positive_sign", "negative_sign", "int_frac_digits", "frac_digits",
    "p_cs_precedes", "p_sep_by_space", "n_cs_precedes", "n_sep_by_space", "p_sign_posn", "n_sign_posn",
    "abday", "day", "abmon", "mon", "am_pm", "d_t_fmt", "d_fmt", "t_fmt", "t_fmt_ampm", "era", "era_d_fmt",
    "era_t_fmt", "era_d_t_fmt", "alt_digits", "yesexpr", "noexpr", "yesstr", "nostr",
};

// One run of each program per locale: both print the keywords one a line.
TEST(Golden, LocaleKeywords) {
  for (const Pair &p : Pairs()) {
    SCOPED_TRACE(p.label());
    if (!p.built()) continue;
    std::vector<std::string> argv = {"locale", "-k"};
    for (const char *k : kKeywords)
      if (!known(p.c, k)) argv.push_back(k);
    const Result want = p.glibc(argv);
    const Result got = p.vls(argv);
    EXPECT_EQ(got.status, 0) << got.err;
    EXPECT_EQ(got.out, want.out);
  }
}

TEST(Golden, Iconv) {
  for (const Pair &p : Pairs()) {
    const Case &c = p.c;
    SCOPED_TRACE(p.label());
    if (!p.built() || std::string(c.charmap) == "UTF-8") continue;
    const std::string text = corpus(p);
    const Result to_utf8 = p.glibc({"iconv", "-f", c.charmap, "-t", "UTF-8"}, text);
    ASSERT_EQ(to_utf8.status, 0) << to_utf8.err;
    EXPECT_EQ(p.vls({"iconv", "-f", c.charmap, "-t", "UTF-8"}, text).out, to_utf8.out);
    EXPECT_EQ(p.vls({"iconv", "-f", "UTF-8", "-t", c.charmap}, to_utf8.out).out, text);
  }
}

TEST(Golden, Sort) {
  for (const Pair &p : Pairs()) {
    SCOPED_TRACE(p.label());
    if (!p.built() || p.unicode) continue;  // ICU's order differs (bridge_icu_test holds it to ICU's)
    const std::string text = corpus(p) + "zebra\nZebra\nabc\nABC\na-b\nab\n10\n9\n";
    for (const char *flag : {"-f", "-r"}) {
      SCOPED_TRACE(flag);
      const Result want = p.glibc({"sort", flag}, text);
      const Result got = p.vls({"sort", flag}, text);
      EXPECT_EQ(got.status, 0) << got.err;
      EXPECT_EQ(got.out, want.out);
    }
  }
}

// The formats joined by newlines into one, so that each program runs once
// per locale and date.
TEST(Golden, Date) {
  const char *const kDates[] = {"2024-03-05 14:07:09", "1999-12-31 23:59:59", "2001-01-01 00:00:00",
                                "1989-01-07 09:05:07"};
  const char *const kFormats[] = {"+%c", "+%x", "+%X", "+%A %a %B %b %p", "+%d.%m.%Y %H:%M:%S %j %y %C %e %I",
                                  "+%Ex|%EX|%Ec|%EC|%Ey|%EY", "+%Od %Om %OH %OM", "+%D %T %R %%"};
  for (const Pair &p : Pairs()) {
    SCOPED_TRACE(p.label());
    if (!p.built()) continue;
    std::string format = "+";
    for (const char *f : kFormats)
      if (!known(p.c, f)) format += std::string(f + 1) + "\n";
    for (const char *d : kDates) {
      SCOPED_TRACE(std::string(d) + " " + format);
      const Result want = p.glibc({"date", "-d", d, format});
      const Result got = p.vls({"date", "-d", d, format});
      EXPECT_EQ(got.status, 0) << got.err;
      EXPECT_EQ(got.out, want.out);
    }
  }
}

TEST(Golden, Printf) {
  // %e is left out: its exponent has no sign ("1.235e04", glibc "1.235e+04").
  const std::vector<std::string> kArgs = {"%'d|%d|%'.2f|%.3f|%g|%'i|%x|%5.1f|%-6d|%s\\n",
                                          "1234567", "-42", "1234567.891", "12345.678", "0.0001",
                                          "-9876543", "255", "2.25", "7", "text"};
  for (const Pair &p : Pairs()) {
    SCOPED_TRACE(p.label());
    if (!p.built()) continue;
    std::vector<std::string> g = {"/usr/bin/printf"}, v = {"printf"};
    g.insert(g.end(), kArgs.begin(), kArgs.end());
    v.insert(v.end(), kArgs.begin(), kArgs.end());
    const Result want = p.glibc(g);
    const Result got = p.vls(v);
    EXPECT_EQ(got.status, 0) << got.err;
    EXPECT_EQ(got.out, want.out);
  }
}

}  // namespace
