#include <opax/core/data/list_value.h>

#include <opax/core/data/internal/release.h>
#include <opax/core/message/message_ids.h>

namespace Opax {
namespace Data {

ListValue::~ListValue() {
  for (auto& value : values_) internal::Release(std::move(value));
}

std::shared_ptr<ListValue> ListValue::GetInstance(Kind elementKind, internal::ValueArena* arena) {
  if (elementKind == Kind::String) return ListValueString::GetInstance(arena);
  if (elementKind == Kind::Integer) return ListValueLong::GetInstance(arena);
  return internal::MakeValue<ListValue>(arena, nullptr, elementKind);
}

bool ListValue::Append(std::shared_ptr<DataValue const> value, std::list<BaseMessage>& messages) {
  Kind const actual = value ? value->kind() : Kind::Void;
  bool const fits =
      value && (actual == elementKind_ || (elementKind_ == Kind::Structure && actual == Kind::Error));
  if (!fits) {
    messages.push_back(
        BaseMessage::Make(MessageIds::kListElementKind, {KindName(elementKind_), KindName(actual)}));
    return false;
  }
  values_.push_back(std::move(value));
  return true;
}

}  // namespace Data
}  // namespace Opax
