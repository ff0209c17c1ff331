// Writes the OpenRPC document of every service in the run-time catalogue to standard output; with
// --sample, the schemas of the codec's sample definition instead, for checks of values against them.

#include <opax/json/testing/sample_definition.h>
#include <opax/rpc/discovery/json_schema.h>
#include <opax/rpc/discovery/openrpc.h>
#include <runtime/service_catalog.h>

#include <boost/json/serialize.hpp>

#include <cstring>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "--sample") == 0) {
    Opax::Rpc::JsonSchemaWriter writer;
    writer.SchemaOf(Opax::Json::Testing::MakeSampleDefinition().device);
    std::cout << boost::json::serialize(
                     boost::json::object{{"components", {{"schemas", writer.TakeSchemas()}}}})
              << '\n';
    return std::cout.good() ? 0 : 1;
  }
  std::vector<std::string> ids;
  for (auto const* service : Opax::Catalog::ServiceCatalog::Instance().services())
    ids.emplace_back(service->id);
  if (ids.empty()) {
    std::cerr << "nexar_dump_openrpc: the catalogue is empty; is nexar::bindings loaded?\n";
    return 1;
  }
  std::cout << Opax::Rpc::OpenRpcDocument(ids) << '\n';
  return std::cout.good() ? 0 : 1;
}
