// Calls through generated stubs and binders over the in-process provider, with small in-memory
// implementations: every way a call can fail on either side ends in exactly one delivery with
// the right error, and nothing reaches an implementation that should not.

#include <bindings/authorization/privilege_checks/latest.h>
#include <bindings/authorization/roles.h>
#include <bindings/authorization/roles_sync.h>
#include <bindings/cluster/modules.h>
#include <bindings/hafo/cluster/mode.h>
#include <bindings/host/maintenance/requests_v1.h>
#include <bindings/host/maintenance/upgrade_v1.h>
#include <bindings/topology/node_ops.h>

#include <opax/core/provider/in_process_provider.h>
#include <opax/core/testing/deliveries.h>
#include <opax/rpc/client/client.h>
#include <opax/rpc/server/server.h>
#include <runtime/service.h>

#include <boost/optional/optional_io.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace Nexar = ::Com::Quarn::Nexar;
namespace Errors = ::Com::Quarn::Opax::Std::Errors;
using Nexar::Authorization::RolesSvc;
using ::Opax::BaseMessage;
using ::Opax::Progress;
using ::Opax::Core::AsyncActivation;
using ::Opax::Core::AsyncApiResultCb;
using ::Opax::Core::MethodResult;
using ::Opax::Data::DataValue;
using ::Opax::Data::ErrorValue;
using ::Opax::Data::StructValue;
using ErrorPtr = std::shared_ptr<ErrorValue const>;
using Messages = std::list<BaseMessage>;
using Callback = std::shared_ptr<AsyncApiResultCb>;

constexpr char kInvalidArgument[] = "com.quarn.opax.std.errors.invalid_argument";
constexpr char kInternal[] = "com.quarn.opax.std.errors.internal_server_error";
constexpr char kRoles[] = "com.quarn.nexar.authorization.roles";

using ::Opax::Testing::Ids;
template <class Slot>
using Log = ::Opax::Testing::Deliveries<Slot>;

template <class T>
struct Plain : Log<boost::optional<T>> {
  ::Opax::AsyncResult<T> Result() const {
    return ::Opax::AsyncResult<T>(typename ::Opax::AsyncResult<T>::Callback(this->Callback()));
  }
  boost::optional<T> value() const { return this->entries->empty() ? boost::none : this->last().slot; }
};

template <class T>
struct Task : Log<::Opax::TaskResult<T>> {
  ::Opax::AsyncTaskResult<T> Result() const {
    return ::Opax::AsyncTaskResult<T>(typename ::Opax::AsyncTaskResult<T>::Callback(this->Callback()));
  }
};

// Passes every call on, counting them and keeping the last activation it saw.
class CountingProvider : public ::Opax::Provider::ApiProvider {
 public:
  explicit CountingProvider(std::shared_ptr<::Opax::Provider::ApiProvider> next) : next_(std::move(next)) {}
  void InvokeAsync(std::shared_ptr<::Opax::Core::MethodIdentifier const> const& method,
                   std::shared_ptr<DataValue const> const& input,
                   std::shared_ptr<AsyncActivation> const& activation, Callback const& callback) override {
    ++calls;
    lastMethod = method ? method->FullName() : std::string();
    lastInput = input;
    lastActivation = activation;
    next_->InvokeAsync(method, input, activation, callback);
  }
  int calls = 0;
  std::string lastMethod;
  std::shared_ptr<DataValue const> lastInput;
  std::shared_ptr<AsyncActivation> lastActivation;

 private:
  std::shared_ptr<::Opax::Provider::ApiProvider> next_;
};

// Answers every call with whatever the test scripted: a server with a mind of its own.
class ScriptedProvider : public ::Opax::Provider::ApiProvider {
 public:
  using Script = std::function<void(AsyncApiResultCb&)>;
  explicit ScriptedProvider(Script script) : script_(std::move(script)) {}
  void InvokeAsync(std::shared_ptr<::Opax::Core::MethodIdentifier const> const&,
                   std::shared_ptr<DataValue const> const&, std::shared_ptr<AsyncActivation> const&,
                   Callback const& callback) override {
    script_(*callback);
  }

 private:
  Script script_;
};

std::shared_ptr<::Com::Quarn::Opax::Std::LocalizableMessage const> Note(std::string const& text) {
  return std::make_shared<::Com::Quarn::Opax::Std::LocalizableMessage const>("test.note", text,
                                                                             std::list<std::string>{text});
}

// Roles kept in memory. A role's id picks how Delete behaves, so that one implementation can
// complete in every way an implementation can.
class Roles : public RolesSvc::AsyncServiceInterface {
 public:
  using Done = ::Opax::AsyncResult<::Opax::Void, ::Opax::AsyncResultTerminateCbPolicy>;

