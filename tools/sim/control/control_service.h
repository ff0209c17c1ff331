#pragma once

#include "../faults/faults.h"
#include "../state/state.h"

#include <opax/core/provider/api_interface.h>

#include <memory>

namespace Sim {

// The control service "com.quarn.sim.control": fault settings and snapshots of the state.
std::shared_ptr<::Opax::Provider::AsyncApiInterface const> BindControl(std::shared_ptr<State> state,
                                                                       std::shared_ptr<Faults> faults);

}  // namespace Sim
