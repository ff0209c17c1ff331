// Native validation of generated structures: union rules with their exact messages, nested
// required structures, and the strict policy's treatment of fields this side does not know.

#include <bindings/authorization/privilege_checks.h>
#include <bindings/nexar.h>
#include <bindings/vm/hardware/boot/device.h>
#include <bindings/vm/hardware/cdrom.h>
#include <bindings/vm/hardware/disk.h>
#include <bindings/vm/hardware/ethernet.h>
#include <bindings/vm/hardware/serial.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace Nexar = ::Com::Quarn::Nexar;
namespace Hw = ::Com::Quarn::Nexar::Vm::Hardware;
using ::Opax::BaseMessage;
using ::Opax::Data::DataValue;
using ::Opax::Data::OptionalValue;
using ::Opax::Data::StructValue;
using ::Opax::Data::Validator;
using Messages = std::list<BaseMessage>;
using Reported = std::vector<std::pair<std::string, std::vector<std::string>>>;
using CredentialType = Nexar::CredentialEnumerations::Type;

constexpr auto kLenient = Validator::LENIENT;
constexpr auto kStrict = static_cast<Validator::Policy>(1);
constexpr char kCredential[] = "com.quarn.nexar.credential";
constexpr char kIsSet[] = "opax.data.union.invalid.case.state.isset.short";
constexpr char kIsNotSet[] = "opax.data.union.invalid.case.state.isnotset.short";
constexpr char kMissingTag[] = "opax.data.union.missing.tag.field";
constexpr char kNoTag[] = "opax.data.union.invalid.case.state.notag";
constexpr char kExtra[] = "opax.data.compound.field.extra";

// Runs the check and returns what it reported, after checking that every message carries the
// runtime's default text for its id, filled with its arguments.
template <class T>
Reported Check(T const& object, bool expectValid, Validator::Policy policy = kLenient) {
  Messages messages;
  EXPECT_EQ(Validator::isValid(object, policy, messages), expectValid);
  Reported reported;
  for (BaseMessage const& message : messages) {
    EXPECT_EQ(message.defaultMessage(), BaseMessage::Make(message.id(), message.args()).defaultMessage());
    for (std::string const& arg : message.args()) {
      EXPECT_NE(message.defaultMessage().find(arg), std::string::npos)
          << message.id() << ": \"" << message.defaultMessage() << "\" does not name " << arg;
    }
    reported.emplace_back(message.id(), message.args());
  }
  return reported;
}

std::shared_ptr<Nexar::UsernamePassword const> Login() {
  return std::make_shared<Nexar::UsernamePassword const>("admin", ::Opax::SecretString("pw"));
}

Nexar::Credential Credential(CredentialType::EnumType type, bool withLogin, bool withToken) {
  Nexar::Credential credential{CredentialType(type)};
  if (withLogin) credential.usernamePassword(Login());
  if (withToken) credential.samlToken(::Opax::SecretString("token"));
  return credential;
}

// What a peer would send for a Credential.
std::shared_ptr<StructValue> CredentialValue(std::string const& type, bool withLogin, bool withToken) {
  auto value = StructValue::GetInstance(kCredential);
  value->SetField("type", DataValue::Create(type));
  auto login = StructValue::GetInstance("com.quarn.nexar.username_password");
  login->SetField("user_name", DataValue::Create(std::string("admin")));
  login->SetField("password", DataValue::Create(::Opax::SecretString("pw")));
  value->SetField("username_password",
                  withLogin ? OptionalValue::GetInstance(login) : OptionalValue::GetInstance());
  value->SetField("saml_token", withToken
                                    ? OptionalValue::GetInstance(DataValue::Create(::Opax::SecretString("t")))
                                    : OptionalValue::GetInstance());
  return value;
}

template <class T>
T Received(std::shared_ptr<DataValue const> const& value) {
  T native;
  Messages messages;
  EXPECT_TRUE(::Opax::Data::ValueToNativeAdapter::Adapt(value, native, messages));
  return native;
}

TEST(CredentialUnion, EachCaseWithItsOwnFieldIsValid) {
  EXPECT_TRUE(Check(Credential(CredentialType::USERNAME_PASSWORD, true, false), true).empty());
  EXPECT_TRUE(Check(Credential(CredentialType::SAML_TOKEN, false, true), true).empty());
  EXPECT_TRUE(Check(Credential(CredentialType::SAML_TOKEN, false, true), true, kStrict).empty());
}

