#include <opax/rpc/auth/session_service.h>
#include <opax/rpc/auth/users_file.h>

#include <opax/cis/session.h>
#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>
#include <opax/core/provider/in_process_provider.h>
#include <opax/rpc/protocol/call_context.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>

namespace Opax {
namespace Rpc {
namespace {

using SessionSvc = ::Com::Quarn::Cis::SessionSvc;
using ErrorPtr = std::shared_ptr<Data::ErrorValue const>;

constexpr char kPassword[] = "s3cret-Pa55word";

template <class T>
struct Reply {
  boost::optional<T> value;
  ErrorPtr error;
};

// The in-process provider answers on the calling thread; the future only guards against a call
// that never answers.
template <class T, class Start>
Reply<T> Await(Start&& start) {
  using Result = AsyncResult<T, AsyncResultTerminateCbPolicy>;
  auto promise = std::make_shared<std::promise<Reply<T>>>();
  auto future = promise->get_future();
  {
    Result result(typename Result::Callback(
        [promise](boost::optional<T> const& value, ErrorPtr const& error, Progress const&) {
          if (value || error) promise->set_value(Reply<T>{value, error});
        }));
    start(result);
  }
  EXPECT_EQ(future.wait_for(std::chrono::seconds(5)), std::future_status::ready);
  return future.get();
}

class SessionServiceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::list<BaseMessage> messages;
    auto users =
        UsersFileAuthenticator::Parse(MakeUsersLine("alice", SecretString(kPassword), 1000), messages);
    ASSERT_TRUE(users);
    SessionPolicy policy;
    policy.maxSessions = 2;
    policy.clock = [now = now_] { return now->load(); };
    sessions_ = std::make_shared<SessionStore>(policy);
    provider_->Register(MakeSessionService(sessions_, users));
    stub_ = std::make_shared<SessionSvc::AsyncServiceStub>(Stub::AsyncApiStub::GetInstance(provider_));
  }

  Reply<SecretString> Create(std::string const& user, std::string const& password) {
    return Await<SecretString>([&](auto const& result) {
      stub_->Create(user, SecretString(password), Core::AsyncActivation::GetInstance(), result);
    });
  }
  // The activation a server makes for a call whose token named `sessionId`.
  static std::shared_ptr<Core::AsyncActivation> As(std::string const& sessionId) {
    auto activation = Core::AsyncActivation::GetInstance();
    if (!sessionId.empty()) activation->context()[kContextSessionId] = sessionId;
    return activation;
  }
  Reply<std::shared_ptr<SessionSvc::Info const>> Get(std::string const& sessionId) {
    return Await<std::shared_ptr<SessionSvc::Info const>>(
        [&](auto const& result) { stub_->Get(As(sessionId), result); });
  }
  Reply<Void> Delete(std::string const& sessionId) {
    return Await<Void>([&](auto const& result) { stub_->Delete(As(sessionId), result); });
  }

  // Every error a test saw, for the final check that none carries a secret.
  ErrorPtr Keep(ErrorPtr const& error) {
    if (error) errors_.push_back(error);
    return error;
  }

