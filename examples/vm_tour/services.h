#pragma once

// The services the tour calls, each through its generated stub. Every stub sends its calls
// through the same channel, the network client: the stubs themselves know nothing of the network.

#include <bindings/datastore.h>
#include <bindings/network.h>
#include <bindings/vm.h>
#include <bindings/vm/hardware/cdrom.h>
#include <bindings/vm/hardware/ethernet.h>
#include <bindings/vm/power.h>
#include <opax/rpc/client/client.h>

#include <memory>

namespace VmTour {

using ::Com::Quarn::Nexar::DatastoreSvc;
using ::Com::Quarn::Nexar::NetworkSvc;
using ::Com::Quarn::Nexar::VmSvc;
using ::Com::Quarn::Nexar::Vm::PowerSvc;
using ::Com::Quarn::Nexar::Vm::Hardware::CdromSvc;
using ::Com::Quarn::Nexar::Vm::Hardware::EthernetSvc;

struct Services {
  explicit Services(std::shared_ptr<::Opax::Rpc::RpcClient> rpcClient)
      : client(std::move(rpcClient)),
        machines(VmSvc::AsyncServiceStub::GetInstance(Channel())),
        power(PowerSvc::AsyncServiceStub::GetInstance(Channel())),
        nics(EthernetSvc::AsyncServiceStub::GetInstance(Channel())),
        cdroms(CdromSvc::AsyncServiceStub::GetInstance(Channel())),
        networks(NetworkSvc::AsyncServiceStub::GetInstance(Channel())),
        datastores(DatastoreSvc::AsyncServiceStub::GetInstance(Channel())) {}

  // Kept for FollowTask, which asks the server's task service about a task by its id.
  std::shared_ptr<::Opax::Rpc::RpcClient> client;
  std::shared_ptr<VmSvc::AsyncServiceStub> machines;
  std::shared_ptr<PowerSvc::AsyncServiceStub> power;
  std::shared_ptr<EthernetSvc::AsyncServiceStub> nics;
  std::shared_ptr<CdromSvc::AsyncServiceStub> cdroms;
  std::shared_ptr<NetworkSvc::AsyncServiceStub> networks;
  std::shared_ptr<DatastoreSvc::AsyncServiceStub> datastores;

 private:
  std::shared_ptr<::Opax::Stub::AsyncApiStub> Channel() const {
    return ::Opax::Stub::AsyncApiStub::GetInstance(client);
  }
};

}  // namespace VmTour
