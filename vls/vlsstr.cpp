// The string family: copying, joining, searching, stepping and trailing
// blanks for multibyte strings of any codeset, and the same for wide
// strings.
//
// Multibyte text is walked by MbText, which holds the one rule that all
// members share: in a single-byte locale a character is one byte and a
// step is a pointer increment; otherwise the LC_CTYPE tree measures each
// character (_kvx_vl_full_mblen in counted text, vl_full_mblen behind a
// vl_ismbsterm test in NUL-terminated text). A NUL-terminated form and its
// counted twin are therefore one body over an MbText built from the length
// (-1: NUL-terminated).
#include <vls/vlsstr.h>

#include <span>

#include <vls/vlsctype.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsvlu.h>

#include "vlsint.h"
#include "vlswalk.h"

namespace {

using vls::set_error;

// Stores an error number; wide members may run without a handle.
inline void fail(vl_locale_t *h, uint32_t code) {
  if (h) set_error(h, code);
}

inline char *mut(const char *p) { return const_cast<char *>(p); }
inline vl_wchar *mut(const vl_wchar *p) { return const_cast<vl_wchar *>(p); }

// ---- lengths ----------------------------------------------------------------

enum class Kind { Nul, Counted, Bad };

// One length: -1 or a real length; anything else stores 9.
inline Kind length_kind(vl_locale_t *h, int32_t length) {
  if (length == -1) return Kind::Nul;
  if (length >= 0) return Kind::Counted;
  fail(h, VL_EBADARG);
  return Kind::Bad;
}

// Two lengths must agree in kind: one -1 with one real length stores 56,
// any other negative length 9.
inline Kind pair_kind(vl_locale_t *h, int32_t a, int32_t b) {
  if (a == -1 && b == -1) return Kind::Nul;
  if (a >= 0 && b >= 0) return Kind::Counted;
  fail(h, ((a == -1 && b >= 0) || (b == -1 && a >= 0)) ? VL_EMIXEDLEN : VL_EBADARG);
  return Kind::Bad;
}

// A count is checked after the lengths: negative stores 4.
inline Kind with_count(vl_locale_t *h, Kind k, int32_t n) {
  if (k != Kind::Bad && n < 0) {
    fail(h, VL_EBADCOUNT);
    return Kind::Bad;
  }
  return k;
}

// The first checks of a bounded copy (one length) or append (two), in this
// order: a null pointer stores 2, then the lengths, then the count.
inline Kind bounded(vl_locale_t *h, const void *target, const void *source, int32_t source_length, int32_t n) {
  if (!target || !source) {
    fail(h, VL_EBADPTR);
    return Kind::Bad;
  }
  return with_count(h, length_kind(h, source_length), n);
}
inline Kind bounded(vl_locale_t *h, const void *target, int32_t target_length, const void *source,
                    int32_t source_length, int32_t n) {
  if (!target || !source) {
    fail(h, VL_EBADPTR);
    return Kind::Bad;
  }
  return with_count(h, pair_kind(h, target_length, source_length), n);
}

// ---- multibyte walking ------------------------------------------------------

// A multibyte text walked one character at a time: NUL-terminated when
// built with length -1, otherwise `length` bytes.
class MbText {
 public:
  MbText(vl_locale_t *h, const char *s, int32_t length)
      : h_(h), start_(s), p_(s), end_(length == -1 ? nullptr : s + length) {}

  const char *pos() const { return p_; }
  const char *start() const { return start_; }
  int32_t walked() const { return static_cast<int32_t>(p_ - start_); }
  void advance(int n) { p_ += n; }

  // Length in bytes of the character at the cursor; 0 at the end of the
  // text, -1 on failure (vl_errno holds the reason).
  int peek() {
    if (h_->single_byte) {
      if (end_) return p_ < end_ ? 1 : 0;
      return *p_ ? 1 : 0;
    }
    int l;
    if (end_) {
      if (p_ >= end_) return 0;
      l = _kvx_vl_full_mblen(h_, p_, static_cast<int32_t>(end_ - p_));
    } else {
      if (vl_ismbsterm(h_, p_)) return 0;
      l = vl_full_mblen(h_, p_, 4);
    }
    return l == 0 ? vl_mb_loc_min(h_) : l;
  }

  // As peek, and the character's wide value: its bytes folded big-endian,
  // or the bridge's value.
  int peek_wide(vl_wchar *wide) {
    int l = peek();
    if (l <= 0) return l;
    const auto *b = reinterpret_cast<const unsigned char *>(p_);
    if (h_->single_byte) {
      *wide = b[0];
    } else if (_vlu_active(h_, VL_LC_CTYPE)) {
      if (_kvx_vl_full_mbtowc(h_, wide, p_, l) < 0) return -1;
    } else {
      vl_wchar v = 0;
      for (int i = 0; i < l; ++i) v = (v << 8) | b[i];
      *wide = v;
    }
    return l;
  }

  // Walks to the end: the bytes walked, or -1. The count can pass a
  // counted end when the last character was stepped over by the
  // terminator length.
  int32_t walk_all() {
    int l;
    while ((l = peek()) > 0) advance(l);
    return l < 0 ? -1 : walked();
  }

