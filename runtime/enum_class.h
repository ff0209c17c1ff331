#pragma once

// What every generated enumeration class shares. A generated class only adds its members
// (`EnumType`), their texts (`Strings::values`), `using EnumClass::EnumClass;` and the conversion
// to EnumType, since that names a type of its own.

#include <opax/core/base/enum.h>
#include <opax/core/base/enum_table.h>

#include <string>

namespace Opax {
namespace Binding {

template <class E>
class EnumClass : public ::Opax::Enum {
 public:
  EnumClass() : Enum(E::_UNKNOWN) {}
  // A member number (or an EnumType member); out-of-range numbers become `_UNKNOWN`.
  EnumClass(int value) : Enum(EnumTable::Clamp(value, E::_UNKNOWN)) {}  // NOLINT(google-explicit-constructor)
  // A value that this side cannot name, kept with the text it was received with.
  explicit EnumClass(std::string const& text) : Enum(E::_UNKNOWN, text) {}

  static E FromText(std::string const& text) { return EnumTraits<E>::FromText(text); }
  std::string text() const { return EnumTraits<E>::Text(static_cast<E const&>(*this)); }
};

}  // namespace Binding
}  // namespace Opax
