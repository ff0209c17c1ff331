// Thousands of calls at once through one stub, the in-process provider and binders whose
// implementations complete on other threads. Built to run under ThreadSanitizer: the call path
// itself takes no locks, so any shared state it touches shows up there as a race.

#include <bindings/authorization/roles.h>
#include <bindings/topology/node_ops.h>

#include <opax/core/provider/in_process_provider.h>
#include <runtime/service.h>

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace Nexar = ::Com::Quarn::Nexar;
using Nexar::Authorization::RolesSvc;
using Nexar::Topology::NodeOpsSvc;
using ::Opax::Core::AsyncActivation;
using ErrorPtr = std::shared_ptr<::Opax::Data::ErrorValue const>;

// Implementation threads: jobs wait in a queue and run on whichever worker is free. The
// destructor runs every queued job before it returns, so once the pool is gone every call has
// been completed, and the test needs no clock.
class WorkerPool {
 public:
  explicit WorkerPool(int threads) {
    for (int i = 0; i < threads; ++i) workers_.emplace_back([this] { Run(); });
  }
  ~WorkerPool() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stopping_ = true;
    }
    wake_.notify_all();
    for (auto& worker : workers_) worker.join();
  }
  void Post(std::function<void()> job) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      jobs_.push_back(std::move(job));
    }
    wake_.notify_one();
  }

 private:
  void Run() {
    for (;;) {
      std::function<void()> job;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        wake_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
        if (jobs_.empty()) return;
        job = std::move(jobs_.front());
        jobs_.pop_front();
      }
      job();
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> jobs_;
  bool stopping_ = false;
  std::vector<std::thread> workers_;
};

std::shared_ptr<::Com::Quarn::Opax::Std::LocalizableMessage const> Note(std::string const& text) {
  return std::make_shared<::Com::Quarn::Opax::Std::LocalizableMessage const>("test.note", text,
                                                                             std::list<std::string>{text});
}

// Roles answered on the pool: a role named "missing-..." is not found, every other one exists
// and is named after its id.
class PooledRoles : public RolesSvc::AsyncServiceInterface {
 public:
  using Done = ::Opax::AsyncResult<::Opax::Void, ::Opax::AsyncResultTerminateCbPolicy>;
  explicit PooledRoles(WorkerPool& pool) : pool_(pool) {}

  void Get(std::string const& role, std::shared_ptr<AsyncActivation> const&,
           ::Opax::AsyncResult<std::shared_ptr<RolesSvc::Info const>,
                               ::Opax::AsyncResultTerminateCbPolicy> const& result) override {
    pool_.Post([role, result] {
      if (role.compare(0, 8, "missing-") == 0) {
        return result.SetError(
            ::Opax::Binding::ErrorValueOf(::Com::Quarn::Opax::Std::Errors::NotFound({Note(role)})));
      }
      result.SetResult(
          std::make_shared<RolesSvc::Info const>(role, "pooled", std::set<std::string>{"p.read"}, false));
    });
  }
  void Create(std::shared_ptr<RolesSvc::CreateSpec const> const&, std::shared_ptr<AsyncActivation> const&,
              ::Opax::AsyncResult<std::string, ::Opax::AsyncResultTerminateCbPolicy> const& result) override {
    result.Terminate();
  }
  void Delete(std::string const&, std::shared_ptr<AsyncActivation> const&, Done const& result) override {
    result.Terminate();
  }
  void List(::Opax::OptionalPtr<RolesSvc::FilterSpec const> const&, std::shared_ptr<AsyncActivation> const&,
            ::Opax::AsyncResult<std::list<std::shared_ptr<RolesSvc::Summary const>>,
                                ::Opax::AsyncResultTerminateCbPolicy> const& result) override {
    result.Terminate();
  }
  void Update(std::string const&, std::shared_ptr<RolesSvc::UpdateSpec const> const&,
              std::shared_ptr<AsyncActivation> const&, Done const& result) override {
    result.Terminate();
  }

 private:
  WorkerPool& pool_;
};

// Node removals served only as tasks, reporting progress and the end from the pool; callers use
// the plain form, which forwards.
class PooledNodes : public NodeOpsSvc::AsyncServiceInterface {
 public:
  using AsyncServiceInterface::Delete;
  explicit PooledNodes(WorkerPool& pool) : pool_(pool) {}
  void Delete(std::string const&, ::Opax::OptionalPtr<NodeOpsSvc::DeleteSpec const> const&,
              std::shared_ptr<AsyncActivation> const&,
              ::Opax::AsyncTaskResult<::Opax::Void, ::Opax::AsyncTaskResultTerminateCbPolicy> const& result)
      override {
    pool_.Post([result] {
      result.SetProgress(::Opax::Progress{2, 1, "rewriting agreements"});
      result.SetResult(::Opax::Void());
    });
  }

 private:
  WorkerPool& pool_;
};

// What each call must end with, and what it did end with.
struct Outcomes {
  explicit Outcomes(std::size_t calls) : finals(calls), wrong(calls), taskIds(calls) {}
  std::vector<std::atomic<int>> finals;
  std::vector<std::atomic<int>> wrong;
  std::vector<std::string> taskIds;  // written by a call's first final delivery only

