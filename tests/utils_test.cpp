// Support utilities: the log, the path search and the lexical readers.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <vls/vls.h>

#include "vlstest.h"

using vlstest::EnvVar;
using vlstest::TempDir;

namespace {

// Runs the reader on `text` and reports what it left in the stream.
template <typename F>
std::string with_stream(const std::string &text, F f) {
  FILE *s = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
  f(s);
  std::string rest;
  int c;
  while ((c = fgetc(s)) != EOF) rest += static_cast<char>(c);
  fclose(s);
  return rest;
}

struct LogCase {
  const char *vlslog;
  const char *vlsdebug;
};

void log_body(void *arg) {
  auto *c = static_cast<LogCase *>(arg);
  if (c->vlslog) setenv("VLSLOG", c->vlslog, 1); else unsetenv("VLSLOG");
  if (c->vlsdebug) setenv("VLSDEBUG", c->vlsdebug, 1); else unsetenv("VLSDEBUG");
  vl_message("first message");
  vl_message("second message");
  _exit(vls_logging * 2 + vls_popups);
}

}  // namespace

TEST(UtilsLog, FlagsFollowTheEnvironment) {
  struct {
    LogCase c;
    int expect;
  } cases[] = {
      {{"ON", nullptr}, 2},     {{"on", nullptr}, 2},  {{"oN", nullptr}, 2}, {{"off", nullptr}, 0},
      {{"o", nullptr}, 0},      {{nullptr, "on"}, 1},  {{nullptr, "On"}, 1}, {{nullptr, "oN"}, 0},
      {{nullptr, "ON"}, 0},     {{"ON", "on"}, 3},     {{nullptr, nullptr}, 0},
  };
  for (auto &k : cases) {
    TempDir dir;
    EXPECT_EQ(vlstest::in_child(dir.path(), log_body, &k.c), k.expect)
        << (k.c.vlslog ? k.c.vlslog : "-") << " " << (k.c.vlsdebug ? k.c.vlsdebug : "-");
  }
}

TEST(UtilsLog, WritesBannerAndOneLinePerMessage) {
  TempDir dir;
  LogCase c{"on", "on"};
  vlstest::in_child(dir.path(), log_body, &c);
  std::string log = vlstest::read_file(dir.file("vls.log"));
  ASSERT_EQ(log.rfind("----\nVLS log started ", 0), 0u) << log;
  EXPECT_NE(log.find("\n----\nfirst message\nsecond message\n"), std::string::npos) << log;
}

TEST(UtilsLog, PopupsPrintToStandardOutput) {
  TempDir dir;
  std::string out = dir.file("out.txt");
  LogCase c{nullptr, "on"};
  struct Arg {
    LogCase *c;
    const char *out;
  } a{&c, out.c_str()};
  vlstest::in_child(dir.path(), [](void *p) {
    auto *arg = static_cast<Arg *>(p);
    if (!freopen(arg->out, "w", stdout)) _exit(9);
    log_body(arg->c);
  }, &a);
  EXPECT_EQ(vlstest::read_file(out), "VLS: first message\nVLS: second message\n");
  EXPECT_FALSE(access(dir.file("vls.log").c_str(), F_OK) == 0);
}

TEST(UtilsLog, AssertPrintsAndExits) {
  EXPECT_EXIT(vl_assert_failed("file.c", 42), ::testing::ExitedWithCode(1), "Assert in file.c at line 42 failed.");
}

TEST(UtilsMemory, AllocWrappers) {
  EXPECT_EQ(_vl_alloc_ptr(0), nullptr);
  void *p = _vl_alloc_ptr(10);
  ASSERT_NE(p, nullptr);
  _vl_free_ptr(p);
  _vl_free_ptr(nullptr);
}

TEST(UtilsEnv, EmptyValueCountsAsUnset) {
  EnvVar a("VLS_TEST_EMPTY", "");
  EXPECT_EQ(_vl_get_env_var("VLS_TEST_EMPTY"), nullptr);
  EnvVar b("VLS_TEST_SET", "x");
  EXPECT_STREQ(_vl_get_env_var("VLS_TEST_SET"), "x");
  EnvVar c("VL_PATH", "");
  EXPECT_EQ(vl_get_vl_path(), nullptr);
}

