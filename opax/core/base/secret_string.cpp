#include <opax/core/base/secret_string.h>

#include <ostream>

namespace Opax {

SecretString& SecretString::operator=(SecretString const& other) {
  if (this != &other) {
    Wipe();
    value_ = other.value_;
  }
  return *this;
}

SecretString& SecretString::operator=(SecretString&& other) noexcept {
  if (this != &other) {
    Wipe();
    value_ = std::move(other.value_);
    other.Wipe();
  }
  return *this;
}

void SecretString::WipeString(std::string& text) noexcept {
  // The whole capacity, not just the size: a moved-from short string has size 0 but keeps the
  // secret in its inline buffer. Growing to the capacity never reallocates, so it cannot throw,
  // and it makes every byte ours to overwrite. Volatile stores so that the compiler cannot drop
  // the wipe of storage about to be freed.
  text.resize(text.capacity());
  volatile char* bytes = text.data();
  for (std::size_t i = 0; i < text.size(); ++i) bytes[i] = 0;
  text.clear();
}

std::ostream& operator<<(std::ostream& out, SecretString const&) { return out << SecretString::kMask; }

}  // namespace Opax
