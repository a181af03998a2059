// Locale object files: the frame, whole-locale and per-category loads,
// specifications, codeset checks, sharing and release.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include <vls/vlscat.h>
#include <vls/vlsmbwc.h>

#include "lcofix.h"
#include "vlstest.h"

using namespace vlstest;

namespace {

const char kRegistry[] = "# test registry\n8859-1 819\nujis 57351\nucs2ish 57999\n";

// A product tree: KELVANIXDIR with the registry and locales below vls/lc11.
class Loader : public ::testing::Test {
 protected:
  TempDir dir;
  EnvVar kvx{"KELVANIXDIR", dir.path().c_str()};
  EnvVar vlpath{"VL_PATH", nullptr};
  EnvVar all{"VL_ALL", nullptr};
  EnvVar lang{"VL_LANG", nullptr};
  EnvVar ctype_env{"VL_CTYPE", nullptr};
  vl_locale_t *h = nullptr;

  void SetUp() override {
    dir.write("vls/cm3/registry", kRegistry);
    LocaleFile latin;
    latin.ctype = latin1_spec();
    dir.write("vls/lc11/latin.lco", lco_text(latin));
    dir.write("vls/lc11/default.lco", lco_text(latin));
    LocaleFile euc;
    euc.ctype = euc_spec();
    euc.messages = {"^[yY\xA4\xCF]", "^[nN]", "\xA4\xCF\xA4\xA4", "no"};
    dir.write("vls/lc11/euc.lco", lco_text(euc));
  }
  void TearDown() override { vl_lc_unload(h); }
  std::string lc(const std::string &name, const std::string &text) { return dir.write("vls/lc11/" + name, text); }
};

}  // namespace

TEST_F(Loader, CreateLocaleReadsDefaultFromDirectory) {
  std::string d = dir.path() + "/vls/lc11/";
  ASSERT_EQ(vl_createlocale2_4(&h, d.c_str()), 0) << (h ? h->vl_errno : 0);
  EXPECT_EQ(h->vl_errno, 0u);
  EXPECT_EQ(h->single_byte, 1);
  for (int r = 0; r < 6; ++r) {
    EXPECT_STREQ(h->locale_names[r], "default.lco");
    EXPECT_STREQ(h->codeset_names[r], "8859-1");
    EXPECT_EQ(h->locale_names_w[r][0], static_cast<vl_wchar>('d'));
  }
  EXPECT_STREQ(vl_nl_langinfo(h, VL_YESEXPR), "^[yY]");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_NOEXPR), "^[nN]");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_YESSTR), "yes");
  EXPECT_STREQ(vl_nl_langinfo(h, VL_NOSTR), "no");
  EXPECT_STREQ(vl_nl_langinfo(h, 9999), "");
  ASSERT_NE(h->nmm.yesstr.wc, nullptr);
  EXPECT_EQ(h->nmm.yesstr.wc[0], static_cast<vl_wchar>('y'));
  EXPECT_EQ(h->nmm.yesstr.wc[3], 0u);
  vlconv *c = vl_localeconv(h);
  EXPECT_STREQ(c->decimal_point, ".");
  EXPECT_STREQ(c->grouping, "\3\3");
  EXPECT_STREQ(c->currency_symbol, "$");
  EXPECT_EQ(c->frac_digits, 2);
}

TEST_F(Loader, CreateLocaleFallsBackToPathSearch) {
  // no trailing slash: "<dir>lc11default.lco" does not exist
  std::string d = dir.path() + "/vls/lc11";
  ASSERT_EQ(vl_createlocale2_4(&h, d.c_str()), 0);
  EXPECT_STREQ(h->locale_names[0], "default.lco");
  vl_lc_unload(h);
  h = nullptr;
  ASSERT_EQ(vl_createlocale_4(&h), 0);
}

TEST_F(Loader, CreateLocaleDirectoryLengthLimit) {
  std::string d116(116, 'x'), d117(117, 'x');
  d116[0] = '/';
  d117[0] = '/';
  ASSERT_EQ(vl_createlocale2_4(&h, d116.c_str()), 0);  // falls back to the search
  vl_lc_unload(h);
  h = nullptr;
  vl_locale_t *out = nullptr;
  EXPECT_EQ(vl_createlocale2_4(&out, d117.c_str()), -1);
  // the number lands in the output variable itself
  EXPECT_EQ(reinterpret_cast<uintptr_t>(out) & 0xFFFFFFFFu, 8u);
}

TEST_F(Loader, CreateLocaleWithoutDefaultGivesStaticHandle) {
  EnvVar k("KELVANIXDIR", (dir.path() + "/nothing").c_str());
  EXPECT_EQ(vl_createlocale_4(&h), -1);
  EXPECT_EQ(h, &vl_nofile_locale);
  EXPECT_EQ(h->vl_errno, 8u);
  h = nullptr;
}

