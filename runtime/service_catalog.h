#pragma once

// The run-time catalogue of the services a program carries: every generated service registers
// itself when its library loads, so tools can list services and operations, read each
// operation's definitions, and call any operation generically with data values.

#include <runtime/bind_path.h>
#include <runtime/operation.h>

#include <opax/core/definition/data_definition.h>
#include <opax/core/l10n/localizer.h>
#include <opax/core/provider/api_interface.h>

#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Opax {
namespace Catalog {

struct ServiceEntry {
  char const* id;            // "com.quarn.nexar.vm.hardware.cdrom"
  char const* classPath;     // "Vm::Hardware::CdromSvc", below Com::Quarn::Nexar (the task service: below
                             // Com::Quarn::Cis)
  char const* resourceType;  // Constants::RESOURCE_TYPE, or null
  Binding::OperationDescriptor const* const* operations;  // in slot order
  std::size_t operationCount;

  // The service bound with no implementation: every call, once its input is checked, answers
  // "unsupported", so that a server can serve the whole catalogue, implemented or not.
  std::shared_ptr<Provider::AsyncApiInterface> bindUnsupported(
      std::shared_ptr<L10n::Localizer> const& localizer) const {
    return Binding::BindUnsupported(id, operations, operationCount, localizer);
  }
};

// Registration happens while libraries load; lookups may come from any thread afterwards. Both
// take a lock: the catalogue is for tools and start-up, never on the per-call path.
class ServiceCatalog {
 public:
  static ServiceCatalog& Instance();

  void Add(ServiceEntry const* service);
  // Every registered service, sorted by id.
  std::vector<ServiceEntry const*> services() const;
  ServiceEntry const* Find(std::string const& id) const;
  static Binding::OperationDescriptor const* FindOperation(ServiceEntry const& service,
                                                           std::string const& name);

 private:
  mutable std::mutex mutex_;
  std::vector<ServiceEntry const*> services_;
};

// A static object per generated service: registers it as its library loads.
struct Registration {
  explicit Registration(ServiceEntry const* service) { ServiceCatalog::Instance().Add(service); }
};

}  // namespace Catalog
}  // namespace Opax
