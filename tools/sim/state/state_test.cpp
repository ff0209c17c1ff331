// The state thread ends whichever thread lets go of the state last, its own included.

#include "state.h"

#include <gtest/gtest.h>

#include <chrono>
#include <list>
#include <thread>

namespace Sim {
namespace {

TEST(State, LastReleasedOnItsOwnThreadEndsTheThread) {
  std::list<Opax::BaseMessage> messages;
  auto state = std::make_shared<State>(Store::Open(":memory:", messages));
  ASSERT_TRUE(state);
  std::weak_ptr<boost::asio::io_context> const loop = state->loop();
  State* const raw = state.get();
  // The job's handler holds the only reference and is destroyed on the state thread.
  raw->Run([keep = std::move(state)](Store&) {});
  for (int wait = 0; wait < 500 && !loop.expired(); ++wait)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_TRUE(loop.expired()) << "the state thread did not leave its loop";
}

}  // namespace
}  // namespace Sim
