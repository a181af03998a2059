// The LC_TIME reader and its finisher on arbitrary bytes, in a Latin-1-like
// single-byte codeset or an EUC-like one (ASCII in one byte, 0xA1..0xFE
// 0xA1..0xFE and 0x8E 0xA1..0xDF in two). The LC_CTYPE trees are built here
// with the library's own tree functions, once per process.
//
// Input: byte 0 picks the codeset (bit 0) and whether a read that succeeds
// is finished twice (bit 1); then the text part (services.h: a length
// byte, a split byte, the text); the rest is the section behind its
// marker. After a finished read, the derived data are checked against the
// category, every cache is searched for every name, and the services run
// on the text with the new category in place.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <vls/vls.h>
#include <vls/vlsctype.h>
#include <vls/vlstime.h>

#include "lcofix.h"
#include "services.h"

namespace {


using vlsfuzz::check;

size_t wlen(const vl_wchar *w) {
  size_t n = 0;
  while (w[n]) ++n;
  return n;
}

// Each name must be found in its cache at an index holding an equal name.
void probe(vl_wc_cache *cache, vl_wchar *const *wide, int32_t count) {
  if (!wide) return;
  for (int32_t i = 0; i < count; ++i) {
    if (!wide[i]) continue;
    const int32_t at = _vl_lookup_wc_string(cache, wide[i], -1);
    check(at >= 0 && at <= i);
    int32_t matched = -1;
    const int32_t p = _vl_lookup_wc_prefix(cache, wide[i], -1, &matched);
    check(p >= 0 && static_cast<size_t>(matched) == wlen(wide[i]));
  }
}

void examine(vl_locale_t *h) {
  const time_category &t = h->time;
  check(t.calendar >= 1 && t.calendar <= 4);
  for (void *c : t.caches) check(c != nullptr);
  auto cache = [&t](int slot) { return static_cast<vl_wc_cache *>(t.caches[slot]); };
  probe(cache(VL_CACHE_DAY), t.w_day, 7);
  probe(cache(VL_CACHE_ABDAY), t.w_abday, 7);
  probe(cache(VL_CACHE_MON), t.w_mon, t.mon_count);
  // the wide abbreviations follow the full count
  const int32_t ab = t.abmon_count < t.mon_count ? t.abmon_count : t.mon_count;
  probe(cache(VL_CACHE_ABMON), t.w_abmon, ab);
  probe(cache(VL_CACHE_ALT_DIGITS), t.w_alt_digits, t.alt_digits_count);
  if (t.era_count > 0) {
    check(t.era_info != nullptr && t.era_concat != nullptr && t.alt_digits_concat != nullptr);
    for (int32_t i = 0; i < t.era_count; ++i) {
      const era_record *e = t.era_info[i];
      check(e->direction == 1 || e->direction == -1);
      check(e->end_marker >= -1 && e->end_marker <= 1);
      check(e->era_name && e->era_name2 && e->era_format);
    }
  } else {
    check(t.era_info == nullptr && t.alt_digits_concat == nullptr);
  }
  for (int item = 0; item <= 80; ++item) check(vl_nl_langinfo(h, item) != nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static vl_locale_t *handles[2] = {vlstest::make_handle(vlstest::latin1_spec()), vlstest::make_handle(vlstest::euc_spec())};
  if (size < 1) return 0;
  vl_locale_t *h = handles[data[0] & 1];
  if (!h) __builtin_trap();
  const vlsfuzz::Input in = vlsfuzz::split_input(data + 1, size - 1);
  FILE *f = in.rest_size ? fmemopen(const_cast<uint8_t *>(in.rest), in.rest_size, "r") : tmpfile();
  if (!f) return 0;
  int32_t err = 0;
  h->vl_errno = 0;
  const int r = _vl_read_time(f, &h->time, &err);
  fclose(f);
  if (r == 0) {
    check(err == 0);
    int fin = init_time_info(h);
    if (fin == 1 && (data[0] & 2)) fin = init_time_info(h);
    if (fin == 1) {
      examine(h);
      vlsfuzz::exercise(h, in);
    } else {
      check(fin == -1 && h->vl_errno != 0);
    }
    check(vl_get_era_count(h) == h->time.era_count);
  } else {
    check(r == -1 && (err == 3 || err == 11 || err == 50));
  }
  free_ltime(h, &h->time);
  return 0;
}
