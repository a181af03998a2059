// Time formatting: the wide engine vl_wcsftime1 with its writers, the era
// and alternative-digit forms, the measuring mode, and the multibyte
// entries around the engine.
//
// The engine keeps a count of the characters written and tests it against
// the caller's size before each piece of output; the terminator needs one
// more place at the end. Numbers go through the number formatter's integer
// writer with that same count. The fraction writer compares its length
// with the whole size by design; it is also held to the room left, so that
// no rule lets text run past the caller's buffer (the call would fail with
// 14 at its end in any case).
#include <vls/vlstmfmt.h>

#include <cstddef>
#include <cstring>
#include <initializer_list>

#include <vls/vlscat.h>
#include <vls/vlsfmt.h>
#include <vls/vlsmbwc.h>

#include "vlsint.h"
#include "vlswide.h"

// The records are words in a fixed order, the same in both builds.
static_assert(sizeof(vl_tm) == 12 * 4 && offsetof(vl_tm, year) == 6 * 4 && offsetof(vl_tm, spare) == 9 * 4);
static_assert(sizeof(vl_alt_tm) == 13 * 4 && offsetof(vl_alt_tm, month_name_index) == 6 * 4 &&
              offsetof(vl_alt_tm, year) == 7 * 4 && offsetof(vl_alt_tm, spare) == 10 * 4);

namespace {

constexpr int32_t kStack = 256;  // wide characters of format and of output kept on the stack
constexpr int kMaxNesting = 8;   // nested formats (%c in d_t_fmt ...) deeper than this are refused
constexpr vl_wchar kEmpty[1] = {0};
constexpr vl_wchar kMinus[2] = {'-', 0};

// Kinds of name lists in the maxima record.
enum Kind : int {
  kDays = 1,
  kAbdays = 2,
  kMonths = 3,
  kAbmonths = 4,
  kEraNames = 5,
  kEraNames2 = 6,
  kAltDigits = 7,
  kAmPm = 8,
  kKinds = 9
};

// The longest name of each list, in characters and (when asked) in bytes,
// and the digits of the largest 32-bit value.
struct Maxima {
  int32_t chars[kKinds];
  int32_t bytes[kKinds];
  int32_t int_digits;
};

template <typename F>
void for_each_name(const time_category &t, int kind, F f) {
  switch (kind) {
    case kDays:
      for (const char *s : t.day) f(s);
      break;
    case kAbdays:
      for (const char *s : t.abday) f(s);
      break;
    case kMonths:
      for (int32_t i = 0; t.mon && i < t.mon_count; ++i) f(t.mon[i]);
      break;
    case kAbmonths:
      for (int32_t i = 0; t.abmon && i < t.abmon_count; ++i) f(t.abmon[i]);
      break;
    case kEraNames:
    case kEraNames2:
      for (int32_t i = 0; t.era_info && i < t.era_count; ++i)
        if (const era_record *e = t.era_info[i]) f(kind == kEraNames ? e->era_name : e->era_name2);
      break;
    case kAltDigits:
      for (int32_t i = 0; t.alt_digits && i < t.alt_digits_count; ++i) f(t.alt_digits[i]);
      break;
    case kAmPm:
      f(t.am_str);
      f(t.pm_str);
      break;
    default:
      break;
  }
}

// The longest character count of a list; -1 when a name does not measure.
int32_t max_loc_strlen(vl_locale_t *h, int kind) {
  int32_t best = 0;
  bool bad = false;
  for_each_name(h->time, kind, [&](const char *s) {
    if (!s || bad) return;
    const int n = _vl_im_mbslen(h, s);
    if (n < 0) bad = true;
    else if (n > best) best = n;
  });
  return bad ? -1 : best;
}

int32_t max_loc_bytelen(vl_locale_t *h, int kind) {
  int32_t best = 0;
  for_each_name(h->time, kind, [&](const char *s) {
    if (!s) return;
    const int32_t n = static_cast<int32_t>(vls::mb_length(s));
    if (n > best) best = n;
  });
  return best;
}

int init_max_struct(vl_locale_t *h, Maxima &m, bool bytes) {
  memset(&m, 0, sizeof m);
  for (int k = 1; k < kKinds; ++k) {
    if ((m.chars[k] = max_loc_strlen(h, k)) < 0) return -1;
    if (bytes && (m.bytes[k] = max_loc_bytelen(h, k)) < 0) return -1;
  }
  m.int_digits = _vl_digits(2147483647, 10);
  return 0;
}

inline int64_t max3(int64_t a, int64_t b, int64_t c) { return a > b ? (a > c ? a : c) : (b > c ? b : c); }

inline int32_t clamp32(int64_t v) {
  return v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : static_cast<int32_t>(v);
}

// Year, month from 1 and day of a record, in 64 bits.
struct Ymd {
  int64_t y, m, d;
  explicit Ymd(const vl_alt_tm *a) : y(int64_t{a->year} + 1900), m(int64_t{a->mon} + 1), d(a->mday) {}
};

// The sign of date less (ey, em, ed), each field scaled by the direction;
// a tie moves on to the next smaller field.
int compare_scaled(const Ymd &t, int64_t dir, int64_t ey, int64_t em, int64_t ed) {
  const int64_t a[3] = {t.y * dir, t.m * dir, t.d * dir}, b[3] = {ey * dir, em * dir, ed * dir};
  for (int i = 0; i < 3; ++i)
    if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
  return 0;
}

bool check_bounds(const era_record *e, const vl_alt_tm *a) {
  const Ymd t(a);
  if (compare_scaled(t, e->direction, e->start_year, e->start_month, e->start_day) < 0) return false;
  if (e->end_year == 0 && e->end_month == 0) return true;  // no end
  return compare_scaled(t, e->direction, e->end_year, e->end_month, e->end_day) <= 0;
}

struct Engine;
int run(vl_locale_t *h, vl_wchar *out, int32_t size, const vl_wchar *format, const vl_alt_tm *alt,
        int32_t *max_chars, int32_t *max_bytes, int32_t date_flag, int depth, const Maxima *mx);

// One run of the engine over a format: the output cursor and count, the
// measures, and the state of the directive at hand.
struct Engine {
  vl_locale_t *h;
  vl_wchar *cur;
  int32_t count;
  int32_t size;
  int32_t *max_chars, *max_bytes;
  const Maxima *mx;
  const vl_alt_tm *given;  // as the caller gave it: nested formats convert it again
  const vl_alt_tm *tm;     // in the locale's calendar
  int32_t date_flag;
  int depth;
  int32_t unit;  // bytes of a digit, for the measures
  // directive state
  int32_t width = 0, precision = -1;
  bool left = false;
  vl_wchar fill = ' ';

