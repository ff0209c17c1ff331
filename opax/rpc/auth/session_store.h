#pragma once

#include <opax/core/base/date_time.h>
#include <opax/core/base/secret_string.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace Opax {
namespace Rpc {

// One logged-in caller. The token that proves it is not kept here: a session is shown to
// implementations and logs by its public id only.
class Session {
 public:
  Session(std::string id, std::string user, DateTime created)
      : id_(std::move(id)), user_(std::move(user)), created_(created) {}

  std::string const& id() const { return id_; }
  std::string const& user() const { return user_; }
  DateTime const& created() const { return created_; }
  // Milliseconds since the epoch of the last call made with the session.
  int64_t lastUsedMillis() const { return lastUsed_.load(std::memory_order_relaxed); }
  bool closed() const { return closed_.load(std::memory_order_acquire); }

  // Both are atomic so that a connection that holds the session can use it without the store.
  void Touch(int64_t nowMillis) const { lastUsed_.store(nowMillis, std::memory_order_relaxed); }
  void Close() const { closed_.store(true, std::memory_order_release); }

 private:
  std::string const id_;
  std::string const user_;
  DateTime const created_;
  mutable std::atomic<int64_t> lastUsed_{0};
  mutable std::atomic<bool> closed_{false};
};

struct SessionPolicy {
  std::chrono::seconds idleTimeout{30 * 60};
  std::size_t maxSessions = 10000;
  // Milliseconds since the epoch, as Create and Find see it; the system clock when empty. Tests
  // set it to let sessions age without waiting.
  std::function<int64_t()> clock;
};

// The live sessions of a server. Tokens carry 256 random bits, travel as 43 characters of
// unpadded URL-safe base64, and are kept only as their SHA-256: a lookup indexes by the digest and
// confirms with a constant-time comparison of all of it, so its time says nothing about how much
// of a guessed token was right. A session unused for longer than the idle timeout is gone; closed
// and idle ones are swept by Create (the only call that adds), so the store never holds more than
// maxSessions. Create, Find, FindById and Delete take a lock; StillValid does not.
class SessionStore {
 public:
  explicit SessionStore(SessionPolicy policy = SessionPolicy());
  ~SessionStore();

  // A new session for `user` (whom an Authenticator accepted); its token goes to `token`. Null
  // when the store is full of live sessions, or when the random source fails.
  std::shared_ptr<Session const> Create(std::string const& user, SecretString& token);
  // The live session that `token` proves, touched; null for an unknown, closed or idle one.
  std::shared_ptr<Session const> Find(std::string_view token);
  // Whether `session` may still be used at `nowMillis` (not closed, not idle too long); touches it
  // when it may. This is what a connection that keeps a session it found calls per request.
  bool StillValid(Session const& session, int64_t nowMillis) const;
  // The live session with that public id, not touched: the server names it in a call's context
  // after it checked (and touched) the call's token. Null for an unknown, closed or idle one.
  std::shared_ptr<Session const> FindById(std::string const& sessionId);
  // Closes the session with that public id; false if there is none.
  bool Delete(std::string const& sessionId);

  // The sessions held, idle ones not yet swept included; never more than maxSessions.
  std::size_t size() const;
  SessionPolicy const& policy() const { return policy_; }
  // The current time as the policy's clock gives it.
  int64_t NowMillis() const;

 private:
  struct State;
  int64_t IdleMillis() const;
  void Sweep(int64_t nowMillis);

  SessionPolicy const policy_;
  std::unique_ptr<State> state_;
};

}  // namespace Rpc
}  // namespace Opax
