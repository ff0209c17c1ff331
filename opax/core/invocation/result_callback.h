#pragma once

#include <opax/core/base/progress.h>
#include <opax/core/invocation/method_result.h>

#include <functional>
#include <memory>

namespace Opax {
namespace Core {

// The channel through which a provider reports an invocation's outcome: any number of progress
// reports (a null result), then exactly one final result. Callbacks may run on any thread.
class AsyncApiResultCb : public std::enable_shared_from_this<AsyncApiResultCb> {
 public:
  using Function = std::function<void(std::shared_ptr<MethodResult const> const&, Progress const&)>;
  using Continuation = std::function<void(std::shared_ptr<AsyncApiResultCb>)>;

  explicit AsyncApiResultCb(Function function) : function_(std::move(function)) {}
  // A copy of a callback made by Holding calls the callable that the original keeps in its
  // block, so it keeps that block alive; a copy of any other callback is a plain copy.
  AsyncApiResultCb(AsyncApiResultCb const& other)
      : std::enable_shared_from_this<AsyncApiResultCb>(),
        function_(other.function_),
        holder_(other.Holder()) {}
  AsyncApiResultCb& operator=(AsyncApiResultCb const& other) {
    if (this != &other) {
      std::shared_ptr<AsyncApiResultCb const> holder = other.Holder();
      function_ = other.function_;
      holder_ = std::move(holder);
    }
    return *this;
  }
  static std::shared_ptr<AsyncApiResultCb> GetInstance(Function function) {
    return std::make_shared<AsyncApiResultCb>(std::move(function));
  }
  // A callback that keeps `callable` in its own block: one allocation per call where a
  // Function too large for std::function's own room costs two.
  template <class Callable>
  static std::shared_ptr<AsyncApiResultCb> Holding(Callable callable);

  // Reports; `continuation`, when given, receives the callback to use for the next report,
  // which is this one: a task reports its progress and its end through one channel.
  void operator()(std::shared_ptr<MethodResult const> const& result, Progress const& progress,
                  Continuation&& continuation = Continuation()) {
    function_(result, progress);
    if (!continuation) return;
    std::shared_ptr<AsyncApiResultCb> self = weak_from_this().lock();
    continuation(self ? std::move(self) : std::make_shared<AsyncApiResultCb>(*this));
  }

 private:
  template <class Callable>
  struct Held;

  // The block that holds the callable that `function_` calls: this one's own (Holding), the one
  // a copy was made from, or none.
  std::shared_ptr<AsyncApiResultCb const> Holder() const {
    return holdsCallable_ ? shared_from_this() : holder_;
  }

  Function function_;
  std::shared_ptr<AsyncApiResultCb const> holder_;
  bool holdsCallable_ = false;
};

// The callable comes first among the bases, so that it is made before the function that points
// at it and outlives it.
template <class Callable>
struct AsyncApiResultCb::Held {
  struct Box {
    Callable callable;
  };
  struct Whole : Box, AsyncApiResultCb {
    explicit Whole(Callable&& made)
        : Box{std::move(made)},
          AsyncApiResultCb(Function(
              [held = &this->Box::callable](std::shared_ptr<MethodResult const> const& result,
                                            Progress const& progress) { (*held)(result, progress); })) {
      holdsCallable_ = true;
    }
  };
};

template <class Callable>
std::shared_ptr<AsyncApiResultCb> AsyncApiResultCb::Holding(Callable callable) {
  return std::make_shared<typename Held<Callable>::Whole>(std::move(callable));
}

}  // namespace Core
}  // namespace Opax
