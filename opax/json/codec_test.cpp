// The wire format against a definition holding every kind: what each kind looks like as text,
// what the text becomes under the definition, what is kept of members the definition does not
// know, and every kind of bad text with its message id and path.

#include <opax/core/message/message_ids.h>
#include <opax/json/json.h>
#include <opax/json/testing/sample_definition.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace Opax {
namespace Json {
namespace {

using namespace Data;  // NOLINT: the tests speak the value vocabulary throughout
using Messages = std::list<BaseMessage>;

std::string EncodeOrFail(DataValue const& value, DataDefinition const* definition,
                         EncodeOptions options = {}) {
  std::string text;
  Messages messages;
  EXPECT_TRUE(Encode(value, definition, text, messages, options))
      << (messages.empty() ? "" : messages.front().defaultMessage());
  return text;
}

DataValuePtr DecodeOrFail(std::string const& text, DataDefinition const& definition) {
  DataValuePtr value;
  Messages messages;
  EXPECT_TRUE(Decode(text, definition, value, messages))
      << text << ": " << (messages.empty() ? "" : messages.front().defaultMessage());
  return value;
}

std::shared_ptr<StructValue> Device(std::string const& name) {
  auto device = StructValue::GetInstance(Testing::kDevice);
  device->SetField("name", DataValue::Create(name));
  return device;
}

DataValuePtr Set(DataValuePtr value) { return OptionalValue::GetInstance(std::move(value)); }

class Codec : public ::testing::Test {
 protected:
  Testing::SampleDefinition const sample = Testing::MakeSampleDefinition();
  DataDefinition const& device = *sample.device;
};

// One example of every kind; the same texts are the examples of the wire format's description.
TEST_F(Codec, EveryKindHasOneNaturalText) {
  auto value = Device("disk \"0\"\n");
  value->SetField("password", Set(DataValue::Create(SecretString("s3cret"))));
  value->SetField("data", Set(DataValue::Create(std::vector<unsigned char>{0, 1, 2, 0xfe, 0xff})));
  DateTime created;
  ASSERT_TRUE(DateTime::Parse("2024-01-31T12:00:00.250Z", created));
  value->SetField("created", Set(DataValue::Create(created)));
  value->SetField("count", Set(DataValue::Create(std::numeric_limits<int64_t>::min())));
  value->SetField("ratio", Set(DataValue::Create(0.1)));
  value->SetField("enabled", Set(DataValue::Create(true)));
  value->SetField("state",
                  Set(DataValue::Create(std::string("STANDBY"))));  // unknown texts travel as they are
  auto tags = ListValueString::GetInstance();
  tags->Store(std::vector<std::string>{"a", "b"});
  value->SetField("tags", Set(tags));
  auto sizes = ListValueLong::GetInstance();
  sizes->Store(std::vector<int64_t>{1, -2});
  value->SetField("sizes", Set(sizes));
  auto labels = MapValue::GetInstance();
  labels->SetField("zone", DataValue::Create(std::string("eu")));
  value->SetField("labels", Set(labels));
  auto backing = StructValue::GetInstance(Testing::kBacking);
  backing->SetField("type", DataValue::Create(std::string("FILE")));
  backing->SetField("file", Set(DataValue::Create(std::string("/d.iso"))));
  backing->SetField("host", OptionalValue::GetInstance());
  value->SetField("backing", Set(backing));
  value->SetField("next", OptionalValue::GetInstance());
  auto extra = StructValue::GetInstance("com.example.note");
  extra->SetField("text", DataValue::Create(std::string("hi")));
  value->SetField("extra", Set(extra));
  value->SetField("failure", Set(ErrorValue::GetInstance("com.quarn.opax.std.errors.not_found")));
  value->SetField("children", OptionalValue::GetInstance());
  value->SetField("x_newer", DataValue::Create(int64_t{7}));  // a field of a newer peer

  std::string const text =
      R"({"name":"disk \"0\"\n","password":"s3cret","data":"AAEC/v8=","created":"2024-01-31T12:00:00.250Z",)"
      R"("count":-9223372036854775808,"ratio":0.1,"enabled":true,"state":"STANDBY","tags":["a","b"],)"
      R"("sizes":[1,-2],"labels":{"zone":"eu"},"backing":{"type":"FILE","file":"/d.iso"},)"
      R"("extra":{"@type":"com.example.note","text":"hi"},)"
      R"("failure":{"@type":"com.quarn.opax.std.errors.not_found"},"x_newer":7})";
  EXPECT_EQ(EncodeOrFail(*value, &device), text);