TEST(CredentialUnion, EachBrokenRuleGivesExactlyOneMessage) {
  EXPECT_EQ(Check(Nexar::Credential(), false), (Reported{{kMissingTag, {"type"}}}));
  EXPECT_EQ(Check(Credential(CredentialType::SAML_TOKEN, true, true), false),
            (Reported{{kIsSet, {"usernamePassword", kCredential}}}));
  EXPECT_EQ(Check(Credential(CredentialType::USERNAME_PASSWORD, true, true), false),
            (Reported{{kIsSet, {"samlToken", kCredential}}}));
  EXPECT_EQ(Check(Credential(CredentialType::SAML_TOKEN, false, false), false),
            (Reported{{kIsNotSet, {"samlToken", kCredential}}}));
  EXPECT_EQ(Check(Credential(CredentialType::USERNAME_PASSWORD, false, false), false),
            (Reported{{kIsNotSet, {"usernamePassword", kCredential}}}));
  // Both required fields missing or both present: the field declared last is examined first.
  EXPECT_EQ(Check(Credential(CredentialType::USERNAME_PASSWORD, false, true), false),
            (Reported{{kIsSet, {"samlToken", kCredential}}}));
}

TEST(CredentialUnion, TheLastCaseFieldIsExaminedBeforeTheTagAndTheFirstAfterIt) {
  EXPECT_EQ(Check(Credential(CredentialType::_UNKNOWN, false, true), false),
            (Reported{{kIsSet, {"samlToken", kCredential}}}));
  EXPECT_EQ(Check(Credential(CredentialType::_UNKNOWN, true, false), false),
            (Reported{{kMissingTag, {"type"}}}));
  // A tag received with a text this side cannot name is as good as no tag.
  EXPECT_EQ(Check(Nexar::Credential(CredentialType::FromText("KERBEROS")).usernamePassword(Login()), false),
            (Reported{{kMissingTag, {"type"}}}));
}

TEST(CredentialUnion, EarlierMessagesInTheListAreKept) {
  Messages messages{BaseMessage::Make("opax.invoke.invalid.input", {"create"})};
  EXPECT_FALSE(Validator::isValid(Nexar::Credential(), kLenient, messages));
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages.front().id(), "opax.invoke.invalid.input");
  EXPECT_EQ(messages.back().id(), kMissingTag);
}

TEST(StrictPolicy, UnknownFieldsThatAreUnsetAcceptTheObjectAtOnce) {
  // The union contradicts its tag, but the value also carries a field from a newer peer.
  auto value = CredentialValue("SAML_TOKEN", true, true);
  value->SetField("kerberos_ticket", OptionalValue::GetInstance());
  value->SetField("realm", DataValue::Create(std::string("CORP")));  // not an optional: ignored
  auto const credential = Received<Nexar::Credential>(value);

  EXPECT_TRUE(Check(credential, true, kStrict).empty());
  EXPECT_EQ(Check(credential, false, kLenient), (Reported{{kIsSet, {"usernamePassword", kCredential}}}));
  EXPECT_EQ(Check(credential, false, static_cast<Validator::Policy>(7)),
            (Reported{{kIsSet, {"usernamePassword", kCredential}}}))
      << "only the value 1 is strict";
}

TEST(StrictPolicy, SetUnknownFieldsAreEachReportedInNameOrder) {
  auto value = CredentialValue("SAML_TOKEN", false, true);
  value->SetField("zone", OptionalValue::GetInstance(DataValue::Create(std::string("eu"))));
  value->SetField("kerberos_ticket", OptionalValue::GetInstance(DataValue::Create(int64_t{1})));
  value->SetField("unset_one", OptionalValue::GetInstance());
  auto const credential = Received<Nexar::Credential>(value);

  EXPECT_EQ(Check(credential, false, kStrict),
            (Reported{{kExtra, {"::Com::Quarn::Nexar::Credential", "kerberos_ticket"}},
                      {kExtra, {"::Com::Quarn::Nexar::Credential", "zone"}}}));
  EXPECT_TRUE(Check(credential, true, kLenient).empty()) << "the lenient policy does not look at them";
}

