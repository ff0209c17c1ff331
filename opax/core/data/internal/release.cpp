#include <opax/core/data/internal/release.h>

#include <opax/core/data/data_value.h>

#include <vector>

namespace Opax {
namespace Data {
namespace internal {
namespace {

using Pending = std::vector<std::shared_ptr<DataValue const>>;

// Set when this thread's list is destroyed. The main thread's thread-locals go before static
// objects do, so a value held by a static (a shared error value, say) is freed after the list
// is gone; it is then drained through a list on the stack. Both are trivially destructible, so
// they stay usable until the thread's storage itself goes.
thread_local bool t_listGone = false;
thread_local Pending* t_lateList = nullptr;

struct ReleaseList {
  Pending pending;
  bool draining = false;
  ~ReleaseList() { t_listGone = true; }
};

thread_local ReleaseList t_release;

void ReleaseLate(std::shared_ptr<DataValue const>&& child) noexcept {
  if (t_lateList != nullptr) {
    t_lateList->push_back(std::move(child));
    return;
  }
  Pending pending;
  pending.push_back(std::move(child));
  t_lateList = &pending;
  while (!pending.empty()) {
    std::shared_ptr<DataValue const> next = std::move(pending.back());
    pending.pop_back();
    next.reset();
  }
  t_lateList = nullptr;
}

// Keeps the list's buffer between drains, unless one huge tree made it large.
constexpr std::size_t kRetainedCapacity = 4096;

}  // namespace

void ReleaseCompound(std::shared_ptr<DataValue const>&& child) noexcept {
  if (t_listGone) return ReleaseLate(std::move(child));
  ReleaseList& list = t_release;
  list.pending.push_back(std::move(child));
  if (list.draining) return;
  list.draining = true;
  while (!list.pending.empty()) {
    std::shared_ptr<DataValue const> next = std::move(list.pending.back());
    list.pending.pop_back();
    next.reset();  // may append this value's children to `pending`
  }
  list.draining = false;
  if (list.pending.capacity() > kRetainedCapacity) list.pending.shrink_to_fit();
}

}  // namespace internal
}  // namespace Data
}  // namespace Opax
