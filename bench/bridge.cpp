// The Unicode bridge's added cost: the same comparisons, sort keys and
// conversions through the library bound to the bridge (de_DE.UTF-8 of the
// build's tree, and its bridged conversions between UTF-8 and ISO-8859-1)
// and through ICU called directly with the same collator and
// converters. Rows are <service>/<side>, side vls or icu (compare: words of
// 3 to 12 pieces; compare-lines: lines of about 50 bytes alike in their
// first 30); after the run a summary prints the CPU-time ratio vls/icu of
// each row (goal: at most 1.10). Each row runs kRepetitions times and the
// ratio is taken between the two sides' fastest repetitions ("_min"): on a
// machine shared with builds a single run of a 15 ns call wanders by half
// its time, the fastest of five hardly at all.
//
// Run: bench_bridge [--benchmark_filter=...] [--benchmark_min_time=...]
#include <benchmark/benchmark.h>

#include "ratios.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <unicode/ucnv.h>
#include <unicode/ucol.h>
#include <unicode/ustring.h>

#include <vls/libvls.h>

namespace {

struct Rec {
  uint32_t vl_errno;
};

vl_locale_t *g_h;
UCollator *g_coll;
std::vector<std::string> g_words;  // German-looking words, some alike up to case or accents
std::vector<std::string> g_lines;  // lines of a few such words with a long common head

// Binds the bridge of the build's tree before anything else uses ICU, so
// that ICU runs on the library's allocator on both sides.
bool setup() {
  setenv("KELVANIXDIR", VLS_BENCH_KELVANIX, 1);
  setenv("VL_USEVLU", "1", 1);
  vl_usevlu(1);
  Rec rec{};
  if (vl_init_vlu(&rec) != 0) return fprintf(stderr, "bridge not bound: error %u\n", rec.vl_errno), false;
  vl_create_null_locale_4(&g_h);
  char *r = vl_setlocale_4(g_h, VL_LC_ALL, "de_de/e01c.lco");
  if (!r || g_h->bridge_active[VL_LC_COLLATE - 2] != 1) return fprintf(stderr, "de_DE.UTF-8 not bridged\n"), false;
  vl_destroystring(r);
  UErrorCode e = U_ZERO_ERROR;
  g_coll = ucol_open("de_DE", &e);
  const char *const pieces[] = {"a", "e", "i", "o", "u", "st", "sch", "r", "n", "t", "l", "m", "\xC3\xA4", "\xC3\xB6",
                                "\xC3\xBC", "\xC3\x9F", "A", "B", "K", "\xC3\x84", "-", " "};
  std::mt19937 rng(7);
  for (int i = 0; i < 1024; ++i) {
    std::string w;
    for (int k = 3 + static_cast<int>(rng() % 10); k > 0; --k) w += pieces[rng() % (sizeof pieces / sizeof *pieces)];
    g_words.push_back(w);
  }
  for (int i = 0; i < 1024; ++i)
    g_lines.push_back("Stra\xC3\x9F" "enverzeichnis der Gemeinde " + g_words[i] + " " + g_words[(i * 7) & 1023]);
  return U_SUCCESS(e);
}

void compare_vls(benchmark::State &state, const std::vector<std::string> *v) {
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(g_h->mbscoll_fn(g_h, (*v)[i & 1023].c_str(), (*v)[(i + 1) & 1023].c_str()));
    ++i;
  }
}
void compare_icu(benchmark::State &state, const std::vector<std::string> *v) {
  size_t i = 0;
  UErrorCode e = U_ZERO_ERROR;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ucol_strcollUTF8(g_coll, (*v)[i & 1023].c_str(), -1, (*v)[(i + 1) & 1023].c_str(), -1, &e));
    ++i;
  }
}

void sortkey_vls(benchmark::State &state) {
  char key[512];
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(g_h->mbsxfrm_fn(g_h, key, g_words[i++ & 1023].c_str(), sizeof key));
}
// ICU's collator keys UTF-16 text: the UTF-8 word is converted first, as
// the bridge must.
void sortkey_icu(benchmark::State &state) {
  uint8_t key[512];
  UChar text[256];
  size_t i = 0;
  for (auto _ : state) {
    UErrorCode e = U_ZERO_ERROR;
    int32_t n = 0;
    u_strFromUTF8(text, 256, &n, g_words[i++ & 1023].c_str(), -1, &e);
    benchmark::DoNotOptimize(ucol_getSortKey(g_coll, text, n, key, sizeof key));
  }
}