  // Walks at most n characters: the bytes walked (never beyond a counted
  // end), or -1.
  int32_t walk_chars(int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
      int l = peek();
      if (l < 0) return -1;
      if (l == 0) break;
      advance(l);
    }
    if (end_ && p_ > end_) p_ = end_;
    return walked();
  }

 private:
  vl_locale_t *h_;
  const char *start_;
  const char *p_;
  const char *end_;
};

// The length of one character with a limit of 4 (a NUL character has its
// real length): the step of the walks that don't stop at the terminator.
inline int step4(vl_locale_t *h, const char *p) {
  if (h->single_byte) return 1;
  int l = _kvx_vl_full_mblen(h, p, 4);
  return l == 0 ? vl_mb_loc_min(h) : l;
}

// Bytes of a NUL-terminated string without (bytes_nt) and with
// (bytes_term, 0 on failure) its terminator.
inline int bytes_nt(vl_locale_t *h, const char *s) {
  if (h->single_byte) return static_cast<int>(strlen(s));
  return vl_mbsbytes_nt(h, s);
}
inline int bytes_term(vl_locale_t *h, const char *s) {
  if (h->single_byte) return static_cast<int>(strlen(s)) + 1;
  return vl_mbsbytes(h, s);
}

// Checks that `length` bytes from `s` are whole characters: the bytes
// walked, or -1.
inline int validate(vl_locale_t *h, const char *s, int32_t length) { return MbText(h, s, length).walk_all(); }

// ---- copying ------------------------------------------------------------------

// Appends NUL-terminated `source` to NUL-terminated `target`: the bytes of
// the result with its terminator, or -1.
int cat_nul(vl_locale_t *h, char *target, const char *source) {
  int n = bytes_nt(h, target);
  if (n < 0) return -1;
  int m = bytes_term(h, source);
  if (m == 0) return -1;
  memmove(target + n, source, static_cast<size_t>(m));
  return n + m;
}

// Copies NUL-terminated `source` with its terminator: the bytes, or 0.
int cpy_nul(vl_locale_t *h, char *target, const char *source) {
  int m = bytes_term(h, source);
  if (m > 0) memmove(target, source, static_cast<size_t>(m));
  return m;
}

// Appends at most n characters of `source` and a terminator: the bytes up
// to the terminator, or -1.
int ncat_nul(vl_locale_t *h, char *target, const char *source, int32_t n) {
  int tn = bytes_nt(h, target);
  if (tn < 0) return -1;
  const char *e = vl_getmbsinull(h, source, n);
  if (!e) return -1;
  size_t k = static_cast<size_t>(e - source);
  memmove(target + tn, source, k);
  vl_mbsterm(h, target + tn + k);
  return tn + static_cast<int>(k);
}

// Copies at most n characters of `source` and a terminator: the bytes
// copied, or -1 through `ok`.
int ncpy_nul(vl_locale_t *h, char *target, const char *source, int32_t n, bool *ok) {
  const char *e = vl_getmbsinull(h, source, n);
  *ok = e != nullptr;
  if (!e) return -1;
  size_t k = static_cast<size_t>(e - source);
  memmove(target, source, k);
  vl_mbsterm(h, target + k);
  return static_cast<int>(k);
}

// ---- searching ------------------------------------------------------------------

// Finds the cl-byte character `c` in the text; Last keeps the last hit. Not
// found stores 0.
template <bool Last>
char *find_char(vl_locale_t *h, MbText t, const char *c, int cl) {
  const char *hit = nullptr;
  for (;;) {
    int l = t.peek();
    if (l < 0) return nullptr;
    if (l == 0) break;
    if (l == cl && memcmp(t.pos(), c, static_cast<size_t>(l)) == 0) {
      if (!Last) return mut(t.pos());
      hit = t.pos();
    }
    t.advance(l);
  }
  if (!hit) set_error(h, 0);
  return mut(hit);
}

// The measured length of the character argument of the counted search
// members: -1 measures with a limit of 4.
int char_length(vl_locale_t *h, const char *c, int32_t length) {
  int32_t limit = length == -1 ? 4 : length;
  if (h->single_byte) {
    if (limit < 1) {
      set_error(h, VL_EINVAL);
      return -1;
    }
    return 1;
  }
  int l = _kvx_vl_full_mblen(h, c, limit);
  return l == 0 ? vl_mb_loc_min(h) : l;
}

template <bool Last>
char *kvx_chr(vl_locale_t *h, const char *s, int32_t slen, const char *c, int32_t clen) {
  if (!s || !c) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  if (pair_kind(h, slen, clen) == Kind::Bad) return nullptr;
  int cl = char_length(h, c, clen);
  if (cl < 0) return nullptr;
  return find_char<Last>(h, MbText(h, s, slen), c, cl);
}

