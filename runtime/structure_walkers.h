#pragma once

// The work of every generated structure, written once over its field table: the adapters'
// field listings, the definition with its union cases, and the check of a native object.

#include <runtime/fields.h>

namespace Opax {
namespace Binding {
namespace Walkers {

// The adapt function bodies of a structure: `native` is the object, `table` its fields.
void ToValue(StructTable const& table, void const* native,
             Data::NativeToValueAdapter::Destination const& destination,
             Data::NativeToValueAdapter::Queue& queue, std::list<BaseMessage>& messages);
void ToNative(StructTable const& table, std::shared_ptr<Data::DataValue const> const& value, void* native,
              Data::ValueToNativeAdapter::Container& container, std::list<BaseMessage>& messages);
// `key` tells one structure from another within a conversion (the address of its adapt function).
void ToDefinition(StructTable const& table, void const* key,
                  Data::NativeToDefinitionAdapter::Destination const& destination,
                  Data::NativeToDefinitionAdapter::Container& container);

// The listings that the adapters' structure helpers do for AddFields<T>.
void AddFields(Data::NativeToValueAdapter::CompoundHelper<Data::StructValue>& helper,
               StructTable const& table, void const* native, std::list<BaseMessage>& messages);
void AddFields(Data::ValueToNativeAdapter::CompoundHelper<Data::StructValue>& helper,
               StructTable const& table, void* native);
void AddFields(Data::NativeToDefinitionAdapter::CompoundHelper<Data::StructDefinition>& helper,
               StructTable const& table);

// The retained unknown fields of the structure at `native`.
std::shared_ptr<Data::StructValue const> const& UnknownFields(StructTable const& table, void const* native);

// One step of a native object's check: the strict policy's unknown fields, the union rules, then
// the nested structures queued in field order (never recursed into).
bool Validate(StructTable const& table, void const* native, Data::Validator::Policy policy,
              Data::ValidationRun& run, std::list<BaseMessage>& messages);

}  // namespace Walkers
}  // namespace Binding
}  // namespace Opax
