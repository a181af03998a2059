// Number formatting: integer, float, character and string directives in
// shipped and fixture locales, each through the multibyte and the wide
// entries (which must agree); the C library's own output as the model of
// plain conversions; group planning; the directive scanner; size, count
// and error rules, with their documented quirks.

#include "lcofix.h"
#include "shipped.h"

using namespace vlstest;

namespace {

std::string E(uint32_t err) { return "#" + std::to_string(err); }

// Fixture locales: "plus" is C-like with a "+" sign; "wide" (EUC-like) has
// a two-column decimal point, separator and negative sign and the positive
// sign "++"; "ucs2" has characters of two bytes at least.
class Fmt : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = std::make_unique<TempDir>();
    dir_->write("vls/cm3/registry", "8859-1 819\nujis 57351\nucs2ish 57999\n");
    LocaleFile plus{latin1_spec(), {".", ",", {3, 3}, "+", "-"}, {}, {}};
    LocaleFile wide{euc_spec(), {"\xA1\xA5", "\xA1\xA4", {3, 3}, "++", "\xA1\xDD"}, {}, {}};
    LocaleFile ucs2{wide2_spec(), {std::string("\0.", 2), std::string("\0,", 2), {3, 3}, "", std::string("\0-", 2)}, {}, {}};
    dir_->write("vls/lc11/plus.lco", lco_text(plus));
    dir_->write("vls/lc11/wide.lco", lco_text(wide));
    dir_->write("vls/lc11/ucs2.lco", lco_text(ucs2));
    en_ = load_locale(kShipped, "en_us/0333.lco"), de_ = load_locale(kShipped, "de_de/0333.lco");
    fr_ = load_locale(kShipped, "fr_fr/0333.lco"), ja_ = load_locale(kShipped, "ja_jp/e007.lco");
    plus_ = load_locale(dir_->path(), "plus.lco"), wide_ = load_locale(dir_->path(), "wide.lco");
    ucs2_ = load_locale(dir_->path(), "ucs2.lco", {VL_LC_CTYPE, VL_LC_NUMERIC});
  }
  static void TearDownTestSuite() {
    for (vl_locale_t *h : {en_, de_, fr_, ja_, plus_, wide_, ucs2_}) vl_lc_unload(h);
    dir_.reset();
  }
  void SetUp() override {
    for (vl_locale_t *h : {en_, de_, fr_, ja_, plus_, wide_, ucs2_}) {
      ASSERT_TRUE(h);
      h->vl_errno = 0;
    }
  }
  static inline std::unique_ptr<TempDir> dir_;
  static inline vl_locale_t *en_, *de_, *fr_, *ja_, *plus_, *wide_, *ucs2_;
};

// Formats through both multibyte names and both wide names into `size`
// units. Gives the multibyte text, or "#error"; when that succeeds the wide
// text, narrowed, must be the same.
template <typename... A>
std::string F(vl_locale_t *h, int32_t size, const std::string &format, A... args) {
  std::vector<char> out(static_cast<size_t>(size) + 4, 'x'), twin(out);
  h->vl_errno = 0;
  const int n = vl_mbsprintf(h, out.data(), size, format.c_str(), args...);
  const uint32_t err = h->vl_errno;
  EXPECT_EQ(vl_mbsfnum(h, twin.data(), size, format.c_str(), args...), n) << format;
  const std::vector<vl_wchar> wf = widen(h, format);
  std::vector<vl_wchar> w(static_cast<size_t>(size) + 4, 0x7878), wtwin(w);
  const int wn = vl_wcsprintf(h, w.data(), size, wf.data(), args...);
  EXPECT_EQ(vl_wcsfnum(h, wtwin.data(), size, wf.data(), args...), wn) << format;
  if (n < 0) return E(err);
  EXPECT_EQ(err, 0u) << format;  // success leaves no error behind
  EXPECT_EQ(std::string(twin.data(), n), std::string(out.data(), n));
  EXPECT_EQ(out[n], 0) << format;
  EXPECT_GE(wn, 0) << format;
  if (wn >= 0) { EXPECT_EQ(narrow(h, w.data()), std::string(out.data(), n)) << format; }
  return std::string(out.data(), n);
}

