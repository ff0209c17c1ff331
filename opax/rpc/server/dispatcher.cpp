#include <opax/rpc/server/dispatcher.h>

#include <opax/core/l10n/message_catalog.h>
#include <opax/core/message/error_ids.h>
#include <opax/core/message/message_ids.h>
#include <opax/json/decoder.h>
#include <opax/json/encoder.h>
#include <opax/rpc/auth/session_service.h>
#include <opax/rpc/protocol/call_context.h>
#include <opax/rpc/protocol/envelope.h>
#include <opax/rpc/tasks/task_service.h>

#include <atomic>
#include <vector>

namespace Opax {
namespace Rpc {

// The replies of one request, filled in as its calls complete, on whatever threads they do.
struct Dispatcher::Batch {
  Batch(bool batch, std::size_t calls, Done whenDone)
      : isBatch(batch), replies(calls), remaining(calls), done(std::move(whenDone)) {}

  void Complete(std::size_t slot, std::string&& reply) {
    replies[slot] = std::move(reply);
    // The last call to complete sees every other slot written (acquire-release on the count).
    if (remaining.fetch_sub(1, std::memory_order_acq_rel) == 1) Finish();
  }

  void Finish() {
    std::string body;
    if (!isBatch) {
      body = std::move(replies.front());
    } else {
      for (std::string const& reply : replies) {
        if (reply.empty()) continue;
        body.push_back(body.empty() ? '[' : ',');
        body.append(reply);
      }
      if (!body.empty()) body.push_back(']');
    }
    done(std::move(body));
  }

  bool const isBatch;
  std::vector<std::string> replies;
  std::atomic<std::size_t> remaining;
  Done done;
};

namespace {

// The text for the "message" member of an error: the first message the error carries.
std::string ErrorMessage(Data::ErrorValue const& error) {
  std::list<BaseMessage> const messages = error.messages();
  return messages.empty() ? std::string(error.name()) : messages.front().defaultMessage();
}

// How errors are told to one caller: in the language the caller asked for.
struct Teller {
  L10n::Localizer const* localizer;
  L10n::RequestLocalizer const& request;

  std::string ErrorReply(std::string_view id, RpcCode code, std::shared_ptr<Data::ErrorValue const> error,
                         Data::DataDefinition const* definition) const {
    if (localizer) error = localizer->Localize(error, request);
    std::string data;
    std::list<BaseMessage> faults;
    if (!Json::Encode(*error, definition, data, faults)) data.clear();
    std::string out;
    AppendError(out, id, code, ErrorMessage(*error), data);
    return out;
  }

  std::string RuntimeErrorReply(std::string_view id, RpcCode code, char const* errorName,
                                BaseMessage const& message) const {
    return ErrorReply(id, code, Data::ErrorValue::GetInstance(errorName, {message}), nullptr);
  }

