/* Locale naming: the registry of codeset names, codeset numbers and CCSIDs,
 * and the locale specification forms with the file names derived from them.
 *
 * Handles: every `handle` argument is any record whose first field is a
 * 32-bit error number (a vl_locale_t, a conversion object, a scratch
 * record). Errors are written through _vl_ext_errno(handle). A null handle
 * is accepted everywhere and then no error number is stored.
 *
 * Codeset numbers are unsigned 16-bit; VL_CS_NONE (0xE000) is the failure
 * value. None of the specification functions allocates: they work in fixed
 * buffers and write into the caller's output. */
#ifndef VLS_VLSSPEC_H
#define VLS_VLSSPEC_H

#include <stddef.h>
#include <stdint.h>
#include <vls/vlsexport.h>

VLS_BEGIN_DECLS

#define VL_CS_NONE 0xE000u

/* Codeset names hold at most 21 characters (22-byte buffer). */
#define VL_CS_NAME_MAX 21
/* Specification texts are cut at 285 characters (310 for the long form of
 * file names handed to vl_lc_fname2lc_spec). */
#define VL_SPEC_MAX 285
#define VL_FNAME_SPEC_MAX 310

/* ---- registry ----------------------------------------------------------- */

/* A (name, number) pair of the built-in table; the table ends with a null
 * name. */
typedef struct vl_registry_pair {
  const char *name;
  uint16_t number;
} vl_registry_pair;

/* A record of the cached registry file, in file order. */
typedef struct vl_registry_record {
  char name[VL_CS_NAME_MAX + 1];
  uint16_t number;
  struct vl_registry_record *next;
} vl_registry_record;

/* The built-in registry: 123 pairs and a terminating null pair. */
#define VL_CANNED_REGISTRY_SIZE 123
VLS_API extern const vl_registry_pair vls_canned_registry[VL_CANNED_REGISTRY_SIZE + 1];

/* Process-wide caches. At most one of them is consulted: the list first. */
VLS_API extern vl_registry_record *vls_registry_list_cache;
VLS_API extern const vl_registry_pair *vls_registry_array_cache;

/* Old codeset words mapped to a locale in short form: 15 pairs and a null
 * pair. */
typedef struct vl_alias_pair {
  const char *alias;
  const char *locale;
} vl_alias_pair;
#define VL_ALIASTAB_SIZE 15
VLS_API extern const vl_alias_pair aliastab[VL_ALIASTAB_SIZE + 1];

/* Reads the next name of a registry stream into buffer (size bytes, folded
 * to lower case), skipping white space and "#" comments. 1 with a name; 0 at
 * the end of the file, inside a name, or on a name of size characters or
 * more. */
VLS_API int _vl_next_cs_name_from_registry(void *file, char *buffer, int size);
/* Reads the decimal number behind a name, modulo 65536. A missing number or
 * the end of the file right behind it gives 0xE000 with error 11. */
VLS_API uint16_t _vl_next_cs_number_from_registry(void *handle, void *file);
/* Skips to behind the next line feed: non-zero, or 0 at the end of the
 * file. */
VLS_API int ignore_till_eol(void *file);

/* Codeset number of a name: list cache, else array cache, else the file
 * (registry path, or "registry" through the search path); finally a name of
 * decimal digits below 65536 is its own number. 0xE000 on failure. */
VLS_API uint16_t vl_cs_name2cs_num(void *handle, const char *name, const char *registry);
/* Caches the registry file. 0 when the file was cached; -1 when the
 * built-in table was put in force instead (error 15, 3 or 11). */
VLS_API int vl_cache_registry(void *handle, const char *registry);
VLS_API void vl_free_registry_cache(void);
/* Codeset number of a short or long specification, or of a bare codeset
 * name. 0xE000 on failure. */
VLS_API uint16_t vl_lc_spec2cs_num(void *handle, const char *spec, const char *registry);

/* Codeset number to CCSID, or 0. */
VLS_API uint16_t vl_cs_nums2ccsid(void *handle, uint32_t cs_num);
/* CCSID to codeset number, or 0. */
VLS_API uint16_t vl_ccsid2cs_nums(void *handle, uint32_t ccsid);

/* Category of a leading name: 1 "VL_CTYPE", 2 "VL_COLLATE", 3 "VL_TIME",
 * 4 "VL_MONETARY", 5 "VL_NUMERIC", 6 "VL_MESSAGES", with its length stored
 * through length (left alone when there is no match); 0 if none. */
VLS_API int _vl_is_category(const char *text, int *length);
/* 1 if every character is a decimal digit, else 0. */
VLS_API int _vl_all_decimal_digits(const char *text);

/* ---- specifications and file names ------------------------------------- */

/* Parses one short specification at *text and appends its file name
 * "ll_tt/xxxxmmmm.lco" at *output. The zero byte is written only when there
 * is no modifier, and *output is left on it (not behind it). *cs_num gets
 * the codeset number. 1, or 0 when the text is not one; the pointers move
 * only on success. */
VLS_API int _vl_is_xopen_spec(void *handle, const char **text, char **output, uint16_t *cs_num,
                              const char *registry);
/* Writes directory and, if it is not empty, the byte 0xFF at target, then a
 * zero byte. Returns the position of that zero byte. */
VLS_API char *pathcat_mark(char *target, const char *directory);

/* All of these return 0 on success and -1 on failure (error 7 unless said
 * otherwise). */
VLS_API int vl_lc_spec2lc_fname(void *handle, const char *spec, char *output, const char *registry,
                                const char *directory);
/* output: at least 11 bytes. */
VLS_API int vl_lc_spec2msg_dname(void *handle, const char *spec, char *output, const char *registry,
                                 const char *directory);
/* output: the directory's length plus 14 bytes. */
VLS_API int vl_cs_nums2cv_fname(void *handle, uint16_t first, uint16_t second, char *output,
                                const char *directory);
VLS_API int _vl_lc_short_spec2lc_short_norm(void *handle, const char *spec, char *output, const char *registry);
VLS_API int vl_lc_spec2lc_norm(void *handle, const char *spec, char *output, const char *registry);
/* output may be null: the specification is then only checked. */
VLS_API int vl_lc_short2lc_long(void *handle, const char *spec, char *output, const char *registry);
VLS_API int vl_is_lc_spec(void *handle, const char *spec);
VLS_API int vl_lc_spec2lc_short(void *handle, const char *spec, char *output, const char *registry);
/* category: 2 to 7 as in the handle; any other does nothing and gives 0. */
VLS_API int vl_lc_spec2category(void *handle, const char *spec, int category, char *output,
                                const char *registry);
VLS_API int vl_lc_fname2lc_spec(void *handle, const char *fnames, char *output, const char *directory);
/* lang_terr "ll_TT", codeset hexadecimal digits (at most five taken),
 * modifier or null (at most four characters taken). output: at least 17
 * bytes. */
VLS_API int vl_lc_pieces2lc_spec(void *handle, const char *lang_terr, const char *codeset, const char *modifier,
                                 char *output);
/* Splits "ll_tt/xxxxmmmm.lco": lang_terr gets "ll_TT" (6 bytes), codeset
 * the number in decimal (6 bytes), modifier up to four characters (5
 * bytes). */
VLS_API int vl_lc_fname2lc_pieces(void *handle, const char *fname, char *lang_terr, char *codeset,
                                  char *modifier);

VLS_END_DECLS

#endif
