#pragma once

#include <opax/core/base/date_time.h>
#include <opax/core/base/secret_string.h>
#include <opax/core/base/void.h>
#include <opax/core/data/internal/value_arena.h>
#include <opax/core/data/kind.h>
#include <opax/core/message/base_message.h>

#include <cstdint>
#include <limits>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace Opax {
namespace Data {

template <class X>
struct PrimitiveTraits;

// The base of every dynamic value. Values are built through a non-const shared pointer and are
// immutable once handed on as `std::shared_ptr<DataValue const>`; sharing one value between
// several parents, threads or calls is therefore always safe.
//
// Nothing here recurses on the depth of a value tree: copying, comparing, printing and
// destroying use explicit work lists, so a tree a million levels deep costs heap, not stack.
class DataValue {
 public:
  DataValue(DataValue const&) = delete;
  DataValue& operator=(DataValue const&) = delete;
  virtual ~DataValue() = default;

  Kind kind() const { return kind_; }

  // Wraps a primitive (string, any integer type, bool, double, binary, DateTime, SecretString,
  // Void) as a value.
  template <class X>
  static std::shared_ptr<DataValue const> Create(X const& value);
  // The same, made in `arena` (a conversion's; null for the heap) where a new value is needed.
  template <class X>
  static std::shared_ptr<DataValue const> Create(X const& value, internal::ValueArena* arena);

  // Reads a primitive of exactly X's kind. On any other kind (or a null value): false, `out`
  // unchanged, and "opax.data.invalid.type" appended. An integer that does not fit X appends
  // "opax.data.integer.out.of.range".
  template <class X>
  static bool Value(std::shared_ptr<DataValue const> const& value, X& out, std::list<BaseMessage>& messages);

  // Reads a primitive, converting where no information is lost: set optionals are unwrapped,
  // integers become doubles, integral doubles become integers, strings become secrets and
  // date-times (parsed). A secret never becomes a plain string. Same failure contract as Value.
  template <class X>
  static bool ToPrimitive(std::shared_ptr<DataValue const> const& value, X& out,
                          std::list<BaseMessage>& messages);

  // A new, independent copy of every compound (structure, error, map, list, optional) of this
  // tree; immutable leaves are shared.
  std::shared_ptr<DataValue> Copy() const;

  // Structural equality: same kinds, names, fields (in any order), elements and leaf values.
  static bool Equal(DataValue const& a, DataValue const& b);

  // A compact JSON-like rendering for logs and test output; secrets print as the mask.
  std::string ToString() const;

 protected:
  explicit DataValue(Kind kind) : kind_(kind) {}

 private:
  Kind const kind_;
};

using DataValuePtr = std::shared_ptr<DataValue const>;

// A leaf value holding one native primitive.
template <class X>
class PrimitiveValue final : public DataValue {
 public:
  explicit PrimitiveValue(X value) : DataValue(PrimitiveTraits<X>::kind), value_(std::move(value)) {}

  static std::shared_ptr<PrimitiveValue> GetInstance(X value) {
    return std::make_shared<PrimitiveValue>(std::move(value));
  }
  X const& value() const { return value_; }

 private:
  X value_;
};

// A string leaf. Its text lives in the value's own block: one allocation however long it is.
template <>
class PrimitiveValue<std::string> final : public DataValue {
  struct Made {};  // only GetInstance makes one

 public:
  static std::shared_ptr<PrimitiveValue> GetInstance(std::string_view text,
                                                     internal::ValueArena* arena = nullptr);
  std::string_view value() const { return {text_, size_}; }

  PrimitiveValue(Made, std::size_t size) : DataValue(Kind::String), size_(size) {}

