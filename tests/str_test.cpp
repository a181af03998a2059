// The string family: multibyte copy, join, search, step and trailing-blank
// members in a single-byte, an EUC-like (one and two bytes) and a
// two-byte-minimum codeset, and the wide members with and without a handle.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include <vls/vlsmbwc.h>
#include <vls/vlsstr.h>
#include <vls/vlsvlu.h>

#include "lcofix.h"

using namespace vlstest;

namespace {

constexpr uint32_t kSentinel = 99;

// Handles shared by the whole suite (building the EUC tree takes a while).
struct Locales {
  vl_locale_t *sb = nullptr;   // Latin-1-like, one byte
  vl_locale_t *mb = nullptr;   // EUC-like, one or two bytes
  vl_locale_t *w2 = nullptr;   // shortest character two bytes
};
Locales L;

class Str : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    L.sb = make_handle(latin1_spec());
    L.mb = make_handle(euc_spec());
    L.w2 = make_handle(wide2_spec());
  }
  static void TearDownTestSuite() {
    vl_lc_unload(L.sb);
    vl_lc_unload(L.mb);
    vl_lc_unload(L.w2);
    L = {};
  }
  void SetUp() override {
    ASSERT_NE(L.sb, nullptr);
    ASSERT_NE(L.mb, nullptr);
    ASSERT_NE(L.w2, nullptr);
    ASSERT_EQ(L.sb->single_byte, 1);
    ASSERT_EQ(L.mb->single_byte, 0);
    ASSERT_EQ(vl_mb_loc_min(L.w2), 2);
    for (vl_locale_t *h : {L.sb, L.mb, L.w2}) h->vl_errno = kSentinel;
  }
  vl_locale_t *sb() { return L.sb; }
  vl_locale_t *mb() { return L.mb; }
  vl_locale_t *w2() { return L.w2; }
};

// A buffer filled with 'x' so that unwritten bytes show.
struct Buf {
  char b[64];
  Buf() { memset(b, 'x', sizeof b); }
  explicit Buf(const std::string &s) : Buf() { memcpy(b, s.data(), s.size()); }
  std::string str(size_t n) const { return std::string(b, n); }
};

std::string W2(const char *ascii) {  // ASCII text in the two-byte codeset, terminated
  std::string s;
  for (const char *p = ascii; *p; ++p) s += std::string{'\0', *p};
  s += std::string(2, '\0');
  return s;
}

// ---- _kvx_vl_mbscat, the reference member ----------------------------------

TEST_F(Str, MbscatNulTerminatedCountsTheTerminator) {
  Buf t("ab");
  t.b[2] = 0;
  EXPECT_EQ(_kvx_vl_mbscat(sb(), t.b, -1, "c", -1), 4);
  EXPECT_STREQ(t.b, "abc");
  EXPECT_EQ(sb()->vl_errno, kSentinel);
}

TEST_F(Str, MbscatCountedWritesNoTerminator) {
  Buf t("ab");
  EXPECT_EQ(_kvx_vl_mbscat(sb(), t.b, 2, "c", 1), 3);
  EXPECT_EQ(t.str(4), "abcx");
}

TEST_F(Str, MbscatLengthKinds) {
  Buf t("ab");
  EXPECT_EQ(_kvx_vl_mbscat(sb(), t.b, -1, "abc", 3), -1);
  EXPECT_EQ(sb()->vl_errno, uint32_t{VL_EMIXEDLEN});
  EXPECT_EQ(_kvx_vl_mbscat(sb(), t.b, 2, "abc", -1), -1);
  EXPECT_EQ(sb()->vl_errno, uint32_t{VL_EMIXEDLEN});
  EXPECT_EQ(_kvx_vl_mbscat(sb(), t.b, -2, "abc", 3), -1);
  EXPECT_EQ(sb()->vl_errno, uint32_t{VL_EBADARG});
  EXPECT_EQ(_kvx_vl_mbscat(sb(), t.b, -1, "abc", -2), -1);
  EXPECT_EQ(sb()->vl_errno, uint32_t{VL_EBADARG});
  EXPECT_EQ(_kvx_vl_mbscat(mb(), t.b, 2, "abc", -5), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADARG});
  EXPECT_EQ(t.str(3), "abx");
}

TEST_F(Str, MbscatNullPointers) {
  Buf t;
  EXPECT_EQ(_kvx_vl_mbscat(mb(), nullptr, -1, "a", -1), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADPTR});
  mb()->vl_errno = 0;
  EXPECT_EQ(_kvx_vl_mbscat(mb(), t.b, 0, nullptr, 0), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADPTR});
}

TEST_F(Str, MbscatEmptyCountedGivesZero) {
  Buf t;
  EXPECT_EQ(_kvx_vl_mbscat(sb(), t.b, 0, "", 0), 0);
  EXPECT_EQ(_kvx_vl_mbscat(mb(), t.b, 0, "", 0), 0);
  EXPECT_EQ(_kvx_vl_mbscat(w2(), t.b, 0, "", 0), 0);
  EXPECT_EQ(mb()->vl_errno, kSentinel);
}

TEST_F(Str, MbscatHalfCharacterFailsAndLeavesTheBytes) {
  Buf t("a");
  EXPECT_EQ(_kvx_vl_mbscat(mb(), t.b, 1, "\xB0", 1), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EINVAL});
  EXPECT_EQ(t.str(3), "a\xB0x");
  // The second half joined to a first half already in the target is whole.
  EXPECT_EQ(_kvx_vl_mbscat(mb(), t.b, 2, "\xA1", 1), 3);
}

