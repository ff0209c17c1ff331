// The provider side without generated code: method signals, the validation helpers and the
// in-process provider with its task registry.

#include <opax/core/invocation/async_result.h>
#include <opax/core/message/error_ids.h>
#include <opax/core/provider/api_interface.h>
#include <opax/core/provider/api_method_helper.h>
#include <opax/core/provider/in_process_provider.h>
#include <opax/core/testing/deliveries.h>

#include <opax/opax.h>

#include <boost/optional/optional_io.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace Opax {
namespace {

using Core::AsyncActivation;
using Core::AsyncApiResultCb;
using Core::InProcessProvider;
using Core::MethodResult;
using Data::DataValue;
using Data::ErrorValue;
using Data::StructValue;
using Provider::TaskRegistry;
using ErrorPtr = std::shared_ptr<ErrorValue const>;
using Messages = std::list<BaseMessage>;

constexpr char kService[] = "com.example.counter";

using Testing::Ids;

Progress Step(int64_t done, int64_t total) { return Progress{total, done, "step"}; }

// A callback that records every report it receives.
struct Reports {
  struct Entry {
    std::shared_ptr<MethodResult const> result;
    Progress progress;
  };
  std::shared_ptr<std::vector<Entry>> log = std::make_shared<std::vector<Entry>>();
  std::shared_ptr<AsyncApiResultCb> Callback() const {
    auto target = log;
    return AsyncApiResultCb::GetInstance(
        [target](std::shared_ptr<MethodResult const> const& r, Progress const& p) {
          target->push_back({r, p});
        });
  }
  std::size_t size() const { return log->size(); }
  Entry const& operator[](std::size_t i) const { return log->at(i); }
  ErrorPtr error(std::size_t i) const { return log->at(i).result ? log->at(i).result->error() : nullptr; }
};

// The input of the test method: {name: string, count: long}.
std::shared_ptr<Data::DataDefinition const> InputDefinition() {
  return Data::StructDefinition::GetInstance(
      "operation-input",
      {{"name", Data::StringDefinition::GetInstance()}, {"count", Data::DataDefinition::Create<int64_t>()}});
}

std::shared_ptr<StructValue> Input(std::string const& name, int64_t count) {
  auto value = StructValue::GetInstance("operation-input");
  value->SetField("name", DataValue::Create(name));
  value->SetField("count", DataValue::Create(count));
  return value;
}

std::shared_ptr<Data::DataDefinition const> NotFoundDefinition() {
  return Data::ErrorDefinition::GetInstance(ErrorIds::kNotFound, {});
}

std::shared_ptr<Provider::AsyncApiMethodSignal> Signal(std::string const& method,
                                                       Core::MethodDefinition::ErrorDefinitions errors = {}) {
  auto id = Core::MethodIdentifier::GetInstance(std::make_shared<Core::InterfaceIdentifier const>(kService),
                                                method);
  return Provider::AsyncApiMethodSignal::GetInstance(
      Core::MethodDefinition::GetInstance(id, InputDefinition(), Data::DataDefinition::Create<int64_t>(),
                                          errors),
      std::make_shared<L10n::Localizer const>());
}

TEST(AsyncApiMethodSignal, WithoutASlotAnswersNotConnected) {
  auto signal = Signal("add");
  Reports reports;
  signal->Invoke(AsyncActivation::GetInstance(), Input("a", 1), reports.Callback());
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports.error(0)->name(), ErrorIds::kInternalServerError);
  EXPECT_EQ(Ids(reports.error(0)), std::vector<std::string>{"opax.provider.method.signal.not.connected"});
  EXPECT_FALSE(reports.error(0)->messages().front().defaultMessage().empty());
  EXPECT_EQ(reports[0].progress, Progress());
}

