// Base services of the OS layer that the settings store stands on: the OS
// control block, the home directory, 8-bit texts, a set of names, the
// client's character class table and its collation hook.
#include <pwd.h>
#include <unistd.h>

#include <cstring>

#include <vls/vlsclient.h>
#include <vls/vlsenv.h>
#include <vls/vlsext.h>

namespace {

// The OS layer's control block: made once, lives until process end.
struct OsControlBlock {
  int32_t os_errno;
};
OsControlBlock *ostcb = nullptr;

// A set of texts: a growing array of private copies.
struct NameList {
  char **names;
  int32_t count, room;
};

constexpr unsigned char classes(int c) {
  unsigned char k = 0;
  if (c == ' ' || (c >= '\t' && c <= '\r')) k |= IX_SPACE;
  if (c >= '0' && c <= '9') k |= IX_DIGIT | IX_XDIGIT;
  if (c >= 'A' && c <= 'Z') k |= IX_UPPER;
  if (c >= 'a' && c <= 'z') k |= IX_LOWER;
  if ((c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f')) k |= IX_XDIGIT;
  if (c > ' ' && c < 127 && !(k & (IX_DIGIT | IX_UPPER | IX_LOWER))) k |= IX_PUNCT;
  if (c < ' ' || c == 127) k |= IX_CNTRL;
  return k;
}

}  // namespace

extern "C" {

VLS_API void *CheckOsInit(void) {
  if (!ostcb) ostcb = static_cast<OsControlBlock *>(_vl_ext_calloc(1, sizeof(OsControlBlock)));
  return ostcb;
}

// $HOME, else the password entry's directory, else null.
VLS_API const char *ggethomepath(void) {
  if (const char *home = _vl_ext_getenv("HOME"); home && *home) return home;
  const passwd *pw = getpwuid(getuid());
  return pw && pw->pw_dir && *pw->pw_dir ? pw->pw_dir : nullptr;
}

VLS_API int is8bitstr(const char *text) {
  if (text)
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(text); *p; ++p)
      if (*p > 127) return 1;
  return 0;
}

VLS_API void *_ginitnamelist(void) { return _vl_ext_calloc(1, sizeof(NameList)); }

VLS_API int _gaddnamelist(void *list, const char *name) {
  auto *l = static_cast<NameList *>(list);
  if (!l || !name) return GENV_ENULL;
  if (_gsrchnamelist(list, name)) return 0;
  if (l->count == l->room) {
    if (l->room > (INT32_MAX / 2) / static_cast<int32_t>(sizeof(char *))) return GENV_ENOMEM;
    const int32_t room = l->room ? 2 * l->room : 8;
    void *p = _vl_ext_realloc(l->names, static_cast<size_t>(room) * sizeof(char *));
    if (!p) return GENV_ENOMEM;
    l->names = static_cast<char **>(p);
    l->room = room;
  }
  const size_t n = strlen(name) + 1;
  char *copy = static_cast<char *>(_vl_ext_malloc(n));
  if (!copy) return GENV_ENOMEM;
  memcpy(copy, name, n);
  l->names[l->count++] = copy;
  return 0;
}

VLS_API int _gsrchnamelist(void *list, const char *name) {
  const auto *l = static_cast<const NameList *>(list);
  if (!l || !name) return 0;
  for (int32_t i = 0; i < l->count; ++i)
    if (strcmp(l->names[i], name) == 0) return 1;
  return 0;
}

VLS_API void _gfreenamelist(void *list) {
  auto *l = static_cast<NameList *>(list);
  if (!l) return;
  for (int32_t i = 0; i < l->count; ++i) _vl_ext_free(l->names[i]);
  _vl_ext_free(l->names);
  _vl_ext_free(l);
}

#define VLS_IX4(n) classes(n), classes(n + 1), classes(n + 2), classes(n + 3)
#define VLS_IX16(n) VLS_IX4(n), VLS_IX4(n + 4), VLS_IX4(n + 8), VLS_IX4(n + 12)
#define VLS_IX64(n) VLS_IX16(n), VLS_IX16(n + 16), VLS_IX16(n + 32), VLS_IX16(n + 48)
// The classes of the C locale; bytes above 127 have none.
VLS_API unsigned char _ixctype[256] = {VLS_IX64(0), VLS_IX64(64), VLS_IX64(128), VLS_IX64(192)};
#undef VLS_IX64
#undef VLS_IX16
#undef VLS_IX4

// The client's class table holds the classes of the C locale, whatever the
// locale in force: reloading rebuilds it so.
VLS_API int rldnlsctype(void) {
  for (int c = 0; c < 256; ++c) _ixctype[c] = classes(c);
  return 0;
}

// The client layer compares with the locale handle's own collation; there
// is nothing to install here.
VLS_API int _osetcollate(const char *) { return 0; }

}  // extern "C"
