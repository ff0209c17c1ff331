#pragma once

#include <opax/core/data/compound_value.h>

#include <memory>

namespace Opax {
namespace Data {

// A native field that holds any structure as its value, unconverted: for open-ended content
// whose type the receiver does not know at build time. The default holds an empty, unnamed
// structure, so a default-constructed field still converts.
class DynamicStructure {
 public:
  DynamicStructure() = default;
  explicit DynamicStructure(std::shared_ptr<StructValue const> value) : value_(std::move(value)) {}

  // Never null.
  std::shared_ptr<StructValue const> const& value() const { return value_ ? value_ : Empty(); }

 private:
  static std::shared_ptr<StructValue const> const& Empty();
  std::shared_ptr<StructValue const> value_;
};

// A native field that holds any error value, unconverted. The default holds an error value with
// an empty name.
class DynamicError {
 public:
  DynamicError() = default;
  explicit DynamicError(std::shared_ptr<ErrorValue const> value) : value_(std::move(value)) {}

  // Never null.
  std::shared_ptr<ErrorValue const> const& value() const { return value_ ? value_ : Empty(); }

 private:
  static std::shared_ptr<ErrorValue const> const& Empty();
  std::shared_ptr<ErrorValue const> value_;
};

}  // namespace Data
}  // namespace Opax
