#include "session/language.h"

#include <cctype>
#include <cstdlib>

namespace Cli {

std::string LanguageTag(std::string const& locale) {
  std::string const base = locale.substr(0, locale.find_first_of(".@"));
  if (base.empty() || base == "C" || base == "POSIX") return std::string();
  std::string tag;
  for (char const c : base) {
    if (c == '_') {
      tag += '-';
    } else if (std::isalpha(static_cast<unsigned char>(c))) {
      tag += c;
    } else {
      return std::string();
    }
  }
  return tag;
}

std::string UserLanguage() {
  for (char const* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    char const* value = std::getenv(variable);
    if (value && *value) return LanguageTag(value);
  }
  return std::string();
}

}  // namespace Cli
