#include "machine_test_fixture.h"

namespace Sim {
namespace Machines {
namespace {

struct CpuCase {
  char const* name;
  PowerState::EnumType power;
  bool hotAdd;
  CpuSvc::UpdateSpec spec;
  char const* outcome;
};

struct MemoryCase {
  char const* name;
  PowerState::EnumType power;
  bool hotAdd;
  MemorySvc::UpdateSpec spec;
  char const* outcome;
};

class SettingsTest : public MachineFixture {
 protected:
  // A machine with 2 processors and 2048 MiB, hot add as given, then brought to `power`.
  std::string Prepared(std::string const& name, bool hotAdd, PowerState::EnumType power) {
    VmSvc::CreateSpec spec;
    spec.name(name)
        .cpu(std::make_shared<CpuSvc::UpdateSpec const>(CpuSvc::UpdateSpec().count(2).hotAddEnabled(hotAdd)))
        .memory(std::make_shared<MemorySvc::UpdateSpec const>(
            MemorySvc::UpdateSpec().sizeMiB(2048).hotAddEnabled(hotAdd)));
    std::string const vm = Create(spec).value.value_or("");
    if (power != PowerState::POWERED_OFF) Power(vm, &PowerSvc::AsyncServiceStub::Start);
    if (power == PowerState::SUSPENDED) Power(vm, &PowerSvc::AsyncServiceStub::Suspend);
    return vm;
  }
  std::string UpdateHardware(std::string const& vm, HardwareSvc::UpdateSpec const& spec) {
    auto shared = std::make_shared<HardwareSvc::UpdateSpec const>(spec);
    return Await<::Opax::Void>([&](auto const& r) { hardware_->Update(vm, shared, nullptr, r); }).outcome;
  }
  std::string Upgrade(std::string const& vm, boost::optional<HardwareSvc::Version> version) {
    return Await<::Opax::Void>([&](auto const& r) { hardware_->Upgrade(vm, version, nullptr, r); }).outcome;
  }
  std::shared_ptr<HardwareInfo const> Hardware(std::string const& vm) {
    auto reply =
        Await<std::shared_ptr<HardwareInfo const>>([&](auto const& r) { hardware_->Get(vm, nullptr, r); });
    return reply.value.value_or(nullptr);
  }
};

constexpr auto kOff = PowerState::POWERED_OFF;
constexpr auto kOn = PowerState::POWERED_ON;

TEST_F(SettingsTest, ProcessorChanges) {
  CpuCase const cases[] = {
      {"any count while off", kOff, false, CpuSvc::UpdateSpec().count(8).coresPerSocket(4), "ok"},
      {"cores must divide the count", kOff, false, CpuSvc::UpdateSpec().count(6).coresPerSocket(4),
       "invalid_argument"},
      {"no processors", kOff, false, CpuSvc::UpdateSpec().count(0), "invalid_argument"},
      {"add while running with hot add", kOn, true, CpuSvc::UpdateSpec().count(4), "ok"},
      {"add while running without hot add", kOn, false, CpuSvc::UpdateSpec().count(4),
       "not_allowed_in_current_state"},
      {"remove while running without hot remove", kOn, true, CpuSvc::UpdateSpec().count(1),
       "not_allowed_in_current_state"},
      {"switch hot add while running", kOn, false, CpuSvc::UpdateSpec().hotAddEnabled(true),
       "not_allowed_in_current_state"},
      {"same count while running", kOn, false, CpuSvc::UpdateSpec().count(2), "ok"},
      {"add while suspended", PowerState::SUSPENDED, true, CpuSvc::UpdateSpec().count(4),
       "not_allowed_in_current_state"},
  };
  int n = 0;
  for (auto const& c : cases) {
    std::string const vm = Prepared("cpu-" + std::to_string(++n), c.hotAdd, c.power);
    auto spec = std::make_shared<CpuSvc::UpdateSpec const>(c.spec);
    EXPECT_EQ(Await<::Opax::Void>([&](auto const& r) { cpu_->Update(vm, spec, nullptr, r); }).outcome,
              c.outcome)
        << c.name;
  }
}

TEST_F(SettingsTest, MemoryChanges) {
  MemoryCase const cases[] = {
      {"any size while off", kOff, false, MemorySvc::UpdateSpec().sizeMiB(512), "ok"},
      {"not a multiple of 4", kOff, false, MemorySvc::UpdateSpec().sizeMiB(1022), "invalid_argument"},
      {"grow running with hot add", kOn, true, MemorySvc::UpdateSpec().sizeMiB(4096), "ok"},
      {"grow running without hot add", kOn, false, MemorySvc::UpdateSpec().sizeMiB(4096),
       "not_allowed_in_current_state"},
      {"grow running off the hot add step", kOn, true, MemorySvc::UpdateSpec().sizeMiB(2052),
       "invalid_argument"},
      {"shrink running", kOn, true, MemorySvc::UpdateSpec().sizeMiB(1024), "not_allowed_in_current_state"},
  };
  int n = 0;
  for (auto const& c : cases) {
    std::string const vm = Prepared("memory-" + std::to_string(++n), c.hotAdd, c.power);
    auto spec = std::make_shared<MemorySvc::UpdateSpec const>(c.spec);
    EXPECT_EQ(Await<::Opax::Void>([&](auto const& r) { memory_->Update(vm, spec, nullptr, r); }).outcome,
              c.outcome)
        << c.name;
  }
}

TEST_F(SettingsTest, HardwareVersionsOnlyRise) {
  VmSvc::CreateSpec spec;
  std::string const vm =
      Create(spec.name(std::string("old")).hardwareVersion(HardwareSvc::Version(HardwareSvc::Version::V13)))
          .value.value_or("");
  using Policy = HardwareSvc::UpgradePolicy;
  EXPECT_EQ(UpdateHardware(vm, HardwareSvc::UpdateSpec()
                                   .upgradePolicy(Policy(Policy::ALWAYS))
                                   .upgradeVersion(HardwareSvc::Version(HardwareSvc::Version::V11))),
            "invalid_argument");
  EXPECT_EQ(Upgrade(vm, HardwareSvc::Version(HardwareSvc::Version::V12)), "invalid_argument");
  EXPECT_EQ(Upgrade(vm, HardwareSvc::Version(HardwareSvc::Version::V13)), "already_in_desired_state");
  Power(vm, &PowerSvc::AsyncServiceStub::Start);
  EXPECT_EQ(Upgrade(vm, boost::none), "not_allowed_in_current_state");

  // ALWAYS upgrades at the next power-off, whatever caused it.
  EXPECT_EQ(UpdateHardware(vm, HardwareSvc::UpdateSpec()
                                   .upgradePolicy(Policy(Policy::ALWAYS))
                                   .upgradeVersion(HardwareSvc::Version(HardwareSvc::Version::V15))),
            "ok");
  EXPECT_EQ(Hardware(vm)->upgradeStatus(), HardwareSvc::UpgradeStatus::PENDING);
  Power(vm, &PowerSvc::AsyncServiceStub::Stop);
  EXPECT_EQ(Hardware(vm)->version(), HardwareSvc::Version::V15);
  EXPECT_EQ(Hardware(vm)->upgradeStatus(), HardwareSvc::UpgradeStatus::SUCCESS);
  EXPECT_EQ(Upgrade(vm, boost::none), "ok");
  EXPECT_EQ(Hardware(vm)->version(), HardwareSvc::Version::V16);
}

}  // namespace
}  // namespace Machines
}  // namespace Sim
