// Byte tree: building, walking, compression, the textual form and its
// reader's defences against damaged input.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include <vls/vlscv.h>

#include "vlstest.h"

using vlstest::desc;

namespace {

struct ErrRec {
  uint32_t vl_errno = 0;
};

struct TreeDeleter {
  void operator()(multi_t *t) const { _vl_free_multi(t); }
};
using Tree = std::unique_ptr<multi_t, TreeDeleter>;

Tree make_tree(uint32_t data_size = 2) {
  const unsigned char zero[16] = {};
  return Tree(_vl_create_multi(data_size, 0, zero));
}

uint16_t u16(const void *row) {
  uint16_t v;
  memcpy(&v, row, 2);
  return v;
}

int insert16(multi_t *t, std::initializer_list<unsigned> key, uint16_t value) {
  vl_desc_t d = desc(key);
  return _vl_insert_desc_multi(&d, &value, t);
}

// An EUC-like codeset: ASCII, and two-byte characters 0xA1..0xFE twice,
// with a value derived from the bytes.
Tree euc_tree() {
  Tree t = make_tree();
  for (unsigned b = 0; b < 0x80; ++b) insert16(t.get(), {b}, static_cast<uint16_t>(b == 'A' ? 7 : b));
  for (unsigned a = 0xA1; a <= 0xFE; ++a)
    for (unsigned b = 0xA1; b <= 0xFE; b += 3) insert16(t.get(), {a, b}, static_cast<uint16_t>(a * 3 + b % 5));
  // a three-byte group
  for (unsigned b = 0xA1; b <= 0xA4; ++b) insert16(t.get(), {0x8F, 0xB0, b}, static_cast<uint16_t>(0x1000 + b));
  return t;
}

// Every one- and two-byte key (and the three-byte group) answers alike.
void expect_same_answers(const multi_t *a, const multi_t *b) {
  ASSERT_EQ(a->max_length, b->max_length);
  ASSERT_EQ(a->min_length, b->min_length);
  for (unsigned x = 0; x < 256; ++x) {
    for (unsigned y = 0; y < 256; y += (x >= 0xA1 ? 1 : 255)) {
      unsigned char s[4] = {static_cast<unsigned char>(x), static_cast<unsigned char>(y), 0xA2, 0};
      ErrRec ea, eb;
      int32_t na = -5, nb = -5;
      void *ra = _vl_retrieve_text_multi(s, a, &na, &ea);
      void *rb = _vl_retrieve_text_multi(s, b, &nb, &eb);
      ASSERT_EQ(ra == nullptr, rb == nullptr) << x << " " << y;
      ASSERT_EQ(na, nb);
      ASSERT_EQ(ea.vl_errno, eb.vl_errno);
      if (ra) { ASSERT_EQ(memcmp(ra, rb, a->data_size), 0) << x << " " << y; }
      vl_desc_t d2 = desc({x, y});
      void *da = _vl_retrieve_desc_multi(&d2, a);
      void *db = _vl_retrieve_desc_multi(&d2, b);
      ASSERT_EQ(da == nullptr, db == nullptr);
      if (da) { ASSERT_EQ(memcmp(da, db, a->data_size), 0); }
    }
  }
  for (vl_wchar w : {0x41u, 0xA1A1u, 0xA1A2u, 0x8FB0A3u, 0xFFFFFFFFu, 0u}) {
    ErrRec ea, eb;
    void *ra = _vl_retrieve_wchar_multi_nl(&ea, w, a);
    void *rb = _vl_retrieve_wchar_multi_nl(&eb, w, b);
    ASSERT_EQ(ra == nullptr, rb == nullptr) << std::hex << w;
    if (ra) { ASSERT_EQ(memcmp(ra, rb, a->data_size), 0); }
  }
}

}  // namespace

TEST(MultiCreate, RecordsSizeShiftAndDefault) {
  struct Case {
    uint32_t size;
    int shift;
  } cases[] = {{1, 0}, {2, 1}, {3, 2}, {4, 2}, {5, 3}, {8, 3}, {9, 4}};
  for (auto c : cases) {
    Tree t = make_tree(c.size);
    ASSERT_TRUE(t);
    EXPECT_EQ(t->data_shift, c.shift) << c.size;
    EXPECT_EQ(t->max_length, 0);
    EXPECT_EQ(t->min_length, 4);
    EXPECT_EQ(t->tree_flags & 1u, 1u);
    EXPECT_NE(t->root->flags, nullptr);
  }
  const uint16_t def = 0xBEEF;
  Tree t(_vl_create_multi(2, 2, &def));
  EXPECT_EQ(t->tree_flags, 3u);  // bit 0 forced on, the rest kept
  EXPECT_EQ(u16(t->default_data), 0xBEEF);
}

