// Unicode bridge binding and dispatch, against the test bridge of
// tests/bridge. The bridge state is process-wide and loads once, so every
// scenario that touches it runs in a forked child with its own KELVANIXDIR
// tree, its own working directory (for vls.log) and its own environment.
#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vls/vls.h>
#include <vls/vlscat.h>
#include <vls/vlsvlu.h>

namespace fs = std::filesystem;

namespace {

// ---- the child process ------------------------------------------------------

// Runs `body` in a fresh process inside a new temporary directory `root`,
// which is also the working directory. Failures in the child fail the test.
template <typename F>
void InChild(F body) {
  char tmpl[] = "/tmp/vlsbridgeXXXXXX";
  ASSERT_NE(mkdtemp(tmpl), nullptr);
  std::string root = tmpl;
  fflush(stdout);
  fflush(stderr);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    if (chdir(root.c_str()) != 0) _exit(3);
    unsetenv("VL_PATH");
    unsetenv("VL_USEVLU");
    unsetenv("VLSDEBUG");
    setenv("VLSLOG", "on", 1);
    setenv("KELVANIXDIR", root.c_str(), 1);
    body(root);
    fflush(stdout);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int st = 0;
  ASSERT_EQ(waitpid(pid, &st, 0), pid);
  std::error_code ec;
  fs::remove_all(root, ec);
  ASSERT_TRUE(WIFEXITED(st)) << "child died with signal " << (WIFSIGNALED(st) ? WTERMSIG(st) : 0);
  EXPECT_EQ(WEXITSTATUS(st), 0) << "failures in the child process (see above)";
}

// ---- the KELVANIXDIR tree ---------------------------------------------------

struct TreeOptions {
  std::string registry;                               // contents of 32-dllregistry.34
  std::vector<std::pair<std::string, std::string>> libs;  // name below vls/dll, source file
  bool registry_file = true;
  bool icu_data = true;
  bool locmap = true;
};

void WriteFile(const fs::path &p, const std::string &text) {
  fs::create_directories(p.parent_path());
  std::ofstream f(p, std::ios::binary);
  f << text;
}

void MakeTree(const std::string &root, const TreeOptions &o) {
  fs::path vls = fs::path(root) / "vls";
  fs::create_directories(vls / "etc");
  fs::create_directories(vls / "dll");
  if (o.registry_file) WriteFile(vls / "etc" / "32-dllregistry.34", o.registry);
  if (o.icu_data) WriteFile(vls / "etc" / "tbicudt.dat", "opaque ICU data\n");
  if (o.locmap) WriteFile(vls / "etc" / "locmap", "opaque locale map\n");
  for (auto &[name, source] : o.libs) fs::copy_file(source, vls / "dll" / name, fs::copy_options::overwrite_existing);
}

// The usual tree: one bridge library named in the registry.
void MakeBridgeTree(const std::string &root, const char *lib = VLS_TB_BRIDGE) {
  MakeTree(root, {"libvlsbridge.so\n", {{"libvlsbridge.so", lib}}});
}

// ---- reading back -----------------------------------------------------------

std::string ReadLog() {
  std::ifstream f("vls.log", std::ios::binary);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

// The log's lines without the header block that opens it.
std::vector<std::string> LogLines() {
  std::vector<std::string> out;
  std::istringstream in(ReadLog());
  for (std::string line; std::getline(in, line);) out.push_back(line);
  return out;
}

bool HasLine(const std::string &text) {
  for (auto &l : LogLines())
    if (l == text) return true;
  return false;
}

int CountLines(const std::string &text) {
  int n = 0;
  for (auto &l : LogLines())
    if (l == text) ++n;
  return n;
}

// True when the lines appear in this order (not necessarily adjacent).
bool InOrder(const std::vector<std::string> &wanted) {
  size_t i = 0;
  for (auto &l : LogLines())
    if (i < wanted.size() && l == wanted[i]) ++i;
  return i == wanted.size();
}

// A variable of the test bridge, found through the global scope (the bridge
// is loaded with RTLD_GLOBAL).
template <typename T>
T &Tb(const char *name) {
  void *p = dlsym(RTLD_DEFAULT, name);
  if (!p) {
    ADD_FAILURE() << "test bridge variable " << name << " not found";
    static T dummy{};
    return dummy;
  }
  return *static_cast<T *>(p);
}

// Opens through the host slot are counted, apart from the log.
int g_opens = 0;
void *CountingFopen(const char *path, const char *mode) {
  if (strcmp(path, "vls.log") != 0) ++g_opens;
  return fopen(path, mode);
}

struct ErrRecord {
  uint32_t vl_errno;
};

vl_locale_t *NewHandle() {
  vl_locale_t *h = nullptr;
  EXPECT_EQ(vl_create_null_locale_4(&h), 0);
  return h;
}

// Loads the bridge from the usual tree; the child's state is then "bound
// with data".
void LoadBridge(const std::string &root) {
  MakeBridgeTree(root);
  setenv("VL_USEVLU", "1", 1);
  vl_usevlu(1);
  ErrRecord rec{0};
  ASSERT_EQ(vl_init_vlu(&rec), 0) << "vl_errno " << rec.vl_errno;
  ASSERT_NE(pMap, nullptr);
}

const char kFile[] = "en_us/0333.lco";

void SetRow(vl_locale_t *h, int category, const char *name) {
  snprintf(h->locale_names[category - 2], VL_LOCALE_NAME_LEN, "%s", name);
}

}  // namespace

// ============================================================================
// Opt-in
// ============================================================================

TEST(BridgeOptIn, WithoutUsevluTheEnvironmentHasNoEffect) {
  InChild([](const std::string &root) {
    MakeBridgeTree(root);
    setenv("VL_USEVLU", "1", 1);
    ErrRecord rec{0};
    vl_setextfunc(&rec, VL_EXT_FOPEN, reinterpret_cast<void *>(CountingFopen));
    EXPECT_EQ(vl_init_vlu(&rec), 0);
    EXPECT_EQ(vl_init_vlu_dll(&rec), 0);
    EXPECT_EQ(rec.vl_errno, 0u);
    EXPECT_EQ(g_opens, 0) << "no file may be opened";
    EXPECT_EQ(vlu_capable, 0);
    EXPECT_EQ(unicode_collate, 0);
    EXPECT_EQ(vlu_loaded, 0) << "the question is asked again on the next call";
    EXPECT_EQ(pMap, nullptr);
    EXPECT_EQ(handlevlu[0].handle, nullptr);
    EXPECT_EQ(handlevlu[0].path, nullptr);
    EXPECT_EQ(fn_vlu_mblen, nullptr);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "tb_total_calls"), nullptr);
    EXPECT_EQ(CountLines("vl_init_vlu_dll: No vlu_capable"), 2);
    EXPECT_EQ(CountLines("vl_init_vlu_dll: Begin"), 2);
    EXPECT_FALSE(HasLine("vl_init_vlu_dll: vlu_capable"));
    EXPECT_TRUE(InOrder({"vl_init_vlu: Begin", "vl_init_vlu_dll: Begin", "vl_init_vlu_dll: No vlu_capable",
                         "vl_init_vlu: End"}));
  });
}

