#pragma once

// The ids of the standard errors, for the code that raises or tells apart a standard error
// without its generated class (the runtime, the transport, the tools). The names come from the
// standard errors' interface description (opax/std/errors.idl): the package
// "com.quarn.opax.std.errors" and the error's name in snake_case. A test holds each id here equal
// to the name its generated class reports, so the two cannot drift.

namespace Opax {
namespace ErrorIds {

constexpr char const kPrefix[] = "com.quarn.opax.std.errors.";

constexpr char const kAlreadyExists[] = "com.quarn.opax.std.errors.already_exists";
constexpr char const kAlreadyInDesiredState[] = "com.quarn.opax.std.errors.already_in_desired_state";
constexpr char const kError[] = "com.quarn.opax.std.errors.error";
constexpr char const kInternalServerError[] = "com.quarn.opax.std.errors.internal_server_error";
constexpr char const kInvalidArgument[] = "com.quarn.opax.std.errors.invalid_argument";
constexpr char const kInvalidElementConfiguration[] =
    "com.quarn.opax.std.errors.invalid_element_configuration";
constexpr char const kInvalidElementType[] = "com.quarn.opax.std.errors.invalid_element_type";
constexpr char const kNotAllowedInCurrentState[] = "com.quarn.opax.std.errors.not_allowed_in_current_state";
constexpr char const kNotFound[] = "com.quarn.opax.std.errors.not_found";
constexpr char const kResourceBusy[] = "com.quarn.opax.std.errors.resource_busy";
constexpr char const kResourceInaccessible[] = "com.quarn.opax.std.errors.resource_inaccessible";
constexpr char const kResourceInUse[] = "com.quarn.opax.std.errors.resource_in_use";
constexpr char const kServiceUnavailable[] = "com.quarn.opax.std.errors.service_unavailable";
constexpr char const kTimedOut[] = "com.quarn.opax.std.errors.timed_out";
constexpr char const kUnableToAllocateResource[] = "com.quarn.opax.std.errors.unable_to_allocate_resource";
constexpr char const kUnauthenticated[] = "com.quarn.opax.std.errors.unauthenticated";
constexpr char const kUnauthorized[] = "com.quarn.opax.std.errors.unauthorized";
constexpr char const kUnsupported[] = "com.quarn.opax.std.errors.unsupported";
constexpr char const kUnverifiedPeer[] = "com.quarn.opax.std.errors.unverified_peer";

// The plain reply's conversion failure names its error without the prefix; clients that match on
// names rely on the difference, so it stays.
constexpr char const kShortInvalidArgument[] = "invalid_argument";

// Every standard error, in the order of their description (by name).
constexpr char const* const kAll[] = {kAlreadyExists,
                                      kAlreadyInDesiredState,
                                      kError,
                                      kInternalServerError,
                                      kInvalidArgument,
                                      kInvalidElementConfiguration,
                                      kInvalidElementType,
                                      kNotAllowedInCurrentState,
                                      kNotFound,
                                      kResourceBusy,
                                      kResourceInaccessible,
                                      kResourceInUse,
                                      kServiceUnavailable,
                                      kTimedOut,
                                      kUnableToAllocateResource,
                                      kUnauthenticated,
                                      kUnauthorized,
                                      kUnsupported,
                                      kUnverifiedPeer};

// The name of an id of this table without its prefix ("not_found"), as the short forms use it.
constexpr char const* ShortName(char const* id) { return id + sizeof(kPrefix) - 1; }

}  // namespace ErrorIds
}  // namespace Opax
