#include "invoke/report_error.h"

#include <opax/core/data/compound_value.h>
#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>

#include <set>
#include <string>

namespace Cli {
namespace {

// The messages the client itself adds when it could not talk to the server: only these make a
// service_unavailable a transport failure rather than the operation's answer.
bool IsTransportMessage(std::string const& id) {
  namespace Ids = ::Opax::MessageIds;
  static std::set<std::string> const ids{Ids::kRpcConnectFailed, Ids::kRpcConnectionLost,
                                         Ids::kRpcTlsUnverified, Ids::kRpcClientClosed,
                                         Ids::kRpcHttpStatus,    Ids::kRpcReplyInvalid};
  return ids.count(id) > 0;
}

// "com.quarn.opax.std.errors.not_found" reads as "not_found".
std::string ShortName(std::string_view name) {
  std::size_t const dot = name.rfind('.');
  return std::string(dot == std::string_view::npos ? name : name.substr(dot + 1));
}

}  // namespace

ExitCode ExitCodeOf(::Opax::Data::ErrorValue const& error) {
  namespace Std = ::Opax::ErrorIds;
  if (error.name() == Std::kUnauthenticated) return kExitUnauthenticated;
  if (error.name() == Std::kUnverifiedPeer) return kExitUnreachable;
  auto const messages = error.messages();
  bool const fromClient = !messages.empty() && IsTransportMessage(messages.front().id());
  if (error.name() == Std::kTimedOut && !messages.empty() &&
      messages.front().id() == ::Opax::MessageIds::kRpcTimedOut) {
    return kExitTimedOut;
  }
  if (fromClient) return kExitUnreachable;
  return kExitOperationError;
}

ExitCode ReportError(std::ostream& err, ::Opax::Core::MethodResult const& result) {
  auto const& error = result.error();
  if (!error) {
    err << "nexar: the call ended without a result\n";
    return kExitOperationError;
  }
  err << "error: " << ShortName(error->name()) << " (" << error->name() << ")\n";
  for (auto const& message : error->messages()) err << "  " << message.defaultMessage() << "\n";
  ExitCode const code = ExitCodeOf(*error);
  if (code == kExitUnauthenticated) err << "  (log in with: nexar login --server URL)\n";
  return code;
}

}  // namespace Cli
