// Time category: day and month names, formats, eras and alternative digits.
// The reader takes the "### LC_TIME" section of a locale object; the
// finisher parses the eras, joins the era and digit texts, builds the lookup
// caches of the date parser and widens every string.
#include <cstring>

#include <vls/vlscat.h>
#include <vls/vlsmbwc.h>
#include <vls/vlstime.h>

#include "vlsint.h"

namespace {

// The calendar line is matched with its line feed.
struct CalendarEntry {
  const char *line;
  const char *name;
  int32_t id;
};
constexpr CalendarEntry kCalendars[] = {
    {"gregorian\n", "gregorian", VL_CAL_GREGORIAN},
    {"hebrew\n", "hebrew", VL_CAL_HEBREW},
    {"islamic\n", "islamic", VL_CAL_ISLAMIC},
    {"arabic\n", "arabic", VL_CAL_ARABIC},
};

constexpr int kCalendarLine = 32;  // 31 bytes and the NUL
constexpr int kWeekdays = 7;

// No locale comes near this many names, eras or digits in one list; a larger
// count is damage and is turned away before anything is allocated for it.
constexpr int32_t kMaxListCount = 4096;

template <typename T>
T *alloc_zeroed(size_t count) {
  T *p = vls::alloc_array<T>(count);
  if (p) memset(p, 0, count * sizeof(T));
  return p;
}

void free_strings(char **a, int32_t count) {
  if (!a) return;
  for (int32_t i = 0; i < count; ++i) _vl_free_ptr(a[i]);
  _vl_free_ptr(a);
}

void free_wides(vl_wchar **a, int32_t count) {
  if (!a) return;
  for (int32_t i = 0; i < count; ++i) _vl_free_ptr(a[i]);
  _vl_free_ptr(a);
}

template <typename T>
void free_fixed(T **a) {
  for (int i = 0; i < kWeekdays; ++i) {
    _vl_free_ptr(a[i]);
    a[i] = nullptr;
  }
}

template <typename T>
void free_and_clear(T *&p) {
  _vl_free_ptr(p);
  p = nullptr;
}

// ---- reading -------------------------------------------------------------------

// Every failure of a string item is reported as 3, whatever the cause.
bool read_string(void *stream, char *&target, int32_t *err) {
  target = str_readallc(stream, err);
  if (target) return true;
  *err = VL_ENOMEM;
  return false;
}

bool read_weekdays(void *stream, char **target, int32_t *err) {
  for (int i = 0; i < kWeekdays; ++i)
    if (!read_string(stream, target[i], err)) return false;
  return true;
}

// An integer line and that many strings. A count below 1 leaves the array
// null. With `discard` a failure frees what the list had read.
bool read_list(void *stream, char **&array, int32_t &count, int32_t *err, bool discard) {
  const int32_t n = _vl_get_int(stream);
  count = n;
  if (!_vl_skip_nl(stream)) {
    *err = VL_EBADFILE;
    return false;
  }
  if (n < 1) return true;
  if (n > kMaxListCount) {
    count = 0;
    *err = VL_ENOMEM;
    return false;
  }
  char **a = alloc_zeroed<char *>(static_cast<size_t>(n));
  if (!a) {
    count = 0;
    *err = VL_ENOMEM;
    return false;
  }
  array = a;
  for (int32_t i = 0; i < n; ++i) {
    if (!read_string(stream, a[i], err)) {
      if (discard) {
        free_strings(a, n);
        array = nullptr;
        count = 0;
      }
      return false;
    }
  }
  return true;
}

// ---- the finisher's helpers ----------------------------------------------------

// The locale's encoding of a line feed, into `nl`; its length.
int newline_bytes(vl_locale_t *h, char *nl) {
  const uint32_t saved = vls::get_error(h);
  int n = vl_full_wctomb(h, nl, '\n');
  if (n <= 0 || n > 4) {
    vls::set_error(h, saved);
    nl[0] = '\n';
    n = 1;
  }
  return n;
}

// The strings joined by the locale's line feed and ended by four zero
// bytes; null strings count as empty. 0, or -1 with 3 stored.
int join_strings(vl_locale_t *h, char *const *strings, int32_t count, char *&target) {
  free_and_clear(target);
  if (!strings) count = 0;
  char nl[16];
  const size_t nl_len = static_cast<size_t>(newline_bytes(h, nl));
  size_t total = 4;
  for (int32_t i = 0; i < count; ++i) {
    if (strings[i]) total += vls::mb_length(strings[i]);
    if (i > 0) total += nl_len;
  }
  char *out = static_cast<char *>(_vl_alloc_ptr(total));
  if (!out) {
    vls::set_error(h, VL_ENOMEM);
    return -1;
  }
  char *p = out;
  for (int32_t i = 0; i < count; ++i) {
    if (i > 0) {
      memcpy(p, nl, nl_len);
      p += nl_len;
    }
    if (strings[i]) {
      const size_t n = vls::mb_length(strings[i]);
      memcpy(p, strings[i], n);
      p += n;
    }
  }
  memset(p, 0, 4);
  target = out;
  return 0;
}

// Replaces a wide form by a fresh one; 0 or -1 as alloc_wc_from_mb.
int rewiden(vl_locale_t *h, const char *mb, vl_wchar *&wide) {
  free_and_clear(wide);
  return alloc_wc_from_mb(h, mb, &wide);
}

// The wide forms of a list as an array of `n` entries. Entry i comes from
// source entry i while the source has one, and is null beyond it. On a
// failure the list is freed and 3 stored.
int widen_list(vl_locale_t *h, char *const *source, int32_t source_count, vl_wchar **&target, int32_t n) {
  free_wides(target, n);
  target = nullptr;
  vl_wchar **a = alloc_zeroed<vl_wchar *>(static_cast<size_t>(n));
  if (!a) {
    vls::set_error(h, VL_ENOMEM);
    return -1;
  }
  for (int32_t i = 0; i < n; ++i) {
    const char *s = source && i < source_count ? source[i] : nullptr;
    if (alloc_wc_from_mb(h, s, &a[i]) != 0) {
      free_wides(a, n);
      vls::set_error(h, VL_ENOMEM);
      return -1;
    }
  }
  target = a;
  return 0;
}

int widen_weekdays(vl_locale_t *h, char *const *source, vl_wchar **target) {
  free_fixed(target);
  for (int i = 0; i < kWeekdays; ++i) {
    if (alloc_wc_from_mb(h, source[i], &target[i]) != 0) {
      free_fixed(target);
      vls::set_error(h, VL_ENOMEM);
      return -1;
    }
  }
  return 0;
}

// A fresh cache of `n` strings, each stored with its position; null
// strings are left out. The earlier cache of the slot is replaced only on
// success.
template <typename Get>
int build_cache(vl_locale_t *h, int slot, int32_t n, Get get) {
  vl_wc_cache *c = _vl_create_wc_cache();
  if (!c) {
    vls::set_error(h, VL_ENOMEM);
    return -1;
  }
  for (int32_t i = 0; i < n; ++i) {
    const char *s = get(i);
    if (!s) continue;
    vl_wchar *w = nullptr;
    if (alloc_wc_from_mb(h, s, &w) != 0) {
      _vl_free_wc_cache(c);
      return -1;
    }
    const int r = _vl_cache_wc_string(c, w, i);
    _vl_free_ptr(w);
    if (r != 0) {
      _vl_free_wc_cache(c);
      vls::set_error(h, VL_ENOMEM);
      return -1;
    }
  }
  time_category &t = h->time;
  _vl_free_wc_cache(static_cast<vl_wc_cache *>(t.caches[slot]));
  t.caches[slot] = c;
  return 0;
}

using vls::fail;

void free_era_strings(era_record *r) {
  free_and_clear(r->era_name);
  free_and_clear(r->era_name2);
  free_and_clear(r->era_format);
  free_and_clear(r->w_era_format);
}

}  // namespace