TEST(MultiInsert, PrefixConflictsFailEitherWay) {
  Tree t = make_tree();
  EXPECT_EQ(insert16(t.get(), {0xA1}, 1), 0);
  EXPECT_EQ(insert16(t.get(), {0xA1, 0xA2}, 2), -1);
  Tree u = make_tree();
  EXPECT_EQ(insert16(u.get(), {0xA1, 0xA2}, 2), 0);
  EXPECT_EQ(insert16(u.get(), {0xA1}, 1), -1);
  EXPECT_EQ(insert16(u.get(), {0xA1, 0xA2, 0xA3}, 3), -1);
}

TEST(MultiInsert, LastValueWinsAndLengthsTrackKeys) {
  Tree t = make_tree();
  EXPECT_EQ(insert16(t.get(), {0xA1, 0xA2}, 2), 0);
  EXPECT_EQ(insert16(t.get(), {0xA1, 0xA2}, 9), 0);
  vl_desc_t d = desc({0xA1, 0xA2});
  EXPECT_EQ(u16(_vl_retrieve_desc_multi(&d, t.get())), 9);
  EXPECT_EQ(t->max_length, 2);
  EXPECT_EQ(t->min_length, 2);
  insert16(t.get(), {0x41}, 1);
  insert16(t.get(), {0x8F, 0xA1, 0xA1, 0xA1}, 1);
  EXPECT_EQ(_vl_multi_max_length(t.get()), 4);
  EXPECT_EQ(_vl_multi_min_length(t.get()), 1);
  vl_desc_t bad{0, {}};
  EXPECT_EQ(_vl_insert_desc_multi(&bad, nullptr, t.get()), -1);
  vl_desc_t big{5, {1, 2, 3, 4}};
  EXPECT_EQ(_vl_insert_desc_multi(&big, nullptr, t.get()), -1);
}

TEST(MultiInsert, NullValueSetsFlagsOnlyAndCountsArrays) {
  Tree t = make_tree();
  vl_desc_t d = desc({0xA1, 0xA2});
  ASSERT_EQ(_vl_insert_desc_multi(&d, nullptr, t.get()), 0);
  // flags but no data: every character gives the default value
  EXPECT_EQ(_vl_retrieve_desc_multi(&d, t.get()), t->default_data);
  int32_t data = -1, flags = -1, offsets = -1;
  _vl_multi_node_count(t.get(), &data, &flags, &offsets);
  EXPECT_EQ(data, 0);
  EXPECT_EQ(flags, 2);  // root and child
  EXPECT_EQ(offsets, 1);
}

TEST(MultiRetrieve, DescriptorNeedsExactLength) {
  Tree t = euc_tree();
  vl_desc_t one = desc({0xA1});
  vl_desc_t two = desc({0xA1, 0xA1});
  vl_desc_t three = desc({0xA1, 0xA1, 0x41});
  vl_desc_t none{0, {}};
  EXPECT_EQ(_vl_retrieve_desc_multi(&one, t.get()), nullptr);
  EXPECT_NE(_vl_retrieve_desc_multi(&two, t.get()), nullptr);
  EXPECT_EQ(_vl_retrieve_desc_multi(&three, t.get()), nullptr);
  EXPECT_EQ(_vl_retrieve_desc_multi(&none, t.get()), nullptr);
  vl_desc_t a = desc({'A'});
  EXPECT_EQ(u16(_vl_retrieve_desc_multi(&a, t.get())), 7);
}

