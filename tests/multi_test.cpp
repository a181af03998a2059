// Byte tree: properties of random trees against a model (walks agree with
// the inserts, print/read round trips in both forms), the run form's worked
// lines, the walks' limits and errors, and the reader's defences.
#include "vlstest.h"

using vlstest::desc;

namespace {

struct ErrRec { uint32_t vl_errno = 0; };
struct TreeDeleter {
  void operator()(multi_t *t) const { _vl_free_multi(t); }
};
using Tree = std::unique_ptr<multi_t, TreeDeleter>;
const unsigned char kZero[16] = {};

Tree make_tree(uint32_t size = 2) { return Tree(_vl_create_multi(size, 0, kZero)); }
vl_desc_t key_desc(const std::string &k) {
  vl_desc_t d{static_cast<uint32_t>(k.size()), {}};
  memcpy(d.bytes, k.data(), k.size() < 4 ? k.size() : 4);
  return d;
}
int insert(multi_t *t, const std::string &k, const void *v) {
  vl_desc_t d = key_desc(k);
  return _vl_insert_desc_multi(&d, v, t);
}
uint16_t u16(const void *row) {
  uint16_t v;
  memcpy(&v, row, 2);
  return v;
}
const unsigned char *U(const std::string &s) { return reinterpret_cast<const unsigned char *>(s.c_str()); }

// The writer for the current data size: every byte as two hex digits.
uint32_t g_size = 2;
int write_hex(void *stream, const void *row) {
  for (uint32_t i = 0; i < g_size; ++i) fprintf(static_cast<FILE *>(stream), "%02x", static_cast<const unsigned char *>(row)[i]);
  return 0;
}

// key -> row ("" for flags only, which answers the default row).
using Model = std::map<std::string, std::string>;

// Every key of the model and every string over the alphabet answer as the
// model says, through each walk. `all_bytes`: every single byte counts as a
// character (a one-byte tree once printed or compressed).
void expect_model(const multi_t *t, const Model &m, bool all_bytes) {
  const std::string def(g_size, '\0');
  for (unsigned a = 0; a < 256; ++a)
    for (const char *tail : {"", "\x81", "\x82\x80", "\x81\x82\x80"}) {
      std::string s = std::string(1, static_cast<char>(a)) + tail;
      std::string hit;  // the key that is a prefix of s
      for (size_t n = 1; n <= s.size() && hit.empty(); ++n)
        if (m.count(s.substr(0, n)) || (n == 1 && all_bytes)) hit = s.substr(0, n);
      SCOPED_TRACE(testing::PrintToString(s));
      ErrRec e;
      int32_t n = -5;
      const void *row = _vl_retrieve_text_multi(U(s), t, &n, &e);
      ASSERT_EQ(row != nullptr, !hit.empty());
      ASSERT_EQ(e.vl_errno, hit.empty() ? 1u : 0u);
      ASSERT_EQ(_vl_retrieve_text_multi_nv(U(s), t, &e), static_cast<int>(hit.size()));
      if (hit.empty()) continue;
      std::string want = m.count(hit) && !m.at(hit).empty() ? m.at(hit) : def;
      ASSERT_EQ(std::string(static_cast<const char *>(row), g_size), want);
      ASSERT_EQ(n, static_cast<int32_t>(hit.size()));
      ASSERT_EQ(_vl_retrieve_text_multi_nl(U(s), t, &e), row);
      ASSERT_EQ(_vl_retrieve_text_multi_limit_nl(U(s), t, n, &e), row);
      vl_desc_t d = key_desc(hit);
      ASSERT_EQ(_vl_retrieve_desc_multi(&d, t), row);
      if (n > 1) {
        ASSERT_EQ(_vl_retrieve_text_multi_limit(U(s), t, n - 1, &n, &e), nullptr);
        ASSERT_EQ(e.vl_errno, 7u);
      }
      const bool wide = static_cast<int>(hit.size()) >= t->min_length && hit[0] != 0;
      ASSERT_TRUE(!wide || _vl_retrieve_wchar_multi_nl(&e, _vl_desc_to_vl_wchar(&d), t) == row);
    }
}

}  // namespace

TEST(MultiCreate, Flags) {  // the row widths of every data size: the property test below
  Tree t(_vl_create_multi(2, 2, "\xEF\xBE"));
  EXPECT_EQ(std::tuple(t->tree_flags, u16(t->default_data)), std::tuple(3u, 0xBEEF));  // bit 0 forced on, the rest kept
}

