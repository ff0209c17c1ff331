#include "commands/command_context.h"
#include "invoke/follow.h"
#include "invoke/invoke.h"
#include "invoke/report_error.h"

#include <boost/json.hpp>

#include <iostream>

namespace Cli {
namespace {

constexpr char kTasksService[] = "com.quarn.cis.tasks";

// Calls an operation of the task service with `input` (JSON) and prints what it answers.
int CallTaskService(char const* operation, std::string const& input, CommandContext const& context) {
  auto const* definitions = Operations().Find(std::string(kTasksService) + "/" + operation);
  std::shared_ptr<::Opax::Data::DataValue const> value;
  std::list<::Opax::BaseMessage> messages;
  if (!definitions || !DecodeInput(input, *definitions, value, messages)) {
    for (auto const& message : messages) std::cerr << "nexar: " << message.defaultMessage() << "\n";
    return kExitUsage;
  }
  auto connection = Connection::Open(context.connection, std::cerr);
  if (!connection) return kExitUnreachable;
  auto const result = InvokeAndWait(connection->client(), *definitions, value, connection->timeout());
  if (!result->success()) return ReportError(std::cerr, *result);
  PrintValue(std::cout, result->output(), definitions->output.get(), context.output);
  return kExitOk;
}

int WaitForTask(std::string const& id, CommandContext const& context) {
  auto connection = Connection::Open(context.connection, std::cerr);
  if (!connection) return kExitUnreachable;
  // The operation's result definition comes from the catalogue, by the operation the task names.
  auto const result = FollowWithProgress(connection->client(), id, nullptr);
  if (!result->success()) return ReportError(std::cerr, *result);
  PrintValue(std::cout, result->output(), nullptr, context.output);
  return kExitOk;
}

std::string TaskInput(std::string const& id) {
  return boost::json::serialize(boost::json::object{{"task", id}});
}

}  // namespace

void AddTaskCommand(CLI::App& app, CommandContext& context) {
  auto* task = app.add_subcommand("task", "Read the tasks that task calls started");
  task->require_subcommand(1);
  auto id = std::make_shared<std::string>();
  auto* get = task->add_subcommand("get", "Show a task: state, progress, result or error");
  get->add_option("id", *id, "Task id")->required();
  get->callback([id, &context] { context.exitCode = CallTaskService("get", TaskInput(*id), context); });
  auto* wait =
      task->add_subcommand("wait", "Wait for a task to end, showing its progress, and print its result");
  wait->add_option("id", *id, "Task id")->required();
  wait->callback([id, &context] { context.exitCode = WaitForTask(*id, context); });
  auto* list = task->add_subcommand("list", "List the tasks the server still holds");
  list->callback([&context] { context.exitCode = CallTaskService("list", "{}", context); });
}

}  // namespace Cli
