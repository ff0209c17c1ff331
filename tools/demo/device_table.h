#pragma once

#include "server_errors.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Demo {

// The devices of one kind per virtual machine, in creation order, behind one lock. Calls are
// short, so one lock for all machines is enough for the demo. Each operation answers null or
// the error to complete with; results are delivered by the caller after the lock is released,
// so a client that calls again from its callback cannot deadlock.
template <class Info>
class DeviceTable {
 public:
  using InfoPtr = std::shared_ptr<Info const>;
  using Devices = std::vector<std::pair<std::string, InfoPtr>>;
  // Makes a new device from the ones the machine has (to find a free slot or a label number).
  using Maker = std::function<ErrorPtr(Devices const& existing, InfoPtr& made)>;
  // Changes a device in place; an error leaves it as it was.
  using Changer = std::function<ErrorPtr(Info& info)>;

  // `kind` names the device in messages ("CD-ROM"); ids are `idPrefix` plus a number.
  DeviceTable(std::set<std::string> const& vms, std::string kind, std::string idPrefix)
      : kind_(std::move(kind)), idPrefix_(std::move(idPrefix)) {
    for (auto const& vm : vms) byVm_[vm];
  }

  ErrorPtr List(std::string const& vm, std::vector<std::string>& ids) const {
    std::lock_guard<std::mutex> lock(mutex_);
    Devices const* devices = DevicesOf(vm);
    if (!devices) return VmNotFound(vm);
    for (auto const& device : *devices) ids.push_back(device.first);
    return nullptr;
  }

  ErrorPtr Get(std::string const& vm, std::string const& id, InfoPtr& info) const {
    std::lock_guard<std::mutex> lock(mutex_);
    Devices const* devices = DevicesOf(vm);
    if (!devices) return VmNotFound(vm);
    auto found = Find(*devices, id);
    if (found == devices->end()) return DeviceNotFound(vm, id);
    info = found->second;
    return nullptr;
  }

  ErrorPtr Add(std::string const& vm, Maker const& make, std::string& id) {
    std::lock_guard<std::mutex> lock(mutex_);
    Devices* devices = DevicesOf(vm);
    if (!devices) return VmNotFound(vm);
    InfoPtr made;
    if (ErrorPtr error = make(*devices, made)) return error;
    id = idPrefix_ + std::to_string(next_++);
    devices->emplace_back(id, made);
    return nullptr;
  }

  ErrorPtr Change(std::string const& vm, std::string const& id, Changer const& change) {
    std::lock_guard<std::mutex> lock(mutex_);
    Devices* devices = DevicesOf(vm);
    if (!devices) return VmNotFound(vm);
    auto found = Find(*devices, id);
    if (found == devices->end()) return DeviceNotFound(vm, id);
    // Readers may hold the old Info: it is replaced, never written.
    auto changed = std::make_shared<Info>(*found->second);
    if (ErrorPtr error = change(*changed)) return error;
    found->second = std::move(changed);
    return nullptr;
  }

  ErrorPtr Remove(std::string const& vm, std::string const& id) {
    std::lock_guard<std::mutex> lock(mutex_);
    Devices* devices = DevicesOf(vm);
    if (!devices) return VmNotFound(vm);
    auto found = Find(*devices, id);
    if (found == devices->end()) return DeviceNotFound(vm, id);
    devices->erase(found);
    return nullptr;
  }

  std::string const& kind() const { return kind_; }

 private:
  Devices* DevicesOf(std::string const& vm) {
    auto found = byVm_.find(vm);
    return found == byVm_.end() ? nullptr : &found->second;
  }
  Devices const* DevicesOf(std::string const& vm) const {
    auto found = byVm_.find(vm);
    return found == byVm_.end() ? nullptr : &found->second;
  }
  template <class D>
  static auto Find(D& devices, std::string const& id) {
    auto it = devices.begin();
    while (it != devices.end() && it->first != id) ++it;
    return it;
  }

  static ErrorPtr VmNotFound(std::string const& vm) {
    return NotFound(Note("nexar.demo.vm.not_found", "Virtual machine '" + vm + "' does not exist.", {vm}));
  }
  ErrorPtr DeviceNotFound(std::string const& vm, std::string const& id) const {
    return NotFound(Note("nexar.demo.device.not_found",
                         kind_ + " '" + id + "' does not exist on virtual machine '" + vm + "'.",
                         {kind_, id, vm}));
  }

  std::string const kind_;
  std::string const idPrefix_;
  mutable std::mutex mutex_;
  std::map<std::string, Devices> byVm_;
  uint64_t next_ = 1;
};

}  // namespace Demo