  DataValuePtr back = DecodeOrFail(text, device);
  ASSERT_TRUE(back);
  EXPECT_TRUE(DataValue::Equal(*back, *value)) << back->ToString() << "\n" << value->ToString();
  EXPECT_EQ(EncodeOrFail(*back, &device), text);
  EXPECT_EQ(back->kind(), Kind::Structure);
  auto const& password =
      static_cast<OptionalValue const&>(**static_cast<StructValue const&>(*back).FindField("password"));
  EXPECT_EQ(password.value()->kind(), Kind::Secret);

  // Outside a structure an unset optional has no member to leave out: it is null, as void is.
  auto voidDefinition = DataDefinition::Create<Opax::Void>();
  EXPECT_EQ(EncodeOrFail(*VoidValue::GetInstance(), voidDefinition.get()), "null");
  EXPECT_EQ(DecodeOrFail("null", *voidDefinition)->kind(), Kind::Void);
  auto optionalString = OptionalDefinition::GetInstance(StringDefinition::GetInstance());
  EXPECT_EQ(EncodeOrFail(*OptionalValue::GetInstance(), optionalString.get()), "null");
  DataValuePtr unset = DecodeOrFail(" null ", *optionalString);
  ASSERT_TRUE(unset && unset->kind() == Kind::Optional);
  EXPECT_FALSE(static_cast<OptionalValue const&>(*unset).isSet());
}

TEST_F(Codec, IndentedTextReadsBackTheSame) {
  auto value = Device("a");
  auto labels = MapValue::GetInstance();
  labels->SetField("k", DataValue::Create(std::string("v")));
  value->SetField("labels", Set(labels));
  value->SetField("tags", Set(ListValueString::GetInstance()));
  std::string const text = EncodeOrFail(*value, &device, EncodeOptions{2});
  EXPECT_EQ(text, "{\n  \"name\": \"a\",\n  \"labels\": {\n    \"k\": \"v\"\n  },\n  \"tags\": []\n}");
  DataValuePtr back = DecodeOrFail(text, device);
  ASSERT_TRUE(back);
  EXPECT_EQ(EncodeOrFail(*back, &device), EncodeOrFail(*value, &device));
}

// What a person writes by hand: nulls for unset optionals, absent members, members in any
// order, whole numbers with a fraction, escapes of every form.
TEST_F(Codec, HandWrittenTextBecomesTheKindsTheDefinitionAsks) {
  DataValuePtr value = DecodeOrFail(
      R"( { "count": 3.0e0, "backing": {"host": null, "type": "HOST"}, "name": "caf\u00e9 \ud83d\ude00\/",
           "ratio": 1, "next": {"name": "n2", "next": null}, "password": null } )",
      device);
  ASSERT_TRUE(value);
  auto const& decoded = static_cast<StructValue const&>(*value);
  EXPECT_EQ(decoded.fields().size(), sample.device->fields().size())
      << "absent optionals are present and unset";
  std::string name;
  Messages ignored;
  ASSERT_TRUE(DataValue::Value(*decoded.FindField("name"), name, ignored));
  EXPECT_EQ(name, "caf\xc3\xa9 \xf0\x9f\x98\x80/");
  auto const& count = static_cast<OptionalValue const&>(**decoded.FindField("count"));
  EXPECT_EQ(count.value()->kind(), Kind::Integer);
  auto const& ratio = static_cast<OptionalValue const&>(**decoded.FindField("ratio"));
  EXPECT_EQ(ratio.value()->kind(), Kind::Double);
  auto const& next = static_cast<OptionalValue const&>(**decoded.FindField("next"));
  ASSERT_TRUE(next.isSet());
  EXPECT_EQ(static_cast<StructValue const&>(*next.value()).name(), Testing::kDevice);
  EXPECT_FALSE(static_cast<OptionalValue const&>(**decoded.FindField("password")).isSet());
}

