#pragma once

// The adapt functions of every generated structure, written once over Fields<T>. A generated
// structure's AdaptMethod entries return the addresses of these instantiations.

#include <runtime/fields.h>

#include <list>
#include <memory>
#include <string>

namespace Opax {
namespace Binding {

namespace Data = ::Opax::Data;

template <class T>
void ToValue(::Opax::NativeConstPtr const& source, Data::NativeToValueAdapter::Destination const& destination,
             Data::NativeToValueAdapter::Queue& queue, std::list<::Opax::BaseMessage>&) {
  using F = Fields<T>;
  auto const& native = *static_cast<T const*>(source);
  auto const& unknown = native.*F::unknown;
  Data::NativeToValueAdapter::CompoundHelper<Data::StructValue> helper(F::name, destination, queue,
                                                                      F::wireNames.size(), unknown, F::kind);
  ForEachField<T>([&](auto const& field) { helper.AddField(field.wire, &(native.*field.member)); });
  helper.AddUnknownFields(unknown);
}

template <class T>
void ToNative(std::shared_ptr<Data::DataValue const> const& value, ::Opax::NativePtr const& destination,
              Data::ValueToNativeAdapter::Container& container, std::list<::Opax::BaseMessage>& messages) {
  using F = Fields<T>;
  auto& native = *static_cast<T*>(destination);
  Data::ValueToNativeAdapter::CompoundHelper<Data::StructValue> helper(value, container, messages, F::name);
  if (!helper.ok()) return;
  ForEachField<T>([&](auto const& field) { helper.AddField(field.wire, &(native.*field.member)); });
  native.*F::unknown = helper.UnknownFields(F::wireNames.data(), F::wireNames.size());
}

// The union case of a field, by wire name; null for fields outside every union.
template <class T>
std::pair<Data::UnionCheck::Union const*, Data::UnionCheck::Case const*> CaseOf(char const* wire) {
  for (auto const& tag : Fields<T>::unions) {
    for (std::size_t i = 0; i < tag.caseCount; ++i) {
      if (std::string(tag.cases[i].wire) == wire) return {&tag, &tag.cases[i]};
    }
  }
  return {nullptr, nullptr};
}

template <class T>
void ToDefinition(Data::NativeToDefinitionAdapter::SrcType const&,
                  Data::NativeToDefinitionAdapter::Destination const& destination,
                  Data::NativeToDefinitionAdapter::Container& container, std::list<::Opax::BaseMessage>&) {
  using F = Fields<T>;
  Data::NativeToDefinitionAdapter::CompoundHelper<Data::StructDefinition> helper(
      reinterpret_cast<void const*>(&ToDefinition<T>), F::name, destination, container,
      F::kind == Data::Kind::Error ? Data::DefinitionType::Error : Data::DefinitionType::Structure);
  if (!helper.needsFields()) return;
  ForEachField<T>([&](auto const& field) {
    using M = typename std::decay_t<decltype(field)>::Type;
    auto [tag, unionCase] = CaseOf<T>(field.wire);
    if (tag == nullptr) {
      helper.template AddField<M>(field.wire);
    } else {
      helper.template AddUnionCaseField<M>(field.wire, tag->tagWire, [tag = tag, unionCase = unionCase](std::string const& text) {
        return Data::UnionCheck::Predicate(*tag, *unionCase, text);
      });
    }
  });
}

}  // namespace Binding
}  // namespace Opax