TEST(MultiRetrieve, TextWalksReportBytesAndErrors) {
  Tree t = euc_tree();
  const unsigned char good[] = {0xA1, 0xA4, 0};
  const unsigned char bad_trail[] = {0xA1, 0x20, 0};
  const unsigned char bad_lead[] = {0x80, 0};
  ErrRec e;
  int32_t n = -1;
  EXPECT_EQ(u16(_vl_retrieve_text_multi(good, t.get(), &n, &e)), 0xA1 * 3 + 0xA4 % 5);
  EXPECT_EQ(n, 2);
  EXPECT_EQ(e.vl_errno, 0u);
  EXPECT_EQ(_vl_retrieve_text_multi(bad_trail, t.get(), &n, &e), nullptr);
  EXPECT_EQ(n, 2);
  EXPECT_EQ(e.vl_errno, 1u);
  e.vl_errno = 0;
  EXPECT_EQ(_vl_retrieve_text_multi_nl(bad_lead, t.get(), &e), nullptr);
  EXPECT_EQ(e.vl_errno, 1u);
  e.vl_errno = 0;
  EXPECT_EQ(_vl_retrieve_text_multi_nv(good, t.get(), &e), 2);
  EXPECT_EQ(_vl_retrieve_text_multi_nv(bad_lead, t.get(), &e), 0);
  const unsigned char three[] = {0x8F, 0xB0, 0xA3};
  EXPECT_EQ(u16(_vl_retrieve_text_multi_nl(three, t.get(), &e)), 0x10A3);
}

TEST(MultiRetrieve, LimitRunsOutWithSeven) {
  Tree t = euc_tree();
  const unsigned char two[] = {0xA1, 0xA1};
  ErrRec e;
  int32_t n = -1;
  EXPECT_EQ(_vl_retrieve_text_multi_limit(two, t.get(), 1, &n, &e), nullptr);
  EXPECT_EQ(n, 1);
  EXPECT_EQ(e.vl_errno, 7u);
  e.vl_errno = 0;
  n = -1;
  EXPECT_EQ(_vl_retrieve_text_multi_limit(two, t.get(), 0, &n, &e), nullptr);
  EXPECT_EQ(n, 0);
  EXPECT_EQ(e.vl_errno, 7u);
  e.vl_errno = 0;
  EXPECT_NE(_vl_retrieve_text_multi_limit(two, t.get(), 2, &n, &e), nullptr);
  EXPECT_EQ(n, 2);
  EXPECT_EQ(e.vl_errno, 0u);
  EXPECT_EQ(_vl_retrieve_text_multi_limit_nl(two, t.get(), -3, &e), nullptr);
  EXPECT_EQ(e.vl_errno, 7u);
  const unsigned char bad[] = {0xA1, 0x20};
  e.vl_errno = 0;
  EXPECT_EQ(_vl_retrieve_text_multi_limit_nl(bad, t.get(), 4, &e), nullptr);
  EXPECT_EQ(e.vl_errno, 1u);
}

TEST(MultiRetrieve, WideValueUsesMinimumLength) {
  Tree t = euc_tree();
  ErrRec e;
  EXPECT_EQ(u16(_vl_retrieve_wchar_multi_nl(&e, 0x41, t.get())), 7);
  EXPECT_NE(_vl_retrieve_wchar_multi_nl(&e, 0xA1A1, t.get()), nullptr);
  EXPECT_EQ(u16(_vl_retrieve_wchar_multi_nl(&e, 0x8FB0A2, t.get())), 0x10A2);
  EXPECT_EQ(e.vl_errno, 0u);
  EXPECT_EQ(_vl_retrieve_wchar_multi_nl(&e, 0xA1, t.get()), nullptr);  // a lead byte alone
  EXPECT_EQ(e.vl_errno, 1u);
  e.vl_errno = 0;
  EXPECT_EQ(_vl_retrieve_wchar_multi_nl(&e, 0x80000000u, t.get()), nullptr);
  EXPECT_EQ(e.vl_errno, 1u);

  // With a shortest character of two bytes, 0x41 is the bytes 0x00 0x41.
  Tree u = make_tree();
  insert16(u.get(), {0x00, 0x41}, 5);
  insert16(u.get(), {0x30, 0x42}, 6);
  e.vl_errno = 0;
  EXPECT_EQ(u16(_vl_retrieve_wchar_multi_nl(&e, 0x41, u.get())), 5);
  EXPECT_EQ(u16(_vl_retrieve_wchar_multi_nl(&e, 0x3042, u.get())), 6);
  // An empty tree has minimum length 4: 0x41 is 00 00 00 41, not present.
  Tree empty = make_tree();
  EXPECT_EQ(_vl_retrieve_wchar_multi_nl(&e, 0x41, empty.get()), nullptr);
  EXPECT_EQ(e.vl_errno, 1u);
}

