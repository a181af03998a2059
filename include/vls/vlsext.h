/* Host function table: every allocation, stream, environment and clock
 * service of the library goes through these 21 replaceable slots. */
#ifndef VLS_VLSEXT_H
#define VLS_VLSEXT_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <vls/vlsexport.h>

VLS_BEGIN_DECLS

/* Slot numbers. */
enum {
  VL_EXT_GETENV = 0,
  VL_EXT_ERRNO = 1,
  VL_EXT_FCLOSE = 2,
  VL_EXT_FEOF = 3,
  VL_EXT_FERROR = 4,
  VL_EXT_FGETC = 5,
  VL_EXT_FGETS = 6,
  VL_EXT_FOPEN = 7,
  VL_EXT_FREE = 8,
  VL_EXT_FSEEK = 9,
  VL_EXT_FTELL = 10,
  VL_EXT_FWRITE = 11,
  VL_EXT_GETC = 12,
  VL_EXT_MALLOC = 13,
  VL_EXT_UNGETC = 14,
  VL_EXT_PUTENV = 15,
  VL_EXT_CURRDATE = 16,
  VL_EXT_CURRTIME = 17,
  VL_EXT_CALLOC = 18,
  VL_EXT_REALLOC = 19,
  VL_EXT_UCA = 20,
  VL_EXT_SLOTS = 21
};

/* Streams are opaque to the library: whatever a replaced fopen returns is
 * only ever handed back to the other stream slots. */
typedef void vl_stream_t;

/* 1 once any slot has been stored; never returns to 0. */
VLS_API extern int32_t _vl_ext_func;

VLS_API void *_vl_get_ext_funcptr(int slot);
VLS_API void _vl_set_ext_funcptr(int slot, void *function);
/* handle: any record whose first field is a 32-bit error number. */
VLS_API int vl_setextfunc(void *handle, int slot, void *function);

/* Caller's forms: ask the table, fall back to the default. */
VLS_API char *_vl_ext_getenv(const char *name);
VLS_API uint32_t *_vl_ext_errno(void *handle);
VLS_API int _vl_ext_fclose(void *stream);
VLS_API int _vl_ext_feof(void *stream);
VLS_API int _vl_ext_ferror(void *stream);
VLS_API int _vl_ext_fgetc(void *stream);
VLS_API char *_vl_ext_fgets(char *buffer, int size, void *stream);
VLS_API void *_vl_ext_fopen(const char *path, const char *mode);
VLS_API void _vl_ext_free(void *pointer);
VLS_API int _vl_ext_fseek(void *stream, long offset, int whence);
VLS_API long _vl_ext_ftell(void *stream);
VLS_API size_t _vl_ext_fwrite(const void *buffer, size_t size, size_t count, void *stream);
VLS_API int _vl_ext_getc(void *stream);
VLS_API void *_vl_ext_malloc(size_t size);
VLS_API int _vl_ext_ungetc(int byte, void *stream);
VLS_API int _vl_ext_putenv(char *string);
VLS_API void _vl_ext_currdate(uint16_t *date);
VLS_API void _vl_ext_currtime(int32_t *time_words);
VLS_API void *_vl_ext_calloc(size_t count, size_t size);
VLS_API void *_vl_ext_realloc(void *pointer, size_t size);
VLS_API int _vl_ext_UCA(void);

/* Default forms: plain calls of the C library. */
VLS_API char *vl_ext_getenv(const char *name);
VLS_API uint32_t *vl_ext_errno(void *handle);
VLS_API int vl_ext_fclose(void *stream);
VLS_API int vl_ext_feof(void *stream);
VLS_API int vl_ext_ferror(void *stream);
VLS_API int vl_ext_fgetc(void *stream);
VLS_API char *vl_ext_fgets(char *buffer, int size, void *stream);
VLS_API void *vl_ext_fopen(const char *path, const char *mode);
VLS_API void vl_ext_free(void *pointer);
VLS_API int vl_ext_fseek(void *stream, long offset, int whence);
VLS_API long vl_ext_ftell(void *stream);
VLS_API size_t vl_ext_fwrite(const void *buffer, size_t size, size_t count, void *stream);
VLS_API int vl_ext_getc(void *stream);
VLS_API void *vl_ext_malloc(size_t size);
VLS_API int vl_ext_ungetc(int byte, void *stream);
VLS_API int vl_ext_putenv(char *string);
VLS_API void vl_ext_currdate(uint16_t *date);
VLS_API void vl_ext_currtime(int32_t *time_words);
VLS_API void *vl_ext_calloc(size_t count, size_t size);
VLS_API void *vl_ext_realloc(void *pointer, size_t size);

/* Context-first memory forms handed to the Unicode bridge. */
VLS_API void *_vl_ext1_malloc(const void *context, size_t size);
VLS_API void *_vl_ext1_calloc(const void *context, size_t count, size_t size);
VLS_API void *_vl_ext1_realloc(const void *context, void *pointer, size_t size);
VLS_API void _vl_ext1_free(const void *context, void *pointer);

VLS_END_DECLS

#endif
