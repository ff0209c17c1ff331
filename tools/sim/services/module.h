#pragma once

// What an area of simulated services gets to build its implementations, and the areas there are.
// Each area binds its implementations through their generated binders and hands them back; every
// service that no area implements is bound to its binder's "unsupported" implementation, so that
// every operation of the catalogue is served and described.

#include "../state/state.h"

#include <opax/core/l10n/localizer.h>
#include <opax/core/provider/api_interface.h>

#include <memory>
#include <vector>

namespace Sim {

struct Services {
  std::shared_ptr<State> state;
  std::shared_ptr<::Opax::L10n::Localizer> localizer;
};

using Bound = std::vector<std::shared_ptr<::Opax::Provider::AsyncApiInterface const>>;

// Virtual machines: lifecycle, power, and the machine-wide hardware settings (boot, boot order,
// CPU, memory, hardware version).
void BindVirtualMachines(Services const& services, Bound& bound);
// A machine's devices and storage adapters: bus and unit allocation, backings, connection state.
void BindHardware(Services const& services, Bound& bound);
// Datacenters, folders, clusters, hosts, resource pools, datastores, networks.
void BindInventory(Services const& services, Bound& bound);
// Categories, tags and their associations.
void BindTagging(Services const& services, Bound& bound);

// Every service of the run-time catalogue: the areas' implementations, "unsupported" for the rest.
Bound BindCatalogue(Services const& services);

}  // namespace Sim
