#include <opax/core/adapter/value_to_native_adapter.h>

#include <opax/core/base/reused_container.h>

#include <algorithm>
#include <cstring>

namespace Opax {
namespace Data {

bool ValueToNativeAdapter::Adapt(Source const& value, AdaptFunction root, NativePtr destination,
                                 std::list<BaseMessage>& messages) {
  std::size_t const before = messages.size();
  ReusedContainer<Container> reused;
  Container& container = reused.get();
  container.push_back(Entry{value, root, destination});
  while (!container.empty()) {
    Entry const entry = container.pop_back();
    entry.adapt(entry.source, entry.destination, container, messages);
  }
  return messages.size() == before;
}

namespace {

DataValue const* LookThroughOptionals(DataValue const* value) {
  while (value != nullptr && value->kind() == Kind::Optional)
    value = static_cast<OptionalValue const*>(value)->value().get();
  return value;
}

void Fail(char const* id, std::vector<std::string> args, ValueToNativeAdapter::Container& container,
          std::list<BaseMessage>& messages) {
  messages.push_back(BaseMessage::Make(id, std::move(args)));
  container.clear();
}

}  // namespace

ValueToNativeAdapter::CompoundHelper<StructValue>::CompoundHelper(Source const& value, Container& container,
                                                                  std::list<BaseMessage>& messages,
                                                                  char const* expectedType)
    : container_(container), messages_(messages), messageCount_(messages.size()) {
  DataValue const* inner = LookThroughOptionals(value.get());
  structure_ = StructValue::Cast(inner);
  if (structure_ != nullptr) return;
  if (inner != nullptr && inner->kind() == Kind::Map) {
    Fail(MessageIds::kBadCast1, {expectedType}, container, messages);
  } else {
    Fail(MessageIds::kInvalidType, {}, container, messages);
  }
}

std::shared_ptr<StructValue> FieldsOtherThan(
    StructValue const& structure, std::vector<std::shared_ptr<DataValue const> const*> declaredSlots) {
  // Declared fields are told apart by the address of their slot: no name is compared again, and
  // a value with many unknown fields costs O(n log d), not O(n d).
  std::sort(declaredSlots.begin(), declaredSlots.end());
  auto others = StructValue::GetInstance(structure.name());
  others->fields().Merge(structure.fields(), [&](FieldMap::Field const& field) {
    return !std::binary_search(declaredSlots.begin(), declaredSlots.end(), &field.value());
  });
  if (others->fields().empty()) return nullptr;
  return others;
}

DataValue const* V2N::StructureOrReport(Adapter::Source const& value, Adapter::Container& container,
                                        std::list<BaseMessage>& messages) {
  DataValue const* inner = LookThroughOptionals(value.get());
  if (StructValue::Cast(inner) == nullptr) {
    Fail(MessageIds::kInvalidType, {}, container, messages);
    return nullptr;
  }
  return inner;
}

ListValue const* V2N::ListOrReport(Adapter::Source const& value, Adapter::Container& container,
                                   std::list<BaseMessage>& messages) {
  DataValue const* inner = LookThroughOptionals(value.get());
  if (inner == nullptr || inner->kind() != Kind::List) {
    Fail(MessageIds::kInvalidType, {}, container, messages);
    return nullptr;
  }
  return static_cast<ListValue const*>(inner);
}

CompoundValue const* V2N::MapOrReport(Adapter::Source const& value, Adapter::Container& container,
                                      std::list<BaseMessage>& messages) {
  DataValue const* inner = LookThroughOptionals(value.get());
  if (inner == nullptr || (inner->kind() != Kind::Map && inner->kind() != Kind::Structure)) {
    Fail(MessageIds::kInvalidType, {}, container, messages);
    return nullptr;
  }
  return static_cast<CompoundValue const*>(inner);
}

void V2N::AdaptDynamicStructure(Adapter::Source const& value, NativePtr const& destination,
                                Adapter::Container& container, std::list<BaseMessage>& messages) {
  DataValue const* inner = StructureOrReport(value, container, messages);
  if (inner == nullptr) return;
  // Aliasing keeps the whole received value alive for as long as the field holds the structure.
  *static_cast<DynamicStructure*>(destination) =
      DynamicStructure(std::shared_ptr<StructValue const>(value, static_cast<StructValue const*>(inner)));
}

void V2N::AdaptDynamicError(Adapter::Source const& value, NativePtr const& destination,
                            Adapter::Container& container, std::list<BaseMessage>& messages) {
  DataValue const* inner = LookThroughOptionals(value.get());
  if (inner == nullptr || inner->kind() != Kind::Error) {
    Fail(MessageIds::kInvalidType, {}, container, messages);
    return;
  }
  *static_cast<DynamicError*>(destination) =
      DynamicError(std::shared_ptr<ErrorValue const>(value, static_cast<ErrorValue const*>(inner)));
}

void V2N::AdaptOperationInput(Adapter::Source const& value, NativePtr const&, Adapter::Container& container,
                              std::list<BaseMessage>& messages) {
  StructureOrReport(value, container, messages);
}

}  // namespace Data
}  // namespace Opax
