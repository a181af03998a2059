/* Category records' initialisation, copy and release operations used by the
 * handle's lifecycle. */
#ifndef VLS_VLSCAT_H
#define VLS_VLSCAT_H

#include <vls/vls.h>

VLS_BEGIN_DECLS

/* numeric, monetary and messages field run */
VLS_API void _vl_init_numeric(vl_nmm_block *block);
VLS_API void _vl_init_monetary(vl_nmm_block *block);
VLS_API void _vl_init_messages(vl_nmm_block *block);
VLS_API void free_numeric(vl_nmm_block *block);
VLS_API void free_monetary(vl_nmm_block *block);
VLS_API void free_messages(vl_nmm_block *block);
VLS_API void _vl_copy_numeric(vl_nmm_block *target, const vl_nmm_block *source);
VLS_API void _vl_copy_monetary(vl_nmm_block *target, const vl_nmm_block *source);
VLS_API void _vl_copy_messages(vl_nmm_block *target, const vl_nmm_block *source);

/* the caller-visible conventions */
VLS_API void init_vlconv_numeric(vlconv *conv);
VLS_API void init_vlconv_monetary(vlconv *conv);
VLS_API void free_vlconv_numeric(vlconv *conv);
VLS_API void free_vlconv_monetary(vlconv *conv);
VLS_API vlconv *vl_localeconv(vl_locale_t *handle);
VLS_API void load_vlconv_numeric(vl_locale_t *handle);
VLS_API void load_vlconv_monetary(vl_locale_t *handle);

/* section readers: 0, or -1 with the reader error number set */
VLS_API char *str_readallc(void *stream, int32_t *err);
VLS_API int read_group(void *stream, int32_t *words, int32_t *err);
VLS_API int _vl_read_numeric(void *stream, vl_nmm_block *block, int32_t *err);
VLS_API int _vl_read_monetary(void *stream, vl_nmm_block *block, int32_t *err);
VLS_API int _vl_read_messages(void *stream, vl_nmm_block *block, int32_t *err);
VLS_API int _vl_read_time(void *stream, time_category *time, int32_t *err);
VLS_API int read_collate(void *stream, vl_locale_t *handle);

/* finishers: 1, 0 when LC_CTYPE is empty (error 57), -1 */
VLS_API int init_numeric_info(vl_locale_t *handle);
VLS_API int init_monetary_info(vl_locale_t *handle);
VLS_API int init_message_info(vl_locale_t *handle);
VLS_API int init_time_info(vl_locale_t *handle);
/* the wide form of a locale string: 0, or -1 (wide left null) */
VLS_API int alloc_wc_from_mb(vl_locale_t *handle, const char *mb, vl_wchar **wide);

/* time */
VLS_API void _vl_init_ltime(time_category *time);
VLS_API void free_ltime(vl_locale_t *handle, time_category *time);

VLS_END_DECLS

#endif
