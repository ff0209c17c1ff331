#pragma once

#include <opax/core/definition/data_definition.h>

#include <memory>
#include <vector>

namespace Opax {
namespace Data {

// Follows structure references and union-case wrappers from `definition` to the definition that
// decides a value's shape, as every walker of values against definitions does (validation, the
// JSON codec). A reference does not own its target, so each target reached is kept in
// `keepAlive` for the walk (once, when a self-referring structure reaches it level after level).
// Returns null for a null definition, and for a reference whose target is gone, which it then
// names in `unresolved`.
DataDefinition const* ResolveShape(DataDefinition const* definition,
                                   std::vector<std::shared_ptr<DataDefinition const>>& keepAlive,
                                   StructRefDefinition const** unresolved = nullptr);

}  // namespace Data
}  // namespace Opax
