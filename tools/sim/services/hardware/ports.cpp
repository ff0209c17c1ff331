#include "connectable_service.h"
#include "create.h"
#include "services.h"

namespace Sim {
namespace Hardware {
namespace {

// What a machine can hold of each kind of legacy port or drive.
constexpr std::size_t kMaxFloppies = 2;
constexpr std::size_t kMaxSerialPorts = 4;
constexpr std::size_t kMaxParallelPorts = 3;

FloppySvc::BackingInfo BackingOf(FloppySvc::BackingSpec const& spec) {
  FloppySvc::BackingInfo info(spec.type());
  info.imageFile(spec.imageFile());
  if (spec.type() == FloppySvc::BackingType::HOST_DEVICE)
    info.hostDevice(spec.hostDevice()).autoDetect(!spec.hostDevice());
  return info;
}

SerialSvc::BackingInfo BackingOf(SerialSvc::BackingSpec const& spec) {
  SerialSvc::BackingInfo info(spec.type());
  info.file(spec.file())
      .pipe(spec.pipe())
      .noRxLoss(spec.noRxLoss())
      .networkLocation(spec.networkLocation())
      .proxy(spec.proxy());
  if (spec.type() == SerialSvc::BackingType::HOST_DEVICE)
    info.hostDevice(spec.hostDevice()).autoDetect(!spec.hostDevice());
  return info;
}

ParallelSvc::BackingInfo BackingOf(ParallelSvc::BackingSpec const& spec) {
  ParallelSvc::BackingInfo info(spec.type());
  info.file(spec.file());
  if (spec.type() == ParallelSvc::BackingType::HOST_DEVICE)
    info.hostDevice(spec.hostDevice()).autoDetect(!spec.hostDevice());
  return info;
}

// The three are added alike: only to a stopped machine, up to a fixed number, backed by the
// host's own device when no backing is given.
template <class Svc>
ErrorPtr CreatePort(Store& store, std::string const& vm, typename Svc::CreateSpec const& spec,
                    DeviceKind const& kind, std::size_t most, typename Svc::BackingType::EnumType hostDevice,
                    std::string& id) {
  if (ErrorPtr error = NeedsPoweredOff(store, vm, std::string("add a ") + kind.what)) return error;
  if (store.Children(kind.kind, vm).size() >= most) {
    return UnableToAllocateResource(Say("nexar.sim.hardware.port.none_free",
                                        "The virtual machine '{0}' has {1} of {2}, the most it can have.",
                                        {vm, std::to_string(most), kind.what}));
  }
  typename Svc::Info info;
  info.backing(std::make_shared<typename Svc::BackingInfo const>(
      BackingOf(spec.backing() ? *spec.backing() : typename Svc::BackingSpec(hostDevice))));
  info.label(NextLabel<typename Svc::Info>(store, kind, vm));
  info.startConnected(spec.startConnected().value_or(false));
  info.allowGuestControl(spec.allowGuestControl().value_or(false));
  SetInitialConnection(store, vm, info);
  id = store.NewId(kind.idPrefix);
  SaveDevice(store, kind, vm, id, info);
  return nullptr;
}

template <class Svc>
class PortService final : public ConnectableService<Svc> {
 public:
  using Base = ConnectableService<Svc>;
  using Create_ = Creator<typename Svc::CreateSpec>;
  PortService(std::shared_ptr<State> state, DeviceKind const& kind, Create_ create)
      : Base(std::move(state), kind, true), create_(create) {}

  void Create(std::string const& vm, std::shared_ptr<typename Svc::CreateSpec const> const& spec,
              Activation const&, Result<std::string> const& result) override {
    CreateDevice<typename Svc::CreateSpec>(*this->state_, vm, spec, create_, result);
  }
  // A connected device's backing is in use by the running guest; it changes once disconnected.
  void Update(std::string const& vm, std::string const& id,
              std::shared_ptr<typename Svc::UpdateSpec const> const& spec, Activation const&,
              Result<Void> const& result) override {
    DeviceKind const& kind = this->kind_;
    UpdateDevice<typename Svc::Info>(
        *this->state_, kind, vm, id,
        [spec, &kind, id, vm](Store& store, typename Svc::Info& info) -> ErrorPtr {
          if (!spec) return nullptr;
          if (spec->backing()) {
            if (AsReported(store, vm, info).state() == Hw::ConnectionState::CONNECTED) {
              return NotAllowedInCurrentState(
                  Say("nexar.sim.hardware.backing.connected",
                      "The {0} '{1}' must be disconnected before its backing changes.", {kind.what, id}));
            }
            info.backing(std::make_shared<typename Svc::BackingInfo const>(BackingOf(*spec->backing())));
          }
          ApplyUpdate(*spec, info);
          return nullptr;
        },
        result);
  }

 private:
  static void ApplyUpdate(SerialSvc::UpdateSpec const& spec, SerialSvc::Info& info) {
    if (spec.yieldOnPoll()) info.yieldOnPoll(*spec.yieldOnPoll());
    ApplyConnectionUpdate(spec, info);
  }
  template <class Spec, class Info>
  static void ApplyUpdate(Spec const& spec, Info& info) {
    ApplyConnectionUpdate(spec, info);
  }

  Create_ create_;
};

}  // namespace

ErrorPtr CreateFloppy(Store& store, std::string const& vm, FloppySvc::CreateSpec const& spec,
                      std::string& id) {
  return CreatePort<FloppySvc>(store, vm, spec, kFloppyKind, kMaxFloppies,
                               FloppySvc::BackingType::CLIENT_DEVICE, id);
}

ErrorPtr CreateSerial(Store& store, std::string const& vm, SerialSvc::CreateSpec const& spec,
                      std::string& id) {
  if (ErrorPtr error = CreatePort<SerialSvc>(store, vm, spec, kSerialKind, kMaxSerialPorts,
                                             SerialSvc::BackingType::HOST_DEVICE, id)) {
    return error;
  }
  auto info = *LoadDevice<SerialSvc::Info>(store, kSerialKind, vm, id);
  info.yieldOnPoll(spec.yieldOnPoll().value_or(false));
  SaveDevice(store, kSerialKind, vm, id, info);
  return nullptr;
}

ErrorPtr CreateParallel(Store& store, std::string const& vm, ParallelSvc::CreateSpec const& spec,
                        std::string& id) {
  return CreatePort<ParallelSvc>(store, vm, spec, kParallelKind, kMaxParallelPorts,
                                 ParallelSvc::BackingType::HOST_DEVICE, id);
}

void BindFloppy(Services const& services, Bound& bound) {
  bound.push_back(FloppySvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<PortService<FloppySvc>>(services.state, kFloppyKind, &CreateFloppy),
      services.localizer));
}

void BindSerial(Services const& services, Bound& bound) {
  bound.push_back(SerialSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<PortService<SerialSvc>>(services.state, kSerialKind, &CreateSerial),
      services.localizer));
}

void BindParallel(Services const& services, Bound& bound) {
  bound.push_back(ParallelSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<PortService<ParallelSvc>>(services.state, kParallelKind, &CreateParallel),
      services.localizer));
}

}  // namespace Hardware
}  // namespace Sim
