// vls-localedef on small sources and charmaps written by the tests: the
// source syntax (copy, escape and comment characters, continuation,
// ranges, symbolic names, transliteration of strings), the charmap syntax
// (ranges, WIDTH, gzip), the written file as the library reads it, and
// clear failures with file and line for bad input.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include <vls/vls.h>
#include <vls/vlscat.h>
#include <vls/vlsctype.h>
#include <vls/vlsmbwc.h>

namespace {

class Dir {
 public:
  Dir() {
    char t[] = "/tmp/vls-ldef-test-XXXXXX";
    path_ = mkdtemp(t) ? t : "";
  }
  ~Dir() {
    if (!path_.empty()) (void)!system(("rm -rf '" + path_ + "'").c_str());
  }
  std::string write(const std::string &name, const std::string &text) const {
    std::string p = path_ + "/" + name;
    std::ofstream(p, std::ios::binary) << text;
    return p;
  }
  const std::string &path() const { return path_; }

 private:
  std::string path_;
};

struct RunResult {
  int status;
  std::string err;
};

// Runs the compiler with the arguments; stderr is kept.
RunResult compile(const Dir &d, const std::string &args) {
  std::string errf = d.path() + "/stderr.txt";
  std::string cmd = std::string("'") + VLS_LOCALEDEF_EXE + "' " + args + " 2>'" + errf + "'";
  int rc = system(cmd.c_str());
  std::ifstream in(errf);
  std::stringstream ss;
  ss << in.rdbuf();
  return {WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, ss.str()};
}

// A small EUC-like charmap: ASCII, two-byte 0xA1A1.., a range of names.
const char *kCharmap =
    "<code_set_name> TEST-EUC\n"
    "<comment_char> %\n"
    "<escape_char> /\n"
    "<mb_cur_min> 1\n"
    "<mb_cur_max> 2\n"
    "% alias TESTEUC\n"
    "CHARMAP\n"
    "<U0000>..<U007F> /x00 <ASCII>\n"
    "<U00C4> /xa1/xa1 A WITH DIAERESIS\n"
    "<U00E4> /xa1/xa2 a WITH DIAERESIS\n"
    "<U3041>..<U3043> /xa4/xa1 HIRAGANA\n"
    "<U00A0> /xa1/xa3 NBSP\n"
    "END CHARMAP\n"
    "WIDTH\n"
    "<U3041>...<U3043> 2\n"
    "END WIDTH\n";

const char *kBase =
    "comment_char %\n"
    "escape_char /\n"
    "% a base file that others copy\n"
    "LC_CTYPE\n"
    "upper <U0041>..<U005A>;<U00C4>\n"
    "lower <U0061>..<U007A>;/\n"
    "% a comment inside a continued list\n"
    "      <U00E4>\n"
    "alpha <U0041>..<U005A>;<U0061>..<U007A>;<U00C4>;<U00E4>;<U3041>..<U3043>\n"
    "digit <U0030>..<U0039>\n"
    "space <U0020>;<U0009>..<U000D>\n"
    "cntrl <U0000>..<U001F>;<U007F>\n"
    "punct <U0021>..<U002F>\n"
    "graph <U0021>..<U007E>;<U00C4>;<U00E4>;<U3041>..<U3043>\n"
    "print <U0020>..<U007E>;<U00C4>;<U00E4>;<U3041>..<U3043>\n"
    "xdigit <U0030>..<U0039>;<U0041>..<U0046>;<U0061>..<U0066>\n"
    "blank <U0020>;<U0009>\n"
    "class \"kana\"; <U3041>..(2)..<U3043>\n"
    "toupper (<U0061>,<U0041>);(<U00E4>,<U00C4>)\n"
    "translit_start\n"
    "<U20AC> \"<U0045><U0055><U0052>\"\n"
    "<U202F> <U00A0>;<U0020>\n"
    "translit_end\n"
    "END LC_CTYPE\n";

const char *kTop =
    "comment_char %\n"
    "escape_char /\n"
    "LC_CTYPE\n"
    "copy \"base\"\n"
    "END LC_CTYPE\n"
    "LC_COLLATE\n"
    "weird <U0041> \"unclosed, but never read\n"
    "END LC_COLLATE\n"
    "LC_NUMERIC\n"
    "decimal_point \",\"\n"
    "thousands_sep \"<U202F>\"\n"
    "grouping 3;3\n"
    "END LC_NUMERIC\n"
    "LC_MONETARY\n"
    "int_curr_symbol \"EUR \"\n"
    "currency_symbol \"<U20AC>\"\n"
    "mon_decimal_point \",\"\n"
    "mon_thousands_sep \".\"\n"
    "mon_grouping 3\n"
    "positive_sign \"\"\n"
    "negative_sign \"-\"\n"
    "frac_digits 2\n"
    "p_cs_precedes -1\n"
    "END LC_MONETARY\n"
    "LC_TIME\n"
    "abday \"So\";\"Mo\";\"Di\";\"Mi\";\"Do\";\"Fr\";\"Sa\"\n"
    "day \"Sonntag\";\"Montag\";\"Dienstag\";\"Mittwoch\";/\n"
    "    \"Donnerstag\";\"Freitag\";\"Samstag\"\n"
    "abmon \"Jan\";\"Feb\";\"M<U00E4>r\";\"Apr\";\"Mai\";\"Jun\";/\n"
    "      \"Jul\";\"Aug\";\"Sep\";\"Okt\";\"Nov\";\"Dez\"\n"
    "mon \"Januar\";\"Februar\";\"März\";\"April\";\"Mai\";\"Juni\";\"Juli\";/\n"
    "    \"August\";\"September\";\"Oktober\";\"November\";\"Dezember\"\n"
    "d_t_fmt \"%a %d %b %Y %T\"\n"
    "d_fmt \"%d.%m.%Y\"\n"
    "t_fmt \"%T\"\n"
    "am_pm \"\";\"\"\n"
    "t_fmt_ampm \"\"\n"
    "era \"+:1:2000//01//01:+*:<U3041>:%EC %Ey\"\n"
    "alt_digits \"<U3041>\";\"<U3042>\"\n"
    "END LC_TIME\n"
    "LC_MESSAGES\n"
    "yesexpr \"^[jJyY]\"\n"
    "noexpr \"^[nN]\"\n"
    "yesstr \"ja\"\n"
    "nostr \"nein//<U00E4>/xa1/xa1\"\n"
    "END LC_MESSAGES\n"
    "LC_PAPER\n"
    "height 297\n"
    "END LC_PAPER\n";

std::string hexs(const char *s) {
  std::string o;
  char b[4];
  for (; s && *s; ++s) {
    snprintf(b, sizeof b, "%02x", static_cast<unsigned char>(*s));
    o += b;
  }
  return o;
}

struct Loaded {
  vl_locale_t *h = nullptr;
  ~Loaded() { vl_lc_unload(h); }
};

// Loads a file through vl_setlocale_4 from its directory.
void load(const std::string &dir, const std::string &file, Loaded &l) {
  setenv("VL_PATH", dir.c_str(), 1);
  ASSERT_EQ(vl_create_null_locale_4(&l.h), 0);
  char *r = vl_setlocale_4(l.h, VL_LC_ALL, file.c_str());
  unsetenv("VL_PATH");
  ASSERT_NE(r, nullptr) << "vl_errno " << l.h->vl_errno;
  vl_destroystring(r);
}

TEST(Localedef, CompilesAndLoads) {
  Dir d;
  d.write("TEST-EUC", kCharmap);
  d.write("base", kBase);
  d.write("xx_XX", kTop);
  RunResult r = compile(d, "-i xx_XX -I " + d.path() + " --charmaps " + d.path() + " -f TEST-EUC --codeset ujis " +
                         d.path() + "/out.lco");
  ASSERT_EQ(r.status, 0) << r.err;
  Loaded l;
  load(d.path(), "out.lco", l);
  if (HasFatalFailure()) return;
  vl_locale_t *h = l.h;
  EXPECT_STREQ(h->codeset_names[0], "ujis");
  EXPECT_EQ(h->ctype.ctype_tree->max_length, 2);

  // Classes, from the copied file, with a comment line inside a list.
  EXPECT_NE(_vl_im_iswctype(h, 0xA1A2, VL_CT_LOWER), 0u);
  EXPECT_NE(_vl_im_iswctype(h, 0xA1A1, VL_CT_UPPER), 0u);
  EXPECT_EQ(_vl_im_iswctype(h, 0xA4A1, VL_CT_UPPER), 0u);
  EXPECT_NE(_vl_im_iswctype(h, 'A', VL_CT_GRAPH), 0u);
  // full_width from WIDTH, "kana" from a stepped range.
  uint32_t fw = vl_ctype(h, "full_width"), kana = vl_ctype(h, "kana");
  EXPECT_EQ(fw, 2048u);
  EXPECT_EQ(kana, 4096u);
  EXPECT_NE(_vl_im_iswctype(h, 0xA4A1, fw), 0u);
  EXPECT_NE(_vl_im_iswctype(h, 0xA4A3, fw), 0u);
  EXPECT_EQ(_vl_im_iswctype(h, 'a', fw), 0u);
  EXPECT_NE(_vl_im_iswctype(h, 0xA4A1, kana), 0u);
  EXPECT_EQ(_vl_im_iswctype(h, 0xA4A2, kana), 0u);
  EXPECT_NE(_vl_im_iswctype(h, 0xA4A3, kana), 0u);
  // Bytes outside the charmap are not characters.
  EXPECT_EQ(_vl_retrieve_wchar_multi_nl(h, 0xA2A1, h->ctype.ctype_tree), nullptr);

  // toupper as given, tolower its reverse.
  EXPECT_EQ(_vl_im_towupper(h, 'a'), static_cast<vl_wchar>('A'));
  EXPECT_EQ(_vl_im_towupper(h, 0xA1A2), 0xA1A1u);
  EXPECT_EQ(_vl_im_towlower(h, 0xA1A1), 0xA1A2u);
  EXPECT_EQ(_vl_im_towupper(h, 'b'), static_cast<vl_wchar>('b'));
  EXPECT_EQ(h->case_expansion, 1.0);

  // Strings: transliteration for characters outside the charmap.
  vlconv *c = vl_localeconv(h);
  EXPECT_STREQ(c->decimal_point, ",");
  EXPECT_EQ(hexs(c->thousands_sep), "a1a3");
  EXPECT_STREQ(c->currency_symbol, "EUR");
  EXPECT_EQ(std::string(c->grouping), "\3\3");
  EXPECT_EQ(c->frac_digits, 2);
  EXPECT_EQ(c->p_cs_precedes, 127);  // -1: not given
  EXPECT_EQ(c->n_sign_posn, 127);    // absent
  EXPECT_STREQ(c->num_negative_sign, "-");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_YESSTR), "ja");
  EXPECT_EQ(hexs(vl_nl_langinfo(h, VL_NOSTR)), "6e65696e2fa1a2a1a1");

  // Time: escapes, continued lists, literal UTF-8 in strings, eras.
  const time_category &t = h->time;
  if (t.day[0]) {
    EXPECT_STREQ(t.day[4], "Donnerstag");
    EXPECT_EQ(hexs(t.abmon[2]), "4da1a272");
    EXPECT_EQ(hexs(t.mon[2]), "4da1a2727a");
    EXPECT_STREQ(t.d_fmt, "%d.%m.%Y");
    ASSERT_EQ(t.era_count, 1);
    EXPECT_EQ(std::string(t.era_strings[0]), "+:1:2000/01/01:+*:\xa4\xa1:\xa4\xa1:%EC %Ey");
    ASSERT_EQ(t.alt_digits_count, 2);
    EXPECT_EQ(hexs(t.alt_digits[1]), "a4a2");
  }
}