  void Create(std::shared_ptr<RolesSvc::CreateSpec const> const& spec,
              std::shared_ptr<AsyncActivation> const&,
              ::Opax::AsyncResult<std::string, ::Opax::AsyncResultTerminateCbPolicy> const& result) override {
    ++calls;
    std::string const id = "role-" + std::to_string(roles.size() + 1);
    roles[id] =
        std::make_shared<RolesSvc::Info const>(spec->name(), spec->description(), spec->privileges(), false);
    result.SetResult(id);
  }
  void Get(std::string const& role, std::shared_ptr<AsyncActivation> const&,
           ::Opax::AsyncResult<std::shared_ptr<RolesSvc::Info const>,
                               ::Opax::AsyncResultTerminateCbPolicy> const& result) override {
    ++calls;
    if (role == "null") return result.SetResult(nullptr);
    auto found = roles.find(role);
    if (found == roles.end())
      return result.SetError(::Opax::Binding::ErrorValueOf(Errors::NotFound({Note(role)})));
    result.SetResult(found->second);
  }
  void Delete(std::string const& role, std::shared_ptr<AsyncActivation> const&, Done const& result) override {
    ++calls;
    if (role == "never") return;
    if (role == "later") return pending.push_back(result);
    if (role == "in-use")
      return result.SetError(::Opax::Binding::ErrorValueOf(Errors::ResourceInUse({Note(role)})));
    if (role == "undeclared") {
      return result.SetError(::Opax::Binding::ErrorValueOf(Errors::InvalidElementType({Note(role)})));
    }
    roles.erase(role);
    result.SetResult(::Opax::Void());
  }
  void List(::Opax::OptionalPtr<RolesSvc::FilterSpec const> const& filter,
            std::shared_ptr<AsyncActivation> const&,
            ::Opax::AsyncResult<std::list<std::shared_ptr<RolesSvc::Summary const>>,
                                ::Opax::AsyncResultTerminateCbPolicy> const& result) override {
    ++calls;
    lastFilterSet = filter.is_initialized();
    std::list<std::shared_ptr<RolesSvc::Summary const>> all;
    for (auto const& entry : roles) {
      all.push_back(std::make_shared<RolesSvc::Summary const>(
          entry.first, entry.second->name(), entry.second->description(), entry.second->systemRole()));
    }
    result.SetResult(all);
  }
  void Update(std::string const& role, std::shared_ptr<RolesSvc::UpdateSpec const> const&,
              std::shared_ptr<AsyncActivation> const&, Done const& result) override {
    ++calls;
    if (role == "answer-then-throw") result.SetResult(::Opax::Void());
    if (role.find("throw") != std::string::npos) throw std::runtime_error("the role store is gone");
    result.SetResult(::Opax::Void());
  }

  int calls = 0;
  bool lastFilterSet = false;
  std::map<std::string, std::shared_ptr<RolesSvc::Info const>> roles;
  std::vector<Done> pending;
};

// A client and a server of the roles service in one process.
struct RolesFixture {
  std::shared_ptr<Roles> impl = std::make_shared<Roles>();
  std::shared_ptr<::Opax::Core::InProcessProvider> server =
      std::make_shared<::Opax::Core::InProcessProvider>();
  std::shared_ptr<CountingProvider> counting = std::make_shared<CountingProvider>(server);
  std::shared_ptr<::Opax::Stub::AsyncApiStub> apiStub = ::Opax::Stub::AsyncApiStub::GetInstance(counting);
  std::shared_ptr<RolesSvc::AsyncServiceStub> stub = RolesSvc::AsyncServiceStub::GetInstance(apiStub);

  RolesFixture() {
    server->Register(RolesSvc::AsyncServiceBinder::BindImplementation(impl));
    impl->roles["admin"] =
        std::make_shared<RolesSvc::Info const>("Admin", "all", std::set<std::string>{"p.read"}, true);
  }

  // Invokes `method` of the roles service with a raw input value, as a peer would.
  std::shared_ptr<MethodResult const> Raw(
      std::string const& method, std::shared_ptr<DataValue const> const& input,
      std::shared_ptr<AsyncActivation> const& activation = AsyncActivation::GetInstance()) {
    std::vector<std::shared_ptr<MethodResult const>> results;
    server->InvokeAsync(::Opax::Core::MethodIdentifier::GetInstance(
                            std::make_shared<::Opax::Core::InterfaceIdentifier const>(kRoles), method),
                        input, activation,
                        AsyncApiResultCb::GetInstance([&results](std::shared_ptr<MethodResult const> const& r,
                                                                 Progress const&) { results.push_back(r); }));
    EXPECT_EQ(results.size(), 1u) << method;
    return results.empty() ? nullptr : results.back();
  }
};

template <class Input>
std::shared_ptr<StructValue> ValueOf(Input const& input) {
  std::shared_ptr<DataValue const> value;
  Messages messages;
  EXPECT_TRUE(::Opax::Data::NativeToValueAdapter::Adapt(input, value, messages));
  return std::static_pointer_cast<StructValue>(value->Copy());
}

// ---- The stub -------------------------------------------------------------------------------

TEST(ServiceStub, AnInputThatCannotBeConvertedIsRefusedOnceAndNotSent) {
  RolesFixture f;
  Plain<std::string> created;
  f.stub->Create(nullptr, AsyncActivation::GetInstance(), created.Result());
  ASSERT_EQ(created.size(), 1u);
  ASSERT_TRUE(created.error());
  EXPECT_EQ(created.error()->name(), kInvalidArgument);
  EXPECT_FALSE(Ids(created.error()).empty());

  // The task form of another service refuses a null required structure the same way.
  auto upgradeProvider = std::make_shared<CountingProvider>(f.server);
  auto upgrades = Nexar::Host::Maintenance::UpgradeV1Svc::AsyncServiceStub::GetInstance(
      ::Opax::Stub::AsyncApiStub::GetInstance(upgradeProvider));
  Task<::Opax::Void> started;
  upgrades->Apply("host-1", nullptr, nullptr, started.Result());
  ASSERT_EQ(started.size(), 1u);
  EXPECT_EQ(started.error()->name(), kInvalidArgument);
  EXPECT_FALSE(started.last().slot.taskId);

  EXPECT_EQ(f.counting->calls, 0);
  EXPECT_EQ(upgradeProvider->calls, 0);
  EXPECT_EQ(f.impl->calls, 0);
}

