#pragma once

#include <opax/core/base/secret_string.h>

#include <memory>
#include <string>

namespace Opax {
namespace Rpc {

// Decides whether a user name and password are good. A server asks it once per session created;
// implementations may be slow on purpose (password hashing) and are called from I/O threads.
class Authenticator {
 public:
  virtual ~Authenticator() = default;
  virtual bool Verify(std::string const& user, SecretString const& password) const = 0;
};

}  // namespace Rpc
}  // namespace Opax
