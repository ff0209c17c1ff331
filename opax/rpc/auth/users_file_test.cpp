#include <opax/rpc/auth/users_file.h>

#include <opax/core/message/message_ids.h>

#include <gtest/gtest.h>

#include <unistd.h>
#include <cstdio>
#include <fstream>

namespace Opax {
namespace Rpc {
namespace {

namespace Ids = MessageIds;
using Messages = std::list<BaseMessage>;

// Real hashing at a count low enough for a test.
constexpr uint32_t kFast = 1000;

std::string LineFor(std::string const& user, char const* password, uint32_t iterations = kFast) {
  std::string line = MakeUsersLine(user, SecretString(password), iterations);
  EXPECT_FALSE(line.empty()) << user;
  return line;
}

TEST(UsersFile, MadeLinesVerifyTheirOwnPasswordOnly) {
  std::string const alice = LineFor("alice", "correct horse");
  EXPECT_EQ(alice.rfind("alice:pbkdf2-sha256:1000:", 0), 0u) << "unexpected shape";
  // A fresh salt every time: equal passwords do not give equal lines.
  EXPECT_NE(LineFor("alice", "correct horse"), alice);

  Messages messages;
  auto const users =
      UsersFileAuthenticator::Parse(alice + "\n" + LineFor("bob", "battery staple") + "\n", messages);
  ASSERT_TRUE(users) << messages.front();
  EXPECT_EQ(users->size(), 2u);
  EXPECT_TRUE(users->Verify("alice", SecretString("correct horse")));
  EXPECT_TRUE(users->Verify("bob", SecretString("battery staple")));
  EXPECT_FALSE(users->Verify("alice", SecretString("battery staple")));
  EXPECT_FALSE(users->Verify("alice", SecretString("correct horsE")));
  EXPECT_FALSE(users->Verify("alice", SecretString("")));
  EXPECT_FALSE(users->Verify("Alice", SecretString("correct horse")));
  EXPECT_FALSE(users->Verify("carol", SecretString("correct horse")));
  EXPECT_FALSE(users->Verify("", SecretString("")));
}

TEST(UsersFile, NamesAndCountsThatCannotBeStoredMakeNoLine) {
  for (std::string const& user : {std::string(), std::string("a:b"), std::string("a b"), std::string("#root"),
                                  std::string("tab\there"), std::string("nl\n"), std::string("del\x7f")}) {
    EXPECT_EQ(MakeUsersLine(user, SecretString("pw"), kFast), "") << "user of length " << user.size();
  }
  EXPECT_EQ(MakeUsersLine("alice", SecretString("pw"), 999), "");
  EXPECT_EQ(MakeUsersLine("alice", SecretString("pw"), 10000001), "");
  EXPECT_NE(MakeUsersLine("j\xc3\xb6rg", SecretString("pw"), kFast), "");
}

TEST(UsersFile, CommentsBlankLinesAndCarriageReturnsAreSkipped) {
  std::string const text = "# users of the test server\r\n\r\n   # indented comment\n \t \n" +
                           LineFor("alice", "a") + "\r\n" + LineFor("bob", "b");  // no final newline
  Messages messages;
  auto const users = UsersFileAuthenticator::Parse(text, messages);
  ASSERT_TRUE(users);
  EXPECT_TRUE(messages.empty());
  EXPECT_EQ(users->size(), 2u);
  EXPECT_TRUE(users->Verify("alice", SecretString("a")));
  EXPECT_TRUE(users->Verify("bob", SecretString("b")));
  ASSERT_TRUE(UsersFileAuthenticator::Parse("", messages));
}

// Each bad line sits on line 4, after a comment, a blank line and a good line; it must be refused
// with its own message naming line 4, and nothing of the line may appear in the message.
TEST(UsersFile, MalformedLinesAreRefusedByNumberWithoutTheirText) {
  std::string const salt = "c2FsdHNhbHRzYWx0c2FsdA==";                      // 16 bytes
  std::string const hash = "aGFzaGhhc2hoYXNoaGFzaGhhc2hoYXNoaGFzaGhhc2g=";  // 32 bytes
  std::string const good = "zed:pbkdf2-sha256:1000:" + salt + ":" + hash;
  struct Case {
    std::string line;
    char const* id;
  };
  Case const cases[] = {
      {"carol", Ids::kUsersLineFields},
      {"carol:pbkdf2-sha256:1000:" + salt, Ids::kUsersLineFields},
      {"carol:pbkdf2-sha256:1000:" + salt + ":" + hash + ":", Ids::kUsersLineFields},
      {":pbkdf2-sha256:1000:" + salt + ":" + hash, Ids::kUsersLineUser},
      {" carol:pbkdf2-sha256:1000:" + salt + ":" + hash, Ids::kUsersLineUser},
      {"ca rol:pbkdf2-sha256:1000:" + salt + ":" + hash, Ids::kUsersLineUser},
      {"ca\x01rol:pbkdf2-sha256:1000:" + salt + ":" + hash, Ids::kUsersLineUser},
      {"carol:pbkdf2-sha1:1000:" + salt + ":" + hash, Ids::kUsersLineScheme},
      {"carol:PBKDF2-SHA256:1000:" + salt + ":" + hash, Ids::kUsersLineScheme},
      {"carol::1000:" + salt + ":" + hash, Ids::kUsersLineScheme},
      {"carol:pbkdf2-sha256::" + salt + ":" + hash, Ids::kUsersLineIterations},
      {"carol:pbkdf2-sha256:999:" + salt + ":" + hash, Ids::kUsersLineIterations},
      {"carol:pbkdf2-sha256:10000001:" + salt + ":" + hash, Ids::kUsersLineIterations},
      {"carol:pbkdf2-sha256:4294968296:" + salt + ":" + hash, Ids::kUsersLineIterations},
      {"carol:pbkdf2-sha256:-1000:" + salt + ":" + hash, Ids::kUsersLineIterations},
      {"carol:pbkdf2-sha256:+1000:" + salt + ":" + hash, Ids::kUsersLineIterations},
      {"carol:pbkdf2-sha256:1e5:" + salt + ":" + hash, Ids::kUsersLineIterations},
      {"carol:pbkdf2-sha256: 1000:" + salt + ":" + hash, Ids::kUsersLineIterations},
      {"carol:pbkdf2-sha256:1000::" + hash, Ids::kUsersLineSalt},
      {"carol:pbkdf2-sha256:1000:c2FsdHNhbHQ=:" + hash, Ids::kUsersLineSalt},            // 8 bytes
      {"carol:pbkdf2-sha256:1000:c2FsdHNhbHRzYWx0c2FsdA:" + hash, Ids::kUsersLineSalt},  // no padding
      {"carol:pbkdf2-sha256:1000:c2Fsd!NhbHRzYWx0c2FsdA==:" + hash, Ids::kUsersLineSalt},
      {"carol:pbkdf2-sha256:1000:c2Fsd HNhbHRzYWx0c2FsdA==:" + hash, Ids::kUsersLineSalt},
      {"carol:pbkdf2-sha256:1000:c2FsdHNhb=RzYWx0c2FsdA==:" + hash, Ids::kUsersLineSalt},
      {"carol:pbkdf2-sha256:1000:" + salt + ":", Ids::kUsersLineHash},
      {"carol:pbkdf2-sha256:1000:" + salt + ":" + salt, Ids::kUsersLineHash},  // 16 bytes
      {"carol:pbkdf2-sha256:1000:" + salt + ":" + hash.substr(0, 40) + "aA==", Ids::kUsersLineHash},  // 31
      {"carol:pbkdf2-sha256:1000:" + salt + ":aGFzaGhhc2hoYXNoaGFzaGhhc2hoYXNoaGFzaGhhc2ho",
       Ids::kUsersLineHash},                                                            // 33
      {"carol:pbkdf2-sha256:1000:" + salt + ":" + hash + "aGFz", Ids::kUsersLineHash},  // padding inside
      {"carol:pbkdf2-sha256:1000:" + salt + ":" + hash + " ", Ids::kUsersLineHash},
      {good, Ids::kUsersLineDuplicate},
  };
  for (Case const& c : cases) {
    Messages messages;
    std::string const text = "# users\n\n" + good + "\n" + c.line + "\n";
    EXPECT_FALSE(UsersFileAuthenticator::Parse(text, messages)) << c.id;
    ASSERT_EQ(messages.size(), 1u) << c.id;
    BaseMessage const& message = messages.front();
    EXPECT_EQ(message.id(), c.id);
    ASSERT_FALSE(message.args().empty());
    EXPECT_EQ(message.args()[0], "4");
    for (std::string const& part : {salt, hash, std::string("carol"), std::string("zed")}) {
      EXPECT_EQ(message.defaultMessage().find(part), std::string::npos) << c.id;
      for (auto const& arg : message.args()) EXPECT_EQ(arg.find(part), std::string::npos) << c.id;
    }
  }
}

TEST(UsersFile, EveryFaultyLineIsReported) {
  Messages messages;
  std::string const text = "a\n" + LineFor("ok", "pw") + "\nb:c\n\nd:e:f:g:h\n";
  EXPECT_FALSE(UsersFileAuthenticator::Parse(text, messages));
  std::vector<std::string> lines;
  for (auto const& m : messages) lines.push_back(m.args().at(0));
  EXPECT_EQ(lines, (std::vector<std::string>{"1", "3", "5"}));
}

TEST(UsersFile, LoadReadsAFileAndRefusesWhatIsNotOne) {
  std::string const path = ::testing::TempDir() + "users_file_test." + std::to_string(::getpid());
  {
    std::ofstream out(path);
    out << "# test\n" << LineFor("alice", "pw") << "\n";
  }
  Messages messages;
  auto const users = UsersFileAuthenticator::Load(path, messages);
  std::remove(path.c_str());
  ASSERT_TRUE(users);
  EXPECT_TRUE(users->Verify("alice", SecretString("pw")));

  for (std::string const& bad : {path, ::testing::TempDir()}) {
    messages.clear();
    EXPECT_FALSE(UsersFileAuthenticator::Load(bad, messages)) << bad;
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages.front().id(), Ids::kUsersFileUnreadable);
  }
}

}  // namespace
}  // namespace Rpc
}  // namespace Opax
