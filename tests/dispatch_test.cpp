// Bridge dispatch of the character services: with LC_CTYPE handed to the
// bridge, each service calls its bridge function with the LC_CTYPE bridge
// locale, and a positive status becomes the handle's error number.
#include <gtest/gtest.h>

#include <cstdio>

#include <vls/vlsctype.h>
#include <vls/vlsio.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsvlu.h>

#include "vlstest.h"

namespace {

int g_calls = 0;
void *g_locale = nullptr;
int32_t g_arg = 0;
int16_t g_status = 0;
int g_ctype_locale, g_collate_locale;

void record(void *locale, int16_t *status) {
  ++g_calls;
  g_locale = locale;
  *status = g_status;
}

class Dispatch : public ::testing::Test {
 protected:
  vl_locale_t *h = nullptr;
  void SetUp() override {
    ASSERT_EQ(vl_create_null_locale_4(&h), 0);
    set_flags(h);
    h->bridge_active[0] = 1;
    h->bridge_locale[0] = &g_ctype_locale;
    h->bridge_locale[1] = &g_collate_locale;
    g_calls = 0;
    g_locale = nullptr;
    g_status = 0;
    g_arg = -99;
  }
  void TearDown() override {
    h->bridge_active[0] = 0;
    h->bridge_locale[0] = h->bridge_locale[1] = nullptr;
    vl_lc_unload(h);
  }
  // The bridge was called once more with the LC_CTYPE locale.
  void expect_called(int calls = 1) {
    EXPECT_EQ(g_calls, calls);
    EXPECT_EQ(g_locale, &g_ctype_locale);
  }
};

}  // namespace

TEST_F(Dispatch, LengthsAndLimits) {
  fn_vlu_mblen = [](void *l, const char *, int32_t limit, int16_t *st) -> int {
    record(l, st);
    g_arg = limit;
    return 3;
  };
  fn_vlu_mb_loc_max = [](void *l) -> int {
    g_locale = l;
    return 4;
  };
  fn_vlu_mb_loc_min = [](void *) -> int { return 1; };
  EXPECT_EQ(vl_full_mblen(h, "abc", 4), 3);
  EXPECT_EQ(g_arg, 4);
  EXPECT_EQ(_kvx_vl_full_mblen(h, "abc", -1), 3);  // the bridge sees the limit as given
  EXPECT_EQ(g_arg, -1);
  expect_called(2);
  EXPECT_EQ(vl_mb_loc_max(h), 4);
  EXPECT_EQ(vl_mb_loc_min(h), 1);
  g_status = 7;
  vl_full_mblen(h, "abc", 4);
  EXPECT_EQ(h->vl_errno, 7u);
  EXPECT_EQ(vl_full_mblen(h, nullptr, 4), 0);  // a null string never reaches it
  EXPECT_EQ(g_calls, 3);
}

TEST_F(Dispatch, ClassesAndCase) {
  fn_vlu_isuc32type = [](uint32_t v, uint32_t mask) -> int32_t { return v == 'a' ? static_cast<int32_t>(mask) : 0; };
  fn_vlu_ismctype = [](void *l, const char *, int32_t limit, uint32_t mask, int16_t *st) -> int32_t {
    record(l, st);
    g_arg = limit;
    return static_cast<int32_t>(mask);
  };
  fn_vlu_uc32toupper = [](void *l, uint32_t v, int16_t *st) -> uint32_t {
    record(l, st);
    return v - 32;
  };
  fn_vlu_mbtoupper = [](void *l, char *t, const char *, int32_t limit, int16_t *st) -> int32_t {
    record(l, st);
    g_arg = limit;
    t[0] = 'X';
    return 0x70101;
  };
  fn_vlu_mbstoupper = [](void *l, char *t, const char *, int16_t *st) -> int32_t {
    record(l, st);
    t[0] = 0;
    return 11;
  };
  fn_vlu_ucs32toupper = [](void *l, uint32_t *t, const uint32_t *, int16_t *st) -> int32_t {
    record(l, st);
    t[0] = 0;
    return 0;
  };
  fn_vlu_case_conv_outbuflen = [](void *l, int32_t n) -> int32_t {
    g_locale = l;
    return n * 3;
  };
  EXPECT_EQ(_vl_im_iswctype(h, 'a', VL_CT_LOWER), static_cast<uint32_t>(VL_CT_LOWER));
  EXPECT_EQ(_vl_im_ismctype(h, "a", VL_CT_ALPHA), static_cast<uint32_t>(VL_CT_ALPHA));
  EXPECT_EQ(g_arg, 4);  // the assumed limit
  EXPECT_EQ(_kvx_vl_im_ismctype(h, "a", 2, VL_CT_ALPHA), static_cast<uint32_t>(VL_CT_ALPHA));
  EXPECT_EQ(g_arg, 2);
  EXPECT_EQ(_vl_im_towupper(h, 'b'), static_cast<vl_wchar>('B'));
  char out[8];
  EXPECT_EQ(_vl_im_tomupper(h, out, "b"), 0x0101);  // the low 16 bits of the bridge's answer
  EXPECT_EQ(g_arg, 4);
  EXPECT_EQ(vl_tombsupper(h, out, "b"), 11);
  vl_wchar w[2] = {'b', 0};
  EXPECT_EQ(vl_towcsupper(h, w, w), 0);
  expect_called(6);
  EXPECT_EQ(vl_case_conv_outbuflen(h, 5), 15);
}

