#include <runtime/fields.h>

namespace Opax {
namespace Binding {

StructTable::StructTable(char const* name_, char const* qualifiedName_, Data::Kind kind_, bool isInput_,
                         std::size_t unknownOffset_, FieldEntry const* fields_, std::size_t fieldCount_,
                         Data::UnionCheck::Union const* unions_, std::size_t unionCount_)
    : name(name_),
      qualifiedName(qualifiedName_),
      kind(kind_),
      isInput(isInput_),
      unknownOffset(unknownOffset_),
      fields(fields_),
      fieldCount(fieldCount_),
      unions(unions_),
      unionCount(unionCount_),
      typeName(name_),
      wireNames(new Data::StaticName[fieldCount_]),
      byName(new uint32_t[fieldCount_]) {
  for (std::size_t i = 0; i < fieldCount; ++i) wireNames[i] = Data::StaticName(fields[i].wire);
  namesDistinct = Data::FieldMap::NameOrder(wireNames.get(), fieldCount, byName.get());
  for (std::size_t i = 0; i < fieldCount; ++i) {
    if (fields[i].type.nested == nullptr) continue;
    if (i < 64) {
      nestedMask |= std::uint64_t{1} << i;
    } else {
      nestedBeyondMask = true;
    }
  }
}

}  // namespace Binding
}  // namespace Opax
