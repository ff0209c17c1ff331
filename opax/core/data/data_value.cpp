#include <opax/core/data/data_value.h>

#include <opax/core/data/compound_value.h>
#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>
#include <opax/core/message/message_ids.h>

#include <array>
#include <cmath>
#include <cstring>
#include <mutex>

namespace Opax {
namespace Data {

char const* KindName(Kind kind) {
  switch (kind) {
    case Kind::Void:
      return "void";
    case Kind::Boolean:
      return "boolean";
    case Kind::Integer:
      return "integer";
    case Kind::Double:
      return "double";
    case Kind::String:
      return "string";
    case Kind::Optional:
      return "optional";
    case Kind::List:
      return "list";
    case Kind::Structure:
      return "structure";
    case Kind::Error:
      return "error";
    case Kind::Secret:
      return "secret";
    case Kind::Binary:
      return "binary";
    case Kind::DateTime:
      return "date-time";
    case Kind::Map:
      return "map";
  }
  return "unknown";
}

std::shared_ptr<StringValue> StringValue::GetInstance(std::string_view text, internal::ValueArena* arena) {
  internal::TrailingRoom room{text.size() + 1};
  auto value = internal::MakeValue<StringValue>(arena, &room, Made(), text.size());
  // The room is known once the block is allocated, which is after the arguments were taken.
  char* copy = static_cast<char*>(room.at);
  if (!text.empty()) std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  value->text_ = copy;
  return value;
}

std::shared_ptr<VoidValue const> const& VoidValue::GetInstance() {
  static auto const instance = internal::MakeImmortal<VoidValue>();
  return instance;
}

namespace internal {
namespace {

// Walks through set optionals to the first non-optional value; null when one is unset.
DataValue const* Unwrap(DataValue const& value) {
  DataValue const* current = &value;
  while (current->kind() == Kind::Optional) {
    current = static_cast<OptionalValue const*>(current)->value().get();
    if (current == nullptr) return nullptr;
  }
  return current;
}

DataValue const* UnwrapOrReport(DataValue const& value, std::list<BaseMessage>& messages) {
  DataValue const* inner = Unwrap(value);
  if (inner == nullptr) messages.push_back(BaseMessage::Make(MessageIds::kUnsetNonOptionalField));
  return inner;
}

template <class Stored>
bool ConvertExact(DataValue const& value, Stored& out, std::list<BaseMessage>& messages) {
  DataValue const* inner = UnwrapOrReport(value, messages);
  if (inner == nullptr) return false;
  if (inner->kind() != PrimitiveTraits<Stored>::kind) {
    AppendInvalidType(messages);
    return false;
  }
  out = StoredOf<Stored>(*inner);
  return true;
}

}  // namespace

void KeepOwner(std::shared_ptr<void const> owner) {
  static std::mutex lock;
  static auto* const kept = new std::vector<std::shared_ptr<void const>>();
  std::lock_guard<std::mutex> guard(lock);
  kept->push_back(std::move(owner));
}

std::shared_ptr<DataValue const> BooleanInstance(bool value) {
  static auto const yes = MakeImmortal<BooleanValue>(true);
  static auto const no = MakeImmortal<BooleanValue>(false);
  return value ? yes : no;
}

// Without an arena MakeValue is make_shared: one function serves both.
std::shared_ptr<DataValue const> IntegerInstance(int64_t value) { return IntegerInstance(value, nullptr); }

std::shared_ptr<DataValue const> IntegerInstance(int64_t value, ValueArena* arena) {
  if (value < kSmallIntegerMin || value > kSmallIntegerMax)
    return MakeValue<IntegerValue>(arena, nullptr, value);
  static auto const table = [] {
    std::array<std::shared_ptr<DataValue const>, kSmallIntegerMax - kSmallIntegerMin + 1> all;
    for (int64_t i = kSmallIntegerMin; i <= kSmallIntegerMax; ++i) {
      all[static_cast<std::size_t>(i - kSmallIntegerMin)] = MakeImmortal<IntegerValue>(i);
    }
    return all;
  }();
  return table[static_cast<std::size_t>(value - kSmallIntegerMin)];
}

void AppendInvalidType(std::list<BaseMessage>& messages) {
  messages.push_back(BaseMessage::Make(MessageIds::kInvalidType));
}

void AppendOutOfRange(int64_t value, int64_t low, int64_t high, std::list<BaseMessage>& messages) {
  messages.push_back(
      BaseMessage::Make(MessageIds::kIntegerOutOfRange,
                        {std::to_string(value), std::to_string(low) + ".." + std::to_string(high)}));
}

bool Convert(DataValue const& value, bool& out, std::list<BaseMessage>& messages) {
  return ConvertExact(value, out, messages);
}

bool Convert(DataValue const& value, int64_t& out, std::list<BaseMessage>& messages) {
  DataValue const* inner = UnwrapOrReport(value, messages);
  if (inner == nullptr) return false;
  if (inner->kind() == Kind::Integer) {
    out = StoredOf<int64_t>(*inner);
    return true;
  }
  if (inner->kind() == Kind::Double) {
    double d = StoredOf<double>(*inner);
    // Only integral doubles inside the int64 range convert; 2^63 itself does not fit.
    if (std::trunc(d) == d && d >= -9223372036854775808.0 && d < 9223372036854775808.0) {
      out = static_cast<int64_t>(d);
      return true;
    }
    messages.push_back(BaseMessage::Make(MessageIds::kDoubleNotIntegral, {std::to_string(d)}));
    return false;
  }
  AppendInvalidType(messages);
  return false;
}

bool Convert(DataValue const& value, double& out, std::list<BaseMessage>& messages) {
  DataValue const* inner = UnwrapOrReport(value, messages);
  if (inner == nullptr) return false;
  if (inner->kind() == Kind::Double) {
    out = StoredOf<double>(*inner);
    return true;
  }
  if (inner->kind() == Kind::Integer) {
    out = static_cast<double>(StoredOf<int64_t>(*inner));
    return true;
  }
  AppendInvalidType(messages);
  return false;
}

bool Convert(DataValue const& value, std::string& out, std::list<BaseMessage>& messages) {
  return ConvertExact(value, out, messages);
}

bool Convert(DataValue const& value, std::vector<unsigned char>& out, std::list<BaseMessage>& messages) {
  return ConvertExact(value, out, messages);
}

bool Convert(DataValue const& value, Opax::DateTime& out, std::list<BaseMessage>& messages) {
  DataValue const* inner = UnwrapOrReport(value, messages);
  if (inner == nullptr) return false;
  if (inner->kind() == Kind::DateTime) {
    out = StoredOf<Opax::DateTime>(*inner);
    return true;
  }
  if (inner->kind() == Kind::String) {
    std::string const text(StoredOf<std::string>(*inner));
    if (Opax::DateTime::Parse(text, out)) return true;
    messages.push_back(BaseMessage::Make(MessageIds::kDateTimeInvalid, {text}));
    return false;
  }
  AppendInvalidType(messages);
  return false;
}

bool Convert(DataValue const& value, Opax::SecretString& out, std::list<BaseMessage>& messages) {
  DataValue const* inner = UnwrapOrReport(value, messages);
  if (inner == nullptr) return false;
  if (inner->kind() == Kind::Secret) {
    out = StoredOf<Opax::SecretString>(*inner);
    return true;
  }
  if (inner->kind() == Kind::String) {
    out = Opax::SecretString(std::string(StoredOf<std::string>(*inner)));
    return true;
  }
  AppendInvalidType(messages);
  return false;
}

bool Convert(DataValue const& value, Opax::Void& out, std::list<BaseMessage>& messages) {
  DataValue const* inner = UnwrapOrReport(value, messages);
  if (inner == nullptr) return false;
  if (inner->kind() != Kind::Void) {
    AppendInvalidType(messages);
    return false;
  }
  out = Opax::Void();
  return true;
}

}  // namespace internal
}  // namespace Data
}  // namespace Opax
