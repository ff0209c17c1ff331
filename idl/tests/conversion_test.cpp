// Generated structures through the three adapters: native to value, value to native (with bad
// values fed in), definitions, structure metadata and the standard errors.

#include <bindings/authorization/privilege_checks.h>
#include <bindings/authorization/privilege_checks/latest.h>
#include <bindings/authorization/roles.h>
#include <bindings/authorization/vt_containers/mappings.h>
#include <bindings/nexar.h>
#include <bindings/vm/hardware/cdrom.h>
#include <bindings/vm/hardware/ethernet.h>
#include <bindings/vm/hardware/memory.h>
#include <opax/std/errors.h>
#include <opax/std/std.h>

#include <boost/optional/optional_io.hpp>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

namespace Nexar = ::Com::Quarn::Nexar;
namespace Hw = ::Com::Quarn::Nexar::Vm::Hardware;
namespace Auth = ::Com::Quarn::Nexar::Authorization;
namespace Std = ::Com::Quarn::Opax::Std;
using namespace ::Opax::Data;  // NOLINT: the test speaks the runtime's vocabulary throughout
using Messages = std::list<::Opax::BaseMessage>;
using Names = std::vector<std::string>;

template <class T>
std::shared_ptr<DataValue const> ToValue(T const& native) {
  std::shared_ptr<DataValue const> value;
  Messages messages;
  EXPECT_TRUE(NativeToValueAdapter::Adapt(native, value, messages))
      << (messages.empty() ? "" : messages.front().id());
  return value;
}

template <class T>
T ToNative(std::shared_ptr<DataValue const> const& value) {
  T native;
  Messages messages;
  EXPECT_TRUE(ValueToNativeAdapter::Adapt(value, native, messages))
      << (messages.empty() ? "" : messages.front().id());
  return native;
}

StructValue const& AsStruct(std::shared_ptr<DataValue const> const& value) {
  return *StructValue::Cast(value.get());
}

Names Listing(std::shared_ptr<DataValue const> const& value) {
  Names names;
  for (FieldMap::Field const& field : AsStruct(value).fields().inOrder()) names.emplace_back(field.name());
  return names;
}

std::shared_ptr<DataValue const> Field(std::shared_ptr<DataValue const> const& value, char const* name) {
  auto const* found = AsStruct(value).FindField(name);
  return found ? *found : nullptr;
}

std::string Text(std::shared_ptr<DataValue const> const& value) {
  return std::string(static_cast<StringValue const&>(*value).value());
}

std::shared_ptr<DataValue const> Set(std::shared_ptr<DataValue const> inner) {
  return OptionalValue::GetInstance(std::move(inner));
}

std::shared_ptr<DataValue const> String(std::string text) { return DataValue::Create(text); }

Hw::EthernetSvc::Info SampleNic() {
  auto backing = std::make_shared<Hw::EthernetSvc::BackingInfo const>(
      Hw::EthernetSvc::BackingInfo(Hw::EthernetSvc::BackingType::STANDARD_PORTGROUP)
          .network(std::string("network-12"))
          .networkName(std::string("VM Network")));
  Hw::EthernetSvc::Info nic("Network adapter 1", Hw::EthernetSvc::EmulationType::VMXNET3,
                            Hw::EthernetSvc::MacAddressType::ASSIGNED, false, backing,
                            Hw::ConnectionState::CONNECTED, true, true);
  nic.uptCompatibilityEnabled(true).macAddress(std::string("00:50:56:aa:bb:cc"));
  return nic;
}

