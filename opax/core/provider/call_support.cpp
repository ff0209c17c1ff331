#include <opax/core/provider/call_support.h>

#include <opax/core/data/optional_value.h>
#include <opax/core/message/message_ids.h>

namespace Opax {
namespace Binding {

std::atomic<bool>& RejectUndeclaredInputFields() {
  static std::atomic<bool> reject{true};
  return reject;
}

std::shared_ptr<Core::AsyncActivation> ChooseActivation(std::shared_ptr<Core::AsyncActivation> const& given,
                                                        Stub::AsyncApiStub const& stub) {
  if (given) return given;
  return stub.defaultActivation() ? stub.defaultActivation()->Dup() : std::make_shared<Core::AsyncActivation>();
}

void Completion::Progress(::Opax::Progress const& progress) const { (*callback)(nullptr, progress); }

void Completion::Error(std::shared_ptr<Data::ErrorValue const> const& error) const {
  if (error == Core::MethodResult::GetTerminationInstance()->error()) {
    return Deliver(Core::MethodResult::GetTerminationInstance());
  }
  auto localized = Data::NativeErrorHelper::GetError(error, Data::NativeError{error->name(), error},
                                                     activation->GetErrorRequestLocalizer());
  Deliver(Provider::ApiMethodHelper::ValidateError(definition->identifier()->name(), definition->errorDefinitions(),
                                                   localized));
}

void Completion::Deliver(std::shared_ptr<Core::MethodResult const> const& result) const {
  (*callback)(result, ::Opax::Progress(), [](std::shared_ptr<Core::AsyncApiResultCb>) {});
}

bool RefuseInput(std::list<BaseMessage>& messages, std::shared_ptr<Data::StructValue const> const& unknown,
                 char const* inputType, char const* operation, Completion const& completion) {
  if (unknown) {
    for (Data::FieldMap::Field const& field : unknown->fields()) {
      messages.push_back(BaseMessage::Make(MessageIds::kFieldExtra, {inputType, field.name()}));
    }
    messages.push_back(BaseMessage::Make(MessageIds::kInvalidInput, {operation}));
  }
  completion.Deliver(Core::MethodResult::GetErrorInstance(Data::ErrorValue::GetInstance(kInvalidArgument, messages)));
  return true;
}

std::shared_ptr<Data::ErrorValue const> NotImplemented(char const* operation, bool unsupportedDeclared) {
  auto error = Data::ErrorValue::GetInstance(
      unsupportedDeclared ? "com.quarn.opax.std.errors.unsupported" : "com.quarn.opax.std.errors.error",
      {BaseMessage::Make(MessageIds::kNotImplemented, {operation})});
  error->SetField("error_type", std::make_shared<Data::OptionalValue const>(
                                    Data::StringValue::GetInstance("UNSUPPORTED")));
  return error;
}

std::shared_ptr<Provider::AsyncApiMethodSignal> NewSignal(std::shared_ptr<Core::MethodIdentifier const> const& id,
                                                          std::shared_ptr<Data::DataDefinition const> const& input,
                                                          std::shared_ptr<Data::DataDefinition const> const& output,
                                                          std::list<std::shared_ptr<Data::DataDefinition const>> const& errors,
                                                          std::shared_ptr<L10n::Localizer> const& localizer) {
  return Provider::AsyncApiMethodSignal::GetInstance(Core::MethodDefinition::GetInstance(id, input, output, errors),
                                                     localizer);
}

}  // namespace Binding
}  // namespace Opax
