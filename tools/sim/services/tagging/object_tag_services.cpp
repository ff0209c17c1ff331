#include "attachments.h"
#include "services.h"

#include "../../state/document.h"
#include "../kinds.h"

#include <bindings/tag_associations/host.h>
#include <bindings/tag_associations/vm.h>
#include <bindings/tags/host.h>
#include <bindings/tags/host/associations.h>
#include <bindings/tags/vm.h>
#include <bindings/tags/vm/associations.h>
#include <bindings/vm/tags.h>

namespace Sim {
namespace Tagging {
namespace {

namespace Nexar = ::Com::Quarn::Nexar;
using MessageList = std::list<std::shared_ptr<::Com::Quarn::Opax::Std::LocalizableMessage const>>;

// The two kinds of object whose tags the catalogue reads from both sides; the generated services
// for each differ only in names, so one template serves both.
struct Machines {
  static constexpr char const* kKind = Kinds::kVirtualMachine;
  static constexpr char const* kWhat = "virtual machine";
  using InUse = Nexar::Tags::VmSvc;
  using Associations = Nexar::Tags::Vm::AssociationsSvc;
  using FromObjects = Nexar::TagAssociations::VmSvc;
  static auto const& Objects(FromObjects::FilterSpec const& filter) { return filter.vms(); }
  static void SetObjects(Associations::Info& info, std::set<std::string> const& objects) {
    info.vms(objects);
  }
};
struct Hosts {
  static constexpr char const* kKind = Kinds::kHost;
  static constexpr char const* kWhat = "host";
  using InUse = Nexar::Tags::HostSvc;
  using Associations = Nexar::Tags::Host::AssociationsSvc;
  using FromObjects = Nexar::TagAssociations::HostSvc;
  static auto const& Objects(FromObjects::FilterSpec const& filter) { return filter.hosts(); }
  static void SetObjects(Associations::Info& info, std::set<std::string> const& objects) {
    info.hosts(objects);
  }
};

MessageList Carried(ErrorPtr const& error) {
  MessageList messages;
  for (auto const& message : error->messages()) {
    messages.push_back(std::make_shared<::Com::Quarn::Opax::Std::LocalizableMessage const>(
        message.id(), message.defaultMessage(),
        std::list<std::string>(message.args().begin(), message.args().end())));
  }
  return messages;
}

template <class Of>
class TagsInUse : public Of::InUse::AsyncServiceInterface {
  using Svc = typename Of::InUse;

 public:
  explicit TagsInUse(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void List(::Opax::OptionalPtr<typename Svc::FilterSpec const> const& filter, Activation const&,
            Result<std::list<std::shared_ptr<typename Svc::Summary const>>> const& result) override {
    state_->Run([filter, result](Store& store) {
      std::list<std::shared_ptr<typename Svc::Summary const>> found;
      for (auto const& row : store.List(Kinds::kTag)) {
        auto const tag = FromDocument<TagRecord>(row.doc);
        auto const objects = ObjectsWith(store, row.id, Of::kKind);
        if (objects.empty()) continue;
        if (filter && (!Admits(filter->tags(), row.id) || !Admits(filter->categories(), tag.category())))
          continue;
        found.push_back(std::make_shared<typename Svc::Summary const>(row.id, tag.name(), tag.category(),
                                                                      static_cast<int64_t>(objects.size())));
      }
      result.SetResult(found);
    });
  }

  void Delete(std::string const& tag, Activation const&, Result<::Opax::Void> const& result) override {
    state_->Run([tag, result](Store& store) {
      auto const objects = ObjectsWith(store, tag, Of::kKind);
      if (objects.empty()) return result.SetError(NotFound(std::string("tag on a ") + Of::kWhat, tag));
      Store::Transaction transaction(store);
      for (auto const& object : objects) Detach(store, tag, object);
      transaction.Commit();
      result.SetResult(::Opax::Void());
    });
  }

 private:
  std::shared_ptr<State> state_;
};

template <class Of>
class TagAssociations : public Of::Associations::AsyncServiceInterface {
  using Svc = typename Of::Associations;
  using StatusPtr = std::shared_ptr<typename Svc::Status const>;

 public:
  explicit TagAssociations(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void Add(std::string const& tag, std::set<std::string> const& objects, Activation const&,
           Result<StatusPtr> const& result) override {
    Change(tag, objects, true, result);
  }
  void Remove(std::string const& tag, std::set<std::string> const& objects, Activation const&,
              Result<StatusPtr> const& result) override {
    Change(tag, objects, false, result);
  }

  void Get(std::string const& tag, Activation const&,
           Result<std::shared_ptr<typename Svc::Info const>> const& result) override {
    state_->Run([tag, result](Store& store) {
      if (!store.Exists(Kinds::kTag, tag)) return result.SetError(NotFound("tag", tag));
      typename Svc::Info info;
      Of::SetObjects(info, ObjectsWith(store, tag, Of::kKind));
      result.SetResult(std::make_shared<typename Svc::Info const>(info));
    });
  }

 private:
  // One object's failure does not stop the others.
  void Change(std::string const& tag, std::set<std::string> const& objects, bool attach,
              Result<StatusPtr> const& result) {
    if (objects.empty()) {
      return result.SetError(
          InvalidArgument(Say("nexar.sim.tagging.no_objects", "Name at least one {0}.", {Of::kWhat})));
    }
    state_->Run([tag, objects, attach, result](Store& store) {
      auto const record = FindTag(store, tag);
      if (!record) return result.SetError(NotFound("tag", tag));
      typename Svc::Status status;
      std::set<std::string> succeeded;
      std::list<std::shared_ptr<typename Svc::Failure const>> failed;
      Store::Transaction transaction(store);
      for (auto const& object : objects) {
        ErrorPtr error = store.Exists(Of::kKind, object) ? nullptr : NotFound(Of::kWhat, object);
        if (!error && attach) error = CheckAttach(store, *record, Of::kKind, object);
        if (error) {
          failed.push_back(std::make_shared<typename Svc::Failure const>(object, Carried(error)));
          continue;
        }
        attach ? Attach(store, tag, Of::kKind, object) : Detach(store, tag, object);
        succeeded.insert(object);
      }
      transaction.Commit();
      result.SetResult(std::make_shared<typename Svc::Status const>(succeeded, failed));
    });
  }

  std::shared_ptr<State> state_;
};

template <class Of>
class TagsByObject : public Of::FromObjects::AsyncServiceInterface {
  using Svc = typename Of::FromObjects;

