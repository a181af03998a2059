// libvlsicu: the Unicode bridge of libvls, on ICU4C.
//
// The library loads this object at run time (vls/dll below KELVANIXDIR, as
// vls/etc/32-dllregistry.34 names it) and binds its 78 vlu_* functions by
// name. Every function has the type of the library's pointer for it (checked
// below against <vls/vlsvlu.h>), and follows its conventions: status
// arguments are a signed 16-bit value the caller cleared; the bridge stores
// one of the library's error numbers there on failure (VL_EILSEQ for a
// byte sequence or value that is no character, VL_EINVAL for one cut short,
// VL_E2BIG for a full target, ...), and gives -1 or null as the native form
// of the same service would.
//
// Multibyte text is UTF-8, a wide value a UTF-32 value, and the 16-bit
// forms UTF-16. Classes and case come from ICU's character properties,
// collation from a collator of the ICU locale that "locmap" names for the
// library's locale, and conversions from two ICU converters with a pivot.
//
// Memory: everything the bridge allocates, and (through u_setMemoryFunctions)
// everything ICU allocates from then on, goes through the allocator the
// library hands over; before that hand-over nothing is allocated and every
// opening call fails with VL_ENOMEM. Streams are read through the library's
// callbacks. The two data files are read with open(2)/read(2): the library
// hands the bridge no way of opening a file.
//
// The data files:
//   vlsicu<N>.dat  (vlu_getIcuDataFileName) names the ICU major version N
//                  the bridge was built for: "VLSICU <N>". A file for another
//                  version is refused with VL_EVERSION, and ICU's own data
//                  must load (u_init) or the status is VL_ENOENT.
//   locmap         one entry a line, "#" starts a comment:
//                    locale <normal form> <ICU locale ID> [strength=1..5] [backwards=on|off]
//                    codeset <codeset number> <ICU converter name>
//                  A locale is served when its normal form (language and
//                  territory, ".", the decimal codeset number) is listed and
//                  its codeset is UTF-8; a pair of codesets when both are
//                  listed. Strength 1 to 4 are ICU's primary to quaternary,
//                  5 identical; the default is ICU's (tertiary).
//
// A host whose UCA slot (slot 20 of the library's table) answers 1 gets
// the root collation (the plain Unicode order) for every locale.
#define U_SHOW_CPLUSPLUS_API 1  // for the collator's own UTF-8 comparison entry
#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include <unicode/coll.h>
// The rule-based collator's class, without its internal inline helpers
// (they cast with RTTI, which the bridge is built without).
#define U_HIDE_INTERNAL_API 1
#include <unicode/tblcoll.h>
#undef U_HIDE_INTERNAL_API
#include <unicode/ucasemap.h>
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ucol.h>
#include <unicode/uclean.h>
#include <unicode/ures.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>
#include <unicode/uvernum.h>

#include <vls/vls.h>
#include <vls/vlsctype.h>
#include <vls/vlsvlu.h>

#define VLU_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// ---- host services -------------------------------------------------------------

vlu_malloc_cb g_malloc;
vlu_realloc_cb g_realloc;
vlu_free_cb g_free;
vlu_calloc_cb g_calloc;
vlu_stream_cb g_fgetc, g_ferror, g_feof;
vlu_fseek_cb g_fseek;
vlu_ftell_cb g_ftell;
vlu_uca_cb g_uca;
vlu_message_cb g_message;
int32_t g_level, g_sublevel;
int32_t g_live;  // locale objects and converters open

void *alloc(size_t n) { return g_malloc ? g_malloc(nullptr, n) : nullptr; }
void *alloc_zero(size_t n) { return g_calloc ? g_calloc(nullptr, 1, n) : nullptr; }
void release(void *p) {
  if (p && g_free) g_free(nullptr, p);
}

// One line to the library's log, when it listens.
void say(const char *format, ...) __attribute__((format(printf, 1, 2)));
void say(const char *format, ...) {
  if (!g_message || g_level <= 0) return;
  char line[256];
  va_list ap;
  va_start(ap, format);
  vsnprintf(line, sizeof line, format, ap);
  va_end(ap);
  g_message(line);
}

template <class T>
T fail(int16_t *status, int16_t code, T result) {
  if (status) *status = code;
  return result;
}

int16_t from_icu(UErrorCode e) {
  switch (e) {
    case U_MEMORY_ALLOCATION_ERROR: return VL_ENOMEM;
    case U_BUFFER_OVERFLOW_ERROR: return VL_E2BIG;
    case U_TRUNCATED_CHAR_FOUND: return VL_EINVAL;
    case U_ILLEGAL_ARGUMENT_ERROR: return VL_EBADARG;
    case U_MISSING_RESOURCE_ERROR:
    case U_FILE_ACCESS_ERROR: return VL_ENOENT;
    default: return VL_EILSEQ;
  }
}

// A heap or stack scratch array: small texts stay on the stack.
template <class T, size_t N = 256>
struct Scratch {
  T local[N];
  T *p = local;
  int32_t size = N;
  bool reserve(int32_t n) {
    if (n <= size) return true;
    T *q = static_cast<T *>(alloc(sizeof(T) * static_cast<size_t>(n)));
    if (!q) return false;
    if (p != local) release(p);
    p = q, size = n;
    return true;
  }
  ~Scratch() {
    if (p != local) release(p);
  }
};

// ---- UTF-8 ------------------------------------------------------------------------

constexpr int32_t kMaxChar = 4;

// Decodes the character at `s`, of at most `avail` bytes (-1: up to 4, the
// text being NUL-terminated). Its length, 0 for the NUL character; -1 for
// bytes that are no character, -2 for a character the limit cuts short.
inline int32_t decode(const char *s, int32_t avail, UChar32 *out) {
  const auto *b = reinterpret_cast<const uint8_t *>(s);
  if (avail < 0 || avail > kMaxChar) avail = kMaxChar;
  if (avail == 0) return -2;
  if (b[0] < 0x80) {
    *out = b[0];
    return b[0] ? 1 : 0;
  }
  int32_t i = 0;
  UChar32 c;
  U8_NEXT(b, i, avail, c);
  if (c >= 0) {
    *out = c;
    return i;
  }
  if (U8_IS_LEAD(b[0]) && i == avail && avail < U8_COUNT_TRAIL_BYTES(b[0]) + 1) return -2;
  return -1;
}

inline bool scalar(uint32_t v) { return v <= 0x10FFFF && !U_IS_SURROGATE(v); }

// Writes the UTF-8 form of a scalar value; its length.
inline int32_t encode(char *t, UChar32 c) {
  int32_t i = 0;
  U8_APPEND_UNSAFE(reinterpret_cast<uint8_t *>(t), i, c);
  return i;
}

int16_t decode_error(int32_t r) { return r == -2 ? VL_EINVAL : VL_EILSEQ; }

// ---- character properties ----------------------------------------------------------

uint32_t classes(UChar32 c, uint32_t mask) {
  uint32_t m = 0;
  if ((mask & VL_CT_UPPER) && u_isUUppercase(c)) m |= VL_CT_UPPER;
  if ((mask & VL_CT_LOWER) && u_isULowercase(c)) m |= VL_CT_LOWER;
  if ((mask & VL_CT_ALPHA) && u_isUAlphabetic(c)) m |= VL_CT_ALPHA;
  if ((mask & VL_CT_DIGIT) && u_isdigit(c)) m |= VL_CT_DIGIT;
  if ((mask & VL_CT_SPACE) && u_isUWhiteSpace(c)) m |= VL_CT_SPACE;
  if ((mask & VL_CT_CNTRL) && u_charType(c) == U_CONTROL_CHAR) m |= VL_CT_CNTRL;
  if ((mask & VL_CT_PUNCT) && u_ispunct(c)) m |= VL_CT_PUNCT;
  if ((mask & VL_CT_GRAPH) && u_hasBinaryProperty(c, UCHAR_POSIX_GRAPH)) m |= VL_CT_GRAPH;
  if ((mask & VL_CT_PRINT) && u_hasBinaryProperty(c, UCHAR_POSIX_PRINT)) m |= VL_CT_PRINT;
  if ((mask & VL_CT_XDIGIT) && u_hasBinaryProperty(c, UCHAR_POSIX_XDIGIT)) m |= VL_CT_XDIGIT;
  if ((mask & VL_CT_BLANK) && u_hasBinaryProperty(c, UCHAR_POSIX_BLANK)) m |= VL_CT_BLANK;
  return m;
}

