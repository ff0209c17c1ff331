#include "slots.h"

#include <vector>

namespace Sim {
namespace Hardware {
namespace {

char const* BusName(StorageBus bus) {
  switch (bus) {
    case StorageBus::IDE:
      return "IDE";
    case StorageBus::SATA:
      return "SATA";
    case StorageBus::SCSI:
      return "SCSI";
    case StorageBus::NVME:
      return "NVMe";
  }
  return "";
}

// The units a device may take on one adapter, in the order they are handed out. SCSI unit 7 is
// the adapter's own.
std::vector<int64_t> Units(StorageBus bus) {
  std::vector<int64_t> units;
  int64_t const count = bus == StorageBus::IDE    ? 2
                        : bus == StorageBus::SATA ? 30
                        : bus == StorageBus::SCSI ? 16
                                                  : 15;
  for (int64_t unit = 0; unit < count; ++unit) {
    if (bus != StorageBus::SCSI || unit != 7) units.push_back(unit);
  }
  return units;
}

int64_t AdapterLimit(StorageBus bus) { return bus == StorageBus::IDE ? 2 : kMaxAdapters; }

template <class Info>
void AddAddress(Info const& info, std::set<StorageAddress>& taken) {
  if (info.ide())
    taken.insert({StorageBus::IDE, info.ide()->primary() ? 0 : 1, info.ide()->master() ? 0 : 1});
  if (info.sata()) taken.insert({StorageBus::SATA, info.sata()->bus(), info.sata()->unit()});
}

std::set<StorageAddress> TakenAddresses(Store& store, std::string const& vm) {
  std::set<StorageAddress> taken;
  for (auto const& row : store.Children(Kinds::kCdrom, vm))
    AddAddress(FromDocument<CdromSvc::Info>(row.doc), taken);
  for (auto const& row : store.Children(Kinds::kDisk, vm)) {
    auto const disk = FromDocument<DiskSvc::Info>(row.doc);
    AddAddress(disk, taken);
    if (disk.scsi()) taken.insert({StorageBus::SCSI, disk.scsi()->bus(), disk.scsi()->unit()});
    if (disk.nvme()) taken.insert({StorageBus::NVME, disk.nvme()->bus(), disk.nvme()->unit()});
  }
  return taken;
}

bool Contains(std::vector<int64_t> const& values, int64_t value) {
  for (auto const v : values) {
    if (v == value) return true;
  }
  return false;
}

ErrorPtr Taken(bool takenInUse, ::Opax::BaseMessage const& message) {
  return takenInUse ? ResourceInUse(message) : InvalidArgument(message);
}

// The first free unit on `adapter`, or the wanted one when it is free.
boost::optional<int64_t> FreeUnit(std::set<StorageAddress> const& taken, StorageBus bus, int64_t adapter,
                                  boost::optional<int64_t> const& wanted) {
  for (auto const unit : Units(bus)) {
    if (wanted && unit != *wanted) continue;
    if (!taken.count({bus, adapter, unit})) return unit;
  }
  return boost::none;
}

}  // namespace

std::set<int64_t> AdapterBuses(Store& store, std::string const& vm, StorageBus bus) {
  std::set<int64_t> buses;
  if (bus == StorageBus::IDE) return {0, 1};
  if (bus == StorageBus::SATA) {
    for (auto const& row : store.Children(Kinds::kSataAdapter, vm))
      buses.insert(FromDocument<SataSvc::Info>(row.doc).bus());
  } else if (bus == StorageBus::SCSI) {
    for (auto const& row : store.Children(Kinds::kScsiAdapter, vm))
      buses.insert(FromDocument<ScsiSvc::Info>(row.doc).scsi()->bus());
  } else {
    for (auto const& row : store.Children(Kinds::kNvmeAdapter, vm))
      buses.insert(FromDocument<NvmeSvc::Info>(row.doc).bus());
  }
  return buses;
}

bool AdapterInUse(Store& store, std::string const& vm, StorageBus bus, int64_t adapter) {
  for (auto const& address : TakenAddresses(store, vm)) {
    if (address.bus == bus && address.adapter == adapter) return true;
  }
  return false;
}

ErrorPtr AllocateAddress(Store& store, std::string const& vm, AddressRequest const& request, bool takenInUse,
                         StorageAddress& address, bool& addAdapter) {
  StorageBus const bus = request.bus;
  std::string const busName = BusName(bus);
  if (request.adapter && (*request.adapter < 0 || *request.adapter >= AdapterLimit(bus))) {
    return InvalidArgument(Say("nexar.sim.hardware.address.bus_range", "There is no {0} bus {1}.",
                               {busName, std::to_string(*request.adapter)}));
  }
  if (request.unit && !Contains(Units(bus), *request.unit)) {
    return InvalidArgument(Say("nexar.sim.hardware.address.unit_range", "A device cannot take {0} unit {1}.",
                               {busName, std::to_string(*request.unit)}));
  }
  auto const taken = TakenAddresses(store, vm);
  auto const present = AdapterBuses(store, vm, bus);
  if (request.adapter) {
    auto const unit = FreeUnit(taken, bus, *request.adapter, request.unit);
    if (!unit) {
      auto const message =
          request.unit ? Say("nexar.sim.hardware.address.taken", "{0} bus {1} unit {2} is taken.",
                             {busName, std::to_string(*request.adapter), std::to_string(*request.unit)})
                       : Say("nexar.sim.hardware.address.bus_full", "{0} bus {1} has no free unit.",
                             {busName, std::to_string(*request.adapter)});
      return request.unit ? Taken(takenInUse, message) : UnableToAllocateResource(message);
    }
    address = {bus, *request.adapter, *unit};
    addAdapter = !present.count(*request.adapter);
    return nullptr;
  }
  for (auto const adapter : present) {
    if (auto const unit = FreeUnit(taken, bus, adapter, request.unit)) {
      address = {bus, adapter, *unit};
      addAdapter = false;
      return nullptr;
    }
  }
  for (int64_t adapter = 0; adapter < AdapterLimit(bus); ++adapter) {
    if (present.count(adapter)) continue;
    address = {bus, adapter, request.unit.value_or(Units(bus).front())};
    addAdapter = true;
    return nullptr;
  }
  return UnableToAllocateResource(Say(
      "nexar.sim.hardware.address.none_free",
      "The virtual machine '{0}' has no free {1} slot and no room for another {1} adapter.", {vm, busName}));
}

ErrorPtr AllocateAdapterBus(Store& store, std::string const& vm, StorageBus bus,
                            boost::optional<int64_t> wanted, int64_t& chosen) {
  std::string const busName = BusName(bus);
  auto const present = AdapterBuses(store, vm, bus);
  if (wanted) {
    if (*wanted < 0 || *wanted >= kMaxAdapters) {
      return InvalidArgument(Say("nexar.sim.hardware.adapter.bus_range", "There is no {0} bus {1}.",
                                 {busName, std::to_string(*wanted)}));
    }
    if (present.count(*wanted)) {
      return ResourceInUse(Say("nexar.sim.hardware.adapter.bus_taken", "{0} bus {1} has an adapter already.",
                               {busName, std::to_string(*wanted)}));
    }
    chosen = *wanted;
    return nullptr;
  }
  for (int64_t candidate = 0; candidate < kMaxAdapters; ++candidate) {
    if (!present.count(candidate)) {
      chosen = candidate;
      return nullptr;
    }
  }
  return UnableToAllocateResource(Say("nexar.sim.hardware.adapter.none_free",
                                      "The virtual machine '{0}' has {1} {2} adapters, the most it can have.",
                                      {vm, std::to_string(kMaxAdapters), busName}));
}

ErrorPtr AllocatePciSlot(Store& store, std::string const& vm, boost::optional<int64_t> wanted,
                         bool takenInUse, int64_t& slot) {
  std::set<int64_t> used;
  for (auto const& row : store.Children(Kinds::kEthernet, vm)) {
    if (auto const s = FromDocument<EthernetSvc::Info>(row.doc).pciSlotNumber()) used.insert(*s);
  }
  for (auto const& row : store.Children(Kinds::kSataAdapter, vm)) {
    if (auto const s = FromDocument<SataSvc::Info>(row.doc).pciSlotNumber()) used.insert(*s);
  }
  for (auto const& row : store.Children(Kinds::kScsiAdapter, vm)) {
    if (auto const s = FromDocument<ScsiSvc::Info>(row.doc).pciSlotNumber()) used.insert(*s);
  }
  for (auto const& row : store.Children(Kinds::kNvmeAdapter, vm)) {
    if (auto const s = FromDocument<NvmeSvc::Info>(row.doc).pciSlotNumber()) used.insert(*s);
  }
  if (wanted) {
    if (*wanted < 0) {
      return InvalidArgument(
          Say("nexar.sim.hardware.pci.range", "There is no PCI slot {0}.", {std::to_string(*wanted)}));
    }
    if (used.count(*wanted)) {
      return Taken(takenInUse,
                   Say("nexar.sim.hardware.pci.taken", "PCI slot {0} is taken.", {std::to_string(*wanted)}));
    }
    slot = *wanted;
    return nullptr;
  }
  // The slots of the first bridge, then those behind the further bridges, 32 apart.
  for (int64_t candidate = 160; candidate < 160 + 32 * 64; candidate += 32) {
    if (!used.count(candidate)) {
      slot = candidate;
      return nullptr;
    }
  }
  return UnableToAllocateResource(
      Say("nexar.sim.hardware.pci.none_free", "The virtual machine '{0}' has no free PCI slot.", {vm}));
}

}  // namespace Hardware
}  // namespace Sim
