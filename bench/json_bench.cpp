// The wire format on the benchmarks' EthernetSvc::Info, alone and in a list of a hundred: value
// to text, text to value with its definition, both, and the whole path a call's result takes
// (native -> value -> text -> value -> native). Beside them, in the same run, Boost.JSON's
// untyped parse and serialise of the same text: a floor for any JSON round trip, with no
// definition, no typed values and no checks. The ratios print at the end.

#include "alloc_counter.h"
#include "ethernet_sample.h"
#include "ratio_reporter.h"

#include <opax/json/json.h>
#include <opax/json/testing/sample_definition.h>

#include <benchmark/benchmark.h>
#include <boost/json.hpp>

#include <algorithm>
#include <list>
#include <random>
#include <string>
#include <vector>

namespace {

using Bench::Ethernet;
using Bench::InfoList;
using Opax::BaseMessage;
using Opax::Data::DataDefinitionPtr;
using Opax::Data::DataValuePtr;
using Opax::Data::NativeToDefinitionAdapter;
using Opax::Data::NativeToValueAdapter;
using Opax::Data::ValueToNativeAdapter;
using Messages = std::list<BaseMessage>;

template <class T>
struct Sample {
  DataDefinitionPtr definition = NativeToDefinitionAdapter::DefinitionOf<T>();
  DataValuePtr value;
  std::string text;

  explicit Sample(T const& native) {
    Messages messages;
    NativeToValueAdapter::Adapt(native, value, messages);
    Opax::Json::Encode(*value, definition.get(), text, messages);
  }
};

Sample<Ethernet::Info> const& Single() {
  static Sample<Ethernet::Info> const sample(Bench::MakeInfo());
  return sample;
}

Sample<InfoList> const& Hundred() {
  static Sample<InfoList> const sample(Bench::MakeInfoList());
  return sample;
}

void Finish(benchmark::State& state, Bench::AllocationMeter& meter, bool ok, std::size_t bytes,
            std::size_t items) {
  meter.Report(state);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
  if (items > 1) state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * items));
  if (!ok) state.SkipWithError("a conversion failed");
}

template <class T>
void Encode(benchmark::State& state, Sample<T> const& sample, std::size_t items) {
  bool ok = true;
  Messages messages;
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    std::string text;
    ok &= Opax::Json::Encode(*sample.value, sample.definition.get(), text, messages);
    benchmark::DoNotOptimize(text.data());
  }
  Finish(state, meter, ok, sample.text.size(), items);
}

template <class T>
void Decode(benchmark::State& state, Sample<T> const& sample, std::size_t items) {
  bool ok = true;
  Messages messages;
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    DataValuePtr value;
    ok &= Opax::Json::Decode(sample.text, *sample.definition, value, messages);
    benchmark::DoNotOptimize(value.get());
  }
  Finish(state, meter, ok, sample.text.size(), items);
}

template <class T>
void RoundTrip(benchmark::State& state, Sample<T> const& sample, std::size_t items) {
  bool ok = true;
  Messages messages;
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    std::string text;
    ok &= Opax::Json::Encode(*sample.value, sample.definition.get(), text, messages);
    DataValuePtr value;
    ok &= Opax::Json::Decode(text, *sample.definition, value, messages);
    benchmark::DoNotOptimize(value.get());
  }
  Finish(state, meter, ok, sample.text.size(), items);
}

// What a call's result costs from the server's native object to the client's: both adapters and
// both directions of the wire format.
template <class T>
void FullPath(benchmark::State& state, T const& native, Sample<T> const& sample, std::size_t items) {
  bool ok = true;
  Messages messages;
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    DataValuePtr value;
    ok &= NativeToValueAdapter::Adapt(native, value, messages);
    std::string text;
    ok &= Opax::Json::Encode(*value, sample.definition.get(), text, messages);
    DataValuePtr received;
    ok &= Opax::Json::Decode(text, *sample.definition, received, messages);
    T back;
    ok &= ValueToNativeAdapter::Adapt(received, back, messages);
    benchmark::DoNotOptimize(back);
  }
  Finish(state, meter, ok, sample.text.size(), items);
}

void BoostRoundTrip(benchmark::State& state, std::string const& text, std::size_t items) {
  Bench::AllocationMeter meter;
  std::size_t bytes = 0;
  for (auto _ : state) {
    boost::json::value document = boost::json::parse(text);
    std::string again = boost::json::serialize(document);
    bytes = again.size();
    benchmark::DoNotOptimize(again.data());
  }
  Finish(state, meter, bytes == text.size(), text.size(), items);
}

