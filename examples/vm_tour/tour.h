#pragma once

// The steps of the tour, in the order main() takes them. Each step prints what it did and what
// came back, and reports a failure with the server's error; a step that needs what a failed one
// would have made is skipped rather than sent.

#include "report.h"
#include "services.h"

#include <string>

namespace VmTour {

// Where the new machine goes: ids found by listing the inventory, not written into the program,
// since every server names its networks and datastores its own way. Empty when none was found.
struct Placement {
  std::string network;
  std::string networkName;
  std::string datastore;
  std::string datastoreName;
};

// inventory.cpp
void ListMachines(Services const& services, Report& report);
Placement FindPlacement(Services const& services, Report& report);

// machine.cpp: returns the new machine's id, or empty when the server refused it.
std::string CreateMachine(Services const& services, Placement const& placement, Report& report);
void AddNetworkAdapter(Services const& services, std::string const& vm, Placement const& placement,
                       Report& report);
void AddCdrom(Services const& services, std::string const& vm, Placement const& placement, Report& report);
void PowerOn(Services const& services, std::string const& vm, Report& report);

// clone.cpp
void CloneAsTask(Services const& services, std::string const& vm, Report& report);

// invalid_union.cpp
void ShowInvalidUnionRefusal(Services const& services, std::string const& vm, Report& report);

}  // namespace VmTour
