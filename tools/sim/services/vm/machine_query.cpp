#include "machine_service.h"

#include "../inventory/placement.h"
#include "../kinds.h"
#include "boot_order.h"

namespace Sim {
namespace Machines {
namespace {

// More than a server hands back at once; a caller narrows the filter instead.
constexpr std::size_t kListLimit = 1000;
// Resource pools nest; deeper than this is not an inventory anyone builds.
constexpr int kPoolDepthLimit = 64;

std::shared_ptr<VmSvc::Info const> InfoOf(Store& store, Machine const& machine) {
  Record const& record = machine.record;
  auto placement = std::make_shared<VmSvc::PlacementInfo>(record.datacenter, record.folder,
                                                          record.resourcePool, record.host, record.datastore);
  if (!record.cluster.empty()) placement->cluster(record.cluster);
  std::set<std::string> adapters;
  for (char const* kind : {Kinds::kNvmeAdapter, Kinds::kSataAdapter, Kinds::kScsiAdapter}) {
    auto const ids = DeviceIds(store, kind, machine.id);
    adapters.insert(ids.begin(), ids.end());
  }
  VmSvc::Info info(
      record.name,
      std::make_shared<Vm::IdentitySvc::Info const>(record.name, record.biosUuid, record.instanceUuid),
      placement, record.guestOs, std::make_shared<PowerInfo const>(machine.power),
      std::make_shared<HardwareInfo const>(machine.hardware), std::make_shared<BootInfo const>(machine.boot),
      BootEntries(store, machine.id, machine.record.bootOrder), std::make_shared<CpuInfo const>(machine.cpu),
      std::make_shared<MemoryInfo const>(machine.memory), DeviceIds(store, Kinds::kDisk, machine.id),
      DeviceIds(store, Kinds::kEthernet, machine.id), DeviceIds(store, Kinds::kCdrom, machine.id),
      DeviceIds(store, Kinds::kFloppy, machine.id), DeviceIds(store, Kinds::kSerial, machine.id),
      DeviceIds(store, Kinds::kParallel, machine.id), adapters);
  info.notes(record.notes);
  return std::make_shared<VmSvc::Info const>(info);
}

bool PoolWithin(Store& store, std::string pool, std::string const& ancestor) {
  for (int depth = 0; depth < kPoolDepthLimit && !pool.empty(); ++depth) {
    if (pool == ancestor) return true;
    auto row = store.Get(Kinds::kResourcePool, pool);
    if (!row) return false;
    pool = row->parent;
  }
  return false;
}

bool In(boost::optional<std::set<std::string>> const& set, std::string const& value) {
  return !set || set->count(value) > 0;
}

template <class Within>
bool AnyContains(boost::optional<std::set<std::string>> const& containers, Within within) {
  if (!containers) return true;
  for (auto const& container : *containers) {
    if (within(container)) return true;
  }
  return false;
}

bool Matches(Store& store, VmSvc::FilterSpec const& filter, std::string const& id, Record const& record) {
  return In(filter.vms(), id) && In(filter.names(), record.name) &&
         In(filter.datacenters(), record.datacenter) && In(filter.hosts(), record.host) &&
         In(filter.clusters(), record.cluster) &&
         AnyContains(filter.folders(),
                     [&](std::string const& folder) {
                       return Inventory::FolderWithin(store, record.folder, folder);
                     }) &&
         AnyContains(filter.resourcePools(),
                     [&](std::string const& pool) { return PoolWithin(store, record.resourcePool, pool); });
}

}  // namespace

void MachineService::Get(std::string const& vm, Activation const&,
                         Result<std::shared_ptr<VmSvc::Info const>> const& result) {
  state_->Run([vm, result](Store& store) {
    auto machine = Load(store, vm);
    if (!machine) return result.SetError(NotFound("virtual machine", vm));
    result.SetResult(InfoOf(store, *machine));
  });
}

void MachineService::List(::Opax::OptionalPtr<VmSvc::FilterSpec const> const& filter, Activation const&,
                          Result<std::list<std::shared_ptr<VmSvc::Summary const>>> const& result) {
  state_->Run([filter, result](Store& store) {
    VmSvc::FilterSpec const everything;
    VmSvc::FilterSpec const& wanted = filter ? *filter : everything;
    std::list<std::shared_ptr<VmSvc::Summary const>> summaries;
    for (auto const& row : store.List(Kinds::kVirtualMachine)) {
      Record const record = ReadRecord(row.doc);
      if (!Matches(store, wanted, row.id, record)) continue;
      auto machine = Load(store, row.id);
      if (!machine) continue;
      if (wanted.powerStates() && !wanted.powerStates()->count(machine->power.state())) continue;
      if (summaries.size() == kListLimit) {
        return result.SetError(UnableToAllocateResource(
            Say("nexar.sim.vm.list.too_many", "More than {0} machines match; narrow the filter.",
                {std::to_string(kListLimit)})));
      }
      VmSvc::Summary summary(row.id, record.name, machine->power.state());
      summary.cpuCount(machine->cpu.count()).memorySizeMiB(machine->memory.sizeMiB());
      summaries.push_back(std::make_shared<VmSvc::Summary const>(summary));
    }
    result.SetResult(summaries);
  });
}

}  // namespace Machines
}  // namespace Sim
