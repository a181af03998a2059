// Multibyte and wide characters: single characters both ways, lengths and
// terminators, string conversions and display widths, in a single-byte
// locale, a one-and-two-byte locale and a locale whose shortest character
// has two bytes.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include <vls/vlsctype.h>
#include <vls/vlsmbwc.h>

#include "lcofix.h"
#include "threelocales.h"
#include "vlstest.h"

namespace {

using Mbwc = vlstest::ThreeLocales;
using vlstest::B;


// ---- fixture sanity ----------------------------------------------------------------

TEST_F(Mbwc, FixtureKinds) {
  EXPECT_EQ(sb->single_byte, 1);
  EXPECT_EQ(mb->single_byte, 0);
  EXPECT_EQ(w2->single_byte, 0);
  EXPECT_EQ(vl_mb_loc_min(w2), 2);
  EXPECT_EQ(vl_mb_loc_max(mb), 2);
  EXPECT_EQ(sb->mbstowcs_fn, &_vl_is_mbstowcs);
  EXPECT_EQ(sb->mbfstowcfs_fn, &_kvx_vl_is_mbfstowcfs);
  EXPECT_EQ(mb->mbstowcs_fn, &_vl_im_mbstowcs);
  EXPECT_EQ(mb->mbfstowcfs_fn, &_kvx_vl_im_mbfstowcfs);
  EXPECT_NE(vl_ctype(mb, "full_width"), 0u);
  EXPECT_EQ(vl_ctype(sb, "full_width"), 0u);
}

// ---- multibyte to wide -------------------------------------------------------------

TEST_F(Mbwc, MbtowcEmptyStringIsNul) {
  vl_wchar v = 99;
  EXPECT_EQ(vl_full_mbtowc(mb, &v, "", 4), 0);
  EXPECT_EQ(v, 0u);
  v = 99;
  EXPECT_EQ(vl_full_mbtowc(sb, &v, "", 4), 0);
  EXPECT_EQ(v, 0u);
  v = 99;
  const std::string nul2 = B({0, 0});
  EXPECT_EQ(vl_full_mbtowc(w2, &v, nul2.data(), 4), 0);
  EXPECT_EQ(v, 0u);
  // The counted twin also reports a NUL character as 0.
  EXPECT_EQ(_kvx_vl_full_mbtowc(w2, &v, nul2.data(), 2), 0);
  EXPECT_EQ(mb->vl_errno + sb->vl_errno + w2->vl_errno, 0u);
}

TEST_F(Mbwc, MbtowcNullStringGivesZeroWithoutError) {
  vl_wchar v = 7;
  mb->vl_errno = 42;
  EXPECT_EQ(vl_full_mbtowc(mb, &v, nullptr, 4), 0);
  EXPECT_EQ(_kvx_vl_full_mbtowc(mb, &v, nullptr, -1), 0);
  EXPECT_EQ(vl_full_mbtowc(mb, &v, nullptr, 0), 0);
  EXPECT_EQ(mb->vl_errno, 42u);
  EXPECT_EQ(v, 7u);
}

TEST_F(Mbwc, MbtowcFoldsBytesBigEndian) {
  vl_wchar v = 0;
  EXPECT_EQ(vl_full_mbtowc(mb, &v, "\xB0\xA1z", 4), 2);
  EXPECT_EQ(v, 0xB0A1u);
  EXPECT_EQ(vl_full_mbtowc(mb, &v, "A", 1), 1);
  EXPECT_EQ(v, 0x41u);
  EXPECT_EQ(vl_full_mbtowc(sb, &v, "\xE9", 1), 1);
  EXPECT_EQ(v, 0xE9u);
  const std::string a2 = B({0x30, 0x42});
  EXPECT_EQ(vl_full_mbtowc(w2, &v, a2.data(), 2), 2);
  EXPECT_EQ(v, 0x3042u);
}

TEST_F(Mbwc, MbtowcLimitBelowOne) {
  vl_wchar v = 0;
  EXPECT_EQ(vl_full_mbtowc(mb, &v, "A", 0), -1);
  EXPECT_EQ(mb->vl_errno, 7u);
  mb->vl_errno = 0;
  // -1 is an error for the terminated form, not "NUL-terminated".
  EXPECT_EQ(vl_full_mbtowc(mb, &v, "A", -1), -1);
  EXPECT_EQ(mb->vl_errno, 7u);
  mb->vl_errno = 0;
  EXPECT_EQ(_kvx_vl_full_mbtowc(mb, &v, "A", -2), -1);
  EXPECT_EQ(mb->vl_errno, 7u);
}

TEST_F(Mbwc, MbtowcTruncatedAndInvalid) {
  vl_wchar v = 0x55;
  EXPECT_EQ(vl_full_mbtowc(mb, &v, "\xB0\xA1", 1), -1);
  EXPECT_EQ(mb->vl_errno, 7u);
  EXPECT_EQ(v, 0x55u);
  mb->vl_errno = 0;
  EXPECT_EQ(vl_full_mbtowc(mb, &v, "\x80", 4), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  mb->vl_errno = 0;
  EXPECT_EQ(vl_full_mbtowc(mb, &v, "\xB0\x41", 4), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
}

TEST_F(Mbwc, CountedMbtowcMinusOneIsTerminated) {
  vl_wchar v = 0;
  EXPECT_EQ(_kvx_vl_full_mbtowc(mb, &v, "\xB0\xA1", -1), 2);
  EXPECT_EQ(v, 0xB0A1u);
  EXPECT_EQ(_kvx_vl_full_mbtowc(mb, &v, "ab", -1), 1);
  EXPECT_EQ(v, 0x61u);
  const std::string a = B({0, 0x41, 0, 0});
  EXPECT_EQ(_kvx_vl_full_mbtowc(w2, &v, a.data(), -1), 2);
  EXPECT_EQ(v, 0x41u);
  // A string that does not measure gives -1.
  EXPECT_EQ(_kvx_vl_full_mbtowc(mb, &v, "\xB0", -1), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  mb->vl_errno = 0;
  // The empty string leaves no room before the terminator.
  EXPECT_EQ(_kvx_vl_full_mbtowc(mb, &v, "", -1), -1);
  EXPECT_EQ(mb->vl_errno, 7u);
}

// ---- wide to multibyte -------------------------------------------------------------

TEST_F(Mbwc, WctombWidthFollowsShortestLength) {
  char out[8];
  memset(out, 'x', sizeof out);
  EXPECT_EQ(vl_full_wctomb(w2, out, 0x41), 2);
  EXPECT_EQ(out[0], 0);
  EXPECT_EQ(out[1], 0x41);
  EXPECT_EQ(out[2], 'x');  // no terminator
  memset(out, 'x', sizeof out);
  EXPECT_EQ(vl_full_wctomb(sb, out, 0x41), 1);
  EXPECT_EQ(out[0], 0x41);
  EXPECT_EQ(out[1], 'x');
  EXPECT_EQ(vl_full_wctomb(mb, out, 0xB0A1), 2);
  EXPECT_EQ(std::string(out, 2), "\xB0\xA1");
  EXPECT_EQ(vl_full_wctomb(mb, out, 0x8EDF), 2);
  EXPECT_EQ(std::string(out, 2), "\x8E\xDF");
  EXPECT_EQ(vl_full_wctomb(w2, out, 0x30FF), 2);
  EXPECT_EQ(std::string(out, 2), "\x30\xFF");
  EXPECT_EQ(vl_full_wctomb(sb, out, 0), 1);
  EXPECT_EQ(out[0], 0);
}

TEST_F(Mbwc, WctombRejectsNonCharacters) {
  char out[8];
  EXPECT_EQ(vl_full_wctomb(mb, out, 0x80), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  mb->vl_errno = 0;
  EXPECT_EQ(vl_full_wctomb(mb, out, 0x41A1), -1);  // 0x41 does not lead on
  EXPECT_EQ(mb->vl_errno, 1u);
  mb->vl_errno = 0;
  EXPECT_EQ(vl_full_wctomb(mb, out, 0xB041), -1);  // lead accepted, last byte not
  EXPECT_EQ(mb->vl_errno, 1u);
  EXPECT_EQ(static_cast<unsigned char>(out[0]), 0xB0u);  // the accepted prefix stands
  EXPECT_EQ(vl_full_wctomb(sb, out, 0x1234), -1);  // two bytes in a one-byte codeset
  EXPECT_EQ(sb->vl_errno, 1u);
  EXPECT_EQ(vl_full_wctomb(mb, out, 0x12345678), -1);
  EXPECT_EQ(vl_full_wctomb(w2, out, 0x3141), -1);
}

TEST_F(Mbwc, SlWctombUsesTheCollationTree) {
  vl_locale_t *h = vlstest::make_handle(vlstest::latin1_spec());
  ASSERT_NE(h, nullptr);
  char out[4];
  // The collation tree of a handle without LC_COLLATE knows no character.
  EXPECT_EQ(_vl_sl_wctomb(h, out, 0x41), -1);
  EXPECT_EQ(h->vl_errno, 1u);
  h->vl_errno = 0;
  const uint16_t zero = 0;
  multi_t *t = _vl_create_multi(2, 0, &zero);
  ASSERT_NE(t, nullptr);
  vl_desc_t d1 = vlstest::desc({0xC4, 0xA5});
  vl_desc_t d2 = vlstest::desc({0x20, 0x21});
  ASSERT_EQ(_vl_insert_desc_multi(&d1, &zero, t), 0);
  ASSERT_EQ(_vl_insert_desc_multi(&d2, &zero, t), 0);
  _vl_free_multi(h->coll_rows);
  h->coll_rows = t;
  EXPECT_EQ(_vl_sl_wctomb(h, out, 0xC4A5), 2);
  EXPECT_EQ(std::string(out, 2), "\xC4\xA5");
  // Shortest length 2 here: 0x21 alone is the two bytes 0x00 0x21.
  EXPECT_EQ(_vl_sl_wctomb(h, out, 0x21), -1);
  EXPECT_EQ(h->vl_errno, 1u);
  // LC_CTYPE is untouched by it.
  EXPECT_EQ(vl_full_wctomb(h, out, 0xC4A5), -1);
  vl_lc_unload(h);
}

TEST_F(Mbwc, Wclen) {
  EXPECT_EQ(vl_wclen(sb, 0x1234), 1);
  EXPECT_EQ(vl_wclen(sb, 0x41), 1);
  EXPECT_EQ(vl_wclen(mb, 0x41), 1);
  EXPECT_EQ(vl_wclen(mb, 0xB0A1), 2);
  EXPECT_EQ(vl_wclen(w2, 0x41), 2);
  EXPECT_EQ(vl_wclen(mb, 0x80), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
}

// ---- lengths and terminators ---------------------------------------------------------

TEST_F(Mbwc, WideLengths) {
  const vl_wchar empty[] = {0};
  const vl_wchar three[] = {1, 0xB0A1, 3, 0, 5};
  EXPECT_EQ(vl_wcslen(empty), 0);
  EXPECT_EQ(vl_wcsbytes(empty), 4);
  EXPECT_EQ(vl_wcslen(three), 3);
  EXPECT_EQ(vl_wcsbytes(three), 16);
}

TEST_F(Mbwc, MbsbytesCountsTheTerminator) {
  EXPECT_EQ(vl_mbsbytes(sb, "abc"), 4);
  EXPECT_EQ(vl_mbsbytes_nt(sb, "abc"), 3);
  EXPECT_EQ(vl_mbsbytes(mb, "abc"), 4);
  EXPECT_EQ(vl_mbsbytes_nt(mb, "abc"), 3);
  EXPECT_EQ(vl_mbsbytes(mb, "a\xB0\xA1"), 4);
  EXPECT_EQ(vl_mbsbytes_nt(mb, "a\xB0\xA1"), 3);
  EXPECT_EQ(vl_mbsbytes(sb, ""), 1);
  EXPECT_EQ(vl_mbsbytes_nt(sb, ""), 0);
  const std::string ab = B({0, 'a', 0x30, 0x42, 0, 0});
  EXPECT_EQ(vl_mbsbytes(w2, ab.data()), 6);
  EXPECT_EQ(vl_mbsbytes_nt(w2, ab.data()), 4);
  // A single zero byte is no terminator where the shortest character has
  // two bytes.
  const std::string lone = B({0, 'a', 0, 0, 0});
  EXPECT_EQ(vl_mbsbytes(w2, lone.data() + 1), 0);
}

TEST_F(Mbwc, MbsbytesFailures) {
  mb->vl_errno = 0;
  EXPECT_EQ(vl_mbsbytes(mb, nullptr), 0);
  EXPECT_EQ(mb->vl_errno, 0u);
  EXPECT_EQ(vl_mbsbytes(mb, "a\x80"), 0);
  EXPECT_EQ(mb->vl_errno, 1u);
  mb->vl_errno = 0;
  EXPECT_EQ(vl_mbsbytes(mb, "a\xB0"), 0);  // lead byte before the terminator
  EXPECT_EQ(mb->vl_errno, 1u);
  mb->vl_errno = 0;
  EXPECT_EQ(vl_mbsbytes_nt(mb, nullptr), -1);
  EXPECT_EQ(mb->vl_errno, 2u);
  mb->vl_errno = 0;
  EXPECT_EQ(vl_mbsbytes_nt(mb, "ab\xB0"), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  EXPECT_EQ(vl_mbsbytes_nt(sb, nullptr), -1);
  EXPECT_EQ(sb->vl_errno, 2u);
}

TEST_F(Mbwc, Terminators) {
  const std::string t2 = B({0, 0, 'x'});
  const std::string nt2 = B({0, 'a'});
  EXPECT_EQ(vl_ismbsterm(w2, t2.data()), 1);
  EXPECT_EQ(vl_ismbsterm(w2, nt2.data()), 0);
  EXPECT_EQ(vl_ismbsterm(sb, ""), 1);
  EXPECT_EQ(vl_ismbsterm(mb, "a"), 0);
  char buf[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(vl_mbsterm(w2, buf), 2);
  EXPECT_EQ(buf[0], 0);
  EXPECT_EQ(buf[1], 0);
  EXPECT_EQ(buf[2], 'x');
  EXPECT_EQ(vl_mbsterm(mb, buf + 2), 1);
  EXPECT_EQ(buf[2], 0);
  EXPECT_EQ(buf[3], 'x');
}

TEST_F(Mbwc, CountedLengthInCharacters) {
  EXPECT_EQ(_kvx_vl_im_mbfslen(mb, "a\xB0\xA1" "b", 4), 3);
  EXPECT_EQ(_kvx_vl_im_mbfslen(mb, "a\xB0\xA1" "b", -1), 3);
  EXPECT_EQ(_vl_im_mbslen(mb, "a\xB0\xA1" "b"), 3);
  EXPECT_EQ(_kvx_vl_im_mbfslen(mb, "a\xB0\xA1" "b", 0), 0);
  EXPECT_EQ(_vl_im_mbslen(mb, ""), 0);
  EXPECT_EQ(_vl_im_mbslen(sb, "abc"), 3);
  EXPECT_EQ(_kvx_vl_im_mbfslen(sb, "abc", 2), 2);
  // A NUL inside a counted string is a character.
  const std::string z = B({'a', 0, 'b'});
  EXPECT_EQ(_kvx_vl_im_mbfslen(mb, z.data(), 3), 3);
  EXPECT_EQ(_kvx_vl_im_mbfslen(sb, z.data(), 3), 3);
  const std::string w = B({0, 'a', 0, 0, 0x30, 0x42});
  EXPECT_EQ(_kvx_vl_im_mbfslen(w2, w.data(), 6), 3);
  EXPECT_EQ(_kvx_vl_im_mbfslen(w2, w.data(), -1), 1);
  EXPECT_EQ(mb->vl_errno + sb->vl_errno + w2->vl_errno, 0u);
}

TEST_F(Mbwc, CountedLengthStraddlingTheEnd) {
  EXPECT_EQ(_kvx_vl_im_mbfslen(mb, "\xB0\xA1", 1), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  mb->vl_errno = 0;
  EXPECT_EQ(_kvx_vl_im_mbfslen(mb, "a\xB0\xA1", 2), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  const std::string w = B({0, 'a', 0, 'b'});
  EXPECT_EQ(_kvx_vl_im_mbfslen(w2, w.data(), 3), -1);
  EXPECT_EQ(w2->vl_errno, 1u);
  w2->vl_errno = 0;
  const std::string nul = B({0, 0, 0, 0});
  EXPECT_EQ(_kvx_vl_im_mbfslen(w2, nul.data(), 1), -1);
  EXPECT_EQ(w2->vl_errno, 1u);
}

TEST_F(Mbwc, CountedLengthFailures) {
  EXPECT_EQ(_kvx_vl_im_mbfslen(mb, "a\x80", 2), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  mb->vl_errno = 0;
  EXPECT_EQ(_vl_im_mbslen(mb, "a\x80"), -1);
  EXPECT_NE(mb->vl_errno, 0u);
  mb->vl_errno = 0;
  EXPECT_EQ(_kvx_vl_im_mbfslen(mb, "abc", -2), -1);
  EXPECT_EQ(mb->vl_errno, 9u);
}

// ---- string conversions ------------------------------------------------------------

TEST_F(Mbwc, SingleByteMbstowcs) {
  vl_wchar w[8];
  for (auto &x : w) x = 0xDEAD;
  EXPECT_EQ(_vl_is_mbstowcs(sb, w, "ab\xE9", 8), 3);
  EXPECT_EQ(w[0], 0x61u);
  EXPECT_EQ(w[2], 0xE9u);  // bytes are unsigned
  EXPECT_EQ(w[3], 0u);     // the zero is copied
  EXPECT_EQ(w[4], 0xDEADu);
  for (auto &x : w) x = 0xDEAD;
  EXPECT_EQ(_vl_is_mbstowcs(sb, w, "abc", 3), 3);
  EXPECT_EQ(w[3], 0xDEADu);
  EXPECT_EQ(_vl_is_mbstowcs(sb, w, "abc", 2), 2);
  EXPECT_EQ(_vl_is_mbstowcs(sb, w, "abc", 0), 0);
  EXPECT_EQ(_vl_is_mbstowcs(sb, w, "abc", -3), 0);
  const std::string z = B({'a', 0, 'b', 'c'});
  for (auto &x : w) x = 0xDEAD;
  EXPECT_EQ(_kvx_vl_is_mbfstowcfs(sb, w, z.data(), 3, 8), 3);
  EXPECT_EQ(w[1], 0u);
  EXPECT_EQ(w[2], 0x62u);
  EXPECT_EQ(w[3], 0xDEADu);
  EXPECT_EQ(_kvx_vl_is_mbfstowcfs(sb, w, z.data(), 4, 2), 2);
  EXPECT_EQ(_kvx_vl_is_mbfstowcfs(sb, w, z.data(), 0, 2), 0);
  EXPECT_EQ(sb->vl_errno, 0u);
  // Through the handle's pointer.
  EXPECT_EQ(sb->mbstowcs_fn(sb, w, "xy", 8), 2);
}

TEST_F(Mbwc, MultibyteMbstowcsTerminated) {
  vl_wchar w[8];
  for (auto &x : w) x = 0xDEAD;
  EXPECT_EQ(_vl_im_mbstowcs(mb, w, "a\xB0\xA1" "b", 8), 3);
  EXPECT_EQ(w[0], 0x61u);
  EXPECT_EQ(w[1], 0xB0A1u);
  EXPECT_EQ(w[2], 0x62u);
  EXPECT_EQ(w[3], 0u);
  EXPECT_EQ(w[4], 0xDEADu);
  EXPECT_EQ(_vl_im_mbstowcs(mb, w, "ab", 2), 2);  // ran out before the zero
  EXPECT_EQ(_vl_im_mbstowcs(mb, w, "ab", 0), 0);
  EXPECT_EQ(_vl_im_mbstowcs(mb, w, "", 4), 0);
  EXPECT_EQ(w[0], 0u);
  const std::string s = B({0, 'a', 0x30, 0x42, 0, 0});
  EXPECT_EQ(_vl_im_mbstowcs(w2, w, s.data(), 8), 2);
  EXPECT_EQ(w[0], 0x61u);
  EXPECT_EQ(w[1], 0x3042u);
  EXPECT_EQ(w[2], 0u);
  EXPECT_EQ(mb->mbstowcs_fn(mb, w, "\xB0\xA1", 8), 1);
  EXPECT_EQ(mb->vl_errno + w2->vl_errno, 0u);
}

TEST_F(Mbwc, MultibyteMbfstowcfsCountsOneMoreAtCapacity) {
  vl_wchar w[8];
  for (auto &x : w) x = 0xDEAD;
  EXPECT_EQ(_kvx_vl_im_mbfstowcfs(mb, w, "abcd", 4, 2), 3);
  EXPECT_EQ(w[1], 0x62u);
  EXPECT_EQ(w[2], 0xDEADu);
  EXPECT_EQ(_kvx_vl_im_mbfstowcfs(mb, w, "abcd", 4, 0), 1);
  EXPECT_EQ(_kvx_vl_im_mbfstowcfs(mb, w, "abcd", 4, -5), 1);
  EXPECT_EQ(_kvx_vl_im_mbfstowcfs(mb, w, "abcd", -1, 0), 0);
  // With room the result is the true count.
  EXPECT_EQ(_kvx_vl_im_mbfstowcfs(mb, w, "abcd", 4, 8), 4);
  EXPECT_EQ(_kvx_vl_im_mbfstowcfs(mb, w, "abcd", 4, 4), 4);
  EXPECT_EQ(_kvx_vl_im_mbfstowcfs(mb, w, "abcd", 4, 3), 4);
  EXPECT_EQ(_kvx_vl_im_mbfstowcfs(mb, w, "a\xB0\xA1", 3, 8), 2);
  EXPECT_EQ(w[1], 0xB0A1u);
  // A counted NUL is an ordinary value.
  const std::string z = B({'a', 0, 'b'});
  EXPECT_EQ(_kvx_vl_im_mbfstowcfs(mb, w, z.data(), 3, 8), 3);
  EXPECT_EQ(w[1], 0u);
  EXPECT_EQ(w[2], 0x62u);
  EXPECT_EQ(mb->mbfstowcfs_fn(mb, w, "ab", 2, 8), 2);
  EXPECT_EQ(mb->vl_errno, 0u);
}

TEST_F(Mbwc, MultibyteMbfstowcfsFailures) {
  vl_wchar w[8];
  EXPECT_EQ(_kvx_vl_im_mbfstowcfs(mb, w, "a\xB0\xA1", 2, 8), -1);  // cut by the end
  EXPECT_EQ(mb->vl_errno, 1u);
  mb->vl_errno = 0;
  EXPECT_EQ(_kvx_vl_im_mbfstowcfs(mb, w, "a\x80", 2, 8), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  mb->vl_errno = 0;
  EXPECT_EQ(_vl_im_mbstowcs(mb, w, "a\xB0", 8), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  mb->vl_errno = 0;
  // Nothing to read at all in counted mode is a cut character too.
  EXPECT_EQ(_kvx_vl_im_mbfstowcfs(mb, w, "a", 0, 8), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  const std::string s = B({0, 'a', 0});
  EXPECT_EQ(_kvx_vl_im_mbfstowcfs(w2, w, s.data(), 3, 8), -1);
  EXPECT_EQ(w2->vl_errno, 1u);
}

TEST_F(Mbwc, SingleByteWcstombs) {
  char out[8];
  memset(out, 'x', sizeof out);
  const vl_wchar ab[] = {0x61, 0xE9, 0};
  EXPECT_EQ(_vl_is_wcstombs(sb, out, ab, 8), 2);
  EXPECT_EQ(std::string(out, 3), std::string("a\xE9", 3));
  EXPECT_EQ(out[3], 'x');
  EXPECT_EQ(is_wcstombs(sb, out, ab, 8), 2);
  memset(out, 'x', sizeof out);
  EXPECT_EQ(_vl_is_wcstombs(sb, out, ab, 2), 2);  // no room for the terminator
  EXPECT_EQ(out[2], 'x');
  memset(out, 'x', sizeof out);
  EXPECT_EQ(_kvx_vl_is_wcstombs(sb, out, ab, 1, 8), 1);  // counted: no terminator
  EXPECT_EQ(out[1], 'x');
  EXPECT_EQ(_kvx_vl_is_wcstombs(sb, out, ab, 3, 8), 3);  // the zero is a value
  EXPECT_EQ(out[2], 0);
  EXPECT_EQ(_vl_is_wcstombs(sb, out, ab, 0), 0);
  EXPECT_EQ(sb->vl_errno, 0u);
  const vl_wchar big[] = {0x61, 0x100, 0};
  EXPECT_EQ(_vl_is_wcstombs(sb, out, big, 8), -1);
  EXPECT_EQ(sb->vl_errno, 1u);
}

TEST_F(Mbwc, FullWcstombs) {
  char out[8];
  memset(out, 'x', sizeof out);
  const vl_wchar s[] = {0x61, 0xB0A1, 0x62, 0};
  EXPECT_EQ(vl_full_wcstombs(mb, out, s, 8), 4);
  EXPECT_EQ(std::string(out, 5), std::string("a\xB0\xA1" "b", 5));
  EXPECT_EQ(out[5], 'x');
  memset(out, 'x', sizeof out);
  EXPECT_EQ(_kvx_vl_full_wcstombs(mb, out, s, 2, 8), 3);
  EXPECT_EQ(out[3], 'x');
  const vl_wchar w[] = {0x41, 0x3042, 0};
  memset(out, 'x', sizeof out);
  EXPECT_EQ(vl_full_wcstombs(w2, out, w, 8), 4);
  EXPECT_EQ(std::string(out, 7), B({0, 0x41, 0x30, 0x42, 0, 0, 'x'}));
  const vl_wchar l[] = {0x41, 0xE9, 0};
  EXPECT_EQ(vl_full_wcstombs(sb, out, l, 8), 2);
  EXPECT_EQ(std::string(out, 3), std::string("A\xE9", 3));
  EXPECT_EQ(mb->vl_errno + sb->vl_errno + w2->vl_errno, 0u);
}

TEST_F(Mbwc, FullWcstombsStopsBeforeACharacterThatDoesNotFit) {
  char out[8];
  memset(out, 'x', sizeof out);
  const vl_wchar s[] = {0x61, 0xB0A1, 0x62, 0};
  EXPECT_EQ(vl_full_wcstombs(mb, out, s, 2), 1);
  EXPECT_EQ(out[0], 'a');
  EXPECT_EQ(out[1], 'x');
  EXPECT_EQ(mb->vl_errno, 0u);
  EXPECT_EQ(vl_full_wcstombs(mb, out, s, 4), 4);  // terminator left out
  EXPECT_EQ(out[4], 'x');
  EXPECT_EQ(vl_full_wcstombs(mb, out, s, 0), 0);
  const vl_wchar w[] = {0x41, 0};
  memset(out, 'x', sizeof out);
  EXPECT_EQ(vl_full_wcstombs(w2, out, w, 3), 2);
  EXPECT_EQ(out[2], 'x');
  EXPECT_EQ(mb->vl_errno + w2->vl_errno, 0u);
}

TEST_F(Mbwc, FullWcstombsRejectsNonCharacters) {
  char out[8];
  const vl_wchar s[] = {0x61, 0x80, 0};
  EXPECT_EQ(vl_full_wcstombs(mb, out, s, 8), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
}

// ---- widths -----------------------------------------------------------------------

TEST_F(Mbwc, WcwidthUsesFullWidthClass) {
  EXPECT_EQ(vl_wcwidth(mb, 0), 0);
  EXPECT_EQ(vl_wcwidth(mb, 0x41), 1);
  EXPECT_EQ(vl_wcwidth(mb, 0xB0A1), 2);
  EXPECT_EQ(vl_wcwidth(mb, 0xA1A1), 2);  // full-width space: printable, full width
  EXPECT_EQ(vl_wcwidth(mb, 0x8EA1), 1);  // half-width
  EXPECT_EQ(vl_wcwidth(w2, 0x3042), 2);
  EXPECT_EQ(vl_wcwidth(w2, 0x41), 1);
  EXPECT_EQ(vl_wcwidth(sb, 0xE9), 1);  // no "full_width" class: all one column
  EXPECT_EQ(vl_wcwidth(sb, 0), 0);
  EXPECT_EQ(mb->vl_errno + sb->vl_errno + w2->vl_errno, 0u);
}

TEST_F(Mbwc, WcwidthRejectsControlsAndNonCharacters) {
  EXPECT_EQ(vl_wcwidth(sb, 0x07), -1);
  EXPECT_EQ(sb->vl_errno, 7u);
  sb->vl_errno = 0;
  EXPECT_EQ(vl_wcwidth(sb, 0x100), -1);  // beyond the class table
  EXPECT_EQ(sb->vl_errno, 7u);
  EXPECT_EQ(vl_wcwidth(mb, 0x07), -1);
  EXPECT_EQ(mb->vl_errno, 7u);
  mb->vl_errno = 0;
  EXPECT_EQ(vl_wcwidth(mb, 0x80), -1);
  EXPECT_EQ(mb->vl_errno, 7u);
  EXPECT_EQ(vl_wcwidth(w2, 0x0A), -1);
  EXPECT_EQ(w2->vl_errno, 7u);
}

TEST_F(Mbwc, MbwidthOfControlDiffersFromWcwidth) {
  EXPECT_EQ(vl_mbwidth(sb, "\x07"), 1);
  EXPECT_EQ(vl_mbwidth(mb, "\x07"), 1);
  EXPECT_EQ(vl_mbwidth(sb, "\x85"), 1);
  EXPECT_EQ(vl_wcwidth(sb, 0x85), -1);
  sb->vl_errno = 0;
  EXPECT_EQ(mb->vl_errno, 0u);
  // A control character of two bytes has no width.
  const std::string c2 = B({0, 0x07, 0, 0});
  EXPECT_EQ(vl_mbwidth(w2, c2.data()), -1);
  EXPECT_EQ(w2->vl_errno, 7u);
}

TEST_F(Mbwc, Mbwidth) {
  EXPECT_EQ(vl_mbwidth(mb, "\xB0\xA1"), 2);
  EXPECT_EQ(vl_mbwidth(mb, "\x8E\xA1"), 1);
  EXPECT_EQ(vl_mbwidth(mb, "A"), 1);
  EXPECT_EQ(vl_mbwidth(mb, ""), 0);
  EXPECT_EQ(vl_mbwidth(sb, ""), 0);
  EXPECT_EQ(vl_mbwidth(sb, "\xE9"), 1);
  const std::string a = B({0x30, 0x42, 0, 0});
  EXPECT_EQ(vl_mbwidth(w2, a.data()), 2);
  const std::string nul = B({0, 0});
  EXPECT_EQ(vl_mbwidth(w2, nul.data()), 0);
  EXPECT_EQ(mb->vl_errno + sb->vl_errno + w2->vl_errno, 0u);
  EXPECT_EQ(vl_mbwidth(mb, nullptr), -1);
  EXPECT_EQ(mb->vl_errno, 2u);
  mb->vl_errno = 0;
  EXPECT_EQ(vl_mbwidth(mb, "\x80"), -1);
  EXPECT_EQ(mb->vl_errno, 7u);
}

TEST_F(Mbwc, Wcswidth) {
  const vl_wchar s[] = {0x41, 0xB0A1, 0x8EA1, 0, 0xB0A1};
  EXPECT_EQ(vl_wcswidth(mb, s, 10), 4);  // stops at the zero
  EXPECT_EQ(vl_wcswidth(mb, s, 2), 3);
  EXPECT_EQ(vl_wcswidth(mb, s, 0), 0);
  EXPECT_EQ(mb->vl_errno, 0u);
  EXPECT_EQ(vl_wcswidth(mb, s, -1), -1);
  EXPECT_EQ(mb->vl_errno, 4u);
  EXPECT_EQ(vl_wcswidth(mb, nullptr, 3), -1);
  EXPECT_EQ(mb->vl_errno, 2u);
  const vl_wchar c[] = {0x41, 0x09, 0};
  EXPECT_EQ(vl_wcswidth(sb, c, 10), -1);
  EXPECT_EQ(sb->vl_errno, 7u);
  sb->vl_errno = 0;
  EXPECT_EQ(vl_wcswidth(sb, c, 1), 1);
}

TEST_F(Mbwc, Mbswidth) {
  EXPECT_EQ(vl_mbswidth(mb, "a\xB0\xA1" "b", 10), 4);
  EXPECT_EQ(vl_mbswidth(mb, "a\xB0\xA1" "b", 2), 3);
  EXPECT_EQ(vl_mbswidth(sb, "abc", 2), 2);
  EXPECT_EQ(vl_mbswidth(sb, "abc", 0), 0);
  const std::string w = B({0, 'a', 0x30, 0x42, 0, 0, 0x30, 0x43});
  EXPECT_EQ(vl_mbswidth(w2, w.data(), 10), 3);
  EXPECT_EQ(mb->vl_errno + sb->vl_errno + w2->vl_errno, 0u);
  EXPECT_EQ(vl_mbswidth(sb, "abc", -1), -1);
  EXPECT_EQ(sb->vl_errno, 4u);
  sb->vl_errno = 0;
  EXPECT_EQ(vl_mbswidth(sb, nullptr, 1), -1);
  EXPECT_EQ(sb->vl_errno, 2u);
  sb->vl_errno = 0;
  // Unlike vl_mbwidth, a control character fails in a string.
  EXPECT_EQ(vl_mbswidth(sb, "a\x07", 5), -1);
  EXPECT_EQ(sb->vl_errno, 7u);
  EXPECT_EQ(vl_mbswidth(mb, "a\x07", 5), -1);
  EXPECT_EQ(mb->vl_errno, 7u);
  mb->vl_errno = 0;
  EXPECT_EQ(vl_mbswidth(mb, "a\xB0\x41", 5), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
}

TEST_F(Mbwc, Wcspwidth) {
  const vl_wchar s[] = {0x41, 0xB0A1, 0x42, 0, 0x43};
  EXPECT_EQ(vl_wcspwidth(mb, s, s + 2), 3);
  EXPECT_EQ(vl_wcspwidth(mb, s, s + 5), 4);  // the terminator ends it
  EXPECT_EQ(vl_wcspwidth(mb, s, s), 0);
  EXPECT_EQ(mb->vl_errno, 0u);
  EXPECT_EQ(vl_wcspwidth(mb, s + 1, s), -1);
  EXPECT_EQ(mb->vl_errno, 5u);
  EXPECT_EQ(vl_wcspwidth(mb, nullptr, s), -1);
  EXPECT_EQ(mb->vl_errno, 2u);
  EXPECT_EQ(vl_wcspwidth(mb, s, nullptr), -1);
  const vl_wchar c[] = {0x41, 0x1B, 0};
  mb->vl_errno = 0;
  EXPECT_EQ(vl_wcspwidth(mb, c, c + 2), -1);
  EXPECT_EQ(mb->vl_errno, 7u);
}

TEST_F(Mbwc, Mbspwidth) {
  const char s[16] = "a\xB0\xA1" "b";
  mb->vl_errno = 33;
  EXPECT_EQ(vl_mbspwidth(mb, s, s + 3), 3);
  EXPECT_EQ(mb->vl_errno, 0u);  // cleared on entry
  EXPECT_EQ(vl_mbspwidth(mb, s, s + 4), 4);
  EXPECT_EQ(vl_mbspwidth(mb, s, s + 10), 4);  // the terminator ends it
  EXPECT_EQ(vl_mbspwidth(sb, "abc", nullptr), -1);
  EXPECT_EQ(sb->vl_errno, 2u);
  EXPECT_EQ(vl_mbspwidth(mb, s + 1, s), -1);
  EXPECT_EQ(mb->vl_errno, 5u);
  const char *c = "a\x07";
  EXPECT_EQ(vl_mbspwidth(sb, c, c + 2), -1);
  EXPECT_EQ(sb->vl_errno, 7u);
  EXPECT_EQ(vl_mbspwidth(mb, c, c + 2), -1);
  EXPECT_EQ(mb->vl_errno, 7u);
  // The class lookup of bytes that are no character stores 1 and 7 stays
  // out.
  const char *bad = "a\x80";
  EXPECT_EQ(vl_mbspwidth(mb, bad, bad + 2), -1);
  EXPECT_EQ(mb->vl_errno, 1u);
  const std::string w = B({0, 'a', 0x30, 0x42});
  EXPECT_EQ(vl_mbspwidth(w2, w.data(), w.data() + 4), 3);
}

}  // namespace
