/* The client's settings store: every known setting with its default and
 * length limit, loaded from the defaults, the system file
 * $KELVANIXDIR/etc/kelvanix.rc and the user file ~/.kelvanix; a lookup
 * prefers the process environment over all of them. Also the lists of
 * settings gathered for callers, and the base services the store uses. */
#ifndef VLS_VLSENV_H
#define VLS_VLSENV_H

#include <stdint.h>
#include <vls/vlsexport.h>

VLS_BEGIN_DECLS

/* gerrno and the statuses of the store. */
enum {
  GENV_ENOMEM = -2,   /* out of memory */
  GENV_ENOMORE = -3,  /* no further value (ggetnenv) */
  GENV_ETOOLONG = -4, /* value too long */
  GENV_EUNKNOWN = -5, /* unknown variable */
  GENV_ENULL = -7     /* null name or element */
};

/* Row numbers of Kvx_DVals that callers pass to idx_ggetenv. */
enum {
  GENV_DBDELIMITER = 12,
  GENV_DBPATH = 18,
  GENV_KELVANIXDIR = 38,
  GENV_KELVANIXSERVER = 42,
  GENV_DBNLS = 61,
  GENV_LANG = 63,
  GENV_LC_COLLATE = 64,
  GENV_LC_CTYPE = 65,
  GENV_LC_MONETARY = 66,
  GENV_LC_NUMERIC = 67,
  GENV_LC_TIME = 68,
  GENV_VLS8BITFSYS = 70,
  GENV_DB_LOCALE = 75,
  GENV_CLIENT_LOCALE = 76,
  GENV_SERVER_LOCALE = 77,
  GENV_NUM_DVALS = 116 /* rows before the closing all-zero row */
};

/* One value of a setting: a single block holding the two pointers and the
 * text (text is null for a row without a default). Never freed. */
typedef struct genv_node {
  char *text;
  struct genv_node *next;
} genv_node;

/* One setting of the store. */
typedef struct genv_elem {
  char *name;        /* own copy for a table row, the caller's string for a user-defined row */
  genv_node *values; /* newest first */
  genv_node *cursor; /* position for ggetnenv */
  int32_t index;     /* row in Kvx_DVals, -1 for a user-defined row */
  int32_t maxlen;    /* longest value accepted; 0 or less: no limit */
} genv_elem;

/* A row of Kvx_DVals or of a user-defined table; a null name ends a table. */
typedef struct genv_row {
  const char *name;
  const char *value; /* default, or null */
  int32_t maxlen;
} genv_row;

/* The locale settings in force. */
typedef struct genv_dbvars {
  char lc_ctype[65];
  char lc_collate[65];
  char dbnls[5];
} genv_dbvars;

/* A gathered list: `names` point at the key lists, each value is owned. */
typedef struct genv_list {
  int32_t count;
  const char **names;
  char **values;
} genv_list;

/* The default table: GENV_NUM_DVALS rows and an all-zero row. */
VLS_API extern const genv_row Kvx_DVals[GENV_NUM_DVALS + 1];

/* The store, the session list (filled by nobody here; searched first by
 * ginsenv and ggetnenv while Num_SVars > 0), the user-defined table. */
VLS_API extern genv_elem *Kvx_EVars;
VLS_API extern int32_t Num_EVars;
VLS_API extern genv_elem *Kvx_SVars;
VLS_API extern int32_t Num_SVars;
VLS_API extern const genv_row *Kvx_UDVars;
VLS_API extern genv_dbvars Kvx_DBVars;
VLS_API extern int32_t gerrno;

/* Lookups: process environment, user file, system file, default. */
VLS_API char *ggetenv(const char *name);
VLS_API char *getsesenv(const char *name);
/* index: row of Kvx_DVals, or -1 to search by name. */
VLS_API char *idx_ggetenv(const char *name, int32_t index);
/* The value beneath the top of the stack (a fixed one-step peek). */
VLS_API char *ggetnenv(const char *name);
/* Default of a row through *value_out: 0, or -1 for an unknown name. */
VLS_API int gdefenv(const char *name, const char **value_out);
/* Sets the user-defined table (before the first lookup); gives it back. */
VLS_API const genv_row *gsetudenv(const genv_row *table);

