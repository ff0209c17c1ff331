#pragma once

#include <opax/core/data/internal/large_block.h>
#include <opax/core/data/name.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Opax {
namespace Data {

class DataValue;

namespace internal {

// The entries of a field map: a vector that can start in a buffer it does not own (the room a
// structure value is made with, in its own block) and moves to the heap only if it outgrows it.
template <class T>
class FieldStorage {
 public:
  FieldStorage() = default;
  FieldStorage(FieldStorage const&) = delete;
  FieldStorage& operator=(FieldStorage const&) = delete;
  ~FieldStorage() { Free(); }

  // Takes the steal of `other`'s entries when they are on the heap, a move of each otherwise.
  FieldStorage& operator=(FieldStorage&& other) noexcept {
    if (this == &other) return *this;
    Free();
    if (other.owned_) {
      data_ = std::exchange(other.data_, nullptr);
      size_ = std::exchange(other.size_, 0);
      capacity_ = std::exchange(other.capacity_, 0);
      owned_ = true;
      other.owned_ = false;
    } else if (other.size_ > 0) {
      Grow(other.size_, other);
      other.clear();
    }
    return *this;
  }

  // Starts empty in `buffer`, room for `capacity` entries, which outlives this storage.
  void adopt(void* buffer, std::size_t capacity) {
    Free();
    data_ = static_cast<T*>(buffer);
    capacity_ = capacity;
    owned_ = false;
  }

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  T* data() { return data_; }
  T const* data() const { return data_; }
  T& operator[](std::size_t i) { return data_[i]; }
  T const& operator[](std::size_t i) const { return data_[i]; }
  T& back() { return data_[size_ - 1]; }
  T* begin() { return data_; }
  T* end() { return data_ + size_; }
  T const* begin() const { return data_; }
  T const* end() const { return data_ + size_; }

  void reserve(std::size_t capacity) {
    if (capacity > capacity_) Grow(capacity, *this);
  }
  template <class... A>
  T& emplace_back(A&&... args) {
    if (size_ == capacity_) Grow(capacity_ == 0 ? 4 : capacity_ * 2, *this);
    T* made = new (data_ + size_) T(std::forward<A>(args)...);
    ++size_;
    return *made;
  }
  void clear() {
    for (std::size_t i = 0; i < size_; ++i) data_[i].~T();
    size_ = 0;
  }

 private:
  // Moves the entries of `from` (this storage or another) into a new heap block of `capacity`.
  void Grow(std::size_t capacity, FieldStorage& from) {
    T* grown = static_cast<T*>(AllocateLarge(capacity * sizeof(T)));
    for (std::size_t i = 0; i < from.size_; ++i) {
      new (grown + i) T(std::move(from.data_[i]));
      from.data_[i].~T();
    }
    std::size_t const size = from.size_;
    from.size_ = 0;
    Free();
    data_ = grown;
    size_ = size;
    capacity_ = capacity;
    owned_ = true;
  }
  void Free() {
    clear();
    if (owned_) FreeLarge(data_, capacity_ * sizeof(T));
    data_ = nullptr;
    capacity_ = 0;
    owned_ = false;
  }

  T* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  bool owned_ = false;
};

}  // namespace internal

// The fields of a compound value, keyed by name.
//
// Two orders are kept, because two kinds of reader need them:
// - by name: lookups and plain iteration (`begin()`/`end()`) follow name order, as a std::map
//   would;
// - by insertion: `inOrder()` lists fields in the order they were first inserted, which is the
//   declaration order for values made from native structures (retained unknown fields after the
//   declared ones), and the order that codecs and dumps write.
//
// Storage is one vector of entries in insertion order. Name order depends on the size:
// - while the map is small (kSmall fields or fewer, what generated structures have), each entry
//   holds one place of a name-order permutation, which lookups search in halves and an insertion
//   shifts: a few words at most, less work than any index;
// - a large map whose names all arrived in name order (a map made from a native std::map, or a
//   peer that sends sorted members) stays that way: insertion order is name order, a new name is
//   compared with the last one only, and lookups search the entries in halves;
// - any other large map gets a hash index to find names, and its name order is sorted when it is
//   first asked for. A peer is free to send a large object's members in reverse or shuffled, and
//   that must cost what sorted order costs: an insertion at a random place of a large tree misses
//   the cache at every level, a hash probe misses once, and a sort walks memory in order.
//
// The sorted order of a large map is made by the first reader that needs it, and published
// without a lock: readers of a value that is shared (and so no longer changes) may race to make
// it, and all but one throw theirs away. An insertion drops it; insertions only happen before a
// value is handed on, and invalidate iterators, as a vector's do.
//
// The address of a field's value (`slot`) stays valid until an insertion grows the map beyond
// its reserved capacity; the adapters reserve first and then fill slots in place.
class FieldMap {
  class LargeIndex;

