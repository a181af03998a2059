// Money: formatting a double as locale money text with the money directive
// language, and parsing money text back by matching every layout the
// locale allows. Both directions lay out the value through a position mask
// built from the cs_precedes, sign_posn and sep_by_space fields.
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <vls/vls.h>
#include <vls/vlsctype.h>
#include <vls/vlsfmt.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsmon.h>

#include <iterator>

#include "vlsint.h"
#include "vlswide.h"

namespace {

constexpr int kText = 256;       // the formatter's intermediates
constexpr int kWidthLimit = 100;  // characters of a symbol or sign measured
constexpr int kLongText = 127;    // symbol and sign texts longer go through the heap
constexpr int32_t kArgStack = 256;  // wide characters of a caller's text kept on the stack
constexpr int32_t kOutStack = 512;  // wide characters of output kept on the stack

int fail(vl_locale_t *h, uint32_t code) { return vls::fail(h, code); }

size_t wlen(const vl_wchar *s) {
  size_t n = 0;
  while (s && s[n]) ++n;
  return n;
}

using vls::is_digit;
bool is_space(vl_locale_t *h, vl_wchar c) { return c && vls::in_class(h, c, VL_CT_SPACE); }
bool is_blank(vl_locale_t *h, vl_wchar c) { return c && vls::in_class(h, c, VL_CT_BLANK); }
bool low_byte_is(vl_wchar c, char k) { return (c & 0xFFu) == static_cast<unsigned char>(k); }

// Display columns of at most `limit` characters of a text; a character
// with no width counts none.
int columns(vls::Columns &cw, const vl_wchar *s, size_t limit = SIZE_MAX) {
  return s ? cw.sum(s, limit) : 0;
}

// A bounded wide text of the formatter.
struct Text {
  vl_wchar c[kText * 2];
  int n = 0;
  Text() = default;
  // Copies hold the characters in use only.
  Text(const Text &o) : n(o.n) { memcpy(c, o.c, sizeof(vl_wchar) * static_cast<size_t>(n)); }
  Text &operator=(const Text &o) {
    n = o.n;
    memcpy(c, o.c, sizeof(vl_wchar) * static_cast<size_t>(n));
    return *this;
  }
  void clear() { n = 0; }
  void put(vl_wchar v) {
    if (n < kText * 2 - 1) c[n++] = v;
  }
  void append(const vl_wchar *s, int count) {
    const int room = kText * 2 - 1 - n;
    if (count > room) count = room;
    if (count <= 0) return;
    memcpy(c + n, s, sizeof(vl_wchar) * static_cast<size_t>(count));
    n += count;
  }
  void append(const Text &t) { append(t.c, t.n); }
  const vl_wchar *z() {
    c[n] = 0;
    return c;
  }
};

// Group sizes of the monetary grouping; [0] is the count.
struct Groups {
  const int32_t *g;
  int32_t size(int index) const { return index <= g[0] ? g[index] : 0; }
};

// Separators that `digits` digits take under mon_grouping: one for each
// full group of a size of at least 1 with a digit to follow; after it the
// next size applies if one remains (the last repeats), and a size below 1
// ends grouping.
int group_count(vl_locale_t *h, int digits) {
  if (digits < 1) return 0;
  const Groups gr{h->nmm.mon_grouping};
  if (gr.g[0] < 1) return 0;
  int index = 1, size = gr.size(1), pos = 0, count = 0;
  for (int i = 0; i < digits; ++i) {
    if (size < 1) break;
    if (pos == size) {
      ++count;
      if (index < gr.g[0]) size = gr.size(++index);
      if (size < 1) break;
      pos = 0;
    }
    ++pos;
  }
  return count;
}

// Inserts the numeric thousands_sep (not mon_thousands_sep) into the text
// from its right end, after each full group of mon_grouping with a
// character to follow. With a right precision the last character is taken
// for the decimal point and set aside, whatever the decimal point's length:
// a point of two characters has its first grouped with the digits, an
// empty one leaves the last digit aside.
void add_groups(vl_locale_t *h, Text &t, int32_t right_precision) {
  const vl_wchar *sep = h->nmm.thousands_sep.wc;
  const int seplen = static_cast<int>(wlen(sep));
  int end = t.n;
  Text tail;
  if (right_precision != 0 && end > 0) {
    tail.put(t.c[end - 1]);
    --end;
  }
  vl_wchar scratch[kText * 2];
  int at = kText * 2;  // fills from the end
  const Groups gr{h->nmm.mon_grouping};
  int index = 1, size = gr.g[0] >= 1 ? gr.size(1) : 0, pos = 0;
  for (int i = end - 1; i >= 0; --i) {
    if (size >= 1 && pos == size) {
      if (at - seplen < 1) {
        vls::set_error(h, VL_E2BIG);
        size = 0;
      } else {
        at -= seplen;
        if (seplen) memcpy(scratch + at, sep, sizeof(vl_wchar) * static_cast<size_t>(seplen));
        if (index < gr.g[0]) size = gr.size(++index);
      }
      pos = 0;
    }
    if (at < 1) break;
    scratch[--at] = t.c[i];
    ++pos;
  }
  t.clear();
  t.append(scratch + at, kText * 2 - at);
  t.append(tail);
}

// ---- masks ---------------------------------------------------------------------------

enum Code : int32_t { kEnd = 0, kOpen = 1, kSymbol = 2, kNumber = 3, kSign = 4, kBlank = 5, kClose = 6 };

struct MaskRow {
  int key;
  int32_t codes[6];
};
// cs_precedes 1 and 0, by sign_posn * 10 + sep_by_space.
constexpr MaskRow kBefore[] = {
    {0, {kOpen, kSymbol, kNumber, kClose}},          {2, {kOpen, kSymbol, kNumber, kClose}},
    {1, {kOpen, kSymbol, kBlank, kNumber, kClose}},  {10, {kSign, kSymbol, kNumber}},
    {30, {kSign, kSymbol, kNumber}},                 {11, {kSign, kSymbol, kBlank, kNumber}},
    {31, {kSign, kSymbol, kBlank, kNumber}},         {12, {kSign, kBlank, kSymbol, kNumber}},
    {32, {kSign, kBlank, kSymbol, kNumber}},         {20, {kSymbol, kNumber, kSign}},
    {22, {kSymbol, kNumber, kSign}},                 {21, {kSymbol, kBlank, kNumber, kSign}},
    {40, {kSymbol, kSign, kNumber}},                 {41, {kSymbol, kSign, kBlank, kNumber}},
    {42, {kSymbol, kBlank, kSign, kNumber}},
};
constexpr MaskRow kAfter[] = {
    {0, {kOpen, kNumber, kSymbol, kClose}},          {2, {kOpen, kNumber, kSymbol, kClose}},
    {1, {kOpen, kNumber, kBlank, kSymbol, kClose}},  {10, {kSign, kNumber, kSymbol}},
    {12, {kSign, kNumber, kSymbol}},                 {11, {kSign, kNumber, kBlank, kSymbol}},
    {20, {kNumber, kSymbol, kSign}},                 {40, {kNumber, kSymbol, kSign}},
    {21, {kNumber, kBlank, kSymbol, kSign}},         {41, {kNumber, kBlank, kSymbol, kSign}},
    {22, {kNumber, kSymbol, kBlank, kSign}},         {42, {kNumber, kSymbol, kBlank, kSign}},
    {30, {kNumber, kSign, kSymbol}},                 {31, {kNumber, kBlank, kSign, kSymbol}},
    {32, {kNumber, kSign, kBlank, kSymbol}},
};

// The rows of both tables by cs_precedes and key.
struct MaskIndex {
  const MaskRow *rows[2][50] = {};
  constexpr MaskIndex() {
    for (const MaskRow &r : kAfter) rows[0][r.key] = &r;
    for (const MaskRow &r : kBefore) rows[1][r.key] = &r;
  }
};
constexpr MaskIndex kMaskIndex;

// The mask of a layout, as mon_mask gives it, read in place: all kEnd for
// a layout outside the tables. The row is chosen by the key sign_posn * 10
// + sep_by_space alone, reckoned in 32 bits as it wraps, so that for
// instance a sign position of 0 with a separation of 12 is the row of key
// 12.
constexpr int32_t kNoMask[7] = {kEnd, kEnd, kEnd, kEnd, kEnd, kEnd, kEnd};
const int32_t *mask_of(int32_t cs_precedes, int32_t sign_posn, int32_t sep_by_space) {
  if (cs_precedes != 0 && cs_precedes != 1) return kNoMask;
  const uint32_t key = static_cast<uint32_t>(sign_posn) * 10u + static_cast<uint32_t>(sep_by_space);
  if (key >= std::size(kMaskIndex.rows[0])) return kNoMask;
  const MaskRow *row = kMaskIndex.rows[cs_precedes][key];
  return row ? row->codes : kNoMask;
}

// The mask of the number's first character being blank: a code-5 blank
// directly ahead of the number is then left out.
bool blank_before_number(const int32_t *mask, int i) { return mask[i] == kBlank && mask[i + 1] == kNumber; }

int before_width(vl_locale_t *h, vls::Columns &cw, const int32_t *mask, const vl_wchar *symbol, const vl_wchar *sign,
                 const vl_wchar *number) {
  int n = 0;
  for (int i = 0; mask[i] != kEnd && mask[i] != kNumber; ++i) {
    switch (mask[i]) {
      case kOpen: ++n; break;
      case kSymbol: n += symbol ? columns(cw, symbol, kWidthLimit) : 0; break;
      case kSign: n += sign ? columns(cw, sign, kWidthLimit) : 0; break;
      case kBlank: n += (blank_before_number(mask, i) && number && is_blank(h, number[0])) ? 0 : 1; break;
      default: break;
    }
  }
  return n;
}

int after_width(vls::Columns &cw, const int32_t *mask, const vl_wchar *symbol, const vl_wchar *sign) {
  int n = 0;
  bool behind = false;
  for (int i = 0; mask[i] != kEnd; ++i) {
    if (mask[i] == kNumber) behind = true;
    if (mask[i] == kClose) ++n;  // wherever it stands
    if (!behind) continue;
    if (mask[i] == kSymbol) n += symbol ? columns(cw, symbol, kWidthLimit) : 0;
    if (mask[i] == kSign) n += sign ? columns(cw, sign, kWidthLimit) : 0;
    if (mask[i] == kBlank) ++n;
  }
  return n;
}

// Lays out one value: the elements ahead of the number gather in a scratch
// text written when the number comes, lined up to `before` columns; what
// follows goes straight out, padded to `after` columns.
// The lengths of the symbol, the sign and the number come with them.
void format_money(vl_locale_t *h, vls::Columns &cw, Text &out, const int32_t *mask, int before, int after, const vl_wchar *symbol,
                  int symbol_len, const vl_wchar *sign, int sign_len, const vl_wchar *number, int number_len) {
  Text scratch;
  bool behind = false;
  int cols = 0;
  for (int i = 0; mask[i] != kEnd; ++i) {
    Text &to = behind ? out : scratch;
    switch (mask[i]) {
      case kOpen: to.put('('); break;
      case kSymbol:
        if (symbol) to.append(symbol, symbol_len), cols += behind ? columns(cw, symbol, kWidthLimit) : 0;
        break;
      case kSign:
        if (sign) to.append(sign, sign_len), cols += behind ? columns(cw, sign, kWidthLimit) : 0;
        break;
      case kClose:
        to.put(')');
        if (behind) ++cols;
        break;
      case kBlank:
        if (behind) {
          to.put(' ');
          ++cols;
        } else if (!(blank_before_number(mask, i) && number && is_blank(h, number[0]))) {
          to.put(' ');
        }
        break;
      case kNumber: {
        if (!number) return;
        if (before >= 0)
          for (int k = columns(cw, scratch.z()); k < before; ++k) out.put(' ');
        if (out.n + scratch.n < kText) out.append(scratch);
        out.append(number, number_len < kText - 1 ? number_len : kText - 1);
        behind = true;
        break;
      }
      default: break;
    }
  }
  if (after >= 0)
    for (; cols < after; ++cols) out.put(' ');
}

// The working copies of the layout fields for one call.
struct Layout {
  int32_t p_cs_precedes, n_cs_precedes, p_sep_by_space, n_sep_by_space, p_sign_posn, n_sign_posn;
};

// ---- formatter -------------------------------------------------------------------------

struct Directive {
  vl_wchar fill = ' ';
  bool no_group = false, plus = false, no_symbol = false, left = false;
  int32_t width = 0, left_precision = -1, right_precision = -1;
  vl_wchar conversion = 0;
};

int32_t read_digits(vl_locale_t *h, const vl_wchar *&p) {
  int64_t v = 0;
  for (; is_digit(h, *p); ++p) {
    v = v * 10 + (static_cast<int64_t>(*p) - '0');
    if (v > kText * 4) v = kText * 4;  // beyond any text the formatter can make
  }
  return static_cast<int32_t>(v);
}

// Reads a directive behind '%'; the working layout takes the + and ( flags.
void read_directive(vl_locale_t *h, const vl_wchar *&p, Directive &d, Layout &lay) {
  for (;; ++p) {
    const vl_wchar c = *p;
    if (!c) break;
    if (low_byte_is(c, '=') && p[1]) {
      d.fill = *++p;
    } else if (low_byte_is(c, '^')) {
      d.no_group = true;
    } else if (low_byte_is(c, '+')) {
      d.plus = true;
      if (lay.p_sign_posn == 0) lay.p_sign_posn = 1;
      if (lay.n_sign_posn == 0) lay.n_sign_posn = 1;
    } else if (low_byte_is(c, '(')) {
      lay.n_sign_posn = 0;
    } else if (low_byte_is(c, '!')) {
      d.no_symbol = true;
    } else if (low_byte_is(c, '-')) {
      d.left = true;
    } else {
      break;
    }
  }
  d.width = read_digits(h, p);
  if (low_byte_is(*p, '#')) d.left_precision = read_digits(h, ++p);
  if (low_byte_is(*p, '.')) d.right_precision = read_digits(h, ++p);
  d.conversion = *p;
  if (*p) ++p;
}

// Splits a "%f" text (sign dropped) into its integer digits and rp
// fraction digits, rounded half up on the digit at index rp, which goes;
// true when the rounding carries out of the integer digits. `right` holds
// rp + 1 characters.
bool split_rounded(const char *text, int32_t rp, char *left, int &ln, char *right) {
  const char *p = text + (*text == '-');
  int rn = 0;
  ln = 0;
  while (*p >= '0' && *p <= '9') left[ln++] = *p++;
  if (ln == 0) left[ln++] = '0';
  if (*p == '.') ++p;
  while (*p >= '0' && *p <= '9' && rn < rp + 1) right[rn++] = *p++;
  while (rn < rp + 1) right[rn++] = '0';
  bool carry = right[rp] >= '5';
  for (int i = rp - 1; carry && i >= 0; --i) carry = (right[i] = right[i] == '9' ? '0' : right[i] + 1) == '0';
  for (int i = ln - 1; carry && i >= 0; --i) carry = (left[i] = left[i] == '9' ? '0' : left[i] + 1) == '0';
  return carry;
}

// Symbol and sign texts longer than 127 characters take a heap block in the
// layout; the error number 3 is stored then, and the work goes on.
void note_long(vl_locale_t *h, size_t length) {
  if (length > static_cast<size_t>(kLongText)) vls::set_error(h, VL_ENOMEM);
}

// The number text of a value: "%f" split into integer and fraction digits,
// rounded at the right precision, grouped and filled.
bool number_text(vl_locale_t *h, double value, const Directive &d, int32_t rp, Text &out) {
  char text[kText];
  if (const int n = vls::fixed_text(value, 6, text)) {  // the digits "%f" gives, made directly
    text[n] = 0;
  } else if (std::isfinite(value)) {
    const auto r = std::to_chars(text, text + sizeof text - 1, value, std::chars_format::fixed, 6);
    if (r.ec != std::errc()) return false;
    *r.ptr = 0;
  } else if (snprintf(text, sizeof text, "%f", value) >= static_cast<int>(sizeof text)) {
    return false;
  }
  char left[kText + 2], right[kText + 2];
  int ln = 0;
  const bool carry = split_rounded(text, rp, left, ln, right);
  const int rn = rp;
  Text num;
  if (carry) num.put('1');
  for (int i = 0; i < ln; ++i) num.c[num.n + i] = static_cast<unsigned char>(left[i]);  // far below the room
  num.n += ln;
  // Integer digits of more than 127 characters are widened through a heap
  // block, which stores the error number 3 and goes on.
  note_long(h, static_cast<size_t>(num.n));
  const vl_wchar *point = h->nmm.mon_decimal_point.wc;
  const int plen = static_cast<int>(wlen(point));
  if (rp != 0 && num.n + plen < kText) num.append(point, plen);
  if (!d.no_group) add_groups(h, num, rp);
  Text &filled = out;
  filled.clear();
  if (d.left_precision >= 0) {
    int fill = d.left_precision + (d.no_group ? 0 : group_count(h, d.left_precision)) - num.n + (rp != 0 ? 1 : 0);
    for (; fill > 0; --fill) filled.put(d.fill);
    if (filled.n + num.n < kText) filled.append(num);
  } else {
    filled = num;
  }
  if (filled.n + num.n < kText)
    for (int i = 0; i < rn; ++i) filled.put(static_cast<unsigned char>(right[i]));
  return true;
}

// ---- byte path -------------------------------------------------------------------------

// A short byte text of the byte path.
struct Bytes {
  char c[kText];
  int n = 0;
  void put(char v) { c[n++] = v; }
  void append(const char *s, int count) {
    memcpy(c + n, s, static_cast<size_t>(count));
    n += count;
  }
};

// Texts of the locale no longer than this take the byte path; the number
// and its groups then fit the byte texts many times over.
constexpr int kShortText = 16;

// The bytes of a short locale text whose characters narrow to bytes of
// their own value (in a multibyte locale: ASCII characters that are whole
// characters there); false for anything else.
bool narrow_short(const vl_wchar *w, const unsigned char *own, char *to, int *length) {
  int n = 0;
  for (; w && w[n]; ++n) {
    const vl_wchar v = w[n];
    if (n >= kShortText || (own && (v >= 0x80u || own[v] != VL_MULTI_COMPLETE))) return false;
    to[n] = static_cast<char>(v);
  }
  *length = n;
  return true;
}

// vl_mbsfmon's result, written straight as bytes, for the requests most
// callers make: directives without a width, a left precision or a fill,
// values below 2^32, short locale texts, and a result that fits. It gives
// exactly what formatting wide and narrowing gives; for anything else it
// returns false and the caller takes that road (nothing it wrote counts,
// and the arguments are read again from the start).
bool money_bytes(vl_locale_t *h, char *out, int32_t size, const char *format, const unsigned char *own, va_list args,
                 int *result) {
  const vl_nmm_block &m = h->nmm;
  Layout lay{m.p_cs_precedes, m.n_cs_precedes, m.p_sep_by_space, m.n_sep_by_space, m.p_sign_posn, m.n_sign_posn};
  char sep[kShortText], point[kShortText];
  int seplen = 0, plen = 0;
  if (!narrow_short(m.thousands_sep.wc, own, sep, &seplen) || !narrow_short(m.mon_decimal_point.wc, own, point, &plen))
    return false;
  for (int i = 0; i < plen; ++i)
    if (point[i] >= '0' && point[i] <= '9') return false;  // would read as digits of the number
  int32_t count = 0;
  if (size < 1) return false;
  for (const char *p = format; *p;) {
    if (*p != '%' || p[1] == '%') {
      if (count + 2 > size) return false;
      out[count++] = *p;
      p += *p == '%' ? 2 : 1;
      continue;
    }
    ++p;
    bool no_group = false, plus = false, no_symbol = false;
    for (;; ++p) {
      const char c = *p;
      if (c == '^') {
        no_group = true;
      } else if (c == '+') {
        plus = true;
        if (lay.p_sign_posn == 0) lay.p_sign_posn = 1;
        if (lay.n_sign_posn == 0) lay.n_sign_posn = 1;
      } else if (c == '(') {
        lay.n_sign_posn = 0;
      } else if (c == '!') {
        no_symbol = true;
      } else if (c != '-') {  // left alignment means nothing without a width
        break;
      }
    }
    if (*p == '=' || *p == '#' || is_digit(h, static_cast<unsigned char>(*p))) return false;
    int32_t rp = -1;
    if (*p == '.') {
      int64_t v = 0;
      for (++p; is_digit(h, static_cast<unsigned char>(*p)); ++p) {
        v = v * 10 + (static_cast<unsigned char>(*p) - '0');
        if (v > kText * 4) v = kText * 4;
      }
      rp = static_cast<int32_t>(v);
    }
    const bool intl = *p == 'i';
    if (!intl && *p != 'n') return false;
    ++p;
    const double value = va_arg(args, double);
    if (rp < 0) rp = intl ? m.int_frac_digits : m.frac_digits;
    if (rp < 0) rp = 2;
    // A decimal point of other than one character is grouped as the wide
    // formatter groups it.
    if (rp != 0 && plen != 1) return false;
    char text[kText];
    const int tn = rp > 20 ? 0 : vls::fixed_text(value, 6, text);
    if (tn == 0) return false;
    text[tn] = 0;
    // The number: "%f" digits rounded at the right precision, as the wide
    // formatter makes them.
    char left[24], right[24];
    int ln = 0;
    const bool carry = split_rounded(text, rp, left, ln, right);
    char digits[24];
    int dn = 0;
    if (carry) digits[dn++] = '1';
    memcpy(digits + dn, left, static_cast<size_t>(ln));
    dn += ln;
    // Grouped from the right as the wide formatter groups.
    Bytes number;
    {
      char scratch[kText];
      int at = kText;
      const Groups gr{m.mon_grouping};
      int index = 1, gsize = (!no_group && gr.g[0] >= 1) ? gr.size(1) : 0, pos = 0;
      for (int i = dn - 1; i >= 0; --i) {
        if (gsize >= 1 && pos == gsize) {
          at -= seplen;
          memcpy(scratch + at, sep, static_cast<size_t>(seplen));
          if (index < gr.g[0]) gsize = gr.size(++index);
          pos = 0;
        }
        scratch[--at] = digits[i];
        ++pos;
      }
      number.append(scratch + at, kText - at);
    }
    if (rp != 0) number.append(point, plen);
    number.append(right, rp);
    // The layout of the value's sign.
    const bool positive = value >= 0.0;
    char symbol[kShortText], sign[kShortText];
    int symbol_len = 0, sign_len = 0;
    const vl_wchar *wsymbol = no_symbol ? nullptr : (intl ? m.int_curr_symbol.wc : m.currency_symbol.wc);
    const vl_wchar *wsign = positive ? (plus ? m.positive_sign.wc : nullptr) : m.negative_sign.wc;
    if (!narrow_short(wsymbol, own, symbol, &symbol_len) || !narrow_short(wsign, own, sign, &sign_len)) return false;
    const int32_t *mask = positive ? mask_of(lay.p_cs_precedes, lay.p_sign_posn, lay.p_sep_by_space)
                                   : mask_of(lay.n_cs_precedes, lay.n_sign_posn, lay.n_sep_by_space);
    Bytes done, ahead;
    bool behind = false;
    for (int i = 0; mask[i] != kEnd; ++i) {
      Bytes &to = behind ? done : ahead;
      switch (mask[i]) {
        case kOpen: to.put('('); break;
        case kSymbol: to.append(symbol, wsymbol ? symbol_len : 0); break;
        case kSign: to.append(sign, wsign ? sign_len : 0); break;
        case kClose: to.put(')'); break;
        case kBlank:
          if (behind || !(blank_before_number(mask, i) && is_blank(h, static_cast<unsigned char>(number.c[0]))))
            to.put(' ');
          break;
        case kNumber:
          done.append(ahead.c, ahead.n);
          done.append(number.c, number.n);
          behind = true;
          break;
        default: break;
      }
    }
    if (count + done.n + 1 > size) return false;
    memcpy(out + count, done.c, static_cast<size_t>(done.n));
    count += done.n;
  }
  const int32_t min = vl_mb_loc_min(h);
  if (count + static_cast<int64_t>(min) > size) return false;
  if (own)
    for (int i = 0; i < count; ++i) {
      const unsigned char b = static_cast<unsigned char>(out[i]);
      if (b >= 0x80u || own[b] != VL_MULTI_COMPLETE) return false;
    }
  vls::terminate(out + count, min);
  *result = count;
  return true;
}

}  // namespace

