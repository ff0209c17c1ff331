#include <opax/core/data/compound_value.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Opax {
namespace Data {
namespace {

std::vector<std::string> NamesByName(FieldMap const& map) {
  std::vector<std::string> names;
  for (FieldMap::Field const& field : map) names.push_back(field.name());
  return names;
}

std::vector<std::string> NamesInOrder(FieldMap const& map) {
  std::vector<std::string> names;
  for (FieldMap::Field const& field : map.inOrder()) names.push_back(field.name());
  return names;
}

TEST(FieldMap, KeepsNameOrderAndInsertionOrderApart) {
  FieldMap map;
  for (char const* name : {"vtcontainer", "object", "b", "a", "zz"})
    map.set(name, DataValue::Create(std::string(name)));
  EXPECT_EQ(NamesByName(map), (std::vector<std::string>{"a", "b", "object", "vtcontainer", "zz"}));
  EXPECT_EQ(NamesInOrder(map), (std::vector<std::string>{"vtcontainer", "object", "b", "a", "zz"}));
}

TEST(FieldMap, ReplacingAFieldKeepsItsPlace) {
  FieldMap map;
  map.set("first", DataValue::Create(int64_t{1}));
  map.set("second", DataValue::Create(int64_t{2}));
  map.set("first", DataValue::Create(int64_t{3}));
  EXPECT_EQ(map.size(), 2u);
  EXPECT_EQ(NamesInOrder(map), (std::vector<std::string>{"first", "second"}));
  int64_t value = 0;
  std::list<BaseMessage> messages;
  ASSERT_TRUE(DataValue::Value(*map.find("first"), value, messages));
  EXPECT_EQ(value, 3);
}

TEST(FieldMap, LookupDistinguishesPrefixesAndCase) {
  FieldMap map;
  for (char const* name : {"type", "types", "Type", "typ"})
    map.set(name, DataValue::Create(std::string(name)));
  std::list<BaseMessage> messages;
  for (char const* name : {"type", "types", "Type", "typ"}) {
    auto const* found = map.find(name);
    ASSERT_NE(found, nullptr) << name;
    std::string text;
    ASSERT_TRUE(DataValue::Value(*found, text, messages));
    EXPECT_EQ(text, name);
  }
  EXPECT_EQ(map.find("ty"), nullptr);
  EXPECT_EQ(map.find("typesx"), nullptr);
  EXPECT_EQ(map.find(""), nullptr);
}

TEST(FieldMap, SlotsHandedOutAfterReserveStayValid) {
  FieldMap map;
  map.reserve(64);
  std::vector<std::shared_ptr<DataValue const>*> slots;
  for (int i = 0; i < 64; ++i) slots.push_back(&map.slot("field" + std::to_string(63 - i)));
  for (int i = 0; i < 64; ++i) *slots[static_cast<std::size_t>(i)] = DataValue::Create(int64_t{i});
  std::list<BaseMessage> messages;
  int64_t value = -1;
  ASSERT_TRUE(DataValue::Value(*map.find("field0"), value, messages));
  EXPECT_EQ(value, 63);
}

TEST(FieldMap, LargeMapsStaySorted) {
  // Inserted in a scrambled order; the name order must still come out sorted and complete.
  FieldMap map;
  constexpr int kCount = 5000;
  for (int i = 0; i < kCount; ++i) map.set("k" + std::to_string((i * 7919) % kCount), nullptr);
  ASSERT_EQ(map.size(), static_cast<std::size_t>(kCount));
  std::vector<std::string> names = NamesByName(map);
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
  for (int i = 0; i < kCount; i += 97) EXPECT_TRUE(map.contains("k" + std::to_string(i)));
}

TEST(CompoundValue, GetFieldReportsAbsenceAndFindFieldDoesNot) {
  auto value = StructValue::GetInstance("com.quarn.nexar.credential");
  value->SetField("type", DataValue::Create(std::string("SAML_TOKEN")));
  std::list<BaseMessage> messages;
  std::shared_ptr<DataValue const> found;
  EXPECT_TRUE(value->GetField("type", found, messages));
  EXPECT_TRUE(messages.empty());
  EXPECT_FALSE(value->GetField("saml_token", found, messages));
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages.front().id(), "opax.data.structure.field.missing");
  EXPECT_EQ(messages.front().args().at(0), "saml_token");
  EXPECT_EQ(value->FindField("saml_token"), nullptr);
  EXPECT_EQ(messages.size(), 1u);
}

}  // namespace
}  // namespace Data
}  // namespace Opax