class PathSearch : public ::testing::Test {
 protected:
  TempDir dir;
  EnvVar no_path{"VL_PATH", nullptr};
  uint32_t rec = 0;  // an error record
  std::string contents(void *f) {
    std::string s;
    int c;
    while ((c = fgetc(static_cast<FILE *>(f))) != EOF) s += static_cast<char>(c);
    fclose(static_cast<FILE *>(f));
    return s;
  }
};

TEST_F(PathSearch, VersionDirectoryFirstThenPlain) {
  dir.write("vls/lc11/x.lco", "versioned");
  dir.write("vls/lc/x.lco", "plain");
  dir.write("vls/lc/y.lco", "plain-y");
  EnvVar k("KELVANIXDIR", dir.path().c_str());
  char *where = nullptr;
  void *f = vl_path_search_rpath(&where, &rec, "x.lco", "lc", "11");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(contents(f), "versioned");
  EXPECT_EQ(std::string(where), dir.path() + "/vls/lc11");
  _vl_ext_free(where);
  f = vl_path_search_rpath(&where, &rec, "y.lco", "lc", "11");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(contents(f), "plain-y");
  EXPECT_EQ(std::string(where), dir.path() + "/vls/lc");
  _vl_ext_free(where);
  EXPECT_EQ(rec, 0u);  // the failed first attempt left no trace
  f = vl_path_search(&rec, "x.lco", "lc", "");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(contents(f), "plain");
  f = vl_path_search_no_ext(&rec, "x.lco", "lc", nullptr);
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(contents(f), "plain");
  f = vl_path_search_no_ext_rpath(&where, &rec, "y.lco", "lc", "11");
  ASSERT_NE(f, nullptr);
  fclose(static_cast<FILE *>(f));
  free(where);
}

TEST_F(PathSearch, MissingFileStoresEight) {
  EnvVar k("KELVANIXDIR", dir.path().c_str());
  EXPECT_EQ(vl_path_search(&rec, "none.lco", "lc", "11"), nullptr);
  EXPECT_EQ(rec, 8u);
  EXPECT_EQ(vl_path_search(nullptr, "none.lco", "lc", "11"), nullptr);  // no handle: nothing stored
}

TEST_F(PathSearch, VlPathSkipsEmptyItemsAndWins) {
  dir.write("a/f.txt", "from-a");
  dir.write("vls/lc11/f.txt", "from-kvx");
  EnvVar k("KELVANIXDIR", dir.path().c_str());
  std::string list = "::" + dir.path() + "/nowhere::" + dir.path() + "/a:";
  EnvVar p("VL_PATH", list.c_str());
  char *where = nullptr;
  void *f = vl_path_search_rpath(&where, &rec, "f.txt", "lc", "11");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(contents(f), "from-a");
  EXPECT_EQ(std::string(where), dir.path() + "/a");
  _vl_ext_free(where);
  EXPECT_EQ(rec, 0u);
  // VL_PATH set: the product tree is not consulted
  dir.write("vls/lc11/g.txt", "g");
  EXPECT_EQ(vl_path_search(&rec, "g.txt", "lc", "11"), nullptr);
}

TEST_F(PathSearch, AbsoluteNameNeverConsultsVlPath) {
  std::string abs = dir.write("abs.txt", "abs");
  EnvVar p("VL_PATH", "/nonexistent");
  char *where = nullptr;
  void *f = vl_path_search_rpath(&where, &rec, abs.c_str(), "lc", "11");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(contents(f), "abs");
  EXPECT_STREQ(where, "/");
  _vl_ext_free(where);
}

TEST_F(PathSearch, PathCookieTurnsByte255IntoSlash) {
  dir.write("c/d.txt", "cookie");
  std::string cookie = dir.path() + "\xff" "c" "\xff" "d.txt";
  void *f = vl_path_search(&rec, cookie.c_str(), "lc", "11");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(contents(f), "cookie");
  f = vl_open_file(&rec, cookie.c_str());
  ASSERT_NE(f, nullptr);
  fclose(static_cast<FILE *>(f));
}

