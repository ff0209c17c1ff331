#include "../../testing/await.h"
#include "common.h"

#include <opax/core/provider/in_process_provider.h>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>

namespace Sim {
namespace Hardware {
namespace {

// Waits for a stub call's outcome; "ok" or the error's short name ("resource_in_use").
template <class T, class Start>
std::string Outcome(Start&& start, boost::optional<T>* value = nullptr) {
  auto const reply = Testing::Await<T>(std::forward<Start>(start));
  if (value) *value = reply.value;
  return reply.outcome;
}

// The services as a client sees them, over an in-process provider, with machines put straight
// into the store: "vm-off" never started, "vm-on" running.
class HardwareTest : public ::testing::Test {
 public:
  HardwareTest() {
    std::list<::Opax::BaseMessage> messages;
    auto store = Store::Open(":memory:", messages);
    store->Put({Kinds::kVirtualMachine, "vm-off", "group-v1", "{}"});
    store->Put({Kinds::kVirtualMachine, "vm-on", "group-v1", "{}"});
    store->Put({Kinds::kPower, "vm-on", "vm-on", ToDocument(PowerSvc::Info(PowerSvc::State::POWERED_ON))});
    state_ = std::make_shared<State>(std::move(store));
    Bound bound;
    BindHardware(Services{state_, std::make_shared<::Opax::L10n::Localizer>()}, bound);
    for (auto const& service : bound) provider_->Register(service);
    auto channel = ::Opax::Stub::AsyncApiStub::GetInstance(provider_);
    disks_ = DiskSvc::AsyncServiceStub::GetInstance(channel);
    cdroms_ = CdromSvc::AsyncServiceStub::GetInstance(channel);
    nics_ = EthernetSvc::AsyncServiceStub::GetInstance(channel);
    scsi_ = ScsiSvc::AsyncServiceStub::GetInstance(channel);
  }

  std::string Disk(std::string const& vm, DiskSvc::CreateSpec const& spec, std::string* id = nullptr) {
    boost::optional<std::string> value;
    auto outcome = Outcome<std::string>(
        [&](auto const& r) {
          disks_->Create(vm, std::make_shared<DiskSvc::CreateSpec const>(spec), nullptr, r);
        },
        &value);
    if (id && value) *id = *value;
    return outcome;
  }
  std::string Cdrom(std::string const& vm, CdromSvc::CreateSpec const& spec, std::string* id = nullptr) {
    boost::optional<std::string> value;
    auto outcome = Outcome<std::string>(
        [&](auto const& r) {
          cdroms_->Create(vm, std::make_shared<CdromSvc::CreateSpec const>(spec), nullptr, r);
        },
        &value);
    if (id && value) *id = *value;
    return outcome;
  }
  std::string Nic(std::string const& vm, EthernetSvc::CreateSpec const& spec) {
    return Outcome<std::string>([&](auto const& r) {
      nics_->Create(vm, std::make_shared<EthernetSvc::CreateSpec const>(spec), nullptr, r);
    });
  }
  std::string DeleteFirstScsi(std::string const& vm) {
    boost::optional<std::list<std::shared_ptr<ScsiSvc::Summary const>>> list;
    Outcome<std::list<std::shared_ptr<ScsiSvc::Summary const>>>(
        [&](auto const& r) { scsi_->List(vm, nullptr, r); }, &list);
    std::string const id = list && !list->empty() ? list->front()->adapter() : "none";
    return Outcome<Void>([&](auto const& r) { scsi_->Delete(vm, id, nullptr, r); });
  }
  static DiskSvc::CreateSpec Scsi(int64_t bus, boost::optional<int64_t> unit) {
    return DiskSvc::CreateSpec()
        .type(DiskSvc::HostBusAdapterType(DiskSvc::HostBusAdapterType::SCSI))
        .scsi(std::make_shared<Hw::ScsiAddressSpec const>(Hw::ScsiAddressSpec(bus).unit(unit)));
  }