TEST(AsyncApiMethodSignal, RefusesInvalidInputBeforeTheSlot) {
  auto signal = Signal("add");
  int called = 0;
  signal->Connect([&called](std::shared_ptr<AsyncActivation> const&, std::shared_ptr<DataValue const> const&,
                            std::shared_ptr<AsyncApiResultCb> const&) { ++called; });

  auto wrongKind = Input("a", 1);
  wrongKind->SetField("count", DataValue::Create(std::string("many")));
  auto missing = StructValue::GetInstance("operation-input");
  missing->SetField("name", DataValue::Create(std::string("a")));
  std::vector<std::shared_ptr<DataValue const>> bad = {wrongKind, missing,
                                                       DataValue::Create(std::string("x")), nullptr};
  for (auto const& input : bad) {
    Reports reports;
    signal->Invoke(AsyncActivation::GetInstance(), input, reports.Callback());
    ASSERT_EQ(reports.size(), 1u);
    ErrorPtr error = reports.error(0);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->name(), ErrorIds::kInvalidArgument);
    std::list<BaseMessage> const messages = error->messages();
    ASSERT_GE(messages.size(), 2u);  // the definition's own findings, then the operation
    EXPECT_EQ(messages.back().id(), "opax.invoke.invalid.input");
    EXPECT_EQ(messages.back().args(), std::vector<std::string>{"add"});
  }
  EXPECT_EQ(called, 0);

  // A valid input reaches the slot with the signal's localizer on the activation.
  auto activation = AsyncActivation::GetInstance();
  Reports reports;
  signal->Invoke(activation, Input("a", 1), reports.Callback());
  EXPECT_EQ(called, 1);
  EXPECT_EQ(activation->localizer(), signal->localizer());
  EXPECT_EQ(reports.size(), 0u);
}

TEST(AsyncApiMethodSignal, GivesTheSlotAnActivationEvenWhenThePeerSentNone) {
  auto signal = Signal("add");
  std::vector<std::shared_ptr<AsyncActivation>> seen;
  signal->Connect([&seen](std::shared_ptr<AsyncActivation> const& activation,
                          std::shared_ptr<DataValue const> const&,
                          std::shared_ptr<AsyncApiResultCb> const&) { seen.push_back(activation); });
  Reports reports;
  signal->Invoke(nullptr, Input("a", 1), reports.Callback());
  ASSERT_EQ(seen.size(), 1u);
  ASSERT_TRUE(seen[0]);
  EXPECT_EQ(seen[0]->localizer(), signal->localizer());
  signal->Invoke(AsyncActivation::GetInstance(), Input("a", 1), nullptr);  // nobody to answer: nothing runs
  EXPECT_EQ(seen.size(), 1u);
}

TEST(ApiMethodHelper, ValidateErrorPassesOnlyDeclaredErrors) {
  auto declared =
      ErrorValue::GetInstance(ErrorIds::kNotFound, {BaseMessage::Make("opax.task.unknown", {"t-1"})});
  auto passed = Provider::ApiMethodHelper::ValidateError("get", {NotFoundDefinition()}, declared);
  EXPECT_EQ(passed->error(), declared);

  auto undeclared = ErrorValue::GetInstance(ErrorIds::kUnsupported);
  for (auto const& errors : {Core::MethodDefinition::ErrorDefinitions{NotFoundDefinition()},
                             Core::MethodDefinition::ErrorDefinitions{}}) {
    auto replaced = Provider::ApiMethodHelper::ValidateError("get", errors, undeclared);
    ASSERT_FALSE(replaced->success());
    EXPECT_EQ(replaced->error()->name(), ErrorIds::kInternalServerError);
    std::list<BaseMessage> const messages = replaced->error()->messages();
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.back().id(), "opax.invoke.undeclared.error");
    EXPECT_EQ(messages.back().args(), (std::vector<std::string>{"get", ErrorIds::kUnsupported}));
  }
  // With nothing declared, even the generic errors are replaced.
  auto generic =
      Provider::ApiMethodHelper::ValidateError("get", {}, ErrorValue::GetInstance(ErrorIds::kNotFound));
  EXPECT_EQ(generic->error()->name(), ErrorIds::kInternalServerError);

  // A declared name with a body that breaks the declaration is not passed on either.
  auto strict = Data::ErrorDefinition::GetInstance(ErrorIds::kNotFound,
                                                   {{"resource", Data::StringDefinition::GetInstance()}});
  auto broken =
      Provider::ApiMethodHelper::ValidateError("get", {strict}, ErrorValue::GetInstance(ErrorIds::kNotFound));
  EXPECT_EQ(broken->error()->name(), ErrorIds::kInternalServerError);

  auto none = Provider::ApiMethodHelper::ValidateError("get", {NotFoundDefinition()}, nullptr);
  ASSERT_TRUE(none->error());
  EXPECT_EQ(none->error()->name(), ErrorIds::kInternalServerError);
}

