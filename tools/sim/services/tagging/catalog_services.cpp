#include "attachments.h"
#include "services.h"

#include "../../state/document.h"
#include "../kinds.h"

#include <bindings/tagging/associations.h>
#include <sim/tagging.h>

#include <algorithm>

namespace Sim {
namespace Tagging {
namespace {

using ::Com::Quarn::Nexar::Tagging::AssociationsSvc;
using ::Com::Quarn::Nexar::Tagging::CategoriesSvc;
using ::Com::Quarn::Nexar::Tagging::TagsSvc;
using ::Com::Quarn::Sim::TaggingSvc;

// The most associations one page holds, whatever the caller asks for.
constexpr int64_t kPageCap = 1000;

class Categories : public CategoriesSvc::AsyncServiceInterface {
 public:
  explicit Categories(std::shared_ptr<State> state) : state_(std::move(state)) {}
  void List(::Opax::OptionalPtr<CategoriesSvc::FilterSpec const> const& filter, Activation const&,
            Result<std::list<std::shared_ptr<CategoriesSvc::Summary const>>> const& result) override {
    state_->Run([filter, result](Store& store) {
      std::list<std::shared_ptr<CategoriesSvc::Summary const>> found;
      for (auto const& row : store.List(Kinds::kTagCategory)) {
        auto const category = FromDocument<CategoryRecord>(row.doc);
        if (filter && (!Admits(filter->categories(), row.id) || !Admits(filter->names(), category.name())))
          continue;
        if (filter && filter->associableTypes() && !category.associableTypes().empty() &&
            std::none_of(filter->associableTypes()->begin(), filter->associableTypes()->end(),
                         [&](std::string const& type) { return category.associableTypes().count(type) > 0; }))
          continue;
        found.push_back(std::make_shared<CategoryRecord const>(category));
      }
      result.SetResult(found);
    });
  }

 private:
  std::shared_ptr<State> state_;
};

class Tags : public TagsSvc::AsyncServiceInterface {
 public:
  explicit Tags(std::shared_ptr<State> state) : state_(std::move(state)) {}
  void List(::Opax::OptionalPtr<TagsSvc::FilterSpec const> const& filter, Activation const&,
            Result<std::list<std::shared_ptr<TagsSvc::Summary const>>> const& result) override {
    state_->Run([filter, result](Store& store) {
      std::list<std::shared_ptr<TagsSvc::Summary const>> found;
      for (auto const& row : store.List(Kinds::kTag)) {
        auto const tag = FromDocument<TagRecord>(row.doc);
        if (filter && (!Admits(filter->tags(), row.id) || !Admits(filter->categories(), tag.category()) ||
                       !Admits(filter->names(), tag.name())))
          continue;
        found.push_back(std::make_shared<TagRecord const>(tag));
      }
      result.SetResult(found);
    });
  }

