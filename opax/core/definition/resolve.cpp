#include <opax/core/definition/resolve.h>

namespace Opax {
namespace Data {

DataDefinition const* ResolveShape(DataDefinition const* definition,
                                   std::vector<std::shared_ptr<DataDefinition const>>& keepAlive,
                                   StructRefDefinition const** unresolved) {
  while (definition != nullptr) {
    if (definition->type() == DefinitionType::StructRef) {
      auto const& reference = static_cast<StructRefDefinition const&>(*definition);
      std::shared_ptr<DataDefinition const> target = reference.targetDefinition();
      if (!target) {
        if (unresolved != nullptr) *unresolved = &reference;
        return nullptr;
      }
      definition = target.get();
      if (keepAlive.empty() || keepAlive.back() != target) keepAlive.push_back(std::move(target));
    } else if (definition->type() == DefinitionType::UnionCase) {
      definition = static_cast<UnionCaseDefinition const&>(*definition).elementType().get();
    } else {
      return definition;
    }
  }
  return nullptr;
}

}  // namespace Data
}  // namespace Opax