// Display columns: 0 for NUL and for non-spacing, enclosing and format
// characters, 2 for East Asian wide and full-width ones, else 1; -1 with
// VL_EINVAL for a character that is not printable.
int32_t width(UChar32 c, int16_t *status) {
  if (c == 0) return 0;
  if (!scalar(static_cast<uint32_t>(c))) return fail(status, VL_EILSEQ, -1);
  if (!u_hasBinaryProperty(c, UCHAR_POSIX_PRINT)) return fail(status, VL_EINVAL, -1);
  const int8_t gc = u_charType(c);
  if (gc == U_NON_SPACING_MARK || gc == U_ENCLOSING_MARK || gc == U_FORMAT_CHAR) return 0;
  const int32_t ea = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
  return ea == U_EA_WIDE || ea == U_EA_FULLWIDTH ? 2 : 1;
}

// ---- the map ------------------------------------------------------------------------

constexpr uint16_t kUtf8Codeset = 57372;

struct MapLocale {
  char norm[48], icu[64];
  int8_t strength, backwards;  // 0: ICU's default
};
struct MapCodeset {
  uint16_t number;
  char icu[48];
};
struct Map {
  int32_t locales, codesets;
  MapLocale *locale;
  MapCodeset *codeset;
};

const MapLocale *find_locale(const Map *m, const char *norm) {
  if (!m || !norm) return nullptr;
  for (int32_t i = 0; i < m->locales; ++i)
    if (strcmp(m->locale[i].norm, norm) == 0) return &m->locale[i];
  return nullptr;
}

const MapCodeset *find_codeset(const Map *m, uint16_t number) {
  if (!m) return nullptr;
  for (int32_t i = 0; i < m->codesets; ++i)
    if (m->codeset[i].number == number) return &m->codeset[i];
  return nullptr;
}

// The codeset number behind a normal form "ll_TT.<number>[@modifier]".
int32_t norm_codeset(const char *norm) {
  const char *dot = strchr(norm, '.');
  if (!dot || dot[1] < '0' || dot[1] > '9') return -1;
  long v = 0;
  for (const char *p = dot + 1; *p >= '0' && *p <= '9'; ++p) v = v * 10 + (*p - '0');
  return v <= 0xFFFF ? static_cast<int32_t>(v) : -1;
}

// A whole small file, read with open/read into a host block ending in NUL.
char *read_file(const char *path, int16_t *status) {
  int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return fail(status, VL_ENOENT, static_cast<char *>(nullptr));
  size_t cap = 4096, n = 0;
  char *text = static_cast<char *>(alloc(cap));
  for (;;) {
    if (!text) {
      close(fd);
      return fail(status, VL_ENOMEM, static_cast<char *>(nullptr));
    }
    if (n + 1 == cap) {
      char *bigger = static_cast<char *>(g_realloc(nullptr, text, cap * 2));
      if (!bigger) release(text);
      text = bigger, cap *= 2;
      continue;
    }
    ssize_t got = read(fd, text + n, cap - 1 - n);
    if (got < 0) {
      close(fd);
      release(text);
      return fail(status, VL_EIO, static_cast<char *>(nullptr));
    }
    if (got == 0) break;
    n += static_cast<size_t>(got);
  }
  close(fd);
  text[n] = '\0';
  return text;
}

// Splits the next line into at most `max` words; the count, -1 at the end.
int next_words(char **cursor, char **words, int max) {
  char *p = *cursor;
  if (!*p) return -1;
  char *end = strchr(p, '\n');
  if (end) *end = '\0', *cursor = end + 1;
  else *cursor = p + strlen(p);
  if (char *hash = strchr(p, '#')) *hash = '\0';
  int n = 0;
  for (char *save = nullptr, *w = strtok_r(p, " \t\r", &save); w && n < max; w = strtok_r(nullptr, " \t\r", &save))
    words[n++] = w;
  return n;
}

bool copy_word(char *target, size_t size, const char *w) {
  if (strlen(w) >= size) return false;
  memcpy(target, w, strlen(w) + 1);
  return true;
}

// ---- locale objects and converters --------------------------------------------------------

struct Locale {
  char icu[64], norm[48];
  int8_t strength, backwards;
  UCollator *coll;
  const icu::RuleBasedCollator *rules;  // coll, when it is ICU's rule-based collator (as ucol_open gives)
  int32_t not_rules;                    // 0 with rules, else -1: or-ed into the test of the lengths' signs
  UCaseMap *cases;
};

// The rule-based collator's UTF-8 comparison behind its argument checks:
// RuleBasedCollator::internalCompareUTF8 (ucol_strcollUTF8's target) tests
// the status and the pointers, measures a NUL-terminated text when the other
// has a length (this comparison takes both counted or both terminated), and
// jumps here. The comparison is a private member; an
// explicit instantiation may name it, and hands it out through a friend.
using CompareUtf8 = UCollationResult (icu::RuleBasedCollator::*)(const uint8_t *, int32_t, const uint8_t *, int32_t,
                                                                 UErrorCode &) const;
template <CompareUtf8 M>
struct ExposeCompareUtf8 {
  friend constexpr CompareUtf8 compare_utf8() { return M; }
};
constexpr CompareUtf8 compare_utf8();
template struct ExposeCompareUtf8<&icu::RuleBasedCollator::doCompare>;

struct Converter {
  UConverter *from, *to;
  uint16_t from_cs, to_cs;
  int8_t from_min;
  int8_t to_max;
  char name[100];
};

void close_locale(Locale *l) {
  if (!l) return;
  if (l->coll) ucol_close(l->coll);
  if (l->cases) ucasemap_close(l->cases);
  release(l);
  --g_live;
}

// Opens the collator and case map of a locale object whose names are set.
bool open_services(Locale *l, UCollator *clone_of, int16_t *status) {
  UErrorCode e = U_ZERO_ERROR;
  if (clone_of) {
    l->coll = ucol_clone(clone_of, &e);
  } else {
    const bool root = g_uca && g_uca() == 1;
    l->coll = ucol_open(root ? "" : l->icu, &e);
    if (U_SUCCESS(e) && l->strength > 0)
      ucol_setStrength(l->coll, l->strength == 5 ? UCOL_IDENTICAL : static_cast<UCollationStrength>(l->strength - 1));
    if (U_SUCCESS(e) && l->backwards > 0) ucol_setAttribute(l->coll, UCOL_FRENCH_COLLATION, UCOL_ON, &e);
  }
  if (U_SUCCESS(e)) {
    const icu::Collator *c = icu::Collator::fromUCollator(l->coll);
    if (c->getDynamicClassID() == icu::RuleBasedCollator::getStaticClassID())
      l->rules = static_cast<const icu::RuleBasedCollator *>(c);
    l->not_rules = l->rules ? 0 : -1;
    l->cases = ucasemap_open(l->icu, 0, &e);
  }
  if (U_FAILURE(e)) {
    *status = from_icu(e);
    return false;
  }
  return true;
}

Locale *new_locale(int16_t *status) {
  auto *l = static_cast<Locale *>(alloc_zero(sizeof(Locale)));
  if (!l) return fail(status, VL_ENOMEM, static_cast<Locale *>(nullptr));
  ++g_live;
  return l;
}

// ---- collation helpers ----------------------------------------------------------------

// UTF-32 text (length -1: NUL-terminated) as UTF-16 in a scratch array.
bool widen16(const uint32_t *s, int32_t length, Scratch<UChar> &out, int32_t *out_length, int16_t *status) {
  if (!s) return fail(status, VL_EBADPTR, false);
  int32_t n = 0;
  if (length < 0)
    while (s[n]) ++n;
  else
    n = length;
  if (!out.reserve(2 * n + 1)) return fail(status, VL_ENOMEM, false);
  int32_t j = 0;
  for (int32_t i = 0; i < n; ++i) {
    if (!scalar(s[i])) return fail(status, VL_EILSEQ, false);
    U16_APPEND_UNSAFE(out.p, j, static_cast<UChar32>(s[i]));
  }
  out.p[j] = 0;
  *out_length = j;
  return true;
}

bool utf8_to16(const char *s, int32_t length, Scratch<UChar> &out, int32_t *out_length, int16_t *status) {
  if (!s) return fail(status, VL_EBADPTR, false);
  UErrorCode e = U_ZERO_ERROR;
  int32_t n = 0;
  u_strFromUTF8(out.p, out.size, &n, s, length, &e);
  if (e == U_BUFFER_OVERFLOW_ERROR || e == U_STRING_NOT_TERMINATED_WARNING) {
    if (!out.reserve(n + 1)) return fail(status, VL_ENOMEM, false);
    e = U_ZERO_ERROR;
    u_strFromUTF8(out.p, out.size, &n, s, length, &e);
  }
  if (U_FAILURE(e)) return fail(status, from_icu(e), false);
  *out_length = n;
  return true;
}

