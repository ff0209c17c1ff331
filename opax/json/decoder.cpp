// The decoder: tokens from the reader become values as they arrive. Each open object or array is
// a frame on an explicit stack holding the value under construction; a finished value is handed
// to the frame below, so nothing is ever built twice and no call descends with the text's depth.

#include <opax/json/decoder.h>

#include <opax/core/base/reused_container.h>
#include <opax/core/data/compound_value.h>
#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>
#include <opax/core/definition/resolve.h>
#include <opax/core/definition/union_rules.h>
#include <opax/core/message/message_ids.h>
#include <opax/json/internal/base64.h>
#include <opax/json/internal/reader.h>
#include <opax/json/internal/scalars.h>
#include <opax/json/reserved.h>

#include <string>
#include <string_view>
#include <vector>

namespace Opax {
namespace Json {
namespace {

using namespace Data;  // NOLINT: the decoder speaks the value vocabulary throughout
using internal::Token;
using internal::TokenType;

enum class Shape : uint8_t {
  Structure,    // a structure or error of a known definition
  Map,          // a map: keys are data, not fields
  List,         // a list of a known definition
  LooseObject,  // decoded by looks: unknown members, dynamic structures and errors
  LooseArray,   // decoded by looks
};

struct Frame {
  Shape shape = Shape::LooseObject;
  bool errorValue = false;       // a loose object that becomes an error value
  bool readingTypeName = false;  // the member being read is the reserved type member
  bool hasTypeName = false;
  uint32_t optionals = 0;                      // optional wrappers that the finished value goes into
  DataDefinition const* definition = nullptr;  // of the structure, map or list
  DataDefinition const* member = nullptr;      // of the member being read; null: by looks
  // Structures: the member being read's place in the definition's name order (kNoField: not
  // declared), and where this structure's table of places starts (Buffers::places). While every
  // member read is declared, members are appended without a name compared and the table gives
  // their name order at the end; the first undeclared one makes the map ordered (`ordered`), and
  // the rest go in by name as into any map.
  std::size_t place = StructDefinition::kNoField;
  std::size_t placesAt = 0;
  bool ordered = false;
  std::shared_ptr<DataValue> container;
  std::string key;        // objects: the member being read
  std::size_t index = 0;  // arrays: the element being read
  std::string typeName;   // loose objects: the reserved member's text
};

// A declared member not read (yet): see Frame::placesAt.
constexpr uint32_t kNotRead = UINT32_MAX;

// What the next value must become: a definition that decides its shape (null: by looks) and the
// number of optional wrappers around it.
struct Target {
  DataDefinition const* definition = nullptr;
  uint32_t optionals = 0;
};

char const* JsonKind(TokenType type) {
  switch (type) {
    case TokenType::ObjectBegin:
      return "object";
    case TokenType::ArrayBegin:
      return "array";
    case TokenType::String:
      return "string";
    case TokenType::Number:
      return "number";
    case TokenType::True:
    case TokenType::False:
      return "boolean";
    default:
      return "null";
  }
}

Kind ElementKind(Target const& target) {
  if (target.optionals > 0) return Kind::Optional;
  if (target.definition == nullptr) return Kind::Void;
  switch (target.definition->type()) {
    case DefinitionType::Boolean:
      return Kind::Boolean;
    case DefinitionType::Integer:
      return Kind::Integer;
    case DefinitionType::Double:
      return Kind::Double;
    case DefinitionType::String:
    case DefinitionType::IsOneOf:
      return Kind::String;
    case DefinitionType::Secret:
      return Kind::Secret;
    case DefinitionType::Binary:
      return Kind::Binary;
    case DefinitionType::DateTime:
      return Kind::DateTime;
    case DefinitionType::List:
      return Kind::List;
    case DefinitionType::Map:
      return Kind::Map;
    case DefinitionType::Error:
    case DefinitionType::DynamicError:
      return Kind::Error;
    case DefinitionType::Structure:
    case DefinitionType::DynamicStructure:
      return Kind::Structure;
    default:
      return Kind::Void;
  }
}

DataValuePtr Wrap(DataValuePtr value, uint32_t optionals, Data::internal::ValueArena& arena) {
  for (; optionals > 0; --optionals) {
    auto optional = OptionalValue::GetInstance(&arena);
    optional->value(std::move(value));
    value = std::move(optional);
  }
  return value;
}

// The decoder's stacks, kept by each thread from one decoding to the next so that steady traffic
// allocates none of them.
struct Buffers {
  std::vector<internal::ReaderLevel> levels;
  std::vector<Frame> frames;
  std::vector<std::shared_ptr<DataDefinition const>> keepAlive;
  // For each open structure, from its frame's placesAt: the index in its field map of the member
  // at each place of the definition's name order, kNotRead until it is read.
  std::vector<uint32_t> places;
  std::vector<uint32_t> order;  // a structure's name order, as it is set
  void clear() {
    levels.clear();
    frames.clear();
    keepAlive.clear();
    places.clear();
    order.clear();
  }
  // A deep text's stacks are given back rather than kept for the thread.
  void trim() {
    constexpr std::size_t kKept = 256;
    if (frames.capacity() > kKept || places.capacity() > 64 * kKept) Buffers().Swap(*this);
  }
  void Swap(Buffers& other) {
    levels.swap(other.levels);
    frames.swap(other.frames);
    keepAlive.swap(other.keepAlive);
    places.swap(other.places);
    order.swap(other.order);
  }
};

class Decoder {
 public:
  // `key` names what is decoded (its definition), for the size of the values' first chunk.
  Decoder(std::string_view text, Limits const& limits, std::list<BaseMessage>& messages, Buffers& buffers,
          void const* key)
      : arena_(Data::internal::ValueArena::FirstChunkFor(key)),
        key_(key),
        reader_(text, limits, buffers.levels),
        limits_(limits),
        messages_(messages),
        frames_(buffers.frames),
        keepAlive_(buffers.keepAlive),
        places_(buffers.places),
        order_(buffers.order) {}