TEST(StrictPolicy, ReachesUnknownFieldsOfNestedStructures) {
  auto credential = CredentialValue("SAML_TOKEN", false, true);
  credential->SetField("kerberos_ticket", OptionalValue::GetInstance(DataValue::Create(std::string("t"))));
  auto locator = StructValue::GetInstance("com.quarn.nexar.service_locator");
  locator->SetField("instance_uuid", DataValue::Create(std::string("u")));
  locator->SetField("url", DataValue::Create(std::string("https://peer")));
  locator->SetField("credential", credential);
  auto const received = Received<Nexar::ServiceLocator>(locator);

  EXPECT_EQ(Check(received, false, kStrict),
            (Reported{{kExtra, {"::Com::Quarn::Nexar::Credential", "kerberos_ticket"}}}));
  EXPECT_TRUE(Check(received, true, kLenient).empty());
}

TEST(NestedStructures, ServiceLocatorFollowsItsCredential) {
  Messages messages{BaseMessage::Make("opax.invoke.invalid.input", {"get"})};
  EXPECT_FALSE(Validator::isValid(Nexar::ServiceLocator(), kLenient, messages));
  EXPECT_EQ(messages.size(), 1u) << "an empty required structure fails without a message";

  Nexar::ServiceLocator locator(
      "uuid", "https://peer",
      std::make_shared<Nexar::Credential const>(Credential(CredentialType::_UNKNOWN, false, false)));
  EXPECT_EQ(Check(locator, false), (Reported{{kMissingTag, {"type"}}}));
  locator.credential(
      std::make_shared<Nexar::Credential const>(Credential(CredentialType::SAML_TOKEN, false, true)));
  EXPECT_TRUE(Check(locator, true).empty());
}

TEST(NestedStructures, RequiredOnesAreCheckedOptionalOnesAreNot) {
  auto badBacking = std::make_shared<Hw::DiskSvc::BackingInfo const>(Hw::DiskSvc::BackingType::VMDK_FILE);
  Hw::DiskSvc::Info info("Hard disk 1", Hw::DiskSvc::HostBusAdapterType::SCSI, badBacking);
  info.scsi(std::make_shared<Hw::ScsiAddressInfo const>(Hw::ScsiAddressInfo(0, 1)));
  EXPECT_EQ(Check(info, false),
            (Reported{{kIsNotSet, {"vmdkFile", "com.quarn.nexar.vm.hardware.disk.backing_info"}}}));
  info.backing(nullptr);
  EXPECT_TRUE(Check(info, false).empty());

  // Outside an operation's input, a set optional structure is left to its own check.
  Hw::DiskSvc::CreateSpec spec;
  spec.backing(std::make_shared<Hw::DiskSvc::BackingSpec const>(Hw::DiskSvc::BackingType::VMDK_FILE));
  Messages ignored;
  EXPECT_FALSE(Validator::isValid(*spec.backing(), kLenient, ignored));
  EXPECT_TRUE(Check(spec, true).empty());
}

TEST(NestedStructures, StandardTypesAreCheckedLikeGeneratedOnes) {
  // A checked record whose required object and optional principal each carry a set field
  // from a newer peer: only the required one is looked into.
  auto object = StructValue::GetInstance("com.quarn.opax.std.dynamic_id");
  object->SetField("type", DataValue::Create(std::string("VirtualMachine")));
  object->SetField("id", DataValue::Create(std::string("vm-1")));
  auto principal = StructValue::GetInstance("com.quarn.nexar.authorization.privilege_checks.principal");
  principal->SetField("name", DataValue::Create(std::string("admin")));
  principal->SetField("domain", DataValue::Create(std::string("corp")));
  principal->SetField("upn", OptionalValue::GetInstance(DataValue::Create(std::string("admin@corp"))));
  auto info = StructValue::GetInstance("com.quarn.nexar.authorization.privilege_checks.info");
  info->SetField("object", object);
  info->SetField("principal", OptionalValue::GetInstance(principal));
  info->SetField("privileges", ::Opax::Data::ListValueString::GetInstance());

  using Info = Nexar::Authorization::PrivilegeChecksSvc::Info;
  EXPECT_TRUE(Check(Received<Info>(info), true, kStrict).empty());
  object->SetField("uuid", OptionalValue::GetInstance(DataValue::Create(std::string("4c4c"))));
  EXPECT_EQ(Check(Received<Info>(info), false, kStrict),
            (Reported{{kExtra, {"::Com::Quarn::Opax::Std::DynamicID", "uuid"}}}));
  EXPECT_TRUE(Check(Info(), false).empty()) << "an empty required object fails silently";
}