TEST(BridgeOptIn, CapableWithoutEnvironmentStaysOff) {
  InChild([](const std::string &root) {
    MakeBridgeTree(root);
    ErrRecord rec{0};
    vl_setextfunc(&rec, VL_EXT_FOPEN, reinterpret_cast<void *>(CountingFopen));
    vl_usevlu(1);
    EXPECT_EQ(vlu_capable, 1);
    EXPECT_EQ(vl_init_vlu(&rec), 0);
    EXPECT_EQ(unicode_collate, 0);
    EXPECT_EQ(vlu_loaded, 1);
    EXPECT_EQ(pMap, nullptr);
    EXPECT_EQ(g_opens, 0);
    EXPECT_EQ(handlevlu[0].handle, nullptr);
    EXPECT_TRUE(InOrder({"vl_usevlu: Begin", "vl_usevlu: exit", "vl_init_vlu: Begin", "vl_init_vlu_dll: Begin",
                         "vl_init_vlu_dll: vlu_capable", "vl_init_vlu_dll: End", "vl_init_vlu: End"}));
    EXPECT_FALSE(HasLine("vl_init_vlu_dll: Initializing"));
    // Loaded to its end: later calls are short-cut, even if asked now.
    setenv("VL_USEVLU", "1", 1);
    EXPECT_EQ(vl_init_vlu(&rec), 0);
    EXPECT_EQ(unicode_collate, 0);
    EXPECT_TRUE(HasLine("vl_init_vlu_dll: preloaded"));
    EXPECT_EQ(g_opens, 0);
  });
}

TEST(BridgeOptIn, UseVluThreeCountsAsOff) {
  InChild([](const std::string &root) {
    MakeBridgeTree(root);
    setenv("VL_USEVLU", "3", 1);
    ErrRecord rec{0};
    vl_setextfunc(&rec, VL_EXT_FOPEN, reinterpret_cast<void *>(CountingFopen));
    vl_usevlu(2);
    EXPECT_EQ(vl_init_vlu(&rec), 0);
    EXPECT_EQ(unicode_collate, 0);
    EXPECT_EQ(pMap, nullptr);
    EXPECT_EQ(g_opens, 0);
    EXPECT_EQ(handlevlu[0].handle, nullptr);
  });
}

TEST(BridgeOptIn, OtherCapableValuesForbid) {
  InChild([](const std::string &root) {
    MakeBridgeTree(root);
    setenv("VL_USEVLU", "1", 1);
    ErrRecord rec{0};
    vl_usevlu(3);
    EXPECT_EQ(vl_init_vlu(&rec), 0);
    EXPECT_EQ(unicode_collate, 0);
    EXPECT_EQ(vlu_loaded, 0);
    EXPECT_TRUE(HasLine("vl_init_vlu_dll: No vlu_capable"));
  });
}

TEST(BridgeOptIn, UseVluTwoWithCapableOneLoads) {
  InChild([](const std::string &root) {
    MakeBridgeTree(root);
    setenv("VL_USEVLU", "2", 1);
    vl_usevlu(1);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu(&rec), 0);
    EXPECT_EQ(unicode_collate, 1);
    EXPECT_NE(pMap, nullptr);
  });
}

// ============================================================================
// Loading and binding
// ============================================================================

