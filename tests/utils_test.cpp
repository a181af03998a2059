// Support utilities: the log, the path search and the lexical readers.
#include "vlstest.h"

using vlstest::EnvVar;
using vlstest::TempDir;

namespace {

// Two messages in a child that starts in its own directory with standard
// output sent to out.txt; it exits with logging * 2 + popups.
void log_body(void *arg) {
  auto *env = static_cast<const char *const *>(arg);
  for (int i = 0; i < 2; ++i) env[i] ? setenv(i ? "VLSDEBUG" : "VLSLOG", env[i], 1) : unsetenv(i ? "VLSDEBUG" : "VLSLOG");
  if (!freopen("out.txt", "w", stdout)) _exit(9);
  vl_message("first message");
  vl_message("second message");
  _exit(vls_logging * 2 + vls_popups);
}

std::string rest_of(FILE *s) {
  std::string rest;
  for (int c; s && (c = fgetc(s)) != EOF;) rest += static_cast<char>(c);
  return s ? fclose(s), rest : rest;
}

}  // namespace

TEST(UtilsLog, FlagsFollowTheEnvironment) {
  // "on" in any case logs; only the first letter of VLSDEBUG ignores case.
  const std::pair<std::array<const char *, 2>, int> cases[] = {
      {{"ON", nullptr}, 2}, {{"on", nullptr}, 2}, {{"oN", nullptr}, 2}, {{"off", nullptr}, 0}, {{"o", nullptr}, 0},
      {{nullptr, "on"}, 1}, {{nullptr, "On"}, 1}, {{nullptr, "oN"}, 0}, {{nullptr, "ON"}, 0}, {{"ON", "on"}, 3},
      {{nullptr, nullptr}, 0}};
  for (auto [env, flags] : cases) {
    SCOPED_TRACE(std::string(env[0] ? env[0] : "-") + " " + (env[1] ? env[1] : "-"));
    TempDir dir;
    EXPECT_EQ(vlstest::in_child(dir.path(), log_body, env.data()), flags);
    const std::string log = vlstest::read_file(dir.file("vls.log")), logs = flags & 2 ? "logs" : "silent";
    EXPECT_EQ((access(dir.file("vls.log").c_str(), F_OK) == 0 && log.rfind("----\nVLS log started ", 0) == 0 &&
               log.find("\n----\nfirst message\nsecond message\n") != std::string::npos) ? "logs" : "silent", logs);
    EXPECT_EQ(vlstest::read_file(dir.file("out.txt")), flags & 1 ? "VLS: first message\nVLS: second message\n" : "");
  }
  EXPECT_EXIT(vl_assert_failed("file.c", 42), ::testing::ExitedWithCode(1), "Assert in file.c at line 42 failed.");
}

TEST(UtilsEnv, EmptyValueCountsAsUnset) {
  EnvVar a("VLS_TEST_EMPTY", ""), b("VLS_TEST_SET", "x"), c("VL_PATH", "");
  EXPECT_EQ(_vl_get_env_var("VLS_TEST_EMPTY"), nullptr);
  EXPECT_STREQ(_vl_get_env_var("VLS_TEST_SET"), "x");
  EXPECT_EQ(vl_get_vl_path(), nullptr);
}

