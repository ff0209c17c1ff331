#pragma once

#include <opax/core/invocation/activation.h>
#include <opax/core/invocation/identifiers.h>
#include <opax/core/invocation/result_callback.h>

#include <memory>

namespace Opax {
namespace Provider {

// Anything that can carry out an invocation: the in-process provider, or a network client.
// Generated stubs see only this, so a transport changes nothing in generated code.
class ApiProvider {
 public:
  virtual ~ApiProvider() = default;
  // Reports progress any number of times, then exactly one final result, through `callback`,
  // on any thread, before or after returning.
  virtual void InvokeAsync(std::shared_ptr<Core::MethodIdentifier const> const& method,
                           std::shared_ptr<Data::DataValue const> const& input,
                           std::shared_ptr<Core::AsyncActivation> const& activation,
                           std::shared_ptr<Core::AsyncApiResultCb> const& callback) = 0;
};

}  // namespace Provider
}  // namespace Opax
