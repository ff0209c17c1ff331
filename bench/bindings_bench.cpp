// The generated bindings on a real structure: EthernetSvc::Info with a distributed port group
// backing, both adapter directions and the round trip, a list of a hundred, the definitions of
// the whole pilot, and native and value validation. Built with NEXAR_BENCH_COMPARE, the same run
// also prints protobuf's figures on an equivalent message (bench/compare/ethernet_info.proto),
// registered right after ours so that the two read side by side.

#include "alloc_counter.h"
#include "ethernet_sample.h"
#include "ratio_reporter.h"

#include <bindings/authorization/privilege_checks.h>
#include <bindings/authorization/privileges.h>
#include <bindings/authorization/roles.h>
#include <bindings/authorization/vt_containers.h>
#include <bindings/authorization/vt_containers/mappings.h>
#include <bindings/vm/hardware/adapter/nvme.h>
#include <bindings/vm/hardware/adapter/sata.h>
#include <bindings/vm/hardware/adapter/scsi.h>
#include <bindings/vm/hardware/boot.h>
#include <bindings/vm/hardware/boot/device.h>
#include <bindings/vm/hardware/cdrom.h>
#include <bindings/vm/hardware/cpu.h>
#include <bindings/vm/hardware/disk.h>
#include <bindings/vm/hardware/ethernet.h>
#include <bindings/vm/hardware/floppy.h>
#include <bindings/vm/hardware/memory.h>
#include <bindings/vm/hardware/parallel.h>
#include <bindings/vm/hardware/serial.h>

#if NEXAR_BENCH_COMPARE
#include "compare/ethernet_proto.h"

#include <google/protobuf/util/json_util.h>
#endif

#include <benchmark/benchmark.h>

#include <list>
#include <memory>
#include <string>

namespace {

using Opax::BaseMessage;
using Opax::Data::DataValuePtr;
using Opax::Data::NativeToDefinitionAdapter;
using Opax::Data::NativeToValueAdapter;
using Opax::Data::Validator;
using Opax::Data::ValueToNativeAdapter;

namespace Hw = Com::Quarn::Nexar::Vm::Hardware;
namespace Auth = Com::Quarn::Nexar::Authorization;
using Ethernet = Hw::EthernetSvc;
using Bench::InfoList;

using Bench::kListLength;
using Bench::MakeInfo;
using Bench::MakeInfoList;

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

void CountItems(benchmark::State& state, std::size_t perIteration) {
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * perIteration));
}

// ---------------------------------------------------------------------------------------------
// Ours: the adapters.

// Native to value, and the value freed again: the work a binder does for each result.
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

// Value to a fresh native object, which is freed again: the work a stub does for each result.
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

template <class T>
void RoundTrip(benchmark::State& state, T const& native) {
  std::list<BaseMessage> messages;
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    DataValuePtr value;
    NativeToValueAdapter::Adapt(native, value, messages);
    T back;
    ValueToNativeAdapter::Adapt(value, back, messages);
    benchmark::DoNotOptimize(back);
  }
  meter.Report(state);
  Fail(state, messages, "the round trip reported messages");
}

void BM_EthernetInfoToValue(benchmark::State& state) { NativeToValue(state, MakeInfo()); }
void BM_ValueToEthernetInfo(benchmark::State& state) {
  ValueToNative<Ethernet::Info>(state, ToValue(MakeInfo()));
}
void BM_EthernetInfoRoundTrip(benchmark::State& state) { RoundTrip(state, MakeInfo()); }

// Per list of a hundred; items/s gives adapters per second.
void BM_EthernetInfoListToValue(benchmark::State& state) {
  NativeToValue(state, MakeInfoList());
  CountItems(state, kListLength);
}
void BM_ValueToEthernetInfoList(benchmark::State& state) {
  ValueToNative<InfoList>(state, ToValue(MakeInfoList()));
  CountItems(state, kListLength);
}
void BM_EthernetInfoListRoundTrip(benchmark::State& state) {
  RoundTrip(state, MakeInfoList());
  CountItems(state, kListLength);
}

