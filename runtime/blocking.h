#pragma once

// The blocking form of a call, for programs that do not want callbacks: a generated
// SyncServiceStub (<bindings/..._sync.h>, beside each service's header) makes the asynchronous
// call with a reply object that wakes the caller, which waits on its own thread. No thread is
// made per call, so the reply must come from elsewhere: a network client's I/O thread, or an
// implementation that answers before the call returns. Never call one on the thread that
// completes replies (an RpcClient's I/O thread, or inside another reply's callback): it would
// wait for ever, since the reply it waits for can never run there. In-process, the
// InProcessProvider runs the implementation on the calling thread: a reply given before it
// returns is there at once, one given later from another thread ends the wait then, and one the
// implementation means to give later on this same thread never comes. A reply object dropped
// unanswered ends the wait with the termination error.
//
// Generated code writes one line per operation, a lambda that makes the call, given to Await or
// AwaitTask: the waiting is compiled once per result type, and only where a program uses it.

#include <runtime/call_path.h>

#include <opax/core/adapter/value_to_native_adapter.h>

#include <boost/optional.hpp>

#include <condition_variable>
#include <exception>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>

namespace Opax {
namespace Binding {

// What a blocking call throws when the call failed: one of the operation's declared errors, or a
// standard one any call can get (unauthenticated, unsupported, service_unavailable, ...). Errors
// are told apart by name, as on the wire; Is<E>() and As<E>() do that for a native error type.
class CallError : public std::exception {
 public:
  explicit CallError(std::shared_ptr<Data::ErrorValue const> error);

  // The error's name only: its messages may carry arguments that a log must not repeat.
  char const* what() const noexcept override { return name_.c_str(); }
  std::string const& name() const { return name_; }
  std::shared_ptr<Data::ErrorValue const> const& error() const { return error_; }

  template <class E>
  bool Is() const {
    return name_ == Data::TypeInfo<E>::name();
  }
  // The error as native structure E, or none when it is another error (or does not convert).
  template <class E>
  boost::optional<E> As() const {
    if (!Is<E>()) return boost::none;
    E native;
    std::list<BaseMessage> messages;
    std::shared_ptr<Data::DataValue const> const value = error_;
    if (!Data::ValueToNativeAdapter::Adapt(value, native, messages)) return boost::none;
    return native;
  }

 private:
  std::shared_ptr<Data::ErrorValue const> error_;
  std::string name_;
};

namespace internal {

// Where a blocking call waits for its reply, in the caller's frame beside the value it waits for.
// The reply's callback holds a plain pointer to it (small enough for std::function to keep
// without an allocation), which is safe: the callback touches it only to deliver the final
// outcome, once, and the caller leaves only after that delivery has let go of the mutex. A mutex
// and a condition variable rather than a std::promise<R>, whose machinery would be instantiated
// once per result type of the catalogue.
class Rendezvous {
 public:
  // The reply came: with `error`, or (null) with the value stored beside.
  void Arrive(std::shared_ptr<Data::ErrorValue const> error);
  // Waits for Arrive; throws CallError with the error it brought.
  void Wait();

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  bool done_ = false;
  std::shared_ptr<Data::ErrorValue const> error_;
};

template <class T>
struct Frame {
  Rendezvous meeting;
  boost::optional<T> value;
};

std::shared_ptr<Data::ErrorValue const> NotATaskId();

}  // namespace internal

// What a blocking call of result type R returns: nothing for operations without a result.
template <class R>
using Returned = std::conditional_t<std::is_same<R, Void>::value, void, R>;

// The call a blocking method makes with its reply object: a reference to the generated method's
// lambda, so that the waiting below is compiled once per result type and each operation adds
// only its lambda.
template <class ReplyObject>
class Caller {
 public:
  template <class F>
  Caller(F const& call) : call_(&Call<F>), target_(&call) {}  // NOLINT: converts the lambda
  void operator()(ReplyObject const& reply) const { call_(target_, reply); }

 private:
  template <class F>
  static void Call(void const* target, ReplyObject const& reply) {
    (*static_cast<F const*>(target))(reply);
  }
  void (*call_)(void const*, ReplyObject const&);
  void const* target_;
};

// Makes `call` with a reply object and waits for the result; throws CallError when the call
// failed. The reply object is handed over as a temporary: a callee that drops it unanswered ends
// the wait with the termination error instead of leaving it waiting for ever. The final reply
// stores the value before it wakes the caller; a reply object delivers only one final outcome, so
// nothing reaches the frame after that.
template <class R>
Returned<R> Await(Caller<Reply<R>> const& call) {
  internal::Frame<R> frame;
  call(Reply<R>(typename Reply<R>::Callback(
      [at = &frame](boost::optional<R> const& result, std::shared_ptr<Data::ErrorValue const> const& error,
                    Progress const&) {
        if (result) {
          at->value.emplace(*result);
          at->meeting.Arrive(nullptr);
        } else if (error) {
          at->meeting.Arrive(error);
        }
      })));
  frame.meeting.Wait();
  if constexpr (!std::is_same<R, Void>::value) return std::move(*frame.value);
}

// The task form: the id of the task that the server started.
template <class R>
std::string AwaitTask(Caller<TaskReply<R>> const& call) {
  internal::Frame<std::string> frame;
  call(TaskReply<R>(typename TaskReply<R>::Callback(
      [at = &frame](TaskResult<R> const& started, std::shared_ptr<Data::ErrorValue const> const& error,
                    Progress const&) {
        if (started.taskId) {
          at->value.emplace(*started.taskId);
          at->meeting.Arrive(nullptr);
        } else if (error) {
          at->meeting.Arrive(error);
        } else if (started.value) {
          at->meeting.Arrive(internal::NotATaskId());
        }
      })));
  frame.meeting.Wait();
  return std::move(*frame.value);
}

}  // namespace Binding
}  // namespace Opax
