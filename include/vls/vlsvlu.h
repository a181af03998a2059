/* Unicode bridge: optional binding to a separate shared library (which in
 * turn rests on ICU), the process-wide state behind it, and the rule by
 * which a locale category is handed over to it.
 *
 * The bridge is opt-in twice over: the host declares the process capable
 * with vl_usevlu(), and the environment asks for it with "VL_USEVLU". Until
 * both have happened unicode_collate is 0, pMap is null and the fn_vlu_*
 * table stays empty.
 *
 * Every bridge call that takes a status receives the address of a signed
 * 16-bit value cleared by the caller; a value above 0 is an error number,
 * which the caller stores in the handle's vl_errno. */
#ifndef VLS_VLSVLU_H
#define VLS_VLSVLU_H

#include <stddef.h>
#include <stdint.h>
#include <vls/vlsexport.h>
#include <vls/vlsext.h>

VLS_BEGIN_DECLS

struct vl_locale_t;

/* ---- process-wide state ------------------------------------------------ */

/* A library opened through the dynamic loader. */
typedef struct dl_handle {
  int32_t status;   /* 0, -1 after a loader error, -2 after an internal error */
  char *message;    /* owned text of the last error, or null */
  void *handle;     /* the loader's handle, or null */
  char *path;       /* owned copy of the library's path, or null */
} dl_handle;

#define VLU_MAX_LIBRARIES 4
#define VLU_BINDING_COUNT 78

VLS_API extern int32_t vlu_capable;     /* 1 or 2 allow the bridge (2: may fall back) */
VLS_API extern int32_t unicode_collate; /* 1 while the bridge is in use */
VLS_API extern int32_t vlu_loaded;      /* 1 once vl_init_vlu_dll ran to its end */
VLS_API extern void *pMap;              /* the loaded "locmap"; non-null: bridge ready */
VLS_API extern void *vlu_cudata_t;      /* the loaded ICU data */
VLS_API extern dl_handle handlevlu[VLU_MAX_LIBRARIES];

/* Callback shapes handed to the bridge. */
typedef void *(*vlu_malloc_cb)(const void *context, size_t size);
typedef void *(*vlu_realloc_cb)(const void *context, void *pointer, size_t size);
typedef void (*vlu_free_cb)(const void *context, void *pointer);
typedef void *(*vlu_calloc_cb)(const void *context, size_t count, size_t size);
typedef int (*vlu_stream_cb)(void *stream);
typedef int (*vlu_fseek_cb)(void *stream, long offset, int whence);
typedef long (*vlu_ftell_cb)(void *stream);
typedef int (*vlu_uca_cb)(void);
typedef void (*vlu_message_cb)(const char *text);
/* Byte reader of vl_getmb: gives the next byte or -1. */
typedef int (*vlu_byte_reader)(void *argument);

/* ---- the bound table, in binding order ----------------------------------
 * "map" is pMap, "locale" a bridge locale object from vlu_lc_open, "cv" a
 * bridge converter from vlu_cv_open. Multibyte strings are char, UTF-16
 * strings uint16_t and UTF-32 values uint32_t (vl_wchar). Lengths of -1
 * mean NUL-terminated. */

/* buffer of `size` bytes receives the ICU data file's name; 0 on success */
VLS_API extern int32_t (*fn_vlu_getIcuDataFileName)(char *buffer, int32_t size);
/* 1 if the bridge serves conversions between the two codeset numbers */
VLS_API extern int32_t (*fn_vlu_useIcuCvtCall)(void *map, uint16_t from_codeset, uint16_t to_codeset,
                                               int32_t options, int16_t *status);
/* 1 if the bridge serves the locale, given in normal form */
VLS_API extern int32_t (*fn_vlu_useIcuLocCall)(void *map, const char *locale, int16_t *status);
VLS_API extern const char *(*fn_vlu_icuErrorName)(int32_t status);
VLS_API extern void *(*fn_vlu_loadIcuData)(const char *path, const char *name, int16_t *status);
VLS_API extern int32_t (*fn_vlu_unloadIcuData)(void *data);
VLS_API extern void *(*fn_vlu_loadMapData)(const char *path, int16_t *status);
VLS_API extern int32_t (*fn_vlu_unloadMapData)(void *map);
VLS_API extern void *(*fn_vlu_cv_open)(void *map, uint16_t from_codeset, uint16_t to_codeset, int16_t *status);
VLS_API extern int32_t (*fn_vlu_cv_close)(void *cv);
VLS_API extern void *(*fn_vlu_lc_clone)(void *locale, int16_t *status);
VLS_API extern int32_t (*fn_vlu_cv_conv)(void *cv, int32_t last, const char **source, int32_t *source_length,
                                         char **target, int32_t *room, int32_t *flag, int16_t *status);
