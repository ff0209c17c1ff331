#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Opax {
namespace Json {
namespace internal {

// Standard base64 with padding (RFC 4648, section 4), as binary values travel in JSON.
void AppendBase64(std::vector<unsigned char> const& bytes, std::string& out);

// Strict: the length is a multiple of four, only the alphabet before one or two closing '='.
bool DecodeBase64(std::string_view text, std::vector<unsigned char>& out);

}  // namespace internal
}  // namespace Json
}  // namespace Opax