// Random keys over a small alphabet, so that prefixes clash often: an insert
// fails exactly when a key is a proper prefix of another, the last value
// wins, and every walk agrees with the model, before and after printing,
// reading back and compressing.
TEST(MultiProperty, RandomTreesAgreeWithModelAndRoundTrip) {
  std::mt19937 rng(12345);
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    g_size = 1 + rng() % 6;
    Tree t = make_tree(g_size);
    Model m;
    const unsigned maxlen = round % 8 == 7 ? 1 : 4;
    for (int k = 0, keys = 1 + rng() % 200; k < keys; ++k) {
      std::string key;
      for (unsigned i = 0, len = 1 + rng() % maxlen; i < len; ++i) key += static_cast<char>(0x80 + rng() % (i ? 3 : 6));
      std::string v(g_size, '\0');
      for (auto &x : v) x = static_cast<char>(rng() % 3);
      const bool flags_only = rng() % 4 == 0;
      bool clash = false;
      for (const auto &[old, row] : m)
        clash |= old.size() != key.size() && old.compare(0, std::min(old.size(), key.size()), key, 0, std::min(old.size(), key.size())) == 0;
      ASSERT_EQ(insert(t.get(), key, flags_only ? nullptr : v.data()), clash ? -1 : 0);
      if (!clash) m[key] = flags_only && !m.count(key) ? "" : flags_only ? m[key] : v;
    }
    size_t lo = 4, hi = 0;
    for (const auto &kv : m) lo = std::min(lo, kv.first.size()), hi = std::max(hi, kv.first.size());
    EXPECT_EQ(std::tuple(_vl_multi_min_length(t.get()), _vl_multi_max_length(t.get())), std::tuple(int(lo), int(hi)));
    expect_model(t.get(), m, false);
    for (bool compress : {false, true}) {
      ASSERT_TRUE(!compress || _vl_compress_multi(t.get()) == 0);
      const std::string text = vlstest::print_tree(t.get(), write_hex);
      expect_model(t.get(), m, hi == 1);
      int rc, err;
      Tree back(vlstest::scan_tree(text, g_size, 4, vlstest::read_bytes, &rc, &err));
      ASSERT_EQ(rc, 0) << err << "\n" << text;
      EXPECT_EQ((back->tree_flags & 2u) != 0, compress);
      expect_model(back.get(), m, hi == 1);
      EXPECT_EQ(vlstest::print_tree(back.get(), write_hex), text);
    }
  }
  g_size = 2;
}

TEST(MultiInsert, BadKeysAndArrayCounts) {
  Tree t = make_tree();
  vl_desc_t none{0, {}}, five{5, {1, 2, 3, 4}};
  EXPECT_EQ(_vl_insert_desc_multi(&none, nullptr, t.get()) + _vl_insert_desc_multi(&five, nullptr, t.get()), -2);
  ASSERT_EQ(insert(t.get(), "\xA1\xA2", nullptr), 0);
  for (const vl_desc_t &d : {none, five, desc({0xA1}), desc({0xA1, 0xA2, 0x41}), desc({0xA2, 0xA2})})
    EXPECT_EQ(_vl_retrieve_desc_multi(&d, t.get()), nullptr) << d.length;
  int32_t data = -1, flags = -1, offsets = -1;
  _vl_multi_node_count(t.get(), &data, &flags, &offsets);
  EXPECT_EQ(std::tuple(data, flags, offsets), std::tuple(0, 2, 1));  // flags: root and child
  EXPECT_EQ(_vl_compress_multi(nullptr), 0);
}

// Two rows that differ only in the slack behind data size 3 are shared.
TEST(MultiCompress, DataComparedOverDataSizeOnly) {
  Tree t = make_tree(3);
  ASSERT_EQ(insert(t.get(), "\x81\x40", "\1\2\3"), 0);
  ASSERT_EQ(insert(t.get(), "\x82\x40", "\1\2\3"), 0);
  t->root->next[1]->data[(0x40 << 2) + 3] = 0x77;
  ASSERT_EQ(_vl_compress_multi(t.get()), 0);
  int32_t d, f, o;
  _vl_multi_node_count(t.get(), &d, &f, &o);
  EXPECT_EQ(d, 1);
}

