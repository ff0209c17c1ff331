#include "machine_service.h"

#include "../hardware/devices.h"
#include "../kinds.h"
#include "machine_placement.h"

namespace Sim {
namespace Machines {
namespace {

ErrorPtr MustBeOff(Machine const& machine, char const* id, std::string const& text) {
  if (machine.power.state() == PowerState::POWERED_OFF) return nullptr;
  return NotAllowedInCurrentState(Say(id, text, {machine.record.name}));
}

bool FileInUse(Store& store, std::string const& datastore, std::string const& path) {
  for (auto const& row : store.List(Kinds::kVirtualMachine)) {
    Record const record = ReadRecord(row.doc);
    if (record.datastore == datastore && record.path == path) return true;
  }
  return false;
}

}  // namespace

ErrorPtr BusyError(std::set<std::string> const& busy, std::string const& vm) {
  if (!busy.count(vm)) return nullptr;
  return ResourceBusy(Say("nexar.sim.vm.busy", "Virtual machine '{0}' is being copied or moved.", {vm}));
}

void MachineService::Delete(std::string const& vm, Activation const&, Result<::Opax::Void> const& result) {
  state_->Run([busy = busy_, vm, result](Store& store) {
    auto machine = Load(store, vm);
    if (!machine) return result.SetError(NotFound("virtual machine", vm));
    if (auto error = BusyError(*busy, vm)) return result.SetError(error);
    if (auto error = MustBeOff(*machine, "nexar.sim.vm.delete.running",
                               "Virtual machine '{0}' is removed only when it is powered off.")) {
      return result.SetError(error);
    }
    Store::Transaction transaction(store);
    Devices::RemoveAll(store, vm);
    Erase(store, vm);
    transaction.Commit();
    result.SetResult(::Opax::Void());
  });
}

// The machine's devices stay where they are, under its id, which `register` gives back to it.
void MachineService::Unregister(std::string const& vm, Activation const&,
                                Result<::Opax::Void> const& result) {
  state_->Run([busy = busy_, vm, result](Store& store) {
    auto machine = Load(store, vm);
    if (!machine) return result.SetError(NotFound("virtual machine", vm));
    if (auto error = BusyError(*busy, vm)) return result.SetError(error);
    if (auto error = MustBeOff(*machine, "nexar.sim.vm.unregister.running",
                               "Virtual machine '{0}' is unregistered only when it is powered off.")) {
      return result.SetError(error);
    }
    Store::Transaction transaction(store);
    SaveUnregistered(store, *machine);
    Erase(store, vm);
    transaction.Commit();
    result.SetResult(::Opax::Void());
  });
}

void MachineService::Register(std::shared_ptr<VmSvc::RegisterSpec const> const& spec, Activation const&,
                              Result<std::string> const& result) {
  state_->Run([spec, result](Store& store) {
    if (FileInUse(store, spec->datastore(), spec->path())) {
      return result.SetError(
          AlreadyExists("registered virtual machine with the configuration file", spec->path()));
    }
    std::string const key = FileKey(spec->datastore(), spec->path());
    auto machine = LoadUnregistered(store, key);
    if (!machine) return result.SetError(NotFound("configuration file", spec->path()));
    auto request = RequestFor(spec->placement().get().get(), nullptr);
    request.datastore = spec->datastore();
    Inventory::Placement placement;
    if (auto error = Inventory::ResolvePlacement(store, request, placement)) return result.SetError(error);
    Place(machine->record, placement);
    if (spec->name()) machine->record.name = *spec->name();
    if (NameTaken(store, machine->record.folder, machine->record.name)) {
      return result.SetError(AlreadyExists("virtual machine", machine->record.name));
    }
    // Whether the guest shut down cleanly is not in the files.
    machine->power = PowerInfo(PowerState::POWERED_OFF);
    Store::Transaction transaction(store);
    store.Remove(kUnregistered, key);
    Save(store, *machine);
    transaction.Commit();
    result.SetResult(machine->id);
  });
}

}  // namespace Machines
}  // namespace Sim
