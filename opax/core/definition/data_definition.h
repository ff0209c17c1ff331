#pragma once

#include <opax/core/data/data_value.h>
#include <opax/core/message/base_message.h>

#include <boost/logic/tribool.hpp>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Opax {
namespace Data {

class DynamicStructure;
class DynamicError;

// What a definition describes.
enum class DefinitionType : int {
  Void,
  Boolean,
  Integer,
  Double,
  String,
  Secret,
  Binary,
  DateTime,
  Optional,
  List,
  Map,
  Structure,
  StructRef,
  IsOneOf,
  UnionCase,
  Error,
  DynamicStructure,
  DynamicError,
};

char const* DefinitionTypeName(DefinitionType type);

// The description of a value's shape, used to validate values received from a peer or produced
// by an implementation, and to introspect operations. Definitions are built once, shared by
// `std::shared_ptr<DataDefinition const>` and immutable once handed on.
class DataDefinition {
 public:
  DataDefinition(DataDefinition const&) = delete;
  DataDefinition& operator=(DataDefinition const&) = delete;
  virtual ~DataDefinition() = default;

  DefinitionType type() const { return type_; }

  // The definition of a primitive: std::string, any integer type, bool, double,
  // std::vector<unsigned char>, DateTime, SecretString, Void, DynamicStructure, DynamicError.
  // One shared instance per kind.
  template <class X>
  static std::shared_ptr<DataDefinition const> Create();

  // Checks `value` against this definition and appends one message per problem (at most
  // kMaxMessages), each naming where in the value it is (a path like "spec.backing[2].type").
  // Iterative: the depth of the value costs heap, not stack.
  bool Validate(std::shared_ptr<DataValue const> const& value, std::list<BaseMessage>& messages) const;
  static constexpr std::size_t kMaxMessages = 32;

 protected:
  explicit DataDefinition(DefinitionType type) : type_(type) {}

 private:
  DefinitionType const type_;
};

using DataDefinitionPtr = std::shared_ptr<DataDefinition const>;

// Kinds without parameters: the primitives and the dynamic kinds.
class PrimitiveDefinition final : public DataDefinition {
 public:
  explicit PrimitiveDefinition(DefinitionType type) : DataDefinition(type) {}
  static std::shared_ptr<DataDefinition const> const& GetInstance(DefinitionType type);
};

class StringDefinition {
 public:
  static std::shared_ptr<DataDefinition const> const& GetInstance() {
    return PrimitiveDefinition::GetInstance(DefinitionType::String);
  }
};

// A definition around one element definition: optionals, lists, and maps from strings (whose
// element is the type of the map's values). The element slot is public to the adapters that
// build definitions in place; nothing changes it once the definition is handed on.
//
// A set travels as a list; `distinctElements` says that the native side holds a set, so that a
// description of the wire (discovery) can say its elements are unique. Values do not depend on it.
template <DefinitionType kType>
class WrapperDefinition final : public DataDefinition {
 public:
  explicit WrapperDefinition(DataDefinitionPtr element, bool distinctElements = false)
      : DataDefinition(kType), element_(std::move(element)), distinct_(distinctElements) {}
  static std::shared_ptr<WrapperDefinition> GetInstance(DataDefinitionPtr element,
                                                        bool distinctElements = false) {
    return std::make_shared<WrapperDefinition>(std::move(element), distinctElements);
  }
  DataDefinitionPtr const& elementType() const { return element_; }
  DataDefinitionPtr* slot() { return &element_; }
  bool distinctElements() const { return distinct_; }

 private:
  DataDefinitionPtr element_;
  bool distinct_;
};

using OptionalDefinition = WrapperDefinition<DefinitionType::Optional>;
using ListDefinition = WrapperDefinition<DefinitionType::List>;
using MapDefinition = WrapperDefinition<DefinitionType::Map>;

// A structure: its name and its fields by wire name.
//
// A field missing from a value is accepted when its definition is optional (a peer may leave
// out unset optionals) and reported otherwise. Fields the definition does not name are accepted
// unless the definition forbids them; the layers that must refuse them say so.
class StructDefinition : public DataDefinition {
 public:
  using Fields = std::map<std::string, DataDefinitionPtr, std::less<>>;  // found by any text
  enum class ExtraFields { Allowed, Forbidden };

