#include "../module.h"
#include "machine_service.h"

namespace Sim {

void BindVirtualMachines(Services const& services, Bound& bound) {
  Machines::BindMachineServices(services, Machines::CopyTiming{}, bound);
}

}  // namespace Sim
