#pragma once

// Native structures as the JSON documents the store keeps: the same text the wire carries, so
// that a seed file, a snapshot and a call's input read alike.

#include <opax/core/adapter/native_to_definition_adapter.h>
#include <opax/core/adapter/native_to_value_adapter.h>
#include <opax/core/adapter/value_to_native_adapter.h>
#include <opax/json/decoder.h>
#include <opax/json/encoder.h>

#include <list>
#include <stdexcept>
#include <string>

namespace Sim {

// A document that does not convert is a fault of the simulator, not of a caller: it throws, and
// the operation in progress is abandoned.
template <class T>
std::string ToDocument(T const& native) {
  std::list<Opax::BaseMessage> messages;
  std::shared_ptr<Opax::Data::DataValue const> value;
  std::string text;
  auto const definition = Opax::Data::NativeToDefinitionAdapter::DefinitionOf<T>();
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
  auto const definition = Opax::Data::NativeToDefinitionAdapter::DefinitionOf<T>();
  if (!Opax::Json::Decode(text, *definition, value, messages) ||
      !Opax::Data::ValueToNativeAdapter::Adapt(value, native, messages)) {
    throw std::runtime_error("a stored document cannot be read");
  }
  return native;
}

}  // namespace Sim
