// A stand-in for the Unicode bridge, built only for the tests. It exports
// all 78 vlu_* names with simple behaviour and records what it was given
// in exported tb_* variables, which a test reads through dlsym.
//
// Configuration read from the environment when the call happens:
//   TB_ICUNAME_RC      result of vlu_getIcuDataFileName (default 0)
//   TB_ICUDATA_STATUS  status set by vlu_loadIcuData (default 0)
//   TB_MAP_STATUS      status set by vlu_loadMapData (default 0)
//   TB_MEM_RESULT      result of vlu_setMemoryFunctions (default 0)
//   TB_USELOC          answer of vlu_useIcuLocCall (default 1)
//   TB_USECVT          answer of vlu_useIcuCvtCall (default 0)
// At run time a test may also set tb_next_status (status given by every
// other call that takes one) and tb_lc_open_status.
//
// Built with TB_OMIT_ONE, vlu_ucs32uc32 is left out.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <vls/vlsvlu.h>

#define TB_EXPORT __attribute__((visibility("default")))

namespace {
int env_int(const char *name, int fallback) {
  const char *v = getenv(name);
  return v && *v ? atoi(v) : fallback;
}
void copy_out(char *target, size_t size, const char *text) {
  if (!text) text = "(null)";
  strncpy(target, text, size - 1);
  target[size - 1] = '\0';
}
struct tb_locale {
  uint32_t magic;
  char name[64];
};
constexpr uint32_t kLocaleMagic = 0x7b10ca1e;
}  // namespace

