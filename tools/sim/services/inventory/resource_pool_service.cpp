#include "compute.h"
#include "services.h"
#include "tree.h"

#include "../errors.h"
#include "../kinds.h"

#include <bindings/cluster.h>
#include <bindings/resource_pool.h>

namespace Sim {
namespace Inventory {
namespace {

using ::Com::Quarn::Nexar::ResourcePoolSvc;
using Allocation = std::shared_ptr<ResourcePoolSvc::ResourceAllocationInfo const>;
using SummaryList = std::list<std::shared_ptr<ResourcePoolSvc::Summary const>>;

Allocation Apply(Allocation const& current,
                 ::Opax::OptionalPtr<ResourcePoolSvc::ResourceAllocationSpec const> const& spec) {
  if (!spec) return current;
  ResourcePoolSvc::ResourceAllocationInfo next = *current;
  next.reservation(spec->reservation().value_or(current->reservation()));
  next.expandableReservation(spec->expandableReservation().value_or(current->expandableReservation()));
  next.limit(spec->limit().value_or(current->limit()));
  if (spec->shares()) next.shares(spec->shares().get());
  return std::make_shared<ResourcePoolSvc::ResourceAllocationInfo const>(next);
}

ErrorPtr CheckAllocation(Allocation const& allocation, std::string const& resource) {
  if (allocation->reservation() < 0 || allocation->limit() < -1 ||
      (allocation->limit() != -1 && allocation->limit() < allocation->reservation())) {
    return InvalidArgument(Say(
        "nexar.sim.inventory.pool.allocation",
        "The {0} reservation must be 0 or more and the limit -1 or at least the reservation.", {resource}));
  }
  return nullptr;
}

// Whether `parent` can grant `wanted` more reserved capacity beside what its other children
// hold: from its own unreserved share, then from its ancestors while reservations are expandable.
bool Covers(Store& store, std::string parent, std::string const& except, int64_t wanted, bool cpu) {
  for (int depth = 0; depth < 256; ++depth) {
    auto const info = Load<ResourcePoolSvc::Info>(store, Kinds::kResourcePool, parent);
    if (!info) return false;
    auto const& allocation = cpu ? info->cpuAllocation() : info->memoryAllocation();
    int64_t reserved = 0;
    for (auto const& child : store.Children(Kinds::kResourcePool, parent)) {
      if (child.id == except) continue;
      auto const sibling = FromDocument<ResourcePoolSvc::Info>(child.doc);
      reserved += (cpu ? sibling.cpuAllocation() : sibling.memoryAllocation())->reservation();
    }
    int64_t capacity = allocation->reservation();
    if (!info->parent()) {
      int64_t const hosts =
          store.Exists(Kinds::kCluster, info->owner()) ? ConnectedHosts(store, info->owner()) : 1;
      capacity = hosts * (cpu ? kHostCpuMhz : kHostMemoryMib);
    }
    int64_t const missing = wanted - (capacity - reserved);
    if (missing <= 0) return true;
    if (!info->parent() || !allocation->expandableReservation()) return false;
    wanted = missing;
    parent = *info->parent();
  }
  return false;
}

ErrorPtr CheckFits(Store& store, std::string const& parent, std::string const& pool,
                   ResourcePoolSvc::Info const& info) {
  if (auto error = CheckAllocation(info.cpuAllocation(), "CPU")) return error;
  if (auto error = CheckAllocation(info.memoryAllocation(), "memory")) return error;
  if (!Covers(store, parent, pool, info.cpuAllocation()->reservation(), true) ||
      !Covers(store, parent, pool, info.memoryAllocation()->reservation(), false)) {
    return UnableToAllocateResource(Say("nexar.sim.inventory.pool.reservation",
                                        "The resource pool '{0}' cannot cover the reservations asked for.",
                                        {parent}));
  }
  return nullptr;
}

class ResourcePools : public ResourcePoolSvc::AsyncServiceInterface {
 public:
  explicit ResourcePools(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void Get(std::string const& pool, Activation const&,
           Result<std::shared_ptr<ResourcePoolSvc::Info const>> const& result) override {
    state_->Run([pool, result](Store& store) {
      auto info = Load<ResourcePoolSvc::Info>(store, Kinds::kResourcePool, pool);
      if (!info) return result.SetError(NotFound("resource pool", pool));
      std::set<std::string> children;
      for (auto const& child : store.Children(Kinds::kResourcePool, pool)) children.insert(child.id);
      info->resourcePools(children);
      result.SetResult(std::make_shared<ResourcePoolSvc::Info const>(*info));
    });
  }

  void List(::Opax::OptionalPtr<ResourcePoolSvc::FilterSpec const> const& filter, Activation const&,
            Result<SummaryList> const& result) override {
    state_->Run([filter, result](Store& store) {
      SummaryList found;
      for (auto const& row : store.List(Kinds::kResourcePool)) {
        auto const info = FromDocument<ResourcePoolSvc::Info>(row.doc);
        if (filter && !Matches(store, *filter, row.id, info)) continue;
        found.push_back(std::make_shared<ResourcePoolSvc::Summary const>(row.id, info.name()));
      }
      result.SetResult(found);
    });
  }

  void Create(std::shared_ptr<ResourcePoolSvc::CreateSpec const> const& spec, Activation const&,
              Result<std::string> const& result) override {
    state_->Run([spec, result](Store& store) {
      auto parent = Load<ResourcePoolSvc::Info>(store, Kinds::kResourcePool, spec->parent());
      if (!parent) return result.SetError(NotFound("resource pool", spec->parent()));
      auto const defaults = std::make_shared<ResourcePoolSvc::ResourceAllocationInfo const>(
          0, true, -1,
          std::make_shared<ResourcePoolSvc::SharesInfo const>(ResourcePoolSvc::SharesLevel::NORMAL));
      ResourcePoolSvc::Info info;
      info.name(spec->name()).owner(parent->owner()).parent(spec->parent());
      info.cpuAllocation(Apply(defaults, spec->cpuAllocation()))
          .memoryAllocation(Apply(defaults, spec->memoryAllocation()));
      if (auto error = CheckFits(store, spec->parent(), "", info)) return result.SetError(error);
      Store::Transaction transaction(store);
      std::string const id = store.NewId(Prefix::kResourcePool);
      Save(store, Kinds::kResourcePool, id, spec->parent(), info);
      transaction.Commit();
      result.SetResult(id);
    });
  }

  // Machines name their pool in their own records, which the machines' area keeps; only the
  // child pools move here.
  void Delete(std::string const& pool, Activation const&, Result<::Opax::Void> const& result) override {
    state_->Run([pool, result](Store& store) {
      auto row = store.Get(Kinds::kResourcePool, pool);
      if (!row) return result.SetError(NotFound("resource pool", pool));
      auto const info = FromDocument<ResourcePoolSvc::Info>(row->doc);
      if (!info.parent()) return result.SetError(RootPool(pool));
      Store::Transaction transaction(store);
      for (auto child : store.Children(Kinds::kResourcePool, pool)) {
        auto moved = FromDocument<ResourcePoolSvc::Info>(child.doc);
        moved.parent(info.parent());
        Save(store, Kinds::kResourcePool, child.id, *info.parent(), moved);
      }
      RemoveObject(store, *row);
      transaction.Commit();
      result.SetResult(::Opax::Void());
    });
  }

  void Update(std::string const& pool, std::shared_ptr<ResourcePoolSvc::UpdateSpec const> const& spec,
              Activation const&, Result<::Opax::Void> const& result) override {
    state_->Run([pool, spec, result](Store& store) {
      auto row = store.Get(Kinds::kResourcePool, pool);
      if (!row) return result.SetError(NotFound("resource pool", pool));
      auto info = FromDocument<ResourcePoolSvc::Info>(row->doc);
      if (!info.parent()) return result.SetError(RootPool(pool));
      if (spec->name()) info.name(*spec->name());
      info.cpuAllocation(Apply(info.cpuAllocation(), spec->cpuAllocation()));
      info.memoryAllocation(Apply(info.memoryAllocation(), spec->memoryAllocation()));
      if (auto error = CheckFits(store, *info.parent(), pool, info)) return result.SetError(error);
      Store::Transaction transaction(store);
      Save(store, Kinds::kResourcePool, pool, row->parent, info);
      transaction.Commit();
      result.SetResult(::Opax::Void());
    });
  }

 private:
  static ErrorPtr RootPool(std::string const& pool) {
    return Unsupported(Say(
        "nexar.sim.inventory.pool.root",
        "The resource pool '{0}' is the root pool of its host or cluster, which follows its owner.", {pool}));
  }

  static bool Matches(Store& store, ResourcePoolSvc::FilterSpec const& filter, std::string const& id,
                      ResourcePoolSvc::Info const& info) {
    if (!Admits(filter.resourcePools(), id) || !Admits(filter.names(), info.name())) return false;
    if (filter.parentResourcePools() &&
        (!info.parent() || !filter.parentResourcePools()->count(*info.parent())))
      return false;
    if (filter.clusters() && !filter.clusters()->count(info.owner())) return false;
    if (!filter.hosts()) return true;
    if (filter.hosts()->count(info.owner())) return true;
    // A cluster's pools serve every host of it.
    for (auto const& host : store.Children(Kinds::kHost, info.owner())) {
      if (filter.hosts()->count(host.id)) return true;
    }
    return false;
  }

  std::shared_ptr<State> state_;
};

}  // namespace

BoundService BindResourcePools(Services const& services) {
  return ResourcePoolSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<ResourcePools>(services.state), services.localizer);
}

}  // namespace Inventory
}  // namespace Sim
