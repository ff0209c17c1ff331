// The blocking stubs over the in-process provider: every way a reply can end (a value, a declared
// error, a reply dropped unanswered, an answer from another thread) ends the wait with it, and
// errors come out typed.

#include <bindings/vm/evc_mode_sync.h>

#include <opax/core/provider/in_process_provider.h>
#include <opax/std/errors.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace {

using ::Com::Quarn::Nexar::Vm::EvcModeSvc;
using ::Opax::Binding::Activation;
using ::Opax::Binding::CallError;
using ::Opax::Binding::Reply;
using ::Opax::Binding::TaskReply;
namespace Errors = ::Com::Quarn::Opax::Std::Errors;

constexpr char kNotFound[] = "com.quarn.opax.std.errors.not_found";

// Answers as the test tells it to.
class EvcModes : public EvcModeSvc::AsyncServiceInterface {
 public:
  std::function<void(Reply<std::shared_ptr<EvcModeSvc::Info const>> const&)> get;
  std::function<void(TaskReply<::Opax::Void> const&)> set;

  void Get(std::string const&, Activation const&,
           Reply<std::shared_ptr<EvcModeSvc::Info const>> const& result) override {
    get(result);
  }
  void Set(std::string const&, boost::optional<std::string> const&, Activation const&,
           TaskReply<::Opax::Void> const& result) override {
    set(result);
  }
};

struct Served {
  std::shared_ptr<EvcModes> impl = std::make_shared<EvcModes>();
  std::shared_ptr<::Opax::Core::InProcessProvider> provider = ::Opax::Core::InProcessProvider::GetInstance();
  EvcModeSvc::SyncServiceStub stub{::Opax::Stub::AsyncApiStub::GetInstance(provider)};
  Served() { provider->Register(EvcModeSvc::AsyncServiceBinder::BindImplementation(impl)); }
};

std::shared_ptr<EvcModeSvc::Info const> ClusterMode() {
  return std::make_shared<EvcModeSvc::Info const>(
      EvcModeSvc::Info(EvcModeSvc::Source(EvcModeSvc::Source::CLUSTER)).mode(std::string("intel-gen4")));
}

TEST(SyncServiceStub, EveryEndOfAReplyEndsTheWait) {
  using Answer = std::function<void(Reply<std::shared_ptr<EvcModeSvc::Info const>> const&)>;
  struct Case {
    char const* what;
    Answer answer;
    char const* error;  // the expected error's name; null: the mode
  };
  std::thread later;
  Case const cases[] = {
      {"answered at once", [](auto const& result) { result.SetResult(ClusterMode()); }, nullptr},
      // The provider runs the implementation on the caller's thread: a reply from elsewhere,
      // later, is what the wait is for.
      {"answered from another thread",
       [&later](auto const& result) { later = std::thread([result] { result.SetResult(ClusterMode()); }); },
       nullptr},
      {"a declared error",
       [](auto const& result) { result.SetError(::Opax::Binding::ErrorValueOf(Errors::NotFound())); },
       kNotFound},
      {"dropped unanswered", [](auto const&) {}, "com.quarn.opax.std.errors.internal_server_error"},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.what);
    Served served;
    served.impl->get = c.answer;
    try {
      auto const info = served.stub.Get("vm-1");
      EXPECT_EQ(c.error, nullptr);
      EXPECT_EQ(*info->mode(), "intel-gen4");
    } catch (CallError const& failed) {
      EXPECT_EQ(failed.name(), c.error ? c.error : "");
    }
    if (later.joinable()) later.join();
  }
}

TEST(SyncServiceStub, ErrorsComeOutTyped) {
  Served served;
  served.impl->get = [](auto const& result) {
    result.SetError(::Opax::Binding::ErrorValueOf(
        Errors::NotFound().errorType(Errors::ErrorType(Errors::ErrorType::NOT_FOUND))));
  };
  try {
    served.stub.Get("vm-1");
    FAIL() << "no error";
  } catch (CallError const& failed) {
    EXPECT_FALSE(failed.Is<Errors::Unauthorized>());
    EXPECT_FALSE(failed.As<Errors::Unauthorized>());
    auto const notFound = failed.As<Errors::NotFound>();
    ASSERT_TRUE(notFound);
    EXPECT_TRUE(*notFound->errorType() == Errors::ErrorType::NOT_FOUND);
    EXPECT_STREQ(failed.what(), kNotFound);
  }
}

// A task form returns the id the provider gave the task; the task goes on, and ends, in its registry.
TEST(SyncServiceStub, ATaskFormReturnsTheTaskId) {
  Served served;
  served.impl->set = [](auto const& result) { result.SetResult(::Opax::Void()); };
  auto const id = served.stub.SetTask("vm-1", boost::none);
  auto const task = served.provider->tasks()->Get(id);
  ASSERT_TRUE(task);
  EXPECT_EQ(task->state, ::Opax::Provider::TaskRegistry::State::SUCCEEDED);

  // Over the implementation itself no task is started: a final value where an id belongs is refused.
  EvcModeSvc::SyncServiceStub direct(
      std::static_pointer_cast<EvcModeSvc::AsyncServiceInterface>(served.impl));
  EXPECT_THROW(direct.SetTask("vm-1", boost::none), CallError);
}

}  // namespace
