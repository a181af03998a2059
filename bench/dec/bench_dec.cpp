// Decimal arithmetic and conversions against GCC's _Decimal128 on the same
// values.  Argument 0: operands of 1 to 32 digits; 1: operands of 32 digits.
#include <benchmark/benchmark.h>

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include <vls/decimal.h>
#include <vls/vlsenv.h>
#include <vls/vlsinit.h>

#include "d128.h"

namespace {

constexpr int kCount = 1024;  // a power of two

struct Operands {
  std::vector<decimal_t> a, b;
  std::vector<d128_box> x, y;
  std::vector<double> doubles;
  std::vector<decimal_t> longs;
  std::vector<d128_box> long_boxes;
};

void make_value(std::mt19937 &rng, int bytes, int exponent, decimal_t *d, d128_box *x) {
  unsigned char digits[16];
  for (int i = 0; i < bytes; ++i) digits[i] = (unsigned char)(rng() % 100);
  if (digits[0] == 0) digits[0] = 1 + rng() % 99;
  if (digits[bytes - 1] == 0) digits[bytes - 1] = 1 + rng() % 99;
  const int negative = (int)(rng() & 1);
  if (decload(d, negative ? 0 : 1, exponent, digits, bytes) != 0) abort();
  d128_make(x, digits, bytes, exponent, negative);
}

Operands make_operands(bool full) {
  Operands o;
  std::mt19937 rng(full ? 17 : 4);
  o.a.resize(kCount);
  o.b.resize(kCount);
  o.x.resize(kCount);
  o.y.resize(kCount);
  o.longs.resize(kCount);
  o.long_boxes.resize(kCount);
  for (int i = 0; i < kCount; ++i) {
    const int na = full ? 16 : 1 + (int)(rng() % 16);
    const int nb = full ? 16 : 1 + (int)(rng() % 16);
    make_value(rng, na, (int)(rng() % 7) - 3, &o.a[i], &o.x[i]);
    make_value(rng, nb, (int)(rng() % 7) - 3, &o.b[i], &o.y[i]);
    // Same order on both sides, or the values differ.
    if (deccmp(&o.a[i], &o.b[i]) != d128_cmp(&o.x[i], &o.y[i])) {
      fprintf(stderr, "operand %d differs between the two forms\n", i);
      abort();
    }
    const int nl = full ? 5 : 1 + (int)(rng() % 5);
    make_value(rng, nl, nl, &o.longs[i], &o.long_boxes[i]);
    if (o.longs[i].digits[0] > 20) o.longs[i].digits[0] = 20;
    d128_make(&o.long_boxes[i], o.longs[i].digits, o.longs[i].digit_count, o.longs[i].exponent,
              o.longs[i].sign == 0);
    double mant = (double)(rng() % 1000000000u) + 1;
    int e = (int)(rng() % 40) - 20;
    o.doubles.push_back(mant * __builtin_pow(10.0, e) * ((rng() & 1) ? -1 : 1));
  }
  return o;
}

const Operands &operands(int64_t full) {
  static const Operands mixed = make_operands(false);
  static const Operands wide = make_operands(true);
  return full ? wide : mixed;
}

template <int (*op)(const decimal_t *, const decimal_t *, decimal_t *)>
void BM_dec(benchmark::State &state) {
  const Operands &o = operands(state.range(0));
  decimal_t r;
  unsigned i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(op(&o.a[i], &o.b[i], &r));
    benchmark::DoNotOptimize(r);
    i = (i + 1) & (kCount - 1);
  }
}

template <void (*op)(const d128_box *, const d128_box *, d128_box *)>
void BM_d128(benchmark::State &state) {
  const Operands &o = operands(state.range(0));
  d128_box r;
  unsigned i = 0;
  for (auto _ : state) {
    op(&o.x[i], &o.y[i], &r);
    benchmark::DoNotOptimize(r);
    i = (i + 1) & (kCount - 1);
  }
}

void BM_dec_cmp(benchmark::State &state) {
  const Operands &o = operands(state.range(0));
  unsigned i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(deccmp(&o.a[i], &o.b[i]));
    i = (i + 1) & (kCount - 1);
  }
}

void BM_d128_cmp(benchmark::State &state) {
  const Operands &o = operands(state.range(0));
  unsigned i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(d128_cmp(&o.x[i], &o.y[i]));
    i = (i + 1) & (kCount - 1);
  }
}

void BM_dec_cvdbl(benchmark::State &state) {
  const Operands &o = operands(state.range(0));
  decimal_t r;
  unsigned i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(deccvdbl(o.doubles[i], &r));
    benchmark::DoNotOptimize(r);
    i = (i + 1) & (kCount - 1);
  }
}

