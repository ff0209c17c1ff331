#pragma once

// A definition that holds every kind the wire format knows, for the codec's tests, fuzzer and
// benchmarks; not part of the library.

#include <opax/opax.h>

#include <memory>
#include <string>

namespace Opax {
namespace Json {
namespace Testing {

constexpr char kDevice[] = "com.example.device";
constexpr char kBacking[] = "com.example.device.backing";

// Holds the definitions that the device's self-reference points at (references do not own).
struct SampleDefinition {
  std::shared_ptr<Data::StructDefinition const> device;
  std::shared_ptr<Data::StructDefinition const> backing;
};

// com.example.device: only "name" is required. "backing" is a union on its "type": FILE needs
// "file", HOST allows "host", NONE allows neither. "next" refers to a device again.
inline SampleDefinition MakeSampleDefinition() {
  using namespace Data;  // NOLINT
  auto optional = [](DataDefinitionPtr element) {
    return OptionalDefinition::GetInstance(std::move(element));
  };
  auto oneOf = [](std::initializer_list<char const*> texts) {
    std::vector<std::string> allowed(texts.begin(), texts.end());
    return IsOneOfDefinition::GetInstance(
        [allowed](std::string_view text) {
          for (auto const& a : allowed) {
            if (a == text) return true;
          }
          return false;
        },
        allowed);
  };
  auto string = StringDefinition::GetInstance();
  StructDefinition::Fields backingFields;
  backingFields["type"] = oneOf({"FILE", "HOST", "NONE"});
  backingFields["file"] = UnionCaseDefinition::GetInstance(
      optional(string), "type", [](std::string_view tag) -> boost::logic::tribool { return tag == "FILE"; });
  backingFields["host"] = UnionCaseDefinition::GetInstance(optional(string), "type",
                                                           [](std::string_view tag) -> boost::logic::tribool {
                                                             if (tag == "HOST")
                                                               return boost::logic::indeterminate;
                                                             return false;
                                                           });
  auto backing = StructDefinition::GetInstance(kBacking, std::move(backingFields));

  auto self = StructRefDefinition::GetInstance(kDevice);
  StructDefinition::Fields fields;
  fields["name"] = string;
  fields["password"] = optional(DataDefinition::Create<Opax::SecretString>());
  fields["data"] = optional(DataDefinition::Create<std::vector<unsigned char>>());
  fields["created"] = optional(DataDefinition::Create<Opax::DateTime>());
  fields["count"] = optional(DataDefinition::Create<int64_t>());
  fields["ratio"] = optional(DataDefinition::Create<double>());
  fields["enabled"] = optional(DataDefinition::Create<bool>());
  fields["state"] = optional(oneOf({"ON", "OFF"}));
  fields["tags"] = optional(ListDefinition::GetInstance(string));
  fields["sizes"] = optional(ListDefinition::GetInstance(DataDefinition::Create<int64_t>()));
  fields["labels"] = optional(MapDefinition::GetInstance(string));
  fields["backing"] = optional(backing);
  fields["children"] = optional(ListDefinition::GetInstance(self));
  fields["next"] = optional(self);
  fields["extra"] = optional(DataDefinition::Create<Data::DynamicStructure>());
  fields["failure"] = optional(DataDefinition::Create<Data::DynamicError>());
  auto device = StructDefinition::GetInstance(kDevice, std::move(fields));
  self->targetDefinition(device);
  return {device, backing};
}

}  // namespace Testing
}  // namespace Json
}  // namespace Opax
