// Conversion objects: the ".cvo" reader on damaged files, the converters on
// small hand-made objects (one per kind of converter), resumption across
// pieces, measuring against writing, opening and closing.
#include "vlstest.h"

#include "cvowriter.h"

namespace {

using cvow::Entry;
using cvow::Object;
using std::string;
using namespace std::string_literals;

void ascii(std::vector<Entry> &e, int skip = -1) {
  e.push_back({"\0"s, cvow::kMapped | cvow::kTerminator, "\0"s});
  for (int b = 1; b < 0x80; ++b)
    if (b != skip) e.push_back({string(1, char(b)), uint8_t(b == '#' ? cvow::kSetFlag : cvow::kMapped), string(1, char(b))});
}

// The fixtures, by the name the tests open them with ("<name>_in.cvo").
Object fixture(const string &name) {
  Object o;
  if (name == "mb") {  // ASCII, two-byte 0x81 0x40.. to three bytes; 0x81 0x43 has no mapping
    o.source_max_len = 2, o.target_max_len = 3, o.expansion = 1.5;
    ascii(o.entries);
    o.entries.push_back({"\x81\x40", cvow::kMapped, "\xE3\x81\x82"});
    o.entries.push_back({"\x81\x41", cvow::kMapped, "\xC3\xA9"});
    o.entries.push_back({"\x81\x43", 0, ""});
  } else if (name == "sb" || name == "sbpart") {  // a-z to upper case; 0xFF has no mapping
    o.partial_map = name == "sb" ? 0 : 1;
    ascii(o.entries);
    for (int b = 0x80; b < 0xFF; ++b) o.entries.push_back({string(1, char(b)), cvow::kMapped, string(1, char(b))});
    for (auto &e : o.entries)
      if (e.source[0] >= 'a' && e.source[0] <= 'z') e.target[0] = char(e.source[0] - 32);
  } else if (name == "le2" || name == "le4") {  // UCS-2/UCS-4 little-endian in; keys most significant first
    const int w = name == "le2" ? 2 : 4;
    o.source_min_len = o.source_max_len = w, o.expansion = 0.5;
    o.entries = {{string(w, '\0'), cvow::kMapped | cvow::kTerminator, "\0"s},
                 {string(w - 1, '\0') + "A", cvow::kMapped, "A"},
                 {string(w - 2, '\0') + "\x30\x42", cvow::kMapped, "\xA4"}};
  } else if (name == "tole2" || name == "tole4") {  // Latin-1-ish in, UCS-2/UCS-4 out
    const int w = name == "tole2" ? 2 : 4;
    o.target_min_len = o.target_max_len = w, o.expansion = w;
    o.entries = {{"\0"s, cvow::kMapped | cvow::kTerminator, string(w, '\0')},
                 {"A", cvow::kMapped, string(w - 1, '\0') + "A"},
                 {"\xA4", cvow::kMapped, string(w - 2, '\0') + "\x30\x42"}};
  } else if (name == "sotgt") {  // EUC-ish in, SO/SI out: 0xB0 0xA1.. become shifted 0x30 0x21..
    o.target_stateful = 1, o.shift[0] = "\x0E", o.shift[1] = "\x0F", o.source_max_len = o.target_max_len = 2;
    o.expansion = 2;
    ascii(o.entries);
    o.entries.push_back({"\xB0\xA1", cvow::kShifted | cvow::kMapped, "\x30\x21"});
    o.entries.push_back({"\xB0\xA2", cvow::kShifted | cvow::kMapped, "\x30\x22"});
  } else if (name == "sosrc") {  // SO/SI in (0x0E, 0x0F toggle), EUC-ish out
    o.source_stateful = 1, o.source_max_len = o.target_max_len = 2;
    ascii(o.entries, 0x0E);
    o.entries.push_back({"\x0E", cvow::kToggle | cvow::kMapped, ""});
    o.shifted = {{"\x0F", cvow::kToggle | cvow::kMapped, ""},
                 {"\x30\x21", cvow::kMapped, "\xB0\xA1"},
                 {"\x30\x22", cvow::kMapped, "\xB0\xA2"}};
  }
  return o;
}

const char *const kRegistry = VLS_TEST_SOURCE_DIR "/../data/registry";
const char *const kFixtures[] = {"mb", "sb", "sbpart", "le2", "le4", "tole2", "tole4", "sotgt", "sosrc"};

class Cv : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char *n : kFixtures) {
      string text;
      ASSERT_TRUE(cvow::cvo_text(fixture(n), text)) << n;
      dir_.write("vls/cv9/"s + n + "_in.cvo", text);
    }
  }
  conv_object *open(const string &name) {
    conv_object *cv = nullptr;
    EXPECT_EQ(vl_iconv_open(&cv, "in", name.c_str()), 0) << name;
    opened_.push_back(cv);
    return cv;
  }
  void TearDown() override {
    for (conv_object *cv : opened_) EXPECT_EQ(vl_cv_unload(cv), 0);
  }
  vlstest::TempDir dir_;
  vlstest::EnvVar kdir_{"KELVANIXDIR", dir_.path().c_str()};
  vlstest::EnvVar path_{"VL_PATH", nullptr};
  std::vector<conv_object *> opened_;
};

