#include "ratio_reporter.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <ostream>

namespace Bench {
namespace {

// CPU time is compared rather than wall-clock, because on a shared machine the wall-clock figure
// also counts the time the thread waited for a processor.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter(OutputOptions options, std::string title, std::vector<Comparison> comparisons)
      : ConsoleReporter(options), title_(std::move(title)), comparisons_(std::move(comparisons)) {}

  void ReportRuns(std::vector<Run> const& runs) override {
    for (Run const& run : runs) Keep(run);
    ConsoleReporter::ReportRuns(runs);
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    std::ostream& out = GetOutputStream();
    out << "\n" << title_ << " (CPU time ratio, allocations per operation):\n";
    for (Comparison const& c : comparisons_) Compare(out, c);
  }

 private:
  struct Figure {
    double nanoseconds = 0;
    double allocations = 0;
    bool median = false;
  };

  void Keep(Run const& run) {
    if (run.error_occurred) return;
    bool const median = run.run_type == Run::RT_Aggregate;
    if (median && run.aggregate_name != "median") return;
    Figure& figure = figures_[run.run_name.str()];
    if (figure.median && !median) return;
    figure.median = median;
    figure.nanoseconds = run.GetAdjustedCPUTime() * Nanoseconds(run.time_unit);
    auto const allocations = run.counters.find("allocs/op");
    figure.allocations = allocations == run.counters.end() ? 0 : allocations->second.value;
  }

  static double Nanoseconds(benchmark::TimeUnit unit) {
    switch (unit) {
      case benchmark::kSecond:
        return 1e9;
      case benchmark::kMillisecond:
        return 1e6;
      case benchmark::kMicrosecond:
        return 1e3;
      case benchmark::kNanosecond:
        return 1;
    }
    return 1;
  }

  void Compare(std::ostream& out, Comparison const& c) const {
    auto const a = figures_.find(c.ours);
    auto const b = figures_.find(c.theirs);
    if (a == figures_.end() || b == figures_.end() || b->second.nanoseconds <= 0) return;
    char line[320];
    std::snprintf(line, sizeof line, "  %-36s / %-40s %6.2fx  (%.0f / %.0f allocs)%s\n", c.ours.c_str(),
                  c.theirs.c_str(), a->second.nanoseconds / b->second.nanoseconds, a->second.allocations,
                  b->second.allocations, c.note.c_str());
    out << line;
  }

  std::string title_;
  std::vector<Comparison> comparisons_;
  std::map<std::string, Figure> figures_;
};

bool ConsoleFormat(int argc, char** argv) {
  std::string const flag = "--benchmark_format=";
  for (int i = 1; i < argc; ++i) {
    std::string const arg = argv[i];
    if (arg.compare(0, flag.size(), flag) == 0 && arg.substr(flag.size()) != "console") return false;
  }
  return true;
}

}  // namespace

int RunWithRatios(int argc, char** argv, std::string const& title,
                  std::vector<Comparison> const& comparisons) {
  bool const console = ConsoleFormat(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  if (console) {
    RatioReporter reporter(
        isatty(fileno(stdout)) ? benchmark::ConsoleReporter::OO_Color : benchmark::ConsoleReporter::OO_None,
        title, comparisons);
    benchmark::RunSpecifiedBenchmarks(&reporter);
  } else {
    benchmark::RunSpecifiedBenchmarks();
  }
  benchmark::Shutdown();
  return 0;
}

}  // namespace Bench
