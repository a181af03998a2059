// The Unicode bridge on ICU (bridge/), bound from the build's own tree as a
// host would bind it: every service through the library equals ICU's own
// answer for the same input, in every shipped UTF-8 locale; the failures
// of binding give their documented numbers; and a locale's bridged order
// is set beside its native one. Built only with the bridge.
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>

#include <gtest/gtest.h>
#include <unicode/ucasemap.h>
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ucol.h>
#include <unicode/uset.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>
#include <unicode/uvernum.h>

#include <vls/libvls.h>

#include "shipped.h"

namespace {

using namespace std::literals;
using vlstest::kShipped;
struct Rec { uint32_t vl_errno; };

std::vector<std::string> Locales() {
  std::vector<std::string> v;
  std::stringstream in(VLS_BRIDGE_LOCALES);
  for (std::string l; std::getline(in, l, ',');) v.push_back(l);
  return v;
}
std::string File(std::string l) { for (char &c : l) c = static_cast<char>(tolower(c)); return l + "/e01c.lco"; }

// Binds the bridge of `root` (the build's tree); nothing is bound twice.
uint32_t Bind(const std::string &root, int capable = 1, const char *use = "1") {
  setenv("KELVANIXDIR", root.c_str(), 1), setenv("VL_USEVLU", use, 1), unsetenv("VL_PATH");
  vl_usevlu(capable);
  Rec rec{};
  return vl_init_vlu(&rec) == 0 ? 0 : rec.vl_errno ? rec.vl_errno : 1000;
}
// A locale of the tree, bridged (or not, with unicode_collate cleared while it loads).
vl_locale_t *Load(const std::string &l, bool bridged = true) {
  const int32_t saved = unicode_collate;
  if (!bridged) unicode_collate = 0;
  vl_locale_t *h = vlstest::load_locale(kShipped, File(l).c_str());
  unicode_collate = saved;
  EXPECT_TRUE(h && h->bridge_active[0] == bridged && h->bridge_active[1] == bridged) << l;
  return h;
}
std::string Utf8(UChar32 c) { char b[5]; int32_t n = 0; U8_APPEND_UNSAFE(b, n, c); return std::string(b, n); }
int Sign(int v) { return (v > 0) - (v < 0); }

// ICU's POSIX-compatible classes, one bit of the library each.
const struct { uint32_t bit; UBool (*is)(UChar32); } kClasses[] = {
    {VL_CT_UPPER, u_isUUppercase}, {VL_CT_LOWER, u_isULowercase}, {VL_CT_ALPHA, u_isUAlphabetic},
    {VL_CT_DIGIT, u_isdigit}, {VL_CT_SPACE, u_isUWhiteSpace}, {VL_CT_PUNCT, u_ispunct},
    {VL_CT_CNTRL, [](UChar32 c) -> UBool { return u_charType(c) == U_CONTROL_CHAR; }},
    {VL_CT_GRAPH, [](UChar32 c) { return u_hasBinaryProperty(c, UCHAR_POSIX_GRAPH); }},
    {VL_CT_PRINT, [](UChar32 c) { return u_hasBinaryProperty(c, UCHAR_POSIX_PRINT); }},
    {VL_CT_XDIGIT, [](UChar32 c) { return u_hasBinaryProperty(c, UCHAR_POSIX_XDIGIT); }},
    {VL_CT_BLANK, [](UChar32 c) { return u_hasBinaryProperty(c, UCHAR_POSIX_BLANK); }},
};

TEST(BridgeIcu, EveryCodePointClassesCaseAndForms) {
  ASSERT_EQ(Bind(kShipped), 0u);
  for (const std::string &l : Locales()) {
    vl_locale_t *h = Load(l);
    ASSERT_TRUE(h);
    EXPECT_EQ(std::string(vlx_getICULocName(vlx_vluLoc(h, VL_LC_CTYPE))), l);
    EXPECT_EQ(std::tuple(vl_mb_loc_max(h), vl_mb_loc_min(h), h->collate.collation_kind), std::tuple(4, 1, 3));
    UErrorCode e = U_ZERO_ERROR;
    UCaseMap *cm = ucasemap_open(l.c_str(), 0, &e);
    int bad = 0;
    std::string first;
    auto check = [&](bool ok, UChar32 c, const char *what) {
      if (!ok && bad++ == 0) first = std::string(what) + " at U+" + std::to_string(c);
    };
    for (UChar32 c = 1; c <= 0x10FFFF; ++c) {
      if (U_IS_SURROGATE(c)) continue;
      uint32_t want = 0;
      for (const auto &k : kClasses) want |= k.is(c) ? k.bit : 0;
      check(_vl_im_iswctype(h, c, 0x7FF) == want, c, "classes");
      check(_vl_im_towupper(h, c) == static_cast<vl_wchar>(u_toupper(c)), c, "towupper");
      check(_vl_im_towlower(h, c) == static_cast<vl_wchar>(u_tolower(c)), c, "towlower");
      const std::string u8 = Utf8(c), up = Utf8(u_toupper(c));
      char out[64] = {};
      vl_wchar back = 0;
      check(vl_full_wctomb(h, out, c) == static_cast<int>(u8.size()) && u8 == std::string(out, u8.size()), c, "wctomb");
      check(vl_full_mbtowc(h, &back, u8.c_str(), 4) == static_cast<int>(u8.size()) && back == static_cast<vl_wchar>(c), c, "mbtowc");
      check(_vl_im_tomupper(h, out, u8.c_str()) == ((u8.size() << 8) | up.size()) && up == std::string(out, up.size()), c, "tomupper");
      char icu[64];
      const int32_t n = ucasemap_utf8ToLower(cm, icu, sizeof icu, u8.c_str(), static_cast<int32_t>(u8.size()), &e);
      check(vl_tombslower(h, out, u8.c_str()) == n && std::string(out) == std::string(icu, n), c, "tombslower");
    }
    EXPECT_EQ(bad, 0) << l << ": first " << first;
    ucasemap_close(cm);
    // Values and bytes that are no character.
    const vl_wchar kNoChar[] = {0xD800, 0xDFFF, 0x110000, 0xFFFFFFFF};
    for (vl_wchar v : kNoChar) {
      char out[8];
      h->vl_errno = 0;
      EXPECT_EQ(std::tuple(vl_full_wctomb(h, out, v), h->vl_errno), std::tuple(-1, uint32_t{VL_EILSEQ})) << v;
    }
    const struct { const char *bytes; int32_t limit; uint32_t err; } kBad[] = {
        {"\x80", 4, VL_EILSEQ}, {"\xC0\xAF", 4, VL_EILSEQ}, {"\xED\xA0\x80", 4, VL_EILSEQ},
        {"\xF4\x90\x80\x80", 4, VL_EILSEQ}, {"\xE6\x97", 2, VL_EINVAL}, {"\xF0\x9F\x98", 3, VL_EINVAL}};
    for (const auto &b : kBad) {
      h->vl_errno = 0;
      vl_wchar w;
      EXPECT_EQ(std::tuple(vl_full_mbtowc(h, &w, b.bytes, b.limit), h->vl_errno), std::tuple(-1, b.err)) << b.bytes;
    }
    vl_lc_unload(h);
  }
}

// Words that tell locales and levels apart: accents, case, punctuation and
// spaces, expansions and contractions, other scripts, compatibility forms.
const char *const kCorpus[] = {
    "", "a", "A", "b", "B", "ab", "aB", "Ab", "a b", "a-b", "ab ", "a\xC3\xA0", "\xC3\xA0" "a",  // àa
    "resume", "r\xC3\xA9sum\xC3\xA9", "R\xC3\xA9sum\xC3\xA9", "resumes", "cote", "c\xC3\xB4te", "cot\xC3\xA9",
    "c\xC3\xB4t\xC3\xA9", "Stra\xC3\x9F" "e", "Strasse", "strasse", "M\xC3\xBCller", "Mueller", "Muller",
    "coop", "co-op", "co op", "Co-op", "1", "10", "2", "-1", "\xC3\xA6", "ae", "\xC3\x85", "A\xCC\x8A", "\xC3\xB8",
    "o", "\xC3\xB6", "z", "Z", "\xEF\xAC\x81", "fi", "\xE2\x85\xA8", "IX", "\xE2\x82\xAC", "$", "\xF0\x9F\x98\x80",
    "\xD1\x91\xD0\xBB\xD0\xBA\xD0\xB0", "\xD0\xB5\xD0\xBB\xD0\xBA\xD0\xB0", "\xD0\x81\xD0\xBB\xD0\xBA\xD0\xB0",
    "\xD0\xB6\xD1\x83\xD0\xBA", "\xD1\x8F", "\xE6\x97\xA5\xE6\x9C\xAC", "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E",
    "\xE3\x81\xAB\xE3\x81\xBB\xE3\x82\x93", "\xE3\x83\x8B\xE3\x83\x9B\xE3\x83\xB3", "\xE4\xB8\xAD\xE5\x9B\xBD",
    "\xE6\xB1\x89\xE5\xAD\x97", "\xE6\xBC\xA2\xE5\xAD\x97", "\xEF\xBC\xA1", "\xC2\xA0", "\t", "a\xC2\xAD" "b"};

TEST(BridgeIcu, CollationAndSortKeysOnACorpus) {
  ASSERT_EQ(Bind(kShipped), 0u);
  for (const std::string &l : Locales()) {
    vl_locale_t *h = Load(l);
    ASSERT_TRUE(h);
    UErrorCode e = U_ZERO_ERROR;
    UCollator *coll = ucol_open(l.c_str(), &e);
    for (const char *a : kCorpus) {
      UChar a16[64];
      u_strFromUTF8(a16, 64, nullptr, a, -1, &e);
      uint8_t want[256];
      const int32_t n = ucol_getSortKey(coll, a16, -1, want, sizeof want);
      char key[256], wkey[256];
      EXPECT_EQ(h->mbsxfrm_fn(h, key, a, sizeof key), n - 1) << l << " " << a;
      EXPECT_EQ(memcmp(key, want, n), 0) << l << " " << a;
      if (*a) {  // through the wide form
        EXPECT_EQ(vl_full_mbsxfrm(h, wkey, a, sizeof wkey), n - 1) << l << " " << a;
        EXPECT_EQ(memcmp(wkey, want, n), 0) << l << " " << a;
      }
      const std::vector<vl_wchar> wa = vlstest::widen(h, a);
      const std::string ta = std::string(a) + "zz";  // counted: the length must end the text
      const int32_t na = static_cast<int32_t>(strlen(a));
      for (const char *b : kCorpus) {
        const int icu = ucol_strcollUTF8(coll, a, -1, b, -1, &e);
        EXPECT_EQ(Sign(vl_full_mbscoll(h, a, b)), icu) << l << " " << a << " " << b;
        const std::string tb = std::string(b) + "\x01";
        const int32_t nb = static_cast<int32_t>(strlen(b));
        for (const auto &[la, lb] : {std::pair{na, nb}, {na, -1}, {-1, nb}})
          EXPECT_EQ(Sign(h->mbfscoll_fn(h, la < 0 ? a : ta.c_str(), la, lb < 0 ? b : tb.c_str(), lb)), icu)
              << l << " " << a << " " << la << " " << b << " " << lb;
        EXPECT_EQ(Sign(vl_full_wcscoll(h, wa.data(), vlstest::widen(h, b).data())), icu) << l << " " << a << " " << b;
      }
    }
    ucol_close(coll);
    // A counted text whose bytes go on as the other text does, beside a
    // terminated one; null texts.
    struct {
      const char *a;
      int32_t la;
      const char *b;
      int32_t lb, want;
      uint32_t err;
    } const kEdges[] = {{"ab", -1, "ab", 1, 1, 0}, {"ab", 1, "ab", -1, -1, 0},    {"ab", 1, "ab", 1, 0, 0},
                        {nullptr, -1, "a", -1, 0, VL_EBADPTR}, {"a", -1, nullptr, -1, 0, VL_EBADPTR}};
    for (const auto &c : kEdges) {
      h->vl_errno = 0;
      EXPECT_EQ(std::tuple(Sign(h->mbfscoll_fn(h, c.a, c.la, c.b, c.lb)), h->vl_errno), std::tuple(c.want, c.err))
          << l << " " << (c.a ? c.a : "null") << " " << c.la << " " << (c.b ? c.b : "null") << " " << c.lb;
    }
    // The corpus as a stream, a character at a time through the library's byte reader, then the end.
    std::string all;
    for (const char *a : kCorpus) all += a;
    FILE *f = tmpfile();
    fputs(all.c_str(), f), rewind(f);
    for (int32_t i = 0, c; i < static_cast<int32_t>(all.size());) {
      U8_NEXT(all.data(), i, static_cast<int32_t>(all.size()), c);
      EXPECT_EQ(vl_full_fgetwc(h, f), c) << l << " at " << i;
    }
    EXPECT_EQ(std::tuple(vl_full_fgetwc(h, f), h->vl_errno), std::tuple(-1, uint32_t{VL_EEOF})) << l;
    fclose(f);
    vl_lc_unload(h);
  }
}

// The pairs of the shipped conversions: the library's codeset name, ICU's.
const struct { const char *name, *icu; } kCodesets[] = {
    {"8859-1", "ISO-8859-1"}, {"8859-2", "ISO-8859-2"}, {"8859-5", "ISO-8859-5"}, {"8859-6", "ISO-8859-6"},
    {"koi-8", "KOI8-R"}, {"cp1251", "CP1251"}, {"8859-7", "ISO-8859-7"}, {"8859-8", "ISO-8859-8"},
    {"8859-9", "ISO-8859-9"}, {"thai620", "TIS-620"}, {"sjis", "SHIFT_JIS"}, {"ujis", "EUC-JP"},
    {"ksc", "EUC-KR"}, {"gb", "GB2312"}, {"big5", "BIG5"}, {"unicode", "UTF-16LE"}};

// ICU's conversion of a whole text (no substitution), or "!" when it fails.
std::string Icu(const char *to, const char *from, const std::string &text) {
  UErrorCode e = U_ZERO_ERROR;
  UConverter *f = ucnv_open(from, &e), *t = ucnv_open(to, &e);
  ucnv_setToUCallBack(f, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &e);
  ucnv_setFromUCallBack(t, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &e);
  std::string out(text.size() * 4 + 16, '\0');
  char *o = out.data();
  const char *s = text.data();
  ucnv_convertEx(t, f, &o, out.data() + out.size(), &s, s + text.size(), nullptr, nullptr, nullptr, nullptr, true, true, &e);
  ucnv_close(f), ucnv_close(t);
  return U_FAILURE(e) ? "!" : out.substr(0, o - out.data());
}
std::string Lib(conv_object *cv, const std::string &text, uint32_t *err) {
  std::string out(text.size() * 4 + 16, '\0');
  const char *s = text.data();
  char *o = out.data();
  int32_t len = static_cast<int32_t>(text.size()), room = static_cast<int32_t>(out.size()), flag = 0;
  *err = vl_miconv(cv, &s, &len, &o, &room, &flag) == 0 ? 0 : cv->vl_errno;
  return out.substr(0, o - out.data());
}

TEST(BridgeIcu, ConversionsOfEveryCodePointAndRandomText) {
  ASSERT_EQ(Bind(kShipped), 0u);
  std::mt19937 rng(20261124);
  for (const auto &c : kCodesets) {
    SCOPED_TRACE(c.name);
    conv_object *to = nullptr, *back = nullptr;
    ASSERT_EQ(vl_cv_open(&to, "en_US.utf8", (std::string("en_US.") + c.name).c_str()), 1);
    ASSERT_EQ(vl_cv_open(&back, (std::string("en_US.") + c.name).c_str(), "en_US.utf8"), 1);
    EXPECT_EQ(std::tuple(to->bridge_bound, back->bridge_bound), std::tuple(1, 1));
    // Every code point the codeset maps, as one text each way.
    UErrorCode e = U_ZERO_ERROR;
    UConverter *u = ucnv_open(c.icu, &e);
    USet *set = uset_openEmpty();
    ucnv_getUnicodeSet(u, set, UCNV_ROUNDTRIP_SET, &e);
    ucnv_close(u);
    std::vector<std::string> chars;
    std::string all;
    for (UChar32 cp = 1; cp <= 0x10FFFF; ++cp)
      if (uset_contains(set, cp) && !U_IS_SURROGATE(cp)) chars.push_back(Utf8(cp)), all += chars.back();
    uint32_t err = 0;
    const std::string bytes = Lib(to, all, &err);
    EXPECT_EQ(std::tuple(bytes, err), std::tuple(Icu(c.icu, "UTF-8", all), 0u));
    EXPECT_EQ(std::tuple(Lib(back, bytes, &err), err), std::tuple(all, 0u));
    // Random texts of those characters, and one that has no mapping: the
    // conversion stops in front of it.
    for (int i = 0; i < 200; ++i) {
      std::string t;
      for (int k = rng() % 40; k > 0; --k) t += chars[rng() % chars.size()];
      EXPECT_EQ(Lib(to, t, &err), Icu(c.icu, "UTF-8", t));
    }
    UChar32 none = 1;
    while (uset_contains(set, none)) ++none;
    EXPECT_EQ(std::tuple(Lib(to, "ab" + Utf8(none) + "c", &err), err), std::tuple(Icu(c.icu, "UTF-8", "ab"), uint32_t{VL_EILSEQ}));
    uset_close(set);
    vl_cv_unload(to), vl_cv_unload(back);
  }
}

// Binding from a tree like the build's, with one thing changed.
struct Failure {
  const char *what, *registry, *data, *map;
  int capable;
  const char *use;
  uint32_t err;  // of vl_init_vlu
  int loaded;    // then en_US.UTF-8: 1 bridged, 0 native, -1 refused
};
const char kLib[] = "libvlsicu.so\n", kData[] = "VLSICU " U_ICU_VERSION_SHORT "\n", kMap[] = "locale en_US.57372 en_US\ncodeset 57372 UTF-8\n";
const Failure kFailures[] = {
    {"bound", kLib, kData, kMap, 1, "1", 0, 1},
    {"ICU data missing", kLib, nullptr, kMap, 1, "1", VL_ENOENT, 0},
    {"ICU data of another version", kLib, "VLSICU 1\n", kMap, 1, "1", VL_EVERSION, 0},
    {"map damaged", kLib, kData, "locale\n", 1, "1", VL_EBADFILE, 0},
    {"bridge library missing", "absent.so\n", kData, kMap, 2, "2", VL_ENOENT, 0},
    {"bridge library lacking a name", "missing.so\n", kData, kMap, 1, "1", VL_ENOENT, 0},
    {"corrupt library, capability 1", "corrupt.so\n", kData, kMap, 1, "2", VL_ENOENT, 0},
    {"corrupt library, capability 2: native", "corrupt.so\n", kData, kMap, 2, "2", 0, 0},
    {"a locale ICU does not know", kLib, kData, "locale en_US.57372 xx_YY\n", 1, "1", 0, -1},
};

TEST(BridgeIcu, FailuresOfBindingAndTheNativeFallback) {
  for (const Failure &f : kFailures) {
    SCOPED_TRACE(f.what);
    vlstest::TempDir tree;
    tree.write("vls/etc/32-dllregistry.34", f.registry);
    tree.write("vls/etc/locmap", f.map);
    if (f.data) tree.write("vls/etc/vlsicu" U_ICU_VERSION_SHORT ".dat", f.data);
    tree.write("vls/dll/corrupt.so", "no shared object\n");
    for (const char *d : {"lc11", "cm3", "cv9"}) symlink((kShipped + "/vls/" + d).c_str(), tree.file(std::string("vls/") + d).c_str());
    symlink(VLS_BRIDGE_DLL, tree.file("vls/dll/libvlsicu.so").c_str());
    symlink(VLS_BRIDGE_MISSING, tree.file("vls/dll/missing.so").c_str());
    EXPECT_EQ(vlstest::in_test_child(tree.path(), [&] {
      if (pMap) vl_unload_vlu();  // an earlier test of this process bound the build's tree
      vlu_loaded = 0;
      EXPECT_EQ(Bind(tree.path(), f.capable, f.use), f.err);
      if (f.err) return;
      vl_locale_t *h = vlstest::load_locale(tree.path(), "en_us/e01c.lco");
      EXPECT_EQ(h ? h->bridge_active[1] : -1, f.loaded);
      if (!h) return;
      EXPECT_LT(vl_full_mbscoll(h, "a", "B"), 0);  // bridged or native, the locale works
      vl_lc_unload(h);
    }), 0);
  }
}

// Bridged against native order of the same compiled locale: the count of
// corpus pairs whose order differs (docs/bridge-vs-native.md says why).
TEST(BridgeIcu, NativeOrderBesideTheBridge) {
  ASSERT_EQ(Bind(kShipped), 0u);
  const int n = sizeof kCorpus / sizeof *kCorpus;
  for (const std::string &l : Locales()) {
    vl_locale_t *native = Load(l, false), *bridged = Load(l);
    ASSERT_TRUE(native && bridged);
    int differ = 0, opposite = 0;
    for (int i = 0; i < n; ++i)
      for (int j = i + 1; j < n; ++j) {
        const int a = Sign(vl_full_mbscoll(native, kCorpus[i], kCorpus[j]));
        const int b = Sign(vl_full_mbscoll(bridged, kCorpus[i], kCorpus[j]));
        differ += a != b, opposite += a == -b && a != 0;
        if (a != b && getenv("VLS_BRIDGE_DIFFS")) printf("%s\t%d\t%d\t%s\t%s\n", l.c_str(), a, b, kCorpus[i], kCorpus[j]);
      }
    printf("%s: %d of %d pairs differ (%d opposite)\n", l.c_str(), differ, n * (n - 1) / 2, opposite);
    EXPECT_LT(differ, n * (n - 1) / 4) << l;  // the same language: most pairs agree
    vl_lc_unload(native), vl_lc_unload(bridged);
  }
}

}  // namespace

