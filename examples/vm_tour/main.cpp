// vm_tour: the first program to read when starting with the Nexar bindings.
//
// It talks to a management server over HTTPS through the generated stubs, one step after another:
// log in, look at the inventory, create a machine and give it hardware, power it on, clone it as a
// task, and see how the server refuses a request that contradicts itself. Each step is in a file
// of its own (tour.h lists them); wait.h shows how an asynchronous call is waited for.
//
//   vm_tour --server https://127.0.0.1:8443 --ca-file server.pem --user admin --password-file pw
//
// It ends with status 0 when every step did what it should, 1 when one failed (each failure is
// printed with the server's error), and 2 on a bad command line.

#include "options.h"
#include "report.h"
#include "services.h"
#include "session.h"
#include "tour.h"

#include <iostream>

int main(int argc, char** argv) {
  using namespace VmTour;

  TourOptions options;
  int exitCode = 0;
  if (!ParseOptions(argc, argv, options, exitCode)) return exitCode;

  Report report(std::cout);
  auto const client = Connect(options, report);
  if (!client || !LogIn(client, options, report)) return report.Finish();

  Services const services(client);
  ListMachines(services, report);
  Placement const placement = FindPlacement(services, report);

  std::string const vm = CreateMachine(services, placement, report);
  AddNetworkAdapter(services, vm, placement, report);
  AddCdrom(services, vm, placement, report);
  PowerOn(services, vm, report);
  CloneAsTask(services, vm, report);

  ShowInvalidUnionRefusal(services, vm, report);

  LogOut(client, report);
  return report.Finish();
}
