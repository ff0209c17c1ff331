#include "power_service.h"

#include "../kinds.h"
#include "setting_jobs.h"

namespace Sim {
namespace Machines {
namespace {

using HardwareSvc = Vm::HardwareSvc;

// A pending upgrade with policy ALWAYS happens at any power-off; AFTER_CLEAN_SHUTDOWN waits for
// the guest to shut itself down, which cutting power is not.
void UpgradeAtPowerOff(Store& store, std::string const& vm) {
  auto row = store.Get(kHardware, vm);
  if (!row) return;
  auto hardware = FromDocument<HardwareInfo>(row->doc);
  if (hardware.upgradeStatus() != HardwareSvc::UpgradeStatus::PENDING ||
      hardware.upgradePolicy() != HardwareSvc::UpgradePolicy::ALWAYS || !hardware.upgradeVersion()) {
    return;
  }
  hardware.version(*hardware.upgradeVersion()).upgradeStatus(HardwareSvc::UpgradeStatus::SUCCESS);
  store.Put({kHardware, vm, vm, ToDocument(hardware)});
}

ErrorPtr Already(char const* id, std::string const& text, std::string const& vm) {
  return AlreadyInDesiredState(Say(id, text, {vm}));
}
ErrorPtr Refused(char const* id, std::string const& text, std::string const& vm) {
  return NotAllowedInCurrentState(Say(id, text, {vm}));
}

// The next power state, or the error that the current one answers.
ErrorPtr Transition(PowerOperation operation, std::string const& vm, PowerState::EnumType current,
                    PowerState::EnumType& next) {
  switch (operation) {
    case PowerOperation::START:
      next = PowerState::POWERED_ON;
      return current == PowerState::POWERED_ON
                 ? Already("nexar.sim.vm.power.running", "Virtual machine '{0}' is running already.", vm)
                 : nullptr;
    case PowerOperation::STOP:
      next = PowerState::POWERED_OFF;
      return current == PowerState::POWERED_OFF
                 ? Already("nexar.sim.vm.power.off", "Virtual machine '{0}' is powered off already.", vm)
                 : nullptr;
    case PowerOperation::SUSPEND:
      next = PowerState::SUSPENDED;
      if (current == PowerState::SUSPENDED)
        return Already("nexar.sim.vm.power.suspended", "Virtual machine '{0}' is suspended already.", vm);
      return current == PowerState::POWERED_OFF
                 ? Refused("nexar.sim.vm.power.suspend_off",
                           "Virtual machine '{0}' is powered off and cannot be suspended.", vm)
                 : nullptr;
    case PowerOperation::RESET:
      next = current;
      return current != PowerState::POWERED_ON
                 ? Refused("nexar.sim.vm.power.reset_not_running",
                           "Virtual machine '{0}' is not running and cannot be reset.", vm)
                 : nullptr;
  }
  return nullptr;
}

}  // namespace

void PowerService::Get(std::string const& vm, Activation const&,
                       PlainResult<std::shared_ptr<PowerInfo const>> const& result) {
  GetSetting<PowerInfo>(*state_, Kinds::kPower, vm, result);
}

void PowerService::Change(std::string const& vm, PowerOperation operation,
                          PlainResult<::Opax::Void> const& result) {
  state_->Run([vm, operation, result](Store& store) {
    auto row = store.Get(Kinds::kPower, vm);
    if (!row) return result.SetError(NotFound("virtual machine", vm));
    auto const current = FromDocument<PowerInfo>(row->doc).state();
    PowerState::EnumType next = current;
    if (ErrorPtr error = Transition(operation, vm, current, next)) return result.SetError(error);
    PowerInfo info(next);
    if (next == PowerState::POWERED_OFF) info.cleanPowerOff(false);
    Store::Transaction transaction(store);
    store.Put({Kinds::kPower, vm, vm, ToDocument(info)});
    if (next == PowerState::POWERED_OFF) UpgradeAtPowerOff(store, vm);
    transaction.Commit();
    result.SetResult(::Opax::Void());
  });
}

}  // namespace Machines
}  // namespace Sim
