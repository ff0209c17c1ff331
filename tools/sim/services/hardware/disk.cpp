#include "create.h"
#include "device_ops.h"
#include "services.h"

#include <boost/algorithm/string/predicate.hpp>

namespace Sim {
namespace Hardware {
namespace {

constexpr int64_t kDefaultCapacity = int64_t{16} << 30;

// Disk files are named as "[datastore] folder/file.vmdk".
bool IsDiskPath(std::string const& path) {
  auto const close = path.find("] ");
  return path.size() > 7 && path[0] == '[' && close != std::string::npos && close + 2 < path.size() &&
         boost::algorithm::iends_with(path, ".vmdk");
}

bool FileUsed(Store& store, std::string const& path, std::string const& parent) {
  for (auto const& row : store.List(Kinds::kDisk)) {
    if (!parent.empty() && row.parent != parent) continue;
    if (FromDocument<DiskSvc::Info>(row.doc).backing()->vmdkFile() == path) return true;
  }
  return false;
}

ErrorPtr ExistingFile(Store& store, std::string const& vm, DiskSvc::BackingSpec const& spec,
                      std::string& path) {
  path = spec.vmdkFile().value_or("");
  if (!IsDiskPath(path)) {
    return InvalidArgument(
        Say("nexar.sim.hardware.disk.bad_path", "'{0}' does not name a disk file.", {path}));
  }
  if (FileUsed(store, path, vm)) {
    return ResourceInUse(Say("nexar.sim.hardware.disk.file_attached",
                             "The disk file '{0}' is attached to this virtual machine already.", {path}));
  }
  return nullptr;
}

ErrorPtr NewFile(Store& store, std::string const& vm, DiskSvc::VmdkCreateSpec const& spec,
                 std::string const& id, std::string& path, int64_t& capacity) {
  capacity = spec.capacity().value_or(kDefaultCapacity);
  if (capacity <= 0) {
    return InvalidArgument(Say("nexar.sim.hardware.disk.capacity",
                               "A disk's capacity must be positive, not {0}.", {std::to_string(capacity)}));
  }
  std::string const name = spec.name().value_or(vm + "_" + id);
  path = "[datastore] " + vm + "/" + name + (boost::algorithm::iends_with(name, ".vmdk") ? "" : ".vmdk");
  if (FileUsed(store, path, "")) return AlreadyExists("disk file", path);
  return nullptr;
}

AddressRequest RequestOf(DiskSvc::CreateSpec const& spec, DiskSvc::HostBusAdapterType type) {
  AddressRequest request;
  switch (type) {
    case DiskSvc::HostBusAdapterType::IDE:
      if (spec.ide() && spec.ide()->primary()) request.adapter = *spec.ide()->primary() ? 0 : 1;
      if (spec.ide() && spec.ide()->master()) request.unit = *spec.ide()->master() ? 0 : 1;
      return request;
    case DiskSvc::HostBusAdapterType::SATA:
      request.bus = StorageBus::SATA;
      if (spec.sata()) request.adapter = spec.sata()->bus(), request.unit = spec.sata()->unit();
      return request;
    case DiskSvc::HostBusAdapterType::NVME:
      request.bus = StorageBus::NVME;
      if (spec.nvme()) request.adapter = spec.nvme()->bus(), request.unit = spec.nvme()->unit();
      return request;
    default:
      request.bus = StorageBus::SCSI;
      if (spec.scsi()) request.adapter = spec.scsi()->bus(), request.unit = spec.scsi()->unit();
      return request;
  }
}

void SetAddress(DiskSvc::Info& info, StorageAddress const& address) {
  switch (address.bus) {
    case StorageBus::IDE:
      info.ide(std::make_shared<Hw::IdeAddressInfo const>(address.adapter == 0, address.unit == 0));
      break;
    case StorageBus::SATA:
      info.sata(std::make_shared<Hw::SataAddressInfo const>(address.adapter, address.unit));
      break;
    case StorageBus::SCSI:
      info.scsi(std::make_shared<Hw::ScsiAddressInfo const>(address.adapter, address.unit));
      break;
    case StorageBus::NVME:
      info.nvme(std::make_shared<Hw::NvmeAddressInfo const>(address.adapter, address.unit));
      break;
  }
}

}  // namespace

ErrorPtr CreateDisk(Store& store, std::string const& vm, DiskSvc::CreateSpec const& spec, std::string& id) {
  if (spec.backing() && spec.newVmdk()) {
    return InvalidArgument(Say("nexar.sim.hardware.disk.two_files",
                               "A disk is backed by an existing file or a new one, not both."));
  }
  auto const type = spec.type().value_or(DiskSvc::HostBusAdapterType::SCSI);
  if (type == DiskSvc::HostBusAdapterType::IDE) {
    if (ErrorPtr error = NeedsPoweredOff(store, vm, "add an IDE device")) return error;
  }
  StorageAddress address;
  if (ErrorPtr error = PlaceStorage(store, vm, RequestOf(spec, type), true, address)) return error;
  id = store.NewId(kDiskKind.idPrefix);
  std::string path;
  int64_t capacity = kDefaultCapacity;
  ErrorPtr const fileError =
      spec.backing() ? ExistingFile(store, vm, *spec.backing(), path)
                     : NewFile(store, vm, spec.newVmdk() ? *spec.newVmdk() : DiskSvc::VmdkCreateSpec(), id,
                               path, capacity);
  if (fileError) return fileError;
  DiskSvc::Info info;
  info.type(type);
  SetAddress(info, address);
  info.label(NextLabel<DiskSvc::Info>(store, kDiskKind, vm));
  info.backing(std::make_shared<DiskSvc::BackingInfo const>(
      DiskSvc::BackingInfo(DiskSvc::BackingType::VMDK_FILE).vmdkFile(path)));
  info.capacity(capacity);
  SaveDevice(store, kDiskKind, vm, id, info);
  return nullptr;
}

namespace {

class DiskService final : public DiskSvc::AsyncServiceInterface {
 public:
  explicit DiskService(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void List(std::string const& vm, Activation const&,
            Result<std::list<std::shared_ptr<DiskSvc::Summary const>>> const& result) override {
    ListDevices<DiskSvc::Summary>(*state_, kDiskKind, vm, result);
  }
  void Get(std::string const& vm, std::string const& id, Activation const&,
           Result<std::shared_ptr<DiskSvc::Info const>> const& result) override {
    GetDevice<DiskSvc::Info>(*state_, kDiskKind, vm, id, result);
  }
  void Create(std::string const& vm, std::shared_ptr<DiskSvc::CreateSpec const> const& spec,
              Activation const&, Result<std::string> const& result) override {
    CreateDevice<DiskSvc::CreateSpec>(*state_, vm, spec, &CreateDisk, result);
  }
  void Update(std::string const& vm, std::string const& id,
              std::shared_ptr<DiskSvc::UpdateSpec const> const& spec, Activation const&,
              Result<Void> const& result) override {
    UpdateDevice<DiskSvc::Info>(
        *state_, kDiskKind, vm, id,
        [vm, spec](Store& store, DiskSvc::Info& info) -> ErrorPtr {
          if (!spec || !spec->backing()) return nullptr;
          if (ErrorPtr error = NeedsPoweredOff(store, vm, "change a disk's file")) return error;
          std::string path;
          if (ErrorPtr error = ExistingFile(store, vm, *spec->backing(), path)) return error;
          info.backing(std::make_shared<DiskSvc::BackingInfo const>(
              DiskSvc::BackingInfo(DiskSvc::BackingType::VMDK_FILE).vmdkFile(path)));
          return nullptr;
        },
        result);
  }
  void Delete(std::string const& vm, std::string const& id, Activation const&,
              Result<Void> const& result) override {
    DeleteDevice<DiskSvc::Info>(
        *state_, kDiskKind, vm, id,
        [](Store& store, std::string const& machine, DiskSvc::Info const&) {
          return NeedsPoweredOff(store, machine, "remove a disk");
        },
        result);
  }

 private:
  std::shared_ptr<State> state_;
};

}  // namespace

void BindDisk(Services const& services, Bound& bound) {
  bound.push_back(DiskSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<DiskService>(services.state), services.localizer));
}

}  // namespace Hardware
}  // namespace Sim
