#pragma once

#include <opax/core/data/data_value.h>
#include <opax/core/data/field_map.h>

#include <list>
#include <memory>
#include <string>
#include <string_view>

namespace Opax {
namespace Data {

// A value made of named fields: the base of structures, errors and maps. The field operations
// live here; see FieldMap for the two orders it keeps.
class CompoundValue : public DataValue {
 public:
  ~CompoundValue() override;

  // The type name (a structure's canonical name, an error's id; empty for maps).
  std::string_view name() const { return name_.view(); }
  Name const& heldName() const { return name_; }

  // Adds or replaces a field.
  void SetField(std::string_view name, std::shared_ptr<DataValue const> value) {
    fields_.set(name, std::move(value));
  }
  void SetField(StaticName name, std::shared_ptr<DataValue const> value) {
    fields_.set(name, std::move(value));
  }
  // True and `value` when the field is present; otherwise false and
  // "opax.data.structure.field.missing" appended.
  bool GetField(std::string_view name, std::shared_ptr<DataValue const>& value,
                std::list<BaseMessage>& messages) const;
  // The field's value, or null; reports nothing.
  std::shared_ptr<DataValue const> const* FindField(std::string_view name) const {
    return fields_.find(name);
  }
  bool HasField(std::string_view name) const { return fields_.contains(name); }

  FieldMap& fields() { return fields_; }
  FieldMap const& fields() const { return fields_; }

 protected:
  CompoundValue(Kind kind, Name name) : DataValue(kind), name_(std::move(name)) {}

 private:
  Name name_;
  FieldMap fields_;
};

// A structure: a type name plus fields.
class StructValue : public CompoundValue {
 public:
  explicit StructValue(Name name) : CompoundValue(Kind::Structure, std::move(name)) {}
  // The name is copied; a static one (a literal, a generated type's) is only referred to.
  static std::shared_ptr<StructValue> GetInstance(std::string_view name) {
    return std::make_shared<StructValue>(Name(name));
  }
  static std::shared_ptr<StructValue> GetInstance(StaticName name) {
    return std::make_shared<StructValue>(Name(name));
  }
  static std::shared_ptr<StructValue> GetInstance(Name const& name) {
    return std::make_shared<StructValue>(name);
  }
  // A structure made with room for `fieldCount` fields in its own block: the value and its
  // fields cost one allocation (none in a conversion's `arena`), unless more fields than that
  // are added.
  static std::shared_ptr<StructValue> Make(StaticName name, std::size_t fieldCount,
                                           internal::ValueArena* arena = nullptr);

  // `value` as a structure (errors are structures too), or null.
  static StructValue const* Cast(DataValue const* value);

 protected:
  StructValue(Kind kind, Name name) : CompoundValue(kind, std::move(name)) {}
};

// A structure that names a standard error by its id. Made with messages, it carries them the
// way the standard `Error` structure does: a "messages" list of localizable-message structures
// (fields "id", "default_message", "args"). Secrets never reach a message, so none are here.
class ErrorValue final : public StructValue {
 public:
  explicit ErrorValue(Name name) : StructValue(Kind::Error, std::move(name)) {}
  static std::shared_ptr<ErrorValue> GetInstance(std::string_view name) {
    return std::make_shared<ErrorValue>(Name(name));
  }
  static std::shared_ptr<ErrorValue> GetInstance(StaticName name) {
    return std::make_shared<ErrorValue>(Name(name));
  }
  static std::shared_ptr<ErrorValue> GetInstance(Name const& name) {
    return std::make_shared<ErrorValue>(name);
  }
  static std::shared_ptr<ErrorValue> Make(StaticName name, std::size_t fieldCount,
                                          internal::ValueArena* arena = nullptr);  // as StructValue::Make
  static std::shared_ptr<ErrorValue> GetInstance(std::string_view name,
                                                 std::list<BaseMessage> const& messages);

  // The messages carried in the "messages" field, read back; ill-formed entries are skipped.
  std::list<BaseMessage> messages() const;
};

// The field names and type name of a carried message; the standard bindings use the same.
struct LocalizableMessageFields {
  static constexpr char const* kTypeName = "com.quarn.opax.std.localizable_message";
  static constexpr char const* kMessages = "messages";
  static constexpr char const* kId = "id";
  static constexpr char const* kDefaultMessage = "default_message";
  static constexpr char const* kArgs = "args";
};

// A map from string keys to values of one kind (native std::map<std::string, X> fields).
// Keys are field names, so lookups and both orders come from FieldMap.
class MapValue final : public CompoundValue {
 public:
  MapValue() : CompoundValue(Kind::Map, Name()) {}
  // In a conversion's `arena` if given.
  static std::shared_ptr<MapValue> GetInstance(internal::ValueArena* arena = nullptr) {
    return internal::MakeValue<MapValue>(arena, nullptr);
  }
};

}  // namespace Data
}  // namespace Opax
