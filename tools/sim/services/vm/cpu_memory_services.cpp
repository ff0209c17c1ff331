#include "settings_services.h"

#include "../kinds.h"
#include "settings_rules.h"

namespace Sim {
namespace Machines {

void CpuService::Get(std::string const& vm, Activation const&,
                     PlainResult<std::shared_ptr<CpuInfo const>> const& result) {
  GetSetting<CpuInfo>(*state_, Kinds::kCpu, vm, result);
}

void CpuService::Update(std::string const& vm,
                        std::shared_ptr<Vm::Hardware::CpuSvc::UpdateSpec const> const& spec,
                        Activation const&, PlainResult<Void> const& result) {
  ChangeSetting<CpuInfo>(
      *state_, Kinds::kCpu, vm,
      [spec](CpuInfo& info, PowerState::EnumType power) { return ApplyCpu(*spec, power, info); }, result);
}

void MemoryService::Get(std::string const& vm, Activation const&,
                        PlainResult<std::shared_ptr<MemoryInfo const>> const& result) {
  GetSetting<MemoryInfo>(*state_, Kinds::kMemory, vm, result);
}

void MemoryService::Update(std::string const& vm,
                           std::shared_ptr<Vm::Hardware::MemorySvc::UpdateSpec const> const& spec,
                           Activation const&, PlainResult<Void> const& result) {
  ChangeSetting<MemoryInfo>(
      *state_, Kinds::kMemory, vm,
      [spec](MemoryInfo& info, PowerState::EnumType power) { return ApplyMemory(*spec, power, info); },
      result);
}

}  // namespace Machines
}  // namespace Sim
