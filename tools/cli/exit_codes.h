#pragma once

// What `nexar` exits with: a script tells a mistake of its own from a refusal of the server and
// from a server it could not talk to, and retries only the last.

namespace Cli {

enum ExitCode : int {
  kExitOk = 0,
  kExitOperationError = 1,   // the operation answered with an error
  kExitUsage = 2,            // bad arguments, unknown service or operation, input that does not fit
  kExitUnreachable = 3,      // no connection, TLS refused, connection lost
  kExitTimedOut = 4,         // no reply in time
  kExitUnauthenticated = 5,  // no session, or the session expired: run `nexar login`
};

// The table printed at the end of --help.
char const* ExitCodesHelp();

}  // namespace Cli
