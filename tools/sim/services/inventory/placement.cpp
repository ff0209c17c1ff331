#include "placement.h"

#include "compute.h"
#include "tree.h"

#include "../kinds.h"

#include <bindings/datacenter.h>
#include <bindings/folder.h>
#include <bindings/host.h>
#include <bindings/resource_pool.h>
#include <sim/inventory.h>

namespace Sim {
namespace Inventory {
namespace {

using ::Com::Quarn::Nexar::DatacenterSvc;
using ::Com::Quarn::Nexar::FolderSvc;
using ::Com::Quarn::Nexar::HostSvc;
using ::Com::Quarn::Nexar::NetworkSvc;
using ::Com::Quarn::Nexar::ResourcePoolSvc;
using ::Com::Quarn::Sim::InventorySvc;

ErrorPtr Mismatch(std::string const& part, std::string const& other) {
  return InvalidArgument(Say("nexar.sim.inventory.placement.mismatch",
                             "The placement's '{0}' does not belong with '{1}'.", {part, other}));
}

ErrorPtr NoHost(std::string const& where) {
  return UnableToAllocateResource(Say("nexar.sim.inventory.placement.no_host",
                                      "No connected host in '{0}' can take the machine.", {where}));
}

// The first connected host below `container` (a cluster, or a datacenter's host folder).
std::string ConnectedHostIn(Store& store, std::string const& container) {
  for (auto const& row : Descendants(store, container)) {
    if (row.kind == Kinds::kHost && HostConnected(store, row.id)) return row.id;
  }
  return {};
}

// Sets placement.host and placement.cluster from the compute parts of the request.
ErrorPtr ResolveCompute(Store& store, PlacementRequest const& request, Placement& placement) {
  std::string cluster = request.cluster.value_or("");
  std::string host = request.host.value_or("");
  if (!cluster.empty() && !store.Exists(Kinds::kCluster, cluster)) return NotFound("cluster", cluster);
  if (request.resourcePool) {
    auto pool = Load<ResourcePoolSvc::Info>(store, Kinds::kResourcePool, *request.resourcePool);
    if (!pool) return NotFound("resource pool", *request.resourcePool);
    bool const ofCluster = store.Exists(Kinds::kCluster, pool->owner());
    std::string& owner = ofCluster ? cluster : host;
    if (!owner.empty() && owner != pool->owner()) return Mismatch(*request.resourcePool, owner);
    owner = pool->owner();
    placement.resourcePool = *request.resourcePool;
  }
  if (!host.empty()) {
    auto summary = Load<HostSvc::Summary>(store, Kinds::kHost, host);
    if (!summary) return NotFound("host", host);
    if (!cluster.empty() && summary->cluster().value_or("") != cluster) return Mismatch(host, cluster);
    if (!HostConnected(store, host)) return NoHost(host);
    cluster = summary->cluster().value_or("");
  } else if (!cluster.empty()) {
    host = ConnectedHostIn(store, cluster);
    if (host.empty()) return NoHost(cluster);
  } else {
    std::string const scope = request.folder ? DatacenterOf(store, *request.folder) : RootFolder(store);
    host = ConnectedHostIn(store, scope);
    if (host.empty()) return NoHost(scope);
    cluster = Load<HostSvc::Summary>(store, Kinds::kHost, host)->cluster().value_or("");
  }
  placement.host = host;
  placement.cluster = cluster;
  if (placement.resourcePool.empty())
    placement.resourcePool = RootPoolOf(store, cluster.empty() ? host : cluster);
  return nullptr;
}

ErrorPtr ResolveFolder(Store& store, PlacementRequest const& request, Placement& placement) {
  if (!request.folder) {
    placement.folder = Load<DatacenterSvc::Info>(store, Kinds::kDatacenter, placement.datacenter)->vmFolder();
    return nullptr;
  }
  auto folder = Load<FolderSvc::Info>(store, Kinds::kFolder, *request.folder);
  if (!folder) return NotFound("folder", *request.folder);
  if (folder->type() != FolderSvc::Type::VIRTUAL_MACHINE) {
    return InvalidArgument(Say("nexar.sim.inventory.placement.folder",
                               "The folder '{0}' does not hold virtual machines.", {*request.folder}));
  }
  if (folder->datacenter().value_or("") != placement.datacenter)
    return Mismatch(*request.folder, placement.host);
  placement.folder = *request.folder;
  return nullptr;
}

ErrorPtr ResolveDatastore(Store& store, PlacementRequest const& request, Placement& placement) {
  if (request.datastore) {
    auto spec = Load<InventorySvc::DatastoreSpec>(store, Kinds::kDatastore, *request.datastore);
    if (!spec) return NotFound("datastore", *request.datastore);
    if (!spec->hosts().count(placement.host)) return Mismatch(*request.datastore, placement.host);
    placement.datastore = *request.datastore;
    return nullptr;
  }
  for (auto const& row : store.List(Kinds::kDatastore)) {
    if (FromDocument<InventorySvc::DatastoreSpec>(row.doc).hosts().count(placement.host)) {
      placement.datastore = row.id;
      return nullptr;
    }
  }
  return UnableToAllocateResource(Say("nexar.sim.inventory.placement.no_datastore",
                                      "The host '{0}' reaches no datastore.", {placement.host}));
}

// Switches are known to their port groups' backings by a UUID; the simulator derives one from the
// switch's id, so that it stays the same across restarts and snapshots.
std::string SwitchUuid(std::string const& dvs) {
  std::string number = dvs.substr(dvs.rfind('-') + 1);
  if (number.size() < 12) number.insert(0, 12 - number.size(), '0');
  return "50000000-0000-4000-8000-" + number.substr(number.size() - 12);
}

}  // namespace

ErrorPtr ResolvePlacement(Store& store, PlacementRequest const& request, Placement& placement) {
  Placement resolved;
  if (auto error = ResolveCompute(store, request, resolved)) return error;
  resolved.datacenter = DatacenterOf(store, resolved.host);
  if (auto error = ResolveFolder(store, request, resolved)) return error;
  if (auto error = ResolveDatastore(store, request, resolved)) return error;
  placement = resolved;
  return nullptr;
}

bool FolderWithin(Store& store, std::string const& folder, std::string const& ancestor) {
  return Within(store, folder, ancestor);
}

boost::optional<NetworkFacts> FindNetwork(Store& store, std::string const& network) {
  auto spec = Load<InventorySvc::NetworkSpec>(store, Kinds::kNetwork, network);
  if (!spec) return boost::none;
  NetworkFacts facts;
  facts.name = spec->name();
  facts.distributed = spec->type() == NetworkSvc::Type::DISTRIBUTED_PORTGROUP;
  if (spec->distributedSwitch()) facts.distributedSwitchUuid = SwitchUuid(*spec->distributedSwitch());
  return facts;
}

bool HostConnected(Store& store, std::string const& host) {
  auto summary = Load<HostSvc::Summary>(store, Kinds::kHost, host);
  return summary && summary->connectionState() == HostSvc::ConnectionState::CONNECTED;
}

}  // namespace Inventory
}  // namespace Sim
