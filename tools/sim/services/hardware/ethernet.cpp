#include "../inventory/placement.h"
#include "connectable_service.h"
#include "create.h"
#include "services.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/format.hpp>

#include <cctype>

namespace Sim {
namespace Hardware {
namespace {

constexpr std::size_t kMaxNics = 10;

bool IsMacAddress(std::string const& text) {
  if (text.size() != 17) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    bool const ok = i % 3 == 2 ? text[i] == ':' : std::isxdigit(static_cast<unsigned char>(text[i])) != 0;
    if (!ok) return false;
  }
  return true;
}

bool MacUsed(Store& store, std::string const& mac, std::string const& except) {
  for (auto const& row : store.List(Kinds::kEthernet)) {
    if (row.id != except && FromDocument<EthernetSvc::Info>(row.doc).macAddress() == mac) return true;
  }
  return false;
}

ErrorPtr ManualMac(Store& store, boost::optional<std::string> const& wanted, std::string const& except,
                   std::string& mac) {
  mac = boost::algorithm::to_lower_copy(wanted.value_or(""));
  if (!IsMacAddress(mac)) {
    return InvalidArgument(
        Say("nexar.sim.hardware.nic.bad_mac", "'{0}' is not a MAC address.", {wanted.value_or("")}));
  }
  if (MacUsed(store, mac, except)) {
    return InvalidArgument(Say("nexar.sim.hardware.nic.mac_taken",
                               "The MAC address '{0}' is in use by another adapter.", {mac}));
  }
  return nullptr;
}

ErrorPtr ResolveBacking(Store& store, EthernetSvc::BackingSpec const& spec,
                        std::shared_ptr<EthernetSvc::BackingInfo const>& backing) {
  using Type = EthernetSvc::BackingType;
  if (spec.type() != Type::STANDARD_PORTGROUP && spec.type() != Type::DISTRIBUTED_PORTGROUP) {
    return Unsupported(Say("nexar.sim.hardware.nic.backing_unsupported",
                           "The simulated inventory has no networks of type {0}.", {spec.type().text()}));
  }
  std::string const network = spec.network().value_or("");
  auto const facts = Inventory::FindNetwork(store, network);
  if (!facts) return NotFound("network", network);
  bool const wantsDistributed = spec.type() == Type::DISTRIBUTED_PORTGROUP;
  if (facts->distributed != wantsDistributed) {
    return InvalidArgument(Say("nexar.sim.hardware.nic.network_type",
                               wantsDistributed ? "The network '{0}' is not a distributed port group."
                                                : "The network '{0}' is a distributed port group.",
                               {network}));
  }
  EthernetSvc::BackingInfo info(spec.type());
  info.network(network);
  if (wantsDistributed) {
    info.distributedSwitchUuid(facts->distributedSwitchUuid).distributedPort(spec.distributedPort());
  } else {
    info.networkName(facts->name);
  }
  backing = std::make_shared<EthernetSvc::BackingInfo const>(info);
  return nullptr;
}

}  // namespace

std::string NewMacAddress(Store& store) {
  // Locally administered and unicast (02:...), so that it can never be a maker's address.
  // The counter never repeats, so only an address set by hand can be in the way, and a few
  // hands' worth of them at most.
  std::string mac;
  for (int attempt = 0; attempt < 1024; ++attempt) {
    auto const serial = std::stoll(store.NewId("mac").substr(4));
    mac = (boost::format("02:00:00:%02x:%02x:%02x") % ((serial >> 16) & 0xff) % ((serial >> 8) & 0xff) %
           (serial & 0xff))
              .str();
    if (!MacUsed(store, mac, "")) break;
  }
  return mac;
}

ErrorPtr CreateEthernet(Store& store, std::string const& vm, EthernetSvc::CreateSpec const& spec,
                        std::string& id) {
  if (store.Children(Kinds::kEthernet, vm).size() >= kMaxNics) {
    return UnableToAllocateResource(
        Say("nexar.sim.hardware.nic.none_free",
            "The virtual machine '{0}' has {1} network adapters, the most it can have.",
            {vm, std::to_string(kMaxNics)}));
  }
  if (!spec.backing()) {
    return InvalidArgument(
        Say("nexar.sim.hardware.nic.no_backing", "A network adapter needs a network to attach to."));
  }
  // What the spec says of itself is checked before what it names in the inventory.
  auto const macType = spec.macType().value_or(EthernetSvc::MacAddressType::GENERATED);
  std::string mac;
  if (macType == EthernetSvc::MacAddressType::MANUAL) {
    if (ErrorPtr error = ManualMac(store, spec.macAddress(), "", mac)) return error;
  }
  std::shared_ptr<EthernetSvc::BackingInfo const> backing;
  if (ErrorPtr error = ResolveBacking(store, *spec.backing(), backing)) return error;
  int64_t slot = 0;
  if (ErrorPtr error = AllocatePciSlot(store, vm, spec.pciSlotNumber(), false, slot)) return error;
  if (macType != EthernetSvc::MacAddressType::MANUAL) mac = NewMacAddress(store);
  EthernetSvc::Info info;
  info.type(spec.type().value_or(EthernetSvc::EmulationType::VMXNET3));
  info.uptCompatibilityEnabled(spec.uptCompatibilityEnabled())
      .uptV2CompatibilityEnabled(spec.uptV2CompatibilityEnabled());
  info.macType(macType).macAddress(mac).pciSlotNumber(slot).wakeOnLanEnabled(
      spec.wakeOnLanEnabled().value_or(false));
  info.backing(backing).label(NextLabel<EthernetSvc::Info>(store, kEthernetKind, vm));
  info.startConnected(spec.startConnected().value_or(false));
  info.allowGuestControl(spec.allowGuestControl().value_or(false));
  SetInitialConnection(store, vm, info);
  id = store.NewId(kEthernetKind.idPrefix);
  SaveDevice(store, kEthernetKind, vm, id, info);
  return nullptr;
}

namespace {

ErrorPtr ApplyNicUpdate(Store& store, std::string const& vm, std::string const& id,
                        EthernetSvc::UpdateSpec const& spec, EthernetSvc::Info& info) {
  bool const vmxnet3 = info.type() == EthernetSvc::EmulationType::VMXNET3;
  if ((spec.uptCompatibilityEnabled() || spec.uptV2CompatibilityEnabled()) && !vmxnet3) {
    return InvalidArgument(
        Say("nexar.sim.hardware.nic.upt", "Only a VMXNET3 adapter has UPT compatibility."));
  }
  auto const macType = spec.macType().value_or(info.macType());
  if (spec.macAddress() && macType != EthernetSvc::MacAddressType::MANUAL) {
    return InvalidArgument(Say("nexar.sim.hardware.nic.mac_not_manual",
                               "A MAC address is set only with the MANUAL address type."));
  }
  if (macType != info.macType() || spec.macAddress()) {
    // The guest reads its address at power-on; it cannot change under a running guest.
    if (ErrorPtr error = NeedsPoweredOff(store, vm, "change a network adapter's address")) return error;
    std::string mac;
    if (macType == EthernetSvc::MacAddressType::MANUAL) {
      if (ErrorPtr error =
              ManualMac(store, spec.macAddress() ? spec.macAddress() : info.macAddress(), id, mac))
        return error;
    } else {
      mac = NewMacAddress(store);
    }
    info.macType(macType).macAddress(mac);
  }
  if (spec.backing()) {
    std::shared_ptr<EthernetSvc::BackingInfo const> backing;
    if (ErrorPtr error = ResolveBacking(store, *spec.backing(), backing)) return error;
    info.backing(backing);
  }
  if (spec.uptCompatibilityEnabled()) info.uptCompatibilityEnabled(spec.uptCompatibilityEnabled());
  if (spec.uptV2CompatibilityEnabled()) info.uptV2CompatibilityEnabled(spec.uptV2CompatibilityEnabled());
  if (spec.wakeOnLanEnabled()) info.wakeOnLanEnabled(*spec.wakeOnLanEnabled());
  ApplyConnectionUpdate(spec, info);
  return nullptr;
}

// Network adapters are hot-pluggable: they come and go on a running machine too.
class EthernetService final : public ConnectableService<EthernetSvc> {
 public:
  explicit EthernetService(std::shared_ptr<State> state)
      : ConnectableService(std::move(state), kEthernetKind, false) {}

  void Create(std::string const& vm, std::shared_ptr<EthernetSvc::CreateSpec const> const& spec,
              Activation const&, Result<std::string> const& result) override {
    CreateDevice<EthernetSvc::CreateSpec>(*state_, vm, spec, &CreateEthernet, result);
  }
  void Update(std::string const& vm, std::string const& id,
              std::shared_ptr<EthernetSvc::UpdateSpec const> const& spec, Activation const&,
              Result<Void> const& result) override {
    UpdateDevice<EthernetSvc::Info>(
        *state_, kEthernetKind, vm, id,
        [vm, id, spec](Store& store, EthernetSvc::Info& info) -> ErrorPtr {
          return spec ? ApplyNicUpdate(store, vm, id, *spec, info) : nullptr;
        },
        result);
  }
};

}  // namespace

void BindEthernet(Services const& services, Bound& bound) {
  bound.push_back(EthernetSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<EthernetService>(services.state), services.localizer));
}

}  // namespace Hardware
}  // namespace Sim
