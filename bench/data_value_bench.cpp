// The value API by hand: what a structure shaped like Sample::Record costs to build, free and
// read back when nothing but the value classes is involved, and what a field lookup costs as a
// structure grows. adapter_bench measures the same structure through the adapters, so the
// difference between the two is the adapters' own share.

#include "alloc_counter.h"

#include <opax/core/data/compound_value.h>
#include <opax/core/data/field_map.h>
#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <list>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Opax::BaseMessage;
using Opax::Data::DataValue;
using Opax::Data::DataValuePtr;
using Opax::Data::FieldMap;
using Opax::Data::ListValueString;
using Opax::Data::OptionalValue;
using Opax::Data::StructValue;

// The same contents as adapter_bench's record, held as the natives a producer copies from.
// Lengths are chosen on purpose: with libstdc++ a string of up to 15 characters lives inside
// the std::string, a longer one costs a second block, so "name" and "label" are short and the
// other texts are not. "size" and "capacity" are outside the shared small-integer range,
// "generation" and "count" inside it.
struct Contents {
  std::string name = "Hard disk 1";
  std::string id = "vm-1042/disk-2000";
  std::string description = "Thin-provisioned system disk on datastore-01";
  std::string uri = "/vm/vm-1042/hardware/disk/2000";
  int64_t size = 42949672960;
  int64_t capacity = 107374182400;
  int64_t generation = 7;
  std::string color = "GREEN";
  std::string label = "boot";
  std::string owner = "administrator@example.local";
  std::string path = "[datastore-01] vm-1042/vm-1042.vmdk";
  int64_t detailSize = 8589934592;
  int64_t detailCount = 3;
  std::string detailColor = "BLUE";
  std::set<std::string> tags = {"backup", "gold"};
};

Contents const& Sample() {
  static Contents const contents;
  return contents;
}

DataValuePtr Set(DataValuePtr value) { return OptionalValue::GetInstance(std::move(value)); }

// Field for field what the native-to-value adapter makes of a filled Sample::Detail.
DataValuePtr MakeDetail() {
  Contents const& c = Sample();
  auto detail = StructValue::GetInstance("sample.detail");
  detail->fields().reserve(9);
  detail->SetField("label", Set(DataValue::Create(c.label)));
  detail->SetField("owner", Set(DataValue::Create(c.owner)));
  detail->SetField("path", Set(DataValue::Create(c.path)));
  detail->SetField("size", Set(DataValue::Create(c.detailSize)));
  detail->SetField("count", Set(DataValue::Create(c.detailCount)));
  detail->SetField("enabled", Set(DataValue::Create(true)));
  detail->SetField("shared", Set(DataValue::Create(false)));
  detail->SetField("color", Set(DataValue::Create(c.detailColor)));
  auto tags = ListValueString::GetInstance();
  tags->Store(c.tags);
  detail->SetField("tags", Set(std::move(tags)));
  return detail;
}

// ... and of a filled Sample::Record whose detail is set.
DataValuePtr MakeRecord() {
  Contents const& c = Sample();
  auto record = StructValue::GetInstance("sample.record");
  record->fields().reserve(12);
  record->SetField("name", DataValue::Create(c.name));
  record->SetField("id", DataValue::Create(c.id));
  record->SetField("description", DataValue::Create(c.description));
  record->SetField("uri", DataValue::Create(c.uri));
  record->SetField("size", DataValue::Create(c.size));
  record->SetField("capacity", DataValue::Create(c.capacity));
  record->SetField("generation", DataValue::Create(c.generation));
  record->SetField("connected", DataValue::Create(true));
  record->SetField("read_only", DataValue::Create(false));
  record->SetField("start_connected", DataValue::Create(true));
  record->SetField("color", DataValue::Create(c.color));
  record->SetField("detail", Set(MakeDetail()));
  return record;
}

void BM_BuildRecordValue(benchmark::State& state) {
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    DataValuePtr record = MakeRecord();
    benchmark::DoNotOptimize(record.get());
    // Freed here, inside the timed region: freeing is half of a value's life.
  }
  meter.Report(state);
}
BENCHMARK(BM_BuildRecordValue);

// Where a reader puts what it reads; kept between iterations so that its strings already have
// room, as a reader that reuses its objects would.
struct ReadRecord {
  std::string name, id, description, uri, color;
  int64_t size = 0, capacity = 0, generation = 0;
  bool connected = false, readOnly = false, startConnected = false;
  std::string label, owner, path, detailColor;
  int64_t detailSize = 0, detailCount = 0;
  bool enabled = false, shared = false;
  std::vector<std::string> tags;
};

template <class X>
void Read(StructValue const& structure, char const* name, X& out, std::list<BaseMessage>& messages) {
  DataValuePtr field;
  if (structure.GetField(name, field, messages)) DataValue::Value(field, out, messages);
}

// Detail fields are set optionals: the converting read looks through them.
template <class X>
void ReadOptional(StructValue const& structure, char const* name, X& out, std::list<BaseMessage>& messages) {
  if (auto const* field = structure.FindField(name)) DataValue::ToPrimitive(*field, out, messages);
}