// ---------------------------------------------------------------------------------------------
// Ours: definitions and validation.

template <class... T>
struct TypeList {
  static constexpr std::size_t size = sizeof...(T);
};

// The top-level structures of every service of the pilot: Info, CreateSpec, UpdateSpec and
// Summary where a service has them. The boot device service has none of those; its Entry and
// EntryCreateSpec stand in for them. The latest privilege checks service declares no structure.
// Nested structures (backings, addresses) are described within the structures that hold them.
using PilotStructures = TypeList<
    // vm.hardware.adapter
    Hw::Adapter::NvmeSvc::Info, Hw::Adapter::NvmeSvc::CreateSpec, Hw::Adapter::NvmeSvc::Summary,
    Hw::Adapter::SataSvc::Info, Hw::Adapter::SataSvc::CreateSpec, Hw::Adapter::SataSvc::Summary,
    Hw::Adapter::ScsiSvc::Info, Hw::Adapter::ScsiSvc::CreateSpec, Hw::Adapter::ScsiSvc::UpdateSpec,
    Hw::Adapter::ScsiSvc::Summary,
    // vm.hardware.boot
    Hw::BootSvc::Info, Hw::BootSvc::CreateSpec, Hw::BootSvc::UpdateSpec, Hw::Boot::DeviceSvc::Entry,
    Hw::Boot::DeviceSvc::EntryCreateSpec,
    // vm.hardware devices with a backing
    Hw::CdromSvc::Info, Hw::CdromSvc::CreateSpec, Hw::CdromSvc::UpdateSpec, Hw::CdromSvc::Summary,
    Hw::DiskSvc::Info, Hw::DiskSvc::CreateSpec, Hw::DiskSvc::UpdateSpec, Hw::DiskSvc::Summary, Ethernet::Info,
    Ethernet::CreateSpec, Ethernet::UpdateSpec, Ethernet::Summary, Hw::FloppySvc::Info,
    Hw::FloppySvc::CreateSpec, Hw::FloppySvc::UpdateSpec, Hw::FloppySvc::Summary, Hw::ParallelSvc::Info,
    Hw::ParallelSvc::CreateSpec, Hw::ParallelSvc::UpdateSpec, Hw::ParallelSvc::Summary, Hw::SerialSvc::Info,
    Hw::SerialSvc::CreateSpec, Hw::SerialSvc::UpdateSpec, Hw::SerialSvc::Summary,
    // vm.hardware settings without devices
    Hw::CpuSvc::Info, Hw::CpuSvc::UpdateSpec, Hw::MemorySvc::Info, Hw::MemorySvc::UpdateSpec,
    // authorization
    Auth::PrivilegeChecksSvc::Info, Auth::PrivilegesSvc::Info, Auth::PrivilegesSvc::Summary,
    Auth::RolesSvc::Info, Auth::RolesSvc::CreateSpec, Auth::RolesSvc::UpdateSpec, Auth::RolesSvc::Summary,
    Auth::VtContainersSvc::Info, Auth::VtContainersSvc::CreateSpec, Auth::VtContainersSvc::Summary,
    Auth::VtContainers::MappingsSvc::Info, Auth::VtContainers::MappingsSvc::CreateSpec,
    Auth::VtContainers::MappingsSvc::Summary>;

template <class... T>
void DefineAll(TypeList<T...>) {
  (benchmark::DoNotOptimize(NativeToDefinitionAdapter::DefinitionOf<T>().get()), ...);
}

// One iteration describes every structure of the list afresh; items/s gives definitions per
// second. The adapter keeps nothing between calls, so this is what a process pays once per
// type if it builds every definition at start-up.
void BM_PilotDefinitions(benchmark::State& state) {
  Bench::AllocationMeter meter;
  for (auto _ : state) DefineAll(PilotStructures{});
  meter.Report(state);
  CountItems(state, PilotStructures::size);
  state.counters["types"] = PilotStructures::size;
}