int32_t order(UCollationResult r) { return r == UCOL_LESS ? -1 : r == UCOL_GREATER ? 1 : 0; }

// A key in strxfrm's manner: its length without the final NUL.
int32_t key_of(const Locale *l, const UChar *s, int32_t n, char *target, int32_t capacity, int16_t *status) {
  if (!l || !l->coll) return fail(status, VL_EBADPTR, -1);
  if (capacity < 0) capacity = 0;
  // The collator's own entry, as ucol_getSortKey calls it, without that
  // wrapper's frame and trace hooks.
  int32_t r = icu::Collator::fromUCollator(l->coll)->getSortKey(s, n, reinterpret_cast<uint8_t *>(target),
                                                                target ? capacity : 0);
  if (r <= 0) return fail(status, VL_EILSEQ, -1);
  return r - 1;
}

UColBoundMode bound_mode(int32_t kind) {
  return kind == 0 ? UCOL_BOUND_LOWER : kind == 1 ? UCOL_BOUND_UPPER : UCOL_BOUND_UPPER_LONG;
}

// ---- streams -------------------------------------------------------------------------------

// One character from a byte reader that gives -1 at the end: its length,
// with the bytes stored in `bytes`; at_start and inside tell which status
// the end of the input gives where.
template <class Next>
int32_t read_char(Next next, char *bytes, UChar32 *value, int16_t *status, int16_t at_start, int16_t inside) {
  int c = next();
  if (c < 0) return fail(status, at_start, -1);
  bytes[0] = static_cast<char>(c);
  const int32_t need = c < 0x80 ? 1 : U8_IS_LEAD(c) ? U8_COUNT_TRAIL_BYTES(c) + 1 : 1;
  int32_t n = 1;
  while (n < need) {
    c = next();
    if (c < 0) return fail(status, inside, -(n + 1));
    bytes[n++] = static_cast<char>(c);
  }
  const int32_t r = decode(bytes, n, value);
  if (r < 0 || (r == 0 && n > 1)) return fail(status, VL_EILSEQ, -(n + 1));
  return n;
}

}  // namespace

// ================================================================================================
// The 78 functions, in the order the library binds them.

VLU_EXPORT int32_t vlu_getIcuDataFileName(char *buffer, int32_t size) {
  if (!buffer || size <= 0) return VL_EBADPTR;
  int n = snprintf(buffer, static_cast<size_t>(size), "vlsicu%d.dat", U_ICU_VERSION_MAJOR_NUM);
  return n < size ? 0 : VL_E2BIG;
}

VLU_EXPORT int32_t vlu_useIcuCvtCall(void *map, uint16_t from, uint16_t to, int32_t, int16_t *) {
  const Map *m = static_cast<const Map *>(map);
  return from != to && find_codeset(m, from) && find_codeset(m, to) ? 1 : 0;
}

VLU_EXPORT int32_t vlu_useIcuLocCall(void *map, const char *locale, int16_t *) {
  return find_locale(static_cast<const Map *>(map), locale) && norm_codeset(locale) == kUtf8Codeset ? 1 : 0;
}

VLU_EXPORT const char *vlu_icuErrorName(int32_t status) {
  switch (status) {
    case 0: return "VL_OK";
    case VL_EILSEQ: return "VL_EILSEQ";
    case VL_EBADPTR: return "VL_EBADPTR";
    case VL_ENOMEM: return "VL_ENOMEM";
    case VL_EBADCOUNT: return "VL_EBADCOUNT";
    case VL_EBADRANGE: return "VL_EBADRANGE";
    case VL_EINVAL: return "VL_EINVAL";
    case VL_ENOENT: return "VL_ENOENT";
    case VL_EBADARG: return "VL_EBADARG";
    case VL_EBADFILE: return "VL_EBADFILE";
    case VL_EIO: return "VL_EIO";
    case VL_E2BIG: return "VL_E2BIG";
    case VL_EEOF: return "VL_EEOF";
    case VL_EPARTIAL: return "VL_EPARTIAL";
    case VL_ENOTSUP: return "VL_ENOTSUP";
    case VL_EVERSION: return "VL_EVERSION";
    default: return "VL_EUNKNOWN";
  }
}

namespace {
struct IcuData {
  int32_t version;
};
}  // namespace

VLU_EXPORT void *vlu_loadIcuData(const char *path, const char *name, int16_t *status) {
  if (!path || !name) return fail(status, VL_EBADPTR, static_cast<void *>(nullptr));
  char file[1024];
  if (snprintf(file, sizeof file, "%s/%s", path, name) >= static_cast<int>(sizeof file))
    return fail(status, VL_ENOENT, static_cast<void *>(nullptr));
  int16_t st = 0;
  char *text = read_file(file, &st);
  if (!text) return fail(status, st, static_cast<void *>(nullptr));
  int version = -1;
  const bool ok = sscanf(text, "VLSICU %d", &version) == 1;
  release(text);
  if (!ok) return fail(status, VL_EBADFILE, static_cast<void *>(nullptr));
  if (version != U_ICU_VERSION_MAJOR_NUM) {
    say("vlu_loadIcuData: data for ICU %d, bridge built on ICU %d", version, U_ICU_VERSION_MAJOR_NUM);
    return fail(status, VL_EVERSION, static_cast<void *>(nullptr));
  }
  UErrorCode e = U_ZERO_ERROR;
  u_init(&e);
  if (U_FAILURE(e)) {
    say("vlu_loadIcuData: ICU data not available: %s", u_errorName(e));
    return fail(status, VL_ENOENT, static_cast<void *>(nullptr));
  }
  auto *d = static_cast<IcuData *>(alloc(sizeof(IcuData)));
  if (!d) return fail(status, VL_ENOMEM, static_cast<void *>(nullptr));
  d->version = version;
  say("vlu_loadIcuData: ICU %s", U_ICU_VERSION);
  return d;
}

// With no object of the bridge left open, ICU's caches go too, so that
// nothing it allocated through the host stays behind when the bridge is
// unloaded.
VLU_EXPORT int32_t vlu_unloadIcuData(void *data) {
  release(data);
  if (g_live == 0) u_cleanup();
  return 0;
}

VLU_EXPORT void *vlu_loadMapData(const char *path, int16_t *status) {
  if (!path) return fail(status, VL_EBADPTR, static_cast<void *>(nullptr));
  int16_t st = 0;
  char *text = read_file(path, &st);
  if (!text) return fail(status, st, static_cast<void *>(nullptr));
  // Room for as many entries of each kind as the file has lines.
  int32_t lines = 1;
  for (const char *p = text; *p; ++p) lines += *p == '\n';
  const int32_t counts[2] = {lines, lines};
  auto *m = static_cast<Map *>(alloc_zero(sizeof(Map) + sizeof(MapLocale) * static_cast<size_t>(counts[0]) +
                                          sizeof(MapCodeset) * static_cast<size_t>(counts[1])));
  if (!m) {
    release(text);
    return fail(status, VL_ENOMEM, static_cast<void *>(nullptr));
  }
  m->locale = reinterpret_cast<MapLocale *>(m + 1);
  m->codeset = reinterpret_cast<MapCodeset *>(m->locale + counts[0]);
  char *cur = text, *w[6];
  bool bad = false;
  for (int n; (n = next_words(&cur, w, 6)) >= 0 && !bad;) {
    if (n == 0) continue;
    if (strcmp(w[0], "locale") == 0 && n >= 3) {
      MapLocale &l = m->locale[m->locales++];
      bad = !copy_word(l.norm, sizeof l.norm, w[1]) || !copy_word(l.icu, sizeof l.icu, w[2]);
      for (int i = 3; i < n && !bad; ++i) {
        if (strncmp(w[i], "strength=", 9) == 0 && w[i][9] >= '1' && w[i][9] <= '5' && !w[i][10])
          l.strength = static_cast<int8_t>(w[i][9] - '0');
        else if (strcmp(w[i], "backwards=on") == 0)
          l.backwards = 1;
        else if (strcmp(w[i], "backwards=off") != 0)
          bad = true;
      }
    } else if (strcmp(w[0], "codeset") == 0 && n == 3) {
      MapCodeset &c = m->codeset[m->codesets++];
      char *end = nullptr;
      long v = strtol(w[1], &end, 10);
      bad = *end || v <= 0 || v > 0xFFFF || !copy_word(c.icu, sizeof c.icu, w[2]);
      c.number = static_cast<uint16_t>(v);
    } else {
      bad = true;
    }
  }
  release(text);
  if (bad) {
    release(m);
    return fail(status, VL_EBADFILE, static_cast<void *>(nullptr));
  }
  say("vlu_loadMapData: %d locales, %d codesets", m->locales, m->codesets);
  return m;
}

