#include "invoke/invoke.h"

#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>
#include <opax/json/decoder.h>

#include <future>

namespace Cli {

::Opax::Rpc::OperationTable const& Operations() {
  static ::Opax::Rpc::OperationTable const table;
  return table;
}

std::shared_ptr<::Opax::Core::MethodResult const> InvokeAndWait(
    ::Opax::Rpc::RpcClient& client, ::Opax::Rpc::OperationDefinitions const& operation,
    std::shared_ptr<::Opax::Data::DataValue const> const& input, std::chrono::seconds timeout) {
  using Result = std::shared_ptr<::Opax::Core::MethodResult const>;
  auto promise = std::make_shared<std::promise<Result>>();
  auto future = promise->get_future();
  client.InvokeAsync(
      operation.method, input, ::Opax::Core::AsyncActivation::GetInstance(),
      ::Opax::Core::AsyncApiResultCb::GetInstance([promise](Result const& result, ::Opax::Progress const&) {
        if (result) promise->set_value(result);
      }));
  if (future.wait_for(timeout + std::chrono::seconds(5)) != std::future_status::ready) {
    auto error = ::Opax::Data::ErrorValue::GetInstance(
        ::Opax::ErrorIds::kTimedOut,
        {::Opax::BaseMessage::Make(::Opax::MessageIds::kRpcTimedOut,
                                   {operation.method->FullName(), std::to_string(timeout.count() * 1000)})});
    return ::Opax::Core::MethodResult::GetErrorInstance(error);
  }
  return future.get();
}

bool DecodeInput(std::string const& json, ::Opax::Rpc::OperationDefinitions const& operation,
                 std::shared_ptr<::Opax::Data::DataValue const>& input,
                 std::list<::Opax::BaseMessage>& messages) {
  return ::Opax::Json::Decode(json, *operation.input, input, messages) &&
         operation.input->Validate(input, messages);
}

}  // namespace Cli