int read_row(void *stream, void *target, uint32_t) {
  uint16_t v = static_cast<uint16_t>(_vl_get_hex(stream, 4));
  memcpy(target, &v, 2);
  return 0;
}

// The LC_COLLATE section in the form the collation reader takes: the kind,
// the row tree over every character, code-value order, one forward pass,
// one row whose weight breaks ties by the code.
TEST(Localedef, CollateSection) {
  Dir d;
  d.write("TEST-EUC", kCharmap);
  d.write("base", kBase);
  d.write("xx_XX", kTop);
  RunResult r = compile(d, "-i xx_XX -I " + d.path() + " -f " + d.path() + "/TEST-EUC --codeset ujis " + d.path() +
                               "/o.lco");
  ASSERT_EQ(r.status, 0) << r.err;
  FILE *f = fopen((d.path() + "/o.lco").c_str(), "r");
  ASSERT_NE(f, nullptr);
  char line[256];
  bool found = false;
  while (fgets(line, sizeof line, f))
    if (strcmp(line, "### LC_COLLATE\n") == 0) {
      found = true;
      break;
    }
  ASSERT_TRUE(found);
  ASSERT_NE(fgets(line, sizeof line, f), nullptr);
  EXPECT_STREQ(line, "as_specified\n");
  const uint16_t zero = 0;
  multi_t *t = _vl_create_multi(2, 0, &zero);
  ASSERT_EQ(_vl_fscanf_multi(f, t, 4, read_row), 0);
  for (vl_wchar w : {0x00u, 0x41u, 0x7Fu, 0xA1A1u, 0xA1A3u, 0xA4A1u, 0xA4A3u}) {
    int e = 0;
    const void *row = _vl_retrieve_wchar_multi_nl(&e, w, t);
    ASSERT_NE(row, nullptr) << std::hex << w;
    uint16_t v;
    memcpy(&v, row, 2);
    EXPECT_EQ(v, 0) << std::hex << w;
  }
  int e = 0;
  EXPECT_EQ(_vl_retrieve_wchar_multi_nl(&e, 0xA1A4, t), nullptr);
  _vl_free_multi(t);
  EXPECT_EQ(_vl_get_int(f), 1);  // codeset_order
  EXPECT_EQ(fgetc(f), '\n');
  ASSERT_NE(fgets(line, sizeof line, f), nullptr);
  EXPECT_STREQ(line, "0 1 0 0 32770\n");  // rows-1, passes, elements, expansions, max weight
  ASSERT_NE(fgets(line, sizeof line, f), nullptr);
  EXPECT_STREQ(line, "0001\n");  // forward
  ASSERT_NE(fgets(line, sizeof line, f), nullptr);
  EXPECT_STREQ(line, " 8002\n");
  ASSERT_NE(fgets(line, sizeof line, f), nullptr);
  EXPECT_STREQ(line, "### LC_NUMERIC\n");
  fclose(f);
}

