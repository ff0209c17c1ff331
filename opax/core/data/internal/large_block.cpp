#include <opax/core/data/internal/large_block.h>

#include <cstdlib>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace Opax {
namespace Data {
namespace internal {
namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
// Smaller blocks would waste most of the one huge page they take.
constexpr std::size_t kLargeBlock = kHugePage;

std::size_t RoundedUp(std::size_t bytes) { return (bytes + kHugePage - 1) / kHugePage * kHugePage; }

}  // namespace

void* AllocateLarge(std::size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  if (bytes >= kLargeBlock) {
    void* block = std::aligned_alloc(kHugePage, RoundedUp(bytes));
    if (block == nullptr) throw std::bad_alloc();
    // Advice only: where huge pages are off or short, the block is served with small ones.
    ::madvise(block, RoundedUp(bytes), MADV_HUGEPAGE);
    return block;
  }
#endif
  return ::operator new(bytes);
}

void FreeLarge(void* block, std::size_t bytes) noexcept {
  if (block == nullptr) return;
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  if (bytes >= kLargeBlock) return std::free(block);
#endif
  ::operator delete(block);
}

}  // namespace internal
}  // namespace Data
}  // namespace Opax
