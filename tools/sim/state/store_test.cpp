// The store keeps what was committed, across a reopen of its file, and nothing of what was not.

#include "store.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <cstdio>
#include <string>

namespace Sim {
namespace {

std::string TempFile() {
  std::string path = ::testing::TempDir() + "sim-store-" + std::to_string(getpid()) + "-" +
                     ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".db";
  std::remove(path.c_str());
  return path;
}

std::unique_ptr<Store> Open(std::string const& path = ":memory:") {
  std::list<Opax::BaseMessage> messages;
  auto store = Store::Open(path, messages);
  EXPECT_TRUE(store) << (messages.empty() ? "" : messages.front().defaultMessage());
  return store;
}

TEST(Store, RowsByKindIdAndParent) {
  auto store = Open();
  EXPECT_TRUE(store->Empty());
  store->Put({"Disk", "d-2", "vm-1", "{\"b\":2}"});
  store->Put({"Disk", "d-1", "vm-1", "{\"a\":1}"});
  store->Put({"Disk", "d-3", "vm-2", "{}"});
  store->Put({"Cdrom", "d-1", "vm-1", "{}"});        // ids are per kind
  store->Put({"Disk", "d-1", "vm-1", "{\"a\":3}"});  // replaces

  ASSERT_TRUE(store->Get("Disk", "d-1"));
  EXPECT_EQ(store->Get("Disk", "d-1")->doc, "{\"a\":3}");
  EXPECT_FALSE(store->Get("Disk", "d-9"));
  EXPECT_EQ(store->List("Disk").size(), 3u);
  auto const children = store->Children("Disk", "vm-1");
  ASSERT_EQ(children.size(), 2u);
  EXPECT_EQ(children[0].id, "d-1");  // by id
  EXPECT_TRUE(store->Remove("Disk", "d-1"));
  EXPECT_FALSE(store->Remove("Disk", "d-1"));
  EXPECT_TRUE(store->Exists("Cdrom", "d-1"));
}

TEST(Store, UncommittedTransactionLeavesNothing) {
  auto store = Open();
  {
    Store::Transaction transaction(*store);
    store->Put({"Vm", "vm-1", "", "{}"});
  }
  EXPECT_FALSE(store->Exists("Vm", "vm-1"));
  {
    Store::Transaction transaction(*store);
    store->Put({"Vm", "vm-1", "", "{}"});
    transaction.Commit();
  }
  EXPECT_TRUE(store->Exists("Vm", "vm-1"));
}

// A restart finds every committed row, and ids handed out before it are not handed out again,
// nor after a snapshot taken before them is restored.
TEST(Store, FileSurvivesReopenAndIdsNeverRepeat) {
  std::string const path = TempFile();
  {
    auto store = Open(path);
    EXPECT_EQ(store->NewId("vm"), "vm-1");
    store->SaveSnapshot("empty");
    EXPECT_EQ(store->NewId("vm"), "vm-2");
    store->Put({"Vm", "vm-2", "", "{\"name\":\"kept\"}"});
  }
  auto store = Open(path);
  ASSERT_TRUE(store->Get("Vm", "vm-2"));
  EXPECT_EQ(store->Get("Vm", "vm-2")->doc, "{\"name\":\"kept\"}");
  EXPECT_EQ(store->NewId("vm"), "vm-3");
  EXPECT_EQ(store->NewId("host"), "host-1");

  EXPECT_EQ(store->Snapshots(), std::vector<std::string>{"empty"});
  EXPECT_TRUE(store->RestoreSnapshot("empty"));
  EXPECT_FALSE(store->Exists("Vm", "vm-2"));
  EXPECT_EQ(store->NewId("vm"), "vm-4");
  EXPECT_FALSE(store->RestoreSnapshot("no-such-snapshot"));
  std::remove(path.c_str());
}

TEST(Store, NotADatabaseIsRefused) {
  std::string const path = TempFile();
  FILE* file = std::fopen(path.c_str(), "w");
  std::fputs("this is not a database, but it is long enough to look like a header of one\n", file);
  std::fclose(file);
  std::list<Opax::BaseMessage> messages;
  EXPECT_FALSE(Store::Open(path, messages));
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages.front().id(), "nexar.sim.state.schema");
  std::remove(path.c_str());
}

}  // namespace
}  // namespace Sim
