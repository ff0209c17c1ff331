// Calls over loopback with the full path on both sides: the generated stub, the JSON-RPC client,
// HTTP, the server's JSON decoding, validation, the binder and a trivial implementation of
// EthernetSvc::Get whose result is the Info of bindings_bench, and the same way back; then the
// same calls served by nexar-sim from its state. Built with NEXAR_BENCH_COMPARE and gRPC installed,
// the same Get served by gRPC's sync unary server with the same content (bench/compare) is measured
// by the same loop in the same run.
//
// Each server runs in a child process of its own (one with one I/O thread, one with two), so that
// its CPU time per call can be read from /proc apart from the callers'. Servers listen on
// 127.0.0.1 only; every run is bounded in calls and in time, and the children end with the parent.

#include "ethernet_sample.h"
#ifdef NEXAR_BENCH_GRPC
#include "compare/grpc_ethernet.h"
#include "ratio_reporter.h"
#endif

#include <opax/core/provider/in_process_provider.h>
#include <opax/rpc/client/client.h>
#include <opax/rpc/server/server.h>
#ifdef NEXAR_BENCH_SIM
#include <bindings/vm.h>
#include <opax/cis/session.h>
#include <tools/sim/simulator.h>
#endif

#include <benchmark/benchmark.h>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <csignal>
#include <fstream>
#include <future>
#include <sstream>
#include <thread>

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
  void List(std::string const&, std::shared_ptr<::Opax::Core::AsyncActivation> const&,
            ::Opax::AsyncResult<std::list<std::shared_ptr<Ethernet::Summary const>>,
                                ::Opax::AsyncResultTerminateCbPolicy> const& result) override {
    result.Terminate();
  }
  void Create(std::string const&, std::shared_ptr<Ethernet::CreateSpec const> const&,
              std::shared_ptr<::Opax::Core::AsyncActivation> const&,
              ::Opax::AsyncResult<std::string, ::Opax::AsyncResultTerminateCbPolicy> const& result) override {
    result.Terminate();
  }
  void Update(
      std::string const&, std::string const&, std::shared_ptr<Ethernet::UpdateSpec const> const&,
      std::shared_ptr<::Opax::Core::AsyncActivation> const&,
      ::Opax::AsyncResult<::Opax::Void, ::Opax::AsyncResultTerminateCbPolicy> const& result) override {
    result.Terminate();
  }
  void Delete(
      std::string const&, std::string const&, std::shared_ptr<::Opax::Core::AsyncActivation> const&,
      ::Opax::AsyncResult<::Opax::Void, ::Opax::AsyncResultTerminateCbPolicy> const& result) override {
    result.Terminate();
  }
  void Connect(
      std::string const&, std::string const&, std::shared_ptr<::Opax::Core::AsyncActivation> const&,
      ::Opax::AsyncResult<::Opax::Void, ::Opax::AsyncResultTerminateCbPolicy> const& result) override {
    result.Terminate();
  }
  void Disconnect(
      std::string const&, std::string const&, std::shared_ptr<::Opax::Core::AsyncActivation> const&,
      ::Opax::AsyncResult<::Opax::Void, ::Opax::AsyncResultTerminateCbPolicy> const& result) override {
    result.Terminate();
  }

 private:
  InfoPtr info_ = std::make_shared<Ethernet::Info const>(Bench::MakeInfo());
};

struct Child {
  pid_t pid = 0;
  unsigned short port = 0;
};

// Forks a child that starts a server with `serve` (which returns its port, 0 when it failed) and
// runs until the parent goes.
template <class Serve>
Child StartChild(Serve serve) {
  int fds[2];
  if (pipe(fds) != 0) return {};
  pid_t const pid = fork();
  if (pid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    close(fds[0]);
    serve([&](unsigned short port) {
      if (write(fds[1], &port, sizeof port) != sizeof port) _exit(1);
      close(fds[1]);
      for (;;) pause();
    });
    _exit(1);
  }
  close(fds[1]);
  Child child{pid, 0};
  if (read(fds[0], &child.port, sizeof child.port) != sizeof child.port) child.port = 0;
  close(fds[0]);
  return child;
}

// The bare server: a trivial implementation of the one measured operation, `threads` I/O threads.
Child StartServer(unsigned threads) {
  return StartChild([threads](auto const& ready) {
    auto provider = std::make_shared<::Opax::Core::InProcessProvider>();
    provider->Register(Ethernet::AsyncServiceBinder::BindImplementation(std::make_shared<Adapters>()));
    ::Opax::Rpc::ServerOptions options;
    options.threads = threads;
    ::Opax::Rpc::RpcServer server(provider, options);
    std::list<::Opax::BaseMessage> messages;
    ready(server.Start(messages) ? server.port() : 0);
  });
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

// Threads of a process, as the kernel counts them.
long OsThreads(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line))
    if (line.compare(0, 8, "Threads:") == 0) return std::stol(line.substr(8));
  return 0;
}

