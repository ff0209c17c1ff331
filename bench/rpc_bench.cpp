// Calls over loopback with the full path on both sides: the generated stub, the JSON-RPC client,
// HTTP, the server's JSON decoding, validation, the binder and a trivial implementation of
// EthernetSvc::Get whose result is the Info of bindings_bench, and the same way back.
//
// Each server runs in a child process of its own (one with one I/O thread, one with two), so that
// its CPU time per call can be read from /proc apart from the callers'. Servers listen on
// 127.0.0.1 only; every run is bounded in calls and in time, and the children end with the parent.

#include "ethernet_sample.h"

#include <opax/core/provider/in_process_provider.h>
#include <opax/rpc/client/client.h>
#include <opax/rpc/server/server.h>

#include <benchmark/benchmark.h>

#include <csignal>
#include <algorithm>
#include <fstream>
#include <sstream>
#include <future>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using Ethernet = ::Com::Quarn::Nexar::Vm::Hardware::EthernetSvc;
using InfoPtr = std::shared_ptr<Ethernet::Info const>;

class Adapters : public Ethernet::AsyncServiceInterface {
 public:
  void Get(std::string const&, std::string const&, std::shared_ptr<::Opax::Core::AsyncActivation> const&,
           ::Opax::AsyncResult<InfoPtr, ::Opax::AsyncResultTerminateCbPolicy> const& result) override {
    result.SetResult(info_);
  }
  // Only Get is measured.
  void List(std::string const&, std::shared_ptr<::Opax::Core::AsyncActivation> const&, ::Opax::AsyncResult<std::list<std::shared_ptr<Ethernet::Summary const>>, ::Opax::AsyncResultTerminateCbPolicy> const& result) override { result.Terminate(); }
  void Create(std::string const&, std::shared_ptr<Ethernet::CreateSpec const> const&, std::shared_ptr<::Opax::Core::AsyncActivation> const&, ::Opax::AsyncResult<std::string, ::Opax::AsyncResultTerminateCbPolicy> const& result) override { result.Terminate(); }
  void Update(std::string const&, std::string const&, std::shared_ptr<Ethernet::UpdateSpec const> const&, std::shared_ptr<::Opax::Core::AsyncActivation> const&, ::Opax::AsyncResult<::Opax::Void, ::Opax::AsyncResultTerminateCbPolicy> const& result) override { result.Terminate(); }
  void Delete(std::string const&, std::string const&, std::shared_ptr<::Opax::Core::AsyncActivation> const&, ::Opax::AsyncResult<::Opax::Void, ::Opax::AsyncResultTerminateCbPolicy> const& result) override { result.Terminate(); }
  void Connect(std::string const&, std::string const&, std::shared_ptr<::Opax::Core::AsyncActivation> const&, ::Opax::AsyncResult<::Opax::Void, ::Opax::AsyncResultTerminateCbPolicy> const& result) override { result.Terminate(); }
  void Disconnect(std::string const&, std::string const&, std::shared_ptr<::Opax::Core::AsyncActivation> const&, ::Opax::AsyncResult<::Opax::Void, ::Opax::AsyncResultTerminateCbPolicy> const& result) override { result.Terminate(); }

 private:
  InfoPtr info_ = std::make_shared<Ethernet::Info const>(Bench::MakeInfo());
};

struct Child {
  pid_t pid = 0;
  unsigned short port = 0;
};

// Forks a server with `threads` I/O threads; it runs until the parent goes.
Child StartServer(unsigned threads) {
  int fds[2];
  if (pipe(fds) != 0) return {};
  pid_t const pid = fork();
  if (pid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    close(fds[0]);
    auto provider = std::make_shared<::Opax::Core::InProcessProvider>();
    provider->Register(Ethernet::AsyncServiceBinder::BindImplementation(std::make_shared<Adapters>()));
    ::Opax::Rpc::ServerOptions options;
    options.threads = threads;
    ::Opax::Rpc::RpcServer server(provider, options);
    std::list<::Opax::BaseMessage> messages;
    unsigned short port = server.Start(messages) ? server.port() : 0;
    if (write(fds[1], &port, sizeof port) != sizeof port) _exit(1);
    close(fds[1]);
    for (;;) pause();
  }
  close(fds[1]);
  Child child{pid, 0};
  if (read(fds[0], &child.port, sizeof child.port) != sizeof child.port) child.port = 0;
  close(fds[0]);
  return child;
}

