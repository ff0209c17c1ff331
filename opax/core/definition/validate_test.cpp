#include <opax/core/message/error_ids.h>
#include <opax/core/testing/sample_types.h>

#include <gtest/gtest.h>

namespace Opax {
namespace Data {
namespace {

using Messages = std::list<BaseMessage>;
using boost::logic::indeterminate;
using boost::logic::tribool;

constexpr char kCredential[] = "com.quarn.nexar.credential";

// The credential union: `type` decides which of the two case fields must be set.
std::shared_ptr<StructDefinition const> CredentialDefinition() {
  auto userPassword = StructDefinition::GetInstance(
      "com.quarn.nexar.username_password",
      {{"user_name", StringDefinition::GetInstance()}, {"password", DataDefinition::Create<SecretString>()}});
  auto caseFor = [](char const* active) {
    return [active](std::string_view tag) -> tribool { return tag == active; };
  };
  StructDefinition::Fields fields;
  fields["type"] = IsOneOfDefinition::GetInstance(
      [](std::string_view t) { return t == "USERNAME_PASSWORD" || t == "SAML_TOKEN"; });
  fields["username_password"] = UnionCaseDefinition::GetInstance(
      OptionalDefinition::GetInstance(userPassword), "type", caseFor("USERNAME_PASSWORD"));
  fields["saml_token"] = UnionCaseDefinition::GetInstance(
      OptionalDefinition::GetInstance(DataDefinition::Create<SecretString>()), "type", caseFor("SAML_TOKEN"));
  return StructDefinition::GetInstance(kCredential, std::move(fields));
}

std::shared_ptr<StructValue> Credential(char const* type, bool withPassword, bool withToken) {
  auto value = StructValue::GetInstance(kCredential);
  value->SetField("type", DataValue::Create(std::string(type)));
  auto userPassword = StructValue::GetInstance("com.quarn.nexar.username_password");
  userPassword->SetField("user_name", DataValue::Create(std::string("admin")));
  userPassword->SetField("password", DataValue::Create(SecretString("pw")));
  value->SetField("username_password",
                  withPassword ? OptionalValue::GetInstance(userPassword) : OptionalValue::GetInstance());
  value->SetField("saml_token", withToken ? OptionalValue::GetInstance(DataValue::Create(SecretString("t")))
                                          : OptionalValue::GetInstance());
  return value;
}

std::vector<std::string> Ids(Messages const& messages) {
  std::vector<std::string> ids;
  for (BaseMessage const& m : messages) ids.push_back(m.id());
  return ids;
}

TEST(Validate, UnionCasesFollowTheirTag) {
  auto definition = CredentialDefinition();
  struct Case {
    char const* type;
    bool password, token;
    std::vector<std::string> ids;
    std::string field;
  };
  std::string const isSet = "opax.data.union.invalid.case.state.isset.short";
  std::string const notSet = "opax.data.union.invalid.case.state.isnotset.short";
  for (Case const& c :
       {Case{"USERNAME_PASSWORD", true, false, {}, ""}, Case{"SAML_TOKEN", false, true, {}, ""},
        Case{"SAML_TOKEN", false, false, {notSet}, "saml_token"},
        Case{"USERNAME_PASSWORD", true, true, {isSet}, "saml_token"},
        Case{"SAML_TOKEN", true, true, {isSet}, "username_password"}}) {
    Messages messages;
    EXPECT_EQ(definition->Validate(Credential(c.type, c.password, c.token), messages), c.ids.empty())
        << c.type;
    EXPECT_EQ(Ids(messages), c.ids) << c.type << c.password << c.token;
    if (!c.field.empty() && !messages.empty()) {
      EXPECT_EQ(messages.front().args(), (std::vector<std::string>{c.field, kCredential}));
    }
  }
}

TEST(Validate, UnsetTagWithASetCaseFieldIsReported) {
  StructDefinition::Fields fields;
  fields["idm_protocol"] = OptionalDefinition::GetInstance(StringDefinition::GetInstance());
  fields["idm_endpoints"] = UnionCaseDefinition::GetInstance(
      OptionalDefinition::GetInstance(ListDefinition::GetInstance(StringDefinition::GetInstance())),
      "idm_protocol", [](std::string_view) -> tribool { return indeterminate; });
  auto definition = StructDefinition::GetInstance("providers.info", std::move(fields));

  auto value = StructValue::GetInstance("providers.info");
  value->SetField("idm_protocol", OptionalValue::GetInstance());
  auto endpoints = ListValue::GetInstance(Kind::String);
  value->SetField("idm_endpoints", OptionalValue::GetInstance(endpoints));
  Messages messages;
  EXPECT_FALSE(definition->Validate(value, messages));
  ASSERT_EQ(Ids(messages), std::vector<std::string>{"opax.data.union.invalid.case.state.notag"});
  EXPECT_EQ(messages.front().args(),
            (std::vector<std::string>{"idm_protocol", "idm_endpoints", "providers.info"}));

  // With the tag set, an indeterminate case may be set or not.
  value->SetField("idm_protocol", OptionalValue::GetInstance(DataValue::Create(std::string("LDAP"))));
  messages.clear();
  EXPECT_TRUE(definition->Validate(value, messages));
  value->SetField("idm_endpoints", OptionalValue::GetInstance());
  EXPECT_TRUE(definition->Validate(value, messages));
  EXPECT_TRUE(messages.empty());
}

TEST(Validate, MissingWrongAndExtraFieldsNameTheirPlace) {
  auto inner = StructDefinition::GetInstance("inner", {{"count", DataDefinition::Create<int64_t>()}},
                                             StructDefinition::ExtraFields::Forbidden);
  auto outer = StructDefinition::GetInstance(
      "outer", {{"items", ListDefinition::GetInstance(inner)},
                {"note", OptionalDefinition::GetInstance(StringDefinition::GetInstance())},
                {"when", DataDefinition::Create<DateTime>()}});

  auto good = StructValue::GetInstance("inner");
  good->SetField("count", DataValue::Create(int64_t{1}));
  auto wrongKind = StructValue::GetInstance("inner");
  wrongKind->SetField("count", DataValue::Create(std::string("1")));
  auto extra = StructValue::GetInstance("inner");
  extra->SetField("count", DataValue::Create(int64_t{2}));
  extra->SetField("surprise", DataValue::Create(true));
  auto items = ListValue::GetInstance(Kind::Structure);
  items->values() = {good, wrongKind, extra, StructValue::GetInstance("inner"),
                     StructValue::GetInstance("other")};
  auto value = StructValue::GetInstance("outer");
  value->SetField("items", items);  // "note" may be left out: it is optional; "when" may not

  Messages messages;
  EXPECT_FALSE(outer->Validate(value, messages));
  std::vector<std::vector<std::string>> args;
  for (BaseMessage const& m : messages) args.push_back(m.args());
  EXPECT_EQ(Ids(messages),
            (std::vector<std::string>{"opax.data.structure.field.missing", "opax.data.value.kind.mismatch",
                                      "opax.data.compound.field.extra", "opax.data.structure.field.missing",
                                      "opax.data.structure.name.mismatch"}));
  ASSERT_EQ(args.size(), 5u);
  EXPECT_EQ(args[0], (std::vector<std::string>{"when", "outer", "(value)"}));
  EXPECT_EQ(args[1], (std::vector<std::string>{"integer", "string", "items[1].count"}));
  EXPECT_EQ(args[2], (std::vector<std::string>{"inner", "surprise"}));
  EXPECT_EQ(args[3], (std::vector<std::string>{"count", "inner", "items[3]"}));
  EXPECT_EQ(args[4], (std::vector<std::string>{"inner", "other", "items[4]"}));
}

// A map's entries are reported in the order they were put in, as a sender wrote them.
TEST(Validate, MapEntriesAreReportedInTheirOrder) {
  auto const definition = MapDefinition::GetInstance(DataDefinition::Create<int64_t>());
  auto map = MapValue::GetInstance();
  for (char const* key : {"mid", "alpha", "zeta"}) {
    map->SetField(key, std::string_view(key) == "alpha" ? DataValue::Create(int64_t{1})
                                                        : DataValue::Create(std::string(key)));
  }
  Messages messages;
  EXPECT_FALSE(definition->Validate(map, messages));
  std::vector<std::string> places;
  for (BaseMessage const& m : messages) places.push_back(m.args().back());
  EXPECT_EQ(places, (std::vector<std::string>{"mid", "zeta"}));
}

TEST(Validate, KindsAreCheckedExactly) {
  struct Case {
    DataDefinitionPtr definition;
    std::shared_ptr<DataValue const> value;
  };
  for (Case const& c :
       {Case{DataDefinition::Create<bool>(), DataValue::Create(int64_t{1})},
        Case{DataDefinition::Create<double>(), DataValue::Create(int64_t{1})},
        Case{DataDefinition::Create<SecretString>(), DataValue::Create(std::string("s"))},
        Case{DataDefinition::Create<Opax::Void>(), nullptr},
        Case{OptionalDefinition::GetInstance(StringDefinition::GetInstance()),
             DataValue::Create(std::string("s"))},
        Case{DataDefinition::Create<DynamicError>(), StructValue::GetInstance("s")},
        Case{ErrorDefinition::GetInstance(ErrorIds::kNotFound, {}),
             StructValue::GetInstance(ErrorIds::kNotFound)},
        Case{MapDefinition::GetInstance(StringDefinition::GetInstance()), StructValue::GetInstance("")}}) {
    Messages messages;
    EXPECT_FALSE(c.definition->Validate(c.value, messages)) << DefinitionTypeName(c.definition->type());
    EXPECT_EQ(Ids(messages), std::vector<std::string>{"opax.data.value.kind.mismatch"});
  }
  Messages messages;
  EXPECT_TRUE(DataDefinition::Create<DynamicStructure>()->Validate(ErrorValue::GetInstance("e"), messages));
  EXPECT_FALSE(ErrorDefinition::GetInstance(ErrorIds::kNotFound, {})
                   ->Validate(ErrorValue::GetInstance(ErrorIds::kError), messages));
  EXPECT_EQ(Ids(messages), std::vector<std::string>{"opax.data.error.name.mismatch"});
}

TEST(Validate, ARestrictedDynamicStructureTakesOnlyItsTypes) {
  auto definition = StructDefinition::GetInstance(
      "device.spec", {{"backings", ListDefinition::GetInstance(DynamicStructureDefinition::GetInstance(
                                       {"backing.file", "backing.host_device"}))}});
  auto file = StructValue::GetInstance("backing.file");
  file->SetField("path", DataValue::Create(std::string("/iso/tools.iso")));
  auto backings = ListValue::GetInstance(Kind::Structure);
  backings->values() = {file, StructValue::GetInstance("backing.network"),
                        StructValue::GetInstance("backing.host_device"),
                        DataValue::Create(std::string("backing.file"))};
  auto value = StructValue::GetInstance("device.spec");
  value->SetField("backings", backings);

  Messages messages;
  EXPECT_FALSE(definition->Validate(value, messages));
  ASSERT_EQ(Ids(messages), (std::vector<std::string>{"opax.data.structure.isoneof.value.invalid",
                                                     "opax.data.value.kind.mismatch"}));
  EXPECT_EQ(messages.front().args(), (std::vector<std::string>{"backings[1]", "backing.network"}));
}

TEST(Validate, TypedListsAreCheckedElementByElement) {
  auto colors = ListDefinition::GetInstance(NativeToDefinitionAdapter::DefinitionOf<Sample::Color>());
  auto list = ListValueString::GetInstance();
  list->Store(std::vector<std::string>{"RED", "_UNKNOWN", "BLUE", "red"});
  Messages messages;
  EXPECT_FALSE(colors->Validate(list, messages));
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages.front().args(), (std::vector<std::string>{"_UNKNOWN", "[1]"}));
  EXPECT_EQ(messages.back().args(), (std::vector<std::string>{"red", "[3]"}));

