// The LC_TIME reader and its finisher on arbitrary bytes, in a Latin-1-like
// single-byte codeset or an EUC-like one (ASCII in one byte, 0xA1..0xFE
// 0xA1..0xFE and 0x8E 0xA1..0xDF in two). The LC_CTYPE trees are built here
// with the library's own tree functions, once per process.
//
// Input: byte 0 picks the codeset (bit 0) and whether a read that succeeds
// is finished twice (bit 1); the rest is the section behind its marker.
// After a finished read, the derived data are checked against the category
// and every cache is searched for every name.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <vls/vls.h>
#include <vls/vlsctype.h>
#include <vls/vlstime.h>

namespace {

uint16_t ascii_mask(unsigned c) {
  uint16_t m = 0;
  if (c < 32 || c == 127) m |= VL_CT_CNTRL;
  if (c == ' ' || c == '\t') m |= VL_CT_BLANK;
  if (c == ' ' || (c >= '\t' && c <= '\r')) m |= VL_CT_SPACE;
  if (c > 32 && c < 127) m |= VL_CT_GRAPH | VL_CT_PRINT;
  if (c == ' ') m |= VL_CT_PRINT;
  return m;
}

bool insert(multi_t *t, unsigned a, int n, unsigned b, uint16_t mask) {
  vl_desc_t d{};
  d.length = static_cast<uint32_t>(n);
  d.bytes[0] = static_cast<unsigned char>(a);
  d.bytes[1] = static_cast<unsigned char>(b);
  return _vl_insert_desc_multi(&d, &mask, t) == 0;
}

vl_locale_t *make_handle(bool euc) {
  vl_locale_t *h = nullptr;
  if (vl_create_null_locale_4(&h) != 0) return nullptr;
  const uint16_t zero = 0;
  multi_t *t = _vl_create_multi(2, 0, &zero);
  if (!t) return nullptr;
  bool ok = true;
  if (euc) {
    for (unsigned c = 0; c < 128; ++c) ok = ok && insert(t, c, 1, 0, ascii_mask(c));
    for (unsigned a = 0xA1; a <= 0xFE; ++a)
      for (unsigned b = 0xA1; b <= 0xFE; ++b) ok = ok && insert(t, a, 2, b, VL_CT_GRAPH | VL_CT_PRINT);
    for (unsigned b = 0xA1; b <= 0xDF; ++b) ok = ok && insert(t, 0x8E, 2, b, VL_CT_GRAPH | VL_CT_PRINT);
  } else {
    for (unsigned c = 0; c < 256; ++c)
      ok = ok && insert(t, c, 1, 0, c < 128 ? ascii_mask(c) : (c < 160 ? VL_CT_CNTRL : VL_CT_GRAPH | VL_CT_PRINT));
  }
  if (!ok || _vl_compress_multi(t) != 0) return nullptr;
  _vl_free_multi(h->ctype.ctype_tree);
  h->ctype.ctype_tree = t;
  snprintf(h->codeset_names[0], sizeof h->codeset_names[0], "%s", euc ? "ujis" : "8859-1");
  snprintf(h->locale_names[0], sizeof h->locale_names[0], "%s", "fuzz.lco");
  if (set_flags(h) != 0 || h->single_byte != (euc ? 0 : 1)) return nullptr;
  return h;
}

void check(bool condition) {
  if (!condition) __builtin_trap();
}

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
  static vl_locale_t *handles[2] = {make_handle(false), make_handle(true)};
  if (size < 1) return 0;
  vl_locale_t *h = handles[data[0] & 1];
  if (!h) __builtin_trap();
  FILE *f = size > 1 ? fmemopen(const_cast<uint8_t *>(data + 1), size - 1, "r") : tmpfile();
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