TEST(BridgeLoad, BindsAllNamesAndHandsOverCallbacks) {
  InChild([](const std::string &root) {
    MakeBridgeTree(root);
    setenv("VL_USEVLU", "1", 1);
    vl_usevlu(1);
    ErrRecord rec{0};
    ASSERT_EQ(vl_init_vlu(&rec), 0);
    EXPECT_EQ(rec.vl_errno, 0u);
    EXPECT_EQ(unicode_collate, 1);
    EXPECT_EQ(vlu_loaded, 1);

    std::string lib = root + "/vls/dll/libvlsbridge.so";
    ASSERT_NE(handlevlu[0].handle, nullptr);
    ASSERT_NE(handlevlu[0].path, nullptr);
    EXPECT_STREQ(handlevlu[0].path, lib.c_str());
    EXPECT_EQ(handlevlu[0].status, 0);
    EXPECT_EQ(handlevlu[1].handle, nullptr);

    // Every pointer holds the library's function of that name.
    void *lh = handlevlu[0].handle;
#define CHECK_BOUND(n) EXPECT_EQ(reinterpret_cast<void *>(fn_vlu_##n), dlsym(lh, "vlu_" #n)) << #n;
    CHECK_BOUND(getIcuDataFileName) CHECK_BOUND(useIcuCvtCall) CHECK_BOUND(useIcuLocCall)
    CHECK_BOUND(icuErrorName) CHECK_BOUND(loadIcuData) CHECK_BOUND(unloadIcuData) CHECK_BOUND(loadMapData)
    CHECK_BOUND(unloadMapData) CHECK_BOUND(cv_open) CHECK_BOUND(cv_close) CHECK_BOUND(lc_clone)
    CHECK_BOUND(cv_conv) CHECK_BOUND(iconv_expansion) CHECK_BOUND(assign_global_struct) CHECK_BOUND(lc_open)
    CHECK_BOUND(lc_close) CHECK_BOUND(mb_loc_max) CHECK_BOUND(getICULocName) CHECK_BOUND(getICUCvtName)
    CHECK_BOUND(mb_loc_min) CHECK_BOUND(case_conv_outbuflen) CHECK_BOUND(ismctype) CHECK_BOUND(isuc32type)
    CHECK_BOUND(mbtouc) CHECK_BOUND(uctomb) CHECK_BOUND(mbtouc32) CHECK_BOUND(uc32tomb) CHECK_BOUND(mblen)
    CHECK_BOUND(mbwidth) CHECK_BOUND(uc32width) CHECK_BOUND(mbtoupper) CHECK_BOUND(mbtolower)
    CHECK_BOUND(uc32toupper) CHECK_BOUND(uc32tolower) CHECK_BOUND(mbstoucs) CHECK_BOUND(ucstombs)
    CHECK_BOUND(mbstoucs32) CHECK_BOUND(ucs32tombs) CHECK_BOUND(mbsprev) CHECK_BOUND(mbsnext)
    CHECK_BOUND(mbsntsbytes) CHECK_BOUND(mbstoupper) CHECK_BOUND(mbstolower) CHECK_BOUND(ucs32toupper)
    CHECK_BOUND(ucs32tolower) CHECK_BOUND(mbslen) CHECK_BOUND(mbsbytes) CHECK_BOUND(ucs32len)
    CHECK_BOUND(ucs32uc32) CHECK_BOUND(mbschr) CHECK_BOUND(mbswidth) CHECK_BOUND(ucs32width)
    CHECK_BOUND(mbspwidth) CHECK_BOUND(ucs32pwidth) CHECK_BOUND(ucscoll) CHECK_BOUND(ucsxfrm)
    CHECK_BOUND(ucs32coll) CHECK_BOUND(ucs32xfrm) CHECK_BOUND(mbscoll) CHECK_BOUND(mbsxfrm)
    CHECK_BOUND(mbsCollBound) CHECK_BOUND(mbsSortKeyCollBound) CHECK_BOUND(fgetuc32) CHECK_BOUND(getmb)
    CHECK_BOUND(getmbsi) CHECK_BOUND(putmbsi) CHECK_BOUND(setMemoryFunctions) CHECK_BOUND(setFgetcFunc)
    CHECK_BOUND(setFseekFunc) CHECK_BOUND(setFtellFunc) CHECK_BOUND(setFerrorFunc) CHECK_BOUND(setFeofFunc)
    CHECK_BOUND(setUCAFunc) CHECK_BOUND(ucstoucs32) CHECK_BOUND(ucs32toucs) CHECK_BOUND(setPrintMessageFunc)
    CHECK_BOUND(setMessageLevel) CHECK_BOUND(setMessageSubLevel)
#undef CHECK_BOUND

    // The callbacks, and that the non-zero results of all but the first
    // were ignored.
    EXPECT_EQ(Tb<vlu_malloc_cb>("tb_malloc"), &_vl_ext1_malloc);
    EXPECT_EQ(Tb<vlu_realloc_cb>("tb_realloc"), &_vl_ext1_realloc);
    EXPECT_EQ(Tb<vlu_free_cb>("tb_free"), &_vl_ext1_free);
    EXPECT_EQ(Tb<vlu_calloc_cb>("tb_calloc"), &_vl_ext1_calloc);
    EXPECT_EQ(Tb<vlu_stream_cb>("tb_fgetc"), &_vl_ext_getc);
    EXPECT_EQ(Tb<vlu_fseek_cb>("tb_fseek"), &_vl_ext_fseek);
    EXPECT_EQ(Tb<vlu_ftell_cb>("tb_ftell"), &_vl_ext_ftell);
    EXPECT_EQ(Tb<vlu_stream_cb>("tb_ferror"), &_vl_ext_ferror);
    EXPECT_EQ(Tb<vlu_stream_cb>("tb_feof"), &_vl_ext_feof);
    EXPECT_EQ(Tb<vlu_uca_cb>("tb_uca"), &_vl_ext_UCA);
    EXPECT_EQ(Tb<vlu_message_cb>("tb_print_message"), &vl_message);
    EXPECT_EQ(Tb<int32_t>("tb_message_level"), 65535);
    EXPECT_EQ(Tb<int32_t>("tb_message_sublevel"), 1);
    EXPECT_EQ(Tb<int32_t>("tb_callback_calls"), 9);

    // The data files: the ICU data by directory and name, the map by path.
    EXPECT_STREQ(Tb<char[1024]>("tb_icudata_path"), (root + "/vls/etc").c_str());
    EXPECT_STREQ(Tb<char[64]>("tb_icudata_name"), "tbicudt.dat");
    EXPECT_STREQ(Tb<char[1024]>("tb_map_path"), (root + "/vls/etc/locmap").c_str());
    EXPECT_EQ(vlu_cudata_t, &Tb<int32_t>("tb_icudata_object"));
    EXPECT_EQ(pMap, &Tb<int32_t>("tb_map_object"));
    EXPECT_EQ(vlx_vluMap(), pMap);

    // The bridge's message callback writes to the log.
    Tb<vlu_message_cb>("tb_print_message")("message from the bridge");
    EXPECT_TRUE(HasLine("message from the bridge"));

    EXPECT_TRUE(InOrder({"vl_init_vlu: Begin", "vl_init_vlu_dll: Begin", "vl_init_vlu_dll: vlu_capable",
                         "vl_init_vlu_dll: Initializing", "vl_init_vlu_dll: Loading library:", lib,
                         "vl_init_vlu_dll: Loading symbols:", "vl_init_vlu_dll: End",
                         "vl_init_vlu: Loading ICU data:", "vl_init_vlu: Loading Map data:", "vl_init_vlu: End"}));
  });
}

TEST(BridgeLoad, DataIsLoadedOncePerProcess) {
  InChild([](const std::string &root) {
    LoadBridge(root);
    EXPECT_EQ(Tb<int32_t>("tb_map_loads"), 1);
    EXPECT_EQ(Tb<int32_t>("tb_icudata_loads"), 1);
    int begins = CountLines("vl_init_vlu: Begin");
    vl_locale_t *h2 = NewHandle();
    ASSERT_NE(h2, nullptr);
    EXPECT_EQ(vl_init_vlu(h2), 0);
    EXPECT_EQ(vl_init_vlu(h2), 0);
    EXPECT_EQ(Tb<int32_t>("tb_map_loads"), 1);
    EXPECT_EQ(Tb<int32_t>("tb_icudata_loads"), 1);
    EXPECT_EQ(CountLines("vl_init_vlu: Begin"), begins + 2);
    EXPECT_FALSE(HasLine("vl_init_vlu_dll: preloaded")) << "pMap short-cuts before the binding step";
    vl_lc_unload(h2);
  });
}

TEST(BridgeLoad, CorruptLibraryForgivenWithCapableTwo) {
  InChild([](const std::string &root) {
    MakeTree(root, {"corrupt.so\n", {{"corrupt.so", VLS_TB_CORRUPT}}});
    setenv("VL_USEVLU", "2", 1);
    vl_usevlu(2);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu(&rec), 0);
    EXPECT_EQ(rec.vl_errno, 0u);
    EXPECT_EQ(vlu_capable, 0);
    EXPECT_EQ(unicode_collate, 0);
    EXPECT_EQ(vlu_loaded, 0);
    EXPECT_EQ(pMap, nullptr);
    EXPECT_EQ(handlevlu[0].handle, nullptr);
    EXPECT_EQ(handlevlu[0].status, -1);
    ASSERT_NE(handlevlu[0].message, nullptr);
    std::string lib = root + "/vls/dll/corrupt.so";
    EXPECT_TRUE(InOrder({"vl_init_vlu_dll: Loading library:", lib, "LoadLibraries: Error Loading SharedObject file",
                         lib, handlevlu[0].message, "vl_init_vlu_dll: Error Loading DLLs allowed",
                         "vl_init_vlu: End"}));
    // From then on the process is not capable, and locales open natively.
    EXPECT_EQ(vl_init_vlu(&rec), 0);
    EXPECT_TRUE(HasLine("vl_init_vlu_dll: No vlu_capable"));
    vl_locale_t *h = NewHandle();
    ASSERT_NE(h, nullptr);
    SetRow(h, VL_LC_CTYPE, kFile);
    EXPECT_EQ(set_categories_vlu(h, VL_LC_CTYPE, kFile), 0);
    EXPECT_EQ(h->bridge_active[0], 0);
    EXPECT_TRUE(HasLine("set_categories_vlu: vlu_locale NOT used as not required"));
    vl_lc_unload(h);
  });
}

