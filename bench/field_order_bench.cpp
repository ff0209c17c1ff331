// What a structure, a map and a set cost per element as they grow, for each order their names
// can arrive in. A peer chooses the order of a JSON object's members, so no order may cost more
// than another, and a large value may cost no more per element than a small one.
//
// Each iteration builds the value in the given order, then takes it the whole way a received
// value goes: copied, validated against its definition, converted to the native type, converted
// back, and everything freed. The structure is the CD-ROM Summary with its one declared field
// plus n retained unknown fields (each a set optional string); the map is a
// std::map<std::string, std::string>; the set a std::set<std::string>.
//
// Orders: ascending and descending by name, random (one fixed shuffle), and "lookups": descending
// with two lookups after each insertion, one of a name already there and one of a name that is
// not. The "per_element" column is the time of one iteration divided by n.
//
// The set's elements arrive as a decoder appends them to a set-typed list value; the conversion
// to std::set is where duplicates collapse. A list value has no lookup, so the set is built in the
// first three orders only.

#include <bindings/vm/hardware/cdrom.h>

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using Opax::BaseMessage;
using Opax::Data::DataValue;
using Opax::Data::DataValuePtr;
using Opax::Data::ListValueString;
using Opax::Data::MapValue;
using Opax::Data::NativeToDefinitionAdapter;
using Opax::Data::NativeToValueAdapter;
using Opax::Data::OptionalValue;
using Opax::Data::StructValue;
using Opax::Data::TypeInfo;
using Opax::Data::ValueToNativeAdapter;
using Summary = Com::Quarn::Nexar::Vm::Hardware::CdromSvc::Summary;

enum Order : int64_t { kAscending, kDescending, kRandom, kLookups };
char const* const kOrderNames[] = {"ascending", "descending", "random", "lookups"};

// Names of equal length, so that name order is number order; 13 characters, which libstdc++
// keeps inside the std::string.
std::string NameOf(std::size_t i) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "extra%08zu", i);
  return buffer;
}

std::vector<std::string> NamesIn(Order order, std::size_t count) {
  std::vector<std::string> names;
  names.reserve(count);
  for (std::size_t i = 0; i < count; ++i) names.push_back(NameOf(i));
  if (order == kDescending || order == kLookups) std::reverse(names.begin(), names.end());
  if (order == kRandom) std::shuffle(names.begin(), names.end(), std::mt19937_64(15));
  return names;
}

// The lookups of the "lookups" order, after the insertion of names[i].
template <class Container>
void LookUp(Container const& container, std::vector<std::string> const& names, std::size_t i) {
  benchmark::DoNotOptimize(container.contains(names[i / 2]));
  benchmark::DoNotOptimize(container.contains("missing"));
}

void Check(benchmark::State& state, bool ok, std::list<BaseMessage> const& messages, char const* what) {
  if (!ok || !messages.empty()) state.SkipWithError(what);
}