// A set of characters as wide values: converted once by vl_mbstowcslen
// when NUL-terminated, decoded at each look-up when counted (so that no
// walk allocates).
class CharSet {
 public:
  bool init(vl_locale_t *h, const char *set, int32_t length) {
    h_ = h;
    if (length == -1) {
      wide_.reset(vl_mbstowcslen(h, set, &count_));
      return static_cast<bool>(wide_);
    }
    set_ = set;
    length_ = length;
    return validate(h, set, length) >= 0;
  }

  bool contains(vl_wchar wc) const {
    if (wide_) {
      for (int32_t i = 0; i < count_; ++i)
        if (wide_[i] == wc) return true;
      return false;
    }
    MbText t(h_, set_, length_);
    vl_wchar v;
    int l;
    while ((l = t.peek_wide(&v)) > 0) {
      if (v == wc) return true;
      t.advance(l);
    }
    return false;
  }

 private:
  vl_locale_t *h_ = nullptr;
  vls::HostPtr<vl_wchar> wide_;
  int32_t count_ = 0;
  const char *set_ = nullptr;
  int32_t length_ = 0;
};

// Walks the string while its characters are (Inside) or are not in the
// set. Gives the characters passed, or -1; `stop` is the character that
// ended the walk, or null at the end of the string.
template <bool Inside>
int scan_set(vl_locale_t *h, const char *s, int32_t slen, const char *set, int32_t setlen, const char **stop) {
  if (!s || !set) {
    set_error(h, VL_EBADPTR);
    return -1;
  }
  if (pair_kind(h, slen, setlen) == Kind::Bad) return -1;
  CharSet cs;
  if (!cs.init(h, set, setlen)) return -1;
  MbText t(h, s, slen);
  int count = 0;
  for (;;) {
    vl_wchar wc;
    int l = t.peek_wide(&wc);
    if (l < 0) return -1;
    if (l == 0) break;
    if (cs.contains(wc) != Inside) {
      *stop = t.pos();
      return count;
    }
    ++count;
    t.advance(l);
  }
  *stop = nullptr;
  return count;
}

char *pbrk(vl_locale_t *h, const char *s, int32_t slen, const char *set, int32_t setlen) {
  const char *stop = nullptr;
  if (scan_set<false>(h, s, slen, set, setlen, &stop) < 0) return nullptr;
  if (!stop) set_error(h, 0);
  return mut(stop);
}

// Whether the n bytes of `sub` stand at p. Without an end the bytes are
// compared one by one, so that the comparison stops at the first byte that
// differs and never reads behind the string's terminator.
inline bool bytes_at(const char *p, const char *end, const char *sub, int32_t n) {
  if (end) return end - p >= n && memcmp(p, sub, static_cast<size_t>(n)) == 0;
  for (int32_t i = 0; i < n; ++i)
    if (p[i] != sub[i]) return false;
  return true;
}

char *find_sub(vl_locale_t *h, const char *s, int32_t slen, const char *sub, int32_t sublen) {
  if (!s || !sub) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  Kind k = pair_kind(h, slen, sublen);
  if (k == Kind::Bad) return nullptr;
  int32_t n = k == Kind::Nul ? bytes_nt(h, sub) : sublen;
  if (n < 0) return nullptr;
  if (n == 0) return mut(s);
  const char *end = k == Kind::Nul ? nullptr : s + slen;
  MbText t(h, s, slen);
  for (;;) {
    int l = t.peek();
    if (l < 0) return nullptr;
    if (l == 0) break;
    if (bytes_at(t.pos(), end, sub, n)) return mut(t.pos());
    t.advance(l);
  }
  set_error(h, 0);
  return nullptr;
}

// ---- trailing blanks ------------------------------------------------------------------

// A trailing blank has the blank class on the multibyte side and the space
// class on the wide side, and is never a control character.
constexpr uint32_t kMbBlankTest = VL_CT_BLANK | VL_CT_CNTRL;
constexpr uint32_t kWcBlankTest = VL_CT_SPACE | VL_CT_CNTRL;

inline bool mb_blank(vl_locale_t *h, const char *p, int l) {
  uint32_t m;
  if (h->single_byte && h->class_table)
    m = h->class_table[static_cast<unsigned char>(*p)];
  else
    m = _kvx_vl_im_ismctype(h, p, l, kMbBlankTest);
  return (m & kMbBlankTest) == VL_CT_BLANK;
}

inline bool wc_blank(vl_locale_t *h, vl_wchar wc) {
  uint32_t m;
  if (h->single_byte && h->class_table) {
    if (wc > 255) {
      set_error(h, VL_EILSEQ);
      return false;
    }
    m = h->class_table[wc];
  } else {
    m = _vl_im_iswctype(h, wc, kWcBlankTest);
  }
  return (m & kWcBlankTest) == VL_CT_SPACE;
}

