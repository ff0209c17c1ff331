#include <opax/core/data/compound_value.h>
#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>
#include <opax/core/message/error_ids.h>

#include <gtest/gtest.h>

#include <limits>

namespace Opax {
namespace Data {
namespace {

using Messages = std::list<BaseMessage>;

std::string OnlyId(Messages const& messages) {
  EXPECT_EQ(messages.size(), 1u);
  return messages.empty() ? std::string() : messages.front().id();
}

template <class X>
void ExpectRoundTrip(X const& value, Kind kind) {
  auto wrapped = DataValue::Create(value);
  ASSERT_TRUE(wrapped);
  EXPECT_EQ(wrapped->kind(), kind);
  X back{};
  Messages messages;
  EXPECT_TRUE(DataValue::Value(wrapped, back, messages));
  EXPECT_TRUE(messages.empty());
  EXPECT_TRUE(back == value);
}

TEST(DataValue, EveryPrimitiveKindRoundTrips) {
  ExpectRoundTrip(std::string("text"), Kind::String);
  ExpectRoundTrip(int64_t{-42}, Kind::Integer);
  ExpectRoundTrip(std::numeric_limits<int64_t>::min(), Kind::Integer);
  ExpectRoundTrip(7, Kind::Integer);
  ExpectRoundTrip(true, Kind::Boolean);
  ExpectRoundTrip(2.5, Kind::Double);
  ExpectRoundTrip(std::vector<unsigned char>{0, 255, 7}, Kind::Binary);
  ExpectRoundTrip(Opax::DateTime::FromEpochMilliseconds(1700000000123), Kind::DateTime);
  ExpectRoundTrip(Opax::SecretString("hunter2"), Kind::Secret);
  ExpectRoundTrip(Opax::Void(), Kind::Void);
}

TEST(DataValue, ExactReaderRefusesEveryOtherKind) {
  std::vector<std::shared_ptr<DataValue const>> values = {
      DataValue::Create(std::string("1")),
      DataValue::Create(int64_t{1}),
      DataValue::Create(true),
      DataValue::Create(1.0),
      DataValue::Create(Opax::SecretString("s")),
      DataValue::Create(Opax::Void()),
      OptionalValue::GetInstance(DataValue::Create(int64_t{1})),
      StructValue::GetInstance("s"),
      ListValue::GetInstance(Kind::Structure),
      MapValue::GetInstance(),
      nullptr};
  for (auto const& value : values) {
    Messages messages;
    int64_t number = 99;
    bool const ok = DataValue::Value(value, number, messages);
    if (value && value->kind() == Kind::Integer) {
      EXPECT_TRUE(ok);
      continue;
    }
    EXPECT_FALSE(ok) << (value ? KindName(value->kind()) : "null");
    EXPECT_EQ(number, 99) << "a failed read must leave the destination alone";
    EXPECT_EQ(OnlyId(messages), "opax.data.invalid.type");
    EXPECT_TRUE(messages.front().args().empty());
  }
}

TEST(DataValue, NarrowIntegersAreRangeChecked) {
  Messages messages;
  int narrow = 0;
  EXPECT_TRUE(DataValue::Value(DataValue::Create(int64_t{-5}), narrow, messages));
  EXPECT_EQ(narrow, -5);
  EXPECT_FALSE(DataValue::Value(DataValue::Create(int64_t{1} << 40), narrow, messages));
  EXPECT_EQ(OnlyId(messages), "opax.data.integer.out.of.range");
  EXPECT_EQ(narrow, -5);
}

TEST(DataValue, ConvertingReaderUnwrapsOptionalsAndWidens) {
  Messages messages;
  auto nested = OptionalValue::GetInstance(OptionalValue::GetInstance(DataValue::Create(std::string("x"))));
  std::string text;
  EXPECT_TRUE(DataValue::ToPrimitive(nested, text, messages));
  EXPECT_EQ(text, "x");

  double d = 0;
  EXPECT_TRUE(DataValue::ToPrimitive(DataValue::Create(int64_t{3}), d, messages));
  EXPECT_EQ(d, 3.0);
  int64_t n = 0;
  EXPECT_TRUE(DataValue::ToPrimitive(DataValue::Create(4.0), n, messages));
  EXPECT_EQ(n, 4);
  EXPECT_TRUE(messages.empty());

  EXPECT_FALSE(DataValue::ToPrimitive(DataValue::Create(4.5), n, messages));
  EXPECT_EQ(OnlyId(messages), "opax.data.double.not.integral");
  messages.clear();
  EXPECT_FALSE(DataValue::ToPrimitive(DataValue::Create(1e19), n, messages));
  EXPECT_EQ(OnlyId(messages), "opax.data.double.not.integral");
  messages.clear();

  EXPECT_FALSE(DataValue::ToPrimitive(OptionalValue::GetInstance(), text, messages));
  EXPECT_EQ(OnlyId(messages), "opax.data.unset.non.optional.field");
}

TEST(DataValue, SecretsNeverBecomePlainText) {
  Messages messages;
  auto secret = DataValue::Create(Opax::SecretString("hunter2"));
  std::string text;
  EXPECT_FALSE(DataValue::ToPrimitive(secret, text, messages));
  EXPECT_TRUE(text.empty());
  auto holder = StructValue::GetInstance("login");
  holder->SetField("password", secret);
  EXPECT_EQ(holder->ToString().find("hunter2"), std::string::npos);
  EXPECT_NE(holder->ToString().find(Opax::SecretString::kMask), std::string::npos);
  // A string arriving for a secret is taken in: peers without a secret kind send strings.
  Opax::SecretString back;
  EXPECT_TRUE(DataValue::ToPrimitive(DataValue::Create(std::string("pw")), back, messages));
  EXPECT_EQ(back.reveal(), "pw");
}

TEST(DataValue, DateTimesParseFromStringsOnlyWhenWellFormed) {
  Messages messages;
  Opax::DateTime when;
  EXPECT_TRUE(
      DataValue::ToPrimitive(DataValue::Create(std::string("2026-11-22T06:13:37.500Z")), when, messages));
  EXPECT_EQ(when.ToString(), "2026-11-22T06:13:37.500Z");
  EXPECT_FALSE(
      DataValue::ToPrimitive(DataValue::Create(std::string("2026-02-30T00:00:00Z")), when, messages));
  EXPECT_EQ(OnlyId(messages), "opax.data.datetime.invalid");
  EXPECT_EQ(when.ToString(), "2026-11-22T06:13:37.500Z");
}

TEST(ListValue, TypedVariantsAndKindChecks) {
  auto strings = ListValue::GetInstance(Kind::String);
  EXPECT_TRUE(strings->isTyped());
  Messages messages;
  EXPECT_TRUE(strings->Append(DataValue::Create(std::string("a")), messages));
  EXPECT_FALSE(strings->Append(DataValue::Create(int64_t{1}), messages));
  EXPECT_EQ(OnlyId(messages), "opax.data.invalid.type");
  ASSERT_EQ(strings->size(), 1u);

  auto structures = ListValue::GetInstance(Kind::Structure);
  messages.clear();
  EXPECT_TRUE(structures->Append(StructValue::GetInstance("s"), messages));
  EXPECT_TRUE(structures->Append(ErrorValue::GetInstance("e"), messages)) << "errors are structures";
  EXPECT_FALSE(structures->Append(DataValue::Create(true), messages));
  EXPECT_FALSE(structures->Append(nullptr, messages));
  EXPECT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages.front().id(), "opax.data.list.element.kind");
  EXPECT_EQ(structures->size(), 2u);
}

TEST(DataValue, CopyIsDeepForCompoundsAndEqualCompares) {
  auto inner = StructValue::GetInstance("inner");
  inner->SetField("n", DataValue::Create(int64_t{1}));
  auto list = ListValue::GetInstance(Kind::Structure);
  list->values().push_back(inner);
  auto outer = StructValue::GetInstance("outer");
  outer->SetField("items", list);
  outer->SetField("opt", OptionalValue::GetInstance(DataValue::Create(std::string("x"))));

  std::shared_ptr<DataValue> copy = outer->Copy();
  EXPECT_TRUE(DataValue::Equal(*outer, *copy));
  auto& copied = static_cast<StructValue&>(*copy);
  auto const& copiedList = static_cast<ListValue const&>(**copied.FindField("items"));
  EXPECT_NE(copiedList.values()[0].get(), inner.get()) << "compounds are copied, not shared";

  copied.SetField("opt", OptionalValue::GetInstance());
  EXPECT_FALSE(DataValue::Equal(*outer, *copy));
  EXPECT_FALSE(DataValue::Equal(*DataValue::Create(int64_t{1}), *DataValue::Create(1.0)));
  EXPECT_FALSE(DataValue::Equal(*StructValue::GetInstance("a"), *StructValue::GetInstance("b")));
}

}  // namespace
}  // namespace Data
}  // namespace Opax
