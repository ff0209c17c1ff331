#include <opax/core/data/optional_value.h>

#include <opax/core/data/internal/release.h>

#include <array>

namespace Opax {
namespace Data {

OptionalValue::~OptionalValue() { internal::Release(std::move(value_)); }

std::shared_ptr<OptionalValue const> const& OptionalValue::Unset() {
  static auto const instance = internal::MakeImmortal<OptionalValue>();
  return instance;
}

std::shared_ptr<OptionalValue const> const& OptionalValue::SetTo(bool value) {
  static auto const yes = internal::MakeImmortal<OptionalValue>(DataValue::Create(true));
  static auto const no = internal::MakeImmortal<OptionalValue>(DataValue::Create(false));
  return value ? yes : no;
}

std::shared_ptr<OptionalValue const> const* OptionalValue::SetTo(int64_t value) {
  using internal::kSmallIntegerMax;
  using internal::kSmallIntegerMin;
  if (value < kSmallIntegerMin || value > kSmallIntegerMax) return nullptr;
  static auto const table = [] {
    std::array<std::shared_ptr<OptionalValue const>, kSmallIntegerMax - kSmallIntegerMin + 1> all;
    for (int64_t i = kSmallIntegerMin; i <= kSmallIntegerMax; ++i) {
      all[static_cast<std::size_t>(i - kSmallIntegerMin)] =
          internal::MakeImmortal<OptionalValue>(DataValue::Create(i));
    }
    return all;
  }();
  return &table[static_cast<std::size_t>(value - kSmallIntegerMin)];
}

}  // namespace Data
}  // namespace Opax
