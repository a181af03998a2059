/* Locale-aware string family: the C string functions for multibyte and
 * wide strings of any codeset.
 *
 * Every multibyte operation comes as a pair: a NUL-terminated form
 * (vl_full_mbscat, vl_mbsncat, ...) that returns as the C library does, and
 * a counted twin (_kvx_vl_mbscat, ...) that takes a byte length with each
 * string. In a length, -1 means that the string is NUL-terminated; the two
 * strings of one call must agree in kind (error 56 otherwise) and any other
 * negative length is error 9. Counted twins give a byte count or -1, search
 * members a pointer or null. A search that finds nothing stores 0 in
 * vl_errno and gives null, so that null with vl_errno 0 means "not found".
 *
 * Wide members work on values only and accept a null handle: their errors
 * are then not stored. */
#ifndef VLS_VLSSTR_H
#define VLS_VLSSTR_H

#include <stdint.h>
#include <vls/vls.h>

VLS_BEGIN_DECLS

/* ---- copying and joining ---------------------------------------------- */

VLS_API int _kvx_vl_mbscat(vl_locale_t *h, char *target, int32_t target_length, const char *source,
                           int32_t source_length);
VLS_API char *vl_full_mbscat(vl_locale_t *h, char *target, const char *source);
VLS_API int _kvx_vl_mbscpy(vl_locale_t *h, char *target, const char *source, int32_t source_length);
VLS_API char *vl_full_mbscpy(vl_locale_t *h, char *target, const char *source);
VLS_API int _kvx_vl_mbsncat(vl_locale_t *h, char *target, int32_t target_length, const char *source,
                            int32_t source_length, int32_t n);
VLS_API char *vl_mbsncat(vl_locale_t *h, char *target, const char *source, int32_t n);
VLS_API int _kvx_vl_mbsncpy(vl_locale_t *h, char *target, const char *source, int32_t source_length, int32_t n);
VLS_API char *vl_mbsncpy(vl_locale_t *h, char *target, const char *source, int32_t n);

/* The inline single-byte forms of the two above. */
VLS_API char *vl_mbscat(vl_locale_t *h, char *target, const char *source);
VLS_API char *vl_mbscpy(vl_locale_t *h, char *target, const char *source);

/* ---- searching ------------------------------------------------------------ */

VLS_API char *vl_full_mbschr(vl_locale_t *h, const char *string, const char *character);
VLS_API char *_kvx_vl_mbschr(vl_locale_t *h, const char *string, int32_t string_length, const char *character,
                             int32_t character_length);
VLS_API char *vl_full_mbsrchr(vl_locale_t *h, const char *string, const char *character);
VLS_API char *_kvx_vl_mbsrchr(vl_locale_t *h, const char *string, int32_t string_length, const char *character,
                              int32_t character_length);
/* Characters at the start of `string` that are (spn) or are not (cspn) in
 * `set`; -1 on failure. */
VLS_API int vl_full_mbsspn(vl_locale_t *h, const char *string, const char *set);
VLS_API int vl_full_mbscspn(vl_locale_t *h, const char *string, const char *set);
VLS_API int _kvx_vl_mbsspn(vl_locale_t *h, const char *string, int32_t length, const char *set,
                           int32_t set_length);
VLS_API int _kvx_vl_mbscspn(vl_locale_t *h, const char *string, int32_t length, const char *set,
                            int32_t set_length);
VLS_API char *vl_full_mbspbrk(vl_locale_t *h, const char *string, const char *set);
VLS_API char *_kvx_vl_mbspbrk(vl_locale_t *h, const char *string, int32_t length, const char *set,
                              int32_t set_length);
VLS_API char *vl_full_mbsmbs(vl_locale_t *h, const char *string, const char *substring);
VLS_API char *_kvx_vl_mbsmbs(vl_locale_t *h, const char *string, int32_t length, const char *substring,
                             int32_t substring_length);

/* ---- stepping and indexing -------------------------------------------- */

VLS_API char *vl_full_mbsnext(vl_locale_t *h, const char *string);
VLS_API char *_kvx_vl_full_mbsnext(vl_locale_t *h, const char *string, int32_t limit);
VLS_API char *vl_full_mbsprev(vl_locale_t *h, const char *start, const char *position);
VLS_API char *vl_full_getmbsi(vl_locale_t *h, const char *string, int32_t i);
VLS_API char *vl_getmbsinull(vl_locale_t *h, const char *string, int32_t n);
/* Replaces character `i` of `string`; gives `string`, or null. */
VLS_API char *vl_full_putmbsi(vl_locale_t *h, char *string, int32_t i, const char *character);
/* Replaces the character at `position` and moves the rest of the string;
 * gives `position`, or null. The string must have room. */
