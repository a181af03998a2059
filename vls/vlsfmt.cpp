// Number formatting: the wide engine vl_wcsfnum1 with its directive
// scanner, the integer, float, character and string writers, group
// planning, and the multibyte wrappers around the engine.
//
// The engine keeps a count that starts at 1 (the terminator's place) and
// tests it against the caller's size before each piece of output. Some
// pieces are measured apart from that count by design: the string writer
// compares its own length with the whole size, and infinity and NaN are
// written without being counted. Every store is also checked against the
// end of the caller's buffer, so that where those rules would let text run
// past it the call fails with 14 instead.
#include <vls/vlsfmt.h>

#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

#include <vls/vlsctype.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsvlu.h>

#include "vlsint.h"
#include "vlswide.h"

namespace {

using vls::fail;

constexpr int32_t kTextBytes = 112;     // the float writer's text buffers
constexpr int32_t kStringStack = 128;   // a multibyte string argument up to this many bytes stays on the stack
constexpr int32_t kOutStack = 512;      // wide output of the multibyte wrapper
constexpr int32_t kFormatStack = 256;   // wide format of the multibyte wrapper

// Display columns, with the locale's tables read directly. A character
// that has no display width (not printable) counts one column, as
// vl_mbwidth counts a one-byte control character, and leaves vl_errno as
// it was.
class Cols {
 public:
  explicit Cols(vl_locale_t *h) : h_(h) {}
  Cols(const Cols &) = delete;
  Cols &operator=(const Cols &) = delete;
  ~Cols() {
    if (made_) tables().~Columns();
  }
  int of(vl_wchar v) {
    vls::Columns &quick_ = tables();
    if (const int q = quick_.quick(v)) return q;
    uint16_t m;
    if (quick_.table_mask(v, &m)) return v ? 1 : 0;  // in the class table, not printable
    const uint32_t saved = h_->vl_errno;
    const int w = vl_wcwidth(h_, v);
    if (w >= 0) return w;
    h_->vl_errno = saved;
    return 1;
  }
  // The first n characters of s.
  int of(const vl_wchar *s, int64_t n) {
    int total = 0;
    for (int64_t i = 0; i < n && s[i]; ++i) total += of(s[i]);
    return total;
  }

 private:
  // The tables' helper, made when first asked (most numbers never are).
  vls::Columns &tables() {
    if (!made_) new (store_) vls::Columns(h_), made_ = true;
    return *reinterpret_cast<vls::Columns *>(store_);
  }
  vl_locale_t *h_;
  alignas(vls::Columns) unsigned char store_[sizeof(vls::Columns)];
  bool made_ = false;
};

// A numeric string of the locale in wide form. `ok` is false when the
// category holds the text but its wide form could not be made.
struct LStr {
  const vl_wchar *w;
  int32_t len;
  bool ok;
};

constexpr vl_wchar kEmpty[1] = {0};
constexpr LStr kNoText = {kEmpty, 0, true};

// A short copy of wide characters (into bytes: their low bytes).
template <typename C>
inline void copy_chars(C *to, const vl_wchar *from, int32_t n) {
  for (int32_t i = 0; i < n; ++i) to[i] = static_cast<C>(from[i]);
}

LStr lstr(vl_locale_t *h, const vl_string_pair &p) {
  if (p.wc) {
    int32_t n = 0;
    while (p.wc[n]) ++n;
    return {p.wc, n, true};
  }
  if (!p.mb || vl_ismbsterm(h, p.mb)) return {kEmpty, 0, true};
  return {kEmpty, 0, false};
}

// The numeric strings, each looked at when first needed.
class NumStrs {
 public:
  explicit NumStrs(vl_locale_t *h) : h_(h) {}
  const LStr &dp() { return get(0, h_->nmm.decimal_point); }
  const LStr &sep() { return get(1, h_->nmm.thousands_sep); }
  const LStr &pos() { return get(2, h_->nmm.num_positive_sign); }
  const LStr &neg() { return get(3, h_->nmm.num_negative_sign); }

