// vls-localedef on small sources and charmaps (ldef/: a base file that
// xx_XX copies, an EUC-like charmap TEST-EUC): the source syntax (copy,
// escape and comment characters, continuation, ranges, symbolic names,
// transliteration of strings), the charmap syntax (ranges, WIDTH, gzip),
// the written file as the library reads it, and clear failures with file
// and line for bad input.
#include "vlstest.h"

using vlstest::TempDir;

namespace {

const std::string kData = VLS_LDEF_DATA;  // the sources and the charmap

struct Result { int status; std::string err; };
// Runs the compiler with the arguments; stderr is kept.
Result compile(const TempDir &d, const std::string &args) {
  int rc = system(("'" VLS_LOCALEDEF_EXE "' " + args + " 2>'" + d.file("stderr.txt") + "'").c_str());
  return {WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, vlstest::read_file(d.file("stderr.txt"))};
}
// xx_XX in TEST-EUC as the library's ujis, to d/name.
Result compile_xx(const TempDir &d, const std::string &name, const std::string &flags = "") {
  return compile(d, flags + " -i xx_XX -I " + kData + " --charmaps " + kData + " -f TEST-EUC --codeset ujis " + d.file(name));
}

struct Loaded {
  vl_locale_t *h = nullptr;
  ~Loaded() { vl_lc_unload(h); }
};
void load(const TempDir &d, const std::string &file, Loaded &l) {
  vlstest::EnvVar path("VL_PATH", d.path().c_str());
  ASSERT_EQ(vl_create_null_locale_4(&l.h), 0);
  char *r = vl_setlocale_4(l.h, VL_LC_ALL, file.c_str());
  ASSERT_NE(r, nullptr) << "vl_errno " << l.h->vl_errno;
  vl_destroystring(r);
}

}  // namespace

