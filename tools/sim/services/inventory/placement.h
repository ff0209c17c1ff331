#pragma once

// What the other areas ask of the inventory: where a machine goes, which networks exist, and which
// containers hold what. All on the state thread.

#include "../../state/store.h"
#include "../errors.h"

#include <boost/optional.hpp>

#include <string>

namespace Sim {
namespace Inventory {

// Where a machine is: every part set, but `cluster` empty for a standalone host.
struct Placement {
  std::string datacenter;
  std::string folder;  // a virtual machine folder
  std::string resourcePool;
  std::string host;
  std::string cluster;
  std::string datastore;
};

// The parts a caller asked for; unset parts are chosen as a server would: a cluster places the
// machine on one of its connected hosts, a host or cluster gives its root resource pool, a pool
// gives its host or cluster, the datacenter's virtual machine folder is used when no folder is
// given, and a datastore that the host can reach when none is.
struct PlacementRequest {
  boost::optional<std::string> folder;
  boost::optional<std::string> resourcePool;
  boost::optional<std::string> host;
  boost::optional<std::string> cluster;
  boost::optional<std::string> datastore;
};

// NotFound for a part that names nothing; InvalidArgument for parts that do not belong together
// (a host outside the cluster, a folder that holds no machines); UnableToAllocateResource when no
// connected host can take the machine.
ErrorPtr ResolvePlacement(Store& store, PlacementRequest const& request, Placement& placement);

// Whether `folder` is `ancestor` or lies anywhere below it.
bool FolderWithin(Store& store, std::string const& folder, std::string const& ancestor);

// A network that an Ethernet adapter may be backed by.
struct NetworkFacts {
  std::string name;
  bool distributed = false;           // a distributed port group, else a standard port group
  std::string distributedSwitchUuid;  // for a distributed port group
};
boost::optional<NetworkFacts> FindNetwork(Store& store, std::string const& network);

// Whether `host` exists and is connected.
bool HostConnected(Store& store, std::string const& host);

}  // namespace Inventory
}  // namespace Sim
