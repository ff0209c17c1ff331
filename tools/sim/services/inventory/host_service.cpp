#include "compute.h"
#include "services.h"
#include "tree.h"

#include "../errors.h"
#include "../kinds.h"

#include <bindings/cluster.h>
#include <bindings/folder.h>
#include <bindings/host.h>

namespace Sim {
namespace Inventory {
namespace {

using ::Com::Quarn::Nexar::ClusterSvc;
using ::Com::Quarn::Nexar::FolderSvc;
using ::Com::Quarn::Nexar::HostSvc;
using SummaryList = std::list<std::shared_ptr<HostSvc::Summary const>>;

// What a simulated host reports once it is connected.
constexpr char kHostVersion[] = "8.0.2";

HostSvc::Summary Connected(HostSvc::Summary summary) {
  summary.connectionState(HostSvc::ConnectionState::CONNECTED);
  summary.version(std::string(kHostVersion)).powerState(HostSvc::PowerState(HostSvc::PowerState::POWERED_ON));
  return summary;
}

HostSvc::Summary Disconnected(HostSvc::Summary summary) {
  summary.connectionState(HostSvc::ConnectionState::DISCONNECTED);
  summary.powerState(boost::none);
  return summary;
}

bool HostnameTaken(Store& store, std::string const& hostname) {
  for (auto const& row : store.List(Kinds::kHost)) {
    if (FromDocument<HostSvc::Summary>(row.doc).name() == hostname) return true;
  }
  return false;
}

// Null when `parent` can hold a host; sets `cluster` when it is a cluster.
ErrorPtr CheckParent(Store& store, std::string const& parent, boost::optional<std::string>& cluster) {
  if (store.Exists(Kinds::kCluster, parent)) {
    cluster = parent;
    return nullptr;
  }
  auto folder = Load<FolderSvc::Info>(store, Kinds::kFolder, parent);
  if (!folder) {
    if (KindOfId(parent).empty() || !Find(store, parent)) return NotFound("host folder or cluster", parent);
  } else if (folder->type() == FolderSvc::Type::HOST && folder->datacenter()) {
    return nullptr;
  }
  return StandardError<Errors::InvalidElementType>(
      Errors::ErrorType::INVALID_ELEMENT_TYPE,
      {Say("nexar.sim.inventory.host.parent",
           "A host goes into a host folder or a cluster; '{0}' is neither.", {parent})});
}

class Hosts : public HostSvc::AsyncServiceInterface {
 public:
  explicit Hosts(std::shared_ptr<State> state) : state_(std::move(state)) {}

  // The credentials are only checked for presence by the binder: no simulated host refuses them,
  // and they are not kept.
  void Create(std::shared_ptr<HostSvc::CreateSpec const> const& spec, Activation const&,
              Result<std::string> const& result) override {
    state_->Run([spec, result](Store& store) {
      boost::optional<std::string> cluster;
      if (auto error = CheckParent(store, spec->parent(), cluster)) return result.SetError(error);
      if (HostnameTaken(store, spec->hostname()))
        return result.SetError(AlreadyExists("host", spec->hostname()));
      Store::Transaction transaction(store);
      std::string const id = store.NewId(Prefix::kHost);
      HostSvc::Summary summary(id, spec->hostname(), HostSvc::ConnectionState::DISCONNECTED);
      summary.cluster(cluster);
      if (spec->startConnected().value_or(true)) summary = Connected(summary);
      Save(store, Kinds::kHost, id, spec->parent(), summary);
      if (!cluster) AddRootPool(store, id);
      transaction.Commit();
      result.SetResult(id);
    });
  }

  void Delete(std::string const& host, Activation const&, Result<::Opax::Void> const& result) override {
    state_->Run([host, result](Store& store) {
      auto row = store.Get(Kinds::kHost, host);
      if (!row) return result.SetError(NotFound("host", host));
      auto const summary = FromDocument<HostSvc::Summary>(row->doc);
      // A simulated host has no maintenance mode; a disconnected one stands in for it, having
      // nothing running that the cluster would have to move.
      if (summary.cluster() && summary.connectionState() == HostSvc::ConnectionState::CONNECTED) {
        return result.SetError(NotAllowedInCurrentState(
            Say("nexar.sim.inventory.host.clustered",
                "The host '{0}' is a connected member of a cluster; disconnect it first.", {host})));
      }
      Store::Transaction transaction(store);
      for (auto const& below : Descendants(store, host)) RemoveObject(store, below);
      RemoveObject(store, *row);
      transaction.Commit();
      result.SetResult(::Opax::Void());
    });
  }

  void List(::Opax::OptionalPtr<HostSvc::FilterSpec const> const& filter, Activation const&,
            Result<SummaryList> const& result) override {
    state_->Run([filter, result](Store& store) {
      SummaryList found;
      for (auto const& row : store.List(Kinds::kHost)) {
        auto const summary = FromDocument<HostSvc::Summary>(row.doc);
        if (filter && !Matches(store, *filter, row.id, summary)) continue;
        found.push_back(std::make_shared<HostSvc::Summary const>(summary));
      }
      result.SetResult(found);
    });
  }

  void Connect(std::string const& host, Activation const&, Result<::Opax::Void> const& result) override {
    ChangeConnection(host, true, result);
  }
  void Disconnect(std::string const& host, Activation const&, Result<::Opax::Void> const& result) override {
    ChangeConnection(host, false, result);
  }

 private:
  static bool Matches(Store& store, HostSvc::FilterSpec const& filter, std::string const& id,
                      HostSvc::Summary const& summary) {
    if (!Admits(filter.hosts(), id) || !Admits(filter.names(), summary.name()) ||
        !Admits(filter.connectionStates(), summary.connectionState()))
      return false;
    if (filter.clusters() && (!summary.cluster() || !filter.clusters()->count(*summary.cluster())))
      return false;
    if (filter.standalone() && *filter.standalone() == static_cast<bool>(summary.cluster())) return false;
    return !filter.datacenters() || filter.datacenters()->count(DatacenterOf(store, id)) > 0;
  }

  void ChangeConnection(std::string const& host, bool connect, Result<::Opax::Void> const& result) {
    state_->Run([host, connect, result](Store& store) {
      auto row = store.Get(Kinds::kHost, host);
      if (!row) return result.SetError(NotFound("host", host));
      auto const summary = FromDocument<HostSvc::Summary>(row->doc);
      bool const connected = summary.connectionState() == HostSvc::ConnectionState::CONNECTED;
      if (connected == connect) {
        return result.SetError(AlreadyInDesiredState(
            connect
                ? Say("nexar.sim.inventory.host.connected", "The host '{0}' is connected already.", {host})
                : Say("nexar.sim.inventory.host.disconnected", "The host '{0}' is disconnected already.",
                      {host})));
      }
      Store::Transaction transaction(store);
      Save(store, Kinds::kHost, host, row->parent, connect ? Connected(summary) : Disconnected(summary));
      transaction.Commit();
      result.SetResult(::Opax::Void());
    });
  }

  std::shared_ptr<State> state_;
};

}  // namespace

BoundService BindHosts(Services const& services) {
  return HostSvc::AsyncServiceBinder::BindImplementation(std::make_shared<Hosts>(services.state),
                                                         services.localizer);
}

}  // namespace Inventory
}  // namespace Sim
