#pragma once

// A binder's side of an operation, written once: the method signal with the operation's
// definitions, the input's conversion and refusal, the delivery of the implementation's outcome.
// Generated binders supply only a thunk that spreads the native Input into the implementation's
// arguments; the sinks it hands over are the only code typed by the result type R.

#include <runtime/call_path.h>
#include <runtime/operation.h>

#include <opax/core/invocation/method_result.h>
#include <opax/core/l10n/localizer.h>
#include <opax/core/provider/api_interface.h>

#include <functional>
#include <list>
#include <memory>

namespace Opax {
namespace Binding {

// Where an implementation's outcome goes: converted with the operation's result type, checked
// against its definitions, delivered to the runtime's callback.
struct Completion {
  OperationDescriptor const* op;
  std::shared_ptr<Core::MethodDefinition const> definition;
  std::shared_ptr<Core::AsyncActivation> activation;
  std::shared_ptr<Core::AsyncApiResultCb> callback;

  void Progress(::Opax::Progress const& progress) const;
  void Error(std::shared_ptr<Data::ErrorValue const> const& error) const;
  // `native` is an object of the operation's result type.
  void Result(void const* native) const;
  void Deliver(std::shared_ptr<Core::MethodResult const> const& result) const;
};

// One call, as a generated binder's thunk sees it.
class Request {
 public:
  Request(Completion completion, std::shared_ptr<Data::DataValue const> const& input)
      : completion_(std::move(completion)), input_(input) {}

  // Converts the call's input into `input`, an object of the operation's Input. An input that
  // does not convert, or that carries fields the operation does not declare, is answered here,
  // and false comes back.
  bool Read(void* input) const;
  Activation const& activation() const { return completion_.activation; }
  // Ends the call with `error`, as an implementation's sink would.
  void Fail(std::shared_ptr<Data::ErrorValue const> const& error) const;

  // The sinks handed to the implementation: a plain operation's, and a task's.
  template <class R>
  ::Opax::Binding::Reply<R> Reply() const {
    return ::Opax::Binding::Reply<R>(
        HoldCallback(), [completion = completion_](boost::optional<R> const& result,
                                                   std::shared_ptr<Data::ErrorValue const> const& error,
                                                   ::Opax::Progress const& progress) {
          if (error) return completion.Error(error);
          if (result) return completion.Result(&*result);
          completion.Progress(progress);
        });
  }
  template <class R>
  ::Opax::Binding::TaskReply<R> TaskReply() const {
    return ::Opax::Binding::TaskReply<R>(
        HoldCallback(), [completion = completion_](TaskResult<R> const& result,
                                                   std::shared_ptr<Data::ErrorValue const> const& error,
                                                   ::Opax::Progress const& progress) {
          if (error) return completion.Error(error);
          if (result.value) return completion.Result(&*result.value);
          // A task id ends the sink but is no outcome here: the call ended without one.
          if (result.taskId) return completion.Deliver(Core::MethodResult::GetTerminationInstance());
          completion.Progress(progress);
        });
  }

 private:
  Completion completion_;
  std::shared_ptr<Data::DataValue const> input_;
};

using Thunk = std::function<void(Request const&)>;
// What generated binders write for the contract's types.
using Signal = std::shared_ptr<Provider::AsyncApiMethodSignal>;
using Localizer = std::shared_ptr<L10n::Localizer>;

// The method signal of an operation's plain form, or of its task form (registered under the task
// name: the implementation reports progress and finally the task's value).
std::shared_ptr<Provider::AsyncApiMethodSignal> BindPlain(OperationDescriptor const& op,
                                                          std::shared_ptr<L10n::Localizer> const& localizer,
                                                          Thunk thunk);
std::shared_ptr<Provider::AsyncApiMethodSignal> BindTask(OperationDescriptor const& op,
                                                         std::shared_ptr<L10n::Localizer> const& localizer,
                                                         Thunk thunk);

// Calls the implementation. One that throws has given up: its caller hears termination (unless it
// answered first), and the exception goes no further, so that it never unwinds through a
// provider into a client or a transport.
template <class Sink, class Call>
void Guard(Sink const& sink, Call const& call) {
  try {
    call();
  } catch (...) {
    sink.Terminate();
  }
}

// A service's bound interface: its id and its methods.
std::shared_ptr<Provider::AsyncApiInterface> BindService(
    char const* service, std::list<std::shared_ptr<Provider::AsyncApiMethod const>> methods);

// The service with no implementation: every operation (`count` descriptors), after its input is
// checked, answers "unsupported" when it declares that error, else the generic "error" (which
// every operation declares) with its error_type saying UNSUPPORTED, so that it is delivered as
// declared.
std::shared_ptr<Provider::AsyncApiInterface> BindUnsupported(
    char const* service, OperationDescriptor const* const* ops, std::size_t count,
    std::shared_ptr<L10n::Localizer> const& localizer);

// Whether servers refuse inputs carrying fields that the operation does not declare (on by
// default; a server may turn it off for peers that send extra fields).
std::atomic<bool>& RejectUndeclaredInputFields();

// A standard error structure as the error value an implementation completes with.
template <class E>
std::shared_ptr<Data::ErrorValue const> ErrorValueOf(E const& error) {
  std::list<BaseMessage> messages;
  std::shared_ptr<Data::DataValue const> value;
  Data::NativeToValueAdapter::Adapt(error, value, messages);
  return std::dynamic_pointer_cast<Data::ErrorValue const>(value);
}

}  // namespace Binding
}  // namespace Opax