// The text without its trailing blanks, in characters or in bytes; `tail`
// gets the start of the trailing blanks, or null when there are none.
// -1 on failure.
template <bool Bytes>
int nts_count(vl_locale_t *h, MbText t, const char **tail) {
  int total = 0, pending = 0;
  const char *first_blank = nullptr;
  for (;;) {
    int l = t.peek();
    if (l < 0) return -1;
    if (l == 0) break;
    int unit = Bytes ? l : 1;
    if (mb_blank(h, t.pos(), l)) {
      if (!first_blank) first_blank = t.pos();
      pending += unit;
    } else {
      total += pending + unit;
      pending = 0;
      first_blank = nullptr;
    }
    t.advance(l);
  }
  if (tail) *tail = first_blank;
  return total;
}

template <bool Bytes>
int kvx_nts(vl_locale_t *h, const char *s, int32_t length) {
  if (!s) {
    set_error(h, VL_EBADPTR);
    return -1;
  }
  if (length_kind(h, length) == Kind::Bad) return -1;
  return nts_count<Bytes>(h, MbText(h, s, length), nullptr);
}

// The wide twin: values without trailing spaces; `tail` as above.
int wc_nts(vl_locale_t *h, const vl_wchar *s, int32_t length, const vl_wchar **tail) {
  if (!s) {
    set_error(h, VL_EBADPTR);
    return -1;
  }
  if (length_kind(h, length) == Kind::Bad) return -1;
  int total = 0, pending = 0;
  const vl_wchar *first_blank = nullptr;
  for (const vl_wchar *p = s; length == -1 ? *p != 0 : p < s + length; ++p) {
    if (wc_blank(h, *p)) {
      if (!first_blank) first_blank = p;
      ++pending;
    } else {
      total += pending + 1;
      pending = 0;
      first_blank = nullptr;
    }
  }
  if (tail) *tail = first_blank;
  return total;
}

// ---- wide strings ------------------------------------------------------------------

inline int32_t wlen(const vl_wchar *s) {
  const vl_wchar *p = s;
  while (*p) ++p;
  return static_cast<int32_t>(p - s);
}

inline void wmove(vl_wchar *target, const vl_wchar *source, int32_t n) {
  if (n > 0) memmove(target, source, static_cast<size_t>(n) * sizeof(vl_wchar));
}

// The values of a wide argument: `length` values, or up to the zero value.
inline std::span<const vl_wchar> wspan(const vl_wchar *s, int32_t length) {
  return {s, static_cast<size_t>(length == -1 ? wlen(s) : length)};
}

inline bool wcontains(std::span<const vl_wchar> set, vl_wchar wc) {
  for (vl_wchar v : set)
    if (v == wc) return true;
  return false;
}

template <bool Inside>
int wscan(vl_locale_t *h, const vl_wchar *s, int32_t slen, const vl_wchar *set, int32_t setlen) {
  if (!s || !set) {
    fail(h, VL_EBADPTR);
    return -1;
  }
  if (pair_kind(h, slen, setlen) == Kind::Bad) return -1;
  auto str = wspan(s, slen);
  auto chars = wspan(set, setlen);
  int n = 0;
  for (vl_wchar wc : str) {
    if (wcontains(chars, wc) != Inside) break;
    ++n;
  }
  return n;
}

template <bool Last>
vl_wchar *wchr(vl_locale_t *h, const vl_wchar *s, int32_t length, vl_wchar value) {
  if (!s) {
    fail(h, VL_EBADPTR);
    return nullptr;
  }
  if (length_kind(h, length) == Kind::Bad) return nullptr;
  auto str = wspan(s, length);
  // A NUL-terminated string holds its terminator, as in the C library.
  if (length == -1 && value == 0) return mut(s + str.size());
  const vl_wchar *hit = nullptr;
  for (size_t i = 0; i < str.size(); ++i) {
    if (str[i] == value) {
      hit = s + i;
      if (!Last) break;
    }
  }
  if (!hit) fail(h, 0);
  return mut(hit);
}

}  // namespace