void BM_EthernetInfoDefinition(benchmark::State& state) {
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    auto definition = NativeToDefinitionAdapter::DefinitionOf<Ethernet::Info>();
    benchmark::DoNotOptimize(definition.get());
  }
  meter.Report(state);
}

// The native check a binder runs on a result before it converts it (union rules, required
// nested structures); Arg 0 is LENIENT, 1 STRICT.
void BM_EthernetInfoIsValid(benchmark::State& state) {
  Ethernet::Info const info = MakeInfo();
  auto const policy = static_cast<Validator::Policy>(state.range(0));
  std::list<BaseMessage> messages;
  Bench::AllocationMeter meter;
  for (auto _ : state) benchmark::DoNotOptimize(Validator::isValid(info, policy, messages));
  meter.Report(state);
  state.SetLabel(policy == Validator::STRICT ? "STRICT" : "LENIENT");
  Fail(state, messages, "native validation reported messages");
}

// The value check against the type's definition, as done on a value received from a peer.
template <class T>
void ValidateValue(benchmark::State& state, T const& native) {
  auto const definition = NativeToDefinitionAdapter::DefinitionOf<T>();
  DataValuePtr const value = ToValue(native);
  std::list<BaseMessage> messages;
  Bench::AllocationMeter meter;
  for (auto _ : state) benchmark::DoNotOptimize(definition->Validate(value, messages));
  meter.Report(state);
  Fail(state, messages, "value validation reported messages");
}

void BM_ValidateEthernetInfoValue(benchmark::State& state) { ValidateValue(state, MakeInfo()); }
void BM_ValidateEthernetInfoListValue(benchmark::State& state) {
  ValidateValue(state, MakeInfoList());
  CountItems(state, kListLength);
}

#if NEXAR_BENCH_COMPARE
// ---------------------------------------------------------------------------------------------
// protobuf, on the same content.

namespace Pb = nexar::bench;
using Bench::FillProto;

Pb::EthernetInfo MakeProto() {
  Pb::EthernetInfo info;
  FillProto(info);
  return info;
}

Pb::EthernetInfoList MakeProtoList() {
  Pb::EthernetInfoList list;
  for (std::size_t i = 0; i < kListLength; ++i)
    FillProto(*list.add_items(), "Network adapter " + std::to_string(i + 1));
  return list;
}

// Serialises into a fresh string and parses into a fresh message, both freed again: the
// counterpart of our native -> value -> native round trip (a fresh value, a fresh native).
template <class M>
void ProtoBinaryRoundTrip(benchmark::State& state, M const& message) {
  bool ok = true;
  std::size_t bytes = 0;
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    std::string wire;
    ok &= message.SerializeToString(&wire);
    M back;
    ok &= back.ParseFromString(wire);
    bytes = wire.size();
    benchmark::DoNotOptimize(back);
  }
  meter.Report(state);
  state.counters["wire bytes"] = static_cast<double>(bytes);
  if (!ok) state.SkipWithError("protobuf binary round trip failed");
}

template <class M>
void ProtoSerialize(benchmark::State& state, M const& message) {
  bool ok = true;
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    std::string wire;
    ok &= message.SerializeToString(&wire);
    benchmark::DoNotOptimize(wire.data());
  }
  meter.Report(state);
  if (!ok) state.SkipWithError("protobuf serialisation failed");
}

template <class M>
void ProtoParse(benchmark::State& state, M const& message) {
  std::string const wire = message.SerializeAsString();
  bool ok = true;
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    M back;
    ok &= back.ParseFromString(wire);
    benchmark::DoNotOptimize(back);
  }
  meter.Report(state);
  if (!ok) state.SkipWithError("protobuf parsing failed");
}

// Field names as declared, as our wire names are; enums as their names.
google::protobuf::util::JsonPrintOptions JsonOptions() {
  google::protobuf::util::JsonPrintOptions options;
  options.preserve_proto_field_names = true;
  return options;
}

