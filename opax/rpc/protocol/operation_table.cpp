#include <opax/rpc/protocol/operation_table.h>

#include <opax/rpc/protocol/json_rpc.h>

namespace Opax {
namespace Rpc {

Data::DataDefinition const* OperationDefinitions::FindError(std::string_view name) const {
  for (auto const& error : errors) {
    if (!error) continue;
    if (error->type() == Data::DefinitionType::Error &&
        static_cast<Data::ErrorDefinition const&>(*error).name() == name) {
      return error.get();
    }
  }
  return nullptr;
}

OperationTable::OperationTable() {
  for (Catalog::ServiceEntry const* service : Catalog::ServiceCatalog::Instance().services()) {
    for (std::size_t i = 0; i < service->operationCount; ++i) {
      Binding::OperationDescriptor const& operation = *service->operations[i];
      for (bool const task : {false, true}) {
        if (task ? !operation.task : !operation.plain) continue;
        auto entry = std::make_unique<Entry>();
        entry->service = service;
        entry->operation = &operation;
        entry->task = task;
        names_.push_back(
            RpcMethodName(service->id, task ? operation.taskName() : std::string(operation.name)));
        entries_.push_back(std::move(entry));
      }
    }
  }
  // The names are all in place: views into them stay valid from here on.
  byName_.reserve(names_.size());
  for (std::size_t i = 0; i < names_.size(); ++i) byName_.emplace(names_[i], entries_[i].get());
}

OperationDefinitions const* OperationTable::Find(std::string_view method) const {
  auto const found = byName_.find(method);
  if (found == byName_.end()) return nullptr;
  Entry const& entry = *found->second;
  std::call_once(entry.built, [&entry] {
    OperationDefinitions& definitions = entry.definitions;
    definitions.serviceId = entry.service->id;
    definitions.operation = entry.task ? entry.operation->taskName() : std::string(entry.operation->name);
    definitions.task = entry.task;
    definitions.method = Core::MethodIdentifier::GetInstance(
        std::make_shared<Core::InterfaceIdentifier const>(definitions.serviceId), definitions.operation);
    definitions.input = entry.operation->inputDef();
    definitions.output =
        entry.task ? Data::DataDefinition::Create<std::string>() : entry.operation->outputDef();
    definitions.errors = entry.operation->errorDefs();
  });
  return &entry.definitions;
}

}  // namespace Rpc
}  // namespace Opax
