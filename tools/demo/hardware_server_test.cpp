#include "hardware_server.h"
#include "await.h"
#include "cluster_server.h"

#include <boost/optional/optional_io.hpp>
#include <gtest/gtest.h>

#include <set>
#include <thread>

namespace Demo {
namespace {

using ::Com::Quarn::Nexar::Vm::Hardware::ConnectionState;
using ::Com::Quarn::Nexar::Vm::Hardware::IdeAddressSpec;
using ::Com::Quarn::Nexar::Vm::Hardware::SataAddressSpec;
using TaskState = ::Opax::Provider::TaskRegistry::State;
using CdromInfo = std::shared_ptr<CdromSvc::Info const>;
using NicInfo = std::shared_ptr<EthernetSvc::Info const>;

constexpr char kStd[] = "com.quarn.opax.std.errors.";

std::string ErrorName(ErrorPtr const& error) {
  return error ? error->name().substr(error->name().rfind('.') + 1) : std::string("none");
}

template <class T>
std::string Outcome(Reply<T> const& reply) {
  return reply.error ? ErrorName(reply.error) : std::string("ok");
}

std::shared_ptr<CdromSvc::CreateSpec const> Cdrom(CdromSvc::CreateSpec const& spec) {
  return std::make_shared<CdromSvc::CreateSpec const>(spec);
}

std::shared_ptr<EthernetSvc::BackingSpec const> PortGroup(EthernetSvc::BackingType::EnumType type,
                                                          std::string network) {
  return std::make_shared<EthernetSvc::BackingSpec const>(EthernetSvc::BackingSpec(type).network(network));
}

std::shared_ptr<EthernetSvc::CreateSpec const> Nic(std::shared_ptr<EthernetSvc::BackingSpec const> backing) {
  return std::make_shared<EthernetSvc::CreateSpec const>(EthernetSvc::CreateSpec().backing(backing));
}

// The servers as a client sees them: through the generated stubs over an in-process provider.
class HardwareServerTest : public ::testing::Test {
 protected:
  HardwareServerTest() {
    Inventory inventory;
    inventory.vms = {"vm-1", "vm-2"};
    inventory.networks["dist"] = {"Dist", "uuid-1"};
    inventory.networks["std"] = {"Std", ""};
    ServeHardware(*provider_, inventory);
    auto channel = ::Opax::Stub::AsyncApiStub::GetInstance(provider_);
    cdroms_ = CdromSvc::AsyncServiceStub::GetInstance(channel);
    nics_ = EthernetSvc::AsyncServiceStub::GetInstance(channel);
  }

  Reply<std::string> Create(std::string const& vm, std::shared_ptr<CdromSvc::CreateSpec const> const& spec) {
    return Await<std::string>([&](auto const& r) { cdroms_->Create(vm, spec, nullptr, r); });
  }
  Reply<std::string> Create(std::string const& vm,
                            std::shared_ptr<EthernetSvc::CreateSpec const> const& spec) {
    return Await<std::string>([&](auto const& r) { nics_->Create(vm, spec, nullptr, r); });
  }
  CdromInfo GetCdrom(std::string const& vm, std::string const& id) {
    auto reply = Await<CdromInfo>([&](auto const& r) { cdroms_->Get(vm, id, nullptr, r); });
    return reply.value ? *reply.value : nullptr;
  }
  NicInfo GetNic(std::string const& vm, std::string const& id) {
    auto reply = Await<NicInfo>([&](auto const& r) { nics_->Get(vm, id, nullptr, r); });
    return reply.value ? *reply.value : nullptr;
  }
  Reply<::Opax::Void> UpdateNic(std::string const& id, EthernetSvc::UpdateSpec const& spec) {
    auto shared = std::make_shared<EthernetSvc::UpdateSpec const>(spec);
    return Await<::Opax::Void>([&](auto const& r) { nics_->Update("vm-1", id, shared, nullptr, r); });
  }

