#include <opax/json/internal/base64.h>

#include <boost/beast/core/detail/base64.hpp>

namespace Opax {
namespace Json {
namespace internal {

namespace Base64 = boost::beast::detail::base64;

void AppendBase64(std::vector<unsigned char> const& bytes, std::string& out) {
  std::size_t const start = out.size();
  out.resize(start + Base64::encoded_size(bytes.size()));
  std::size_t const written = Base64::encode(&out[start], bytes.data(), bytes.size());
  out.resize(start + written);
}

bool DecodeBase64(std::string_view text, std::vector<unsigned char>& out) {
  if (text.size() % 4 != 0) return false;
  std::size_t padding = 0;
  while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') ++padding;
  std::size_t const body = text.size() - padding;
  // Beast's decoder stops at the first character outside the alphabet; anything it did not read
  // before the padding is therefore a fault.
  out.resize(Base64::decoded_size(text.size()));
  auto const [written, read] = Base64::decode(out.data(), text.data(), body);
  if (read != body) return false;
  out.resize(written);
  return true;
}

}  // namespace internal
}  // namespace Json
}  // namespace Opax