// ---- bridged against native answers of the same call -----------------------------
// In a UTF-8 locale the bridge and the native tree must agree on ASCII text:
// the same result, the same bytes written, and the same error number, which
// a search that finds nothing clears and a success leaves alone (it starts
// at kSentinel). A row gives its answer as text.
constexpr uint32_t kSentinel = 99;
struct Io {
  const std::string &a, &b;  // ASCII, possibly empty
  int n;                     // a count or limit: -2 to 9
};
std::string Ans(long r, const void *out = nullptr, size_t bytes = 0) {
  return std::to_string(r) + (out ? " [" + std::string(static_cast<const char *>(out), bytes) + "]" : "");
}
long At(const char *p, const char *base) { return p ? p - base : -1; }
std::string WideAns(long r, const vl_wchar *w, int n) {
  std::string s = Ans(r) + " [";
  for (int i = 0; i < n; ++i) s += std::to_string(w[i]) + ",";
  return s + "]";
}
const struct PairRow {
  const char *what;
  std::string (*call)(vl_locale_t *h, const Io &io);
} kPairRows[] = {
    {"vl_full_mblen", [](vl_locale_t *h, const Io &io) { return Ans(vl_full_mblen(h, io.a.c_str(), io.n)); }},
    // The counted twin on a NUL character is left out: its bridged form answers
    // the bridge's 0 where the native walk gives the byte length 1.
    {"_kvx_vl_full_mblen", [](vl_locale_t *h, const Io &io) { return Ans(_kvx_vl_full_mblen(h, (io.a + "a").c_str(), io.n)); }},
    {"vl_full_mblen null", [](vl_locale_t *h, const Io &io) { return Ans(vl_full_mblen(h, nullptr, io.n)); }},
    {"vl_mb_loc_min", [](vl_locale_t *h, const Io &) { return Ans(vl_mb_loc_min(h)); }},
    {"_vl_im_iswctype", [](vl_locale_t *h, const Io &io) { return Ans(_vl_im_iswctype(h, io.a.empty() ? 0 : io.a[0], 0x7FF)); }},
    {"_vl_im_ismctype", [](vl_locale_t *h, const Io &io) { return Ans(_vl_im_ismctype(h, io.a.c_str(), 0x7FF)); }},
    {"_kvx_vl_im_ismctype", [](vl_locale_t *h, const Io &io) { return Ans(_kvx_vl_im_ismctype(h, io.a.c_str(), io.n, 0x7FF)); }},
    {"_vl_im_towupper", [](vl_locale_t *h, const Io &io) { return Ans(_vl_im_towupper(h, io.a.empty() ? 0 : io.a[0])); }},
    {"_vl_im_tomlower", [](vl_locale_t *h, const Io &io) { char o[8] = {}; return Ans(_vl_im_tomlower(h, o, io.a.c_str()), o, 4); }},
    {"_kvx_vl_im_tomupper", [](vl_locale_t *h, const Io &io) { char o[8] = {}; return Ans(_kvx_vl_im_tomupper(h, o, io.a.c_str(), io.n), o, 4); }},
    {"vl_tombsupper", [](vl_locale_t *h, const Io &io) { char o[32] = {}; return Ans(vl_tombsupper(h, o, io.a.c_str()), o, 12); }},
    {"vl_tombslower null", [](vl_locale_t *h, const Io &io) { char o[32] = {}; return Ans(vl_tombslower(h, o, nullptr), o, 12) + io.a.substr(0, 0); }},
    {"vl_towcslower", [](vl_locale_t *h, const Io &io) {
       const std::vector<vl_wchar> w(io.a.begin(), io.a.end() + 1);
       vl_wchar o[32] = {};
       return WideAns(vl_towcslower(h, o, w.data()), o, 12); }},
    {"vl_full_mbtowc", [](vl_locale_t *h, const Io &io) { vl_wchar w = 7; return Ans(vl_full_mbtowc(h, &w, io.a.c_str(), io.n)) + " " + std::to_string(w); }},
    {"_kvx_vl_full_mbtowc", [](vl_locale_t *h, const Io &io) { vl_wchar w = 7; return Ans(_kvx_vl_full_mbtowc(h, &w, io.a.c_str(), io.n)) + " " + std::to_string(w); }},
    {"vl_full_mbtowc null", [](vl_locale_t *h, const Io &io) { vl_wchar w = 7; return Ans(vl_full_mbtowc(h, &w, nullptr, io.n)) + " " + std::to_string(w); }},
    {"vl_full_wctomb", [](vl_locale_t *h, const Io &io) { char o[8] = {}; return Ans(vl_full_wctomb(h, o, io.a.empty() ? 0 : io.a[0]), o, 4); }},
    {"_vl_im_mbstowcs", [](vl_locale_t *h, const Io &io) { vl_wchar o[16] = {}; return WideAns(_vl_im_mbstowcs(h, o, io.a.c_str(), io.n), o, 10); }},
    {"_kvx_vl_im_mbfstowcfs", [](vl_locale_t *h, const Io &io) {
       vl_wchar o[16] = {};
       return WideAns(_kvx_vl_im_mbfstowcfs(h, o, io.a.c_str(), static_cast<int32_t>(io.a.size()), io.n), o, 10); }},
    {"vl_full_wcstombs", [](vl_locale_t *h, const Io &io) {
       const std::vector<vl_wchar> w(io.a.begin(), io.a.end() + 1);
       char o[16] = {};
       return Ans(vl_full_wcstombs(h, o, w.data(), io.n), o, 10); }},
    {"_kvx_vl_full_wcstombs", [](vl_locale_t *h, const Io &io) {
       const std::vector<vl_wchar> w(io.a.begin(), io.a.end() + 1);
       char o[16] = {};
       return Ans(_kvx_vl_full_wcstombs(h, o, w.data(), static_cast<int32_t>(io.a.size()), io.n), o, 10); }},
    {"vl_wcwidth", [](vl_locale_t *h, const Io &io) { return Ans(vl_wcwidth(h, io.a.empty() ? 0 : io.a[0])); }},
    {"vl_mbwidth", [](vl_locale_t *h, const Io &io) { return Ans(vl_mbwidth(h, io.a.c_str())); }},
    {"vl_wcswidth", [](vl_locale_t *h, const Io &io) {
       const std::vector<vl_wchar> w(io.a.begin(), io.a.end() + 1);
       return Ans(vl_wcswidth(h, w.data(), io.n)); }},
    {"vl_mbswidth", [](vl_locale_t *h, const Io &io) { return Ans(vl_mbswidth(h, io.a.c_str(), io.n)); }},
    {"vl_mbspwidth", [](vl_locale_t *h, const Io &io) { return Ans(vl_mbspwidth(h, io.a.c_str(), io.a.c_str() + io.a.size())); }},
    {"vl_mbspwidth reversed", [](vl_locale_t *h, const Io &io) { return Ans(vl_mbspwidth(h, io.a.c_str() + io.a.size(), io.a.c_str())); }},
    {"vl_full_mbschr", [](vl_locale_t *h, const Io &io) { return Ans(At(vl_full_mbschr(h, io.a.c_str(), io.b.c_str()), io.a.c_str())); }},
    {"vl_full_mbschr null", [](vl_locale_t *h, const Io &io) { return Ans(At(vl_full_mbschr(h, nullptr, io.b.c_str()), nullptr)); }},
    {"vl_full_mbsrchr", [](vl_locale_t *h, const Io &io) { return Ans(At(vl_full_mbsrchr(h, io.a.c_str(), io.b.c_str()), io.a.c_str())); }},
    {"vl_full_mbsnext", [](vl_locale_t *h, const Io &io) { return Ans(At(vl_full_mbsnext(h, io.a.c_str()), io.a.c_str())); }},
    {"vl_full_mbsnext null", [](vl_locale_t *h, const Io &) { return Ans(At(vl_full_mbsnext(h, nullptr), nullptr)); }},
    {"vl_full_mbsprev", [](vl_locale_t *h, const Io &io) {
       const char *s = io.a.c_str();
       return Ans(At(vl_full_mbsprev(h, s, s + (io.n < 0 ? 0 : std::min<size_t>(io.n, io.a.size()))), s)); }},
    {"vl_full_putmbsi", [](vl_locale_t *h, const Io &io) {  // an index within the string
       char s[32] = {};
       memcpy(s, io.a.data(), io.a.size());
       const int i = io.n < 0 ? io.n : io.n % (static_cast<int>(io.a.size()) + 1);
       return Ans(At(vl_full_putmbsi(h, s, i, io.b.c_str()), s), s, 16); }},
    {"vl_mbsntsbytes", [](vl_locale_t *h, const Io &io) { return Ans(vl_mbsntsbytes(h, io.a.c_str())); }},
    {"vl_mbsntsbytes null", [](vl_locale_t *h, const Io &) { return Ans(vl_mbsntsbytes(h, nullptr)); }},
};

