// Depth costs heap, never stack: a text and a value a million levels deep go both ways under
// the default stack once the depth limit is lifted, and the default limit refuses them cleanly.
// Width costs time in proportion: a structure, list or map of a million members is built,
// copied, compared, validated, written, read back and freed.

#include <opax/core/data/compound_value.h>
#include <opax/core/data/list_value.h>
#include <opax/core/message/message_ids.h>
#include <opax/json/json.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace Opax {
namespace Json {
namespace {

using namespace Data;  // NOLINT
using Messages = std::list<BaseMessage>;

constexpr std::size_t kLevels = 1000000;

TEST(Deep, AMillionNestedArraysByLooks) {
  std::string const text = std::string(kLevels, '[') + std::string(kLevels, ']');
  DataValuePtr value;
  Messages messages;
  ASSERT_TRUE(Decode(text, value, messages, Limits::Unlimited()));
  std::string again;
  ASSERT_TRUE(Encode(*value, nullptr, again, messages));
  EXPECT_EQ(again, text);

  messages.clear();
  DataValuePtr refused;
  EXPECT_FALSE(Decode(text, refused, messages));
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages.front().id(), MessageIds::kJsonLimit);
  // Cut off partway: the half-built levels are freed without descending either.
  messages.clear();
  EXPECT_FALSE(Decode(text.substr(0, text.size() / 2 + 7), refused, messages, Limits::Unlimited()));
  EXPECT_EQ(messages.front().id(), MessageIds::kJsonTruncated);
}

// A structure that refers to itself, directed by its definition at every level.
TEST(Deep, AMillionNestedStructuresThroughAReference) {
  auto self = StructRefDefinition::GetInstance("com.example.node");
  auto node = StructDefinition::GetInstance(
      "com.example.node",
      {{"id", DataDefinition::Create<int64_t>()}, {"next", OptionalDefinition::GetInstance(self)}});
  self->targetDefinition(node);

  std::string text;
  text.reserve(kLevels * 19);
  for (std::size_t i = 0; i < kLevels; ++i) text += R"({"id":1,"next":)";
  text += "null";
  for (std::size_t i = 0; i < kLevels; ++i) text += '}';

  DataValuePtr value;
  Messages messages;
  ASSERT_TRUE(Decode(text, *node, value, messages, Limits::Unlimited())) << messages.front().defaultMessage();
  EXPECT_TRUE(node->Validate(value, messages));
  DataValuePtr const copy = value->Copy();
  EXPECT_TRUE(DataValue::Equal(*value, *copy));
  std::string again;
  ASSERT_TRUE(Encode(*value, node.get(), again, messages));
  // The innermost "next" is unset, so it is left out; every other level is written whole.
  std::string written;
  written.reserve(text.size());
  for (std::size_t i = 0; i + 1 < kLevels; ++i) written += R"({"id":1,"next":)";
  written += R"({"id":1})";
  written.append(kLevels - 1, '}');
  EXPECT_EQ(again, written);
}

TEST(Wide, AMillionMembersEachWay) {
  auto const integer = DataDefinition::Create<int64_t>();
  struct Case {
    char const* name;
    std::function<DataValuePtr()> build;
    DataDefinitionPtr definition;
  };
  Case const cases[] = {
      {"structure",
       [] {
         auto value = StructValue::GetInstance("com.example.wide");
         for (std::size_t i = 0; i < kLevels; ++i)
           value->SetField("f" + std::to_string(i), DataValue::Create(int64_t{1}));
         return value;
       },
       // Fields past the named one are extras, which the definition allows and passes through.
       StructDefinition::GetInstance("com.example.wide", {{"f0", integer}})},
      // Doubles, held as one value each: the costlier of the two ways a list keeps its elements.
      {"list",
       [] {
         auto value = ListValue::GetInstance(Kind::Double);
         value->values().assign(kLevels, DataValue::Create(0.5));
         return value;
       },
       ListDefinition::GetInstance(DataDefinition::Create<double>())},
      {"map",
       [] {
         auto value = MapValue::GetInstance();
         for (std::size_t i = 0; i < kLevels; ++i)
           value->SetField("k" + std::to_string(i), DataValue::Create(int64_t{1}));
         return value;
       },
       MapDefinition::GetInstance(integer)},
  };
  for (Case const& c : cases) {
    DataValuePtr value = c.build();
    Messages messages;
    EXPECT_TRUE(c.definition->Validate(value, messages)) << c.name;
    DataValuePtr copy = value->Copy();
    EXPECT_TRUE(DataValue::Equal(*value, *copy)) << c.name;
    std::string text;
    ASSERT_TRUE(Encode(*value, c.definition.get(), text, messages)) << c.name;

    DataValuePtr back;
    EXPECT_FALSE(Decode(text, *c.definition, back, messages)) << c.name;
    ASSERT_EQ(messages.size(), 1u) << c.name;
    EXPECT_EQ(messages.front().id(), MessageIds::kJsonLimit) << c.name;
    messages.clear();
    ASSERT_TRUE(Decode(text, *c.definition, back, messages, Limits::Unlimited())) << c.name;
    EXPECT_TRUE(DataValue::Equal(*value, *back)) << c.name;
  }
}

}  // namespace
}  // namespace Json
}  // namespace Opax
