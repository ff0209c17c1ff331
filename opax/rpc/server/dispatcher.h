#pragma once

#include <opax/core/l10n/localizer.h>
#include <opax/core/provider/api_provider.h>
#include <opax/json/limits.h>
#include <opax/rpc/auth/session_store.h>
#include <opax/rpc/protocol/operation_table.h>

#include <functional>
#include <memory>
#include <string>

namespace Opax {
namespace Rpc {

// What the HTTP layer learnt about a request before its body is read.
struct RequestContext {
  std::shared_ptr<Session const> session;  // null: no valid session came with the request
  L10n::RequestLocalizer localizer;        // from Accept-Language
  std::string requestId;
};

struct DispatchOptions {
  Json::Limits json;
  // Calls of one batch; each runs at once, so this bounds the calls in flight per connection.
  std::size_t maxBatch = 64;
  // Whether calls other than the session service's create need a session.
  bool requireSession = true;
  // Renders error messages in the caller's language; English only when null.
  std::shared_ptr<L10n::Localizer const> localizer;
};

// JSON-RPC 2.0 over providers, without HTTP: a request body in, a reply body out. Calls to the
// server's own services (sessions, tasks) go to `builtIn`, every other call to `hosted`.
class Dispatcher {
 public:
  // Receives the reply body once, on any thread; an empty body means nothing to send (the
  // request held notifications only).
  using Done = std::function<void(std::string&& reply)>;

  Dispatcher(std::shared_ptr<Provider::ApiProvider> hosted, std::shared_ptr<Provider::ApiProvider> builtIn,
             std::shared_ptr<OperationTable const> operations, DispatchOptions options);

  void Handle(std::string_view body, RequestContext const& context, Done done) const;

  // Serves "rpc.discover" with this document (an OpenRPC document, made once by the server).
  void discovery(std::shared_ptr<std::string const> document) { discovery_ = std::move(document); }

 private:
  struct Batch;
  void Call(std::shared_ptr<Batch> const& batch, std::size_t slot, struct RpcCall const& call,
            RequestContext const& context) const;

  std::shared_ptr<Provider::ApiProvider> hosted_;
  std::shared_ptr<Provider::ApiProvider> builtIn_;
  std::shared_ptr<OperationTable const> operations_;
  DispatchOptions options_;
  std::shared_ptr<std::string const> discovery_;
};

}  // namespace Rpc
}  // namespace Opax
