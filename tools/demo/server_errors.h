#pragma once

// How the demo's implementations answer with a standard error. The reasons are demo messages
// with their own ids and ready texts: the core message table only knows the runtime's ids.

#include <opax/core/message/base_message.h>
#include <opax/core/validation/validator.h>
#include <opax/std/errors.h>
#include <runtime/service_binding.h>

#include <list>
#include <memory>
#include <string>
#include <vector>

namespace Demo {

namespace Errors = ::Com::Quarn::Opax::Std::Errors;
using ErrorPtr = std::shared_ptr<::Opax::Data::ErrorValue const>;

// A demo message: `text` is already filled in from `args`, which travel along for a client
// that renders the message itself.
::Opax::BaseMessage Note(std::string id, std::string text, std::vector<std::string> args = {});

// The error value of standard error E (an Errors:: structure) carrying `messages`.
template <class E>
ErrorPtr StandardError(Errors::ErrorType type, std::list<::Opax::BaseMessage> const& messages) {
  std::list<std::shared_ptr<::Com::Quarn::Opax::Std::LocalizableMessage const>> carried;
  for (auto const& message : messages) {
    carried.push_back(std::make_shared<::Com::Quarn::Opax::Std::LocalizableMessage const>(
        message.id(), message.defaultMessage(),
        std::list<std::string>(message.args().begin(), message.args().end())));
  }
  E error(carried);
  error.errorType(type);
  return ::Opax::Binding::ErrorValueOf(error);
}

ErrorPtr InvalidArgument(std::list<::Opax::BaseMessage> const& messages);
ErrorPtr NotFound(::Opax::BaseMessage const& message);

// Null when `spec` keeps every rule of its structure (unions included), under the strict policy
// because it came from a peer; otherwise the invalid_argument error to answer with.
template <class Spec>
ErrorPtr CheckSpec(Spec const& spec) {
  std::list<::Opax::BaseMessage> messages;
  if (::Opax::Data::Validator::isValid(spec, ::Opax::Data::Validator::STRICT, messages)) return nullptr;
  return InvalidArgument(messages);
}

}  // namespace Demo