  bool measuring() const { return max_chars || max_bytes; }
  const time_category &t() const { return h->time; }

  int err(uint32_t code) {
    vls::set_error(h, code);
    return -1;
  }
  bool fits(int64_t n) const { return int64_t{count} + n <= size; }

  void add(int64_t chars, int64_t bytes) {
    if (max_chars) *max_chars = clamp32(int64_t{*max_chars} + chars);
    if (max_bytes) *max_bytes = clamp32(int64_t{*max_bytes} + bytes);
  }
  int32_t prec(int32_t fallback) const { return precision == -1 ? fallback : precision; }

  // ---- measures ----
  // A number whose largest value is `top`.
  int m_num(int64_t top, int32_t def) {
    const int64_t n = max3(_vl_digits(clamp32(top), 10), width, prec(def));
    add(n, n * unit);
    return 0;
  }
  // Fields joined by one-character separators: the fields' digits, or as
  // many times the width or precision, whichever is more.
  int m_fields(std::initializer_list<int32_t> tops, int32_t def, bool alt) {
    const int64_t per = alt ? alt_len(false) : 1, per_b = alt ? alt_len(true) : unit;
    int64_t natural = 0, natural_b = 0;
    for (int32_t top : tops) natural += digits(top, alt) * per, natural_b += digits(top, alt) * per_b;
    const int64_t n = static_cast<int64_t>(tops.size());
    const int64_t wp = width > prec(def) ? width : prec(def);
    const int64_t c = natural > n * wp ? natural : n * wp, b = natural_b > n * wp * unit ? natural_b : n * wp * unit;
    add(c + n - 1, b + (n - 1) * unit);
    return 0;
  }
  int m_name(int kind) {
    add(max3(mx->chars[kind], width, precision), max3(mx->bytes[kind], int64_t{width} * unit, int64_t{precision} * unit));
    return 0;
  }
  int64_t alt_len(bool bytes) const { return bytes ? mx->bytes[kAltDigits] : mx->chars[kAltDigits]; }
  int64_t digits(int32_t top, bool alt) const {
    const int32_t radix = alt ? t().alt_digits_count : 10;
    return radix < 2 ? 1 : _vl_digits(top, radix);
  }
  int m_alt(int32_t top, int32_t def) {
    const int64_t d = digits(top, true), p = prec(def);
    add(max3(d * alt_len(false), width, p * alt_len(false)),
        max3(d * alt_len(true), int64_t{width} * unit, p * alt_len(true)));
    return 0;
  }

  // ---- writers ----
  int put_wc(vl_wchar c) {
    if (measuring()) {
      const int n = vl_wclen(h, c);
      add(1, n > 0 ? n : 1);
      return 0;
    }
    if (count >= size) return err(VL_E2BIG);
    *cur++ = c;
    ++count;
    return 0;
  }

  // Display columns of a character; one for what has none (without
  // leaving an error behind).
  int columns(vl_wchar c) {
    const uint32_t saved = vls::get_error(h);
    const int w = vl_wcwidth(h, c);
    if (w >= 0) return w;
    vls::set_error(h, saved);
    return 1;
  }
  int64_t columns(const vl_wchar *w, int64_t n) {
    int64_t total = 0;
    for (int64_t i = 0; i < n; ++i) total += columns(w[i]);
    return total;
  }
  void pad(int64_t n) {
    for (int64_t i = 0; i < n; ++i) *cur++ = fill;
  }
  void copy(const vl_wchar *w, int64_t n) {
    memcpy(cur, w, sizeof(vl_wchar) * static_cast<size_t>(n));
    cur += n;
  }

  // A name: cut from its end to the precision in columns, padded to the
  // width with the fill, in front unless left-justified.
  int put_text(const vl_wchar *w) {
    if (!w) w = kEmpty;
    int64_t n = vl_wcslen(w), cols = 0;
    if (precision >= 1 || width > 0) cols = columns(w, n);
    if (precision >= 1)
      while (n > 0 && cols > precision) cols -= columns(w[--n]);
    const int64_t pads = width > cols ? width - cols : 0;
    if (!fits(n + pads)) return err(VL_E2BIG);
    if (!left) pad(pads);
    copy(w, n);
    if (left) pad(pads);
    count += static_cast<int32_t>(n + pads);
    return 0;
  }

  // A multibyte name, widened through the handle's slot.
  int put_mbs(const char *s) {
    if (!s) return put_text(kEmpty);
    const size_t n = vls::mb_length(s) + 1;
    vls::ShortBuffer<kStack * sizeof(vl_wchar)> buf;
    if (!buf.reserve(n * sizeof(vl_wchar))) return err(VL_ENOMEM);
    vl_wchar *w = reinterpret_cast<vl_wchar *>(buf.data());
    if (!h->mbstowcs_fn || h->mbstowcs_fn(h, w, s, static_cast<int32_t>(n)) < 0) return -1;
    w[n - 1] = 0;
    return put_text(w);
  }

  // A number by the integer writer: without a precision it is
  // left-justified in its width; a fill of "0" pads in front.
  int put_int(int64_t v, int32_t def) {
    const int32_t p = prec(def);
    uint32_t flags = 0;
    if (p == -1) flags |= VL_FMT_LEFT;
    if (fill == '0') flags |= VL_FMT_ZERO;
    const bool negative = v < 0;
    const uint32_t magnitude = negative ? 0u - static_cast<uint32_t>(v) : static_cast<uint32_t>(v);
    return _vl_format_decimal(h, magnitude, negative, 10, &count, size, &cur, width, p, flags) ? -1 : 0;
  }

