#pragma once

#include <opax/core/invocation/activation.h>
#include <opax/core/invocation/identifiers.h>
#include <opax/core/invocation/result_callback.h>
#include <opax/core/provider/api_provider.h>

#include <memory>

namespace Opax {
namespace Stub {

// A client's channel: the provider that performs invocations and the activation used when a
// call brings none.
class AsyncApiStub {
 public:
  AsyncApiStub(std::shared_ptr<Provider::ApiProvider> provider,
               std::shared_ptr<Core::AsyncActivation const> defaultActivation =
                   std::make_shared<Core::AsyncActivation>())
      : provider_(std::move(provider)), defaultActivation_(std::move(defaultActivation)) {}
  static std::shared_ptr<AsyncApiStub> GetInstance(std::shared_ptr<Provider::ApiProvider> provider) {
    return std::make_shared<AsyncApiStub>(std::move(provider));
  }

  std::shared_ptr<Provider::ApiProvider> const& provider() const { return provider_; }
  std::shared_ptr<Core::AsyncActivation const> const& defaultActivation() const { return defaultActivation_; }

  void InvokeAsync(std::shared_ptr<Core::MethodIdentifier const> const& method,
                   std::shared_ptr<Data::DataValue const> const& input,
                   std::shared_ptr<Core::AsyncActivation> const& activation,
                   std::shared_ptr<Core::AsyncApiResultCb> const& callback) const {
    provider_->InvokeAsync(method, input, activation, callback);
  }

 private:
  std::shared_ptr<Provider::ApiProvider> provider_;
  std::shared_ptr<Core::AsyncActivation const> defaultActivation_;
};

}  // namespace Stub
}  // namespace Opax