  std::shared_ptr<std::atomic<int64_t>> now_ = std::make_shared<std::atomic<int64_t>>(1700000000000);
  std::shared_ptr<Core::InProcessProvider> provider_ = Core::InProcessProvider::GetInstance();
  std::shared_ptr<SessionStore> sessions_;
  std::shared_ptr<SessionSvc::AsyncServiceStub> stub_;
  std::vector<ErrorPtr> errors_;
};

std::string FirstMessageId(ErrorPtr const& error) {
  return error && !error->messages().empty() ? error->messages().front().id() : std::string();
}

TEST_F(SessionServiceTest, CreateGetDelete) {
  auto const created = Create("alice", kPassword);
  ASSERT_FALSE(Keep(created.error)) << created.error->ToString();
  ASSERT_TRUE(created.value);
  auto const session = sessions_->Find(created.value->reveal());
  ASSERT_TRUE(session);
  EXPECT_EQ(session->user(), "alice");

  *now_ += 1234;
  ASSERT_TRUE(sessions_->StillValid(*session, *now_));
  auto const info = Get(session->id());
  ASSERT_FALSE(Keep(info.error)) << info.error->ToString();
  ASSERT_TRUE(info.value && *info.value);
  EXPECT_EQ((*info.value)->user(), "alice");
  EXPECT_EQ((*info.value)->createdTime().ToEpochMilliseconds(), 1700000000000);
  EXPECT_EQ((*info.value)->lastUsedTime().ToEpochMilliseconds(), 1700000001234);

  EXPECT_FALSE(Keep(Delete(session->id()).error));
  EXPECT_TRUE(session->closed());
  EXPECT_FALSE(sessions_->Find(created.value->reveal()));
  // Gone for good: neither get nor delete finds it again.
  EXPECT_EQ(FirstMessageId(Keep(Get(session->id()).error)), MessageIds::kSessionMissing);
  EXPECT_EQ(FirstMessageId(Keep(Delete(session->id()).error)), MessageIds::kSessionMissing);
}

TEST_F(SessionServiceTest, WrongPasswordAndUnknownUserGetTheSameAnswer) {
  auto const wrong = Keep(Create("alice", "not the password").error);
  auto const unknown = Keep(Create("mallory", kPassword).error);
  auto const empty = Keep(Create("", "").error);
  for (ErrorPtr const& error : {wrong, unknown, empty}) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->name(), ErrorIds::kUnauthenticated);
    EXPECT_EQ(FirstMessageId(error), MessageIds::kSessionCredentials);
  }
  EXPECT_EQ(wrong->ToString(), unknown->ToString());
  EXPECT_EQ(sessions_->size(), 0u);
}

TEST_F(SessionServiceTest, GetAndDeleteNeedTheCallersOwnSession) {
  auto const created = Create("alice", kPassword);
  ASSERT_TRUE(created.value);
  // No session in the context, an id that names none, and the token where the id should be.
  for (std::string const& id : {std::string(), std::string("made-up"), created.value->reveal()}) {
    for (ErrorPtr const& error : {Keep(Get(id).error), Keep(Delete(id).error)}) {
      ASSERT_TRUE(error);
      EXPECT_EQ(error->name(), ErrorIds::kUnauthenticated);
      EXPECT_EQ(FirstMessageId(error), MessageIds::kSessionMissing);
    }
  }
  EXPECT_TRUE(sessions_->Find(created.value->reveal()));
}

TEST_F(SessionServiceTest, AFullStoreRefusesNewSessions) {
  ASSERT_TRUE(Create("alice", kPassword).value);
  ASSERT_TRUE(Create("alice", kPassword).value);
  auto const refused = Keep(Create("alice", kPassword).error);
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->name(), ErrorIds::kUnableToAllocateResource);
  EXPECT_EQ(FirstMessageId(refused), MessageIds::kSessionLimit);
}

// Whatever went wrong, no error shows the password or a token, in its text or its arguments.
TEST_F(SessionServiceTest, NoErrorCarriesAPasswordOrToken) {
  auto const first = Create("alice", kPassword);
  auto const second = Create("alice", kPassword);
  ASSERT_TRUE(first.value && second.value);
  std::vector<std::string> const secrets{kPassword, "not the password", first.value->reveal(),
                                         second.value->reveal()};
  Keep(Create("alice", kPassword).error);           // store full
  Keep(Create("alice", "not the password").error);  // wrong password
  Keep(Create(kPassword, kPassword).error);         // a password typed as the user name
  Keep(Get(first.value->reveal()).error);           // a token where the id should be
  Keep(Delete(second.value->reveal()).error);
  ASSERT_EQ(errors_.size(), 5u);
  for (ErrorPtr const& error : errors_) {
    std::string text = error->ToString();
    for (BaseMessage const& message : error->messages()) {
      text += message.defaultMessage();
      for (auto const& arg : message.args()) text += "|" + arg;
    }
    for (std::string const& secret : secrets) {
      EXPECT_EQ(text.find(secret), std::string::npos) << FirstMessageId(error);
    }
  }
}

}  // namespace
}  // namespace Rpc
}  // namespace Opax