 public:
  class Field {
   public:
    std::string_view name() const { return name_.view(); }
    Name const& heldName() const { return name_; }
    std::shared_ptr<DataValue const>& value() { return value_; }
    std::shared_ptr<DataValue const> const& value() const { return value_; }

    // Public for emplace_back only; fields are made by FieldMap.
    explicit Field(std::string_view name) : name_(name) {}
    explicit Field(StaticName name) : name_(name) {}
    explicit Field(Name const& name) : name_(name) {}

   private:
    friend class FieldMap;
    Name name_;
    std::shared_ptr<DataValue const> value_;
    // In a small map, or a large one in name order: the entry that is this many places in name order.
    uint32_t byName_ = 0;
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
    Iterator(FieldT* entries, std::size_t at) : entries_(entries), at_(at) {}
    // In name order, `order` is a large map's sorted order (null for a small one).
    Iterator(FieldT* entries, uint32_t const* order, std::size_t at)
        : entries_(entries), order_(order), at_(at) {}
    reference operator*() const {
      if constexpr (kByName) return entries_[order_ != nullptr ? order_[at_] : entries_[at_].byName_];
      return entries_[at_];
    }
    pointer operator->() const { return &**this; }
    Iterator& operator++() {
      ++at_;
      // A sorted order visits entries all over memory: ask for an entry some steps ahead, and for
      // the value of one half as far, whose entry was asked for before (the order has room past
      // its end for this).
      if constexpr (kByName) {
        if (order_ != nullptr) {
          __builtin_prefetch(entries_ + order_[at_ + 2 * kLookAhead]);
          __builtin_prefetch(entries_[order_[at_ + kLookAhead]].value_.get());
        }
      }
      return *this;
    }
    Iterator operator++(int) {
      Iterator old = *this;
      ++*this;
      return old;
    }
    bool operator==(Iterator const& o) const { return at_ == o.at_; }
    bool operator!=(Iterator const& o) const { return at_ != o.at_; }

   private:
    FieldT* entries_ = nullptr;
    uint32_t const* order_ = nullptr;
    std::size_t at_ = 0;
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
  FieldMap(FieldMap&& other) noexcept { *this = std::move(other); }
  FieldMap& operator=(FieldMap&& other) noexcept;
  FieldMap(FieldMap const&) = delete;
  FieldMap& operator=(FieldMap const&) = delete;
  ~FieldMap() {
    if (index_ != nullptr) FreeIndex();
  }

  std::size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  void reserve(std::size_t count) { entries_.reserve(count); }
  // Starts this empty map in `buffer`, with room for `capacity` fields (see StructValue::Make).
  void adopt(void* buffer, std::size_t capacity) { entries_.adopt(buffer, capacity); }

  // The value slot of `name`, or null when the map has no such field.
  std::shared_ptr<DataValue const>* find(std::string_view name);
  std::shared_ptr<DataValue const> const* find(std::string_view name) const;
  bool contains(std::string_view name) const { return find(name) != nullptr; }

  // The value slot of `name`, inserted empty (at the end of insertion order) when absent. A
  // static name is held as a view, any other is copied.
  std::shared_ptr<DataValue const>& slot(std::string_view name);
  std::shared_ptr<DataValue const>& slot(StaticName name);
  std::shared_ptr<DataValue const>& slot(Name const& name);  // a static name stays a view
  std::shared_ptr<DataValue const>& operator[](std::string_view name) { return slot(name); }

  // Adds or replaces; a replaced field keeps its place in insertion order.
  void set(std::string_view name, std::shared_ptr<DataValue const> value) { slot(name) = std::move(value); }
  void set(StaticName name, std::shared_ptr<DataValue const> value) { slot(name) = std::move(value); }

