#pragma once

// A user's own code over a generated service interface: it takes the interface, not the stub, so
// that a test can hand it a mock (cdroms_test.cpp) and a program the stub over its network client.

#include <bindings/vm/hardware/cdrom.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace Cdroms {

using ::Com::Quarn::Nexar::Vm::Hardware::CdromSvc;

struct Disconnected {
  std::size_t count = 0;  // drives that are disconnected now, including those that already were
  std::shared_ptr<::Opax::Data::ErrorValue const> error;  // the first failure, if any
};

// Disconnects every CD-ROM drive of machine `vm`; `done` hears the outcome once, after the last
// reply. One drive's failure does not stop the others. `cdroms` must outlive the replies.
void DisconnectAll(CdromSvc::AsyncServiceInterface& cdroms, std::string const& vm,
                   std::function<void(Disconnected const&)> done);

}  // namespace Cdroms
