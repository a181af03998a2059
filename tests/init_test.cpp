// Client start-up: each scenario runs in a child process of its own (the
// settings store and vls_env are process-wide and built once), with a
// clean environment over the shipped locales and conversions. The decimal
// text conversions in the client's conventions are checked against the
// reference model (tests/decmodel.py).
#include "vlstest.h"

namespace {

struct Scenario {
  const char *what;
  std::vector<std::pair<const char *, const char *>> env;
  int mode, rc;
  const char *ctype_file;  // LC_CTYPE file of vls_env.locale, or null for none
  const char *spec0;       // first entry of specs
  const char *after;       // "NAME=value" the process environment reads afterwards, or null
  const char *date;        // the date format, or null
  bool conversions;        // csc_ab and csc_ba are open
  const char *db_text = nullptr, *client_text = nullptr;  // csc_ab turns the one into the other
  const char *decimal = nullptr;                           // dectoasc of -1234.5 in the client locale
};

const Scenario kScenarios[] = {
    {"nothing set", {}, 1, 0, "en_us/0333.lco", "en_US.819", "CLIENT_LOCALE=en_US.8859-1", "%m/%d/%iY", false},
    {"client locale", {{"CLIENT_LOCALE", "ja_JP.ujis"}}, 1, 0, "ja_jp/e007.lco", "ja_JP.57351", "DB_LOCALE=ja_JP.57351", nullptr, false},
    {"client and database", {{"CLIENT_LOCALE", "ja_JP.ujis"}, {"DB_LOCALE", "ja_JP.sjis"}}, 1, 0, "ja_jp/e007.lco", "ja_JP.57351", nullptr, nullptr, true,
     "\x93\xFA\x96\x7B", "\xC6\xFC\xCB\xDC", "-1234.5"},  // Shift_JIS to EUC-JP
    {"KOI8-R client, CP1251 database", {{"CLIENT_LOCALE", "ru_RU.koi-8"}, {"DB_LOCALE", "ru_RU.cp1251"}}, 1, 0, "ru_ru/e026.lco", "ru_RU.57382", nullptr, nullptr, true,
     "\xEF\xF0\xE8\xE2\xE5\xF2 1", "\xD0\xD2\xC9\xD7\xC5\xD4 1", "-1234,5"},  // CP1251 to KOI8-R
    {"client text too long", {{"CLIENT_LOCALE", "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"}}, 1, VL_INIT_BADLOCALE, nullptr, nullptr, nullptr, nullptr, false},
    {"unknown client locale", {{"CLIENT_LOCALE", "xx_YY.8859-1"}}, 1, VL_INIT_BADLOCALE, nullptr, nullptr, nullptr, nullptr, false},
    {"DBDATE", {{"DBDATE", "MDY4/"}}, 1, 0, "en_us/0333.lco", nullptr, nullptr, "%m/%d/%iY", false},
    {"DBDATE two digits", {{"DBDATE", "DMY2-"}}, 1, 0, "en_us/0333.lco", nullptr, nullptr, "%d-%m-%iy", false},
    {"DBDATE no separator", {{"DBDATE", "Y4MD0"}}, 1, 0, "en_us/0333.lco", nullptr, nullptr, "%iY%m%d", false},
    {"DBNLS from the locale settings", {{"DBNLS", "1"}, {"LANG", "de_DE.8859-1"}}, 1, 0, "de_de/0333.lco", "de_DE.819", nullptr, nullptr, false},
    {"server", {}, 2, 0, "en_us/0333.lco", "en_US.819", "SERVER_LOCALE=", nullptr, false},
    {"database by DBCODESET", {{"DBCODESET", "sjis"}}, 4, 0, "ja_jp/e006.lco", "ja_JP.57350", nullptr, nullptr, false},
    {"unknown DBCODESET", {{"DBCODESET", "nosuch"}, {"DBCONNECT", "3"}}, 4, 0, "en_us/0333.lco", "en_US.819", "DBCONNECT=1", nullptr, false},
    {"DBCONNECT 30 stays", {{"DBCONNECT", "30"}}, 4, 0, "en_us/0333.lco", nullptr, "DBCONNECT=30", nullptr, false},
    {"database locale", {{"DB_LOCALE", "ko_KR.ksc"}}, 4, 0, "ko_kr/e00c.lco", "ko_KR.57356", nullptr, nullptr, false},
    {"mode 3", {}, 3, -1, nullptr, nullptr, nullptr, nullptr, false},
};

// Runs in the child: 0 when everything matched; details on stderr.
void run(void *arg) {
  const Scenario &s = *static_cast<const Scenario *>(arg);
  for (auto &[k, v] : s.env) setenv(k, v, 1);
  int bad = 0;
  auto expect = [&bad](bool ok, const char *what, const std::string &got) {
    if (!ok) fprintf(stderr, "  %s: got %s\n", what, got.c_str()), ++bad;
  };
  const int rc = initvls(s.mode);
  expect(rc == s.rc, "status", std::to_string(rc));
  const char *file = vls_env.locale ? vls_env.locale->locale_names[0] : nullptr;
  expect(s.ctype_file ? file && !strcmp(file, s.ctype_file) : !file, "LC_CTYPE file", file ? file : "(none)");
  if (s.spec0) expect(!strcmp(vls_env.specs[0], s.spec0), "specs[0]", vls_env.specs[0]);
  if (s.after) {
    std::string a = s.after, name = a.substr(0, a.find('=')), want = a.substr(a.find('=') + 1);
    const char *v = name == "SERVER_LOCALE" ? ggetenv(name.c_str()) : getenv(name.c_str());
    if (name == "SERVER_LOCALE") want = "en_US.819";
    expect(v && want == v, s.after, v ? v : "(unset)");
  }
  if (s.date) expect(!strcmp(vls_env.date_format, s.date), "date format", vls_env.date_format);
  expect((vls_env.csc_ab && vls_env.csc_ba) == s.conversions, "conversions", vls_env.csc_ab ? "open" : "none");
  if (s.db_text && vls_env.csc_ab) {
    char out[64] = {};
    const char *in = s.db_text;
    char *o = out;
    int32_t il = static_cast<int32_t>(strlen(in)), ol = sizeof out - 1, flag = 0;
    const int r = vl_miconv(vls_env.csc_ab, &in, &il, &o, &ol, &flag);
    expect(r == 0 && !strcmp(out, s.client_text), "database text", out);
  }
  if (s.decimal) {
    decimal_t d;
    char text[32] = {};
    const int r = deccvasc(s.decimal, static_cast<int>(strlen(s.decimal)), &d);
    expect(r == 0 && dectoasc(&d, text, sizeof text - 1, -1) == 0, "decimal", std::to_string(r));
    expect(!strncmp(text, s.decimal, strlen(s.decimal)), "decimal text", text);
  }
  if (rc == 0) expect(initvls(s.mode) == 0 && (vls_env.init_mask & s.mode), "second call", "");
  _exit(bad);
}

TEST(Init, Scenarios) {
  vlstest::TempDir home;
  for (const Scenario &s : kScenarios) {
    SCOPED_TRACE(s.what);
    for (const char *k : {"CLIENT_LOCALE", "DB_LOCALE", "SERVER_LOCALE", "DBNLS", "LANG", "DBDATE", "VL_DATE",
                          "DBCODESET", "DBCONNECT", "DBMONEY", "LC_CTYPE", "LC_COLLATE", "LC_NUMERIC",
                          "LC_MONETARY", "LC_TIME", "VL_PATH", "ENVIGNORE"})
      unsetenv(k);
    vlstest::EnvVar kdir("KELVANIXDIR", VLS_TEST_BINARY_DIR "/../kelvanix"), h("HOME", home.path().c_str());
    EXPECT_EQ(vlstest::in_child(home.path(), run, const_cast<Scenario *>(&s)), 0);
  }
}

// What start-up leaves in the record: the flags bits, nls_mode, and
// _8bitfsys (7 beforehand: a value other than "1" or "0" leaves it).
TEST(Init, Record) {
  struct Case {
    const char *what;
    std::vector<std::pair<const char *, const char *>> env;
    int mode, rc, flags, nls_mode, eightbit;
    bool load_first = false;  // the store is loaded before the settings are made
  };
  const Case cases[] = {
      {"mode 1", {}, 1, 0, 0, 0, 7},
      {"VLS8BITFSYS 1", {{"VLS8BITFSYS", "1"}}, 1, 0, 0, 0, 1},
      {"VLS8BITFSYS 0", {{"VLS8BITFSYS", "0"}}, 1, 0, 0, 0, 0},
      {"VLS8BITFSYS 2 leaves it", {{"VLS8BITFSYS", "2"}}, 1, 0, 0, 0, 7},
      {"DBNLS 2 in mode 1", {{"DBNLS", "2"}}, 1, 0, 0, 2, 7},
      {"categories missing under DBNLS", {{"DBNLS", "1"}}, 1, VL_INIT_NLSMISSING, 0, 0, 7, true},
      {"mode 2", {}, 2, 0, VL_ENV_SERVER, 0, 7},
      // One text for all categories sets bit 1 again in mode 4.
      {"mode 4, nothing set", {}, 4, 0, VL_ENV_SERVER, 2, 7},
      {"mode 4 by DBCODESET", {{"DBCODESET", "sjis"}}, 4, 0, VL_ENV_SERVER | VL_ENV_SESSION, 2, 7},
      {"mode 4, DB_LOCALE and DBNLS 1", {{"DB_LOCALE", "ja_JP.ujis"}, {"DBNLS", "1"}}, 4, 0,
       VL_ENV_SERVER | VL_ENV_DBNLS | VL_ENV_SESSION, 1, 7},
      {"mode 4, ctype and collate differ", {{"DBNLS", "1"}, {"LC_CTYPE", "de_DE.8859-1"}, {"LC_COLLATE", "fr_FR.8859-1"}}, 4, 0,
       VL_ENV_DBNLS | VL_ENV_SESSION, 1, 7},
  };
  vlstest::TempDir home;
  vlstest::EnvVar kdir("KELVANIXDIR", VLS_TEST_BINARY_DIR "/../kelvanix"), h("HOME", home.path().c_str());
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(vlstest::in_test_child(home.path(), [&c] {
      for (const char *k : {"CLIENT_LOCALE", "DB_LOCALE", "DBNLS", "LANG", "DBCODESET", "LC_CTYPE", "LC_COLLATE",
                            "LC_NUMERIC", "LC_MONETARY", "LC_TIME", "VLS8BITFSYS", "VL_PATH", "ENVIGNORE"})
        unsetenv(k);
      if (c.load_first) ggetenv("DBPATH");
      for (auto &[k, v] : c.env) setenv(k, v, 1);
      _8bitfsys = 7;
      EXPECT_EQ(initvls(c.mode), c.rc);
      EXPECT_EQ(std::tuple(int(vls_env.flags), vls_env.nls_mode, _8bitfsys), std::tuple(c.flags, c.nls_mode, c.eightbit));
    }), 0);
  }
}

