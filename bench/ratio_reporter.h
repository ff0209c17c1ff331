#pragma once

// Benchmark programs that compare two implementations print, after the usual console output,
// the ratio of CPU times (and allocations), or of chosen counters, of each pair measured in the
// same run. A note for the reader, not a verdict: nothing fails on a figure.

#include <string>
#include <vector>

namespace Bench {

struct Comparison {
  std::string ours;
  std::string theirs;
  std::string note;
};

// Runs the registered benchmarks like BENCHMARK_MAIN, then prints "<title> (CPU time ratio,
// allocations per operation):" and one line per comparison whose two figures exist. With
// --benchmark_repetitions the medians are compared. Another --benchmark_format than the
// console gets the library's own reporter and no ratios.
int RunWithRatios(int argc, char** argv, std::string const& title,
                  std::vector<Comparison> const& comparisons);

// The same for benchmarks that time themselves and report what matters as counters (calls per
// second, a server's CPU per call): "<title> (ours / theirs):" and one line per comparison, led
// by its note, with the ratio of each of `counters` and the two figures.
int RunWithCounterRatios(int argc, char** argv, std::string const& title,
                         std::vector<std::string> const& counters,
                         std::vector<Comparison> const& comparisons);

}  // namespace Bench