VLU_EXPORT int32_t vlu_unloadMapData(void *map) {
  release(map);
  return 0;
}

VLU_EXPORT void *vlu_cv_open(void *map, uint16_t from, uint16_t to, int16_t *status) {
  const Map *m = static_cast<const Map *>(map);
  const MapCodeset *a = find_codeset(m, from), *b = find_codeset(m, to);
  if (!a || !b) return fail(status, VL_ENOENT, static_cast<void *>(nullptr));
  auto *cv = static_cast<Converter *>(alloc_zero(sizeof(Converter)));
  if (!cv) return fail(status, VL_ENOMEM, static_cast<void *>(nullptr));
  ++g_live;
  UErrorCode e = U_ZERO_ERROR;
  cv->from = ucnv_open(a->icu, &e);
  if (U_SUCCESS(e)) cv->to = ucnv_open(b->icu, &e);
  if (U_SUCCESS(e)) {
    // No substitution: a character without a mapping stops the conversion.
    ucnv_setToUCallBack(cv->from, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &e);
    ucnv_setFromUCallBack(cv->to, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &e);
  }
  if (U_FAILURE(e)) {
    say("vlu_cv_open: %s to %s: %s", a->icu, b->icu, u_errorName(e));
    if (cv->from) ucnv_close(cv->from);
    if (cv->to) ucnv_close(cv->to);
    release(cv);
    --g_live;
    return fail(status, VL_ENOENT, static_cast<void *>(nullptr));
  }
  cv->from_cs = from, cv->to_cs = to;
  cv->from_min = ucnv_getMinCharSize(cv->from);
  cv->to_max = ucnv_getMaxCharSize(cv->to);
  snprintf(cv->name, sizeof cv->name, "%s>%s", a->icu, b->icu);
  say("vlu_cv_open: %s", cv->name);
  return cv;
}

VLU_EXPORT int32_t vlu_cv_close(void *cv) {
  auto *c = static_cast<Converter *>(cv);
  if (!c) return 0;
  ucnv_close(c->from);
  ucnv_close(c->to);
  release(c);
  --g_live;
  return 0;
}

VLU_EXPORT void *vlu_lc_clone(void *locale, int16_t *status) {
  const auto *from = static_cast<const Locale *>(locale);
  if (!from) return fail(status, VL_EBADPTR, static_cast<void *>(nullptr));
  Locale *l = new_locale(status);
  if (!l) return nullptr;
  memcpy(l->icu, from->icu, sizeof l->icu);
  memcpy(l->norm, from->norm, sizeof l->norm);
  l->strength = from->strength, l->backwards = from->backwards;
  if (!open_services(l, from->coll, status)) {
    close_locale(l);
    return nullptr;
  }
  return l;
}

// Converts one whole piece: the source's characters, each to its target
// bytes, until the source ends (behind the terminator when no length is
// given), a character has no mapping (VL_EILSEQ), is cut short (VL_EINVAL),
// or does not fit (VL_E2BIG). The pointers then stand in front of that
// character. A target of null only counts the room.
VLU_EXPORT int32_t vlu_cv_conv(void *cvp, int32_t last, const char **source, int32_t *source_length, char **target,
                               int32_t *room, int32_t *flag, int16_t *status) {
  auto *cv = static_cast<Converter *>(cvp);
  if (flag) *flag = 0;
  if (!cv || !source || !*source || !room) return fail(status, VL_EBADPTR, -1);
  const char *s = *source;
  int32_t len;
  if (source_length) {
    len = *source_length;
  } else {  // up to and with the terminator: a unit of the source's least width, all zero
    const int32_t m = cv->from_min > 0 ? cv->from_min : 1;
    int32_t i = 0;
    for (;; i += m) {
      int32_t k = 0;
      while (k < m && s[i + k] == 0) ++k;
      if (k == m) break;
    }
    len = i + m;
  }
  if (len <= 0) return 0;
  char *t = target ? *target : nullptr;
  int32_t r = *room;

  // Whole: the two converters in one pass straight into the target.
  if (t && r > 0) {
    UChar pivot[1024], *ps = pivot, *pt = pivot;
    UErrorCode e = U_ZERO_ERROR;
    char *tp = t;
    const char *sp = s;
    ucnv_convertEx(cv->to, cv->from, &tp, t + r, &sp, s + len, pivot, &ps, &pt, pivot + 1024, true, true, &e);
    if (U_SUCCESS(e) && sp == s + len) {
      *source = sp;
      if (source_length) *source_length = 0;
      *target = tp;
      *room = r - static_cast<int32_t>(tp - t);
      return 0;
    }
  }
  // One character at a time, to stop in front of the one that fails.
  ucnv_reset(cv->from);
  ucnv_reset(cv->to);
  const char *end = s + len;
  int16_t err = 0;
  while (s < end) {
    const char *at = s;
    UErrorCode e = U_ZERO_ERROR;
    UChar32 c = ucnv_getNextUChar(cv->from, &s, end, &e);
    if (U_FAILURE(e)) {
      err = e == U_TRUNCATED_CHAR_FOUND ? VL_EINVAL : VL_EILSEQ;
      s = at;
      break;
    }
    UChar u[2];
    int32_t n = 0;
    U16_APPEND_UNSAFE(u, n, c);
    char bytes[64], *bp = bytes;
    const UChar *up = u;
    ucnv_fromUnicode(cv->to, &bp, bytes + sizeof bytes, &up, u + n, nullptr, last && s == end, &e);
    if (U_FAILURE(e)) {
      err = VL_EILSEQ;
      s = at;
      break;
    }
    const int32_t w = static_cast<int32_t>(bp - bytes);
    if (w > r) {
      err = VL_E2BIG;
      s = at;
      break;
    }
    if (t) memcpy(t, bytes, static_cast<size_t>(w)), t += w;
    r -= w;
  }
  if (err) {
    ucnv_reset(cv->from);
    ucnv_reset(cv->to);
    say("Error in Translation (%s)", vlu_icuErrorName(err));
  }
  if (source_length) *source_length -= static_cast<int32_t>(s - *source);
  *source = s;
  if (target) *target = t;
  *room = r;
  return err ? fail(status, err, -1) : 0;
}

// The worst growth in bytes: the longest target form of a UTF-16 unit for
// each unit of the source's shortest character.
VLU_EXPORT float vlu_iconv_expansion(void *cv) {
  const auto *c = static_cast<const Converter *>(cv);
  if (!c) return 1.0f;
  return static_cast<float>(c->to_max) / static_cast<float>(c->from_min > 0 ? c->from_min : 1);
}

VLU_EXPORT int32_t vlu_assign_global_struct(void) { return 0; }

VLU_EXPORT void *vlu_lc_open(void *map, const char *locale, int16_t *status) {
  const MapLocale *ml = find_locale(static_cast<const Map *>(map), locale);
  if (!ml) return fail(status, VL_ENOENT, static_cast<void *>(nullptr));
  // A locale ICU has no data for would silently run as the root locale.
  UErrorCode e = U_ZERO_ERROR;
  UResourceBundle *rb = ures_open(nullptr, ml->icu, &e);
  if (rb) ures_close(rb);
  if (U_FAILURE(e) || e == U_USING_DEFAULT_WARNING) {
    say("vlu_lc_open: ICU has no locale %s", ml->icu);
    return fail(status, VL_ENOENT, static_cast<void *>(nullptr));
  }
  Locale *l = new_locale(status);
  if (!l) return nullptr;
  memcpy(l->icu, ml->icu, sizeof l->icu);
  memcpy(l->norm, ml->norm, sizeof l->norm);
  l->strength = ml->strength, l->backwards = ml->backwards;
  if (!open_services(l, nullptr, status)) {
    close_locale(l);
    return nullptr;
  }
  say("vlu_lc_open: %s as %s", l->norm, l->icu);
  return l;
}

VLU_EXPORT int32_t vlu_lc_close(void *locale) {
  close_locale(static_cast<Locale *>(locale));
  return 0;
}

VLU_EXPORT int vlu_mb_loc_max(void *) { return kMaxChar; }

VLU_EXPORT const char *vlu_getICULocName(void *locale) {
  return locale ? static_cast<const Locale *>(locale)->icu : nullptr;
}

VLU_EXPORT const char *vlu_getICUCvtName(void *cv) { return cv ? static_cast<const Converter *>(cv)->name : nullptr; }

VLU_EXPORT int vlu_mb_loc_min(void *) { return 1; }

// A full case mapping grows a character's bytes at most threefold.
VLU_EXPORT int32_t vlu_case_conv_outbuflen(void *, int32_t length) { return 3 * length; }

