// The encoder writes text straight from the value tree. Open structures, maps and lists are
// frames on an explicit stack, each remembering where it is among its children, so that the
// depth of a value costs heap and never stack.

#include <opax/json/encoder.h>

#include <opax/core/data/compound_value.h>
#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>
#include <opax/core/definition/resolve.h>
#include <opax/core/message/message_ids.h>
#include <opax/json/internal/base64.h>
#include <opax/json/internal/scalars.h>
#include <opax/json/internal/utf8.h>
#include <opax/json/reserved.h>

#include <vector>

namespace Opax {
namespace Json {
namespace {

using namespace Data;  // NOLINT: the encoder speaks the value vocabulary throughout
using FieldIterator = FieldMap::Iterator<FieldMap::Field const, false>;

bool Present(std::shared_ptr<DataValue const> const& value) {
  return value && (value->kind() != Kind::Optional || static_cast<OptionalValue const&>(*value).isSet());
}

bool IsDynamic(DataDefinition const* definition) {
  return definition == nullptr || definition->type() == DefinitionType::DynamicStructure ||
         definition->type() == DefinitionType::DynamicError;
}

class Encoder {
 public:
  Encoder(std::string& out, std::list<BaseMessage>& messages, EncodeOptions const& options)
      : out_(out),
        messages_(messages),
        indent_(options.indent > 0 ? static_cast<std::size_t>(options.indent) : 0) {}

  bool Run(DataValue const& root, DataDefinition const* definition) {
    if (!Write(root, definition)) return false;
    while (!frames_.empty()) {
      if (!Step()) return false;
    }
    return true;
  }

 private:
  struct Frame {
    DataValue const* value;
    DataDefinition const* definition;  // of the structure, map or list; null: by looks
    bool list;
    FieldIterator next, end;    // structures and maps
    std::size_t index = 0;      // lists: the next element
    std::size_t written = 0;    // members or elements written so far
    std::string_view key = {};  // the member being written, for messages
  };

  // Writes the next member or element of the innermost frame, or closes it.
  bool Step() {
    Frame& top = frames_.back();
    if (top.list) {
      auto const& list = static_cast<ListValue const&>(*top.value);
      if (top.index == list.size()) return Close(']');
      std::size_t const i = top.index++;
      Separate(top);
      DataDefinition const* element =
          top.definition != nullptr ? static_cast<ListDefinition const&>(*top.definition).elementType().get()
                                    : nullptr;
      if (list.isTyped()) {
        if (list.elementKind() == Kind::String)
          return WriteString(static_cast<ListValueString const&>(list).items()[i]);
        internal::AppendInteger(static_cast<ListValueLong const&>(list).items()[i], out_);
        return true;
      }
      std::shared_ptr<DataValue const> const& item = list.values()[i];
      if (!item) {
        out_ += "null";
        return true;
      }
      return Write(*item, element);
    }
    while (top.next != top.end && !Present(top.next->value())) ++top.next;
    if (top.next == top.end) return Close('}');
    FieldMap::Field const& field = *top.next;
    ++top.next;
    top.key = field.name();
    Separate(top);
    if (!WriteString(field.name())) return false;
    out_ += indent_ > 0 ? ": " : ":";
    return Write(*field.value(), MemberDefinition(top, field.name()));
  }

  static DataDefinition const* MemberDefinition(Frame const& frame, std::string_view name) {
    if (frame.definition == nullptr) return nullptr;
    if (frame.definition->type() == DefinitionType::Map) {
      return static_cast<MapDefinition const&>(*frame.definition).elementType().get();
    }
    return static_cast<StructDefinition const&>(*frame.definition).FindField(name);
  }

  // The definition that describes the value; an unresolved reference leaves it to its looks.
  DataDefinition const* Resolve(DataDefinition const* definition) {
    return ResolveShape(definition, keepAlive_);
  }

  bool Write(DataValue const& start, DataDefinition const* raw) {
    DataDefinition const* definition = Resolve(raw);
    DataValue const* value = &start;
    while (value->kind() == Kind::Optional) {
      auto const& optional = static_cast<OptionalValue const&>(*value);
      if (!optional.isSet()) {
        out_ += "null";
        return true;
      }
      value = optional.value().get();
      if (definition != nullptr && definition->type() == DefinitionType::Optional) {
        definition = Resolve(static_cast<OptionalDefinition const&>(*definition).elementType().get());
      }
    }
    switch (value->kind()) {
      case Kind::Void:
        out_ += "null";
        return true;
      case Kind::Boolean:
        out_ += Data::internal::StoredOf<bool>(*value) ? "true" : "false";
        return true;
      case Kind::Integer:
        internal::AppendInteger(Data::internal::StoredOf<int64_t>(*value), out_);
        return true;
      case Kind::Double:
        internal::AppendDouble(Data::internal::StoredOf<double>(*value), out_);
        return true;
      case Kind::String:
        return WriteString(Data::internal::StoredOf<std::string>(*value));
      case Kind::Secret:
        return WriteString(Data::internal::StoredOf<Opax::SecretString>(*value).reveal());
      case Kind::Binary:
        out_ += '"';
        internal::AppendBase64(Data::internal::StoredOf<std::vector<unsigned char>>(*value), out_);
        out_ += '"';
        return true;
      case Kind::DateTime:
        out_ += '"';
        out_ += Data::internal::StoredOf<Opax::DateTime>(*value).ToString();
        out_ += '"';
        return true;
      case Kind::List:
        return Open(*value, definition != nullptr && definition->type() == DefinitionType::List ? definition
                                                                                                : nullptr);
      case Kind::Structure:
      case Kind::Error:
      case Kind::Map:
        return Open(*value, definition);
      case Kind::Optional:
        break;
    }
    return true;
  }

