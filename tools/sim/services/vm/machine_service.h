#pragma once

// The machine lifecycle service (com.quarn.nexar.vm). Every operation runs on the state thread;
// clone and relocate run as timed steps there, and the machines they work on are marked busy
// meanwhile so that a second clone, move or removal of them is refused.

#include "../errors.h"
#include "../module.h"
#include "machine_record.h"

#include <chrono>
#include <memory>
#include <set>
#include <string>

namespace Sim {
namespace Machines {

// How long a copy or move takes: `steps` progress reports, `step` apart.
struct CopyTiming {
  int steps = 4;
  std::chrono::milliseconds step{500};
};

// Jobs hold what they need by value, not the service: the state thread may run them after the
// service has been released.
class MachineService : public VmSvc::AsyncServiceInterface {
 public:
  using Activation = std::shared_ptr<::Opax::Core::AsyncActivation>;
  template <class T>
  using Result = ::Opax::AsyncResult<T, ::Opax::AsyncResultTerminateCbPolicy>;
  template <class T>
  using TaskResult = ::Opax::AsyncTaskResult<T, ::Opax::AsyncTaskResultTerminateCbPolicy>;

  MachineService(std::shared_ptr<State> state, CopyTiming timing)
      : state_(std::move(state)), timing_(timing) {}

  void Create(std::shared_ptr<VmSvc::CreateSpec const> const& spec, Activation const&,
              Result<std::string> const& result) override;
  using VmSvc::AsyncServiceInterface::Clone;
  void Clone(std::shared_ptr<VmSvc::CloneSpec const> const& spec, Activation const&,
             TaskResult<std::string> const& result) override;
  using VmSvc::AsyncServiceInterface::Relocate;
  void Relocate(std::string const& vm, std::shared_ptr<VmSvc::RelocateSpec const> const& spec,
                Activation const&, TaskResult<::Opax::Void> const& result) override;
  void InstantClone(std::shared_ptr<VmSvc::InstantCloneSpec const> const& spec, Activation const&,
                    Result<std::string> const& result) override;
  void Get(std::string const& vm, Activation const&,
           Result<std::shared_ptr<VmSvc::Info const>> const& result) override;
  void Delete(std::string const& vm, Activation const&, Result<::Opax::Void> const& result) override;
  void List(::Opax::OptionalPtr<VmSvc::FilterSpec const> const& filter, Activation const&,
            Result<std::list<std::shared_ptr<VmSvc::Summary const>>> const& result) override;
  void Register(std::shared_ptr<VmSvc::RegisterSpec const> const& spec, Activation const&,
                Result<std::string> const& result) override;
  void Unregister(std::string const& vm, Activation const&, Result<::Opax::Void> const& result) override;

 private:
  std::shared_ptr<State> state_;
  CopyTiming timing_;
  // The machines being copied or moved; touched on the state thread only.
  std::shared_ptr<std::set<std::string>> busy_ = std::make_shared<std::set<std::string>>();
};

// ResourceBusy while `vm` is being copied or moved.
ErrorPtr BusyError(std::set<std::string> const& busy, std::string const& vm);

void BindMachineServices(Services const& services, CopyTiming timing, Bound& bound);

}  // namespace Machines
}  // namespace Sim