Child& Server(unsigned threads) {
  static Child one = StartServer(1);
  static Child two = StartServer(2);
  return threads == 1 ? one : two;
}

// User plus system CPU time of a process, in microseconds.
double CpuMicros(pid_t pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  std::string skip;
  for (int i = 0; i < 11; ++i) fields >> skip;  // state .. cmajflt
  double user = 0, system = 0;
  fields >> user >> system;
  return (user + system) * 1e6 / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// args: server threads, concurrent callers.
void BM_RpcEthernetGet(benchmark::State& state) {
  Child const& server = Server(static_cast<unsigned>(state.range(0)));
  auto const callers = static_cast<std::size_t>(state.range(1));
  if (server.port == 0) return state.SkipWithError("the server did not start");
  ::Opax::Rpc::ClientOptions options;
  options.url = "http://127.0.0.1:" + std::to_string(server.port);
  options.connections = callers;
  std::list<::Opax::BaseMessage> messages;
  auto client = ::Opax::Rpc::RpcClient::Create(options, messages);
  auto stub = Ethernet::AsyncServiceStub(::Opax::Stub::AsyncApiStub::GetInstance(client));

  constexpr std::size_t kCallsPerCaller = 4000;
  auto const budget = std::chrono::seconds(3);
  std::vector<double> latencies;
  std::size_t failures = 0;
  double cpu = 0;
  std::size_t calls = 0;
  for (auto _ : state) {
    std::vector<std::vector<double>> perCaller(callers);
    std::vector<std::size_t> failed(callers, 0);
    double const cpuBefore = CpuMicros(server.pid);
    auto const start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    for (std::size_t c = 0; c < callers; ++c) {
      threads.emplace_back([&, c] {
        for (std::size_t i = 0; i < kCallsPerCaller && std::chrono::steady_clock::now() - start < budget; ++i) {
          std::promise<bool> done;
          auto const begin = std::chrono::steady_clock::now();
          ::Opax::AsyncResult<InfoPtr> result(::Opax::AsyncResult<InfoPtr>::Callback(
              [&done](boost::optional<InfoPtr> const& value, std::shared_ptr<::Opax::Data::ErrorValue const> const&,
                      ::Opax::Progress const&) { done.set_value(static_cast<bool>(value)); }));
          stub.Get("vm-1", "nic-1", nullptr, result);
          if (!done.get_future().get()) ++failed[c];
          perCaller[c].push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count());
        }
      });
    }
    for (auto& thread : threads) thread.join();
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    cpu += CpuMicros(server.pid) - cpuBefore;
    for (std::size_t c = 0; c < callers; ++c) {
      latencies.insert(latencies.end(), perCaller[c].begin(), perCaller[c].end());
      failures += failed[c];
    }
  }
  calls = latencies.size();
  if (failures > 0) state.SkipWithError("calls failed");
  std::sort(latencies.begin(), latencies.end());
  state.SetItemsProcessed(static_cast<int64_t>(calls));
  state.counters["p50_us"] = latencies.empty() ? 0 : latencies[latencies.size() / 2];
  state.counters["p99_us"] = latencies.empty() ? 0 : latencies[latencies.size() * 99 / 100];
  state.counters["server_cpu_us_per_call"] = calls ? cpu / static_cast<double>(calls) : 0;
}
BENCHMARK(BM_RpcEthernetGet)
    ->ArgNames({"server_threads", "callers"})
    ->ArgsProduct({{1, 2}, {1, 4, 16}})
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  // The servers are forked before any thread exists in this process.
  Server(1);
  Server(2);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  kill(Server(1).pid, SIGTERM);
  kill(Server(2).pid, SIGTERM);
  waitpid(Server(1).pid, nullptr, 0);
  waitpid(Server(2).pid, nullptr, 0);
  return 0;
}
