// Shared by the test bridge library and the suites that use it.
#ifndef VLS_TEST_TBBRIDGE_H
#define VLS_TEST_TBBRIDGE_H

#include <vls/vlsvlu.h>

// The 78 names of the bridge, in the order the library binds them.
#define TB_NAMES(X)                                                                                                   \
  X(getIcuDataFileName) X(useIcuCvtCall) X(useIcuLocCall) X(icuErrorName) X(loadIcuData) X(unloadIcuData)             \
  X(loadMapData) X(unloadMapData) X(cv_open) X(cv_close) X(lc_clone) X(cv_conv) X(iconv_expansion)                    \
  X(assign_global_struct) X(lc_open) X(lc_close) X(mb_loc_max) X(getICULocName) X(getICUCvtName) X(mb_loc_min)        \
  X(case_conv_outbuflen) X(ismctype) X(isuc32type) X(mbtouc) X(uctomb) X(mbtouc32) X(uc32tomb) X(mblen) X(mbwidth)    \
  X(uc32width) X(mbtoupper) X(mbtolower) X(uc32toupper) X(uc32tolower) X(mbstoucs) X(ucstombs) X(mbstoucs32)          \
  X(ucs32tombs) X(mbsprev) X(mbsnext) X(mbsntsbytes) X(mbstoupper) X(mbstolower) X(ucs32toupper) X(ucs32tolower)      \
  X(mbslen) X(mbsbytes) X(ucs32len) X(ucs32uc32) X(mbschr) X(mbswidth) X(ucs32width) X(mbspwidth) X(ucs32pwidth)      \
  X(ucscoll) X(ucsxfrm) X(ucs32coll) X(ucs32xfrm) X(mbscoll) X(mbsxfrm) X(mbsCollBound) X(mbsSortKeyCollBound)        \
  X(fgetuc32) X(getmb) X(getmbsi) X(putmbsi) X(setMemoryFunctions) X(setFgetcFunc) X(setFseekFunc) X(setFtellFunc)    \
  X(setFerrorFunc) X(setFeofFunc) X(setUCAFunc) X(ucstoucs32) X(ucs32toucs) X(setPrintMessageFunc) X(setMessageLevel) \
  X(setMessageSubLevel)

// What the test bridge was given, from its function "tb_state". The
// callbacks are in the order the library hands them over: malloc, realloc,
// free, calloc, fgetc, fseek, ftell, ferror, feof, UCA, message.
struct TbState {
  int32_t icudata_loads, icudata_unloads, map_loads, map_unloads, lc_opens, lc_closes, live_locales, setters;
  int32_t level, sublevel, icudata, map;  // the last two: their addresses are handed out as data and map
  int16_t lc_open_status;                 // status vlu_lc_open gives, set by a test
  void *useloc_map, *lc_open_map, *last_closed, *callbacks[11];
  char icudata_path[512], icudata_name[64], map_path[512], useloc[64], lc_open_locale[64];
};

#endif
