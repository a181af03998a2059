// Hostile names and damaged compiled files: each row once wrote or read
// outside a buffer (or shifted out of range) under the sanitizer build.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include <vls/vlscat.h>
#include <vls/vlsctype.h>
#include <vls/vls.h>

#include "lcofix.h"
#include "vlstest.h"

namespace {

struct Handle {
  vl_locale_t *h = nullptr;
  Handle() { vl_create_null_locale_4(&h); }
  ~Handle() { vl_lc_unload(h); }
};

// Runs read_ctype on a section whose first line (the ctype tree header) or
// class lines were edited.
int read_section(vl_locale_t *h, const std::string &section) {
  FILE *f = fmemopen(const_cast<char *>(section.data()), section.size(), "r");
  int r = read_ctype(f, h);
  fclose(f);
  return r;
}

std::string with_header(const std::string &section, const std::string &lengths) {
  // "max min flags default": replace the two lengths.
  size_t second = section.find(' ', section.find(' ') + 1);
  return lengths + section.substr(second);
}

TEST(Hardening, LoadRefusesNamesThatDoNotFit) {
  const std::string registry = std::string(VLS_TEST_SOURCE_DIR) + "/../data/registry";
  const std::string six = "VL_CTYPE = en_US.8859-1 ; VL_COLLATE = en_US.8859-1 ; VL_NUMERIC = en_US.8859-1 ; "
                          "VL_MONETARY = en_US.8859-1 ; VL_TIME = en_US.8859-1 ; VL_MESSAGES = en_US.8859-1";
    // A short form leaves the directory out of the name: the path is simply
  // not found. A long form folds it into every element.
  struct Case {
    std::string spec, directory;
    uint32_t err;
  } cases[] = {{"en_US.8859-1", std::string(500, 'd'), VL_ENOENT},
               {"en_US.8859-1", std::string(5000, 'd'), VL_ENOENT},
               {six, std::string(60, 'd'), VL_EBADARG},
               {six, std::string(414, 'd'), VL_EBADARG}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.spec.substr(0, 12) + " / " + std::to_string(c.directory.size()));
    vl_locale_t *h = nullptr;
    EXPECT_EQ(vl_lc_load(&h, c.spec.c_str(), registry.c_str(), c.directory.c_str()), -1);
    EXPECT_EQ(h->vl_errno, c.err);
    vl_lc_unload(h);
  }
}

TEST(Hardening, CtypeTreeLengthsOutsideACodesetRefuseTheLoad) {
  const std::string good = vlstest::ctype_section(vlstest::latin1_spec());
  const std::string wide = vlstest::ctype_section(vlstest::wide2_spec());
  struct Case {
    const std::string *section;
    const char *lengths;  // "max min"
    bool loads;
  } cases[] = {
      {&good, "1 1", true},  {&good, "1 2", false},         {&good, "4 2", false},       {&good, "1 5", false},
      {&good, "1 -1", false}, {&good, "1 99999", false},    {&good, "-1 1", false},      {&good, "1 0", false},
      {&good, "4 1", true},  {&wide, "2 2", true},           {&wide, "2 1", true},        {&wide, "1 1", false},
      {&wide, "2 3", false}, {&good, "0 4", false},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.lengths);
    Handle h;
    EXPECT_EQ(read_section(h.h, with_header(*c.section, c.lengths)) == 0, c.loads);
  }
}

TEST(Hardening, ClassBitsOutsideTheMaskRefuseTheLoad) {
  for (int bit : {0, 4, 20, 21, 40, -1}) {
    SCOPED_TRACE(bit);
    vlstest::CtypeSpec spec = vlstest::latin1_spec();
    spec.classes = {{0, "full_width"}};
    std::string section = vlstest::ctype_section(spec);
    size_t at = section.find("\n0 full_width\n");
    ASSERT_NE(at, std::string::npos);
    section.replace(at, 2, "\n" + std::to_string(bit));
    Handle h;
    bool fits = bit >= 0 && bit <= 20;
    EXPECT_EQ(read_section(h.h, section) == 0, fits);
    if (fits)
      EXPECT_EQ(vl_ctype(h.h, "full_width"), static_cast<uint32_t>(VL_CT_LOCAL) << bit);
    else
      EXPECT_EQ(h.h->vl_errno, VL_EBADFILE);
  }
}

TEST(Hardening, HeaderLineCountBelowThreeIsRefused) {
  struct Case {
    const char *count;
    const char *codeset;  // null: refused with VL_EBADFILE
  } cases[] = {{"HEADER_LINES=4", "8859-1"}, {"HEADER_LINES=3", "info"}, {"HEADER_LINES=0", nullptr},
               {"HEADER_LINES=-1", nullptr},  {"HEADER_LINES=", nullptr},  {"HEADER_LINES", nullptr},
               {"=4", "8859-1"}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.count);
    // One informational line: only a count of 4 skips it to reach the codeset.
    std::string text = std::string("FILE_TYPE=locale_object\nCOMPILER_VERSION=11\n") + c.count + "\ninfo\n8859-1\n";
    FILE *f = fmemopen(text.data(), text.size(), "r");
    char codeset[VL_CODESET_NAME_LEN] = {};
    int code = 0;
    int r = read_file_header(f, codeset, &code);
    fclose(f);
    EXPECT_EQ(r, c.codeset ? 1 : 0);
    EXPECT_EQ(c.codeset ? std::string(codeset) : std::to_string(code),
              c.codeset ? std::string(c.codeset) : std::to_string(VL_EBADFILE));
  }
}

}  // namespace
