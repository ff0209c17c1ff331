#pragma once

// The machinery that every generated enumeration shares. A generated enumeration `E` supplies only
// data: a nested `EnumType` whose last enumerator is `_UNKNOWN` (its number is the count of named
// members) and `Strings::values`, the wire texts in `EnumType` order, then "_UNKNOWN", then null.
// Everything that reads those tables lives here once, over plain arrays, so that the 450-odd
// generated classes instantiate nothing heavier than an inline forwarder.

#include <opax/core/base/enum.h>

#include <string>
#include <string_view>

namespace Opax {
namespace EnumTable {

// Index of `text` in a null-terminated table, compared byte for byte; -1 when absent.
int Find(char const* const* values, std::string_view text);

// Classifies a wire text: a match at position i gives Enum(min(i, count)); no match gives the
// `_UNKNOWN` member (index `count`) holding the text as given.
Enum Lookup(char const* const* values, int count, std::string_view text);

// Wire text of a value: the held text of an unknown value that carries one, otherwise the
// table's entry for the index ("_UNKNOWN" for a default value).
std::string Text(char const* const* values, int count, Enum const& value);

// The index a number maps to: any number outside [0, count) becomes `count` (`_UNKNOWN`).
inline int Clamp(int value, int count) {
  return static_cast<unsigned>(value) < static_cast<unsigned>(count) ? value : count;
}

}  // namespace EnumTable

// Typed front-ends for a generated enumeration class `E`.
template <class E>
struct EnumTraits {
  static constexpr int count = static_cast<int>(E::EnumType::_UNKNOWN);

  static E FromText(std::string_view text) {
    Enum found = EnumTable::Lookup(E::Strings::values, count, text);
    return found.unknownText().empty() ? E(found.value()) : E(found.unknownText());
  }
  static std::string Text(E const& value) { return EnumTable::Text(E::Strings::values, count, value); }
  static bool IsKnownText(std::string_view text) {
    int index = EnumTable::Find(E::Strings::values, text);
    return index >= 0 && index < count;
  }
};

}  // namespace Opax
