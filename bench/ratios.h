// CPU time of the finished runs by row and side ("name/side" benchmark
// names: "sjis-utf8/vls", "de_DE int/glibc", ...), for the ratio tables
// the comparison benchmarks print after Google Benchmark's own report.
#ifndef VLS_BENCH_RATIOS_H
#define VLS_BENCH_RATIOS_H

#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

class RowTimes : public benchmark::ConsoleReporter {
 public:
  using Run = benchmark::BenchmarkReporter::Run;
  // Each run's CPU time (in its own unit) is divided by `per` (calls an
  // iteration, or 1).
  explicit RowTimes(double per = 1) : per_(per) {}
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &r : runs) {
      if (r.error_occurred || r.run_type != Run::RT_Iteration) continue;
      const std::string name = r.benchmark_name();
      const size_t slash = name.rfind('/');
      cpu_[name.substr(0, slash)][name.substr(slash + 1)] = r.GetAdjustedCPUTime() / per_;
    }
  }

 protected:
  // The time of `side` in `row`, or 0 when it did not run.
  double at(const std::string &row, const char *side) const {
    const auto r = cpu_.find(row);
    if (r == cpu_.end()) return 0;
    const auto s = r->second.find(side);
    return s == r->second.end() ? 0 : s->second;
  }
  // The library's time over a peer's, or 0 when either is missing.
  double ratio(const std::string &row, const char *side) const {
    return at(row, side) > 0 && at(row, "vls") > 0 ? at(row, "vls") / at(row, side) : 0;
  }
  std::map<std::string, std::map<std::string, double>> cpu_;

 private:
  double per_;
};

#endif
