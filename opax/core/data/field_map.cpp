#include <opax/core/data/field_map.h>

#include <opax/core/data/data_value.h>
#include <opax/core/data/internal/keyed_hash.h>
#include <opax/core/data/internal/large_block.h>
#include <opax/core/data/internal/text_compare.h>
#include <opax/core/data/internal/text_order.h>

#include <algorithm>
#include <atomic>
#include <utility>

namespace Opax {
namespace Data {
namespace {

std::string_view TextOf(std::string_view name) { return name; }
std::string_view TextOf(StaticName name) { return name.text; }
std::string_view TextOf(Name const& name) { return name.view(); }

uint32_t HashOf(std::string_view name) { return static_cast<uint32_t>(internal::KeyedHash(name)); }

// Searches `count` places in name order, `entryAt(k)` being the field at place k: the place of
// `name`, or the place it would take, and whether it is there.
template <class EntryAt>
std::pair<std::size_t, bool> SearchByName(std::string_view name, std::size_t count, EntryAt const& entryAt) {
  return internal::SearchTexts(name, count, [&entryAt](std::size_t k) { return entryAt(k).name(); });
}

}  // namespace

// What a large map keeps beside its entries: whether they are in name order, and otherwise a
// hash index (made at the first insertion that needs it) and the sorted order (made when first
// asked for).
//
// The index is open addressing with linear probing, never more than half full. A slot holds 32
// bits of the name's hash above the entry's index + 1 (zero: empty), so that a probe compares a
// name only when the hashes agree, and growing moves slots without reading a name. A name's probe
// starts at the top bits of its hash, so that slots lie in hash order and growing, which reads
// them in order, writes the grown index in order too.
//
// At a million names the slots fill many megabytes, and a probe at a random place waits for
// main memory. Most insertions are of names that are not there yet, so a filter one eighth the
// size of the slots, which stays in the cache, answers first: three bits in one word per name,
// all set if the name may be there, at least one clear if it surely is not. A name that surely
// is not there is appended with its slot still to write; such pending slots are written a batch
// at a time, with the batch's places in the index fetched together, so that their waits overlap.
// Lookups see pending entries through their hashes, kept beside the batch, and never write: a
// shared value stays read-only for its readers, whatever is pending.
class FieldMap::LargeIndex {
 public:
  explicit LargeIndex(bool sorted) : sorted_(sorted) {}
  // What a copy of a map needs: whether it is in name order, and the sorted order if one was
  // made. The hash slots are left behind: a copy is mostly read in one of its orders, and the
  // first lookup or insertion that wants an index makes one in a pass over the entries, which
  // costs less than copying the slots would.
  LargeIndex(LargeIndex const& other, std::size_t size) : sorted_(other.sorted_) {
    if (uint32_t const* order = other.order_.load(std::memory_order_acquire)) SetOrder(order, size);
  }
  ~LargeIndex() { delete[] order_.load(std::memory_order_relaxed); }

  bool sorted() const { return sorted_; }
  bool hashed() const { return slots_ != nullptr; }

  // Indexes all `size` entries; the map is no longer taken to be in name order.
  void Hash(Field const* entries, std::size_t size) {
    sorted_ = false;
    std::size_t capacity = 128;
    while (capacity < size * 2 + 2) capacity *= 2;
    Allocate(capacity);
    pending_ = 0;
    for (std::size_t i = 0; i < size; ++i) {
      uint32_t const hash = HashOf(entries[i].name());
      Place(hash, i);
      Filter(hash);
    }
  }

  // The entry named `name` (whose hash is `hash`) among the `size` entries, or null.
  Field* Find(Field* entries, std::size_t size, std::string_view name, uint32_t hash) const {
    // The filter's word and the name's first slot are at unrelated places of a large map: ask
    // for both at once, so that a name that is there waits for one miss and not two in a row
    // (and a new name's slot, written a batch later, is on its way).
    std::size_t const home = Home(hash, mask_);
    __builtin_prefetch(&slots_[home]);
    if (!MayHold(hash)) return nullptr;
    for (std::size_t at = home;; at = (at + 1) & mask_) {
      uint64_t const slot = slots_[at];
      if (slot == 0) break;
      if (static_cast<uint32_t>(slot >> 32) == hash && entries[EntryOf(slot)].name() == name) {
        return &entries[EntryOf(slot)];
      }
    }
    Field* const batch = entries + size - pending_;
    for (std::size_t p = 0; p < pending_; ++p) {
      if (pendingHash_[p] == hash && batch[p].name() == name) return &batch[p];
    }
    return nullptr;
  }

