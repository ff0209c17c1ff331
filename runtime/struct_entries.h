#pragma once

// The entries of every generated structure, written once over its field table: the adapt
// functions of the three adapters, the adapters' AddFields, and the validation step. A generated
// source names them for each of its structures with NEXAR_STRUCTURE_ENTRIES.

#include <runtime/structure_walkers.h>

namespace Opax {
namespace Binding {

template <class T>
void ToValue(NativeConstPtr const& source, Data::NativeToValueAdapter::Destination const& destination,
             Data::NativeToValueAdapter::Queue& queue, std::list<BaseMessage>& messages) {
  Walkers::ToValue(Fields<T>::Table(), source, destination, queue, messages);
}

template <class T>
void ToNative(std::shared_ptr<Data::DataValue const> const& value, NativePtr const& destination,
              Data::ValueToNativeAdapter::Container& container, std::list<BaseMessage>& messages) {
  Walkers::ToNative(Fields<T>::Table(), value, destination, container, messages);
}

template <class T>
void ToDefinition(Data::NativeToDefinitionAdapter::SrcType const&,
                  Data::NativeToDefinitionAdapter::Destination const& destination,
                  Data::NativeToDefinitionAdapter::Container& container, std::list<BaseMessage>&) {
  Walkers::ToDefinition(Fields<T>::Table(), reinterpret_cast<void const*>(&ToDefinition<T>), destination,
                        container);
}

template <class T>
bool ValidateStep(void const* object, Data::Validator::Policy policy, Data::ValidationRun& run,
                  std::list<BaseMessage>& messages) {
  return Walkers::Validate(Fields<T>::Table(), object, policy, run, messages);
}

}  // namespace Binding

namespace Data {

template <class T>
void ValueToNativeAdapter::CompoundHelper<StructValue>::AddFields(T* native) {
  Binding::Walkers::AddFields(*this, Binding::Fields<T>::Table(), native);
}

template <class T>
void NativeToDefinitionAdapter::CompoundHelper<StructDefinition>::AddFields() {
  Binding::Walkers::AddFields(*this, Binding::Fields<T>::Table());
}

}  // namespace Data
}  // namespace Opax

// The definitions of what NEXAR_STRUCTURE and NEXAR_OPERATION_INPUT declare, for structure T
// (at global scope).
#define NEXAR_STRUCTURE_ENTRIES(T)                                                                          \
  namespace Opax {                                                                                          \
  namespace Data {                                                                                          \
  NativeToValueAdapter::AdaptFunction NativeToValueAdapter::AdaptMethod<T>::Get(T const*) {                 \
    return &Binding::ToValue<T>;                                                                            \
  }                                                                                                         \
  ValueToNativeAdapter::AdaptFunction ValueToNativeAdapter::AdaptMethod<T>::Get(T const*) {                 \
    return &Binding::ToNative<T>;                                                                           \
  }                                                                                                         \
  NativeToDefinitionAdapter::AdaptFunction NativeToDefinitionAdapter::AdaptMethod<T>::Get(T const*) {       \
    return &Binding::ToDefinition<T>;                                                                       \
  }                                                                                                         \
  template <>                                                                                               \
  bool Validator::isValid<T>(T const& object, Validator::Policy policy, std::list<BaseMessage>& messages) { \
    return ValidationRun::Run(&object, &Binding::ValidateStep<T>, policy, messages);                        \
  }                                                                                                         \
  ValidationRun::Step ValidatorStep<T>::Get() { return &Binding::ValidateStep<T>; }                         \
  }                                                                                                         \
  }
