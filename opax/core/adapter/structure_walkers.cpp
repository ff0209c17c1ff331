#include <opax/core/adapter/structure_walkers.h>

#include <cstring>

namespace Opax {
namespace Data {
namespace StructureWalkers {

void ToValue(char const* name, Kind kind, ToValueField const* fields, std::size_t count,
             std::shared_ptr<StructValue const> const& unknown, NativeToValueAdapter::Destination const& destination,
             NativeToValueAdapter::Queue& queue) {
  NativeToValueAdapter::CompoundHelper<StructValue> helper(name, destination, queue, count, unknown, kind);
  StructValue& value = helper.value();
  for (std::size_t i = 0; i < count; ++i) {
    std::shared_ptr<DataValue const>& slot = value.fields().slot(fields[i].wire);
    queue.push_back(NativeToValueAdapter::Entry{fields[i].address, fields[i].adapt, &slot});
  }
  helper.AddUnknownFields(unknown);
}

void ToNative(std::shared_ptr<DataValue const> const& value, char const* name, ToNativeField const* fields,
              std::size_t count, std::shared_ptr<StructValue const>* unknown,
              ValueToNativeAdapter::Container& container, std::list<BaseMessage>& messages) {
  ValueToNativeAdapter::CompoundHelper<StructValue> helper(value, container, messages, name);
  if (!helper.ok()) return;
  StructValue const& structure = *helper.value();
  std::size_t declaredPresent = 0;
  for (std::size_t i = 0; i < count; ++i) {
    auto const* found = structure.FindField(fields[i].wire);
    if (found == nullptr) continue;
    ++declaredPresent;
    if (*found) container.push_back(ValueToNativeAdapter::Entry{*found, fields[i].adapt, fields[i].address});
  }
  // The common case: every field of the value is a declared one, so there is nothing to keep.
  if (declaredPresent == structure.fields().size()) {
    unknown->reset();
    return;
  }
  std::vector<std::shared_ptr<DataValue const> const*> slots;
  slots.reserve(declaredPresent);
  for (std::size_t i = 0; i < count; ++i) {
    if (auto const* found = structure.FindField(fields[i].wire)) slots.push_back(found);
  }
  *unknown = FieldsOtherThan(structure, std::move(slots));
}

namespace {

std::pair<UnionCheck::Union const*, UnionCheck::Case const*> CaseOf(UnionCheck::Union const* unions,
                                                                    std::size_t count, char const* wire) {
  for (std::size_t u = 0; u < count; ++u) {
    for (std::size_t c = 0; c < unions[u].caseCount; ++c) {
      if (std::strcmp(unions[u].cases[c].wire, wire) == 0) return {&unions[u], &unions[u].cases[c]};
    }
  }
  return {nullptr, nullptr};
}

}  // namespace

void ToDefinition(void const* key, char const* name, DefinitionType type, ToDefinitionField const* fields,
                  std::size_t count, UnionCheck::Union const* unions, std::size_t unionCount,
                  NativeToDefinitionAdapter::Destination const& destination,
                  NativeToDefinitionAdapter::Container& container) {
  NativeToDefinitionAdapter::CompoundHelper<StructDefinition> helper(key, name, destination, container, type);
  if (!helper.needsFields()) return;
  for (std::size_t i = 0; i < count; ++i) {
    auto const [tag, unionCase] = CaseOf(unions, unionCount, fields[i].wire);
    if (tag == nullptr) {
      helper.AddField(fields[i].wire, fields[i].adapt);
    } else {
      helper.AddUnionCaseField(fields[i].wire, tag->tagWire, fields[i].adapt,
                               [tag = tag, unionCase = unionCase](std::string const& text) {
                                 return UnionCheck::Predicate(*tag, *unionCase, text);
                               });
    }
  }
}

}  // namespace StructureWalkers
}  // namespace Data
}  // namespace Opax