// Members the definition does not know, decoded by looks, and unknown enumeration texts: text
// -> value -> text keeps every member and every text.
TEST_F(Codec, UnknownMembersAndTextsTravelUnchanged) {
  std::string const text =
      R"({"name":"a","state":"HALF_ON","x_list":[1,"two",[3.5],{"k":null}],"x_big":18446744073709551616.0,)"
      R"("x_obj":{"@type":"com.newer.thing","deep":{"flag":false}},"x_plain":{"a":[]},"x_num":-0.0})";
  DataValuePtr value = DecodeOrFail(text, device);
  ASSERT_TRUE(value);
  std::string const again = EncodeOrFail(*value, &device);
  // Absent optionals are not written, so the text comes back member for member.
  EXPECT_EQ(again, text);
  DataValuePtr loose;
  Messages messages;
  ASSERT_TRUE(Decode(text, loose, messages));
  EXPECT_EQ(EncodeOrFail(*loose, nullptr), text);
}

// Whatever order the text gives its members in, declared and unknown ones mixed, each is found
// by name and the fields list in name order.
TEST_F(Codec, MembersInAnyOrderAreFoundAndListedByName) {
  struct Case {
    std::string text;
    std::size_t unknown;
  };
  std::vector<Case> const cases = {
      {R"({"ratio":1.5,"state":"ON","name":"a","count":2})", 0},
      {R"({"ratio":1.5,"x_b":1,"name":"a","x_a":2,"count":2})", 2},
      {R"({"x_z":0,"count":2,"name":"a","backing":{"file":"f","x":0,"type":"FILE"}})", 1},
  };
  for (Case const& c : cases) {
    DataValuePtr value = DecodeOrFail(c.text, device);
    ASSERT_TRUE(value) << c.text;
    FieldMap const& fields = static_cast<StructValue const&>(*value).fields();
    std::vector<std::string> names;
    for (FieldMap::Field const& field : fields) {
      names.emplace_back(field.name());
      EXPECT_EQ(fields.find(field.name()), &field.value()) << c.text << ": " << field.name();
    }
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end())) << c.text;
    EXPECT_EQ(names.size(), sample.device->fields().size() + c.unknown) << c.text;
    EXPECT_FALSE(fields.contains("x_missing")) << c.text;
  }
}

// Strings are scanned a word at a time: an escape, a multi-byte character or a bad byte at any
// place of a string is still found where it is.
TEST_F(Codec, EveryPlaceOfAStringIsRead) {
  struct Special {
    std::string text;
    std::string read;  // what it reads as; empty: the text is refused
  };
  std::vector<Special> const specials = {
      {"\\n", "\n"}, {"\\\"", "\""}, {"\xc3\xa9", "\xc3\xa9"}, {"\x01", ""}, {"\xff", ""}};
  std::string const plain(20, 'a');
  for (std::size_t at = 0; at <= plain.size(); ++at) {
    for (Special const& special : specials) {
      std::string const text = '"' + plain.substr(0, at) + special.text + plain.substr(at) + '"';
      DataValuePtr value;
      Messages messages;
      ASSERT_EQ(Decode(text, value, messages), !special.read.empty()) << text;
      if (special.read.empty()) continue;
      std::string read;
      ASSERT_TRUE(DataValue::Value(value, read, messages)) << text;
      EXPECT_EQ(read, plain.substr(0, at) + special.read + plain.substr(at)) << text;
    }
  }
}