  messages.clear();
  auto numbers = ListValueLong::GetInstance();
  numbers->Append(int64_t{1});
  EXPECT_TRUE(ListDefinition::GetInstance(DataDefinition::Create<int64_t>())->Validate(numbers, messages));
  EXPECT_FALSE(ListDefinition::GetInstance(StringDefinition::GetInstance())->Validate(numbers, messages));
}

TEST(Validate, MessagesAreCappedForHugeBadInput) {
  auto list = ListValue::GetInstance(Kind::Boolean);
  for (int i = 0; i < 10000; ++i) list->values().push_back(DataValue::Create(true));
  Messages messages;
  EXPECT_FALSE(ListDefinition::GetInstance(StringDefinition::GetInstance())->Validate(list, messages));
  EXPECT_EQ(messages.size(), DataDefinition::kMaxMessages);
}

TEST(Definitions, RecursionIsCutByAReferenceToTheOuterDefinition) {
  auto definition = NativeToDefinitionAdapter::DefinitionOf<Sample::Node>();
  ASSERT_EQ(definition->type(), DefinitionType::Structure);
  auto const& node = static_cast<StructDefinition const&>(*definition);
  EXPECT_EQ(node.name(), "sample.node");
  EXPECT_EQ(node.fields().size(), 13u);

  auto const& next = static_cast<OptionalDefinition const&>(*node.field("next"));
  ASSERT_EQ(next.elementType()->type(), DefinitionType::StructRef);
  auto const& reference = static_cast<StructRefDefinition const&>(*next.elementType());
  EXPECT_EQ(reference.name(), "sample.node");
  EXPECT_EQ(reference.targetDefinition(), definition);
  auto const& children = static_cast<ListDefinition const&>(*node.field("children"));
  EXPECT_EQ(static_cast<StructRefDefinition const&>(*children.elementType()).targetDefinition(), definition);

  // The reference does not own the outer definition: no cycle, nothing leaks, and a reference
  // that outlives its target says so instead of crashing.
  std::weak_ptr<DataDefinition const> watch = definition;
  DataDefinitionPtr orphan = next.elementType();
  definition.reset();
  EXPECT_TRUE(watch.expired());
  Messages messages;
  EXPECT_FALSE(orphan->Validate(StructValue::GetInstance("sample.node"), messages));
  EXPECT_EQ(Ids(messages), std::vector<std::string>{"opax.data.definition.reference.unresolved"});
}

TEST(Definitions, OneStructureTypeIsDescribedOncePerConversion) {
  auto definition = NativeToDefinitionAdapter::DefinitionOf<Sample::Pair>();
  auto const& pair = static_cast<StructDefinition const&>(*definition);
  auto const& right = static_cast<OptionalDefinition const&>(*pair.field("right"));
  EXPECT_EQ(pair.field("left").get(), right.elementType().get());
  EXPECT_EQ(pair.field("left")->type(), DefinitionType::Structure);
}

TEST(Definitions, ValuesFromTheAdapterPassTheirOwnDefinition) {
  Sample::Record record;
  record.color = Sample::Color(Sample::Color::GREEN);
  auto detail = std::make_shared<Sample::Detail>();
  detail->tags = std::set<std::string>{"a"};
  record.detail = detail;
  Messages messages;
  std::shared_ptr<DataValue const> value;
  ASSERT_TRUE(NativeToValueAdapter::Adapt(record, value, messages));
  EXPECT_TRUE(NativeToDefinitionAdapter::DefinitionOf<Sample::Record>()->Validate(value, messages));
  EXPECT_TRUE(messages.empty());
}

}  // namespace
}  // namespace Data
}  // namespace Opax
