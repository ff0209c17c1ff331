#pragma once

// Reading JSON-RPC 2.0 envelopes without building a document: a request body (one call or a
// batch) and a reply body become spans of the original text, so that the params and the result
// are decoded once, straight into values, by the definitions of the called operation.

#include <opax/json/limits.h>
#include <opax/rpc/protocol/json_rpc.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Opax {
namespace Rpc {

// One call of a request. Spans point into the request body.
struct RpcCall {
  // The id as written ("7", "\"a\"", "null"); empty for a notification.
  std::string_view id;
  std::string method;
  // The params value as written; empty when the call has none.
  std::string_view params;
  // Set when this element is not a valid call: the reply is an InvalidRequest error for it.
  char const* invalid = nullptr;
};

struct RpcRequest {
  bool batch = false;
  std::vector<RpcCall> calls;
  // Set when the body is not JSON at all (or breaks a limit): the one reply is a ParseError.
  char const* parseError = nullptr;
};

// Splits a request body into calls. Never fails as a whole except with parseError: a body that
// is JSON but not a valid request gives calls marked invalid, each answered on its own, as
// JSON-RPC 2.0 asks.
RpcRequest ParseRequest(std::string_view body, Json::Limits const& limits);

// One reply of a response. Spans point into the response body.
struct RpcReply {
  std::string_view id;
  bool isError = false;
  std::string_view result;  // the result value as written
  int64_t code = 0;         // an error's code, message and data
  std::string message;
  std::string_view data;
};

// Reads a response body (one reply, or a batch of them); false with `fault` set when it is not
// a JSON-RPC 2.0 response.
bool ParseResponse(std::string_view body, Json::Limits const& limits, std::vector<RpcReply>& replies,
                   std::string& fault);

// Writing. `id` is the id as written in the request ("null" when there was none to read).
void AppendResult(std::string& out, std::string_view id, std::string_view resultJson);
// The same in two steps, for a result encoded straight into `out`: the head up to the result's
// first byte, then the closing brace once the result is written.
void OpenResult(std::string& out, std::string_view id);
inline void CloseResult(std::string& out) { out.push_back('}'); }
void AppendError(std::string& out, std::string_view id, RpcCode code, std::string_view message,
                 std::string_view dataJson = std::string_view());
// Appends `text` as a JSON string, escaped.
void AppendJsonString(std::string& out, std::string_view text);

}  // namespace Rpc
}  // namespace Opax