  // The fraction as six digits, cut or extended with zeros to the
  // precision (6 without one), after a point when asked; padded to the
  // width on the side the justification selects.
  int put_frac(int32_t value, bool point) {
    const int64_t digits = int64_t{precision == -1 ? 6 : precision} + (point ? 1 : 0);
    const int64_t length = digits > width ? digits : width;
    if (length > size || !fits(length)) return err(VL_E2BIG);
    char six[6];
    for (int i = 5; i >= 0; --i, value /= 10) six[i] = static_cast<char>('0' + value % 10);
    if (!left) pad(length - digits);
    if (point) *cur++ = '.';
    for (int64_t i = 0; i < digits - (point ? 1 : 0); ++i) *cur++ = i < 6 ? static_cast<vl_wchar>(six[i]) : '0';
    if (left) pad(length - digits);
    count += static_cast<int32_t>(length);
    return 0;
  }

  // The value in radix alt_digits_count, each digit spelled by its
  // alternative digit text; zero texts in front up to the precision, the
  // width in display columns. A negative value takes the numeric negative
  // sign.
  int put_alt_int(int64_t v, int32_t def) {
    const time_category &tc = t();
    const int32_t radix = tc.alt_digits_count, p = prec(def);
    auto text = [&tc](int64_t i) -> const vl_wchar * {
      return tc.w_alt_digits && tc.w_alt_digits[i] ? tc.w_alt_digits[i] : kEmpty;
    };
    const bool negative = v < 0;
    uint32_t mag = negative ? 0u - static_cast<uint32_t>(v) : static_cast<uint32_t>(v);
    int32_t idx[33], nd = 0;
    if (radix < 2) {
      if (mag != 0) return err(VL_EBADARG);  // one text spells only 0
      idx[nd++] = 0;
    } else {
      do {
        idx[nd++] = static_cast<int32_t>(mag % static_cast<uint32_t>(radix));
        mag /= static_cast<uint32_t>(radix);
      } while (mag);
    }
    const vl_wchar *sign = !negative ? kEmpty : h->nmm.num_negative_sign.wc ? h->nmm.num_negative_sign.wc : kMinus;
    const int64_t zeros = p > nd ? p - nd : 0, zero_len = vl_wcslen(text(0)), sign_len = vl_wcslen(sign);
    int64_t n = sign_len + zeros * zero_len;
    for (int32_t i = 0; i < nd; ++i) n += vl_wcslen(text(idx[i]));
    int64_t pads = 0;
    if (width > 0) {
      int64_t cols = columns(sign, sign_len) + zeros * columns(text(0), zero_len);
      for (int32_t i = 0; i < nd && cols < width; ++i) cols += columns(text(idx[i]), vl_wcslen(text(idx[i])));
      pads = width > cols ? width - cols : 0;
    }
    if (!fits(n + pads)) return err(VL_E2BIG);
    if (!left) pad(pads);
    copy(sign, sign_len);
    for (int64_t i = 0; i < zeros; ++i) copy(text(0), zero_len);
    for (int32_t i = nd - 1; i >= 0; --i) copy(text(idx[i]), vl_wcslen(text(idx[i])));
    if (left) pad(pads);
    count += static_cast<int32_t>(n + pads);
    return 0;
  }

  int put_number(int64_t v, int32_t def, bool alt) { return alt ? put_alt_int(v, def) : put_int(v, def); }

  // A format of the locale, run as a date with the room left.
  int put_new_fmt(const vl_wchar *format) {
    if (!format || !*format) return 0;
    if (depth >= kMaxNesting) return err(VL_EBADFORMAT);
    if (measuring()) {
      run(h, nullptr, 0, format, given, max_chars, max_bytes, VL_TIME_DATE, depth + 1, mx);
      return 0;
    }
    const int n = run(h, cur, size - count, format, given, nullptr, nullptr, VL_TIME_DATE, depth + 1, nullptr);
    if (n == 0) return -1;
    cur += n;
    count += n;
    return 0;
  }

  // ---- range tests ----
  bool in_months(int32_t m) const { return m >= 0 && m < t().mon_count; }
  int check_month() { return in_months(tm->mon) ? 0 : err(VL_EFMT_MONTH); }
  int check_day() { return tm->mday >= 1 && tm->mday <= 99 ? 0 : err(VL_EFMT_MDAY); }
  int check_century() { return static_cast<uint32_t>(tm->year) + 1900u > 9999u ? err(VL_EFMT_YEAR) : 0; }
  int check_year() { return tm->year < -1900 || tm->year > 8099 ? err(VL_EFMT_YEAR) : 0; }
  int check_hour() { return tm->hour > 23 ? err(VL_EFMT_HOUR) : 0; }
  int check_min() { return tm->min > 59 ? err(VL_EFMT_MINUTE) : 0; }
  int check_sec() { return tm->sec > 60 ? err(VL_EFMT_SECOND) : 0; }
  int check_wday() { return tm->wday > 6 ? err(VL_EFMT_WDAY) : 0; }
  int check_fraction() { return static_cast<uint32_t>(tm->fraction) > 999999u ? err(VL_EFMT_FRACTION) : 0; }

  int64_t year() const { return int64_t{tm->year} + 1900; }
  int64_t hour12() const { return tm->hour == 0 || tm->hour == 12 ? 12 : tm->hour % 12; }

  // Numbers joined by a separator, each with the directive's width and
  // precision.
  int put_fields(std::initializer_list<int64_t> values, vl_wchar sep, int32_t def, bool alt) {
    bool first = true;
    for (int64_t v : values) {
      if (!first && put_wc(sep)) return -1;
      first = false;
      if (put_number(v, def, alt)) return -1;
    }
    return 0;
  }

  // ---- directives ----
  int name_of(int kind, vl_wchar *const *list, int32_t index, int32_t length, uint32_t code) {
    if (measuring()) return m_name(kind);
    if (index < 0 || index >= length) return err(code);
    return put_text(list ? list[index] : nullptr);
  }
  int month_name(int kind, vl_wchar *const *list) {
    if (measuring()) return m_name(kind);
    if (check_month()) return -1;
    return name_of(kind, list, tm->month_name_index, t().mon_count, VL_EFMT_MONTH);
  }

  // The fraction's precision from a digit 0 to 5 that follows.
  static bool precision_digit(const vl_wchar *&f, int32_t &p) {
    if (*f < '0' || *f > '5') return false;
    p = static_cast<int32_t>(*f++ - '0');
    return true;
  }

