// Client and server over real loopback sockets: values, errors, tasks, sessions, languages, TLS,
// and the faults a network brings (bad bytes, slow peers, peers that vanish).

#include <opax/rpc/auth/session_service.h>
#include <opax/rpc/auth/users_file.h>
#include <opax/rpc/client/client.h>
#include <opax/rpc/server/server.h>
#include <opax/rpc/tasks/follow_task.h>
#include <opax/rpc/testing/echo_service.h>

#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>
#include <opax/core/provider/in_process_provider.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <future>
#include <mutex>
#include <thread>

namespace Opax {
namespace Rpc {
namespace {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using namespace Testing;  // NOLINT

// Sends raw bytes, then reads until the server closes; returns what came back and how long it took.
std::pair<std::string, std::chrono::milliseconds> Raw(
    unsigned short port, std::string const& bytes,
    std::chrono::milliseconds gap = std::chrono::milliseconds(0)) {
  net::io_context io;
  net::ip::tcp::socket socket(io);
  socket.connect(net::ip::tcp::endpoint(net::ip::make_address("127.0.0.1"), port));
  auto const start = std::chrono::steady_clock::now();
  beast::error_code ec;
  for (std::size_t i = 0; i < bytes.size() && !ec; i += gap.count() ? 1 : bytes.size()) {
    net::write(socket, net::buffer(bytes.data() + i, gap.count() ? 1 : bytes.size()), ec);
    if (gap.count()) std::this_thread::sleep_for(gap);
  }
  std::string received;
  char chunk[4096];
  for (;;) {
    std::size_t const n = socket.read_some(net::buffer(chunk), ec);
    if (ec) break;
    received.append(chunk, n);
  }
  return {received,
          std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)};
}

class Rpc : public ::testing::Test {
 protected:
  void Serve(ServerOptions options = ServerOptions()) {
    provider_ = EchoProvider(held_);
    options.tasks = provider_->tasks();
    server_ = std::make_unique<RpcServer>(provider_, options);
    std::list<BaseMessage> messages;
    ASSERT_TRUE(server_->Start(messages));
  }
  std::shared_ptr<RpcClient> Connect(ClientOptions options = ClientOptions()) {
    if (options.url.empty()) options.url = "http://127.0.0.1:" + std::to_string(server_->port());
    std::list<BaseMessage> messages;
    auto client = RpcClient::Create(options, messages);
    EXPECT_TRUE(client) << (messages.empty() ? "" : messages.front().defaultMessage());
    return client;
  }
  void ReleaseHeld() {
    std::lock_guard<std::mutex> lock(held_->mutex);
    held_->callbacks.clear();
  }
  ~Rpc() override { ReleaseHeld(); }

