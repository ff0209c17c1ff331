#pragma once

#include <opax/core/definition/data_definition.h>

#include <list>
#include <memory>
#include <string>

namespace Opax {
namespace Core {

// An operation's task form is served under its wire name plus this suffix.
constexpr char kTaskSuffix[] = "$task";
constexpr std::size_t kTaskSuffixLength = sizeof(kTaskSuffix) - 1;

// Whether `method` names an operation's task form.
inline bool IsTaskMethod(std::string const& method) {
  return method.size() > kTaskSuffixLength &&
         method.compare(method.size() - kTaskSuffixLength, kTaskSuffixLength, kTaskSuffix) == 0;
}

// A service by its dotted id ("com.quarn.nexar.vm.hardware.cdrom").
class InterfaceIdentifier {
 public:
  explicit InterfaceIdentifier(std::string name) : name_(std::move(name)) {}
  std::string const& name() const { return name_; }

 private:
  std::string name_;
};

// One operation of a service, by wire name ("create", or "create$task" for the task form).
class MethodIdentifier {
 public:
  MethodIdentifier(std::shared_ptr<InterfaceIdentifier const> interfaceId, std::string name)
      : interface_(std::move(interfaceId)), name_(std::move(name)) {}
  static std::shared_ptr<MethodIdentifier const> GetInstance(
      std::shared_ptr<InterfaceIdentifier const> const& interfaceId, std::string const& name) {
    return std::make_shared<MethodIdentifier const>(interfaceId, name);
  }

  std::shared_ptr<InterfaceIdentifier const> const& interfaceIdentifier() const { return interface_; }
  std::string const& name() const { return name_; }
  // "service.id/method", for messages and logs.
  std::string FullName() const { return (interface_ ? interface_->name() : std::string()) + "/" + name_; }

 private:
  std::shared_ptr<InterfaceIdentifier const> interface_;
  std::string name_;
};

// An operation with the definitions of its input, output and declared errors.
class MethodDefinition {
 public:
  using ErrorDefinitions = std::list<std::shared_ptr<Data::DataDefinition const>>;

  MethodDefinition(std::shared_ptr<MethodIdentifier const> id,
                   std::shared_ptr<Data::DataDefinition const> input,
                   std::shared_ptr<Data::DataDefinition const> output, ErrorDefinitions errors)
      : id_(std::move(id)),
        input_(std::move(input)),
        output_(std::move(output)),
        errors_(std::move(errors)) {}

  static std::shared_ptr<MethodDefinition const> GetInstance(
      std::shared_ptr<MethodIdentifier const> const& id,
      std::shared_ptr<Data::DataDefinition const> const& input,
      std::shared_ptr<Data::DataDefinition const> const& output, ErrorDefinitions const& errors = {}) {
    return std::make_shared<MethodDefinition const>(id, input, output, errors);
  }

  std::shared_ptr<MethodIdentifier const> const& identifier() const { return id_; }
  std::shared_ptr<Data::DataDefinition const> const& inputDefinition() const { return input_; }
  std::shared_ptr<Data::DataDefinition const> const& outputDefinition() const { return output_; }
  ErrorDefinitions const& errorDefinitions() const { return errors_; }

 private:
  std::shared_ptr<MethodIdentifier const> id_;
  std::shared_ptr<Data::DataDefinition const> input_;
  std::shared_ptr<Data::DataDefinition const> output_;
  ErrorDefinitions errors_;
};

}  // namespace Core
}  // namespace Opax
