#pragma once

// Catalogue entries for test services that have definitions but no native types: a type entry
// that only describes, so that an operation descriptor can be written by hand around definitions.

#include <runtime/operation.h>

namespace Opax {
namespace Binding {
namespace Testing {

template <std::shared_ptr<Data::DataDefinition const> (*Make)()>
struct DefinitionOnly {
  static void Describe(Data::NativeToDefinitionAdapter::SrcType const&,
                       Data::NativeToDefinitionAdapter::Destination const& destination,
                       Data::NativeToDefinitionAdapter::Container&, std::list<BaseMessage>&) {
    *destination = Make();
  }
  static Data::NativeToDefinitionAdapter::AdaptFunction Get() { return &Describe; }
  static constexpr TypeEntry entry{nullptr, nullptr, &Get, nullptr, nullptr};
};

using MakeDefinition = std::shared_ptr<Data::DataDefinition const> (*)();

template <MakeDefinition Error>
struct OneError {
  static constexpr TypeEntry const* list[] = {&DefinitionOnly<Error>::entry};
};

// An operation of a test service by its definitions: input, output and its one declared error.
template <MakeDefinition Input, MakeDefinition Output, MakeDefinition Error>
constexpr OperationDescriptor Describe(char const* service, char const* name, bool plain, bool task) {
  return {service,
          name,
          name,
          plain,
          task,
          &DefinitionOnly<Input>::entry,
          nullptr,
          &DefinitionOnly<Output>::entry,
          OneError<Error>::list,
          1};
}

}  // namespace Testing
}  // namespace Binding
}  // namespace Opax
