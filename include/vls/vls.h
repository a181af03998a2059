/* libvls: locale services for a database client.
 *
 * The chief header: the locale handle `vl_locale_t` with its category
 * records, the error numbers and the handle's lifecycle. Every service
 * takes the handle first. */
#ifndef VLS_VLS_H
#define VLS_VLS_H

#include <stddef.h>
#include <stdint.h>
#include <vls/vlsexport.h>
#include <vls/vlsext.h>
#include <vls/vlsmulti.h>
#include <vls/vlsutils.h>

VLS_BEGIN_DECLS

typedef uint32_t vl_wchar;

/* Category numbers; rows of the per-category arrays are category - 2. */
enum {
  VL_LC_ALL = 1,
  VL_LC_CTYPE = 2,
  VL_LC_COLLATE = 3,
  VL_LC_NUMERIC = 4,
  VL_LC_MONETARY = 5,
  VL_LC_TIME = 6,
  VL_LC_MESSAGES = 7
};
#define VL_CATEGORY_ROWS 6

/* Error numbers stored in vl_errno. */
enum {
  VL_EILSEQ = 1,
  VL_EBADPTR = 2,
  VL_ENOMEM = 3,
  VL_EBADCOUNT = 4,
  VL_EBADRANGE = 5,
  VL_ERANGE = 6,
  VL_EINVAL = 7,
  VL_ENOENT = 8,
  VL_EBADARG = 9,
  VL_EBADFILE = 11,
  VL_EMISMATCH = 12,
  VL_EIO = 13,
  VL_E2BIG = 14,
  VL_EUNKNOWN = 15,
  VL_EEOF = 16,
  VL_EPARTIAL = 17,
  VL_ENOSRCCAT = 18,
  VL_EDSTCAT = 19,
  VL_ENOTSUP = 20,
  VL_ETOODEEP = 21,
  VL_EBADFORMAT = 22,
  /* date formatting: value out of range */
  VL_EFMT_FRACTION = 23,
  VL_EFMT_SECOND = 24,
  VL_EFMT_MINUTE = 25,
  VL_EFMT_HOUR = 26,
  VL_EFMT_MDAY = 27,
  VL_EFMT_WDAY = 28,
  VL_EFMT_YDAY = 29,
  VL_EFMT_MONTH = 30,
  VL_EFMT_YEAR = 31,
  /* date scanning: field not found */
  VL_ESCAN_FRACTION = 33,
  VL_ESCAN_SECOND = 34,
  VL_ESCAN_MINUTE = 35,
  VL_ESCAN_HOUR = 36,
  VL_ESCAN_MDAY = 37,
  VL_ESCAN_WDAY = 38,
  VL_ESCAN_MONTH = 40,
  VL_ESCAN_YEAR = 41,
  VL_ESCAN_ERA = 42,
  VL_EMODIFIER = 45,
  VL_ESCAN_LITERAL = 46,
  VL_ESCAN_FRACTION_REJECTED = 47,
  VL_ESCAN_MONTHNAME = 48,
  VL_EERA = 49,
  VL_EVERSION = 51,
  VL_ENOSYMBOL = 53,
  VL_ECATFAILED = 55,
  VL_EMIXEDLEN = 56,
  VL_ECATINIT = 57,
  VL_ECATCODESET = 58
};

typedef struct vl_locale_t vl_locale_t;

/* ---- category records ---------------------------------------------------- */

/* A locale-defined character class: its mask bit and its name. */
typedef struct vl_class_name {
  uint32_t bit;
  char *name;
} vl_class_name;

/* Row of the case table: 0 in a direction means no mapping. */
typedef struct vl_case_pair {
  vl_wchar upper;
  vl_wchar lower;
} vl_case_pair;

typedef struct ctype_category {
  multi_t *ctype_tree;        /* data: 16-bit class masks */
  int32_t class_count;
  vl_class_name *class_names;
  multi_t *case_tree;         /* data: 16-bit indexes into case_pairs */
  vl_case_pair *case_pairs;   /* row 0 stays empty */
} ctype_category;

typedef struct coll_exp_record {
  uint32_t count;
  vl_wchar *chars;
} coll_exp_record;

typedef struct coll_elem {
  uint32_t count;
  vl_wchar *chars;
  uint16_t row;
} coll_elem;

#define VL_MAX_PASSES 8

/* collation_kind: how a locale's collation is done. */
enum {
  VL_COLL_NONE = 0,   /* no collation section */
  VL_COLL_TABLE = 1,  /* weight tables of the section */
  VL_COLL_THAI = 2,   /* the Thai rules */
  VL_COLL_BRIDGE = 3  /* the Unicode bridge */
};

