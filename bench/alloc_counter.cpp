#include "alloc_counter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace Bench {
namespace {

// Constant-initialised and trivially destructible, so touching it from operator new needs no
// guard and is safe at any point of a thread's life, including before main and during exit.
thread_local AllocationCount t_count;

// The process-wide count is off unless asked for: the per-thread increment is a plain add,
// while a locked add on every allocation (tens of cycles) would inflate the timings measured
// here. Relaxed is enough, as the counts order nothing else.
std::atomic<bool> g_counting{false};
std::atomic<std::uint64_t> g_allocations{0};
std::atomic<std::uint64_t> g_bytes{0};

void Count(std::size_t size) noexcept {
  ++t_count.allocations;
  t_count.bytes += size;
  if (g_counting.load(std::memory_order_relaxed)) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    g_bytes.fetch_add(size, std::memory_order_relaxed);
  }
}

void* TryAllocate(std::size_t size, std::size_t alignment) noexcept {
  if (size == 0) size = 1;  // every successful new returns a distinct address
  if (alignment <= alignof(std::max_align_t)) return std::malloc(size);
  void* block = nullptr;
  return posix_memalign(&block, alignment, size) == 0 ? block : nullptr;
}

// The standard contract of the throwing forms: retry through the new-handler, then throw.
void* Allocate(std::size_t size, std::size_t alignment) {
  Count(size);
  for (;;) {
    if (void* block = TryAllocate(size, alignment)) return block;
    std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}

void* AllocateNoThrow(std::size_t size, std::size_t alignment) noexcept {
  try {
    return Allocate(size, alignment);
  } catch (...) {
    return nullptr;
  }
}

constexpr std::size_t kPlain = alignof(std::max_align_t);

std::size_t Alignment(std::align_val_t alignment) { return static_cast<std::size_t>(alignment); }

}  // namespace

AllocationCount ThreadAllocations() { return t_count; }

void CountGlobally(bool on) { g_counting.store(on, std::memory_order_relaxed); }

AllocationCount GlobalAllocations() {
  return {g_allocations.load(std::memory_order_relaxed), g_bytes.load(std::memory_order_relaxed)};
}

AllocationMeter::AllocationMeter(Scope scope) : scope_(scope) {
  if (scope_ == Scope::Global) CountGlobally(true);
  start_ = Now();
}

AllocationCount AllocationMeter::Now() const {
  return scope_ == Scope::Global ? GlobalAllocations() : ThreadAllocations();
}

AllocationCount AllocationMeter::Elapsed() const {
  AllocationCount const now = Now();
  return {now.allocations - start_.allocations, now.bytes - start_.bytes};
}

void AllocationMeter::Report(benchmark::State& state) const {
  AllocationCount const elapsed = Elapsed();
  state.counters["allocs/op"] =
      benchmark::Counter(static_cast<double>(elapsed.allocations), benchmark::Counter::kAvgIterations);
  state.counters["bytes/op"] =
      benchmark::Counter(static_cast<double>(elapsed.bytes), benchmark::Counter::kAvgIterations);
}

}  // namespace Bench

// The replaceable global allocation functions. All of them end in malloc/free, so a block may
// be released through any form of delete, as the standard library sometimes does.

void* operator new(std::size_t size) { return Bench::Allocate(size, Bench::kPlain); }
void* operator new[](std::size_t size) { return Bench::Allocate(size, Bench::kPlain); }
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
  return Bench::AllocateNoThrow(size, Bench::kPlain);
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
  return Bench::AllocateNoThrow(size, Bench::kPlain);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return Bench::Allocate(size, Bench::Alignment(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return Bench::Allocate(size, Bench::Alignment(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept {
  return Bench::AllocateNoThrow(size, Bench::Alignment(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept {
  return Bench::AllocateNoThrow(size, Bench::Alignment(alignment));
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, std::nothrow_t const&) noexcept { std::free(block); }
void operator delete[](void* block, std::nothrow_t const&) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t, std::nothrow_t const&) noexcept { std::free(block); }
void operator delete[](void* block, std::align_val_t, std::nothrow_t const&) noexcept { std::free(block); }
