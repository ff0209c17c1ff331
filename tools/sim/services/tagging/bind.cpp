#include "services.h"

namespace Sim {

void BindTagging(Services const& services, Bound& bound) {
  Tagging::BindCatalog(services, bound);
  Tagging::BindObjectTags(services, bound);
  bound.push_back(Tagging::BindHostLabels(services));
}

}  // namespace Sim
