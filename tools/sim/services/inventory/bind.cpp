#include "../module.h"

namespace Sim {

void BindInventory(Services const&, Bound&) {}

}  // namespace Sim