  // Takes note of one more entry, at `size`, named with `hash`, which the map does not hold.
  void Add(std::size_t size, uint32_t hash) {
    if (pending_ == kBatch) WritePending(size);
    if ((size + 1) * 2 > mask_ + 1) {
      WritePending(size);
      Grow();
    }
    Filter(hash);
    pendingHash_[pending_++] = hash;
  }

  // The sorted order, made from `entries` and published by the first reader that asks.
  uint32_t const* Order(Field const* entries, std::size_t size) {
    if (uint32_t* made = order_.load(std::memory_order_acquire)) return made;
    std::unique_ptr<uint32_t[]> order(NewOrder(size));
    internal::SortTexts(
        size, [entries](std::size_t i) { return entries[i].name(); }, order.get());
    uint32_t* expected = nullptr;
    if (order_.compare_exchange_strong(expected, order.get(), std::memory_order_acq_rel,
                                       std::memory_order_acquire)) {
      return order.release();
    }
    return expected;  // another reader was first
  }
  // Takes `byName` as the sorted order (the map must not be shared yet).
  void SetOrder(uint32_t const* byName, std::size_t size) {
    DropOrder();
    uint32_t* order = NewOrder(size);
    std::copy(byName, byName + size, order);
    order_.store(order, std::memory_order_release);
  }
  // An insertion changes name order; before a value is shared, so no reader can hold it.
  void DropOrder() {
    if (uint32_t* order = order_.load(std::memory_order_relaxed)) {
      order_.store(nullptr, std::memory_order_relaxed);
      delete[] order;
    }
  }

 private:
  static constexpr std::size_t kBatch = 16;

  static std::size_t Home(uint32_t hash, std::size_t mask) {
    return static_cast<std::size_t>((uint64_t{hash} * (mask + 1)) >> 32);
  }
  static uint32_t EntryOf(uint64_t slot) { return static_cast<uint32_t>(slot) - 1; }

  // One word of the filter per eight slots; a name's word comes from the top bits of its hash and
  // its three bits from a mix of all of them.
  std::size_t FilterWords() const { return (mask_ + 1) / 8; }
  std::pair<std::size_t, uint64_t> FilterBits(uint32_t hash) const {
    uint64_t const mix = uint64_t{hash} * 0x9E3779B97F4A7C15u;
    uint64_t const bits = (uint64_t{1} << (mix >> 58)) | (uint64_t{1} << ((mix >> 52) & 63)) |
                          (uint64_t{1} << ((mix >> 46) & 63));
    return {Home(hash, FilterWords() - 1), bits};
  }
  void Filter(uint32_t hash) {
    auto const [word, bits] = FilterBits(hash);
    filter_[word] |= bits;
  }
  bool MayHold(uint32_t hash) const {
    auto const [word, bits] = FilterBits(hash);
    return (filter_[word] & bits) == bits;
  }

  // Writes the slot of entry `entry`, whose name no other slot holds.
  void Place(uint32_t hash, std::size_t entry) {
    std::size_t at = Home(hash, mask_);
    while (slots_[at] != 0) at = (at + 1) & mask_;
    slots_[at] = (uint64_t{hash} << 32) | (entry + 1);
  }
  // Writes the pending slots of the entries before `size`, after asking for all their places.
  void WritePending(std::size_t size) {
    for (std::size_t p = 0; p < pending_; ++p) __builtin_prefetch(&slots_[Home(pendingHash_[p], mask_)], 1);
    std::size_t const first = size - pending_;
    for (std::size_t p = 0; p < pending_; ++p) Place(pendingHash_[p], first + p);
    pending_ = 0;
  }
  // Empty slots and filter for `capacity` slots (a power of two).
  void Allocate(std::size_t capacity) {
    slots_ = internal::MakeLargeArray<uint64_t>(capacity);
    mask_ = capacity - 1;
    filter_ = internal::MakeLargeArray<uint64_t>(FilterWords());
  }
  // Doubles the slots (none pending) and fills them and the filter again from the hashes the old
  // slots hold, read in order (and so written in order).
  void Grow() {
    internal::LargeArray<uint64_t> const old = std::move(slots_);
    std::size_t const oldCapacity = mask_ + 1;
    Allocate(oldCapacity * 2);
    for (std::size_t i = 0; i < oldCapacity; ++i) {
      if (old[i] == 0) continue;
      auto const hash = static_cast<uint32_t>(old[i] >> 32);
      Place(hash, EntryOf(old[i]));
      Filter(hash);
    }
  }

