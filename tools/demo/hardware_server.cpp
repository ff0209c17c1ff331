#include "hardware_server.h"

#include <cstdio>

namespace Demo {
namespace {

namespace Hw = ::Com::Quarn::Nexar::Vm::Hardware;
using CdromDevices = DeviceTable<CdromSvc::Info>::Devices;
using NicDevices = DeviceTable<EthernetSvc::Info>::Devices;

template <class R, class T>
void Answer(R const& result, ErrorPtr const& error, T const& value) {
  if (error) {
    result.SetError(error);
  } else {
    result.SetResult(value);
  }
}

template <class R>
void Answer(R const& result, ErrorPtr const& error) {
  Answer(result, error, ::Opax::Void());
}

ErrorPtr Unsupported(::Opax::BaseMessage const& message) {
  return StandardError<Errors::Unsupported>(Errors::ErrorType::UNSUPPORTED, {message});
}

ErrorPtr SpecRequired(char const* operation) {
  return InvalidArgument({Note("nexar.demo.spec.required",
                               std::string("A spec is required to ") + operation + ".", {operation})});
}

template <class Summary>
std::list<std::shared_ptr<Summary const>> Summaries(std::vector<std::string> const& ids) {
  std::list<std::shared_ptr<Summary const>> summaries;
  for (auto const& id : ids) summaries.push_back(std::make_shared<Summary const>(id));
  return summaries;
}

// Connecting a connected device (or disconnecting a disconnected one) is refused rather than
// ignored, so that a client learns that its picture of the device was out of date.
template <class Info>
typename DeviceTable<Info>::Changer SetConnected(bool connect, std::string const& kind,
                                                 std::string const& id) {
  return [connect, kind, id](Info& info) -> ErrorPtr {
    Hw::ConnectionState const wanted(connect ? Hw::ConnectionState::CONNECTED
                                             : Hw::ConnectionState::NOT_CONNECTED);
    if (info.state() == wanted) {
      std::string const state = connect ? "connected" : "disconnected";
      return StandardError<Errors::AlreadyInDesiredState>(
          Errors::ErrorType::ALREADY_IN_DESIRED_STATE,
          {Note("nexar.demo.device.already." + state, kind + " '" + id + "' is already " + state + ".",
                {kind, id})});
    }
    info.state(wanted);
    return nullptr;
  };
}

// Only CD-ROMs occupy controller slots here: the demo models no disks.
bool FreeIdeSlot(CdromDevices const& existing, Hw::IdeAddressSpec const* wanted, Hw::IdeAddressInfo& slot) {
  for (bool primary : {true, false}) {
    for (bool master : {true, false}) {
      if (wanted && wanted->primary() && *wanted->primary() != primary) continue;
      if (wanted && wanted->master() && *wanted->master() != master) continue;
      bool taken = false;
      for (auto const& device : existing) {
        auto const& ide = device.second->ide();
        taken = taken || (ide && ide->primary() == primary && ide->master() == master);
      }
      if (!taken) {
        slot = Hw::IdeAddressInfo(primary, master);
        return true;
      }
    }
  }
  return false;
}

bool FreeSataSlot(CdromDevices const& existing, Hw::SataAddressSpec const* wanted,
                  Hw::SataAddressInfo& slot) {
  int64_t const bus = wanted ? wanted->bus() : 0;
  for (int64_t unit = 0; unit < 30; ++unit) {
    if (wanted && wanted->unit() && *wanted->unit() != unit) continue;
    bool taken = false;
    for (auto const& device : existing) {
      auto const& sata = device.second->sata();
      taken = taken || (sata && sata->bus() == bus && sata->unit() == unit);
    }
    if (!taken) {
      slot = Hw::SataAddressInfo(bus, unit);
      return true;
    }
  }
  return false;
}

ErrorPtr CdromBacking(CdromSvc::BackingSpec const* spec,
                      std::shared_ptr<CdromSvc::BackingInfo const>& backing) {
  // A drive made without a backing passes the client's own drive through, the least surprising
  // choice for a drive nobody configured.
  CdromSvc::BackingType const type =
      spec ? spec->type() : CdromSvc::BackingType(CdromSvc::BackingType::CLIENT_DEVICE);
  CdromSvc::DeviceAccessType const access =
      spec && spec->deviceAccessType() ? *spec->deviceAccessType()
                                       : CdromSvc::DeviceAccessType(CdromSvc::DeviceAccessType::EMULATION);
  auto info = std::make_shared<CdromSvc::BackingInfo>(type);
  switch (type) {
    case CdromSvc::BackingType::ISO_FILE:
      info->isoFile(spec->isoFile());
      break;
    case CdromSvc::BackingType::HOST_DEVICE:
      // Without a named drive the host's first drive is picked up when the guest connects.
      info->hostDevice(spec->hostDevice()).autoDetect(!spec->hostDevice()).deviceAccessType(access);
      break;
    case CdromSvc::BackingType::CLIENT_DEVICE:
      info->deviceAccessType(access);
      break;
    default:
      return Unsupported(Note("nexar.demo.cdrom.backing.unsupported",
                              "CD-ROM backing type '" + type.unknownText() + "' is not supported.",
                              {type.unknownText()}));
  }
  backing = info;
  return nullptr;
}

ErrorPtr MakeCdrom(CdromSvc::CreateSpec const& spec, CdromDevices const& existing,
                   std::shared_ptr<CdromSvc::Info const>& made) {
  auto info = std::make_shared<CdromSvc::Info>();
  CdromSvc::HostBusAdapterType const type = spec.type().value_or(CdromSvc::HostBusAdapterType::IDE);
  info->type(type).label("CD/DVD drive " + std::to_string(existing.size() + 1));
  if (type == CdromSvc::HostBusAdapterType::IDE) {
    Hw::IdeAddressInfo slot;
    if (!FreeIdeSlot(existing, spec.ide().get().get(), slot)) {
      return StandardError<Errors::UnableToAllocateResource>(
          Errors::ErrorType::UNABLE_TO_ALLOCATE_RESOURCE,
          {Note("nexar.demo.cdrom.no_slot", "No free IDE slot.", {"IDE"})});
    }
    info->ide(std::make_shared<Hw::IdeAddressInfo const>(slot));
  } else {
    Hw::SataAddressInfo slot;
    if (!FreeSataSlot(existing, spec.sata().get().get(), slot)) {
      return StandardError<Errors::UnableToAllocateResource>(
          Errors::ErrorType::UNABLE_TO_ALLOCATE_RESOURCE,
          {Note("nexar.demo.cdrom.no_slot", "No free SATA slot.", {"SATA"})});
    }
    info->sata(std::make_shared<Hw::SataAddressInfo const>(slot));
  }
  std::shared_ptr<CdromSvc::BackingInfo const> backing;
  if (ErrorPtr error = CdromBacking(spec.backing().get().get(), backing)) return error;
  info->backing(backing)
      .state(Hw::ConnectionState::NOT_CONNECTED)
      .startConnected(spec.startConnected().value_or(false))
      .allowGuestControl(spec.allowGuestControl().value_or(false));
  made = info;
  return nullptr;
}

// Locally administered addresses (second bit of the first octet set) cannot collide with a
// maker's assigned range.
std::string GeneratedMac(unsigned number) {
  char text[18];
  std::snprintf(text, sizeof text, "02:00:00:00:%02x:%02x", (number >> 8) & 0xffu, number & 0xffu);
  return text;
}

}  // namespace

void CdromServer::List(std::string const& vm, Activation const&,
                       Result<std::list<std::shared_ptr<CdromSvc::Summary const>>> const& result) {
  std::vector<std::string> ids;
  ErrorPtr error = devices_.List(vm, ids);
  Answer(result, error, Summaries<CdromSvc::Summary>(ids));
}

void CdromServer::Get(std::string const& vm, std::string const& cdrom, Activation const&,
                      Result<std::shared_ptr<CdromSvc::Info const>> const& result) {
  std::shared_ptr<CdromSvc::Info const> info;
  ErrorPtr error = devices_.Get(vm, cdrom, info);
  Answer(result, error, info);
}

void CdromServer::Create(std::string const& vm, std::shared_ptr<CdromSvc::CreateSpec const> const& spec,
                         Activation const&, Result<std::string> const& result) {
  ErrorPtr error = spec ? CheckSpec(*spec) : SpecRequired("create a CD-ROM");
  std::string id;
  if (!error) {
    error = devices_.Add(
        vm,
        [&spec](CdromDevices const& existing, std::shared_ptr<CdromSvc::Info const>& made) {
          return MakeCdrom(*spec, existing, made);
        },
        id);
  }
  Answer(result, error, id);
}

void CdromServer::Update(std::string const& vm, std::string const& cdrom,
                         std::shared_ptr<CdromSvc::UpdateSpec const> const& spec, Activation const&,
                         Result<::Opax::Void> const& result) {
  ErrorPtr error = spec ? CheckSpec(*spec) : SpecRequired("update a CD-ROM");
  if (!error) {
    error = devices_.Change(vm, cdrom, [&spec](CdromSvc::Info& info) -> ErrorPtr {
      if (spec->backing()) {
        std::shared_ptr<CdromSvc::BackingInfo const> backing;
        if (ErrorPtr failed = CdromBacking(spec->backing().get().get(), backing)) return failed;
        info.backing(backing);
      }
      if (spec->startConnected()) info.startConnected(*spec->startConnected());
      if (spec->allowGuestControl()) info.allowGuestControl(*spec->allowGuestControl());
      return nullptr;
    });
  }
  Answer(result, error);
}

void CdromServer::Delete(std::string const& vm, std::string const& cdrom, Activation const&,
                         Result<::Opax::Void> const& result) {
  Answer(result, devices_.Remove(vm, cdrom));
}

void CdromServer::Connect(std::string const& vm, std::string const& cdrom, Activation const&,
                          Result<::Opax::Void> const& result) {
  Answer(result, devices_.Change(vm, cdrom, SetConnected<CdromSvc::Info>(true, devices_.kind(), cdrom)));
}

void CdromServer::Disconnect(std::string const& vm, std::string const& cdrom, Activation const&,
                             Result<::Opax::Void> const& result) {
  Answer(result, devices_.Change(vm, cdrom, SetConnected<CdromSvc::Info>(false, devices_.kind(), cdrom)));
}

ErrorPtr EthernetServer::Resolve(EthernetSvc::BackingSpec const& spec,
                                 std::shared_ptr<EthernetSvc::BackingInfo const>& backing) const {
  EthernetSvc::BackingType const type = spec.type();
  bool const wantsDistributed = type == EthernetSvc::BackingType::DISTRIBUTED_PORTGROUP;
  if (!wantsDistributed && type != EthernetSvc::BackingType::STANDARD_PORTGROUP) {
    return Unsupported(Note("nexar.demo.ethernet.backing.unsupported",
                            "This server has no " + type.text() + " backings, only port groups.",
                            {type.text()}));
  }
  // The union rules made `network` required for both port group types.
  std::string const network = spec.network().value_or("");
  auto found = networks_.find(network);
  if (found == networks_.end()) {
    return NotFound(
        Note("nexar.demo.network.not_found", "Network '" + network + "' does not exist.", {network}));
  }
  bool const distributed = !found->second.distributedSwitchUuid.empty();
  if (distributed != wantsDistributed) {
    return InvalidArgument(
        {Note("nexar.demo.network.kind", "Network '" + network + "' is not a " + type.text() + ".",
              {network, type.text()})});
  }
  auto info = std::make_shared<EthernetSvc::BackingInfo>(type);
  info->network(network);
  if (distributed) {
    info->distributedSwitchUuid(found->second.distributedSwitchUuid).distributedPort(spec.distributedPort());
  } else {
    info->networkName(found->second.name);
  }
  backing = info;
  return nullptr;
}

void EthernetServer::List(std::string const& vm, Activation const&,
                          Result<std::list<std::shared_ptr<EthernetSvc::Summary const>>> const& result) {
  std::vector<std::string> ids;
  ErrorPtr error = devices_.List(vm, ids);
  Answer(result, error, Summaries<EthernetSvc::Summary>(ids));
}

void EthernetServer::Get(std::string const& vm, std::string const& nic, Activation const&,
                         Result<std::shared_ptr<EthernetSvc::Info const>> const& result) {
  std::shared_ptr<EthernetSvc::Info const> info;
  ErrorPtr error = devices_.Get(vm, nic, info);
  Answer(result, error, info);
}

void EthernetServer::Create(std::string const& vm, std::shared_ptr<EthernetSvc::CreateSpec const> const& spec,
                            Activation const&, Result<std::string> const& result) {
  ErrorPtr error = spec ? CheckSpec(*spec) : SpecRequired("create an Ethernet adapter");
  std::shared_ptr<EthernetSvc::BackingInfo const> backing;
  if (!error && !spec->backing()) {
    error = InvalidArgument({Note("nexar.demo.ethernet.backing.required",
                                  "This server needs a backing to create an Ethernet adapter.")});
  }
  if (!error) error = Resolve(*spec->backing(), backing);
  std::string id;
  if (!error) {
    error = devices_.Add(
        vm,
        [&](NicDevices const& existing, std::shared_ptr<EthernetSvc::Info const>& made) -> ErrorPtr {
          auto info = std::make_shared<EthernetSvc::Info>();
          auto const type = spec->type().value_or(EthernetSvc::EmulationType::VMXNET3);
          auto const macType = spec->macType().value_or(EthernetSvc::MacAddressType::GENERATED);
          info->label("Network adapter " + std::to_string(existing.size() + 1))
              .type(type)
              .uptCompatibilityEnabled(spec->uptCompatibilityEnabled())
              .uptV2CompatibilityEnabled(spec->uptV2CompatibilityEnabled())
              .macType(macType)
              .macAddress(macType == EthernetSvc::MacAddressType::MANUAL ? *spec->macAddress()
                                                                         : GeneratedMac(nextMac_++))
              .pciSlotNumber(spec->pciSlotNumber())
              .wakeOnLanEnabled(spec->wakeOnLanEnabled().value_or(false))
              .backing(backing)
              .state(Hw::ConnectionState::NOT_CONNECTED)
              .startConnected(spec->startConnected().value_or(false))
              .allowGuestControl(spec->allowGuestControl().value_or(false));
          made = info;
          return nullptr;
        },
        id);
  }
  Answer(result, error, id);
}

void EthernetServer::Update(std::string const& vm, std::string const& nic,
                            std::shared_ptr<EthernetSvc::UpdateSpec const> const& spec, Activation const&,
                            Result<::Opax::Void> const& result) {
  ErrorPtr error = spec ? CheckSpec(*spec) : SpecRequired("update an Ethernet adapter");
  std::shared_ptr<EthernetSvc::BackingInfo const> backing;
  if (!error && spec->backing()) error = Resolve(*spec->backing(), backing);
  if (!error) {
    error = devices_.Change(vm, nic, [&](EthernetSvc::Info& info) -> ErrorPtr {
      // UpdateSpec has no union rules, so the ones of CreateSpec are enforced here by hand.
      auto const macType = spec->macType().value_or(info.macType());
      bool const manual = macType == EthernetSvc::MacAddressType::MANUAL;
      if (spec->macAddress() && !manual) {
        return InvalidArgument({Note("nexar.demo.ethernet.mac.not_manual",
                                     "A MAC address can be set only with mac_type MANUAL.")});
      }
      if (manual && !spec->macAddress() && info.macType() != EthernetSvc::MacAddressType::MANUAL) {
        return InvalidArgument(
            {Note("nexar.demo.ethernet.mac.missing", "mac_type MANUAL needs a mac_address.")});
      }
      bool const upt = spec->uptCompatibilityEnabled() || spec->uptV2CompatibilityEnabled();
      if (upt && info.type() != EthernetSvc::EmulationType::VMXNET3) {
        return InvalidArgument(
            {Note("nexar.demo.ethernet.upt", "UPT compatibility needs emulation type VMXNET3.")});
      }
      if (spec->macAddress()) {
        info.macAddress(spec->macAddress());
      } else if (macType != info.macType()) {
        info.macAddress(GeneratedMac(nextMac_++));
      }
      info.macType(macType);
      if (spec->uptCompatibilityEnabled()) info.uptCompatibilityEnabled(spec->uptCompatibilityEnabled());
      if (spec->uptV2CompatibilityEnabled())
        info.uptV2CompatibilityEnabled(spec->uptV2CompatibilityEnabled());
      if (spec->wakeOnLanEnabled()) info.wakeOnLanEnabled(*spec->wakeOnLanEnabled());
      if (backing) info.backing(backing);
      if (spec->startConnected()) info.startConnected(*spec->startConnected());
      if (spec->allowGuestControl()) info.allowGuestControl(*spec->allowGuestControl());
      return nullptr;
    });
  }
  Answer(result, error);
}

void EthernetServer::Delete(std::string const& vm, std::string const& nic, Activation const&,
                            Result<::Opax::Void> const& result) {
  Answer(result, devices_.Remove(vm, nic));
}

void EthernetServer::Connect(std::string const& vm, std::string const& nic, Activation const&,
                             Result<::Opax::Void> const& result) {
  Answer(result, devices_.Change(vm, nic, SetConnected<EthernetSvc::Info>(true, devices_.kind(), nic)));
}

void EthernetServer::Disconnect(std::string const& vm, std::string const& nic, Activation const&,
                                Result<::Opax::Void> const& result) {
  Answer(result, devices_.Change(vm, nic, SetConnected<EthernetSvc::Info>(false, devices_.kind(), nic)));
}

void ServeHardware(::Opax::Core::InProcessProvider& provider, Inventory const& inventory) {
  provider.Register(
      CdromSvc::AsyncServiceBinder::BindImplementation(std::make_shared<CdromServer>(inventory)));
  provider.Register(
      EthernetSvc::AsyncServiceBinder::BindImplementation(std::make_shared<EthernetServer>(inventory)));
}

}  // namespace Demo
