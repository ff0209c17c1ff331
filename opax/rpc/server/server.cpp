#include <opax/rpc/server/server.h>

#include <opax/core/l10n/message_catalog.h>
#include <opax/core/message/message_ids.h>
#include <opax/core/provider/in_process_provider.h>
#include <opax/rpc/auth/session_service.h>
#include <opax/rpc/discovery/openrpc.h>
#include <opax/rpc/protocol/call_context.h>
#include <opax/rpc/protocol/json_rpc.h>
#include <opax/rpc/server/dispatcher.h>
#include <opax/rpc/tasks/task_service.h>

#include <boost/asio/dispatch.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/strand.hpp>
#include <boost/beast/_experimental/test/stream.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <atomic>
#include <future>
#include <map>
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

namespace {

// Request ids only need to be unique, not unguessable: a random prefix drawn once per process and
// a counter. Drawing random bytes per request cost a lock-free but heavy trip through the
// library's generator (and a getpid each time) on every call.
std::string NewRequestId() {
  static std::string const prefix = [] {
    unsigned char bytes[4] = {};
    RAND_bytes(bytes, sizeof bytes);
    static constexpr char kHex[] = "0123456789abcdef";
    std::string text;
    for (unsigned char const b : bytes) {
      text.push_back(kHex[b >> 4]);
      text.push_back(kHex[b & 0xF]);
    }
    return text + '-';
  }();
  static std::atomic<std::uint64_t> next{0};
  return prefix + std::to_string(next.fetch_add(1, std::memory_order_relaxed));
}

}  // namespace

// Everything the connections share. Connections hold it, so the I/O context outlives every socket
// even when a provider completes a call after the server has stopped.
struct RpcServer::State {
  explicit State(ServerOptions o) : options(std::move(o)), tlsContext(ssl::context::tls_server) {
    if (options.context) contexts.push_back(options.context);
    while (contexts.size() < std::max(1u, options.threads)) {
      // Hint 1: each context is run by one thread (others only post replies to it).
      contexts.push_back(std::make_shared<net::io_context>(1));
      idleGuards.push_back(net::make_work_guard(*contexts.back()));
    }
    acceptor.emplace(*contexts.front());
  }

  // Hands a call's reply to its connection, unless the server has stopped: then the reply is
  // dropped on the calling thread. A provider that answered at once, on the connection's own
  // strand, has it written there and then; one that answered on another thread has it queued. No
  // lock: provider threads only ever read two atomics here.
  template <class Executor, class Handler>
  void Post(Executor const& executor, Handler&& handler) {
    posting.fetch_add(1);
    if (open.load()) net::dispatch(executor, std::forward<Handler>(handler));
    posting.fetch_sub(1);
  }

  ServerOptions options;
  // One I/O context per I/O thread, each run by its thread alone: a connection lives on one of
  // them from accept to close, so its handlers never wake another I/O thread, as they did when
  // all threads shared one context. The guards keep a thread running while its context is idle.
  std::vector<std::shared_ptr<net::io_context>> contexts;  // the owner's first, when given
  std::vector<net::executor_work_guard<net::io_context::executor_type>> idleGuards;
  std::size_t nextContext = 0;  // touched by the accept handler only, on the first context
  ssl::context tlsContext;
  boost::optional<tcp::acceptor> acceptor;  // on the first context
  std::vector<std::thread> threads;
  bool started = false;
  std::shared_ptr<Dispatcher> dispatcher;
  std::shared_ptr<SessionStore> sessions;
  std::shared_ptr<L10n::Localizer const> localizer;
  std::atomic<std::size_t> connections{0};
  std::atomic<int> posting{0};
  std::atomic<bool> open{true};
  unsigned short port = 0;

  // How to close each live connection, for Stop(); touched when a connection comes and goes only.
  std::mutex liveMutex;
  std::map<uint64_t, std::function<void()>> live;
  uint64_t nextConnection = 0;
  std::atomic<bool> stopping{false};
};