  int directive(vl_wchar c, const vl_wchar *&f) {
    const bool m = measuring();
    switch (c) {
      case '%':
        return put_wc('%');
      case 'n':
        return put_wc('\n');
      case 't':
        return put_wc('\t');
      case 'A':
        return name_of(kDays, t().w_day, m ? 0 : tm->wday, 7, VL_EFMT_WDAY);
      case 'a':
        return name_of(kAbdays, t().w_abday, m ? 0 : tm->wday, 7, VL_EFMT_WDAY);
      case 'B':
        return month_name(kMonths, t().w_mon);
      case 'b':
      case 'h':
        return month_name(kAbmonths, t().w_abmon);
      case 'C':
      case 'g':
        if (m) return m_num(99, -1);
        return check_century() ? -1 : put_int(year() / 100, -1);
      case 'D':
        if (m) return m_fields({12, 99, 99}, 2, false);
        if (check_month() || check_day() || check_century()) return -1;
        return put_fields({int64_t{tm->mon} + 1, tm->mday, year() % 100}, '/', 2, false);
      case 'd':
        if (m) return m_num(99, 2);
        if (date_flag ? tm->mday < 1 || tm->mday > 99 : tm->mday > 99) return err(VL_EFMT_MDAY);
        return put_int(tm->mday, 2);
      case 'E':
        return era_form(f);
      case 'e':
        if (m) {  // the blank in front is one more than the width can hold
          const int64_t n = max3(_vl_digits(99, 10), int64_t{width} + (precision <= 1 ? 1 : 0), precision);
          add(n, n * unit);
          return 0;
        }
        if (check_day()) return -1;
        if (tm->mday <= 9 && precision <= 1 && put_wc(' ')) return -1;
        return put_int(tm->mday, -1);
      case 'F':
        // Only 0 to 5 are read as the precision: a 7 behind %F stays in
        // the format as text.
        if (precision_digit(f, precision) && width < precision) width = precision;
        if (m) return m_num(999999, 6);
        return check_fraction() ? -1 : put_frac(tm->fraction, false);
      case 'H':
        if (m) return m_num(23, 2);
        return check_hour() ? -1 : put_int(tm->hour, 2);
      case 'I':
        if (m) return m_num(12, 2);
        return check_hour() ? -1 : put_int(hour12(), 2);
      case 'i':
        return extended_form(f);
      case 'j':
        if (m) return m_num(366, 3);
        return tm->yday > 365 ? err(VL_EFMT_YDAY) : put_int(int64_t{tm->yday} + 1, 3);
      case 'M':
        if (m) return m_num(59, 2);
        return check_min() ? -1 : put_int(tm->min, 2);
      case 'm':
        if (m) return m_num(12, 2);
        return check_month() ? -1 : put_int(int64_t{tm->mon} + 1, 2);
      case 'O':
        return alt_form(f);
      case 'p':
        if (m) return m_name(kAmPm);
        return check_hour() ? -1 : put_text(tm->hour / 12 == 0 ? t().w_am_str : t().w_pm_str);
      case 'R':
        if (m) return m_fields({23, 59}, -1, false);
        if (check_hour() || check_min()) return -1;
        return put_fields({tm->hour, tm->min}, ':', -1, false);
      case 'r':
        return put_new_fmt(t().w_t_fmt_ampm);
      case 'S':
        if (m) return m_num(60, 2);
        return check_sec() ? -1 : put_int(tm->sec, 2);
      case 'T':
        if (m) return m_fields({23, 59, 60}, -1, false);
        if (check_sec() || check_min() || check_hour()) return -1;
        return put_fields({tm->hour, tm->min, tm->sec}, ':', -1, false);
      case 'u':
        if (m) return m_num(7, 2);
        return check_wday() ? -1 : put_int(tm->wday == 0 ? 7 : tm->wday, 2);
      case 'w':
        if (m) return m_num(6, 2);
        return check_wday() ? -1 : put_int(tm->wday, 2);
      case 'X':
        return put_new_fmt(t().w_t_fmt);
      case 'x':
        return put_new_fmt(t().w_d_fmt);
      case 'c':
        return put_new_fmt(t().w_d_t_fmt);
      case 'Y':
        if (m) return m_num(8099, 4);
        if (check_year()) return -1;
        return put_int(year() < 0 ? -year() : year(), 4) ? err(VL_ESCAN_YEAR) : 0;
      case 'y':
        if (m) return m_num(99, 2);
        return put_int(year() % 100, 2);
      default:
        return err(VL_EBADFORMAT);
    }
  }

  // %iY, %iy, %iF.
  int extended_form(const vl_wchar *&f) {
    const bool m = measuring();
    const vl_wchar c = *f;
    if (c != 'Y' && c != 'y' && c != 'F') return err(VL_EBADFORMAT);
    ++f;
    if (c == 'Y') {
      if (m) return m_num(8099, 4);
      if (check_year()) return -1;
      return put_int(year() < 0 ? -year() : year(), 4) ? err(VL_ESCAN_YEAR) : 0;
    }
    if (c == 'y') {
      if (m) return m_num(99, 2);
      return put_int(year() % 100, 2);
    }
    if (*f >= '6' && *f <= '9') return err(VL_EBADFORMAT);
    precision_digit(f, precision);
    if (precision == -1) precision = 2;
    if (m) {
      const int64_t n = (precision > width ? precision : width) + 1;
      add(n, n * unit);
      return 0;
    }
    return check_fraction() ? -1 : put_frac(tm->fraction, true);
  }

  // %Ec %Ex %EX %EC %Eg %Ey %EY.
  int era_form(const vl_wchar *&f) {
    const time_category &tc = t();
    const vl_wchar c = *f;
    switch (c) {
      case 'c':
      case 'x':
      case 'X':
        ++f;
        return put_new_fmt(c == 'c' ? tc.w_era_d_t_fmt : c == 'x' ? tc.w_era_d_fmt : tc.w_era_t_fmt);
      case 'C':
      case 'g':
      case 'y':
      case 'Y':
        ++f;
        break;
      default:
        return err(VL_EBADFORMAT);
    }
    if (measuring()) {
      if (c == 'C') return m_name(kEraNames);
      if (c == 'g') return m_name(kEraNames2);
      if (c == 'y') return m_num(INT32_MAX, -1);
      return measure_era_formats();
    }
    if (check_month() || check_day() || check_year()) return -1;
    const int32_t i = current_era(tc.era_info, tc.era_count, tm);
    if (i < 0) return err(VL_EBADARG);
    const era_record *e = tc.era_info[i];
    if (c == 'C') return put_mbs(e->era_name);
    if (c == 'g') return put_mbs(e->era_name2);
    if (c == 'y') return put_int(era_offset(e, tm), -1);
    return put_new_fmt(e->w_era_format);
  }