TEST_F(Codec, DoublesAndIntegersRoundTripExactly) {
  std::vector<double> const doubles = {0.0,
                                       -0.0,
                                       0.1,
                                       1.0,
                                       -1.5,
                                       1e300,
                                       5e-324,
                                       2.2250738585072014e-308,
                                       std::numeric_limits<double>::max(),
                                       9007199254740993.0,
                                       123456789.125,
                                       std::numeric_limits<double>::infinity(),
                                       -std::numeric_limits<double>::infinity()};
  auto definition = ListDefinition::GetInstance(DataDefinition::Create<double>());
  auto list = std::make_shared<ListValue>(Kind::Double);
  for (double d : doubles) list->values().push_back(DataValue::Create(d));
  list->values().push_back(DataValue::Create(std::nan("")));
  std::string const text = EncodeOrFail(*list, definition.get());
  DataValuePtr back = DecodeOrFail(text, *definition);
  ASSERT_TRUE(back);
  auto const& values = static_cast<ListValue const&>(*back).values();
  ASSERT_EQ(values.size(), doubles.size() + 1);
  for (std::size_t i = 0; i < doubles.size(); ++i) {
    double const d = Data::internal::StoredOf<double>(*values[i]);
    EXPECT_EQ(std::signbit(d), std::signbit(doubles[i])) << i;
    EXPECT_EQ(d, doubles[i]) << text;
  }
  EXPECT_TRUE(std::isnan(Data::internal::StoredOf<double>(*values.back())));

  auto integers = ListDefinition::GetInstance(DataDefinition::Create<int64_t>());
  std::string const limits = "[-9223372036854775808,9223372036854775807,0,-1]";
  DataValuePtr ints = DecodeOrFail(limits, *integers);
  ASSERT_TRUE(ints);
  EXPECT_EQ(EncodeOrFail(*ints, integers.get()), limits);
}

