// Multibyte and wide characters: single characters both ways, lengths and
// terminators, string conversions and display widths, on every character
// and on generated strings of a single-byte, a one-and-two-byte and a
// shortest-two-bytes codeset, and a table of limits and damaged input.

#include "strfix.h"

namespace {

using namespace vlstest;
using Mbwc = Codesets;

// Columns of a character by its classes; -1 when it is not printable.
int width(uint16_t mask) { return (mask & M_PRINT) ? ((mask & M_LOCAL0) ? 2 : 1) : -1; }

TEST_F(Mbwc, EveryCharacterBothWaysAndItsWidth) {
  for (const Set &s : sets())
    for (const Char &c : s.chars) {
      const int n = static_cast<int>(c.mb.size()), w = width(c.mask);
      const std::string z = Z(c.mb, s.min);
      vl_wchar v = 0, v2 = 0;
      char out[8];
      s.h->vl_errno = 0;
      bool ok = vl_full_mbtowc(s.h, &v, z.data(), 4) == n && v == c.wc &&
                _kvx_vl_full_mbtowc(s.h, &v2, z.data(), -1) == n && v2 == c.wc &&
                vl_full_wctomb(s.h, out, c.wc) == n && std::string(out, n) == c.mb && vl_wclen(s.h, c.wc) == n &&
                s.h->vl_errno == 0 && vl_wcwidth(s.h, c.wc) == w && s.h->vl_errno == (w < 0 ? 7u : 0u);
      s.h->vl_errno = 0;  // a control character of one byte has a width as a multibyte character
      ok = ok && vl_mbwidth(s.h, z.data()) == (w < 0 && n == 1 ? 1 : w) &&
           s.h->vl_errno == (w < 0 && n > 1 ? 7u : 0u);
      if (n > 1) ok = ok && vl_full_mbtowc(s.h, &v, z.data(), n - 1) == -1 && s.h->vl_errno == VL_EINVAL;
      EXPECT_TRUE(ok) << s.name << " " << std::hex << c.wc;
    }
}

TEST_F(Mbwc, GeneratedStringsAgreeAcrossForms) {
  for (const Set &s : sets()) {
    std::vector<Char> printable;
    std::copy_if(s.chars.begin(), s.chars.end(), std::back_inserter(printable), [](const Char &c) { return width(c.mask) > 0; });
    for (size_t k = 0; k < 80; ++k) {
      const Text x = text(k % 2 ? printable : s.chars, k % 15);
      SCOPED_TRACE(std::string(s.name) + " " + std::to_string(k));
      const int n = static_cast<int>(x.wc.size()), bytes = static_cast<int>(x.mb.size());
      const std::string z = Z(x.mb, s.min);
      std::vector<vl_wchar> w0 = x.wc;
      w0.push_back(0);
      vl_wchar wb[32];
      char mbuf[128];
      s.h->vl_errno = 0;
      EXPECT_EQ(std::vector<int>({_vl_im_mbslen(s.h, z.data()), _kvx_vl_im_mbfslen(s.h, x.mb.data(), bytes),
                                  vl_mbsbytes(s.h, z.data()), vl_mbsbytes_nt(s.h, z.data()), vl_wcslen(w0.data()),
                                  vl_wcsbytes(w0.data())}),
                std::vector<int>({n, n, bytes + s.min, bytes, n, 4 * (n + 1)}));
      EXPECT_EQ(s.h->mbstowcs_fn(s.h, wb, z.data(), 32), n);
      EXPECT_EQ(std::vector<vl_wchar>(wb, wb + n + 1), w0);
      EXPECT_EQ(s.h->mbstowcs_fn(s.h, wb, z.data(), n), n);  // no room for the zero
      if (n) {
        EXPECT_EQ(s.h->mbfstowcfs_fn(s.h, wb, x.mb.data(), bytes, 32), n);
        EXPECT_EQ(std::vector<vl_wchar>(wb, wb + n), x.wc);
        // stopped by the capacity, the multibyte form counts one more
        EXPECT_EQ(s.h->mbfstowcfs_fn(s.h, wb, x.mb.data(), bytes, n - 1), s.h->single_byte ? n - 1 : n);
      }
      memset(mbuf, 'x', sizeof mbuf);
      EXPECT_EQ(vl_full_wcstombs(s.h, mbuf, w0.data(), 128), bytes);
      EXPECT_EQ(std::string(mbuf, bytes + s.min + 1), z + "x");
      memset(mbuf, 'x', sizeof mbuf);
      EXPECT_EQ(_kvx_vl_full_wcstombs(s.h, mbuf, w0.data(), n, 128), bytes);
      EXPECT_EQ(std::string(mbuf, bytes + 1), x.mb + "x");
      EXPECT_EQ(vl_full_wcstombs(s.h, mbuf, w0.data(), bytes + s.min - 1), bytes);  // terminator left out
      if (n) {  // a capacity inside the last character stops before it
        EXPECT_EQ(vl_full_wcstombs(s.h, mbuf, w0.data(), bytes - 1), static_cast<int>(x.at.back()));
      }
      if (s.h->single_byte) {
        EXPECT_EQ(_vl_is_wcstombs(s.h, mbuf, w0.data(), 128), bytes);
        EXPECT_EQ(is_wcstombs(s.h, mbuf, w0.data(), 128), bytes);
        EXPECT_EQ(std::string(mbuf, bytes + 1), z);
        EXPECT_EQ(_kvx_vl_is_wcstombs(s.h, mbuf, w0.data(), n, 128), bytes);
      }
      EXPECT_EQ(s.h->vl_errno, 0u);
      for (int count : {n + 1, n / 2}) {
        int sum = 0;
        for (int i = 0; i < count && i < n; ++i) sum = (sum < 0 || width(x.mask[i]) < 0) ? -1 : sum + width(x.mask[i]);
        const uint32_t err = sum < 0 ? VL_EINVAL : 0;
        s.h->vl_errno = 0;
        EXPECT_EQ(vl_wcswidth(s.h, w0.data(), count), sum);
        EXPECT_EQ(s.h->vl_errno, err);
        s.h->vl_errno = 0;
        EXPECT_EQ(vl_mbswidth(s.h, z.data(), count), sum);
        EXPECT_EQ(s.h->vl_errno, err);
        if (count > n) {
          s.h->vl_errno = 0;
          EXPECT_EQ(vl_wcspwidth(s.h, w0.data(), w0.data() + n), sum);
          EXPECT_EQ(vl_mbspwidth(s.h, z.data(), z.data() + bytes), sum);
          EXPECT_EQ(s.h->vl_errno, err);
        }
      }
    }
  }
}

TEST_F(Mbwc, LimitsAndDamagedInput) {
  vl_wchar v = 7, wb[8];
  char out[8];
  const std::string nul2 = B({0, 0}), lone = B({0, 'a', 0, 0, 0}), w6 = B({0, 'a', 0, 0, 0x30, 0x42});
  const std::string wab = B({0, 'a', 0, 'b'}), z = B({'a', 0, 'b', 'c'}), wcut = B({0, 'a', 0});
  const vl_wchar ae[] = {0x61, 0xE9, 0}, big[] = {0x61, 0x100, 0}, mbw[] = {0x61, 0xB0A1, 0x62, 0};
  const vl_wchar bad[] = {0x61, 0x80, 0}, ws[] = {0x41, 0xB0A1, 0x8EA1, 0, 0xB0A1};
  const vl_wchar ctl[] = {0x41, 0x09, 0};
  const char mbs[16] = "a\xB0\xA1" "b", ab[8] = "ab", *bad80 = "a\x80";
  run({
      {"mbtowc null string: no error", [&] { mb->vl_errno = 42; return vl_full_mbtowc(mb, &v, nullptr, 0) + v; }, 7, 42},
      {"counted mbtowc null string", [&] { return _kvx_vl_full_mbtowc(mb, &v, nullptr, -1); }, 0, 0},
      {"mbtowc empty string", [&] { v = 9; return vl_full_mbtowc(mb, &v, "", 4) + v; }, 0, 0},
      {"mbtowc two-byte NUL", [&] { v = 9; return vl_full_mbtowc(w2, &v, nul2.data(), 4) + v; }, 0, 0},
      {"counted mbtowc two-byte NUL", [&] { return _kvx_vl_full_mbtowc(w2, &v, nul2.data(), 2); }, 0, 0},
      {"mbtowc limit 0", [&] { return vl_full_mbtowc(mb, &v, "A", 0); }, -1, VL_EINVAL},
      {"mbtowc limit -1 is no sentinel", [&] { return vl_full_mbtowc(mb, &v, "A", -1); }, -1, VL_EINVAL},
      {"counted mbtowc limit -2", [&] { return _kvx_vl_full_mbtowc(mb, &v, "A", -2); }, -1, VL_EINVAL},
      {"mbtowc no character", [&] { return vl_full_mbtowc(mb, &v, "\x80", 4); }, -1, VL_EILSEQ},
      {"mbtowc bad second byte", [&] { return vl_full_mbtowc(mb, &v, "\xB0\x41", 4); }, -1, VL_EILSEQ},
      {"counted mbtowc -1, lead before NUL", [&] { return _kvx_vl_full_mbtowc(mb, &v, "\xB0", -1); }, -1, VL_EILSEQ},
      {"counted mbtowc -1, empty", [&] { return _kvx_vl_full_mbtowc(mb, &v, "", -1); }, -1, VL_EINVAL},
      {"wctomb 0x80", [&] { return vl_full_wctomb(mb, out, 0x80); }, -1, VL_EILSEQ},
      {"wctomb 0x41 leads nothing", [&] { return vl_full_wctomb(mb, out, 0x41A1); }, -1, VL_EILSEQ},
      {"wctomb keeps the accepted prefix", [&] { return vl_full_wctomb(mb, out, 0xB041) * 1000 + (out[0] & 0xFF); },
       -1000 + 0xB0, VL_EILSEQ},
      {"wctomb two bytes in one-byte codeset", [&] { return vl_full_wctomb(sb, out, 0x1234); }, -1, VL_EILSEQ},
      {"wctomb four bytes", [&] { return vl_full_wctomb(mb, out, 0x12345678); }, -1, VL_EILSEQ},
      {"wctomb NUL in single-byte", [&] { return vl_full_wctomb(sb, out, 0) * 1000 + out[0]; }, 1000, 0},
      {"wclen single-byte: always 1", [&] { return vl_wclen(sb, 0x1234); }, 1, 0},
      {"wclen no character", [&] { return vl_wclen(mb, 0x80); }, -1, VL_EILSEQ},
      {"wcslen null", [&] { return vl_wcslen(nullptr) + vl_wcsbytes(nullptr); }, 0, 0},
      {"mbsbytes null", [&] { return vl_mbsbytes(mb, nullptr); }, 0, 0},
      {"mbsbytes lead before NUL", [&] { return vl_mbsbytes(mb, "a\xB0"); }, 0, VL_EILSEQ},
      {"mbsbytes lone zero byte is no terminator", [&] { return vl_mbsbytes(w2, lone.data() + 1); }, 0, VL_EILSEQ},
      {"mbsbytes_nt null", [&] { return vl_mbsbytes_nt(mb, nullptr); }, -1, VL_EBADPTR},
      {"mbsbytes_nt lead before NUL", [&] { return vl_mbsbytes_nt(mb, "ab\xB0"); }, -1, VL_EILSEQ},
      {"ismbsterm one zero byte", [&] { return vl_ismbsterm(w2, wab.data()); }, 0, 0},
      {"ismbsterm null", [&] { return vl_ismbsterm(mb, nullptr); }, 1, 0},
      {"mbsterm writes the shortest length", [&] { memset(out, 'x', 4); return vl_mbsterm(w2, out) * 100 + out[1] + out[2]; },
       200 + 'x', 0},
      {"mbfslen counted NUL", [&] { return _kvx_vl_im_mbfslen(mb, z.data(), 3) * 10 + _kvx_vl_im_mbfslen(sb, z.data(), 3); }, 33, 0},
      {"mbfslen two-byte NUL", [&] { return _kvx_vl_im_mbfslen(w2, w6.data(), 6) * 10 + _kvx_vl_im_mbfslen(w2, w6.data(), -1); }, 31, 0},
      {"mbfslen straddles the end", [&] { return _kvx_vl_im_mbfslen(mb, mbs, 2); }, -1, VL_EILSEQ},
      {"mbfslen straddles, two-byte", [&] { return _kvx_vl_im_mbfslen(w2, wab.data(), 3); }, -1, VL_EILSEQ},
      {"mbfslen half a NUL", [&] { return _kvx_vl_im_mbfslen(w2, nul2.data(), 1); }, -1, VL_EILSEQ},
      {"mbslen no character", [&] { return _vl_im_mbslen(mb, "a\x80"); }, -1, VL_EILSEQ},
      {"mbfslen -1, no character", [&] { return _kvx_vl_im_mbfslen(w2, "\x31", -1); }, -1, VL_EILSEQ},
      {"is_mbstowcs copies the zero", [&] { wb[3] = 9; return _vl_is_mbstowcs(sb, wb, "ab\xE9", 8) * 1000 + wb[2] + wb[3]; }, 3000 + 0xE9, 0},
      {"is_mbstowcs capacity 0", [&] { return _vl_is_mbstowcs(sb, wb, "abc", 0) + _vl_is_mbstowcs(sb, wb, "abc", -3); }, 0, 0},
      {"is_mbfstowcfs counted NUL", [&] { return _kvx_vl_is_mbfstowcfs(sb, wb, z.data(), 3, 8) * 100 + wb[1] * 10 + (wb[2] == 'b'); }, 301, 0},
      {"is_mbfstowcfs capacity", [&] { return _kvx_vl_is_mbfstowcfs(sb, wb, z.data(), 4, 2); }, 2, 0},
      {"is_mbfstowcfs length 0", [&] { return _kvx_vl_is_mbfstowcfs(sb, wb, z.data(), 0, 2); }, 0, 0},
      {"im_mbfstowcfs capacity 0: 1", [&] { return _kvx_vl_im_mbfstowcfs(mb, wb, "abcd", 4, 0); }, 1, 0},
      {"im_mbfstowcfs counted NUL", [&] { return _kvx_vl_im_mbfstowcfs(mb, wb, z.data(), 3, 8) * 10 + wb[1]; }, 30, 0},
      {"im_mbfstowcfs cut by the end", [&] { return _kvx_vl_im_mbfstowcfs(mb, wb, mbs, 2, 8); }, -1, VL_EILSEQ},
      {"im_mbstowcs lead before NUL", [&] { return _vl_im_mbstowcs(mb, wb, "a\xB0", 8); }, -1, VL_EILSEQ},
      {"im_mbfstowcfs nothing to read", [&] { return _kvx_vl_im_mbfstowcfs(mb, wb, "a", 0, 8); }, -1, VL_EILSEQ},
      {"im_mbfstowcfs half a character", [&] { return _kvx_vl_im_mbfstowcfs(w2, wb, wcut.data(), 3, 8); }, -1, VL_EILSEQ},
      {"is_wcstombs no room for the terminator", [&] { out[2] = 'x'; return _vl_is_wcstombs(sb, out, ae, 2) * 1000 + out[2]; }, 2000 + 'x', 0},
      {"is_wcstombs counted zero value", [&] { out[2] = 'x'; return _kvx_vl_is_wcstombs(sb, out, ae, 3, 8) * 1000 + out[2]; }, 3000, 0},
      {"is_wcstombs capacity 0", [&] { return _vl_is_wcstombs(sb, out, ae, 0); }, 0, 0},
      {"is_wcstombs above 255", [&] { return _vl_is_wcstombs(sb, out, big, 8); }, -1, VL_EILSEQ},
      {"is_wcstombs counted above 255", [&] { return _kvx_vl_is_wcstombs(sb, out, big, 2, 8); }, -1, VL_EILSEQ},
      {"is_wcstombs null", [&] { return _vl_is_wcstombs(sb, out, nullptr, 8); }, -1, VL_EBADPTR},
      {"full_wcstombs no character", [&] { return vl_full_wcstombs(mb, out, bad, 8); }, -1, VL_EILSEQ},
      {"full_wcstombs null", [&] { return vl_full_wcstombs(mb, out, nullptr, 8); }, -1, VL_EBADPTR},
      {"wcwidth of 0", [&] { return vl_wcwidth(mb, 0) + vl_wcwidth(sb, 0); }, 0, 0},
      {"wcwidth beyond the class table", [&] { return vl_wcwidth(sb, 0x100); }, -1, VL_EINVAL},
      {"wcwidth no character", [&] { return vl_wcwidth(mb, 0x80); }, -1, VL_EINVAL},
      {"mbwidth null", [&] { return vl_mbwidth(mb, nullptr); }, -1, VL_EBADPTR},
      {"mbwidth terminator", [&] { return vl_mbwidth(mb, "") + vl_mbwidth(sb, "") + vl_mbwidth(w2, nul2.data()); }, 0, 0},
      {"mbwidth no character", [&] { return vl_mbwidth(mb, "\x80"); }, -1, VL_EINVAL},
      {"wcswidth count -1", [&] { return vl_wcswidth(mb, ws, -1); }, -1, VL_EBADCOUNT},
      {"wcswidth null", [&] { return vl_wcswidth(mb, nullptr, 3); }, -1, VL_EBADPTR},
      {"wcswidth control out of count", [&] { return vl_wcswidth(sb, ctl, 1); }, 1, 0},
      {"mbswidth count -1", [&] { return vl_mbswidth(sb, "abc", -1); }, -1, VL_EBADCOUNT},
      {"mbswidth null", [&] { return vl_mbswidth(sb, nullptr, 1); }, -1, VL_EBADPTR},
      {"mbswidth bad second byte", [&] { return vl_mbswidth(mb, "a\xB0\x41", 5); }, -1, VL_EILSEQ},
      {"wcspwidth the terminator ends it", [&] { return vl_wcspwidth(mb, mbw, mbw + 4); }, 4, 0},
      {"wcspwidth reversed", [&] { return vl_wcspwidth(mb, mbw + 1, mbw); }, -1, VL_EBADRANGE},
      {"wcspwidth null start", [&] { return vl_wcspwidth(mb, nullptr, mbw); }, -1, VL_EBADPTR},
      {"wcspwidth null end", [&] { return vl_wcspwidth(mb, mbw, nullptr); }, -1, VL_EBADPTR},
      {"mbspwidth clears the error", [&] { mb->vl_errno = 33; return vl_mbspwidth(mb, mbs, mbs + 3); }, 3, 0},
      {"mbspwidth the terminator ends it", [&] { return vl_mbspwidth(mb, mbs, mbs + 10) + vl_mbspwidth(sb, ab, ab + 5); }, 6, 0},
      {"mbspwidth null end", [&] { return vl_mbspwidth(sb, "abc", nullptr); }, -1, VL_EBADPTR},
      {"mbspwidth reversed", [&] { return vl_mbspwidth(mb, mbs + 1, mbs); }, -1, VL_EBADRANGE},
      {"mbspwidth no character reports 1", [&] { return vl_mbspwidth(mb, bad80, bad80 + 2); }, -1, VL_EILSEQ},
  });
}

TEST_F(Mbwc, CountedMembersCheckPointersAndLengths) {
  check_counted(mb, {VLS_COUNTED(0, _kvx_vl_im_mbfslen(h, C(a), an)), VLS_COUNTED(0, _kvx_vl_im_mbfstowcfs(h, W(b), C(a), an, 4)),
                     VLS_COUNTED(0, _kvx_vl_full_wcstombs(h, C(b), W(a), an, 8))});
  check_counted(sb, {VLS_COUNTED(0, _kvx_vl_is_mbfstowcfs(h, W(b), C(a), an, 4)), VLS_COUNTED(0, _kvx_vl_is_wcstombs(h, C(b), W(a), an, 8))});
}

TEST_F(Mbwc, SlWctombUsesTheCollationTree) {
  vl_locale_t *h = make_handle(latin1_spec());
  ASSERT_NE(h, nullptr);
  char out[4];
  const uint16_t zero = 0;
  multi_t *t = _vl_create_multi(2, 0, &zero);
  vl_desc_t d1 = desc({0xC4, 0xA5}), d2 = desc({0x20, 0x21});
  ASSERT_EQ(_vl_insert_desc_multi(&d1, &zero, t) | _vl_insert_desc_multi(&d2, &zero, t), 0);
  run({{"no collation tree", [&] { return _vl_sl_wctomb(h, out, 0x41); }, -1, VL_EILSEQ},
       {"two bytes", [&] {
          std::swap(h->coll_rows, t);
          return _vl_sl_wctomb(h, out, 0xC4A5) * 1000 + (out[1] & 0xFF);
        }, 2000 + 0xA5, 0},
       {"shortest length 2 there", [&] { return _vl_sl_wctomb(h, out, 0x21); }, -1, VL_EILSEQ},
       {"LC_CTYPE untouched", [&] { return vl_full_wctomb(h, out, 0xC4A5); }, -1, VL_EILSEQ}},
      h);
  _vl_free_multi(t);
  vl_lc_unload(h);
}

}  // namespace
