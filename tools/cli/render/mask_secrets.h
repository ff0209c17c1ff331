#pragma once

#include <opax/core/data/data_value.h>

#include <memory>

namespace Cli {

constexpr char kSecretMask[] = "********";

// `value` with every secret in it replaced by the mask, so that nothing `nexar` prints shows
// one; the value itself when it holds none. Walks with a work list: depth costs heap, not stack.
std::shared_ptr<::Opax::Data::DataValue const> MaskSecrets(
    std::shared_ptr<::Opax::Data::DataValue const> const& value);

}  // namespace Cli
