// Result objects: one final delivery across copies and threads, progress before it, termination
// when the last copy is dropped unfinished, and a task result forwarding to a plain one.

#include <opax/core/invocation/async_result.h>

#include <opax/core/invocation/result_callback.h>

#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>
#include <opax/core/testing/deliveries.h>

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

using Data::ErrorValue;
using ErrorPtr = std::shared_ptr<ErrorValue const>;

using Testing::Deliveries;
using Testing::Ids;

using PlainLog = Deliveries<boost::optional<int64_t>>;
using TaskLog = Deliveries<TaskResult<int64_t>>;
using Plain = AsyncResult<int64_t>;
using Task = AsyncTaskResult<int64_t>;

Plain PlainInto(PlainLog const& log) { return Plain(Plain::Callback(log.Callback())); }
Task TaskInto(TaskLog const& log) { return Task(Task::Callback(log.Callback())); }

Progress Step(int64_t done, int64_t total) { return Progress{total, done, "step"}; }

bool IsTermination(ErrorPtr const& error) {
  return error && error->name() == ErrorIds::kInternalServerError &&
         Ids(error) == std::vector<std::string>{MessageIds::kTerminated};
}

TEST(AsyncResult, FirstFinalDeliveryWinsAcrossCopies) {
  PlainLog log;
  Plain result = PlainInto(log);
  Plain copy = result;
  result.SetResult(1);
  copy.SetResult(2);
  result.SetError(ErrorValue::GetInstance(ErrorIds::kNotFound));
  copy.Terminate();
  result.SetProgress(Step(1, 2));  // progress after the end is dropped too
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].slot, boost::optional<int64_t>(1));
  EXPECT_EQ(log[0].error, nullptr);
  EXPECT_EQ(log[0].progress, Progress());
  EXPECT_TRUE(copy.finished());

  PlainLog failed;
  Plain second = PlainInto(failed);
  auto error = ErrorValue::GetInstance(ErrorIds::kNotFound);
  second.SetError(error);
  second.SetResult(3);
  ASSERT_EQ(failed.size(), 1u);
  EXPECT_EQ(failed[0].error, error);
  EXPECT_FALSE(failed[0].slot);
}

TEST(AsyncResult, ProgressAnyNumberOfTimesThenOneFinal) {
  PlainLog log;
  Plain result = PlainInto(log);
  for (int64_t i = 0; i < 5; ++i) result.SetProgress(Step(i, 5));
  result.Deliver(boost::none, nullptr, Step(5, 5));  // an empty slot without error is progress
  EXPECT_FALSE(result.finished());
  result.SetResult(42);
  ASSERT_EQ(log.size(), 7u);
  for (int64_t i = 0; i < 6; ++i) {
    EXPECT_FALSE(log[i].slot);
    EXPECT_EQ(log[i].progress, Step(i, 5));
  }
  EXPECT_EQ(log[6].slot, boost::optional<int64_t>(42));
}

TEST(AsyncResult, DroppingAnUnfinishedResultDeliversTerminationOnce) {
  PlainLog log;
  {
    Plain result = PlainInto(log);
    std::vector<Plain> copies(4, result);
    result.SetProgress(Step(1, 3));
  }
  ASSERT_EQ(log.size(), 2u);
  EXPECT_TRUE(IsTermination(log[1].error));
  EXPECT_FALSE(log[1].slot);

  PlainLog finished;
  { PlainInto(finished).SetResult(7); }
  EXPECT_EQ(finished.size(), 1u);

  // A null error cannot reach a caller as "no error": it ends the call as termination.
  PlainLog nullError;
  PlainInto(nullError).SetError(nullptr);
  ASSERT_EQ(nullError.size(), 1u);
  EXPECT_TRUE(IsTermination(nullError[0].error));
}

// A callable that writes down its calls and its end, to check that a callback kept beside its
// state is still there for the termination that the state's own end delivers.
struct Recorder {
  std::shared_ptr<std::vector<std::string>> log;
  Recorder(Recorder&&) = default;
  explicit Recorder(std::shared_ptr<std::vector<std::string>> target) : log(std::move(target)) {}
  ~Recorder() {
    if (log) log->push_back("gone");
  }
  void operator()(boost::optional<int64_t> const& slot, ErrorPtr const& error, Progress const&) const {
    log->push_back(slot ? "result" : IsTermination(error) ? "terminated" : "other");
  }
  void operator()(std::shared_ptr<Core::MethodResult const> const& result, Progress const&) const {
    log->push_back(result ? "result" : "progress");
  }
};

TEST(AsyncResult, AHeldCallbackOutlivesTheTerminationItHears) {
  auto log = std::make_shared<std::vector<std::string>>();
  {
    Plain result{HoldCallback(), Recorder(log)};
    std::vector<Plain> copies(3, result);
  }
  EXPECT_EQ(*log, (std::vector<std::string>{"terminated", "gone"}));

  log->clear();
  Plain(HoldCallback(), Recorder(log)).SetResult(4);
  EXPECT_EQ(*log, (std::vector<std::string>{"result", "gone"}));
}

