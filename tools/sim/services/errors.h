#pragma once

// How the simulated services answer with the standard errors. Their reasons are messages of the
// simulator's own ("nexar.sim..." ids), with the English text filled in here and the arguments
// kept for clients that render messages themselves.

#include <opax/core/message/base_message.h>
#include <opax/core/validation/validator.h>
#include <opax/std/errors.h>
#include <runtime/service.h>

#include <list>
#include <memory>
#include <string>
#include <vector>

namespace Sim {

namespace Errors = ::Com::Quarn::Opax::Std::Errors;
using ErrorPtr = std::shared_ptr<::Opax::Data::ErrorValue const>;

// A message of the simulator: `text` has placeholders {0}, {1}, ... for `args`.
::Opax::BaseMessage Say(std::string id, std::string const& text, std::vector<std::string> args = {});

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

// `what` names the kind of object as a person would ("virtual machine", "CD-ROM").
ErrorPtr NotFound(std::string const& what, std::string const& id);
ErrorPtr AlreadyExists(std::string const& what, std::string const& name);
ErrorPtr InvalidArgument(std::list<::Opax::BaseMessage> const& messages);
ErrorPtr InvalidArgument(::Opax::BaseMessage const& message);
ErrorPtr NotAllowedInCurrentState(::Opax::BaseMessage const& message);
ErrorPtr AlreadyInDesiredState(::Opax::BaseMessage const& message);
ErrorPtr ResourceBusy(::Opax::BaseMessage const& message);
ErrorPtr ResourceInUse(::Opax::BaseMessage const& message);
ErrorPtr UnableToAllocateResource(::Opax::BaseMessage const& message);
ErrorPtr Unsupported(::Opax::BaseMessage const& message);

// Null when `spec` keeps every rule of its structure (unions included) under the strict policy,
// since it came from a peer; otherwise the InvalidArgument error to answer with.
template <class Spec>
ErrorPtr CheckSpec(Spec const& spec) {
  std::list<::Opax::BaseMessage> messages;
  if (::Opax::Data::Validator::isValid(spec, ::Opax::Data::Validator::STRICT, messages)) return nullptr;
  return InvalidArgument(messages);
}

}  // namespace Sim
