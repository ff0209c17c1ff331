#include "tree.h"

#include "../kinds.h"

#include <bindings/cluster.h>
#include <bindings/datacenter.h>
#include <bindings/folder.h>
#include <bindings/host.h>
#include <bindings/resource_pool.h>
#include <sim/inventory.h>

#include <deque>
#include <utility>

namespace Sim {
namespace Inventory {
namespace {

using ::Com::Quarn::Nexar::ClusterSvc;
using ::Com::Quarn::Nexar::DatacenterSvc;
using ::Com::Quarn::Nexar::FolderSvc;
using ::Com::Quarn::Nexar::HostSvc;
using ::Com::Quarn::Nexar::ResourcePoolSvc;
using ::Com::Quarn::Sim::InventorySvc;

// Deeper than any folder nesting a person builds; only a damaged state reaches it.
constexpr int kMaxDepth = 256;

// Longest prefixes first, so that "domain-c" is not taken for another kind.
constexpr std::pair<char const*, char const*> kPrefixes[] = {
    {Prefix::kDatacenter, Kinds::kDatacenter},
    {Prefix::kFolder, Kinds::kFolder},
    {Prefix::kCluster, Kinds::kCluster},
    {Prefix::kHost, Kinds::kHost},
    {Prefix::kResourcePool, Kinds::kResourcePool},
    {Prefix::kDatastore, Kinds::kDatastore},
    {Prefix::kNetwork, Kinds::kNetwork},
    {Prefix::kPortGroup, Kinds::kNetwork},
    {Prefix::kDistributedSwitch, Kinds::kDistributedSwitch},
    {"vm", Kinds::kVirtualMachine}};

// The kinds that sit below inventory containers.
constexpr char const* kContained[] = {Kinds::kFolder,  Kinds::kDatacenter,        Kinds::kCluster,
                                      Kinds::kHost,    Kinds::kResourcePool,      Kinds::kDatastore,
                                      Kinds::kNetwork, Kinds::kDistributedSwitch, Kinds::kVirtualMachine};

std::string NameOf(Store::Row const& row) {
  if (row.kind == Kinds::kFolder) return FromDocument<FolderSvc::Info>(row.doc).name();
  if (row.kind == Kinds::kDatacenter) return FromDocument<DatacenterSvc::Info>(row.doc).name();
  if (row.kind == Kinds::kCluster) return FromDocument<ClusterSvc::Info>(row.doc).name();
  if (row.kind == Kinds::kHost) return FromDocument<HostSvc::Summary>(row.doc).name();
  if (row.kind == Kinds::kResourcePool) return FromDocument<ResourcePoolSvc::Info>(row.doc).name();
  if (row.kind == Kinds::kDatastore) return FromDocument<InventorySvc::DatastoreSpec>(row.doc).name();
  if (row.kind == Kinds::kNetwork) return FromDocument<InventorySvc::NetworkSpec>(row.doc).name();
  if (row.kind == Kinds::kDistributedSwitch)
    return FromDocument<InventorySvc::DistributedSwitchSpec>(row.doc).name();
  return {};  // machines are named by their own area
}

}  // namespace

std::string KindOfId(std::string const& id) {
  auto const dash = id.rfind('-');
  if (dash == std::string::npos) return {};
  std::string const prefix = id.substr(0, dash);
  for (auto const& entry : kPrefixes) {
    if (prefix == entry.first) return entry.second;
  }
  return {};
}

boost::optional<Store::Row> Find(Store& store, std::string const& id) {
  std::string const kind = KindOfId(id);
  if (kind.empty()) return boost::none;
  return store.Get(kind, id);
}

std::string RootFolder(Store& store) {
  auto roots = store.Children(Kinds::kFolder, "");
  if (!roots.empty()) return roots.front().id;
  std::string const id = store.NewId(Prefix::kFolder);
  Save(store, Kinds::kFolder, id, "", FolderSvc::Info("Datacenters", FolderSvc::Type::DATACENTER));
  return id;
}

std::vector<Store::Row> Ancestry(Store& store, std::string const& id) {
  std::vector<Store::Row> chain;
  auto row = Find(store, id);
  for (int depth = 0; row && depth < kMaxDepth; ++depth) {
    chain.push_back(*row);
    if (row->parent.empty()) break;
    row = Find(store, row->parent);
  }
  return chain;
}

std::string DatacenterOf(Store& store, std::string const& id) {
  for (auto const& row : Ancestry(store, id)) {
    if (row.kind == Kinds::kDatacenter) return row.id;
  }
  return {};
}

bool Within(Store& store, std::string const& id, std::string const& container) {
  for (auto const& row : Ancestry(store, id)) {
    if (row.id == container) return true;
  }
  return false;
}

std::vector<Store::Row> Descendants(Store& store, std::string const& id) {
  std::vector<Store::Row> found;
  std::deque<std::string> pending{id};
  while (!pending.empty()) {
    std::string const next = pending.front();
    pending.pop_front();
    for (char const* kind : kContained) {
      for (auto& row : store.Children(kind, next)) {
        pending.push_back(row.id);
        found.push_back(std::move(row));
      }
    }
  }
  return found;
}

bool NameTaken(Store& store, std::string const& parent, std::string const& name) {
  for (char const* kind : kContained) {
    for (auto const& row : store.Children(kind, parent)) {
      if (NameOf(row) == name) return true;
    }
  }
  return false;
}

void RemoveMachine(Store& store, std::string const& vm) {
  for (char const* kind : Kinds::kDeviceKinds) {
    for (auto const& row : store.Children(kind, vm)) store.Remove(kind, row.id);
  }
  for (char const* kind :
       {Kinds::kPower, Kinds::kCpu, Kinds::kMemory, Kinds::kBoot, Kinds::kTagAssociation}) {
    for (auto const& row : store.Children(kind, vm)) store.Remove(kind, row.id);
  }
  store.Remove(Kinds::kVirtualMachine, vm);
}

void RemoveObject(Store& store, Store::Row const& row) {
  if (row.kind == Kinds::kVirtualMachine) return RemoveMachine(store, row.id);
  for (char const* kind : {Kinds::kTagAssociation, Kinds::kHostLabel}) {
    for (auto const& attached : store.Children(kind, row.id)) store.Remove(kind, attached.id);
  }
  store.Remove(row.kind, row.id);
}

}  // namespace Inventory
}  // namespace Sim
