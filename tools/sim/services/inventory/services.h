#pragma once

// The inventory's services, one file each; BindInventory hands them all out.

#include "../module.h"
#include "../result.h"

namespace Sim {
namespace Inventory {

BoundService BindDatacenters(Services const& services);
BoundService BindFolders(Services const& services);
BoundService BindClusters(Services const& services);
BoundService BindHosts(Services const& services);
BoundService BindResourcePools(Services const& services);
BoundService BindDatastores(Services const& services);
BoundService BindNetworks(Services const& services);
BoundService BindDistributedSwitches(Services const& services);
// com.quarn.sim.inventory: what hosts would report (datastores, networks, switches).
BoundService BindDiscoveries(Services const& services);

}  // namespace Inventory
}  // namespace Sim
