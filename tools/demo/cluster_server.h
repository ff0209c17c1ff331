#pragma once

// An in-memory implementation of the high-availability cluster mode service, for the demo: a
// mode change runs as a task on a worker thread and reports each of its steps as progress.

#include "server_errors.h"

#include <bindings/hafo/cluster/mode.h>
#include <opax/core/provider/in_process_provider.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace Demo {

using ModeSvc = ::Com::Quarn::Nexar::Hafo::Cluster::ModeSvc;

class ClusterModeServer : public ModeSvc::AsyncServiceInterface {
 public:
  using Activation = std::shared_ptr<::Opax::Core::AsyncActivation>;
  using TaskResult = ::Opax::AsyncTaskResult<::Opax::Void, ::Opax::AsyncTaskResultTerminateCbPolicy>;

  // Each step of a mode change takes `stepDelay`. `passiveInSync` says whether the passive node
  // could take over, which enabling failover needs.
  ClusterModeServer(std::chrono::milliseconds stepDelay, ModeSvc::ClusterMode initial,
                    bool passiveInSync = true);
  // Waits for mode changes under way: their threads use this object.
  ~ClusterModeServer() override;

  void Get(Activation const& activation,
           ::Opax::AsyncResult<std::shared_ptr<ModeSvc::Info const>,
                               ::Opax::AsyncResultTerminateCbPolicy> const& result) override;
  void Set(ModeSvc::ClusterMode const& mode, Activation const& activation, TaskResult const& result) override;

 private:
  void Change(ModeSvc::ClusterMode mode, TaskResult result);

  std::chrono::milliseconds const stepDelay_;
  bool const passiveInSync_;
  std::mutex mutex_;
  ModeSvc::ClusterMode mode_;
  bool changing_ = false;
  std::vector<std::thread> workers_;
};

// Serves a new ClusterModeServer from `provider`.
void ServeClusterMode(::Opax::Core::InProcessProvider& provider, std::chrono::milliseconds stepDelay,
                      ModeSvc::ClusterMode initial);

}  // namespace Demo
