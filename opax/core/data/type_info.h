#pragma once

#include <opax/core/base/operation_input.h>
#include <opax/core/data/data_value.h>

#include <memory>
#include <string>

namespace Opax {
namespace Data {

// Per native type: its dotted type name and a fresh default object to convert a value into.
// Generated code specialises this for every structure; the runtime does it for its own types.
template <class T>
struct TypeInfo;

template <>
struct TypeInfo<Opax::OperationInput> {
  // The one type name that every operation's input structure carries.
  static std::string name() { return "operation-input"; }
  static std::shared_ptr<Opax::OperationInput> defaultInstance(std::shared_ptr<DataValue const> const&) {
    return std::make_shared<Opax::OperationInput>();
  }
};

}  // namespace Data
}  // namespace Opax
