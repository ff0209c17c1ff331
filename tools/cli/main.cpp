// nexar: calls any operation of the catalogue by hand and shows what comes back.

#include "commands/command_context.h"
#include "exit_codes.h"

#include <CLI/CLI.hpp>

#include <map>

int main(int argc, char** argv) {
  CLI::App app{
      "nexar: call any operation of the management services by hand.\n"
      "Without --server (or NEXAR_SERVER) it calls a simulator started in the same process."};
  Cli::CommandContext context;
  app.fallthrough();
  app.require_subcommand(1);
  app.add_option("--server", context.connection.server,
                 "Server URL, http(s)://host:port (default: $NEXAR_SERVER, "
                 "else an embedded simulator)");
  app.add_option("--ca-file", context.connection.caFile, "PEM file of the certificates to trust for HTTPS")
      ->check(CLI::ExistingFile);
  app.add_flag("--insecure", context.connection.insecure, "Do not verify the server's TLS certificate");
  app.add_option("--timeout", context.connection.timeoutSeconds, "Seconds to wait for each reply")
      ->capture_default_str()
      ->check(CLI::Range(1, 86400));
  std::map<std::string, Cli::OutputFormat> const formats{{"json", Cli::OutputFormat::Json},
                                                         {"table", Cli::OutputFormat::Table}};
  app.add_option("--output,-o", context.output, "Result as json, or as a table for a list of structures")
      ->transform(CLI::CheckedTransformer(formats, CLI::ignore_case));
  app.footer(Cli::ExitCodesHelp());

  Cli::AddServicesCommand(app, context);
  Cli::AddDescribeCommand(app, context);
  Cli::AddCallCommand(app, context);
  Cli::AddLoginCommands(app, context);
  Cli::AddTaskCommand(app, context);
  Cli::AddCompletionCommands(app, context);

  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    int const code = app.exit(error);
    return code == 0 ? Cli::kExitOk : Cli::kExitUsage;
  }
  return context.exitCode;
}
