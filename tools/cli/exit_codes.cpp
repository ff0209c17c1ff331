#include "exit_codes.h"

namespace Cli {

char const* ExitCodesHelp() {
  return "Exit codes:\n"
         "  0  success\n"
         "  1  the operation answered with an error\n"
         "  2  usage error: bad arguments, unknown service or operation, input that does not fit\n"
         "  3  the server could not be reached (connection refused or lost, TLS not verified)\n"
         "  4  the server did not answer in time\n"
         "  5  not authenticated: no session or an expired one (run `nexar login`)\n";
}

}  // namespace Cli
