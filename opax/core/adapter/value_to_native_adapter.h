#pragma once

#include <opax/core/adapter/native_traits.h>
#include <opax/core/adapter/work_containers.h>
#include <opax/core/base/enum_table.h>
#include <opax/core/base/native_ptr.h>
#include <opax/core/base/operation_input.h>
#include <opax/core/data/compound_value.h>
#include <opax/core/data/internal/text_order.h>
#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>
#include <opax/core/data/type_info.h>
#include <opax/core/message/message_ids.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Opax {
namespace Data {

// Data values to native objects, without recursion.
//
// A structure's adapt function checks that its value is a structure and queues one entry per
// declared field present in the value; fields that are absent keep their defaults (whether
// that is acceptable is for validation to say). Leaves convert on the spot. The first failure
// appends its message and empties the work container, so nothing after it runs: fields written
// before keep their new values, the rest keep their defaults.
class ValueToNativeAdapter {
 public:
  using Source = std::shared_ptr<DataValue const>;
  using Entry = BasicAdaptEntry<Source, NativePtr, std::list<BaseMessage>, V2N_internal::StackMapCnt>;
  using Container = V2N_internal::StackMapCnt<Entry>;
  using AdaptFunction = Entry::AdaptFunction;

  template <class T, class Enable = void>
  struct AdaptMethod;

  template <class T>
  class CompoundHelper;

  // Converts `value` with `root` into the native object at `destination`. False, with messages,
  // on the first failure.
  static bool Adapt(Source const& value, AdaptFunction root, NativePtr destination,
                    std::list<BaseMessage>& messages);

  template <class T>
  static bool Adapt(Source const& value, T& out, std::list<BaseMessage>& messages) {
    return Adapt(value, AdaptMethod<T>::Get(nullptr), &out, messages);
  }
};

// The fields of `structure` whose slots are not among `declaredSlots` (slots of its own fields),
// in insertion order, as a structure value of the same name; null when there are none.
std::shared_ptr<StructValue> FieldsOtherThan(
    StructValue const& structure, std::vector<std::shared_ptr<DataValue const> const*> declaredSlots);

// The helper that a structure's adapt function uses to read its fields.
template <>
class ValueToNativeAdapter::CompoundHelper<StructValue> {
 public:
  // Takes `value` as a structure (a set optional is looked through). Anything else appends
  // "opax.data.invalid.type" (a map, which has fields but no structure type, appends
  // "opax.data.bad.cast1" naming `expectedType`) and empties the container.
  CompoundHelper(Source const& value, Container& container, std::list<BaseMessage>& messages,
                 char const* expectedType = "structure");

  // True while no message has been added since the helper was made.
  bool ok() const { return messages_.size() == messageCount_; }
  StructValue const* value() const { return structure_; }

  // Queues the conversion, with `adapt`, of a declared field that the value carries.
  void AddField(std::string_view wireName, NativePtr field, AdaptFunction adapt) {
    if (!ok() || structure_ == nullptr) return;
    if (auto const* found = structure_->FindField(wireName)) {
      ++declaredFound_;
      if (*found) container_.push_back(*found, adapt, field);
    }
  }
  template <class F>
  void AddField(std::string_view wireName, F* field) {
    AddField(wireName, field, AdaptMethod<F>::Get(nullptr));
  }
  // The same for the declared field at `position` in declaration order.
  void AddField(std::size_t position, StaticName wireName, NativePtr field, AdaptFunction adapt) {
    if (auto const* found = FindDeclared(position, wireName)) container_.push_back(*found, adapt, field);
  }
  // The same for a field whose conversion never reaches a structure (a leaf, or a list, map or
  // optional of leaves): converted here and now, from the value in place, so the field's value is
  // neither shared again nor queued. A failure empties the container as a queued one would.
  void ConvertField(std::size_t position, StaticName wireName, NativePtr field, AdaptFunction adapt) {
    if (auto const* found = FindDeclared(position, wireName)) adapt(*found, field, container_, messages_);
  }

  // Reads every declared field of structure T that the value carries, in declaration order, and
  // keeps the others in T's retained unknown fields. The binding support defines it from T's
  // field table (runtime/struct_entries.h).
  template <class T>
  void AddFields(T* native);

  // The value's fields other than the declared ones (`nameAt(i)`, i < `count`), as a structure
  // value of the same name to keep beside the native object; null when there are none.
  template <class NameAt>
  std::shared_ptr<StructValue const> UnknownFields(NameAt const& nameAt, std::size_t count) const {
    if (structure_ == nullptr || declaredFound_ == structure_->fields().size()) return nullptr;
    std::vector<std::shared_ptr<DataValue const> const*> slots;
    slots.reserve(declaredFound_);
    for (std::size_t i = 0; i < count; ++i) {
      if (auto const* found = structure_->FindField(nameAt(i))) slots.push_back(found);
    }
    return FieldsOtherThan(*structure_, std::move(slots));
  }

