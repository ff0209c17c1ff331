#pragma once

// Where storage devices sit (IDE channel and position, or adapter bus and unit) and which PCI
// slots a machine's NICs and adapters use. All read from the machine's documents, so that what
// is free is always what the inventory shows.

#include "common.h"

#include <cstdint>
#include <set>
#include <tuple>

namespace Sim {
namespace Hardware {

enum class StorageBus { IDE, SATA, SCSI, NVME };

// For IDE, `adapter` is the channel (0 primary, 1 secondary) and `unit` the position (0 master).
struct StorageAddress {
  StorageBus bus = StorageBus::IDE;
  int64_t adapter = 0;
  int64_t unit = 0;
  bool operator<(StorageAddress const& other) const {
    return std::tie(bus, adapter, unit) < std::tie(other.bus, other.adapter, other.unit);
  }
};

// What a caller asked for; unset parts are chosen.
struct AddressRequest {
  StorageBus bus = StorageBus::IDE;
  boost::optional<int64_t> adapter;
  boost::optional<int64_t> unit;
};

// A free address for `request`. `addAdapter` is set when the address lies on an adapter that
// the machine lacks and that must be added for it. An explicit address that is out of range is
// InvalidArgument; one that is taken is ResourceInUse when `takenInUse`, else InvalidArgument;
// no room anywhere (all adapters full and no more can be added) is UnableToAllocateResource.
ErrorPtr AllocateAddress(Store& store, std::string const& vm, AddressRequest const& request, bool takenInUse,
                         StorageAddress& address, bool& addAdapter);

// The buses of the machine's adapters of `bus`'s kind (SATA, SCSI, NVMe).
std::set<int64_t> AdapterBuses(Store& store, std::string const& vm, StorageBus bus);
// Whether any disk or CD-ROM of the machine sits on adapter `adapter` of `bus`'s kind.
bool AdapterInUse(Store& store, std::string const& vm, StorageBus bus, int64_t adapter);

constexpr int64_t kMaxAdapters = 4;

// A free adapter bus number, or the one asked for when it is free: out of range is
// InvalidArgument, taken is ResourceInUse, none left is UnableToAllocateResource.
ErrorPtr AllocateAdapterBus(Store& store, std::string const& vm, StorageBus bus,
                            boost::optional<int64_t> wanted, int64_t& chosen);

// A free PCI slot number, or the one asked for when it is free (taken: ResourceInUse when
// `takenInUse`, else InvalidArgument).
ErrorPtr AllocatePciSlot(Store& store, std::string const& vm, boost::optional<int64_t> wanted,
                         bool takenInUse, int64_t& slot);

}  // namespace Hardware
}  // namespace Sim