TEST_F(Str, MbscatInvalidByteFailsWithOne) {
  Buf t("a");
  EXPECT_EQ(_kvx_vl_mbscat(mb(), t.b, 1, "\x80", 1), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
}

TEST_F(Str, MbscatCountedNulIsAnOrdinaryCharacter) {
  Buf t("a");
  EXPECT_EQ(_kvx_vl_mbscat(mb(), t.b, 1, std::string("\0b", 2).data(), 2), 3);
  EXPECT_EQ(t.str(4), std::string("a\0bx", 4));
  Buf u("a");
  EXPECT_EQ(_kvx_vl_mbscat(sb(), u.b, 1, std::string("\0\xff", 2).data(), 2), 3);
}

TEST_F(Str, MbscatMultibyte) {
  Buf t("\xB0\xA1" "a");
  t.b[3] = 0;
  EXPECT_EQ(_kvx_vl_mbscat(mb(), t.b, -1, "\xB0\xA2", -1), 6);
  EXPECT_STREQ(t.b, "\xB0\xA1" "a\xB0\xA2");
  Buf c("\xB0\xA1");
  EXPECT_EQ(_kvx_vl_mbscat(mb(), c.b, 2, "\xA3\xC1z", 3), 5);
}

TEST_F(Str, MbscatInvalidTargetFailsInTheNulForm) {
  Buf t("\x80");
  t.b[1] = 0;
  EXPECT_EQ(_kvx_vl_mbscat(mb(), t.b, -1, "a", -1), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
  Buf u("a");
  u.b[1] = 0;
  EXPECT_EQ(_kvx_vl_mbscat(mb(), u.b, -1, "\x80", -1), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
}

TEST_F(Str, MbscatTwoByteTerminator) {
  std::string a = W2("ab"), b = W2("c");
  Buf t(a);
  EXPECT_EQ(_kvx_vl_mbscat(w2(), t.b, -1, b.data(), -1), 8);
  EXPECT_EQ(t.str(8), W2("abc"));
  // Counted: an odd byte is half a character.
  Buf u(a);
  EXPECT_EQ(_kvx_vl_mbscat(w2(), u.b, 4, "\0", 1), -1);
  EXPECT_EQ(w2()->vl_errno, uint32_t{VL_EINVAL});
  Buf v(a);
  EXPECT_EQ(_kvx_vl_mbscat(w2(), v.b, 4, b.data(), 4), 8);  // the NUL character is whole
}

TEST_F(Str, FullMbscat) {
  Buf t("ab");
  t.b[2] = 0;
  EXPECT_EQ(vl_full_mbscat(mb(), t.b, "\xB0\xA1"), t.b);
  EXPECT_STREQ(t.b, "ab\xB0\xA1");
  EXPECT_EQ(vl_mbscat(sb(), t.b, "\xe9"), t.b);
  EXPECT_STREQ(t.b, "ab\xB0\xA1\xe9");
  EXPECT_EQ(vl_full_mbscat(mb(), t.b, "\xB0"), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
  EXPECT_EQ(vl_full_mbscat(mb(), nullptr, "a"), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADPTR});
}

// ---- _kvx_vl_mbscpy ------------------------------------------------------------

TEST_F(Str, MbscpyNulCountsTheTerminator) {
  Buf t;
  EXPECT_EQ(_kvx_vl_mbscpy(sb(), t.b, "abc", -1), 4);
  EXPECT_STREQ(t.b, "abc");
  EXPECT_EQ(_kvx_vl_mbscpy(sb(), t.b, "", -1), 1);
  EXPECT_EQ(_kvx_vl_mbscpy(mb(), t.b, "\xB0\xA1", -1), 3);
  std::string e = W2("");
  EXPECT_EQ(_kvx_vl_mbscpy(w2(), t.b, e.data(), -1), 2);
  EXPECT_EQ(sb()->vl_errno, kSentinel);
}

TEST_F(Str, MbscpyCountedValidates) {
  Buf t;
  EXPECT_EQ(_kvx_vl_mbscpy(mb(), t.b, "\xB0\xA1z", 3), 3);
  EXPECT_EQ(t.str(4), "\xB0\xA1zx");
  EXPECT_EQ(_kvx_vl_mbscpy(mb(), t.b, "z\xB0\xA1", 2), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EINVAL});
  EXPECT_EQ(t.str(2), "z\xB0");  // copied before the check
  EXPECT_EQ(_kvx_vl_mbscpy(mb(), t.b, "a", 0), 0);
}

TEST_F(Str, MbscpyErrors) {
  Buf t;
  EXPECT_EQ(_kvx_vl_mbscpy(mb(), t.b, "a", -2), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADARG});
  EXPECT_EQ(_kvx_vl_mbscpy(mb(), t.b, nullptr, 1), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADPTR});
  EXPECT_EQ(_kvx_vl_mbscpy(mb(), t.b, "a\x80", -1), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
}

TEST_F(Str, FullMbscpy) {
  Buf t;
  EXPECT_EQ(vl_full_mbscpy(mb(), t.b, "\xB0\xA1" "b"), t.b);
  EXPECT_STREQ(t.b, "\xB0\xA1" "b");
  EXPECT_EQ(vl_mbscpy(sb(), t.b, "q"), t.b);
  EXPECT_STREQ(t.b, "q");
  EXPECT_EQ(vl_full_mbscpy(mb(), t.b, "\xff"), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
}

// ---- _kvx_vl_mbsncat ---------------------------------------------------------

TEST_F(Str, MbsncatNulReturnsBytesBeforeTheTerminator) {
  Buf t("ab");
  t.b[2] = 0;
  EXPECT_EQ(_kvx_vl_mbsncat(sb(), t.b, -1, "cde", -1, 2), 4);
  EXPECT_STREQ(t.b, "abcd");
  EXPECT_EQ(_kvx_vl_mbsncat(sb(), t.b, -1, "xyz", -1, 0), 4);
  EXPECT_STREQ(t.b, "abcd");
  EXPECT_EQ(_kvx_vl_mbsncat(sb(), t.b, -1, "ef", -1, 10), 6);
  EXPECT_STREQ(t.b, "abcdef");
}

TEST_F(Str, MbsncatNulCountsCharacters) {
  Buf t("a");
  t.b[1] = 0;
  EXPECT_EQ(_kvx_vl_mbsncat(mb(), t.b, -1, "\xB0\xA1\xB0\xA2z", -1, 2), 5);
  EXPECT_STREQ(t.b, "a\xB0\xA1\xB0\xA2");
  std::string a = W2("a"), s = W2("bcd");
  Buf w(a);
  EXPECT_EQ(_kvx_vl_mbsncat(w2(), w.b, -1, s.data(), -1, 2), 6);
  EXPECT_EQ(w.str(8), W2("abc"));
}

TEST_F(Str, MbsncatCounted) {
  Buf t("ab");
  EXPECT_EQ(_kvx_vl_mbsncat(mb(), t.b, 2, "\xB0\xA1\xB0\xA2", 4, 1), 4);
  EXPECT_EQ(t.str(5), "ab\xB0\xA1x");
  Buf u("ab");
  EXPECT_EQ(_kvx_vl_mbsncat(mb(), u.b, 2, "\xB0\xA1\xB0\xA2", 4, 9), 6);
  EXPECT_EQ(u.str(7), "ab\xB0\xA1\xB0\xA2x");
  Buf v("ab");
  EXPECT_EQ(_kvx_vl_mbsncat(mb(), v.b, 2, "\xB0\xA1", 1, 1), -1);  // the source cuts a character
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EINVAL});
  // The target is validated too.
  Buf w("a\xB0");
  EXPECT_EQ(_kvx_vl_mbsncat(mb(), w.b, 2, "b", 1, 1), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
}

TEST_F(Str, MbsncatErrors) {
  Buf t("ab");
  t.b[2] = 0;
  EXPECT_EQ(_kvx_vl_mbsncat(sb(), t.b, -1, "c", -1, -1), -1);
  EXPECT_EQ(sb()->vl_errno, uint32_t{VL_EBADCOUNT});
  EXPECT_EQ(_kvx_vl_mbsncat(sb(), t.b, 2, "c", -1, 1), -1);
  EXPECT_EQ(sb()->vl_errno, uint32_t{VL_EMIXEDLEN});
  EXPECT_EQ(_kvx_vl_mbsncat(sb(), t.b, 2, "c", -3, 1), -1);
  EXPECT_EQ(sb()->vl_errno, uint32_t{VL_EBADARG});
  EXPECT_EQ(_kvx_vl_mbsncat(sb(), nullptr, 2, "c", 1, 1), -1);
  EXPECT_EQ(sb()->vl_errno, uint32_t{VL_EBADPTR});
}

TEST_F(Str, FullMbsncat) {
  Buf t("x");
  t.b[1] = 0;
  EXPECT_EQ(vl_mbsncat(mb(), t.b, "\xB0\xA1" "bc", 2), t.b);
  EXPECT_STREQ(t.b, "x\xB0\xA1" "b");
  EXPECT_EQ(vl_mbsncat(mb(), t.b, "a", -1), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADCOUNT});
}

// ---- _kvx_vl_mbsncpy ---------------------------------------------------------