VLS_API extern float (*fn_vlu_iconv_expansion)(void *cv);
VLS_API extern int32_t (*fn_vlu_assign_global_struct)(void);
VLS_API extern void *(*fn_vlu_lc_open)(void *map, const char *locale, int16_t *status);
VLS_API extern int32_t (*fn_vlu_lc_close)(void *locale);
VLS_API extern int (*fn_vlu_mb_loc_max)(void *locale);
VLS_API extern const char *(*fn_vlu_getICULocName)(void *locale);
VLS_API extern const char *(*fn_vlu_getICUCvtName)(void *cv);
VLS_API extern int (*fn_vlu_mb_loc_min)(void *locale);
VLS_API extern int32_t (*fn_vlu_case_conv_outbuflen)(void *locale, int32_t length);
VLS_API extern int32_t (*fn_vlu_ismctype)(void *locale, const char *string, int32_t limit, uint32_t mask,
                                          int16_t *status);
VLS_API extern int32_t (*fn_vlu_isuc32type)(uint32_t value, uint32_t mask);
VLS_API extern int32_t (*fn_vlu_mbtouc)(void *locale, uint16_t *target, const char *string, int32_t limit,
                                        int16_t *status);
VLS_API extern int32_t (*fn_vlu_uctomb)(void *locale, char *target, uint16_t value, int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbtouc32)(void *locale, uint32_t *target, const char *string, int32_t limit,
                                          int16_t *status);
VLS_API extern int32_t (*fn_vlu_uc32tomb)(void *locale, char *target, uint32_t value, int16_t *status);
VLS_API extern int (*fn_vlu_mblen)(void *locale, const char *string, int32_t limit, int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbwidth)(void *locale, const char *string, int16_t *status);
VLS_API extern int32_t (*fn_vlu_uc32width)(uint32_t value, int16_t *status);
/* packed result: bytes consumed in the high byte, bytes written in the low */
VLS_API extern int32_t (*fn_vlu_mbtoupper)(void *locale, char *target, const char *source, int32_t limit,
                                           int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbtolower)(void *locale, char *target, const char *source, int32_t limit,
                                           int16_t *status);
VLS_API extern uint32_t (*fn_vlu_uc32toupper)(void *locale, uint32_t value, int16_t *status);
VLS_API extern uint32_t (*fn_vlu_uc32tolower)(void *locale, uint32_t value, int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbstoucs)(void *locale, uint16_t *target, int32_t capacity, const char *source,
                                          int32_t length, int16_t *status);
VLS_API extern int32_t (*fn_vlu_ucstombs)(void *locale, char *target, int32_t capacity, const uint16_t *source,
                                          int32_t length, int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbstoucs32)(void *locale, uint32_t *target, int32_t capacity, const char *source,
                                            int32_t length, int16_t *status);
VLS_API extern int32_t (*fn_vlu_ucs32tombs)(void *locale, char *target, int32_t capacity, const uint32_t *source,
                                            int32_t length, int16_t *status);
VLS_API extern char *(*fn_vlu_mbsprev)(void *locale, const char *start, const char *position, int16_t *status);
VLS_API extern char *(*fn_vlu_mbsnext)(void *locale, const char *string, int32_t limit, int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbsntsbytes)(void *locale, const char *string, int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbstoupper)(void *locale, char *target, const char *source, int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbstolower)(void *locale, char *target, const char *source, int16_t *status);
VLS_API extern int32_t (*fn_vlu_ucs32toupper)(void *locale, uint32_t *target, const uint32_t *source,
                                              int16_t *status);
VLS_API extern int32_t (*fn_vlu_ucs32tolower)(void *locale, uint32_t *target, const uint32_t *source,
                                              int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbslen)(void *locale, const char *string, int32_t length, int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbsbytes)(void *locale, const char *string, int16_t *status);
VLS_API extern int32_t (*fn_vlu_ucs32len)(const uint32_t *string);
VLS_API extern uint32_t *(*fn_vlu_ucs32uc32)(const uint32_t *string, uint32_t value);
VLS_API extern char *(*fn_vlu_mbschr)(void *locale, const char *string, int32_t length, const char *character,
                                      int32_t char_limit, int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbswidth)(void *locale, const char *string, int32_t count, int16_t *status);
VLS_API extern int32_t (*fn_vlu_ucs32width)(const uint32_t *string, int32_t count, int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbspwidth)(void *locale, const char *start, const char *end, int16_t *status);
VLS_API extern int32_t (*fn_vlu_ucs32pwidth)(const uint32_t *start, const uint32_t *end, int16_t *status);
VLS_API extern int32_t (*fn_vlu_ucscoll)(void *locale, const uint16_t *string1, int32_t length1,
                                         const uint16_t *string2, int32_t length2, int16_t *status);
