// What nexar prints: secrets masked, lists of structures as tables, progress as a bar or lines.

#include "render/print_value.h"
#include "render/progress_display.h"

#include <opax/core/data/compound_value.h>
#include <opax/core/data/list_value.h>

#include <gtest/gtest.h>

#include <sstream>

namespace Cli {
namespace {

using ::Opax::Data::DataValue;
using ::Opax::Data::Kind;
using ::Opax::Data::ListValue;
using ::Opax::Data::StructValue;

std::shared_ptr<DataValue const> Account(std::string const& name, std::string const& password) {
  auto account = StructValue::GetInstance("account");
  account->SetField("name", DataValue::Create(name));
  account->SetField("password", DataValue::Create(::Opax::SecretString(password)));
  return account;
}

TEST(PrintValue, SecretsNeverShowInEitherFormat) {
  auto list = ListValue::GetInstance(Kind::Structure);
  std::list<::Opax::BaseMessage> messages;
  ASSERT_TRUE(list->Append(Account("alice", "hunter2"), messages));
  ASSERT_TRUE(list->Append(Account("bob", "swordfish"), messages));
  for (auto format : {OutputFormat::Json, OutputFormat::Table}) {
    std::ostringstream out;
    PrintValue(out, list, nullptr, format);
    EXPECT_EQ(out.str().find("hunter2"), std::string::npos) << out.str();
    EXPECT_EQ(out.str().find("swordfish"), std::string::npos) << out.str();
    EXPECT_NE(out.str().find("********"), std::string::npos) << out.str();
  }
  std::ostringstream table;
  PrintValue(table, list, nullptr, OutputFormat::Table);
  EXPECT_EQ(table.str(), "NAME   PASSWORD\nalice  ********\nbob    ********\n");
}

TEST(ProgressDisplay, RedrawsInPlaceOnATerminalAndWritesLinesElsewhere) {
  struct Case {
    bool terminal;
    char const* expectedPiece;
    char const* absentPiece;
  };
  for (auto const& c : {Case{true, "\r\x1b[K[###############               ]  50%", "\n[#"},
                        Case{false, "progress: 50% copying (0:00)\n", "\r"}}) {
    std::ostringstream out;
    ProgressDisplay display(out, c.terminal);
    display.Update(::Opax::Progress{4, 1, "starting"});
    display.Update(::Opax::Progress{4, 2, "copying"});
    display.Finish();
    EXPECT_NE(out.str().find(c.expectedPiece), std::string::npos) << out.str();
    EXPECT_EQ(out.str().find(c.absentPiece), std::string::npos) << out.str();
  }
}

}  // namespace
}  // namespace Cli
