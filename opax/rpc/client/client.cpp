#include <opax/rpc/client/client.h>

#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>
#include <opax/json/decoder.h>
#include <opax/json/encoder.h>
#include <opax/rpc/protocol/call_context.h>
#include <opax/rpc/protocol/envelope.h>
#include <opax/rpc/protocol/operation_table.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>

#include <atomic>
#include <deque>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace Opax {
namespace Rpc {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace ssl = net::ssl;
using tcp = net::ip::tcp;
using Clock = std::chrono::steady_clock;

namespace {

std::shared_ptr<Core::MethodResult const> Failure(char const* error, BaseMessage message) {
  return Core::MethodResult::GetErrorInstance(Data::ErrorValue::GetInstance(error, {std::move(message)}));
}

struct Url {
  bool tls = false;
  std::string host;
  std::string port;
  std::string target = kEndpoint;
};

bool ParseUrl(std::string const& text, Url& url, std::string& fault) {
  std::string_view rest(text);
  if (rest.substr(0, 7) == "http://") {
    rest.remove_prefix(7);
  } else if (rest.substr(0, 8) == "https://") {
    url.tls = true;
    rest.remove_prefix(8);
  } else {
    return (fault = "it must start with http:// or https://", false);
  }
  std::size_t const slash = rest.find('/');
  std::string_view authority = rest.substr(0, slash);
  if (slash != std::string_view::npos && slash + 1 < rest.size())
    url.target = std::string(rest.substr(slash));
  // User information in a URL would be a password in the clear: sessions carry identity here.
  if (authority.find('@') != std::string_view::npos)
    return (fault = "it must not hold a user name or password", false);
  std::size_t const colon = authority.rfind(':');
  bool const bracketed = !authority.empty() && authority.front() == '[';
  if (colon != std::string_view::npos && (!bracketed || authority[colon - 1] == ']')) {
    url.port = std::string(authority.substr(colon + 1));
    authority = authority.substr(0, colon);
  } else {
    url.port = url.tls ? "443" : "80";
  }
  if (bracketed && authority.size() >= 2 && authority.back() == ']')
    authority = authority.substr(1, authority.size() - 2);
  url.host = std::string(authority);
  if (url.host.empty()) return (fault = "it names no host", false);
  if (url.port.empty() || url.port.find_first_not_of("0123456789") != std::string::npos)
    return (fault = "its port is not a number", false);
  return true;
}

}  // namespace

// One call on its way: made on the caller's thread, then owned by the I/O thread.
struct PendingCall {
  OperationDefinitions const* operation;
  std::string body;
  std::string language;
  std::string requestId;
  std::shared_ptr<Core::AsyncApiResultCb> callback;
  Clock::time_point deadline;
  bool retried = false;
};
using CallPtr = std::shared_ptr<PendingCall>;

struct RpcClient::Impl : std::enable_shared_from_this<RpcClient::Impl> {
  struct Connection;

  ClientOptions options;
  Url url;
  std::string server;  // "host:port", for messages
  net::io_context io;
  net::executor_work_guard<net::io_context::executor_type> work{io.get_executor()};
  ssl::context tls{ssl::context::tls_client};
  std::thread thread;
  std::thread::id threadId;
  OperationTable operations;
  std::atomic<uint64_t> nextId{1};
  std::atomic<bool> closed{false};
  std::shared_ptr<SecretString const> token;  // read and written through std::atomic_load/store

  // I/O thread only.
  std::deque<CallPtr> queue;
  std::vector<std::shared_ptr<Connection>> pool;

  void Complete(CallPtr const& call, std::shared_ptr<Core::MethodResult const> const& result) {
    auto callback = std::move(call->callback);
    if (callback) (*callback)(result, Progress());
  }
  void Pump();
  void CloseAll();
  std::shared_ptr<Core::MethodResult const> Outcome(PendingCall const& call, std::string_view body);
};

// One keep-alive connection, carrying one call at a time.
struct RpcClient::Impl::Connection : std::enable_shared_from_this<RpcClient::Impl::Connection> {
  explicit Connection(Impl& owner) : impl(owner) {
    if (impl.url.tls) {
      tlsStream.emplace(impl.io, impl.tls);
    } else {
      plainStream.emplace(impl.io);
    }
  }

