// Threads, each on its own handle: once the first locale has loaded and the
// process-wide state has settled, loading, reloading, using and releasing
// handles in several threads at once is race-free (the ThreadSanitizer
// build of scripts/test runs this suite) and gives the answers that one
// thread alone gives.
#include "vlstest.h"

using namespace vlstest;

namespace {

const std::string kKelvanix = VLS_TEST_BINARY_DIR "/../kelvanix";  // the build's shipped locales

struct Loc { const char *file, *source, *text; };  // text in the locale's codeset
constexpr Loc kLocales[] = {
    {"de_de/0333.lco", "de_DE", "Gr\xFC\xDF" "e \xC4pfel 42 \xFF"},                            // Latin-1
    {"en_us/e01c.lco", "en_US", "Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC \xE6\x97\xA5 \xF0\x9F\x98\x80"},  // UTF-8
    {"ja_jp/e007.lco", "ja_JP", "\xA4\xB3\xA4\xF3 A\xA3\xC1\xA3\xE1 \x8E\xB1 9"},            // EUC-JP
    {"ja_jp/e006.lco", "ja_JP", "\x82\xB1\x82\xF1 A\x82\x60\x82\x81 \xB1 9"},                // Shift_JIS
    {"ru_ru/e026.lco", "ru_RU", "\xF0\xD2\xC9\xD7\xC5\xD4 abc"},                              // KOI8-R
    {"el_gr/032d.lco", "el_GR", "\xCA\xE1\xEB\xE7\xEC\xDD\xF1\xE1 \xF3\xF2"},                 // ISO-8859-7
};
constexpr int kRounds = 8;

// Everything the character, string and information services say about a
// locale and a text, as one string.
std::string answers(vl_locale_t *h, const char *text) {
  const char *const start = text;
  std::string o;
  auto put = [&o](long long v) { o += std::to_string(v) + ' '; };
  char up[8], lo[8], buf[512];
  for (int n = 0; *text && (n = vl_full_mblen(h, text, 4)) > 0; text += n) {  // character by character
    put(n), put(im_ismctype(h, text, 0xffff));
    o.append(up, _vl_im_tomupper(h, up, text) & 0xff).append(lo, _vl_im_tomlower(h, lo, text) & 0xff);
  }
  text = start;
  vl_wchar w[128] = {}, wc[128] = {};
  put(_vl_im_mbslen(h, text)), put(vl_mbsbytes(h, text));
  int wn = h->mbstowcs_fn(h, w, text, 128);
  vl_towcsupper(h, wc, w);
  for (int i = 0; i < wn; ++i) put(w[i]), put(wc[i]);
  o.append(buf, vl_full_wcstombs(h, buf, w, sizeof buf)) += '|';
  vl_tombsupper(h, buf, text), o.append(buf) += '|';
  vl_tombslower(h, buf, text), o.append(buf) += '|';
  strcpy(buf, text), o.append(vl_full_mbscat(h, buf, text)) += '|';
  for (int item = VL_ABDAY_1; item <= VL_CODESET; ++item) o.append(vl_nl_langinfo(h, item)) += '\n';
  o.append(vl_nl_langinfo(h, VL_YESEXPR)).append(vl_nl_langinfo(h, VL_NOEXPR)) += '\n';
  const vlconv *c = vl_localeconv(h);
  for (const char *s : {c->decimal_point, c->thousands_sep, c->grouping, c->int_curr_symbol, c->currency_symbol,
                        c->mon_decimal_point, c->mon_thousands_sep, c->positive_sign, c->negative_sign})
    o.append(s ? s : "(null)") += '|';
  for (long long v : std::initializer_list<long long>{c->int_frac_digits, c->frac_digits, c->p_cs_precedes, c->n_sign_posn,
                                                     vl_mb_loc_max(h), h->vl_errno})
    put(v);
  return o;
}

// Loads the locale into a new handle in one of three ways.
vl_locale_t *load(const Loc &l, const std::string &spec, int way) {
  vl_locale_t *h = nullptr;
  if (way == 2) {  // by specification through the registry
    EXPECT_EQ(vl_lc_load(&h, spec.c_str(), (kKelvanix + "/vls/cm3/registry").c_str(), nullptr), 0) << spec;
    return h;
  }  // 0: whole locale by name; 1: the default locale, then category by category
  EXPECT_EQ(way ? vl_createlocale_4(&h) : vl_create_null_locale_4(&h), 0);
  for (int cat = way ? VL_LC_CTYPE : VL_LC_ALL; cat <= (way ? VL_LC_MESSAGES : VL_LC_ALL); ++cat) {
    char *r = vl_setlocale_4(h, cat, l.file);
    EXPECT_TRUE(r && (!way || !strcmp(r, l.file))) << l.file << " category " << cat << " vl_errno " << h->vl_errno;
    vl_destroystring(r);
  }
  return h;
}

TEST(Thread, OwnHandlesAgreeWithOneThread) {
  EnvVar kvx("KELVANIXDIR", kKelvanix.c_str());
  ASSERT_EQ(read_file(kKelvanix + "/vls/lc11/de_de/0333.lco").substr(0, 9), "FILE_TYPE") << "build vls_locales";
  vl_locale_t *first = nullptr;  // settles the process-wide state
  ASSERT_EQ(vl_create_null_locale_4(&first), 0);
  vl_destroystring(vl_setlocale_4(first, VL_LC_ALL, "en_us/0333.lco"));
  ASSERT_EQ(first->vl_errno, 0u);
  const std::string first_answers = answers(first, "Abc 1");
  std::vector<std::string> want, specs;
  for (const Loc &l : kLocales) {
    vl_locale_t *h = load(l, "", 0);
    ASSERT_EQ(h->vl_errno, 0u) << l.file;
    specs.push_back(std::string(l.source) + "." + h->codeset_names[0]);
    want.push_back(answers(h, l.text));
    vl_wchar w[128] = {};  // the text is valid in its codeset: it survives the round trip
    char back[256] = {};
    EXPECT_GT(h->mbstowcs_fn(h, w, l.text, 128), 0) << l.file;
    EXPECT_STREQ((vl_full_wcstombs(h, back, w, sizeof back), back), l.text) << l.file;
    vl_lc_unload(h);
  }
  std::vector<std::thread> threads;
  for (size_t t = 0; t < std::size(kLocales); ++t)
    threads.emplace_back([&, t] {
      const Loc &l = kLocales[t];
      for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE(std::string(l.file) + " round " + std::to_string(round));
        vl_locale_t *h = load(l, specs[t], round % 3);
        if (!h || h->vl_errno) {
          ADD_FAILURE() << "load " << round % 3 << " failed";
          vl_lc_unload(h);
          continue;
        }
        EXPECT_EQ(answers(h, l.text), want[t]);
        vl_destroystring(vl_setlocale_4(h, VL_LC_CTYPE, l.file));  // reload in place
        vl_destroystring(vl_setlocale_4(h, VL_LC_ALL, l.file));
        EXPECT_EQ(answers(h, l.text), want[t]);
        vl_lc_unload(h);
      }
    });
  for (std::thread &th : threads) th.join();
  EXPECT_EQ(answers(first, "Abc 1"), first_answers);
  vl_lc_unload(first);
}

}  // namespace