typedef struct collate_category {
  int32_t num_passes;
  int32_t max_row;
  int32_t num_expansions;
  int32_t num_coll_elems;
  uint32_t max_weight;
  uint32_t pass_flags[VL_MAX_PASSES];   /* 1 forward, 2 backward */
  uint16_t *pass_weights[VL_MAX_PASSES];
  coll_exp_record *expansions;
  coll_elem *coll_elems;
  int32_t codeset_order;
  coll_exp_record **exp_candidates[VL_MAX_PASSES];
  int32_t *elem_candidates;
  int32_t collation_kind;               /* VL_COLL_NONE, _TABLE, _THAI, _BRIDGE */
} collate_category;

/* A locale string: the multibyte form (ended by four zero bytes) and its
 * wide form. */
typedef struct vl_string_pair {
  char *mb;
  vl_wchar *wc;
} vl_string_pair;

#define VL_GROUP_WORDS 16
#define VL_ABSENT_INT 0x7fffffff

/* LC_NUMERIC, LC_MONETARY and LC_MESSAGES share one run of fields, the
 * numeric sign pair lying between two monetary groups. */
typedef struct vl_nmm_block {
  vl_string_pair decimal_point;       /* numeric */
  vl_string_pair thousands_sep;       /* numeric */
  int32_t grouping[VL_GROUP_WORDS];   /* numeric: [0] count, sizes units first */
  vl_string_pair int_curr_symbol;     /* monetary */
  vl_string_pair currency_symbol;
  vl_string_pair mon_decimal_point;
  vl_string_pair mon_thousands_sep;
  int32_t mon_grouping[VL_GROUP_WORDS];
  vl_string_pair positive_sign;
  vl_string_pair negative_sign;
  vl_string_pair num_positive_sign;   /* numeric */
  vl_string_pair num_negative_sign;   /* numeric */
  int32_t int_frac_digits;            /* monetary */
  int32_t frac_digits;
  int32_t p_cs_precedes;
  int32_t p_sep_by_space;
  int32_t n_cs_precedes;
  int32_t n_sep_by_space;
  int32_t p_sign_posn;
  int32_t n_sign_posn;
  vl_string_pair yesexpr;             /* messages */
  vl_string_pair noexpr;
  vl_string_pair yesstr;
  vl_string_pair nostr;
} vl_nmm_block;
typedef vl_nmm_block numeric_category, monetary_category, messages_category;

/* The caller-visible conventions returned by vl_localeconv. */
typedef struct vlconv {
  char *decimal_point;
  vl_wchar *w_decimal_point;
  char *thousands_sep;
  vl_wchar *w_thousands_sep;
  char *grouping;
  char *int_curr_symbol;
  vl_wchar *w_int_curr_symbol;
  char *currency_symbol;
  vl_wchar *w_currency_symbol;
  char *mon_decimal_point;
  vl_wchar *w_mon_decimal_point;
  char *mon_thousands_sep;
  vl_wchar *w_mon_thousands_sep;
  char *mon_grouping;
  char *positive_sign;
  vl_wchar *w_positive_sign;
  char *negative_sign;
  vl_wchar *w_negative_sign;
  char *num_positive_sign;
  vl_wchar *w_num_positive_sign;
  char *num_negative_sign;
  vl_wchar *w_num_negative_sign;
  signed char int_frac_digits;
  signed char frac_digits;
  signed char p_cs_precedes;
  signed char p_sep_by_space;
  signed char n_cs_precedes;
  signed char n_sep_by_space;
  signed char p_sign_posn;
  signed char n_sign_posn;
} vlconv;

typedef struct era_record era_record;

#define VL_TIME_CACHES 8

typedef struct time_category {
  int32_t calendar;              /* 1 Gregorian, 2 Hebrew, 3 Islamic, 4 Arabic */
  char *abday[7];
  vl_wchar *w_abday[7];
  char *day[7];
  vl_wchar *w_day[7];
  char **abmon;
  vl_wchar **w_abmon;
  int32_t abmon_count;
  char **mon;
  vl_wchar **w_mon;
  int32_t mon_count;
  char *am_str;
  char *pm_str;
  vl_wchar *w_am_str;
  vl_wchar *w_pm_str;
  char **alt_digits;
  vl_wchar **w_alt_digits;
  int32_t alt_digits_count;
  void *caches[VL_TIME_CACHES];  /* abday, day, abmon, mon, era second names, eras, alt digits, am/pm */
  char *d_fmt;
  char *d_t_fmt;
  char *t_fmt;
  char *t_fmt_ampm;
  char *era_d_fmt;
  char *era_d_t_fmt;
  char *era_t_fmt;
  vl_wchar *w_d_fmt;
  vl_wchar *w_d_t_fmt;
  vl_wchar *w_t_fmt;
  vl_wchar *w_t_fmt_ampm;
  vl_wchar *w_era_d_fmt;
  vl_wchar *w_era_d_t_fmt;
  vl_wchar *w_era_t_fmt;
  char **era_strings;
  era_record **era_info;
  int32_t era_count;
  char *era_concat;
  vl_wchar *w_era_concat;
  char *alt_digits_concat;
  vl_wchar *w_alt_digits_concat;
} time_category;