  // A protocol-level error: no error value, only the message in the caller's language.
  std::string ProtocolError(std::string_view id, RpcCode code, BaseMessage const& message) const {
    std::string text = message.defaultMessage();
    if (localizer && localizer->catalog())
      text = localizer->catalog()->TextFor(request.language(), message.id(), message.args());
    std::string out;
    AppendError(out, id, code, text);
    return out;
  }
};

std::string OutcomeReply(std::string_view id, OperationDefinitions const& operation,
                         Core::MethodResult const& result, Teller const& teller) {
  if (!result.success()) {
    return teller.ErrorReply(id, RpcCode::OperationError, result.error(),
                             operation.FindError(result.error()->name()));
  }
  // The result is encoded in place, inside the envelope: one buffer, sized once for a typical reply.
  std::string out;
  out.reserve(1024);
  OpenResult(out, id);
  std::list<BaseMessage> faults;
  if (!result.output()) {
    out.append("null");
  } else if (!Json::Encode(*result.output(), operation.output.get(), out, faults)) {
    return teller.RuntimeErrorReply(
        id, RpcCode::InternalError, ErrorIds::kInternalServerError,
        BaseMessage::Make(MessageIds::kInvalidOutput, {operation.method->FullName()}));
  }
  CloseResult(out);
  return out;
}

}  // namespace

Dispatcher::Dispatcher(std::shared_ptr<Provider::ApiProvider> hosted,
                       std::shared_ptr<Provider::ApiProvider> builtIn,
                       std::shared_ptr<OperationTable const> operations, DispatchOptions options)
    : hosted_(std::move(hosted)),
      builtIn_(std::move(builtIn)),
      operations_(std::move(operations)),
      options_(options) {}

void Dispatcher::Handle(std::string_view body, RequestContext const& context, Done done) const {
  RpcRequest const request = ParseRequest(body, options_.json);
  Teller const teller{options_.localizer.get(), context.localizer};
  if (request.parseError) {
    return done(
        teller.ProtocolError("null", RpcCode::ParseError,
                             BaseMessage::Make(MessageIds::kRpcRequestNotJson, {request.parseError})));
  }
  if (request.calls.size() > options_.maxBatch) {
    return done(teller.ProtocolError(
        "null", RpcCode::InvalidRequest,
        BaseMessage::Make(MessageIds::kRpcBatchTooLarge,
                          {std::to_string(request.calls.size()), std::to_string(options_.maxBatch)})));
  }
  auto batch = std::make_shared<Batch>(request.batch, request.calls.size(), std::move(done));
  for (std::size_t slot = 0; slot < request.calls.size(); ++slot)
    Call(batch, slot, request.calls[slot], context);
}

void Dispatcher::Call(std::shared_ptr<Batch> const& batch, std::size_t slot, RpcCall const& call,
                      RequestContext const& context) const {
  bool const notification = call.id.empty();
  // The body goes once Handle returns; the id must outlive it.
  std::string id(notification ? std::string_view("null") : call.id);
  auto const answer = [&](std::string&& reply) {
    batch->Complete(slot, notification ? std::string() : std::move(reply));
  };

  Teller const teller{options_.localizer.get(), context.localizer};
  if (call.invalid) {
    return answer(teller.ProtocolError(id, RpcCode::InvalidRequest,
                                       BaseMessage::Make(MessageIds::kRpcRequestInvalid, {call.invalid})));
  }
  if (call.method == kDiscoverMethod && discovery_) {
    std::string out;
    AppendResult(out, id, *discovery_);
    return answer(std::move(out));
  }
  OperationDefinitions const* const operation = operations_->Find(call.method);
  if (!operation) {
    // The method name comes from the caller: only its length is safe to bound, its text is not
    // secret, so it is named in the message to help the caller see the typo.
    std::string const shown = call.method.size() > 200 ? call.method.substr(0, 200) + "..." : call.method;
    return answer(teller.RuntimeErrorReply(id, RpcCode::MethodNotFound, ErrorIds::kNotFound,
                                           BaseMessage::Make(MessageIds::kRpcMethodUnknown, {shown})));
  }
  bool const sessionService = operation->serviceId == kSessionServiceId;
  if (options_.requireSession && !context.session &&
      !(sessionService && operation->operation == kSessionCreate)) {
    return answer(
        teller.RuntimeErrorReply(id, RpcCode::OperationError, ErrorIds::kUnauthenticated,
                                 BaseMessage::Make(MessageIds::kRpcSessionRequired, {call.method})));
  }

  std::shared_ptr<Data::DataValue const> input;
  std::list<BaseMessage> faults;
  std::string_view const params = call.params.empty() ? std::string_view("{}") : call.params;
  if (!Json::Decode(params, *operation->input, input, faults, options_.json)) {
    faults.push_front(BaseMessage::Make(MessageIds::kInvalidInput, {operation->method->FullName()}));
    return answer(teller.ErrorReply(id, RpcCode::InvalidParams,
                                    Data::ErrorValue::GetInstance(ErrorIds::kInvalidArgument, faults),
                                    nullptr));
  }

  auto activation = Core::AsyncActivation::GetInstance();
  activation->requestLocalizer(context.localizer);
  activation->context().emplace(kContextRequestId, context.requestId);
  if (context.session) {
    activation->context().emplace(kContextSessionId, context.session->id());
    activation->context().emplace(kContextUser, context.session->user());
  }
  bool const builtIn = sessionService || operation->serviceId == kTaskServiceId;
  Provider::ApiProvider& provider = builtIn ? *builtIn_ : *hosted_;
  provider.InvokeAsync(
      operation->method, input, activation,
      Core::AsyncApiResultCb::Holding(
          [batch, slot, notification, id = std::move(id), operation, localizer = options_.localizer,
           request = context.localizer](std::shared_ptr<Core::MethodResult const> const& result,
                                        Progress const&) {
            if (!result)
              return;  // progress: a plain call has none worth sending, a task reports it to its registry
            Teller const replyTeller{localizer.get(), request};
            batch->Complete(
                slot, notification ? std::string() : OutcomeReply(id, *operation, *result, replyTeller));
          }));
}

}  // namespace Rpc
}  // namespace Opax
