#include "settings_services.h"

#include "../kinds.h"
#include "boot_order.h"
#include "settings_rules.h"

namespace Sim {
namespace Machines {

std::list<std::shared_ptr<Vm::Hardware::Boot::DeviceSvc::Entry const>> BootEntries(
    Store& store, std::string const& vm, std::vector<std::string> const& order) {
  using Entry = Vm::Hardware::Boot::DeviceSvc::Entry;
  std::list<std::shared_ptr<Entry const>> entries;
  for (auto const& text : order) {
    BootDeviceType const type = BootDeviceType::FromText(text);
    Entry entry(type);
    if (type == BootDeviceType::DISK) {
      auto const disks = DeviceIds(store, Kinds::kDisk, vm);
      entry.disks(std::list<std::string>(disks.begin(), disks.end()));
    } else if (type == BootDeviceType::ETHERNET) {
      auto const nics = DeviceIds(store, Kinds::kEthernet, vm);
      // An order naming the network with no adapter left to boot from skips it, as firmware does.
      if (nics.empty()) continue;
      entry.nic(*nics.begin());
    }
    entries.push_back(std::make_shared<Entry const>(entry));
  }
  return entries;
}

void BootService::Get(std::string const& vm, Activation const&,
                      PlainResult<std::shared_ptr<BootInfo const>> const& result) {
  GetSetting<BootInfo>(*state_, Kinds::kBoot, vm, result);
}

void BootService::Update(std::string const& vm,
                         std::shared_ptr<Vm::Hardware::BootSvc::UpdateSpec const> const& spec,
                         Activation const&, PlainResult<Void> const& result) {
  ChangeSetting<BootInfo>(
      *state_, Kinds::kBoot, vm,
      [spec](BootInfo& info, PowerState::EnumType power) { return ApplyBoot(*spec, power, info); }, result);
}

void BootDeviceService::Get(std::string const& vm, Activation const&,
                            PlainResult<std::list<std::shared_ptr<Entry const>>> const& result) {
  state_->Run([vm, result](Store& store) {
    auto row = store.Get(Kinds::kVirtualMachine, vm);
    if (!row) return result.SetError(NotFound("virtual machine", vm));
    result.SetResult(BootEntries(store, vm, ReadRecord(row->doc).bootOrder));
  });
}

void BootDeviceService::Set(std::string const& vm,
                            std::list<std::shared_ptr<EntryCreateSpec const>> const& devices,
                            Activation const&, PlainResult<Void> const& result) {
  state_->Run([vm, devices, result](Store& store) {
    auto machine = Load(store, vm);
    if (!machine) return result.SetError(NotFound("virtual machine", vm));
    std::vector<std::string> order;
    for (auto const& device : devices) order.push_back(device->type().text());
    if (auto error = CheckBootOrder(order)) return result.SetError(error);
    machine->record.bootOrder = order;
    Store::Transaction transaction(store);
    Save(store, *machine);
    transaction.Commit();
    result.SetResult(Void());
  });
}

}  // namespace Machines
}  // namespace Sim
