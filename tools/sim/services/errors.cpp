#include "errors.h"

#include <opax/core/message/message.h>

namespace Sim {

::Opax::BaseMessage Say(std::string id, std::string const& text, std::vector<std::string> args) {
  std::string filled = ::Opax::Message<::Opax::CoreTag>::Format(text, args);
  return ::Opax::BaseMessage(std::move(id), std::move(filled), std::move(args));
}

ErrorPtr NotFound(std::string const& what, std::string const& id) {
  return StandardError<Errors::NotFound>(
      Errors::ErrorType::NOT_FOUND,
      {Say("nexar.sim.not_found", "The {0} '{1}' does not exist.", {what, id})});
}

ErrorPtr AlreadyExists(std::string const& what, std::string const& name) {
  return StandardError<Errors::AlreadyExists>(
      Errors::ErrorType::ALREADY_EXISTS,
      {Say("nexar.sim.already_exists", "A {0} named '{1}' exists already.", {what, name})});
}

ErrorPtr InvalidArgument(std::list<::Opax::BaseMessage> const& messages) {
  return StandardError<Errors::InvalidArgument>(Errors::ErrorType::INVALID_ARGUMENT, messages);
}

ErrorPtr InvalidArgument(::Opax::BaseMessage const& message) {
  return InvalidArgument(std::list<::Opax::BaseMessage>{message});
}

ErrorPtr NotAllowedInCurrentState(::Opax::BaseMessage const& message) {
  return StandardError<Errors::NotAllowedInCurrentState>(Errors::ErrorType::NOT_ALLOWED_IN_CURRENT_STATE,
                                                         {message});
}

ErrorPtr AlreadyInDesiredState(::Opax::BaseMessage const& message) {
  return StandardError<Errors::AlreadyInDesiredState>(Errors::ErrorType::ALREADY_IN_DESIRED_STATE, {message});
}

ErrorPtr ResourceBusy(::Opax::BaseMessage const& message) {
  return StandardError<Errors::ResourceBusy>(Errors::ErrorType::RESOURCE_BUSY, {message});
}

ErrorPtr ResourceInUse(::Opax::BaseMessage const& message) {
  return StandardError<Errors::ResourceInUse>(Errors::ErrorType::RESOURCE_IN_USE, {message});
}

ErrorPtr UnableToAllocateResource(::Opax::BaseMessage const& message) {
  return StandardError<Errors::UnableToAllocateResource>(Errors::ErrorType::UNABLE_TO_ALLOCATE_RESOURCE,
                                                         {message});
}

ErrorPtr Unsupported(::Opax::BaseMessage const& message) {
  return StandardError<Errors::Unsupported>(Errors::ErrorType::UNSUPPORTED, {message});
}

}  // namespace Sim
