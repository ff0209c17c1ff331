#include <opax/rpc/auth/session_store.h>

#include <opax/rpc/auth/crypto_text.h>

#include <openssl/crypto.h>
#include <openssl/sha.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <unordered_map>

namespace Opax {
namespace Rpc {
namespace {

constexpr std::size_t kTokenBytes = 32;
constexpr std::size_t kIdBytes = 16;
// Unpadded base64 of kTokenBytes: any other length is refused before hashing.
constexpr std::size_t kTokenLength = (kTokenBytes * 4 + 2) / 3;
// However long the idle timeout, closed and idle sessions are dropped at least this often.
constexpr int64_t kMaxSweepIntervalMillis = 60 * 1000;

using Digest = std::array<unsigned char, SHA256_DIGEST_LENGTH>;

Digest DigestOf(std::string_view token) {
  Digest digest;
  SHA256(reinterpret_cast<unsigned char const*>(token.data()), token.size(), digest.data());
  return digest;
}

// The first bytes of a digest pick the bucket; the whole digest decides.
uint64_t IndexOf(Digest const& digest) {
  uint64_t index;
  std::memcpy(&index, digest.data(), sizeof index);
  return index;
}

// Whether a session may be used at `nowMillis`, without touching it.
bool Live(Session const& session, int64_t nowMillis, int64_t idleMillis) {
  return !session.closed() && nowMillis - session.lastUsedMillis() <= idleMillis;
}

int64_t SystemMillis() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

}  // namespace

struct SessionStore::State {
  struct Entry {
    Digest digest;
    std::shared_ptr<Session const> session;
  };

  std::mutex mutex;
  std::unordered_map<uint64_t, Entry> byDigest;
  std::unordered_map<std::string, uint64_t> byId;
  int64_t lastSweep = 0;
};

SessionStore::SessionStore(SessionPolicy policy)
    : policy_(std::move(policy)), state_(std::make_unique<State>()) {}
SessionStore::~SessionStore() = default;

int64_t SessionStore::NowMillis() const { return policy_.clock ? policy_.clock() : SystemMillis(); }

bool SessionStore::StillValid(Session const& session, int64_t nowMillis) const {
  if (!Live(session, nowMillis, IdleMillis())) {
    // Closed rather than only refused, so that a later call cannot revive it by touching it.
    session.Close();
    return false;
  }
  session.Touch(nowMillis);
  return true;
}

int64_t SessionStore::IdleMillis() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(policy_.idleTimeout).count();
}

// Drops closed and idle sessions, closing the idle ones; the caller holds the lock. It peeks
// without touching: a sweep is not a use.
void SessionStore::Sweep(int64_t nowMillis) {
  for (auto it = state_->byDigest.begin(); it != state_->byDigest.end();) {
    Session const& session = *it->second.session;
    if (Live(session, nowMillis, IdleMillis())) {
      ++it;
      continue;
    }
    session.Close();
    state_->byId.erase(session.id());
    it = state_->byDigest.erase(it);
  }
  state_->lastSweep = nowMillis;
}

std::shared_ptr<Session const> SessionStore::Create(std::string const& user, SecretString& token) {
  int64_t const now = NowMillis();

  std::array<unsigned char, kTokenBytes> raw{};
  std::array<unsigned char, kIdBytes> rawId{};
  if (!Auth::RandomBytes(raw.data(), raw.size()) || !Auth::RandomBytes(rawId.data(), rawId.size())) {
    return nullptr;
  }
  SecretString made(Auth::Base64Url(raw.data(), raw.size()));
  OPENSSL_cleanse(raw.data(), raw.size());
  Digest const digest = DigestOf(made.reveal());
  std::string id = Auth::Base64Url(rawId.data(), rawId.size());

  std::lock_guard<std::mutex> lock(state_->mutex);
  if (state_->byDigest.size() >= policy_.maxSessions ||
      now - state_->lastSweep >= std::min(IdleMillis(), kMaxSweepIntervalMillis)) {
    Sweep(now);
  }
  // A repeated index or id among 2^64 (2^128) values means the random source is broken.
  if (state_->byDigest.size() >= policy_.maxSessions || state_->byDigest.count(IndexOf(digest)) != 0 ||
      state_->byId.count(id) != 0) {
    return nullptr;
  }
  auto session = std::make_shared<Session const>(id, user, DateTime::FromEpochMilliseconds(now));
  session->Touch(now);
  state_->byDigest.emplace(IndexOf(digest), State::Entry{digest, session});
  state_->byId.emplace(std::move(id), IndexOf(digest));
  token = std::move(made);
  return session;
}

std::shared_ptr<Session const> SessionStore::Find(std::string_view token) {
  // The length of every token is public; a wrong one needs no hashing.
  if (token.size() != kTokenLength) return nullptr;
  Digest const digest = DigestOf(token);
  int64_t const now = NowMillis();
  std::shared_ptr<Session const> session;
  {
    std::lock_guard<std::mutex> lock(state_->mutex);
    auto const found = state_->byDigest.find(IndexOf(digest));
    if (found != state_->byDigest.end() &&
        CRYPTO_memcmp(found->second.digest.data(), digest.data(), digest.size()) == 0) {
      session = found->second.session;
    }
  }
  return session && StillValid(*session, now) ? session : nullptr;
}

std::shared_ptr<Session const> SessionStore::FindById(std::string const& sessionId) {
  int64_t const now = NowMillis();
  std::lock_guard<std::mutex> lock(state_->mutex);
  auto const id = state_->byId.find(sessionId);
  if (id == state_->byId.end()) return nullptr;
  auto const& session = state_->byDigest.at(id->second).session;
  return Live(*session, now, IdleMillis()) ? session : nullptr;
}

bool SessionStore::Delete(std::string const& sessionId) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  auto const id = state_->byId.find(sessionId);
  if (id == state_->byId.end()) return false;
  auto const entry = state_->byDigest.find(id->second);
  bool const wasOpen = !entry->second.session->closed();
  entry->second.session->Close();
  state_->byDigest.erase(entry);
  state_->byId.erase(id);
  return wasOpen;
}

std::size_t SessionStore::size() const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->byDigest.size();
}

}  // namespace Rpc
}  // namespace Opax
