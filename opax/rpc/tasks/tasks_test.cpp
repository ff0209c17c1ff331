// The task service and FollowTask through an in-process provider that serves both the service
// and a hand-made one whose operations run as tasks the test drives. Every FollowTask case also
// runs through a JSON wire in between, where a task's result arrives decoded by its looks.

#include <opax/rpc/tasks/follow_task.h>
#include <opax/rpc/tasks/task_service.h>

#include <opax/cis/tasks.h>
#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>
#include <opax/core/message/error_ids.h>
#include <opax/core/provider/in_process_provider.h>
#include <opax/core/testing/deliveries.h>
#include <opax/json/json.h>
#include <runtime/service_catalog.h>
#include <runtime/testing/definition_only.h>

#include <gtest/gtest.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace Opax {
namespace Rpc {
namespace {

using Data::DataDefinition;
using Data::DataValue;
using Data::Kind;
using Data::StructValue;
using TasksSvc = ::Com::Quarn::Cis::TasksSvc;
using Status = ::Com::Quarn::Cis::Task::Status;
using ErrorPtr = std::shared_ptr<Data::ErrorValue const>;
using ValuePtr = std::shared_ptr<DataValue const>;

constexpr char kJobs[] = "com.quarn.test.jobs";
constexpr char kBuilt[] = "com.quarn.test.jobs.built";

// The operations of the test service, each only a task: a structure result, two kinds that
// travel wrapped, and void.
std::shared_ptr<DataDefinition const> NoInput() {
  static auto const def = Data::StructDefinition::GetInstance("operation-input", {});
  return def;
}
std::shared_ptr<DataDefinition const> BuiltDef() {
  static auto const def = Data::StructDefinition::GetInstance(
      kBuilt, {{"name", DataDefinition::Create<std::string>()}, {"at", DataDefinition::Create<DateTime>()}});
  return def;
}
std::shared_ptr<DataDefinition const> StampsDef() {
  static auto const def = Data::ListDefinition::GetInstance(DataDefinition::Create<DateTime>());
  return def;
}
std::shared_ptr<DataDefinition const> CountDef() {
  static auto const def = Data::OptionalDefinition::GetInstance(DataDefinition::Create<int64_t>());
  return def;
}
std::shared_ptr<DataDefinition const> VoidDef() { return DataDefinition::Create<Void>(); }
std::shared_ptr<DataDefinition const> NotFoundDef() {
  return Data::ErrorDefinition::GetInstance(ErrorIds::kNotFound, {});
}

// The test service in the run-time catalogue, where FollowTask looks its output definitions up.
using Binding::Testing::Describe;
Binding::OperationDescriptor const kBuildOp =
    Describe<&NoInput, &BuiltDef, &NotFoundDef>(kJobs, "build", false, true);
Binding::OperationDescriptor const kStampsOp =
    Describe<&NoInput, &StampsDef, &NotFoundDef>(kJobs, "stamps", false, true);
Binding::OperationDescriptor const kCountOp =
    Describe<&NoInput, &CountDef, &NotFoundDef>(kJobs, "count", false, true);
Binding::OperationDescriptor const kNothingOp =
    Describe<&NoInput, &VoidDef, &NotFoundDef>(kJobs, "nothing", false, true);
Binding::OperationDescriptor const* const kOperations[] = {&kBuildOp, &kStampsOp, &kCountOp, &kNothingOp};
Catalog::ServiceEntry const kJobsEntry{kJobs, "JobsSvc", nullptr, kOperations, std::size(kOperations)};
Catalog::Registration const kRegistration(&kJobsEntry);

DateTime At(int64_t ms) { return DateTime::FromEpochMilliseconds(ms); }

ValuePtr Built() {
  auto built = StructValue::GetInstance(kBuilt);
  built->SetField("name", DataValue::Create(std::string("web-7")));
  built->SetField("at", DataValue::Create(At(1700000000123)));
  return built;
}
ValuePtr Stamps() {
  auto stamps = Data::ListValue::GetInstance(Kind::DateTime);
  std::list<BaseMessage> messages;
  for (int64_t ms : {1000, 2000}) stamps->Append(DataValue::Create(At(ms)), messages);
  return stamps;
}

using Testing::Ids;

// Hands every output through JSON text, as a network client does: encoded and decoded against
// the operation's output definition from the catalogue, so what is dynamic arrives by looks.
class JsonWire : public Provider::ApiProvider {
 public:
  explicit JsonWire(std::shared_ptr<Provider::ApiProvider> inner) : inner_(std::move(inner)) {}
  void InvokeAsync(std::shared_ptr<Core::MethodIdentifier const> const& method, ValuePtr const& input,
                   std::shared_ptr<Core::AsyncActivation> const& activation,
                   std::shared_ptr<Core::AsyncApiResultCb> const& callback) override {
    auto const* service = Catalog::ServiceCatalog::Instance().Find(method->interfaceIdentifier()->name());
    auto const* op = service ? Catalog::ServiceCatalog::FindOperation(*service, method->name()) : nullptr;
    std::shared_ptr<DataDefinition const> def = op ? op->outputDef() : DataDefinition::Create<std::string>();
    inner_->InvokeAsync(method, input, activation,
                        Core::AsyncApiResultCb::GetInstance(
                            [callback, def](std::shared_ptr<Core::MethodResult const> const& result,
                                            Progress const& progress) {
                              if (!result || !result->success()) return (*callback)(result, progress);
                              std::string text;
                              std::list<BaseMessage> messages;
                              ValuePtr decoded;
                              ASSERT_TRUE(Json::Encode(*result->output(), def.get(), text, messages));
                              ASSERT_TRUE(Json::Decode(text, *def, decoded, messages)) << text;
                              (*callback)(Core::MethodResult::GetInstance(decoded), progress);
                            }));
  }

