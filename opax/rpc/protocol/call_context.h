#pragma once

// What travels with every call besides its input, and where a server-side implementation finds it
// on its activation. Over HTTP the client sends it as headers; the server puts it into the
// activation's context under these keys (the locale goes into the activation's request localizer).

namespace Opax {
namespace Rpc {

// HTTP headers of a call.
constexpr char kSessionHeader[] = "Authorization";  // "Bearer <session token>"
constexpr char kBearerPrefix[] = "Bearer ";
constexpr char kRequestIdHeader[] = "X-Request-Id";  // chosen by the caller, or made by the server
// The language of messages comes as the standard Accept-Language header.

// Keys of AsyncActivation::context() on the server side.
constexpr char kContextRequestId[] = "request.id";
constexpr char kContextSessionId[] = "session.id";  // a session's public id, never its token
constexpr char kContextUser[] = "session.user";

}  // namespace Rpc
}  // namespace Opax
