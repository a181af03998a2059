// Locale object files: the frame, whole-locale and per-category loads,
// damaged files with their error numbers and log lines, specifications,
// codeset checks, sharing and release.

#include "lcofix.h"
#include "timefix.h"

using namespace vlstest;

namespace {

const std::string kCt = ctype_section(latin1_spec());
const std::string kColl = collate_section(latin1_spec());
const std::string kNoChars = "0 4 1 0000\n1 0\n0000000\n0\n0 4 1 0000\n1 0\n0000000\n0\n";  // a tree without characters
const std::string kBadNum = str_item(".") + str_item(",") + "16 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1\n";  // 16 sizes
const std::string kNum = numeric_section({}), kMon = monetary_section({}), kTime = time_section({}),
                  kMsg = messages_section({});

// A whole-locale file of the given sections.
std::string whole(const std::string &ct, const std::string &num = kNum, const std::string &mon = kMon,
                  const std::string &tm = kTime, const std::string &msg = kMsg) {
  return lco_header("8859-1") + "### LC_CTYPE\n" + ct + "### LC_COLLATE\n" + kColl + "### LC_NUMERIC\n" + num + "### LC_MONETARY\n" +
         mon + "### LC_TIME\n" + tm + "### LC_MESSAGES\n" + msg;
}
// The LC_CTYPE section with its first tree's header line replaced.
std::string ct_lengths(const char *head) { return head + kCt.substr(kCt.find('\n')); }

// A product tree: KELVANIXDIR with the registry and locales below vls/lc11.
class Loader : public ::testing::Test {
 protected:
  TempDir dir;
  EnvVar kvx{"KELVANIXDIR", dir.path().c_str()}, vlpath{"VL_PATH", nullptr}, all{"VL_ALL", nullptr},
      lang{"VL_LANG", nullptr}, ctype_env{"VL_CTYPE", nullptr};
  vl_locale_t *h = nullptr;

  void SetUp() override {
    dir.write("vls/cm3/registry", "# test registry\n8859-1 819\nujis 57351\nucs2ish 57999\n");
    lc("latin.lco", whole(kCt)), lc("default.lco", whole(kCt));
    lc("euc.lco", lco_text({euc_spec(), {}, {}, {"^[yY\xA4\xCF]", "^[nN]", "\xA4\xCF\xA4\xA4", "no"}}));
  }
  void TearDown() override { vl_lc_unload(h); }
  std::string lc(const std::string &name, const std::string &text) { return dir.write("vls/lc11/" + name, text); }
  std::string set(int category, const char *spec) {
    char *s = vl_setlocale_4(h, category, spec);
    std::string r = s ? s : "(null)";
    return vl_destroystring(s), r;
  }
};

// Installs the default stream forms in the host table while it lives, so
// that loads read through the slots and not the C library's buffer.
class HostStreams {
 public:
  explicit HostStreams(bool on) : on_(on) { set(true); }
  ~HostStreams() { set(false); }

 private:
  void set(bool install) {
    if (!on_) return;
    const std::pair<int, void *> slots[] = {
        {VL_EXT_FCLOSE, reinterpret_cast<void *>(&vl_ext_fclose)}, {VL_EXT_FEOF, reinterpret_cast<void *>(&vl_ext_feof)},
        {VL_EXT_FERROR, reinterpret_cast<void *>(&vl_ext_ferror)}, {VL_EXT_FGETC, reinterpret_cast<void *>(&vl_ext_fgetc)},
        {VL_EXT_FGETS, reinterpret_cast<void *>(&vl_ext_fgets)},   {VL_EXT_FOPEN, reinterpret_cast<void *>(&vl_ext_fopen)},
        {VL_EXT_FSEEK, reinterpret_cast<void *>(&vl_ext_fseek)},   {VL_EXT_FTELL, reinterpret_cast<void *>(&vl_ext_ftell)},
        {VL_EXT_FWRITE, reinterpret_cast<void *>(&vl_ext_fwrite)}, {VL_EXT_GETC, reinterpret_cast<void *>(&vl_ext_getc)},
        {VL_EXT_UNGETC, reinterpret_cast<void *>(&vl_ext_ungetc)}};
    for (const auto &[slot, f] : slots) _vl_set_ext_funcptr(slot, install ? f : nullptr);
  }
  bool on_;
};

}  // namespace

