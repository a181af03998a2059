// The service groups run on a loaded handle; see services.h.
//
// Every buffer the library writes into is sized the way a caller of the
// documented interface sizes it (the byte counts the library reports,
// vl_mb_loc_max for one character, vl_case_conv_outbuflen for case), and
// lives on the heap with nothing behind it, so that a write past it is
// the library's fault and the sanitizer sees it. Strings end in zero
// bytes enough for one more character and the terminator, as a string of
// the codeset does.
#include "services.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include <vls/vlscat.h>
#include <vls/vlscoll.h>
#include <vls/vlsctype.h>
#include <vls/vlsio.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsmon.h>
#include <vls/vlsstr.h>
#include <vls/vlstime.h>
#include <vls/vlstmfmt.h>

namespace vlsfuzz {

Input split_input(const uint8_t *data, size_t size) {
  Input in;
  if (size < 2) {
    in.rest = data;
    in.rest_size = size;
    return in;
  }
  size_t n = data[0];
  if (n > size - 2) n = size - 2;
  in.text = data + 2;
  in.text_size = n;
  in.split = data[1] % (n + 1);
  in.rest = data + 2 + n;
  in.rest_size = size - 2 - n;
  return in;
}

namespace {

constexpr int32_t kMaxChar = 4;        // longest character of any codeset
constexpr int32_t kMaxBuffer = 1 << 20;  // sizes a caller would not allocate
constexpr int kMaxSteps = 600;         // bound of every walk the harness drives

// A string of the text: its bytes and the zero bytes behind them.
struct Str {
  std::vector<char> buf;
  int32_t n = 0;  // the bytes of the text, the counted length
  char *p() { return buf.data(); }
  const char *end() const { return buf.data() + buf.size(); }
  bool holds(const void *q) const {
    const char *c = static_cast<const char *>(q);
    return c >= buf.data() && c <= end();
  }
};

struct Ctx {
  vl_locale_t *h;
  int32_t lmin, lmax;     // the codeset's character lengths as the handle reports them
  int32_t one;            // bytes of one character's buffer: vl_mb_loc_max
  Str a, b, all;
  std::vector<vl_wchar> values;  // wide values: A's characters and values chosen by B
};

Str make_str(const uint8_t *bytes, size_t n, size_t pad) {
  Str s;
  s.buf.assign(n + pad, 0);
  if (n) memcpy(s.buf.data(), bytes, n);
  s.n = static_cast<int32_t>(n);
  return s;
}

// A heap buffer of exactly `size` bytes (one at least) holding `from`.
std::vector<char> target(int32_t size, const char *from = nullptr, int32_t from_size = 0) {
  std::vector<char> t(size > 0 ? static_cast<size_t>(size) : 1, 0);
  if (from && from_size > 0) memcpy(t.data(), from, static_cast<size_t>(from_size));
  return t;
}

bool sane_size(int32_t n) { return n > 0 && n <= kMaxBuffer; }

void touch(const char *s) {
  if (s) (void)strlen(s);
}
void touch(const vl_wchar *w) {
  if (!w) return;
  size_t n = 0;
  while (w[n]) ++n;
}

// ---- lengths, walking, terminators, widths ------------------------------

void lengths(Ctx &c) {
  vl_locale_t *h = c.h;
  vl_mb_loc_max(h);
  vl_mb_loc_min(h);
  for (Str *s : {&c.a, &c.b, &c.all}) {
    char *p = s->p();
    vl_mbsbytes(h, p);
    vl_mbsbytes_nt(h, p);
    _vl_im_mbslen(h, p);
    _kvx_vl_im_mbfslen(h, p, s->n);
    _kvx_vl_im_mbfslen(h, p, -1);
    vl_mbwidth(h, p);
    vl_mbswidth(h, p, 1000);
    vl_mbspwidth(h, p, p + s->n);
    char *next = vl_full_mbsnext(h, p);
    if (next) check(s->holds(next));
    next = _kvx_vl_full_mbsnext(h, p, s->n);
    if (next) check(s->holds(next));
    int count = _vl_im_mbslen(h, p);
    if (count >= 0) {
      char *q = vl_full_getmbsi(h, p, count);
      if (q) check(s->holds(q));
      q = vl_full_getmbsi(h, p, count / 2);
      if (q) check(s->holds(q));
    }
    char *q = vl_getmbsinull(h, p, 1000);
    if (q) check(s->holds(q));
    if (s->n > 0) {
      q = vl_full_mbsprev(h, p, p + s->n);
      if (q) check(s->holds(q));
      q = vl_full_mbsprev(h, p, p + s->n / 2 + 1);
      if (q) check(s->holds(q));
    }
  }
  // Character by character, and from every byte on a failure.
  Str &s = c.all;
  int32_t pos = 0;
  for (int i = 0; i < kMaxSteps && pos < s.n; ++i) {
    char *p = s.p() + pos;
    const int32_t avail = static_cast<int32_t>(s.buf.size()) - pos;
    int r = vl_full_mblen(h, p, avail);
    _kvx_vl_full_mblen(h, p, s.n - pos);
    vl_ismbsterm(h, p);
    pos += r > 0 ? r : 1;
  }
}

// ---- the string family --------------------------------------------------

void copies(Ctx &c) {
  vl_locale_t *h = c.h;
  const int32_t la = c.a.n, lb = c.b.n;
  const int32_t ba = vl_mbsbytes(h, c.a.p()), bb = vl_mbsbytes(h, c.b.p());
  const int32_t n = static_cast<int32_t>(c.b.n % 7);
  // NUL-terminated: the target holds A and room for B and one terminator.
  if (sane_size(ba) && sane_size(bb)) {
    std::vector<char> t = target(ba + bb, c.a.p(), ba);
    char *r = vl_full_mbscat(h, t.data(), c.b.p());
    if (r) check(r == t.data());
    t = target(ba + bb, c.a.p(), ba);
    _kvx_vl_mbscat(h, t.data(), -1, c.b.p(), -1);
    t = target(ba + bb, c.a.p(), ba);
    vl_mbsncat(h, t.data(), c.b.p(), n);
    t = target(ba + bb, c.a.p(), ba);
    _kvx_vl_mbsncat(h, t.data(), -1, c.b.p(), -1, n);
    if (h->single_byte) {
      t = target(ba + bb, c.a.p(), ba);
      vl_mbscat(h, t.data(), c.b.p());
    }
  }
  if (sane_size(bb)) {
    std::vector<char> t = target(bb);
    vl_full_mbscpy(h, t.data(), c.b.p());
    t = target(bb);
    _kvx_vl_mbscpy(h, t.data(), c.b.p(), -1);
    t = target(bb);
    vl_mbsncpy(h, t.data(), c.b.p(), n);
    t = target(bb);
    _kvx_vl_mbsncpy(h, t.data(), c.b.p(), -1, n);
    if (h->single_byte) {
      t = target(bb);
      vl_mbscpy(h, t.data(), c.b.p());
    }
  }
  // Counted: the target holds exactly the bytes of A and B.
  std::vector<char> t = target(la + lb, c.a.p(), la);
  _kvx_vl_mbscat(h, t.data(), la, c.b.p(), lb);
  t = target(la + lb, c.a.p(), la);
  _kvx_vl_mbsncat(h, t.data(), la, c.b.p(), lb, n);
  t = target(lb);
  _kvx_vl_mbscpy(h, t.data(), c.b.p(), lb);
  t = target(lb);
  _kvx_vl_mbsncpy(h, t.data(), c.b.p(), lb, n);
  // One character of A replaced by B's first; room for the longest growth.
  const int count = _vl_im_mbslen(h, c.a.p());
  if (count > 0 && sane_size(ba) && _vl_im_mbslen(h, c.b.p()) > 0) {
    t = target(ba + c.one, c.a.p(), ba);
    vl_full_putmbsi(h, t.data(), c.b.n % count, c.b.p());
  }
}

void searches(Ctx &c) {
  vl_locale_t *h = c.h;
  char *a = c.a.p(), *b = c.b.p();
  const int32_t la = c.a.n, lb = c.b.n;
  auto in_a = [&c](const void *r) {
    if (r) check(c.a.holds(r));
  };
  in_a(vl_full_mbschr(h, a, b));
  in_a(_kvx_vl_mbschr(h, a, la, b, lb));
  in_a(_kvx_vl_mbschr(h, a, -1, b, -1));
  in_a(vl_full_mbsrchr(h, a, b));
  in_a(_kvx_vl_mbsrchr(h, a, la, b, lb));
  in_a(_kvx_vl_mbsrchr(h, a, -1, b, -1));
  vl_full_mbsspn(h, a, b);
  vl_full_mbscspn(h, a, b);
  _kvx_vl_mbsspn(h, a, la, b, lb);
  _kvx_vl_mbscspn(h, a, la, b, lb);
  _kvx_vl_mbsspn(h, a, -1, b, -1);
  _kvx_vl_mbscspn(h, a, -1, b, -1);
  in_a(vl_full_mbspbrk(h, a, b));
  in_a(_kvx_vl_mbspbrk(h, a, la, b, lb));
  in_a(_kvx_vl_mbspbrk(h, a, -1, b, -1));
  in_a(vl_full_mbsmbs(h, a, b));
  in_a(_kvx_vl_mbsmbs(h, a, la, b, lb));
  in_a(_kvx_vl_mbsmbs(h, a, -1, b, -1));
}

void trailing_blanks(Ctx &c) {
  vl_locale_t *h = c.h;
  for (Str *s : {&c.a, &c.all}) {
    char *p = s->p();
    vl_mbsntslen(h, p);
    _kvx_vl_mbsntslen(h, p, s->n);
    _kvx_vl_mbsntslen(h, p, -1);
    vl_mbsntsbytes(h, p);
    _kvx_vl_mbsntsbytes(h, p, s->n);
    _kvx_vl_mbsntsbytes(h, p, -1);
    char *r = vl_mbsp(h, p);
    if (r) check(s->holds(r));
    std::vector<char> copy(s->buf);
    vl_mbsntstrunc(h, copy.data());
  }
}

// ---- case -------------------------------------------------------------------

void case_conv(Ctx &c) {
  vl_locale_t *h = c.h;
  for (Str *s : {&c.a, &c.all}) {
    const int32_t bytes = vl_mbsbytes_nt(h, s->p());
    if (bytes < 0) continue;
    const int32_t need = vl_case_conv_outbuflen(h, bytes);
    if (need < 0 || need > kMaxBuffer) continue;
    std::vector<char> t = target(need + c.lmin);  // the caller adds the terminator
    int r = vl_tombsupper(h, t.data(), s->p());
    if (r >= 0) check(r <= need);
    t = target(need + c.lmin);
    r = vl_tombslower(h, t.data(), s->p());
    if (r >= 0) check(r <= need);
  }
  // One character at a time into a buffer of one character.
  Str &s = c.all;
  int32_t pos = 0;
  for (int i = 0; i < kMaxSteps && pos < s.n; ++i) {
    char *p = s.p() + pos;
    std::vector<char> t = target(c.one);
    _vl_im_tomupper(h, t.data(), p);
    t = target(c.one);
    _vl_im_tomlower(h, t.data(), p);
    t = target(c.one);
    im_tomlower(h, t.data(), p);
    t = target(c.one);
    _kvx_vl_im_tomupper(h, t.data(), p, s.n - pos);
    t = target(c.one);
    _kvx_vl_im_tomlower(h, t.data(), p, s.n - pos);
    int r = vl_full_mblen(h, p, static_cast<int32_t>(s.buf.size()) - pos);
    pos += r > 0 ? r : 1;
  }
  // Wide values and wide strings.
  for (vl_wchar v : c.values) {
    _vl_im_towupper(h, v);
    _vl_im_towlower(h, v);
    im_towlower(h, v);
  }
  std::vector<vl_wchar> w(c.values);
  w.push_back(0);
  std::vector<vl_wchar> t(w.size(), 0);
  vl_towcsupper(h, t.data(), w.data());
  vl_towcslower(h, t.data(), w.data());
}

// ---- classes ------------------------------------------------------------------

const char *const kClassNames[] = {"alpha", "lower", "upper", "digit", "xdigit", "alnum", "blank",
                                   "space", "punct", "graph", "print", "cntrl", "full_width", ""};

void classes(Ctx &c) {
  vl_locale_t *h = c.h;
  std::vector<uint32_t> masks = {0xFFFFFFFFu};
  for (const char *name : kClassNames) masks.push_back(vl_ctype(h, name));
  const ctype_category &ct = h->ctype;
  if (ct.class_names) {
    for (int32_t i = 0; i < ct.class_count && i < 64; ++i)
      if (ct.class_names[i].name) masks.push_back(vl_ctype(h, ct.class_names[i].name));
  }
  masks.push_back(vl_ctype(h, c.b.p()));
  for (vl_wchar v : c.values) {
    for (uint32_t m : masks) {
      _vl_im_iswctype(h, v, m);
      im_iswctype(h, v, m);
    }
    vl_wcwidth(h, v);
  }
  Str &s = c.all;
  int32_t pos = 0;
  for (int i = 0; i < kMaxSteps && pos < s.n; ++i) {
    char *p = s.p() + pos;
    for (uint32_t m : masks) {
      _vl_im_ismctype(h, p, m);
      im_ismctype(h, p, m);
      _kvx_vl_im_ismctype(h, p, s.n - pos, m);
    }
    vl_mbwidth(h, p);
    int r = vl_full_mblen(h, p, static_cast<int32_t>(s.buf.size()) - pos);
    pos += r > 0 ? r : 1;
  }
}

// ---- wide conversion -------------------------------------------------------

void wide(Ctx &c) {
  vl_locale_t *h = c.h;
  for (Str *s : {&c.a, &c.all}) {
    char *p = s->p();
    // Capacity above the longest count: a character has a byte at least.
    const int32_t cap = s->n + 2;
    std::vector<vl_wchar> w(static_cast<size_t>(cap), 0);
    if (h->mbstowcs_fn) h->mbstowcs_fn(h, w.data(), p, cap);
    if (h->mbfstowcfs_fn) h->mbfstowcfs_fn(h, w.data(), p, s->n, cap);
    _vl_im_mbstowcs(h, w.data(), p, cap);
    _kvx_vl_im_mbfstowcfs(h, w.data(), p, s->n, cap);
    _kvx_vl_im_mbfstowcfs(h, w.data(), p, -1, cap);
    _vl_is_mbstowcs(h, w.data(), p, cap);
    _kvx_vl_is_mbfstowcfs(h, w.data(), p, s->n, cap);
    // A small capacity: the buffer holds exactly that many values.
    for (int32_t small = 1; small <= 2; ++small) {
      std::vector<vl_wchar> x(static_cast<size_t>(small), 0);
      if (h->mbstowcs_fn) h->mbstowcs_fn(h, x.data(), p, small);
      if (h->mbfstowcfs_fn) h->mbfstowcfs_fn(h, x.data(), p, s->n, small);
    }
  }
  // Each character of the text, by value.
  Str &s = c.all;
  int32_t pos = 0;
  for (int i = 0; i < kMaxSteps && pos < s.n; ++i) {
    char *p = s.p() + pos;
    vl_wchar v = 0;
    int r = vl_full_mbtowc(h, &v, p, static_cast<int32_t>(s.buf.size()) - pos);
    _kvx_vl_full_mbtowc(h, &v, p, -1);
    _kvx_vl_full_mbtowc(h, &v, p, s.n - pos);
    pos += r > 0 ? r : 1;
  }
  // Values to bytes: one character into a buffer of one character, and
  // whole wide strings into targets of the capacity they are given.
  for (vl_wchar v : c.values) {
    std::vector<char> t = target(c.one);
    vl_full_wctomb(h, t.data(), v);
    vl_wclen(h, v);
  }
  std::vector<vl_wchar> w(c.values);
  w.push_back(0);
  const int32_t count = static_cast<int32_t>(c.values.size());
  const int32_t cap = count * c.one + c.lmin;
  for (int32_t size : {cap, 1, 3, c.one + c.lmin}) {
    std::vector<char> t = target(size);
    vl_full_wcstombs(h, t.data(), w.data(), size);
    t = target(size);
    _kvx_vl_full_wcstombs(h, t.data(), w.data(), count, size);
    t = target(size);
    _vl_is_wcstombs(h, t.data(), w.data(), size);
    t = target(size);
    is_wcstombs(h, t.data(), w.data(), size);
    t = target(size);
    _kvx_vl_is_wcstombs(h, t.data(), w.data(), count, size);
  }
  vl_wcswidth(h, w.data(), count);
  vl_wcspwidth(h, w.data(), w.data() + count);
  vl_wcsntslen(h, w.data());
  _kvx_vl_wcsntslen(h, w.data(), count);
  std::vector<vl_wchar> copy(w);
  vl_wcsntstrunc(h, copy.data());
  int32_t len = 0;
  vl_wchar *made = vl_mbstowcslen(h, c.a.p(), &len);
  if (made) {
    check(len >= 0 && len <= c.a.n && made[len] == 0);
    _vl_free_ptr(made);
  }
}

// ---- streams -----------------------------------------------------------------

struct Cursor {
  const char *p;
  int32_t left;
};
int read_byte(void *arg) {
  auto *c = static_cast<Cursor *>(arg);
  if (c->left <= 0) return -1;
  --c->left;
  return static_cast<unsigned char>(*c->p++);
}
int write_byte(int, void *arg) {
  ++*static_cast<int *>(arg);
  return 0;
}

void streams(Ctx &c) {
  vl_locale_t *h = c.h;
  Str &s = c.all;
  // Reading: the text is the stream's contents.
  if (s.n > 0) {
    FILE *in = fmemopen(s.p(), static_cast<size_t>(s.n), "r");
    if (in) {
      for (int i = 0; i < kMaxSteps; ++i) {
        std::vector<char> t = target(c.one);
        if (vl_full_fgetmb(h, t.data(), in) < 0 && (feof(in) || ferror(in))) break;
      }
      rewind(in);
      for (int i = 0; i < kMaxSteps && vl_full_fgetwc(h, in) != -1; ++i) {
      }
      rewind(in);
      const int32_t size = s.n + c.lmin + c.one;
      for (int i = 0; i < kMaxSteps; ++i) {
        std::vector<char> t = target(size);
        if (!vl_fgetmbs(h, t.data(), size, in)) break;
      }
      rewind(in);
      for (int i = 0; i < kMaxSteps; ++i) {
        std::vector<vl_wchar> t(static_cast<size_t>(s.n + 2), 0);
        if (!vl_fgetwcs(h, t.data(), s.n + 2, in)) break;
      }
      fclose(in);
    }
  }
  Cursor cur{s.p(), s.n};
  for (int i = 0; i < kMaxSteps && cur.left > 0; ++i) {
    std::vector<char> t = target(c.one);
    int32_t got = 0;
    vl_getmb(h, t.data(), read_byte, &cur, &got);
  }
  // Writing: to a sink that counts.
  static FILE *sink = fopen("/dev/null", "w");
  if (!sink) return;
  vl_fputmbs(h, c.a.p(), sink);
  std::vector<vl_wchar> w(c.values);
  w.push_back(0);
  vl_fputwcs(h, w.data(), sink);
  for (vl_wchar v : c.values) vl_fputwc(h, v, sink);
  int32_t pos = 0;
  for (int i = 0; i < kMaxSteps && pos < s.n; ++i) {
    char *p = s.p() + pos;
    vl_fputmb(h, p, sink);
    int written = 0;
    int32_t len = 0;
    vl_putmb(h, p, s.n - pos, write_byte, &written, &len);
    vl_putmb(h, p, -1, write_byte, &written, &len);
    _kvx_vl_putmb(h, p, s.n - pos, write_byte, &written, &len);
    int r = vl_full_mblen(h, p, static_cast<int32_t>(s.buf.size()) - pos);
    pos += r > 0 ? r : 1;
  }
}

// ---- language information and conventions ----------------------------------

void info(Ctx &c) {
  vl_locale_t *h = c.h;
  for (int item = -2; item <= 80; ++item) {
    const char *s = vl_nl_langinfo(h, item);
    check(s != nullptr);
    touch(s);
  }
  vlconv *cv = vl_localeconv(h);
  if (cv) {
    for (const char *s : {cv->decimal_point, cv->thousands_sep, cv->grouping, cv->int_curr_symbol,
                          cv->currency_symbol, cv->mon_decimal_point, cv->mon_thousands_sep, cv->mon_grouping,
                          cv->positive_sign, cv->negative_sign, cv->num_positive_sign, cv->num_negative_sign})
      touch(s);
    for (const vl_wchar *w : {cv->w_decimal_point, cv->w_thousands_sep, cv->w_int_curr_symbol, cv->w_currency_symbol,
                              cv->w_mon_decimal_point, cv->w_mon_thousands_sep, cv->w_positive_sign,
                              cv->w_negative_sign, cv->w_num_positive_sign, cv->w_num_negative_sign})
      touch(w);
  }
  char names[311];
  query_locname(h, VL_LC_ALL, names, sizeof names);
  for (int cat = VL_LC_CTYPE; cat <= VL_LC_MESSAGES; ++cat) query_locname(h, cat, names, sizeof names);
  vl_get_era_count(h);
}

// ---- collation ------------------------------------------------------------------

void collation(Ctx &c) {
  vl_locale_t *h = c.h;
  if (h->mbscoll_fn) h->mbscoll_fn(h, c.a.p(), c.b.p());
  if (h->mbfscoll_fn) h->mbfscoll_fn(h, c.a.p(), c.a.n, c.b.p(), c.b.n);
  _vl_im_mbscoll(h, c.a.p(), c.b.p());
  if (h->mbsxfrm_fn) {
    // A key measured at capacity 0, then written into exactly that room
    // and into room for its terminator.
    const int32_t n = h->mbsxfrm_fn(h, nullptr, c.a.p(), 0);
    if (n >= 0 && n < kMaxBuffer) {
      for (int32_t size : {n, n + 1}) {
        std::vector<char> t = target(size);
        check(h->mbsxfrm_fn(h, t.data(), c.a.p(), size) == n);
      }
    }
  }
}

// ---- money ---------------------------------------------------------------------

int percents(const char *s) {
  int n = 0;
  for (; *s; ++s) n += *s == '%';
  return n;
}

// A as a money format (each directive takes a double; at most eight), then
// fixed formats on values from B; B parsed by A and by fixed formats. A
// result must fit the size it was given, exactly: measured at 256, written
// again into exactly the room for it and the codeset's terminator, and
// refused one byte shorter.
void money(Ctx &c) {
  vl_locale_t *h = c.h;
  double v[8];
  for (int i = 0; i < 8; ++i) {
    uint64_t bits = 0;
    const int32_t at = (i % 2) * 4;  // B may be shorter than eight bytes
    if (c.b.n > at) memcpy(&bits, c.b.p() + at, static_cast<size_t>(std::min<int32_t>(4, c.b.n - at)));
    v[i] = (i % 3 == 0) ? static_cast<double>(static_cast<int32_t>(bits)) / 100 : static_cast<double>(bits) * (i - 3.5);
  }
  auto fit = [&](const char *format) {
    if (percents(format) > 8) return;
    char probe[256];
    const int n = vl_mbsfmon(h, probe, sizeof probe, format, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]);
    const int32_t room = n + c.lmin;  // the text and the codeset's terminator
    if (n < 0 || room > 255) return;
    std::vector<char> t = target(room);
    check(vl_mbsfmon(h, t.data(), room, format, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]) == n);
    check(memcmp(t.data(), probe, static_cast<size_t>(n)) == 0);
    std::vector<char> s = target(room - 1);
    check(vl_mbsfmon(h, s.data(), room - 1, format, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]) == -1);
  };
  fit(c.a.p());
  for (const char *f : {"%n", "%i|%-12n|", "%=*#8.3n", "%(!+^20i", "%#3.0n %.9n"}) fit(f);
  double d[8];
  auto parse = [&](const char *input, const char *format) {
    if (percents(format) > 8) return;
    const char *end = vl_mbspmon(h, input, format, d, d + 1, d + 2, d + 3, d + 4, d + 5, d + 6, d + 7);
    check(!end || (end >= input && end <= input + strlen(input)));
  };
  parse(c.b.p(), c.a.p());
  for (const char *f : {"%n", "%'i", "%-'20n", "x %n"}) parse(c.b.p(), f);
}