extern "C" {

// ---- copying and joining ----------------------------------------------------------

VLS_API int _kvx_vl_mbscat(vl_locale_t *h, char *target, int32_t target_length, const char *source,
                           int32_t source_length) {
  if (!target || !source) {
    set_error(h, VL_EBADPTR);
    return -1;
  }
  switch (pair_kind(h, target_length, source_length)) {
    case Kind::Nul:
      return cat_nul(h, target, source);
    case Kind::Counted:
      // Copy first, then prove that the joined text is whole characters.
      memmove(target + target_length, source, static_cast<size_t>(source_length));
      return validate(h, target, target_length + source_length);
    case Kind::Bad:
      break;
  }
  return -1;
}

VLS_API char *vl_full_mbscat(vl_locale_t *h, char *target, const char *source) {
  if (!target || !source) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  return cat_nul(h, target, source) < 0 ? nullptr : target;
}

VLS_API char *vl_mbscat(vl_locale_t *h, char *target, const char *source) {
  return vl_full_mbscat(h, target, source);
}

VLS_API int _kvx_vl_mbscpy(vl_locale_t *h, char *target, const char *source, int32_t source_length) {
  if (!target || !source) {
    set_error(h, VL_EBADPTR);
    return -1;
  }
  switch (length_kind(h, source_length)) {
    case Kind::Nul: {
      int m = cpy_nul(h, target, source);
      return m == 0 ? -1 : m;
    }
    case Kind::Counted:
      memmove(target, source, static_cast<size_t>(source_length));
      return validate(h, target, source_length);
    case Kind::Bad:
      break;
  }
  return -1;
}

VLS_API char *vl_full_mbscpy(vl_locale_t *h, char *target, const char *source) {
  if (!target || !source) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  return cpy_nul(h, target, source) == 0 ? nullptr : target;
}

VLS_API char *vl_mbscpy(vl_locale_t *h, char *target, const char *source) {
  return vl_full_mbscpy(h, target, source);
}

VLS_API int _kvx_vl_mbsncat(vl_locale_t *h, char *target, int32_t target_length, const char *source,
                            int32_t source_length, int32_t n) {
  Kind k = bounded(h, target, target_length, source, source_length, n);
  if (k == Kind::Bad) return -1;
  if (k == Kind::Nul) return ncat_nul(h, target, source, n);
  int32_t taken = MbText(h, source, source_length).walk_chars(n);
  if (taken < 0) return -1;
  memmove(target + target_length, source, static_cast<size_t>(taken));
  return validate(h, target, target_length + taken);
}

VLS_API char *vl_mbsncat(vl_locale_t *h, char *target, const char *source, int32_t n) {
  if (!target || !source) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  return ncat_nul(h, target, source, n) < 0 ? nullptr : target;
}

VLS_API int _kvx_vl_mbsncpy(vl_locale_t *h, char *target, const char *source, int32_t source_length, int32_t n) {
  Kind k = bounded(h, target, source, source_length, n);
  if (k == Kind::Bad) return -1;
  if (k == Kind::Nul) {
    // One terminator short of the bytes copied: -1 for n = 0 in a
    // one-byte-terminator codeset, which is not a failure.
    bool ok;
    int copied = ncpy_nul(h, target, source, n, &ok);
    return ok ? copied - vl_mb_loc_min(h) : -1;
  }
  // Whole characters only, no terminator, no validation of the target.
  int32_t taken = MbText(h, source, source_length).walk_chars(n);
  if (taken < 0) return -1;
  memmove(target, source, static_cast<size_t>(taken));
  return taken;
}

VLS_API char *vl_mbsncpy(vl_locale_t *h, char *target, const char *source, int32_t n) {
  if (!target || !source) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  bool ok;
  ncpy_nul(h, target, source, n, &ok);
  return ok ? target : nullptr;
}

// ---- searching ----------------------------------------------------------------------

VLS_API char *vl_full_mbschr(vl_locale_t *h, const char *string, const char *character) {
  if (!string || !character) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  if (_vlu_active(h, VL_LC_CTYPE)) {  // with the collation category's bridge locale
    int16_t status = 0;
    char *hit = fn_vlu_mbschr(_vlu_locale(h, VL_LC_COLLATE), string, -1, character, 4, &status);
    if (status > 0 || !hit) set_error(h, status > 0 ? static_cast<uint32_t>(status) : 0);  // not found clears
    return hit;
  }
  if (h->single_byte) {
    const char *r = strchr(string, static_cast<unsigned char>(*character));
    if (!r) set_error(h, 0);
    return mut(r);
  }
  int cl = vl_full_mblen(h, character, 4);
  if (cl < 0) return nullptr;
  MbText t(h, string, -1);
  if (cl == 0) {
    // The NUL character: the terminator, as in the C library.
    return t.walk_all() < 0 ? nullptr : mut(t.pos());
  }
  return find_char<false>(h, t, character, cl);
}

VLS_API char *_kvx_vl_mbschr(vl_locale_t *h, const char *string, int32_t string_length, const char *character,
                             int32_t character_length) {
  return kvx_chr<false>(h, string, string_length, character, character_length);
}

VLS_API char *vl_full_mbsrchr(vl_locale_t *h, const char *string, const char *character) {
  if (!string || !character) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  set_error(h, 0);
  if (h->single_byte) return mut(strrchr(string, static_cast<unsigned char>(*character)));
  // Search again from behind each hit; a failure in a later search stands.
  const char *last = nullptr;
  const char *p = string;
  for (;;) {
    const char *hit = vl_full_mbschr(h, p, character);
    if (!hit) break;
    last = hit;
    int l = vl_full_mblen(h, hit, 4);
    if (l < 0) return nullptr;
    if (l == 0) return mut(hit);  // the terminator was sought
    p = hit + l;
  }
  return vls::get_error(h) != 0 ? nullptr : mut(last);
}

VLS_API char *_kvx_vl_mbsrchr(vl_locale_t *h, const char *string, int32_t string_length, const char *character,
                              int32_t character_length) {
  return kvx_chr<true>(h, string, string_length, character, character_length);
}

VLS_API int vl_full_mbsspn(vl_locale_t *h, const char *string, const char *set) {
  const char *stop;
  return scan_set<true>(h, string, -1, set, -1, &stop);
}

VLS_API int vl_full_mbscspn(vl_locale_t *h, const char *string, const char *set) {
  const char *stop;
  return scan_set<false>(h, string, -1, set, -1, &stop);
}

VLS_API int _kvx_vl_mbsspn(vl_locale_t *h, const char *string, int32_t length, const char *set,
                           int32_t set_length) {
  const char *stop;
  return scan_set<true>(h, string, length, set, set_length, &stop);
}

VLS_API int _kvx_vl_mbscspn(vl_locale_t *h, const char *string, int32_t length, const char *set,
                            int32_t set_length) {
  const char *stop;
  return scan_set<false>(h, string, length, set, set_length, &stop);
}

VLS_API char *vl_full_mbspbrk(vl_locale_t *h, const char *string, const char *set) {
  return pbrk(h, string, -1, set, -1);
}

VLS_API char *_kvx_vl_mbspbrk(vl_locale_t *h, const char *string, int32_t length, const char *set,
                              int32_t set_length) {
  return pbrk(h, string, length, set, set_length);
}

VLS_API char *vl_full_mbsmbs(vl_locale_t *h, const char *string, const char *substring) {
  return find_sub(h, string, -1, substring, -1);
}

VLS_API char *_kvx_vl_mbsmbs(vl_locale_t *h, const char *string, int32_t length, const char *substring,
                             int32_t substring_length) {
  return find_sub(h, string, length, substring, substring_length);
}

// ---- stepping and indexing ---------------------------------------------------------

VLS_API char *vl_full_mbsnext(vl_locale_t *h, const char *string) {
  if (!string) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  char *r;
  if (_vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_mbsnext, string, int32_t{-1})) return r;
  // A NUL character has length 0 here: the terminator is its own next.
  int l = h->single_byte ? (*string ? 1 : 0) : vl_full_mblen(h, string, 4);
  return l < 0 ? nullptr : mut(string + l);
}