  bool Open(DataValue const& value, DataDefinition const* definition) {
    Frame frame{&value, definition, value.kind() == Kind::List, {}, {}};
    if (frame.list) {
      out_ += '[';
      frames_.push_back(frame);
      return true;
    }
    auto const& compound = static_cast<CompoundValue const&>(value);
    auto const fields = compound.fields().inOrder();
    frame.next = fields.begin();
    frame.end = fields.end();
    bool const isMap = value.kind() == Kind::Map;
    bool const named =
        value.kind() == Kind::Error || (!isMap && !compound.name().empty() && IsDynamic(definition));
    bool const matches = definition != nullptr && (isMap ? definition->type() == DefinitionType::Map
                                                         : definition->type() == DefinitionType::Structure ||
                                                               definition->type() == DefinitionType::Error);
    if (!matches) frame.definition = nullptr;
    out_ += '{';
    frames_.push_back(frame);
    if (named) {
      Separate(frames_.back());
      out_ += '"';
      out_ += kTypeMember;
      out_ += indent_ > 0 ? "\": " : "\":";
      return WriteString(compound.name());
    }
    return true;
  }

  bool Close(char bracket) {
    bool const empty = frames_.back().written == 0;
    frames_.pop_back();
    if (!empty) NewLine();
    out_ += bracket;
    return true;
  }

  void Separate(Frame& frame) {
    if (frame.written++ > 0) out_ += ',';
    NewLine();
  }

  void NewLine() {
    if (indent_ == 0) return;
    out_ += '\n';
    out_.append(indent_ * frames_.size(), ' ');
  }

  bool WriteString(std::string_view text) {
    out_ += '"';
    auto const* data = reinterpret_cast<unsigned char const*>(text.data());
    std::size_t const size = text.size();
    std::size_t run = 0;  // start of the bytes not yet copied
    for (std::size_t i = 0; i < size;) {
      unsigned char const c = data[i];
      if (c >= 0x20 && c != '"' && c != '\\' && c < 0x80) {
        ++i;
        continue;
      }
      if (c >= 0x80) {
        std::size_t const length = internal::Utf8Length(data + i, size - i);
        if (length == 0) return Utf8Fault(i);
        i += length;
        continue;
      }
      out_.append(text, run, i - run);
      AppendEscape(c);
      run = ++i;
    }
    out_.append(text, run, size - run);
    out_ += '"';
    return true;
  }

  void AppendEscape(unsigned char c) {
    switch (c) {
      case '"':
        out_ += "\\\"";
        return;
      case '\\':
        out_ += "\\\\";
        return;
      case '\b':
        out_ += "\\b";
        return;
      case '\f':
        out_ += "\\f";
        return;
      case '\n':
        out_ += "\\n";
        return;
      case '\r':
        out_ += "\\r";
        return;
      case '\t':
        out_ += "\\t";
        return;
      default: {
        static constexpr char kHex[] = "0123456789abcdef";
        out_ += "\\u00";
        out_ += kHex[c >> 4];
        out_ += kHex[c & 0xF];
      }
    }
  }

  bool Utf8Fault(std::size_t offset) {
    std::string path;
    for (Frame const& frame : frames_) {
      if (frame.list) {
        path += '[' + std::to_string(frame.index == 0 ? 0 : frame.index - 1) + ']';
      } else if (frame.key.data() != nullptr) {
        if (!path.empty()) path += '.';
        path += frame.key;
      }
    }
    messages_.push_back(
        BaseMessage::Make(MessageIds::kJsonUtf8, {std::to_string(offset), path.empty() ? "(value)" : path}));
    return false;
  }

  std::string& out_;
  std::list<BaseMessage>& messages_;
  std::size_t const indent_;
  std::vector<Frame> frames_;
  std::vector<std::shared_ptr<DataDefinition const>> keepAlive_;
};

}  // namespace

bool Encode(Data::DataValue const& value, Data::DataDefinition const* definition, std::string& out,
            std::list<BaseMessage>& messages, EncodeOptions const& options) {
  std::size_t const start = out.size();
  if (Encoder(out, messages, options).Run(value, definition)) return true;
  out.resize(start);
  return false;
}

}  // namespace Json
}  // namespace Opax
