#pragma once

// Compile-time classification of the native types that fields may have, shared by the three
// adapters. Structures are the only types an adapter cannot classify by shape: generated code
// names them by specialising each adapter's AdaptMethod.

#include <opax/core/base/enum.h>
#include <opax/core/base/operation_input.h>
#include <opax/core/base/optional_ptr.h>
#include <opax/core/data/data_value.h>
#include <opax/core/data/dynamic_structure.h>

#include <boost/optional.hpp>

#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

namespace Opax {
namespace Data {
namespace NativeTraits {

template <class T, class = void>
struct IsPrimitive : std::false_type {};
template <class T>
struct IsPrimitive<T, std::void_t<typename PrimitiveTraits<T>::Stored>> : std::true_type {};

template <class T>
constexpr bool kIsEnum = std::is_base_of<Opax::Enum, T>::value;

template <class T>
struct IsOptional : std::false_type {};
template <class X>
struct IsOptional<boost::optional<X>> : std::true_type {};

template <class T>
struct IsSequence : std::false_type {};
template <class X>
struct IsSequence<std::list<X>> : std::true_type {};
template <class X, class C>
struct IsSequence<std::set<X, C>> : std::true_type {};
template <class X>
struct IsSequence<std::vector<X>> : std::bool_constant<!std::is_same<X, unsigned char>::value> {};

template <class T>
struct IsSet : std::false_type {};
template <class X, class C>
struct IsSet<std::set<X, C>> : std::true_type {};

template <class T>
struct IsStringMap : std::false_type {};
template <class X, class C>
struct IsStringMap<std::map<std::string, X, C>> : std::true_type {};

// The value kind a native type converts to; lists of strings and of integers (and of
// enumerations, which travel as their texts) use the typed list variants.
template <class T, class = void>
struct ValueKind : std::integral_constant<Kind, Kind::Structure> {};
template <class T>
struct ValueKind<T, std::enable_if_t<IsPrimitive<T>::value>>
    : std::integral_constant<Kind, PrimitiveTraits<T>::kind> {};
template <class T>
struct ValueKind<T, std::enable_if_t<kIsEnum<T>>> : std::integral_constant<Kind, Kind::String> {};
template <class X>
struct ValueKind<boost::optional<X>> : std::integral_constant<Kind, Kind::Optional> {};
template <class S>
struct ValueKind<Opax::OptionalPtr<S>> : std::integral_constant<Kind, Kind::Optional> {};
template <class X>
struct ValueKind<std::list<X>> : std::integral_constant<Kind, Kind::List> {};
template <class X, class C>
struct ValueKind<std::set<X, C>> : std::integral_constant<Kind, Kind::List> {};
template <class X>
struct ValueKind<std::vector<X>, std::enable_if_t<!std::is_same<X, unsigned char>::value>>
    : std::integral_constant<Kind, Kind::List> {};
template <class X, class C>
struct ValueKind<std::map<std::string, X, C>> : std::integral_constant<Kind, Kind::Map> {};
template <>
struct ValueKind<DynamicError> : std::integral_constant<Kind, Kind::Error> {};

// Whether converting a T never reaches a structure: a primitive, an enumeration or a dynamic
// value, alone or in optionals, lists and maps. Its conversion is bounded by the C++ type, so a
// structure's adapter converts such a field on the spot instead of queueing it.
template <class T>
struct IsPlainLeaf : std::bool_constant<IsPrimitive<T>::value || kIsEnum<T>> {};
template <>
struct IsPlainLeaf<DynamicStructure> : std::true_type {};
template <>
struct IsPlainLeaf<DynamicError> : std::true_type {};
template <>
struct IsPlainLeaf<std::vector<unsigned char>> : std::true_type {};
template <class X>
struct IsPlainLeaf<boost::optional<X>> : IsPlainLeaf<X> {};
template <class X>
struct IsPlainLeaf<std::list<X>> : IsPlainLeaf<X> {};
template <class X, class C>
struct IsPlainLeaf<std::set<X, C>> : IsPlainLeaf<X> {};
template <class X>
struct IsPlainLeaf<std::vector<X>> : IsPlainLeaf<X> {};
template <class X, class C>
struct IsPlainLeaf<std::map<std::string, X, C>> : IsPlainLeaf<X> {};

// The adapt function of a native type that is not a generated structure, picked from an adapter's
// set of leaf functions `L`. The three adapters classify native types here, once; a type that
// matches nothing is a structure, which generated code names by specialising AdaptMethod.
template <class L, class T, class = void>
struct LeafMethod;

template <class L, class T>
struct LeafMethod<L, T, std::enable_if_t<IsPrimitive<T>::value>> {
  static constexpr auto Get() { return &L::template AdaptPrimitive<T>; }
};
template <class L, class E>
struct LeafMethod<L, E, std::enable_if_t<kIsEnum<E>>> {
  static constexpr auto Get() { return &L::template AdaptEnumeration<E>; }
};
template <class L, class X>
struct LeafMethod<L, boost::optional<X>> {
  static constexpr auto Get() { return &L::template AdaptOptional<X>; }
};
template <class L, class S>
struct LeafMethod<L, std::shared_ptr<S>> {
  static constexpr auto Get() { return &L::template AdaptSharedStructure<S>; }
};
template <class L, class S>
struct LeafMethod<L, Opax::OptionalPtr<S>> {
  static constexpr auto Get() { return &L::template AdaptOptionalStructure<S>; }
};
template <class L, class T>
struct LeafMethod<L, T, std::enable_if_t<IsSequence<T>::value>> {
  static constexpr auto Get() { return &L::template AdaptSequence<T>; }
};
template <class L, class T>
struct LeafMethod<L, T, std::enable_if_t<IsStringMap<T>::value>> {
  static constexpr auto Get() { return &L::template AdaptMap<T>; }
};
template <class L>
struct LeafMethod<L, DynamicStructure> {
  static constexpr auto Get() { return &L::AdaptDynamicStructure; }
};
template <class L>
struct LeafMethod<L, DynamicError> {
  static constexpr auto Get() { return &L::AdaptDynamicError; }
};
template <class L>
struct LeafMethod<L, Opax::OperationInput> {
  static constexpr auto Get() { return &L::AdaptOperationInput; }
};

}  // namespace NativeTraits
}  // namespace Data
}  // namespace Opax