TEST(MultiRetrieve, LittleEndianUnitsWalkBackward) {
  Tree t = make_tree();
  insert16(t.get(), {0x30, 0x42}, 0x0A);  // U+3042 as big-endian bytes
  insert16(t.get(), {0x00, 0x00, 0x00, 0x41}, 0x0B);
  conv_object cv{};
  cv.source_max_len = 2;
  cv.target_max_len = 4;
  const unsigned char le2[] = {0x42, 0x30};
  EXPECT_EQ(u16(_vl_retrieve_little_endian_unicode_limit(le2, t.get(), 2, &cv)), 0x0A);
  EXPECT_EQ(_vl_retrieve_little_endian_unicode_limit(le2, t.get(), 1, &cv), nullptr);
  EXPECT_EQ(cv.vl_errno, 7);
  cv.vl_errno = 0;
  const unsigned char bad[] = {0x43, 0x31};
  EXPECT_EQ(_vl_retrieve_little_endian_unicode_limit(bad, t.get(), 2, &cv), nullptr);
  EXPECT_EQ(cv.vl_errno, 1);
  cv.vl_errno = 0;
  cv.source_max_len = 4;
  const unsigned char le4[] = {0x41, 0, 0, 0};
  EXPECT_EQ(u16(_vl_retrieve_little_endian_unicode_limit(le4, t.get(), 4, &cv)), 0x0B);
  EXPECT_EQ(_vl_retrieve_little_endian_unicode_limit(le4, t.get(), 3, &cv), nullptr);
  EXPECT_EQ(cv.vl_errno, 7);
}

TEST(MultiDesc, EqualityFoldingAndOffsets) {
  vl_desc_t a = desc({0xA1, 0xA2}), b = desc({0xA1, 0xA2}), c = desc({0xA1, 0xA2, 0});
  EXPECT_EQ(_vl_desc_eq(&a, &b), 1);
  EXPECT_EQ(_vl_desc_eq(&a, &c), 0);
  EXPECT_EQ(_vl_desc_to_vl_wchar(&a), 0xA1A2u);
  vl_desc_t z{0, {1, 2}};
  EXPECT_EQ(_vl_desc_to_vl_wchar(&z), 0u);
  vl_desc_t r;
  vl_desc_t d = desc({0xA1, 0xFE});
  _vl_desc_offset(&d, 3, &r);
  EXPECT_EQ(_vl_desc_to_vl_wchar(&r), 0xA201u);  // carry into the first byte
  _vl_desc_offset(&r, -3, &r);
  EXPECT_EQ(_vl_desc_to_vl_wchar(&r), 0xA1FEu);
  vl_desc_t top = desc({0xFF, 0xFF});
  _vl_desc_offset(&top, 1, &r);
  EXPECT_EQ(_vl_desc_to_vl_wchar(&r), 0u);  // overflow dropped
  EXPECT_EQ(r.length, 2u);
  vl_desc_t low = desc({0x00, 0x00});
  _vl_desc_offset(&low, -1, &r);
  EXPECT_EQ(_vl_desc_to_vl_wchar(&r), 0xFFFFu);
  _vl_desc_offset(&d, 0x200, &r);
  EXPECT_EQ(_vl_desc_to_vl_wchar(&r), 0xA3FEu);
}

TEST(MultiCompress, SharesEqualArraysAndAnswersAlike) {
  Tree t = euc_tree();
  Tree ref = euc_tree();
  int32_t d0, f0, o0;
  _vl_multi_node_count(t.get(), &d0, &f0, &o0);
  ASSERT_EQ(_vl_compress_multi(t.get()), 0);
  int32_t d1, f1, o1;
  _vl_multi_node_count(t.get(), &d1, &f1, &o1);
  EXPECT_EQ(t->tree_flags & 2u, 2u);
  EXPECT_LT(f1, f0);  // the 94 lead nodes share one flag array
  EXPECT_LE(d1, d0);
  EXPECT_EQ(o1, o0);
  expect_same_answers(t.get(), ref.get());
  EXPECT_EQ(_vl_compress_multi(nullptr), 0);
}

TEST(MultiCompress, DataComparedOverDataSizeOnly) {
  // data size 3: rows of 4 bytes, compared over 3
  const unsigned char def[3] = {0, 0, 0};
  Tree t(_vl_create_multi(3, 0, def));
  EXPECT_EQ(t->data_shift, 2);
  const unsigned char v[3] = {1, 2, 3};
  vl_desc_t a = desc({0x81, 0x40}), b = desc({0x82, 0x40});
  ASSERT_EQ(_vl_insert_desc_multi(&a, v, t.get()), 0);
  ASSERT_EQ(_vl_insert_desc_multi(&b, v, t.get()), 0);
  // dirty the slack byte of one row; it must not prevent sharing
  t->root->next[1]->data[(0x40 << 2) + 3] = 0x77;
  ASSERT_EQ(_vl_compress_multi(t.get()), 0);
  int32_t d, f, o;
  _vl_multi_node_count(t.get(), &d, &f, &o);
  EXPECT_EQ(d, 1);
}