extern "C" {

VLS_API int mon_mask(int32_t *mask, int32_t cs_precedes, int32_t sign_posn, int32_t sep_by_space) {
  for (int i = 0; i < 7; ++i) mask[i] = kEnd;
  const int32_t *row = mask_of(cs_precedes, sign_posn, sep_by_space);
  if (row == kNoMask) return -1;
  for (int k = 0; k < 6; ++k) mask[k] = row[k];
  return 0;
}

VLS_API int vl_wcsfmon1(vl_locale_t *h, vl_wchar *out, int32_t size, const vl_wchar *format, va_list args) {
  if (!h) return -1;
  if (!out || !format) return fail(h, VL_EBADPTR);
  const vl_nmm_block &m = h->nmm;
  Layout lay{m.p_cs_precedes, m.n_cs_precedes, m.p_sep_by_space, m.n_sep_by_space, m.p_sign_posn, m.n_sign_posn};
  vls::Columns cw(h);
  int32_t count = 0;
  if (size < 1) return fail(h, VL_E2BIG);
  for (const vl_wchar *p = format; *p;) {
    if (*p != '%' || p[1] == '%') {
      if (count + 2 > size) return fail(h, VL_E2BIG);
      out[count++] = *p;
      p += *p == '%' ? 2 : 1;
      continue;
    }
    ++p;
    Directive d;
    read_directive(h, p, d, lay);
    const bool intl = low_byte_is(d.conversion, 'i');
    if (!intl && !low_byte_is(d.conversion, 'n')) return fail(h, VL_ENOTSUP);
    const double value = va_arg(args, double);
    int32_t rp = d.right_precision;
    if (rp < 0) rp = intl ? m.int_frac_digits : m.frac_digits;
    if (rp == -1 || rp < 0) rp = 2;
    if (rp > kText - 8) rp = kText - 8;  // beyond any text the formatter keeps
    Text number;
    if (!number_text(h, value, d, rp, number)) return fail(h, VL_E2BIG);
    const vl_wchar *symbol = d.no_symbol ? nullptr : (intl ? m.int_curr_symbol.wc : m.currency_symbol.wc);
    const int32_t *pos = mask_of(lay.p_cs_precedes, lay.p_sign_posn, lay.p_sep_by_space);
    const int32_t *neg = mask_of(lay.n_cs_precedes, lay.n_sign_posn, lay.n_sep_by_space);
    const vl_wchar *num = number.z();
    int before = -1, after = -1;
    if (d.left_precision >= 0) {
      const int bp = before_width(h, cw, pos, symbol, m.positive_sign.wc, num);
      const int bn = before_width(h, cw, neg, symbol, m.negative_sign.wc, num);
      const int ap = after_width(cw, pos, symbol, m.positive_sign.wc);
      const int an = after_width(cw, neg, symbol, m.negative_sign.wc);
      before = bp > bn ? bp : bn;
      after = ap > an ? ap : an;
    }
    const bool positive = value >= 0.0;
    const vl_wchar *sign = positive ? (d.plus ? m.positive_sign.wc : nullptr) : m.negative_sign.wc;
    const size_t symbol_len = wlen(symbol), sign_len = wlen(sign);
    note_long(h, symbol_len);
    note_long(h, sign_len);
    Text result;
    format_money(h, cw, result, positive ? pos : neg, before, after, symbol, static_cast<int>(symbol_len), sign,
                 static_cast<int>(sign_len), num, number.n);
    const int blanks = d.width - columns(cw, result.z());
    if (blanks > 0 && blanks + result.n < kText) {
      Text field;
      if (!d.left)
        for (int k = 0; k < blanks; ++k) field.put(' ');
      field.append(result);
      if (d.left)
        for (int k = 0; k < blanks; ++k) field.put(' ');
      result = field;
    }
    if (count + result.n + 1 > size) return fail(h, VL_E2BIG);
    memcpy(out + count, result.c, sizeof(vl_wchar) * static_cast<size_t>(result.n));
    count += result.n;
  }
  out[count] = 0;
  return count;
}

VLS_API int vl_wcsfmon(vl_locale_t *h, vl_wchar *out, int32_t size, const vl_wchar *format, ...) {
  va_list ap;
  va_start(ap, format);
  const int r = vl_wcsfmon1(h, out, size, format, ap);
  va_end(ap);
  return r;
}

VLS_API int vl_mbsfmon(vl_locale_t *h, char *out, int32_t size, const char *format, ...) {
  if (!h) return -1;
  if (!out || !format) return fail(h, VL_EBADPTR);
  if (size >= 0 && static_cast<int64_t>(size) + 1 <= kOutStack) {
    // A short format of bytes that are characters of their own value
    // widens in place; the narrowing below is _vl_get_mbstring's, done
    // here while every character is a byte of its own value.
    const unsigned char *own = nullptr;
    bool direct = !_vlu_active(h, VL_LC_CTYPE);
    if (direct && h->single_byte) direct = h->mbstowcs_fn == _vl_is_mbstowcs;
    else if (direct) direct = h->mbstowcs_fn == _vl_im_mbstowcs && (own = vls::direct_bytes(h)) != nullptr;
    if (direct) {
      int r = 0;
      va_list ap;
      va_start(ap, format);
      const bool done = money_bytes(h, out, size, format, own, ap, &r);
      va_end(ap);
      if (done) return r;
    }
    vl_wchar wfmt[kArgStack];
    for (int32_t i = 0; direct; ++i) {
      const unsigned c = static_cast<unsigned char>(format[i]);
      if (i >= kArgStack || (own && (c >= 0x80u || own[c] != VL_MULTI_COMPLETE))) direct = false;
      else if (!(wfmt[i] = c)) break;
    }
    if (direct) {
      vl_wchar wout[kOutStack];
      va_list ap;
      va_start(ap, format);
      const int r = vl_wcsfmon1(h, wout, size, wfmt, ap);
      va_end(ap);
      if (r < 0) return -1;
      const int32_t min = vl_mb_loc_min(h);
      if (r + static_cast<int64_t>(min) > size) return _vl_get_mbstring(h, out, wout, size);
      for (int i = 0; i < r; ++i) {
        const vl_wchar v = wout[i];
        if (own && (v >= 0x80u || own[v] != VL_MULTI_COMPLETE)) return _vl_get_mbstring(h, out, wout, size);
        out[i] = static_cast<char>(v);
      }
      vls::terminate(out + r, min);
      return r;
    }
  }
  vls::WideArg<kArgStack> wfmt;
  if (wfmt.widen(h, format) != 0) return -1;
  vl_wchar local[kOutStack];
  vls::HostPtr<vl_wchar> heap;
  vl_wchar *wout = local;
  if (static_cast<int64_t>(size) + 1 > kOutStack) {
    heap.reset(vls::alloc_array<vl_wchar>(static_cast<size_t>(size > 0 ? size : 0) + 1));
    if (!heap) return fail(h, VL_ENOMEM);
    wout = heap.get();
  }
  va_list ap;
  va_start(ap, format);
  const int r = vl_wcsfmon1(h, wout, size, wfmt.get(), ap);
  va_end(ap);
  if (r < 0) return -1;
  return _vl_get_mbstring(h, out, wout, size);
}

// ---- parser ------------------------------------------------------------------------------

VLS_API int _vl_compare_wc_to_mb(vl_locale_t *h, const vl_wchar *wide, const char *mb) {
  if (!mb || !*mb) return 0;
  int matched = 0;
  const int32_t len = static_cast<int32_t>(strlen(mb));
  for (int32_t at = 0; at < len;) {
    vl_wchar w = 0;
    const int n = _kvx_vl_full_mbtowc(h, &w, mb + at, len - at);
    if (n <= 0) return matched;  // invalid: the count so far (0 at the start)
    if (!wide || wide[matched] != w) return -1;
    ++matched;
    at += n;
  }
  return matched;
}

VLS_API double vl_wcstod_num_mon(vl_locale_t *h, const vl_wchar *text, const vl_wchar **end, int32_t group,
                                 int32_t monetary) {
  const vl_nmm_block &m = h->nmm;
  const vl_wchar *neg = monetary ? m.negative_sign.wc : m.num_negative_sign.wc;
  const vl_wchar *plus = monetary ? m.positive_sign.wc : m.num_positive_sign.wc;
  const vl_wchar *point = monetary ? m.mon_decimal_point.wc : m.decimal_point.wc;
  const vl_wchar *seps[2] = {m.thousands_sep.wc, monetary ? m.mon_thousands_sep.wc : nullptr};
  auto starts = [](const vl_wchar *p, const vl_wchar *s) -> size_t {
    const size_t n = wlen(s);
    if (!n) return 0;
    for (size_t i = 0; i < n; ++i)
      if (p[i] != s[i]) return 0;
    return n;
  };
  const vl_wchar *p = text;
  if (end) *end = text;
  if (!text) return 0.0;
  while (is_space(h, *p)) ++p;
  char c[kText + 16];
  int n = 0;
  if (size_t k = starts(p, neg)) {
    p += k, c[n++] = '-';
  } else if (*p == '-') {
    ++p, c[n++] = '-';
  } else if (size_t k2 = starts(p, plus)) {
    p += k2;
  } else if (*p == '+') {
    ++p;
  }
  int digits = 0;
  for (;;) {
    if (is_digit(h, *p) && *p >= '0' && *p <= '9') {
      if (n < kText) c[n++] = static_cast<char>(*p);
      ++p, ++digits;
      continue;
    }
    // A group separator counts only between digits.
    size_t k = 0;
    for (const vl_wchar *s : seps) {
      if (!group || digits == 0 || k) break;
      k = starts(p, s);
      if (k && !is_digit(h, p[k])) k = 0;
    }
    if (!k) break;
    p += k;
  }
  if (size_t k = starts(p, point); k && (digits > 0 || is_digit(h, p[k]))) {
    p += k;
    c[n++] = '.';
    for (; is_digit(h, *p) && *p >= '0' && *p <= '9'; ++p, ++digits)
      if (n < kText) c[n++] = static_cast<char>(*p);
  }
  if (digits == 0) return 0.0;
  if ((*p == 'e' || *p == 'E') && (is_digit(h, p[1]) || ((p[1] == '+' || p[1] == '-') && is_digit(h, p[2])))) {
    c[n++] = 'e';
    ++p;
    if (*p == '+' || *p == '-') c[n++] = static_cast<char>(*p++);
    for (; is_digit(h, *p) && *p >= '0' && *p <= '9'; ++p)
      if (n < kText + 8) c[n++] = static_cast<char>(*p);
  }
  c[n] = '\0';
  if (end) *end = p;
  return strtod(c, nullptr);
}

VLS_API int mon_maskmatch(vl_locale_t *h, const int32_t *mask, uint32_t flags, const vl_wchar *sign,
                          const char *symbol, const vl_wchar *input, const vl_wchar **end, double *value) {
  const vl_wchar *p = input;
  bool found = false;
  for (int i = 0; i < 7 && mask[i] != kEnd && *p; ++i) {
    switch (mask[i]) {
      case kOpen:
      case kClose:
        if (*p != (mask[i] == kOpen ? '(' : ')')) return 0;
        ++p;
        break;
      case kSymbol: {
        if (!symbol) return 0;
        const int k = _vl_compare_wc_to_mb(h, p, symbol);
        if (k > 0) p += k;
        break;
      }
      case kNumber: {
        const vl_wchar *e = p;
        const double v = vl_wcstod_num_mon(h, p, &e, (flags & VL_FMT_GROUP) != 0, 1);
        if (e != p) {
          *value = v;
          found = v != 2147483647.0;
        }
        p = e;
        break;
      }
      case kSign: {
        if (!sign) break;
        const size_t n = wlen(sign);
        for (size_t k = 0; k < n; ++k)
          if (p[k] != sign[k]) return 0;
        p += n;
        break;
      }
      case kBlank:
        if (!is_space(h, *p)) return 0;
        ++p;
        break;
      default: break;
    }
  }
  if (!found) return 0;
  *end = p;
  return 1;
}

VLS_API const vl_wchar *vl_wcspmon1(vl_locale_t *h, const vl_wchar *input, const vl_wchar *format, va_list args) {
  if (!h) return nullptr;
  if (!input || !format) {
    vls::set_error(h, VL_EBADPTR);
    return nullptr;
  }
  const vl_nmm_block &m = h->nmm;
  const vl_wchar *in = input;
  for (const vl_wchar *f = format; *f;) {
    if (is_space(h, *f)) {
      while (is_space(h, *f)) ++f;
      while (is_space(h, *in)) ++in;
      continue;
    }
    if (*f != '%') {
      if (*in != *f) {
        vls::set_error(h, VL_EBADFORMAT);
        return nullptr;
      }
      ++f, ++in;
      continue;
    }
    if (f[1] == '%') {
      f += 2;
      if (*in) ++in;  // not compared
      continue;
    }
    ++f;
    vl_fmt_state st;
    _vl_init_format_state(&st);
    if (_vl_scan_format_modifiers(h, &f, &st, nullptr, nullptr) != 0) return nullptr;
    if (!*f) {
      vls::set_error(h, VL_EBADFORMAT);
      return nullptr;
    }
    if (!(st.flags & (VL_FMT_LEFT | VL_FMT_ZERO)))
      while (is_space(h, *in)) ++in;
    const bool intl = low_byte_is(*f, 'i');
    if (!intl && !low_byte_is(*f, 'n')) {
      vls::set_error(h, VL_EBADFORMAT);
      return nullptr;
    }
    ++f;
    const char *symbol = intl ? m.int_curr_symbol.mb : m.currency_symbol.mb;
    int32_t pos[7], neg[7];
    if (mon_mask(pos, m.p_cs_precedes, m.p_sign_posn, m.p_sep_by_space) != 0 ||
        mon_mask(neg, m.n_cs_precedes, m.n_sign_posn, m.n_sep_by_space) != 0)
      return nullptr;
    // With a width, the match works on a copy of the input as wide as it.
    vls::HostPtr<vl_wchar> copy;
    const vl_wchar *text = in;
    if (st.width > 0) {
      // (No more characters can be copied than the input holds.)
      const size_t room = wlen(in) < static_cast<size_t>(st.width) ? wlen(in) : static_cast<size_t>(st.width);
      copy.reset(vls::alloc_array<vl_wchar>(room + 1));
      if (!copy) {
        vls::set_error(h, VL_ENOMEM);
        return nullptr;
      }
      int n = 0, cols = 0;
      while (in[n] && cols < st.width && n < st.width) {
        const int w = vl_wcwidth(h, in[n]);
        cols += w > 0 ? w : 0;
        copy[n] = in[n];
        ++n;
      }
      copy[n] = 0;
      text = copy.get();
    }
    double pv = 0, nv = 0;
    const vl_wchar *pe = text, *ne = text;
    bool pm = mon_maskmatch(h, pos, st.flags, m.positive_sign.wc, symbol, text, &pe, &pv) == 1 && pv >= 0;
    bool nm = mon_maskmatch(h, neg, st.flags, m.negative_sign.wc, symbol, text, &ne, &nv) == 1 && nv >= 0;
    double *target = va_arg(args, double *);
    if (pm && nm) (ne - text > pe - text) ? (void)(pm = false) : (void)(nm = false);
    if (pm || nm) {
      if (target) *target = pm ? pv : -nv;
      in += (pm ? pe : ne) - text;
      continue;
    }
    static const vl_wchar kEmpty[1] = {0};
    if (mon_maskmatch(h, pos, st.flags, kEmpty, symbol, text, &pe, &pv) == 1 && pv >= 0) {
      if (target) *target = pv;
      return in + (pe - text);
    }
    vls::set_error(h, VL_EBADARG);
    return nullptr;
  }
  return in;
}

VLS_API const vl_wchar *vl_wcspmon(vl_locale_t *h, const vl_wchar *input, const vl_wchar *format, ...) {
  va_list ap;
  va_start(ap, format);
  const vl_wchar *r = vl_wcspmon1(h, input, format, ap);
  va_end(ap);
  return r;
}

VLS_API const char *vl_mbspmon(vl_locale_t *h, const char *input, const char *format, ...) {
  if (!h) return nullptr;
  if (!input || !format) {
    vls::set_error(h, VL_EBADPTR);
    return nullptr;
  }
  vls::WideArg<kArgStack> win, wfmt;
  if (win.widen(h, input) != 0 || wfmt.widen(h, format) != 0) return nullptr;
  va_list ap;
  va_start(ap, format);
  const vl_wchar *stop = vl_wcspmon1(h, win.get(), wfmt.get(), ap);
  va_end(ap);
  if (!stop) return nullptr;
  const int32_t ilen = static_cast<int32_t>(strlen(input));
  // As many characters of the multibyte input as the parser consumed.
  const char *p = input;
  for (long k = stop - win.get(); k > 0 && *p; --k) {
    const int n = _kvx_vl_full_mbtowc(h, nullptr, p, static_cast<int32_t>(input + ilen - p));
    p += n > 0 ? n : 1;
  }
  return p;
}

}  // extern "C"
