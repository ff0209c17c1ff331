#pragma once

// Random bytes and their text forms, shared by session tokens and users files. Everything here is
// OpenSSL underneath; these only fix the alphabets and refuse text that is not strictly canonical.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Opax {
namespace Rpc {
namespace Auth {

// `size` bytes from OpenSSL's random generator; false when it could not supply them.
bool RandomBytes(unsigned char* out, std::size_t size);

// Standard padded base64 (users files), and the URL-safe form without padding (tokens and ids,
// which travel in headers and may be pasted into URLs).
std::string Base64(unsigned char const* data, std::size_t size);
std::string Base64Url(unsigned char const* data, std::size_t size);

// Decodes padded standard base64; false for any other character, a length that is not a multiple
// of four, or padding anywhere but at the end.
bool DecodeBase64(std::string_view text, std::vector<unsigned char>& out);

}  // namespace Auth
}  // namespace Rpc
}  // namespace Opax
