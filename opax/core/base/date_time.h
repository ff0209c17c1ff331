#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

namespace Opax {

// A point in time in UTC with millisecond precision, as it travels on the wire:
// "YYYY-MM-DDTHH:MM:SS.sssZ". The default is the epoch, 1970-01-01T00:00:00.000Z.
struct DateTime {
  int32_t year = 1970;
  int32_t month = 1;  // 1..12
  int32_t day = 1;    // 1..days in month
  int32_t hour = 0;
  int32_t minute = 0;
  int32_t second = 0;  // 0..60 (leap second allowed)
  int32_t millisecond = 0;

  // True when every field is in range for a year 1..9999 calendar date.
  bool IsValid() const;

  // Parses "YYYY-MM-DDTHH:MM:SS[.fraction](Z|+hh:mm|-hh:mm)"; a time-zone offset is folded into
  // UTC and fractions beyond milliseconds are truncated. Returns false and leaves `out` untouched
  // on any malformed or out-of-range text.
  static bool Parse(std::string const& text, DateTime& out);
  // The canonical wire form, always with milliseconds and "Z".
  std::string ToString() const;

  // Milliseconds since the epoch; the order of DateTime values is the order of these.
  int64_t ToEpochMilliseconds() const;
  static DateTime FromEpochMilliseconds(int64_t milliseconds);

  bool operator==(DateTime const& o) const { return ToEpochMilliseconds() == o.ToEpochMilliseconds(); }
  bool operator!=(DateTime const& o) const { return !(*this == o); }
  bool operator<(DateTime const& o) const { return ToEpochMilliseconds() < o.ToEpochMilliseconds(); }
};

std::ostream& operator<<(std::ostream& out, DateTime const& value);

}  // namespace Opax
