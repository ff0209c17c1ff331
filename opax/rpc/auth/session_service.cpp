#include <opax/rpc/auth/session_service.h>

#include <opax/cis/session.h>
#include <opax/core/message/message_ids.h>
#include <opax/rpc/protocol/call_context.h>
#include <opax/std/errors.h>
#include <runtime/service.h>

#include <string>

namespace Opax {
namespace Rpc {
namespace {

using SessionSvc = ::Com::Quarn::Cis::SessionSvc;
namespace Errors = ::Com::Quarn::Opax::Std::Errors;
using ErrorPtr = std::shared_ptr<Data::ErrorValue const>;
template <class T>
using Result = AsyncResult<T, AsyncResultTerminateCbPolicy>;
using Activation = std::shared_ptr<Core::AsyncActivation>;

template <class E>
ErrorPtr StandardError(Errors::ErrorType type, BaseMessage const& message) {
  std::list<std::shared_ptr<::Com::Quarn::Opax::Std::LocalizableMessage const>> carried{
      std::make_shared<::Com::Quarn::Opax::Std::LocalizableMessage const>(
          message.id(), message.defaultMessage(),
          std::list<std::string>(message.args().begin(), message.args().end()))};
  E error(carried);
  error.errorType(type);
  return Binding::ErrorValueOf(error);
}

ErrorPtr Unauthenticated(char const* messageId) {
  return StandardError<Errors::Unauthenticated>(Errors::ErrorType::UNAUTHENTICATED,
                                                BaseMessage::Make(messageId));
}

// The public id of the caller's session, as the server put it into the context; empty if none.
std::string const& CallerSessionId(Activation const& activation) {
  static std::string const kNone;
  if (!activation) return kNone;
  auto const found = activation->context().find(kContextSessionId);
  return found != activation->context().end() ? found->second : kNone;
}

class SessionServer : public SessionSvc::AsyncServiceInterface {
 public:
  SessionServer(std::shared_ptr<SessionStore> sessions, std::shared_ptr<Authenticator const> authenticator)
      : sessions_(std::move(sessions)), authenticator_(std::move(authenticator)) {}

  void Create(std::string const& userName, SecretString const& password, Activation const&,
              Result<SecretString> const& result) override {
    // One answer for an unknown user and a wrong password, so that it does not tell which.
    if (!authenticator_ || !authenticator_->Verify(userName, password)) {
      result.SetError(Unauthenticated(MessageIds::kSessionCredentials));
      return;
    }
    SecretString token;
    if (!sessions_->Create(userName, token)) {
      result.SetError(StandardError<Errors::UnableToAllocateResource>(
          Errors::ErrorType::UNABLE_TO_ALLOCATE_RESOURCE,
          BaseMessage::Make(MessageIds::kSessionLimit, {std::to_string(sessions_->policy().maxSessions)})));
      return;
    }
    result.SetResult(token);
  }

  void Delete(Activation const& activation, Result<Void> const& result) override {
    std::string const& id = CallerSessionId(activation);
    if (id.empty() || !sessions_->Delete(id)) {
      result.SetError(Unauthenticated(MessageIds::kSessionMissing));
      return;
    }
    result.SetResult(Void());
  }

  void Get(Activation const& activation,
           Result<std::shared_ptr<SessionSvc::Info const>> const& result) override {
    std::string const& id = CallerSessionId(activation);
    auto const session = id.empty() ? nullptr : sessions_->FindById(id);
    if (!session) {
      result.SetError(Unauthenticated(MessageIds::kSessionMissing));
      return;
    }
    result.SetResult(std::make_shared<SessionSvc::Info const>(
        session->user(), session->created(), DateTime::FromEpochMilliseconds(session->lastUsedMillis())));
  }

 private:
  std::shared_ptr<SessionStore> const sessions_;
  std::shared_ptr<Authenticator const> const authenticator_;
};

}  // namespace

std::shared_ptr<Provider::AsyncApiInterface const> MakeSessionService(
    std::shared_ptr<SessionStore> sessions, std::shared_ptr<Authenticator const> authenticator) {
  return SessionSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<SessionServer>(std::move(sessions), std::move(authenticator)));
}

}  // namespace Rpc
}  // namespace Opax
