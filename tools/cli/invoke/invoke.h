#pragma once

#include <opax/core/invocation/method_result.h>
#include <opax/rpc/client/client.h>
#include <opax/rpc/protocol/operation_table.h>

#include <chrono>
#include <memory>
#include <string>

namespace Cli {

// The operations of the catalogue by "service/op[$task]"; built once per run.
::Opax::Rpc::OperationTable const& Operations();

// Calls `operation` with `input` and waits for its final result, never longer than the client's
// own call timeout and a margin (the client completes every call by then). Never null.
std::shared_ptr<::Opax::Core::MethodResult const> InvokeAndWait(
    ::Opax::Rpc::RpcClient& client, ::Opax::Rpc::OperationDefinitions const& operation,
    std::shared_ptr<::Opax::Data::DataValue const> const& input, std::chrono::seconds timeout);

// Decodes `json` against the operation's input and validates it: false with the messages (each
// naming its JSON path) when it does not fit, before anything is sent.
bool DecodeInput(std::string const& json, ::Opax::Rpc::OperationDefinitions const& operation,
                 std::shared_ptr<::Opax::Data::DataValue const>& input,
                 std::list<::Opax::BaseMessage>& messages);

}  // namespace Cli
