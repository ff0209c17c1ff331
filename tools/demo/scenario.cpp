#include "scenario.h"

#include "await.h"
#include "report.h"

#include <opax/core/provider/in_process_provider.h>

#include <iomanip>
#include <sstream>
#include <thread>

namespace Demo {
namespace {

using TaskState = ::Opax::Provider::TaskRegistry::State;
using CdromSummaries = std::list<std::shared_ptr<CdromSvc::Summary const>>;
using NicSummaries = std::list<std::shared_ptr<EthernetSvc::Summary const>>;

std::string const kIsoFile = "/images/installer-24.04.iso";
std::string const kHostDrive = "/dev/sr0";
std::string const kNetwork = "net-frontend";
std::string const kSwitchUuid = "6f1c2a4e-8d1b-4c55-9a07-2e4b31d0c9aa";
std::string const kPort = "17";
std::string const kManualMac = "02:aa:bb:cc:dd:ee";
constexpr std::chrono::seconds kTaskTimeout{10};
constexpr std::chrono::milliseconds kTaskPoll{5};

auto const kNicId = [](EthernetSvc::Summary const& summary) { return summary.nic(); };

struct Clients {
  std::shared_ptr<CdromSvc::AsyncServiceStub> cdroms;
  std::shared_ptr<EthernetSvc::AsyncServiceStub> nics;
  std::shared_ptr<ModeSvc::AsyncServiceStub> mode;
  std::shared_ptr<::Opax::Provider::TaskRegistry> tasks;
};

struct Run {
  Report& report;
  Clients const& clients;
  std::string const& vm;
  ScenarioOutcome& outcome;
};

Inventory DemoInventory(std::string const& vm) {
  Inventory inventory;
  inventory.vms = {vm};
  inventory.networks[kNetwork] = {"Frontend", kSwitchUuid};
  inventory.networks["net-lab"] = {"Lab", ""};
  return inventory;
}

std::shared_ptr<EthernetSvc::BackingSpec const> PortGroupBacking() {
  return std::make_shared<EthernetSvc::BackingSpec const>(
      EthernetSvc::BackingSpec(EthernetSvc::BackingType::DISTRIBUTED_PORTGROUP)
          .network(kNetwork)
          .distributedPort(kPort));
}

std::string Joined(std::vector<std::string> const& ids) {
  std::string text;
  for (auto const& id : ids) text += (text.empty() ? "" : ", ") + id;
  return text.empty() ? "none" : text;
}

template <class Summaries, class Id>
std::vector<std::string> Ids(Reply<Summaries> const& reply, Id id) {
  std::vector<std::string> ids;
  if (reply.value) {
    for (auto const& summary : *reply.value) ids.push_back(id(*summary));
  }
  return ids;
}

std::string Created(Run& run, Reply<std::string> const& reply, std::string const& what) {
  if (!run.report.ExpectNoError(reply.error, "create " + what)) return std::string();
  // Padded so that the descriptions line up under each other.
  std::string const& id = *reply.value;
  run.report.Field("created", id + std::string(id.size() < 9 ? 9 - id.size() : 1, ' ') + what);
  return *reply.value;
}

template <class Info, class Stub>
std::shared_ptr<Info const> ReadBack(Run& run, Stub const& stub, std::string const& id) {
  if (id.empty()) return nullptr;
  auto reply =
      Await<std::shared_ptr<Info const>>([&](auto const& result) { stub->Get(run.vm, id, nullptr, result); });
  if (!run.report.ExpectNoError(reply.error, "read back " + id)) return nullptr;
  run.report.Device(id, (*reply.value)->label(), Describe(**reply.value));
  return *reply.value;
}

void CreateDevices(Run& run) {
  run.report.Heading("Virtual hardware of " + run.vm + ": create, list, read back");
  auto iso = std::make_shared<CdromSvc::CreateSpec>();
  iso->type(CdromSvc::HostBusAdapterType(CdromSvc::HostBusAdapterType::IDE))
      .backing(std::make_shared<CdromSvc::BackingSpec const>(
          CdromSvc::BackingSpec(CdromSvc::BackingType::ISO_FILE).isoFile(kIsoFile)))
      .startConnected(true);
  auto host = std::make_shared<CdromSvc::CreateSpec>();
  host->type(CdromSvc::HostBusAdapterType(CdromSvc::HostBusAdapterType::SATA))
      .backing(std::make_shared<CdromSvc::BackingSpec const>(
          CdromSvc::BackingSpec(CdromSvc::BackingType::HOST_DEVICE)
              .hostDevice(kHostDrive)
              .deviceAccessType(CdromSvc::DeviceAccessType(CdromSvc::DeviceAccessType::PASSTHRU))))
      .allowGuestControl(true);
  auto nic = std::make_shared<EthernetSvc::CreateSpec>();
  nic->type(EthernetSvc::EmulationType(EthernetSvc::EmulationType::VMXNET3))
      .uptCompatibilityEnabled(true)
      .backing(PortGroupBacking())
      .startConnected(true);

  Clients const& c = run.clients;
  std::string const isoId =
      Created(run, Await<std::string>([&](auto const& r) { c.cdroms->Create(run.vm, iso, nullptr, r); }),
              "CD-ROM, ISO_FILE backing");
  std::string const hostId =
      Created(run, Await<std::string>([&](auto const& r) { c.cdroms->Create(run.vm, host, nullptr, r); }),
              "CD-ROM, HOST_DEVICE backing");
  std::string const nicId =
      Created(run, Await<std::string>([&](auto const& r) { c.nics->Create(run.vm, nic, nullptr, r); }),
              "Ethernet adapter, DISTRIBUTED_PORTGROUP backing");

  auto cdroms = Await<CdromSummaries>([&](auto const& r) { c.cdroms->List(run.vm, nullptr, r); });
  auto nics = Await<NicSummaries>([&](auto const& r) { c.nics->List(run.vm, nullptr, r); });
  run.report.ExpectNoError(cdroms.error, "list the CD-ROMs");
  run.report.ExpectNoError(nics.error, "list the Ethernet adapters");
  run.outcome.cdroms = Ids(cdroms, [](CdromSvc::Summary const& s) { return s.cdrom(); });
  run.outcome.nics = Ids(nics, kNicId);
  run.report.Field(
      "listed", "CD-ROMs " + Joined(run.outcome.cdroms) + "; Ethernet adapters " + Joined(run.outcome.nics));
  run.report.Expect(run.outcome.cdroms == std::vector<std::string>{isoId, hostId},
                    "the list shows both CD-ROMs");
  run.report.Expect(run.outcome.nics == std::vector<std::string>{nicId},
                    "the list shows the Ethernet adapter");

  run.outcome.isoCdrom = ReadBack<CdromSvc::Info>(run, c.cdroms, isoId);
  run.outcome.hostCdrom = ReadBack<CdromSvc::Info>(run, c.cdroms, hostId);
  run.outcome.nic = ReadBack<EthernetSvc::Info>(run, c.nics, nicId);
  auto const& isoRead = run.outcome.isoCdrom;
  auto const& hostRead = run.outcome.hostCdrom;
  auto const& nicRead = run.outcome.nic;
  run.report.Expect(isoRead && isoRead->backing()->isoFile() == kIsoFile,
                    "the ISO_FILE CD-ROM reads back its image");
  run.report.Expect(hostRead && hostRead->backing()->hostDevice() == kHostDrive,
                    "the HOST_DEVICE CD-ROM reads back its drive");
  run.report.Expect(nicRead && nicRead->backing()->network() == kNetwork &&
                        nicRead->backing()->distributedSwitchUuid() == kSwitchUuid,
                    "the Ethernet adapter reads back its port group and switch");
}

void RefuseInvalidUnion(Run& run) {
  run.report.Heading("An invalid union is refused");
  // mac_address belongs to the MANUAL case of mac_type only.
  auto bad = std::make_shared<EthernetSvc::CreateSpec>();
  bad->macType(EthernetSvc::MacAddressType(EthernetSvc::MacAddressType::GENERATED))
      .macAddress(kManualMac)
      .backing(PortGroupBacking());
  run.report.Field("request", "Ethernet adapter, mac_type GENERATED with mac_address " + kManualMac);
  auto reply = Await<std::string>([&](auto const& r) { run.clients.nics->Create(run.vm, bad, nullptr, r); });
  run.outcome.refusal = reply.error;
  if (!run.report.Expect(reply.error != nullptr, "the server refuses the spec")) return;
  run.report.Error(reply.error);
  run.report.Expect(reply.error->name() == ::Opax::Binding::kInvalidArgument,
                    "the refusal is invalid_argument");
  run.report.Expect(!reply.error->messages().empty(), "the refusal says why");
  auto nics = Await<NicSummaries>([&](auto const& r) { run.clients.nics->List(run.vm, nullptr, r); });
  run.report.Expect(Ids(nics, kNicId) == run.outcome.nics, "nothing was created");
}

std::string Fraction(::Opax::Progress const& progress) {
  return std::to_string(progress.completed) + "/" + std::to_string(progress.total);
}

std::string Seconds(::Opax::Provider::TaskRegistry::Info const& info) {
  if (!info.endTime) return std::string();
  std::ostringstream text;
  text << "after " << std::fixed << std::setprecision(2)
       << static_cast<double>(info.endTime->ToEpochMilliseconds() - info.startTime.ToEpochMilliseconds()) /
              1000
       << " s";
  return text.str();
}

// Polls the registry as a client would, printing each change, until the task ends.
boost::optional<::Opax::Provider::TaskRegistry::Info> Watch(Run& run, std::string const& id) {
  auto const deadline = std::chrono::steady_clock::now() + kTaskTimeout;
  boost::optional<::Opax::Provider::TaskRegistry::Info> last;
  if (auto info = run.clients.tasks->Get(id)) run.report.Field("task", id + "  " + info->operation);
  while (std::chrono::steady_clock::now() < deadline) {
    auto info = run.clients.tasks->Get(id);
    if (!run.report.Expect(info.is_initialized(), "the registry knows task " + id)) return boost::none;
    bool const ended = info->state == TaskState::SUCCEEDED || info->state == TaskState::FAILED;
    if (!last || last->state != info->state || last->progress != info->progress) {
      std::string const state = ::Opax::Provider::TaskRegistry::StateText(info->state);
      if (info->state == TaskState::RUNNING) run.outcome.progress.push_back(info->progress);
      if (info->state != TaskState::PENDING) {
        run.report.Field(state,
                         Fraction(info->progress) + "  " + (ended ? Seconds(*info) : info->progress.message));
      }
    }
    if (ended) return info;
    last = info;
    std::this_thread::sleep_for(kTaskPoll);
  }
  run.report.Expect(false, "the task ends within " + std::to_string(kTaskTimeout.count()) + " s");
  return boost::none;
}

void ChangeClusterMode(Run& run) {
  run.report.Heading("A task: set the cluster mode to MAINTENANCE");
  ModeSvc::ClusterMode const wanted(ModeSvc::ClusterMode::MAINTENANCE);
  auto started = AwaitTaskId<::Opax::Void>([&](auto const& r) { run.clients.mode->Set(wanted, nullptr, r); });
  if (!run.report.ExpectNoError(started.error, "the task starts")) return;
  auto ended = Watch(run, *started.value);
  if (!ended) return;
  run.outcome.taskState = ended->state;
  if (ended->error) run.report.Error(ended->error);
  run.report.Expect(ended->state == TaskState::SUCCEEDED, "the task succeeds");
  run.report.Expect(!run.outcome.progress.empty(), "the task reports progress while it runs");

  auto mode =
      Await<std::shared_ptr<ModeSvc::Info const>>([&](auto const& r) { run.clients.mode->Get(nullptr, r); });
  if (!run.report.ExpectNoError(mode.error, "read the cluster mode back")) return;
  run.outcome.modeAfter = (*mode.value)->mode();
  run.report.Field("mode now", (*mode.value)->mode().text());
  run.report.Expect((*mode.value)->mode() == wanted, "the cluster is in MAINTENANCE mode");
}

}  // namespace

ScenarioOutcome RunScenario(std::ostream& out, ScenarioOptions const& options) {
  ScenarioOutcome outcome;
  {
    // The server: three services in this process, no network in between.
    auto provider = std::make_shared<::Opax::Core::InProcessProvider>();
    ServeHardware(*provider, DemoInventory(options.vm));
    ServeClusterMode(*provider, options.taskStep, ModeSvc::ClusterMode::ENABLED);

    // The client: generated stubs over the provider, as they would be over a network client.
    auto channel = ::Opax::Stub::AsyncApiStub::GetInstance(provider);
    Clients const clients{CdromSvc::AsyncServiceStub::GetInstance(channel),
                          EthernetSvc::AsyncServiceStub::GetInstance(channel),
                          ModeSvc::AsyncServiceStub::GetInstance(channel), provider->tasks()};

    Report report(out);
    report.Title("Nexar demo: a client calls an in-process server through the generated stubs.");
    Run run{report, clients, options.vm, outcome};
    CreateDevices(run);
    RefuseInvalidUnion(run);
    ChangeClusterMode(run);
    report.Verdict();
    outcome.failures = report.failures();
  }
  return outcome;
}

}  // namespace Demo