struct IntCase { const char *format; int32_t a, b; std::string want; };

TEST_F(Fmt, Integers) {
  const IntCase cases[] = {
      {"%d|%i", 42, -7, "42|-7"}, {"%5d|", 42, 0, "   42|"}, {"%-5d|", 42, 0, "42   |"}, {"%05d", 42, 0, "00042"},
      {"%-05d|", 42, 0, "42   |"},                  // the 0 after - is skipped
      {"%0-5d", 42, 0, E(VL_EBADFORMAT)},           // 0 ends the flags
      {"%.3d|%5.3d|", 5, 5, "005|  005|"}, {"%05.3d", 5, 0, "00005"}, {"%.d|%.0d", 0, 0, "0|0"},
      {"%-5d%3d|", 1, 2, "1    2  |"},             // flags stay set
      {"%d %d", -1, 1, "-1 -1"}, {"%d %u", -1, 5, "-1 -5"},  // so does the negative state
      {"%X %x", 255, 255, "FF FF"}, {"%x|%o", 255, 8, "ff|10"}, {"%b|%q", 5, 7, "101|13"}, {"%b|%q", 0, 0, "0|0"}, {"%b", -5, 0, "-101"},
      {"%#x|%#X", 0, 255, "0x0|0XFF"}, {"%#o|%#.1o", 8, 8, "010|010"}, {"%#.5o", 8, 0, "00010"}, {"%#o", 0, 0, "00"},
      {"%p", 255, 0, "000000FF"}, {"%p %x", 255, 255, "000000FF FF"}, {"%p|%5d", 255, 7, "000000FF|00007"},
      {"%u", -1, 0, "4294967295"}, {"%d", INT_MIN, 0, "-18446744071562067968"},
      {"%hu|%hd", -1, 65535, "65535|-1"}, {"%hhu|%hhd", 257, 255, "1|-1"}, {"%ld|%Ld", 3, 4, "3|4"},
      {"%*d|", 5, 42, "   42|"}, {"%.*d", 3, 7, "007"}, {"%-*d|", 3, 7, "7  |"},
      {"%+d|% d", 5, 5, "5|5"},                     // en_US has an empty positive sign
      {"%'d", 1234567, 0, "1,234,567"}, {"%'d|%'x", 0, 0x12345678, "0|12,345,678"}, {"%'b", 0, 0, "0"},
      {"a%%b", 0, 0, "a%b"}, {"", 0, 0, ""},
      {"%5%", 0, 0, E(VL_EBADFORMAT)}, {"%k", 0, 0, E(VL_EBADFORMAT)}, {"%n", 0, 0, E(VL_EBADFORMAT)},
      {"%", 0, 0, E(VL_EUNKNOWN)}, {"ab%5", 0, 0, E(VL_EUNKNOWN)}, {"%ll", 0, 0, E(VL_EUNKNOWN)},
      {"%.-d", 0, 0, E(VL_EMODIFIER)}, {"%.%", 0, 0, E(VL_EMODIFIER)},
  };
  for (const IntCase &c : cases) {
    SCOPED_TRACE(c.format);
    EXPECT_EQ(F(en_, 64, c.format, c.a, c.b), c.want);
  }
  // ll: the 64-bit argument gives only its sign, the 32-bit one after it the digits.
  EXPECT_EQ(F(en_, 64, "%lld|%lld", -5LL, 7, 5LL, 8), "-7|-8");
  EXPECT_EQ(F(en_, 64, "%llu|%llx", -5LL, 7, 1LL << 40, 255), "7|ff");
}

