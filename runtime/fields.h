#pragma once

// A generated structure as data: its names and a table of its fields. The structure helpers of
// the three adapters, validation and the operation descriptors read only this; the generated
// code writes only this, plus one-line entries that name it.

#include <opax/core/adapter/native_to_definition_adapter.h>
#include <opax/core/adapter/native_to_value_adapter.h>
#include <opax/core/adapter/value_to_native_adapter.h>
#include <opax/core/base/optional_ptr.h>
#include <opax/core/validation/validator.h>

#include <boost/optional.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Opax {
namespace Binding {

// What the adapters and validation need to know of a field's native type.
struct FieldType {
  Data::NativeToValueAdapter::AdaptFunction toValue;
  Data::ValueToNativeAdapter::AdaptFunction toNative;
  Data::NativeToDefinitionAdapter::AdaptFunction toDefinition;
  // Structure fields only (null otherwise): the nested object to check, null when there is none,
  // and its check.
  void const* (*nested)(void const* field);
  Data::ValidationRun::Step nestedStep;
  bool nestedRequired;  // a required structure field: an empty one fails validation
  bool plainLeaf;       // converting it never reaches a structure (NativeTraits::IsPlainLeaf)
};

// One field: its wire name, where it sits in the object, and its type.
struct FieldEntry {
  char const* wire;
  std::size_t offset;
  FieldType type;
};

// One structure: every walker over it reads this table.
struct StructTable {
  // Works out the names' order and which fields hold structures (runtime/fields.cpp: made once
  // per structure, out of line so that each generated table stays a plain call).
  StructTable(char const* name_, char const* qualifiedName_, Data::Kind kind_, bool isInput_,
              std::size_t unknownOffset_, FieldEntry const* fields_, std::size_t fieldCount_,
              Data::UnionCheck::Union const* unions_, std::size_t unionCount_);

  char const* name;           // canonical dotted name; the common input name for operation inputs
  char const* qualifiedName;  // "::Com::Quarn::...::Info", for messages
  Data::Kind kind;            // Structure, or Error for standard errors
  bool isInput;               // an operation's Input: optional nested structures are checked too
  std::size_t unknownOffset;  // the retained unknown fields, a std::shared_ptr<StructValue const>
  FieldEntry const* fields;   // declaration order
  std::size_t fieldCount;
  Data::UnionCheck::Union const* unions;
  std::size_t unionCount;
  // Which of the first 64 fields hold structures (validation visits only those), and whether any
  // later one does.
  std::uint64_t nestedMask = 0;
  bool nestedBeyondMask = false;
  // The names as values hold them, and their name order, worked out once: a value of this type is
  // laid out without comparing a name (see FieldMap::AssignNames).
  Data::StaticName typeName;
  std::unique_ptr<Data::StaticName[]> wireNames;
  std::unique_ptr<uint32_t[]> byName;
  bool namesDistinct = false;  // always, for generated tables; otherwise fields are added one by one
};

// The field table of structure T. Generated code defines Table() for each structure, as a friend
// of the structure (its members are private).
template <class T>
struct Fields {
  using Struct = T;
  static StructTable const& Table();
};

namespace internal {

template <class M>
struct Nested {
  static constexpr void const* (*target)(void const*) = nullptr;
  static Data::ValidationRun::Step Step() { return nullptr; }
  static constexpr bool required = false;
};
template <class S>
struct Nested<std::shared_ptr<S const>> {
  static void const* Target(void const* field) {
    return static_cast<std::shared_ptr<S const> const*>(field)->get();
  }
  static constexpr void const* (*target)(void const*) = &Target;
  static Data::ValidationRun::Step Step() { return Data::ValidatorStep<S>::Get(); }
  static constexpr bool required = true;
};
template <class S>
struct Nested<OptionalPtr<S const>> {
  static void const* Target(void const* field) {
    auto const& optional = *static_cast<OptionalPtr<S const> const*>(field);
    return optional ? optional.get().get() : nullptr;
  }
  static constexpr void const* (*target)(void const*) = &Target;
  static Data::ValidationRun::Step Step() { return Data::ValidatorStep<S>::Get(); }
  static constexpr bool required = false;
};

}  // namespace internal

// The type entry of a field of native type M.
template <class M>
FieldType TypeOf() {
  using N = internal::Nested<M>;
  return {Data::NativeToValueAdapter::AdaptMethod<M>::Get(nullptr),
          Data::ValueToNativeAdapter::AdaptMethod<M>::Get(nullptr),
          Data::NativeToDefinitionAdapter::AdaptMethod<M>::Get(nullptr),
          N::target,
          N::Step(),
          N::required,
          Data::NativeTraits::IsPlainLeaf<M>::value};
}

// Whether a field holds a value (union rules): optionals by set-ness, everything else always.
template <class M>
bool IsSet(M const&) {
  return true;
}
template <class X>
bool IsSet(boost::optional<X> const& value) {
  return value.is_initialized();
}
template <class S>
bool IsSet(OptionalPtr<S> const& value) {
  return value.is_initialized();
}

template <class T, class M, M T::*member>
bool IsSetOf(void const* object) {
  return IsSet(static_cast<T const*>(object)->*member);
}

// The number of an enumeration tag, or -1 when an optional tag is unset.
template <class E>
int TagNumber(E const& value) {
  return value.value();
}
template <class E>
int TagNumber(boost::optional<E> const& value) {
  return value ? value->value() : -1;
}

template <class T, class M, M T::*member>
int TagOf(void const* object) {
  return TagNumber(static_cast<T const*>(object)->*member);
}

}  // namespace Binding
}  // namespace Opax

// One field table entry: `offsetof` on a generated structure, which has no virtual functions and
// no virtual bases (GCC and Clang support it there; mixed access control alone is what makes the
// operation inputs not standard layout).
#define NEXAR_FIELD(T, member, wire) \
  { wire, offsetof(T, member), ::Opax::Binding::TypeOf<decltype(T::member)>() }

// Around a generated source's field tables: `offsetof` on a type that is not standard layout is
// conditionally supported, and supported by the compilers we build with (see NEXAR_FIELD).
#define NEXAR_FIELD_TABLES_BEGIN \
  _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Winvalid-offsetof\"")
#define NEXAR_FIELD_TABLES_END _Pragma("GCC diagnostic pop")
