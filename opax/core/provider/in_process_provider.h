#pragma once

#include <opax/core/provider/api_interface.h>
#include <opax/core/provider/api_provider.h>
#include <opax/core/provider/task_registry.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Opax {
namespace Core {

// A provider inside the process: servers register bound services, clients make stubs over it,
// and an invocation goes straight to the served method, no wire in between.
//
// Routing reads an immutable table through one atomic pointer: calls take no lock. Registering
// a service (rare, at start-up) copies the table; the copies are kept until the provider goes,
// so a call that read an older table is never left holding a freed one.
//
// A method invoked as "name$task" starts a task: the caller receives the task's id at once,
// and the task's progress and outcome are recorded in tasks().
class InProcessProvider : public Provider::ApiProvider {
 public:
  explicit InProcessProvider(Provider::TaskRegistry::Policy policy = Provider::TaskRegistry::Policy());
  ~InProcessProvider() override;
  static std::shared_ptr<InProcessProvider> GetInstance() { return std::make_shared<InProcessProvider>(); }

  // Serves `service`, replacing a service registered before under the same id.
  void Register(std::shared_ptr<Provider::AsyncApiInterface const> const& service);
  // The ids of the served services, sorted.
  std::vector<std::string> services() const;

  void InvokeAsync(std::shared_ptr<MethodIdentifier const> const& method,
                   std::shared_ptr<Data::DataValue const> const& input,
                   std::shared_ptr<AsyncActivation> const& activation,
                   std::shared_ptr<AsyncApiResultCb> const& callback) override;

  std::shared_ptr<Provider::TaskRegistry> const& tasks() const { return tasks_; }

 private:
  using Routes = std::map<std::string, std::shared_ptr<Provider::AsyncApiInterface const>>;

  std::atomic<Routes const*> routes_;
  std::mutex registering_;
  std::vector<std::unique_ptr<Routes const>> tables_;
  std::shared_ptr<Provider::TaskRegistry> tasks_;
};

}  // namespace Core
}  // namespace Opax