TEST_F(Fmt, TheLocalesSignsSeparatorsAndColumns) {
  const struct { vl_locale_t *h; const char *format; bool fp; double v; std::string want; } cases[] = {
      {de_, "%'d", false, 1234567, "1.234.567"}, {de_, "%'.2f", true, 1234567.891, "1.234.567,89"},
      {fr_, "%'d", false, -1234567, "-1\xA0" "234\xA0" "567"},
      {plus_, "%+d", false, 7, "+7"}, {plus_, "% d|%d", false, 7, " 7| 7"}, {plus_, "%+5d|%-5d|", false, 7, "   +7|+7   |"},
      {plus_, "%+05d", false, -7, "-0007"}, {plus_, "% 05d|%+.3d", false, 7, " 0007|+007"}, {plus_, "%#08x", false, 255, "00000xff"},
      // two columns a character: widths count columns
      {wide_, "%5d|%-5d|", false, -1, "  \xA1\xDD" "1|\xA1\xDD" "1  |"},
      {wide_, "%+5d|", false, 1, "   ++1|"},  // "++" measured over the negative sign's one character
      {wide_, "% d|", false, 1, "  1|"}, {wide_, "%'8d|", false, 1234, "  1\xA1\xA4" "234|"},
      {wide_, "%8.2f|%-8.2f|", true, 1, "   1\xA1\xA5" "00|1\xA1\xA5" "00   |"},  // the field narrowed for the point
      {wide_, "%+8.2f|", true, 1, " ++1\xA1\xA5" "00|"}, {wide_, "%'.0f", true, 1234567, "1\xA1\xA4" "234\xA1\xA4" "567"},
      {wide_, "%8.1e", true, 1234567, "1\xA1\xA5" "2e++06"}, {wide_, "%.1e", true, -1, " \xA1\xDD" "1\xA1\xA5" "0e++00"},
      {en_, "%e|%G", true, 1.5, "1.500000e00|1.5"},  // en_US's positive sign is empty
      {en_, "%'10.2f|", true, -1234.5, " -1,234.50|"}, {en_, "%08.2f", true, -1.5, "-0001.50"}, {en_, "%f", true, -0.0, "0.000000"},
      {en_, "%'f", true, 0.5, "0.500000"}, {en_, "%.3g|%G", true, 1e-10, "1e-10|1E-10"},
      {en_, "%'.1f", true, 999999.96, "100,0000.0"},  // digits counted before the C library rounds
      {en_, "%f|%5f|%-5f|%+f", true, INFINITY, "Inf|  Inf|Inf  |Inf"}, {en_, "%5f|%-5E|", true, -INFINITY, "-Inf|-Inf|"},
      {en_, "%5f|%g", true, NAN, "  NaN|NaN"}, {en_, "%100f", true, 1, E(VL_E2BIG)},
      {en_, "%99f|", true, 1, std::string(91, ' ') + "1.000000|"}, {en_, "%.120f", true, 1, E(VL_E2BIG)},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.format);
    EXPECT_EQ(c.fp ? F(c.h, 128, c.format, c.v, c.v, c.v, c.v) : F(c.h, 64, c.format, int32_t(c.v), int32_t(c.v)), c.want);
  }
}

// Where the locale is the C library's (point, "+" and "-"), plain
// conversions print as snprintf does, but for the documented differences
// that the generator leaves out.
TEST_F(Fmt, PlainConversionsAsTheCLibrary) {
  const char *flags[] = {"", "-", "+", " ", "0", "#", "-+", "+0", " 0", "-#", "#0"}, *widths[] = {"", "1", "8", "15"};
  const char *precisions[] = {"", ".0", ".1", ".5"};
  const double reals[] = {0, 1.5, -1.5, 0.5, 2.5, 123456.789, -9.99e20, 1e-5, 1e16, -0.000123};
  const int32_t ints[] = {0, 1, -1, 7, 8, 255, -255, 123456, INT_MIN, INT_MAX};
  char want[256];
  for (const char *f : flags)
    for (const char *w : widths)
      for (const char *p : precisions) {
        for (char conv : std::string("eEfgG")) {
          const std::string format = std::string("%") + f + w + p + conv;
          for (double v : reals) {
            snprintf(want, sizeof want, format.c_str(), v);
            EXPECT_EQ(F(plus_, 128, format, v), want) << format << " " << v;
          }
        }
        for (char conv : std::string("diuxXo")) {
          const std::string format = std::string("%") + f + w + p + conv;
          const bool is_unsigned = conv != 'd' && conv != 'i', alt = strchr(f, '#'), zero = strchr(f, '0');
          if ((zero && *p) || (is_unsigned && (strchr(f, '+') || strchr(f, ' '))) || (alt && (conv == 'o' || zero)))
            continue;  // C drops 0 with a precision and signs of unsigned values; the octal and 0x layouts differ
          for (int32_t v : ints) {
            if ((v == 0 && (!strcmp(p, ".0") || alt)) || (v == INT_MIN && !is_unsigned)) continue;
            snprintf(want, sizeof want, format.c_str(), v);
            EXPECT_EQ(F(plus_, 128, format, v), want) << format << " " << v;
          }
        }
      }
}

