#include "devices.h"

namespace Sim {
namespace Devices {

// Placeholders until the hardware area implements them.
ErrorPtr AddFromSpec(Store&, std::string const&, ::Com::Quarn::Nexar::VmSvc::CreateSpec const&) { return nullptr; }
ErrorPtr Copy(Store&, std::string const&, std::string const&, std::set<std::string> const&) { return nullptr; }
void RemoveAll(Store&, std::string const&) {}

}  // namespace Devices
}  // namespace Sim
