#pragma once

// A hand-made service hosted in process, and the plain HTTP exchange a misbehaving client makes:
// what the transport's tests and its soak run drive a real server with.

#include <opax/core/invocation/method_result.h>
#include <opax/core/provider/api_provider.h>
#include <opax/core/provider/in_process_provider.h>

#include <boost/beast/http/verb.hpp>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace Opax {
namespace Rpc {
namespace Testing {

using ValuePtr = std::shared_ptr<Data::DataValue const>;
using ResultPtr = std::shared_ptr<Core::MethodResult const>;

// com.quarn.test.echo: "echo" gives its device back; "fail" answers the declared not_found error
// with one "opax.task.unknown" message whose argument is "t-" and the session's user; "hang" never
// answers until told; "slow" runs only as a task that reports three steps, then answers "done".
constexpr char kEcho[] = "com.quarn.test.echo";

std::shared_ptr<Data::DataDefinition const> DeviceInput();

// A device input with a value of every kind, as JSON text.
extern char const kEveryKind[];

// Calls held by "hang", answered or dropped by the test.
struct Held {
  std::mutex mutex;
  std::vector<std::shared_ptr<Core::AsyncApiResultCb>> callbacks;
};

std::shared_ptr<Core::InProcessProvider> EchoProvider(std::shared_ptr<Held> const& held);

std::shared_ptr<Core::MethodIdentifier const> Method(std::string const& name);

// Invokes and waits for the final result; null after `timeout` without one.
ResultPtr Call(Provider::ApiProvider& provider, std::string const& method, ValuePtr input,
               std::shared_ptr<Core::AsyncActivation> activation = Core::AsyncActivation::GetInstance(),
               std::chrono::milliseconds timeout = std::chrono::seconds(20));

// Null when the text does not decode against the definition.
ValuePtr FromJson(std::string const& text, Data::DataDefinition const& definition);
std::string ToJson(Data::DataValue const& value);
// The error's name, or "(none)" for a success or no result.
std::string ErrorName(ResultPtr const& result);

// One HTTP request on a connection of its own. Status 0 when no reply was read.
struct Reply {
  unsigned status = 0;
  std::string body;
};
Reply Post(unsigned short port, std::string const& body,
           std::vector<std::pair<std::string, std::string>> const& headers = {},
           boost::beast::http::verb verb = boost::beast::http::verb::post,
           std::string const& target = "/rpc");

}  // namespace Testing
}  // namespace Rpc
}  // namespace Opax
