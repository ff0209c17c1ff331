#include <runtime/operation.h>

namespace Opax {
namespace Binding {

namespace {

std::shared_ptr<Data::DataDefinition const> DefinitionOf(TypeEntry const& type) {
  return Data::NativeToDefinitionAdapter::DefinitionOf(type.toDefinition());
}

bool RoundTrip(TypeEntry const& type, std::shared_ptr<Data::DataValue const> const& value,
               std::shared_ptr<Data::DataValue const>& out, std::list<BaseMessage>& messages) {
  std::unique_ptr<void, void (*)(void*)> native(type.make(), type.free);
  return Data::ValueToNativeAdapter::Adapt(value, type.toNative(), native.get(), messages) &&
         Data::NativeToValueAdapter::Adapt(native.get(), type.toValue(), &out, messages,
                                           L10n::RequestLocalizer());
}

}  // namespace

namespace internal {

Identifiers MakeIdentifiers(OperationDescriptor const& op) {
  auto const service = Data::internal::MakeImmortal<Core::InterfaceIdentifier>(op.service);
  return {&op, Data::internal::MakeImmortal<Core::MethodIdentifier>(service, op.name),
          Data::internal::MakeImmortal<Core::MethodIdentifier>(service, op.taskName())};
}

}  // namespace internal

std::shared_ptr<Core::MethodIdentifier const> OperationDescriptor::method(bool taskForm) const {
  if (identifiers != nullptr) {
    internal::Identifiers const& ids = identifiers(*this);
    // An Input type shared by several descriptors (tests do that) keeps only the first's.
    if (ids.op == this) return taskForm ? ids.task : ids.plain;
  }
  auto owner = std::make_shared<Core::InterfaceIdentifier const>(service);
  return Core::MethodIdentifier::GetInstance(owner, taskForm ? taskName() : std::string(name));
}

std::shared_ptr<Data::DataDefinition const> OperationDescriptor::inputDef() const {
  return DefinitionOf(*input);
}

std::shared_ptr<Data::DataDefinition const> OperationDescriptor::outputDef() const {
  return DefinitionOf(*result);
}

std::list<std::shared_ptr<Data::DataDefinition const>> OperationDescriptor::errorDefs() const {
  std::list<std::shared_ptr<Data::DataDefinition const>> definitions;
  for (std::size_t i = 0; i < errorCount; ++i) definitions.push_back(DefinitionOf(*errors[i]));
  return definitions;
}

bool OperationDescriptor::inputRoundTrip(std::shared_ptr<Data::DataValue const> const& value,
                                         std::shared_ptr<Data::DataValue const>& out,
                                         std::list<BaseMessage>& messages) const {
  return RoundTrip(*input, value, out, messages);
}

bool OperationDescriptor::outputRoundTrip(std::shared_ptr<Data::DataValue const> const& value,
                                          std::shared_ptr<Data::DataValue const>& out,
                                          std::list<BaseMessage>& messages) const {
  return RoundTrip(*result, value, out, messages);
}

}  // namespace Binding
}  // namespace Opax
