// The simulator as a client meets it over loopback: who may listen where, sessions, the answer of
// operations nobody implements, injected faults, and a restart that keeps what was acknowledged.

#include "simulator.h"
#include "testing/await.h"

#include <bindings/deployment.h>
#include <opax/cis/session.h>
#include <opax/core/message/error_ids.h>
#include <opax/rpc/client/client.h>
#include <sim/control.h>

#include <gtest/gtest.h>

#include <unistd.h>
#include <cstdio>

namespace Sim {
namespace {

using Control = ::Com::Quarn::Sim::ControlSvc;
using Session = ::Com::Quarn::Cis::SessionSvc;
using Deployment = ::Com::Quarn::Nexar::DeploymentSvc;

SimulatorOptions Options() {
  SimulatorOptions options;
  options.seed = false;
  options.password = "sesame";
  return options;
}

// A client of `simulator`, logged in unless told not to.
struct Client {
  std::shared_ptr<::Opax::Rpc::RpcClient> rpc;
  std::shared_ptr<::Opax::Stub::AsyncApiStub> stub;

  Client(Simulator const& simulator, bool login) {
    std::list<::Opax::BaseMessage> messages;
    ::Opax::Rpc::ClientOptions options;
    options.url = simulator.url();
    options.callTimeout = std::chrono::seconds(5);
    rpc = ::Opax::Rpc::RpcClient::Create(options, messages);
    stub = ::Opax::Stub::AsyncApiStub::GetInstance(rpc);
    if (!login) return;
    Session::AsyncServiceStub session(stub);
    auto const token = Testing::Await<::Opax::SecretString>([&](auto const& result) {
      session.Create(simulator.user(), ::Opax::SecretString(simulator.password()), nullptr, result);
    });
    EXPECT_TRUE(token.value);
    if (token.value) rpc->session(*token.value);
  }
};

std::string ErrorName(std::shared_ptr<::Opax::Data::ErrorValue const> const& error) {
  return error ? std::string(error->name()) : "(none)";
}

TEST(Simulator, PlainHttpOnLoopbackOnly) {
  struct Case {
    char const* address;
    char const* messageId;  // null: starts
  };
  for (Case const& c :
       {Case{"0.0.0.0", "nexar.sim.listen.plain"}, Case{"192.0.2.1", "nexar.sim.listen.plain"},
        Case{"not-an-address", "nexar.sim.listen.address"}, Case{"127.0.0.1", nullptr},
        Case{"::1", nullptr}}) {
    SimulatorOptions options = Options();
    options.server.address = c.address;
    Simulator simulator(options);
    std::list<::Opax::BaseMessage> messages;
    bool const started = simulator.Start(messages);
    if (c.messageId == nullptr) {
      // A machine without IPv6 cannot bind ::1; that is not the simulator's refusal.
      if (!started && std::string(c.address) == "::1") continue;
      EXPECT_TRUE(started) << c.address;
    } else {
      EXPECT_FALSE(started) << c.address;
      ASSERT_FALSE(messages.empty());
      EXPECT_EQ(messages.front().id(), c.messageId);
    }
  }
}

TEST(Simulator, CallsNeedALoginAndUnimplementedOperationsSaySo) {
  Simulator simulator(Options());
  std::list<::Opax::BaseMessage> messages;
  ASSERT_TRUE(simulator.Start(messages));

  Client anonymous(simulator, false);
  Deployment::AsyncServiceStub refused(anonymous.stub);
  auto const unauthenticated = Testing::Await<std::shared_ptr<Deployment::Info const>>(
      [&](auto const& result) { refused.Get(nullptr, result); });
  EXPECT_EQ(ErrorName(unauthenticated.error), ::Opax::ErrorIds::kUnauthenticated);

  Client client(simulator, true);
  Deployment::AsyncServiceStub deployment(client.stub);
  auto const unsupported = Testing::Await<std::shared_ptr<Deployment::Info const>>(
      [&](auto const& result) { deployment.Get(nullptr, result); });
  ASSERT_TRUE(unsupported.error);
  auto const messagesOf = unsupported.error->messages();
  ASSERT_FALSE(messagesOf.empty());
  EXPECT_EQ(messagesOf.front().id(), "opax.invoke.not.implemented");
  EXPECT_EQ(messagesOf.front().args().front(), "com.quarn.nexar.deployment/get");
}

TEST(Simulator, FaultsChangeWhileItRunsAndNeverBlockTheControls) {
  Simulator simulator(Options());
  std::list<::Opax::BaseMessage> messages;
  ASSERT_TRUE(simulator.Start(messages));
  Client client(simulator, true);
  Control::AsyncServiceStub control(client.stub);
  Deployment::AsyncServiceStub deployment(client.stub);
  auto const set = [&](double failure, char const* error, double drop, long latency) {
    auto faults = std::make_shared<Control::Faults const>(
        latency, failure, ::Com::Quarn::Opax::Std::Errors::ErrorType::FromText(error), drop);
    return Testing::Await<::Opax::Void>(
        [&](auto const& result) { control.SetFaults(faults, nullptr, result); });
  };
  auto const call = [&] {
    return Testing::Await<std::shared_ptr<Deployment::Info const>>(
        [&](auto const& result) { deployment.Get(nullptr, result); });
  };

  EXPECT_TRUE(set(1.0, "RESOURCE_BUSY", 0, 0).value);
  EXPECT_EQ(ErrorName(call().error), ::Opax::ErrorIds::kResourceBusy);
  EXPECT_EQ(ErrorName(set(2.0, "RESOURCE_BUSY", 0, 0).error), ::Opax::ErrorIds::kInvalidArgument);
  EXPECT_EQ(ErrorName(set(0, "_UNKNOWN", 0, 0).error), ::Opax::ErrorIds::kInvalidArgument);

  EXPECT_TRUE(set(0, "SERVICE_UNAVAILABLE", 0, 300).value);
  auto const started = std::chrono::steady_clock::now();
  call();
  EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(300));

