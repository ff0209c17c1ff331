// Untrusted bytes as they arrive on a connection to the JSON-RPC server: request lines, headers,
// bodies, several requests pipelined. They go through the server's own connection code
// (RpcServer::Serve: the parser, its limits, authentication, sessions, the JSON-RPC envelope,
// batches, dispatch), to a provider with a service that answers and the pilot areas' services
// bound to answer "unsupported" once their input is checked. Beyond "no crash, no leak, no hang",
// every byte written back must be a complete HTTP/1.1 response, and every JSON body valid JSON.
//
// "@@" in the input stands for the token of a live session, which the fuzzer could never guess.

#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>
#include <opax/core/provider/in_process_provider.h>
#include <opax/rpc/server/server.h>
#include <runtime/service_catalog.h>

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <boost/json/parse.hpp>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace {

namespace http = boost::beast::http;
using ValuePtr = std::shared_ptr<Opax::Data::DataValue const>;

constexpr char kUser[] = "fuzz";
constexpr char kPassword[] = "fuzz-password";
// The service that answers: its operations are the floppy service's, with their definitions.
constexpr char kAnswering[] = "com.quarn.nexar.vm.hardware.floppy";

void Require(bool condition, char const* what, std::string const& output) {
  if (condition) return;
  std::fprintf(stderr, "http_request_fuzz: %s\n--- written back ---\n%s\n", what, output.c_str());
  std::abort();
}

class FixedUser : public Opax::Rpc::Authenticator {
 public:
  bool Verify(std::string const& user, Opax::SecretString const& password) const override {
    return user == kUser && password.reveal() == kPassword;
  }
};

// create answers the vm it was given; every other operation a declared error with a message.
std::shared_ptr<Opax::Provider::AsyncApiInterface const> AnsweringService(
    Opax::Catalog::ServiceEntry const& entry) {
  namespace Core = Opax::Core;
  namespace Provider = Opax::Provider;
  auto const interface = std::make_shared<Core::InterfaceIdentifier const>(entry.id);
  std::list<std::shared_ptr<Provider::AsyncApiMethod const>> methods;
  for (std::size_t i = 0; i < entry.operationCount; ++i) {
    auto const& op = *entry.operations[i];
    auto signal = Provider::AsyncApiMethodSignal::GetInstance(
        Core::MethodDefinition::GetInstance(Core::MethodIdentifier::GetInstance(interface, op.name),
                                            op.inputDef(), op.outputDef(), op.errorDefs()),
        std::make_shared<Opax::L10n::Localizer const>());
    bool const create = std::string_view(op.name) == "create";
    signal->Connect([create](std::shared_ptr<Core::AsyncActivation> const&, ValuePtr const& input,
                             std::shared_ptr<Core::AsyncApiResultCb> const& callback) {
      if (create) {
        ValuePtr vm;
        std::list<Opax::BaseMessage> messages;
        static_cast<Opax::Data::StructValue const&>(*input).GetField("vm", vm, messages);
        return (*callback)(Core::MethodResult::GetInstance(vm), Opax::Progress());
      }
      (*callback)(
          Core::MethodResult::GetErrorInstance(Opax::Data::ErrorValue::GetInstance(
              Opax::ErrorIds::kNotFound, {Opax::BaseMessage::Make(Opax::MessageIds::kTaskUnknown, {"x"})})),
          Opax::Progress());
    });
    methods.push_back(signal);
  }
  return Provider::AsyncApiInterface::GetInstance(interface, methods);
}

struct Fixture {
  Fixture() {
    auto provider = std::make_shared<Opax::Core::InProcessProvider>();
    auto const localizer = std::make_shared<Opax::L10n::Localizer>();
    for (auto const* service : Opax::Catalog::ServiceCatalog::Instance().services()) {
      provider->Register(std::string_view(service->id) == kAnswering ? AnsweringService(*service)
                                                                     : service->bindUnsupported(localizer));
    }
    Opax::Rpc::ServerOptions options;
    options.authenticator = std::make_shared<FixedUser>();
    server = std::make_unique<Opax::Rpc::RpcServer>(std::move(provider), std::move(options));
  }

  // A token of a live session: the input may have closed the last one.
  std::string const& Token() {
    if (token.reveal().empty() || !server->sessions()->Find(token.reveal())) {
      Opax::SecretString made;
      if (server->sessions()->Create(kUser, made)) token = made;
    }
    return token.reveal();
  }

  std::unique_ptr<Opax::Rpc::RpcServer> server;
  Opax::SecretString token;
};

std::string WithToken(std::string_view input, std::string const& token) {
  std::string out;
  out.reserve(input.size());
  for (std::size_t at = 0;;) {
    std::size_t const marker = input.find("@@", at);
    if (marker == std::string_view::npos) return out.append(input.substr(at));
    out.append(input.substr(at, marker - at)).append(token);
    at = marker + 2;
  }
}

// Every byte written must belong to a complete response; JSON bodies must be JSON.
void CheckResponses(std::string const& output) {
  boost::beast::flat_buffer buffer;
  std::string_view rest(output);
  while (!rest.empty()) {
    http::response_parser<http::string_body> parser;
    parser.body_limit(boost::none);
    parser.eager(true);
    boost::beast::error_code ec;
    std::size_t const used = parser.put(boost::asio::buffer(rest.data(), rest.size()), ec);
    Require(!ec && parser.is_done(), "an incomplete or malformed response", output);
    rest.remove_prefix(used);
    auto const& response = parser.get();
    Require(response.version() == 11, "a response that is not HTTP/1.1", output);
    auto const type = response.find(http::field::content_type);
    if (type != response.end() && type->value() == "application/json") {
      boost::system::error_code jsonError;
      boost::json::parse(response.body(), jsonError);
      Require(!jsonError, "a JSON body that is not JSON", output);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, std::size_t size) {
  static Fixture fixture;
  std::string_view const input(reinterpret_cast<char const*>(data), size);
  std::string const output = fixture.server->Serve(WithToken(input, fixture.Token()));
  CheckResponses(output);
  return 0;
}