TEST(MultiCompress, OneByteTreeTreatsEveryByteAsCharacter) {
  Tree t = make_tree();
  insert16(t.get(), {0x41}, 1);
  insert16(t.get(), {0x42}, 2);
  ErrRec e;
  const unsigned char x[] = {0x99};
  EXPECT_EQ(_vl_retrieve_text_multi_nl(x, t.get(), &e), nullptr);
  ASSERT_EQ(_vl_compress_multi(t.get()), 0);
  const void *row = _vl_retrieve_text_multi_nl(x, t.get(), &e);
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(u16(row), 0);
  Tree u = make_tree();
  insert16(u.get(), {0x41}, 1);
  vlstest::print_tree(u.get(), vlstest::write_u16);  // printing does the same
  EXPECT_NE(_vl_retrieve_text_multi_nl(x, u.get(), &e), nullptr);
}

TEST(MultiText, RunFormWorkedExamples) {
  // entries 5,5,5,5,7 from index 10
  const unsigned char zero = 0;
  Tree t(_vl_create_multi(1, 0, &zero));
  unsigned char vals[] = {5, 5, 5, 5, 7};
  for (unsigned i = 0; i < 5; ++i) {
    vl_desc_t d = desc({10 + i});
    ASSERT_EQ(_vl_insert_desc_multi(&d, &vals[i], t.get()), 0);
  }
  std::string text = vlstest::print_tree(t.get(), vlstest::write_bytes1);
  // header, root node, its flags (all 4 once printed), its data
  EXPECT_EQ(text,
            "1 1 1 00\n"
            "1 1\n"
            "0000110004\n0000000\n"
            "0a00100405\n0e00100107\n"
            "0000000\n")
      << text;

  // entries 1,2,3 from index 0, then zeros
  Tree u(_vl_create_multi(1, 0, &zero));
  unsigned char v3[] = {1, 2, 3};
  for (unsigned i = 0; i < 3; ++i) {
    vl_desc_t d = desc({0xA0, i});
    ASSERT_EQ(_vl_insert_desc_multi(&d, &v3[i], u.get()), 0);
  }
  text = vlstest::print_tree(u.get(), vlstest::write_bytes1);
  EXPECT_NE(text.find("\n00003001010203\n0000000\n"), std::string::npos) << text;
  // the child's flags: 4,4,4 from 0 are a run of three, printed literally
  EXPECT_NE(text.find("\n00003001040404\n"), std::string::npos) << text;
}

TEST(MultiText, LiteralStretchStopsBeforeFourEqual) {
  const unsigned char zero = 0;
  Tree t(_vl_create_multi(1, 0, &zero));
  unsigned char vals[] = {1, 2, 2, 2, 2, 2, 9};
  for (unsigned i = 0; i < sizeof vals; ++i) {
    vl_desc_t d = desc({0x80, i});
    ASSERT_EQ(_vl_insert_desc_multi(&d, &vals[i], t.get()), 0);
  }
  std::string text = vlstest::print_tree(t.get(), vlstest::write_bytes1);
  // 1,2,2,2 literally; then 2,2 (covered as a literal up to the 9)
  EXPECT_NE(text.find("\n0000400101020202\n04003001020209\n0000000\n"), std::string::npos) << text;
}

TEST(MultiText, RoundTripsInBothForms) {
  for (bool compress : {false, true}) {
    Tree t = euc_tree();
    if (compress) { ASSERT_EQ(_vl_compress_multi(t.get()), 0); }
    std::string text = vlstest::print_tree(t.get(), vlstest::write_u16);
    int rc = -9, err = -9;
    Tree back(vlstest::scan_tree(text, 2, 4, vlstest::read_u16, &rc, &err));
    ASSERT_EQ(rc, 0) << err;
    EXPECT_EQ(err, 0);
    EXPECT_EQ((back->tree_flags & 2u) != 0, compress);
    Tree ref = euc_tree();
    expect_same_answers(back.get(), ref.get());
    // printing the read tree gives the same text
    EXPECT_EQ(vlstest::print_tree(back.get(), vlstest::write_u16), text);
  }
}

