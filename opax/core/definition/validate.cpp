// Validation of a value against a definition. The walk keeps its pending work on an explicit
// stack. Each pending value carries its place (parent plus name or list index); a compound that
// has children records its place once as a node, so that a message can name the path to its
// value without building path strings, or recording leaves, for values that are fine. Only
// compounds (structures, lists, maps) wait on the stack: a leaf, an enumeration text and the
// optionals around them are checked where they are met.

#include <opax/core/base/reused_container.h>
#include <opax/core/data/compound_value.h>
#include <opax/core/data/internal/text_compare.h>
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

// Where a value sits: in the compound recorded as node `parent` (kNoParent: the value is the
// root), under `name`, or at `index` of a list when the name is empty.
struct Place {
  uint32_t parent;
  std::string_view name;
  std::size_t index;
};

// A compound waiting to be checked, its place kept as scalars. The frame on top was most often
// pushed just now: read back member by member, each load meets the one store that wrote it (a
// wider load over several fresh stores waits for them to drain).
struct Frame {
  Frame(DataDefinition const* shape, DataValue const* held, Place const& place)
      : definition(shape),
        value(held),
        nameData(place.name.data()),
        nameSize(place.name.size()),
        index(place.index),
        parent(place.parent) {}
  DataDefinition const* definition;
  DataValue const* value;
  char const* nameData;
  std::size_t nameSize;
  std::size_t index;
  uint32_t parent;
};