void BM_JsonEncodeEthernetInfo(benchmark::State& state) { Encode(state, Single(), 1); }
void BM_JsonDecodeEthernetInfo(benchmark::State& state) { Decode(state, Single(), 1); }
void BM_JsonRoundTripEthernetInfo(benchmark::State& state) { RoundTrip(state, Single(), 1); }
void BM_BoostJsonRoundTripEthernetInfo(benchmark::State& state) { BoostRoundTrip(state, Single().text, 1); }
void BM_JsonFullPathEthernetInfo(benchmark::State& state) { FullPath(state, Bench::MakeInfo(), Single(), 1); }

void BM_JsonEncodeEthernetInfoList(benchmark::State& state) { Encode(state, Hundred(), Bench::kListLength); }
void BM_JsonDecodeEthernetInfoList(benchmark::State& state) { Decode(state, Hundred(), Bench::kListLength); }
void BM_JsonRoundTripEthernetInfoList(benchmark::State& state) {
  RoundTrip(state, Hundred(), Bench::kListLength);
}
void BM_BoostJsonRoundTripEthernetInfoList(benchmark::State& state) {
  BoostRoundTrip(state, Hundred().text, Bench::kListLength);
}
void BM_JsonFullPathEthernetInfoList(benchmark::State& state) {
  FullPath(state, Bench::MakeInfoList(), Hundred(), Bench::kListLength);
}

// Depth costs time in proportion: a text of N nested arrays, decoded by looks and written again.
void BM_JsonDeepArrays(benchmark::State& state) {
  auto const levels = static_cast<std::size_t>(state.range(0));
  std::string const text = std::string(levels, '[') + std::string(levels, ']');
  bool ok = true;
  Messages messages;
  for (auto _ : state) {
    DataValuePtr value;
    ok &= Opax::Json::Decode(text, value, messages, Opax::Json::Limits::Unlimited());
    std::string again;
    ok &= ok && Opax::Json::Encode(*value, nullptr, again, messages);
    benchmark::DoNotOptimize(again.data());
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * levels));
  if (!ok) state.SkipWithError("a conversion failed");
}

// What one object at the decoder's default member limit costs, by the order its members come in:
// a device with 100,000 members its definition does not know, decoded (each kept by its looks)
// and freed. Argument: 0 ascending, 1 descending, 2 random names.
void BM_JsonDecodeWideObject(benchmark::State& state) {
  static auto const sample = Opax::Json::Testing::MakeSampleDefinition();
  std::size_t const members = Opax::Json::Limits().maxMembers - 1;
  std::vector<std::size_t> order(members);
  for (std::size_t i = 0; i < members; ++i) order[i] = i;
  if (state.range(0) == 1) std::reverse(order.begin(), order.end());
  if (state.range(0) == 2) std::shuffle(order.begin(), order.end(), std::mt19937_64(42));
  std::string text = R"({"name":"wide")";
  for (std::size_t i : order) text += ",\"x" + std::to_string(1000000 + i) + "\":\"v\"";
  text += '}';
  bool ok = true;
  Messages messages;
  for (auto _ : state) {
    DataValuePtr value;
    ok &= Opax::Json::Decode(text, *sample.device, value, messages);
    benchmark::DoNotOptimize(value.get());
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * members));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
  if (!ok) state.SkipWithError("decoding failed");
}

}  // namespace

BENCHMARK(BM_JsonDecodeWideObject)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_JsonDeepArrays)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_JsonEncodeEthernetInfo);
BENCHMARK(BM_JsonDecodeEthernetInfo);
BENCHMARK(BM_JsonRoundTripEthernetInfo);
BENCHMARK(BM_BoostJsonRoundTripEthernetInfo);
BENCHMARK(BM_JsonFullPathEthernetInfo);
BENCHMARK(BM_JsonEncodeEthernetInfoList);
BENCHMARK(BM_JsonDecodeEthernetInfoList);
BENCHMARK(BM_JsonRoundTripEthernetInfoList);
BENCHMARK(BM_BoostJsonRoundTripEthernetInfoList);
BENCHMARK(BM_JsonFullPathEthernetInfoList);

int main(int argc, char** argv) {
  return Bench::RunWithRatios(
      argc, argv, "Ours over Boost.JSON's untyped round trip",
      {{"BM_JsonRoundTripEthernetInfo", "BM_BoostJsonRoundTripEthernetInfo", " (goal: within 2x)"},
       {"BM_JsonRoundTripEthernetInfoList", "BM_BoostJsonRoundTripEthernetInfoList", " (goal: within 2x)"},
       {"BM_JsonFullPathEthernetInfo", "BM_BoostJsonRoundTripEthernetInfo", ""}});
}
