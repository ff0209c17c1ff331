#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace Opax {
namespace Data {
namespace internal {

// Values made together, by one conversion, are made side by side in a few blocks of memory
// instead of one heap block each. Every value keeps its own control block (made in the chunk
// too), so it is shared, handed on and dropped like any other value; the chunk counts the values
// made in it and frees itself when the last one is gone. A value kept after its tree was dropped
// keeps its whole chunk (a few kilobytes at most) alive.
//
// Values are made in a chunk only by the thread that converts, before the tree is handed on;
// they may be dropped by any thread.
class ArenaChunk {
 public:
  static constexpr std::size_t kAlign = alignof(std::max_align_t);

  // A new chunk with room for `capacity` bytes, open for its arena.
  static ArenaChunk* Open(std::size_t capacity);

  // `bytes` (a multiple of kAlign) of room, or null when the chunk is full.
  void* TryTake(std::size_t bytes) {
    if (static_cast<std::size_t>(end_ - next_) < bytes) return nullptr;
    void* at = next_;
    next_ += bytes;
    ++made_;
    return at;
  }
  bool Holds(void const* at) const { return at >= static_cast<void const*>(this + 1) && at < end_; }
  std::size_t room() const { return static_cast<std::size_t>(end_ - next_); }
  std::size_t used() const {
    return static_cast<std::size_t>(next_ - reinterpret_cast<char const*>(this + 1));
  }

  // A value made here is gone (`bytes` from `at`, for the address sanitizer).
  void Drop(void* at, std::size_t bytes) noexcept;
  // The arena makes nothing more here; the chunk goes with its last value, now if none is left.
  void Close() noexcept;

 private:
  ArenaChunk(char* end) : next_(reinterpret_cast<char*>(this + 1)), end_(end) {}
  void Release(std::uint32_t count) noexcept;

  // While the arena is open the count holds kOpen, so that making a value needs no atomic
  // write; closing trades kOpen for the number of values made.
  static constexpr std::uint32_t kOpen = std::uint32_t{1} << 31;
  std::atomic<std::uint32_t> live_{kOpen};
  std::uint32_t made_ = 0;
  char* next_;
  char* end_;
};

// The chunks of one conversion: the current one, and a new one when it is full.
class ValueArena {
 public:
  // The biggest object made in an arena; a bigger one (a long string) gets a heap block.
  static constexpr std::size_t kLargestObject = 2048;

  // `firstChunk` bytes for the first chunk, which is opened by the first value.
  explicit ValueArena(std::size_t firstChunk) : nextSize_(firstChunk) {}
  ~ValueArena() {
    if (current_ != nullptr) current_->Close();
  }
  ValueArena(ValueArena const&) = delete;
  ValueArena& operator=(ValueArena const&) = delete;

  // A chunk with room for `bytes`, or null for objects the arena does not make.
  ArenaChunk* Reserve(std::size_t bytes) {
    if (current_ != nullptr && current_->room() >= bytes) return current_;
    return bytes > kLargestObject ? nullptr : Next(bytes);
  }
  // Bytes taken over every chunk so far.
  std::size_t used() const { return usedBefore_ + (current_ != nullptr ? current_->used() : 0); }

  // The size of a first chunk that would have held what the last conversion started by `key`
  // made, and the note of it: a type converted again and again gets one chunk that fits.
  static std::size_t FirstChunkFor(void const* key);
  void RememberFor(void const* key) const;

 private:
  ArenaChunk* Next(std::size_t bytes);

  ArenaChunk* current_ = nullptr;
  std::size_t nextSize_;
  std::size_t usedBefore_ = 0;
};

// Where a value's trailing room (its text, its fields) goes, and how big it is.
struct TrailingRoom {
  std::size_t bytes = 0;
  void* at = nullptr;
};

// The allocator of values: in `chunk` when there is one and it has room, on the heap otherwise;
// with `trailing->bytes` more after the shared pointer's block when `trailing` is given.
// `trailing` is read only while allocating.
template <class T>
struct ValueAllocator {
  using value_type = T;

  explicit ValueAllocator(ArenaChunk* chunk_, TrailingRoom* trailing_ = nullptr)
      : chunk(chunk_), trailing(trailing_) {}
  template <class U>
  ValueAllocator(ValueAllocator<U> const& other) : chunk(other.chunk), trailing(other.trailing) {}

  T* allocate(std::size_t count) {
    constexpr std::size_t kAlign = ArenaChunk::kAlign;
    std::size_t const head = (count * sizeof(T) + kAlign - 1) / kAlign * kAlign;
    std::size_t const extra = trailing != nullptr ? (trailing->bytes + kAlign - 1) / kAlign * kAlign : 0;
    void* block = chunk != nullptr ? chunk->TryTake(head + extra) : nullptr;
    if (block == nullptr) block = ::operator new(head + extra);
    if (trailing != nullptr) trailing->at = static_cast<char*>(block) + head;
    return static_cast<T*>(block);
  }
  void deallocate(T* block, std::size_t count) noexcept {
    if (chunk != nullptr && chunk->Holds(block)) {
      chunk->Drop(block, count * sizeof(T));
    } else {
      ::operator delete(block);
    }
  }
  template <class U>
  bool operator==(ValueAllocator<U> const& other) const {
    return chunk == other.chunk;
  }
  template <class U>
  bool operator!=(ValueAllocator<U> const& other) const {
    return !(*this == other);
  }

  ArenaChunk* chunk;
  TrailingRoom* trailing;
};

// Room that a shared pointer's block needs besides its object (control block and allocator),
// with a margin: a chunk reserved with it always fits the block.
constexpr std::size_t kControlBlockRoom = 64;

// Makes a T in `arena` (or on the heap without one), with `trailing` room after it if given.
template <class T, class... A>
std::shared_ptr<T> MakeValue(ValueArena* arena, TrailingRoom* trailing, A&&... args) {
  if (arena == nullptr && trailing == nullptr) return std::make_shared<T>(std::forward<A>(args)...);
  ArenaChunk* chunk = nullptr;
  if (arena != nullptr) {
    chunk = arena->Reserve(sizeof(T) + kControlBlockRoom + (trailing != nullptr ? trailing->bytes : 0));
  }
  return std::allocate_shared<T>(ValueAllocator<T>(chunk, trailing), std::forward<A>(args)...);
}

}  // namespace internal
}  // namespace Data
}  // namespace Opax
