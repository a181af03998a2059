/* Client start-up: from the settings, the client's locale and the
 * database's, recorded in the process-wide vls_env with the conversions
 * between their codesets, the date format and the money conventions the
 * client's services use. */
#ifndef VLS_VLSINIT_H
#define VLS_VLSINIT_H

#include <stdint.h>
#include <vls/vls.h>
#include <vls/vlsclient.h>
#include <vls/vlscv.h>

VLS_BEGIN_DECLS

/* Status numbers of start-up. */
enum {
  VL_INIT_BADLOCALE = -23101, /* locale text null or too long, or a file that cannot be used */
  VL_INIT_NOMEM = -23102,     /* no memory, or no conversion object for the pair */
  VL_INIT_NOCONV = -23104,    /* a conversion object could not be loaded */
  VL_INIT_NLSMISSING = -23109, /* DBNLS is on and a category setting is missing */
  VL_INIT_INTERNAL = -23110,  /* internal errors of the locale core */
  VL_INIT_BADMODE = -23111,   /* mode is not 1, 2 or 4 */
  VL_INIT_LOADFAIL = -23115   /* other locale load failures */
};
/* Status numbers of the date format. */
enum { VL_DATE_NOMEM = -1211, VL_DATE_BADFMT = -1212, VL_DATE_BADYEAR = -1218 };

#define VL_SPEC_LEN 37 /* one category's locale text and its NUL */

/* flags bits */
enum { VL_ENV_SERVER = 1, VL_ENV_DBNLS = 2, VL_ENV_SESSION = 4 };

/* The process-wide start-up record. */
typedef struct vls_env_t {
  int16_t mode; /* mode in force; starts at 1 */
  vl_locale_t *locale;
  vl_locale_t *db_side_locale;
  vl_locale_t *saved_locale;
  vl_locale_t *mode4_locale;
  conv_object *csc_ab, *csc_ba, *csc_cd, *csc_dc;
  conv_object *saved_csc_cd, *saved_csc_dc;
  uint16_t init_mask;
  int32_t in_progress;
  /* date fields */
  char date_format[64];  /* the client's date format */
  int32_t date_order[3]; /* fields in order: 0 day, 1 month, 2 year */
  int32_t date_builtin;  /* the built-in "%m/%d/%iY" of an en_us locale */
  int32_t date_era;      /* the era form of the year: 0, or 'E', 'G', 'N' */
  int32_t gregorian;     /* the calendar is "gregorian" */
  int32_t nls_mode;
  int16_t flags;
  char specs[6][VL_SPEC_LEN];
  int32_t category_flags[6];
} vls_env_t;

VLS_API extern vls_env_t vls_env;
VLS_API extern int32_t _8bitfsys;

/* The money conventions of the client (from the locale, or DBMONEY). */
typedef struct vl_glconv {
  char decimal_point[8], thousands_sep[8];
  char mon_decimal_point[8], mon_thousands_sep[8];
  char currency_symbol[32];
  char positive_sign[8], negative_sign[8];
  char monfront[29], monback[29];
  int32_t has_monfront;
  signed char frac_digits, int_frac_digits;
  signed char p_cs_precedes, n_cs_precedes, p_sep_by_space, n_sep_by_space, p_sign_posn, n_sign_posn;
  /* bytes and display columns of the punctuation: decimal points,
   * separators, signs */
  int32_t len[6], width[6];
} vl_glconv;
VLS_API extern vl_glconv g_lconv;
VLS_API extern int32_t _gmoninit;

VLS_API int initvls(int mode);
VLS_API int thr_initvls(int mode);
VLS_API int chkvlsinit(void);
VLS_API int setup_vlext_funcs(int mode);
VLS_API int DBNLSset(void);
VLS_API int getiniterr(void);
/* 0 with *handle and flags[6], or -1 with the status stored. */
VLS_API int get_locale(vl_locale_t **handle, const char *text, int32_t *flags);
VLS_API const char *getalsloc(const char *word);
VLS_API void mklocspec(const char *ctype_text, const char *collate_text, char *target, int32_t missing,
                       int32_t same, int32_t store);
VLS_API void mk1loccat(char *target, const char *name, const char *value);
VLS_API void togensp(const char *text, char *target);
VLS_API void lcspec2longsp(const char *text, char target[6][VL_SPEC_LEN]);
VLS_API void filongspec(const char *text, int32_t *missing);
VLS_API int extrspec(const char *text, const char *name, char *target, int32_t wide);
VLS_API void get_nlscat(const char *name, int32_t index, int32_t *missing, int32_t session);
VLS_API void get_nlslocsp(int32_t session, int32_t *missing);
VLS_API int initcscdesc(const char *a, const char *b, const char *c, const char *d);
VLS_API int initdatetime(void);
/* dbdate and vl_date are used instead of the settings when `given` is set;
 * the format goes to `buffer` (64 bytes) when given, else to vls_env. */
VLS_API int nogetenv_getvlsfmt(const char *dbdate, const char *vl_date, char *buffer, int32_t given);
VLS_API int rmoninit(void);
VLS_API int getdbmoney(void);
VLS_API void init_dflt_lconv(void);
VLS_API int genlcscale(void);
VLS_API int restorelang(int32_t nls_mode, vl_locale_t *locale, vl_locale_t *db_side_locale, conv_object *csc_ab,
                        conv_object *csc_ba, conv_object *csc_cd, conv_object *csc_dc);
VLS_API int restoreploc(void);

VLS_END_DECLS

#endif
