// Locale naming: the registry reader and its caches, codeset numbers and
// CCSIDs, and the locale specification forms with their file names.
#include "vlstest.h"

namespace {

constexpr int kNone = 0xE000;
constexpr uint32_t kNoHandle = ~0u;  // as error: the row runs with a null handle
const char *const kCats[6] = {"VL_CTYPE", "VL_COLLATE", "VL_NUMERIC", "VL_MONETARY", "VL_TIME", "VL_MESSAGES"};

// Any record whose first field is the error number serves as a handle.
struct Rec { uint32_t vl_errno = 0, pad[7] = {}; };

enum Op { Name, Cache, SpecCs, Fname, MsgDir, Xopen, Pieces, Join, SNorm, Norm, Long, IsLc, Short, Cat,
          Files, IsCat, Digits };
// `arg` is the directory, or the modifier (Join), the category (Cat), the
// names looked up once the file is cached and gone (Cache) or, if set, a
// null output (Long). `reg` is the registry's text, "-" for a missing file;
// without one the row runs on the built-in table. Cache takes the
// registry's text as its input.
struct Row {
  const char *in = nullptr, *want = nullptr;
  int rc = 0;
  uint32_t err = 0;
  const char *arg = nullptr, *reg = nullptr;
};

// "*loc" is the long form with loc in all six categories, "*loc|t" the same
// with t in VL_TIME, "+..." either of them with a final " ; "; "$" at the
// start stands for the test's directory.
std::string expand(const char *s, const std::string &dir) {
  std::string t = s;
  if (t[0] == '$') return dir + t.substr(1);
  if (t[0] != '*' && t[0] != '+') return t;
  size_t bar = t.find('|');
  std::string loc = t.substr(1, bar - 1), time = bar == std::string::npos ? loc : t.substr(bar + 1), r;
  for (int i = 0; i < 6; ++i) r += std::string(i ? " ; " : "") + kCats[i] + " = " + (i == 4 ? time : loc);
  return t[0] == '+' ? r + " ; " : r;
}

const char kReg[] = "# test registry\n8859-1 819\nlatin-1\t819   trailing words\nascii 364\nsjis 57350\n\n"
                    "# comment between entries\n  ksc 57356\nutf8 57372\n";
const std::string kDir1100(1100, 'd'), kDir2000(2000, 'd');
const std::string kPadded = "en_US.819" + std::string(300, ' ');
const std::string kLongTail = "VL_CTYPE = en_US.819 ; " + std::string(400, 'x');
const std::string kMixed = "VL_CTYPE = en_US.8859-1 ; VL_COLLATE = de_DE.819@Euro ; VL_NUMERIC = fr_FR.LATIN-1 ; "
                           "VL_MONETARY = en_US.819 ; VL_TIME = it_IT.819 ; VL_MESSAGES = en_GB.8859-1";
const std::string kNotFirst = "x " + kMixed;

class Naming : public ::testing::Test {
 protected:
  void SetUp() override {
    dir.write("vls/cm3/registry", "found3 3\n");
    for (const char *f : {"lc/en_us/0333.lco", "lc/de_de/0333euro.lco", "vls/lc11/en_us/0333.lco"}) dir.write(f, "x");
  }
  void TearDown() override { vl_free_registry_cache(); }
  void check(Op op, std::initializer_list<Row> rows, const char *registry = nullptr);
  // Inputs that all fail alike.
  void refuse(Op op, std::initializer_list<const char *> ins, int rc = -1, uint32_t err = VL_EINVAL,
              const char *arg = nullptr) {
    for (const char *in : ins) check(op, {{in, nullptr, rc, err, arg}});
  }
  vlstest::TempDir dir;
  vlstest::EnvVar kvx{"KELVANIXDIR", dir.path().c_str()}, path{"VL_PATH", nullptr};
};

void Naming::check(Op op, std::initializer_list<Row> rows, const char *registry) {
  for (const Row &r : rows) {
    std::string in = r.in ? expand(r.in, dir.path()) : "", arg = r.arg ? expand(r.arg, dir.path()) : "", got;
    SCOPED_TRACE(in.substr(0, 100) + " / " + arg.substr(0, 40));
    const char *i = r.in ? in.c_str() : nullptr, *a = r.arg ? arg.c_str() : nullptr;
    const char *text = op == Cache ? r.in : r.reg ? r.reg : registry;
    vl_free_registry_cache();
    std::string reg = !text ? "" : strcmp(text, "-") ? dir.write("registry", text) : dir.file("none");
    if (!text || op == Cache) vl_cache_registry(nullptr, dir.file("none").c_str());
    const char *g = text ? reg.c_str() : nullptr;
    Rec rec;
    void *h = r.err == kNoHandle ? nullptr : &rec;
    char out[1100] = "", lt[6], cs[6], mod[5];
    int rc = 0, len = 99;
    uint16_t n = 0;
    switch (op) {
      case Name: rc = vl_cs_name2cs_num(h, i, g); break;
      case Cache:
        rc = vl_cache_registry(h, g);
        unlink(g);
        for (size_t p = 0, e; p < arg.size(); p = e + 1) {
          e = std::min(arg.find(' ', p), arg.size());
          int num = vl_cs_name2cs_num(nullptr, arg.substr(p, e - p).c_str(), nullptr);
          got += (p ? " " : "") + (num == kNone ? std::string("-") : std::to_string(num));
        }
        break;
      case SpecCs: rc = vl_lc_spec2cs_num(h, i, g); break;
      case Fname: rc = vl_lc_spec2lc_fname(h, i, out, g, a); break;
      case MsgDir: rc = vl_lc_spec2msg_dname(h, i, out, g, a); break;
      case Xopen: {  // written text ("+": no zero byte behind it) | text left | number
        const char *t = i;
        char *o = static_cast<char *>(memset(out, 'Z', sizeof out - 1));
        rc = _vl_is_xopen_spec(h, &t, &o, &n, g);
        EXPECT_TRUE(rc || (t == i && o == out)) << "a refusal moved the pointers";
        got = std::string(out, o) + (*o ? "+" : "") + "|" + t + "|" + std::to_string(n);
        break;
      }
      case Pieces:
        if (!(rc = vl_lc_fname2lc_pieces(h, i, lt, cs, mod))) got = std::string(lt) + "|" + cs + "|" + mod;
        break;
      case Join: rc = vl_lc_pieces2lc_spec(h, in.substr(0, in.find('|')).c_str(), strchr(i, '|') + 1, a, out); break;
      case SNorm: rc = _vl_lc_short_spec2lc_short_norm(h, i, out, g); break;
      case Norm: rc = vl_lc_spec2lc_norm(h, i, out, g); break;
      case Long: rc = vl_lc_short2lc_long(h, i, a ? nullptr : out, g); break;
      case IsLc: rc = vl_is_lc_spec(h, i); break;
      case Short: rc = vl_lc_spec2lc_short(h, i, out, g); break;
      case Cat: rc = vl_lc_spec2category(h, i, atoi(a), out, g); break;
      case Files: rc = vl_lc_fname2lc_spec(h, i, out, a); break;
      case IsCat: rc = _vl_is_category(i, &len), got = std::to_string(len); break;
      case Digits: rc = _vl_all_decimal_digits(i); break;
    }
    EXPECT_EQ((std::tuple{rc, h ? rec.vl_errno : kNoHandle}), (std::tuple{r.rc, r.err}));
    EXPECT_EQ(r.want ? (got.empty() ? out : got) : "", r.want ? expand(r.want, dir.path()) : "");
  }
}

TEST(SpecTables, BuiltInRegistryReaderAndCcsids) {
  int n = 0;
  vl_cache_registry(nullptr, "/nonexistent/registry");
  for (; vls_canned_registry[n].name; ++n)  // every entry, "greek" twice, is found with its number
    EXPECT_EQ(vl_cs_name2cs_num(nullptr, vls_canned_registry[n].name, nullptr), vls_canned_registry[n].number);
  for (n = 0; aliastab[n].alias; ++n) EXPECT_NE(vl_lc_spec2cs_num(nullptr, aliastab[n].locale, nullptr), kNone);
  vl_free_registry_cache();
  std::string entry = "  65537\n x\n";  // numbers alone: one modulo 65536, one missing
  FILE *f = fmemopen(entry.data(), entry.size(), "r");
  EXPECT_EQ(_vl_next_cs_number_from_registry(nullptr, f), 1);
  EXPECT_EQ(_vl_next_cs_number_from_registry(nullptr, f), kNone);
  fclose(f);
  const uint32_t both[][2] = {{57349, 1202}, {57350, 943}, {57351, 33722}, {57352, 950}, {57356, 949},
                              {57357, 1383}, {57372, 1208}, {57373, 874}, {57375, 964}, {57382, 878},
                              {57385, 1051}, {57388, 848}, {57391, 923}, {57392, 1234}};
  for (auto &p : both) {
    EXPECT_EQ(vl_cs_nums2ccsid(nullptr, p[0]), p[1]);
    EXPECT_EQ(vl_ccsid2cs_nums(nullptr, p[1]), p[0]);
  }
  const uint32_t to[][2] = {{819, 819}, {0, 0}, {0xDFFF, 0xDFFF}, {57353, 0}, {0xE000, 0}};
  for (auto &p : to) EXPECT_EQ(vl_cs_nums2ccsid(nullptr, p[0]), p[1]) << p[0];
  const uint32_t from[][2] = {{1200, 1200}, {1232, 1232}, {0xDFFF, 0xDFFF}, {0xE000, 0}, {57351, 0}};
  for (auto &p : from) EXPECT_EQ(vl_ccsid2cs_nums(nullptr, p[0]), p[1]) << p[0];
}

TEST_F(Naming, Registry) {
  check(Name, {
      {"8859-1", 0, 819}, {"Latin-1", 0, 819}, {"ksc", 0, 57356}, {"SJIS", 0, 57350}, {"utf8", 0, 57372},
      // A name not found is a number below 65536, or error 7.
      {"819", 0, 819}, {"65535", 0, 65535}, {"0"}, {"65536", 0, kNone, VL_EINVAL}, {"70000", 0, kNone, VL_EINVAL},
      {"99999999999999999999999", 0, kNone, VL_EINVAL}, {"nosuchset", 0, kNone, VL_EINVAL}, {"", 0, kNone, VL_EINVAL},
      {nullptr, 0, kNone, VL_EINVAL}, {nullptr, 0, kNone, kNoHandle}, {"nosuch", 0, kNone, kNoHandle},
      {"ascii", 0, 364, kNoHandle}, {"mycodeset", 0, 1234, 0, 0, "MyCodeSet 1234\n"}, {"819", 0, 1, 0, 0, "819 1\n"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXY", 0, 4711, 0, 0, "abcdefghijklmnopqrstu 4711\n"},  // cut at 21
      {"abcdefghijklmnopqrst", 0, kNone, VL_EINVAL, 0, "abcdefghijklmnopqrstu 4711\n"},
      {"dup", 0, 1, 0, 0, "dup 1\ndup 2\n"}, {"y", 0, 20, 0, 0, "# c1\n# c2\nx 10\n   # c3\n#\ny 20\n"},
      // The last entry needs its newline, and a broken file is not tried as a number.
      {"first", 0, 1, 0, 0, "first 1\nlast 2"}, {"last", 0, kNone, VL_EBADFILE, 0, "first 1\nlast 2"},
      {"819", 0, kNone, VL_EBADFILE, 0, "first 1\nlast 2"}, {"two", 0, kNone, VL_EBADFILE, 0, "one 1 tail"},
      {"two", 0, kNone, VL_EBADFILE, 0, "one\ntwo 2\n"}, {"x", 0, kNone, VL_EBADFILE, 0, "x \n"},
      {"x", 0, 1, 0, 0, "x  65537\n"}, {"shift-jis", 0, 57350, 0, 0, "# head\n  # more\n\tShift-JIS 57350\n"},
      {"abc", 0, kNone, VL_EINVAL, 0, "abc"}, {"x", 0, kNone, VL_EINVAL, 0, "# only a comment"},
      // A name of 22 characters ends the file; the number rule still holds.
      {"abcdefghijklmnopqrstu", 0, 1, 0, 0, "abcdefghijklmnopqrstu 1\nabcdefghijklmnopqrstuv 2\nlater 3\n"},
      {"later", 0, kNone, VL_EINVAL, 0, "abcdefghijklmnopqrstu 1\nabcdefghijklmnopqrstuv 2\nlater 3\n"},
      {"42", 0, 42, 0, 0, "abcdefghijklmnopqrstuv 2\n"}, {"8859-1", 0, kNone, VL_EUNKNOWN, 0, "-"},
      {"819", 0, kNone, VL_EUNKNOWN, 0, "-"}, {"819", 0, kNone, kNoHandle, 0, "-"},
  }, kReg);
  check(Name, {{"ccsid933", 0, kNone, VL_EINVAL}, {"4321", 0, 4321}});
  // Caching drops the built-in table; a failure falls back on it.
  check(Cache, {
      {"b 2\na 1\nb 3\n", "2 1 - 819", 0, 0, "b A 8859-1 819"}, {"x 1\ny 2 ", "2", 0, 0, "y"},
      {"x 1\nthisnameistoolongforthebuffer 2\ny 3\n", "1 -", 0, 0, "x y"},
      {"-", "819 29709 737 4321 -", -1, VL_EUNKNOWN, "8859-1 ccsid28709 GREEK 4321 nosuch"},
      {"x 1\ny\nz 3\n", "- 364", -1, VL_EBADFILE, "x ascii"}, {"x 1\ny 2", "- 364", -1, VL_EBADFILE, "y ascii"},
  });
  check(IsCat, {
      {"VL_CTYPE = x", "8", 1}, {"VL_COLLATE", "10", 2}, {"VL_TIME", "7", 3}, {"VL_MONETARY", "11", 4},
      {"VL_NUMERIC", "10", 5}, {"VL_MESSAGES", "11", 6}, {"VL_CTYPEX", "8", 1}, {"vl_ctype", "99"},
      {" VL_CTYPE", "99"}, {"VL_LANG", "99"}, {"VL_CTYP", "99"},
  });
  check(Digits, {{"0123456789", 0, 1}, {"12a"}, {"-1"}, {" 1"}});
}

TEST_F(Naming, CodesetOfASpecification) {
  check(SpecCs, {
      {"en_US.8859-1", 0, 819}, {"8859-1", 0, 819}, {"LATIN-1", 0, 819}, {"ja_JP.sjis@abc", 0, 57350},
      {"en_US.819", 0, 819}, {"1252", 0, 1252}, {"*en_US.8859-1", 0, 819},
      {"VL_TIME = de_DE.819 ; VL_CTYPE = en_US.latin-1", 0, 819}, {"VL_TIME = de_DE.819@euro", 0, 819},
      {nullptr, 0, kNone, kNoHandle}, {"VL_CTYPE = x", 0, kNone, kNoHandle},
  });
  // Something left over makes the whole text a codeset name.
  refuse(SpecCs, {"en_US.819 x", "en_US", "VL_CTYPE = en_US.819 ; VL_CTYPE = en_US.819", "VL_CTYPE = en_US.819 junk",
                  "VL_CTYPE = en_US.819 ; VL_TIME = ja_JP.sjis", "VL_CTYPE = en_US.819 ; junk", "VL_CTYPE=en_US.819",
                  "VL_CTYPE = en_US", "VL_CTYPE = en_US.nosuch", kLongTail.c_str(), nullptr}, kNone);
}

TEST_F(Naming, FileNames) {
  check(Fname, {
      {"en_US.8859-1", "en_us/0333.lco"}, {"en_US.819", "en_us/0333.lco"}, {"EN_US.8859-1", "en_us/0333.lco"},
      {"en_US.8859-1@euro", "en_us/0333euro.lco"}, {"ko_KR.KSC", "ko_kr/e00c.lco"},
      {"en_US.819", "en_us/0333.lco", 0, 0, "/some/dir"}, {"ja_JP.SJIS", "ja_jp/e006.lco", 0, 0, 0, kReg},
      {"en_US.8859-1", 0, -1, VL_EUNKNOWN, 0, "-"}, {"VL_CTYPE = en_US.y", 0, -1, VL_EBADFILE, 0, "x 1\ny 2"},
      {"VL_CTYPE = en_US.8859-1 ; VL_TIME = de_DE.819@euro",
       "VL_CTYPE = en_us/0333.lco ; VL_TIME = de_de/0333euro.lco"},
      {"*en_US.819", "*en_us/0333.lco"}, {"VL_CTYPE = en_US.819", "VL_CTYPE = en_us/0333.lco", 0, 0, ""},
      {"VL_CTYPE = en_US.819 ; VL_COLLATE = fr_FR.819",
       "VL_CTYPE = /d\xFF" "en_us/0333.lco ; VL_COLLATE = /d\xFF" "fr_fr/0333.lco", 0, 0, "/d"},
  });
  refuse(Fname, {"en_us", "en_US.8859-1@euros", "en_US.819 ", "en_US.819 ; ", "", "x", nullptr, kPadded.c_str(),
                 "VL_CTYPE = en_US.819 ; VL_CTYPE = en_US.819", "VL_CTYPE = en_US.819 ; VL_TIME = ja_JP.sjis",
                 "VL_CTYPE = en_US.819 ; ", "VL_CTYPE = en_US.819 ;VL_TIME = en_US.819", "VL_CTYPE = en_US",
                 "VL_CTYPE = en_US.819 ; VL_LANG = en_US.819", "VL_CTYPE  = en_US.819", "VL_CTYPE = en_US.819@toolong"});
  check(MsgDir, {
      {"en_US.8859-1@euro", "en_us/0333"}, {"VL_CTYPE = en_US.819 ; VL_MESSAGES = de_DE.8859-1", "de_de/0333"},
      {"VL_MESSAGES = de_DE.819", "/opt/local", 0, 0, "/opt/locales"},
      {"VL_MESSAGES = de_DE.819", 0, -1, VL_EINVAL, kDir2000.c_str()},
  });
  refuse(MsgDir, {"VL_CTYPE = en_US.819 ; VL_TIME = de_DE.819", "en_US.nosuch"});
  check(Xopen, {
      {"en_US.8859-1 rest", "en_us/0333.lco| rest|819", 1}, {"ja_JP.sjis", "ja_jp/e006.lco||57350", 1},
      {"DE_de.latin-1@EuRo", "de_de/0333EuRo.lco+||819", 1}, {"en_US.819@ab12", "en_us/0333ab12.lco+||819", 1},
      {"en_US.000000000000000000819", "en_us/0333.lco||819", 1},  // a codeset of 21 characters
      {"en_US.nosuch", 0, 0, VL_EINVAL}, {"en_US.two", 0, 0, VL_EBADFILE, 0, "one 1\ntwo 2"},
  });
  refuse(Xopen, {"en_US.0000000000000000000819", "en_US.8859-1@euros", "en_US.#819", "en_US. 819", "en_US.",
                 "en-US.819", "e1_US.819", "en_U1.819", "en_US819", ""}, 0, 0);
  check(Pieces, {
      {"en_us/0333.lco", "en_US|819|"}, {"DE_de\\E005euro.lco", "de_DE|57349|euro"}, {"ja_jp/ffff", "ja_JP|65535|"},
      {"en_us/33.lco", "en_US|51|"}, {"en_us/0000abcdefg.lco", "en_US|0|abcd"}, {"en_us.0333.lco", 0, -1},
      {"", 0, -1, kNoHandle},
  });
  refuse(Pieces, {"e1_us/0333.lco", "enxus/0333.lco", "en_us/x333.lco", "default.lco"});
  check(Join, {
      {"en_US|819", "en_US.819"}, {"EN_us|819", "EN_us.819", 0, 0, ""}, {"de_DE|abcDE", "de_DE.abcDE"},
      {"de_DE|57349", "de_DE.57349@euro", 0, 0, "eurodollar"}, {"de_DE|1234567", "de_DE.12345@x", 0, 0, "x"},
      {"en_US|x", 0, -1, kNoHandle},
  });
  refuse(Join, {"en_US|", "en_US|8859-1", "enUS|819", "e1_US|819"});
}

TEST_F(Naming, NormalShortAndLongForms) {
  check(SNorm, {
      {"en_US.8859-1", "en_US.819"}, {"EN_us.latin-1@EURO", "en_US.819@EURO"}, {"fr_CA.utf8@euro", "fr_CA.57372@euro"},
      {"VL_CTYPE = en_US.819", 0, -1},
  });
  check(Norm, {
      {"ja_jp.sjis", "ja_JP.57350"}, {"+en_us.8859-1", "+en_US.819"},
      {"VL_CTYPE = en_US.8859-1 ; VL_COLLATE = de_DE.latin-1@euro ; VL_NUMERIC = en_US.819 ; "
       "VL_MONETARY = en_US.819 ; VL_TIME = EN_us.819 ; VL_MESSAGES = en_US.819 ; ignored",
       "VL_CTYPE = en_US.819 ; VL_COLLATE = de_DE.819@euro ; VL_NUMERIC = en_US.819 ; "
       "VL_MONETARY = en_US.819 ; VL_TIME = en_US.819 ; VL_MESSAGES = en_US.819 ; "},
      {"*en_us.8859-1", 0, -1},  // what vl_lc_short2lc_long writes lacks the final " ; "
  });
  refuse(Norm, {"en_US.nosuch", "en_us", "+en_US.819|ja_JP.sjis", "+en_US",
                "VL_CTYPE = en_US.819 ; VL_COLLATE = en_US.819 ; VL_NUMERIC = en_US.819 ; VL_MONETARY = en_US.819 ; "
                "VL_TIME = en_US.819 ; "});
  check(Long, {
      {"en_US.8859-1", "*en_us.8859-1"}, {"DE_de.LATIN-1@EuRo", "*de_de.latin-1@euro"}, {"en_US", "*en_us"},
      {"en_US.819@longmodifier", "*en_us.819@longmodifier"}, {"en_US.819 ; whatever", "*en_us.819"},
      {"en_US.819", "", 0, 0, "null"}, {"en_US", 0, -1, VL_EINVAL, "null"}, {"en_US.819x", 0, -1, VL_EUNKNOWN, 0, "-"},
  });
  refuse(Long, {"en_US;", "en_US ", "en_US-819", "en_US.;", "en_US.#819", "en_US. 819", "en_US.819;", "en_US.819 x",
                "en_US.819@euro;", "en_US.819@euro x", "en_U", "e_US.819", "en_US.819\t", "", "en_US.nosuch"});
  check(IsLc, {
      {"VL_CTYPE = en_US.8859-1 ; VL_TIME = de_DE.819@euro"}, {"VL_CTYPE = en_US.8859-1 ; "}, {"VL_MESSAGES = en_US"},
      {"VL_MESSAGES = en_US ; VL_CTYPE = xx_YY.unknown"}, {"*en_US.819"}, {nullptr, 0, -1, kNoHandle},
  });
  refuse(IsLc, {"en_US.819", "", nullptr, "VL_CTYPE = en_US ; VL_CTYPE = en_US", "VL_CTYPE=en_US", "VL_CTYPE = enxUS",
                "VL_CTYPE = en_US;", "VL_CTYPE = en_US x", "VL_CTYPE = en_US#", "VL_CTYPE = en_US-819",
                "VL_CTYPE = en_US.#819", "VL_CTYPE = en_US.8;59", "VL_CTYPE = en_US.819 x", "VL_CTYPE = en_US.819 ; x",
                "VL_CTYPE = en_US.819@eu-ro"});
  // A letter missing fails without an error number.
  refuse(IsLc, {"VL_CTYPE = e1_US", "VL_CTYPE = en_U1", "VL_CTYPE = ", "VL_CTYPE = en_U"}, -1, 0);
  check(Short, {
      {"*en_US.8859-1@Euro|EN_us.8859-1@EURO", "en_us.8859-1@euro"}, {"*en_US", "en_us"}, {"+en_US", "en_us"},
      {"+ja_JP.SJIS", "ja_jp.sjis"}, {"*en_US.819|e1_US.819", 0, -1},
      {"VL_MESSAGES = en_US.819 ; VL_TIME = en_US.819 ; VL_MONETARY = en_US.819 ; "
       "VL_NUMERIC = en_US.819 ; VL_COLLATE = en_US.819 ; VL_CTYPE = en_US.819", "en_us.819"},
  });
  refuse(Short, {"VL_CTYPE = en_US.819 ; VL_TIME = en_US.819", "*en_US.819|de_US.819", "*en_US.819|en_USA.819",
                 "*en_US.819|en_US.8859-1", "*en_US.819|en_US.819@euro", "*en_US.819|en_US.8190",
                 "*en_US.819|enxUS.819", "*en_US.;", "*en_US.#1", "VL_CTYPE=en_US.819"});
  check(Cat, {
      {kMixed.c_str(), "de_de.819@euro", 0, 0, "3"}, {kMixed.c_str(), "fr_fr.latin-1", 0, 0, "4"},
      {kMixed.c_str(), "en_us.8859-1", 0, 0, "2"}, {kMixed.c_str(), "en_gb.8859-1", 0, 0, "7"},
      {"*EN_us", "en_us", 0, 0, "6"}, {"garbage", "", 0, 0, "1"}, {nullptr, "", 0, 0, "8"},
  });
  refuse(Cat, {kNotFirst.c_str(), "VL_CTYPE = en_US.819 ; VL_TIME = en_US.819", "*en_US.819|ja_JP.sjis",
               "*en_US.819|en_US", "*en_US.819|enUS.819", "*en_US.819|en_US.nosuch"}, -1, VL_EINVAL, "2");
  check(Files, {
      {"*en_us/0333.lco|de_de/0333euro.lco", "*en_US.819|de_DE.819@euro", 0, 0, "$/lc"},
      {"*en_us/0333.lco", "*en_US.819"}, {"*en_us/0333.lco", 0, -1, VL_EINVAL, kDir1100.c_str()},
  });
  refuse(Files, {"*en_us/0333.lco|fr_fr/0333.lco", "VL_CTYPE = en_us/0333.lco", "+en_us/0333.lco"}, -1, VL_EINVAL,
         "$/lc");
}

// The registry is found as vls/cm3/registry below KELVANIXDIR, a name as
// vls/lc11/<name>; the caches come before both.
TEST_F(Naming, FilesAreFoundBelowTheProductDirectory) {
  Rec rec;
  EXPECT_EQ(vl_cs_name2cs_num(&rec, "found3", nullptr), 3);
  EXPECT_EQ(vl_cs_name2cs_num(&rec, "found3", ""), 3);
  EXPECT_EQ(vl_cache_registry(&rec, ""), 0);
  unlink(dir.file("vls/cm3/registry").c_str());
  EXPECT_EQ(vl_cs_name2cs_num(&rec, "found3", nullptr), 3);
  EXPECT_EQ(rec.vl_errno, 0u);
  char name[64];
  ASSERT_EQ(vl_lc_spec2lc_fname(&rec, "en_US.819", name, nullptr, nullptr), 0);
  void *f = vl_path_search(&rec, name, "lc", "11");
  ASSERT_NE(f, nullptr);
  _vl_ext_fclose(f);
}

TEST(SpecCvName, DigitsBehindTheMarkedDirectory) {
  char out[4 + 14], small[13 + 1];
  ASSERT_EQ(vl_cs_nums2cv_fname(nullptr, 0x0333, 0xE015, out, "/x/y"), 0);
  EXPECT_STREQ(out, "/x/y\xFF" "0333e015.cvo");
  ASSERT_EQ(vl_cs_nums2cv_fname(nullptr, 0xABCD, 0x0001, small, ""), 0);
  EXPECT_STREQ(small, "abcd0001.cvo");
  ASSERT_EQ(vl_cs_nums2cv_fname(nullptr, 0, 0xFFFF, small, nullptr), 0);
  EXPECT_STREQ(small, "0000ffff.cvo");
  EXPECT_EQ(pathcat_mark(out, "/dir"), out + 5);
  EXPECT_STREQ(out, "/dir\xFF");
  EXPECT_EQ(pathcat_mark(out, ""), out);
  EXPECT_EQ(pathcat_mark(out, nullptr), out);
  EXPECT_STREQ(out, "");
}

}  // namespace
