/* The client layer: its status numbers, the conversion service (five
 * buffer policies around a conversion object) and the base text helpers. */
#ifndef VLS_VLSCLIENT_H
#define VLS_VLSCLIENT_H

#include <stdint.h>
#include <vls/vlscv.h>
#include <vls/vlsexport.h>

VLS_BEGIN_DECLS

/* Status numbers of the conversion service. */
enum {
  VL_GCV_NOMEM = -23102,  /* out of memory */
  VL_GCV_BADTEXT = -23103, /* the text could not be converted */
  VL_GCV_BADARG = -23112, /* bad arguments */
  VL_GCV_FAILED = -23113  /* any other converter failure */
};
/* What the getters answer when no control block can be made. */
#define VL_NO_CONTROL_BLOCK (-406)

/* The client layer's error numbers, kept in the general control block. */
VLS_API int get_vlserror(void);
VLS_API void set_vlserror(int status);
VLS_API int get_toerrno(void);
VLS_API void set_toerrno(int value);

/* The reuse record of gcv_reuse: the usable size and the block. */
typedef struct gcv_reuse_t {
  int32_t size;
  char *block;
} gcv_reuse_t;

/* A null source_len means a NUL-terminated source; a null cv, the same
 * codeset on both sides (the text is copied). Bytes written, or -1 with the
 * status in get_vlserror(). */
VLS_API int32_t gcv_extbuf(conv_object *cv, const char *source, const int32_t *source_len, char *target,
                           int32_t target_size, int32_t *truncated);
VLS_API int32_t gcv_inplace(conv_object *cv, char *buffer, const int32_t *source_len, int32_t buffer_size,
                            int32_t *truncated);
VLS_API int32_t gcv_malloc(conv_object *cv, const char *source, const int32_t *source_len, char **block_out);
VLS_API int32_t gcv_reuse(conv_object *cv, const char *source, const int32_t *source_len, gcv_reuse_t *record);
VLS_API int32_t gcv_len(conv_object *cv, const char *source, const int32_t *source_len);

/* Base text helpers: length (0 for null), copy with the terminator, and a
 * copy of count bytes that may overlap. */
VLS_API int32_t stleng(const char *text);
VLS_API void stcopy(const char *from, char *to);
VLS_API void bycopy(const char *from, char *to, int32_t count);

VLS_END_DECLS

#endif
