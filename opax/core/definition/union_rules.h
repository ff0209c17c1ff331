#pragma once

#include <opax/core/data/compound_value.h>
#include <opax/core/definition/data_definition.h>

#include <memory>
#include <string>
#include <vector>

namespace Opax {
namespace Data {

// The rule of one union case field, as every reader of values applies it: validation, and the
// JSON decoder while it builds a structure. Given the structure, the field's name and its slot in
// the structure (null when absent), returns the message id the field breaks, with the message's
// arguments in `args`, or null when it keeps the rule:
// - "opax.data.union.invalid.case.state.notag" (tag, field, structure): set while the tag is
//   absent or unset;
// - "opax.data.union.invalid.case.state.isnotset.short" (field, structure): active and
//   required, but unset;
// - "opax.data.union.invalid.case.state.isset.short" (field, structure): inactive, but set.
char const* UnionCaseFault(UnionCaseDefinition const& unionCase, StructValue const& structure,
                           std::string const& name, std::shared_ptr<DataValue const> const* field,
                           std::vector<std::string>& args);

}  // namespace Data
}  // namespace Opax