  StructDefinition(std::string name, Fields fields, ExtraFields extra = ExtraFields::Allowed)
      : StructDefinition(DefinitionType::Structure, std::move(name), std::move(fields), extra) {}
  static std::shared_ptr<StructDefinition> GetInstance(std::string name, Fields fields,
                                                       ExtraFields extra = ExtraFields::Allowed) {
    return std::make_shared<StructDefinition>(std::move(name), std::move(fields), extra);
  }

  std::string const& name() const { return name_; }
  Fields const& fields() const { return fields_; }
  ExtraFields extraFields() const { return extra_; }
  DataDefinitionPtr field(std::string const& name) const;
  // The same without sharing it, for readers that look up every member they read (the JSON
  // decoder): a search of a flat table of the names, null when there is no such field.
  DataDefinition const* FindField(std::string_view name) const {
    std::size_t const place = FieldPlace(name);
    return place != kNoField ? byName_[place].second : nullptr;
  }
  // The fields in name order, as FindField searches them, and the place of a name in that list
  // (kNoField when there is none): a reader that notes the place of each member it reads knows
  // the name order of what it read without comparing names again.
  using NamedField = std::pair<std::string_view, DataDefinition const*>;
  static constexpr std::size_t kNoField = SIZE_MAX;
  std::vector<NamedField> const& fieldsByName() const { return byName_; }
  std::size_t FieldPlace(std::string_view name) const;

 protected:
  StructDefinition(DefinitionType type, std::string name, Fields fields, ExtraFields extra)
      : DataDefinition(type), name_(std::move(name)), fields_(std::move(fields)), extra_(extra) {
    IndexNames();
  }

 private:
  void IndexNames();

  std::string name_;
  Fields fields_;
  ExtraFields extra_;
  // The fields in name order, their names viewing the keys of `fields_` (a definition is
  // neither copied nor moved, and its fields never change).
  std::vector<NamedField> byName_;
};

// One standard error: an error value whose name is `name`, with these fields.
class ErrorDefinition final : public StructDefinition {
 public:
  ErrorDefinition(std::string name, Fields fields)
      : StructDefinition(DefinitionType::Error, std::move(name), std::move(fields), ExtraFields::Allowed) {}
  static std::shared_ptr<ErrorDefinition> GetInstance(std::string name, Fields fields) {
    return std::make_shared<ErrorDefinition>(std::move(name), std::move(fields));
  }
};

// A reference to a structure by name, for types that contain themselves. The target is set
// once the named structure is complete. The reference does not own its target (it is usually
// an enclosing definition, and owning it would make a cycle); validating through a reference
// whose target is gone reports "opax.data.definition.reference.unresolved".
class StructRefDefinition final : public DataDefinition {
 public:
  explicit StructRefDefinition(std::string name)
      : DataDefinition(DefinitionType::StructRef), name_(std::move(name)) {}
  static std::shared_ptr<StructRefDefinition> GetInstance(std::string name) {
    return std::make_shared<StructRefDefinition>(std::move(name));
  }

  std::string const& name() const { return name_; }
  void targetDefinition(std::shared_ptr<DataDefinition const> const& target) { target_ = target; }
  std::shared_ptr<DataDefinition const> targetDefinition() const { return target_.lock(); }

 private:
  std::string name_;
  std::weak_ptr<DataDefinition const> target_;
};

// A string restricted to the texts that a predicate accepts (enumerations). `texts` lists them
// when they are known in advance, as an enumeration's are, so that the definition can be
// described to a peer (discovery) and a union case's predicate can be asked about each tag text;
// empty when only the predicate knows.
class IsOneOfDefinition final : public DataDefinition {
 public:
  using Predicate = std::function<bool(std::string_view)>;
  explicit IsOneOfDefinition(Predicate predicate, std::vector<std::string> texts = {})
      : DataDefinition(DefinitionType::IsOneOf), predicate_(std::move(predicate)), texts_(std::move(texts)) {}
  static std::shared_ptr<IsOneOfDefinition> GetInstance(Predicate predicate,
                                                        std::vector<std::string> texts = {}) {
    return std::make_shared<IsOneOfDefinition>(std::move(predicate), std::move(texts));
  }
  bool Accepts(std::string_view text) const { return predicate_ && predicate_(text); }
  std::vector<std::string> const& texts() const { return texts_; }

