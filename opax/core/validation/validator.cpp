#include <opax/core/validation/validator.h>

#include <opax/core/base/enum_table.h>
#include <opax/core/base/reused_container.h>
#include <opax/core/data/optional_value.h>
#include <opax/core/definition/data_definition.h>
#include <opax/core/message/message_ids.h>

#include <algorithm>

namespace Opax {
namespace Data {
namespace UnionCheck {
namespace {

bool Active(Case const& field, int tag) {
  return tag >= 0 && tag < 64 && ((field.activeMask >> tag) & 1u) != 0;
}

// One case field against the tag; false (with its message) when the field breaks the rule.
bool CheckCase(void const* object, Case const& field, int tag, char const* structure,
               std::list<BaseMessage>& messages) {
  bool const set = field.isSet(object);
  bool const active = Active(field, tag);
  if (field.required && active && !set) {
    messages.push_back(BaseMessage::Make(MessageIds::kUnionIsNotSet, {field.member, structure}));
    return false;
  }
  if (!active && set) {
    messages.push_back(BaseMessage::Make(MessageIds::kUnionIsSet, {field.member, structure}));
    return false;
  }
  return true;
}

bool CheckOne(void const* object, Union const& tag, char const* structure, std::list<BaseMessage>& messages) {
  int const value = tag.tagValue(object);
  if (value < 0) {
    // An optional tag that is unset: no case field may be set.
    for (std::size_t i = 0; i < tag.caseCount; ++i) {
      if (tag.cases[i].isSet(object)) {
        messages.push_back(
            BaseMessage::Make(MessageIds::kUnionNoTag, {tag.tagMember, tag.cases[i].member, structure}));
        return false;
      }
    }
    return true;
  }
  for (std::size_t i = tag.caseCount; i-- > 1;) {
    if (!CheckCase(object, tag.cases[i], value, structure, messages)) return false;
  }
  if (value == tag.unknownIndex) {
    messages.push_back(BaseMessage::Make(MessageIds::kUnionMissingTag, {tag.tagWire}));
    return false;
  }
  return tag.caseCount == 0 || CheckCase(object, tag.cases[0], value, structure, messages);
}

}  // namespace

bool Check(void const* object, Union const* unions, std::size_t count, char const* structure,
           std::list<BaseMessage>& messages) {
  for (std::size_t i = 0; i < count; ++i) {
    if (!CheckOne(object, unions[i], structure, messages)) return false;
  }
  return true;
}

boost::logic::tribool Predicate(Union const& tag, Case const& field, std::string_view tagText) {
  int const index = EnumTable::Find(tag.tagValues, tagText);
  if (index < 0 || !Active(field, index)) return false;
  return field.required ? boost::logic::tribool(true) : boost::logic::tribool(boost::logic::indeterminate);
}

}  // namespace UnionCheck

bool CheckUnknownFields(StructValue const& unknown, char const* qualifiedName,
                        std::list<BaseMessage>& messages) {
  // A peer may send as many fields as the wire allows: report no more of them than a
  // validation reports faults.
  std::size_t reported = 0;
  for (FieldMap::Field const& field : unknown.fields()) {
    DataValue const* value = field.value().get();
    if (value == nullptr || value->kind() != Kind::Optional) continue;
    if (!static_cast<OptionalValue const*>(value)->isSet()) continue;
    messages.push_back(
        BaseMessage::Make(MessageIds::kFieldExtra, {qualifiedName, std::string(field.name())}));
    if (++reported == DataDefinition::kMaxMessages) break;
  }
  return reported == 0;
}

bool ValidationRun::Run(void const* object, Step step, Validator::Policy policy,
                        std::list<BaseMessage>& messages) {
  ReusedContainer<Items> pending;
  ValidationRun run(pending.get());
  run.Queue(object, step);
  while (!run.pending_.empty()) {
    Item const item = run.pending_.back();
    run.pending_.pop_back();
    if (!item.step(item.object, policy, run, messages)) return false;
  }
  return true;
}

void ValidationRun::Items::trim() {
  // A deep structure's run leaves a large buffer; the thread keeps only an ordinary one.
  constexpr std::size_t kKept = 256;
  if (capacity() > kKept) Items().swap(*this);
}

}  // namespace Data
}  // namespace Opax
