// A new machine: created, given a network adapter and a CD-ROM, and powered on.

#include "tour.h"

#include "wait.h"

#include <bindings/vm/power_sync.h>

#include <chrono>

namespace VmTour {
namespace {

// Names must be unique in their folder; the time keeps a second run from colliding with the first.
std::string NewMachineName() {
  auto const now = std::chrono::system_clock::now().time_since_epoch();
  return "vm-tour-" + std::to_string(std::chrono::duration_cast<std::chrono::seconds>(now).count());
}

}  // namespace

std::string CreateMachine(Services const& services, Placement const& placement, Report& report) {
  report.Step("Create a virtual machine");
  // Requests are built with chained setters and passed as shared constant values: a stub never
  // copies or changes what it is given. What is left unset takes the server's defaults.
  VmSvc::PlacementSpec where;
  if (!placement.datastore.empty()) where.datastore(placement.datastore);
  auto const spec = std::make_shared<VmSvc::CreateSpec const>(
      VmSvc::CreateSpec()
          .name(NewMachineName())
          .notes(std::string("Made by the vm_tour example"))
          .placement(std::make_shared<VmSvc::PlacementSpec const>(where)));
  report.Detail("name", *spec->name());
  auto created =
      WaitFor<std::string>([&](auto const& result) { services.machines->Create(spec, nullptr, result); });
  if (created.error) {
    report.Failed("the server did not create the machine", created.error);
    return std::string();
  }
  report.Detail("created", *created.value);
  return *created.value;
}

void AddNetworkAdapter(Services const& services, std::string const& vm, Placement const& placement,
                       Report& report) {
  report.Step("Add a network adapter");
  if (vm.empty()) return report.Skipped("no machine to add it to");
  auto nic = EthernetSvc::CreateSpec()
                 .type(EthernetSvc::EmulationType(EthernetSvc::EmulationType::VMXNET3))
                 .macType(EthernetSvc::MacAddressType(EthernetSvc::MacAddressType::GENERATED))
                 .startConnected(true);
  if (!placement.network.empty()) {
    // A union: which members a backing has depends on its type, and a port group's needs a network.
    nic.backing(std::make_shared<EthernetSvc::BackingSpec const>(
        EthernetSvc::BackingSpec(EthernetSvc::BackingType::STANDARD_PORTGROUP).network(placement.network)));
    report.Detail("network", placement.networkName);
  }
  auto const spec = std::make_shared<EthernetSvc::CreateSpec const>(nic);
  auto created =
      WaitFor<std::string>([&](auto const& result) { services.nics->Create(vm, spec, nullptr, result); });
  if (created.error) return report.Failed("the server did not add the adapter", created.error);
  report.Detail("created", *created.value);
}

void AddCdrom(Services const& services, std::string const& vm, Placement const& placement, Report& report) {
  report.Step("Add a CD-ROM");
  if (vm.empty()) return report.Skipped("no machine to add it to");
  // An image on the datastore found above; without one, the drive of whoever opens the console.
  auto const backing = placement.datastore.empty()
                           ? CdromSvc::BackingSpec(CdromSvc::BackingType::CLIENT_DEVICE)
                           : CdromSvc::BackingSpec(CdromSvc::BackingType::ISO_FILE)
                                 .isoFile("[" + placement.datastoreName + "] iso/installer.iso");
  auto const spec = std::make_shared<CdromSvc::CreateSpec const>(
      CdromSvc::CreateSpec()
          .type(CdromSvc::HostBusAdapterType(CdromSvc::HostBusAdapterType::SATA))
          .backing(std::make_shared<CdromSvc::BackingSpec const>(backing))
          .startConnected(true));
  report.Detail("backing", backing.isoFile() ? *backing.isoFile() : std::string("the client's drive"));
  auto created =
      WaitFor<std::string>([&](auto const& result) { services.cdroms->Create(vm, spec, nullptr, result); });
  if (created.error) return report.Failed("the server did not add the CD-ROM", created.error);
  report.Detail("created", *created.value);
}

void PowerOn(Services const& services, std::string const& vm, Report& report) {
  report.Step("Power the machine on");
  if (vm.empty()) return report.Skipped("no machine to power on");
  auto started =
      WaitFor<::Opax::Void>([&](auto const& result) { services.power->Start(vm, nullptr, result); });
  if (started.error) return report.Failed("the server did not power the machine on", started.error);
  // Read back rather than assumed: the server says what state the machine is in now. The blocking
  // form of the stub does the waiting itself, safe here since the client replies on its own thread.
  try {
    auto const power = PowerSvc::SyncServiceStub(services.power).Get(vm);
    report.Detail("power", power->state().text());
  } catch (::Opax::Binding::CallError const& failed) {
    report.Failed("the server did not tell the power state", failed.error());
  }
}

}  // namespace VmTour
