#include "commands/command_context.h"

#include <runtime/service_catalog.h>

#include <iostream>

namespace Cli {

void AddServicesCommand(CLI::App& app, CommandContext& context) {
  auto* command =
      app.add_subcommand("services", "List the services (id and operation count), filtered by substring");
  auto filter = std::make_shared<std::string>();
  command->add_option("filter", *filter, "Show only services whose id contains this text");
  command->callback([filter, &context] {
    std::size_t width = 0;
    auto const services = ::Opax::Catalog::ServiceCatalog::Instance().services();
    std::vector<::Opax::Catalog::ServiceEntry const*> shown;
    for (auto const* service : services) {
      if (std::string(service->id).find(*filter) == std::string::npos) continue;
      shown.push_back(service);
      width = std::max(width, std::string(service->id).size());
    }
    for (auto const* service : shown) {
      std::string const id = service->id;
      std::cout << id << std::string(width - id.size() + 2, ' ') << service->operationCount << "\n";
    }
    context.exitCode = kExitOk;
  });
}

}  // namespace Cli
