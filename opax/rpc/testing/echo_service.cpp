#include <opax/rpc/testing/echo_service.h>

#include <opax/core/message/error_ids.h>
#include <opax/json/json.h>
#include <opax/json/testing/sample_definition.h>
#include <runtime/service_catalog.h>
#include <runtime/testing/definition_only.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include <future>
#include <thread>

namespace Opax {
namespace Rpc {
namespace Testing {
namespace {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using Data::DataDefinition;

Json::Testing::SampleDefinition const& Sample() {
  static auto const sample = Json::Testing::MakeSampleDefinition();
  return sample;
}
std::shared_ptr<DataDefinition const> Device() { return Sample().device; }
std::shared_ptr<DataDefinition const> NoInput() {
  static auto const def = Data::StructDefinition::GetInstance("operation-input", {});
  return def;
}
std::shared_ptr<DataDefinition const> Text() { return DataDefinition::Create<std::string>(); }
std::shared_ptr<DataDefinition const> NotFoundDef() {
  static auto const notFound = Data::ErrorDefinition::GetInstance(
      ErrorIds::kNotFound,
      {{"messages", Data::ListDefinition::GetInstance(DataDefinition::Create<Data::DynamicStructure>())}});
  return notFound;
}

using Binding::Testing::Describe;
Binding::OperationDescriptor const kEchoOp =
    Describe<&DeviceInput, &Device, &NotFoundDef>(kEcho, "echo", true, false);
Binding::OperationDescriptor const kFailOp =
    Describe<&NoInput, &Text, &NotFoundDef>(kEcho, "fail", true, false);
Binding::OperationDescriptor const kHangOp =
    Describe<&NoInput, &Text, &NotFoundDef>(kEcho, "hang", true, false);
Binding::OperationDescriptor const kSlowOp =
    Describe<&NoInput, &Text, &NotFoundDef>(kEcho, "slow", false, true);
Binding::OperationDescriptor const* const kOperations[] = {&kEchoOp, &kFailOp, &kHangOp, &kSlowOp};
Catalog::ServiceEntry const kEchoEntry{kEcho, "EchoSvc", nullptr, kOperations, std::size(kOperations)};
Catalog::Registration const kRegistration(&kEchoEntry);

void Serve(std::string const& which, std::shared_ptr<Held> const& held,
           std::shared_ptr<Core::AsyncActivation> const& activation, ValuePtr const& input,
           std::shared_ptr<Core::AsyncApiResultCb> const& callback) {
  if (which == "echo") {
    ValuePtr device;
    std::list<BaseMessage> messages;
    static_cast<Data::StructValue const&>(*input).GetField("device", device, messages);
    return (*callback)(Core::MethodResult::GetInstance(device), Progress());
  }
  if (which == "fail") {
    auto const& context = activation->context();
    std::string const user = context.count("session.user") ? context.at("session.user") : "";
    return (*callback)(
        Core::MethodResult::GetErrorInstance(Data::ErrorValue::GetInstance(
            ErrorIds::kNotFound, {BaseMessage::Make(MessageIds::kTaskUnknown, {"t-" + user})})),
        Progress());
  }
  if (which == "hang") {
    std::lock_guard<std::mutex> lock(held->mutex);
    return held->callbacks.push_back(callback);
  }
  // A few long-lived workers rather than a thread per task: a soak runs hundreds of thousands of
  // tasks, and a sanitizer's records of that many finished threads would read as the server's
  // memory growing.
  static net::thread_pool workers(4);
  net::post(workers, [callback] {
    for (int i = 1; i <= 3; ++i) {
      (*callback)(nullptr, Progress{3, i, "step"});
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    (*callback)(Core::MethodResult::GetInstance(Data::DataValue::Create(std::string("done"))), Progress());
  });
}

}  // namespace

char const kEveryKind[] = R"({"device":{"name":"cd\u00e9 \"0\"","password":"s3cr3t","data":"AAEC/w==",
  "created":"2024-02-29T23:59:59.999Z","count":-9223372036854775807,"ratio":0.1,"enabled":true,"state":"ON",
  "tags":["a","b"],"sizes":[1,2],"labels":{"x":"1"},"backing":{"type":"FILE","file":"/iso"},
  "children":[{"name":"c"}],"next":{"name":"inner"},"extra":{"@type":"com.example.note","kept":[1,2.5,null]},
  "failure":{"@type":"com.quarn.opax.std.errors.not_found","messages":[]},"from_a_newer_peer":{"x":1}}})";

std::shared_ptr<DataDefinition const> DeviceInput() {
  static auto const def =
      Data::StructDefinition::GetInstance("operation-input", {{"device", Sample().device}});
  return def;
}

std::shared_ptr<Core::MethodIdentifier const> Method(std::string const& name) {
  return Core::MethodIdentifier::GetInstance(std::make_shared<Core::InterfaceIdentifier const>(kEcho), name);
}

std::shared_ptr<Core::InProcessProvider> EchoProvider(std::shared_ptr<Held> const& held) {
  auto provider = std::make_shared<Core::InProcessProvider>();
  std::list<std::shared_ptr<Provider::AsyncApiMethod const>> methods;
  for (auto const* operation : kOperations) {
    auto const& op = *operation;
    std::string const name = std::string(op.name) + (op.task ? "$task" : "");
    auto signal = Provider::AsyncApiMethodSignal::GetInstance(
        Core::MethodDefinition::GetInstance(Method(name), op.inputDef(), op.outputDef(), op.errorDefs()),
        std::make_shared<L10n::Localizer const>());
    std::string const which = op.name;
    signal->Connect([which, held](std::shared_ptr<Core::AsyncActivation> const& activation,
                                  ValuePtr const& input,
                                  std::shared_ptr<Core::AsyncApiResultCb> const& callback) {
      Serve(which, held, activation, input, callback);
    });
    methods.push_back(signal);
  }
  provider->Register(Provider::AsyncApiInterface::GetInstance(
      std::make_shared<Core::InterfaceIdentifier const>(kEcho), methods));
  return provider;
}

ResultPtr Call(Provider::ApiProvider& provider, std::string const& method, ValuePtr input,
               std::shared_ptr<Core::AsyncActivation> activation, std::chrono::milliseconds timeout) {
  auto promise = std::make_shared<std::promise<ResultPtr>>();
  auto future = promise->get_future();
  provider.InvokeAsync(
      Method(method), std::move(input), std::move(activation),
      Core::AsyncApiResultCb::GetInstance([promise](ResultPtr const& result, Progress const&) {
        if (result) promise->set_value(result);
      }));
  if (future.wait_for(timeout) != std::future_status::ready) return nullptr;
  return future.get();
}

ValuePtr FromJson(std::string const& text, DataDefinition const& definition) {
  ValuePtr value;
  std::list<BaseMessage> messages;
  return Json::Decode(text, definition, value, messages) ? value : nullptr;
}

std::string ToJson(Data::DataValue const& value) {
  std::string text;
  std::list<BaseMessage> messages;
  Json::Encode(value, nullptr, text, messages);
  return text;
}

std::string ErrorName(ResultPtr const& result) {
  return result && result->error() ? std::string(result->error()->name()) : "(none)";
}

Reply Post(unsigned short port, std::string const& body,
           std::vector<std::pair<std::string, std::string>> const& headers, http::verb verb,
           std::string const& target) {
  net::io_context io;
  beast::tcp_stream stream(io);
  beast::error_code ec;
  stream.connect(net::ip::tcp::endpoint(net::ip::make_address("127.0.0.1"), port), ec);
  if (ec) return {};
  http::request<http::string_body> request(verb, target, 11);
  request.set(http::field::host, "localhost");
  request.set(http::field::content_type, "application/json");
  for (auto const& header : headers) request.set(header.first, header.second);
  request.body() = body;
  request.prepare_payload();
  http::write(stream, request, ec);
  // A server that refuses a body early may close before it is all written; its reply still counts.
  beast::flat_buffer buffer;
  http::response<http::string_body> response;
  http::read(stream, buffer, response, ec);
  return {ec ? 0u : response.result_int(), response.body()};
}

}  // namespace Testing
}  // namespace Rpc
}  // namespace Opax