struct Result { int rc; string out; int32_t consumed, room_left, flag; uint32_t err; };

// Converts `in` (counted, or up to the terminator with -1) into `room` bytes.
Result convert(conv_object *cv, const string &in, int32_t len, int32_t room, conv_state *st = nullptr,
               bool measure = false) {
  std::vector<char> buf(room > 0 ? room + 8 : 8, '\x7F');
  const char *s = in.c_str();
  char *t = buf.data();
  int32_t n = len, r = room, flag = 7;
  cv->vl_errno = 0;
  int rc = vl_cv_mconv(cv, st, &s, len < 0 ? nullptr : &n, measure ? nullptr : &t, &r, &flag);
  return {rc, string(buf.data(), measure ? 0 : t - buf.data()), int32_t(s - in.c_str()), r, flag, uint32_t(cv->vl_errno)};
}

TEST_F(Cv, ConvertersTable) {
  struct Case { const char *fixture; string in; int32_t len, room; int rc; string out; int32_t consumed, flag; uint32_t err; };
  const Case cases[] = {
      {"mb", "a\x81\x40z", 4, 16, 0, "a\xE3\x81\x82z", 4, 0, 0},
      {"mb", "ab", 0, 16, 0, "", 0, 0, 0},                       // nothing to do: flag cleared, nothing moves
      {"mb", "a#b", 3, 16, 0, "a#b", 3, 1, 0},                   // the caller's flag
      {"mb", "a\x81", 2, 16, -1, "a", 1, 0, VL_EINVAL},          // ends inside a character
      {"mb", "a\x81\x42", 3, 16, -1, "a", 1, 0, VL_EILSEQ},      // bytes that lead nowhere
      {"mb", "a\x81\x43z", 4, 16, -1, "a", 1, 0, VL_EILSEQ},     // an entry with no mapping
      {"mb", "a\x81\x40", 3, 3, -1, "a", 1, 0, VL_E2BIG},        // three bytes into two
      {"mb", "a\x81\x40", 3, 4, 0, "a\xE3\x81\x82", 3, 0, 0},    // exactly enough
      {"mb", "ab\0cd"s, -1, 16, 0, "ab\0"s, 3, 0, 0},            // the terminator is converted and ends it
      {"mb", "ab\0cd"s, 5, 16, 0, "ab\0cd"s, 5, 0, 0},           // counted: it is a character like others
      {"sb", "az\xE9", 3, 16, 0, "AZ\xE9", 3, 0, 0}, {"sb", "ab", 2, 1, -1, "A", 1, 0, VL_E2BIG},
      {"sb", "a\xFF", 2, 16, -1, "A", 1, 0, VL_EILSEQ}, {"le2", "A\0\x42\x30\0\0"s, 6, 16, 0, "A\xA4\0"s, 6, 0, 0},
      {"le2", "A\0\x42"s, 3, 16, -1, "A", 2, 0, VL_EINVAL},       // half a unit
      {"le2", "A\0\x43\x30"s, 4, 16, -1, "A", 2, 0, VL_EILSEQ}, {"le2", "A\0\0\0A\0"s, -1, 16, 0, "A\0"s, 4, 0, 0},
      {"le4", "A\0\0\0\x42\x30\0\0"s, 8, 16, 0, "A\xA4", 8, 0, 0}, {"le4", "A\0\0"s, 3, 16, -1, "", 0, 0, VL_EINVAL},
      {"tole2", "A\xA4", 2, 16, 0, "A\0\x42\x30"s, 2, 0, 0}, {"tole2", "AA", 2, 3, -1, "A\0"s, 1, 0, VL_E2BIG},
      {"tole4", "A\xA4", 2, 16, 0, "A\0\0\0\x42\x30\0\0"s, 2, 0, 0},
      {"tole4", "AA", 2, 7, -1, "A\0\0\0"s, 1, 0, VL_E2BIG},     // never past the room
      {"sotgt", "a\xB0\xA1\xB0\xA2z", 6, 16, 0, "a\x0E\x30\x21\x30\x22\x0Fz", 6, 0, 0},
      {"sotgt", "a\xB0\xA1", 3, 16, 0, "a\x0E\x30\x21\x0F", 3, 0, 0},  // the last piece ends unshifted
      {"sotgt", "a\xB0\xA1", 3, 4, -1, "a", 1, 0, VL_E2BIG},          // room holds SO, character and SI together
      {"sotgt", "\xB0\xA1\0"s, -1, 16, 0, "\x0E\x30\x21\x0F\0"s, 3, 0, 0},
      {"sosrc", "a\x0E\x30\x21\x30\x22\x0Fz", 8, 16, 0, "a\xB0\xA1\xB0\xA2z", 8, 0, 0},
      {"sosrc", "a\x0E\x61", 3, 16, -1, "a", 2, 0, VL_EILSEQ},        // ASCII is no character in the shifted state
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(string(c.fixture) + " " + ::testing::PrintToString(c.in));
    conv_object *cv = open(c.fixture);
    ASSERT_NE(cv, nullptr);
    Result r = convert(cv, c.in, c.len, c.room);
    EXPECT_EQ((std::tuple{r.rc, r.out}), (std::tuple{c.rc, c.out}));
    EXPECT_EQ((std::tuple{r.consumed, r.flag}), (std::tuple{c.consumed, c.flag}));
    EXPECT_EQ(r.err, c.err);
    if (c.rc == 0) { EXPECT_EQ(r.room_left, c.room - int32_t(r.out.size())); }
    // Measuring walks the same way, taking the same room off without writing.
    // (A four-byte unit is never written into a room of 2 or 3; measuring
    // takes such a room below zero.)
    if (string(c.fixture) == "tole4" && c.rc) continue;
    Result m = convert(cv, c.in, c.len, c.room, nullptr, true);
    EXPECT_EQ((std::tuple{m.rc, m.consumed}), (std::tuple{c.rc, r.consumed}));
    if (c.rc == 0) { EXPECT_EQ(m.room_left, r.room_left); }
  }
}