TEST_F(Str, MbsncpyNulIsOneTerminatorShort) {
  Buf t;
  EXPECT_EQ(_kvx_vl_mbsncpy(sb(), t.b, "abc", -1, 0), -1);  // 0 - 1, not a failure
  EXPECT_EQ(t.b[0], '\0');
  EXPECT_EQ(sb()->vl_errno, kSentinel);
  EXPECT_EQ(_kvx_vl_mbsncpy(sb(), t.b, "abc", -1, 2), 1);
  EXPECT_EQ(t.str(3), std::string("ab\0", 3));
  EXPECT_EQ(_kvx_vl_mbsncpy(sb(), t.b, "abc", -1, 7), 2);
  EXPECT_STREQ(t.b, "abc");
  EXPECT_EQ(_kvx_vl_mbsncpy(mb(), t.b, "\xB0\xA1\xB0\xA2", -1, 1), 1);
  EXPECT_STREQ(t.b, "\xB0\xA1");
}

TEST_F(Str, MbsncpyNulTwoByteTerminator) {
  Buf t;
  std::string s = W2("abc");
  EXPECT_EQ(_kvx_vl_mbsncpy(w2(), t.b, s.data(), -1, 0), -2);
  EXPECT_EQ(t.str(3), std::string("\0\0x", 3));
  EXPECT_EQ(_kvx_vl_mbsncpy(w2(), t.b, s.data(), -1, 2), 2);
  EXPECT_EQ(t.str(7), W2("ab") + "x");
  EXPECT_EQ(w2()->vl_errno, kSentinel);
}

TEST_F(Str, MbsncpyCountedCopiesWholeCharactersOnly) {
  Buf t;
  EXPECT_EQ(_kvx_vl_mbsncpy(mb(), t.b, "\xB0\xA1\xB0\xA2", 4, 1), 2);
  EXPECT_EQ(t.str(3), "\xB0\xA1x");
  EXPECT_EQ(_kvx_vl_mbsncpy(mb(), t.b, "\xB0\xA1z", 3, 5), 3);
  EXPECT_EQ(t.str(4), "\xB0\xA1zx");
  EXPECT_EQ(_kvx_vl_mbsncpy(mb(), t.b, "a\xB0\xA1", 2, 5), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EINVAL});
  EXPECT_EQ(_kvx_vl_mbsncpy(mb(), t.b, std::string("\0a", 2).data(), 2, 1), 1);
  EXPECT_EQ(_kvx_vl_mbsncpy(mb(), t.b, "a", 1, -1), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADCOUNT});
}

TEST_F(Str, FullMbsncpyWritesATerminatorAndNoPadding) {
  Buf t;
  EXPECT_EQ(vl_mbsncpy(mb(), t.b, "a\xB0\xA1" "b", 2), t.b);
  EXPECT_EQ(t.str(5), std::string("a\xB0\xA1\0x", 5));
  EXPECT_EQ(vl_mbsncpy(mb(), t.b, "a", 5), t.b);
  EXPECT_EQ(t.str(3), std::string("a\0\xA1", 3));
}

// ---- searching: chr, rchr -------------------------------------------------------

TEST_F(Str, FullMbschrNotFoundClearsTheError) {
  EXPECT_EQ(vl_full_mbschr(mb(), "abc", "z"), nullptr);
  EXPECT_EQ(mb()->vl_errno, 0u);
  EXPECT_EQ(vl_full_mbschr(sb(), "abc", "z"), nullptr);
  EXPECT_EQ(sb()->vl_errno, 0u);
}

TEST_F(Str, FullMbschrMatchesOnlyAtCharacterBoundaries) {
  const char *s = "a\xB0\xA1\xA1\xB0" "b";
  EXPECT_EQ(vl_full_mbschr(mb(), s, "\xB0\xA1"), s + 1);
  EXPECT_EQ(vl_full_mbschr(mb(), s, "\xA1\xB0"), s + 3);
  EXPECT_EQ(vl_full_mbschr(mb(), s, "\xA1\xA1"), nullptr);  // bytes 2-3 straddle two characters
  EXPECT_EQ(mb()->vl_errno, 0u);
  EXPECT_EQ(vl_full_mbschr(mb(), s, "b"), s + 5);
  // In the two-byte codeset the byte pair 0x00 0x30 at an odd offset is no hit.
  std::string w = std::string("\x30\x00\x30\x41", 4) + W2("0");
  EXPECT_EQ(vl_full_mbschr(w2(), w.data(), std::string("\0" "0", 2).data()), w.data() + 4);
}

TEST_F(Str, FullMbschrNulCharacterFindsTheTerminator) {
  const char *s = "a\xB0\xA1";
  EXPECT_EQ(vl_full_mbschr(mb(), s, ""), s + 3);
  EXPECT_EQ(vl_full_mbschr(sb(), s, ""), s + 3);
}

TEST_F(Str, FullMbschrFailures) {
  EXPECT_EQ(vl_full_mbschr(mb(), "a\x80" "b", "b"), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
  EXPECT_EQ(vl_full_mbschr(mb(), "ab", "\x80"), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
  EXPECT_EQ(vl_full_mbschr(mb(), nullptr, "a"), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADPTR});
}

TEST_F(Str, KvxMbschr) {
  const char *s = "ab\xB0\xA1" "cb";
  EXPECT_EQ(_kvx_vl_mbschr(mb(), s, -1, "\xB0\xA1", -1), s + 2);
  EXPECT_EQ(_kvx_vl_mbschr(mb(), s, 6, "\xB0\xA1", 2), s + 2);
  EXPECT_EQ(_kvx_vl_mbschr(mb(), s, 2, "\xB0\xA1", 2), nullptr);  // outside the length
  EXPECT_EQ(mb()->vl_errno, 0u);
  mb()->vl_errno = kSentinel;
  EXPECT_EQ(_kvx_vl_mbschr(mb(), s, 0, "a", 1), nullptr);  // an empty string finds nothing
  EXPECT_EQ(mb()->vl_errno, 0u);
  // The character is measured first.
  EXPECT_EQ(_kvx_vl_mbschr(mb(), s, 0, "\xB0\xA1", 1), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EINVAL});
  EXPECT_EQ(_kvx_vl_mbschr(mb(), s, 6, "a", 0), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EINVAL});
  EXPECT_EQ(_kvx_vl_mbschr(mb(), s, -1, "a", 1), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EMIXEDLEN});
  EXPECT_EQ(_kvx_vl_mbschr(mb(), s, -4, "a", 1), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADARG});
  EXPECT_EQ(_kvx_vl_mbschr(mb(), nullptr, 1, "a", 1), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADPTR});
  // A cut character in the string fails.
  EXPECT_EQ(_kvx_vl_mbschr(mb(), s, 3, "c", 1), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EINVAL});
}

TEST_F(Str, KvxMbschrCountedNulCharacter) {
  std::string s("a\0b", 3);
  EXPECT_EQ(_kvx_vl_mbschr(mb(), s.data(), 3, "", 1), s.data() + 1);
  EXPECT_EQ(_kvx_vl_mbschr(sb(), s.data(), 3, "b", 1), s.data() + 2);
  EXPECT_EQ(_kvx_vl_mbschr(sb(), s.data(), -1, "b", -1), nullptr);  // -1 stops at the terminator
  EXPECT_EQ(sb()->vl_errno, 0u);
}