TEST(BridgeLoad, CorruptLibraryFailsWithCapableOne) {
  InChild([](const std::string &root) {
    MakeTree(root, {"corrupt.so\n", {{"corrupt.so", VLS_TB_CORRUPT}}});
    setenv("VL_USEVLU", "2", 1);
    vl_usevlu(1);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu(&rec), -1);
    EXPECT_EQ(rec.vl_errno, 8u);
    EXPECT_EQ(vlu_capable, 1);
    EXPECT_EQ(vlu_loaded, 0);
    EXPECT_TRUE(HasLine("LoadLibraries: Error Loading SharedObject file"));
    EXPECT_TRUE(HasLine("vl_init_vlu: loading DLLs error"));
    EXPECT_FALSE(HasLine("vl_init_vlu_dll: Error Loading DLLs allowed"));
  });
}

TEST(BridgeLoad, CorruptLibraryFailsWhenEnvironmentSaysOne) {
  InChild([](const std::string &root) {
    MakeTree(root, {"corrupt.so\n", {{"corrupt.so", VLS_TB_CORRUPT}}});
    setenv("VL_USEVLU", "1", 1);
    vl_usevlu(2);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu(&rec), -1);
    EXPECT_EQ(rec.vl_errno, 8u);
    EXPECT_EQ(vlu_capable, 2);
  });
}

TEST(BridgeLoad, AbsentLibraryIsAlwaysHard) {
  InChild([](const std::string &root) {
    MakeTree(root, {"nothere.so\n", {}});
    setenv("VL_USEVLU", "2", 1);
    vl_usevlu(2);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu_dll(&rec), -1);
    EXPECT_EQ(rec.vl_errno, 8u);
    EXPECT_EQ(vlu_capable, 2);
    EXPECT_TRUE(HasLine("LoadLibraries: Error Loading SharedObject file"));
    EXPECT_TRUE(HasLine(root + "/vls/dll/nothere.so"));
  });
}

TEST(BridgeLoad, FiveLinesLoadFour) {
  InChild([](const std::string &root) {
    MakeTree(root, {"dep1.so\ndep2.so\ndep3.so\nlibvlsbridge.so\nnothere.so\n",
                    {{"dep1.so", VLS_TB_DEP1},
                     {"dep2.so", VLS_TB_DEP2},
                     {"dep3.so", VLS_TB_DEP3},
                     {"libvlsbridge.so", VLS_TB_BRIDGE}}});
    setenv("VL_USEVLU", "1", 1);
    vl_usevlu(1);
    ErrRecord rec{0};
    ASSERT_EQ(vl_init_vlu(&rec), 0) << rec.vl_errno;
    const char *names[] = {"dep1.so", "dep2.so", "dep3.so", "libvlsbridge.so"};
    for (int i = 0; i < 4; ++i) {
      EXPECT_NE(handlevlu[i].handle, nullptr) << i;
      ASSERT_NE(handlevlu[i].path, nullptr) << i;
      EXPECT_EQ(std::string(handlevlu[i].path), root + "/vls/dll/" + names[i]);
    }
    EXPECT_EQ(*static_cast<int *>(dlsym(handlevlu[1].handle, "tb_dep2_id")), 2);
    EXPECT_EQ(CountLines("vl_init_vlu_dll: Loading library:"), 4);
    EXPECT_FALSE(HasLine(root + "/vls/dll/nothere.so"));
    // Bound from the last library loaded.
    EXPECT_EQ(reinterpret_cast<void *>(fn_vlu_mblen), dlsym(handlevlu[3].handle, "vlu_mblen"));
  });
}

TEST(BridgeLoad, MissingNameFailsTheBinding) {
  InChild([](const std::string &root) {
    MakeBridgeTree(root, VLS_TB_BRIDGE_MISSING);
    setenv("VL_USEVLU", "1", 1);
    vl_usevlu(1);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu(&rec), -1);
    EXPECT_EQ(rec.vl_errno, 8u);
    EXPECT_EQ(vlu_loaded, 0);
    EXPECT_EQ(pMap, nullptr);
    // All names were tried: the ones before and behind the gap are bound.
    EXPECT_EQ(fn_vlu_ucs32uc32, nullptr);
    EXPECT_NE(fn_vlu_ucs32len, nullptr);
    EXPECT_NE(fn_vlu_mbschr, nullptr);
    EXPECT_NE(fn_vlu_setMessageSubLevel, nullptr);
    EXPECT_EQ(handlevlu[0].status, -1);
    EXPECT_NE(handlevlu[0].message, nullptr);
    EXPECT_TRUE(InOrder({"vl_init_vlu_dll: Loading symbols:", "vl_init_vlu_dll: End icudata kvnx_dlsym error",
                         "vl_init_vlu: loading DLLs error"}));
    EXPECT_EQ(Tb<vlu_malloc_cb>("tb_malloc"), nullptr) << "no callback is handed over after a failed binding";
  });
}

TEST(BridgeLoad, EmptyRegistryFailsInDlsym) {
  InChild([](const std::string &root) {
    MakeTree(root, {"", {}});
    setenv("VL_USEVLU", "1", 1);
    vl_usevlu(1);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu(&rec), -1);
    EXPECT_EQ(rec.vl_errno, 8u);
    EXPECT_EQ(handlevlu[0].handle, nullptr);
    EXPECT_EQ(handlevlu[0].status, -2);
    ASSERT_NE(handlevlu[0].message, nullptr);
    EXPECT_STREQ(handlevlu[0].message, "Internal Error");
    EXPECT_EQ(fn_vlu_getIcuDataFileName, nullptr);
    EXPECT_FALSE(HasLine("vl_init_vlu_dll: Loading library:"));
    EXPECT_TRUE(HasLine("vl_init_vlu_dll: End icudata kvnx_dlsym error"));
  });
}

TEST(BridgeLoad, LastLineNeedsItsNewline) {
  InChild([](const std::string &root) {
    MakeTree(root, {"libvlsbridge.so", {{"libvlsbridge.so", VLS_TB_BRIDGE}}});
    setenv("VL_USEVLU", "1", 1);
    vl_usevlu(1);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu(&rec), -1);
    EXPECT_EQ(rec.vl_errno, 8u);
    EXPECT_FALSE(HasLine("vl_init_vlu_dll: Loading library:"));
  });
}

