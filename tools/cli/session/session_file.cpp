#include "session/session_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace Cli {
namespace {

std::string ConfigDirectory() {
  char const* xdg = std::getenv("XDG_CONFIG_HOME");
  if (xdg && *xdg) return std::string(xdg) + "/nexar";
  char const* home = std::getenv("HOME");
  return std::string(home && *home ? home : ".") + "/.config/nexar";
}

// mkdir -p, with the last directory made (or narrowed to) 0700.
bool MakePrivateDirectory(std::string const& path, std::string& error) {
  for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    std::string const part = path.substr(0, slash);
    if (::mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) {
      error = "cannot create " + part + ": " + std::strerror(errno);
      return false;
    }
    if (slash == std::string::npos) break;
  }
  if (::chmod(path.c_str(), 0700) != 0) {
    error = "cannot restrict " + path + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

}  // namespace

std::string SessionFilePath() { return ConfigDirectory() + "/session"; }

std::optional<SavedSession> LoadSession() {
  std::ifstream in(SessionFilePath());
  SavedSession session;
  std::string token;
  if (!std::getline(in, session.server) || !std::getline(in, token) || session.server.empty() ||
      token.empty()) {
    return std::nullopt;
  }
  session.token = ::Opax::SecretString(std::move(token));
  return session;
}

bool SaveSession(SavedSession const& session, std::string& error) {
  std::string const directory = ConfigDirectory();
  if (!MakePrivateDirectory(directory, error)) return false;
  std::string const path = SessionFilePath();
  std::string const temporary = path + ".new";
  int const fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) {
    error = "cannot write " + temporary + ": " + std::strerror(errno);
    return false;
  }
  // Held as a secret, so that the token's copy is wiped once written.
  ::Opax::SecretString const text(session.server + "\n" + session.token.reveal() + "\n");
  std::string const& bytes = text.reveal();
  bool ok = ::fchmod(fd, 0600) == 0 &&
            ::write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  ok = ::close(fd) == 0 && ok;
  if (!ok || ::rename(temporary.c_str(), path.c_str()) != 0) {
    error = "cannot write " + path + ": " + std::strerror(errno);
    ::unlink(temporary.c_str());
    return false;
  }
  return true;
}

bool RemoveSession() { return ::unlink(SessionFilePath().c_str()) == 0; }

}  // namespace Cli
