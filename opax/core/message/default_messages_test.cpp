#include <opax/core/base/secret_string.h>
#include <opax/core/message/base_message.h>
#include <opax/core/message/message.h>
#include <opax/core/message/message_ids.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

namespace Opax {
namespace {

using Core = Message<CoreTag>;

struct DocumentedId {
  std::string id;
  std::size_t argumentCount;
};

// Read from message_ids.h itself rather than from a list kept here, so that an id added there
// without a default text, or with a different argument list, fails this test.
std::vector<DocumentedId> ReadDocumentedIds() {
  std::string path = __FILE__;
  path = path.substr(0, path.find_last_of('/') + 1) + "message_ids.h";
  std::ifstream in(path);
  EXPECT_TRUE(in) << "cannot read " << path;
  std::vector<DocumentedId> ids;
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("constexpr char const k", 0) != 0) continue;
    std::size_t const open = line.find('"');
    std::size_t const close = line.find('"', open + 1);
    std::size_t const comment = line.find("//", close);
    EXPECT_NE(comment, std::string::npos) << "no argument list documented: " << line;
    if (close == std::string::npos || comment == std::string::npos) continue;
    std::string arguments = line.substr(comment + 2);
    arguments.erase(0, arguments.find_first_not_of(' '));
    arguments.erase(arguments.find_last_not_of(' ') + 1);
    std::size_t const count =
        arguments == "(none)"
            ? 0
            : 1 + static_cast<std::size_t>(std::count(arguments.begin(), arguments.end(), ','));
    ids.push_back({line.substr(open + 1, close - open - 1), count});
  }
  return ids;
}

TEST(DefaultMessages, EveryDocumentedIdHasATextUsingExactlyItsArguments) {
  std::vector<DocumentedId> const ids = ReadDocumentedIds();
  std::set<std::string> seen;
  for (DocumentedId const& documented : ids) seen.insert(documented.id);
  // Guards the reader itself: the first and the last declaration of the header must be found.
  ASSERT_TRUE(seen.count(MessageIds::kInvalidType));
  ASSERT_TRUE(seen.count(MessageIds::kTaskFollowTimedOut));
  EXPECT_EQ(seen.size(), ids.size()) << "an id is declared twice";

  for (DocumentedId const& documented : ids) {
    SCOPED_TRACE(documented.id);
    EXPECT_EQ(Core::DefaultMessageForId(documented.id).find(documented.id), std::string::npos)
        << "falls back to the unknown-id text";
    std::vector<std::string> args;
    for (std::size_t i = 0; i < documented.argumentCount; ++i) args.push_back("<" + std::to_string(i) + ">");
    std::string const filled = Core::TextFor(documented.id, args);
    for (std::string const& arg : args) EXPECT_NE(filled.find(arg), std::string::npos) << filled;
    EXPECT_EQ(filled.find('{'), std::string::npos) << "a placeholder has no documented argument: " << filled;
  }
}

TEST(DefaultMessages, FillArgumentsInTheirDocumentedOrder) {
  EXPECT_EQ(
      BaseMessage::Make(MessageIds::kUnionIsNotSet, {"backing", "Drive.Settings"}).defaultMessage(),
      "Field 'backing' of structure 'Drive.Settings' is required for the current value of its union tag "
      "but is not set.");
  EXPECT_EQ(Core::TextFor(MessageIds::kUnionNoTag, {"type", "isoFile", "Backing"}),
            "Field 'isoFile' of structure 'Backing' is set, but its union tag field 'type' is not.");
  EXPECT_EQ(Core::TextFor(MessageIds::kFieldExtra, {"Info", "extra"}),
            "Structure 'Info' does not declare the field 'extra' it received.");
}

TEST(DefaultMessages, UnknownIdKeepsIdAndEveryArgument) {
  EXPECT_EQ(Core::TextFor("x.y", {"a", "b"}), "Message 'x.y' (arguments: 'a', 'b')");
  EXPECT_EQ(Core::TextFor("x.y", {}), "Message 'x.y'");
  // Neither the id nor the arguments are read as templates.
  EXPECT_EQ(Core::TextFor("x.{0}", {"{1}", "}{"}), "Message 'x.{0}' (arguments: '{1}', '}{')");
  EXPECT_EQ(Core::Format(Core::DefaultMessageForId("x.{0}}"), {"a"}), "Message 'x.{0}}'");
  EXPECT_EQ(Core::TextFor("", {}), "Message ''");
}

TEST(MessageFormat, ReplacesNumberedPlaceholders) {
  EXPECT_EQ(Core::Format("{1} before {0}, {1} again", {"a", "b"}), "b before a, b again");
  EXPECT_EQ(Core::Format("{00}", {"a"}), "a");
  // An argument that looks like a placeholder is inserted as it is, not expanded again.
  EXPECT_EQ(Core::Format("{0}{1}", {"{1}", "x"}), "{1}x");
  EXPECT_EQ(Core::Format("", {"a"}), "");
}

TEST(MessageFormat, LeavesWhatIsNotAFilledPlaceholderAsItIs) {
  std::vector<std::string> const args = {"a"};
  EXPECT_EQ(Core::Format("{1} and {0}", args), "{1} and a");
  EXPECT_EQ(Core::Format("{0}", {}), "{0}");
  EXPECT_EQ(Core::Format("{99999999999999999999}", args), "{99999999999999999999}");
  EXPECT_EQ(Core::Format("{18446744073709551616}", args), "{18446744073709551616}");
  for (char const* malformed : {"{", "}", "{}", "{x}", "{0", "{ 0}", "{-1}", "a{", "}{0", "{0 }"}) {
    EXPECT_EQ(Core::Format(malformed, args), malformed);
  }
}

TEST(MessageFormat, DoubledBracesAreLiteral) {
  EXPECT_EQ(Core::Format("{{0}} is {0}", {"a"}), "{0} is a");
  EXPECT_EQ(Core::Format("{{{0}}}", {"a"}), "{a}");
  EXPECT_EQ(Core::Format("}}}", {}), "}}");
  EXPECT_EQ(Core::Format("{{0}", {"a"}), "{0}");
}

TEST(BaseMessage, StreamsIdAndTextButNeverASecret) {
  SecretString const secret("hunter2");
  std::ostringstream shown;
  shown << secret;
  EXPECT_EQ(shown.str(), "********");

  BaseMessage const message = BaseMessage::Make(MessageIds::kInvalidInput, {shown.str()});
  std::ostringstream out;
  out << message;
  EXPECT_EQ(out.str(), "opax.invoke.invalid.input: The input of operation '********' is not valid.");
}

}  // namespace
}  // namespace Opax