// Every kind of bad text: one message, with the system's id and the JSON path of the fault.
TEST_F(Codec, BadTextGetsItsMessageAndPath) {
  Limits small;
  small.maxDepth = 4;
  small.maxStringLength = 8;
  small.maxMembers = 3;
  small.maxTotalSize = 200;
  struct Case {
    std::string text;
    char const* id;
    char const* path;  // the message's last argument
    bool smallLimits = false;
  };
  std::vector<Case> const cases = {
      {"", MessageIds::kJsonTruncated, "(value)"},
      {R"({"name":"a")", MessageIds::kJsonTruncated, "name"},
      {R"({"name":"a)", MessageIds::kJsonTruncated, "name"},
      {R"({"name":"a","tags":["x",)", MessageIds::kJsonTruncated, "tags[1]"},
      {R"({"name":"a","enabled":tr)", MessageIds::kJsonTruncated, "enabled"},
      {R"({"name":"a",})", MessageIds::kJsonSyntax, "name"},
      {R"({"name" "a"})", MessageIds::kJsonSyntax, "(value)"},
      {R"({"name":"a"} x)", MessageIds::kJsonSyntax, "(value)"},
      {R"({"name":"a","count":012})", MessageIds::kJsonSyntax, "count"},
      {R"({"name":"a","enabled":nul})", MessageIds::kJsonSyntax, "enabled"},
      {R"({"name":"a","enabled":True})", MessageIds::kJsonSyntax, "enabled"},
      {"{\"name\":\"a\tb\"}", MessageIds::kJsonSyntax, "name"},
      {R"({"name":"\x"})", MessageIds::kJsonSyntax, "name"},
      {R"({"name":"a","tags":["a",]})", MessageIds::kJsonSyntax, "tags[1]"},
      {"{\"name\":\"\xff\"}", MessageIds::kJsonUtf8, "name"},
      {"{\"name\":\"\xc0\xaf\"}", MessageIds::kJsonUtf8, "name"},
      {"{\"name\":\"\xed\xa0\x80\"}", MessageIds::kJsonUtf8, "name"},
      {R"({"name":"\ud800"})", MessageIds::kJsonUtf8, "name"},
      {R"({"name":"\udc00\ud800"})", MessageIds::kJsonUtf8, "name"},
      {R"({"name":7})", MessageIds::kJsonKindMismatch, "name"},
      {R"([])", MessageIds::kJsonKindMismatch, "(value)"},
      {R"({"name":"a","count":"3"})", MessageIds::kJsonKindMismatch, "count"},
      {R"({"name":"a","tags":["x",1]})", MessageIds::kJsonKindMismatch, "tags[1]"},
      {R"({"name":"a","labels":{"k":{}}})", MessageIds::kJsonKindMismatch, "labels.k"},
      {R"({"name":"a","next":{"name":"b","backing":[]}})", MessageIds::kJsonKindMismatch, "next.backing"},
      {R"({"name":"a","enabled":"yes"})", MessageIds::kJsonKindMismatch, "enabled"},
      {R"({"name":"a","password":{"text":"s"}})", MessageIds::kJsonKindMismatch, "password"},
      {R"({"name":"a","@type":1})", MessageIds::kJsonKindMismatch, "@type"},
      {R"({"name":"a","count":9223372036854775808})", MessageIds::kJsonNumberRange, "count"},
      {R"({"name":"a","count":-9223372036854775809})", MessageIds::kJsonNumberRange, "count"},
      {R"({"name":"a","count":1e19})", MessageIds::kJsonNumberRange, "count"},
      {R"({"name":"a","ratio":1e400})", MessageIds::kJsonNumberRange, "ratio"},
      {R"({"name":"a","count":1.5})", MessageIds::kJsonNotIntegral, "count"},
      {R"({"name":"a","sizes":[1,2.5]})", MessageIds::kJsonNotIntegral, "sizes[1]"},
      {R"({"name":"a","data":"AAE"})", MessageIds::kJsonBinary, "data"},
      {R"({"name":"a","data":"AA=E"})", MessageIds::kJsonBinary, "data"},
      {R"({"name":"a","data":"A$=="})", MessageIds::kJsonBinary, "data"},
      {R"({"name":"a","created":"2024-01-31T12:00:00+01:00"})", MessageIds::kJsonDateTime, "created"},
      {R"({"name":"a","created":"2024-02-30T12:00:00Z"})", MessageIds::kJsonDateTime, "created"},
      {R"({"name":"a","created":"yesterday"})", MessageIds::kJsonDateTime, "created"},
      {R"({"name":"a","name":"b"})", MessageIds::kJsonDuplicateMember, "(value)"},
      {R"({"name":"a","labels":{"k":"1","k":"2"}})", MessageIds::kJsonDuplicateMember, "labels"},
      {R"({"name":"a","x":1,"x":2})", MessageIds::kJsonDuplicateMember, "(value)"},
      {R"({"name":"a","x":1,"name":"b"})", MessageIds::kJsonDuplicateMember, "(value)"},
      {R"({"x":1,"name":"a","x":2})", MessageIds::kJsonDuplicateMember, "(value)"},
      {R"({"count":1})", MessageIds::kFieldMissing, "(value)"},
      {R"({"name":"a","children":[{"name":"b"},{}]})", MessageIds::kFieldMissing, "children[1]"},
      {R"({"name":"a","backing":{"type":"FILE"}})", MessageIds::kUnionIsNotSet, "backing"},
      {R"({"name":"a","backing":{"type":"NONE","host":"h"}})", MessageIds::kUnionIsSet, "backing"},
      {R"({"name":"a","backing":{"host":"h","type":"NONE"}})", MessageIds::kUnionIsSet, "backing"},
      {R"({"name":"a","backing":{"x":1,"type":"FILE"}})", MessageIds::kUnionIsNotSet, "backing"},
      {R"({"name":"a","backing":{"file":"f"}})", MessageIds::kFieldMissing, "backing"},
      {R"({"@type":"com.example.other","name":"a"})", MessageIds::kStructureName, "(value)"},
      {R"({"name":"a","failure":{"text":"x"}})", MessageIds::kJsonTypeMissing, "failure"},
      {R"({"name":"a","x":[[[[]]]]})", MessageIds::kJsonLimit, "x[0][0][0]", true},
      {R"({"name":"abcdefghi"})", MessageIds::kJsonLimit, "name", true},
      {R"({"name":"a","count":123456789})", MessageIds::kJsonLimit, "count", true},
      {R"({"name":"a","sizes":[1,2,3,4]})", MessageIds::kJsonLimit, "sizes", true},
      {R"({"name":"a","x1":1,"x2":2,"x3":3})", MessageIds::kJsonLimit, "(value)", true},
      {"{\"name\":\"a\"}" + std::string(200, ' '), MessageIds::kJsonLimit, "(value)", true},
  };
  for (Case const& c : cases) {
    DataValuePtr value;
    Messages messages;
    EXPECT_FALSE(Decode(c.text, device, value, messages, c.smallLimits ? small : Limits())) << c.text;
    EXPECT_FALSE(value) << c.text;
    ASSERT_EQ(messages.size(), 1u) << c.text;
    EXPECT_EQ(messages.front().id(), c.id) << c.text << ": " << messages.front().defaultMessage();
    EXPECT_EQ(messages.front().args().back(), c.path) << c.text << ": " << messages.front().defaultMessage();
    EXPECT_EQ(messages.front().defaultMessage().find("{"), std::string::npos)
        << messages.front().defaultMessage();
  }
}

