// Stream character I/O: characters and lines read from streams and through
// a byte reader agree with in-memory reads of the same bytes, and writes
// give the bytes; a table of line limits, stream failures and damaged input.

#include "strfix.h"

namespace {

using namespace vlstest;

class Io : public Codesets {
 protected:
  void TearDown() override {
    for (FILE *f : open_) fclose(f);
  }
  FILE *open(const std::string &content, const char *mode) {  // a new file holding `content`
    path_ = dir_.write("f" + std::to_string(open_.size()), content);
    open_.push_back(fopen(path_.c_str(), mode));
    return open_.back();
  }
  FILE *in(const std::string &content) { return open(content, "rb"); }
  FILE *out() { return open("", "wb"); }
  std::string written() {  // what the last stream opened by out() holds
    fflush(open_.back());
    return read_file(path_);
  }
  TempDir dir_;
  std::vector<FILE *> open_;
  std::string path_;
};

struct Source {  // a byte reader over a buffer
  std::string bytes;
  size_t at = 0;
  static int read(void *arg) {
    auto *s = static_cast<Source *>(arg);
    return s->at < s->bytes.size() ? static_cast<unsigned char>(s->bytes[s->at++]) : -1;
  }
};
struct Sink {  // a byte writer that fails after `room` bytes
  std::string bytes;
  size_t room = 1000;
  static int write(int byte, void *arg) {
    auto *s = static_cast<Sink *>(arg);
    if (s->bytes.size() >= s->room) return -1;
    s->bytes.push_back(static_cast<char>(byte));
    return 0;
  }
};

TEST_F(Io, StreamsAgreeWithTheBytes) {
  for (const Set &s : sets()) {
    const Char lf = *std::find_if(s.chars.begin(), s.chars.end(), [](const Char &c) { return c.wc == 10; });
    std::vector<Char> pool = s.chars;  // one character in six a line feed
    pool.insert(pool.end(), s.chars.size() / 5, lf);
    for (int k = 0; k < 30; ++k) {
      SCOPED_TRACE(std::string(s.name) + " " + std::to_string(k));
      const Text x = text(pool, k);
      const int n = x.wc.size();
      vl_locale_t *h = s.h;
      h->vl_errno = 0;
      auto byte = [&](int i) { return static_cast<int>(i < n ? x.at[i] : x.mb.size()); };  // offset of character i
      FILE *f = in(x.mb), *g = in(x.mb), *l = in(x.mb), *lw = in(x.mb);
      char c[8];
      for (int i = 0; i < n; ++i) {
        const int cl = byte(i + 1) - byte(i);
        EXPECT_EQ(vl_full_fgetwc(h, f), static_cast<int32_t>(x.wc[i]));
        EXPECT_EQ(vl_full_fgetmb(h, c, g), cl);
        EXPECT_EQ(std::string(c, cl), x.mb.substr(x.at[i], cl));
      }
      EXPECT_EQ(h->vl_errno, 0u);
      EXPECT_EQ(vl_full_fgetwc(h, f), -1);
      EXPECT_EQ(vl_full_fgetmb(h, c, g), -1);
      EXPECT_EQ(h->vl_errno, uint32_t{VL_EEOF});
      char line[256];
      vl_wchar wline[64];
      for (int i = 0, start = 0; i <= n; ++i) {  // line by line; a last line without a line feed is lost
        if (i < n && x.wc[i] != 10) continue;
        const std::string want = x.mb.substr(byte(start), byte(i + 1) - byte(start));
        EXPECT_EQ(vl_fgetmbs(h, line, sizeof line, l), i < n ? line : nullptr);
        EXPECT_EQ(vl_fgetwcs(h, wline, 64, lw), i < n ? wline : nullptr);
        if (i < n) {
          EXPECT_EQ(std::string(line, want.size() + s.min), Z(want, s.min));
          EXPECT_EQ(std::vector<vl_wchar>(wline, wline + i - start + 2), [&] { std::vector<vl_wchar> v(x.wc.begin() + start, x.wc.begin() + i + 1); v.push_back(0); return v; }());
        }
        start = i + 1;
      }
      EXPECT_EQ(h->vl_errno, uint32_t{VL_EEOF});
      std::vector<vl_wchar> w0 = x.wc;
      w0.push_back(0);
      FILE *o = out();
      for (int i = 0; i < n; ++i) EXPECT_EQ(vl_fputwc(h, x.wc[i], o), static_cast<int32_t>(x.wc[i]));
      EXPECT_EQ(written(), x.mb);
      o = out();
      EXPECT_EQ(vl_fputmbs(h, Z(x.mb, s.min).data(), o), 0);  // no terminator
      EXPECT_EQ(written(), x.mb);
      o = out();
      for (int i = 0; i < n; ++i) EXPECT_EQ(vl_fputmb(h, x.mb.data() + x.at[i], o), x.mb.data() + x.at[i]);
      EXPECT_EQ(vl_fputwcs(h, w0.data(), o), 0);
      EXPECT_EQ(written(), x.mb + x.mb);
    }
  }
}

int never_a_byte(void *) { return -1; }
int lead_then_nothing(void *) {  // a two-byte lead, then -1 with neither end of file nor error
  static int calls = 0;
  return calls++ % 2 ? -1 : 0xB0;
}
int32_t with_fgetc(int (*fgetc)(void *), const std::function<int32_t()> &call) {
  void *old = _vl_get_ext_funcptr(VL_EXT_FGETC);
  _vl_set_ext_funcptr(VL_EXT_FGETC, reinterpret_cast<void *>(fgetc));
  const int32_t r = call();
  _vl_set_ext_funcptr(VL_EXT_FGETC, old);
  return r;
}

TEST_F(Io, LimitsFailuresAndDamagedInput) {
  char c[16];
  vl_wchar w[8];
  int32_t len = 99;
  Source src;
  Sink sink;
  auto S = [&](const std::string &b) { src = {b}; return &src; };
  auto K = [&](size_t room) { sink = {"", room}; return &sink; };
  const std::string nul2 = B({0, 0});
  const vl_wchar bad[] = {0x61, 0x80, 0x62, 0};
  run({
      {"ismbnl 1 to 4 bytes", [&] { return ismbnl("\n", 1, 1) + ismbnl(B({0, 10}).data(), 2, 2) + ismbnl(B({0, 0, 10}).data(), 3, 3) + ismbnl(B({0, 0, 0, 10}).data(), 4, 4); }, 4, 0},
      {"ismbnl lengths differ", [&] { return ismbnl("\n", 2, 1) + ismbnl(B({0, 10}).data(), 1, 2); }, 0, 0},
      {"ismbnl not the fixed form", [&] { return ismbnl(B({1, 10}).data(), 2, 2) + ismbnl(B({10, 0}).data(), 2, 2) + ismbnl("a", 1, 1); }, 0, 0},
      {"local_fputc writes the low byte", [&] { FILE *o = out(); return local_fputc(0x1E9, o) + (written() == "\xE9"); }, 1, 0},
      {"local_fputc short write", [&] { return local_fputc('x', in("")); }, -1, 0},
      {"getmb end inside a character", [&] { return vl_getmb(mb, c, Source::read, S("\xB0"), &len) * 10 + len; }, -9, VL_EINVAL},
      {"getmb bad second byte, none pushed back", [&] { return vl_getmb(mb, c, Source::read, S("\xB0\x41z"), &len) * 100 + len * 10 + static_cast<int>(src.at); }, -78, VL_EILSEQ},
      {"fgetmb end inside a character: 16", [&] { return vl_full_fgetmb(mb, c, in("\xB0")); }, -1, VL_EEOF},
      {"fgetwc end inside a character: 7", [&] { return vl_full_fgetwc(mb, in("\xB0")); }, -1, VL_EINVAL},
      {"fgetmb NUL is one byte", [&] { return vl_full_fgetmb(mb, c, in(std::string(1, '\0'))) * 10 + c[0]; }, 10, 0},
      {"fgetwc NUL is a value", [&] { return vl_full_fgetwc(mb, in(std::string(1, '\0'))); }, 0, 0},
      {"fgetmb bad second byte", [&] { return vl_full_fgetmb(mb, c, in("\xB0\x41")); }, -1, VL_EILSEQ},
      {"fgetwc bad second byte", [&] { return vl_full_fgetwc(mb, in("\xB0\x41")); }, -1, VL_EILSEQ},
      {"fgetwc write-only stream", [&] { return vl_full_fgetwc(mb, out()); }, -1, VL_EIO},
      {"fgetwc silent end", [&] { return with_fgetc(never_a_byte, [&] { return vl_full_fgetwc(mb, in("ab")); }); }, -1, VL_EPARTIAL},
      {"fgetwc silent end inside a character", [&] { return with_fgetc(lead_then_nothing, [&] { return vl_full_fgetwc(mb, in("ab")); }); }, -1, VL_EPARTIAL},
      {"getmb nothing to read", [&] { return vl_getmb(mb, c, Source::read, S(""), &len) * 10 + len; }, -10, VL_EEOF},
      {"fgetmb write-only stream", [&] { return vl_full_fgetmb(mb, c, out()); }, -1, VL_EIO},
      {"putmb NUL in the shortest length", [&] { return vl_putmb(w2, nul2.data(), -1, Sink::write, K(9), &len) + len * 10 + (sink.bytes == nul2); }, 21, 0},
      {"putmb NUL, single-byte", [&] { return vl_putmb(sb, "", -1, Sink::write, K(9), &len) + len * 10 + sink.bytes.size(); }, 11, 0},
      {"counted putmb NUL: real bytes", [&] { return _kvx_vl_putmb(mb, "", 4, Sink::write, K(9), &len) + len * 10 + sink.bytes.size(); }, 11, 0},
      {"counted putmb limit 0", [&] { return _kvx_vl_putmb(sb, "a", 0, Sink::write, K(9), &len) * 10 + len; }, -10, VL_EINVAL},
      {"counted putmb negative: longest", [&] { return _kvx_vl_putmb(sb, "a", -1, Sink::write, K(9), &len) + (sink.bytes == "a"); }, 1, 0},
      {"counted putmb limit inside", [&] { return _kvx_vl_putmb(mb, "\xB0\xA1", 1, Sink::write, K(9), &len) * 10 + len; }, -10, VL_EINVAL},
      {"putmb null", [&] { return vl_putmb(mb, nullptr, -1, Sink::write, K(9), &len); }, -1, 0},
      {"putmb no character", [&] { return vl_putmb(mb, "\x80", -1, Sink::write, K(9), &len) * 10 + len; }, -10, VL_EILSEQ},
      {"putmb writer fails", [&] { return vl_putmb(mb, "\xB0\xA1", -1, Sink::write, K(1), &len) * 10 + len; }, -9, VL_EIO},
      {"putmb writer fails on NUL", [&] { return vl_putmb(w2, nul2.data(), -1, Sink::write, K(1), &len) * 10 + len; }, -10, VL_EIO},
      {"fputwc no character", [&] { return vl_fputwc(mb, 0x80, out()); }, -1, VL_EILSEQ},
      {"fputwc NUL, two bytes", [&] { FILE *o = out(); return vl_fputwc(w2, 0, o) + (written() == nul2); }, 1, 0},
      {"fputwc single-byte low byte", [&] { FILE *o = out(); return vl_fputwc(sb, 0x141, o) + vl_fputwc(sb, 0, o) + (written() == std::string("A\0", 2)); }, 0x142, 0},
      {"fputmb read-only stream", [&] { return off(vl_fputmb(sb, "a", in("")), "a"); }, -1, VL_EIO},
      {"fputmbs empty", [&] { FILE *o = out(); return vl_fputmbs(mb, "", o) + written().size(); }, 0, 0},
      {"fputmbs no character", [&] { return vl_fputmbs(mb, "a\x80", out()); }, -1, VL_EILSEQ},
      {"fputmbs read-only stream", [&] { return vl_fputmbs(sb, "abc", in("")); }, -1, VL_EIO},
      {"fputwcs stops at the failure", [&] { FILE *o = out(); return vl_fputwcs(mb, bad, o) * 10 + static_cast<int>(written().size()); }, -9, VL_EILSEQ},
      {"fgetmbs exactly the line and terminator", [&] { return off(vl_fgetmbs(sb, c, 4, in("cd\n")), c); }, 0, 0},
      {"fgetmbs no room for the terminator", [&] { return off(vl_fgetmbs(sb, c, 3, in("ab\n")), c); }, -1, VL_E2BIG},
      {"fgetmbs no room for the line feed", [&] { return off(vl_fgetmbs(sb, c, 2, in("ab\n")), c); }, -1, VL_E2BIG},
      {"fgetmbs character does not fit", [&] { return off(vl_fgetmbs(mb, c, 2, in("a\xB0\xA1\n")), c); }, -1, VL_E2BIG},
      {"fgetmbs two-byte terminator", [&] { return off(vl_fgetmbs(w2, c, 5, in(B({0, 'a', 0, 10}))), c); }, -1, VL_E2BIG},
      {"fgetmbs keeps byte 255", [&] { return off(vl_fgetmbs(sb, c, 16, in("a\xFF" "b\n")), c) + (std::string(c) == "a\xFF" "b\n"); }, 1, 0},
      {"fgetmbs two-byte line feed only", [&] { return off(vl_fgetmbs(w2, c, 16, in(B({0, 'a', 0x30, 10, 0, 10, 0, 'b'}))), c) + (std::string(c, 8) == B({0, 'a', 0x30, 10, 0, 10, 0, 0})); }, 1, 0},
      {"fgetwcs no room for the zero", [&] { return off(vl_fgetwcs(sb, w, 3, in("ab\n")), w); }, -1, VL_E2BIG},
      {"fgetwcs no room for the line feed", [&] { return off(vl_fgetwcs(sb, w, 2, in("ab\n")), w); }, -1, VL_E2BIG},
      {"fgetwcs multibyte no room", [&] { return off(vl_fgetwcs(mb, w, 1, in("ab\n")), w); }, -1, VL_E2BIG},
      {"fgetwcs end inside a character", [&] { return off(vl_fgetwcs(mb, w, 8, in("a\xB0")), w); }, -1, VL_EINVAL},
      {"fgetwcs byte 255", [&] { return off(vl_fgetwcs(sb, w, 8, in("\xFF\n")), w) + w[0]; }, 0xFF, 0},
      // A read error is no end of file: single-byte lines keep it as byte 255 until they are full.
      {"fgetmbs read error is byte 255", [&] { return off(vl_fgetmbs(sb, c, 3, out()), c) + (std::string(c, 3) == "\xFF\xFF\xFF"); }, 0, VL_E2BIG},
      {"fgetwcs read error is byte 255", [&] { return off(vl_fgetwcs(sb, w, 2, out()), w) + w[0] + w[1]; }, 0x1FD, VL_E2BIG},
  });
}

}  // namespace