 private:
  // The declared field's value (never null), or null when the value lacks it or a failure came
  // first. A value laid out in declaration order (every value made from a native object is) has
  // the field at `position`, found without a search.
  std::shared_ptr<DataValue const> const* FindDeclared(std::size_t position, StaticName wireName) {
    if (!ok() || structure_ == nullptr) return nullptr;
    FieldMap const& fields = structure_->fields();
    std::shared_ptr<DataValue const> const* found = nullptr;
    if (position < fields.size() && fields.at(position).heldName().is(wireName)) {
      found = &fields.at(position).value();
    } else {
      found = fields.find(wireName.text);
    }
    if (found == nullptr) return nullptr;
    ++declaredFound_;
    return *found ? found : nullptr;
  }

  StructValue const* structure_ = nullptr;
  Container& container_;
  std::list<BaseMessage>& messages_;
  std::size_t const messageCount_;
  std::size_t declaredFound_ = 0;  // fields found by AddField: when all of the value's, none is unknown
};

// The leaf adapt functions of this adapter (see NativeTraits::LeafMethod).
struct V2N {
  using Adapter = ValueToNativeAdapter;

  // Reads a leaf the way every leaf is read: a value wrapped in an optional (kind 5) with the
  // converting reader, anything else with the exact one.
  template <class X>
  static bool ReadLeaf(Adapter::Source const& value, X& out, std::list<BaseMessage>& messages) {
    if (value && value->kind() == Kind::Optional) return DataValue::ToPrimitive(value, out, messages);
    return DataValue::Value(value, out, messages);
  }

  template <class X>
  static void AdaptPrimitive(Adapter::Source const& value, NativePtr const& destination,
                             Adapter::Container& container, std::list<BaseMessage>& messages) {
    if (!ReadLeaf(value, *static_cast<X*>(destination), messages)) container.clear();
  }

  template <class E>
  static void AdaptEnumeration(Adapter::Source const& value, NativePtr const& destination,
                               Adapter::Container& container, std::list<BaseMessage>& messages) {
    // Looked up in place: only a text that no member has is copied (into the unknown member).
    if (!value || value->kind() != Kind::String) {
      internal::AppendInvalidType(messages);
      container.clear();
      return;
    }
    *static_cast<E*>(destination) = EnumTraits<E>::FromText(internal::StoredOf<std::string>(*value));
  }

  // The content of an optional value, in place: a bare value is taken as a set optional holding
  // it. Null when the optional is unset. The caller's value keeps the content alive, so it is
  // not shared again (each share is an atomic count up and down).
  static Adapter::Source const* OptionalContent(Adapter::Source const& value) {
    if (value && value->kind() == Kind::Optional) {
      Adapter::Source const& inner = static_cast<OptionalValue const&>(*value).value();
      return inner ? &inner : nullptr;
    }
    return value ? &value : nullptr;
  }

  template <class X>
  static void AdaptOptional(Adapter::Source const& value, NativePtr const& destination,
                            Adapter::Container& container, std::list<BaseMessage>& messages) {
    auto& optional = *static_cast<boost::optional<X>*>(destination);
    Adapter::Source const* content = OptionalContent(value);
    if (content == nullptr) {
      optional = boost::none;
      return;
    }
    optional.emplace();
    Adapter::AdaptMethod<X>::Get(nullptr)(*content, &*optional, container, messages);
  }

  // Looks through set optionals to a structure; reports and returns null otherwise.
  static DataValue const* StructureOrReport(Adapter::Source const& value, Adapter::Container& container,
                                            std::list<BaseMessage>& messages);

  template <class S>
  static void AdaptSharedStructure(Adapter::Source const& value, NativePtr const& destination,
                                   Adapter::Container& container, std::list<BaseMessage>& messages) {
    using Plain = std::remove_const_t<S>;
    if (StructureOrReport(value, container, messages) == nullptr) return;
    std::shared_ptr<Plain> object = TypeInfo<Plain>::defaultInstance(value);
    Plain* const filled = object.get();
    *static_cast<std::shared_ptr<S>*>(destination) = std::move(object);
    container.push_back(value, Adapter::AdaptMethod<Plain>::Get(nullptr), filled);
  }

  template <class S>
  static void AdaptOptionalStructure(Adapter::Source const& value, NativePtr const& destination,
                                     Adapter::Container& container, std::list<BaseMessage>& messages) {
    auto& optional = *static_cast<Opax::OptionalPtr<S>*>(destination);
    Adapter::Source const* content = OptionalContent(value);
    if (content == nullptr) {
      optional.reset();
      return;
    }
    std::shared_ptr<S> pointer;
    AdaptSharedStructure<S>(*content, &pointer, container, messages);
    optional = std::move(pointer);
  }

  // The list behind `value` (a set optional is looked through); reports and returns null otherwise.
  static ListValue const* ListOrReport(Adapter::Source const& value, Adapter::Container& container,
                                       std::list<BaseMessage>& messages);

