#pragma once

// The power service (com.quarn.nexar.vm.power): the state machine of powered off, on and
// suspended, with the answers a real server gives for a change that is already done or that the
// current state does not allow.

#include "machine_record.h"
#include "setting_jobs.h"

#include <memory>

namespace Sim {
namespace Machines {

enum class PowerOperation { START, STOP, SUSPEND, RESET };

class PowerService : public Vm::PowerSvc::AsyncServiceInterface {
 public:
  using Activation = std::shared_ptr<::Opax::Core::AsyncActivation>;

  explicit PowerService(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void Get(std::string const& vm, Activation const&,
           PlainResult<std::shared_ptr<PowerInfo const>> const& result) override;
  void Start(std::string const& vm, Activation const&, PlainResult<::Opax::Void> const& result) override {
    Change(vm, PowerOperation::START, result);
  }
  void Stop(std::string const& vm, Activation const&, PlainResult<::Opax::Void> const& result) override {
    Change(vm, PowerOperation::STOP, result);
  }
  void Suspend(std::string const& vm, Activation const&, PlainResult<::Opax::Void> const& result) override {
    Change(vm, PowerOperation::SUSPEND, result);
  }
  void Reset(std::string const& vm, Activation const&, PlainResult<::Opax::Void> const& result) override {
    Change(vm, PowerOperation::RESET, result);
  }

 private:
  void Change(std::string const& vm, PowerOperation operation, PlainResult<::Opax::Void> const& result);

  std::shared_ptr<State> state_;
};

}  // namespace Machines
}  // namespace Sim
