#pragma once

// One operation as data: what its <Op>Method class, the stub, the binder and the run-time
// catalogue all read. Generated code emits one descriptor per operation and nothing that repeats
// it; everything that does not depend on the operation's native types works from here.

#include <runtime/fields.h>

#include <opax/core/definition/data_definition.h>
#include <opax/core/invocation/identifiers.h>

#include <cstddef>
#include <list>
#include <memory>
#include <string>

namespace Opax {
namespace Binding {

// A native type as the call path handles it without knowing it: its adapt functions, and how to
// make and free an object of it.
struct TypeEntry {
  Data::NativeToValueAdapter::AdaptFunction (*toValue)();
  Data::ValueToNativeAdapter::AdaptFunction (*toNative)();
  Data::NativeToDefinitionAdapter::AdaptFunction (*toDefinition)();
  void* (*make)();
  void (*free)(void*);
};

namespace internal {
template <class T>
Data::NativeToValueAdapter::AdaptFunction ToValueOf() {
  return Data::NativeToValueAdapter::AdaptMethod<T>::Get(nullptr);
}
template <class T>
Data::ValueToNativeAdapter::AdaptFunction ToNativeOf() {
  return Data::ValueToNativeAdapter::AdaptMethod<T>::Get(nullptr);
}
template <class T>
Data::NativeToDefinitionAdapter::AdaptFunction ToDefinitionOf() {
  return Data::NativeToDefinitionAdapter::AdaptMethod<T>::Get(nullptr);
}
template <class T>
void* Make() {
  return new T();
}
template <class T>
void Free(void* object) {
  delete static_cast<T*>(object);
}
}  // namespace internal

template <class T>
struct Type {
  static constexpr TypeEntry entry{&internal::ToValueOf<T>, &internal::ToNativeOf<T>,
                                   &internal::ToDefinitionOf<T>, &internal::Make<T>, &internal::Free<T>};
};

struct OperationDescriptor;

namespace internal {
// The identifiers an operation is invoked by, made once per operation and never freed: handing
// them out per call costs neither an allocation nor a reference count.
struct Identifiers {
  OperationDescriptor const* op;
  std::shared_ptr<Core::MethodIdentifier const> plain;
  std::shared_ptr<Core::MethodIdentifier const> task;
};
Identifiers MakeIdentifiers(OperationDescriptor const& op);
template <class Input>
Identifiers const& IdentifiersOf(OperationDescriptor const& op) {
  static Identifiers const ids = MakeIdentifiers(op);
  return ids;
}
}  // namespace internal

struct OperationDescriptor {
  char const* service;    // "com.quarn.nexar.vm.hardware.cdrom"
  char const* name;       // wire name; the task form's is name + "$task"
  char const* qualified;  // "::Com::Quarn::...::CdromSvc::Create", for messages
  bool plain;             // served under `name`
  bool task;              // served under `name$task`
  TypeEntry const* input;
  StructTable const& (*inputFields)();
  TypeEntry const* result;
  TypeEntry const* const* errors;  // the declared errors
  std::size_t errorCount;
  // The operation's identifiers, kept per Input type (null: made per call).
  internal::Identifiers const& (*identifiers)(OperationDescriptor const&) = nullptr;

  // The method identifier of the plain or the task form.
  std::shared_ptr<Core::MethodIdentifier const> method(bool taskForm) const;

  std::string taskName() const { return std::string(name) + Core::kTaskSuffix; }
  std::shared_ptr<Data::DataDefinition const> inputDef() const;
  std::shared_ptr<Data::DataDefinition const> outputDef() const;
  std::list<std::shared_ptr<Data::DataDefinition const>> errorDefs() const;
  // Converts a value to the operation's native Input (or result type) and back: what a binder
  // (or a stub) does with what it receives. For tools and tests of the whole catalogue.
  bool inputRoundTrip(std::shared_ptr<Data::DataValue const> const& value,
                      std::shared_ptr<Data::DataValue const>& out, std::list<BaseMessage>& messages) const;
  bool outputRoundTrip(std::shared_ptr<Data::DataValue const> const& value,
                       std::shared_ptr<Data::DataValue const>& out, std::list<BaseMessage>& messages) const;
};

// The declared errors of an operation, as the descriptor lists them.
template <class... E>
struct Errors {
  static constexpr TypeEntry const* list[] = {&Type<E>::entry...};
};

// What every generated <Op>Method class offers, read from its `descriptor`.
template <class M>
struct Method {
  static std::string methodName() { return M::descriptor.name; }
  static std::string taskMethodName() { return M::descriptor.taskName(); }
  static std::shared_ptr<Data::DataDefinition const> inputDef() { return M::descriptor.inputDef(); }
  static std::shared_ptr<Data::DataDefinition const> outputDef() { return M::descriptor.outputDef(); }
  static std::list<std::shared_ptr<Data::DataDefinition const>> errorDefs() {
    return M::descriptor.errorDefs();
  }
};

// The descriptor of an operation whose native Input is `Input` and whose result type is `R`,
// with `errorCount` declared errors at `errors`.
template <class Input, class R>
constexpr OperationDescriptor Describe(char const* service, char const* name, char const* qualified,
                                       bool plain, bool task, TypeEntry const* const* errors,
                                       std::size_t errorCount) {
  return {service,
          name,
          qualified,
          plain,
          task,
          &Type<Input>::entry,
          &Fields<Input>::Table,
          &Type<R>::entry,
          errors,
          errorCount,
          &internal::IdentifiersOf<Input>};
}

template <class Input, class R, std::size_t N>
constexpr OperationDescriptor Describe(char const* service, char const* name, char const* qualified,
                                       bool plain, bool task, TypeEntry const* const (&errors)[N]) {
  return Describe<Input, R>(service, name, qualified, plain, task, errors, N);
}

template <class Input, class R>
constexpr OperationDescriptor Describe(char const* service, char const* name, char const* qualified,
                                       bool plain, bool task) {
  return Describe<Input, R>(service, name, qualified, plain, task, nullptr, 0);
}

}  // namespace Binding
}  // namespace Opax