  EXPECT_TRUE(set(0, "SERVICE_UNAVAILABLE", 1.0, 0).value);
  EXPECT_EQ(ErrorName(call().error), ::Opax::ErrorIds::kServiceUnavailable) << "the connection was dropped";
  std::string problem;
  EXPECT_TRUE(simulator.faults()->Set(FaultSettings(), problem));
  auto const got = Testing::Await<std::shared_ptr<Control::Faults const>>(
      [&](auto const& result) { control.GetFaults(nullptr, result); });
  ASSERT_TRUE(got.value);
  EXPECT_EQ((*got.value)->dropRate(), 0.0);
}

TEST(Simulator, ARestartKeepsWhatWasAcknowledged) {
  std::string const path = ::testing::TempDir() + "sim-restart-" + std::to_string(getpid()) + ".db";
  std::remove(path.c_str());
  SimulatorOptions options = Options();
  options.statePath = path;
  {
    Simulator simulator(options);
    std::list<::Opax::BaseMessage> messages;
    ASSERT_TRUE(simulator.Start(messages));
    Client client(simulator, true);
    Control::AsyncServiceStub control(client.stub);
    EXPECT_TRUE(Testing::Await<::Opax::Void>([&](auto const& result) {
                  control.SaveSnapshot("before-restart", nullptr, result);
                }).value);
  }
  Simulator simulator(options);
  std::list<::Opax::BaseMessage> messages;
  ASSERT_TRUE(simulator.Start(messages));
  Client client(simulator, true);
  Control::AsyncServiceStub control(client.stub);
  auto const names = Testing::Await<std::list<std::string>>(
      [&](auto const& result) { control.ListSnapshots(nullptr, result); });
  ASSERT_TRUE(names.value);
  EXPECT_EQ(*names.value, std::list<std::string>{"before-restart"});
  std::remove(path.c_str());
}

}  // namespace
}  // namespace Sim
