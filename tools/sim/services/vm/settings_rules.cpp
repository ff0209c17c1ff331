#include "settings_rules.h"

#include <set>

namespace Sim {
namespace Machines {
namespace {

using CpuSpec = Vm::Hardware::CpuSvc::UpdateSpec;
using MemorySpec = Vm::Hardware::MemorySvc::UpdateSpec;
using BootSpec = Vm::Hardware::BootSvc::UpdateSpec;
using BootType = Vm::Hardware::BootSvc::Type;

constexpr int64_t kMaxCpus = 128;
constexpr int64_t kMaxMemoryMiB = 16 * 1024 * 1024;
constexpr int64_t kHotAddIncrementMiB = 128;
// How far hot add may take memory beyond the size the machine was given when it powered on.
constexpr int64_t kHotAddFactor = 16;

ErrorPtr Invalid(char const* id, std::string const& text, std::vector<std::string> args = {}) {
  return InvalidArgument(Say(id, text, std::move(args)));
}

ErrorPtr Refused(char const* id, std::string const& text) { return NotAllowedInCurrentState(Say(id, text)); }

void SetHotAddLimits(MemoryInfo& info) {
  if (info.hotAddEnabled()) {
    info.hotAddIncrementSizeMiB(kHotAddIncrementMiB)
        .hotAddLimitMiB(std::min(kMaxMemoryMiB, info.sizeMiB() * kHotAddFactor));
  } else {
    info.hotAddIncrementSizeMiB(boost::none).hotAddLimitMiB(boost::none);
  }
}

}  // namespace

CpuInfo DefaultCpu() { return CpuInfo(1, 1, false, false); }

MemoryInfo DefaultMemory() {
  MemoryInfo info(1024, false);
  SetHotAddLimits(info);
  return info;
}

BootInfo DefaultBoot() { return BootInfo(BootType::BIOS, 0, false, 10000, false); }

Vm::HardwareSvc::Version NewestVersion() { return Vm::HardwareSvc::Version::V16; }

HardwareInfo DefaultHardware(Vm::HardwareSvc::Version version) {
  return HardwareInfo(version, Vm::HardwareSvc::UpgradePolicy::NEVER, Vm::HardwareSvc::UpgradeStatus::NONE);
}

ErrorPtr ApplyCpu(CpuSpec const& spec, PowerState::EnumType power, CpuInfo& info) {
  CpuInfo next = info;
  if (spec.count()) next.count(*spec.count());
  if (spec.coresPerSocket()) next.coresPerSocket(*spec.coresPerSocket());
  if (spec.hotAddEnabled()) next.hotAddEnabled(*spec.hotAddEnabled());
  if (spec.hotRemoveEnabled()) next.hotRemoveEnabled(*spec.hotRemoveEnabled());
  if (next.count() < 1 || next.count() > kMaxCpus) {
    return Invalid("nexar.sim.vm.cpu.count", "A machine has 1 to {0} virtual processors, not {1}.",
                   {std::to_string(kMaxCpus), std::to_string(next.count())});
  }
  if (next.coresPerSocket() < 1 || next.count() % next.coresPerSocket() != 0) {
    return Invalid("nexar.sim.vm.cpu.cores", "{0} processors cannot be divided into sockets of {1} cores.",
                   {std::to_string(next.count()), std::to_string(next.coresPerSocket())});
  }
  if (power != PowerState::POWERED_OFF) {
    bool const changed = next.count() != info.count() || next.coresPerSocket() != info.coresPerSocket() ||
                         next.hotAddEnabled() != info.hotAddEnabled() ||
                         next.hotRemoveEnabled() != info.hotRemoveEnabled();
    if (power == PowerState::SUSPENDED && changed) {
      return Refused("nexar.sim.vm.cpu.suspended",
                     "The processors of a suspended machine cannot be changed.");
    }
    if (next.hotAddEnabled() != info.hotAddEnabled() || next.hotRemoveEnabled() != info.hotRemoveEnabled() ||
        next.coresPerSocket() != info.coresPerSocket()) {
      return Refused("nexar.sim.vm.cpu.running",
                     "Hot plugging and the socket layout change only while the machine is off.");
    }
    if (next.count() > info.count() && !info.hotAddEnabled()) {
      return Refused("nexar.sim.vm.cpu.hot_add",
                     "Processors are added to a running machine only with hot add enabled.");
    }
    if (next.count() < info.count() && !info.hotRemoveEnabled()) {
      return Refused("nexar.sim.vm.cpu.hot_remove",
                     "Processors are removed from a running machine only with hot remove enabled.");
    }
  }
  info = next;
  return nullptr;
}

ErrorPtr ApplyMemory(MemorySpec const& spec, PowerState::EnumType power, MemoryInfo& info) {
  MemoryInfo next = info;
  if (spec.sizeMiB()) next.sizeMiB(*spec.sizeMiB());
  if (spec.hotAddEnabled()) next.hotAddEnabled(*spec.hotAddEnabled());
  if (next.sizeMiB() < 4 || next.sizeMiB() > kMaxMemoryMiB || next.sizeMiB() % 4 != 0) {
    return Invalid("nexar.sim.vm.memory.size",
                   "Memory is a multiple of 4 MiB from 4 MiB to {0} MiB, not {1} MiB.",
                   {std::to_string(kMaxMemoryMiB), std::to_string(next.sizeMiB())});
  }
  if (power != PowerState::POWERED_OFF) {
    if (power == PowerState::SUSPENDED &&
        (next.sizeMiB() != info.sizeMiB() || next.hotAddEnabled() != info.hotAddEnabled())) {
      return Refused("nexar.sim.vm.memory.suspended", "The memory of a suspended machine cannot be changed.");
    }
    if (next.hotAddEnabled() != info.hotAddEnabled()) {
      return Refused("nexar.sim.vm.memory.hot_add_setting",
                     "Memory hot add is switched only while the machine is off.");
    }
    if (next.sizeMiB() < info.sizeMiB()) {
      return Refused("nexar.sim.vm.memory.shrink", "The memory of a running machine cannot shrink.");
    }
    if (next.sizeMiB() > info.sizeMiB()) {
      if (!info.hotAddEnabled()) {
        return Refused("nexar.sim.vm.memory.hot_add",
                       "Memory is added to a running machine only with hot add enabled.");
      }
      if ((next.sizeMiB() - info.sizeMiB()) % kHotAddIncrementMiB != 0 ||
          next.sizeMiB() > info.hotAddLimitMiB().value_or(0)) {
        return Invalid(
            "nexar.sim.vm.memory.hot_add_step", "Memory is hot added in steps of {0} MiB up to {1} MiB.",
            {std::to_string(kHotAddIncrementMiB), std::to_string(info.hotAddLimitMiB().value_or(0))});
      }
      // The limit was fixed when the machine powered on.
      info.sizeMiB(next.sizeMiB());
      return nullptr;
    }
  }
  SetHotAddLimits(next);
  info = next;
  return nullptr;
}

ErrorPtr ApplyBoot(BootSpec const& spec, PowerState::EnumType power, BootInfo& info) {
  BootInfo next = info;
  if (spec.type() && *spec.type() != info.type()) {
    if (power != PowerState::POWERED_OFF) {
      return Refused("nexar.sim.vm.boot.firmware", "The firmware changes only while the machine is off.");
    }
    next.type(*spec.type());
    bool const efi = next.type() == BootType::EFI;
    next.efiLegacyBoot(efi ? boost::optional<bool>(false) : boost::none);
    next.networkProtocol(efi ? boost::optional<Vm::Hardware::BootSvc::NetworkProtocol>(
                                   Vm::Hardware::BootSvc::NetworkProtocol::IPV4)
                             : boost::none);
  }
  if ((spec.efiLegacyBoot() || spec.networkProtocol()) && next.type() != BootType::EFI) {
    return Invalid("nexar.sim.vm.boot.efi_only",
                   "Legacy boot and the network protocol are settings of EFI firmware.");
  }
  if (spec.efiLegacyBoot()) next.efiLegacyBoot(*spec.efiLegacyBoot());
  if (spec.networkProtocol()) next.networkProtocol(*spec.networkProtocol());
  if (spec.delay()) next.delay(*spec.delay());
  if (spec.retry()) next.retry(*spec.retry());
  if (spec.retryDelay()) next.retryDelay(*spec.retryDelay());
  if (spec.enterSetupMode()) next.enterSetupMode(*spec.enterSetupMode());
  if (next.delay() < 0 || next.retryDelay() < 0) {
    return Invalid("nexar.sim.vm.boot.delay", "Boot delays are milliseconds and cannot be negative.");
  }
  info = next;
  return nullptr;
}

ErrorPtr CheckBootOrder(std::vector<std::string> const& order) {
  std::set<std::string> seen;
  for (auto const& type : order) {
    if (BootDeviceType::FromText(type) == BootDeviceType::_UNKNOWN) {
      return Invalid("nexar.sim.vm.boot.device.type", "'{0}' is not a kind of boot device.", {type});
    }
    if (!seen.insert(type).second) {
      return Invalid("nexar.sim.vm.boot.device.twice", "The boot order names {0} twice.", {type});
    }
  }
  return nullptr;
}

}  // namespace Machines
}  // namespace Sim
