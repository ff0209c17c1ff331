#include "scenario.h"

#include <boost/optional/optional_io.hpp>
#include <gtest/gtest.h>

#include <sstream>

namespace Demo {
namespace {

using TaskState = ::Opax::Provider::TaskRegistry::State;

class DemoScenario : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    ScenarioOptions options;
    options.taskStep = std::chrono::milliseconds(20);
    outcome_ = new ScenarioOutcome(RunScenario(output_, options));
  }
  static void TearDownTestSuite() {
    delete outcome_;
    outcome_ = nullptr;
  }
  static ScenarioOutcome const& outcome() { return *outcome_; }
  static std::string text() { return output_.str(); }

 private:
  static std::ostringstream output_;
  static ScenarioOutcome* outcome_;
};

std::ostringstream DemoScenario::output_;
ScenarioOutcome* DemoScenario::outcome_ = nullptr;

TEST_F(DemoScenario, EveryStepBehavesAsExpected) {
  EXPECT_TRUE(outcome().ok()) << text();
  EXPECT_NE(text().find("Every step behaved as expected."), std::string::npos) << text();
  EXPECT_EQ(text().find("NOT AS EXPECTED"), std::string::npos) << text();
}

TEST_F(DemoScenario, DevicesReadBackAsCreated) {
  ASSERT_EQ(outcome().cdroms.size(), 2u);
  ASSERT_EQ(outcome().nics.size(), 1u);
  ASSERT_TRUE(outcome().isoCdrom && outcome().hostCdrom && outcome().nic);

  auto const& iso = *outcome().isoCdrom;
  ASSERT_TRUE(iso.ide());
  EXPECT_TRUE(iso.ide()->primary() && iso.ide()->master());
  EXPECT_FALSE(iso.sata());
  EXPECT_EQ(iso.backing()->type(), CdromSvc::BackingType::ISO_FILE);
  EXPECT_FALSE(iso.backing()->hostDevice());
  EXPECT_TRUE(iso.startConnected());
  EXPECT_FALSE(iso.allowGuestControl());

  auto const& host = *outcome().hostCdrom;
  ASSERT_TRUE(host.sata());
  EXPECT_EQ(host.sata()->bus(), 0);
  EXPECT_EQ(host.sata()->unit(), 0);
  EXPECT_EQ(host.backing()->type(), CdromSvc::BackingType::HOST_DEVICE);
  EXPECT_EQ(host.backing()->autoDetect(), false);
  EXPECT_EQ(host.backing()->deviceAccessType(),
            CdromSvc::DeviceAccessType(CdromSvc::DeviceAccessType::PASSTHRU));
  EXPECT_FALSE(host.backing()->isoFile());
  EXPECT_TRUE(host.allowGuestControl());

  auto const& nic = *outcome().nic;
  EXPECT_EQ(nic.type(), EthernetSvc::EmulationType::VMXNET3);
  EXPECT_EQ(nic.uptCompatibilityEnabled(), true);
  EXPECT_EQ(nic.macType(), EthernetSvc::MacAddressType::GENERATED);
  ASSERT_TRUE(nic.macAddress());
  EXPECT_EQ(nic.macAddress()->substr(0, 3), "02:");
  EXPECT_EQ(nic.backing()->type(), EthernetSvc::BackingType::DISTRIBUTED_PORTGROUP);
  EXPECT_EQ(nic.backing()->distributedPort(), std::string("17"));
  EXPECT_FALSE(nic.backing()->networkName());
  EXPECT_EQ(nic.state(), ::Com::Quarn::Nexar::Vm::Hardware::ConnectionState::NOT_CONNECTED);
}

TEST_F(DemoScenario, InvalidUnionIsRefusedWithTheUnionRule) {
  ASSERT_TRUE(outcome().refusal);
  EXPECT_EQ(outcome().refusal->name(), "com.quarn.opax.std.errors.invalid_argument");
  auto const messages = outcome().refusal->messages();
  ASSERT_FALSE(messages.empty());
  bool namesTheField = false;
  for (auto const& message : messages) {
    namesTheField = namesTheField || message.defaultMessage().find("mac") != std::string::npos;
    EXPECT_NE(text().find(message.defaultMessage()), std::string::npos) << "not printed: " << message;
  }
  EXPECT_TRUE(namesTheField) << messages.front();
}

TEST_F(DemoScenario, TaskProgressAdvancesToSuccess) {
  ASSERT_TRUE(outcome().taskState);
  EXPECT_EQ(*outcome().taskState, TaskState::SUCCEEDED);
  ASSERT_FALSE(outcome().progress.empty());
  int64_t previous = -1;
  for (auto const& progress : outcome().progress) {
    EXPECT_EQ(progress.total, 4);
    EXPECT_GE(progress.completed, previous);
    EXPECT_LT(progress.completed, progress.total);
    EXPECT_FALSE(progress.message.empty());
    previous = progress.completed;
  }
  ASSERT_TRUE(outcome().modeAfter);
  EXPECT_EQ(*outcome().modeAfter, ModeSvc::ClusterMode::MAINTENANCE);
  auto const line = text().find("   SUCCEEDED ");
  ASSERT_NE(line, std::string::npos) << text();
  EXPECT_NE(text().substr(line, text().find('\n', line) - line).find(" 4/4 "), std::string::npos) << text();
}

TEST_F(DemoScenario, OutputHasThreeHeadedSections) {
  EXPECT_NE(text().find("\n1. "), std::string::npos);
  EXPECT_NE(text().find("\n2. "), std::string::npos);
  EXPECT_NE(text().find("\n3. "), std::string::npos);
  EXPECT_EQ(text().find("\n4. "), std::string::npos);
}

}  // namespace
}  // namespace Demo
