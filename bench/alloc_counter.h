#pragma once

// Heap allocation counts for the benchmarks. alloc_counter.cpp replaces the global operator
// new and delete of the whole program (shared libraries included, as the dynamic linker binds
// their calls to the executable's definitions), so every allocation made by the runtime, the
// standard library or the benchmark itself is counted, on the thread that made it and in a
// process-wide total.

#include <benchmark/benchmark.h>

#include <cstdint>

namespace Bench {

struct AllocationCount {
  std::uint64_t allocations = 0;
  std::uint64_t bytes = 0;
};

// What the calling thread has allocated since it started. Costs no synchronisation, so a
// multi-threaded benchmark gets each thread's own figure.
AllocationCount ThreadAllocations();

// What every thread has allocated while global counting was on (relaxed counts: exact once
// the threads that allocated are joined, approximate while they run). Off by default, because
// it puts a locked add on every allocation of every thread.
AllocationCount GlobalAllocations();
void CountGlobally(bool on);

// Counts allocations from its construction to Report(): the calling thread's, or with
// Scope::Global every thread's (which switches global counting on). Made just before the
// benchmark loop, so that set-up allocations stay out of the figure:
//
//   Bench::AllocationMeter meter;
//   for (auto _ : state) { ... }
//   meter.Report(state);
//
// Report adds "allocs/op" and "bytes/op", averaged over the iterations. In a benchmark run on
// several threads use Scope::Thread: each thread reports, and the library sums the reports.
// Scope::Global is for a single benchmark thread whose work runs on threads of its own.
class AllocationMeter {
 public:
  enum class Scope { Thread, Global };

  explicit AllocationMeter(Scope scope = Scope::Thread);

  AllocationCount Elapsed() const;
  void Report(benchmark::State& state) const;

 private:
  AllocationCount Now() const;

  Scope scope_;
  AllocationCount start_;
};

}  // namespace Bench