TEST(NestedStructures, AnOperationInputChecksItsOptionalParametersWhenSet) {
  using Input = Nexar::Authorization::PrivilegeChecksSvc::ListMethod::Input;
  auto filter = StructValue::GetInstance("com.quarn.nexar.authorization.privilege_checks.filter_spec");
  filter->SetField("since", OptionalValue::GetInstance(DataValue::Create(std::string("2024-01-01"))));
  auto value = StructValue::GetInstance(::Opax::Data::TypeInfo<::Opax::OperationInput>::name());
  value->SetField("iteration", OptionalValue::GetInstance());
  value->SetField("filter", OptionalValue::GetInstance(filter));
  Input const input = Received<Input>(value);
  ASSERT_TRUE(input.filter);
  EXPECT_EQ(
      Check(input, false, kStrict),
      (Reported{{kExtra, {"::Com::Quarn::Nexar::Authorization::PrivilegeChecksSvc::FilterSpec", "since"}}}));
  EXPECT_TRUE(Check(Input(), true, kStrict).empty());
}

TEST(HardwareUnions, SerialPortPipeBacking) {
  using Backing = Hw::SerialSvc::BackingInfo;
  constexpr char kName[] = "com.quarn.nexar.vm.hardware.serial.backing_info";
  Backing pipe(Hw::SerialSvc::BackingType::PIPE_SERVER);
  pipe.pipe(std::string("\\\\.\\pipe\\com1")).noRxLoss(true);
  EXPECT_TRUE(Check(pipe, true).empty());
  EXPECT_EQ(Check(Backing(pipe).networkLocation(std::string("tcp://host:7000")), false),
            (Reported{{kIsSet, {"networkLocation", kName}}}));
  EXPECT_EQ(Check(Backing(pipe).pipe(boost::none), false), (Reported{{kIsNotSet, {"pipe", kName}}}));
  EXPECT_EQ(Check(Backing(pipe).type(Hw::SerialSvc::BackingType::FILE), false),
            (Reported{{kIsSet, {"noRxLoss", kName}}}));
  // Optional case fields may stay unset in their case.
  Backing server(Hw::SerialSvc::BackingType::NETWORK_CLIENT);
  EXPECT_TRUE(Check(server.networkLocation(std::string("tcp://h:1")), true).empty());
  EXPECT_TRUE(Check(Backing(Hw::SerialSvc::BackingType::HOST_DEVICE), true).empty());
}

TEST(HardwareUnions, EthernetCreateSpecHasTwoIndependentTags) {
  using Spec = Hw::EthernetSvc::CreateSpec;
  using Mac = Hw::EthernetSvc::MacAddressType;
  using Emulation = Hw::EthernetSvc::EmulationType;
  constexpr char kName[] = "com.quarn.nexar.vm.hardware.ethernet.create_spec";

  EXPECT_TRUE(Check(Spec(), true).empty()) << "every field optional, both tags unset";
  EXPECT_EQ(Check(Spec().macType(Mac(Mac::GENERATED)).macAddress(std::string("00:50:56:00:00:01")), false),
            (Reported{{kIsSet, {"macAddress", kName}}}));
  EXPECT_TRUE(
      Check(Spec().macType(Mac(Mac::MANUAL)).macAddress(std::string("00:50:56:00:00:01")), true).empty());
  EXPECT_EQ(Check(Spec().macType(Mac(Mac::MANUAL)), false), (Reported{{kIsNotSet, {"macAddress", kName}}}));
  EXPECT_EQ(Check(Spec().macAddress(std::string("00:50:56:00:00:01")), false),
            (Reported{{kNoTag, {"macType", "macAddress", kName}}}));
  EXPECT_EQ(Check(Spec().macType(Mac::FromText("RANDOM")), false), (Reported{{kMissingTag, {"mac_type"}}}));

  EXPECT_TRUE(Check(Spec().type(Emulation(Emulation::VMXNET3)).uptCompatibilityEnabled(true), true).empty());
  EXPECT_EQ(Check(Spec().type(Emulation(Emulation::E1000)).uptV2CompatibilityEnabled(false), false),
            (Reported{{kIsSet, {"uptV2CompatibilityEnabled", kName}}}));
  // The first union to fail decides; the second is not looked at.
  EXPECT_EQ(Check(Spec()
                      .type(Emulation(Emulation::E1000))
                      .uptCompatibilityEnabled(true)
                      .macType(Mac(Mac::GENERATED))
                      .macAddress(std::string("x")),
                  false),
            (Reported{{kIsSet, {"uptCompatibilityEnabled", kName}}}));
}