  std::shared_ptr<Held> held_ = std::make_shared<Held>();
  std::shared_ptr<Core::InProcessProvider> provider_;
  std::unique_ptr<RpcServer> server_;
};

TEST_F(Rpc, EveryKindTravelsBothWaysAndErrorsArriveAsDeclared) {
  Serve();
  auto client = Connect();
  ValuePtr const input = FromJson(kEveryKind, *DeviceInput());
  ASSERT_TRUE(input);
  ResultPtr const echoed = Call(*client, "echo", input);
  ASSERT_TRUE(echoed && echoed->success())
      << ErrorName(echoed) << (echoed && echoed->error() ? ToJson(*echoed->error()) : "");
  ValuePtr sent;
  std::list<BaseMessage> messages;
  static_cast<Data::StructValue const&>(*input).GetField("device", sent, messages);
  EXPECT_EQ(ToJson(*echoed->output()), ToJson(*sent));

  ResultPtr const failed = Call(*client, "fail", nullptr);
  ASSERT_TRUE(failed);
  EXPECT_EQ(ErrorName(failed), ErrorIds::kNotFound);
  ASSERT_EQ(failed->error()->messages().size(), 1u);
  EXPECT_EQ(failed->error()->messages().front().id(), MessageIds::kTaskUnknown);
}

TEST_F(Rpc, ATaskIsFollowedThroughItsProgressToItsResult) {
  Serve();
  auto client = Connect();
  ResultPtr const started = Call(*client, "slow$task", nullptr);
  ASSERT_TRUE(started && started->success()) << ErrorName(started);
  std::string id;
  std::list<BaseMessage> messages;
  ASSERT_TRUE(Data::DataValue::Value(started->output(), id, messages));
  std::vector<int64_t> seen;
  FollowOptions options;
  options.firstDelay = std::chrono::milliseconds(5);
  ResultPtr const result = FollowTask(
      *client, id, [&seen](Progress const& p) { seen.push_back(p.completed); }, options);
  ASSERT_TRUE(result && result->success()) << ErrorName(result);
  std::string text;
  ASSERT_TRUE(Data::DataValue::Value(result->output(), text, messages));
  EXPECT_EQ(text, "done");
  EXPECT_FALSE(seen.empty());
}

TEST_F(Rpc, ManyThreadsCallAtOnceOverOnePool) {
  // On the server's own two threads, then with its owner's loop as the first of its contexts.
  for (bool const ownersLoop : {false, true}) {
    auto const loop = std::make_shared<net::io_context>();
    auto work = net::make_work_guard(*loop);
    std::thread owner([loop] { loop->run(); });
    ServerOptions options;
    options.threads = 2;
    if (ownersLoop) options.context = loop;
    Serve(options);
    auto client = Connect();
    ValuePtr const input = FromJson(kEveryKind, *DeviceInput());
    std::atomic<int> good{0};
    std::vector<std::thread> callers;
    for (int t = 0; t < 4; ++t) {
      callers.emplace_back([&] {
        for (int i = 0; i < 50; ++i) {
          ResultPtr const r = Call(*client, "echo", input);
          if (r && r->success()) ++good;
        }
      });
    }
    for (auto& caller : callers) caller.join();
    EXPECT_EQ(good.load(), 200) << ownersLoop;
    // A call still held when the server stops ends for its caller; Stop() does not wait for it.
    auto held = std::async(std::launch::async, [&] { return Call(*client, "hang", nullptr); });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    server_->Stop();
    ASSERT_EQ(held.wait_for(std::chrono::seconds(10)), std::future_status::ready) << ownersLoop;
    EXPECT_EQ(ErrorName(held.get()), ErrorIds::kServiceUnavailable) << ownersLoop;
    ReleaseHeld();
    work.reset();
    owner.join();
  }
}

TEST_F(Rpc, PendingCallsEndWhenTheServerDiesTheClientGoesOrTheDeadlinePasses) {
  Serve();
  {
    ClientOptions options;
    options.callTimeout = std::chrono::milliseconds(200);
    auto client = Connect(options);
    EXPECT_EQ(ErrorName(Call(*client, "hang", nullptr)), ErrorIds::kTimedOut);
  }
  {
    auto client = Connect();
    auto promise = std::make_shared<std::promise<ResultPtr>>();
    client->InvokeAsync(Method("hang"), nullptr, Core::AsyncActivation::GetInstance(),
                        Core::AsyncApiResultCb::GetInstance([promise](ResultPtr const& r, Progress const&) {
                          if (r) promise->set_value(r);
                        }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    client.reset();
    auto future = promise->get_future();
    ASSERT_EQ(future.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_EQ(ErrorName(future.get()), ErrorIds::kServiceUnavailable);
  }
  auto client = Connect();
  auto result = std::async(std::launch::async, [&] { return Call(*client, "hang", nullptr); });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  server_.reset();
  ASSERT_EQ(result.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_EQ(ErrorName(result.get()), ErrorIds::kServiceUnavailable);
}

TEST_F(Rpc, BadRequestsGetTheirJsonRpcOrHttpError) {
  ServerOptions options;
  options.limits.bodyBytes = 64 * 1024;
  options.limits.jsonDepth = 16;
  options.limits.callsPerConnection = 4;
  Serve(options);
  unsigned short const port = server_->port();
  std::string const deep =
      R"({"jsonrpc":"2.0","id":1,"method":"com.quarn.test.echo/echo","params":{"device":{"name":"x","extra":)" +
      std::string(40, '[') + std::string(40, ']') + "}}}";
  struct Case {
    char const* name;
    std::string body;
    unsigned status;
    char const* expected;  // a fragment of the reply
  };
  Case const cases[] = {
      {"not json", "{\"jsonrpc\":", 200, "\"code\":-32700"},
      {"not utf-8", "\"\xff\"", 200, "\"code\":-32700"},
      {"wrong version", R"({"jsonrpc":"1.0","id":1,"method":"x"})", 200, "\"code\":-32600"},
      {"method not a string", R"({"jsonrpc":"2.0","id":1,"method":7})", 200, "\"code\":-32600"},
      {"params by position", R"({"jsonrpc":"2.0","id":1,"method":"com.quarn.test.echo/fail","params":[]})",
       200, "\"code\":-32600"},
      {"empty batch", "[]", 200, "\"code\":-32600"},
      {"batch of scalars", "[1,2]", 200, "[{\"jsonrpc\":\"2.0\",\"id\":null,\"error\":{\"code\":-32600"},
      {"batch at the limit", "[1,2,3,4]", 200,
       "[{\"jsonrpc\":\"2.0\",\"id\":null,\"error\":{\"code\":-32600"},
      {"batch too large", "[{},{},{},{},{}]", 200, "\"code\":-32600"},
      {"unknown method", R"({"jsonrpc":"2.0","id":"a","method":"com.quarn.test.echo/nope"})", 200,
       "\"id\":\"a\",\"error\":{\"code\":-32601"},
      {"bad params",
       R"({"jsonrpc":"2.0","id":2,"method":"com.quarn.test.echo/echo","params":{"device":{"count":"x"}}})",
       200, "\"code\":-32602"},
      {"over-deep body", deep, 200, "\"code\":-32700"},
      {"notifications only", R"([{"jsonrpc":"2.0","method":"com.quarn.test.echo/fail"}])", 204, ""},
      {"mixed batch",
       R"([{"jsonrpc":"2.0","method":"com.quarn.test.echo/fail"},{"jsonrpc":"2.0","id":9,"method":"rpc.discover"}])",
       200, "[{\"jsonrpc\":\"2.0\",\"id\":9,\"result\":{\"openrpc\""},
      {"oversized body", std::string(100 * 1024, ' '), 413, ""},
  };
  for (Case const& c : cases) {
    Reply const reply = Post(port, c.body);
    EXPECT_EQ(reply.status, c.status) << c.name;
    EXPECT_NE(reply.body.find(c.expected), std::string::npos) << c.name << ": " << reply.body.substr(0, 300);
  }
  EXPECT_EQ(Post(port, "{}", {}, http::verb::get).status, 405u);
  EXPECT_EQ(Post(port, "{}", {}, http::verb::post, "/other").status, 404u);
  EXPECT_NE(Raw(port, "NONSENSE\r\n\r\n").first.find("400 Bad Request"), std::string::npos);
  EXPECT_NE(Raw(port, "POST /rpc HTTP/1.1\r\nHost: x\r\nX-Big: " + std::string(32 * 1024, 'a') + "\r\n\r\n")
                .first.find(" 431 "),
            std::string::npos);
  // Without a socket: pipelined requests are answered in order, and nothing after a refusal is read.
  std::string const call = "POST /rpc HTTP/1.1\r\nContent-Length: 2\r\n\r\n[]";
  std::string const served = server_->Serve(call + call + "NONSENSE\r\n\r\n" + call);
  EXPECT_EQ(served.find("HTTP/1.1 200 "), 0u) << served;
  EXPECT_NE(served.find("HTTP/1.1 200 ", 1), std::string::npos) << served;
  EXPECT_EQ(served.rfind("HTTP/1.1 "), served.find("HTTP/1.1 400 ")) << served;
}

// Depth and width cost the parser heap, never stack: a body a million levels deep or a million
// members wide gets the parse error that names a limit, and the server goes on.
TEST_F(Rpc, AMillionDeepOrWideBodyGetsItsErrorAndTheServerStaysUp) {
  constexpr std::size_t kMillion = 1000000;
  ServerOptions options;
  options.limits.bodyBytes = 64u << 20;  // so that the JSON limits answer, not the body limit
  Serve(options);
  std::string const call =
      R"({"jsonrpc":"2.0","id":1,"method":"com.quarn.test.echo/echo","params":{"device":)";
  std::string wideList = call + R"({"sizes":[)";
  std::string wideObject = call + R"({"labels":{)";
  for (std::size_t i = 0; i < kMillion; ++i) {
    wideList += i ? ",1" : "1";
    wideObject += (i ? ",\"k" : "\"k") + std::to_string(i) + "\":\"v\"";
  }
  struct Case {
    char const* name;
    std::string body;
  };
  Case const cases[] = {
      {"nested arrays as the body", std::string(kMillion, '[') + std::string(kMillion, ']')},
      {"nested objects in the params", call + R"({"name":"x","extra":)" +
                                           [] {
                                             std::string nested;
                                             for (std::size_t i = 0; i < kMillion; ++i) nested += R"({"a":)";
                                             return nested + "1" + std::string(kMillion, '}');
                                           }() +
                                           "}}}"},
      {"a list of a million numbers", wideList + "]}}}"},
      {"a map of a million entries", wideObject + "}}}}"},
  };
  for (Case const& c : cases) {
    Reply const reply = Post(server_->port(), c.body);
    EXPECT_EQ(reply.status, 200u) << c.name;
    EXPECT_NE(reply.body.find(
                  R"("code":-32700,"message":"The request is not a JSON-RPC request: it holds a limit)"),
              std::string::npos)
        << c.name << ": " << reply.body.substr(0, 300);
  }
  ResultPtr const echoed = Call(*Connect(), "echo", FromJson(kEveryKind, *DeviceInput()));
  EXPECT_TRUE(echoed && echoed->success()) << ErrorName(echoed);
}

TEST_F(Rpc, ASlowClientIsCutOff) {
  ServerOptions options;
  options.limits.readTimeout = std::chrono::milliseconds(300);
  Serve(options);
  std::string const request = "POST /rpc HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\n\r\n{}";
  auto const outcome = Raw(server_->port(), request, std::chrono::milliseconds(50));
  EXPECT_TRUE(outcome.first.empty());
  EXPECT_LT(outcome.second, std::chrono::milliseconds(2000));
}

TEST_F(Rpc, CallsNeedASessionAndMessagesComeInTheCallersLanguage) {
  SecretString const password("correct horse");
  ServerOptions options;
  std::list<BaseMessage> messages;
  options.authenticator =
      UsersFileAuthenticator::Parse(MakeUsersLine("ada", password, 1000) + "\n", messages);
  ASSERT_TRUE(options.authenticator);
  // The sessions' clock is the test's, so that one can go idle without waiting.
  auto const now = std::make_shared<std::atomic<int64_t>>(1'700'000'000'000);
  options.sessions.clock = [now] { return now->load(); };
  options.sessions.idleTimeout = std::chrono::seconds(60);
  Serve(options);
  auto client = Connect();
  EXPECT_EQ(ErrorName(Call(*client, "echo", FromJson(kEveryKind, *DeviceInput()))),
            ErrorIds::kUnauthenticated);

  std::string const login =
      R"({"jsonrpc":"2.0","id":1,"method":"com.quarn.cis.session/create","params":{"user_name":"ada","password":")";
  Reply const refused = Post(server_->port(), login + "wrong\"}}");
  EXPECT_NE(refused.body.find("unauthenticated"), std::string::npos) << refused.body;
  EXPECT_EQ(refused.body.find("wrong"), std::string::npos) << "a password came back";

  auto const logIn = [&] {
    Reply const created = Post(server_->port(), login + password.reveal() + "\"}}");
    std::size_t const at = created.body.find("\"result\":\"");
    EXPECT_NE(at, std::string::npos) << created.body;
    return at == std::string::npos ? std::string()
                                   : created.body.substr(at + 10, created.body.find('"', at + 10) - at - 10);
  };
  std::string const token = logIn();
  client->session(SecretString(token));
  ResultPtr const failed = Call(*client, "fail", nullptr);
  ASSERT_EQ(ErrorName(failed), ErrorIds::kNotFound);
  EXPECT_EQ(failed->error()->messages().front().args().front(), "t-ada")
      << "the session reaches the activation";

  Reply const german =
      Post(server_->port(), R"({"jsonrpc":"2.0","id":1,"method":"com.quarn.test.echo/fail"})",
           {{"Authorization", "Bearer " + token}, {"Accept-Language", "de-CH, en;q=0.5"}});
  EXPECT_NE(german.body.find("Es gibt keine Aufgabe"), std::string::npos) << german.body;
  EXPECT_EQ(german.body.find(token), std::string::npos);

  Post(server_->port(), R"({"jsonrpc":"2.0","id":1,"method":"com.quarn.cis.session/delete"})",
       {{"Authorization", "Bearer " + token}});
  EXPECT_EQ(ErrorName(Call(*client, "fail", nullptr)), ErrorIds::kUnauthenticated);

  // A session left idle is gone, also for the connection that found it and keeps it.
  client->session(SecretString(logIn()));
  ASSERT_EQ(ErrorName(Call(*client, "fail", nullptr)), ErrorIds::kNotFound);
  ASSERT_EQ(ErrorName(Call(*client, "fail", nullptr)), ErrorIds::kNotFound);
  now->fetch_add(61'000);
  EXPECT_EQ(ErrorName(Call(*client, "fail", nullptr)), ErrorIds::kUnauthenticated);
}

// A throw-away certificate authority and a server certificate for "localhost", made with the
// openssl command; nothing of it is kept.
struct Certificates {
  std::string dir;
  bool made = false;
  Certificates() {
    char pattern[] = "/tmp/opax-rpc-tls-XXXXXX";
    dir = mkdtemp(pattern);
    std::string const script =
        "cd " + dir +
        " && openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 1 -subj /CN=test-ca "
        ">/dev/null 2>&1 && openssl req -newkey rsa:2048 -nodes -keyout server.key -out server.csr -subj "
        "/CN=localhost "
        ">/dev/null 2>&1 && printf 'subjectAltName=DNS:localhost,IP:127.0.0.1' > ext && openssl x509 -req "
        "-in server.csr "
        "-CA ca.pem -CAkey ca.key -CAcreateserial -out server.pem -days 1 -extfile ext >/dev/null 2>&1";
    made = std::system(script.c_str()) == 0;
  }
  ~Certificates() { std::system(("rm -rf " + dir).c_str()); }
};

TEST_F(Rpc, TlsVerifiesTheServerUnlessToldNotTo) {
  Certificates certificates;
  ASSERT_TRUE(certificates.made) << "the openssl command is needed to make test certificates";
  ServerOptions options;
  options.tls = TlsFiles{certificates.dir + "/server.pem", certificates.dir + "/server.key"};
  Serve(options);
  std::string const url = "https://localhost:" + std::to_string(server_->port());
  ValuePtr const input = FromJson(kEveryKind, *DeviceInput());

  ClientOptions trusting;
  trusting.url = url;
  trusting.caFile = certificates.dir + "/ca.pem";
  ResultPtr const echoed = Call(*Connect(trusting), "echo", input);
  EXPECT_TRUE(echoed && echoed->success()) << ErrorName(echoed);

  ClientOptions untrusting;
  untrusting.url = url;
  EXPECT_EQ(ErrorName(Call(*Connect(untrusting), "echo", input)), ErrorIds::kUnverifiedPeer);

  ClientOptions insecure;
  insecure.url = url;
  insecure.verifyPeer = false;
  ResultPtr const unverified = Call(*Connect(insecure), "echo", input);
  EXPECT_TRUE(unverified && unverified->success()) << ErrorName(unverified);
}

}  // namespace
}  // namespace Rpc
}  // namespace Opax
