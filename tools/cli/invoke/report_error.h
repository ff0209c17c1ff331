#pragma once

#include "exit_codes.h"

#include <opax/core/invocation/method_result.h>

#include <ostream>

namespace Cli {

// Writes the error of a failed result (its name and messages, as the server worded them in the
// user's language) and answers the exit code that tells what kind of failure it was.
ExitCode ReportError(std::ostream& err, ::Opax::Core::MethodResult const& result);

// The exit code for an error value: the transport's own failures apart from the operation's.
ExitCode ExitCodeOf(::Opax::Data::ErrorValue const& error);

}  // namespace Cli
