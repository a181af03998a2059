// Host function table. The table is process-wide; every test runs in a
// process of its own under CTest, so each sets up what it needs.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include <vls/vls.h>

#include "vlstest.h"

namespace {
int uca_value() { return 42; }
int malloc_calls = 0;
void *counting_malloc(size_t n) {
  ++malloc_calls;
  return malloc(n);
}
uint32_t per_thread_word = 0;
void *errno_arg = nullptr;
uint32_t *word_errno(void *handle) {
  errno_arg = handle;
  return &per_thread_word;
}
const char *fake_getenv(const char *name) { return strcmp(name, "VLS_TEST_KEY") == 0 ? "from-host" : nullptr; }
void fixed_date(uint16_t *d) {
  d[0] = 2;
  d[1] = 29;
  d[2] = 2024;
}
}  // namespace

TEST(ExtTable, UntouchedTableUsesDefaults) {
  EXPECT_EQ(_vl_ext_func, 0);
  EXPECT_EQ(_vl_ext_UCA(), -1);
  uint32_t rec = 0;
  EXPECT_EQ(_vl_ext_errno(&rec), &rec);  // the default returns its argument
  void *p = _vl_ext_malloc(16);
  ASSERT_NE(p, nullptr);
  p = _vl_ext_realloc(p, 32);
  ASSERT_NE(p, nullptr);
  _vl_ext_free(p);
  void *c = _vl_ext1_calloc(nullptr, 4, 4);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(static_cast<int *>(c)[3], 0);
  _vl_ext1_free(nullptr, c);
}

TEST(ExtTable, BadSlotFailsWithNineAndChangesNothing) {
  vl_locale_t *h = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  int before = _vl_ext_func;
  EXPECT_EQ(vl_setextfunc(h, 21, reinterpret_cast<void *>(&uca_value)), -1);
  EXPECT_EQ(h->vl_errno, 9u);
  EXPECT_EQ(vl_setextfunc(h, -1, reinterpret_cast<void *>(&uca_value)), -1);
  EXPECT_EQ(_vl_ext_func, before);
  EXPECT_EQ(_vl_ext_UCA(), -1);
  h->vl_errno = 0;
  EXPECT_EQ(vl_setextfunc(h, 20, reinterpret_cast<void *>(&uca_value)), 0);
  EXPECT_EQ(_vl_ext_func, 1);
  EXPECT_EQ(_vl_ext_UCA(), 42);
  EXPECT_EQ(_vl_get_ext_funcptr(20), reinterpret_cast<void *>(&uca_value));
  vl_lc_unload(h);
}

TEST(ExtTable, NullSlotRestoresDefaultOfThatSlotOnly) {
  _vl_set_ext_funcptr(VL_EXT_UCA, reinterpret_cast<void *>(&uca_value));
  _vl_set_ext_funcptr(VL_EXT_MALLOC, reinterpret_cast<void *>(&counting_malloc));
  malloc_calls = 0;
  void *p = _vl_alloc_ptr(8);
  EXPECT_EQ(malloc_calls, 1);
  free(p);
  EXPECT_EQ(_vl_alloc_ptr(0), nullptr);  // size 0 never reaches the host
  EXPECT_EQ(malloc_calls, 1);
  uint32_t rec = 0;
  EXPECT_EQ(vl_setextfunc(&rec, VL_EXT_MALLOC, nullptr), 0);
  p = _vl_ext_malloc(8);
  EXPECT_NE(p, nullptr);
  EXPECT_EQ(malloc_calls, 1);
  _vl_ext_free(p);
  EXPECT_EQ(_vl_ext_func, 1);
  EXPECT_EQ(_vl_ext_UCA(), 42);  // other slots keep their functions
}

TEST(ExtTable, ReplacedErrnoReceivesHandleAndTakesFailures) {
  vl_locale_t *h = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  set_flags(h);
  _vl_set_ext_funcptr(VL_EXT_ERRNO, reinterpret_cast<void *>(&word_errno));
  per_thread_word = 0;
  EXPECT_EQ(vl_full_mblen(h, "A", 4), -1);
  EXPECT_EQ(per_thread_word, 1u);
  EXPECT_EQ(errno_arg, h);
  EXPECT_EQ(h->vl_errno, 0u);  // the handle's own field is left alone
  _vl_set_ext_funcptr(VL_EXT_ERRNO, nullptr);
  vl_lc_unload(h);
}

TEST(ExtTable, GetenvAndDateSlots) {
  _vl_set_ext_funcptr(VL_EXT_GETENV, reinterpret_cast<void *>(&fake_getenv));
  EXPECT_STREQ(_vl_ext_getenv("VLS_TEST_KEY"), "from-host");
  EXPECT_EQ(_vl_get_env_var("HOME"), nullptr);
  _vl_set_ext_funcptr(VL_EXT_GETENV, nullptr);
  _vl_set_ext_funcptr(VL_EXT_CURRDATE, reinterpret_cast<void *>(&fixed_date));
  uint16_t d[3] = {};
  _vl_ext_currdate(d);
  EXPECT_EQ(d[1], 29);
  _vl_set_ext_funcptr(VL_EXT_CURRDATE, nullptr);
}

TEST(ExtDefaults, DateAndTimeShapes) {
  time_t now = time(nullptr);
  struct tm t;
  localtime_r(&now, &t);
  uint16_t d[3];
  vl_ext_currdate(d);
  EXPECT_EQ(d[0], t.tm_mon + 1);
  EXPECT_EQ(d[2], t.tm_year + 1900);
  int32_t w[12];
  for (auto &x : w) x = -7;
  _vl_ext_currtime(w);
  EXPECT_EQ(w[0], 0);
  EXPECT_EQ(w[5], t.tm_mon);
  EXPECT_EQ(w[6], t.tm_year);
  EXPECT_EQ(w[8], t.tm_yday);
  EXPECT_EQ(w[10], 0);
  EXPECT_EQ(w[11], 0);
  EXPECT_GE(w[1], 0);
  EXPECT_LE(w[1], 60);
}

TEST(ExtDefaults, StreamsGoThroughTheTable) {
  vlstest::TempDir dir;
  std::string path = dir.write("f.txt", "ab");
  void *f = _vl_ext_fopen(path.c_str(), "r");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(_vl_ext_fgetc(f), 'a');
  EXPECT_EQ(_vl_ext_ungetc('z', f), 'z');
  EXPECT_EQ(_vl_ext_getc(f), 'z');
  EXPECT_EQ(_vl_ext_ftell(f), 1);
  EXPECT_EQ(_vl_ext_fseek(f, 0, SEEK_SET), 0);
  char buf[8];
  EXPECT_STREQ(_vl_ext_fgets(buf, sizeof buf, f), "ab");
  EXPECT_EQ(_vl_ext_getc(f), EOF);
  EXPECT_NE(_vl_ext_feof(f), 0);
  EXPECT_EQ(_vl_ext_ferror(f), 0);
  EXPECT_EQ(_vl_ext_fclose(f), 0);
  static char kv[] = "VLS_EXT_PUTENV_TEST=1";
  EXPECT_EQ(_vl_ext_putenv(kv), 0);
  EXPECT_STREQ(getenv("VLS_EXT_PUTENV_TEST"), "1");
  void *w = _vl_ext_fopen(dir.file("w.txt").c_str(), "w");
  EXPECT_EQ(_vl_ext_fwrite("xyz", 1, 3, w), 3u);
  _vl_ext_fclose(w);
  EXPECT_EQ(vlstest::read_file(dir.file("w.txt")), "xyz");
}
