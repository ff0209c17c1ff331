#pragma once

#include <opax/core/data/internal/text_compare.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>
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
    return FirstWord(reinterpret_cast<char const*>(bytes));
  }
};

// Sorts the keys [begin, end) as their operator< has it, by their bytes from the most
// significant down, a byte at a time: each span is spread by the first byte in which its keys
// differ (the bytes before it are the same throughout the span, and are skipped in one pass),
// and spans too small for that to pay are sorted by comparison. At a million keys this does a
// few passes that walk memory in order where a comparison sort does twenty with a mispredicted
// branch at most of its steps. `scratch` is room that the spreading reuses. No recursion: the
// spans still to sort are a work list.
inline void SortTextKeys(TextKey* begin, TextKey* end, std::vector<TextKey>& scratch) {
  constexpr std::ptrdiff_t kCompareBelow = 64;
  struct Span {
    TextKey* begin;
    TextKey* end;
  };
  std::vector<Span> spans{{begin, end}};
  while (!spans.empty()) {
    Span const span = spans.back();
    spans.pop_back();
    std::ptrdiff_t const size = span.end - span.begin;
    if (size < kCompareBelow) {
      std::sort(span.begin, span.end);
      continue;
    }
    uint64_t highs = 0;
    uint64_t lows = 0;
    for (TextKey const* key = span.begin; key != span.end; ++key) {
      highs |= key->high ^ span.begin->high;
      lows |= key->low ^ span.begin->low;
    }
    if (highs == 0 && lows == 0) {
      // Sixteen bytes alike: only how much is left of each text tells them apart.
      std::sort(span.begin, span.end, [](TextKey const& a, TextKey const& b) { return a.rest < b.rest; });
      continue;
    }
    bool const inHigh = highs != 0;
    int const shift = 56 - (__builtin_clzll(inHigh ? highs : lows) & ~7);
    auto const digit = [inHigh, shift](TextKey const& key) {
      return static_cast<std::size_t>(((inHigh ? key.high : key.low) >> shift) & 0xFF);
    };
    std::size_t at[256] = {};
    for (TextKey const* key = span.begin; key != span.end; ++key) ++at[digit(*key)];
    std::size_t next = 0;
    for (std::size_t& bucket : at) next += std::exchange(bucket, next);
    scratch.resize(static_cast<std::size_t>(size));
    for (TextKey const* key = span.begin; key != span.end; ++key) scratch[at[digit(*key)]++] = *key;
    std::copy(scratch.begin(), scratch.begin() + size, span.begin);
    // at[d] is now where bucket d ends.
    std::size_t first = 0;
    for (std::size_t last : at) {
      if (last - first > 1) spans.push_back({span.begin + first, span.begin + last});
      first = last;
    }
  }
}

// Sorts the keys [begin, end) if they are a few runs, each in order or in reverse, and says
// whether they were: input in order or in reverse costs one pass, and so does input that is
// nearly so (a structure's declared fields, then its many other fields in order) plus a merge
// per run. Reversed runs are reversed in place as they are found, which does no harm to the
// keys that a sort takes over when there are too many runs.
inline bool MergeTextKeyRuns(TextKey* begin, TextKey* end, std::vector<TextKey>& scratch) {
  constexpr std::size_t kMostRuns = 8;
  std::size_t bounds[kMostRuns + 1] = {0};
  std::size_t runs = 0;
  std::size_t const size = static_cast<std::size_t>(end - begin);
  for (std::size_t first = 0; first < size;) {
    if (runs == kMostRuns) return false;
    std::size_t last = first + 1;
    if (last < size && begin[last] < begin[first]) {
      while (last < size && begin[last] < begin[last - 1]) ++last;
      std::reverse(begin + first, begin + last);
    } else {
      while (last < size && !(begin[last] < begin[last - 1])) ++last;
    }
    bounds[++runs] = last;
    first = last;
  }
  // Merges neighbouring runs, a pair at a time, until one is left.
  while (runs > 1) {
    scratch.resize(size);
    std::size_t merged = 0;
    for (std::size_t r = 0; r < runs; r += 2) {
      std::size_t const middle = bounds[r + 1];
      std::size_t const stop = r + 2 <= runs ? bounds[r + 2] : middle;  // an odd run out is copied
      std::merge(begin + bounds[r], begin + middle, begin + middle, begin + stop,
                 scratch.begin() + bounds[r]);
      bounds[merged++] = bounds[r];
    }
    bounds[merged] = size;
    runs = merged;
    std::copy(scratch.begin(), scratch.begin() + size, begin);
  }
  return true;
}

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
  std::vector<TextKey> scratch;
  while (!groups.empty()) {
    Group const group = groups.back();
    groups.pop_back();
    TextKey* const begin = keys.data() + group.begin;
    TextKey* const end = keys.data() + group.end;
    if (group.offset > 0) {
      for (TextKey* key = begin; key != end; ++key)
        *key = TextKey::Of(textAt(key->item), group.offset, key->item);
    }
    if (!MergeTextKeyRuns(begin, end, scratch)) SortTextKeys(begin, end, scratch);
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
