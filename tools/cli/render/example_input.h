#pragma once

#include <opax/core/definition/data_definition.h>

#include <string>

namespace Cli {

// A JSON text that `definition` accepts as it stands: every required field with a placeholder of
// its kind (the first text of an enumeration, so that a union's tag picks its first case and
// the case's required fields follow), optional fields left out, lists and maps empty. Built with
// a work list, and bounded in size for definitions that could only be met by an endless value.
std::string ExampleInput(::Opax::Data::DataDefinition const& definition);

}  // namespace Cli
