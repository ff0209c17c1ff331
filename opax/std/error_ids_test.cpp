// The runtime's table of standard error ids is typed by hand, for code that cannot see the
// generated classes; here it is held to the names those classes report.

#include <opax/core/message/error_ids.h>
#include <opax/std/errors.h>

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace Opax {
namespace {

namespace Std = ::Com::Quarn::Opax::Std::Errors;

template <class E>
std::string NameOf() {
  return Data::TypeInfo<E>::name();
}

TEST(ErrorIds, AreTheNamesOfTheGeneratedStandardErrors) {
  std::vector<std::pair<char const*, std::string>> const table = {
      {ErrorIds::kAlreadyExists, NameOf<Std::AlreadyExists>()},
      {ErrorIds::kAlreadyInDesiredState, NameOf<Std::AlreadyInDesiredState>()},
      {ErrorIds::kError, NameOf<Std::Error>()},
      {ErrorIds::kInternalServerError, NameOf<Std::InternalServerError>()},
      {ErrorIds::kInvalidArgument, NameOf<Std::InvalidArgument>()},
      {ErrorIds::kInvalidElementConfiguration, NameOf<Std::InvalidElementConfiguration>()},
      {ErrorIds::kInvalidElementType, NameOf<Std::InvalidElementType>()},
      {ErrorIds::kNotAllowedInCurrentState, NameOf<Std::NotAllowedInCurrentState>()},
      {ErrorIds::kNotFound, NameOf<Std::NotFound>()},
      {ErrorIds::kResourceBusy, NameOf<Std::ResourceBusy>()},
      {ErrorIds::kResourceInaccessible, NameOf<Std::ResourceInaccessible>()},
      {ErrorIds::kResourceInUse, NameOf<Std::ResourceInUse>()},
      {ErrorIds::kServiceUnavailable, NameOf<Std::ServiceUnavailable>()},
      {ErrorIds::kTimedOut, NameOf<Std::TimedOut>()},
      {ErrorIds::kUnableToAllocateResource, NameOf<Std::UnableToAllocateResource>()},
      {ErrorIds::kUnauthenticated, NameOf<Std::Unauthenticated>()},
      {ErrorIds::kUnauthorized, NameOf<Std::Unauthorized>()},
      {ErrorIds::kUnsupported, NameOf<Std::Unsupported>()},
      {ErrorIds::kUnverifiedPeer, NameOf<Std::UnverifiedPeer>()},
  };
  // Every standard error the description declares (one ErrorType value each) is in the table.
  ASSERT_EQ(std::size(ErrorIds::kAll), static_cast<std::size_t>(Std::ErrorType::_UNKNOWN));
  ASSERT_EQ(table.size(), std::size(ErrorIds::kAll));
  for (std::size_t i = 0; i < table.size(); ++i) {
    EXPECT_EQ(table[i].first, table[i].second);
    EXPECT_STREQ(ErrorIds::kAll[i], table[i].first);
    EXPECT_EQ(ErrorIds::kPrefix + std::string(ErrorIds::ShortName(ErrorIds::kAll[i])), table[i].second);
  }
  EXPECT_EQ(ErrorIds::kPrefix + std::string(ErrorIds::kShortInvalidArgument), NameOf<Std::InvalidArgument>());
}

}  // namespace
}  // namespace Opax
