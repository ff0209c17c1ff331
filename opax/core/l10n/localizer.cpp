#include <opax/core/l10n/localizer.h>

#include <opax/core/l10n/message_catalog.h>

#include <algorithm>
#include <cctype>

namespace Opax {
namespace L10n {
namespace {

bool IsTag(std::string const& tag) {
  if (tag.empty() || tag.size() > 35) return false;
  return std::all_of(tag.begin(), tag.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '*';
  });
}

std::string Trim(boost::string_view text) {
  std::size_t begin = 0;
  std::size_t end = text.size();
  while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
  while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
  return std::string(text.substr(begin, end - begin));
}

}  // namespace

LanguagePreference LocaleHelpers::MakeLanguagePreference(boost::string_view text, std::error_code& error) {
  std::vector<std::string> languages;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t comma = text.find(',', start);
    if (comma == boost::string_view::npos) comma = text.size();
    boost::string_view item = text.substr(start, comma - start);
    std::size_t semicolon = item.find(';');
    std::string tag = Trim(item.substr(0, semicolon));
    if (!tag.empty() || comma < text.size()) {
      if (!IsTag(tag)) {
        error = std::make_error_code(std::errc::invalid_argument);
        return LanguagePreference();
      }
      languages.push_back(tag);
    }
    start = comma + 1;
  }
  error.clear();
  return LanguagePreference(std::move(languages));
}

Localizer::Localizer(std::shared_ptr<MessageCatalog const> catalog) : catalog_(std::move(catalog)) {}

Localizer::~Localizer() = default;

RequestLocalizer Localizer::ForRequest(LanguagePreference const& preference,
                                       TimezoneSpec const& timezone) const {
  if (catalog_) return RequestLocalizer(catalog_->Choose(preference.languages()), timezone.name());
  for (std::string const& wanted : preference.languages()) {
    for (std::string const& have : supported_) {
      if (wanted == have || wanted.compare(0, have.size() + 1, have + "-") == 0)
        return RequestLocalizer(have, timezone.name());
    }
  }
  return RequestLocalizer(std::string(LocaleHelpers::defaultLocale()), timezone.name());
}

std::shared_ptr<Data::ErrorValue const> Localizer::Localize(
    std::shared_ptr<Data::ErrorValue const> const& error, RequestLocalizer const& request) const {
  return catalog_ ? catalog_->Localize(error, request.language()) : error;
}

}  // namespace L10n
}  // namespace Opax
