// Client start-up: the settings decide the client's locale and the
// database's (modes 1, 2 and 4), the locales are loaded through the core,
// the conversions between their codesets opened, and the date format and
// money conventions of the client settled. The client layer's two error
// numbers live in the general control block shared with the decimals.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <vls/vlscat.h>
#include <vls/vlsctype.h>
#include <vls/vlscv.h>
#include <vls/vlsenv.h>
#include <vls/vlsinit.h>
#include <vls/vlsmbwc.h>
#include <vls/vlsspec.h>

#include "decint.h"
#include "osenv.h"
#include "vlsint.h"

namespace {

constexpr size_t kMaxText = 285;  // longest locale text a caller may give
constexpr size_t kCut = 36;       // a category's text in specs
constexpr const char *kDefault = "en_US.819";

// Settings rows used here.
enum { kDBDATE = 10, kDBMONEY = 17, kVLDATE = 72, kDBCODESET = 81, kDBCONNECT = 82 };

struct Alias {
  const char *word, *locale;
};
constexpr Alias kAliases[] = {
    {"ascii", "en_US.8859-1"}, {"gb", "zh_CN.gb"},         {"ksc1", "ko_KR.ksc"},   {"ksc", "ko_KR.ksc"},
    {"big5", "zh_TW.big5"},    {"sbig5", "zh_TW.sbig5"},   {"ccdc", "zh_TW.ccdc"},  {"cccii", "zh_TW.cccii"},
    {"8859-1", "en_US.8859-1"}, {"gb2312", "zh_CN.gb"},    {"ks5601", "ko_KR.ksc"}, {"jis208", "ja_JP.ujis"},
    {"sjis208", "ja_JP.sjis"}, {"sjis", "ja_JP.sjis"},     {"ujis", "ja_JP.ujis"},
};

void cut_copy(char *target, const char *text, size_t cut = kCut) {
  size_t n = text ? strlen(text) : 0;
  if (n > cut) n = cut;
  if (n) memmove(target, text, n);
  target[n] = '\0';
}
bool set(const char *v) { return v && *v; }

char *setting(const char *name, int row) { return idx_ggetenv(name, row); }

// The settings of the locale categories, by entry of specs.
constexpr const char *kLcNames[5] = {"LC_CTYPE", "LC_COLLATE", "LC_NUMERIC", "LC_MONETARY", "LC_TIME"};
constexpr int kLcRows[5] = {GENV_LC_CTYPE, GENV_LC_COLLATE, GENV_LC_NUMERIC, GENV_LC_MONETARY, GENV_LC_TIME};

int fail_status(int status) {
  set_vlserror(status);
  return -1;
}

// Lower-cased month and era names kept for the client's date code.
char g_months[12][32];
char g_eras[8][32];

void lower_copy(char *target, const char *text, size_t size) {
  size_t i = 0;
  for (; text && text[i] && i + 1 < size; ++i) target[i] = static_cast<char>(tolower(static_cast<unsigned char>(text[i])));
  target[i] = '\0';
}

void cache_month_strings(vl_locale_t *h) {
  for (int i = 0; i < 12; ++i) lower_copy(g_months[i], h ? h->time.mon ? h->time.mon[i] : nullptr : nullptr, 32);
}
void cache_era_strings(vl_locale_t *h) {
  memset(g_eras, 0, sizeof g_eras);
  const char *eras = h ? vl_nl_langinfo(h, VL_ERA) : nullptr;
  for (int i = 0; eras && *eras && i < 8; ++i) {
    // era lines: direction:offset:start:end:name:format
    const char *p = eras;
    for (int field = 0; field < 4 && p; ++field) p = strchr(p, ':') ? strchr(p, ':') + 1 : nullptr;
    if (p) {
      size_t n = strcspn(p, ":\n");
      char name[32];
      cut_copy(name, p, n < 31 ? n : 31);
      name[n < 31 ? n : 31] = '\0';
      lower_copy(g_eras[i], name, 32);
    }
    eras = strchr(eras, '\n');
    if (eras) ++eras;
  }
}

}  // namespace

extern "C" {
extern vls_env_t vls_env;
}

// What the settings store needs of the client's state: the conversions of
// 8-bit values and of gathered lists, the mode and the DBNLS mode.
vls::EnvClientState vls::env_client_state() {
  return {vls_env.csc_dc, vls_env.csc_ab, vls_env.mode, vls_env.nls_mode};
}

