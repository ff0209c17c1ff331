#pragma once

// For tests: a generated stub's outcome, waited for. The services answer on the state thread,
// so a test waits on a future, bounded so that a service that never answers fails the test
// instead of hanging it.

#include "errors.h"
#include "result.h"

#include <boost/optional.hpp>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <utility>

namespace Sim {

// "ok" with the value, or the standard error's short name ("not_found"), or "no reply".
template <class T>
std::pair<std::string, boost::optional<T>> Await(std::function<void(Result<T> const&)> const& start) {
  auto promise = std::make_shared<std::promise<std::pair<std::string, boost::optional<T>>>>();
  Result<T> result(typename Result<T>::Callback(
      [promise](boost::optional<T> const& value, ErrorPtr const& error, ::Opax::Progress const&) {
        if (error) {
          promise->set_value({error->name().substr(error->name().rfind('.') + 1), boost::none});
        } else if (value) {
          promise->set_value({"ok", value});
        }
      }));
  auto future = promise->get_future();
  start(result);
  if (future.wait_for(std::chrono::seconds(5)) != std::future_status::ready) return {"no reply", boost::none};
  return future.get();
}

}  // namespace Sim
