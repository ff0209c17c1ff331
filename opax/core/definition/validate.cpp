// Validation of a value against a definition. The walk keeps its pending work on an explicit
// stack and records each visited position once (parent index plus name or list index), so
// that a message can name the path to its value without building path strings for values that
// are fine.

#include <opax/core/base/reused_container.h>
#include <opax/core/data/compound_value.h>
#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>
#include <opax/core/definition/data_definition.h>
#include <opax/core/definition/resolve.h>
#include <opax/core/definition/union_rules.h>
#include <opax/core/message/message_ids.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace Opax {
namespace Data {
namespace {

constexpr uint32_t kNoParent = UINT32_MAX;

struct PathNode {
  uint32_t parent;
  std::string_view name;  // empty for a list element
  std::size_t index;
};

struct Frame {
  DataDefinition const* definition;
  DataValue const* value;
  uint32_t path;
};

// The walk's storage, kept by each thread between validations (see ReusedContainer).
struct Buffers {
  std::vector<PathNode> nodes;
  std::vector<Frame> stack;
  std::vector<std::shared_ptr<DataDefinition const>> keepAlive;
  void clear() {
    nodes.clear();
    stack.clear();
    keepAlive.clear();
  }
  void trim() {
    if (nodes.capacity() > 4096) Buffers().Swap(*this);
  }
  void Swap(Buffers& other) {
    nodes.swap(other.nodes);
    stack.swap(other.stack);
    keepAlive.swap(other.keepAlive);
  }
};

class Validator {
 public:
  Validator(std::list<BaseMessage>& messages, Buffers& buffers)
      : messages_(messages),
        start_(messages.size()),
        nodes_(buffers.nodes),
        stack_(buffers.stack),
        keepAlive_(buffers.keepAlive) {}

  bool Run(DataDefinition const& definition, DataValue const* value) {
    nodes_.push_back({kNoParent, {}, 0});
    stack_.push_back({&definition, value, 0});
    while (!stack_.empty() && !Full()) {
      Frame frame = stack_.back();
      stack_.pop_back();
      Visit(frame);
    }
    return messages_.size() == start_;
  }

 private:
  bool Full() const { return messages_.size() - start_ >= DataDefinition::kMaxMessages; }

  void Report(char const* id, std::vector<std::string> args) {
    messages_.push_back(BaseMessage::Make(id, std::move(args)));
  }

  std::string Path(uint32_t node) const {
    std::vector<PathNode const*> chain;
    for (uint32_t at = node; at != kNoParent && at != 0; at = nodes_[at].parent) chain.push_back(&nodes_[at]);
    if (chain.empty()) return "(value)";
    std::string text;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
      if ((*it)->name.empty()) {
        text += '[' + std::to_string((*it)->index) + ']';
      } else {
        if (!text.empty()) text += '.';
        text += (*it)->name;
      }
    }
    return text;
  }

  uint32_t Child(uint32_t parent, std::string_view name, std::size_t index = 0) {
    nodes_.push_back({parent, name, index});
    return static_cast<uint32_t>(nodes_.size() - 1);
  }

  // The definition that decides the value's shape; an unresolved reference is reported.
  DataDefinition const* Resolve(DataDefinition const* definition, uint32_t path) {
    StructRefDefinition const* unresolved = nullptr;
    DataDefinition const* shape = ResolveShape(definition, keepAlive_, &unresolved);
    if (unresolved != nullptr) Report(MessageIds::kUnresolvedReference, {unresolved->name(), Path(path)});
    return shape;
  }

  void Mismatch(char const* expected, DataValue const* value, uint32_t path) {
    Report(MessageIds::kValueKindMismatch,
           {expected, value ? KindName(value->kind()) : "nothing", Path(path)});
  }

