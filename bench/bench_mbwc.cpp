// String length, multibyte-to-wide conversion and classification through a
// locale handle, next to the C library's own services in an equivalent
// locale (ISO-8859-1 and EUC-JP, compiled with localedef into a temporary
// directory and loaded through LOCPATH).
//
// Run: bench_mbwc [--benchmark_filter=...]. Each pair is named
// <Area>/<locale>/{vls,libc}; the ratio is vls time over libc time.
#include <benchmark/benchmark.h>

#include <cctype>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <string>
#include <vector>

#include <locale.h>
#include <sys/stat.h>

#include <vls/vlsctype.h>
#include <vls/vlsmbwc.h>

#include "lcofix.h"

namespace {

constexpr size_t kTextBytes = 4096;

struct Setup {
  vl_locale_t *sb = nullptr;
  vl_locale_t *mb = nullptr;
  locale_t libc_sb = nullptr;
  locale_t libc_mb = nullptr;
  std::string text_sb;   // Latin-1 text
  std::string text_mb;   // EUC text: ASCII, hiragana and kanji
  std::vector<wchar_t> libc_wide_mb;  // text_mb through the C library
  std::vector<vl_wchar> vls_wide_mb;  // text_mb through the handle

  Setup() {
    sb = vlstest::make_handle(vlstest::latin1_spec());
    mb = vlstest::make_handle(vlstest::euc_spec());
    const char *dir = "/tmp/vls-bench-locales";
    mkdir(dir, 0755);
    compile(dir, "en_US", "ISO-8859-1", "en_US.ISO-8859-1");
    compile(dir, "ja_JP", "EUC-JP", "ja_JP.EUC-JP");
    setenv("LOCPATH", dir, 1);
    libc_sb = newlocale(LC_ALL_MASK, "en_US.ISO-8859-1", nullptr);
    libc_mb = newlocale(LC_ALL_MASK, "ja_JP.EUC-JP", nullptr);
    if (!libc_sb || !libc_mb) fprintf(stderr, "bench_mbwc: C library locales missing\n");

    const char *latin = "Caf\xE9 na\xEFve \xC5ngstr\xF6m fa\xE7" "ade, r\xE9sum\xE9 \xFC" "ber 123; ";
    while (text_sb.size() < kTextBytes) text_sb += latin;
    text_sb.resize(kTextBytes);
    unsigned k = 0;
    while (text_mb.size() + 2 < kTextBytes) {
      switch (k % 4) {
        case 0: text_mb += static_cast<char>('a' + k % 26); break;
        case 1: text_mb += "\xA4"; text_mb += static_cast<char>(0xA2 + k % 80); break;   // hiragana
        case 2: text_mb += "\xB0"; text_mb += static_cast<char>(0xA1 + k % 90); break;   // kanji
        default: text_mb += ' '; break;
      }
      ++k;
    }
    if (libc_mb) {
      libc_wide_mb.resize(kTextBytes + 1);
      locale_t old = uselocale(libc_mb);
      size_t n = mbstowcs(libc_wide_mb.data(), text_mb.c_str(), libc_wide_mb.size());
      uselocale(old);
      libc_wide_mb.resize(n == static_cast<size_t>(-1) ? 0 : n);
    }
    vls_wide_mb.resize(kTextBytes + 1);
    int n = mb ? mb->mbstowcs_fn(mb, vls_wide_mb.data(), text_mb.c_str(), static_cast<int32_t>(vls_wide_mb.size()))
               : -1;
    vls_wide_mb.resize(n < 0 ? 0 : static_cast<size_t>(n));
  }

  static void compile(const char *dir, const char *input, const char *charmap, const char *name) {
    std::string path = std::string(dir) + "/" + name;
    struct stat st;
    if (stat((path + "/LC_CTYPE").c_str(), &st) == 0) return;
    std::string cmd = std::string("localedef -i ") + input + " -f " + charmap + " " + path + " >/dev/null 2>&1";
    if (system(cmd.c_str()) != 0) fprintf(stderr, "bench_mbwc: localedef %s failed\n", name);
  }
};

Setup &setup() {
  static Setup s;
  return s;
}

bool ready(benchmark::State &state, bool need_libc) {
  Setup &s = setup();
  if (!s.sb || !s.mb || (need_libc && (!s.libc_sb || !s.libc_mb))) {
    state.SkipWithError("locales unavailable");
    return false;
  }
  return true;
}

void bytes_processed(benchmark::State &state, size_t n) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(n));
}

// ---- string length ------------------------------------------------------------------

