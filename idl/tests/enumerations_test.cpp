// Generated enumerations and union annotation tables: numbering, text lookup, unknown values,
// and the tables of the hardware family checked value by value.

#include <bindings/nexar.h>
#include <bindings/vm/hardware/adapter/sata.h>
#include <bindings/vm/hardware/adapter/scsi.h>
#include <bindings/vm/hardware/boot.h>
#include <bindings/vm/hardware/boot/device.h>
#include <bindings/vm/hardware/cdrom.h>
#include <bindings/vm/hardware/disk.h>
#include <bindings/vm/hardware/ethernet.h>
#include <bindings/vm/hardware/floppy.h>
#include <bindings/vm/hardware/parallel.h>
#include <bindings/vm/hardware/serial.h>
#include <opax/cis/task.h>
#include <opax/std/errors.h>

#include <gtest/gtest.h>

#include <climits>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

namespace Nexar = ::Com::Quarn::Nexar;
namespace Hw = ::Com::Quarn::Nexar::Vm::Hardware;
using Texts = std::vector<std::string>;

// The wire texts of E up to the null entry that ends the table.
template <class E>
Texts Table() {
  Texts texts;
  for (char const* const* entry = E::Strings::values; *entry != nullptr; ++entry) texts.emplace_back(*entry);
  return texts;
}

// Checks E against its named members in order: the table, the numbering, and that numbers and
// texts lead to the same members and back.
template <class E>
void ExpectEnumeration(char const* name, Texts const& named) {
  SCOPED_TRACE(name);
  Texts expected = named;
  expected.emplace_back("_UNKNOWN");
  ASSERT_EQ(Table<E>(), expected);
  int const count = static_cast<int>(named.size());
  EXPECT_EQ(static_cast<int>(E::EnumType::_UNKNOWN), count);
  for (int i = 0; i < count; ++i) {
    E const byNumber(i);
    EXPECT_EQ(byNumber.value(), i);
    EXPECT_EQ(byNumber.text(), named[i]);
    E const byText = E::FromText(named[i]);
    EXPECT_EQ(static_cast<int>(static_cast<typename E::EnumType>(byText)), i);
    EXPECT_TRUE(byText.unknownText().empty());
  }
  for (int outside : {count, count + 1, -1, INT_MIN, INT_MAX}) {
    E const value(outside);
    EXPECT_EQ(value.value(), count) << outside;
    EXPECT_TRUE(value.unknownText().empty());
    EXPECT_EQ(value.text(), "_UNKNOWN");
  }
  EXPECT_EQ(E().value(), count);
  EXPECT_EQ(E().text(), "_UNKNOWN");
}

TEST(Enumerations, TextLookupIsExactAndKeepsWhatItCannotName) {
  using BackingType = Hw::CdromSvc::BackingType;

  BackingType const known = BackingType::FromText("HOST_DEVICE");
  EXPECT_EQ(known.value(), 1);
  EXPECT_EQ(static_cast<BackingType::EnumType>(known), BackingType::HOST_DEVICE);
  EXPECT_TRUE(known.unknownText().empty());
  EXPECT_EQ(known.text(), "HOST_DEVICE");

  BackingType const lower = BackingType::FromText("host_device");
  EXPECT_EQ(lower.value(), 3);
  EXPECT_EQ(lower.unknownText(), "host_device");
  EXPECT_EQ(lower.text(), "host_device");

  BackingType const reserved = BackingType::FromText("_UNKNOWN");
  EXPECT_EQ(reserved.value(), 3);
  EXPECT_TRUE(reserved.unknownText().empty());
  EXPECT_EQ(reserved.text(), "_UNKNOWN");

  // Same bytes and same length, nothing less: prefixes, extensions, padding and an embedded
  // NUL are all unknown values that travel back as they came.
  for (std::string const& text :
       {std::string("HOST_DEVIC"), std::string("HOST_DEVICES"), std::string(" HOST_DEVICE"),
        std::string("HOST_DEVICE\0", 12), std::string("ISO_FILE\0HOST", 13), std::string("_UNKNOWN "),
        std::string("\xc3\x89MULATION")}) {
    BackingType const value = BackingType::FromText(text);
    EXPECT_EQ(value.value(), 3) << text;
    EXPECT_EQ(value.text(), text);
  }

  // An empty text is unknown too; having nothing to write back, it goes out as "_UNKNOWN".
  BackingType const empty = BackingType::FromText("");
  EXPECT_EQ(empty.value(), 3);
  EXPECT_EQ(empty.text(), "_UNKNOWN");
}

