// Property: any value that a structure's own definition describes, converted to the native
// structure and back, comes out equal to itself, with every field present and the fields the
// structure does not declare kept. Values are drawn at random from the definition with a fixed
// seed; set NEXAR_ROUND_TRIP_SEED to replay another one.

#include <opax/json/json.h>
#include <runtime/service_catalog.h>
#include <idl/tests/pilot_types.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace Pilot;         // NOLINT: its short names for the areas (Nexar, Hw, Auth, Std)
using namespace ::Opax::Data;  // NOLINT: the test speaks the runtime's vocabulary throughout
using Messages = std::list<::Opax::BaseMessage>;
using Slot = std::shared_ptr<DataValue const>;

constexpr int kIterations = 300;
// Deep enough for every structure here; a definition that refers to itself stops growing
// below it (optionals come out unset, lists empty).
constexpr int kMaxDepth = 8;

// Every wire text the enumerations of these structures know. An enumeration's definition only
// says which texts it accepts, so known values are picked from here through that predicate.
template <class... E>
std::vector<std::string> TextsOf() {
  std::vector<std::string> texts;
  for (char const* const* table : {E::Strings::values...}) {
    for (char const* const* entry = table; *entry != nullptr; ++entry) texts.emplace_back(*entry);
  }
  return texts;
}

std::vector<std::string> const& KnownTexts() {
  static std::vector<std::string> const texts =
      TextsOf<Nexar::CredentialEnumerations::Type, Hw::ConnectionState, Hw::BootSvc::Type,
              Hw::BootSvc::NetworkProtocol, Hw::Boot::DeviceSvc::Type, Hw::Adapter::SataSvc::Type,
              Hw::Adapter::ScsiSvc::Type, Hw::Adapter::ScsiSvc::Sharing, Hw::CdromSvc::BackingType,
              Hw::CdromSvc::DeviceAccessType, Hw::CdromSvc::HostBusAdapterType, Hw::DiskSvc::BackingType,
              Hw::DiskSvc::HostBusAdapterType, Hw::EthernetSvc::BackingType, Hw::EthernetSvc::EmulationType,
              Hw::EthernetSvc::MacAddressType, Hw::FloppySvc::BackingType, Hw::ParallelSvc::BackingType,
              Hw::SerialSvc::BackingType, Std::Errors::ErrorType, ::Com::Quarn::Cis::Task::Status>();
  return texts;
}

// Draws values of a definition. The walk keeps its pending slots on an explicit stack: each
// item fills one slot and may push the slots of its parts.
class ValueMaker {
 public:
  // `textual`: fields a structure does not declare hold only what JSON text tells apart by its
  // looks (strings, integers, named structures), since no definition directs their decoding.
  explicit ValueMaker(uint64_t seed, bool textual = false) : random_(seed), textual_(textual) {}

  Slot Make(DataDefinitionPtr const& definition) {
    Slot root;
    slots_.clear();
    pending_.push_back({definition.get(), &root, 0});
    while (!pending_.empty()) {
      Item const item = pending_.back();
      pending_.pop_back();
      if (item.slot != &root) slots_.push_back(item.slot);
      Fill(item);
    }
    for (auto const& [made, structure] : structures_) KeepUnionRules(*made, *structure);
    structures_.clear();
    return root;
  }

  // Replaces one part of the value last made (or the whole of it) with something of the wrong
  // kind, as a faulty or hostile peer might send.
  Slot Corrupt(Slot value) {
    if (slots_.empty() || OneIn(10)) return WrongValue();
    *slots_[Below(slots_.size())] = WrongValue();
    return value;
  }

  // Enumerations for which no known text was found: their values could only be unknown ones.
  std::set<DataDefinition const*> const& enumerationsWithoutTexts() const { return withoutTexts_; }

 private:
  struct Item {
    DataDefinition const* definition;
    Slot* slot;
    int depth;
  };

  uint64_t Below(uint64_t bound) { return bound == 0 ? 0 : random_() % bound; }
  bool OneIn(uint64_t n) { return Below(n) == 0; }