  bool Run(DataDefinition const* root, DataValuePtr& out) {
    root_ = root;
    Token token;
    for (;;) {
      if (!reader_.Next(token)) return ReaderFault();
      bool ok = true;
      switch (token.type) {
        case TokenType::End:
          out = std::move(result_);
          arena_.RememberFor(key_);
          return true;
        case TokenType::Key:
          ok = OnKey(token.text);
          break;
        case TokenType::ObjectEnd:
        case TokenType::ArrayEnd:
          ok = OnEnd();
          break;
        default:
          ok = OnValue(token);
          break;
      }
      if (!ok) return false;
    }
  }

 private:
  bool Report(char const* id, std::vector<std::string> args) {
    messages_.push_back(BaseMessage::Make(id, std::move(args)));
    return false;
  }

  // The path of the value being read (`current`) or of the object or array that holds it, in the
  // form validation uses: "spec.backing[2].type", "(value)" for the root.
  std::string Path(bool current) const {
    std::size_t const count = current ? frames_.size() : (frames_.empty() ? 0 : frames_.size() - 1);
    std::string path;
    for (std::size_t i = 0; i < count; ++i) {
      Frame const& frame = frames_[i];
      if (frame.shape == Shape::List || frame.shape == Shape::LooseArray) {
        path += '[' + std::to_string(frame.index) + ']';
      } else {
        if (!path.empty()) path += '.';
        path += frame.key;
      }
    }
    return path.empty() ? "(value)" : path;
  }