/* ---- the handle ------------------------------------------------------------ */

typedef int (*vl_mbscoll_fn)(vl_locale_t *handle, const char *s1, const char *s2);
typedef int (*vl_mbfscoll_fn)(vl_locale_t *handle, const char *s1, int32_t len1, const char *s2, int32_t len2);
typedef int (*vl_mbsxfrm_fn)(vl_locale_t *handle, char *target, const char *source, int32_t size);
typedef int (*vl_mbstowcs_fn)(vl_locale_t *handle, vl_wchar *target, const char *source, int32_t capacity);
typedef int (*vl_mbfstowcfs_fn)(vl_locale_t *handle, vl_wchar *target, const char *source, int32_t length,
                                int32_t capacity);

#define VL_CODESET_NAME_LEN 21
#define VL_LOCALE_NAME_LEN 32

struct vl_locale_t {
  uint32_t vl_errno;                 /* must stay first */
  vl_mbscoll_fn mbscoll_fn;
  vl_mbfscoll_fn mbfscoll_fn;
  vl_mbsxfrm_fn mbsxfrm_fn;
  vl_mbstowcs_fn mbstowcs_fn;
  vl_mbfstowcfs_fn mbfstowcfs_fn;
  double case_expansion;
  double coll_expansion;
  unsigned char *upper_table;        /* 256 bytes, single-byte locales */
  unsigned char *lower_table;
  uint16_t *class_table;             /* 256 masks */
  int32_t single_byte;
  int32_t codepoint_collation;
  void *coll_sb_tables[2];           /* ignored chars, equivalent chars */
  int32_t bridge_collation;
  ctype_category ctype;
  collate_category collate;
  vl_nmm_block nmm;                  /* numeric, monetary and messages */
  time_category time;
  vlconv vlconv;
  char codeset_names[VL_CATEGORY_ROWS][VL_CODESET_NAME_LEN];
  vl_wchar codeset_names_w[VL_CATEGORY_ROWS][VL_CODESET_NAME_LEN];
  char locale_names[VL_CATEGORY_ROWS][VL_LOCALE_NAME_LEN];
  vl_wchar locale_names_w[VL_CATEGORY_ROWS][VL_LOCALE_NAME_LEN];
  void *bridge_locale[VL_CATEGORY_ROWS];
  int32_t bridge_active[VL_CATEGORY_ROWS];
  /* Held beside the documented record. */
  multi_t *coll_rows;                /* character to collation row */
  void *fgetwcs_scratch;             /* scratch of the stream reader */
  int32_t case_pair_count;           /* rows 1..count of ctype.case_pairs */
};

/* The two process-wide handles handed out when a handle cannot come into
 * being: vl_errno 3 (no memory) and 8 (no default locale file). */
VLS_API extern vl_locale_t vl_nomem_locale;
VLS_API extern vl_locale_t vl_nofile_locale;

VLS_API extern const char *const cat_names[VL_CATEGORY_ROWS];
VLS_API extern const char *const category_params[8];
VLS_API extern const char *const category_markers[8];

VLS_API int vl_create_null_locale_4(vl_locale_t **handle);
VLS_API void vl_make_null_category(vl_locale_t *handle, int category);
VLS_API int set_flags(vl_locale_t *handle);
VLS_API int set_function_pointers(vl_locale_t *handle);
VLS_API void set_collation_fp(vl_locale_t *handle);

VLS_API void vl_free_category(vl_locale_t *handle, int category);
VLS_API void vl_lc_unload(vl_locale_t *handle);
VLS_API void vl_free_nonshared_loc(vl_locale_t *handle);

/* Loading locales from ".lco" files. The string returned by vl_setlocale_4
 * is freed with vl_destroystring. */
VLS_API int vl_createlocale_4(vl_locale_t **handle);
VLS_API int vl_createlocale2_4(vl_locale_t **handle, const char *directory);
VLS_API char *vl_setlocale_4(vl_locale_t *handle, int category, const char *specification);
VLS_API int vl_lc_load(vl_locale_t **handle, const char *specification, const char *registry,
                       const char *directory);
VLS_API int vl_copy_cat(vl_locale_t *target, vl_locale_t *source, int category);
VLS_API void vl_destroystring(char *string);
VLS_API int update_locale(vl_locale_t *handle);
VLS_API int init_locale_info(vl_locale_t *handle);

/* The steps of a load, for tools and tests. `codeset` holds 21 bytes;
 * `name` 33; `result` of query_locname at least 311. */