TEST(Enumerations, TheTextConstructorNeverLooksTheTextUp) {
  using BackingType = Hw::CdromSvc::BackingType;
  BackingType const carried(std::string("HOST_DEVICE"));
  EXPECT_EQ(carried.value(), 3);
  EXPECT_EQ(static_cast<BackingType::EnumType>(carried), BackingType::_UNKNOWN);
  EXPECT_EQ(carried.unknownText(), "HOST_DEVICE");
  EXPECT_EQ(carried.text(), BackingType(BackingType::HOST_DEVICE).text()) << "both write the same wire text";

  EXPECT_EQ(BackingType(7).value(), 3);
  EXPECT_TRUE(BackingType(7).unknownText().empty());
  EXPECT_EQ(BackingType(-1).value(), 3);
  EXPECT_TRUE(BackingType(-1).unknownText().empty());
  EXPECT_EQ(BackingType(2).text(), "CLIENT_DEVICE");

  Nexar::Credential const credential;
  EXPECT_EQ(credential.type().value(), 2);
  EXPECT_EQ(credential.type().text(), "_UNKNOWN");
}

TEST(Enumerations, SetsOrderByMemberThenByHeldText) {
  using BackingType = Hw::CdromSvc::BackingType;
  std::set<BackingType> values{BackingType(BackingType::CLIENT_DEVICE), BackingType::FromText("ZIP"),
                               BackingType(BackingType::ISO_FILE),      BackingType::FromText("TAPE"),
                               BackingType::FromText("ISO_FILE"),       BackingType::FromText("ZIP")};
  std::vector<std::string> texts;
  for (BackingType const& value : values) texts.push_back(value.text());
  EXPECT_EQ(texts, (std::vector<std::string>{"ISO_FILE", "CLIENT_DEVICE", "TAPE", "ZIP"}))
      << "two different unknown texts are two elements; equal ones collapse";
}

TEST(Enumerations, UnionAnnotationTablesOfCredential) {
  EXPECT_EQ(Table<Nexar::CredentialAnnotations::UnionTags>(), (Texts{"type", "_UNKNOWN"}));
  EXPECT_EQ(Table<Nexar::CredentialAnnotations::UsernamePasswordUnionCases>(),
            (Texts{"USERNAME_PASSWORD", "_UNKNOWN"}));
  EXPECT_EQ(Table<Nexar::CredentialAnnotations::SamlTokenUnionCases>(), (Texts{"SAML_TOKEN", "_UNKNOWN"}));
  EXPECT_EQ(Nexar::CredentialAnnotations::UnionTags::FromText("type").value(), 0);
  EXPECT_EQ(Nexar::CredentialAnnotations::SamlTokenUnionCases::FromText("USERNAME_PASSWORD").value(), 1);
}

