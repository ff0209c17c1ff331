// What a refused credential costs, by how much it resembles a good one. Refusals must cost the
// same whatever they share with what the server holds, or timing would tell an attacker which
// users exist and how close a guessed token is. These are figures to compare within one run (the
// pairs should be equal), never a pass or fail.
#include <opax/rpc/auth/session_store.h>
#include <opax/rpc/auth/users_file.h>

#include <benchmark/benchmark.h>

#include <list>
#include <string>
#include <vector>

namespace {

using Opax::SecretString;
using Opax::Rpc::UsersFileAuthenticator;

// A users file of two users at the usual iteration count.
std::shared_ptr<UsersFileAuthenticator const> const& Users() {
  static auto const users = [] {
    constexpr uint32_t kCommon = 50000;
    std::list<Opax::BaseMessage> messages;
    std::string const text = Opax::Rpc::MakeUsersLine("a", SecretString("pw"), kCommon) + "\n" +
                             Opax::Rpc::MakeUsersLine("b", SecretString("pw"), kCommon) + "\n";
    return UsersFileAuthenticator::Parse(text, messages);
  }();
  return users;
}

void BM_RefuseKnownUser(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Users()->Verify("a", SecretString("wrong")));
}
BENCHMARK(BM_RefuseKnownUser)->Unit(benchmark::kMillisecond);

void BM_RefuseUnknownUser(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Users()->Verify("nobody", SecretString("wrong")));
}
BENCHMARK(BM_RefuseUnknownUser)->Unit(benchmark::kMillisecond);

// Wrong tokens that differ from a live one in the last character only, or in every character.
void RefuseTokens(benchmark::State& state, bool nearly) {
  Opax::Rpc::SessionStore store{Opax::Rpc::SessionPolicy{}};
  std::vector<std::string> wrong;
  for (int i = 0; i < 200; ++i) {
    SecretString token;
    if (!store.Create("u", token)) state.SkipWithError("no session");
    std::string text = token.reveal();
    if (nearly) {
      text.back() = text.back() == 'A' ? 'B' : 'A';
    } else {
      for (char& c : text) c = c == 'z' ? 'y' : 'z';
    }
    wrong.push_back(text);
  }
  for (auto _ : state) {
    for (auto const& token : wrong) benchmark::DoNotOptimize(store.Find(token));
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(wrong.size()));
}
BENCHMARK_CAPTURE(RefuseTokens, BM_RefuseNearlyRightToken, true);
BENCHMARK_CAPTURE(RefuseTokens, BM_RefuseUnlikeToken, false);

}  // namespace

BENCHMARK_MAIN();
