#pragma once

#include <opax/core/base/date_time.h>
#include <opax/core/base/secret_string.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace Opax {
namespace Rpc {

// One logged-in caller. The token that proves it is not kept here: a session is shown to
// implementations and logs by its public id only.
class Session {
 public:
  Session(std::string id, std::string user, DateTime created) : id_(std::move(id)), user_(std::move(user)), created_(created) {}

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
};

// The live sessions of a server. Tokens carry at least 128 random bits and are compared in
// constant time; a session unused for longer than the idle timeout is gone.
class SessionStore {
 public:
  explicit SessionStore(SessionPolicy policy = SessionPolicy());
  ~SessionStore();

  // A new session for `user` (whom an Authenticator accepted); its token goes to `token`. Null
  // when the store is full of live sessions.
  std::shared_ptr<Session const> Create(std::string const& user, SecretString& token);
  // The live session that `token` proves, touched; null for an unknown, closed or idle one.
  std::shared_ptr<Session const> Find(std::string_view token);
  // Whether `session` may still be used at `nowMillis` (not closed, not idle too long); touches it
  // when it may. This is what a connection that keeps a session it found calls per request.
  bool StillValid(Session const& session, int64_t nowMillis) const;
  // Closes the session with that public id; false if there is none.
  bool Delete(std::string const& sessionId);

  SessionPolicy const& policy() const { return policy_; }

 private:
  struct State;
  SessionPolicy const policy_;
  std::unique_ptr<State> state_;
};

}  // namespace Rpc
}  // namespace Opax
