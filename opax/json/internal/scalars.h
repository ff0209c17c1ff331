#pragma once

// The number and date-time forms of the wire format, both ways, in one place so that what the
// encoder writes is exactly what the decoder reads.

#include <opax/core/base/date_time.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Opax {
namespace Json {
namespace internal {

enum class NumberFault { None, OutOfRange, NotIntegral };

// A JSON number (as the reader checked it) as a 64-bit integer. A number written with a fraction
// or an exponent is accepted when its value is whole ("2.0", "1e3").
NumberFault ParseInteger(std::string_view text, bool integral, int64_t& out);

// A JSON number as the nearest double; false when it is too large for one. Too small a number
// becomes zero, as it would in any reader.
bool ParseDouble(std::string_view text, double& out);

// JSON has no literal for these; doubles that hold them travel as the strings below.
constexpr char const kNaN[] = "NaN";
constexpr char const kInfinity[] = "Infinity";
constexpr char const kMinusInfinity[] = "-Infinity";
bool ParseSpecialDouble(std::string_view text, double& out);

// The shortest text that reads back as the same double, with a '.' or an exponent so that it
// reads back as a double even where no definition says so; non-finite values as quoted strings.
void AppendDouble(double value, std::string& out);
void AppendInteger(int64_t value, std::string& out);

// "YYYY-MM-DDTHH:MM:SS[.fraction]Z": only UTC is accepted, so that a time never changes meaning
// on the way through.
bool ParseUtcDateTime(std::string_view text, Opax::DateTime& out);

}  // namespace internal
}  // namespace Json
}  // namespace Opax
