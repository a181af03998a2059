// Loading every shipped locale: time and heap per handle, against glibc's
// newlocale of the same source compiled by glibc's localedef (the oracle
// test's copies), and the sizes of the files on both sides.
//
// The shipped files are found below KELVANIXDIR, or below ../kelvanix
// relative to this program in the build tree (every .lco below vls/lc11);
// glibc's below LOCPATH, or ../tests/oracle/glibc. A locale missing on
// glibc's side has no glibc row.
//
// Cold: the first load of the locale in this process, timed once (run
// these before any warm row; --benchmark_filter=Cold for them alone). glibc
// maps its files and keeps them for the life of the process, so that after
// the first newlocale of a locale a further one costs only the small locale
// record: its warm rows show that. The library keeps nothing between loads,
// so its cold and warm rows differ only by the caches of the machine.
//
// Counters: heap_bytes is what one loaded handle holds on the heap: for the
// library counted through a host allocator in the host table (every block
// of the library goes through it), for glibc by mallinfo2 before and after
// its first load in the row, outside the time;
// heap_blocks the library's live blocks; file_bytes the .lco file, or the
// sum of glibc's LC_* files.
#include <benchmark/benchmark.h>

#include <dirent.h>
#include <locale.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <vls/vls.h>

namespace {

// ---- a counting host allocator -----------------------------------------

struct alignas(16) Header {
  size_t size;
};
size_t g_live_bytes = 0, g_live_blocks = 0;

void *count_malloc(size_t n) {
  auto *h = static_cast<Header *>(malloc(sizeof(Header) + n));
  if (!h) return nullptr;
  h->size = n;
  g_live_bytes += n;
  ++g_live_blocks;
  return h + 1;
}
void count_free(void *p) {
  if (!p) return;
  Header *h = static_cast<Header *>(p) - 1;
  g_live_bytes -= h->size;
  --g_live_blocks;
  free(h);
}
void *count_calloc(size_t count, size_t size) {
  void *p = count_malloc(count * size);
  if (p) memset(p, 0, count * size);
  return p;
}
void *count_realloc(void *p, size_t n) {
  if (!p) return count_malloc(n);
  void *q = count_malloc(n);
  if (!q) return nullptr;
  memcpy(q, p, std::min(n, (static_cast<Header *>(p) - 1)->size));
  count_free(p);
  return q;
}

// Installed before the library allocates anything.
const bool g_counting = [] {
  vl_locale_t scratch{};
  vl_setextfunc(&scratch, VL_EXT_MALLOC, reinterpret_cast<void *>(&count_malloc));
  vl_setextfunc(&scratch, VL_EXT_FREE, reinterpret_cast<void *>(&count_free));
  vl_setextfunc(&scratch, VL_EXT_CALLOC, reinterpret_cast<void *>(&count_calloc));
  vl_setextfunc(&scratch, VL_EXT_REALLOC, reinterpret_cast<void *>(&count_realloc));
  return true;
}();

// ---- the locales ---------------------------------------------------------

struct Shipped {
  std::string file;   // below lc11, e.g. en_us/e01c.lco
  std::string glibc;  // glibc's directory name, e.g. en_US.UTF-8; empty for none
};

// Codeset numbers of the shipped files and glibc's names of the codesets.
struct Charset {
  const char *hex;
  const char *name;
};
constexpr Charset kCharsets[] = {
    {"0333", "ISO-8859-1"}, {"0390", "ISO-8859-2"}, {"0393", "ISO-8859-5"}, {"032d", "ISO-8859-7"},
    {"0394", "ISO-8859-8"}, {"0398", "ISO-8859-9"}, {"0441", "ISO-8859-6"}, {"04e3", "CP1251"},
    {"e026", "KOI8-R"},     {"e01d", "TIS-620"},    {"e006", "SHIFT_JIS"},  {"e007", "EUC-JP"},
    {"e00c", "EUC-KR"},     {"e00d", "GB2312"},     {"e008", "BIG5"},       {"e01c", "UTF-8"},
};

std::string self_dir() {
  char buf[4096];
  ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) return ".";
  std::string p(buf, static_cast<size_t>(n));
  return p.substr(0, p.find_last_of('/'));
}

std::string kelvanix() {
  const char *e = getenv("KELVANIXDIR");
  return e && *e ? e : self_dir() + "/../kelvanix";
}

std::string locpath() {
  const char *e = getenv("LOCPATH");
  return e && *e ? e : self_dir() + "/../tests/oracle/glibc";
}

long file_size(const std::string &p) {
  struct stat st;
  return stat(p.c_str(), &st) == 0 ? static_cast<long>(st.st_size) : -1;
}

long dir_size(const std::string &d) {
  long total = 0;
  DIR *dir = opendir(d.c_str());
  if (!dir) return -1;
  while (dirent *e = readdir(dir)) {
    std::string n = e->d_name;
    if (n == "." || n == "..") continue;
    struct stat st;
    std::string p = d + "/" + n;
    if (stat(p.c_str(), &st) != 0) continue;
    total += S_ISDIR(st.st_mode) ? dir_size(p) : static_cast<long>(st.st_size);
  }
  closedir(dir);
  return total;
}

std::vector<std::string> entries(const std::string &d) {
  std::vector<std::string> out;
  if (DIR *dir = opendir(d.c_str())) {
    while (dirent *e = readdir(dir))
      if (e->d_name[0] != '.') out.emplace_back(e->d_name);
    closedir(dir);
  }
  std::sort(out.begin(), out.end());
  return out;
}