TEST(BridgeLoad, MissingRegistryOrDirectory) {
  InChild([](const std::string &root) {
    MakeTree(root, {"", {}, /*registry_file=*/false});
    setenv("VL_USEVLU", "1", 1);
    vl_usevlu(1);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu_dll(&rec), -1);
    EXPECT_EQ(rec.vl_errno, 8u);
    EXPECT_TRUE(InOrder({"vl_init_vlu_dll: Initializing", "vl_init_vlu_dll: cannot open dllregistry"}));

    unsetenv("KELVANIXDIR");
    rec.vl_errno = 0;
    EXPECT_EQ(vl_init_vlu_dll(&rec), -1);
    EXPECT_EQ(rec.vl_errno, 8u);
    EXPECT_EQ(CountLines("vl_init_vlu_dll: Initializing"), 2);
    EXPECT_EQ(CountLines("vl_init_vlu_dll: cannot open dllregistry"), 1);
  });
}

TEST(BridgeLoad, MemoryCallbackRefused) {
  InChild([](const std::string &root) {
    MakeBridgeTree(root);
    setenv("VL_USEVLU", "1", 1);
    setenv("TB_MEM_RESULT", "42", 1);
    vl_usevlu(1);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu(&rec), -1);
    EXPECT_EQ(rec.vl_errno, 42u);
    EXPECT_EQ(vlu_loaded, 0);
    EXPECT_EQ(Tb<int32_t>("tb_callback_calls"), 0);
    EXPECT_TRUE(HasLine("vl_init_vlu_dll: End callback functions"));
  });
}

TEST(BridgeLoad, IcuDataNameRefused) {
  InChild([](const std::string &root) {
    MakeBridgeTree(root);
    setenv("VL_USEVLU", "1", 1);
    setenv("TB_ICUNAME_RC", "1", 1);
    vl_usevlu(1);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu(&rec), -1);
    EXPECT_EQ(rec.vl_errno, 8u);
    EXPECT_EQ(vlu_loaded, 1);
    EXPECT_TRUE(HasLine("vl_init_vlu: End icudata not loaded, could not get icudata file name"));
  });
}

TEST(BridgeLoad, IcuDataFileMissing) {
  InChild([](const std::string &root) {
    TreeOptions o{"libvlsbridge.so\n", {{"libvlsbridge.so", VLS_TB_BRIDGE}}};
    o.icu_data = false;
    MakeTree(root, o);
    setenv("VL_USEVLU", "1", 1);
    vl_usevlu(1);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu(&rec), -1);
    EXPECT_EQ(rec.vl_errno, 8u);
    EXPECT_EQ(Tb<int32_t>("tb_icudata_loads"), 0);
    EXPECT_TRUE(HasLine("vl_init_vlu: End icudata not loaded, icudata file not found"));
  });
}

TEST(BridgeLoad, IcuDataStatus) {
  InChild([](const std::string &root) {
    MakeBridgeTree(root);
    setenv("VL_USEVLU", "1", 1);
    setenv("TB_ICUDATA_STATUS", "5", 1);
    vl_usevlu(1);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu(&rec), -1);
    EXPECT_EQ(rec.vl_errno, 5u);
    EXPECT_EQ(vlu_cudata_t, nullptr);
    EXPECT_TRUE(HasLine("vl_init_vlu: End icudata not loaded"));
    EXPECT_FALSE(HasLine("vl_init_vlu: Loading Map data:"));
  });
}

TEST(BridgeLoad, LocmapMissingThenFound) {
  InChild([](const std::string &root) {
    TreeOptions o{"libvlsbridge.so\n", {{"libvlsbridge.so", VLS_TB_BRIDGE}}};
    o.locmap = false;
    MakeTree(root, o);
    setenv("VL_USEVLU", "1", 1);
    vl_usevlu(1);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu(&rec), -1);
    EXPECT_EQ(rec.vl_errno, 8u);
    EXPECT_NE(vlu_cudata_t, nullptr);
    EXPECT_EQ(pMap, nullptr);
    EXPECT_TRUE(HasLine("vl_init_vlu: End pMap not loaded locmap file not found"));
    // Once the map is there a second call completes, with the ICU data kept.
    WriteFile(fs::path(root) / "vls/etc/locmap", "map\n");
    rec.vl_errno = 0;
    EXPECT_EQ(vl_init_vlu(&rec), 0);
    EXPECT_NE(pMap, nullptr);
    EXPECT_EQ(Tb<int32_t>("tb_icudata_loads"), 1);
    EXPECT_EQ(Tb<int32_t>("tb_map_loads"), 1);
    EXPECT_TRUE(HasLine("vl_init_vlu_dll: preloaded"));
  });
}

TEST(BridgeLoad, MapStatus) {
  InChild([](const std::string &root) {
    MakeBridgeTree(root);
    setenv("VL_USEVLU", "1", 1);
    setenv("TB_MAP_STATUS", "6", 1);
    vl_usevlu(1);
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu(&rec), -1);
    EXPECT_EQ(rec.vl_errno, 6u);
    EXPECT_EQ(pMap, nullptr);
    EXPECT_TRUE(HasLine("vl_init_vlu: End pMap not loaded"));
  });
}

