#pragma once

#include <cstddef>

namespace Opax {
namespace Json {
namespace internal {

// The length of the well-formed UTF-8 sequence of two to four bytes at `p` (at most `available`
// bytes), or 0. Overlong forms, surrogates and code points past U+10FFFF are not well formed.
inline std::size_t Utf8Length(unsigned char const* p, std::size_t available) {
  unsigned char const c = p[0];
  std::size_t length = 0;
  unsigned char low = 0x80, high = 0xBF;  // the range of the second byte
  if (c >= 0xC2 && c <= 0xDF) {
    length = 2;
  } else if (c >= 0xE0 && c <= 0xEF) {
    length = 3;
    if (c == 0xE0) low = 0xA0;
    if (c == 0xED) high = 0x9F;
  } else if (c >= 0xF0 && c <= 0xF4) {
    length = 4;
    if (c == 0xF0) low = 0x90;
    if (c == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (available < length || p[1] < low || p[1] > high) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if ((p[i] & 0xC0) != 0x80) return 0;
  }
  return length;
}

}  // namespace internal
}  // namespace Json
}  // namespace Opax