 private:
  std::shared_ptr<Provider::ApiProvider> inner_;
};

class Tasks : public ::testing::Test {
 protected:
  Tasks() {
    provider_->Register(MakeTaskService(provider_->tasks()));
    std::list<std::shared_ptr<Provider::AsyncApiMethod const>> methods;
    for (auto const* operation : kOperations) {
      auto const& op = *operation;
      auto signal = Provider::AsyncApiMethodSignal::GetInstance(
          Core::MethodDefinition::GetInstance(Method(std::string(op.name) + "$task"), op.inputDef(),
                                              op.outputDef(), op.errorDefs()),
          std::make_shared<L10n::Localizer const>());
      auto held = held_;
      signal->Connect(
          [held](std::shared_ptr<Core::AsyncActivation> const&, ValuePtr const&,
                 std::shared_ptr<Core::AsyncApiResultCb> const& callback) { held->push_back(callback); });
      methods.push_back(signal);
    }
    provider_->Register(Provider::AsyncApiInterface::GetInstance(
        std::make_shared<Core::InterfaceIdentifier const>(kJobs), methods));
  }

  static std::shared_ptr<Core::MethodIdentifier const> Method(std::string const& name) {
    return Core::MethodIdentifier::GetInstance(std::make_shared<Core::InterfaceIdentifier const>(kJobs),
                                               name);
  }

  // Starts "<op>$task"; returns its id, and the task's report channel in `report`.
  std::string Start(std::string const& op, std::shared_ptr<Core::AsyncApiResultCb>* report = nullptr) {
    std::string id;
    provider_->InvokeAsync(
        Method(op + "$task"), StructValue::GetInstance("operation-input"),
        Core::AsyncActivation::GetInstance(),
        Core::AsyncApiResultCb::GetInstance(
            [&id](std::shared_ptr<Core::MethodResult const> const& r, Progress const&) {
              std::list<BaseMessage> messages;
              EXPECT_TRUE(r && r->success() && DataValue::Value(r->output(), id, messages));
            }));
    if (report) *report = held_->back();
    return id;
  }

