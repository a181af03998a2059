// Formatting numbers, money and times through the shipped de_DE ISO-8859-1
// and en_US UTF-8 locales, beside glibc (snprintf under uselocale with the
// group flag, strfmon_l, strftime_l; the same sources compiled by its
// localedef) and ICU (unum_formatDouble, unum_formatDoubleCurrency,
// udat_format) in the same locale.
//
// Each iteration formats the same 64 values (integers from 0 to 2^31 in
// both signs, fractions with two to six integer digits, times through a
// year). Rows are <locale>/<what>/<side>, side one of vls, glibc, icu.
// After the run a summary prints the CPU time of one call of each side and
// the ratios ours/glibc and ours/ICU (below 1: we are faster). ICU writes
// UTF-16 and lays out by its own data, so it is a second peer, not a
// replica.
//
// Run: bench_fmt [--benchmark_filter=...] [--benchmark_min_time=...]
#include <benchmark/benchmark.h>

#include "ratios.h"
#include <locale.h>
#include <monetary.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include <unicode/udat.h>
#include <unicode/unum.h>

#include <vls/libvls.h>
#include <vls/vlsfmt.h>
#include <vls/vlsmon.h>
#include <vls/vlstmfmt.h>

namespace {

constexpr int kValues = 64;

struct Place {
  const char *label;  // row prefix
  const char *file;   // the library's locale file below lc11
  const char *glibc;  // directory below VLS_BENCH_LOCPATH
  const char *icu;    // ICU locale
};
const Place kPlaces[] = {
    {"de_DE.8859-1", "de_de/0333.lco", "de_DE.ISO-8859-1", "de_DE"},
    {"en_US.UTF-8", "en_us/e01c.lco", "en_US.UTF-8", "en_US"},
};

struct What {
  const char *label;
  const char *vls_format, *glibc_format;
};
const What kWhats[] = {
    {"int", "%'d", "%'d"},
    {"fixed", "%'.2f", "%'.2f"},
    {"money", "%n", "%n"},
    {"time", "%a %d %b %Y %H:%M:%S", "%a %d %b %Y %H:%M:%S"},
};

int g_ints[kValues];
double g_reals[kValues];
struct tm g_tms[kValues];

struct Job {
  const Place *place;
  vl_locale_t *h = nullptr;
  locale_t g = nullptr;
  UNumberFormat *number = nullptr, *money = nullptr;
  UDateFormat *date = nullptr;
  bool ok = false;
};
std::vector<Job> g_jobs;

void prepare() {
  if (!getenv("KELVANIXDIR")) setenv("KELVANIXDIR", VLS_BENCH_KELVANIX, 1);
  setenv("LOCPATH", VLS_BENCH_LOCPATH, 1);
  uint32_t seed = 12345;
  auto next = [&] { return seed = seed * 1103515245u + 12345u; };
  for (int i = 0; i < kValues; ++i) {
    const int digits = 1 + i % 10;
    int v = static_cast<int>(next() % 2147483647u);
    for (int d = 10; d > digits; --d) v /= 10;
    g_ints[i] = i % 3 == 0 ? -v : v;
    g_reals[i] = (i % 4 == 0 ? -1 : 1) * (static_cast<double>(next() % 100000000u) / 100.0 + 10.0);
    time_t t = 1700000000 + static_cast<time_t>(i) * 497731;
    gmtime_r(&t, &g_tms[i]);
  }
  for (const Place &p : kPlaces) {
    Job j;
    j.place = &p;
    bool ok = vl_create_null_locale_4(&j.h) == 0;
    char *names = ok ? vl_setlocale_4(j.h, VL_LC_ALL, p.file) : nullptr;
    ok = names != nullptr;
    vl_destroystring(names);
    j.g = newlocale(LC_ALL_MASK, p.glibc, nullptr);
    UErrorCode st = U_ZERO_ERROR;
    j.number = unum_open(UNUM_DECIMAL, nullptr, 0, p.icu, nullptr, &st);
    unum_setAttribute(j.number, UNUM_MIN_FRACTION_DIGITS, 2), unum_setAttribute(j.number, UNUM_MAX_FRACTION_DIGITS, 2);
    j.money = unum_open(UNUM_CURRENCY, nullptr, 0, p.icu, nullptr, &st);
    static const UChar kPattern[] = u"EEE dd MMM yyyy HH:mm:ss";
    j.date = udat_open(UDAT_PATTERN, UDAT_PATTERN, p.icu, u"UTC", -1, kPattern, -1, &st);
    j.ok = ok && j.g && U_SUCCESS(st);
    if (!j.ok) fprintf(stderr, "%s: not measured (library %d, glibc %d, ICU %s)\n", p.label, ok, j.g != nullptr, u_errorName(st));
    g_jobs.push_back(j);
  }
}

vl_tm to_vl(const struct tm &t) {
  vl_tm v{};
  v.sec = t.tm_sec, v.min = t.tm_min, v.hour = t.tm_hour, v.mday = t.tm_mday, v.mon = t.tm_mon;
  v.year = t.tm_year, v.wday = t.tm_wday, v.yday = t.tm_yday;
  return v;
}

void Vls(benchmark::State &state, Job *j, const What *w) {
  if (!j->ok) return state.SkipWithError("not prepared");
  char out[256];
  const char kind = w->label[0];
  for (auto _ : state)
    for (int i = 0; i < kValues; ++i) {
      int n;
      if (kind == 'i') n = vl_mbsprintf(j->h, out, sizeof out, w->vls_format, g_ints[i]);
      else if (kind == 'f') n = vl_mbsprintf(j->h, out, sizeof out, w->vls_format, g_reals[i]);
      else if (kind == 'm') n = vl_mbsfmon(j->h, out, sizeof out, w->vls_format, g_reals[i]);
      else {
        vl_tm t = to_vl(g_tms[i]);
        n = vl_mbsftime(j->h, out, sizeof out, w->vls_format, &t);
      }
      if (n <= 0) return state.SkipWithError("formatting failed");
      benchmark::DoNotOptimize(out);
    }
  state.SetItemsProcessed(state.iterations() * kValues);
}

void Glibc(benchmark::State &state, Job *j, const What *w) {
  if (!j->ok) return state.SkipWithError("not prepared");
  char out[256];
  const char kind = w->label[0];
  locale_t old = uselocale(j->g);
  for (auto _ : state)
    for (int i = 0; i < kValues; ++i) {
      long n;
      if (kind == 'i') n = snprintf(out, sizeof out, w->glibc_format, g_ints[i]);
      else if (kind == 'f') n = snprintf(out, sizeof out, w->glibc_format, g_reals[i]);
      else if (kind == 'm') n = strfmon_l(out, sizeof out, j->g, w->glibc_format, g_reals[i]);
      else n = static_cast<long>(strftime_l(out, sizeof out, w->glibc_format, &g_tms[i], j->g));
      if (n <= 0) {
        uselocale(old);
        return state.SkipWithError("glibc failed");
      }
      benchmark::DoNotOptimize(out);
    }
  uselocale(old);
  state.SetItemsProcessed(state.iterations() * kValues);
}

void Icu(benchmark::State &state, Job *j, const What *w) {
  if (!j->ok) return state.SkipWithError("not prepared");
  UChar out[256];
  const char kind = w->label[0];
  for (auto _ : state)
    for (int i = 0; i < kValues; ++i) {
      UErrorCode st = U_ZERO_ERROR;
      if (kind == 'i') unum_format(j->number, g_ints[i], out, 256, nullptr, &st);
      else if (kind == 'f') unum_formatDouble(j->number, g_reals[i], out, 256, nullptr, &st);
      else if (kind == 'm') unum_formatDouble(j->money, g_reals[i], out, 256, nullptr, &st);
      else udat_format(j->date, static_cast<UDate>(timegm(&g_tms[i])) * 1000.0, out, 256, nullptr, &st);
      if (U_FAILURE(st)) return state.SkipWithError("ICU failed");
      benchmark::DoNotOptimize(out);
    }
  state.SetItemsProcessed(state.iterations() * kValues);
}

// Prints ns per call and the ratios of the finished runs.
class Summary : public RowTimes {
 public:
  Summary() : RowTimes(kValues) {}  // CPU time of one iteration, in the row's unit (ns), per call
  void Finalize() override {
    ConsoleReporter::Finalize();
    printf("\n%-20s %9s %9s %9s %11s %9s\n", "row", "vls ns", "glibc ns", "ICU ns", "vls/glibc", "vls/ICU");
    for (const auto &entry : cpu_) {
      const std::string &row = entry.first;
      printf("%-20s %9.0f %9.0f %9.0f %11.3f %9.3f\n", row.c_str(), at(row, "vls"), at(row, "glibc"), at(row, "icu"),
             ratio(row, "glibc"), ratio(row, "icu"));
    }
  }
};

}  // namespace

int main(int argc, char **argv) {
  prepare();
  for (Job &j : g_jobs)
    for (const What &w : kWhats) {
      const std::string base = std::string(j.place->label) + "/" + w.label;
      benchmark::RegisterBenchmark((base + "/vls").c_str(), Vls, &j, &w);
      benchmark::RegisterBenchmark((base + "/glibc").c_str(), Glibc, &j, &w);
      benchmark::RegisterBenchmark((base + "/icu").c_str(), Icu, &j, &w);
    }
  benchmark::Initialize(&argc, argv);
  Summary summary;
  benchmark::RunSpecifiedBenchmarks(&summary);
  for (Job &j : g_jobs) {
    vl_lc_unload(j.h);
    if (j.g) freelocale(j.g);
    unum_close(j.number);
    unum_close(j.money);
    udat_close(j.date);
  }
  return 0;
}
