#pragma once

#include <iosfwd>
#include <string>

namespace Opax {

// A string that must never be shown: it has no implicit conversion to text, streams print a fixed
// mask, messages and value dumps print the same mask, and the storage is wiped before release.
// The content is reachable only through the explicit `reveal()`.
class SecretString {
 public:
  static constexpr char const* kMask = "********";

  SecretString() = default;
  explicit SecretString(std::string value) : value_(std::move(value)) { WipeString(value); }
  explicit SecretString(char const* value) : value_(value) {}
  SecretString(SecretString const&) = default;
  SecretString(SecretString&& other) noexcept : value_(std::move(other.value_)) { other.Wipe(); }
  SecretString& operator=(SecretString const& other);
  SecretString& operator=(SecretString&& other) noexcept;
  ~SecretString() { Wipe(); }

  std::string const& reveal() const { return value_; }
  bool empty() const { return value_.empty(); }

  bool operator==(SecretString const& other) const { return value_ == other.value_; }
  bool operator!=(SecretString const& other) const { return value_ != other.value_; }
  bool operator<(SecretString const& other) const { return value_ < other.value_; }

 private:
  void Wipe() noexcept { WipeString(value_); }
  // Zeroes every byte the string owns, its unused capacity and short-string buffer included.
  static void WipeString(std::string& text) noexcept;
  std::string value_;
};

std::ostream& operator<<(std::ostream& out, SecretString const&);

}  // namespace Opax
