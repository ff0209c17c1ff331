#include "create.h"
#include "device_ops.h"

namespace Sim {
namespace Hardware {
namespace {

ErrorPtr AdapterPlacement(Store& store, std::string const& vm, StorageBus bus,
                          boost::optional<int64_t> wantedBus, boost::optional<int64_t> wantedSlot,
                          int64_t& chosenBus, int64_t& slot) {
  if (ErrorPtr error = NeedsPoweredOff(store, vm, "add a storage adapter")) return error;
  if (ErrorPtr error = AllocateAdapterBus(store, vm, bus, wantedBus, chosenBus)) return error;
  return AllocatePciSlot(store, vm, wantedSlot, true, slot);
}

std::string AdapterLabel(DeviceKind const& kind, int64_t bus) {
  return std::string(kind.labelPrefix) + " " + std::to_string(bus);
}

}  // namespace

ErrorPtr CreateSataAdapter(Store& store, std::string const& vm, SataSvc::CreateSpec const& spec,
                           std::string& id) {
  int64_t bus = 0, slot = 0;
  if (ErrorPtr error =
          AdapterPlacement(store, vm, StorageBus::SATA, spec.bus(), spec.pciSlotNumber(), bus, slot))
    return error;
  SataSvc::Info info(AdapterLabel(kSataKind, bus), spec.type().value_or(SataSvc::Type::AHCI), bus);
  info.pciSlotNumber(slot);
  id = store.NewId(kSataKind.idPrefix);
  SaveDevice(store, kSataKind, vm, id, info);
  return nullptr;
}

ErrorPtr CreateScsiAdapter(Store& store, std::string const& vm, ScsiSvc::CreateSpec const& spec,
                           std::string& id) {
  int64_t bus = 0, slot = 0;
  if (ErrorPtr error =
          AdapterPlacement(store, vm, StorageBus::SCSI, spec.bus(), spec.pciSlotNumber(), bus, slot))
    return error;
  // The adapter itself answers on unit 7 of its bus.
  ScsiSvc::Info info(AdapterLabel(kScsiKind, bus), spec.type().value_or(ScsiSvc::Type::LSILOGIC),
                     std::make_shared<Hw::ScsiAddressInfo const>(bus, 7),
                     spec.sharing().value_or(ScsiSvc::Sharing::NONE));
  info.pciSlotNumber(slot);
  id = store.NewId(kScsiKind.idPrefix);
  SaveDevice(store, kScsiKind, vm, id, info);
  return nullptr;
}

ErrorPtr CreateNvmeAdapter(Store& store, std::string const& vm, NvmeSvc::CreateSpec const& spec,
                           std::string& id) {
  int64_t bus = 0, slot = 0;
  if (ErrorPtr error =
          AdapterPlacement(store, vm, StorageBus::NVME, spec.bus(), spec.pciSlotNumber(), bus, slot))
    return error;
  NvmeSvc::Info info(AdapterLabel(kNvmeKind, bus), bus);
  info.pciSlotNumber(slot);
  id = store.NewId(kNvmeKind.idPrefix);
  SaveDevice(store, kNvmeKind, vm, id, info);
  return nullptr;
}

ErrorPtr PlaceStorage(Store& store, std::string const& vm, AddressRequest const& request, bool takenInUse,
                      StorageAddress& address) {
  bool addAdapter = false;
  if (ErrorPtr error = AllocateAddress(store, vm, request, takenInUse, address, addAdapter)) return error;
  if (!addAdapter) return nullptr;
  std::string id;
  switch (request.bus) {
    case StorageBus::SATA:
      return CreateSataAdapter(store, vm, SataSvc::CreateSpec().bus(address.adapter), id);
    case StorageBus::SCSI:
      return CreateScsiAdapter(store, vm, ScsiSvc::CreateSpec().bus(address.adapter), id);
    case StorageBus::NVME:
      return CreateNvmeAdapter(store, vm, NvmeSvc::CreateSpec().bus(address.adapter), id);
    case StorageBus::IDE:
      break;
  }
  return nullptr;
}

}  // namespace Hardware
}  // namespace Sim
