// Stream character I/O: whole characters and lines read from and written to
// streams (temporary files through the default host slots) and the
// caller's byte functions.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <vls/vlsio.h>
#include <vls/vlsmbwc.h>

#include "lcofix.h"
#include "threelocales.h"
#include "vlstest.h"

namespace {


using vlstest::B;

class Io : public vlstest::ThreeLocales {
 protected:
  void TearDown() override {
    for (FILE *f : open_) fclose(f);
  }

  // A stream reading `content`.
  FILE *input(const std::string &content) {
    std::string path = dir_.write("in" + std::to_string(count_++), content);
    FILE *f = fopen(path.c_str(), "rb");
    if (f) open_.push_back(f);
    return f;
  }
  // A stream for writing, and its path.
  FILE *output(std::string *path) {
    *path = dir_.file("out" + std::to_string(count_++));
    FILE *f = fopen(path->c_str(), "wb");
    if (f) open_.push_back(f);
    return f;
  }
  std::string contents(FILE *f, const std::string &path) {
    fflush(f);
    return vlstest::read_file(path);
  }

  vlstest::TempDir dir_;
  std::vector<FILE *> open_;
  int count_ = 0;
};


// A byte reader over a buffer.
struct Source {
  std::string bytes;
  size_t at = 0;
  static int read(void *arg) {
    auto *s = static_cast<Source *>(arg);
    return s->at < s->bytes.size() ? static_cast<unsigned char>(s->bytes[s->at++]) : -1;
  }
};

// A byte writer into a buffer that fails after `room` bytes.
struct Sink {
  std::string bytes;
  size_t room = 100;
  static int write(int byte, void *arg) {
    auto *s = static_cast<Sink *>(arg);
    if (s->bytes.size() >= s->room) return -1;
    s->bytes.push_back(static_cast<char>(byte));
    return 0;
  }
};

// ---- line feed test and adapters ---------------------------------------------------

TEST(IsMbNl, FixedFormPerLength) {
  EXPECT_EQ(ismbnl("\n", 1, 1), 1);
  EXPECT_EQ(ismbnl(B({0, 10}).data(), 2, 2), 1);
  EXPECT_EQ(ismbnl(B({0, 0, 10}).data(), 3, 3), 1);
  EXPECT_EQ(ismbnl(B({0, 0, 0, 10}).data(), 4, 4), 1);
  EXPECT_EQ(ismbnl("\n", 2, 1), 0);               // lengths differ
  EXPECT_EQ(ismbnl(B({0, 10}).data(), 1, 2), 0);  // lengths differ
  EXPECT_EQ(ismbnl(B({1, 10}).data(), 2, 2), 0);
  EXPECT_EQ(ismbnl(B({10, 0}).data(), 2, 2), 0);
  EXPECT_EQ(ismbnl("a", 1, 1), 0);
}

TEST_F(Io, LocalAdapters) {
  FILE *in = input("ab");
  ASSERT_NE(in, nullptr);
  EXPECT_EQ(local_fgetc(in), 'a');
  EXPECT_EQ(local_fgetc(in), 'b');
  EXPECT_EQ(local_fgetc(in), -1);
  std::string path;
  FILE *out = output(&path);
  EXPECT_EQ(local_fputc(0x1E9, out), 0);  // the low byte
  EXPECT_EQ(contents(out, path), "\xE9");
  EXPECT_EQ(local_fputc('x', in), -1);  // read-only stream: short write
}

// ---- reading one character -----------------------------------------------------------

TEST_F(Io, GetmbThroughByteReader) {
  char c[8];
  int32_t len = 99;
  Source s{"a\xB0\xA1"};
  EXPECT_EQ(vl_getmb(mb, c, Source::read, &s, &len), 0);
  EXPECT_EQ(len, 1);
  EXPECT_EQ(c[0], 'a');
  EXPECT_EQ(vl_getmb(mb, c, Source::read, &s, &len), 0);
  EXPECT_EQ(len, 2);
  EXPECT_EQ(std::string(c, 2), "\xB0\xA1");
  EXPECT_EQ(mb->vl_errno, 0u);
  EXPECT_EQ(vl_getmb(mb, c, Source::read, &s, &len), -1);
  EXPECT_EQ(len, 0);
  EXPECT_EQ(mb->vl_errno, 16u);
}

TEST_F(Io, GetmbEndInsideCharacterAndInvalid) {
  char c[8];
  int32_t len = 99;
  Source cut{"\xB0"};
  EXPECT_EQ(vl_getmb(mb, c, Source::read, &cut, &len), -1);
  EXPECT_EQ(mb->vl_errno, 7u);
  EXPECT_EQ(len, 1);
  Source bad{"\xB0\x41z"};
  EXPECT_EQ(vl_getmb(mb, c, Source::read, &bad, &len), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  EXPECT_EQ(len, 2);
  EXPECT_EQ(bad.at, 2u);  // nothing pushed back, nothing read beyond
  Source bad1{"\x80"};
  EXPECT_EQ(vl_getmb(mb, c, Source::read, &bad1, &len), -1);
  EXPECT_EQ(len, 1);
  Source w{B({0, 0x41})};
  EXPECT_EQ(vl_getmb(w2, c, Source::read, &w, &len), 0);
  EXPECT_EQ(len, 2);
}

TEST_F(Io, FgetmbAndFgetwcAtEndOfFileInsideCharacter) {
  char c[8];
  FILE *a = input("\xB0");
  EXPECT_EQ(vl_full_fgetmb(mb, c, a), -1);
  EXPECT_EQ(mb->vl_errno, 16u);  // end of file tested after vl_getmb stored 7
  mb->vl_errno = 0;
  FILE *b = input("\xB0");
  EXPECT_EQ(vl_full_fgetwc(mb, b), -1);
  EXPECT_EQ(mb->vl_errno, 7u);
}

TEST_F(Io, Fgetmb) {
  char c[8];
  FILE *f = input(std::string("a\xB0\xA1\0", 4));
  EXPECT_EQ(vl_full_fgetmb(mb, c, f), 1);
  EXPECT_EQ(vl_full_fgetmb(mb, c, f), 2);
  EXPECT_EQ(std::string(c, 2), "\xB0\xA1");
  EXPECT_EQ(vl_full_fgetmb(mb, c, f), 1);  // a NUL is one byte read
  EXPECT_EQ(c[0], 0);
  EXPECT_EQ(mb->vl_errno, 0u);
  EXPECT_EQ(vl_full_fgetmb(mb, c, f), -1);
  EXPECT_EQ(mb->vl_errno, 16u);
  mb->vl_errno = 0;
  FILE *bad = input("\xB0\x41");
  EXPECT_EQ(vl_full_fgetmb(mb, c, bad), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  FILE *w = input(B({0x30, 0x42}));
  EXPECT_EQ(vl_full_fgetmb(w2, c, w), 2);
}

TEST_F(Io, Fgetwc) {
  FILE *f = input(std::string("\xB0\xA1" "a\0", 4));
  EXPECT_EQ(vl_full_fgetwc(mb, f), 0xB0A1);
  EXPECT_EQ(vl_full_fgetwc(mb, f), 0x61);
  EXPECT_EQ(vl_full_fgetwc(mb, f), 0);  // NUL is a value
  EXPECT_EQ(mb->vl_errno, 0u);
  EXPECT_EQ(vl_full_fgetwc(mb, f), -1);
  EXPECT_EQ(mb->vl_errno, 16u);
  FILE *w = input(B({0, 0x41, 0x30, 0x42}));
  EXPECT_EQ(vl_full_fgetwc(w2, w), 0x41);
  EXPECT_EQ(vl_full_fgetwc(w2, w), 0x3042);
  FILE *s = input("\xFF");
  EXPECT_EQ(vl_full_fgetwc(sb, s), 0xFF);
  mb->vl_errno = 0;
  FILE *bad = input("\xB0\x41");
  EXPECT_EQ(vl_full_fgetwc(mb, bad), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
}

TEST_F(Io, FgetwcStreamError) {
  std::string path;
  FILE *out = output(&path);  // reading a write-only stream sets its error flag
  EXPECT_EQ(vl_full_fgetwc(mb, out), -1);
  EXPECT_EQ(mb->vl_errno, 13u);
}

int never_a_byte(void *) { return -1; }

TEST_F(Io, FgetwcSilentEnd) {
  // A reader slot that ends without end of file or error reports 17.
  void *old = _vl_get_ext_funcptr(VL_EXT_FGETC);
  _vl_set_ext_funcptr(VL_EXT_FGETC, reinterpret_cast<void *>(&never_a_byte));
  FILE *f = input("ab");
  const int32_t r = vl_full_fgetwc(mb, f);
  const uint32_t code = mb->vl_errno;
  _vl_set_ext_funcptr(VL_EXT_FGETC, old);
  EXPECT_EQ(r, -1);
  EXPECT_EQ(code, 17u);
}

// ---- writing one character -----------------------------------------------------------

TEST_F(Io, PutmbWritesNulInShortestLength) {
  Sink s;
  int32_t len = 99;
  const std::string nul = B({0, 0});
  EXPECT_EQ(vl_putmb(w2, nul.data(), -1, Sink::write, &s, &len), 0);
  EXPECT_EQ(len, 2);
  EXPECT_EQ(s.bytes, nul);
  Sink t;
  EXPECT_EQ(vl_putmb(sb, "", -1, Sink::write, &t, &len), 0);
  EXPECT_EQ(len, 1);
  EXPECT_EQ(t.bytes, std::string(1, '\0'));
  Sink u;
  EXPECT_EQ(vl_putmb(mb, "\xB0\xA1", -1, Sink::write, &u, &len), 0);
  EXPECT_EQ(len, 2);
  EXPECT_EQ(u.bytes, "\xB0\xA1");
  EXPECT_EQ(w2->vl_errno + sb->vl_errno + mb->vl_errno, 0u);
}

TEST_F(Io, CountedPutmbWritesRealBytes) {
  Sink s;
  int32_t len = 99;
  const std::string nul = B({0, 0});
  EXPECT_EQ(_kvx_vl_putmb(w2, nul.data(), 2, Sink::write, &s, &len), 0);
  EXPECT_EQ(len, 2);
  EXPECT_EQ(s.bytes, nul);
  Sink t;
  EXPECT_EQ(_kvx_vl_putmb(mb, "", 4, Sink::write, &t, &len), 0);
  EXPECT_EQ(len, 1);
  EXPECT_EQ(t.bytes, std::string(1, '\0'));
  Sink u;
  EXPECT_EQ(_kvx_vl_putmb(sb, "a", 0, Sink::write, &u, &len), -1);
  EXPECT_EQ(sb->vl_errno, 7u);
  EXPECT_EQ(len, 0);
  EXPECT_EQ(u.bytes, "");
  sb->vl_errno = 0;
  EXPECT_EQ(_kvx_vl_putmb(sb, "a", -1, Sink::write, &u, &len), 0);  // negative: longest length
  EXPECT_EQ(u.bytes, "a");
  Sink v;
  EXPECT_EQ(_kvx_vl_putmb(mb, "\xB0\xA1", 1, Sink::write, &v, &len), -1);
  EXPECT_EQ(mb->vl_errno, 7u);
  EXPECT_EQ(len, 0);
}

TEST_F(Io, PutmbFailures) {
  Sink s;
  int32_t len = 99;
  EXPECT_EQ(vl_putmb(mb, nullptr, -1, Sink::write, &s, &len), -1);
  EXPECT_EQ(vl_putmb(mb, "\x80", -1, Sink::write, &s, &len), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  EXPECT_EQ(len, 0);
  mb->vl_errno = 0;
  Sink one;
  one.room = 1;
  EXPECT_EQ(vl_putmb(mb, "\xB0\xA1", -1, Sink::write, &one, &len), -1);
  EXPECT_EQ(mb->vl_errno, 13u);
  EXPECT_EQ(len, 1);
  Sink none;
  none.room = 1;
  const std::string nul = B({0, 0});
  EXPECT_EQ(vl_putmb(w2, nul.data(), -1, Sink::write, &none, &len), -1);
  EXPECT_EQ(w2->vl_errno, 13u);
  EXPECT_EQ(len, 0);
}

TEST_F(Io, FputmbAndFputwc) {
  std::string path;
  FILE *out = output(&path);
  const char *c = "\xB0\xA1";
  EXPECT_EQ(vl_fputmb(mb, c, out), c);
  EXPECT_EQ(vl_fputwc(mb, 0x41, out), 0x41);
  EXPECT_EQ(vl_fputwc(mb, 0xA4A2, out), 0xA4A2);
  EXPECT_EQ(contents(out, path), "\xB0\xA1" "A\xA4\xA2");
  EXPECT_EQ(vl_fputwc(mb, 0x80, out), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  std::string p2;
  FILE *o2 = output(&p2);
  EXPECT_EQ(vl_fputwc(w2, 0x41, o2), 0x41);
  EXPECT_EQ(vl_fputwc(w2, 0, o2), 0);
  EXPECT_EQ(contents(o2, p2), B({0, 0x41, 0, 0}));
  std::string p3;
  FILE *o3 = output(&p3);
  EXPECT_EQ(vl_fputwc(sb, 0xE9, o3), 0xE9);
  EXPECT_EQ(vl_fputwc(sb, 0x141, o3), 0x141);  // the low byte
  EXPECT_EQ(vl_fputwc(sb, 0, o3), 0);
  EXPECT_EQ(contents(o3, p3), std::string("\xE9" "A\0", 3));
  FILE *in = input("");
  EXPECT_EQ(vl_fputmb(sb, "a", in), nullptr);
  EXPECT_EQ(sb->vl_errno, 13u);
}

TEST_F(Io, FputmbsAndFputwcs) {
  std::string path;
  FILE *out = output(&path);
  EXPECT_EQ(vl_fputmbs(mb, "a\xB0\xA1" "b", out), 0);
  EXPECT_EQ(vl_fputmbs(mb, "", out), 0);
  EXPECT_EQ(contents(out, path), "a\xB0\xA1" "b");  // no terminator
  std::string p2;
  FILE *o2 = output(&p2);
  const std::string w = B({0, 'a', 0x30, 0x42, 0, 0});
  EXPECT_EQ(vl_fputmbs(w2, w.data(), o2), 0);
  EXPECT_EQ(contents(o2, p2), B({0, 'a', 0x30, 0x42}));
  EXPECT_EQ(vl_fputmbs(mb, "a\x80", o2), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  FILE *in = input("");
  EXPECT_EQ(vl_fputmbs(sb, "abc", in), -1);
  EXPECT_EQ(sb->vl_errno, 13u);

  std::string p3;
  FILE *o3 = output(&p3);
  const vl_wchar s[] = {0x61, 0xB0A1, 0x62, 0};
  EXPECT_EQ(vl_fputwcs(mb, s, o3), 0);
  EXPECT_EQ(contents(o3, p3), "a\xB0\xA1" "b");
  mb->vl_errno = 0;
  const vl_wchar bad[] = {0x61, 0x80, 0x62, 0};
  EXPECT_EQ(vl_fputwcs(mb, bad, o3), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  EXPECT_EQ(contents(o3, p3), "a\xB0\xA1" "ba");  // stops at the first failure
}

// ---- lines --------------------------------------------------------------------------

TEST_F(Io, FgetmbsReadsLines) {
  FILE *f = input("ab\ncd\n");
  char buf[16];
  EXPECT_EQ(vl_fgetmbs(sb, buf, sizeof buf, f), buf);
  EXPECT_STREQ(buf, "ab\n");
  EXPECT_EQ(vl_fgetmbs(sb, buf, 4, f), buf);  // exactly the line and its terminator
  EXPECT_STREQ(buf, "cd\n");
  EXPECT_EQ(vl_fgetmbs(sb, buf, sizeof buf, f), nullptr);
  EXPECT_EQ(sb->vl_errno, 16u);
  FILE *m = input("a\xB0\xA1\n");
  EXPECT_EQ(vl_fgetmbs(mb, buf, sizeof buf, m), buf);
  EXPECT_STREQ(buf, "a\xB0\xA1\n");
  EXPECT_EQ(mb->vl_errno, 0u);
}

TEST_F(Io, FgetmbsNoRoomForTerminator) {
  FILE *f = input("ab\n");
  char buf[16];
  EXPECT_EQ(vl_fgetmbs(sb, buf, 3, f), nullptr);
  EXPECT_EQ(sb->vl_errno, 14u);
  FILE *g = input("ab\n");
  EXPECT_EQ(vl_fgetmbs(sb, buf, 2, g), nullptr);  // no room for the line feed
  EXPECT_EQ(sb->vl_errno, 14u);
  FILE *m = input("a\xB0\xA1\n");
  mb->vl_errno = 0;
  EXPECT_EQ(vl_fgetmbs(mb, buf, 2, m), nullptr);  // the two-byte character does not fit
  EXPECT_EQ(mb->vl_errno, 14u);
  FILE *w = input(B({0, 'a', 0, 10}));
  EXPECT_EQ(vl_fgetmbs(w2, buf, 5, w), nullptr);  // terminator of two bytes
  EXPECT_EQ(w2->vl_errno, 14u);
}

TEST_F(Io, FgetmbsLastLineWithoutLineFeedIsLost) {
  FILE *f = input("ab\ncd");
  char buf[16];
  EXPECT_EQ(vl_fgetmbs(sb, buf, sizeof buf, f), buf);
  EXPECT_EQ(vl_fgetmbs(sb, buf, sizeof buf, f), nullptr);
  EXPECT_EQ(sb->vl_errno, 16u);
  FILE *m = input("a\xB0\xA1");
  EXPECT_EQ(vl_fgetmbs(mb, buf, sizeof buf, m), nullptr);
  EXPECT_EQ(mb->vl_errno, 16u);
}

TEST_F(Io, FgetmbsKeepsByte255) {
  FILE *f = input("a\xFF" "b\n");
  char buf[16];
  EXPECT_EQ(vl_fgetmbs(sb, buf, sizeof buf, f), buf);
  EXPECT_STREQ(buf, "a\xFF" "b\n");
  EXPECT_EQ(sb->vl_errno, 0u);
}

TEST_F(Io, FgetmbsLineFeedInShortestLength) {
  // The line ends only at the two-byte line feed.
  FILE *w = input(B({0, 'a', 0x30, 10, 0, 10, 0, 'b'}));
  char buf[16];
  memset(buf, 'x', sizeof buf);
  EXPECT_EQ(vl_fgetmbs(w2, buf, sizeof buf, w), buf);
  EXPECT_EQ(std::string(buf, 8), B({0, 'a', 0x30, 10, 0, 10, 0, 0}));
  EXPECT_EQ(buf[8], 'x');
}

TEST_F(Io, Fgetwcs) {
  vl_wchar buf[8];
  FILE *f = input("a\xE9\n" "cd");
  EXPECT_EQ(vl_fgetwcs(sb, buf, 8, f), buf);
  EXPECT_EQ(buf[0], 0x61u);
  EXPECT_EQ(buf[1], 0xE9u);
  EXPECT_EQ(buf[2], 10u);
  EXPECT_EQ(buf[3], 0u);
  EXPECT_EQ(vl_fgetwcs(sb, buf, 8, f), nullptr);
  EXPECT_EQ(sb->vl_errno, 16u);
  FILE *m = input("\xB0\xA1" "a\n");
  EXPECT_EQ(vl_fgetwcs(mb, buf, 4, m), buf);
  EXPECT_EQ(buf[0], 0xB0A1u);
  EXPECT_EQ(buf[1], 0x61u);
  EXPECT_EQ(buf[2], 10u);
  EXPECT_EQ(buf[3], 0u);
  FILE *w = input(B({0x30, 0x42, 0, 10}));
  EXPECT_EQ(vl_fgetwcs(w2, buf, 8, w), buf);
  EXPECT_EQ(buf[0], 0x3042u);
  EXPECT_EQ(buf[1], 10u);
  EXPECT_EQ(buf[2], 0u);
  FILE *ff = input("\xFF\n");
  EXPECT_EQ(vl_fgetwcs(sb, buf, 8, ff), buf);
  EXPECT_EQ(buf[0], 0xFFu);
}

TEST_F(Io, FgetwcsNoRoom) {
  vl_wchar buf[8];
  FILE *f = input("ab\n");
  EXPECT_EQ(vl_fgetwcs(sb, buf, 3, f), nullptr);  // no room for the zero
  EXPECT_EQ(sb->vl_errno, 14u);
  sb->vl_errno = 0;
  FILE *g = input("ab\n");
  EXPECT_EQ(vl_fgetwcs(sb, buf, 2, g), nullptr);
  EXPECT_EQ(sb->vl_errno, 14u);
  FILE *h = input("ab\n");
  EXPECT_EQ(vl_fgetwcs(mb, buf, 1, h), nullptr);
  EXPECT_EQ(mb->vl_errno, 14u);
  mb->vl_errno = 0;
  FILE *cut = input("a\xB0");
  EXPECT_EQ(vl_fgetwcs(mb, buf, 8, cut), nullptr);
  EXPECT_EQ(mb->vl_errno, 7u);
}

}  // namespace
