// Unicode bridge: loads the bridge library on request, binds its 78
// functions by name, hands it the library's allocator, stream and message
// callbacks, loads its data files, and decides for each locale category
// whether that category is answered by the bridge.
#include <dlfcn.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vlsint.h"
#include <vls/vlsspec.h>
#include <vls/vlsvlu.h>

// The names bound from the bridge, in binding order.
#define VLU_BINDINGS(X)                                                                                          \
  X(getIcuDataFileName) X(useIcuCvtCall) X(useIcuLocCall) X(icuErrorName) X(loadIcuData) X(unloadIcuData)      \
  X(loadMapData) X(unloadMapData) X(cv_open) X(cv_close) X(lc_clone) X(cv_conv) X(iconv_expansion)             \
  X(assign_global_struct) X(lc_open) X(lc_close) X(mb_loc_max) X(getICULocName) X(getICUCvtName)               \
  X(mb_loc_min) X(case_conv_outbuflen) X(ismctype) X(isuc32type) X(mbtouc) X(uctomb) X(mbtouc32) X(uc32tomb)   \
  X(mblen) X(mbwidth) X(uc32width) X(mbtoupper) X(mbtolower) X(uc32toupper) X(uc32tolower) X(mbstoucs)         \
  X(ucstombs) X(mbstoucs32) X(ucs32tombs) X(mbsprev) X(mbsnext) X(mbsntsbytes) X(mbstoupper) X(mbstolower)     \
  X(ucs32toupper) X(ucs32tolower) X(mbslen) X(mbsbytes) X(ucs32len) X(ucs32uc32) X(mbschr) X(mbswidth)         \
  X(ucs32width) X(mbspwidth) X(ucs32pwidth) X(ucscoll) X(ucsxfrm) X(ucs32coll) X(ucs32xfrm) X(mbscoll)         \
  X(mbsxfrm) X(mbsCollBound) X(mbsSortKeyCollBound) X(fgetuc32) X(getmb) X(getmbsi) X(putmbsi)                 \
  X(setMemoryFunctions) X(setFgetcFunc) X(setFseekFunc) X(setFtellFunc) X(setFerrorFunc) X(setFeofFunc)        \
  X(setUCAFunc) X(ucstoucs32) X(ucs32toucs) X(setPrintMessageFunc) X(setMessageLevel) X(setMessageSubLevel)

extern "C" {

VLS_API int32_t vlu_capable = 0;
VLS_API int32_t unicode_collate = 0;
VLS_API int32_t vlu_loaded = 0;
VLS_API void *pMap = nullptr;
VLS_API void *vlu_cudata_t = nullptr;
VLS_API dl_handle handlevlu[VLU_MAX_LIBRARIES] = {};

#define VLU_DEFINE(n) VLS_API decltype(fn_vlu_##n) fn_vlu_##n = nullptr;
VLU_BINDINGS(VLU_DEFINE)
#undef VLU_DEFINE

}  // extern "C"