// A whole-locale load finds a marker as lines of at most 127 bytes are
// read: behind a long line, only at a multiple of 127 bytes into it.
TEST_F(Loader, MarkerBehindLongLine) {
  const std::string rest = kColl + "### LC_NUMERIC\n" + kNum + "### LC_MONETARY\n" + kMon + "### LC_TIME\n" + kTime +
                           "### LC_MESSAGES\n" + kMsg;
  for (size_t n : {126, 127, 128, 254}) {
    SCOPED_TRACE(n);
    lc("long.lco", lco_header("8859-1") + "### LC_CTYPE\n" + kCt + std::string(n, 'x') + "### LC_COLLATE\n" + rest);
    vl_locale_t *x = nullptr;
    ASSERT_EQ(vl_create_null_locale_4(&x), 0);
    char *r = vl_setlocale_4(x, VL_LC_ALL, "long.lco");
    EXPECT_EQ(r != nullptr, n % 127 == 0);
    EXPECT_EQ(x->vl_errno, n % 127 == 0 ? 0u : uint32_t{VL_EBADFILE});
    vl_destroystring(r), vl_lc_unload(x);
  }
}

// With and without a trailing slash ("<dir>lc11default.lco"), and 116
// characters: the search finds default.lco, for every category.
TEST_F(Loader, CreateLocaleFromDirectoryFallbacksAndLimit) {
  for (std::string d : {dir.path() + "/vls/lc11/", dir.path() + "/vls/lc11", "/" + std::string(115, 'x')}) {
    ASSERT_EQ(vl_createlocale2_4(&h, d.c_str()), 0) << d;
    for (int r = 0; r < 6; ++r)
      EXPECT_EQ(std::tuple(std::string(h->locale_names[r]), std::string(h->codeset_names[r]), h->locale_names_w[r][0], h->vl_errno, h->single_byte),
                std::tuple("default.lco", "8859-1", vl_wchar('d'), 0u, 1)) << d << " " << r;
    ASSERT_NE(h->nmm.yesstr.wc, nullptr);
    EXPECT_EQ(std::tuple(h->nmm.yesstr.wc[0], h->nmm.yesstr.wc[3], std::string(vl_nl_langinfo(h, VL_NOEXPR)), std::string(vl_nl_langinfo(h, 9999))),
              std::tuple(vl_wchar('y'), 0u, "^[nN]", ""));
    vl_lc_unload(h), h = nullptr;
  }
  vl_locale_t *out = nullptr;
  EXPECT_EQ(vl_createlocale2_4(&out, ("/" + std::string(116, 'x')).c_str()), -1);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(out) & 0xFFFFFFFFu, 8u);  // the number lands in the output variable
  EnvVar k("KELVANIXDIR", (dir.path() + "/nothing").c_str());
  const int rc = vl_createlocale_4(&h);
  EXPECT_EQ(std::tuple(rc, h, h->vl_errno), std::tuple(-1, &vl_nofile_locale, VL_ENOENT));
  h = nullptr;
}

