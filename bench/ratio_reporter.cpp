#include "ratio_reporter.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <map>
#include <ostream>

namespace Bench {
namespace {

struct Figure {
  double nanoseconds = 0;
  double allocations = 0;
  std::map<std::string, double> counters;
  bool median = false;
};
using Figures = std::map<std::string, Figure>;
using Printer = std::function<void(std::ostream&, Figures const&)>;

// Keeps every run's figures and, after the usual console output, has `print` compare them.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter(OutputOptions options, Printer print) : ConsoleReporter(options), print_(std::move(print)) {}

  void ReportRuns(std::vector<Run> const& runs) override {
    for (Run const& run : runs) Keep(run);
    ConsoleReporter::ReportRuns(runs);
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    print_(GetOutputStream(), figures_);
  }

 private:
  void Keep(Run const& run) {
    if (run.error_occurred) return;
    bool const median = run.run_type == Run::RT_Aggregate;
    if (median && run.aggregate_name != "median") return;
    Figure& figure = figures_[run.run_name.str()];
    if (figure.median && !median) return;
    figure.median = median;
    figure.nanoseconds = run.GetAdjustedCPUTime() * Nanoseconds(run.time_unit);
    figure.counters.clear();
    for (auto const& counter : run.counters) figure.counters[counter.first] = counter.second.value;
    auto const allocations = figure.counters.find("allocs/op");
    figure.allocations = allocations == figure.counters.end() ? 0 : allocations->second;
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

  Printer print_;
  Figures figures_;
};

// CPU time is compared rather than wall-clock, because on a shared machine the wall-clock figure
// also counts the time the thread waited for a processor.
void CompareCpuTimes(std::ostream& out, Figures const& figures, Comparison const& c) {
  auto const a = figures.find(c.ours);
  auto const b = figures.find(c.theirs);
  if (a == figures.end() || b == figures.end() || b->second.nanoseconds <= 0) return;
  char line[320];
  std::snprintf(line, sizeof line, "  %-36s / %-40s %6.2fx  (%.0f / %.0f allocs)%s\n", c.ours.c_str(),
                c.theirs.c_str(), a->second.nanoseconds / b->second.nanoseconds, a->second.allocations,
                b->second.allocations, c.note.c_str());
  out << line;
}

void CompareCounters(std::ostream& out, Figures const& figures, std::vector<std::string> const& counters,
                     Comparison const& c) {
  auto const a = figures.find(c.ours);
  auto const b = figures.find(c.theirs);
  if (a == figures.end() || b == figures.end()) return;
  char label[64];
  std::snprintf(label, sizeof label, "  %-28s", c.note.c_str());
  std::string line = label;
  for (std::string const& name : counters) {
    auto const ours = a->second.counters.find(name);
    auto const theirs = b->second.counters.find(name);
    if (ours == a->second.counters.end() || theirs == b->second.counters.end() || theirs->second <= 0) return;
    char figure[160];
    std::snprintf(figure, sizeof figure, "  %s %.2fx (%.1f / %.1f)", name.c_str(),
                  ours->second / theirs->second, ours->second, theirs->second);
    line += figure;
  }
  out << line << '\n';
}

bool ConsoleFormat(int argc, char** argv) {
  std::string const flag = "--benchmark_format=";
  for (int i = 1; i < argc; ++i) {
    std::string const arg = argv[i];
    if (arg.compare(0, flag.size(), flag) == 0 && arg.substr(flag.size()) != "console") return false;
  }
  return true;
}

int Run(int argc, char** argv, Printer const& print) {
  bool const console = ConsoleFormat(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  if (console) {
    RatioReporter reporter(
        isatty(fileno(stdout)) ? benchmark::ConsoleReporter::OO_Color : benchmark::ConsoleReporter::OO_None,
        print);
    benchmark::RunSpecifiedBenchmarks(&reporter);
  } else {
    benchmark::RunSpecifiedBenchmarks();
  }
  benchmark::Shutdown();
  return 0;
}

}  // namespace

int RunWithRatios(int argc, char** argv, std::string const& title,
                  std::vector<Comparison> const& comparisons) {
  return Run(argc, argv, [&](std::ostream& out, Figures const& figures) {
    out << "\n" << title << " (CPU time ratio, allocations per operation):\n";
    for (Comparison const& c : comparisons) CompareCpuTimes(out, figures, c);
  });
}

int RunWithCounterRatios(int argc, char** argv, std::string const& title,
                         std::vector<std::string> const& counters,
                         std::vector<Comparison> const& comparisons) {
  return Run(argc, argv, [&](std::ostream& out, Figures const& figures) {
    out << "\n" << title << " (ours / theirs):\n";
    for (Comparison const& c : comparisons) CompareCounters(out, figures, counters, c);
  });
}

}  // namespace Bench
