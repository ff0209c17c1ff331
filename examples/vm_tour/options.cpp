#include "options.h"

#include <CLI/CLI.hpp>

#include <fstream>
#include <iostream>

namespace VmTour {
namespace {

// The first line of the file, without its line end: editors and `echo` add one.
bool ReadPassword(std::string const& path, ::Opax::SecretString& password) {
  std::ifstream file(path);
  if (!file) return false;
  std::string line;
  std::getline(file, line);
  if (!line.empty() && line.back() == '\r') line.pop_back();
  // SecretString takes the text over and wipes the copy it was given.
  password = ::Opax::SecretString(std::move(line));
  return !password.empty();
}

}  // namespace

bool ParseOptions(int argc, char** argv, TourOptions& options, int& exitCode) {
  CLI::App app{
      "vm_tour: a tour of the Nexar bindings against a management server over HTTPS.\n"
      "Logs in, lists machines, creates one with a network adapter and a CD-ROM, powers it on,\n"
      "clones it as a task and shows how the server refuses an invalid request."};
  std::string passwordFile;
  app.add_option("--server", options.serverUrl, "URL of the server, e.g. https://127.0.0.1:8443")->required();
  app.add_option("--ca-file", options.caFile, "PEM file of the certificates that the server's must chain to")
      ->check(CLI::ExistingFile);
  app.add_option("--user", options.user, "User name to log in with")->required();
  app.add_option("--password-file", passwordFile, "File whose first line is the password")
      ->required()
      ->check(CLI::ExistingFile);
  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    // CLI11 prints the help or the mistake; its own codes are folded into the two we document.
    exitCode = app.exit(error) == 0 ? 0 : 2;
    return false;
  }
  if (!ReadPassword(passwordFile, options.password)) {
    std::cerr << "vm_tour: no password in " << passwordFile << "\n";
    exitCode = 2;
    return false;
  }
  return true;
}

}  // namespace VmTour
