// The shipped locales and glibc's build of the same source and charmap,
// loaded side by side for the oracle suites: the cases of the build, the
// fixture that loads both, and the helpers the suites share.
#ifndef VLS_TEST_GLIBC_PAIR_H
#define VLS_TEST_GLIBC_PAIR_H

#include "vlstest.h"

#include <locale.h>
#include <wchar.h>
#include <wctype.h>

// glibc's newlocale keeps the split LOCPATH list it builds (argz) when
// LOCPATH is set; that is glibc's, not ours.
extern "C" const char *__lsan_default_suppressions() { return "leak:__argz_add_sep\n"; }

namespace glibc_pair {

struct Case {
  const char *source, *charmap;
  const char *file;   // ll_tt/xxxx.lco below lc11
  const char *glibc;  // directory below the glibc tree
};
inline void PrintTo(const Case &c, std::ostream *os) { *os << c.source << "." << c.charmap << " (" << c.file << ")"; }
inline const Case kCases[] = {
#include "oracle_cases.inc"
};
inline std::string case_name(const ::testing::TestParamInfo<Case> &info) {
  std::string n = std::string(info.param.source) + "_" + info.param.charmap;
  for (auto &ch : n) ch = isalnum(static_cast<unsigned char>(ch)) ? ch : '_';
  return n;
}

using vlstest::hex;

// glibc's wide value of a whole character (0 if none), its multibyte form
// of a wide one and the library's ("" if none).
inline wchar_t g_wide(locale_t g, const std::string &s) {
  mbstate_t st{};
  wchar_t wc = 0;
  const locale_t old = uselocale(g);
  const size_t r = mbrtowc(&wc, s.data(), s.size(), &st);
  return uselocale(old), r == s.size() ? wc : 0;
}
inline std::string g_mb(locale_t g, wchar_t wc) {
  char buf[MB_LEN_MAX];
  mbstate_t st{};
  const locale_t old = uselocale(g);
  const size_t n = wcrtomb(buf, wc, &st);
  return uselocale(old), n == static_cast<size_t>(-1) ? std::string() : std::string(buf, n);
}
inline std::string v_mb(vl_locale_t *h, vl_wchar w) {
  char buf[8];
  return std::string(buf, static_cast<size_t>(std::max(vl_full_wctomb(h, buf, w), 0)));
}

// Every character of the library's tree, by walking its nodes.
inline void walk(const unc_multi_arr_t *node, std::string &prefix, std::vector<std::string> &out) {
  for (int b = 0; node && node->flags && b < 256; ++b) {
    prefix.push_back(static_cast<char>(b));
    if (node->flags[b] == VL_MULTI_COMPLETE) out.push_back(prefix);
    else if (node->flags[b] == VL_MULTI_LEADS && node->offsets && node->next) walk(node->next[node->offsets[b]], prefix, out);
    prefix.pop_back();
  }
}

// Both locales of a case, loaded: `h` the library's, `g` glibc's.
class Pair : public ::testing::TestWithParam<Case> {
 protected:
  vl_locale_t *h = nullptr;
  locale_t g = nullptr;
  void SetUp() override {
    setenv("KELVANIXDIR", VLS_ORACLE_KELVANIX, 1), setenv("LOCPATH", VLS_ORACLE_GLIBC, 1);
    ASSERT_EQ(vl_create_null_locale_4(&h), 0);
    char *names = vl_setlocale_4(h, VL_LC_ALL, GetParam().file);
    ASSERT_NE(names, nullptr) << GetParam().file << ": vl_errno " << h->vl_errno;
    vl_destroystring(names);
    ASSERT_NE(g = newlocale(LC_ALL_MASK, GetParam().glibc, nullptr), nullptr) << GetParam().glibc;
  }
  void TearDown() override { vl_lc_unload(h), g ? freelocale(g) : void(); }
};

}  // namespace glibc_pair

#endif