// Compressed and uncompressed trees read alike, and the file answers as
// the sources say.
TEST(Localedef, CompilesAndLoads) {
  TempDir d;
  Loaded a, b;
  ASSERT_EQ(compile_xx(d, "o.lco").status, 0) << compile_xx(d, "o.lco").err;
  ASSERT_EQ(compile_xx(d, "u.lco", "-u").status, 0);
  load(d, "o.lco", a), load(d, "u.lco", b);
  if (HasFatalFailure()) return;
  vl_locale_t *h = a.h;
  EXPECT_EQ(std::tuple(std::string(h->codeset_names[0]), h->ctype.ctype_tree->max_length, h->case_expansion,
                       h->ctype.ctype_tree->tree_flags & VL_MULTI_COMPRESSED, b.h->ctype.ctype_tree->tree_flags & VL_MULTI_COMPRESSED),
            std::tuple("ujis", 2, 1.0, uint32_t{VL_MULTI_COMPRESSED}, 0u));
  // full_width from WIDTH, "kana" from a stepped range; a comment line inside a continued list
  const uint32_t fw = vl_ctype(h, "full_width"), kana = vl_ctype(h, "kana");
  EXPECT_EQ(std::tuple(fw, kana), std::tuple(2048u, 4096u));
  struct Char { vl_wchar w; uint32_t classes; vl_wchar upper, lower; } chars[] = {
      {'A', VL_CT_UPPER | VL_CT_ALPHA | VL_CT_GRAPH | VL_CT_PRINT | VL_CT_XDIGIT, 'A', 'a'},  // tolower: the reverse of toupper
      {'a', VL_CT_LOWER | VL_CT_ALPHA | VL_CT_GRAPH | VL_CT_PRINT | VL_CT_XDIGIT, 'A', 'a'},
      {'b', VL_CT_LOWER | VL_CT_ALPHA | VL_CT_GRAPH | VL_CT_PRINT | VL_CT_XDIGIT, 'b', 'b'},
      {0xA1A1, VL_CT_UPPER | VL_CT_ALPHA | VL_CT_GRAPH | VL_CT_PRINT, 0xA1A1, 0xA1A2},
      {0xA1A2, VL_CT_LOWER | VL_CT_ALPHA | VL_CT_GRAPH | VL_CT_PRINT, 0xA1A1, 0xA1A2},
      {0xA4A1, VL_CT_ALPHA | VL_CT_GRAPH | VL_CT_PRINT | fw | kana, 0xA4A1, 0xA4A1},
      {0xA4A2, VL_CT_ALPHA | VL_CT_GRAPH | VL_CT_PRINT | fw, 0xA4A2, 0xA4A2},
      {0xA4A3, VL_CT_ALPHA | VL_CT_GRAPH | VL_CT_PRINT | fw | kana, 0xA4A3, 0xA4A3}};
  for (const Char &c : chars)
    for (vl_locale_t *x : {a.h, b.h})
      EXPECT_EQ(std::tuple(_vl_im_iswctype(x, c.w, 0xFFFFFF), _vl_im_towupper(x, c.w), _vl_im_towlower(x, c.w)),
                std::tuple(c.classes, c.upper, c.lower)) << std::hex << c.w;
  EXPECT_EQ(_vl_im_iswctype(h, 0xA2A1, 0xFFFFFF), 0u);  // outside the charmap
  // Strings: transliteration for characters outside the charmap; -1 for "not given".
  vlconv *c = vl_localeconv(h);
  struct Text { std::string got, want; } texts[] = {
      {c->decimal_point, ","}, {vlstest::hex(c->thousands_sep), "a1a3"}, {c->currency_symbol, "EUR"}, {c->grouping, "\3\3"},
      {std::to_string(c->frac_digits) + " " + std::to_string(c->p_cs_precedes) + " " + std::to_string(c->n_sign_posn), "2 127 127"},
      {c->num_negative_sign, "-"}, {vl_nl_langinfo(h, VL_YESSTR), "ja"}, {vlstest::hex(vl_nl_langinfo(h, VL_NOSTR)), "6e65696e2fa1a2a1a1"},
      // time: escapes, continued lists, literal UTF-8 in strings, eras
      {h->time.day[4], "Donnerstag"}, {vlstest::hex(h->time.abmon[2]), "4da1a272"}, {vlstest::hex(h->time.mon[2]), "4da1a2727a"},
      {h->time.d_fmt, "%d.%m.%Y"}, {std::to_string(h->time.era_count) + std::to_string(h->time.alt_digits_count), "12"},
      {h->time.era_strings[0], "+:1:2000/01/01:+*:\xa4\xa1:\xa4\xa1:%EC %Ey"}, {vlstest::hex(h->time.alt_digits[1]), "a4a2"}};
  for (const Text &t : texts) EXPECT_EQ(t.got, t.want);
}

// xx_XX's order through the library: an ignored space, a collating
// element between its first letter and the next, an expansion, a symbol
// that sorts accents first, undefined characters last, and a backward
// second pass. Sort keys order as the comparison does (but for the empty
// string).
TEST(Localedef, CollationOrder) {
  TempDir d;
  Loaded l;
  ASSERT_EQ(compile_xx(d, "o.lco").status, 0) << compile_xx(d, "o.lco").err;
  load(d, "o.lco", l);
  vl_locale_t *h = l.h;
  ASSERT_EQ(h->collate.collation_kind, VL_COLL_TABLE);
  EXPECT_EQ(vl_getpassdirection(h, 2), 2);
  struct Case { const char *a, *b; int want; } cases[] = {
      {"a", "b", -1},         {"cz", "ch", -1},        {"ch", "d", -1},    {"a b", "ab", 0},
      {"\xa1\xa2", "a", -1}, {"A", "a", 1},            {"\xa1\xa2" "a", "a\xa1\xa2", 1},  // backward: the last accent decides
      {"\xa1\xa1", "ae", -1}, {"\xa1\xa1", "af", -1}, {"z", "e", 1},      {"", " ", 0},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.a) + " | " + c.b);
    h->vl_errno = 0;
    const int r = h->mbscoll_fn(h, c.a, c.b);
    EXPECT_EQ((r > 0) - (r < 0), c.want);
    EXPECT_EQ(h->vl_errno, 0u);
    // A key has a separator for every pass after the first, so an empty
    // string's key sorts below that of a string of ignored characters.
    if (!*c.a || !*c.b) continue;
    char ka[64], kb[64];
    ASSERT_GT(vl_full_mbsxfrm(h, ka, c.a, sizeof ka), -1);
    ASSERT_GT(vl_full_mbsxfrm(h, kb, c.b, sizeof kb), -1);
    const int k = strcmp(ka, kb);
    EXPECT_EQ((k > 0) - (k < 0), c.want);
  }
}

