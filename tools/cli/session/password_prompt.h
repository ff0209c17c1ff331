#pragma once

#include <opax/core/base/secret_string.h>

#include <string>

namespace Cli {

// Reads a password: from a prompt with echo off when standard input is a terminal, or as the
// first line of standard input when `fromStdin`. False when neither is possible.
bool ReadPassword(bool fromStdin, ::Opax::SecretString& password);

}  // namespace Cli
