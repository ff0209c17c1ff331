#include "attachments.h"

#include "../../state/document.h"
#include "../kinds.h"

#include <bindings/tagging/associations.h>

namespace Sim {
namespace Tagging {
namespace {

using ::Com::Quarn::Nexar::Tagging::AssociationsSvc;

constexpr char kAttachmentPrefix[] = "assoc";

}  // namespace

boost::optional<TagRecord> FindTag(Store& store, std::string const& tag) {
  auto row = store.Get(Kinds::kTag, tag);
  if (!row) return boost::none;
  return FromDocument<TagRecord>(row->doc);
}

boost::optional<CategoryRecord> FindCategory(Store& store, std::string const& category) {
  auto row = store.Get(Kinds::kTagCategory, category);
  if (!row) return boost::none;
  return FromDocument<CategoryRecord>(row->doc);
}

std::set<std::string> TagsOf(Store& store, std::string const& object) {
  std::set<std::string> tags;
  for (auto const& row : store.Children(Kinds::kTagAssociation, object)) {
    tags.insert(FromDocument<AssociationsSvc::Association>(row.doc).tag());
  }
  return tags;
}

std::set<std::string> ObjectsWith(Store& store, std::string const& tag, std::string const& type) {
  std::set<std::string> objects;
  for (auto const& row : store.List(Kinds::kTagAssociation)) {
    auto const association = FromDocument<AssociationsSvc::Association>(row.doc);
    if (association.tag() == tag && association.object()->type() == type)
      objects.insert(association.object()->id());
  }
  return objects;
}

ErrorPtr CheckAttach(Store& store, TagRecord const& tag, std::string const& type, std::string const& object) {
  auto const category = FindCategory(store, tag.category());
  if (!category) return NotFound("tag category", tag.category());
  if (!category->associableTypes().empty() && !category->associableTypes().count(type)) {
    return InvalidArgument(Say("nexar.sim.tagging.type",
                               "Tags of the category '{0}' cannot be attached to a {1}.",
                               {category->name(), type}));
  }
  if (category->cardinality() == ::Com::Quarn::Nexar::Tagging::CategoriesSvc::Cardinality::SINGLE) {
    for (auto const& other : TagsOf(store, object)) {
      if (other == tag.tag()) return nullptr;
      auto const held = FindTag(store, other);
      if (held && held->category() == tag.category()) {
        return NotAllowedInCurrentState(Say(
            "nexar.sim.tagging.single",
            "'{0}' carries the tag '{1}' already, and its category allows one tag.", {object, held->name()}));
      }
    }
  }
  return nullptr;
}

void Attach(Store& store, std::string const& tag, std::string const& type, std::string const& object) {
  if (TagsOf(store, object).count(tag)) return;
  AssociationsSvc::Association association(
      tag, std::make_shared<::Com::Quarn::Opax::Std::DynamicID const>(type, object));
  store.Put({Kinds::kTagAssociation, store.NewId(kAttachmentPrefix), object, ToDocument(association)});
}

void Detach(Store& store, std::string const& tag, std::string const& object) {
  for (auto const& row : store.Children(Kinds::kTagAssociation, object)) {
    if (FromDocument<AssociationsSvc::Association>(row.doc).tag() == tag)
      store.Remove(Kinds::kTagAssociation, row.id);
  }
}

}  // namespace Tagging
}  // namespace Sim