// ---- time formats --------------------------------------------------------------

// A as a time format, and fixed formats, on a date made from B's bytes
// (sometimes out of range); each result written again into exactly its
// room and the codeset's terminator, and refused one byte shorter.
void time_formats(Ctx &c) {
  vl_locale_t *h = c.h;
  unsigned char b[8] = {};  // B may be shorter than eight bytes
  memcpy(b, c.b.p(), static_cast<size_t>(std::clamp<int32_t>(c.b.n, 0, 8)));
  vl_tm tm{};
  tm.fraction = b[0] * 3907;
  tm.sec = b[1] % 62, tm.min = b[2] % 61, tm.hour = b[3] % 25, tm.mday = 1 + b[4] % 31, tm.mon = b[5] % 13;
  tm.year = static_cast<int32_t>(b[6] | (b[7] << 8)) % 1200 - 100;
  tm.wday = b[0] % 8, tm.yday = (b[1] | (b[2] << 8)) % 367;
  auto fit = [&](const char *format, bool interval) {
    auto call = [&](char *out, int32_t size) {
      vl_tm copy = tm;
      return interval ? vl_mbsfinterval(h, out, size, format, &copy) : vl_mbsftime(h, out, size, format, &copy);
    };
    char probe[256];
    const int n = call(probe, sizeof probe);
    const int32_t room = n + c.lmin;
    if (n <= 0 || room > 255) return;
    std::vector<char> t = target(room);
    check(call(t.data(), room) == n);
    check(memcmp(t.data(), probe, static_cast<size_t>(n)) == 0);
    std::vector<char> s = target(room - 1);
    check(call(s.data(), room - 1) <= 0);
  };
  fit(c.a.p(), false);
  fit(c.a.p(), true);
  for (const char *f : {"%c", "%Ec|%EC|%Ey|%EY", "%x %X %r", "%Od %Oe %OH %OI %Om %OM %OS %Ou %OU %OV %Ow %OW %Oy",
                        "%a %A %b %B %h %p %j %U %W %V %G %g %u %w %D %F %T %R %n %t %%", "%iY %iy %F3 %F6"})
    fit(f, false);
}

