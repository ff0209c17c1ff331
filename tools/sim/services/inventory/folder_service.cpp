#include "services.h"
#include "tree.h"

#include "../errors.h"
#include "../kinds.h"

#include <bindings/folder.h>

namespace Sim {
namespace Inventory {
namespace {

using ::Com::Quarn::Nexar::FolderSvc;
using SummaryList = std::list<std::shared_ptr<FolderSvc::Summary const>>;

class Folders : public FolderSvc::AsyncServiceInterface {
 public:
  explicit Folders(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void List(::Opax::OptionalPtr<FolderSvc::FilterSpec const> const& filter, Activation const&,
            Result<SummaryList> const& result) override {
    state_->Run([filter, result](Store& store) {
      RootFolder(store);
      SummaryList found;
      for (auto const& row : store.List(Kinds::kFolder)) {
        auto const info = FromDocument<FolderSvc::Info>(row.doc);
        if (filter && !Matches(*filter, row, info)) continue;
        found.push_back(std::make_shared<FolderSvc::Summary const>(row.id, info.name(), info.type()));
      }
      result.SetResult(found);
    });
  }

  void Get(std::string const& folder, Activation const&,
           Result<std::shared_ptr<FolderSvc::Info const>> const& result) override {
    state_->Run([folder, result](Store& store) {
      RootFolder(store);
      auto info = Load<FolderSvc::Info>(store, Kinds::kFolder, folder);
      if (!info) return result.SetError(NotFound("folder", folder));
      result.SetResult(std::make_shared<FolderSvc::Info const>(*info));
    });
  }

  void Create(std::shared_ptr<FolderSvc::CreateSpec const> const& spec, Activation const&,
              Result<std::string> const& result) override {
    state_->Run([spec, result](Store& store) {
      Store::Transaction transaction(store);
      RootFolder(store);
      auto parent = Load<FolderSvc::Info>(store, Kinds::kFolder, spec->parent());
      if (!parent) return result.SetError(NotFound("folder", spec->parent()));
      if (NameTaken(store, spec->parent(), spec->name()))
        return result.SetError(AlreadyExists("folder", spec->name()));
      std::string const id = store.NewId(Prefix::kFolder);
      FolderSvc::Info info(spec->name(), parent->type());
      info.parent(spec->parent()).datacenter(parent->datacenter());
      Save(store, Kinds::kFolder, id, spec->parent(), info);
      transaction.Commit();
      result.SetResult(id);
    });
  }

  void Delete(std::string const& folder, Activation const&, Result<::Opax::Void> const& result) override {
    state_->Run([folder, result](Store& store) {
      auto row = store.Get(Kinds::kFolder, folder);
      if (!row) return result.SetError(NotFound("folder", folder));
      if (row->parent.empty() || store.Exists(Kinds::kDatacenter, row->parent)) {
        return result.SetError(Unsupported(Say(
            "nexar.sim.inventory.folder.owned",
            "The folder '{0}' belongs to its datacenter or the inventory and cannot be deleted.", {folder})));
      }
      if (!Descendants(store, folder).empty()) {
        return result.SetError(ResourceInUse(
            Say("nexar.sim.inventory.folder.in_use", "The folder '{0}' is not empty.", {folder})));
      }
      Store::Transaction transaction(store);
      RemoveObject(store, *row);
      transaction.Commit();
      result.SetResult(::Opax::Void());
    });
  }

 private:
  static bool Matches(FolderSvc::FilterSpec const& filter, Store::Row const& row,
                      FolderSvc::Info const& info) {
    if (!Admits(filter.folders(), row.id) || !Admits(filter.names(), info.name())) return false;
    if (filter.type() && *filter.type() != info.type()) return false;
    if (filter.parentFolders() && (!info.parent() || !filter.parentFolders()->count(*info.parent())))
      return false;
    if (filter.datacenters() && (!info.datacenter() || !filter.datacenters()->count(*info.datacenter())))
      return false;
    return true;
  }

  std::shared_ptr<State> state_;
};

}  // namespace

BoundService BindFolders(Services const& services) {
  return FolderSvc::AsyncServiceBinder::BindImplementation(std::make_shared<Folders>(services.state),
                                                           services.localizer);
}

}  // namespace Inventory
}  // namespace Sim