TEST_F(PathSearch, OverlongKelvanixdirStoresEightAndLogs) {
  std::string longdir(256, 'k');
  EnvVar k("KELVANIXDIR", ("/" + longdir.substr(1)).c_str());
  EXPECT_EQ(chk_kelvanixdir(&rec), 0);  // exactly 256 is allowed
  std::string toolong = "/" + std::string(256, 'k');
  EnvVar k2("KELVANIXDIR", toolong.c_str());
  EXPECT_EQ(chk_kelvanixdir(&rec), 1);
  EXPECT_EQ(rec, 8u);
  EXPECT_EQ(chk_kelvanixdir(nullptr), 1);
  rec = 0;
  EXPECT_EQ(vl_path_search(&rec, "x", "lc", "11"), nullptr);
  EXPECT_EQ(rec, 8u);
}

TEST_F(PathSearch, LongPathsAreBuiltOnTheHeap) {
  std::string deep = dir.path();
  std::string rel;
  for (int i = 0; i < 12; ++i) rel += std::string(100, 'a' + i) + "/";
  dir.write(rel + "f.txt", "deep");
  std::string name = rel + "f.txt";
  EnvVar p("VL_PATH", dir.path().c_str());
  void *f = vl_path_search(&rec, name.c_str(), "lc", "11");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(contents(f), "deep");
}

TEST(UtilsLines, CheckAndReplaceNewline) {
  EXPECT_EQ(check_nl("abc\n"), 0);
  EXPECT_EQ(check_nl("abc"), 1);
  EXPECT_EQ(check_nl(""), 1);
  char a[] = "abc\n", b[] = "abc";
  EXPECT_EQ(replace_nl(a), 0);
  EXPECT_STREQ(a, "abc");
  EXPECT_EQ(replace_nl(b), 1);
  EXPECT_STREQ(b, "abc");
}

TEST(UtilsReaders, HexDigitsReadNonDigitsAsZero) {
  uint32_t v = 99;
  EXPECT_EQ(with_stream("0g", [&](FILE *s) { v = _vl_get_hex(s, 2); }), "");
  EXPECT_EQ(v, 0u);
  EXPECT_EQ(with_stream("aB\n", [&](FILE *s) { v = _vl_get_hex(s, 2); }), "\n");
  EXPECT_EQ(v, 0xABu);
  EXPECT_EQ(with_stream("123456789A", [&](FILE *s) { v = _vl_get_hex(s, 12); }), "9A");
  EXPECT_EQ(v, 0x12345678u);
  EXPECT_EQ(with_stream("12", [&](FILE *s) { v = _vl_get_hex(s, 0); }), "12");
  EXPECT_EQ(v, 0u);
  int d = -1;
  EXPECT_EQ(with_stream("\nx", [&](FILE *s) { d = _vl_get_hex_digit(s); }), "x");
  EXPECT_EQ(d, 0);
  EXPECT_EQ(with_stream("fF", [&](FILE *s) { d = _vl_get_hex_byte(s); }), "");
  EXPECT_EQ(d, 255);
}

TEST(UtilsReaders, Integers) {
  int32_t v = 0;
  EXPECT_EQ(with_stream(" 42 x", [&](FILE *s) { v = _vl_get_int(s); }), " x");
  EXPECT_EQ(v, 42);
  EXPECT_EQ(with_stream("-17\n", [&](FILE *s) { v = _vl_get_int(s); }), "\n");
  EXPECT_EQ(v, -17);
  EXPECT_EQ(with_stream("+5", [&](FILE *s) { v = _vl_get_int(s); }), "");
  EXPECT_EQ(v, 5);
  EXPECT_EQ(with_stream("x1", [&](FILE *s) { v = _vl_get_int(s); }), "x1");
  EXPECT_EQ(v, 0);
  EXPECT_EQ(with_stream("  7", [&](FILE *s) { v = _vl_get_int(s); }), " 7");  // only one blank is skipped
  EXPECT_EQ(v, 0);
  // digits beyond the 40th are consumed and dropped
  std::string big = "1" + std::string(50, '0') + ";";
  EXPECT_EQ(with_stream(big, [&](FILE *s) { v = _vl_get_int(s); }), ";");
  EXPECT_EQ(v, INT32_MAX);
}