TEST(ApiMethodHelper, ValidateOutputBlamesTheImplementation) {
  auto good = DataValue::Create(int64_t{3});
  auto ok = Provider::ApiMethodHelper::ValidateOutput("add", Data::DataDefinition::Create<int64_t>(), good);
  ASSERT_TRUE(ok->success());
  EXPECT_EQ(ok->output(), good);

  for (auto const& bad : {DataValue::Create(std::string("3")), std::shared_ptr<DataValue const>()}) {
    auto refused =
        Provider::ApiMethodHelper::ValidateOutput("add", Data::DataDefinition::Create<int64_t>(), bad);
    ASSERT_FALSE(refused->success());
    EXPECT_EQ(refused->error()->name(), ErrorIds::kInternalServerError);
    EXPECT_EQ(Ids(refused->error()).back(), "opax.invoke.invalid.output");
  }
}

// A service with "add" (answers name + count at once), "hold" (keeps its callback for the test)
// and "add$task" (reports progress, then the result, through the held callback).
struct Counter {
  std::shared_ptr<Provider::AsyncApiMethodSignal> add = Signal("add");
  std::shared_ptr<Provider::AsyncApiMethodSignal> task = Signal("add$task", {NotFoundDefinition()});
  std::shared_ptr<std::vector<std::shared_ptr<AsyncApiResultCb>>> held =
      std::make_shared<std::vector<std::shared_ptr<AsyncApiResultCb>>>();

  Counter() {
    add->Connect([](std::shared_ptr<AsyncActivation> const&, std::shared_ptr<DataValue const> const& input,
                    std::shared_ptr<AsyncApiResultCb> const& callback) {
      std::shared_ptr<DataValue const> count;
      Messages messages;
      StructValue::Cast(input.get())->GetField("count", count, messages);
      (*callback)(MethodResult::GetInstance(count), Progress());
    });
    auto keep = held;
    task->Connect([keep](std::shared_ptr<AsyncActivation> const&, std::shared_ptr<DataValue const> const&,
                         std::shared_ptr<AsyncApiResultCb> const& callback) { keep->push_back(callback); });
  }
  std::shared_ptr<Provider::AsyncApiInterface> Service() const {
    return Provider::AsyncApiInterface::GetInstance(
        std::make_shared<Core::InterfaceIdentifier const>(kService), {add, task});
  }
};

std::shared_ptr<Core::MethodIdentifier const> Method(std::string const& service, std::string const& name) {
  return Core::MethodIdentifier::GetInstance(std::make_shared<Core::InterfaceIdentifier const>(service),
                                             name);
}

