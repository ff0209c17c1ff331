#pragma once

#include <string>

namespace Cli {

// The user's language as an Accept-Language tag ("de-DE") from LC_ALL, else LC_MESSAGES, else
// LANG; empty for the C and POSIX locales or when none is set, so that the server's default holds.
std::string UserLanguage();

// "de_DE.UTF-8@euro" -> "de-DE"; empty for "C", "POSIX" and anything that is not a language.
std::string LanguageTag(std::string const& locale);

}  // namespace Cli
