#pragma once

#include <opax/core/l10n/localizer.h>
#include <opax/core/message/base_message.h>
#include <opax/core/provider/api_provider.h>
#include <opax/core/provider/task_registry.h>
#include <opax/rpc/auth/authenticator.h>
#include <opax/rpc/auth/session_store.h>

#include <boost/optional.hpp>

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>

namespace boost {
namespace asio {
class io_context;
}  // namespace asio
}  // namespace boost

namespace Opax {
namespace Rpc {

struct TlsFiles {
  std::string certificateChain;  // PEM: the server's certificate, then its issuers
  std::string privateKey;        // PEM
};

// What one peer may make a server spend. The defaults suit a server on the internet; a breach gets
// an HTTP error or a JSON-RPC error, or the connection is closed.
struct ServerLimits {
  std::size_t headerBytes = 16 * 1024;
  std::size_t bodyBytes = 4u << 20;
  // Objects and arrays open at once in a body.
  std::size_t jsonDepth = 64;
  // From the first byte of a request to its last: a client that sends one byte a second is cut off.
  std::chrono::milliseconds readTimeout{std::chrono::seconds(15)};
  // Waiting for the next request on a kept-alive connection.
  std::chrono::milliseconds idleTimeout{std::chrono::seconds(60)};
  // Calls in one batch. A connection carries one request at a time, so this also bounds the calls
  // in flight per connection.
  std::size_t callsPerConnection = 64;
  std::size_t connections = 1024;
};

struct ServerOptions {
  std::string address = "127.0.0.1";
  unsigned short port = 0;  // 0: a free port, see RpcServer::port()
  unsigned threads = 1;
  boost::optional<TlsFiles> tls;
  ServerLimits limits;
  // Who may create sessions. Without one, calls need no session: for development on loopback.
  std::shared_ptr<Authenticator const> authenticator;
  SessionPolicy sessions;
  // The languages the server answers in (with their message catalogue); English when null.
  std::shared_ptr<L10n::Localizer const> localizer;
  // The tasks that the hosted provider's "$task" calls start, served by the task service.
  std::shared_ptr<Provider::TaskRegistry> tasks;
  // Asked once per request before it is handled, from the I/O threads: true closes the connection
  // without a reply, as a server that crashed or lost its network would. For simulators that test
  // how clients recover; real servers leave it empty.
  std::function<bool()> dropRequest;
  // An I/O context that its owner runs on a thread of its own, to serve as the first of the
  // server's contexts: its connections' handlers then run on the owner's thread, beside the
  // owner's other work, and the server starts `threads - 1` threads for the others. For a program
  // whose own loop holds state that calls read, so that a call served there reaches the state
  // without a hop to another thread. The owner must keep running it until Stop() has returned,
  // and call Stop() from another thread.
  std::shared_ptr<boost::asio::io_context> context;
};

// JSON-RPC 2.0 over HTTP/1.1 (or HTTPS) in front of any provider, on its own I/O threads. One POST
// endpoint (kEndpoint); keep-alive; the session and task services and "rpc.discover" are served
// beside the hosted provider's services.
class RpcServer {
 public:
  RpcServer(std::shared_ptr<Provider::ApiProvider> provider, ServerOptions options);
  // Stops the server: see Stop().
  ~RpcServer();
  RpcServer(RpcServer const&) = delete;
  RpcServer& operator=(RpcServer const&) = delete;

  // Binds, listens and starts the I/O threads; false with a message when it cannot.
  bool Start(std::list<BaseMessage>& messages);
  // Closes the listener and every connection and joins the I/O threads. Calls still running in
  // the provider complete into nothing.
  void Stop();

  // Serves one connection on the calling thread without a socket: its peer sent `received`, then
  // closed its side. Returns every byte the server wrote back. The same code runs as for a
  // connection that Start() accepts, with the same limits, minus the deadlines (nothing waits
  // here); for fuzzing and tests. Works whether the server is started or not.
  std::string Serve(std::string_view received);

  // The port listened on (the one chosen when the options said 0).
  unsigned short port() const;
  std::shared_ptr<SessionStore> const& sessions() const;

  struct State;  // shared with the connections

 private:
  std::shared_ptr<State> state_;
};

}  // namespace Rpc
}  // namespace Opax
