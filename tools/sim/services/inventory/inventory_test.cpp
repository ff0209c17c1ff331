#include "placement.h"

#include "../../seed/seed.h"
#include "../../testing/seeded.h"
#include "../kinds.h"
#include "../module.h"
#include "../result.h"
#include "../test_await.h"

#include <bindings/cluster.h>
#include <bindings/datacenter.h>
#include <bindings/folder.h>
#include <bindings/host.h>
#include <bindings/resource_pool.h>
#include <opax/core/invocation/api_stub.h>
#include <opax/core/provider/in_process_provider.h>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>

namespace Sim {
namespace {

namespace Nexar = ::Com::Quarn::Nexar;

// The built-in inventory, served through the generated stubs as a client sees it.
class InventoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto seeded = Testing::SeedDefault();
    ASSERT_EQ(seeded.fault, "");
    state_ = seeded.state;
    provider_ = seeded.provider;
    auto channel = ::Opax::Stub::AsyncApiStub::GetInstance(provider_);
    datacenters_ = Nexar::DatacenterSvc::AsyncServiceStub::GetInstance(channel);
    folders_ = Nexar::FolderSvc::AsyncServiceStub::GetInstance(channel);
    clusters_ = Nexar::ClusterSvc::AsyncServiceStub::GetInstance(channel);
    hosts_ = Nexar::HostSvc::AsyncServiceStub::GetInstance(channel);
    pools_ = Nexar::ResourcePoolSvc::AsyncServiceStub::GetInstance(channel);
  }

  std::string Datacenter(std::string const& name) {
    auto filter = std::make_shared<Nexar::DatacenterSvc::FilterSpec const>(
        Nexar::DatacenterSvc::FilterSpec().names(std::set<std::string>{name}));
    auto found = Await<std::list<std::shared_ptr<Nexar::DatacenterSvc::Summary const>>>(
        [&](auto const& r) { datacenters_->List(filter, nullptr, r); });
    return found.second && !found.second->empty() ? found.second->front()->datacenter() : "";
  }
  std::shared_ptr<Nexar::DatacenterSvc::Info const> Info(std::string const& datacenter) {
    return *Await<std::shared_ptr<Nexar::DatacenterSvc::Info const>>([&](auto const& r) {
              datacenters_->Get(datacenter, nullptr, r);
            }).second;
  }
  std::string Host(std::string const& name) {
    auto filter = std::make_shared<Nexar::HostSvc::FilterSpec const>(
        Nexar::HostSvc::FilterSpec().names(std::set<std::string>{name + ".sim.local"}));
    auto found = Await<std::list<std::shared_ptr<Nexar::HostSvc::Summary const>>>(
        [&](auto const& r) { hosts_->List(filter, nullptr, r); });
    return found.second && !found.second->empty() ? found.second->front()->host() : "";
  }
  template <class F>
  std::string Outcome(F&& call) {
    return Await<::Opax::Void>(std::function<void(Result<::Opax::Void> const&)>(call)).first;
  }
  std::string Created(std::function<void(Result<std::string> const&)> const& call) {
    return Await<std::string>(call).first;
  }

  std::shared_ptr<::Opax::Core::InProcessProvider> provider_;
  std::shared_ptr<State> state_;
  std::shared_ptr<Nexar::DatacenterSvc::AsyncServiceStub> datacenters_;
  std::shared_ptr<Nexar::FolderSvc::AsyncServiceStub> folders_;
  std::shared_ptr<Nexar::ClusterSvc::AsyncServiceStub> clusters_;
  std::shared_ptr<Nexar::HostSvc::AsyncServiceStub> hosts_;
  std::shared_ptr<Nexar::ResourcePoolSvc::AsyncServiceStub> pools_;
};

