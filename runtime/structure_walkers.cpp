#include <runtime/structure_walkers.h>

#include <cstring>

namespace Opax {
namespace Binding {
namespace Walkers {

namespace {

void const* At(void const* object, std::size_t offset) { return static_cast<char const*>(object) + offset; }
void* At(void* object, std::size_t offset) { return static_cast<char*>(object) + offset; }

std::pair<Data::UnionCheck::Union const*, Data::UnionCheck::Case const*> CaseOf(StructTable const& table,
                                                                                char const* wire) {
  for (std::size_t u = 0; u < table.unionCount; ++u) {
    auto const& candidate = table.unions[u];
    for (std::size_t c = 0; c < candidate.caseCount; ++c) {
      if (std::strcmp(candidate.cases[c].wire, wire) == 0) return {&candidate, &candidate.cases[c]};
    }
  }
  return {nullptr, nullptr};
}

// An empty required structure: fails, without a message, when its turn comes.
bool FailEmpty(void const*, Data::Validator::Policy, Data::ValidationRun&, std::list<BaseMessage>&) {
  return false;
}

}  // namespace

std::shared_ptr<Data::StructValue const> const& UnknownFields(StructTable const& table, void const* native) {
  return *static_cast<std::shared_ptr<Data::StructValue const> const*>(At(native, table.unknownOffset));
}

void AddFields(Data::NativeToValueAdapter::CompoundHelper<Data::StructValue>& helper,
               StructTable const& table, void const* native, std::list<BaseMessage>& messages) {
  if (table.namesDistinct && helper.value().fields().empty()) {
    helper.AssignNames(table.wireNames.get(), table.byName.get(), table.fieldCount);
    // Leaves are converted here and now; only fields that may hold structures wait in the queue,
    // so that nesting never recurses.
    for (std::size_t i = 0; i < table.fieldCount; ++i) {
      FieldEntry const& field = table.fields[i];
      if (field.type.plainLeaf) {
        helper.ConvertField(i, At(native, field.offset), field.type.toValue, messages);
      } else {
        helper.QueueField(i, At(native, field.offset), field.type.toValue);
      }
    }
  } else {
    for (std::size_t i = 0; i < table.fieldCount; ++i) {
      FieldEntry const& field = table.fields[i];
      helper.AddField(table.wireNames[i], At(native, field.offset), field.type.toValue);
    }
  }
  helper.AddUnknownFields(UnknownFields(table, native));
}

void AddFields(Data::ValueToNativeAdapter::CompoundHelper<Data::StructValue>& helper,
               StructTable const& table, void* native) {
  // As in the other direction, leaves are read at once and only fields that may hold structures
  // wait in the queue.
  for (std::size_t i = 0; i < table.fieldCount; ++i) {
    FieldEntry const& field = table.fields[i];
    if (field.type.plainLeaf) {
      helper.ConvertField(i, table.wireNames[i], At(native, field.offset), field.type.toNative);
    } else {
      helper.AddField(i, table.wireNames[i], At(native, field.offset), field.type.toNative);
    }
  }
  if (!helper.ok()) return;
  *static_cast<std::shared_ptr<Data::StructValue const>*>(At(native, table.unknownOffset)) =
      helper.UnknownFields([&table](std::size_t i) { return table.fields[i].wire; }, table.fieldCount);
}

void AddFields(Data::NativeToDefinitionAdapter::CompoundHelper<Data::StructDefinition>& helper,
               StructTable const& table) {
  for (std::size_t i = 0; i < table.fieldCount; ++i) {
    FieldEntry const& field = table.fields[i];
    auto const [tag, unionCase] = CaseOf(table, field.wire);
    if (tag == nullptr) {
      helper.AddField(field.wire, field.type.toDefinition);
    } else {
      helper.AddUnionCaseField(field.wire, tag->tagWire, field.type.toDefinition,
                               [tag = tag, unionCase = unionCase](std::string_view text) {
                                 return Data::UnionCheck::Predicate(*tag, *unionCase, text);
                               });
    }
  }
}

void ToValue(StructTable const& table, void const* native,
             Data::NativeToValueAdapter::Destination const& destination,
             Data::NativeToValueAdapter::Queue& queue, std::list<BaseMessage>& messages) {
  auto const& unknown = UnknownFields(table, native);
  Data::NativeToValueAdapter::CompoundHelper<Data::StructValue> helper(table.typeName, destination, queue,
                                                                       table.fieldCount, unknown, table.kind);
  AddFields(helper, table, native, messages);
}

void ToNative(StructTable const& table, std::shared_ptr<Data::DataValue const> const& value, void* native,
              Data::ValueToNativeAdapter::Container& container, std::list<BaseMessage>& messages) {
  Data::ValueToNativeAdapter::CompoundHelper<Data::StructValue> helper(value, container, messages,
                                                                       table.name);
  if (!helper.ok()) return;
  AddFields(helper, table, native);
}

void ToDefinition(StructTable const& table, void const* key,
                  Data::NativeToDefinitionAdapter::Destination const& destination,
                  Data::NativeToDefinitionAdapter::Container& container) {
  Data::NativeToDefinitionAdapter::CompoundHelper<Data::StructDefinition> helper(
      key, table.name, destination, container,
      table.kind == Data::Kind::Error ? Data::DefinitionType::Error : Data::DefinitionType::Structure);
  if (helper.needsFields()) AddFields(helper, table);
}

bool Validate(StructTable const& table, void const* native, Data::Validator::Policy policy,
              Data::ValidationRun& run, std::list<BaseMessage>& messages) {
  auto const& unknown = UnknownFields(table, native);
  if (policy == Data::Validator::STRICT && unknown && !unknown->fields().empty()) {
    // Deliberately decisive either way: a strict check that finds only unknown fields that are
    // unset accepts the object without looking further.
    return Data::CheckUnknownFields(*unknown, table.qualifiedName, messages);
  }
  if (!Data::UnionCheck::Check(native, table.unions, table.unionCount, table.name, messages)) return false;
  // Queued from the last field to the first: the run takes the last queued first, so the nested
  // checks run in field order.
  auto const queue = [&](std::size_t i) {
    FieldType const& type = table.fields[i].type;
    if (type.nested == nullptr) return;
    void const* nested = type.nested(At(native, table.fields[i].offset));
    if (type.nestedRequired) {
      run.Queue(nested, nested != nullptr ? type.nestedStep : &FailEmpty);
    } else if (table.isInput && nested != nullptr) {
      run.Queue(nested, type.nestedStep);
    }
  };
  if (table.nestedBeyondMask) {
    for (std::size_t i = table.fieldCount; i-- > 64;) queue(i);
  }
  for (std::uint64_t mask = table.nestedMask; mask != 0;
       mask &= ~(std::uint64_t{1} << (63 - __builtin_clzll(mask)))) {
    queue(static_cast<std::size_t>(63 - __builtin_clzll(mask)));
  }
  return true;
}

}  // namespace Walkers
}  // namespace Binding
}  // namespace Opax
