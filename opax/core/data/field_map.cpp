#include <opax/core/data/field_map.h>

#include <opax/core/data/data_value.h>

#include <algorithm>
#include <utility>

namespace Opax {
namespace Data {
namespace {

// An AVL tree of fewer than 2^32 entries is at most 46 levels deep.
constexpr std::size_t kMaxDepth = 64;

}  // namespace

FieldMap& FieldMap::operator=(FieldMap&& other) noexcept {
  if (this == &other) return *this;
  entries_ = std::move(other.entries_);
  other.entries_.clear();
  root_ = std::exchange(other.root_, kNone);
  head_ = std::exchange(other.head_, kNone);
  return *this;
}

std::shared_ptr<DataValue const>* FieldMap::find(std::string_view name) {
  uint32_t at = root_;
  while (at != kNone) {
    Field& field = entries_[at];
    int const order = std::string_view(field.name_).compare(name);
    if (order == 0) return &field.value_;
    at = order < 0 ? field.right_ : field.left_;
  }
  return nullptr;
}

std::shared_ptr<DataValue const> const* FieldMap::find(std::string_view name) const {
  return const_cast<FieldMap*>(this)->find(name);
}

std::shared_ptr<DataValue const>& FieldMap::slot(std::string_view name) {
  uint32_t path[kMaxDepth];
  uint64_t rightTurns = 0;  // bit k: the search went right below path[k]
  std::size_t depth = 0;
  uint32_t before = kNone;  // the deepest entry on the path whose name sorts before `name`
  for (uint32_t at = root_; at != kNone; ++depth) {
    Field& field = entries_[at];
    int const order = std::string_view(field.name_).compare(name);
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
  entries_.emplace_back(name);
  Link(path, rightTurns, depth, before);
  return entries_.back().value_;
}

void FieldMap::Link(uint32_t const* path, uint64_t rightTurns, std::size_t depth, uint32_t before) {
  auto const added = static_cast<uint32_t>(entries_.size() - 1);
  // The new entry's predecessor by name is the last entry the search passed on its right.
  uint32_t& previous = before == kNone ? head_ : entries_[before].next_;
  entries_[added].next_ = previous;
  previous = added;

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
}

}  // namespace Data
}  // namespace Opax