// Every ll_tt/xxxxmmmm.lco below lc11, with glibc's ll_TT.CHARSET when the
// file has no modifier.
std::vector<Shipped> shipped() {
  std::vector<Shipped> out;
  const std::string lc = kelvanix() + "/vls/lc11";
  for (const std::string &d : entries(lc)) {
    if (d.size() != 5 || d[2] != '_') continue;
    for (const std::string &f : entries(lc + "/" + d)) {
      if (f.size() < 8 || f.substr(f.size() - 4) != ".lco") continue;
      Shipped s{d + "/" + f, ""};
      std::string hex = f.substr(0, 4), modifier = f.substr(4, f.size() - 8);
      for (const Charset &c : kCharsets) {
        if (hex == c.hex && modifier.empty()) {
          std::string territory = d.substr(3);
          for (char &ch : territory) ch = static_cast<char>(toupper(static_cast<unsigned char>(ch)));
          s.glibc = d.substr(0, 2) + "_" + territory + "." + c.name;
        }
      }
      out.push_back(s);
    }
  }
  return out;
}

size_t heap_in_use() { return mallinfo2().uordblks; }

// One load; false (with the benchmark skipped) when it fails.
bool vls_load(benchmark::State &state, const Shipped &loc, size_t *bytes, size_t *blocks) {
  size_t before = g_live_bytes, blocks_before = g_live_blocks;
  vl_locale_t *h = nullptr;
  vl_create_null_locale_4(&h);
  char *r = vl_setlocale_4(h, VL_LC_ALL, loc.file.c_str());
  if (!r) {
    state.SkipWithError(("vl_setlocale_4 failed, error " + std::to_string(h->vl_errno)).c_str());
    vl_lc_unload(h);
    return false;
  }
  vl_destroystring(r);
  *bytes = g_live_bytes - before;
  *blocks = g_live_blocks - blocks_before;
  benchmark::DoNotOptimize(h);
  vl_lc_unload(h);
  return true;
}

void BM_VlsLoad(benchmark::State &state, Shipped loc, bool cold) {
  setenv("KELVANIXDIR", kelvanix().c_str(), 1);
  std::string path = kelvanix() + "/vls/lc11/" + loc.file;
  size_t bytes = 0, blocks = 0;
  for (auto _ : state) {
    if (cold) {
      auto t0 = std::chrono::steady_clock::now();
      if (!vls_load(state, loc, &bytes, &blocks)) break;
      state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
    } else if (!vls_load(state, loc, &bytes, &blocks)) {
      break;
    }
  }
  state.counters["heap_bytes"] = static_cast<double>(bytes);
  state.counters["heap_blocks"] = static_cast<double>(blocks);
  state.counters["file_bytes"] = static_cast<double>(file_size(path));
}

void BM_GlibcNewlocale(benchmark::State &state, Shipped loc, bool cold) {
  setenv("LOCPATH", locpath().c_str(), 1);
  std::string dir = locpath() + "/" + loc.glibc;
  size_t heap = 0;
  bool counted = false;
  for (auto _ : state) {
    // The heap is counted (mallinfo2 walks the heap) once, outside the time.
    size_t before = counted ? 0 : heap_in_use();
    auto t0 = std::chrono::steady_clock::now();
    locale_t l = newlocale(LC_ALL_MASK, loc.glibc.c_str(), nullptr);
    if (cold) state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
    if (!l) {
      state.SkipWithError("newlocale failed");
      break;
    }
    if (!counted) {
      state.PauseTiming();
      heap = heap_in_use() - before;
      counted = true;
      state.ResumeTiming();
    }
    benchmark::DoNotOptimize(l);
    freelocale(l);
  }
  state.counters["heap_bytes"] = static_cast<double>(heap);
  state.counters["file_bytes"] = static_cast<double>(dir_size(dir));
}

int register_all() {
  const std::vector<Shipped> locales = shipped();
  // Cold rows first: each is the first load of its locale in the process.
  for (const Shipped &l : locales) {
    benchmark::RegisterBenchmark(("Cold/VlsLoad/" + l.file).c_str(), BM_VlsLoad, l, true)
        ->Unit(benchmark::kMicrosecond)->Iterations(1)->Repetitions(1)->UseManualTime();
    if (!l.glibc.empty() && dir_size(locpath() + "/" + l.glibc) >= 0)
      benchmark::RegisterBenchmark(("Cold/GlibcNewlocale/" + l.glibc).c_str(), BM_GlibcNewlocale, l, true)
          ->Unit(benchmark::kMicrosecond)->Iterations(1)->Repetitions(1)->UseManualTime();
  }
  for (const Shipped &l : locales) {
    benchmark::RegisterBenchmark(("VlsLoad/" + l.file).c_str(), BM_VlsLoad, l, false)->Unit(benchmark::kMicrosecond);
    if (!l.glibc.empty() && dir_size(locpath() + "/" + l.glibc) >= 0)
      benchmark::RegisterBenchmark(("GlibcNewlocale/" + l.glibc).c_str(), BM_GlibcNewlocale, l, false)
          ->Unit(benchmark::kMicrosecond);
  }
  return 0;
}
const int registered = register_all();

}  // namespace

BENCHMARK_MAIN();