void Report(benchmark::State& state, Order order, std::size_t count) {
  state.SetLabel(kOrderNames[order]);
  state.counters["per_element"] =
      benchmark::Counter(static_cast<double>(count),
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

std::shared_ptr<StructValue> BuildSummary(std::vector<std::string> const& names, Order order) {
  auto value = StructValue::GetInstance(TypeInfo<Summary>::name());
  value->SetField("cdrom", DataValue::Create(std::string("3000")));
  for (std::size_t i = 0; i < names.size(); ++i) {
    value->SetField(names[i], OptionalValue::GetInstance(DataValue::Create(names[i])));
    if (order == kLookups) LookUp(value->fields(), names, i);
  }
  return value;
}

void BM_StructureFields(benchmark::State& state) {
  auto const order = static_cast<Order>(state.range(0));
  auto const count = static_cast<std::size_t>(state.range(1));
  std::vector<std::string> const names = NamesIn(order, count);
  auto const definition = NativeToDefinitionAdapter::DefinitionOf<Summary>();
  std::list<BaseMessage> messages;
  bool ok = true;
  for (auto _ : state) {
    DataValuePtr const built = BuildSummary(names, order);
    DataValuePtr const copy = built->Copy();
    ok = ok && definition->Validate(copy, messages);
    Summary native;
    ok = ok && ValueToNativeAdapter::Adapt(copy, native, messages);
    DataValuePtr back;
    ok = ok && NativeToValueAdapter::Adapt(native, back, messages);
    ok = ok && static_cast<StructValue const&>(*back).fields().size() == count + 1;
  }
  Check(state, ok, messages, "the structure did not make the round trip");
  Report(state, order, count);
}

void BM_MapKeys(benchmark::State& state) {
  auto const order = static_cast<Order>(state.range(0));
  auto const count = static_cast<std::size_t>(state.range(1));
  std::vector<std::string> const names = NamesIn(order, count);
  auto const definition = NativeToDefinitionAdapter::DefinitionOf<std::map<std::string, std::string>>();
  std::list<BaseMessage> messages;
  bool ok = true;
  for (auto _ : state) {
    auto built = MapValue::GetInstance();
    for (std::size_t i = 0; i < names.size(); ++i) {
      built->SetField(names[i], DataValue::Create(names[i]));
      if (order == kLookups) LookUp(built->fields(), names, i);
    }
    DataValuePtr const copy = built->Copy();
    ok = ok && definition->Validate(copy, messages);
    std::map<std::string, std::string> native;
    ok = ok && ValueToNativeAdapter::Adapt(copy, native, messages);
    DataValuePtr back;
    ok = ok && NativeToValueAdapter::Adapt(native, back, messages);
    ok = ok && native.size() == count;
  }
  Check(state, ok, messages, "the map did not make the round trip");
  Report(state, order, count);
}

void BM_SetElements(benchmark::State& state) {
  auto const order = static_cast<Order>(state.range(0));
  auto const count = static_cast<std::size_t>(state.range(1));
  std::vector<std::string> const names = NamesIn(order, count);
  auto const definition = NativeToDefinitionAdapter::DefinitionOf<std::set<std::string>>();
  std::list<BaseMessage> messages;
  bool ok = true;
  for (auto _ : state) {
    auto built = ListValueString::GetInstance();
    for (std::string const& name : names) built->Append(name);
    DataValuePtr const copy = built->Copy();
    ok = ok && definition->Validate(copy, messages);
    std::set<std::string> native;
    ok = ok && ValueToNativeAdapter::Adapt(copy, native, messages);
    DataValuePtr back;
    ok = ok && NativeToValueAdapter::Adapt(native, back, messages);
    ok = ok && native.size() == count;
  }
  Check(state, ok, messages, "the set did not make the round trip");
  Report(state, order, count);
}

// What the JSON decoder's member limit buys: one structure with n unknown fields, built in the
// given order and freed, nothing else.
void BM_BuildAndFreeStructure(benchmark::State& state) {
  auto const order = static_cast<Order>(state.range(0));
  auto const count = static_cast<std::size_t>(state.range(1));
  std::vector<std::string> const names = NamesIn(order, count);
  for (auto _ : state) benchmark::DoNotOptimize(BuildSummary(names, order).get());
  Report(state, order, count);
}

// The same, with a std::map in place of the structure: what a balanced tree of the standard
// library costs for each order, to read the figures above against.
void BM_BuildAndFreeStdMap(benchmark::State& state) {
  auto const order = static_cast<Order>(state.range(0));
  auto const count = static_cast<std::size_t>(state.range(1));
  std::vector<std::string> const names = NamesIn(order, count);
  for (auto _ : state) {
    std::map<std::string, DataValuePtr> built;
    built.emplace("cdrom", DataValue::Create(std::string("3000")));
    for (std::size_t i = 0; i < names.size(); ++i) {
      built.emplace(names[i], OptionalValue::GetInstance(DataValue::Create(names[i])));
      if (order == kLookups) {
        benchmark::DoNotOptimize(built.count(names[i / 2]));
        benchmark::DoNotOptimize(built.count("missing"));
      }
    }
    benchmark::DoNotOptimize(built.size());
  }
  Report(state, order, count);
}

void Orders(benchmark::internal::Benchmark* b, std::vector<int64_t> const& sizes, bool lookups) {
  b->ArgNames({"order", "n"})->Unit(benchmark::kMillisecond);
  for (int64_t size : sizes) {
    for (int64_t order : {kAscending, kDescending, kRandom, kLookups}) {
      if (order != kLookups || lookups) b->Args({order, size});
    }
  }
}

void Sizes(benchmark::internal::Benchmark* b) { Orders(b, {10'000, 100'000, 1'000'000}, true); }
// A list value has no lookup, so a set has no order with lookups between its insertions.
void SetSizes(benchmark::internal::Benchmark* b) { Orders(b, {10'000, 100'000, 1'000'000}, false); }

BENCHMARK(BM_StructureFields)->Apply(Sizes);
BENCHMARK(BM_MapKeys)->Apply(Sizes);
BENCHMARK(BM_SetElements)->Apply(SetSizes);
BENCHMARK(BM_BuildAndFreeStructure)->Apply(Sizes);
BENCHMARK(BM_BuildAndFreeStdMap)->Apply(Sizes);

// glibc's malloc moves its mmap and trim thresholds after the blocks that a program frees, so
// without this each row would run under thresholds left by the rows before it, and at 10^6 the
// freed heap would go back to the kernel after every iteration (each page zeroed again at its
// next touch). Fixed once here, every row starts from the same allocator policy; a server that
// builds large values does well to fix them too. NEXAR_DEFAULT_MALLOC=1 keeps glibc's default,
// to compare.
void FixAllocatorThresholds() {
  char const* keep = std::getenv("NEXAR_DEFAULT_MALLOC");
  if (keep != nullptr && std::string(keep) == "1") return;
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
}

}  // namespace

int main(int argc, char** argv) {
  FixAllocatorThresholds();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
