#pragma once

#include <opax/core/definition/data_definition.h>
#include <opax/core/invocation/identifiers.h>
#include <runtime/service_catalog.h>

#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Opax {
namespace Rpc {

// The definitions of one operation as the wire needs them: what to decode params and results
// with, and which errors it declares.
struct OperationDefinitions {
  std::string serviceId;
  std::string operation;  // the wire name, "$task" included for the task form
  bool task = false;
  std::shared_ptr<Core::MethodIdentifier const> method;
  std::shared_ptr<Data::DataDefinition const> input;
  std::shared_ptr<Data::DataDefinition const> output;  // a string (the task id) for a task form
  std::list<std::shared_ptr<Data::DataDefinition const>> errors;

  // The declared error named `name`, or null.
  Data::DataDefinition const* FindError(std::string_view name) const;
};

// Every operation of the run-time catalogue by JSON-RPC method name. The table of names is built
// once, when the table is made; an operation's definitions are built on its first call and kept,
// so that calls never take the catalogue's lock or rebuild definitions.
class OperationTable {
 public:
  // The operations of every service registered in the catalogue now.
  OperationTable();

  // The operation a method name names, or null.
  OperationDefinitions const* Find(std::string_view method) const;
  std::size_t size() const { return entries_.size(); }

 private:
  struct Entry {
    Catalog::ServiceEntry const* service;
    Binding::OperationDescriptor const* operation;
    bool task;
    mutable std::once_flag built;
    mutable OperationDefinitions definitions;
  };
  std::vector<std::unique_ptr<Entry>> entries_;
  std::unordered_map<std::string_view, Entry const*> byName_;
  std::vector<std::string> names_;
};

}  // namespace Rpc
}  // namespace Opax