TEST(ServiceStub, ServerErrorsArriveUnchanged) {
  auto error = ErrorValue::GetInstance("com.quarn.opax.std.errors.service_unavailable",
                                       {BaseMessage::Make("opax.task.unknown", {"t"})});
  auto provider = std::make_shared<ScriptedProvider>(
      [error](AsyncApiResultCb& reply) { reply(MethodResult::GetErrorInstance(error), Progress()); });
  auto stub = RolesSvc::AsyncServiceStub::GetInstance(::Opax::Stub::AsyncApiStub::GetInstance(provider));
  Plain<std::shared_ptr<RolesSvc::Info const>> got;
  stub->Get("admin", nullptr, got.Result());
  ASSERT_EQ(got.size(), 1u);
  EXPECT_EQ(got.error(), error);
}

// A reply the stub cannot read as the operation's result (or, for a task form, as a task id) is
// the short invalid_argument, with the conversion's messages.
TEST(ServiceStub, AReplyOfTheWrongShapeIsTheShortInvalidArgument) {
  auto badField = StructValue::GetInstance("com.quarn.nexar.authorization.roles.info");
  badField->SetField("system_role", DataValue::Create(std::string("yes")));
  auto spec = std::make_shared<Nexar::Host::Maintenance::UpgradeV1Svc::ApplySpec>();
  spec->version("8.0.2");
  std::vector<std::shared_ptr<DataValue const>> const replies = {
      DataValue::Create(int64_t{5}), DataValue::Create(std::string("admin")), badField, nullptr};
  for (auto const& output : replies) {
    SCOPED_TRACE(output ? output->ToString() : "null");
    auto apiStub = ::Opax::Stub::AsyncApiStub::GetInstance(std::make_shared<ScriptedProvider>(
        [output](AsyncApiResultCb& reply) { reply(MethodResult::GetInstance(output), Progress()); }));
    Plain<std::shared_ptr<RolesSvc::Info const>> got;
    RolesSvc::AsyncServiceStub::GetInstance(apiStub)->Get("admin", nullptr, got.Result());
    ASSERT_EQ(got.size(), 1u);
    ASSERT_TRUE(got.error());
    EXPECT_EQ(got.error()->name(), "invalid_argument");
    EXPECT_FALSE(Ids(got.error()).empty());
    if (output && output->kind() == ::Opax::Data::Kind::String) continue;  // a task id, for the task form
    Task<::Opax::Void> started;
    Nexar::Host::Maintenance::UpgradeV1Svc::AsyncServiceStub::GetInstance(apiStub)->Apply(
        "host-1", spec, nullptr, started.Result());
    ASSERT_EQ(started.size(), 1u);
    ASSERT_TRUE(started.error());
    EXPECT_EQ(started.error()->name(), kInvalidArgument);
  }
}

TEST(ServiceStub, ProgressMayPrecedeTheFinalReplyAnyNumberOfTimes) {
  auto provider = std::make_shared<ScriptedProvider>([](AsyncApiResultCb& reply) {
    for (int64_t i = 1; i <= 3; ++i) reply(nullptr, Progress{3, i, "copying"});
    reply(MethodResult::GetInstance(DataValue::Create(std::string("task-7"))), Progress());
    reply(nullptr, Progress{3, 3, "late"});  // after the end: dropped
  });
  auto apiStub = ::Opax::Stub::AsyncApiStub::GetInstance(provider);

  auto nodes = Nexar::Topology::NodeOpsSvc::AsyncServiceStub::GetInstance(apiStub);
  Task<::Opax::Void> started;
  nodes->Delete("node-2", boost::none, nullptr, started.Result());
  ASSERT_EQ(started.size(), 4u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_FALSE(started.entries->at(i).slot.taskId);
    EXPECT_EQ(started.entries->at(i).progress.completed, static_cast<int64_t>(i + 1));
  }
  EXPECT_EQ(started.last().slot.taskId, boost::optional<std::string>("task-7"));

  auto latest = Nexar::Authorization::PrivilegeChecks::LatestSvc::AsyncServiceStub::GetInstance(apiStub);
  Plain<std::string> marker;
  latest->Get(nullptr, marker.Result());
  ASSERT_EQ(marker.size(), 4u);
  EXPECT_EQ(marker.entries->at(1).progress, (Progress{3, 2, "copying"}));
  EXPECT_EQ(marker.value(), boost::optional<std::string>("task-7"));
}

TEST(ServiceStub, AnEmptyActivationIsACopyOfTheDefault) {
  RolesFixture f;
  auto defaults = std::make_shared<AsyncActivation>();
  defaults->resourceId("role-default");
  defaults->context()["operation-id"] = "op-7";
  auto apiStub = std::make_shared<::Opax::Stub::AsyncApiStub>(f.counting, defaults);
  auto stub = RolesSvc::AsyncServiceStub::GetInstance(apiStub);
  EXPECT_EQ(stub->apiStub(), apiStub);

  Plain<::Opax::Void> deleted;
  stub->Delete("admin", nullptr, deleted.Result());
  ASSERT_TRUE(deleted.value());
  ASSERT_TRUE(f.counting->lastActivation);
  EXPECT_NE(f.counting->lastActivation, defaults);
  EXPECT_EQ(f.counting->lastActivation->resourceId(), "role-default");
  EXPECT_EQ(f.counting->lastActivation->context(), defaults->context());
  EXPECT_FALSE(defaults->localizer());  // what the server did to its copy stays there

  auto mine = AsyncActivation::GetInstance();
  stub->Delete("admin", mine, deleted.Result());
  EXPECT_EQ(f.counting->lastActivation, mine);
}

