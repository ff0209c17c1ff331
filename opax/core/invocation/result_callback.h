#pragma once

#include <opax/core/base/progress.h>
#include <opax/core/invocation/method_result.h>

#include <functional>
#include <memory>

namespace Opax {
namespace Core {

// The channel through which a provider reports an invocation's outcome: any number of progress
// reports (a null result), then exactly one final result. Callbacks may run on any thread.
class AsyncApiResultCb {
 public:
  using Function = std::function<void(std::shared_ptr<MethodResult const> const&, Progress const&)>;
  using Continuation = std::function<void(std::shared_ptr<AsyncApiResultCb>)>;

  explicit AsyncApiResultCb(Function function) : function_(std::move(function)) {}
  static std::shared_ptr<AsyncApiResultCb> GetInstance(Function function) {
    return std::make_shared<AsyncApiResultCb>(std::move(function));
  }

  // Reports; `continuation`, when given, receives the callback to use for the next report,
  // which is this one: a task reports its progress and its end through one channel.
  void operator()(std::shared_ptr<MethodResult const> const& result, Progress const& progress,
                  Continuation&& continuation = Continuation()) {
    function_(result, progress);
    if (continuation) continuation(std::make_shared<AsyncApiResultCb>(function_));
  }

 private:
  Function function_;
};

}  // namespace Core
}  // namespace Opax