TEST_F(Str, FullMbsrchr) {
  const char *s = "ab\xB0\xA1" "ab\xB0\xA1" "a";
  EXPECT_EQ(vl_full_mbsrchr(mb(), s, "\xB0\xA1"), s + 6);
  EXPECT_EQ(mb()->vl_errno, 0u);  // cleared on entry
  EXPECT_EQ(vl_full_mbsrchr(mb(), s, "a"), s + 8);
  mb()->vl_errno = kSentinel;
  EXPECT_EQ(vl_full_mbsrchr(mb(), s, "z"), nullptr);
  EXPECT_EQ(mb()->vl_errno, 0u);
  const char *t = "abcabc";
  EXPECT_EQ(vl_full_mbsrchr(sb(), t, "b"), t + 4);
  EXPECT_EQ(vl_full_mbsrchr(mb(), s, ""), s + 9);
  // A bad character after the last hit makes the whole search fail.
  EXPECT_EQ(vl_full_mbsrchr(mb(), "ab\x80", "a"), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
  std::string w = W2("abab");
  EXPECT_EQ(vl_full_mbsrchr(w2(), w.data(), std::string("\0b", 2).data()), w.data() + 6);
}

TEST_F(Str, KvxMbsrchr) {
  const char *s = "abcabc";
  EXPECT_EQ(_kvx_vl_mbsrchr(sb(), s, 3, "b", 1), s + 1);
  EXPECT_EQ(_kvx_vl_mbsrchr(sb(), s, -1, "b", -1), s + 4);
  const char *m = "\xB0\xA1\xB0\xA1";
  EXPECT_EQ(_kvx_vl_mbsrchr(mb(), m, 4, "\xB0\xA1", 2), m + 2);
  EXPECT_EQ(_kvx_vl_mbsrchr(mb(), m, 4, "\xA1\xB0", 2), nullptr);
  EXPECT_EQ(mb()->vl_errno, 0u);
}

// ---- searching: spn, cspn, pbrk, mbs ---------------------------------------------

TEST_F(Str, MbsspnCountsCharacters) {
  EXPECT_EQ(vl_full_mbsspn(mb(), "\xB0\xA1\xB0\xA2z", "\xB0\xA2\xB0\xA1"), 2);
  EXPECT_EQ(vl_full_mbsspn(mb(), "\xB0\xA1\xB0\xA2", "\xA1\xB0"), 0);  // bytes alone don't count
  EXPECT_EQ(vl_full_mbsspn(sb(), "aab", "a"), 2);
  EXPECT_EQ(vl_full_mbsspn(sb(), "aab", ""), 0);
  EXPECT_EQ(vl_full_mbsspn(sb(), "", "a"), 0);
  std::string s = W2("abc"), set = W2("ba");
  EXPECT_EQ(vl_full_mbsspn(w2(), s.data(), set.data()), 2);
  EXPECT_EQ(mb()->vl_errno, kSentinel);
}

TEST_F(Str, MbscspnCountsCharacters) {
  EXPECT_EQ(vl_full_mbscspn(mb(), "a\xB0\xA1" "b\xB0\xA2", "\xB0\xA2"), 3);
  EXPECT_EQ(vl_full_mbscspn(mb(), "abc", "z"), 3);
  EXPECT_EQ(vl_full_mbscspn(sb(), "abc", "c"), 2);
}

TEST_F(Str, KvxMbsspnAndCspn) {
  EXPECT_EQ(_kvx_vl_mbsspn(sb(), "abc", 3, "ba", 2), 2);
  EXPECT_EQ(_kvx_vl_mbsspn(sb(), "abc", 1, "ba", 2), 1);
  EXPECT_EQ(_kvx_vl_mbsspn(sb(), "abc", 3, "ba", 1), 0);
  EXPECT_EQ(_kvx_vl_mbsspn(mb(), "\xB0\xA1\xB0\xA1z", 5, "\xB0\xA1", -1), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EMIXEDLEN});
  EXPECT_EQ(_kvx_vl_mbsspn(mb(), "\xB0\xA1\xB0\xA1z", 5, "\xB0\xA1", 2), 2);
  EXPECT_EQ(_kvx_vl_mbsspn(mb(), "\xB0\xA1\xB0\xA1z", -1, "\xB0\xA1", -1), 2);
  EXPECT_EQ(_kvx_vl_mbscspn(mb(), "ab\xB0\xA1", 4, "\xB0\xA1", 2), 2);
  EXPECT_EQ(_kvx_vl_mbscspn(mb(), "ab\xB0\xA1", 3, "\xB0\xA1", 2), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EINVAL});
  // Counted strings hold NUL characters.
  std::string s("\0\0a", 3);
  EXPECT_EQ(_kvx_vl_mbsspn(mb(), s.data(), 3, "", 1), 2);
}

TEST_F(Str, MbsspnBadSetFails) {
  EXPECT_EQ(vl_full_mbsspn(mb(), "abc", "a\x80"), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
  mb()->vl_errno = 0;
  EXPECT_EQ(_kvx_vl_mbscspn(mb(), "", 0, "\xB0", 1), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EINVAL});
  EXPECT_EQ(vl_full_mbsspn(mb(), nullptr, "a"), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADPTR});
}

TEST_F(Str, Mbspbrk) {
  const char *s = "ab\xB0\xA1" "c";
  EXPECT_EQ(vl_full_mbspbrk(mb(), s, "c\xB0\xA1"), s + 2);
  EXPECT_EQ(vl_full_mbspbrk(mb(), s, "\xA1\xB0"), nullptr);
  EXPECT_EQ(mb()->vl_errno, 0u);
  EXPECT_EQ(_kvx_vl_mbspbrk(mb(), s, 5, "c", 1), s + 4);
  mb()->vl_errno = kSentinel;
  EXPECT_EQ(_kvx_vl_mbspbrk(mb(), s, 4, "c", 1), nullptr);
  EXPECT_EQ(mb()->vl_errno, 0u);
  EXPECT_EQ(_kvx_vl_mbspbrk(mb(), s, -1, "c", 1), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EMIXEDLEN});
  const char *t = "xyz";
  EXPECT_EQ(vl_full_mbspbrk(sb(), t, "zy"), t + 1);
}

TEST_F(Str, Mbsmbs) {
  const char *s = "ab\xB0\xA1\xB0\xA2";
  EXPECT_EQ(vl_full_mbsmbs(mb(), s, "\xB0\xA2"), s + 4);
  EXPECT_EQ(vl_full_mbsmbs(mb(), s, "b\xB0\xA1"), s + 1);
  EXPECT_EQ(vl_full_mbsmbs(mb(), s, "\xA1\xB0"), nullptr);  // not at a boundary
  EXPECT_EQ(mb()->vl_errno, 0u);
  EXPECT_EQ(vl_full_mbsmbs(mb(), s, ""), s);
  EXPECT_EQ(vl_full_mbsmbs(mb(), s, "\xB0\xA2z"), nullptr);
  const char *h = "hello";
  EXPECT_EQ(vl_full_mbsmbs(sb(), h, "llo"), h + 2);
  EXPECT_EQ(vl_full_mbsmbs(sb(), h, "lloo"), nullptr);
  std::string w = std::string("\x30\x00\x30\x41", 4) + W2("0");
  std::string sub("\0" "0", 2);
  EXPECT_EQ(_kvx_vl_mbsmbs(w2(), w.data(), 6, sub.data(), 2), w.data() + 4);
  EXPECT_EQ(_kvx_vl_mbsmbs(w2(), w.data(), 4, sub.data(), 2), nullptr);
}

