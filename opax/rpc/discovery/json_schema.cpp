#include <opax/rpc/discovery/json_schema.h>

#include <opax/json/reserved.h>

#include <boost/json/array.hpp>

#include <cstdio>

namespace Opax {
namespace Rpc {
namespace {

using namespace Data;  // NOLINT: this file speaks the definition vocabulary throughout
namespace json = boost::json;

// Standard base64 with padding, as the encoder writes binary.
constexpr char kBase64Pattern[] = "^(?:[A-Za-z0-9+/]{4})*(?:[A-Za-z0-9+/]{2}==|[A-Za-z0-9+/]{3}=)?$";

json::value Null() { return json::object{{"type", "null"}}; }

// Unset optionals are left out, and `null` is read as unset.
json::value OrNull() { return json::object{{"anyOf", json::array{nullptr, Null()}}}; }

json::value Primitive(DefinitionType type) {
  switch (type) {
    case DefinitionType::Void:
      return Null();
    case DefinitionType::Boolean:
      return json::object{{"type", "boolean"}};
    case DefinitionType::Integer:
      return json::object{{"type", "integer"}, {"format", "int64"}};
    case DefinitionType::Double:
      // Non-finite doubles have no JSON number; the encoder writes them as these strings.
      return json::object{
          {"anyOf", json::array{json::object{{"type", "number"}},
                                json::object{{"enum", json::array{"NaN", "Infinity", "-Infinity"}}}}}};
    case DefinitionType::Secret:
      return json::object{{"type", "string"}, {"format", "password"}};
    case DefinitionType::Binary:
      return json::object{{"type", "string"}, {"contentEncoding", "base64"}, {"pattern", kBase64Pattern}};
    case DefinitionType::DateTime:
      return json::object{{"type", "string"}, {"format", "date-time"}};
    case DefinitionType::DynamicStructure:
    case DefinitionType::DynamicError:
      // Nothing but the name says what they are, so the name is always written.
      return json::object{{"type", "object"},
                          {"properties", json::object{{Json::kTypeMember, json::object{{"type", "string"}}}}},
                          {"required", json::array{Json::kTypeMember}}};
    default:
      return json::object{{"type", "string"}};
  }
}

DataDefinition const* Unwrap(DataDefinition const* definition, DefinitionType type) {
  while (definition != nullptr && definition->type() == type) {
    definition = type == DefinitionType::UnionCase
                     ? static_cast<UnionCaseDefinition const&>(*definition).elementType().get()
                     : static_cast<OptionalDefinition const&>(*definition).elementType().get();
  }
  return definition;
}

bool IsOptional(DataDefinition const* definition) {
  definition = Unwrap(definition, DefinitionType::UnionCase);
  return definition != nullptr && definition->type() == DefinitionType::Optional;
}

using CaseFields = std::vector<std::pair<std::string, UnionCaseDefinition const*>>;

// One branch per text of the tag: the tag holds that text, the case fields it makes required are
// there and not null, the ones it leaves out are absent or null. An optional tag adds the branch
// where it and every case field are unset. Null when the tag's texts are not known.
json::value UnionBranches(StructDefinition const& structure, std::string const& tag,
                          CaseFields const& cases) {
  DataDefinitionPtr const tagField = structure.field(tag);
  auto const* tagShape = Unwrap(tagField.get(), DefinitionType::Optional);
  if (tagShape == nullptr || tagShape->type() != DefinitionType::IsOneOf) return nullptr;
  auto const& texts = static_cast<IsOneOfDefinition const&>(*tagShape).texts();
  if (texts.empty()) return nullptr;
  json::array branches;
  for (auto const& text : texts) {
    json::object properties{{tag, json::object{{"const", text}}}};
    json::array required{json::value(tag)};
    for (auto const& [name, unionCase] : cases) {
      boost::logic::tribool const active = unionCase->IsActiveFor(text);
      if (boost::logic::indeterminate(active)) continue;
      if (active) {
        properties[name] = json::object{{"not", Null()}};
        required.emplace_back(name);
      } else {
        properties[name] = Null();
      }
    }
    branches.emplace_back(
        json::object{{"properties", std::move(properties)}, {"required", std::move(required)}});
  }
  if (IsOptional(tagField.get())) {
    json::object properties{{tag, Null()}};
    for (auto const& entry : cases) properties[entry.first] = Null();
    branches.emplace_back(json::object{{"properties", std::move(properties)}});
  }
  return branches;
}

}  // namespace

std::string JsonSchemaWriter::ComponentRef(char const* section, std::string const& name) {
  std::string ref = "#/components/";
  ref += section;
  ref += '/';
  for (unsigned char c : name) {
    if (c == '~') {
      ref += "~0";
    } else if (c == '/') {
      ref += "~1";
    } else if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
               c == '_' || c == '-' || c == '$') {
      ref += static_cast<char>(c);
    } else {
      char escaped[4];
      std::snprintf(escaped, sizeof escaped, "%%%02X", c);
      ref += escaped;
    }
  }
  return ref;
}

std::string JsonSchemaWriter::SchemaRef(std::string const& name) { return ComponentRef("schemas", name); }

json::value JsonSchemaWriter::SchemaOf(std::shared_ptr<DataDefinition const> const& definition) {
  keepAlive_.push_back(definition);
  json::value schema;
  Fill(definition.get(), schema, false);
  return schema;
}

json::object JsonSchemaWriter::TakeSchemas() {
  // Describing one structure may name more: run until none is left.
  while (!pending_.empty()) {
    auto const [name, definition] = pending_.back();
    pending_.pop_back();
    Fill(definition, named_[name], true);
  }
  json::object schemas;
  schemas.reserve(named_.size());
  for (auto& entry : named_) schemas.emplace(entry.first, std::move(entry.second));
  named_.clear();
  keepAlive_.clear();
  return schemas;
}

void JsonSchemaWriter::Refer(std::string const& name, DataDefinition const* definition, json::value& out) {
  out = json::object{{"$ref", SchemaRef(name)}};
  if (named_.emplace(name, nullptr).second) pending_.emplace_back(name, definition);
}

void JsonSchemaWriter::Fill(DataDefinition const* root, json::value& out, bool describeRoot) {
  std::vector<Task> work{{root, &out}};
  while (!work.empty()) {
    Task const task = work.back();
    work.pop_back();
    // A union-case wrapper only matters to the structure that holds it (DescribeStructure).
    auto const* definition = Unwrap(task.definition, DefinitionType::UnionCase);
    if (definition == nullptr) {
      *task.out = json::object{};
      continue;
    }
    switch (definition->type()) {
      case DefinitionType::Optional: {
        *task.out = OrNull();
        auto& anyOf = task.out->as_object().find("anyOf")->value().as_array();
        work.push_back({static_cast<OptionalDefinition const&>(*definition).elementType().get(), &anyOf[0]});
        break;
      }
      case DefinitionType::List: {
        auto const& list = static_cast<ListDefinition const&>(*definition);
        json::object schema{{"type", "array"}, {"items", nullptr}};
        if (list.distinctElements()) schema["uniqueItems"] = true;
        *task.out = std::move(schema);
        work.push_back({list.elementType().get(), &task.out->as_object().find("items")->value()});
        break;
      }
      case DefinitionType::Map:
        *task.out = json::object{{"type", "object"}, {"additionalProperties", nullptr}};
        work.push_back({static_cast<MapDefinition const&>(*definition).elementType().get(),
                        &task.out->as_object().find("additionalProperties")->value()});
        break;
      case DefinitionType::IsOneOf: {
        // Only the texts this side knows: the codec keeps others, but no one here acts on them.
        auto const& texts = static_cast<IsOneOfDefinition const&>(*definition).texts();
        json::object schema{{"type", "string"}};
        if (!texts.empty()) schema["enum"] = json::array(texts.begin(), texts.end());
        *task.out = std::move(schema);
        break;
      }
      case DefinitionType::StructRef: {
        auto const& reference = static_cast<StructRefDefinition const&>(*definition);
        auto target = reference.targetDefinition();
        if (!target) {
          // Nothing left to describe: any object will do.
          *task.out = json::object{{"type", "object"}};
          break;
        }
        keepAlive_.push_back(target);
        Refer(reference.name(), target.get(), *task.out);
        break;
      }
      case DefinitionType::Structure:
      case DefinitionType::Error: {
        auto const& structure = static_cast<StructDefinition const&>(*definition);
        if (structure.name().empty() || (describeRoot && definition == root)) {
          DescribeStructure(structure, *task.out, work);
        } else {
          Refer(structure.name(), definition, *task.out);
        }
        break;
      }
      default:
        *task.out = Primitive(definition->type());
        break;
    }
  }
}

// The whole object is put together before any field's slot is handed to the work list, so that
// no later insertion moves a slot that is still to be filled.
void JsonSchemaWriter::DescribeStructure(StructDefinition const& structure, json::value& out,
                                         std::vector<Task>& work) {
  bool const error = structure.type() == DefinitionType::Error;
  json::object properties;
  json::array required;
  // A reader may name the structure; it must then be this one. Errors always carry their name.
  properties[Json::kTypeMember] = json::object{{"const", structure.name()}};
  if (error) required.emplace_back(Json::kTypeMember);
  std::map<std::string, CaseFields> unions;
  for (auto const& [name, field] : structure.fields()) {
    properties[name] = nullptr;
    if (field && field->type() == DefinitionType::UnionCase) {
      auto const& unionCase = static_cast<UnionCaseDefinition const&>(*field);
      unions[unionCase.tagField()].emplace_back(name, &unionCase);
    } else if (!IsOptional(field.get())) {
      required.emplace_back(name);
    }
  }
  json::object schema{{"type", "object"}, {"properties", std::move(properties)}};
  if (!required.empty()) schema["required"] = std::move(required);
  if (structure.extraFields() == StructDefinition::ExtraFields::Forbidden)
    schema["additionalProperties"] = false;
  json::array rules;
  for (auto const& [tag, cases] : unions) {
    json::value branches = UnionBranches(structure, tag, cases);
    if (!branches.is_null()) rules.emplace_back(json::object{{"oneOf", std::move(branches)}});
  }
  if (rules.size() == 1) {
    schema["oneOf"] = std::move(rules[0].as_object()["oneOf"]);
  } else if (!rules.empty()) {
    schema["allOf"] = std::move(rules);
  }
  out = std::move(schema);
  auto& slots = out.as_object().find("properties")->value().as_object();
  for (auto const& [name, field] : structure.fields())
    work.push_back({field.get(), &slots.find(name)->value()});
}

}  // namespace Rpc
}  // namespace Opax
