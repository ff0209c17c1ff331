#include <opax/core/data/optional_value.h>

#include <opax/core/data/internal/release.h>

namespace Opax {
namespace Data {

OptionalValue::~OptionalValue() { internal::Release(std::move(value_)); }

std::shared_ptr<OptionalValue const> const& OptionalValue::Unset() {
  static auto const instance = std::make_shared<OptionalValue const>();
  return instance;
}

}  // namespace Data
}  // namespace Opax