  std::string RandomString() {
    static std::string const pieces[] = {"a",        "Z",
                                         "0",        " ",
                                         "-",        "_",
                                         ".",        "\"",
                                         "\\",       "\n",
                                         "\t",       std::string(1, '\0'),
                                         "\xc3\xa9", "\xe2\x82\xac",
                                         "vm-",      "{0}"};
    std::string text;
    for (uint64_t n = Below(6); n > 0; --n) text += pieces[Below(std::size(pieces))];
    return text;
  }

  std::string UpperText() {
    std::string text(1 + Below(10), 'A');
    for (char& c : text) c = static_cast<char>('A' + Below(26));
    if (OneIn(4)) text[Below(text.size())] = '_';
    return text;
  }

  int64_t RandomInteger() {
    switch (Below(4)) {
      case 0:
        return static_cast<int64_t>(Below(300)) - 100;
      case 1:
        return OneIn(2) ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
      default:
        return static_cast<int64_t>(random_());
    }
  }

  // A known text of the enumeration most of the time; otherwise one it does not know (kept as
  // it came) or the reserved "_UNKNOWN" (which goes back as itself).
  std::string EnumerationText(IsOneOfDefinition const& oneOf) {
    uint64_t const pick = Below(10);
    if (pick == 0) return "_UNKNOWN";
    if (pick >= 3) {
      std::vector<std::string const*> accepted;
      for (std::string const& text : KnownTexts()) {
        if (oneOf.Accepts(text)) accepted.push_back(&text);
      }
      if (!accepted.empty()) return *accepted[Below(accepted.size())];
      withoutTexts_.insert(&oneOf);
    }
    std::string text;
    do {
      text = UpperText();
    } while (oneOf.Accepts(text));
    return text;
  }

  static Kind KindOf(DefinitionType type) {
    switch (type) {
      case DefinitionType::Boolean:
        return Kind::Boolean;
      case DefinitionType::Double:
        return Kind::Double;
      case DefinitionType::Secret:
        return Kind::Secret;
      case DefinitionType::Binary:
        return Kind::Binary;
      case DefinitionType::DateTime:
        return Kind::DateTime;
      case DefinitionType::Optional:
        return Kind::Optional;
      case DefinitionType::List:
        return Kind::List;
      case DefinitionType::Map:
        return Kind::Map;
      case DefinitionType::DynamicError:
        return Kind::Error;
      default:
        return Kind::Structure;
    }
  }

  Slot Leaf(DefinitionType type) {
    switch (type) {
      case DefinitionType::Boolean:
        return DataValue::Create(OneIn(2));
      case DefinitionType::Integer:
        return DataValue::Create(RandomInteger());
      case DefinitionType::Double:
        return DataValue::Create(static_cast<double>(RandomInteger()) / 8);
      case DefinitionType::Secret:
        return DataValue::Create(::Opax::SecretString(RandomString()));
      case DefinitionType::Binary: {
        std::string const bytes = RandomString();
        return DataValue::Create(std::vector<unsigned char>(bytes.begin(), bytes.end()));
      }
      case DefinitionType::DateTime:
        return DataValue::Create(::Opax::DateTime::FromEpochMilliseconds(RandomInteger() % 4102444800000));
      case DefinitionType::Void:
        return DataValue::Create(::Opax::Void());
      default:
        return DataValue::Create(RandomString());
    }
  }

  Slot WrongValue() {
    switch (Below(16)) {
      case 0:
        return nullptr;
      case 1:
        return DataValue::Create(RandomString());
      case 2:
        return DataValue::Create(RandomInteger());
      case 3:
        return DataValue::Create(true);
      case 4:
        return DataValue::Create(2.5);
      case 5:
        return DataValue::Create(::Opax::SecretString("s"));
      case 6:
        return DataValue::Create(::Opax::Void());
      case 7:
        return OptionalValue::GetInstance();
      case 8:
        return OptionalValue::GetInstance(OptionalValue::GetInstance(DataValue::Create(RandomInteger())));
      case 9: {
        auto map = MapValue::GetInstance();
        map->SetField("type", DataValue::Create(std::string("DISK")));
        return map;
      }
      case 10: {
        auto other = StructValue::GetInstance("com.quarn.test.other");
        other->SetField("type", DataValue::Create(int64_t{1}));
        return other;
      }
      case 11:
        return ErrorValue::GetInstance("com.quarn.opax.std.errors.not_found");
      case 12: {
        auto list = ListValueString::GetInstance();
        list->Append(RandomString());
        return list;
      }
      case 13: {
        auto list = ListValueLong::GetInstance();
        list->Append(RandomInteger());
        return list;
      }
      case 14: {
        auto list = std::make_shared<ListValue>(Kind::Structure);
        list->values().push_back(nullptr);
        return list;
      }
      default:
        return DataValue::Create(::Opax::DateTime::FromEpochMilliseconds(0));
    }
  }

