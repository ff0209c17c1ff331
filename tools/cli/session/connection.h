#pragma once

#include <opax/rpc/client/client.h>

#include <chrono>
#include <memory>
#include <ostream>
#include <string>

namespace Sim {
class Simulator;
}

namespace Cli {

struct ConnectionOptions {
  std::string server;  // --server, else NEXAR_SERVER; empty: the embedded simulator
  std::string caFile;
  bool insecure = false;
  long timeoutSeconds = 60;  // for each reply
};

// The server `nexar` talks to: a remote one, with the kept session when it is for that server,
// or a simulator started in this process when no server was named, so that the first command a
// newcomer types works. The client closes before the simulator stops.
class Connection {
 public:
  // Null with the reason written to `err` when the client or the simulator cannot start.
  static std::unique_ptr<Connection> Open(ConnectionOptions const& options, std::ostream& err);
  ~Connection();

  ::Opax::Rpc::RpcClient& client() { return *client_; }
  std::shared_ptr<::Opax::Rpc::RpcClient> const& sharedClient() const { return client_; }
  bool embedded() const { return simulator_ != nullptr; }
  std::string const& url() const { return url_; }
  std::chrono::seconds timeout() const { return timeout_; }

 private:
  Connection() = default;
  std::unique_ptr<::Sim::Simulator> simulator_;
  std::shared_ptr<::Opax::Rpc::RpcClient> client_;
  std::string url_;
  std::chrono::seconds timeout_{60};
};

// The server the options name (the flag, then NEXAR_SERVER); empty when none is.
std::string NamedServer(ConnectionOptions const& options);

}  // namespace Cli
