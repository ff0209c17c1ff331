#include "../module.h"

namespace Sim {

void BindHardware(Services const&, Bound&) {}

}  // namespace Sim
