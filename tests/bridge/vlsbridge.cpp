// A stand-in for the Unicode bridge, built only for the tests. CMakeLists.txt
// builds it twice: vlsbridge, and vlsbridge_missing with vlu_ucs32uc32 kept
// local by a version script; it also writes corrupt.so, a file that exists
// but won't load. bridge_test builds its trees from these.
//
// It exports all 78 names with the types of the library's table. The few
// that the binding and the locale rows use record what they are given in the
// state that tb_state() gives (tbbridge.h); every other name takes anything
// and gives zero. Read from the environment when the call happens:
// TB_ICUNAME_RC (result of getIcuDataFileName), TB_ICUDATA_STATUS and
// TB_MAP_STATUS (status of the two loads), TB_MEM_RESULT (result of
// setMemoryFunctions), TB_USELOC (answer of useIcuLocCall, 1 when unset).
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "tbbridge.h"

namespace {
TbState s;  // behind a function: the sanitizer takes copies of one global for a broken ODR
#define TB_ENUM(n) k_##n,
enum { TB_NAMES(TB_ENUM) };
template <int K, class F> struct Impl;
template <int K, class R, class... A> struct Impl<K, R (*)(A...)> {
  static R fn(A...) { return {}; }
};
#define TB_IMPL(n) template <> struct Impl<k_##n, decltype(fn_vlu_##n)>

int16_t env(const char *name, int unset = 0) { return static_cast<int16_t>(getenv(name) ? atoi(getenv(name)) : unset); }
template <size_t N> void copy(char (&target)[N], const char *text) { snprintf(target, N, "%s", text); }

TB_IMPL(getIcuDataFileName) {
  static int32_t fn(char *buffer, int32_t size) { return snprintf(buffer, size, "tbicudt.dat"), env("TB_ICUNAME_RC"); }
};
TB_IMPL(loadIcuData) {
  static void *fn(const char *dir, const char *name, int16_t *st) {
    return ++s.icudata_loads, copy(s.icudata_path, dir), copy(s.icudata_name, name), *st = env("TB_ICUDATA_STATUS"), &s.icudata;
  }
};
TB_IMPL(loadMapData) {
  static void *fn(const char *p, int16_t *st) { return ++s.map_loads, copy(s.map_path, p), *st = env("TB_MAP_STATUS"), &s.map; }
};
TB_IMPL(unloadIcuData) { static int32_t fn(void *) { return ++s.icudata_unloads, 0; } };
TB_IMPL(unloadMapData) { static int32_t fn(void *) { return ++s.map_unloads, 0; } };
TB_IMPL(useIcuLocCall) {
  static int32_t fn(void *map, const char *l, int16_t *) { return s.useloc_map = map, copy(s.useloc, l), env("TB_USELOC", 1); }
};
// A locale object is a heap copy of its name, so that the sanitizers see a
// double or missing close.
TB_IMPL(lc_open) {
  static void *fn(void *map, const char *locale, int16_t *status) {
    ++s.lc_opens, s.lc_open_map = map, copy(s.lc_open_locale, locale);
    return (*status = s.lc_open_status) > 0 ? nullptr : (++s.live_locales, strdup(locale));
  }
};
TB_IMPL(lc_close) { static int32_t fn(void *l) { return ++s.lc_closes, --s.live_locales, s.last_closed = l, free(l), 0; } };
template <class F> void *P(F f) { return reinterpret_cast<void *>(f); }
TB_IMPL(setMemoryFunctions) {
  static int32_t fn(vlu_malloc_cb m, vlu_realloc_cb r, vlu_free_cb f, vlu_calloc_cb c) {
    return s.callbacks[0] = P(m), s.callbacks[1] = P(r), s.callbacks[2] = P(f), s.callbacks[3] = P(c), env("TB_MEM_RESULT");
  }
};
// The library must ignore what the other setters give.
#define TB_SETTER(n, slot, T) \
  TB_IMPL(n) { static int32_t fn(T f) { return s.callbacks[slot] = P(f), ++s.setters, slot; } };
TB_SETTER(setFgetcFunc, 4, vlu_stream_cb) TB_SETTER(setFseekFunc, 5, vlu_fseek_cb) TB_SETTER(setFtellFunc, 6, vlu_ftell_cb)
TB_SETTER(setFerrorFunc, 7, vlu_stream_cb) TB_SETTER(setFeofFunc, 8, vlu_stream_cb) TB_SETTER(setUCAFunc, 9, vlu_uca_cb)
TB_SETTER(setPrintMessageFunc, 10, vlu_message_cb)
TB_IMPL(setMessageLevel) { static int32_t fn(int32_t l) { return s.level = l, ++s.setters, 11; } };
TB_IMPL(setMessageSubLevel) { static int32_t fn(int32_t l) { return s.sublevel = l, ++s.setters, 12; } };
}  // namespace

extern "C" __attribute__((visibility("default"))) TbState *tb_state() { return &s; }
// Each name is an indirect function whose resolver picks its Impl, which
// must have the type of the library's pointer.
#define TB_DEFINE(n)                                                                                 \
  extern "C" decltype(fn_vlu_##n) tb_pick_##n() { return &Impl<k_##n, decltype(fn_vlu_##n)>::fn; } \
  extern "C" __attribute__((visibility("default"), ifunc("tb_pick_" #n))) std::remove_pointer_t<decltype(fn_vlu_##n)> vlu_##n;
TB_NAMES(TB_DEFINE)
