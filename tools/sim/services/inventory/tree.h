#pragma once

// The inventory as a tree of rows linked by their parents, for the inventory's services and
// placement. Ids carry their kind in their prefix, so that a walk up or down needs no kind.

#include "../../state/document.h"
#include "../../state/store.h"

#include <boost/optional.hpp>

#include <string>
#include <vector>

namespace Sim {
namespace Inventory {

// The id prefixes the inventory hands out (Store::NewId).
namespace Prefix {
constexpr char kDatacenter[] = "datacenter";
constexpr char kFolder[] = "group";
constexpr char kCluster[] = "domain-c";
constexpr char kHost[] = "host";
constexpr char kResourcePool[] = "resgroup";
constexpr char kDatastore[] = "datastore";
constexpr char kNetwork[] = "network";
constexpr char kPortGroup[] = "dvportgroup";
constexpr char kDistributedSwitch[] = "dvs";
}  // namespace Prefix

// The kind of an inventory id, or "" for one that no inventory prefix starts.
std::string KindOfId(std::string const& id);

boost::optional<Store::Row> Find(Store& store, std::string const& id);

template <class T>
boost::optional<T> Load(Store& store, char const* kind, std::string const& id) {
  auto row = store.Get(kind, id);
  if (!row) return boost::none;
  return FromDocument<T>(row->doc);
}

template <class T>
void Save(Store& store, char const* kind, std::string const& id, std::string const& parent, T const& doc) {
  store.Put({kind, id, parent, ToDocument(doc)});
}

// The folder above every datacenter, made on first use.
std::string RootFolder(Store& store);

// The chain from `id` up to the top, `id` first. A chain longer than any the services build
// means a damaged state and is cut there.
std::vector<Store::Row> Ancestry(Store& store, std::string const& id);

// The datacenter `id` is in, or "" above every datacenter.
std::string DatacenterOf(Store& store, std::string const& id);

// Whether `id` is `container` or lies anywhere below it.
bool Within(Store& store, std::string const& id, std::string const& container);

// Every inventory row below `id` (machines included), breadth first.
std::vector<Store::Row> Descendants(Store& store, std::string const& id);

// Whether a child of `parent` of any inventory kind already has `name`.
bool NameTaken(Store& store, std::string const& parent, std::string const& name);

// Removes a machine and whatever belongs to it: its settings, devices and tags.
void RemoveMachine(Store& store, std::string const& vm);
// Removes one inventory row and the tags and labels attached to it.
void RemoveObject(Store& store, Store::Row const& row);

}  // namespace Inventory
}  // namespace Sim