VLS_API int read_file_header(void *stream, char *codeset, int *code);
VLS_API int read_locale_file(void *stream, vl_locale_t *handle);
VLS_API int read_one_category(vl_locale_t *handle, int category, void *stream);
VLS_API int verify_codesets(vl_locale_t *handle, int category);
VLS_API int check_codesets(vl_locale_t *handle);
VLS_API int load_category(vl_locale_t *handle, int category, const char *specification, char *name,
                          const char *directory);
VLS_API int load_native_category(vl_locale_t *handle, int category, char *name, const char *directory);
VLS_API char *set_categories(vl_locale_t *handle, int category, const char *specification,
                             const char *directory);
VLS_API void query_locname(vl_locale_t *handle, int category, char *result, size_t size);

/* Language information: item numbers of vl_nl_langinfo.
 *   1-7    abbreviated day names, weekday 0 (Sunday) to 6
 *   8-14   full day names, weekday 0 to 6
 *   15-27  abbreviated month names 1 to 13 (13 for calendars that have it)
 *   28-40  full month names 1 to 13
 *   41-53  time texts: AM, PM, formats, eras, alternative digits, the
 *          calendar name and the name of the file that filled LC_TIME
 *   54-56  numeric and monetary texts
 *   57-58  yes and no words, 59 the codeset name of LC_CTYPE
 *   71-72  yes and no expressions
 * VL_ERA gives all era definitions and VL_ALT_DIGITS all alternative digit
 * texts, each joined by line feeds. The latter is made together with the
 * eras, so a locale without eras answers "" for it. */
enum {
  VL_ABDAY_1 = 1,
  VL_ABDAY_2 = 2,
  VL_ABDAY_3 = 3,
  VL_ABDAY_4 = 4,
  VL_ABDAY_5 = 5,
  VL_ABDAY_6 = 6,
  VL_ABDAY_7 = 7,
  VL_DAY_1 = 8,
  VL_DAY_2 = 9,
  VL_DAY_3 = 10,
  VL_DAY_4 = 11,
  VL_DAY_5 = 12,
  VL_DAY_6 = 13,
  VL_DAY_7 = 14,
  VL_ABMON_1 = 15,
  VL_ABMON_2 = 16,
  VL_ABMON_3 = 17,
  VL_ABMON_4 = 18,
  VL_ABMON_5 = 19,
  VL_ABMON_6 = 20,
  VL_ABMON_7 = 21,
  VL_ABMON_8 = 22,
  VL_ABMON_9 = 23,
  VL_ABMON_10 = 24,
  VL_ABMON_11 = 25,
  VL_ABMON_12 = 26,
  VL_ABMON_13 = 27,
  VL_MON_1 = 28,
  VL_MON_2 = 29,
  VL_MON_3 = 30,
  VL_MON_4 = 31,
  VL_MON_5 = 32,
  VL_MON_6 = 33,
  VL_MON_7 = 34,
  VL_MON_8 = 35,
  VL_MON_9 = 36,
  VL_MON_10 = 37,
  VL_MON_11 = 38,
  VL_MON_12 = 39,
  VL_MON_13 = 40,
  VL_AM_STR = 41,
  VL_PM_STR = 42,
  VL_D_T_FMT = 43,
  VL_D_FMT = 44,
  VL_T_FMT = 45,
  VL_T_FMT_AMPM = 46,
  VL_ERA = 47,
  VL_ERA_D_FMT = 48,
  VL_ERA_T_FMT = 49,
  VL_ERA_D_T_FMT = 50,
  VL_ALT_DIGITS = 51,
  VL_CALENDAR = 52,    /* "gregorian", "hebrew", "islamic" or "arabic" */
  VL_TIME_LOCALE = 53, /* locale_names row of LC_TIME */
  VL_RADIXCHAR = 54,   /* decimal_point */
  VL_THOUSEP = 55,     /* thousands_sep */
  VL_CRNCYSTR = 56,    /* currency_symbol */
  VL_YESSTR = 57,
  VL_NOSTR = 58,
  VL_CODESET = 59,     /* codeset_names row of LC_CTYPE */
  VL_YESEXPR = 71,
  VL_NOEXPR = 72
};
/* The text of an item, or "" for an item the locale does not hold. */
VLS_API const char *vl_nl_langinfo(vl_locale_t *handle, int item);

VLS_API int vl_full_mblen(vl_locale_t *handle, const char *string, int32_t limit);
VLS_API int _kvx_vl_full_mblen(vl_locale_t *handle, const char *string, int32_t limit);
VLS_API int vl_mb_loc_max(vl_locale_t *handle);
VLS_API int vl_mb_loc_min(vl_locale_t *handle);

VLS_END_DECLS

#endif
