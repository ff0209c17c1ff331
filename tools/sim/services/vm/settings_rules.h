#pragma once

// The rules of the machine-wide settings, shared by the services that change them and by create
// and clone, which start from defaults or from the source and apply a caller's changes the same way.

#include "../errors.h"
#include "machine_record.h"

namespace Sim {
namespace Machines {

CpuInfo DefaultCpu();
MemoryInfo DefaultMemory();
BootInfo DefaultBoot();
HardwareInfo DefaultHardware(Vm::HardwareSvc::Version version);
// The newest version the simulated hosts run.
Vm::HardwareSvc::Version NewestVersion();

// Each applies the requested changes to `info` in the machine's power state and answers the first rule broken
// (InvalidArgument for values out of range, NotAllowedInCurrentState for changes that a running
// machine does not take); `info` is left as it was then.
ErrorPtr ApplyCpu(Vm::Hardware::CpuSvc::UpdateSpec const& spec, PowerState::EnumType power, CpuInfo& info);
ErrorPtr ApplyMemory(Vm::Hardware::MemorySvc::UpdateSpec const& spec, PowerState::EnumType power,
                     MemoryInfo& info);
ErrorPtr ApplyBoot(Vm::Hardware::BootSvc::UpdateSpec const& spec, PowerState::EnumType power, BootInfo& info);
ErrorPtr CheckBootOrder(std::vector<std::string> const& order);

}  // namespace Machines
}  // namespace Sim
