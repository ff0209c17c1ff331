#pragma once

// Waiting for a generated stub's outcome. The in-process provider answers plain calls on the
// calling thread, but a provider over the network answers on one of its own, so the client
// waits on a future either way and never assumes which thread delivers.

#include <opax/core/data/compound_value.h>

#include <opax/core/invocation/async_result.h>

#include <boost/optional.hpp>

#include <chrono>
#include <future>
#include <memory>
#include <string>

namespace Sim {

// A call that outlives this is reported as failed: a test must end even against a server that
// never answers.
constexpr std::chrono::seconds kReplyTimeout{10};

template <class T>
struct Reply {
  boost::optional<T> value;
  std::shared_ptr<::Opax::Data::ErrorValue const> error;
};

inline std::shared_ptr<::Opax::Data::ErrorValue const> NoReply() {
  return ::Opax::Data::ErrorValue::GetInstance(
      "com.quarn.opax.std.errors.timed_out",
      {::Opax::BaseMessage("nexar.sim.test.no_reply", "No reply within " + std::to_string(kReplyTimeout.count()) + " s.", {})});
}

template <class T, class Start>
Reply<T> AwaitReply(std::promise<Reply<T>>& promise, Start&& start) {
  auto future = promise.get_future();
  start();
  if (future.wait_for(kReplyTimeout) != std::future_status::ready) return Reply<T>{boost::none, NoReply()};
  return future.get();
}

// Calls `start(result)` with a plain operation's result object and waits for its final outcome.
template <class T, class Start>
Reply<T> Await(Start&& start) {
  using Result = ::Opax::AsyncResult<T, ::Opax::AsyncResultTerminateCbPolicy>;
  auto promise = std::make_shared<std::promise<Reply<T>>>();
  Result result(typename Result::Callback(
      [promise](boost::optional<T> const& value, std::shared_ptr<::Opax::Data::ErrorValue const> const& error, ::Opax::Progress const&) {
        // The result object delivers one final outcome at most; progress carries neither.
        if (value || error) promise->set_value(Reply<T>{value, error});
      }));
  return AwaitReply(*promise, [&] { start(result); });
}

// Calls `start(result)` with a task operation's result object and waits for the task's id.
template <class T, class Start>
Reply<std::string> AwaitTaskId(Start&& start) {
  using Result = ::Opax::AsyncTaskResult<T, ::Opax::AsyncTaskResultTerminateCbPolicy>;
  auto promise = std::make_shared<std::promise<Reply<std::string>>>();
  Result result(typename Result::Callback(
      [promise](::Opax::TaskResult<T> const& slot, std::shared_ptr<::Opax::Data::ErrorValue const> const& error, ::Opax::Progress const&) {
        if (slot.taskId || error) promise->set_value(Reply<std::string>{slot.taskId, error});
      }));
  return AwaitReply(*promise, [&] { start(result); });
}

}  // namespace Sim