// A conversion of 64 KB of words, in the source codeset.
struct Conv {
  const char *label, *from_spec, *to_spec, *from_icu, *to_icu;
  std::string text;
  conv_object *cv = nullptr;
  UConverter *from = nullptr, *to = nullptr;
};
Conv g_convs[] = {{"utf8-latin1", "de_DE.utf8", "de_DE.8859-1", "UTF-8", "ISO-8859-1", {}},
                  {"latin1-utf8", "de_DE.8859-1", "de_DE.utf8", "ISO-8859-1", "UTF-8", {}}};

bool setup_conv(Conv &c) {
  std::string utf8;
  for (size_t i = 0; utf8.size() < (64u << 10); ++i) utf8 += g_words[i & 1023] + " ";
  UErrorCode e = U_ZERO_ERROR;
  c.from = ucnv_open(c.from_icu, &e);
  c.to = ucnv_open(c.to_icu, &e);
  ucnv_setToUCallBack(c.from, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &e);
  ucnv_setFromUCallBack(c.to, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &e);
  c.text.resize(utf8.size() * 2);
  char *t = c.text.data();
  const char *s = utf8.data();
  UConverter *u8 = ucnv_open("UTF-8", &e);
  ucnv_convertEx(c.from, u8, &t, t + c.text.size(), &s, s + utf8.size(), nullptr, nullptr, nullptr, nullptr, true, true, &e);
  ucnv_close(u8);
  c.text.resize(t - c.text.data());
  return U_SUCCESS(e) && vl_cv_open(&c.cv, c.from_spec, c.to_spec) == 1 && c.cv->bridge_bound == 1;
}

void convert_vls(benchmark::State &state, Conv *c) {
  std::string out(c->text.size() * 4, '\0');
  for (auto _ : state) {
    const char *s = c->text.data();
    char *t = out.data();
    int32_t len = static_cast<int32_t>(c->text.size()), room = static_cast<int32_t>(out.size()), flag = 0;
    benchmark::DoNotOptimize(vl_miconv(c->cv, &s, &len, &t, &room, &flag));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * c->text.size()));
}
void convert_icu(benchmark::State &state, Conv *c) {
  std::string out(c->text.size() * 4, '\0');
  UChar pivot[1024];
  for (auto _ : state) {
    const char *s = c->text.data();
    char *t = out.data();
    UChar *ps = pivot, *pt = pivot;
    UErrorCode e = U_ZERO_ERROR;
    ucnv_convertEx(c->to, c->from, &t, t + out.size(), &s, s + c->text.size(), pivot, &ps, &pt, pivot + 1024, true,
                   true, &e);
    benchmark::DoNotOptimize(t);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * c->text.size()));
}

constexpr int kRepetitions = 5;

class Summary : public RowTimes {
 public:
  // Only the aggregates are reported; the ratios use the fastest repetition.
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &r : runs) {
      if (r.error_occurred || r.run_type != Run::RT_Aggregate || r.aggregate_name != "min") continue;
      const std::string name = r.run_name.function_name;
      const size_t slash = name.rfind('/');
      cpu_[name.substr(0, slash)][name.substr(slash + 1)] = r.GetAdjustedCPUTime();
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    printf("\nbridge cost (CPU time vls/icu, goal <= 1.10):\n");
    for (const auto &row : cpu_) printf("  %-14s %.3f\n", row.first.c_str(), ratio(row.first, "icu"));
  }
};

}  // namespace

void repeated(benchmark::internal::Benchmark *b) {
  b->Repetitions(kRepetitions)
      ->ReportAggregatesOnly(true)
      ->ComputeStatistics("min", [](const std::vector<double> &v) { return *std::min_element(v.begin(), v.end()); });
}

int main(int argc, char **argv) {
  if (!setup()) return 1;
  repeated(benchmark::RegisterBenchmark("compare/vls", compare_vls, &g_words));
  repeated(benchmark::RegisterBenchmark("compare/icu", compare_icu, &g_words));
  repeated(benchmark::RegisterBenchmark("compare-lines/vls", compare_vls, &g_lines));
  repeated(benchmark::RegisterBenchmark("compare-lines/icu", compare_icu, &g_lines));
  repeated(benchmark::RegisterBenchmark("sortkey/vls", sortkey_vls));
  repeated(benchmark::RegisterBenchmark("sortkey/icu", sortkey_icu));
  for (Conv &c : g_convs) {
    if (!setup_conv(c)) return fprintf(stderr, "%s: no bridged conversion\n", c.label), 1;
    repeated(benchmark::RegisterBenchmark((std::string(c.label) + "/vls").c_str(), convert_vls, &c));
    repeated(benchmark::RegisterBenchmark((std::string(c.label) + "/icu").c_str(), convert_icu, &c));
  }
  benchmark::Initialize(&argc, argv);
  Summary summary;
  benchmark::RunSpecifiedBenchmarks(&summary);
  benchmark::Shutdown();
  return 0;
}
