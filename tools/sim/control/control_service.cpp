#include "control_service.h"

#include "../services/errors.h"

#include <sim/control.h>

#include <cctype>

namespace Sim {
namespace {

using Control = ::Com::Quarn::Sim::ControlSvc;
using Activation = std::shared_ptr<::Opax::Core::AsyncActivation>;
template <class T>
using Result = ::Opax::AsyncResult<T, ::Opax::AsyncResultTerminateCbPolicy>;

// "SERVICE_UNAVAILABLE" <-> "service_unavailable": the enumeration's text and the error id's end.
std::string ShortName(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}
std::string EnumText(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

bool GoodSnapshotName(std::string const& name) {
  if (name.empty() || name.size() > 128) return false;
  for (char c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '_' && c != '.') return false;
  }
  return true;
}

class ControlServer : public Control::AsyncServiceInterface {
 public:
  ControlServer(std::shared_ptr<State> state, std::shared_ptr<Faults> faults)
      : state_(std::move(state)), faults_(std::move(faults)) {}

  void GetFaults(Activation const&, Result<std::shared_ptr<Control::Faults const>> const& result) override {
    FaultSettings const settings = faults_->Get();
    result.SetResult(std::make_shared<Control::Faults const>(
        settings.latency.count(), settings.failureRate, Errors::ErrorType::FromText(EnumText(settings.error)),
        settings.dropRate));
  }

  void SetFaults(std::shared_ptr<Control::Faults const> const& faults, Activation const&,
                 Result<::Opax::Void> const& result) override {
    FaultSettings settings;
    settings.latency = std::chrono::milliseconds(faults->latencyMs());
    settings.failureRate = faults->failureRate();
    settings.error = ShortName(faults->error().text());
    settings.dropRate = faults->dropRate();
    std::string problem;
    if (!faults_->Set(settings, problem)) {
      return result.SetError(InvalidArgument(
          Say("nexar.sim.faults.invalid", "The fault setting '{0}' is out of its range.", {problem})));
    }
    result.SetResult(::Opax::Void());
  }

  void SaveSnapshot(std::string const& name, Activation const&, Result<::Opax::Void> const& result) override {
    if (!GoodSnapshotName(name)) return result.SetError(BadName(name));
    state_->Run([name, result](Store& store) {
      store.SaveSnapshot(name);
      result.SetResult(::Opax::Void());
    });
  }

  void RestoreSnapshot(std::string const& name, Activation const&,
                       Result<::Opax::Void> const& result) override {
    state_->Run([name, result](Store& store) {
      if (!store.RestoreSnapshot(name)) return result.SetError(NotFound("snapshot", name));
      result.SetResult(::Opax::Void());
    });
  }

  void ListSnapshots(Activation const&, Result<std::list<std::string>> const& result) override {
    state_->Run([result](Store& store) {
      auto names = store.Snapshots();
      result.SetResult(std::list<std::string>(names.begin(), names.end()));
    });
  }

 private:
  static ErrorPtr BadName(std::string const& name) {
    return InvalidArgument(
        Say("nexar.sim.snapshot.name",
            "A snapshot name has 1 to 128 letters, digits, '-', '_' or '.'; '{0}' does not.", {name}));
  }

  std::shared_ptr<State> state_;
  std::shared_ptr<Faults> faults_;
};

}  // namespace

std::shared_ptr<::Opax::Provider::AsyncApiInterface const> BindControl(std::shared_ptr<State> state,
                                                                       std::shared_ptr<Faults> faults) {
  return Control::AsyncServiceBinder::BindImplementation(
      std::make_shared<ControlServer>(std::move(state), std::move(faults)));
}

}  // namespace Sim
