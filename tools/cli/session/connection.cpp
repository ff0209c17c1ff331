#include "session/connection.h"

#include "session/language.h"
#include "session/session_file.h"

#include "simulator.h"

#include <cstdlib>

namespace Cli {

std::string NamedServer(ConnectionOptions const& options) {
  if (!options.server.empty()) return options.server;
  char const* fromEnvironment = std::getenv("NEXAR_SERVER");
  return fromEnvironment ? fromEnvironment : "";
}

std::unique_ptr<Connection> Connection::Open(ConnectionOptions const& options, std::ostream& err) {
  std::unique_ptr<Connection> connection(new Connection());
  connection->timeout_ = std::chrono::seconds(options.timeoutSeconds);
  connection->url_ = NamedServer(options);
  std::list<::Opax::BaseMessage> messages;
  if (connection->url_.empty()) {
    ::Sim::SimulatorOptions simulated;
    simulated.requireLogin = false;
    simulated.server.address = "127.0.0.1";
    simulated.server.port = 0;
    connection->simulator_ = std::make_unique<::Sim::Simulator>(simulated);
    if (!connection->simulator_->Start(messages)) {
      for (auto const& message : messages)
        err << "nexar: embedded simulator: " << message.defaultMessage() << "\n";
      return nullptr;
    }
    connection->url_ = connection->simulator_->url();
  }
  ::Opax::Rpc::ClientOptions client;
  client.url = connection->url_;
  client.caFile = options.caFile;
  client.verifyPeer = !options.insecure;
  client.callTimeout = connection->timeout_;
  client.acceptLanguage = UserLanguage();
  connection->client_ = ::Opax::Rpc::RpcClient::Create(client, messages);
  if (!connection->client_) {
    for (auto const& message : messages) err << "nexar: " << message.defaultMessage() << "\n";
    return nullptr;
  }
  if (!connection->embedded()) {
    auto saved = LoadSession();
    if (saved && saved->server == connection->url_) connection->client_->session(saved->token);
  }
  return connection;
}

Connection::~Connection() {
  if (client_) client_->Close();
  client_.reset();
  simulator_.reset();
}

}  // namespace Cli
