#pragma once

// What a generated service header needs beyond its types: result objects, activations, the
// runtime stub, providers, localisation, and the operation descriptors.

#include <opax/core/invocation/activation.h>
#include <opax/core/invocation/api_stub.h>
#include <opax/core/invocation/async_result.h>
#include <opax/core/l10n/localizer.h>
#include <opax/core/provider/api_interface.h>
#include <runtime/bind_path.h>
#include <runtime/call_path.h>
#include <runtime/operation.h>
#include <runtime/service_catalog.h>