TEST(Localedef, GzipCharmapAndUtf8Ranges) {
  TempDir d;
  d.write("U8", "<code_set_name> UTF-8\n<comment_char> %\n<escape_char> /\nCHARMAP\n<U0000>..<U007F> /x00 <ASCII>\n"
                "<U07F0>..<U080F> /xdf/xb0 crossing a continuation boundary\nEND CHARMAP\n");
  ASSERT_EQ(system(("gzip -9 '" + d.file("U8") + "'").c_str()), 0);
  d.write("src", "LC_CTYPE\nEND LC_CTYPE\n");
  Result r = compile(d, "-i " + d.file("src") + " -f " + d.file("U8.gz") + " " + d.file("u.lco"));
  ASSERT_EQ(r.status, 0) << r.err;
  Loaded l;
  load(d, "u.lco", l);
  if (HasFatalFailure()) return;
  // U+07FF is DF BF, U+0800 is E0 A0 80.
  for (vl_wchar w : {0xDFBFu, 0xE0A080u, 0xE0A08Fu, 0xDFC0u})
    EXPECT_EQ(_vl_retrieve_wchar_multi_nl(l.h, w, l.h->ctype.ctype_tree) != nullptr, w != 0xDFC0u) << std::hex << w;
  // No LC_CTYPE definitions: the POSIX classes; no other categories: POSIX.
  EXPECT_EQ(std::tuple(_vl_im_iswctype(l.h, 'q', VL_CT_LOWER), _vl_im_towupper(l.h, 'q'), std::string(vl_localeconv(l.h)->decimal_point),
                       vl_localeconv(l.h)->grouping, std::string(vl_nl_langinfo(l.h, VL_YESEXPR))),
            std::tuple(uint32_t{VL_CT_LOWER}, vl_wchar('Q'), ".", nullptr, "^[yY]"));
}

