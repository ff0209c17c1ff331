#include <opax/core/data/compound_value.h>

#include <opax/core/data/internal/release.h>
#include <opax/core/data/list_value.h>
#include <opax/core/message/message_ids.h>

namespace Opax {
namespace Data {
namespace {

template <class V>
std::shared_ptr<V> MakeWithRoom(StaticName name, std::size_t fieldCount, internal::ValueArena* arena) {
  internal::TrailingRoom room{fieldCount * sizeof(FieldMap::Field)};
  auto value = internal::MakeValue<V>(arena, &room, Name(name));
  value->fields().adopt(room.at, fieldCount);
  return value;
}

}  // namespace

std::shared_ptr<StructValue> StructValue::Make(StaticName name, std::size_t fieldCount,
                                               internal::ValueArena* arena) {
  return MakeWithRoom<StructValue>(name, fieldCount, arena);
}

std::shared_ptr<ErrorValue> ErrorValue::Make(StaticName name, std::size_t fieldCount,
                                             internal::ValueArena* arena) {
  return MakeWithRoom<ErrorValue>(name, fieldCount, arena);
}

CompoundValue::~CompoundValue() {
  fields_.DrainValues([](std::shared_ptr<DataValue const>&& child) { internal::Release(std::move(child)); });
}

bool CompoundValue::GetField(std::string_view name, std::shared_ptr<DataValue const>& value,
                             std::list<BaseMessage>& messages) const {
  if (auto const* found = fields_.find(name)) {
    value = *found;
    return true;
  }
  messages.push_back(BaseMessage::Make(
      MessageIds::kFieldMissing, {std::string(name), std::string(name_.view()), std::string(name_.view())}));
  return false;
}

StructValue const* StructValue::Cast(DataValue const* value) {
  if (value == nullptr) return nullptr;
  if (value->kind() != Kind::Structure && value->kind() != Kind::Error) return nullptr;
  return static_cast<StructValue const*>(value);
}

std::shared_ptr<ErrorValue> ErrorValue::GetInstance(std::string_view name,
                                                    std::list<BaseMessage> const& messages) {
  auto error = GetInstance(name);
  auto list = std::make_shared<ListValue>(Kind::Structure);
  list->values().reserve(messages.size());
  for (BaseMessage const& message : messages) {
    auto entry = StructValue::GetInstance(StaticName(LocalizableMessageFields::kTypeName));
    entry->fields().reserve(3);
    entry->SetField(StaticName(LocalizableMessageFields::kId), DataValue::Create(message.id()));
    entry->SetField(StaticName(LocalizableMessageFields::kDefaultMessage),
                    DataValue::Create(message.defaultMessage()));
    auto args = ListValueString::GetInstance();
    args->Store(message.args());
    entry->SetField(StaticName(LocalizableMessageFields::kArgs), std::move(args));
    list->values().push_back(std::move(entry));
  }
  error->SetField(StaticName(LocalizableMessageFields::kMessages), std::move(list));
  return error;
}

std::list<BaseMessage> ErrorValue::messages() const {
  std::list<BaseMessage> result;
  std::list<BaseMessage> ignored;
  auto const* list_field = FindField(LocalizableMessageFields::kMessages);
  if (list_field == nullptr || !*list_field || (*list_field)->kind() != Kind::List) return result;
  auto const& list = static_cast<ListValue const&>(**list_field);
  for (std::size_t i = 0; i < list.size(); ++i) {
    std::shared_ptr<DataValue const> element = list.element(i);
    StructValue const* entry = StructValue::Cast(element.get());
    if (entry == nullptr) continue;
    std::string id;
    std::string text;
    std::vector<std::string> args;
    auto const* id_field = entry->FindField(LocalizableMessageFields::kId);
    auto const* text_field = entry->FindField(LocalizableMessageFields::kDefaultMessage);
    if (id_field == nullptr || !DataValue::ToPrimitive(*id_field, id, ignored)) continue;
    if (text_field != nullptr) DataValue::ToPrimitive(*text_field, text, ignored);
    if (auto const* args_field = entry->FindField(LocalizableMessageFields::kArgs)) {
      if (*args_field && (*args_field)->kind() == Kind::List) {
        auto const& arg_list = static_cast<ListValue const&>(**args_field);
        for (std::size_t k = 0; k < arg_list.size(); ++k) {
          std::string arg;
          if (DataValue::Value(arg_list.element(k), arg, ignored)) args.push_back(std::move(arg));
        }
      }
    }
    result.emplace_back(std::move(id), std::move(text), std::move(args));
  }
  return result;
}

}  // namespace Data
}  // namespace Opax