TEST_F(Fmt, CharactersAndStrings) {
  static const vl_wchar wide_text[] = {'w', 'i', 'd', 'e', 0};
  const std::string long_text(300, 'x');  // converted in a heap block
  const std::pair<std::string, std::string> rows[] = {
      {F(en_, 32, "%c|%3c|%-3c|", "a", "b", "c"), "a|  b|c  |"}, {F(en_, 32, "%03c", "x"), "00x"},
      {F(en_, 32, "%lc%lc", vl_wchar('h'), vl_wchar(0xE9)), "h\xE9"},
      {F(en_, 32, "a%cb", ""), E(0)}, {F(en_, 32, "%c", static_cast<const char *>(nullptr)), E(0)},  // -1, no error
      {F(wide_, 32, "%c", ""), E(0)}, {F(wide_, 32, "%3c|", "\xA3\xC1"), " \xA3\xC1|"}, {F(wide_, 32, "%c", "\xA3"), E(VL_EILSEQ)},
      {F(en_, 32, "%s|%5s|%.2s|%7.2s|", "abc", "abcdefgh", "abc", "abc"), "abc|abcde|ab|     ab|"},
      {F(en_, 32, "%s|%3c|", "a\tb", "\n"), "a\tb|  \n|"},  // no display width: one column
      {F(wide_, 32, "%s|%3c|", "a\tb", "\n"), "a\tb|  \n|"}, {F(en_, 32, "%-6.2s|", "abc"), "ab    |"}, {F(en_, 32, "%06s", "abc"), "000abc"}, {F(en_, 32, "%ls", wide_text), "wide"},
      {F(en_, 32, "%s", static_cast<const char *>(nullptr)), E(VL_EBADPTR)},
      {F(en_, 400, "%s", long_text.c_str()), long_text}, {F(en_, 32, "%.5s", long_text.c_str()), "xxxxx"},
      {F(wide_, 32, "%4s|%6s|%3s|", "\xA3\xC1\xA3\xC2", "\xA3\xC1\xA3\xC2", "\xA3\xC1\xA3\xC2"),
       "\xA3\xC1\xA3\xC2|  \xA3\xC1\xA3\xC2|\xA3\xC1\xA3\xC2|"},
      {F(wide_, 32, "%s", "a\xA3"), E(VL_EILSEQ)}, {F(ja_, 32, "[%s]", "\xC6\xFC\xCB\xDC"), "[\xC6\xFC\xCB\xDC]"},
  };
  for (size_t i = 0; i < std::size(rows); ++i) EXPECT_EQ(rows[i].first, rows[i].second) << "row " << i;
}