  bool ReaderFault() {
    using internal::ReadError;
    std::string const offset = std::to_string(reader_.offset());
    switch (reader_.error()) {
      case ReadError::Syntax:
        return Report(MessageIds::kJsonSyntax, {offset, reader_.detail(), Path(true)});
      case ReadError::Truncated:
        return Report(MessageIds::kJsonTruncated, {Path(true)});
      case ReadError::Utf8:
        return Report(MessageIds::kJsonUtf8, {offset, Path(true)});
      case ReadError::Depth:
        return Report(MessageIds::kJsonLimit, {"depth", std::to_string(limits_.maxDepth), Path(true)});
      case ReadError::StringLength:
        return Report(MessageIds::kJsonLimit,
                      {"string length", std::to_string(limits_.maxStringLength), Path(true)});
      case ReadError::Members:
        return Report(MessageIds::kJsonLimit, {"members", std::to_string(limits_.maxMembers), Path(false)});
      case ReadError::TotalSize:
        return Report(MessageIds::kJsonLimit, {"size", std::to_string(limits_.maxTotalSize), Path(true)});
      case ReadError::None:
        break;
    }
    return Report(MessageIds::kJsonSyntax, {offset, "a value", Path(true)});
  }

  bool Mismatch(DataDefinition const& definition, TokenType type) {
    return Report(MessageIds::kJsonKindMismatch,
                  {DefinitionTypeName(definition.type()), JsonKind(type), Path(true)});
  }

  // Follows references and union cases and counts optionals down to the definition that decides
  // the value's shape.
  bool Resolve(DataDefinition const* definition, Target& target) {
    target = Target{};
    StructRefDefinition const* unresolved = nullptr;
    for (;;) {
      definition = ResolveShape(definition, keepAlive_, &unresolved);
      if (unresolved != nullptr)
        return Report(MessageIds::kUnresolvedReference, {unresolved->name(), Path(true)});
      if (definition == nullptr || definition->type() != DefinitionType::Optional) break;
      ++target.optionals;
      definition = static_cast<OptionalDefinition const&>(*definition).elementType().get();
    }
    target.definition = definition;
    return true;
  }

  // The definition of the value that comes next, before resolution; null: by looks.
  DataDefinition const* Expected() const {
    if (frames_.empty()) return root_;
    Frame const& top = frames_.back();
    switch (top.shape) {
      case Shape::Structure:
      case Shape::LooseObject:
        return top.member;
      case Shape::Map:
        return static_cast<MapDefinition const&>(*top.definition).elementType().get();
      case Shape::List:
        return static_cast<ListDefinition const&>(*top.definition).elementType().get();
      case Shape::LooseArray:
        return nullptr;
    }
    return nullptr;
  }

  bool OnKey(std::string_view key) {
    Frame& top = frames_.back();
    top.key.assign(key.data(), key.size());
    if (top.shape != Shape::Map && key == kTypeMember) {
      if (top.hasTypeName) return Report(MessageIds::kJsonDuplicateMember, {top.key, Path(false)});
      top.readingTypeName = true;
      return true;
    }
    top.member = nullptr;
    if (top.shape == Shape::Structure) {
      auto const& definition = static_cast<StructDefinition const&>(*top.definition);
      top.place = definition.FieldPlace(key);
      if (top.place != StructDefinition::kNoField) top.member = definition.fieldsByName()[top.place].second;
    }
    return true;
  }

  bool OnTypeName(Frame& top, Token const& token) {
    top.readingTypeName = false;
    top.hasTypeName = true;
    if (token.type != TokenType::String) {
      return Report(MessageIds::kJsonKindMismatch, {"string", JsonKind(token.type), Path(true)});
    }
    if (top.shape != Shape::Structure) {
      top.typeName.assign(token.text.data(), token.text.size());
      return true;
    }
    // A known structure needs no type name; one that is given must be the definition's.
    std::string_view const name = static_cast<CompoundValue const&>(*top.container).name();
    if (token.text == name) return true;
    bool const error = top.container->kind() == Kind::Error;
    return Report(error ? MessageIds::kErrorName : MessageIds::kStructureName,
                  {std::string(name), std::string(token.text), Path(false)});
  }