TEST_F(InventoryTest, OperationsAnswerAsTheirDescriptionsSay) {
  std::string const east = Datacenter("dc-east");
  ASSERT_FALSE(east.empty());
  auto const info = Info(east);
  std::string const host1 = Host("host-east-1");
  std::string const host4 = Host("host-east-4");
  auto folder = [](std::string name, std::string parent) {
    return std::make_shared<Nexar::FolderSvc::CreateSpec const>(name, parent);
  };
  auto cluster = [](std::string name, std::string parent) {
    return std::make_shared<Nexar::ClusterSvc::CreateSpec const>(name, parent);
  };
  struct Case {
    char const* what;
    std::function<std::string()> call;
    char const* expected;
  };
  std::vector<Case> const cases = {
      {"a datacenter name taken in its folder",
       [&] {
         return Created([&](auto const& r) {
           datacenters_->Create(std::make_shared<Nexar::DatacenterSvc::CreateSpec const>("dc-east"), nullptr,
                                r);
         });
       },
       "already_exists"},
      {"a folder into a datacenter's own folder",
       [&] {
         return Created(
             [&](auto const& r) { folders_->Create(folder("apps", info->vmFolder()), nullptr, r); });
       },
       "ok"},
      {"the same folder again",
       [&] {
         return Created(
             [&](auto const& r) { folders_->Create(folder("apps", info->vmFolder()), nullptr, r); });
       },
       "already_exists"},
      {"a folder below an unknown one",
       [&] {
         return Created([&](auto const& r) { folders_->Create(folder("x", "group-999"), nullptr, r); });
       },
       "not_found"},
      {"a datacenter's own folder deleted",
       [&] { return Outcome([&](auto const& r) { folders_->Delete(info->hostFolder(), nullptr, r); }); },
       "unsupported"},
      {"a cluster in a machine folder",
       [&] {
         return Created(
             [&](auto const& r) { clusters_->Create(cluster("c", info->vmFolder()), nullptr, r); });
       },
       "invalid_argument"},
      {"a cluster with hosts deleted",
       [&] { return Outcome([&](auto const& r) { clusters_->Delete("domain-c-1", nullptr, r); }); },
       "resource_in_use"},
      {"a connected host connected",
       [&] { return Outcome([&](auto const& r) { hosts_->Connect(host1, nullptr, r); }); },
       "already_in_desired_state"},
      {"a connected clustered host deleted",
       [&] { return Outcome([&](auto const& r) { hosts_->Delete(host1, nullptr, r); }); },
       "not_allowed_in_current_state"},
      {"a standalone host disconnected",
       [&] { return Outcome([&](auto const& r) { hosts_->Disconnect(host4, nullptr, r); }); }, "ok"},
      {"and disconnected again",
       [&] { return Outcome([&](auto const& r) { hosts_->Disconnect(host4, nullptr, r); }); },
       "already_in_desired_state"},
      {"an unknown host connected",
       [&] { return Outcome([&](auto const& r) { hosts_->Connect("host-999", nullptr, r); }); }, "not_found"},
      {"a datacenter with hosts deleted",
       [&] { return Outcome([&](auto const& r) { datacenters_->Delete(east, boost::none, nullptr, r); }); },
       "resource_in_use"},
      {"and forced",
       [&] { return Outcome([&](auto const& r) { datacenters_->Delete(east, true, nullptr, r); }); }, "ok"},
      {"and gone",
       [&] { return Outcome([&](auto const& r) { datacenters_->Delete(east, true, nullptr, r); }); },
       "not_found"},
  };
  for (auto const& c : cases) EXPECT_EQ(c.call(), c.expected) << c.what;
  EXPECT_EQ(Host("host-east-1"), "") << "a forced delete takes the datacenter's hosts with it";
}

TEST_F(InventoryTest, PlacementFillsWhatWasNotAsked) {
  std::string const host4 = Host("host-east-4");
  std::string const host1 = Host("host-east-1");
  auto place = [&](Inventory::PlacementRequest const& request) {
    std::promise<std::pair<ErrorPtr, Inventory::Placement>> done;
    state_->Run([&](Store& store) {
      Inventory::Placement placement;
      auto error = Inventory::ResolvePlacement(store, request, placement);
      done.set_value({error, placement});
    });
    return done.get_future().get();
  };
  Inventory::PlacementRequest standalone;
  standalone.host = host4;
  auto const onHost = place(standalone);
  ASSERT_EQ(onHost.first, nullptr);
  EXPECT_EQ(onHost.second.cluster, "");
  EXPECT_EQ(onHost.second.folder, Info(Datacenter("dc-east"))->vmFolder());
  EXPECT_FALSE(onHost.second.resourcePool.empty());
  EXPECT_FALSE(onHost.second.datastore.empty());

  Inventory::PlacementRequest mismatched;
  mismatched.host = host4;
  mismatched.cluster = onHost.second.cluster.empty() ? std::string("domain-c-1") : onHost.second.cluster;
  EXPECT_NE(place(mismatched).first, nullptr) << "a standalone host is outside any cluster";

  Inventory::PlacementRequest byCluster;
  byCluster.cluster = std::string("domain-c-1");
  auto const inCluster = place(byCluster);
  ASSERT_EQ(inCluster.first, nullptr);
  EXPECT_EQ(inCluster.second.host, host1);
}

}  // namespace
}  // namespace Sim