// The count starts at 1 for the terminator; each piece tests it against the size.
TEST_F(Fmt, SizesAndCounts) {
  const std::pair<std::string, std::string> rows[] = {
      {F(en_, 1, "a"), E(VL_E2BIG)}, {F(en_, 2, "a"), "a"}, {F(en_, 3, "%d", 123), E(VL_E2BIG)}, {F(en_, 4, "%d", 123), "123"},
      {F(en_, 2, "%2c", "a"), E(VL_E2BIG)}, {F(en_, 3, "%2c", "a"), " a"}, {F(en_, 4, "%.2f", 3.14159), E(VL_E2BIG)},
      {F(en_, 5, "%.2f", 3.14159), "3.14"}, {F(en_, 4, "x%s", "abc"), E(VL_E2BIG)}, {F(en_, 5, "x%s", "abc"), "xabc"},
      {F(en_, 0, ""), E(VL_E2BIG)}, {F(en_, 1, ""), ""}, {F(wide_, 2, "%s", "\xA3\xC1"), E(VL_E2BIG)},  // 2 bytes and the terminator
      {F(en_, 200, std::string(150, 'y') + "%d", 7), std::string(150, 'y') + "7"},  // heap work areas
  };
  for (size_t i = 0; i < std::size(rows); ++i) EXPECT_EQ(rows[i].first, rows[i].second) << "row " << i;
  // The string writer tests its multibyte length against the whole size.
  const std::vector<vl_wchar> ab = widen(wide_, "%s");
  std::vector<vl_wchar> w(4);
  EXPECT_EQ(vl_wcsprintf(wide_, w.data(), 4, ab.data(), "\xA3\xC1\xA3\xC2"), 2);
  EXPECT_EQ(vl_wcsprintf(wide_, w.data(), 3, ab.data(), "\xA3\xC1\xA3\xC2"), -1);
  EXPECT_EQ(wide_->vl_errno, VL_E2BIG);
  // Infinity is written but not counted; text that would pass the buffer's end fails instead.
  const std::vector<vl_wchar> inf = widen(en_, "%f|"), xs = widen(en_, "x%s");
  EXPECT_EQ(vl_wcsprintf(en_, w.data(), 4, inf.data(), INFINITY), -1);
  w.resize(5);
  EXPECT_EQ(vl_wcsprintf(en_, w.data(), 5, inf.data(), INFINITY), 1);
  EXPECT_EQ(w, (std::vector<vl_wchar>{'I', 'n', 'f', '|', 0}));
  char out[8];
  EXPECT_EQ(vl_mbsprintf(en_, out, 8, "%f|", INFINITY), 4);
  w.resize(3);
  en_->vl_errno = 0;
  EXPECT_EQ(vl_wcsprintf(en_, w.data(), 3, xs.data(), "ab"), -1);
  EXPECT_EQ(en_->vl_errno, VL_E2BIG);
}

int scan(vl_locale_t *h, const vl_wchar **format, vl_fmt_state *st, int32_t *position, ...) {
  va_list ap;
  va_start(ap, position);
  const int r = _vl_scan_format_modifiers(h, format, st, position, &ap);
  va_end(ap);
  return r;
}

TEST_F(Fmt, DirectiveScanner) {
  enum : uint32_t { G = VL_FMT_GROUP, L = VL_FMT_LEFT, P = VL_FMT_PLUS, S = VL_FMT_SPACE, Z = VL_FMT_ZERO, A = VL_FMT_ALT };
  constexpr int32_t JL = VL_FMT_JUSTIFY_LEFT, JZ = VL_FMT_JUSTIFY_ZERO, JR = VL_FMT_JUSTIFY_RIGHT;
  const struct { std::vector<vl_wchar> text; bool args; uint32_t flags; int32_t width, precision, justify, lng, shrt, used, position;
                 uint32_t err; } cases[] = {
      {{'0', '5', 'd'}, false, Z, 5, -1, JZ, 0, 0, 2, -1, 0},  // no position: the digits are read again
      {{'-', '0', '5', 'd'}, false, L, 5, -1, JL, 0, 0, 3, -1, 0},
      {{'0', '-', '5', 'd'}, false, Z, 0, -1, JZ, 0, 0, 1, -1, 0},
      {{'-', '0', '+', ' ', '#', '\'', '1', '2', '.', '3', 'l', 'l', 'd'}, false, L | P | S | A | G, 12, 3, JL, 2, 0, 12, -1, 0},
      {{'-', '0', '0', 'd'}, false, L | Z, 0, -1, JZ, 0, 0, 3, -1, 0},  // the zero flag wins
      {{'1', '2', '$', '5', 'd'}, false, 0, 5, -1, JR, 0, 0, 4, 12, 0}, {{'1', '2', 'd'}, false, 0, 12, -1, JR, 0, 0, 2, -1, 0},
      {{'.', 'd'}, false, 0, 0, 0, JR, 0, 0, 1, -1, 0}, {{'.', 'l', 'd'}, false, 0, 0, 0, JR, 1, 0, 2, -1, 0},
      {{'.', '-', 'd'}, false, 0, 0, -1, JR, 0, 0, 1, -1, VL_EMODIFIER},
      {{'*', '.', '*', 'd'}, false, VL_FMT_SUPPRESS, 0, -1, JR, 0, 0, 3, -1, 0},
      {{'*', '.', '*', 'd'}, true, VL_FMT_ARGS, 7, 3, JR, 0, 0, 3, -1, 0},
      {{'H', 'h', 'd'}, false, 0, 0, -1, JR, 0, 2, 2, -1, 0}, {{'h', 'H', 'd'}, false, 0, 0, -1, JR, 0, 1, 1, -1, 0},
      {{'L', 'l', 'd'}, false, 0, 0, -1, JR, 2, 0, 2, -1, 0}, {{'l', 'L', 'd'}, false, 0, 0, -1, JR, 1, 0, 1, -1, 0},
      {{0x100, 'd'}, false, 0, 0, -1, JR, 0, 0, 0, -1, VL_EILSEQ},  // beyond the class table: no digit
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.text));
    vl_fmt_state st;
    _vl_init_format_state(&st);
    st.flags = c.args ? VL_FMT_ARGS : 0;
    std::vector<vl_wchar> text = c.text;
    text.push_back(0);
    const vl_wchar *p = text.data();
    int32_t position = -1;
    en_->vl_errno = 0;
    EXPECT_EQ(scan(en_, &p, &st, &position, 7, 3), c.err == VL_EMODIFIER ? -1 : 0);
    EXPECT_EQ(en_->vl_errno, c.err);
    if (c.err == VL_EMODIFIER) continue;
    EXPECT_EQ(st.flags, c.flags);
    EXPECT_EQ(std::vector<int32_t>({st.width, st.precision, st.justify, st.long_level, st.short_level, int32_t(p - text.data()),
                                    position}),
              std::vector<int32_t>({c.width, c.precision, c.justify, c.lng, c.shrt, c.used, c.position}));
    EXPECT_EQ(st.pad, vl_wchar(c.justify == JZ ? '0' : ' '));
  }
}

