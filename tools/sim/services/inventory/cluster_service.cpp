#include "compute.h"
#include "services.h"
#include "tree.h"

#include "../errors.h"
#include "../kinds.h"

#include <bindings/cluster.h>
#include <bindings/folder.h>

namespace Sim {
namespace Inventory {
namespace {

using ::Com::Quarn::Nexar::ClusterSvc;
using ::Com::Quarn::Nexar::FolderSvc;
using SummaryList = std::list<std::shared_ptr<ClusterSvc::Summary const>>;

// What the cluster's connected hosts add up to, which its stored record leaves out.
ClusterSvc::Info Current(Store& store, std::string const& id, ClusterSvc::Info info) {
  int64_t const hosts = ConnectedHosts(store, id);
  info.resources(hosts == 0 ? nullptr
                            : std::make_shared<ClusterSvc::ResourceSummary const>(hosts, hosts * kHostCpuMhz,
                                                                                  hosts * kHostMemoryMib));
  return info;
}

class Clusters : public ClusterSvc::AsyncServiceInterface {
 public:
  explicit Clusters(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void List(::Opax::OptionalPtr<ClusterSvc::FilterSpec const> const& filter, Activation const&,
            Result<SummaryList> const& result) override {
    state_->Run([filter, result](Store& store) {
      SummaryList found;
      for (auto const& row : store.List(Kinds::kCluster)) {
        auto const info = FromDocument<ClusterSvc::Info>(row.doc);
        bool const balancing = static_cast<bool>(info.balancing());
        if (filter) {
          if (!Admits(filter->clusters(), row.id) || !Admits(filter->names(), info.name()) ||
              !Admits(filter->datacenters(), info.datacenter()))
            continue;
          if (filter->balancingEnabled() && *filter->balancingEnabled() != balancing) continue;
          if (filter->failoverEnabled() && *filter->failoverEnabled() != info.failoverEnabled()) continue;
        }
        found.push_back(std::make_shared<ClusterSvc::Summary const>(row.id, info.name(), balancing,
                                                                    info.failoverEnabled()));
      }
      result.SetResult(found);
    });
  }

  void Get(std::string const& cluster, Activation const&,
           Result<std::shared_ptr<ClusterSvc::Info const>> const& result) override {
    state_->Run([cluster, result](Store& store) {
      auto info = Load<ClusterSvc::Info>(store, Kinds::kCluster, cluster);
      if (!info) return result.SetError(NotFound("cluster", cluster));
      result.SetResult(std::make_shared<ClusterSvc::Info const>(Current(store, cluster, *info)));
    });
  }

  void Create(std::shared_ptr<ClusterSvc::CreateSpec const> const& spec, Activation const&,
              Result<std::string> const& result) override {
    state_->Run([spec, result](Store& store) {
      auto folder = Load<FolderSvc::Info>(store, Kinds::kFolder, spec->folder());
      if (!folder) return result.SetError(NotFound("folder", spec->folder()));
      if (folder->type() != FolderSvc::Type::HOST || !folder->datacenter()) {
        return result.SetError(
            InvalidArgument(Say("nexar.sim.inventory.folder.not_for_hosts",
                                "The folder '{0}' does not hold hosts.", {spec->folder()})));
      }
      if (NameTaken(store, spec->folder(), spec->name()))
        return result.SetError(AlreadyExists("cluster", spec->name()));
      Store::Transaction transaction(store);
      std::string const id = store.NewId(Prefix::kCluster);
      ClusterSvc::Info info;
      info.name(spec->name()).datacenter(*folder->datacenter()).resourcePool(AddRootPool(store, id));
      info.failoverEnabled(spec->failoverEnabled().value_or(false));
      if (auto const& balancing = spec->balancing()) {
        ClusterSvc::Balancing on(
            balancing->automation().value_or(ClusterSvc::BalancingAutomation::FULLY_AUTOMATED));
        on.migrationThreshold(balancing->migrationThreshold().value_or(3));
        info.balancing(std::make_shared<ClusterSvc::Balancing const>(on));
      }
      Save(store, Kinds::kCluster, id, spec->folder(), info);
      transaction.Commit();
      result.SetResult(id);
    });
  }

  void Delete(std::string const& cluster, Activation const&, Result<::Opax::Void> const& result) override {
    state_->Run([cluster, result](Store& store) {
      auto row = store.Get(Kinds::kCluster, cluster);
      if (!row) return result.SetError(NotFound("cluster", cluster));
      if (!store.Children(Kinds::kHost, cluster).empty()) {
        return result.SetError(ResourceInUse(
            Say("nexar.sim.inventory.cluster.in_use", "The cluster '{0}' still has hosts.", {cluster})));
      }
      Store::Transaction transaction(store);
      for (auto const& below : Descendants(store, cluster)) RemoveObject(store, below);
      RemoveObject(store, *row);
      transaction.Commit();
      result.SetResult(::Opax::Void());
    });
  }

 private:
  std::shared_ptr<State> state_;
};

}  // namespace

BoundService BindClusters(Services const& services) {
  return ClusterSvc::AsyncServiceBinder::BindImplementation(std::make_shared<Clusters>(services.state),
                                                            services.localizer);
}

}  // namespace Inventory
}  // namespace Sim
