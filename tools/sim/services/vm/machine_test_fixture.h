#pragma once

// The machine services as a client sees them in tests: bound over an in-process provider and
// called through the generated stubs, with copies and moves sped up.

#include "machine_service.h"

#include "../../seed/seed.h"
#include "../kinds.h"

#include <opax/core/invocation/api_stub.h>
#include <opax/core/provider/in_process_provider.h>

#include "../../testing/await.h"
#include <boost/optional/optional_io.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <future>

namespace Sim {
namespace Machines {

using PowerSvc = Vm::PowerSvc;
using CpuSvc = Vm::Hardware::CpuSvc;
using MemorySvc = Vm::Hardware::MemorySvc;
using HardwareSvc = Vm::HardwareSvc;
using TaskState = ::Opax::Provider::TaskRegistry::State;

using Testing::Await;
using Testing::Reply;

class MachineFixture : public ::testing::Test {
 public:
  using PowerCall = void (PowerSvc::AsyncServiceStub::*)(
      std::string const&, std::shared_ptr<::Opax::Core::AsyncActivation> const&,
      ::Opax::AsyncResult<::Opax::Void, ::Opax::AsyncResultTerminateCbPolicy> const&);

 protected:
  MachineFixture() {
    std::list<::Opax::BaseMessage> messages;
    state_ = std::make_shared<State>(Store::Open(":memory:", messages));
    Services const services{state_, std::make_shared<::Opax::L10n::Localizer>()};
    Bound bound;
    BindMachineServices(services, CopyTiming{4, std::chrono::milliseconds(60)}, bound);
    BindInventory(services, bound);
    BindHardware(services, bound);
    BindTagging(services, bound);
    for (auto const& service : bound) provider_->Register(service);
    PlaceOnTheBuiltInInventory();
    auto channel = ::Opax::Stub::AsyncApiStub::GetInstance(provider_);
    vms_ = VmSvc::AsyncServiceStub::GetInstance(channel);
    power_ = PowerSvc::AsyncServiceStub::GetInstance(channel);
    cpu_ = CpuSvc::AsyncServiceStub::GetInstance(channel);
    memory_ = MemorySvc::AsyncServiceStub::GetInstance(channel);
    hardware_ = HardwareSvc::AsyncServiceStub::GetInstance(channel);
  }

  Reply<std::string> Create(VmSvc::CreateSpec spec) {
    if (!spec.placement() && !cluster_.empty()) {
      spec.placement(std::make_shared<VmSvc::PlacementSpec const>(VmSvc::PlacementSpec().cluster(cluster_)));
    }
    auto shared = std::make_shared<VmSvc::CreateSpec const>(spec);
    return Await<std::string>([&](auto const& r) { vms_->Create(shared, nullptr, r); });
  }
  // A machine named `name` in `power`, which it was brought to the way a client would.
  std::string Machine(std::string const& name, PowerState::EnumType power = PowerState::POWERED_OFF) {
    std::string const vm = Create(VmSvc::CreateSpec().name(name)).value.value_or("");
    if (power != PowerState::POWERED_OFF) Power(vm, &PowerSvc::AsyncServiceStub::Start);
    if (power == PowerState::SUSPENDED) Power(vm, &PowerSvc::AsyncServiceStub::Suspend);
    return vm;
  }
  std::string Power(std::string const& vm, PowerCall call) {
    return Await<::Opax::Void>([&](auto const& r) { ((*power_).*call)(vm, nullptr, r); }).outcome;
  }
  PowerState::EnumType PowerOf(std::string const& vm) {
    auto reply = Await<std::shared_ptr<PowerInfo const>>([&](auto const& r) { power_->Get(vm, nullptr, r); });
    return reply.value ? static_cast<PowerState::EnumType>((*reply.value)->state()) : PowerState::_UNKNOWN;
  }
  std::shared_ptr<VmSvc::Info const> Info(std::string const& vm) {
    auto reply = Await<std::shared_ptr<VmSvc::Info const>>([&](auto const& r) { vms_->Get(vm, nullptr, r); });
    return reply.value ? *reply.value : nullptr;
  }
  std::vector<std::string> Names(VmSvc::FilterSpec const& filter) {
    auto shared = std::make_shared<VmSvc::FilterSpec const>(filter);
    std::vector<std::string> names;
    auto reply = Await<std::list<std::shared_ptr<VmSvc::Summary const>>>(
        [&](auto const& r) { vms_->List(shared, nullptr, r); });
    for (auto const& summary : reply.value.value_or(std::list<std::shared_ptr<VmSvc::Summary const>>()))
      names.push_back(summary->name());
    return names;
  }

  // Where the built-in inventory exists, machines go to one of its clusters; without one the
  // placement is left to the inventory area, which then takes what it is given.
  void PlaceOnTheBuiltInInventory() {
    auto const seeds = DefaultSeed();
    if (seeds.empty() || seeds.front().text.find('{') == std::string::npos) return;
    std::list<::Opax::BaseMessage> messages;
    ASSERT_TRUE(RunSeed({seeds.front()}, *provider_, messages))
        << (messages.empty() ? std::string("none")
                             : messages.back().id() + ": " + messages.back().defaultMessage());
    std::promise<std::string> cluster;
    state_->Run([&cluster](Store& store) {
      auto const clusters = store.List(Kinds::kCluster);
      cluster.set_value(clusters.empty() ? std::string() : clusters.front().id);
    });
    cluster_ = cluster.get_future().get();
  }

  // The objects of `kind` under `parent`, read on the state thread.
  std::vector<std::string> Children(char const* kind, std::string const& parent) {
    std::promise<std::vector<std::string>> ids;
    state_->Run([&](Store& store) {
      std::vector<std::string> found;
      for (auto const& row : store.Children(kind, parent)) found.push_back(row.id);
      ids.set_value(found);
    });
    return ids.get_future().get();
  }

  std::string cluster_;
  // Declared before the provider so that it goes after it: jobs still queued run against it.
  std::shared_ptr<State> state_;
  std::shared_ptr<::Opax::Core::InProcessProvider> provider_ =
      std::make_shared<::Opax::Core::InProcessProvider>();
  std::shared_ptr<VmSvc::AsyncServiceStub> vms_;
  std::shared_ptr<PowerSvc::AsyncServiceStub> power_;
  std::shared_ptr<CpuSvc::AsyncServiceStub> cpu_;
  std::shared_ptr<MemorySvc::AsyncServiceStub> memory_;
  std::shared_ptr<HardwareSvc::AsyncServiceStub> hardware_;
};

}  // namespace Machines
}  // namespace Sim