// Uncompressed trees read the same.
TEST(Localedef, UncompressedTrees) {
  Dir d;
  d.write("TEST-EUC", kCharmap);
  d.write("base", kBase);
  d.write("xx_XX", kTop);
  for (const char *flag : {"", "-u"}) {
    RunResult r = compile(d, std::string(flag) + " -i xx_XX -I " + d.path() + " -f " + d.path() +
                                 "/TEST-EUC --codeset ujis " + d.path() + "/o" + flag + ".lco");
    ASSERT_EQ(r.status, 0) << r.err;
  }
  Loaded a, b;
  load(d.path(), "o.lco", a);
  load(d.path(), "o-u.lco", b);
  if (HasFatalFailure()) return;
  EXPECT_EQ(b.h->ctype.ctype_tree->tree_flags & VL_MULTI_COMPRESSED, 0u);
  EXPECT_NE(a.h->ctype.ctype_tree->tree_flags & VL_MULTI_COMPRESSED, 0u);
  for (vl_wchar w : {0x41u, 0x61u, 0x7Fu, 0xA1A1u, 0xA1A2u, 0xA1A3u, 0xA4A1u, 0xA4A2u, 0xA4A3u, 0xA4A4u, 0xA2A1u}) {
    EXPECT_EQ(_vl_im_iswctype(a.h, w, 0xFFFF), _vl_im_iswctype(b.h, w, 0xFFFF)) << std::hex << w;
    EXPECT_EQ(_vl_im_towupper(a.h, w), _vl_im_towupper(b.h, w)) << std::hex << w;
    EXPECT_EQ(_vl_im_towlower(a.h, w), _vl_im_towlower(b.h, w)) << std::hex << w;
  }
}

