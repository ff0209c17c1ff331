#include <opax/core/provider/api_method_helper.h>

#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>

namespace Opax {
namespace Provider {
bool ApiMethodHelper::ValidateInput(std::string const& name,
                                    std::shared_ptr<Data::DataDefinition const> const& definition,
                                    std::shared_ptr<Data::DataValue const> const& input,
                                    std::shared_ptr<Core::MethodResult const>& result) {
  std::list<BaseMessage> messages;
  if (!definition || definition->Validate(input, messages)) return true;
  messages.push_back(BaseMessage::Make(MessageIds::kInvalidInput, {name}));
  result = Core::MethodResult::GetErrorInstance(
      Data::ErrorValue::GetInstance(ErrorIds::kInvalidArgument, messages));
  return false;
}

std::shared_ptr<Core::MethodResult const> ApiMethodHelper::ValidateOutput(
    std::string const& name, std::shared_ptr<Data::DataDefinition const> const& definition,
    std::shared_ptr<Data::DataValue const> const& output) {
  std::list<BaseMessage> messages;
  if (!definition || definition->Validate(output, messages)) return Core::MethodResult::GetInstance(output);
  messages.push_back(BaseMessage::Make(MessageIds::kInvalidOutput, {name}));
  return Core::MethodResult::GetErrorInstance(
      Data::ErrorValue::GetInstance(ErrorIds::kInternalServerError, messages));
}

std::shared_ptr<Core::MethodResult const> ApiMethodHelper::ValidateError(
    std::string const& name, Core::MethodDefinition::ErrorDefinitions const& errors,
    std::shared_ptr<Data::ErrorValue const> const& error) {
  std::string const errorName = error ? std::string(error->name()) : std::string();
  for (auto const& definition : errors) {
    if (!definition || definition->type() != Data::DefinitionType::Error) continue;
    if (static_cast<Data::StructDefinition const&>(*definition).name() != errorName) continue;
    std::list<BaseMessage> messages;
    if (definition->Validate(error, messages)) return Core::MethodResult::GetErrorInstance(error);
    messages.push_back(BaseMessage::Make(MessageIds::kUndeclaredError, {name, errorName}));
    return Core::MethodResult::GetErrorInstance(
        Data::ErrorValue::GetInstance(ErrorIds::kInternalServerError, messages));
  }
  std::list<BaseMessage> messages = error ? error->messages() : std::list<BaseMessage>();
  messages.push_back(BaseMessage::Make(MessageIds::kUndeclaredError, {name, errorName}));
  return Core::MethodResult::GetErrorInstance(
      Data::ErrorValue::GetInstance(ErrorIds::kInternalServerError, messages));
}

}  // namespace Provider

namespace Data {

std::shared_ptr<ErrorValue const> NativeErrorHelper::GetError(std::shared_ptr<ErrorValue const> const& error,
                                                              boost::optional<NativeError> const&,
                                                              L10n::RequestLocalizer const&) {
  return error;
}

}  // namespace Data
}  // namespace Opax