 private:
  char const* text_ = "";
  std::size_t size_;
};

using BooleanValue = PrimitiveValue<bool>;
using IntegerValue = PrimitiveValue<int64_t>;
using DoubleValue = PrimitiveValue<double>;
using StringValue = PrimitiveValue<std::string>;
using BinaryValue = PrimitiveValue<std::vector<unsigned char>>;
using DateTimeValue = PrimitiveValue<Opax::DateTime>;
using SecretValue = PrimitiveValue<Opax::SecretString>;

// The value of an operation without output. One shared instance serves every use.
class VoidValue final : public DataValue {
 public:
  VoidValue() : DataValue(Kind::Void) {}
  static std::shared_ptr<VoidValue const> const& GetInstance();
};

// Which stored type and kind a native primitive maps to. Every integer type is stored as a
// signed 64-bit integer and narrowed with a range check on the way out.
template <>
struct PrimitiveTraits<bool> {
  using Stored = bool;
  static constexpr Kind kind = Kind::Boolean;
};
template <>
struct PrimitiveTraits<int64_t> {
  using Stored = int64_t;
  static constexpr Kind kind = Kind::Integer;
};
template <>
struct PrimitiveTraits<double> {
  using Stored = double;
  static constexpr Kind kind = Kind::Double;
};
template <>
struct PrimitiveTraits<std::string> {
  using Stored = std::string;
  static constexpr Kind kind = Kind::String;
};
template <>
struct PrimitiveTraits<std::vector<unsigned char>> {
  using Stored = std::vector<unsigned char>;
  static constexpr Kind kind = Kind::Binary;
};
template <>
struct PrimitiveTraits<Opax::DateTime> {
  using Stored = Opax::DateTime;
  static constexpr Kind kind = Kind::DateTime;
};
template <>
struct PrimitiveTraits<Opax::SecretString> {
  using Stored = Opax::SecretString;
  static constexpr Kind kind = Kind::Secret;
};
template <>
struct PrimitiveTraits<Opax::Void> {
  using Stored = Opax::Void;
  static constexpr Kind kind = Kind::Void;
};
// The other integer types (int, long long, unsigned ...) share int64_t's storage.
template <class X>
struct IntegerTraits {
  using Stored = int64_t;
  static constexpr Kind kind = Kind::Integer;
};
template <>
struct PrimitiveTraits<int> : IntegerTraits<int> {};
template <>
struct PrimitiveTraits<std::conditional_t<std::is_same<int64_t, long>::value, long long, long>>
    : IntegerTraits<long long> {};
template <>
struct PrimitiveTraits<float> {
  using Stored = double;
  static constexpr Kind kind = Kind::Double;
};

namespace internal {

// Keeps `owner` for the life of the process, in a list that is never freed (made once per shared
// instance, at its first use; the list takes a lock).
void KeepOwner(std::shared_ptr<void const> owner);

// An object that is never freed, behind a shared pointer without a control block: copying or
// dropping it touches no reference count. For the shared instances that every conversion and
// call hands out many times.
template <class T>
std::shared_ptr<T const> KeepForever(std::shared_ptr<T const> object) {
  KeepOwner(object);
  return std::shared_ptr<T const>(std::shared_ptr<void>(), object.get());
}
template <class T, class... A>
std::shared_ptr<T const> MakeImmortal(A&&... args) {
  return KeepForever(std::shared_ptr<T const>(std::make_shared<T>(std::forward<A>(args)...)));
}

// Shared leaves: the two booleans and small integers are made once and shared, since values
// are immutable; this keeps the commonest fields free of allocations.
std::shared_ptr<DataValue const> BooleanInstance(bool value);
std::shared_ptr<DataValue const> IntegerInstance(int64_t value);
std::shared_ptr<DataValue const> IntegerInstance(int64_t value, ValueArena* arena);
constexpr int64_t kSmallIntegerMin = -16;  // the range of the shared integers
constexpr int64_t kSmallIntegerMax = 255;

void AppendInvalidType(std::list<BaseMessage>& messages);
// `low`..`high` is the range of the native integer type the value was read into.
void AppendOutOfRange(int64_t value, int64_t low, int64_t high, std::list<BaseMessage>& messages);

template <class X>
bool NarrowInteger(int64_t value, X& out, std::list<BaseMessage>& messages) {
  if (value < static_cast<int64_t>(std::numeric_limits<X>::min()) ||
      value > static_cast<int64_t>(std::numeric_limits<X>::max())) {
    AppendOutOfRange(value, static_cast<int64_t>(std::numeric_limits<X>::min()),
                     static_cast<int64_t>(std::numeric_limits<X>::max()), messages);
    return false;
  }
  out = static_cast<X>(value);
  return true;
}

// The converting reads behind ToPrimitive, one per stored type.
bool Convert(DataValue const& value, bool& out, std::list<BaseMessage>& messages);
bool Convert(DataValue const& value, int64_t& out, std::list<BaseMessage>& messages);
bool Convert(DataValue const& value, double& out, std::list<BaseMessage>& messages);
bool Convert(DataValue const& value, std::string& out, std::list<BaseMessage>& messages);
bool Convert(DataValue const& value, std::vector<unsigned char>& out, std::list<BaseMessage>& messages);
bool Convert(DataValue const& value, Opax::DateTime& out, std::list<BaseMessage>& messages);
bool Convert(DataValue const& value, Opax::SecretString& out, std::list<BaseMessage>& messages);
bool Convert(DataValue const& value, Opax::Void& out, std::list<BaseMessage>& messages);

template <class Stored, class X>
bool Store(Stored const& stored, X& out, std::list<BaseMessage>& messages) {
  if constexpr (std::is_same<Stored, int64_t>::value && !std::is_same<X, int64_t>::value) {
    return NarrowInteger(stored, out, messages);
  } else if constexpr (std::is_same<Stored, X>::value) {
    out = stored;  // copy-assignment reuses the destination's storage
    return true;
  } else if constexpr (std::is_same<Stored, std::string_view>::value) {
    out.assign(stored.data(), stored.size());  // a string's text, into the destination's storage
    return true;
  } else {
    out = static_cast<X>(stored);
    return true;
  }
}

// A reference to the stored primitive; a std::string_view for strings.
template <class Stored>
decltype(auto) StoredOf(DataValue const& value) {
  return static_cast<PrimitiveValue<Stored> const&>(value).value();
}

}  // namespace internal

template <class X>
std::shared_ptr<DataValue const> DataValue::Create(X const& value) {
  using Stored = typename PrimitiveTraits<X>::Stored;
  if constexpr (std::is_same<Stored, bool>::value) {
    return internal::BooleanInstance(value);
  } else if constexpr (std::is_same<Stored, Opax::Void>::value) {
    return VoidValue::GetInstance();
  } else if constexpr (std::is_same<Stored, int64_t>::value) {
    return internal::IntegerInstance(static_cast<int64_t>(value));
  } else if constexpr (std::is_same<Stored, std::string>::value) {
    return StringValue::GetInstance(value);
  } else {
    return std::make_shared<PrimitiveValue<Stored>>(static_cast<Stored>(value));
  }
}

template <class X>
std::shared_ptr<DataValue const> DataValue::Create(X const& value, internal::ValueArena* arena) {
  using Stored = typename PrimitiveTraits<X>::Stored;
  if constexpr (std::is_same<Stored, int64_t>::value) {
    return internal::IntegerInstance(static_cast<int64_t>(value), arena);
  } else if constexpr (std::is_same<Stored, std::string>::value) {
    return StringValue::GetInstance(value, arena);
  } else if constexpr (std::is_same<Stored, bool>::value || std::is_same<Stored, Opax::Void>::value) {
    return Create(value);
  } else {
    return internal::MakeValue<PrimitiveValue<Stored>>(arena, nullptr, static_cast<Stored>(value));
  }
}

template <class X>
bool DataValue::Value(std::shared_ptr<DataValue const> const& value, X& out,
                      std::list<BaseMessage>& messages) {
  using Traits = PrimitiveTraits<X>;
  if (!value || value->kind() != Traits::kind) {
    internal::AppendInvalidType(messages);
    return false;
  }
  if constexpr (std::is_same<typename Traits::Stored, Opax::Void>::value) {
    out = X();
    return true;
  } else {
    return internal::Store(internal::StoredOf<typename Traits::Stored>(*value), out, messages);
  }
}

template <class X>
bool DataValue::ToPrimitive(std::shared_ptr<DataValue const> const& value, X& out,
                            std::list<BaseMessage>& messages) {
  using Stored = typename PrimitiveTraits<X>::Stored;
  if (!value) {
    internal::AppendInvalidType(messages);
    return false;
  }
  if constexpr (std::is_same<Stored, X>::value) {
    // The converters leave `out` alone on failure, so it can be written in place.
    return internal::Convert(*value, out, messages);
  } else {
    Stored stored{};
    if (!internal::Convert(*value, stored, messages)) return false;
    return internal::Store(stored, out, messages);
  }
}

}  // namespace Data
}  // namespace Opax
