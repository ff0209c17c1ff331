#pragma once

#include <opax/core/provider/api_interface.h>
#include <opax/core/provider/task_registry.h>

#include <memory>

namespace Opax {
namespace Rpc {

constexpr char kTaskServiceId[] = "com.quarn.cis.tasks";

// The task service (get, list, cancel) over the registry of a provider's "$task" invocations.
std::shared_ptr<Provider::AsyncApiInterface const> MakeTaskService(std::shared_ptr<Provider::TaskRegistry> tasks);

}  // namespace Rpc
}  // namespace Opax
