#include "session/password_prompt.h"

#include <termios.h>
#include <unistd.h>
#include <iostream>

namespace Cli {

bool ReadPassword(bool fromStdin, ::Opax::SecretString& password) {
  std::string line;
  if (fromStdin) {
    if (!std::getline(std::cin, line)) return false;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    password = ::Opax::SecretString(std::move(line));
    return true;
  }
  if (::isatty(STDIN_FILENO) != 1) return false;
  termios saved{};
  if (::tcgetattr(STDIN_FILENO, &saved) != 0) return false;
  termios quiet = saved;
  quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  // Echo goes off before the prompt shows, so that nothing typed after it is echoed or dropped.
  if (::tcsetattr(STDIN_FILENO, TCSANOW, &quiet) != 0) return false;
  std::cerr << "Password: " << std::flush;
  bool const read = static_cast<bool>(std::getline(std::cin, line));
  ::tcsetattr(STDIN_FILENO, TCSANOW, &saved);
  std::cerr << "\n";
  password = ::Opax::SecretString(std::move(line));
  return read;
}

}  // namespace Cli
