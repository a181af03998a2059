// Locale naming: the registry reader and its caches, codeset numbers and
// CCSIDs, and the locale specification forms with their file names.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <vls/vls.h>
#include <vls/vlsext.h>
#include <vls/vlsspec.h>
#include <vls/vlsutils.h>

namespace {

// Any record whose first field is the error number serves as a handle.
struct Rec {
  uint32_t vl_errno = 0;
  uint32_t pad[7] = {};
};

constexpr uint16_t kNone = 0xE000;

std::string make_temp_dir() {
  char tmpl[] = "/tmp/vls_spec_XXXXXX";
  char *d = mkdtemp(tmpl);
  EXPECT_NE(d, nullptr);
  return d ? d : "";
}

void write_file(const std::string &path, const std::string &content) {
  FILE *f = fopen(path.c_str(), "wb");
  ASSERT_NE(f, nullptr) << path;
  fwrite(content.data(), 1, content.size(), f);
  fclose(f);
}

void make_dirs(const std::string &path) {
  std::string cur;
  for (size_t i = 0; i <= path.size(); ++i) {
    if (i == path.size() || path[i] == '/') {
      if (!cur.empty()) mkdir(cur.c_str(), 0755);
    }
    if (i < path.size()) cur += path[i];
  }
}

void remove_tree(const std::string &dir) {
  if (dir.empty()) return;
  std::string cmd = "rm -rf '" + dir + "'";
  (void)!system(cmd.c_str());
}

// Six elements of the long form, all with the same locale.
std::string long_form(const std::string &locale, const char *sep_last = "") {
  static const char *cats[6] = {"VL_CTYPE", "VL_COLLATE", "VL_NUMERIC", "VL_MONETARY", "VL_TIME", "VL_MESSAGES"};
  std::string s;
  for (int i = 0; i < 6; ++i) {
    if (i) s += " ; ";
    s += cats[i];
    s += " = ";
    s += locale;
  }
  return s + sep_last;
}

constexpr const char kRegistry[] =
    "# test registry\n"
    "8859-1 819\n"
    "latin-1\t819   trailing words\n"
    "ascii 364\n"
    "sjis 57350\n"
    "\n"
    "# comment between entries\n"
    "  ksc 57356\n"
    "utf8 57372\n";

// Every test starts without caches and with an empty product directory, so
// that nothing is found unless the test puts it there.
class NamingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    vl_free_registry_cache();
    dir_ = make_temp_dir();
    unsetenv("VL_PATH");
    setenv("KELVANIXDIR", dir_.c_str(), 1);
  }
  void TearDown() override {
    vl_free_registry_cache();
    unsetenv("KELVANIXDIR");
    remove_tree(dir_);
  }
  std::string reg(const std::string &content, const char *name = "registry") {
    std::string path = dir_ + "/" + name;
    write_file(path, content);
    return path;
  }
  std::string dir_;
  Rec rec_;
  void *h() { return &rec_; }
};

// Specification tests run on the built-in table.
class SpecTest : public NamingTest {
 protected:
  void SetUp() override {
    NamingTest::SetUp();
    EXPECT_EQ(vl_cache_registry(nullptr, (dir_ + "/none").c_str()), -1);
    ASSERT_EQ(vls_registry_array_cache, vls_canned_registry);
    rec_.vl_errno = 0;
  }
};

// ===========================================================================
// Tables
// ===========================================================================

TEST(SpecTables, CannedRegistryHas123PairsAndTerminator) {
  int n = 0;
  while (vls_canned_registry[n].name) ++n;
  EXPECT_EQ(n, 123);
  EXPECT_EQ(vls_canned_registry[123].name, nullptr);
  EXPECT_STREQ(vls_canned_registry[0].name, "ascii");
  EXPECT_EQ(vls_canned_registry[0].number, 364);
  EXPECT_STREQ(vls_canned_registry[122].name, "qa-unix-big5");
  EXPECT_EQ(vls_canned_registry[122].number, 57387);
}

TEST(SpecTables, CannedRegistryKeepsItsOddities) {
  auto find = [](const char *name, int from = 0) {
    for (int i = from; vls_canned_registry[i].name; ++i)
      if (strcmp(vls_canned_registry[i].name, name) == 0) return i;
    return -1;
  };
  int csid = find("csid933");
  ASSERT_GE(csid, 0);
  EXPECT_EQ(vls_canned_registry[csid].number, 933);
  EXPECT_EQ(find("ccsid933"), -1);
  EXPECT_EQ(vls_canned_registry[find("ccsid28709")].number, 29709);
  EXPECT_EQ(vls_canned_registry[find("tchhstexsbcs")].number, 28709);
  int g1 = find("greek");
  ASSERT_GE(g1, 0);
  int g2 = find("greek", g1 + 1);
  EXPECT_EQ(g2, g1 + 1);
  EXPECT_EQ(vls_canned_registry[g2].number, 737);
  EXPECT_EQ(vls_canned_registry[find("eucjp")].number, 5050);
  EXPECT_EQ(vls_canned_registry[find("8859-5")].number, 915);
  EXPECT_EQ(vls_canned_registry[find("guobiao2312")].number, 57357);
  EXPECT_EQ(vls_canned_registry[find("c")].number, 819);
}

TEST(SpecTables, CannedRegistryNamesAreLowerCaseAndFit) {
  for (int i = 0; vls_canned_registry[i].name; ++i) {
    const char *n = vls_canned_registry[i].name;
    EXPECT_LE(strlen(n), 21u) << n;
    for (const char *p = n; *p; ++p) EXPECT_FALSE(*p >= 'A' && *p <= 'Z') << n;
  }
}

TEST(SpecTables, AliasTable) {
  int n = 0;
  while (aliastab[n].alias) ++n;
  EXPECT_EQ(n, 15);
  EXPECT_EQ(aliastab[15].locale, nullptr);
  EXPECT_STREQ(aliastab[0].alias, "ascii");
  EXPECT_STREQ(aliastab[0].locale, "en_US.8859-1");
  EXPECT_STREQ(aliastab[2].alias, "ksc1");
  EXPECT_STREQ(aliastab[2].locale, "ko_KR.ksc");
  EXPECT_STREQ(aliastab[11].alias, "jis208");
  EXPECT_STREQ(aliastab[11].locale, "ja_JP.ujis");
  EXPECT_STREQ(aliastab[14].alias, "ujis");
  EXPECT_STREQ(aliastab[14].locale, "ja_JP.ujis");
}

TEST(SpecTables, IsCategory) {
  int len = -1;
  EXPECT_EQ(_vl_is_category("VL_CTYPE = x", &len), 1);
  EXPECT_EQ(len, 8);
  EXPECT_EQ(_vl_is_category("VL_COLLATE", &len), 2);
  EXPECT_EQ(len, 10);
  EXPECT_EQ(_vl_is_category("VL_TIME", &len), 3);
  EXPECT_EQ(len, 7);
  EXPECT_EQ(_vl_is_category("VL_MONETARY", &len), 4);
  EXPECT_EQ(len, 11);
  EXPECT_EQ(_vl_is_category("VL_NUMERIC", &len), 5);
  EXPECT_EQ(len, 10);
  EXPECT_EQ(_vl_is_category("VL_MESSAGES", &len), 6);
  EXPECT_EQ(len, 11);
  // Only the start is compared.
  EXPECT_EQ(_vl_is_category("VL_CTYPEX", &len), 1);
  EXPECT_EQ(len, 8);
  len = 99;
  EXPECT_EQ(_vl_is_category("vl_ctype", &len), 0);
  EXPECT_EQ(_vl_is_category(" VL_CTYPE", &len), 0);
  EXPECT_EQ(_vl_is_category("VL_LANG", &len), 0);
  EXPECT_EQ(_vl_is_category("VL_CTYP", &len), 0);
  EXPECT_EQ(len, 99);
}

TEST(SpecTables, AllDecimalDigits) {
  EXPECT_EQ(_vl_all_decimal_digits("0123456789"), 1);
  EXPECT_EQ(_vl_all_decimal_digits("12a"), 0);
  EXPECT_EQ(_vl_all_decimal_digits("-1"), 0);
  EXPECT_EQ(_vl_all_decimal_digits(" 1"), 0);
}

TEST(SpecTables, CcsidBothWays) {
  const uint32_t pairs[][2] = {{57349, 1202}, {57350, 943}, {57351, 33722}, {57352, 950}, {57356, 949},
                               {57357, 1383}, {57372, 1208}, {57373, 874},  {57375, 964}, {57382, 878},
                               {57385, 1051}, {57388, 848},  {57391, 923},  {57392, 1234}};
  for (auto &p : pairs) {
    EXPECT_EQ(vl_cs_nums2ccsid(nullptr, p[0]), p[1]) << p[0];
    EXPECT_EQ(vl_ccsid2cs_nums(nullptr, p[1]), p[0]) << p[1];
  }
}

