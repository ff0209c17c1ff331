#pragma once

#include <cstdint>
#include <string>

namespace Opax {

// How far a running operation has got. A default value means "no progress information" and is
// what final results and errors carry.
struct Progress {
  int64_t total = 0;      // units of work in all; 0 when unknown
  int64_t completed = 0;  // units done so far, at most `total` when `total` is known
  std::string message;    // a short human-readable note of the current step, possibly empty

  bool operator==(Progress const& o) const {
    return total == o.total && completed == o.completed && message == o.message;
  }
  bool operator!=(Progress const& o) const { return !(*this == o); }
};

}  // namespace Opax