  // %EY measures the longest of the eras' own formats.
  int measure_era_formats() {
    const time_category &tc = t();
    int32_t best_c = 0, best_b = 0;
    for (int32_t i = 0; tc.era_info && i < tc.era_count; ++i) {
      const era_record *e = tc.era_info[i];
      if (!e || !e->w_era_format || !*e->w_era_format || depth >= kMaxNesting) continue;
      int32_t c = 0, b = 0;
      run(h, nullptr, 0, e->w_era_format, given, &c, max_bytes ? &b : nullptr, VL_TIME_DATE, depth + 1, mx);
      if (c > best_c) best_c = c;
      if (b > best_b) best_b = b;
    }
    add(best_c, best_b);
    return 0;
  }

  // %O with a number directive: the number in alternative digits.
  int alt_form(const vl_wchar *&f) {
    const bool m = measuring();
    const vl_wchar c = *f;
    if (!c || !memchr("CDHIMRSTdejmuwy", static_cast<int>(c < 128 ? c : 0), 15)) return err(VL_EBADFORMAT);
    ++f;
    switch (c) {
      case 'C':
        if (m) return m_alt(99, -1);
        return check_century() ? -1 : put_alt_int(year() / 100, -1);
      case 'D':
        if (m) return m_fields({12, 99, 99}, -1, true);
        if (check_month() || check_day() || check_century()) return -1;
        return put_fields({int64_t{tm->mon} + 1, tm->mday, year() % 100}, '/', -1, true);
      case 'H':
        if (m) return m_alt(23, -1);
        return check_hour() ? -1 : put_alt_int(tm->hour, -1);
      case 'I':
        if (m) return m_alt(12, -1);
        return check_hour() ? -1 : put_alt_int(hour12(), -1);
      case 'M':
        if (m) return m_alt(59, -1);
        return check_min() ? -1 : put_alt_int(tm->min, -1);
      case 'R':
        if (m) return m_fields({23, 59}, -1, true);
        if (check_hour() || check_min()) return -1;
        return put_fields({tm->hour, tm->min}, ':', -1, true);
      case 'S':
        if (m) return m_alt(60, -1);
        return check_sec() ? -1 : put_alt_int(tm->sec, -1);
      case 'T':
        if (m) return m_fields({23, 59, 60}, -1, true);
        if (check_sec() || check_min() || check_hour()) return -1;
        return put_fields({tm->hour, tm->min, tm->sec}, ':', -1, true);
      case 'd':
        if (m) return m_alt(99, -1);
        if (date_flag ? tm->mday < 1 || tm->mday > 99 : tm->mday > 99) return err(VL_EFMT_MDAY);
        return put_alt_int(tm->mday, -1);
      case 'e': {
        if (m) return m_alt(99, -1);
        if (check_day()) return -1;
        const int32_t blanks = padding(tm->mday, t().alt_digits_count);
        for (int32_t i = 0; i < blanks; ++i)
          if (put_wc(' ')) return -1;
        return put_alt_int(tm->mday, -1);
      }
      case 'j':
        if (m) return m_alt(366, 3);
        return tm->yday > 365 ? err(VL_EFMT_YDAY) : put_alt_int(int64_t{tm->yday} + 1, 3);
      case 'm':
        if (m) return m_alt(12, -1);
        return check_month() ? -1 : put_alt_int(int64_t{tm->mon} + 1, -1);
      case 'u':
        if (m) return m_alt(7, -1);
        return check_wday() ? -1 : put_alt_int(tm->wday == 0 ? 7 : tm->wday, -1);
      case 'w':
        if (m) return m_alt(6, -1);
        return check_wday() ? -1 : put_alt_int(tm->wday, -1);
      default: {  // 'y'
        const time_category &tc = t();
        if (tc.era_count < 1) return m ? m_alt(99, -1) : put_alt_int(year() % 100, -1);
        if (m) return m_alt(INT32_MAX, -1);
        if (check_month() || check_day() || check_year()) return -1;
        const int32_t i = current_era(tc.era_info, tc.era_count, tm);
        if (i < 0) return err(VL_EBADARG);
        return put_alt_int(era_offset(tc.era_info[i], tm), -1);
      }
    }
  }
};

// The scanner of the number formatter also reads a length (l, L, h, H);
// here those letters are directives, so the format is moved back to them.
void unread_length(const vl_fmt_state &st, const vl_wchar *&f) { f -= st.long_level + st.short_level; }

// A letter behind '%' that is no length letter and no digit of the
// locale: the scanner would read nothing of it (no position, flag, width,
// precision or length) and leave the directive state as it starts.
inline bool plain_directive(vl_locale_t *h, vl_wchar c) {
  if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))) return false;
  if (c == 'l' || c == 'L' || c == 'h' || c == 'H') return false;
  return !vls::is_digit(h, c);
}

int run(vl_locale_t *h, vl_wchar *out, int32_t size, const vl_wchar *format, const vl_alt_tm *alt,
        int32_t *max_chars, int32_t *max_bytes, int32_t date_flag, int depth, const Maxima *mx) {
  if (!h) return 0;
  const bool measuring = max_chars || max_bytes;
  Maxima local;
  if (measuring && !mx) {
    if (init_max_struct(h, local, max_bytes != nullptr) != 0) return 0;
    mx = &local;
  }
  if (!format) return 0;
  vl_alt_tm converted;
  const vl_alt_tm *tm = alt;
  if (!measuring) {
    if (!out || !alt) {
      vls::set_error(h, VL_EBADPTR);
      return 0;
    }
    if (h->time.calendar != VL_CAL_GREGORIAN) {
      memset(&converted, 0, sizeof converted);
      if (vl_cal_gregorian_to_local(h, alt, &converted) != 0) return 0;
      tm = &converted;
    }
  }
  Engine e{h, out, 0, size, max_chars, max_bytes, mx, alt, tm, date_flag, depth, 1};
  if (measuring) {
    const int u = vl_wclen(h, '0');
    e.unit = u > 0 ? u : 1;
  }
  const vl_wchar *f = format;
  while (*f) {
    if (*f != '%') {
      if (e.put_wc(*f++)) return 0;
      continue;
    }
    ++f;
    if (plain_directive(h, *f)) {
      e.width = 0, e.precision = -1, e.left = false, e.fill = ' ';
    } else {
      vl_fmt_state st;
      _vl_init_format_state(&st);
      if (_vl_scan_format_modifiers(h, &f, &st, nullptr, nullptr) != 0) return 0;
      unread_length(st, f);
      e.width = st.width;
      e.precision = st.precision;
      e.left = st.justify == VL_FMT_JUSTIFY_LEFT;
      e.fill = st.pad;
    }
    if (*f == 'E' && h->time.era_count < 1) ++f;
    if (*f == 'O' && h->time.alt_digits_count <= 0) ++f;
    const vl_wchar c = *f;
    if (c < '%' || c > '%' + 84) {
      vls::set_error(h, VL_EBADFORMAT);
      return 0;
    }
    ++f;
    if (e.directive(c, f) != 0) return 0;
  }
  if (measuring) return e.count;
  if (int64_t{e.count} + 1 > size) {
    vls::set_error(h, VL_E2BIG);
    return 0;
  }
  *e.cur = 0;
  return e.count;
}

