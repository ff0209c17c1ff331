#include <opax/rpc/auth/users_file.h>

#include <opax/core/message/message_ids.h>
#include <opax/rpc/auth/crypto_text.h>

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <array>
#include <filesystem>
#include <fstream>

namespace Opax {
namespace Rpc {
namespace {

using Policy = PasswordHashPolicy;
constexpr std::size_t kMaxSaltBytes = 64;

// Printable and not white space; bytes of UTF-8 sequences pass, so names need not be ASCII.
bool IsUserName(std::string_view name) {
  if (name.empty() || name.front() == '#') return false;
  for (char c : name) {
    auto const byte = static_cast<unsigned char>(c);
    if (byte <= 0x20 || byte == 0x7f || c == ':') return false;
  }
  return true;
}

bool ParseIterations(std::string_view text, uint32_t& out) {
  // Nine digits hold every count up to the maximum and cannot overflow.
  if (text.empty() || text.size() > 9) return false;
  uint32_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + static_cast<uint32_t>(c - '0');
  }
  if (value < Policy::kMinIterations || value > Policy::kMaxIterations) return false;
  out = value;
  return true;
}

bool Derive(SecretString const& password, unsigned char const* salt, std::size_t saltSize,
            uint32_t iterations, std::array<unsigned char, Policy::kHashBytes>& out) {
  std::string const& text = password.reveal();
  return PKCS5_PBKDF2_HMAC(text.data(), static_cast<int>(text.size()), salt, static_cast<int>(saltSize),
                           static_cast<int>(iterations), EVP_sha256(), static_cast<int>(out.size()),
                           out.data()) == 1;
}

std::vector<std::string_view> SplitFields(std::string_view line) {
  std::vector<std::string_view> fields;
  std::size_t start = 0;
  for (;;) {
    std::size_t const colon = line.find(':', start);
    fields.push_back(
        line.substr(start, colon == std::string_view::npos ? std::string_view::npos : colon - start));
    if (colon == std::string_view::npos) return fields;
    start = colon + 1;
  }
}

BaseMessage LineFault(char const* id, std::size_t line, std::vector<std::string> more = {}) {
  more.insert(more.begin(), std::to_string(line));
  return BaseMessage::Make(id, std::move(more));
}

// One line that is not blank or a comment; appends a message and returns false when it is malformed.
bool ParseLine(std::string_view line, std::size_t number, std::string& user,
               UsersFileAuthenticator::Entry& entry, std::list<BaseMessage>& messages) {
  std::vector<std::string_view> const fields = SplitFields(line);
  if (fields.size() != 5) {
    messages.push_back(LineFault(MessageIds::kUsersLineFields, number));
    return false;
  }
  if (!IsUserName(fields[0])) {
    messages.push_back(LineFault(MessageIds::kUsersLineUser, number));
    return false;
  }
  if (fields[1] != Policy::kScheme) {
    messages.push_back(LineFault(MessageIds::kUsersLineScheme, number, {Policy::kScheme}));
    return false;
  }
  if (!ParseIterations(fields[2], entry.iterations)) {
    messages.push_back(
        LineFault(MessageIds::kUsersLineIterations, number,
                  {std::to_string(Policy::kMinIterations), std::to_string(Policy::kMaxIterations)}));
    return false;
  }
  if (!Auth::DecodeBase64(fields[3], entry.salt) || entry.salt.size() < Policy::kSaltBytes ||
      entry.salt.size() > kMaxSaltBytes) {
    messages.push_back(LineFault(MessageIds::kUsersLineSalt, number,
                                 {std::to_string(Policy::kSaltBytes), std::to_string(kMaxSaltBytes)}));
    return false;
  }
  if (!Auth::DecodeBase64(fields[4], entry.hash) || entry.hash.size() != Policy::kHashBytes) {
    messages.push_back(LineFault(MessageIds::kUsersLineHash, number, {std::to_string(Policy::kHashBytes)}));
    return false;
  }
  user.assign(fields[0]);
  return true;
}

// The count that most entries use (the larger on a tie): the one an unknown name must cost.
uint32_t CommonIterations(std::map<std::string, UsersFileAuthenticator::Entry> const& users) {
  std::map<uint32_t, std::size_t> counts;
  for (auto const& user : users) ++counts[user.second.iterations];
  uint32_t best = Policy::kDefaultIterations;
  std::size_t most = 0;
  for (auto const& count : counts) {
    if (count.second >= most) {
      best = count.first;
      most = count.second;
    }
  }
  return best;
}

}  // namespace

std::string MakeUsersLine(std::string const& user, SecretString const& password, uint32_t iterations) {
  if (!IsUserName(user) || iterations < Policy::kMinIterations || iterations > Policy::kMaxIterations) {
    return {};
  }
  std::array<unsigned char, Policy::kSaltBytes> salt{};
  std::array<unsigned char, Policy::kHashBytes> hash{};
  if (!Auth::RandomBytes(salt.data(), salt.size()) ||
      !Derive(password, salt.data(), salt.size(), iterations, hash)) {
    return {};
  }
  std::string line = user + ':' + Policy::kScheme + ':' + std::to_string(iterations) + ':' +
                     Auth::Base64(salt.data(), salt.size()) + ':' + Auth::Base64(hash.data(), hash.size());
  OPENSSL_cleanse(hash.data(), hash.size());
  return line;
}

std::shared_ptr<UsersFileAuthenticator const> UsersFileAuthenticator::Parse(
    std::string_view text, std::list<BaseMessage>& messages) {
  std::map<std::string, Entry> users;
  std::map<std::string, std::size_t> lineOf;
  bool ok = true;
  std::size_t number = 0;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t const newline = text.find('\n', start);
    std::size_t const end = newline == std::string_view::npos ? text.size() : newline;
    std::string_view line = text.substr(start, end - start);
    start = end + 1;
    ++number;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    std::size_t const first = line.find_first_not_of(" \t");
    if (first == std::string_view::npos || line[first] == '#') continue;

    std::string user;
    Entry entry;
    if (!ParseLine(line, number, user, entry, messages)) {
      ok = false;
      continue;
    }
    auto const earlier = lineOf.emplace(user, number);
    if (!earlier.second) {
      messages.push_back(
          LineFault(MessageIds::kUsersLineDuplicate, number, {std::to_string(earlier.first->second)}));
      ok = false;
      continue;
    }
    users.emplace(std::move(user), std::move(entry));
  }
  if (!ok) return nullptr;
  return std::make_shared<UsersFileAuthenticator const>(std::move(users));
}

