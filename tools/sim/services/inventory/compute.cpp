#include "compute.h"

#include "tree.h"

#include "../kinds.h"

#include <bindings/host.h>
#include <bindings/resource_pool.h>

namespace Sim {
namespace Inventory {

using ::Com::Quarn::Nexar::HostSvc;
using ::Com::Quarn::Nexar::ResourcePoolSvc;

std::string AddRootPool(Store& store, std::string const& owner) {
  auto const unlimited = std::make_shared<ResourcePoolSvc::ResourceAllocationInfo const>(
      0, true, -1, std::make_shared<ResourcePoolSvc::SharesInfo const>(ResourcePoolSvc::SharesLevel::NORMAL));
  ResourcePoolSvc::Info info;
  info.name("Resources").owner(owner).cpuAllocation(unlimited).memoryAllocation(unlimited);
  std::string const id = store.NewId(Prefix::kResourcePool);
  Save(store, Kinds::kResourcePool, id, owner, info);
  return id;
}

std::string RootPoolOf(Store& store, std::string const& owner) {
  auto pools = store.Children(Kinds::kResourcePool, owner);
  return pools.empty() ? std::string() : pools.front().id;
}

int64_t ConnectedHosts(Store& store, std::string const& cluster) {
  int64_t count = 0;
  for (auto const& row : store.Children(Kinds::kHost, cluster)) {
    if (FromDocument<HostSvc::Summary>(row.doc).connectionState() == HostSvc::ConnectionState::CONNECTED)
      ++count;
  }
  return count;
}

}  // namespace Inventory
}  // namespace Sim
