#include "machine_placement.h"

#include "../kinds.h"

namespace Sim {
namespace Machines {

Inventory::PlacementRequest RequestFor(VmSvc::PlacementSpec const* spec, Record const* current) {
  Inventory::PlacementRequest request;
  if (spec) {
    request.folder = spec->folder();
    request.resourcePool = spec->resourcePool();
    request.host = spec->host();
    request.cluster = spec->cluster();
    request.datastore = spec->datastore();
  }
  if (current) {
    if (!request.folder) request.folder = current->folder;
    if (!request.datastore) request.datastore = current->datastore;
    if (!request.resourcePool && !request.host && !request.cluster) {
      request.resourcePool = current->resourcePool;
      request.host = current->host;
      if (!current->cluster.empty()) request.cluster = current->cluster;
    }
  }
  return request;
}

void Place(Record& record, Inventory::Placement const& placement) {
  record.datacenter = placement.datacenter;
  record.folder = placement.folder;
  record.resourcePool = placement.resourcePool;
  record.host = placement.host;
  record.cluster = placement.cluster;
  record.datastore = placement.datastore;
}

ErrorPtr CheckDeviceOf(Store& store, char const* kind, std::string const& what, std::string const& vm,
                       std::string const& id) {
  auto row = store.Get(kind, id);
  if (row && row->parent == vm) return nullptr;
  return InvalidArgument(Say("nexar.sim.vm.device_elsewhere",
                             "The {0} '{1}' is not a device of virtual machine '{2}'.", {what, id, vm}));
}

ErrorPtr CheckDiskPlacements(
    Store& store, std::string const& vm,
    boost::optional<std::list<std::shared_ptr<VmSvc::DiskPlacementSpec const>>> const& disks) {
  if (!disks) return nullptr;
  for (auto const& disk : *disks) {
    if (auto error = CheckDeviceOf(store, Kinds::kDisk, "disk", vm, disk->disk())) return error;
    if (disk->datastore() && !store.Exists(Kinds::kDatastore, *disk->datastore()))
      return NotFound("datastore", *disk->datastore());
  }
  return nullptr;
}

}  // namespace Machines
}  // namespace Sim