// DBDATE's grammar and the money text of DBMONEY, in one child each.
TEST(Init, DateFormats) {
  struct Case { const char *dbdate, *want; int rc; } cases[] = {
      {"MDY4/", "%m/%d/%iY", 0},  {"DMY2.", "%d.%m.%iy", 0},   {"YYMD-", "%iy-%m-%d", 0},
      {"MDY", nullptr, VL_DATE_BADFMT},   // a Y needs 4, 2 or a second Y
      {"MDY5/", nullptr, VL_DATE_BADFMT}, {"MDY4/x", nullptr, VL_DATE_BADFMT},
      {"MD/", nullptr, VL_DATE_BADYEAR},  {"MDY4/J1", "%m/%d/%iY", 0}, {"MDY4/J3", nullptr, VL_DATE_BADFMT},
  };
  for (const Case &c : cases) {
    char buffer[64] = {};
    EXPECT_EQ(nogetenv_getvlsfmt(c.dbdate, nullptr, buffer, 1), c.rc) << c.dbdate;
    if (c.want) {
      EXPECT_STREQ(buffer, c.want) << c.dbdate;
    }
  }
  char buffer[64] = {};
  EXPECT_EQ(nogetenv_getvlsfmt(nullptr, "%Y.%m", buffer, 1), 0);
  EXPECT_STREQ(buffer, "%Y.%m");
}

