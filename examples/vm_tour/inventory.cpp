// Reading the inventory: the machines there are, and a network and a datastore for a new one.

#include "tour.h"

#include "wait.h"

namespace VmTour {

void ListMachines(Services const& services, Report& report) {
  report.Step("List the virtual machines");
  using Summaries = std::list<std::shared_ptr<VmSvc::Summary const>>;
  // No filter (boost::none): every machine the user may see.
  auto listed =
      WaitFor<Summaries>([&](auto const& result) { services.machines->List(boost::none, nullptr, result); });
  if (listed.error) {
    report.Failed("the server did not list the machines", listed.error);
    return;
  }
  report.Detail("found", std::to_string(listed.value->size()) + " machine(s)");
  for (auto const& machine : *listed.value) {
    report.Detail(machine->vm(), machine->name() + " (" + machine->powerState().text() + ")");
  }
}

Placement FindPlacement(Services const& services, Report& report) {
  Placement placement;

  report.Step("Find a network for the new machine's adapter");
  using Networks = std::list<std::shared_ptr<NetworkSvc::Summary const>>;
  // A filter narrows the list on the server; here, to the plain port groups a new adapter can use.
  auto const filter = std::make_shared<NetworkSvc::FilterSpec const>(
      NetworkSvc::FilterSpec().types(std::set<NetworkSvc::Type>{NetworkSvc::Type::STANDARD_PORTGROUP}));
  auto networks =
      WaitFor<Networks>([&](auto const& result) { services.networks->List(filter, nullptr, result); });
  if (networks.error) {
    report.Failed("the server did not list the networks", networks.error);
  } else if (networks.value->empty()) {
    report.Detail("found", "no standard port group; the adapter gets no backing");
  } else {
    placement.network = networks.value->front()->network();
    placement.networkName = networks.value->front()->name();
    report.Detail("using", placement.networkName + " (" + placement.network + ")");
  }

  report.Step("Find a datastore for the new machine's files");
  using Datastores = std::list<std::shared_ptr<DatastoreSvc::Summary const>>;
  auto datastores = WaitFor<Datastores>(
      [&](auto const& result) { services.datastores->List(boost::none, nullptr, result); });
  if (datastores.error) {
    report.Failed("the server did not list the datastores", datastores.error);
  } else if (datastores.value->empty()) {
    report.Detail("found", "no datastore; the server places the machine itself");
  } else {
    placement.datastore = datastores.value->front()->datastore();
    placement.datastoreName = datastores.value->front()->name();
    report.Detail("using", placement.datastoreName + " (" + placement.datastore + ")");
  }
  return placement;
}

}  // namespace VmTour
