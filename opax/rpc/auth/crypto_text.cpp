#include <opax/rpc/auth/crypto_text.h>

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <climits>

namespace Opax {
namespace Rpc {
namespace Auth {

bool RandomBytes(unsigned char* out, std::size_t size) {
  // RAND_bytes takes an int; callers ask for a few dozen bytes.
  return size <= static_cast<std::size_t>(INT_MAX) && RAND_bytes(out, static_cast<int>(size)) == 1;
}

std::string Base64(unsigned char const* data, std::size_t size) {
  if (size > static_cast<std::size_t>(INT_MAX / 4 * 3)) return std::string();
  std::string out(4 * ((size + 2) / 3) + 1, '\0');
  int const written =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&out[0]), data, static_cast<int>(size));
  out.resize(static_cast<std::size_t>(written < 0 ? 0 : written));
  return out;
}

std::string Base64Url(unsigned char const* data, std::size_t size) {
  std::string out = Base64(data, size);
  while (!out.empty() && out.back() == '=') out.pop_back();
  for (char& c : out) {
    if (c == '+') c = '-';
    if (c == '/') c = '_';
  }
  return out;
}

namespace {

bool IsBase64Char(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

}  // namespace

bool DecodeBase64(std::string_view text, std::vector<unsigned char>& out) {
  // EVP_DecodeBlock skips white space and reports padding as zero bytes, so the text is checked
  // here and the padding taken off its result.
  if (text.empty() || text.size() % 4 != 0 || text.size() > static_cast<std::size_t>(INT_MAX)) return false;
  std::size_t padding = 0;
  if (text.back() == '=') padding = text[text.size() - 2] == '=' ? 2 : 1;
  for (std::size_t i = 0; i < text.size() - padding; ++i) {
    if (!IsBase64Char(text[i])) return false;
  }
  std::vector<unsigned char> decoded(text.size() / 4 * 3);
  int const size = EVP_DecodeBlock(decoded.data(), reinterpret_cast<unsigned char const*>(text.data()),
                                   static_cast<int>(text.size()));
  if (size < 0 || static_cast<std::size_t>(size) != decoded.size()) return false;
  decoded.resize(decoded.size() - padding);
  out.swap(decoded);
  return true;
}

}  // namespace Auth
}  // namespace Rpc
}  // namespace Opax
