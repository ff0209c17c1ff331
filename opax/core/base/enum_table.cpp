#include <opax/core/base/enum_table.h>

#include <cstring>

namespace Opax {
namespace EnumTable {

namespace {

// Whether the terminated `value` is exactly `text` (which may hold any byte, a zero too). Most
// entries of a table differ from the text in their first character: only those that do not are
// measured and compared whole, which for long texts costs far less than a loop over their bytes.
bool SameText(char const* value, std::string_view text) {
  if (text.empty()) return value[0] == '\0';
  if (value[0] != text[0]) return false;
  return std::strlen(value) == text.size() && std::memcmp(value, text.data(), text.size()) == 0;
}

}  // namespace

int Find(char const* const* values, std::string_view text) {
  if (values == nullptr) return -1;
  for (int i = 0; values[i] != nullptr; ++i) {
    if (SameText(values[i], text)) return i;
  }
  return -1;
}

Enum Lookup(char const* const* values, int count, std::string_view text) {
  int index = Find(values, text);
  if (index < 0) return Enum(count, std::string(text));
  return Enum(index < count ? index : count);
}

std::string Text(char const* const* values, int count, Enum const& value) {
  if (value.value() == count && !value.unknownText().empty()) return value.unknownText();
  return values[Clamp(value.value(), count)];
}

}  // namespace EnumTable
}  // namespace Opax