  bool OnValue(Token const& token) {
    if (!frames_.empty() && frames_.back().readingTypeName) return OnTypeName(frames_.back(), token);
    Target target;
    if (!Resolve(Expected(), target)) return false;
    switch (token.type) {
      case TokenType::ObjectBegin:
        return BeginObject(target, token);
      case TokenType::ArrayBegin:
        return BeginArray(target, token);
      case TokenType::Null:
        if (target.optionals > 0) return Deliver(OptionalValue::Unset());
        break;
      default:
        if (AppendToTypedList(target, token)) return true;
        break;
    }
    DataValuePtr value;
    if (!Scalar(target, token, value)) return false;
    return Deliver(Wrap(std::move(value), target.optionals, arena_));
  }

  bool BeginObject(Target const& target, Token const& token) {
    Frame frame;
    frame.optionals = target.optionals;
    DataDefinition const* definition = target.definition;
    DefinitionType const type = definition != nullptr ? definition->type() : DefinitionType::DynamicStructure;
    switch (type) {
      case DefinitionType::Structure:
      case DefinitionType::Error: {
        auto const& structure = static_cast<StructDefinition const&>(*definition);
        frame.shape = Shape::Structure;
        frame.definition = definition;
        if (type == DefinitionType::Error) {
          frame.container = Data::internal::MakeValue<ErrorValue>(&arena_, nullptr, Name(structure.name()));
        } else {
          frame.container = Data::internal::MakeValue<StructValue>(&arena_, nullptr, Name(structure.name()));
        }
        static_cast<StructValue&>(*frame.container).fields().reserve(structure.fields().size());
        frame.placesAt = places_.size();
        places_.resize(places_.size() + structure.fields().size(), kNotRead);
        break;
      }
      case DefinitionType::Map:
        frame.shape = Shape::Map;
        frame.definition = definition;
        frame.container = MapValue::GetInstance(&arena_);
        break;
      case DefinitionType::DynamicStructure:
      case DefinitionType::DynamicError:
        frame.shape = Shape::LooseObject;
        frame.errorValue = type == DefinitionType::DynamicError;
        frame.container = StructValue::GetInstance(std::string());
        break;
      default:
        return Mismatch(*definition, token.type);
    }
    frames_.push_back(std::move(frame));
    return true;
  }

  bool BeginArray(Target const& target, Token const& token) {
    Frame frame;
    frame.optionals = target.optionals;
    if (target.definition == nullptr) {
      frame.shape = Shape::LooseArray;
      frame.container = std::make_shared<ListValue>(Kind::Void);
    } else if (target.definition->type() == DefinitionType::List) {
      frame.shape = Shape::List;
      frame.definition = target.definition;
      Target element;
      if (!Resolve(static_cast<ListDefinition const&>(*target.definition).elementType().get(), element))
        return false;
      frame.container = ListValue::GetInstance(ElementKind(element), &arena_);
    } else {
      return Mismatch(*target.definition, token.type);
    }
    frames_.push_back(std::move(frame));
    return true;
  }

  // Strings and integers of a typed list go straight into its native storage.
  bool AppendToTypedList(Target const& target, Token const& token) {
    if (frames_.empty() || frames_.back().shape != Shape::List || target.optionals > 0) return false;
    Frame& top = frames_.back();
    auto& list = static_cast<ListValue&>(*top.container);
    if (!list.isTyped()) return false;
    if (list.elementKind() == Kind::String && token.type == TokenType::String) {
      static_cast<ListValueString&>(list).Append(std::string(token.text));
    } else if (list.elementKind() == Kind::Integer && token.type == TokenType::Number && token.integral) {
      int64_t number = 0;
      if (internal::ParseInteger(token.text, true, number) != internal::NumberFault::None) return false;
      static_cast<ListValueLong&>(list).Append(number);
    } else {
      return false;
    }
    ++top.index;
    return true;
  }

