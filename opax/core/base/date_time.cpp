#include <opax/core/base/date_time.h>

#include <cstdio>
#include <ostream>

namespace Opax {
namespace {

constexpr int64_t kMillisecondsPerMinute = 60 * 1000;
constexpr int64_t kMillisecondsPerDay = 24 * 60 * kMillisecondsPerMinute;

bool IsLeapYear(int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int DaysInMonth(int64_t year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

// Days from 1970-01-01 in the proleptic Gregorian calendar. Counting in 400-year eras (each
// exactly 146097 days) with the year starting in March puts the leap day last, so that no month
// table and no loop is needed and negative years divide correctly.
int64_t DaysFromCivil(int64_t year, int64_t month, int64_t day) {
  year -= month <= 2 ? 1 : 0;
  int64_t const era = (year >= 0 ? year : year - 399) / 400;
  int64_t const yearOfEra = year - era * 400;
  int64_t const dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  int64_t const dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

// The inverse of DaysFromCivil; exact for every int64 day count that a millisecond count can
// produce.
void CivilFromDays(int64_t days, DateTime& out) {
  days += 719468;
  int64_t const era = (days >= 0 ? days : days - 146096) / 146097;
  int64_t const dayOfEra = days - era * 146097;
  int64_t const yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  int64_t const dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  int64_t const monthFromMarch = (5 * dayOfYear + 2) / 153;
  int64_t const month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
  out.year = static_cast<int32_t>(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
  out.month = static_cast<int32_t>(month);
  out.day = static_cast<int32_t>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
}

// A cursor over the text that never reads past its end.
class Reader {
 public:
  explicit Reader(std::string const& text) : text_(text) {}

  bool AtEnd() const { return position_ == text_.size(); }
  char Peek() const { return AtEnd() ? '\0' : text_[position_]; }

  bool Expect(char c) {
    if (AtEnd() || text_[position_] != c) return false;
    ++position_;
    return true;
  }

  // Exactly `count` decimal digits, within [low, high].
  bool Number(int count, int low, int high, int32_t& out) {
    int value = 0;
    for (int i = 0; i < count; ++i) {
      if (!IsDigit(Peek())) return false;
      value = value * 10 + (text_[position_++] - '0');
    }
    if (value < low || value > high) return false;
    out = value;
    return true;
  }

  // A fraction of 1 to 9 digits, truncated to milliseconds.
  bool Fraction(int32_t& milliseconds) {
    int digits = 0;
    int value = 0;
    while (IsDigit(Peek())) {
      if (++digits > 9) return false;
      if (digits <= 3) value = value * 10 + (text_[position_] - '0');
      ++position_;
    }
    if (digits == 0) return false;
    for (; digits < 3; ++digits) value *= 10;
    milliseconds = value;
    return true;
  }

 private:
  static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

  std::string const& text_;
  std::size_t position_ = 0;
};

// The offset east of UTC in minutes: 0 for "Z", positive for "+hh:mm".
bool ReadOffset(Reader& reader, int32_t& minutes) {
  if (reader.Expect('Z')) {
    minutes = 0;
    return true;
  }
  int const sign = reader.Expect('+') ? 1 : reader.Expect('-') ? -1 : 0;
  if (sign == 0) return false;
  int32_t hours = 0;
  int32_t mins = 0;
  if (!reader.Number(2, 0, 23, hours) || !reader.Expect(':') || !reader.Number(2, 0, 59, mins)) return false;
  minutes = sign * (hours * 60 + mins);
  return true;
}

}  // namespace

bool DateTime::IsValid() const {
  return year >= 1 && year <= 9999 && month >= 1 && month <= 12 && day >= 1 &&
         day <= DaysInMonth(year, month) && hour >= 0 && hour <= 23 && minute >= 0 && minute <= 59 &&
         second >= 0 && second <= 60 && millisecond >= 0 && millisecond <= 999;
}

bool DateTime::Parse(std::string const& text, DateTime& out) {
  Reader reader(text);
  DateTime local;
  int32_t offsetMinutes = 0;
  bool const shaped =
      reader.Number(4, 1, 9999, local.year) && reader.Expect('-') && reader.Number(2, 1, 12, local.month) &&
      reader.Expect('-') && reader.Number(2, 1, 31, local.day) && reader.Expect('T') &&
      reader.Number(2, 0, 23, local.hour) && reader.Expect(':') && reader.Number(2, 0, 59, local.minute) &&
      reader.Expect(':') && reader.Number(2, 0, 60, local.second) &&
      (!reader.Expect('.') || reader.Fraction(local.millisecond)) && ReadOffset(reader, offsetMinutes) &&
      reader.AtEnd();
  if (!shaped || local.day > DaysInMonth(local.year, local.month)) return false;
  if (offsetMinutes != 0) {
    // Shift whole minutes only, so that a leap second keeps its 60 in UTC as well.
    int64_t const minutes = DaysFromCivil(local.year, local.month, local.day) * 24 * 60 + local.hour * 60 +
                            local.minute - offsetMinutes;
    DateTime const shifted = FromEpochMilliseconds(minutes * kMillisecondsPerMinute);
    local.year = shifted.year;
    local.month = shifted.month;
    local.day = shifted.day;
    local.hour = shifted.hour;
    local.minute = shifted.minute;
    if (!local.IsValid()) return false;  // the offset moved it out of years 1..9999
  }
  out = local;
  return true;
}

std::string DateTime::ToString() const {
  // Room for seven fields of any int32 value, so that even an invalid value prints in full.
  char buffer[96];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", static_cast<int>(year),
                static_cast<int>(month), static_cast<int>(day), static_cast<int>(hour),
                static_cast<int>(minute), static_cast<int>(second), static_cast<int>(millisecond));
  return buffer;
}

int64_t DateTime::ToEpochMilliseconds() const {
  // Fields out of range are carried arithmetically (second 60 is the next minute's 0). A year
  // far beyond 1..9999 would overflow, so the sum wraps in unsigned arithmetic instead of being
  // undefined; such a value is not valid and its order is not promised.
  uint64_t const days = static_cast<uint64_t>(DaysFromCivil(year, month, day));
  uint64_t const time =
      static_cast<uint64_t>(((int64_t{hour} * 60 + minute) * 60 + second) * 1000 + millisecond);
  return static_cast<int64_t>(days * static_cast<uint64_t>(kMillisecondsPerDay) + time);
}

DateTime DateTime::FromEpochMilliseconds(int64_t milliseconds) {
  int64_t days = milliseconds / kMillisecondsPerDay;
  int64_t rest = milliseconds % kMillisecondsPerDay;
  if (rest < 0) {
    days -= 1;
    rest += kMillisecondsPerDay;
  }
  DateTime result;
  CivilFromDays(days, result);
  result.millisecond = static_cast<int32_t>(rest % 1000);
  rest /= 1000;
  result.second = static_cast<int32_t>(rest % 60);
  rest /= 60;
  result.minute = static_cast<int32_t>(rest % 60);
  result.hour = static_cast<int32_t>(rest / 60);
  return result;
}

std::ostream& operator<<(std::ostream& out, DateTime const& value) { return out << value.ToString(); }

}  // namespace Opax