  beast::tcp_stream& Lowest() { return tlsStream ? beast::get_lowest_layer(*tlsStream) : *plainStream; }

  template <class Body>
  void WithStream(Body&& body) {
    if (tlsStream) {
      body(*tlsStream);
    } else {
      body(*plainStream);
    }
  }

  void Send(CallPtr next) {
    call = std::move(next);
    busy = true;
    Lowest().expires_at(call->deadline);
    if (connected) return Write();
    resolver.async_resolve(
        impl.url.host, impl.url.port,
        [self = shared_from_this()](beast::error_code ec, tcp::resolver::results_type results) {
          if (ec) return self->Fail(ec, Stage::Connect);
          self->Lowest().async_connect(results, [self](beast::error_code ec2, tcp::endpoint const&) {
            if (ec2) return self->Fail(ec2, Stage::Connect);
            if (!self->tlsStream) {
              self->connected = true;
              return self->Write();
            }
            self->Handshake();
          });
        });
  }

  void Handshake() {
    auto& stream = *tlsStream;
    // SNI, spelt out: OpenSSL's macro for it casts in the old style.
    if (SSL_ctrl(stream.native_handle(), SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name,
                 const_cast<char*>(impl.url.host.c_str())) != 1) {
      return Fail(beast::error_code(static_cast<int>(::ERR_get_error()), net::error::get_ssl_category()),
                  Stage::Tls);
    }
    if (impl.options.verifyPeer) stream.set_verify_callback(ssl::host_name_verification(impl.url.host));
    stream.async_handshake(ssl::stream_base::client, [self = shared_from_this()](beast::error_code ec) {
      if (ec) return self->Fail(ec, Stage::Tls);
      self->connected = true;
      self->Write();
    });
  }

  void Write() {
    request = {};
    request.method(http::verb::post);
    request.target(impl.url.target);
    request.version(11);
    request.set(http::field::host, impl.url.host);
    request.set(http::field::content_type, "application/json");
    request.set(http::field::user_agent, "opax-rpc");
    if (!call->language.empty()) request.set(http::field::accept_language, call->language);
    if (!call->requestId.empty()) request.set(kRequestIdHeader, call->requestId);
    if (auto const held = std::atomic_load(&impl.token)) {
      if (!held->empty()) request.set(kSessionHeader, kBearerPrefix + held->reveal());
    }
    request.keep_alive(true);
    request.body() = std::move(call->body);
    request.prepare_payload();
    received = false;
    WithStream([this](auto& stream) {
      http::async_write(stream, request, [self = shared_from_this()](beast::error_code ec, std::size_t) {
        // The request is on its way: its body is not needed again, and the header holds the token.
        self->request = {};
        if (ec) return self->Fail(ec, Stage::Exchange);
        self->Read();
      });
    });
  }

  void Read() {
    parser.emplace();
    parser->body_limit(impl.options.maxReplyBytes);
    WithStream([this](auto& stream) {
      http::async_read(stream, buffer, *parser,
                       [self = shared_from_this()](beast::error_code ec, std::size_t bytes) {
                         if (bytes > 0) self->received = true;
                         if (ec) return self->Fail(ec, Stage::Exchange);
                         self->OnReply();
                       });
    });
  }

  void OnReply() {
    auto const& response = parser->get();
    CallPtr done = std::move(call);
    busy = false;
    if (!response.keep_alive()) Reset();
    std::shared_ptr<Core::MethodResult const> result;
    unsigned const status = response.result_int();
    if (status == 200) {
      result = impl.Outcome(*done, response.body());
    } else {
      result = Failure(status >= 500 ? ErrorIds::kServiceUnavailable : ErrorIds::kInvalidArgument,
                       BaseMessage::Make(MessageIds::kRpcHttpStatus, {impl.server, std::to_string(status)}));
    }
    parser.reset();
    impl.Complete(done, result);
    impl.Pump();
  }

