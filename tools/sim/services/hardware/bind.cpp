#include "services.h"

namespace Sim {

void BindHardware(Services const& services, Bound& bound) {
  Hardware::BindCdrom(services, bound);
  Hardware::BindDisk(services, bound);
  Hardware::BindEthernet(services, bound);
  Hardware::BindFloppy(services, bound);
  Hardware::BindSerial(services, bound);
  Hardware::BindParallel(services, bound);
  Hardware::BindAdapters(services, bound);
}

}  // namespace Sim