TEST(BridgeIcu, BridgedAnswersEqualNativeOnAscii) {
  ASSERT_EQ(Bind(kShipped), 0u);
  vl_locale_t *native = Load("en_US", false), *bridged = Load("en_US");
  ASSERT_TRUE(native && bridged);
  std::mt19937 rng(1124);
  const std::string kChars = "aZ09 \t.-\x7F\x01";
  auto word = [&] {
    std::string s;
    for (int k = rng() % 6; k > 0; --k) s += kChars[rng() % kChars.size()];
    return s;
  };
  for (const PairRow &row : kPairRows) {
    int differ = 0;
    for (int i = 0; i < 300; ++i) {
      const std::string a = word(), b = word().substr(0, 1);
      const Io io{a, b, static_cast<int>(rng() % 12) - 2};
      native->vl_errno = bridged->vl_errno = kSentinel;
      std::string n = row.call(native, io), g = row.call(bridged, io);  // then the error numbers they left
      n += " errno " + std::to_string(native->vl_errno), g += " errno " + std::to_string(bridged->vl_errno);
      if (n != g && differ++ < 3)
        ADD_FAILURE() << row.what << "(\"" << a << "\", \"" << b << "\", " << io.n << "): native " << n << ", bridged " << g;
    }
  }
  vl_lc_unload(native), vl_lc_unload(bridged);
}

