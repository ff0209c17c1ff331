// nexar-sim: serves the simulated management server until SIGINT or SIGTERM.

#include "simulator.h"

#include <CLI/CLI.hpp>

#include <pthread.h>
#include <csignal>
#include <iostream>

namespace {

constexpr char kDefaultListen[] = "127.0.0.1:8787";

// "ADDRESS:PORT", "[v6-address]:PORT" or ":PORT".
bool SplitListen(std::string const& listen, std::string& address, unsigned short& port) {
  std::size_t const colon = listen.rfind(':');
  if (colon == std::string::npos) return false;
  address = listen.substr(0, colon);
  if (address.size() >= 2 && address.front() == '[' && address.back() == ']')
    address = address.substr(1, address.size() - 2);
  if (address.empty()) address = "127.0.0.1";
  try {
    std::size_t used = 0;
    unsigned long const value = std::stoul(listen.substr(colon + 1), &used);
    if (used != listen.size() - colon - 1 || value > 65535) return false;
    port = static_cast<unsigned short>(value);
  } catch (std::exception const&) {
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "nexar-sim: a simulated management server serving every service of the catalogue over JSON-RPC.\n"
      "Virtual machines with their hardware, the inventory and tagging behave as on a real server; every\n"
      "other operation answers 'unsupported'."};
  Sim::SimulatorOptions options;
  std::string listen = kDefaultListen;
  std::string certificate, key;
  long latencyMs = 0;
  app.add_option("--listen", listen, "ADDRESS:PORT to listen on; plain HTTP on loopback addresses only")
      ->capture_default_str();
  app.add_option("--tls-cert", certificate, "PEM certificate chain: serve HTTPS")->check(CLI::ExistingFile);
  app.add_option("--tls-key", key, "PEM private key of the certificate")->check(CLI::ExistingFile);
  app.add_option("--state", options.statePath,
                 "SQLite file that keeps the state across restarts (default: in memory)");
  app.add_option("--seed", options.seedPath,
                 "JSON file of calls that build the inventory of an empty state "
                 "(default: the built-in inventory)")
      ->check(CLI::ExistingFile);
  bool noSeed = false;
  app.add_flag("--empty", noSeed, "Start an empty state with no inventory at all");
  app.add_option("--user", options.user, "The user name to log in with")->capture_default_str();
  app.add_option("--password", options.password, "The password to log in with (default: made up at start)");
  app.add_option("--threads", options.server.threads, "I/O threads")
      ->capture_default_str()
      ->check(CLI::Range(1, 64));
  app.add_option("--latency-ms", latencyMs, "Fault: milliseconds added before every call")
      ->check(CLI::Range(0, 60000));
  app.add_option("--failure-rate", options.faults.failureRate, "Fault: share of calls (0 to 1) that fail")
      ->check(CLI::Range(0.0, 1.0));
  app.add_option("--failure-error", options.faults.error, "Fault: the standard error failed calls get")
      ->capture_default_str();
  app.add_option("--drop-rate", options.faults.dropRate,
                 "Fault: share of requests (0 to 1) whose connection is dropped")
      ->check(CLI::Range(0.0, 1.0));
  app.footer(
      "Faults can be changed while it runs through the service com.quarn.sim.control (set_faults), which\n"
      "also saves and restores named snapshots of the state: nexar call com.quarn.sim.control set_faults "
      "...");
  CLI11_PARSE(app, argc, argv);

  if (!SplitListen(listen, options.server.address, options.server.port)) {
    std::cerr << "nexar-sim: --listen takes ADDRESS:PORT, not '" << listen << "'\n";
    return 2;
  }
  if (certificate.empty() != key.empty()) {
    std::cerr << "nexar-sim: --tls-cert and --tls-key go together\n";
    return 2;
  }
  if (!certificate.empty()) options.server.tls = Opax::Rpc::TlsFiles{certificate, key};
  options.seed = !noSeed;
  options.faults.latency = std::chrono::milliseconds(latencyMs);

  // SIGINT and SIGTERM are taken by this thread alone (every other thread inherits the mask), so
  // that the simulator stops in order rather than in a signal handler.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  Sim::Simulator simulator(options);
  std::list<Opax::BaseMessage> messages;
  if (!simulator.Start(messages)) {
    for (auto const& message : messages) std::cerr << "nexar-sim: " << message.defaultMessage() << "\n";
    return 1;
  }
  std::cout << "nexar-sim: listening on " << simulator.url() << "\n"
            << "nexar-sim: log in as user '" << simulator.user() << "' with password '"
            << simulator.password() << "'\n"
            << "nexar-sim: state "
            << (options.statePath == ":memory:" ? "in memory" : "in " + options.statePath)
            << "; stop with Ctrl-C" << std::endl;
  int signal = 0;
  sigwait(&stopSignals, &signal);
  std::cout << "nexar-sim: stopping" << std::endl;
  simulator.Stop();
  return 0;
}
