#include "render/definition_tree.h"

#include <set>
#include <utility>
#include <vector>

namespace Cli {
namespace {

using ::Opax::Data::DataDefinition;
using ::Opax::Data::DefinitionType;
using ::Opax::Data::IsOneOfDefinition;
using ::Opax::Data::ListDefinition;
using ::Opax::Data::MapDefinition;
using ::Opax::Data::OptionalDefinition;
using ::Opax::Data::StructDefinition;
using ::Opax::Data::StructRefDefinition;
using ::Opax::Data::UnionCaseDefinition;

struct Line {
  int depth;
  std::string label;
  DataDefinition const* definition;
  std::string note;  // what the line adds after the kind ("when type is ...")
};

std::string Join(std::vector<std::string> const& texts) {
  std::string joined;
  for (auto const& text : texts) joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

// For a case field: "required when TAG is A, B; allowed when C".
std::string CaseNote(StructDefinition const& owner, UnionCaseDefinition const& unionCase) {
  std::vector<std::string> required, allowed;
  auto tag = owner.field(unionCase.tagField());
  DataDefinition const* tagDefinition = tag.get();
  if (tagDefinition && tagDefinition->type() == DefinitionType::Optional) {
    tagDefinition = static_cast<OptionalDefinition const*>(tagDefinition)->elementType().get();
  }
  if (tagDefinition && tagDefinition->type() == DefinitionType::IsOneOf) {
    for (auto const& text : static_cast<IsOneOfDefinition const*>(tagDefinition)->texts()) {
      boost::logic::tribool const active = unionCase.IsActiveFor(text);
      if (boost::logic::indeterminate(active)) {
        allowed.push_back(text);
      } else if (active) {
        required.push_back(text);
      }
    }
  }
  std::string note = "union case of '" + unionCase.tagField() + "'";
  if (!required.empty()) note += "; required when " + unionCase.tagField() + " is " + Join(required);
  if (!allowed.empty()) note += "; allowed when " + unionCase.tagField() + " is " + Join(allowed);
  if (required.empty() && allowed.empty()) note += "; unset for every value";
  return note;
}

}  // namespace

void WriteDefinitionTree(std::ostream& out, std::string const& label, DataDefinition const& definition,
                         int indent) {
  std::set<std::string> expanded;
  std::vector<Line> pending{{indent, label, &definition, std::string()}};
  while (!pending.empty()) {
    Line line = std::move(pending.back());
    pending.pop_back();
    // Wrappers fold into the line of what they wrap: "optional list of structure X".
    std::string kind;
    DataDefinition const* at = line.definition;
    bool more = true;
    while (at && more) {
      switch (at->type()) {
        case DefinitionType::UnionCase:
          at = static_cast<UnionCaseDefinition const*>(at)->elementType().get();
          break;
        case DefinitionType::Optional:
          kind += "optional ";
          at = static_cast<OptionalDefinition const*>(at)->elementType().get();
          break;
        case DefinitionType::List:
          kind += static_cast<ListDefinition const*>(at)->distinctElements() ? "set of " : "list of ";
          at = static_cast<ListDefinition const*>(at)->elementType().get();
          break;
        case DefinitionType::Map:
          kind += "map from string to ";
          at = static_cast<MapDefinition const*>(at)->elementType().get();
          break;
        default:
          more = false;
      }
    }
    std::vector<Line> children;
    if (!at) {
      kind += "?";
    } else if (at->type() == DefinitionType::IsOneOf) {
      kind += "enumeration {" + Join(static_cast<IsOneOfDefinition const*>(at)->texts()) + "}";
    } else if (at->type() == DefinitionType::StructRef) {
      auto const* reference = static_cast<StructRefDefinition const*>(at);
      auto const target = reference->targetDefinition();
      if (expanded.count(reference->name()) || !target) {
        kind += "structure " + reference->name() + " (shown above)";
      } else {
        // The target lives as long as the definition that owns it, which outlives this walk.
        at = target.get();
      }
    }
    if (at && (at->type() == DefinitionType::Structure || at->type() == DefinitionType::Error)) {
      auto const* structure = static_cast<StructDefinition const*>(at);
      kind += (at->type() == DefinitionType::Error ? "error " : "structure ") + structure->name();
      expanded.insert(structure->name());
      for (auto const& [name, field] : structure->fields()) {
        std::string note;
        if (field->type() == DefinitionType::UnionCase) {
          note = CaseNote(*structure, *static_cast<UnionCaseDefinition const*>(field.get()));
        }
        children.push_back({line.depth + 1, name, field.get(), note});
      }
    } else if (at && at->type() != DefinitionType::IsOneOf && at->type() != DefinitionType::StructRef) {
      kind += DefinitionTypeName(at->type());
    }
    out << std::string(static_cast<std::size_t>(line.depth) * 2, ' ') << line.label << ": " << kind;
    if (!line.note.empty()) out << "  (" << line.note << ")";
    out << "\n";
    // Fields print in the structure's order: the work list pops the last pushed first.
    for (auto it = children.rbegin(); it != children.rend(); ++it) pending.push_back(std::move(*it));
  }
}

}  // namespace Cli
