#include "connectable_service.h"
#include "create.h"
#include "services.h"

#include <boost/algorithm/string/predicate.hpp>

namespace Sim {
namespace Hardware {
namespace {

ErrorPtr ResolveBacking(CdromSvc::BackingSpec const& spec,
                        std::shared_ptr<CdromSvc::BackingInfo const>& backing) {
  CdromSvc::BackingInfo info(spec.type());
  switch (spec.type()) {
    case CdromSvc::BackingType::ISO_FILE:
      if (!spec.isoFile() || !boost::algorithm::iends_with(*spec.isoFile(), ".iso")) {
        return InvalidArgument(Say("nexar.sim.hardware.cdrom.not_iso", "'{0}' does not name an ISO image.",
                                   {spec.isoFile().value_or("")}));
      }
      info.isoFile(spec.isoFile());
      break;
    case CdromSvc::BackingType::HOST_DEVICE:
      // Without a device named the drive follows whichever one the host has.
      info.hostDevice(spec.hostDevice()).autoDetect(!spec.hostDevice());
      info.deviceAccessType(spec.deviceAccessType().value_or(CdromSvc::DeviceAccessType::EMULATION));
      break;
    default:
      info.deviceAccessType(spec.deviceAccessType().value_or(CdromSvc::DeviceAccessType::EMULATION));
      break;
  }
  backing = std::make_shared<CdromSvc::BackingInfo const>(info);
  return nullptr;
}

bool IdeHasRoom(Store& store, std::string const& vm) {
  StorageAddress address;
  bool addAdapter = false;
  return !AllocateAddress(store, vm, AddressRequest{StorageBus::IDE, boost::none, boost::none}, false,
                          address, addAdapter);
}

}  // namespace

ErrorPtr CreateCdrom(Store& store, std::string const& vm, CdromSvc::CreateSpec const& spec, std::string& id) {
  auto const type = spec.type().value_or(IdeHasRoom(store, vm) ? CdromSvc::HostBusAdapterType::IDE
                                                               : CdromSvc::HostBusAdapterType::SATA);
  CdromSvc::Info info;
  info.type(type);
  AddressRequest request;
  if (type == CdromSvc::HostBusAdapterType::IDE) {
    // IDE devices come and go only with the machine off: the bus cannot be hot-plugged.
    if (ErrorPtr error = NeedsPoweredOff(store, vm, "add an IDE device")) return error;
    if (spec.ide() && spec.ide()->primary()) request.adapter = *spec.ide()->primary() ? 0 : 1;
    if (spec.ide() && spec.ide()->master()) request.unit = *spec.ide()->master() ? 0 : 1;
  } else {
    request.bus = StorageBus::SATA;
    if (spec.sata()) {
      request.adapter = spec.sata()->bus();
      request.unit = spec.sata()->unit();
    }
  }
  StorageAddress address;
  if (ErrorPtr error = PlaceStorage(store, vm, request, false, address)) return error;
  if (address.bus == StorageBus::IDE) {
    info.ide(std::make_shared<Hw::IdeAddressInfo const>(address.adapter == 0, address.unit == 0));
  } else {
    info.sata(std::make_shared<Hw::SataAddressInfo const>(address.adapter, address.unit));
  }
  std::shared_ptr<CdromSvc::BackingInfo const> backing;
  auto const backingSpec =
      spec.backing() ? *spec.backing() : CdromSvc::BackingSpec(CdromSvc::BackingType::CLIENT_DEVICE);
  if (ErrorPtr error = ResolveBacking(backingSpec, backing)) return error;
  info.backing(backing);
  info.label(NextLabel<CdromSvc::Info>(store, kCdromKind, vm));
  info.startConnected(spec.startConnected().value_or(false));
  info.allowGuestControl(spec.allowGuestControl().value_or(false));
  SetInitialConnection(store, vm, info);
  id = store.NewId(kCdromKind.idPrefix);
  SaveDevice(store, kCdromKind, vm, id, info);
  return nullptr;
}

namespace {

class CdromService final : public ConnectableService<CdromSvc> {
 public:
  explicit CdromService(std::shared_ptr<State> state)
      : ConnectableService(std::move(state), kCdromKind, true) {}

  void Create(std::string const& vm, std::shared_ptr<CdromSvc::CreateSpec const> const& spec,
              Activation const&, Result<std::string> const& result) override {
    CreateDevice<CdromSvc::CreateSpec>(*state_, vm, spec, &CreateCdrom, result);
  }
  // Changing the medium is what a running machine's drive is for, so the backing may change any time.
  void Update(std::string const& vm, std::string const& id,
              std::shared_ptr<CdromSvc::UpdateSpec const> const& spec, Activation const&,
              Result<Void> const& result) override {
    UpdateDevice<CdromSvc::Info>(
        *state_, kCdromKind, vm, id,
        [spec](Store&, CdromSvc::Info& info) -> ErrorPtr {
          if (!spec) return nullptr;
          if (spec->backing()) {
            std::shared_ptr<CdromSvc::BackingInfo const> backing;
            if (ErrorPtr error = ResolveBacking(*spec->backing(), backing)) return error;
            info.backing(backing);
          }
          ApplyConnectionUpdate(*spec, info);
          return nullptr;
        },
        result);
  }
};

}  // namespace

void BindCdrom(Services const& services, Bound& bound) {
  bound.push_back(CdromSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<CdromService>(services.state), services.localizer));
}

}  // namespace Hardware
}  // namespace Sim
