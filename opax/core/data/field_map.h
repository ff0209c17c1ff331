#pragma once

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
    T* grown = static_cast<T*>(::operator new(capacity * sizeof(T)));
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
    if (owned_) ::operator delete(data_);
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
// Storage is one vector of entries in insertion order, and name order lives in the entries too,
// so that both orders iterate without allocation or recursion: each entry links to the next one
// by name, and lookups and insertions go by
// - while the map is small (kSmall fields or fewer, what generated structures have), a binary
//   search over the name-order permutation, which an insertion shifts: a few words at most, less
//   work than any tree;
// - beyond that, an AVL tree over entry indices (children and balance in each entry), so that an
//   insertion costs O(log n) whatever order names arrive in: a peer is free to send a large
//   object's members in reverse, and that must cost what declaration order costs.
//
// The address of a field's value (`slot`) stays valid until an insertion grows the map beyond
// its reserved capacity; the adapters reserve first and then fill slots in place.
class FieldMap {
  static constexpr uint32_t kNone = UINT32_MAX;

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
    uint32_t left_ = kNone;  // in a small map: the entry that is this many places in name order
    uint32_t right_ = kNone;
    uint32_t next_ = kNone;  // the entry that follows this one in name order
    int8_t balance_ = 0;     // height of the right subtree minus that of the left
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
    reference operator*() const { return entries_[at_]; }
    pointer operator->() const { return &**this; }
    Iterator& operator++() {
      at_ = kByName ? Next() : at_ + 1;
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
    std::size_t Next() const {
      uint32_t const next = entries_[at_].next_;
      return next == kNone ? kEnd : next;
    }

    FieldT* entries_ = nullptr;
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

  // The field at `index` in insertion order.
  Field& at(std::size_t index) { return entries_[index]; }
  Field const& at(std::size_t index) const { return entries_[index]; }

  // Makes this map (which must be empty) hold the names of `other` in both its orders, with
  // empty values: a copy of a value costs no name comparison, however its names were inserted.
  void CopyNamesFrom(FieldMap const& other);

  // Adds the fields of `other` for which `keep(field)` holds, after this map's own and in the
  // insertion order of `other`, as `set` would one by one (a name already here takes the new
  // value and keeps its place); when many are added, in O(n + m) with no name compared twice.
  template <class Keep>
  void Merge(FieldMap const& other, Keep&& keep) {
    std::vector<uint32_t> picked;
    picked.reserve(other.entries_.size());
    for (std::size_t i = 0; i < other.entries_.size(); ++i) {
      if (keep(other.entries_[i])) picked.push_back(static_cast<uint32_t>(i));
    }
    MergePicked(other, picked);
  }

  // Name order.
  iterator begin() { return iterator(entries_.data(), First()); }
  iterator end() { return iterator(entries_.data(), kEnd); }
  const_iterator begin() const { return const_iterator(entries_.data(), First()); }
  const_iterator end() const { return const_iterator(entries_.data(), kEnd); }

  // Insertion order.
  Range<Field> inOrder() { return {{entries_.data(), 0}, {entries_.data(), entries_.size()}}; }
  Range<Field const> inOrder() const { return {{entries_.data(), 0}, {entries_.data(), entries_.size()}}; }

  // Takes every value out (for the non-recursive release of a compound's children).
  template <class Sink>
  void DrainValues(Sink&& sink) {
    for (Field& f : entries_) sink(std::move(f.value_));
  }

 private:
  // The end of name order: an index that no entry can have.
  static constexpr std::size_t kEnd = SIZE_MAX;
  static constexpr std::size_t kSmall = 32;

  // In a small map: the field named `name`, or null and the place in name order it would take.
  Field* SearchSmall(std::string_view name, std::size_t& position);
  template <class Key>
  std::shared_ptr<DataValue const>& Slot(Key const& name);
  template <class Key>
  std::shared_ptr<DataValue const>& TreeSlot(Key const& name);

  std::size_t First() const { return head_ == kNone ? kEnd : head_; }
  void MergePicked(FieldMap const& other, std::vector<uint32_t> const& picked);
  // Makes name order anew (links, and the permutation or a perfectly balanced tree) from the
  // indices of all `size` entries in name order.
  void Rebuild(uint32_t const* byName, std::size_t size);
  // Links the entry just appended (the last one) into the tree below the searched `path`.
  void Link(uint32_t const* path, uint64_t rightTurns, std::size_t depth, uint32_t before);
  // Restores the balance of the subtree at `top` (off by two); returns its new top.
  uint32_t Rebalance(uint32_t top);
  uint32_t RotateLeft(uint32_t top);
  uint32_t RotateRight(uint32_t top);

  internal::FieldStorage<Field> entries_;
  uint32_t root_ = kNone;
  uint32_t head_ = kNone;  // the first entry in name order
  uint32_t tail_ = kNone;  // the last entry in name order, once the map has its tree
};

}  // namespace Data
}  // namespace Opax
