// Cloning as a task: an operation that may take minutes answers at once with a task id, and the
// client follows the task on the server until it ends.

#include "tour.h"

#include "wait.h"

#include <opax/rpc/tasks/follow_task.h>

namespace VmTour {
namespace {

// How long the tour follows the clone; a clone still running then goes on on the server.
constexpr std::chrono::minutes kCloneDeadline{2};

std::string Percent(::Opax::Progress const& progress) {
  if (progress.total <= 0) return "working";
  return std::to_string(progress.completed * 100 / progress.total) + "%";
}

}  // namespace

void CloneAsTask(Services const& services, std::string const& vm, Report& report) {
  report.Step("Clone the machine, as a task");
  if (vm.empty()) return report.Skipped("no machine to clone");
  auto const spec = std::make_shared<VmSvc::CloneSpec const>(VmSvc::CloneSpec(vm, vm + "-clone"));
  report.Detail("clone name", spec->name());

  // The task form of Clone: the outcome it waits for is the id of the task the server started.
  auto started = WaitForTaskId<std::string>([&](::Opax::AsyncTaskResult<std::string> const& result) {
    services.machines->Clone(spec, nullptr, result);
  });
  if (started.error) return report.Failed("the server did not start the clone", started.error);
  report.Detail("task", *started.value);

  // FollowTask polls the server's task service, backing off between polls, and prints each step
  // as the server reports it. It blocks until the task ends or the deadline passes.
  ::Opax::Rpc::FollowOptions follow;
  follow.deadline = kCloneDeadline;
  auto const outcome = ::Opax::Rpc::FollowTask(
      *services.client, *started.value,
      [&report](::Opax::Progress const& progress) {
        report.Detail("progress",
                      Percent(progress) + (progress.message.empty() ? "" : "  " + progress.message));
      },
      follow);
  if (!outcome->success()) return report.Failed("the clone did not complete", outcome->error());

  // The task's result is typed as Clone's own result: the new machine's id.
  std::string clone;
  std::list<::Opax::BaseMessage> messages;
  if (!::Opax::Data::DataValue::Value(outcome->output(), clone, messages)) {
    return report.Failed("the clone's result is not a machine id", messages);
  }
  report.Detail("cloned", clone);
}

}  // namespace VmTour