namespace {

#define VLU_COUNT(n) +1
static_assert(0 VLU_BINDINGS(VLU_COUNT) == VLU_BINDING_COUNT, "the bridge binds 78 names");
#undef VLU_COUNT

constexpr const char kRegistryName[] = "dllregistry";
constexpr const char kRegistryPrefix[] = "32";
constexpr int kRegistryVersion = 34;
constexpr const char kMapName[] = "locmap";
constexpr size_t kIcuNameSize = 32;
constexpr size_t kLineOnStack = 257;
constexpr int kMessageLevel = 65535;
constexpr int kMessageSubLevel = 1;

// The handle's error number, through the host's errno slot; a null record
// has none.
// Process-wide flags are written only when their value changes: once start-up
// has settled them, threads loading locales each on its own handle only read.
template <class T>
void settle(T &flag, T value) {
  if (flag != value) flag = value;
}

using vls::set_error;

char *copy_text(const char *text) {
  size_t n = strlen(text) + 1;
  char *p = static_cast<char *>(_vl_alloc_ptr(n));
  if (p) memcpy(p, text, n);
  return p;
}

void replace_message(dl_handle *record, const char *text) {
  _vl_free_ptr(record->message);
  record->message = text ? copy_text(text) : nullptr;
}

// A row of locale_names (not always NUL-terminated when full) against a name.
bool same_name(const char *row, const char *name) {
  size_t n = strnlen(row, VL_LOCALE_NAME_LEN);
  return strlen(name) == n && memcmp(row, name, n) == 0;
}

bool valid_category(int category) { return category >= VL_LC_CTYPE && category <= VL_LC_MESSAGES; }

// Binds every name from one library. The results are summed so that all
// names are tried and any failure shows.
int bind_all(dl_handle *record) {
  int sum = 0;
  void *address;
#define VLU_BIND(n)                                                 \
  address = nullptr;                                                \
  sum += kvnx_dlsym(record, &address, "vlu_" #n);                   \
  fn_vlu_##n = reinterpret_cast<decltype(fn_vlu_##n)>(address);
  VLU_BINDINGS(VLU_BIND)
#undef VLU_BIND
  return sum;
}

// Finds `name` in the "etc" subdirectory and gives the directory it lies
// in (owned by the caller, freed through the host), or null.
char *find_in_etc(void *handle, const char *name) {
  char *directory = nullptr;
  void *f = vl_path_search_rpath(&directory, handle, name, "etc", "");
  if (!f) {
    if (directory) vl_ext_functions.free(directory);
    return nullptr;
  }
  _vl_ext_fclose(f);
  return directory;
}

}  // namespace

extern "C" {

// ---- loader wrappers ------------------------------------------------------

VLS_API int kvnx_dlerror(dl_handle *record) {
  int err = errno;
  if (!record) return err;
  replace_message(record, dlerror());
  record->status = -1;
  return err;
}

VLS_API int kvnx_dlopen(dl_handle *record, const char *path, int32_t flags) {
  if (!record || !path) {
    if (record) {
      record->status = -2;
      replace_message(record, "Internal Error");
    }
    return -1;
  }
  int mode = flags == VLU_DL_DEFAULT_FLAGS ? (RTLD_NOW | RTLD_GLOBAL) : flags;
  _vl_free_ptr(record->path);
  record->path = copy_text(path);
  record->handle = dlopen(path, mode);
  if (!record->handle) {
    kvnx_dlerror(record);
    return -1;
  }
  record->status = 0;
  return 0;
}

VLS_API int kvnx_dlsym(dl_handle *record, void **address, const char *name) {
  if (!record || !record->handle || !name || !address) {
    if (record) {
      record->status = -2;
      replace_message(record, "Internal Error");
    }
    if (address) *address = nullptr;
    return -1;
  }
  dlerror();
  *address = dlsym(record->handle, name);
  if (!*address) {
    kvnx_dlerror(record);
    return -1;
  }
  return 0;
}

VLS_API int kvnx_dlclose(dl_handle *record) {
  if (!record || !record->handle) {
    if (record) {
      record->status = -2;
      replace_message(record, "Internal Error");
      _vl_free_ptr(record->path);  // a failed open keeps its path until here
      record->path = nullptr;
    }
    return -1;
  }
  int rc = dlclose(record->handle);
  if (rc != 0) {
    kvnx_dlerror(record);
  } else {
    record->handle = nullptr;
  }
  _vl_free_ptr(record->path);
  record->path = nullptr;
  return rc;
}

// ---- registry -------------------------------------------------------------

VLS_API int get_dl_name(void *file, const char *directory, char **name, int32_t *size) {
  // Measure the next line by reading it; a line counts only with its
  // newline, so the end of the file (or a last line without one) ends the
  // list.
  long start = _vl_ext_ftell(file);
  size_t length = 0;
  bool complete = false;
  for (int c; (c = _vl_ext_fgetc(file)) != EOF;) {
    if (c == '\n') {
      complete = true;
      break;
    }
    ++length;
  }
  if (!complete) {
    _vl_free_ptr(*name);
    *name = nullptr;
    *size = 0;
    return 0;
  }

  // Read it again, on the stack while the full path stays short.
  _vl_ext_fseek(file, start, SEEK_SET);
  size_t dir_len = strlen(directory);
  size_t needed = dir_len + strlen("/vls/dll/") + length + 1;
  char local[kLineOnStack];
  char *line = local;
  if (needed >= kLineOnStack) {
    line = static_cast<char *>(_vl_alloc_ptr(length + 2));
    if (!line) return -1;
  }
  size_t got = 0;
  for (int c; got <= length && (c = _vl_ext_fgetc(file)) != EOF;) {
    if (c == '\n') break;
    line[got++] = static_cast<char>(c);
  }
  line[got] = '\0';

  _vl_free_ptr(*name);
  *name = static_cast<char *>(_vl_alloc_ptr(needed));
  if (!*name) {
    *size = 0;
    if (line != local) _vl_free_ptr(line);
    return -1;
  }
  snprintf(*name, needed, "%s%svls%sdll%s%s", directory, "/", "/", "/", line);
  *size = static_cast<int32_t>(needed);
  if (line != local) _vl_free_ptr(line);
  return 0;
}

// ---- binding --------------------------------------------------------------

VLS_API int vl_usevlu(int32_t value) {
  vl_message("vl_usevlu: Begin");
  vlu_capable = value;
  vl_message("vl_usevlu: exit");
  return 0;
}

namespace {

enum class Libraries { loaded, forgiven, failed };

// Loads, in order, every library the bridge registry
// $KELVANIXDIR/vls/etc/32-dllregistry.34 lists; *loaded counts them. A
// library that exists but won't load is forgiven when both the process
// and VL_USEVLU say 2: the process then goes on natively.
Libraries load_libraries(void *handle, const char *dir, int use_value, int *loaded) {
  int n = snprintf(nullptr, 0, "%s%svls%setc%s%s-%s.%d", dir, "/", "/", "/", kRegistryPrefix, kRegistryName,
                   kRegistryVersion);
  vls::HostPtr<char> registry(static_cast<char *>(_vl_alloc_ptr(static_cast<size_t>(n) + 1)));
  if (!registry) {
    vl_message("vl_init_vlu_dll: memory allocation fails");
    set_error(handle, VL_ENOMEM);
    return Libraries::failed;
  }
  snprintf(registry.get(), static_cast<size_t>(n) + 1, "%s%svls%setc%s%s-%s.%d", dir, "/", "/", "/",
           kRegistryPrefix, kRegistryName, kRegistryVersion);
  vls::HostFile file(_vl_ext_fopen(registry.get(), "r"));
  if (!file) {
    vl_message("vl_init_vlu_dll: cannot open dllregistry");
    set_error(handle, VL_ENOENT);
    return Libraries::failed;
  }
  struct Name {  // get_dl_name grows and frees the buffer itself
    char *p = nullptr;
    ~Name() { _vl_free_ptr(p); }
  } name;
  int32_t size = 0;
  for (*loaded = 0;; ++*loaded) {
    if (get_dl_name(file.get(), dir, &name.p, &size) != 0) {
      vl_message("vl_init_vlu_dll: memory allocation fails");
      set_error(handle, VL_ENOMEM);
      return Libraries::failed;
    }
    if (!name.p || *loaded >= VLU_MAX_LIBRARIES) return Libraries::loaded;
    vl_message("vl_init_vlu_dll: Loading library:");
    vl_message(name.p);
    dl_handle *record = &handlevlu[*loaded];
    if (kvnx_dlopen(record, name.p, VLU_DL_DEFAULT_FLAGS) == 0) continue;
    vl_message("LoadLibraries: Error Loading SharedObject file");
    vl_message(name.p);
    vl_message(record->message ? record->message : "");
    struct stat st;
    if (stat(name.p, &st) == 0 && vlu_capable == 2 && use_value == 2) {
      vlu_capable = 0;
      unicode_collate = 0;
      vl_message("vl_init_vlu_dll: Error Loading DLLs allowed");
      return Libraries::forgiven;
    }
    set_error(handle, VL_ENOENT);
    return Libraries::failed;
  }
}

// Hands the bridge the host's memory, stream and message functions.
int32_t install_callbacks() {
  int32_t rc = fn_vlu_setMemoryFunctions(_vl_ext1_malloc, _vl_ext1_realloc, _vl_ext1_free, _vl_ext1_calloc);
  if (rc != 0) return rc;
  fn_vlu_setFgetcFunc(_vl_ext_getc);
  fn_vlu_setFseekFunc(_vl_ext_fseek);
  fn_vlu_setFtellFunc(_vl_ext_ftell);
  fn_vlu_setFerrorFunc(_vl_ext_ferror);
  fn_vlu_setFeofFunc(_vl_ext_feof);
  fn_vlu_setUCAFunc(_vl_ext_UCA);
  fn_vlu_setPrintMessageFunc(vl_message);
  fn_vlu_setMessageLevel(kMessageLevel);
  fn_vlu_setMessageSubLevel(kMessageSubLevel);
  return 0;
}

}  // namespace

VLS_API int vl_init_vlu_dll(void *handle) {
  if (vlu_loaded) {
    vl_message("vl_init_vlu_dll: preloaded");
    return 0;
  }
  vl_message("vl_init_vlu_dll: Begin");
  if (vlu_capable != 1 && vlu_capable != 2) {
    settle(unicode_collate, 0);
    vl_message("vl_init_vlu_dll: No vlu_capable");
    return 0;
  }
  vl_message("vl_init_vlu_dll: vlu_capable");

  const char *use = _vl_ext_getenv("VL_USEVLU");
  if (!use) use = "0";
  int use_value = atoi(use);
  settle(unicode_collate, (use_value == 1 || use_value == 2) ? 1 : 0);
  const char *dir = _vl_ext_getenv("KELVANIXDIR");

  if (unicode_collate == 1) {
    vl_message("vl_init_vlu_dll: Initializing");
    if (!dir || !*dir) {
      set_error(handle, VL_ENOENT);
      return -1;
    }
    int loaded = 0;
    switch (load_libraries(handle, dir, use_value, &loaded)) {
      case Libraries::failed:
        return -1;
      case Libraries::forgiven:
        return 0;
      case Libraries::loaded:
        break;
    }
    vl_message("vl_init_vlu_dll: Loading symbols:");
    // From the last library loaded; with none, the empty first record makes
    // the binding fail.
    if (bind_all(&handlevlu[loaded > 0 ? loaded - 1 : 0]) != 0) {
      vl_message("vl_init_vlu_dll: End icudata kvnx_dlsym error");
      set_error(handle, VL_ENOENT);
      return -1;
    }
    if (int32_t rc = install_callbacks(); rc != 0) {
      vl_message("vl_init_vlu_dll: End callback functions");
      set_error(handle, static_cast<uint32_t>(rc));
      return -1;
    }
  }

  vl_message("vl_init_vlu_dll: End");
  vlu_loaded = 1;
  return 0;
}

VLS_API int vl_init_vlu(void *handle) {
  vl_message("vl_init_vlu: Begin");
  if (pMap) return 0;
  if (vl_init_vlu_dll(handle) != 0) {
    vl_message("vl_init_vlu: loading DLLs error");
    return -1;
  }
  if (unicode_collate == 1) {
    vl_message("vl_init_vlu: Loading ICU data:");
    if (!vlu_cudata_t) {
      char data_name[kIcuNameSize] = {};
      if (fn_vlu_getIcuDataFileName(data_name, static_cast<int32_t>(kIcuNameSize)) != 0) {
        vl_message("vl_init_vlu: End icudata not loaded, could not get icudata file name");
        set_error(handle, VL_ENOENT);
        return -1;
      }
      data_name[kIcuNameSize - 1] = '\0';
      char *directory = find_in_etc(handle, data_name);
      if (!directory) {
        vl_message("vl_init_vlu: End icudata not loaded, icudata file not found");
        set_error(handle, VL_ENOENT);
        return -1;
      }
      int16_t status = 0;
      void *data = fn_vlu_loadIcuData(directory, data_name, &status);
      vl_ext_functions.free(directory);
      if (status > 0) {
        vl_message("vl_init_vlu: End icudata not loaded");
        set_error(handle, static_cast<uint32_t>(status));
        return -1;
      }
      vlu_cudata_t = data;
    }

    vl_message("vl_init_vlu: Loading Map data:");
    char *directory = find_in_etc(handle, kMapName);
    if (!directory) {
      vl_message("vl_init_vlu: End pMap not loaded locmap file not found");
      set_error(handle, VL_ENOENT);
      return -1;
    }
    size_t n = strlen(directory) + 1 + sizeof kMapName;
    vls::HostPtr<char> path(static_cast<char *>(_vl_alloc_ptr(n)));
    if (!path) {
      vl_ext_functions.free(directory);
      set_error(handle, VL_ENOMEM);
      return -1;
    }
    snprintf(path.get(), n, "%s/%s", directory, kMapName);
    vl_ext_functions.free(directory);
    int16_t status = 0;
    void *map = fn_vlu_loadMapData(path.get(), &status);
    if (status > 0) {
      vl_message("vl_init_vlu: End pMap not loaded");
      set_error(handle, static_cast<uint32_t>(status));
      return -1;
    }
    pMap = map;
  }
  vl_message("vl_init_vlu: End");
  return 0;
}

VLS_API int vl_unload_vlu(void) {
  if (!pMap) return 0;
  unicode_collate = 0;
  if (vlu_cudata_t) {
    fn_vlu_unloadIcuData(vlu_cudata_t);
    vlu_cudata_t = nullptr;
  }
  fn_vlu_unloadMapData(pMap);
  pMap = nullptr;
  for (int i = 0; i < VLU_MAX_LIBRARIES && handlevlu[i].handle; ++i) {
    // kvnx_dlclose frees the path; keep a copy for the report.
    char *path = handlevlu[i].path ? copy_text(handlevlu[i].path) : nullptr;
    if (kvnx_dlclose(&handlevlu[i]) != 0) {
      fprintf(stderr, "%s\n", "UnLoadLibraries: Error UnLoading SharedObject file");
      fprintf(stderr, "%s\n", path ? path : "");
      fprintf(stderr, "%s\n", handlevlu[i].message ? handlevlu[i].message : "");
      _vl_free_ptr(path);
      return -1;
    }
    _vl_free_ptr(path);
  }
  return 0;
}

// ---- categories -----------------------------------------------------------

VLS_API void set_categories_vlu_null(vl_locale_t *handle, int category) {
  if (!handle) return;
  if (category == VL_LC_ALL) {
    // Every slot meets itself among the others, so nothing is closed: a
    // bridge locale goes only when its category is released alone.
    for (int c = VL_LC_CTYPE; c <= VL_LC_MESSAGES; ++c) handle->bridge_locale[c - 2] = nullptr;
    return;
  }
  if (!valid_category(category)) return;
  void *locale = handle->bridge_locale[category - 2];
  if (!locale) return;
  bool shared = false;
  for (int c = VL_LC_CTYPE; c <= VL_LC_MESSAGES; ++c) {
    if (c != category && handle->bridge_locale[c - 2] == locale) shared = true;
  }
  if (!shared && fn_vlu_lc_close) fn_vlu_lc_close(locale);
  handle->bridge_locale[category - 2] = nullptr;
}

VLS_API int set_categories_vlu(vl_locale_t *handle, int category, const char *name) {
  vl_message("Begin: set_categories_vlu");
  if (!handle || !valid_category(category)) {
    vl_message("End: set_categories_vlu");
    return 0;
  }
  if (!name) name = "";
  vls::logf("locale_name = %s\n", name);

  // Split the file name and rebuild the normal form. A name that is no
  // locale file name ("default.lco", "native") just has no normal form; the
  // error number it would leave behind is put back.
  char lang_terr[64] = {}, codeset[64] = {}, modifier[64] = {}, lc_norm[320] = {};
  uint32_t saved = vls::get_error(handle);
  bool have_norm = false;
  bool split = vl_lc_fname2lc_pieces(handle, name, lang_terr, codeset, modifier) == 0;
  vls::logf("ll_tt = %s\n", lang_terr);
  vls::logf("csnum = %s\n", codeset);
  if (split && vl_lc_pieces2lc_spec(handle, lang_terr, codeset, modifier, lc_norm) != 0) lc_norm[0] = '\0';
  vls::logf("lc_norm = %s\n", lc_norm);
  have_norm = split && lc_norm[0] != '\0';
  set_error(handle, saved);

  int row = category - 2;
  handle->bridge_active[row] = 0;

  if (!have_norm) {
    vl_message("set_categories_vlu: vlu_locale NOT used as couldn't workout normilized");
  } else {
    int16_t status = 0;
    if (unicode_collate != 1 || !fn_vlu_useIcuLocCall || fn_vlu_useIcuLocCall(pMap, lc_norm, &status) != 1) {
      vl_message("set_categories_vlu: vlu_locale NOT used as not required");
    } else {
      handle->bridge_active[row] = 1;
      set_categories_vlu_null(handle, category);
      // Categories read from the same file share one bridge locale; a later
      // match overwrites an earlier one.
      for (int c = VL_LC_CTYPE; c <= VL_LC_MESSAGES; ++c) {
        if (c == category) continue;
        if (same_name(handle->locale_names[c - 2], name)) {
          handle->bridge_locale[row] = handle->bridge_locale[c - 2];
          vl_message("set_categories_vlu: vlu_locale not loaded but reused");
        }
      }
      if (!handle->bridge_locale[row]) {
        status = 0;
        void *locale = fn_vlu_lc_open(pMap, lc_norm, &status);
        if (status > 0) {
          handle->bridge_active[row] = 0;
          vl_message("set_categories_vlu: Falure to Load ICU locale");
          return 1;
        }
        handle->bridge_locale[row] = locale;
        vl_message("set_categories_vlu: vlu_locale loaded into category");
      }
    }
  }

  if (_vlu_active(handle, VL_LC_COLLATE)) {
    handle->codepoint_collation = 0;
    handle->collate.codeset_order = 0;
    handle->bridge_collation = 1;
    handle->collate.collation_kind = VL_COLL_BRIDGE;
  }
  vl_message("End: set_categories_vlu");
  return 0;
}

// ---- forwarders -----------------------------------------------------------

VLS_API void *vlx_vluMap(void) { return pMap; }

VLS_API void *vlx_vluLoc(vl_locale_t *handle, int category) {
  if (!handle || !valid_category(category)) return nullptr;
  return handle->bridge_locale[category - 2];
}

VLS_API const char *vlx_icuErrorName(int32_t status) {
  return fn_vlu_icuErrorName ? fn_vlu_icuErrorName(status) : nullptr;
}

VLS_API const char *vlx_getICULocName(void *locale) {
  return locale && fn_vlu_getICULocName ? fn_vlu_getICULocName(locale) : nullptr;
}

VLS_API const char *vlx_getICUCvtName(void *cv) {
  return cv && fn_vlu_getICUCvtName ? fn_vlu_getICUCvtName(cv) : nullptr;
}

VLS_API void *vlx_lc_open(void *map, const char *locale, int16_t *status) {
  return fn_vlu_lc_open(map, locale, status);
}

VLS_API int32_t vlx_lc_close(void *locale) { return fn_vlu_lc_close(locale); }

VLS_API int32_t vlx_ucs32tombs(void *locale, char *target, int32_t capacity, const uint32_t *source,
                               int32_t length, int16_t *status) {
  return fn_vlu_ucs32tombs(locale, target, capacity, source, length, status);
}

VLS_API int32_t vlx_ucs32toucs(uint16_t *target, int32_t capacity, const uint32_t *source, int32_t length,
                               int16_t *status) {
  return fn_vlu_ucs32toucs(target, capacity, source, length, status);
}

VLS_API int32_t vls_assign_global_struct(void) {
  if (!unicode_collate || !fn_vlu_assign_global_struct) return 0;
  return fn_vlu_assign_global_struct();
}

// ---- collation forms for VL_COLL_BRIDGE ---------------------------------

VLS_API int _vlu_mbscoll(vl_locale_t *handle, const char *string1, const char *string2) {
  return _vlu_call(handle, fn_vlu_mbscoll, _vlu_locale(handle, VL_LC_COLLATE), string1, -1, string2, -1);
}

VLS_API int _vlu_mbfscoll(vl_locale_t *handle, const char *string1, int32_t length1, const char *string2,
                          int32_t length2) {
  return _vlu_call(handle, fn_vlu_mbscoll, _vlu_locale(handle, VL_LC_COLLATE), string1, length1, string2,
                   length2);
}

VLS_API int _vlu_mbsxfrm(vl_locale_t *handle, char *target, const char *source, int32_t size) {
  return _vlu_call(handle, fn_vlu_mbsxfrm, _vlu_locale(handle, VL_LC_COLLATE), target, size, source);
}

}  // extern "C"
