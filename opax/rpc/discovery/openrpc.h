#pragma once

#include <string>
#include <vector>

namespace Opax {
namespace Rpc {

struct OpenRpcInfo {
  std::string title = "Nexar management server";
  std::string version = "0.1.0";
};

// The OpenRPC document (as the "rpc.discover" convention has it) of every operation of the
// given services, from the definitions that the run-time catalogue holds: each input, result and
// declared error as JSON Schema. Services the catalogue does not know are left out.
std::string OpenRpcDocument(std::vector<std::string> const& serviceIds, OpenRpcInfo const& info = OpenRpcInfo());

}  // namespace Rpc
}  // namespace Opax