// `callers` threads make calls on `server` as fast as they can, each waiting for its reply, for at
// most 4000 calls or 3 seconds each: `call(c)` makes one blocking call as caller c and returns
// whether it succeeded. Every server, ours or another, is measured by this one loop.
template <class Call>
void MeasureCalls(benchmark::State& state, Child const& server, std::size_t callers, Call const& call) {
  constexpr std::size_t kCallsPerCaller = 4000;
  auto const budget = std::chrono::seconds(3);
  std::vector<double> latencies;
  std::size_t failures = 0;
  double cpu = 0;
  long threadsSeen = 0;
  for (auto _ : state) {
    std::vector<std::vector<double>> perCaller(callers);
    std::vector<std::size_t> failed(callers, 0);
    double const cpuBefore = CpuMicros(server.pid);
    auto const start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    for (std::size_t c = 0; c < callers; ++c) {
      threads.emplace_back([&, c] {
        for (std::size_t i = 0; i < kCallsPerCaller && std::chrono::steady_clock::now() - start < budget;
             ++i) {
          auto const begin = std::chrono::steady_clock::now();
          if (!call(c)) ++failed[c];
          perCaller[c].push_back(
              std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count());
        }
      });
    }
    for (auto& thread : threads) thread.join();
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    cpu += CpuMicros(server.pid) - cpuBefore;
    // Right after the calls, before a server that grows its threads under load lets them go.
    threadsSeen = std::max(threadsSeen, OsThreads(server.pid));
    for (std::size_t c = 0; c < callers; ++c) {
      latencies.insert(latencies.end(), perCaller[c].begin(), perCaller[c].end());
      failures += failed[c];
    }
  }
  std::size_t const calls = latencies.size();
  if (failures > 0) state.SkipWithError("calls failed");
  std::sort(latencies.begin(), latencies.end());
  state.SetItemsProcessed(static_cast<int64_t>(calls));
  state.counters["p50_us"] = latencies.empty() ? 0 : latencies[latencies.size() / 2];
  state.counters["p99_us"] = latencies.empty() ? 0 : latencies[latencies.size() * 99 / 100];
  state.counters["server_cpu_us_per_call"] = calls ? cpu / static_cast<double>(calls) : 0;
  state.counters["server_os_threads"] = static_cast<double>(threadsSeen);
}

// EthernetSvc::Get(vm, nic) through our generated stub and JSON-RPC client, with one connection
// per caller.
void MeasureEthernetGet(benchmark::State& state, Child const& server, std::size_t callers,
                        std::string const& vm, std::string const& nic,
                        ::Opax::SecretString const& session = {}) {
  ::Opax::Rpc::ClientOptions options;
  options.url = "http://127.0.0.1:" + std::to_string(server.port);
  options.connections = callers;
  std::list<::Opax::BaseMessage> messages;
  auto client = ::Opax::Rpc::RpcClient::Create(options, messages);
  client->session(session);
  auto stub = Ethernet::AsyncServiceStub(::Opax::Stub::AsyncApiStub::GetInstance(client));
  MeasureCalls(state, server, callers, [&](std::size_t) {
    std::promise<bool> done;
    ::Opax::AsyncResult<InfoPtr> result(::Opax::AsyncResult<InfoPtr>::Callback(
        [&done](boost::optional<InfoPtr> const& value, std::shared_ptr<::Opax::Data::ErrorValue const> const&,
                ::Opax::Progress const&) { done.set_value(static_cast<bool>(value)); }));
    stub.Get(vm, nic, nullptr, result);
    return done.get_future().get();
  });
}

// args: server threads, concurrent callers.
void BM_RpcEthernetGet(benchmark::State& state) {
  Child const& server = Server(static_cast<unsigned>(state.range(0)));
  if (server.port == 0) return state.SkipWithError("the server did not start");
  MeasureEthernetGet(state, server, static_cast<std::size_t>(state.range(1)), "vm-1", "nic-1");
}
BENCHMARK(BM_RpcEthernetGet)
    ->ArgNames({"server_threads", "callers"})
    ->ArgsProduct({{1, 2}, {1, 4, 16}})
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

#ifdef NEXAR_BENCH_GRPC
// The same payload served by the typed-RPC framework's sync unary server (bench/compare), in
// children of their own like ours, measured by the same loop.
Child& GrpcServer(unsigned threads) {
  static Child one = StartChild([](auto const& ready) { Bench::ServeGrpcEthernet(1, ready); });
  static Child two = StartChild([](auto const& ready) { Bench::ServeGrpcEthernet(2, ready); });
  return threads == 1 ? one : two;
}

