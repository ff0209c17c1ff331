#pragma once

// What the tour is told on its command line. The password comes from a file, never from the
// command line, where any user of the machine could read it in the process list.

#include <opax/core/base/secret_string.h>

#include <string>

namespace VmTour {

struct TourOptions {
  std::string serverUrl;  // https://host:port
  std::string caFile;     // PEM certificates that the server's certificate must chain to
  std::string user;
  ::Opax::SecretString password;
};

// Fills `options` from the command line and the password file. On a bad command line or an
// unreadable password file, prints why (or the help) and returns false with the exit code to end
// with in `exitCode` (0 after --help).
bool ParseOptions(int argc, char** argv, TourOptions& options, int& exitCode);

}  // namespace VmTour