TEST_F(Str, KvxMbsmbs) {
  const char *s = "abcd";
  EXPECT_EQ(_kvx_vl_mbsmbs(sb(), s, 3, "cd", 2), nullptr);  // runs past the length
  EXPECT_EQ(sb()->vl_errno, 0u);
  EXPECT_EQ(_kvx_vl_mbsmbs(sb(), s, 3, "bc", 2), s + 1);
  EXPECT_EQ(_kvx_vl_mbsmbs(sb(), s, 0, "", 0), s);
  EXPECT_EQ(_kvx_vl_mbsmbs(sb(), s, 3, "bc", -1), nullptr);
  EXPECT_EQ(sb()->vl_errno, uint32_t{VL_EMIXEDLEN});
  EXPECT_EQ(_kvx_vl_mbsmbs(sb(), s, -1, "cd", -1), s + 2);
  std::string n("a\0b", 3);
  EXPECT_EQ(_kvx_vl_mbsmbs(mb(), n.data(), 3, std::string("\0b", 2).data(), 2), n.data() + 1);
}

// ---- stepping and indexing ------------------------------------------------------------

TEST_F(Str, FullMbsnext) {
  const char *s = "\xB0\xA1x";
  EXPECT_EQ(vl_full_mbsnext(mb(), s), s + 2);
  EXPECT_EQ(vl_full_mbsnext(mb(), s + 2), s + 3);
  EXPECT_EQ(vl_full_mbsnext(mb(), s + 3), s + 3);  // the terminator has length 0
  EXPECT_EQ(vl_full_mbsnext(sb(), s), s + 1);
  EXPECT_EQ(vl_full_mbsnext(mb(), "\x80"), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
  EXPECT_EQ(vl_full_mbsnext(mb(), "\xB0"), nullptr);  // no limit: the lead byte before NUL is invalid
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
  EXPECT_EQ(vl_full_mbsnext(mb(), nullptr), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADPTR});
  std::string w = W2("a");
  EXPECT_EQ(vl_full_mbsnext(w2(), w.data()), w.data() + 2);
}

TEST_F(Str, KvxFullMbsnext) {
  const char *s = "\xB0\xA1x";
  EXPECT_EQ(_kvx_vl_full_mbsnext(mb(), s, 3), s + 2);
  EXPECT_EQ(_kvx_vl_full_mbsnext(mb(), s, 1), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EINVAL});
  mb()->vl_errno = 0;
  EXPECT_EQ(_kvx_vl_full_mbsnext(mb(), s, -1), nullptr);  // -1 is no sentinel here
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EINVAL});
  EXPECT_EQ(_kvx_vl_full_mbsnext(sb(), s, 0), nullptr);
  EXPECT_EQ(sb()->vl_errno, uint32_t{VL_EINVAL});
  EXPECT_EQ(_kvx_vl_full_mbsnext(mb(), "\x80", 4), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
  const char *e = "";
  EXPECT_EQ(_kvx_vl_full_mbsnext(mb(), e, 1), e + 1);  // NUL has its real length
  EXPECT_EQ(_kvx_vl_full_mbsnext(sb(), e, 1), e + 1);
  std::string w = W2("");
  EXPECT_EQ(_kvx_vl_full_mbsnext(w2(), w.data(), 2), w.data() + 2);
}

TEST_F(Str, FullMbsprev) {
  const char *s = "a\xB0\xA1" "b";
  EXPECT_EQ(vl_full_mbsprev(mb(), s, s + 4), s + 3);
  EXPECT_EQ(vl_full_mbsprev(mb(), s, s + 3), s + 1);
  EXPECT_EQ(vl_full_mbsprev(mb(), s, s + 2), s + 1);  // inside a character: its start
  EXPECT_EQ(vl_full_mbsprev(mb(), s, s + 1), s);
  EXPECT_EQ(vl_full_mbsprev(sb(), s, s + 3), s + 2);
  EXPECT_EQ(vl_full_mbsprev(mb(), s, s), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADRANGE});
  mb()->vl_errno = 0;
  EXPECT_EQ(vl_full_mbsprev(mb(), s + 2, s), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADRANGE});
  EXPECT_EQ(vl_full_mbsprev(mb(), "\x80" "a", nullptr), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADPTR});
  const char *bad = "\x80" "ab";
  EXPECT_EQ(vl_full_mbsprev(mb(), bad, bad + 2), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
  std::string w = W2("abc");
  EXPECT_EQ(vl_full_mbsprev(w2(), w.data(), w.data() + 6), w.data() + 4);
}

TEST_F(Str, FullGetmbsiDoesNotStopAtTheTerminator) {
  const char *s = "\xB0\xA1\xB0\xA2";
  EXPECT_EQ(vl_full_getmbsi(mb(), s, 0), s);
  EXPECT_EQ(vl_full_getmbsi(mb(), s, 2), s + 4);
  const char buf[] = "a\0bc";
  EXPECT_EQ(vl_full_getmbsi(mb(), buf, 3), buf + 3);
  EXPECT_EQ(vl_full_getmbsi(sb(), buf, 4), buf + 4);
  std::string w = W2("a") + W2("b");
  EXPECT_EQ(vl_full_getmbsi(w2(), w.data(), 3), w.data() + 6);
  EXPECT_EQ(vl_full_getmbsi(mb(), s, -1), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADCOUNT});
  EXPECT_EQ(vl_full_getmbsi(mb(), nullptr, 1), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADPTR});
  EXPECT_EQ(vl_full_getmbsi(mb(), "\x80", 1), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
}

TEST_F(Str, GetmbsinullStopsAtTheTerminator) {
  const char *s = "a\xB0\xA1";
  EXPECT_EQ(vl_getmbsinull(mb(), s, 2), s + 3);
  EXPECT_EQ(vl_getmbsinull(mb(), s, 9), s + 3);
  EXPECT_EQ(vl_getmbsinull(sb(), s, 9), s + 3);
  std::string w = W2("ab");
  EXPECT_EQ(vl_getmbsinull(w2(), w.data(), 5), w.data() + 4);
  EXPECT_EQ(vl_getmbsinull(sb(), s, -2), nullptr);
  EXPECT_EQ(sb()->vl_errno, uint32_t{VL_EBADCOUNT});
}

TEST_F(Str, MbcreplaceMovesTheRest) {
  char b[16] = "a\xB0\xA1" "b";
  EXPECT_EQ(vl_mbcreplace(mb(), b + 1, "c"), b + 1);
  EXPECT_STREQ(b, "acb");
  EXPECT_EQ(vl_mbcreplace(mb(), b, "\xB0\xA2"), b);
  EXPECT_STREQ(b, "\xB0\xA2" "cb");
  EXPECT_EQ(vl_mbcreplace(mb(), b + 4, "z"), b + 4);  // at the terminator: appends
  EXPECT_STREQ(b, "\xB0\xA2" "cbz");
  EXPECT_EQ(mb()->vl_errno, kSentinel);
}

TEST_F(Str, MbcreplaceFailures) {
  char b[16] = "abc";
  EXPECT_EQ(vl_mbcreplace(mb(), b, nullptr), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADPTR});
  EXPECT_EQ(vl_mbcreplace(mb(), nullptr, "a"), nullptr);
  EXPECT_EQ(vl_mbcreplace(mb(), b, "\x80"), nullptr);
  EXPECT_STREQ(b, "abc");
  char c[16] = "\x80" "bc";
  EXPECT_EQ(vl_mbcreplace(mb(), c, "a"), nullptr);
  EXPECT_STREQ(c, "\x80" "bc");
}

