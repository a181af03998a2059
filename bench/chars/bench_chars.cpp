// Character services through handles loaded from the shipped locales
// (Latin-1, Shift_JIS, EUC-JP, UTF-8), side by side with glibc in the same
// codesets, on ASCII text and on text native to the codeset.
//
// Rows are named <Op>/<codeset>/<text>/<side>, side one of
//   vls        the library
//   libc_cold  a glibc locale object made by newlocale right after every
//              object of that name was freed
//   libc_warm  one made while another object of the same name is held
// After the run a summary prints, for every row pair, ns per operation and
// the ratio of CPU times ours/glibc (below 1: we are faster).
//
// The shipped locales are found in the build tree (or KELVANIXDIR), glibc's
// in the bench's own build directory (or BENCH_LOCPATH); nothing to set up.
// Run: bench_chars [--benchmark_filter=...] [--benchmark_min_time=...]
#include <benchmark/benchmark.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <map>
#include <string>
#include <vector>

#include <locale.h>
#include <wctype.h>

#include <vls/vls.h>
#include <vls/vlsctype.h>
#include <vls/vlsmbwc.h>

extern "C" {
size_t bench_c_glibc_isalpha(const unsigned char *p, size_t n, locale_t l);
size_t bench_c_vls_isalpha(const unsigned char *p, size_t n, const uint16_t *class_table);
size_t bench_c_vls_iswctype(const unsigned char *p, size_t n, vl_locale_t *h);
}

