#include "wait.h"

#include <opax/core/message/error_ids.h>

namespace VmTour {

ErrorPtr NoReplyError() {
  // Worded like the client's own time-out, so that the tour reports both the same way.
  return ::Opax::Data::ErrorValue::GetInstance(
      ::Opax::ErrorIds::kTimedOut,
      {::Opax::BaseMessage("nexar.example.no_reply",
                           "No reply within " + std::to_string(kLongestWait.count()) + " s.",
                           {std::to_string(kLongestWait.count())})});
}

}  // namespace VmTour
