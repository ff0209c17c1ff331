#include <opax/core/base/date_time.h>

#include <gtest/gtest.h>

#include <climits>
#include <sstream>
#include <tuple>
#include <vector>

namespace Opax {
namespace {

constexpr int64_t kDay = 86400000;

// Field by field, since == compares instants and the walk below must not depend on them.
std::tuple<int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t> Fields(DateTime const& v) {
  return std::make_tuple(v.year, v.month, v.day, v.hour, v.minute, v.second, v.millisecond);
}

DateTime Parsed(std::string const& text) {
  DateTime parsed;
  EXPECT_TRUE(DateTime::Parse(text, parsed)) << text;
  return parsed;
}

// "" when `text` does not parse.
std::string Canonical(std::string const& text) {
  DateTime parsed;
  return DateTime::Parse(text, parsed) ? parsed.ToString() : "";
}

TEST(DateTime, ParsesAndWritesTheCanonicalForm) {
  EXPECT_EQ(Canonical("2024-02-29T13:45:07.123Z"), "2024-02-29T13:45:07.123Z");
  EXPECT_EQ(Canonical("0001-01-01T00:00:00Z"), "0001-01-01T00:00:00.000Z");
  EXPECT_EQ(Canonical("9999-12-31T23:59:59.999Z"), "9999-12-31T23:59:59.999Z");
  EXPECT_EQ(Canonical("2016-12-31T23:59:60Z"), "2016-12-31T23:59:60.000Z");
  // Fractions of any length up to nanoseconds are truncated, never rounded.
  EXPECT_EQ(Canonical("2020-01-01T00:00:00.5Z"), "2020-01-01T00:00:00.500Z");
  EXPECT_EQ(Canonical("2020-01-01T00:00:00.07Z"), "2020-01-01T00:00:00.070Z");
  EXPECT_EQ(Canonical("2020-01-01T00:00:00.999999999Z"), "2020-01-01T00:00:00.999Z");

  std::ostringstream out;
  out << DateTime();
  EXPECT_EQ(out.str(), "1970-01-01T00:00:00.000Z");
}

TEST(DateTime, KnowsWhichYearsAreLeap) {
  for (char const* text : {"2000-02-29T00:00:00Z", "2024-02-29T00:00:00Z", "0004-02-29T00:00:00Z"}) {
    EXPECT_NE(Canonical(text), "") << text;
  }
  for (char const* text : {"1900-02-29T00:00:00Z", "2023-02-29T00:00:00Z", "2100-02-29T00:00:00Z",
                           "2024-02-30T00:00:00Z", "2024-04-31T00:00:00Z", "2024-11-31T00:00:00Z"}) {
    EXPECT_EQ(Canonical(text), "") << text;
  }
}

TEST(DateTime, FoldsOffsetsIntoUtc) {
  EXPECT_EQ(Canonical("2024-03-01T00:30:00.250+01:00"), "2024-02-29T23:30:00.250Z");
  EXPECT_EQ(Canonical("2023-12-31T20:00:00-05:30"), "2024-01-01T01:30:00.000Z");
  EXPECT_EQ(Canonical("2020-06-15T12:00:00-00:00"), "2020-06-15T12:00:00.000Z");
  EXPECT_EQ(Canonical("2017-01-01T00:59:60+01:00"), "2016-12-31T23:59:60.000Z");
  // An offset must not carry the instant outside years 1..9999.
  EXPECT_EQ(Canonical("0001-01-01T00:00:00+00:01"), "");
  EXPECT_EQ(Canonical("9999-12-31T23:59:00-00:01"), "");
  EXPECT_EQ(Canonical("9999-12-31T23:59:00+00:01"), "9999-12-31T23:58:00.000Z");
}

TEST(DateTime, RejectsMalformedTextAndLeavesTheOutputAlone) {
  // clang-format off
  for (std::string const text : {"", "2024-01-01", "2024-01-01T00:00:00", "2024-01-01t00:00:00Z",
       "2024-01-01T00:00:00z", "2024-01-01T00:00:00Z ", " 2024-01-01T00:00:00Z", "2024-01-01T00:00:00ZZ",
       "24-01-01T00:00:00Z", "02024-01-01T00:00:00Z", "2024-1-01T00:00:00Z", "+024-01-01T00:00:00Z",
       "0000-01-01T00:00:00Z", "2024-00-01T00:00:00Z", "2024-13-01T00:00:00Z", "2024-01-00T00:00:00Z",
       "2024-01-01T24:00:00Z", "2024-01-01T00:60:00Z", "2024-01-01T00:00:61Z", "2024-01-01T0a:00:00Z",
       "2024-01-01T00:00:00.Z", "2024-01-01T00:00:00.12a4Z", "2024-01-01T00:00:00.1234567890Z",
       "2024-01-01T00:00:00+24:00", "2024-01-01T00:00:00+01:60", "2024-01-01T00:00:00+0100",
       "2024-01-01T00:00:00+01"}) {
    // clang-format on
    DateTime out;
    out.year = 1234;
    EXPECT_FALSE(DateTime::Parse(text, out)) << text;
    EXPECT_EQ(out.year, 1234) << text;
  }
  DateTime out;
  EXPECT_FALSE(DateTime::Parse(std::string("2024-01-01T00:00:00Z\0", 21), out));
}

TEST(DateTime, EpochConversionsMatchKnownInstants) {
  struct Known {
    char const* text;
    int64_t milliseconds;
  };
  for (Known const& known :
       {Known{"1970-01-01T00:00:00.000Z", 0}, Known{"1969-12-31T23:59:59.999Z", -1},
        Known{"2000-02-29T00:00:00.000Z", 951782400000}, Known{"0001-01-01T00:00:00.000Z", -62135596800000},
        Known{"9999-12-31T23:59:59.999Z", 253402300799999}}) {
    EXPECT_EQ(Parsed(known.text).ToEpochMilliseconds(), known.milliseconds) << known.text;
    EXPECT_EQ(DateTime::FromEpochMilliseconds(known.milliseconds).ToString(), known.text);
  }
}

// Walks every day of years 1..9999 and checks each against a plain calendar successor, which
// does not share the era arithmetic of the conversion under test.
TEST(DateTime, EveryDayRoundTripsAndFollowsTheDayBefore) {
  DateTime previous = Parsed("0001-01-01T01:02:03.004Z");
  int64_t const end = 253402300800000;
  for (int64_t ms = previous.ToEpochMilliseconds() + kDay; ms < end; ms += kDay) {
    DateTime expected = previous;
    ++expected.day;
    if (!expected.IsValid()) {
      expected.day = 1;
      if (++expected.month > 12) {
        expected.month = 1;
        ++expected.year;
      }
    }
    DateTime const current = DateTime::FromEpochMilliseconds(ms);
    ASSERT_TRUE(Fields(current) == Fields(expected)) << current << " follows " << previous;
    ASSERT_EQ(current.ToEpochMilliseconds(), ms);
    previous = current;
  }
  EXPECT_EQ(previous.ToString(), "9999-12-31T01:02:03.004Z");
}

TEST(DateTime, OrdersByInstant) {
  std::vector<std::string> const ascending = {"0001-01-01T00:00:00Z", "1969-12-31T23:59:59Z",
                                              "2023-12-31T23:59:59.999Z", "2024-01-01T00:00:00Z",
                                              "2024-01-01T00:00:00.001Z"};
  for (std::size_t i = 1; i < ascending.size(); ++i) {
    EXPECT_LT(Parsed(ascending[i - 1]), Parsed(ascending[i]));
    EXPECT_FALSE(Parsed(ascending[i]) < Parsed(ascending[i - 1]));
  }
  EXPECT_EQ(Parsed("2024-01-01T01:00:00+01:00"), Parsed("2024-01-01T00:00:00Z"));
}

TEST(DateTime, OutOfRangeFieldsAreInvalidButSafe) {
  DateTime const extreme{INT32_MAX, INT32_MIN, INT32_MAX, INT32_MIN, INT32_MAX, 0, -1};
  EXPECT_FALSE(extreme.IsValid());
  extreme.ToEpochMilliseconds();  // must not overflow (checked by the sanitizer builds)
  EXPECT_FALSE(extreme.ToString().empty());
  for (int64_t ms : {INT64_MIN, INT64_MAX}) {
    DateTime const far = DateTime::FromEpochMilliseconds(ms);
    EXPECT_FALSE(far.IsValid());
    EXPECT_EQ(far.ToEpochMilliseconds(), ms);
  }
}

}  // namespace
}  // namespace Opax
