// Generated structure classes: defaults, constructors, sharing on copy, chaining setters, type
// names and resource-type constants.

#include <bindings/authorization/roles.h>
#include <bindings/authorization/vt_containers/mappings.h>
#include <bindings/nexar.h>
#include <bindings/vm/hardware/adapter/nvme.h>
#include <bindings/vm/hardware/boot/device.h>
#include <bindings/vm/hardware/cdrom.h>
#include <bindings/vm/hardware/disk.h>
#include <bindings/vm/hardware/ethernet.h>
#include <bindings/vm/hardware/memory.h>
#include <bindings/vm/hardware/serial.h>
#include <opax/cis/task.h>
#include <opax/std/std.h>

#include <boost/optional/optional_io.hpp>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>

namespace {

namespace Nexar = ::Com::Quarn::Nexar;
namespace Hw = ::Com::Quarn::Nexar::Vm::Hardware;
namespace Auth = ::Com::Quarn::Nexar::Authorization;
using ::Opax::Data::DataValue;
using ::Opax::Data::StructValue;
using ::Opax::Data::TypeInfo;
using Messages = std::list<::Opax::BaseMessage>;

template <class S, class = void>
struct HasResourceType : std::false_type {};
template <class S>
struct HasResourceType<S, std::void_t<decltype(S::Constants::RESOURCE_TYPE)>> : std::true_type {};

TEST(Structures, DefaultsFollowTheFieldTypeTable) {
  Nexar::Credential credential;
  EXPECT_EQ(credential.type().value(), 2) << "the _UNKNOWN member of a two-member enumeration";
  EXPECT_EQ(credential.type(), Nexar::CredentialEnumerations::Type::_UNKNOWN);
  EXPECT_TRUE(credential.type().unknownText().empty());
  EXPECT_EQ(credential.type().text(), "_UNKNOWN");
  EXPECT_FALSE(credential.usernamePassword());
  EXPECT_FALSE(credential.samlToken());

  Hw::EthernetSvc::Info info;
  EXPECT_TRUE(info.label().empty());
  EXPECT_EQ(info.type(), Hw::EthernetSvc::EmulationType::_UNKNOWN);
  EXPECT_EQ(info.state(), Hw::ConnectionState::_UNKNOWN);
  EXPECT_FALSE(info.uptCompatibilityEnabled());
  EXPECT_FALSE(info.macAddress());
  EXPECT_FALSE(info.pciSlotNumber());
  EXPECT_FALSE(info.wakeOnLanEnabled());
  EXPECT_FALSE(info.backing());
}

TEST(Structures, RequiredFieldConstructorsTakeTheNonOptionalFieldsInOrder) {
  Nexar::UsernamePassword login("admin", ::Opax::SecretString("s3cret"));
  EXPECT_EQ(login.userName(), "admin");
  EXPECT_EQ(login.password().reveal(), "s3cret");

  auto credential =
      std::make_shared<Nexar::Credential const>(Nexar::CredentialEnumerations::Type::SAML_TOKEN);
  EXPECT_EQ(credential->type(), Nexar::CredentialEnumerations::Type::SAML_TOKEN);
  EXPECT_FALSE(credential->samlToken());

  Nexar::ServiceLocator locator("uuid-1", "https://peer/api", credential);
  EXPECT_EQ(locator.instanceUuid(), "uuid-1");
  EXPECT_EQ(locator.url(), "https://peer/api");
  EXPECT_EQ(locator.credential(), credential);
  EXPECT_FALSE(locator.sslCertificate());
  EXPECT_FALSE(locator.sslThumbprint());

  Auth::RolesSvc::CreateSpec spec("operator", "may power machines", {"Vm.Power", "Vm.Console"});
  EXPECT_EQ(spec.name(), "operator");
  EXPECT_EQ(spec.description(), "may power machines");
  EXPECT_EQ(spec.privileges(), (std::set<std::string>{"Vm.Console", "Vm.Power"}));

  auto backing =
      std::make_shared<Hw::EthernetSvc::BackingInfo const>(Hw::EthernetSvc::BackingType::HOST_DEVICE);
  Hw::EthernetSvc::Info nic("Network adapter 1", Hw::EthernetSvc::EmulationType::VMXNET3,
                            Hw::EthernetSvc::MacAddressType::ASSIGNED, true, backing,
                            Hw::ConnectionState::CONNECTED, false, true);
  EXPECT_EQ(nic.label(), "Network adapter 1");
  EXPECT_EQ(nic.type(), Hw::EthernetSvc::EmulationType::VMXNET3);
  EXPECT_EQ(nic.macType(), Hw::EthernetSvc::MacAddressType::ASSIGNED);
  EXPECT_TRUE(nic.wakeOnLanEnabled());
  EXPECT_EQ(nic.backing(), backing);
  EXPECT_EQ(nic.state(), Hw::ConnectionState::CONNECTED);
  EXPECT_FALSE(nic.startConnected());
  EXPECT_TRUE(nic.allowGuestControl());
  EXPECT_FALSE(nic.macAddress());
  EXPECT_FALSE(nic.uptCompatibilityEnabled());
}

TEST(Structures, CopiesShareStructureFieldsAndSurviveTheOriginal) {
  auto credential =
      std::make_shared<Nexar::Credential const>(Nexar::CredentialEnumerations::Type::SAML_TOKEN);
  auto first = std::make_unique<Nexar::ServiceLocator>("uuid", "https://peer", credential);
  ASSERT_EQ(credential.use_count(), 2);

  Nexar::ServiceLocator copy(*first);
  EXPECT_EQ(credential.use_count(), 3) << "copying shares the pointee, it does not clone it";
  first.reset();
  EXPECT_EQ(credential.use_count(), 2);
  EXPECT_EQ(copy.credential().get(), credential.get());

  Nexar::ServiceLocator assigned;
  assigned = copy;
  EXPECT_EQ(credential.use_count(), 3);
  Nexar::ServiceLocator moved(std::move(assigned));
  EXPECT_EQ(credential.use_count(), 3) << "a move hands the reference over";
  EXPECT_EQ(moved.credential().get(), credential.get());

  // Optional structure fields and lists of structures share the same way.
  auto login = std::make_shared<Nexar::UsernamePassword const>("u", ::Opax::SecretString("p"));
  Nexar::Credential withLogin(Nexar::CredentialEnumerations::Type::USERNAME_PASSWORD);
  withLogin.usernamePassword(login);
  Nexar::Credential loginCopy = withLogin;
  EXPECT_EQ(loginCopy.usernamePassword().get(), login);
  EXPECT_EQ(login.use_count(), 3);
}

TEST(Structures, CopiesCarryTheFieldsTheyDoNotDeclare) {
  auto value = StructValue::GetInstance("com.quarn.nexar.username_password");
  value->SetField("user_name", DataValue::Create(std::string("admin")));
  value->SetField("password", DataValue::Create(::Opax::SecretString("pw")));
  value->SetField("realm", DataValue::Create(std::string("corp")));
  Messages messages;
  Nexar::UsernamePassword received;
  ASSERT_TRUE(::Opax::Data::ValueToNativeAdapter::Adapt(value, received, messages));

  Nexar::UsernamePassword copy(received);
  Nexar::UsernamePassword assigned;
  assigned = copy;
  for (Nexar::UsernamePassword const* object : {&copy, &assigned}) {
    std::shared_ptr<DataValue const> back;
    ASSERT_TRUE(::Opax::Data::NativeToValueAdapter::Adapt(*object, back, messages));
    EXPECT_TRUE(DataValue::Equal(*value, *back)) << back->ToString();
  }
}

// Setters return the object itself, so a chain on a named object changes that object; setting an
// optional field to none unsets it.
TEST(Structures, SettersChainOnTheSameObject) {
  Hw::DiskSvc::CreateSpec disk;
  auto nvme = std::make_shared<Hw::NvmeAddressSpec const>(Hw::NvmeAddressSpec().bus(0).unit(int64_t{3}));
  using Bus = Hw::DiskSvc::HostBusAdapterType;
  EXPECT_EQ(&disk.type(Bus(Bus::NVME)).nvme(nvme), &disk);
  EXPECT_EQ(*disk.type(), Bus::NVME);
  EXPECT_EQ(disk.nvme()->unit(), boost::optional<int64_t>(3));
  disk.type(boost::none).nvme(boost::none);
  EXPECT_FALSE(disk.type());
  EXPECT_FALSE(disk.nvme());
}

// One of each shape: top level, nested in a service, an area below another, mixed-case words and
// the sibling libraries.
TEST(Structures, TypeNamesAreTheDottedWireNames) {
  EXPECT_EQ(TypeInfo<Nexar::UsernamePassword>::name(), "com.quarn.nexar.username_password");
  EXPECT_EQ(TypeInfo<Auth::VtContainers::MappingsSvc::Info>::name(),
            "com.quarn.nexar.authorization.vt_containers.mappings.info");
  EXPECT_EQ(TypeInfo<Hw::Boot::DeviceSvc::EntryCreateSpec>::name(),
            "com.quarn.nexar.vm.hardware.boot.device.entry_create_spec");
  EXPECT_EQ(TypeInfo<::Com::Quarn::Opax::Std::DynamicID>::name(), "com.quarn.opax.std.dynamic_id");
  EXPECT_EQ(TypeInfo<::Com::Quarn::Cis::Task::Progress>::name(), "com.quarn.cis.task.progress");
}

TEST(Structures, DefaultInstanceIsANewDefaultObjectWhateverTheValue) {
  auto filled = StructValue::GetInstance("com.quarn.nexar.credential");
  filled->SetField("type", DataValue::Create(std::string("SAML_TOKEN")));
  std::shared_ptr<DataValue const> const values[] = {nullptr, filled, DataValue::Create(int64_t{5})};

  std::shared_ptr<Nexar::Credential> previous;
  for (auto const& value : values) {
    std::shared_ptr<Nexar::Credential> made = TypeInfo<Nexar::Credential>::defaultInstance(value);
    ASSERT_TRUE(made);
    EXPECT_NE(made, previous);
    EXPECT_EQ(made.use_count(), 1);
    EXPECT_EQ(made->type(), Nexar::CredentialEnumerations::Type::_UNKNOWN) << "the value is not consulted";
    EXPECT_FALSE(made->samlToken());
    previous = made;
  }
}

TEST(Structures, ResourceTypeConstantsNameTheManagedObjectKind) {
  EXPECT_STREQ(Hw::SerialSvc::Constants::RESOURCE_TYPE, "com.quarn.nexar.vm.hardware.SerialPort");
  EXPECT_STREQ(Hw::Adapter::NvmeSvc::Constants::RESOURCE_TYPE, "com.quarn.nexar.vm.hardware.NvmeAdapter");
  EXPECT_STREQ(Auth::VtContainers::MappingsSvc::Constants::RESOURCE_TYPE,
               "com.quarn.nexar.authorization.vt_containers.Mapping");

  // Services that act on the virtual machine as a whole name no kind of their own.
  EXPECT_FALSE(HasResourceType<Hw::Boot::DeviceSvc>::value);
  EXPECT_FALSE(HasResourceType<Hw::MemorySvc>::value);
  EXPECT_TRUE(HasResourceType<Hw::CdromSvc>::value);
}

}  // namespace