  void Visit(Frame const& frame) {
    DataDefinition const* definition = Resolve(frame.definition, frame.path);
    if (definition == nullptr) return;
    DataValue const* value = frame.value;
    switch (definition->type()) {
      case DefinitionType::Void:
        return Expect(Kind::Void, definition, value, frame.path);
      case DefinitionType::Boolean:
        return Expect(Kind::Boolean, definition, value, frame.path);
      case DefinitionType::Integer:
        return Expect(Kind::Integer, definition, value, frame.path);
      case DefinitionType::Double:
        return Expect(Kind::Double, definition, value, frame.path);
      case DefinitionType::String:
        return Expect(Kind::String, definition, value, frame.path);
      case DefinitionType::Secret:
        return Expect(Kind::Secret, definition, value, frame.path);
      case DefinitionType::Binary:
        return Expect(Kind::Binary, definition, value, frame.path);
      case DefinitionType::DateTime:
        return Expect(Kind::DateTime, definition, value, frame.path);
      case DefinitionType::IsOneOf:
        return VisitIsOneOf(static_cast<IsOneOfDefinition const&>(*definition), value, frame.path);
      case DefinitionType::Optional:
        return VisitOptional(static_cast<OptionalDefinition const&>(*definition), value, frame.path);
      case DefinitionType::List:
        return VisitList(static_cast<ListDefinition const&>(*definition), value, frame.path);
      case DefinitionType::Map:
        return VisitMap(static_cast<MapDefinition const&>(*definition), value, frame.path);
      case DefinitionType::Structure:
      case DefinitionType::Error:
        return VisitStructure(static_cast<StructDefinition const&>(*definition), value, frame.path);
      case DefinitionType::DynamicStructure:
        return VisitDynamicStructure(*definition, value, frame.path);
      case DefinitionType::DynamicError:
        return Expect(Kind::Error, definition, value, frame.path);
      case DefinitionType::StructRef:
      case DefinitionType::UnionCase:
        return;  // resolved above
    }
  }

  void Expect(Kind kind, DataDefinition const*, DataValue const* value, uint32_t path) {
    if (value == nullptr || value->kind() != kind) Mismatch(KindName(kind), value, path);
  }

  void VisitDynamicStructure(DataDefinition const& definition, DataValue const* value, uint32_t path) {
    if (value == nullptr || (value->kind() != Kind::Structure && value->kind() != Kind::Error)) {
      return Mismatch("structure", value, path);
    }
    // The shared primitive instance takes any structure; only a restricted one names types.
    auto const* restricted = dynamic_cast<DynamicStructureDefinition const*>(&definition);
    std::string const type(static_cast<StructValue const&>(*value).name());
    if (restricted != nullptr && !restricted->Allows(type))
      Report(MessageIds::kIsOneOfStructure, {Path(path), type});
  }

  void VisitIsOneOf(IsOneOfDefinition const& definition, DataValue const* value, uint32_t path) {
    if (value == nullptr || value->kind() != Kind::String) return Mismatch("string", value, path);
    std::string_view const text = internal::StoredOf<std::string>(*value);
    if (!definition.Accepts(text)) Report(MessageIds::kIsOneOfValue, {std::string(text), Path(path)});
  }

  void VisitOptional(OptionalDefinition const& definition, DataValue const* value, uint32_t path) {
    if (value == nullptr || value->kind() != Kind::Optional) return Mismatch("optional", value, path);
    auto const& optional = static_cast<OptionalValue const&>(*value);
    if (optional.isSet()) stack_.push_back({definition.elementType().get(), optional.value().get(), path});
  }

  void VisitList(ListDefinition const& definition, DataValue const* value, uint32_t path) {
    if (value == nullptr || value->kind() != Kind::List) return Mismatch("list", value, path);
    auto const& list = static_cast<ListValue const&>(*value);
    if (list.isTyped()) return VisitTypedList(definition, list, path);
    for (std::size_t i = list.values().size(); i-- > 0;) {
      stack_.push_back({definition.elementType().get(), list.values()[i].get(), Child(path, {}, i)});
    }
  }