// The multibyte entry's short way, for a locale of the library's own
// tables whose characters are bytes of their own value (all of them in a
// single-byte locale, those below 0x80 the tree completes in a multibyte
// one): a format of such bytes whose directives take no modifier is read
// as it stands, and the text goes into bytes as it is made, as the wide
// engine and the narrowing behind it would have it. Whatever this way does
// not take on (a modifier, an era or alternative form, a value out of
// range or negative, a character to narrow that fails, more text than its
// buffer, no room) makes it give up without a trace, for the general way
// to run.
template <bool Single>
class DirectTime {
 public:
  DirectTime(vl_locale_t *h, const vl_alt_tm *tm, int32_t date_flag, const unsigned char *flags)
      : h_(h), tm_(tm), date_flag_(date_flag), flags_(flags), narrow_(h) {}

  // The text of a format; false to give up. A format of bytes must be
  // shorter than the wide engine's stack area for it.
  template <typename F>
  bool run(const F *f, int depth) {
    const F *const start = f;
    const time_category &t = h_->time;
    while (*f) {
      if (n_ > kStack) return false;
      if (*f != '%') {
        const vl_wchar v = char_value(*f++);
        if (!own_byte(v)) return false;
        buf_[n_++] = static_cast<char>(v);
        ++chars_;
        continue;
      }
      const vl_wchar c = char_value(*++f);
      ++f;
      if (c == '%') {
        literal('%');
        continue;
      }
      // A letter the scanner reads nothing of, or only a length letter
      // that it then gives back: the directive's state is as it starts.
      if (!letter(c) || c == 'E' || c == 'O') return false;
      const vl_alt_tm &m = *tm_;
      const int64_t year = int64_t{m.year} + 1900;
      bool ok;
      switch (c) {
        case 'n': ok = literal('\n'); break;
        case 't': ok = literal('\t'); break;
        case 'A': ok = name(t.w_day, m.wday, 7); break;
        case 'a': ok = name(t.w_abday, m.wday, 7); break;
        case 'B': ok = month() && name(t.w_mon, m.month_name_index, t.mon_count); break;
        case 'b':
        case 'h': ok = month() && name(t.w_abmon, m.month_name_index, t.mon_count); break;
        case 'C':
        case 'g': ok = century() && number(year / 100, -1); break;
        case 'D':
          ok = month() && day() && century() && number(int64_t{m.mon} + 1, 2) && literal('/') && number(m.mday, 2) &&
               literal('/') && number(year % 100, 2);
          break;
        case 'd':
          ok = !(date_flag_ ? m.mday < 1 || m.mday > 99 : m.mday > 99) && number(m.mday, 2);
          break;
        case 'e': ok = day() && (m.mday > 9 || literal(' ')) && number(m.mday, -1); break;
        case 'H': ok = m.hour <= 23 && number(m.hour, 2); break;
        case 'I': ok = m.hour <= 23 && number(m.hour == 0 || m.hour == 12 ? 12 : m.hour % 12, 2); break;
        case 'j': ok = m.yday <= 365 && number(int64_t{m.yday} + 1, 3); break;
        case 'M': ok = m.min <= 59 && number(m.min, 2); break;
        case 'm': ok = month() && number(int64_t{m.mon} + 1, 2); break;
        case 'p': ok = m.hour <= 23 && text(m.hour / 12 == 0 ? t.w_am_str : t.w_pm_str); break;
        case 'R': ok = m.hour <= 23 && m.min <= 59 && number(m.hour, -1) && literal(':') && number(m.min, -1); break;
        case 'S': ok = m.sec <= 60 && number(m.sec, 2); break;
        case 'T':
          ok = m.sec <= 60 && m.min <= 59 && m.hour <= 23 && number(m.hour, -1) && literal(':') &&
               number(m.min, -1) && literal(':') && number(m.sec, -1);
          break;
        case 'u': ok = m.wday <= 6 && number(m.wday == 0 ? 7 : m.wday, 2); break;
        case 'w': ok = m.wday <= 6 && number(m.wday, 2); break;
        case 'Y': ok = m.year >= -1900 && m.year <= 8099 && number(year, 4); break;
        case 'y': ok = number(year % 100, 2); break;
        case 'c': ok = nested(t.w_d_t_fmt, depth); break;
        case 'x': ok = nested(t.w_d_fmt, depth); break;
        case 'X': ok = nested(t.w_t_fmt, depth); break;
        case 'r': ok = nested(t.w_t_fmt_ampm, depth); break;
        default: ok = false; break;
      }
      if (!ok) return false;
    }
    if constexpr (sizeof(F) == 1) return depth > 0 || f - start < kStack;
    return true;
  }
  const char *bytes() const { return buf_; }
  int32_t length() const { return n_; }
  int32_t characters() const { return chars_; }

 private:
  static unsigned char_value(char c) { return static_cast<unsigned char>(c); }
  static vl_wchar char_value(vl_wchar c) { return c; }