// One handle through a sequence of specifications and environments.
TEST_F(Loader, SpecificationsInOrder) {
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  const std::string q = "VL_CTYPE = euc.lco ; VL_COLLATE = euc.lco ; VL_NUMERIC = euc.lco ; VL_MONETARY = euc.lco ; "
                        "VL_TIME = euc.lco ; VL_MESSAGES = euc.lco ; ";
  struct Step { const char *env, *value; int category; const char *spec; std::string want; uint32_t err; } steps[] = {
      {nullptr, nullptr, VL_LC_ALL, "euc.lco", q, 0}, {nullptr, nullptr, VL_LC_ALL, nullptr, q, 0},
      {nullptr, nullptr, VL_LC_TIME, nullptr, "euc.lco", 0},
      {nullptr, nullptr, VL_LC_MESSAGES, "euc.lco", "euc.lco", 0},
      {nullptr, nullptr, VL_LC_CTYPE, "VL_COLLATE=x.lco VL_CTYPE=  latin.lco VL_TIME=y.lco", "latin.lco", VL_EMISMATCH},
      {nullptr, nullptr, VL_LC_ALL, "", "VL_CTYPE = default.lco ; VL_COLLATE = default.lco ; "
       "VL_NUMERIC = default.lco ; VL_MONETARY = default.lco ; VL_TIME = default.lco ; VL_MESSAGES = default.lco ; ", 0},
      {"VL_LANG", "euc.lco", VL_LC_NUMERIC, "", "(null)", VL_ECATCODESET},  // VL_LANG: another codeset
      // the category's key before VL_LANG, VL_ALL before both; LC_NUMERIC, left null above, mismatches
      {"VL_CTYPE", "latin.lco", VL_LC_CTYPE, "", "latin.lco", VL_EMISMATCH},
      {"VL_ALL", "default.lco", VL_LC_CTYPE, "", "default.lco", VL_EMISMATCH},
      {"VL_ALL", "nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn", VL_LC_CTYPE, "", "(null)", VL_ENOENT},  // 33 characters
      {"VL_ALL", nullptr, VL_LC_ALL, "VL_CTYPE=latin.lco", "(null)", VL_ENOENT},  // the others take the whole text
      {nullptr, nullptr, 0, "latin.lco", "(null)", VL_EBADARG},
      {nullptr, nullptr, 8, "latin.lco", "(null)", VL_EBADARG},
      {nullptr, nullptr, VL_LC_CTYPE, "", "(null)", VL_EBADARG},  // replaced by 312 characters below
      {nullptr, nullptr, VL_LC_CTYPE, "native", "native", VL_EMISMATCH},
  };
  const std::string huge(312, 'a');
  steps[13].spec = huge.c_str();
  std::vector<std::unique_ptr<EnvVar>> env;  // the environment builds up
  for (const Step &s : steps) {
    SCOPED_TRACE(std::string(s.spec ? s.spec : "(null)") + " " + std::to_string(s.category));
    if (s.env) env.emplace_back(new EnvVar(s.env, s.value));
    h->vl_errno = 0;
    const std::string got = set(s.category, s.spec);
    EXPECT_EQ(std::tuple(got, h->vl_errno), std::tuple(s.want, s.err));
  }
  EXPECT_EQ(std::tuple(std::string(h->locale_names[0]), h->single_byte), std::tuple("native", 1));
}