template <class M>
void ProtoJsonRoundTrip(benchmark::State& state, M const& message) {
  auto const options = JsonOptions();
  bool ok = true;
  std::size_t bytes = 0;
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    std::string json;
    ok &= google::protobuf::util::MessageToJsonString(message, &json, options).ok();
    M back;
    ok &= google::protobuf::util::JsonStringToMessage(json, &back).ok();
    bytes = json.size();
    benchmark::DoNotOptimize(back);
  }
  meter.Report(state);
  state.counters["json bytes"] = static_cast<double>(bytes);
  if (!ok) state.SkipWithError("protobuf JSON round trip failed");
}

void BM_ProtoEthernetInfoSerialize(benchmark::State& state) { ProtoSerialize(state, MakeProto()); }
void BM_ProtoEthernetInfoParse(benchmark::State& state) { ProtoParse(state, MakeProto()); }
void BM_ProtoEthernetInfoBinaryRoundTrip(benchmark::State& state) {
  ProtoBinaryRoundTrip(state, MakeProto());
}
void BM_ProtoEthernetInfoJsonRoundTrip(benchmark::State& state) { ProtoJsonRoundTrip(state, MakeProto()); }
void BM_ProtoEthernetInfoListBinaryRoundTrip(benchmark::State& state) {
  ProtoBinaryRoundTrip(state, MakeProtoList());
  CountItems(state, kListLength);
}
void BM_ProtoEthernetInfoListJsonRoundTrip(benchmark::State& state) {
  ProtoJsonRoundTrip(state, MakeProtoList());
  CountItems(state, kListLength);
}
#endif  // NEXAR_BENCH_COMPARE

}  // namespace

// Registered here rather than beside each function so that every protobuf figure prints right
// under the figure of ours it compares with.
BENCHMARK(BM_EthernetInfoToValue);
#if NEXAR_BENCH_COMPARE
BENCHMARK(BM_ProtoEthernetInfoSerialize);
#endif
BENCHMARK(BM_ValueToEthernetInfo);
#if NEXAR_BENCH_COMPARE
BENCHMARK(BM_ProtoEthernetInfoParse);
#endif
BENCHMARK(BM_EthernetInfoRoundTrip);
#if NEXAR_BENCH_COMPARE
BENCHMARK(BM_ProtoEthernetInfoBinaryRoundTrip);
BENCHMARK(BM_ProtoEthernetInfoJsonRoundTrip);
#endif
BENCHMARK(BM_EthernetInfoListToValue);
BENCHMARK(BM_ValueToEthernetInfoList);
BENCHMARK(BM_EthernetInfoListRoundTrip);
#if NEXAR_BENCH_COMPARE
BENCHMARK(BM_ProtoEthernetInfoListBinaryRoundTrip);
BENCHMARK(BM_ProtoEthernetInfoListJsonRoundTrip);
#endif
BENCHMARK(BM_PilotDefinitions);
BENCHMARK(BM_EthernetInfoDefinition);
BENCHMARK(BM_EthernetInfoIsValid)->Arg(Validator::LENIENT)->Arg(Validator::STRICT);
BENCHMARK(BM_ValidateEthernetInfoValue);
BENCHMARK(BM_ValidateEthernetInfoListValue);

#if NEXAR_BENCH_COMPARE
int main(int argc, char** argv) {
  return Bench::RunWithRatios(
      argc, argv, "Ours over protobuf",
      {{"BM_EthernetInfoRoundTrip", "BM_ProtoEthernetInfoBinaryRoundTrip", " (target: within 2x)"},
       {"BM_EthernetInfoRoundTrip", "BM_ProtoEthernetInfoJsonRoundTrip", ""},
       {"BM_EthernetInfoToValue", "BM_ProtoEthernetInfoSerialize", ""},
       {"BM_ValueToEthernetInfo", "BM_ProtoEthernetInfoParse", ""},
       {"BM_EthernetInfoListRoundTrip", "BM_ProtoEthernetInfoListBinaryRoundTrip", ""}});
}
#else
BENCHMARK_MAIN();
#endif
