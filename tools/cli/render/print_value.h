#pragma once

#include <opax/core/data/data_value.h>
#include <opax/core/definition/data_definition.h>

#include <ostream>

namespace Cli {

enum class OutputFormat { Json, Table };

// Prints an operation's result, secrets masked: as indented JSON, or for a list of structures
// as a table with a column per field (other values print as JSON whatever the format). A void
// result prints nothing.
void PrintValue(std::ostream& out, std::shared_ptr<::Opax::Data::DataValue const> const& value,
                ::Opax::Data::DataDefinition const* definition, OutputFormat format);

}  // namespace Cli
