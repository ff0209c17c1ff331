#include "cdroms.h"

#include <opax/std/errors.h>

#include <list>
#include <mutex>

namespace Cdroms {
namespace {

using ErrorPtr = std::shared_ptr<::Opax::Data::ErrorValue const>;
using Drives = std::list<std::shared_ptr<CdromSvc::Summary const>>;

// The replies of the disconnects may arrive on any thread; the last one reports.
class Tally {
 public:
  Tally(std::size_t expected, std::function<void(Disconnected const&)> done)
      : remaining_(expected), done_(std::move(done)) {}

  void Add(ErrorPtr const& error) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!error || IsAlreadyDisconnected(error)) {
      ++outcome_.count;
    } else if (!outcome_.error) {
      outcome_.error = error;
    }
    if (--remaining_ != 0) return;
    lock.unlock();
    done_(outcome_);
  }

 private:
  static bool IsAlreadyDisconnected(ErrorPtr const& error) {
    return error->name() ==
           ::Opax::Data::TypeInfo<::Com::Quarn::Opax::Std::Errors::AlreadyInDesiredState>::name();
  }

  std::mutex mutex_;
  std::size_t remaining_;
  Disconnected outcome_;
  std::function<void(Disconnected const&)> done_;
};

}  // namespace

void DisconnectAll(CdromSvc::AsyncServiceInterface& cdroms, std::string const& vm,
                   std::function<void(Disconnected const&)> done) {
  using Listed = ::Opax::Binding::Reply<Drives>;
  using Done = ::Opax::Binding::Reply<::Opax::Void>;
  auto const disconnectEach = [&cdroms, vm, done](boost::optional<Drives> const& drives,
                                                  ErrorPtr const& error, ::Opax::Progress const&) {
    if (error) return done(Disconnected{0, error});
    if (!drives) return;  // progress: no outcome yet
    if (drives->empty()) return done(Disconnected{});
    auto tally = std::make_shared<Tally>(drives->size(), done);
    for (auto const& drive : *drives) {
      cdroms.Disconnect(vm, drive->cdrom(), nullptr,
                        Done(Done::Callback([tally](boost::optional<::Opax::Void> const& ok,
                                                    ErrorPtr const& failed, ::Opax::Progress const&) {
                          if (ok || failed) tally->Add(failed);
                        })));
    }
  };
  cdroms.List(vm, nullptr, Listed(Listed::Callback(disconnectEach)));
}

}  // namespace Cdroms