  enum class Stage { Connect, Tls, Exchange };

  void Fail(beast::error_code ec, Stage stage) {
    bool const wasConnected = connected;
    Reset();
    CallPtr failed = std::move(call);
    busy = false;
    if (!failed) return;
    // A kept-alive connection that the server closed while it was idle fails on its next use
    // before any reply: the call never reached an implementation, so it goes once more on a
    // fresh connection.
    if (stage == Stage::Exchange && wasConnected && !received && !failed->retried &&
        ec != beast::error::timeout && !impl.closed.load()) {
      failed->retried = true;
      impl.queue.push_front(std::move(failed));
      return impl.Pump();
    }
    std::shared_ptr<Core::MethodResult const> result;
    if (ec == beast::error::timeout) {
      auto const ms = std::chrono::duration_cast<std::chrono::milliseconds>(impl.options.callTimeout).count();
      result = Failure(ErrorIds::kTimedOut,
                       BaseMessage::Make(MessageIds::kRpcTimedOut,
                                         {failed->operation->method->FullName(), std::to_string(ms)}));
    } else if (stage == Stage::Tls) {
      result = Failure(ErrorIds::kUnverifiedPeer,
                       BaseMessage::Make(MessageIds::kRpcTlsUnverified, {impl.server, ec.message()}));
    } else if (stage == Stage::Connect) {
      result = Failure(ErrorIds::kServiceUnavailable,
                       BaseMessage::Make(MessageIds::kRpcConnectFailed, {impl.server, ec.message()}));
    } else {
      result = Failure(ErrorIds::kServiceUnavailable,
                       BaseMessage::Make(MessageIds::kRpcConnectionLost, {impl.server, ec.message()}));
    }
    impl.Complete(failed, result);
    impl.Pump();
  }

  // Back to a fresh, unconnected state: the next call connects anew.
  void Reset() {
    beast::error_code ignored;
    Lowest().socket().shutdown(tcp::socket::shutdown_both, ignored);
    Lowest().close();
    connected = false;
    buffer.clear();
    if (impl.url.tls) {
      tlsStream.emplace(impl.io, impl.tls);
    } else {
      plainStream.emplace(impl.io);
    }
  }

