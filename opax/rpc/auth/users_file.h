#pragma once

#include <opax/core/base/secret_string.h>
#include <opax/core/message/base_message.h>
#include <opax/rpc/auth/authenticator.h>

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Opax {
namespace Rpc {

// The password hash of a users file: PBKDF2-HMAC-SHA256 with a random salt. The scheme and the
// iteration count are written in every line, so that the count can be raised for new lines while
// old ones still verify.
struct PasswordHashPolicy {
  static constexpr char const* kScheme = "pbkdf2-sha256";
  static constexpr uint32_t kDefaultIterations = 600000;
  // A file may not ask for less (a hash that is cheap to guess) or more (a login that ties up a
  // thread for a minute).
  static constexpr uint32_t kMinIterations = 1000;
  static constexpr uint32_t kMaxIterations = 10000000;
  static constexpr std::size_t kSaltBytes = 16;
  static constexpr std::size_t kHashBytes = 32;
};

// The users-file line (without its newline) for `user` and `password`:
// "user:pbkdf2-sha256:<iterations>:<salt base64>:<hash base64>". Empty when the name cannot be
// stored (empty, starting with '#', or holding ':', white space or a control character), the
// count is outside the policy's range, or the random source fails.
std::string MakeUsersLine(std::string const& user, SecretString const& password,
                          uint32_t iterations = PasswordHashPolicy::kDefaultIterations);

// An Authenticator over a users file: one user per line as MakeUsersLine writes it; blank lines
// and lines whose first non-blank character is '#' are skipped.
//
// A user it does not know costs as much as one it knows: the password is hashed against a
// made-up entry with the iteration count most lines use, so the time of a refusal does not tell
// whether the name exists. Hashes are compared in constant time.
class UsersFileAuthenticator : public Authenticator {
 public:
  struct Entry {
    uint32_t iterations = 0;
    std::vector<unsigned char> salt;
    std::vector<unsigned char> hash;
  };

  // Reads the file at `path`. Null when it cannot be read or any line is malformed, with one
  // message per fault in `messages`, each naming the line by number only: lines hold hashes.
  static std::shared_ptr<UsersFileAuthenticator const> Load(std::string const& path,
                                                            std::list<BaseMessage>& messages);
  // The same for text already read.
  static std::shared_ptr<UsersFileAuthenticator const> Parse(std::string_view text,
                                                             std::list<BaseMessage>& messages);

  explicit UsersFileAuthenticator(std::map<std::string, Entry> users);

  bool Verify(std::string const& user, SecretString const& password) const override;
  std::size_t size() const { return users_.size(); }

 private:
  std::map<std::string, Entry> const users_;
  Entry decoy_;
};

}  // namespace Rpc
}  // namespace Opax
