#include "../module.h"

namespace Sim {

void BindVirtualMachines(Services const&, Bound&) {}

}  // namespace Sim