void money(void *arg) {
  const char *const *c = static_cast<const char *const *>(arg);
  setenv("DBMONEY", c[0], 1);
  int bad = initvls(1) != 0;
  rmoninit();
  bad |= strcmp(g_lconv.decimal_point, c[1]) != 0;
  bad |= strcmp(g_lconv.thousands_sep, c[2]) != 0;
  bad |= strcmp(g_lconv.currency_symbol, c[3]) != 0;
  bad |= strcmp(g_lconv.monfront, c[4]) != 0;
  if (bad) fprintf(stderr, "  %s: '%s' '%s' '%s' '%s'\n", c[0], g_lconv.decimal_point, g_lconv.thousands_sep,
                   g_lconv.currency_symbol, g_lconv.monfront);
  _exit(bad);
}

TEST(Init, Dbmoney) {
  vlstest::TempDir home;
  vlstest::EnvVar kdir("KELVANIXDIR", VLS_TEST_BINARY_DIR "/../kelvanix"), h("HOME", home.path().c_str()),
      cl("CLIENT_LOCALE", nullptr);
  const char *cases[][5] = {
      {"$.", ".", ",", "$", "$"},       // a front text and the point
      {",", ",", ".", "$", ""},         // the point and separator swap; the locale's symbol stays
      {".", ".", ",", "$", ""},         // "." alone: the locale's values
      {"DM,", ",", ".", "DM", "DM"},
      {".EUR", ".", ",", "EUR", ""},    // a back text wins
  };
  for (auto &c : cases) EXPECT_EQ(vlstest::in_child(home.path(), money, c), 0) << c[0];
}

