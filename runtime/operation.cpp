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
