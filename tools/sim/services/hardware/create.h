#pragma once

// Adding one device or adapter to a machine, with every rule its service's create checks. Shared
// by the services and by a new machine's devices (devices.h). On the state thread, inside the
// caller's transaction; `id` is the new device's on success.

#include "slots.h"

namespace Sim {
namespace Hardware {

ErrorPtr CreateCdrom(Store& store, std::string const& vm, CdromSvc::CreateSpec const& spec, std::string& id);
ErrorPtr CreateDisk(Store& store, std::string const& vm, DiskSvc::CreateSpec const& spec, std::string& id);
ErrorPtr CreateEthernet(Store& store, std::string const& vm, EthernetSvc::CreateSpec const& spec,
                        std::string& id);
ErrorPtr CreateFloppy(Store& store, std::string const& vm, FloppySvc::CreateSpec const& spec,
                      std::string& id);
ErrorPtr CreateSerial(Store& store, std::string const& vm, SerialSvc::CreateSpec const& spec,
                      std::string& id);
ErrorPtr CreateParallel(Store& store, std::string const& vm, ParallelSvc::CreateSpec const& spec,
                        std::string& id);
ErrorPtr CreateSataAdapter(Store& store, std::string const& vm, SataSvc::CreateSpec const& spec,
                           std::string& id);
ErrorPtr CreateScsiAdapter(Store& store, std::string const& vm, ScsiSvc::CreateSpec const& spec,
                           std::string& id);
ErrorPtr CreateNvmeAdapter(Store& store, std::string const& vm, NvmeSvc::CreateSpec const& spec,
                           std::string& id);

// Places a storage device at `request`, adding the adapter that the address needs with its
// defaults, as a server does for a disk asked for on a bus the machine lacks.
ErrorPtr PlaceStorage(Store& store, std::string const& vm, AddressRequest const& request, bool takenInUse,
                      StorageAddress& address);

// A locally administered address for a NIC whose address the server chooses, unused so far by
// any NIC of the inventory.
std::string NewMacAddress(Store& store);

}  // namespace Hardware
}  // namespace Sim
