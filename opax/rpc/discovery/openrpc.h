#pragma once

#include <string>
#include <vector>

namespace Opax {
namespace Rpc {

// The OpenRPC version the documents declare.
constexpr char kOpenRpcVersion[] = "1.2.6";

struct OpenRpcInfo {
  std::string title = "Nexar management server";
  std::string version = "0.1.0";
};

// The OpenRPC document (as the "rpc.discover" convention has it) of every operation of the
// given services, in the order given, from the definitions that the run-time catalogue holds:
// each input, result and declared error as JSON Schema (docs/WIRE.md, "Discovery"). Services
// the catalogue does not know are left out; a service named twice is described once.
std::string OpenRpcDocument(std::vector<std::string> const& serviceIds,
                            OpenRpcInfo const& info = OpenRpcInfo());

}  // namespace Rpc
}  // namespace Opax