namespace {

using StatePtr = std::shared_ptr<RpcServer::State>;

// What a connection does to the stream below HTTP (and TLS): a socket's has deadlines and is shut
// down; an in-memory stream (RpcServer::Serve) has no clock and is just closed.
void ExpireAfter(beast::tcp_stream& stream, std::chrono::milliseconds timeout) {
  stream.expires_after(timeout);
}
void ExpireAfter(beast::test::stream&, std::chrono::milliseconds) {}

void CloseLowest(beast::tcp_stream& stream) {
  beast::error_code ignored;
  stream.socket().shutdown(tcp::socket::shutdown_both, ignored);
  stream.close();
}
void CloseLowest(beast::test::stream& stream) { stream.close(); }

template <class Stream>
class Connection : public std::enable_shared_from_this<Connection<Stream>> {
 public:
  template <class... Args>
  Connection(StatePtr state, Args&&... args)
      : state_(std::move(state)), stream_(std::forward<Args>(args)...) {}

  ~Connection() {
    {
      std::lock_guard<std::mutex> lock(state_->liveMutex);
      state_->live.erase(id_);
    }
    state_->connections.fetch_sub(1);
  }

  void id(uint64_t id) { id_ = id; }

  void Start() {
    if constexpr (kTls) {
      ExpireAfter(Lowest(), state_->options.limits.readTimeout);
      stream_.async_handshake(ssl::stream_base::server,
                              [self = this->shared_from_this()](beast::error_code ec) {
                                if (ec) return self->Close();
                                self->AwaitRequest();
                              });
    } else {
      AwaitRequest();
    }
  }

  void Close() { CloseLowest(Lowest()); }

  auto executor() { return Lowest().get_executor(); }

 private:
  static constexpr bool kTls = std::is_same<Stream, beast::ssl_stream<beast::tcp_stream>>::value;

  auto& Lowest() { return beast::get_lowest_layer(stream_); }
  ServerLimits const& limits() const { return state_->options.limits; }

  // Waits for the first byte of the next request for up to the idle timeout; the whole request
  // must then arrive within the read timeout.
  void AwaitRequest() {
    if (buffer_.size() > 0) return ReadRequest();
    ExpireAfter(Lowest(), limits().idleTimeout);
    stream_.async_read_some(buffer_.prepare(4096),
                            [self = this->shared_from_this()](beast::error_code ec, std::size_t n) {
                              if (ec) return self->Close();
                              self->buffer_.commit(n);
                              self->ReadRequest();
                            });
  }

  void ReadRequest() {
    parser_.emplace();
    parser_->header_limit(static_cast<std::uint32_t>(limits().headerBytes));
    parser_->body_limit(limits().bodyBytes);
    ExpireAfter(Lowest(), limits().readTimeout);
    http::async_read(
        stream_, buffer_, *parser_,
        [self = this->shared_from_this()](beast::error_code ec, std::size_t) { self->OnRead(ec); });
  }

  void OnRead(beast::error_code ec) {
    if (ec == http::error::body_limit)
      return Refuse(http::status::payload_too_large, "The body is larger than this server takes.");
    if (ec == http::error::header_limit) {
      return Refuse(http::status::request_header_fields_too_large,
                    "The header is larger than this server takes.");
    }
    if (ec == beast::error::timeout || ec == http::error::end_of_stream || ec == net::error::eof ||
        ec == net::error::operation_aborted || ec == net::error::connection_reset) {
      return Close();
    }
    if (ec) return Refuse(http::status::bad_request, "The request is not HTTP/1.1.");
    auto const& request = parser_->get();
    keepAlive_ = request.keep_alive();
    if (request.target() != kEndpoint)
      return Respond(http::status::not_found, "No such endpoint; JSON-RPC is served at /rpc.", false);
    if (request.method() != http::verb::post)
      return Respond(http::status::method_not_allowed, "Use POST.", false);
    if (state_->options.dropRequest && state_->options.dropRequest()) return Close();

    RequestContext context;
    context.session = FindSession(request);
    context.requestId = RequestId(request);
    context.localizer = Localize(request);
    // The body stays in the parser until the reply is written: nothing reads the next request
    // before then, so the dispatcher may read it in place.
    state_->dispatcher->Handle(request.body(), context,
                               [self = this->shared_from_this()](std::string&& reply) {
                                 auto& state = *self->state_;
                                 state.Post(self->executor(), [self, reply = std::move(reply)]() mutable {
                                   if (reply.empty())
                                     return self->Respond(http::status::no_content, std::string(), true);
                                   self->Respond(http::status::ok, std::move(reply), true);
                                 });
                               });
  }