VLS_API char *_kvx_vl_full_mbsnext(vl_locale_t *h, const char *string, int32_t limit) {
  if (!string) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  int l;
  if (h->single_byte) {
    if (limit < 1) {
      set_error(h, VL_EINVAL);
      return nullptr;
    }
    l = 1;
  } else {
    l = _kvx_vl_full_mblen(h, string, limit);
    if (l < 0) return nullptr;
    if (l == 0) l = vl_mb_loc_min(h);
  }
  return mut(string + l);
}

VLS_API char *vl_full_mbsprev(vl_locale_t *h, const char *start, const char *position) {
  if (!start || !position) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  if (position <= start) {
    set_error(h, VL_EBADRANGE);
    return nullptr;
  }
  char *r;
  if (_vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_mbsprev, start, position)) return r;
  if (h->single_byte) return mut(position - 1);
  const char *p = start;
  for (;;) {
    int l = step4(h, p);
    if (l < 0) return nullptr;
    if (p + l >= position) return mut(p);
    p += l;
  }
}

VLS_API char *vl_full_getmbsi(vl_locale_t *h, const char *string, int32_t i) {
  if (!string) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  if (i < 0) {
    set_error(h, VL_EBADCOUNT);
    return nullptr;
  }
  if (h->single_byte) return mut(string + i);
  const char *p = string;
  for (int32_t k = 0; k < i; ++k) {
    int l = step4(h, p);
    if (l < 0) return nullptr;
    p += l;
  }
  return mut(p);
}

VLS_API char *vl_getmbsinull(vl_locale_t *h, const char *string, int32_t n) {
  if (!string) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  if (n < 0) {
    set_error(h, VL_EBADCOUNT);
    return nullptr;
  }
  MbText t(h, string, -1);
  return t.walk_chars(n) < 0 ? nullptr : mut(t.pos());
}

VLS_API char *vl_full_putmbsi(vl_locale_t *h, char *string, int32_t i, const char *character) {
  if (!string || !character) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  char *r;
  if (_vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_putmbsi, string, i, character)) return r;
  char *p = vl_full_getmbsi(h, string, i);
  if (!p || !vl_mbcreplace(h, p, character)) return nullptr;
  return string;
}

VLS_API char *vl_mbcreplace(vl_locale_t *h, char *position, const char *character) {
  if (!position || !character) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  const char *next = vl_full_mbsnext(h, position);
  if (!next) return nullptr;
  int32_t taken = 0;
  int cl = vls::tree::text_row<false>(reinterpret_cast<const unsigned char *>(character), h->ctype.ctype_tree, 0,
                                      &taken, h)
               ? taken
               : 0;
  if (cl == 0) return nullptr;
  int rest = vl_mbsbytes(h, next);
  if (rest == 0) return nullptr;
  // The rest may lie where the new character goes: build it aside first.
  size_t total = static_cast<size_t>(cl) + static_cast<size_t>(rest);
  vls::HostPtr<char> scratch(vls::alloc_array<char>(total + 4));
  if (!scratch) {
    set_error(h, VL_ENOMEM);
    return nullptr;
  }
  memcpy(scratch.get(), character, static_cast<size_t>(cl));
  memcpy(scratch.get() + cl, next, static_cast<size_t>(rest));
  memcpy(position, scratch.get(), total);
  return position;
}

