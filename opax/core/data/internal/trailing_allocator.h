#pragma once

#include <cstddef>
#include <new>

namespace Opax {
namespace Data {
namespace internal {

// Allocates the shared pointer's block with `extra` bytes after it, and says where they start.
template <class T>
struct TrailingAllocator {
  using value_type = T;

  TrailingAllocator(std::size_t extra_, void** room_) : extra(extra_), room(room_) {}
  template <class U>
  TrailingAllocator(TrailingAllocator<U> const& other) : extra(other.extra), room(other.room) {}

  T* allocate(std::size_t count) {
    constexpr std::size_t kAlign = alignof(std::max_align_t);
    std::size_t const head = (count * sizeof(T) + kAlign - 1) / kAlign * kAlign;
    char* block = static_cast<char*>(::operator new(head + extra));
    *room = block + head;
    return reinterpret_cast<T*>(block);
  }
  void deallocate(T* block, std::size_t) { ::operator delete(block); }
  template <class U>
  bool operator==(TrailingAllocator<U> const& other) const {
    return room == other.room;
  }
  template <class U>
  bool operator!=(TrailingAllocator<U> const& other) const {
    return !(*this == other);
  }

  std::size_t extra;
  void** room;
};

}  // namespace internal
}  // namespace Data
}  // namespace Opax