TEST(Localedef, GzipCharmapAndUtf8Ranges) {
  Dir d;
  d.write("U8",
          "<code_set_name> UTF-8\n<comment_char> %\n<escape_char> /\nCHARMAP\n"
          "<U0000>..<U007F> /x00 <ASCII>\n"
          "<U07F0>..<U080F> /xdf/xb0 crossing a continuation boundary\n"
          "END CHARMAP\n");
  ASSERT_EQ(system(("gzip -9 '" + d.path() + "/U8'").c_str()), 0);
  d.write("src", "LC_CTYPE\nEND LC_CTYPE\n");
  RunResult r = compile(d, "-i " + d.path() + "/src -f " + d.path() + "/U8.gz " + d.path() + "/u.lco");
  ASSERT_EQ(r.status, 0) << r.err;
  Loaded l;
  load(d.path(), "u.lco", l);
  if (HasFatalFailure()) return;
  // U+07FF is DF BF, U+0800 is E0 A0 80.
  EXPECT_NE(_vl_retrieve_wchar_multi_nl(l.h, 0xDFBF, l.h->ctype.ctype_tree), nullptr);
  EXPECT_NE(_vl_retrieve_wchar_multi_nl(l.h, 0xE0A080, l.h->ctype.ctype_tree), nullptr);
  EXPECT_NE(_vl_retrieve_wchar_multi_nl(l.h, 0xE0A08F, l.h->ctype.ctype_tree), nullptr);
  EXPECT_EQ(_vl_retrieve_wchar_multi_nl(l.h, 0xDFC0, l.h->ctype.ctype_tree), nullptr);
  // No LC_CTYPE definitions: the POSIX classes; no other categories: POSIX.
  EXPECT_NE(_vl_im_iswctype(l.h, 'q', VL_CT_LOWER), 0u);
  EXPECT_EQ(_vl_im_towupper(l.h, 'q'), static_cast<vl_wchar>('Q'));
  EXPECT_STREQ(vl_localeconv(l.h)->decimal_point, ".");
  EXPECT_EQ(vl_localeconv(l.h)->grouping, nullptr);
  EXPECT_STREQ(vl_nl_langinfo(l.h, VL_YESEXPR), "^[yY]");
}