TEST_F(Dispatch, CountedCaseTwinsStayOnTheTrees) {
  fn_vlu_mbtoupper = [](void *l, char *, const char *, int32_t, int16_t *st) -> int32_t {
    record(l, st);
    return 0x0101;
  };
  char out[8];
  // the null locale's case tree knows no character: nothing is written
  EXPECT_EQ(_kvx_vl_im_tomupper(h, out, "b", 1), 0);
  EXPECT_EQ(g_calls, 0);
}

TEST_F(Dispatch, ConversionsAndWidths) {
  fn_vlu_mbtouc32 = [](void *l, uint32_t *t, const char *, int32_t limit, int16_t *st) -> int32_t {
    record(l, st);
    g_arg = limit;
    *t = 0x3042;
    return 3;
  };
  fn_vlu_uc32tomb = [](void *l, char *t, uint32_t, int16_t *st) -> int32_t {
    record(l, st);
    t[0] = 'q';
    return 1;
  };
  fn_vlu_mbstoucs32 = [](void *l, uint32_t *, int32_t cap, const char *, int32_t len, int16_t *st) -> int32_t {
    record(l, st);
    g_arg = len;
    return cap;
  };
  fn_vlu_ucs32tombs = [](void *l, char *, int32_t, const uint32_t *, int32_t len, int16_t *st) -> int32_t {
    record(l, st);
    g_arg = len;
    return 9;
  };
  vl_wchar w = 0;
  EXPECT_EQ(_kvx_vl_full_mbtowc(h, &w, "abc", -1), 3);
  EXPECT_EQ(w, 0x3042u);
  char out[8];
  EXPECT_EQ(vl_full_wctomb(h, out, 0x3042), 1);
  vl_wchar ws[4];
  EXPECT_EQ(_vl_im_mbstowcs(h, ws, "abc", 4), 4);
  EXPECT_EQ(g_arg, -1);
  EXPECT_EQ(_kvx_vl_im_mbfstowcfs(h, ws, "abc", 3, 4), 4);
  EXPECT_EQ(g_arg, 3);
  vl_wchar src[] = {'a', 0};
  EXPECT_EQ(vl_full_wcstombs(h, out, src, 8), 9);
  EXPECT_EQ(_vl_is_wcstombs(h, out, src, 8), 9);  // even the single-byte form
  expect_called(6);
  g_status = 1;
  h->vl_errno = 0;
  vl_full_wctomb(h, out, 0x3042);
  EXPECT_EQ(h->vl_errno, 1u);
}

TEST_F(Dispatch, StreamCharacters) {
  fn_vlu_fgetuc32 = [](void *l, void *, int16_t *st) -> int32_t {
    record(l, st);
    return 0x3042;
  };
  fn_vlu_getmb = [](void *l, char *t, vlu_byte_reader, void *, int32_t *len, int16_t *st) -> int32_t {
    record(l, st);
    t[0] = 'z';
    *len = 1;
    return 0;
  };
  vlstest::TempDir dir;
  std::string path = dir.write("s.txt", "abc");
  FILE *f = fopen(path.c_str(), "r");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(vl_full_fgetwc(h, f), 0x3042);
  char c[4];
  int32_t len = 0;
  EXPECT_EQ(vl_getmb(h, c, reinterpret_cast<vl_byte_reader>(&local_fgetc), f, &len), 0);
  EXPECT_EQ(len, 1);
  EXPECT_EQ(c[0], 'z');
  expect_called(2);
  fclose(f);
}
