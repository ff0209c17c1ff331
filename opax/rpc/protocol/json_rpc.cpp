#include <opax/rpc/protocol/json_rpc.h>

namespace Opax {
namespace Rpc {

std::string RpcMethodName(std::string const& serviceId, std::string const& operation) {
  std::string name;
  name.reserve(serviceId.size() + 1 + operation.size());
  return name.append(serviceId).append(1, '/').append(operation);
}

bool SplitRpcMethodName(std::string_view method, std::string_view& serviceId, std::string_view& operation) {
  std::size_t const slash = method.rfind('/');
  if (slash == std::string_view::npos || slash == 0 || slash + 1 == method.size()) return false;
  serviceId = method.substr(0, slash);
  operation = method.substr(slash + 1);
  return true;
}

}  // namespace Rpc
}  // namespace Opax
