#include <opax/core/data/internal/release.h>

#include <opax/core/data/data_value.h>

#include <vector>

namespace Opax {
namespace Data {
namespace internal {
namespace {

struct ReleaseList {
  std::vector<std::shared_ptr<DataValue const>> pending;
  bool draining = false;
};

thread_local ReleaseList t_release;

// Keeps the list's buffer between drains, unless one huge tree made it large.
constexpr std::size_t kRetainedCapacity = 4096;

}  // namespace

void Release(std::shared_ptr<DataValue const>&& child) noexcept {
  if (!child) return;
  // Not the last owner (or a shared leaf), or a leaf: dropping it frees nothing below it.
  Kind const kind = child->kind();
  bool const leaf = kind != Kind::Structure && kind != Kind::Error && kind != Kind::Map &&
                    kind != Kind::Optional && kind != Kind::List;
  if (leaf || child.use_count() > 1) {
    child.reset();
    return;
  }
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