TEST(MultiRetrieve, WideValueLengths) {
  Tree t = make_tree();
  insert(t.get(), std::string("\x00\x41", 2), "\5\0");
  insert(t.get(), "\x30\x42", "\6\0");
  struct Case { vl_wchar w; int want; } cases[] = {
      {0x41, 5}, {0x3042, 6}, {0x42, -1}, {0x80000000u, -1}, {0x300042, -1}};
  for (const Case &c : cases) {
    ErrRec e;
    const void *row = _vl_retrieve_wchar_multi_nl(&e, c.w, t.get());
    EXPECT_EQ(std::tuple(row ? u16(row) : -1, e.vl_errno), std::tuple(c.want, row ? 0u : 1u)) << std::hex << c.w;
  }
  ErrRec e;  // an empty tree has minimum length 4
  EXPECT_EQ(_vl_retrieve_wchar_multi_nl(&e, 0x41, make_tree().get()), nullptr);
  EXPECT_EQ(_vl_retrieve_text_multi_limit_nl(U("\x80"), t.get(), -3, &e), nullptr);
  int32_t n = -1;
  EXPECT_EQ(_vl_retrieve_text_multi_limit(U("\x30\x42"), t.get(), 0, &n, &e), nullptr);
  EXPECT_EQ((std::tuple{n, e.vl_errno}), (std::tuple{0, 7u}));
}

TEST(MultiRetrieve, LittleEndianUnitsWalkBackward) {
  Tree t = make_tree();
  insert(t.get(), "\x30\x42", "\x0A\0");
  insert(t.get(), std::string("\0\0\0\x41", 4), "\x0B\0");
  struct Case { int unit; const char *s; int limit; int want; int err; } cases[] = {
      {2, "\x42\x30", 2, 0x0A, 0}, {2, "\x42\x30", 1, -1, 7}, {2, "\x43\x31", 2, -1, 1},
      {4, "\x41\0\0\0", 4, 0x0B, 0}, {4, "\x41\0\0\0", 3, -1, 7}};
  for (const Case &c : cases) {
    conv_object cv{};
    cv.source_max_len = c.unit;
    cv.target_max_len = 4;
    const void *row = _vl_retrieve_little_endian_unicode_limit(U(std::string(c.s, c.unit)), t.get(), c.limit, &cv);
    EXPECT_EQ(std::tuple(row ? u16(row) : -1, cv.vl_errno), std::tuple(c.want, c.err)) << c.unit << " " << c.limit;
  }
}

TEST(MultiDesc, EqualityFoldingAndOffsets) {
  vl_desc_t a = desc({0xA1, 0xA2}), b = desc({0xA1, 0xA2}), c = desc({0xA1, 0xA2, 0}), z{0, {1, 2}};
  EXPECT_EQ(std::tuple(_vl_desc_eq(&a, &b), _vl_desc_eq(&a, &c), _vl_desc_to_vl_wchar(&z)), std::tuple(1, 0, 0u));
  struct Case { unsigned a, b; int32_t delta; vl_wchar want; } cases[] = {
      {0xA1, 0xFE, 3, 0xA201},    // carry into the first byte
      {0xA2, 0x01, -3, 0xA1FE},   // borrow
      {0xFF, 0xFF, 1, 0},         // overflow dropped
      {0x00, 0x00, -1, 0xFFFF},
      {0xA1, 0xFE, 0x200, 0xA3FE}};
  for (const Case &k : cases) {
    vl_desc_t d = desc({k.a, k.b}), r;
    _vl_desc_offset(&d, k.delta, &r);
    EXPECT_EQ(std::tuple(_vl_desc_to_vl_wchar(&r), r.length), std::tuple(k.want, 2u)) << k.delta;
  }
}

// The run form's worked lines, with one-byte rows.
TEST(MultiText, RunFormWorkedLines) {
  g_size = 1;
  struct Case { std::string prefix; unsigned first; std::vector<unsigned char> vals; const char *want; } cases[] = {
      // 5,5,5,5,7 from index 10: a repeat, then the 7; the root's flags all 4
      {"", 10, {5, 5, 5, 5, 7}, "1 1 1 00\n1 1\n0000110004\n0000000\n0a00100405\n0e00100107\n0000000\n"},
      // 1,2,3 from 0 then zeros; the child's flags 4,4,4 printed literally
      {"\xA0", 0, {1, 2, 3}, "\n00003001040404\n0000000\n00003001010203\n0000000\n"},
      // 1,2,2,2 literally, then the stretch up to the 9 before four equal
      {"\x80", 0, {1, 2, 2, 2, 2, 2, 9}, "\n0000400101020202\n04003001020209\n0000000\n"}};
  for (const Case &c : cases) {
    Tree t = make_tree(1);
    for (unsigned i = 0; i < c.vals.size(); ++i)
      ASSERT_EQ(insert(t.get(), c.prefix + static_cast<char>(c.first + i), &c.vals[i]), 0);
    std::string text = vlstest::print_tree(t.get(), write_hex);
    EXPECT_NE(text.find(c.want), std::string::npos) << text;
  }
  g_size = 2;
}