extern "C" {

// ---- what the bridge was given --------------------------------------------
TB_EXPORT int32_t tb_total_calls = 0;
TB_EXPORT int16_t tb_next_status = 0;
TB_EXPORT int16_t tb_lc_open_status = 0;
TB_EXPORT int32_t tb_icudata_loads = 0, tb_icudata_unloads = 0;
TB_EXPORT int32_t tb_map_loads = 0, tb_map_unloads = 0;
TB_EXPORT char tb_icudata_path[1024] = "", tb_icudata_name[64] = "", tb_map_path[1024] = "";
TB_EXPORT int32_t tb_icudata_object = 0x1c0;  // addresses handed out as data and map
TB_EXPORT int32_t tb_map_object = 0x3a9;
TB_EXPORT int32_t tb_useloc_calls = 0;
TB_EXPORT char tb_useloc_locale[128] = "";
TB_EXPORT void *tb_useloc_map = nullptr;
TB_EXPORT int32_t tb_lc_open_calls = 0, tb_lc_close_calls = 0, tb_live_locales = 0;
TB_EXPORT char tb_lc_open_locale[128] = "";
TB_EXPORT void *tb_lc_open_map = nullptr;
TB_EXPORT void *tb_last_closed = nullptr;
TB_EXPORT void *tb_last_locale = nullptr;
TB_EXPORT int32_t tb_last_len1 = 0, tb_last_len2 = 0, tb_last_capacity = 0, tb_last_limit = 0;
TB_EXPORT char tb_last_string1[128] = "", tb_last_string2[128] = "";
TB_EXPORT char *tb_last_destination = nullptr;
TB_EXPORT int32_t tb_mblen_calls = 0, tb_mbscoll_calls = 0, tb_mbsxfrm_calls = 0;
TB_EXPORT int32_t tb_mblen_result = 2;
TB_EXPORT int32_t tb_mb_loc_max_result = 4, tb_mb_loc_min_result = 1;
TB_EXPORT int32_t tb_assign_global_result = 77;
// callbacks
TB_EXPORT vlu_malloc_cb tb_malloc = nullptr;
TB_EXPORT vlu_realloc_cb tb_realloc = nullptr;
TB_EXPORT vlu_free_cb tb_free = nullptr;
TB_EXPORT vlu_calloc_cb tb_calloc = nullptr;
TB_EXPORT vlu_stream_cb tb_fgetc = nullptr, tb_ferror = nullptr, tb_feof = nullptr;
TB_EXPORT vlu_fseek_cb tb_fseek = nullptr;
TB_EXPORT vlu_ftell_cb tb_ftell = nullptr;
TB_EXPORT vlu_uca_cb tb_uca = nullptr;
TB_EXPORT vlu_message_cb tb_print_message = nullptr;
TB_EXPORT int32_t tb_message_level = -1, tb_message_sublevel = -1;
TB_EXPORT int32_t tb_callback_calls = 0;  // the nine calls behind setMemoryFunctions

#define TB_COUNT() (++tb_total_calls)
#define TB_STATUS(s) \
  do {               \
    if (s) *(s) = tb_next_status; \
  } while (0)

// ---- data and map ---------------------------------------------------------
TB_EXPORT int32_t vlu_getIcuDataFileName(char *buffer, int32_t size) {
  TB_COUNT();
  if (buffer && size > 0) copy_out(buffer, static_cast<size_t>(size), "tbicudt.dat");
  return env_int("TB_ICUNAME_RC", 0);
}
TB_EXPORT int32_t vlu_useIcuCvtCall(void *, uint16_t, uint16_t, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return env_int("TB_USECVT", 0);
}
TB_EXPORT int32_t vlu_useIcuLocCall(void *map, const char *locale, int16_t *status) {
  TB_COUNT();
  ++tb_useloc_calls;
  tb_useloc_map = map;
  copy_out(tb_useloc_locale, sizeof tb_useloc_locale, locale);
  TB_STATUS(status);
  return env_int("TB_USELOC", 1);
}
TB_EXPORT const char *vlu_icuErrorName(int32_t status) {
  TB_COUNT();
  return status == 0 ? "U_ZERO_ERROR" : "U_TB_ERROR";
}
TB_EXPORT void *vlu_loadIcuData(const char *path, const char *name, int16_t *status) {
  TB_COUNT();
  ++tb_icudata_loads;
  copy_out(tb_icudata_path, sizeof tb_icudata_path, path);
  copy_out(tb_icudata_name, sizeof tb_icudata_name, name);
  *status = static_cast<int16_t>(env_int("TB_ICUDATA_STATUS", 0));
  return &tb_icudata_object;
}
TB_EXPORT int32_t vlu_unloadIcuData(void *) {
  TB_COUNT();
  ++tb_icudata_unloads;
  return 0;
}
TB_EXPORT void *vlu_loadMapData(const char *path, int16_t *status) {
  TB_COUNT();
  ++tb_map_loads;
  copy_out(tb_map_path, sizeof tb_map_path, path);
  *status = static_cast<int16_t>(env_int("TB_MAP_STATUS", 0));
  return &tb_map_object;
}
TB_EXPORT int32_t vlu_unloadMapData(void *) {
  TB_COUNT();
  ++tb_map_unloads;
  return 0;
}

// ---- converters -------------------------------------------------------------
TB_EXPORT void *vlu_cv_open(void *, uint16_t, uint16_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return &tb_total_calls;
}
TB_EXPORT int32_t vlu_cv_close(void *) { return TB_COUNT(), 0; }
TB_EXPORT int32_t vlu_cv_conv(void *, int32_t, const char **, int32_t *, char **, int32_t *, int32_t *,
                              int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT float vlu_iconv_expansion(void *) { return TB_COUNT(), 2.5f; }
TB_EXPORT const char *vlu_getICUCvtName(void *cv) { return TB_COUNT(), cv ? "tb-converter" : nullptr; }

// ---- locales ---------------------------------------------------------------
TB_EXPORT int32_t vlu_assign_global_struct(void) { return TB_COUNT(), tb_assign_global_result; }
TB_EXPORT void *vlu_lc_open(void *map, const char *locale, int16_t *status) {
  TB_COUNT();
  ++tb_lc_open_calls;
  tb_lc_open_map = map;
  copy_out(tb_lc_open_locale, sizeof tb_lc_open_locale, locale);
  *status = tb_lc_open_status;
  if (tb_lc_open_status > 0) return nullptr;
  tb_locale *l = static_cast<tb_locale *>(malloc(sizeof(tb_locale)));
  l->magic = kLocaleMagic;
  copy_out(l->name, sizeof l->name, locale);
  ++tb_live_locales;
  return l;
}
TB_EXPORT int32_t vlu_lc_close(void *locale) {
  TB_COUNT();
  ++tb_lc_close_calls;
  tb_last_closed = locale;
  tb_locale *l = static_cast<tb_locale *>(locale);
  if (!l || l->magic != kLocaleMagic) return -1;
  l->magic = 0;
  --tb_live_locales;
  free(l);
  return 0;
}
TB_EXPORT void *vlu_lc_clone(void *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return nullptr;
}
TB_EXPORT const char *vlu_getICULocName(void *locale) {
  TB_COUNT();
  return locale ? static_cast<tb_locale *>(locale)->name : nullptr;
}
TB_EXPORT int vlu_mb_loc_max(void *locale) {
  TB_COUNT();
  tb_last_locale = locale;
  return tb_mb_loc_max_result;
}
TB_EXPORT int vlu_mb_loc_min(void *locale) {
  TB_COUNT();
  tb_last_locale = locale;
  return tb_mb_loc_min_result;
}

// ---- characters --------------------------------------------------------------
TB_EXPORT int32_t vlu_case_conv_outbuflen(void *, int32_t length) { return TB_COUNT(), 3 * length; }
TB_EXPORT int32_t vlu_ismctype(void *, const char *, int32_t, uint32_t mask, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return static_cast<int32_t>(mask);
}
TB_EXPORT int32_t vlu_isuc32type(uint32_t, uint32_t mask) { return TB_COUNT(), static_cast<int32_t>(mask); }
TB_EXPORT int32_t vlu_mbtouc(void *, uint16_t *, const char *, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 1;
}
TB_EXPORT int32_t vlu_uctomb(void *, char *, uint16_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 1;
}
TB_EXPORT int32_t vlu_mbtouc32(void *, uint32_t *, const char *, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 1;
}
TB_EXPORT int32_t vlu_uc32tomb(void *, char *, uint32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 1;
}
TB_EXPORT int vlu_mblen(void *locale, const char *string, int32_t limit, int16_t *status) {
  TB_COUNT();
  ++tb_mblen_calls;
  tb_last_locale = locale;
  tb_last_limit = limit;
  copy_out(tb_last_string1, sizeof tb_last_string1, string);
  TB_STATUS(status);
  return tb_mblen_result;
}
TB_EXPORT int32_t vlu_mbwidth(void *, const char *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 1;
}
TB_EXPORT int32_t vlu_uc32width(uint32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 1;
}
TB_EXPORT int32_t vlu_mbtoupper(void *, char *, const char *, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0x0101;
}
TB_EXPORT int32_t vlu_mbtolower(void *, char *, const char *, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0x0101;
}
TB_EXPORT uint32_t vlu_uc32toupper(void *, uint32_t value, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return value;
}
TB_EXPORT uint32_t vlu_uc32tolower(void *, uint32_t value, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return value;
}

// ---- strings ---------------------------------------------------------------
TB_EXPORT int32_t vlu_mbstoucs(void *, uint16_t *, int32_t, const char *, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_ucstombs(void *, char *, int32_t, const uint16_t *, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_mbstoucs32(void *, uint32_t *, int32_t, const char *, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_ucs32tombs(void *locale, char *, int32_t capacity, const uint32_t *, int32_t length,
                                 int16_t *status) {
  TB_COUNT();
  tb_last_locale = locale;
  tb_last_capacity = capacity;
  tb_last_len1 = length;
  TB_STATUS(status);
  return 11;
}
TB_EXPORT char *vlu_mbsprev(void *, const char *start, const char *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return const_cast<char *>(start);
}
TB_EXPORT char *vlu_mbsnext(void *, const char *string, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return const_cast<char *>(string);
}
TB_EXPORT int32_t vlu_mbsntsbytes(void *, const char *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_mbstoupper(void *, char *, const char *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_mbstolower(void *, char *, const char *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_ucs32toupper(void *, uint32_t *, const uint32_t *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_ucs32tolower(void *, uint32_t *, const uint32_t *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_mbslen(void *, const char *, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_mbsbytes(void *, const char *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_ucs32len(const uint32_t *string) {
  TB_COUNT();
  int32_t n = 0;
  while (string && string[n]) ++n;
  return n;
}
#ifndef TB_OMIT_ONE
TB_EXPORT uint32_t *vlu_ucs32uc32(const uint32_t *string, uint32_t) {
  TB_COUNT();
  return const_cast<uint32_t *>(string);
}
#endif
TB_EXPORT char *vlu_mbschr(void *, const char *, int32_t, const char *, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return nullptr;
}
TB_EXPORT int32_t vlu_mbswidth(void *, const char *, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_ucs32width(const uint32_t *, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_mbspwidth(void *, const char *, const char *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_ucs32pwidth(const uint32_t *, const uint32_t *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}

// ---- collation ---------------------------------------------------------------
TB_EXPORT int32_t vlu_ucscoll(void *, const uint16_t *, int32_t, const uint16_t *, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_ucsxfrm(void *, char *, int32_t, const uint16_t *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_ucs32coll(void *, const uint32_t *, int32_t, const uint32_t *, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_ucs32xfrm(void *, char *, int32_t, const uint32_t *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
// Orders by plain byte comparison, so that results are predictable.
TB_EXPORT int32_t vlu_mbscoll(void *locale, const char *string1, int32_t length1, const char *string2,
                              int32_t length2, int16_t *status) {
  TB_COUNT();
  ++tb_mbscoll_calls;
  tb_last_locale = locale;
  tb_last_len1 = length1;
  tb_last_len2 = length2;
  copy_out(tb_last_string1, sizeof tb_last_string1, string1);
  copy_out(tb_last_string2, sizeof tb_last_string2, string2);
  TB_STATUS(status);
  int c = strcmp(string1, string2);
  return c < 0 ? -1 : c > 0 ? 1 : 0;
}
// The key is the source itself, cut to the capacity.
TB_EXPORT int32_t vlu_mbsxfrm(void *locale, char *destination, int32_t capacity, const char *source,
                              int16_t *status) {
  TB_COUNT();
  ++tb_mbsxfrm_calls;
  tb_last_locale = locale;
  tb_last_destination = destination;
  tb_last_capacity = capacity;
  copy_out(tb_last_string1, sizeof tb_last_string1, source);
  TB_STATUS(status);
  int32_t n = static_cast<int32_t>(strlen(source));
  if (destination && capacity > 0) copy_out(destination, static_cast<size_t>(capacity), source);
  return n;
}
TB_EXPORT int32_t vlu_mbsCollBound(void *, const char *, int32_t, int32_t, int32_t, char *, int32_t,
                                   int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_mbsSortKeyCollBound(void *, const char *, int32_t, int32_t, int32_t, char *, int32_t,
                                          int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}

// ---- streams -------------------------------------------------------------------
TB_EXPORT int32_t vlu_fgetuc32(void *, void *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return -1;
}
TB_EXPORT int32_t vlu_getmb(void *, char *, vlu_byte_reader, void *, int32_t *length, int16_t *status) {
  TB_COUNT();
  if (length) *length = 0;
  TB_STATUS(status);
  return -1;
}
TB_EXPORT char *vlu_getmbsi(void *, const char *string, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return const_cast<char *>(string);
}
TB_EXPORT char *vlu_putmbsi(void *, char *string, int32_t, const char *, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return string;
}
TB_EXPORT int32_t vlu_ucstoucs32(uint32_t *, int32_t, const uint16_t *, int32_t, int16_t *status) {
  TB_COUNT();
  TB_STATUS(status);
  return 0;
}
TB_EXPORT int32_t vlu_ucs32toucs(uint16_t *, int32_t capacity, const uint32_t *, int32_t length, int16_t *status) {
  TB_COUNT();
  tb_last_capacity = capacity;
  tb_last_len1 = length;
  TB_STATUS(status);
  return 12;
}

// ---- callbacks -------------------------------------------------------------------
TB_EXPORT int32_t vlu_setMemoryFunctions(vlu_malloc_cb m, vlu_realloc_cb r, vlu_free_cb f, vlu_calloc_cb c) {
  TB_COUNT();
  tb_malloc = m;
  tb_realloc = r;
  tb_free = f;
  tb_calloc = c;
  return env_int("TB_MEM_RESULT", 0);
}
TB_EXPORT int32_t vlu_setFgetcFunc(vlu_stream_cb f) { return TB_COUNT(), ++tb_callback_calls, tb_fgetc = f, 0; }
TB_EXPORT int32_t vlu_setFseekFunc(vlu_fseek_cb f) { return TB_COUNT(), ++tb_callback_calls, tb_fseek = f, 0; }
TB_EXPORT int32_t vlu_setFtellFunc(vlu_ftell_cb f) { return TB_COUNT(), ++tb_callback_calls, tb_ftell = f, 0; }
TB_EXPORT int32_t vlu_setFerrorFunc(vlu_stream_cb f) { return TB_COUNT(), ++tb_callback_calls, tb_ferror = f, 0; }
TB_EXPORT int32_t vlu_setFeofFunc(vlu_stream_cb f) { return TB_COUNT(), ++tb_callback_calls, tb_feof = f, 0; }
TB_EXPORT int32_t vlu_setUCAFunc(vlu_uca_cb f) { return TB_COUNT(), ++tb_callback_calls, tb_uca = f, 0; }
// Non-zero results here must be ignored by the caller.
TB_EXPORT int32_t vlu_setPrintMessageFunc(vlu_message_cb f) {
  return TB_COUNT(), ++tb_callback_calls, tb_print_message = f, 5;
}
TB_EXPORT int32_t vlu_setMessageLevel(int32_t level) {
  return TB_COUNT(), ++tb_callback_calls, tb_message_level = level, 6;
}
TB_EXPORT int32_t vlu_setMessageSubLevel(int32_t level) {
  return TB_COUNT(), ++tb_callback_calls, tb_message_sublevel = level, 7;
}

}  // extern "C"
