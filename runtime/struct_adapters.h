#pragma once

// The adapt functions of every generated structure. Each instantiation only lists the
// structure's fields into an array; the shared walkers in the core do the work.

#include <runtime/fields.h>

#include <opax/core/adapter/structure_walkers.h>

#include <array>
#include <list>
#include <memory>

namespace Opax {
namespace Binding {

namespace Data = ::Opax::Data;
namespace Walkers = ::Opax::Data::StructureWalkers;

template <class T>
constexpr std::size_t FieldCount() {
  return std::tuple_size<std::decay_t<decltype(Fields<T>::list)>>::value;
}

template <class T>
void ToValue(::Opax::NativeConstPtr const& source, Data::NativeToValueAdapter::Destination const& destination,
             Data::NativeToValueAdapter::Queue& queue, std::list<::Opax::BaseMessage>&) {
  using F = Fields<T>;
  auto const& native = *static_cast<T const*>(source);
  std::array<Walkers::ToValueField, FieldCount<T>()> fields{};
  std::size_t i = 0;
  ForEachField<T>([&](auto const& field) {
    using M = typename std::decay_t<decltype(field)>::Type;
    fields[i++] = {field.wire, &(native.*field.member), Data::NativeToValueAdapter::AdaptMethod<M>::Get(nullptr)};
  });
  Walkers::ToValue(F::name, F::kind, fields.data(), fields.size(), native.*F::unknown, destination, queue);
}

template <class T>
void ToNative(std::shared_ptr<Data::DataValue const> const& value, ::Opax::NativePtr const& destination,
              Data::ValueToNativeAdapter::Container& container, std::list<::Opax::BaseMessage>& messages) {
  using F = Fields<T>;
  auto& native = *static_cast<T*>(destination);
  std::array<Walkers::ToNativeField, FieldCount<T>()> fields{};
  std::size_t i = 0;
  ForEachField<T>([&](auto const& field) {
    using M = typename std::decay_t<decltype(field)>::Type;
    fields[i++] = {field.wire, &(native.*field.member), Data::ValueToNativeAdapter::AdaptMethod<M>::Get(nullptr)};
  });
  Walkers::ToNative(value, F::name, fields.data(), fields.size(), &(native.*F::unknown), container, messages);
}

template <class T>
void ToDefinition(Data::NativeToDefinitionAdapter::SrcType const&,
                  Data::NativeToDefinitionAdapter::Destination const& destination,
                  Data::NativeToDefinitionAdapter::Container& container, std::list<::Opax::BaseMessage>&) {
  using F = Fields<T>;
  std::array<Walkers::ToDefinitionField, FieldCount<T>()> fields{};
  std::size_t i = 0;
  ForEachField<T>([&](auto const& field) {
    using M = typename std::decay_t<decltype(field)>::Type;
    fields[i++] = {field.wire, Data::NativeToDefinitionAdapter::AdaptMethod<M>::Get(nullptr)};
  });
  Walkers::ToDefinition(reinterpret_cast<void const*>(&ToDefinition<T>), F::name,
                        F::kind == Data::Kind::Error ? Data::DefinitionType::Error : Data::DefinitionType::Structure,
                        fields.data(), fields.size(), F::unions.data(), F::unions.size(), destination, container);
}

}  // namespace Binding
}  // namespace Opax