void ReadRecordValue(DataValuePtr const& value, ReadRecord& out, std::list<BaseMessage>& messages) {
  StructValue const& record = *StructValue::Cast(value.get());
  Read(record, "name", out.name, messages);
  Read(record, "id", out.id, messages);
  Read(record, "description", out.description, messages);
  Read(record, "uri", out.uri, messages);
  Read(record, "size", out.size, messages);
  Read(record, "capacity", out.capacity, messages);
  Read(record, "generation", out.generation, messages);
  Read(record, "connected", out.connected, messages);
  Read(record, "read_only", out.readOnly, messages);
  Read(record, "start_connected", out.startConnected, messages);
  Read(record, "color", out.color, messages);
  auto const* detailField = record.FindField("detail");
  auto const& optional = static_cast<OptionalValue const&>(**detailField);
  StructValue const& detail = *StructValue::Cast(optional.value().get());
  ReadOptional(detail, "label", out.label, messages);
  ReadOptional(detail, "owner", out.owner, messages);
  ReadOptional(detail, "path", out.path, messages);
  ReadOptional(detail, "size", out.detailSize, messages);
  ReadOptional(detail, "count", out.detailCount, messages);
  ReadOptional(detail, "enabled", out.enabled, messages);
  ReadOptional(detail, "shared", out.shared, messages);
  ReadOptional(detail, "color", out.detailColor, messages);
  // A typed list keeps its strings natively; element(i) would make a value per element.
  auto const& tags = static_cast<OptionalValue const&>(**detail.FindField("tags"));
  auto const& items = static_cast<ListValueString const&>(*tags.value()).items();
  out.tags.assign(items.begin(), items.end());
}

void BM_ReadRecordValue(benchmark::State& state) {
  DataValuePtr const record = MakeRecord();
  ReadRecord out;
  std::list<BaseMessage> messages;
  ReadRecordValue(record, out, messages);  // gives every string its room before measuring
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    ReadRecordValue(record, out, messages);
    benchmark::DoNotOptimize(out);
  }
  meter.Report(state);
  if (!messages.empty()) state.SkipWithError("reading the record reported messages");
}
BENCHMARK(BM_ReadRecordValue);

// One long string read into a string that already has room for it, three ways: the exact read,
// the converting read, and a plain copy assignment as the floor.
enum class StringRead { Value, ToPrimitive, Assign };

void BM_ReadLongString(benchmark::State& state) {
  auto const how = static_cast<StringRead>(state.range(0));
  std::string const& source = Sample().description;
  DataValuePtr const value = DataValue::Create(source);
  std::string out(64, ' ');
  std::list<BaseMessage> messages;
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    switch (how) {
      case StringRead::Value:
        DataValue::Value(value, out, messages);
        break;
      case StringRead::ToPrimitive:
        DataValue::ToPrimitive(value, out, messages);
        break;
      case StringRead::Assign:
        out = source;
        break;
    }
    benchmark::DoNotOptimize(out);
  }
  meter.Report(state);
  state.SetLabel(how == StringRead::Value         ? "Value"
                 : how == StringRead::ToPrimitive ? "ToPrimitive"
                                                  : "assign");
}
BENCHMARK(BM_ReadLongString)->DenseRange(0, 2);

// Field names as management structures have them: several sharing a prefix, most short.
std::vector<std::string> FieldNames(std::size_t count) {
  std::istringstream all(
      "name id description uri size capacity generation connected read_only start_connected "
      "color detail label owner path count enabled shared tags backing backing_type backing_file "
      "backing_device controller controller_key unit_number allow_guest_control state type mode "
      "host host_name host_port datastore folder resource_pool power_state guest_os "
      "hardware_version boot_order");
  std::vector<std::string> names;
  for (std::string name; names.size() < count && all >> name;) names.push_back(name);
  return names;
}

FieldMap MakeFieldMap(std::vector<std::string> const& names) {
  FieldMap map;
  map.reserve(names.size());
  for (std::string const& name : names) map.set(name, DataValue::Create(true));
  return map;
}

// Looks up every field in turn, so that each position of the binary search is exercised.
void BM_FieldMapFind(benchmark::State& state) {
  std::vector<std::string> const names = FieldNames(static_cast<std::size_t>(state.range(0)));
  FieldMap const map = MakeFieldMap(names);
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(names[next]));
    if (++next == names.size()) next = 0;
  }
}
BENCHMARK(BM_FieldMapFind)->Arg(4)->Arg(12)->Arg(40);

// An absent name runs the whole search and then one comparison, as a reader probing an
// optional field that a peer left out does.
void BM_FieldMapFindAbsent(benchmark::State& state) {
  FieldMap const map = MakeFieldMap(FieldNames(static_cast<std::size_t>(state.range(0))));
  std::string const absent = "retained_unknown";
  for (auto _ : state) benchmark::DoNotOptimize(map.find(absent));
}
BENCHMARK(BM_FieldMapFindAbsent)->Arg(4)->Arg(12)->Arg(40);

// Filling a reserved map in declaration order, as the adapters do, then freeing it: each
// insertion shifts the name-order permutation behind its place.
void BM_FieldMapBuild(benchmark::State& state) {
  std::vector<std::string> const names = FieldNames(static_cast<std::size_t>(state.range(0)));
  DataValuePtr const value = DataValue::Create(true);
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    FieldMap map;
    map.reserve(names.size());
    for (std::string const& name : names) map.set(name, value);
    benchmark::DoNotOptimize(map.size());
  }
  meter.Report(state);
}
BENCHMARK(BM_FieldMapBuild)->Arg(4)->Arg(12)->Arg(40);

}  // namespace

BENCHMARK_MAIN();