// The answers found different between the two paths, now one: each row's
// answer natively and bridged (en_US.UTF-8), and the error number both
// leave, which starts at kSentinel. Only the sort key slot of the empty string differs on purpose:
// vl_full_mbsxfrm answers the empty string itself, before any conversion,
// while the bridge's slot gives ICU's key with its level separators.
const struct EdgeRow {
  const char *what;
  std::string (*call)(vl_locale_t *h);
  std::string_view native, bridged;
  uint32_t err;  // left by both
} kEdges[] = {
    {"a search that finds nothing clears the error number",
     [](vl_locale_t *h) { return Ans(At(vl_full_mbschr(h, "abc", "x"), nullptr)); }, "-1"sv, "-1"sv, 0},
    {"vl_full_mbsxfrm of the empty string",
     [](vl_locale_t *h) { char k[8] = "zzz"; return Ans(vl_full_mbsxfrm(h, k, "", 8), k, 2); }, "0 [\0z]"sv,
     "0 [\0z]"sv, kSentinel},
    {"the sort key slot of the empty string",
     [](vl_locale_t *h) { char k[8] = "zzz"; return Ans(h->mbsxfrm_fn(h, k, "", 8), k, 3); }, "0 [\0zz]"sv,
     "2 [\x01\x01\0]"sv, kSentinel},
    {"a null source is the empty string", [](vl_locale_t *h) { char o[4] = "zz"; return Ans(vl_tombslower(h, o, nullptr), o, 2); },
     "0 [\0z]"sv, "0 [\0z]"sv, kSentinel},
    {"wide case mapping gives 0", [](vl_locale_t *h) { vl_wchar o[4], w[] = {'a', 0}; return Ans(vl_towcsupper(h, o, w)); },
     "0"sv, "0"sv, kSentinel},
    {"a trailing tab is no trailing blank", [](vl_locale_t *h) { return Ans(vl_mbsntsbytes(h, "a \t")); }, "3"sv,
     "3"sv, kSentinel},
    {"a limit of -1 is no limit to a length", [](vl_locale_t *h) { return Ans(vl_full_mblen(h, "a", -1)); },
     "-1"sv, "-1"sv, VL_EINVAL},
    {"a limit of -1 is no limit to a class", [](vl_locale_t *h) { return Ans(_kvx_vl_im_ismctype(h, "a", -1, 0x7FF)); },
     "0"sv, "0"sv, VL_EINVAL},
    {"-1 on the empty string leaves nothing to read",
     [](vl_locale_t *h) { vl_wchar w = 5; return Ans(_kvx_vl_full_mbtowc(h, &w, "", -1)); }, "-1"sv, "-1"sv, VL_EINVAL},
    {"-1 measures the whole string", [](vl_locale_t *h) { vl_wchar w = 5; return Ans(_kvx_vl_full_mbtowc(h, &w, "a\xFF", -1)); },
     "-1"sv, "-1"sv, VL_EILSEQ},
    {"the NUL character replaces one", [](vl_locale_t *h) { char s[8] = "abc"; return Ans(At(vl_full_putmbsi(h, s, 1, ""), s), s, 4); },
     "0 [a\0c\0]"sv, "0 [a\0c\0]"sv, kSentinel},
};

TEST(BridgeIcu, EdgeAnswersOfBothPaths) {
  ASSERT_EQ(Bind(kShipped), 0u);
  vl_locale_t *native = Load("en_US", false), *bridged = Load("en_US");
  ASSERT_TRUE(native && bridged);
  for (const EdgeRow &e : kEdges) {
    native->vl_errno = bridged->vl_errno = kSentinel;
    const std::string n = e.call(native), g = e.call(bridged);
    EXPECT_EQ(std::tuple(n, g, native->vl_errno, bridged->vl_errno), std::tuple(e.native, e.bridged, e.err, e.err))
        << e.what;
  }
  vl_lc_unload(native), vl_lc_unload(bridged);
}