  // Typed lists hold natives, not values: check them here rather than making a value per element.
  void VisitTypedList(ListDefinition const& definition, ListValue const& list, uint32_t path) {
    DataDefinition const* element = Resolve(definition.elementType().get(), path);
    if (element == nullptr) return;
    Kind const held = list.elementKind();
    if (held == Kind::Integer) {
      if (element->type() != DefinitionType::Integer && !list.empty())
        Mismatch(DefinitionTypeName(element->type()), list.element(0).get(), Child(path, {}, 0));
      return;
    }
    if (element->type() == DefinitionType::String) return;
    if (element->type() == DefinitionType::IsOneOf) {
      auto const& oneOf = static_cast<IsOneOfDefinition const&>(*element);
      auto const& items = static_cast<ListValueString const&>(list).items();
      for (std::size_t i = 0; i < items.size() && !Full(); ++i) {
        if (!oneOf.Accepts(items[i])) Report(MessageIds::kIsOneOfValue, {items[i], Path(Child(path, {}, i))});
      }
      return;
    }
    if (!list.empty())
      Report(MessageIds::kValueKindMismatch,
             {DefinitionTypeName(element->type()), "string", Path(Child(path, {}, 0))});
  }

  void VisitMap(MapDefinition const& definition, DataValue const* value, uint32_t path) {
    if (value == nullptr || value->kind() != Kind::Map) return Mismatch("map", value, path);
    // Entries are visited in insertion order, as the sender wrote them: pushed last to first,
    // which also reads the entries and their values through memory in order.
    FieldMap const& fields = static_cast<MapValue const&>(*value).fields();
    for (std::size_t i = fields.size(); i-- > 0;) {
      FieldMap::Field const& entry = fields.at(i);
      stack_.push_back({definition.elementType().get(), entry.value().get(), Child(path, entry.name())});
    }
  }

  void CheckUnionCase(UnionCaseDefinition const& unionCase, StructValue const& structure,
                      std::string const& field, std::shared_ptr<DataValue const> const* value) {
    std::vector<std::string> args;
    if (char const* fault = UnionCaseFault(unionCase, structure, field, value, args))
      Report(fault, std::move(args));
  }

  void VisitStructure(StructDefinition const& definition, DataValue const* value, uint32_t path) {
    bool const isError = definition.type() == DefinitionType::Error;
    Kind const expected = isError ? Kind::Error : Kind::Structure;
    if (value == nullptr || value->kind() != expected) return Mismatch(KindName(expected), value, path);
    auto const& structure = static_cast<StructValue const&>(*value);
    if (structure.name() != definition.name()) {
      Report(isError ? MessageIds::kErrorName : MessageIds::kStructureName,
             {definition.name(), std::string(structure.name()), Path(path)});
      return;
    }
    std::size_t const firstChild = stack_.size();
    for (auto const& [name, fieldDefinition] : definition.fields()) {
      auto const* field = structure.FindField(name);
      DataDefinition const* shape = fieldDefinition.get();
      if (shape != nullptr && shape->type() == DefinitionType::UnionCase) {
        auto const& unionCase = static_cast<UnionCaseDefinition const&>(*shape);
        CheckUnionCase(unionCase, structure, name, field);
        shape = unionCase.elementType().get();
      }
      if (field == nullptr || !*field) {
        if (shape == nullptr || shape->type() != DefinitionType::Optional) {
          Report(MessageIds::kFieldMissing, {name, std::string(structure.name()), Path(path)});
        }
        continue;
      }
      stack_.push_back({shape, field->get(), Child(path, name)});
    }
    // Fields are checked in name order: reverse what was pushed.
    std::reverse(stack_.begin() + static_cast<std::ptrdiff_t>(firstChild), stack_.end());
    if (definition.extraFields() == StructDefinition::ExtraFields::Forbidden) {
      for (FieldMap::Field const& field : structure.fields()) {
        if (Full()) break;
        if (definition.fields().count(field.name()) == 0)
          Report(MessageIds::kFieldExtra, {std::string(structure.name()), std::string(field.name())});
      }
    }
  }

  std::list<BaseMessage>& messages_;
  std::size_t const start_;
  std::vector<PathNode>& nodes_;
  std::vector<Frame>& stack_;
  std::vector<std::shared_ptr<DataDefinition const>>& keepAlive_;
};

}  // namespace

bool DataDefinition::Validate(std::shared_ptr<DataValue const> const& value,
                              std::list<BaseMessage>& messages) const {
  ReusedContainer<Buffers> buffers;
  return Validator(messages, buffers.get()).Run(*this, value.get());
}

}  // namespace Data
}  // namespace Opax
