#include "commands/command_context.h"
#include "commands/operation_lookup.h"
#include "invoke/follow.h"
#include "invoke/input_text.h"
#include "invoke/invoke.h"
#include "invoke/report_error.h"

#include <iostream>

namespace Cli {
namespace {

struct CallArguments {
  std::string service;
  std::string operation;
  std::string input;
  bool task = false;
  bool noWait = false;
};

int RunCall(CallArguments const& arguments, CommandContext const& context) {
  OperationChoice choice;
  if (!FindOperation(arguments.service, arguments.operation, arguments.task, choice, std::cerr))
    return kExitUsage;
  std::string text;
  if (!ReadInputText(arguments.input, text, std::cerr)) return kExitUsage;
  std::shared_ptr<::Opax::Data::DataValue const> input;
  std::list<::Opax::BaseMessage> messages;
  // Refused here, before any connection: a mistake in the input never reaches the server.
  if (!DecodeInput(text, *choice.definitions, input, messages)) {
    std::cerr << "nexar: the input does not fit " << choice.definitions->operation << ":\n";
    for (auto const& message : messages) std::cerr << "  " << message.defaultMessage() << "\n";
    return kExitUsage;
  }
  auto connection = Connection::Open(context.connection, std::cerr);
  if (!connection) return kExitUnreachable;
  auto result = InvokeAndWait(connection->client(), *choice.definitions, input, connection->timeout());
  if (!result->success()) return ReportError(std::cerr, *result);
  if (choice.task) {
    std::string taskId;
    if (!::Opax::Data::DataValue::Value(result->output(), taskId, messages)) {
      std::cerr << "nexar: the server answered the task call without a task id\n";
      return kExitOperationError;
    }
    if (arguments.noWait) {
      std::cout << taskId << "\n";
      return kExitOk;
    }
    result = FollowWithProgress(connection->client(), taskId, choice.entry->outputDef());
    if (!result->success()) return ReportError(std::cerr, *result);
  }
  auto const output = choice.entry->outputDef();
  PrintValue(std::cout, result->output(), output.get(), context.output);
  return kExitOk;
}

}  // namespace

void AddCallCommand(CLI::App& app, CommandContext& context) {
  auto* command = app.add_subcommand("call", "Call an operation and print its result");
  auto arguments = std::make_shared<CallArguments>();
  command->add_option("service", arguments->service, "Service id")->required();
  command->add_option("operation", arguments->operation, "Operation name (op$task for the task form)")
      ->required();
  command->add_option("input", arguments->input,
                      "Input: JSON text, @FILE, or - for standard input (default {})");
  command->add_flag("--task", arguments->task, "Use the task form of an operation that has both");
  command->add_flag("--no-wait", arguments->noWait, "For a task: print the task id and return at once");
  command->callback([arguments, &context] { context.exitCode = RunCall(*arguments, context); });
}

}  // namespace Cli