TEST(BridgeLoad, UnloadEndsTheBridgeForTheProcess) {
  InChild([](const std::string &root) {
    EXPECT_EQ(vl_unload_vlu(), 0) << "nothing loaded: nothing to do";
    LoadBridge(root);
    int32_t *map_unloads = &Tb<int32_t>("tb_map_unloads");
    int32_t *data_unloads = &Tb<int32_t>("tb_icudata_unloads");
    // Keep the library mapped after the bridge lets it go, to read its counters.
    void *keep = dlopen(handlevlu[0].path, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(keep, nullptr);
    EXPECT_EQ(vl_unload_vlu(), 0);
    EXPECT_EQ(pMap, nullptr);
    EXPECT_EQ(vlu_cudata_t, nullptr);
    EXPECT_EQ(unicode_collate, 0);
    EXPECT_EQ(vlu_loaded, 1);
    EXPECT_EQ(handlevlu[0].handle, nullptr);
    EXPECT_EQ(handlevlu[0].path, nullptr);
    EXPECT_EQ(*map_unloads, 1);
    EXPECT_EQ(*data_unloads, 1);
    // The bridge is not loaded again in this process.
    ErrRecord rec{0};
    EXPECT_EQ(vl_init_vlu(&rec), 0);
    EXPECT_EQ(pMap, nullptr);
    EXPECT_EQ(unicode_collate, 0);
    EXPECT_TRUE(HasLine("vl_init_vlu_dll: preloaded"));
    EXPECT_EQ(vl_unload_vlu(), 0);
    dlclose(keep);
  });
}

// ============================================================================
// Categories
// ============================================================================

TEST(BridgeCategories, SharedLocaleAndRelease) {
  InChild([](const std::string &root) {
    LoadBridge(root);
    vl_locale_t *h = NewHandle();
    ASSERT_NE(h, nullptr);
    h->codepoint_collation = 1;
    h->collate.codeset_order = 1;
    SetRow(h, VL_LC_CTYPE, kFile);
    SetRow(h, VL_LC_COLLATE, kFile);

    EXPECT_EQ(set_categories_vlu(h, VL_LC_CTYPE, kFile), 0);
    EXPECT_EQ(h->bridge_active[0], 1);
    ASSERT_NE(h->bridge_locale[0], nullptr);
    EXPECT_STREQ(Tb<char[128]>("tb_useloc_locale"), "en_US.819");
    EXPECT_EQ(Tb<void *>("tb_useloc_map"), pMap);
    EXPECT_STREQ(Tb<char[128]>("tb_lc_open_locale"), "en_US.819");
    EXPECT_EQ(Tb<void *>("tb_lc_open_map"), pMap);
    EXPECT_EQ(Tb<int32_t>("tb_lc_open_calls"), 1);
    EXPECT_EQ(h->collate.collation_kind, 0) << "LC_COLLATE is not bridged yet";
    EXPECT_EQ(h->codepoint_collation, 1);
    EXPECT_STREQ(vlx_getICULocName(h->bridge_locale[0]), "en_US.819");
    EXPECT_EQ(vlx_getICULocName(nullptr), nullptr);

    EXPECT_EQ(set_categories_vlu(h, VL_LC_COLLATE, kFile), 0);
    EXPECT_EQ(h->bridge_active[1], 1);
    EXPECT_EQ(h->bridge_locale[1], h->bridge_locale[0]);
    EXPECT_EQ(Tb<int32_t>("tb_lc_open_calls"), 1);
    EXPECT_TRUE(HasLine("set_categories_vlu: vlu_locale not loaded but reused"));
    EXPECT_EQ(h->collate.collation_kind, 3);
    EXPECT_EQ(h->bridge_collation, 1);
    EXPECT_EQ(h->codepoint_collation, 0);
    EXPECT_EQ(h->collate.codeset_order, 0);
    EXPECT_EQ(vlx_vluLoc(h, VL_LC_COLLATE), h->bridge_locale[1]);

    // Releasing one leaves the locale open for the other.
    void *shared = h->bridge_locale[0];
    set_categories_vlu_null(h, VL_LC_CTYPE);
    EXPECT_EQ(h->bridge_locale[0], nullptr);
    EXPECT_EQ(h->bridge_locale[1], shared);
    EXPECT_EQ(Tb<int32_t>("tb_lc_close_calls"), 0);
    set_categories_vlu_null(h, VL_LC_COLLATE);
    EXPECT_EQ(h->bridge_locale[1], nullptr);
    EXPECT_EQ(Tb<int32_t>("tb_lc_close_calls"), 1);
    EXPECT_EQ(Tb<void *>("tb_last_closed"), shared);
    EXPECT_EQ(Tb<int32_t>("tb_live_locales"), 0);

    EXPECT_TRUE(InOrder({"Begin: set_categories_vlu", "locale_name = en_us/0333.lco", "", "ll_tt = en_US", "",
                         "csnum = 819", "", "lc_norm = en_US.819", "",
                         "set_categories_vlu: vlu_locale loaded into category", "End: set_categories_vlu"}));
    vl_lc_unload(h);
  });
}

TEST(BridgeCategories, CategoryOneClearsAllAndClosesNothing) {
  InChild([](const std::string &root) {
    LoadBridge(root);
    vl_locale_t *h = NewHandle();
    ASSERT_NE(h, nullptr);
    const char other[] = "de_de/0333.lco";
    SetRow(h, VL_LC_CTYPE, kFile);
    SetRow(h, VL_LC_TIME, kFile);
    SetRow(h, VL_LC_NUMERIC, other);
    ASSERT_EQ(set_categories_vlu(h, VL_LC_CTYPE, kFile), 0);
    ASSERT_EQ(set_categories_vlu(h, VL_LC_TIME, kFile), 0);
    ASSERT_EQ(set_categories_vlu(h, VL_LC_NUMERIC, other), 0);
    EXPECT_EQ(Tb<int32_t>("tb_lc_open_calls"), 2);
    EXPECT_NE(h->bridge_locale[VL_LC_NUMERIC - 2], h->bridge_locale[0]);
    EXPECT_EQ(h->bridge_locale[VL_LC_TIME - 2], h->bridge_locale[0]);
    set_categories_vlu_null(h, VL_LC_ALL);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(h->bridge_locale[i], nullptr) << i;
    EXPECT_EQ(Tb<int32_t>("tb_lc_close_calls"), 0);
    EXPECT_EQ(Tb<int32_t>("tb_live_locales"), 2);
    EXPECT_EQ(h->bridge_active[0], 1) << "flags are the caller's business";
    // Out-of-range categories do nothing.
    set_categories_vlu_null(h, 0);
    set_categories_vlu_null(h, 8);
    vl_lc_unload(h);
  });
}

TEST(BridgeCategories, ReplacingReleasesTheEarlierLocale) {
  InChild([](const std::string &root) {
    LoadBridge(root);
    vl_locale_t *h = NewHandle();
    ASSERT_NE(h, nullptr);
    SetRow(h, VL_LC_CTYPE, kFile);
    ASSERT_EQ(set_categories_vlu(h, VL_LC_CTYPE, kFile), 0);
    void *first = h->bridge_locale[0];
    const char other[] = "fr_fr/0333.lco";
    SetRow(h, VL_LC_CTYPE, other);
    ASSERT_EQ(set_categories_vlu(h, VL_LC_CTYPE, other), 0);
    EXPECT_EQ(Tb<int32_t>("tb_lc_close_calls"), 1);
    EXPECT_EQ(Tb<void *>("tb_last_closed"), first);
    EXPECT_EQ(Tb<int32_t>("tb_lc_open_calls"), 2);
    EXPECT_STREQ(vlx_getICULocName(h->bridge_locale[0]), "fr_FR.819");
    vl_lc_unload(h);
    EXPECT_EQ(Tb<int32_t>("tb_live_locales"), 0) << "unloading the handle releases its bridge locale";
  });
}

TEST(BridgeCategories, NotRequired) {
  InChild([](const std::string &root) {
    setenv("TB_USELOC", "0", 1);
    LoadBridge(root);
    vl_locale_t *h = NewHandle();
    ASSERT_NE(h, nullptr);
    SetRow(h, VL_LC_COLLATE, kFile);
    EXPECT_EQ(set_categories_vlu(h, VL_LC_COLLATE, kFile), 0);
    EXPECT_EQ(h->bridge_active[1], 0);
    EXPECT_EQ(h->bridge_locale[1], nullptr);
    EXPECT_EQ(h->collate.collation_kind, 0);
    EXPECT_EQ(Tb<int32_t>("tb_lc_open_calls"), 0);
    EXPECT_TRUE(HasLine("set_categories_vlu: vlu_locale NOT used as not required"));
    EXPECT_TRUE(HasLine("End: set_categories_vlu"));
    vl_lc_unload(h);
  });
}

TEST(BridgeCategories, BridgeOffMeansNotRequired) {
  InChild([](const std::string &) {
    vl_locale_t *h = NewHandle();
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(set_categories_vlu(h, VL_LC_CTYPE, kFile), 0);
    EXPECT_EQ(h->bridge_active[0], 0);
    EXPECT_TRUE(HasLine("set_categories_vlu: vlu_locale NOT used as not required"));
    vl_lc_unload(h);
  });
}

TEST(BridgeCategories, NoNormalForm) {
  InChild([](const std::string &root) {
    LoadBridge(root);
    vl_locale_t *h = NewHandle();
    ASSERT_NE(h, nullptr);
    h->vl_errno = 0;
    h->bridge_active[0] = 1;
    EXPECT_EQ(set_categories_vlu(h, VL_LC_CTYPE, "default.lco"), 0);
    EXPECT_EQ(h->bridge_active[0], 0);
    EXPECT_EQ(h->vl_errno, 0u);
    EXPECT_EQ(Tb<int32_t>("tb_useloc_calls"), 0);
    EXPECT_TRUE(HasLine("set_categories_vlu: vlu_locale NOT used as couldn't workout normilized"));
    EXPECT_EQ(set_categories_vlu(h, VL_LC_CTYPE, "native"), 0);
    EXPECT_EQ(CountLines("set_categories_vlu: vlu_locale NOT used as couldn't workout normilized"), 2);
    vl_lc_unload(h);
  });
}

TEST(BridgeCategories, LocaleOpenFailure) {
  InChild([](const std::string &root) {
    LoadBridge(root);
    Tb<int16_t>("tb_lc_open_status") = 4;
    vl_locale_t *h = NewHandle();
    ASSERT_NE(h, nullptr);
    h->vl_errno = 0;
    SetRow(h, VL_LC_COLLATE, kFile);
    EXPECT_EQ(set_categories_vlu(h, VL_LC_COLLATE, kFile), 1);
    EXPECT_EQ(h->bridge_active[1], 0);
    EXPECT_EQ(h->bridge_locale[1], nullptr);
    EXPECT_EQ(h->collate.collation_kind, 0);
    EXPECT_EQ(h->vl_errno, 0u);
    EXPECT_TRUE(HasLine("set_categories_vlu: Falure to Load ICU locale"));
    EXPECT_FALSE(HasLine("End: set_categories_vlu"));
    vl_lc_unload(h);
  });
}

// ============================================================================
// Dispatch
// ============================================================================

TEST(BridgeDispatch, CollationKindThreeAndWrappers) {
  InChild([](const std::string &root) {
    LoadBridge(root);
    vl_locale_t *h = NewHandle();
    ASSERT_NE(h, nullptr);
    SetRow(h, VL_LC_COLLATE, kFile);
    ASSERT_EQ(set_categories_vlu(h, VL_LC_COLLATE, kFile), 0);
    EXPECT_EQ(h->collate.collation_kind, 3);
    set_collation_fp(h);
    EXPECT_EQ(h->mbscoll_fn, &_vlu_mbscoll);
    EXPECT_EQ(h->mbfscoll_fn, &_vlu_mbfscoll);
    EXPECT_EQ(h->mbsxfrm_fn, &_vlu_mbsxfrm);

    void *coll = h->bridge_locale[1];
    h->vl_errno = 0;
    EXPECT_EQ(h->mbscoll_fn(h, "abc", "abd"), -1);
    EXPECT_EQ(Tb<void *>("tb_last_locale"), coll);
    EXPECT_EQ(Tb<int32_t>("tb_last_len1"), -1);
    EXPECT_EQ(Tb<int32_t>("tb_last_len2"), -1);
    EXPECT_EQ(h->vl_errno, 0u);

    EXPECT_EQ(_vlu_mbfscoll(h, "b", 1, "a", 1), 1);
    EXPECT_EQ(Tb<int32_t>("tb_last_len1"), 1);
    EXPECT_EQ(Tb<int32_t>("tb_last_len2"), 1);
    EXPECT_EQ(Tb<int32_t>("tb_mbscoll_calls"), 2);

    char key[16] = {};
    EXPECT_EQ(_vlu_mbsxfrm(h, key, "hello", sizeof key), 5);
    EXPECT_EQ(Tb<char *>("tb_last_destination"), key);
    EXPECT_EQ(Tb<int32_t>("tb_last_capacity"), 16);
    EXPECT_STREQ(Tb<char[128]>("tb_last_string1"), "hello");
    EXPECT_STREQ(key, "hello");

    // A positive status becomes the error number; 0 and negative leave it.
    Tb<int16_t>("tb_next_status") = 9;
    EXPECT_EQ(_vlu_mbscoll(h, "x", "x"), 0);
    EXPECT_EQ(h->vl_errno, 9u);
    h->vl_errno = 0;
    Tb<int16_t>("tb_next_status") = -3;
    _vlu_mbsxfrm(h, key, "a", sizeof key);
    EXPECT_EQ(h->vl_errno, 0u);
    Tb<int16_t>("tb_next_status") = 0;
    vl_lc_unload(h);
  });
}

TEST(BridgeDispatch, CharacterServicesFollowTheCtypeFlag) {
  InChild([](const std::string &root) {
    LoadBridge(root);
    vl_locale_t *h = NewHandle();
    ASSERT_NE(h, nullptr);
    SetRow(h, VL_LC_CTYPE, kFile);
    ASSERT_EQ(set_categories_vlu(h, VL_LC_CTYPE, kFile), 0);
    void *ct = h->bridge_locale[0];
    h->vl_errno = 0;

    EXPECT_EQ(vl_full_mblen(h, "\xc3\xa9", 4), 2);
    EXPECT_EQ(Tb<void *>("tb_last_locale"), ct);
    EXPECT_EQ(Tb<int32_t>("tb_last_limit"), 4);
    Tb<int16_t>("tb_next_status") = 7;
    Tb<int32_t>("tb_mblen_result") = -1;
    EXPECT_EQ(vl_full_mblen(h, "\xff", 1), -1);
    EXPECT_EQ(h->vl_errno, 7u);
    Tb<int16_t>("tb_next_status") = 0;

    EXPECT_EQ(vl_mb_loc_max(h), 4);
    EXPECT_EQ(vl_mb_loc_min(h), 1);

    // The helper that later services use.
    int r = 0;
    h->vl_errno = 0;
    Tb<int32_t>("tb_mblen_result") = 3;
    ASSERT_TRUE(_vlu_dispatch(h, VL_LC_CTYPE, &r, fn_vlu_mblen, "abc", 2));
    EXPECT_EQ(r, 3);
    EXPECT_EQ(Tb<int32_t>("tb_last_limit"), 2);
    int calls = Tb<int32_t>("tb_mblen_calls");
    EXPECT_FALSE(_vlu_dispatch(h, VL_LC_COLLATE, &r, fn_vlu_mblen, "abc", 2));
    EXPECT_EQ(Tb<int32_t>("tb_mblen_calls"), calls) << "a native category calls nothing";
    EXPECT_TRUE(_vlu_active(h, VL_LC_CTYPE));
    EXPECT_FALSE(_vlu_active(h, VL_LC_TIME));
    Tb<int16_t>("tb_next_status") = 12;
    EXPECT_EQ(_vlu_call(h, fn_vlu_ucs32toucs, static_cast<uint16_t *>(nullptr), 5,
                        static_cast<const uint32_t *>(nullptr), -1),
              12);
    EXPECT_EQ(h->vl_errno, 12u);
    Tb<int16_t>("tb_next_status") = 0;
    vl_lc_unload(h);
  });
}

TEST(BridgeDispatch, Forwarders) {
  InChild([](const std::string &root) {
    EXPECT_EQ(vls_assign_global_struct(), 0) << "bridge off";
    EXPECT_EQ(vlx_vluMap(), nullptr);
    EXPECT_EQ(vlx_getICUCvtName(nullptr), nullptr);
    LoadBridge(root);
    EXPECT_EQ(vls_assign_global_struct(), 77);
    EXPECT_EQ(vlx_vluMap(), pMap);
    EXPECT_STREQ(vlx_icuErrorName(0), "U_ZERO_ERROR");
    EXPECT_STREQ(vlx_icuErrorName(3), "U_TB_ERROR");
    int dummy = 0;
    EXPECT_STREQ(vlx_getICUCvtName(&dummy), "tb-converter");
    int16_t status = 0;
    void *l = vlx_lc_open(pMap, "ja_JP.5050", &status);
    ASSERT_NE(l, nullptr);
    EXPECT_STREQ(vlx_getICULocName(l), "ja_JP.5050");
    EXPECT_EQ(vlx_lc_close(l), 0);
    status = 0;
    EXPECT_EQ(vlx_ucs32tombs(&dummy, nullptr, 10, nullptr, -1, &status), 11);
    EXPECT_EQ(Tb<int32_t>("tb_last_capacity"), 10);
    EXPECT_EQ(vlx_ucs32toucs(nullptr, 9, nullptr, 3, &status), 12);
    EXPECT_EQ(Tb<int32_t>("tb_last_len1"), 3);
    vl_locale_t *h = NewHandle();
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(vlx_vluLoc(h, VL_LC_CTYPE), nullptr);
    EXPECT_EQ(vlx_vluLoc(h, 1), nullptr);
    vl_lc_unload(h);
  });
}

// ============================================================================
// Loader wrappers and the registry reader (no process-wide state)
// ============================================================================

TEST(BridgeLoader, DlsymInternalError) {
  dl_handle rec{};
  void *p = reinterpret_cast<void *>(&rec);
  EXPECT_EQ(kvnx_dlsym(&rec, &p, "vlu_mblen"), -1);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(rec.status, -2);
  ASSERT_NE(rec.message, nullptr);
  EXPECT_STREQ(rec.message, "Internal Error");
  EXPECT_EQ(kvnx_dlsym(nullptr, &p, "vlu_mblen"), -1);

  ASSERT_EQ(kvnx_dlopen(&rec, VLS_TB_DEP1, VLU_DL_DEFAULT_FLAGS), 0);
  EXPECT_EQ(rec.status, 0);
  ASSERT_NE(rec.handle, nullptr);
  EXPECT_STREQ(rec.path, VLS_TB_DEP1);
  rec.status = 0;
  EXPECT_EQ(kvnx_dlsym(&rec, &p, nullptr), -1);
  EXPECT_EQ(rec.status, -2);
  EXPECT_STREQ(rec.message, "Internal Error");

  EXPECT_EQ(kvnx_dlsym(&rec, &p, "tb_dep1_id"), 0);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(*static_cast<int *>(p), 1);
  p = &rec;
  EXPECT_EQ(kvnx_dlsym(&rec, &p, "no_such_symbol"), -1);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(rec.status, -1);
  ASSERT_NE(rec.message, nullptr);
  EXPECT_NE(strstr(rec.message, "no_such_symbol"), nullptr) << rec.message;

  EXPECT_EQ(kvnx_dlclose(&rec), 0);
  EXPECT_EQ(rec.path, nullptr);
  _vl_free_ptr(rec.message);
}

TEST(BridgeLoader, DlopenFailure) {
  dl_handle rec{};
  EXPECT_EQ(kvnx_dlopen(&rec, VLS_TB_CORRUPT, VLU_DL_DEFAULT_FLAGS), -1);
  EXPECT_EQ(rec.handle, nullptr);
  EXPECT_EQ(rec.status, -1);
  ASSERT_NE(rec.message, nullptr);
  EXPECT_STRNE(rec.message, "");
  ASSERT_NE(rec.path, nullptr);
  EXPECT_STREQ(rec.path, VLS_TB_CORRUPT);
  _vl_free_ptr(rec.message);
  _vl_free_ptr(rec.path);
}

TEST(BridgeLoader, GetDlName) {
  char tmpl[] = "/tmp/vlsdlnameXXXXXX";
  ASSERT_NE(mkdtemp(tmpl), nullptr);
  std::string dir = tmpl;
  std::string longline(300, 'x');
  WriteFile(dir + "/reg", "liba.so\n" + longline + "\n\nlast-without-newline");
  void *f = _vl_ext_fopen((dir + "/reg").c_str(), "r");
  ASSERT_NE(f, nullptr);
  char *name = nullptr;
  int32_t size = 0;
  ASSERT_EQ(get_dl_name(f, "/opt/kx", &name, &size), 0);
  ASSERT_NE(name, nullptr);
  EXPECT_STREQ(name, "/opt/kx/vls/dll/liba.so");
  EXPECT_GT(size, 0);
  ASSERT_EQ(get_dl_name(f, "/opt/kx", &name, &size), 0);
  ASSERT_NE(name, nullptr);
  EXPECT_EQ(std::string(name), "/opt/kx/vls/dll/" + longline);
  ASSERT_EQ(get_dl_name(f, "/opt/kx", &name, &size), 0);
  ASSERT_NE(name, nullptr);
  EXPECT_STREQ(name, "/opt/kx/vls/dll/");
  ASSERT_EQ(get_dl_name(f, "/opt/kx", &name, &size), 0);
  EXPECT_EQ(name, nullptr);
  EXPECT_EQ(size, 0);
  _vl_ext_fclose(f);
  std::error_code ec;
  fs::remove_all(dir, ec);
}