// args: server threads (as near as the framework allows, see grpc_ethernet.cpp), concurrent callers.
void BM_GrpcEthernetGet(benchmark::State& state) {
  Child const& server = GrpcServer(static_cast<unsigned>(state.range(0)));
  if (server.port == 0) return state.SkipWithError("the gRPC server did not start");
  auto const callers = static_cast<std::size_t>(state.range(1));
  // The channel is made here, after every fork, so that the framework never starts in the parent
  // before it forks.
  Bench::GrpcEthernetClient client(server.port, callers);
  MeasureCalls(state, server, callers,
               [&](std::size_t caller) { return client.Get(caller, "vm-1", "nic-1"); });
}
BENCHMARK(BM_GrpcEthernetGet)
    ->ArgNames({"server_threads", "callers"})
    ->ArgsProduct({{1, 2}, {1, 4, 16}})
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// Each of our runs beside gRPC's with the same arguments, for the ratios printed after the runs.
std::vector<Bench::Comparison> GrpcComparisons() {
  std::vector<Bench::Comparison> comparisons;
  for (int threads : {1, 2}) {
    for (int callers : {1, 4, 16}) {
      std::string const args =
          "server_threads:" + std::to_string(threads) + "/callers:" + std::to_string(callers);
      std::string const run = "/" + args + "/iterations:1/manual_time";
      comparisons.push_back({"BM_RpcEthernetGet" + run, "BM_GrpcEthernetGet" + run, args});
    }
  }
  return comparisons;
}
#endif

#ifdef NEXAR_BENCH_SIM
// The same calls served by nexar-sim (one I/O thread, the built-in inventory, a session): the
// machine's adapter is read from its state, so this measures what the simulator adds to the
// bare server above.
constexpr char kSimPassword[] = "bench-only";

Child& Simulated() {
  static Child simulator = StartChild([](auto const& ready) {
    Sim::SimulatorOptions options;
    options.password = kSimPassword;
    options.server.threads = 1;
    Sim::Simulator sim(options);
    std::list<::Opax::BaseMessage> messages;
    ready(sim.Start(messages) ? sim.port() : 0);
  });
  return simulator;
}

template <class T, class Call>
boost::optional<T> Wait(Call call) {
  std::promise<boost::optional<T>> done;
  ::Opax::AsyncResult<T> result(typename ::Opax::AsyncResult<T>::Callback(
      [&done](boost::optional<T> const& value, std::shared_ptr<::Opax::Data::ErrorValue const> const& error,
              ::Opax::Progress const&) {
        if (value || error) done.set_value(value);
      }));
  call(result);
  return done.get_future().get();
}

// args: concurrent callers.
void BM_SimEthernetGet(benchmark::State& state) {
  Child const& server = Simulated();
  if (server.port == 0) return state.SkipWithError("the simulator did not start");
  ::Opax::Rpc::ClientOptions options;
  options.url = "http://127.0.0.1:" + std::to_string(server.port);
  std::list<::Opax::BaseMessage> messages;
  auto client = ::Opax::Rpc::RpcClient::Create(options, messages);
  auto const apiStub = ::Opax::Stub::AsyncApiStub::GetInstance(client);
  auto const token = Wait<::Opax::SecretString>([&](auto const& result) {
    ::Com::Quarn::Cis::SessionSvc::AsyncServiceStub(apiStub).Create(
        "admin", ::Opax::SecretString(kSimPassword), nullptr, result);
  });
  if (!token) return state.SkipWithError("cannot log in");
  client->session(*token);
  // The first machine of the inventory that has a network adapter.
  auto const machines =
      Wait<std::list<std::shared_ptr<::Com::Quarn::Nexar::VmSvc::Summary const>>>([&](auto const& result) {
        ::Com::Quarn::Nexar::VmSvc::AsyncServiceStub(apiStub).List({}, nullptr, result);
      });
  for (auto const& machine : machines.value_or(decltype(machines)::value_type())) {
    auto const nics = Wait<std::list<std::shared_ptr<Ethernet::Summary const>>>([&](auto const& result) {
      Ethernet::AsyncServiceStub(apiStub).List(machine->vm(), nullptr, result);
    });
    if (nics && !nics->empty()) {
      return MeasureEthernetGet(state, server, static_cast<std::size_t>(state.range(0)), machine->vm(),
                                nics->front()->nic(), *token);
    }
  }
  state.SkipWithError("no machine of the inventory has a network adapter");
}
BENCHMARK(BM_SimEthernetGet)
    ->ArgNames({"callers"})
    ->ArgsProduct({{1, 4, 16}})
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
#endif

}  // namespace

int main(int argc, char** argv) {
  // The servers are forked before any thread exists in this process.
  Server(1);
  Server(2);
#ifdef NEXAR_BENCH_GRPC
  GrpcServer(1);
  GrpcServer(2);
#endif
#ifdef NEXAR_BENCH_SIM
  Simulated();
#endif
#ifdef NEXAR_BENCH_GRPC
  int const result = Bench::RunWithCounterRatios(
      argc, argv, "Ours over gRPC", {"items_per_second", "server_cpu_us_per_call"}, GrpcComparisons());
#else
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  int const result = 0;
#endif
  std::vector<pid_t> children{Server(1).pid, Server(2).pid};
#ifdef NEXAR_BENCH_GRPC
  children.push_back(GrpcServer(1).pid);
  children.push_back(GrpcServer(2).pid);
#endif
#ifdef NEXAR_BENCH_SIM
  children.push_back(Simulated().pid);
#endif
  for (pid_t child : children) kill(child, SIGTERM);
  for (pid_t child : children) waitpid(child, nullptr, 0);
  return result;
}