// Every row is searched by all four forms, which must agree; "$" stands for
// the test's directory, which is KELVANIXDIR ("" for none).
TEST(UtilsPathSearch, FourFormsFindTheSameFile) {
  TempDir dir;
  std::string deep;
  for (int i = 0; i < 12; ++i) deep += std::string(100, 'a' + i) + "/";  // a path beyond 1024 bytes
  for (auto f : {"vls/lc11/x.lco", "vls/lc/x.lco", "vls/lc/y.lco", "a/f.txt", "vls/lc11/f.txt", "vls/lc11/g.txt",
                 "abs.txt", "c/d.txt"})
    dir.write(f, f);
  dir.write(deep += "f.txt", "deep");
  const std::string kel255 = "/" + std::string(255, 'k'), kel256 = kel255 + "k";
  const struct { const char *kel, *vl_path, *name, *ver, *want, *where; uint32_t err = 0; } rows[] = {
      {"$", nullptr, "x.lco", "11", "vls/lc11/x.lco", "$/vls/lc11"},
      {"$", nullptr, "y.lco", "11", "vls/lc/y.lco", "$/vls/lc"},  // the failed first attempt leaves no trace
      {"$", nullptr, "x.lco", "", "vls/lc/x.lco", "$/vls/lc"}, {"$", nullptr, "x.lco", nullptr, "vls/lc/x.lco", "$/vls/lc"},
      {"$", nullptr, "none.lco", "11", nullptr, nullptr, VL_ENOENT},
      {"$", "::$/nowhere::$/a:", "f.txt", "11", "a/f.txt", "$/a"},         // empty items are skipped
      {"$", "::$/nowhere::$/a:", "g.txt", "11", nullptr, nullptr, VL_ENOENT},  // and the product tree isn't read
      {"$", "/nonexistent", "$/abs.txt", "11", "abs.txt", "/"},
      {"$", nullptr, "$\xff" "c\xff" "d.txt", "11", "c/d.txt", nullptr},  // a path cookie
      {"$", "$", deep.c_str(), "11", "deep", "$"},
      {kel255.c_str(), "$", "a/f.txt", "11", "a/f.txt", "$"},  // a KELVANIXDIR of 256 bytes and more is refused
      {kel256.c_str(), "$", "a/f.txt", "11", nullptr, nullptr, VL_ENOENT},
  };
  auto x = [&](const char *s) {
    std::string t = s ? s : "";
    for (size_t at; (at = t.find('$')) != std::string::npos;) t.replace(at, 1, dir.path());
    return t;
  };
  for (auto &r : rows) {
    SCOPED_TRACE(std::string(r.name).substr(0, 60));
    EnvVar k("KELVANIXDIR", x(r.kel).c_str()), p("VL_PATH", r.vl_path ? x(r.vl_path).c_str() : nullptr);
    std::string name = x(r.name);
    for (int form = 0; form < 4; ++form) {
      uint32_t rec = 0;
      char *where = nullptr, **wp = form & 1 ? &where : nullptr;
      void *f = form & 2 ? (wp ? vl_path_search_no_ext_rpath(wp, &rec, name.c_str(), "lc", r.ver)
                                : vl_path_search_no_ext(&rec, name.c_str(), "lc", r.ver))
                         : (wp ? vl_path_search_rpath(wp, &rec, name.c_str(), "lc", r.ver)
                               : vl_path_search(&rec, name.c_str(), "lc", r.ver));
      EXPECT_EQ(rest_of(static_cast<FILE *>(f)), x(r.want));
      EXPECT_EQ(rec, r.err);
      EXPECT_EQ(where ? std::string(where) : "", wp ? x(r.where) : "");
      free(where);
    }
  }
  EXPECT_EQ(vl_path_search(nullptr, "none.lco", "lc", "11"), nullptr);  // no handle: nothing stored
  EXPECT_EQ(rest_of(static_cast<FILE *>(vl_open_file(nullptr, (dir.path() + "\xff" "c\xff" "d.txt").c_str()))), "c/d.txt");
  EnvVar k("KELVANIXDIR", kel256.c_str());
  EXPECT_EQ(chk_kelvanixdir(nullptr), 1);
  EnvVar k0("KELVANIXDIR", nullptr);
  EXPECT_EQ(chk_kelvanixdir(nullptr), 0);
}

enum Reader { Hex, HexDigit, HexByte, Int, Dbl, Str, SkipNl, SkipSpace, SkipWs };

