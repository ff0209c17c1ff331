#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

namespace Opax {
namespace Metadata {

// What is known of one field beyond its type: the kinds of managed object an identifier field
// may name.
struct FieldInfo {
  std::set<std::string> resourceTypes;
};

// The metadata record of one structure: its interface-definition name, a flag (true for
// structures that only exist as operation inputs), and the fields that carry metadata.
class StructInfo {
 public:
  using Fields = std::map<std::string, std::shared_ptr<FieldInfo const>>;

  StructInfo(std::string name, bool isInput, Fields fields)
      : name_(std::move(name)), isInput_(isInput), fields_(std::move(fields)) {}

  // A new record for structure T; generated code specialises it per structure.
  template <class T>
  static std::shared_ptr<StructInfo> Create();

  std::string const& name() const { return name_; }
  bool isInput() const { return isInput_; }
  Fields const& fields() const { return fields_; }

  // One identifier field: its wire name and its resource types (null-terminated).
  struct IdField {
    char const* wire;
    char const* const* resourceTypes;
  };
  static std::shared_ptr<StructInfo> Make(char const* name, bool isInput, IdField const* idFields,
                                          std::size_t count);

 private:
  std::string name_;
  bool isInput_;
  Fields fields_;
};

}  // namespace Metadata
}  // namespace Opax
