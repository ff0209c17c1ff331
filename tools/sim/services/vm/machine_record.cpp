#include "machine_record.h"

#include "../../state/document.h"
#include "../kinds.h"

#include <boost/json.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <stdexcept>

namespace Sim {
namespace Machines {
namespace {

namespace json = boost::json;

std::string Text(json::object const& object, char const* key) {
  json::value const* value = object.if_contains(key);
  json::string const* text = value ? value->if_string() : nullptr;
  return text ? std::string(*text) : std::string();
}

json::object RecordObject(Record const& record) {
  json::array order;
  for (auto const& type : record.bootOrder) order.emplace_back(type);
  json::object object{{"name", record.name},
                      {"guest_os", record.guestOs},
                      {"datacenter", record.datacenter},
                      {"folder", record.folder},
                      {"resource_pool", record.resourcePool},
                      {"host", record.host},
                      {"cluster", record.cluster},
                      {"datastore", record.datastore},
                      {"path", record.path},
                      {"bios_uuid", record.biosUuid},
                      {"instance_uuid", record.instanceUuid},
                      {"boot_order", std::move(order)}};
  if (record.notes) object["notes"] = *record.notes;
  return object;
}

Record RecordFrom(json::object const& object) {
  Record record;
  record.name = Text(object, "name");
  if (object.contains("notes")) record.notes = Text(object, "notes");
  record.guestOs = Text(object, "guest_os");
  record.datacenter = Text(object, "datacenter");
  record.folder = Text(object, "folder");
  record.resourcePool = Text(object, "resource_pool");
  record.host = Text(object, "host");
  record.cluster = Text(object, "cluster");
  record.datastore = Text(object, "datastore");
  record.path = Text(object, "path");
  record.biosUuid = Text(object, "bios_uuid");
  record.instanceUuid = Text(object, "instance_uuid");
  if (json::value const* order = object.if_contains("boot_order")) {
    if (json::array const* types = order->if_array()) {
      for (auto const& type : *types) {
        if (type.is_string()) record.bootOrder.emplace_back(type.as_string());
      }
    }
  }
  return record;
}

json::object const& AsObject(json::value const& value) {
  if (!value.is_object()) throw std::runtime_error("a machine document is not an object");
  return value.as_object();
}

template <class T>
T Setting(Store& store, char const* kind, std::string const& id) {
  auto row = store.Get(kind, id);
  if (!row) throw std::runtime_error("a machine lacks a settings document");
  return FromDocument<T>(row->doc);
}

}  // namespace

Record ReadRecord(std::string const& doc) { return RecordFrom(AsObject(json::parse(doc))); }

boost::optional<Machine> Load(Store& store, std::string const& id) {
  auto row = store.Get(Kinds::kVirtualMachine, id);
  if (!row) return boost::none;
  Machine machine;
  machine.id = id;
  machine.record = ReadRecord(row->doc);
  machine.power = Setting<PowerInfo>(store, Kinds::kPower, id);
  machine.cpu = Setting<CpuInfo>(store, Kinds::kCpu, id);
  machine.memory = Setting<MemoryInfo>(store, Kinds::kMemory, id);
  machine.boot = Setting<BootInfo>(store, Kinds::kBoot, id);
  machine.hardware = Setting<HardwareInfo>(store, kHardware, id);
  return machine;
}

void Save(Store& store, Machine const& machine) {
  std::string const& id = machine.id;
  store.Put(
      {Kinds::kVirtualMachine, id, machine.record.folder, json::serialize(RecordObject(machine.record))});
  store.Put({Kinds::kPower, id, id, ToDocument(machine.power)});
  store.Put({Kinds::kCpu, id, id, ToDocument(machine.cpu)});
  store.Put({Kinds::kMemory, id, id, ToDocument(machine.memory)});
  store.Put({Kinds::kBoot, id, id, ToDocument(machine.boot)});
  store.Put({kHardware, id, id, ToDocument(machine.hardware)});
}

void Erase(Store& store, std::string const& id) {
  for (char const* kind :
       {Kinds::kVirtualMachine, Kinds::kPower, Kinds::kCpu, Kinds::kMemory, Kinds::kBoot, kHardware}) {
    store.Remove(kind, id);
  }
}

std::string FileKey(std::string const& datastore, std::string const& path) { return datastore + ":" + path; }

void SaveUnregistered(Store& store, Machine const& machine) {
  json::object bundle{{"id", machine.id},
                      {"record", RecordObject(machine.record)},
                      {"power", json::parse(ToDocument(machine.power))},
                      {"cpu", json::parse(ToDocument(machine.cpu))},
                      {"memory", json::parse(ToDocument(machine.memory))},
                      {"boot", json::parse(ToDocument(machine.boot))},
                      {"hardware", json::parse(ToDocument(machine.hardware))}};
  store.Put(
      {kUnregistered, FileKey(machine.record.datastore, machine.record.path), "", json::serialize(bundle)});
}

boost::optional<Machine> LoadUnregistered(Store& store, std::string const& key) {
  auto row = store.Get(kUnregistered, key);
  if (!row) return boost::none;
  json::value const parsed = json::parse(row->doc);
  json::object const& bundle = AsObject(parsed);
  auto part = [&bundle](char const* name) {
    json::value const* value = bundle.if_contains(name);
    if (!value) throw std::runtime_error("an unregistered machine's bundle is incomplete");
    return json::serialize(*value);
  };
  Machine machine;
  machine.id = Text(bundle, "id");
  machine.record = RecordFrom(AsObject(bundle.at("record")));
  machine.power = FromDocument<PowerInfo>(part("power"));
  machine.cpu = FromDocument<CpuInfo>(part("cpu"));
  machine.memory = FromDocument<MemoryInfo>(part("memory"));
  machine.boot = FromDocument<BootInfo>(part("boot"));
  machine.hardware = FromDocument<HardwareInfo>(part("hardware"));
  return machine;
}

std::string NewUuid() { return boost::uuids::to_string(boost::uuids::random_generator()()); }

bool NameTaken(Store& store, std::string const& folder, std::string const& name) {
  for (auto const& row : store.Children(Kinds::kVirtualMachine, folder)) {
    if (ReadRecord(row.doc).name == name) return true;
  }
  return false;
}

std::string ConfigPath(Store& store, std::string const& datastore, std::string const& name,
                       std::string const& id) {
  std::string const plain = name + "/" + name + ".cfg";
  bool used = store.Exists(kUnregistered, FileKey(datastore, plain));
  for (auto const& row : store.List(Kinds::kVirtualMachine)) {
    if (used) break;
    Record const record = ReadRecord(row.doc);
    used = record.datastore == datastore && record.path == plain;
  }
  return used ? name + "_" + id + "/" + name + ".cfg" : plain;
}

std::set<std::string> DeviceIds(Store& store, char const* kind, std::string const& vm) {
  std::set<std::string> ids;
  for (auto const& row : store.Children(kind, vm)) ids.insert(row.id);
  return ids;
}

PowerState::EnumType PowerOf(Store& store, std::string const& id) {
  return Setting<PowerInfo>(store, Kinds::kPower, id).state();
}

}  // namespace Machines
}  // namespace Sim
