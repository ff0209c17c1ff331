// What a server says to a request it cannot accept: the error's name, for a program to act on, and
// messages that say why, for a person.

#include "tour.h"

#include "wait.h"

#include <opax/std/errors.h>

namespace VmTour {
namespace {

// Errors are told apart by name; each standard error's structure knows its own.
bool IsInvalidArgument(ErrorPtr const& error) {
  return error->name() == ::Opax::Data::TypeInfo<::Com::Quarn::Opax::Std::Errors::InvalidArgument>::name();
}

// A union: mac_address is a member of the MANUAL case of mac_type only. Asking for a GENERATED
// address and giving one anyway is a contradiction the server must refuse.
std::shared_ptr<EthernetSvc::CreateSpec const> ContradictoryAdapter() {
  return std::make_shared<EthernetSvc::CreateSpec const>(
      EthernetSvc::CreateSpec()
          .macType(EthernetSvc::MacAddressType(EthernetSvc::MacAddressType::GENERATED))
          .macAddress(std::string("02:00:00:00:00:01")));
}

}  // namespace

void ShowInvalidUnionRefusal(Services const& services, std::string const& vm, Report& report) {
  report.Step("Send an invalid request: a GENERATED MAC address that comes with an address");
  // The server checks a request against the operation's definition before it looks anything up,
  // so the refusal is the same whether or not the machine exists.
  std::string const target = vm.empty() ? std::string("vm-that-was-not-created") : vm;
  auto created = WaitFor<std::string>(
      [&](auto const& result) { services.nics->Create(target, ContradictoryAdapter(), nullptr, result); });
  if (!created.error) {
    return report.Failed("the server accepted the invalid request (adapter " + *created.value + ")", nullptr);
  }
  if (!IsInvalidArgument(created.error)) {
    return report.Failed("the server refused it, but not as an invalid argument", created.error);
  }
  report.Detail("refused", "as it should be");
  report.ShowError(created.error);
}

}  // namespace VmTour
