#pragma once

#include <opax/core/data/compound_value.h>
#include <opax/core/definition/data_definition.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Opax {
namespace Data {

// The rule of one union case field, as every reader of values applies it: validation, and the
// JSON decoder while it builds a structure. Given the structure, the field's name, its slot in
// the structure (null when absent) and the text of its tag (UnionTagText, or UnionTags for the
// cases of one structure), returns the message id the field breaks, with the message's arguments
// in `args`, or null when it keeps the rule:
// - "opax.data.union.invalid.case.state.notag" (tag, field, structure): set while the tag is
//   absent or unset;
// - "opax.data.union.invalid.case.state.isnotset.short" (field, structure): active and
//   required, but unset;
// - "opax.data.union.invalid.case.state.isset.short" (field, structure): inactive, but set.
char const* UnionCaseFault(UnionCaseDefinition const& unionCase, StructValue const& structure,
                           std::string_view name, std::shared_ptr<DataValue const> const* field,
                           std::string_view tag, std::vector<std::string>& args);

// The text of the tag field `tag` of `structure`, or a null view when it is absent or unset.
std::string_view UnionTagText(StructValue const& structure, std::string const& tag);

// The tag texts of one structure, each found once for all the cases that share its tag field.
class UnionTags {
 public:
  explicit UnionTags(StructValue const& structure) : structure_(structure) {}
  std::string_view TextOf(std::string const& tagField) {
    if (field_ == nullptr || *field_ != tagField) {
      field_ = &tagField;
      text_ = UnionTagText(structure_, tagField);
    }
    return text_;
  }

 private:
  StructValue const& structure_;
  std::string const* field_ = nullptr;
  std::string_view text_;
};

}  // namespace Data
}  // namespace Opax
