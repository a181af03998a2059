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

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <vls/vlsctype.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsvlu.h>

#include "vlsint.h"

namespace {

using vls::fail;

constexpr int32_t kTextBytes = 112;     // the float writer's text buffers
constexpr int32_t kStringStack = 128;   // a multibyte string argument up to this many bytes stays on the stack
constexpr int32_t kOutStack = 127;      // wide output of the multibyte wrapper
constexpr int32_t kFormatStack = 31;    // wide format of the multibyte wrapper

inline bool bridged(const vl_locale_t *h) { return _vlu_active(h, VL_LC_CTYPE); }

// Display columns, with the single-byte class table read directly. A
// character that has no display width (not printable) counts one column,
// as vl_mbwidth counts a one-byte control character, and leaves vl_errno
// as it was.
class Cols {
 public:
  explicit Cols(vl_locale_t *h) : h_(h), table_(bridged(h) ? nullptr : h->class_table) {}
  int of(vl_wchar v) {
    if (table_ && v <= 0xFFu) {
      const uint16_t m = table_[v];
      if (!(m & VL_CT_PRINT)) return v ? 1 : 0;
      if (!fw_known_) fw_ = vl_ctype(h_, "full_width"), fw_known_ = true;
      return (m & fw_) ? 2 : 1;
    }
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
  vl_locale_t *h_;
  const uint16_t *table_;
  uint32_t fw_ = 0;
  bool fw_known_ = false;
};

// A numeric string of the locale in wide form. `ok` is false when the
// category holds the text but its wide form could not be made.
struct LStr {
  const vl_wchar *w;
  int32_t len;
  bool ok;
};

constexpr vl_wchar kEmpty[1] = {0};

LStr lstr(vl_locale_t *h, const vl_string_pair &p) {
  if (p.wc) return {p.wc, vl_wcslen(p.wc), true};
  if (!p.mb || vl_ismbsterm(h, p.mb)) return {kEmpty, 0, true};
  return {kEmpty, 0, false};
}

struct NumStrs {
  LStr dp, sep, pos, neg;
  explicit NumStrs(vl_locale_t *h)
      : dp(lstr(h, h->nmm.decimal_point)),
        sep(lstr(h, h->nmm.thousands_sep)),
        pos(lstr(h, h->nmm.num_positive_sign)),
        neg(lstr(h, h->nmm.num_negative_sign)) {}
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
bool separate(const int32_t *g, const LStr &sep, vl_wchar *&p, const vl_wchar *lo, const vl_wchar *hi, Groups &r,
              int32_t mode) {
  if (--r.before_next > 0) return true;
  if (mode == VL_GROUP_BACKWARD) {
    if (p - lo < sep.len) return false;
    p -= sep.len;
    memcpy(p, sep.w, sizeof(vl_wchar) * static_cast<size_t>(sep.len));
  } else {
    if (hi - p < sep.len) return false;
    memcpy(p, sep.w, sizeof(vl_wchar) * static_cast<size_t>(sep.len));
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
void sign_backward(const NumStrs &ns, bool negative, uint32_t flags, vl_wchar *&p) {
  if (negative) {
    p -= ns.neg.len;
    memcpy(p, ns.neg.w, sizeof(vl_wchar) * static_cast<size_t>(ns.neg.len));
  } else if (flags & VL_FMT_PLUS) {
    p -= ns.pos.len;
    memcpy(p, ns.pos.w, sizeof(vl_wchar) * static_cast<size_t>(ns.pos.len));
  } else if (flags & VL_FMT_SPACE) {
    for (int32_t i = 0; i < ns.pos.len; ++i) *--p = ' ';
  }
}

// ---- integers ---------------------------------------------------------------------

int put_integer(vl_locale_t *h, uint64_t magnitude, bool negative, int32_t base, int32_t *count, int32_t size,
                vl_wchar **out, const vl_wchar *end, int32_t width, int32_t precision, uint32_t flags) {
  if (base > 36 || base < 2) return fail(h, VL_EBADARG);
  Cols cols(h);
  // Digits from the right, and their columns.
  vl_wchar digits[64];
  int32_t d = 0;
  int64_t W = 0;
  const vl_wchar letter = (flags & VL_FMT_UPPER) ? 'A' : 'a';
  do {
    const unsigned v = static_cast<unsigned>(magnitude % static_cast<uint64_t>(base));
    digits[d] = v < 10 ? '0' + v : letter + (v - 10);
    W += cols.of(digits[d++]);
    magnitude /= static_cast<uint64_t>(base);
  } while (magnitude);
  const vl_wchar pad = (flags & VL_FMT_ZERO) ? '0' : ' ';
  const int zero_cols = cols.of('0');
  int64_t prec = precision;
  if (base == 8 && (flags & VL_FMT_ALT) && prec <= W) prec = W + zero_cols;
  const NumStrs ns(h);
  const int32_t *g = h->nmm.grouping;
  Groups gr;
  if (flags & VL_FMT_GROUP) plan_groups(g, gr, d, VL_GROUP_BACKWARD);
  const int64_t s = gr.separators;
  if (s > 0 && !ns.sep.ok) return fail(h, VL_EILSEQ);
  const bool signs = negative || (flags & (VL_FMT_PLUS | VL_FMT_SPACE));
  if (signs && !(negative ? ns.neg.ok : ns.pos.ok)) return fail(h, VL_EILSEQ);
  const int64_t z = d < prec ? prec - d : 0;
  W += z * zero_cols;
  int64_t T = d + z + s * ns.sep.len;
  if (s > 0) W += s * cols.of(ns.sep.w, ns.sep.len);
  if (negative) {
    T += ns.neg.len;
    W += cols.of(ns.neg.w, ns.neg.len);
  } else if (flags & (VL_FMT_PLUS | VL_FMT_SPACE)) {
    // The positive sign's columns over the negative sign's length.
    T += ns.pos.len;
    W += cols.of(ns.pos.w, ns.neg.len);
  }
  const bool prefix = base == 16 && (flags & VL_FMT_ALT);
  if (prefix) {
    T += 2;
    W += cols.of('x') + zero_cols;
  }
  int64_t pads = 0;
  if (W <= width) {
    int pad_cols = cols.of(pad);
    if (pad_cols < 1) pad_cols = 1;
    pads = (width - W + pad_cols / 2) / pad_cols;
    T += pads;
  }
  if (T + *count > size || T > end - *out) return fail(h, VL_E2BIG);

  vl_wchar *const start = *out;
  vl_wchar *p = start + T;
  const bool left_alone = (flags & VL_FMT_LEFT) && !(flags & VL_FMT_ZERO);
  if (left_alone)
    for (int64_t i = 0; i < pads; ++i) *--p = pad;
  for (int32_t i = 0; i < d; ++i) {
    *--p = digits[i];
    if (gr.separators > 0 && !separate(g, ns.sep, p, start, end, gr, VL_GROUP_BACKWARD))
      return fail(h, VL_E2BIG);
  }
  for (int64_t i = 0; i < z; ++i) *--p = '0';
  if (prefix) *--p = (flags & VL_FMT_UPPER) ? 'X' : 'x', *--p = '0';
  if (pad == ' ') sign_backward(ns, negative, flags, p);
  if (!left_alone)
    for (int64_t i = 0; i < pads; ++i) *--p = pad;
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

int put_float(vl_locale_t *h, double value, int32_t *count, int32_t size, vl_wchar **out, const vl_wchar *end,
              int32_t width, int32_t precision, uint32_t flags, vl_wchar conversion) {
  if (width >= 100) return fail(h, VL_E2BIG);
  const bool negative = value < 0;  // negative zero is not negative
  value = std::fabs(value);
  const char letter = static_cast<char>(conversion);
  Cols cols(h);
  const NumStrs ns(h);
  const int32_t *g = h->nmm.grouping;
  Groups gr;
  if (letter == 'f' && (flags & VL_FMT_GROUP)) {
    int32_t n = 0;
    for (double v = value; v >= 1.0; v /= 10) ++n;
    plan_groups(g, gr, n, VL_GROUP_FORWARD);
  }
  const int32_t M = ns.neg.len > ns.pos.len ? ns.neg.len : ns.pos.len;
  int64_t w = width;
  if (negative) w -= cols.of(ns.neg.w, ns.neg.len);
  else if (flags & VL_FMT_PLUS) w -= cols.of(ns.pos.w, ns.pos.len);
  else if (flags & VL_FMT_SPACE) w -= M;
  if (gr.separators > 0) w -= static_cast<int64_t>(gr.separators) * cols.of(ns.sep.w, ns.sep.len);
  // Precision beyond the text buffer: %e and %f cannot fit, and %g prints
  // no digit past the 767th that a double holds.
  if (precision >= kTextBytes && (letter != 'g' && letter != 'G')) return fail(h, VL_E2BIG);
  if (precision > 800 && !(flags & VL_FMT_ALT)) precision = 800;
  if (precision >= kTextBytes && (flags & VL_FMT_ALT)) return fail(h, VL_E2BIG);

  char format[40], text[kTextBytes];
  c_format(format, sizeof format, flags, w, precision, letter);
  if (w >= 1) {
    // A decimal point of more than one column: narrow the field so that
    // the columns come out right.
    if (!c_text(text, format, value)) return fail(h, VL_E2BIG);
    const int dp_cols = cols.of(ns.dp.w, ns.dp.len);
    int64_t measured = 0;
    for (const char *q = text; *q; ++q) measured += *q == '.' ? dp_cols : cols.of(static_cast<unsigned char>(*q));
    if (measured > w) {
      w = 2 * w - measured;
      c_format(format, sizeof format, flags, w, precision, letter);
    }
  }
  if (!c_text(text, format, value)) return fail(h, VL_E2BIG);

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
    const LStr *sign = negative ? &ns.neg : (flags & VL_FMT_PLUS) ? &ns.pos : nullptr;
    if (sign && !sign->ok) return done(VL_EILSEQ);
    const int32_t blanks = sign ? M - sign->len : M;
    for (int32_t i = 0; i < blanks; ++i)
      if (!put(' ')) return done(VL_E2BIG);
    if (sign && !put_str(*sign)) return done(VL_E2BIG);
  }
  for (; digit(*t); ++t) {
    if (!put(*t)) return done(VL_E2BIG);
    if (gr.separators > 0) {
      if (!ns.sep.ok) return done(VL_EILSEQ);
      if (gr.before_next == 1) {
        if (*count >= size) return done(VL_E2BIG);
        *count += ns.sep.len;
      }
      if (!separate(g, ns.sep, p, *out, end, gr, VL_GROUP_FORWARD)) return done(VL_E2BIG);
    }
  }
  if (*t == '.') {
    ++t;
    if (size < static_cast<int64_t>(*count) + ns.dp.len) return done(VL_E2BIG);
    if (!ns.dp.ok) return done(VL_EILSEQ);
    if (end - p < ns.dp.len) return done(VL_E2BIG);
    memcpy(p, ns.dp.w, sizeof(vl_wchar) * static_cast<size_t>(ns.dp.len));
    p += ns.dp.len;
    *count += ns.dp.len;
  }
  for (; digit(*t); ++t)
    if (!put(*t)) return done(VL_E2BIG);
  if (*t == 'e' || *t == 'E') {
    if (!put(*t++)) return done(VL_E2BIG);
    if (*t == '+' || *t == '-') {
      const LStr &sign = *t++ == '+' ? ns.pos : ns.neg;
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

// A character of the locale's digit class. With the single-byte class
// table a value above 255 is error 1 and no digit.
bool is_digit(vl_locale_t *h, vl_wchar c) {
  if (!c) return false;
  if (const uint16_t *ct = h->class_table) {
    if (c > 0xFFu) {
      vls::set_error(h, VL_EILSEQ);
      return false;
    }
    return (ct[c] & VL_CT_DIGIT) != 0;
  }
  return _vl_im_iswctype(h, c, VL_CT_DIGIT) != 0;
}

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
    if (_vl_scan_format_modifiers(h, &f, &st, nullptr, ap) != 0) return -1;
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
        else rc = put_float(h, v, &count, size, &p, end, st.width, st.precision, st.flags, conversion);
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
    if (put_integer(h, magnitude, st.negative != 0, base, &count, size, &p, end, st.width, st.precision, st.flags))
      return -1;
  }
  if (p >= end) return fail(h, VL_E2BIG);
  *p = 0;
  return count - 1;
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
  return put_integer(h, magnitude, negative != 0, base, count, size, out, room_end(*out, *count, size), width,
                     precision, flags);
}

VLS_API int _vl_format_decimal(vl_locale_t *h, uint32_t magnitude, int32_t negative, int32_t base, int32_t *count,
                               int32_t size, vl_wchar **out, int32_t width, int32_t precision, uint32_t flags) {
  return put_integer(h, magnitude, negative != 0, base, count, size, out, room_end(*out, *count, size), width,
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
  for (; *wide; ++wide) {
    char one[8];
    int len;
    if (h->single_byte) {
      one[0] = static_cast<char>(*wide);
      len = 1;
    } else if ((len = vl_full_wctomb(h, one, *wide)) < 0) {
      return fail(h, VL_EILSEQ);
    }
    if (written + len + min > size) return fail(h, VL_E2BIG);
    memcpy(out + written, one, static_cast<size_t>(len));
    written += len;
  }
  if (written + min > size) return fail(h, VL_E2BIG);
  vl_mbsterm(h, out + written);
  return static_cast<int>(written);
}

VLS_API int vl_mbsprintf1(vl_locale_t *h, char *out, int32_t size, const char *format, va_list args) {
  if (!out || !format) return fail(h, VL_EBADPTR);
  vl_wchar wide_out[kOutStack];
  vls::HostPtr<vl_wchar> out_heap;
  vl_wchar *wout = wide_out;
  if (static_cast<int64_t>(size) + 1 > kOutStack) {
    out_heap.reset(vls::alloc_array<vl_wchar>(static_cast<size_t>(size) + 1));
    if (!out_heap) return fail(h, VL_ENOMEM);
    wout = out_heap.get();
  }
  int32_t length;
  if (h->single_byte) {
    length = static_cast<int32_t>(strlen(format));
  } else {
    const int bytes = vl_mbsbytes(h, format);
    if (bytes <= 0) return -1;  // the measure stored why
    length = bytes - vl_mb_loc_min(h);
  }
  vl_wchar wide_format[kFormatStack];
  vls::HostPtr<vl_wchar> format_heap;
  vl_wchar *wfmt = wide_format;
  if (length + 1 > kFormatStack) {
    format_heap.reset(vls::alloc_array<vl_wchar>(static_cast<size_t>(length) + 1));
    if (!format_heap) return fail(h, VL_ENOMEM);
    wfmt = format_heap.get();
  }
  if (!h->mbstowcs_fn) return fail(h, VL_EILSEQ);
  if (h->mbstowcs_fn(h, wfmt, format, length + 1) < 0) return -1;
  wfmt[length] = 0;
  if (vl_wcsfnum1(h, wout, size, wfmt, args) < 0) return -1;
  return _vl_get_mbstring(h, out, wout, size);
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
