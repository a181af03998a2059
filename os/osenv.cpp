// The client's settings store. At the first lookup every row of Kvx_DVals
// (and of the caller's user-defined table) becomes an element with a stack
// of values: the default, then what $KELVANIXDIR/etc/kelvanix.rc and then
// ~/.kelvanix push. A lookup asks the process environment first and reads
// the top of the stack otherwise. The store only grows and lives until
// process end.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <vls/vlsclient.h>
#include <vls/vlsenv.h>
#include <vls/vlsext.h>

#include "osenv.h"
#include "vlsint.h"

extern "C" {

VLS_API genv_elem *Kvx_EVars = nullptr;
VLS_API int32_t Num_EVars = 0;
VLS_API genv_elem *Kvx_SVars = nullptr;
VLS_API int32_t Num_SVars = 0;
VLS_API const genv_row *Kvx_UDVars = nullptr;
VLS_API genv_dbvars Kvx_DBVars = {};
VLS_API int32_t gerrno = 0;

}  // extern "C"

namespace vls {
__attribute__((weak)) EnvClientState env_client_state() { return {nullptr, nullptr, 1, 0}; }
}  // namespace vls

namespace {

constexpr const char *kDefaultLang = "en_US.819";

int32_t row_count(const genv_row *table) {
  int32_t n = 0;
  while (table[n].name) ++n;
  return n;
}

const genv_row *dval_row(const char *name) {
  if (!name) return nullptr;
  for (const genv_row *r = Kvx_DVals; r->name; ++r)
    if (strcmp(r->name, name) == 0) return r;
  return nullptr;
}

bool longer_than(const char *value, int32_t limit) {
  return limit > 0 && value && strlen(value) > static_cast<size_t>(limit);
}

// A setting too long for its limit is fatal to the client.
[[noreturn]] void too_long(const char *name, int32_t limit) {
  gerrno = GENV_ETOOLONG;
  fprintf(stderr, "Environment variable %s is too long (maximum is %d character%s).\n", name, static_cast<int>(limit),
          limit == 1 ? "" : "s");
  fflush(stderr);
  exit(1);
}

// The element of `name`: the session list first while it has elements.
genv_elem *find_elem(const char *name) {
  genv_elem *e = Num_SVars > 0 ? search_evar(name, Kvx_SVars, Num_SVars) : nullptr;
  return e ? e : search_evar(name, Kvx_EVars, Num_EVars);
}

// The newest value of `name` in the store, when it is a non-empty text.
const char *top_text(const char *name) {
  const genv_elem *e = search_evar(name, Kvx_EVars, Num_EVars);
  return e && e->values && e->values->text && *e->values->text ? e->values->text : nullptr;
}

// "<prefix><suffix>" on the host heap.
char *join(const char *prefix, const char *suffix) {
  const size_t a = strlen(prefix), b = strlen(suffix);
  char *s = static_cast<char *>(_vl_ext_malloc(a + b + 1));
  if (s) memcpy(s, prefix, a), memcpy(s + a, suffix, b + 1);
  return s;
}

// The locale settings that a file sets only with a value, and their flags.
int32_t locale_flag(const char *name) {
  static constexpr struct {
    const char *name;
    int32_t flag;
  } kFlags[] = {{"LANG", GENV_F_LANG},           {"LC_COLLATE", GENV_F_LC_COLLATE}, {"LC_CTYPE", GENV_F_LC_CTYPE},
                {"LC_MONETARY", GENV_F_LC_MONETARY}, {"LC_NUMERIC", GENV_F_LC_NUMERIC}, {"LC_TIME", GENV_F_LC_TIME},
                {"DBNLS", GENV_F_DBNLS}};
  for (const auto &f : kFlags)
    if (strcmp(f.name, name) == 0) return f.flag;
  return 0;
}

bool is_nls_mode(const char *value) { return value && (strcmp(value, "1") == 0 || strcmp(value, "2") == 0); }

// Copies into a slot of Kvx_DBVars; a value that does not fit is refused
// with -4 and the slot stays as it was.
template <size_t N>
int set_slot(char (&slot)[N], const char *value) {
  const char *v = value ? value : "";
  const size_t n = strlen(v);
  if (n >= N) return GENV_ETOOLONG;
  memcpy(slot, v, n + 1);
  return 0;
}

// The store from the table's rows; any failure here ends the process.
void load_defaults() {
  const int32_t n = row_count(Kvx_DVals);
  auto *evars = static_cast<genv_elem *>(_vl_ext_calloc(static_cast<size_t>(n), sizeof(genv_elem)));
  if (!evars) exit(1);
  for (int32_t i = 0; i < n; ++i) {
    genv_elem &e = evars[i];
    e.name = join(Kvx_DVals[i].name, "");
    if (!e.name) exit(1);
    e.index = i;
    e.maxlen = Kvx_DVals[i].maxlen;
    if (ginsenv_fast(e.name, Kvx_DVals[i].value, &e) != 0) exit(1);
  }
  Kvx_EVars = evars;
  Num_EVars = n;
}

// The user-defined rows behind the table's, with index -1 and no limit.
int load_user_rows() {
  const int32_t u = row_count(Kvx_UDVars);
  if (u == 0) return 0;
  if (u > INT32_MAX / static_cast<int32_t>(sizeof(genv_elem)) - Num_EVars) return GENV_ENOMEM;
  const int32_t total = Num_EVars + u;
  void *grown = _vl_ext_realloc(Kvx_EVars, static_cast<size_t>(total) * sizeof(genv_elem));
  if (!grown) return GENV_ENOMEM;
  Kvx_EVars = static_cast<genv_elem *>(grown);
  memset(Kvx_EVars + Num_EVars, 0, static_cast<size_t>(u) * sizeof(genv_elem));
  for (int32_t j = 0; j < u; ++j) {
    genv_elem &e = Kvx_EVars[Num_EVars];
    e.name = const_cast<char *>(Kvx_UDVars[j].name);
    e.index = -1;
    ++Num_EVars;
    if (const int rc = ginsenv_fast(e.name, Kvx_UDVars[j].value, &e)) return rc;
  }
  return 0;
}

// ENVIGNORE: names separated by ":", each non-empty one into the list.
int read_ignore_list(void *ignore) {
  const char *list = _vl_ext_getenv("ENVIGNORE");
  if (!list) return 0;
  vls::HostPtr<char> copy(join(list, ""));
  if (!copy) return GENV_ENOMEM;
  for (char *p = copy.get(); *p;) {
    char *end = strchr(p, ':');
    if (end) *end = '\0';
    if (*p && _gaddnamelist(ignore, p) != 0) return GENV_ENOMEM;
    if (!end) break;
    p = end + 1;
  }
  return 0;
}

// One configuration file: 0 and -4 let the load go on.
bool read_file(const char *dir, const char *name, void *ignore, int32_t *flags) {
  vls::HostPtr<char> path(join(dir, name));
  if (!path) return false;
  int32_t lines = 0;
  const int rc = ldcffile(path.get(), ignore, &lines, flags);
  return rc == 0 || rc == GENV_ETOOLONG;
}

int load(void *ignore) {
  load_defaults();
  if (Kvx_UDVars)
    if (const int rc = load_user_rows()) return rc;
  if (read_ignore_list(ignore) != 0) return GENV_ENOMEM;

  int32_t flags = 0;
  const char *kdir = _vl_ext_getenv("KELVANIXDIR");
  if (!read_file(kdir ? kdir : "/usr/kelvanix", "/etc/kelvanix.rc", ignore, &flags)) return GENV_ENOMEM;
  if (const char *home = ggethomepath())
    if (!read_file(home, "/.kelvanix", ignore, &flags)) return GENV_ENOMEM;

  if (is_nls_mode(_vl_ext_getenv("DBNLS"))) flags |= GENV_F_DBNLS;
  if (!(flags & GENV_F_DBNLS)) return 0;
  int32_t empty = 0;
  const char *lang = gnlsevar("LANG", &empty);
  if (!lang && (flags & GENV_F_LANG)) lang = top_text("LANG");
  static constexpr struct {
    int32_t flag;
    const char *name;
  } kCategories[] = {{GENV_F_LC_COLLATE, "LC_COLLATE"},
                     {GENV_F_LC_CTYPE, "LC_CTYPE"},
                     {GENV_F_LC_MONETARY, "LC_MONETARY"},
                     {GENV_F_LC_NUMERIC, "LC_NUMERIC"},
                     {GENV_F_LC_TIME, "LC_TIME"}};
  for (const auto &c : kCategories)
    if (const int rc = gnlsenv(flags, c.flag, c.name, lang)) return rc;
  return 0;
}

}  // namespace