TEST(NativeToValue, FieldsComeInDeclarationOrderAndUnsetOptionalsAreThere) {
  auto const value = ToValue(SampleNic());
  EXPECT_EQ(AsStruct(value).name(), "com.quarn.nexar.vm.hardware.ethernet.info");
  EXPECT_EQ(Listing(value),
            (Names{"label", "type", "upt_compatibility_enabled", "upt_v2_compatibility_enabled", "mac_type",
                   "mac_address", "pci_slot_number", "wake_on_lan_enabled", "backing", "state",
                   "start_connected", "allow_guest_control"}));
  auto const unset = Field(value, "pci_slot_number");
  ASSERT_EQ(unset->kind(), Kind::Optional);
  EXPECT_FALSE(static_cast<OptionalValue const&>(*unset).isSet());
  EXPECT_EQ(Text(Field(value, "type")), "VMXNET3");
  EXPECT_EQ(Text(Field(value, "state")), "CONNECTED");
  EXPECT_EQ(AsStruct(Field(value, "backing")).name(), "com.quarn.nexar.vm.hardware.ethernet.backing_info");
  EXPECT_EQ(Listing(Field(value, "backing")).front(), "type");

  EXPECT_EQ(Listing(ToValue(Auth::VtContainers::MappingsSvc::Info(
                "vtc-1", std::make_shared<Std::DynamicID const>("VirtualMachine", "vm-7")))),
            (Names{"vtcontainer", "object"}));
  EXPECT_EQ(Listing(ToValue(Auth::VtContainers::MappingsSvc::FilterSpec())),
            (Names{"vtcontainers", "types"}));

  // A default enumeration goes out as "_UNKNOWN", a secret as a secret.
  auto const credential = ToValue(Nexar::Credential().samlToken(::Opax::SecretString("t0k")));
  EXPECT_EQ(Text(Field(credential, "type")), "_UNKNOWN");
  auto const token = static_cast<OptionalValue const&>(*Field(credential, "saml_token")).value();
  ASSERT_EQ(token->kind(), Kind::Secret);
  EXPECT_EQ(static_cast<SecretValue const&>(*token).value().reveal(), "t0k");
}

TEST(NativeToValue, OperationInputsShareOneNameAndListTheirParameters) {
  std::string const inputName = TypeInfo<::Opax::OperationInput>::name();
  Auth::PrivilegeChecksSvc::ListMethod::Input input;
  input.filter = std::make_shared<Auth::PrivilegeChecksSvc::FilterSpec const>();
  auto const value = ToValue(input);
  EXPECT_EQ(AsStruct(value).name(), inputName);
  EXPECT_EQ(Listing(value), (Names{"iteration", "filter"}));
  EXPECT_EQ(TypeInfo<Auth::PrivilegeChecksSvc::ListMethod::Input>::name(), inputName);

  // No parameters: a structure with the name and nothing else, unless a peer sent more.
  auto const empty = ToValue(Auth::PrivilegeChecks::LatestSvc::GetMethod::Input());
  EXPECT_EQ(AsStruct(empty).name(), inputName);
  EXPECT_TRUE(AsStruct(empty).fields().empty());
  auto received = StructValue::GetInstance(inputName);
  received->SetField("since", Set(String("yesterday")));
  auto const kept = ToValue(ToNative<Auth::PrivilegeChecks::LatestSvc::GetMethod::Input>(received));
  EXPECT_EQ(Listing(kept), Names{"since"});
}

TEST(ValueToNative, AbsentFieldsKeepWhatTheObjectHeld) {
  Hw::MemorySvc::Info memory;
  memory.sizeMiB(512).hotAddEnabled(true);
  auto value = StructValue::GetInstance("com.quarn.nexar.vm.hardware.memory.info");
  value->SetField("hot_add_limit_MiB", Set(DataValue::Create(int64_t{8192})));
  Messages messages;
  ASSERT_TRUE(ValueToNativeAdapter::Adapt(value, memory, messages));
  EXPECT_TRUE(messages.empty()) << "whether absence is acceptable is for validation to say";
  EXPECT_EQ(memory.sizeMiB(), 512);
  EXPECT_TRUE(memory.hotAddEnabled());
  EXPECT_EQ(memory.hotAddLimitMiB(), boost::optional<int64_t>(8192));
  EXPECT_FALSE(memory.hotAddIncrementSizeMiB());

  // A bare value where an optional is declared counts as set; an unset one clears the field.
  value->SetField("hot_add_increment_size_MiB", DataValue::Create(int64_t{128}));
  value->SetField("hot_add_limit_MiB", OptionalValue::GetInstance());
  ASSERT_TRUE(ValueToNativeAdapter::Adapt(value, memory, messages));
  EXPECT_EQ(memory.hotAddIncrementSizeMiB(), boost::optional<int64_t>(128));
  EXPECT_FALSE(memory.hotAddLimitMiB());
}