  template <class Container, class Items>
  static void AppendAll(Container& items, Items const& more) {
    if constexpr (NativeTraits::IsSet<Container>::value) {
      // Elements in the set's own order go in at its end, each in constant time. A large list in
      // any other order is sorted first: a sort walks memory in order, while inserting at random
      // places of a large tree misses the cache at every level.
      auto const less = items.value_comp();
      if (more.size() < 64 || std::is_sorted(more.begin(), more.end(), less)) {
        for (auto const& item : more) items.emplace_hint(items.end(), item);
      } else if constexpr (std::is_same<typename Container::value_type, std::string>::value &&
                           std::is_same<typename Container::key_compare, std::less<std::string>>::value) {
        std::vector<uint32_t> order(more.size());
        Data::internal::SortTexts(
            more.size(), [&more](std::size_t i) { return std::string_view(more[i]); }, order.data());
        // The sorted order visits the list all over memory: ask for an element a few steps ahead.
        constexpr std::size_t kAhead = 8;
        for (std::size_t k = 0; k < order.size(); ++k) {
          if (k + kAhead < order.size()) __builtin_prefetch(&more[order[k + kAhead]]);
          items.emplace_hint(items.end(), more[order[k]]);
        }
      } else {
        std::vector<typename Container::value_type> sorted(more.begin(), more.end());
        std::sort(sorted.begin(), sorted.end(), less);
        for (auto& item : sorted) items.emplace_hint(items.end(), std::move(item));
      }
    } else {
      items.insert(items.end(), more.begin(), more.end());
    }
  }

  template <class Container>
  static void AdaptSequence(Adapter::Source const& value, NativePtr const& destination,
                            Adapter::Container& container, std::list<BaseMessage>& messages) {
    using X = typename Container::value_type;
    auto& items = *static_cast<Container*>(destination);
    ListValue const* list = ListOrReport(value, container, messages);
    if (list == nullptr) return;
    items.clear();
    if constexpr (std::is_same<X, std::string>::value) {
      if (list->isTyped() && list->elementKind() == Kind::String) {
        AppendAll(items, static_cast<ListValueString const&>(*list).items());
        return;
      }
    }
    if constexpr (std::is_same<X, int64_t>::value) {
      if (list->isTyped() && list->elementKind() == Kind::Integer) {
        AppendAll(items, static_cast<ListValueLong const&>(*list).items());
        return;
      }
    }
    auto const adapt = Adapter::AdaptMethod<X>::Get(nullptr);
    std::size_t const before = messages.size();
    for (std::size_t i = 0; i < list->size() && messages.size() == before; ++i) {
      if constexpr (NativeTraits::IsSet<Container>::value) {
        // Set elements are converted beside the set and then inserted: their order depends on them.
        X item{};
        adapt(list->element(i), &item, container, messages);
        if (messages.size() == before) items.insert(std::move(item));
      } else {
        items.emplace_back();
        adapt(list->element(i), &items.back(), container, messages);
      }
    }
  }

  // The compound (map or structure) behind `value`; reports and returns null otherwise.
  static CompoundValue const* MapOrReport(Adapter::Source const& value, Adapter::Container& container,
                                          std::list<BaseMessage>& messages);

  template <class Map>
  static void AdaptMap(Adapter::Source const& value, NativePtr const& destination,
                       Adapter::Container& container, std::list<BaseMessage>& messages) {
    auto& entries = *static_cast<Map*>(destination);
    CompoundValue const* map = MapOrReport(value, container, messages);
    if (map == nullptr) return;
    entries.clear();
    auto const adapt = Adapter::AdaptMethod<typename Map::mapped_type>::Get(nullptr);
    std::size_t const before = messages.size();
    // In name order, which is the map's own (for its default order): each entry goes in at the end.
    for (FieldMap::Field const& field : map->fields()) {
      if (messages.size() != before) break;
      auto const at = entries.emplace_hint(entries.end(), field.name(), typename Map::mapped_type());
      adapt(field.value(), &at->second, container, messages);
    }
  }

  static void AdaptDynamicStructure(Adapter::Source const& value, NativePtr const& destination,
                                    Adapter::Container& container, std::list<BaseMessage>& messages);
  static void AdaptDynamicError(Adapter::Source const& value, NativePtr const& destination,
                                Adapter::Container& container, std::list<BaseMessage>& messages);
  static void AdaptOperationInput(Adapter::Source const& value, NativePtr const& destination,
                                  Adapter::Container& container, std::list<BaseMessage>& messages);
};

// Every type but a generated structure: the leaf that NativeTraits picks.
template <class T, class Enable>
struct ValueToNativeAdapter::AdaptMethod {
  static AdaptFunction Get(T const* = nullptr) { return NativeTraits::LeafMethod<V2N, T>::Get(); }
};

}  // namespace Data
}  // namespace Opax