extern "C" {

VLS_API const char *vl_calendar_name(int32_t calendar) {
  for (const CalendarEntry &c : kCalendars)
    if (c.id == calendar) return c.name;
  return nullptr;
}

// Clears every field up to the joined alternative digits.
VLS_API void _vl_init_ltime(time_category *t) { memset(t, 0, sizeof *t); }

VLS_API int _vl_read_time(void *stream, time_category *t, int32_t *err) {
  if (!err) return -1;
  _vl_init_ltime(t);
  char line[kCalendarLine];
  if (!_vl_ext_fgets(line, sizeof line, stream) || check_nl(line) != 0) {
    *err = VL_EBADFILE;
    return -1;
  }
  for (const CalendarEntry &c : kCalendars)
    if (strcmp(line, c.line) == 0) t->calendar = c.id;
  if (t->calendar == 0) {
    *err = VL_EBADCALENDAR;
    return -1;
  }
  const bool ok = read_weekdays(stream, t->abday, err) && read_weekdays(stream, t->day, err) &&
                  read_list(stream, t->abmon, t->abmon_count, err, false) &&
                  read_list(stream, t->mon, t->mon_count, err, false) && read_string(stream, t->d_t_fmt, err) &&
                  read_string(stream, t->d_fmt, err) && read_string(stream, t->t_fmt, err) &&
                  read_string(stream, t->am_str, err) && read_string(stream, t->pm_str, err) &&
                  read_string(stream, t->t_fmt_ampm, err) &&
                  read_list(stream, t->era_strings, t->era_count, err, false) &&
                  read_string(stream, t->era_d_fmt, err) && read_string(stream, t->era_t_fmt, err) &&
                  read_string(stream, t->era_d_t_fmt, err) &&
                  read_list(stream, t->alt_digits, t->alt_digits_count, err, true);
  return ok ? 0 : -1;
}

VLS_API int init_time_info(vl_locale_t *h) {
  if (!h->ctype.ctype_tree) return -1;
  if (vls::ready_to_widen(h) != 0) return -1;
  if (h->ctype.ctype_tree->max_length <= 0) {
    vls::set_error(h, VL_ECATINIT);
    return 0;
  }
  if (h->time.era_count != 0 && init_era_info(h) != 0) return -1;
  if (cache_strings_for_lookup(h) != 0) return -1;
  if (create_wide_time_strings(h) != 0) return -1;
  return 1;
}

// ---- eras --------------------------------------------------------------------------

VLS_API void era_cleanup(era_record **eras, int32_t count) {
  if (!eras) return;
  for (int32_t i = 0; i < count; ++i) {
    if (!eras[i]) continue;
    free_era_strings(eras[i]);
    _vl_free_ptr(eras[i]);
  }
  _vl_free_ptr(eras);
}

VLS_API int init_era_info(vl_locale_t *h) {
  time_category &t = h->time;
  if (t.era_count <= 0) return 0;
  if (t.era_info) {
    era_cleanup(t.era_info, t.era_count);
    t.era_info = nullptr;
  }
  const int32_t n = t.era_count;
  era_record **eras = alloc_zeroed<era_record *>(static_cast<size_t>(n));
  if (!eras) return fail(h, VL_ENOMEM);
  for (int32_t i = 0; i < n; ++i) {
    era_record *r = alloc_zeroed<era_record>(1);
    if (!r) {
      era_cleanup(eras, i);
      return fail(h, VL_ENOMEM);
    }
    if (get_era_struct(h, r, i) != 0) {
      _vl_free_ptr(r);
      era_cleanup(eras, i);
      return -1;
    }
    r->w_era_format = nullptr;
    eras[i] = r;
  }
  t.era_info = eras;
  // The joined texts depend only on the strings as read. A handle that
  // rebuilds its private era records after a copy keeps the shared ones.
  if (!t.era_concat && create_era_info(h) != 0) return -1;
  if (!t.alt_digits_concat && create_alt_digits_info(h) != 0) return -1;
  return 0;
}

VLS_API int32_t wstrtoi(const vl_wchar *w, const vl_wchar **end) {
  bool negative = false;
  if (*w == '-') {
    negative = true;
    ++w;
  }
  int64_t v = 0;
  for (; *w >= '0' && *w <= '9'; ++w) {
    if (v <= INT32_MAX) v = v * 10 + (*w - '0');
  }
  if (negative) v = -v;
  if (v > INT32_MAX) v = INT32_MAX;
  if (v < INT32_MIN) v = INT32_MIN;
  if (end) *end = w;
  return static_cast<int32_t>(v);
}

VLS_API char *alloc_mbs_copy(vl_locale_t *h, const vl_wchar *wide, vl_wchar stop, const vl_wchar **end) {
  const vl_wchar *q = wide;
  while (*q && *q != stop) ++q;
  if (*q != stop) {  // the text ends before its separator
    vls::set_error(h, VL_EERA);
    return nullptr;
  }
  if (end) *end = q;
  char scratch[16];
  size_t total = 4;
  for (const vl_wchar *p = wide; p < q; ++p) {
    const int n = vl_full_wctomb(h, scratch, *p);
    if (n < 0 || n > 4) {
      vls::set_error(h, VL_ENOMEM);
      return nullptr;
    }
    total += static_cast<size_t>(n);
  }
  char *out = static_cast<char *>(_vl_alloc_ptr(total));
  if (!out) {
    vls::set_error(h, VL_ENOMEM);
    return nullptr;
  }
  char *o = out;
  for (const vl_wchar *p = wide; p < q; ++p) o += vl_full_wctomb(h, o, *p);
  memset(o, 0, 4);
  return out;
}

VLS_API int get_era_struct(vl_locale_t *h, era_record *r, int32_t index) {
  const time_category &t = h->time;
  if (!r || index < 0 || index >= t.era_count) return fail(h, VL_EBADCOUNT);
  memset(r, 0, sizeof *r);
  const char *mb = t.era_strings ? t.era_strings[index] : nullptr;
  if (!mb) return fail(h, VL_EERA);
  // The general multibyte path, whatever kind the locale is.
  const size_t n = vls::mb_length(mb) + 1;
  vls::HostPtr<vl_wchar> wide(vls::alloc_array<vl_wchar>(n));
  if (!wide) return fail(h, VL_ENOMEM);
  const int got = _vl_im_mbstowcs(h, wide.get(), mb, static_cast<int32_t>(n));
  if (got < 0) return -1;
  if (static_cast<size_t>(got) >= n) return fail(h, VL_EERA);

  const vl_wchar *p = wide.get();
  auto separator = [&p](vl_wchar c) {
    if (*p != c) return false;
    ++p;
    return true;
  };
  auto number = [&p]() { return wstrtoi(p, &p); };
  bool ok = true;
  if (*p == '+') {
    r->direction = 1;
  } else if (*p == '-') {
    r->direction = -1;
  } else {
    ok = false;
  }
  if (ok) {
    ++p;
    ok = separator(':');
  }
  if (ok) {
    r->offset = number();
    ok = separator(':');
  }
  if (ok) {
    r->start_year = number();
    ok = separator('/');
  }
  if (ok) {
    r->start_month = number();
    ok = separator('/');
  }
  if (ok) {
    r->start_day = number();
    ok = separator(':');
  }
  if (ok) {
    if ((p[0] == '+' || p[0] == '-') && p[1] == '*') {
      r->end_marker = p[0] == '+' ? 1 : -1;
      p += 2;
    } else {
      r->end_year = number();
      ok = separator('/');
      if (ok) {
        r->end_month = number();
        ok = separator('/');
      }
      if (ok) r->end_day = number();
    }
  }
  if (ok) ok = separator(':');
  if (!ok) return fail(h, VL_EERA);

  if ((r->era_name = alloc_mbs_copy(h, p, ':', &p)) != nullptr) {
    ++p;
    if ((r->era_name2 = alloc_mbs_copy(h, p, ':', &p)) != nullptr) {
      ++p;
      r->era_format = alloc_mbs_copy(h, p, 0, nullptr);
    }
  }
  if (!r->era_format) {
    free_era_strings(r);
    return -1;
  }
  return 0;
}

VLS_API int create_era_info(vl_locale_t *h) {
  time_category &t = h->time;
  return join_strings(h, t.era_strings, t.era_count, t.era_concat);
}

VLS_API int create_alt_digits_info(vl_locale_t *h) {
  time_category &t = h->time;
  return join_strings(h, t.alt_digits, t.alt_digits_count, t.alt_digits_concat);
}

// ---- wide forms and caches -----------------------------------------------------

VLS_API int create_wide_time_strings(vl_locale_t *h) {
  time_category &t = h->time;
  if (rewiden(h, t.d_fmt, t.w_d_fmt) != 0 || rewiden(h, t.t_fmt, t.w_t_fmt) != 0 ||
      rewiden(h, t.d_t_fmt, t.w_d_t_fmt) != 0 || rewiden(h, t.t_fmt_ampm, t.w_t_fmt_ampm) != 0 ||
      rewiden(h, t.era_d_fmt, t.w_era_d_fmt) != 0 || rewiden(h, t.era_d_t_fmt, t.w_era_d_t_fmt) != 0 ||
      rewiden(h, t.era_t_fmt, t.w_era_t_fmt) != 0)
    return -1;
  if (t.era_info) {
    for (int32_t i = 0; i < t.era_count; ++i) {
      era_record *r = t.era_info[i];
      if (r && rewiden(h, r->era_format, r->w_era_format) != 0) return -1;
    }
  }
  if (t.alt_digits_count > 0 &&
      widen_list(h, t.alt_digits, t.alt_digits_count, t.w_alt_digits, t.alt_digits_count) != 0)
    return -1;
  // Both month lists are as long as the year; the counts are expected to
  // agree, and abbreviations beyond the abbreviated count stay null.
  if (t.mon_count > 0) {
    if (widen_list(h, t.mon, t.mon_count, t.w_mon, t.mon_count) != 0) return -1;
    if (widen_list(h, t.abmon, t.abmon_count, t.w_abmon, t.mon_count) != 0) return -1;
  }
  if (widen_weekdays(h, t.day, t.w_day) != 0 || widen_weekdays(h, t.abday, t.w_abday) != 0) return -1;
  if (rewiden(h, t.am_str, t.w_am_str) != 0 || rewiden(h, t.pm_str, t.w_pm_str) != 0 ||
      rewiden(h, t.era_concat, t.w_era_concat) != 0 ||
      rewiden(h, t.alt_digits_concat, t.w_alt_digits_concat) != 0)
    return -1;
  return 0;
}

VLS_API int cache_strings_for_lookup(vl_locale_t *h) {
  time_category &t = h->time;
  const int32_t eras = t.era_info ? t.era_count : 0;
  auto list = [](char *const *a) { return [a](int32_t i) -> const char * { return a ? a[i] : nullptr; }; };
  if (build_cache(h, VL_CACHE_ERA_NAME, eras,
                  [&t](int32_t i) -> const char * { return t.era_info[i] ? t.era_info[i]->era_name : nullptr; }) ||
      build_cache(h, VL_CACHE_ERA_NAME2, eras,
                  [&t](int32_t i) -> const char * { return t.era_info[i] ? t.era_info[i]->era_name2 : nullptr; }) ||
      build_cache(h, VL_CACHE_MON, t.mon_count, list(t.mon)) ||
      build_cache(h, VL_CACHE_ABMON, t.abmon_count, list(t.abmon)) ||
      build_cache(h, VL_CACHE_DAY, kWeekdays, list(t.day)) ||
      build_cache(h, VL_CACHE_ABDAY, kWeekdays, list(t.abday)) ||
      build_cache(h, VL_CACHE_ALT_DIGITS, t.alt_digits_count, list(t.alt_digits)) ||
      build_cache(h, VL_CACHE_AMPM, 2, [&t](int32_t i) -> const char * { return i == 0 ? t.am_str : t.pm_str; }))
    return -1;
  return 0;
}

// ---- release -----------------------------------------------------------------------

VLS_API void free_ltime(vl_locale_t *, time_category *t) {
  free_fixed(t->abday);
  free_fixed(t->w_abday);
  free_fixed(t->day);
  free_fixed(t->w_day);
  free_strings(t->abmon, t->abmon_count);
  free_wides(t->w_abmon, t->mon_count);  // made as long as the full list
  free_strings(t->mon, t->mon_count);
  free_wides(t->w_mon, t->mon_count);
  _vl_free_ptr(t->am_str);
  _vl_free_ptr(t->pm_str);
  _vl_free_ptr(t->w_am_str);
  _vl_free_ptr(t->w_pm_str);
  free_strings(t->alt_digits, t->alt_digits_count);
  free_wides(t->w_alt_digits, t->alt_digits_count);
  for (void *c : t->caches) _vl_free_wc_cache(static_cast<vl_wc_cache *>(c));
  char *formats[] = {t->d_fmt, t->d_t_fmt, t->t_fmt, t->t_fmt_ampm, t->era_d_fmt, t->era_d_t_fmt, t->era_t_fmt};
  for (char *f : formats) _vl_free_ptr(f);
  vl_wchar *wide_formats[] = {t->w_d_fmt,      t->w_d_t_fmt,     t->w_t_fmt,    t->w_t_fmt_ampm,
                              t->w_era_d_fmt, t->w_era_d_t_fmt, t->w_era_t_fmt};
  for (vl_wchar *f : wide_formats) _vl_free_ptr(f);
  free_strings(t->era_strings, t->era_count);
  era_cleanup(t->era_info, t->era_count);
  _vl_free_ptr(t->era_concat);
  _vl_free_ptr(t->w_era_concat);
  _vl_free_ptr(t->alt_digits_concat);
  _vl_free_ptr(t->w_alt_digits_concat);
  _vl_init_ltime(t);
}

VLS_API int32_t vl_get_era_count(vl_locale_t *h) { return h ? h->time.era_count : -1; }

}  // extern "C"
