// A seed's calls run through the binders in order, see the results of earlier calls through
// references, and stop at the first fault with a message naming the call.

#include "seed.h"

#include "../control/control_service.h"

#include <opax/core/provider/in_process_provider.h>

#include <gtest/gtest.h>

#include <future>

namespace Sim {
namespace {

class Seed : public ::testing::Test {
 protected:
  void SetUp() override {
    std::list<::Opax::BaseMessage> messages;
    state_ = std::make_shared<State>(Store::Open(":memory:", messages));
    provider_->Register(BindControl(state_, std::make_shared<Faults>()));
  }

  // The message of the first fault, or "" when every call succeeded.
  std::string Run(std::string const& text) {
    std::list<::Opax::BaseMessage> messages;
    bool const ok = RunSeed({{"test.json", text}}, *provider_, messages);
    EXPECT_EQ(ok, messages.empty());
    return messages.empty() ? std::string() : messages.front().defaultMessage();
  }

  std::vector<std::string> Snapshots() {
    std::promise<std::vector<std::string>> names;
    state_->Run([&names](Store& store) { names.set_value(store.Snapshots()); });
    return names.get_future().get();
  }

  std::shared_ptr<State> state_;
  std::shared_ptr<::Opax::Core::InProcessProvider> provider_ =
      std::make_shared<::Opax::Core::InProcessProvider>();
};

TEST_F(Seed, ReferencesReachEarlierResultsAndTheirMembers) {
  EXPECT_EQ(Run(R"([
    {"call": "com.quarn.sim.control/get_faults", "as": "faults"},
    {"call": "com.quarn.sim.control/save_snapshot", "input": {"name": "${faults.error}"}},
    {"call": "com.quarn.sim.control/list_snapshots", "as": "names"},
    {"call": "com.quarn.sim.control/save_snapshot", "input": {"name": "second"}}
  ])"),
            "");
  EXPECT_EQ(Snapshots(), (std::vector<std::string>{"SERVICE_UNAVAILABLE", "second"}));
}

TEST_F(Seed, TheFirstFaultStopsTheSeedAndNamesTheCall) {
  struct Case {
    char const* seed;
    char const* says;
  };
  for (Case const& c : {
           Case{R"({"call": "x"})", "not a JSON array"},
           Case{R"([{"input": {}}])", "call 1: a call is an object"},
           Case{R"([{"call": "com.quarn.sim.control/no_such_op"}])", "call 1: no operation is called"},
           Case{R"([{"call": "com.quarn.sim.control/save_snapshot", "input": {"name": "${nobody}"}}])",
                "'${nobody}' names no earlier result"},
           Case{R"([{"call": "com.quarn.sim.control/save_snapshot", "input": {"name": 7}}])",
                "the input does not fit the operation"},
           Case{R"([{"call": "com.quarn.sim.control/save_snapshot", "input": {"name": "a"}},
                   {"call": "com.quarn.sim.control/restore_snapshot", "input": {"name": "missing"}},
                   {"call": "com.quarn.sim.control/save_snapshot", "input": {"name": "never"}}])",
                "call 2: it failed with com.quarn.opax.std.errors.not_found"},
       }) {
    std::string const message = Run(c.seed);
    EXPECT_NE(message.find(c.says), std::string::npos) << c.seed << "\n said: " << message;
  }
  EXPECT_EQ(Snapshots(), std::vector<std::string>{"a"})
      << "calls before the fault stay done, none after it runs";
}

}  // namespace
}  // namespace Sim