TEST_F(Cv, ChoosesConverterAndByteTable) {
  const std::pair<const char *, vl_converter_fn> want[] = {
      {"mb", mb_miconv}, {"sb", sb_miconv}, {"le2", little_endian_unicode_source_miconv},
      {"le4", little_endian_unicode_source_miconv}, {"tole2", little_endian_unicode_target_miconv}, {"sotgt", mb_miconv}};
  for (auto &w : want) EXPECT_EQ(open(w.first)->converter, w.second) << w.first;
  conv_object *sb = open("sb");
  ASSERT_NE(sb->sb_table, nullptr);
  for (int b = 0; b < 255; ++b) EXPECT_EQ(sb->sb_table[b], (b >= 'a' && b <= 'z') ? b - 32 : b);
  EXPECT_EQ(sb->sb_table[255], 0);  // the run stops at the byte with no mapping
  EXPECT_EQ(open("sbpart")->sb_table, nullptr);
}

// Any text cut into pieces anywhere, a character split between two pieces
// carried over by the caller, gives what the whole text gives.
TEST_F(Cv, PiecesGiveTheWhole) {
  const std::pair<const char *, string> texts[] = {{"mb", "x\x81\x40yz\x81\x41#"},
                                                   {"sotgt", "a\xB0\xA1\xB0\xA2zz\xB0\xA1"},
                                                   {"sosrc", "a\x0E\x30\x21\x30\x22\x0Fzz\x0E\x30\x22"}};
  for (auto &[name, text] : texts) {
    conv_object *cv = open(name);
    const string whole = convert(cv, text, int32_t(text.size()), 64).out;
    for (size_t piece = 1; piece <= text.size(); ++piece) {
      SCOPED_TRACE(string(name) + " piece " + std::to_string(piece));
      conv_state st{1, 0, 0, 0};
      string out, carry;
      for (size_t at = 0; at < text.size(); at += piece) {
        carry += text.substr(at, piece);
        st.last = at + piece >= text.size();
        Result r = convert(cv, carry, int32_t(carry.size()), 64, &st);
        ASSERT_TRUE(r.rc == 0 || (r.err == VL_EINVAL && !st.last)) << r.err;
        out += r.out, carry.erase(0, r.consumed), st.first = 0;
      }
      EXPECT_EQ(out, whole);
    }
  }
}

