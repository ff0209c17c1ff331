#pragma once

#include <opax/core/data/data_value.h>

#include <memory>
#include <vector>

namespace Opax {
namespace Data {

// A list of values of one element kind.
//
// Native lists, sets and vectors all become list values: a set is written as a list in the
// set's order and read back into a set (duplicates collapse). Lists of strings and of integers
// keep their elements natively (ListValueString, ListValueLong): no value object per element.
// Every other element kind is held as values.
class ListValue : public DataValue {
 public:
  explicit ListValue(Kind elementKind) : DataValue(Kind::List), elementKind_(elementKind) {}
  ~ListValue() override;

  // An empty list; for strings and integers the typed variant. In a conversion's `arena` if given.
  static std::shared_ptr<ListValue> GetInstance(Kind elementKind, internal::ValueArena* arena = nullptr);

  Kind elementKind() const { return elementKind_; }
  virtual std::size_t size() const { return values_.size(); }
  bool empty() const { return size() == 0; }
  // The i-th element as a value (typed variants make it on the fly).
  virtual std::shared_ptr<DataValue const> element(std::size_t i) const { return values_[i]; }
  // Appends after checking the element's kind ("opax.data.list.element.kind" on a mismatch;
  // an error is accepted where structures are expected, as errors are structures).
  virtual bool Append(std::shared_ptr<DataValue const> value, std::list<BaseMessage>& messages);

  // The element values of a list that is not of a typed variant; adapters size it first and
  // then fill the slots in place.
  std::vector<std::shared_ptr<DataValue const>>& values() { return values_; }
  std::vector<std::shared_ptr<DataValue const>> const& values() const { return values_; }
  // True for ListValueString and ListValueLong.
  bool isTyped() const { return typed_; }

 protected:
  ListValue(Kind elementKind, bool typed) : DataValue(Kind::List), elementKind_(elementKind), typed_(typed) {}

 private:
  Kind elementKind_;
  bool typed_ = false;
  std::vector<std::shared_ptr<DataValue const>> values_;
};

// A list that holds its elements as native X (std::string or int64_t).
template <class X>
class ListValueMixin final : public ListValue {
 public:
  ListValueMixin() : ListValue(PrimitiveTraits<X>::kind, true) {}
  static std::shared_ptr<ListValueMixin> GetInstance(internal::ValueArena* arena = nullptr) {
    return internal::MakeValue<ListValueMixin>(arena, nullptr);
  }

  void Append(X value) { items_.push_back(std::move(value)); }
  using ListValue::Append;
  // Replaces the content with a whole native container (list, set, vector) of X, in one walk:
  // assigning from a set's or a list's iterators would walk it twice, the first time only to
  // count what size() already says, and a large set's nodes lie all over memory.
  template <class Container>
  void Store(Container const& items) {
    items_.clear();
    items_.reserve(items.size());
    for (X const& item : items) items_.push_back(item);
  }

  std::vector<X> const& items() const { return items_; }
  std::size_t size() const override { return items_.size(); }
  std::shared_ptr<DataValue const> element(std::size_t i) const override {
    return DataValue::Create(items_[i]);
  }
  bool Append(std::shared_ptr<DataValue const> value, std::list<BaseMessage>& messages) override {
    X item{};
    if (!DataValue::Value(value, item, messages)) return false;
    items_.push_back(std::move(item));
    return true;
  }

 private:
  std::vector<X> items_;
};

using ListValueString = ListValueMixin<std::string>;
using ListValueLong = ListValueMixin<int64_t>;

}  // namespace Data
}  // namespace Opax