extern "C" {

VLS_API vls_env_t vls_env = {1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr, 0, 0, {}, {}, 0, 0, 1, 0, 0, {}, {}};
VLS_API int32_t _8bitfsys = 0;
VLS_API vl_glconv g_lconv;
VLS_API int32_t _gmoninit = 0;

// ---- the client's error numbers ----------------------------------------------------

VLS_API int get_vlserror(void) {
  vl_gentcb *cb = CheckGenInit();
  return cb ? cb->vlserror : VL_NO_CONTROL_BLOCK;
}

VLS_API void set_vlserror(int status) {
  if (vl_gentcb *cb = CheckGenInit()) cb->vlserror = status;
}

VLS_API int get_toerrno(void) {
  vl_gentcb *cb = CheckGenInit();
  return cb ? cb->toerrno : VL_NO_CONTROL_BLOCK;
}

VLS_API void set_toerrno(int value) {
  if (vl_gentcb *cb = CheckGenInit()) cb->toerrno = value;
}

VLS_API int getiniterr(void) {
  const int e = get_vlserror();
  int mapped = e;
  if ((e >= -8 && e <= -3) || e == -1) mapped = VL_INIT_INTERNAL;
  else if (e == -2 || e == 3) mapped = VL_INIT_NOMEM;
  else if (e == 8 || e == 9 || e == 11 || e == 21) mapped = VL_INIT_BADLOCALE;
  else if (e == 12 || e == 58) mapped = VL_INIT_LOADFAIL;
  set_vlserror(mapped);
  return mapped;
}

// ---- locale texts ----------------------------------------------------------------------------

VLS_API const char *getalsloc(const char *word) {
  if (!word) return nullptr;
  for (const Alias &a : kAliases)
    if (strcmp(a.word, word) == 0) return a.locale;
  return nullptr;
}

VLS_API void mk1loccat(char *target, const char *name, const char *value) {
  strcat(target, name);
  strcat(target, " = ");
  strcat(target, value ? value : "");
  strcat(target, " ; ");
}

VLS_API void lcspec2longsp(const char *text, char target[6][VL_SPEC_LEN]) {
  for (int i = 0; i < 6; ++i) cut_copy(target[i], text);
}

VLS_API void filongspec(const char *text, int32_t *missing) {
  for (auto &entry : vls_env.specs)
    if (entry[0] == '0') cut_copy(entry, text);
  if (missing) *missing = 7;
}

VLS_API int extrspec(const char *text, const char *name, char *target, int32_t wide) {
  const char *at = text && name ? strstr(text, name) : nullptr;
  target[0] = '\0';
  if (!at) return -1;
  char key[64];
  const int n = sscanf(at, wide ? "%63s = %39s" : "%63s = %36s", key, target);
  if (n != 2) {
    target[0] = '\0';
    return -1;
  }
  return 0;
}

// A text rebuilt from the pieces of a file name; the part after the first
// "/" when they do not parse.
static void chglcfile2sp(const char *fname, char *target) {
  char lang_terr[8] = {}, codeset[16] = {}, modifier[8] = {}, spec[64] = {};
  struct {
    uint32_t vl_errno;
  } scratch{0};
  if (vl_lc_fname2lc_pieces(&scratch, fname, lang_terr, codeset, modifier) == 0 &&
      vl_lc_pieces2lc_spec(&scratch, lang_terr, codeset, *modifier ? modifier : nullptr, spec) == 0) {
    cut_copy(target, spec);
    return;
  }
  const char *slash = strchr(fname, '/');
  cut_copy(target, slash ? slash + 1 : fname);
}

VLS_API void togensp(const char *text, char *target) {
  char fname[512];
  struct {
    uint32_t vl_errno;
  } scratch{0};
  char copy[kMaxText + 1];
  cut_copy(copy, text, kMaxText);
  if (vl_lc_spec2lc_fname(&scratch, copy, fname, nullptr, nullptr) == 0)
    chglcfile2sp(fname, target);
  else
    cut_copy(target, copy);
}

VLS_API void get_nlscat(const char *name, int32_t index, int32_t *missing, int32_t session) {
  int entry = 0;
  for (int i = 0; i < 5; ++i)
    if (strcmp(kLcNames[i], name) == 0) entry = i;
  const char *v = session ? getsesenv(name) : idx_ggetenv(name, index);
  if (!set(v)) {
    if (missing) ++*missing;
    strcpy(vls_env.specs[entry], "0");
    return;
  }
  cut_copy(vls_env.specs[entry], v);
}

VLS_API void get_nlslocsp(int32_t session, int32_t *missing) {
  for (int i = 0; i < 5; ++i) get_nlscat(kLcNames[i], kLcRows[i], missing, session);
  if (vls_env.specs[0][0] != '0') {
    cut_copy(vls_env.specs[5], vls_env.specs[0]);
  } else {
    strcpy(vls_env.specs[5], "0");
    if (missing) ++*missing;
  }
}

// ---- loading a locale --------------------------------------------------------------------

static void prependos(char *target, const char *text) {
  snprintf(target, kMaxText + 8, "os/%s", text);
}

VLS_API int get_locale(vl_locale_t **out, const char *text, int32_t *flags) {
  if (!text || strlen(text) > kMaxText) return fail_status(VL_INIT_BADLOCALE);
  int32_t local_flags[6];
  if (!flags) flags = local_flags;
  bool fallback = false;
  for (;;) {
    vl_locale_t *h = nullptr;
    if (vl_create_null_locale_4(&h) != 0) {
      set_vlserror(h ? static_cast<int>(h->vl_errno) : 3);
      return -1;
    }
    char apply[8 * (kMaxText + 16)];
    char fname[8 * (kMaxText + 16)];
    apply[0] = '\0';
    if (!fallback && vl_lc_spec2lc_fname(h, text, fname, nullptr, nullptr) == 0) {
      for (int i = 0; i < 6; ++i) flags[i] = 1;
      strcpy(apply, fname);
    } else if (!strstr(text, "VL_CTYPE")) {
      prependos(apply, text);
      for (int i = 0; i < 6; ++i) flags[i] = 0;
      fallback = true;
    } else {
      for (int i = 0; i < 6; ++i) {
        char value[48], file[512], prefixed[64];
        extrspec(text, cat_names[i], value, 1);
        struct {
          uint32_t vl_errno;
        } scratch{0};
        if (*value && vl_lc_spec2lc_fname(&scratch, value, file, nullptr, nullptr) == 0) {
          flags[i] = 1;
          mk1loccat(apply, cat_names[i], file);
        } else {
          flags[i] = 0;
          snprintf(prefixed, sizeof prefixed, "os/%s", value);
          mk1loccat(apply, cat_names[i], prefixed);
          fallback = true;
        }
      }
    }
    h->vl_errno = 0;
    char *result = vl_setlocale_4(h, VL_LC_ALL, apply);
    const uint32_t err = h->vl_errno;
    if (result && err != VL_EMISMATCH) {
      vl_destroystring(result);
      *out = h;
      return 0;
    }
    set_vlserror(static_cast<int>(err));
    if (result) vl_destroystring(result);
    vl_lc_unload(h);
    if (fallback || (err != VL_ENOENT && err != VL_EBADARG && err != VL_EBADFILE)) return -1;
    fallback = true;
  }
}

VLS_API void mklocspec(const char *ctype_text, const char *collate_text, char *target, int32_t missing,
                       int32_t same, int32_t store) {
  (void)missing, (void)store;
  target[0] = '\0';
  char db[VL_SPEC_LEN], client[VL_SPEC_LEN] = {};
  togensp(ctype_text, db);
  const char *cl = getsesenv("CLIENT_LOCALE");
  if (set(cl)) togensp(cl, client);
  if ((set(cl) && strcmp(db, client) == 0) || same || (collate_text && strcmp(ctype_text, collate_text) == 0)) {
    strcpy(target, ctype_text);
    vls_env.flags |= VL_ENV_SERVER;
    return;
  }
  // The database's codeset pieces with the client's language pieces.
  char pieces[2][VL_SPEC_LEN];
  const char *texts[2] = {ctype_text, collate_text ? collate_text : ctype_text};
  for (int i = 0; i < 2; ++i) {
    char fname[512], lang[8] = {}, codeset[16] = {}, modifier[8] = {};
    struct {
      uint32_t vl_errno;
    } scratch{0};
    cut_copy(pieces[i], texts[i]);
    if (set(cl) && vl_lc_spec2lc_fname(&scratch, texts[i], fname, nullptr, nullptr) == 0 &&
        vl_lc_fname2lc_pieces(&scratch, fname, lang, codeset, modifier) == 0) {
      char cfname[512], clang[8] = {}, ccs[16] = {}, cmod[8] = {};
      if (vl_lc_spec2lc_fname(&scratch, cl, cfname, nullptr, nullptr) == 0 &&
          vl_lc_fname2lc_pieces(&scratch, cfname, clang, ccs, cmod) == 0)
        vl_lc_pieces2lc_spec(&scratch, clang, codeset, *modifier ? modifier : nullptr, pieces[i]);
    }
  }
  mk1loccat(target, cat_names[0], pieces[0]);
  mk1loccat(target, cat_names[1], pieces[1]);
  for (int i = 2; i < 6; ++i) mk1loccat(target, cat_names[i], vls_env.specs[i][0] == '0' ? texts[0] : vls_env.specs[i]);
}

// ---- conversions -------------------------------------------------------------------------

static bool known_codeset(const char *text) {
  struct {
    uint32_t vl_errno;
  } scratch{0};
  return text && vl_lc_spec2cs_num(&scratch, text, nullptr) != 0xE000;
}

// 0, or the object's error number.
static uint32_t get_csc_desc(conv_object **slot, const char *from, const char *to) {
  conv_object *cv = nullptr;
  const int rc = vl_cv_load(&cv, from, to, nullptr, nullptr);
  if (rc == 1) {
    *slot = cv;
    return 0;
  }
  *slot = nullptr;
  if (rc == 0) return 0;
  const uint32_t err = cv ? static_cast<uint32_t>(cv->vl_errno) : static_cast<uint32_t>(VL_ENOMEM);
  vl_cv_unload(cv);
  return err ? err : static_cast<uint32_t>(VL_ENOENT);
}

VLS_API int initcscdesc(const char *a, const char *b, const char *c, const char *d) {
  vls_env.csc_ab = vls_env.csc_ba = vls_env.csc_cd = vls_env.csc_dc = nullptr;
  uint32_t err = 0;
  if (a && known_codeset(a) && known_codeset(b)) {
    err = get_csc_desc(&vls_env.csc_ab, a, b);
    if (!err) err = get_csc_desc(&vls_env.csc_ba, b, a);
  }
  if (!err && known_codeset(c) && known_codeset(d)) {
    err = get_csc_desc(&vls_env.csc_cd, c, d);
    if (!err) err = get_csc_desc(&vls_env.csc_dc, d, c);
  }
  if (err && a) return fail_status(err == VL_ENOMEM ? VL_INIT_NOMEM : VL_INIT_NOCONV);
  return 0;
}

// ---- the date format ---------------------------------------------------------------------

VLS_API int nogetenv_getvlsfmt(const char *dbdate, const char *vl_date, char *buffer, int32_t given) {
  if (!given) {
    dbdate = setting("DBDATE", kDBDATE);
    vl_date = set(dbdate) ? nullptr : setting("VL_DATE", kVLDATE);
  }
  char *format = buffer ? buffer : vls_env.date_format;
  int32_t order[3] = {1, 0, 2};  // month, day, year
  vls_env.date_builtin = 0;
  vls_env.date_era = 0;
  if (!set(dbdate) && !set(vl_date)) {
    vl_locale_t *h = vls_env.locale;
    const char *name = h ? h->locale_names[VL_LC_TIME - VL_LC_CTYPE] : "";
    const char *own = h ? vl_nl_langinfo(h, VL_D_FMT) : nullptr;
    if (strncmp(name, "en_us", 5) == 0 || !set(own)) {
      strcpy(format, "%m/%d/%iY");
      vls_env.date_builtin = strncmp(name, "en_us", 5) == 0;
    } else {
      cut_copy(format, own, 63);
    }
    memcpy(vls_env.date_order, order, sizeof order);
    return 0;
  }
  if (!set(dbdate)) {
    cut_copy(format, vl_date, 63);
    return 0;
  }
  // DBDATE: up to three fields (D, M, Y; E, G, N before a Y), the year's
  // digits, a separator ("0" for none), and an optional era letter.
  const char *p = dbdate;
  int fields[3], count = 0, year_digits = 4;
  char era = 0;
  while (count < 3 && *p) {
    const char c = static_cast<char>(toupper(static_cast<unsigned char>(*p)));
    if (c == 'D' || c == 'M') {
      fields[count++] = c == 'D' ? 0 : 1;
      ++p;
    } else if (c == 'Y' || c == 'E' || c == 'G' || c == 'N') {
      if (c != 'Y') {
        era = c;
        if (toupper(static_cast<unsigned char>(*++p)) != 'Y') return VL_DATE_BADFMT;
      }
      ++p;
      if (*p == '4') year_digits = 4, ++p;
      else if (*p == '2') year_digits = 2, ++p;
      else if (toupper(static_cast<unsigned char>(*p)) == 'Y') year_digits = 2, ++p;
      else if (!era) return VL_DATE_BADFMT;
      fields[count++] = 2;
    } else {
      break;
    }
  }
  char sep[2] = {0, 0};
  if (*p && strchr(",-./0", *p)) {
    if (*p != '0') sep[0] = *p;
    ++p;
  }
  if (*p && strchr("JjCc", *p)) {
    if (p[1] != '1' && p[1] != '2') return VL_DATE_BADFMT;
    p += 2;
  }
  if (*p || count == 0) return VL_DATE_BADFMT;
  bool has_year = false;
  char out[64] = {};
  for (int i = 0; i < count; ++i) {
    if (i) strcat(out, sep);
    if (fields[i] == 0) strcat(out, "%d");
    if (fields[i] == 1) strcat(out, "%m");
    if (fields[i] == 2) {
      has_year = true;
      if (!era) strcat(out, year_digits == 4 ? "%iY" : "%iy");
      else strcat(out, era == 'G' ? (year_digits == 4 ? "%Eg%04.4Ey" : "%Eg%02.2Ey")
                                  : (year_digits == 4 ? "%EC%04.4Ey" : "%EC%02.2Ey"));
    }
  }
  if (!has_year) return VL_DATE_BADYEAR;
  strcpy(format, out);
  for (int i = 0; i < 3; ++i) vls_env.date_order[i] = i < count ? fields[i] : -1;
  vls_env.date_era = era;
  return 0;
}

VLS_API int initdatetime(void) {
  vls_env.date_format[0] = '\0';
  memset(vls_env.date_order, 0, sizeof vls_env.date_order);
  const int rc = nogetenv_getvlsfmt(nullptr, nullptr, nullptr, 0);
  if (rc < 0) set_vlserror(rc);
  const char *calendar = vls_env.locale ? vl_nl_langinfo(vls_env.locale, VL_CALENDAR) : nullptr;
  vls_env.gregorian = !calendar || strncmp(calendar, "gregorian", 9) == 0;
  cache_month_strings(vls_env.locale);
  cache_era_strings(vls_env.locale);
  return rc < 0 ? rc : 0;
}

// ---- money -------------------------------------------------------------------------------

VLS_API void init_dflt_lconv(void) {
  memset(&g_lconv, 0, sizeof g_lconv);
  strcpy(g_lconv.decimal_point, ".");
  strcpy(g_lconv.mon_decimal_point, ".");
  strcpy(g_lconv.negative_sign, "-");
}

static void init_local_lconv(const vlconv *c) {
  init_dflt_lconv();
  if (!c) return;
  cut_copy(g_lconv.decimal_point, c->decimal_point, 7);
  cut_copy(g_lconv.thousands_sep, c->thousands_sep, 7);
  cut_copy(g_lconv.mon_decimal_point, c->mon_decimal_point, 7);
  cut_copy(g_lconv.mon_thousands_sep, c->mon_thousands_sep, 7);
  cut_copy(g_lconv.currency_symbol, c->currency_symbol, 31);
  cut_copy(g_lconv.positive_sign, c->positive_sign, 7);
  cut_copy(g_lconv.negative_sign, c->negative_sign, 7);
  g_lconv.frac_digits = c->frac_digits, g_lconv.int_frac_digits = c->int_frac_digits;
  g_lconv.p_cs_precedes = c->p_cs_precedes, g_lconv.n_cs_precedes = c->n_cs_precedes;
  g_lconv.p_sep_by_space = c->p_sep_by_space, g_lconv.n_sep_by_space = c->n_sep_by_space;
  g_lconv.p_sign_posn = c->p_sign_posn, g_lconv.n_sign_posn = c->n_sign_posn;
}

VLS_API int getdbmoney(void) {
  init_local_lconv(vls_env.locale ? vl_localeconv(vls_env.locale) : nullptr);
  return 0;
}

// Bytes and columns of the punctuation; one that does not scan is repaired.
static void measure_punctuation(void) {
  char *texts[6] = {g_lconv.decimal_point, g_lconv.mon_decimal_point, g_lconv.thousands_sep,
                    g_lconv.mon_thousands_sep, g_lconv.positive_sign, g_lconv.negative_sign};
  const char *repair[6] = {".", ".", "", "", "+", "-"};
  vl_locale_t *h = vls_env.locale;
  for (int i = 0; i < 6; ++i) {
    int len = static_cast<int>(strlen(texts[i])), width = 0;
    if (h && len > 0) {
      const int n = vl_full_mblen(h, texts[i], len);
      width = vl_mbwidth(h, texts[i]);
      if (n <= 0 || width < 0) {
        strcpy(texts[i], repair[i]);
        len = static_cast<int>(strlen(texts[i]));
        width = len;
      }
    }
    g_lconv.len[i] = len;
    g_lconv.width[i] = width;
  }
}

VLS_API int rmoninit(void) {
  if (_gmoninit) return 0;
  const char *money = setting("DBMONEY", kDBMONEY);
  getdbmoney();
  if (!set(money) || strcmp(money, ".") == 0) {
    _gmoninit = 2;
    measure_punctuation();
    return 0;
  }
  const size_t at = strcspn(money, ".,");
  size_t k = 0;
  for (size_t i = 0; i < at && k < 28; ++i)
    g_lconv.monfront[k++] = (vls_env.locale && vl_full_mblen(vls_env.locale, money + i, 1) == 1 &&
                             _vl_im_iswctype(vls_env.locale, static_cast<unsigned char>(money[i]), VL_CT_DIGIT))
                                ? '*'
                                : money[i];
  g_lconv.monfront[k] = '\0';
  g_lconv.has_monfront = k > 0;
  if (money[at]) {
    const char point[2] = {money[at], 0};
    strcpy(g_lconv.decimal_point, point);
    strcpy(g_lconv.mon_decimal_point, point);
    strcpy(g_lconv.thousands_sep, point[0] == '.' ? "," : ".");
    strcpy(g_lconv.mon_thousands_sep, g_lconv.thousands_sep);
    k = 0;
    for (const char *p = money + at + 1; *p && k < 28; ++p)
      if (!(vls_env.locale && _vl_im_iswctype(vls_env.locale, static_cast<unsigned char>(*p), VL_CT_DIGIT)))
        g_lconv.monback[k++] = *p;
    g_lconv.monback[k] = '\0';
  }
  if (g_lconv.has_monfront) cut_copy(g_lconv.currency_symbol, g_lconv.monfront, 31);
  if (g_lconv.monback[0]) cut_copy(g_lconv.currency_symbol, g_lconv.monback, 31);
  _gmoninit = 1;
  measure_punctuation();
  return 0;
}

VLS_API int genlcscale(void) {
  if (!_gmoninit) rmoninit();
  const int scale = g_lconv.frac_digits;
  return scale > 32 ? 32 : scale;
}

// ---- start-up ----------------------------------------------------------------------------

VLS_API int setup_vlext_funcs(int mode) { return (mode == 1 || mode == 2 || mode == 4) ? 0 : -1; }

VLS_API int DBNLSset(void) {
  const char *v = setting("DBNLS", GENV_DBNLS);
  if (v && strcmp(v, "1") == 0) return 1;
  if (v && strcmp(v, "2") == 0) return 2;
  return 0;
}

static void copy_flags(const int32_t *flags) {
  for (int i = 0; i < 6; ++i) {
    vls_env.category_flags[i] = flags[i];
    if (flags[i] == 1) togensp(vls_env.specs[i], vls_env.specs[i]);
  }
}

static int mode1(void) {
  vl_cache_registry(nullptr, nullptr);
  const int n = DBNLSset();
  const char *cl = setting("CLIENT_LOCALE", GENV_CLIENT_LOCALE);
  const bool client_set = set(cl);
  int32_t flags[6] = {};
  vl_locale_t *h = nullptr;
  if (client_set) {
    if (get_locale(&h, cl, flags) != 0) return -1;
    lcspec2longsp(cl, vls_env.specs);
  } else if (n == 0) {
    if (get_locale(&h, kDefault, flags) != 0) return -1;
    lcspec2longsp(kDefault, vls_env.specs);
    gputenv("CLIENT_LOCALE", "en_US.8859-1");  // deliberately not the text loaded
  } else {
    int32_t missing = 0;
    get_nlslocsp(0, &missing);
    if (missing) return fail_status(VL_INIT_NLSMISSING);
    char text[6 * 64] = {};
    for (int i = 0; i < 6; ++i) mk1loccat(text, cat_names[i], vls_env.specs[i]);
    if (get_locale(&h, text, flags) != 0) return -1;
  }
  vls_env.locale = h;
  copy_flags(flags);
  if (client_set && n != 0)
    for (int i = 0; i < 5; ++i) gputenv(kLcNames[i], vls_env.specs[i]);
  const char *db = setting("DB_LOCALE", GENV_DB_LOCALE);
  if (!set(db) && client_set && n == 0) gputenv("DB_LOCALE", vls_env.specs[0]);
  vls_env.db_side_locale = vls_env.locale;
  vls_env.nls_mode = n;
  if (initcscdesc(set(db) ? db : nullptr, vls_env.specs[0], vls_env.specs[0], vls_env.specs[0]) != 0) return -1;
  initdatetime();
  return 0;
}

static int mode2(void) {
  vls_env.flags |= VL_ENV_SERVER;
  int32_t flags[6] = {};
  vl_locale_t *h = nullptr;
  if (get_locale(&h, kDefault, flags) != 0) return -1;
  vls_env.locale = h;
  lcspec2longsp(kDefault, vls_env.specs);
  for (int i = 0; i < 6; ++i) vls_env.category_flags[i] = flags[i];
  const char *server = setting("SERVER_LOCALE", GENV_SERVER_LOCALE);
  const bool server_set = set(server);
  vl_locale_t *db = nullptr;
  if (get_locale(&db, server_set ? server : kDefault, nullptr) != 0) return -1;
  vls_env.db_side_locale = db;
  if (!server_set) ginsenv("SERVER_LOCALE", kDefault);
  initcscdesc(nullptr, nullptr, server_set ? server : kDefault, kDefault);
  initdatetime();
  return 0;
}

static int mode4(void) {
  vls_env.flags &= static_cast<int16_t>(~VL_ENV_SERVER);
  const int n = DBNLSset();
  if (n) vls_env.flags |= VL_ENV_DBNLS;
  vls_env.nls_mode = n == 1 ? 1 : 2;
  int32_t missing = 0;
  const char *d = getsesenv("DB_LOCALE");
  bool have = false;
  char text[kMaxText + 1] = {};
  if (set(d)) {
    vls_env.flags |= VL_ENV_SESSION;
    cut_copy(text, d, kMaxText);
    have = true;
    if (n && !set(getsesenv("CLIENT_LOCALE"))) {
      for (const char *name : {"LC_MONETARY", "LC_NUMERIC", "LC_TIME"}) get_nlscat(name, 0, &missing, 1);
      for (int i : {0, 1, 5}) strcpy(vls_env.specs[i], "0");
      filongspec(d, &missing);
    } else {
      missing = 0;
    }
  } else if (n) {
    get_nlslocsp(1, &missing);
    if (!missing) {
      vls_env.flags |= VL_ENV_SESSION;
      missing = 7;
      cut_copy(text, vls_env.specs[0], kMaxText);
      have = true;
    }
  }
  if (!have) {
    const char *row = setting("DB_LOCALE", GENV_DB_LOCALE);
    if (set(row)) {
      cut_copy(text, row, kMaxText);
      have = true;
      if (n) {
        if (missing == 6) missing = 0;
        else if (missing) filongspec(row, &missing);
      }
    } else if (n) {
      missing = 0;
      get_nlslocsp(0, &missing);
      if (!missing && vls_env.specs[0][0] != '0') {
        cut_copy(text, vls_env.specs[0], kMaxText);
        have = true;
      }
      missing = 7;
    }
  }
  if (!have) {
    const char *word = getsesenv("DBCODESET");
    if (!set(word)) word = setting("DBCODESET", kDBCODESET);
    const char *alias = nullptr;
    if (set(word)) {
      vls_env.flags |= VL_ENV_SESSION;
      alias = getalsloc(word);
    }
    cut_copy(text, alias ? alias : kDefault, kMaxText);
    missing = 0;
  }
  int32_t same = 0;
  if (missing == 0) {
    lcspec2longsp(text, vls_env.specs);
    same = 1;
  } else {
    same = 1;
    for (int i = 1; i < 6; ++i) same &= strcmp(vls_env.specs[i], vls_env.specs[0]) == 0;
  }
  char spec[6 * 64 + kMaxText] = {};
  mklocspec(vls_env.specs[0][0] && vls_env.specs[0][0] != '0' ? vls_env.specs[0] : text,
            vls_env.specs[1][0] && vls_env.specs[1][0] != '0' ? vls_env.specs[1] : text, spec, missing, same, 1);
  int32_t flags[6] = {};
  vl_locale_t *h = nullptr;
  if (get_locale(&h, spec, flags) != 0) return -1;
  copy_flags(flags);
  vls_env.locale = vls_env.mode4_locale = h;
  const char *connect = setting("DBCONNECT", kDBCONNECT);
  if (connect && strcmp(connect, "3") == 0) gputenv("DBCONNECT", "1");
  initcscdesc(nullptr, nullptr, setting("SERVER_LOCALE", GENV_SERVER_LOCALE), vls_env.specs[0]);
  initdatetime();
  return 0;
}

VLS_API int initvls(int mode) {
  if (setup_vlext_funcs(mode) != 0) return -1;
  if (vls_env.init_mask & mode) return 0;
  vls_env.in_progress = 1;
  int rc;
  switch (mode) {
    case 1: rc = mode1(); break;
    case 2: rc = mode2(); break;
    case 4: rc = mode4(); break;
    default:
      vls_env.in_progress = 0;
      set_vlserror(VL_INIT_BADMODE);
      return VL_INIT_BADMODE;
  }
  if (rc != 0) {
    vls_env.in_progress = 0;
    return getiniterr();
  }
  vls_env.mode = static_cast<int16_t>(mode);
  const char *eight = setting("VLS8BITFSYS", GENV_VLS8BITFSYS);
  if (eight && strcmp(eight, "1") == 0) _8bitfsys = 1;
  if (eight && strcmp(eight, "0") == 0) _8bitfsys = 0;
  vls_env.in_progress = 0;
  vls_env.init_mask = static_cast<uint16_t>(vls_env.init_mask | mode);
  set_vlserror(0);
  return 0;
}

VLS_API int chkvlsinit(void) {
  if (vls_env.init_mask || vls_env.in_progress) return 0;
  return initvls(vls_env.mode);
}

VLS_API int thr_initvls(int mode) {
  if (initvls(mode) != 0) return -1;
  return rmoninit() == 0 ? 0 : -1;
}

static void restorelocsp(void) {
  if (!vls_env.locale) return;
  for (int i = 0; i < 6; ++i) {
    const char *name = vls_env.locale->locale_names[i];
    if (*name) togensp(name, vls_env.specs[i]);
  }
}

VLS_API int restorelang(int32_t nls_mode, vl_locale_t *locale, vl_locale_t *db_side_locale, conv_object *csc_ab,
                        conv_object *csc_ba, conv_object *csc_cd, conv_object *csc_dc) {
  vls_env.nls_mode = nls_mode;
  vls_env.locale = locale;
  vls_env.db_side_locale = db_side_locale;
  vls_env.csc_ab = csc_ab, vls_env.csc_ba = csc_ba, vls_env.csc_cd = csc_cd, vls_env.csc_dc = csc_dc;
  _gmoninit = 0;
  restorelocsp();
  return 0;
}

VLS_API int restoreploc(void) {
  if (vls_env.saved_locale) {
    vls_env.locale = vls_env.saved_locale;
    vls_env.csc_cd = vls_env.saved_csc_cd;
    vls_env.csc_dc = vls_env.saved_csc_dc;
    vls_env.saved_locale = nullptr;
  }
  restorelocsp();
  return 0;
}

}  // extern "C"