TEST(InProcessProvider, UnknownServicesAndMethodsGetClearErrors) {
  InProcessProvider provider;
  Counter counter;
  provider.Register(counter.Service());
  provider.Register(nullptr);  // ignored

  struct Case {
    std::shared_ptr<Core::MethodIdentifier const> method;
    std::string id;
    std::vector<std::string> args;
  };
  std::vector<Case> const cases = {
      {Method("com.example.nothing", "add"), "opax.provider.interface.unknown", {"com.example.nothing"}},
      {Method(kService, "remove"), "opax.provider.method.unknown", {kService, "remove"}},
      {Method(kService, "add$task$task"), "opax.provider.method.unknown", {kService, "add$task$task"}},
      {Method(kService, ""), "opax.provider.method.unknown", {kService, ""}},
      {Core::MethodIdentifier::GetInstance(nullptr, "add"), "opax.provider.interface.unknown", {""}},
      {nullptr, "opax.provider.interface.unknown", {""}},
  };
  for (Case const& c : cases) {
    Reports reports;
    provider.InvokeAsync(c.method, Input("a", 1), AsyncActivation::GetInstance(), reports.Callback());
    ASSERT_EQ(reports.size(), 1u);
    ErrorPtr error = reports.error(0);
    ASSERT_TRUE(error);
    std::list<BaseMessage> const messages = error->messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages.front().id(), c.id);
    EXPECT_EQ(messages.front().args(), c.args);
  }
  EXPECT_TRUE(provider.tasks()->List().empty());
  provider.InvokeAsync(Method(kService, "add"), Input("a", 1), AsyncActivation::GetInstance(),
                       nullptr);  // no-one to tell

  Reports reports;
  provider.InvokeAsync(Method(kService, "add"), Input("a", 7), AsyncActivation::GetInstance(),
                       reports.Callback());
  ASSERT_EQ(reports.size(), 1u);
  ASSERT_TRUE(reports[0].result->success());
  EXPECT_TRUE(DataValue::Equal(*reports[0].result->output(), *DataValue::Create(int64_t{7})));
  EXPECT_EQ(provider.services(), std::vector<std::string>{kService});
}

TEST(InProcessProvider, TheServerWorksOnItsOwnCopyOfTheActivation) {
  auto signal = Signal("add");
  std::vector<std::shared_ptr<AsyncActivation>> seen;
  signal->Connect([&seen](std::shared_ptr<AsyncActivation> const& activation,
                          std::shared_ptr<DataValue const> const&, std::shared_ptr<AsyncApiResultCb> const&) {
    activation->resourceId("set-by-the-server");
    seen.push_back(activation);
  });
  InProcessProvider provider;
  provider.Register(Provider::AsyncApiInterface::GetInstance(
      std::make_shared<Core::InterfaceIdentifier const>(kService), {signal}));
  auto mine = AsyncActivation::GetInstance();
  mine->resourceId("vm-1");
  mine->context()["operation-id"] = "op-3";
  Reports reports;
  provider.InvokeAsync(Method(kService, "add"), Input("a", 1), mine, reports.Callback());
  provider.InvokeAsync(Method(kService, "add"), Input("a", 1), nullptr, reports.Callback());
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_NE(seen[0], mine);
  EXPECT_EQ(seen[0]->context(), mine->context());
  EXPECT_EQ(seen[0]->localizer(), signal->localizer());
  EXPECT_EQ(mine->resourceId(), "vm-1");
  EXPECT_FALSE(mine->localizer());
  ASSERT_TRUE(seen[1]);
}

TEST(InProcessProvider, ALaterRegistrationReplacesTheService) {
  InProcessProvider provider;
  Counter first;
  provider.Register(first.Service());
  auto only = Provider::AsyncApiInterface::GetInstance(
      std::make_shared<Core::InterfaceIdentifier const>(kService), {first.task});
  provider.Register(only);
  provider.Register(Provider::AsyncApiInterface::GetInstance(
      std::make_shared<Core::InterfaceIdentifier const>("com.example.another"), {}));
  Reports reports;
  provider.InvokeAsync(Method(kService, "add"), Input("a", 1), AsyncActivation::GetInstance(),
                       reports.Callback());
  EXPECT_EQ(Ids(reports.error(0)), std::vector<std::string>{"opax.provider.method.unknown"});
  EXPECT_EQ(provider.services(), (std::vector<std::string>{"com.example.another", kService}));
}

