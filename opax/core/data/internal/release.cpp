#include <opax/core/data/internal/release.h>

#include <opax/core/data/data_value.h>

#include <utility>
#include <vector>

namespace Opax {
namespace Data {
namespace internal {
namespace {

using Pending = std::vector<std::shared_ptr<DataValue const>>;

// The thread-locals of this library use the initial-exec model: a load at a fixed offset from
// the thread pointer instead of a call to __tls_get_addr on every value released. They take a
// few dozen bytes of the static TLS block, which glibc keeps room for even when the library is
// loaded with dlopen. They are trivially constructible and destructible, so that reaching them
// needs no guard either (a guard of thread-local initialisation is reached through
// __tls_get_addr again).
//
// The list's vector is made at the thread's first release and freed by a reaper when the thread
// ends. The main thread's thread-locals go before static objects do, so a value held by a static
// (a shared error value, say) is freed after the list is gone (`gone`); it is then drained
// through a list on the stack (`lateList`).
struct ReleaseList {
  Pending* pending;
  Pending* lateList;
  bool draining;
  bool gone;
};
thread_local ReleaseList t_release [[gnu::tls_model("initial-exec")]];

struct ListReaper {
  ~ListReaper() {
    delete std::exchange(t_release.pending, nullptr);
    t_release.gone = true;
  }
};

Pending& PendingOf(ReleaseList& list) {
  if (list.pending == nullptr) {
    thread_local ListReaper reaper;  // first release on this thread only
    (void)reaper;
    list.pending = new Pending;
  }
  return *list.pending;
}

void ReleaseLate(std::shared_ptr<DataValue const>&& child) noexcept {
  if (t_release.lateList != nullptr) {
    t_release.lateList->push_back(std::move(child));
    return;
  }
  Pending pending;
  pending.push_back(std::move(child));
  t_release.lateList = &pending;
  while (!pending.empty()) {
    std::shared_ptr<DataValue const> next = std::move(pending.back());
    pending.pop_back();
    next.reset();
  }
  t_release.lateList = nullptr;
}

// Keeps the list's buffer between drains, unless one huge tree made it large.
constexpr std::size_t kRetainedCapacity = 4096;

}  // namespace

void ReleaseCompound(std::shared_ptr<DataValue const>&& child) noexcept {
  ReleaseList& list = t_release;
  if (list.gone) return ReleaseLate(std::move(child));
  Pending& pending = PendingOf(list);
  pending.push_back(std::move(child));
  if (list.draining) return;
  list.draining = true;
  while (!pending.empty()) {
    std::shared_ptr<DataValue const> next = std::move(pending.back());
    pending.pop_back();
    next.reset();  // may append this value's children to `pending`
  }
  list.draining = false;
  if (pending.capacity() > kRetainedCapacity) pending.shrink_to_fit();
}

}  // namespace internal
}  // namespace Data
}  // namespace Opax
