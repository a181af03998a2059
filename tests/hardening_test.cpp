// Hostile names and damaged compiled files: each row once wrote or read
// outside a buffer (or shifted out of range) under the sanitizer build.

#include "lcofix.h"

namespace {

// Runs read_ctype on a section; gives its result and the error number.
std::pair<int, uint32_t> read_section(const std::string &section, uint32_t *full_width = nullptr) {
  vl_locale_t *h = nullptr;
  vl_create_null_locale_4(&h);
  FILE *f = fmemopen(const_cast<char *>(section.data()), section.size(), "r");
  const int rc = read_ctype(f, h);
  const std::pair<int, uint32_t> r{rc, h->vl_errno};
  if (full_width) *full_width = vl_ctype(h, "full_width");
  fclose(f), vl_lc_unload(h);
  return r;
}

TEST(Hardening, LoadRefusesNamesThatDoNotFit) {
  const std::string registry = std::string(VLS_TEST_SOURCE_DIR) + "/../data/registry";
  const std::string six = "VL_CTYPE = en_US.8859-1 ; VL_COLLATE = en_US.8859-1 ; VL_NUMERIC = en_US.8859-1 ; "
                          "VL_MONETARY = en_US.8859-1 ; VL_TIME = en_US.8859-1 ; VL_MESSAGES = en_US.8859-1";
  // A short form leaves the directory out of the name: the path is simply
  // not found. A long form folds it into every element.
  for (auto [spec, dirlen, err] : {std::tuple{std::string("en_US.8859-1"), 500, VL_ENOENT}, {"en_US.8859-1", 5000, VL_ENOENT},
                                   {six, 60, VL_EBADARG}, {six, 414, VL_EBADARG}}) {
    SCOPED_TRACE(spec.substr(0, 12) + " / " + std::to_string(dirlen));
    vl_locale_t *h = nullptr;
    const int rc = vl_lc_load(&h, spec.c_str(), registry.c_str(), std::string(dirlen, 'd').c_str());
    EXPECT_EQ(std::tuple(rc, h->vl_errno), std::tuple(-1, uint32_t(err)));
    vl_lc_unload(h);
  }
}

// The ctype tree header "max min flags default" with its two lengths replaced.
TEST(Hardening, CtypeTreeLengthsOutsideACodesetRefuseTheLoad) {
  const std::string good = vlstest::ctype_section(vlstest::latin1_spec()), wide = vlstest::ctype_section(vlstest::wide2_spec());
  const std::tuple<const std::string *, const char *, bool> cases[] = {
      {&good, "1 1", true},   {&good, "1 2", false}, {&good, "4 2", false},  {&good, "1 5", false},  {&good, "1 -1", false},
      {&good, "1 99999", false}, {&good, "-1 1", false}, {&good, "1 0", false}, {&good, "4 1", true}, {&wide, "2 2", true},
      {&wide, "2 1", true},   {&wide, "1 1", false}, {&wide, "2 3", false}, {&good, "0 4", false}};
  for (auto [section, lengths, loads] : cases) {
    SCOPED_TRACE(lengths);
    EXPECT_EQ(read_section(lengths + section->substr(section->find(' ', section->find(' ') + 1))).first == 0, loads);
  }
}

TEST(Hardening, ClassBitsOutsideTheMaskRefuseTheLoad) {
  vlstest::CtypeSpec spec = vlstest::latin1_spec();
  spec.classes = {{0, "full_width"}};
  const std::string section = vlstest::ctype_section(spec);
  const size_t at = section.find("\n0 full_width\n");
  ASSERT_NE(at, std::string::npos);
  for (int bit : {0, 4, 20, 21, 40, -1}) {
    SCOPED_TRACE(bit);
    const bool fits = bit >= 0 && bit <= 20;
    uint32_t fw = 0;
    auto [rc, err] = read_section(std::string(section).replace(at, 2, "\n" + std::to_string(bit)), &fw);
    EXPECT_EQ(rc == 0, fits);
    EXPECT_EQ(fits ? fw : err, fits ? uint32_t{VL_CT_LOCAL} << bit : uint32_t{VL_EBADFILE});
  }
}

// One informational line: only a count of 4 skips it to reach the codeset;
// null: refused with VL_EBADFILE.
TEST(Hardening, HeaderLineCountBelowThreeIsRefused) {
  for (auto [count, codeset] : {std::pair<const char *, const char *>{"HEADER_LINES=4", "8859-1"}, {"HEADER_LINES=3", "info"},
                                {"HEADER_LINES=0", nullptr}, {"HEADER_LINES=-1", nullptr}, {"HEADER_LINES=", nullptr},
                                {"HEADER_LINES", nullptr}, {"=4", "8859-1"}}) {
    SCOPED_TRACE(count);
    std::string text = std::string("FILE_TYPE=locale_object\nCOMPILER_VERSION=11\n") + count + "\ninfo\n8859-1\n";
    FILE *f = fmemopen(text.data(), text.size(), "r");
    char got[VL_CODESET_NAME_LEN] = {};
    int code = 0;
    const int rc = read_file_header(f, got, &code);
    fclose(f);
    EXPECT_EQ(rc, codeset ? 1 : 0);
    EXPECT_EQ(codeset ? std::string(got) : std::to_string(code), codeset ? std::string(codeset) : std::to_string(VL_EBADFILE));
  }
}

}  // namespace
