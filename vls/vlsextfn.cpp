// Host function table: 21 replaceable slots for allocation, environment,
// streams and the clock. Each caller's form is a flag test, a slot read and
// a call; an empty slot (or an untouched table) takes the C library.
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <vls/vls.h>

#include "vlsint.h"

namespace {

void *funcptr_arr[VL_EXT_SLOTS];

// Calls slot `Slot` as a function of type F if it is replaced, else the
// default form.
template <int Slot, typename F, typename... Args>
inline auto dispatch(F fallback, Args... args) {
  if (_vl_ext_func != 0) {
    if (void *p = funcptr_arr[Slot]) return reinterpret_cast<F>(p)(args...);
  }
  return fallback(args...);
}

inline FILE *as_file(void *stream) { return static_cast<FILE *>(stream); }

void fill_time(struct tm *out) {
  time_t now = time(nullptr);
  localtime_r(&now, out);
}

}  // namespace

extern "C" {

VLS_API int32_t _vl_ext_func = 0;

}  // extern "C"

bool vls::default_streams_in_table() {
  for (int slot : {VL_EXT_FCLOSE, VL_EXT_FEOF, VL_EXT_FERROR, VL_EXT_FGETC, VL_EXT_FGETS, VL_EXT_FOPEN, VL_EXT_FSEEK,
                   VL_EXT_FTELL, VL_EXT_FWRITE, VL_EXT_GETC, VL_EXT_UNGETC})
    if (funcptr_arr[slot]) return false;
  return true;
}

