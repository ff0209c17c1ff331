#include "common.h"

namespace Sim {
namespace Hardware {

DeviceKind const kCdromKind{Kinds::kCdrom, "CD-ROM", "cdrom", "CD/DVD drive"};
DeviceKind const kDiskKind{Kinds::kDisk, "disk", "disk", "Hard disk"};
DeviceKind const kEthernetKind{Kinds::kEthernet, "network adapter", "nic", "Network adapter"};
DeviceKind const kFloppyKind{Kinds::kFloppy, "floppy drive", "floppy", "Floppy drive"};
DeviceKind const kSerialKind{Kinds::kSerial, "serial port", "serial", "Serial port"};
DeviceKind const kParallelKind{Kinds::kParallel, "parallel port", "parallel", "Parallel port"};
DeviceKind const kSataKind{Kinds::kSataAdapter, "SATA adapter", "sata", "SATA controller"};
DeviceKind const kScsiKind{Kinds::kScsiAdapter, "SCSI adapter", "scsi", "SCSI controller"};
DeviceKind const kNvmeKind{Kinds::kNvmeAdapter, "NVMe adapter", "nvme", "NVMe controller"};

PowerSvc::State PowerState(Store& store, std::string const& vm) {
  auto power = Load<PowerSvc::Info>(store, Kinds::kPower, vm);
  return power ? power->state() : PowerSvc::State(PowerSvc::State::POWERED_OFF);
}

bool Running(Store& store, std::string const& vm) {
  return PowerState(store, vm) != PowerSvc::State::POWERED_OFF;
}

ErrorPtr NeedsPoweredOff(Store& store, std::string const& vm, std::string const& action) {
  if (!Running(store, vm)) return nullptr;
  return NotAllowedInCurrentState(Say("nexar.sim.hardware.needs_powered_off",
                                      "The virtual machine '{0}' must be powered off to {1}.", {vm, action}));
}

std::string FirstFreeLabel(DeviceKind const& kind, std::set<std::string> const& taken) {
  // Among 1..size+1 one number is always free.
  for (std::size_t n = 1; n <= taken.size(); ++n) {
    std::string label = std::string(kind.labelPrefix) + " " + std::to_string(n);
    if (!taken.count(label)) return label;
  }
  return std::string(kind.labelPrefix) + " " + std::to_string(taken.size() + 1);
}

}  // namespace Hardware
}  // namespace Sim
