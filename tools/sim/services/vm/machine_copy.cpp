#include "machine_service.h"

#include "../hardware/devices.h"
#include "../kinds.h"
#include "copy_steps.h"
#include "machine_placement.h"
#include "settings_rules.h"

namespace Sim {
namespace Machines {
namespace {

ErrorPtr CheckNicUpdates(
    Store& store, std::string const& vm,
    boost::optional<std::list<std::shared_ptr<VmSvc::NicUpdateSpec const>>> const& nics) {
  if (!nics) return nullptr;
  for (auto const& nic : *nics) {
    if (auto error = CheckDeviceOf(store, Kinds::kEthernet, "network adapter", vm, nic->nic())) return error;
  }
  return nullptr;
}

// The copy as the caller asks for it, not yet given an id.
ErrorPtr DescribeClone(Store& store, VmSvc::CloneSpec const& spec, Machine const& source, Machine& copy,
                       std::set<std::string>& disksToRemove) {
  copy = source;
  copy.record.name = spec.name();
  if (spec.notes()) copy.record.notes = spec.notes();
  copy.record.bootOrder = source.record.bootOrder;
  Inventory::Placement placement;
  if (auto error = Inventory::ResolvePlacement(
          store, RequestFor(spec.placement().get().get(), &source.record), placement)) {
    return error;
  }
  Place(copy.record, placement);
  if (NameTaken(store, copy.record.folder, copy.record.name))
    return AlreadyExists("virtual machine", copy.record.name);
  if (auto error = CheckDiskPlacements(store, source.id, spec.disks())) return error;
  if (auto const& hardware = spec.hardwareCustomization()) {
    if (auto error = CheckNicUpdates(store, source.id, hardware->nics())) return error;
    for (auto const& disk : hardware->disksToRemove().value_or(std::set<std::string>())) {
      if (auto error = CheckDeviceOf(store, Kinds::kDisk, "disk", source.id, disk)) return error;
      disksToRemove.insert(disk);
    }
    if (hardware->cpu()) {
      if (auto error = ApplyCpu(*hardware->cpu(), PowerState::POWERED_OFF, copy.cpu)) return error;
    }
    if (hardware->memory()) {
      if (auto error = ApplyMemory(*hardware->memory(), PowerState::POWERED_OFF, copy.memory)) return error;
    }
  }
  copy.power = PowerInfo(spec.powerOn().value_or(false) ? PowerState::POWERED_ON : PowerState::POWERED_OFF);
  return nullptr;
}

// Gives `copy` its id and files and writes it with copies of `source`'s devices.
ErrorPtr Materialize(Store& store, std::string const& source, Machine& copy,
                     std::set<std::string> const& disksToRemove,
                     boost::optional<std::string> const& biosUuid) {
  copy.id = store.NewId("vm");
  copy.record.path = ConfigPath(store, copy.record.datastore, copy.record.name, copy.id);
  copy.record.biosUuid = biosUuid.value_or(NewUuid());
  copy.record.instanceUuid = NewUuid();
  Save(store, copy);
  return Devices::Copy(store, source, copy.id, disksToRemove);
}

}  // namespace

void MachineService::Clone(std::shared_ptr<VmSvc::CloneSpec const> const& spec, Activation const&,
                           TaskResult<std::string> const& result) {
  state_->Run([state = state_.get(), timing = timing_, busy = busy_, spec, result](Store& store) {
    auto source = Load(store, spec->source());
    if (!source) return result.SetError(NotFound("virtual machine", spec->source()));
    if (auto error = BusyError(*busy, source->id)) return result.SetError(error);
    // A running source is copied as it is now, not as it is when the copy is written.
    auto copy = std::make_shared<Machine>();
    std::set<std::string> disksToRemove;
    if (auto error = DescribeClone(store, *spec, *source, *copy, disksToRemove))
      return result.SetError(error);
    CopySteps<std::string>::Start(
        *state, timing, busy, source->id, "Copying virtual machine " + source->record.name, result,
        [copy, disksToRemove, source = source->id](Store& later, TaskResult<std::string> const& done) {
          // The folder may have gained a machine of that name while the copy was made.
          if (NameTaken(later, copy->record.folder, copy->record.name)) {
            return done.SetError(AlreadyExists("virtual machine", copy->record.name));
          }
          Store::Transaction transaction(later);
          if (auto error = Materialize(later, source, *copy, disksToRemove, boost::none))
            return done.SetError(error);
          transaction.Commit();
          done.SetResult(copy->id);
        });
  });
}

void MachineService::Relocate(std::string const& vm, std::shared_ptr<VmSvc::RelocateSpec const> const& spec,
                              Activation const&, TaskResult<::Opax::Void> const& result) {
  state_->Run([state = state_.get(), timing = timing_, busy = busy_, vm, spec, result](Store& store) {
    auto machine = Load(store, vm);
    if (!machine) return result.SetError(NotFound("virtual machine", vm));
    if (auto error = BusyError(*busy, vm)) return result.SetError(error);
    Inventory::Placement placement;
    if (auto error = Inventory::ResolvePlacement(
            store, RequestFor(spec->placement().get().get(), &machine->record), placement)) {
      return result.SetError(error);
    }
    if (auto error = CheckDiskPlacements(store, vm, spec->disks())) return result.SetError(error);
    CopySteps<::Opax::Void>::Start(*state, timing, busy, vm, "Moving virtual machine " + machine->record.name,
                                   result,
                                   [vm, placement](Store& later, TaskResult<::Opax::Void> const& done) {
                                     // Its power may have changed meanwhile: only the placement moves.
                                     auto moved = Load(later, vm);
                                     if (!moved) return done.SetError(NotFound("virtual machine", vm));
                                     Place(moved->record, placement);
                                     Store::Transaction transaction(later);
                                     Save(later, *moved);
                                     transaction.Commit();
                                     done.SetResult(::Opax::Void());
                                   });
  });
}

void MachineService::InstantClone(std::shared_ptr<VmSvc::InstantCloneSpec const> const& spec,
                                  Activation const&, Result<std::string> const& result) {
  state_->Run([spec, result](Store& store) {
    auto source = Load(store, spec->source());
    if (!source) return result.SetError(NotFound("virtual machine", spec->source()));
    if (source->power.state() != PowerState::POWERED_ON) {
      return result.SetError(NotAllowedInCurrentState(
          Say("nexar.sim.vm.instant_clone.not_running",
              "Virtual machine '{0}' must be running to be instantly cloned.", {source->record.name})));
    }
    if (auto error = CheckNicUpdates(store, source->id, spec->nicsToUpdate())) return result.SetError(error);
    // It runs from the source's memory, so on the source's host.
    Inventory::PlacementRequest request;
    auto const& wanted = spec->placement();
    request.folder = wanted && wanted->folder() ? wanted->folder() : source->record.folder;
    request.resourcePool =
        wanted && wanted->resourcePool() ? wanted->resourcePool() : source->record.resourcePool;
    request.datastore = wanted && wanted->datastore() ? wanted->datastore() : source->record.datastore;
    request.host = source->record.host;
    if (!source->record.cluster.empty()) request.cluster = source->record.cluster;
    Inventory::Placement placement;
    if (auto error = Inventory::ResolvePlacement(store, request, placement)) return result.SetError(error);
    Machine copy = *source;
    copy.record.name = spec->name();
    Place(copy.record, placement);
    if (NameTaken(store, copy.record.folder, copy.record.name)) {
      return result.SetError(AlreadyExists("virtual machine", copy.record.name));
    }
    copy.power = PowerInfo(PowerState::POWERED_ON);
    Store::Transaction transaction(store);
    if (auto error = Materialize(store, source->id, copy, {}, spec->biosUuid()))
      return result.SetError(error);
    transaction.Commit();
    result.SetResult(copy.id);
  });
}

}  // namespace Machines
}  // namespace Sim