// A limit below 1 is no limit of "NUL-terminated" here: it cuts the
// character short, as the native class lookup says.
VLU_EXPORT int32_t vlu_ismctype(void *, const char *string, int32_t limit, uint32_t mask, int16_t *status) {
  if (!string) return fail(status, VL_EBADPTR, 0);
  if (limit < 1) return fail(status, VL_EINVAL, 0);
  UChar32 c;
  const int32_t r = decode(string, limit, &c);
  if (r < 0) return fail(status, decode_error(r), 0);
  return static_cast<int32_t>(classes(c, mask));
}

VLU_EXPORT int32_t vlu_isuc32type(uint32_t value, uint32_t mask) {
  return scalar(value) ? static_cast<int32_t>(classes(static_cast<UChar32>(value), mask)) : 0;
}

VLU_EXPORT int32_t vlu_mbtouc(void *, uint16_t *target, const char *string, int32_t limit, int16_t *status) {
  if (!string) return 0;
  UChar32 c;
  const int32_t r = decode(string, limit, &c);
  if (r < 0) return fail(status, decode_error(r), -1);
  if (c > 0xFFFF) return fail(status, VL_EILSEQ, -1);
  if (target) *target = static_cast<uint16_t>(c);
  return r;
}

VLU_EXPORT int32_t vlu_uctomb(void *, char *target, uint16_t value, int16_t *status) {
  if (U_IS_SURROGATE(value)) return fail(status, VL_EILSEQ, -1);
  if (!target) return fail(status, VL_EBADPTR, -1);
  return encode(target, value);
}

// A limit of -1 is the bytes in front of the terminator, all of which must
// be characters, as the native twin measures them: an empty string (no
// bytes to read) fails with VL_EINVAL as a limit of 0 does.
VLU_EXPORT int32_t vlu_mbtouc32(void *, uint32_t *target, const char *string, int32_t limit, int16_t *status) {
  if (!string) return 0;
  if (limit == -1) {
    limit = 0;
    UChar32 c;
    for (int32_t r; (r = decode(string + limit, -1, &c)) != 0; limit += r)
      if (r < 0) return fail(status, decode_error(r), -1);
  }
  if (limit < 1) return fail(status, VL_EINVAL, -1);
  UChar32 c;
  const int32_t r = decode(string, limit, &c);
  if (r < 0) return fail(status, decode_error(r), -1);
  if (target) *target = static_cast<uint32_t>(c);
  return r;
}

VLU_EXPORT int32_t vlu_uc32tomb(void *, char *target, uint32_t value, int16_t *status) {
  if (!scalar(value)) return fail(status, VL_EILSEQ, -1);
  if (!target) return fail(status, VL_EBADPTR, -1);
  return encode(target, static_cast<UChar32>(value));
}

// Every limit below 1, -1 too, fails with VL_EINVAL: a length is always
// measured within a limit.
VLU_EXPORT int vlu_mblen(void *, const char *string, int32_t limit, int16_t *status) {
  if (!string) return 0;
  if (limit < 1) return fail(status, VL_EINVAL, -1);
  UChar32 c;
  const int32_t r = decode(string, limit, &c);
  return r < 0 ? fail(status, decode_error(r), -1) : r;
}

VLU_EXPORT int32_t vlu_mbwidth(void *, const char *string, int16_t *status) {
  if (!string) return fail(status, VL_EBADPTR, -1);
  UChar32 c;
  const int32_t r = decode(string, -1, &c);
  if (r < 0) return fail(status, decode_error(r), -1);
  return width(c, status);
}

VLU_EXPORT int32_t vlu_uc32width(uint32_t value, int16_t *status) { return width(static_cast<UChar32>(value), status); }

namespace {
// One character's simple case mapping, in the packed form: bytes consumed
// in the high byte, bytes written in the low one; 0 for bytes that are no
// character.
int32_t mbcase(char *target, const char *source, int32_t limit, bool upper, int16_t *status) {
  if (!source || !target) return fail(status, VL_EBADPTR, 0);
  UChar32 c;
  const int32_t r = decode(source, limit, &c);
  if (r < 0) return fail(status, decode_error(r), 0);
  if (r == 0) {
    target[0] = 0;
    return 0x0101;
  }
  const int32_t w = encode(target, upper ? u_toupper(c) : u_tolower(c));
  return (r << 8) | w;
}

// A NUL-terminated string's full case mapping in the locale's rules; the
// bytes written, without the terminator, which is written too. A null
// source reads as the empty string, as the native walk takes it.
int32_t mbscase(void *locale, char *target, const char *source, bool upper, int16_t *status) {
  const auto *l = static_cast<const Locale *>(locale);
  if (!l || !l->cases || !target) return fail(status, VL_EBADPTR, -1);
  if (!source) source = "";
  const int32_t n = static_cast<int32_t>(strlen(source));
  UErrorCode e = U_ZERO_ERROR;
  const int32_t w = upper ? ucasemap_utf8ToUpper(l->cases, target, 3 * n + 1, source, n, &e)
                          : ucasemap_utf8ToLower(l->cases, target, 3 * n + 1, source, n, &e);
  if (U_FAILURE(e)) return fail(status, from_icu(e), -1);
  return w;
}

// A wide string's simple case mapping, with its zero value: 0, as the
// native form gives.
int32_t ucs32case(uint32_t *target, const uint32_t *source, bool upper, int16_t *status) {
  if (!target || !source) return fail(status, VL_EBADPTR, -1);
  int32_t i = 0;
  for (; source[i]; ++i) {
    const uint32_t v = source[i];
    target[i] = scalar(v) ? static_cast<uint32_t>(upper ? u_toupper(static_cast<UChar32>(v))
                                                        : u_tolower(static_cast<UChar32>(v)))
                          : v;
  }
  target[i] = 0;
  return 0;
}
}  // namespace

VLU_EXPORT int32_t vlu_mbtoupper(void *, char *target, const char *source, int32_t limit, int16_t *status) {
  return mbcase(target, source, limit, true, status);
}

VLU_EXPORT int32_t vlu_mbtolower(void *, char *target, const char *source, int32_t limit, int16_t *status) {
  return mbcase(target, source, limit, false, status);
}

VLU_EXPORT uint32_t vlu_uc32toupper(void *, uint32_t value, int16_t *) {
  return scalar(value) ? static_cast<uint32_t>(u_toupper(static_cast<UChar32>(value))) : value;
}

VLU_EXPORT uint32_t vlu_uc32tolower(void *, uint32_t value, int16_t *) {
  return scalar(value) ? static_cast<uint32_t>(u_tolower(static_cast<UChar32>(value))) : value;
}

VLU_EXPORT int32_t vlu_mbstoucs(void *, uint16_t *target, int32_t capacity, const char *source, int32_t length,
                                int16_t *status) {
  if (!source) return fail(status, VL_EBADPTR, -1);
  UErrorCode e = U_ZERO_ERROR;
  int32_t n = 0;
  u_strFromUTF8(reinterpret_cast<UChar *>(target), capacity < 0 ? 0 : capacity, &n, source, length, &e);
  return U_FAILURE(e) ? fail(status, from_icu(e), -1) : n;
}

VLU_EXPORT int32_t vlu_ucstombs(void *, char *target, int32_t capacity, const uint16_t *source, int32_t length,
                                int16_t *status) {
  if (!source) return fail(status, VL_EBADPTR, -1);
  UErrorCode e = U_ZERO_ERROR;
  int32_t n = 0;
  u_strToUTF8(target, capacity < 0 ? 0 : capacity, &n, reinterpret_cast<const UChar *>(source), length, &e);
  return U_FAILURE(e) ? fail(status, from_icu(e), -1) : n;
}

// As the library's own multibyte-to-wide conversion: NUL-terminated, the
// values without the zero (which is written when it fits); counted, one
// more than the index where the loop ended.
VLU_EXPORT int32_t vlu_mbstoucs32(void *, uint32_t *target, int32_t capacity, const char *source, int32_t length,
                                  int16_t *status) {
  if (length < -1) return fail(status, VL_EBADARG, -1);
  if (!source && capacity > 0) return fail(status, VL_EBADPTR, -1);
  int32_t i = 0;
  if (length != -1) {
    const char *p = source, *end = source + length;
    while (i < capacity) {
      const int32_t room = static_cast<int32_t>(end - p);
      UChar32 c;
      if (room < 1) return fail(status, VL_EILSEQ, -1);
      int32_t r = decode(p, room < kMaxChar ? room : kMaxChar, &c);
      if (r == 0) r = 1;
      if (r < 0) return fail(status, VL_EILSEQ, -1);
      target[i] = static_cast<uint32_t>(c);
      p += r;
      if (p >= end) break;
      ++i;
    }
    return i + 1;
  }
  const char *p = source;
  while (i < capacity) {
    UChar32 c;
    const int32_t r = decode(p, -1, &c);
    if (r < 0) return fail(status, VL_EILSEQ, -1);
    target[i] = static_cast<uint32_t>(c);
    if (r == 0) break;
    p += r, ++i;
  }
  return i;
}