  bool NumberFault(internal::NumberFault fault, std::string_view text) {
    bool const range = fault == internal::NumberFault::OutOfRange;
    return Report(range ? MessageIds::kJsonNumberRange : MessageIds::kJsonNotIntegral,
                  {std::string(text), Path(true)});
  }

  bool ByLooks(Token const& token, DataValuePtr& value) {
    switch (token.type) {
      case TokenType::String:
        value = StringValue::GetInstance(token.text, &arena_);  // the text is copied into the value's block
        return true;
      case TokenType::Number: {
        int64_t integer = 0;
        if (token.integral &&
            internal::ParseInteger(token.text, true, integer) == internal::NumberFault::None) {
          value = DataValue::Create(integer, &arena_);
          return true;
        }
        // Past 64 bits a number is kept as the nearest double rather than refused: the member is
        // not one this side knows, so it has no range to hold it to.
        double number = 0;
        if (!internal::ParseDouble(token.text, number))
          return NumberFault(internal::NumberFault::OutOfRange, token.text);
        value = DataValue::Create(number, &arena_);
        return true;
      }
      case TokenType::True:
      case TokenType::False:
        value = DataValue::Create(token.type == TokenType::True);
        return true;
      default:
        value = VoidValue::GetInstance();
        return true;
    }
  }

  bool Scalar(Target const& target, Token const& token, DataValuePtr& value) {
    if (target.definition == nullptr) return ByLooks(token, value);
    DataDefinition const& definition = *target.definition;
    switch (definition.type()) {
      case DefinitionType::Void:
        if (token.type != TokenType::Null) break;
        value = VoidValue::GetInstance();
        return true;
      case DefinitionType::Boolean:
        if (token.type != TokenType::True && token.type != TokenType::False) break;
        value = DataValue::Create(token.type == TokenType::True);
        return true;
      case DefinitionType::Integer: {
        if (token.type != TokenType::Number) break;
        int64_t number = 0;
        auto const fault = internal::ParseInteger(token.text, token.integral, number);
        if (fault != internal::NumberFault::None) return NumberFault(fault, token.text);
        value = DataValue::Create(number, &arena_);
        return true;
      }
      case DefinitionType::Double: {
        double number = 0;
        if (token.type == TokenType::String && internal::ParseSpecialDouble(token.text, number)) {
          value = DataValue::Create(number, &arena_);
          return true;
        }
        if (token.type != TokenType::Number) break;
        if (!internal::ParseDouble(token.text, number))
          return NumberFault(internal::NumberFault::OutOfRange, token.text);
        value = DataValue::Create(number, &arena_);
        return true;
      }
      case DefinitionType::String:
      case DefinitionType::IsOneOf:
        if (token.type != TokenType::String) break;
        value = StringValue::GetInstance(token.text, &arena_);  // the text is copied into the value's block
        return true;
      case DefinitionType::Secret:
        if (token.type != TokenType::String) break;
        value = std::make_shared<SecretValue>(Opax::SecretString(std::string(token.text)));
        return true;
      case DefinitionType::Binary: {
        if (token.type != TokenType::String) break;
        std::vector<unsigned char> bytes;
        if (!internal::DecodeBase64(token.text, bytes)) return Report(MessageIds::kJsonBinary, {Path(true)});
        value = std::make_shared<BinaryValue>(std::move(bytes));
        return true;
      }
      case DefinitionType::DateTime: {
        if (token.type != TokenType::String) break;
        Opax::DateTime time;
        if (!internal::ParseUtcDateTime(token.text, time)) {
          // Enough of the text to recognise it, never an unbounded echo.
          constexpr std::size_t kShown = 40;
          std::string shown(token.text.substr(0, kShown));
          if (token.text.size() > kShown) shown += "...";
          return Report(MessageIds::kJsonDateTime, {shown, Path(true)});
        }
        value = DataValue::Create(time, &arena_);
        return true;
      }
      default:
        break;
    }
    return Mismatch(definition, token.type);
  }

