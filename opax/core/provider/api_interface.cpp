#include <opax/core/provider/api_interface.h>

#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>
#include <opax/core/provider/api_method_helper.h>

namespace Opax {
namespace Provider {

void AsyncApiMethodSignal::Invoke(std::shared_ptr<Core::AsyncActivation> const& activation,
                                  std::shared_ptr<Data::DataValue const> const& input,
                                  std::shared_ptr<Core::AsyncApiResultCb> const& callback) const {
  if (!callback) return;  // nobody to answer
  if (!slot_) {
    auto error = Data::ErrorValue::GetInstance(ErrorIds::kInternalServerError,
                                               {BaseMessage::Make(MessageIds::kSignalNotConnected)});
    (*callback)(Core::MethodResult::GetErrorInstance(std::move(error)), Progress());
    return;
  }
  std::shared_ptr<Core::MethodResult const> refused;
  if (!ApiMethodHelper::ValidateInput(definition_->identifier()->name(), definition_->inputDefinition(),
                                      input, refused)) {
    (*callback)(refused, Progress());
    return;
  }
  // A peer may send no activation; the implementation and the delivery of its outcome still
  // read one.
  std::shared_ptr<Core::AsyncActivation> const own =
      activation ? activation : Core::AsyncActivation::GetInstance();
  own->localizer(localizer_);
  slot_(own, input, callback);
}

AsyncApiInterface::AsyncApiInterface(std::shared_ptr<Core::InterfaceIdentifier const> id,
                                     Methods const& methods)
    : id_(std::move(id)) {
  for (auto const& method : methods) {
    if (method && method->definition() && method->definition()->identifier()) {
      methods_[method->definition()->identifier()->name()] = method;
    }
  }
}

std::shared_ptr<AsyncApiMethod const> AsyncApiInterface::Find(std::string const& name) const {
  auto found = methods_.find(name);
  return found == methods_.end() ? nullptr : found->second;
}

}  // namespace Provider
}  // namespace Opax
