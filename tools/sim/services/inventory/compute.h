#pragma once

// What hosts and clusters offer for placing machines: every simulated host has the same
// capacity, and every host or cluster has a root resource pool that divides it.

#include "../../state/store.h"

#include <cstdint>
#include <string>

namespace Sim {
namespace Inventory {

constexpr int64_t kHostCpuMhz = 2 * 16 * 2400;
constexpr int64_t kHostMemoryMib = 512 * 1024;

// A root pool owned by `owner` (a cluster or a standalone host), made with the defaults.
std::string AddRootPool(Store& store, std::string const& owner);
// "" when `owner` has none.
std::string RootPoolOf(Store& store, std::string const& owner);
// The connected hosts of a cluster.
int64_t ConnectedHosts(Store& store, std::string const& cluster);

}  // namespace Inventory
}  // namespace Sim