// As the library's own wide-to-multibyte conversion: a character that does
// not fit whole ends it without error and without a terminator.
VLU_EXPORT int32_t vlu_ucs32tombs(void *, char *target, int32_t capacity, const uint32_t *source, int32_t length,
                                  int16_t *status) {
  if (length < -1) return fail(status, VL_EBADARG, -1);
  if (!source) return fail(status, VL_EBADPTR, -1);
  int32_t written = 0;
  for (int32_t i = 0; length == -1 || i < length; ++i) {
    const uint32_t v = source[i];
    if (!scalar(v)) return fail(status, VL_EILSEQ, -1);
    const int32_t n = U8_LENGTH(static_cast<UChar32>(v));
    if (written + n > capacity) return written;
    if (length == -1 && v == 0) {
      target[written] = 0;
      return written;
    }
    written += encode(target + written, static_cast<UChar32>(v));
  }
  return written;
}

VLU_EXPORT char *vlu_mbsprev(void *, const char *start, const char *position, int16_t *status) {
  if (!start || !position) return fail(status, VL_EBADPTR, static_cast<char *>(nullptr));
  if (position <= start) return fail(status, VL_EBADRANGE, static_cast<char *>(nullptr));
  const char *p = start;
  for (;;) {
    UChar32 c;
    int32_t r = decode(p, -1, &c);
    if (r < 0) return fail(status, decode_error(r), static_cast<char *>(nullptr));
    if (r == 0) r = 1;
    if (p + r >= position) return const_cast<char *>(p);
    p += r;
  }
}

VLU_EXPORT char *vlu_mbsnext(void *, const char *string, int32_t limit, int16_t *status) {
  if (!string) return fail(status, VL_EBADPTR, static_cast<char *>(nullptr));
  UChar32 c;
  const int32_t r = decode(string, limit, &c);
  if (r < 0) return fail(status, decode_error(r), static_cast<char *>(nullptr));
  return const_cast<char *>(string + r);
}

// Bytes without the trailing blanks: characters of the blank class that are
// not control characters (so a tab at the end counts).
VLU_EXPORT int32_t vlu_mbsntsbytes(void *, const char *string, int16_t *status) {
  if (!string) return fail(status, VL_EBADPTR, -1);
  int32_t total = 0, pending = 0;
  for (const char *p = string;;) {
    UChar32 c;
    const int32_t r = decode(p, -1, &c);
    if (r < 0) return fail(status, decode_error(r), -1);
    if (r == 0) break;
    if (u_hasBinaryProperty(c, UCHAR_POSIX_BLANK) && u_charType(c) != U_CONTROL_CHAR) {
      pending += r;
    } else {
      total += pending + r;
      pending = 0;
    }
    p += r;
  }
  return total;
}

VLU_EXPORT int32_t vlu_mbstoupper(void *locale, char *target, const char *source, int16_t *status) {
  return mbscase(locale, target, source, true, status);
}

VLU_EXPORT int32_t vlu_mbstolower(void *locale, char *target, const char *source, int16_t *status) {
  return mbscase(locale, target, source, false, status);
}

VLU_EXPORT int32_t vlu_ucs32toupper(void *, uint32_t *target, const uint32_t *source, int16_t *status) {
  return ucs32case(target, source, true, status);
}

VLU_EXPORT int32_t vlu_ucs32tolower(void *, uint32_t *target, const uint32_t *source, int16_t *status) {
  return ucs32case(target, source, false, status);
}

VLU_EXPORT int32_t vlu_mbslen(void *, const char *string, int32_t length, int16_t *status) {
  if (!string) return fail(status, VL_EBADPTR, -1);
  int32_t n = 0;
  for (const char *p = string; length == -1 || p < string + length; ++n) {
    UChar32 c;
    const int32_t left = length == -1 ? -1 : static_cast<int32_t>(string + length - p);
    const int32_t r = decode(p, left, &c);
    if (r < 0) return fail(status, decode_error(r), -1);
    if (r == 0) {
      if (length == -1) break;
      p += 1;
      continue;
    }
    p += r;
  }
  return n;
}

VLU_EXPORT int32_t vlu_mbsbytes(void *, const char *string, int16_t *status) {
  if (!string) return 0;
  int32_t total = 0;
  for (const char *p = string;;) {
    UChar32 c;
    const int32_t r = decode(p, -1, &c);
    if (r < 0) return fail(status, decode_error(r), 0);
    if (r == 0) return total + 1;
    total += r, p += r;
  }
}

VLU_EXPORT int32_t vlu_ucs32len(const uint32_t *string) {
  int32_t n = 0;
  if (string)
    while (string[n]) ++n;
  return n;
}

VLU_EXPORT uint32_t *vlu_ucs32uc32(const uint32_t *string, uint32_t value) {
  if (!string) return nullptr;
  for (const uint32_t *p = string;; ++p) {
    if (*p == value) return const_cast<uint32_t *>(p);
    if (!*p) return nullptr;
  }
}

// The first occurrence of `character` in the string; null with no status
// when there is none. The NUL character finds the terminator.
VLU_EXPORT char *vlu_mbschr(void *, const char *string, int32_t length, const char *character, int32_t char_limit,
                            int16_t *status) {
  if (!string || !character) return fail(status, VL_EBADPTR, static_cast<char *>(nullptr));
  UChar32 want;
  const int32_t cl = decode(character, char_limit, &want);
  if (cl < 0) return fail(status, decode_error(cl), static_cast<char *>(nullptr));
  for (const char *p = string; length == -1 || p < string + length;) {
    UChar32 c;
    const int32_t left = length == -1 ? -1 : static_cast<int32_t>(string + length - p);
    const int32_t r = decode(p, left, &c);
    if (r < 0) return fail(status, decode_error(r), static_cast<char *>(nullptr));
    if (c == want) return const_cast<char *>(p);
    if (r == 0) {
      if (length == -1) break;
      ++p;
      continue;
    }
    p += r;
  }
  return nullptr;
}

namespace {
template <class Next>
int32_t sum_widths(Next next, int16_t *status) {
  int32_t total = 0;
  for (UChar32 c; next(&c);) {
    if (c < 0) return -1;
    const int32_t w = width(c, status);
    if (w < 0) return -1;
    total += w;
  }
  return total;
}

// A walker over UTF-8 text for sum_widths: gives false at the end, and
// c < 0 with the status set on bytes that are no character.
struct Utf8Walk {
  const char *p, *end;  // end null: to the terminator
  int32_t count;        // characters left, -1 for no bound
  int16_t *status;
  bool operator()(UChar32 *c) {
    if (count == 0 || (end && p >= end)) return false;
    const int32_t r = decode(p, end ? static_cast<int32_t>(end - p) : -1, c);
    if (r < 0) {
      fail(status, decode_error(r), 0);
      *c = -1;
      return true;
    }
    if (r == 0) return false;
    p += r;
    if (count > 0) --count;
    return true;
  }
};
}  // namespace

VLU_EXPORT int32_t vlu_mbswidth(void *, const char *string, int32_t count, int16_t *status) {
  if (!string) return fail(status, VL_EBADPTR, -1);
  if (count < 0) return fail(status, VL_EBADCOUNT, -1);
  return sum_widths(Utf8Walk{string, nullptr, count, status}, status);
}

VLU_EXPORT int32_t vlu_ucs32width(const uint32_t *string, int32_t count, int16_t *status) {
  if (!string) return fail(status, VL_EBADPTR, -1);
  if (count < 0) return fail(status, VL_EBADCOUNT, -1);
  int32_t i = 0;
  return sum_widths([&](UChar32 *c) { return i < count && string[i] ? (*c = static_cast<UChar32>(string[i++]), true) : false; },
                    status);
}

VLU_EXPORT int32_t vlu_mbspwidth(void *, const char *start, const char *end, int16_t *status) {
  if (!start || !end) return fail(status, VL_EBADPTR, -1);
  if (start > end) return fail(status, VL_EBADRANGE, -1);
  return sum_widths(Utf8Walk{start, end, -1, status}, status);
}

VLU_EXPORT int32_t vlu_ucs32pwidth(const uint32_t *start, const uint32_t *end, int16_t *status) {
  if (!start || !end) return fail(status, VL_EBADPTR, -1);
  if (start > end) return fail(status, VL_EBADRANGE, -1);
  const uint32_t *p = start;
  return sum_widths([&](UChar32 *c) { return p < end && *p ? (*c = static_cast<UChar32>(*p++), true) : false; }, status);
}

