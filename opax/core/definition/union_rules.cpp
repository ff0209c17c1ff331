#include <opax/core/definition/union_rules.h>

#include <opax/core/data/optional_value.h>
#include <opax/core/message/message_ids.h>

namespace Opax {
namespace Data {
namespace {

bool IsSet(std::shared_ptr<DataValue const> const* field) {
  if (field == nullptr || !*field) return false;
  return (*field)->kind() != Kind::Optional || static_cast<OptionalValue const&>(**field).isSet();
}

}  // namespace

std::string_view UnionTagText(StructValue const& structure, std::string const& tag) {
  auto const* field = structure.FindField(tag);
  if (field == nullptr || !*field) return {};
  DataValue const* value = field->get();
  while (value != nullptr && value->kind() == Kind::Optional)
    value = static_cast<OptionalValue const*>(value)->value().get();
  if (value == nullptr || value->kind() != Kind::String) return {};
  return internal::StoredOf<std::string>(*value);
}

char const* UnionCaseFault(UnionCaseDefinition const& unionCase, StructValue const& structure,
                           std::string_view name, std::shared_ptr<DataValue const> const* field,
                           std::string_view tag, std::vector<std::string>& args) {
  bool const set = IsSet(field);
  char const* fault = nullptr;
  if (tag.data() == nullptr) {
    if (!set) return nullptr;
    args = {unionCase.tagField(), std::string(name), std::string(structure.name())};
    return MessageIds::kUnionNoTag;
  }
  boost::logic::tribool const active = unionCase.IsActiveFor(tag);
  if (active && !set) fault = MessageIds::kUnionIsNotSet;
  if (!active && set) fault = MessageIds::kUnionIsSet;
  if (fault != nullptr) args = {std::string(name), std::string(structure.name())};
  return fault;
}

}  // namespace Data
}  // namespace Opax
