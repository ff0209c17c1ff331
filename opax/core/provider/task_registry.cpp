#include <opax/core/provider/task_registry.h>

#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>

namespace Opax {
namespace Provider {
namespace {

DateTime Now(std::chrono::system_clock::time_point now) {
  auto const ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
  return DateTime::FromEpochMilliseconds(static_cast<int64_t>(ms));
}

bool Ended(TaskRegistry::State state) {
  return state == TaskRegistry::State::SUCCEEDED || state == TaskRegistry::State::FAILED;
}

}  // namespace

char const* TaskRegistry::StateText(State state) {
  switch (state) {
    case State::PENDING:
      return "PENDING";
    case State::RUNNING:
      return "RUNNING";
    case State::BLOCKED:
      return "BLOCKED";
    case State::SUCCEEDED:
      return "SUCCEEDED";
    case State::FAILED:
      return "FAILED";
  }
  return "_UNKNOWN";
}

std::string TaskRegistry::Create(std::string const& operation) {
  auto const now = std::chrono::system_clock::now();
  std::lock_guard<std::mutex> lock(mutex_);
  std::string id = "task-" + std::to_string(next_++);
  Info& info = tasks_[id];
  info.id = id;
  info.operation = operation;
  info.startTime = Now(now);
  return id;
}

void TaskRegistry::Report(std::string const& id, std::shared_ptr<Core::MethodResult const> const& result,
                          Progress const& progress) {
  auto const now = std::chrono::system_clock::now();
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = tasks_.find(id);
  if (found == tasks_.end()) return;
  Info& info = found->second;
  if (Ended(info.state)) return;
  if (!result) {
    info.state = State::RUNNING;
    info.progress = progress;
    return;
  }
  if (result->success()) {
    info.state = State::SUCCEEDED;
    info.result = result->output();
    if (info.progress.total > 0) info.progress.completed = info.progress.total;
  } else {
    info.state = State::FAILED;
    info.error = result->error();
  }
  EndLocked(info, now);
}

TaskRegistry::CancelOutcome TaskRegistry::Cancel(std::string const& id) {
  auto const now = std::chrono::system_clock::now();
  // Built before the lock: the registry's lock covers bookkeeping only.
  std::shared_ptr<Data::ErrorValue const> const canceled =
      Data::ErrorValue::GetInstance(ErrorIds::kError, {BaseMessage::Make(MessageIds::kTaskCanceled, {id})});
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = tasks_.find(id);
  if (found == tasks_.end()) return CancelOutcome::UNKNOWN;
  Info& info = found->second;
  if (Ended(info.state)) return CancelOutcome::ALREADY_ENDED;
  info.state = State::FAILED;
  info.error = canceled;
  EndLocked(info, now);
  return CancelOutcome::CANCELED;
}

void TaskRegistry::EndLocked(Info& info, std::chrono::system_clock::time_point now) {
  info.endTime = Now(now);
  // Copied first: forgetting old tasks may erase `info` itself.
  std::string const id = info.id;
  finished_.emplace_back(now, id);
  ForgetOldLocked(now);
}

void TaskRegistry::ForgetOldLocked(std::chrono::system_clock::time_point now) {
  while (!finished_.empty() && (finished_.size() > policy_.keepFinished ||
                                now - finished_.front().first > policy_.finishedLifetime)) {
    tasks_.erase(finished_.front().second);
    finished_.pop_front();
  }
}

boost::optional<TaskRegistry::Info> TaskRegistry::Get(std::string const& id) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = tasks_.find(id);
  if (found == tasks_.end()) return boost::none;
  return found->second;
}

std::vector<TaskRegistry::Info> TaskRegistry::List() const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<Info> all;
  for (auto const& entry : tasks_) all.push_back(entry.second);
  return all;
}

}  // namespace Provider
}  // namespace Opax