  template <class T>
  struct Reply {
    boost::optional<T> value;
    ErrorPtr error;
  };
  // One call of the task service's stub, waited for.
  template <class T, class Call>
  Reply<T> Ask(Call&& call) {
    using Result = AsyncResult<T, AsyncResultTerminateCbPolicy>;
    auto promise = std::make_shared<std::promise<Reply<T>>>();
    auto future = promise->get_future();
    call(stub_, Result(typename Result::Callback(
                    [promise](boost::optional<T> const& value, ErrorPtr const& error, Progress const&) {
                      if (value || error) promise->set_value(Reply<T>{value, error});
                    })));
    EXPECT_EQ(future.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    return future.get();
  }
  Reply<std::shared_ptr<TasksSvc::Info const>> Get(std::string const& id) {
    return Ask<std::shared_ptr<TasksSvc::Info const>>([&](TasksSvc::AsyncServiceStub& s, auto const& r) {
      s.Get(id, Core::AsyncActivation::GetInstance(), r);
    });
  }
  Reply<Void> Cancel(std::string const& id) {
    return Ask<Void>([&](TasksSvc::AsyncServiceStub& s, auto const& r) {
      s.Cancel(id, Core::AsyncActivation::GetInstance(), r);
    });
  }

  std::shared_ptr<Core::InProcessProvider> provider_ = std::make_shared<Core::InProcessProvider>();
  std::shared_ptr<JsonWire> wire_ = std::make_shared<JsonWire>(provider_);
  std::shared_ptr<std::vector<std::shared_ptr<Core::AsyncApiResultCb>>> held_ =
      std::make_shared<std::vector<std::shared_ptr<Core::AsyncApiResultCb>>>();
  TasksSvc::AsyncServiceStub stub_{Stub::AsyncApiStub::GetInstance(provider_)};
};

TEST_F(Tasks, GetListAndCancelFollowTheRegistry) {
  std::shared_ptr<Core::AsyncApiResultCb> first;
  std::string const a = Start("build", &first);
  std::string const b = Start("count");
  (*first)(nullptr, Progress{4, 1, "copying"});

  auto const all = Ask<std::list<std::shared_ptr<TasksSvc::Info const>>>(
      [](TasksSvc::AsyncServiceStub& s, auto const& r) { s.List(Core::AsyncActivation::GetInstance(), r); });
  ASSERT_TRUE(all.value);
  std::map<std::string, std::shared_ptr<TasksSvc::Info const>> byId;
  for (auto const& info : *all.value) byId[info->task()] = info;
  ASSERT_EQ(byId.size(), 2u);
  EXPECT_EQ(byId[a]->operation(), std::string(kJobs) + "/build$task");
  EXPECT_EQ(byId[a]->status(), Status::RUNNING);
  EXPECT_EQ(byId[a]->progress()->completed(), 1);
  EXPECT_EQ(byId[a]->progress()->total(), 4);
  EXPECT_EQ(byId[a]->progress()->message()->defaultMessage(), "copying");
  EXPECT_EQ(byId[b]->status(), Status::PENDING);
  EXPECT_FALSE(byId[b]->endTime());

  // Cancel ends the task at once, with the cancel as its error; a second cancel is refused, and
  // what the implementation reports afterwards changes nothing.
  EXPECT_FALSE(Cancel(a).error);
  auto const twice = Cancel(a);
  ASSERT_TRUE(twice.error);
  EXPECT_EQ(twice.error->name(), ErrorIds::kNotAllowedInCurrentState);
  EXPECT_EQ(Ids(twice.error), std::vector<std::string>{"opax.task.already.ended"});
  (*first)(Core::MethodResult::GetInstance(Built()), Progress());
  auto const canceled = Get(a);
  ASSERT_TRUE(canceled.value);
  EXPECT_EQ((*canceled.value)->status(), Status::FAILED);
  EXPECT_TRUE((*canceled.value)->endTime());
  EXPECT_FALSE((*canceled.value)->result());
  ASSERT_TRUE((*canceled.value)->error());
  EXPECT_EQ(Ids((*canceled.value)->error()->value()), std::vector<std::string>{"opax.task.canceled"});
  auto const followed = FollowTask(*provider_, a);
  ASSERT_FALSE(followed->success());
  EXPECT_EQ(Ids(followed->error()), std::vector<std::string>{"opax.task.canceled"});

  // A task that ended by itself cannot be canceled either.
  (*held_->back())(Core::MethodResult::GetInstance(Data::OptionalValue::GetInstance()), Progress());
  EXPECT_EQ(Ids(Cancel(b).error), std::vector<std::string>{"opax.task.already.ended"});
}

TEST_F(Tasks, UnknownIdsAreNotFound) {
  Start("build");  // task-1 exists; the others never did
  for (std::string const& id :
       std::vector<std::string>{"", "task-0", "task-2", "task-1$task", "TASK-1", std::string(300, 'x')}) {
    SCOPED_TRACE(id);
    for (ErrorPtr const& error : {Get(id).error, Cancel(id).error, FollowTask(*provider_, id)->error()}) {
      ASSERT_TRUE(error);
      EXPECT_EQ(error->name(), ErrorIds::kNotFound);
      EXPECT_EQ(Ids(error), std::vector<std::string>{"opax.task.unknown"});
    }
  }
}

TEST(TaskResultCarriage, StructuresAsTheyAreOtherKindsWrappedVoidAsNothing) {
  auto const built = Built();
  auto const carried = WrapTaskResult(built);
  EXPECT_EQ(carried, built);
  EXPECT_EQ(UnwrapTaskResult(carried), built);
  EXPECT_EQ(WrapTaskResult(Data::VoidValue::GetInstance()), nullptr);
  EXPECT_EQ(WrapTaskResult(nullptr), nullptr);
  EXPECT_EQ(UnwrapTaskResult(nullptr), nullptr);
  for (ValuePtr const& value :
       {Stamps(), DataValue::Create(std::string("x")), ValuePtr(Data::OptionalValue::GetInstance()),
        ValuePtr(Data::ErrorValue::GetInstance(ErrorIds::kNotFound))}) {
    auto const wrapped = WrapTaskResult(value);
    ASSERT_TRUE(wrapped);
    EXPECT_EQ(wrapped->name(), kWrappedResultName);
    EXPECT_EQ(UnwrapTaskResult(wrapped), value);
  }
  // An unset optional is left out of the JSON text; its absence reads back as nothing.
  EXPECT_EQ(UnwrapTaskResult(StructValue::GetInstance(kWrappedResultName)), nullptr);
}

// The implementation's side of a followed task: reports each step only after the follower saw
// the one before, so that every step is seen however slow the machine, then ends.
class Driver {
 public:
  void Seen(Progress const& progress) {
    std::lock_guard<std::mutex> lock(mutex_);
    seen_.push_back(progress);
    changed_.notify_all();
  }
  void Run(std::shared_ptr<Core::AsyncApiResultCb> report, std::shared_ptr<Core::MethodResult const> end,
           int steps) {
    thread_ = std::thread([this, report, end, steps] {
      for (int step = 1; step <= steps; ++step) {
        (*report)(nullptr, Progress{steps, step - 1, "step " + std::to_string(step)});
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(5),
                          [&] { return seen_.size() >= static_cast<std::size_t>(step); });
      }
      if (end) (*report)(end, Progress());
    });
  }
  std::vector<Progress> Join() {
    thread_.join();
    return seen_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Progress> seen_;
  std::thread thread_;
};

TEST_F(Tasks, FollowTaskReportsEachStepAndTypesTheOutcome) {
  using Check = std::function<void(Core::MethodResult const&)>;
  auto typedAs = [](ValuePtr const& want) -> Check {
    return [want](Core::MethodResult const& got) {
      ASSERT_TRUE(got.success()) << Ids(got.error()).front();
      EXPECT_TRUE(DataValue::Equal(*got.output(), *want))
          << got.output()->ToString() << " / " << want->ToString();
    };
  };
  auto failedWith = [](std::string const& error, std::string const& id) -> Check {
    return [error, id](Core::MethodResult const& got) {
      ASSERT_FALSE(got.success());
      EXPECT_EQ(got.error()->name(), error);
      EXPECT_EQ(Ids(got.error()).back(), id);
    };
  };
  auto const notFound =
      Data::ErrorValue::GetInstance(ErrorIds::kNotFound, {BaseMessage::Make("opax.task.unknown", {"x"})});
  auto const countOf = Data::OptionalValue::GetInstance(DataValue::Create(int64_t{42}));
  struct Case {
    char const* op;
    std::shared_ptr<Core::MethodResult const> end;  // null: the task never ends
    Check check;
  };
  std::vector<Case> const cases = {
      {"build", Core::MethodResult::GetInstance(Built()), typedAs(Built())},
      {"stamps", Core::MethodResult::GetInstance(Stamps()), typedAs(Stamps())},
      {"count", Core::MethodResult::GetInstance(countOf), typedAs(countOf)},
      {"count", Core::MethodResult::GetInstance(Data::OptionalValue::GetInstance()),
       typedAs(Data::OptionalValue::GetInstance())},
      {"nothing", Core::MethodResult::GetInstance(Data::VoidValue::GetInstance()),
       typedAs(Data::VoidValue::GetInstance())},
      {"build", Core::MethodResult::GetErrorInstance(notFound),
       failedWith(ErrorIds::kNotFound, "opax.task.unknown")},
      {"build", nullptr, failedWith(ErrorIds::kTimedOut, "opax.task.follow.timed.out")},
  };
  FollowOptions options;
  options.firstDelay = std::chrono::milliseconds(1);
  options.maxDelay = std::chrono::milliseconds(10);
  options.factor = 2;
  for (bool const overWire : {false, true}) {
    for (auto const& c : cases) {
      SCOPED_TRACE(std::string(c.op) + (overWire ? " over the wire" : " in process"));
      options.deadline = std::chrono::milliseconds(c.end ? 10000 : 300);
      std::shared_ptr<Core::AsyncApiResultCb> report;
      std::string const id = Start(c.op, &report);
      Driver driver;
      driver.Run(report, c.end, 3);
      auto const started = std::chrono::steady_clock::now();
      Provider::ApiProvider& through = overWire ? static_cast<Provider::ApiProvider&>(*wire_) : *provider_;
      auto const result = FollowTask(
          through, id, [&](Progress const& p) { driver.Seen(p); }, options);
      auto const took = std::chrono::steady_clock::now() - started;
      std::vector<Progress> const seen = driver.Join();
      c.check(*result);
      // Each step once, in order; a success then shows the work complete.
      ASSERT_GE(seen.size(), 3u);
      for (int step = 0; step < 3; ++step) EXPECT_EQ(seen[step].completed, step) << step;
      EXPECT_EQ(seen[0].message, "step 1");
      if (c.end && c.end->success()) {
        EXPECT_EQ(seen.back(), (Progress{3, 3, "step 3"}));
      }
      if (!c.end) {
        EXPECT_GE(took, options.deadline);
      }
    }
  }
}

TEST_F(Tasks, FollowTaskRefusesAResultThatDoesNotFitItsDefinition) {
  std::shared_ptr<Core::AsyncApiResultCb> report;
  std::string const id = Start("stamps", &report);
  (*report)(Core::MethodResult::GetInstance(DataValue::Create(std::string("yesterday"))), Progress());
  auto const result = FollowTask(*wire_, id);
  ASSERT_FALSE(result->success());
  EXPECT_EQ(result->error()->name(), ErrorIds::kInternalServerError);
  EXPECT_EQ(Ids(result->error()).back(), "opax.invoke.invalid.output");

  // Without an output definition anywhere the result comes back as the wire decoded it.
  std::string const other = Start("stamps", &report);
  (*report)(Core::MethodResult::GetInstance(Stamps()), Progress());
  FollowOptions options;
  options.outputDefinition = DataDefinition::Create<std::string>();
  EXPECT_FALSE(FollowTask(*wire_, other, {}, options)->success());
}

}  // namespace
}  // namespace Rpc
}  // namespace Opax
