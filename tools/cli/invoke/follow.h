#pragma once

#include <opax/core/invocation/method_result.h>
#include <opax/rpc/client/client.h>

#include <memory>
#include <string>

namespace Cli {

// Waits for task `taskId` to end, showing its progress as a bar when stdout is a terminal, as lines
// otherwise, and returns its final result typed by `output` (the
// operation's result definition; null to find it in the catalogue).
std::shared_ptr<::Opax::Core::MethodResult const> FollowWithProgress(
    ::Opax::Rpc::RpcClient& client, std::string const& taskId,
    std::shared_ptr<::Opax::Data::DataDefinition const> const& output);

}  // namespace Cli
