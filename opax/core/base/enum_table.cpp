#include <opax/core/base/enum_table.h>

namespace Opax {
namespace EnumTable {

namespace {

// Whether the terminated `value` is exactly `text` (which may hold any byte, a zero too). Most
// entries of a table differ from the text in their first characters: stopping there costs less
// than measuring each entry first.
bool SameText(char const* value, std::string_view text) {
  std::size_t at = 0;
  for (; at < text.size(); ++at) {
    if (value[at] != text[at] || value[at] == '\0') return false;
  }
  return value[at] == '\0';
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
