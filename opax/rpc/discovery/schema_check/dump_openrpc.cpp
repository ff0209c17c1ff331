// Writes the OpenRPC document of every service in the run-time catalogue to standard output.

#include <opax/core/catalog/service_catalog.h>
#include <opax/rpc/discovery/openrpc.h>

#include <iostream>
#include <string>
#include <vector>

int main() {
  std::vector<std::string> ids;
  for (auto const* service : Opax::Catalog::ServiceCatalog::Instance().services()) ids.emplace_back(service->id);
  if (ids.empty()) {
    std::cerr << "nexar_dump_openrpc: the catalogue is empty; is nexar::bindings loaded?\n";
    return 1;
  }
  std::cout << Opax::Rpc::OpenRpcDocument(ids) << '\n';
  return std::cout.good() ? 0 : 1;
}
