#include <opax/rpc/tasks/follow_task.h>

#include <opax/cis/tasks.h>
#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>
#include <opax/json/json.h>
#include <opax/rpc/tasks/task_service.h>
#include <runtime/service_catalog.h>

#include <algorithm>
#include <future>
#include <thread>

namespace Opax {
namespace Rpc {
namespace {

using TasksSvc = ::Com::Quarn::Cis::TasksSvc;
using Status = ::Com::Quarn::Cis::Task::Status;
using InfoPtr = std::shared_ptr<TasksSvc::Info const>;
using ErrorPtr = std::shared_ptr<Data::ErrorValue const>;
using Clock = std::chrono::steady_clock;

struct Reply {
  InfoPtr info;
  ErrorPtr error;
};

// One get of the task; false when no answer came by `until`. A late answer lands in a promise
// nobody waits for any more, which is harmless.
bool Poll(TasksSvc::AsyncServiceStub& tasks, std::string const& id, Clock::time_point until, Reply& reply) {
  using Result = AsyncResult<InfoPtr, AsyncResultTerminateCbPolicy>;
  auto promise = std::make_shared<std::promise<Reply>>();
  auto answered = promise->get_future();
  tasks.Get(id, Core::AsyncActivation::GetInstance(),
            Result(Result::Callback(
                [promise](boost::optional<InfoPtr> const& info, ErrorPtr const& error, Progress const&) {
                  // A result object delivers one final outcome at most; progress carries neither.
                  if (info || error) promise->set_value(Reply{info ? *info : nullptr, error});
                })));
  if (answered.wait_until(until) != std::future_status::ready) return false;
  reply = answered.get();
  return true;
}

Progress ProgressOf(TasksSvc::Info const& info) {
  Progress progress;
  if (auto const& carried = info.progress()) {
    progress.total = carried->total();
    progress.completed = carried->completed();
    if (carried->message()) progress.message = carried->message()->defaultMessage();
  }
  return progress;
}

// The output definition of "<service id>/<operation>$task" in the run-time catalogue, or null.
std::shared_ptr<Data::DataDefinition const> OutputDefinitionOf(std::string const& operation) {
  std::size_t const slash = operation.rfind('/');
  if (slash == std::string::npos) return nullptr;
  std::string method = operation.substr(slash + 1);
  if (Core::IsTaskMethod(method)) method.resize(method.size() - Core::kTaskSuffixLength);
  auto const* service = Catalog::ServiceCatalog::Instance().Find(operation.substr(0, slash));
  if (!service) return nullptr;
  auto const* entry = Catalog::ServiceCatalog::FindOperation(*service, method);
  return entry ? entry->outputDef() : nullptr;
}

std::shared_ptr<Core::MethodResult const> InvalidOutput(std::string const& operation,
                                                        std::list<BaseMessage> messages) {
  messages.push_back(BaseMessage::Make(MessageIds::kInvalidOutput, {operation}));
  return Core::MethodResult::GetErrorInstance(
      Data::ErrorValue::GetInstance(ErrorIds::kInternalServerError, messages));
}

// The result as its operation's output definition types it. Over a wire the contents of the
// dynamic structure were decoded by their looks (a date-time or a secret arrives as a string),
// so the value is written out and read back against the definition: once per task, and the one
// codec already knows every kind.
std::shared_ptr<Core::MethodResult const> Succeeded(TasksSvc::Info const& info,
                                                    FollowOptions const& options) {
  std::shared_ptr<Data::DataValue const> value =
      UnwrapTaskResult(info.result() ? info.result()->value() : std::shared_ptr<Data::StructValue const>());
  auto const definition =
      options.outputDefinition ? options.outputDefinition : OutputDefinitionOf(info.operation());
  if (!definition) return Core::MethodResult::GetInstance(value ? value : Data::VoidValue::GetInstance());
  std::list<BaseMessage> messages;
  std::string text;
  if (!value) {
    text = "null";  // void, or an optional left unset
  } else if (!Json::Encode(*value, nullptr, text, messages)) {
    return InvalidOutput(info.operation(), std::move(messages));
  }
  std::shared_ptr<Data::DataValue const> typed;
  if (!Json::Decode(text, *definition, typed, messages))
    return InvalidOutput(info.operation(), std::move(messages));
  return Core::MethodResult::GetInstance(std::move(typed));
}

std::shared_ptr<Core::MethodResult const> TimedOut(std::string const& id,
                                                   std::chrono::milliseconds deadline) {
  return Core::MethodResult::GetErrorInstance(Data::ErrorValue::GetInstance(
      ErrorIds::kTimedOut,
      {BaseMessage::Make(MessageIds::kTaskFollowTimedOut, {id, std::to_string(deadline.count())})}));
}

}  // namespace

std::shared_ptr<Core::MethodResult const> FollowTask(Provider::ApiProvider& provider,
                                                     std::string const& taskId,
                                                     std::function<void(Progress const&)> const& progress,
                                                     FollowOptions const& options) {
  Clock::time_point const until = Clock::now() + options.deadline;
  // The stub only borrows the provider, which outlives this call by the caller's contract.
  TasksSvc::AsyncServiceStub tasks(Stub::AsyncApiStub::GetInstance(
      std::shared_ptr<Provider::ApiProvider>(std::shared_ptr<void>(), &provider)));
  Progress seen;
  Clock::duration delay = options.firstDelay;
  Clock::duration const maxDelay = std::max<Clock::duration>(options.maxDelay, options.firstDelay);
  double const factor = std::max(options.factor, 1.0);
  for (;;) {
    Reply reply;
    if (!Poll(tasks, taskId, until, reply)) return TimedOut(taskId, options.deadline);
    if (reply.error || !reply.info) {
      return Core::MethodResult::GetErrorInstance(
          reply.error ? reply.error : Core::MethodResult::GetTerminationInstance()->error());
    }
    TasksSvc::Info const& info = *reply.info;
    Progress const now = ProgressOf(info);
    if (now != seen) {
      seen = now;
      if (progress) progress(seen);
    }
    if (info.status() == Status::SUCCEEDED) return Succeeded(info, options);
    if (info.status() == Status::FAILED) {
      return Core::MethodResult::GetErrorInstance(
          info.error() ? info.error()->value() : Core::MethodResult::GetTerminationInstance()->error());
    }
    // One last look at the deadline itself: a task that ended meanwhile is not reported late.
    Clock::time_point const current = Clock::now();
    if (current >= until) return TimedOut(taskId, options.deadline);
    std::this_thread::sleep_until(std::min(current + delay, until));
    delay = std::min(maxDelay, std::chrono::duration_cast<Clock::duration>(delay * factor));
  }
}

}  // namespace Rpc
}  // namespace Opax
