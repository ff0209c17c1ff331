#include "commands/command_context.h"
#include "invoke/invoke.h"
#include "invoke/report_error.h"
#include "session/password_prompt.h"
#include "session/session_file.h"

#include <opax/core/data/compound_value.h>
#include <opax/rpc/auth/session_service.h>

#include <cstdlib>
#include <iostream>

namespace Cli {
namespace {

struct LoginArguments {
  std::string user;
  bool passwordStdin = false;
};

::Opax::Rpc::OperationDefinitions const& SessionOperation(char const* name) {
  return *Operations().Find(std::string(::Opax::Rpc::kSessionServiceId) + "/" + name);
}

// An empty input structure of `operation`, under the name its definition gives it.
std::shared_ptr<::Opax::Data::StructValue> EmptyInput(::Opax::Rpc::OperationDefinitions const& operation) {
  auto const& structure = static_cast<::Opax::Data::StructDefinition const&>(*operation.input);
  return ::Opax::Data::StructValue::GetInstance(structure.name());
}

int RunLogin(LoginArguments const& arguments, CommandContext const& context) {
  if (NamedServer(context.connection).empty()) {
    std::cout << "Nothing to do: without --server (or NEXAR_SERVER) nexar calls its embedded simulator, "
                 "which needs no "
                 "login.\n";
    return kExitOk;
  }
  std::string user = arguments.user;
  if (user.empty()) {
    char const* fromEnvironment = std::getenv("USER");
    user = fromEnvironment ? fromEnvironment : "";
  }
  ::Opax::SecretString password;
  if (!ReadPassword(arguments.passwordStdin, password)) {
    std::cerr << "nexar: no password: give it on a terminal, or with --password-stdin\n";
    return kExitUsage;
  }
  auto const& create = SessionOperation(::Opax::Rpc::kSessionCreate);
  auto input = EmptyInput(create);
  input->SetField("user_name", ::Opax::Data::DataValue::Create(user));
  input->SetField("password", ::Opax::Data::DataValue::Create(password));
  auto connection = Connection::Open(context.connection, std::cerr);
  if (!connection) return kExitUnreachable;
  auto const result = InvokeAndWait(connection->client(), create, input, connection->timeout());
  if (!result->success()) return ReportError(std::cerr, *result);
  SavedSession session{connection->url(), {}};
  std::list<::Opax::BaseMessage> messages;
  if (!::Opax::Data::DataValue::Value(result->output(), session.token, messages)) {
    std::cerr << "nexar: the server answered without a session\n";
    return kExitOperationError;
  }
  std::string error;
  if (!SaveSession(session, error)) {
    std::cerr << "nexar: " << error << "\n";
    return kExitUsage;
  }
  std::cout << "Logged in to " << session.server << " as " << user << ".\n";
  return kExitOk;
}

int RunLogout(CommandContext const& context) {
  if (NamedServer(context.connection).empty()) {
    std::cout << "Nothing to do: without --server (or NEXAR_SERVER) nexar calls its embedded simulator, "
                 "which needs no "
                 "login.\n";
    return kExitOk;
  }
  auto saved = LoadSession();
  if (!saved) {
    std::cout << "Nothing to do: no session is kept.\n";
    return kExitOk;
  }
  // The session is ended on the server it belongs to, whichever server this call names.
  ConnectionOptions options = context.connection;
  options.server = saved->server;
  auto connection = Connection::Open(options, std::cerr);
  int code = kExitOk;
  if (connection) {
    auto const& remove = SessionOperation("delete");
    auto const result =
        InvokeAndWait(connection->client(), remove, EmptyInput(remove), connection->timeout());
    // A session the server already forgot is as good as deleted.
    if (!result->success() && ExitCodeOf(*result->error()) != kExitUnauthenticated)
      code = ReportError(std::cerr, *result);
  } else {
    code = kExitUnreachable;
  }
  RemoveSession();
  std::cout << "Logged out of " << saved->server << ".\n";
  return code;
}

}  // namespace

void AddLoginCommands(CLI::App& app, CommandContext& context) {
  auto* login = app.add_subcommand("login", "Log in to --server and keep the session for later calls");
  auto arguments = std::make_shared<LoginArguments>();
  login->add_option("--user", arguments->user, "User name (default: $USER)");
  login->add_flag("--password-stdin", arguments->passwordStdin, "Read the password from standard input");
  login->callback([arguments, &context] { context.exitCode = RunLogin(*arguments, context); });
  auto* logout = app.add_subcommand("logout", "End the kept session on its server and forget it");
  logout->callback([&context] { context.exitCode = RunLogout(context); });
}

}  // namespace Cli