TEST(SpecTables, CcsidPassThroughAndMisses) {
  Rec r;
  EXPECT_EQ(vl_cs_nums2ccsid(&r, 819), 819);
  EXPECT_EQ(vl_cs_nums2ccsid(&r, 0), 0);
  EXPECT_EQ(vl_cs_nums2ccsid(&r, 0xDFFF), 0xDFFF);
  EXPECT_EQ(vl_cs_nums2ccsid(&r, 57353), 0);  // private, not in the table
  EXPECT_EQ(vl_cs_nums2ccsid(&r, 0xE000), 0);
  EXPECT_EQ(vl_ccsid2cs_nums(&r, 1200), 1200);
  EXPECT_EQ(vl_ccsid2cs_nums(&r, 1232), 1232);
  EXPECT_EQ(vl_ccsid2cs_nums(&r, 819), 819);
  EXPECT_EQ(vl_ccsid2cs_nums(&r, 0xDFFF), 0xDFFF);
  EXPECT_EQ(vl_ccsid2cs_nums(&r, 0xE000), 0);
  EXPECT_EQ(vl_ccsid2cs_nums(&r, 57351), 0);
  EXPECT_EQ(r.vl_errno, 0u);
}

// ===========================================================================
// The registry reader
// ===========================================================================

class RegistryReader : public NamingTest {
 protected:
  FILE *open_text(const std::string &content) {
    std::string p = reg(content, "reader");
    return fopen(p.c_str(), "r");
  }
};

TEST_F(RegistryReader, NamesFoldAndCommentsAreSkipped) {
  FILE *f = open_text("# head\n  # more\n\tShift-JIS 57350\n");
  ASSERT_NE(f, nullptr);
  char buf[22];
  ASSERT_EQ(_vl_next_cs_name_from_registry(f, buf, 22), 1);
  EXPECT_STREQ(buf, "shift-jis");
  EXPECT_EQ(_vl_next_cs_number_from_registry(h(), f), 57350);
  EXPECT_NE(ignore_till_eol(f), 0);
  EXPECT_EQ(_vl_next_cs_name_from_registry(f, buf, 22), 0);
  EXPECT_EQ(rec_.vl_errno, 0u);
  fclose(f);
}

TEST_F(RegistryReader, NameOf21FitsAnd22EndsTheRead) {
  FILE *f = open_text("abcdefghijklmnopqrstu 1\nabcdefghijklmnopqrstuv 2\nnext 3\n");
  ASSERT_NE(f, nullptr);
  char buf[22];
  ASSERT_EQ(_vl_next_cs_name_from_registry(f, buf, 22), 1);
  EXPECT_STREQ(buf, "abcdefghijklmnopqrstu");
  EXPECT_EQ(_vl_next_cs_number_from_registry(h(), f), 1);
  EXPECT_NE(ignore_till_eol(f), 0);
  EXPECT_EQ(_vl_next_cs_name_from_registry(f, buf, 22), 0);
  fclose(f);
}

TEST_F(RegistryReader, EndOfFileInsideNameEndsTheRead) {
  FILE *f = open_text("abc");
  ASSERT_NE(f, nullptr);
  char buf[22];
  EXPECT_EQ(_vl_next_cs_name_from_registry(f, buf, 22), 0);
  fclose(f);
}

TEST_F(RegistryReader, CommentRunningToEndOfFile) {
  FILE *f = open_text("# only a comment");
  ASSERT_NE(f, nullptr);
  char buf[22];
  EXPECT_EQ(_vl_next_cs_name_from_registry(f, buf, 22), 0);
  fclose(f);
}

TEST_F(RegistryReader, NumberIsModulo65536) {
  FILE *f = open_text("  65537\n");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(_vl_next_cs_number_from_registry(h(), f), 1);
  EXPECT_EQ(rec_.vl_errno, 0u);
  fclose(f);
}

TEST_F(RegistryReader, NumberWithoutFollowingCharacterIsError11) {
  FILE *f = open_text(" 819");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(_vl_next_cs_number_from_registry(h(), f), kNone);
  EXPECT_EQ(rec_.vl_errno, 11u);
  fclose(f);
}

TEST_F(RegistryReader, MissingNumberIsError11) {
  FILE *f = open_text(" x12\n");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(_vl_next_cs_number_from_registry(h(), f), kNone);
  EXPECT_EQ(rec_.vl_errno, 11u);
  fclose(f);
  f = open_text("");
  rec_.vl_errno = 0;
  EXPECT_EQ(_vl_next_cs_number_from_registry(h(), f), kNone);
  EXPECT_EQ(rec_.vl_errno, 11u);
  fclose(f);
}

TEST_F(RegistryReader, IgnoreTillEol) {
  FILE *f = open_text("rest of line\nX");
  ASSERT_NE(f, nullptr);
  EXPECT_NE(ignore_till_eol(f), 0);
  EXPECT_EQ(fgetc(f), 'X');
  EXPECT_EQ(ignore_till_eol(f), 0);
  fclose(f);
}

// ===========================================================================
// Codeset names through the file
// ===========================================================================

using RegistryLookup = NamingTest;

TEST_F(RegistryLookup, FindsNamesInTheFile) {
  std::string path = reg(kRegistry);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "8859-1", path.c_str()), 819);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "latin-1", path.c_str()), 819);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "ksc", path.c_str()), 57356);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "utf8", path.c_str()), 57372);
  EXPECT_EQ(rec_.vl_errno, 0u);
}

TEST_F(RegistryLookup, UpperCaseNameFolds) {
  std::string path = reg(kRegistry);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "SJIS", path.c_str()), 57350);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "Latin-1", path.c_str()), 819);
}

TEST_F(RegistryLookup, UpperCaseEntryFolds) {
  std::string path = reg("MyCodeSet 1234\n");
  EXPECT_EQ(vl_cs_name2cs_num(h(), "mycodeset", path.c_str()), 1234);
}

TEST_F(RegistryLookup, LongNameIsCutAt21) {
  std::string path = reg("abcdefghijklmnopqrstu 4711\n");
  EXPECT_EQ(vl_cs_name2cs_num(h(), "abcdefghijklmnopqrstuvwxy", path.c_str()), 4711);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "ABCDEFGHIJKLMNOPQRSTUVWXY", path.c_str()), 4711);
  EXPECT_EQ(rec_.vl_errno, 0u);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "abcdefghijklmnopqrst", path.c_str()), kNone);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

TEST_F(RegistryLookup, NumberAsName) {
  std::string path = reg(kRegistry);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "819", path.c_str()), 819);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "65535", path.c_str()), 65535);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "0", path.c_str()), 0);
  EXPECT_EQ(rec_.vl_errno, 0u);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "70000", path.c_str()), kNone);
  EXPECT_EQ(rec_.vl_errno, 7u);
  rec_.vl_errno = 0;
  EXPECT_EQ(vl_cs_name2cs_num(h(), "65536", path.c_str()), kNone);
  EXPECT_EQ(rec_.vl_errno, 7u);
  rec_.vl_errno = 0;
  EXPECT_EQ(vl_cs_name2cs_num(h(), "99999999999999999999999", path.c_str()), kNone);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

TEST_F(RegistryLookup, RegistryEntryBeatsNumberRule) {
  std::string path = reg("819 1\n");
  EXPECT_EQ(vl_cs_name2cs_num(h(), "819", path.c_str()), 1);
}

TEST_F(RegistryLookup, UnknownNameIsError7) {
  std::string path = reg(kRegistry);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "nosuchset", path.c_str()), kNone);
  EXPECT_EQ(rec_.vl_errno, 7u);
  rec_.vl_errno = 0;
  EXPECT_EQ(vl_cs_name2cs_num(h(), "", path.c_str()), kNone);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

TEST_F(RegistryLookup, FirstEntryWins) {
  std::string path = reg("dup 1\ndup 2\n");
  EXPECT_EQ(vl_cs_name2cs_num(h(), "dup", path.c_str()), 1);
}

TEST_F(RegistryLookup, MissingLastNewlineIsError11) {
  std::string path = reg("first 1\nlast 2");
  EXPECT_EQ(vl_cs_name2cs_num(h(), "first", path.c_str()), 1);
  EXPECT_EQ(rec_.vl_errno, 0u);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "last", path.c_str()), kNone);
  EXPECT_EQ(rec_.vl_errno, 11u);
  // A name behind it is never reached, and a number isn't tried either.
  rec_.vl_errno = 0;
  EXPECT_EQ(vl_cs_name2cs_num(h(), "819", path.c_str()), kNone);
  EXPECT_EQ(rec_.vl_errno, 11u);
}