// The objects the library opens run plain bytes through a table; an object
// read into a record of the caller's own walks every byte. Both must agree.
TEST_F(Cv, TableRunsAgreeWithWalks) {
  const string pool = "aZ#\0\x81\x40\x41\x43\xE9\xFF\x7F";
  std::mt19937 rng(11);
  for (const char *name : {"mb", "sb", "sbpart"}) {
    conv_object plain{};
    string path = dir_.path() + "/vls/cv9/" + name + "_in.cvo";
    ASSERT_EQ(read_cv_file(_vl_ext_fopen(path.c_str(), "r"), &plain), 0);
    conv_object *fast = open(name);
    for (int i = 0; i < 400; ++i) {
      string text;
      for (int n = rng() % 24; n > 0; --n) text += pool[rng() % pool.size()];
      const int32_t room = rng() % 30, len = (rng() % 4 == 0) ? -1 : int32_t(text.size());
      SCOPED_TRACE(string(name) + " " + ::testing::PrintToString(text) + " room " + std::to_string(room));
      Result a = convert(fast, text, len, room), b = convert(&plain, text, len, room);
      EXPECT_EQ(std::tie(a.rc, a.out, a.consumed, a.room_left, a.flag, a.err),
                std::tie(b.rc, b.out, b.consumed, b.room_left, b.flag, b.err));
    }
    _vl_free_multi(plain.tree), _vl_ext_free(plain.sb_table);
  }
}