TEST(ServiceStub, AnAbsentOptionalIsSentAsAnUnsetField) {
  RolesFixture f;
  Plain<std::list<std::shared_ptr<RolesSvc::Summary const>>> listed;
  f.stub->List(boost::none, nullptr, listed.Result());
  ASSERT_TRUE(listed.value());
  EXPECT_EQ(listed.value()->size(), 1u);
  EXPECT_FALSE(f.impl->lastFilterSet);
  EXPECT_EQ(f.counting->lastMethod, std::string(kRoles) + "/list");
}

TEST(ServiceStub, MayBeDestroyedWhileACallIsOutstanding) {
  RolesFixture f;
  Plain<::Opax::Void> deleted;
  f.stub->Delete("later", nullptr, deleted.Result());
  ASSERT_EQ(f.impl->pending.size(), 1u);
  EXPECT_EQ(deleted.size(), 0u);
  std::weak_ptr<RolesSvc::AsyncServiceStub> gone = f.stub;
  f.stub.reset();
  f.apiStub.reset();
  EXPECT_TRUE(gone.expired());
  f.impl->pending.front().SetResult(::Opax::Void());
  ASSERT_EQ(deleted.size(), 1u);
  EXPECT_TRUE(deleted.value());
}

// ---- The binder -----------------------------------------------------------------------------

TEST(ServiceBinder, AnUndeclaredInputFieldIsRefusedWithTwoMessages) {
  RolesFixture f;
  RolesSvc::GetMethod::Input input;
  input.role = "admin";
  auto value = ValueOf(input);
  value->SetField("colour", DataValue::Create(std::string("blue")));
  auto result = f.Raw("get", value);
  ASSERT_TRUE(result && result->error());
  EXPECT_EQ(result->error()->name(), kInvalidArgument);
  std::list<BaseMessage> const messages = result->error()->messages();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages.front().id(), "opax.data.compound.field.extra");
  EXPECT_EQ(
      messages.front().args(),
      (std::vector<std::string>{"::Com::Quarn::Nexar::Authorization::RolesSvc::GetMethod::Input", "colour"}));
  EXPECT_EQ(messages.back().id(), "opax.invoke.invalid.input");
  EXPECT_EQ(messages.back().args(),
            std::vector<std::string>{"::Com::Quarn::Nexar::Authorization::RolesSvc::Get"});
  EXPECT_EQ(f.impl->calls, 0);

  // The same input without the stranger goes through.
  EXPECT_TRUE(f.Raw("get", ValueOf(input))->success());
  EXPECT_EQ(f.impl->calls, 1);
}

TEST(ServiceBinder, InputsOfTheWrongKindNeverReachTheImplementation) {
  RolesFixture f;
  auto wrongKind = StructValue::GetInstance("operation-input");
  wrongKind->SetField("role", DataValue::Create(int64_t{7}));
  auto badSpec = StructValue::GetInstance("operation-input");
  badSpec->SetField("role", DataValue::Create(std::string("admin")));
  auto spec = StructValue::GetInstance("com.quarn.nexar.authorization.roles.update_spec");
  spec->SetField("name", DataValue::Create(std::string("not an optional")));
  badSpec->SetField("spec", spec);
  struct Case {
    std::string method;
    std::shared_ptr<DataValue const> input;
  };
  std::vector<Case> const cases = {
      {"get", wrongKind},
      {"get", StructValue::GetInstance("operation-input")},
      {"get", DataValue::Create(std::string("admin"))},
      {"get", nullptr},
      {"update", badSpec},
  };
  for (Case const& c : cases) {
    auto result = f.Raw(c.method, c.input);
    ASSERT_TRUE(result && result->error()) << c.method;
    EXPECT_EQ(result->error()->name(), kInvalidArgument);
    EXPECT_EQ(Ids(result->error()).back(), "opax.invoke.invalid.input");
  }
  EXPECT_EQ(f.impl->calls, 0);
}

