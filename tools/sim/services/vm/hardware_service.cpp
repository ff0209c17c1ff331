#include "settings_services.h"

#include "settings_rules.h"

namespace Sim {
namespace Machines {
namespace {

using HardwareSvc = Vm::HardwareSvc;
using Version = HardwareSvc::Version;

ErrorPtr CheckVersion(Version version, Version current) {
  if (version == Version::_UNKNOWN) {
    return Unsupported(Say("nexar.sim.vm.hardware.version_unknown",
                           "The hosts do not run hardware version '{0}'.", {version.text()}));
  }
  if (version < current) {
    return InvalidArgument(
        Say("nexar.sim.vm.hardware.downgrade",
            "Hardware version {0} is older than the machine's {1}; versions are never lowered.",
            {version.text(), current.text()}));
  }
  return nullptr;
}

ErrorPtr Schedule(HardwareSvc::UpdateSpec const& spec, HardwareInfo& info) {
  if (!spec.upgradePolicy()) return nullptr;
  HardwareSvc::UpgradePolicy const policy = *spec.upgradePolicy();
  if (policy == HardwareSvc::UpgradePolicy::NEVER) {
    info.upgradePolicy(policy)
        .upgradeVersion(boost::none)
        .upgradeStatus(HardwareSvc::UpgradeStatus::NONE)
        .upgradeError(boost::none);
    return nullptr;
  }
  if (policy == HardwareSvc::UpgradePolicy::_UNKNOWN) {
    return InvalidArgument(
        Say("nexar.sim.vm.hardware.policy_unknown", "'{0}' is not an upgrade policy.", {policy.text()}));
  }
  Version const version = spec.upgradeVersion().value_or(NewestVersion());
  if (auto error = CheckVersion(version, info.version())) return error;
  info.upgradePolicy(policy)
      .upgradeVersion(version)
      .upgradeStatus(HardwareSvc::UpgradeStatus::PENDING)
      .upgradeError(boost::none);
  return nullptr;
}

}  // namespace

void HardwareService::Get(std::string const& vm, Activation const&,
                          PlainResult<std::shared_ptr<HardwareInfo const>> const& result) {
  GetSetting<HardwareInfo>(*state_, kHardware, vm, result);
}

void HardwareService::Update(std::string const& vm,
                             std::shared_ptr<HardwareSvc::UpdateSpec const> const& spec, Activation const&,
                             PlainResult<Void> const& result) {
  ChangeSetting<HardwareInfo>(
      *state_, kHardware, vm,
      [spec](HardwareInfo& info, PowerState::EnumType) { return Schedule(*spec, info); }, result);
}

void HardwareService::Upgrade(std::string const& vm, boost::optional<Version> const& version,
                              Activation const&, PlainResult<Void> const& result) {
  ChangeSetting<HardwareInfo>(
      *state_, kHardware, vm,
      [version](HardwareInfo& info, PowerState::EnumType power) -> ErrorPtr {
        if (power != PowerState::POWERED_OFF) {
          return NotAllowedInCurrentState(
              Say("nexar.sim.vm.hardware.upgrade_running",
                  "The hardware is upgraded only while the machine is powered off."));
        }
        Version const target = version.value_or(NewestVersion());
        if (target == info.version()) {
          return AlreadyInDesiredState(Say("nexar.sim.vm.hardware.current",
                                           "The machine has hardware version {0} already.", {target.text()}));
        }
        if (auto error = CheckVersion(target, info.version())) return error;
        info.version(target).upgradePolicy(HardwareSvc::UpgradePolicy::NEVER).upgradeVersion(boost::none);
        info.upgradeStatus(HardwareSvc::UpgradeStatus::NONE).upgradeError(boost::none);
        return nullptr;
      },
      result);
}

}  // namespace Machines
}  // namespace Sim