VLS_API char *vl_mbcreplace(vl_locale_t *h, char *position, const char *character);
/* A new wide string (free it with _vl_free_ptr); its length in values
 * goes to `length` when that is not null. */
VLS_API vl_wchar *vl_mbstowcslen(vl_locale_t *h, const char *string, int32_t *length);

/* ---- trailing blanks ------------------------------------------------------ */

VLS_API int vl_mbsntslen(vl_locale_t *h, const char *string);
VLS_API int _kvx_vl_mbsntslen(vl_locale_t *h, const char *string, int32_t length);
VLS_API int vl_mbsntsbytes(vl_locale_t *h, const char *string);
VLS_API int _kvx_vl_mbsntsbytes(vl_locale_t *h, const char *string, int32_t length);
VLS_API int vl_wcsntslen(vl_locale_t *h, const vl_wchar *string);
VLS_API int _kvx_vl_wcsntslen(vl_locale_t *h, const vl_wchar *string, int32_t length);
/* Start of the trailing blanks; null with vl_errno 0 when there are none. */
VLS_API char *vl_mbsp(vl_locale_t *h, const char *string);
/* Cut the trailing blanks off; give `string`, or null. */
VLS_API char *vl_mbsntstrunc(vl_locale_t *h, char *string);
VLS_API vl_wchar *vl_wcsntstrunc(vl_locale_t *h, vl_wchar *string);

/* ---- wide strings (the handle may be null) ------------------------------- */

VLS_API int _kvx_vl_wcscat(vl_locale_t *h, vl_wchar *target, int32_t target_length, const vl_wchar *source,
                           int32_t source_length);
VLS_API vl_wchar *vl_wcscat(vl_wchar *target, const vl_wchar *source);
VLS_API int _kvx_vl_wcscpy(vl_locale_t *h, vl_wchar *target, const vl_wchar *source, int32_t source_length);
VLS_API vl_wchar *vl_wcscpy(vl_wchar *target, const vl_wchar *source);
VLS_API int _kvx_vl_wcsncpy(vl_locale_t *h, vl_wchar *target, const vl_wchar *source, int32_t source_length,
                            int32_t n);
VLS_API vl_wchar *vl_wcsncpy(vl_wchar *target, const vl_wchar *source, int32_t n);
VLS_API int _kvx_vl_wcsncat(vl_locale_t *h, vl_wchar *target, int32_t target_length, const vl_wchar *source,
                            int32_t source_length, int32_t n);
VLS_API vl_wchar *vl_wcsncat(vl_wchar *target, const vl_wchar *source, int32_t n);
VLS_API vl_wchar *_kvx_vl_wcschr(vl_locale_t *h, const vl_wchar *string, int32_t length, vl_wchar value);
VLS_API vl_wchar *vl_wcschr(vl_locale_t *h, const vl_wchar *string, vl_wchar value);
VLS_API vl_wchar *_kvx_vl_wcsrchr(vl_locale_t *h, const vl_wchar *string, int32_t length, vl_wchar value);
VLS_API vl_wchar *vl_wcsrchr(vl_locale_t *h, const vl_wchar *string, vl_wchar value);
VLS_API int _kvx_vl_wcsspn(vl_locale_t *h, const vl_wchar *string, int32_t length, const vl_wchar *set,
                           int32_t set_length);
VLS_API int vl_wcsspn(vl_locale_t *h, const vl_wchar *string, const vl_wchar *set);
VLS_API int _kvx_vl_wcscspn(vl_locale_t *h, const vl_wchar *string, int32_t length, const vl_wchar *set,
                            int32_t set_length);
VLS_API int vl_wcscspn(vl_locale_t *h, const vl_wchar *string, const vl_wchar *set);
VLS_API vl_wchar *_kvx_vl_wcswcs(vl_locale_t *h, const vl_wchar *string, int32_t length, const vl_wchar *substring,
                                 int32_t substring_length);
VLS_API vl_wchar *vl_wcswcs(vl_locale_t *h, const vl_wchar *string, const vl_wchar *substring);
VLS_API vl_wchar *_kvx_vl_wcspbrk(vl_locale_t *h, const vl_wchar *string, int32_t length, const vl_wchar *set,
                                  int32_t set_length);
VLS_API vl_wchar *vl_wcspbrk(vl_locale_t *h, const vl_wchar *string, const vl_wchar *set);

VLS_END_DECLS

#endif
