#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

namespace Opax {
namespace Data {
namespace internal {

// The first eight bytes of a text as a big-endian word: words compare as the bytes do.
inline uint64_t FirstWord(char const* text) {
  uint64_t word;
  std::memcpy(&word, text, sizeof word);
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  word = __builtin_bswap64(word);
#endif
  return word;
}

// Three-way comparison of two texts byte by byte, as std::string_view::compare: negative, zero
// or positive. Field names of one structure mostly differ within their first eight bytes, which
// are compared here as one big-endian word; only names that share them, or shorter ones, go on to
// the library's comparison.
inline int CompareTexts(std::string_view a, std::string_view b) {
  if (a.size() >= 8 && b.size() >= 8) {
    uint64_t const x = FirstWord(a.data());
    uint64_t const y = FirstWord(b.data());
    if (x != y) return x < y ? -1 : 1;
  } else if (!a.empty() && !b.empty() && a[0] != b[0]) {
    return static_cast<unsigned char>(a[0]) < static_cast<unsigned char>(b[0]) ? -1 : 1;
  }
  return a.compare(b);
}

// Searches `count` places in ascending text order, `textAt(k)` being the text at place k: the
// place of `text`, or the place it would take, and whether it is there. Each probed text is
// compared once.
template <class TextAt>
std::pair<std::size_t, bool> SearchTexts(std::string_view text, std::size_t count, TextAt const& textAt) {
  std::size_t low = 0;
  std::size_t high = count;
  while (low < high) {
    std::size_t const middle = low + (high - low) / 2;
    int const order = CompareTexts(textAt(middle), text);
    if (order == 0) return {middle, true};
    if (order < 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return {low, false};
}

}  // namespace internal
}  // namespace Data
}  // namespace Opax
