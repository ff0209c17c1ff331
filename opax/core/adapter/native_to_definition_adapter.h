#pragma once

#include <opax/core/adapter/native_traits.h>
#include <opax/core/adapter/work_containers.h>
#include <opax/core/base/enum_table.h>
#include <opax/core/base/operation_input.h>
#include <opax/core/data/type_info.h>
#include <opax/core/definition/data_definition.h>

#include <deque>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Opax {
namespace Data {

class NativeToDefinitionAdapter;

// What an entry knows of the type it describes: nothing but its adapt function, except for the
// entries that complete a structure, which point at that structure's pending build.
struct NativeToDefinitionSource {
  void const* build = nullptr;
};

namespace N2D_internal {

// A structure whose fields are being described.
struct PendingStructure {
  void const* key;
  DefinitionType type;  // Structure, or Error for the standard error structures
  std::string name;
  StructDefinition::Fields fields;
  std::shared_ptr<DataDefinition const>* destination;
  std::vector<std::shared_ptr<StructRefDefinition>> references;  // made while it was being built
};

// The definition work container: a stack of entries plus what is known about each structure
// type met so far, keyed by the address of the structure's own adapt function. A structure's
// completion entry sits below its fields' entries, so it runs once they are all done; a
// structure met again while it is being built is therefore always one of its own ancestors.
template <class Entry>
class StackMapCnt {
 public:
  void push_back(Entry entry) { entries_.push_back(std::move(entry)); }
  bool empty() const { return entries_.empty(); }
  Entry pop_back() {
    Entry entry = std::move(entries_.back());
    entries_.pop_back();
    return entry;
  }

  struct Known {
    std::shared_ptr<DataDefinition const> finished;
    PendingStructure* building = nullptr;
  };
  std::map<void const*, Known>& known() { return known_; }
  // Pending builds live here until the conversion ends; a deque keeps their addresses stable.
  PendingStructure& NewPending() { return pending_.emplace_back(); }

 private:
  std::vector<Entry> entries_;
  std::map<void const*, Known> known_;
  std::deque<PendingStructure> pending_;
};

}  // namespace N2D_internal

// Native types to data definitions, without recursion. Each structure is described once per
// conversion and shared by every field that uses it; a structure that contains itself gets a
// StructRefDefinition at the inner occurrence, whose target is the finished outer definition.
class NativeToDefinitionAdapter {
 public:
  using SrcType = NativeToDefinitionSource;
  using Destination = std::shared_ptr<DataDefinition const>*;
  using Entry = BasicAdaptEntry<SrcType, Destination, std::list<BaseMessage>, N2D_internal::StackMapCnt>;
  using Container = N2D_internal::StackMapCnt<Entry>;
  using AdaptFunction = Entry::AdaptFunction;

  template <class T, class Enable = void>
  struct AdaptMethod;

  template <class T>
  class CompoundHelper;

  static bool Adapt(SrcType const& source, AdaptFunction root, Destination destination,
                    std::list<BaseMessage>& messages);

  // The definition of the native type whose adapt function is `root`.
  static std::shared_ptr<DataDefinition const> DefinitionOf(AdaptFunction root);
  // The definition of native type T.
  template <class T>
  static std::shared_ptr<DataDefinition const> DefinitionOf() {
    return DefinitionOf(AdaptMethod<T>::Get(nullptr));
  }
};

// The helper that a structure's adapt function uses. Made with the structure's key (its adapt
// function's address) and name, it first settles whether the structure needs describing at all
// (already finished: shared; being built: a reference); only then does `needsFields()` hold and
// the fields get listed.
template <>
class NativeToDefinitionAdapter::CompoundHelper<StructDefinition> {
 public:
  CompoundHelper(void const* key, std::string name, Destination const& destination, Container& container,
                 DefinitionType type = DefinitionType::Structure);

  bool needsFields() const { return pending_ != nullptr; }

  template <class F>
  void AddField(std::string const& wireName, F const* = nullptr) {
    AddField(wireName, AdaptMethod<F>::Get(nullptr));
  }
  void AddField(std::string const& wireName, AdaptFunction adapt);

  // A field that belongs to a union case; see UnionCaseDefinition for the predicate.
  template <class F>
  void AddUnionCaseField(std::string const& wireName, std::string const& tagField,
                         UnionCaseDefinition::Predicate predicate, F const* = nullptr) {
    AddUnionCaseField(wireName, tagField, AdaptMethod<F>::Get(nullptr), std::move(predicate));
  }
  void AddUnionCaseField(std::string const& wireName, std::string const& tagField, AdaptFunction adapt,
                         UnionCaseDefinition::Predicate predicate);