TEST(MultiScan, DamagedInputFailsCleanly) {
  struct Case { const char *name; std::string text; int longest; int err; } cases[] = {
      {"too long for the reader", "3 1 1 0000\n1 0\n0000000\n", 2, VL_ETOODEEP},
      {"header without line feed", "1 1 1 0000 \n1 0\n0000000\n", 4, 0},
      {"run passes entry 255", "1 1 1 0000\n1 0\nff0020010101\n0000000\n", 4, VL_ENOMEM},
      {"repeat passes entry 255", "1 1 1 0000\n1 0\nf000102004\n0000000\n", 4, VL_ENOMEM},
      {"flag run without line feed", "1 1 1 0000\n1 0\n0000100104x\n0000000\n", 4, VL_ENOMEM},
      {"node header without line feed", "1 1 1 0000\n1 0 7\n0000000\n", 4, VL_ENOMEM},
      {"truncated after a lead flag", "2 2 1 0000\n1 0\n4100100101\n0000000\n", 4, VL_ENOMEM},
      {"compressed: bad flag index", "2 2 3 0000\n1 0\n4100100101\n0000000\n1 0 5 0\n", 4, VL_ENOMEM},
      {"compressed: negative index", "1 1 3 0000\n1 0\n0000000\n1 0 -1 0\n", 4, VL_ENOMEM},
      {"compressed: bad data index", "1 1 3 0000\n1 1\n0000000\n0000000\n1 1 0 1\n", 4, VL_ENOMEM},
      {"compressed: huge counts", "1 1 3 0000\n99999999 99999999\n", 4, VL_ENOMEM},
      {"compressed: negative counts", "1 1 3 0000\n-1 0\n", 4, VL_ENOMEM},
      {"deeper than allowed", "1 1 1 0000\n1 0\n4100100101\n0000000\n1 0\n4100100101\n0000000\n1 0\n0000000\n", 1, VL_ETOODEEP},
      {"empty", "", 4, 0},
  };
  for (const Case &c : cases) {
    int rc = 0, err = -1;
    EXPECT_EQ(vlstest::scan_tree(c.text, 2, c.longest, vlstest::read_u16, &rc, &err), nullptr) << c.name;
    EXPECT_EQ(std::tuple(rc, err), std::tuple(-1, c.err)) << c.name;
  }
}

// A tree read in compressed form keeps of each data array the rows the text
// gave and those of the characters of its nodes: a character whose row no
// text gave has the default row, a row that no character has prints back
// and is what a little-endian unit that ends early reads.
TEST(MultiScan, CompressedRowsHeldAsTheTextGaveThem) {
  const std::string text =
      "2 2 3 0000\n2 2\n8100100101\n0000000\n410020010404\n0000000\n400010010500\n0000000\n100010010700\n0000000\n"
      "1 0 0 0\n1 1 1 0\n";
  int rc, err;
  Tree t(vlstest::scan_tree(text, 2, 4, vlstest::read_bytes, &rc, &err));
  ASSERT_EQ(rc, 0) << err;
  EXPECT_EQ(vlstest::print_tree(t.get(), write_hex), text);
  ErrRec e;
  for (const char *s : {"\x81\x41", "\x81\x42"}) EXPECT_EQ(u16(_vl_retrieve_text_multi_nl(U(s), t.get(), &e)), 0) << s;
  // 0x43 is where the second array's row 0x10 lies, seen from the first.
  struct Case { unsigned first; int want; } cases[] = {{0x40, 5}, {0x41, 0}, {0x43, 0}, {0x10, 0}, {0x00, 0}, {0xFF, 0}};
  for (const Case &c : cases) {
    conv_object cv{};
    cv.source_max_len = cv.target_max_len = 4;
    const unsigned char unit[4] = {static_cast<unsigned char>(c.first), 0, 0x41, 0x81};
    const void *row = _vl_retrieve_little_endian_unicode_limit(unit, t.get(), 4, &cv);
    EXPECT_EQ(std::tuple(row ? u16(row) : -1, cv.vl_errno), std::tuple(c.want, 0u)) << c.first;
  }
}

// A run that stores the lead 0x41 twice counts it twice in next_count.
TEST(MultiScan, RunReWritingAnEntryCountsTwice) {
  int rc, err;
  Tree t(vlstest::scan_tree("2 2 1 0000\n1 0\n4100100101\n4100100101\n0000000\n1 0\n4200100104\n0000000\n", 2, 4,
                            vlstest::read_u16, &rc, &err));
  ASSERT_EQ(rc, 0) << err;
  EXPECT_EQ(t->root->next_count, 2);
  ErrRec e;
  EXPECT_EQ(_vl_retrieve_text_multi_nv(U("\x41\x42"), t.get(), &e), 2);
}