void BM_d128_cvdbl(benchmark::State &state) {
  const Operands &o = operands(state.range(0));
  d128_box r;
  unsigned i = 0;
  for (auto _ : state) {
    d128_from_double(o.doubles[i], &r);
    benchmark::DoNotOptimize(r);
    i = (i + 1) & (kCount - 1);
  }
}

void BM_dec_tolong(benchmark::State &state) {
  const Operands &o = operands(state.range(0));
  int32_t v;
  unsigned i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(dectolong(&o.longs[i], &v));
    benchmark::DoNotOptimize(v);
    i = (i + 1) & (kCount - 1);
  }
}

void BM_d128_tolong(benchmark::State &state) {
  const Operands &o = operands(state.range(0));
  unsigned i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(d128_to_long(&o.long_boxes[i]));
    i = (i + 1) & (kCount - 1);
  }
}

}  // namespace

BENCHMARK(BM_dec<decadd>)->Name("add/decimal_t")->Arg(0)->Arg(1);
BENCHMARK(BM_d128<d128_add>)->Name("add/_Decimal128")->Arg(0)->Arg(1);
BENCHMARK(BM_dec<decmul>)->Name("mul/decimal_t")->Arg(0)->Arg(1);
BENCHMARK(BM_d128<d128_mul>)->Name("mul/_Decimal128")->Arg(0)->Arg(1);
BENCHMARK(BM_dec<decdiv>)->Name("div/decimal_t")->Arg(0)->Arg(1);
BENCHMARK(BM_d128<d128_div>)->Name("div/_Decimal128")->Arg(0)->Arg(1);
BENCHMARK(BM_dec_cmp)->Name("cmp/decimal_t")->Arg(0)->Arg(1);
BENCHMARK(BM_d128_cmp)->Name("cmp/_Decimal128")->Arg(0)->Arg(1);
BENCHMARK(BM_dec_cvdbl)->Name("cvdbl/decimal_t")->Arg(0);
BENCHMARK(BM_d128_cvdbl)->Name("cvdbl/_Decimal128")->Arg(0);
BENCHMARK(BM_dec_tolong)->Name("tolong/decimal_t")->Arg(0)->Arg(1);
BENCHMARK(BM_d128_tolong)->Name("tolong/_Decimal128")->Arg(0)->Arg(1);

// Decimal text through the client's conventions, there and back
// (deccvasc, dectoasc), beside the C library's strtod and snprintf on the
// same numbers; and a settings lookup by row and by name beside getenv.
std::vector<std::string> &texts() {
  static std::vector<std::string> t = [] {
    std::vector<std::string> out;
    const Operands &o = operands(0);
    for (const decimal_t &d : o.a) {
      char buf[40] = {};
      dectoasc(&d, buf, 39, -1);
      std::string s(buf);
      s.erase(s.find_last_not_of(' ') + 1);
      out.push_back(s);
    }
    return out;
  }();
  return t;
}

void BM_dec_text(benchmark::State &state) {
  if (chkvlsinit() != 0) return state.SkipWithError("no client locale");
  const std::vector<std::string> &t = texts();
  decimal_t d;
  char buf[40];
  unsigned i = 0;
  for (auto _ : state) {
    deccvasc(t[i].c_str(), static_cast<int>(t[i].size()), &d);
    dectoasc(&d, buf, 39, -1);
    benchmark::DoNotOptimize(buf);
    i = (i + 1) & (kCount - 1);
  }
}

void BM_c_text(benchmark::State &state) {
  if (chkvlsinit() != 0) return state.SkipWithError("no client locale");
  const std::vector<std::string> &t = texts();
  char buf[40];
  unsigned i = 0;
  for (auto _ : state) {
    const double v = strtod(t[i].c_str(), nullptr);
    snprintf(buf, sizeof buf, "%.17g", v);
    benchmark::DoNotOptimize(buf);
    i = (i + 1) & (kCount - 1);
  }
}

void BM_ggetenv(benchmark::State &state) {
  for (auto _ : state) benchmark::DoNotOptimize(state.range(0) ? ggetenv("DBDATE") : idx_ggetenv("DBDATE", 10));
}

void BM_getenv(benchmark::State &state) {
  for (auto _ : state) benchmark::DoNotOptimize(getenv("DBDATE"));
}

BENCHMARK(BM_dec_text)->Name("text/decimal_t");
BENCHMARK(BM_c_text)->Name("text/strtod+snprintf");
BENCHMARK(BM_ggetenv)->Name("setting/by_row")->Arg(0);
BENCHMARK(BM_ggetenv)->Name("setting/by_name")->Arg(1);
BENCHMARK(BM_getenv)->Name("setting/getenv");

int main(int argc, char **argv) {
  if (!getenv("KELVANIXDIR")) setenv("KELVANIXDIR", VLS_BENCH_KELVANIX, 1);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