// What the reader gave (as text) and what it left in the stream.
TEST(UtilsReaders, ValueAndRest) {
  const struct {
    Reader r;
    int n;  // digits of Hex, buffer size of Str
    const char *in, *value, *rest;
  } rows[] = {
      {Hex, 2, "0g", "0", ""}, {Hex, 2, "aB\n", "171", "\n"}, {Hex, 12, "123456789A", "305419896", "9A"},
      {Hex, 0, "12", "0", "12"}, {HexDigit, 0, "\nx", "0", "x"}, {HexByte, 0, "fF", "255", ""},
      {Int, 0, " 42 x", "42", " x"}, {Int, 0, "-17\n", "-17", "\n"}, {Int, 0, "+5", "5", ""}, {Int, 0, "x1", "0", "x1"},
      {Int, 0, "  7", "0", " 7"}, {Int, 0, "", "0", ""},  // only one blank is skipped
      {Int, 0, "100000000000000000000000000000000000000000000000000;", "2147483647", ";"},  // beyond 40 dropped
      {Dbl, 0, "1.5e+2 rest", "150.000000", " rest"}, {Str, 6, "abc def", "0 abc", " def"},
      {Str, 6, "abcde f", "-1 abcde", " f"}, {Str, 6, "abc", "-1 abc", ""}, {Str, 6, "\nx", "0 ", "\nx"},
      {Str, 0, "abc", "-1 ", "abc"}, {SkipNl, 0, "\nx", "1", "x"}, {SkipNl, 0, "x\n", "0", "x\n"},
      {SkipNl, 0, "", "0", ""}, {SkipSpace, 0, "  x", "", " x"}, {SkipSpace, 0, "x", "", "x"},
      {SkipWs, 0, " \t\n\vx y", "", "x y"}, {SkipWs, 0, "   ", "", ""},
  };
  for (auto &r : rows) {
    SCOPED_TRACE(r.in);
    std::string text = r.in, value;
    FILE *s = fmemopen(text.data(), text.size(), "r");
    char buf[8] = "";
    switch (r.r) {
      case Hex: value = std::to_string(_vl_get_hex(s, r.n)); break;
      case HexDigit: value = std::to_string(_vl_get_hex_digit(s)); break;
      case HexByte: value = std::to_string(_vl_get_hex_byte(s)); break;
      case Int: value = std::to_string(_vl_get_int(s)); break;
      case Dbl: value = std::to_string(_vl_get_dbl(s)); break;
      case Str: value = std::to_string(_vl_get_str(buf, r.n, s)) + " " + buf; break;
      case SkipNl: value = std::to_string(_vl_skip_nl(s)); break;
      case SkipSpace: _vl_skip_space_if_needed(s); break;
      case SkipWs: _vl_skip_whitespace(s); break;
    }
    EXPECT_EQ(value + "|" + rest_of(s), std::string(r.value) + "|" + r.rest);
  }
}

TEST(UtilsNumbers, LinesDigitsAndPowers) {
  char a[] = "abc\n", b[] = "abc";
  EXPECT_EQ(std::vector<int>({check_nl("abc\n"), check_nl("abc"), check_nl(""), replace_nl(a), replace_nl(b)}),
            std::vector<int>({0, 1, 1, 0, 1}));
  EXPECT_STREQ(a, "abc");
  EXPECT_EQ(std::vector<int>({_vl_digits(0, 10), _vl_digits(9, 10), _vl_digits(10, 10), _vl_digits(-100, 10),
                              _vl_digits(INT32_MIN, 10), _vl_digits(255, 16), _vl_udigits(4294967295u, 10),
                              _vl_udigits(0, 2), _vl_udigits(8, 2), _vl_udigits(5, 1), _vl_ipow(10, 0),
                              _vl_ipow(10, -3), _vl_ipow(3, 4), _vl_ipow(-2, 3)}),
            std::vector<int>({1, 1, 2, 3, 10, 2, 10, 1, 4, 1, 1, 1, 81, -8}));
  // Both builds give the bits of step-by-step double arithmetic (no wider
  // intermediate precision in the 32-bit one).
  for (double b : {2.0, 3.0, 1.1, 10.0, 0.7, 123.456})
    for (int e = -9; e <= 9; ++e) {
      volatile double r = 1.0;
      for (int i = 0; i < (e < 0 ? -e : e); ++i) r = e < 0 ? r / b : r * b;
      EXPECT_EQ(_vl_fpow(b, e), r) << b << "^" << e;
    }
  _vl_exit_utilities();  // nothing sets the debug file: nothing to close
  EXPECT_EQ(pg_debug_file, nullptr);
}
