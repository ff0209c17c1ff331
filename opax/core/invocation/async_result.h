#pragma once

#include <opax/core/base/progress.h>
#include <opax/core/data/compound_value.h>
#include <opax/core/invocation/method_result.h>

#include <boost/optional.hpp>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

namespace Opax {
namespace Data {

// A standard error as received, told apart by its name ("com.quarn.opax.std.errors.not_found").
struct NativeError {
  std::string name;
  std::shared_ptr<ErrorValue const> value;
};

}  // namespace Data

// Termination policies: a result object whose last copy is dropped before it delivered a final
// outcome delivers termination itself, so that a caller always hears the end of a call.
struct AsyncResultTerminateCbPolicy {};
struct AsyncTaskResultTerminateCbPolicy {};

// Asks a result object to keep its callback in its own shared state: one allocation, where a
// Callback too large for std::function's own room costs two.
struct HoldCallback {};

// What a task result object receives: on the client, the id of the task the server started;
// on the server, the task's final value.
template <class T>
struct TaskResult {
  boost::optional<std::string> taskId;
  boost::optional<T> value;
};

// The shared machinery of AsyncResult and AsyncTaskResult. Copies share one state; the first
// final delivery wins and later ones are ignored (an implementation that completes twice cannot
// reach the caller twice). Progress before the end passes through any number of times.
// Delivery takes no lock: one atomic exchange decides the final outcome.
template <class Slot, class Policy>
class BasicAsyncResult {
 public:
  using ErrorPtr = std::shared_ptr<Data::ErrorValue const>;
  using Callback = std::function<void(Slot const&, ErrorPtr const&, Progress const&)>;
  using NativeCallback = std::function<void(Slot const&, ErrorPtr const&,
                                            boost::optional<Data::NativeError> const&, Progress const&)>;

  // A result object without callables; delivering to it throws std::bad_function_call.
  BasicAsyncResult() : state_(std::make_shared<State>()) {}
  explicit BasicAsyncResult(Callback callback) : state_(std::make_shared<State>()) {
    state_->first = std::move(callback);
  }
  explicit BasicAsyncResult(NativeCallback callback) : state_(std::make_shared<State>()) {
    state_->second = std::move(callback);
  }
  // `callable` is called as a Callback would be.
  template <class Callable>
  BasicAsyncResult(HoldCallback, Callable callable)
      : state_(std::make_shared<typename Held<Callable>::Whole>(std::move(callable))) {}

  // A final outcome when the slot holds something or an error is given; progress otherwise.
  void Deliver(Slot const& slot, ErrorPtr const& error, Progress const& progress) const {
    if (error || HasContent(slot)) {
      Final(slot, error);
    } else if (!state_->finished.load(std::memory_order_acquire)) {
      state_->Call(slot, error, progress);
    }
  }

  void SetError(ErrorPtr const& error) const {
    Final(Slot(), error ? error : Core::MethodResult::GetTerminationInstance()->error());
  }
  void SetProgress(Progress const& progress) const {
    if (!state_->finished.load(std::memory_order_acquire)) state_->Call(Slot(), nullptr, progress);
  }
  void Terminate() const { Final(Slot(), Core::MethodResult::GetTerminationInstance()->error()); }
  bool finished() const { return state_->finished.load(std::memory_order_acquire); }
  bool hasCallback() const { return state_->first || state_->second; }

 protected:
  void Final(Slot const& slot, ErrorPtr const& error) const {
    if (state_->finished.exchange(true, std::memory_order_acq_rel)) return;
    state_->Call(slot, error, Progress());
  }

 private:
  template <class X>
  static bool HasContent(boost::optional<X> const& slot) {
    return slot.is_initialized();
  }
  template <class X>
  static bool HasContent(TaskResult<X> const& slot) {
    return slot.taskId.is_initialized() || slot.value.is_initialized();
  }

  struct State {
    Callback first;
    NativeCallback second;
    std::atomic<bool> finished{false};

    void Call(Slot const& slot, ErrorPtr const& error, Progress const& progress) const {
      if (first) {
        first(slot, error, progress);
      } else if (second) {
        boost::optional<Data::NativeError> native;
        if (error) native = Data::NativeError{std::string(error->name()), error};
        second(slot, error, native, progress);
      } else {
        throw std::bad_function_call();
      }
    }
    ~State() {
      if (!finished.load(std::memory_order_acquire) && (first || second)) {
        finished.store(true, std::memory_order_release);
        try {
          Call(Slot(), Core::MethodResult::GetTerminationInstance()->error(), Progress());
        } catch (...) {
          // A destructor must not throw; a callback that throws at termination has nobody to tell.
        }
      }
    }
  };
  // A state with its callable beside it. The callable is the first base, so that it is made
  // before the Callback that points at it and outlives the state's last call (a termination
  // from ~State).
  template <class Callable>
  struct Held {
    struct Box {
      Callable callable;
    };
    struct Whole : Box, State {
      explicit Whole(Callable&& made) : Box{std::move(made)} {
        this->first = Callback(
            [held = &this->Box::callable](Slot const& slot, ErrorPtr const& error, Progress const& progress) {
              (*held)(slot, error, progress);
            });
      }
    };
  };

  std::shared_ptr<State> state_;
};

// The result object of a plain operation with output type T (Opax::Void for none).
template <class T, class Policy = AsyncResultTerminateCbPolicy>
class AsyncResult : public BasicAsyncResult<boost::optional<T>, Policy> {
  using Base = BasicAsyncResult<boost::optional<T>, Policy>;

 public:
  using Base::Base;
  using ValueType = T;
  void SetResult(T const& value) const { this->Final(boost::optional<T>(value), nullptr); }
};

// The result object of a task operation: the client receives the task id; the server's
// implementation reports progress and finally the task's value of type T.
template <class T, class Policy = AsyncTaskResultTerminateCbPolicy>
class AsyncTaskResult : public BasicAsyncResult<TaskResult<T>, Policy> {
  using Base = BasicAsyncResult<TaskResult<T>, Policy>;

 public:
  using Base::Base;
  using ValueType = T;
  void SetTaskId(std::string const& id) const { this->Final(TaskResult<T>{id, boost::none}, nullptr); }
  void SetResult(T const& value) const { this->Final(TaskResult<T>{boost::none, value}, nullptr); }

  // A task result whose final value, error or termination goes to `plain`: how the plain form
  // of a two-form operation reaches the task form.
  static AsyncTaskResult ForwardingTo(AsyncResult<T, AsyncResultTerminateCbPolicy> const& plain) {
    return AsyncTaskResult(typename Base::Callback(
        [plain](TaskResult<T> const& slot, typename Base::ErrorPtr const& error, Progress const& progress) {
          if (error) {
            plain.SetError(error);
          } else if (slot.value) {
            plain.SetResult(*slot.value);
          } else if (!slot.taskId) {
            plain.SetProgress(progress);
          }
        }));
  }
};

}  // namespace Opax