TEST(ValueToNative, AWrongKindBelowTheTopStopsAtTheFirstFailure) {
  auto const good = ToValue(SampleNic());
  struct Case {
    char const* field;
    std::shared_ptr<DataValue const> value;
  };
  Case const cases[] = {
      {"label", DataValue::Create(int64_t{1})},                            // string
      {"type", DataValue::Create(int64_t{5})},                             // enumeration
      {"wake_on_lan_enabled", String("yes")},                              // boolean
      {"pci_slot_number", Set(String("32"))},                              // optional integer
      {"mac_address", Set(DataValue::Create(::Opax::SecretString("x")))},  // a secret is no string
      {"backing", String("network-12")},                                   // structure
      {"backing", OptionalValue::GetInstance()},                           // required structure, unset
  };
  for (Case const& bad : cases) {
    SCOPED_TRACE(bad.field);
    auto value = std::static_pointer_cast<StructValue>(AsStruct(good).Copy());
    value->SetField(bad.field, bad.value);
    value->SetField("start_connected", String("no"));  // a second fault: still one message
    Hw::EthernetSvc::Info nic;
    Messages messages;
    EXPECT_FALSE(ValueToNativeAdapter::Adapt(value, nic, messages));
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages.front().id(), "opax.data.invalid.type");
  }

  // A list where a set of strings is declared must hold strings.
  auto spec = StructValue::GetInstance("com.quarn.nexar.authorization.roles.create_spec");
  auto privileges = std::make_shared<ListValue>(Kind::Integer);
  privileges->values().push_back(DataValue::Create(int64_t{1}));
  spec->SetField("privileges", privileges);
  Auth::RolesSvc::CreateSpec native;
  Messages messages;
  EXPECT_FALSE(ValueToNativeAdapter::Adapt(spec, native, messages));
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages.front().id(), "opax.data.invalid.type");
}

TEST(ValueToNative, NullPartsOfAValueAreRefusedOrSkippedNeverFollowed) {
  // Null elements: every list element must be a value of the element's kind.
  auto principals = std::make_shared<ListValue>(Kind::Structure);
  principals->values().push_back(nullptr);
  auto ids = std::make_shared<ListValue>(Kind::String);
  ids->values().push_back(String("Vm.Power"));
  ids->values().push_back(nullptr);
  for (auto const& [field, list] :
       {std::make_pair("principals", principals), std::make_pair("privileges", ids)}) {
    SCOPED_TRACE(field);
    auto value = StructValue::GetInstance("com.quarn.nexar.authorization.privilege_checks.filter_spec");
    value->SetField(field, Set(list));
    Auth::PrivilegeChecksSvc::FilterSpec filter;
    Messages messages;
    EXPECT_FALSE(ValueToNativeAdapter::Adapt(value, filter, messages));
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages.front().id(), "opax.data.invalid.type");
  }

  // A field that is present but holds nothing reads as absent, declared or not, and the
  // object still converts back and validates without touching it.
  auto value = StructValue::GetInstance("com.quarn.nexar.credential");
  value->SetField("type", String("SAML_TOKEN"));
  value->SetField("saml_token", nullptr);
  value->SetField("later_field", nullptr);
  Nexar::Credential credential;
  Messages messages;
  EXPECT_TRUE(ValueToNativeAdapter::Adapt(value, credential, messages));
  EXPECT_FALSE(credential.samlToken());
  std::shared_ptr<DataValue const> back;
  EXPECT_TRUE(NativeToValueAdapter::Adapt(credential, back, messages));
  EXPECT_FALSE(Validator::isValid(credential, Validator::LENIENT, messages));
  EXPECT_TRUE(Validator::isValid(credential, Validator::STRICT, messages))
      << "an empty unknown field is no set one";

  // However many set unknown fields a peer sends, the strict check reports a bounded number.
  auto crowded = StructValue::GetInstance("com.quarn.nexar.credential");
  crowded->SetField("type", String("SAML_TOKEN"));
  for (int i = 0; i < 1000; ++i) crowded->SetField("extra" + std::to_string(1000 + i), Set(String("x")));
  Nexar::Credential many;
  ASSERT_TRUE(ValueToNativeAdapter::Adapt(crowded, many, messages));
  messages.clear();
  EXPECT_FALSE(Validator::isValid(many, Validator::STRICT, messages));
  ASSERT_EQ(messages.size(), DataDefinition::kMaxMessages);
  EXPECT_EQ(messages.front().args().back(), "extra1000");
}

