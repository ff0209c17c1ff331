#pragma once

// The standard error ids that the transport itself answers with, named once for the library.

namespace Opax {
namespace Rpc {
namespace StdErrors {

constexpr char kInternalServerError[] = "com.quarn.opax.std.errors.internal_server_error";
constexpr char kInvalidArgument[] = "com.quarn.opax.std.errors.invalid_argument";
constexpr char kNotAllowed[] = "com.quarn.opax.std.errors.not_allowed_in_current_state";
constexpr char kNotFound[] = "com.quarn.opax.std.errors.not_found";
constexpr char kServiceUnavailable[] = "com.quarn.opax.std.errors.service_unavailable";
constexpr char kTimedOut[] = "com.quarn.opax.std.errors.timed_out";
constexpr char kUnauthenticated[] = "com.quarn.opax.std.errors.unauthenticated";
constexpr char kUnverifiedPeer[] = "com.quarn.opax.std.errors.unverified_peer";

}  // namespace StdErrors
}  // namespace Rpc
}  // namespace Opax
