#include <opax/core/base/enum.h>
#include <opax/core/base/enum_table.h>

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace Opax {
namespace {

// Shaped exactly as the generator writes an enumeration.
class BackingType : public ::Opax::Enum {
 public:
  enum EnumType { ISO_FILE, HOST_DEVICE, CLIENT_DEVICE, _UNKNOWN };
  struct Strings {
    static char const* const values[];
  };
  BackingType() : ::Opax::Enum(_UNKNOWN) {}
  BackingType(EnumType v) : ::Opax::Enum(::Opax::EnumTable::Clamp(v, _UNKNOWN)) {}  // NOLINT
  BackingType(int v) : ::Opax::Enum(::Opax::EnumTable::Clamp(v, _UNKNOWN)) {}       // NOLINT
  explicit BackingType(std::string const& text) : ::Opax::Enum(_UNKNOWN, text) {}
  operator EnumType() const { return static_cast<EnumType>(value()); }  // NOLINT
};
char const* const BackingType::Strings::values[] = {"ISO_FILE", "HOST_DEVICE", "CLIENT_DEVICE", "_UNKNOWN",
                                                    nullptr};

// An enumeration whose every value is one this side cannot name.
class Opaque : public ::Opax::Enum {
 public:
  enum EnumType { _UNKNOWN };
  struct Strings {
    static char const* const values[];
  };
  Opaque() : ::Opax::Enum(_UNKNOWN) {}
  Opaque(EnumType v) : ::Opax::Enum(::Opax::EnumTable::Clamp(v, _UNKNOWN)) {}  // NOLINT
  Opaque(int v) : ::Opax::Enum(::Opax::EnumTable::Clamp(v, _UNKNOWN)) {}       // NOLINT
  explicit Opaque(std::string const& text) : ::Opax::Enum(_UNKNOWN, text) {}
  operator EnumType() const { return static_cast<EnumType>(value()); }  // NOLINT
};
char const* const Opaque::Strings::values[] = {"_UNKNOWN", nullptr};

using Backing = EnumTraits<BackingType>;

TEST(EnumTable, KnownTextGivesItsMember) {
  BackingType const value = Backing::FromText("HOST_DEVICE");
  EXPECT_EQ(value.value(), 1);
  EXPECT_EQ(value, BackingType::HOST_DEVICE);
  EXPECT_TRUE(value.unknownText().empty());
  EXPECT_EQ(Backing::Text(value), "HOST_DEVICE");
  EXPECT_TRUE(Backing::IsKnownText("CLIENT_DEVICE"));
}

TEST(EnumTable, UnnamedTextIsKeptAndWrittenBackUnchanged) {
  // Same bytes and same length, nothing less: case, padding, prefixes and embedded NULs differ.
  for (std::string const& text :
       {std::string("host_device"), std::string("HOST_DEVICE "), std::string("HOST_DEVIC"),
        std::string("NEW_KIND"), std::string("ISO\0FILE", 8), std::string("HOST_DEVICE\0", 12),
        std::string("\xc3\x89MULATION")}) {
    BackingType const value = Backing::FromText(text);
    EXPECT_EQ(value.value(), BackingType::_UNKNOWN);
    EXPECT_EQ(value.unknownText(), text);
    EXPECT_EQ(Backing::Text(value), text);
    EXPECT_FALSE(Backing::IsKnownText(text));
  }
}

TEST(EnumTable, UnknownMarkerIsTheUnknownMemberWithoutText) {
  BackingType const value = Backing::FromText("_UNKNOWN");
  EXPECT_EQ(value.value(), BackingType::_UNKNOWN);
  EXPECT_TRUE(value.unknownText().empty());
  EXPECT_EQ(Backing::Text(value), "_UNKNOWN");
  EXPECT_FALSE(Backing::IsKnownText("_UNKNOWN"));
  EXPECT_EQ(Backing::Text(BackingType()), "_UNKNOWN");
  // An empty text has nothing to write back: it goes out as the marker.
  EXPECT_EQ(Backing::FromText("").value(), BackingType::_UNKNOWN);
  EXPECT_EQ(Backing::Text(Backing::FromText("")), "_UNKNOWN");
}

// The text constructor means "a value received as this text", even when the text names a member.
TEST(EnumTable, TextConstructorAlwaysHoldsTheText) {
  BackingType const value("HOST_DEVICE");
  EXPECT_EQ(value.value(), BackingType::_UNKNOWN);
  EXPECT_EQ(value.unknownText(), "HOST_DEVICE");
  EXPECT_EQ(Backing::Text(value), "HOST_DEVICE");
}

TEST(EnumTable, NumbersOutsideTheMembersAreUnknown) {
  for (int number : {3, 7, -1, INT32_MIN, INT32_MAX}) {
    BackingType const value(number);
    EXPECT_EQ(value.value(), BackingType::_UNKNOWN) << number;
    EXPECT_TRUE(value.unknownText().empty());
    EXPECT_EQ(Backing::Text(value), "_UNKNOWN");
  }
  EXPECT_EQ(BackingType(2).value(), BackingType::CLIENT_DEVICE);
  EXPECT_EQ(EnumTable::Text(BackingType::Strings::values, 3, Enum(-5)), "_UNKNOWN");
}

TEST(EnumTable, EnumerationWithoutNamedMembers) {
  using Traits = EnumTraits<Opaque>;
  EXPECT_EQ(Traits::count, 0);
  Opaque const received = Traits::FromText("ANYTHING");
  EXPECT_EQ(received.value(), Opaque::_UNKNOWN);
  EXPECT_EQ(received.unknownText(), "ANYTHING");
  EXPECT_EQ(Traits::Text(received), "ANYTHING");

  Opaque const marker = Traits::FromText("_UNKNOWN");
  EXPECT_TRUE(marker.unknownText().empty());
  EXPECT_EQ(Traits::Text(marker), "_UNKNOWN");
  EXPECT_FALSE(Traits::IsKnownText("_UNKNOWN"));
  EXPECT_EQ(Opaque(0).value(), 0);
  EXPECT_EQ(Opaque(1).value(), 0);
}

TEST(EnumTable, SetsKeepDifferentUnknownTextsApart) {
  std::set<BackingType> const values = {
      Backing::FromText("B_NEW"), BackingType::CLIENT_DEVICE, Backing::FromText("A_NEW"),   BackingType(),
      BackingType::ISO_FILE,      Backing::FromText("A_NEW"), Backing::FromText("ISO_FILE")};
  std::vector<std::string> texts;
  for (BackingType const& value : values) texts.push_back(Backing::Text(value));
  EXPECT_EQ(texts, (std::vector<std::string>{"ISO_FILE", "CLIENT_DEVICE", "_UNKNOWN", "A_NEW", "B_NEW"}));
}

}  // namespace
}  // namespace Opax