  // A field this side does not declare, as a newer peer might send it.
  Slot UnknownValue() {
    switch (Below(4)) {
      case 0:
        return textual_ ? DataValue::Create(RandomString()) : OptionalValue::GetInstance();
      case 1:
        if (textual_) return DataValue::Create(OneIn(2));
        return OptionalValue::GetInstance(DataValue::Create(RandomString()));
      case 2: {
        auto nested = StructValue::GetInstance("com.quarn.nexar.future." + UpperText());
        nested->SetField("count", DataValue::Create(RandomInteger()));
        return nested;
      }
      default:
        return DataValue::Create(RandomInteger());
    }
  }

  // Textual values are ones a peer could send: each union's tag gets a known text, case fields
  // it does not allow are unset, and those it requires are set (with a leaf where the maker left
  // them unset; a structure case left unset stays so, and that value is refused).
  void KeepUnionRules(StructDefinition const& definition, StructValue& structure) {
    std::map<std::string, std::vector<std::pair<std::string, UnionCaseDefinition const*>>> byTag;
    for (auto const& [name, field] : definition.fields()) {
      if (field->type() != DefinitionType::UnionCase) continue;
      auto const& unionCase = static_cast<UnionCaseDefinition const&>(*field);
      byTag[unionCase.tagField()].emplace_back(name, &unionCase);
    }
    for (auto const& [tag, cases] : byTag) {
      DataDefinitionPtr tagDefinition = definition.field(tag);
      bool const optional = tagDefinition && tagDefinition->type() == DefinitionType::Optional;
      if (optional) tagDefinition = static_cast<OptionalDefinition const&>(*tagDefinition).elementType();
      if (!tagDefinition || tagDefinition->type() != DefinitionType::IsOneOf) continue;
      std::vector<std::string const*> texts;
      for (std::string const& text : KnownTexts()) {
        if (static_cast<IsOneOfDefinition const&>(*tagDefinition).Accepts(text) && text != "_UNKNOWN")
          texts.push_back(&text);
      }
      if (texts.empty()) continue;
      std::string const& text = *texts[Below(texts.size())];
      Slot value = DataValue::Create(text);
      structure.SetField(tag, optional ? OptionalValue::GetInstance(value) : value);
      for (auto const& [name, unionCase] : cases) {
        boost::logic::tribool const active = unionCase->IsActiveFor(text);
        bool const set = IsSet(structure.FindField(name));
        DataDefinition const* element = unionCase->elementType().get();
        if (!active && set) {
          structure.SetField(name, OptionalValue::GetInstance());
        } else if (active && !set && element->type() == DefinitionType::Optional) {
          DataDefinition const& inner = *static_cast<OptionalDefinition const&>(*element).elementType();
          if (inner.type() == DefinitionType::IsOneOf) {
            Slot leaf = DataValue::Create(EnumerationText(static_cast<IsOneOfDefinition const&>(inner)));
            structure.SetField(name, OptionalValue::GetInstance(leaf));
          } else if (inner.type() != DefinitionType::Structure && inner.type() != DefinitionType::StructRef &&
                     inner.type() != DefinitionType::List && inner.type() != DefinitionType::Map) {
            structure.SetField(name, OptionalValue::GetInstance(Leaf(inner.type())));
          }
        }
      }
    }
  }

  static bool IsSet(Slot const* field) {
    if (field == nullptr || !*field) return false;
    return (*field)->kind() != Kind::Optional || static_cast<OptionalValue const&>(**field).isSet();
  }