TEST(ValueToNative, ADeepOpenStructureInsideAnErrorCostsNoStack) {
  constexpr int kDepth = 200000;
  std::shared_ptr<StructValue> deepest = StructValue::GetInstance("com.quarn.test.node");
  std::shared_ptr<StructValue> top = deepest;
  for (int i = 0; i < kDepth; ++i) {
    auto parent = StructValue::GetInstance("com.quarn.test.node");
    parent->SetField("next", Set(top));
    top = parent;
  }
  auto error = ErrorValue::GetInstance("com.quarn.opax.std.errors.error");
  error->SetField("messages", std::make_shared<ListValue>(Kind::Structure));
  error->SetField("data", Set(top));
  error->SetField("error_type", OptionalValue::GetInstance());
  top.reset();
  deepest.reset();

  auto native = std::make_unique<Std::Errors::Error>(ToNative<Std::Errors::Error>(error));
  ASSERT_TRUE(native->data());
  Messages messages;
  EXPECT_TRUE(Validator::isValid(*native, Validator::STRICT, messages));
  EXPECT_TRUE(NativeToDefinitionAdapter::DefinitionOf<Std::Errors::Error>()->Validate(error, messages));
  auto const back = ToValue(*native);
  EXPECT_TRUE(DataValue::Equal(*error, *back));
  native.reset();
  error.reset();
}

TEST(ValueToNative, ListsKeepOrderAndSetsSortAndCollapse) {
  auto message = StructValue::GetInstance("com.quarn.opax.std.localizable_message");
  auto args = ListValueString::GetInstance();
  for (char const* arg : {"b", "a", "b"}) args->Append(std::string(arg));
  message->SetField("id", String("m"));
  message->SetField("default_message", String("{0} {1} {2}"));
  message->SetField("args", args);
  EXPECT_EQ(ToNative<Std::LocalizableMessage>(message).args(), (std::list<std::string>{"b", "a", "b"}));

  // Elements held as values rather than natively read the same.
  auto spec = StructValue::GetInstance("com.quarn.nexar.authorization.roles.create_spec");
  auto privileges = std::make_shared<ListValue>(Kind::String);
  for (char const* privilege : {"Vm.Power", "System.Read", "Vm.Power"})
    privileges->values().push_back(String(privilege));
  spec->SetField("privileges", privileges);
  auto const roles = ToNative<Auth::RolesSvc::CreateSpec>(spec);
  EXPECT_EQ(roles.privileges(), (std::set<std::string>{"System.Read", "Vm.Power"}));
  auto const listed = Field(ToValue(roles), "privileges");
  ASSERT_EQ(listed->kind(), Kind::List);
  EXPECT_EQ(static_cast<ListValueString const&>(*listed).items(), (Names{"System.Read", "Vm.Power"}));
}

TEST(UnknownFields, AreKeptAndWrittenBackAfterTheDeclaredOnes) {
  auto value = StructValue::GetInstance("com.quarn.nexar.username_password");
  value->SetField("zz_domain", String("corp"));
  value->SetField("password", DataValue::Create(::Opax::SecretString("pw")));
  value->SetField("aa_hint", OptionalValue::GetInstance());
  value->SetField("user_name", String("admin"));
  auto nested = StructValue::GetInstance("com.quarn.nexar.credential");
  nested->SetField("type", String("USERNAME_PASSWORD"));
  nested->SetField("username_password", Set(value));
  nested->SetField("saml_token", OptionalValue::GetInstance());
  nested->SetField("kerberos", Set(String("ticket")));

  auto const credential = ToNative<Nexar::Credential>(nested);
  auto const back = ToValue(credential);
  EXPECT_TRUE(DataValue::Equal(*nested, *back)) << back->ToString();
  EXPECT_EQ(Listing(back), (Names{"type", "username_password", "saml_token", "kerberos"}));
  auto const login = static_cast<OptionalValue const&>(*Field(back, "username_password")).value();
  EXPECT_EQ(Listing(login), (Names{"user_name", "password", "zz_domain", "aa_hint"}))
      << "declared fields first, then the others as they came";

  // As many fields as declared, but one of them unknown and one declared one absent.
  auto swapped = StructValue::GetInstance("com.quarn.nexar.username_password");
  swapped->SetField("user_name", String("admin"));
  swapped->SetField("realm", String("corp"));
  EXPECT_EQ(Listing(ToValue(ToNative<Nexar::UsernamePassword>(swapped))),
            (Names{"user_name", "password", "realm"}));

  // Reading a second value into the same object keeps nothing of the first one's extras.
  Nexar::UsernamePassword reused = *credential.usernamePassword();
  auto plain = StructValue::GetInstance("com.quarn.nexar.username_password");
  plain->SetField("user_name", String("other"));
  plain->SetField("password", DataValue::Create(::Opax::SecretString("x")));
  Messages messages;
  ASSERT_TRUE(ValueToNativeAdapter::Adapt(plain, reused, messages));
  EXPECT_EQ(Listing(ToValue(reused)), (Names{"user_name", "password"}));
}

