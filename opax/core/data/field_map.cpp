#include <opax/core/data/field_map.h>

#include <opax/core/data/data_value.h>

namespace Opax {
namespace Data {

std::size_t FieldMap::LowerBound(std::string_view name) const {
  std::size_t low = 0;
  std::size_t high = entries_.size();
  while (low < high) {
    std::size_t middle = low + (high - low) / 2;
    if (std::string_view(entries_[entries_[middle].byName_].name_) < name) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

std::shared_ptr<DataValue const>* FieldMap::find(std::string_view name) {
  std::size_t position = LowerBound(name);
  if (position == entries_.size()) return nullptr;
  Field& field = entries_[entries_[position].byName_];
  return field.name_ == name ? &field.value_ : nullptr;
}

std::shared_ptr<DataValue const> const* FieldMap::find(std::string_view name) const {
  return const_cast<FieldMap*>(this)->find(name);
}

std::shared_ptr<DataValue const>& FieldMap::slot(std::string_view name) {
  std::size_t position = LowerBound(name);
  if (position < entries_.size()) {
    Field& field = entries_[entries_[position].byName_];
    if (field.name_ == name) return field.value_;
  }
  auto const index = static_cast<uint32_t>(entries_.size());
  entries_.emplace_back(name);
  // Open a gap in the name-order permutation at `position` for the new entry.
  for (std::size_t k = index; k > position; --k) entries_[k].byName_ = entries_[k - 1].byName_;
  entries_[position].byName_ = index;
  return entries_[index].value_;
}

}  // namespace Data
}  // namespace Opax