// The integer writer the time formatter shares: 64- and 32-bit twins, at a
// place inside a buffer whose count already stands.
TEST_F(Fmt, IntegerWriter) {
  const struct { uint64_t v; int32_t negative, base, count, size, width, precision; uint32_t flags; std::string want; } cases[] = {
      {35, 0, 36, 1, 8, 0, -1, 0, "z"}, {35, 0, 36, 1, 8, 0, -1, VL_FMT_UPPER, "Z"}, {1, 0, 37, 1, 8, 0, -1, 0, E(VL_EBADARG)},
      {5, 1, 10, 1, 8, 4, 2, 0, " -05"}, {5, 1, 10, 1, 8, 4, -1, VL_FMT_ZERO | VL_FMT_LEFT, "-005"},
      {123, 0, 10, 3, 5, 0, -1, 0, E(VL_E2BIG)}, {12, 0, 10, 3, 5, 0, -1, 0, "12"}, {123, 0, 10, 3, 6, 0, -1, 0, "123"},
      {4294967295u, 0, 10, 1, 16, 0, -1, VL_FMT_GROUP, "4,294,967,295"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.want);
    const std::string &want = c.want;
    for (bool narrow : {false, true}) {
      std::vector<vl_wchar> buf(c.size, 'x');
      vl_wchar *p = buf.data() + c.count - 1;
      int32_t count = c.count;
      en_->vl_errno = 0;
      const int rc = narrow ? _vl_format_decimal(en_, uint32_t(c.v), c.negative, c.base, &count, c.size, &p, c.width, c.precision, c.flags)
                            : _vl_format_decimalull(en_, c.v, c.negative, c.base, &count, c.size, &p, c.width, c.precision, c.flags);
      if (rc) {
        EXPECT_EQ(E(en_->vl_errno), want);
        continue;
      }
      const std::string got(buf.begin() + c.count - 1, buf.begin() + (p - buf.data()));
      EXPECT_EQ(got, want);
      EXPECT_EQ(count, c.count + int32_t(want.size()));
    }
  }
  EXPECT_EQ(F(en_, 24, "%llu", 0LL, 7), "7");
  // A locale with no numeric category: no signs, no separators.
  vl_locale_t *bare = make_handle(latin1_spec());
  ASSERT_NE(bare, nullptr);
  EXPECT_EQ(F(bare, 32, "%d|%'d|%.1f", -1234, -1234, -2.5), "1234|1234|25");  // nor a decimal point
  vl_lc_unload(bare);
}

