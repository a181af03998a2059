// Handles loaded by file name below a product tree (the build's shipped
// locales or a fixture tree), and texts moved between the multibyte and
// wide forms by a handle's own conversions.
#ifndef VLS_TEST_SHIPPED_H
#define VLS_TEST_SHIPPED_H

#include "vlstest.h"

namespace vlstest {

inline const std::string kShipped = VLS_TEST_BINARY_DIR "/../kelvanix";

// The given categories of `file` below `root`, the error number cleared (a
// category alone may leave a codeset mismatch with the null ones); null,
// with a message, on failure.
inline vl_locale_t *load_locale(const std::string &root, const char *file, std::initializer_list<int> categories = {VL_LC_ALL}) {
  EnvVar kvx("KELVANIXDIR", root.c_str()), path("VL_PATH", nullptr);
  vl_locale_t *h = nullptr;
  vl_create_null_locale_4(&h);
  for (int category : categories) {
    char *r = vl_setlocale_4(h, category, file);
    if (!r) return fprintf(stderr, "%s category %d: error %u\n", file, category, h->vl_errno), vl_lc_unload(h), nullptr;
    vl_destroystring(r);
  }
  h->vl_errno = 0;
  return h;
}

inline std::vector<vl_wchar> widen(vl_locale_t *h, const std::string &s) {
  std::vector<vl_wchar> w(s.size() + 1);
  EXPECT_GE(h->mbstowcs_fn(h, w.data(), s.c_str(), static_cast<int32_t>(w.size())), 0) << s;
  return w;
}
inline std::string narrow(vl_locale_t *h, const vl_wchar *w) {
  std::vector<char> out(4 * (vl_wcslen(w) + 1) + 4);
  return std::string(out.data(), vl_full_wcstombs(h, out.data(), w, static_cast<int32_t>(out.size())));
}

}  // namespace vlstest

#endif