  bool own_byte(vl_wchar v) const {
    if constexpr (Single) return v <= 0xFFu;
    else return v < 0x80u && flags_[v] == VL_MULTI_COMPLETE;
  }
  // An ASCII letter that is no digit of the locale.
  bool letter(vl_wchar c) const {
    if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))) return false;
    if (const uint16_t *ct = h_->class_table) return !(ct[c] & VL_CT_DIGIT);
    if (!Single && flags_[c] == VL_MULTI_COMPLETE) {
      const multi_t *tr = h_->ctype.ctype_tree;
      return !(vls::tree::u16(vls::tree::row(tr, tr->root, c)) & VL_CT_DIGIT);
    }
    return !vls::is_digit(h_, c);
  }
  // One of the engine's own characters (digits, blank, separators).
  bool literal(vl_wchar v) {
    if (!own_byte(v)) return false;
    buf_[n_++] = static_cast<char>(v);
    ++chars_;
    return true;
  }
  // The characters of a text of the locale, in their bytes.
  bool text(const vl_wchar *w) {
    if (!w) return true;
    for (; *w; ++w) {
      if (n_ > kStack) return false;
      const vl_wchar v = *w;
      if (own_byte(v)) {
        buf_[n_++] = static_cast<char>(v);
      } else {
        if (Single) return false;
        const int len = narrow_.put(buf_ + n_, v);
        if (len < 0) return false;
        n_ += len;
      }
      ++chars_;
    }
    return true;
  }
  bool name(vl_wchar *const *list, int32_t index, int32_t count) {
    return index >= 0 && index < count && text(list ? list[index] : nullptr);
  }
  // The digits of a value that is not negative, zeros in front up to p.
  bool number(int64_t v, int32_t p) {
    if (v < 0 || v > UINT32_MAX || !digits_own_) return false;
    if (v < 100 && p <= 2) {
      const int i = static_cast<int>(v);
      if (i >= 10 || p == 2) buf_[n_++] = static_cast<char>('0' + i / 10), ++chars_;
      buf_[n_++] = static_cast<char>('0' + i % 10), ++chars_;
      return true;
    }
    char digits[12];
    int32_t d = 0;
    uint32_t u = static_cast<uint32_t>(v);
    do digits[d++] = static_cast<char>('0' + u % 10), u /= 10;
    while (u);
    for (int32_t i = d; i < p; ++i) buf_[n_++] = '0', ++chars_;
    while (d) buf_[n_++] = digits[--d], ++chars_;
    return true;
  }
  bool month() const { return tm_->mon >= 0 && tm_->mon < h_->time.mon_count; }
  bool day() const { return tm_->mday >= 1 && tm_->mday <= 99; }
  bool century() const { return static_cast<uint32_t>(tm_->year) + 1900u <= 9999u; }
  // A format of the locale: nothing when empty; an empty text refused.
  bool nested(const vl_wchar *format, int depth) {
    if (!format || !*format) return true;
    if (depth + 1 > kMaxNesting) return false;
    const int32_t before = chars_;
    return run(format, depth + 1) && chars_ > before;
  }

  vl_locale_t *h_;
  const vl_alt_tm *tm_;
  int32_t date_flag_;
  const unsigned char *flags_;  // null in a single-byte locale
  vls::Narrow narrow_;
  bool digits_own_ = Single || (flags_['0'] == VL_MULTI_COMPLETE && flags_['9'] == VL_MULTI_COMPLETE);
  // The text so far; a directive adds at most 16 bytes (a number) or one
  // character at a time (a name) beyond the checks against kStack.
  char buf_[kStack + 24];
  int32_t n_ = 0, chars_ = 0;
};

template <bool Single>
bool direct_ftime(vl_locale_t *h, char *out, int32_t size, const char *format, const vl_alt_tm *alt, int32_t date_flag,
                  const unsigned char *flags, int *result) {
  DirectTime<Single> d(h, alt, date_flag, flags);
  const int32_t min = vl_mb_loc_min(h);
  // An empty text is the general way's (it writes nothing).
  if (!d.run(format, 0) || d.characters() == 0 || int64_t{d.characters()} + 1 > size ||
      int64_t{d.length()} + min > size)
    return false;
  memcpy(out, d.bytes(), static_cast<size_t>(d.length()));
  if (Single) vl_mbsterm(h, out + d.length());
  else vls::terminate(out + d.length(), min);
  *result = d.length();
  return true;
}

// The short way of vl_mbsftime1 when it applies: true with the result.
bool direct_ftime(vl_locale_t *h, char *out, int32_t size, const char *format, const vl_alt_tm *alt, int32_t date_flag,
                  int *result) {
  if (_vlu_active(h, VL_LC_CTYPE) || h->time.calendar != VL_CAL_GREGORIAN) return false;
  const uint32_t saved = vls::get_error(h);
  bool done;
  if (h->single_byte) {
    if (h->mbstowcs_fn != _vl_is_mbstowcs) return false;
    done = direct_ftime<true>(h, out, size, format, alt, date_flag, nullptr, result);
  } else {
    const unsigned char *flags;
    if (h->mbstowcs_fn != _vl_im_mbstowcs || !(flags = vls::direct_bytes(h))) return false;
    done = direct_ftime<false>(h, out, size, format, alt, date_flag, flags, result);
  }
  if (!done) vls::set_error(h, saved);
  return done;
}

}  // namespace

