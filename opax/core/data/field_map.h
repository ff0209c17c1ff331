#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Opax {
namespace Data {

class DataValue;

// The fields of a compound value, keyed by name.
//
// Two orders are kept, because two kinds of reader need them:
// - by name: lookups (binary search) and plain iteration (`begin()`/`end()`) follow name order,
//   as a std::map would;
// - by insertion: `inOrder()` lists fields in the order they were first inserted, which is the
//   declaration order for values made from native structures (retained unknown fields after the
//   declared ones), and the order that codecs and dumps write.
//
// Storage is one vector of entries in insertion order; each entry also carries one element of
// the name-order permutation, so both orders cost no allocation beyond the vector itself (one
// block for a whole structure, whatever its field count).
//
// The address of a field's value (`slot`) stays valid until an insertion grows the map beyond
// its reserved capacity; the adapters reserve first and then fill slots in place.
class FieldMap {
 public:
  class Field {
   public:
    std::string const& name() const { return name_; }
    std::shared_ptr<DataValue const>& value() { return value_; }
    std::shared_ptr<DataValue const> const& value() const { return value_; }

    // Public for emplace_back only; fields are made by FieldMap.
    explicit Field(std::string_view name) : name_(name) {}

   private:
    friend class FieldMap;
    std::string name_;
    std::shared_ptr<DataValue const> value_;
    uint32_t byName_ = 0;  // the entry index of the field that is this many places in name order
  };

  template <class FieldT, bool kByName>
  class Iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Field;
    using difference_type = std::ptrdiff_t;
    using pointer = FieldT*;
    using reference = FieldT&;

    Iterator() = default;
    Iterator(FieldT* entries, std::size_t position) : entries_(entries), position_(position) {}
    reference operator*() const {
      return kByName ? entries_[entries_[position_].byName_] : entries_[position_];
    }
    pointer operator->() const { return &**this; }
    Iterator& operator++() {
      ++position_;
      return *this;
    }
    Iterator operator++(int) {
      Iterator old = *this;
      ++position_;
      return old;
    }
    bool operator==(Iterator const& o) const { return position_ == o.position_; }
    bool operator!=(Iterator const& o) const { return position_ != o.position_; }

   private:
    FieldT* entries_ = nullptr;
    std::size_t position_ = 0;
  };

  template <class FieldT>
  struct Range {
    Iterator<FieldT, false> b, e;
    Iterator<FieldT, false> begin() const { return b; }
    Iterator<FieldT, false> end() const { return e; }
  };

  using iterator = Iterator<Field, true>;
  using const_iterator = Iterator<Field const, true>;

  FieldMap() = default;
  FieldMap(FieldMap&&) noexcept = default;
  FieldMap& operator=(FieldMap&&) noexcept = default;
  FieldMap(FieldMap const&) = delete;
  FieldMap& operator=(FieldMap const&) = delete;

  std::size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  void reserve(std::size_t count) { entries_.reserve(count); }

  // The value slot of `name`, or null when the map has no such field.
  std::shared_ptr<DataValue const>* find(std::string_view name);
  std::shared_ptr<DataValue const> const* find(std::string_view name) const;
  bool contains(std::string_view name) const { return find(name) != nullptr; }

  // The value slot of `name`, inserted empty (at the end of insertion order) when absent.
  std::shared_ptr<DataValue const>& slot(std::string_view name);
  std::shared_ptr<DataValue const>& operator[](std::string_view name) { return slot(name); }

  // Adds or replaces; a replaced field keeps its place in insertion order.
  void set(std::string_view name, std::shared_ptr<DataValue const> value) { slot(name) = std::move(value); }

  // Name order.
  iterator begin() { return iterator(entries_.data(), 0); }
  iterator end() { return iterator(entries_.data(), entries_.size()); }
  const_iterator begin() const { return const_iterator(entries_.data(), 0); }
  const_iterator end() const { return const_iterator(entries_.data(), entries_.size()); }

  // Insertion order.
  Range<Field> inOrder() { return {{entries_.data(), 0}, {entries_.data(), entries_.size()}}; }
  Range<Field const> inOrder() const { return {{entries_.data(), 0}, {entries_.data(), entries_.size()}}; }

  // Takes every value out (for the non-recursive release of a compound's children).
  template <class Sink>
  void DrainValues(Sink&& sink) {
    for (Field& f : entries_) sink(std::move(f.value_));
  }

 private:
  // Position in name order of the first field whose name is not less than `name`.
  std::size_t LowerBound(std::string_view name) const;

  std::vector<Field> entries_;
};

}  // namespace Data
}  // namespace Opax
