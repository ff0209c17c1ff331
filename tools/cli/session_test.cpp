// The user's language as the server is asked for it, and the kept session's file.

#include "session/language.h"
#include "session/session_file.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <cstdlib>

namespace Cli {
namespace {

TEST(LanguageTag, LocalesBecomeAcceptLanguageTags) {
  struct Case {
    char const* locale;
    char const* tag;
  };
  for (auto const& c :
       {Case{"de_DE.UTF-8", "de-DE"}, Case{"fr_FR@euro", "fr-FR"}, Case{"ja", "ja"}, Case{"C", ""},
        Case{"POSIX", ""}, Case{"C.UTF-8", ""}, Case{"", ""}, Case{"en_US;rm -rf", ""}}) {
    EXPECT_EQ(LanguageTag(c.locale), c.tag) << c.locale;
  }
}

TEST(SessionFile, KeepsServerAndTokenAndForgetsThem) {
  char pattern[] = "/tmp/nexar-session-test-XXXXXX";
  ASSERT_NE(::mkdtemp(pattern), nullptr);
  ::setenv("XDG_CONFIG_HOME", pattern, 1);
  EXPECT_FALSE(LoadSession());
  std::string error;
  ASSERT_TRUE(SaveSession({"https://example.test:8443", ::Opax::SecretString("token-1")}, error)) << error;
  ASSERT_TRUE(SaveSession({"https://example.test:8443", ::Opax::SecretString("token-2")}, error)) << error;
  auto const loaded = LoadSession();
  ASSERT_TRUE(loaded);
  EXPECT_EQ(loaded->server, "https://example.test:8443");
  EXPECT_EQ(loaded->token.reveal(), "token-2");
  EXPECT_TRUE(RemoveSession());
  EXPECT_FALSE(LoadSession());
  EXPECT_FALSE(RemoveSession());
  ::rmdir((std::string(pattern) + "/nexar").c_str());
  ::rmdir(pattern);
  ::unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
}  // namespace Cli