VLS_API vl_wchar *vl_mbstowcslen(vl_locale_t *h, const char *string, int32_t *length) {
  if (!string) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  size_t capacity = 1, n = 0;
  vls::HostPtr<vl_wchar> out(vls::alloc_array<vl_wchar>(capacity));
  if (!out) {
    set_error(h, VL_ENOMEM);
    return nullptr;
  }
  MbText t(h, string, -1);
  for (;;) {
    vl_wchar wc = 0;
    int l = t.peek_wide(&wc);
    if (l < 0) return nullptr;
    if (n == capacity) {
      // Grow by doubling: allocate, copy, free.
      vls::HostPtr<vl_wchar> bigger(vls::alloc_array<vl_wchar>(capacity * 2));
      if (!bigger) {
        set_error(h, VL_ENOMEM);
        return nullptr;
      }
      memcpy(bigger.get(), out.get(), n * sizeof(vl_wchar));
      out.reset(bigger.release());
      capacity *= 2;
    }
    if (l == 0) {
      out[n] = 0;
      break;
    }
    out[n++] = wc;
    t.advance(l);
  }
  if (length) *length = static_cast<int32_t>(n);
  return out.release();
}

// ---- trailing blanks -------------------------------------------------------------------

VLS_API int vl_mbsntslen(vl_locale_t *h, const char *string) { return kvx_nts<false>(h, string, -1); }

VLS_API int _kvx_vl_mbsntslen(vl_locale_t *h, const char *string, int32_t length) {
  return kvx_nts<false>(h, string, length);
}

VLS_API int vl_mbsntsbytes(vl_locale_t *h, const char *string) {
  if (!string) {
    set_error(h, VL_EBADPTR);
    return -1;
  }
  int32_t r;
  if (_vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_mbsntsbytes, string)) return r;
  return kvx_nts<true>(h, string, -1);
}

VLS_API int _kvx_vl_mbsntsbytes(vl_locale_t *h, const char *string, int32_t length) {
  return kvx_nts<true>(h, string, length);
}

VLS_API int vl_wcsntslen(vl_locale_t *h, const vl_wchar *string) { return wc_nts(h, string, -1, nullptr); }

VLS_API int _kvx_vl_wcsntslen(vl_locale_t *h, const vl_wchar *string, int32_t length) {
  return wc_nts(h, string, length, nullptr);
}

VLS_API char *vl_mbsp(vl_locale_t *h, const char *string) {
  if (!string) {
    set_error(h, VL_EBADPTR);
    return nullptr;
  }
  const char *tail = nullptr;
  if (nts_count<false>(h, MbText(h, string, -1), &tail) < 0) return nullptr;
  if (!tail) set_error(h, 0);
  return mut(tail);
}

// Through vl_mbsp, with its error numbers: no trailing blanks leaves 0.
VLS_API char *vl_mbsntstrunc(vl_locale_t *h, char *string) {
  char *tail = vl_mbsp(h, string);
  if (!tail) return string && h->vl_errno == 0 ? string : nullptr;
  vl_mbsterm(h, tail);
  return string;
}

VLS_API vl_wchar *vl_wcsntstrunc(vl_locale_t *h, vl_wchar *string) {
  const vl_wchar *tail = nullptr;
  if (wc_nts(h, string, -1, &tail) < 0) return nullptr;
  if (tail) *mut(tail) = 0;
  return string;
}

// ---- wide strings ------------------------------------------------------------------------

VLS_API int _kvx_vl_wcscat(vl_locale_t *h, vl_wchar *target, int32_t target_length, const vl_wchar *source,
                           int32_t source_length) {
  if (!target || !source) {
    fail(h, VL_EBADPTR);
    return -1;
  }
  switch (pair_kind(h, target_length, source_length)) {
    case Kind::Nul: {
      int32_t n = wlen(target), m = wlen(source);
      wmove(target + n, source, m + 1);
      return n + m;
    }
    case Kind::Counted:
      wmove(target + target_length, source, source_length);
      return target_length + source_length;
    case Kind::Bad:
      break;
  }
  return -1;
}

VLS_API vl_wchar *vl_wcscat(vl_wchar *target, const vl_wchar *source) {
  return _kvx_vl_wcscat(nullptr, target, -1, source, -1) < 0 ? nullptr : target;
}

VLS_API int _kvx_vl_wcscpy(vl_locale_t *h, vl_wchar *target, const vl_wchar *source, int32_t source_length) {
  if (!target || !source) {
    fail(h, VL_EBADPTR);
    return -1;
  }
  switch (length_kind(h, source_length)) {
    case Kind::Nul: {
      int32_t m = wlen(source);
      wmove(target, source, m + 1);
      return m;
    }
    case Kind::Counted:
      wmove(target, source, source_length);
      return source_length;
    case Kind::Bad:
      break;
  }
  return -1;
}

VLS_API vl_wchar *vl_wcscpy(vl_wchar *target, const vl_wchar *source) {
  return _kvx_vl_wcscpy(nullptr, target, source, -1) < 0 ? nullptr : target;
}

