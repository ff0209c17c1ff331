#pragma once

// Native types shaped like generated bindings (a hidden unknown-fields member first, fields in
// declared order, enumerations over a text table), with adapt functions written over a field
// list through the adapters' own structure helpers, field by field. Tests and benchmarks of the
// runtime use them; they are not part of the library.

#include <opax/opax.h>

#include <array>
#include <cstdint>
#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace Sample {

class Color : public ::Opax::Enum {
 public:
  enum EnumType { RED, GREEN, BLUE, _UNKNOWN };
  struct Strings {
    static constexpr char const* values[] = {"RED", "GREEN", "BLUE", "_UNKNOWN", nullptr};
  };
  Color() : ::Opax::Enum(_UNKNOWN) {}
  Color(EnumType v) : ::Opax::Enum(::Opax::EnumTable::Clamp(v, _UNKNOWN)) {}  // NOLINT
  Color(int v) : ::Opax::Enum(::Opax::EnumTable::Clamp(v, _UNKNOWN)) {}       // NOLINT
  explicit Color(std::string const& text) : ::Opax::Enum(_UNKNOWN, text) {}
  operator EnumType() const { return static_cast<EnumType>(value()); }  // NOLINT
};

// Nine optional fields.
struct Detail {
  std::shared_ptr<::Opax::Data::StructValue const> unknownFields;
  boost::optional<std::string> label;
  boost::optional<std::string> owner;
  boost::optional<std::string> path;
  boost::optional<int64_t> size;
  boost::optional<int64_t> count;
  boost::optional<bool> enabled;
  boost::optional<bool> shared;
  boost::optional<Color> color;
  boost::optional<std::set<std::string>> tags;
};

// Twelve fields: strings, integers, booleans, an enumeration and one optional nested structure.
struct Record {
  std::shared_ptr<::Opax::Data::StructValue const> unknownFields;
  std::string name;
  std::string id;
  std::string description;
  std::string uri;
  int64_t size = 0;
  int64_t capacity = 0;
  int64_t generation = 0;
  bool connected = false;
  bool readOnly = false;
  bool startConnected = false;
  Color color;
  ::Opax::OptionalPtr<Detail const> detail;
};

// Every field kind, and itself through an optional and a list.
struct Node {
  std::shared_ptr<::Opax::Data::StructValue const> unknownFields;
  std::string name;
  boost::optional<int64_t> weight;
  ::Opax::OptionalPtr<Node const> next;
  std::list<std::shared_ptr<Node const>> children;
  std::map<std::string, int64_t> counts;
  std::set<Color> colors;
  std::vector<std::string> labels;
  ::Opax::SecretString secret;
  ::Opax::DateTime when;
  std::vector<unsigned char> blob;
  double ratio = 0.0;
  ::Opax::Data::DynamicStructure extra;
  boost::optional<std::map<std::string, std::list<std::shared_ptr<Detail const>>>> details;
};

// The smallest self-containing structure, for deep chains.
struct Link {
  std::shared_ptr<::Opax::Data::StructValue const> unknownFields;
  std::list<std::shared_ptr<Link const>> next;
};

// Two fields of one structure type.
struct Pair {
  std::shared_ptr<::Opax::Data::StructValue const> unknownFields;
  std::shared_ptr<Detail const> left;
  ::Opax::OptionalPtr<Detail const> right;
};

// Field lists: wire name and member, in declaration order.
template <class T>
struct Fields;

template <>
struct Fields<Detail> {
  static constexpr char const* name = "sample.detail";
  template <class F>
  static void ForEach(F&& f) {
    f("label", &Detail::label);
    f("owner", &Detail::owner);
    f("path", &Detail::path);
    f("size", &Detail::size);
    f("count", &Detail::count);
    f("enabled", &Detail::enabled);
    f("shared", &Detail::shared);
    f("color", &Detail::color);
    f("tags", &Detail::tags);
  }
  static constexpr char const* names[] = {"label",   "owner",  "path",  "size", "count",
                                          "enabled", "shared", "color", "tags"};
};

template <>
struct Fields<Record> {
  static constexpr char const* name = "sample.record";
  template <class F>
  static void ForEach(F&& f) {
    f("name", &Record::name);
    f("id", &Record::id);
    f("description", &Record::description);
    f("uri", &Record::uri);
    f("size", &Record::size);
    f("capacity", &Record::capacity);
    f("generation", &Record::generation);
    f("connected", &Record::connected);
    f("read_only", &Record::readOnly);
    f("start_connected", &Record::startConnected);
    f("color", &Record::color);
    f("detail", &Record::detail);
  }
  static constexpr char const* names[] = {
      "name",      "id",        "description",     "uri",   "size",  "capacity", "generation",
      "connected", "read_only", "start_connected", "color", "detail"};
};

template <>
struct Fields<Node> {
  static constexpr char const* name = "sample.node";
  template <class F>
  static void ForEach(F&& f) {
    f("name", &Node::name);
    f("weight", &Node::weight);
    f("next", &Node::next);
    f("children", &Node::children);
    f("counts", &Node::counts);
    f("colors", &Node::colors);
    f("labels", &Node::labels);
    f("secret", &Node::secret);
    f("when", &Node::when);
    f("blob", &Node::blob);
    f("ratio", &Node::ratio);
    f("extra", &Node::extra);
    f("details", &Node::details);
  }
  static constexpr char const* names[] = {"name", "colors",   "labels", "secret",  "when",
                                          "blob", "ratio",    "extra",  "details", "weight",
                                          "next", "children", "counts"};
};