  std::shared_ptr<Session const> FindSession(http::request<http::string_body> const& request) {
    auto const header = request.find(kSessionHeader);
    if (header == request.end() || !state_->sessions) return nullptr;
    std::string_view value(header->value().data(), header->value().size());
    std::string_view const prefix(kBearerPrefix);
    if (value.size() <= prefix.size() || value.substr(0, prefix.size()) != prefix) return nullptr;
    value.remove_prefix(prefix.size());
    // The session found for this connection's last token is kept, so that a keep-alive client
    // pays the store's lookup once; the token is compared in constant time.
    if (session_ && value.size() == token_.reveal().size() &&
        CRYPTO_memcmp(value.data(), token_.reveal().data(), value.size()) == 0) {
      if (state_->sessions->StillValid(*session_, state_->sessions->NowMillis())) return session_;
    }
    session_ = state_->sessions->Find(value);
    token_ = session_ ? SecretString(std::string(value)) : SecretString();
    return session_;
  }

  static std::string RequestId(http::request<http::string_body> const& request) {
    auto const header = request.find(kRequestIdHeader);
    if (header == request.end() || header->value().empty() || header->value().size() > 128)
      return NewRequestId();
    return std::string(header->value());
  }

  L10n::RequestLocalizer Localize(http::request<http::string_body> const& request) const {
    auto const header = request.find(http::field::accept_language);
    if (header == request.end() || !state_->localizer) return L10n::RequestLocalizer();
    std::error_code error;
    auto const preference = L10n::LocaleHelpers::MakeLanguagePreference(
        boost::string_view(header->value().data(), header->value().size()), error);
    if (error) return L10n::RequestLocalizer();
    return state_->localizer->ForRequest(
        preference, L10n::TimezoneSpec(std::string(L10n::LocaleHelpers::defaultTimezone())));
  }

  // An HTTP-level refusal: answered, then the connection is closed, since what follows on it
  // cannot be trusted to start a request.
  void Refuse(http::status status, char const* text) { Respond(status, text, false); }

  void Respond(http::status status, std::string body, bool json) {
    response_ = {};
    response_.version(11);
    response_.result(status);
    response_.set(http::field::server, "opax-rpc");
    bool const ok = status == http::status::ok || status == http::status::no_content;
    if (!ok) keepAlive_ = false;
    if (!body.empty())
      response_.set(http::field::content_type, json ? "application/json" : "text/plain; charset=utf-8");
    response_.body() = std::move(body);
    response_.keep_alive(keepAlive_);
    response_.prepare_payload();
    ExpireAfter(Lowest(), limits().readTimeout);
    http::async_write(stream_, response_,
                      [self = this->shared_from_this()](beast::error_code ec, std::size_t) {
                        if (ec) return self->Close();
                        if (!self->keepAlive_) return self->Shutdown();
                        self->parser_.reset();
                        self->AwaitRequest();
                      });
  }

  void Shutdown() {
    if constexpr (kTls) {
      ExpireAfter(Lowest(), std::chrono::seconds(2));
      stream_.async_shutdown([self = this->shared_from_this()](beast::error_code) { self->Close(); });
    } else {
      Close();
    }
  }