TEST_F(Cv, ReaderRefusesDamagedFiles) {
  string good;
  ASSERT_TRUE(cvow::cvo_text(fixture("mb"), good));
  const size_t body = good.find("\n0 0\n") + 1;
  auto with_line3 = [&](const string &l3, const string &extra) {
    return "FILE_TYPE=codeset_conversion_object\nCOMPILER_VERSION=9\n" + l3 + "\n" + extra + good.substr(body);
  };
  const size_t lens = good.find("\n1 3 ") + 1, deflt = good.find("\n2 1 3 ") + 9;
  struct Case { string text; int rc; uint32_t err; const char *message; } cases[] = {
      {good, 0, VL_EUNKNOWN, "CVO file loaded successfully."},
      {with_line3("N=5", "one\n" + string(127, 'x') + "\n"), 0, VL_EUNKNOWN, nullptr},
      {with_line3("N=5", "one\n" + string(128, 'x') + "\n"), -1, VL_ENOENT, nullptr},  // a header line too long
      {with_line3("N=2", ""), -1, VL_ENOENT, nullptr},                                  // reads to the end
      {with_line3("N", ""), -1, VL_ENOENT, nullptr},
      {"FILE_TYPE=locale_object\n" + good.substr(good.find('\n') + 1), -1, VL_ENOENT,
       "Invalid CVO file. Wrong FILE_TYPE."},
      {"FILE_TYPE=codeset_conversion_object\nCOMPILER_VERSION=8\n" + good.substr(good.find("HEADER")), -1,
       VL_ENOENT, "Invalid CVO file. Wrong Version."},
      {good.substr(0, body) + "0 0", -1, VL_EUNKNOWN, nullptr},  // a body line without its line feed
      {good.substr(0, lens) + "1 0" + good.substr(lens + 3), -1, VL_EUNKNOWN, "cv->target_max_len should be in range 1..4"},
      {good.substr(0, lens) + "1 5" + good.substr(lens + 3), -1, VL_EUNKNOWN, "cv->target_max_len should be in range 1..4"},
      {good.substr(0, lens) + "1 2" + good.substr(lens + 3), -1, VL_ENOMEM, nullptr},  // entries longer than the room
      {good.substr(0, good.size() - 40), -1, VL_ENOMEM, nullptr},                       // the tree cut short
      {good.substr(0, body) + "0 0\n5000000000000000000\n", -1, VL_ENOENT, nullptr},    // a sequence of five bytes
      {good.substr(0, lens) + "0 3 7 7 5 2" + good.substr(lens + 11), 0, VL_EUNKNOWN, nullptr},  // only choose
      {good.substr(0, deflt), -1, 0, nullptr},  // the tree's reason even when it is 0
  };
  vlstest::TempDir logdir;
  char cwd[4096];
  ASSERT_TRUE(getcwd(cwd, sizeof cwd));
  ASSERT_EQ(chdir(logdir.path().c_str()), 0);
  vls_debug_initialized = 1, vls_logging = 1;
  for (const Case &c : cases) {
    SCOPED_TRACE(c.text.substr(0, 120));
    string path = dir_.write("damaged.cvo", c.text);
    conv_object cv{};
    cv.vl_errno = VL_EUNKNOWN;  // left as it was unless a reason is stored
    void *f = _vl_ext_fopen(path.c_str(), "r");
    unlink("vls.log");
    EXPECT_EQ(read_cv_file(f, &cv), c.rc);
    EXPECT_EQ(cv.vl_errno, c.err);
    if (c.message) { EXPECT_EQ(vlstest::read_file("vls.log"), string(c.message) + "\n"); }
    if (c.rc != 0) _vl_ext_fclose(f);
    _vl_free_multi(cv.tree), _vl_free_multi(cv.shifted_tree), _vl_ext_free(cv.sb_table);
  }
  vls_logging = 0;
  EXPECT_EQ(chdir(cwd), 0);
  conv_object cv{};
  EXPECT_EQ(read_cv_file(nullptr, &cv), -1);
  EXPECT_EQ(cv.vl_errno, VL_ENOENT);
}

