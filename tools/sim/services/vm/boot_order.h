#pragma once

// The boot order is kept as the kinds of device the firmware tries; which disks and which network
// adapter that means is looked up when it is read, so that it follows the devices as they change.

#include "machine_record.h"

#include <list>
#include <memory>
#include <string>
#include <vector>

namespace Sim {
namespace Machines {

std::list<std::shared_ptr<Vm::Hardware::Boot::DeviceSvc::Entry const>> BootEntries(
    Store& store, std::string const& vm, std::vector<std::string> const& order);

}  // namespace Machines
}  // namespace Sim
