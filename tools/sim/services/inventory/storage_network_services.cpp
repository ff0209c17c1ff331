#include "services.h"
#include "tree.h"

#include "../errors.h"
#include "../kinds.h"

#include <bindings/datastore.h>
#include <bindings/network.h>
#include <bindings/network/distributed_switches.h>
#include <sim/inventory.h>

namespace Sim {
namespace Inventory {
namespace {

using ::Com::Quarn::Nexar::DatastoreSvc;
using ::Com::Quarn::Nexar::NetworkSvc;
using ::Com::Quarn::Nexar::Network::DistributedSwitchesSvc;
using ::Com::Quarn::Sim::InventorySvc;

// Capacity and access follow the hosts that mount the datastore and are connected.
DatastoreSvc::Info InfoOf(InventorySvc::DatastoreSpec const& spec) {
  bool const mounted = !spec.hosts().empty();
  DatastoreSvc::Info info;
  info.name(spec.name()).datacenter(spec.datacenter()).type(spec.type()).accessible(mounted);
  info.multipleHostAccess(spec.hosts().size() > 1).thinProvisioningSupported(true);
  if (mounted) {
    info.url(spec.url().value_or("ds:///vmfs/volumes/" + spec.name() + "/"));
    info.capacity(std::make_shared<DatastoreSvc::Capacity const>(spec.capacity(), spec.freeSpace()));
  }
  return info;
}

class Datastores : public DatastoreSvc::AsyncServiceInterface {
 public:
  explicit Datastores(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void Get(std::string const& datastore, Activation const&,
           Result<std::shared_ptr<DatastoreSvc::Info const>> const& result) override {
    state_->Run([datastore, result](Store& store) {
      auto spec = Load<InventorySvc::DatastoreSpec>(store, Kinds::kDatastore, datastore);
      if (!spec) return result.SetError(NotFound("datastore", datastore));
      result.SetResult(std::make_shared<DatastoreSvc::Info const>(InfoOf(*spec)));
    });
  }

  void List(::Opax::OptionalPtr<DatastoreSvc::FilterSpec const> const& filter, Activation const&,
            Result<std::list<std::shared_ptr<DatastoreSvc::Summary const>>> const& result) override {
    state_->Run([filter, result](Store& store) {
      std::list<std::shared_ptr<DatastoreSvc::Summary const>> found;
      for (auto const& row : store.List(Kinds::kDatastore)) {
        auto const spec = FromDocument<InventorySvc::DatastoreSpec>(row.doc);
        if (filter &&
            (!Admits(filter->datastores(), row.id) || !Admits(filter->names(), spec.name()) ||
             !Admits(filter->types(), spec.type()) || !Admits(filter->datacenters(), spec.datacenter())))
          continue;
        auto const info = InfoOf(spec);
        DatastoreSvc::Summary summary;
        summary.datastore(row.id).name(spec.name()).type(spec.type()).capacity(info.capacity());
        found.push_back(std::make_shared<DatastoreSvc::Summary const>(summary));
      }
      result.SetResult(found);
    });
  }

 private:
  std::shared_ptr<State> state_;
};

class Networks : public NetworkSvc::AsyncServiceInterface {
 public:
  explicit Networks(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void List(::Opax::OptionalPtr<NetworkSvc::FilterSpec const> const& filter, Activation const&,
            Result<std::list<std::shared_ptr<NetworkSvc::Summary const>>> const& result) override {
    state_->Run([filter, result](Store& store) {
      std::list<std::shared_ptr<NetworkSvc::Summary const>> found;
      for (auto const& row : store.List(Kinds::kNetwork)) {
        auto const spec = FromDocument<InventorySvc::NetworkSpec>(row.doc);
        if (filter &&
            (!Admits(filter->networks(), row.id) || !Admits(filter->names(), spec.name()) ||
             !Admits(filter->types(), spec.type()) || !Admits(filter->datacenters(), spec.datacenter())))
          continue;
        NetworkSvc::Summary summary;
        summary.network(row.id)
            .name(spec.name())
            .type(spec.type())
            .distributedSwitch(spec.distributedSwitch());
        found.push_back(std::make_shared<NetworkSvc::Summary const>(summary));
      }
      result.SetResult(found);
    });
  }

 private:
  std::shared_ptr<State> state_;
};

bool HasAll(std::set<std::string> const& members, std::set<std::string> const& wanted) {
  for (auto const& host : wanted) {
    if (!members.count(host)) return false;
  }
  return true;
}

class DistributedSwitches : public DistributedSwitchesSvc::AsyncServiceInterface {
 public:
  explicit DistributedSwitches(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void List(
      ::Opax::OptionalPtr<DistributedSwitchesSvc::FilterSpec const> const& filter, Activation const&,
      Result<std::list<std::shared_ptr<DistributedSwitchesSvc::Summary const>>> const& result) override {
    state_->Run([filter, result](Store& store) {
      std::list<std::shared_ptr<DistributedSwitchesSvc::Summary const>> found;
      for (auto const& row : store.List(Kinds::kDistributedSwitch)) {
        auto const spec = FromDocument<InventorySvc::DistributedSwitchSpec>(row.doc);
        if (filter &&
            (!Admits(filter->distributedSwitches(), row.id) || !Admits(filter->names(), spec.name()) ||
             !Admits(filter->datacenters(), spec.datacenter()) ||
             (filter->hosts() && !HasAll(spec.hosts(), *filter->hosts()))))
          continue;
        DistributedSwitchesSvc::Summary summary;
        summary.distributedSwitch(row.id).name(spec.name()).version(spec.version().value_or("8.0.0"));
        summary.uplinkCount(spec.uplinkCount().value_or(4)).mtu(spec.mtu());
        found.push_back(std::make_shared<DistributedSwitchesSvc::Summary const>(summary));
      }
      result.SetResult(found);
    });
  }

 private:
  std::shared_ptr<State> state_;
};

}  // namespace

BoundService BindDatastores(Services const& services) {
  return DatastoreSvc::AsyncServiceBinder::BindImplementation(std::make_shared<Datastores>(services.state),
                                                              services.localizer);
}
BoundService BindNetworks(Services const& services) {
  return NetworkSvc::AsyncServiceBinder::BindImplementation(std::make_shared<Networks>(services.state),
                                                            services.localizer);
}
BoundService BindDistributedSwitches(Services const& services) {
  return DistributedSwitchesSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<DistributedSwitches>(services.state), services.localizer);
}

}  // namespace Inventory
}  // namespace Sim
