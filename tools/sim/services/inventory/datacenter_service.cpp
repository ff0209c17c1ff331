#include "services.h"
#include "tree.h"

#include "../errors.h"
#include "../kinds.h"

#include <bindings/datacenter.h>
#include <bindings/folder.h>

namespace Sim {
namespace Inventory {
namespace {

using ::Com::Quarn::Nexar::DatacenterSvc;
using ::Com::Quarn::Nexar::FolderSvc;
using SummaryList = std::list<std::shared_ptr<DatacenterSvc::Summary const>>;

std::string AddFolder(Store& store, std::string const& datacenter, std::string const& name,
                      FolderSvc::Type type) {
  std::string const id = store.NewId(Prefix::kFolder);
  Save(store, Kinds::kFolder, id, datacenter, FolderSvc::Info(name, type).datacenter(datacenter));
  return id;
}

bool HoldsHostsOrMachines(std::vector<Store::Row> const& below) {
  for (auto const& row : below) {
    if (row.kind == Kinds::kHost || row.kind == Kinds::kVirtualMachine) return true;
  }
  return false;
}

class Datacenters : public DatacenterSvc::AsyncServiceInterface {
 public:
  explicit Datacenters(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void Create(std::shared_ptr<DatacenterSvc::CreateSpec const> const& spec, Activation const&,
              Result<std::string> const& result) override {
    state_->Run([spec, result](Store& store) {
      Store::Transaction transaction(store);
      std::string const folder = spec->folder().value_or(RootFolder(store));
      auto parent = Load<FolderSvc::Info>(store, Kinds::kFolder, folder);
      if (!parent) return result.SetError(NotFound("folder", folder));
      if (parent->type() != FolderSvc::Type::DATACENTER) {
        return result.SetError(InvalidArgument(Say("nexar.sim.inventory.folder.not_for_datacenters",
                                                   "The folder '{0}' does not hold datacenters.", {folder})));
      }
      if (NameTaken(store, folder, spec->name()))
        return result.SetError(AlreadyExists("datacenter", spec->name()));
      std::string const id = store.NewId(Prefix::kDatacenter);
      DatacenterSvc::Info info;
      info.name(spec->name()).parent(folder);
      info.hostFolder(AddFolder(store, id, "host", FolderSvc::Type::HOST));
      info.vmFolder(AddFolder(store, id, "vm", FolderSvc::Type::VIRTUAL_MACHINE));
      info.datastoreFolder(AddFolder(store, id, "datastore", FolderSvc::Type::DATASTORE));
      info.networkFolder(AddFolder(store, id, "network", FolderSvc::Type::NETWORK));
      Save(store, Kinds::kDatacenter, id, folder, info);
      transaction.Commit();
      result.SetResult(id);
    });
  }

  void Delete(std::string const& datacenter, boost::optional<bool> const& force, Activation const&,
              Result<::Opax::Void> const& result) override {
    bool const forced = force.value_or(false);
    state_->Run([datacenter, forced, result](Store& store) {
      auto row = store.Get(Kinds::kDatacenter, datacenter);
      if (!row) return result.SetError(NotFound("datacenter", datacenter));
      auto const below = Descendants(store, datacenter);
      if (!forced && HoldsHostsOrMachines(below)) {
        return result.SetError(
            ResourceInUse(Say("nexar.sim.inventory.datacenter.in_use",
                              "The datacenter '{0}' still holds hosts or virtual machines.", {datacenter})));
      }
      Store::Transaction transaction(store);
      for (auto const& child : below) RemoveObject(store, child);
      RemoveObject(store, *row);
      transaction.Commit();
      result.SetResult(::Opax::Void());
    });
  }

  void List(::Opax::OptionalPtr<DatacenterSvc::FilterSpec const> const& filter, Activation const&,
            Result<SummaryList> const& result) override {
    state_->Run([filter, result](Store& store) {
      SummaryList found;
      for (auto const& row : store.List(Kinds::kDatacenter)) {
        auto const info = FromDocument<DatacenterSvc::Info>(row.doc);
        if (filter && !Matches(store, *filter, row.id, info)) continue;
        found.push_back(std::make_shared<DatacenterSvc::Summary const>(row.id, info.name()));
      }
      result.SetResult(found);
    });
  }

  void Get(std::string const& datacenter, Activation const&,
           Result<std::shared_ptr<DatacenterSvc::Info const>> const& result) override {
    state_->Run([datacenter, result](Store& store) {
      auto info = Load<DatacenterSvc::Info>(store, Kinds::kDatacenter, datacenter);
      if (!info) return result.SetError(NotFound("datacenter", datacenter));
      result.SetResult(std::make_shared<DatacenterSvc::Info const>(*info));
    });
  }

 private:
  static bool Matches(Store& store, DatacenterSvc::FilterSpec const& filter, std::string const& id,
                      DatacenterSvc::Info const& info) {
    if (!Admits(filter.datacenters(), id) || !Admits(filter.names(), info.name())) return false;
    if (!filter.folders()) return true;
    for (auto const& folder : *filter.folders()) {
      if (Within(store, id, folder)) return true;
    }
    return false;
  }

  std::shared_ptr<State> state_;
};

}  // namespace

BoundService BindDatacenters(Services const& services) {
  return DatacenterSvc::AsyncServiceBinder::BindImplementation(std::make_shared<Datacenters>(services.state),
                                                               services.localizer);
}

}  // namespace Inventory
}  // namespace Sim