TEST(MultiText, RandomTreesRoundTrip) {
  std::mt19937 rng(12345);
  for (int round = 0; round < 20; ++round) {
    uint32_t size = 1 + rng() % 6;
    const unsigned char zero[8] = {};
    Tree t(_vl_create_multi(size, 0, zero));
    int keys = 1 + rng() % 300;
    for (int k = 0; k < keys; ++k) {
      unsigned len = 1 + rng() % 3;
      vl_desc_t d{len, {}};
      for (unsigned i = 0; i < len; ++i) d.bytes[i] = static_cast<unsigned char>(0x80 + (rng() % 6) * (i ? 1 : 20));
      unsigned char v[8];
      for (auto &x : v) x = static_cast<unsigned char>(rng() % 3);
      _vl_insert_desc_multi(&d, (rng() % 4) ? v : nullptr, t.get());  // conflicts just fail
    }
    if (round % 2) {
      ASSERT_EQ(_vl_compress_multi(t.get()), 0);
    }
    // a writer for this size: bytes as hex
    static uint32_t cur_size;
    cur_size = size;
    vl_multi_writer w = [](void *stream, const void *row) -> int {
      for (uint32_t i = 0; i < cur_size; ++i) fprintf(static_cast<FILE *>(stream), "%02x", static_cast<const unsigned char *>(row)[i]);
      return 0;
    };
    std::string text = vlstest::print_tree(t.get(), w);
    int rc, err;
    Tree back(vlstest::scan_tree(text, size, 4, vlstest::read_bytes, &rc, &err));
    ASSERT_EQ(rc, 0) << text;
    EXPECT_EQ(vlstest::print_tree(back.get(), w), text);
  }
}

TEST(MultiScan, DamagedInputFailsCleanly) {
  struct Case {
    const char *name;
    std::string text;
    int longest;
    int err;
  } cases[] = {
      {"too long for the reader", "3 1 1 0000\n1 0\n0000000\n", 2, 21},
      {"header without line feed", "1 1 1 0000 \n1 0\n0000000\n", 4, 0},
      {"run passes entry 255", "1 1 1 0000\n1 0\nff0020010101\n0000000\n", 4, 3},
      {"repeat passes entry 255", "1 1 1 0000\n1 0\nf000102004\n0000000\n", 4, 3},
      {"flag run without line feed", "1 1 1 0000\n1 0\n0000100104x\n0000000\n", 4, 3},
      {"node header without line feed", "1 1 1 0000\n1 0 7\n0000000\n", 4, 3},
      {"truncated after a lead flag", "2 2 1 0000\n1 0\n4100100101\n0000000\n", 4, 3},
      {"compressed: bad flag index", "2 2 3 0000\n1 0\n4100100101\n0000000\n1 0 5 0\n", 4, 3},
      {"compressed: negative index", "1 1 3 0000\n1 0\n0000000\n1 0 -1 0\n", 4, 3},
      {"compressed: bad data index", "1 1 3 0000\n1 1\n0000000\n0000000\n1 1 0 1\n", 4, 3},
      {"compressed: huge counts", "1 1 3 0000\n99999999 99999999\n", 4, 3},
      {"compressed: negative counts", "1 1 3 0000\n-1 0\n", 4, 3},
      {"deeper than allowed", "1 1 1 0000\n1 0\n4100100101\n0000000\n1 0\n4100100101\n0000000\n1 0\n0000000\n", 1, 21},
      {"empty", "", 4, 0},
  };
  for (const auto &c : cases) {
    int rc = 0, err = -1;
    multi_t *t = vlstest::scan_tree(c.text, 2, c.longest, vlstest::read_u16, &rc, &err);
    EXPECT_EQ(t, nullptr) << c.name;
    EXPECT_EQ(rc, -1) << c.name;
    EXPECT_EQ(err, c.err) << c.name;
  }
}

TEST(MultiScan, RunReWritingAnEntryCountsTwice) {
  // The lead 0x41 is stored by two runs; the node's child count says 2.
  std::string text =
      "2 2 1 0000\n1 0\n4100100101\n4100100101\n0000000\n"
      "1 0\n4200100104\n0000000\n";
  int rc, err;
  Tree t(vlstest::scan_tree(text, 2, 4, vlstest::read_u16, &rc, &err));
  ASSERT_EQ(rc, 0) << err;
  EXPECT_EQ(t->root->next_count, 2);
  ErrRec e;
  const unsigned char s[] = {0x41, 0x42};
  EXPECT_EQ(_vl_retrieve_text_multi_nv(s, t.get(), &e), 2);
}
