#pragma once

// For tests: a generated stub's outcome, waited for. The in-process provider may answer on the
// calling thread, the simulator's services answer on its state thread and a network client on its
// own, so a test waits on a future either way, bounded so that a service that never answers
// fails the test instead of hanging it.

#include <opax/core/data/compound_value.h>
#include <opax/core/invocation/async_result.h>

#include <boost/optional.hpp>

#include <chrono>
#include <future>
#include <memory>
#include <string>

namespace Sim {
namespace Testing {

constexpr std::chrono::seconds kReplyTimeout{10};

using ErrorPtr = std::shared_ptr<::Opax::Data::ErrorValue const>;

template <class T>
struct Reply {
  boost::optional<T> value;
  ErrorPtr error;
  // "ok", the error's short name ("not_found", from its id), or "no reply".
  std::string outcome;
};

inline std::string ShortName(ErrorPtr const& error) {
  return std::string(error->name().substr(error->name().rfind('.') + 1));
}

// Calls `start(result)` with a plain operation's result object and waits for its final outcome.
template <class T, class Start>
Reply<T> Await(Start&& start) {
  using Result = ::Opax::AsyncResult<T, ::Opax::AsyncResultTerminateCbPolicy>;
  auto promise = std::make_shared<std::promise<Reply<T>>>();
  Result result(typename Result::Callback(
      [promise](boost::optional<T> const& value, ErrorPtr const& error, ::Opax::Progress const&) {
        // The result object delivers one final outcome at most; progress carries neither.
        if (error)
          promise->set_value(Reply<T>{boost::none, error, ShortName(error)});
        else if (value)
          promise->set_value(Reply<T>{value, nullptr, "ok"});
      }));
  auto future = promise->get_future();
  start(result);
  if (future.wait_for(kReplyTimeout) != std::future_status::ready)
    return Reply<T>{boost::none, nullptr, "no reply"};
  return future.get();
}

}  // namespace Testing
}  // namespace Sim
