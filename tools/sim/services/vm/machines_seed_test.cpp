#include "machine_test_fixture.h"

#include "../../seed/seed.h"

#include <algorithm>

namespace Sim {
namespace Machines {
namespace {

// The built-in machines, seeded through every area's services after the built-in inventory.
TEST(MachinesSeed, BuildsTheMachinesOnTheBuiltInInventory) {
  auto const seeds = DefaultSeed();
  ASSERT_EQ(seeds.size(), 2u);
  if (seeds[0].text.find('{') == std::string::npos) GTEST_SKIP() << "the built-in inventory is empty";
  std::list<::Opax::BaseMessage> messages;
  auto state = std::make_shared<State>(Store::Open(":memory:", messages));
  auto provider = std::make_shared<::Opax::Core::InProcessProvider>();
  for (auto const& service : BindCatalogue(Services{state, std::make_shared<::Opax::L10n::Localizer>()})) provider->Register(service);
  bool const seeded = RunSeed(seeds, *provider, messages);
  ASSERT_TRUE(seeded) << (messages.empty() ? std::string() : messages.back().defaultMessage());

  auto vms = VmSvc::AsyncServiceStub::GetInstance(::Opax::Stub::AsyncApiStub::GetInstance(provider));
  auto reply = Await<std::list<std::shared_ptr<VmSvc::Summary const>>>([&](auto const& r) { vms->List(boost::none, nullptr, r); });
  ASSERT_TRUE(reply.value);
  EXPECT_GE(reply.value->size(), 20u);
  auto const running = std::count_if(reply.value->begin(), reply.value->end(),
                                     [](auto const& summary) { return summary->powerState() == PowerState::POWERED_ON; });
  EXPECT_GE(running, 5);
  provider.reset();
}

}  // namespace
}  // namespace Machines
}  // namespace Sim
