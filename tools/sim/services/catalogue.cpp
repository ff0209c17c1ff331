#include "module.h"

#include <runtime/service_catalog.h>

#include <set>
#include <string>

namespace Sim {

Bound BindCatalogue(Services const& services) {
  Bound bound;
  BindVirtualMachines(services, bound);
  BindHardware(services, bound);
  BindInventory(services, bound);
  BindTagging(services, bound);
  std::set<std::string> implemented;
  for (auto const& service : bound) implemented.insert(service->identifier()->name());
  for (::Opax::Catalog::ServiceEntry const* entry : ::Opax::Catalog::ServiceCatalog::Instance().services()) {
    // The session and task services come with the transport, the control service with the
    // simulator: only the catalogue's own are filled in.
    if (std::string(entry->id).rfind("com.quarn.nexar.", 0) != 0) continue;
    if (implemented.count(entry->id)) continue;
    bound.push_back(entry->bindUnsupported(services.localizer));
  }
  return bound;
}

}  // namespace Sim
