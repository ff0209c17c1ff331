// The adapters on a structure shaped like a generated one (Sample::Record, its optional detail
// set with all nine fields): native to value, value to native, the round trip, a list of a
// hundred records both ways, and the definition side (building it, validating against it).

#include "alloc_counter.h"

#include <opax/core/testing/sample_types.h>

#include <benchmark/benchmark.h>

#include <list>
#include <memory>
#include <string>

namespace {

using Opax::BaseMessage;
using Opax::Data::DataValuePtr;
using Opax::Data::NativeToDefinitionAdapter;
using Opax::Data::NativeToValueAdapter;
using Opax::Data::ValueToNativeAdapter;
using RecordList = std::list<std::shared_ptr<Sample::Record const>>;

constexpr std::size_t kListLength = 100;

// The same contents as data_value_bench builds by hand; see there for why the lengths and
// numbers are what they are.
Sample::Record MakeRecord() {
  auto detail = std::make_shared<Sample::Detail>();
  detail->label = std::string("boot");
  detail->owner = std::string("administrator@example.local");
  detail->path = std::string("[datastore-01] vm-1042/vm-1042.vmdk");
  detail->size = int64_t{8589934592};
  detail->count = int64_t{3};
  detail->enabled = true;
  detail->shared = false;
  detail->color = Sample::Color(Sample::Color::BLUE);
  detail->tags = std::set<std::string>{"backup", "gold"};

  Sample::Record record;
  record.name = "Hard disk 1";
  record.id = "vm-1042/disk-2000";
  record.description = "Thin-provisioned system disk on datastore-01";
  record.uri = "/vm/vm-1042/hardware/disk/2000";
  record.size = 42949672960;
  record.capacity = 107374182400;
  record.generation = 7;
  record.connected = true;
  record.readOnly = false;
  record.startConnected = true;
  record.color = Sample::Color::GREEN;
  record.detail = std::shared_ptr<Sample::Detail const>(std::move(detail));
  return record;
}

// A hundred distinct records (each with its own detail), as a listing operation returns them.
RecordList MakeRecordList() {
  RecordList records;
  for (std::size_t i = 0; i < kListLength; ++i) {
    Sample::Record record = MakeRecord();
    record.id = "vm-1042/disk-" + std::to_string(2000 + i);
    record.detail = std::make_shared<Sample::Detail const>(*record.detail);
    records.push_back(std::make_shared<Sample::Record const>(std::move(record)));
  }
  return records;
}

template <class T>
DataValuePtr ToValue(T const& native) {
  DataValuePtr value;
  std::list<BaseMessage> messages;
  NativeToValueAdapter::Adapt(native, value, messages);
  return value;
}

void Fail(benchmark::State& state, std::list<BaseMessage> const& messages, char const* what) {
  if (!messages.empty()) state.SkipWithError(what);
}

// Native to value, and the value freed again: the work a stub does for each input.
template <class T>
void NativeToValue(benchmark::State& state, T const& native) {
  std::list<BaseMessage> messages;
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    DataValuePtr value;
    NativeToValueAdapter::Adapt(native, value, messages);
    benchmark::DoNotOptimize(value.get());
  }
  meter.Report(state);
  Fail(state, messages, "native to value reported messages");
}

// Value to a fresh native object, which is freed again: the work a binder does for each input.
template <class T>
void ValueToNative(benchmark::State& state, DataValuePtr const& value) {
  std::list<BaseMessage> messages;
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    T native;
    ValueToNativeAdapter::Adapt(value, native, messages);
    benchmark::DoNotOptimize(native);
  }
  meter.Report(state);
  Fail(state, messages, "value to native reported messages");
}

void BM_RecordToValue(benchmark::State& state) { NativeToValue(state, MakeRecord()); }
BENCHMARK(BM_RecordToValue);

void BM_ValueToRecord(benchmark::State& state) {
  ValueToNative<Sample::Record>(state, ToValue(MakeRecord()));
}
BENCHMARK(BM_ValueToRecord);

void BM_RecordRoundTrip(benchmark::State& state) {
  Sample::Record const record = MakeRecord();
  std::list<BaseMessage> messages;
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    DataValuePtr value;
    NativeToValueAdapter::Adapt(record, value, messages);
    Sample::Record back;
    ValueToNativeAdapter::Adapt(value, back, messages);
    benchmark::DoNotOptimize(back);
  }
  meter.Report(state);
  Fail(state, messages, "the round trip reported messages");
}
BENCHMARK(BM_RecordRoundTrip);

// Per list of a hundred; items/s gives records per second.
void BM_RecordListToValue(benchmark::State& state) {
  NativeToValue(state, MakeRecordList());
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kListLength));
}
BENCHMARK(BM_RecordListToValue);

void BM_ValueToRecordList(benchmark::State& state) {
  ValueToNative<RecordList>(state, ToValue(MakeRecordList()));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kListLength));
}
BENCHMARK(BM_ValueToRecordList);

// Each call describes Record and Detail afresh: the adapter keeps no cache between calls.
void BM_RecordDefinition(benchmark::State& state) {
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    auto definition = NativeToDefinitionAdapter::DefinitionOf<Sample::Record>();
    benchmark::DoNotOptimize(definition.get());
  }
  meter.Report(state);
}
BENCHMARK(BM_RecordDefinition);

template <class T>
void Validate(benchmark::State& state, T const& native) {
  auto const definition = NativeToDefinitionAdapter::DefinitionOf<T>();
  DataValuePtr const value = ToValue(native);
  std::list<BaseMessage> messages;
  Bench::AllocationMeter meter;
  for (auto _ : state) benchmark::DoNotOptimize(definition->Validate(value, messages));
  meter.Report(state);
  Fail(state, messages, "validation reported messages");
}

void BM_ValidateRecord(benchmark::State& state) { Validate(state, MakeRecord()); }
BENCHMARK(BM_ValidateRecord);

void BM_ValidateRecordList(benchmark::State& state) {
  Validate(state, MakeRecordList());
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kListLength));
}
BENCHMARK(BM_ValidateRecordList);

}  // namespace

BENCHMARK_MAIN();
