#pragma once

#include <opax/rpc/protocol/operation_table.h>
#include <runtime/service_catalog.h>

#include <ostream>
#include <string>

namespace Cli {

struct OperationChoice {
  ::Opax::Catalog::ServiceEntry const* service = nullptr;
  ::Opax::Binding::OperationDescriptor const* entry = nullptr;
  bool task = false;
  ::Opax::Rpc::OperationDefinitions const* definitions = nullptr;
};

// Finds SERVICE and OPERATION in the catalogue. OPERATION may name the task form ("op$task"); an
// operation that has only a task form is that form; one with both is the plain form unless
// `wantTask`. False with the reason written to `err` otherwise.
bool FindOperation(std::string const& service, std::string const& operation, bool wantTask,
                   OperationChoice& out, std::ostream& err);

// The wire names of a service's operations, task forms as "op$task".
std::vector<std::string> OperationNames(::Opax::Catalog::ServiceEntry const& service);

}  // namespace Cli
