#pragma once

// How GoogleMock prints the arguments of an unexpected call to a generated mock: an optional
// argument prints its value through GoogleTest's own printers, whatever the value's type (sets,
// lists, structures), where Boost's stream operator would need one for the type itself.

#include <boost/optional.hpp>
#include <gtest/gtest-printers.h>

#include <ostream>

namespace boost {

template <class T>
void PrintTo(optional<T> const& value, std::ostream* out) {
  if (value) {
    *out << "some(" << ::testing::PrintToString(*value) << ")";
  } else {
    *out << "none";
  }
}

}  // namespace boost
