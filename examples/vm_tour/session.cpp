#include "session.h"

#include "wait.h"

#include <opax/cis/session.h>

namespace VmTour {
namespace {

using SessionSvc = ::Com::Quarn::Cis::SessionSvc;

std::shared_ptr<SessionSvc::AsyncServiceStub> SessionStub(std::shared_ptr<::Opax::Rpc::RpcClient> client) {
  return SessionSvc::AsyncServiceStub::GetInstance(
      ::Opax::Stub::AsyncApiStub::GetInstance(std::move(client)));
}

}  // namespace

std::shared_ptr<::Opax::Rpc::RpcClient> Connect(TourOptions const& options, Report& report) {
  report.Step("Connect to " + options.serverUrl);
  ::Opax::Rpc::ClientOptions clientOptions;
  clientOptions.url = options.serverUrl;
  // With no CA file the server's certificate must chain to one the system trusts.
  clientOptions.caFile = options.caFile;
  // Every call ends by then, with the server's answer or with timed_out: the tour never hangs.
  clientOptions.callTimeout = std::chrono::seconds(30);
  std::list<::Opax::BaseMessage> messages;
  auto client = ::Opax::Rpc::RpcClient::Create(clientOptions, messages);
  if (!client) {
    report.Failed("cannot make a client for " + options.serverUrl, messages);
    return nullptr;
  }
  report.Detail("client", "ready; the connection opens with the first call");
  return client;
}

bool LogIn(std::shared_ptr<::Opax::Rpc::RpcClient> const& client, TourOptions const& options,
           Report& report) {
  report.Step("Log in as " + options.user);
  auto session = SessionStub(client);
  auto token = WaitFor<::Opax::SecretString>(
      [&](auto const& result) { session->Create(options.user, options.password, nullptr, result); });
  if (token.error) {
    report.Failed("the server did not open a session", token.error);
    return false;
  }
  client->session(*token.value);
  // The token is a secret like the password: it is used, never shown.
  report.Detail("session", "open");
  return true;
}

void LogOut(std::shared_ptr<::Opax::Rpc::RpcClient> const& client, Report& report) {
  report.Step("Log out");
  auto ended =
      WaitFor<::Opax::Void>([&](auto const& result) { SessionStub(client)->Delete(nullptr, result); });
  if (ended.error) {
    report.Failed("the session did not end", ended.error);
    return;
  }
  report.Detail("session", "closed");
}

}  // namespace VmTour
