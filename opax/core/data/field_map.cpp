#include <opax/core/data/field_map.h>

#include <opax/core/data/data_value.h>

#include <algorithm>
#include <utility>

namespace Opax {
namespace Data {
namespace {

// An AVL tree of fewer than 2^32 entries is at most 46 levels deep.
constexpr std::size_t kMaxDepth = 64;

std::string_view TextOf(std::string_view name) { return name; }
std::string_view TextOf(StaticName name) { return name.text; }
std::string_view TextOf(Name const& name) { return name.view(); }

}  // namespace

FieldMap& FieldMap::operator=(FieldMap&& other) noexcept {
  if (this == &other) return *this;
  entries_ = std::move(other.entries_);
  root_ = std::exchange(other.root_, kNone);
  head_ = std::exchange(other.head_, kNone);
  tail_ = std::exchange(other.tail_, kNone);
  return *this;
}

FieldMap::Field* FieldMap::SearchSmall(std::string_view name, std::size_t& position) {
  std::size_t low = 0;
  std::size_t high = entries_.size();
  while (low < high) {
    std::size_t const middle = low + (high - low) / 2;
    Field& field = entries_[entries_[middle].left_];
    int const order = field.name_.view().compare(name);
    if (order == 0) return &field;
    if (order < 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  position = low;
  return nullptr;
}

std::shared_ptr<DataValue const>* FieldMap::find(std::string_view name) {
  if (entries_.size() <= kSmall) {
    std::size_t position = 0;
    Field* field = SearchSmall(name, position);
    return field != nullptr ? &field->value_ : nullptr;
  }
  uint32_t at = root_;
  while (at != kNone) {
    Field& field = entries_[at];
    int const order = field.name_.view().compare(name);
    if (order == 0) return &field.value_;
    at = order < 0 ? field.right_ : field.left_;
  }
  return nullptr;
}

std::shared_ptr<DataValue const> const* FieldMap::find(std::string_view name) const {
  return const_cast<FieldMap*>(this)->find(name);
}

std::shared_ptr<DataValue const>& FieldMap::slot(std::string_view name) { return Slot(name); }
std::shared_ptr<DataValue const>& FieldMap::slot(StaticName name) { return Slot(name); }
std::shared_ptr<DataValue const>& FieldMap::slot(Name const& name) { return Slot(name); }

template <class Key>
std::shared_ptr<DataValue const>& FieldMap::Slot(Key const& name) {
  if (entries_.size() > kSmall) return TreeSlot(name);
  std::size_t position = 0;
  if (Field* field = SearchSmall(TextOf(name), position)) return field->value_;
  auto const added = static_cast<uint32_t>(entries_.size());
  entries_.emplace_back(name);
  uint32_t& previous = position == 0 ? head_ : entries_[entries_[position - 1].left_].next_;
  entries_[added].next_ = previous;
  previous = added;
  // Open a gap in the name-order permutation at `position` for the new entry.
  for (std::size_t k = added; k > position; --k) entries_[k].left_ = entries_[k - 1].left_;
  entries_[position].left_ = added;
  if (entries_.size() > kSmall) {
    uint32_t byName[kSmall + 1];
    for (std::size_t k = 0; k <= kSmall; ++k) byName[k] = entries_[k].left_;
    Rebuild(byName, kSmall + 1);
  }
  return entries_[added].value_;
}

template <class Key>
std::shared_ptr<DataValue const>& FieldMap::TreeSlot(Key const& key) {
  std::string_view const name = TextOf(key);
  uint32_t path[kMaxDepth];
  uint64_t rightTurns = 0;  // bit k: the search went right below path[k]
  std::size_t depth = 0;
  uint32_t before = kNone;  // the deepest entry on the path whose name sorts before `name`
  if (entries_[tail_].name_.view() < name) {
    // Past the last name (names arriving in order): the path is the right spine, no name to compare.
    for (uint32_t at = root_; at != kNone; at = entries_[at].right_, ++depth) {
      path[depth] = at;
      rightTurns |= uint64_t{1} << depth;
    }
    before = tail_;
  }
  for (uint32_t at = depth == 0 ? root_ : kNone; at != kNone; ++depth) {
    Field& field = entries_[at];
    int const order = field.name_.view().compare(name);
    if (order == 0) return field.value_;
    path[depth] = at;
    if (order < 0) {
      rightTurns |= uint64_t{1} << depth;
      before = at;
      at = field.right_;
    } else {
      at = field.left_;
    }
  }
  entries_.emplace_back(key);
  Link(path, rightTurns, depth, before);
  return entries_.back().value_;
}

void FieldMap::Link(uint32_t const* path, uint64_t rightTurns, std::size_t depth, uint32_t before) {
  auto const added = static_cast<uint32_t>(entries_.size() - 1);
  // The new entry's predecessor by name is the last entry the search passed on its right.
  uint32_t& previous = before == kNone ? head_ : entries_[before].next_;
  entries_[added].next_ = previous;
  previous = added;
  if (before == tail_) tail_ = added;

  auto const child = [&](std::size_t k) -> uint32_t& {
    Field& parent = entries_[path[k]];
    return ((rightTurns >> k) & 1u) != 0 ? parent.right_ : parent.left_;
  };
  if (depth == 0) {
    root_ = added;
    return;
  }
  child(depth - 1) = added;
  // Back up the path while the subtree that grew makes its parent taller; one rotation at most.
  for (std::size_t k = depth; k-- > 0;) {
    Field& node = entries_[path[k]];
    node.balance_ = static_cast<int8_t>(node.balance_ + (((rightTurns >> k) & 1u) != 0 ? 1 : -1));
    if (node.balance_ == 0) return;
    if (node.balance_ == 1 || node.balance_ == -1) continue;
    uint32_t const top = Rebalance(path[k]);
    if (k == 0) {
      root_ = top;
    } else {
      child(k - 1) = top;
    }
    return;
  }
}

uint32_t FieldMap::Rebalance(uint32_t top) {
  Field& node = entries_[top];
  if (node.balance_ > 0) {
    if (entries_[node.right_].balance_ < 0) node.right_ = RotateRight(node.right_);
    return RotateLeft(top);
  }
  if (entries_[node.left_].balance_ > 0) node.left_ = RotateLeft(node.left_);
  return RotateRight(top);
}

// Each rotation recomputes both balances from whatever they were, so that a double rotation is
// just two single ones.
uint32_t FieldMap::RotateLeft(uint32_t top) {
  Field& x = entries_[top];
  uint32_t const raised = x.right_;
  Field& y = entries_[raised];
  x.right_ = y.left_;
  y.left_ = top;
  x.balance_ = static_cast<int8_t>(x.balance_ - 1 - std::max<int>(y.balance_, 0));
  y.balance_ = static_cast<int8_t>(y.balance_ - 1 + std::min<int>(x.balance_, 0));
  return raised;
}

uint32_t FieldMap::RotateRight(uint32_t top) {
  Field& x = entries_[top];
  uint32_t const raised = x.left_;
  Field& y = entries_[raised];
  x.left_ = y.right_;
  y.right_ = top;
  x.balance_ = static_cast<int8_t>(x.balance_ + 1 - std::min<int>(y.balance_, 0));
  y.balance_ = static_cast<int8_t>(y.balance_ + 1 + std::max<int>(x.balance_, 0));
  return raised;
}

void FieldMap::AssignNames(StaticName const* names, uint32_t const* byName, std::size_t count) {
  entries_.reserve(count);
  for (std::size_t i = 0; i < count; ++i) entries_.emplace_back(names[i]);
  Rebuild(byName, count);
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
  for (Field const& field : other.entries_) {
    Field& copy = entries_.emplace_back(field.name_);
    copy.left_ = field.left_;
    copy.right_ = field.right_;
    copy.next_ = field.next_;
    copy.balance_ = field.balance_;
  }
  root_ = other.root_;
  head_ = other.head_;
  tail_ = other.tail_;
}

void FieldMap::MergePicked(FieldMap const& other, std::vector<uint32_t> const& picked) {
  // A few fields, or few beside many: one by one is cheaper than a rebuild of the whole tree.
  if (picked.size() < 32 || picked.size() * 4 < entries_.size()) {
    for (uint32_t i : picked) slot(other.entries_[i].name_) = other.entries_[i].value_;
    return;
  }
  // First the names already here, which take their new value in place, while lookups still
  // see this map as it was; then the others, appended.
  constexpr uint32_t kAdd = kNone - 1;
  std::vector<uint32_t> placed(other.entries_.size(), kNone);  // the entry made of each of `other`'s
  for (uint32_t i : picked) {
    Field const& field = other.entries_[i];
    if (std::shared_ptr<DataValue const>* existing = entries_.empty() ? nullptr : find(field.name_)) {
      *existing = field.value_;
    } else {
      placed[i] = kAdd;
    }
  }
  entries_.reserve(entries_.size() + picked.size());
  for (uint32_t i : picked) {
    if (placed[i] != kAdd) continue;
    placed[i] = static_cast<uint32_t>(entries_.size());
    entries_.emplace_back(other.entries_[i].name_).value_ = other.entries_[i].value_;
  }
  // Both name orders are sorted already: merge them.
  std::vector<uint32_t> byName;
  byName.reserve(entries_.size());
  uint32_t mine = head_;
  uint32_t theirs = other.head_;
  for (;;) {
    while (theirs != kNone && placed[theirs] == kNone) theirs = other.entries_[theirs].next_;
    if (theirs == kNone) break;
    if (mine != kNone && entries_[mine].name_.view() < entries_[placed[theirs]].name_.view()) {
      byName.push_back(mine);
      mine = entries_[mine].next_;
    } else {
      byName.push_back(placed[theirs]);
      theirs = other.entries_[theirs].next_;
    }
  }
  for (; mine != kNone; mine = entries_[mine].next_) byName.push_back(mine);
  Rebuild(byName.data(), byName.size());
}

void FieldMap::Rebuild(uint32_t const* byName, std::size_t size) {
  head_ = size == 0 ? kNone : byName[0];
  for (std::size_t k = 0; k + 1 < size; ++k) entries_[byName[k]].next_ = byName[k + 1];
  if (size > 0) entries_[byName[size - 1]].next_ = kNone;
  tail_ = size == 0 ? kNone : byName[size - 1];
  if (size <= kSmall) {
    for (std::size_t k = 0; k < size; ++k) entries_[k].left_ = byName[k];
    root_ = kNone;
    return;
  }
  auto const height = [](std::size_t count) {
    int bits = 0;
    for (; count != 0; count >>= 1) ++bits;
    return bits;
  };
  // Each range of the sorted entries becomes a subtree rooted at its middle; the left half is
  // never smaller than the right, so a subtree of n entries is bit_width(n) high.
  struct Span {
    std::size_t begin, end;
    uint32_t* link;
  };
  Span pending[2 * kMaxDepth];
  std::size_t count = 0;
  pending[count++] = {0, size, &root_};
  while (count > 0) {
    Span const range = pending[--count];
    if (range.begin == range.end) {
      *range.link = kNone;
      continue;
    }
    std::size_t const middle = range.begin + (range.end - range.begin) / 2;
    Field& node = entries_[byName[middle]];
    *range.link = byName[middle];
    node.balance_ = static_cast<int8_t>(height(range.end - middle - 1) - height(middle - range.begin));
    pending[count++] = {middle + 1, range.end, &node.right_};
    pending[count++] = {range.begin, middle, &node.left_};
  }
}

}  // namespace Data
}  // namespace Opax
