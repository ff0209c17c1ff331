#pragma once

// The call path of every generated operation, written once: the stub's invocation routines
// (native input to value, invoke, reply back to native) and the binder's method signals (value
// to native input, the implementation's call, its outcome back to a value). Generated code
// supplies the operation's descriptor and a one-line lambda that spreads Input into arguments.

#include <runtime/fields.h>

#include <opax/core/catalog/service_catalog.h>
#include <opax/core/provider/call_support.h>

#include <atomic>
#include <list>
#include <memory>
#include <string>

namespace Opax {
namespace Binding {

template <class Interface>
std::shared_ptr<::Opax::Core::MethodIdentifier const> MethodIdOf(std::string const& name) {
  auto service = std::make_shared<::Opax::Core::InterfaceIdentifier const>(::Opax::Data::TypeInfo<Interface>::name());
  return ::Opax::Core::MethodIdentifier::GetInstance(service, name);
}

// Converts a call's input, or reports the failure to `result` and returns null.
template <class Input, class Result>
std::shared_ptr<::Opax::Data::DataValue const> InputValue(Input const& input, Result const& result) {
  std::list<::Opax::BaseMessage> messages;
  std::shared_ptr<::Opax::Data::DataValue const> value;
  if (::Opax::Data::NativeToValueAdapter::Adapt(input, value, messages)) return value;
  result.SetError(::Opax::Data::ErrorValue::GetInstance(kInvalidArgument, messages));
  return nullptr;
}

// A stub's plain call.
template <class Interface, class Method, class R, class Policy>
void CallPlain(typename Method::Input const& input, std::shared_ptr<::Opax::Core::AsyncActivation> const& activation,
               ::Opax::AsyncResult<R, Policy> const& result, std::shared_ptr<::Opax::Stub::AsyncApiStub> const& stub) {
  auto method = MethodIdOf<Interface>(Method::methodName());
  auto value = InputValue(input, result);
  if (!value) return;
  auto callback = ::Opax::Core::AsyncApiResultCb::GetInstance(
      [result](std::shared_ptr<::Opax::Core::MethodResult const> const& reply, ::Opax::Progress const& progress) {
        if (!reply) return result.Deliver(boost::none, nullptr, progress);
        if (!reply->success()) return result.SetError(reply->error());
        R native{};
        std::list<::Opax::BaseMessage> messages;
        if (!::Opax::Data::ValueToNativeAdapter::Adapt(reply->output(), native, messages)) {
          return result.SetError(::Opax::Data::ErrorValue::GetInstance(kShortInvalidArgument, messages));
        }
        result.SetResult(native);
      });
  stub->InvokeAsync(method, value, ChooseActivation(activation, *stub), callback);
}

// A stub's task call: the reply is the id of the task the server started.
template <class Interface, class Method, class R, class Policy>
void CallTask(typename Method::Input const& input, std::shared_ptr<::Opax::Core::AsyncActivation> const& activation,
              ::Opax::AsyncTaskResult<R, Policy> const& result, std::shared_ptr<::Opax::Stub::AsyncApiStub> const& stub) {
  auto method = MethodIdOf<Interface>(Method::taskMethodName());
  auto value = InputValue(input, result);
  if (!value) return;
  auto callback = ::Opax::Core::AsyncApiResultCb::GetInstance(
      [result](std::shared_ptr<::Opax::Core::MethodResult const> const& reply, ::Opax::Progress const& progress) {
        if (!reply) return result.Deliver(::Opax::TaskResult<R>(), nullptr, progress);
        if (!reply->success()) return result.SetError(reply->error());
        std::string taskId;
        std::list<::Opax::BaseMessage> messages;
        if (!::Opax::Data::DataValue::ToPrimitive(reply->output(), taskId, messages)) {
          return result.SetError(::Opax::Data::ErrorValue::GetInstance(kInvalidArgument, messages));
        }
        result.SetTaskId(taskId);
      });
  stub->InvokeAsync(method, value, ChooseActivation(activation, *stub), callback);
}

// Converts an invocation's input to the operation's Input; on failure, or when the input
// carries undeclared fields, answers the call itself and returns false.
template <class Method>
bool ReadInput(std::shared_ptr<::Opax::Data::DataValue const> const& value, typename Method::Input& input,
               char const* operation, Completion const& completion) {
  std::list<::Opax::BaseMessage> messages;
  bool const converted = ::Opax::Data::ValueToNativeAdapter::Adapt(value, input, messages);
  auto const& unknown = input.*Fields<typename Method::Input>::unknown;
  if (converted && (!unknown || !RejectUndeclaredInputFields().load(std::memory_order_relaxed))) return true;
  return !RefuseInput(messages, converted ? unknown : nullptr, Fields<typename Method::Input>::qualifiedName, operation,
                      completion);
}

// Calls the implementation. One that throws has given up: its caller hears termination (unless
// it answered first), and the exception goes no further, so that it never unwinds through a
// provider into a client or a transport.
template <class Call, class Input, class Sink>
void CallImplementation(Call const& call, Input const& in, std::shared_ptr<::Opax::Core::AsyncActivation> const& activation,
                        Sink const& sink) {
  try {
    call(in, activation, sink);
  } catch (...) {
    sink.Terminate();
  }
}

// The method signal of a plain operation. `call(input, activation, sink)` calls the implementation.
template <class Interface, class Method, class R, class Call>
std::shared_ptr<::Opax::Provider::AsyncApiMethodSignal> BindPlain(char const* operation,
                                                                 std::shared_ptr<::Opax::L10n::Localizer> const& localizer,
                                                                 Call call) {
  auto errors = Method::errorDefs();
  auto output = Method::outputDef();
  auto input = Method::inputDef();
  auto signal = NewSignal(MethodIdOf<Interface>(Method::methodName()), input, output, errors, localizer);
  auto definition = signal->definition();
  signal->Connect([definition, call, operation](std::shared_ptr<::Opax::Core::AsyncActivation> const& activation,
                                                std::shared_ptr<::Opax::Data::DataValue const> const& value,
                                                std::shared_ptr<::Opax::Core::AsyncApiResultCb> const& callback) {
    Completion completion{definition, activation, callback};
    typename Method::Input in;
    if (!ReadInput<Method>(value, in, operation, completion)) return;
    using Sink = ::Opax::AsyncResult<R, ::Opax::AsyncResultTerminateCbPolicy>;
    CallImplementation(call, in, activation,
                       Sink(typename Sink::Callback([completion](boost::optional<R> const& result,
                                                                 std::shared_ptr<::Opax::Data::ErrorValue const> const& error,
                                                                 ::Opax::Progress const& progress) {
                         if (error) return completion.Error(error);
                         if (result) return completion.Result(*result);
                         completion.Progress(progress);
                       })));
  });
  return signal;
}

// The method signal of an operation served as a task: registered under the task name; the
// implementation reports progress and finally the task's value.
template <class Interface, class Method, class R, class Call>
std::shared_ptr<::Opax::Provider::AsyncApiMethodSignal> BindTask(char const* operation,
                                                                std::shared_ptr<::Opax::L10n::Localizer> const& localizer,
                                                                Call call) {
  auto errors = Method::errorDefs();
  auto output = Method::outputDef();
  auto input = Method::inputDef();
  auto signal = NewSignal(MethodIdOf<Interface>(Method::taskMethodName()), input, output, errors, localizer);
  auto definition = signal->definition();
  signal->Connect([definition, call, operation](std::shared_ptr<::Opax::Core::AsyncActivation> const& activation,
                                                std::shared_ptr<::Opax::Data::DataValue const> const& value,
                                                std::shared_ptr<::Opax::Core::AsyncApiResultCb> const& callback) {
    Completion completion{definition, activation, callback};
    typename Method::Input in;
    if (!ReadInput<Method>(value, in, operation, completion)) return;
    using Sink = ::Opax::AsyncTaskResult<R, ::Opax::AsyncTaskResultTerminateCbPolicy>;
    CallImplementation(call, in, activation,
                       Sink(typename Sink::Callback([completion](::Opax::TaskResult<R> const& result,
                                                                 std::shared_ptr<::Opax::Data::ErrorValue const> const& error,
                                                                 ::Opax::Progress const& progress) {
                         if (error) return completion.Error(error);
                         if (result.value) return completion.Result(*result.value);
                         // A task id ends the sink but is no outcome here: the call ended without one.
                         if (result.taskId) return completion.Deliver(::Opax::Core::MethodResult::GetTerminationInstance());
                         completion.Progress(progress);
                       })));
  });
  return signal;
}

// A value through native type T and back (the run-time catalogue's round-trip entries).
template <class T>
bool RoundTrip(std::shared_ptr<::Opax::Data::DataValue const> const& value,
               std::shared_ptr<::Opax::Data::DataValue const>& out, std::list<::Opax::BaseMessage>& messages) {
  T native{};
  return ::Opax::Data::ValueToNativeAdapter::Adapt(value, native, messages) &&
         ::Opax::Data::NativeToValueAdapter::Adapt(native, out, messages);
}

// One declared error's definition, appended; shared by every operation that declares it.
template <class E>
void AppendErrorDefinition(std::list<std::shared_ptr<::Opax::Data::DataDefinition const>>& errors) {
  errors.push_back(::Opax::Data::NativeToDefinitionAdapter::DefinitionOf<E>());
}

// A standard error structure as the error value an implementation completes with.
template <class E>
std::shared_ptr<::Opax::Data::ErrorValue const> ErrorValueOf(E const& error) {
  std::list<::Opax::BaseMessage> messages;
  std::shared_ptr<::Opax::Data::DataValue const> value;
  ::Opax::Data::NativeToValueAdapter::Adapt(error, value, messages);
  return std::dynamic_pointer_cast<::Opax::Data::ErrorValue const>(value);
}

}  // namespace Binding
}  // namespace Opax
