#include "create.h"
#include "device_ops.h"
#include "services.h"

namespace Sim {
namespace Hardware {
namespace {

// What the three adapter services share: an adapter goes only from a stopped machine and only
// when no device sits on its bus.
template <class Svc>
class AdapterService : public Svc::AsyncServiceInterface {
 public:
  using Info = typename Svc::Info;
  using Summary = typename Svc::Summary;
  using CreateSpec = typename Svc::CreateSpec;
  using BusOf = int64_t (*)(Info const&);

  AdapterService(std::shared_ptr<State> state, DeviceKind const& kind, StorageBus bus,
                 Creator<CreateSpec> create, BusOf busOf)
      : state_(std::move(state)), kind_(kind), bus_(bus), create_(create), busOf_(busOf) {}

  void List(std::string const& vm, Activation const&,
            Result<std::list<std::shared_ptr<Summary const>>> const& result) override {
    ListDevices<Summary>(*state_, kind_, vm, result);
  }
  void Get(std::string const& vm, std::string const& id, Activation const&,
           Result<std::shared_ptr<Info const>> const& result) override {
    GetDevice<Info>(*state_, kind_, vm, id, result);
  }
  void Create(std::string const& vm, std::shared_ptr<CreateSpec const> const& spec, Activation const&,
              Result<std::string> const& result) override {
    CreateDevice<CreateSpec>(*state_, vm, spec, create_, result);
  }
  void Delete(std::string const& vm, std::string const& id, Activation const&,
              Result<Void> const& result) override {
    auto const bus = bus_;
    auto const busOf = busOf_;
    DeviceKind const& kind = kind_;
    DeleteDevice<Info>(
        *state_, kind_, vm, id,
        [bus, busOf, &kind, id](Store& store, std::string const& machine, Info const& info) -> ErrorPtr {
          if (ErrorPtr error = NeedsPoweredOff(store, machine, "remove a storage adapter")) return error;
          if (!AdapterInUse(store, machine, bus, busOf(info))) return nullptr;
          return ResourceInUse(Say("nexar.sim.hardware.adapter.in_use",
                                   "The {0} '{1}' still has devices attached.", {kind.what, id}));
        },
        result);
  }

 protected:
  std::shared_ptr<State> state_;
  DeviceKind const& kind_;

 private:
  StorageBus bus_;
  Creator<CreateSpec> create_;
  BusOf busOf_;
};

class ScsiService final : public AdapterService<ScsiSvc> {
 public:
  explicit ScsiService(std::shared_ptr<State> state)
      : AdapterService(std::move(state), kScsiKind, StorageBus::SCSI, &CreateScsiAdapter,
                       [](ScsiSvc::Info const& info) { return info.scsi()->bus(); }) {}

  void Update(std::string const& vm, std::string const& id,
              std::shared_ptr<ScsiSvc::UpdateSpec const> const& spec, Activation const&,
              Result<Void> const& result) override {
    UpdateDevice<ScsiSvc::Info>(
        *state_, kind_, vm, id,
        [vm, spec](Store& store, ScsiSvc::Info& info) -> ErrorPtr {
          if (!spec || !spec->sharing() || *spec->sharing() == info.sharing()) return nullptr;
          // Guests see bus sharing only when the bus comes up.
          if (ErrorPtr error = NeedsPoweredOff(store, vm, "change a SCSI bus's sharing")) return error;
          info.sharing(*spec->sharing());
          return nullptr;
        },
        result);
  }
};

}  // namespace

void BindAdapters(Services const& services, Bound& bound) {
  bound.push_back(SataSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<AdapterService<SataSvc>>(services.state, kSataKind, StorageBus::SATA,
                                                &CreateSataAdapter,
                                                [](SataSvc::Info const& info) { return info.bus(); }),
      services.localizer));
  bound.push_back(NvmeSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<AdapterService<NvmeSvc>>(services.state, kNvmeKind, StorageBus::NVME,
                                                &CreateNvmeAdapter,
                                                [](NvmeSvc::Info const& info) { return info.bus(); }),
      services.localizer));
  bound.push_back(ScsiSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<ScsiService>(services.state), services.localizer));
}

}  // namespace Hardware
}  // namespace Sim
