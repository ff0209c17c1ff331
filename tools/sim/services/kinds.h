#pragma once

// The kinds of object the simulated inventory keeps in the store, and what their documents hold.
// Kinds of managed objects are their resource types; per-machine settings are kept under the id of
// their service, one document per machine, with the machine's id as their own.
//
// | kind                                   | id           | parent        | document |
// |----------------------------------------|--------------|---------------|----------------------------------|
// | "VirtualMachine"                       | "vm-N"       | its folder    | the machine's own record (vm/) |
// | "com.quarn.nexar.vm.power"             | machine's id | machine's id  | Vm::PowerSvc::Info | |
// "com.quarn.nexar.vm.hardware.cpu"      | machine's id | machine's id  | Vm::Hardware::CpuSvc::Info       |
// | "com.quarn.nexar.vm.hardware.memory"   | machine's id | machine's id  | Vm::Hardware::MemorySvc::Info |
// | "com.quarn.nexar.vm.hardware.boot"     | machine's id | machine's id  | Vm::Hardware::BootSvc::Info | |
// device resource types (kDeviceKinds)   | per device   | machine's id  | the device service's Info        |
// | inventory resource types (inventory/)  | "<prefix>-N" | its container | the inventory area's records |
//
// Every area reads the others' documents only through the functions they publish
// (hardware/devices.h, inventory/placement.h) or the kinds and ids here.

namespace Sim {
namespace Kinds {

constexpr char kVirtualMachine[] = "VirtualMachine";
constexpr char kPower[] = "com.quarn.nexar.vm.power";
constexpr char kCpu[] = "com.quarn.nexar.vm.hardware.cpu";
constexpr char kMemory[] = "com.quarn.nexar.vm.hardware.memory";
constexpr char kBoot[] = "com.quarn.nexar.vm.hardware.boot";

constexpr char kCdrom[] = "com.quarn.nexar.vm.hardware.Cdrom";
constexpr char kDisk[] = "com.quarn.nexar.vm.hardware.Disk";
constexpr char kEthernet[] = "com.quarn.nexar.vm.hardware.Ethernet";
constexpr char kFloppy[] = "com.quarn.nexar.vm.hardware.Floppy";
constexpr char kParallel[] = "com.quarn.nexar.vm.hardware.ParallelPort";
constexpr char kSerial[] = "com.quarn.nexar.vm.hardware.SerialPort";
constexpr char kNvmeAdapter[] = "com.quarn.nexar.vm.hardware.NvmeAdapter";
constexpr char kSataAdapter[] = "com.quarn.nexar.vm.hardware.SataAdapter";
constexpr char kScsiAdapter[] = "com.quarn.nexar.vm.hardware.ScsiAdapter";
constexpr char const* kDeviceKinds[] = {kCdrom,  kDisk,        kEthernet,    kFloppy,     kParallel,
                                        kSerial, kNvmeAdapter, kSataAdapter, kScsiAdapter};

constexpr char kDatacenter[] = "Datacenter";
constexpr char kFolder[] = "Folder";
constexpr char kCluster[] = "ClusterComputeResource";
constexpr char kHost[] = "HostSystem";
constexpr char kResourcePool[] = "ResourcePool";
constexpr char kDatastore[] = "Datastore";
constexpr char kNetwork[] = "Network";
constexpr char kDistributedSwitch[] = "DistributedVirtualSwitch";

// Tagging (tagging/): categories, tags (parent: their category), one association row per tagged
// object (parent: the object, whatever its kind) and one label row per host label (parent: the
// host), so that removing an object removes what is attached to it by its id alone.
constexpr char kTagCategory[] = "TagCategory";
constexpr char kTag[] = "Tag";
constexpr char kTagAssociation[] = "TagAssociation";
constexpr char kHostLabel[] = "com.quarn.nexar.host.tags";

}  // namespace Kinds
}  // namespace Sim