// A held reply callback hands itself on for the next report and lives as long as anyone holds it.
TEST(AsyncApiResultCb, AHeldCallbackIsTheOneHandedOn) {
  auto log = std::make_shared<std::vector<std::string>>();
  std::shared_ptr<Core::AsyncApiResultCb> next;
  {
    auto callback = Core::AsyncApiResultCb::Holding(Recorder(log));
    (*callback)(nullptr, Step(1, 2), [&next](std::shared_ptr<Core::AsyncApiResultCb> self) { next = self; });
    EXPECT_EQ(next, callback);
  }
  (*next)(Core::MethodResult::GetTerminationInstance(), Progress());
  next.reset();
  EXPECT_EQ(*log, (std::vector<std::string>{"progress", "result", "gone"}));
}

// A copy calls the callable that the held callback keeps, and keeps it for as long as the copy
// lives, whichever goes first.
TEST(AsyncApiResultCb, ACopyOfAHeldCallbackKeepsItsCallable) {
  auto log = std::make_shared<std::vector<std::string>>();
  auto callback = Core::AsyncApiResultCb::Holding(Recorder(log));
  Core::AsyncApiResultCb copy(*callback);
  Core::AsyncApiResultCb assigned(Core::AsyncApiResultCb::Function{});
  assigned = copy;
  callback.reset();
  EXPECT_TRUE(log->empty());
  copy(nullptr, Step(1, 2));
  assigned(Core::MethodResult::GetTerminationInstance(), Progress());
  EXPECT_EQ(*log, (std::vector<std::string>{"progress", "result"}));
}

TEST(AsyncResult, AnEmptyResultObjectThrowsOnDeliveryButNotWhenDropped) {
  Plain empty;
  EXPECT_FALSE(empty.hasCallback());
  EXPECT_THROW(empty.SetProgress(Step(1, 2)), std::bad_function_call);
  EXPECT_THROW(empty.SetResult(1), std::bad_function_call);
  Task task;
  EXPECT_THROW(task.SetTaskId("t"), std::bad_function_call);
  { Plain dropped; }  // nobody to tell, and no exception out of a destructor
}

TEST(AsyncResult, TheNativeCallbackSeesTheErrorByName) {
  std::vector<boost::optional<Data::NativeError>> seen;
  Plain result(Plain::NativeCallback([&seen](boost::optional<int64_t> const&, ErrorPtr const&,
                                             boost::optional<Data::NativeError> const& native,
                                             Progress const&) { seen.push_back(native); }));
  result.SetProgress(Step(1, 2));
  auto error = ErrorValue::GetInstance(ErrorIds::kNotFound);
  result.SetError(error);
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_FALSE(seen[0]);
  ASSERT_TRUE(seen[1]);
  EXPECT_EQ(seen[1]->name, ErrorIds::kNotFound);
  EXPECT_EQ(seen[1]->value, error);
}

TEST(AsyncResult, ConcurrentCompletionsDeliverOnce) {
  for (int round = 0; round < 50; ++round) {
    std::atomic<int> calls{0};
    Plain result(Plain::Callback(
        [&calls](boost::optional<int64_t> const&, ErrorPtr const&, Progress const&) { ++calls; }));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([result, i] {
        if (i % 2) {
          result.SetResult(i);
        } else {
          result.Terminate();
        }
      });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(calls.load(), 1);
  }
}

TEST(AsyncTaskResult, TaskIdAndValueAreFinalProgressIsNot) {
  TaskLog log;
  Task task = TaskInto(log);
  task.SetProgress(Step(1, 2));
  task.SetTaskId("task-9");
  task.SetResult(5);
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[1].slot.taskId, boost::optional<std::string>("task-9"));
  EXPECT_FALSE(log[1].slot.value);
}

TEST(AsyncTaskResult, ForwardingToAPlainResult) {
  PlainLog value;
  {
    Task task = Task::ForwardingTo(PlainInto(value));
    task.SetProgress(Step(1, 4));
    task.SetProgress(Step(2, 4));
    task.SetResult(11);
    task.SetResult(12);
  }
  ASSERT_EQ(value.size(), 3u);
  EXPECT_EQ(value[1].progress, Step(2, 4));
  EXPECT_EQ(value[2].slot, boost::optional<int64_t>(11));

  PlainLog failed;
  auto error = ErrorValue::GetInstance(ErrorIds::kNotFound);
  Task::ForwardingTo(PlainInto(failed)).SetError(error);
  ASSERT_EQ(failed.size(), 1u);
  EXPECT_EQ(failed[0].error, error);

  // A task dropped unfinished terminates the plain caller, once.
  PlainLog dropped;
  { Task task = Task::ForwardingTo(PlainInto(dropped)); }
  ASSERT_EQ(dropped.size(), 1u);
  EXPECT_TRUE(IsTermination(dropped[0].error));

  // A task id means nothing to a plain caller: it still hears the end of the call, once.
  PlainLog idOnly;
  Task::ForwardingTo(PlainInto(idOnly)).SetTaskId("task-1");
  ASSERT_EQ(idOnly.size(), 1u);
  EXPECT_TRUE(IsTermination(idOnly[0].error));
}

}  // namespace
}  // namespace Opax
