#pragma once

// Native structures as the JSON documents the store keeps: the same text the wire carries, so
// that a seed file, a snapshot and a call's input read alike.

#include <opax/core/adapter/native_to_definition_adapter.h>
#include <opax/core/adapter/native_to_value_adapter.h>
#include <opax/core/adapter/value_to_native_adapter.h>
#include <opax/json/decoder.h>
#include <opax/json/encoder.h>

#include "store.h"

#include <list>
#include <stdexcept>
#include <string>

namespace Sim {

// A document that does not convert is a fault of the simulator, not of a caller: it throws, and
// the operation in progress is abandoned. A type's definition is built once: building it costs more
// than reading a small document.
template <class T>
std::string ToDocument(T const& native) {
  std::list<Opax::BaseMessage> messages;
  std::shared_ptr<Opax::Data::DataValue const> value;
  std::string text;
  static auto const definition = Opax::Data::NativeToDefinitionAdapter::DefinitionOf<T>();
  if (!Opax::Data::NativeToValueAdapter::Adapt(native, value, messages) ||
      !Opax::Json::Encode(*value, definition.get(), text, messages)) {
    throw std::runtime_error("a document cannot be written");
  }
  return text;
}

template <class T>
T FromDocument(std::string const& text) {
  std::list<Opax::BaseMessage> messages;
  std::shared_ptr<Opax::Data::DataValue const> value;
  T native{};
  static auto const definition = Opax::Data::NativeToDefinitionAdapter::DefinitionOf<T>();
  if (!Opax::Json::Decode(text, *definition, value, messages) ||
      !Opax::Data::ValueToNativeAdapter::Adapt(value, native, messages)) {
    throw std::runtime_error("a stored document cannot be read");
  }
  return native;
}

// The document of (kind, id) as a T, or null when there is none, with its row's parent when
// `parent` is given; decoded once and kept by the store until the row changes.
template <class T>
std::shared_ptr<T const> Load(Store& store, std::string const& kind, std::string const& id,
                              std::string* parent = nullptr) {
  if (Store::Decoded* kept = store.FindDecoded(kind, id); kept && kept->type == typeid(T)) {
    if (parent) *parent = kept->parent;
    return std::static_pointer_cast<T const>(kept->value);
  }
  auto row = store.Get(kind, id);
  if (!row) return nullptr;
  auto value = std::make_shared<T const>(FromDocument<T>(row->doc));
  if (parent) *parent = row->parent;
  store.KeepDecoded(kind, id, {typeid(T), value, std::move(row->parent)});
  return value;
}

}  // namespace Sim
