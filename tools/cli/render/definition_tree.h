#pragma once

#include <opax/core/definition/data_definition.h>

#include <ostream>
#include <string>

namespace Cli {

// Writes `definition` as an indented tree, one field a line: its name, kind, whether it is
// optional, an enumeration's values, a structure's name, and for a union's case fields the tag
// values that require or allow them. A structure met again through a reference is named, not
// expanded, so self-referring definitions end. Walks with a work list, never recursion.
void WriteDefinitionTree(std::ostream& out, std::string const& label,
                         ::Opax::Data::DataDefinition const& definition, int indent = 0);

}  // namespace Cli
