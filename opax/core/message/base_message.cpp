#include <opax/core/message/base_message.h>

#include <opax/core/message/message.h>

#include <ostream>

namespace Opax {

BaseMessage BaseMessage::Make(std::string id, std::vector<std::string> args) {
  std::string text = Message<CoreTag>::TextFor(id, args);
  return BaseMessage(std::move(id), std::move(text), std::move(args));
}

std::ostream& operator<<(std::ostream& out, BaseMessage const& message) {
  return out << message.id() << ": " << message.defaultMessage();
}

}  // namespace Opax