void Mbsbytes_sb_vls(benchmark::State &state) {
  if (!ready(state, false)) return;
  Setup &s = setup();
  for (auto _ : state) benchmark::DoNotOptimize(vl_mbsbytes(s.sb, s.text_sb.c_str()));
  bytes_processed(state, s.text_sb.size());
}
void Mbsbytes_sb_libc(benchmark::State &state) {
  Setup &s = setup();
  for (auto _ : state) benchmark::DoNotOptimize(strlen(s.text_sb.c_str()) + 1);
  bytes_processed(state, s.text_sb.size());
}

void Mbslen_sb_vls(benchmark::State &state) {
  if (!ready(state, false)) return;
  Setup &s = setup();
  for (auto _ : state) benchmark::DoNotOptimize(_vl_im_mbslen(s.sb, s.text_sb.c_str()));
  bytes_processed(state, s.text_sb.size());
}
// Characters of a single-byte string as the C library counts them.
void Mbslen_sb_libc(benchmark::State &state) {
  if (!ready(state, true)) return;
  Setup &s = setup();
  locale_t old = uselocale(s.libc_sb);
  for (auto _ : state) benchmark::DoNotOptimize(mbstowcs(nullptr, s.text_sb.c_str(), 0));
  uselocale(old);
  bytes_processed(state, s.text_sb.size());
}
void Mbslen_sb_libc_strlen(benchmark::State &state) {
  Setup &s = setup();
  for (auto _ : state) benchmark::DoNotOptimize(strlen(s.text_sb.c_str()));
  bytes_processed(state, s.text_sb.size());
}

void Mbsbytes_mb_vls(benchmark::State &state) {
  if (!ready(state, false)) return;
  Setup &s = setup();
  for (auto _ : state) benchmark::DoNotOptimize(vl_mbsbytes(s.mb, s.text_mb.c_str()));
  bytes_processed(state, s.text_mb.size());
}
// The byte length by a character walk, as mbrlen gives it.
void Mbsbytes_mb_libc(benchmark::State &state) {
  if (!ready(state, true)) return;
  Setup &s = setup();
  locale_t old = uselocale(s.libc_mb);
  for (auto _ : state) {
    const char *p = s.text_mb.c_str();
    mbstate_t st{};
    size_t n;
    while ((n = mbrlen(p, 4, &st)) != 0 && n < static_cast<size_t>(-2)) p += n;
    benchmark::DoNotOptimize(p - s.text_mb.c_str() + 1);
  }
  uselocale(old);
  bytes_processed(state, s.text_mb.size());
}

void Mbslen_mb_vls(benchmark::State &state) {
  if (!ready(state, false)) return;
  Setup &s = setup();
  for (auto _ : state) benchmark::DoNotOptimize(_vl_im_mbslen(s.mb, s.text_mb.c_str()));
  bytes_processed(state, s.text_mb.size());
}
void Mbslen_mb_libc(benchmark::State &state) {
  if (!ready(state, true)) return;
  Setup &s = setup();
  locale_t old = uselocale(s.libc_mb);
  for (auto _ : state) benchmark::DoNotOptimize(mbstowcs(nullptr, s.text_mb.c_str(), 0));
  uselocale(old);
  bytes_processed(state, s.text_mb.size());
}

// ---- multibyte to wide ----------------------------------------------------------------

void Mbstowcs_sb_vls(benchmark::State &state) {
  if (!ready(state, false)) return;
  Setup &s = setup();
  std::vector<vl_wchar> out(kTextBytes + 1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(s.sb->mbstowcs_fn(s.sb, out.data(), s.text_sb.c_str(), static_cast<int32_t>(out.size())));
    benchmark::ClobberMemory();
  }
  bytes_processed(state, s.text_sb.size());
}
void Mbstowcs_sb_libc(benchmark::State &state) {
  if (!ready(state, true)) return;
  Setup &s = setup();
  std::vector<wchar_t> out(kTextBytes + 1);
  locale_t old = uselocale(s.libc_sb);
  for (auto _ : state) {
    benchmark::DoNotOptimize(mbstowcs(out.data(), s.text_sb.c_str(), out.size()));
    benchmark::ClobberMemory();
  }
  uselocale(old);
  bytes_processed(state, s.text_sb.size());
}
void Mbstowcs_mb_vls(benchmark::State &state) {
  if (!ready(state, false)) return;
  Setup &s = setup();
  std::vector<vl_wchar> out(kTextBytes + 1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(s.mb->mbstowcs_fn(s.mb, out.data(), s.text_mb.c_str(), static_cast<int32_t>(out.size())));
    benchmark::ClobberMemory();
  }
  bytes_processed(state, s.text_mb.size());
}
void Mbstowcs_mb_libc(benchmark::State &state) {
  if (!ready(state, true)) return;
  Setup &s = setup();
  std::vector<wchar_t> out(kTextBytes + 1);
  locale_t old = uselocale(s.libc_mb);
  for (auto _ : state) {
    benchmark::DoNotOptimize(mbstowcs(out.data(), s.text_mb.c_str(), out.size()));
    benchmark::ClobberMemory();
  }
  uselocale(old);
  bytes_processed(state, s.text_mb.size());
}

