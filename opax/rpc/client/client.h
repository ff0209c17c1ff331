#pragma once

#include <opax/core/base/secret_string.h>
#include <opax/core/message/base_message.h>
#include <opax/core/provider/api_provider.h>
#include <opax/json/limits.h>

#include <chrono>
#include <list>
#include <memory>
#include <string>

namespace Opax {
namespace Rpc {

struct ClientOptions {
  // "http://host:port" or "https://host:port", optionally with a path (the default is /rpc).
  std::string url;
  // Keep-alive connections opened at most; calls beyond them wait for one to be free.
  std::size_t connections = 4;
  // From the moment a call is made to its reply.
  std::chrono::milliseconds callTimeout{std::chrono::seconds(60)};
  // TLS: the server is verified against the system's store, or against `caFile` when given.
  // `verifyPeer = false` turns that off, for tests against throw-away certificates only.
  bool verifyPeer = true;
  std::string caFile;
  // What the client takes in one reply.
  std::size_t maxReplyBytes = 64u << 20;
  Json::Limits json;
  // Sent as Accept-Language; when empty, the language of each call's activation is.
  std::string acceptLanguage;
};

// An ApiProvider that carries invocations to a server as JSON-RPC 2.0 over HTTP/1.1 or HTTPS: a
// stub made over it calls the server's services as it would call them in process.
//
// Calls are asynchronous: they are written on the client's own I/O thread and their callbacks run
// there. Every call completes exactly once: with its reply, or with "timed_out" after the call
// timeout, or with "service_unavailable" when its connection drops or the client is closed.
// Replies are decoded with the definitions that the run-time catalogue holds for the operation.
class RpcClient : public Provider::ApiProvider {
 public:
  // Null with a message when the URL or the TLS set-up is not usable.
  static std::shared_ptr<RpcClient> Create(ClientOptions options, std::list<BaseMessage>& messages);
  // Closes the client (see Close()).
  ~RpcClient() override;

  void InvokeAsync(std::shared_ptr<Core::MethodIdentifier const> const& method,
                   std::shared_ptr<Data::DataValue const> const& input,
                   std::shared_ptr<Core::AsyncActivation> const& activation,
                   std::shared_ptr<Core::AsyncApiResultCb> const& callback) override;

  // The session token sent with every call made from now on (empty: none).
  void session(SecretString token);
  // Completes every pending call with "service_unavailable" and closes the connections; calls
  // made afterwards complete the same way at once.
  void Close();

  struct Impl;

 private:
  explicit RpcClient(std::shared_ptr<Impl> impl) : impl_(std::move(impl)) {}
  std::shared_ptr<Impl> impl_;
};

}  // namespace Rpc
}  // namespace Opax
