#pragma once

// The JSON-RPC 2.0 vocabulary that client and server share.

#include <string>
#include <string_view>

namespace Opax {
namespace Rpc {

// The one endpoint a server answers on.
constexpr char kEndpoint[] = "/rpc";
constexpr char kDiscoverMethod[] = "rpc.discover";

// The reserved error codes of JSON-RPC 2.0, and the one we use for an operation's own errors
// (from the range left to implementations); its `data` is the error value.
enum class RpcCode : int {
  ParseError = -32700,
  InvalidRequest = -32600,
  MethodNotFound = -32601,
  InvalidParams = -32602,
  InternalError = -32603,
  OperationError = -32000,
};

// The method name of an operation: "<service id>/<wire name>", with "$task" for the task form.
std::string RpcMethodName(std::string const& serviceId, std::string const& operation);
// Splits a method name at its last '/'; false when it has no service or no operation part.
bool SplitRpcMethodName(std::string_view method, std::string_view& serviceId, std::string_view& operation);

}  // namespace Rpc
}  // namespace Opax
