#pragma once

#include <memory>

namespace Opax {
namespace Data {
class DataValue;
namespace internal {

// Drops one owner of a child value without recursing. Compound values hand their children here
// from their destructors; the first release on a thread drains a thread-local list in a loop,
// and releases made while it drains only append to that list. Freeing a chain of a million
// nested values therefore uses a constant amount of stack.
void Release(std::shared_ptr<DataValue const>&& child) noexcept;

}  // namespace internal
}  // namespace Data
}  // namespace Opax