 private:
  std::shared_ptr<State> state_;
};

bool ObjectListed(AssociationsSvc::FilterSpec const& filter,
                  ::Com::Quarn::Opax::Std::DynamicID const& object) {
  if (!filter.objects()) return true;
  return std::any_of(filter.objects()->begin(), filter.objects()->end(), [&](auto const& wanted) {
    return wanted->type() == object.type() && wanted->id() == object.id();
  });
}

// Pages follow the attachments' ids in text order; the marker is the last id of a page.
class Associations : public AssociationsSvc::AsyncServiceInterface {
 public:
  explicit Associations(std::shared_ptr<State> state) : state_(std::move(state)) {}
  void List(::Opax::OptionalPtr<AssociationsSvc::IterationSpec const> const& iteration,
            ::Opax::OptionalPtr<AssociationsSvc::FilterSpec const> const& filter, Activation const&,
            Result<std::shared_ptr<AssociationsSvc::ListResult const>> const& result) override {
    int64_t const size = std::min(kPageCap, iteration && iteration->size() ? *iteration->size() : kPageCap);
    boost::optional<std::string> const marker = iteration ? iteration->marker() : boost::none;
    if (size < 1) {
      return result.SetError(
          InvalidArgument(Say("nexar.sim.tagging.page_size", "A page holds at least one association.")));
    }
    state_->Run([size, marker, filter, result](Store& store) {
      auto rows = store.List(Kinds::kTagAssociation);
      std::sort(rows.begin(), rows.end(), [](auto const& a, auto const& b) { return a.id < b.id; });
      if (marker && marker->rfind("assoc-", 0) != 0) {
        return result.SetError(InvalidArgument(
            Say("nexar.sim.tagging.marker", "The marker '{0}' was not handed out here.", {*marker})));
      }
      AssociationsSvc::ListResult page;
      std::list<std::shared_ptr<AssociationsSvc::Association const>> found;
      std::string last;
      for (auto const& row : rows) {
        if (marker && row.id <= *marker) continue;
        auto const association = FromDocument<AssociationsSvc::Association>(row.doc);
        if (filter) {
          auto const tag = FindTag(store, association.tag());
          if (!Admits(filter->tags(), association.tag()) || !ObjectListed(*filter, *association.object()) ||
              (filter->categories() && (!tag || !filter->categories()->count(tag->category()))))
            continue;
        }
        if (static_cast<int64_t>(found.size()) == size) {
          page.marker(last);
          break;
        }
        found.push_back(std::make_shared<AssociationsSvc::Association const>(association));
        last = row.id;
      }
      page.associations(found);
      result.SetResult(std::make_shared<AssociationsSvc::ListResult const>(page));
    });
  }

 private:
  std::shared_ptr<State> state_;
};

class Creation : public TaggingSvc::AsyncServiceInterface {
 public:
  explicit Creation(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void CreateCategory(std::shared_ptr<TaggingSvc::CategorySpec const> const& spec, Activation const&,
                      Result<std::string> const& result) override {
    state_->Run([spec, result](Store& store) {
      for (auto const& row : store.List(Kinds::kTagCategory)) {
        if (FromDocument<CategoryRecord>(row.doc).name() == spec->name())
          return result.SetError(AlreadyExists("tag category", spec->name()));
      }
      std::string const id = store.NewId("category");
      CategoryRecord record(id, spec->name(), spec->cardinality(), spec->associableTypes());
      record.description(spec->description());
      store.Put({Kinds::kTagCategory, id, "", ToDocument(record)});
      result.SetResult(id);
    });
  }

  void CreateTag(std::shared_ptr<TaggingSvc::TagSpec const> const& spec, Activation const&,
                 Result<std::string> const& result) override {
    state_->Run([spec, result](Store& store) {
      if (!store.Exists(Kinds::kTagCategory, spec->category()))
        return result.SetError(NotFound("tag category", spec->category()));
      for (auto const& row : store.Children(Kinds::kTag, spec->category())) {
        if (FromDocument<TagRecord>(row.doc).name() == spec->name())
          return result.SetError(AlreadyExists("tag", spec->name()));
      }
      std::string const id = store.NewId("tag");
      TagRecord record(id, spec->category(), spec->name());
      record.description(spec->description());
      store.Put({Kinds::kTag, id, spec->category(), ToDocument(record)});
      result.SetResult(id);
    });
  }

 private:
  std::shared_ptr<State> state_;
};

}  // namespace

void BindCatalog(Services const& services, Bound& bound) {
  bound.push_back(CategoriesSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<Categories>(services.state), services.localizer));
  bound.push_back(TagsSvc::AsyncServiceBinder::BindImplementation(std::make_shared<Tags>(services.state),
                                                                  services.localizer));
  bound.push_back(AssociationsSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<Associations>(services.state), services.localizer));
  bound.push_back(TaggingSvc::AsyncServiceBinder::BindImplementation(
      std::make_shared<Creation>(services.state), services.localizer));
}

}  // namespace Tagging
}  // namespace Sim