std::shared_ptr<UsersFileAuthenticator const> UsersFileAuthenticator::Load(std::string const& path,
                                                                           std::list<BaseMessage>& messages) {
  // A directory opens as a stream that reads nothing; only a regular file is a users file.
  std::error_code error;
  bool const regular = std::filesystem::is_regular_file(path, error);
  auto const size = regular ? std::filesystem::file_size(path, error) : 0;
  std::ifstream in(path, std::ios::binary);
  std::string content;
  if (regular && !error && in) {
    // Reserved once, so that no copy of the hashes is left behind in a released buffer.
    content.reserve(static_cast<std::size_t>(size));
    char buffer[4096];
    while (in.read(buffer, sizeof buffer) || in.gcount() > 0)
      content.append(buffer, static_cast<std::size_t>(in.gcount()));
    OPENSSL_cleanse(buffer, sizeof buffer);
  }
  if (!regular || error || in.bad() || !in.eof()) {
    messages.push_back(BaseMessage::Make(MessageIds::kUsersFileUnreadable, {path}));
    return nullptr;
  }
  auto parsed = Parse(content, messages);
  // The text held every hash of the file; it goes no further than this function.
  OPENSSL_cleanse(const_cast<char*>(content.data()), content.size());
  return parsed;
}

UsersFileAuthenticator::UsersFileAuthenticator(std::map<std::string, Entry> users)
    : users_(std::move(users)) {
  decoy_.iterations = CommonIterations(users_);
  decoy_.salt.resize(Policy::kSaltBytes);
  decoy_.hash.resize(Policy::kHashBytes);
  // Should the random source fail, zeros serve as well: no password is checked against the decoy.
  Auth::RandomBytes(decoy_.salt.data(), decoy_.salt.size());
  Auth::RandomBytes(decoy_.hash.data(), decoy_.hash.size());
}

bool UsersFileAuthenticator::Verify(std::string const& user, SecretString const& password) const {
  auto const found = users_.find(user);
  bool const known = found != users_.end();
  Entry const& entry = known ? found->second : decoy_;
  std::array<unsigned char, Policy::kHashBytes> derived{};
  bool const derivedOk = Derive(password, entry.salt.data(), entry.salt.size(), entry.iterations, derived);
  bool const same = CRYPTO_memcmp(derived.data(), entry.hash.data(), derived.size()) == 0;
  OPENSSL_cleanse(derived.data(), derived.size());
  return derivedOk && same && known;
}

}  // namespace Rpc
}  // namespace Opax
