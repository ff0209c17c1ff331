#pragma once

#include <opax/core/adapter/native_traits.h>
#include <opax/core/adapter/work_containers.h>
#include <opax/core/base/enum_table.h>
#include <opax/core/base/native_ptr.h>
#include <opax/core/base/operation_input.h>
#include <opax/core/data/compound_value.h>
#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>
#include <opax/core/data/type_info.h>
#include <opax/core/l10n/request_localizer.h>
#include <opax/core/message/message_ids.h>

#include <list>
#include <memory>
#include <string_view>

namespace Opax {
namespace Data {

// Native objects to data values, without recursion.
//
// Each native type has one adapt function. A structure's function makes its StructValue, puts
// it into its destination slot at once, and queues one entry per field whose slot is a field of
// that value; the loop in Adapt drains the queue. Every other type (primitives, enumerations,
// optionals, lists, sets, maps) is converted on the spot by the leaf functions below: their
// nesting is bounded by the C++ type, so only structures, whose nesting the data decides, go
// through the queue.
class NativeToValueAdapter {
 public:
  using Destination = std::shared_ptr<DataValue const>*;
  using Entry = BasicAdaptEntry<NativeConstPtr, Destination, std::list<BaseMessage>, Deque>;
  using Queue = Deque<Entry>;
  using AdaptFunction = Entry::AdaptFunction;

  // AdaptMethod<T>::Get(T const*) returns T's adapt function; the argument is only a type tag.
  // Generated code specialises it for each structure.
  template <class T, class Enable = void>
  struct AdaptMethod;

  template <class T>
  class CompoundHelper;

  // Converts the object at `source` with `root` into `*destination`. Stops at the first failure:
  // false, with the messages appended.
  static bool Adapt(NativeConstPtr source, AdaptFunction root, Destination destination,
                    std::list<BaseMessage>& messages, L10n::RequestLocalizer const& requestLocalizer);

  // The typed front door: converts `native` into `out`.
  template <class T>
  static bool Adapt(T const& native, std::shared_ptr<DataValue const>& out, std::list<BaseMessage>& messages,
                    L10n::RequestLocalizer const& requestLocalizer = L10n::RequestLocalizer()) {
    return Adapt(&native, AdaptMethod<T>::Get(nullptr), &out, messages, requestLocalizer);
  }
};

// The helper that a structure's adapt function uses: it makes the value and lists the fields.
template <>
class NativeToValueAdapter::CompoundHelper<StructValue> {
 public:
  // `fieldCount` is the number of declared fields; retained unknown fields are added to it so
  // that the field map never grows after slots have been handed out. Standard errors make an
  // ErrorValue (`kind` Error).
  CompoundHelper(StaticName name, Destination const& destination, Queue& queue, std::size_t fieldCount,
                 std::shared_ptr<StructValue const> const& unknownFields = nullptr,
                 Kind kind = Kind::Structure)
      : queue_(queue) {
    std::size_t const room = fieldCount + (unknownFields ? unknownFields->fields().size() : 0);
    // The destination owns the value; the helper fills it in place while it is being made.
    std::shared_ptr<StructValue> made = kind == Kind::Error ? ErrorValue::Make(name, room, queue.arena())
                                                            : StructValue::Make(name, room, queue.arena());
    value_ = made.get();
    *destination = std::move(made);
  }

  // Reserves the field's slot and queues its conversion with `adapt`.
  void AddField(StaticName wireName, NativeConstPtr field, AdaptFunction adapt) {
    std::shared_ptr<DataValue const>& slot = value_->fields().slot(wireName);
    queue_.push_back(field, adapt, &slot);
  }
  template <class F>
  void AddField(StaticName wireName, F const* field) {
    AddField(wireName, field, AdaptMethod<F>::Get(nullptr));
  }

