#include "services.h"
#include "tree.h"

#include "../errors.h"
#include "../kinds.h"

#include <bindings/datacenter.h>
#include <bindings/network.h>
#include <sim/inventory.h>

namespace Sim {
namespace Inventory {
namespace {

using ::Com::Quarn::Nexar::DatacenterSvc;
using ::Com::Quarn::Nexar::NetworkSvc;
using ::Com::Quarn::Sim::InventorySvc;

// Null when every host exists and is in `datacenter`.
ErrorPtr CheckHosts(Store& store, std::set<std::string> const& hosts, std::string const& datacenter) {
  for (auto const& host : hosts) {
    if (!store.Exists(Kinds::kHost, host)) return NotFound("host", host);
    if (DatacenterOf(store, host) != datacenter) {
      return InvalidArgument(Say("nexar.sim.inventory.host.elsewhere",
                                 "The host '{0}' is not in the datacenter '{1}'.", {host, datacenter}));
    }
  }
  return nullptr;
}

class Discoveries : public InventorySvc::AsyncServiceInterface {
 public:
  explicit Discoveries(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void AddDatastore(std::shared_ptr<InventorySvc::DatastoreSpec const> const& spec, Activation const&,
                    Result<std::string> const& result) override {
    state_->Run([spec, result](Store& store) {
      if (spec->capacity() < 0 || spec->freeSpace() < 0 || spec->freeSpace() > spec->capacity()) {
        return result.SetError(
            InvalidArgument(Say("nexar.sim.inventory.datastore.space",
                                "A datastore's free space lies between 0 and its capacity.")));
      }
      std::string folder;
      if (auto error = Folder(store, spec->datacenter(), spec->name(), folder, true))
        return result.SetError(error);
      if (auto error = CheckHosts(store, spec->hosts(), spec->datacenter())) return result.SetError(error);
      Add(store, Kinds::kDatastore, Prefix::kDatastore, folder, *spec, result);
    });
  }

  void AddNetwork(std::shared_ptr<InventorySvc::NetworkSpec const> const& spec, Activation const&,
                  Result<std::string> const& result) override {
    state_->Run([spec, result](Store& store) {
      std::string folder;
      if (auto error = Folder(store, spec->datacenter(), spec->name(), folder, false))
        return result.SetError(error);
      bool const portGroup = spec->type() == NetworkSvc::Type::DISTRIBUTED_PORTGROUP;
      auto const& dvs = spec->distributedSwitch();
      if (portGroup != static_cast<bool>(dvs)) {
        return result.SetError(
            InvalidArgument(Say("nexar.sim.inventory.network.switch",
                                "A distributed port group names its switch, and no other network does.")));
      }
      if (dvs && (!store.Exists(Kinds::kDistributedSwitch, *dvs) ||
                  DatacenterOf(store, *dvs) != spec->datacenter())) {
        return result.SetError(NotFound("distributed switch", *dvs));
      }
      Add(store, Kinds::kNetwork, portGroup ? Prefix::kPortGroup : Prefix::kNetwork, folder, *spec, result);
    });
  }

  void AddDistributedSwitch(std::shared_ptr<InventorySvc::DistributedSwitchSpec const> const& spec,
                            Activation const&, Result<std::string> const& result) override {
    state_->Run([spec, result](Store& store) {
      std::string folder;
      if (auto error = Folder(store, spec->datacenter(), spec->name(), folder, false))
        return result.SetError(error);
      if (auto error = CheckHosts(store, spec->hosts(), spec->datacenter())) return result.SetError(error);
      Add(store, Kinds::kDistributedSwitch, Prefix::kDistributedSwitch, folder, *spec, result);
    });
  }

 private:
  // The datacenter's datastore or network folder, where `name` must still be free.
  static ErrorPtr Folder(Store& store, std::string const& datacenter, std::string const& name,
                         std::string& folder, bool storage) {
    auto info = Load<DatacenterSvc::Info>(store, Kinds::kDatacenter, datacenter);
    if (!info) return NotFound("datacenter", datacenter);
    folder = storage ? info->datastoreFolder() : info->networkFolder();
    if (NameTaken(store, folder, name)) return AlreadyExists(storage ? "datastore" : "network", name);
    return nullptr;
  }

  template <class Spec>
  static void Add(Store& store, char const* kind, char const* prefix, std::string const& folder,
                  Spec const& spec, Result<std::string> const& result) {
    Store::Transaction transaction(store);
    std::string const id = store.NewId(prefix);
    Save(store, kind, id, folder, spec);
    transaction.Commit();
    result.SetResult(id);
  }

  std::shared_ptr<State> state_;
};

}  // namespace

BoundService BindDiscoveries(Services const& services) {
  return InventorySvc::AsyncServiceBinder::BindImplementation(std::make_shared<Discoveries>(services.state),
                                                              services.localizer);
}

}  // namespace Inventory
}  // namespace Sim
