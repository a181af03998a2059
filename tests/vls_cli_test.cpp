// The vls program: exit statuses and messages of every verb, and its output
// against the standard tools where they do the same job (iconv(1) on the
// shipped pairs, sort(1) under the C library's build of the same locale).
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "vlstest.h"

namespace {

using Result = vlstest::ProgramResult;
using vlstest::run_program;

// The program in the C locale of the C library, so that its text comes in
// the locale's own bytes unless `env` names another terminal codeset.
Result vls(std::vector<std::string> args, const std::string &input = "", std::vector<std::string> env = {}) {
  args.insert(args.begin(), VLS_CLI);
  env.insert(env.begin(), "LC_ALL=C");
  return run_program(args, input, env);
}

// Text in a codeset through the C library's iconv(1).
std::string glibc_iconv(const std::string &from, const std::string &to, const std::string &text) {
  const Result r = run_program({"iconv", "-f", from, "-t", to}, text);
  return r.status == 0 ? r.out : std::string("(glibc iconv failed)");
}

// Rows: the verb's command line, standard input, exit status, the exact
// output (null: not checked), a piece of the error text ("" for none).
struct Case {
  std::vector<std::string> args;
  const char *input;
  int status;
  const char *out;
  const char *err;
};

const Case kCases[] = {
    // usage errors: 2, the verb named
    {{}, "", 2, nullptr, "usage: vls VERB"},
    {{"frobnicate"}, "", 2, nullptr, "unknown verb 'frobnicate'"},
    {{"locale", "-q"}, "", 2, nullptr, "vls locale: unknown option '-q'"},
    {{"locale", "-k"}, "", 2, nullptr, "-k wants"},
    {{"locale", "nonsense"}, "", 2, nullptr, "unknown keyword or category 'nonsense'"},
    {{"iconv", "-f", "utf8"}, "", 2, nullptr, "-f and -t are needed"},
    {{"printf", "%d %"}, "", 2, nullptr, "directive at byte 3 does not end"},
    {{"money", "%n %n", "1"}, "", 2, nullptr, "exactly one directive"},
    {{"decimal"}, "", 2, nullptr, "no expression"},
    {{"decimal", "-r", "x", "1"}, "", 2, nullptr, "-r wants"},
    {{"date", "-d"}, "", 2, nullptr, "needs a value"},
    {{"compile", "bogus"}, "", 2, nullptr, "unknown compiler 'bogus'"},
    {{"sort", "-L", "en_US.8859-1", "--help"}, "", 0, nullptr, ""},
    // data errors: 1, the input named
    {{"sort", "-L", "--help"}, "", 0, nullptr, ""},
    {{"date", "-L", "-h"}, "", 0, nullptr, ""},
    {{"locale", "-h"}, "", 0, nullptr, ""},
    // data errors: 1, the input named and the reason in words
    {{"locale", "-L", "xx_YY.nothing", "decimal_point"}, "", 1, nullptr,
     "cannot load the locale 'xx_YY.nothing': the registry"},
    {{"locale", "-L", "es_ES.UTF-8", "charmap"}, "", 1, nullptr, "it is not shipped (no file "},
    {{"locale", "-L", "es_ES.UTF-8", "charmap"}, "", 1, nullptr, "(shipped for es_ES: es_ES.8859-1)"},
    {{"locale", "-L", "de_AT", "charmap"}, "", 1, nullptr, "none is shipped for de_AT"},
    {{"locale", "-L", "garbage", "charmap"}, "", 1, nullptr, "not a locale name"},
    {{"locale", "-L", "de_de/0334.lco", "charmap"}, "", 1, nullptr, "de_de/0334.lco (below "},
    {{"iconv", "-f", "utf8", "-t", "nocodeset"}, "", 1, nullptr, "the registry knows no codeset 'nocodeset'"},
    {{"iconv", "-f", "UTF-8", "-t", "ISO-8859-3"}, "", 1, nullptr, "no such conversion is shipped"},
    {{"iconv", "-f", "UTF-8", "-t", "ISO-8859-1"}, "ab\xff" "cd", 1, "ab",
     "standard input: illegal input sequence at position 2"},
    {{"iconv", "-c", "-f", "UTF-8", "-t", "ISO-8859-1"}, "ab\xff" "cd", 0, "abcd", ""},
    {{"iconv", "-f", "SHIFT_JIS", "-t", "UTF-8"}, "ab\x82", 1, "ab", "incomplete character"},
    {{"iconv", "-f", "utf8", "-t", "sjis", "/nonexistent/x"}, "", 1, "", "cannot read /nonexistent/x: No such file"},
    {{"sort", "-L", "en_US.utf8"}, "ok\nbad\xff\n", 1, nullptr, "standard input: byte 6: no sort key for the line: "},
    {{"printf", "-L", "en_US.8859-1", "%d", "12x"}, "", 1, nullptr, "'12x' is not an integer"},
    {{"money", "-L", "en_US.8859-1", "--parse", "%n", "$1.00 extra"}, "", 1, nullptr, "byte 5: text after"},
    {{"decimal", "1 / 0"}, "", 1, nullptr, "'1 / 0': byte 4: division by zero"},
    {{"decimal", "1 + * 2"}, "", 1, nullptr, "byte 4: not a number"},
    {{"date", "-d", "2024-02-30"}, "", 1, nullptr, "'2024-02-30': not a date"},
    {{"env", "NO_SUCH_SETTING"}, "", 1, nullptr, "NO_SUCH_SETTING: unknown setting"},
    // results
    {{"locale", "-L", "de_DE.8859-1", "-k", "decimal_point", "thousands_sep", "grouping", "frac_digits"}, "", 0,
     "decimal_point=\",\"\nthousands_sep=\".\"\ngrouping=3;3\nfrac_digits=2\n", ""},
    {{"locale", "-L", "de_de/0333.lco", "currency_symbol"}, "", 0, "EUR\n", ""},
    {{"sort", "-L", "en_US.8859-1", "-f", "-u"}, "b\nA\na\nB\nb\n", 0, "A\nb\n", ""},
    {{"sort", "-L", "en_US.8859-1", "-r"}, "a\nc\nb\n", 0, "c\nb\na\n", ""},
    {{"printf", "-L", "de_DE.8859-1", "%'d|%.2f|%s\\n", "1234567", "3.14159", "x"}, "", 0, "1.234.567|3,14|x\n", ""},
    {{"printf", "-L", "en_US.8859-1", "%'d\\n", "-1234567", "42"}, "", 0, "-1,234,567\n42\n", ""},
    {{"money", "-L", "de_DE.8859-1", "%n", "1234.5"}, "", 0, "1.234,50 EUR\n", ""},
    {{"money", "-L", "en_US.8859-1", "%n", "-3"}, "", 0, "-$3.00\n", ""},
    {{"money", "-L", "en_US.8859-1", "--parse", "%'n", "$1,234.50"}, "", 0, "1234.5\n", ""},
    {{"decimal", "1.10 + 2.205"}, "", 0, "3.305\n", ""},
    {{"decimal", "1.10", "+", "2.205", "*", "3"}, "", 0, "9.915\n", ""},
    {{"decimal", "-r", "2", "10 / 3"}, "", 0, "3.33\n", ""},
    {{"decimal", "-x", "123.45"}, "", 0, "123.45\nc201172d\n", ""},
    {{"date", "-L", "de_DE.8859-1", "-d", "2024-03-05 14:07:09", "+%d.%m.%Y %H:%M"}, "", 0, "05.03.2024 14:07\n", ""},
    {{"date", "-L", "en_US.8859-1", "-d", "2024-03-05", "+%A %B"}, "", 0, "Tuesday March\n", ""},
};

TEST(Cli, StatusesAndMessages) {
  for (const Case &c : kCases) {
    std::string label;
    for (const std::string &a : c.args) label += a + " ";
    SCOPED_TRACE(label);
    const Result r = vls(c.args, c.input, {"HOME=/nonexistent"});
    EXPECT_EQ(r.status, c.status) << r.err;
    if (c.out) {
      EXPECT_EQ(r.out, c.out);
    }
    if (*c.err) {
      EXPECT_NE(r.err.find(c.err), std::string::npos) << r.err;
    } else if (c.status == 0) {
      EXPECT_EQ(r.err, "");
    }
    // Reasons in words, never a bare number.
    for (const char *bare : {"(error ", "error 8", "(status "}) EXPECT_EQ(r.err.find(bare), std::string::npos) << r.err;
  }
}

// The usual names of locales and codesets, and a bare language, name the
// shipped locales; the text comes in the terminal's codeset (UTF-8 here),
// and in the locale's own with --raw.
TEST(Cli, UsualNamesAndTheTerminalCodeset) {
  struct Row {
    const char *name, *glibc_codeset, *tuesday;
  };
  const Row kRows[] = {
      {"de_DE.ISO-8859-1", "ISO-8859-1", "Dienstag"}, {"de_DE", "ISO-8859-1", "Dienstag"},
      {"de_DE.iso88591", "ISO-8859-1", "Dienstag"},   {"ru_RU.KOI8-R", "KOI8-R", "Вторник"},
      {"ru_RU.koi8r", "KOI8-R", "Вторник"},           {"ru_RU.CP1251", "CP1251", "Вторник"},
      {"ru_RU", "ISO-8859-5", "Вторник"},             {"ja_JP.EUC-JP", "EUC-JP", "火曜日"},
      {"ja_JP.eucJP", "EUC-JP", "火曜日"},             {"ja_JP", "EUC-JP", "火曜日"},
      {"ja_JP.SHIFT_JIS", "SHIFT_JIS", "火曜日"},      {"en_US.UTF-8", "UTF-8", "Tuesday"},
      {"el_GR.ISO-8859-7", "ISO-8859-7", "Τρίτη"},    {"th_TH.TIS-620", "TIS-620", "อังคาร"},
      {"ko_KR.EUC-KR", "EUC-KR", "화요일"},            {"zh_CN.GB2312", "GB2312", "星期二"},
  };
  for (const Row &row : kRows) {
    SCOPED_TRACE(row.name);
    const std::vector<std::string> args = {"date", "-L", row.name, "-d", "2024-03-05", "+%A"};
    const Result term = vls(args, "", {"LC_ALL=C.UTF-8"});
    EXPECT_EQ(term.status, 0) << term.err;
    EXPECT_EQ(term.out, std::string(row.tuesday) + "\n");
    std::vector<std::string> raw = args;
    raw.push_back("--raw");
    EXPECT_EQ(vls(raw, "", {"LC_ALL=C.UTF-8"}).out, glibc_iconv("UTF-8", row.glibc_codeset, term.out));
    EXPECT_EQ(vls(args).out, glibc_iconv("UTF-8", row.glibc_codeset, term.out));  // C: the locale's bytes
  }
  // Operands typed in the terminal's codeset reach the locale in its own.
  EXPECT_EQ(vls({"printf", "-L", "de_DE", "%s|%'d\\n", "Größe", "1234567"}, "", {"LC_ALL=C.UTF-8"}).out,
            "Größe|1.234.567\n");
  const Result lacks = vls({"printf", "-L", "de_DE", "%s", "日本"}, "", {"LC_ALL=C.UTF-8"});
  EXPECT_EQ(lacks.status, 1);
  EXPECT_NE(lacks.err.find("a character that the locale's codeset 8859-1 lacks"), std::string::npos) << lacks.err;
  // Codeset names of conversions.
  EXPECT_EQ(vls({"iconv", "-f", "Shift_JIS", "-t", "eucJP"}, glibc_iconv("UTF-8", "SHIFT_JIS", "漢字")).out,
            glibc_iconv("UTF-8", "EUC-JP", "漢字"));
}

// With KELVANIXDIR unset the program reads the compiled tree beside it:
// a copy of the program in <dir>/tools/vls sees <dir>/kelvanix alone.
TEST(Cli, FindsTheTreeBesideItself) {
  vlstest::TempDir dir;
  const std::string tree = std::string(VLS_CLI).substr(0, std::string(VLS_CLI).rfind("/tools/")) + "/kelvanix";
  dir.write("kelvanix/vls/cm3/registry", vlstest::read_file(tree + "/vls/cm3/registry"));
  dir.write("kelvanix/vls/lc11/de_de/0333.lco", vlstest::read_file(tree + "/vls/lc11/de_de/0333.lco"));
  const std::string copy = dir.write("tools/vls/vls", vlstest::read_file(VLS_CLI));
  ASSERT_EQ(chmod(copy.c_str(), 0755), 0);
  const Result r = run_program({copy, "locale", "-a"}, "", {"KELVANIXDIR"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "de_DE.8859-1\n");
  EXPECT_NE(run_program({copy, "env", "KELVANIXDIR"}, "", {"KELVANIXDIR"}).out.find("(found beside this program)"),
            std::string::npos);
}

TEST(Cli, EveryVerbHasHelp) {
  for (const char *verb : {"locale", "iconv", "sort", "printf", "money", "decimal", "date", "env", "compile"}) {
    SCOPED_TRACE(verb);
    const Result r = vls({verb, "--help"});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("usage: vls"), std::string::npos) << r.out;
  }
}

TEST(Cli, LocaleListsTheShippedSet) {
  const Result r = vls({"locale", "-a"});
  ASSERT_EQ(r.status, 0) << r.err;
  for (const char *name : {"de_DE.8859-1\n", "ja_JP.sjis\n", "ja_JP.ujis\n", "en_US.utf8\n"})
    EXPECT_NE(r.out.find(name), std::string::npos) << name;
  // with the data version of every file
  EXPECT_NE(vls({"locale", "-v"}).out.find("de_DE.8859-1\tde_de/0333.lco\tSOURCE=de_DE, CHARMAP=ISO-8859-1, "
                                            "GENERATOR=vls-localedef 1."), std::string::npos);
  EXPECT_NE(vls({"iconv", "-l", "-v"}).out.find("utf8_sjis.cvo\tSOURCE=SHIFT_JIS (sjis), TARGET=UTF-8 (utf8), "
                                                "GENERATOR=vls-cvodef 1."), std::string::npos);
  // every name loads
  size_t at = 0, end;
  while ((end = r.out.find('\n', at)) != std::string::npos) {
    const std::string spec = r.out.substr(at, end - at);
    SCOPED_TRACE(spec);
    EXPECT_EQ(vls({"locale", "-L", spec, "charmap"}).status, 0);
    at = end + 1;
  }
}

// The shipped pairs against iconv(1), in texts long enough to split
// characters between the program's pieces.
TEST(Cli, IconvAgreesWithTheCLibrary) {
  struct Pair {
    const char *from, *to, *sample;
  };
  const Pair kPairs[] = {
      {"SHIFT_JIS", "UTF-8", "日本語のテキスト、かなカナ漢字。"},
      {"UTF-8", "SHIFT_JIS", "東京都千代田区　ＡＢＣ１２３"},
      {"EUC-JP", "UTF-8", "吾輩は猫である。名前はまだ無い。"},
      {"SHIFT_JIS", "EUC-JP", "令和六年三月五日"},
      {"KOI8-R", "CP1251", "Съешь же ещё этих мягких французских булок"},
      {"UTF-8", "ISO-8859-7", "Ξεσκεπάζω την ψυχοφθόρα βδελυγμία"},
      {"EUC-KR", "UTF-8", "다람쥐 헌 쳇바퀴에 타고파"},
      {"ISO-8859-1", "UTF-8", "Größe, Äpfel, Übermut, façade"},
      {"EUC-KR", "ISO-2022-KR", "다람쥐 헌 쳇바퀴에 타고파 abc"},
      {"ISO-2022-KR", "EUC-KR", "다람쥐 헌 쳇바퀴에 타고파 abc"},
  };
  for (const Pair &p : kPairs) {
    SCOPED_TRACE(std::string(p.from) + " -> " + p.to);
    std::string utf8;
    for (int i = 0; i < 700; ++i) utf8 += std::string(p.sample) + (i % 7 ? " " : "\n");
    const std::string input = glibc_iconv("UTF-8", p.from, utf8);
    const std::string want = glibc_iconv(p.from, p.to, input);
    const Result r = vls({"iconv", "-f", p.from, "-t", p.to}, input);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(r.out == want) << "output differs from iconv(1)";
  }
}

// sort(1) under the C library's build of the same locale source; skipped
// when those locales were not built.
TEST(Cli, SortAgreesWithTheCLibrary) {
  const std::string glibc = VLS_TEST_BINARY_DIR "/oracle/glibc";
  struct Row {
    const char *vls_locale, *glibc_locale, *words;
  };
  const Row kRows[] = {
      {"de_DE.8859-1", "de_DE.ISO-8859-1",
       "Zucker\nähnlich\nApfel\nÄrger\nzu\nÖl\noben\nMüller\nMueller\nabc\nStraße\nStrasse\nBär\nbar\n"},
      {"fr_FR.8859-1", "fr_FR.ISO-8859-1", "côte\ncote\ncôté\ncoté\nÉlan\nelan\nzèbre\nabîme\n"},
  };
  for (const Row &row : kRows) {
    SCOPED_TRACE(row.vls_locale);
    if (access((glibc + "/" + row.glibc_locale).c_str(), R_OK) != 0) {
      GTEST_SKIP() << "the C library's " << row.glibc_locale << " is not built";
    }
    const std::string input = glibc_iconv("UTF-8", "ISO-8859-1", row.words);
    for (const char *flag : {"", "-r"}) {
      SCOPED_TRACE(flag);
      std::vector<std::string> sort_args = {"sort"}, vls_args = {"sort", "-L", row.vls_locale};
      if (*flag) sort_args.push_back(flag), vls_args.push_back(flag);
      const Result want = run_program(sort_args, input, {"LOCPATH=" + glibc, std::string("LC_ALL=") + row.glibc_locale});
      ASSERT_EQ(want.status, 0) << want.err;
      const Result got = vls(vls_args, input);
      EXPECT_EQ(got.status, 0) << got.err;
      EXPECT_EQ(got.out, want.out);
    }
  }
}

// Big input: iconv streams in fixed memory (a 100 MB input peaks where a
// 1 MB one does) and both verbs report what they did; progress lines come
// on standard error when asked.
TEST(Cli, BigInputInFixedMemory) {
  vlstest::TempDir dir;
  std::string line;
  for (int c = 0x20; c < 0x100; ++c) line += static_cast<char>(c == 0x7f ? ' ' : c);
  line += '\n';
  auto peak = [](const std::string &err) {
    const size_t at = err.find("peak memory ");
    return at == std::string::npos ? -1.0 : atof(err.c_str() + at + 12);
  };
  double peaks[2] = {0, 0};
  for (int big = 0; big < 2; ++big) {
    const size_t lines = (big ? 100000000 : 1000000) / line.size();
    // Written a line at a time: a child counts its parent's resident pages,
    // so the test never holds the text (a sanitizer keeps freed blocks).
    const std::string in = dir.file("in");
    FILE *f = fopen(in.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    for (size_t i = 0; i < lines; ++i) fwrite(line.data(), 1, line.size(), f);
    fclose(f);
    const Result r = vls({"iconv", "--stats", "-f", "8859-1", "-t", "utf8", "-o", "/dev/null", in});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string sizes = std::to_string(lines * line.size()) + " bytes in, " +
                              std::to_string(lines * (line.size() + 128)) + " bytes out";
    EXPECT_NE(r.err.find("vls iconv: " + sizes), std::string::npos) << r.err;
    EXPECT_NE(r.err.find(" MB/s, peak memory "), std::string::npos) << r.err;
    peaks[big] = peak(r.err);
  }
  EXPECT_GT(peaks[0], 0);
  EXPECT_LT(peaks[1], peaks[0] + 16) << "iconv's memory grows with its input";

  const Result s = vls({"sort", "--stats", "--progress", "-L", "en_US.8859-1"}, "b\nc\na\n");
  EXPECT_EQ(s.status, 0) << s.err;
  EXPECT_EQ(s.out, "a\nb\nc\n");
  EXPECT_NE(s.err.find("vls sort: sorting lines: 3"), std::string::npos) << s.err;
  EXPECT_NE(s.err.find("vls sort: 6 bytes in, 6 bytes out, "), std::string::npos) << s.err;
  EXPECT_EQ(vls({"sort", "-L", "en_US.8859-1", "-s"}).status, 2);  // the long options' letters are not short ones
}

// Where each setting comes from.
TEST(Cli, EnvNamesTheSource) {
  vlstest::TempDir home, kvx;
  home.write(".kelvanix", "DBDATE Y4MD-\n");
  kvx.write("etc/kelvanix.rc", "DBMONEY .\nDBDATE MDY4/\n");
  const Result r = vls({"env", "DBDATE", "DBMONEY", "DBDELIMITER", "DBPATH"}, "",
                       {"HOME=" + home.path(), "KELVANIXDIR=" + kvx.path(), "DBPATH=/x"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "DBDATE=Y4MD-\t(user file ~/.kelvanix)\n"
            "DBMONEY=.\t(system file $KELVANIXDIR/etc/kelvanix.rc)\n"
            "DBDELIMITER=|\t(default)\n"
            "DBPATH=/x\t(environment)\n");
}

// The compilers are found beside the program or in the build tree.
TEST(Cli, CompileForwards) {
  for (const char *which : {"locale", "cvo"}) {
    SCOPED_TRACE(which);
    const Result r = vls({"compile", which, "--help"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE((r.out + r.err).find("usage: vls-"), std::string::npos);
  }
}

}  // namespace