// A secret in the text never comes back in a message, whatever goes wrong around it.
TEST_F(Codec, NoMessageCarriesASecret) {
  std::string const secret = "hunter2-hunter2";
  std::vector<std::string> const texts = {
      R"({"name":"a","password":")" + secret + R"(","count":"x"})",
      R"({"name":"a","password":")" + secret + R"(\q"})",
      R"({"name":"a","password":")" + secret + "\xff\"}",
      R"({"name":"a","password":")" + secret,
      R"({"name":"a","password":[")" + secret + R"("]})",
      R"({"name":"a","password":")" + secret + R"(","password":")" + secret + R"("})",
  };
  for (std::string const& text : texts) {
    DataValuePtr value;
    Messages messages;
    Limits limits;
    limits.maxStringLength = 10;
    for (Limits const& chosen : {Limits(), limits}) {
      messages.clear();
      EXPECT_FALSE(Decode(text, device, value, messages, chosen)) << text;
      for (BaseMessage const& m : messages) {
        EXPECT_EQ(m.defaultMessage().find("hunter2"), std::string::npos) << m.defaultMessage();
        for (std::string const& arg : m.args()) EXPECT_EQ(arg.find("hunter2"), std::string::npos) << arg;
      }
    }
  }
}

TEST_F(Codec, InvalidUtf8CannotBeWrittenAndNamesItsPath) {
  auto value = Device("ok");
  auto tags = ListValueString::GetInstance();
  tags->Store(std::vector<std::string>{"fine", "bad\xc3"});
  value->SetField("tags", Set(tags));
  std::string text = "kept";
  Messages messages;
  EXPECT_FALSE(Encode(*value, &device, text, messages));
  EXPECT_EQ(text, "kept");
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages.front().id(), MessageIds::kJsonUtf8);
  EXPECT_EQ(messages.front().args().back(), "tags[1]");
}

}  // namespace
}  // namespace Json
}  // namespace Opax
