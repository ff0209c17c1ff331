#include "machine_test_fixture.h"

namespace Sim {
namespace Machines {
namespace {

class MachineTest : public MachineFixture {
 protected:
  std::string Delete(std::string const& vm) {
    return Await<::Opax::Void>([&](auto const& r) { vms_->Delete(vm, nullptr, r); }).outcome;
  }
  std::string Unregister(std::string const& vm) {
    return Await<::Opax::Void>([&](auto const& r) { vms_->Unregister(vm, nullptr, r); }).outcome;
  }
  Reply<std::string> Register(VmSvc::RegisterSpec const& spec) {
    auto shared = std::make_shared<VmSvc::RegisterSpec const>(spec);
    return Await<std::string>([&](auto const& r) { vms_->Register(shared, nullptr, r); });
  }
  Reply<std::string> InstantClone(std::string const& source, std::string const& name) {
    auto spec =
        std::make_shared<VmSvc::InstantCloneSpec const>(VmSvc::InstantCloneSpec().source(source).name(name));
    return Await<std::string>([&](auto const& r) { vms_->InstantClone(spec, nullptr, r); });
  }
};

struct StateCase {
  char const* name;
  PowerState::EnumType before;
  char const* operation;  // "delete", "unregister", "instant_clone"
  char const* outcome;
};

TEST_F(MachineTest, OperationsThatDependOnThePowerState) {
  StateCase const cases[] = {
      {"delete off", PowerState::POWERED_OFF, "delete", "ok"},
      {"delete on", PowerState::POWERED_ON, "delete", "not_allowed_in_current_state"},
      {"delete suspended", PowerState::SUSPENDED, "delete", "not_allowed_in_current_state"},
      {"unregister on", PowerState::POWERED_ON, "unregister", "not_allowed_in_current_state"},
      {"instant clone off", PowerState::POWERED_OFF, "instant_clone", "not_allowed_in_current_state"},
      {"instant clone on", PowerState::POWERED_ON, "instant_clone", "ok"},
  };
  int n = 0;
  for (auto const& c : cases) {
    std::string const name = "state-" + std::to_string(++n);
    std::string const vm = Machine(name, c.before);
    std::string const operation = c.operation;
    std::string outcome = operation == "delete"       ? Delete(vm)
                          : operation == "unregister" ? Unregister(vm)
                                                      : InstantClone(vm, name + "-copy").outcome;
    EXPECT_EQ(outcome, c.outcome) << c.name;
  }
}

TEST_F(MachineTest, NamesAreUniquePerFolder) {
  Machine("twin");
  EXPECT_EQ(Create(VmSvc::CreateSpec().name(std::string("twin"))).outcome, "already_exists");
  std::string const running = Machine("running", PowerState::POWERED_ON);
  EXPECT_EQ(InstantClone(running, "twin").outcome, "already_exists");
  // Made-up names avoid those taken.
  auto const first = Create(VmSvc::CreateSpec());
  auto const second = Create(VmSvc::CreateSpec());
  ASSERT_EQ(first.outcome, "ok");
  ASSERT_EQ(second.outcome, "ok");
  EXPECT_NE(Info(*first.value)->name(), Info(*second.value)->name());
}

TEST_F(MachineTest, CreateChecksItsSettings) {
  using Entry = Vm::Hardware::Boot::DeviceSvc::EntryCreateSpec;
  auto const cdrom = std::make_shared<Entry const>(BootDeviceType(BootDeviceType::CDROM));
  struct {
    char const* name;
    VmSvc::CreateSpec spec;
    char const* outcome;
  } const cases[] = {
      {"defaults", VmSvc::CreateSpec(), "ok"},
      {"uneven sockets",
       VmSvc::CreateSpec().cpu(
           std::make_shared<CpuSvc::UpdateSpec const>(CpuSvc::UpdateSpec().count(3).coresPerSocket(2))),
       "invalid_argument"},
      {"too little memory",
       VmSvc::CreateSpec().memory(
           std::make_shared<MemorySvc::UpdateSpec const>(MemorySvc::UpdateSpec().sizeMiB(2))),
       "invalid_argument"},
      {"a device twice in the boot order",
       VmSvc::CreateSpec().bootDevices(std::list<std::shared_ptr<Entry const>>{cdrom, cdrom}),
       "invalid_argument"},
      {"an empty name", VmSvc::CreateSpec().name(std::string()), "invalid_argument"},
  };
  for (auto const& c : cases) EXPECT_EQ(Create(c.spec).outcome, c.outcome) << c.name;
}

TEST_F(MachineTest, GetAssemblesTheWholeMachine) {
  VmSvc::CreateSpec spec;
  spec.name(std::string("whole")).guestOs(std::string("LINUX_64")).notes(std::string("for tests"));
  spec.cpu(std::make_shared<CpuSvc::UpdateSpec const>(CpuSvc::UpdateSpec().count(4).coresPerSocket(2)));
  spec.bootDevices(std::list<std::shared_ptr<Vm::Hardware::Boot::DeviceSvc::EntryCreateSpec const>>{
      std::make_shared<Vm::Hardware::Boot::DeviceSvc::EntryCreateSpec const>(
          BootDeviceType(BootDeviceType::CDROM)),
      std::make_shared<Vm::Hardware::Boot::DeviceSvc::EntryCreateSpec const>(
          BootDeviceType(BootDeviceType::DISK))});
  auto const vm = Create(spec);
  ASSERT_EQ(vm.outcome, "ok");
  auto const info = Info(*vm.value);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->name(), "whole");
  EXPECT_EQ(info->guestOs(), "LINUX_64");
  EXPECT_EQ(info->notes(), boost::optional<std::string>("for tests"));
  EXPECT_EQ(info->cpu()->count(), 4);
  EXPECT_EQ(info->power()->state(), PowerState::POWERED_OFF);
  EXPECT_EQ(info->bootDevices().size(), 2u);
  EXPECT_FALSE(info->identity()->instanceUuid().empty());
  EXPECT_EQ(Info("vm-404"), nullptr);
}

TEST_F(MachineTest, ListNarrowsByEverySetGiven) {
  Machine("alpha");
  std::string const beta = Machine("beta", PowerState::POWERED_ON);
  Machine("gamma", PowerState::SUSPENDED);
  using List = std::vector<std::string>;
  EXPECT_EQ(Names(VmSvc::FilterSpec()), (List{"alpha", "beta", "gamma"}));
  EXPECT_EQ(Names(VmSvc::FilterSpec().powerStates(
                std::set<PowerSvc::State>{PowerState::POWERED_ON, PowerState::SUSPENDED})),
            (List{"beta", "gamma"}));
  EXPECT_EQ(
      Names(
          VmSvc::FilterSpec().names(std::set<std::string>{"alpha", "beta"}).vms(std::set<std::string>{beta})),
      (List{"beta"}));
  EXPECT_EQ(Names(VmSvc::FilterSpec().hosts(std::set<std::string>{"host-elsewhere"})), List{});
}

TEST_F(MachineTest, UnregisterKeepsWhatRegisterBringsBack) {
  std::string const vm = Machine("roamer");
  auto const before = Info(vm);
  ASSERT_EQ(Unregister(vm), "ok");
  EXPECT_EQ(Info(vm), nullptr);
  std::string const datastore = before->placement()->datastore();
  EXPECT_EQ(Register(VmSvc::RegisterSpec().datastore(datastore).path("nowhere/nowhere.cfg")).outcome,
            "not_found");
  auto const back = Register(
      VmSvc::RegisterSpec().datastore(datastore).path("roamer/roamer.cfg").name(std::string("returned")));
  ASSERT_EQ(back.outcome, "ok");
  auto const after = Info(*back.value);
  ASSERT_TRUE(after);
  EXPECT_EQ(after->name(), "returned");
  EXPECT_EQ(after->identity()->instanceUuid(), before->identity()->instanceUuid());
  EXPECT_EQ(Register(VmSvc::RegisterSpec().datastore(datastore).path("roamer/roamer.cfg")).outcome,
            "already_exists");
}

}  // namespace
}  // namespace Machines
}  // namespace Sim
