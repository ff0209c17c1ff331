#include <opax/core/provider/in_process_provider.h>

#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>

namespace Opax {
namespace Core {
namespace {

void Refuse(std::shared_ptr<AsyncApiResultCb> const& callback, char const* id,
            std::vector<std::string> args) {
  auto error = Data::ErrorValue::GetInstance(ErrorIds::kNotFound, {BaseMessage::Make(id, std::move(args))});
  (*callback)(MethodResult::GetErrorInstance(std::move(error)), Progress());
}

}  // namespace

InProcessProvider::InProcessProvider(Provider::TaskRegistry::Policy policy)
    : tasks_(std::make_shared<Provider::TaskRegistry>(policy)) {
  tables_.push_back(std::make_unique<Routes const>());
  routes_.store(tables_.back().get(), std::memory_order_release);
}

InProcessProvider::~InProcessProvider() = default;

void InProcessProvider::Register(std::shared_ptr<Provider::AsyncApiInterface const> const& service) {
  if (!service || !service->identifier()) return;
  std::lock_guard<std::mutex> lock(registering_);
  auto next = std::make_unique<Routes>(*routes_.load(std::memory_order_acquire));
  (*next)[service->identifier()->name()] = service;
  tables_.push_back(std::move(next));
  routes_.store(tables_.back().get(), std::memory_order_release);
}

std::vector<std::string> InProcessProvider::services() const {
  std::vector<std::string> ids;
  for (auto const& entry : *routes_.load(std::memory_order_acquire)) ids.push_back(entry.first);
  return ids;
}

void InProcessProvider::InvokeAsync(std::shared_ptr<MethodIdentifier const> const& method,
                                    std::shared_ptr<Data::DataValue const> const& input,
                                    std::shared_ptr<AsyncActivation> const& activation,
                                    std::shared_ptr<AsyncApiResultCb> const& callback) {
  if (!callback) return;
  if (!method || !method->interfaceIdentifier()) {
    return Refuse(callback, MessageIds::kUnknownInterface, {""});
  }
  Routes const& routes = *routes_.load(std::memory_order_acquire);
  std::string const& serviceId = method->interfaceIdentifier()->name();
  auto service = routes.find(serviceId);
  if (service == routes.end()) return Refuse(callback, MessageIds::kUnknownInterface, {serviceId});
  std::shared_ptr<Provider::AsyncApiMethod const> served = service->second->Find(method->name());
  if (!served) return Refuse(callback, MessageIds::kUnknownMethod, {serviceId, method->name()});

  // The server gets its own activation, as it would over a wire: it sets its localizer and
  // resource id on it, while the caller may be passing the same activation to other calls.
  std::shared_ptr<AsyncActivation> const own =
      activation ? activation->Dup() : AsyncActivation::GetInstance();
  if (!IsTaskMethod(method->name())) {
    served->Invoke(own, input, callback);
    return;
  }
  // A task: the caller learns its id now; what the implementation reports goes to the registry.
  std::string const id = tasks_->Create(method->FullName());
  (*callback)(MethodResult::GetInstance(Data::DataValue::Create(id)), Progress());
  std::weak_ptr<Provider::TaskRegistry> registry = tasks_;
  served->Invoke(own, input,
                 AsyncApiResultCb::Holding([registry, id](std::shared_ptr<MethodResult const> const& result,
                                                          Progress const& progress) {
                   if (auto tasks = registry.lock()) tasks->Report(id, result, progress);
                 }));
}

}  // namespace Core
}  // namespace Opax
