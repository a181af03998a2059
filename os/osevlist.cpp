// Settings of the store gathered into arrays of names and values by three
// fixed key lists, for callers outside the library; and the neutral
// setting of the process environment.
#include <cstdio>
#include <cstring>

#include <vls/vlsclient.h>
#include <vls/vlsenv.h>
#include <vls/vlsext.h>

#include "osenv.h"

extern "C" {

VLS_API extern const char *const Kvx_MVarList[19] = {
    "DBDATE",      "DBMONEY",  "DBALSBC",  "DBCONNECT", "DBCSCONV",   "CLIENT_LOCALE", "KELVANIXSTACKSIZE",
    "DBSPACETEMP", "VL_DATE",  "COLLCHAR", "SLABEL",    "SINGLELEVEL", "LKNOTIFY",     "LOCKDOWN",
    "NODEFDAC",    "DELIMIDENT", "SKINHIBIT", "SKALL",  "SKSHOW"};

VLS_API extern const char *const Kvx_LVarList[7] = {"DB_LOCALE",  "DBNLS",       "LC_CTYPE", "LC_COLLATE",
                                                    "LC_NUMERIC", "LC_MONETARY", "LC_TIME"};

VLS_API extern const char *const Kvx_SVarList[37] = {
    "DBTIME",      "DBLANG",           "DBMAXPROC",       "DBTEMP",       "DEBUG",       "DUMPCORE",
    "DUMPDIR",     "DUMPMEM",          "DUMPSHMEM",       "GCORE",        "NOSHMSG",     "PSORT_DBTEMP",
    "PSORT_NPROCS", "SHELL",           "TZ",              "W1",           "W2",          "NOSORTINDEX",
    "DBUPSPACE",   "PDQPRIORITY",      "OPTCOMPIND",      "OPTOFC",       "KELVANIXCONRETRY",
    "KELVANIXCONTIME", "KELVANIXOPCACHE", "VL_DATETIME",  "VL_MATCHES",   "SQLSTATS",    "DBCENTURY",
    "PLCONFIG",    "DBANSIWARN",       "DBPATH",          "PATH",         "CR_LOCKBLOB", "LOCKSSFU",
    "LIGHT_SCANS", "SQL_FROM_DBIMPORT"};

}  // extern "C"

namespace {

constexpr int32_t kClientRoom = 27, kServerRoom = 38;

char *plain_copy(const char *value) {
  const size_t n = strlen(value) + 1;
  char *copy = static_cast<char *>(_vl_ext_malloc(n));
  if (copy) memcpy(copy, value, n);
  return copy;
}

// A value for a list: in the target codeset when the client converts.
char *list_copy(const char *value) {
  conv_object *cv = vls::env_client_state().csc_ab;
  if (!cv) return plain_copy(value);
  char *copy = nullptr;
  return gcv_malloc(cv, value, nullptr, &copy) < 0 ? nullptr : copy;
}

// Both arrays zeroed, so that freeing a half-built list frees only what
// was built.
bool make_list(genv_list *list, int32_t room) {
  list->count = room;
  list->names = static_cast<const char **>(_vl_ext_calloc(static_cast<size_t>(room), sizeof(char *)));
  list->values = static_cast<char **>(_vl_ext_calloc(static_cast<size_t>(room), sizeof(char *)));
  return list->names && list->values;
}

int fail(genv_list *list) {
  _osfreevlist(list);
  return -1;
}

}  // namespace

extern "C" {

VLS_API int setevlist(const char **names_out, char **values_out, const char *const *keys, int32_t key_count,
                      int32_t *counter) {
  if (key_count < 1) return 0;
  if (!names_out || !values_out || !keys) return -1;
  int32_t added = 0;
  for (int32_t i = 0; i < key_count; ++i) {
    const char *value = keys[i] ? idx_ggetenv(keys[i], -1) : nullptr;
    if (!value) continue;
    char *copy = list_copy(value);
    if (!copy) return -1;
    names_out[added] = keys[i];
    values_out[added++] = copy;
    if (counter) ++*counter;
  }
  return 0;
}

// DBPATH first, the client's keys, then the locale keys in mode 1.
VLS_API int _oscpevlist(genv_list *list, const char *first_value) {
  if (!list) return -1;
  if (!make_list(list, kClientRoom)) return fail(list);
  list->names[0] = "DBPATH";
  list->values[0] = list_copy(first_value ? first_value : "");
  if (!list->values[0]) return fail(list);
  int32_t counter = 1;
  if (setevlist(list->names + 1, list->values + 1, Kvx_MVarList, 19, &counter) != 0) return fail(list);
  const vls::EnvClientState client = vls::env_client_state();
  if (client.mode == 1) {
    if (client.nls_mode != 0) {
      if (setevlist(list->names + counter, list->values + counter, Kvx_LVarList, 7, &counter) != 0)
        return fail(list);
    } else if (const char *db_locale = idx_ggetenv("DB_LOCALE", GENV_DB_LOCALE)) {
      // The database locale travels as it is, never converted.
      list->values[counter] = plain_copy(db_locale);
      if (!list->values[counter]) return fail(list);
      list->names[counter++] = Kvx_LVarList[0];
    }
  }
  list->count = counter;
  return 0;
}

VLS_API int _oscsevlist(genv_list *list) {
  if (!list) return -1;
  if (!make_list(list, kServerRoom)) return fail(list);
  int32_t counter = 0;
  if (setevlist(list->names, list->values, Kvx_SVarList, 37, &counter) != 0) return fail(list);
  list->count = counter;
  return 0;
}

VLS_API void _osfreevlist(genv_list *list) {
  if (!list) return;
  if (list->values)
    for (int32_t i = 0; i < list->count; ++i) _vl_ext_free(list->values[i]);
  _vl_ext_free(list->names);
  _vl_ext_free(list->values);
  list->names = nullptr;
  list->values = nullptr;
}

// DBNLS=0, DBMONEY=$., DBDATE=MDY4/, DBPATH=. into the process environment;
// putenv keeps the buffers, which live as long as the process.
VLS_API int _os_clr_env(void) {
  static char dbnls[] = "DBNLS=0", dbmoney[16], dbdate[16], dbpath[] = "DBPATH=.";
  snprintf(dbmoney, sizeof dbmoney, "%s%s", "DBMONEY=", "$.");
  snprintf(dbdate, sizeof dbdate, "%s%s", "DBDATE=", "MDY4/");
  _vl_ext_putenv(dbnls);
  _vl_ext_putenv(dbmoney);
  _vl_ext_putenv(dbdate);
  return _vl_ext_putenv(dbpath);
}

}  // extern "C"
