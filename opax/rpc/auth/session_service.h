#pragma once

#include <opax/core/provider/api_interface.h>
#include <opax/rpc/auth/authenticator.h>
#include <opax/rpc/auth/session_store.h>

#include <memory>

namespace Opax {
namespace Rpc {

// The service id every server serves its sessions under.
constexpr char kSessionServiceId[] = "com.quarn.cis.session";
// The one operation of any service that a caller may call without a session.
constexpr char kSessionCreate[] = "create";

// The session service (create with user name and password, delete, get), bound to `sessions`.
// get and delete act on the caller's own session, which the server names in the activation's
// context (kContextSessionId).
std::shared_ptr<Provider::AsyncApiInterface const> MakeSessionService(
    std::shared_ptr<SessionStore> sessions, std::shared_ptr<Authenticator const> authenticator);

}  // namespace Rpc
}  // namespace Opax
