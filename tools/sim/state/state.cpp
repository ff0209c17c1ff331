#include "state.h"

namespace Sim {

State::State(std::unique_ptr<Store> store)
    : store_(std::move(store)),
      work_(boost::asio::make_work_guard(*context_)),
      thread_([this] { context_->run(); }) {}

State::~State() {
  work_.reset();
  // Pending timers of running tasks would keep the thread alive: they are cut short, and their
  // tasks end unanswered (the registry reports them terminated).
  boost::asio::post(*context_, [this] { context_->stop(); });
  thread_.join();
}

}  // namespace Sim