extern "C" {

VLS_API void *_vl_get_ext_funcptr(int slot) { return funcptr_arr[slot]; }

VLS_API void _vl_set_ext_funcptr(int slot, void *function) {
  _vl_ext_func = 1;
  funcptr_arr[slot] = function;
}

VLS_API int vl_setextfunc(void *handle, int slot, void *function) {
  if (static_cast<unsigned>(slot) > 20u) {
    *_vl_ext_errno(handle) = VL_EBADARG;
    return -1;
  }
  _vl_set_ext_funcptr(slot, function);
  return 0;
}

// ---- default forms ---------------------------------------------------------

VLS_API char *vl_ext_getenv(const char *name) { return getenv(name); }
VLS_API uint32_t *vl_ext_errno(void *handle) { return static_cast<uint32_t *>(handle); }
VLS_API int vl_ext_fclose(void *stream) { return fclose(as_file(stream)); }
VLS_API int vl_ext_feof(void *stream) { return feof(as_file(stream)); }
VLS_API int vl_ext_ferror(void *stream) { return ferror(as_file(stream)); }
VLS_API int vl_ext_fgetc(void *stream) { return fgetc(as_file(stream)); }
VLS_API char *vl_ext_fgets(char *buffer, int size, void *stream) { return fgets(buffer, size, as_file(stream)); }
VLS_API void *vl_ext_fopen(const char *path, const char *mode) { return fopen(path, mode); }
VLS_API void vl_ext_free(void *pointer) { free(pointer); }
VLS_API int vl_ext_fseek(void *stream, long offset, int whence) { return fseek(as_file(stream), offset, whence); }
VLS_API long vl_ext_ftell(void *stream) { return ftell(as_file(stream)); }
VLS_API size_t vl_ext_fwrite(const void *buffer, size_t size, size_t count, void *stream) {
  return fwrite(buffer, size, count, as_file(stream));
}
VLS_API int vl_ext_getc(void *stream) { return getc(as_file(stream)); }
VLS_API void *vl_ext_malloc(size_t size) { return malloc(size); }
VLS_API int vl_ext_ungetc(int byte, void *stream) { return ungetc(byte, as_file(stream)); }
VLS_API int vl_ext_putenv(char *string) { return putenv(string); }
VLS_API void *vl_ext_calloc(size_t count, size_t size) { return calloc(count, size); }
VLS_API void *vl_ext_realloc(void *pointer, size_t size) { return realloc(pointer, size); }

// Month (1-12), day of month, full year.
VLS_API void vl_ext_currdate(uint16_t *date) {
  struct tm t;
  fill_time(&t);
  date[0] = static_cast<uint16_t>(t.tm_mon + 1);
  date[1] = static_cast<uint16_t>(t.tm_mday);
  date[2] = static_cast<uint16_t>(t.tm_year + 1900);
}

// Twelve words: fraction, then the broken-down time fields in order, the
// daylight-saving flag, two zero words.
VLS_API void vl_ext_currtime(int32_t *w) {
  struct tm t;
  fill_time(&t);
  w[0] = 0;
  w[1] = t.tm_sec;
  w[2] = t.tm_min;
  w[3] = t.tm_hour;
  w[4] = t.tm_mday;
  w[5] = t.tm_mon;
  w[6] = t.tm_year;
  w[7] = t.tm_wday;
  w[8] = t.tm_yday;
  w[9] = t.tm_isdst;
  w[10] = 0;
  w[11] = 0;
}

// ---- caller's forms ----------------------------------------------------------

VLS_API char *_vl_ext_getenv(const char *name) { return dispatch<VL_EXT_GETENV>(&vl_ext_getenv, name); }
VLS_API uint32_t *_vl_ext_errno(void *handle) { return dispatch<VL_EXT_ERRNO>(&vl_ext_errno, handle); }
VLS_API int _vl_ext_fclose(void *stream) { return dispatch<VL_EXT_FCLOSE>(&vl_ext_fclose, stream); }
VLS_API int _vl_ext_feof(void *stream) { return dispatch<VL_EXT_FEOF>(&vl_ext_feof, stream); }
VLS_API int _vl_ext_ferror(void *stream) { return dispatch<VL_EXT_FERROR>(&vl_ext_ferror, stream); }
VLS_API int _vl_ext_fgetc(void *stream) { return dispatch<VL_EXT_FGETC>(&vl_ext_fgetc, stream); }
VLS_API char *_vl_ext_fgets(char *buffer, int size, void *stream) {
  return dispatch<VL_EXT_FGETS>(&vl_ext_fgets, buffer, size, stream);
}
VLS_API void *_vl_ext_fopen(const char *path, const char *mode) {
  return dispatch<VL_EXT_FOPEN>(&vl_ext_fopen, path, mode);
}
VLS_API void _vl_ext_free(void *pointer) { dispatch<VL_EXT_FREE>(&vl_ext_free, pointer); }
VLS_API int _vl_ext_fseek(void *stream, long offset, int whence) {
  return dispatch<VL_EXT_FSEEK>(&vl_ext_fseek, stream, offset, whence);
}
VLS_API long _vl_ext_ftell(void *stream) { return dispatch<VL_EXT_FTELL>(&vl_ext_ftell, stream); }
VLS_API size_t _vl_ext_fwrite(const void *buffer, size_t size, size_t count, void *stream) {
  return dispatch<VL_EXT_FWRITE>(&vl_ext_fwrite, buffer, size, count, stream);
}
VLS_API int _vl_ext_getc(void *stream) { return dispatch<VL_EXT_GETC>(&vl_ext_getc, stream); }
VLS_API void *_vl_ext_malloc(size_t size) { return dispatch<VL_EXT_MALLOC>(&vl_ext_malloc, size); }
VLS_API int _vl_ext_ungetc(int byte, void *stream) { return dispatch<VL_EXT_UNGETC>(&vl_ext_ungetc, byte, stream); }
VLS_API int _vl_ext_putenv(char *string) { return dispatch<VL_EXT_PUTENV>(&vl_ext_putenv, string); }
VLS_API void _vl_ext_currdate(uint16_t *date) { dispatch<VL_EXT_CURRDATE>(&vl_ext_currdate, date); }
VLS_API void _vl_ext_currtime(int32_t *time_words) { dispatch<VL_EXT_CURRTIME>(&vl_ext_currtime, time_words); }
VLS_API void *_vl_ext_calloc(size_t count, size_t size) {
  return dispatch<VL_EXT_CALLOC>(&vl_ext_calloc, count, size);
}
VLS_API void *_vl_ext_realloc(void *pointer, size_t size) {
  return dispatch<VL_EXT_REALLOC>(&vl_ext_realloc, pointer, size);
}

// The one service without a default: -1 until the host fills the slot.
VLS_API int _vl_ext_UCA(void) {
  if (_vl_ext_func == 0 || funcptr_arr[VL_EXT_UCA] == nullptr) return -1;
  return reinterpret_cast<int (*)(void)>(funcptr_arr[VL_EXT_UCA])();
}

VLS_API void *_vl_ext1_malloc(const void *, size_t size) { return _vl_ext_malloc(size); }
VLS_API void *_vl_ext1_calloc(const void *, size_t count, size_t size) { return _vl_ext_calloc(count, size); }
VLS_API void *_vl_ext1_realloc(const void *, void *pointer, size_t size) { return _vl_ext_realloc(pointer, size); }
VLS_API void _vl_ext1_free(const void *, void *pointer) { _vl_ext_free(pointer); }

}  // extern "C"
