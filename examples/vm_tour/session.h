#pragma once

// Reaching the server: a network client that every stub sends its calls through, and a session,
// so that the server knows who calls. The user name and password are sent once, to the session
// service; every later call carries the token it answered with.

#include "options.h"
#include "report.h"

#include <opax/rpc/client/client.h>

#include <memory>

namespace VmTour {

// The client for `options.serverUrl`; null (reported) when the URL or the TLS set-up is unusable.
std::shared_ptr<::Opax::Rpc::RpcClient> Connect(TourOptions const& options, Report& report);

// Logs in through the session service; from then on `client` sends the session's token.
bool LogIn(std::shared_ptr<::Opax::Rpc::RpcClient> const& client, TourOptions const& options, Report& report);

// Ends the session, so that the token is worth nothing even if it leaked.
void LogOut(std::shared_ptr<::Opax::Rpc::RpcClient> const& client, Report& report);

}  // namespace VmTour