TEST_F(RegistryLookup, SkippedLineRunningIntoEndOfFileIsError11) {
  std::string path = reg("one 1 tail");
  EXPECT_EQ(vl_cs_name2cs_num(h(), "one", path.c_str()), 1);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "two", path.c_str()), kNone);
  EXPECT_EQ(rec_.vl_errno, 11u);
}

TEST_F(RegistryLookup, MissingNumberIsError11) {
  std::string path = reg("one\ntwo 2\n");
  EXPECT_EQ(vl_cs_name2cs_num(h(), "two", path.c_str()), kNone);
  EXPECT_EQ(rec_.vl_errno, 11u);
}

TEST_F(RegistryLookup, LongNameEndsTheRead) {
  std::string path = reg("aaaaaaaaaaaaaaaaaaaaaa 1\nlater 2\n");
  EXPECT_EQ(vl_cs_name2cs_num(h(), "later", path.c_str()), kNone);
  EXPECT_EQ(rec_.vl_errno, 7u);
  // The number rule still applies once the file was read.
  EXPECT_EQ(vl_cs_name2cs_num(h(), "42", path.c_str()), 42);
}

TEST_F(RegistryLookup, CommentsBeforeAndBetween) {
  std::string path = reg("# c1\n# c2\nx 10\n   # c3\n#\ny 20\n");
  EXPECT_EQ(vl_cs_name2cs_num(h(), "x", path.c_str()), 10);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "y", path.c_str()), 20);
  EXPECT_EQ(rec_.vl_errno, 0u);
}

TEST_F(RegistryLookup, NoFileIsError15AndNoNumberRule) {
  std::string missing = dir_ + "/missing";
  EXPECT_EQ(vl_cs_name2cs_num(h(), "8859-1", missing.c_str()), kNone);
  EXPECT_EQ(rec_.vl_errno, 15u);
  rec_.vl_errno = 0;
  EXPECT_EQ(vl_cs_name2cs_num(h(), "819", missing.c_str()), kNone);
  EXPECT_EQ(rec_.vl_errno, 15u);
  // Found nowhere on the search path either.
  rec_.vl_errno = 0;
  EXPECT_EQ(vl_cs_name2cs_num(h(), "819", nullptr), kNone);
  EXPECT_EQ(rec_.vl_errno, 15u);
  // An error number from before the call doesn't survive the failed open.
  rec_.vl_errno = 3;
  EXPECT_EQ(vl_cs_name2cs_num(h(), "819", missing.c_str()), kNone);
  EXPECT_EQ(rec_.vl_errno, 15u);
}

TEST_F(RegistryLookup, NullHandleIsAccepted) {
  EXPECT_EQ(vl_cs_name2cs_num(nullptr, "819", (dir_ + "/missing").c_str()), kNone);
  std::string path = reg(kRegistry);
  EXPECT_EQ(vl_cs_name2cs_num(nullptr, "nosuch", path.c_str()), kNone);
  EXPECT_EQ(vl_cs_name2cs_num(nullptr, "ascii", path.c_str()), 364);
  EXPECT_EQ(vl_cs_name2cs_num(nullptr, nullptr, path.c_str()), kNone);
}

TEST_F(RegistryLookup, FoundBelowKelvanixdir) {
  make_dirs(dir_ + "/vls/cm3");
  write_file(dir_ + "/vls/cm3/registry", "found3 3\n");
  EXPECT_EQ(vl_cs_name2cs_num(h(), "found3", nullptr), 3);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "found3", ""), 3);
  EXPECT_EQ(rec_.vl_errno, 0u);
}

TEST_F(RegistryLookup, FoundBelowUnversionedDirectory) {
  make_dirs(dir_ + "/vls/cm");
  write_file(dir_ + "/vls/cm/registry", "plain 5\n");
  EXPECT_EQ(vl_cs_name2cs_num(h(), "plain", nullptr), 5);
}

TEST_F(RegistryLookup, FoundThroughVlPath) {
  std::string other = make_temp_dir();
  write_file(other + "/registry", "viapath 77\n");
  setenv("VL_PATH", ("::" + other).c_str(), 1);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "viapath", nullptr), 77);
  unsetenv("VL_PATH");
  remove_tree(other);
}

TEST_F(RegistryLookup, PathWithMarkerByte) {
  make_dirs(dir_ + "/sub");
  write_file(dir_ + "/sub/registry", "marked 9\n");
  std::string cookie = dir_ + "\xFF" + "sub/registry";
  EXPECT_EQ(vl_cs_name2cs_num(h(), "marked", cookie.c_str()), 9);
}

// ===========================================================================
// The caches
// ===========================================================================

using RegistryCache = NamingTest;

TEST_F(RegistryCache, CachesTheFileInOrder) {
  std::string path = reg("b 2\na 1\nb 3\n");
  EXPECT_EQ(vl_cache_registry(h(), path.c_str()), 0);
  EXPECT_EQ(rec_.vl_errno, 0u);
  ASSERT_NE(vls_registry_list_cache, nullptr);
  EXPECT_EQ(vls_registry_array_cache, nullptr);
  const vl_registry_record *r = vls_registry_list_cache;
  EXPECT_STREQ(r->name, "b");
  EXPECT_EQ(r->number, 2);
  r = r->next;
  ASSERT_NE(r, nullptr);
  EXPECT_STREQ(r->name, "a");
  r = r->next;
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->number, 3);
  EXPECT_EQ(r->next, nullptr);

  // The file is no longer read.
  unlink(path.c_str());
  EXPECT_EQ(vl_cs_name2cs_num(h(), "b", path.c_str()), 2);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "A", nullptr), 1);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "8859-1", nullptr), kNone);  // not the built-in table
  EXPECT_EQ(rec_.vl_errno, 7u);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "819", nullptr), 819);
}

TEST_F(RegistryCache, EndOfFileAfterAnEntryPublishes) {
  std::string path = reg("x 1\ny 2 ");
  EXPECT_EQ(vl_cache_registry(h(), path.c_str()), 0);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "y", nullptr), 2);
  EXPECT_EQ(rec_.vl_errno, 0u);
}

TEST_F(RegistryCache, LongNameEndsCaching) {
  std::string path = reg("x 1\nthisnameistoolongforthebuffer 2\ny 3\n");
  EXPECT_EQ(vl_cache_registry(h(), path.c_str()), 0);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "x", nullptr), 1);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "y", nullptr), kNone);
}

TEST_F(RegistryCache, MissingFileFallsBackOnBuiltInTable) {
  EXPECT_EQ(vl_cache_registry(h(), (dir_ + "/missing").c_str()), -1);
  EXPECT_EQ(rec_.vl_errno, 15u);
  EXPECT_EQ(vls_registry_list_cache, nullptr);
  EXPECT_EQ(vls_registry_array_cache, vls_canned_registry);
  rec_.vl_errno = 0;
  EXPECT_EQ(vl_cs_name2cs_num(h(), "8859-1", nullptr), 819);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "ccsid28709", nullptr), 29709);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "GREEK", nullptr), 737);
  EXPECT_EQ(rec_.vl_errno, 0u);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "4321", nullptr), 4321);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "nosuch", nullptr), kNone);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

TEST_F(RegistryCache, NotFoundOnSearchPathFallsBack) {
  EXPECT_EQ(vl_cache_registry(h(), nullptr), -1);
  EXPECT_EQ(rec_.vl_errno, 15u);
  EXPECT_EQ(vls_registry_array_cache, vls_canned_registry);
}

TEST_F(RegistryCache, BadNumberFallsBackWithError11) {
  std::string path = reg("x 1\ny\nz 3\n");
  EXPECT_EQ(vl_cache_registry(h(), path.c_str()), -1);
  EXPECT_EQ(rec_.vl_errno, 11u);
  EXPECT_EQ(vls_registry_list_cache, nullptr);
  EXPECT_EQ(vls_registry_array_cache, vls_canned_registry);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "x", nullptr), kNone);
}

TEST_F(RegistryCache, NumberWithoutNewlineFallsBack) {
  std::string path = reg("x 1\ny 2");
  EXPECT_EQ(vl_cache_registry(h(), path.c_str()), -1);
  EXPECT_EQ(rec_.vl_errno, 11u);
  EXPECT_EQ(vls_registry_array_cache, vls_canned_registry);
}

TEST_F(RegistryCache, RecachingDropsTheOldCache) {
  std::string p1 = reg("one 1\n", "r1");
  std::string p2 = reg("two 2\n", "r2");
  EXPECT_EQ(vl_cache_registry(h(), p1.c_str()), 0);
  EXPECT_EQ(vl_cache_registry(h(), p2.c_str()), 0);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "two", nullptr), 2);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "one", nullptr), kNone);
  EXPECT_EQ(vl_cache_registry(h(), (dir_ + "/none").c_str()), -1);
  EXPECT_EQ(vls_registry_list_cache, nullptr);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "ascii", nullptr), 364);
}

