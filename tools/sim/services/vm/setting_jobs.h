#pragma once

// Reading and changing one per-machine settings document, the shape every settings operation
// shares: find the machine, apply the operation's rule in its power state, write, answer.

#include "../../state/document.h"
#include "../../state/state.h"
#include "../errors.h"
#include "machine_record.h"

#include <runtime/service.h>

namespace Sim {
namespace Machines {

template <class T>
using PlainResult = ::Opax::AsyncResult<T, ::Opax::AsyncResultTerminateCbPolicy>;

template <class Info>
void GetSetting(State& state, char const* kind, std::string const& vm,
                PlainResult<std::shared_ptr<Info const>> const& result) {
  state.Run([kind, vm, result](Store& store) {
    auto row = store.Get(kind, vm);
    if (!row) return result.SetError(NotFound("virtual machine", vm));
    result.SetResult(std::make_shared<Info const>(FromDocument<Info>(row->doc)));
  });
}

// `change(info, power)` answers the rule it breaks, or changes `info`.
template <class Info, class Change>
void ChangeSetting(State& state, char const* kind, std::string const& vm, Change change,
                   PlainResult<::Opax::Void> const& result) {
  state.Run([kind, vm, change, result](Store& store) {
    auto row = store.Get(kind, vm);
    if (!row) return result.SetError(NotFound("virtual machine", vm));
    Info info = FromDocument<Info>(row->doc);
    if (ErrorPtr error = change(info, PowerOf(store, vm))) return result.SetError(error);
    Store::Transaction transaction(store);
    store.Put({kind, vm, vm, ToDocument(info)});
    transaction.Commit();
    result.SetResult(::Opax::Void());
  });
}

}  // namespace Machines
}  // namespace Sim
