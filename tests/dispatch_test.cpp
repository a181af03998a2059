// Dispatch to the Unicode bridge. With LC_CTYPE handed to the bridge every
// character, string and stream service calls its bridge function with the
// LC_CTYPE bridge locale (vl_full_mbschr and the collation forms with the
// LC_COLLATE one), and a positive status becomes the handle's error number.
// The bridge table is filled in-process with stubs that record their call.
#include "vlstest.h"

#include "bridge/tbbridge.h"

namespace {

#define TB_ENUM(n) k_##n,
enum Fn { TB_NAMES(TB_ENUM) k_none };
#define TB_STR(n) "vlu_" #n,
const char *const kNames[] = {TB_NAMES(TB_STR) "no bridge call"};

// The last bridge call: which, its first argument when that is a locale or
// map, its 32-bit integer arguments, and whether it took a status.
struct Hit { int fn; void *first; std::string ints; bool status; } g_hit;
int g_ctype, g_collate;                // the two bridge locales
int16_t g_status;                      // what every stub leaves in its status
constexpr intptr_t kAns = 0x70103;     // what every stub gives, but vlu_mb_loc_min (1)

template <typename T> void Note(T a) {
  if constexpr (std::is_same_v<T, int32_t>) g_hit.ints += (g_hit.ints.empty() ? "" : " ") + std::to_string(a);
  else if constexpr (std::is_same_v<T, int16_t *>) g_hit.status = true, *a = g_status;
}
template <typename... A> void *First(A...) { return nullptr; }
template <typename... A> void *First(void *locale, A...) { return locale; }
template <int K, typename F> struct Stub;
template <int K, typename R, typename... A> struct Stub<K, R (*)(A...)> {
  static R fn(A... a) {
    g_hit = {K, First(a...), "", false};
    (Note(a), ...);
    if constexpr (std::is_pointer_v<R>) return reinterpret_cast<R>(kAns);
    else return static_cast<R>(K == k_mb_loc_min ? 1 : kAns);
  }
};

// A call, the bridge function it must reach, the locale passed first ('c'
// LC_CTYPE, 'l' LC_COLLATE, '-' none), the integer arguments, the result.
struct Row { const char *text; intptr_t (*call)(vl_locale_t *h); Fn fn; char locale; const char *ints; intptr_t want; };
#define ROW(call, fn, locale, ints, want) \
  { #call, [](vl_locale_t *h) { return (void)h, (intptr_t)(call); }, k_##fn, locale, ints, want }

// Widths ask the bridge by another path when the locale has no class table.
void NoClassTable(vl_locale_t *h) { _vl_free_ptr(h->class_table), h->class_table = nullptr; }
char g_out[16], g_s[] = "ab";
vl_wchar g_w[] = {'a', 'b', 0}, g_wout[8];
int16_t g_st;

const Row kRows[] = {
    ROW(vl_full_mblen(h, "ab", 4), mblen, 'c', "4", kAns),
    ROW(_kvx_vl_full_mblen(h, "ab", -1), mblen, 'c', "-1", kAns),
    ROW(vl_full_mblen(h, nullptr, 4), none, '-', "", 0),
    ROW(vl_mb_loc_max(h), mb_loc_max, 'c', "", kAns),
    ROW(vl_mb_loc_min(h), mb_loc_min, 'c', "", 1),
    ROW(_vl_im_iswctype(h, 'a', VL_CT_LOWER), isuc32type, '-', "", kAns),
    ROW(_vl_im_ismctype(h, "a", VL_CT_ALPHA), ismctype, 'c', "4", kAns),
    ROW(_kvx_vl_im_ismctype(h, "a", 2, VL_CT_ALPHA), ismctype, 'c', "2", kAns),
    ROW(_vl_im_towupper(h, 'b'), uc32toupper, 'c', "", kAns),
    ROW(_vl_im_towlower(h, 'B'), uc32tolower, 'c', "", kAns),
    ROW(_vl_im_tomupper(h, g_out, "b"), mbtoupper, 'c', "4", kAns & 0xFFFF),
    ROW(_vl_im_tomlower(h, g_out, "B"), mbtolower, 'c', "4", kAns & 0xFFFF),
    ROW(_kvx_vl_im_tomupper(h, g_out, "b", 1), none, '-', "", 0),
    ROW(vl_tombsupper(h, g_out, "b"), mbstoupper, 'c', "", kAns),
    ROW(vl_tombslower(h, g_out, "B"), mbstolower, 'c', "", kAns),
    ROW(vl_towcsupper(h, g_wout, g_w), ucs32toupper, 'c', "", kAns),
    ROW(vl_towcslower(h, g_wout, g_w), ucs32tolower, 'c', "", kAns),
    ROW(vl_case_conv_outbuflen(h, 5), case_conv_outbuflen, 'c', "5", kAns),
    ROW(_kvx_vl_full_mbtowc(h, g_wout, "abc", -1), mbtouc32, 'c', "-1", kAns),
    ROW(vl_full_mbtowc(h, g_wout, "abc", 2), mbtouc32, 'c', "2", kAns),
    ROW(vl_full_wctomb(h, g_out, 0x3042), uc32tomb, 'c', "", kAns),
    ROW(_vl_im_mbstowcs(h, g_wout, "abc", 4), mbstoucs32, 'c', "4 -1", kAns),
    ROW(_kvx_vl_im_mbfstowcfs(h, g_wout, "abc", 3, 4), mbstoucs32, 'c', "4 3", kAns),
    ROW(vl_full_wcstombs(h, g_out, g_w, 8), ucs32tombs, 'c', "8 -1", kAns),
    ROW(_kvx_vl_full_wcstombs(h, g_out, g_w, 2, 8), ucs32tombs, 'c', "8 2", kAns),
    ROW(_vl_is_wcstombs(h, g_out, g_w, 8), ucs32tombs, 'c', "8 -1", kAns),
    ROW(_kvx_vl_is_wcstombs(h, g_out, g_w, 1, 8), ucs32tombs, 'c', "8 1", kAns),
    ROW(vl_wcwidth(h, 'a'), uc32width, '-', "", kAns),
    ROW((NoClassTable(h), vl_wcwidth(h, 0x3042)), uc32width, '-', "", kAns),
    ROW(vl_mbwidth(h, "a"), mbwidth, 'c', "", kAns),
    ROW((NoClassTable(h), vl_mbwidth(h, "a")), mbwidth, 'c', "", kAns),
    ROW(vl_wcswidth(h, g_w, 2), ucs32width, '-', "2", kAns),
    ROW(vl_wcspwidth(h, g_w, g_w + 1), ucs32pwidth, '-', "", kAns),
    ROW(vl_mbswidth(h, "ab", 2), mbswidth, 'c', "2", kAns),
    ROW(vl_mbspwidth(h, g_s, g_s + 1), mbspwidth, 'c', "", kAns),
    ROW(vl_full_mbschr(h, "ab", "b"), mbschr, 'l', "-1 4", kAns),
    ROW(vl_full_mbsnext(h, "ab"), mbsnext, 'c', "-1", kAns),
    ROW(vl_full_mbsprev(h, g_s, g_s + 1), mbsprev, 'c', "", kAns),
    ROW(vl_full_mbsprev(h, g_s, g_s), none, '-', "", 0),  // the range is checked before the bridge
    ROW(vl_full_putmbsi(h, g_s, 1, "x"), putmbsi, 'c', "1", kAns),
    ROW(vl_mbsntsbytes(h, "ab"), mbsntsbytes, 'c', "", kAns),
    ROW(vl_getmb(h, g_out, nullptr, nullptr, nullptr), getmb, 'c', "", kAns),
    ROW(vl_full_fgetwc(h, g_out), fgetuc32, 'c', "", kAns),
    ROW(_vlu_mbscoll(h, "abc", "abd"), mbscoll, 'l', "-1 -1", kAns),
    ROW(_vlu_mbfscoll(h, "b", 1, "a", 1), mbscoll, 'l', "1 1", kAns),
    ROW(_vlu_mbsxfrm(h, g_out, "hello", 16), mbsxfrm, 'l', "16", kAns),
    // The forwarders take no handle: a status stays the caller's.
    ROW(vlx_icuErrorName(3), icuErrorName, '-', "3", kAns),
    ROW(vlx_getICULocName(&g_ctype), getICULocName, 'c', "", kAns),
    ROW(vlx_getICULocName(nullptr), none, '-', "", 0),
    ROW(vlx_getICUCvtName(&g_ctype), getICUCvtName, 'c', "", kAns),
    ROW(vlx_getICUCvtName(nullptr), none, '-', "", 0),
    ROW(vlx_lc_open(&g_collate, "ja_JP.5050", &g_st), lc_open, 'l', "", kAns),
    ROW(vlx_lc_close(&g_ctype), lc_close, 'c', "", kAns),
    ROW(vlx_ucs32tombs(&g_ctype, g_out, 10, g_w, -1, &g_st), ucs32tombs, 'c', "10 -1", kAns),
    ROW(vlx_ucs32toucs(nullptr, 9, g_w, 3, &g_st), ucs32toucs, '-', "9 3", kAns),
    ROW(vls_assign_global_struct(), none, '-', "", 0),
    ROW((unicode_collate = 1, vls_assign_global_struct()), assign_global_struct, '-', "", kAns),
    ROW(vlx_vluLoc(h, VL_LC_COLLATE), none, '-', "", reinterpret_cast<intptr_t>(&g_collate)),
    ROW(vlx_vluLoc(h, VL_LC_ALL), none, '-', "", 0),
};

}  // namespace

// Each row runs on a fresh bridged null locale, with the statuses 0, -3 and
// 9: only a positive one becomes the error number.
TEST(Dispatch, EveryBridgedService) {
#define TB_STUB(n) fn_vlu_##n = &Stub<k_##n, decltype(fn_vlu_##n)>::fn;
  TB_NAMES(TB_STUB)
  for (const Row &r : kRows) {
    SCOPED_TRACE(r.text);
    for (int16_t status : {0, -3, 9}) {
      vl_locale_t *h = nullptr;
      ASSERT_EQ(vl_create_null_locale_4(&h), 0);
      h->bridge_active[0] = h->bridge_active[1] = 1, h->bridge_locale[0] = &g_ctype, h->bridge_locale[1] = &g_collate;
      ASSERT_EQ(set_flags(h), 0);
      EXPECT_EQ(h->bridge_collation, 1) << "set_flags copies the LC_COLLATE flag";
      g_status = status, g_hit = {k_none, nullptr, "", false};
      const intptr_t got = r.call(h);
      void *first = r.locale == 'c' ? &g_ctype : r.locale == 'l' ? &g_collate : nullptr;
      EXPECT_EQ(std::tuple(got, std::string(kNames[g_hit.fn]), g_hit.first, g_hit.ints),
                std::tuple(r.want, kNames[r.fn], first, r.ints));
      const bool to_handle = g_hit.status && status > 0 && strncmp(r.text, "vlx_", 4) != 0;
      if (r.fn != k_none) { EXPECT_EQ(h->vl_errno, to_handle ? 9u : 0u); }
      unicode_collate = h->bridge_active[0] = h->bridge_active[1] = 0, h->bridge_locale[0] = h->bridge_locale[1] = nullptr;
      vl_lc_unload(h);
    }
  }
}
