#include "machine_service.h"

#include "../hardware/devices.h"
#include "machine_placement.h"
#include "settings_rules.h"

namespace Sim {
namespace Machines {
namespace {

constexpr char kDefaultGuest[] = "OTHER_64";

Vm::Hardware::BootSvc::UpdateSpec AsUpdate(Vm::Hardware::BootSvc::CreateSpec const& spec) {
  Vm::Hardware::BootSvc::UpdateSpec update;
  update.type(spec.type()).efiLegacyBoot(spec.efiLegacyBoot()).networkProtocol(spec.networkProtocol());
  update.delay(spec.delay())
      .retry(spec.retry())
      .retryDelay(spec.retryDelay())
      .enterSetupMode(spec.enterSetupMode());
  return update;
}

// The first "<guest>-<n>" that the folder does not use yet.
std::string MadeUpName(Store& store, std::string const& folder, std::string const& guest) {
  for (int n = 1;; ++n) {
    std::string name = guest + "-" + std::to_string(n);
    if (!NameTaken(store, folder, name)) return name;
  }
}

// The machine the caller describes, apart from its devices.
ErrorPtr Describe(Store& store, VmSvc::CreateSpec const& spec, Machine& machine) {
  Record& record = machine.record;
  Inventory::Placement placement;
  if (auto error =
          Inventory::ResolvePlacement(store, RequestFor(spec.placement().get().get(), nullptr), placement))
    return error;
  Place(record, placement);
  record.guestOs = spec.guestOs().value_or(kDefaultGuest);
  record.name = spec.name() ? *spec.name() : MadeUpName(store, record.folder, record.guestOs);
  if (record.name.empty())
    return InvalidArgument(Say("nexar.sim.vm.name.empty", "A virtual machine's name cannot be empty."));
  if (NameTaken(store, record.folder, record.name)) return AlreadyExists("virtual machine", record.name);
  record.notes = spec.notes();
  auto const version = spec.hardwareVersion().value_or(NewestVersion());
  if (version == Vm::HardwareSvc::Version::_UNKNOWN) {
    return Unsupported(Say("nexar.sim.vm.hardware.version_unknown",
                           "The hosts do not run hardware version '{0}'.", {version.text()}));
  }
  machine.hardware = DefaultHardware(version);
  machine.power = PowerInfo(PowerState::POWERED_OFF);
  machine.cpu = DefaultCpu();
  machine.memory = DefaultMemory();
  machine.boot = DefaultBoot();
  if (spec.cpu()) {
    if (auto error = ApplyCpu(*spec.cpu(), PowerState::POWERED_OFF, machine.cpu)) return error;
  }
  if (spec.memory()) {
    if (auto error = ApplyMemory(*spec.memory(), PowerState::POWERED_OFF, machine.memory)) return error;
  }
  if (spec.boot()) {
    if (auto error = ApplyBoot(AsUpdate(*spec.boot()), PowerState::POWERED_OFF, machine.boot)) return error;
  }
  if (spec.bootDevices()) {
    for (auto const& entry : *spec.bootDevices()) record.bootOrder.push_back(entry->type().text());
    if (auto error = CheckBootOrder(record.bootOrder)) return error;
  }
  record.path = ConfigPath(store, record.datastore, record.name, machine.id);
  record.biosUuid = NewUuid();
  record.instanceUuid = NewUuid();
  return nullptr;
}

}  // namespace

void MachineService::Create(std::shared_ptr<VmSvc::CreateSpec const> const& spec, Activation const&,
                            Result<std::string> const& result) {
  state_->Run([spec, result](Store& store) {
    Store::Transaction transaction(store);
    Machine machine;
    machine.id = store.NewId("vm");
    if (auto error = Describe(store, *spec, machine)) return result.SetError(error);
    Save(store, machine);
    if (auto error = Devices::AddFromSpec(store, machine.id, *spec)) return result.SetError(error);
    transaction.Commit();
    result.SetResult(machine.id);
  });
}

}  // namespace Machines
}  // namespace Sim
