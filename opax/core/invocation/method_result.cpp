#include <opax/core/invocation/method_result.h>

#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>

namespace Opax {
namespace Core {

std::shared_ptr<MethodResult const> MethodResult::GetInstance(std::shared_ptr<Data::DataValue const> output) {
  return std::make_shared<MethodResult const>(std::move(output), nullptr, false);
}

std::shared_ptr<MethodResult const> MethodResult::GetErrorInstance(
    std::shared_ptr<Data::ErrorValue const> error) {
  if (!error) error = Data::ErrorValue::GetInstance(ErrorIds::kInternalServerError);
  return std::make_shared<MethodResult const>(nullptr, std::move(error), false);
}

std::shared_ptr<MethodResult const> MethodResult::GetTerminationInstance() {
  static auto const error = std::shared_ptr<Data::ErrorValue const>(Data::ErrorValue::GetInstance(
      ErrorIds::kInternalServerError, {BaseMessage::Make(MessageIds::kTerminated)}));
  return std::make_shared<MethodResult const>(nullptr, error, true);
}

}  // namespace Core
}  // namespace Opax