TEST(Enumerations, EveryEnumerationOfTheHardwareFamilyInOrder) {
  ExpectEnumeration<Hw::ConnectionState>(
      "ConnectionState",
      {"CONNECTED", "RECOVERABLE_ERROR", "UNRECOVERABLE_ERROR", "NOT_CONNECTED", "UNKNOWN"});
  ExpectEnumeration<Hw::BootSvc::Type>("BootSvc::Type", {"BIOS", "EFI"});
  ExpectEnumeration<Hw::BootSvc::NetworkProtocol>("BootSvc::NetworkProtocol", {"IPV4", "IPV6"});
  ExpectEnumeration<Hw::Boot::DeviceSvc::Type>("Boot::DeviceSvc::Type",
                                               {"CDROM", "DISK", "ETHERNET", "FLOPPY"});
  ExpectEnumeration<Hw::Adapter::SataSvc::Type>("SataSvc::Type", {"AHCI"});
  ExpectEnumeration<Hw::Adapter::ScsiSvc::Type>("ScsiSvc::Type",
                                                {"BUSLOGIC", "LSILOGIC", "LSILOGICSAS", "PVSCSI"});
  ExpectEnumeration<Hw::Adapter::ScsiSvc::Sharing>("ScsiSvc::Sharing", {"NONE", "VIRTUAL", "PHYSICAL"});
  ExpectEnumeration<Hw::CdromSvc::BackingType>("CdromSvc::BackingType",
                                               {"ISO_FILE", "HOST_DEVICE", "CLIENT_DEVICE"});
  ExpectEnumeration<Hw::CdromSvc::DeviceAccessType>("CdromSvc::DeviceAccessType",
                                                    {"EMULATION", "PASSTHRU", "PASSTHRU_EXCLUSIVE"});
  ExpectEnumeration<Hw::CdromSvc::HostBusAdapterType>("CdromSvc::HostBusAdapterType", {"IDE", "SATA"});
  ExpectEnumeration<Hw::DiskSvc::BackingType>("DiskSvc::BackingType", {"VMDK_FILE"});
  ExpectEnumeration<Hw::DiskSvc::HostBusAdapterType>("DiskSvc::HostBusAdapterType",
                                                     {"IDE", "SCSI", "SATA", "NVME"});
  ExpectEnumeration<Hw::EthernetSvc::BackingType>(
      "EthernetSvc::BackingType",
      {"STANDARD_PORTGROUP", "HOST_DEVICE", "DISTRIBUTED_PORTGROUP", "OPAQUE_NETWORK"});
  ExpectEnumeration<Hw::EthernetSvc::EmulationType>(
      "EthernetSvc::EmulationType", {"E1000", "E1000E", "PCNET32", "VMXNET", "VMXNET2", "VMXNET3"});
  ExpectEnumeration<Hw::EthernetSvc::MacAddressType>("EthernetSvc::MacAddressType",
                                                     {"MANUAL", "GENERATED", "ASSIGNED"});
  ExpectEnumeration<Hw::FloppySvc::BackingType>("FloppySvc::BackingType",
                                                {"IMAGE_FILE", "HOST_DEVICE", "CLIENT_DEVICE"});
  ExpectEnumeration<Hw::ParallelSvc::BackingType>("ParallelSvc::BackingType", {"FILE", "HOST_DEVICE"});
  ExpectEnumeration<Hw::SerialSvc::BackingType>(
      "SerialSvc::BackingType",
      {"FILE", "HOST_DEVICE", "PIPE_SERVER", "PIPE_CLIENT", "NETWORK_SERVER", "NETWORK_CLIENT"});
}

TEST(Enumerations, EnumerationsOfTheSiblingLibraries) {
  ExpectEnumeration<Nexar::CredentialEnumerations::Type>("Credential::Type",
                                                         {"USERNAME_PASSWORD", "SAML_TOKEN"});
  ExpectEnumeration<::Com::Quarn::Cis::Task::Status>(
      "Task::Status", {"PENDING", "RUNNING", "BLOCKED", "SUCCEEDED", "FAILED"});
  using ErrorType = ::Com::Quarn::Opax::Std::Errors::ErrorType;
  EXPECT_EQ(Table<ErrorType>().size(), 20u);
  EXPECT_EQ(ErrorType::FromText("NOT_FOUND").value(), 8);
  EXPECT_EQ(ErrorType(18).text(), "UNVERIFIED_PEER");
}

