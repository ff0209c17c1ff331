// Untrusted JSON text against the structures of the pilot areas, the way a binder or a stub takes
// it: text -> value (decoded against the structure's definition) -> native structure -> value.
// The first two bytes choose the structure, the rest is the text. What decodes and validates
// must convert to native and back, mean what it meant (members the structure does not declare
// and enumeration texts it does not know included), and encode again; what does not must be
// refused with a message. The structures are the pilot list that the round-trip test walks, then
// every operation's input and result in the catalogue (the fuzz build carries only the pilot
// areas), which reaches every structure they use.

#include <opax/json/json.h>
#include <runtime/service_catalog.h>
#include <idl/tests/pilot_types.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace Pilot;         // NOLINT: its short names for the areas (Nexar, Hw, Auth, Std)
using namespace ::Opax::Data;  // NOLINT: the target speaks the runtime's vocabulary throughout
using Messages = std::list<::Opax::BaseMessage>;
using Slot = std::shared_ptr<DataValue const>;
using RoundTrip = bool (*)(void const* context, Slot const& value, Slot& back, Messages& messages);

void Require(bool condition, char const* what, std::string const& name) {
  if (condition) return;
  std::fprintf(stderr, "value_round_trip_fuzz: %s: %s\n", name.c_str(), what);
  std::abort();
}

struct Entry {
  std::string name;
  DataDefinitionPtr definition;
  RoundTrip roundTrip;
  void const* context;  // the operation, for the catalogue's entries
};

template <class T>
bool NativeRoundTrip(void const*, Slot const& value, Slot& back, Messages& messages) {
  T native;
  return ValueToNativeAdapter::Adapt(value, native, messages) &&
         NativeToValueAdapter::Adapt(native, back, messages);
}

bool InputRoundTrip(void const* op, Slot const& value, Slot& back, Messages& messages) {
  return static_cast<::Opax::Binding::OperationDescriptor const*>(op)->inputRoundTrip(value, back, messages);
}

bool ResultRoundTrip(void const* op, Slot const& value, Slot& back, Messages& messages) {
  return static_cast<::Opax::Binding::OperationDescriptor const*>(op)->outputRoundTrip(value, back, messages);
}

template <class... T>
void AddStructures(std::vector<Entry>& entries, Pilot::TypeList<T...>) {
  (entries.push_back(
       {TypeInfo<T>::name(), NativeToDefinitionAdapter::DefinitionOf<T>(), &NativeRoundTrip<T>, nullptr}),
   ...);
}

std::vector<Entry> MakeEntries() {
  std::vector<Entry> entries;
  AddStructures(entries, Pilot::Structures());
  for (auto const* service : ::Opax::Catalog::ServiceCatalog::Instance().services()) {
    for (std::size_t i = 0; i < service->operationCount; ++i) {
      auto const& op = *service->operations[i];
      std::string const name = std::string(service->id) + "/" + op.name;
      entries.push_back({name + " input", op.inputDef(), &InputRoundTrip, &op});
      entries.push_back({name + " result", op.outputDef(), &ResultRoundTrip, &op});
    }
  }
  return entries;
}

// Whether two lists of strings or integers hold the same elements, whatever their order and
// repeats: a set and a list share one definition, and a set gives its elements back in its own
// order (an enumeration's by member number), once each.
bool SameElements(ListValue const& a, ListValue const& b) {
  auto const elements = [](ListValue const& list, std::set<std::string>& out) {
    for (std::size_t i = 0; i < list.size(); ++i) {
      Slot const& element = list.element(i);
      if (!element || (element->kind() != Kind::String && element->kind() != Kind::Integer)) return false;
      out.insert(element->ToString());
    }
    return true;
  };
  std::set<std::string> left, right;
  return elements(a, left) && elements(b, right) && left == right;
}

// DataValue::Equal, but with lists of strings and integers compared as sets (see SameElements).
// An explicit stack: the text decides the depth.
bool SameMeaning(Slot const& a, Slot const& b) {
  std::vector<std::pair<Slot, Slot>> work{{a, b}};
  while (!work.empty()) {
    auto const [left, right] = std::move(work.back());
    work.pop_back();
    if (!left || !right) {
      if (left != right) return false;
      continue;
    }
    if (left->kind() != right->kind()) return false;
    switch (left->kind()) {
      case Kind::Structure:
      case Kind::Error:
      case Kind::Map: {
        auto const& l = static_cast<CompoundValue const&>(*left);
        auto const& r = static_cast<CompoundValue const&>(*right);
        if (l.name() != r.name() || l.fields().size() != r.fields().size()) return false;
        for (auto li = l.fields().begin(), ri = r.fields().begin(); li != l.fields().end(); ++li, ++ri) {
          if (li->name() != ri->name()) return false;
          work.emplace_back(li->value(), ri->value());
        }
        break;
      }
      case Kind::Optional:
        work.emplace_back(static_cast<OptionalValue const&>(*left).value(),
                          static_cast<OptionalValue const&>(*right).value());
        break;
      case Kind::List: {
        auto const& l = static_cast<ListValue const&>(*left);
        auto const& r = static_cast<ListValue const&>(*right);
        if (SameElements(l, r)) break;
        if (l.size() != r.size()) return false;
        for (std::size_t i = 0; i < l.size(); ++i) work.emplace_back(l.element(i), r.element(i));
        break;
      }
      default:
        if (!DataValue::Equal(*left, *right)) return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, std::size_t size) {
  namespace Json = ::Opax::Json;
  static std::vector<Entry> const entries = MakeEntries();
  if (size < 2) return 0;
  Entry const& entry = entries[(data[0] | std::size_t{data[1]} << 8) % entries.size()];
  std::string_view const text(reinterpret_cast<char const*>(data) + 2, size - 2);

  Slot decoded;
  Messages messages;
  if (!Json::Decode(text, *entry.definition, decoded, messages, Json::Limits())) {
    Require(!decoded && messages.size() == 1, "a refused text handed on a value or not one message",
            entry.name);
    return 0;
  }
  if (!entry.definition->Validate(decoded, messages)) {
    Require(!messages.empty(), "a value the definition refuses, without a message", entry.name);
    return 0;
  }
  Require(messages.empty(), "a valid value with messages", entry.name);

  Slot back;
  Require(entry.roundTrip(entry.context, decoded, back, messages) && back && messages.empty(),
          "a valid value failed to convert to native and back", entry.name);
  // Through the text again, as the peer would see it: what the native structure leaves unset
  // comes back as what the text left out.
  std::string again;
  Require(Json::Encode(*back, entry.definition.get(), again, messages), "the value came back unencodable",
          entry.name);
  Slot reread;
  Require(Json::Decode(again, *entry.definition, reread, messages, Json::Limits::Unlimited()),
          "the encoder wrote text that the decoder refuses", entry.name);
  if (!SameMeaning(decoded, reread)) {
    std::fprintf(stderr, "  decoded: %s\n  back:    %s\n", decoded->ToString().c_str(),
                 reread->ToString().c_str());
    Require(false, "native and back changed the value's meaning", entry.name);
  }
  return 0;
}
