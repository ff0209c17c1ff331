#pragma once

// The parts of the generated call path that do not depend on an operation's types: the
// activation a stub call uses, the delivery of an implementation's outcome, and the refusal
// of inputs. Generated stubs and binders reach them through runtime/service_binding.h.

#include <opax/core/adapter/native_to_value_adapter.h>
#include <opax/core/invocation/api_stub.h>
#include <opax/core/invocation/async_result.h>
#include <opax/core/provider/api_interface.h>
#include <opax/core/provider/api_method_helper.h>

#include <atomic>
#include <list>
#include <memory>
#include <string>

namespace Opax {
namespace Binding {

constexpr char kInvalidArgument[] = "com.quarn.opax.std.errors.invalid_argument";
// The plain reply's conversion failure names its error without the standard prefix; clients
// that match on names rely on the difference, so it stays.
constexpr char kShortInvalidArgument[] = "invalid_argument";

// Whether servers refuse inputs carrying fields that the operation does not declare (on by
// default; a server may turn it off for peers that send extra fields).
std::atomic<bool>& RejectUndeclaredInputFields();

// The caller's activation, or a copy of the stub's default when the caller gave none.
std::shared_ptr<::Opax::Core::AsyncActivation> ChooseActivation(
    std::shared_ptr<::Opax::Core::AsyncActivation> const& given, ::Opax::Stub::AsyncApiStub const& stub);

// What the binder needs to deliver an implementation's outcome: the operation's definition,
// the call's activation and the runtime's callback.
struct Completion {
  std::shared_ptr<::Opax::Core::MethodDefinition const> definition;
  std::shared_ptr<::Opax::Core::AsyncActivation> activation;
  std::shared_ptr<::Opax::Core::AsyncApiResultCb> callback;

  void Progress(::Opax::Progress const& progress) const;
  void Error(std::shared_ptr<::Opax::Data::ErrorValue const> const& error) const;
  template <class R>
  void Result(R const& result) const {
    std::list<::Opax::BaseMessage> messages;
    std::shared_ptr<::Opax::Data::DataValue const> value;
    if (!::Opax::Data::NativeToValueAdapter::Adapt(result, value, messages, activation->requestLocalizer())) {
      messages.push_back(::Opax::BaseMessage::Make("opax.invoke.invalid.output", {definition->identifier()->name()}));
      return Deliver(::Opax::Core::MethodResult::GetErrorInstance(
          ::Opax::Data::ErrorValue::GetInstance("com.quarn.opax.std.errors.internal_server_error", messages)));
    }
    Deliver(::Opax::Provider::ApiMethodHelper::ValidateOutput(definition->identifier()->name(),
                                                              definition->outputDefinition(), value));
  }
  void Deliver(std::shared_ptr<::Opax::Core::MethodResult const> const& result) const;
};

// Answers a call whose input could not be converted (the conversion's messages) or carries
// undeclared fields (each reported, then "opax.invoke.invalid.input" naming the operation).
bool RefuseInput(std::list<::Opax::BaseMessage>& messages, std::shared_ptr<::Opax::Data::StructValue const> const& unknown,
                 char const* inputType, char const* operation, Completion const& completion);

// What the binder of a service without an implementation answers every call with: the
// "unsupported" error when the operation declares it, else the generic "error" (which every
// operation declares) with its error_type saying UNSUPPORTED, so that it is delivered as declared.
std::shared_ptr<::Opax::Data::ErrorValue const> NotImplemented(char const* operation, bool unsupportedDeclared);

std::shared_ptr<::Opax::Provider::AsyncApiMethodSignal> NewSignal(
    std::shared_ptr<::Opax::Core::MethodIdentifier const> const& id,
    std::shared_ptr<::Opax::Data::DataDefinition const> const& input,
    std::shared_ptr<::Opax::Data::DataDefinition const> const& output,
    std::list<std::shared_ptr<::Opax::Data::DataDefinition const>> const& errors,
    std::shared_ptr<::Opax::L10n::Localizer> const& localizer);

}  // namespace Binding
}  // namespace Opax
