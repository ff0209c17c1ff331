#pragma once

#include <ostream>
#include <string>

namespace Cli {

// The input argument of `call`: JSON as it stands, "@FILE" for a file's content, "-" for
// standard input, nothing for "{}". False with the reason written to `err` when it cannot be read.
bool ReadInputText(std::string const& argument, std::string& text, std::ostream& err);

}  // namespace Cli
