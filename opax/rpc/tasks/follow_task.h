#pragma once

#include <opax/core/base/progress.h>
#include <opax/core/definition/data_definition.h>
#include <opax/core/invocation/method_result.h>
#include <opax/core/provider/api_provider.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace Opax {
namespace Rpc {

struct FollowOptions {
  std::chrono::milliseconds firstDelay{20};
  std::chrono::milliseconds maxDelay{1000};
  double factor = 1.5;
  std::chrono::milliseconds deadline{std::chrono::hours(24)};  // then the result is timed_out
  // The output definition of the task's operation. When null it is looked up in the run-time
  // catalogue by the operation the task service names; a client that carries no bindings of that
  // service gives it here, or receives the result as the wire decoded it.
  std::shared_ptr<Data::DataDefinition const> outputDefinition;
};

// Follows a task that a "$task" call started through the task service of `provider` (a network
// client, or an in-process provider that serves it) until it ends, polling with backoff. Calls
// `progress` whenever the progress changed, and returns the task's final result, typed as the
// output definition of its operation says, or its error. Blocks the calling thread.
//
// The errors: the task's own; what the task service answered (not_found for an unknown or
// forgotten id); internal_server_error with "opax.invoke.invalid.output" when the result does not
// fit the output definition; timed_out with "opax.task.follow.timed.out" once the deadline
// passed, whether the task or the service kept us waiting. A timed-out task goes on running.
std::shared_ptr<Core::MethodResult const> FollowTask(
    Provider::ApiProvider& provider, std::string const& taskId,
    std::function<void(Progress const&)> const& progress = {},
    FollowOptions const& options = FollowOptions());

}  // namespace Rpc
}  // namespace Opax
