// Generated text over the three fixture codesets, for the property tests
// of the character, string and stream services.
#ifndef VLS_TEST_STRFIX_H
#define VLS_TEST_STRFIX_H

#include "lcofix.h"
#include "threelocales.h"

namespace vlstest {

// A character of a fixture codeset: bytes, wide value (bytes folded
// big-endian) and classes.
struct Char { std::string mb; vl_wchar wc; uint16_t mask; };

// Text of whole characters: the bytes (no terminator), and the wide value,
// byte offset and classes of each character.
struct Text { std::string mb; std::vector<vl_wchar> wc; std::vector<size_t> at; std::vector<uint16_t> mask; };

// A call, its result and the error number it leaves (0: none).
struct Row {
  const char *name;
  std::function<long long()> call;
  long long want;
  uint32_t err;
};

// A pointer as an offset from `base`, -1 for null.
template <class T>
long long off(const T *p, const T *base) { return p ? p - base : -1; }

// A counted member called on buffers a and b with lengths; `two`: it takes
// both lengths (else b, if used, is only a target).
struct Counted {
  const char *name;
  long long (*call)(vl_locale_t *, void *, int32_t, void *, int32_t);
  bool two;
};
template <class R>
long long rc(R r) {
  if constexpr (std::is_pointer_v<R>) return r ? 0 : -1; else return r;
}
inline char *C(void *p) { return static_cast<char *>(p); }
inline vl_wchar *W(void *p) { return static_cast<vl_wchar *>(p); }
#define VLS_COUNTED(two, call) \
  {#call, [](vl_locale_t *h, void *a, int32_t an, void *b, int32_t bn) -> long long { \
     (void)b, (void)bn; return vlstest::rc(call); }, two}

// Every counted member refuses a null pointer (VL_EBADPTR), a length below
// -1 (VL_EBADARG) and, with two lengths, -1 beside a real one (VL_EMIXEDLEN).
inline void check_counted(vl_locale_t *h, std::initializer_list<Counted> members) {
  struct Rule { bool null_a, null_b; int32_t an, bn; uint32_t err; bool two; };
  const Rule rules[] = {{1, 0, 1, 1, VL_EBADPTR, 0},  {0, 0, -2, 1, VL_EBADARG, 0},   {0, 1, 1, 1, VL_EBADPTR, 1},
                        {0, 0, 1, -2, VL_EBADARG, 1}, {0, 0, -1, 1, VL_EMIXEDLEN, 1}, {0, 0, 1, -1, VL_EMIXEDLEN, 1}};
  for (const Counted &m : members)
    for (const Rule &r : rules) {
      if (r.two && !m.two) continue;
      SCOPED_TRACE(std::string(m.name) + " " + std::to_string(&r - rules));
      alignas(vl_wchar) char a[16] = "ab", b[16] = "ab";
      h->vl_errno = 0;
      EXPECT_EQ(m.call(h, r.null_a ? nullptr : a, r.an, r.null_b ? nullptr : b, r.bn), -1);
      EXPECT_EQ(h->vl_errno, r.err);
    }
}

// `s` followed by a terminator of `min` zero bytes.
inline std::string Z(const std::string &s, int min) { return s + std::string(static_cast<size_t>(min), '\0'); }

// The fixture handles with the characters they were built from.
class Codesets : public ThreeLocales {
 protected:
  struct Set {
    const char *name;
    vl_locale_t *h;
    const std::vector<Char> &chars;  // every character but NUL
    int min;                         // bytes of the terminator
  };
  std::vector<Set> sets() { return {{"sb", sb, chars(0), 1}, {"mb", mb, chars(1), 1}, {"w2", w2, chars(2), 2}}; }
  static const std::vector<Char> &chars(int i) {
    static const std::vector<Char> all[3] = {of(latin1_spec()), of(euc_spec()), of(wide2_spec())};
    return all[i];
  }
  // n characters drawn from `cs`, the generator seeded once.
  Text text(const std::vector<Char> &cs, size_t n) {
    Text t;
    for (size_t i = 0; i < n; ++i) {
      const Char &c = cs[rng_() % cs.size()];
      t.at.push_back(t.mb.size()), t.mb += c.mb, t.wc.push_back(c.wc), t.mask.push_back(c.mask);
    }
    return t;
  }
  // Runs each row with the error numbers cleared; `other` is a further
  // handle whose error number counts.
  void run(const std::vector<Row> &rows, vl_locale_t *other = nullptr) {
    uint32_t none = 0, &oe = other ? other->vl_errno : none;
    for (const Row &r : rows) {
      SCOPED_TRACE(r.name);
      sb->vl_errno = mb->vl_errno = w2->vl_errno = oe = 0;
      EXPECT_EQ(r.call(), r.want);
      EXPECT_EQ(sb->vl_errno | mb->vl_errno | w2->vl_errno | oe, r.err);
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

}  // namespace vlstest

#endif
