#include <opax/core/data/dynamic_structure.h>

namespace Opax {
namespace Data {

std::shared_ptr<StructValue const> const& DynamicStructure::Empty() {
  static std::shared_ptr<StructValue const> const empty = StructValue::GetInstance(std::string());
  return empty;
}

std::shared_ptr<ErrorValue const> const& DynamicError::Empty() {
  static std::shared_ptr<ErrorValue const> const empty = ErrorValue::GetInstance(std::string());
  return empty;
}

}  // namespace Data
}  // namespace Opax
