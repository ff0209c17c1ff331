#include "services.h"

namespace Sim {

void BindInventory(Services const& services, Bound& bound) {
  for (auto bind :
       {Inventory::BindDatacenters, Inventory::BindFolders, Inventory::BindClusters, Inventory::BindHosts,
        Inventory::BindResourcePools, Inventory::BindDatastores, Inventory::BindNetworks,
        Inventory::BindDistributedSwitches, Inventory::BindDiscoveries}) {
    bound.push_back(bind(services));
  }
}

}  // namespace Sim
