#include "../module.h"

namespace Sim {

void BindTagging(Services const&, Bound&) {}

}  // namespace Sim