  StatePtr state_;
  Stream stream_;
  beast::flat_buffer buffer_;
  boost::optional<http::request_parser<http::string_body>> parser_;
  http::response<http::string_body> response_;
  bool keepAlive_ = false;
  std::shared_ptr<Session const> session_;
  SecretString token_;
  uint64_t id_ = 0;
};

void Accept(StatePtr const& state);

// Returns the connection, by weak reference: to tell when it has gone.
template <class Stream, class... Args>
std::weak_ptr<void> Launch(StatePtr const& state, Args&&... args) {
  auto connection = std::make_shared<Connection<Stream>>(state, std::forward<Args>(args)...);
  if (state->stopping.load()) {
    connection->Close();
    return connection;
  }
  {
    // Kept so that Stop() can close it; by weak reference, so that the entry never keeps the
    // connection alive (it leaves the map as the connection goes).
    std::lock_guard<std::mutex> lock(state->liveMutex);
    std::weak_ptr<Connection<Stream>> weak = connection;
    connection->id(++state->nextConnection);
    state->live.emplace(state->nextConnection, [weak] {
      if (auto c = weak.lock()) net::post(c->executor(), [c] { c->Close(); });
    });
  }
  // Started on its own context's thread, which runs all of its handlers from here on.
  net::dispatch(connection->executor(), [connection] { connection->Start(); });
  return connection;
}

void Accept(StatePtr const& state) {
  // Connections are dealt to the contexts in turn.
  net::io_context& home = *state->contexts[state->nextContext++ % state->contexts.size()];
  state->acceptor->async_accept(net::make_strand(home), [state](beast::error_code ec, tcp::socket socket) {
    if (ec == net::error::operation_aborted || !state->acceptor->is_open()) return;
    if (!ec) {
      if (state->connections.fetch_add(1) >= state->options.limits.connections) {
        // Over the limit: closed at once, before anything of it is read.
        state->connections.fetch_sub(1);
        beast::error_code ignored;
        socket.close(ignored);
      } else if (state->options.tls) {
        Launch<beast::ssl_stream<beast::tcp_stream>>(state, std::move(socket), state->tlsContext);
      } else {
        Launch<beast::tcp_stream>(state, std::move(socket));
      }
    }
    Accept(state);
  });
}

}  // namespace

RpcServer::RpcServer(std::shared_ptr<Provider::ApiProvider> provider, ServerOptions options)
    : state_(std::make_shared<State>(std::move(options))) {
  State& state = *state_;
  auto builtIn = std::make_shared<Core::InProcessProvider>();
  if (state.options.authenticator) {
    state.sessions = std::make_shared<SessionStore>(state.options.sessions);
    builtIn->Register(MakeSessionService(state.sessions, state.options.authenticator));
  }
  if (state.options.tasks) builtIn->Register(MakeTaskService(state.options.tasks));
  state.localizer = state.options.localizer;
  if (!state.localizer) {
    // The translations that ship with the library; a server without them answers in English.
    auto catalog = std::make_shared<L10n::MessageCatalog>();
    std::list<BaseMessage> ignored;
    catalog->LoadDirectory(L10n::MessageCatalog::DefaultDirectory(), ignored);
    state.localizer = std::make_shared<L10n::Localizer const>(std::move(catalog));
  }
  DispatchOptions dispatch;
  dispatch.json.maxDepth = state.options.limits.jsonDepth;
  dispatch.json.maxTotalSize = state.options.limits.bodyBytes;
  dispatch.maxBatch = state.options.limits.callsPerConnection;
  dispatch.requireSession = state.options.authenticator != nullptr;
  dispatch.localizer = state.localizer;
  // What "rpc.discover" describes: the services the hosted provider serves (all the catalogue
  // knows, when it cannot tell) and the server's own.
  std::vector<std::string> served = builtIn->services();
  if (auto const inProcess = std::dynamic_pointer_cast<Core::InProcessProvider>(provider)) {
    for (auto const& id : inProcess->services()) served.push_back(id);
  } else {
    for (auto const* service : Catalog::ServiceCatalog::Instance().services()) served.push_back(service->id);
  }
  auto dispatcher = std::make_shared<Dispatcher>(std::move(provider), std::move(builtIn),
                                                 std::make_shared<OperationTable const>(), dispatch);
  dispatcher->discovery(std::make_shared<std::string const>(OpenRpcDocument(served)));
  state.dispatcher = std::move(dispatcher);
}

RpcServer::~RpcServer() { Stop(); }

