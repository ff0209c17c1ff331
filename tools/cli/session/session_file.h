#pragma once

#include <opax/core/base/secret_string.h>

#include <optional>
#include <string>

namespace Cli {

struct SavedSession {
  std::string server;
  ::Opax::SecretString token;
};

// $XDG_CONFIG_HOME/nexar/session, or ~/.config/nexar/session.
std::string SessionFilePath();

// The kept session, or nothing when there is none or it cannot be read.
std::optional<SavedSession> LoadSession();
// Keeps the session readable by its owner alone (file 0600 in a directory 0700), written whole
// or not at all. False with `error` when it cannot be written.
bool SaveSession(SavedSession const& session, std::string& error);
// True when there was a file and it is gone.
bool RemoveSession();

}  // namespace Cli
