#pragma once

// Which tags are attached to which objects: one row per attachment, kept below the object so
// that removing the object removes its attachments (see kinds.h).

#include "../../state/store.h"
#include "../errors.h"

#include <bindings/tagging/categories.h>
#include <bindings/tagging/tags.h>

#include <boost/optional.hpp>

#include <set>
#include <string>
#include <vector>

namespace Sim {
namespace Tagging {

using CategoryRecord = ::Com::Quarn::Nexar::Tagging::CategoriesSvc::Summary;
using TagRecord = ::Com::Quarn::Nexar::Tagging::TagsSvc::Summary;

boost::optional<TagRecord> FindTag(Store& store, std::string const& tag);
boost::optional<CategoryRecord> FindCategory(Store& store, std::string const& category);

// The tags attached to `object`.
std::set<std::string> TagsOf(Store& store, std::string const& object);
// The objects of `type` ("VirtualMachine", "HostSystem") that carry `tag`.
std::set<std::string> ObjectsWith(Store& store, std::string const& tag, std::string const& type);

// Null when `object` of `type` may carry `tag` beside the tags it has: its category allows the
// type, and one tag at most of a SINGLE category. Attaching a tag it has already is no error.
ErrorPtr CheckAttach(Store& store, TagRecord const& tag, std::string const& type, std::string const& object);
// Both skip what is already so.
void Attach(Store& store, std::string const& tag, std::string const& type, std::string const& object);
void Detach(Store& store, std::string const& tag, std::string const& object);

}  // namespace Tagging
}  // namespace Sim