TEST_F(Cv, OpeningTable) {
  string mb;
  ASSERT_TRUE(cvow::cvo_text(fixture("mb"), mb));
  dir_.write("num/e01c0333.cvo", mb);  // 8859-1 to utf8, named by codeset numbers
  const string num = dir_.path() + "/num";
  struct Case { const char *what; int (*open)(conv_object **, const string &); int rc; bool object; uint32_t err; } cases[] = {
      {"by number", [](conv_object **cv, const string &d) { return vl_cv_load(cv, "en_US.8859-1", "ja_JP.utf8", kRegistry, d.c_str()); }, 1, true, 0},
      {"same number", [](conv_object **cv, const string &d) { return vl_cv_load(cv, "en_US.8859-1", "de_DE.8859-1", kRegistry, d.c_str()); }, 0, false, 0},
      {"no file", [](conv_object **cv, const string &d) { return vl_cv_load(cv, "en_US.utf8", "en_US.8859-1", kRegistry, d.c_str()); }, -1, true, VL_ENOENT},
      {"unknown codeset", [](conv_object **cv, const string &d) { return vl_cv_load(cv, "en_US.nosuch", "en_US.8859-1", kRegistry, d.c_str()); }, -1, true, VL_EINVAL},
      {"by name", [](conv_object **cv, const string &) { return vl_iconv_open(cv, "in", "mb"); }, 0, true, 0},
      {"name missing", [](conv_object **cv, const string &) { return vl_iconv_open(cv, "in", "none"); }, -1, true, VL_ENOENT},
      {"same name", [](conv_object **cv, const string &) { return vl_iconv_open(cv, "mb", "mb"); }, -1, true, VL_ENOENT},
      {"names too long", [](conv_object **cv, const string &) { return vl_iconv_open(cv, string(510, 'a').c_str(), string(510, 'b').c_str()); }, -1, true, VL_ENOENT},
      {"spec by name", [](conv_object **cv, const string &) { return vl_cv_open(cv, "xx_XX.in@mod", "yy_YY.mb"); }, 1, true, 0},
      {"spec same text", [](conv_object **cv, const string &) { return vl_cv_open(cv, "xx_XX.in", "yy_YY.in@m"); }, 0, false, 0},
      {"spec no codeset", [](conv_object **cv, const string &) { return vl_cv_open(cv, "xx_XX", "yy_YY.mb"); }, -1, true, VL_ENOENT},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    conv_object *cv = reinterpret_cast<conv_object *>(1);
    EXPECT_EQ(c.open(&cv, num), c.rc);
    EXPECT_EQ(cv != nullptr, c.object);
    if (cv) {
      EXPECT_EQ(uint32_t(cv->vl_errno), c.err);
      EXPECT_EQ(vl_cv_unload(cv), 0);
    }
  }
  for (const conv_object *k : {&vl_cv_nomem, &vl_cv_badarg, &vl_cv_nocs})
    EXPECT_EQ(vl_cv_unload(const_cast<conv_object *>(k)), 0);
  EXPECT_EQ(vl_cv_unload(nullptr), -1);
  EXPECT_EQ(vl_cv_nomem.vl_errno, VL_ENOMEM);
}

TEST_F(Cv, OutputRoom) {
  conv_object *cv = open("mb");
  for (auto [e, want] : {std::pair{1.5f, 20}, {2.0f, 20}, {1.0f, 10}, {0.5f, 10}, {2.25f, 30}}) {
    cv->expansion = e;
    EXPECT_EQ(std::pair(vl_cv_outbuflen(cv, 10), vl_iconv_expansion(cv)), std::pair(want, e));
  }
  EXPECT_EQ(vl_cv_version()->compiler_version, 9);
}

