#pragma once

// The data a generated structure supplies to the runtime: its names and its field list. Every
// walker in this folder reads only this; the generated code writes only this plus one-line
// entries into the walkers.

#include <opax/opax.h>

#include <array>
#include <cstddef>
#include <memory>
#include <tuple>

namespace Opax {
namespace Binding {

// One field: its wire name and the member that holds it.
template <class T, class M>
struct Field {
  using Type = M;
  char const* wire;
  M T::*member;
};

template <class T, class M>
constexpr Field<T, M> MakeField(char const* wire, M T::*member) {
  return {wire, member};
}

// Specialised by generated code for every structure T (and is a friend of T), with:
//   static constexpr char const* name;            // canonical dotted name (or the input name)
//   static constexpr char const* qualifiedName;   // "::Com::Quarn::...::T", for messages
//   static constexpr ::Opax::Data::Kind kind;     // Structure, or Error for standard errors
//   static constexpr bool isInput;                // an operation's Input
//   static constexpr auto unknown;                // &T::<hidden unknown-fields member>
//   static constexpr auto list;                   // std::tuple of Field<T, M>, declaration order
//   static constexpr std::array<char const*, N> wireNames;
//   static constexpr std::array<UnionCheck::Union, U> unions;
template <class T>
struct Fields;

// Calls `f` on every field of T, in declaration order.
template <class T, class F>
void ForEachField(F&& f) {
  std::apply([&](auto const&... field) { (f(field), ...); }, Fields<T>::list);
}

// Whether a field holds a value: optionals by set-ness, everything else always.
template <class M>
bool IsSet(M const&) {
  return true;
}
template <class X>
bool IsSet(boost::optional<X> const& value) {
  return value.is_initialized();
}
template <class S>
bool IsSet(::Opax::OptionalPtr<S> const& value) {
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
