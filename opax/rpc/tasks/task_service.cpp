#include <opax/rpc/tasks/task_service.h>

#include <opax/cis/tasks.h>
#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>

#include <string>

namespace Opax {
namespace Rpc {
namespace {

using TasksSvc = ::Com::Quarn::Cis::TasksSvc;
using Registry = Provider::TaskRegistry;
template <class T>
using Result = AsyncResult<T, AsyncResultTerminateCbPolicy>;

std::shared_ptr<Data::ErrorValue const> Refusal(char const* error, char const* messageId,
                                                std::vector<std::string> args) {
  return Data::ErrorValue::GetInstance(error, {BaseMessage::Make(messageId, std::move(args))});
}

std::shared_ptr<::Com::Quarn::Cis::Task::Progress const> ProgressOf(Progress const& progress) {
  // The implementation's note is plain text; it travels as the default text of a message whose
  // text is just its one argument, so that a localizing client still has something to show.
  auto message = std::make_shared<::Com::Quarn::Opax::Std::LocalizableMessage const>(
      MessageIds::kTaskProgress, progress.message, std::list<std::string>{progress.message});
  return std::make_shared<::Com::Quarn::Cis::Task::Progress const>(progress.total, progress.completed,
                                                                   std::move(message));
}

std::shared_ptr<TasksSvc::Info const> InfoOf(Registry::Info const& task) {
  // Registry::State and the Status enumeration list the same states in the same order.
  auto info = std::make_shared<TasksSvc::Info>(task.id, task.operation,
                                               ::Com::Quarn::Cis::Task::Status(static_cast<int>(task.state)),
                                               ProgressOf(task.progress), task.startTime);
  info->endTime(task.endTime);
  if (task.state == Registry::State::SUCCEEDED) {
    if (auto carried = WrapTaskResult(task.result)) info->result(Data::DynamicStructure(std::move(carried)));
  }
  if (task.state == Registry::State::FAILED && task.error) info->error(Data::DynamicError(task.error));
  return info;
}

class TaskService final : public TasksSvc::AsyncServiceInterface {
 public:
  explicit TaskService(std::shared_ptr<Registry> tasks) : tasks_(std::move(tasks)) {}

  void Get(std::string const& task, std::shared_ptr<Core::AsyncActivation> const&,
           Result<std::shared_ptr<TasksSvc::Info const>> const& result) override {
    auto found = tasks_->Get(task);
    if (!found) return result.SetError(Refusal(ErrorIds::kNotFound, MessageIds::kTaskUnknown, {task}));
    result.SetResult(InfoOf(*found));
  }

  void List(std::shared_ptr<Core::AsyncActivation> const&,
            Result<std::list<std::shared_ptr<TasksSvc::Info const>>> const& result) override {
    std::list<std::shared_ptr<TasksSvc::Info const>> all;
    for (auto const& task : tasks_->List()) all.push_back(InfoOf(task));
    result.SetResult(all);
  }

  void Cancel(std::string const& task, std::shared_ptr<Core::AsyncActivation> const&,
              Result<Void> const& result) override {
    switch (tasks_->Cancel(task)) {
      case Registry::CancelOutcome::CANCELED:
        return result.SetResult(Void());
      case Registry::CancelOutcome::UNKNOWN:
        return result.SetError(Refusal(ErrorIds::kNotFound, MessageIds::kTaskUnknown, {task}));
      case Registry::CancelOutcome::ALREADY_ENDED: {
        // Read again for the message only: the task may have been forgotten in between.
        auto ended = tasks_->Get(task);
        std::string const state = Registry::StateText(ended ? ended->state : Registry::State::FAILED);
        return result.SetError(
            Refusal(ErrorIds::kNotAllowedInCurrentState, MessageIds::kTaskAlreadyEnded, {task, state}));
      }
    }
  }

 private:
  std::shared_ptr<Registry> const tasks_;
};

}  // namespace

std::shared_ptr<Provider::AsyncApiInterface const> MakeTaskService(
    std::shared_ptr<Provider::TaskRegistry> tasks) {
  if (!tasks) return nullptr;
  return TasksSvc::AsyncServiceBinder::BindImplementation(std::make_shared<TaskService>(std::move(tasks)));
}

std::shared_ptr<Data::StructValue const> WrapTaskResult(
    std::shared_ptr<Data::DataValue const> const& result) {
  if (!result || result->kind() == Data::Kind::Void) return nullptr;
  if (result->kind() == Data::Kind::Structure)
    return std::static_pointer_cast<Data::StructValue const>(result);
  auto wrapped = Data::StructValue::GetInstance(kWrappedResultName);
  wrapped->SetField(kWrappedResultMember, result);
  return wrapped;
}

std::shared_ptr<Data::DataValue const> UnwrapTaskResult(
    std::shared_ptr<Data::StructValue const> const& carried) {
  if (!carried || carried->name() != kWrappedResultName) return carried;
  auto const* member = carried->FindField(kWrappedResultMember);
  return member ? *member : nullptr;
}

}  // namespace Rpc
}  // namespace Opax