VLU_EXPORT int32_t vlu_ucscoll(void *locale, const uint16_t *string1, int32_t length1, const uint16_t *string2,
                               int32_t length2, int16_t *status) {
  const auto *l = static_cast<const Locale *>(locale);
  if (!l || !l->coll || !string1 || !string2) return fail(status, VL_EBADPTR, 0);
  return order(ucol_strcoll(l->coll, reinterpret_cast<const UChar *>(string1), length1,
                            reinterpret_cast<const UChar *>(string2), length2));
}

VLU_EXPORT int32_t vlu_ucsxfrm(void *locale, char *destination, int32_t capacity, const uint16_t *source,
                               int16_t *status) {
  if (!source) return fail(status, VL_EBADPTR, -1);
  return key_of(static_cast<const Locale *>(locale), reinterpret_cast<const UChar *>(source), -1, destination,
                capacity, status);
}

VLU_EXPORT int32_t vlu_ucs32coll(void *locale, const uint32_t *string1, int32_t length1, const uint32_t *string2,
                                 int32_t length2, int16_t *status) {
  const auto *l = static_cast<const Locale *>(locale);
  if (!l || !l->coll) return fail(status, VL_EBADPTR, 0);
  Scratch<UChar> a, b;
  int32_t na = 0, nb = 0;
  if (!widen16(string1, length1, a, &na, status) || !widen16(string2, length2, b, &nb, status)) return 0;
  return order(ucol_strcoll(l->coll, a.p, na, b.p, nb));
}

VLU_EXPORT int32_t vlu_ucs32xfrm(void *locale, char *destination, int32_t capacity, const uint32_t *source,
                                 int16_t *status) {
  Scratch<UChar> s;
  int32_t n = 0;
  if (!widen16(source, -1, s, &n, status)) return -1;
  return key_of(static_cast<const Locale *>(locale), s.p, n, destination, capacity, status);
}

// The hot path of every bridged comparison. It checks only the pointers
// (ICU would answer a null string with another error), and enters the
// rule-based collator's UTF-8 comparison where ICU's own checks end, when
// both texts are NUL-terminated or both counted; otherwise, or for another
// kind of collator, where ucol_strcollUTF8 does. ICU's result is already
// -1, 0 or 1, and its status a failure only when memory runs out.
VLU_EXPORT int32_t vlu_mbscoll(void *locale, const char *string1, int32_t length1, const char *string2,
                               int32_t length2, int16_t *status) {
  const auto *l = static_cast<const Locale *>(locale);
  if (__builtin_expect(!l, 0)) return fail(status, VL_EBADPTR, 0);
  if (__builtin_expect(!string1, 0)) return fail(status, VL_EBADPTR, 0);
  if (__builtin_expect(!string2, 0)) return fail(status, VL_EBADPTR, 0);
  // The status is kept beside ICU's in memory, not in a register saved
  // across the call: it is needed only when the comparison fails.
  struct {
    UErrorCode e;
    int16_t *status;
  } frame = {U_ZERO_ERROR, status};
  int32_t r;
  if (__builtin_expect(((length1 ^ length2) | l->not_rules) >= 0, 1))
    r = (l->rules->*compare_utf8())(reinterpret_cast<const uint8_t *>(string1), length1,
                                    reinterpret_cast<const uint8_t *>(string2), length2, frame.e);
  else
    r = icu::Collator::fromUCollator(l->coll)->internalCompareUTF8(string1, length1, string2, length2, frame.e);
  if (__builtin_expect(frame.e > U_ZERO_ERROR, 0)) return fail(frame.status, from_icu(frame.e), 0);
  return r;
}

VLU_EXPORT int32_t vlu_mbsxfrm(void *locale, char *destination, int32_t capacity, const char *source,
                               int16_t *status) {
  // A text whose UTF-16 form fits the stack, under a rule-based collator:
  // one conversion and the collator's key, as a direct ICU caller does.
  const auto *l = static_cast<const Locale *>(locale);
  if (__builtin_expect(l && source && l->not_rules == 0, 1)) {
    UChar text[256];
    int32_t n = 0;
    UErrorCode e = U_ZERO_ERROR;
    u_strFromUTF8(text, 256, &n, source, -1, &e);
    if (__builtin_expect(e == U_ZERO_ERROR, 1)) {
      const int32_t r = l->rules->getSortKey(text, n, reinterpret_cast<uint8_t *>(destination),
                                             destination && capacity > 0 ? capacity : 0);
      return r > 0 ? r - 1 : fail(status, VL_EILSEQ, -1);
    }
  }
  Scratch<UChar> s;
  int32_t n = 0;
  if (!utf8_to16(source, -1, s, &n, status)) return -1;
  return key_of(static_cast<const Locale *>(locale), s.p, n, destination, capacity, status);
}

// A bound of the sort key of `source`: kind 0 lower, 1 upper, 2 upper-long,
// on the first `levels` levels. Its length with the final NUL.
VLU_EXPORT int32_t vlu_mbsSortKeyCollBound(void *, const char *key, int32_t key_length, int32_t kind, int32_t levels,
                                           char *target, int32_t capacity, int16_t *status) {
  if (!key) return fail(status, VL_EBADPTR, -1);
  if (kind < 0 || kind > 2 || levels < 1) return fail(status, VL_EBADARG, -1);
  UErrorCode e = U_ZERO_ERROR;
  const int32_t r = ucol_getBound(reinterpret_cast<const uint8_t *>(key), key_length, bound_mode(kind),
                                  static_cast<uint32_t>(levels), reinterpret_cast<uint8_t *>(target),
                                  capacity < 0 ? 0 : capacity, &e);
  if (U_FAILURE(e) && e != U_BUFFER_OVERFLOW_ERROR) return fail(status, from_icu(e), -1);
  return r;
}

VLU_EXPORT int32_t vlu_mbsCollBound(void *locale, const char *source, int32_t length, int32_t kind, int32_t levels,
                                    char *target, int32_t capacity, int16_t *status) {
  const auto *l = static_cast<const Locale *>(locale);
  if (!l || !l->coll) return fail(status, VL_EBADPTR, -1);
  Scratch<UChar> s;
  int32_t n = 0;
  if (!utf8_to16(source, length, s, &n, status)) return -1;
  Scratch<char, 512> key;
  int32_t k = ucol_getSortKey(l->coll, s.p, n, reinterpret_cast<uint8_t *>(key.p), key.size);
  if (k > key.size) {
    if (!key.reserve(k)) return fail(status, VL_ENOMEM, -1);
    k = ucol_getSortKey(l->coll, s.p, n, reinterpret_cast<uint8_t *>(key.p), key.size);
  }
  return vlu_mbsSortKeyCollBound(locale, key.p, -1, kind, levels, target, capacity, status);
}

// A character from a stream, through the library's byte reader: 16 at the
// end of the stream before one, 7 inside one; 13 or 17 as the stream tells.
VLU_EXPORT int32_t vlu_fgetuc32(void *, void *stream, int16_t *status) {
  if (!g_fgetc) return fail(status, VL_ENOTSUP, -1);
  const auto why = [stream](int16_t at_eof) -> int16_t {
    return g_feof && g_feof(stream) ? at_eof : g_ferror && g_ferror(stream) ? int16_t{VL_EIO} : int16_t{VL_EPARTIAL};
  };
  char bytes[kMaxChar];
  UChar32 c = 0;
  int16_t end_status = 0;
  bool at_start = true;
  const int32_t r = read_char(
      [&]() {
        const int b = g_fgetc(stream);
        if (b < 0) end_status = why(at_start ? VL_EEOF : VL_EINVAL);
        at_start = false;
        return b;
      },
      bytes, &c, status, 0, 0);
  if (r < 0) return fail(status, end_status ? end_status : int16_t{VL_EILSEQ}, -1);
  return static_cast<int32_t>(c);
}

VLU_EXPORT int32_t vlu_getmb(void *, char *target, vlu_byte_reader reader, void *argument, int32_t *length,
                             int16_t *status) {
  if (!target || !reader) return fail(status, VL_EBADPTR, -1);
  UChar32 c;
  const int32_t r = read_char([&]() { return reader(argument); }, target, &c, status, VL_EEOF, VL_EINVAL);
  if (length) *length = r < 0 ? -r - 1 : r;
  return r < 0 ? -1 : 0;
}

