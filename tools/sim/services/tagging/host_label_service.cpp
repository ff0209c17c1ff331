#include "services.h"

#include "../../state/document.h"
#include "../errors.h"
#include "../kinds.h"

#include <bindings/host/tags.h>

namespace Sim {
namespace Tagging {
namespace {

using LabelSvc = ::Com::Quarn::Nexar::Host::TagsSvc;
using LabelList = std::list<std::shared_ptr<LabelSvc::Tag const>>;

bool Same(LabelSvc::Tag const& a, LabelSvc::Tag const& b) {
  return a.category() == b.category() && a.name() == b.name();
}

// Free-form labels, one row each below their host (kinds.h), unrelated to the tag catalogue.
class HostLabels : public LabelSvc::AsyncServiceInterface {
 public:
  explicit HostLabels(std::shared_ptr<State> state) : state_(std::move(state)) {}

  void Add(std::string const& host, LabelList const& labels, Activation const&,
           Result<::Opax::Void> const& result) override {
    state_->Run([host, labels, result](Store& store) {
      if (!store.Exists(Kinds::kHost, host)) return result.SetError(NotFound("host", host));
      Store::Transaction transaction(store);
      for (auto const& label : labels) {
        if (label->name().empty()) {
          return result.SetError(
              InvalidArgument(Say("nexar.sim.tagging.label.name", "A host label has a name.")));
        }
        if (Find(store, host, *label)) continue;
        store.Put({Kinds::kHostLabel, store.NewId("label"), host, ToDocument(*label)});
      }
      transaction.Commit();
      result.SetResult(::Opax::Void());
    });
  }

  void Remove(std::string const& host, LabelList const& labels, Activation const&,
              Result<::Opax::Void> const& result) override {
    state_->Run([host, labels, result](Store& store) {
      if (!store.Exists(Kinds::kHost, host)) return result.SetError(NotFound("host", host));
      Store::Transaction transaction(store);
      for (auto const& label : labels) {
        if (auto row = Find(store, host, *label)) store.Remove(Kinds::kHostLabel, *row);
      }
      transaction.Commit();
      result.SetResult(::Opax::Void());
    });
  }

  void Get(std::string const& host, Activation const&, Result<LabelList> const& result) override {
    state_->Run([host, result](Store& store) {
      if (!store.Exists(Kinds::kHost, host)) return result.SetError(NotFound("host", host));
      LabelList labels;
      for (auto const& row : store.Children(Kinds::kHostLabel, host)) {
        labels.push_back(std::make_shared<LabelSvc::Tag const>(FromDocument<LabelSvc::Tag>(row.doc)));
      }
      result.SetResult(labels);
    });
  }

 private:
  static boost::optional<std::string> Find(Store& store, std::string const& host,
                                           LabelSvc::Tag const& label) {
    for (auto const& row : store.Children(Kinds::kHostLabel, host)) {
      if (Same(FromDocument<LabelSvc::Tag>(row.doc), label)) return row.id;
    }
    return boost::none;
  }

  std::shared_ptr<State> state_;
};

}  // namespace

BoundService BindHostLabels(Services const& services) {
  return LabelSvc::AsyncServiceBinder::BindImplementation(std::make_shared<HostLabels>(services.state),
                                                          services.localizer);
}

}  // namespace Tagging
}  // namespace Sim
