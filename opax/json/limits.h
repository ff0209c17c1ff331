#pragma once

#include <cstddef>
#include <limits>

namespace Opax {
namespace Json {

// What the decoder accepts from text it does not trust. The defaults suit a server that takes
// requests from the internet: far above anything an operation of the catalogue needs (its
// deepest value nests about a dozen levels; its largest strings are certificates and base64
// blobs), and low enough that one request costs a bounded amount of memory and time. A breach
// is a decoding failure with "opax.json.limit.exceeded", never a partial value.
struct Limits {
  // Objects and arrays open at once.
  std::size_t maxDepth = 128;
  // Bytes in one string, member name or number, as written in the text.
  std::size_t maxStringLength = 8u << 20;
  // Members of one object, or elements of one array.
  std::size_t maxMembers = 100000;
  // Bytes of the whole text.
  std::size_t maxTotalSize = 32u << 20;

  // No limit at all: for text this process wrote itself, and for tests of the limits.
  static constexpr Limits Unlimited() {
    constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
    return Limits{kNone, kNone, kNone, kNone};
  }
};

}  // namespace Json
}  // namespace Opax