TEST_F(Str, MbcreplaceTwoByteCodeset) {
  std::string s = W2("abc");
  char b[16];
  memcpy(b, s.data(), s.size());
  EXPECT_EQ(vl_mbcreplace(w2(), b + 2, "\x30\x41"), b + 2);
  EXPECT_EQ(std::string(b, 8), std::string("\0a\x30\x41\0c\0\0", 8));
}

TEST_F(Str, FullPutmbsi) {
  char b[16] = "a\xB0\xA1" "b";
  EXPECT_EQ(vl_full_putmbsi(mb(), b, 2, "\xB0\xA3"), b);
  EXPECT_STREQ(b, "a\xB0\xA1\xB0\xA3");
  EXPECT_EQ(vl_full_putmbsi(mb(), b, 1, "q"), b);
  EXPECT_STREQ(b, "aq\xB0\xA3");
  EXPECT_EQ(vl_full_putmbsi(sb(), b, 0, "z"), b);
  EXPECT_EQ(b[0], 'z');
  EXPECT_EQ(vl_full_putmbsi(mb(), b, -1, "z"), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADCOUNT});
}

TEST_F(Str, Mbstowcslen) {
  int32_t n = -5;
  vl_wchar *w = vl_mbstowcslen(mb(), "a\xB0\xA1" "b", &n);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(n, 3);
  EXPECT_EQ(w[0], 0x61u);
  EXPECT_EQ(w[1], 0xB0A1u);
  EXPECT_EQ(w[2], 0x62u);
  EXPECT_EQ(w[3], 0u);
  _vl_free_ptr(w);
  w = vl_mbstowcslen(sb(), "", &n);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(n, 0);
  EXPECT_EQ(w[0], 0u);
  _vl_free_ptr(w);
  w = vl_mbstowcslen(sb(), "\xe9\xff", nullptr);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w[0], 0xE9u);
  EXPECT_EQ(w[1], 0xFFu);
  EXPECT_EQ(w[2], 0u);
  _vl_free_ptr(w);
  std::string s = std::string("\0a\x30\x41", 4) + W2("");
  w = vl_mbstowcslen(w2(), s.data(), &n);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(n, 2);
  EXPECT_EQ(w[0], 0x61u);
  EXPECT_EQ(w[1], 0x3041u);
  EXPECT_EQ(w[2], 0u);
  _vl_free_ptr(w);
}

TEST_F(Str, MbstowcslenGrowsAndFails) {
  std::string s;
  for (int i = 0; i < 1000; ++i) s += (i % 3) ? "x" : "\xB0\xA1";
  int32_t n = 0;
  vl_wchar *w = vl_mbstowcslen(mb(), s.c_str(), &n);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(n, 1000);
  EXPECT_EQ(w[998], 0x78u);
  EXPECT_EQ(w[999], 0xB0A1u);
  EXPECT_EQ(w[1000], 0u);
  _vl_free_ptr(w);
  EXPECT_EQ(vl_mbstowcslen(mb(), "ab\xB0", &n), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
  EXPECT_EQ(vl_mbstowcslen(mb(), nullptr, &n), nullptr);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADPTR});
}

// ---- trailing blanks ------------------------------------------------------------------

TEST_F(Str, MbsntslenSingleByte) {
  EXPECT_EQ(vl_mbsntslen(sb(), "ab  "), 2);
  EXPECT_EQ(vl_mbsntslen(sb(), "a b "), 3);
  EXPECT_EQ(vl_mbsntslen(sb(), "   "), 0);
  EXPECT_EQ(vl_mbsntslen(sb(), ""), 0);
  EXPECT_EQ(vl_mbsntslen(sb(), "ab\xA0"), 2);  // no-break space: blank
  EXPECT_EQ(vl_mbsntslen(sb(), "ab\t"), 3);    // the fixture's tab is also a control
  EXPECT_EQ(vl_mbsntsbytes(sb(), "ab  "), 2);
  EXPECT_EQ(_kvx_vl_mbsntslen(sb(), "ab  cd", 4), 2);
  EXPECT_EQ(_kvx_vl_mbsntslen(sb(), "ab  cd", -1), 6);
  EXPECT_EQ(_kvx_vl_mbsntsbytes(sb(), std::string(" a\0 ", 4).data(), 4), 3);  // NUL is not blank
  EXPECT_EQ(sb()->vl_errno, kSentinel);
}

TEST_F(Str, TabCountsWhenBlankAndNotControl) {
  CtypeSpec spec = latin1_spec();
  for (auto &c : spec.chars) {
    if (c.bytes == "\t") c.mask = M_BLANK | M_SPACE;
    if (c.bytes == "\x1c") c.mask = M_SPACE;  // space, not blank
    if (c.bytes == "\x1d") c.mask = M_BLANK;  // blank, not space
  }
  vl_locale_t *h = make_handle(spec);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(vl_mbsntslen(h, "ab\t"), 2);
  EXPECT_EQ(vl_mbsntslen(h, "ab\x1c"), 3);
  EXPECT_EQ(vl_mbsntslen(h, "ab\x1d"), 2);
  const vl_wchar w1[] = {'a', 0x1C, 0}, w2v[] = {'a', 0x1D, 0}, w3[] = {'a', '\t', 0};
  EXPECT_EQ(vl_wcsntslen(h, w1), 1);  // the wide side tests the space class
  EXPECT_EQ(vl_wcsntslen(h, w2v), 2);
  EXPECT_EQ(vl_wcsntslen(h, w3), 1);
  vl_lc_unload(h);
}

TEST_F(Str, MbsntslenMultibyte) {
  const char *s = "a\xB0\xA1 \xA1\xA1";  // ideographic space at the end
  EXPECT_EQ(vl_mbsntslen(mb(), s), 2);
  EXPECT_EQ(vl_mbsntsbytes(mb(), s), 3);
  EXPECT_EQ(_kvx_vl_mbsntslen(mb(), s, 4), 2);
  EXPECT_EQ(_kvx_vl_mbsntsbytes(mb(), s, 6), 3);
  EXPECT_EQ(vl_mbsntsbytes(mb(), "\xA1\xA1z \xA1\xA1"), 3);
  EXPECT_EQ(mb()->vl_errno, kSentinel);
  EXPECT_EQ(_kvx_vl_mbsntslen(mb(), s, 5), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EINVAL});
  EXPECT_EQ(vl_mbsntsbytes(mb(), "a \x80"), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EILSEQ});
  EXPECT_EQ(_kvx_vl_mbsntslen(mb(), s, -2), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADARG});
  EXPECT_EQ(vl_mbsntslen(mb(), nullptr), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADPTR});
  std::string w = W2("ab  ");
  EXPECT_EQ(vl_mbsntslen(w2(), w.data()), 2);
  EXPECT_EQ(vl_mbsntsbytes(w2(), w.data()), 4);
}

TEST_F(Str, Wcsntslen) {
  const vl_wchar s[] = {'a', ' ', 'b', ' ', 0xA0, 0};
  EXPECT_EQ(vl_wcsntslen(sb(), s), 3);
  EXPECT_EQ(_kvx_vl_wcsntslen(sb(), s, 2), 1);
  const vl_wchar nl[] = {'a', '\n', 0};  // space but control
  EXPECT_EQ(vl_wcsntslen(sb(), nl), 2);
  EXPECT_EQ(sb()->vl_errno, kSentinel);
  const vl_wchar big[] = {'a', ' ', 0x100, ' ', 0};
  EXPECT_EQ(vl_wcsntslen(sb(), big), 3);  // above 255 with a class table: error 1, non-blank
  EXPECT_EQ(sb()->vl_errno, uint32_t{VL_EILSEQ});
  const vl_wchar m[] = {'a', 0xA1A1, ' ', 0};
  EXPECT_EQ(vl_wcsntslen(mb(), m), 1);
  EXPECT_EQ(_kvx_vl_wcsntslen(mb(), m, -3), -1);
  EXPECT_EQ(mb()->vl_errno, uint32_t{VL_EBADARG});
}

