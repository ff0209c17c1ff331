#pragma once

// The generated stubs are asynchronous: every call takes a result object and returns at once, and
// the network client delivers the outcome later on its own I/O thread. A tour reads best top to
// bottom, so each call here is made and then waited for, through a promise that the result
// object's callback fulfils. A real program with many calls in flight would keep the callbacks
// instead and not block a thread per call.

#include <opax/core/invocation/async_result.h>

#include <boost/optional.hpp>

#include <chrono>
#include <future>
#include <memory>
#include <string>

namespace VmTour {

using ErrorPtr = std::shared_ptr<::Opax::Data::ErrorValue const>;

// What one call came back with: a value, or the error the server (or the client) gave.
template <class T>
struct Outcome {
  boost::optional<T> value;
  ErrorPtr error;
};

// The client completes every call by its own call timeout (see MakeClientOptions), so this bound
// is only a guard against waiting for ever should that promise ever be broken.
constexpr std::chrono::seconds kLongestWait{90};

ErrorPtr NoReplyError();

template <class T>
Outcome<T> WaitForFuture(std::future<Outcome<T>> future) {
  if (future.wait_for(kLongestWait) != std::future_status::ready)
    return Outcome<T>{boost::none, NoReplyError()};
  return future.get();
}

// Makes a plain call, `call(result)`, and waits for its outcome. T is the operation's output type
// (Opax::Void for operations that return nothing).
template <class T, class Call>
Outcome<T> WaitFor(Call&& call) {
  using Result = ::Opax::AsyncResult<T, ::Opax::AsyncResultTerminateCbPolicy>;
  // Shared with the callback, which may still run after a give-up above.
  auto promise = std::make_shared<std::promise<Outcome<T>>>();
  auto future = promise->get_future();
  call(Result(typename Result::Callback(
      [promise](boost::optional<T> const& value, ErrorPtr const& error, ::Opax::Progress const&) {
        // Progress reports carry neither a value nor an error; only the final outcome counts.
        if (value || error) promise->set_value(Outcome<T>{value, error});
      })));
  return WaitForFuture(std::move(future));
}

// Starts the task form of an operation, `call(result)`, and waits for the id of the task the
// server started; the task itself goes on running on the server (follow it with FollowTask).
template <class T, class Call>
Outcome<std::string> WaitForTaskId(Call&& call) {
  using Result = ::Opax::AsyncTaskResult<T, ::Opax::AsyncTaskResultTerminateCbPolicy>;
  auto promise = std::make_shared<std::promise<Outcome<std::string>>>();
  auto future = promise->get_future();
  call(Result(typename Result::Callback(
      [promise](::Opax::TaskResult<T> const& started, ErrorPtr const& error, ::Opax::Progress const&) {
        if (started.taskId || error) promise->set_value(Outcome<std::string>{started.taskId, error});
      })));
  return WaitForFuture(std::move(future));
}

}  // namespace VmTour
