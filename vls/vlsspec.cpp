// Locale naming: the registry of codeset names, the codeset number and CCSID
// tables, and the locale specification forms with the file names derived
// from them.
//
// Specification functions work in fixed buffers (286 or 311 bytes, 1024 for
// a path) and never allocate. Only the registry cache allocates, and it does
// so through the C library's allocator (vl_reg_functions): the cache is
// process-wide and outlives any later change of the host table.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <vls/vls.h>
#include <vls/vlsext.h>
#include <vls/vlsspec.h>
#include <vls/vlsutils.h>

#include "vlsint.h"

namespace {

constexpr uint16_t kNoCodeset = 0xE000;
constexpr size_t kNameBuf = VL_CS_NAME_MAX + 1;   // 22
constexpr size_t kSpecBuf = VL_SPEC_MAX + 1;      // 286
constexpr size_t kFnameSpecBuf = VL_FNAME_SPEC_MAX + 1;  // 311
constexpr size_t kPathBuf = 1024;

// ---- characters (plain ASCII, independent of the C library's locale) ----

constexpr bool is_digit(int c) { return c >= '0' && c <= '9'; }
constexpr bool is_upper(int c) { return c >= 'A' && c <= 'Z'; }
constexpr bool is_lower(int c) { return c >= 'a' && c <= 'z'; }
constexpr bool is_alpha(int c) { return is_upper(c) || is_lower(c); }
constexpr bool is_alnum(int c) { return is_alpha(c) || is_digit(c); }
constexpr bool is_xdigit(int c) { return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
// Printable and not blank.
constexpr bool is_graph(int c) { return c > 0x20 && c < 0x7F; }
constexpr bool is_space(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr char to_lower(char c) { return is_upper(static_cast<unsigned char>(c)) ? static_cast<char>(c - 'A' + 'a') : c; }
constexpr char to_upper(char c) { return is_lower(static_cast<unsigned char>(c)) ? static_cast<char>(c - 'a' + 'A') : c; }
constexpr int hex_value(int c) {
  return is_digit(c) ? c - '0' : (c >= 'a' && c <= 'f') ? c - 'a' + 10 : c - 'A' + 10;
}
constexpr char kHexDigits[] = "0123456789abcdef";

inline unsigned char uc(char c) { return static_cast<unsigned char>(c); }

using vls::set_error;

// Copies at most `limit` characters of `text` into a zeroed buffer.
template <size_t N>
void copy_cut(char (&buf)[N], const char *text) {
  static_assert(N > 1);
  memset(buf, 0, N);
  size_t n = strnlen(text, N - 1);
  memcpy(buf, text, n);
}

// "ll_tt" at the start of a text: two letters, "_", two letters.
bool is_lang_terr(const char *p) {
  return is_alpha(uc(p[0])) && is_alpha(uc(p[1])) && p[2] == '_' && is_alpha(uc(p[3])) && is_alpha(uc(p[4]));
}

bool starts_with(const char *p, std::string_view s) { return strncmp(p, s.data(), s.size()) == 0; }

constexpr std::string_view kEquals = " = ";
constexpr std::string_view kSemi = " ; ";

// Category names in handle order (category number minus 2).
constexpr const char *kHandleCats[6] = {"VL_CTYPE", "VL_COLLATE", "VL_NUMERIC", "VL_MONETARY", "VL_TIME", "VL_MESSAGES"};

// ---- an output area, bounded or trusted ---------------------------------
//
// Public functions write into the caller's area, which is trusted to be
// large enough (end == nullptr). Internal chains write into fixed buffers
// and refuse to run past them.
struct Out {
  char *p;
  char *end;  // null: unbounded
  bool over = false;

  Out(char *start, char *limit) : p(start), end(limit) {}
  bool room(size_t n) const { return !end || static_cast<size_t>(end - p) >= n; }
  void put(char c) {
    if (!room(1)) {
      over = true;
      return;
    }
    *p++ = c;
  }
  void put(std::string_view s) {
    if (!room(s.size())) {
      over = true;
      return;
    }
    memcpy(p, s.data(), s.size());
    p += s.size();
  }
  // Directory and its 0xFF marker, as pathcat_mark writes them.
  void mark(const char *directory) {
    if (directory && *directory) {
      put(std::string_view(directory));
      put('\xFF');
    }
  }
  // Zero byte at the current position, not counted.
  void term() {
    if (!room(1)) {
      over = true;
      return;
    }
    *p = '\0';
  }
};

// ---- the long form -------------------------------------------------------

// Walks the elements "CATEGORY = value" of a long form, joined by " ; ".
// Every strict reader of the long form walks with it, so all accept the
// same categories and separators; what a value may be is each reader's
// own rule, read from `p` between head() and separator().
class LongForm {
 public:
  explicit LongForm(const char *text) : p(text) {}
  const char *p;

  // The next element's category number, with `p` behind its " = ", both
  // copied to `out` when one is given. A missing category, one seen before
  // (when `once`) or a missing " = " store 7 and give 0.
  int head(void *handle, Out *out = nullptr, bool once = true) {
    int len;
    int cat = _vl_is_category(p, &len);
    if (!cat || (once && seen_[cat])) return refuse(handle);
    seen_[cat] = true;
    if (out) out->put(std::string_view(p, static_cast<size_t>(len)));
    p += len;
    if (!starts_with(p, kEquals)) return refuse(handle);
    if (out) out->put(kEquals);
    p += kEquals.size();
    return cat;
  }

  // What follows a value: the end of the text, " ; " (taken, and copied
  // to `out`), or anything else. Stores nothing.
  enum class Sep { end, more, other };
  Sep separator(Out *out = nullptr) {
    if (!*p) return Sep::end;
    if (!starts_with(p, kSemi)) return Sep::other;
    if (out) out->put(kSemi);
    p += kSemi.size();
    return Sep::more;
  }

 private:
  int refuse(void *handle) {
    set_error(handle, VL_EINVAL);
    return 0;
  }
  bool seen_[7] = {};
};

// ---- the registry --------------------------------------------------------

// Opens the registry at `path` when one is given, else finds "registry"
// below the product directory (through the C library's file services,
// which then also close it).
vls::HostFile open_registry(void *handle, const char *path) {
  if (path && *path) return vls::HostFile(vl_open_file(handle, path));
  return vls::HostFile(vl_path_search_no_ext(handle, "registry", "cm", "3"), vl_reg_functions.close);
}

// The registry could not be opened: 15, unless the failure was memory.
void set_open_error(void *handle) {
  if (!handle) return;
  uint32_t *e = _vl_ext_errno(handle);
  if (*e != VL_ENOMEM) *e = VL_EUNKNOWN;
}

// Number behind a name; false (with error 11) when it is missing or the
// file ends right behind it.
bool read_number(void *handle, void *file, uint16_t *number) {
  vls::ByteReader in(file);
  int c = in.fgetc();
  while (c != EOF && is_space(c)) c = in.fgetc();
  if (c == EOF || !is_digit(c)) {
    set_error(handle, VL_EBADFILE);
    return false;
  }
  uint32_t value = 0;
  while (c != EOF && is_digit(c)) {
    value = (value * 10 + static_cast<uint32_t>(c - '0')) & 0xFFFFu;
    c = in.fgetc();
  }
  if (c == EOF) {
    set_error(handle, VL_EBADFILE);
    return false;
  }
  in.ungetc(c);
  *number = static_cast<uint16_t>(value);
  return true;
}

// Folds to lower case and cuts at 21 characters.
void fold_name(char (&key)[kNameBuf], const char *name) {
  size_t i = 0;
  for (; i < VL_CS_NAME_MAX && name[i]; ++i) key[i] = to_lower(name[i]);
  key[i] = '\0';
}

// Value of a name of decimal digits when it is below 65536.
bool name_as_number(const char *key, uint16_t *number) {
  if (!*key || !_vl_all_decimal_digits(key)) return false;
  uint32_t value = 0;
  for (const char *p = key; *p; ++p) {
    value = value * 10 + static_cast<uint32_t>(*p - '0');
    if (value > 0xFFFFu) return false;
  }
  *number = static_cast<uint16_t>(value);
  return true;
}

// The registry's entries as a reading of the file meets them, for the
// look-ups inside a RegistryScope. `broken` tells that the file breaks
// behind the last entry (a bad number, or no line end behind an entry), so
// that a name not among the entries meets error 11 as a reading would.
struct RegistryEntry {
  char name[kNameBuf];
  uint16_t number;
};
struct RegistryCopy {
  enum class State : uint8_t { unread, ready, unusable };
  State state = State::unread;
  bool broken = false;
  uint32_t count = 0;
  uint32_t capacity = 0;
  RegistryEntry *entries = nullptr;
};

thread_local RegistryCopy *tl_registry_copy = nullptr;

bool append_entry(RegistryCopy &c, const char *name, uint16_t number) {
  if (c.count == c.capacity) {
    uint32_t capacity = c.capacity ? c.capacity * 2 : 256;
    auto *grown = vls::alloc_array<RegistryEntry>(capacity);
    if (!grown) return false;
    if (c.count) memcpy(grown, c.entries, c.count * sizeof(RegistryEntry));
    _vl_free_ptr(c.entries);
    c.entries = grown;
    c.capacity = capacity;
  }
  RegistryEntry &e = c.entries[c.count++];
  memcpy(e.name, name, kNameBuf);
  e.number = number;
  return true;
}

// Reads the file found without a registry path into the copy. A file that
// can't be opened, or no memory, leaves the copy unusable: every look-up
// then reads (or fails to open) the file by itself, as outside a scope.
void fill_copy(RegistryCopy &c) {
  struct {
    uint32_t vl_errno;
  } scratch{0};
  c.state = RegistryCopy::State::unusable;
  vls::HostFile f = open_registry(&scratch, nullptr);
  if (!f) return;
  vls::own_stream(f.get());
  char entry[kNameBuf];
  while (_vl_next_cs_name_from_registry(f.get(), entry, static_cast<int>(kNameBuf))) {
    uint16_t number;
    if (!read_number(&scratch, f.get(), &number)) {
      c.broken = true;
      break;
    }
    if (!append_entry(c, entry, number)) return;
    if (!ignore_till_eol(f.get())) {
      c.broken = true;
      break;
    }
  }
  c.state = RegistryCopy::State::ready;
}

// vl_cs_name2cs_num, telling the caller whether a failure stored an error
// number (so that a caller with an error of its own does not overwrite it).
uint16_t lookup(void *handle, const char *name, const char *registry, bool *stored) {
  *stored = false;
  if (!name) {
    set_error(handle, VL_EINVAL);
    *stored = handle != nullptr;
    return kNoCodeset;
  }
  char key[kNameBuf];
  fold_name(key, name);

  if (vls_registry_list_cache) {
    for (const vl_registry_record *r = vls_registry_list_cache; r; r = r->next)
      if (strcmp(r->name, key) == 0) return r->number;
  } else if (vls_registry_array_cache) {
    for (const vl_registry_pair *r = vls_registry_array_cache; r->name; ++r)
      if (strcmp(r->name, key) == 0) return r->number;
  } else if (RegistryCopy *copy = (!registry || !*registry) ? tl_registry_copy : nullptr;
             copy && (copy->state != RegistryCopy::State::unread || (fill_copy(*copy), true)) &&
             copy->state == RegistryCopy::State::ready) {
    for (uint32_t i = 0; i < copy->count; ++i)
      if (strcmp(copy->entries[i].name, key) == 0) return copy->entries[i].number;
    if (copy->broken) {
      set_error(handle, VL_EBADFILE);
      *stored = handle != nullptr;
      return kNoCodeset;
    }
  } else {
    vls::HostFile f = open_registry(handle, registry);
    if (!f) {
      set_open_error(handle);
      *stored = handle != nullptr;
      return kNoCodeset;
    }
    vls::own_stream(f.get());
    char entry[kNameBuf];
    while (_vl_next_cs_name_from_registry(f.get(), entry, static_cast<int>(kNameBuf))) {
      uint16_t number;
      if (!read_number(handle, f.get(), &number)) {
        *stored = handle != nullptr;
        return kNoCodeset;
      }
      if (strcmp(entry, key) == 0) {
        return number;
      }
      if (!ignore_till_eol(f.get())) {
        set_error(handle, VL_EBADFILE);
        *stored = handle != nullptr;
        return kNoCodeset;
      }
    }
  }

  uint16_t number;
  if (name_as_number(key, &number)) return number;
  set_error(handle, VL_EINVAL);
  *stored = handle != nullptr;
  return kNoCodeset;
}

}  // namespace

vls::RegistryScope::RegistryScope() : outer_(tl_registry_copy == nullptr) {
  if (outer_) {
    // Heap-free until the first look-up: most scopes meet the file once.
    static thread_local RegistryCopy slot;
    slot = RegistryCopy{};
    tl_registry_copy = &slot;
  }
}

vls::RegistryScope::~RegistryScope() {
  if (!outer_) return;
  _vl_free_ptr(tl_registry_copy->entries);
  tl_registry_copy = nullptr;
}

namespace {

void free_list(vl_registry_record *r) {
  while (r) {
    vl_registry_record *next = r->next;
    vl_reg_functions.free(r);
    r = next;
  }
}

// ---- the short form ------------------------------------------------------

// Longest file name part of one short form: "ll_tt/" + 4 digits + 4
// modifier characters + ".lco" + zero byte.
constexpr size_t kShortNameBuf = 32;

enum class Xopen { no, lookup_failed, ok };

// Parses one short form at *text into name (zero-terminated, length in
// *length). On success *text is moved behind what was read.
Xopen parse_xopen(void *handle, const char **text, char (&name)[kShortNameBuf], size_t *length, uint16_t *cs_num,
                  bool *has_modifier, const char *registry) {
  const char *p = *text;
  if (!is_lang_terr(p) || p[5] != '.') return Xopen::no;
  char *o = name;
  for (int i = 0; i < 5; ++i) *o++ = to_lower(p[i]);
  *o++ = '/';
  p += 6;
  if (*p == '#' || !is_graph(uc(*p))) return Xopen::no;

  char cs_name[kNameBuf];
  size_t n = 0;
  while (*p != '@' && is_graph(uc(*p))) {
    if (n == VL_CS_NAME_MAX) return Xopen::no;
    cs_name[n++] = *p++;
  }
  cs_name[n] = '\0';

  bool stored;
  uint16_t number = lookup(handle, cs_name, registry, &stored);
  if (number == kNoCodeset) return stored ? Xopen::lookup_failed : Xopen::no;
  for (int shift = 12; shift >= 0; shift -= 4) *o++ = kHexDigits[(number >> shift) & 0xF];

  *has_modifier = false;
  if (*p == '@') {
    *has_modifier = true;
    ++p;
    int k = 0;
    while (is_alnum(uc(*p))) {
      if (k == 4) return Xopen::no;
      *o++ = *p++;
      ++k;
    }
  }
  memcpy(o, ".lco", 4);
  o += 4;
  *o = '\0';
  *length = static_cast<size_t>(o - name);
  *cs_num = number;
  *text = p;
  return Xopen::ok;
}

// Error 7 for a failed short form, unless the look-up stored its own.
void xopen_failed(void *handle, Xopen r) {
  if (r != Xopen::lookup_failed) set_error(handle, VL_EINVAL);
}

// vl_lc_spec2lc_fname into an output area.
int spec2fname(void *handle, const char *spec, Out &out, const char *registry, const char *directory) {
  if (!spec) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  char buf[kSpecBuf];
  copy_cut(buf, spec);
  char name[kShortNameBuf];
  size_t length;
  uint16_t number;
  bool modifier;
  int len;

  if (!_vl_is_category(buf, &len)) {
    const char *p = buf;
    Xopen r = parse_xopen(handle, &p, name, &length, &number, &modifier, registry);
    if (r != Xopen::ok || *p) {
      xopen_failed(handle, r == Xopen::ok ? Xopen::no : r);
      return -1;
    }
    out.put(std::string_view(name, length));
    out.term();
    if (out.over) {
      set_error(handle, VL_EINVAL);
      return -1;
    }
    return 0;
  }

  uint16_t first = 0;
  bool have_first = false;
  LongForm form(buf);
  for (;;) {
    if (!form.head(handle, &out)) return -1;
    out.mark(directory);
    Xopen r = parse_xopen(handle, &form.p, name, &length, &number, &modifier, registry);
    if (r != Xopen::ok) {
      xopen_failed(handle, r);
      return -1;
    }
    out.put(std::string_view(name, length));
    if (!have_first) {
      first = number;
      have_first = true;
    } else if (number != first) {
      set_error(handle, VL_EINVAL);
      return -1;
    }
    LongForm::Sep sep = form.separator(&out);
    if (sep == LongForm::Sep::end) break;
    if (sep == LongForm::Sep::other) {
      set_error(handle, VL_EINVAL);
      return -1;
    }
  }
  out.term();
  if (out.over) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  return 0;
}

// A file name's pieces turned into the normal form.
int fname2norm(void *handle, const char *fname, char (&norm)[17]) {
  char lang_terr[6], codeset[6], modifier[5];
  if (vl_lc_fname2lc_pieces(handle, fname, lang_terr, codeset, modifier) != 0) return -1;
  return vl_lc_pieces2lc_spec(handle, lang_terr, codeset, modifier, norm);
}

// Finds each category name of the handle's order with " = " behind it, and
// points at the locale text behind that.
bool find_six(const char *buf, const char *(&locale)[6]) {
  for (int i = 0; i < 6; ++i) {
    const char *s = strstr(buf, kHandleCats[i]);
    if (!s) return false;
    s += strlen(kHandleCats[i]);
    if (!starts_with(s, kEquals)) return false;
    locale[i] = s + kEquals.size();
  }
  return true;
}

}  // namespace

namespace vls {
int spec2fname_bounded(void *handle, const char *spec, char *output, size_t size, const char *registry,
                       const char *directory, bool *too_long) {
  Out out(output, output + size);
  int r = spec2fname(handle, spec, out, registry, directory);
  *too_long = out.over;
  return r;
}
}  // namespace vls

// ===========================================================================
// Tables
// ===========================================================================

extern "C" {

const vl_registry_pair vls_canned_registry[VL_CANNED_REGISTRY_SIZE + 1] = {
    {"ascii", 364},
    {"c", 819},
    {"posix", 819},
    {"unitedstates", 437},
    {"cp437", 437},
    {"8859-1", 819},
    {"latin-1", 819},
    {"korhstextsbcs", 833},
    {"ccsid833", 833},
    {"korhstdbcs", 834},
    {"ccsid834", 834},
    {"tchhstdbcs", 835},
    {"ccsid835", 835},
    {"schhstextsbcs", 836},
    {"ccsid836", 836},
    {"schhstdbcs", 837},
    {"ccsid837", 837},
    {"pc-latin-1", 850},
    {"pc-latin-2", 852},
    {"pc-data-hebrew", 856},
    {"pc-hebrew-saa", 856},
    {"pc-cyrillic", 866},
    {"cis-1", 866},
    {"pc866", 866},
    {"8859-2", 912},
    {"latin-2", 912},
    {"cyrillic-8bit", 915},
    {"ccsid932", 932},
    {"sjis-s", 932},
    {"pc-sjis", 932},
    {"korhstmxexsbcs", 933},
    {"csid933", 933},
    {"schmxexsbcs", 935},
    {"ccsid935", 935},
    {"tchhstmxexsbcs", 937},
    {"ccsid937", 937},
    {"tchhstexsbcs", 28709},
    {"ccsid28709", 29709},
    {"8859-3", 57346},
    {"latin-3", 57346},
    {"8859-4", 57347},
    {"latin-4", 57347},
    {"8859-5", 915},
    {"latin-cyrillic", 915},
    {"8859-6", 1089},
    {"latin-arabic", 1089},
    {"8859-7", 813},
    {"latin-greek", 813},
    {"8859-8", 916},
    {"latin-hebrew", 916},
    {"8859-9", 920},
    {"latin-5", 920},
    {"iso-7-german", 1011},
    {"646de", 1011},
    {"iso-7-danish", 1017},
    {"pc1046", 1046},
    {"arabic-pc", 1046},
    {"unicode", 57349},
    {"east-europe", 1250},
    {"cp1250", 1250},
    {"pc-slavic", 1251},
    {"cp1251", 1251},
    {"west-europe", 1252},
    {"cp1252", 1252},
    {"pc-greek", 1253},
    {"cp1253", 1253},
    {"pc-latin5", 1254},
    {"cp1254", 1254},
    {"pc-turkish", 1254},
    {"pc-hebrew", 1255},
    {"cp1255", 1255},
    {"pc-arabic", 1256},
    {"cp1256", 1256},
    {"sjis", 57350},
    {"shift-jis", 57350},
    {"ujis", 57351},
    {"eucjp", 5050},
    {"big5", 57352},
    {"big-5", 57352},
    {"sbig5", 57353},
    {"shift-big-5", 57353},
    {"ccdc", 57354},
    {"cccii", 57355},
    {"greek", 737},
    {"greek", 737},
    {"ksc", 57356},
    {"ks5601", 57356},
    {"cp949", 57356},
    {"gb", 57357},
    {"gb2312-80", 57357},
    {"ebcdic", 37},
    {"ebcdic-us", 37},
    {"chngcase", 57358},
    {"banga", 57359},
    {"shift1", 57360},
    {"rot13", 57361},
    {"swap0to9", 57362},
    {"pcwin", 57363},
    {"qacvtest", 57365},
    {"swap09-nl", 57366},
    {"qa-unix-client", 57367},
    {"qa-unix-server", 57368},
    {"qa-win-client", 57369},
    {"guobiao2312", 57357},
    {"mik", 57370},
    {"utf8", 57372},
    {"thai", 57373},
    {"thai620", 57373},
    {"sopstw", 57374},
    {"euctw", 57375},
    {"cns", 57375},
    {"cns-extended", 57378},
    {"eucxtw", 57378},
    {"tst", 57376},
    {"qa-win-950", 57377},
    {"qa-win-932", 57379},
    {"koi-8", 57382},
    {"csk", 57383},
    {"mazovia", 57384},
    {"maz", 57384},
    {"roman8", 57385},
    {"qa-win-unicode", 57386},
    {"qa-unix-big5", 57387},
    {nullptr, 0},
};

const vl_alias_pair aliastab[VL_ALIASTAB_SIZE + 1] = {
    {"ascii", "en_US.8859-1"}, {"gb", "zh_CN.gb"},         {"ksc1", "ko_KR.ksc"},     {"ksc", "ko_KR.ksc"},
    {"big5", "zh_TW.big5"},    {"sbig5", "zh_TW.sbig5"},   {"ccdc", "zh_TW.ccdc"},    {"cccii", "zh_TW.cccii"},
    {"8859-1", "en_US.8859-1"}, {"gb2312", "zh_CN.gb"},    {"ks5601", "ko_KR.ksc"},   {"jis208", "ja_JP.ujis"},
    {"sjis208", "ja_JP.sjis"}, {"sjis", "ja_JP.sjis"},     {"ujis", "ja_JP.ujis"},    {nullptr, nullptr},
};

VLS_API vl_registry_record *vls_registry_list_cache = nullptr;
VLS_API const vl_registry_pair *vls_registry_array_cache = nullptr;

}  // extern "C"

namespace {

struct CcsidPair {
  uint16_t cs_num;
  uint16_t ccsid;
};
constexpr CcsidPair kCcsids[] = {
    {57349, 1202}, {57350, 943}, {57351, 33722}, {57352, 950}, {57356, 949}, {57357, 1383}, {57372, 1208},
    {57373, 874},  {57375, 964}, {57382, 878},   {57385, 1051}, {57388, 848}, {57391, 923},  {57392, 1234},
};

struct CategoryName {
  std::string_view name;
  int number;
};
constexpr CategoryName kCategoryNames[] = {
    {"VL_CTYPE", 1}, {"VL_COLLATE", 2}, {"VL_TIME", 3}, {"VL_MONETARY", 4}, {"VL_NUMERIC", 5}, {"VL_MESSAGES", 6},
};

}  // namespace

// ===========================================================================
// Registry and codeset names
// ===========================================================================

extern "C" {

VLS_API int ignore_till_eol(void *file) {
  if (!file) return 0;
  vls::ByteReader in(file);
  for (;;) {
    int c = in.fgetc();
    if (c == EOF) return 0;
    if (c == '\n') return 1;
  }
}

VLS_API int _vl_next_cs_name_from_registry(void *file, char *buffer, int size) {
  if (!file || !buffer || size < 2) return 0;
  vls::ByteReader in(file);
  int c;
  for (;;) {
    c = in.fgetc();
    if (c == EOF) return 0;
    if (is_space(c)) continue;
    if (c == '#') {
      if (!ignore_till_eol(file)) return 0;
      continue;
    }
    break;
  }
  int n = 0;
  while (is_graph(c)) {
    if (n >= size - 1) return 0;  // the name doesn't fit: the reading ends
    buffer[n++] = to_lower(static_cast<char>(c));
    c = in.fgetc();
    if (c == EOF) return 0;  // the file ends inside the name
  }
  in.ungetc(c);
  buffer[n] = '\0';
  return n > 0;
}

VLS_API uint16_t _vl_next_cs_number_from_registry(void *handle, void *file) {
  uint16_t number;
  if (!file) {
    set_error(handle, VL_EBADFILE);
    return kNoCodeset;
  }
  return read_number(handle, file, &number) ? number : kNoCodeset;
}

VLS_API uint16_t vl_cs_name2cs_num(void *handle, const char *name, const char *registry) {
  bool stored;
  return lookup(handle, name, registry, &stored);
}

VLS_API void vl_free_registry_cache(void) {
  free_list(vls_registry_list_cache);
  vls_registry_list_cache = nullptr;
  vls_registry_array_cache = nullptr;
}

VLS_API int vl_cache_registry(void *handle, const char *registry) {
  vl_free_registry_cache();
  vls::HostFile f = open_registry(handle, registry);
  if (!f) {
    set_open_error(handle);
    vls_registry_array_cache = vls_canned_registry;
    return -1;
  }
  vls::own_stream(f.get());
  vl_registry_record *head = nullptr;
  vl_registry_record **tail = &head;
  char entry[kNameBuf];
  while (_vl_next_cs_name_from_registry(f.get(), entry, static_cast<int>(kNameBuf))) {
    uint16_t number;
    bool ok = read_number(handle, f.get(), &number);
    vl_registry_record *r = nullptr;
    if (ok) {
      r = static_cast<vl_registry_record *>(vl_reg_functions.alloc(sizeof *r));
      if (!r) set_error(handle, VL_ENOMEM);
    }
    if (!r) {
      free_list(head);
      vls_registry_array_cache = vls_canned_registry;
      return -1;
    }
    memcpy(r->name, entry, sizeof r->name);
    r->number = number;
    r->next = nullptr;
    *tail = r;
    tail = &r->next;
    if (!ignore_till_eol(f.get())) break;
  }
  vls_registry_list_cache = head;
  return 0;
}

VLS_API int _vl_is_category(const char *text, int *length) {
  if (!text) return 0;
  for (const CategoryName &c : kCategoryNames) {
    if (strncmp(text, c.name.data(), c.name.size()) == 0) {
      if (length) *length = static_cast<int>(c.name.size());
      return c.number;
    }
  }
  return 0;
}

VLS_API int _vl_all_decimal_digits(const char *text) {
  if (!text) return 0;
  for (; *text; ++text)
    if (!is_digit(uc(*text))) return 0;
  return 1;
}

VLS_API uint16_t vl_lc_spec2cs_num(void *handle, const char *spec, const char *registry) {
  if (!spec) {
    set_error(handle, VL_EINVAL);
    return kNoCodeset;
  }
  char buf[kSpecBuf];
  copy_cut(buf, spec);
  char name[kShortNameBuf];
  size_t length;
  uint16_t number;
  bool modifier;
  int len;

  if (!_vl_is_category(buf, &len)) {
    const char *p = buf;
    if (parse_xopen(handle, &p, name, &length, &number, &modifier, registry) == Xopen::ok && !*p) return number;
    // Not a short form: a bare codeset name, such as "8859-1".
    return vl_cs_name2cs_num(handle, buf, registry);
  }

  bool seen[7] = {};
  uint16_t first = 0;
  bool have_first = false;
  const char *p = buf;
  int cat;
  while ((cat = _vl_is_category(p, &len)) != 0) {
    if (seen[cat]) {
      set_error(handle, VL_EINVAL);
      return kNoCodeset;
    }
    seen[cat] = true;
    p += len;
    if (!starts_with(p, kEquals)) {
      set_error(handle, VL_EINVAL);
      return kNoCodeset;
    }
    p += kEquals.size();
    Xopen r = parse_xopen(handle, &p, name, &length, &number, &modifier, registry);
    if (r != Xopen::ok) {
      xopen_failed(handle, r);
      return kNoCodeset;
    }
    if (!have_first) {
      first = number;
      have_first = true;
    } else if (number != first) {
      set_error(handle, VL_EINVAL);
      return kNoCodeset;
    }
    if (starts_with(p, kSemi)) p += kSemi.size();
  }
  if (*p) {  // something left where no further category follows
    set_error(handle, VL_EINVAL);
    return kNoCodeset;
  }
  return first;
}

VLS_API uint16_t vl_cs_nums2ccsid(void *handle, uint32_t cs_num) {
  (void)handle;
  if (cs_num < kNoCodeset) return static_cast<uint16_t>(cs_num);
  for (const CcsidPair &c : kCcsids)
    if (c.cs_num == cs_num) return c.ccsid;
  return 0;
}

VLS_API uint16_t vl_ccsid2cs_nums(void *handle, uint32_t ccsid) {
  (void)handle;
  if (ccsid > 0xDFFFu) return 0;
  for (const CcsidPair &c : kCcsids)
    if (c.ccsid == ccsid) return c.cs_num;
  return static_cast<uint16_t>(ccsid);
}

// ===========================================================================
// Locale specifications and file names
// ===========================================================================

VLS_API int _vl_is_xopen_spec(void *handle, const char **text, char **output, uint16_t *cs_num,
                              const char *registry) {
  if (!text || !*text || !output || !*output || !cs_num) return 0;
  char name[kShortNameBuf];
  size_t length;
  uint16_t number;
  bool modifier;
  const char *p = *text;
  if (parse_xopen(handle, &p, name, &length, &number, &modifier, registry) != Xopen::ok) return 0;
  memcpy(*output, name, length);
  if (!modifier) (*output)[length] = '\0';
  *output += length;
  *text = p;
  *cs_num = number;
  return 1;
}

VLS_API char *pathcat_mark(char *target, const char *directory) {
  if (!target) return target;
  if (directory && *directory) {
    size_t n = strlen(directory);
    memmove(target, directory, n);
    target += n;
    *target++ = '\xFF';
  }
  *target = '\0';
  return target;
}

VLS_API int vl_lc_spec2lc_fname(void *handle, const char *spec, char *output, const char *registry,
                                const char *directory) {
  if (!output) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  Out out(output, nullptr);
  return spec2fname(handle, spec, out, registry, directory);
}

VLS_API int vl_lc_spec2msg_dname(void *handle, const char *spec, char *output, const char *registry,
                                 const char *directory) {
  if (!output) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  char fname[kPathBuf];
  Out out(fname, fname + sizeof fname);
  if (spec2fname(handle, spec, out, registry, directory) != 0) return -1;
  const char *s = fname;
  int len;
  if (_vl_is_category(fname, &len)) {
    static constexpr char kMessages[] = "VL_MESSAGES = ";
    s = strstr(fname, kMessages);
    if (!s) {
      set_error(handle, VL_EINVAL);
      return -1;
    }
    s += sizeof kMessages - 1;
  }
  size_t n = strnlen(s, 10);
  memcpy(output, s, n);
  output[n] = '\0';
  return 0;
}

VLS_API int vl_cs_nums2cv_fname(void *handle, uint16_t first, uint16_t second, char *output,
                                const char *directory) {
  if (!output) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  char *o = pathcat_mark(output, directory);
  for (int shift = 12; shift >= 0; shift -= 4) *o++ = kHexDigits[(first >> shift) & 0xF];
  for (int shift = 12; shift >= 0; shift -= 4) *o++ = kHexDigits[(second >> shift) & 0xF];
  memcpy(o, ".cvo", 5);
  return 0;
}

VLS_API int vl_lc_fname2lc_pieces(void *handle, const char *fname, char *lang_terr, char *codeset,
                                  char *modifier) {
  if (!fname || !lang_terr || !codeset || !modifier || !is_lang_terr(fname)) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  if (fname[5] != '/' && fname[5] != '\\') return -1;
  const char *p = fname + 6;
  if (!is_xdigit(uc(*p))) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  unsigned value = 0;
  for (int k = 0; k < 4 && is_xdigit(uc(*p)); ++k) value = value * 16 + static_cast<unsigned>(hex_value(uc(*p++)));

  char mod[5];
  int m = 0;
  while (m < 4 && *p && *p != '.') mod[m++] = *p++;
  mod[m] = '\0';

  lang_terr[0] = to_lower(fname[0]);
  lang_terr[1] = to_lower(fname[1]);
  lang_terr[2] = '_';
  lang_terr[3] = to_upper(fname[3]);
  lang_terr[4] = to_upper(fname[4]);
  lang_terr[5] = '\0';
  char digits[6];
  int d = 0;
  do {
    digits[d++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value);
  for (int i = 0; i < d; ++i) codeset[i] = digits[d - 1 - i];
  codeset[d] = '\0';
  memcpy(modifier, mod, static_cast<size_t>(m) + 1);
  return 0;
}

VLS_API int vl_lc_pieces2lc_spec(void *handle, const char *lang_terr, const char *codeset, const char *modifier,
                                 char *output) {
  if (!lang_terr || !codeset || !output || !is_lang_terr(lang_terr) || !*codeset) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  char text[17];
  char *o = text;
  memcpy(o, lang_terr, 5);
  o += 5;
  *o++ = '.';
  for (int i = 0; i < 5 && codeset[i]; ++i) {
    if (!is_xdigit(uc(codeset[i]))) {
      set_error(handle, VL_EINVAL);
      return -1;
    }
    *o++ = codeset[i];
  }
  if (modifier && *modifier) {
    *o++ = '@';
    for (int i = 0; i < 4 && modifier[i]; ++i) *o++ = modifier[i];
  }
  *o++ = '\0';
  memcpy(output, text, static_cast<size_t>(o - text));
  return 0;
}

VLS_API int _vl_lc_short_spec2lc_short_norm(void *handle, const char *spec, char *output, const char *registry) {
  char fname[kSpecBuf];
  Out out(fname, fname + sizeof fname);
  if (spec2fname(handle, spec, out, registry, nullptr) != 0) return -1;
  char lang_terr[6], codeset[6], modifier[5];
  if (vl_lc_fname2lc_pieces(handle, fname, lang_terr, codeset, modifier) != 0) return -1;
  return vl_lc_pieces2lc_spec(handle, lang_terr, codeset, modifier, output);
}

VLS_API int vl_lc_spec2lc_norm(void *handle, const char *spec, char *output, const char *registry) {
  if (!spec || !output) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  uint32_t saved = handle ? *_vl_ext_errno(handle) : 0;
  if (_vl_lc_short_spec2lc_short_norm(handle, spec, output, registry) == 0) return 0;

  char buf[kSpecBuf];
  copy_cut(buf, spec);
  int len;
  if (!_vl_is_category(buf, &len)) return -1;  // a short form: its failure stands
  // A long form: what the short chain left behind is no failure of it.
  set_error(handle, saved);

  Out out(output, nullptr);
  LongForm form(buf);
  uint16_t first = 0;
  for (int i = 0; i < 6; ++i) {
    if (!form.head(handle, &out, false)) return -1;
    char name[kShortNameBuf];
    size_t length;
    uint16_t number;
    bool modifier;
    Xopen r = parse_xopen(handle, &form.p, name, &length, &number, &modifier, registry);
    if (r != Xopen::ok) {
      xopen_failed(handle, r);
      return -1;
    }
    if (i == 0)
      first = number;
    else if (number != first) {
      set_error(handle, VL_EINVAL);
      return -1;
    }
    char norm[17];
    if (fname2norm(handle, name, norm) != 0) return -1;
    out.put(std::string_view(norm));
    if (form.separator(&out) != LongForm::Sep::more) return -1;  // every element needs " ; "
  }
  out.term();
  return 0;
}

VLS_API int vl_lc_short2lc_long(void *handle, const char *spec, char *output, const char *registry) {
  if (!spec) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  char buf[kSpecBuf];
  copy_cut(buf, spec);
  const char *p = buf;
  if (!is_lang_terr(p)) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  char locale[kSpecBuf];
  size_t n = 0;
  for (int i = 0; i < 5; ++i) locale[n++] = to_lower(p[i]);
  p += 5;

  if (*p) {
    if (*p != '.') {
      set_error(handle, VL_EINVAL);
      return -1;
    }
    locale[n++] = *p++;
    if (*p == ';' || *p == '#' || *p == ' ') {
      set_error(handle, VL_EINVAL);
      return -1;
    }
    char cs_name[kSpecBuf];
    size_t c = 0;
    while (*p && *p != '@' && *p != ';' && is_graph(uc(*p))) {
      cs_name[c++] = *p;
      locale[n++] = to_lower(*p++);
    }
    cs_name[c] = '\0';
    bool bad = false;
    if (*p == '@') {
      locale[n++] = *p++;
      while (is_alnum(uc(*p))) locale[n++] = to_lower(*p++);
      bad = *p == ';' || (*p == ' ' && !starts_with(p, kSemi));
    } else {
      bad = *p && !starts_with(p, kSemi);
    }
    if (bad) {
      set_error(handle, VL_EINVAL);
      return -1;
    }
    if (vl_cs_name2cs_num(handle, cs_name, registry) == kNoCodeset) return -1;
    if (!output) return 0;
  } else if (!output) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  locale[n] = '\0';

  Out out(output, nullptr);
  for (int i = 0; i < 6; ++i) {
    if (i) out.put(kSemi);
    out.put(std::string_view(kHandleCats[i]));
    out.put(kEquals);
    out.put(std::string_view(locale, n));
  }
  out.term();
  return 0;
}

VLS_API int vl_is_lc_spec(void *handle, const char *spec) {
  if (!spec || !*spec) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  char buf[kSpecBuf];
  copy_cut(buf, spec);
  LongForm form(buf);
  for (;;) {
    if (!form.head(handle)) return -1;
    const char *&p = form.p;
    if (!is_alpha(uc(p[0])) || !is_alpha(uc(p[1]))) return -1;
    if (p[2] != '_') {
      set_error(handle, VL_EINVAL);
      return -1;
    }
    if (!is_alpha(uc(p[3])) || !is_alpha(uc(p[4]))) return -1;
    p += 5;
    if (*p == '.') {
      ++p;
      if (*p == '#') {
        set_error(handle, VL_EINVAL);
        return -1;
      }
      for (; is_graph(uc(*p)) && *p != '@'; ++p) {
        if (*p == ';') {
          set_error(handle, VL_EINVAL);
          return -1;
        }
      }
      if (*p == '@') {
        ++p;
        while (is_alnum(uc(*p))) ++p;
      }
    }
    switch (form.separator()) {
      case LongForm::Sep::end:
        return 0;
      case LongForm::Sep::other:
        set_error(handle, VL_EINVAL);
        return -1;
      case LongForm::Sep::more:
        if (!*p) return 0;  // a final " ; " is allowed here
        break;
    }
  }
}

}  // extern "C"

namespace {

// Language, "_" and territory of six locales in step, folded to lower case
// into text: a missing letter gives -1 alone, a missing "_" or a letter
// that differs from the first locale's stores 7.
int lang_terr_in_step(void *handle, const char *const (&loc)[6], char *text) {
  for (size_t k = 0; k < 5; ++k) {
    for (int i = 0; i < 6; ++i) {
      char c = loc[i][k];
      if (k == 2 ? c != '_' : !is_alpha(uc(c))) {
        if (k != 2) return -1;
        set_error(handle, VL_EINVAL);
        return -1;
      }
      if (to_lower(c) != to_lower(loc[0][k])) {
        set_error(handle, VL_EINVAL);
        return -1;
      }
    }
    text[k] = to_lower(loc[0][k]);
  }
  return 0;
}

// Walks six locales in step from place k until `stop` holds for the first;
// all must stop there and agree on the way, folded to lower case, which
// goes to text. False with 7 stored otherwise.
template <class Stop>
bool in_step(void *handle, const char *const (&loc)[6], size_t &k, char *text, Stop stop) {
  for (;; ++k) {
    bool stop0 = stop(loc[0][k]);
    for (int i = 1; i < 6; ++i) {
      if (stop(loc[i][k]) != stop0 || (!stop0 && to_lower(loc[i][k]) != to_lower(loc[0][k]))) {
        set_error(handle, VL_EINVAL);
        return false;
      }
    }
    if (stop0) return true;
    text[k] = to_lower(loc[0][k]);
  }
}

}  // namespace

extern "C" {

VLS_API int vl_lc_spec2lc_short(void *handle, const char *spec, char *output, const char *registry) {
  (void)registry;  // codesets are compared as text here
  if (!spec || !output) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  char buf[kSpecBuf];
  copy_cut(buf, spec);
  const char *loc[6];
  if (!find_six(buf, loc)) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  char text[kSpecBuf];
  size_t k = 0;
  if (int r = lang_terr_in_step(handle, loc, text); r != 0) return r;
  k = 5;
  bool all_end = true;
  for (int i = 0; i < 6; ++i)
    if (loc[i][k] && !starts_with(loc[i] + k, kSemi)) all_end = false;
  if (!all_end) {
    for (int i = 0; i < 6; ++i) {
      if (loc[i][k] != '.' || loc[i][k + 1] == ';' || loc[i][k + 1] == '#') {
        set_error(handle, VL_EINVAL);
        return -1;
      }
    }
    text[k++] = '.';
    // Codesets up to "@" or a character that isn't printable, then the
    // modifiers, if the first has one.
    if (!in_step(handle, loc, k, text, [](char c) { return c == '@' || !is_graph(uc(c)); })) return -1;
    bool at0 = loc[0][k] == '@';
    for (int i = 1; i < 6; ++i) {
      if ((loc[i][k] == '@') != at0) {
        set_error(handle, VL_EINVAL);
        return -1;
      }
    }
    if (at0) {
      text[k++] = '@';
      if (!in_step(handle, loc, k, text, [](char c) { return !is_alnum(uc(c)); })) return -1;
    }
  }
  text[k] = '\0';
  memcpy(output, text, k + 1);
  return 0;
}

VLS_API int vl_lc_spec2category(void *handle, const char *spec, int category, char *output,
                                const char *registry) {
  if (category < VL_LC_CTYPE || category > VL_LC_MESSAGES) return 0;
  if (!spec || !output) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  char buf[kSpecBuf];
  copy_cut(buf, spec);
  int len;
  const char *loc[6];
  if (!_vl_is_category(buf, &len) || !find_six(buf, loc)) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  int with_codeset = 0;
  for (int i = 0; i < 6; ++i) {
    if (!is_lang_terr(loc[i])) {
      set_error(handle, VL_EINVAL);
      return -1;
    }
    if (loc[i][5] == '.') ++with_codeset;
  }
  const int want = category - VL_LC_CTYPE;
  char text[kSpecBuf];
  size_t n = 0;
  for (int i = 0; i < 5; ++i) text[n++] = to_lower(loc[want][i]);
  if (with_codeset == 0) {
    text[n] = '\0';
    memcpy(output, text, n + 1);
    return 0;
  }
  if (with_codeset != 6) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  uint16_t first = 0;
  for (int i = 0; i < 6; ++i) {
    const char *p = loc[i] + 6;
    char cs_name[kSpecBuf];
    size_t c = 0;
    while (*p != '@' && is_graph(uc(*p))) cs_name[c++] = *p++;
    cs_name[c] = '\0';
    if (c == 0) {
      set_error(handle, VL_EINVAL);
      return -1;
    }
    const char *mod = nullptr;
    size_t mod_len = 0;
    if (*p == '@') {
      mod = ++p;
      while (is_alnum(uc(*p))) ++p;
      mod_len = static_cast<size_t>(p - mod);
    }
    bool stored;
    uint16_t number = lookup(handle, cs_name, registry, &stored);
    if (number == kNoCodeset) {
      if (!stored) set_error(handle, VL_EINVAL);
      return -1;
    }
    if (i == 0)
      first = number;
    else if (number != first) {
      set_error(handle, VL_EINVAL);
      return -1;
    }
    if (i == want) {
      text[n++] = '.';
      for (size_t j = 0; j < c; ++j) text[n++] = to_lower(cs_name[j]);
      if (mod) {
        text[n++] = '@';
        for (size_t j = 0; j < mod_len; ++j) text[n++] = to_lower(mod[j]);
      }
    }
  }
  text[n] = '\0';
  memcpy(output, text, n + 1);
  return 0;
}

}  // extern "C"

namespace {

// A file name in a long form ends at a blank or ";".
const char *name_end(const char *s) {
  while (*s && *s != ' ' && *s != ';') ++s;
  return s;
}

// All six categories of a long form of file names are there, each with
// two letters, "_" and two letters, and each file opens: through the path
// search, or below `directory` when the joined path stays below 1024.
bool six_files_exist(void *handle, const char *buf, const char *directory) {
  const char *loc[6];
  if (!find_six(buf, loc)) return false;
  for (const char *l : loc)
    if (!is_lang_terr(l)) return false;
  for (const char *l : loc) {
    char name[kFnameSpecBuf];
    size_t n = static_cast<size_t>(name_end(l) - l);
    memcpy(name, l, n);
    name[n] = '\0';
    vls::HostFile f;
    if (!directory) {
      f = vls::HostFile(vl_path_search(handle, name, "lc", "11"));
    } else if (size_t d = strlen(directory); d + 1 + n < kPathBuf) {
      char path[kPathBuf];
      memcpy(path, directory, d);
      path[d] = '/';
      memcpy(path + d + 1, name, n + 1);
      f = vls::HostFile(vl_open_file(handle, path));
    }
    if (!f) return false;
  }
  return true;
}

}  // namespace

extern "C" {

VLS_API int vl_lc_fname2lc_spec(void *handle, const char *fnames, char *output, const char *directory) {
  if (!fnames || !output) {
    set_error(handle, VL_EINVAL);
    return -1;
  }
  char buf[kFnameSpecBuf];
  copy_cut(buf, fnames);
  if (!six_files_exist(handle, buf, directory)) {
    set_error(handle, VL_EINVAL);
    return -1;
  }

  // Rewrite element by element.
  Out out(output, nullptr);
  LongForm form(buf);
  for (;;) {
    if (!form.head(handle, &out)) return -1;
    const char *&p = form.p;
    const char *e = name_end(p);
    char name[kFnameSpecBuf];
    memcpy(name, p, static_cast<size_t>(e - p));
    name[e - p] = '\0';
    p = e;
    char norm[17];
    if (fname2norm(handle, name, norm) != 0) {
      set_error(handle, VL_EINVAL);
      return -1;
    }
    out.put(std::string_view(norm));
    LongForm::Sep sep = form.separator(&out);
    if (sep == LongForm::Sep::end) break;
    if (sep == LongForm::Sep::other) {
      set_error(handle, VL_EINVAL);
      return -1;
    }
  }
  out.term();
  return 0;
}

}  // extern "C"
