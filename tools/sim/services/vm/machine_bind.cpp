#include "machine_service.h"
#include "power_service.h"
#include "settings_services.h"

namespace Sim {
namespace Machines {

void BindMachineServices(Services const& services, CopyTiming timing, Bound& bound) {
  auto const& state = services.state;
  auto const& localizer = services.localizer;
  bound.push_back(VmSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<MachineService>(state, timing), localizer));
  bound.push_back(
      Vm::PowerSvc::AsyncServiceBinder::BindImplementation(std::make_shared<PowerService>(state), localizer));
  bound.push_back(Vm::HardwareSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<HardwareService>(state), localizer));
  bound.push_back(Vm::Hardware::CpuSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<CpuService>(state), localizer));
  bound.push_back(Vm::Hardware::MemorySvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<MemoryService>(state), localizer));
  bound.push_back(Vm::Hardware::BootSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<BootService>(state), localizer));
  bound.push_back(Vm::Hardware::Boot::DeviceSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<BootDeviceService>(state), localizer));
}

}  // namespace Machines
}  // namespace Sim