 public:
  explicit TagsByObject(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void List(::Opax::OptionalPtr<typename Svc::FilterSpec const> const& filter, Activation const&,
            Result<std::list<std::shared_ptr<typename Svc::Summary const>>> const& result) override {
    state_->Run([filter, result](Store& store) {
      bool const untagged = filter && filter->includeUntagged().value_or(false);
      std::list<std::shared_ptr<typename Svc::Summary const>> found;
      for (auto const& row : store.List(Of::kKind)) {
        auto const tags = TagsOf(store, row.id);
        if (tags.empty() && !untagged) continue;
        if (filter && !Admits(Of::Objects(*filter), row.id)) continue;
        if (filter && filter->tags() && std::none_of(tags.begin(), tags.end(), [&](std::string const& tag) {
              return filter->tags()->count(tag) > 0;
            }))
          continue;
        found.push_back(std::make_shared<typename Svc::Summary const>(row.id, tags));
      }
      result.SetResult(found);
    });
  }

 private:
  std::shared_ptr<State> state_;
};

using MachineTagsSvc = Nexar::Vm::TagsSvc;

// A machine's tags from its own side: all or nothing, unlike the per-tag associations.
class MachineTags : public MachineTagsSvc::AsyncServiceInterface {
 public:
  explicit MachineTags(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void Add(std::string const& vm, std::set<std::string> const& tags, Activation const&,
           Result<::Opax::Void> const& result) override {
    state_->Run([vm, tags, result](Store& store) {
      if (!store.Exists(Kinds::kVirtualMachine, vm)) return result.SetError(NotFound("virtual machine", vm));
      Store::Transaction transaction(store);
      for (auto const& tag : tags) {
        auto const record = FindTag(store, tag);
        if (!record) return result.SetError(NotFound("tag", tag));
        if (auto error = CheckAttach(store, *record, Kinds::kVirtualMachine, vm))
          return result.SetError(error);
        Attach(store, tag, Kinds::kVirtualMachine, vm);
      }
      transaction.Commit();
      result.SetResult(::Opax::Void());
    });
  }

  void Remove(std::string const& vm, std::set<std::string> const& tags, Activation const&,
              Result<::Opax::Void> const& result) override {
    state_->Run([vm, tags, result](Store& store) {
      if (!store.Exists(Kinds::kVirtualMachine, vm)) return result.SetError(NotFound("virtual machine", vm));
      Store::Transaction transaction(store);
      for (auto const& tag : tags) Detach(store, tag, vm);
      transaction.Commit();
      result.SetResult(::Opax::Void());
    });
  }

  void Get(std::string const& vm, Activation const&,
           Result<std::shared_ptr<MachineTagsSvc::Info const>> const& result) override {
    state_->Run([vm, result](Store& store) {
      if (!store.Exists(Kinds::kVirtualMachine, vm)) return result.SetError(NotFound("virtual machine", vm));
      std::list<std::shared_ptr<MachineTagsSvc::AttachedTag const>> attached;
      for (auto const& tag : TagsOf(store, vm)) {
        auto const record = FindTag(store, tag);
        auto const category = record ? FindCategory(store, record->category()) : boost::none;
        if (!category) continue;
        attached.push_back(std::make_shared<MachineTagsSvc::AttachedTag const>(
            tag, record->name(), record->category(), category->name()));
      }
      MachineTagsSvc::Info info;
      info.tags(attached);
      result.SetResult(std::make_shared<MachineTagsSvc::Info const>(info));
    });
  }

 private:
  std::shared_ptr<State> state_;
};

template <class Svc, class Impl>
BoundService Bind(Services const& services) {
  return Svc::AsyncServiceBinder::BindImplementation(std::make_shared<Impl>(services.state),
                                                     services.localizer);
}

}  // namespace

void BindObjectTags(Services const& services, Bound& bound) {
  bound.push_back(Bind<Machines::InUse, TagsInUse<Machines>>(services));
  bound.push_back(Bind<Hosts::InUse, TagsInUse<Hosts>>(services));
  bound.push_back(Bind<Machines::Associations, TagAssociations<Machines>>(services));
  bound.push_back(Bind<Hosts::Associations, TagAssociations<Hosts>>(services));
  bound.push_back(Bind<Machines::FromObjects, TagsByObject<Machines>>(services));
  bound.push_back(Bind<Hosts::FromObjects, TagsByObject<Hosts>>(services));
  bound.push_back(Bind<MachineTagsSvc, MachineTags>(services));
}

}  // namespace Tagging
}  // namespace Sim