// The five buffer policies on the multibyte fixture (expansion 1.5) and
// with no object (a copy).
TEST_F(Cv, ServicePolicies) {
  conv_object *mb = open("mb");
  const string text = "a\x81\x40z";  // 4 bytes in, 5 out
  const int32_t four = 4, zero = 0, two = 2, minus = -3;
  struct Case { const char *what; conv_object *cv; const char *src; const int32_t *len; int32_t size, rc, status, truncated; string out; };
  const Case cases[] = {
      {"extbuf", mb, text.c_str(), &four, 16, 5, 0, 0, "a\xE3\x81\x82z"},
      {"extbuf", mb, text.c_str(), nullptr, 16, 6, 0, 0, "a\xE3\x81\x82z\0"s},
      {"extbuf", mb, text.c_str(), &four, 3, 1, 0, 1, "a"},  // what fitted, and truncated
      {"extbuf", mb, text.c_str(), &zero, 16, -1, VL_GCV_BADARG, 0, ""},
      {"extbuf", mb, "", nullptr, 16, 1, 0, 0, "\0"s},  // an empty terminated text is no bad argument
      {"extbuf", mb, text.c_str(), &four, 0, -1, VL_GCV_BADARG, 0, ""},
      {"extbuf", mb, nullptr, &four, 16, -1, VL_GCV_BADARG, 0, ""},
      {"extbuf", mb, "a\x81\x43", nullptr, 16, -1, VL_GCV_BADTEXT, 0, ""},
      {"extbuf", nullptr, "copy", nullptr, 1, 0, 0, 0, "copy\0"s},  // copied whatever the size
      {"extbuf", nullptr, "copy", &two, 16, 0, 0, 0, "co"},
      {"inplace", mb, text.c_str(), &four, 16, 5, 0, 0, "a\xE3\x81\x82z"},
      {"inplace", mb, text.c_str(), &four, 3, 1, 0, 1, "a"},
      {"inplace", mb, "a\x81\x43", nullptr, 16, -1, VL_GCV_BADTEXT, 0, "a\x81\x43"},  // left as it was
      {"inplace", nullptr, "keep", &four, 16, 0, 0, 0, "keep"},
      {"inplace", mb, text.c_str(), &zero, 16, -1, VL_GCV_BADARG, 0, ""},
      {"malloc", mb, text.c_str(), &four, 0, 5, 0, 0, "a\xE3\x81\x82z"},
      {"malloc", mb, "a\x81\x43", nullptr, 0, -1, VL_GCV_BADTEXT, 0, ""},
      {"malloc", nullptr, "copy", nullptr, 0, 0, 0, 0, "copy\0"s},
      {"malloc", mb, text.c_str(), &zero, 0, -1, VL_GCV_BADARG, 0, ""},
      {"reuse", mb, text.c_str(), &four, 0, 5, 0, 0, "a\xE3\x81\x82z"},
      {"reuse", mb, "a\x81\x43", nullptr, 0, -1, VL_GCV_BADTEXT, 0, ""},
      {"reuse", nullptr, "copy", &four, 0, 0, 0, 0, "copy"}, {"len", mb, text.c_str(), &four, 0, 5, 0, 0, ""},
      {"len", mb, text.c_str(), nullptr, 0, 6, 0, 0, ""},
      {"len", mb, "a\x81\x43", nullptr, 0, -1, VL_GCV_BADTEXT, 0, ""},
      {"len", mb, text.c_str(), &zero, 0, -1, VL_GCV_BADARG, 0, ""}, {"len", nullptr, "copy", nullptr, 0, 5, 0, 0, ""},
      {"len", nullptr, "copy", &two, 0, 2, 0, 0, ""}, {"len", nullptr, "copy", &minus, 0, -1, 0, 0, ""},
      {"len", nullptr, "", nullptr, 0, 1, 0, 0, ""},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(string(c.what) + " " + ::testing::PrintToString(string(c.src ? c.src : "(null)")));
    set_vlserror(0);
    string got;
    int32_t truncated = 9, rc = 0;
    const string w = c.what;
    if (w == "extbuf" || w == "inplace") {
      std::vector<char> buf(32, 0);
      if (c.src) memcpy(buf.data(), c.src, c.len ? *c.len : strlen(c.src) + 1);
      rc = w == "extbuf" ? gcv_extbuf(c.cv, c.src, c.len, buf.data(), c.size, &truncated)
                         : gcv_inplace(c.cv, buf.data(), c.len, c.size, &truncated);
      if (rc >= 0 || w == "inplace") got.assign(buf.data(), c.out.size());
      if (rc >= 0) { EXPECT_EQ(truncated, c.truncated); }
    } else if (w == "malloc") {
      char *block = nullptr;
      rc = gcv_malloc(c.cv, c.src, c.len, &block);
      if (rc >= 0) got.assign(block, c.out.size());
      _vl_free_ptr(rc >= 0 ? block : nullptr);
    } else if (w == "reuse") {
      gcv_reuse_t rec{0, nullptr};  // the first use allocates
      rc = gcv_reuse(c.cv, c.src, c.len, &rec);
      if (rc >= 0) {
        got.assign(rec.block, c.out.size());
        EXPECT_EQ(rec.size, int32_t((c.len ? *c.len : strlen(c.src)) * (c.cv ? 1.5 : 1)) + !c.len);
      }
      _vl_ext_free(rec.block);
    } else rc = gcv_len(c.cv, c.src, c.len);
    EXPECT_EQ(std::tuple(rc, get_vlserror(), got), std::tuple(c.rc, c.status, c.out));
  }
}