TEST(ServiceBinder, AnOutputThatBreaksItsDefinitionIsTheServersFault) {
  RolesFixture f;
  Plain<std::shared_ptr<RolesSvc::Info const>> got;
  f.stub->Get("null", nullptr, got.Result());
  ASSERT_EQ(got.size(), 1u);
  ASSERT_TRUE(got.error());
  EXPECT_EQ(got.error()->name(), kInternal);
  EXPECT_EQ(Ids(got.error()).back(), "opax.invoke.invalid.output");

  // A union whose tag asks for a case that is not set converts, but fails validation.
  namespace Maintenance = Nexar::Host::Maintenance;
  using Summaries = std::list<std::shared_ptr<Maintenance::RequestsV1Svc::Summary const>>;
  struct Requests : Maintenance::RequestsV1Svc::AsyncServiceInterface {
    void Create(std::string const&, std::shared_ptr<Maintenance::RequestsV1Svc::CreateSpec const> const&,
                std::shared_ptr<AsyncActivation> const&,
                ::Opax::AsyncResult<std::string, ::Opax::AsyncResultTerminateCbPolicy> const& r) override {
      r.Terminate();
    }
    void List(std::string const&, ::Opax::OptionalPtr<Maintenance::RequestsV1Svc::FilterSpec const> const&,
              std::shared_ptr<AsyncActivation> const&,
              ::Opax::AsyncResult<Summaries, ::Opax::AsyncResultTerminateCbPolicy> const& r) override {
      auto failed = std::make_shared<Maintenance::RequestsV1Svc::Summary>();
      failed->request("r-1").requester("backup").state(Maintenance::RequestsV1Svc::State::FAILED);
      r.SetResult({failed});  // FAILED without its required `message`
    }
    void Delete(std::string const&, std::string const&, std::shared_ptr<AsyncActivation> const&,
                ::Opax::AsyncResult<::Opax::Void, ::Opax::AsyncResultTerminateCbPolicy> const& r) override {
      r.Terminate();
    }
  };
  f.server->Register(
      Maintenance::RequestsV1Svc::AsyncServiceBinder::BindImplementation(std::make_shared<Requests>()));
  auto requests = Maintenance::RequestsV1Svc::AsyncServiceStub::GetInstance(f.apiStub);
  Plain<Summaries> listed;
  requests->List("host-1", boost::none, nullptr, listed.Result());
  ASSERT_EQ(listed.size(), 1u);
  ASSERT_TRUE(listed.error());
  EXPECT_EQ(listed.error()->name(), kInternal);
  EXPECT_EQ(Ids(listed.error()).back(), "opax.invoke.invalid.output");
}

TEST(ServiceBinder, OnlyDeclaredErrorsPass) {
  RolesFixture f;
  Plain<::Opax::Void> inUse;
  f.stub->Delete("in-use", nullptr, inUse.Result());
  ASSERT_TRUE(inUse.error());
  EXPECT_EQ(inUse.error()->name(), "com.quarn.opax.std.errors.resource_in_use");
  EXPECT_EQ(Ids(inUse.error()), std::vector<std::string>{"test.note"});

  Plain<::Opax::Void> undeclared;
  f.stub->Delete("undeclared", nullptr, undeclared.Result());
  ASSERT_EQ(undeclared.size(), 1u);
  ASSERT_TRUE(undeclared.error());
  EXPECT_EQ(undeclared.error()->name(), kInternal);
  std::list<BaseMessage> const messages = undeclared.error()->messages();
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages.back().id(), "opax.invoke.undeclared.error");
  EXPECT_EQ(messages.back().args(),
            (std::vector<std::string>{"delete", "com.quarn.opax.std.errors.invalid_element_type"}));
}

// The same across a network: the server's binder replaces the undeclared error before it is
// written, and the client reads back the runtime's error with its message, the declared one as it was.
TEST(ServiceBinder, OnlyDeclaredErrorsPassOverTheWire) {
  RolesFixture f;
  ::Opax::Rpc::RpcServer server(f.server, ::Opax::Rpc::ServerOptions());
  Messages messages;
  ASSERT_TRUE(server.Start(messages));
  ::Opax::Rpc::ClientOptions options;
  options.url = "http://127.0.0.1:" + std::to_string(server.port());
  auto const client = ::Opax::Rpc::RpcClient::Create(options, messages);
  ASSERT_TRUE(client);
  RolesSvc::SyncServiceStub roles(::Opax::Stub::AsyncApiStub::GetInstance(client));
  auto const errorOf = [&roles](std::string const& role) -> ErrorPtr {
    try {
      roles.Delete(role);
    } catch (::Opax::Binding::CallError const& e) {
      return e.error();
    }
    return nullptr;
  };
  ErrorPtr const inUse = errorOf("in-use");
  ASSERT_TRUE(inUse);
  EXPECT_EQ(inUse->name(), "com.quarn.opax.std.errors.resource_in_use");
  ErrorPtr const undeclared = errorOf("undeclared");
  ASSERT_TRUE(undeclared);
  EXPECT_EQ(undeclared->name(), kInternal);
  EXPECT_EQ(Ids(undeclared).back(), "opax.invoke.undeclared.error");
  EXPECT_FALSE(errorOf("admin")) << "a declared success still arrives";
}

TEST(ServiceBinder, AnOperationThatDeclaresNoErrorsCanReportNoneOfItsOwn) {
  namespace Cluster = Nexar::Cluster;
  EXPECT_TRUE(Cluster::ModulesSvc::ListMethod::errorDefs().empty());
  struct Modules : Cluster::ModulesSvc::AsyncServiceInterface {
    using Done = ::Opax::AsyncResult<::Opax::Void, ::Opax::AsyncResultTerminateCbPolicy>;
    void Create(std::shared_ptr<Cluster::ModulesSvc::CreateSpec const> const&,
                std::shared_ptr<AsyncActivation> const&,
                ::Opax::AsyncResult<std::string, ::Opax::AsyncResultTerminateCbPolicy> const& r) override {
      r.Terminate();
    }
    void List(::Opax::OptionalPtr<Cluster::ModulesSvc::FilterSpec const> const&,
              std::shared_ptr<AsyncActivation> const&,
              ::Opax::AsyncResult<std::list<std::shared_ptr<Cluster::ModulesSvc::Summary const>>,
                                  ::Opax::AsyncResultTerminateCbPolicy> const& r) override {
      r.SetError(::Opax::Binding::ErrorValueOf(Errors::NotFound({Note("cluster-9")})));
    }
    void Delete(std::string const&, std::shared_ptr<AsyncActivation> const&, Done const& r) override {
      r.Terminate();
    }
  };
  auto server = std::make_shared<::Opax::Core::InProcessProvider>();
  server->Register(Cluster::ModulesSvc::AsyncServiceBinder::BindImplementation(std::make_shared<Modules>()));
  auto stub =
      Cluster::ModulesSvc::AsyncServiceStub::GetInstance(::Opax::Stub::AsyncApiStub::GetInstance(server));
  Plain<std::list<std::shared_ptr<Cluster::ModulesSvc::Summary const>>> listed;
  stub->List(boost::none, nullptr, listed.Result());
  ASSERT_EQ(listed.size(), 1u);
  ASSERT_TRUE(listed.error());
  EXPECT_EQ(listed.error()->name(), kInternal);
  EXPECT_EQ(Ids(listed.error()).back(), "opax.invoke.undeclared.error");
}

