#pragma once

#include <opax/core/base/date_time.h>
#include <opax/core/base/progress.h>
#include <opax/core/invocation/method_result.h>

#include <boost/optional.hpp>

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Opax {
namespace Provider {

// How long finished tasks stay readable.
struct TaskRetention {
  std::size_t keepFinished = 1000;
  std::chrono::seconds finishedLifetime{24 * 3600};
};

// The tasks that "$task" invocations started: their progress, and their outcome once they end.
//
// Bookkeeping for tasks takes a lock: a task is created once per task invocation and updated
// once per report, far from the per-call path of plain operations, which never touch it.
// Finished tasks are forgotten oldest first once more than `keepFinished` of them are kept, or
// once they are older than `finishedLifetime`; running tasks are never forgotten.
class TaskRegistry {
 public:
  // The same states, in the same order, as the task Status enumeration of the task bindings.
  enum class State { PENDING, RUNNING, BLOCKED, SUCCEEDED, FAILED };
  static char const* StateText(State state);

  using Policy = TaskRetention;

  struct Info {
    std::string id;
    std::string operation;  // "service.id/method$task"
    State state = State::PENDING;
    Progress progress;
    std::shared_ptr<Data::DataValue const> result;  // when SUCCEEDED
    std::shared_ptr<Data::ErrorValue const> error;  // when FAILED
    DateTime startTime;
    boost::optional<DateTime> endTime;
  };

  explicit TaskRegistry(Policy policy = Policy()) : policy_(policy) {}

  // A new task for `operation`, PENDING; returns its id.
  std::string Create(std::string const& operation);
  // One report of the task: progress (null result; the task is RUNNING), or its final result.
  // Reports after the final one are ignored.
  void Report(std::string const& id, std::shared_ptr<Core::MethodResult const> const& result,
              Progress const& progress);

  enum class CancelOutcome { CANCELED, UNKNOWN, ALREADY_ENDED };
  // Ends a PENDING, RUNNING or BLOCKED task as FAILED with the standard `error` error and
  // "opax.task.canceled"; its implementation is not interrupted, and what it reports afterwards
  // is ignored like any report after the final one. A task that ended already keeps its outcome.
  CancelOutcome Cancel(std::string const& id);

  boost::optional<Info> Get(std::string const& id) const;
  std::vector<Info> List() const;

 private:
  void EndLocked(Info& info, std::chrono::system_clock::time_point now);
  void ForgetOldLocked(std::chrono::system_clock::time_point now);

  Policy const policy_;
  mutable std::mutex mutex_;
  uint64_t next_ = 1;
  std::map<std::string, Info> tasks_;
  std::deque<std::pair<std::chrono::system_clock::time_point, std::string>> finished_;  // oldest first
};

}  // namespace Provider
}  // namespace Opax
