#include <runtime/service_catalog.h>

#include <algorithm>
#include <cstring>

namespace Opax {
namespace Catalog {

ServiceCatalog& ServiceCatalog::Instance() {
  static ServiceCatalog catalog;
  return catalog;
}

void ServiceCatalog::Add(ServiceEntry const* service) {
  if (service == nullptr) return;
  std::lock_guard<std::mutex> lock(mutex_);
  auto at = std::lower_bound(
      services_.begin(), services_.end(), service,
      [](ServiceEntry const* a, ServiceEntry const* b) { return std::strcmp(a->id, b->id) < 0; });
  if (at != services_.end() && std::strcmp((*at)->id, service->id) == 0) {
    *at = service;  // a library loaded twice registers the same service again
  } else {
    services_.insert(at, service);
  }
}

std::vector<ServiceEntry const*> ServiceCatalog::services() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return services_;
}

ServiceEntry const* ServiceCatalog::Find(std::string const& id) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto at = std::lower_bound(
      services_.begin(), services_.end(), id,
      [](ServiceEntry const* a, std::string const& b) { return std::strcmp(a->id, b.c_str()) < 0; });
  return at != services_.end() && id == (*at)->id ? *at : nullptr;
}

Binding::OperationDescriptor const* ServiceCatalog::FindOperation(ServiceEntry const& service,
                                                                  std::string const& name) {
  for (std::size_t i = 0; i < service.operationCount; ++i) {
    if (name == service.operations[i]->name) return service.operations[i];
  }
  return nullptr;
}

}  // namespace Catalog
}  // namespace Opax
