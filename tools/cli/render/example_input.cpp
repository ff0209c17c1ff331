#include "render/example_input.h"

#include <boost/json.hpp>

#include <utility>
#include <vector>

namespace Cli {
namespace {

namespace json = boost::json;
using ::Opax::Data::DataDefinition;
using ::Opax::Data::DefinitionType;
using ::Opax::Data::IsOneOfDefinition;
using ::Opax::Data::OptionalDefinition;
using ::Opax::Data::StructDefinition;
using ::Opax::Data::StructRefDefinition;
using ::Opax::Data::UnionCaseDefinition;

// A structure that can only be satisfied by an endless value stops growing here.
constexpr std::size_t kMaxNodes = 10000;

// Follows references to their structure; null when a reference's target is gone.
DataDefinition const* Resolved(DataDefinition const* definition) {
  if (definition && definition->type() == DefinitionType::StructRef) {
    auto target = static_cast<StructRefDefinition const*>(definition)->targetDefinition();
    return target.get();  // kept alive by the enclosing definition that owns it
  }
  return definition;
}

DataDefinition const* Unwrapped(DataDefinition const* definition) {
  definition = Resolved(definition);
  if (definition && definition->type() == DefinitionType::Optional) {
    return Resolved(static_cast<OptionalDefinition const*>(definition)->elementType().get());
  }
  return definition;
}

std::string FirstText(DataDefinition const* definition) {
  definition = Unwrapped(definition);
  if (definition && definition->type() == DefinitionType::IsOneOf) {
    auto const& texts = static_cast<IsOneOfDefinition const*>(definition)->texts();
    if (!texts.empty()) return texts.front();
  }
  return std::string();
}

// The fields a structure's example sets, with the definitions to fill them from: required fields,
// and union case fields that the example's tag makes required.
std::vector<std::pair<std::string, DataDefinition const*>> FieldsToSet(StructDefinition const& structure) {
  std::vector<std::pair<std::string, DataDefinition const*>> chosen;
  for (auto const& [name, field] : structure.fields()) {
    DataDefinition const* definition = field.get();
    if (definition->type() == DefinitionType::UnionCase) {
      auto const* unionCase = static_cast<UnionCaseDefinition const*>(definition);
      auto tag = structure.field(unionCase->tagField());
      // An unset tag (optional and left out) allows no case field at all.
      if (!tag || Resolved(tag.get())->type() == DefinitionType::Optional) continue;
      boost::logic::tribool const required = unionCase->IsActiveFor(FirstText(tag.get()));
      if (boost::logic::indeterminate(required) || !required) continue;
      // A case field that its tag requires must be set, even where its type is optional.
      chosen.emplace_back(name, Unwrapped(unionCase->elementType().get()));
      continue;
    }
    if (Resolved(definition)->type() == DefinitionType::Optional) continue;
    chosen.emplace_back(name, definition);
  }
  return chosen;
}

}  // namespace

std::string ExampleInput(DataDefinition const& definition) {
  json::value root;
  std::vector<std::pair<DataDefinition const*, json::value*>> pending{{&definition, &root}};
  std::size_t nodes = 0;
  while (!pending.empty() && ++nodes < kMaxNodes) {
    auto [at, out] = pending.back();
    pending.pop_back();
    at = Resolved(at);
    if (!at) continue;
    switch (at->type()) {
      case DefinitionType::Boolean:
        *out = false;
        break;
      case DefinitionType::Integer:
        *out = 0;
        break;
      case DefinitionType::Double:
        *out = 0.0;
        break;
      case DefinitionType::String:
      case DefinitionType::Secret:
        *out = "text";
        break;
      case DefinitionType::Binary:
        *out = "";
        break;
      case DefinitionType::DateTime:
        *out = "2024-01-01T00:00:00.000Z";
        break;
      case DefinitionType::IsOneOf:
        *out = FirstText(at);
        break;
      case DefinitionType::List:
        *out = json::array();
        break;
      case DefinitionType::Map:
      case DefinitionType::DynamicStructure:
        *out = json::object();
        break;
      case DefinitionType::UnionCase:
        pending.emplace_back(static_cast<UnionCaseDefinition const*>(at)->elementType().get(), out);
        break;
      case DefinitionType::Structure:
      case DefinitionType::Error: {
        auto const fields = FieldsToSet(*static_cast<StructDefinition const*>(at));
        json::object& object = out->emplace_object();
        object.reserve(fields.size());
        // Every member is in place before any is filled: filling never moves a member then.
        for (auto const& field : fields) object.emplace(field.first, nullptr);
        for (auto const& field : fields) pending.emplace_back(field.second, object.if_contains(field.first));
        break;
      }
      default:  // void, unset optionals, dynamic errors
        *out = nullptr;
        break;
    }
  }
  return json::serialize(root);
}

}  // namespace Cli