// Objects that are shells around the bridge's converter. The bridge table
// is filled in-process with stubs that record what they are given.
struct BridgeStubs {
  int32_t use = 1, last = -1, closes = 0;
  int16_t use_status = 0, open_status = 0, conv_status = 0;
  int conv;  // its address is the bridge's converter
} g_b;

TEST_F(Cv, BridgeObjects) {
  dir_.write("vls/cm3/registry", vlstest::read_file(kRegistry));
  auto saved = std::tuple(fn_vlu_useIcuCvtCall, fn_vlu_cv_open, fn_vlu_cv_conv, fn_vlu_cv_close,
                          fn_vlu_iconv_expansion, pMap, unicode_collate);
  fn_vlu_useIcuCvtCall = [](void *, uint16_t, uint16_t, int32_t, int16_t *st) { return *st = g_b.use_status, g_b.use; };
  fn_vlu_cv_open = [](void *, uint16_t, uint16_t, int16_t *st) { return *st = g_b.open_status, (void *)&g_b.conv; };
  fn_vlu_cv_conv = [](void *cv, int32_t last, const char **, int32_t *, char **, int32_t *, int32_t *, int16_t *st) {
    return g_b.last = cv == &g_b.conv ? last : -2, *st = g_b.conv_status, 42;
  };
  fn_vlu_cv_close = [](void *cv) { return g_b.closes += cv == &g_b.conv, 0; };
  fn_vlu_iconv_expansion = [](void *) { return 2.5f; };
  pMap = &g_b, unicode_collate = 1;
  struct Case { int32_t use; int16_t use_status, open_status; int rc; uint32_t err; int32_t bound; } cases[] = {
      {1, 0, 0, 1, 0, 1}, {1, -3, 0, 1, 0, 1}, {1, 4, 0, -1, VL_ENOENT, 0}, {1, 0, 6, -1, VL_ENOENT, 1},
      {0, 0, 0, -1, VL_ENOENT, 0},  // not offered: the file is looked for, and there is none
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(::testing::Message() << c.use << " " << c.use_status << " " << c.open_status);
    g_b.use = c.use, g_b.use_status = c.use_status, g_b.open_status = c.open_status, g_b.closes = 0;
    conv_object *cv = nullptr;
    EXPECT_EQ(vl_cv_load(&cv, "en_US.8859-1", "en_US.utf8", kRegistry, nullptr), c.rc);
    ASSERT_NE(cv, nullptr);
    EXPECT_EQ(std::tuple(uint32_t(cv->vl_errno), cv->bridge_bound), std::tuple(c.err, c.bound));
    if (c.rc == 1) {
      const char *s = "ab";
      char out[8], *t = out;
      int32_t n = 2, room = 8, flag = 0;
      conv_state st{0, 0, 0, 0};
      g_b.conv_status = 5;
      int rc = vl_cv_mconv(cv, &st, &s, &n, &t, &room, &flag);
      EXPECT_EQ(std::tuple(rc, g_b.last, cv->vl_errno), std::tuple(42, 0, 5));
      g_b.conv_status = -1;  // no state: the last piece
      rc = vl_miconv(cv, &s, &n, &t, &room, &flag);
      EXPECT_EQ(std::tuple(rc, g_b.last, vl_cv_outbuflen(cv, 10)), std::tuple(42, 1, 30));
    }
    EXPECT_EQ(vl_cv_unload(cv), 0);
    EXPECT_EQ(g_b.closes, c.bound);
  }
  // By specification: the bridge's own status becomes the error number.
  g_b.use = 1, g_b.use_status = 0, g_b.open_status = 6;
  conv_object *cv = nullptr;
  EXPECT_EQ(vl_cv_open(&cv, "en_US.8859-1", "en_US.utf8"), -1);
  EXPECT_EQ(cv->vl_errno, 6);
  vl_cv_unload(cv);
  std::tie(fn_vlu_useIcuCvtCall, fn_vlu_cv_open, fn_vlu_cv_conv, fn_vlu_cv_close, fn_vlu_iconv_expansion, pMap,
           unicode_collate) = saved;
}

}  // namespace
