// Collation through handles loaded from the shipped locales, side by side
// with glibc (strcoll_l, strxfrm_l on the same sources compiled by its
// localedef) and ICU (ucol_strcoll, ucol_getSortKey on the same language).
//
// Rows are named <Op>/<locale>/<side>, side one of vls, glibc, icu:
//   Short  two names of about ten characters, compared
//   Long   two 440-byte strings that differ only at the end, compared
//   Key    the sort key of a ten-character name
// The library is called through vl_full_mbscoll and vl_full_mbsxfrm (the
// handle's chosen slots); ICU gets its text in UTF-16, converted before the
// run. After the run a summary prints ns per operation and the CPU-time
// ratios ours/glibc and ours/ICU (below 1: we are faster).
//
// The shipped locales are found in the build tree (or KELVANIXDIR), glibc's
// in the bench's build directory (or BENCH_LOCPATH).
// Run: bench_collate [--benchmark_filter=...] [--benchmark_min_time=...]
#include <benchmark/benchmark.h>

#include <locale.h>
#include <wchar.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <unicode/ucol.h>
#include <unicode/ustring.h>

#include <vls/vls.h>
#include <vls/vlscoll.h>

namespace {

struct LocaleRow {
  const char *label;
  const char *file;   // below lc11
  const char *glibc;  // glibc's locale name
  const char *icu;    // ICU's locale id
};
const LocaleRow kLocales[] = {
    {"de_DE.latin1", "de_de/0333.lco", "de_DE.ISO-8859-1", "de_DE"},
    {"en_US.utf8", "en_us/e01c.lco", "en_US.UTF-8", "en_US"},
};

// Two names that tie far into the first pass, and one for the keys.
const wchar_t kName1[] = L"Müller-Öst";
const wchar_t kName2[] = L"Mueller-Ost";
const wchar_t kKeyName[] = L"Björnström";

// One text in the forms each side needs.
struct Text {
  std::string mb;            // the locale's codeset, NUL-terminated
  std::vector<UChar> utf16;  // for ICU, NUL-terminated
};

struct Set {
  const LocaleRow *row;
  vl_locale_t *h = nullptr;
  locale_t g = nullptr;
  UCollator *icu = nullptr;
  Text short1, short2, long1, long2, key;
  bool ok = false;
};
std::vector<Set> g_sets;

Text make_text(locale_t g, const std::wstring &w) {
  Text t;
  locale_t old = uselocale(g);
  mbstate_t st{};
  char buf[MB_LEN_MAX];
  for (wchar_t c : w) {
    size_t n = wcrtomb(buf, c, &st);
    if (n != static_cast<size_t>(-1)) t.mb.append(buf, n);
  }
  uselocale(old);
  for (wchar_t c : w) t.utf16.push_back(static_cast<UChar>(c));  // all in the BMP
  t.utf16.push_back(0);
  return t;
}

std::wstring long_text(wchar_t last) {
  std::wstring s;
  const std::wstring words = L"Größenmaßstäbe über Änderungen, Café Müller; ";
  while (s.size() < 430) s += words;
  s.resize(439);
  s += last;
  return s;
}

bool setup() {
  if (!getenv("KELVANIXDIR")) setenv("KELVANIXDIR", VLS_BENCH_KELVANIX, 1);
  if (!getenv("LOCPATH")) setenv("LOCPATH", getenv("BENCH_LOCPATH") ? getenv("BENCH_LOCPATH") : VLS_BENCH_LOCPATH, 1);
  bool all = true;
  for (const LocaleRow &r : kLocales) {
    Set s;
    s.row = &r;
    UErrorCode status = U_ZERO_ERROR;
    if (vl_create_null_locale_4(&s.h) == 0) {
      char *names = vl_setlocale_4(s.h, VL_LC_ALL, r.file);
      if (names) vl_destroystring(names);
      s.ok = names != nullptr;
    }
    s.g = newlocale(LC_ALL_MASK, r.glibc, nullptr);
    s.icu = ucol_open(r.icu, &status);
    s.ok = s.ok && s.g && U_SUCCESS(status);
    if (!s.ok) {
      fprintf(stderr, "bench_collate: %s not available\n", r.label);
      all = false;
      continue;
    }
    s.short1 = make_text(s.g, kName1);
    s.short2 = make_text(s.g, kName2);
    s.long1 = make_text(s.g, long_text(L'a'));
    s.long2 = make_text(s.g, long_text(L'b'));
    s.key = make_text(s.g, kKeyName);
    g_sets.push_back(std::move(s));
  }
  return all;
}

enum Side { kVls, kGlibc, kIcu };
const char *const kSideNames[] = {"vls", "glibc", "icu"};

void compare(benchmark::State &st, const Set &s, const Text &a, const Text &b, Side side) {
  int r = 0;
  for (auto _ : st) {
    switch (side) {
      case kVls: r += vl_full_mbscoll(s.h, a.mb.c_str(), b.mb.c_str()); break;
      case kGlibc: r += strcoll_l(a.mb.c_str(), b.mb.c_str(), s.g); break;
      case kIcu: r += ucol_strcoll(s.icu, a.utf16.data(), -1, b.utf16.data(), -1); break;
    }
    benchmark::DoNotOptimize(r);
  }
}

void key(benchmark::State &st, const Set &s, const Text &t, Side side) {
  char buf[512];
  uint8_t ubuf[512];
  for (auto _ : st) {
    long n = 0;
    switch (side) {
      case kVls: n = vl_full_mbsxfrm(s.h, buf, t.mb.c_str(), sizeof buf); break;
      case kGlibc: n = static_cast<long>(strxfrm_l(buf, t.mb.c_str(), sizeof buf, s.g)); break;
      case kIcu: n = ucol_getSortKey(s.icu, t.utf16.data(), -1, ubuf, sizeof ubuf); break;
    }
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(buf);
    benchmark::DoNotOptimize(ubuf);
  }
}

void register_all() {
  for (Set &s : g_sets) {
    Set *sp = &s;
    for (int side = kVls; side <= kIcu; ++side) {
      const Side sd = static_cast<Side>(side);
      const std::string tail = std::string("/") + s.row->label + "/" + kSideNames[side];
      benchmark::RegisterBenchmark(("Short" + tail).c_str(),
                                   [=](benchmark::State &st) { compare(st, *sp, sp->short1, sp->short2, sd); });
      benchmark::RegisterBenchmark(("Long" + tail).c_str(),
                                   [=](benchmark::State &st) { compare(st, *sp, sp->long1, sp->long2, sd); });
      benchmark::RegisterBenchmark(("Key" + tail).c_str(), [=](benchmark::State &st) { key(st, *sp, sp->key, sd); });
    }
  }
}

// Keeps every run for the summary.
class Collector : public benchmark::ConsoleReporter {
 public:
  std::map<std::string, double> ns;

  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &r : runs) {
      if (r.error_occurred || r.run_type != Run::RT_Iteration) continue;
      ns[r.benchmark_name()] = r.GetAdjustedCPUTime() * benchmark::GetTimeUnitMultiplier(benchmark::kNanosecond) /
                               benchmark::GetTimeUnitMultiplier(r.time_unit);
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void summary() const {
    printf("\nsummary: ns per operation and CPU-time ratios ours/glibc, ours/ICU\n");
    printf("%-24s %9s %9s %9s %10s %8s\n", "row", "vls", "glibc", "icu", "vls/glibc", "vls/icu");
    for (const auto &[name, v] : ns) {
      const std::string suffix = "/vls";
      if (name.size() < suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
        continue;
      const std::string stem = name.substr(0, name.size() - suffix.size());
      auto g = ns.find(stem + "/glibc");
      auto i = ns.find(stem + "/icu");
      if (g == ns.end() || i == ns.end()) continue;
      printf("%-24s %9.1f %9.1f %9.1f %10.2f %8.2f\n", stem.c_str(), v, g->second, i->second, v / g->second,
             v / i->second);
    }
  }
};

}  // namespace

int main(int argc, char **argv) {
  std::vector<char *> args(argv, argv + argc);
  bool has_min = false;
  for (int i = 1; i < argc; ++i)
    if (strncmp(argv[i], "--benchmark_min_time", 20) == 0) has_min = true;
  static char min_time[] = "--benchmark_min_time=0.2";
  if (!has_min) args.insert(args.begin() + 1, min_time);
  argc = static_cast<int>(args.size());
  args.push_back(nullptr);
  argv = args.data();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  if (!setup()) fprintf(stderr, "bench_collate: some locales are missing; their rows are left out\n");
  register_all();
  Collector reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.summary();
  benchmark::Shutdown();
  for (Set &s : g_sets) {
    ucol_close(s.icu);
    freelocale(s.g);
    vl_lc_unload(s.h);
  }
  return 0;
}
