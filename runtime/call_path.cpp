#include <runtime/call_path.h>

#include <opax/core/invocation/identifiers.h>
#include <opax/core/message/error_ids.h>

namespace Opax {
namespace Binding {

namespace {

// The caller's activation, or a copy of the stub's default when the caller gave none.
std::shared_ptr<Core::AsyncActivation> ChooseActivation(Activation const& given,
                                                        Stub::AsyncApiStub const& stub) {
  if (given) return given;
  return stub.defaultActivation() ? stub.defaultActivation()->Dup()
                                  : std::make_shared<Core::AsyncActivation>();
}

}  // namespace

std::shared_ptr<Data::ErrorValue const> Invoke(OperationDescriptor const& op, bool task, void const* input,
                                               Activation const& activation, Stub::AsyncApiStub& stub,
                                               std::shared_ptr<Core::AsyncApiResultCb> const& reply) {
  std::list<BaseMessage> messages;
  std::shared_ptr<Data::DataValue const> value;
  if (!Data::NativeToValueAdapter::Adapt(input, op.input->toValue(), &value, messages,
                                         L10n::RequestLocalizer())) {
    return Data::ErrorValue::GetInstance(ErrorIds::kInvalidArgument, messages);
  }
  stub.InvokeAsync(op.method(task), value, ChooseActivation(activation, stub), reply);
  return nullptr;
}

std::shared_ptr<Data::ErrorValue const> ReplyConversionError(std::list<BaseMessage> const& messages) {
  return Data::ErrorValue::GetInstance(ErrorIds::kShortInvalidArgument, messages);
}

bool ReadTaskId(std::shared_ptr<Data::DataValue const> const& value, std::string& taskId,
                std::shared_ptr<Data::ErrorValue const>& error) {
  std::list<BaseMessage> messages;
  if (Data::DataValue::ToPrimitive(value, taskId, messages)) return true;
  error = Data::ErrorValue::GetInstance(ErrorIds::kInvalidArgument, messages);
  return false;
}

}  // namespace Binding
}  // namespace Opax