  std::shared_ptr<State> state_;
  std::shared_ptr<::Opax::Core::InProcessProvider> provider_ =
      std::make_shared<::Opax::Core::InProcessProvider>();
  std::shared_ptr<DiskSvc::AsyncServiceStub> disks_;
  std::shared_ptr<CdromSvc::AsyncServiceStub> cdroms_;
  std::shared_ptr<EthernetSvc::AsyncServiceStub> nics_;
  std::shared_ptr<ScsiSvc::AsyncServiceStub> scsi_;
};

TEST_F(HardwareTest, ScsiUnitsRunOutAfterFourFullAdapters) {
  for (int i = 0; i < 4 * 15; ++i) ASSERT_EQ(Disk("vm-off", DiskSvc::CreateSpec()), "ok") << i;
  EXPECT_EQ(Disk("vm-off", DiskSvc::CreateSpec()), "unable_to_allocate_resource");
  boost::optional<std::list<std::shared_ptr<ScsiSvc::Summary const>>> adapters;
  EXPECT_EQ(Outcome<std::list<std::shared_ptr<ScsiSvc::Summary const>>>(
                [&](auto const& r) { scsi_->List("vm-off", nullptr, r); }, &adapters),
            "ok");
  EXPECT_EQ(adapters->size(), 4u);
}

// (operation, state before, input, expected): each case starts from the fixture's two machines.
struct Case {
  char const* name;
  std::function<std::string(HardwareTest&)> run;
  char const* expected;
};

class HardwareCases : public HardwareTest {
 public:
  void Check(std::vector<Case> const& cases) {
    for (auto const& c : cases) EXPECT_EQ(c.run(*this), c.expected) << c.name;
  }
};

TEST_F(HardwareCases, Addresses) {
  using T = HardwareTest;
  auto ide = [](bool primary, bool master) {
    return CdromSvc::CreateSpec()
        .type(CdromSvc::HostBusAdapterType(CdromSvc::HostBusAdapterType::IDE))
        .ide(
            std::make_shared<Hw::IdeAddressSpec const>(Hw::IdeAddressSpec().primary(primary).master(master)));
  };
  Check({
      {"unknown machine", [](T& t) { return t.Disk("vm-none", DiskSvc::CreateSpec()); }, "not_found"},
      {"SCSI unit 7 is the adapter's", [](T& t) { return t.Disk("vm-off", Scsi(0, 7)); }, "invalid_argument"},
      {"SCSI bus 4 does not exist", [](T& t) { return t.Disk("vm-off", Scsi(4, boost::none)); },
       "invalid_argument"},
      {"disk at a taken unit",
       [](T& t) {
         t.Disk("vm-off", Scsi(1, 3));
         return t.Disk("vm-off", Scsi(1, 3));
       },
       "resource_in_use"},
      {"CD-ROM at a taken IDE slot",
       [ide](T& t) {
         t.Cdrom("vm-off", ide(true, true));
         return t.Cdrom("vm-off", ide(true, true));
       },
       "invalid_argument"},
      {"IDE device on a running machine", [ide](T& t) { return t.Cdrom("vm-on", ide(false, false)); },
       "not_allowed_in_current_state"},
      {"SATA CD-ROM on a running machine",
       [](T& t) {
         return t.Cdrom("vm-on", CdromSvc::CreateSpec().type(
                                     CdromSvc::HostBusAdapterType(CdromSvc::HostBusAdapterType::SATA)));
       },
       "not_allowed_in_current_state"},
      {"union: SATA address on an IDE drive",
       [](T& t) {
         return t.Cdrom("vm-off",
                        CdromSvc::CreateSpec()
                            .type(CdromSvc::HostBusAdapterType(CdromSvc::HostBusAdapterType::IDE))
                            .sata(std::make_shared<Hw::SataAddressSpec const>(Hw::SataAddressSpec(0))));
       },
       "invalid_argument"},
      {"disk file and new file at once",
       [](T& t) {
         return t.Disk("vm-off", DiskSvc::CreateSpec()
                                     .newVmdk(std::make_shared<DiskSvc::VmdkCreateSpec const>())
                                     .backing(std::make_shared<DiskSvc::BackingSpec const>(
                                         DiskSvc::BackingSpec(DiskSvc::BackingType::VMDK_FILE)
                                             .vmdkFile(std::string("[ds] a/b.vmdk")))));
       },
       "invalid_argument"},
  });
}

TEST_F(HardwareCases, RemovalAndConnection) {
  using T = HardwareTest;
  auto connect = [](T& t, std::string const& vm, std::string const& id, bool on) {
    return Outcome<Void>([&](auto const& r) {
      on ? t.cdroms_->Connect(vm, id, nullptr, r) : t.cdroms_->Disconnect(vm, id, nullptr, r);
    });
  };
  Check({
      {"adapter that still has disks",
       [](T& t) {
         t.Disk("vm-off", Scsi(0, 0));
         return t.DeleteFirstScsi("vm-off");
       },
       "resource_in_use"},
      {"connect on a powered-off machine",
       [connect](T& t) {
         std::string id;
         t.Cdrom(
             "vm-off",
             CdromSvc::CreateSpec().type(CdromSvc::HostBusAdapterType(CdromSvc::HostBusAdapterType::SATA)),
             &id);
         return connect(t, "vm-off", id, true);
       },
       "not_allowed_in_current_state"},
      {"disconnect a disconnected drive",
       [connect](T& t) {
         std::string id;
         t.Cdrom(
             "vm-off",
             CdromSvc::CreateSpec().type(CdromSvc::HostBusAdapterType(CdromSvc::HostBusAdapterType::SATA)),
             &id);
         t.state_->Run([](Store& store) {
           store.Put(
               {Kinds::kPower, "vm-off", "vm-off", ToDocument(PowerSvc::Info(PowerSvc::State::POWERED_ON))});
         });
         auto const outcome = connect(t, "vm-off", id, false);
         t.state_->Run([](Store& store) { store.Remove(Kinds::kPower, "vm-off"); });
         return outcome;
       },
       "already_in_desired_state"},
      {"MAC address by hand, malformed",
       [](T& t) {
         return t.Nic("vm-off", EthernetSvc::CreateSpec()
                                    .macType(EthernetSvc::MacAddressType(EthernetSvc::MacAddressType::MANUAL))
                                    .macAddress(std::string("00:11"))
                                    .backing(std::make_shared<EthernetSvc::BackingSpec const>(
                                        EthernetSvc::BackingSpec(EthernetSvc::BackingType::STANDARD_PORTGROUP)
                                            .network(std::string("network-1")))));
       },
       "invalid_argument"},
  });
}

}  // namespace
}  // namespace Hardware
}  // namespace Sim