namespace {

constexpr size_t kTextBytes = 4096;

struct Codeset {
  const char *label;
  const char *file;    // below lc11
  const char *glibc;   // glibc's locale name
  const wchar_t *native;
};

const wchar_t kLatin[] =
    L"Ça m'a paru naïf : l'été où Ångström dînait à la façade du café, résumé über "
    L"Straße, señor Muñoz, ¿qué pasó? Æble, øl og år. ";
const wchar_t kJapanese[] =
    L"日本語の文章です。ひらがなとカタカナ、そして漢字が混ざっています。"
    L"東京都の天気は晴れ、気温は二十五度でした。表示と能力と予定。";
const wchar_t kMixed[] =
    L"Ελληνικά και русский текст, naïve café, 日本語のテキスト, "
    L"한국어 문장, عربى, ✓ → ∑ € … ";

const Codeset kSets[] = {
    {"latin1", "en_us/0333.lco", "en_US.ISO-8859-1", kLatin},
    {"sjis", "ja_jp/e006.lco", "ja_JP.SHIFT_JIS", kJapanese},
    {"eucjp", "ja_jp/e007.lco", "ja_JP.EUC-JP", kJapanese},
    {"utf8", "en_us/e01c.lco", "en_US.UTF-8", kMixed},
};

const char kAscii[] =
    "The quick brown fox jumps over the lazy dog; pack my box with five dozen liquor jugs. "
    "Sphinx of black quartz, judge my vow! 0123456789 (a+b)*c = [x/y] {z} <w> @home #tag. ";

// One text in one codeset, in the forms each side needs.
struct Text {
  std::string bytes;                // NUL-terminated multibyte text
  std::vector<vl_wchar> vls_wide;   // the text through the handle
  std::vector<wchar_t> libc_wide;   // the text through glibc
  size_t chars = 0;
  bool ok = false;
};

struct Set {
  const Codeset *cs;
  vl_locale_t *h = nullptr;
  Text text[2];  // ascii, native
};

std::vector<Set> g_sets;
std::map<std::string, std::vector<locale_t>> g_held;  // the warm side's keepers

std::string env_or(const char *name, const char *fallback) {
  const char *e = getenv(name);
  return e && *e ? e : fallback;
}

// Encodes wide text in a glibc locale, repeated up to kTextBytes, cut at a
// character boundary.
std::string encode(const wchar_t *w, locale_t l) {
  std::string out;
  locale_t old = uselocale(l);
  mbstate_t st{};
  char buf[MB_LEN_MAX];
  for (size_t i = 0;; ++i) {
    if (!w[i]) i = 0;
    size_t n = wcrtomb(buf, w[i], &st);
    if (n == static_cast<size_t>(-1)) continue;  // no such character here
    if (out.size() + n > kTextBytes) break;
    out.append(buf, n);
  }
  uselocale(old);
  return out;
}

bool fill(Text &t, vl_locale_t *h, locale_t l) {
  t.vls_wide.assign(t.bytes.size() + 1, 0);
  const int n = h->mbstowcs_fn(h, t.vls_wide.data(), t.bytes.c_str(), static_cast<int32_t>(t.vls_wide.size()));
  if (n < 0) return false;
  t.vls_wide.resize(static_cast<size_t>(n));
  t.libc_wide.assign(t.bytes.size() + 1, 0);
  locale_t old = uselocale(l);
  const size_t m = mbstowcs(t.libc_wide.data(), t.bytes.c_str(), t.libc_wide.size());
  uselocale(old);
  if (m == static_cast<size_t>(-1) || m != static_cast<size_t>(n)) return false;
  t.libc_wide.resize(m);
  t.chars = m;
  return true;
}

bool setup() {
  setenv("KELVANIXDIR", env_or("KELVANIXDIR", VLS_BENCH_KELVANIX).c_str(), 1);
  setenv("LOCPATH", env_or("BENCH_LOCPATH", VLS_BENCH_LOCPATH).c_str(), 1);
  bool all = true;
  for (const Codeset &cs : kSets) {
    Set s;
    s.cs = &cs;
    locale_t l = newlocale(LC_ALL_MASK, cs.glibc, nullptr);
    if (vl_create_null_locale_4(&s.h) != 0) return false;
    char *names = vl_setlocale_4(s.h, VL_LC_ALL, cs.file);
    if (!names || !l) {
      fprintf(stderr, "bench_chars: %s missing (%s)\n", cs.label, !names ? cs.file : cs.glibc);
      all = false;
      if (l) freelocale(l);
      continue;
    }
    vl_destroystring(names);
    std::string ascii;
    while (ascii.size() < kTextBytes) ascii += kAscii;
    ascii.resize(kTextBytes);
    s.text[0].bytes = ascii;
    s.text[1].bytes = encode(cs.native, l);
    for (Text &t : s.text) {
      t.ok = fill(t, s.h, l);
      if (!t.ok) fprintf(stderr, "bench_chars: %s: text does not convert alike\n", cs.label);
    }
    freelocale(l);
    g_sets.push_back(std::move(s));
  }
  return all;
}

// The glibc object for one row: cold frees every held object of the name
// first; warm keeps one held beside the row's own.
locale_t libc_locale(const char *name, bool warm) {
  std::vector<locale_t> &held = g_held[name];
  if (!warm) {
    for (locale_t l : held) freelocale(l);
    held.clear();
  } else if (held.empty()) {
    held.push_back(newlocale(LC_ALL_MASK, name, nullptr));
  }
  return newlocale(LC_ALL_MASK, name, nullptr);
}

enum Side { kVls, kCold, kWarm };
const char *const kSideNames[] = {"vls", "libc_cold", "libc_warm"};
const char *const kTextNames[] = {"ascii", "native"};

using Body = void (*)(benchmark::State &, Set &, Text &, Side, locale_t);

void ops(benchmark::State &state, double per_iteration) {
  state.counters["ops"] = per_iteration;
}

// ---- the operations ----------------------------------------------------------------

// Classification of wide values: ns per character.
void classify(benchmark::State &state, Set &s, Text &t, Side side, locale_t l) {
  if (side == kVls) {
    const vl_wchar *w = t.vls_wide.data();
    vl_locale_t *h = s.h;
    for (auto _ : state) {
      unsigned count = 0;
      for (size_t i = 0; i < t.chars; ++i) count += _vl_im_iswctype(h, w[i], VL_CT_ALPHA) != 0;
      benchmark::DoNotOptimize(count);
    }
  } else {
    const wchar_t *w = t.libc_wide.data();
    for (auto _ : state) {
      unsigned count = 0;
      for (size_t i = 0; i < t.chars; ++i) count += iswalpha_l(static_cast<wint_t>(w[i]), l) != 0;
      benchmark::DoNotOptimize(count);
    }
  }
  ops(state, static_cast<double>(t.chars));
}

// Case mapping of wide values: ns per character.
void upper(benchmark::State &state, Set &s, Text &t, Side side, locale_t l) {
  if (side == kVls) {
    const vl_wchar *w = t.vls_wide.data();
    vl_locale_t *h = s.h;
    for (auto _ : state) {
      vl_wchar sum = 0;
      for (size_t i = 0; i < t.chars; ++i) sum += _vl_im_towupper(h, w[i]);
      benchmark::DoNotOptimize(sum);
    }
  } else {
    const wchar_t *w = t.libc_wide.data();
    for (auto _ : state) {
      wint_t sum = 0;
      for (size_t i = 0; i < t.chars; ++i) sum += towupper_l(static_cast<wint_t>(w[i]), l);
      benchmark::DoNotOptimize(sum);
    }
  }
  ops(state, static_cast<double>(t.chars));
}

// One character at a time through the text: ns per character.
void mbtowc_each(benchmark::State &state, Set &s, Text &t, Side side, locale_t l) {
  const char *begin = t.bytes.c_str();
  const char *end = begin + t.bytes.size();
  if (side == kVls) {
    vl_locale_t *h = s.h;
    for (auto _ : state) {
      vl_wchar sum = 0;
      for (const char *p = begin; p < end;) {
        vl_wchar w;
        const int n = vl_full_mbtowc(h, &w, p, static_cast<int32_t>(end - p));
        if (n <= 0) break;
        sum += w;
        p += n;
      }
      benchmark::DoNotOptimize(sum);
    }
  } else {
    locale_t old = uselocale(l);
    for (auto _ : state) {
      wchar_t sum = 0;
      mbstate_t st{};
      for (const char *p = begin; p < end;) {
        wchar_t w;
        const size_t n = mbrtowc(&w, p, static_cast<size_t>(end - p), &st);
        if (n == 0 || n >= static_cast<size_t>(-2)) break;
        sum += w;
        p += n;
      }
      benchmark::DoNotOptimize(sum);
    }
    uselocale(old);
  }
  ops(state, static_cast<double>(t.chars));
}

// The whole text to wide: ns per byte.
void mbstowcs_all(benchmark::State &state, Set &s, Text &t, Side side, locale_t l) {
  if (side == kVls) {
    std::vector<vl_wchar> out(t.bytes.size() + 1);
    vl_locale_t *h = s.h;
    for (auto _ : state) {
      benchmark::DoNotOptimize(h->mbstowcs_fn(h, out.data(), t.bytes.c_str(), static_cast<int32_t>(out.size())));
      benchmark::ClobberMemory();
    }
  } else {
    std::vector<wchar_t> out(t.bytes.size() + 1);
    locale_t old = uselocale(l);
    for (auto _ : state) {
      benchmark::DoNotOptimize(mbstowcs(out.data(), t.bytes.c_str(), out.size()));
      benchmark::ClobberMemory();
    }
    uselocale(old);
  }
  ops(state, static_cast<double>(t.bytes.size()));
}

// The wide text back to multibyte: ns per byte written.
void wcstombs_all(benchmark::State &state, Set &s, Text &t, Side side, locale_t l) {
  std::vector<char> out(t.bytes.size() + 8);
  if (side == kVls) {
    std::vector<vl_wchar> w = t.vls_wide;
    w.push_back(0);
    vl_locale_t *h = s.h;
    for (auto _ : state) {
      benchmark::DoNotOptimize(vl_full_wcstombs(h, out.data(), w.data(), static_cast<int32_t>(out.size())));
      benchmark::ClobberMemory();
    }
  } else {
    std::vector<wchar_t> w = t.libc_wide;
    w.push_back(0);
    locale_t old = uselocale(l);
    for (auto _ : state) {
      benchmark::DoNotOptimize(wcstombs(out.data(), w.data(), out.size()));
      benchmark::ClobberMemory();
    }
    uselocale(old);
  }
  ops(state, static_cast<double>(t.bytes.size()));
}

// The length in characters: ns per byte.
void mbslen(benchmark::State &state, Set &s, Text &t, Side side, locale_t l) {
  if (side == kVls) {
    vl_locale_t *h = s.h;
    for (auto _ : state) benchmark::DoNotOptimize(_vl_im_mbslen(h, t.bytes.c_str()));
  } else {
    locale_t old = uselocale(l);
    for (auto _ : state) benchmark::DoNotOptimize(mbstowcs(nullptr, t.bytes.c_str(), 0));
    uselocale(old);
  }
  ops(state, static_cast<double>(t.bytes.size()));
}

// Single-byte classification of the bytes, both loops compiled as C: glibc's
// inline isalpha_l against the handle's class table (vls), and against the
// exported call per byte (vls_call, a row of its own).
void sb_classify(benchmark::State &state, Set &s, Text &t, Side side, locale_t l) {
  const auto *p = reinterpret_cast<const unsigned char *>(t.bytes.data());
  const size_t n = t.bytes.size();
  if (side == kVls) {
    const uint16_t *ct = s.h->class_table;
    for (auto _ : state) benchmark::DoNotOptimize(bench_c_vls_isalpha(p, n, ct));
  } else {
    for (auto _ : state) benchmark::DoNotOptimize(bench_c_glibc_isalpha(p, n, l));
  }
  ops(state, static_cast<double>(n));
}

void sb_classify_call(benchmark::State &state, Set &s, Text &t) {
  const auto *p = reinterpret_cast<const unsigned char *>(t.bytes.data());
  const size_t n = t.bytes.size();
  for (auto _ : state) benchmark::DoNotOptimize(bench_c_vls_iswctype(p, n, s.h));
  ops(state, static_cast<double>(n));
}

struct Op {
  const char *name;
  Body body;
  const char *unit;
};
const Op kOps[] = {
    {"Classify", classify, "char"},     {"Upper", upper, "char"},  {"Mbtowc", mbtowc_each, "char"},
    {"Mbstowcs", mbstowcs_all, "byte"}, {"Wcstombs", wcstombs_all, "byte"}, {"Mbslen", mbslen, "byte"},
};

void register_all() {
  for (Set &s : g_sets) {
    for (int ti = 0; ti < 2; ++ti) {
      Text &t = s.text[ti];
      if (!t.ok) continue;
      auto add = [&](const char *op, Body body) {
        for (int side = kVls; side <= kWarm; ++side) {
          const std::string name =
              std::string(op) + "/" + s.cs->label + "/" + kTextNames[ti] + "/" + kSideNames[side];
          Set *sp = &s;
          Text *tp = &t;
          const char *glibc = s.cs->glibc;
          benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &st) {
            locale_t l = side == kVls ? nullptr : libc_locale(glibc, side == kWarm);
            body(st, *sp, *tp, static_cast<Side>(side), l);
            if (l) freelocale(l);
          });
        }
      };
      for (const Op &op : kOps) add(op.name, op.body);
      if (s.h->single_byte && s.h->class_table) {
        add("SbClassifyC", sb_classify);
        const std::string name = std::string("SbClassifyC/") + s.cs->label + "/" + kTextNames[ti] + "/vls_call";
        Set *sp = &s;
        Text *tp = &t;
        benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &st) { sb_classify_call(st, *sp, *tp); });
      }
    }
  }
}

