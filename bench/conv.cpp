// Codeset conversion of 1 MB of real text through the shipped conversion
// objects, side by side with glibc's iconv(3) and ICU's ucnv_convertEx on
// the same pair and the same bytes.
//
// The text: the translations in the system's gettext catalogues
// (/usr/share/locale/<lang>/LC_MESSAGES/*.mo), Russian for the Cyrillic
// pair, Japanese for the Japanese pairs, German for Latin-1, brought into
// the source codeset by iconv (characters it lacks are dropped) and
// repeated up to 1 MB. Rows are <pair>/<side>, side one of vls, iconv, icu.
// After the run a summary prints MB/s of each side and the CPU-time ratios
// ours/iconv and ours/ICU (below 1: we are faster).
//
// Run: bench_conv [--benchmark_filter=...] [--benchmark_min_time=...]
#include <benchmark/benchmark.h>

#include "ratios.h"
#include <dirent.h>
#include <iconv.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <unicode/ucnv.h>

#include <vls/vlscv.h>

namespace {

constexpr size_t kSize = 1 << 20;

struct Pair {
  const char *label, *lang;
  const char *vls_from, *vls_to;      // specifications for vl_cv_load
  const char *glibc_from, *glibc_to;  // iconv names
  const char *icu_from, *icu_to;      // ICU converter names
};
const Pair kPairs[] = {
    {"koi8r-cp1251", "ru", "ru_RU.koi-8", "ru_RU.cp1251", "KOI8-R", "CP1251", "KOI8-R", "windows-1251"},
    {"latin1-utf8", "de", "de_DE.8859-1", "de_DE.utf8", "ISO-8859-1", "UTF-8", "ISO-8859-1", "UTF-8"},
    {"sjis-eucjp", "ja", "ja_JP.sjis", "ja_JP.ujis", "SHIFT_JIS", "EUC-JP", "Shift_JIS", "EUC-JP"},
    {"sjis-utf8", "ja", "ja_JP.sjis", "ja_JP.utf8", "SHIFT_JIS", "UTF-8", "Shift_JIS", "UTF-8"},
    {"eucjp-utf8", "ja", "ja_JP.ujis", "ja_JP.utf8", "EUC-JP", "UTF-8", "EUC-JP", "UTF-8"},
};

// The translations of every catalogue of a language, in UTF-8.
std::string catalogue_text(const std::string &lang) {
  std::string out;
  const std::string dir = "/usr/share/locale/" + lang + "/LC_MESSAGES";
  DIR *d = opendir(dir.c_str());
  if (!d) return out;
  while (dirent *e = readdir(d)) {
    std::string name = e->d_name;
    if (name.size() < 4 || name.compare(name.size() - 3, 3, ".mo") != 0) continue;
    FILE *f = fopen((dir + "/" + name).c_str(), "rb");
    if (!f) continue;
    std::string mo;
    char buf[65536];
    for (size_t n; (n = fread(buf, 1, sizeof buf, f)) > 0;) mo.append(buf, n);
    fclose(f);
    auto u32 = [&](size_t at) {
      uint32_t v = 0;
      if (at + 4 <= mo.size()) memcpy(&v, mo.data() + at, 4);
      return v;
    };
    if (u32(0) != 0x950412de) continue;  // little-endian catalogues only
    const uint32_t count = u32(8), table = u32(16);
    for (uint32_t i = 1; i < count; ++i) {  // entry 0 is the header
      const uint32_t len = u32(table + 8 * i), at = u32(table + 8 * i + 4);
      if (at + len <= mo.size()) out.append(mo, at, len).push_back('\n');
    }
  }
  closedir(d);
  return out;
}

// UTF-8 text in another codeset, dropping what it cannot hold.
std::string to_codeset(const std::string &utf8, const char *codeset) {
  iconv_t cd = iconv_open(codeset, "UTF-8");
  if (cd == reinterpret_cast<iconv_t>(-1)) return "";
  std::string out(utf8.size() * 2 + 16, '\0');
  char *in = const_cast<char *>(utf8.data()), *o = out.data();
  size_t left = utf8.size(), room = out.size();
  while (left > 0) {
    if (iconv(cd, &in, &left, &o, &room) != static_cast<size_t>(-1)) break;
    do ++in, --left;  // skip the character it cannot convert
    while (left > 0 && (static_cast<unsigned char>(*in) & 0xC0) == 0x80);
  }
  iconv_close(cd);
  out.resize(out.size() - room);
  return out;
}

struct Job {
  const Pair *pair;
  std::string input;
  conv_object *cv = nullptr;
  iconv_t cd = reinterpret_cast<iconv_t>(-1);
  UConverter *from = nullptr, *to = nullptr;
  std::vector<char> out;
  bool ok = false;
};
std::vector<Job> g_runs;

void prepare() {
  if (!getenv("KELVANIXDIR")) setenv("KELVANIXDIR", VLS_BENCH_KELVANIX, 1);
  std::map<std::string, std::string> texts;
  for (const Pair &p : kPairs) {
    Job r;
    r.pair = &p;
    std::string &utf8 = texts[p.lang];
    if (utf8.empty()) utf8 = catalogue_text(p.lang);
    std::string text = to_codeset(utf8, p.glibc_from);
    while (!text.empty() && r.input.size() < kSize) r.input += text;
    r.input.resize(std::min(r.input.size(), kSize));
    // Cut back to a line end so that no character is split.
    r.input.resize(r.input.rfind('\n') + 1);
    r.out.resize(r.input.size() * 4 + 64);
    const int rc = vl_cv_load(&r.cv, p.vls_from, p.vls_to, VLS_BENCH_REGISTRY, nullptr);
    r.cd = iconv_open(p.glibc_to, p.glibc_from);
    UErrorCode st = U_ZERO_ERROR;
    r.from = ucnv_open(p.icu_from, &st);
    r.to = ucnv_open(p.icu_to, &st);
    r.ok = rc == 1 && r.input.size() > 1000 && r.cd != reinterpret_cast<iconv_t>(-1) && U_SUCCESS(st);
    if (r.ok) {
      // Characters the pair leaves without a mapping (where the charmaps
      // and iconv disagree, such as 0x5C in Shift_JIS) are taken out of the
      // text that all three sides convert.
      std::string kept;
      size_t at = 0, dropped = 0;
      while (at < r.input.size()) {
        const char *s = r.input.data() + at;
        char *t = r.out.data();
        int32_t n = static_cast<int32_t>(r.input.size() - at), room = static_cast<int32_t>(r.out.size()), flag = 0;
        const int rc = vl_miconv(r.cv, &s, &n, &t, &room, &flag);
        const size_t stop = static_cast<size_t>(s - r.input.data());
        kept.append(r.input, at, stop - at);
        if (rc == 0) break;
        at = stop + (static_cast<unsigned char>(r.input[stop]) < 0x80 ? 1 : 2);
        ++dropped;
      }
      if (dropped) fprintf(stderr, "%s: %zu characters without a mapping dropped from the text\n", p.label, dropped);
      r.input = kept;
    } else {
      fprintf(stderr, "%s: not measured (vl_cv_load %d, error %d, %zu bytes of text)\n", p.label, rc,
              r.cv ? r.cv->vl_errno : -1, r.input.size());
    }
    g_runs.push_back(std::move(r));
  }
}

void Vls(benchmark::State &state, Job *r) {
  if (!r->ok) return state.SkipWithError("not prepared");
  for (auto _ : state) {
    const char *s = r->input.data();
    char *t = r->out.data();
    int32_t n = static_cast<int32_t>(r->input.size()), room = static_cast<int32_t>(r->out.size()), flag = 0;
    if (vl_miconv(r->cv, &s, &n, &t, &room, &flag) != 0) return state.SkipWithError("conversion failed");
    benchmark::DoNotOptimize(t);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * r->input.size()));
}