TEST(ServiceBinder, EveryCallEndsExactlyOnce) {
  RolesFixture f;
  Plain<::Opax::Void> never;
  f.stub->Delete("never", nullptr, never.Result());
  ASSERT_EQ(never.size(), 1u);
  ASSERT_TRUE(never.error());
  EXPECT_EQ(never.error()->name(), kInternal);
  EXPECT_EQ(Ids(never.error()), std::vector<std::string>{"opax.invoke.terminated"});

  // A void result reaches the caller as Opax::Void, and the role is gone.
  Plain<::Opax::Void> deleted;
  f.stub->Delete("admin", nullptr, deleted.Result());
  EXPECT_TRUE(deleted.value());
  EXPECT_TRUE(f.impl->roles.empty());
}

TEST(ServiceBinder, AnImplementationThatThrowsEndsItsCallNotItsCaller) {
  RolesFixture f;
  auto spec = std::make_shared<RolesSvc::UpdateSpec const>();
  Plain<::Opax::Void> thrown;
  EXPECT_NO_THROW(f.stub->Update("throw", spec, nullptr, thrown.Result()));
  ASSERT_EQ(thrown.size(), 1u);
  EXPECT_EQ(Ids(thrown.error()), std::vector<std::string>{"opax.invoke.terminated"});

  Plain<::Opax::Void> answered;
  EXPECT_NO_THROW(f.stub->Update("answer-then-throw", spec, nullptr, answered.Result()));
  ASSERT_EQ(answered.size(), 1u);
  EXPECT_TRUE(answered.value());
}

std::set<std::string> MethodNames(std::shared_ptr<::Opax::Provider::AsyncApiInterface> const& service) {
  std::set<std::string> names;
  for (auto const& entry : service->methods()) names.insert(entry.first);
  return names;
}

TEST(ServiceBinder, TheOneArgumentFormBindsWithADefaultLocalizer) {
  auto impl = std::make_shared<Roles>();
  auto one = RolesSvc::AsyncServiceBinder::BindImplementation(impl);
  auto localizer = std::make_shared<::Opax::L10n::Localizer>();
  auto two = RolesSvc::AsyncServiceBinder::BindImplementation(impl, localizer);
  EXPECT_EQ(one->identifier()->name(), kRoles);
  EXPECT_EQ(MethodNames(one), (std::set<std::string>{"create", "delete", "get", "list", "update"}));
  EXPECT_EQ(MethodNames(one), MethodNames(two));
  for (auto const& entry : one->methods()) {
    auto signal = std::dynamic_pointer_cast<::Opax::Provider::AsyncApiMethodSignal const>(entry.second);
    ASSERT_TRUE(signal);
    EXPECT_TRUE(signal->localizer());
    EXPECT_TRUE(signal->connected());
    EXPECT_NE(entry.second, two->methods().at(entry.first));  // nothing is cached
  }
  for (auto const& entry : two->methods()) {
    EXPECT_EQ(
        std::dynamic_pointer_cast<::Opax::Provider::AsyncApiMethodSignal const>(entry.second)->localizer(),
        localizer);
  }
}

// Upgrades that stay pending until the test finishes them; only the task form exists.
struct Upgrades : Nexar::Host::Maintenance::UpgradeV1Svc::AsyncServiceInterface {
  void Apply(std::string const& host,
             std::shared_ptr<Nexar::Host::Maintenance::UpgradeV1Svc::ApplySpec const> const&,
             std::shared_ptr<AsyncActivation> const&,
             ::Opax::AsyncTaskResult<::Opax::Void, ::Opax::AsyncTaskResultTerminateCbPolicy> const& result)
      override {
    hosts.push_back(host);
    running.push_back(result);
  }
  std::vector<std::string> hosts;
  std::vector<::Opax::AsyncTaskResult<::Opax::Void, ::Opax::AsyncTaskResultTerminateCbPolicy>> running;
};

