#pragma once

// For tests: a generated stub's outcome, waited for. The services answer on the state thread,
// so a test waits on a future, bounded so that a service that never answers fails the test
// instead of hanging it.

#include "../testing/await.h"
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
  auto reply = Testing::Await<T>(start);
  return {reply.outcome, reply.value};
}

}  // namespace Sim