TEST_F(RegistryCache, FreeReturnsToTheFile) {
  EXPECT_EQ(vl_cache_registry(h(), (dir_ + "/none").c_str()), -1);
  vl_free_registry_cache();
  EXPECT_EQ(vls_registry_list_cache, nullptr);
  EXPECT_EQ(vls_registry_array_cache, nullptr);
  rec_.vl_errno = 0;
  std::string path = reg("file 5\n");
  EXPECT_EQ(vl_cs_name2cs_num(h(), "file", path.c_str()), 5);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "ascii", path.c_str()), kNone);
  vl_free_registry_cache();  // twice is harmless
}

TEST_F(RegistryCache, CachesFromTheSearchPath) {
  make_dirs(dir_ + "/vls/cm3");
  write_file(dir_ + "/vls/cm3/registry", kRegistry);
  EXPECT_EQ(vl_cache_registry(h(), ""), 0);
  EXPECT_EQ(vl_cs_name2cs_num(h(), "sjis", nullptr), 57350);
}

// ===========================================================================
// Codeset number of a specification
// ===========================================================================

using SpecCsNum = SpecTest;

TEST_F(SpecCsNum, ShortFormsAndBareNames) {
  EXPECT_EQ(vl_lc_spec2cs_num(h(), "en_US.8859-1", nullptr), 819);
  EXPECT_EQ(vl_lc_spec2cs_num(h(), "8859-1", nullptr), 819);
  EXPECT_EQ(vl_lc_spec2cs_num(h(), "LATIN-1", nullptr), 819);
  EXPECT_EQ(vl_lc_spec2cs_num(h(), "ja_JP.sjis@abc", nullptr), 57350);
  EXPECT_EQ(vl_lc_spec2cs_num(h(), "en_US.819", nullptr), 819);
  EXPECT_EQ(vl_lc_spec2cs_num(h(), "1252", nullptr), 1252);
  EXPECT_EQ(rec_.vl_errno, 0u);
}

