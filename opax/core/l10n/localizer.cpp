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

// "q=0.8" as HTTP writes a weight: 0 or 1, optionally with up to three decimals (1 only with
// zeros); false for anything else.
bool ParseWeight(std::string const& parameter, int& weight) {
  if (parameter.size() < 3 || (parameter[0] != 'q' && parameter[0] != 'Q') || parameter[1] != '=')
    return false;
  boost::string_view const value = boost::string_view(parameter).substr(2);
  if (value.empty() || (value[0] != '0' && value[0] != '1')) return false;
  weight = value[0] == '1' ? 1000 : 0;
  if (value.size() == 1) return true;
  if (value[1] != '.' || value.size() > 5) return false;
  int scale = 100;
  for (char const c : value.substr(2)) {
    if (c < '0' || c > '9' || (value[0] == '1' && c != '0')) return false;
    weight += (c - '0') * scale;
    scale /= 10;
  }
  return true;
}

}  // namespace

LanguagePreference LocaleHelpers::MakeLanguagePreference(boost::string_view text, std::error_code& error) {
  struct Weighted {
    std::string tag;
    int weight;  // the q value in thousandths, as HTTP writes it with at most three decimals
  };
  std::vector<Weighted> weighted;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t comma = text.find(',', start);
    if (comma == boost::string_view::npos) comma = text.size();
    boost::string_view item = text.substr(start, comma - start);
    std::size_t const semicolon = item.find(';');
    std::string tag = Trim(item.substr(0, semicolon));
    if (!tag.empty() || comma < text.size()) {
      int weight = 1000;
      bool valid = IsTag(tag);
      if (valid && semicolon != boost::string_view::npos)
        valid = ParseWeight(Trim(item.substr(semicolon + 1)), weight);
      if (!valid) {
        error = std::make_error_code(std::errc::invalid_argument);
        return LanguagePreference();
      }
      // q=0 says "not this language".
      if (weight > 0) weighted.push_back({std::move(tag), weight});
    }
    start = comma + 1;
  }
  // Heaviest first; tags of equal weight stay in the order given.
  std::stable_sort(weighted.begin(), weighted.end(),
                   [](Weighted const& a, Weighted const& b) { return a.weight > b.weight; });
  std::vector<std::string> languages;
  languages.reserve(weighted.size());
  for (Weighted& entry : weighted) languages.push_back(std::move(entry.tag));
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
