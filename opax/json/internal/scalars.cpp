#include <opax/json/internal/scalars.h>

#include <charconv>
#include <cmath>
#include <system_error>

namespace Opax {
namespace Json {
namespace internal {
namespace {

// 2^63: the first double past the int64_t range.
constexpr double kTwoToThe63 = 9223372036854775808.0;

bool HasNegativeExponent(std::string_view text) {
  std::size_t const e = text.find_first_of("eE");
  return e != std::string_view::npos && e + 1 < text.size() && text[e + 1] == '-';
}

}  // namespace

NumberFault ParseInteger(std::string_view text, bool integral, int64_t& out) {
  char const* const end = text.data() + text.size();
  if (integral) {
    int64_t value = 0;
    auto const [at, error] = std::from_chars(text.data(), end, value);
    if (error == std::errc::result_out_of_range) return NumberFault::OutOfRange;
    if (error != std::errc() || at != end) return NumberFault::NotIntegral;
    out = value;
    return NumberFault::None;
  }
  double value = 0;
  if (!ParseDouble(text, value)) return NumberFault::OutOfRange;
  if (std::trunc(value) != value) return NumberFault::NotIntegral;
  if (value < -kTwoToThe63 || value >= kTwoToThe63) return NumberFault::OutOfRange;
  out = static_cast<int64_t>(value);
  return NumberFault::None;
}

bool ParseDouble(std::string_view text, double& out) {
  char const* const end = text.data() + text.size();
  double value = 0;
  auto const [at, error] = std::from_chars(text.data(), end, value);
  if (error == std::errc::result_out_of_range) {
    if (!HasNegativeExponent(text)) return false;
    value = text[0] == '-' ? -0.0 : 0.0;
  } else if (error != std::errc() || at != end) {
    return false;
  }
  out = value;
  return true;
}

bool ParseSpecialDouble(std::string_view text, double& out) {
  if (text == kNaN) {
    out = std::nan("");
  } else if (text == kInfinity) {
    out = HUGE_VAL;
  } else if (text == kMinusInfinity) {
    out = -HUGE_VAL;
  } else {
    return false;
  }
  return true;
}

void AppendDouble(double value, std::string& out) {
  if (!std::isfinite(value)) {
    out += '"';
    out += std::isnan(value) ? kNaN : value > 0 ? kInfinity : kMinusInfinity;
    out += '"';
    return;
  }
  char buffer[32];
  auto const [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
  (void)error;  // 32 bytes hold the longest shortest form (24 characters)
  std::string_view const text(buffer, static_cast<std::size_t>(end - buffer));
  out += text;
  if (text.find_first_of(".e") == std::string_view::npos) out += ".0";
}

void AppendInteger(int64_t value, std::string& out) {
  char buffer[24];
  auto const [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
  (void)error;
  out.append(buffer, static_cast<std::size_t>(end - buffer));
}

bool ParseUtcDateTime(std::string_view text, Opax::DateTime& out) {
  if (text.empty() || text.back() != 'Z') return false;
  return Opax::DateTime::Parse(std::string(text), out);
}

}  // namespace internal
}  // namespace Json
}  // namespace Opax