VLS_API extern int32_t (*fn_vlu_ucsxfrm)(void *locale, char *destination, int32_t capacity, const uint16_t *source,
                                         int16_t *status);
VLS_API extern int32_t (*fn_vlu_ucs32coll)(void *locale, const uint32_t *string1, int32_t length1,
                                           const uint32_t *string2, int32_t length2, int16_t *status);
VLS_API extern int32_t (*fn_vlu_ucs32xfrm)(void *locale, char *destination, int32_t capacity,
                                           const uint32_t *source, int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbscoll)(void *locale, const char *string1, int32_t length1, const char *string2,
                                         int32_t length2, int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbsxfrm)(void *locale, char *destination, int32_t capacity, const char *source,
                                         int16_t *status);
/* sort-key bounds: kind 0 lower, 1 upper, 2 upper-long; `levels` strength */
VLS_API extern int32_t (*fn_vlu_mbsCollBound)(void *locale, const char *source, int32_t length, int32_t kind,
                                              int32_t levels, char *target, int32_t capacity, int16_t *status);
VLS_API extern int32_t (*fn_vlu_mbsSortKeyCollBound)(void *locale, const char *key, int32_t key_length,
                                                     int32_t kind, int32_t levels, char *target, int32_t capacity,
                                                     int16_t *status);
VLS_API extern int32_t (*fn_vlu_fgetuc32)(void *locale, void *stream, int16_t *status);
VLS_API extern int32_t (*fn_vlu_getmb)(void *locale, char *target, vlu_byte_reader reader, void *argument,
                                       int32_t *length, int16_t *status);
VLS_API extern char *(*fn_vlu_getmbsi)(void *locale, const char *string, int32_t index, int16_t *status);
VLS_API extern char *(*fn_vlu_putmbsi)(void *locale, char *string, int32_t index, const char *character,
                                       int16_t *status);
/* 0 on success, else an error number */
VLS_API extern int32_t (*fn_vlu_setMemoryFunctions)(vlu_malloc_cb malloc_fn, vlu_realloc_cb realloc_fn,
                                                    vlu_free_cb free_fn, vlu_calloc_cb calloc_fn);
VLS_API extern int32_t (*fn_vlu_setFgetcFunc)(vlu_stream_cb fgetc_fn);
VLS_API extern int32_t (*fn_vlu_setFseekFunc)(vlu_fseek_cb fseek_fn);
VLS_API extern int32_t (*fn_vlu_setFtellFunc)(vlu_ftell_cb ftell_fn);
VLS_API extern int32_t (*fn_vlu_setFerrorFunc)(vlu_stream_cb ferror_fn);
VLS_API extern int32_t (*fn_vlu_setFeofFunc)(vlu_stream_cb feof_fn);
VLS_API extern int32_t (*fn_vlu_setUCAFunc)(vlu_uca_cb uca_fn);
VLS_API extern int32_t (*fn_vlu_ucstoucs32)(uint32_t *target, int32_t capacity, const uint16_t *source,
                                            int32_t length, int16_t *status);
VLS_API extern int32_t (*fn_vlu_ucs32toucs)(uint16_t *target, int32_t capacity, const uint32_t *source,
                                            int32_t length, int16_t *status);
VLS_API extern int32_t (*fn_vlu_setPrintMessageFunc)(vlu_message_cb message_fn);
VLS_API extern int32_t (*fn_vlu_setMessageLevel)(int32_t level);
VLS_API extern int32_t (*fn_vlu_setMessageSubLevel)(int32_t sublevel);

/* ---- binding ----------------------------------------------------------- */

/* Declares the process capable of using the bridge (1, or 2 to allow a
 * fallback when the library won't load); any other value forbids it.
 * Always 0. */
VLS_API int vl_usevlu(int32_t value);
/* Loads and binds the libraries named in vls/etc/32-dllregistry.34 when
 * "VL_USEVLU" asks for it. `handle`: any record that begins with a 32-bit
 * error number. 0, or -1 with the reason stored. */
VLS_API int vl_init_vlu_dll(void *handle);
/* vl_init_vlu_dll, then the ICU data and "locmap". 0 or -1. */
VLS_API int vl_init_vlu(void *handle);
/* Unloads the data and closes the libraries; the bridge is not loaded again
 * in this process. 0, or -1 when a library won't close. */
VLS_API int vl_unload_vlu(void);

/* Reads the next line of the registry and rebuilds *name as the full path
 * <directory>/vls/dll/<line>. At the end of the file *name becomes null and
 * *size 0. 0, or -1 when memory runs out. */
