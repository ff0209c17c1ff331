#include <opax/core/metadata/struct_info.h>

namespace Opax {
namespace Metadata {

std::shared_ptr<StructInfo> StructInfo::Make(char const* name, bool isInput, IdField const* idFields,
                                             std::size_t count) {
  Fields fields;
  for (std::size_t i = 0; i < count; ++i) {
    auto info = std::make_shared<FieldInfo>();
    for (char const* const* type = idFields[i].resourceTypes; *type != nullptr; ++type)
      info->resourceTypes.insert(*type);
    fields.emplace(idFields[i].wire, std::move(info));
  }
  return std::make_shared<StructInfo>(name, isInput, std::move(fields));
}

}  // namespace Metadata
}  // namespace Opax