TEST_F(Str, MbspAndTruncation) {
  const char *s = "ab  ";
  EXPECT_EQ(vl_mbsp(sb(), s), s + 2);
  EXPECT_EQ(vl_mbsp(sb(), "ab"), nullptr);
  EXPECT_EQ(sb()->vl_errno, 0u);
  const char *b = "  ";
  EXPECT_EQ(vl_mbsp(sb(), b), b);
  EXPECT_EQ(vl_mbsp(sb(), nullptr), nullptr);
  EXPECT_EQ(sb()->vl_errno, uint32_t{VL_EBADPTR});
  char t[] = "a b  ";
  EXPECT_EQ(vl_mbsntstrunc(sb(), t), t);
  EXPECT_STREQ(t, "a b");
  char m[] = "\xB0\xA1\xA1\xA1 ";
  EXPECT_EQ(vl_mbsntstrunc(mb(), m), m);
  EXPECT_STREQ(m, "\xB0\xA1");
  std::string w = W2("a  ");
  char wb[8];
  memcpy(wb, w.data(), 8);
  EXPECT_EQ(vl_mbsntstrunc(w2(), wb), wb);
  EXPECT_EQ(std::string(wb, 4), W2("a"));
  vl_wchar ws[] = {'x', ' ', 0xA0, 0};
  EXPECT_EQ(vl_wcsntstrunc(sb(), ws), ws);
  EXPECT_EQ(ws[1], 0u);
  vl_wchar none[] = {'x', 0};
  EXPECT_EQ(vl_wcsntstrunc(sb(), none), none);
  EXPECT_EQ(none[0], 'x');
}

// ---- wide strings -------------------------------------------------------------------------

TEST(StrWide, WcscatNeedsNoHandle) {
  vl_wchar t[8] = {1, 2, 0};
  const vl_wchar s[] = {3, 0};
  EXPECT_EQ(vl_wcscat(t, s), t);
  EXPECT_EQ(t[2], 3u);
  EXPECT_EQ(t[3], 0u);
  EXPECT_EQ(vl_wcscat(nullptr, s), nullptr);
}

TEST(StrWide, KvxWcscat) {
  vl_locale_t *h = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  vl_wchar t[8] = {1, 2, 0, 9, 9, 9, 9, 9};
  const vl_wchar s[] = {3, 4, 0};
  EXPECT_EQ(_kvx_vl_wcscat(h, t, -1, s, -1), 4);
  EXPECT_EQ(t[4], 0u);
  vl_wchar u[8] = {1, 2, 7, 9, 9, 9, 9, 9};
  EXPECT_EQ(_kvx_vl_wcscat(h, u, 2, s, 1), 3);
  EXPECT_EQ(u[2], 3u);
  EXPECT_EQ(u[3], 9u);  // no terminator
  EXPECT_EQ(_kvx_vl_wcscat(h, u, -1, s, 1), -1);
  EXPECT_EQ(h->vl_errno, uint32_t{VL_EMIXEDLEN});
  EXPECT_EQ(_kvx_vl_wcscat(h, u, -7, s, 1), -1);
  EXPECT_EQ(h->vl_errno, uint32_t{VL_EBADARG});
  EXPECT_EQ(_kvx_vl_wcscat(h, u, 2, nullptr, 1), -1);
  EXPECT_EQ(h->vl_errno, uint32_t{VL_EBADPTR});
  EXPECT_EQ(_kvx_vl_wcscat(nullptr, u, -1, s, 1), -1);  // no handle: nothing stored, no crash
  vl_lc_unload(h);
}

