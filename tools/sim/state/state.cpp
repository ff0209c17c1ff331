#include "state.h"

namespace Sim {

State::State(std::unique_ptr<Store> store)
    : store_(std::move(store)),
      work_(boost::asio::make_work_guard(*context_)),
      // The thread holds the loop, not the state: it may outlive the state (see the destructor).
      thread_([context = context_] { context->run(); }),
      threadId_(thread_.get_id()) {}

State::~State() {
  work_.reset();
  if (std::this_thread::get_id() == threadId_) {
    // The last holder let go on the state thread itself (a connection of the server, torn down
    // there after the simulator stopped): the thread cannot join itself. Nothing queued after
    // this runs, since jobs and timers refer to this state; they are dropped unanswered with the
    // loop when the thread leaves it, right after the handler that is running now.
    context_->stop();
    thread_.detach();
    return;
  }
  // Pending timers of running tasks would keep the thread alive: they are cut short, and their
  // tasks end unanswered (the registry reports them terminated).
  boost::asio::post(*context_, [context = context_] { context->stop(); });
  thread_.join();
}

}  // namespace Sim