  // Room for `size` indices and the iterators' look-ahead past the last (pointing at entry 0).
  static uint32_t* NewOrder(std::size_t size) { return new uint32_t[size + 2 * kLookAhead + 1](); }

  bool sorted_;
  std::size_t mask_ = 0;
  internal::LargeArray<uint64_t> slots_;
  internal::LargeArray<uint64_t> filter_;
  // The hashes of the last `pending_` entries, whose slots are not written yet.
  std::size_t pending_ = 0;
  uint32_t pendingHash_[kBatch] = {};
  std::atomic<uint32_t*> order_{nullptr};
};

FieldMap& FieldMap::operator=(FieldMap&& other) noexcept {
  if (this == &other) return *this;
  entries_ = std::move(other.entries_);
  if (index_ != nullptr) FreeIndex();
  index_ = std::exchange(other.index_, nullptr);
  return *this;
}

void FieldMap::FreeIndex() {
  delete index_;
  index_ = nullptr;
}

void FieldMap::BecomeLarge(uint32_t const* byName) {
  std::size_t const size = entries_.size();
  bool sorted = true;
  for (std::size_t k = 0; k < size && sorted; ++k) sorted = byName[k] == k;
  auto index = std::make_unique<LargeIndex>(sorted);
  if (sorted) {
    for (std::size_t k = 0; k < size; ++k) entries_[k].byName_ = static_cast<uint32_t>(k);
  } else {
    index->SetOrder(byName, size);
  }
  if (index_ != nullptr) FreeIndex();
  index_ = index.release();
}

uint32_t const* FieldMap::SortedOrder() const {
  if (index_ == nullptr || index_->sorted()) return nullptr;
  return index_->Order(entries_.data(), entries_.size());
}

FieldMap::Field* FieldMap::SearchPermutation(std::string_view name, std::size_t& position) {
  auto const atPlace = [this](std::size_t k) -> Field& { return entries_[entries_[k].byName_]; };
  auto const [place, found] = SearchByName(name, entries_.size(), atPlace);
  position = place;
  return found ? &atPlace(place) : nullptr;
}

std::shared_ptr<DataValue const>* FieldMap::find(std::string_view name) {
  if (index_ == nullptr || index_->sorted()) {
    std::size_t position = 0;
    Field* field = SearchPermutation(name, position);
    return field != nullptr ? &field->value_ : nullptr;
  }
  if (index_->hashed()) {
    Field* field = index_->Find(entries_.data(), entries_.size(), name, HashOf(name));
    return field != nullptr ? &field->value_ : nullptr;
  }
  // Merged in bulk and not changed since: no index yet, but a sorted order.
  uint32_t const* order = SortedOrder();
  auto const [place, found] =
      SearchByName(name, entries_.size(), [&](std::size_t k) -> Field& { return entries_[order[k]]; });
  return found ? &entries_[order[place]].value_ : nullptr;
}

std::shared_ptr<DataValue const> const* FieldMap::find(std::string_view name) const {
  return const_cast<FieldMap*>(this)->find(name);
}

std::shared_ptr<DataValue const>& FieldMap::slot(std::string_view name) { return Slot(name); }
std::shared_ptr<DataValue const>& FieldMap::slot(StaticName name) { return Slot(name); }
std::shared_ptr<DataValue const>& FieldMap::slot(Name const& name) { return Slot(name); }

template <class Key>
std::shared_ptr<DataValue const>& FieldMap::Slot(Key const& name) {
  if (index_ != nullptr) return LargeSlot(name);
  std::size_t position = 0;
  if (Field* field = SearchPermutation(TextOf(name), position)) return field->value_;
  auto const added = static_cast<uint32_t>(entries_.size());
  entries_.emplace_back(name);
  // Open a gap in the name-order permutation at `position` for the new entry.
  for (std::size_t k = added; k > position; --k) entries_[k].byName_ = entries_[k - 1].byName_;
  entries_[position].byName_ = added;
  if (entries_.size() > kSmall) {
    uint32_t byName[kSmall + 1];
    for (std::size_t k = 0; k <= kSmall; ++k) byName[k] = entries_[k].byName_;
    BecomeLarge(byName);
  }
  return entries_[added].value_;
}

template <class Key>
std::shared_ptr<DataValue const>& FieldMap::LargeSlot(Key const& key) {
  std::string_view const name = TextOf(key);
  if (index_->sorted()) {
    // Still in name order: a name past the last one is appended without an index.
    int const order = entries_.back().name().compare(name);
    if (order == 0) return entries_.back().value_;
    if (order < 0) {
      auto const added = static_cast<uint32_t>(entries_.size());
      Field& field = entries_.emplace_back(key);
      field.byName_ = added;
      return field.value_;
    }
    std::size_t position = 0;
    if (Field* field = SearchPermutation(name, position)) return field->value_;
  }
  if (!index_->hashed()) index_->Hash(entries_.data(), entries_.size());
  uint32_t const hash = HashOf(name);
  if (Field* field = index_->Find(entries_.data(), entries_.size(), name, hash)) return field->value_;
  index_->DropOrder();
  index_->Add(entries_.size(), hash);
  return entries_.emplace_back(key).value_;
}

void FieldMap::AssignNames(StaticName const* names, uint32_t const* byName, std::size_t count) {
  entries_.reserve(count);
  for (std::size_t i = 0; i < count; ++i) entries_.emplace_back(names[i]);
  if (count <= kSmall) {
    for (std::size_t k = 0; k < count; ++k) entries_[k].byName_ = byName[k];
  } else {
    BecomeLarge(byName);
  }
}

void FieldMap::SetNameOrder(uint32_t const* byName) {
  if (entries_.size() > kSmall) return BecomeLarge(byName);
  for (std::size_t k = 0; k < entries_.size(); ++k) entries_[k].byName_ = byName[k];
}

bool FieldMap::NameOrder(StaticName const* names, std::size_t count, uint32_t* byName) {
  for (std::size_t i = 0; i < count; ++i) byName[i] = static_cast<uint32_t>(i);
  std::sort(byName, byName + count,
            [names](uint32_t a, uint32_t b) { return names[a].text < names[b].text; });
  for (std::size_t k = 1; k < count; ++k) {
    if (names[byName[k - 1]].text == names[byName[k]].text) return false;
  }
  return true;
}

void FieldMap::CopyNamesFrom(FieldMap const& other) {
  entries_.clear();
  entries_.reserve(other.entries_.size());
  for (Field const& field : other.entries_) entries_.emplace_back(field.name_).byName_ = field.byName_;
  if (index_ != nullptr) FreeIndex();
  if (other.index_ != nullptr) index_ = new LargeIndex(*other.index_, entries_.size());
}

void FieldMap::MergeMany(FieldMap const& other, std::vector<uint32_t> const& picked) {
  // This map is small: a name of `other` found among its own takes the new value there, and the
  // others (distinct, as names of one map) are appended without a check among themselves.
  std::size_t const mine = entries_.size();
  uint32_t mineByName[kSmall];
  for (std::size_t k = 0; k < mine; ++k) mineByName[k] = entries_[k].byName_;
  auto const mineAt = [&](std::size_t k) -> Field& { return entries_[mineByName[k]]; };
  constexpr uint32_t kNotPlaced = UINT32_MAX;
  std::vector<uint32_t> placed(other.entries_.size(), kNotPlaced);  // the entry made of each of `other`'s
  entries_.reserve(mine + picked.size());
  for (uint32_t i : picked) {
    Field const& field = other.entries_[i];
    auto const [place, found] = SearchByName(field.name(), mine, mineAt);
    if (found) {
      mineAt(place).value_ = field.value_;
    } else {
      placed[i] = static_cast<uint32_t>(entries_.size());
      entries_.emplace_back(field.name_).value_ = field.value_;
    }
  }
  // Both name orders are sorted already: merge them.
  std::vector<uint32_t> byName;
  byName.reserve(entries_.size());
  std::size_t next = 0;  // the next of this map's own names, in name order
  for (auto theirs = other.begin(); theirs != other.end(); ++theirs) {
    uint32_t const added = placed[static_cast<std::size_t>(&*theirs - other.entries_.data())];
    if (added == kNotPlaced) continue;
    for (; next < mine && mineAt(next).name() < theirs->name(); ++next) byName.push_back(mineByName[next]);
    byName.push_back(added);
  }
  byName.insert(byName.end(), mineByName + next, mineByName + mine);
  BecomeLarge(byName.data());
}

}  // namespace Data
}  // namespace Opax
