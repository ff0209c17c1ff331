#pragma once

// The bodies that every generated structure's adapt functions share. A structure's entry only
// lists its fields (wire name, address or type, adapt function) into a small array and calls
// one of these; the loops, the helpers and the union lookups live here once.

#include <opax/core/adapter/native_to_definition_adapter.h>
#include <opax/core/adapter/native_to_value_adapter.h>
#include <opax/core/adapter/value_to_native_adapter.h>
#include <opax/core/validation/validator.h>

namespace Opax {
namespace Data {
namespace StructureWalkers {

struct ToValueField {
  char const* wire;
  NativeConstPtr address;
  NativeToValueAdapter::AdaptFunction adapt;
};

struct ToNativeField {
  char const* wire;
  NativePtr address;
  ValueToNativeAdapter::AdaptFunction adapt;
};

struct ToDefinitionField {
  char const* wire;
  NativeToDefinitionAdapter::AdaptFunction adapt;
};

// Makes the structure (or error) value named `name`, lists the fields, then the retained unknown ones.
void ToValue(char const* name, Kind kind, ToValueField const* fields, std::size_t count,
             std::shared_ptr<StructValue const> const& unknown, NativeToValueAdapter::Destination const& destination,
             NativeToValueAdapter::Queue& queue);

// Checks that `value` is a structure, queues the declared fields it carries, and returns through
// `unknown` the fields it carries that are not declared (null when none).
void ToNative(std::shared_ptr<DataValue const> const& value, char const* name, ToNativeField const* fields,
              std::size_t count, std::shared_ptr<StructValue const>* unknown,
              ValueToNativeAdapter::Container& container, std::list<BaseMessage>& messages);

// Describes the structure keyed by `key` (shared when already described, a reference when met
// inside itself); fields that belong to a union case get a UnionCaseDefinition from `unions`.
void ToDefinition(void const* key, char const* name, DefinitionType type, ToDefinitionField const* fields,
                  std::size_t count, UnionCheck::Union const* unions, std::size_t unionCount,
                  NativeToDefinitionAdapter::Destination const& destination,
                  NativeToDefinitionAdapter::Container& container);

}  // namespace StructureWalkers
}  // namespace Data
}  // namespace Opax