TEST_F(SpecCsNum, LeftoverMakesTheWholeTextAName) {
  EXPECT_EQ(vl_lc_spec2cs_num(h(), "en_US.819 x", nullptr), kNone);
  EXPECT_EQ(rec_.vl_errno, 7u);
  rec_.vl_errno = 0;
  EXPECT_EQ(vl_lc_spec2cs_num(h(), "en_US", nullptr), kNone);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

TEST_F(SpecCsNum, LongForm) {
  EXPECT_EQ(vl_lc_spec2cs_num(h(), long_form("en_US.8859-1").c_str(), nullptr), 819);
  EXPECT_EQ(vl_lc_spec2cs_num(h(), "VL_TIME = de_DE.819 ; VL_CTYPE = en_US.latin-1", nullptr), 819);
  EXPECT_EQ(vl_lc_spec2cs_num(h(), "VL_TIME = de_DE.819@euro", nullptr), 819);
  EXPECT_EQ(rec_.vl_errno, 0u);
}

TEST_F(SpecCsNum, LongFormDeviations) {
  const char *bad[] = {
      "VL_CTYPE = en_US.819 ; VL_CTYPE = en_US.819",     // category twice
      "VL_CTYPE = en_US.819 ; VL_TIME = ja_JP.sjis",     // two codesets
      "VL_CTYPE = en_US.819 junk",                       // left over
      "VL_CTYPE = en_US.819 ; junk",                     // no category behind " ; "
      "VL_CTYPE=en_US.819",                              // no " = "
      "VL_CTYPE = en_US",                                // no codeset
      "VL_CTYPE = en_US.nosuch",                         // unknown codeset
  };
  for (const char *s : bad) {
    rec_.vl_errno = 0;
    EXPECT_EQ(vl_lc_spec2cs_num(h(), s, nullptr), kNone) << s;
    EXPECT_EQ(rec_.vl_errno, 7u) << s;
  }
}

TEST_F(SpecCsNum, NullSpecification) {
  EXPECT_EQ(vl_lc_spec2cs_num(h(), nullptr, nullptr), kNone);
  EXPECT_EQ(rec_.vl_errno, 7u);
  EXPECT_EQ(vl_lc_spec2cs_num(nullptr, nullptr, nullptr), kNone);
  EXPECT_EQ(vl_lc_spec2cs_num(nullptr, "VL_CTYPE = x", nullptr), kNone);
}

TEST_F(SpecCsNum, OverlongTextIsCut) {
  std::string s = "VL_CTYPE = en_US.819 ; " + std::string(400, 'x');
  EXPECT_EQ(vl_lc_spec2cs_num(h(), s.c_str(), nullptr), kNone);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

// ===========================================================================
// Short form parser
// ===========================================================================

using XopenSpec = SpecTest;

TEST_F(XopenSpec, ParsesAndMovesPointers) {
  const char *text = "en_US.8859-1 rest";
  char out[64];
  memset(out, 'Z', sizeof out);
  char *o = out;
  uint16_t num = 0;
  ASSERT_EQ(_vl_is_xopen_spec(h(), &text, &o, &num, nullptr), 1);
  EXPECT_STREQ(out, "en_us/0333.lco");
  EXPECT_EQ(o, out + 14);
  EXPECT_EQ(*o, '\0');
  EXPECT_STREQ(text, " rest");
  EXPECT_EQ(num, 819);
}

TEST_F(XopenSpec, ModifierIsCopiedAsItStandsWithoutZeroByte) {
  const char *text = "DE_de.latin-1@EuRo";
  char out[64];
  memset(out, 'Z', sizeof out);
  char *o = out;
  uint16_t num = 0;
  ASSERT_EQ(_vl_is_xopen_spec(h(), &text, &o, &num, nullptr), 1);
  EXPECT_EQ(std::string(out, 18), "de_de/0333EuRo.lco");
  EXPECT_EQ(o, out + 18);
  EXPECT_EQ(*o, 'Z');
  EXPECT_EQ(*text, '\0');
}

TEST_F(XopenSpec, HexDigitsAreLowerCase) {
  const char *text = "ja_JP.sjis";
  char out[64];
  char *o = out;
  uint16_t num = 0;
  ASSERT_EQ(_vl_is_xopen_spec(h(), &text, &o, &num, nullptr), 1);
  EXPECT_STREQ(out, "ja_jp/e006.lco");
}

TEST_F(XopenSpec, Refusals) {
  const char *bad[] = {
      "en_US.8859-1@euros",                // five modifier characters
      "en_US.abcdefghijklmnopqrstuv",      // 22-character codeset
      "en_US.#819",                        // "#" opens the codeset
      "en_US. 819",                        // blank opens the codeset
      "en_US.",                            // no codeset
      "en_US.nosuch",                      // unknown
      "en-US.819",                         // no "_"
      "e1_US.819",                         // not a letter
      "en_U1.819",
      "en_US819",                          // no "."
      "",
  };
  for (const char *s : bad) {
    const char *text = s;
    char out[64];
    char *o = out;
    uint16_t num = 0;
    EXPECT_EQ(_vl_is_xopen_spec(h(), &text, &o, &num, nullptr), 0) << s;
    EXPECT_EQ(text, s) << s;
    EXPECT_EQ(o, out) << s;
  }
}

TEST_F(XopenSpec, TwentyOneCharacterCodesetIsLookedUp) {
  const char *text = "en_US.000000000000000000819";  // 21 characters
  char out[64];
  char *o = out;
  uint16_t num = 0;
  EXPECT_EQ(_vl_is_xopen_spec(h(), &text, &o, &num, nullptr), 1);
  EXPECT_STREQ(out, "en_us/0333.lco");
  const char *text2 = "en_US.0000000000000000000819";  // 22 characters
  o = out;
  EXPECT_EQ(_vl_is_xopen_spec(h(), &text2, &o, &num, nullptr), 0);
}

TEST_F(XopenSpec, RegistryErrorIsKept) {
  // A name with the file's last entry lacking its newline: error 11.
  vl_free_registry_cache();
  std::string path = reg("one 1\ntwo 2");
  const char *text = "en_US.two";
  char out[64];
  char *o = out;
  uint16_t num = 0;
  EXPECT_EQ(_vl_is_xopen_spec(h(), &text, &o, &num, path.c_str()), 0);
  EXPECT_EQ(rec_.vl_errno, 11u);
}

TEST_F(XopenSpec, FourCharacterModifier) {
  const char *text = "en_US.819@ab12";
  char out[64] = {};
  char *o = out;
  uint16_t num = 0;
  ASSERT_EQ(_vl_is_xopen_spec(h(), &text, &o, &num, nullptr), 1);
  EXPECT_STREQ(out, "en_us/0333ab12.lco");
}

// ===========================================================================
// Specification to file name
// ===========================================================================

using SpecFname = SpecTest;

TEST_F(SpecFname, WorkedExamples) {
  char out[512];
  ASSERT_EQ(vl_lc_spec2lc_fname(h(), "en_US.8859-1", out, nullptr, nullptr), 0);
  EXPECT_STREQ(out, "en_us/0333.lco");
  ASSERT_EQ(vl_lc_spec2lc_fname(h(), "en_US.819", out, nullptr, nullptr), 0);
  EXPECT_STREQ(out, "en_us/0333.lco");
  ASSERT_EQ(vl_lc_spec2lc_fname(h(), "en_US.8859-1@euro", out, nullptr, nullptr), 0);
  EXPECT_STREQ(out, "en_us/0333euro.lco");
  ASSERT_EQ(vl_lc_spec2lc_fname(h(), "EN_US.8859-1", out, nullptr, nullptr), 0);
  EXPECT_STREQ(out, "en_us/0333.lco");
  ASSERT_EQ(vl_lc_spec2lc_fname(h(), "ko_KR.KSC", out, nullptr, nullptr), 0);
  EXPECT_STREQ(out, "ko_kr/e00c.lco");
  EXPECT_EQ(rec_.vl_errno, 0u);
}

TEST_F(SpecFname, ShortFormIgnoresDirectory) {
  char out[512];
  ASSERT_EQ(vl_lc_spec2lc_fname(h(), "en_US.819", out, nullptr, "/some/dir"), 0);
  EXPECT_STREQ(out, "en_us/0333.lco");
}

TEST_F(SpecFname, Refusals) {
  const char *bad[] = {"en_us", "en_US.8859-1@euros", "en_US.819 ", "en_US.819 ; ", "", "x"};
  for (const char *s : bad) {
    char out[512];
    rec_.vl_errno = 0;
    EXPECT_EQ(vl_lc_spec2lc_fname(h(), s, out, nullptr, nullptr), -1) << s;
    EXPECT_EQ(rec_.vl_errno, 7u) << s;
  }
  char out[16];
  rec_.vl_errno = 0;
  EXPECT_EQ(vl_lc_spec2lc_fname(h(), nullptr, out, nullptr, nullptr), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

TEST_F(SpecFname, LongForm) {
  char out[1024];
  ASSERT_EQ(vl_lc_spec2lc_fname(h(), "VL_CTYPE = en_US.8859-1 ; VL_TIME = de_DE.819@euro", out, nullptr, nullptr), 0);
  EXPECT_STREQ(out, "VL_CTYPE = en_us/0333.lco ; VL_TIME = de_de/0333euro.lco");
  ASSERT_EQ(vl_lc_spec2lc_fname(h(), long_form("en_US.819").c_str(), out, nullptr, nullptr), 0);
  EXPECT_STREQ(out, long_form("en_us/0333.lco").c_str());
}

TEST_F(SpecFname, LongFormMarksTheDirectory) {
  char out[1024];
  ASSERT_EQ(vl_lc_spec2lc_fname(h(), "VL_CTYPE = en_US.819 ; VL_COLLATE = fr_FR.819", out, nullptr, "/d"), 0);
  EXPECT_STREQ(out, "VL_CTYPE = /d\xFF" "en_us/0333.lco ; VL_COLLATE = /d\xFF" "fr_fr/0333.lco");
  ASSERT_EQ(vl_lc_spec2lc_fname(h(), "VL_CTYPE = en_US.819", out, nullptr, ""), 0);
  EXPECT_STREQ(out, "VL_CTYPE = en_us/0333.lco");
}

TEST_F(SpecFname, LongFormRefusals) {
  const char *bad[] = {
      "VL_CTYPE = en_US.819 ; VL_CTYPE = en_US.819",
      "VL_CTYPE = en_US.819 ; VL_TIME = ja_JP.sjis",
      "VL_CTYPE = en_US.819 ; ",
      "VL_CTYPE = en_US.819 ;VL_TIME = en_US.819",
      "VL_CTYPE = en_US.819 ; VL_LANG = en_US.819",
      "VL_CTYPE = en_US",
      "VL_CTYPE  = en_US.819",
      "VL_CTYPE = en_US.819@toolong",
  };
  for (const char *s : bad) {
    char out[1024];
    rec_.vl_errno = 0;
    EXPECT_EQ(vl_lc_spec2lc_fname(h(), s, out, nullptr, nullptr), -1) << s;
    EXPECT_EQ(rec_.vl_errno, 7u) << s;
  }
}

TEST_F(SpecFname, RegistryErrorStaysInTheHandle) {
  vl_free_registry_cache();
  char out[64];
  EXPECT_EQ(vl_lc_spec2lc_fname(h(), "en_US.8859-1", out, (dir_ + "/none").c_str(), nullptr), -1);
  EXPECT_EQ(rec_.vl_errno, 15u);
  std::string path = reg("x 1\ny 2");
  rec_.vl_errno = 0;
  EXPECT_EQ(vl_lc_spec2lc_fname(h(), "VL_CTYPE = en_US.y", out, path.c_str(), nullptr), -1);
  EXPECT_EQ(rec_.vl_errno, 11u);
}

TEST_F(SpecFname, UsesTheGivenRegistry) {
  vl_free_registry_cache();
  std::string path = reg(kRegistry);
  char out[64];
  ASSERT_EQ(vl_lc_spec2lc_fname(h(), "ja_JP.SJIS", out, path.c_str(), nullptr), 0);
  EXPECT_STREQ(out, "ja_jp/e006.lco");
}

TEST_F(SpecFname, OverlongSpecificationIsCut) {
  std::string s = "en_US.819" + std::string(300, ' ');
  char out[64];
  EXPECT_EQ(vl_lc_spec2lc_fname(h(), s.c_str(), out, nullptr, nullptr), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

// ===========================================================================
// Directory of the messages category
// ===========================================================================

using SpecMsgDir = SpecTest;

TEST_F(SpecMsgDir, ShortForm) {
  char out[32];
  ASSERT_EQ(vl_lc_spec2msg_dname(h(), "en_US.8859-1@euro", out, nullptr, nullptr), 0);
  EXPECT_STREQ(out, "en_us/0333");
}

TEST_F(SpecMsgDir, LongForm) {
  char out[32];
  ASSERT_EQ(vl_lc_spec2msg_dname(h(), "VL_CTYPE = en_US.819 ; VL_MESSAGES = de_DE.8859-1", out, nullptr, nullptr), 0);
  EXPECT_STREQ(out, "de_de/0333");
  rec_.vl_errno = 0;
  EXPECT_EQ(vl_lc_spec2msg_dname(h(), "VL_CTYPE = en_US.819 ; VL_TIME = de_DE.819", out, nullptr, nullptr), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

TEST_F(SpecMsgDir, LongFormWithDirectoryGivesItsStart) {
  char out[32];
  ASSERT_EQ(vl_lc_spec2msg_dname(h(), "VL_MESSAGES = de_DE.819", out, nullptr, "/opt/locales"), 0);
  EXPECT_STREQ(out, "/opt/local");
}

TEST_F(SpecMsgDir, FailureOfTheName) {
  char out[32];
  EXPECT_EQ(vl_lc_spec2msg_dname(h(), "en_US.nosuch", out, nullptr, nullptr), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

TEST_F(SpecMsgDir, HugeDirectoryIsRefused) {
  std::string d(2000, 'd');
  char out[32];
  EXPECT_EQ(vl_lc_spec2msg_dname(h(), "VL_MESSAGES = de_DE.819", out, nullptr, d.c_str()), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

// ===========================================================================
// Conversion object names and the directory marker
// ===========================================================================

TEST(SpecCvName, WorkedExample) {
  char out[64];
  ASSERT_EQ(vl_cs_nums2cv_fname(nullptr, 0x0333, 0xE015, out, nullptr), 0);
  EXPECT_STREQ(out, "0333e015.cvo");
  ASSERT_EQ(vl_cs_nums2cv_fname(nullptr, 0xABCD, 0x0001, out, ""), 0);
  EXPECT_STREQ(out, "abcd0001.cvo");
}

TEST(SpecCvName, WithDirectoryExactSize) {
  const char *dir = "/x/y";
  char out[4 + 14];
  ASSERT_EQ(vl_cs_nums2cv_fname(nullptr, 0x0333, 0xE015, out, dir), 0);
  EXPECT_STREQ(out, "/x/y\xFF" "0333e015.cvo");
  char small[14];
  ASSERT_EQ(vl_cs_nums2cv_fname(nullptr, 0, 0xFFFF, small, nullptr), 0);
  EXPECT_STREQ(small, "0000ffff.cvo");
}

TEST(SpecPathcat, MarkerOnlyBehindNonEmptyDirectory) {
  char buf[32];
  memset(buf, 'Z', sizeof buf);
  char *e = pathcat_mark(buf, "/dir");
  EXPECT_EQ(e, buf + 5);
  EXPECT_EQ(std::string(buf, 5), "/dir\xFF");
  EXPECT_EQ(*e, '\0');
  e = pathcat_mark(buf, "");
  EXPECT_EQ(e, buf);
  EXPECT_EQ(*e, '\0');
  e = pathcat_mark(buf, nullptr);
  EXPECT_EQ(e, buf);
}

// ===========================================================================
// File name pieces and back
// ===========================================================================

TEST(SpecPieces, SplitsAFileName) {
  char lt[6], cs[6], mod[5];
  ASSERT_EQ(vl_lc_fname2lc_pieces(nullptr, "en_us/0333.lco", lt, cs, mod), 0);
  EXPECT_STREQ(lt, "en_US");
  EXPECT_STREQ(cs, "819");
  EXPECT_STREQ(mod, "");
  ASSERT_EQ(vl_lc_fname2lc_pieces(nullptr, "DE_de\\E005euro.lco", lt, cs, mod), 0);
  EXPECT_STREQ(lt, "de_DE");
  EXPECT_STREQ(cs, "57349");
  EXPECT_STREQ(mod, "euro");
  ASSERT_EQ(vl_lc_fname2lc_pieces(nullptr, "ja_jp/ffff", lt, cs, mod), 0);
  EXPECT_STREQ(cs, "65535");
  EXPECT_STREQ(mod, "");
  // Fewer than four digits, and a modifier cut at four.
  ASSERT_EQ(vl_lc_fname2lc_pieces(nullptr, "en_us/33.lco", lt, cs, mod), 0);
  EXPECT_STREQ(cs, "51");
  ASSERT_EQ(vl_lc_fname2lc_pieces(nullptr, "en_us/0000abcdefg.lco", lt, cs, mod), 0);
  EXPECT_STREQ(cs, "0");
  EXPECT_STREQ(mod, "abcd");
}

TEST(SpecPieces, SplitRefusals) {
  Rec r;
  char lt[6], cs[6], mod[5];
  EXPECT_EQ(vl_lc_fname2lc_pieces(&r, "e1_us/0333.lco", lt, cs, mod), -1);
  EXPECT_EQ(r.vl_errno, 7u);
  r.vl_errno = 0;
  EXPECT_EQ(vl_lc_fname2lc_pieces(&r, "enxus/0333.lco", lt, cs, mod), -1);
  EXPECT_EQ(r.vl_errno, 7u);
  r.vl_errno = 0;
  EXPECT_EQ(vl_lc_fname2lc_pieces(&r, "en_us/x333.lco", lt, cs, mod), -1);
  EXPECT_EQ(r.vl_errno, 7u);
  // A wrong separator gives -1 without an error number.
  r.vl_errno = 0;
  EXPECT_EQ(vl_lc_fname2lc_pieces(&r, "en_us.0333.lco", lt, cs, mod), -1);
  EXPECT_EQ(r.vl_errno, 0u);
  EXPECT_EQ(vl_lc_fname2lc_pieces(&r, "default.lco", lt, cs, mod), -1);
  EXPECT_EQ(vl_lc_fname2lc_pieces(nullptr, "x", lt, cs, mod), -1);
  EXPECT_EQ(vl_lc_fname2lc_pieces(nullptr, "", lt, cs, mod), -1);
}

TEST(SpecPieces, JoinsPieces) {
  char out[32];
  ASSERT_EQ(vl_lc_pieces2lc_spec(nullptr, "en_US", "819", nullptr, out), 0);
  EXPECT_STREQ(out, "en_US.819");
  ASSERT_EQ(vl_lc_pieces2lc_spec(nullptr, "EN_us", "819", "", out), 0);
  EXPECT_STREQ(out, "EN_us.819");
  ASSERT_EQ(vl_lc_pieces2lc_spec(nullptr, "de_DE", "57349", "eurodollar", out), 0);
  EXPECT_STREQ(out, "de_DE.57349@euro");
  ASSERT_EQ(vl_lc_pieces2lc_spec(nullptr, "de_DE", "1234567", "x", out), 0);
  EXPECT_STREQ(out, "de_DE.12345@x");
  ASSERT_EQ(vl_lc_pieces2lc_spec(nullptr, "de_DE", "abcDE", nullptr, out), 0);
  EXPECT_STREQ(out, "de_DE.abcDE");
}

TEST(SpecPieces, JoinRefusals) {
  Rec r;
  char out[32];
  EXPECT_EQ(vl_lc_pieces2lc_spec(&r, "en_US", "", nullptr, out), -1);
  EXPECT_EQ(r.vl_errno, 7u);
  r.vl_errno = 0;
  EXPECT_EQ(vl_lc_pieces2lc_spec(&r, "en_US", "8859-1", nullptr, out), -1);
  EXPECT_EQ(r.vl_errno, 7u);
  r.vl_errno = 0;
  EXPECT_EQ(vl_lc_pieces2lc_spec(&r, "enUS", "819", nullptr, out), -1);
  EXPECT_EQ(r.vl_errno, 7u);
  r.vl_errno = 0;
  EXPECT_EQ(vl_lc_pieces2lc_spec(&r, "e1_US", "819", nullptr, out), -1);
  EXPECT_EQ(r.vl_errno, 7u);
  EXPECT_EQ(vl_lc_pieces2lc_spec(nullptr, "en_US", "x", nullptr, out), -1);
}

TEST(SpecPieces, RoundTrip) {
  char lt[6], cs[6], mod[5], out[32];
  ASSERT_EQ(vl_lc_fname2lc_pieces(nullptr, "fr_ca/e01ceuro.lco", lt, cs, mod), 0);
  ASSERT_EQ(vl_lc_pieces2lc_spec(nullptr, lt, cs, mod, out), 0);
  EXPECT_STREQ(out, "fr_CA.57372@euro");
}

// ===========================================================================
// Normal forms
// ===========================================================================

using SpecNorm = SpecTest;

TEST_F(SpecNorm, ShortChain) {
  char out[64];
  ASSERT_EQ(_vl_lc_short_spec2lc_short_norm(h(), "en_US.8859-1", out, nullptr), 0);
  EXPECT_STREQ(out, "en_US.819");
  ASSERT_EQ(_vl_lc_short_spec2lc_short_norm(h(), "EN_us.latin-1@EURO", out, nullptr), 0);
  EXPECT_STREQ(out, "en_US.819@EURO");
  ASSERT_EQ(vl_lc_spec2lc_norm(h(), "ja_jp.sjis", out, nullptr), 0);
  EXPECT_STREQ(out, "ja_JP.57350");
  EXPECT_EQ(rec_.vl_errno, 0u);
}

TEST_F(SpecNorm, ShortChainRefusesLongForm) {
  char out[512];
  EXPECT_EQ(_vl_lc_short_spec2lc_short_norm(h(), "VL_CTYPE = en_US.819", out, nullptr), -1);
}

TEST_F(SpecNorm, ShortFailures) {
  char out[64];
  EXPECT_EQ(vl_lc_spec2lc_norm(h(), "en_US.nosuch", out, nullptr), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
  rec_.vl_errno = 0;
  EXPECT_EQ(vl_lc_spec2lc_norm(h(), "en_us", out, nullptr), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

TEST_F(SpecNorm, LongFormOfSixWithFinalSeparator) {
  char out[512];
  std::string in = "VL_CTYPE = en_US.8859-1 ; VL_COLLATE = de_DE.latin-1@euro ; VL_NUMERIC = en_US.819 ; "
                   "VL_MONETARY = en_US.819 ; VL_TIME = EN_us.819 ; VL_MESSAGES = en_US.819 ; ignored";
  ASSERT_EQ(vl_lc_spec2lc_norm(h(), in.c_str(), out, nullptr), 0);
  EXPECT_STREQ(out,
               "VL_CTYPE = en_US.819 ; VL_COLLATE = de_DE.819@euro ; VL_NUMERIC = en_US.819 ; "
               "VL_MONETARY = en_US.819 ; VL_TIME = en_US.819 ; VL_MESSAGES = en_US.819 ; ");
  EXPECT_EQ(rec_.vl_errno, 0u);
}

TEST_F(SpecNorm, RefusesTheOutputOfShortToLong) {
  char lng[512], out[512];
  ASSERT_EQ(vl_lc_short2lc_long(h(), "en_US.8859-1", lng, nullptr), 0);
  EXPECT_EQ(vl_lc_spec2lc_norm(h(), lng, out, nullptr), -1);
  EXPECT_EQ(rec_.vl_errno, 0u);  // no error number on this path
  // With the final separator it is accepted.
  std::string with = std::string(lng) + " ; ";
  ASSERT_EQ(vl_lc_spec2lc_norm(h(), with.c_str(), out, nullptr), 0);
  EXPECT_STREQ(out, (long_form("en_US.819") + " ; ").c_str());
}

TEST_F(SpecNorm, LongFormRefusals) {
  char out[512];
  // Different codesets.
  std::string mixed = long_form("en_US.819", " ; ");
  mixed.replace(mixed.find("VL_TIME = en_US.819"), 19, "VL_TIME = ja_JP.sjis");
  EXPECT_EQ(vl_lc_spec2lc_norm(h(), mixed.c_str(), out, nullptr), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
  // Only five elements.
  rec_.vl_errno = 0;
  std::string five = "VL_CTYPE = en_US.819 ; VL_COLLATE = en_US.819 ; VL_NUMERIC = en_US.819 ; "
                     "VL_MONETARY = en_US.819 ; VL_TIME = en_US.819 ; ";
  EXPECT_EQ(vl_lc_spec2lc_norm(h(), five.c_str(), out, nullptr), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
  // A locale without codeset.
  rec_.vl_errno = 0;
  EXPECT_EQ(vl_lc_spec2lc_norm(h(), long_form("en_US", " ; ").c_str(), out, nullptr), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

// ===========================================================================
// Short form to long form
// ===========================================================================

using SpecShortLong = SpecTest;

TEST_F(SpecShortLong, WritesSixElements) {
  char out[1024];
  ASSERT_EQ(vl_lc_short2lc_long(h(), "en_US.8859-1", out, nullptr), 0);
  EXPECT_STREQ(out, long_form("en_us.8859-1").c_str());
  ASSERT_EQ(vl_lc_short2lc_long(h(), "DE_de.LATIN-1@EuRo", out, nullptr), 0);
  EXPECT_STREQ(out, long_form("de_de.latin-1@euro").c_str());
  ASSERT_EQ(vl_lc_short2lc_long(h(), "en_US", out, nullptr), 0);
  EXPECT_STREQ(out, long_form("en_us").c_str());
  ASSERT_EQ(vl_lc_short2lc_long(h(), "en_US.819@longmodifier", out, nullptr), 0);
  EXPECT_STREQ(out, long_form("en_us.819@longmodifier").c_str());
  EXPECT_EQ(rec_.vl_errno, 0u);
}

TEST_F(SpecShortLong, NullOutputOnlyChecks) {
  EXPECT_EQ(vl_lc_short2lc_long(h(), "en_US.819", nullptr, nullptr), 0);
  EXPECT_EQ(rec_.vl_errno, 0u);
  EXPECT_EQ(vl_lc_short2lc_long(h(), "en_US", nullptr, nullptr), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

TEST_F(SpecShortLong, SeparatorEndsTheParse) {
  char out[1024];
  ASSERT_EQ(vl_lc_short2lc_long(h(), "en_US.819 ; whatever", out, nullptr), 0);
  EXPECT_STREQ(out, long_form("en_us.819").c_str());
}

TEST_F(SpecShortLong, Refusals) {
  const char *bad[] = {
      "en_US;",  "en_US ", "en_US-819", "en_US.;", "en_US.#819", "en_US. 819", "en_US.819;", "en_US.819 x",
      "en_US.819@euro;", "en_US.819@euro x", "en_U", "e_US.819", "en_US.819\t", "", "en_US.nosuch",
  };
  for (const char *s : bad) {
    char out[1024];
    rec_.vl_errno = 0;
    EXPECT_EQ(vl_lc_short2lc_long(h(), s, out, nullptr), -1) << s;
    EXPECT_EQ(rec_.vl_errno, 7u) << s;
  }
}

TEST_F(SpecShortLong, UnknownCodesetKeepsTheLookupError) {
  vl_free_registry_cache();
  char out[1024];
  EXPECT_EQ(vl_lc_short2lc_long(h(), "en_US.819x", out, (dir_ + "/none").c_str()), -1);
  EXPECT_EQ(rec_.vl_errno, 15u);
}

// ===========================================================================
// Validity of a long specification
// ===========================================================================

TEST(SpecIsLc, AcceptsSubsetsAndFinalSeparator) {
  Rec r;
  EXPECT_EQ(vl_is_lc_spec(&r, "VL_CTYPE = en_US.8859-1 ; VL_TIME = de_DE.819@euro"), 0);
  EXPECT_EQ(vl_is_lc_spec(&r, "VL_CTYPE = en_US.8859-1 ; "), 0);
  EXPECT_EQ(vl_is_lc_spec(&r, "VL_MESSAGES = en_US"), 0);
  EXPECT_EQ(vl_is_lc_spec(&r, "VL_MESSAGES = en_US ; VL_CTYPE = xx_YY.unknown"), 0);
  EXPECT_EQ(vl_is_lc_spec(&r, long_form("en_US.819").c_str()), 0);
  EXPECT_EQ(r.vl_errno, 0u);
}

TEST(SpecIsLc, RefusalsWithError7) {
  const char *bad[] = {
      "en_US.819",                                   // short form
      "",                                            // empty
      "VL_CTYPE = en_US ; VL_CTYPE = en_US",         // twice
      "VL_CTYPE=en_US",                              // no " = "
      "VL_CTYPE = enxUS",                            // no "_"
      "VL_CTYPE = en_US;",                           // ";"
      "VL_CTYPE = en_US x",                          // blank that opens nothing
      "VL_CTYPE = en_US#",                           // "#"
      "VL_CTYPE = en_US-819",                        // neither "." nor end
      "VL_CTYPE = en_US.#819",                       // codeset opens with "#"
      "VL_CTYPE = en_US.8;59",                       // ";" inside the codeset
      "VL_CTYPE = en_US.819 x",                      // blank behind it
      "VL_CTYPE = en_US.819 ; x",                    // no category behind " ; "
      "VL_CTYPE = en_US.819@eu-ro",
  };
  for (const char *s : bad) {
    Rec r;
    EXPECT_EQ(vl_is_lc_spec(&r, s), -1) << s;
    EXPECT_EQ(r.vl_errno, 7u) << s;
  }
  Rec r;
  EXPECT_EQ(vl_is_lc_spec(&r, nullptr), -1);
  EXPECT_EQ(r.vl_errno, 7u);
  EXPECT_EQ(vl_is_lc_spec(nullptr, nullptr), -1);
}

TEST(SpecIsLc, MissingLetterGivesNoErrorNumber) {
  const char *bad[] = {"VL_CTYPE = e1_US", "VL_CTYPE = en_U1", "VL_CTYPE = ", "VL_CTYPE = en_U"};
  for (const char *s : bad) {
    Rec r;
    EXPECT_EQ(vl_is_lc_spec(&r, s), -1) << s;
    EXPECT_EQ(r.vl_errno, 0u) << s;
  }
}

// ===========================================================================
// Long form to short form
// ===========================================================================

TEST(SpecLcShort, AllSixAgree) {
  Rec r;
  char out[512];
  std::string in = "VL_CTYPE = en_US.8859-1@Euro ; VL_COLLATE = EN_us.8859-1@euro ; VL_NUMERIC = en_US.8859-1@euro ; "
                   "VL_MONETARY = en_US.8859-1@euro ; VL_TIME = en_US.8859-1@EURO ; VL_MESSAGES = en_us.8859-1@euro";
  ASSERT_EQ(vl_lc_spec2lc_short(&r, in.c_str(), out, nullptr), 0);
  EXPECT_STREQ(out, "en_us.8859-1@euro");
  ASSERT_EQ(vl_lc_spec2lc_short(&r, long_form("en_US").c_str(), out, nullptr), 0);
  EXPECT_STREQ(out, "en_us");
  ASSERT_EQ(vl_lc_spec2lc_short(&r, long_form("en_US", " ; ").c_str(), out, nullptr), 0);
  EXPECT_STREQ(out, "en_us");
  ASSERT_EQ(vl_lc_spec2lc_short(&r, long_form("ja_JP.SJIS", " ; ").c_str(), out, nullptr), 0);
  EXPECT_STREQ(out, "ja_jp.sjis");
  EXPECT_EQ(r.vl_errno, 0u);
}

TEST(SpecLcShort, OrderDoesNotMatter) {
  Rec r;
  char out[512];
  std::string in = "VL_MESSAGES = en_US.819 ; VL_TIME = en_US.819 ; VL_MONETARY = en_US.819 ; "
                   "VL_NUMERIC = en_US.819 ; VL_COLLATE = en_US.819 ; VL_CTYPE = en_US.819";
  ASSERT_EQ(vl_lc_spec2lc_short(&r, in.c_str(), out, nullptr), 0);
  EXPECT_STREQ(out, "en_us.819");
}

TEST(SpecLcShort, Refusals) {
  auto six = [](const std::string &odd) {
    std::string s = long_form("en_US.819");
    s.replace(s.find("VL_TIME = en_US.819"), 19, "VL_TIME = " + odd);
    return s;
  };
  std::string bad[] = {
      "VL_CTYPE = en_US.819 ; VL_TIME = en_US.819",  // two categories only
      six("de_US.819"),                              // language differs
      six("en_USA.819"),                             // "." missing
      six("en_US.8859-1"),                           // same number, other text
      six("en_US.819@euro"),                         // modifier only here
      six("en_US.8190"),                             // longer codeset
      six("enxUS.819"),                              // "_" missing
      long_form("en_US.;"),                          // ";" behind "."
      long_form("en_US.#1"),                         // "#" behind "."
      std::string("VL_CTYPE=en_US.819"),
  };
  for (const std::string &s : bad) {
    Rec r;
    char out[512];
    EXPECT_EQ(vl_lc_spec2lc_short(&r, s.c_str(), out, nullptr), -1) << s;
    EXPECT_EQ(r.vl_errno, 7u) << s;
  }
}

TEST(SpecLcShort, MissingLetterGivesNoErrorNumber) {
  Rec r;
  char out[512];
  std::string s = long_form("en_US.819");
  s.replace(s.find("VL_TIME = en_US.819"), 19, "VL_TIME = e1_US.819");
  EXPECT_EQ(vl_lc_spec2lc_short(&r, s.c_str(), out, nullptr), -1);
  EXPECT_EQ(r.vl_errno, 0u);
}

// ===========================================================================
// One category of a long form
// ===========================================================================

using SpecCategory = SpecTest;

TEST_F(SpecCategory, PicksTheCategory) {
  std::string in = "VL_CTYPE = en_US.8859-1 ; VL_COLLATE = de_DE.819@Euro ; VL_NUMERIC = fr_FR.LATIN-1 ; "
                   "VL_MONETARY = en_US.819 ; VL_TIME = it_IT.819 ; VL_MESSAGES = en_GB.8859-1";
  char out[128];
  ASSERT_EQ(vl_lc_spec2category(h(), in.c_str(), 3, out, nullptr), 0);
  EXPECT_STREQ(out, "de_de.819@euro");
  ASSERT_EQ(vl_lc_spec2category(h(), in.c_str(), 4, out, nullptr), 0);
  EXPECT_STREQ(out, "fr_fr.latin-1");
  ASSERT_EQ(vl_lc_spec2category(h(), in.c_str(), 2, out, nullptr), 0);
  EXPECT_STREQ(out, "en_us.8859-1");
  ASSERT_EQ(vl_lc_spec2category(h(), in.c_str(), 7, out, nullptr), 0);
  EXPECT_STREQ(out, "en_gb.8859-1");
  EXPECT_EQ(rec_.vl_errno, 0u);
}

TEST_F(SpecCategory, WithoutCodesets) {
  char out[128];
  ASSERT_EQ(vl_lc_spec2category(h(), long_form("EN_us").c_str(), 6, out, nullptr), 0);
  EXPECT_STREQ(out, "en_us");
}

TEST_F(SpecCategory, OtherCategoryNumbersDoNothing) {
  char out[8] = "keep";
  EXPECT_EQ(vl_lc_spec2category(h(), "garbage", 1, out, nullptr), 0);
  EXPECT_EQ(vl_lc_spec2category(h(), nullptr, 8, out, nullptr), 0);
  EXPECT_EQ(vl_lc_spec2category(h(), "garbage", 0, nullptr, nullptr), 0);
  EXPECT_STREQ(out, "keep");
  EXPECT_EQ(rec_.vl_errno, 0u);
}

TEST_F(SpecCategory, Refusals) {
  auto six = [](const std::string &odd) {
    std::string s = long_form("en_US.819");
    s.replace(s.find("VL_TIME = en_US.819"), 19, "VL_TIME = " + odd);
    return s;
  };
  std::string bad[] = {
      "x " + long_form("en_US.819"),                  // must start with a category
      "VL_CTYPE = en_US.819 ; VL_TIME = en_US.819",   // not all six
      six("ja_JP.sjis"),                              // codesets differ
      six("en_US"),                                   // one without a codeset
      six("enUS.819"),                                // bad locale
      six("en_US.nosuch"),                            // unknown codeset
  };
  for (const std::string &s : bad) {
    char out[128];
    rec_.vl_errno = 0;
    EXPECT_EQ(vl_lc_spec2category(h(), s.c_str(), 2, out, nullptr), -1) << s;
    EXPECT_EQ(rec_.vl_errno, 7u) << s;
  }
}

// ===========================================================================
// Long form of file names to a specification
// ===========================================================================

class SpecFromFiles : public SpecTest {
 protected:
  void SetUp() override {
    SpecTest::SetUp();
    root_ = make_temp_dir();
    make_dirs(root_ + "/en_us");
    make_dirs(root_ + "/de_de");
    write_file(root_ + "/en_us/0333.lco", "x");
    write_file(root_ + "/de_de/0333euro.lco", "x");
  }
  void TearDown() override {
    remove_tree(root_);
    SpecTest::TearDown();
  }
  std::string root_;
};

TEST_F(SpecFromFiles, RewritesWithDirectory) {
  std::string in = "VL_CTYPE = en_us/0333.lco ; VL_COLLATE = de_de/0333euro.lco ; VL_NUMERIC = en_us/0333.lco ; "
                   "VL_MONETARY = en_us/0333.lco ; VL_TIME = en_us/0333.lco ; VL_MESSAGES = en_us/0333.lco";
  char out[1024];
  ASSERT_EQ(vl_lc_fname2lc_spec(h(), in.c_str(), out, root_.c_str()), 0);
  EXPECT_STREQ(out,
               "VL_CTYPE = en_US.819 ; VL_COLLATE = de_DE.819@euro ; VL_NUMERIC = en_US.819 ; "
               "VL_MONETARY = en_US.819 ; VL_TIME = en_US.819 ; VL_MESSAGES = en_US.819");
}

TEST_F(SpecFromFiles, SearchesBelowKelvanixdir) {
  make_dirs(dir_ + "/vls/lc11/en_us");
  write_file(dir_ + "/vls/lc11/en_us/0333.lco", "x");
  char out[1024];
  ASSERT_EQ(vl_lc_fname2lc_spec(h(), long_form("en_us/0333.lco").c_str(), out, nullptr), 0);
  EXPECT_STREQ(out, long_form("en_US.819").c_str());
}

TEST_F(SpecFromFiles, MissingFileIsError7) {
  std::string in = long_form("en_us/0333.lco");
  in.replace(in.find("VL_TIME = en_us/0333.lco"), 24, "VL_TIME = fr_fr/0333.lco");
  char out[1024];
  EXPECT_EQ(vl_lc_fname2lc_spec(h(), in.c_str(), out, root_.c_str()), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

TEST_F(SpecFromFiles, NeedsAllSix) {
  char out[1024];
  EXPECT_EQ(vl_lc_fname2lc_spec(h(), "VL_CTYPE = en_us/0333.lco", out, root_.c_str()), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
  rec_.vl_errno = 0;
  EXPECT_EQ(vl_lc_fname2lc_spec(h(), long_form("en_us/0333.lco", " ; ").c_str(), out, root_.c_str()), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

TEST_F(SpecFromFiles, OverlongDirectoryIsError7) {
  std::string d(1100, 'd');
  char out[1024];
  EXPECT_EQ(vl_lc_fname2lc_spec(h(), long_form("en_us/0333.lco").c_str(), out, d.c_str()), -1);
  EXPECT_EQ(rec_.vl_errno, 7u);
}

// ===========================================================================
// The chain from specification to file
// ===========================================================================

TEST_F(SpecFname, NameIsFoundBelowTheLocaleDirectory) {
  make_dirs(dir_ + "/vls/lc11/en_us");
  write_file(dir_ + "/vls/lc11/en_us/0333.lco", "x");
  char name[64];
  ASSERT_EQ(vl_lc_spec2lc_fname(h(), "en_US.8859-1", name, nullptr, nullptr), 0);
  void *f = vl_path_search(h(), name, "lc", "11");
  ASSERT_NE(f, nullptr);
  _vl_ext_fclose(f);
}

TEST_F(SpecFname, MarkedNameOpensBelowTheDirectory) {
  make_dirs(dir_ + "/own/en_us");
  write_file(dir_ + "/own/en_us/0333.lco", "x");
  char name[512];
  ASSERT_EQ(vl_lc_spec2lc_fname(h(), "VL_CTYPE = en_US.819", name, nullptr, (dir_ + "/own").c_str()), 0);
  const char *marked = name + strlen("VL_CTYPE = ");
  void *f = vl_path_search(h(), marked, "lc", "11");
  ASSERT_NE(f, nullptr);
  _vl_ext_fclose(f);
}

}  // namespace