TEST(HardwareUnions, DiskCreateSpecTakesOnlyTheAddressOfItsBus) {
  using Spec = Hw::DiskSvc::CreateSpec;
  using Bus = Hw::DiskSvc::HostBusAdapterType;
  constexpr char kName[] = "com.quarn.nexar.vm.hardware.disk.create_spec";
  auto const nvme = std::make_shared<Hw::NvmeAddressSpec const>(Hw::NvmeAddressSpec(0));
  Spec spec;
  spec.type(Bus(Bus::NVME)).nvme(nvme);
  EXPECT_TRUE(Check(spec, true).empty());
  EXPECT_TRUE(Check(Spec(spec).nvme(boost::none), true).empty()) << "the server picks the slot";
  EXPECT_EQ(Check(Spec(spec).ide(std::make_shared<Hw::IdeAddressSpec const>()), false),
            (Reported{{kIsSet, {"ide", kName}}}));
  EXPECT_EQ(Check(Spec(spec).type(Bus(Bus::SCSI)), false), (Reported{{kIsSet, {"nvme", kName}}}));

  // In Info the address of the bus is required.
  Hw::DiskSvc::Info info("Hard disk 2", Bus::NVME,
                         std::make_shared<Hw::DiskSvc::BackingInfo const>(
                             Hw::DiskSvc::BackingInfo(Hw::DiskSvc::BackingType::VMDK_FILE)
                                 .vmdkFile(std::string("[ds] a.vmdk"))));
  EXPECT_EQ(Check(info, false), (Reported{{kIsNotSet, {"nvme", "com.quarn.nexar.vm.hardware.disk.info"}}}));
  info.nvme(std::make_shared<Hw::NvmeAddressInfo const>(Hw::NvmeAddressInfo(0, 0)));
  EXPECT_TRUE(Check(info, true).empty());
}

TEST(HardwareUnions, CdromAndBootDeviceCases) {
  using Backing = Hw::CdromSvc::BackingInfo;
  using Access = Hw::CdromSvc::DeviceAccessType;
  constexpr char kName[] = "com.quarn.nexar.vm.hardware.cdrom.backing_info";
  Backing host(Hw::CdromSvc::BackingType::HOST_DEVICE);
  host.autoDetect(true).deviceAccessType(Access(Access::PASSTHRU));
  EXPECT_TRUE(Check(host, true).empty());
  EXPECT_TRUE(
      Check(Backing(host).type(Hw::CdromSvc::BackingType::CLIENT_DEVICE).autoDetect(boost::none), true)
          .empty());
  EXPECT_EQ(Check(Backing(host).type(Hw::CdromSvc::BackingType::CLIENT_DEVICE), false),
            (Reported{{kIsSet, {"autoDetect", kName}}}));
  EXPECT_EQ(Check(Backing(Hw::CdromSvc::BackingType::ISO_FILE)
                      .isoFile(std::string("a.iso"))
                      .deviceAccessType(Access(Access::EMULATION)),
                  false),
            (Reported{{kIsSet, {"deviceAccessType", kName}}}));

  using Entry = Hw::Boot::DeviceSvc::Entry;
  using Device = Hw::Boot::DeviceSvc::Type;
  EXPECT_TRUE(Check(Entry(Device::DISK).disks(std::list<std::string>{"disk-1"}), true).empty());
  EXPECT_EQ(Check(Entry(Device::ETHERNET).nic(std::string("nic-1")).disks(std::list<std::string>{}), false),
            (Reported{{kIsSet, {"disks", "com.quarn.nexar.vm.hardware.boot.device.entry"}}}));
  EXPECT_TRUE(Check(Entry(Device::FLOPPY), true).empty());
}

}  // namespace