 private:
  Predicate predicate_;
  std::vector<std::string> texts_;
};

// A dynamic structure restricted to structures of the named types: a field that holds one of a
// few known structures, chosen at run time, and no other. The plain dynamic-structure definition
// (Create<DynamicStructure>()) stays the one for a field that takes any structure. Only the name
// is checked: the field's content belongs to its type, which this side need not know.
class DynamicStructureDefinition final : public DataDefinition {
 public:
  explicit DynamicStructureDefinition(std::vector<std::string> allowedTypes)
      : DataDefinition(DefinitionType::DynamicStructure), allowed_(std::move(allowedTypes)) {}
  static std::shared_ptr<DynamicStructureDefinition> GetInstance(std::vector<std::string> allowedTypes) {
    return std::make_shared<DynamicStructureDefinition>(std::move(allowedTypes));
  }
  std::vector<std::string> const& allowedTypes() const { return allowed_; }
  bool Allows(std::string const& type) const {
    return std::find(allowed_.begin(), allowed_.end(), type) != allowed_.end();
  }

 private:
  std::vector<std::string> allowed_;
};

// A structure field that belongs to a union case: whether it may be set depends on the value
// of the structure's tag field. The predicate, given the tag's text, answers
// - true: the field is active and required (it must be set);
// - false: the field is not active (it must be unset);
// - indeterminate: the field is active but optional (either is fine).
// When the tag is itself unset, a set case field is reported
// ("opax.data.union.invalid.case.state.notag").
class UnionCaseDefinition final : public DataDefinition {
 public:
  using Predicate = std::function<boost::logic::tribool(std::string_view)>;
  UnionCaseDefinition(DataDefinitionPtr element, std::string tagField, Predicate predicate)
      : DataDefinition(DefinitionType::UnionCase),
        element_(std::move(element)),
        tagField_(std::move(tagField)),
        predicate_(std::move(predicate)) {}
  static std::shared_ptr<UnionCaseDefinition> GetInstance(DataDefinitionPtr element, std::string tagField,
                                                          Predicate predicate) {
    return std::make_shared<UnionCaseDefinition>(std::move(element), std::move(tagField),
                                                 std::move(predicate));
  }

  DataDefinitionPtr const& elementType() const { return element_; }
  DataDefinitionPtr* slot() { return &element_; }
  std::string const& tagField() const { return tagField_; }
  boost::logic::tribool IsActiveFor(std::string_view tag) const {
    return predicate_ ? predicate_(tag) : boost::logic::tribool(boost::logic::indeterminate);
  }

 private:
  DataDefinitionPtr element_;
  std::string tagField_;
  Predicate predicate_;
};

namespace internal {
template <class X>
struct DefinitionTypeOf;
template <>
struct DefinitionTypeOf<Opax::Void> : std::integral_constant<DefinitionType, DefinitionType::Void> {};
template <>
struct DefinitionTypeOf<DynamicStructure>
    : std::integral_constant<DefinitionType, DefinitionType::DynamicStructure> {};
template <>
struct DefinitionTypeOf<DynamicError> : std::integral_constant<DefinitionType, DefinitionType::DynamicError> {
};
}  // namespace internal

template <class X>
std::shared_ptr<DataDefinition const> DataDefinition::Create() {
  if constexpr (std::is_same<X, DynamicStructure>::value || std::is_same<X, DynamicError>::value ||
                std::is_same<X, Opax::Void>::value) {
    return PrimitiveDefinition::GetInstance(internal::DefinitionTypeOf<X>::value);
  } else {
    switch (PrimitiveTraits<X>::kind) {
      case Kind::Boolean:
        return PrimitiveDefinition::GetInstance(DefinitionType::Boolean);
      case Kind::Integer:
        return PrimitiveDefinition::GetInstance(DefinitionType::Integer);
      case Kind::Double:
        return PrimitiveDefinition::GetInstance(DefinitionType::Double);
      case Kind::Secret:
        return PrimitiveDefinition::GetInstance(DefinitionType::Secret);
      case Kind::Binary:
        return PrimitiveDefinition::GetInstance(DefinitionType::Binary);
      case Kind::DateTime:
        return PrimitiveDefinition::GetInstance(DefinitionType::DateTime);
      default:
        return PrimitiveDefinition::GetInstance(DefinitionType::String);
    }
  }
}

}  // namespace Data
}  // namespace Opax
