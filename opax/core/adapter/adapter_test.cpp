#include <opax/core/testing/sample_types.h>

#include <boost/optional/optional_io.hpp>
#include <gtest/gtest.h>

namespace Opax {
namespace Data {
namespace {

using Messages = std::list<BaseMessage>;
using Sample::Color;

std::vector<std::string> Listing(DataValue const& value) {
  std::vector<std::string> names;
  for (FieldMap::Field const& field : static_cast<StructValue const&>(value).fields().inOrder()) {
    names.emplace_back(field.name());
  }
  return names;
}

std::shared_ptr<Sample::Node> FilledNode() {
  auto node = std::make_shared<Sample::Node>();
  node->name = "root";
  node->weight = 7;
  auto child = std::make_shared<Sample::Node>();
  child->name = "child";
  node->next = child;
  node->children = {child, child};
  node->counts = {{"b", 2}, {"a", -1}};
  node->colors = {Color(Color::BLUE), Color(std::string("MAUVE")), Color(Color::RED)};
  node->labels = {"z", "a", "z"};
  node->secret = SecretString("pw");
  DateTime::Parse("2024-02-29T23:59:59.999Z", node->when);
  node->blob = {1, 2, 3};
  node->ratio = -0.25;
  auto extra = StructValue::GetInstance("some.other.type");
  extra->SetField("anything", DataValue::Create(true));
  node->extra = DynamicStructure(extra);
  auto detail = std::make_shared<Sample::Detail>();
  detail->tags = std::set<std::string>{"x", "y"};
  detail->color = Color(Color::GREEN);
  node->details = std::map<std::string, std::list<std::shared_ptr<Sample::Detail const>>>{{"k", {detail}}};
  return node;
}

TEST(Adapters, EveryFieldKindRoundTripsAndConvertsBackToAnEqualValue) {
  auto node = FilledNode();
  Messages messages;
  std::shared_ptr<DataValue const> value;
  ASSERT_TRUE(NativeToValueAdapter::Adapt(*node, value, messages));
  Sample::Node back;
  ASSERT_TRUE(ValueToNativeAdapter::Adapt(value, back, messages));
  EXPECT_TRUE(messages.empty());

  EXPECT_EQ(back.name, "root");
  EXPECT_EQ(back.weight, boost::optional<int64_t>(7));
  ASSERT_TRUE(back.next);
  EXPECT_EQ(back.next->name, "child");
  EXPECT_EQ(back.children.size(), 2u);
  EXPECT_EQ(back.counts, node->counts);
  EXPECT_EQ(back.labels, node->labels);
  EXPECT_EQ(back.secret, node->secret);
  EXPECT_EQ(back.when, node->when);
  EXPECT_EQ(back.blob, node->blob);
  EXPECT_EQ(back.ratio, -0.25);
  EXPECT_TRUE(DataValue::Equal(*back.extra.value(), *node->extra.value()));
  ASSERT_EQ(back.colors.size(), 3u);
  EXPECT_EQ(EnumTraits<Color>::Text(*std::next(back.colors.begin(), 2)), "MAUVE")
      << "an unknown enumeration text is kept and written back unchanged";
  ASSERT_TRUE(back.details);
  EXPECT_TRUE(back.details->at("k").front()->tags == node->details->at("k").front()->tags);

  std::shared_ptr<DataValue const> again;
  ASSERT_TRUE(NativeToValueAdapter::Adapt(back, again, messages));
  EXPECT_TRUE(DataValue::Equal(*value, *again));
}

TEST(Adapters, UnknownFieldsAreKeptAndWrittenBackAfterTheDeclaredOnes) {
  auto received = StructValue::GetInstance("sample.detail");
  received->SetField("zeta", DataValue::Create(std::string("from a newer peer")));
  received->SetField("label", OptionalValue::GetInstance(DataValue::Create(std::string("L"))));
  received->SetField("alpha", OptionalValue::GetInstance(DataValue::Create(int64_t{1})));
  Messages messages;
  Sample::Detail detail;
  ASSERT_TRUE(ValueToNativeAdapter::Adapt(received, detail, messages));
  ASSERT_TRUE(detail.unknownFields);
  EXPECT_EQ(detail.unknownFields->fields().size(), 2u);
  EXPECT_EQ(detail.label, boost::optional<std::string>("L"));

  std::shared_ptr<DataValue const> sent;
  ASSERT_TRUE(NativeToValueAdapter::Adapt(detail, sent, messages));
  std::vector<std::string> listing = Listing(*sent);
  ASSERT_EQ(listing.size(), 11u);
  EXPECT_EQ(listing[9], "zeta");
  EXPECT_EQ(listing[10], "alpha");
}

TEST(Adapters, NonStructureForAStructureIsExactlyOneInvalidTypeAndTouchesNothing) {
  for (auto const& bad : std::vector<std::shared_ptr<DataValue const>>{
           nullptr, DataValue::Create(std::string("x")), ListValue::GetInstance(Kind::Structure),
           OptionalValue::GetInstance(),
           OptionalValue::GetInstance(OptionalValue::GetInstance(DataValue::Create(std::string("x")))),
           DataValue::Create(Opax::Void()), DataValue::Create(SecretString("s"))}) {
    SCOPED_TRACE(bad ? bad->ToString() : "null");
    Sample::Record record;
    record.name = "kept";
    record.size = 5;
    Messages messages;
    EXPECT_FALSE(ValueToNativeAdapter::Adapt(bad, record, messages));
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages.front().id(), "opax.data.invalid.type");
    EXPECT_TRUE(messages.front().args().empty());
    EXPECT_EQ(record.name, "kept");
    EXPECT_EQ(record.size, 5);
  }
  Sample::Record record;
  Messages messages;
  EXPECT_FALSE(ValueToNativeAdapter::Adapt(MapValue::GetInstance(), record, messages));
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages.front().id(), "opax.data.bad.cast1");
}

TEST(Adapters, FirstWrongKindStopsTheConversion) {
  auto received = StructValue::GetInstance("sample.record");
  received->SetField("name", DataValue::Create(std::string("n")));
  received->SetField("size", DataValue::Create(std::string("not a number")));
  received->SetField("read_only", DataValue::Create(int64_t{1}));
  received->SetField("generation", DataValue::Create(int64_t{9}));
  Sample::Record record;
  Messages messages;
  EXPECT_FALSE(ValueToNativeAdapter::Adapt(received, record, messages));
  ASSERT_EQ(messages.size(), 1u) << "the conversion stops at the first failure";
  EXPECT_EQ(messages.front().id(), "opax.data.invalid.type");
}

TEST(Adapters, WrongShapesInsideContainersAreRefused) {
  struct Case {
    char const* field;
    std::shared_ptr<DataValue const> value;
  };
  auto mixed = ListValue::GetInstance(Kind::Structure);
  mixed->values().push_back(DataValue::Create(true));
  auto badMap = MapValue::GetInstance();
  badMap->SetField("k", DataValue::Create(std::string("v")));
  auto unknownColors = ListValue::GetInstance(Kind::Integer);
  static_cast<ListValueLong&>(*unknownColors).Append(int64_t{1});
  for (Case const& c : {Case{"children", mixed}, Case{"counts", badMap}, Case{"colors", unknownColors},
                        Case{"labels", DataValue::Create(std::string("not a list"))},
                        Case{"next", OptionalValue::GetInstance(DataValue::Create(int64_t{3}))},
                        Case{"when", DataValue::Create(std::string("yesterday"))}}) {
    auto received = StructValue::GetInstance("sample.node");
    received->SetField(c.field, c.value);
    Sample::Node node;
    Messages messages;
    EXPECT_FALSE(ValueToNativeAdapter::Adapt(received, node, messages)) << c.field;
    EXPECT_EQ(messages.size(), 1u) << c.field;
  }
}

TEST(Adapters, EmptyRequiredStructureCannotBeSent) {
  Sample::Node node;
  node.children.push_back(nullptr);
  Messages messages;
  std::shared_ptr<DataValue const> value;
  EXPECT_FALSE(NativeToValueAdapter::Adapt(node, value, messages));
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages.front().id(), "opax.data.unset.non.optional.field");
}

TEST(Adapters, OperationInputIsAnEmptyStructureUnderTheCommonName) {
  Messages messages;
  std::shared_ptr<DataValue const> value;
  ASSERT_TRUE(NativeToValueAdapter::Adapt(OperationInput(), value, messages));
  EXPECT_EQ(static_cast<StructValue const&>(*value).name(), TypeInfo<OperationInput>::name());
  OperationInput input;
  EXPECT_TRUE(ValueToNativeAdapter::Adapt(value, input, messages));
  auto definition = NativeToDefinitionAdapter::DefinitionOf<OperationInput>();
  EXPECT_TRUE(definition->Validate(value, messages));
  EXPECT_TRUE(static_cast<StructDefinition const&>(*definition).fields().empty());
}

}  // namespace
}  // namespace Data
}  // namespace Opax