// Bad input: exit 1 with a message that names the file (and the line), and
// no output file.
TEST(Localedef, BadInputFailsCleanly) {
  const std::string msg = "LC_MESSAGES\nyesstr \"A\"\nEND LC_MESSAGES\n", cm = vlstest::read_file(kData + "/TEST-EUC");
  const std::string hd = "<code_set_name> X\n<escape_char> /\nCHARMAP\n";
  struct Case { const char *what; std::string source, charmap; const char *message; } cases[] = {
      {"unclosed category", "LC_NUMERIC\ndecimal_point \".\"\n", cm, "src:1: LC_NUMERIC is not closed"},
      {"unclosed string", "LC_NUMERIC\ndecimal_point \".\nEND LC_NUMERIC\n", cm, "src:2: string not closed"},
      {"bad list", "LC_CTYPE\nupper <U0041>,<U0042>\nEND LC_CTYPE\n", cm, "src:2:"},
      {"backward range", "LC_CTYPE\nupper <U005A>..<U0041>\nEND LC_CTYPE\n", cm, "src:2: range runs backwards"},
      {"missing copy", "LC_TIME\ncopy \"nowhere\"\nEND LC_TIME\n", cm, "src:2: locale source \"nowhere\" not found"},
      {"copy loop", "LC_TIME\ncopy \"src\"\nEND LC_TIME\n", cm, "copy loop"},
      {"wrong count", "LC_TIME\nabday \"a\";\"b\"\nEND LC_TIME\n", cm, "src:2: abday expects 7 strings"},
      {"bad era", "LC_TIME\nera \"+:1:2000//01//01\"\nEND LC_TIME\n", cm, "src:2: an era needs six fields"},
      {"unknown calendar", "LC_TIME\ncalendar julian\nEND LC_TIME\n", cm, "src:2: unknown calendar \"julian\""},
      {"months of the calendar", "LC_TIME\ncalendar hebrew\nmon \"a\";\"b\"\nEND LC_TIME\n", cm, "src:3: mon expects 13 strings"},
      {"text outside", "hello\n", cm, "src:1: unexpected text outside a category"},
      {"stray END", "LC_NUMERIC\nEND LC_TIME\n", cm, "src:2: END LC_TIME inside LC_NUMERIC"},
      {"twice", "LC_NUMERIC\nEND LC_NUMERIC\nLC_NUMERIC\nEND LC_NUMERIC\n", cm, "src:3: LC_NUMERIC is defined twice"},
      {"bad bytes", "LC_MESSAGES\nyesstr \"\xff\"\nEND LC_MESSAGES\n", cm, "src:2: string holds bytes that are not UTF-8"},
      {"charmap: no CHARMAP", msg, "<code_set_name> X\n", "CM: no CHARMAP section"},
      {"charmap: no name", msg, "<escape_char> /\nCHARMAP\n<U0041> /x41\nEND CHARMAP\n", "no <code_set_name>"},
      {"charmap: bad bytes", msg, "<code_set_name> X\nCHARMAP\n<U0041> 41\nEND CHARMAP\n", "CM:3: expected the bytes"},
      {"charmap: unclosed", msg, hd + "<U0041> /x41\n", "section not closed"},
      {"charmap: prefix clash", msg, hd + "<U0041> /xa1\n<U0042> /xa1/xa2\nEND CHARMAP\n", "cannot be a character"},
      {"charmap: bad width", msg, hd + "<U0041> /x41\nEND CHARMAP\nWIDTH\n<U0041> x\nEND WIDTH\n", "CM:7: expected a width"},
      {"charmap: bad range", msg, hd + "<U0042>..<U0041> /x41\nEND CHARMAP\n", "CM:4: bad range"},
      {"charmap: garbage", msg, "\x01\x02\x03 \xff\xfe\n<<<>>>\n", "CM:1:"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    TempDir d;
    d.write("CM", c.charmap), d.write("src", c.source);
    Result r = compile(d, "-I " + d.path() + " -i src -f " + d.file("CM") + " --codeset ujis " + d.file("o.lco"));
    struct stat st;
    EXPECT_EQ(std::tuple(r.status, r.err.find(c.message) != std::string::npos, stat(d.file("o.lco").c_str(), &st)),
              std::tuple(1, true, -1)) << r.err;
  }
}

TEST(Localedef, CommandLine) {
  TempDir d;
  d.write("CM", vlstest::read_file(kData + "/TEST-EUC"));
  for (const char *l : {"src", "xx_XX"}) d.write(l, "LC_MESSAGES\nyesstr \"A\"\nEND LC_MESSAGES\n");
  d.write("yy_YY", "LC_MESSAGES\nEND LC_MESSAGES\n");
  const std::string reg = d.write("registry", "ujis 57351\n"), cm = " -f " + d.file("CM") + " ";
  ASSERT_EQ(mkdir(d.file("xx_xx").c_str(), 0755), 0);
  struct Case { std::string args; int status; const char *message; } cases[] = {
      {"", 2, ""}, {"--bogus -i x -f y z", 1, ""},
      {"-i " + d.file("src") + cm + d.file("o.lco"), 1, "--codeset"},  // a charmap the table does not know
      // the registry decides the number, and a shipped-style name must match it
      {"-i " + d.file("src") + cm + "--codeset ujis --registry " + reg + " " + d.file("xx_xx/0333.lco"), 1, "e007"},
      {"-i " + d.file("yy_YY") + cm + "--codeset ujis --registry " + reg + " " + d.file("xx_xx/e007.lco"), 1,
       "not in the directory of locale yy_YY"},
      {"-i " + d.file("xx_XX") + cm + "--codeset ujis --registry " + reg + " " + d.file("xx_xx/e007.lco"), 0, ""},
      {"-i " + d.file("src") + cm + "--codeset notthere --registry " + reg + " " + d.file("o.lco"), 1,
       "does not know the codeset"},
  };
  for (const Case &c : cases) {
    Result r = compile(d, c.args);
    EXPECT_EQ(std::tuple(r.status, r.err.find(c.message) != std::string::npos), std::tuple(c.status, true)) << c.args << ": " << r.err;
  }
}