  // True for the first final delivery of `call`.
  bool Final(std::size_t call, bool right) {
    if (!right) wrong[call].fetch_add(1, std::memory_order_relaxed);
    return finals[call].fetch_add(1, std::memory_order_acq_rel) == 0;
  }
};

TEST(Concurrency, EveryCallEndsOnceWithItsOwnOutcome) {
  constexpr int kClients = 4;
  constexpr int kCallsPerClient = 2000;
  Outcomes outcomes(kClients * kCallsPerClient);
  std::shared_ptr<::Opax::Core::InProcessProvider> server;
  {
    WorkerPool pool(3);
    ::Opax::Provider::TaskRegistry::Policy keepAll;
    keepAll.keepFinished = kClients * kCallsPerClient;
    server = std::make_shared<::Opax::Core::InProcessProvider>(keepAll);
    server->Register(RolesSvc::AsyncServiceBinder::BindImplementation(std::make_shared<PooledRoles>(pool)));
    server->Register(NodeOpsSvc::AsyncServiceBinder::BindImplementation(std::make_shared<PooledNodes>(pool)));
    auto apiStub = ::Opax::Stub::AsyncApiStub::GetInstance(server);
    auto roles = RolesSvc::AsyncServiceStub::GetInstance(apiStub);
    auto nodes = NodeOpsSvc::AsyncServiceStub::GetInstance(apiStub);
    // One activation that every client thread passes: a caller may reuse its context.
    auto shared = AsyncActivation::GetInstance();

    std::vector<std::thread> clients;
    for (int c = 0; c < kClients; ++c) {
      clients.emplace_back([&, c] {
        for (int i = 0; i < kCallsPerClient; ++i) {
          std::size_t const call = static_cast<std::size_t>(c * kCallsPerClient + i);
          std::string const id = (i % 5 == 4 ? "missing-" : "role-") + std::to_string(call);
          std::shared_ptr<AsyncActivation> const activation = i % 2 ? shared : nullptr;
          if (i % 4 == 3) {
            nodes->Delete(
                id, boost::none, activation,
                ::Opax::AsyncTaskResult<::Opax::Void>(::Opax::AsyncTaskResult<::Opax::Void>::Callback(
                    [&outcomes, call](::Opax::TaskResult<::Opax::Void> const& started, ErrorPtr const& error,
                                      ::Opax::Progress const&) {
                      if (!started.taskId && !error) return;
                      bool const first = outcomes.Final(call, started.taskId && !error);
                      if (first && started.taskId) outcomes.taskIds[call] = *started.taskId;
                    })));
            continue;
          }
          if (i % 4 == 2) {
            nodes->Delete(id, boost::none, activation,
                          ::Opax::AsyncResult<::Opax::Void>(::Opax::AsyncResult<::Opax::Void>::Callback(
                              [&outcomes, call](boost::optional<::Opax::Void> const& done,
                                                ErrorPtr const& error, ::Opax::Progress const&) {
                                if (done || error) outcomes.Final(call, done && !error);
                              })));
            continue;
          }
          bool const missing = i % 5 == 4;
          roles->Get(id, activation,
                     ::Opax::AsyncResult<std::shared_ptr<RolesSvc::Info const>>(
                         ::Opax::AsyncResult<std::shared_ptr<RolesSvc::Info const>>::Callback(
                             [&outcomes, call, id, missing](
                                 boost::optional<std::shared_ptr<RolesSvc::Info const>> const& info,
                                 ErrorPtr const& error, ::Opax::Progress const&) {
                               if (!info && !error) return;
                               bool const right =
                                   missing ? error && error->name() == "com.quarn.opax.std.errors.not_found"
                                           : !error && *info && (*info)->name() == id;
                               outcomes.Final(call, right);
                             })));
        }
      });
    }
    for (auto& client : clients) client.join();
  }  // the pool finishes every queued completion before it goes

  int missingFinals = 0;
  int repeatedFinals = 0;
  int wrongOutcomes = 0;
  for (std::size_t call = 0; call < outcomes.finals.size(); ++call) {
    int const finals = outcomes.finals[call].load();
    missingFinals += finals == 0;
    repeatedFinals += finals > 1;
    wrongOutcomes += outcomes.wrong[call].load() != 0;
  }
  EXPECT_EQ(missingFinals, 0);
  EXPECT_EQ(repeatedFinals, 0);
  EXPECT_EQ(wrongOutcomes, 0);

  // Every task that a call started has ended in the registry, each under its own id.
  std::set<std::string> ids;
  int unfinishedTasks = 0;
  for (std::string const& id : outcomes.taskIds) {
    if (id.empty()) continue;
    ids.insert(id);
    auto info = server->tasks()->Get(id);
    unfinishedTasks += !info || info->state != ::Opax::Provider::TaskRegistry::State::SUCCEEDED;
  }
  EXPECT_EQ(ids.size(), static_cast<std::size_t>(kClients * kCallsPerClient / 4));
  EXPECT_EQ(unfinishedTasks, 0);
}

}  // namespace