  bool Deliver(DataValuePtr value) {
    if (frames_.empty()) {
      result_ = std::move(value);
      return true;
    }
    Frame& top = frames_.back();
    switch (top.shape) {
      case Shape::Structure:
        if (!top.ordered) {
          if (top.place != StructDefinition::kNoField) return AppendDeclared(top, std::move(value));
          OrderByPlaces(top);
        }
        [[fallthrough]];
      case Shape::Map:
      case Shape::LooseObject: {
        // One lookup both finds a repeated member and makes the new one's slot.
        FieldMap& fields = static_cast<CompoundValue&>(*top.container).fields();
        std::size_t const before = fields.size();
        std::shared_ptr<DataValue const>& slot = fields.slot(top.key);
        if (fields.size() == before) return Report(MessageIds::kJsonDuplicateMember, {top.key, Path(false)});
        slot = std::move(value);
        return true;
      }
      case Shape::List:
      case Shape::LooseArray: {
        auto& list = static_cast<ListValue&>(*top.container);
        if (list.isTyped()) {
          if (!list.Append(std::move(value), messages_)) return false;
        } else {
          list.values().push_back(std::move(value));
        }
        ++top.index;
        return true;
      }
    }
    return true;
  }

  bool OnEnd() {
    Frame& top = frames_.back();
    DataValuePtr value;
    switch (top.shape) {
      case Shape::Structure:
        if (!FinishStructure(top)) return false;
        places_.resize(top.placesAt);
        value = std::move(top.container);
        break;
      case Shape::LooseObject:
        // Nothing but its type name says which error a value is: one without it is refused, not
        // made an error of no name.
        if (top.errorValue && !top.hasTypeName) return Report(MessageIds::kJsonTypeMissing, {Path(false)});
        value = FinishLooseObject(top);
        break;
      case Shape::LooseArray:
        value = FinishLooseArray(top);
        break;
      case Shape::Map:
      case Shape::List:
        value = std::move(top.container);
        break;
    }
    uint32_t const optionals = top.optionals;
    frames_.pop_back();
    return Deliver(Wrap(std::move(value), optionals, arena_));
  }

  // A declared member, while all of them are: appended, its place noted, no name compared.
  bool AppendDeclared(Frame& top, DataValuePtr value) {
    FieldMap& fields = static_cast<CompoundValue&>(*top.container).fields();
    uint32_t& read = places_[top.placesAt + top.place];
    if (read != kNotRead) return Report(MessageIds::kJsonDuplicateMember, {top.key, Path(false)});
    read = static_cast<uint32_t>(fields.size());
    fields.AppendUnordered(top.key) = std::move(value);
    return true;
  }

  // The members appended so far are all declared: the table of places gives their name order.
  void OrderByPlaces(Frame& top) {
    std::size_t const declared = static_cast<StructDefinition const&>(*top.definition).fieldsByName().size();
    order_.clear();
    for (std::size_t k = 0; k < declared; ++k) {
      uint32_t const read = places_[top.placesAt + k];
      if (read != kNotRead) order_.push_back(read);
    }
    static_cast<CompoundValue&>(*top.container).fields().SetNameOrder(order_.data());
    top.ordered = true;
  }