TEST(WireNames, MixedCaseSuffixesTravelAsWrittenBothWays) {
  Hw::MemorySvc::Info memory;
  memory.sizeMiB(4096).hotAddIncrementSizeMiB(int64_t{128});
  auto const value = ToValue(memory);
  EXPECT_EQ(Listing(value),
            (Names{"size_MiB", "hot_add_enabled", "hot_add_increment_size_MiB", "hot_add_limit_MiB"}));
  EXPECT_EQ(static_cast<IntegerValue const&>(*Field(value, "size_MiB")).value(), 4096);

  auto received = StructValue::GetInstance("com.quarn.nexar.vm.hardware.memory.update_spec");
  received->SetField("size_MiB", Set(DataValue::Create(int64_t{2048})));
  EXPECT_EQ(ToNative<Hw::MemorySvc::UpdateSpec>(received).sizeMiB(), boost::optional<int64_t>(2048));

  // The lower-case spelling is some other field: not read, but kept and sent back.
  auto lower = StructValue::GetInstance("com.quarn.nexar.vm.hardware.memory.update_spec");
  lower->SetField("size_mib", Set(DataValue::Create(int64_t{2048})));
  auto const spec = ToNative<Hw::MemorySvc::UpdateSpec>(lower);
  EXPECT_FALSE(spec.sizeMiB());
  EXPECT_EQ(Listing(ToValue(spec)), (Names{"size_MiB", "hot_add_enabled", "size_mib"}));
}

TEST(Definitions, DescribeAndValidateWhatTheConversionProduces) {
  auto const definition = NativeToDefinitionAdapter::DefinitionOf<Hw::EthernetSvc::Info>();
  ASSERT_TRUE(definition);
  ASSERT_EQ(definition->type(), DefinitionType::Structure);
  auto const& info = static_cast<StructDefinition const&>(*definition);
  EXPECT_EQ(info.name(), "com.quarn.nexar.vm.hardware.ethernet.info");
  EXPECT_EQ(info.fields().size(), 12u);
  EXPECT_EQ(info.field("mac_address")->type(), DefinitionType::Optional);
  EXPECT_EQ(info.field("backing")->type(), DefinitionType::Structure);

  auto const oneOf = std::dynamic_pointer_cast<IsOneOfDefinition const>(info.field("type"));
  ASSERT_TRUE(oneOf);
  EXPECT_TRUE(oneOf->Accepts("VMXNET3"));
  EXPECT_FALSE(oneOf->Accepts("vmxnet3"));
  EXPECT_FALSE(oneOf->Accepts("_UNKNOWN"));

  auto const upt =
      std::dynamic_pointer_cast<UnionCaseDefinition const>(info.field("upt_compatibility_enabled"));
  ASSERT_TRUE(upt);
  EXPECT_EQ(upt->tagField(), "type");
  EXPECT_TRUE(boost::logic::indeterminate(upt->IsActiveFor("VMXNET3"))) << "allowed, not required";
  EXPECT_FALSE(upt->IsActiveFor("E1000"));
  EXPECT_FALSE(upt->IsActiveFor("SOMETHING_NEW"));
  auto const backing = std::static_pointer_cast<StructDefinition const>(info.field("backing"));
  auto const networkName =
      std::dynamic_pointer_cast<UnionCaseDefinition const>(backing->field("network_name"));
  ASSERT_TRUE(networkName);
  EXPECT_TRUE(networkName->IsActiveFor("STANDARD_PORTGROUP") == true) << "required in its case";

  Messages messages;
  EXPECT_TRUE(definition->Validate(ToValue(SampleNic()), messages)) << messages.front();
  EXPECT_FALSE(
      definition->Validate(ToValue(SampleNic().type(Hw::EthernetSvc::EmulationType::E1000)), messages));
  EXPECT_FALSE(definition->Validate(ToValue(Hw::CdromSvc::Summary("cdrom-1")), messages));
}

