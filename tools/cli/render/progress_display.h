#pragma once

#include <opax/core/base/progress.h>

#include <chrono>
#include <ostream>

namespace Cli {

// Shows a task's progress: on a terminal one bar redrawn in place (percentage, the progress
// note, elapsed time); elsewhere a plain line per change, which logs and pipes keep readable.
class ProgressDisplay {
 public:
  ProgressDisplay(std::ostream& out, bool terminal);
  void Update(::Opax::Progress const& progress);
  // Ends the bar's line, so that what follows starts on a line of its own.
  void Finish();

 private:
  std::ostream& out_;
  bool const terminal_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point const start_ = std::chrono::steady_clock::now();
};

}  // namespace Cli