// Damaged files, each loaded as one category over a good LC_CTYPE (or over
// one without characters), or as the whole default locale: the error
// number, and the log line the loader writes.
TEST_F(Loader, DamagedFiles) {
  const std::string hdr = "FILE_TYPE=locale_object\nCOMPILER_VERSION=11\n";
  struct Case { const char *name; int category; std::string text; uint32_t err; const char *log = nullptr; bool no_chars = false; } cases[] = {
      {"first line", VL_LC_CTYPE, "FILE_TYPE=locale\nCOMPILER_VERSION=11\nN=3\n8859-1\n", VL_EBADFILE},
      {"version", VL_LC_CTYPE, "FILE_TYPE=locale_object\nCOMPILER_VERSION=10\nN=3\n8859-1\n", VL_EVERSION},
      {"too few info lines", VL_LC_CTYPE, hdr + "N=5\nonly one\n", VL_EBADFILE},
      {"codeset too long", VL_LC_CTYPE, lco_header(std::string(25, 'c')), VL_EBADFILE},
      {"no marker", VL_LC_CTYPE, lco_header("8859-1") + "### LC_CTYPEX\n", VL_EBADFILE},
      {"empty", VL_LC_CTYPE, "", VL_EBADFILE},
      {"ctype tree cut", VL_LC_CTYPE, category_text("8859-1", VL_LC_CTYPE, kCt.substr(0, 40)), VL_ENOMEM},
      {"ctype default without line feed", VL_LC_CTYPE, category_text("8859-1", VL_LC_CTYPE, "1 1 1 0000 x\n"), VL_ECATFAILED},
      {"ctype tree too deep", VL_LC_CTYPE, category_text("8859-1", VL_LC_CTYPE, "5 1 1 0000\n"), VL_ETOODEEP},
      {"class count without line feed", VL_LC_CTYPE, category_text("8859-1", VL_LC_CTYPE, "1 1 1 0000\n1 0\n0000000\n0 x\n"), VL_EBADFILE},
      // one-byte keys under a header that claims other lengths (the other bounds: hardening_test)
      {"min 2", VL_LC_CTYPE, category_text("8859-1", VL_LC_CTYPE, ct_lengths("2 2 3 0000")), VL_ENOMEM},
      {"min 5", VL_LC_CTYPE, category_text("8859-1", VL_LC_CTYPE, ct_lengths("4 5 3 0000")), VL_ETOODEEP},
      {"group of 16", VL_LC_NUMERIC, category_text("8859-1", VL_LC_NUMERIC, kBadNum),
       VL_EBADCOUNT, "Failed to read numeric information\n"},
      {"monetary cut", VL_LC_MONETARY, category_text("8859-1", VL_LC_MONETARY, "3 5553"), VL_ENOENT, "Failed to read monetary information\n"},
      {"time cut", VL_LC_TIME, category_text("8859-1", VL_LC_TIME, "gregorian\n3 53"), VL_ENOMEM, "Failed to read time information\n"},
      {"messages cut", VL_LC_MESSAGES, category_text("8859-1", VL_LC_MESSAGES, "2 5E5B"), VL_ENOENT,
       "Failed to initialize messages information\n"},  // this path never logs "read" for messages
      {"messages of another codeset", VL_LC_MESSAGES, category_text("ujis", VL_LC_MESSAGES, kMsg), VL_ECATCODESET},
      {"numeric without characters", VL_LC_NUMERIC, category_text("8859-1", VL_LC_NUMERIC, kNum), VL_ECATINIT,
       "Failed to initialize numeric information\n", true},
      {"monetary without characters", VL_LC_MONETARY, category_text("8859-1", VL_LC_MONETARY, kMon), VL_ECATINIT,
       "Failed to initialize monetary information\n", true},
      {"time without characters", VL_LC_TIME, category_text("8859-1", VL_LC_TIME, kTime), VL_ECATINIT,
       "Failed to initialize time information\n", true},
      {"messages without characters", VL_LC_MESSAGES, category_text("8859-1", VL_LC_MESSAGES, kMsg), VL_ECATINIT,
       "Failed to initialize messages information\n", true},
      // whole files, as the default locale (one category's failure stands for all)
      {"whole: bad version", 0, "FILE_TYPE=locale_object\nCOMPILER_VERSION=12\nN=3\n8859-1\n", VL_EVERSION},
      {"whole: collate marker missing", 0, lco_header("8859-1") + "### LC_CTYPE\n" + kCt, VL_EBADFILE},
      {"whole: numeric", 0, whole(kCt, kBadNum), VL_EBADCOUNT, "Failed to read numeric information\n"},
      {"whole: no characters", 0, whole(kNoChars), VL_ECATINIT, "Failed to initialize numeric information\n"},
  };
  lc("ok.lco", category_text("8859-1", VL_LC_CTYPE, kCt));
  lc("nochars.lco", category_text("8859-1", VL_LC_CTYPE, kNoChars));
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  ASSERT_EQ(chdir(dir.path().c_str()), 0);  // the log goes to ./vls.log
  EnvVar log("VLSLOG", "on");
  vls_debug_initialized = 0;
  // Through the library's own streams, then through the host's stream
  // slots (the default forms installed in the table): the same errors.
  for (bool host : {false, true}) {
    HostStreams streams(host);
    for (const Case &c : cases) {
      SCOPED_TRACE(std::string(c.name) + (host ? " (host streams)" : ""));
      const size_t before = read_file("vls.log").size();
      vl_locale_t *x = nullptr;
      if (c.category == 0) {
        lc("bad/default.lco", c.text);
        EXPECT_EQ(vl_createlocale2_4(&x, (dir.path() + "/vls/lc11/bad/").c_str()), -1);
      } else {
        lc("bad.lco", c.text);
        ASSERT_EQ(vl_create_null_locale_4(&x), 0);
        vl_destroystring(vl_setlocale_4(x, VL_LC_CTYPE, c.no_chars ? "nochars.lco" : "ok.lco"));
        EXPECT_EQ(vl_setlocale_4(x, c.category, "bad.lco"), nullptr);
        EXPECT_EQ(x->locale_names[c.category - 2][0], '\0');
      }
      EXPECT_EQ(x->vl_errno, c.err);
      EXPECT_TRUE(!c.log || read_file("vls.log").find(c.log, before) != std::string::npos);
      vl_lc_unload(x);
    }
  }
  const size_t before = read_file("vls.log").size();  // and a good load, then its release
  vl_locale_t *x = nullptr;
  vl_create_null_locale_4(&x), vl_destroystring(vl_setlocale_4(x, VL_LC_ALL, "latin.lco")), vl_lc_unload(x);
  for (const char *t : {"vl_setlocale: Begin\n", "vl_setlocale: Calling vl_init_vlu\n", "vl_setlocale: Calling set_categories\n",
                        "vl_setlocale: retVal from set_categories\n", "vl_setlocale: End\n", "freeing locale 0x"})
    EXPECT_NE(read_file("vls.log").find(t, before), std::string::npos) << t;
  vls_logging = vls_debug_initialized = 0;
  ASSERT_EQ(chdir(cwd), 0);
}

