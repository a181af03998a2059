// Loading a shipped locale: time and heap per handle, against glibc's
// newlocale of the same source compiled by glibc's localedef (the oracle
// test's copies), and the sizes of the files on both sides.
//
// The shipped files are found below KELVANIXDIR, or below ../kelvanix
// relative to this program in the build tree; glibc's below LOCPATH, or
// ../tests/oracle/glibc. A locale missing on either side is skipped.
//
// Counters: heap_bytes is what one loaded handle holds on the heap
// (mallinfo2 before and after); file_bytes the .lco file, or the sum of
// glibc's LC_* files. glibc maps its files and keeps them for the life of
// the process, so that after the first newlocale of a locale a further one
// costs only the small locale record: its timing is the warm case.
#include <benchmark/benchmark.h>

#include <dirent.h>
#include <locale.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include <vls/vls.h>

namespace {

struct Shipped {
  const char *name;   // glibc's directory
  const char *file;   // below lc11
};
const Shipped kLocales[] = {
    {"en_US.ISO-8859-1", "en_us/0333.lco"}, {"en_US.UTF-8", "en_us/e01c.lco"},
    {"de_DE.ISO-8859-1", "de_de/0333.lco"}, {"ru_RU.KOI8-R", "ru_ru/e026.lco"},
    {"th_TH.TIS-620", "th_th/e01d.lco"},    {"ja_JP.SHIFT_JIS", "ja_jp/e006.lco"},
    {"ja_JP.EUC-JP", "ja_jp/e007.lco"},     {"ko_KR.EUC-KR", "ko_kr/e00c.lco"},
    {"zh_CN.GB2312", "zh_cn/e00d.lco"},     {"zh_TW.BIG5", "zh_tw/e008.lco"},
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

size_t heap_in_use() { return mallinfo2().uordblks; }

void BM_VlsLoad(benchmark::State &state, const Shipped &loc) {
  setenv("KELVANIXDIR", kelvanix().c_str(), 1);
  std::string path = kelvanix() + "/vls/lc11/" + loc.file;
  if (file_size(path) < 0) {
    state.SkipWithError(("not built: " + path).c_str());
    return;
  }
  size_t heap = 0;
  for (auto _ : state) {
    size_t before = heap_in_use();
    vl_locale_t *h = nullptr;
    vl_create_null_locale_4(&h);
    char *r = vl_setlocale_4(h, VL_LC_ALL, loc.file);
    if (!r) {
      state.SkipWithError("vl_setlocale_4 failed");
      vl_lc_unload(h);
      break;
    }
    vl_destroystring(r);
    heap = heap_in_use() - before;
    benchmark::DoNotOptimize(h);
    vl_lc_unload(h);
  }
  state.counters["heap_bytes"] = static_cast<double>(heap);
  state.counters["file_bytes"] = static_cast<double>(file_size(path));
}

void BM_GlibcNewlocale(benchmark::State &state, const Shipped &loc) {
  setenv("LOCPATH", locpath().c_str(), 1);
  std::string dir = locpath() + "/" + loc.name;
  if (dir_size(dir) < 0) {
    state.SkipWithError(("not built: " + dir).c_str());
    return;
  }
  size_t heap = 0;
  for (auto _ : state) {
    size_t before = heap_in_use();
    locale_t l = newlocale(LC_ALL_MASK, loc.name, nullptr);
    if (!l) {
      state.SkipWithError("newlocale failed");
      break;
    }
    heap = heap_in_use() - before;
    benchmark::DoNotOptimize(l);
    freelocale(l);
  }
  state.counters["heap_bytes"] = static_cast<double>(heap);
  state.counters["file_bytes"] = static_cast<double>(dir_size(dir));
}

int register_all() {
  for (const auto &l : kLocales) {
    benchmark::RegisterBenchmark((std::string("VlsLoad/") + l.name).c_str(), BM_VlsLoad, l)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark((std::string("GlibcNewlocale/") + l.name).c_str(), BM_GlibcNewlocale, l)
        ->Unit(benchmark::kMicrosecond);
  }
  return 0;
}
const int registered = register_all();

}  // namespace

BENCHMARK_MAIN();
