// Unicode bridge binding, against the test bridge of tests/bridge. The
// bridge state is process-wide and loads once, so every scenario runs in a
// forked child with its own KELVANIXDIR tree (also its working directory,
// for vls.log) and its own environment. Dispatch is in dispatch_test.
#include <dlfcn.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <tuple>

#include <gtest/gtest.h>

#include <vls/vls.h>

#include "bridge/tbbridge.h"
#include "vlstest.h"

namespace {

struct Rec { uint32_t vl_errno; };
int g_opens = 0;  // through the host slot, apart from the log
void *CountingFopen(const char *p, const char *mode) { return g_opens += strcmp(p, "vls.log") != 0, fopen(p, mode); }
template <typename F> void *P(F f) { return reinterpret_cast<void *>(f); }
TbState &Tb() { return *reinterpret_cast<TbState *(*)()>(dlsym(RTLD_DEFAULT, "tb_state"))(); }

// Whole lines of vls.log: where one is next found, how often it appears,
// and whether some appear in this order (not necessarily adjacent).
size_t Find(const std::string &line, size_t at) { return ("\n" + vlstest::read_file("vls.log")).find("\n" + line + "\n", at); }
int Count(const std::string &line) {
  int n = 0;
  for (size_t at = 0; (at = Find(line, at)) != std::string::npos; ++at) ++n;
  return n;
}
bool InOrder(const std::vector<std::string> &lines) {
  size_t at = 0;
  return std::all_of(lines.begin(), lines.end(), [&at](auto &l) { return (at = Find(l, at)) != std::string::npos; });
}
std::tuple<int, uint32_t> Init() { Rec rec{}; return {vl_init_vlu(&rec), rec.vl_errno}; }
// A null locale, and the file a category of it was read from.
vl_locale_t *NewHandle() { vl_locale_t *h = nullptr; return vl_create_null_locale_4(&h) == 0 ? h : nullptr; }
void Name(vl_locale_t *h, int c, const char *file) { snprintf(h->locale_names[c - 2], VL_LOCALE_NAME_LEN, "%s", file); }

// ---- checks behind some scenarios, run after the first vl_init_vlu -------

void Binding(const std::string &root) {
  EXPECT_EQ(std::tuple(handlevlu[0].path, handlevlu[1].handle), std::tuple(root + "/vls/dll/bridge.so", nullptr));
#define TB_BOUND(n) EXPECT_EQ(P(fn_vlu_##n), dlsym(handlevlu[0].handle, "vlu_" #n)) << #n;
  TB_NAMES(TB_BOUND)
  TbState &tb = Tb();
  const void *given[] = {P(_vl_ext1_malloc), P(_vl_ext1_realloc), P(_vl_ext1_free), P(_vl_ext1_calloc),
                         P(_vl_ext_getc),    P(_vl_ext_fseek),    P(_vl_ext_ftell), P(_vl_ext_ferror),
                         P(_vl_ext_feof),    P(_vl_ext_UCA),      P(vl_message)};
  EXPECT_TRUE(std::equal(given, given + 11, tb.callbacks));
  EXPECT_EQ(std::tuple(tb.level, tb.sublevel, tb.setters), std::tuple(65535, 1, 9));
  // The ICU data by directory and name, the map by path.
  EXPECT_EQ(std::tuple(tb.icudata_path, std::string(tb.icudata_name), tb.map_path),
            std::tuple(root + "/vls/etc", "tbicudt.dat", root + "/vls/etc/locmap"));
  EXPECT_EQ(std::tuple(vlu_cudata_t, pMap, vlx_vluMap()), std::tuple(P(&tb.icudata), P(&tb.map), P(&tb.map)));
  // A second handle doesn't load the data again: pMap short-cuts the call.
  vl_locale_t *h = NewHandle();
  EXPECT_EQ(vl_init_vlu(h), 0);
  EXPECT_EQ(std::tuple(tb.icudata_loads, tb.map_loads, Count("vl_init_vlu: Begin"), Count("vl_init_vlu_dll: preloaded")),
            std::tuple(1, 1, 2, 0));
  vl_lc_unload(h);
}

const char kFile[] = "en_us/0333.lco", kFr[] = "fr_fr/0333.lco";
void SharedLocale(const std::string &) {
  TbState &tb = Tb();
  vl_locale_t *h = NewHandle();
  Name(h, VL_LC_CTYPE, kFile), Name(h, VL_LC_COLLATE, kFile);
  h->codepoint_collation = h->collate.codeset_order = 1;
  ASSERT_EQ(set_categories_vlu(h, VL_LC_CTYPE, kFile), 0);
  EXPECT_EQ(std::tuple(std::string(tb.useloc), tb.useloc_map, std::string(tb.lc_open_locale), tb.lc_open_map),
            std::tuple("en_US.819", pMap, "en_US.819", pMap));
  EXPECT_TRUE(InOrder({"Begin: set_categories_vlu", "locale_name = en_us/0333.lco", "", "ll_tt = en_US", "",
                       "csnum = 819", "", "lc_norm = en_US.819", "", "End: set_categories_vlu"}));
  // The same file shares the locale; the message comes for the first too,
  // whose match by name had no locale yet.
  void *shared = h->bridge_locale[0];
  ASSERT_EQ(set_categories_vlu(h, VL_LC_COLLATE, kFile), 0);
  EXPECT_EQ(std::tuple(h->bridge_locale[1], vlx_vluLoc(h, VL_LC_COLLATE), tb.lc_opens), std::tuple(shared, shared, 1));
  EXPECT_EQ(Count("set_categories_vlu: vlu_locale not loaded but reused"), 2);
  EXPECT_EQ(std::tuple(h->collate.collation_kind, h->bridge_collation, h->codepoint_collation,
                       h->collate.codeset_order), std::tuple(3, 1, 0, 0));
  ASSERT_EQ(set_flags(h), 0);
  EXPECT_EQ(std::tuple(P(h->mbscoll_fn), P(h->mbfscoll_fn), P(h->mbsxfrm_fn)),
            std::tuple(P(_vlu_mbscoll), P(_vlu_mbfscoll), P(_vlu_mbsxfrm)));
  // Releasing one leaves it open for the other.
  set_categories_vlu_null(h, VL_LC_CTYPE);
  EXPECT_EQ(std::tuple(h->bridge_locale[0], tb.lc_closes), std::tuple(nullptr, 0));
  set_categories_vlu_null(h, VL_LC_COLLATE);
  EXPECT_EQ(std::tuple(tb.lc_closes, tb.last_closed), std::tuple(1, shared));
  // A new file for a category releases the earlier locale.
  ASSERT_EQ(set_categories_vlu(h, VL_LC_CTYPE, kFile), 0);
  void *first = h->bridge_locale[0];
  Name(h, VL_LC_CTYPE, kFr), Name(h, VL_LC_TIME, kFr);
  ASSERT_EQ(set_categories_vlu(h, VL_LC_CTYPE, kFr), 0);
  ASSERT_EQ(set_categories_vlu(h, VL_LC_TIME, kFr), 0);
  EXPECT_EQ(std::tuple(tb.last_closed, std::string(tb.lc_open_locale), tb.live_locales),
            std::tuple(first, "fr_FR.819", 1));
  // Category 1 clears every slot and closes nothing: each slot meets itself.
  // Out-of-range categories do nothing.
  void **loc = h->bridge_locale;
  set_categories_vlu_null(h, 0), set_categories_vlu_null(h, 8);
  EXPECT_EQ(std::tuple(std::count(loc, loc + 6, nullptr), loc[VL_LC_TIME - 2] == loc[0]), std::tuple(4, true));
  set_categories_vlu_null(h, VL_LC_ALL);
  EXPECT_EQ(std::tuple(std::count(loc, loc + 6, nullptr), tb.lc_closes, tb.live_locales, h->bridge_active[0]),
            std::tuple(6, 2, 1, 1));
}

// One set_categories_vlu on a fresh handle each: category, file, answer of
// useIcuLocCall, status of lc_open; result, flag, log line.
struct CatCase { int category; const char *file, *useloc; int16_t open_status; int rc, active; const char *line; };
const char kNoNorm[] = "set_categories_vlu: vlu_locale NOT used as couldn't workout normilized";
const CatCase kCats[] = {
    {VL_LC_CTYPE, kFile, "1", 0, 0, 1, "set_categories_vlu: vlu_locale loaded into category"},
    {VL_LC_COLLATE, kFile, "1", 0, 0, 1, "set_categories_vlu: vlu_locale loaded into category"},
    {VL_LC_COLLATE, kFile, "0", 0, 0, 0, "set_categories_vlu: vlu_locale NOT used as not required"},
    {VL_LC_CTYPE, "default.lco", "1", 0, 0, 0, kNoNorm}, {VL_LC_TIME, "native", "1", 0, 0, 0, kNoNorm},
    {VL_LC_COLLATE, kFile, "1", 4, 1, 0, "set_categories_vlu: Falure to Load ICU locale"},  // status not stored
    {8, kFile, "1", 0, 0, 0, "End: set_categories_vlu"},
};
void OneCategory(const std::string &) {
  TbState &tb = Tb();
  for (const CatCase &c : kCats) {
    SCOPED_TRACE(testing::Message() << c.category << " " << c.file << " useloc " << c.useloc);
    const int row = c.category <= VL_LC_MESSAGES ? c.category - 2 : 0;  // 8: look at LC_CTYPE's row
    vl_locale_t *h = NewHandle();
    Name(h, row + 2, c.file), h->bridge_active[row] = c.category <= VL_LC_MESSAGES;
    setenv("TB_USELOC", c.useloc, 1);
    tb.lc_open_status = c.open_status;
    int opens = tb.lc_opens, lines = Count(c.line), ends = Count("End: set_categories_vlu"), live = tb.live_locales;
    const int rc = set_categories_vlu(h, c.category, c.file);
    EXPECT_EQ(std::tuple(rc, h->vl_errno), std::tuple(c.rc, 0u));
    EXPECT_EQ(std::tuple(h->bridge_active[row], h->bridge_locale[row] != nullptr, h->collate.collation_kind),
              std::tuple(c.active, c.active == 1, c.active && c.category == VL_LC_COLLATE ? 3 : 0));
    EXPECT_EQ(std::tuple(tb.lc_opens - opens, Count(c.line) - lines, Count("End: set_categories_vlu") - ends),
              std::tuple(c.active || c.rc, 1, c.rc == 0));
    vl_lc_unload(h);
    EXPECT_EQ(tb.live_locales, live) << "unloading the handle releases its bridge locale";
  }
}

void Unload(const std::string &) {
  TbState &tb = Tb();
  void *keep = dlopen(handlevlu[0].path, RTLD_NOW | RTLD_NOLOAD);  // keeps the test bridge mapped
  EXPECT_EQ(vl_unload_vlu(), 0);
  EXPECT_EQ(std::tuple(pMap, vlu_cudata_t, handlevlu[0].handle, P(handlevlu[0].path), unicode_collate, tb.map_unloads,
                       tb.icudata_unloads), std::tuple(nullptr, nullptr, nullptr, nullptr, 0, 1, 1));
  // vlu_loaded stays: the bridge is not loaded again in this process.
  EXPECT_EQ(Init(), std::tuple(0, 0u));
  EXPECT_EQ(std::tuple(pMap, Count("vl_init_vlu_dll: preloaded")), std::tuple(nullptr, 1));
  dlclose(keep);
}

void Bound(const std::string &root) { Binding(root), SharedLocale(root), OneCategory(root), Unload(root); }

// The tree (the registry, nullptr for none; kIcu and kMap files), VL_USEVLU
// (or nullptr), the value given to vl_usevlu (-1: never called) and a
// setting of the test bridge (or nullptr); what vl_init_vlu gives and
// leaves; log lines, and more checks in the same process.
struct Scenario {
  const char *what, *registry; unsigned files; const char *use; int capable; const char *tb;
  int rc; uint32_t err;                        // err: the bridge's own number where tb sets one
  int capable_after, collate, loaded, status;  // status: of handlevlu[0]
  std::vector<std::string> lines;  // in this order; "!": a line that must not appear; "/": a path below the tree
  void (*more)(const std::string &root) = nullptr;  // then, in the same process
};
enum : unsigned { kIcu = 1, kMap = 2, kData = kIcu | kMap };

const std::string kLong(240, 'x'), kLongLine = kLong + "\n";  // the registry reader takes the heap
const char kOne[] = "bridge.so\n", kCorrupt[] = "corrupt.so\n", kLoadErr[] = "vl_init_vlu: loading DLLs error",
           kDlsymErr[] = "vl_init_vlu_dll: End icudata kvnx_dlsym error", kNoCap[] = "vl_init_vlu_dll: No vlu_capable",
           kPreloaded[] = "vl_init_vlu_dll: preloaded";
const Scenario kScenarios[] = {
    {"VL_USEVLU without vl_usevlu: asked again", kOne, kData, "1", -1, nullptr, 0, 0, 0, 0, 0, 0,
     {kNoCap, "!vl_init_vlu_dll: vlu_capable"}, [](const std::string &) {
       EXPECT_EQ(vl_unload_vlu(), 0) << "nothing to unload";
       EXPECT_EQ(Init(), std::tuple(0, 0u));
       EXPECT_EQ(Count(kNoCap), 2);
     }},
    {"capable, VL_USEVLU unset: loaded to its end", kOne, kData, nullptr, 1, nullptr, 0, 0, 1, 0, 1, 0,
     {"vl_usevlu: Begin", "vl_usevlu: exit", "vl_init_vlu_dll: vlu_capable", "vl_init_vlu_dll: End",
      "!vl_init_vlu_dll: Initializing"}, [](const std::string &) {
       setenv("VL_USEVLU", "1", 1);
       EXPECT_EQ(Init(), std::tuple(0, 0u));
       EXPECT_EQ(std::tuple(unicode_collate, Count(kPreloaded)), std::tuple(0, 1));
     }},
    {"VL_USEVLU 3 counts as off", kOne, kData, "3", 2, nullptr, 0, 0, 2, 0, 1, 0, {"!vl_init_vlu_dll: Initializing"}},
    {"vl_usevlu 3 forbids", kOne, kData, "1", 3, nullptr, 0, 0, 3, 0, 0, 0, {kNoCap}},
    {"VL_USEVLU 2, capable 1: bound", kOne, kData, "2", 1, nullptr, 0, 0, 1, 1, 1, 0,
     {"vl_init_vlu: Begin", "vl_init_vlu_dll: Begin", "vl_init_vlu_dll: vlu_capable", "vl_init_vlu_dll: Initializing",
      "vl_init_vlu_dll: Loading library:", "/vls/dll/bridge.so", "vl_init_vlu_dll: Loading symbols:", "vl_init_vlu_dll: End",
      "vl_init_vlu: Loading ICU data:", "vl_init_vlu: Loading Map data:", "vl_init_vlu: End"}, Bound},
    {"corrupt file forgiven with 2 and 2", kCorrupt, kData, "2", 2, nullptr, 0, 0, 0, 0, 0, -1,
     {"vl_init_vlu_dll: Loading library:", "/vls/dll/corrupt.so", "LoadLibraries: Error Loading SharedObject file",
      "/vls/dll/corrupt.so", "vl_init_vlu_dll: Error Loading DLLs allowed", "vl_init_vlu: End"}, [](const std::string &) {
       // The loader's text is logged. From then on the process is not capable, and locales open natively.
       EXPECT_EQ(Count(handlevlu[0].message), 1);
       EXPECT_EQ(Init(), std::tuple(0, 0u));
       vl_locale_t *h = NewHandle();
       EXPECT_EQ(set_categories_vlu(h, VL_LC_CTYPE, kFile), 0);
       vl_lc_unload(h);
       EXPECT_EQ(Count(kNoCap) + Count("set_categories_vlu: vlu_locale NOT used as not required"), 2);
     }},
    {"corrupt file, capable 1", kCorrupt, kData, "2", 1, nullptr, -1, VL_ENOENT, 1, 1, 0, -1,
     {"LoadLibraries: Error Loading SharedObject file", kLoadErr, "!vl_init_vlu_dll: Error Loading DLLs allowed"}},
    {"corrupt file, VL_USEVLU 1", kCorrupt, kData, "1", 2, nullptr, -1, VL_ENOENT, 2, 1, 0, -1, {kLoadErr}},
    {"absent file is always hard", kLongLine.c_str(), kData, "2", 2, nullptr, -1, VL_ENOENT, 2, 1, 0, -1,
     {"LoadLibraries: Error Loading SharedObject file", "/vls/dll/" + kLong}},
    {"five lines load four", "dep1.so\ndep2.so\ndep3.so\nbridge.so\nnothere.so\n", kData, "1", 1, nullptr, 0, 0, 1, 1,
     1, 0, {"/vls/dll/dep1.so", "/vls/dll/dep2.so", "/vls/dll/dep3.so", "/vls/dll/bridge.so", "!/vls/dll/nothere.so"},
     [](const std::string &) {  // four copies of the bridge: the names are bound from the last
       EXPECT_EQ(P(fn_vlu_mblen), dlsym(handlevlu[3].handle, "vlu_mblen"));
       EXPECT_NE(P(fn_vlu_mblen), dlsym(handlevlu[2].handle, "vlu_mblen"));
     }},
    {"a missing name fails the binding", "missing.so\n", kData, "1", 1, nullptr, -1, VL_ENOENT, 1, 1, 0, -1,
     {"vl_init_vlu_dll: Loading symbols:", kDlsymErr, kLoadErr}, [](const std::string &) {
       // All names were tried: the ones before and behind the gap are bound; no callback is handed over.
       EXPECT_EQ(std::tuple(P(fn_vlu_ucs32uc32), Tb().setters, Tb().callbacks[0]), std::tuple(nullptr, 0, nullptr));
       EXPECT_TRUE(fn_vlu_ucs32len && fn_vlu_mbschr && fn_vlu_setMessageSubLevel);
       EXPECT_NE(strstr(handlevlu[0].message, "vlu_ucs32uc32"), nullptr);
     }},
    {"empty registry fails in dlsym", "", kData, "1", 1, nullptr, -1, VL_ENOENT, 1, 1, 0, -2,
     {kDlsymErr, "!vl_init_vlu_dll: Loading library:"}},
    {"last line needs its newline", "bridge.so", kData, "1", 1, nullptr, -1, VL_ENOENT, 1, 1, 0, -2,
     {kDlsymErr, "!vl_init_vlu_dll: Loading library:"}},
    {"no registry, then no directory", nullptr, kData, "1", 1, nullptr, -1, VL_ENOENT, 1, 1, 0, 0,
     {"vl_init_vlu_dll: Initializing", "vl_init_vlu_dll: cannot open dllregistry"}, [](const std::string &) {
       unsetenv("KELVANIXDIR");
       EXPECT_EQ(Init(), std::tuple(-1, uint32_t{VL_ENOENT}));
       EXPECT_EQ(Count("vl_init_vlu_dll: Initializing") - Count("vl_init_vlu_dll: cannot open dllregistry"), 1);
     }},
    {"memory callbacks refused", kOne, kData, "1", 1, "TB_MEM_RESULT=42", -1, 42, 1, 1, 0, 0,
     {"vl_init_vlu_dll: End callback functions", "!vl_init_vlu_dll: End"}},
    {"no ICU data name", kOne, kData, "1", 1, "TB_ICUNAME_RC=1", -1, VL_ENOENT, 1, 1, 1, 0,
     {"vl_init_vlu: End icudata not loaded, could not get icudata file name"}},
    {"no ICU data file", kOne, kMap, "1", 1, nullptr, -1, VL_ENOENT, 1, 1, 1, 0,
     {"vl_init_vlu: End icudata not loaded, icudata file not found"}},
    {"ICU data status", kOne, kData, "1", 1, "TB_ICUDATA_STATUS=5", -1, 5, 1, 1, 1, 0,
     {"vl_init_vlu: End icudata not loaded", "!vl_init_vlu: Loading Map data:"}},
    {"no locmap, then one: the ICU data is kept", kOne, kIcu, "1", 1, nullptr, -1, VL_ENOENT, 1, 1, 1, 0,
     {"vl_init_vlu: End pMap not loaded locmap file not found"}, [](const std::string &root) {
       std::ofstream(root + "/vls/etc/locmap") << "map\n";
       EXPECT_EQ(Init(), std::tuple(0, 0u));
       EXPECT_EQ(std::tuple(pMap != nullptr, Tb().icudata_loads, Tb().map_loads, Count(kPreloaded)),
                 std::tuple(true, 1, 1, 1));
     }},
    {"map status", kOne, kData, "1", 1, "TB_MAP_STATUS=6", -1, 6, 1, 1, 1, 0, {"vl_init_vlu: End pMap not loaded"}},
};

// The child: its working directory is the tree `root`.
void RunScenario(const Scenario &s, const std::string &root) {
  for (const char *v : {"VL_PATH", "VLSDEBUG", "TB_USELOC"}) unsetenv(v);
  setenv("VLSLOG", "on", 1), setenv("KELVANIXDIR", root.c_str(), 1);
  s.use ? setenv("VL_USEVLU", s.use, 1) : unsetenv("VL_USEVLU");
  if (s.tb) putenv(strdup(s.tb));
  // Unless both ask for the bridge, no file is opened.
  const bool asked = (s.capable == 1 || s.capable == 2) && s.use && (*s.use == '1' || *s.use == '2');
  Rec rec{};
  if (!asked) vl_setextfunc(&rec, VL_EXT_FOPEN, P(CountingFopen));
  if (s.capable >= 0) vl_usevlu(s.capable);
  const int rc = vl_init_vlu(&rec);
  EXPECT_EQ(std::tuple(rc, rec.vl_errno), std::tuple(s.rc, s.err));
  EXPECT_EQ(std::tuple(vlu_capable, unicode_collate, vlu_loaded, handlevlu[0].status, pMap != nullptr),
            std::tuple(s.capable_after, s.collate, s.loaded, s.status, s.rc == 0 && s.collate == 1));
  EXPECT_EQ(handlevlu[0].message != nullptr, s.status != 0);
  if (s.status == -2) { EXPECT_STREQ(handlevlu[0].message, "Internal Error"); }
  if (!asked) { EXPECT_EQ(std::tuple(g_opens, P(handlevlu[0].path)), std::tuple(0, nullptr)); }
  std::vector<std::string> in_order;
  for (const std::string &line : s.lines) {
    std::string l = line.substr(line[0] == '!');
    if (l[0] == '/') l = root + l;
    if (line[0] != '!') in_order.push_back(l);
    EXPECT_TRUE(line[0] != '!' || Count(l) == 0) << l;
  }
  EXPECT_TRUE(InOrder(in_order)) << vlstest::read_file("vls.log");
  if (s.more) s.more(root);
}

}  // namespace

