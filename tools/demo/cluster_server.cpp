#include "cluster_server.h"

#include <string>

namespace Demo {
namespace {

using ClusterMode = ModeSvc::ClusterMode;

// What a change to `mode` does, one progress report per step.
std::vector<std::string> StepsTo(ClusterMode mode) {
  switch (mode) {
    case ClusterMode::ENABLED:
      return {"Checking that the passive node is in sync", "Checking the witness node",
              "Starting automatic failover", "Saving the cluster configuration"};
    case ClusterMode::MAINTENANCE:
      return {"Checking the passive node", "Finishing failovers under way", "Stopping automatic failover",
              "Saving the cluster configuration"};
    default:
      return {"Stopping automatic failover", "Stopping replication",
              "Keeping the passive and witness configuration", "Saving the cluster configuration"};
  }
}

ErrorPtr Refusal(ClusterMode wanted, ClusterMode current, bool changing, bool passiveInSync) {
  if (wanted == ClusterMode::_UNKNOWN) {
    std::string const text = wanted.unknownText();
    return InvalidArgument(
        {Note("nexar.demo.cluster.mode.unknown", "Cluster mode '" + text + "' is not known.", {text})});
  }
  if (changing) {
    return StandardError<Errors::ResourceBusy>(
        Errors::ErrorType::RESOURCE_BUSY,
        {Note("nexar.demo.cluster.mode.busy", "Another change of the cluster mode is under way.")});
  }
  if (wanted == ClusterMode::ENABLED && current != ClusterMode::ENABLED && !passiveInSync) {
    return StandardError<Errors::NotAllowedInCurrentState>(
        Errors::ErrorType::NOT_ALLOWED_IN_CURRENT_STATE,
        {Note("nexar.demo.cluster.passive.behind",
              "The passive node is not in sync, so failover cannot be enabled.")});
  }
  return nullptr;
}

}  // namespace

ClusterModeServer::ClusterModeServer(std::chrono::milliseconds stepDelay, ClusterMode initial,
                                     bool passiveInSync)
    : stepDelay_(stepDelay), passiveInSync_(passiveInSync), mode_(initial) {}

ClusterModeServer::~ClusterModeServer() {
  std::vector<std::thread> workers;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    workers.swap(workers_);
  }
  for (auto& worker : workers) worker.join();
}

void ClusterModeServer::Get(Activation const&,
                            ::Opax::AsyncResult<std::shared_ptr<ModeSvc::Info const>,
                                                ::Opax::AsyncResultTerminateCbPolicy> const& result) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto info = std::make_shared<ModeSvc::Info>();
  info->mode(mode_);
  result.SetResult(info);
}

void ClusterModeServer::Set(ClusterMode const& mode, Activation const&, TaskResult const& result) {
  ErrorPtr error;
  bool already = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    error = Refusal(mode, mode_, changing_, passiveInSync_);
    already = !error && mode == mode_;
    if (!error && !already) {
      changing_ = true;
      workers_.emplace_back([this, mode, result] { Change(mode, result); });
    }
  }
  // Outside the lock: delivering may run the caller's code, which may call again.
  if (error) result.SetError(error);
  if (already) result.SetResult(::Opax::Void());
}

void ClusterModeServer::Change(ClusterMode mode, TaskResult result) {
  std::vector<std::string> const steps = StepsTo(mode);
  auto const total = static_cast<int64_t>(steps.size());
  for (int64_t done = 0; done < total; ++done) {
    result.SetProgress(::Opax::Progress{total, done, steps[static_cast<std::size_t>(done)]});
    std::this_thread::sleep_for(stepDelay_);
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    mode_ = mode;
    changing_ = false;
  }
  result.SetResult(::Opax::Void());
}

void ServeClusterMode(::Opax::Core::InProcessProvider& provider, std::chrono::milliseconds stepDelay,
                      ClusterMode initial) {
  provider.Register(ModeSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<ClusterModeServer>(stepDelay, initial)));
}

}  // namespace Demo
