#pragma once

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace Opax {

// One report: a message id (what happened, stable, machine-readable), the default text with its
// numbered placeholders already filled in, and the argument strings the text was filled from.
// Localisation replaces the text later from the id and the arguments.
class BaseMessage {
 public:
  BaseMessage(std::string id, std::string defaultMessage, std::vector<std::string> args)
      : id_(std::move(id)), defaultMessage_(std::move(defaultMessage)), args_(std::move(args)) {}

  // The usual way to make a message: the default text for `id` from the core message table,
  // with {0}, {1}, ... replaced by `args`.
  static BaseMessage Make(std::string id, std::vector<std::string> args = {});

  std::string const& id() const { return id_; }
  std::string const& defaultMessage() const { return defaultMessage_; }
  std::vector<std::string> const& args() const { return args_; }

  bool operator==(BaseMessage const& o) const {
    return id_ == o.id_ && defaultMessage_ == o.defaultMessage_ && args_ == o.args_;
  }
  bool operator!=(BaseMessage const& o) const { return !(*this == o); }

 private:
  std::string id_;
  std::string defaultMessage_;
  std::vector<std::string> args_;
};

// "id: text", for logs and test failure output.
std::ostream& operator<<(std::ostream& out, BaseMessage const& message);

}  // namespace Opax
