#pragma once

#include <opax/core/invocation/async_result.h>
#include <opax/core/invocation/identifiers.h>
#include <opax/core/invocation/method_result.h>
#include <opax/core/l10n/request_localizer.h>

#include <memory>
#include <string>

namespace Opax {
namespace Provider {

// The checks a served operation applies to what crosses it, each answering with the result to
// deliver. Failures name the operation and carry the definition's messages.
struct ApiMethodHelper {
  // True when `input` fits `definition`; otherwise false and `result` holds an invalid_argument
  // error with the messages and "opax.invoke.invalid.input".
  static bool ValidateInput(std::string const& name,
                            std::shared_ptr<Data::DataDefinition const> const& definition,
                            std::shared_ptr<Data::DataValue const> const& input,
                            std::shared_ptr<Core::MethodResult const>& result);

  // A success with `output`, or, when it breaks `definition`, an internal server error with the
  // messages and "opax.invoke.invalid.output": the implementation is at fault, not the caller.
  static std::shared_ptr<Core::MethodResult const> ValidateOutput(
      std::string const& name, std::shared_ptr<Data::DataDefinition const> const& definition,
      std::shared_ptr<Data::DataValue const> const& output);

  // The error result for `error` when the operation declares it (and it fits the declaration);
  // otherwise an internal server error with "opax.invoke.undeclared.error" in its place.
  static std::shared_ptr<Core::MethodResult const> ValidateError(
      std::string const& name, Core::MethodDefinition::ErrorDefinitions const& errors,
      std::shared_ptr<Data::ErrorValue const> const& error);
};

}  // namespace Provider

namespace Data {

// Fills in the messages of an error value for the request's language. Texts are carried in
// their default language, so the value passes through unchanged.
struct NativeErrorHelper {
  static std::shared_ptr<ErrorValue const> GetError(std::shared_ptr<ErrorValue const> const& error,
                                                    boost::optional<NativeError> const& native,
                                                    L10n::RequestLocalizer const& requestLocalizer);
};

}  // namespace Data
}  // namespace Opax
