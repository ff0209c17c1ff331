#include <opax/core/base/secret_string.h>

#include <gtest/gtest.h>

#include <new>
#include <sstream>
#include <string>
#include <utility>

namespace Opax {
namespace {

// Short secrets live inside the object (small-string storage), so the object's own bytes show
// whether a move or a destruction left the secret behind. Any four bytes of it in a row count,
// since clearing a string typically zeroes only its first byte.
bool LeavesTrace(void const* object, std::size_t size, std::string const& secret) {
  std::string const bytes(static_cast<char const*>(object), size);
  for (std::size_t i = 0; i + 4 <= secret.size(); ++i) {
    if (bytes.find(secret.substr(i, 4)) != std::string::npos) return true;
  }
  return false;
}

TEST(SecretString, MoveLeavesNothingInTheSource) {
  SecretString source("hunter2");
  SecretString const moved(std::move(source));
  EXPECT_EQ(moved.reveal(), "hunter2");
  EXPECT_TRUE(source.empty());  // NOLINT(bugprone-use-after-move): the state after a move is the contract
  EXPECT_FALSE(LeavesTrace(&source, sizeof source, "hunter2"));

  SecretString target("an older and much longer secret value");
  SecretString other("swordfish");
  target = std::move(other);
  EXPECT_EQ(target.reveal(), "swordfish");
  EXPECT_TRUE(other.empty());  // NOLINT(bugprone-use-after-move)
  EXPECT_FALSE(LeavesTrace(&other, sizeof other, "swordfish"));
}

TEST(SecretString, DestructionWipesTheStorage) {
  alignas(SecretString) unsigned char storage[sizeof(SecretString)];
  auto* secret = new (storage) SecretString("hunter2");
  secret->~SecretString();
  EXPECT_FALSE(LeavesTrace(storage, sizeof storage, "hunter2"));
}

TEST(SecretString, CopiesKeepTheValueAndStreamsShowOnlyTheMask) {
  SecretString const original("hunter2");
  SecretString copy;
  copy = original;
  EXPECT_EQ(copy, original);
  EXPECT_EQ(original.reveal(), "hunter2");

  std::ostringstream out;
  out << original << ' ' << SecretString();
  EXPECT_EQ(out.str(), "******** ********");
}

}  // namespace
}  // namespace Opax