TEST(InProcessProvider, ATaskAnswersWithItsIdAndRecordsItsReports) {
  InProcessProvider provider;
  Counter counter;
  provider.Register(counter.Service());

  Reports client;
  provider.InvokeAsync(Method(kService, "add$task"), Input("a", 1), AsyncActivation::GetInstance(),
                       client.Callback());
  // The id arrives before the implementation did anything.
  ASSERT_EQ(client.size(), 1u);
  ASSERT_TRUE(client[0].result->success());
  std::string id;
  Messages messages;
  ASSERT_TRUE(DataValue::Value(client[0].result->output(), id, messages));
  ASSERT_EQ(counter.held->size(), 1u);

  auto info = provider.tasks()->Get(id);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->state, TaskRegistry::State::PENDING);
  EXPECT_EQ(info->operation, std::string(kService) + "/add$task");
  EXPECT_FALSE(info->endTime);

  auto& report = *counter.held->back();
  report(nullptr, Step(1, 4));
  report(nullptr, Step(3, 4), [](std::shared_ptr<AsyncApiResultCb> next) { (*next)(nullptr, Step(2, 4)); });
  info = provider.tasks()->Get(id);
  EXPECT_EQ(info->state, TaskRegistry::State::RUNNING);
  EXPECT_EQ(info->progress, Step(2, 4));

  auto value = DataValue::Create(int64_t{9});
  report(MethodResult::GetInstance(value), Progress());
  report(MethodResult::GetErrorInstance(ErrorValue::GetInstance(ErrorIds::kNotFound)),
         Progress());  // after the end: ignored
  info = provider.tasks()->Get(id);
  EXPECT_EQ(info->state, TaskRegistry::State::SUCCEEDED);
  EXPECT_EQ(info->result, value);
  EXPECT_EQ(info->error, nullptr);
  EXPECT_EQ(info->progress.completed, 4);
  ASSERT_TRUE(info->endTime);
  EXPECT_FALSE(*info->endTime < info->startTime);
  EXPECT_EQ(client.size(), 1u);  // the caller heard only the id

  // Each task has its own id; a failing one keeps its error.
  Reports second;
  provider.InvokeAsync(Method(kService, "add$task"), Input("b", 2), AsyncActivation::GetInstance(),
                       second.Callback());
  std::string secondId;
  ASSERT_TRUE(DataValue::Value(second[0].result->output(), secondId, messages));
  EXPECT_NE(secondId, id);
  auto error = ErrorValue::GetInstance(ErrorIds::kNotFound);
  (*counter.held->back())(MethodResult::GetErrorInstance(error), Progress());
  info = provider.tasks()->Get(secondId);
  EXPECT_EQ(info->state, TaskRegistry::State::FAILED);
  EXPECT_EQ(info->error, error);
  EXPECT_FALSE(provider.tasks()->Get("task-0"));
}

TEST(InProcessProvider, ATaskWithBadInputFailsInTheRegistry) {
  InProcessProvider provider;
  Counter counter;
  provider.Register(counter.Service());
  Reports client;
  provider.InvokeAsync(Method(kService, "add$task"), StructValue::GetInstance("operation-input"),
                       AsyncActivation::GetInstance(), client.Callback());
  ASSERT_EQ(client.size(), 1u);
  std::string id;
  Messages messages;
  ASSERT_TRUE(DataValue::Value(client[0].result->output(), id, messages));
  EXPECT_TRUE(counter.held->empty());
  auto info = provider.tasks()->Get(id);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->state, TaskRegistry::State::FAILED);
  EXPECT_EQ(info->error->name(), ErrorIds::kInvalidArgument);
}

TEST(TaskRegistry, RetentionForgetsTheOldestFinishedNeverRunning) {
  TaskRegistry::Policy policy;
  policy.keepFinished = 2;
  TaskRegistry registry(policy);
  std::vector<std::string> ids;
  for (int i = 0; i < 5; ++i) ids.push_back(registry.Create("svc/op$task"));
  registry.Report(ids[0], nullptr, Step(1, 2));  // running, and stays so

  auto done = MethodResult::GetInstance(Data::VoidValue::GetInstance());
  for (int i : {1, 2, 3, 4}) registry.Report(ids[i], done, Progress());
  EXPECT_TRUE(registry.Get(ids[0]));
  EXPECT_FALSE(registry.Get(ids[1]));
  EXPECT_FALSE(registry.Get(ids[2]));
  EXPECT_TRUE(registry.Get(ids[3]));
  EXPECT_TRUE(registry.Get(ids[4]));
  EXPECT_EQ(registry.List().size(), 3u);

  // A forgotten task that reports again is not brought back.
  registry.Report(ids[1], done, Progress());
  EXPECT_FALSE(registry.Get(ids[1]));
  registry.Report("no-such-task", nullptr, Progress());

  // A lifetime already over forgets a task as soon as it finishes; a running task has no end to
  // measure from and stays.
  TaskRegistry::Policy expired;
  expired.finishedLifetime = std::chrono::seconds(-1);
  TaskRegistry brief(expired);
  std::string const running = brief.Create("svc/op$task");
  std::string const finished = brief.Create("svc/op$task");
  brief.Report(finished, done, Progress());
  EXPECT_FALSE(brief.Get(finished));
  EXPECT_TRUE(brief.Get(running));
}