/* Loading and pushing. A value longer than a positive limit ends the
 * process (exit 1) with a message on stderr. */
VLS_API int greadenv(void);
VLS_API int ginsenv(const char *name, const char *value);
VLS_API int ginsenv_fast(const char *name, const char *value, genv_elem *element);
VLS_API genv_node *cr_envelem(const char *value);
VLS_API genv_elem *search_evar(const char *name, genv_elem *list, int32_t count);
VLS_API genv_elem *search_evar_enum(int32_t index, const char *name, genv_elem *list, int32_t count);
/* Reads a configuration file into the store: 0, -4 (the last line named an
 * unknown variable) or -2. `ignore` is a name list; *flags collects the
 * GENV_F_* bits of the locale settings the file set. */
VLS_API int ldcffile(const char *path, void *ignore, int32_t *line_count, int32_t *flags);
/* One line of a configuration file into *buffer (grown by 128 bytes as
 * needed): 0, -1 at end of file, -2 when the buffer cannot grow. */
VLS_API int _ggetcfline(void *file, char **buffer, int32_t *size, int32_t *line_count);
/* The process value, null when unset or empty (then *empty is 1). */
VLS_API char *gnlsevar(const char *name, int32_t *empty);
VLS_API int gnlsenv(int32_t flags, int32_t bit, const char *name, const char *lang);

enum {
  GENV_F_DBNLS = 1,
  GENV_F_LANG = 2,
  GENV_F_LC_COLLATE = 4,
  GENV_F_LC_CTYPE = 8,
  GENV_F_LC_MONETARY = 16,
  GENV_F_LC_NUMERIC = 32,
  GENV_F_LC_TIME = 64
};

/* The process environment: putenv of name=value; a value longer than a
 * positive limit plus one fails with -4. */
VLS_API int gputenv(const char *name, const char *value);
VLS_API int gfeputenv(const char *name, const char *value);

/* The locale settings in force (Kvx_DBVars). */
VLS_API int OS_setlang(const char *name, const char *value);
VLS_API int OS_resetlang(int32_t reapply);
VLS_API char *OS_getlangvar(const char *name);
VLS_API int OS_IsDbEnvSet(void);

/* Gathered lists. */
VLS_API extern const char *const Kvx_MVarList[19];
VLS_API extern const char *const Kvx_LVarList[7];
VLS_API extern const char *const Kvx_SVarList[37];
VLS_API int setevlist(const char **names_out, char **values_out, const char *const *keys, int32_t key_count,
                      int32_t *counter);
VLS_API int _oscpevlist(genv_list *list, const char *first_value);
VLS_API int _oscsevlist(genv_list *list);
VLS_API void _osfreevlist(genv_list *list);
VLS_API int _os_clr_env(void);

/* Base services of the store. */
VLS_API void *CheckOsInit(void);
VLS_API const char *ggethomepath(void);
VLS_API int is8bitstr(const char *text);
/* A set of texts (copied): a list or null; 0 or -2; 1 if present. */
VLS_API void *_ginitnamelist(void);
VLS_API int _gaddnamelist(void *list, const char *name);
VLS_API int _gsrchnamelist(void *list, const char *name);
VLS_API void _gfreenamelist(void *list);
/* Character classes of the client layer, by byte. */
enum { IX_SPACE = 1, IX_DIGIT = 2, IX_UPPER = 4, IX_LOWER = 8, IX_PUNCT = 16, IX_CNTRL = 32, IX_XDIGIT = 64 };
VLS_API extern unsigned char _ixctype[256];
VLS_API int rldnlsctype(void);
VLS_API int _osetcollate(const char *locale);

VLS_END_DECLS

#endif
