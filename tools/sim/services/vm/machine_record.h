#pragma once

// A machine's own record (kind "VirtualMachine") and the settings documents kept beside it, read
// and written as one bundle, so that every operation that makes, copies, hides or restores a
// machine handles the same set of documents.

#include "../../state/store.h"

#include <bindings/vm.h>

#include <boost/optional.hpp>

#include <set>
#include <string>
#include <vector>

namespace Sim {
namespace Machines {

using ::Com::Quarn::Nexar::VmSvc;
namespace Vm = ::Com::Quarn::Nexar::Vm;
using CpuInfo = Vm::Hardware::CpuSvc::Info;
using MemoryInfo = Vm::Hardware::MemorySvc::Info;
using BootInfo = Vm::Hardware::BootSvc::Info;
using HardwareInfo = Vm::HardwareSvc::Info;
using PowerInfo = Vm::PowerSvc::Info;
using PowerState = Vm::PowerSvc::State;
using BootDeviceType = Vm::Hardware::Boot::DeviceSvc::Type;

// The kinds this area keeps besides those of kinds.h: the hardware version document, and the
// machines that were unregistered, keyed by their configuration file, for `register`.
constexpr char kHardware[] = "com.quarn.nexar.vm.hardware";
constexpr char kUnregistered[] = "com.quarn.nexar.vm.unregistered";

struct Record {
  std::string name;
  boost::optional<std::string> notes;
  std::string guestOs;
  std::string datacenter;
  std::string folder;
  std::string resourcePool;
  std::string host;
  std::string cluster;  // empty on a standalone host
  std::string datastore;
  std::string path;  // of the configuration file, from the datastore's root
  std::string biosUuid;
  std::string instanceUuid;
  // The boot order as the firmware is told it; the devices are looked up when it is read.
  std::vector<std::string> bootOrder;
};

// Everything a machine is apart from its devices.
struct Machine {
  std::string id;
  Record record;
  PowerInfo power;
  CpuInfo cpu;
  MemoryInfo memory;
  BootInfo boot;
  HardwareInfo hardware;
};

boost::optional<Machine> Load(Store& store, std::string const& id);
// Writes the record under its folder and every settings document.
void Save(Store& store, Machine const& machine);
// Removes the record and the settings documents, not the devices.
void Erase(Store& store, std::string const& id);

// The unregistered machine's bundle is kept under this key.
std::string FileKey(std::string const& datastore, std::string const& path);
void SaveUnregistered(Store& store, Machine const& machine);
boost::optional<Machine> LoadUnregistered(Store& store, std::string const& key);

// Record documents only, for listing without reading every settings document.
Record ReadRecord(std::string const& doc);

std::string NewUuid();
bool NameTaken(Store& store, std::string const& folder, std::string const& name);
// "<name>/<name>.cfg", or with the id appended when another machine uses that path already.
std::string ConfigPath(Store& store, std::string const& datastore, std::string const& name,
                       std::string const& id);

// The ids of `vm`'s devices of `kind`.
std::set<std::string> DeviceIds(Store& store, char const* kind, std::string const& vm);

PowerState::EnumType PowerOf(Store& store, std::string const& id);

}  // namespace Machines
}  // namespace Sim