VLS_API int _kvx_vl_wcsncpy(vl_locale_t *h, vl_wchar *target, const vl_wchar *source, int32_t source_length,
                            int32_t n) {
  Kind k = bounded(h, target, source, source_length, n);
  if (k == Kind::Bad) return -1;
  if (k == Kind::Counted) {
    int32_t m = source_length < n ? source_length : n;
    wmove(target, source, m);
    return m;
  }
  // As strncpy: up to n values, then zero values up to n.
  int32_t m = 0;
  while (m < n && source[m] != 0) ++m;
  wmove(target, source, m);
  for (int32_t i = m; i < n; ++i) target[i] = 0;
  return m;
}

VLS_API vl_wchar *vl_wcsncpy(vl_wchar *target, const vl_wchar *source, int32_t n) {
  return _kvx_vl_wcsncpy(nullptr, target, source, -1, n) < 0 ? nullptr : target;
}

VLS_API int _kvx_vl_wcsncat(vl_locale_t *h, vl_wchar *target, int32_t target_length, const vl_wchar *source,
                            int32_t source_length, int32_t n) {
  Kind k = bounded(h, target, target_length, source, source_length, n);
  if (k == Kind::Bad) return -1;
  if (k == Kind::Counted) {
    int32_t m = source_length < n ? source_length : n;
    wmove(target + target_length, source, m);
    return target_length + m;
  }
  int32_t t = wlen(target), m = 0;
  while (m < n && source[m] != 0) ++m;
  wmove(target + t, source, m);
  target[t + m] = 0;
  return t + m;
}

VLS_API vl_wchar *vl_wcsncat(vl_wchar *target, const vl_wchar *source, int32_t n) {
  return _kvx_vl_wcsncat(nullptr, target, -1, source, -1, n) < 0 ? nullptr : target;
}

VLS_API vl_wchar *_kvx_vl_wcschr(vl_locale_t *h, const vl_wchar *string, int32_t length, vl_wchar value) {
  return wchr<false>(h, string, length, value);
}

VLS_API vl_wchar *vl_wcschr(vl_locale_t *h, const vl_wchar *string, vl_wchar value) {
  return wchr<false>(h, string, -1, value);
}

VLS_API vl_wchar *_kvx_vl_wcsrchr(vl_locale_t *h, const vl_wchar *string, int32_t length, vl_wchar value) {
  return wchr<true>(h, string, length, value);
}

VLS_API vl_wchar *vl_wcsrchr(vl_locale_t *h, const vl_wchar *string, vl_wchar value) {
  return wchr<true>(h, string, -1, value);
}

VLS_API int _kvx_vl_wcsspn(vl_locale_t *h, const vl_wchar *string, int32_t length, const vl_wchar *set,
                           int32_t set_length) {
  return wscan<true>(h, string, length, set, set_length);
}

VLS_API int vl_wcsspn(vl_locale_t *h, const vl_wchar *string, const vl_wchar *set) {
  return wscan<true>(h, string, -1, set, -1);
}

VLS_API int _kvx_vl_wcscspn(vl_locale_t *h, const vl_wchar *string, int32_t length, const vl_wchar *set,
                            int32_t set_length) {
  return wscan<false>(h, string, length, set, set_length);
}

VLS_API int vl_wcscspn(vl_locale_t *h, const vl_wchar *string, const vl_wchar *set) {
  return wscan<false>(h, string, -1, set, -1);
}

VLS_API vl_wchar *_kvx_vl_wcswcs(vl_locale_t *h, const vl_wchar *string, int32_t length, const vl_wchar *substring,
                                 int32_t substring_length) {
  if (!string || !substring) {
    fail(h, VL_EBADPTR);
    return nullptr;
  }
  if (pair_kind(h, length, substring_length) == Kind::Bad) return nullptr;
  auto str = wspan(string, length);
  auto sub = wspan(substring, substring_length);
  if (sub.empty()) return mut(string);
  for (size_t i = 0; i + sub.size() <= str.size(); ++i)
    if (memcmp(&str[i], sub.data(), sub.size_bytes()) == 0) return mut(string + i);
  fail(h, 0);
  return nullptr;
}

VLS_API vl_wchar *vl_wcswcs(vl_locale_t *h, const vl_wchar *string, const vl_wchar *substring) {
  return _kvx_vl_wcswcs(h, string, -1, substring, -1);
}

VLS_API vl_wchar *_kvx_vl_wcspbrk(vl_locale_t *h, const vl_wchar *string, int32_t length, const vl_wchar *set,
                                  int32_t set_length) {
  int n = wscan<false>(h, string, length, set, set_length);
  if (n < 0) return nullptr;
  if (static_cast<size_t>(n) == wspan(string, length).size()) {
    fail(h, 0);
    return nullptr;
  }
  return mut(string + n);
}

VLS_API vl_wchar *vl_wcspbrk(vl_locale_t *h, const vl_wchar *string, const vl_wchar *set) {
  return _kvx_vl_wcspbrk(h, string, -1, set, -1);
}

}  // extern "C"
