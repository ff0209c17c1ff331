#include "machine_test_fixture.h"

namespace Sim {
namespace Machines {
namespace {

using Stub = PowerSvc::AsyncServiceStub;

struct PowerCase {
  char const* name;
  PowerState::EnumType before;
  MachineFixture::PowerCall call;
  char const* outcome;
  PowerState::EnumType after;
};

class PowerTest : public MachineFixture {};

TEST_F(PowerTest, StateMachine) {
  PowerCase const cases[] = {
      {"start off", PowerState::POWERED_OFF, &Stub::Start, "ok", PowerState::POWERED_ON},
      {"start on", PowerState::POWERED_ON, &Stub::Start, "already_in_desired_state", PowerState::POWERED_ON},
      {"start suspended resumes", PowerState::SUSPENDED, &Stub::Start, "ok", PowerState::POWERED_ON},
      {"stop on", PowerState::POWERED_ON, &Stub::Stop, "ok", PowerState::POWERED_OFF},
      {"stop suspended", PowerState::SUSPENDED, &Stub::Stop, "ok", PowerState::POWERED_OFF},
      {"stop off", PowerState::POWERED_OFF, &Stub::Stop, "already_in_desired_state", PowerState::POWERED_OFF},
      {"suspend on", PowerState::POWERED_ON, &Stub::Suspend, "ok", PowerState::SUSPENDED},
      {"suspend off", PowerState::POWERED_OFF, &Stub::Suspend, "not_allowed_in_current_state",
       PowerState::POWERED_OFF},
      {"suspend suspended", PowerState::SUSPENDED, &Stub::Suspend, "already_in_desired_state",
       PowerState::SUSPENDED},
      {"reset on", PowerState::POWERED_ON, &Stub::Reset, "ok", PowerState::POWERED_ON},
      {"reset off", PowerState::POWERED_OFF, &Stub::Reset, "not_allowed_in_current_state",
       PowerState::POWERED_OFF},
      {"reset suspended", PowerState::SUSPENDED, &Stub::Reset, "not_allowed_in_current_state",
       PowerState::SUSPENDED},
  };
  int n = 0;
  for (auto const& c : cases) {
    std::string const vm = Machine("power-" + std::to_string(++n), c.before);
    ASSERT_EQ(PowerOf(vm), c.before) << c.name;
    EXPECT_EQ(Power(vm, c.call), c.outcome) << c.name;
    EXPECT_EQ(PowerOf(vm), c.after) << c.name;
  }
  EXPECT_EQ(Power("vm-404", &Stub::Start), "not_found");
}

TEST_F(PowerTest, CuttingPowerSaysTheGuestDidNotShutDownCleanly) {
  std::string const vm = Machine("cut", PowerState::POWERED_ON);
  ASSERT_EQ(Power(vm, &Stub::Stop), "ok");
  auto reply = Await<std::shared_ptr<PowerInfo const>>([&](auto const& r) { power_->Get(vm, nullptr, r); });
  ASSERT_TRUE(reply.value);
  EXPECT_EQ((*reply.value)->cleanPowerOff(), boost::optional<bool>(false));
}

}  // namespace
}  // namespace Machines
}  // namespace Sim
