#pragma once

// What every device service of this area shares: the generated types, the machine's state as the
// device rules need it, and running an operation as one job with its writes in one transaction.

#include "../../state/document.h"
#include "../errors.h"
#include "../kinds.h"
#include "../module.h"

#include <boost/optional.hpp>

#include <bindings/vm/hardware/adapter/nvme.h>
#include <bindings/vm/hardware/adapter/sata.h>
#include <bindings/vm/hardware/adapter/scsi.h>
#include <bindings/vm/hardware/cdrom.h>
#include <bindings/vm/hardware/disk.h>
#include <bindings/vm/hardware/ethernet.h>
#include <bindings/vm/hardware/floppy.h>
#include <bindings/vm/hardware/parallel.h>
#include <bindings/vm/hardware/serial.h>
#include <bindings/vm/power.h>

#include <boost/optional.hpp>

#include <list>
#include <memory>
#include <set>
#include <string>

namespace Sim {
namespace Hardware {

namespace Hw = ::Com::Quarn::Nexar::Vm::Hardware;
using CdromSvc = Hw::CdromSvc;
using DiskSvc = Hw::DiskSvc;
using EthernetSvc = Hw::EthernetSvc;
using FloppySvc = Hw::FloppySvc;
using SerialSvc = Hw::SerialSvc;
using ParallelSvc = Hw::ParallelSvc;
using SataSvc = Hw::Adapter::SataSvc;
using ScsiSvc = Hw::Adapter::ScsiSvc;
using NvmeSvc = Hw::Adapter::NvmeSvc;
using PowerSvc = ::Com::Quarn::Nexar::Vm::PowerSvc;

template <class T>
using Result = ::Opax::AsyncResult<T, ::Opax::AsyncResultTerminateCbPolicy>;
using Activation = std::shared_ptr<::Opax::Core::AsyncActivation>;
using Void = ::Opax::Void;

// How a kind of device is named to people and in ids.
struct DeviceKind {
  char const* kind;         // the store kind (its resource type)
  char const* what;         // "CD-ROM", as a person would say it
  char const* idPrefix;     // ids are "<prefix>-N"
  char const* labelPrefix;  // labels are "<prefix> N"
};

extern DeviceKind const kCdromKind;
extern DeviceKind const kDiskKind;
extern DeviceKind const kEthernetKind;
extern DeviceKind const kFloppyKind;
extern DeviceKind const kSerialKind;
extern DeviceKind const kParallelKind;
extern DeviceKind const kSataKind;
extern DeviceKind const kScsiKind;
extern DeviceKind const kNvmeKind;

// The machine's power state; a machine without a power document has never been started.
PowerSvc::State PowerState(Store& store, std::string const& vm);
// Whether the machine is other than powered off, so that its configuration is locked against
// changes that need the virtual hardware to stand still.
bool Running(Store& store, std::string const& vm);
// NotAllowedInCurrentState for `action` on a machine that is not powered off; null otherwise.
ErrorPtr NeedsPoweredOff(Store& store, std::string const& vm, std::string const& action);

// "<labelPrefix> N" with the smallest N that none of `taken` is.
std::string FirstFreeLabel(DeviceKind const& kind, std::set<std::string> const& taken);

template <class Info>
boost::optional<Info> LoadDevice(Store& store, DeviceKind const& kind, std::string const& vm,
                                 std::string const& id) {
  std::string machine;
  auto info = Load<Info>(store, kind.kind, id, &machine);
  if (!info || machine != vm) return boost::none;
  return *info;
}

template <class Info>
void SaveDevice(Store& store, DeviceKind const& kind, std::string const& vm, std::string const& id,
                Info const& info) {
  store.Put({kind.kind, id, vm, ToDocument(info)});
}

template <class Info>
std::string NextLabel(Store& store, DeviceKind const& kind, std::string const& vm) {
  std::set<std::string> taken;
  for (auto const& row : store.Children(kind.kind, vm)) taken.insert(FromDocument<Info>(row.doc).label());
  return FirstFreeLabel(kind, taken);
}

// Runs `job(store, out)` on the state thread after checking that the machine exists. A job that
// writes has its writes in one transaction, committed before the caller hears of success; a read
// (the gets and lists a client makes most) opens none.
enum class Access { Read, Write };

template <class T, class Job>
void OnMachine(Access access, State& state, std::string const& vm, Result<T> const& result, Job job) {
  state.Run([access, vm, result, job](Store& store) {
    if (!store.Exists(Kinds::kVirtualMachine, vm)) return result.SetError(NotFound("virtual machine", vm));
    boost::optional<Store::Transaction> transaction;
    if (access == Access::Write) transaction.emplace(store);
    T out{};
    if (ErrorPtr error = job(store, out)) return result.SetError(error);
    if (transaction) transaction->Commit();
    result.SetResult(out);
  });
}

template <class T, class Job>
void RunOnMachine(State& state, std::string const& vm, Result<T> const& result, Job job) {
  OnMachine(Access::Write, state, vm, result, std::move(job));
}

template <class T, class Job>
void ReadOnMachine(State& state, std::string const& vm, Result<T> const& result, Job job) {
  OnMachine(Access::Read, state, vm, result, std::move(job));
}

}  // namespace Hardware
}  // namespace Sim