  // Absent optionals become unset ones, as a value made from a native structure has them; then,
  // with every member in place (a tag may come after its cases), the union rules.
  bool FinishStructure(Frame& frame) {
    auto& structure = static_cast<StructValue&>(*frame.container);
    auto const& definition = static_cast<StructDefinition const&>(*frame.definition);
    FieldMap& fields = structure.fields();
    auto const& declared = definition.fieldsByName();
    uint32_t* const places = places_.data() + frame.placesAt;
    bool hasUnions = false;
    for (std::size_t k = 0; k < declared.size(); ++k) {
      DataDefinition const* shape = declared[k].second;
      if (shape != nullptr && shape->type() == DefinitionType::UnionCase) {
        hasUnions = true;
        shape = static_cast<UnionCaseDefinition const&>(*shape).elementType().get();
      }
      // Ordered: the map itself says what is there.
      bool const present = frame.ordered ? fields.contains(declared[k].first) : places[k] != kNotRead;
      if (present) continue;
      if (shape == nullptr || shape->type() != DefinitionType::Optional) {
        return Report(MessageIds::kFieldMissing,
                      {std::string(declared[k].first), std::string(structure.name()), Path(false)});
      }
      if (frame.ordered) {
        fields.slot(declared[k].first) = OptionalValue::Unset();
      } else {
        places[k] = static_cast<uint32_t>(fields.size());
        fields.AppendUnordered(declared[k].first) = OptionalValue::Unset();
      }
    }
    bool const byPlaces = !frame.ordered;
    if (byPlaces) OrderByPlaces(frame);
    if (!hasUnions) return true;
    // Every declared field is in the map by now, at the place noted (when members came by place).
    UnionTags tags(structure);
    for (std::size_t k = 0; k < declared.size(); ++k) {
      auto const [name, field] = declared[k];
      if (field == nullptr || field->type() != DefinitionType::UnionCase) continue;
      auto const& unionCase = static_cast<UnionCaseDefinition const&>(*field);
      std::shared_ptr<DataValue const> const* slot =
          byPlaces ? &fields.at(places[k]).value() : structure.FindField(name);
      std::vector<std::string> args;
      char const* fault =
          UnionCaseFault(unionCase, structure, name, slot, tags.TextOf(unionCase.tagField()), args);
      if (fault == nullptr) continue;
      args.push_back(Path(false));
      return Report(fault, std::move(args));
    }
    return true;
  }

  static DataValuePtr FinishLooseObject(Frame& frame) {
    if (!frame.hasTypeName && !frame.errorValue) return std::move(frame.container);
    std::shared_ptr<StructValue> named =
        frame.errorValue ? ErrorValue::GetInstance(frame.typeName) : StructValue::GetInstance(frame.typeName);
    named->fields() = std::move(static_cast<StructValue&>(*frame.container).fields());
    return named;
  }

  // A list decoded by looks takes its element kind from its first element.
  static DataValuePtr FinishLooseArray(Frame& frame) {
    auto& loose = static_cast<ListValue&>(*frame.container);
    if (loose.values().empty() || !loose.values().front()) return std::move(frame.container);
    auto list = std::make_shared<ListValue>(loose.values().front()->kind());
    list->values() = std::move(loose.values());
    return list;
  }

  // The values of one text are made side by side.
  Data::internal::ValueArena arena_;
  void const* key_;
  internal::Reader reader_;
  Limits const& limits_;
  std::list<BaseMessage>& messages_;
  DataDefinition const* root_ = nullptr;
  std::vector<Frame>& frames_;
  std::vector<std::shared_ptr<DataDefinition const>>& keepAlive_;
  std::vector<uint32_t>& places_;
  std::vector<uint32_t>& order_;
  DataValuePtr result_;
};

}  // namespace

bool Decode(std::string_view text, Data::DataDefinition const& definition,
            std::shared_ptr<Data::DataValue const>& out, std::list<BaseMessage>& messages,
            Limits const& limits) {
  ReusedContainer<Buffers> buffers;
  return Decoder(text, limits, messages, buffers.get(), &definition).Run(&definition, out);
}

bool Decode(std::string_view text, std::shared_ptr<Data::DataValue const>& out,
            std::list<BaseMessage>& messages, Limits const& limits) {
  ReusedContainer<Buffers> buffers;
  return Decoder(text, limits, messages, buffers.get(), nullptr).Run(nullptr, out);
}

}  // namespace Json
}  // namespace Opax