TEST_F(Loader, SetLocaleByNameAndQuery) {
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  char *s = vl_setlocale_4(h, VL_LC_ALL, "euc.lco");
  ASSERT_NE(s, nullptr) << h->vl_errno;
  EXPECT_STREQ(s,
               "VL_CTYPE = euc.lco ; VL_COLLATE = euc.lco ; VL_NUMERIC = euc.lco ; VL_MONETARY = euc.lco ; "
               "VL_TIME = euc.lco ; VL_MESSAGES = euc.lco ; ");
  vl_destroystring(s);
  EXPECT_EQ(h->single_byte, 0);
  EXPECT_EQ(vl_mb_loc_max(h), 2);
  EXPECT_STREQ(vl_nl_langinfo(h, VL_YESSTR), "\xA4\xCF\xA4\xA4");
  ASSERT_NE(h->nmm.yesstr.wc, nullptr);
  EXPECT_EQ(h->nmm.yesstr.wc[0], 0xA4CFu);
  s = vl_setlocale_4(h, VL_LC_ALL, nullptr);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(std::string(s).substr(std::string(s).size() - 3), " ; ");
  vl_destroystring(s);
  s = vl_setlocale_4(h, VL_LC_TIME, nullptr);
  EXPECT_STREQ(s, "euc.lco");
  vl_destroystring(s);
  // a single category by name: only that row changes
  s = vl_setlocale_4(h, VL_LC_MESSAGES, "euc.lco");
  EXPECT_STREQ(s, "euc.lco");
  vl_destroystring(s);
}

TEST_F(Loader, SpecificationWithKeys) {
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  char *s = vl_setlocale_4(h, VL_LC_CTYPE, "VL_COLLATE=x.lco VL_CTYPE=  latin.lco VL_TIME=y.lco");
  ASSERT_NE(s, nullptr) << h->vl_errno;
  EXPECT_STREQ(s, "latin.lco");
  vl_destroystring(s);
  // one key used with category 1: the other categories take the whole text
  s = vl_setlocale_4(h, VL_LC_ALL, "VL_CTYPE=latin.lco");
  EXPECT_EQ(s, nullptr);
  EXPECT_EQ(h->vl_errno, 8u);
  EXPECT_STREQ(h->locale_names[0], "latin.lco");  // earlier categories stay loaded
}

TEST_F(Loader, EmptySpecificationUsesEnvironmentThenDefault) {
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  char *s = vl_setlocale_4(h, VL_LC_ALL, "");
  ASSERT_NE(s, nullptr) << h->vl_errno;
  EXPECT_NE(std::string(s).find("VL_MESSAGES = default.lco ; "), std::string::npos);
  vl_destroystring(s);
  {
    EnvVar l("VL_LANG", "euc.lco");
    EnvVar c("VL_CTYPE", "latin.lco");
    s = vl_setlocale_4(h, VL_LC_CTYPE, "");  // the category's key before VL_LANG
    EXPECT_STREQ(s, "latin.lco");
    vl_destroystring(s);
    EXPECT_EQ(vl_setlocale_4(h, VL_LC_NUMERIC, ""), nullptr);  // VL_LANG: another codeset
    EXPECT_EQ(h->vl_errno, 58u);
    EnvVar a("VL_ALL", "default.lco");
    s = vl_setlocale_4(h, VL_LC_CTYPE, "");
    EXPECT_STREQ(s, "default.lco");
    vl_destroystring(s);
  }
  EnvVar longname("VL_ALL", std::string(33, 'n').c_str());
  EXPECT_EQ(vl_setlocale_4(h, VL_LC_CTYPE, ""), nullptr);
  EXPECT_EQ(h->vl_errno, 8u);
}

TEST_F(Loader, BadArguments) {
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  EXPECT_EQ(vl_setlocale_4(h, 0, "latin.lco"), nullptr);
  EXPECT_EQ(h->vl_errno, 9u);
  h->vl_errno = 0;
  EXPECT_EQ(vl_setlocale_4(h, 8, "latin.lco"), nullptr);
  EXPECT_EQ(h->vl_errno, 9u);
  h->vl_errno = 0;
  std::string huge(312, 'a');
  EXPECT_EQ(vl_setlocale_4(h, VL_LC_CTYPE, huge.c_str()), nullptr);
  EXPECT_EQ(h->vl_errno, 9u);
}

