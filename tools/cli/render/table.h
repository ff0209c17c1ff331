#pragma once

#include <opax/core/data/list_value.h>

#include <ostream>

namespace Cli {

// True when every element of `list` is a structure (so that it reads well as rows).
bool IsListOfStructures(::Opax::Data::ListValue const& list);

// One row per structure, one column per field in the order fields first appear; a nested value
// shows as compact JSON, an unset optional as nothing.
void WriteTable(std::ostream& out, ::Opax::Data::ListValue const& list);

}  // namespace Cli
