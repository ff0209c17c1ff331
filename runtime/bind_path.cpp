#include <runtime/bind_path.h>

#include <runtime/structure_walkers.h>

#include <opax/core/data/optional_value.h>
#include <opax/core/invocation/identifiers.h>
#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>
#include <opax/core/provider/api_method_helper.h>

namespace Opax {
namespace Binding {

namespace {

std::shared_ptr<Provider::AsyncApiMethodSignal> Bind(OperationDescriptor const& op, bool task,
                                                     std::shared_ptr<L10n::Localizer> const& localizer,
                                                     Thunk thunk) {
  auto service = std::make_shared<Core::InterfaceIdentifier const>(op.service);
  auto id = Core::MethodIdentifier::GetInstance(service, task ? op.taskName() : std::string(op.name));
  auto signal = Provider::AsyncApiMethodSignal::GetInstance(
      Core::MethodDefinition::GetInstance(id, op.inputDef(), op.outputDef(), op.errorDefs()), localizer);
  signal->Connect([&op, definition = signal->definition(), thunk = std::move(thunk)](
                      std::shared_ptr<Core::AsyncActivation> const& activation,
                      std::shared_ptr<Data::DataValue const> const& value,
                      std::shared_ptr<Core::AsyncApiResultCb> const& callback) {
    thunk(Request(Completion{&op, definition, activation, callback}, value));
  });
  return signal;
}

bool Declares(Core::MethodDefinition const& definition, char const* error) {
  for (auto const& declared : definition.errorDefinitions()) {
    auto const* structure = dynamic_cast<Data::StructDefinition const*>(declared.get());
    if (structure != nullptr && structure->name() == error) return true;
  }
  return false;
}

std::shared_ptr<Data::ErrorValue const> NotImplemented(Core::MethodDefinition const& definition) {
  std::string const operation = definition.identifier()->FullName();
  bool const unsupportedDeclared = Declares(definition, ErrorIds::kUnsupported);
  auto error = Data::ErrorValue::GetInstance(unsupportedDeclared ? ErrorIds::kUnsupported : ErrorIds::kError,
                                             {BaseMessage::Make(MessageIds::kNotImplemented, {operation})});
  error->SetField("error_type",
                  std::make_shared<Data::OptionalValue const>(Data::StringValue::GetInstance("UNSUPPORTED")));
  return error;
}

}  // namespace

std::atomic<bool>& RejectUndeclaredInputFields() {
  static std::atomic<bool> reject{true};
  return reject;
}

void Completion::Progress(::Opax::Progress const& progress) const { (*callback)(nullptr, progress); }

void Completion::Error(std::shared_ptr<Data::ErrorValue const> const& error) const {
  if (error == Core::MethodResult::GetTerminationInstance()->error()) {
    return Deliver(Core::MethodResult::GetTerminationInstance());
  }
  auto localized = Data::NativeErrorHelper::GetError(
      error, Data::NativeError{std::string(error->name()), error}, activation->GetErrorRequestLocalizer());
  Deliver(Provider::ApiMethodHelper::ValidateError(definition->identifier()->name(),
                                                   definition->errorDefinitions(), localized));
}

void Completion::Result(void const* native) const {
  std::list<BaseMessage> messages;
  std::shared_ptr<Data::DataValue const> value;
  if (!Data::NativeToValueAdapter::Adapt(native, op->result->toValue(), &value, messages,
                                         activation->requestLocalizer())) {
    messages.push_back(BaseMessage::Make(MessageIds::kInvalidOutput, {definition->identifier()->name()}));
    return Deliver(Core::MethodResult::GetErrorInstance(
        Data::ErrorValue::GetInstance(ErrorIds::kInternalServerError, messages)));
  }
  Deliver(Provider::ApiMethodHelper::ValidateOutput(definition->identifier()->name(),
                                                    definition->outputDefinition(), value));
}

void Completion::Deliver(std::shared_ptr<Core::MethodResult const> const& result) const {
  (*callback)(result, ::Opax::Progress());  // the final report: no continuation
}

bool Request::Read(void* input) const {
  OperationDescriptor const& op = *completion_.op;
  std::list<BaseMessage> messages;
  bool const converted = Data::ValueToNativeAdapter::Adapt(input_, op.input->toNative(), input, messages);
  StructTable const& fields = op.inputFields();
  auto const& unknown = Walkers::UnknownFields(fields, input);
  if (converted && (!unknown || !RejectUndeclaredInputFields().load(std::memory_order_relaxed))) return true;
  // Undeclared fields are reported one by one, then "opax.invoke.invalid.input" names the operation.
  if (converted) {
    for (Data::FieldMap::Field const& field : unknown->fields()) {
      messages.push_back(
          BaseMessage::Make(MessageIds::kFieldExtra, {fields.qualifiedName, std::string(field.name())}));
    }
    messages.push_back(BaseMessage::Make(MessageIds::kInvalidInput, {op.qualified}));
  }
  completion_.Deliver(Core::MethodResult::GetErrorInstance(
      Data::ErrorValue::GetInstance(ErrorIds::kInvalidArgument, messages)));
  return false;
}

void Request::Fail(std::shared_ptr<Data::ErrorValue const> const& error) const { completion_.Error(error); }

std::shared_ptr<Provider::AsyncApiMethodSignal> BindPlain(OperationDescriptor const& op,
                                                          std::shared_ptr<L10n::Localizer> const& localizer,
                                                          Thunk thunk) {
  return Bind(op, false, localizer, std::move(thunk));
}

std::shared_ptr<Provider::AsyncApiMethodSignal> BindTask(OperationDescriptor const& op,
                                                         std::shared_ptr<L10n::Localizer> const& localizer,
                                                         Thunk thunk) {
  return Bind(op, true, localizer, std::move(thunk));
}

std::shared_ptr<Provider::AsyncApiInterface> BindService(
    char const* service, std::list<std::shared_ptr<Provider::AsyncApiMethod const>> methods) {
  return Provider::AsyncApiInterface::GetInstance(std::make_shared<Core::InterfaceIdentifier const>(service),
                                                  std::move(methods));
}

std::shared_ptr<Provider::AsyncApiInterface> BindUnsupported(
    char const* service, OperationDescriptor const* const* ops, std::size_t count,
    std::shared_ptr<L10n::Localizer> const& localizer) {
  std::list<std::shared_ptr<Provider::AsyncApiMethod const>> methods;
  for (std::size_t i = 0; i < count; ++i) {
    OperationDescriptor const& op = *ops[i];
    for (bool task : {false, true}) {
      if (!(task ? op.task : op.plain)) continue;
      // Every call gets the same answer: made once, with the signal, before the signal is shared.
      auto answer = std::make_shared<std::shared_ptr<Data::ErrorValue const>>();
      auto signal = Bind(op, task, localizer, [&op, answer](Request const& request) {
        std::unique_ptr<void, void (*)(void*)> input(op.input->make(), op.input->free);
        if (request.Read(input.get())) request.Fail(*answer);
      });
      *answer = NotImplemented(*signal->definition());
      methods.push_back(signal);
    }
  }
  return BindService(service, std::move(methods));
}

}  // namespace Binding
}  // namespace Opax
