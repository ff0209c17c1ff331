#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace Opax {

// Base of every generated enumeration. It stores the index of the member (the generated class
// defines what the indices mean) and, for a value that this side cannot name, the text it was
// received with, so that the text is written back unchanged. Generated classes add no members.
class Enum {
 public:
  explicit Enum(int value) : value_(value) {}
  Enum(int value, std::string const& text) : value_(value), text_(text) {}
  Enum(Enum const&) = default;
  Enum(Enum&&) noexcept = default;
  Enum& operator=(Enum const&) = default;
  Enum& operator=(Enum&&) noexcept = default;
  ~Enum() = default;

  // The member's index; the generated class's `_UNKNOWN` index for values it cannot name.
  int32_t value() const { return value_; }
  // The text of an unrecognised value as received; empty for every named member.
  std::string const& unknownText() const { return text_; }

  // Orders sets of enumeration values: by index, then by held text, so that two different
  // unknown values are two different set elements.
  bool operator<(Enum const& other) const {
    return value_ != other.value_ ? value_ < other.value_ : text_ < other.text_;
  }

 private:
  int32_t value_;
  std::string text_;
};

}  // namespace Opax
