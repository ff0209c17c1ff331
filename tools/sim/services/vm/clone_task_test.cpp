#include "machine_test_fixture.h"

#include <thread>

namespace Sim {
namespace Machines {
namespace {

class CloneTaskTest : public MachineFixture {
 protected:
  // The task's id, from clone$task through the stub.
  std::string StartClone(std::string const& source, std::string const& name) {
    using Task = ::Opax::AsyncTaskResult<std::string, ::Opax::AsyncTaskResultTerminateCbPolicy>;
    auto promise = std::make_shared<std::promise<std::string>>();
    Task result(Task::Callback([promise](::Opax::TaskResult<std::string> const& slot, ErrorPtr const& error,
                                         ::Opax::Progress const&) {
      if (slot.taskId)
        promise->set_value(*slot.taskId);
      else if (error)
        promise->set_value("error " + std::string(error->name()));
    }));
    auto spec = std::make_shared<VmSvc::CloneSpec const>(VmSvc::CloneSpec().source(source).name(name));
    auto future = promise->get_future();
    vms_->Clone(spec, nullptr, result);
    return future.wait_for(std::chrono::seconds(10)) == std::future_status::ready ? future.get() : "no reply";
  }
  std::string PlainClone(std::string const& source, std::string const& name) {
    auto spec = std::make_shared<VmSvc::CloneSpec const>(VmSvc::CloneSpec().source(source).name(name));
    return Await<std::string>([&](auto const& r) { vms_->Clone(spec, nullptr, r); }).outcome;
  }
  std::string Relocate(std::string const& vm, VmSvc::PlacementSpec const& placement) {
    auto spec = std::make_shared<VmSvc::RelocateSpec const>(
        VmSvc::RelocateSpec().placement(std::make_shared<VmSvc::PlacementSpec const>(placement)));
    return Await<::Opax::Void>([&](auto const& r) { vms_->Relocate(vm, spec, nullptr, r); }).outcome;
  }
};

TEST_F(CloneTaskTest, RelocateMovesOnlyWhatItIsGiven) {
  std::string const vm = Machine("mover", PowerState::POWERED_ON);
  auto const before = Info(vm);
  ASSERT_TRUE(before);
  // Another host of its cluster, or any host where there is no inventory to choose from.
  std::string target = "host-elsewhere";
  for (auto const& host : Children(Kinds::kHost, before->placement()->cluster().value_or(""))) {
    if (host != before->placement()->host()) target = host;
  }
  ASSERT_EQ(Relocate(vm, VmSvc::PlacementSpec().host(target)), "ok");
  auto const after = Info(vm);
  EXPECT_EQ(after->placement()->host(), target);
  EXPECT_EQ(after->placement()->folder(), before->placement()->folder());
  EXPECT_EQ(after->placement()->datastore(), before->placement()->datastore());
  EXPECT_EQ(after->power()->state(), PowerState::POWERED_ON) << "a running machine keeps running";
  EXPECT_EQ(Relocate("vm-404", VmSvc::PlacementSpec()), "not_found");
}

TEST_F(CloneTaskTest, ProgressAdvancesToTheCopyAndTheSourceIsBusyMeanwhile) {
  std::string const source = Machine("source", PowerState::POWERED_ON);
  std::string const task = StartClone(source, "copy");
  ASSERT_EQ(task.rfind("error", 0), std::string::npos) << task;

  EXPECT_EQ(PlainClone(source, "second"), "resource_busy");
  EXPECT_EQ(Relocate(source, VmSvc::PlacementSpec().folder(std::string("group-v7"))), "resource_busy");
  EXPECT_EQ(Await<::Opax::Void>([&](auto const& r) { vms_->Delete(source, nullptr, r); }).outcome,
            "resource_busy");

  std::set<int64_t> seen;
  auto info = provider_->tasks()->Get(task);
  // Bounded: the copy takes four steps of 60 ms.
  for (int i = 0; i < 500 && info && info->state != TaskState::SUCCEEDED && info->state != TaskState::FAILED;
       ++i) {
    if (info->state == TaskState::RUNNING) seen.insert(info->progress.completed);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    info = provider_->tasks()->Get(task);
  }
  ASSERT_TRUE(info);
  ASSERT_EQ(info->state, TaskState::SUCCEEDED);
  EXPECT_GE(seen.size(), 3u) << "progress is reported step by step";

  EXPECT_EQ(Names(VmSvc::FilterSpec().names(std::set<std::string>{"copy"})),
            std::vector<std::string>{"copy"});
  auto const copies =
      Names(VmSvc::FilterSpec().powerStates(std::set<PowerSvc::State>{PowerState::POWERED_OFF}));
  EXPECT_EQ(copies, std::vector<std::string>{"copy"}) << "a copy is powered off unless asked otherwise";
  // The mark is gone with the copy.
  EXPECT_EQ(PlainClone(source, "copy"), "already_exists");
  EXPECT_EQ(PlainClone(source, "third"), "ok");
}

}  // namespace
}  // namespace Machines
}  // namespace Sim
