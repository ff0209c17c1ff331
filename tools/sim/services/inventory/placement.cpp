#include "placement.h"

namespace Sim {
namespace Inventory {

// Placeholders until the inventory area implements them: what was asked for, as it is.
ErrorPtr ResolvePlacement(Store&, PlacementRequest const& request, Placement& placement) {
  placement.folder = request.folder.value_or("group-v1");
  placement.resourcePool = request.resourcePool.value_or("resgroup-1");
  placement.host = request.host.value_or("host-1");
  placement.cluster = request.cluster.value_or("");
  placement.datastore = request.datastore.value_or("datastore-1");
  placement.datacenter = "datacenter-1";
  return nullptr;
}
bool FolderWithin(Store&, std::string const& folder, std::string const& ancestor) { return folder == ancestor; }
boost::optional<NetworkFacts> FindNetwork(Store&, std::string const& network) { return NetworkFacts{network, false, {}}; }
bool HostConnected(Store&, std::string const&) { return true; }

}  // namespace Inventory
}  // namespace Sim