extern "C" {

VLS_API void tm_to_alt_tm(const vl_tm *tm, int32_t month_name_index, vl_alt_tm *alt) {
  alt->fraction = tm->fraction;
  alt->sec = tm->sec;
  alt->min = tm->min;
  alt->hour = tm->hour;
  alt->mday = tm->mday;
  alt->mon = tm->mon;
  alt->month_name_index = month_name_index;
  alt->year = tm->year;
  alt->wday = tm->wday;
  alt->yday = tm->yday;
  memcpy(alt->spare, tm->spare, sizeof alt->spare);
}

VLS_API void alt_tm_to_tm(const vl_alt_tm *alt, vl_tm *tm) {
  tm->fraction = alt->fraction;
  tm->sec = alt->sec;
  tm->min = alt->min;
  tm->hour = alt->hour;
  tm->mday = alt->mday;
  tm->mon = alt->mon;
  tm->year = alt->year;
  tm->wday = alt->wday;
  tm->yday = alt->yday;
  memcpy(tm->spare, alt->spare, sizeof tm->spare);
}

VLS_API int32_t current_era(era_record *const *eras, int32_t count, const vl_alt_tm *alt) {
  if (!eras || !alt) return -1;
  for (int32_t i = 0; i < count; ++i)
    if (eras[i] && check_bounds(eras[i], alt)) return i;
  return -1;
}

VLS_API int32_t era_offset(const era_record *e, const vl_alt_tm *alt) {
  const Ymd t(alt);
  const int64_t dir = e->direction;
  int64_t offset = (t.y - e->start_year) * dir + e->offset;
  // Before the anniversary of the start, in the era's direction.
  const int64_t m = t.m * dir, sm = int64_t{e->start_month} * dir;
  if (m < sm || (m == sm && t.d * dir < int64_t{e->start_day} * dir)) --offset;
  return clamp32(offset);
}

VLS_API int32_t padding(int32_t value, int32_t radix) {
  const int32_t n = _vl_digits(31, radix) - _vl_digits(value, radix);
  return n > 0 ? n : 0;
}

VLS_API int put_new_fmt(vl_locale_t *h, const vl_wchar *format, const vl_alt_tm *alt, int32_t *count, int32_t size,
                        vl_wchar **cursor, int32_t *max_chars, int32_t *max_bytes) {
  if (!format || !*format) return 0;
  if (max_chars || max_bytes) {
    run(h, nullptr, 0, format, alt, max_chars, max_bytes, VL_TIME_DATE, 1, nullptr);
    return 0;
  }
  if (!count || !cursor) return vls::fail(h, VL_EBADPTR);
  const int n = run(h, *cursor, size - *count, format, alt, nullptr, nullptr, VL_TIME_DATE, 1, nullptr);
  if (n == 0) return -1;
  *cursor += n;
  *count += n;
  return 0;
}

VLS_API int vl_wcsftime1(vl_locale_t *h, vl_wchar *out, int32_t size, const vl_wchar *format, const vl_alt_tm *alt,
                         int32_t *max_chars, int32_t *max_bytes, int32_t date_flag) {
  return run(h, out, size, format, alt, max_chars, max_bytes, date_flag, 0, nullptr);
}

VLS_API int vl_wcsftime(vl_locale_t *h, vl_wchar *out, int32_t size, const vl_wchar *format, vl_tm *tm) {
  if (!tm) {
    vls::set_error(h, VL_EBADPTR);
    return 0;
  }
  vl_alt_tm alt;
  tm_to_alt_tm(tm, tm->mon, &alt);
  const int n = vl_wcsftime1(h, out, size, format, &alt, nullptr, nullptr, VL_TIME_DATE);
  alt_tm_to_tm(&alt, tm);
  return n;
}

VLS_API int vl_mbsftime1(vl_locale_t *h, char *out, int32_t size, const char *format, const vl_alt_tm *alt,
                         int32_t *max_chars, int32_t *max_bytes, int32_t date_flag) {
  if (!h || !format) return 0;
  if (!h->mbstowcs_fn) {
    vls::set_error(h, VL_EBADPTR);
    return 0;
  }
  if (!max_chars && !max_bytes && out && alt) {
    int n;
    if (direct_ftime(h, out, size, format, alt, date_flag, &n)) return n;
  }
  // The format in wide form: on the stack while short. A failure to
  // convert there gives -1; a longer format that fails gives 0.
  vls::WideArg<kStack> wfmt;
  if (const int rc = wfmt.widen(h, format); rc != 0) return rc == -1 ? -1 : 0;
  const vl_wchar *wide_format = wfmt.get();
  if (max_chars || max_bytes) return vl_wcsftime1(h, nullptr, 0, wide_format, alt, max_chars, max_bytes, date_flag);
  if (!out) {
    vls::set_error(h, VL_EBADPTR);
    return 0;
  }
  vl_wchar out_stack[kStack + 1];
  vls::HostPtr<vl_wchar> out_heap;
  vl_wchar *wide_out = out_stack;
  if (size > kStack) {
    out_heap.reset(vls::alloc_array<vl_wchar>(static_cast<size_t>(size) + 1));
    if (!out_heap) {
      vls::set_error(h, VL_ENOMEM);
      return 0;
    }
    wide_out = out_heap.get();
  }
  const int n = vl_wcsftime1(h, wide_out, size, wide_format, alt, nullptr, nullptr, date_flag);
  if (n == 0) return 0;
  int written;
  if (h->single_byte) {
    written = _vl_is_wcstombs(h, out, wide_out, size);
  } else {
    // The text and its terminator must fit whole.
    const vls::Narrow narrow(h);
    const int32_t min = vl_mb_loc_min(h);
    int64_t bytes = min;
    for (int i = 0; i < n; ++i) {
      const int len = narrow.length(wide_out[i]);
      if (len < 0) return 0;
      bytes += len;
    }
    if (bytes > size) {
      vls::set_error(h, VL_E2BIG);
      return 0;
    }
    if (vls::direct_bytes(h)) {
      // The locale's own tree: each character as vl_full_wcstombs writes it.
      written = 0;
      for (int i = 0; i < n; ++i) {
        const int len = narrow.put(out + written, wide_out[i]);
        if (len < 0) return 0;
        written += len;
      }
      vls::terminate(out + written, min);
    } else {
      written = vl_full_wcstombs(h, out, wide_out, size);
    }
  }
  return written < 0 ? 0 : written;
}

VLS_API int vl_mbsftime(vl_locale_t *h, char *out, int32_t size, const char *format, vl_tm *tm) {
  if (!tm) {
    vls::set_error(h, VL_EBADPTR);
    return 0;
  }
  vl_alt_tm alt;
  tm_to_alt_tm(tm, tm->mon, &alt);
  // The engine reads the record only: what would be copied back is what
  // the caller gave.
  return vl_mbsftime1(h, out, size, format, &alt, nullptr, nullptr, VL_TIME_DATE);
}

VLS_API int vl_mbsfinterval(vl_locale_t *h, char *out, int32_t size, const char *format, vl_tm *tm) {
  if (!tm) {
    vls::set_error(h, VL_EBADPTR);
    return 0;
  }
  vl_alt_tm alt;
  tm_to_alt_tm(tm, tm->mon, &alt);
  const int n = vl_mbsftime1(h, out, size, format, &alt, nullptr, nullptr, VL_TIME_INTERVAL);
  alt_tm_to_tm(&alt, tm);
  return n;
}

}  // extern "C"