TEST(TaskRegistry, CancelEndsAnUnfinishedTaskOnceAndRefusesAFinishedOne) {
  using Outcome = TaskRegistry::CancelOutcome;
  auto const done = MethodResult::GetInstance(DataValue::Create(int64_t{7}));
  auto const failed = MethodResult::GetErrorInstance(ErrorValue::GetInstance(ErrorIds::kNotFound));
  struct Case {
    char const* name;
    std::function<void(TaskRegistry&, std::string const&)> before;
    Outcome expected;
  };
  std::vector<Case> const cases = {
      {"pending", [](TaskRegistry&, std::string const&) {}, Outcome::CANCELED},
      {"running", [](TaskRegistry& r, std::string const& id) { r.Report(id, nullptr, Step(1, 3)); },
       Outcome::CANCELED},
      {"succeeded", [&](TaskRegistry& r, std::string const& id) { r.Report(id, done, Progress()); },
       Outcome::ALREADY_ENDED},
      {"failed", [&](TaskRegistry& r, std::string const& id) { r.Report(id, failed, Progress()); },
       Outcome::ALREADY_ENDED},
      {"canceled", [](TaskRegistry& r, std::string const& id) { r.Cancel(id); }, Outcome::ALREADY_ENDED},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    TaskRegistry registry;
    std::string const id = registry.Create("svc/op$task");
    c.before(registry, id);
    auto const before = registry.Get(id);
    EXPECT_EQ(registry.Cancel(id), c.expected);
    auto const after = registry.Get(id);
    ASSERT_TRUE(after);
    EXPECT_EQ(after->state, c.expected == Outcome::CANCELED ? TaskRegistry::State::FAILED : before->state);
    if (c.expected != Outcome::CANCELED) {
      // A refused cancel leaves the outcome as it was, error object and all.
      EXPECT_EQ(after->error, before->error);
      EXPECT_EQ(after->result, before->result);
      continue;
    }
    ASSERT_TRUE(after->error);
    EXPECT_EQ(after->error->name(), ErrorIds::kError);
    EXPECT_EQ(Ids(after->error), std::vector<std::string>{"opax.task.canceled"});
    EXPECT_TRUE(after->endTime);
    EXPECT_EQ(after->progress, before->progress);
    // The implementation does not know it was canceled: its later reports change nothing.
    registry.Report(id, nullptr, Step(2, 3));
    registry.Report(id, done, Progress());
    auto const late = registry.Get(id);
    EXPECT_EQ(late->state, TaskRegistry::State::FAILED);
    EXPECT_EQ(late->result, nullptr);
    EXPECT_EQ(late->progress, before->progress);
  }
  TaskRegistry registry;
  EXPECT_EQ(registry.Cancel("task-1"), Outcome::UNKNOWN);
}

TEST(TaskRegistry, CanceledTasksCountAsFinishedForRetention) {
  TaskRegistry::Policy policy;
  policy.keepFinished = 1;
  TaskRegistry registry(policy);
  std::string const first = registry.Create("svc/op$task");
  std::string const second = registry.Create("svc/op$task");
  registry.Cancel(first);
  registry.Cancel(second);
  EXPECT_FALSE(registry.Get(first));
  EXPECT_TRUE(registry.Get(second));
  EXPECT_EQ(registry.Cancel(first), TaskRegistry::CancelOutcome::UNKNOWN);
}

}  // namespace
}  // namespace Opax
