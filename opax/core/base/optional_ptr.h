#pragma once

#include <boost/none.hpp>

#include <memory>
#include <utility>

namespace Opax {

// An optional shared structure: unset, or set to a shared object. Set-ness and non-nullness are
// the same thing, so it costs no more than the shared pointer it holds; assigning a null pointer
// unsets it.
template <class T>
class OptionalPtr {
 public:
  OptionalPtr() = default;
  OptionalPtr(boost::none_t) {}  // NOLINT: implicit like boost::optional's
  OptionalPtr(std::shared_ptr<T> value) : value_(std::move(value)) {}  // NOLINT: implicit by design
  template <class U, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
  OptionalPtr(std::shared_ptr<U> value) : value_(std::move(value)) {}  // NOLINT

  bool is_initialized() const { return value_ != nullptr; }
  explicit operator bool() const { return value_ != nullptr; }
  bool operator!() const { return value_ == nullptr; }

  // Precondition for the dereferences: set.
  T& operator*() const { return *value_; }
  T* operator->() const { return value_.get(); }
  std::shared_ptr<T> const& get() const { return value_; }
  std::shared_ptr<T> const& value() const { return value_; }

  void reset() { value_.reset(); }

  bool operator==(OptionalPtr const& o) const { return value_ == o.value_; }
  bool operator!=(OptionalPtr const& o) const { return value_ != o.value_; }

 private:
  std::shared_ptr<T> value_;
};

}  // namespace Opax