// Keeps every run for the summary.
class Collector : public benchmark::ConsoleReporter {
 public:
  struct Row {
    double ns_per_op;
  };
  std::map<std::string, Row> rows;

  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &r : runs) {
      if (r.error_occurred || r.run_type != Run::RT_Iteration) continue;
      double ns = r.GetAdjustedCPUTime() * benchmark::GetTimeUnitMultiplier(benchmark::kNanosecond) /
                  benchmark::GetTimeUnitMultiplier(r.time_unit);
      auto it = r.counters.find("ops");
      double per = it != r.counters.end() && it->second.value > 0 ? it->second.value : 1.0;
      rows[r.benchmark_name()] = {ns / per};
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void summary() const {
    printf("\nsummary: ns per operation (char or byte as the op says) and CPU-time ratio ours/glibc\n");
    printf("%-32s %9s %9s %9s %8s %8s\n", "row", "vls", "cold", "warm", "r_cold", "r_warm");
    for (const auto &[name, row] : rows) {
      const std::string suffix = "/vls";
      if (name.size() < suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
        continue;
      const std::string stem = name.substr(0, name.size() - suffix.size());
      auto cold = rows.find(stem + "/libc_cold");
      auto warm = rows.find(stem + "/libc_warm");
      if (cold == rows.end() || warm == rows.end()) continue;
      printf("%-32s %9.3f %9.3f %9.3f %8.2f %8.2f\n", stem.c_str(), row.ns_per_op, cold->second.ns_per_op,
             warm->second.ns_per_op, row.ns_per_op / cold->second.ns_per_op,
             row.ns_per_op / warm->second.ns_per_op);
    }
    for (const auto &[name, row] : rows) {
      const std::string suffix = "/vls_call";
      if (name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
        printf("%-32s %9.3f  (the exported call per byte)\n", name.c_str(), row.ns_per_op);
    }
  }
};

}  // namespace

int main(int argc, char **argv) {
  // A short default minimum time keeps the whole run near half a minute.
  std::vector<char *> args(argv, argv + argc);
  bool has_min = false;
  for (int i = 1; i < argc; ++i)
    if (strncmp(argv[i], "--benchmark_min_time", 20) == 0) has_min = true;
  static char min_time[] = "--benchmark_min_time=0.1";
  if (!has_min) args.insert(args.begin() + 1, min_time);
  argc = static_cast<int>(args.size());
  args.push_back(nullptr);
  argv = args.data();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  if (!setup()) fprintf(stderr, "bench_chars: some locales are missing; their rows are left out\n");
  register_all();
  Collector reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.summary();
  benchmark::Shutdown();
  return 0;
}
