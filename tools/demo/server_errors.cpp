#include "server_errors.h"

namespace Demo {

::Opax::BaseMessage Note(std::string id, std::string text, std::vector<std::string> args) {
  return ::Opax::BaseMessage(std::move(id), std::move(text), std::move(args));
}

ErrorPtr InvalidArgument(std::list<::Opax::BaseMessage> const& messages) {
  return StandardError<Errors::InvalidArgument>(Errors::ErrorType::INVALID_ARGUMENT, messages);
}

ErrorPtr NotFound(::Opax::BaseMessage const& message) {
  return StandardError<Errors::NotFound>(Errors::ErrorType::NOT_FOUND, {message});
}

}  // namespace Demo
