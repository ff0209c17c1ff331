#include <opax/core/data/internal/value_arena.h>

#include <algorithm>
#include <array>

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

}  // namespace

ArenaChunk* ArenaChunk::Open(std::size_t capacity) {
  void* block = ::operator new(sizeof(ArenaChunk) + capacity);
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
    this->~ArenaChunk();
    ::operator delete(static_cast<void*>(this));
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
