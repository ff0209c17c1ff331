#include "../../seed/seed.h"
#include "../../testing/seeded.h"
#include "../module.h"
#include "../result.h"
#include "../test_await.h"

#include <bindings/host.h>
#include <bindings/host/tags.h>
#include <bindings/tagging/associations.h>
#include <bindings/tagging/tags.h>
#include <bindings/tags/host.h>
#include <bindings/tags/host/associations.h>
#include <opax/core/invocation/api_stub.h>
#include <opax/core/provider/in_process_provider.h>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>

namespace Sim {
namespace {

namespace Nexar = ::Com::Quarn::Nexar;

class TaggingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto seeded = Testing::SeedDefault();
    ASSERT_EQ(seeded.fault, "");
    state_ = seeded.state;
    provider_ = seeded.provider;
    channel_ = ::Opax::Stub::AsyncApiStub::GetInstance(provider_);
  }

  std::string Tag(std::string const& name) {
    auto stub = Nexar::Tagging::TagsSvc::AsyncServiceStub::GetInstance(channel_);
    auto filter = std::make_shared<Nexar::Tagging::TagsSvc::FilterSpec const>(
        Nexar::Tagging::TagsSvc::FilterSpec().names(std::set<std::string>{name}));
    auto found = Await<std::list<std::shared_ptr<Nexar::Tagging::TagsSvc::Summary const>>>(
        [&](auto const& r) { stub->List(filter, nullptr, r); });
    return found.second && !found.second->empty() ? found.second->front()->tag() : "";
  }
  std::vector<std::string> Hosts() {
    auto stub = Nexar::HostSvc::AsyncServiceStub::GetInstance(channel_);
    auto found = Await<std::list<std::shared_ptr<Nexar::HostSvc::Summary const>>>(
        [&](auto const& r) { stub->List(boost::none, nullptr, r); });
    std::vector<std::string> hosts;
    for (auto const& summary : *found.second) hosts.push_back(summary->host());
    return hosts;
  }

  std::shared_ptr<::Opax::Core::InProcessProvider> provider_;
  std::shared_ptr<State> state_;
  std::shared_ptr<::Opax::Stub::AsyncApiStub> channel_;
};

TEST_F(TaggingTest, HostAssociationsKeepCategoryRules) {
  using Associations = Nexar::Tags::Host::AssociationsSvc;
  auto stub = Associations::AsyncServiceStub::GetInstance(channel_);
  auto const hosts = Hosts();
  ASSERT_EQ(hosts.size(), 6u);
  auto add = [&](std::string const& tag, std::set<std::string> const& objects) {
    return Await<std::shared_ptr<Associations::Status const>>(
        [&](auto const& r) { stub->Add(tag, objects, nullptr, r); });
  };
  struct Case {
    char const* what;
    std::string tag;
    std::set<std::string> hosts;
    char const* outcome;
    size_t succeeded;
  };
  std::vector<Case> const cases = {
      {"a tag of a category for machines only", Tag("production"), {hosts[0]}, "ok", 0},
      {"a tag the hosts carry already, and one unknown host",
       Tag("team-apps"),
       {hosts[0], "host-999"},
       "ok",
       1},
      {"no hosts", Tag("team-apps"), {}, "invalid_argument", 0},
      {"an unknown tag", "tag-999", {hosts[0]}, "not_found", 0},
  };
  for (auto const& c : cases) {
    auto reply = add(c.tag, c.hosts);
    EXPECT_EQ(reply.first, c.outcome) << c.what;
    if (reply.second) {
      EXPECT_EQ((*reply.second)->succeeded().size(), c.succeeded) << c.what;
    }
  }
  auto inUse = Nexar::Tags::HostSvc::AsyncServiceStub::GetInstance(channel_);
  EXPECT_EQ(Await<::Opax::Void>([&](auto const& r) { inUse->Delete(Tag("team-apps"), nullptr, r); }).first,
            "ok");
  EXPECT_EQ(Await<::Opax::Void>([&](auto const& r) { inUse->Delete(Tag("team-apps"), nullptr, r); }).first,
            "not_found")
      << "a tag on no host";
}

TEST_F(TaggingTest, AssociationsArePagedWithMarkers) {
  using Associations = Nexar::Tagging::AssociationsSvc;
  auto stub = Associations::AsyncServiceStub::GetInstance(channel_);
  auto page = [&](boost::optional<std::string> marker) {
    auto iteration = std::make_shared<Associations::IterationSpec const>(
        Associations::IterationSpec().size(int64_t{1}).marker(marker));
    return Await<std::shared_ptr<Associations::ListResult const>>(
        [&](auto const& r) { stub->List(iteration, boost::none, nullptr, r); });
  };
  auto first = page(boost::none);
  ASSERT_EQ(first.first, "ok");
  ASSERT_TRUE((*first.second)->marker());
  auto second = page((*first.second)->marker());
  ASSERT_EQ(second.first, "ok");
  EXPECT_EQ((*second.second)->associations().size(), 1u);
  EXPECT_FALSE((*second.second)->marker()) << "the seed tags two hosts";
  EXPECT_EQ(page(std::string("elsewhere")).first, "invalid_argument");
}

TEST_F(TaggingTest, HostLabelsAreASetByCategoryAndName) {
  using Labels = Nexar::Host::TagsSvc;
  auto stub = Labels::AsyncServiceStub::GetInstance(channel_);
  std::string const host = Hosts().front();
  std::list<std::shared_ptr<Labels::Tag const>> const labels = {
      std::make_shared<Labels::Tag const>(Labels::Tag("gpu")),
      std::make_shared<Labels::Tag const>(Labels::Tag("gpu").category(std::string("hardware")))};
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(Await<::Opax::Void>([&](auto const& r) { stub->Add(host, labels, nullptr, r); }).first, "ok");
  using LabelList = std::list<std::shared_ptr<Labels::Tag const>>;
  EXPECT_EQ(Await<LabelList>([&](auto const& r) { stub->Get(host, nullptr, r); }).second->size(), 2u);
  EXPECT_EQ(
      Await<::Opax::Void>([&](auto const& r) { stub->Remove(host, {labels.front()}, nullptr, r); }).first,
      "ok");
  EXPECT_EQ(Await<LabelList>([&](auto const& r) { stub->Get(host, nullptr, r); }).second->size(), 1u);
  EXPECT_EQ(Await<LabelList>([&](auto const& r) { stub->Get("host-999", nullptr, r); }).first, "not_found");
}

}  // namespace
}  // namespace Sim
