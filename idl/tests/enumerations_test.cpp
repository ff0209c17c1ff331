// Generated enumerations and union annotation tables: numbering and text lookup of every shape
// of enumeration and union table the descriptions use. Lookup itself is the runtime's, tested
// beside its table.

#include <bindings/nexar.h>
#include <bindings/vm/hardware/adapter/sata.h>
#include <bindings/vm/hardware/boot.h>
#include <bindings/vm/hardware/cdrom.h>
#include <bindings/vm/hardware/ethernet.h>
#include <bindings/vm/hardware/serial.h>
#include <opax/cis/task.h>
#include <opax/std/errors.h>

#include <gtest/gtest.h>

#include <climits>
#include <string>
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

TEST(Enumerations, UnionAnnotationTablesOfCredential) {
  EXPECT_EQ(Table<Nexar::CredentialAnnotations::UnionTags>(), (Texts{"type", "_UNKNOWN"}));
  EXPECT_EQ(Table<Nexar::CredentialAnnotations::UsernamePasswordUnionCases>(),
            (Texts{"USERNAME_PASSWORD", "_UNKNOWN"}));
  EXPECT_EQ(Table<Nexar::CredentialAnnotations::SamlTokenUnionCases>(), (Texts{"SAML_TOKEN", "_UNKNOWN"}));
  EXPECT_EQ(Nexar::CredentialAnnotations::UnionTags::FromText("type").value(), 0);
  EXPECT_EQ(Nexar::CredentialAnnotations::SamlTokenUnionCases::FromText("USERNAME_PASSWORD").value(), 1);
}

// Numbering, lookup and the unknown member on enumerations of every shape the descriptions use:
// one member, many, and those of the sibling libraries.
TEST(Enumerations, GeneratedEnumerationsNumberAndNameTheirMembersInOrder) {
  ExpectEnumeration<Hw::ConnectionState>(
      "ConnectionState",
      {"CONNECTED", "RECOVERABLE_ERROR", "UNRECOVERABLE_ERROR", "NOT_CONNECTED", "UNKNOWN"});
  ExpectEnumeration<Hw::Adapter::SataSvc::Type>("SataSvc::Type", {"AHCI"});
  ExpectEnumeration<Hw::SerialSvc::BackingType>(
      "SerialSvc::BackingType",
      {"FILE", "HOST_DEVICE", "PIPE_SERVER", "PIPE_CLIENT", "NETWORK_SERVER", "NETWORK_CLIENT"});
  ExpectEnumeration<Nexar::CredentialEnumerations::Type>("Credential::Type",
                                                         {"USERNAME_PASSWORD", "SAML_TOKEN"});
  ExpectEnumeration<::Com::Quarn::Cis::Task::Status>(
      "Task::Status", {"PENDING", "RUNNING", "BLOCKED", "SUCCEEDED", "FAILED"});
  using ErrorType = ::Com::Quarn::Opax::Std::Errors::ErrorType;
  EXPECT_EQ(Table<ErrorType>().size(), 20u);
  EXPECT_EQ(ErrorType::FromText("NOT_FOUND").value(), 8);
  EXPECT_EQ(ErrorType(18).text(), "UNVERIFIED_PEER");
}

// Union tables of the shapes the hardware family has: two tag fields in one structure, a field in
// several cases, and the same cases shared by an info and a spec.
TEST(Enumerations, UnionAnnotationsOfTheHardwareFamily) {
  auto cases = [](Texts values) {
    values.emplace_back("_UNKNOWN");
    return values;
  };
  EXPECT_EQ(Table<Hw::EthernetSvc::CreateSpecAnnotations::UnionTags>(),
            (Texts{"type", "mac_type", "_UNKNOWN"}));
  EXPECT_EQ(Table<Hw::EthernetSvc::CreateSpecAnnotations::MacAddressUnionCases>(), cases({"MANUAL"}));
  EXPECT_EQ(Table<Hw::CdromSvc::BackingInfoAnnotations::DeviceAccessTypeUnionCases>(),
            cases({"HOST_DEVICE", "CLIENT_DEVICE"}));
  EXPECT_EQ(Table<Hw::EthernetSvc::BackingSpecAnnotations::NetworkUnionCases>(),
            cases({"STANDARD_PORTGROUP", "DISTRIBUTED_PORTGROUP", "OPAQUE_NETWORK"}));
  EXPECT_EQ(Table<Hw::SerialSvc::BackingInfoAnnotations::NoRxLossUnionCases>(),
            cases({"PIPE_SERVER", "PIPE_CLIENT"}));
  EXPECT_EQ(Table<Hw::SerialSvc::BackingSpecAnnotations::ProxyUnionCases>(),
            cases({"NETWORK_SERVER", "NETWORK_CLIENT"}));
  EXPECT_EQ(Table<Hw::BootSvc::UpdateSpecAnnotations::NetworkProtocolUnionCases>(), cases({"EFI"}));
}

}  // namespace
