#pragma once

#include <opax/core/l10n/localizer.h>

#include <map>
#include <memory>
#include <string>

namespace Opax {
namespace Core {

// The context of one call: who is calling and in which language, which resource the operation
// acts on, and any call-context entries the transport carried (e.g. an operation id). A
// provider may hand the same activation to a callback on another thread, so it is changed only
// before the implementation is called; Dup() gives an independent copy to keep.
class AsyncActivation {
 public:
  using Context = std::map<std::string, std::string>;

  AsyncActivation() = default;
  static std::shared_ptr<AsyncActivation> GetInstance() { return std::make_shared<AsyncActivation>(); }
  std::shared_ptr<AsyncActivation> Dup() const { return std::make_shared<AsyncActivation>(*this); }

  void localizer(std::shared_ptr<L10n::Localizer const> const& localizer) { localizer_ = localizer; }
  std::shared_ptr<L10n::Localizer const> const& localizer() const { return localizer_; }

  // The locale context for content of the reply, and the one for error messages (the same
  // unless the caller asked for errors in another language).
  L10n::RequestLocalizer const& requestLocalizer() const { return requestLocalizer_; }
  L10n::RequestLocalizer const& GetErrorRequestLocalizer() const { return requestLocalizer_; }
  void requestLocalizer(L10n::RequestLocalizer const& localizer) { requestLocalizer_ = localizer; }

  void resourceId(std::string const& id) { resourceId_ = id; }
  std::string const& resourceId() const { return resourceId_; }

  Context const& context() const { return context_; }
  Context& context() { return context_; }

 private:
  std::shared_ptr<L10n::Localizer const> localizer_;
  L10n::RequestLocalizer requestLocalizer_;
  std::string resourceId_;
  Context context_;
};

}  // namespace Core
}  // namespace Opax