  // Describes every field of structure T in declaration order. The binding support defines it
  // from T's field table (runtime/struct_entries.h).
  template <class T>
  void AddFields();

 private:
  N2D_internal::PendingStructure* pending_ = nullptr;
  Container& container_;
};

// The leaf adapt functions of this adapter (see NativeTraits::LeafMethod).
struct N2D {
  using Adapter = NativeToDefinitionAdapter;

  // Completes a structure once its fields are described (the entry's source points at the build).
  static void FinishStructure(Adapter::SrcType const& source, Adapter::Destination const& destination,
                              Adapter::Container& container, std::list<BaseMessage>& messages);

  template <class X>
  static void AdaptPrimitive(Adapter::SrcType const&, Adapter::Destination const& destination,
                             Adapter::Container&, std::list<BaseMessage>&) {
    *destination = DataDefinition::Create<X>();
  }

  template <class E>
  static void AdaptEnumeration(Adapter::SrcType const&, Adapter::Destination const& destination,
                               Adapter::Container&, std::list<BaseMessage>&) {
    // Immutable, so one instance per enumeration serves every conversion.
    static std::shared_ptr<DataDefinition const> const definition = IsOneOfDefinition::GetInstance(
        &EnumTraits<E>::IsKnownText,
        std::vector<std::string>(E::Strings::values, E::Strings::values + EnumTraits<E>::count));
    *destination = definition;
  }

  template <class Wrapper, class X>
  static void AdaptWrapper(Adapter::SrcType const& source, Adapter::Destination const& destination,
                           Adapter::Container& container, std::list<BaseMessage>& messages) {
    auto wrapper = Wrapper::GetInstance(nullptr);
    *destination = wrapper;
    Adapter::AdaptMethod<X>::Get(nullptr)(source, wrapper->slot(), container, messages);
  }

  template <class X>
  static void AdaptOptional(Adapter::SrcType const& source, Adapter::Destination const& destination,
                            Adapter::Container& container, std::list<BaseMessage>& messages) {
    AdaptWrapper<OptionalDefinition, X>(source, destination, container, messages);
  }

  // A structure pointer is described by the structure itself.
  template <class S>
  static void AdaptSharedStructure(Adapter::SrcType const& source, Adapter::Destination const& destination,
                                   Adapter::Container& container, std::list<BaseMessage>& messages) {
    Adapter::AdaptMethod<std::remove_const_t<S>>::Get(nullptr)(source, destination, container, messages);
  }

  template <class S>
  static void AdaptOptionalStructure(Adapter::SrcType const& source, Adapter::Destination const& destination,
                                     Adapter::Container& container, std::list<BaseMessage>& messages) {
    AdaptWrapper<OptionalDefinition, std::shared_ptr<S>>(source, destination, container, messages);
  }

  template <class T>
  static void AdaptSequence(Adapter::SrcType const& source, Adapter::Destination const& destination,
                            Adapter::Container& container, std::list<BaseMessage>& messages) {
    auto list = ListDefinition::GetInstance(nullptr, NativeTraits::IsSet<T>::value);
    *destination = list;
    Adapter::AdaptMethod<typename T::value_type>::Get(nullptr)(source, list->slot(), container, messages);
  }

  template <class T>
  static void AdaptMap(Adapter::SrcType const& source, Adapter::Destination const& destination,
                       Adapter::Container& container, std::list<BaseMessage>& messages) {
    AdaptWrapper<MapDefinition, typename T::mapped_type>(source, destination, container, messages);
  }

  static void AdaptDynamicStructure(Adapter::SrcType const& source, Adapter::Destination const& destination,
                                    Adapter::Container& container, std::list<BaseMessage>& messages) {
    AdaptPrimitive<DynamicStructure>(source, destination, container, messages);
  }

  static void AdaptDynamicError(Adapter::SrcType const& source, Adapter::Destination const& destination,
                                Adapter::Container& container, std::list<BaseMessage>& messages) {
    AdaptPrimitive<DynamicError>(source, destination, container, messages);
  }

  static void AdaptOperationInput(Adapter::SrcType const&, Adapter::Destination const& destination,
                                  Adapter::Container&, std::list<BaseMessage>&);
};

// Every type but a generated structure: the leaf that NativeTraits picks.
template <class T, class Enable>
struct NativeToDefinitionAdapter::AdaptMethod {
  static AdaptFunction Get(T const* = nullptr) { return NativeTraits::LeafMethod<N2D, T>::Get(); }
};

}  // namespace Data
}  // namespace Opax