TEST_F(Loader, CategoryCodesetMustMatchCtype) {
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  set(VL_LC_ALL, "latin.lco");  // a category file of another codeset: DamagedFiles
  strcpy(h->codeset_names[VL_LC_MESSAGES - 2], "ujis");  // not compared by update_locale
  h->vl_errno = 99;  // a successful update clears an older number
  EXPECT_EQ(update_locale(h), 0);
  EXPECT_EQ(h->vl_errno, 0u);
  strcpy(h->codeset_names[VL_LC_TIME - 2], "ujis");
  EXPECT_EQ(update_locale(h), -1);
  EXPECT_EQ(h->vl_errno, VL_EMISMATCH);
}

TEST_F(Loader, CopyCategoryRules) {
  vl_locale_t *src = nullptr, *dst = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&src), 0);
  ASSERT_EQ(vl_create_null_locale_4(&dst), 0);
  vl_destroystring(vl_setlocale_4(src, VL_LC_ALL, "euc.lco"));
  EXPECT_EQ(vl_copy_cat(dst, dst, VL_LC_CTYPE), -1);
  EXPECT_EQ(dst->vl_errno, VL_ENOSRCCAT);
  ASSERT_EQ(vl_copy_cat(dst, src, VL_LC_ALL), 0);
  EXPECT_EQ(std::tuple(dst->ctype.ctype_tree, dst->nmm.yesstr.mb, vl_full_mblen(dst, "\xB0\xA1", 4)),
            std::tuple(src->ctype.ctype_tree, src->nmm.yesstr.mb, 2));
  EXPECT_NE(dst->vlconv.decimal_point, src->vlconv.decimal_point);  // private conventions
  EXPECT_EQ(vl_copy_cat(dst, src, VL_LC_TIME), -1);
  EXPECT_EQ(dst->vl_errno, VL_EDSTCAT);
  vl_free_nonshared_loc(dst);
  vl_lc_unload(src);
}

TEST_F(Loader, LcLoad) {
  const std::string d = dir.path() + "/vls/lc11";
  struct Case { const char *spec, *dir; int rc; uint32_t err; } cases[] = {
      {"latin.lco", nullptr, 0, 0}, {"euc.lco", d.c_str(), 0, 0}, {"missing.lco", nullptr, -1, VL_ENOENT}};
  for (const Case &c : cases) {
    const int rc = vl_lc_load(&h, c.spec, nullptr, c.dir);
    EXPECT_EQ(std::tuple(rc, h->vl_errno, std::string(h->locale_names[3])), std::tuple(c.rc, c.err, c.rc ? "" : c.spec)) << c.spec;
    vl_lc_unload(h), h = nullptr;
  }
}