TEST(ServiceBinder, ATaskOnlyServiceServesOnlyTheTaskName) {
  namespace Hafo = Nexar::Hafo::Cluster;
  auto upgrades = Nexar::Host::Maintenance::UpgradeV1Svc::AsyncServiceBinder::BindImplementation(
      std::make_shared<Upgrades>());
  EXPECT_EQ(MethodNames(upgrades), std::set<std::string>{"apply$task"});
  EXPECT_EQ(upgrades->Find("apply"), nullptr);

  struct Modes : Hafo::ModeSvc::AsyncServiceInterface {
    void Get(std::shared_ptr<AsyncActivation> const&,
             ::Opax::AsyncResult<std::shared_ptr<Hafo::ModeSvc::Info const>,
                                 ::Opax::AsyncResultTerminateCbPolicy> const& r) override {
      r.Terminate();
    }
    void Set(
        Hafo::ModeSvc::ClusterMode const&, std::shared_ptr<AsyncActivation> const&,
        ::Opax::AsyncTaskResult<::Opax::Void, ::Opax::AsyncTaskResultTerminateCbPolicy> const& r) override {
      r.Terminate();
    }
  };
  auto modes = Hafo::ModeSvc::AsyncServiceBinder::BindImplementation(std::make_shared<Modes>());
  EXPECT_EQ(MethodNames(modes), (std::set<std::string>{"get", "set$task"}));
}

TEST(ServiceBinder, ATaskRunsInTheRegistryWhileItsCallerHasTheId) {
  namespace Upgrade = Nexar::Host::Maintenance;
  auto impl = std::make_shared<Upgrades>();
  auto server = std::make_shared<::Opax::Core::InProcessProvider>();
  server->Register(Upgrade::UpgradeV1Svc::AsyncServiceBinder::BindImplementation(impl));
  auto stub =
      Upgrade::UpgradeV1Svc::AsyncServiceStub::GetInstance(::Opax::Stub::AsyncApiStub::GetInstance(server));

  auto spec = std::make_shared<Upgrade::UpgradeV1Svc::ApplySpec>();
  spec->version("8.0.2");
  Task<::Opax::Void> first;
  Task<::Opax::Void> second;
  stub->Apply("host-1", spec, nullptr, first.Result());
  stub->Apply("host-2", spec, nullptr, second.Result());
  ASSERT_EQ(first.size(), 1u);
  ASSERT_TRUE(first.last().slot.taskId);
  ASSERT_TRUE(second.last().slot.taskId);
  std::string const id = *first.last().slot.taskId;
  EXPECT_EQ(impl->hosts, (std::vector<std::string>{"host-1", "host-2"}));

  impl->running[0].SetProgress(Progress{4, 1, "entering maintenance mode"});
  auto info = server->tasks()->Get(id);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->state, ::Opax::Provider::TaskRegistry::State::RUNNING);
  EXPECT_EQ(info->progress.message, "entering maintenance mode");
  impl->running[0].SetResult(::Opax::Void());
  info = server->tasks()->Get(id);
  EXPECT_EQ(info->state, ::Opax::Provider::TaskRegistry::State::SUCCEEDED);
  ASSERT_TRUE(info->result);
  EXPECT_EQ(info->result->kind(), ::Opax::Data::Kind::Void);

  // A task whose implementation gives up ends as failed, with the termination error.
  impl->running.pop_back();
  info = server->tasks()->Get(*second.last().slot.taskId);
  EXPECT_EQ(info->state, ::Opax::Provider::TaskRegistry::State::FAILED);
  EXPECT_EQ(Ids(info->error), std::vector<std::string>{"opax.invoke.terminated"});
  EXPECT_EQ(first.size(), 1u);
}

// Node removals, implemented only in the task form.
struct Nodes : Nexar::Topology::NodeOpsSvc::AsyncServiceInterface {
  using AsyncServiceInterface::Delete;
  void Delete(std::string const& node,
              ::Opax::OptionalPtr<Nexar::Topology::NodeOpsSvc::DeleteSpec const> const&,
              std::shared_ptr<AsyncActivation> const&,
              ::Opax::AsyncTaskResult<::Opax::Void, ::Opax::AsyncTaskResultTerminateCbPolicy> const& result)
      override {
    result.SetProgress(Progress{2, 1, "rewriting agreements"});
    if (node == "unknown")
      return result.SetError(::Opax::Binding::ErrorValueOf(Errors::NotFound({Note(node)})));
    if (node == "abandon") return;
    if (node == "id-instead") return result.SetTaskId("task-99");  // a client's answer, not a server's
    result.SetResult(::Opax::Void());
  }
};

