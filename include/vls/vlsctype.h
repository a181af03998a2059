/* Character classes and case. */
#ifndef VLS_VLSCTYPE_H
#define VLS_VLSCTYPE_H

#include <vls/vls.h>

VLS_BEGIN_DECLS

VLS_API vl_wchar _vl_im_towupper(vl_locale_t *handle, vl_wchar wc);
VLS_API vl_wchar _vl_im_towlower(vl_locale_t *handle, vl_wchar wc);

VLS_END_DECLS

#endif
