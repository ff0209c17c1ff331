#pragma once

#include <cstddef>
#include <memory>

namespace Opax {
namespace Data {
namespace internal {

// Memory for the arrays of a very large map (its entries, hash index and name order), which are
// read at random places: in blocks of a few megabytes and more, the kernel is asked to back them
// with huge pages, so that a random read costs a cache miss and not a page-table walk besides.
// Smaller blocks come from operator new as usual.
void* AllocateLarge(std::size_t bytes);
void FreeLarge(void* block, std::size_t bytes) noexcept;

// An array of `count` trivial T from AllocateLarge, zero-filled.
template <class T>
struct LargeArrayDeleter {
  std::size_t bytes = 0;
  void operator()(T* array) const noexcept { FreeLarge(array, bytes); }
};
template <class T>
using LargeArray = std::unique_ptr<T[], LargeArrayDeleter<T>>;

template <class T>
LargeArray<T> MakeLargeArray(std::size_t count) {
  std::size_t const bytes = count * sizeof(T);
  auto* array = static_cast<T*>(AllocateLarge(bytes));
  for (std::size_t i = 0; i < count; ++i) new (array + i) T();
  return LargeArray<T>(array, LargeArrayDeleter<T>{bytes});
}

}  // namespace internal
}  // namespace Data
}  // namespace Opax