  // The fast way for a type whose names are known in advance: lays every declared field out at
  // once (see FieldMap::AssignNames; the value must have no field yet), then each is queued by
  // its place in declaration order.
  void AssignNames(StaticName const* names, uint32_t const* byName, std::size_t count) {
    value_->fields().AssignNames(names, byName, count);
  }
  void QueueField(std::size_t index, NativeConstPtr field, AdaptFunction adapt) {
    queue_.push_back(field, adapt, &value_->fields().at(index).value());
  }
  // Converts a field that holds no structure (see NativeTraits::IsPlainLeaf) on the spot.
  void ConvertField(std::size_t index, NativeConstPtr field, AdaptFunction adapt,
                    std::list<BaseMessage>& messages) {
    adapt(field, &value_->fields().at(index).value(), queue_, messages);
  }

  // Writes back, after the declared fields, the fields a received value had that the native
  // type does not declare.
  void AddUnknownFields(std::shared_ptr<StructValue const> const& unknownFields) {
    if (!unknownFields) return;
    value_->fields().Merge(unknownFields->fields(), [](FieldMap::Field const&) { return true; });
  }

  StructValue& value() { return *value_; }

 private:
  StructValue* value_;
  Queue& queue_;
};

// The leaf adapt functions of this adapter (see NativeTraits::LeafMethod).
// The shared text values of an enumeration's table, `count` members plus `_UNKNOWN`: bare, and
// each wrapped in a set optional.
struct EnumTexts {
  std::vector<std::shared_ptr<DataValue const>> bare;
  std::vector<std::shared_ptr<DataValue const>> set;
};
EnumTexts EnumTextValues(char const* const* values, int count);

// Those of enumeration E, made at its first use.
template <class E>
EnumTexts const& EnumTextsOf() {
  static EnumTexts const texts = EnumTextValues(E::Strings::values, EnumTraits<E>::count);
  return texts;
}

struct N2V {
  using Adapter = NativeToValueAdapter;

  template <class X>
  static void AdaptPrimitive(NativeConstPtr const& source, Adapter::Destination const& destination,
                             Adapter::Queue& queue, std::list<BaseMessage>&) {
    *destination = DataValue::Create(*static_cast<X const*>(source), queue.arena());
  }

  template <class E>
  static void AdaptEnumeration(NativeConstPtr const& source, Adapter::Destination const& destination,
                               Adapter::Queue& queue, std::list<BaseMessage>&) {
    auto const& value = *static_cast<E const*>(source);
    if (!value.unknownText().empty()) {
      *destination = StringValue::GetInstance(value.unknownText(), queue.arena());
      return;
    }
    // Named members (and `_UNKNOWN`) always send the same text: one shared value each.
    *destination = EnumTextsOf<E>()
                       .bare[static_cast<std::size_t>(EnumTable::Clamp(value.value(), EnumTraits<E>::count))];
  }

  template <class X>
  static void AdaptOptional(NativeConstPtr const& source, Adapter::Destination const& destination,
                            Adapter::Queue& queue, std::list<BaseMessage>& messages) {
    auto const& optional = *static_cast<boost::optional<X> const*>(source);
    if (!optional) {
      *destination = OptionalValue::Unset();
      return;
    }
    // Booleans, small integers and the named members of enumerations are shared leaves; set
    // optionals around them are shared too.
    if constexpr (std::is_same<X, bool>::value) {
      *destination = OptionalValue::SetTo(*optional);
      return;
    } else if constexpr (std::is_integral<X>::value) {
      if (auto const* shared = OptionalValue::SetTo(static_cast<int64_t>(*optional))) {
        *destination = *shared;
        return;
      }
    } else if constexpr (NativeTraits::kIsEnum<X>) {
      if (optional->unknownText().empty()) {
        *destination =
            EnumTextsOf<X>()
                .set[static_cast<std::size_t>(EnumTable::Clamp(optional->value(), EnumTraits<X>::count))];
        return;
      }
    }
    auto value = OptionalValue::GetInstance(queue.arena());
    Adapter::Destination const slot = value->slot();
    *destination = std::move(value);
    Adapter::AdaptMethod<X>::Get(nullptr)(&*optional, slot, queue, messages);
  }

