#pragma once

// The services of this area, each bound through its generated binder.

#include "common.h"

namespace Sim {
namespace Hardware {

void BindCdrom(Services const& services, Bound& bound);
void BindDisk(Services const& services, Bound& bound);
void BindEthernet(Services const& services, Bound& bound);
void BindFloppy(Services const& services, Bound& bound);
void BindSerial(Services const& services, Bound& bound);
void BindParallel(Services const& services, Bound& bound);
void BindAdapters(Services const& services, Bound& bound);

}  // namespace Hardware
}  // namespace Sim