  std::shared_ptr<::Opax::Core::InProcessProvider> provider_ =
      std::make_shared<::Opax::Core::InProcessProvider>();
  std::shared_ptr<CdromSvc::AsyncServiceStub> cdroms_;
  std::shared_ptr<EthernetSvc::AsyncServiceStub> nics_;
};

TEST_F(HardwareServerTest, UnknownMachinesAndDevicesAreNotFound) {
  EXPECT_EQ(Outcome(Create("vm-9", Cdrom(CdromSvc::CreateSpec()))), "not_found");
  auto listed = Await<std::list<std::shared_ptr<CdromSvc::Summary const>>>(
      [&](auto const& r) { cdroms_->List("vm-9", nullptr, r); });
  EXPECT_EQ(Outcome(listed), "not_found");
  auto got = Await<CdromInfo>([&](auto const& r) { cdroms_->Get("vm-1", "cdrom-1", nullptr, r); });
  ASSERT_EQ(Outcome(got), "not_found");
  EXPECT_EQ(got.error->name(), std::string(kStd) + "not_found");
  EXPECT_EQ(got.error->messages().front().args(), (std::vector<std::string>{"CD-ROM", "cdrom-1", "vm-1"}));
}

TEST_F(HardwareServerTest, DevicesBelongToTheirMachine) {
  auto created = Create("vm-1", Cdrom(CdromSvc::CreateSpec()));
  ASSERT_EQ(Outcome(created), "ok");
  EXPECT_TRUE(GetCdrom("vm-1", *created.value));
  EXPECT_FALSE(GetCdrom("vm-2", *created.value));
}

TEST_F(HardwareServerTest, IdeSlotsFillInOrderThenRunOut) {
  std::vector<std::pair<bool, bool>> slots;
  for (int i = 0; i < 4; ++i) {
    auto created = Create("vm-1", Cdrom(CdromSvc::CreateSpec()));
    ASSERT_EQ(Outcome(created), "ok");
    auto info = GetCdrom("vm-1", *created.value);
    ASSERT_TRUE(info && info->ide());
    slots.emplace_back(info->ide()->primary(), info->ide()->master());
  }
  EXPECT_EQ(slots,
            (std::vector<std::pair<bool, bool>>{{true, true}, {true, false}, {false, true}, {false, false}}));
  EXPECT_EQ(Outcome(Create("vm-1", Cdrom(CdromSvc::CreateSpec()))), "unable_to_allocate_resource");
  // The other machine's controller is its own.
  EXPECT_EQ(Outcome(Create("vm-2", Cdrom(CdromSvc::CreateSpec()))), "ok");
}

TEST_F(HardwareServerTest, RequestedSlotsAreHonouredAndNotShared) {
  auto secondary = Create(
      "vm-1", Cdrom(CdromSvc::CreateSpec()
                        .type(CdromSvc::HostBusAdapterType(CdromSvc::HostBusAdapterType::IDE))
                        .ide(std::make_shared<IdeAddressSpec const>(IdeAddressSpec().primary(false)))));
  ASSERT_EQ(Outcome(secondary), "ok");
  EXPECT_FALSE(GetCdrom("vm-1", *secondary.value)->ide()->primary());

  auto sata = CdromSvc::CreateSpec()
                  .type(CdromSvc::HostBusAdapterType(CdromSvc::HostBusAdapterType::SATA))
                  .sata(std::make_shared<SataAddressSpec const>(SataAddressSpec(1).unit(int64_t{5})));
  auto first = Create("vm-1", Cdrom(sata));
  ASSERT_EQ(Outcome(first), "ok");
  auto info = GetCdrom("vm-1", *first.value);
  EXPECT_EQ(info->sata()->bus(), 1);
  EXPECT_EQ(info->sata()->unit(), 5);
  EXPECT_EQ(Outcome(Create("vm-1", Cdrom(sata))), "unable_to_allocate_resource");
}

TEST_F(HardwareServerTest, CdromBackingDefaults) {
  auto bare = Create("vm-1", Cdrom(CdromSvc::CreateSpec()));
  auto autoDetected =
      Create("vm-1", Cdrom(CdromSvc::CreateSpec().backing(std::make_shared<CdromSvc::BackingSpec const>(
                         CdromSvc::BackingSpec(CdromSvc::BackingType::HOST_DEVICE)))));
  ASSERT_EQ(Outcome(bare), "ok");
  ASSERT_EQ(Outcome(autoDetected), "ok");
  auto client = GetCdrom("vm-1", *bare.value)->backing();
  EXPECT_EQ(client->type(), CdromSvc::BackingType::CLIENT_DEVICE);
  EXPECT_EQ(client->deviceAccessType(), CdromSvc::DeviceAccessType(CdromSvc::DeviceAccessType::EMULATION));
  auto host = GetCdrom("vm-1", *autoDetected.value)->backing();
  EXPECT_EQ(host->autoDetect(), true);
  EXPECT_FALSE(host->hostDevice());
}

TEST_F(HardwareServerTest, ConnectingTwiceIsRefusedAndDeleteForgets) {
  auto created = Create("vm-1", Cdrom(CdromSvc::CreateSpec()));
  ASSERT_EQ(Outcome(created), "ok");
  std::string const id = *created.value;
  auto call = [&](auto member) {
    return Outcome(Await<::Opax::Void>([&](auto const& r) { ((*cdroms_).*member)("vm-1", id, nullptr, r); }));
  };
  EXPECT_EQ(call(&CdromSvc::AsyncServiceStub::Disconnect), "already_in_desired_state");
  EXPECT_EQ(call(&CdromSvc::AsyncServiceStub::Connect), "ok");
  EXPECT_EQ(GetCdrom("vm-1", id)->state(), ConnectionState::CONNECTED);
  EXPECT_EQ(call(&CdromSvc::AsyncServiceStub::Connect), "already_in_desired_state");
  EXPECT_EQ(call(&CdromSvc::AsyncServiceStub::Disconnect), "ok");
  EXPECT_EQ(call(&CdromSvc::AsyncServiceStub::Delete), "ok");
  EXPECT_EQ(call(&CdromSvc::AsyncServiceStub::Delete), "not_found");
  EXPECT_FALSE(GetCdrom("vm-1", id));
}

TEST_F(HardwareServerTest, EthernetBackingMustNameAKnownPortGroupOfItsKind) {
  using Type = EthernetSvc::BackingType;
  EXPECT_EQ(Outcome(Create("vm-1", Nic(PortGroup(Type::STANDARD_PORTGROUP, "nowhere")))), "not_found");
  EXPECT_EQ(Outcome(Create("vm-1", Nic(PortGroup(Type::STANDARD_PORTGROUP, "dist")))), "invalid_argument");
  EXPECT_EQ(Outcome(Create("vm-1", Nic(PortGroup(Type::DISTRIBUTED_PORTGROUP, "std")))), "invalid_argument");
  EXPECT_EQ(Outcome(Create("vm-1", Nic(std::make_shared<EthernetSvc::BackingSpec const>(
                                       EthernetSvc::BackingSpec(Type::HOST_DEVICE))))),
            "unsupported");
  EXPECT_EQ(Outcome(Create("vm-1", Nic(nullptr))), "invalid_argument");

  auto standard = Create("vm-1", Nic(PortGroup(Type::STANDARD_PORTGROUP, "std")));
  ASSERT_EQ(Outcome(standard), "ok");
  auto backing = GetNic("vm-1", *standard.value)->backing();
  EXPECT_EQ(backing->networkName(), std::string("Std"));
  EXPECT_FALSE(backing->distributedSwitchUuid());
}

TEST_F(HardwareServerTest, MacAddresses) {
  auto backing = PortGroup(EthernetSvc::BackingType::DISTRIBUTED_PORTGROUP, "dist");
  std::set<std::string> generated;
  for (int i = 0; i < 3; ++i) {
    auto created = Create(i == 2 ? "vm-2" : "vm-1", Nic(backing));
    ASSERT_EQ(Outcome(created), "ok");
    generated.insert(*GetNic(i == 2 ? "vm-2" : "vm-1", *created.value)->macAddress());
  }
  EXPECT_EQ(generated.size(), 3u) << "generated addresses repeat";

  auto manual =
      Create("vm-1", std::make_shared<EthernetSvc::CreateSpec const>(
                         EthernetSvc::CreateSpec()
                             .macType(EthernetSvc::MacAddressType(EthernetSvc::MacAddressType::MANUAL))
                             .macAddress(std::string("02:11:22:33:44:55"))
                             .backing(backing)));
  ASSERT_EQ(Outcome(manual), "ok");
  EXPECT_EQ(GetNic("vm-1", *manual.value)->macAddress(), std::string("02:11:22:33:44:55"));
}

TEST_F(HardwareServerTest, EthernetUpdateKeepsTheMacRules) {
  auto created =
      Create("vm-1", std::make_shared<EthernetSvc::CreateSpec const>(
                         EthernetSvc::CreateSpec()
                             .type(EthernetSvc::EmulationType(EthernetSvc::EmulationType::E1000))
                             .backing(PortGroup(EthernetSvc::BackingType::STANDARD_PORTGROUP, "std"))));
  ASSERT_EQ(Outcome(created), "ok");
  std::string const id = *created.value;
  std::string const before = *GetNic("vm-1", id)->macAddress();
  using Mac = EthernetSvc::MacAddressType;

  EXPECT_EQ(Outcome(UpdateNic(id, EthernetSvc::UpdateSpec().macAddress(std::string("02:00:00:00:00:99")))),
            "invalid_argument");
  EXPECT_EQ(Outcome(UpdateNic(id, EthernetSvc::UpdateSpec().macType(Mac(Mac::MANUAL)))), "invalid_argument");
  EXPECT_EQ(Outcome(UpdateNic(id, EthernetSvc::UpdateSpec().uptCompatibilityEnabled(true))),
            "invalid_argument");
  EXPECT_EQ(GetNic("vm-1", id)->macAddress(), before) << "a refused update changed the adapter";

  ASSERT_EQ(Outcome(UpdateNic(id, EthernetSvc::UpdateSpec()
                                      .macType(Mac(Mac::MANUAL))
                                      .macAddress(std::string("02:00:00:00:00:99"))
                                      .wakeOnLanEnabled(true))),
            "ok");
  auto manual = GetNic("vm-1", id);
  EXPECT_EQ(manual->macType(), Mac::MANUAL);
  EXPECT_EQ(manual->macAddress(), std::string("02:00:00:00:00:99"));
  EXPECT_TRUE(manual->wakeOnLanEnabled());

  ASSERT_EQ(Outcome(UpdateNic(id, EthernetSvc::UpdateSpec().macType(Mac(Mac::GENERATED)))), "ok");
  EXPECT_NE(GetNic("vm-1", id)->macAddress(), std::string("02:00:00:00:00:99"));
}

// The implementation checks its input itself, whatever the runtime in front of it does.
TEST(HardwareServerDirect, ValidatesUnionsOfTheSpec) {
  Inventory inventory;
  inventory.vms = {"vm-1"};
  inventory.networks["dist"] = {"Dist", "uuid-1"};
  EthernetServer server(inventory);
  auto spec = std::make_shared<EthernetSvc::CreateSpec const>(
      EthernetSvc::CreateSpec()
          .macType(EthernetSvc::MacAddressType(EthernetSvc::MacAddressType::GENERATED))
          .macAddress(std::string("02:00:00:00:00:01"))
          .backing(PortGroup(EthernetSvc::BackingType::DISTRIBUTED_PORTGROUP, "dist")));
  auto reply = Await<std::string>([&](auto const& r) { server.Create("vm-1", spec, nullptr, r); });
  ASSERT_EQ(Outcome(reply), "invalid_argument");
  ASSERT_FALSE(reply.error->messages().empty());
  EXPECT_NE(reply.error->messages().front().defaultMessage().find("mac"), std::string::npos);

  auto missing = std::make_shared<EthernetSvc::CreateSpec const>(
      EthernetSvc::CreateSpec()
          .macType(EthernetSvc::MacAddressType(EthernetSvc::MacAddressType::MANUAL))
          .backing(PortGroup(EthernetSvc::BackingType::DISTRIBUTED_PORTGROUP, "dist")));
  EXPECT_EQ(Outcome(Await<std::string>([&](auto const& r) { server.Create("vm-1", missing, nullptr, r); })),
            "invalid_argument");
}

class ClusterModeTest : public ::testing::Test {
 protected:
  void Serve(bool passiveInSync, std::chrono::milliseconds step) {
    provider_->Register(ModeSvc::AsyncServiceBinder::BindImplementation(
        std::make_shared<ClusterModeServer>(step, ModeSvc::ClusterMode::MAINTENANCE, passiveInSync)));
    mode_ = ModeSvc::AsyncServiceStub::GetInstance(::Opax::Stub::AsyncApiStub::GetInstance(provider_));
  }
  Reply<std::string> Set(ModeSvc::ClusterMode::EnumType mode) {
    return AwaitTaskId<::Opax::Void>(
        [&](auto const& r) { mode_->Set(ModeSvc::ClusterMode(mode), nullptr, r); });
  }
  TaskState WaitForEnd(std::string const& id) {
    for (int i = 0; i < 2000; ++i) {
      auto info = provider_->tasks()->Get(id);
      if (info && (info->state == TaskState::SUCCEEDED || info->state == TaskState::FAILED))
        return info->state;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return TaskState::RUNNING;
  }

  std::shared_ptr<::Opax::Core::InProcessProvider> provider_ =
      std::make_shared<::Opax::Core::InProcessProvider>();
  std::shared_ptr<ModeSvc::AsyncServiceStub> mode_;
};

TEST_F(ClusterModeTest, TheCurrentModeCompletesAtOnce) {
  Serve(true, std::chrono::milliseconds(1000));
  auto started = Set(ModeSvc::ClusterMode::MAINTENANCE);
  ASSERT_EQ(Outcome(started), "ok");
  EXPECT_EQ(provider_->tasks()->Get(*started.value)->state, TaskState::SUCCEEDED);
}

TEST_F(ClusterModeTest, ASecondChangeWhileOneRunsFailsBusy) {
  Serve(true, std::chrono::milliseconds(20));
  auto first = Set(ModeSvc::ClusterMode::DISABLED);
  auto second = Set(ModeSvc::ClusterMode::ENABLED);
  ASSERT_EQ(Outcome(first), "ok");
  ASSERT_EQ(Outcome(second), "ok") << "the task starts; its failure is the task's outcome";
  auto failed = provider_->tasks()->Get(*second.value);
  ASSERT_TRUE(failed);
  EXPECT_EQ(failed->state, TaskState::FAILED);
  EXPECT_EQ(ErrorName(failed->error), "resource_busy");
  EXPECT_EQ(WaitForEnd(*first.value), TaskState::SUCCEEDED);
  auto mode = Await<std::shared_ptr<ModeSvc::Info const>>([&](auto const& r) { mode_->Get(nullptr, r); });
  ASSERT_TRUE(mode.value);
  EXPECT_EQ((*mode.value)->mode(), ModeSvc::ClusterMode::DISABLED);
}

TEST_F(ClusterModeTest, EnablingNeedsAPassiveNodeInSync) {
  Serve(false, std::chrono::milliseconds(1));
  auto started = Set(ModeSvc::ClusterMode::ENABLED);
  ASSERT_EQ(Outcome(started), "ok");
  EXPECT_EQ(WaitForEnd(*started.value), TaskState::FAILED);
  EXPECT_EQ(ErrorName(provider_->tasks()->Get(*started.value)->error), "not_allowed_in_current_state");
  EXPECT_EQ(WaitForEnd(Set(ModeSvc::ClusterMode::DISABLED).value.value_or("")), TaskState::SUCCEEDED);
}

}  // namespace
}  // namespace Demo
