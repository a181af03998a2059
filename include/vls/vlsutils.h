/* Support utilities: diagnostic log, memory wrappers, file search below
 * the product directory, and the lexical readers of the object files. */
#ifndef VLS_VLSUTILS_H
#define VLS_VLSUTILS_H

#include <stddef.h>
#include <stdint.h>
#include <vls/vlsexport.h>

VLS_BEGIN_DECLS

/* Log state. */
VLS_API extern int vls_logging;
VLS_API extern int vls_popups;
VLS_API extern int vls_debug_initialized;
VLS_API extern int pg_have_debug_file;
VLS_API extern void *pg_debug_file;

/* A file service set: allocate, free, open, close. */
typedef struct vl_file_services {
  void *(*alloc)(size_t size);
  void (*free)(void *pointer);
  void *(*open)(const char *path, const char *mode);
  int (*close)(void *stream);
} vl_file_services;

VLS_API extern const vl_file_services vl_ext_functions;
VLS_API extern const vl_file_services vl_reg_functions;

VLS_API void vl_init_debug(void);
VLS_API void vl_message(const char *text);
VLS_API void vl_assert_failed(const char *file_name, int32_t line);

VLS_API void *_vl_alloc_ptr(size_t size);
VLS_API void _vl_free_ptr(void *pointer);
VLS_API char *_vl_get_env_var(const char *name);
VLS_API char *vl_get_vl_path(void);
VLS_API int chk_kelvanixdir(void *handle);

/* File search: through "VL_PATH", or below $KELVANIXDIR/vls/<sub><ver>,
 * then $KELVANIXDIR/vls/<sub>. The _rpath forms hand the directory found to
 * the caller, who frees it with the same service set. */
VLS_API void *vl_path_search(void *handle, const char *name, const char *subdirectory, const char *version);
VLS_API void *vl_path_search_rpath(char **directory, void *handle, const char *name, const char *subdirectory,
                                   const char *version);
VLS_API void *vl_path_search_no_ext(void *handle, const char *name, const char *subdirectory,
                                    const char *version);
VLS_API void *vl_path_search_no_ext_rpath(char **directory, void *handle, const char *name,
                                          const char *subdirectory, const char *version);
VLS_API void *vl_open_file(void *handle, const char *path);

VLS_API int check_nl(const char *line);
VLS_API int replace_nl(char *line);

/* Lexical readers: all read through the host stream slots. */
VLS_API void _vl_skip_whitespace(void *stream);
VLS_API void _vl_skip_space_if_needed(void *stream);
VLS_API int _vl_skip_nl(void *stream);
VLS_API int _vl_get_hex_digit(void *stream);
VLS_API int _vl_get_hex_byte(void *stream);
VLS_API int32_t _vl_get_int(void *stream);
VLS_API double _vl_get_dbl(void *stream);
VLS_API uint32_t _vl_get_hex(void *stream, int digits);
VLS_API int _vl_get_str(char *target, int size, void *stream);

VLS_API int _vl_digits(int32_t value, int base);
VLS_API int _vl_udigits(uint32_t value, int base);
VLS_API int32_t _vl_ipow(int32_t base, int32_t exponent);
VLS_API double _vl_fpow(double base, int32_t exponent);

VLS_API void _vl_exit_utilities(void);

VLS_END_DECLS

#endif
