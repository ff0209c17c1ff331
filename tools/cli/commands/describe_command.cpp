#include "commands/command_context.h"
#include "commands/operation_lookup.h"
#include "render/definition_tree.h"
#include "render/example_input.h"

#include <iostream>

namespace Cli {
namespace {

void DescribeService(::Opax::Catalog::ServiceEntry const& service) {
  std::cout << service.id << " (" << service.operationCount << " operations)\n";
  for (std::size_t i = 0; i < service.operationCount; ++i) {
    auto const& operation = *service.operations[i];
    std::cout << "  " << operation.name;
    if (operation.task && operation.plain) std::cout << "  (also as a task: " << operation.name << "$task)";
    if (operation.task && !operation.plain) std::cout << "$task  (task only)";
    std::cout << "\n";
  }
}

void DescribeOperation(OperationChoice const& choice) {
  auto const& entry = *choice.entry;
  std::cout << choice.service->id << " " << choice.definitions->operation << "\n";
  if (entry.task) {
    std::cout << (entry.plain ? "  also runs as a task: call it with --task or as "
                              : "  runs as a task only: ")
              << entry.name << "$task\n";
  }
  std::cout << "\n";
  auto const& input = choice.definitions->input;
  WriteDefinitionTree(std::cout, "input", *input);
  WriteDefinitionTree(std::cout, "result", *entry.outputDef());
  std::cout << "errors:\n";
  for (auto const& error : entry.errorDefs()) {
    auto const* structure = dynamic_cast<::Opax::Data::StructDefinition const*>(error.get());
    std::cout << "  " << (structure ? structure->name() : ::Opax::Data::DefinitionTypeName(error->type()))
              << "\n";
  }
  std::cout << "\nexample input:\n  " << ExampleInput(*input) << "\n";
}

}  // namespace

void AddDescribeCommand(CLI::App& app, CommandContext& context) {
  auto* command = app.add_subcommand("describe",
                                     "Show a service's operations, or an operation's parameters, result, "
                                     "errors and an example input");
  auto service = std::make_shared<std::string>();
  auto operation = std::make_shared<std::string>();
  command->add_option("service", *service, "Service id")->required();
  command->add_option("operation", *operation, "Operation name");
  command->callback([service, operation, &context] {
    if (operation->empty()) {
      auto const* entry = ::Opax::Catalog::ServiceCatalog::Instance().Find(*service);
      if (!entry) {
        std::cerr << "nexar: no service is called '" << *service << "' (see: nexar services)\n";
        context.exitCode = kExitUsage;
        return;
      }
      DescribeService(*entry);
      context.exitCode = kExitOk;
      return;
    }
    OperationChoice choice;
    if (!FindOperation(*service, *operation, false, choice, std::cerr)) {
      context.exitCode = kExitUsage;
      return;
    }
    DescribeOperation(choice);
    context.exitCode = kExitOk;
  });
}

}  // namespace Cli
