#include <opax/rpc/auth/crypto_text.h>
#include <opax/rpc/auth/session_store.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <set>
#include <thread>
#include <vector>

namespace Opax {
namespace Rpc {
namespace {

constexpr int64_t kStart = 1700000000000;

// A store whose clock the test moves.
struct ClockedStore {
  explicit ClockedStore(std::chrono::seconds idle = std::chrono::seconds(10), std::size_t cap = 100) {
    SessionPolicy policy;
    policy.idleTimeout = idle;
    policy.maxSessions = cap;
    policy.clock = [now = now] { return now->load(); };
    store = std::make_unique<SessionStore>(policy);
  }
  void Advance(int64_t millis) { *now += millis; }

  std::shared_ptr<std::atomic<int64_t>> now = std::make_shared<std::atomic<int64_t>>(kStart);
  std::unique_ptr<SessionStore> store;
};

std::vector<unsigned char> DecodeUrl(std::string text) {
  std::replace(text.begin(), text.end(), '-', '+');
  std::replace(text.begin(), text.end(), '_', '/');
  while (text.size() % 4 != 0) text += '=';
  std::vector<unsigned char> bytes;
  EXPECT_TRUE(Auth::DecodeBase64(text, bytes)) << "not URL-safe base64";
  return bytes;
}

TEST(SessionStore, TokensAndIdsAreDistinctRandomUrlSafeText) {
  ClockedStore clocked(std::chrono::seconds(10), 1000);
  constexpr int kCount = 400;
  std::set<std::string> seen;
  std::vector<int> bitCounts(256, 0);
  for (int i = 0; i < kCount; ++i) {
    SecretString token;
    auto session = clocked.store->Create("alice", token);
    ASSERT_TRUE(session);
    std::string const& text = token.reveal();
    ASSERT_EQ(text.size(), 43u);
    EXPECT_EQ(text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
              std::string::npos);
    EXPECT_EQ(session->id().size(), 22u);
    EXPECT_TRUE(seen.insert(text).second);
    EXPECT_TRUE(seen.insert(session->id()).second);
    auto const bytes = DecodeUrl(text);
    ASSERT_EQ(bytes.size(), 32u);
    for (int bit = 0; bit < 256; ++bit) bitCounts[bit] += (bytes[bit / 8] >> (bit % 8)) & 1;
  }
  // Each of the 256 bits is set in about half of the tokens (sd 10): a stuck or counted bit shows.
  for (int bit = 0; bit < 256; ++bit) {
    EXPECT_GT(bitCounts[bit], kCount / 2 - 60) << "bit " << bit;
    EXPECT_LT(bitCounts[bit], kCount / 2 + 60) << "bit " << bit;
  }
}

TEST(SessionStore, OnlyTheExactTokenFindsItsSession) {
  ClockedStore clocked;
  SecretString token;
  auto const session = clocked.store->Create("alice", token);
  ASSERT_TRUE(session);
  EXPECT_EQ(clocked.store->Find(token.reveal()), session);

  ClockedStore other;
  SecretString foreign;
  ASSERT_TRUE(other.store->Create("alice", foreign));
  std::string const t = token.reveal();
  auto flip = [](std::string s, std::size_t at) {
    s[at] = s[at] == 'A' ? 'B' : 'A';
    return s;
  };
  for (std::string const& wrong :
       {std::string(), t.substr(0, 42), t + "A", flip(t, 0), flip(t, 42), std::string(43, 'A'),
        foreign.reveal(), session->id(), " " + t.substr(1)}) {
    EXPECT_FALSE(clocked.store->Find(wrong)) << "found with a wrong token of length " << wrong.size();
  }
}

// Wrong tokens that share all but their last character with a live token take as long to refuse
// as ones that share nothing: the lookup compares digests, not token text.
TEST(SessionStore, IdleSessionsExpireAndStayClosed) {
  ClockedStore clocked(std::chrono::seconds(10));
  SecretString token;
  auto const session = clocked.store->Create("alice", token);
  ASSERT_TRUE(session);
  // Each use restarts the idle time.
  for (int i = 0; i < 3; ++i) {
    clocked.Advance(10000);
    ASSERT_TRUE(clocked.store->Find(token.reveal())) << "use " << i;
  }
  EXPECT_TRUE(clocked.store->StillValid(*session, *clocked.now + 10000));
  EXPECT_TRUE(clocked.store->FindById(session->id()));
  EXPECT_FALSE(clocked.store->StillValid(*session, *clocked.now + 10001 + 10000));
  // Once expired it is closed: an earlier clock, or a found token, does not bring it back.
  EXPECT_TRUE(session->closed());
  EXPECT_FALSE(clocked.store->StillValid(*session, *clocked.now));
  EXPECT_FALSE(clocked.store->Find(token.reveal()));
  EXPECT_FALSE(clocked.store->FindById(session->id()));
}

TEST(SessionStore, CapCountsLiveSessionsAndSweepingKeepsTheStoreSmall) {
  ClockedStore clocked(std::chrono::seconds(1), 3);
  std::vector<std::shared_ptr<Session const>> sessions;
  SecretString token;
  for (int i = 0; i < 3; ++i) sessions.push_back(clocked.store->Create("u" + std::to_string(i), token));
  ASSERT_TRUE(sessions[2]);
  EXPECT_FALSE(clocked.store->Create("over", token));
  ASSERT_TRUE(clocked.store->Delete(sessions[0]->id()));
  EXPECT_TRUE(clocked.store->Create("after delete", token));
  EXPECT_FALSE(clocked.store->Create("full again", token));
  // Idle sessions make room; over many idle generations the store never grows past its cap.
  for (int i = 0; i < 500; ++i) {
    clocked.Advance(1001);
    ASSERT_TRUE(clocked.store->Create("later", token)) << "round " << i;
    ASSERT_LE(clocked.store->size(), 3u);
  }
}

TEST(SessionStore, DeleteEndsTheSessionEverywhere) {
  ClockedStore clocked;
  SecretString token;
  auto const session = clocked.store->Create("alice", token);
  SecretString otherToken;
  auto const other = clocked.store->Create("bob", otherToken);
  ASSERT_TRUE(session && other);
  EXPECT_FALSE(clocked.store->Delete("no such id"));
  EXPECT_FALSE(clocked.store->Delete(token.reveal()));  // a token is not an id
  EXPECT_TRUE(clocked.store->Delete(session->id()));
  EXPECT_FALSE(clocked.store->Delete(session->id()));
  EXPECT_FALSE(clocked.store->Find(token.reveal()));
  EXPECT_FALSE(clocked.store->FindById(session->id()));
  EXPECT_FALSE(clocked.store->StillValid(*session, *clocked.now));
  EXPECT_EQ(clocked.store->Find(otherToken.reveal()), other);
}

// Logins, lookups, logouts and per-request checks from several threads at once; run under TSan.
TEST(SessionStore, ConcurrentUse) {
  SessionPolicy policy;
  policy.maxSessions = 100000;
  SessionStore store(policy);
  SecretString sharedToken;
  auto const shared = store.Create("shared", sharedToken);
  ASSERT_TRUE(shared);
  std::atomic<bool> stop{false};
  std::atomic<int> failures{0};
  std::thread checker([&] {
    while (!stop.load()) {
      if (!store.StillValid(*shared, store.NowMillis())) ++failures;
    }
  });
  std::vector<std::thread> workers;
  for (int t = 0; t < 4; ++t) {
    workers.emplace_back([&, t] {
      for (int i = 0; i < 500; ++i) {
        SecretString token;
        auto const session = store.Create("user" + std::to_string(t), token);
        if (!session) {
          ++failures;
          continue;
        }
        if (store.Find(token.reveal()) != session || !store.StillValid(*session, store.NowMillis()) ||
            store.Find(sharedToken.reveal()) != shared) {
          ++failures;
        }
        if (i % 2 == 0 && !store.Delete(session->id())) ++failures;
      }
    });
  }
  for (auto& worker : workers) worker.join();
  stop = true;
  checker.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(store.size(), 1u + 4 * 250);
}

}  // namespace
}  // namespace Rpc
}  // namespace Opax
