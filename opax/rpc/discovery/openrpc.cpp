#include <opax/rpc/discovery/openrpc.h>

#include <opax/rpc/discovery/json_schema.h>
#include <opax/rpc/protocol/json_rpc.h>
#include <runtime/service_catalog.h>

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include <set>

namespace Opax {
namespace Rpc {
namespace {

using namespace Data;  // NOLINT: definitions throughout
namespace json = boost::json;

// By name: the input structure's fields, each a parameter; optional ones may be left out.
json::array Params(DataDefinitionPtr const& input, JsonSchemaWriter& schemas) {
  json::array params;
  if (!input || input->type() != DefinitionType::Structure) return params;
  for (auto const& [name, field] : static_cast<StructDefinition const&>(*input).fields()) {
    auto const* shape = field.get();
    if (shape != nullptr && shape->type() == DefinitionType::UnionCase) {
      shape = static_cast<UnionCaseDefinition const&>(*shape).elementType().get();
    }
    bool const required = shape != nullptr && shape->type() != DefinitionType::Optional &&
                          field->type() != DefinitionType::UnionCase;
    params.emplace_back(
        json::object{{"name", name}, {"required", required}, {"schema", schemas.SchemaOf(field)}});
  }
  return params;
}

// Every operation error travels with code OperationError; its `data` is the error value, whose
// schema the document's error object points at from its own `data`.
json::array Errors(std::list<DataDefinitionPtr> const& errors, JsonSchemaWriter& schemas,
                   json::object& components) {
  json::array refs;
  for (auto const& error : errors) {
    if (!error || (error->type() != DefinitionType::Error && error->type() != DefinitionType::Structure))
      continue;
    std::string const& name = static_cast<StructDefinition const&>(*error).name();
    if (components.find(name) == components.end()) {
      components[name] = json::object{{"code", static_cast<int>(RpcCode::OperationError)},
                                      {"message", name},
                                      {"data", schemas.SchemaOf(error)}};
    }
    refs.emplace_back(json::object{{"$ref", JsonSchemaWriter::ComponentRef("errors", name)}});
  }
  return refs;
}

void AddOperation(std::string const& serviceId, Binding::OperationDescriptor const& operation,
                  JsonSchemaWriter& schemas, json::object& errorComponents, json::array& methods) {
  json::array const params = Params(operation.inputDef(), schemas);
  json::array const errors = Errors(operation.errorDefs(), schemas, errorComponents);
  auto method = [&](std::string const& name, json::value result) {
    json::object entry{{"name", RpcMethodName(serviceId, name)},
                       {"paramStructure", "by-name"},
                       {"params", params},
                       {"result", std::move(result)}};
    if (!errors.empty()) entry["errors"] = errors;
    methods.emplace_back(std::move(entry));
  };
  if (operation.plain) {
    method(operation.name,
           json::object{{"name", "result"}, {"schema", schemas.SchemaOf(operation.outputDef())}});
  }
  if (operation.task) {
    // The task form answers at once with the task's id; the task service tells the rest.
    method(operation.taskName(),
           json::object{{"name", "task"}, {"schema", json::object{{"type", "string"}}}});
  }
}

}  // namespace

std::string OpenRpcDocument(std::vector<std::string> const& serviceIds, OpenRpcInfo const& info) {
  auto& catalog = Catalog::ServiceCatalog::Instance();
  JsonSchemaWriter schemas;
  json::array methods;
  json::object errorComponents;
  std::set<std::string> seen;
  for (auto const& id : serviceIds) {
    Catalog::ServiceEntry const* service = catalog.Find(id);
    if (service == nullptr || !seen.insert(id).second) continue;
    for (std::size_t i = 0; i < service->operationCount; ++i) {
      AddOperation(id, *service->operations[i], schemas, errorComponents, methods);
    }
  }
  json::object document{{"openrpc", kOpenRpcVersion},
                        {"info", json::object{{"title", info.title}, {"version", info.version}}},
                        {"methods", std::move(methods)}};
  json::object components{{"schemas", schemas.TakeSchemas()}};
  if (!errorComponents.empty()) components["errors"] = std::move(errorComponents);
  document["components"] = std::move(components);
  return json::serialize(document);
}

}  // namespace Rpc
}  // namespace Opax
