#pragma once

// The simulated world: its store and the one thread that reads and changes it. Every operation
// of every simulated service runs as a job on that thread, one after another, so that an
// operation sees and leaves a consistent inventory without a lock anywhere; task operations
// schedule their later steps on the same thread with timers. The simulator's server runs its
// first I/O context's connections on this thread's loop too, so that a call served there posts
// its job to its own thread: no wake-up of another thread on the way in or out.

#include "store.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include <memory>
#include <thread>
#include <utility>

namespace Sim {

class State {
 public:
  explicit State(std::unique_ptr<Store> store);
  // Runs the jobs already posted, then stops the thread; dropped on the state thread itself, it
  // stops the loop after the running job instead.
  ~State();
  State(State const&) = delete;
  State& operator=(State const&) = delete;

  // Runs `job(store)` on the state thread. A job that throws is abandoned: the result object it
  // holds, when destroyed unanswered, answers its caller with termination.
  template <class Job>
  void Run(Job job) {
    boost::asio::post(*context_, [this, job = std::move(job)]() mutable {
      try {
        job(*store_);
      } catch (...) {
      }
    });
  }

  // For timers of task operations; their handlers run on the state thread.
  boost::asio::io_context& context() { return *context_; }
  // The state thread's loop, for a server to run connections on (ServerOptions::context).
  std::shared_ptr<boost::asio::io_context> const& loop() const { return context_; }
  // Only on the state thread (in a job), or before the thread starts handling calls.
  Store& store() { return *store_; }

 private:
  std::unique_ptr<Store> store_;
  // Shared with a server that runs connections on it, which may let go of it after this is gone.
  std::shared_ptr<boost::asio::io_context> context_ = std::make_shared<boost::asio::io_context>(1);
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
  std::thread thread_;
  std::thread::id const threadId_;
};

}  // namespace Sim