// ---- classification ---------------------------------------------------------------

void Classify_sb_vls(benchmark::State &state) {
  if (!ready(state, false)) return;
  Setup &s = setup();
  const uint16_t *ct = s.sb->class_table;
  const auto *p = reinterpret_cast<const unsigned char *>(s.text_sb.data());
  const size_t n = s.text_sb.size();
  for (auto _ : state) {
    unsigned count = 0;
    for (size_t i = 0; i < n; ++i) count += (ct[p[i]] & VL_CT_ALPHA) != 0;
    benchmark::DoNotOptimize(count);
  }
  bytes_processed(state, n);
}
void Classify_sb_libc(benchmark::State &state) {
  if (!ready(state, true)) return;
  Setup &s = setup();
  const auto *p = reinterpret_cast<const unsigned char *>(s.text_sb.data());
  const size_t n = s.text_sb.size();
  locale_t l = s.libc_sb;
  for (auto _ : state) {
    unsigned count = 0;
    for (size_t i = 0; i < n; ++i) count += isalpha_l(p[i], l) != 0;
    benchmark::DoNotOptimize(count);
  }
  bytes_processed(state, n);
}
// The tree path on single bytes, for comparison with the table.
void Classify_sb_vls_tree(benchmark::State &state) {
  if (!ready(state, false)) return;
  Setup &s = setup();
  const auto *p = reinterpret_cast<const unsigned char *>(s.text_sb.data());
  const size_t n = s.text_sb.size();
  for (auto _ : state) {
    unsigned count = 0;
    for (size_t i = 0; i < n; ++i) count += _vl_im_iswctype(s.sb, p[i], VL_CT_ALPHA) != 0;
    benchmark::DoNotOptimize(count);
  }
  bytes_processed(state, n);
}
void Classify_mb_vls(benchmark::State &state) {
  if (!ready(state, false)) return;
  Setup &s = setup();
  const vl_wchar *w = s.vls_wide_mb.data();
  const size_t n = s.vls_wide_mb.size();
  for (auto _ : state) {
    unsigned count = 0;
    for (size_t i = 0; i < n; ++i) count += _vl_im_iswctype(s.mb, w[i], VL_CT_ALPHA) != 0;
    benchmark::DoNotOptimize(count);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * n));
}
void Classify_mb_libc(benchmark::State &state) {
  if (!ready(state, true)) return;
  Setup &s = setup();
  const wchar_t *w = s.libc_wide_mb.data();
  const size_t n = s.libc_wide_mb.size();
  locale_t l = s.libc_mb;
  for (auto _ : state) {
    unsigned count = 0;
    for (size_t i = 0; i < n; ++i) count += iswalpha_l(static_cast<wint_t>(w[i]), l) != 0;
    benchmark::DoNotOptimize(count);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * n));
}

}  // namespace

BENCHMARK(Mbsbytes_sb_vls);
BENCHMARK(Mbsbytes_sb_libc);
BENCHMARK(Mbslen_sb_vls);
BENCHMARK(Mbslen_sb_libc);
BENCHMARK(Mbslen_sb_libc_strlen);
BENCHMARK(Mbsbytes_mb_vls);
BENCHMARK(Mbsbytes_mb_libc);
BENCHMARK(Mbslen_mb_vls);
BENCHMARK(Mbslen_mb_libc);
BENCHMARK(Mbstowcs_sb_vls);
BENCHMARK(Mbstowcs_sb_libc);
BENCHMARK(Mbstowcs_mb_vls);
BENCHMARK(Mbstowcs_mb_libc);
BENCHMARK(Classify_sb_vls);
BENCHMARK(Classify_sb_libc);
BENCHMARK(Classify_sb_vls_tree);
BENCHMARK(Classify_mb_vls);
BENCHMARK(Classify_mb_libc);

BENCHMARK_MAIN();
