#pragma once

#include <string>

namespace Opax {
namespace L10n {

// The locale context of one request: the language and time zone that localisable content of a
// reply is rendered for. Conversions carry it through to the types that localise themselves.
class RequestLocalizer {
 public:
  RequestLocalizer() = default;
  RequestLocalizer(std::string language, std::string timezone)
      : language_(std::move(language)), timezone_(std::move(timezone)) {}

  std::string const& language() const { return language_; }
  std::string const& timezone() const { return timezone_; }

 private:
  std::string language_ = "en";
  std::string timezone_ = "UTC";
};

}  // namespace L10n
}  // namespace Opax