bool RpcServer::Start(std::list<BaseMessage>& messages) {
  State& state = *state_;
  beast::error_code ec;
  if (state.options.tls) {
    state.tlsContext.set_options(ssl::context::default_workarounds | ssl::context::no_sslv2 |
                                 ssl::context::no_sslv3 | ssl::context::no_tlsv1 | ssl::context::no_tlsv1_1);
    state.tlsContext.use_certificate_chain_file(state.options.tls->certificateChain, ec);
    if (ec)
      return messages.push_back(
                 BaseMessage::Make(MessageIds::kRpcTlsSetup, {"certificate chain", ec.message()})),
             false;
    state.tlsContext.use_private_key_file(state.options.tls->privateKey, ssl::context::pem, ec);
    if (ec)
      return messages.push_back(BaseMessage::Make(MessageIds::kRpcTlsSetup, {"private key", ec.message()})),
             false;
  }
  std::string const where = state.options.address + ":" + std::to_string(state.options.port);
  auto const address = net::ip::make_address(state.options.address, ec);
  if (!ec) {
    tcp::endpoint const endpoint(address, state.options.port);
    state.acceptor->open(endpoint.protocol(), ec);
    if (!ec) state.acceptor->set_option(net::socket_base::reuse_address(true), ec);
    if (!ec) state.acceptor->bind(endpoint, ec);
    if (!ec) state.acceptor->listen(net::socket_base::max_listen_connections, ec);
  }
  if (ec)
    return messages.push_back(BaseMessage::Make(MessageIds::kRpcListenFailed, {where, ec.message()})), false;
  state.port = state.acceptor->local_endpoint().port();
  Accept(state_);
  for (std::size_t i = state.options.context ? 1 : 0; i < state.contexts.size(); ++i)
    state.threads.emplace_back([state = state_, io = state.contexts[i].get()] { io->run(); });
  state.started = true;
  return true;
}

void RpcServer::Stop() {
  State& state = *state_;
  if (!state.started) return;
  state.started = false;
  state.stopping.store(true);
  net::post(*state.contexts.front(), [&state] {
    beast::error_code ignored;
    state.acceptor->close(ignored);
  });
  // The closers run outside the lock: a connection that ends on its own thread meanwhile may be
  // destroyed here, by the closer's last reference, and its destructor takes the lock.
  std::vector<std::function<void()>> closers;
  {
    std::lock_guard<std::mutex> lock(state.liveMutex);
    for (auto const& entry : state.live) closers.push_back(entry.second);
  }
  for (auto const& close : closers) close();
  state.idleGuards.clear();
  std::vector<std::shared_ptr<net::io_context>> const owned(
      state.contexts.begin() + (state.options.context ? 1 : 0), state.contexts.end());
  for (auto const& context : owned) context->stop();
  for (auto& thread : state.threads) thread.join();
  state.threads.clear();
  // From here on, replies of calls still in the provider are dropped where they complete.
  state.open.store(false);
  while (state.posting.load() != 0) std::this_thread::yield();
  // What was queued before that runs once more here, so that the connections it holds go now;
  // until no context has anything left, since a handler on one may post to another.
  for (std::size_t ran = 1; ran > 0;) {
    ran = 0;
    for (auto const& context : owned) {
      context->restart();
      ran += context->poll();
    }
  }
  if (state.options.context) {
    // The owner's thread runs the first context, and what was posted there (closing the listener
    // and the connections) runs there. Wait until it has, and then until what those last handlers
    // queued has run too, so that nothing of the server's is left queued in the owner's loop:
    // once Stop() returns, no connection is accepted and the owner may stop its loop. Never
    // called from the owner's thread, which would wait for itself.
    for (int round = 0; round < 2; ++round) {
      std::promise<void> ran;
      net::post(*state.options.context, [&ran] { ran.set_value(); });
      ran.get_future().wait();
    }
  }
}

std::string RpcServer::Serve(std::string_view received) {
  net::io_context io;
  beast::test::stream local(io);
  beast::test::stream peer(io);
  local.connect(peer);
  local.append(received);
  // The peer has said all it will: once the bytes are read, the next read sees the end.
  local.close_remote();
  state_->connections.fetch_add(1);
  std::weak_ptr<void> const alive = Launch<beast::test::stream>(state_, std::move(local));
  // Replies may come from the provider's threads, posted to `io`: run it until the connection
  // has gone, waiting a little whenever it waits for such a reply.
  while (!alive.expired()) {
    io.restart();
    if (io.run() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return peer.str();
}

unsigned short RpcServer::port() const { return state_->port; }
std::shared_ptr<SessionStore> const& RpcServer::sessions() const { return state_->sessions; }

}  // namespace Rpc
}  // namespace Opax