// Bad input: a clear message that names the file (and the line), exit 1,
// and no output file.
struct BadCase {
  const char *what;
  const char *source;
  const char *message;  // expected in stderr
};

TEST(Localedef, BadSourcesFailCleanly) {
  const BadCase cases[] = {
      {"unclosed category", "LC_NUMERIC\ndecimal_point \".\"\n", "src:1: LC_NUMERIC is not closed"},
      {"unclosed string", "LC_NUMERIC\ndecimal_point \".\nEND LC_NUMERIC\n", "src:2: string not closed"},
      {"bad list", "LC_CTYPE\nupper <U0041>,<U0042>\nEND LC_CTYPE\n", "src:2:"},
      {"backward range", "LC_CTYPE\nupper <U005A>..<U0041>\nEND LC_CTYPE\n", "src:2: range runs backwards"},
      {"missing copy", "LC_TIME\ncopy \"nowhere\"\nEND LC_TIME\n", "src:2: locale source \"nowhere\" not found"},
      {"copy loop", "LC_TIME\ncopy \"src\"\nEND LC_TIME\n", "copy loop"},
      {"wrong count", "LC_TIME\nabday \"a\";\"b\"\nEND LC_TIME\n", "src:2: abday expects 7 strings"},
      {"bad era", "LC_TIME\nera \"+:1:2000//01//01\"\nEND LC_TIME\n", "src:2: an era needs six fields"},
      {"text outside", "hello\n", "src:1: unexpected text outside a category"},
      {"stray END", "LC_NUMERIC\nEND LC_TIME\n", "src:2: END LC_TIME inside LC_NUMERIC"},
      {"twice", "LC_NUMERIC\nEND LC_NUMERIC\nLC_NUMERIC\nEND LC_NUMERIC\n", "src:3: LC_NUMERIC is defined twice"},
      {"bad bytes", "LC_MESSAGES\nyesstr \"\xff\"\nEND LC_MESSAGES\n", "src:2: string holds bytes that are not UTF-8"},
  };
  for (const auto &c : cases) {
    Dir d;
    d.write("CM", kCharmap);
    d.write("src", c.source);
    RunResult r = compile(d, "-I " + d.path() + " -i src -f " + d.path() + "/CM --codeset ujis " + d.path() + "/o.lco");
    EXPECT_EQ(r.status, 1) << c.what;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << c.what << ": " << r.err;
    struct stat st;
    EXPECT_NE(stat((d.path() + "/o.lco").c_str(), &st), 0) << c.what;
  }
}

