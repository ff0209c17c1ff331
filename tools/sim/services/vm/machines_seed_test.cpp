#include "machine_test_fixture.h"

#include "../../seed/seed.h"
#include "../../testing/seeded.h"

#include <algorithm>

namespace Sim {
namespace Machines {
namespace {

// The built-in machines, seeded through every area's services after the built-in inventory.
TEST(MachinesSeed, BuildsTheMachinesOnTheBuiltInInventory) {
  ASSERT_EQ(DefaultSeed().size(), 2u);
  auto const seeded = Testing::SeedDefault();
  ASSERT_EQ(seeded.fault, "");
  auto const& provider = seeded.provider;

  auto vms = VmSvc::AsyncServiceStub::GetInstance(::Opax::Stub::AsyncApiStub::GetInstance(provider));
  auto reply = Await<std::list<std::shared_ptr<VmSvc::Summary const>>>(
      [&](auto const& r) { vms->List(boost::none, nullptr, r); });
  ASSERT_TRUE(reply.value);
  EXPECT_GE(reply.value->size(), 20u);
  auto const running = std::count_if(reply.value->begin(), reply.value->end(), [](auto const& summary) {
    return summary->powerState() == PowerState::POWERED_ON;
  });
  EXPECT_GE(running, 5);
}

}  // namespace
}  // namespace Machines
}  // namespace Sim
