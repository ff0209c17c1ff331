#pragma once

// The shapes every simulated operation receives, named once.

#include <opax/core/invocation/async_result.h>
#include <opax/core/provider/api_interface.h>

#include <memory>

namespace Sim {

using Activation = std::shared_ptr<::Opax::Core::AsyncActivation>;
template <class T>
using Result = ::Opax::AsyncResult<T, ::Opax::AsyncResultTerminateCbPolicy>;
using BoundService = std::shared_ptr<::Opax::Provider::AsyncApiInterface const>;

// Whether an optional filter set lets `value` through: unset lets everything through.
template <class Set, class Value>
bool Admits(Set const& filter, Value const& value) {
  return !filter || filter->count(value) > 0;
}

}  // namespace Sim