TEST(Localedef, BadCharmapsFailCleanly) {
  const BadCase cases[] = {
      {"no CHARMAP", "<code_set_name> X\n", "CM: no CHARMAP section"},
      {"no name", "<escape_char> /\nCHARMAP\n<U0041> /x41\nEND CHARMAP\n", "no <code_set_name>"},
      {"bad bytes", "<code_set_name> X\nCHARMAP\n<U0041> 41\nEND CHARMAP\n", "CM:3: expected the bytes"},
      {"unclosed", "<code_set_name> X\n<escape_char> /\nCHARMAP\n<U0041> /x41\n", "section not closed"},
      {"prefix clash", "<code_set_name> X\n<escape_char> /\nCHARMAP\n<U0041> /xa1\n<U0042> /xa1/xa2\nEND CHARMAP\n",
       "cannot be a character"},
      {"bad width", "<code_set_name> X\n<escape_char> /\nCHARMAP\n<U0041> /x41\nEND CHARMAP\nWIDTH\n<U0041> x\nEND WIDTH\n",
       "CM:7: expected a width"},
      {"bad range", "<code_set_name> X\n<escape_char> /\nCHARMAP\n<U0042>..<U0041> /x41\nEND CHARMAP\n", "CM:4: bad range"},
      {"garbage", "\x01\x02\x03 \xff\xfe\n<<<>>>\n", "CM:1:"},
  };
  for (const auto &c : cases) {
    Dir d;
    d.write("CM", c.source);
    d.write("src", "LC_MESSAGES\nyesstr \"A\"\nEND LC_MESSAGES\n");
    RunResult r = compile(d, "-i " + d.path() + "/src -f " + d.path() + "/CM --codeset ujis " + d.path() + "/o.lco");
    EXPECT_EQ(r.status, 1) << c.what;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << c.what << ": " << r.err;
  }
}

TEST(Localedef, CommandLine) {
  Dir d;
  d.write("CM", kCharmap);
  d.write("src", "LC_MESSAGES\nyesstr \"A\"\nEND LC_MESSAGES\n");
  EXPECT_EQ(compile(d, "").status, 2);
  EXPECT_EQ(compile(d, "--bogus -i x -f y z").status, 1);
  // A charmap the table does not know needs --codeset.
  RunResult r = compile(d, "-i " + d.path() + "/src -f " + d.path() + "/CM " + d.path() + "/o.lco");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("--codeset"), std::string::npos) << r.err;
  // The registry decides the number, and a shipped-style name must match it.
  std::string reg = d.write("registry", "ujis 57351\n");
  ASSERT_EQ(mkdir((d.path() + "/xx_xx").c_str(), 0755), 0);
  r = compile(d, "-i " + d.path() + "/src -f " + d.path() + "/CM --codeset ujis --registry " + reg + " " + d.path() +
                     "/xx_xx/0333.lco");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("e007"), std::string::npos) << r.err;
  d.write("yy_YY", "LC_MESSAGES\nEND LC_MESSAGES\n");
  r = compile(d, "-i " + d.path() + "/yy_YY -f " + d.path() + "/CM --codeset ujis --registry " + reg + " " +
                     d.path() + "/xx_xx/e007.lco");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("not in the directory of locale yy_YY"), std::string::npos) << r.err;
  d.write("xx_XX", "LC_MESSAGES\nyesstr \"A\"\nEND LC_MESSAGES\n");
  r = compile(d, "-i " + d.path() + "/xx_XX -f " + d.path() + "/CM --codeset ujis --registry " + reg + " " +
                     d.path() + "/xx_xx/e007.lco");
  EXPECT_EQ(r.status, 0) << r.err;
  r = compile(d, "-i " + d.path() + "/src -f " + d.path() + "/CM --codeset notthere --registry " + reg + " " +
                     d.path() + "/o.lco");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("does not know the codeset"), std::string::npos) << r.err;
}

}  // namespace