 private:
  const LStr &get(int i, const vl_string_pair &p) {
    if (!(known_ & (1u << i))) s_[i] = lstr(h_, p), known_ |= 1u << i;
    return s_[i];
  }
  vl_locale_t *h_;
  LStr s_[4];
  unsigned known_ = 0;
};

// What one call of the engine learns once: the columns helper and the
// numeric strings.
struct Ctx {
  vl_locale_t *h;
  Cols cols;
  NumStrs ns;
  explicit Ctx(vl_locale_t *handle) : h(handle), cols(handle), ns(handle) {}
};

// ---- group planning and separators ---------------------------------------------

struct Groups {
  int32_t index = 1, separators = 0, repeat = 0, before_next = 0;
};

// The count of group sizes, bounded by the record.
inline int32_t group_count(const int32_t *g) { return g[0] < 0 ? 0 : (g[0] > VL_GROUP_WORDS - 1 ? VL_GROUP_WORDS - 1 : g[0]); }

void plan_groups(const int32_t *g, Groups &r, int32_t n, int32_t mode) {
  r = Groups{};
  const int32_t c = group_count(g);
  if (c == 0) return;
  int32_t index = 1;
  int64_t covered = 0, sum = 0;
  if (c > 1) {
    for (;;) {
      const int64_t before = sum;
      sum += g[index];
      if (sum >= n) {
        covered = before;
        break;
      }
      ++r.separators;
      if (++index >= c) {
        covered = sum;
        break;
      }
    }
  }
  if (g[c] != -1) {
    // A repeating size of 0 or below never covers the digits: no repetition.
    const int64_t size = g[c] ? g[c] : g[c - 1];
    if (size > 0)
      while (covered + size < n) covered += size, ++r.separators, ++r.repeat;
  }
  if (mode == VL_GROUP_BACKWARD) {
    r.before_next = g[1];
    // A first size of 0 would divide by zero: such a locale repeats nothing.
    r.repeat = ((c == 1 || (c == 2 && g[2] == 0)) && g[1] > 0) ? n / g[1] + 1 : 0;
    r.index = 1;
  } else {
    r.before_next = static_cast<int32_t>(n - covered);
    r.index = index;
  }
}

// After a digit: writes the separator when its group is complete. Backward
// the pointer moves back over the separator first; forward it ends behind
// it. False when the separator would leave [lo, hi).
template <typename C>
bool separate(const int32_t *g, const LStr &sep, C *&p, const C *lo, const C *hi, Groups &r, int32_t mode) {
  if (--r.before_next > 0) return true;
  if (mode == VL_GROUP_BACKWARD) {
    if (p - lo < sep.len) return false;
    p -= sep.len;
    copy_chars(p, sep.w, sep.len);
  } else {
    if (hi - p < sep.len) return false;
    copy_chars(p, sep.w, sep.len);
    p += sep.len;
  }
  const int32_t c = group_count(g);
  if (r.repeat < 1) {
    if (mode == VL_GROUP_FORWARD) --r.index;
    else if (r.index < c) ++r.index;
  } else {
    --r.repeat;
  }
  if (r.index < 1) r.index = 1;  // only a damaged grouping gets here
  r.before_next = g[r.index] ? g[r.index] : g[r.index - 1];
  --r.separators;
  return true;
}

// The sign of a number written backwards, ending at p: the negative sign,
// the positive sign with the plus flag, with only the space flag as many
// blanks as the positive sign has characters.
template <typename C>
void sign_backward(NumStrs &ns, bool negative, uint32_t flags, C *&p) {
  if (negative) {
    const LStr &s = ns.neg();
    p -= s.len;
    copy_chars(p, s.w, s.len);
  } else if (flags & VL_FMT_PLUS) {
    const LStr &s = ns.pos();
    p -= s.len;
    copy_chars(p, s.w, s.len);
  } else if (flags & VL_FMT_SPACE) {
    for (int32_t i = 0; i < ns.pos().len; ++i) *--p = ' ';
  }
}

// ---- integers ---------------------------------------------------------------------

// The digits of a magnitude from the right into `digits`; their count.
int32_t integer_digits(uint64_t magnitude, int32_t base, bool upper, char *digits) {
  const char letter = upper ? 'A' : 'a';
  int32_t d = 0;
  if (base == 10) {
    if (magnitude <= UINT32_MAX) {
      // Two digits a division.
      static constexpr char kPairs[] =
          "0001020304050607080910111213141516171819202122232425262728293031323334353637383940414243444546474849"
          "5051525354555657585960616263646566676869707172737475767778798081828384858687888990919293949596979899";
      uint32_t v = static_cast<uint32_t>(magnitude);
      while (v >= 100) {
        const uint32_t r = v % 100;
        v /= 100;
        digits[d++] = kPairs[2 * r + 1], digits[d++] = kPairs[2 * r];
      }
      if (v >= 10) digits[d++] = kPairs[2 * v + 1], digits[d++] = kPairs[2 * v];
      else digits[d++] = static_cast<char>('0' + v);
    } else {
      do digits[d++] = static_cast<char>('0' + magnitude % 10), magnitude /= 10;
      while (magnitude);
    }
    return d;
  }
  if ((base & (base - 1)) == 0) {
    const int shift = __builtin_ctz(static_cast<unsigned>(base));
    const uint64_t mask = static_cast<uint64_t>(base) - 1;
    do {
      const unsigned v = static_cast<unsigned>(magnitude & mask);
      digits[d++] = static_cast<char>(v < 10 ? '0' + v : letter + (v - 10));
      magnitude >>= shift;
    } while (magnitude);
    return d;
  }
  do {
    const unsigned v = static_cast<unsigned>(magnitude % static_cast<uint64_t>(base));
    digits[d++] = static_cast<char>(v < 10 ? '0' + v : letter + (v - 10));
    magnitude /= static_cast<uint64_t>(base);
  } while (magnitude);
  return d;
}

// The plain case of the integer writer: base 10, no width, sign, group or
// alternate form, so that the text is the precision's zeros and the
// digits. False when the directive is not that plain.
bool put_plain_decimal(vl_locale_t *h, uint64_t magnitude, bool negative, int32_t base, int32_t *count,
                       int32_t size, vl_wchar **out, const vl_wchar *end, int32_t width, int32_t precision,
                       uint32_t flags, int *rc) {
  if (base != 10 || negative || width >= 1 || (flags & (VL_FMT_GROUP | VL_FMT_PLUS | VL_FMT_SPACE | VL_FMT_ALT)))
    return false;
  char digits[24];
  const int32_t d = integer_digits(magnitude, 10, false, digits);
  const int64_t z = d < precision ? int64_t{precision} - d : 0;
  const int64_t T = d + z;
  if (T + *count > size || T > end - *out) {
    *rc = fail(h, VL_E2BIG);
    return true;
  }
  vl_wchar *p = *out;
  for (int64_t i = 0; i < z; ++i) *p++ = '0';
  for (int32_t i = d - 1; i >= 0; --i) *p++ = static_cast<unsigned char>(digits[i]);
  *out = p;
  *count += static_cast<int32_t>(T);
  *rc = 0;
  return true;
}

// The text goes into wide characters, or into bytes where each character
// is known to be its low byte.
template <typename C>
int put_integer(Ctx &cx, uint64_t magnitude, bool negative, int32_t base, int32_t *count, int32_t size, C **out,
                const C *end, int32_t width, int32_t precision, uint32_t flags) {
  vl_locale_t *h = cx.h;
  if (base > 36 || base < 2) return fail(h, VL_EBADARG);
  Cols &cols = cx.cols;
  NumStrs &ns = cx.ns;
  char digits[64];
  const int32_t d = integer_digits(magnitude, base, (flags & VL_FMT_UPPER) != 0, digits);
  // The display width W counts only against a width, and for the octal
  // alternate form's precision: every text has at least one column, so
  // without a width it never leads to padding.
  const bool octal_alt = base == 8 && (flags & VL_FMT_ALT);
  const bool measure = width >= 1 || octal_alt;
  int64_t W = 0;
  if (measure)
    for (int32_t i = 0; i < d; ++i) W += cols.of(static_cast<unsigned char>(digits[i]));
  const vl_wchar pad = (flags & VL_FMT_ZERO) ? '0' : ' ';
  const int zero_cols = measure ? cols.of('0') : 1;
  int64_t prec = precision;
  if (octal_alt && prec <= W) prec = W + zero_cols;
  const int32_t *g = h->nmm.grouping;
  Groups gr;
  if (flags & VL_FMT_GROUP) plan_groups(g, gr, d, VL_GROUP_BACKWARD);
  const int64_t s = gr.separators;
  const LStr &sep = s > 0 ? ns.sep() : kNoText;
  if (s > 0 && !sep.ok) return fail(h, VL_EILSEQ);
  const bool signs = negative || (flags & (VL_FMT_PLUS | VL_FMT_SPACE));
  if (signs && !(negative ? ns.neg().ok : ns.pos().ok)) return fail(h, VL_EILSEQ);
  const int64_t z = d < prec ? prec - d : 0;
  int64_t T = d + z + s * sep.len;
  if (negative) T += ns.neg().len;
  else if (flags & (VL_FMT_PLUS | VL_FMT_SPACE)) T += ns.pos().len;
  const bool prefix = base == 16 && (flags & VL_FMT_ALT);
  if (prefix) T += 2;
  int64_t pads = 0;
  if (width >= 1) {
    W += z * zero_cols;
    if (s > 0) W += s * cols.of(sep.w, sep.len);
    if (negative) W += cols.of(ns.neg().w, ns.neg().len);
    // The positive sign's columns over the negative sign's length.
    else if (flags & (VL_FMT_PLUS | VL_FMT_SPACE)) W += cols.of(ns.pos().w, ns.neg().len);
    if (prefix) W += cols.of('x') + zero_cols;
    if (W <= width) {
      int pad_cols = cols.of(pad);
      if (pad_cols < 1) pad_cols = 1;
      pads = (width - W + pad_cols / 2) / pad_cols;
      T += pads;
    }
  }
  if (T + *count > size || T > end - *out) return fail(h, VL_E2BIG);

  C *const start = *out;
  C *p = start + T;
  const bool left_alone = (flags & VL_FMT_LEFT) && !(flags & VL_FMT_ZERO);
  if (left_alone)
    for (int64_t i = 0; i < pads; ++i) *--p = static_cast<C>(pad);
  if (gr.separators > 0) {
    for (int32_t i = 0; i < d; ++i) {
      *--p = static_cast<unsigned char>(digits[i]);
      if (gr.separators > 0 && !separate(g, sep, p, start, end, gr, VL_GROUP_BACKWARD)) return fail(h, VL_E2BIG);
    }
  } else {
    for (int32_t i = 0; i < d; ++i) *--p = static_cast<unsigned char>(digits[i]);
  }
  for (int64_t i = 0; i < z; ++i) *--p = '0';
  if (prefix) *--p = (flags & VL_FMT_UPPER) ? 'X' : 'x', *--p = '0';
  if (pad == ' ') sign_backward(ns, negative, flags, p);
  if (!left_alone)
    for (int64_t i = 0; i < pads; ++i) *--p = static_cast<C>(pad);
  if (pad == '0') sign_backward(ns, negative, flags, p);
  *out = start + T;
  *count += static_cast<int32_t>(T);
  return 0;
}

// The end of the room that count and size leave behind *out.
inline const vl_wchar *room_end(const vl_wchar *out, int32_t count, int32_t size) {
  const int64_t room = static_cast<int64_t>(size) - count + 1;
  return out + (room > 0 ? room : 0);
}

// ---- floats ------------------------------------------------------------------------

// The value printed by the C library into kTextBytes bytes, with a point
// for the radix whatever the process locale says. False when the text
// does not fit.
bool c_text(char *text, const char *format, double value) {
  const int n = snprintf(text, kTextBytes, format, value);
  if (n < 0 || n >= kTextBytes) return false;
  // Anything but digits, signs, exponent letters and blanks is the radix.
  for (char *q = text; *q; ++q) {
    if (strchr("0123456789+-eE .", *q)) continue;
    char *e = q;
    while (*e && !strchr("0123456789+-eE .", *e)) ++e;
    *q = '.';
    memmove(q + 1, e, strlen(e) + 1);
    break;
  }
  return true;
}

// "%" [#] [-] [0] [width] [.precision] letter, the width only when at
// least 1 and the precision only when at least 0.
void c_format(char *f, size_t size, uint32_t flags, int64_t width, int32_t precision, char letter) {
  char head[8], *q = head;
  *q++ = '%';
  if (flags & VL_FMT_ALT) *q++ = '#';
  if (flags & VL_FMT_LEFT) *q++ = '-';
  if (flags & VL_FMT_ZERO) *q++ = '0';
  *q = 0;
  if (width >= 1 && precision >= 0) snprintf(f, size, "%s%d.%d%c", head, static_cast<int>(width), precision, letter);
  else if (width >= 1) snprintf(f, size, "%s%d%c", head, static_cast<int>(width), letter);
  else if (precision >= 0) snprintf(f, size, "%s.%d%c", head, precision, letter);
  else snprintf(f, size, "%s%c", head, letter);
}

// The digits of the integer part as counted by dividing by ten while the
// value is at least 1.0. Away from the powers of ten the divisions cannot
// be off by a step, and the digits of the integer part give the count
// straight away; near them the divisions run.
int32_t integer_part_digits(double value) {
  static constexpr double kPow10[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                      1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  if (value < 1.0) return 0;
  if (value < 1e15) {
    const uint64_t i = static_cast<uint64_t>(value);
    int32_t k = 1;
    for (uint64_t p = 10; i >= p; p *= 10) ++k;
    if (value >= kPow10[k - 1] * (1 + 1e-13) && value <= kPow10[k] * (1 - 1e-13)) return k;
  }
  int32_t n = 0;
  for (double v = value; v >= 1.0; v /= 10) ++n;
  return n;
}

// The text the C library prints for a value that is not negative with
// "%" [-] [0] [width] [.precision] letter in the C locale, without the
// alternate form: the digits made once, padded to a width on demand.
class FloatText {
 public:
  // False when the digits alone do not fit the text buffer.
  bool make(double value, int32_t precision, char letter) {
    if (letter == 'f' && (n_ = vls::fixed_text(value, precision < 0 ? 6 : precision, core_)) > 0) return true;
    const std::chars_format form = (letter == 'f')               ? std::chars_format::fixed
                                   : (letter == 'e' || letter == 'E') ? std::chars_format::scientific
                                                                      : std::chars_format::general;
    const auto r = std::to_chars(core_, core_ + kTextBytes - 1, value, form, precision < 0 ? 6 : precision);
    if (r.ec != std::errc()) return false;
    n_ = static_cast<int32_t>(r.ptr - core_);
    if (letter == 'E' || letter == 'G')
      for (int32_t i = 0; i < n_; ++i)
        if (core_[i] == 'e') core_[i] = 'E';
    return n_ < kTextBytes;
  }
  // The text padded to `width` (when at least 1) into kTextBytes bytes; false
  // when it does not fit.
  bool padded(char *text, int64_t width, uint32_t flags) const {
    const int64_t pads = width > n_ ? width - n_ : 0;
    if (n_ + pads >= kTextBytes) return false;
    char *q = text;
    if (!(flags & VL_FMT_LEFT)) q = static_cast<char *>(memset(q, (flags & VL_FMT_ZERO) ? '0' : ' ', pads)) + pads;
    memcpy(q, core_, static_cast<size_t>(n_));
    q += n_;
    if (flags & VL_FMT_LEFT) q = static_cast<char *>(memset(q, ' ', pads)) + pads;
    *q = 0;
    return true;
  }

 private:
  char core_[kTextBytes];
  int32_t n_ = 0;
};

int put_float(Ctx &cx, double value, int32_t *count, int32_t size, vl_wchar **out, const vl_wchar *end,
              int32_t width, int32_t precision, uint32_t flags, vl_wchar conversion) {
  vl_locale_t *h = cx.h;
  if (width >= 100) return fail(h, VL_E2BIG);
  const bool negative = value < 0;  // negative zero is not negative
  value = std::fabs(value);
  const char letter = static_cast<char>(conversion);
  Cols &cols = cx.cols;
  NumStrs &ns = cx.ns;
  const int32_t *g = h->nmm.grouping;
  Groups gr;
  if (letter == 'f' && (flags & VL_FMT_GROUP)) plan_groups(g, gr, integer_part_digits(value), VL_GROUP_FORWARD);
  const int32_t M = ns.neg().len > ns.pos().len ? ns.neg().len : ns.pos().len;
  int64_t w = width;
  if (w >= 1) {  // below 1 no width is printed whatever is taken off
    if (negative) w -= cols.of(ns.neg().w, ns.neg().len);
    else if (flags & VL_FMT_PLUS) w -= cols.of(ns.pos().w, ns.pos().len);
    else if (flags & VL_FMT_SPACE) w -= M;
    if (gr.separators > 0) w -= static_cast<int64_t>(gr.separators) * cols.of(ns.sep().w, ns.sep().len);
  }
  // Precision beyond the text buffer: %e and %f cannot fit, and %g prints
  // no digit past the 767th that a double holds.
  if (precision >= kTextBytes && (letter != 'g' && letter != 'G')) return fail(h, VL_E2BIG);
  if (precision > 800 && !(flags & VL_FMT_ALT)) precision = 800;
  if (precision >= kTextBytes && (flags & VL_FMT_ALT)) return fail(h, VL_E2BIG);

  char text[kTextBytes];
  // The alternate form and long precisions are left to the C library; the
  // common forms make their digits once.
  const bool own = !(flags & VL_FMT_ALT) && precision <= 40;
  FloatText ft;
  if (own && !ft.make(value, precision, letter)) return fail(h, VL_E2BIG);
  char format[40];
  auto print = [&](int64_t field) {
    if (own) return ft.padded(text, field, flags);
    c_format(format, sizeof format, flags, field, precision, letter);
    return c_text(text, format, value);
  };
  if (w >= 1) {
    // A decimal point of more than one column: narrow the field so that
    // the columns come out right.
    if (!print(w)) return fail(h, VL_E2BIG);
    const int dp_cols = cols.of(ns.dp().w, ns.dp().len);
    int64_t measured = 0;
    for (const char *q = text; *q; ++q) measured += *q == '.' ? dp_cols : cols.of(static_cast<unsigned char>(*q));
    if (measured > w) {
      w = 2 * w - measured;
      if (!print(w)) return fail(h, VL_E2BIG);
    }
  } else if (!print(w)) {
    return fail(h, VL_E2BIG);
  }
  const LStr &dp = ns.dp();

  vl_wchar *p = *out;
  auto put = [&](vl_wchar c) {
    if (*count >= size || p >= end) return false;
    *p++ = c;
    ++*count;
    return true;
  };
  auto put_str = [&](const LStr &s) {
    for (int32_t i = 0; i < s.len; ++i)
      if (!put(s.w[i])) return false;
    return true;
  };
  auto digit = [](char c) { return c >= '0' && c <= '9'; };
  const char *t = text;
  auto done = [&](uint32_t err) {
    *out = p;
    return err ? fail(h, err) : 0;
  };
  while (*t == ' ')
    if (!put(*t++)) return done(VL_E2BIG);
  if (negative || (flags & (VL_FMT_PLUS | VL_FMT_SPACE))) {
    const LStr *sign = negative ? &ns.neg() : (flags & VL_FMT_PLUS) ? &ns.pos() : nullptr;
    if (sign && !sign->ok) return done(VL_EILSEQ);
    const int32_t blanks = sign ? M - sign->len : M;
    for (int32_t i = 0; i < blanks; ++i)
      if (!put(' ')) return done(VL_E2BIG);
    if (sign && !put_str(*sign)) return done(VL_E2BIG);
  }
  for (; digit(*t); ++t) {
    if (!put(*t)) return done(VL_E2BIG);
    if (gr.separators > 0) {
      if (!ns.sep().ok) return done(VL_EILSEQ);
      if (gr.before_next == 1) {
        if (*count >= size) return done(VL_E2BIG);
        *count += ns.sep().len;
      }
      if (!separate(g, ns.sep(), p, *out, end, gr, VL_GROUP_FORWARD)) return done(VL_E2BIG);
    }
  }
  if (*t == '.') {
    ++t;
    if (size < static_cast<int64_t>(*count) + dp.len) return done(VL_E2BIG);
    if (!dp.ok) return done(VL_EILSEQ);
    if (end - p < dp.len) return done(VL_E2BIG);
    copy_chars(p, dp.w, dp.len);
    p += dp.len;
    *count += dp.len;
  }
  for (; digit(*t); ++t)
    if (!put(*t)) return done(VL_E2BIG);
  if (*t == 'e' || *t == 'E') {
    if (!put(*t++)) return done(VL_E2BIG);
    if (*t == '+' || *t == '-') {
      const LStr &sign = *t++ == '+' ? ns.pos() : ns.neg();
      if (!sign.ok) return done(VL_EILSEQ);
      if (!put_str(sign)) return done(VL_E2BIG);
    }
    for (; digit(*t); ++t)
      if (!put(*t)) return done(VL_E2BIG);
  }
  while (*t == ' ')
    if (!put(*t++)) return done(VL_E2BIG);
  return done(0);
}

// Infinity and NaN: written, but not counted.
int put_special(vl_locale_t *h, const char *text, bool padded, int32_t width, uint32_t flags, vl_wchar *&p,
                const vl_wchar *end) {
  const int64_t len = static_cast<int64_t>(strlen(text));
  const int64_t blanks = padded && width > len ? width - len : 0;
  if (end - p < len + blanks) return fail(h, VL_E2BIG);
  const bool left = flags & VL_FMT_LEFT;
  if (!left)
    for (int64_t i = 0; i < blanks; ++i) *p++ = ' ';
  for (const char *q = text; *q; ++q) *p++ = static_cast<unsigned char>(*q);
  if (left)
    for (int64_t i = 0; i < blanks; ++i) *p++ = ' ';
  return 0;
}

// ---- characters and strings -----------------------------------------------------------

int put_char(vl_locale_t *h, vl_wchar c, int32_t *count, int32_t size, vl_wchar *&p, const vl_wchar *end,
             const vl_fmt_state &st) {
  Cols cols(h);
  const int w = cols.of(c);
  int64_t pads = 0;
  if (st.width >= w) {
    int pad_cols = cols.of(st.pad);
    if (pad_cols < 1) pad_cols = 1;
    pads = (static_cast<int64_t>(st.width) - w + pad_cols / 2) / pad_cols;
  }
  const int64_t total = pads + 1;
  if (total + *count > size || total > end - p) return fail(h, VL_E2BIG);
  if (st.flags & VL_FMT_LEFT) {
    *p++ = c;
    for (int64_t i = 0; i < pads; ++i) *p++ = ' ';
  } else {
    for (int64_t i = 0; i < pads; ++i) *p++ = st.pad;
    *p++ = c;
  }
  *count += static_cast<int32_t>(total);
  return 0;
}

int put_string(vl_locale_t *h, const vl_wchar *s, int32_t *count, int32_t size, vl_wchar *&p, const vl_wchar *end,
               const vl_fmt_state &st) {
  int64_t width = st.width, precision = st.precision;
  if (width == 0 && precision == -1) width = precision = vl_wcslen(s);
  // A width without a precision cuts the string too.
  const int64_t limit = (width > 0 && precision == -1) ? width : precision;
  Cols cols(h);
  int64_t n = 0, columns = 0, bytes = 0;
  for (; n < limit && s[n]; ++n) {
    columns += cols.of(s[n]);
    bytes += h->single_byte ? 1 : vl_wclen(h, s[n]);
  }
  const int64_t pads = width - columns > 0 ? width - columns : 0;
  // The multibyte length against the whole size, whatever stands before.
  if (bytes + pads > size || n + pads > end - p) return fail(h, VL_E2BIG);
  if (st.flags & VL_FMT_LEFT) {
    memcpy(p, s, sizeof(vl_wchar) * static_cast<size_t>(n));
    p += n;
    for (int64_t i = 0; i < pads; ++i) *p++ = ' ';
  } else {
    const vl_wchar pad = (st.flags & VL_FMT_ZERO) ? '0' : ' ';
    for (int64_t i = 0; i < pads; ++i) *p++ = pad;
    memcpy(p, s, sizeof(vl_wchar) * static_cast<size_t>(n));
    p += n;
  }
  *count += static_cast<int32_t>(n + pads);
  return 0;
}

// ---- the directive scanner ------------------------------------------------------------

using vls::is_digit;

// A run of digits, each worth its code less that of '0'; held at INT32_MAX.
int32_t read_number(vl_locale_t *h, const vl_wchar *&p) {
  int64_t v = 0;
  for (; is_digit(h, *p); ++p) {
    v = v * 10 + (static_cast<int64_t>(*p) - '0');
    if (v > INT32_MAX) v = INT32_MAX;
    if (v < INT32_MIN) v = INT32_MIN;
  }
  return static_cast<int32_t>(v);
}

inline bool is_letter(vl_wchar c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// ---- the engine -------------------------------------------------------------------------

// The commonest directive heads, a conversion letter right behind '%' or
// the group flag and then the letter, read as the scanner reads them: no
// position or width where it looks for their digits, flags kept from the
// directives before. False leaves the directive to the scanner.
bool quick_modifiers(vl_locale_t *h, const vl_wchar *&f, vl_fmt_state &st) {
  const bool group = *f == '\'';
  const vl_wchar *p = group ? f + 1 : f;
  const vl_wchar c = *p;
  if (!is_letter(c) || c == 'l' || c == 'L' || c == 'h' || c == 'H') return false;
  if ((group && is_digit(h, '\'')) || is_digit(h, c)) return false;
  st.width = 0;
  st.precision = -1;
  st.pad = ' ';
  st.justify = VL_FMT_JUSTIFY_RIGHT;
  st.long_level = st.short_level = 0;
  if (group) st.flags |= VL_FMT_GROUP;
  if (st.flags & VL_FMT_LEFT) st.justify = VL_FMT_JUSTIFY_LEFT, st.pad = ' ';
  if (st.flags & VL_FMT_ZERO) st.justify = VL_FMT_JUSTIFY_ZERO, st.pad = '0';
  f = p;
  return true;
}

void int_argument(va_list *ap, vl_fmt_state &st, bool is_signed, uint64_t *magnitude) {
  if (st.long_level == 2) {
    // The 64-bit slot counts only for its sign; the 32-bit one after it prints.
    const long long wide = va_arg(*ap, long long);
    if (is_signed && wide < 0) st.negative = 1;
  }
  int32_t v = va_arg(*ap, int32_t);
  if (st.short_level == 1) v = is_signed ? static_cast<int16_t>(v) : static_cast<uint16_t>(v);
  else if (st.short_level == 2) v = is_signed ? static_cast<int8_t>(v) : static_cast<uint8_t>(v);
  if (is_signed && v < 0) {
    st.negative = 1;
    // The absolute value in 32 bits, then sign-extended.
    const int32_t a = static_cast<int32_t>(0u - static_cast<uint32_t>(v));
    *magnitude = static_cast<uint64_t>(static_cast<int64_t>(a));
  } else {
    *magnitude = static_cast<uint32_t>(v);
  }
}

int engine(vl_locale_t *h, vl_wchar *out, int32_t size, const vl_wchar *format, va_list *ap) {
  if (!out || !format) return fail(h, VL_EBADPTR);
  vl_fmt_state st;
  _vl_init_format_state(&st);
  Ctx cx(h);
  int32_t count = 1;
  vl_wchar *p = out;
  const vl_wchar *const end = out + (size > 0 ? size : 0);
  const vl_wchar *f = format;
  while (*f) {
    if (*f != '%' || f[1] == '%') {
      if (count >= size || p >= end) return fail(h, VL_E2BIG);
      *p++ = *f;
      ++count;
      f += *f == '%' ? 2 : 1;
      continue;
    }
    ++f;
    st.flags |= VL_FMT_ARGS;
    if (!quick_modifiers(h, f, st) && _vl_scan_format_modifiers(h, &f, &st, nullptr, ap) != 0) return -1;
    const vl_wchar conversion = *f;
    if (!conversion) return fail(h, VL_EUNKNOWN);
    ++f;
    int32_t base = 0;
    bool is_signed = false;
    switch (conversion) {
      case 'd':
      case 'i':
        base = 10, is_signed = true;
        break;
      case 'u':
        base = 10;
        break;
      case 'o':
        base = 8;
        break;
      case 'x':
        base = 16;
        break;
      case 'X':
        base = 16, st.flags |= VL_FMT_UPPER;
        break;
      case 'b':
        base = 2, is_signed = true;
        break;
      case 'q':
        base = 4;
        break;
      case 'p':
        base = 16, st.flags |= VL_FMT_ZERO | VL_FMT_UPPER;
        if (st.width == 0) st.width = 8;
        break;
      case 'e':
      case 'E':
      case 'f':
      case 'g':
      case 'G': {
        const double v = va_arg(*ap, double);
        const int inf = CheckForInfinity(v);
        int rc;
        if (inf == 2) rc = put_special(h, "Inf", true, st.width, st.flags, p, end);
        else if (inf == 1) rc = put_special(h, "-Inf", false, st.width, st.flags, p, end);
        else if (CheckForNaN(v)) rc = put_special(h, "NaN", true, st.width, st.flags, p, end);
        else rc = put_float(cx, v, &count, size, &p, end, st.width, st.precision, st.flags, conversion);
        if (rc) return -1;
        continue;
      }
      case 'c': {
        vl_wchar c;
        if (st.long_level) {
          c = va_arg(*ap, vl_wchar);
        } else {
          const char *s = va_arg(*ap, const char *);
          if (h->single_byte) {
            if (!s || !*s) return -1;
            c = static_cast<unsigned char>(*s);
          } else if (vl_full_mbtowc(h, &c, s, 4) <= 0) {
            return -1;
          }
        }
        if (put_char(h, c, &count, size, p, end, st)) return -1;
        continue;
      }
      case 's': {
        int rc;
        if (st.long_level) {
          const vl_wchar *s = va_arg(*ap, const vl_wchar *);
          if (!s) return fail(h, VL_EBADPTR);
          rc = put_string(h, s, &count, size, p, end, st);
        } else {
          const char *s = va_arg(*ap, const char *);
          if (!s) return fail(h, VL_EBADPTR);
          const int32_t bytes = h->single_byte ? static_cast<int32_t>(strlen(s)) + 1 : vl_mbsbytes(h, s);
          if (bytes <= 0) return -1;  // the measure stored why
          vl_wchar local[kStringStack];
          vls::HostPtr<vl_wchar> heap;
          vl_wchar *w = local;
          if (bytes > kStringStack) {
            heap.reset(vls::alloc_array<vl_wchar>(static_cast<size_t>(bytes)));
            if (!heap) return fail(h, VL_ENOMEM);
            w = heap.get();
          }
          if (!h->mbstowcs_fn) return fail(h, VL_EILSEQ);
          if (h->mbstowcs_fn(h, w, s, bytes) < 0) return -1;
          w[bytes - 1] = 0;  // a string cut by its measure still ends
          rc = put_string(h, w, &count, size, p, end, st);
        }
        if (rc) return -1;
        continue;
      }
      default:
        return fail(h, VL_EBADFORMAT);
    }
    uint64_t magnitude;
    int_argument(ap, st, is_signed, &magnitude);
    st.base = base;
    if (put_integer(cx, magnitude, st.negative != 0, base, &count, size, &p, end, st.width, st.precision, st.flags))
      return -1;
  }
  if (p >= end) return fail(h, VL_E2BIG);
  *p = 0;
  return count - 1;
}

// The multibyte entry's short way, for a locale of the library's own
// tables whose characters are bytes of their own value (every byte in a
// single-byte locale, those below 0x80 the tree completes in a multibyte
// one): a format of such bytes whose directives are %d, %i or %u, with
// the group flag or none, is read as it stands; each number is written by
// the integer writer as the engine would write it, and the text is
// narrowed as the entry would narrow it. Anything else (another directive
// or modifier, a character that does not narrow, more text than the local
// buffers hold, no room) gives up without a trace before the caller's
// buffer is touched, for the general way to run.
bool direct_integers(vl_locale_t *h, char *out, int32_t size, const char *format, va_list args, int *result) {
  // The directives first: any but these leaves at once.
  for (const char *q = format; *q; ++q) {
    if (*q != '%') continue;
    if (q[1] == '%') {
      ++q;
      continue;
    }
    if (q[1] == '\'') ++q;
    if (q[1] != 'd' && q[1] != 'i' && q[1] != 'u') return false;
  }
  if (_vlu_active(h, VL_LC_CTYPE)) return false;
  const unsigned char *flags = nullptr;
  if (h->single_byte) {
    if (h->mbstowcs_fn != _vl_is_mbstowcs) return false;
  } else if (h->mbstowcs_fn != _vl_im_mbstowcs || !(flags = vls::direct_bytes(h))) {
    return false;
  }
  auto own = [flags](unsigned b) { return !flags || (b < 0x80u && flags[b] == VL_MULTI_COMPLETE); };
  // is_digit of an ASCII character, from the tables it would read.
  const uint16_t *ct = h->class_table;
  auto digit = [h, ct, flags](unsigned c) {
    if (ct) return (ct[c] & VL_CT_DIGIT) != 0;
    if (flags && flags[c] == VL_MULTI_COMPLETE) {
      const multi_t *t = h->ctype.ctype_tree;
      return (vls::tree::u16(vls::tree::row(t, t->root, c)) & VL_CT_DIGIT) != 0;
    }
    return is_digit(h, c);
  };
  const uint32_t saved = vls::get_error(h);
  Ctx cx(h);
  // In a multibyte locale the separator and the negative sign must be
  // bytes of their own too; a single-byte locale narrows every character
  // to its low byte.
  auto own_text = [&](const LStr &t) {
    for (int32_t i = 0; i < t.len; ++i)
      if (!own(t.w[i])) return false;
    return true;
  };
  if (flags) {
    if (!own_text(cx.ns.sep()) || !own_text(cx.ns.neg())) return false;
    for (unsigned d = '0'; d <= '9'; ++d)
      if (!own(d)) return false;
  }
  char bytes[kFormatStack * 4];
  char *p = bytes;
  const char *const end = bytes + sizeof bytes;
  int32_t count = 1;
  vl_fmt_state st;
  _vl_init_format_state(&st);
  va_list ap;
  va_copy(ap, args);
  bool ok = true;
  const unsigned char *f = reinterpret_cast<const unsigned char *>(format);
  while (ok && *f) {
    if (f - reinterpret_cast<const unsigned char *>(format) >= kFormatStack - 1) {
      ok = false;  // the general way widens such a format on the heap
      break;
    }
    if (*f != '%' || f[1] == '%') {
      if (p >= end || !own(*f)) {
        ok = false;
        break;
      }
      *p++ = static_cast<char>(*f);
      ++count;
      f += *f == '%' ? 2 : 1;
      continue;
    }
    // The head as quick_modifiers reads it.
    const unsigned char *q = f + 1;
    const bool group = *q == '\'';
    if (group && digit(*q++)) {
      ok = false;
      break;
    }
    const unsigned char c = *q;
    if ((c != 'd' && c != 'i' && c != 'u') || digit(c)) {
      ok = false;
      break;
    }
    f = q + 1;
    st.flags |= VL_FMT_ARGS;
    if (group) st.flags |= VL_FMT_GROUP;
    uint64_t magnitude;
    int_argument(&ap, st, c != 'u', &magnitude);
    // Held to the local buffer only: the caller's size is tested at the end.
    ok = put_integer(cx, magnitude, st.negative != 0, 10, &count, INT32_MAX, &p, end, 0, -1, st.flags) == 0;
  }
  va_end(ap);
  // One byte a character; the engine needs a place for the terminator,
  // the narrowing room for the locale's.
  const int64_t written = p - bytes;
  const int32_t min = vl_mb_loc_min(h);
  if (!ok || written + 1 > size || written + min > size) {
    vls::set_error(h, saved);
    return false;
  }
  memcpy(out, bytes, static_cast<size_t>(written));
  vls::terminate(out + written, min);
  *result = static_cast<int>(written);
  return true;
}

}  // namespace

extern "C" {

VLS_API void _vl_init_format_state(vl_fmt_state *st) {
  memset(st, 0, sizeof *st);
  st->precision = -1;
  st->pad = ' ';
  st->justify = VL_FMT_JUSTIFY_RIGHT;
}

VLS_API int _vl_scan_format_modifiers(vl_locale_t *h, const vl_wchar **format, vl_fmt_state *st, int32_t *position,
                                      va_list *args) {
  const vl_wchar *p = *format;
  st->width = 0;
  st->precision = -1;
  st->pad = ' ';
  st->justify = VL_FMT_JUSTIFY_RIGHT;
  st->long_level = st->short_level = 0;
  // Position: digits count only when '$' follows them.
  {
    const vl_wchar *q = p;
    const int32_t v = read_number(h, q);
    if (q != p && *q == '$') {
      if (position) *position = v;
      p = q + 1;
    }
  }
  // Flags, ended by a '0' flag or any other character.
  for (;; ++p) {
    const vl_wchar c = *p;
    if (c == '\'') {
      st->flags |= VL_FMT_GROUP;
    } else if (c == '-') {
      st->flags |= VL_FMT_LEFT;
      if (p[1] == '0') ++p;  // skipped, no zero flag
    } else if (c == '+') {
      st->flags |= VL_FMT_PLUS;
    } else if (c == ' ') {
      st->flags |= VL_FMT_SPACE;
    } else if (c == '#') {
      st->flags |= VL_FMT_ALT;
    } else {
      if (c == '0') st->flags |= VL_FMT_ZERO, ++p;
      break;
    }
  }
  auto star = [&](int32_t *target) {
    ++p;
    if ((st->flags & VL_FMT_ARGS) && args) *target = va_arg(*args, int32_t);
    else st->flags |= VL_FMT_SUPPRESS;
  };
  if (*p == '*') star(&st->width);
  else st->width = read_number(h, p);
  if (*p == '.') {
    ++p;
    if (*p == '*') {
      star(&st->precision);
    } else if (is_digit(h, *p)) {
      st->precision = read_number(h, p);
    } else if (is_letter(*p)) {
      st->precision = 0;
    } else {
      *format = p;
      return fail(h, VL_EMODIFIER);
    }
  }
  if (*p == 'l' || *p == 'L') {
    st->long_level = 1;
    if (*++p == 'l') st->long_level = 2, ++p;
  } else if (*p == 'h' || *p == 'H') {
    st->short_level = 1;
    if (*++p == 'h') st->short_level = 2, ++p;
  }
  if (st->flags & VL_FMT_LEFT) st->justify = VL_FMT_JUSTIFY_LEFT, st->pad = ' ';
  if (st->flags & VL_FMT_ZERO) st->justify = VL_FMT_JUSTIFY_ZERO, st->pad = '0';
  *format = p;
  return 0;
}

VLS_API int _vl_format_decimalull(vl_locale_t *h, uint64_t magnitude, int32_t negative, int32_t base, int32_t *count,
                                  int32_t size, vl_wchar **out, int32_t width, int32_t precision, uint32_t flags) {
  Ctx cx(h);
  return put_integer(cx, magnitude, negative != 0, base, count, size, out, room_end(*out, *count, size), width,
                     precision, flags);
}

VLS_API int _vl_format_decimal(vl_locale_t *h, uint32_t magnitude, int32_t negative, int32_t base, int32_t *count,
                               int32_t size, vl_wchar **out, int32_t width, int32_t precision, uint32_t flags) {
  int rc;
  if (put_plain_decimal(h, magnitude, negative != 0, base, count, size, out, room_end(*out, *count, size), width,
                        precision, flags, &rc))
    return rc;
  Ctx cx(h);
  return put_integer(cx, magnitude, negative != 0, base, count, size, out, room_end(*out, *count, size), width,
                     precision, flags);
}

VLS_API void init_grouping(vl_locale_t *h, int32_t *index, int32_t *separators, int32_t *repeat,
                           int32_t *before_next, int32_t n, int32_t mode) {
  Groups r;
  plan_groups(h->nmm.grouping, r, n, mode);
  *index = r.index, *separators = r.separators, *repeat = r.repeat, *before_next = r.before_next;
}

VLS_API int CheckForInfinity(double value) {
  if (!std::isinf(value)) return 0;
  return value > 0 ? 2 : 1;
}

VLS_API int CheckForNaN(double value) { return std::isnan(value) ? 2 : 0; }

VLS_API int vl_wcsfnum1(vl_locale_t *h, vl_wchar *out, int32_t size, const vl_wchar *format, va_list args) {
  va_list ap;
  va_copy(ap, args);
  const int r = engine(h, out, size, format, &ap);
  va_end(ap);
  return r;
}

VLS_API int vl_wcsfnum(vl_locale_t *h, vl_wchar *out, int32_t size, const vl_wchar *format, ...) {
  va_list ap;
  va_start(ap, format);
  const int r = vl_wcsfnum1(h, out, size, format, ap);
  va_end(ap);
  return r;
}

VLS_API int vl_wcsprintf(vl_locale_t *h, vl_wchar *out, int32_t size, const vl_wchar *format, ...) {
  va_list ap;
  va_start(ap, format);
  const int r = vl_wcsfnum1(h, out, size, format, ap);
  va_end(ap);
  return r;
}

VLS_API int _vl_get_mbstring(vl_locale_t *h, char *out, const vl_wchar *wide, int32_t size) {
  if (!out || !wide) return fail(h, VL_EBADPTR);
  const int32_t min = vl_mb_loc_min(h);
  int64_t written = 0;
  if (h->single_byte) {
    const int64_t limit = static_cast<int64_t>(size) - min;  // bytes that leave room for the terminator
    for (; *wide; ++wide) {
      if (written >= limit) return fail(h, VL_E2BIG);
      out[written++] = static_cast<char>(*wide);
    }
  } else {
    const vls::Narrow narrow(h);
    const int64_t limit = static_cast<int64_t>(size) - min;  // bytes that leave room for the terminator
    for (; *wide; ++wide) {
      const vl_wchar v = *wide;
      if (narrow.direct(v)) {  // one byte, the value itself
        if (written >= limit) return fail(h, VL_E2BIG);
        out[written++] = static_cast<char>(v);
        continue;
      }
      char one[8];
      const int len = narrow.put(one, v);
      if (len < 0) return fail(h, VL_EILSEQ);
      if (written + len + min > size) return fail(h, VL_E2BIG);
      memcpy(out + written, one, static_cast<size_t>(len));
      written += len;
    }
  }
  if (written + min > size) return fail(h, VL_E2BIG);
  vls::terminate(out + written, min);
  return static_cast<int>(written);
}

VLS_API int vl_mbsprintf1(vl_locale_t *h, char *out, int32_t size, const char *format, va_list args) {
  if (!out || !format) return fail(h, VL_EBADPTR);
  if (!h->mbstowcs_fn) return fail(h, VL_EILSEQ);
  if (int n; direct_integers(h, out, size, format, args, &n)) return n;
  vls::WideArg<kFormatStack> wfmt;
  if (wfmt.widen(h, format) != 0) return -1;
  vl_wchar wide_out[kOutStack];
  if (static_cast<int64_t>(size) + 1 <= kOutStack) {
    if (vl_wcsfnum1(h, wide_out, size, wfmt.get(), args) < 0) return -1;
    return _vl_get_mbstring(h, out, wide_out, size);
  }
  vls::HostPtr<vl_wchar> out_heap(vls::alloc_array<vl_wchar>(static_cast<size_t>(size) + 1));
  if (!out_heap) return fail(h, VL_ENOMEM);
  if (vl_wcsfnum1(h, out_heap.get(), size, wfmt.get(), args) < 0) return -1;
  return _vl_get_mbstring(h, out, out_heap.get(), size);
}

VLS_API int vl_mbsfnum(vl_locale_t *h, char *out, int32_t size, const char *format, ...) {
  va_list ap;
  va_start(ap, format);
  const int r = vl_mbsprintf1(h, out, size, format, ap);
  va_end(ap);
  return r;
}

VLS_API int vl_mbsprintf(vl_locale_t *h, char *out, int32_t size, const char *format, ...) {
  va_list ap;
  va_start(ap, format);
  const int r = vl_mbsprintf1(h, out, size, format, ap);
  va_end(ap);
  return r;
}

}  // extern "C"
