// Generated text over the three fixture codesets, for the property tests
// of the character, string and stream services.
#ifndef VLS_TEST_STRFIX_H
#define VLS_TEST_STRFIX_H

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "lcofix.h"
#include "threelocales.h"

namespace vlstest {

// A character of a fixture codeset: bytes, wide value (bytes folded
// big-endian) and classes.
struct Char {
  std::string mb;
  vl_wchar wc;
  uint16_t mask;
};

// Text of whole characters: the bytes (no terminator), the wide values and
// the byte offset and classes of each character.
struct Text {
  std::string mb;
  std::vector<vl_wchar> wc;
  std::vector<size_t> at;
  std::vector<uint16_t> mask;
};

// A call and what it must give: its result and the error number it leaves
// (0: none) in the handle it works on.
struct Row {
  const char *name;
  std::function<long long()> call;
  long long want;
  uint32_t err;
};

// A pointer as an offset from `base`, -1 for null.
template <class T>
long long off(const T *p, const T *base) {
  return p ? p - base : -1;
}

// The fixture handles with the characters they were built from.
class Codesets : public ThreeLocales {
 protected:
  struct Set {
    const char *name;
    vl_locale_t *h;
    const std::vector<Char> &chars;  // every character but NUL
    int min;                          // bytes of the terminator
  };
  std::vector<Set> sets() { return {{"sb", sb, chars(0), 1}, {"mb", mb, chars(1), 1}, {"w2", w2, chars(2), 2}}; }
  static const std::vector<Char> &chars(int i) {
    static const std::vector<Char> all[3] = {of(latin1_spec()), of(euc_spec()), of(wide2_spec())};
    return all[i];
  }
  // n characters drawn from `cs` (NUL excluded), the generator seeded once.
  Text text(const std::vector<Char> &cs, size_t n) {
    Text t;
    for (size_t i = 0; i < n; ++i) {
      const Char &c = cs[rng_() % cs.size()];
      t.at.push_back(t.mb.size());
      t.mb += c.mb;
      t.wc.push_back(c.wc);
      t.mask.push_back(c.mask);
    }
    return t;
  }
  // Runs each row with the error numbers cleared; `other` is a further
  // handle whose error number counts.
  void run(const std::vector<Row> &rows, vl_locale_t *other = nullptr) {
    for (const Row &r : rows) {
      SCOPED_TRACE(r.name);
      sb->vl_errno = mb->vl_errno = w2->vl_errno = 0;
      if (other) other->vl_errno = 0;
      EXPECT_EQ(r.call(), r.want);
      EXPECT_EQ(sb->vl_errno | mb->vl_errno | w2->vl_errno | (other ? other->vl_errno : 0), r.err);
    }
  }
  std::mt19937 rng_{20240611};

 private:
  static std::vector<Char> of(const CtypeSpec &s) {
    std::vector<Char> out;
    for (const auto &c : s.chars) {
      vl_wchar v = 0;
      for (unsigned char b : c.bytes) v = (v << 8) | b;
      if (v) out.push_back({c.bytes, v, c.mask});
    }
    return out;
  }
};

// `s` followed by a terminator of `min` zero bytes.
inline std::string Z(const std::string &s, int min) { return s + std::string(static_cast<size_t>(min), '\0'); }

}  // namespace vlstest

#endif
