#pragma once

// What the machine lifecycle asks of the hardware area: a new machine's devices from its create
// spec, a clone's copies of its source's devices, and their removal with the machine. All on the
// state thread, inside the calling operation's transaction.

#include "../../state/store.h"
#include "../errors.h"

#include <bindings/vm.h>

#include <set>
#include <string>

namespace Sim {
namespace Devices {

// Adds every device and storage adapter that `spec` lists to machine `vm` (adapters first, then
// the devices that need them; adapters that disks need but the spec does not list are added),
// checking each as its service's create would. The first fault is returned and nothing is kept
// (the caller's transaction rolls back).
ErrorPtr AddFromSpec(Store& store, std::string const& vm, ::Com::Quarn::Nexar::VmSvc::CreateSpec const& spec);

// Gives `target` a copy of every device of `source` under new ids, leaving out the disks named in
// `disksToRemove`; a copied network adapter with a generated MAC address gets a new one.
ErrorPtr Copy(Store& store, std::string const& source, std::string const& target,
              std::set<std::string> const& disksToRemove);

// Removes every device of `vm`.
void RemoveAll(Store& store, std::string const& vm);

}  // namespace Devices
}  // namespace Sim
