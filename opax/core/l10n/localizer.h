#pragma once

#include <opax/core/l10n/request_localizer.h>

#include <boost/utility/string_view.hpp>

#include <string>
#include <system_error>
#include <vector>

namespace Opax {
namespace L10n {

// An ordered list of language tags ("de-CH", "de", "en"), most preferred first.
class LanguagePreference {
 public:
  LanguagePreference() = default;
  explicit LanguagePreference(std::vector<std::string> languages) : languages_(std::move(languages)) {}
  std::vector<std::string> const& languages() const { return languages_; }
  bool empty() const { return languages_.empty(); }

 private:
  std::vector<std::string> languages_;
};

// A time zone by name ("UTC", "Europe/Zurich"); validated only for shape.
class TimezoneSpec {
 public:
  explicit TimezoneSpec(std::string name) : name_(std::move(name)) {}
  std::string const& name() const { return name_; }

 private:
  std::string name_;
};

struct LocaleHelpers {
  static boost::string_view defaultLocale() { return "en"; }
  static boost::string_view defaultFmtLocale() { return "en"; }
  static boost::string_view defaultTimezone() { return "UTC"; }

  // Parses an Accept-Language style list ("de-CH, de;q=0.9, en;q=0.5"); tags are kept in the
  // order given (weights are read but not used to reorder). A malformed tag sets `error` to
  // std::errc::invalid_argument and yields an empty preference.
  static LanguagePreference MakeLanguagePreference(boost::string_view text, std::error_code& error);
};

// Renders messages for the languages a server supports. The runtime carries message texts in
// their default language only, so a localizer's job today is to say which language it would use.
class Localizer {
 public:
  Localizer() = default;
  explicit Localizer(std::vector<std::string> supported) : supported_(std::move(supported)) {}
  ~Localizer() = default;

  // The request context for a preference: the first supported language it names, else the default.
  RequestLocalizer ForRequest(LanguagePreference const& preference, TimezoneSpec const& timezone) const;

 private:
  std::vector<std::string> supported_ = {"en"};
};

}  // namespace L10n
}  // namespace Opax