  void FillStructure(StructDefinition const& definition, Item const& item) {
    bool const isError = definition.type() == DefinitionType::Error;
    std::shared_ptr<StructValue> value =
        isError ? ErrorValue::GetInstance(definition.name()) : StructValue::GetInstance(definition.name());
    if (textual_) structures_.emplace_back(&definition, value.get());
    uint64_t const unknown = OneIn(4) ? 1 + Below(2) : 0;
    value->fields().reserve(definition.fields().size() + unknown);
    for (uint64_t i = 0; i < unknown; ++i) value->SetField("x_" + UpperText(), UnknownValue());
    for (auto const& [name, field] : definition.fields()) {
      pending_.push_back({field.get(), &value->fields().slot(name), item.depth + 1});
    }
    *item.slot = std::move(value);
  }

  // Lists and sets share one definition, so elements that have an order of their own (strings,
  // integers) come sorted and distinct: what a set gives back, and still a valid list.
  void FillList(ListDefinition const& definition, Item const& item) {
    uint64_t const count = item.depth >= kMaxDepth ? 0 : Below(4);
    DataDefinition const* element = definition.elementType().get();
    DefinitionType const type = element->type();
    if (type == DefinitionType::String || type == DefinitionType::IsOneOf) {
      std::set<std::string> items;
      for (uint64_t i = 0; i < count; ++i) {
        items.insert(type == DefinitionType::String
                         ? RandomString()
                         : EnumerationText(static_cast<IsOneOfDefinition const&>(*element)));
      }
      // A set of enumeration values orders by member number, which the definition does not
      // tell: one element is the most whose order is certain.
      if (type == DefinitionType::IsOneOf && items.size() > 1)
        items.erase(std::next(items.begin()), items.end());
      if (OneIn(2)) {
        auto list = ListValueString::GetInstance();
        list->Store(items);
        *item.slot = std::move(list);
      } else {
        auto list = std::make_shared<ListValue>(Kind::String);
        for (std::string const& text : items) list->values().push_back(DataValue::Create(text));
        *item.slot = std::move(list);
      }
      return;
    }
    if (type == DefinitionType::Integer) {
      std::set<int64_t> items;
      for (uint64_t i = 0; i < count; ++i) items.insert(RandomInteger());
      auto list = ListValueLong::GetInstance();
      list->Store(items);
      *item.slot = std::move(list);
      return;
    }
    auto list = std::make_shared<ListValue>(KindOf(type));
    list->values().resize(count);
    for (Slot& slot : list->values()) pending_.push_back({element, &slot, item.depth + 1});
    *item.slot = std::move(list);
  }

  void Fill(Item const& item) {
    DataDefinition const& definition = *item.definition;
    switch (definition.type()) {
      case DefinitionType::Structure:
      case DefinitionType::Error:
        return FillStructure(static_cast<StructDefinition const&>(definition), item);
      case DefinitionType::StructRef: {
        auto target = static_cast<StructRefDefinition const&>(definition).targetDefinition();
        ASSERT_TRUE(target) << "unresolved reference "
                            << static_cast<StructRefDefinition const&>(definition).name();
        references_.push_back(target);
        pending_.push_back({target.get(), item.slot, item.depth});
        return;
      }
      case DefinitionType::UnionCase:
        pending_.push_back(
            {static_cast<UnionCaseDefinition const&>(definition).elementType().get(), item.slot, item.depth});
        return;
      case DefinitionType::Optional: {
        auto optional = OptionalValue::GetInstance();
        if (item.depth < kMaxDepth && OneIn(2)) {
          pending_.push_back({static_cast<OptionalDefinition const&>(definition).elementType().get(),
                              optional->slot(), item.depth + 1});
        }
        *item.slot = std::move(optional);
        return;
      }
      case DefinitionType::List:
        return FillList(static_cast<ListDefinition const&>(definition), item);
      case DefinitionType::Map: {
        auto map = MapValue::GetInstance();
        uint64_t const count = item.depth >= kMaxDepth ? 0 : Below(3);
        map->fields().reserve(count);
        for (uint64_t i = 0; i < count; ++i) {
          pending_.push_back({static_cast<MapDefinition const&>(definition).elementType().get(),
                              &map->fields().slot(UpperText()), item.depth + 1});
        }
        *item.slot = std::move(map);
        return;
      }
      case DefinitionType::IsOneOf:
        *item.slot = DataValue::Create(EnumerationText(static_cast<IsOneOfDefinition const&>(definition)));
        return;
      case DefinitionType::DynamicStructure:
      case DefinitionType::DynamicError: {
        bool const error = definition.type() == DefinitionType::DynamicError;
        std::shared_ptr<StructValue> value = error
                                                 ? ErrorValue::GetInstance("com.quarn.test." + UpperText())
                                                 : StructValue::GetInstance("com.quarn.test." + UpperText());
        for (uint64_t n = Below(3); n > 0; --n)
          value->SetField("f_" + UpperText(), Leaf(DefinitionType::String));
        *item.slot = std::move(value);
        return;
      }
      default:
        *item.slot = Leaf(definition.type());
        return;
    }
  }