TEST(BridgeLoad, Scenarios) {
  constexpr auto kOverwrite = std::filesystem::copy_options::overwrite_existing;
  const char *const libs[] = {"bridge.so", VLS_TB_BRIDGE, "missing.so", VLS_TB_BRIDGE_MISSING, "corrupt.so",
                              VLS_TB_CORRUPT, "dep1.so", VLS_TB_BRIDGE, "dep2.so", VLS_TB_BRIDGE, "dep3.so", VLS_TB_BRIDGE};
  for (const Scenario &s : kScenarios) {
    SCOPED_TRACE(s.what);
    vlstest::TempDir dir;
    if (s.registry) dir.write("vls/etc/32-dllregistry.34", s.registry);
    if (s.files & kIcu) dir.write("vls/etc/tbicudt.dat", "opaque ICU data\n");
    if (s.files & kMap) dir.write("vls/etc/locmap", "opaque locale map\n");
    for (int i = 0; i < 12; i += 2)
      std::filesystem::copy_file(libs[i + 1], dir.write(std::string("vls/dll/") + libs[i], ""), kOverwrite);
    EXPECT_EQ(vlstest::in_test_child(dir.path(), [&] { RunScenario(s, dir.path()); }), 0)
        << "failures in the child process (see above)";
  }
}

