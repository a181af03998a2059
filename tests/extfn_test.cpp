// Host function table. The table is process-wide and its flag never returns
// to 0: under CTest every test runs in a process of its own, and run as one
// binary the untouched table is tested first.
#include "vlstest.h"

namespace {
int uca_value() { return 42; }
int malloc_calls = 0;
void *counting_malloc(size_t n) { return ++malloc_calls, malloc(n); }
uint32_t per_thread_word = 0;
void *errno_arg = nullptr;
uint32_t *word_errno(void *handle) { return errno_arg = handle, &per_thread_word; }
const char *fake_getenv(const char *name) { return strcmp(name, "VLS_TEST_KEY") == 0 ? "from-host" : nullptr; }
void fixed_date(uint16_t *d) { d[0] = 2, d[1] = 29, d[2] = 2024; }
template <typename F> void *fn(F f) { return reinterpret_cast<void *>(f); }
}  // namespace

TEST(ExtTable, UntouchedTableUsesTheCLibrary) {
  EXPECT_EQ(_vl_ext_UCA(), -1);
  uint32_t rec = 0;
  EXPECT_EQ(_vl_ext_errno(&rec), &rec);  // the default returns its argument
  void *p = _vl_ext1_realloc(nullptr, _vl_ext1_malloc(nullptr, 16), 32);
  ASSERT_NE(p, nullptr);
  _vl_ext_free(_vl_ext_realloc(p, 64));
  int *c = static_cast<int *>(_vl_ext1_calloc(nullptr, 4, 4));
  EXPECT_EQ(c[3], 0);
  _vl_ext1_free(nullptr, c);
  EXPECT_EQ(_vl_alloc_ptr(0), nullptr);  // size 0 never reaches the host

  // The date and time words, and the streams, as the C library gives them.
  const time_t now = time(nullptr);
  struct tm t;
  localtime_r(&now, &t);
  uint16_t d[3];
  int32_t w[12] = {-7, -7, -7, -7, -7, -7, -7, -7, -7, -7, -7, -7};
  _vl_ext_currdate(d);
  _vl_ext_currtime(w);
  EXPECT_EQ(std::vector<int>({d[0], d[2], w[0], w[5], w[6], w[8], w[10], w[11], w[1] <= 60}),
            std::vector<int>({t.tm_mon + 1, t.tm_year + 1900, 0, t.tm_mon, t.tm_year, t.tm_yday, 0, 0, 1}));
  vlstest::TempDir dir;
  void *f = _vl_ext_fopen(dir.write("f.txt", "ab").c_str(), "r");
  char buf[8];
  std::vector<long> got = {_vl_ext_fgetc(f), _vl_ext_ungetc('z', f), _vl_ext_getc(f), _vl_ext_ftell(f),
                           _vl_ext_fseek(f, 0, SEEK_SET), _vl_ext_fgets(buf, sizeof buf, f)[1], _vl_ext_getc(f),
                           _vl_ext_feof(f) != 0, _vl_ext_ferror(f), _vl_ext_fclose(f)};
  EXPECT_EQ(got, std::vector<long>({'a', 'z', 'z', 1, 0, 'b', EOF, 1, 0, 0}));
  f = _vl_ext_fopen(dir.file("w.txt").c_str(), "w");
  EXPECT_EQ(_vl_ext_fwrite("xyz", 1, 3, f), 3u);
  _vl_ext_fclose(f);
  EXPECT_EQ(vlstest::read_file(dir.file("w.txt")), "xyz");
  static char kv[] = "VLS_EXT_PUTENV_TEST=1";
  EXPECT_EQ(_vl_ext_putenv(kv), 0);
  EXPECT_STREQ(getenv("VLS_EXT_PUTENV_TEST"), "1");
  EXPECT_EQ(_vl_ext_func, 0);
}

TEST(ExtTable, ReplacedSlots) {
  vl_locale_t *h = nullptr;
  ASSERT_EQ(vl_create_null_locale_4(&h), 0);
  // A slot above 20 fails with VL_EBADARG and changes nothing.
  for (int slot : {21, -1}) {
    h->vl_errno = 0;
    EXPECT_EQ(vl_setextfunc(h, slot, fn(&uca_value)), -1);
    EXPECT_EQ(h->vl_errno, VL_EBADARG) << slot;
  }
  EXPECT_EQ(_vl_ext_func * 100 + _vl_ext_UCA(), -1);
  EXPECT_EQ(vl_setextfunc(h, VL_EXT_UCA, fn(&uca_value)), 0);
  EXPECT_EQ(_vl_ext_func * 100 + _vl_ext_UCA(), 142);
  EXPECT_EQ(_vl_get_ext_funcptr(VL_EXT_UCA), fn(&uca_value));

  // A null slot restores the default of that slot only.
  _vl_set_ext_funcptr(VL_EXT_MALLOC, fn(&counting_malloc));
  free(_vl_alloc_ptr(8));
  EXPECT_EQ(malloc_calls, 1);
  EXPECT_EQ(vl_setextfunc(h, VL_EXT_MALLOC, nullptr), 0);
  _vl_ext_free(_vl_ext_malloc(8));
  EXPECT_EQ(malloc_calls, 1);
  EXPECT_EQ(_vl_ext_UCA(), 42);  // other slots keep their functions

  // A replaced error service gets the handle and takes the failures.
  set_flags(h);
  _vl_set_ext_funcptr(VL_EXT_ERRNO, fn(&word_errno));
  h->vl_errno = 0;
  EXPECT_EQ(vl_full_mblen(h, "A", 4), -1);
  EXPECT_TRUE(per_thread_word == 1 && errno_arg == h && h->vl_errno == 0);  // the handle's own field is left alone
  _vl_set_ext_funcptr(VL_EXT_ERRNO, nullptr);
  vl_lc_unload(h);

  _vl_set_ext_funcptr(VL_EXT_GETENV, fn(&fake_getenv));
  EXPECT_STREQ(_vl_ext_getenv("VLS_TEST_KEY"), "from-host");
  EXPECT_EQ(_vl_get_env_var("HOME"), nullptr);
  _vl_set_ext_funcptr(VL_EXT_CURRDATE, fn(&fixed_date));
  uint16_t d[3] = {};
  _vl_ext_currdate(d);
  EXPECT_EQ(d[0] * 10000 + d[1] * 100 + d[2] % 100, 22924);
  _vl_set_ext_funcptr(VL_EXT_GETENV, nullptr);
  _vl_set_ext_funcptr(VL_EXT_CURRDATE, nullptr);
}
