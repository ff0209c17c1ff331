#include <opax/core/data/compound_value.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace Opax {
namespace Data {
namespace {

std::vector<std::string> NamesByName(FieldMap const& map) {
  std::vector<std::string> names;
  for (FieldMap::Field const& field : map) names.emplace_back(field.name());
  return names;
}

std::vector<std::string> NamesInOrder(FieldMap const& map) {
  std::vector<std::string> names;
  for (FieldMap::Field const& field : map.inOrder()) names.emplace_back(field.name());
  return names;
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

// Whatever order names arrive in, name order comes out sorted and complete, insertion order
// as first inserted (a replaced name keeps its place), and a copy keeps both.
TEST(FieldMap, BothOrdersHoldForEveryInsertionOrder) {
  constexpr int64_t kCount = 3000;
  std::vector<std::string> ascending;
  for (int64_t i = 0; i < kCount; ++i) ascending.push_back("f" + std::to_string(100000 + i));
  std::vector<std::string> const descending(ascending.rbegin(), ascending.rend());
  std::vector<std::string> random = ascending;
  std::shuffle(random.begin(), random.end(), std::mt19937(15));
  struct Case {
    char const* order;
    std::vector<std::string> const& names;
    bool lookups;
  };
  for (Case const& test : {Case{"ascending", ascending, false}, Case{"descending", descending, false},
                           Case{"random", random, false}, Case{"random with lookups", random, true}}) {
    SCOPED_TRACE(test.order);
    auto value = StructValue::GetInstance("s");
    FieldMap& map = value->fields();
    for (std::size_t i = 0; i < test.names.size(); ++i) {
      map.set(test.names[i], DataValue::Create(static_cast<int64_t>(i)));
      if (i % 7 == 3) map.set(test.names[i / 3], DataValue::Create(static_cast<int64_t>(i / 3) + kCount));
      if (test.lookups) {
        ASSERT_TRUE(map.contains(test.names[i]));
        ASSERT_TRUE(map.contains(test.names[i / 2]));
        ASSERT_FALSE(map.contains(test.names[i] + "0"));
      }
    }
    ASSERT_EQ(map.size(), ascending.size());
    EXPECT_EQ(NamesByName(map), ascending);
    EXPECT_EQ(NamesInOrder(map), test.names);
    std::list<BaseMessage> messages;
    for (std::size_t i = 0; i < test.names.size(); ++i) {
      int64_t stored = -1;
      ASSERT_TRUE(DataValue::Value(*map.find(test.names[i]), stored, messages));
      ASSERT_EQ(stored % kCount, static_cast<int64_t>(i));
    }
    auto const copy = std::static_pointer_cast<StructValue const>(value->Copy());
    EXPECT_EQ(NamesByName(copy->fields()), ascending);
    EXPECT_EQ(NamesInOrder(copy->fields()), test.names);
    EXPECT_TRUE(DataValue::Equal(*copy, *value));

    // A merge in bulk keeps a name that was there first in its place, and leaves out what it skips.
    FieldMap merged;
    merged.set(test.names[5], nullptr);
    merged.set("a", nullptr);
    merged.Merge(map, [&](FieldMap::Field const& field) { return field.name() != ascending[7]; });
    std::vector<std::string> expected{test.names[5], "a"};
    for (std::string const& name : test.names) {
      if (name != test.names[5] && name != ascending[7]) expected.push_back(name);
    }
    EXPECT_EQ(NamesInOrder(merged), expected);
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(NamesByName(merged), expected);
    EXPECT_EQ(*merged.find(test.names[5]), *map.find(test.names[5]));
    // It has no index yet: lookups go by its name order, and an insertion out of order makes one.
    EXPECT_EQ(merged.find(ascending[7]), nullptr);
    merged.set(ascending[7], nullptr);
    merged.set("0", nullptr);
    merged.set("a", DataValue::Create(int64_t{1}));
    expected.insert(expected.begin(), "0");
    expected.insert(std::lower_bound(expected.begin(), expected.end(), ascending[7]), ascending[7]);
    EXPECT_EQ(NamesByName(merged), expected);
    EXPECT_EQ(merged.size(), expected.size());
    EXPECT_NE(*merged.find("a"), nullptr);
  }
}

// A large value that is shared is read by many threads at once: the first readers race to sort
// its names, every reader sees one complete order, and finds every name, the last ones inserted
// (whose index slots are still to be written) included.
TEST(FieldMap, ReadersOfASharedValueAgreeOnItsNameOrder) {
  std::vector<std::string> names;
  for (int i = 0; i < 2000; ++i) names.push_back("n" + std::to_string(i * 7919 % 2000));
  auto built = StructValue::GetInstance("s");
  for (std::string const& name : names) built->SetField(name, nullptr);
  std::shared_ptr<StructValue const> const shared = built;
  std::sort(names.begin(), names.end());
  std::vector<std::vector<std::string>> seen(4);
  std::vector<std::thread> readers;
  for (auto& names_seen : seen) {
    readers.emplace_back([&shared, &names_seen] {
      for (FieldMap::Field const& field : shared->fields().inOrder()) {
        if (!shared->fields().contains(field.name())) return;
      }
      names_seen = NamesByName(shared->fields());
    });
  }
  for (std::thread& reader : readers) reader.join();
  for (auto const& names_seen : seen) EXPECT_EQ(names_seen, names);
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

// A structure laid out from a known name order, made with room for its declared fields, that
// then takes more fields than it has room for: it moves out of its block without losing a field
// or either order, and crosses into the index of large maps.
TEST(FieldMap, LaidOutStructureGrowsOutOfItsBlock) {
  StaticName const names[] = {StaticName("zeta"), StaticName("alpha"),
                              StaticName("a_long_field_name_beyond_inline")};
  uint32_t byName[3];
  ASSERT_TRUE(FieldMap::NameOrder(names, 3, byName));
  auto value = StructValue::Make(StaticName("com.example.laid_out"), 3);
  value->fields().AssignNames(names, byName, 3);
  for (std::size_t i = 0; i < 3; ++i) value->fields().at(i).value() = DataValue::Create(int64_t(i));
  EXPECT_EQ(NamesByName(value->fields()),
            (std::vector<std::string>{"a_long_field_name_beyond_inline", "alpha", "zeta"}));
  ASSERT_NE(value->FindField("alpha"), nullptr);
  std::vector<std::string> expected = {"zeta", "alpha", "a_long_field_name_beyond_inline"};
  for (int i = 0; i < 40; ++i) {
    std::string const name = "extra_" + std::to_string(39 - i) + std::string(i % 3 == 0 ? 20 : 0, 'x');
    value->SetField(name, DataValue::Create(name));
    expected.push_back(name);
  }
  EXPECT_EQ(NamesInOrder(value->fields()), expected);
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(NamesByName(value->fields()), expected);
  for (std::string const& name : expected) ASSERT_NE(value->FindField(name), nullptr) << name;
  EXPECT_EQ(value->name(), "com.example.laid_out");
  // A copy keeps every name, static or owned, and compares equal.
  auto copy = value->Copy();
  EXPECT_TRUE(DataValue::Equal(*copy, *value));
}

TEST(FieldMap, NameOrderRefusesDuplicates) {
  StaticName const names[] = {StaticName("b"), StaticName("a"), StaticName("b")};
  uint32_t byName[3];
  EXPECT_FALSE(FieldMap::NameOrder(names, 3, byName));
}

// Names are views of static text or copies of their own, and moving a map (its entries move when
// it grows) must not leave a short copy pointing into the entry it came from.
TEST(Name, CopiesAndViewsSurviveMovesAndCopies) {
  std::string transient = "short";
  std::string longer(40, 'n');
  Name owned(transient);
  Name owned_long{std::string_view(longer)};
  Name view(StaticName("static_name"));
  transient = "SHORT";
  longer.assign(40, 'm');
  std::vector<Name> names;
  for (int i = 0; i < 20; ++i) {
    names.push_back(owned);
    names.push_back(owned_long);
    names.push_back(view);
  }
  for (std::size_t i = 0; i < names.size(); i += 3) {
    EXPECT_EQ(names[i].view(), "short");
    EXPECT_EQ(names[i + 1].view(), std::string(40, 'n'));
    EXPECT_EQ(names[i + 2].view(), "static_name");
    EXPECT_TRUE(names[i + 2].isStatic());
    EXPECT_FALSE(names[i].isStatic());
  }
  Name moved(std::move(names[0]));
  EXPECT_EQ(moved.view(), "short");
  EXPECT_TRUE(moved.is(StaticName("short")));
  EXPECT_FALSE(moved.is(StaticName("shorter")));
}

// String values keep their text in their own block: any length, embedded zero bytes included.
TEST(StringValue, KeepsAnyTextWhole) {
  for (std::string const& text : {std::string(), std::string("x"), std::string(15, 'a'), std::string(16, 'b'),
                                  std::string("nul\0inside", 10), std::string(100000, 'z')}) {
    auto value = DataValue::Create(text);
    std::string out = "previous";
    std::list<BaseMessage> messages;
    ASSERT_TRUE(DataValue::Value(value, out, messages));
    EXPECT_EQ(out, text);
    EXPECT_TRUE(DataValue::Equal(*value, *value->Copy()));
  }
}

}  // namespace
}  // namespace Data
}  // namespace Opax