  Impl& impl;
  tcp::resolver resolver{impl.io};
  boost::optional<beast::tcp_stream> plainStream;
  boost::optional<beast::ssl_stream<beast::tcp_stream>> tlsStream;
  beast::flat_buffer buffer;
  http::request<http::string_body> request;
  boost::optional<http::response_parser<http::string_body>> parser;
  CallPtr call;
  bool busy = false;
  bool connected = false;
  bool received = false;
};

void RpcClient::Impl::Pump() {
  while (!queue.empty()) {
    std::shared_ptr<Connection> free;
    for (auto const& connection : pool) {
      if (!connection->busy) {
        free = connection;
        break;
      }
    }
    if (!free) {
      if (pool.size() >= std::max<std::size_t>(1, options.connections)) return;
      pool.push_back(std::make_shared<Connection>(*this));
      free = pool.back();
    }
    CallPtr call = std::move(queue.front());
    queue.pop_front();
    if (Clock::now() >= call->deadline) {
      Complete(call, Failure(ErrorIds::kTimedOut,
                             BaseMessage::Make(MessageIds::kRpcTimedOut,
                                               {call->operation->method->FullName(),
                                                std::to_string(options.callTimeout.count())})));
      continue;
    }
    free->Send(std::move(call));
  }
}

void RpcClient::Impl::CloseAll() {
  std::deque<CallPtr> abandoned;
  abandoned.swap(queue);
  for (auto const& connection : pool) {
    if (connection->call) abandoned.push_back(std::move(connection->call));
    connection->busy = true;  // never used again
    beast::error_code ignored;
    connection->resolver.cancel();
    connection->Lowest().socket().shutdown(tcp::socket::shutdown_both, ignored);
    connection->Lowest().close();
  }
  pool.clear();
  for (auto const& call : abandoned) {
    Complete(call,
             Failure(ErrorIds::kServiceUnavailable,
                     BaseMessage::Make(MessageIds::kRpcClientClosed, {call->operation->method->FullName()})));
  }
}

std::shared_ptr<Core::MethodResult const> RpcClient::Impl::Outcome(PendingCall const& call,
                                                                   std::string_view body) {
  std::vector<RpcReply> replies;
  std::string fault;
  if (!ParseResponse(body, options.json, replies, fault) || replies.size() != 1) {
    if (fault.empty()) fault = "it does not hold exactly one reply";
    return Failure(ErrorIds::kInternalServerError,
                   BaseMessage::Make(MessageIds::kRpcReplyInvalid, {server, fault}));
  }
  RpcReply const& reply = replies.front();
  std::list<BaseMessage> messages;
  std::shared_ptr<Data::DataValue const> value;
  OperationDefinitions const& operation = *call.operation;
  if (!reply.isError) {
    if (!Json::Decode(reply.result, *operation.output, value, messages, options.json)) {
      messages.push_front(BaseMessage::Make(MessageIds::kInvalidOutput, {operation.method->FullName()}));
      return Core::MethodResult::GetErrorInstance(
          Data::ErrorValue::GetInstance(ErrorIds::kInternalServerError, messages));
    }
    return Core::MethodResult::GetInstance(std::move(value));
  }
  // An operation's error travels whole in `data`: read it as the declared error it names, or as
  // any error when the operation does not declare it (the runtime's own errors).
  if (!reply.data.empty() && Json::Decode(reply.data, *Data::DataDefinition::Create<Data::DynamicError>(),
                                          value, messages, options.json)) {
    auto const* error = static_cast<Data::ErrorValue const*>(value.get());
    if (value->kind() == Data::Kind::Error) {
      if (auto const* declared = operation.FindError(error->name())) {
        std::shared_ptr<Data::DataValue const> typed;
        if (Json::Decode(reply.data, *declared, typed, messages, options.json)) value = std::move(typed);
      }
      return Core::MethodResult::GetErrorInstance(std::static_pointer_cast<Data::ErrorValue const>(value));
    }
  }
  return Failure(reply.code == static_cast<int>(RpcCode::MethodNotFound) ? ErrorIds::kNotFound
                                                                         : ErrorIds::kInternalServerError,
                 BaseMessage::Make(MessageIds::kRpcServerError, {std::to_string(reply.code), reply.message}));
}

std::shared_ptr<RpcClient> RpcClient::Create(ClientOptions options, std::list<BaseMessage>& messages) {
  auto impl = std::make_shared<Impl>();
  std::string fault;
  if (!ParseUrl(options.url, impl->url, fault)) {
    messages.push_back(BaseMessage::Make(MessageIds::kRpcUrlInvalid, {fault}));
    return nullptr;
  }
  impl->server = impl->url.host + ":" + impl->url.port;
  if (impl->url.tls) {
    beast::error_code ec;
    impl->tls.set_options(ssl::context::default_workarounds | ssl::context::no_sslv2 |
                          ssl::context::no_sslv3 | ssl::context::no_tlsv1 | ssl::context::no_tlsv1_1);
    if (options.verifyPeer) {
      impl->tls.set_verify_mode(ssl::verify_peer);
      if (options.caFile.empty()) {
        impl->tls.set_default_verify_paths(ec);
      } else {
        impl->tls.load_verify_file(options.caFile, ec);
      }
      if (ec) {
        messages.push_back(
            BaseMessage::Make(MessageIds::kRpcTlsSetup, {"trusted certificates", ec.message()}));
        return nullptr;
      }
    } else {
      impl->tls.set_verify_mode(ssl::verify_none);
    }
  }
  impl->options = std::move(options);
  // The thread holds the client's state too: a client destroyed from its own callback leaves the
  // thread to release it.
  impl->thread = std::thread([self = impl] { self->io.run(); });
  impl->threadId = impl->thread.get_id();
  return std::shared_ptr<RpcClient>(new RpcClient(std::move(impl)));
}

RpcClient::~RpcClient() {
  Close();
  impl_->work.reset();
  impl_->io.stop();
  if (std::this_thread::get_id() == impl_->threadId) {
    // Destroyed from one of its own callbacks: the thread cannot join itself. It keeps what it
    // runs on alive until it leaves, which it does once this callback returns.
    impl_->thread.detach();
    return;
  }
  impl_->thread.join();
  // What was queued after the close (a call made meanwhile, an aborted read) runs once more here,
  // so that nothing it holds is left behind.
  impl_->io.restart();
  while (impl_->io.poll() > 0) {
  }
}

void RpcClient::Close() {
  if (impl_->closed.exchange(true)) return;
  if (std::this_thread::get_id() == impl_->threadId) return impl_->CloseAll();
  std::promise<void> done;
  net::post(impl_->io, [impl = impl_, &done] {
    impl->CloseAll();
    done.set_value();
  });
  done.get_future().wait();
}

void RpcClient::session(SecretString token) {
  std::atomic_store(&impl_->token, std::make_shared<SecretString const>(std::move(token)));
}

void RpcClient::InvokeAsync(std::shared_ptr<Core::MethodIdentifier const> const& method,
                            std::shared_ptr<Data::DataValue const> const& input,
                            std::shared_ptr<Core::AsyncActivation> const& activation,
                            std::shared_ptr<Core::AsyncApiResultCb> const& callback) {
  if (!callback) return;
  Impl& impl = *impl_;
  std::string const name = method && method->interfaceIdentifier()
                               ? RpcMethodName(method->interfaceIdentifier()->name(), method->name())
                               : std::string();
  OperationDefinitions const* const operation = impl.operations.Find(name);
  if (!operation) {
    std::string const service =
        method && method->interfaceIdentifier() ? method->interfaceIdentifier()->name() : "";
    return (*callback)(
        Failure(ErrorIds::kNotFound,
                BaseMessage::Make(MessageIds::kUnknownMethod, {service, method ? method->name() : ""})),
        Progress());
  }
  if (impl.closed.load()) {
    return (*callback)(
        Failure(ErrorIds::kServiceUnavailable, BaseMessage::Make(MessageIds::kRpcClientClosed, {name})),
        Progress());
  }
  auto call = std::make_shared<PendingCall>();
  call->operation = operation;
  call->callback = callback;
  call->deadline = Clock::now() + impl.options.callTimeout;
  std::string& body = call->body;
  body.reserve(256);
  body.append("{\"jsonrpc\":\"2.0\",\"id\":")
      .append(std::to_string(impl.nextId.fetch_add(1, std::memory_order_relaxed)));
  body.append(",\"method\":");
  AppendJsonString(body, name);
  body.append(",\"params\":");
  std::list<BaseMessage> messages;
  if (!input) {
    body.append("{}");
  } else if (!Json::Encode(*input, operation->input.get(), body, messages)) {
    messages.push_front(BaseMessage::Make(MessageIds::kInvalidInput, {name}));
    return (*callback)(Core::MethodResult::GetErrorInstance(
                           Data::ErrorValue::GetInstance(ErrorIds::kInvalidArgument, messages)),
                       Progress());
  }
  body.push_back('}');
  call->language = !impl.options.acceptLanguage.empty() ? impl.options.acceptLanguage
                   : activation                         ? activation->requestLocalizer().language()
                                                        : std::string();
  if (activation) {
    auto const found = activation->context().find(kContextRequestId);
    if (found != activation->context().end()) call->requestId = found->second;
  }
  net::post(impl.io, [impl = impl_, call = std::move(call)]() mutable {
    if (impl->closed.load()) {
      return impl->Complete(call, Failure(ErrorIds::kServiceUnavailable,
                                          BaseMessage::Make(MessageIds::kRpcClientClosed,
                                                            {call->operation->method->FullName()})));
    }
    impl->queue.push_back(std::move(call));
    impl->Pump();
  });
}

}  // namespace Rpc
}  // namespace Opax
