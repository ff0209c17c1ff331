#pragma once

#include "exit_codes.h"
#include "render/print_value.h"
#include "session/connection.h"

#include <CLI/CLI.hpp>

namespace Cli {

// What every command shares: the options given before or after it, and the exit code its
// callback leaves for main to return.
struct CommandContext {
  ConnectionOptions connection;
  OutputFormat output = OutputFormat::Json;
  int exitCode = kExitOk;
};

void AddServicesCommand(CLI::App& app, CommandContext& context);
void AddDescribeCommand(CLI::App& app, CommandContext& context);
void AddCallCommand(CLI::App& app, CommandContext& context);
void AddLoginCommands(CLI::App& app, CommandContext& context);
void AddTaskCommand(CLI::App& app, CommandContext& context);
void AddCompletionCommands(CLI::App& app, CommandContext& context);

}  // namespace Cli