// Integers (digits right to left) and floats (left to right) group alike.
TEST_F(Fmt, GroupingFromTheLocale) {
  const struct { std::vector<int32_t> groups; int32_t value; const char *want; } cases[] = {
      {{0}, 1234567, "1234567"}, {{2, 3, 3}, 1234567, "1,234,567"}, {{1, 3}, 1234567, "1,234,567"}, {{1, 3}, 123, "123"},
      {{1, 3}, 1234, "1,234"}, {{2, 3, 3}, 0, "0"}, {{2, 3, 2}, 1234567, "12,34,567"}, {{2, 3, -1}, 1234567, "1234,567"},
      {{2, 3, 0}, 1234567, "1,234,567"}, {{3, 1, 2, 3}, 1234567, "1,234,56,7"}, {{2, 1, 0}, 123, "1,2,3"},
      {{1, 0}, 123, "1,2,3"},  // not a valid locale (a first size of 0 alone), but no division by zero
  };
  int32_t saved[VL_GROUP_WORDS];
  memcpy(saved, en_->nmm.grouping, sizeof saved);
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.groups) + " " + c.want);
    memset(en_->nmm.grouping, 0, sizeof saved);
    std::copy(c.groups.begin(), c.groups.end(), en_->nmm.grouping);
    EXPECT_EQ(F(en_, 64, "%'d", c.value), c.want);
    EXPECT_EQ(F(en_, 64, "%'.0f", double(c.value)), c.want);
    int32_t index, separators, repeat, before;
    init_grouping(en_, &index, &separators, &repeat, &before, int32_t(std::to_string(c.value).size()), VL_GROUP_BACKWARD);
    EXPECT_EQ(separators, std::count(c.want, c.want + strlen(c.want), ','));
  }
  memcpy(en_->nmm.grouping, saved, sizeof saved);
}

TEST_F(Fmt, WideToMultibyte) {
  const std::string nul2("\0\0", 2);
  const struct { vl_locale_t *h; std::vector<vl_wchar> wide; int32_t size; int rc; std::string want; uint32_t err; } cases[] = {
      {wide_, {0xA3C1, 'a'}, 4, 3, "\xA3\xC1" "a", 0}, {wide_, {0xA3C1, 'a'}, 3, -1, "\xA3\xC1", VL_E2BIG},  // part stored
      {wide_, {'a', 0xFFFF}, 8, -1, "a", VL_EILSEQ}, {en_, {0x141}, 2, 1, "A", 0},  // single-byte: the low byte
      {ucs2_, {'4', '2'}, 6, 4, std::string("\0" "4\0" "2", 4), 0}, {ucs2_, {'4', '2'}, 5, -1, std::string("\0" "4", 2), VL_E2BIG},
      {ucs2_, {}, 1, -1, "", VL_E2BIG},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.wide) + " size " + std::to_string(c.size));
    std::vector<vl_wchar> wide = c.wide;
    wide.push_back(0);
    std::string out(16, 'x');
    c.h->vl_errno = 0;
    EXPECT_EQ(_vl_get_mbstring(c.h, out.data(), wide.data(), c.size), c.rc);
    EXPECT_EQ(c.h->vl_errno, c.err);
    const size_t n = c.want.size(), term = c.rc < 0 ? 0 : vl_mb_loc_min(c.h);
    EXPECT_EQ(out.substr(0, n + term + 1), c.want + std::string(term, '\0') + "x");
  }
  // A codeset whose characters have two bytes at least: format and text in it.
  auto U = [&nul2](const std::string &a) {
    std::string s;
    for (char ch : a) s += '\0', s += ch;
    return s + nul2;
  };
  const std::string format = U("%'d|%.2f|%s");
  EXPECT_EQ(F(ucs2_, 64, format, 1234, -1.5, U("ab").c_str()), U("1,234|-1.50|ab").substr(0, 28));
  EXPECT_EQ(F(ucs2_, 8, U("%d"), 123), U("123").substr(0, 6));
  EXPECT_EQ(F(ucs2_, 7, U("%d"), 123), E(VL_E2BIG));
}

}  // namespace
