// A test fixture holding the three fixture locales for a whole suite:
// `sb` single-byte, `mb` one- and two-byte, `w2` shortest character two
// bytes. Their error numbers are cleared before each test.
#ifndef VLS_TEST_THREELOCALES_H
#define VLS_TEST_THREELOCALES_H

#include "lcofix.h"

namespace vlstest {

class ThreeLocales : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    latin1_ = make_handle(latin1_spec()), euc_ = make_handle(euc_spec()), wide2_ = make_handle(wide2_spec());
  }
  static void TearDownTestSuite() {
    vl_lc_unload(latin1_), vl_lc_unload(euc_), vl_lc_unload(wide2_);
    latin1_ = euc_ = wide2_ = nullptr;
  }
  void SetUp() override {
    ASSERT_TRUE(latin1_ && euc_ && wide2_);
    sb = latin1_, mb = euc_, w2 = wide2_;
    sb->vl_errno = mb->vl_errno = w2->vl_errno = 0;
  }

  static inline vl_locale_t *latin1_ = nullptr, *euc_ = nullptr, *wide2_ = nullptr;
  vl_locale_t *sb = nullptr, *mb = nullptr, *w2 = nullptr;  // single-byte; one and two bytes; shortest two bytes
};

// A string of the given bytes, zero bytes included.
inline std::string B(std::initializer_list<unsigned> bytes) { return std::string(bytes.begin(), bytes.end()); }

}  // namespace vlstest

#endif
