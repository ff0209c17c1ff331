#pragma once

// The tagging services, one file per group; BindTagging hands them all out.

#include "../module.h"
#include "../result.h"

namespace Sim {
namespace Tagging {

// Categories, tags and every association, read; com.quarn.sim.tagging, which creates the first two.
void BindCatalog(Services const& services, Bound& bound);
// Tags on machines and hosts, from either side.
void BindObjectTags(Services const& services, Bound& bound);
// The free-form labels of com.quarn.nexar.host.tags.
BoundService BindHostLabels(Services const& services);

}  // namespace Tagging
}  // namespace Sim
