#pragma once

#include <opax/core/data/data_value.h>
#include <opax/core/data/optional_value.h>

#include <memory>

namespace Opax {
namespace Data {
namespace internal {

// The slow path of Release: the last owner of a compound value.
void ReleaseCompound(std::shared_ptr<DataValue const>&& child) noexcept;

// Drops one owner of a child value without recursing. Compound values hand their children here
// from their destructors; the first release of a compound on a thread drains a thread-local
// list in a loop, and releases made while it drains only append to that list. Freeing a chain
// of a million nested values therefore uses a constant amount of stack.
//
// Most children free nothing below them: a value with other owners, a value that is never freed
// (no owner at all), or a leaf. They are dropped here, without reaching the thread's list, and
// so are optionals around anything but another optional.
inline void Release(std::shared_ptr<DataValue const>&& child) noexcept {
  if (child.use_count() != 1) {
    child.reset();
    return;
  }
  Kind const kind = child->kind();
  if (kind != Kind::Structure && kind != Kind::Error && kind != Kind::Map && kind != Kind::Optional &&
      kind != Kind::List) {
    child.reset();
    return;
  }
  // A set optional frees one value, which it hands to Release in turn: unless that is another
  // optional (a chain of them would recurse), it goes here too.
  if (kind == Kind::Optional) {
    auto const& inner = static_cast<OptionalValue const&>(*child).value();
    if (inner == nullptr || inner->kind() != Kind::Optional) {
      child.reset();
      return;
    }
  }
  ReleaseCompound(std::move(child));
}

}  // namespace internal
}  // namespace Data
}  // namespace Opax
