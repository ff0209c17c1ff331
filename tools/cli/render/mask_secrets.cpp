#include "render/mask_secrets.h"

#include <opax/core/data/compound_value.h>
#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>

#include <vector>

namespace Cli {
namespace {

using ::Opax::Data::CompoundValue;
using ::Opax::Data::DataValue;
using ::Opax::Data::Kind;
using ::Opax::Data::ListValue;
using ::Opax::Data::OptionalValue;
using Slot = std::shared_ptr<DataValue const>;

bool IsCompound(Kind kind) { return kind == Kind::Structure || kind == Kind::Error || kind == Kind::Map; }

// The children of `value` (typed lists hold strings or integers only, never a secret).
template <class Visit>
void ForEachChild(DataValue const& value, Visit&& visit) {
  if (IsCompound(value.kind())) {
    for (auto const& field : static_cast<CompoundValue const&>(value).fields().inOrder())
      visit(field.value());
  } else if (value.kind() == Kind::List) {
    auto const& list = static_cast<ListValue const&>(value);
    if (!list.isTyped()) {
      for (auto const& element : list.values()) visit(element);
    }
  } else if (value.kind() == Kind::Optional) {
    visit(static_cast<OptionalValue const&>(value).value());
  }
}

bool HoldsSecret(DataValue const& root) {
  std::vector<DataValue const*> pending{&root};
  while (!pending.empty()) {
    DataValue const* at = pending.back();
    pending.pop_back();
    if (at->kind() == Kind::Secret) return true;
    ForEachChild(*at, [&pending](Slot const& child) {
      if (child) pending.push_back(child.get());
    });
  }
  return false;
}

}  // namespace

std::shared_ptr<DataValue const> MaskSecrets(std::shared_ptr<DataValue const> const& value) {
  if (!value || !HoldsSecret(*value)) return value;
  Slot root = value->Copy();
  // Every compound below `root` is the copy's own, so changing it in place is safe.
  std::vector<Slot*> pending{&root};
  while (!pending.empty()) {
    Slot* slot = pending.back();
    pending.pop_back();
    if (!*slot) continue;
    DataValue* node = std::const_pointer_cast<DataValue>(*slot).get();
    if (node->kind() == Kind::Secret) {
      *slot = DataValue::Create(::Opax::SecretString(kSecretMask));
    } else if (IsCompound(node->kind())) {
      for (auto& field : static_cast<CompoundValue*>(node)->fields().inOrder())
        pending.push_back(&field.value());
    } else if (node->kind() == Kind::List && !static_cast<ListValue*>(node)->isTyped()) {
      for (auto& element : static_cast<ListValue*>(node)->values()) pending.push_back(&element);
    } else if (node->kind() == Kind::Optional) {
      pending.push_back(static_cast<OptionalValue*>(node)->slot());
    }
  }
  return root;
}

}  // namespace Cli
