// Testing your own code with a generated mock: no server, no network. Each EXPECT_CALL says which
// call the code must make and answers it through the call's reply object, as a server would.

#include "cdroms.h"

#include <bindings/vm/hardware/cdrom_mock.h>
#include <opax/std/errors.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Cdroms::CdromSvc;
using ::testing::_;
using Drives = std::list<std::shared_ptr<CdromSvc::Summary const>>;
using Errors = ::Opax::Data::ErrorValue;
namespace StdErrors = ::Com::Quarn::Opax::Std::Errors;

// A standard error as a server answers with it.
template <class E>
std::shared_ptr<Errors const> ErrorOf() {
  return ::Opax::Binding::ErrorValueOf(E());
}

// Answers List("vm-1") with drives named by `ids`.
void ExpectDrives(CdromSvc::MockAsyncServiceInterface& cdroms, std::vector<std::string> const& ids) {
  EXPECT_CALL(cdroms, List("vm-1", _, _))
      .WillOnce([ids](std::string const&, ::Opax::Binding::Activation const&,
                      ::Opax::Binding::Reply<Drives> const& result) {
        Drives drives;
        for (auto const& id : ids) drives.push_back(std::make_shared<CdromSvc::Summary const>(id));
        result.SetResult(drives);
      });
}

Cdroms::Disconnected DisconnectAllOf(CdromSvc::MockAsyncServiceInterface& cdroms) {
  Cdroms::Disconnected outcome;
  int reports = 0;
  Cdroms::DisconnectAll(cdroms, "vm-1", [&](Cdroms::Disconnected const& done) {
    outcome = done;
    ++reports;
  });
  EXPECT_EQ(reports, 1);
  return outcome;
}

TEST(DisconnectAll, CountsEachDriveAndKeepsTheFirstFailure) {
  using ErrorPtr = std::shared_ptr<Errors const>;
  struct Case {
    char const* what;
    std::vector<ErrorPtr> replies;  // per drive: null for done
    std::size_t count;
    char const* error;  // expected name, or null
  };
  auto const busy = ErrorOf<StdErrors::ResourceBusy>();
  auto const already = ErrorOf<StdErrors::AlreadyInDesiredState>();
  auto const missing = ErrorOf<StdErrors::NotFound>();
  Case const cases[] = {
      {"no drives", {}, 0, nullptr},
      {"all disconnect", {nullptr, nullptr}, 2, nullptr},
      {"one already was", {already, nullptr}, 2, nullptr},
      {"failures do not stop the rest",
       {busy, nullptr, missing},
       1,
       "com.quarn.opax.std.errors.resource_busy"},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.what);
    ::testing::StrictMock<CdromSvc::MockAsyncServiceInterface> cdroms;
    std::vector<std::string> ids;
    for (std::size_t i = 0; i < c.replies.size(); ++i) {
      ids.push_back("cdrom-" + std::to_string(i));
      ErrorPtr const reply = c.replies[i];
      EXPECT_CALL(cdroms, Disconnect("vm-1", ids.back(), _, _))
          .WillOnce([reply](std::string const&, std::string const&, ::Opax::Binding::Activation const&,
                            ::Opax::Binding::Reply<::Opax::Void> const& result) {
            if (reply) return result.SetError(reply);
            result.SetResult(::Opax::Void());
          });
    }
    ExpectDrives(cdroms, ids);
    auto const outcome = DisconnectAllOf(cdroms);
    EXPECT_EQ(outcome.count, c.count);
    EXPECT_EQ(outcome.error ? std::string(outcome.error->name()) : std::string(), c.error ? c.error : "");
  }
}

TEST(DisconnectAll, AFailedListingEndsIt) {
  ::testing::StrictMock<CdromSvc::MockAsyncServiceInterface> cdroms;  // strict: no Disconnect
  EXPECT_CALL(cdroms, List("vm-1", _, _))
      .WillOnce([](std::string const&, ::Opax::Binding::Activation const&,
                   ::Opax::Binding::Reply<Drives> const& result) {
        result.SetError(ErrorOf<StdErrors::NotFound>());
      });
  auto const outcome = DisconnectAllOf(cdroms);
  EXPECT_EQ(outcome.count, 0u);
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(std::string(outcome.error->name()), "com.quarn.opax.std.errors.not_found");
}

// A reply object dropped without an answer still ends the call: the code hears termination.
TEST(DisconnectAll, AnUnansweredCallStillEnds) {
  ::testing::StrictMock<CdromSvc::MockAsyncServiceInterface> cdroms;
  EXPECT_CALL(cdroms, List("vm-1", _, _));  // the default action answers nothing
  auto const outcome = DisconnectAllOf(cdroms);
  EXPECT_TRUE(outcome.error);
}

}  // namespace