template <>
struct Fields<Link> {
  static constexpr char const* name = "sample.link";
  template <class F>
  static void ForEach(F&& f) {
    f("next", &Link::next);
  }
  static constexpr char const* names[] = {"next"};
};

template <>
struct Fields<Pair> {
  static constexpr char const* name = "sample.pair";
  template <class F>
  static void ForEach(F&& f) {
    f("left", &Pair::left);
    f("right", &Pair::right);
  }
  static constexpr char const* names[] = {"left", "right"};
};

// The three adapt functions of a sample structure: the adapters' structure helpers, one field at
// a time.
template <class T>
void ToValue(::Opax::NativeConstPtr const& source,
             ::Opax::Data::NativeToValueAdapter::Destination const& destination,
             ::Opax::Data::NativeToValueAdapter::Queue& queue, std::list<::Opax::BaseMessage>&) {
  auto const& native = *static_cast<T const*>(source);
  ::Opax::Data::NativeToValueAdapter::CompoundHelper<::Opax::Data::StructValue> helper(
      ::Opax::Data::StaticName(Fields<T>::name), destination, queue, std::size(Fields<T>::names),
      native.unknownFields);
  Fields<T>::ForEach([&](char const* wire, auto member) {
    helper.AddField(::Opax::Data::StaticName(wire), &(native.*member));
  });
  helper.AddUnknownFields(native.unknownFields);
}

template <class T>
void ToNative(std::shared_ptr<::Opax::Data::DataValue const> const& value,
              ::Opax::NativePtr const& destination, ::Opax::Data::ValueToNativeAdapter::Container& container,
              std::list<::Opax::BaseMessage>& messages) {
  auto& native = *static_cast<T*>(destination);
  ::Opax::Data::ValueToNativeAdapter::CompoundHelper<::Opax::Data::StructValue> helper(
      value, container, messages, Fields<T>::name);
  if (!helper.ok()) return;
  Fields<T>::ForEach([&](char const* wire, auto member) { helper.AddField(wire, &(native.*member)); });
  if (helper.ok()) {
    native.unknownFields =
        helper.UnknownFields([](std::size_t i) { return Fields<T>::names[i]; }, std::size(Fields<T>::names));
  }
}

template <class T>
void ToDefinition(::Opax::Data::NativeToDefinitionAdapter::SrcType const&,
                  ::Opax::Data::NativeToDefinitionAdapter::Destination const& destination,
                  ::Opax::Data::NativeToDefinitionAdapter::Container& container,
                  std::list<::Opax::BaseMessage>&) {
  ::Opax::Data::NativeToDefinitionAdapter::CompoundHelper<::Opax::Data::StructDefinition> helper(
      reinterpret_cast<void const*>(&ToDefinition<T>), Fields<T>::name, destination, container);
  if (!helper.needsFields()) return;
  Fields<T>::ForEach([&](char const* wire, auto member) {
    using M = std::remove_reference_t<decltype(std::declval<T&>().*member)>;
    helper.AddField<M>(wire);
  });
}

}  // namespace Sample

namespace Opax {
namespace Data {

template <class T>
struct SampleTypeInfo {
  static std::string name() { return Sample::Fields<T>::name; }
  static std::shared_ptr<T> defaultInstance(std::shared_ptr<DataValue const> const&) {
    return std::make_shared<T>();
  }
};
template <>
struct TypeInfo<Sample::Detail> : SampleTypeInfo<Sample::Detail> {};
template <>
struct TypeInfo<Sample::Record> : SampleTypeInfo<Sample::Record> {};
template <>
struct TypeInfo<Sample::Node> : SampleTypeInfo<Sample::Node> {};
template <>
struct TypeInfo<Sample::Link> : SampleTypeInfo<Sample::Link> {};
template <>
struct TypeInfo<Sample::Pair> : SampleTypeInfo<Sample::Pair> {};

#define OPAX_SAMPLE_ADAPT_METHODS(T)                                                  \
  template <>                                                                         \
  struct NativeToValueAdapter::AdaptMethod<T> {                                       \
    static AdaptFunction Get(T const* = nullptr) { return &Sample::ToValue<T>; }      \
  };                                                                                  \
  template <>                                                                         \
  struct ValueToNativeAdapter::AdaptMethod<T> {                                       \
    static AdaptFunction Get(T const* = nullptr) { return &Sample::ToNative<T>; }     \
  };                                                                                  \
  template <>                                                                         \
  struct NativeToDefinitionAdapter::AdaptMethod<T> {                                  \
    static AdaptFunction Get(T const* = nullptr) { return &Sample::ToDefinition<T>; } \
  };

OPAX_SAMPLE_ADAPT_METHODS(Sample::Detail)
OPAX_SAMPLE_ADAPT_METHODS(Sample::Record)
OPAX_SAMPLE_ADAPT_METHODS(Sample::Node)
OPAX_SAMPLE_ADAPT_METHODS(Sample::Link)
OPAX_SAMPLE_ADAPT_METHODS(Sample::Pair)
#undef OPAX_SAMPLE_ADAPT_METHODS

}  // namespace Data
}  // namespace Opax