TEST_F(Loader, DamagedFrames) {
  struct Case {
    const char *name;
    std::string text;
    uint32_t err;
  } cases[] = {
      {"first line", "FILE_TYPE=locale\nCOMPILER_VERSION=11\nN=3\n8859-1\n", 11},
      {"version", "FILE_TYPE=locale_object\nCOMPILER_VERSION=10\nN=3\n8859-1\n", 51},
      {"too few info lines", "FILE_TYPE=locale_object\nCOMPILER_VERSION=11\nN=5\nonly one\n", 11},
      {"codeset too long", lco_header(std::string(25, 'c')), 11},
      {"no marker", lco_header("8859-1") + "### LC_CTYPEX\n", 11},
      {"empty", "", 11},
  };
  for (const auto &c : cases) {
    lc("bad.lco", c.text);
    vl_locale_t *x = nullptr;
    ASSERT_EQ(vl_create_null_locale_4(&x), 0);
    EXPECT_EQ(vl_setlocale_4(x, VL_LC_CTYPE, "bad.lco"), nullptr) << c.name;
    EXPECT_EQ(x->vl_errno, c.err) << c.name;
    EXPECT_EQ(x->locale_names[0][0], '\0') << c.name;
    vl_lc_unload(x);
  }
}

TEST_F(Loader, DamagedSections) {
  std::string ct = ctype_section(latin1_spec());
  struct Case {
    const char *name;
    int category;
    std::string section;
    uint32_t err;
  } cases[] = {
      {"ctype tree cut", VL_LC_CTYPE, ct.substr(0, 40), 3},
      {"ctype default value without line feed", VL_LC_CTYPE, "1 1 1 0000 x\n", 55},
      {"ctype tree too deep", VL_LC_CTYPE, "5 1 1 0000\n", 21},
      {"class count without line feed", VL_LC_CTYPE, "1 1 1 0000\n1 0\n0000000\n0 x\n", 11},
      {"messages without line feed", VL_LC_MESSAGES, "2 5E5B", 8},
      {"group of 16", VL_LC_NUMERIC, str_item(".") + str_item(",") + "16 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1\n", 4},
  };
  for (const auto &c : cases) {
    lc("ok.lco", category_text("8859-1", VL_LC_CTYPE, ct));
    lc("bad.lco", category_text("8859-1", c.category, c.section));
    vl_locale_t *x = nullptr;
    ASSERT_EQ(vl_create_null_locale_4(&x), 0);
    char *s = vl_setlocale_4(x, VL_LC_CTYPE, "ok.lco");
    ASSERT_NE(s, nullptr) << c.name << " " << x->vl_errno;
    vl_destroystring(s);
    EXPECT_EQ(vl_setlocale_4(x, c.category, "bad.lco"), nullptr) << c.name;
    EXPECT_EQ(x->vl_errno, c.err) << c.name;
    vl_lc_unload(x);
  }
}

TEST_F(Loader, MessagesNeedCharacters) {
  // LC_MESSAGES over an LC_CTYPE that holds no characters
  lc("msg.lco", category_text("8859-1", VL_LC_MESSAGES, messages_section({})));
  lc("noctype.lco", category_text("8859-1", VL_LC_CTYPE,
                                  "0 4 1 0000\n1 0\n0000000\n0\n0 4 1 0000\n1 0\n0000000\n0\n"));
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  char *s = vl_setlocale_4(h, VL_LC_CTYPE, "noctype.lco");
  ASSERT_NE(s, nullptr) << h->vl_errno;
  vl_destroystring(s);
  EXPECT_EQ(h->case_expansion, 4.0);
  EXPECT_EQ(vl_setlocale_4(h, VL_LC_MESSAGES, "msg.lco"), nullptr);
  EXPECT_EQ(h->vl_errno, 57u);
}

TEST_F(Loader, CategoryCodesetMustMatchCtype) {
  lc("msg-euc.lco", category_text("ujis", VL_LC_MESSAGES, messages_section({})));
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  char *s = vl_setlocale_4(h, VL_LC_ALL, "latin.lco");
  ASSERT_NE(s, nullptr);
  vl_destroystring(s);
  EXPECT_EQ(vl_setlocale_4(h, VL_LC_MESSAGES, "msg-euc.lco"), nullptr);
  EXPECT_EQ(h->vl_errno, 58u);
  EXPECT_EQ(h->locale_names[5][0], '\0');  // the old category is gone
  EXPECT_EQ(h->nmm.yesstr.mb, nullptr);
  // a new LC_CTYPE of another codeset loads, with 12 left behind
  h->vl_errno = 0;
  s = vl_setlocale_4(h, VL_LC_CTYPE, "euc.lco");
  ASSERT_NE(s, nullptr);
  EXPECT_STREQ(s, "euc.lco");
  EXPECT_EQ(h->vl_errno, 12u);
  vl_destroystring(s);
}

