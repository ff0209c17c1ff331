#include "simulator.h"

#include "control/control_service.h"
#include "seed/seed.h"
#include "services/module.h"

#include <opax/core/provider/in_process_provider.h>

#include <boost/asio/ip/address.hpp>

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <fstream>
#include <sstream>

namespace Sim {
namespace {

// The one user of the simulator. Both texts are compared in constant time.
class SingleUser : public ::Opax::Rpc::Authenticator {
 public:
  SingleUser(std::string user, std::string password)
      : user_(std::move(user)), password_(std::move(password)) {}
  bool Verify(std::string const& user, ::Opax::SecretString const& password) const override {
    std::string const& given = password.reveal();
    bool const userMatches =
        user.size() == user_.size() && CRYPTO_memcmp(user.data(), user_.data(), user.size()) == 0;
    bool const passwordMatches =
        given.size() == password_.size() && CRYPTO_memcmp(given.data(), password_.data(), given.size()) == 0;
    return userMatches && passwordMatches;
  }

 private:
  std::string user_;
  std::string password_;
};

// 16 characters from an alphabet without look-alikes (no 0/O, 1/l/I): about 80 bits.
std::string MakePassword() {
  static constexpr char kAlphabet[] = "abcdefghijkmnpqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ23456789";
  unsigned char bytes[16];
  if (RAND_bytes(bytes, sizeof bytes) != 1) return {};
  std::string password;
  for (unsigned char byte : bytes) password.push_back(kAlphabet[byte % (sizeof kAlphabet - 1)]);
  return password;
}

::Opax::BaseMessage Problem(char const* id, std::string const& text, std::vector<std::string> args = {}) {
  return ::Opax::BaseMessage(id, text, std::move(args));
}

}  // namespace

struct Simulator::Impl {
  SimulatorOptions options;
  std::shared_ptr<Faults> faults = std::make_shared<Faults>();
  std::shared_ptr<State> state;
  std::shared_ptr<::Opax::Core::InProcessProvider> provider;
  std::unique_ptr<::Opax::Rpc::RpcServer> server;
};

Simulator::Simulator(SimulatorOptions options) : impl_(std::make_unique<Impl>()) {
  impl_->options = std::move(options);
  if (impl_->options.password.empty()) impl_->options.password = MakePassword();
}

Simulator::~Simulator() { Stop(); }

bool Simulator::Start(std::list<::Opax::BaseMessage>& messages) {
  Impl& impl = *impl_;
  SimulatorOptions& options = impl.options;
  boost::system::error_code ec;
  auto const address = boost::asio::ip::make_address(options.server.address, ec);
  if (ec) {
    messages.push_back(Problem("nexar.sim.listen.address",
                               "'" + options.server.address + "' is not an IP address.",
                               {options.server.address}));
    return false;
  }
  // Passwords and session tokens cross the network in the clear over plain HTTP.
  if (!options.server.tls && !address.is_loopback()) {
    messages.push_back(Problem("nexar.sim.listen.plain",
                               "Plain HTTP is served on loopback addresses only; to listen on " +
                                   options.server.address +
                                   ", give a certificate and key (--tls-cert, --tls-key).",
                               {options.server.address}));
    return false;
  }
  std::string problem;
  if (!impl.faults->Set(options.faults, problem)) {
    messages.push_back(Problem("nexar.sim.faults.invalid",
                               "The fault setting '" + problem + "' is out of its range.", {problem}));
    return false;
  }

  auto store = Store::Open(options.statePath, messages);
  if (!store) return false;
  bool const empty = store->Empty();
  impl.state = std::make_shared<State>(std::move(store));
  impl.provider = std::make_shared<::Opax::Core::InProcessProvider>();
  Services const services{impl.state, std::make_shared<::Opax::L10n::Localizer>()};
  for (auto const& service : BindCatalogue(services)) impl.provider->Register(service);
  impl.provider->Register(BindControl(impl.state, impl.faults));

  if (empty && options.seed) {
    std::vector<SeedText> seeds;
    if (options.seedPath.empty()) {
      seeds = DefaultSeed();
    } else {
      std::ifstream file(options.seedPath, std::ios::binary);
      std::ostringstream text;
      text << file.rdbuf();
      if (!file) {
        messages.push_back(Problem("nexar.sim.seed.open",
                                   "Cannot read the seed file '" + options.seedPath + "'.",
                                   {options.seedPath}));
        return false;
      }
      seeds.push_back({options.seedPath, text.str()});
    }
    if (!RunSeed(seeds, *impl.provider, messages)) return false;
  }

  ::Opax::Rpc::ServerOptions server = options.server;
  if (options.requireLogin)
    server.authenticator = std::make_shared<SingleUser>(options.user, options.password);
  server.tasks = impl.provider->tasks();
  server.dropRequest = [faults = impl.faults] { return faults->DropThisRequest(); };
  server.context = impl.state->loop();
  auto const hosted = std::make_shared<FaultyProvider>(impl.provider, impl.faults);
  impl.server = std::make_unique<::Opax::Rpc::RpcServer>(hosted, server);
  return impl.server->Start(messages);
}

void Simulator::Stop() {
  Impl& impl = *impl_;
  if (impl.server) impl.server->Stop();
  impl.server.reset();
  // The state thread finishes the jobs it holds before it goes, so that what was acknowledged is
  // in the state file.
  impl.provider.reset();
  impl.state.reset();
}

unsigned short Simulator::port() const { return impl_->server ? impl_->server->port() : 0; }

std::string Simulator::url() const {
  auto const& server = impl_->options.server;
  std::string host = server.address;
  if (host.find(':') != std::string::npos) host = "[" + host + "]";
  return std::string(server.tls ? "https://" : "http://") + host + ":" + std::to_string(port());
}

std::string const& Simulator::user() const { return impl_->options.user; }
std::string const& Simulator::password() const { return impl_->options.password; }
std::shared_ptr<Faults> const& Simulator::faults() const { return impl_->faults; }

}  // namespace Sim