TEST(Metadata, NamesAndResourceTypesOfIdentifierFields) {
  using ::Opax::Metadata::StructInfo;
  auto const info = StructInfo::Create<Auth::VtContainers::MappingsSvc::Info>();
  ASSERT_TRUE(info);
  EXPECT_EQ(info->name(), "com.quarn.nexar.authorization.vt_containers.Mappings.Info");
  EXPECT_FALSE(info->isInput());
  ASSERT_EQ(info->fields().count("vtcontainer"), 1u);
  EXPECT_EQ(info->fields().at("vtcontainer")->resourceTypes,
            std::set<std::string>{"com.quarn.nexar.authorization.VtContainer"});
  EXPECT_EQ(info->fields().count("object"), 0u);
  EXPECT_NE(StructInfo::Create<Auth::VtContainers::MappingsSvc::Info>(), info) << "a new record per call";

  EXPECT_EQ(StructInfo::Create<Auth::VtContainers::MappingsSvc::FilterSpec>()
                ->fields()
                .at("vtcontainers")
                ->resourceTypes,
            std::set<std::string>{"com.quarn.nexar.authorization.VtContainer"})
      << "a set of identifiers names its kind too";
  EXPECT_EQ(StructInfo::Create<Hw::EthernetSvc::BackingInfo>()->name(),
            "com.quarn.nexar.vm.hardware.Ethernet.BackingInfo");

  EXPECT_TRUE(StructInfo::Create<Nexar::Credential>()->fields().empty());
  EXPECT_TRUE(StructInfo::Create<Hw::MemorySvc::Info>()->fields().empty());
}

TEST(StandardErrors, ConvertAsErrorValuesWithErrorDefinitions) {
  auto message = std::make_shared<Std::LocalizableMessage const>("vm.missing", "No machine {0}.",
                                                                 std::list<std::string>{"vm-7"});
  auto detail = StructValue::GetInstance("com.quarn.nexar.some.detail");
  detail->SetField("where", String("datacenter-2"));
  Std::Errors::NotFound notFound({message});
  notFound.data(DynamicStructure(detail))
      .errorType(Std::Errors::ErrorType(Std::Errors::ErrorType::NOT_FOUND));

  auto const value = ToValue(notFound);
  ASSERT_EQ(value->kind(), Kind::Error);
  EXPECT_EQ(AsStruct(value).name(), "com.quarn.opax.std.errors.not_found");
  EXPECT_EQ(Listing(value), (Names{"messages", "data", "error_type"}));
  std::list<::Opax::BaseMessage> const carried = static_cast<ErrorValue const&>(*value).messages();
  ASSERT_EQ(carried.size(), 1u);
  EXPECT_EQ(carried.front().id(), "vm.missing");
  EXPECT_EQ(carried.front().args(), std::vector<std::string>{"vm-7"});

  auto const back = ToNative<Std::Errors::NotFound>(value);
  ASSERT_TRUE(back.data());
  EXPECT_TRUE(DataValue::Equal(*back.data()->value(), *detail));
  EXPECT_TRUE(DataValue::Equal(*ToValue(back), *value));

  auto const definition = NativeToDefinitionAdapter::DefinitionOf<Std::Errors::NotFound>();
  ASSERT_EQ(definition->type(), DefinitionType::Error);
  auto const error = std::dynamic_pointer_cast<ErrorDefinition const>(definition);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->name(), "com.quarn.opax.std.errors.not_found");
  Messages messages;
  EXPECT_TRUE(definition->Validate(value, messages)) << messages.front();
  EXPECT_FALSE(definition->Validate(ToValue(Std::Errors::Error()), messages)) << "another error's name";
}

}  // namespace
