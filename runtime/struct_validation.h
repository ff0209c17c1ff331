#pragma once

// The check of every generated structure, written once over Fields<T>: the strict policy's
// unknown-field walk, the union table, then the nested structures in field order (queued, not
// recursed into).

#include <runtime/fields.h>

#include <list>

namespace Opax {
namespace Binding {

template <class T>
bool ValidateStep(void const* object, ::Opax::Data::Validator::Policy policy, ::Opax::Data::ValidationRun& run,
                  std::list<::Opax::BaseMessage>& messages);

// An empty required structure: fails, without a message, when its turn comes.
inline bool FailEmpty(void const*, ::Opax::Data::Validator::Policy, ::Opax::Data::ValidationRun&,
                      std::list<::Opax::BaseMessage>&) {
  return false;
}

// Queues the check of one nested structure field: required ones always (an empty one fails at
// once, without a message), optional ones only in operation inputs and only when set.
template <class T, class M>
void QueueNested(M const&, ::Opax::Data::ValidationRun&) {}
template <class T, class S>
void QueueNested(std::shared_ptr<S const> const& nested, ::Opax::Data::ValidationRun& run) {
  if (nested) {
    run.Queue(nested.get(), ::Opax::Data::ValidatorStep<S>::Get());
  } else {
    run.Queue(nullptr, &FailEmpty);
  }
}
template <class T, class S>
void QueueNested(::Opax::OptionalPtr<S const> const& nested, ::Opax::Data::ValidationRun& run) {
  if (Fields<T>::isInput && nested) run.Queue(nested.get().get(), ::Opax::Data::ValidatorStep<S>::Get());
}

template <class T>
bool ValidateStep(void const* object, ::Opax::Data::Validator::Policy policy, ::Opax::Data::ValidationRun& run,
                  std::list<::Opax::BaseMessage>& messages) {
  using F = Fields<T>;
  auto const& native = *static_cast<T const*>(object);
  auto const& unknown = native.*F::unknown;
  if (policy == ::Opax::Data::Validator::STRICT && unknown && !unknown->fields().empty()) {
    // Deliberately decisive either way: a strict check that finds only unknown fields that are
    // unset accepts the object without looking further.
    return ::Opax::Data::CheckUnknownFields(*unknown, F::qualifiedName, messages);
  }
  if (!::Opax::Data::UnionCheck::Check(object, F::unions.data(), F::unions.size(), F::name, messages)) return false;
  std::size_t const first = run.pendingCount();
  ForEachField<T>([&](auto const& field) { QueueNested<T>(native.*field.member, run); });
  // Queued in field order; the run takes the last first.
  run.ReverseFrom(first);
  return true;
}

// The body of every generated Validator::isValid specialisation.
template <class T>
bool IsValid(T const& object, ::Opax::Data::Validator::Policy policy, std::list<::Opax::BaseMessage>& messages) {
  return ::Opax::Data::ValidationRun::Run(&object, &ValidateStep<T>, policy, messages);
}

}  // namespace Binding
}  // namespace Opax