TEST(Init, Texts) {
  EXPECT_STREQ(getalsloc("sjis"), "ja_JP.sjis");
  EXPECT_STREQ(getalsloc("ascii"), "en_US.8859-1");
  EXPECT_EQ(getalsloc("SJIS"), nullptr);
  char out[400] = {};
  mk1loccat(out, "VL_CTYPE", "en_US.819");
  EXPECT_STREQ(out, "VL_CTYPE = en_US.819 ; ");
  char v[48];
  EXPECT_EQ(extrspec("VL_CTYPE = a.lco ; VL_TIME = b.lco ; ", "VL_TIME", v, 0), 0);
  EXPECT_STREQ(v, "b.lco");
  EXPECT_EQ(extrspec("VL_CTYPE = a.lco ; ", "VL_TIME", v, 0), -1);
  EXPECT_STREQ(v, "");
  struct Map { int e, want; } maps[] = {{-8, VL_INIT_INTERNAL}, {-1, VL_INIT_INTERNAL}, {-2, VL_INIT_NOMEM}, {3, VL_INIT_NOMEM},
                                        {8, VL_INIT_BADLOCALE}, {21, VL_INIT_BADLOCALE}, {12, VL_INIT_LOADFAIL},
                                        {58, VL_INIT_LOADFAIL}, {-9, -9}, {7, 7}};
  for (const Map &m : maps) {
    set_vlserror(m.e);
    EXPECT_EQ(getiniterr(), m.want) << m.e;
  }
}

}  // namespace