  // Fills an empty map with the fields `names` (in that insertion order, values empty) whose name
  // order `byName` gives (see NameOrder): a structure of a known type is laid out without a single
  // name compared.
  void AssignNames(StaticName const* names, uint32_t const* byName, std::size_t count);
  // The name order of `count` distinct names, as their indices; false if two are equal.
  static bool NameOrder(StaticName const* names, std::size_t count, uint32_t* byName);

  // For a reader that knows the name order of what it adds (the JSON decoder, from a structure's
  // definition): appends a field, its name copied, at the end of insertion order without
  // comparing names. Until SetNameOrder, only more appends or destruction may follow.
  std::shared_ptr<DataValue const>& AppendUnordered(std::string_view name) {
    return entries_.emplace_back(name).value_;
  }
  // Gives the name order of the fields appended by AppendUnordered to a map that was empty:
  // `byName` lists the indices of all size() fields, whose names are distinct, in name order.
  void SetNameOrder(uint32_t const* byName);

  // The field at `index` in insertion order.
  Field& at(std::size_t index) { return entries_[index]; }
  Field const& at(std::size_t index) const { return entries_[index]; }

  // Makes this map (which must be empty) hold the names of `other` in both its orders, with
  // empty values: a copy of a value costs no name comparison, however its names were inserted.
  void CopyNamesFrom(FieldMap const& other);

  // Adds the fields of `other` for which `keep(field)` holds, after this map's own and in the
  // insertion order of `other`, as `set` would one by one (a name already here takes the new
  // value and keeps its place).
  template <class Keep>
  void Merge(FieldMap const& other, Keep&& keep) {
    if (other.size() <= kSmall || size() > kSmall) {
      for (Field const& field : other.entries_) {
        if (keep(field)) slot(field.name_) = field.value_;
      }
      return;
    }
    // Many names beside few: they need no index, the orders of both are merged.
    std::vector<uint32_t> picked;
    picked.reserve(other.entries_.size());
    for (std::size_t i = 0; i < other.entries_.size(); ++i) {
      if (keep(other.entries_[i])) picked.push_back(static_cast<uint32_t>(i));
    }
    if (picked.size() > kSmall) return MergeMany(other, picked);
    for (uint32_t i : picked) slot(other.entries_[i].name_) = other.entries_[i].value_;
  }

  // Name order.
  iterator begin() { return iterator(entries_.data(), SortedOrder(), 0); }
  iterator end() { return iterator(entries_.data(), nullptr, entries_.size()); }
  const_iterator begin() const { return const_iterator(entries_.data(), SortedOrder(), 0); }
  const_iterator end() const { return const_iterator(entries_.data(), nullptr, entries_.size()); }

  // Insertion order.
  Range<Field> inOrder() { return {{entries_.data(), 0}, {entries_.data(), entries_.size()}}; }
  Range<Field const> inOrder() const { return {{entries_.data(), 0}, {entries_.data(), entries_.size()}}; }

  // Takes every value out (for the non-recursive release of a compound's children).
  template <class Sink>
  void DrainValues(Sink&& sink) {
    for (Field& f : entries_) sink(std::move(f.value_));
  }

 private:
  static constexpr std::size_t kSmall = 32;
  static constexpr std::size_t kLookAhead = 8;

  // Where the entries' permutation is the name order: the field named `name`, or null and the
  // place in name order it would take.
  Field* SearchPermutation(std::string_view name, std::size_t& position);
  template <class Key>
  std::shared_ptr<DataValue const>& Slot(Key const& name);
  template <class Key>
  std::shared_ptr<DataValue const>& LargeSlot(Key const& name);

  // A large map's sorted order (made now if nobody has yet), or null where the entries' own
  // permutation is the name order (a small map, or a large one in name order).
  uint32_t const* SortedOrder() const;
  // Makes this map large: in name order if `byName` (the name order of all entries) says so,
  // with that order published otherwise.
  void BecomeLarge(uint32_t const* byName);
  void MergeMany(FieldMap const& other, std::vector<uint32_t> const& picked);
  void FreeIndex();

  internal::FieldStorage<Field> entries_;
  LargeIndex* index_ = nullptr;  // owned; made when the map grows past kSmall fields
};

}  // namespace Data
}  // namespace Opax
