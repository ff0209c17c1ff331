#pragma once

#include <opax/core/l10n/request_localizer.h>

#include <boost/utility/string_view.hpp>

#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace Opax {
namespace Data {
class ErrorValue;
}  // namespace Data

namespace L10n {

class MessageCatalog;

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

  // Parses an Accept-Language style list ("de-CH, de;q=0.9, en;q=0.5"): heaviest weight first,
  // tags of equal weight in the order given, tags weighted 0 left out. A malformed tag or weight
  // sets `error` to std::errc::invalid_argument and yields an empty preference.
  static LanguagePreference MakeLanguagePreference(boost::string_view text, std::error_code& error);
};

// Renders messages for the languages a server supports: English, which the core message table
// holds, and, with a message catalogue, the languages of its files.
class Localizer {
 public:
  Localizer() = default;
  explicit Localizer(std::vector<std::string> supported) : supported_(std::move(supported)) {}
  // Serves English and the languages of `catalog`; a null catalogue is the same as none.
  explicit Localizer(std::shared_ptr<MessageCatalog const> catalog);
  ~Localizer();

  // The request context for a preference: the first supported language it names, else the
  // default. With a catalogue, its Choose decides (case-insensitive, "de-CH" finds "de").
  RequestLocalizer ForRequest(LanguagePreference const& preference, TimezoneSpec const& timezone) const;

  // The catalogue texts come from, or null.
  std::shared_ptr<MessageCatalog const> const& catalog() const { return catalog_; }

  // `error` with its messages in the language of `request`; `error` itself without a catalogue,
  // for English, or when nothing changes.
  std::shared_ptr<Data::ErrorValue const> Localize(std::shared_ptr<Data::ErrorValue const> const& error,
                                                   RequestLocalizer const& request) const;

 private:
  std::vector<std::string> supported_ = {"en"};
  std::shared_ptr<MessageCatalog const> catalog_;
};

}  // namespace L10n
}  // namespace Opax
