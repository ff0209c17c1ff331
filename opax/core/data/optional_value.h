#pragma once

#include <opax/core/data/data_value.h>

#include <memory>

namespace Opax {
namespace Data {

// An optional value: unset, or set to one inner value.
class OptionalValue final : public DataValue {
 public:
  OptionalValue() : DataValue(Kind::Optional) {}
  explicit OptionalValue(std::shared_ptr<DataValue const> value)
      : DataValue(Kind::Optional), value_(std::move(value)) {}
  ~OptionalValue() override;

  // A new unset optional, to be set with value(v) before it is handed on.
  static std::shared_ptr<OptionalValue> GetInstance() { return std::make_shared<OptionalValue>(); }
  // The same, made in a conversion's `arena` (null: on the heap).
  static std::shared_ptr<OptionalValue> GetInstance(internal::ValueArena* arena) {
    return internal::MakeValue<OptionalValue>(arena, nullptr);
  }
  static std::shared_ptr<OptionalValue> GetInstance(std::shared_ptr<DataValue const> value) {
    return std::make_shared<OptionalValue>(std::move(value));
  }
  // One shared unset optional, for producers that never change it.
  static std::shared_ptr<OptionalValue const> const& Unset();
  // Shared set optionals around the shared leaves: both booleans, and the integers from
  // internal::kSmallIntegerMin to kSmallIntegerMax (null for any other integer).
  static std::shared_ptr<OptionalValue const> const& SetTo(bool value);
  static std::shared_ptr<OptionalValue const> const* SetTo(int64_t value);

  bool isSet() const { return value_ != nullptr; }
  std::shared_ptr<DataValue const> const& value() const { return value_; }
  void value(std::shared_ptr<DataValue const> value) { value_ = std::move(value); }
  // The inner slot, for adapters that fill it after creating the optional.
  std::shared_ptr<DataValue const>* slot() { return &value_; }

 private:
  std::shared_ptr<DataValue const> value_;
};

}  // namespace Data
}  // namespace Opax