  std::mt19937_64 random_;
  bool textual_;
  std::vector<std::pair<StructDefinition const*, StructValue*>>
      structures_;  // made by this Make, textual only
  std::vector<Item> pending_;
  std::vector<DataDefinitionPtr> references_;  // targets are held weakly: keep them for the walk
  std::set<DataDefinition const*> withoutTexts_;
  std::vector<Slot*> slots_;  // every part of the value last made, its root excepted
};

uint64_t BaseSeed() {
  char const* chosen = std::getenv("NEXAR_ROUND_TRIP_SEED");
  return chosen != nullptr ? std::strtoull(chosen, nullptr, 10) : 20240229u;
}

// A stable seed per type (std::hash is not stable across library versions).
uint64_t SeedFor(std::string const& name) {
  uint64_t hash = 14695981039346656037u;
  for (char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
  return hash ^ BaseSeed();
}

template <class T>
class RoundTrip : public ::testing::Test {};

struct TypeNames {
  template <class T>
  static std::string GetName(int index) {
    std::string name = TypeInfo<T>::name();
    // Every operation input has the same type name.
    if (name == TypeInfo<::Opax::OperationInput>::name()) return "operation_input_" + std::to_string(index);
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
  }
};

// Turns the shared list, with more types after it, into the test's type list.
template <class List, class... More>
struct WithMore;
template <class... T, class... More>
struct WithMore<Pilot::TypeList<T...>, More...> {
  using Types = ::testing::Types<T..., More...>;
};

using PilotTypes = WithMore<Pilot::Structures,
                            // operation inputs, with and without parameters
                            Hw::EthernetSvc::CreateMethod::Input, Hw::DiskSvc::UpdateMethod::Input,
                            Auth::RolesSvc::UpdateMethod::Input, Auth::PrivilegeChecksSvc::ListMethod::Input,
                            Auth::PrivilegeChecks::LatestSvc::GetMethod::Input>::Types;

TYPED_TEST_SUITE(RoundTrip, PilotTypes, TypeNames);

TYPED_TEST(RoundTrip, ValueToNativeToValueGivesTheSameValue) {
  using T = TypeParam;
  DataDefinitionPtr const definition = NativeToDefinitionAdapter::DefinitionOf<T>();
  ASSERT_TRUE(definition);
  uint64_t const seed = SeedFor(TypeInfo<T>::name());
  ValueMaker maker(seed);
  for (int iteration = 0; iteration < kIterations; ++iteration) {
    Slot const original = maker.Make(definition);
    ASSERT_TRUE(original);
    auto const context = [&] {
      return "seed " + std::to_string(seed) + ", iteration " + std::to_string(iteration) +
             "\n  value: " + original->ToString();
    };

    T native;
    Messages messages;
    ASSERT_TRUE(ValueToNativeAdapter::Adapt(original, native, messages))
        << context() << "\n  " << (messages.empty() ? std::string() : messages.front().id());
    // Converting a copy also checks that copies carry what the structure does not declare.
    T copy;
    copy = native;
    Slot back;
    ASSERT_TRUE(NativeToValueAdapter::Adapt(copy, back, messages))
        << context() << "\n  " << (messages.empty() ? std::string() : messages.front().id());
    ASSERT_TRUE(DataValue::Equal(*original, *back)) << context() << "\n  back:  " << back->ToString();
  }
  EXPECT_TRUE(maker.enumerationsWithoutTexts().empty())
      << "an enumeration of " << TypeInfo<T>::name() << " has no texts in KnownTexts(): add it there";
}

bool IsOneOf(std::string const& id, std::initializer_list<char const*> ids) {
  return std::any_of(ids.begin(), ids.end(), [&](char const* candidate) { return id == candidate; });
}

// Property: a value with a part of the wrong kind is refused with one conversion message (or
// converts, where the conversion can read it), and never crashes anything that looks at it.
// Whatever the definition accepts, the conversion reads, and the result converts back.
TYPED_TEST(RoundTrip, CorruptedValuesAreRefusedWithOneMessageOrRead) {
  namespace Ids = ::Opax::MessageIds;
  using T = TypeParam;
  DataDefinitionPtr const definition = NativeToDefinitionAdapter::DefinitionOf<T>();
  uint64_t const seed = SeedFor(TypeInfo<T>::name()) + 1;
  ValueMaker maker(seed);
  for (int iteration = 0; iteration < kIterations; ++iteration) {
    Slot const value = maker.Corrupt(maker.Make(definition));
    auto const context = [&] {
      return "seed " + std::to_string(seed) + ", iteration " + std::to_string(iteration) +
             "\n  value: " + (value ? value->ToString() : std::string("null"));
    };

    Messages checked;
    bool const accepted = definition->Validate(value, checked);
    EXPECT_TRUE(accepted || !checked.empty()) << context();

    T native;
    Messages messages;
    bool const read = ValueToNativeAdapter::Adapt(value, native, messages);
    if (read) {
      ASSERT_TRUE(messages.empty()) << context();
    } else {
      ASSERT_EQ(messages.size(), 1u) << context();
      EXPECT_TRUE(IsOneOf(messages.front().id(),
                          {Ids::kInvalidType, Ids::kBadCast1, Ids::kUnsetNonOptionalField,
                           Ids::kDoubleNotIntegral, Ids::kIntegerOutOfRange, Ids::kDateTimeInvalid}))
          << context() << "\n  " << messages.front();
    }
    ASSERT_TRUE(read || !accepted) << context() << "\n  the definition accepts what the conversion refuses: "
                                   << messages.front();

    messages.clear();
    Slot back;
    bool const written = NativeToValueAdapter::Adapt(native, back, messages);
    if (!written) {
      ASSERT_EQ(messages.size(), 1u) << context();
      EXPECT_EQ(messages.front().id(), Ids::kUnsetNonOptionalField) << context();
    }
    EXPECT_TRUE(written || !accepted) << context() << "\n  accepted, read, but not written back";
    for (auto policy : {Validator::LENIENT, Validator::STRICT}) {
      messages.clear();
      if (!Validator::isValid(native, policy, messages)) {
        for (::Opax::BaseMessage const& message : messages) EXPECT_FALSE(message.defaultMessage().empty());
      }
    }
  }
}

// The wire format's laws on one value that `definition` describes: value -> JSON -> value is the
// identity for every value the definition accepts (and for any other that decodes at all), JSON
// -> value -> JSON gives the same text back, and the value taken through the native type
// (`throughNative`) and back to JSON still means the same: unknown members and texts included.
// Returns whether the text decoded.
template <class ThroughNative>
bool CheckJsonLaws(DataDefinitionPtr const& definition, Slot const& original, ThroughNative&& throughNative,
                   std::string const& context) {
  namespace Json = ::Opax::Json;
  Messages messages;
  std::string text;
  EXPECT_TRUE(Json::Encode(*original, definition.get(), text, messages)) << context;
  Slot decoded;
  bool const read = Json::Decode(text, *definition, decoded, messages, Json::Limits::Unlimited());
  Messages validation;
  if (definition->Validate(original, validation)) {
    EXPECT_TRUE(read) << context << "\n  text:  " << text << "\n  " << messages.front();
  }
  if (!read) {
    // What the definition refuses and the text cannot carry: a union case its tag does not allow.
    EXPECT_TRUE(
        IsOneOf(messages.front().id(), {::Opax::MessageIds::kUnionIsSet, ::Opax::MessageIds::kUnionIsNotSet,
                                        ::Opax::MessageIds::kUnionNoTag}))
        << context << "\n  " << messages.front();
    return false;
  }
  EXPECT_TRUE(DataValue::Equal(*original, *decoded))
      << context << "\n  text:  " << text << "\n  back:  " << decoded->ToString();
  std::string again;
  EXPECT_TRUE(Json::Encode(*decoded, definition.get(), again, messages));
  EXPECT_EQ(again, text) << context;

  Slot viaNative;
  EXPECT_TRUE(throughNative(decoded, viaNative, messages)) << context;
  std::string nativeText;
  Slot nativeDecoded;
  EXPECT_TRUE(Json::Encode(*viaNative, definition.get(), nativeText, messages));
  EXPECT_TRUE(Json::Decode(nativeText, *definition, nativeDecoded, messages, Json::Limits::Unlimited()))
      << context;
  EXPECT_TRUE(nativeDecoded && DataValue::Equal(*nativeDecoded, *decoded))
      << context << "\n  text:        " << text << "\n  via native:  " << nativeText;
  return true;
}

TYPED_TEST(RoundTrip, JsonTextKeepsEveryValueAndEveryMember) {
  using T = TypeParam;
  DataDefinitionPtr const definition = NativeToDefinitionAdapter::DefinitionOf<T>();
  uint64_t const seed = SeedFor(TypeInfo<T>::name()) + 2;
  ValueMaker maker(seed, true);
  auto const throughNative = [](Slot const& value, Slot& back, Messages& messages) {
    T native;
    return ValueToNativeAdapter::Adapt(value, native, messages) &&
           NativeToValueAdapter::Adapt(native, back, messages);
  };
  int decoded = 0;
  for (int iteration = 0; iteration < kIterations; ++iteration) {
    Slot const original = maker.Make(definition);
    std::string const context = "seed " + std::to_string(seed) + ", iteration " + std::to_string(iteration) +
                                "\n  value: " + original->ToString();
    decoded += CheckJsonLaws(definition, original, throughNative, context);
    if (::testing::Test::HasFailure()) return;
  }
  // The maker keeps the union rules except where a required case is a structure it left unset.
  EXPECT_GT(decoded, kIterations / 3);
}

// The same properties over the whole catalogue, through its run-time entries: every operation's
// input and result, in every area, drawn from its definition and taken through the native types
// and back, and through JSON text. Enumerations outside the pilot travel as texts these tests do not know,
// which exercises the keeping of unknown texts as much as anything.
TEST(CatalogueRoundTrip, EveryOperationsInputAndResultComeBackEqual) {
  constexpr int kCatalogueIterations = 3;
  std::size_t operations = 0;
  for (auto const* service : ::Opax::Catalog::ServiceCatalog::Instance().services()) {
    for (std::size_t i = 0; i < service->operationCount; ++i) {
      auto const& op = *service->operations[i];
      std::string const name = std::string(service->id) + "/" + op.name;
      ValueMaker maker(SeedFor(name));
      ValueMaker textual(SeedFor(name) + 1, true);
      using Descriptor = ::Opax::Binding::OperationDescriptor;
      for (auto const& [what, definition, member] :
           {std::make_tuple("input", op.inputDef(), &Descriptor::inputRoundTrip),
            std::make_tuple("result", op.outputDef(), &Descriptor::outputRoundTrip)}) {
        auto const roundTrip = [&op, member = member](Slot const& value, Slot& out, Messages& messages) {
          return (op.*member)(value, out, messages);
        };
        for (int iteration = 0; iteration < kCatalogueIterations; ++iteration) {
          Slot const original = maker.Make(definition);
          Slot back;
          Messages messages;
          ASSERT_TRUE(roundTrip(original, back, messages))
              << name << " " << what << ": " << (messages.empty() ? std::string() : messages.front().id())
              << "\n  value: " << original->ToString();
          ASSERT_TRUE(DataValue::Equal(*original, *back))
              << name << " " << what << "\n  value: " << original->ToString()
              << "\n  back:  " << back->ToString();
        }
        for (int iteration = 0; iteration < kCatalogueIterations; ++iteration) {
          CheckJsonLaws(definition, textual.Make(definition), roundTrip, name + " " + what);
          if (::testing::Test::HasFailure()) return;
        }
      }
      // The framework's own services (sessions, tasks) go through the same laws; the count is
      // the catalogue's.
      if (std::string(service->id).rfind("com.quarn.nexar.", 0) == 0) ++operations;
    }
  }
  EXPECT_EQ(operations, 530u);
}

}  // namespace
