#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace Opax {
namespace Data {
namespace internal {

// Sixteen bytes of a text from `offset`, as two big-endian words padded with zeros, and how much
// of the text is left from there (capped at 17: more than the chunk holds). Keys compare as their
// texts do, except that two texts whose chunks are equal and both go on (rest == 17) are tied
// and need the next sixteen bytes.
struct TextKey {
  uint64_t high;
  uint64_t low;
  uint32_t rest;
  uint32_t item;

  static TextKey Of(std::string_view text, std::size_t offset, uint32_t item) {
    unsigned char chunk[16] = {};
    std::size_t const left = offset < text.size() ? text.size() - offset : 0;
    if (left > 0) std::memcpy(chunk, text.data() + offset, std::min<std::size_t>(left, 16));
    return {BigEndian(chunk), BigEndian(chunk + 8), static_cast<uint32_t>(std::min<std::size_t>(left, 17)),
            item};
  }

  bool operator<(TextKey const& other) const {
    if (high != other.high) return high < other.high;
    if (low != other.low) return low < other.low;
    return rest < other.rest;
  }
  bool TiedWith(TextKey const& other) const {
    return high == other.high && low == other.low && rest == 17 && other.rest == 17;
  }

 private:
  static uint64_t BigEndian(unsigned char const* bytes) {
    uint64_t word = 0;
    for (int i = 0; i < 8; ++i) word = (word << 8) | bytes[i];
    return word;
  }
};

// Fills `order` with the items 0..count-1 arranged so that their texts (`textAt(item)`) ascend;
// equal texts come in any order.
//
// Each text is read once, in item order, into a fixed-size key, and the keys are sorted: the
// sort moves through memory in order instead of following a pointer to a text at every
// comparison, which at a million texts is the difference between the cache and main memory.
// Keys still tied after sixteen bytes are read again further on, a group at a time. Input that
// is already in order, or in reverse, costs one pass.
template <class TextAt>
void SortTexts(std::size_t count, TextAt const& textAt, uint32_t* order) {
  std::vector<TextKey> keys;
  keys.reserve(count);
  for (std::size_t i = 0; i < count; ++i) keys.push_back(TextKey::Of(textAt(i), 0, static_cast<uint32_t>(i)));
  struct Group {
    std::size_t begin, end, offset;
  };
  std::vector<Group> groups{{0, count, 0}};
  while (!groups.empty()) {
    Group const group = groups.back();
    groups.pop_back();
    TextKey* const begin = keys.data() + group.begin;
    TextKey* const end = keys.data() + group.end;
    if (group.offset > 0) {
      for (TextKey* key = begin; key != end; ++key)
        *key = TextKey::Of(textAt(key->item), group.offset, key->item);
    }
    auto const descending = [](TextKey const& a, TextKey const& b) { return b < a; };
    if (!std::is_sorted(begin, end)) {
      if (std::is_sorted(begin, end, descending)) {
        std::reverse(begin, end);
      } else {
        std::sort(begin, end);
      }
    }
    for (TextKey* first = begin; first != end;) {
      TextKey* last = first + 1;
      while (last != end && first->TiedWith(*last)) ++last;
      if (last - first > 1) {
        groups.push_back({static_cast<std::size_t>(first - keys.data()),
                          static_cast<std::size_t>(last - keys.data()), group.offset + 16});
      }
      first = last;
    }
  }
  for (std::size_t k = 0; k < count; ++k) order[k] = keys[k].item;
}

}  // namespace internal
}  // namespace Data
}  // namespace Opax
