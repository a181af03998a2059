// The shipped conversions against glibc's iconv(3). For every shipped pair,
// every character of the source codeset and the byte sequences around it
// (every byte, every two-byte sequence behind a byte from 0x80, EUC-JP's
// three-byte ones, every Unicode value of the BMP and a sample beyond it,
// ISO-2022-KR's shifted pairs and escapes; truncated, overlong and stray
// sequences among them) is converted by both, and by both again with one
// byte less room than glibc needed. Output, bytes consumed and outcome
// (done, no mapping, truncated, no room) must agree, except for the
// deviations of docs/locale-deviations.md, "Conversion"; their counts print
// as "[iconv] <pair> <id>: <count>".
#include "vlstest.h"

#include <errno.h>
#include <iconv.h>

namespace {

struct Case {
  const char *from, *to;          // glibc's (and the charmaps') names
  const char *lib_from, *lib_to;  // the library's codeset names
  bool numbered;                  // the registry numbers both: vl_cv_load finds the object
};
constexpr Case kCases[] = {
#include "iconv_cases.inc"
};

// Outcome of one conversion: 0 done, or the library's error number
// (VL_EILSEQ, VL_EINVAL for a truncated character, VL_E2BIG); glibc's
// errno is mapped onto these.
struct Result {
  std::string out;
  int status = 0;
  size_t consumed = 0;
  bool operator==(const Result &o) const { return out == o.out && status == o.status && consumed == o.consumed; }
};
constexpr const char kDesignator[] = "\x1b$)C";

int from_errno(int e) { return e == EILSEQ ? VL_EILSEQ : e == EINVAL ? VL_EINVAL : e == E2BIG ? VL_E2BIG : -e; }

Result run_glibc(iconv_t cd, const std::string &in, size_t room) {
  iconv(cd, nullptr, nullptr, nullptr, nullptr);
  std::string buf(room + 1, '\0');
  char *ip = const_cast<char *>(in.data()), *op = buf.data();
  size_t il = in.size(), ol = room;
  Result r;
  if (iconv(cd, &ip, &il, &op, &ol) == static_cast<size_t>(-1)) r.status = from_errno(errno);
  else if (iconv(cd, nullptr, nullptr, &op, &ol) == static_cast<size_t>(-1)) r.status = from_errno(errno);
  r.consumed = in.size() - il;
  r.out.assign(buf.data(), room - ol);
  return r;
}

Result run_lib(conv_object *cv, const std::string &in, size_t room) {
  std::string buf(room + 1, '\0');
  const char *ip = in.data();
  char *op = buf.data();
  int32_t il = static_cast<int32_t>(in.size()), ol = static_cast<int32_t>(room), flag = 0;
  Result r;
  if (vl_miconv(cv, &ip, &il, &op, &ol, &flag) != 0) r.status = cv->vl_errno;
  r.consumed = in.size() - static_cast<size_t>(il);
  r.out.assign(buf.data(), room - static_cast<size_t>(ol));
  return r;
}

std::string utf8(uint32_t u) {
  std::string o;
  if (u < 0x80) return std::string(1, static_cast<char>(u));
  int n = u < 0x800 ? 2 : u < 0x10000 ? 3 : 4;
  o += static_cast<char>((0xF00u >> n) | (u >> (6 * (n - 1))));
  for (int k = n - 2; k >= 0; --k) o += static_cast<char>(0x80 | ((u >> (6 * k)) & 0x3F));
  return o;
}

// The inputs for a source codeset.
std::vector<std::string> inputs(const std::string &from) {
  std::vector<std::string> v;
  auto bytes = [](std::initializer_list<int> b) {
    std::string s;
    for (int c : b) s += static_cast<char>(c);
    return s;
  };
  if (from == "UTF-8") {
    for (uint32_t u = 0; u <= 0x10FFFF; u += u < 0x10000 ? 1 : 61)
      if (u < 0xD800 || u > 0xDFFF) v.push_back(utf8(u));
    for (auto s : {"\x80", "\xbf", "\xc0\x80", "\xc1\xbf", "\xe0\x80\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80",
                   "\xf8\x88\x80\x80\x80", "\xfe", "\xff", "\xc3", "\xe3\x81", "\xf0\x9f\x98", "\xc3\x41"})
      v.push_back(s);
  } else if (from == "UCS-4LE") {
    for (uint32_t u = 0; u <= 0x110000; u += u < 0x10000 ? 1 : 61) v.push_back(bytes({int(u & 0xFF), int(u >> 8 & 0xFF), int(u >> 16), 0}));
    v.push_back(bytes({0xFF, 0xFF, 0xFF, 0xFF}));
    v.push_back("AAA");
  } else if (from == "UCS-2LE") {
    for (int u = 0; u < 0x10000; ++u) v.push_back(bytes({u & 0xFF, u >> 8}));
    v.push_back("A");
  } else if (from == "ISO-2022-KR") {
    for (int a = 0; a < 256; ++a) {
      v.push_back(bytes({a}));
      v.push_back(std::string(kDesignator) + "\x0e" + bytes({a}));
      for (const char *p : {"\x1b", "\x1b$", "\x1b$)"}) v.push_back(p + bytes({a}));
      for (int b = 0x21; b < 0x7F && a >= 0x21 && a < 0x7F; ++b)
        v.push_back(std::string(kDesignator) + "\x0e" + bytes({a, b, 0x0f}));
    }
    for (auto s : {"\x0e\x30\x21\x0f", "\x0e\x30", "\x0e\x0e\x30\x21\x0f\x0f", "\x0e\x1b$)C\x30\x21"})
      v.push_back(s);
  } else {
    bool multi = from == "SHIFT_JIS" || from == "EUC-JP" || from == "EUC-KR" || from == "GB2312" || from == "BIG5";
    for (int a = 0; a < 256; ++a) {
      v.push_back(bytes({a}));
      for (int b = 0; multi && a >= 0x80 && b < 256; ++b) v.push_back(bytes({a, b}));
      for (int b = 0xA1; from == "EUC-JP" && a >= 0xA1 && a < 0xFF && b < 0xFF; ++b)
        v.push_back(bytes({0x8F, a, b}));
    }
  }
  return v;
}

// Where the library stops at a character that glibc converts, the count
// must be exactly the documented one (C2, C3): a pairing the compiler loses
// would hide there.
struct Expected { const char *pair, *id; long count; };
constexpr Expected kExpected[] = {
    {"UTF-8>SHIFT_JIS", "C2", 5}, {"UTF-8>EUC-JP", "C2", 2},    {"UTF-8>EUC-KR", "C2", 1},
    {"BIG5>UTF-8", "C2", 10},     {"SHIFT_JIS>EUC-JP", "C2", 128}, {"EUC-JP>SHIFT_JIS", "C2", 2},
    {"UCS-2LE>UTF-8", "C3", 1456}, {"UTF-8>UCS-2LE", "C3", 1458},
};

bool unicode(const char *name) { return !strcmp(name, "UTF-8") || !strcmp(name, "UCS-2LE"); }

// The deviation of docs/locale-deviations.md ("Conversion") that explains a
// difference, or "" for a fault.
std::string deviation(const Case &c, const std::string &in, const Result &g, const Result &l) {
  if (g.status == VL_EINVAL && l.status == VL_EILSEQ && g.consumed == l.consumed && g.out == l.out) return "C1";
  // The library stops at a character that glibc converts.
  if (g.status == 0 && l.status == VL_EILSEQ && l.consumed < g.consumed && g.out.compare(0, l.out.size(), l.out) == 0) {
    if (unicode(c.from) && unicode(c.to)) return "C3";
    if (!strcmp(c.from, "UTF-8") && g.out.size() == l.out.size() && in.compare(l.consumed, 2, "\xf3\xa0") == 0)
      return "C4";
    return "C2";
  }
  if ((!strcmp(c.from, "ISO-2022-KR") || !strcmp(c.to, "ISO-2022-KR")) && g.status == VL_E2BIG &&
      l.status == VL_E2BIG)
    return "C6";
  if (!strcmp(c.from, "ISO-2022-KR") && l.status == VL_EILSEQ && l.consumed < g.consumed && in[l.consumed] == 0x1b &&
      g.out.compare(0, l.out.size(), l.out) == 0)
    return "C7";
  return "";
}

using vlstest::hex;

const long kShow = getenv("VLS_ICONV_SHOW") ? atol(getenv("VLS_ICONV_SHOW")) : 10;

class IconvOracle : public ::testing::TestWithParam<Case> {
 protected:
  void SetUp() override { setenv("KELVANIXDIR", VLS_ORACLE_KELVANIX, 1); }
};

// Converts every input of the pair's source with both and checks the
// results; counts deviations by kind.
void compare(const Case &c, conv_object *cv) {
  iconv_t cd = iconv_open(c.to, c.from);
  ASSERT_NE(cd, reinterpret_cast<iconv_t>(-1));
  // glibc writes the designator ahead of every ISO-2022-KR text; the
  // library's converters write none (it is the object's sequence 2).
  const bool header = !strcmp(c.to, "ISO-2022-KR");
  std::map<std::string, long> counts;
  auto glibc = [&](const std::string &in, size_t room, long *count) {
    Result r = run_glibc(cd, in, room + (header ? 4 : 0));
    if (header && r.out.compare(0, 4, kDesignator) == 0) r.out.erase(0, 4), *count += 1;
    return r;
  };
  long compared = 0, faults = 0, over = 0;  // over: outputs beyond vl_cv_outbuflen
  std::vector<std::string> agreed;
  for (const std::string &in : inputs(c.from)) {
    Result g = glibc(in, 64, &counts["C5"]), l = run_lib(cv, in, 64);
    std::vector<std::pair<Result, Result>> runs{{g, l}};
    if (g == l && g.status == 0 && !g.out.empty()) {
      agreed.push_back(in);
      over += g.out.size() > static_cast<size_t>(vl_cv_outbuflen(cv, static_cast<int32_t>(in.size())));
      runs.emplace_back(glibc(in, g.out.size() - 1, &counts["C5"]), run_lib(cv, in, g.out.size() - 1));
    }
    for (const auto &[gr, lr] : runs) {
      ++compared;
      if (gr == lr) continue;
      std::string id = deviation(c, in, gr, lr);
      if (!id.empty()) ++counts[id];
      else if (++faults <= kShow)
        ADD_FAILURE() << "input " << hex(in) << ": glibc " << gr.status << "/" << gr.consumed << "/" << hex(gr.out)
                      << ", library " << lr.status << "/" << lr.consumed << "/" << hex(lr.out);
    }
  }
  // Texts of many characters: the shift states carry from one character to
  // the next (and ISO-2022-KR's designator stands once, ahead of the text).
  for (size_t i = 0; i < agreed.size(); i += 257) {
    std::string text;
    for (size_t k = i; k < agreed.size() && k < i + 257; ++k) text += agreed[k];
    long texts = 0;
    Result g = glibc(text, 8 * text.size(), &texts), l = run_lib(cv, text, 8 * text.size());
    over += l.out.size() > static_cast<size_t>(vl_cv_outbuflen(cv, static_cast<int32_t>(text.size())));
    EXPECT_TRUE(g == l) << "text from input " << i << ": glibc " << g.status << "/" << g.consumed << "/"
                        << g.out.size() << ", library " << l.status << "/" << l.consumed << "/" << l.out.size();
  }
  iconv_close(cd);
  printf("[iconv] %s to %s: %ld conversions, %ld faults\n", c.from, c.to, compared, faults);
  for (const auto &[id, n] : counts)
    if (n) printf("[iconv] %s to %s %s: %ld\n", c.from, c.to, id.c_str(), n);
  EXPECT_EQ(faults, 0);
  EXPECT_EQ(over, 0) << "outputs longer than vl_cv_outbuflen allows";
  for (const char *id : {"C2", "C3"}) {
    long want = 0;
    for (const Expected &e : kExpected)
      if (std::string(c.from) + ">" + c.to == e.pair && !strcmp(id, e.id)) want = e.count;
    EXPECT_EQ(counts[id], want) << id;
  }
}

TEST_P(IconvOracle, AgreesWithGlibc) {
  const Case &c = GetParam();
  const std::string reg = std::string(VLS_ORACLE_KELVANIX) + "/vls/cm3/registry";
  conv_object *named = nullptr, *cv = nullptr;
  // Both names of the object: the codeset names, and (where the registry
  // numbers both) the numbers that locale specifications lead to.
  ASSERT_EQ(vl_iconv_open(&named, c.lib_from, c.lib_to), 0) << named->vl_errno;
  if (c.numbered) {
    ASSERT_EQ(vl_cv_load(&cv, (std::string("xx_XX.") + c.lib_from).c_str(), (std::string("xx_XX.") + c.lib_to).c_str(),
                         reg.c_str(), nullptr),
              1)
        << cv->vl_errno;
    vl_cv_unload(named);
  } else {
    cv = named;
  }
  compare(c, cv);
  vl_cv_unload(cv);
}

std::string case_name(const ::testing::TestParamInfo<Case> &info) {
  std::string n = std::string(info.param.from) + "_to_" + info.param.to;
  for (auto &ch : n)
    if (!isalnum(static_cast<unsigned char>(ch))) ch = '_';
  return n;
}

INSTANTIATE_TEST_SUITE_P(Shipped, IconvOracle, ::testing::ValuesIn(kCases), case_name);

int cvodef(const vlstest::TempDir &d, const std::string &args) {
  return WEXITSTATUS(system(("cd '" + d.path() + "' && '" VLS_CVODEF_EXE "' --charmaps " VLS_I18N_CHARMAPS " " + args +
                             " 2>stderr.txt").c_str()));
}

// The four-byte Unicode side, which no shipped pair has, both ways.
TEST(IconvCompiler, Ucs4AgainstGlibc) {
  vlstest::TempDir d;
  d.write("vls/cv9/.keep", "");
  ASSERT_EQ(cvodef(d, "-q -f UCS-4LE -t ISO-8859-5 vls/cv9/8859-5_ucs-4le.cvo -r vls/cv9/ucs-4le_8859-5.cvo"), 0);
  setenv("KELVANIXDIR", d.path().c_str(), 1);
  for (const Case &c : {Case{"UCS-4LE", "ISO-8859-5", "ucs-4le", "8859-5", false},
                        Case{"ISO-8859-5", "UCS-4LE", "8859-5", "ucs-4le", false}}) {
    SCOPED_TRACE(c.from);
    conv_object *cv = nullptr;
    ASSERT_EQ(vl_iconv_open(&cv, c.lib_from, c.lib_to), 0) << cv->vl_errno;
    compare(c, cv);
    vl_cv_unload(cv);
  }
}

// What the compiler refuses, with status 1 (2 for the command line).
TEST(IconvCompiler, Refuses) {
  struct Row { const char *args, *file, *text, *error; int rc; };
  const std::string reg = " --registry " + std::string(VLS_ORACLE_KELVANIX) + "/vls/cm3/registry ";
  const Row rows[] = {
      {"-f ISO-8859-1 out.cvo", "", "", "usage", 2}, {"-f ISO-8859-1 -t ISO-8859-1 out.cvo", "", "", "both sides", 1},
      {"-f ISO-8859-1 -t ISO-8859-2 REG 03330390.cvo", "", "", "opens this pair as 03900333.cvo", 1},
      {"-f ISO-8859-1 -t ISO-8859-2 REG 8859-1_8859-2.cvo", "", "", "as 8859-2_8859-1.cvo", 1},
      {"-f ISO-8859-1 -t X.desc out.cvo", "X.desc", "name x\nbase EUC-KR\nenter /x0e\n", "needs name", 1},
      {"-f ISO-8859-1 -t X.desc out.cvo", "X.desc", "name x\nbase EUC-KR\nshift /x0e\n", "unknown keyword", 1},
      {"-f ISO-8859-1 -t TWO --from-name a --to-name b out.cvo", "TWO",
       "<code_set_name> TWO\n<escape_char> /\nCHARMAP\n<U0041> /x00/x41\n<U0042> /x00/x42\nEND CHARMAP\n", "little-endian", 1},
  };
  for (const Row &r : rows) {
    SCOPED_TRACE(r.args);
    vlstest::TempDir d;
    if (*r.file) d.write(r.file, r.text);
    std::string args = r.args;
    if (args.find("REG") != std::string::npos) args.replace(args.find("REG"), 3, reg);
    EXPECT_EQ(cvodef(d, args), r.rc);
    EXPECT_NE(vlstest::read_file(d.file("stderr.txt")).find(r.error), std::string::npos);
    EXPECT_FALSE(fopen(d.file("out.cvo").c_str(), "r"));
  }
}

}  // namespace