TEST(UtilsReaders, FloatsAndStrings) {
  double d = 0;
  EXPECT_EQ(with_stream("1.5e+2 rest", [&](FILE *s) { d = _vl_get_dbl(s); }), " rest");
  EXPECT_DOUBLE_EQ(d, 150.0);
  char buf[6];
  int r = 9;
  EXPECT_EQ(with_stream("abc def", [&](FILE *s) { r = _vl_get_str(buf, sizeof buf, s); }), " def");
  EXPECT_EQ(r, 0);
  EXPECT_STREQ(buf, "abc");
  EXPECT_EQ(with_stream("abcde f", [&](FILE *s) { r = _vl_get_str(buf, sizeof buf, s); }), " f");
  EXPECT_EQ(r, -1);  // as long as the buffer: a failure
  EXPECT_STREQ(buf, "abcde");
  EXPECT_EQ(with_stream("abc", [&](FILE *s) { r = _vl_get_str(buf, sizeof buf, s); }), "");
  EXPECT_EQ(r, -1);  // ended by the end of the file
  EXPECT_EQ(with_stream("\nx", [&](FILE *s) { r = _vl_get_str(buf, sizeof buf, s); }), "\nx");
  EXPECT_EQ(r, 0);
  EXPECT_STREQ(buf, "");
}

TEST(UtilsReaders, SkippingBlanksAndNewlines) {
  int r = -1;
  EXPECT_EQ(with_stream("\nx", [&](FILE *s) { r = _vl_skip_nl(s); }), "x");
  EXPECT_EQ(r, 1);
  EXPECT_EQ(with_stream("x\n", [&](FILE *s) { r = _vl_skip_nl(s); }), "x\n");
  EXPECT_EQ(r, 0);
  EXPECT_EQ(with_stream("", [&](FILE *s) { r = _vl_skip_nl(s); }), "");
  EXPECT_EQ(r, 0);
  EXPECT_EQ(with_stream("  x", [](FILE *s) { _vl_skip_space_if_needed(s); }), " x");
  EXPECT_EQ(with_stream("x", [](FILE *s) { _vl_skip_space_if_needed(s); }), "x");
  EXPECT_EQ(with_stream(" \t\n\vx y", [](FILE *s) { _vl_skip_whitespace(s); }), "x y");
  EXPECT_EQ(with_stream("   ", [](FILE *s) { _vl_skip_whitespace(s); }), "");
}

TEST(UtilsNumbers, DigitsAndPowers) {
  EXPECT_EQ(_vl_digits(0, 10), 1);
  EXPECT_EQ(_vl_digits(9, 10), 1);
  EXPECT_EQ(_vl_digits(10, 10), 2);
  EXPECT_EQ(_vl_digits(-100, 10), 3);
  EXPECT_EQ(_vl_digits(INT32_MIN, 10), 10);
  EXPECT_EQ(_vl_digits(255, 16), 2);
  EXPECT_EQ(_vl_udigits(4294967295u, 10), 10);
  EXPECT_EQ(_vl_udigits(0, 2), 1);
  EXPECT_EQ(_vl_udigits(8, 2), 4);
  EXPECT_EQ(_vl_ipow(10, 0), 1);
  EXPECT_EQ(_vl_ipow(10, -3), 1);
  EXPECT_EQ(_vl_ipow(3, 4), 81);
  EXPECT_EQ(_vl_ipow(-2, 3), -8);
  EXPECT_DOUBLE_EQ(_vl_fpow(2.0, 10), 1024.0);
  EXPECT_DOUBLE_EQ(_vl_fpow(2.0, -2), 0.25);
  EXPECT_DOUBLE_EQ(_vl_fpow(7.5, 0), 1.0);
}

TEST(UtilsExit, ExitUtilitiesDoesNothingByDefault) {
  _vl_exit_utilities();
  EXPECT_EQ(pg_have_debug_file, 0);
  EXPECT_EQ(pg_debug_file, nullptr);
}
