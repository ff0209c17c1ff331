#pragma once

// The simulated work of a copy or move: progress reports spaced out with a timer on the state
// thread (which never sleeps), then the final change. The machine worked on is busy throughout.

#include "machine_service.h"

#include <boost/asio/steady_timer.hpp>

#include <functional>

namespace Sim {
namespace Machines {

template <class T>
class CopySteps : public std::enable_shared_from_this<CopySteps<T>> {
 public:
  using Finish = std::function<void(Store&, MachineService::TaskResult<T> const&)>;

  // Marks `machine` busy; `finish` runs once the steps are done, after the mark is gone.
  static void Start(State& state, CopyTiming timing, std::shared_ptr<std::set<std::string>> busy,
                    std::string machine, std::string what, MachineService::TaskResult<T> result,
                    Finish finish) {
    busy->insert(machine);
    auto steps =
        std::shared_ptr<CopySteps>(new CopySteps(state, timing, std::move(busy), std::move(machine),
                                                 std::move(what), std::move(result), std::move(finish)));
    steps->Next();
  }

 private:
  CopySteps(State& state, CopyTiming timing, std::shared_ptr<std::set<std::string>> busy, std::string machine,
            std::string what, MachineService::TaskResult<T> result, Finish finish)
      : state_(state),
        timing_(timing),
        busy_(std::move(busy)),
        machine_(std::move(machine)),
        what_(std::move(what)),
        result_(std::move(result)),
        finish_(std::move(finish)),
        timer_(state.context()) {}

  void Next() {
    if (done_ == timing_.steps) {
      busy_->erase(machine_);
      // Timer handlers are not jobs: a fault here must not end the state thread. The result
      // object, dropped unanswered, reports the task terminated.
      try {
        finish_(state_.store(), result_);
      } catch (...) {
      }
      return;
    }
    result_.SetProgress(::Opax::Progress{timing_.steps, done_, what_});
    ++done_;
    timer_.expires_after(timing_.step);
    timer_.async_wait([self = this->shared_from_this()](boost::system::error_code const& error) {
      if (error) {
        self->busy_->erase(self->machine_);
        return;
      }
      self->Next();
    });
  }

  State& state_;
  CopyTiming const timing_;
  std::shared_ptr<std::set<std::string>> busy_;
  std::string const machine_;
  std::string const what_;
  MachineService::TaskResult<T> result_;
  Finish finish_;
  boost::asio::steady_timer timer_;
  int done_ = 0;
};

}  // namespace Machines
}  // namespace Sim
