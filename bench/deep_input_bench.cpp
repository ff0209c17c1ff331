// What an input a million levels deep or a million members wide costs in memory: the peak
// resident size an operation adds over what was resident before it started (the input itself
// made beforehand, so it is not counted). The kernel's peak is reset before each run
// (/proc/self/clear_refs, "5") after the allocator gave back what it held free, so every figure
// is the operation's own. Each runs once: the
// figure of interest is the peak, not the time, though the time is printed too.
//
// The HTTP cases post the body to a server in this process over loopback: the figure is what the
// server, the client's reply and the exchange cost together, with the body written beforehand.

#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>
#include <opax/json/json.h>
#ifdef NEXAR_BENCH_RPC
#include <opax/rpc/server/server.h>
#include <opax/rpc/testing/echo_service.h>
#endif

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <fstream>
#include <functional>
#include <string>

namespace {

using namespace Opax::Data;  // NOLINT
using Messages = std::list<Opax::BaseMessage>;
constexpr std::size_t kMillion = 1000000;

// VmRSS or VmHWM of this process, in KiB.
double StatusKiB(std::string const& field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.compare(0, field.size() + 1, field + ":") == 0) return std::stod(line.substr(field.size() + 1));
  }
  return 0;
}

// Runs `operation` once per iteration and reports its peak resident size above the start.
void MeasurePeak(benchmark::State& state, std::function<void()> const& operation) {
  double peak = 0;
  for (auto _ : state) {
    // Freed memory the allocator still holds would be reused unseen: give it back first.
    malloc_trim(0);
    { std::ofstream("/proc/self/clear_refs") << "5"; }
    double const before = StatusKiB("VmRSS");
    operation();
    peak = std::max(peak, StatusKiB("VmHWM") - before);
  }
  state.counters["peak_rss_delta_MiB"] = peak / 1024;
}

std::string NestedArrays() { return std::string(kMillion, '[') + std::string(kMillion, ']'); }

std::string NestedObjects() {
  std::string text;
  for (std::size_t i = 0; i < kMillion; ++i) text += R"({"a":)";
  return text + "1" + std::string(kMillion, '}');
}

std::string WideList() {
  std::string text = "[";
  for (std::size_t i = 0; i < kMillion; ++i) text += i ? ",1" : "1";
  return text + "]";
}

std::string WideObject() {
  std::string text = "{";
  for (std::size_t i = 0; i < kMillion; ++i) text += (i ? ",\"k" : "\"k") + std::to_string(i) + "\":1";
  return text + "}";
}

DataValuePtr Decoded(std::string const& text) {
  DataValuePtr value;
  Messages messages;
  Opax::Json::Decode(text, value, messages, Opax::Json::Limits::Unlimited());
  return value;
}

// args: 0 nested arrays, 1 nested objects, 2 a list of a million, 3 an object of a million members.
std::string const& Text(int64_t which) {
  static std::string const texts[] = {NestedArrays(), NestedObjects(), WideList(), WideObject()};
  return texts[which];
}

void BM_DecodeUnlimited(benchmark::State& state) {
  std::string const& text = Text(state.range(0));
  MeasurePeak(state, [&] { benchmark::DoNotOptimize(Decoded(text)); });
}
BENCHMARK(BM_DecodeUnlimited)->DenseRange(0, 3)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_DecodeRefused(benchmark::State& state) {
  std::string const& text = Text(state.range(0));
  MeasurePeak(state, [&] {
    DataValuePtr value;
    Messages messages;
    benchmark::DoNotOptimize(Opax::Json::Decode(text, value, messages));
  });
}
BENCHMARK(BM_DecodeRefused)->DenseRange(0, 3)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_CopyCompareEncodeFree(benchmark::State& state) {
  DataValuePtr const value = Decoded(Text(state.range(0)));
  MeasurePeak(state, [&] {
    DataValuePtr copy = value->Copy();
    benchmark::DoNotOptimize(DataValue::Equal(*value, *copy));
    std::string text;
    Messages messages;
    Opax::Json::Encode(*copy, nullptr, text, messages);
    copy.reset();
  });
}
BENCHMARK(BM_CopyCompareEncodeFree)->DenseRange(0, 3)->Iterations(1)->Unit(benchmark::kMillisecond);

// A million optionals, one inside the other: built, then freed.
void BM_BuildAndFreeNestedOptionals(benchmark::State& state) {
  MeasurePeak(state, [] {
    DataValuePtr value = DataValue::Create(std::string("bottom"));
    for (std::size_t i = 0; i < kMillion; ++i) value = OptionalValue::GetInstance(value);
    value.reset();
  });
}
BENCHMARK(BM_BuildAndFreeNestedOptionals)->Iterations(1)->Unit(benchmark::kMillisecond);

#ifdef NEXAR_BENCH_RPC
// args: 0 nested arrays as the body, 1 nested objects in the params, 2 a list of a million
// numbers in the params, 3 an object of a million members in the params; with the default
// limits except the body's, raised so that the JSON limits answer.
void BM_HttpBody(benchmark::State& state) {
  using namespace Opax::Rpc;  // NOLINT
  auto provider = Testing::EchoProvider(std::make_shared<Testing::Held>());
  ServerOptions options;
  options.limits.bodyBytes = 64u << 20;
  RpcServer server(provider, options);
  Messages messages;
  if (!server.Start(messages)) return state.SkipWithError("the server did not start");
  std::string const& text = Text(state.range(0));
  std::string const body =
      state.range(0) == 0
          ? text
          : R"({"jsonrpc":"2.0","id":1,"method":"com.quarn.test.echo/echo","params":{"device":{"extra":)" +
                text + "}}}";
  Testing::Reply reply;
  MeasurePeak(state, [&] { reply = Testing::Post(server.port(), body); });
  if (reply.body.find("\"code\":-32700") == std::string::npos) state.SkipWithError("not refused");
}
BENCHMARK(BM_HttpBody)->DenseRange(0, 3)->Iterations(1)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