TEST_F(Loader, MessagesCodesetIsNotCompared) {
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  vl_destroystring(vl_setlocale_4(h, VL_LC_ALL, "latin.lco"));
  strcpy(h->codeset_names[VL_LC_MESSAGES - 2], "ujis");
  h->vl_errno = 99;
  EXPECT_EQ(update_locale(h), 0);
  EXPECT_EQ(h->vl_errno, 0u);  // a successful update clears an older number
  strcpy(h->codeset_names[VL_LC_TIME - 2], "ujis");
  EXPECT_EQ(update_locale(h), -1);
  EXPECT_EQ(h->vl_errno, 12u);
}

TEST_F(Loader, CopyCategoryRules) {
  vl_locale_t *src = nullptr, *dst = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&src), 0);
  ASSERT_EQ(vl_create_null_locale_4(&dst), 0);
  vl_destroystring(vl_setlocale_4(src, VL_LC_ALL, "euc.lco"));
  EXPECT_EQ(vl_copy_cat(dst, dst, VL_LC_CTYPE), -1);
  EXPECT_EQ(dst->vl_errno, 18u);
  ASSERT_EQ(vl_copy_cat(dst, src, VL_LC_ALL), 0);
  EXPECT_EQ(dst->ctype.ctype_tree, src->ctype.ctype_tree);
  EXPECT_EQ(dst->nmm.yesstr.mb, src->nmm.yesstr.mb);
  EXPECT_NE(dst->vlconv.decimal_point, src->vlconv.decimal_point);  // private conventions
  EXPECT_STREQ(dst->vlconv.decimal_point, ".");
  EXPECT_EQ(vl_full_mblen(dst, "\xB0\xA1", 4), 2);
  EXPECT_EQ(vl_copy_cat(dst, src, VL_LC_TIME), -1);
  EXPECT_EQ(dst->vl_errno, 19u);
  vl_free_nonshared_loc(dst);
  vl_lc_unload(src);
}

TEST_F(Loader, LcLoadTakesAFileName) {
  EXPECT_EQ(vl_lc_load(&h, "latin.lco", nullptr, nullptr), 0) << h->vl_errno;
  EXPECT_STREQ(h->locale_names[3], "latin.lco");
  vl_lc_unload(h);
  h = nullptr;
  std::string d = dir.path() + "/vls/lc11";
  EXPECT_EQ(vl_lc_load(&h, "euc.lco", nullptr, d.c_str()), 0) << h->vl_errno;
  EXPECT_EQ(vl_mb_loc_max(h), 2);
  vl_lc_unload(h);
  h = nullptr;
  EXPECT_EQ(vl_lc_load(&h, "missing.lco", nullptr, nullptr), -1);
  EXPECT_EQ(h->vl_errno, 8u);
}

TEST_F(Loader, NativeLoadsTheDefaultFile) {
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  char *s = vl_setlocale_4(h, VL_LC_CTYPE, "native");
  ASSERT_NE(s, nullptr) << h->vl_errno;
  EXPECT_STREQ(s, "native");
  vl_destroystring(s);
  EXPECT_EQ(h->single_byte, 1);
}

TEST_F(Loader, LoadUnloadCycleReleasesEverything) {
  for (int i = 0; i < 5; ++i) {
    vl_locale_t *x = nullptr;
    ASSERT_EQ(vl_create_null_locale_4(&x), 0);
    for (const char *n : {"latin.lco", "euc.lco", "latin.lco"}) vl_destroystring(vl_setlocale_4(x, VL_LC_ALL, n));
    vl_lc_unload(x);
  }
}

TEST_F(Loader, LogTexts) {
  TempDir cwd;
  struct Arg {
    std::string path;
  } a{cwd.path()};
  int rc = in_child(cwd.path(), [](void *) {
    setenv("VLSLOG", "on", 1);
    vls_debug_initialized = 0;  // the log decides afresh in this process
    vl_locale_t *x = nullptr;
    vl_create_null_locale_4(&x);
    vl_destroystring(vl_setlocale_4(x, VL_LC_ALL, "latin.lco"));
    vl_lc_unload(x);
  }, &a);
  ASSERT_EQ(rc, 0);
  std::string log = read_file(cwd.file("vls.log"));
  for (const char *t : {"vl_setlocale: Begin\n", "vl_setlocale: Calling vl_init_vlu\n",
                        "vl_setlocale: Calling set_categories\n", "vl_setlocale: retVal from set_categories\n",
                        "vl_setlocale: End\n", "freeing locale 0x"})
    EXPECT_NE(log.find(t), std::string::npos) << t;
}