// The walk's storage, kept by each thread between validations (see ReusedContainer).
struct Buffers {
  std::vector<Place> nodes;
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
    Enter(&definition, value, {kNoParent, std::string_view(), 0});
    while (!stack_.empty() && !Full()) {
      Frame const& top = stack_.back();
      DataDefinition const* const shape = top.definition;
      DataValue const* const held = top.value;
      char const* const nameData = top.nameData;
      std::size_t const nameSize = top.nameSize;
      std::size_t const index = top.index;
      uint32_t const parent = top.parent;
      stack_.pop_back();
      VisitCompound(*shape, held, {parent, std::string_view(nameData, nameSize), index});
    }
    return messages_.size() == start_;
  }

 private:
  bool Full() const { return messages_.size() - start_ >= DataDefinition::kMaxMessages; }

  void Report(char const* id, std::vector<std::string> args) {
    messages_.push_back(BaseMessage::Make(id, std::move(args)));
  }

  std::string Path(Place const& place) const {
    std::vector<Place const*> chain;
    for (Place const* at = &place; at->parent != kNoParent; at = &nodes_[at->parent]) chain.push_back(at);
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

  // Records the place of a compound whose children are about to be pushed.
  uint32_t Node(Place const& place) {
    nodes_.push_back(place);
    return static_cast<uint32_t>(nodes_.size() - 1);
  }

  // The definition that decides the value's shape; an unresolved reference is reported.
  DataDefinition const* Resolve(DataDefinition const* definition, Place const& path) {
    StructRefDefinition const* unresolved = nullptr;
    DataDefinition const* shape = ResolveShape(definition, keepAlive_, &unresolved);
    if (unresolved != nullptr) Report(MessageIds::kUnresolvedReference, {unresolved->name(), Path(path)});
    return shape;
  }

  void Mismatch(char const* expected, DataValue const* value, Place const& path) {
    Report(MessageIds::kValueKindMismatch,
           {expected, value ? KindName(value->kind()) : "nothing", Path(path)});
  }

  // Checks a value at once when nothing below it needs the walk (a leaf, an enumeration text,
  // optionals around them); queues a compound for the walk. A loop, not a call per optional.
  void Enter(DataDefinition const* shape, DataValue const* value, Place const& place) {
    for (;;) {
      DataDefinition const* definition = Resolve(shape, place);
      if (definition == nullptr) return;
      switch (definition->type()) {
        case DefinitionType::Void:
          return Expect(Kind::Void, value, place);
        case DefinitionType::Boolean:
          return Expect(Kind::Boolean, value, place);
        case DefinitionType::Integer:
          return Expect(Kind::Integer, value, place);
        case DefinitionType::Double:
          return Expect(Kind::Double, value, place);
        case DefinitionType::String:
          return Expect(Kind::String, value, place);
        case DefinitionType::Secret:
          return Expect(Kind::Secret, value, place);
        case DefinitionType::Binary:
          return Expect(Kind::Binary, value, place);
        case DefinitionType::DateTime:
          return Expect(Kind::DateTime, value, place);
        case DefinitionType::IsOneOf:
          return VisitIsOneOf(static_cast<IsOneOfDefinition const&>(*definition), value, place);
        case DefinitionType::DynamicStructure:
          return VisitDynamicStructure(*definition, value, place);
        case DefinitionType::DynamicError:
          return Expect(Kind::Error, value, place);
        case DefinitionType::Optional: {
          if (value == nullptr || value->kind() != Kind::Optional) return Mismatch("optional", value, place);
          auto const& optional = static_cast<OptionalValue const&>(*value);
          if (!optional.isSet()) return;
          shape = static_cast<OptionalDefinition const&>(*definition).elementType().get();
          value = optional.value().get();
          continue;
        }
        case DefinitionType::List:
        case DefinitionType::Map:
        case DefinitionType::Structure:
        case DefinitionType::Error:
          stack_.emplace_back(definition, value, place);
          return;
        case DefinitionType::StructRef:
        case DefinitionType::UnionCase:
          return;  // resolved above
      }
      return;
    }
  }

  void VisitCompound(DataDefinition const& definition, DataValue const* value, Place const& place) {
    switch (definition.type()) {
      case DefinitionType::List:
        return VisitList(static_cast<ListDefinition const&>(definition), value, place);
      case DefinitionType::Map:
        return VisitMap(static_cast<MapDefinition const&>(definition), value, place);
      default:
        return VisitStructure(static_cast<StructDefinition const&>(definition), value, place);
    }
  }

  // Children of one compound are entered in their order; those that wait are pushed in that
  // order too, so reverse them to take them off the stack first to last.
  void ReversePushedSince(std::size_t first) {
    std::reverse(stack_.begin() + static_cast<std::ptrdiff_t>(first), stack_.end());
  }

  void Expect(Kind kind, DataValue const* value, Place const& path) {
    if (value == nullptr || value->kind() != kind) Mismatch(KindName(kind), value, path);
  }

  void VisitDynamicStructure(DataDefinition const& definition, DataValue const* value, Place const& path) {
    if (value == nullptr || (value->kind() != Kind::Structure && value->kind() != Kind::Error)) {
      return Mismatch("structure", value, path);
    }
    // The shared primitive instance takes any structure; only a restricted one names types.
    auto const* restricted = dynamic_cast<DynamicStructureDefinition const*>(&definition);
    std::string const type(static_cast<StructValue const&>(*value).name());
    if (restricted != nullptr && !restricted->Allows(type))
      Report(MessageIds::kIsOneOfStructure, {Path(path), type});
  }

  void VisitIsOneOf(IsOneOfDefinition const& definition, DataValue const* value, Place const& path) {
    if (value == nullptr || value->kind() != Kind::String) return Mismatch("string", value, path);
    std::string_view const text = internal::StoredOf<std::string>(*value);
    if (!definition.Accepts(text)) Report(MessageIds::kIsOneOfValue, {std::string(text), Path(path)});
  }

  void VisitList(ListDefinition const& definition, DataValue const* value, Place const& path) {
    if (value == nullptr || value->kind() != Kind::List) return Mismatch("list", value, path);
    auto const& list = static_cast<ListValue const&>(*value);
    if (list.isTyped()) return VisitTypedList(definition, list, path);
    std::vector<DataValuePtr> const& values = list.values();
    if (values.empty()) return;
    uint32_t const self = Node(path);
    std::size_t const firstChild = stack_.size();
    DataDefinition const* const element = definition.elementType().get();
    for (std::size_t i = 0; i < values.size() && !Full(); ++i) Enter(element, values[i].get(), {self, {}, i});
    ReversePushedSince(firstChild);
  }

  // Typed lists hold natives, not values: check them here rather than making a value per element.
  void VisitTypedList(ListDefinition const& definition, ListValue const& list, Place const& path) {
    DataDefinition const* element = Resolve(definition.elementType().get(), path);
    if (element == nullptr) return;
    Kind const held = list.elementKind();
    if (held == Kind::Integer) {
      if (element->type() != DefinitionType::Integer && !list.empty())
        Mismatch(DefinitionTypeName(element->type()), list.element(0).get(), {Node(path), {}, 0});
      return;
    }
    if (element->type() == DefinitionType::String) return;
    if (element->type() == DefinitionType::IsOneOf) {
      auto const& oneOf = static_cast<IsOneOfDefinition const&>(*element);
      auto const& items = static_cast<ListValueString const&>(list).items();
      for (std::size_t i = 0; i < items.size() && !Full(); ++i) {
        if (!oneOf.Accepts(items[i]))
          Report(MessageIds::kIsOneOfValue, {items[i], Path({Node(path), {}, i})});
      }
      return;
    }
    if (!list.empty())
      Report(MessageIds::kValueKindMismatch,
             {DefinitionTypeName(element->type()), "string", Path({Node(path), {}, 0})});
  }

  void VisitMap(MapDefinition const& definition, DataValue const* value, Place const& path) {
    if (value == nullptr || value->kind() != Kind::Map) return Mismatch("map", value, path);
    // Entries are visited in insertion order, as the sender wrote them, which also reads the
    // entries and their values through memory in order.
    FieldMap const& fields = static_cast<MapValue const&>(*value).fields();
    if (fields.empty()) return;
    uint32_t const self = Node(path);
    std::size_t const firstChild = stack_.size();
    DataDefinition const* const element = definition.elementType().get();
    for (std::size_t i = 0; i < fields.size() && !Full(); ++i) {
      FieldMap::Field const& entry = fields.at(i);
      Enter(element, entry.value().get(), {self, entry.name(), 0});
    }
    ReversePushedSince(firstChild);
  }

  void CheckUnionCase(UnionCaseDefinition const& unionCase, UnionTags& tags, StructValue const& structure,
                      std::string const& field, std::shared_ptr<DataValue const> const* value) {
    std::vector<std::string> args;
    if (char const* fault =
            UnionCaseFault(unionCase, structure, field, value, tags.TextOf(unionCase.tagField()), args))
      Report(fault, std::move(args));
  }

  void VisitStructure(StructDefinition const& definition, DataValue const* value, Place const& path) {
    bool const isError = definition.type() == DefinitionType::Error;
    Kind const expected = isError ? Kind::Error : Kind::Structure;
    if (value == nullptr || value->kind() != expected) return Mismatch(KindName(expected), value, path);
    auto const& structure = static_cast<StructValue const&>(*value);
    if (structure.name() != definition.name()) {
      Report(isError ? MessageIds::kErrorName : MessageIds::kStructureName,
             {definition.name(), std::string(structure.name()), Path(path)});
      return;
    }
    // The definition's fields and the value's are both listed in name order: one walk over the
    // two pairs them up, with no search for a name.
    uint32_t const self = Node(path);
    FieldMap const& fields = structure.fields();
    auto next = fields.begin();
    auto const last = fields.end();
    std::size_t matched = 0;
    std::size_t const firstChild = stack_.size();
    UnionTags tags(structure);
    for (auto const& [name, fieldDefinition] : definition.fields()) {
      std::shared_ptr<DataValue const> const* field = nullptr;
      for (; next != last; ++next) {
        int const order = internal::CompareTexts(next->name(), name);
        if (order > 0) break;
        if (order == 0) {
          field = &next->value();
          ++next;
          ++matched;
          break;
        }
      }
      DataDefinition const* shape = fieldDefinition.get();
      if (shape != nullptr && shape->type() == DefinitionType::UnionCase) {
        auto const& unionCase = static_cast<UnionCaseDefinition const&>(*shape);
        CheckUnionCase(unionCase, tags, structure, name, field);
        shape = unionCase.elementType().get();
      }
      if (field == nullptr || !*field) {
        if (shape == nullptr || shape->type() != DefinitionType::Optional) {
          Report(MessageIds::kFieldMissing, {name, std::string(structure.name()), Path(path)});
        }
        continue;
      }
      Enter(shape, field->get(), {self, name, 0});
    }
    ReversePushedSince(firstChild);
    if (matched < fields.size() && definition.extraFields() == StructDefinition::ExtraFields::Forbidden) {
      for (FieldMap::Field const& field : fields) {
        if (Full()) break;
        if (definition.fields().count(field.name()) == 0)
          Report(MessageIds::kFieldExtra, {std::string(structure.name()), std::string(field.name())});
      }
    }
  }

  std::list<BaseMessage>& messages_;
  std::size_t const start_;
  std::vector<Place>& nodes_;
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
