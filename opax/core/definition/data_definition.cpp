#include <opax/core/definition/data_definition.h>

#include <opax/core/data/internal/text_compare.h>

#include <array>

namespace Opax {
namespace Data {

char const* DefinitionTypeName(DefinitionType type) {
  switch (type) {
    case DefinitionType::Void:
      return "void";
    case DefinitionType::Boolean:
      return "boolean";
    case DefinitionType::Integer:
      return "integer";
    case DefinitionType::Double:
      return "double";
    case DefinitionType::String:
      return "string";
    case DefinitionType::Secret:
      return "secret";
    case DefinitionType::Binary:
      return "binary";
    case DefinitionType::DateTime:
      return "date-time";
    case DefinitionType::Optional:
      return "optional";
    case DefinitionType::List:
      return "list";
    case DefinitionType::Map:
      return "map";
    case DefinitionType::Structure:
      return "structure";
    case DefinitionType::StructRef:
      return "structure reference";
    case DefinitionType::IsOneOf:
      return "one-of string";
    case DefinitionType::UnionCase:
      return "union case";
    case DefinitionType::Error:
      return "error";
    case DefinitionType::DynamicStructure:
      return "dynamic structure";
    case DefinitionType::DynamicError:
      return "dynamic error";
  }
  return "unknown";
}

std::shared_ptr<DataDefinition const> const& PrimitiveDefinition::GetInstance(DefinitionType type) {
  static auto const instances = [] {
    std::array<std::shared_ptr<DataDefinition const>,
               static_cast<std::size_t>(DefinitionType::DynamicError) + 1>
        all;
    for (std::size_t i = 0; i < all.size(); ++i) {
      all[i] = std::make_shared<PrimitiveDefinition const>(static_cast<DefinitionType>(i));
    }
    return all;
  }();
  return instances[static_cast<std::size_t>(type)];
}

DataDefinitionPtr StructDefinition::field(std::string const& name) const {
  auto found = fields_.find(name);
  return found == fields_.end() ? nullptr : found->second;
}

void StructDefinition::IndexNames() {
  byName_.reserve(fields_.size());
  for (auto const& [fieldName, definition] : fields_) byName_.emplace_back(fieldName, definition.get());
}

std::size_t StructDefinition::FieldPlace(std::string_view name) const {
  auto const [place, found] =
      internal::SearchTexts(name, byName_.size(), [this](std::size_t k) { return byName_[k].first; });
  return found ? place : kNoField;
}

}  // namespace Data
}  // namespace Opax
