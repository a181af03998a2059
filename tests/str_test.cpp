// The string family: each counted twin against its NUL-terminated form and a
// model on generated text of the three fixture codesets, a table of limits,
// quirks and damaged input, and the wide members (the bridge dispatch is in
// dispatch_test).

#include "strfix.h"

using namespace vlstest;

namespace {

using Str = Codesets;

TEST_F(Str, TwinsAgreeWithTheModel) {
  for (const Set &s : sets())
    for (int k = 0; k < 60; ++k) {
      SCOPED_TRACE(std::string(s.name) + " " + std::to_string(k));
      vl_locale_t *h = s.h;
      const int m = s.min, n = k % 4;
      std::vector<Char> pool;  // few characters, so that searches hit
      for (int i = 0; i < 4; ++i) pool.push_back(s.chars[rng_() % s.chars.size()]);
      const Text a = text(s.chars, k % 5), b = text(pool, k % 9), set = text(pool, k % 3);
      const std::string za = Z(a.mb, m), zb = Z(b.mb, m), zset = Z(set.mb, m);
      const int na = a.mb.size(), nb = b.mb.size(), cb = b.wc.size();
      const int bj = n < cb ? b.at[n] : nb;  // bytes of the first n characters of b
      char t[128];
      auto fill = [&](const std::string &x) { memset(t, 'x', sizeof t), memcpy(t, x.data(), x.size()); };
      // Fills the target with `in` and x, calls, and checks the result and the bytes written and behind.
      auto chk = [&](const std::string &in, const std::function<long long()> &f, long long want, const std::string &out) {
        fill(in);
        EXPECT_EQ(f(), want);
        EXPECT_EQ(std::string(t, out.size() + 1), out + (out.size() < in.size() ? in[out.size()] : 'x'));
      };
      const std::string ab = a.mb + b.mb;
      chk(za, [&] { return _kvx_vl_mbscat(h, t, -1, zb.data(), -1); }, na + nb + m, Z(ab, m));
      chk(a.mb, [&] { return _kvx_vl_mbscat(h, t, na, b.mb.data(), nb); }, na + nb, ab);
      for (auto f : {vl_full_mbscat, vl_mbscat}) chk(za, [&] { return off(f(h, t, zb.data()), t); }, 0, Z(ab, m));
      chk("", [&] { return _kvx_vl_mbscpy(h, t, zb.data(), -1); }, nb + m, zb);
      chk("", [&] { return _kvx_vl_mbscpy(h, t, b.mb.data(), nb); }, nb, b.mb);
      for (auto f : {vl_full_mbscpy, vl_mbscpy}) chk("", [&] { return off(f(h, t, zb.data()), t); }, 0, zb);
      const std::string bn = b.mb.substr(0, bj);
      chk(za, [&] { return _kvx_vl_mbsncat(h, t, -1, zb.data(), -1, n); }, na + bj, Z(a.mb + bn, m));
      chk(a.mb, [&] { return _kvx_vl_mbsncat(h, t, na, b.mb.data(), nb, n); }, na + bj, a.mb + bn);
      chk(za, [&] { return off(vl_mbsncat(h, t, zb.data(), n), t); }, 0, Z(a.mb + bn, m));
      // one terminator short, and negative for n = 0
      chk("", [&] { return _kvx_vl_mbsncpy(h, t, zb.data(), -1, n); }, bj - m, Z(bn, m));
      chk("", [&] { return _kvx_vl_mbsncpy(h, t, b.mb.data(), nb, n); }, bj, bn);
      chk("", [&] { return off(vl_mbsncpy(h, t, zb.data(), n), t); }, 0, Z(bn, m));  // no padding
      const char *p = zb.data();
      for (const Char &c : pool) {  // chr and rchr
        const std::string zc = Z(c.mb, m);
        long long first = -1, last = -1;
        for (int i = 0; i < cb; ++i)
          if (b.wc[i] == c.wc) last = b.at[i], first = first < 0 ? last : first;
        h->vl_errno = 99;
        for (auto [full, counted, want] : {std::tuple{&vl_full_mbschr, &_kvx_vl_mbschr, first}, {&vl_full_mbsrchr, &_kvx_vl_mbsrchr, last}}) {
          EXPECT_EQ(off(full(h, p, zc.data()), p), want);
          if (want < 0) { EXPECT_EQ(h->vl_errno, 0u); }  // not found: error 0
          EXPECT_EQ(off(counted(h, p, nb, c.mb.data(), c.mb.size()), p), want);
          EXPECT_EQ(off(counted(h, p, -1, zc.data(), -1), p), want);
        }
      }
      int spn = 0, cspn = 0;  // spn, cspn, pbrk against the set
      auto in_set = [&](vl_wchar v) { return std::find(set.wc.begin(), set.wc.end(), v) != set.wc.end(); };
      while (spn < cb && in_set(b.wc[spn])) ++spn;
      while (cspn < cb && !in_set(b.wc[cspn])) ++cspn;
      const long long brk = cspn < cb ? static_cast<long long>(b.at[cspn]) : -1;
      const int ns = set.mb.size();
      EXPECT_EQ(std::vector<long long>({vl_full_mbsspn(h, p, zset.data()), _kvx_vl_mbsspn(h, p, nb, set.mb.data(), ns),
                                        _kvx_vl_mbsspn(h, p, -1, zset.data(), -1), vl_full_mbscspn(h, p, zset.data()),
                                        _kvx_vl_mbscspn(h, p, nb, set.mb.data(), ns), off(vl_full_mbspbrk(h, p, zset.data()), p),
                                        off(_kvx_vl_mbspbrk(h, p, nb, set.mb.data(), ns), p)}),
                std::vector<long long>({spn, spn, spn, cspn, cspn, brk, brk}));
      for (const Text &sub : {a, set}) {  // substrings at character boundaries
        long long at = -1;
        for (int i = 0; i <= cb && at < 0; ++i)
          if (size_t o = i < cb ? b.at[i] : nb; b.mb.compare(o, sub.mb.size(), sub.mb) == 0) at = o;
        EXPECT_EQ(off(vl_full_mbsmbs(h, p, Z(sub.mb, m).data()), p), at);
        EXPECT_EQ(off(_kvx_vl_mbsmbs(h, p, nb, sub.mb.data(), sub.mb.size()), p), at);
      }
      for (int i = 0; i < cb; ++i) {  // stepping and indexing
        const int next = i + 1 < cb ? b.at[i + 1] : nb;
        EXPECT_EQ(off(vl_full_mbsnext(h, p + b.at[i]), p), next);
        EXPECT_EQ(off(_kvx_vl_full_mbsnext(h, p + b.at[i], nb - b.at[i]), p), next);
        EXPECT_EQ(off(vl_full_mbsprev(h, p, p + next), p), b.at[i]);
        EXPECT_EQ(off(vl_full_getmbsi(h, p, i), p), b.at[i]);
        const Char &c = pool[i % 4];  // replace character i
        std::string want = b.mb;
        want.replace(b.at[i], next - b.at[i], c.mb);
        chk(zb, [&] { return off(vl_full_putmbsi(h, t, i, Z(c.mb, m).data()), t); }, 0, Z(want, m));
      }
      const std::string &c0 = pool[0].mb;  // at the terminator: appends
      chk(zb, [&] { return off(vl_mbcreplace(h, t + nb, Z(c0, m).data()), t); }, nb, Z(b.mb + c0, m));
      EXPECT_EQ(off(vl_full_mbsnext(h, p + nb), p), nb);  // the terminator has length 0
      EXPECT_EQ(off(vl_getmbsinull(h, p, cb + 3), p), nb);
      int32_t len = -5;
      vl_wchar *w = vl_mbstowcslen(h, p, &len);
      ASSERT_NE(w, nullptr);
      EXPECT_EQ(std::vector<vl_wchar>(w, w + len + 1), [&] { auto v = b.wc; v.push_back(0); return v; }());
      _vl_free_ptr(w);
      EXPECT_EQ(h->vl_errno, 0u);
    }
}

TEST_F(Str, TrailingBlanksAgreeWithTheModel) {
  for (const Set &s : sets()) {
    std::vector<Char> blanks;  // blank, or space, and no control
    for (const Char &c : s.chars)
      if ((c.mask & (M_BLANK | M_SPACE)) && !(c.mask & M_CNTRL)) blanks.push_back(c);
    for (int k = 0; k < 60; ++k) {
      SCOPED_TRACE(std::string(s.name) + " " + std::to_string(k));
      Text x = text(s.chars, k % 4), tail = text(blanks, k % 3);
      x.mb += tail.mb, x.wc.insert(x.wc.end(), tail.wc.begin(), tail.wc.end());
      x.mask.insert(x.mask.end(), tail.mask.begin(), tail.mask.end());
      int chars = 0, bytes = 0, wide = 0, pend = 0, pbytes = 0, wpend = 0;
      for (size_t i = 0; i < x.wc.size(); ++i) {
        const bool ctl = x.mask[i] & M_CNTRL, blank = (x.mask[i] & M_BLANK) && !ctl, space = (x.mask[i] & M_SPACE) && !ctl;
        const int len = vl_wclen(s.h, x.wc[i]);
        if (blank) ++pend, pbytes += len; else chars += pend + 1, bytes += pbytes + len, pend = pbytes = 0;
        if (space) ++wpend; else wide += wpend + 1, wpend = 0;
      }
      const std::string z = Z(x.mb, s.min);
      std::vector<vl_wchar> w0 = x.wc;
      w0.push_back(0);
      const int nb = x.mb.size(), n = x.wc.size();
      EXPECT_EQ(std::vector<int>({vl_mbsntslen(s.h, z.data()), _kvx_vl_mbsntslen(s.h, x.mb.data(), nb), vl_mbsntsbytes(s.h, z.data()),
                                  _kvx_vl_mbsntsbytes(s.h, x.mb.data(), nb), vl_wcsntslen(s.h, w0.data()),
                                  _kvx_vl_wcsntslen(s.h, w0.data(), n)}),
                std::vector<int>({chars, chars, bytes, bytes, wide, wide}));
      EXPECT_EQ(off(vl_mbsp(s.h, z.data()), z.data()), bytes < nb ? bytes : -1);
      std::string buf = z;
      if (bytes >= nb) s.h->vl_errno = 99;  // no trailing blanks: vl_mbsp's 0
      EXPECT_EQ(vl_mbsntstrunc(s.h, buf.data()), buf.data());
      EXPECT_EQ(buf.substr(0, bytes + s.min), Z(x.mb.substr(0, bytes), s.min));
      EXPECT_EQ(vl_wcsntstrunc(s.h, w0.data()), w0.data());
      EXPECT_EQ(vl_wcslen(w0.data()), wide);
      EXPECT_EQ(s.h->vl_errno, 0u);
    }
  }
}

// Runs `call` with the host allocator failing after `blocks` blocks.
long long with_blocks(int blocks, const std::function<long long()> &call) {
  static int left;
  left = blocks;
  void *old = _vl_get_ext_funcptr(VL_EXT_MALLOC);
  _vl_set_ext_funcptr(VL_EXT_MALLOC, reinterpret_cast<void *>(+[](size_t n) { return left-- > 0 ? malloc(n) : nullptr; }));
  const long long r = call();
  _vl_set_ext_funcptr(VL_EXT_MALLOC, old);
  return r;
}

TEST_F(Str, LimitsQuirksAndDamagedInput) {
  char t[32];
  auto T = [&](const std::string &x) { memset(t, 'x', sizeof t), memcpy(t, x.data(), x.size()); return t; };
  const std::string w2ab = B({0, 'a', 0, 'b', 0, 0}), w2c = B({0, 'c', 0, 0}), nb = B({0, 'b'}), anb = B({'a', 0, 'b'});
  const std::string w2odd = B({0x30, 0, 0x30, 0x41, 0, '0', 0, 0}), w2zero = B({0, '0'}), w2abab = B({0, 'a', 0, 'b', 0, 'a', 0, 'b', 0, 0});
  const char *m6 = "a\xB0\xA1\xA1\xB0" "b", *c6 = "ab\xB0\xA1" "cb", *r9 = "ab\xB0\xA1" "ab\xB0\xA1" "a", *s4 = "a\xB0\xA1" "b";
  const char *x6 = "ab\xB0\xA1\xB0\xA2", *bad3 = "\x80" "ab";
  CtypeSpec tabspec = latin1_spec();  // tab blank and no control; 0x1C space only; 0x1D blank only
  for (auto &c : tabspec.chars) c.mask = c.bytes == "\t" ? uint16_t(M_BLANK | M_SPACE) : c.bytes == "\x1c" ? uint16_t(M_SPACE) : c.bytes == "\x1d" ? uint16_t(M_BLANK) : c.mask;
  vl_locale_t *tab = make_handle(tabspec);
  const vl_wchar w1c[] = {'a', 0x1C, 0}, w1d[] = {'a', 0x1D, 0}, wtab[] = {'a', '\t', 0}, big[] = {'a', ' ', 0x100, ' ', 0};
  int32_t len = 0;
  run({
      {"cat half a character, bytes left", [&] { return _kvx_vl_mbscat(mb, T("a"), 1, "\xB0", 1) * 100 + (t[1] == '\xB0'); }, -99, VL_EINVAL},
      {"cat the other half makes it whole", [&] { return _kvx_vl_mbscat(mb, T("a\xB0"), 2, "\xA1", 1); }, 3, 0},
      {"cat no character", [&] { return _kvx_vl_mbscat(mb, T("a"), 1, "\x80", 1); }, -1, VL_EILSEQ},
      {"cat counted NUL is a character", [&] { return _kvx_vl_mbscat(mb, T("a"), 1, nb.data(), 2) + _kvx_vl_mbscat(sb, T("a"), 1, "\0\xff", 2); }, 6, 0},
      {"cat bad target, NUL form", [&] { return _kvx_vl_mbscat(mb, T(Z("\x80", 1)), -1, "a", -1); }, -1, VL_EILSEQ},
      {"cat bad source, NUL form", [&] { return _kvx_vl_mbscat(mb, T(Z("a", 1)), -1, "\x80", -1); }, -1, VL_EILSEQ},
      {"cat odd byte, two-byte codeset", [&] { return _kvx_vl_mbscat(w2, T(w2ab), 4, "\0", 1); }, -1, VL_EINVAL},
      {"cat counted two-byte NUL is whole", [&] { return _kvx_vl_mbscat(w2, T(w2ab), 4, w2c.data(), 4); }, 8, 0},
      {"full cat bad source", [&] { return off(vl_full_mbscat(mb, T(Z("ab", 1)), "\xB0"), t); }, -1, VL_EILSEQ},
      {"full cat null", [&] { return off(vl_full_mbscat(mb, nullptr, "a"), t); }, -1, VL_EBADPTR},
      {"cpy counted cut, copied first", [&] { return _kvx_vl_mbscpy(mb, T(""), "z\xB0\xA1", 2) * 100 + (t[1] == '\xB0'); }, -99, VL_EINVAL},
      {"cpy no character", [&] { return _kvx_vl_mbscpy(mb, t, "a\x80", -1); }, -1, VL_EILSEQ},
      {"ncat n -1", [&] { return _kvx_vl_mbsncat(sb, T(Z("ab", 1)), -1, "c", -1, -1); }, -1, VL_EBADCOUNT},
      {"ncat source cuts a character", [&] { return _kvx_vl_mbsncat(mb, T("ab"), 2, "\xB0\xA1", 1, 1); }, -1, VL_EINVAL},
      {"ncat target validated", [&] { return _kvx_vl_mbsncat(mb, T("a\xB0"), 2, "b", 1, 1); }, -1, VL_EILSEQ},
      {"ncat NUL form n -1", [&] { return off(vl_mbsncat(mb, T(Z("x", 1)), "a", -1), t); }, -1, VL_EBADCOUNT},
      {"ncpy counted cut", [&] { return _kvx_vl_mbsncpy(mb, t, "a\xB0\xA1", 2, 5); }, -1, VL_EINVAL},
      {"ncpy counted NUL", [&] { return _kvx_vl_mbsncpy(mb, t, nb.data(), 2, 1); }, 1, 0},
      {"ncpy n -1", [&] { return _kvx_vl_mbsncpy(mb, t, "a", 1, -1); }, -1, VL_EBADCOUNT},
      {"chr at boundaries only", [&] { return off(vl_full_mbschr(mb, m6, "\xA1\xB0"), m6) * 10 + (vl_full_mbschr(mb, m6, "\xA1\xA1") == nullptr); }, 31, 0},
      {"chr odd offset, two-byte codeset", [&] { return off(vl_full_mbschr(w2, w2odd.data(), w2zero.data()), w2odd.data()); }, 4, 0},
      {"chr NUL finds the terminator", [&] { return off(vl_full_mbschr(mb, s4, ""), s4) + off(vl_full_mbschr(sb, s4, ""), s4); }, 8, 0},
      {"chr string no character", [&] { return off(vl_full_mbschr(mb, "a\x80" "b", "b"), s4); }, -1, VL_EILSEQ},
      {"chr character no character", [&] { return off(vl_full_mbschr(mb, "ab", "\x80"), s4); }, -1, VL_EILSEQ},
      {"chr null", [&] { return off(vl_full_mbschr(mb, nullptr, "a"), s4); }, -1, VL_EBADPTR},
      {"counted chr outside the length", [&] { return off(_kvx_vl_mbschr(mb, c6, 2, "\xB0\xA1", 2), c6); }, -1, 0},
      {"counted chr empty string", [&] { mb->vl_errno = 99; return off(_kvx_vl_mbschr(mb, c6, 0, "a", 1), c6); }, -1, 0},
      {"counted chr half a character", [&] { return off(_kvx_vl_mbschr(mb, c6, 0, "\xB0\xA1", 1), c6); }, -1, VL_EINVAL},
      {"counted chr empty character", [&] { return off(_kvx_vl_mbschr(mb, c6, 6, "a", 0), c6); }, -1, VL_EINVAL},
      {"counted chr cut in the string", [&] { return off(_kvx_vl_mbschr(mb, c6, 3, "c", 1), c6); }, -1, VL_EINVAL},
      {"counted chr NUL character", [&] { return off(_kvx_vl_mbschr(mb, anb.data(), 3, "", 1), anb.data()); }, 1, 0},
      {"counted chr -1 stops at NUL", [&] { return off(_kvx_vl_mbschr(sb, anb.data(), -1, "b", -1), anb.data()); }, -1, 0},
      {"rchr", [&] { return off(vl_full_mbsrchr(mb, r9, "\xB0\xA1"), r9) * 10 + off(vl_full_mbsrchr(mb, r9, ""), r9); }, 69, 0},
      {"rchr clears the error", [&] { mb->vl_errno = 99; return off(vl_full_mbsrchr(mb, r9, "z"), r9); }, -1, 0},
      {"rchr bad character after the hit", [&] { return off(vl_full_mbsrchr(mb, "ab\x80", "a"), r9); }, -1, VL_EILSEQ},
      {"rchr two-byte codeset", [&] { return off(vl_full_mbsrchr(w2, w2abab.data(), nb.data()), w2abab.data()); }, 6, 0},
      {"counted rchr across characters", [&] { return off(_kvx_vl_mbsrchr(mb, x6 + 2, 4, "\xA1\xB0", 2), x6); }, -1, 0},
      {"spn bytes alone don't count", [&] { return vl_full_mbsspn(mb, "\xB0\xA1\xB0\xA2", "\xA1\xB0"); }, 0, 0},
      {"cspn cut", [&] { return _kvx_vl_mbscspn(mb, x6, 3, "\xB0\xA1", 2); }, -1, VL_EINVAL},
      {"spn counted NUL characters", [&] { return _kvx_vl_mbsspn(mb, B({0, 0, 'a'}).data(), 3, "", 1); }, 2, 0},
      {"spn bad set", [&] { return vl_full_mbsspn(mb, "abc", "a\x80"); }, -1, VL_EILSEQ},
      {"cspn half a character in the set", [&] { return _kvx_vl_mbscspn(mb, "", 0, "\xB0", 1); }, -1, VL_EINVAL},
      {"spn null", [&] { return vl_full_mbsspn(mb, nullptr, "a"); }, -1, VL_EBADPTR},
      {"pbrk across characters", [&] { mb->vl_errno = 99; return off(vl_full_mbspbrk(mb, x6, "\xA1\xB0"), x6); }, -1, 0},
      {"mbs across characters", [&] { return off(vl_full_mbsmbs(mb, x6, "\xA1\xB0"), x6); }, -1, 0},
      {"mbs longer than the rest", [&] { return off(vl_full_mbsmbs(mb, x6, "\xB0\xA2z"), x6); }, -1, 0},
      {"mbs odd offset, two-byte codeset", [&] { return off(_kvx_vl_mbsmbs(w2, w2odd.data(), 6, w2zero.data(), 2), w2odd.data()); }, 4, 0},
      {"mbs runs past the length", [&] { return off(_kvx_vl_mbsmbs(sb, "abcd", 3, "cd", 2), x6); }, -1, 0},
      {"mbs counted NUL", [&] { return off(_kvx_vl_mbsmbs(mb, anb.data(), 3, nb.data(), 2), anb.data()); }, 1, 0},
      {"next lead before NUL", [&] { return off(vl_full_mbsnext(mb, "\xB0"), x6); }, -1, VL_EILSEQ},
      {"next null", [&] { return off(vl_full_mbsnext(mb, nullptr), x6); }, -1, VL_EBADPTR},
      {"counted next limit 1", [&] { return off(_kvx_vl_full_mbsnext(mb, x6 + 2, 1), x6); }, -1, VL_EINVAL},
      {"counted next -1 is no sentinel", [&] { return off(_kvx_vl_full_mbsnext(mb, x6, -1), x6); }, -1, VL_EINVAL},
      {"counted next limit 0", [&] { return off(_kvx_vl_full_mbsnext(sb, x6, 0), x6); }, -1, VL_EINVAL},
      {"counted next no character", [&] { return off(_kvx_vl_full_mbsnext(mb, "\x80", 4), x6); }, -1, VL_EILSEQ},
      {"counted next NUL has its length", [&] { return off(_kvx_vl_full_mbsnext(mb, anb.data() + 1, 1), anb.data()) + off(_kvx_vl_full_mbsnext(w2, w2c.data() + 2, 2), w2c.data()); }, 6, 0},
      {"prev inside a character: its start", [&] { return off(vl_full_mbsprev(mb, s4, s4 + 2), s4); }, 1, 0},
      {"prev at the start", [&] { return off(vl_full_mbsprev(mb, s4, s4), s4); }, -1, VL_EBADRANGE},
      {"prev null", [&] { return off(vl_full_mbsprev(mb, bad3, nullptr), bad3); }, -1, VL_EBADPTR},
      {"prev no character", [&] { return off(vl_full_mbsprev(mb, bad3, bad3 + 2), bad3); }, -1, VL_EILSEQ},
      {"getmbsi passes the terminator", [&] { return off(vl_full_getmbsi(mb, anb.data(), 3), anb.data()) * 10 + off(vl_full_getmbsi(w2, w2c.data(), 2), w2c.data()); }, 34, 0},
      {"getmbsi -1", [&] { return off(vl_full_getmbsi(mb, s4, -1), s4); }, -1, VL_EBADCOUNT},
      {"getmbsi null", [&] { return off(vl_full_getmbsi(mb, nullptr, 1), s4); }, -1, VL_EBADPTR},
      {"getmbsi no character", [&] { return off(vl_full_getmbsi(mb, "\x80", 1), s4); }, -1, VL_EILSEQ},
      {"getmbsinull -2", [&] { return off(vl_getmbsinull(sb, s4, -2), s4); }, -1, VL_EBADCOUNT},
      {"mbcreplace null character", [&] { return off(vl_mbcreplace(mb, T(Z("abc", 1)), nullptr), t); }, -1, VL_EBADPTR},
      {"mbcreplace null position", [&] { return off(vl_mbcreplace(mb, nullptr, "a"), t); }, -1, VL_EBADPTR},
      {"mbcreplace no character", [&] { return off(vl_mbcreplace(mb, T(Z("abc", 1)), "\x80"), t) + (t[0] == 'a'); }, 0, VL_EILSEQ},
      {"mbcreplace bad rest", [&] { return off(vl_mbcreplace(mb, T(Z("\x80" "bc", 1)), "a"), t) + (t[0] == '\x80'); }, 0, VL_EILSEQ},
      {"mbcreplace no scratch area, string kept", [&] { return with_blocks(0, [&] { return off(vl_mbcreplace(mb, T(Z("abc", 1)), "z"), t); }) + (t[0] == 'a'); }, 0, VL_ENOMEM},
      {"mbstowcslen cannot grow", [&] { return with_blocks(2, [&] { return off(vl_mbstowcslen(mb, "abc", &len), static_cast<vl_wchar *>(nullptr)); }); }, -1, VL_ENOMEM},
      {"putmbsi -1", [&] { return off(vl_full_putmbsi(mb, T(Z("ab", 1)), -1, "z"), t); }, -1, VL_EBADCOUNT},
      {"mbstowcslen bad", [&] { return off(vl_mbstowcslen(mb, "ab\xB0", &len), static_cast<vl_wchar *>(nullptr)); }, -1, VL_EILSEQ},
      {"mbstowcslen null", [&] { return off(vl_mbstowcslen(mb, nullptr, &len), static_cast<vl_wchar *>(nullptr)); }, -1, VL_EBADPTR},
      {"mbstowcslen no length out", [&] { vl_wchar *w = vl_mbstowcslen(sb, "\xe9\xff", nullptr); long long r = w[1] + w[2]; _vl_free_ptr(w); return r; }, 0xFF, 0},
      {"ntslen NUL is no blank", [&] { return _kvx_vl_mbsntsbytes(sb, B({' ', 'a', 0, ' '}).data(), 4); }, 3, 0},
      {"ntslen -1 counted form", [&] { return _kvx_vl_mbsntslen(sb, "ab  cd", -1); }, 6, 0},
      {"ntslen cut", [&] { return _kvx_vl_mbsntslen(mb, "a\xB0\xA1 \xA1\xA1", 5); }, -1, VL_EINVAL},
      {"ntsbytes no character", [&] { return vl_mbsntsbytes(mb, "a \x80"); }, -1, VL_EILSEQ},
      {"ntslen null", [&] { return vl_mbsntslen(mb, nullptr); }, -1, VL_EBADPTR},
      {"wcsntslen above 255: error 1, no blank", [&] { return vl_wcsntslen(sb, big); }, 3, VL_EILSEQ},
      {"mbsp null", [&] { return off(vl_mbsp(sb, nullptr), t); }, -1, VL_EBADPTR},
      {"tab blank, not control", [&] { return vl_mbsntslen(tab, "ab\t") * 100 + vl_mbsntslen(tab, "ab\x1c") * 10 + vl_mbsntslen(tab, "ab\x1d"); }, 232, 0},
      {"wide side tests space", [&] { return vl_wcsntslen(tab, w1c) * 100 + vl_wcsntslen(tab, w1d) * 10 + vl_wcsntslen(tab, wtab); }, 121, 0},
  });
  vl_lc_unload(tab);
}

TEST_F(Str, CountedMembersCheckPointersAndLengths) {
  check_counted(mb, {
      VLS_COUNTED(1, _kvx_vl_mbscat(h, C(a), an, C(b), bn)), VLS_COUNTED(1, _kvx_vl_mbsncat(h, C(a), an, C(b), bn, 1)),
      VLS_COUNTED(1, _kvx_vl_mbschr(h, C(a), an, C(b), bn)), VLS_COUNTED(1, _kvx_vl_mbsrchr(h, C(a), an, C(b), bn)),
      VLS_COUNTED(1, _kvx_vl_mbsspn(h, C(a), an, C(b), bn)), VLS_COUNTED(1, _kvx_vl_mbscspn(h, C(a), an, C(b), bn)),
      VLS_COUNTED(1, _kvx_vl_mbspbrk(h, C(a), an, C(b), bn)), VLS_COUNTED(1, _kvx_vl_mbsmbs(h, C(a), an, C(b), bn)),
      VLS_COUNTED(1, _kvx_vl_wcscat(h, W(a), an, W(b), bn)), VLS_COUNTED(1, _kvx_vl_wcsncat(h, W(a), an, W(b), bn, 1)),
      VLS_COUNTED(1, _kvx_vl_wcsspn(h, W(a), an, W(b), bn)), VLS_COUNTED(1, _kvx_vl_wcscspn(h, W(a), an, W(b), bn)),
      VLS_COUNTED(1, _kvx_vl_wcspbrk(h, W(a), an, W(b), bn)), VLS_COUNTED(1, _kvx_vl_wcswcs(h, W(a), an, W(b), bn)),
      VLS_COUNTED(0, _kvx_vl_mbscpy(h, C(b), C(a), an)), VLS_COUNTED(0, _kvx_vl_mbsncpy(h, C(b), C(a), an, 1)),
      VLS_COUNTED(0, _kvx_vl_mbsntslen(h, C(a), an)), VLS_COUNTED(0, _kvx_vl_mbsntsbytes(h, C(a), an)),
      VLS_COUNTED(0, _kvx_vl_wcsntslen(h, W(a), an)), VLS_COUNTED(0, _kvx_vl_wcscpy(h, W(b), W(a), an)),
      VLS_COUNTED(0, _kvx_vl_wcsncpy(h, W(b), W(a), an, 1)), VLS_COUNTED(0, _kvx_vl_wcschr(h, W(a), an, 1)),
      VLS_COUNTED(0, _kvx_vl_wcsrchr(h, W(a), an, 1)),
  });
}

TEST_F(Str, WideMembers) {
  vl_locale_t *h = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  vl_wchar t[8];
  auto T = [&](std::initializer_list<vl_wchar> v) { std::fill(t, t + 8, 9), std::copy(v.begin(), v.end(), t); return t; };
  auto S = [&](size_t n) { return std::vector<vl_wchar>(t, t + n); };
  const vl_wchar s34[] = {3, 4, 0}, s12[] = {1, 2, 0}, s234[] = {2, 3, 4, 0}, w[] = {1, 2, 3, 2, 0}, set[] = {2, 1, 0};
  const vl_wchar sub[] = {3, 4, 0}, w4[] = {1, 2, 3, 4, 0};
  using V = std::vector<vl_wchar>;
  run({
      {"wcscat, no handle", [&] { return vl_wcscat(T({1, 2, 0}), s34) == t && S(5) == V{1, 2, 3, 4, 0}; }, 1, 0},
      {"wcscat null", [&] { return off(vl_wcscat(nullptr, s34), t); }, -1, 0},
      {"counted wcscat -1", [&] { return _kvx_vl_wcscat(h, T({1, 2, 0}), -1, s34, -1) * 10 + t[4]; }, 40, 0},
      {"counted wcscat: no terminator", [&] { return _kvx_vl_wcscat(h, T({1, 2, 7}), 2, s34, 1) * 10 + t[3]; }, 39, 0},
      {"counted wcscat no handle", [&] { return _kvx_vl_wcscat(nullptr, t, -1, s34, 1); }, -1, 0},
      {"wcscpy", [&] { return vl_wcscpy(T({}), s12) == t && S(4) == V{1, 2, 0, 9}; }, 1, 0},
      {"counted wcscpy", [&] { return _kvx_vl_wcscpy(nullptr, T({}), s12, -1) * 10 + _kvx_vl_wcscpy(nullptr, T({}), s12, 1) + t[1]; }, 30, 0},
      {"wcsncpy fills with zeros", [&] { return vl_wcsncpy(T({}), s12, 5) == t && S(6) == V{1, 2, 0, 0, 0, 9}; }, 1, 0},
      {"counted wcsncpy -1", [&] { return _kvx_vl_wcsncpy(nullptr, T({}), s12, -1, 5); }, 2, 0},
      {"counted wcsncpy n 1: no terminator", [&] { return _kvx_vl_wcsncpy(nullptr, T({}), s12, -1, 1) * 10 + t[1]; }, 19, 0},
      {"counted wcsncpy: the smaller, no fill", [&] { return _kvx_vl_wcsncpy(nullptr, T({}), s12, 3, 5) * 10 + t[3]; }, 39, 0},
      {"counted wcsncpy n below length", [&] { return _kvx_vl_wcsncpy(nullptr, T({}), s12, 3, 2); }, 2, 0},
      {"counted wcsncpy n -1", [&] { return _kvx_vl_wcsncpy(h, t, s12, -1, -1); }, -1, VL_EBADCOUNT},
      {"wcsncat", [&] { return vl_wcsncat(T({1, 0}), s234, 2) == t && S(4) == V{1, 2, 3, 0}; }, 1, 0},
      {"counted wcsncat -1", [&] { return _kvx_vl_wcsncat(nullptr, T({1, 0}), -1, s234, -1, 9); }, 4, 0},
      {"counted wcsncat", [&] { return _kvx_vl_wcsncat(nullptr, T({1}), 1, s234, 3, 2) * 10 + t[3]; }, 39, 0},
      {"wcschr and wcsrchr", [&] { return off(vl_wcschr(h, w, 2), w) * 10 + off(vl_wcsrchr(h, w, 2), w); }, 13, 0},
      {"wcschr not found", [&] { h->vl_errno = 99; return off(vl_wcschr(h, w, 7), w) + off(vl_wcschr(nullptr, w, 7), w); }, -2, 0},
      {"wcschr zero finds the terminator", [&] { return off(vl_wcschr(h, w, 0), w); }, 4, 0},
      {"counted wcschr", [&] { return off(_kvx_vl_wcschr(h, w, 1, 2), w) * 10 + off(_kvx_vl_wcsrchr(h, w, 3, 2), w); }, -9, 0},
      {"counted wcschr zero is a value", [&] { return off(_kvx_vl_wcschr(h, w, 5, 0), w) * 10 + off(_kvx_vl_wcschr(h, w, 4, 0), w); }, 39, 0},
      {"wcsrchr null", [&] { return off(vl_wcsrchr(h, nullptr, 1), w); }, -1, VL_EBADPTR},
      {"wcsspn, wcscspn", [&] { return vl_wcsspn(h, w4, set) * 10 + vl_wcscspn(h, w4, sub); }, 22, 0},
      {"counted wcsspn, wcscspn", [&] { return _kvx_vl_wcsspn(h, w4, 4, set, 1) * 10 + _kvx_vl_wcscspn(h, w4, 1, sub, 2); }, 1, 0},
      {"wcspbrk", [&] { return off(vl_wcspbrk(h, w4, sub), w4) * 10 + off(_kvx_vl_wcspbrk(h, w4, 2, sub, 2), w4); }, 19, 0},
      {"wcswcs", [&] { return off(vl_wcswcs(h, w4, sub), w4) * 10 + off(vl_wcswcs(h, w4, w4 + 4), w4); }, 20, 0},
      {"counted wcswcs", [&] { return off(_kvx_vl_wcswcs(h, w4, 3, sub, 2), w4) * 10 + off(_kvx_vl_wcswcs(h, w4, 4, sub, 2), w4); }, -8, 0},
      {"wcswcs no handle", [&] { return off(vl_wcswcs(nullptr, w4, set), w4); }, -1, 0},
  }, h);
  vl_lc_unload(h);
}

}  // namespace