void Iconv(benchmark::State &state, Job *r) {
  if (!r->ok) return state.SkipWithError("not prepared");
  for (auto _ : state) {
    char *s = r->input.data(), *t = r->out.data();
    size_t n = r->input.size(), room = r->out.size();
    iconv(r->cd, nullptr, nullptr, nullptr, nullptr);
    if (iconv(r->cd, &s, &n, &t, &room) == static_cast<size_t>(-1)) return state.SkipWithError("iconv failed");
    benchmark::DoNotOptimize(t);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * r->input.size()));
}

void Icu(benchmark::State &state, Job *r) {
  if (!r->ok) return state.SkipWithError("not prepared");
  UChar pivot[1024];
  for (auto _ : state) {
    const char *s = r->input.data();
    char *t = r->out.data();
    UChar *ps = pivot, *pt = pivot;
    UErrorCode st = U_ZERO_ERROR;
    ucnv_convertEx(r->to, r->from, &t, t + r->out.size(), &s, s + r->input.size(), pivot, &ps, &pt,
                   pivot + 1024, true, true, &st);
    if (U_FAILURE(st)) return state.SkipWithError("ucnv_convertEx failed");
    benchmark::DoNotOptimize(t);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * r->input.size()));
}

// Prints MB/s and the ratios of the finished runs.
class Summary : public RowTimes {
 public:
  void Finalize() override {
    ConsoleReporter::Finalize();
    printf("\n%-14s %10s %10s %10s %12s %12s\n", "pair", "vls MB/s", "iconv MB/s", "ICU MB/s", "vls/iconv", "vls/ICU");
    for (const Job &run : g_runs) {
      const std::string row = run.pair->label;
      if (at(row, "vls") <= 0) continue;
      auto mbs = [&](const char *side) { return at(row, side) > 0 ? run.input.size() / at(row, side) : 0.0; };  // us per run
      printf("%-14s %10.0f %10.0f %10.0f %12.3f %12.3f\n", run.pair->label, mbs("vls"), mbs("iconv"), mbs("icu"),
             ratio(row, "iconv"), ratio(row, "icu"));
    }
  }
};

}  // namespace

int main(int argc, char **argv) {
  prepare();
  for (Job &r : g_runs) {
    const std::string base = r.pair->label;
    benchmark::RegisterBenchmark((base + "/vls").c_str(), Vls, &r)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark((base + "/iconv").c_str(), Iconv, &r)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark((base + "/icu").c_str(), Icu, &r)->Unit(benchmark::kMicrosecond);
  }
  benchmark::Initialize(&argc, argv);
  Summary summary;
  benchmark::RunSpecifiedBenchmarks(&summary);
  for (Job &r : g_runs) {
    vl_cv_unload(r.cv);
    if (r.cd != reinterpret_cast<iconv_t>(-1)) iconv_close(r.cd);
    ucnv_close(r.from);
    ucnv_close(r.to);
  }
  return 0;
}
