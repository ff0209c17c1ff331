#pragma once

// What a generated header needs: the runtime's value, definition, validation and metadata
// types, the field tables that generated structures befriend, the enumeration base, and the one
// macro that declares a structure's entries to the runtime.

#include <opax/opax.h>
#include <runtime/enum_class.h>
#include <runtime/fields.h>

#include <boost/optional.hpp>

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

// What a generated library exports: everything else in it is hidden, so that its thousands of
// template instances are neither exported nor bound at load time.
#define NEXAR_EXPORT __attribute__((visibility("default")))

// The runtime's view of generated structure T: its type name, its adapt functions, its check and
// (NEXAR_STRUCTURE only) its metadata. At global scope; defined by NEXAR_STRUCTURE_ENTRIES.
#define NEXAR_STRUCTURE_COMMON(T)                                                                \
  template <>                                                                                    \
  struct NEXAR_EXPORT NativeToValueAdapter::AdaptMethod<T> {                                     \
    static AdaptFunction Get(T const* = nullptr);                                                \
  };                                                                                             \
  template <>                                                                                    \
  struct NEXAR_EXPORT ValueToNativeAdapter::AdaptMethod<T> {                                     \
    static AdaptFunction Get(T const* = nullptr);                                                \
  };                                                                                             \
  template <>                                                                                    \
  struct NEXAR_EXPORT NativeToDefinitionAdapter::AdaptMethod<T> {                                \
    static AdaptFunction Get(T const* = nullptr);                                                \
  };                                                                                             \
  template <>                                                                                    \
  NEXAR_EXPORT bool Validator::isValid<T>(T const&, Validator::Policy, std::list<BaseMessage>&); \
  template <>                                                                                    \
  struct NEXAR_EXPORT ValidatorStep<T> {                                                         \
    static ValidationRun::Step Get();                                                            \
  };

// The name of T's values (an expression) and how a conversion makes a T (inside Opax::Data).
#define NEXAR_TYPE_INFO(T, NAME)                                                         \
  template <>                                                                            \
  struct TypeInfo<T> {                                                                   \
    static std::string name() { return NAME; }                                           \
    static std::shared_ptr<T> defaultInstance(std::shared_ptr<DataValue const> const&) { \
      return std::make_shared<T>();                                                      \
    }                                                                                    \
  };

#define NEXAR_STRUCTURE(T, NAME)                                    \
  namespace Opax {                                                  \
  namespace Data {                                                  \
  NEXAR_TYPE_INFO(T, NAME)                                          \
  NEXAR_STRUCTURE_COMMON(T)                                         \
  }                                                                 \
  namespace Metadata {                                              \
  template <>                                                       \
  NEXAR_EXPORT std::shared_ptr<StructInfo> StructInfo::Create<T>(); \
  }                                                                 \
  }

// The metadata of a structure without identifier fields (at global scope, in a generated source).
#define NEXAR_STRUCT_INFO(T, NAME)                                                        \
  template <>                                                                             \
  std::shared_ptr<::Opax::Metadata::StructInfo> Opax::Metadata::StructInfo::Create<T>() { \
    return StructInfo::Make(NAME, false, nullptr, 0);                                     \
  }

// An operation's Input: every input carries the one common input name, and has no metadata.
#define NEXAR_OPERATION_INPUT(T)                       \
  namespace Opax {                                     \
  namespace Data {                                     \
  NEXAR_TYPE_INFO(T, TypeInfo<OperationInput>::name()) \
  NEXAR_STRUCTURE_COMMON(T)                            \
  }                                                    \
  }