  template <class S>
  static void AdaptSharedStructure(NativeConstPtr const& source, Adapter::Destination const& destination,
                                   Adapter::Queue& queue, std::list<BaseMessage>& messages) {
    auto const& pointer = *static_cast<std::shared_ptr<S> const*>(source);
    if (!pointer) {
      messages.push_back(BaseMessage::Make(MessageIds::kUnsetNonOptionalField));
      return;
    }
    using Plain = std::remove_const_t<S>;
    queue.push_back(pointer.get(), Adapter::AdaptMethod<Plain>::Get(nullptr), destination);
  }

  template <class S>
  static void AdaptOptionalStructure(NativeConstPtr const& source, Adapter::Destination const& destination,
                                     Adapter::Queue& queue, std::list<BaseMessage>& messages) {
    auto const& optional = *static_cast<Opax::OptionalPtr<S> const*>(source);
    if (!optional) {
      *destination = OptionalValue::Unset();
      return;
    }
    auto value = OptionalValue::GetInstance(queue.arena());
    Adapter::Destination const slot = value->slot();
    *destination = std::move(value);
    AdaptSharedStructure<S>(&optional.get(), slot, queue, messages);
  }

  template <class Container>
  static void AdaptSequence(NativeConstPtr const& source, Adapter::Destination const& destination,
                            Adapter::Queue& queue, std::list<BaseMessage>& messages) {
    using X = typename Container::value_type;
    auto const& items = *static_cast<Container const*>(source);
    constexpr Kind kElementKind = NativeTraits::ValueKind<X>::value;
    if constexpr (kElementKind == Kind::String && !NativeTraits::kIsEnum<X>) {
      auto list = ListValueString::GetInstance(queue.arena());
      list->Store(items);
      *destination = std::move(list);
    } else if constexpr (kElementKind == Kind::String) {
      auto list = ListValueString::GetInstance(queue.arena());
      for (X const& item : items) list->Append(EnumTraits<X>::Text(item));
      *destination = std::move(list);
    } else if constexpr (kElementKind == Kind::Integer) {
      auto list = ListValueLong::GetInstance(queue.arena());
      list->Store(items);
      *destination = std::move(list);
    } else {
      auto list = internal::MakeValue<ListValue>(queue.arena(), nullptr, kElementKind);
      list->values().resize(items.size());
      auto* const slots = list->values().data();
      *destination = std::move(list);
      auto const adapt = Adapter::AdaptMethod<X>::Get(nullptr);
      std::size_t i = 0;
      for (X const& item : items) adapt(&item, &slots[i++], queue, messages);
    }
  }

  template <class Map>
  static void AdaptMap(NativeConstPtr const& source, Adapter::Destination const& destination,
                       Adapter::Queue& queue, std::list<BaseMessage>& messages) {
    auto const& entries = *static_cast<Map const*>(source);
    auto map = MapValue::GetInstance(queue.arena());
    map->fields().reserve(entries.size());
    FieldMap& fields = map->fields();
    *destination = std::move(map);
    auto const adapt = Adapter::AdaptMethod<typename Map::mapped_type>::Get(nullptr);
    for (auto const& [key, item] : entries) adapt(&item, &fields.slot(key), queue, messages);
  }

  static void AdaptDynamicStructure(NativeConstPtr const& source, Adapter::Destination const& destination,
                                    Adapter::Queue&, std::list<BaseMessage>&);
  static void AdaptDynamicError(NativeConstPtr const& source, Adapter::Destination const& destination,
                                Adapter::Queue&, std::list<BaseMessage>&);
  static void AdaptOperationInput(NativeConstPtr const& source, Adapter::Destination const& destination,
                                  Adapter::Queue&, std::list<BaseMessage>&);
};

// The adapt functions of every type that is not a generated structure.
// Every type but a generated structure: the leaf that NativeTraits picks.
template <class T, class Enable>
struct NativeToValueAdapter::AdaptMethod {
  static AdaptFunction Get(T const* = nullptr) { return NativeTraits::LeafMethod<N2V, T>::Get(); }
};

}  // namespace Data
}  // namespace Opax