// kvnx_dlsym with a null record, handle or name is an internal error; so is
// kvnx_dlopen without a record, and kvnx_dlclose without a handle.
TEST(BridgeLoader, InternalErrors) {
  dl_handle none{}, libm{};
  ASSERT_EQ(kvnx_dlopen(&libm, "libm.so.6", VLU_DL_DEFAULT_FLAGS), 0);
  const std::pair<dl_handle *, const char *> cases[] = {{nullptr, "cos"}, {&none, "cos"}, {&libm, nullptr}};
  for (auto [record, name] : cases) {
    void *p = &none;
    EXPECT_EQ(kvnx_dlsym(record, &p, name), -1);
    EXPECT_EQ(p, nullptr);
    if (record) { EXPECT_EQ(std::tuple(record->status, std::string(record->message)), std::tuple(-2, "Internal Error")); }
  }
  EXPECT_EQ(std::tuple(kvnx_dlopen(nullptr, "libm.so.6", VLU_DL_DEFAULT_FLAGS), kvnx_dlclose(&none)), std::tuple(-1, -1));
  EXPECT_EQ(kvnx_dlclose(&libm), 0);
  EXPECT_EQ(libm.path, nullptr) << "closing frees the path";
  _vl_free_ptr(none.message), _vl_free_ptr(libm.message);
}
