#pragma once

#include <opax/core/invocation/activation.h>
#include <opax/core/invocation/identifiers.h>
#include <opax/core/invocation/result_callback.h>
#include <opax/core/l10n/localizer.h>

#include <functional>
#include <list>
#include <map>
#include <memory>

namespace Opax {
namespace Provider {

// One served operation.
class AsyncApiMethod {
 public:
  virtual ~AsyncApiMethod() = default;
  virtual std::shared_ptr<Core::MethodDefinition const> const& definition() const = 0;
  virtual void Invoke(std::shared_ptr<Core::AsyncActivation> const& activation,
                      std::shared_ptr<Data::DataValue const> const& input,
                      std::shared_ptr<Core::AsyncApiResultCb> const& callback) const = 0;
};

// A served operation whose work is one connected slot (the binder connects the implementation).
// Invoking it validates the input against the definition, sets the localizer on the activation
// and calls the slot; without a slot it answers "opax.provider.method.signal.not.connected".
class AsyncApiMethodSignal : public AsyncApiMethod,
                             public std::enable_shared_from_this<AsyncApiMethodSignal> {
 public:
  using Slot = std::function<void(std::shared_ptr<Core::AsyncActivation> const&,
                                  std::shared_ptr<Data::DataValue const> const&,
                                  std::shared_ptr<Core::AsyncApiResultCb> const&)>;

  AsyncApiMethodSignal(std::shared_ptr<Core::MethodDefinition const> definition,
                       std::shared_ptr<L10n::Localizer const> localizer)
      : definition_(std::move(definition)), localizer_(std::move(localizer)) {}
  static std::shared_ptr<AsyncApiMethodSignal> GetInstance(
      std::shared_ptr<Core::MethodDefinition const> definition,
      std::shared_ptr<L10n::Localizer const> localizer) {
    return std::make_shared<AsyncApiMethodSignal>(std::move(definition), std::move(localizer));
  }

  // Connects the one slot; connect before the signal is shared with a provider.
  void Connect(Slot slot) { slot_ = std::move(slot); }
  bool connected() const { return static_cast<bool>(slot_); }

  std::shared_ptr<Core::MethodDefinition const> const& definition() const override { return definition_; }
  std::shared_ptr<L10n::Localizer const> const& localizer() const { return localizer_; }
  void Invoke(std::shared_ptr<Core::AsyncActivation> const& activation,
              std::shared_ptr<Data::DataValue const> const& input,
              std::shared_ptr<Core::AsyncApiResultCb> const& callback) const override;

 private:
  std::shared_ptr<Core::MethodDefinition const> definition_;
  std::shared_ptr<L10n::Localizer const> localizer_;
  Slot slot_;
};

// A served service: its identifier and its operations by wire name.
class AsyncApiInterface {
 public:
  using Methods = std::list<std::shared_ptr<AsyncApiMethod const>>;

  AsyncApiInterface(std::shared_ptr<Core::InterfaceIdentifier const> id, Methods const& methods);
  static std::shared_ptr<AsyncApiInterface> GetInstance(
      std::shared_ptr<Core::InterfaceIdentifier const> const& id, Methods const& methods) {
    return std::make_shared<AsyncApiInterface>(id, methods);
  }

  std::shared_ptr<Core::InterfaceIdentifier const> const& identifier() const { return id_; }
  // The operation served under `name`, or null.
  std::shared_ptr<AsyncApiMethod const> Find(std::string const& name) const;
  std::map<std::string, std::shared_ptr<AsyncApiMethod const>> const& methods() const { return methods_; }

 private:
  std::shared_ptr<Core::InterfaceIdentifier const> id_;
  std::map<std::string, std::shared_ptr<AsyncApiMethod const>> methods_;
};

}  // namespace Provider
}  // namespace Opax
