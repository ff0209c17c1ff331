#include "devices.h"

#include "create.h"
#include "device_ops.h"

namespace Sim {
namespace Devices {
namespace {

using namespace ::Sim::Hardware;

template <class Spec>
ErrorPtr AddAll(Store& store, std::string const& vm,
                boost::optional<std::list<std::shared_ptr<Spec const>>> const& specs, Creator<Spec> create) {
  if (!specs) return nullptr;
  std::string id;
  for (auto const& spec : *specs) {
    if (ErrorPtr error = create(store, vm, spec ? *spec : Spec(), id)) return error;
  }
  return nullptr;
}

// A copy sits in a machine that has not run yet: nothing of it is connected.
template <class Info>
void CopyAll(Store& store, DeviceKind const& kind, std::string const& source, std::string const& target,
             std::set<std::string> const& leaveOut, void (*adjust)(Store&, std::string const&, Info&)) {
  for (auto const& row : store.Children(kind.kind, source)) {
    if (leaveOut.count(row.id)) continue;
    auto info = FromDocument<Info>(row.doc);
    if constexpr (Connectable<Info>::value) info.state(Hw::ConnectionState::NOT_CONNECTED);
    if (adjust) adjust(store, target, info);
    SaveDevice(store, kind, target, store.NewId(kind.idPrefix), info);
  }
}

// A clone's disks are copies of the source's files, kept in the clone's own folder.
void CopyDiskFile(Store&, std::string const& target, DiskSvc::Info& info) {
  std::string const path = info.backing()->vmdkFile().value_or("");
  auto const close = path.find("] ");
  auto const slash = path.rfind('/');
  std::string const datastore = close == std::string::npos ? "[datastore]" : path.substr(0, close + 1);
  std::string const file = slash == std::string::npos
                               ? path.substr(close == std::string::npos ? 0 : close + 2)
                               : path.substr(slash + 1);
  info.backing(std::make_shared<DiskSvc::BackingInfo const>(
      DiskSvc::BackingInfo(DiskSvc::BackingType::VMDK_FILE).vmdkFile(datastore + " " + target + "/" + file)));
}

// Two machines on one network must not share a server-chosen address; one set by hand is the
// user's to keep.
void RenewMac(Store& store, std::string const&, EthernetSvc::Info& info) {
  if (info.macType() != EthernetSvc::MacAddressType::MANUAL) info.macAddress(NewMacAddress(store));
}

}  // namespace

ErrorPtr AddFromSpec(Store& store, std::string const& vm,
                     ::Com::Quarn::Nexar::VmSvc::CreateSpec const& spec) {
  // Adapters first, so that disks asking for their buses find them rather than adding defaults.
  if (ErrorPtr error = AddAll(store, vm, spec.sataAdapters(), &CreateSataAdapter)) return error;
  if (ErrorPtr error = AddAll(store, vm, spec.scsiAdapters(), &CreateScsiAdapter)) return error;
  if (ErrorPtr error = AddAll(store, vm, spec.nvmeAdapters(), &CreateNvmeAdapter)) return error;
  if (ErrorPtr error = AddAll(store, vm, spec.disks(), &CreateDisk)) return error;
  if (ErrorPtr error = AddAll(store, vm, spec.cdroms(), &CreateCdrom)) return error;
  if (ErrorPtr error = AddAll(store, vm, spec.nics(), &CreateEthernet)) return error;
  if (ErrorPtr error = AddAll(store, vm, spec.floppies(), &CreateFloppy)) return error;
  if (ErrorPtr error = AddAll(store, vm, spec.serialPorts(), &CreateSerial)) return error;
  return AddAll(store, vm, spec.parallelPorts(), &CreateParallel);
}

ErrorPtr Copy(Store& store, std::string const& source, std::string const& target,
              std::set<std::string> const& disksToRemove) {
  for (auto const& disk : disksToRemove) {
    auto const row = store.Get(Kinds::kDisk, disk);
    if (!row || row->parent != source) return NotFound("disk", disk);
  }
  std::set<std::string> const none;
  CopyAll<SataSvc::Info>(store, kSataKind, source, target, none, nullptr);
  CopyAll<ScsiSvc::Info>(store, kScsiKind, source, target, none, nullptr);
  CopyAll<NvmeSvc::Info>(store, kNvmeKind, source, target, none, nullptr);
  CopyAll<DiskSvc::Info>(store, kDiskKind, source, target, disksToRemove, &CopyDiskFile);
  CopyAll<CdromSvc::Info>(store, kCdromKind, source, target, none, nullptr);
  CopyAll<EthernetSvc::Info>(store, kEthernetKind, source, target, none, &RenewMac);
  CopyAll<FloppySvc::Info>(store, kFloppyKind, source, target, none, nullptr);
  CopyAll<SerialSvc::Info>(store, kSerialKind, source, target, none, nullptr);
  CopyAll<ParallelSvc::Info>(store, kParallelKind, source, target, none, nullptr);
  return nullptr;
}

void RemoveAll(Store& store, std::string const& vm) {
  for (char const* kind : Kinds::kDeviceKinds) {
    for (auto const& row : store.Children(kind, vm)) store.Remove(kind, row.id);
  }
}

}  // namespace Devices
}  // namespace Sim
