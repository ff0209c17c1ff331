#pragma once

// The demo's client side: what it calls, in which order, and what it expects back. main() runs
// it on standard output; the demo test runs it on a string and checks the outcome.

#include "cluster_server.h"
#include "hardware_server.h"

#include <opax/core/provider/task_registry.h>

#include <boost/optional.hpp>

#include <chrono>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Demo {

struct ScenarioOptions {
  std::string vm = "vm-42";
  // Each of the four steps of the cluster mode change takes this long.
  std::chrono::milliseconds taskStep{250};
};

// What the run saw, beyond what it printed.
struct ScenarioOutcome {
  std::vector<std::string> failures;  // the expectations that did not hold
  std::vector<std::string> cdroms;    // ids as listed after the creates
  std::vector<std::string> nics;
  std::shared_ptr<CdromSvc::Info const> isoCdrom;  // the devices as read back
  std::shared_ptr<CdromSvc::Info const> hostCdrom;
  std::shared_ptr<EthernetSvc::Info const> nic;
  ErrorPtr refusal;                        // the answer to the invalid union
  std::vector<::Opax::Progress> progress;  // each distinct report seen while the task ran
  boost::optional<::Opax::Provider::TaskRegistry::State> taskState;
  boost::optional<ModeSvc::ClusterMode> modeAfter;

  bool ok() const { return failures.empty(); }
};

ScenarioOutcome RunScenario(std::ostream& out, ScenarioOptions const& options = ScenarioOptions());

}  // namespace Demo