// Every group, in order. A new service area is one more row.
void (*const kServices[])(Ctx &) = {
    lengths, copies, searches, trailing_blanks, case_conv, classes, wide, streams, info, collation, money,
    time_formats,
};

}  // namespace

void exercise(vl_locale_t *h, const Input &in) {
  if (!h) return;
  Ctx c{};
  c.h = h;
  c.lmin = vl_mb_loc_min(h);
  c.lmax = vl_mb_loc_max(h);
  // A loaded LC_CTYPE tree has characters of 1 to 4 bytes, or none at all.
  const bool empty = c.lmax == 0;
  if (c.lmin < 1 || c.lmin > kMaxChar || c.lmax < 0 || c.lmax > kMaxChar || (!empty && c.lmin > c.lmax)) {
    fprintf(stderr, "vlsfuzz: a load gave character lengths %d to %d\n", c.lmin, c.lmax);
    __builtin_trap();
  }
  c.one = empty ? kMaxChar : c.lmax;
  const size_t pad = static_cast<size_t>(2 * c.one + c.lmin);
  c.a = make_str(in.text, in.split, pad);
  c.b = make_str(in.text + in.split, in.text_size - in.split, pad);
  c.all = make_str(in.text, in.text_size, pad);
  // Wide values: the characters of A, and B's bytes read four at a time.
  int32_t len = 0;
  vl_wchar *w = vl_mbstowcslen(h, c.a.p(), &len);
  if (w) {
    for (int32_t i = 0; i < len && i < 64; ++i) c.values.push_back(w[i]);
    _vl_free_ptr(w);
  }
  for (int32_t i = 0; i + 4 <= c.b.n && c.values.size() < 96; i += 4) {
    const auto *q = reinterpret_cast<const unsigned char *>(c.b.p() + i);
    c.values.push_back(vl_wchar{q[0]} << 24 | vl_wchar{q[1]} << 16 | vl_wchar{q[2]} << 8 | q[3]);
  }
  for (auto service : kServices) service(c);
}

}  // namespace vlsfuzz
