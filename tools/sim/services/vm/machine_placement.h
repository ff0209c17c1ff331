#pragma once

// Where a machine goes, from the placement a caller gave and, for a machine that exists already,
// from where it is now.

#include "../inventory/placement.h"
#include "machine_record.h"

namespace Sim {
namespace Machines {

// Unset parts of a copy or move keep `current`'s folder and datastore, and its pool, host and
// cluster unless the caller named any of those three (naming one decides the others).
Inventory::PlacementRequest RequestFor(VmSvc::PlacementSpec const* spec, Record const* current);
void Place(Record& record, Inventory::Placement const& placement);

// Each disk named must be one of `vm`'s and each datastore named must exist.
ErrorPtr CheckDiskPlacements(
    Store& store, std::string const& vm,
    boost::optional<std::list<std::shared_ptr<VmSvc::DiskPlacementSpec const>>> const& disks);
// The device `id` of `kind` must belong to `vm`.
ErrorPtr CheckDeviceOf(Store& store, char const* kind, std::string const& what, std::string const& vm,
                       std::string const& id);

}  // namespace Machines
}  // namespace Sim