// The union table of the hardware family: tag fields per structure, and per conditional field
// the tag values for which it belongs to the union.
TEST(Enumerations, UnionAnnotationsOfTheHardwareFamily) {
  Texts const type{"type", "_UNKNOWN"};
  auto cases = [](Texts values) {
    values.emplace_back("_UNKNOWN");
    return values;
  };

  {
    using A = Hw::CdromSvc::BackingInfoAnnotations;
    EXPECT_EQ(Table<A::UnionTags>(), type);
    EXPECT_EQ(Table<A::IsoFileUnionCases>(), cases({"ISO_FILE"}));
    EXPECT_EQ(Table<A::HostDeviceUnionCases>(), cases({"HOST_DEVICE"}));
    EXPECT_EQ(Table<A::AutoDetectUnionCases>(), cases({"HOST_DEVICE"}));
    EXPECT_EQ(Table<A::DeviceAccessTypeUnionCases>(), cases({"HOST_DEVICE", "CLIENT_DEVICE"}));
  }
  {
    using A = Hw::CdromSvc::BackingSpecAnnotations;
    EXPECT_EQ(Table<A::IsoFileUnionCases>(), cases({"ISO_FILE"}));
    EXPECT_EQ(Table<A::HostDeviceUnionCases>(), cases({"HOST_DEVICE"}));
    EXPECT_EQ(Table<A::DeviceAccessTypeUnionCases>(), cases({"HOST_DEVICE", "CLIENT_DEVICE"}));
  }
  EXPECT_EQ(Table<Hw::CdromSvc::InfoAnnotations::IdeUnionCases>(), cases({"IDE"}));
  EXPECT_EQ(Table<Hw::CdromSvc::CreateSpecAnnotations::SataUnionCases>(), cases({"SATA"}));
  EXPECT_EQ(Table<Hw::DiskSvc::BackingInfoAnnotations::VmdkFileUnionCases>(), cases({"VMDK_FILE"}));
  EXPECT_EQ(Table<Hw::DiskSvc::BackingSpecAnnotations::VmdkFileUnionCases>(), cases({"VMDK_FILE"}));
  for (auto const& [ide, scsi, sata, nvme] :
       {std::make_tuple(Table<Hw::DiskSvc::InfoAnnotations::IdeUnionCases>(),
                        Table<Hw::DiskSvc::InfoAnnotations::ScsiUnionCases>(),
                        Table<Hw::DiskSvc::InfoAnnotations::SataUnionCases>(),
                        Table<Hw::DiskSvc::InfoAnnotations::NvmeUnionCases>()),
        std::make_tuple(Table<Hw::DiskSvc::CreateSpecAnnotations::IdeUnionCases>(),
                        Table<Hw::DiskSvc::CreateSpecAnnotations::ScsiUnionCases>(),
                        Table<Hw::DiskSvc::CreateSpecAnnotations::SataUnionCases>(),
                        Table<Hw::DiskSvc::CreateSpecAnnotations::NvmeUnionCases>())}) {
    EXPECT_EQ(ide, cases({"IDE"}));
    EXPECT_EQ(scsi, cases({"SCSI"}));
    EXPECT_EQ(sata, cases({"SATA"}));
    EXPECT_EQ(nvme, cases({"NVME"}));
  }
  {
    using A = Hw::EthernetSvc::BackingInfoAnnotations;
    Texts const networks = cases({"STANDARD_PORTGROUP", "DISTRIBUTED_PORTGROUP", "OPAQUE_NETWORK"});
    EXPECT_EQ(Table<A::NetworkUnionCases>(), networks);
    EXPECT_EQ(Table<A::NetworkNameUnionCases>(), cases({"STANDARD_PORTGROUP"}));
    EXPECT_EQ(Table<A::HostDeviceUnionCases>(), cases({"HOST_DEVICE"}));
    EXPECT_EQ(Table<A::DistributedSwitchUuidUnionCases>(), cases({"DISTRIBUTED_PORTGROUP"}));
    EXPECT_EQ(Table<A::DistributedPortUnionCases>(), cases({"DISTRIBUTED_PORTGROUP"}));
    EXPECT_EQ(Table<A::ConnectionCookieUnionCases>(), cases({"DISTRIBUTED_PORTGROUP"}));
    EXPECT_EQ(Table<A::OpaqueNetworkTypeUnionCases>(), cases({"OPAQUE_NETWORK"}));
    EXPECT_EQ(Table<A::OpaqueNetworkIdUnionCases>(), cases({"OPAQUE_NETWORK"}));
    EXPECT_EQ(Table<Hw::EthernetSvc::BackingSpecAnnotations::NetworkUnionCases>(), networks);
    EXPECT_EQ(Table<Hw::EthernetSvc::BackingSpecAnnotations::DistributedPortUnionCases>(),
              cases({"DISTRIBUTED_PORTGROUP"}));
  }
  EXPECT_EQ(Table<Hw::EthernetSvc::InfoAnnotations::UnionTags>(), type);
  EXPECT_EQ(Table<Hw::EthernetSvc::InfoAnnotations::UptV2CompatibilityEnabledUnionCases>(),
            cases({"VMXNET3"}));
  {
    using A = Hw::EthernetSvc::CreateSpecAnnotations;
    EXPECT_EQ(Table<A::UnionTags>(), (Texts{"type", "mac_type", "_UNKNOWN"}));
    EXPECT_EQ(Table<A::UptCompatibilityEnabledUnionCases>(), cases({"VMXNET3"}));
    EXPECT_EQ(Table<A::MacAddressUnionCases>(), cases({"MANUAL"}));
  }
  {
    using A = Hw::FloppySvc::BackingInfoAnnotations;
    EXPECT_EQ(Table<A::ImageFileUnionCases>(), cases({"IMAGE_FILE"}));
    EXPECT_EQ(Table<A::HostDeviceUnionCases>(), cases({"HOST_DEVICE"}));
    EXPECT_EQ(Table<A::AutoDetectUnionCases>(), cases({"HOST_DEVICE"}));
    EXPECT_EQ(Table<Hw::FloppySvc::BackingSpecAnnotations::ImageFileUnionCases>(), cases({"IMAGE_FILE"}));
  }
  {
    using A = Hw::ParallelSvc::BackingInfoAnnotations;
    EXPECT_EQ(Table<A::FileUnionCases>(), cases({"FILE"}));
    EXPECT_EQ(Table<A::AutoDetectUnionCases>(), cases({"HOST_DEVICE"}));
    EXPECT_EQ(Table<Hw::ParallelSvc::BackingSpecAnnotations::HostDeviceUnionCases>(), cases({"HOST_DEVICE"}));
  }
  {
    using A = Hw::SerialSvc::BackingInfoAnnotations;
    Texts const pipes = cases({"PIPE_SERVER", "PIPE_CLIENT"});
    Texts const sockets = cases({"NETWORK_SERVER", "NETWORK_CLIENT"});
    EXPECT_EQ(Table<A::FileUnionCases>(), cases({"FILE"}));
    EXPECT_EQ(Table<A::AutoDetectUnionCases>(), cases({"HOST_DEVICE"}));
    EXPECT_EQ(Table<A::PipeUnionCases>(), pipes);
    EXPECT_EQ(Table<A::NoRxLossUnionCases>(), pipes);
    EXPECT_EQ(Table<A::NetworkLocationUnionCases>(), sockets);
    EXPECT_EQ(Table<A::ProxyUnionCases>(), sockets);
    EXPECT_EQ(Table<Hw::SerialSvc::BackingSpecAnnotations::PipeUnionCases>(), pipes);
    EXPECT_EQ(Table<Hw::SerialSvc::BackingSpecAnnotations::ProxyUnionCases>(), sockets);
  }
  for (auto const& [legacy, protocol] :
       {std::make_pair(Table<Hw::BootSvc::InfoAnnotations::EfiLegacyBootUnionCases>(),
                       Table<Hw::BootSvc::InfoAnnotations::NetworkProtocolUnionCases>()),
        std::make_pair(Table<Hw::BootSvc::CreateSpecAnnotations::EfiLegacyBootUnionCases>(),
                       Table<Hw::BootSvc::CreateSpecAnnotations::NetworkProtocolUnionCases>()),
        std::make_pair(Table<Hw::BootSvc::UpdateSpecAnnotations::EfiLegacyBootUnionCases>(),
                       Table<Hw::BootSvc::UpdateSpecAnnotations::NetworkProtocolUnionCases>())}) {
    EXPECT_EQ(legacy, cases({"EFI"}));
    EXPECT_EQ(protocol, cases({"EFI"}));
  }
  EXPECT_EQ(Table<Hw::Boot::DeviceSvc::EntryAnnotations::NicUnionCases>(), cases({"ETHERNET"}));
  EXPECT_EQ(Table<Hw::Boot::DeviceSvc::EntryAnnotations::DisksUnionCases>(), cases({"DISK"}));
}

}  // namespace
