#include <opax/core/data/internal/value_arena.h>

#include <algorithm>
#include <array>
#include <utility>

#if defined(__SANITIZE_ADDRESS__)
#define OPAX_ARENA_POISON 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OPAX_ARENA_POISON 1
#endif
#endif
#ifdef OPAX_ARENA_POISON
#include <sanitizer/asan_interface.h>
#endif

namespace Opax {
namespace Data {
namespace internal {
namespace {

// Chunks grow by doubling up to this size: a value kept alone keeps at most this much alive.
constexpr std::size_t kLargestChunk = 16 * 1024;
constexpr std::size_t kSmallestChunk = 256;
constexpr std::size_t kDefaultFirstChunk = 1024;

std::size_t RoundUp(std::size_t bytes) {
  return (bytes + ArenaChunk::kAlign - 1) / ArenaChunk::kAlign * ArenaChunk::kAlign;
}

// What the last conversion of each root used, in a small table indexed by the root's address.
// The two halves of an entry are written apart; a reader that sees one conversion's key with
// another's size only gets a first chunk of another size.
struct UsedEntry {
  std::atomic<void const*> key{nullptr};
  std::atomic<std::uint32_t> bytes{0};
};
constexpr std::size_t kUsedEntries = 256;
std::array<UsedEntry, kUsedEntries> g_used;

UsedEntry& EntryFor(void const* key) {
  auto const address = reinterpret_cast<std::uintptr_t>(key);
  return g_used[((address >> 4) ^ (address >> 12)) % kUsedEntries];
}

// The blocks of the chunks that this thread let go last, kept for its next conversions: a call
// converts its input and its reply in an arena each, and would otherwise give back and ask for
// two blocks of the same sizes every time. Two per thread: at most 2 * kLargestChunk bytes wait.
// Trivially destructible, so that values dropped by other destructors at the thread's exit,
// after the reaper below has run, still find it (closed).
struct Spares {
  static constexpr std::size_t kCount = 2;
  struct Block {
    void* at;
    std::size_t capacity;
  };
  Block blocks[kCount];
  bool reaped;  // the reaper is set for this thread
  bool closed;  // the reaper ran: nothing more is kept
};
// Initial-exec, as the release list's (see release.cpp): no __tls_get_addr per chunk.
thread_local Spares t_spares [[gnu::tls_model("initial-exec")]];

struct SpareReaper {
  ~SpareReaper() {
    for (Spares::Block& block : t_spares.blocks) ::operator delete(std::exchange(block.at, nullptr));
    t_spares.closed = true;
  }
};

void KeepSpare(void* at, std::size_t capacity) {
  Spares& spares = t_spares;
  if (spares.closed) return ::operator delete(at);
  if (!spares.reaped) {
    thread_local SpareReaper reaper;  // frees the spares when the thread ends
    (void)reaper;
    spares.reaped = true;
  }
  for (Spares::Block& block : spares.blocks) {
    if (block.at == nullptr) {
      block = {at, capacity};
      return;
    }
  }
  // All kept: this block takes the last one's place. Both spares are of recent chunks, so which
  // goes matters little.
  Spares::Block& last = spares.blocks[Spares::kCount - 1];
  ::operator delete(last.at);
  last = {at, capacity};
}

// A spare block that fits `capacity` without keeping much more than asked for alive.
void* TakeSpare(std::size_t& capacity) {
  for (Spares::Block& block : t_spares.blocks) {
    if (block.at != nullptr && block.capacity >= capacity && block.capacity <= 4 * capacity) {
      capacity = block.capacity;
      return std::exchange(block.at, nullptr);
    }
  }
  return nullptr;
}

}  // namespace

ArenaChunk* ArenaChunk::Open(std::size_t capacity) {
  void* block = TakeSpare(capacity);
  if (block == nullptr) {
    block = ::operator new(sizeof(ArenaChunk) + capacity);
  } else {
#ifdef OPAX_ARENA_POISON
    ASAN_UNPOISON_MEMORY_REGION(block, sizeof(ArenaChunk) + capacity);
#endif
  }
  return new (block) ArenaChunk(static_cast<char*>(block) + sizeof(ArenaChunk) + capacity);
}

void ArenaChunk::Drop(void* at, std::size_t bytes) noexcept {
#ifdef OPAX_ARENA_POISON
  ASAN_POISON_MEMORY_REGION(at, bytes);
#else
  (void)at;
  (void)bytes;
#endif
  Release(1);
}

void ArenaChunk::Close() noexcept { Release(kOpen - made_); }

void ArenaChunk::Release(std::uint32_t count) noexcept {
  if (live_.fetch_sub(count, std::memory_order_acq_rel) == count) {
    std::size_t const capacity = static_cast<std::size_t>(end_ - reinterpret_cast<char const*>(this + 1));
    this->~ArenaChunk();
    KeepSpare(static_cast<void*>(this), capacity);
  }
}

ArenaChunk* ValueArena::Next(std::size_t bytes) {
  if (current_ != nullptr) {
    usedBefore_ += current_->used();
    current_->Close();
  }
  std::size_t const size = std::max(RoundUp(bytes), nextSize_);
  current_ = ArenaChunk::Open(size);
  nextSize_ = std::min(size * 2, kLargestChunk);
  return current_;
}

std::size_t ValueArena::FirstChunkFor(void const* key) {
  UsedEntry& entry = EntryFor(key);
  if (entry.key.load(std::memory_order_relaxed) != key) return kDefaultFirstChunk;
  std::size_t const used = entry.bytes.load(std::memory_order_relaxed);
  // An eighth more, for texts that come out longer next time.
  return std::clamp(RoundUp(used + used / 8), kSmallestChunk, kLargestChunk);
}

void ValueArena::RememberFor(void const* key) const {
  UsedEntry& entry = EntryFor(key);
  std::size_t const bytes = std::min(used(), kLargestChunk);
  // The note follows growth at once and shrinking only by half: a type converted again with
  // texts of varying length leaves it alone, and threads converting it do not write it in turn.
  if (entry.key.load(std::memory_order_relaxed) == key) {
    std::size_t const noted = entry.bytes.load(std::memory_order_relaxed);
    if (bytes <= noted && bytes >= noted / 2) return;
  }
  entry.key.store(key, std::memory_order_relaxed);
  entry.bytes.store(static_cast<std::uint32_t>(bytes), std::memory_order_relaxed);
}

}  // namespace internal
}  // namespace Data
}  // namespace Opax