extern "C" {

VLS_API genv_node *cr_envelem(const char *value) {
  const size_t n = value ? strlen(value) : 0;
  auto *node = static_cast<genv_node *>(_vl_ext_malloc(sizeof(genv_node) + n + 1));
  if (!node) return nullptr;
  char *text = reinterpret_cast<char *>(node + 1);
  if (value) memcpy(text, value, n + 1);
  node->text = value ? text : nullptr;
  node->next = nullptr;
  return node;
}

VLS_API genv_elem *search_evar(const char *name, genv_elem *list, int32_t count) {
  if (!name || !list) return nullptr;
  for (int32_t i = 0; i < count && list[i].name; ++i)
    if (strcmp(list[i].name, name) == 0) {
      list[i].cursor = list[i].values;
      return &list[i];
    }
  return nullptr;
}

// The element at `index` when it stands for that row, without comparing
// names; else a search by name. A negative index is outside the list and
// finds nothing.
VLS_API genv_elem *search_evar_enum(int32_t index, const char *name, genv_elem *list, int32_t count) {
  if (!list || index < 0 || index >= count) return nullptr;
  genv_elem *e = &list[index];
  if (e->name && e->index == index) {
    e->cursor = e->values;
    return e;
  }
  return search_evar(name, list, count);
}

VLS_API int ginsenv_fast(const char *name, const char *value, genv_elem *element) {
  if (!name || !element) return GENV_ENULL;
  if (longer_than(value, element->maxlen)) too_long(name, element->maxlen);
  genv_node *node = cr_envelem(value);
  if (!node) return GENV_ENOMEM;
  node->next = element->values;
  element->values = element->cursor = node;
  return 0;
}

VLS_API int ginsenv(const char *name, const char *value) {
  if (!name) return GENV_ENULL;
  genv_elem *e = find_elem(name);
  return e ? ginsenv_fast(name, value, e) : GENV_EUNKNOWN;
}

VLS_API char *idx_ggetenv(const char *name, int32_t index) {
  if (!Kvx_EVars && greadenv() != 0) return nullptr;
  if (char *value = name ? _vl_ext_getenv(name) : nullptr) {
    const vls::EnvClientState client = vls::env_client_state();
    if (client.csc_dc && is8bitstr(value)) {
      // The converted copy belongs to nobody: a lookup cannot tell its
      // caller to free it.
      char *copy = nullptr;
      gcv_malloc(client.csc_dc, value, nullptr, &copy);
      if (copy) value = copy;
    }
    // Only rows of the table are read from the process; a row number
    // outside the table finds no row.
    const genv_row *row = index == -1 ? dval_row(name)
                          : index >= 0 && index < GENV_NUM_DVALS ? &Kvx_DVals[index]
                                                                 : nullptr;
    if (!row) {
      gerrno = GENV_EUNKNOWN;
      return nullptr;
    }
    if (longer_than(value, row->maxlen)) too_long(name, row->maxlen);
    return value;
  }
  if (!name) {
    gerrno = GENV_ENULL;
    return nullptr;
  }
  genv_elem *e = index == -1 ? search_evar(name, Kvx_EVars, Num_EVars)
                             : search_evar_enum(index, name, Kvx_EVars, Num_EVars);
  if (!e) {
    gerrno = GENV_EUNKNOWN;
    return nullptr;
  }
  return e->values ? e->values->text : nullptr;
}

VLS_API char *ggetenv(const char *name) { return idx_ggetenv(name, -1); }
VLS_API char *getsesenv(const char *name) { return idx_ggetenv(name, -1); }

// The value beneath the top: the search puts the cursor back on the top,
// so every call gives the second value.
VLS_API char *ggetnenv(const char *name) {
  if (!name) {
    gerrno = GENV_ENULL;
    return nullptr;
  }
  gerrno = 0;
  genv_elem *e = find_elem(name);
  if (!e) {
    gerrno = GENV_EUNKNOWN;
    return nullptr;
  }
  genv_node *next = e->cursor ? e->cursor->next : nullptr;
  if (!next) {
    gerrno = GENV_ENOMORE;
    return nullptr;
  }
  e->cursor = next;
  return next->text;
}

VLS_API int gdefenv(const char *name, const char **value_out) {
  const genv_row *row = dval_row(name);
  if (!row) return -1;
  if (value_out) *value_out = row->value;
  return 0;
}

VLS_API const genv_row *gsetudenv(const genv_row *table) { return Kvx_UDVars = table; }

// One block: a pointer to the text, then "name=value"; putenv keeps the
// text for good. The limit is one byte looser than the store's and fails
// softly. A null name is refused with -7.
VLS_API int gfeputenv(const char *name, const char *value) {
  if (!name) return gerrno = GENV_ENULL;
  const int32_t length = stleng(value);
  if (length > 0)
    if (const genv_row *row = dval_row(name); row && row->maxlen > 0 && length - 1 > row->maxlen)
      return gerrno = GENV_ETOOLONG;
  const size_t n = strlen(name), v = static_cast<size_t>(length);
  void *block = _vl_ext_malloc(sizeof(char *) + n + v + 6);
  if (!block) return GENV_ENOMEM;
  char *text = static_cast<char *>(block) + sizeof(char *);
  memcpy(text, name, n);
  text[n] = '=';
  if (value) memcpy(text + n + 1, value, v);
  text[n + 1 + v] = '\0';
  *static_cast<char **>(block) = text;
  if (_vl_ext_putenv(text) != 0) {
    _vl_ext_free(block);
    return GENV_ENOMEM;
  }
  return 0;
}

VLS_API int gputenv(const char *name, const char *value) { return gfeputenv(name, value); }

VLS_API char *gnlsevar(const char *name, int32_t *empty) {
  if (empty) *empty = 0;
  char *value = name ? _vl_ext_getenv(name) : nullptr;
  if (value && !*value) {
    if (empty) *empty = 1;
    return nullptr;
  }
  return value;
}

// A locale category under DBNLS: the file's value if the process has none
// and a file set one; else LANG (or the default) pushed on the store. A
// category present but empty in the process is published, or the empty
// process value would win.
VLS_API int gnlsenv(int32_t flags, int32_t bit, const char *name, const char *lang) {
  int32_t empty = 0;
  const char *process = gnlsevar(name, &empty);
  const char *result = !process && (flags & bit) ? top_text(name) : nullptr;
  if (!result) {
    result = lang ? lang : kDefaultLang;
    if (const int rc = ginsenv(name, result)) return rc;
  }
  return empty ? gputenv(name, result) : 0;
}

VLS_API int greadenv(void) {
  if (!CheckOsInit()) return GENV_ENOMEM;
  if (Kvx_EVars) return 0;
  void *ignore = _ginitnamelist();
  if (!ignore) return GENV_ENOMEM;
  const int status = load(ignore);
  _gfreenamelist(ignore);
  return status;
}

// A line longer than 2 GiB cannot be measured in 32 bits: it is refused as
// a buffer that cannot grow.
VLS_API int _ggetcfline(void *file, char **buffer, int32_t *size, int32_t *line_count) {
  if (!file || !buffer || !size) return -1;
  enum { kLineStart, kComment, kData } state = kLineStart;
  int32_t length = 0;
  for (;;) {
    const int c = _vl_ext_fgetc(file);
    if (c == EOF) return -1;
    if (state == kComment) {
      if (c == '\n') state = kLineStart;
      continue;
    }
    if (state == kLineStart) {
      if (line_count) ++*line_count;
      if (c == '#') {
        state = kComment;
        continue;
      }
      state = kData;
    } else if (c == '\n') {
      (*buffer)[length] = '\0';
      return 0;
    }
    if (length + 1 >= *size || !*buffer) {
      void *grown = *size <= INT32_MAX - 128 ? _vl_ext_realloc(*buffer, static_cast<size_t>(*size) + 128) : nullptr;
      if (!grown) {
        *size = 0;
        return -2;
      }
      *buffer = static_cast<char *>(grown);
      *size += 128;
    }
    (*buffer)[length++] = static_cast<char>(c);
  }
}

VLS_API int ldcffile(const char *path, void *ignore, int32_t *line_count, int32_t *flags) {
  if (!path) return 0;
  vls::HostFile file(_vl_ext_fopen(path, "r"));
  if (!file) return 0;
  int32_t size = 128, no_lines = 0, no_flags = 0;
  if (!line_count) line_count = &no_lines;
  if (!flags) flags = &no_flags;
  char *line = static_cast<char *>(_vl_ext_malloc(static_cast<size_t>(size)));
  if (!line) return GENV_ENOMEM;
  struct FreeLine {
    char *&p;
    ~FreeLine() { _vl_ext_free(p); }
  } free_line{line};
  int status = 0;
  while (_ggetcfline(file.get(), &line, &size, line_count) == 0) {
    char *name = line, *value = line;
    while (*value && !(_ixctype[static_cast<unsigned char>(*value)] & IX_SPACE)) ++value;
    if (*value) *value++ = '\0';
    while (*value && (_ixctype[static_cast<unsigned char>(*value)] & IX_SPACE)) ++value;
    if (_gsrchnamelist(ignore, name)) continue;
    const int32_t flag = locale_flag(name);
    if (flag && !*value) continue;  // an empty locale setting is not stored
    status = ginsenv(name, value);
    if (status == 0 && flag && (flag != GENV_F_DBNLS || is_nls_mode(value))) *flags |= flag;
    if (status != 0 && status != GENV_EUNKNOWN) return status;
  }
  // Only the last line can leave an unknown name behind; it reads as -4.
  return status == GENV_EUNKNOWN ? GENV_ETOOLONG : status;
}

VLS_API int OS_setlang(const char *name, const char *value) {
  if (!name) return 0;
  if (strcmp(name, "LC_COLLATE") == 0) {
    if (stleng(value) >= static_cast<int32_t>(sizeof Kvx_DBVars.lc_collate)) return GENV_ETOOLONG;
    if (const int rc = _osetcollate(value)) return rc;
    return set_slot(Kvx_DBVars.lc_collate, value);
  }
  if (strcmp(name, "LC_CTYPE") == 0) {
    if (const int rc = set_slot(Kvx_DBVars.lc_ctype, value)) return rc;
    return rldnlsctype();
  }
  if (strcmp(name, "DBNLS") == 0) return set_slot(Kvx_DBVars.dbnls, value);
  return 0;
}

VLS_API int OS_resetlang(int32_t reapply) {
  int status = set_slot(Kvx_DBVars.dbnls, idx_ggetenv("DBNLS", GENV_DBNLS));
  const char *ctype = idx_ggetenv("LC_CTYPE", GENV_LC_CTYPE);
  const char *collate = idx_ggetenv("LC_COLLATE", GENV_LC_COLLATE);
  int rc[2] = {0, 0};
  if (!reapply) {
    rc[0] = set_slot(Kvx_DBVars.lc_ctype, ctype);
    rc[1] = set_slot(Kvx_DBVars.lc_collate, collate);
  } else {
    if (strcmp(Kvx_DBVars.lc_ctype, ctype ? ctype : "") != 0) rc[0] = OS_setlang("LC_CTYPE", ctype);
    if (strcmp(Kvx_DBVars.lc_collate, collate ? collate : "") != 0) rc[1] = OS_setlang("LC_COLLATE", collate);
  }
  for (int r : rc)
    if (!status) status = r;
  return status;
}

VLS_API char *OS_getlangvar(const char *name) {
  if (name && strcmp(name, "LC_COLLATE") == 0) return Kvx_DBVars.lc_collate;
  if (name && strcmp(name, "LC_CTYPE") == 0) return Kvx_DBVars.lc_ctype;
  return Kvx_DBVars.dbnls;
}

VLS_API int OS_IsDbEnvSet(void) { return Kvx_DBVars.lc_ctype[0] != '\0'; }

}  // extern "C"
