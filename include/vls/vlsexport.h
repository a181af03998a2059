/* Symbol export and C linkage helpers for the public headers. */
#ifndef VLS_VLSEXPORT_H
#define VLS_VLSEXPORT_H

#if defined(VLS_BUILDING_LIBRARY)
#define VLS_API __attribute__((visibility("default")))
#else
#define VLS_API
#endif

#ifdef __cplusplus
#define VLS_BEGIN_DECLS extern "C" {
#define VLS_END_DECLS }
#else
#define VLS_BEGIN_DECLS
#define VLS_END_DECLS
#endif

#endif
