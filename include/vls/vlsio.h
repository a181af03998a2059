/* Stream character I/O: whole multibyte and wide characters read from and
 * written to a stream (through the host table) or a caller's byte
 * function, for any codeset. */
#ifndef VLS_VLSIO_H
#define VLS_VLSIO_H

#include <stdint.h>
#include <vls/vls.h>

VLS_BEGIN_DECLS

/* Byte reader of vl_getmb: the next byte (0 to 255) or -1. */
typedef int (*vl_byte_reader)(void *argument);
/* Byte writer of vl_putmb: 0, or -1 when the byte could not be written. */
typedef int (*vl_byte_writer)(int byte, void *argument);

/* 0 or -1; *length gets the bytes read, also on failure. */
VLS_API int vl_getmb(vl_locale_t *handle, char *target, vl_byte_reader reader, void *argument, int32_t *length);
/* 0 or -1; a negative limit means vl_mb_loc_max. *length gets the bytes
 * written. A NUL character is written in the codeset's shortest length. */
VLS_API int vl_putmb(vl_locale_t *handle, const char *character, int32_t limit, vl_byte_writer writer,
                     void *argument, int32_t *length);
/* Counted twin: a NUL character is written with its real bytes. */
VLS_API int _kvx_vl_putmb(vl_locale_t *handle, const char *character, int32_t limit, vl_byte_writer writer,
                          void *argument, int32_t *length);

/* Bytes read, or -1. */
VLS_API int vl_full_fgetmb(vl_locale_t *handle, char *target, void *stream);
/* `character`, or null. */
VLS_API char *vl_fputmb(vl_locale_t *handle, const char *character, void *stream);
/* The wide value (0 for a NUL character), or -1. */
VLS_API int32_t vl_full_fgetwc(vl_locale_t *handle, void *stream);
/* The value, or -1. */
VLS_API int32_t vl_fputwc(vl_locale_t *handle, vl_wchar wide, void *stream);
/* Read a line with its line feed; `target`, or null. `size` is in bytes. */
VLS_API char *vl_fgetmbs(vl_locale_t *handle, char *target, int32_t size, void *stream);
/* Read a line with its line feed; `target`, or null. `size` is in values. */
VLS_API vl_wchar *vl_fgetwcs(vl_locale_t *handle, vl_wchar *target, int32_t size, void *stream);
/* 0 or -1. The terminator is not written. */
VLS_API int vl_fputmbs(vl_locale_t *handle, const char *string, void *stream);
VLS_API int vl_fputwcs(vl_locale_t *handle, const vl_wchar *wide, void *stream);

/* 1 when the character of `length` bytes is the line feed of a codeset
 * whose shortest character has `min_length` bytes. */
VLS_API int ismbnl(const char *character, int32_t min_length, int32_t length);
/* Stream adapters of the byte function shapes. */
VLS_API int local_fgetc(void *stream);
VLS_API int local_fputc(int byte, void *stream);

VLS_END_DECLS

#endif
