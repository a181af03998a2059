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

/* time */
VLS_API void _vl_init_ltime(time_category *time);
VLS_API void free_ltime(time_category *time);

VLS_END_DECLS

#endif
