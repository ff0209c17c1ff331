#pragma once

#include <opax/core/data/compound_value.h>
#include <opax/core/definition/data_definition.h>

#include <memory>

namespace Opax {
namespace Data {

// The rule of one union case field, as every reader of values applies it: validation, and the
// JSON decoder while it builds a structure. Given the structure and the field's slot in it (null
// when absent), returns the message id the field breaks, or null when it keeps the rule:
// - "opax.data.union.invalid.case.state.notag": set while the tag is absent or unset;
// - "opax.data.union.invalid.case.state.isnotset.short": active and required, but unset;
// - "opax.data.union.invalid.case.state.isset.short": inactive, but set.
char const* UnionCaseFault(UnionCaseDefinition const& unionCase, StructValue const& structure,
                           std::shared_ptr<DataValue const> const* field);

}  // namespace Data
}  // namespace Opax
