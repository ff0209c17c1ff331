#include "commands/operation_lookup.h"

#include "invoke/invoke.h"

namespace Cli {

namespace {
constexpr char kTaskSuffix[] = "$task";
}

bool FindOperation(std::string const& service, std::string const& operation, bool wantTask,
                   OperationChoice& out, std::ostream& err) {
  auto const& catalog = ::Opax::Catalog::ServiceCatalog::Instance();
  out.service = catalog.Find(service);
  if (!out.service) {
    err << "nexar: no service is called '" << service << "' (see: nexar services)\n";
    return false;
  }
  std::string name = operation;
  bool const suffixed = name.size() > 5 && name.compare(name.size() - 5, 5, kTaskSuffix) == 0;
  if (suffixed) name.resize(name.size() - 5);
  out.entry = ::Opax::Catalog::ServiceCatalog::FindOperation(*out.service, name);
  if (!out.entry) {
    err << "nexar: service '" << service << "' has no operation '" << operation << "' (see: nexar describe "
        << service << ")\n";
    return false;
  }
  out.task = suffixed || wantTask || !out.entry->plain;
  if (out.task && !out.entry->task) {
    err << "nexar: operation '" << name << "' has no task form\n";
    return false;
  }
  out.definitions = Operations().Find(service + "/" + name + (out.task ? kTaskSuffix : ""));
  if (!out.definitions) {
    err << "nexar: operation '" << name << "' is not in the operation table\n";
    return false;
  }
  return true;
}

std::vector<std::string> OperationNames(::Opax::Catalog::ServiceEntry const& service) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < service.operationCount; ++i) {
    auto const& operation = *service.operations[i];
    if (operation.plain) names.emplace_back(operation.name);
    if (operation.task) names.push_back(std::string(operation.name) + kTaskSuffix);
  }
  return names;
}

}  // namespace Cli
