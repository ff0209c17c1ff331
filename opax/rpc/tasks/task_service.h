#pragma once

#include <opax/core/provider/api_interface.h>
#include <opax/core/provider/task_registry.h>

#include <memory>

namespace Opax {
namespace Rpc {

constexpr char kTaskServiceId[] = "com.quarn.cis.tasks";

// The task service (get, list, cancel) over the registry of a provider's "$task" invocations.
std::shared_ptr<Provider::AsyncApiInterface const> MakeTaskService(
    std::shared_ptr<Provider::TaskRegistry> tasks);

// How a task's result travels in the service's Info (the rule is written in opax/cis/tasks.idl):
// a structure as it is, void as nothing (null), any other kind wrapped in a structure of this
// name whose one member holds it. Both ends of the service use these two, so they cannot drift.
constexpr char kWrappedResultName[] = "com.quarn.cis.tasks.wrapped_result";
constexpr char kWrappedResultMember[] = "value";

std::shared_ptr<Data::StructValue const> WrapTaskResult(std::shared_ptr<Data::DataValue const> const& result);
// The value WrapTaskResult was given, as far as the structure shows it: the wrapped member
// (null when it was left out, as an unset optional is), or the structure itself. Null for null.
std::shared_ptr<Data::DataValue const> UnwrapTaskResult(
    std::shared_ptr<Data::StructValue const> const& carried);

}  // namespace Rpc
}  // namespace Opax
