#include <opax/core/base/enum_table.h>

#include <cstring>

namespace Opax {
namespace EnumTable {

int Find(char const* const* values, std::string_view text) {
  if (values == nullptr) return -1;
  for (int i = 0; values[i] != nullptr; ++i) {
    std::size_t length = std::strlen(values[i]);
    if (length == text.size() && std::memcmp(values[i], text.data(), length) == 0) return i;
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