TEST(StrWide, Wcscpy) {
  vl_wchar t[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  const vl_wchar s[] = {5, 6, 0};
  EXPECT_EQ(vl_wcscpy(t, s), t);
  EXPECT_EQ(t[1], 6u);
  EXPECT_EQ(t[2], 0u);
  EXPECT_EQ(_kvx_vl_wcscpy(nullptr, t, s, -1), 2);
  vl_wchar u[4] = {9, 9, 9, 9};
  EXPECT_EQ(_kvx_vl_wcscpy(nullptr, u, s, 1), 1);
  EXPECT_EQ(u[1], 9u);
  EXPECT_EQ(_kvx_vl_wcscpy(nullptr, u, s, -2), -1);
}

TEST(StrWide, WcsncpyFillsLikeStrncpy) {
  vl_wchar t[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  const vl_wchar s[] = {1, 2, 0};
  EXPECT_EQ(vl_wcsncpy(t, s, 5), t);
  EXPECT_EQ(t[0], 1u);
  EXPECT_EQ(t[1], 2u);
  EXPECT_EQ(t[2], 0u);
  EXPECT_EQ(t[3], 0u);
  EXPECT_EQ(t[4], 0u);
  EXPECT_EQ(t[5], 9u);
  EXPECT_EQ(_kvx_vl_wcsncpy(nullptr, t, s, -1, 5), 2);
  vl_wchar u[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  EXPECT_EQ(_kvx_vl_wcsncpy(nullptr, u, s, -1, 1), 1);
  EXPECT_EQ(u[1], 9u);  // no terminator within n
  EXPECT_EQ(_kvx_vl_wcsncpy(nullptr, u, s, 3, 5), 3);  // the smaller of the two, no fill
  EXPECT_EQ(u[3], 9u);
  EXPECT_EQ(_kvx_vl_wcsncpy(nullptr, u, s, 3, 2), 2);
  vl_locale_t *h = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  EXPECT_EQ(_kvx_vl_wcsncpy(h, u, s, -1, -1), -1);
  EXPECT_EQ(h->vl_errno, uint32_t{VL_EBADCOUNT});
  vl_lc_unload(h);
}

TEST(StrWide, Wcsncat) {
  vl_wchar t[8] = {1, 0, 9, 9, 9, 9, 9, 9};
  const vl_wchar s[] = {2, 3, 4, 0};
  EXPECT_EQ(vl_wcsncat(t, s, 2), t);
  EXPECT_EQ(t[1], 2u);
  EXPECT_EQ(t[2], 3u);
  EXPECT_EQ(t[3], 0u);
  EXPECT_EQ(_kvx_vl_wcsncat(nullptr, t, -1, s, -1, 9), 6);
  EXPECT_EQ(t[6], 0u);
  vl_wchar u[8] = {1, 9, 9, 9, 9, 9, 9, 9};
  EXPECT_EQ(_kvx_vl_wcsncat(nullptr, u, 1, s, 3, 2), 3);
  EXPECT_EQ(u[3], 9u);
  EXPECT_EQ(_kvx_vl_wcsncat(nullptr, u, 1, s, -1, 2), -1);
}

TEST(StrWide, WcschrAndRchr) {
  vl_locale_t *h = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  const vl_wchar s[] = {1, 2, 3, 2, 0};
  EXPECT_EQ(vl_wcschr(h, s, 2), s + 1);
  EXPECT_EQ(vl_wcsrchr(h, s, 2), s + 3);
  h->vl_errno = kSentinel;
  EXPECT_EQ(vl_wcschr(h, s, 7), nullptr);
  EXPECT_EQ(h->vl_errno, 0u);
  EXPECT_EQ(vl_wcschr(nullptr, s, 7), nullptr);
  EXPECT_EQ(vl_wcschr(h, s, 0), s + 4);
  EXPECT_EQ(_kvx_vl_wcschr(h, s, 1, 2), nullptr);
  EXPECT_EQ(_kvx_vl_wcsrchr(h, s, 3, 2), s + 1);
  EXPECT_EQ(_kvx_vl_wcschr(h, s, 5, 0), s + 4);  // a zero value inside the length is a value
  EXPECT_EQ(_kvx_vl_wcschr(h, s, 4, 0), nullptr);
  EXPECT_EQ(_kvx_vl_wcschr(h, s, -2, 1), nullptr);
  EXPECT_EQ(h->vl_errno, uint32_t{VL_EBADARG});
  EXPECT_EQ(vl_wcsrchr(h, nullptr, 1), nullptr);
  EXPECT_EQ(h->vl_errno, uint32_t{VL_EBADPTR});
  vl_lc_unload(h);
}

TEST(StrWide, SpnCspnPbrkWcs) {
  vl_locale_t *h = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  const vl_wchar s[] = {1, 2, 3, 4, 0};
  const vl_wchar set[] = {2, 1, 0};
  const vl_wchar sub[] = {3, 4, 0};
  EXPECT_EQ(vl_wcsspn(h, s, set), 2);
  EXPECT_EQ(vl_wcscspn(h, s, sub), 2);
  EXPECT_EQ(_kvx_vl_wcsspn(h, s, 4, set, 1), 0);
  EXPECT_EQ(_kvx_vl_wcscspn(h, s, 1, sub, 2), 1);
  EXPECT_EQ(_kvx_vl_wcsspn(h, s, 4, set, -1), -1);
  EXPECT_EQ(h->vl_errno, uint32_t{VL_EMIXEDLEN});
  EXPECT_EQ(vl_wcspbrk(h, s, sub), s + 2);
  EXPECT_EQ(_kvx_vl_wcspbrk(h, s, 2, sub, 2), nullptr);
  EXPECT_EQ(h->vl_errno, 0u);
  EXPECT_EQ(vl_wcswcs(h, s, sub), s + 2);
  EXPECT_EQ(vl_wcswcs(h, s, s + 4), s);  // empty substring
  EXPECT_EQ(_kvx_vl_wcswcs(h, s, 3, sub, 2), nullptr);
  EXPECT_EQ(_kvx_vl_wcswcs(h, s, 4, sub, 2), s + 2);
  EXPECT_EQ(vl_wcswcs(nullptr, s, set), nullptr);
  vl_lc_unload(h);
}

// ---- bridge dispatch --------------------------------------------------------------------

struct BridgeCall {
  int calls = 0;
  void *locale = nullptr;
  int32_t a = 0, b = 0;
};
BridgeCall g_call;
int16_t g_status = 0;

char *stub_mbschr(void *locale, const char *s, int32_t len, const char *, int32_t limit, int16_t *status) {
  g_call = {g_call.calls + 1, locale, len, limit};
  *status = g_status;
  return const_cast<char *>(s);
}
char *stub_mbsnext(void *locale, const char *s, int32_t limit, int16_t *status) {
  g_call = {g_call.calls + 1, locale, limit, 0};
  *status = g_status;
  return const_cast<char *>(s + 7);
}
char *stub_mbsprev(void *locale, const char *start, const char *, int16_t *status) {
  g_call = {g_call.calls + 1, locale, 0, 0};
  *status = g_status;
  return const_cast<char *>(start + 1);
}
int32_t stub_ntsbytes(void *locale, const char *, int16_t *status) {
  g_call = {g_call.calls + 1, locale, 0, 0};
  *status = g_status;
  return 42;
}
char *stub_putmbsi(void *locale, char *s, int32_t i, const char *, int16_t *status) {
  g_call = {g_call.calls + 1, locale, i, 0};
  *status = g_status;
  return s;
}

class StrBridge : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(vl_create_null_locale_4(&h), 0);
    saved = {fn_vlu_mbschr, fn_vlu_mbsnext, fn_vlu_mbsprev, fn_vlu_mbsntsbytes, fn_vlu_putmbsi};
    fn_vlu_mbschr = stub_mbschr;
    fn_vlu_mbsnext = stub_mbsnext;
    fn_vlu_mbsprev = stub_mbsprev;
    fn_vlu_mbsntsbytes = stub_ntsbytes;
    fn_vlu_putmbsi = stub_putmbsi;
    h->bridge_active[0] = 1;
    h->bridge_locale[0] = &ctype_loc;
    h->bridge_locale[1] = &collate_loc;
    g_call = {};
    g_status = 0;
  }
  void TearDown() override {
    fn_vlu_mbschr = saved.chr;
    fn_vlu_mbsnext = saved.next;
    fn_vlu_mbsprev = saved.prev;
    fn_vlu_mbsntsbytes = saved.nts;
    fn_vlu_putmbsi = saved.put;
    h->bridge_active[0] = 0;
    h->bridge_locale[0] = h->bridge_locale[1] = nullptr;
    vl_lc_unload(h);
  }
  struct Saved {
    decltype(fn_vlu_mbschr) chr;
    decltype(fn_vlu_mbsnext) next;
    decltype(fn_vlu_mbsprev) prev;
    decltype(fn_vlu_mbsntsbytes) nts;
    decltype(fn_vlu_putmbsi) put;
  } saved{};
  vl_locale_t *h = nullptr;
  int ctype_loc = 0, collate_loc = 0;
};

TEST_F(StrBridge, MbschrUsesTheCollationLocale) {
  const char *s = "abc";
  EXPECT_EQ(vl_full_mbschr(h, s, "b"), s);
  EXPECT_EQ(g_call.calls, 1);
  EXPECT_EQ(g_call.locale, &collate_loc);
  EXPECT_EQ(g_call.a, -1);
  EXPECT_EQ(g_call.b, 4);
  g_status = 1;
  h->vl_errno = 0;
  vl_full_mbschr(h, s, "b");
  EXPECT_EQ(h->vl_errno, 1u);
}

TEST_F(StrBridge, MbsnextPassesNoLimit) {
  const char *s = "abcdefghij";
  EXPECT_EQ(vl_full_mbsnext(h, s), s + 7);
  EXPECT_EQ(g_call.locale, &ctype_loc);
  EXPECT_EQ(g_call.a, -1);
  g_status = -3;  // not above 0: not stored
  h->vl_errno = 5;
  vl_full_mbsnext(h, s);
  EXPECT_EQ(h->vl_errno, 5u);
}

TEST_F(StrBridge, MbsprevPutmbsiNtsbytes) {
  const char *s = "abc";
  EXPECT_EQ(vl_full_mbsprev(h, s, s + 2), s + 1);
  EXPECT_EQ(g_call.locale, &ctype_loc);
  EXPECT_EQ(vl_full_mbsprev(h, s, s), nullptr);  // checked before the bridge
  EXPECT_EQ(h->vl_errno, uint32_t{VL_EBADRANGE});
  char b[] = "xyz";
  g_status = 22;
  EXPECT_EQ(vl_full_putmbsi(h, b, 2, "q"), b);
  EXPECT_EQ(g_call.a, 2);
  EXPECT_EQ(h->vl_errno, 22u);
  g_status = 0;
  EXPECT_EQ(vl_mbsntsbytes(h, s), 42);
  EXPECT_EQ(g_call.calls, 3);
}

}  // namespace
