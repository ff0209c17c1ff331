#pragma once

// nexar-sim as a library: a management server to develop and test clients against. It hosts every
// service of the catalogue through its binder over JSON-RPC (HTTP or HTTPS), with sessions and
// tasks; virtual machines, their hardware, the inventory and tagging behave as a real server's
// do, every other operation answers "unsupported". The `nexar` command line embeds one when it
// is given no server.

#include "faults/faults.h"

#include <opax/core/message/base_message.h>
#include <opax/rpc/server/server.h>

#include <list>
#include <memory>
#include <string>

namespace Sim {

struct SimulatorOptions {
  // Where to listen, TLS, I/O threads and limits. Plain HTTP is refused on any address that is not
  // a loopback address.
  ::Opax::Rpc::ServerOptions server;
  // ":memory:" (the default) or a SQLite file that keeps the state across restarts.
  std::string statePath = ":memory:";
  // A seed file (see seed/seed.h) loaded into an empty state; the built-in inventory when empty.
  std::string seedPath;
  // Whether an empty state is seeded at all.
  bool seed = true;
  // Who may log in. Without a password one is made up at start, see Simulator::password().
  std::string user = "admin";
  std::string password;
  // When false, calls need no session: for the command line's embedded simulator only.
  bool requireLogin = true;
  FaultSettings faults;
};

class Simulator {
 public:
  explicit Simulator(SimulatorOptions options);
  // Stops it (see Stop()).
  ~Simulator();
  Simulator(Simulator const&) = delete;
  Simulator& operator=(Simulator const&) = delete;

  // Opens the state, seeds it when empty, binds the services and starts listening; false with
  // messages when any of that fails.
  bool Start(std::list<::Opax::BaseMessage>& messages);
  // Stops accepting calls, lets the state thread finish the operations it holds (so that every
  // acknowledged change is in the state file) and closes the state.
  void Stop();

  unsigned short port() const;
  // "http://127.0.0.1:PORT" or "https://...", the address clients use.
  std::string url() const;
  std::string const& user() const;
  std::string const& password() const;
  std::shared_ptr<Faults> const& faults() const;

  struct Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

}  // namespace Sim
