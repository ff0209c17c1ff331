#pragma once

// A stub's call of an operation, written once: the native input to a value, the invocation
// through the stub's provider, the reply back to the result object. Only the reply's conversion
// to the result type R is typed; generated stubs gather their arguments into the Input and call
// CallPlain or CallTask with the operation's descriptor.

#include <runtime/operation.h>

#include <opax/core/invocation/api_stub.h>
#include <opax/core/invocation/async_result.h>

#include <memory>

namespace Opax {
namespace Binding {

// The parameters of every operation that generated signatures share.
using Activation = std::shared_ptr<Core::AsyncActivation>;
template <class R>
using Reply = AsyncResult<R, AsyncResultTerminateCbPolicy>;
template <class R>
using TaskReply = AsyncTaskResult<R, AsyncTaskResultTerminateCbPolicy>;

// Converts an operation's native Input into its value and invokes it (the task form when `task`)
// through `stub`; `reply` hears the outcome. An input that does not convert is not sent: its
// error comes back instead, null otherwise.
std::shared_ptr<Data::ErrorValue const> Invoke(OperationDescriptor const& op, bool task, void const* input,
                                               Activation const& activation, Stub::AsyncApiStub& stub,
                                               std::shared_ptr<Core::AsyncApiResultCb> const& reply);

// The plain reply's conversion failure names its error without the standard prefix; clients
// that match on names rely on the difference, so it stays.
std::shared_ptr<Data::ErrorValue const> ReplyConversionError(std::list<BaseMessage> const& messages);
// A task call's reply is the task id; anything else is an invalid argument.
bool ReadTaskId(std::shared_ptr<Data::DataValue const> const& value, std::string& taskId,
                std::shared_ptr<Data::ErrorValue const>& error);

template <class R, class Policy>
void CallPlain(OperationDescriptor const& op, void const* input, Activation const& activation,
               AsyncResult<R, Policy> const& result, std::shared_ptr<Stub::AsyncApiStub> const& stub) {
  auto reply = Core::AsyncApiResultCb::Holding(
      [result](std::shared_ptr<Core::MethodResult const> const& outcome, Progress const& progress) {
        if (!outcome) return result.Deliver(boost::none, nullptr, progress);
        if (!outcome->success()) return result.SetError(outcome->error());
        R native{};
        std::list<BaseMessage> messages;
        if (!Data::ValueToNativeAdapter::Adapt(outcome->output(), native, messages)) {
          return result.SetError(ReplyConversionError(messages));
        }
        result.SetResult(native);
      });
  if (auto error = Invoke(op, false, input, activation, *stub, reply)) result.SetError(error);
}

// The task form: the reply is the id of the task that the server started.
template <class R, class Policy>
void CallTask(OperationDescriptor const& op, void const* input, Activation const& activation,
              AsyncTaskResult<R, Policy> const& result, std::shared_ptr<Stub::AsyncApiStub> const& stub) {
  auto reply = Core::AsyncApiResultCb::Holding(
      [result](std::shared_ptr<Core::MethodResult const> const& outcome, Progress const& progress) {
        if (!outcome) return result.Deliver(TaskResult<R>(), nullptr, progress);
        if (!outcome->success()) return result.SetError(outcome->error());
        std::string taskId;
        std::shared_ptr<Data::ErrorValue const> error;
        if (!ReadTaskId(outcome->output(), taskId, error)) return result.SetError(error);
        result.SetTaskId(taskId);
      });
  if (auto error = Invoke(op, true, input, activation, *stub, reply)) result.SetError(error);
}

}  // namespace Binding
}  // namespace Opax