VLS_API int get_dl_name(void *file, const char *directory, char **name, int32_t *size);

/* Loader wrappers. A flags value of -99 means RTLD_NOW | RTLD_GLOBAL. */
#define VLU_DL_DEFAULT_FLAGS (-99)
VLS_API int kvnx_dlopen(dl_handle *record, const char *path, int32_t flags);
VLS_API int kvnx_dlsym(dl_handle *record, void **address, const char *name);
VLS_API int kvnx_dlclose(dl_handle *record);
VLS_API int kvnx_dlerror(dl_handle *record);

/* Decides whether `category` (2 to 7), just read from the file `name`, is
 * answered by the bridge. 0, or 1 when the bridge's locale can't be opened. */
VLS_API int set_categories_vlu(struct vl_locale_t *handle, int category, const char *name);
/* Releases the category's bridge locale; category 1 clears all six slots
 * and closes nothing. */
VLS_API void set_categories_vlu_null(struct vl_locale_t *handle, int category);

/* ---- forwarders -------------------------------------------------------- */

VLS_API void *vlx_vluMap(void);
VLS_API void *vlx_vluLoc(struct vl_locale_t *handle, int category);
VLS_API const char *vlx_icuErrorName(int32_t status);
VLS_API const char *vlx_getICULocName(void *locale);
VLS_API const char *vlx_getICUCvtName(void *cv);
/* These four forward with no test that the bridge is bound. */
VLS_API void *vlx_lc_open(void *map, const char *locale, int16_t *status);
VLS_API int32_t vlx_lc_close(void *locale);
VLS_API int32_t vlx_ucs32tombs(void *locale, char *target, int32_t capacity, const uint32_t *source,
                               int32_t length, int16_t *status);
VLS_API int32_t vlx_ucs32toucs(uint16_t *target, int32_t capacity, const uint32_t *source, int32_t length,
                               int16_t *status);
VLS_API int32_t vls_assign_global_struct(void);

/* Collation forms installed by set_collation_fp for VL_COLL_BRIDGE. */
VLS_API int _vlu_mbscoll(struct vl_locale_t *handle, const char *string1, const char *string2);
VLS_API int _vlu_mbfscoll(struct vl_locale_t *handle, const char *string1, int32_t length1, const char *string2,
                          int32_t length2);
VLS_API int _vlu_mbsxfrm(struct vl_locale_t *handle, char *target, const char *source, int32_t size);

VLS_END_DECLS

#ifdef __cplusplus
/* ---- dispatch ------------------------------------------------------------
 * A service with a bridge form tests its category's flag and, when set,
 * calls the bridge with the category's bridge locale in place of its native
 * body:
 *
 *   int r;
 *   if (_vlu_dispatch(handle, VL_LC_CTYPE, &r, fn_vlu_mblen, string, limit))
 *     return r;
 *
 * _vlu_call alone runs the status pattern on any bridge call: clear a 16-bit
 * status, call with its address as the last argument, and store a positive
 * status in the handle's error number. */

/* 1 when `category` of the handle goes through the bridge. */
template <typename Handle>
inline bool _vlu_active(const Handle *handle, int category) {
  return handle->bridge_active[category - 2] == 1;
}

template <typename Handle>
inline void *_vlu_locale(const Handle *handle, int category) {
  return handle->bridge_locale[category - 2];
}

/* The store of a failed call's status, out of the way of the call itself:
 * on success a forwarder keeps only the handle across the bridge call. */
template <typename Handle, typename R>
__attribute__((noinline, cold)) R _vlu_failed(Handle *handle, int16_t status, R result) {
  *_vl_ext_errno(handle) = static_cast<uint32_t>(status);
  return result;
}

/* The handle waits beside the status in memory rather than in a register
 * saved across the call: it is needed only when the call fails. */
template <typename Handle, typename R, typename... P, typename... A>
inline R _vlu_call(Handle *handle, R (*fn)(P...), A... args) {
  struct {
    Handle *handle;
    int16_t status;
  } frame = {handle, 0};
  R result = fn(args..., &frame.status);
  if (__builtin_expect(frame.status > 0, 0)) return _vlu_failed(frame.handle, frame.status, result);
  return result;
}

/* The bridge call for a bridge locale as first argument: false (nothing
 * called) when the category is native. */
template <typename Handle, typename R, typename... P, typename... A>
inline bool _vlu_dispatch(Handle *handle, int category, R *result, R (*fn)(void *, P...), A... args) {
  if (handle->bridge_active[category - 2] != 1) return false;
  *result = _vlu_call(handle, fn, handle->bridge_locale[category - 2], args...);
  return true;
}
#endif

#endif