TEST(ServiceBinder, ThePlainFormOfATwoFormOperationReportsTheTasksOutcome) {
  namespace Topology = Nexar::Topology;
  auto server = std::make_shared<::Opax::Core::InProcessProvider>();
  auto bound = Topology::NodeOpsSvc::AsyncServiceBinder::BindImplementation(std::make_shared<Nodes>());
  EXPECT_EQ(MethodNames(bound), (std::set<std::string>{"delete", "delete$task"}));
  server->Register(bound);
  auto stub =
      Topology::NodeOpsSvc::AsyncServiceStub::GetInstance(::Opax::Stub::AsyncApiStub::GetInstance(server));

  Plain<::Opax::Void> removed;
  stub->Delete("node-2", boost::none, nullptr, removed.Result());
  ASSERT_EQ(removed.size(), 2u);
  EXPECT_EQ(removed.entries->front().progress.message, "rewriting agreements");
  EXPECT_TRUE(removed.value());

  Plain<::Opax::Void> unknown;
  stub->Delete("unknown", boost::none, nullptr, unknown.Result());
  ASSERT_TRUE(unknown.error());
  EXPECT_EQ(unknown.error()->name(), "com.quarn.opax.std.errors.not_found");

  Plain<::Opax::Void> abandoned;
  stub->Delete("abandon", boost::none, nullptr, abandoned.Result());
  ASSERT_EQ(abandoned.size(), 2u);
  EXPECT_EQ(Ids(abandoned.error()), std::vector<std::string>{"opax.invoke.terminated"});

  // A task id is no outcome on the server side: the call still ends, as terminated.
  Plain<::Opax::Void> confused;
  stub->Delete("id-instead", boost::none, nullptr, confused.Result());
  ASSERT_EQ(confused.size(), 2u);
  EXPECT_EQ(Ids(confused.error()), std::vector<std::string>{"opax.invoke.terminated"});
  Task<::Opax::Void> confusedTask;
  stub->Delete("id-instead", boost::none, nullptr, confusedTask.Result());
  EXPECT_EQ(server->tasks()->Get(*confusedTask.last().slot.taskId)->state,
            ::Opax::Provider::TaskRegistry::State::FAILED);

  // The task form of the same operation starts a task instead.
  Task<::Opax::Void> started;
  stub->Delete("node-3", boost::none, nullptr, started.Result());
  ASSERT_EQ(started.size(), 1u);
  ASSERT_TRUE(started.last().slot.taskId);
  EXPECT_EQ(server->tasks()->Get(*started.last().slot.taskId)->state,
            ::Opax::Provider::TaskRegistry::State::SUCCEEDED);
}

// ---- Descriptors ----------------------------------------------------------------------------

std::vector<std::string> Names(
    std::list<std::shared_ptr<::Opax::Data::DataDefinition const>> const& definitions) {
  std::vector<std::string> names;
  for (auto const& d : definitions) {
    EXPECT_TRUE(d);
    if (d && d->type() == ::Opax::Data::DefinitionType::Error) {
      names.push_back(static_cast<::Opax::Data::StructDefinition const&>(*d).name());
    } else {
      names.push_back("?");
    }
  }
  return names;
}

TEST(Descriptors, ErrorListsAreFreshAndComplete) {
  auto first = RolesSvc::CreateMethod::errorDefs();
  auto second = RolesSvc::CreateMethod::errorDefs();
  EXPECT_NE(&first, &second);
  EXPECT_EQ(Names(first),
            (std::vector<std::string>{
                "com.quarn.opax.std.errors.already_exists", "com.quarn.opax.std.errors.error",
                "com.quarn.opax.std.errors.invalid_argument", "com.quarn.opax.std.errors.unauthenticated"}));
  EXPECT_EQ(Names(first), Names(second));
  first.clear();  // the caller owns its list
  EXPECT_EQ(RolesSvc::CreateMethod::errorDefs().size(), 4u);
  EXPECT_EQ(Names(Nexar::Host::Maintenance::UpgradeV1Svc::ApplyMethod::errorDefs()).size(), 7u);
  EXPECT_EQ(Names(Nexar::Authorization::PrivilegeChecks::LatestSvc::GetMethod::errorDefs()),
            (std::vector<std::string>{"com.quarn.opax.std.errors.error",
                                      "com.quarn.opax.std.errors.unauthenticated"}));
}

TEST(Descriptors, InputsShareOneTypeNameAndListTheirParameters) {
  auto fieldsOf = [](std::shared_ptr<::Opax::Data::DataDefinition const> const& definition) {
    std::vector<std::string> names;
    EXPECT_TRUE(definition && definition->type() == ::Opax::Data::DefinitionType::Structure);
    if (!definition) return names;
    auto const& structure = static_cast<::Opax::Data::StructDefinition const&>(*definition);
    EXPECT_EQ(structure.name(), ::Opax::Data::TypeInfo<::Opax::OperationInput>::name());
    for (auto const& field : structure.fields()) names.push_back(field.first);
    return names;
  };
  EXPECT_EQ(fieldsOf(Nexar::Authorization::PrivilegeChecks::LatestSvc::GetMethod::inputDef()),
            std::vector<std::string>{});
  EXPECT_EQ(fieldsOf(RolesSvc::UpdateMethod::inputDef()), (std::vector<std::string>{"role", "spec"}));
  EXPECT_EQ(fieldsOf(Nexar::Hafo::Cluster::ModeSvc::GetMethod::inputDef()), std::vector<std::string>{});
  EXPECT_EQ(RolesSvc::DeleteMethod::outputDef()->type(), ::Opax::Data::DefinitionType::Void);
}

TEST(Descriptors, AnOperationWithoutParametersTakesAnEmptyInput) {
  namespace Checks = Nexar::Authorization::PrivilegeChecks;
  struct Latest : Checks::LatestSvc::AsyncServiceInterface {
    void Get(std::shared_ptr<AsyncActivation> const&,
             ::Opax::AsyncResult<std::string, ::Opax::AsyncResultTerminateCbPolicy> const& r) override {
      r.SetResult("marker-12");
    }
  };
  auto server = std::make_shared<::Opax::Core::InProcessProvider>();
  server->Register(Checks::LatestSvc::AsyncServiceBinder::BindImplementation(std::make_shared<Latest>()));
  auto stub =
      Checks::LatestSvc::AsyncServiceStub::GetInstance(::Opax::Stub::AsyncApiStub::GetInstance(server));
  Plain<std::string> marker;
  stub->Get(nullptr, marker.Result());
  EXPECT_EQ(marker.value(), boost::optional<std::string>("marker-12"));
}

}  // namespace