VLU_EXPORT char *vlu_getmbsi(void *, const char *string, int32_t index, int16_t *status) {
  if (!string) return fail(status, VL_EBADPTR, static_cast<char *>(nullptr));
  if (index < 0) return fail(status, VL_EBADCOUNT, static_cast<char *>(nullptr));
  const char *p = string;
  for (int32_t k = 0; k < index; ++k) {
    UChar32 c;
    const int32_t r = decode(p, -1, &c);
    if (r < 0) return fail(status, decode_error(r), static_cast<char *>(nullptr));
    if (r == 0) break;
    p += r;
  }
  return const_cast<char *>(p);
}

// Replaces the character at index i with `character`, moving the rest. A
// NUL character, old or new, has its real length of one byte, as in the
// native replacement: the terminator is replaced like any character.
VLU_EXPORT char *vlu_putmbsi(void *locale, char *string, int32_t index, const char *character, int16_t *status) {
  if (!character) return fail(status, VL_EBADPTR, static_cast<char *>(nullptr));
  char *p = vlu_getmbsi(locale, string, index, status);
  if (!p) return nullptr;
  UChar32 c;
  int32_t old = decode(p, -1, &c), cl = decode(character, -1, &c);
  if (old < 0 || cl < 0) return fail(status, decode_error(old < 0 ? old : cl), static_cast<char *>(nullptr));
  old += old == 0, cl += cl == 0;
  const size_t rest = strlen(p + old) + 1;
  memmove(p + cl, p + old, rest);
  memcpy(p, character, static_cast<size_t>(cl));
  return string;
}

// The library's allocator, for the bridge and for ICU. ICU takes it only
// before its first allocation in the process; a host that used ICU before
// binding the bridge keeps ICU on the C library's heap (which is what the
// library's default allocator forwards to).
VLU_EXPORT int32_t vlu_setMemoryFunctions(vlu_malloc_cb m, vlu_realloc_cb r, vlu_free_cb f, vlu_calloc_cb c) {
  if (!m || !r || !f || !c) return VL_EBADPTR;
  g_malloc = m, g_realloc = r, g_free = f, g_calloc = c;
  UErrorCode e = U_ZERO_ERROR;
  u_setMemoryFunctions(nullptr, m, r, f, &e);
  if (U_FAILURE(e)) say("vlu_setMemoryFunctions: ICU keeps its allocator: %s", u_errorName(e));
  return 0;
}

VLU_EXPORT int32_t vlu_setFgetcFunc(vlu_stream_cb f) { return g_fgetc = f, 0; }
VLU_EXPORT int32_t vlu_setFseekFunc(vlu_fseek_cb f) { return g_fseek = f, 0; }
VLU_EXPORT int32_t vlu_setFtellFunc(vlu_ftell_cb f) { return g_ftell = f, 0; }
VLU_EXPORT int32_t vlu_setFerrorFunc(vlu_stream_cb f) { return g_ferror = f, 0; }
VLU_EXPORT int32_t vlu_setFeofFunc(vlu_stream_cb f) { return g_feof = f, 0; }
VLU_EXPORT int32_t vlu_setUCAFunc(vlu_uca_cb f) { return g_uca = f, 0; }

VLU_EXPORT int32_t vlu_ucstoucs32(uint32_t *target, int32_t capacity, const uint16_t *source, int32_t length,
                                  int16_t *status) {
  if (!source) return fail(status, VL_EBADPTR, -1);
  UErrorCode e = U_ZERO_ERROR;
  int32_t n = 0;
  u_strToUTF32(reinterpret_cast<UChar32 *>(target), capacity < 0 ? 0 : capacity, &n,
               reinterpret_cast<const UChar *>(source), length, &e);
  return U_FAILURE(e) ? fail(status, from_icu(e), -1) : n;
}

VLU_EXPORT int32_t vlu_ucs32toucs(uint16_t *target, int32_t capacity, const uint32_t *source, int32_t length,
                                  int16_t *status) {
  if (!source) return fail(status, VL_EBADPTR, -1);
  UErrorCode e = U_ZERO_ERROR;
  int32_t n = 0;
  u_strFromUTF32(reinterpret_cast<UChar *>(target), capacity < 0 ? 0 : capacity, &n,
                 reinterpret_cast<const UChar32 *>(source), length, &e);
  return U_FAILURE(e) ? fail(status, from_icu(e), -1) : n;
}

VLU_EXPORT int32_t vlu_setPrintMessageFunc(vlu_message_cb f) { return g_message = f, 0; }
VLU_EXPORT int32_t vlu_setMessageLevel(int32_t level) { return g_level = level, 0; }
VLU_EXPORT int32_t vlu_setMessageSubLevel(int32_t sublevel) { return g_sublevel = sublevel, 0; }

// Every name has the type of the library's pointer for it.
#define VLU_SAME_TYPE(n) static_assert(std::is_same_v<decltype(&vlu_##n), decltype(fn_vlu_##n)>, #n);
VLU_SAME_TYPE(getIcuDataFileName) VLU_SAME_TYPE(useIcuCvtCall) VLU_SAME_TYPE(useIcuLocCall) VLU_SAME_TYPE(icuErrorName)
VLU_SAME_TYPE(loadIcuData) VLU_SAME_TYPE(unloadIcuData) VLU_SAME_TYPE(loadMapData) VLU_SAME_TYPE(unloadMapData)
VLU_SAME_TYPE(cv_open) VLU_SAME_TYPE(cv_close) VLU_SAME_TYPE(lc_clone) VLU_SAME_TYPE(cv_conv)
VLU_SAME_TYPE(iconv_expansion) VLU_SAME_TYPE(assign_global_struct) VLU_SAME_TYPE(lc_open) VLU_SAME_TYPE(lc_close)
VLU_SAME_TYPE(mb_loc_max) VLU_SAME_TYPE(getICULocName) VLU_SAME_TYPE(getICUCvtName) VLU_SAME_TYPE(mb_loc_min)
VLU_SAME_TYPE(case_conv_outbuflen) VLU_SAME_TYPE(ismctype) VLU_SAME_TYPE(isuc32type) VLU_SAME_TYPE(mbtouc)
VLU_SAME_TYPE(uctomb) VLU_SAME_TYPE(mbtouc32) VLU_SAME_TYPE(uc32tomb) VLU_SAME_TYPE(mblen) VLU_SAME_TYPE(mbwidth)
VLU_SAME_TYPE(uc32width) VLU_SAME_TYPE(mbtoupper) VLU_SAME_TYPE(mbtolower) VLU_SAME_TYPE(uc32toupper)
VLU_SAME_TYPE(uc32tolower) VLU_SAME_TYPE(mbstoucs) VLU_SAME_TYPE(ucstombs) VLU_SAME_TYPE(mbstoucs32)
VLU_SAME_TYPE(ucs32tombs) VLU_SAME_TYPE(mbsprev) VLU_SAME_TYPE(mbsnext) VLU_SAME_TYPE(mbsntsbytes)
VLU_SAME_TYPE(mbstoupper) VLU_SAME_TYPE(mbstolower) VLU_SAME_TYPE(ucs32toupper) VLU_SAME_TYPE(ucs32tolower)
VLU_SAME_TYPE(mbslen) VLU_SAME_TYPE(mbsbytes) VLU_SAME_TYPE(ucs32len) VLU_SAME_TYPE(ucs32uc32) VLU_SAME_TYPE(mbschr)
VLU_SAME_TYPE(mbswidth) VLU_SAME_TYPE(ucs32width) VLU_SAME_TYPE(mbspwidth) VLU_SAME_TYPE(ucs32pwidth)
VLU_SAME_TYPE(ucscoll) VLU_SAME_TYPE(ucsxfrm) VLU_SAME_TYPE(ucs32coll) VLU_SAME_TYPE(ucs32xfrm) VLU_SAME_TYPE(mbscoll)
VLU_SAME_TYPE(mbsxfrm) VLU_SAME_TYPE(mbsCollBound) VLU_SAME_TYPE(mbsSortKeyCollBound) VLU_SAME_TYPE(fgetuc32)
VLU_SAME_TYPE(getmb) VLU_SAME_TYPE(getmbsi) VLU_SAME_TYPE(putmbsi) VLU_SAME_TYPE(setMemoryFunctions)
VLU_SAME_TYPE(setFgetcFunc) VLU_SAME_TYPE(setFseekFunc) VLU_SAME_TYPE(setFtellFunc) VLU_SAME_TYPE(setFerrorFunc)
VLU_SAME_TYPE(setFeofFunc) VLU_SAME_TYPE(setUCAFunc) VLU_SAME_TYPE(ucstoucs32) VLU_SAME_TYPE(ucs32toucs)
VLU_SAME_TYPE(setPrintMessageFunc) VLU_SAME_TYPE(setMessageLevel) VLU_SAME_TYPE(setMessageSubLevel)
