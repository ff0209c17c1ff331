#pragma once

// An in-memory implementation of the CD-ROM and Ethernet services of a virtual machine, for the
// demo: enough behaviour to show typed calls, union checks and standard errors end to end.

#include "device_table.h"

#include <bindings/vm/hardware/cdrom.h>
#include <bindings/vm/hardware/ethernet.h>
#include <opax/core/provider/in_process_provider.h>

#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace Demo {

using CdromSvc = ::Com::Quarn::Nexar::Vm::Hardware::CdromSvc;
using EthernetSvc = ::Com::Quarn::Nexar::Vm::Hardware::EthernetSvc;

// What the server knows before any call. Fixed before the services are bound.
struct Inventory {
  struct Network {
    std::string name;
    // Set for a distributed port group, empty for a standard one.
    std::string distributedSwitchUuid;
  };
  std::set<std::string> vms;
  std::map<std::string, Network> networks;  // by network id
};

class CdromServer : public CdromSvc::AsyncServiceInterface {
 public:
  template <class T>
  using Result = ::Opax::AsyncResult<T, ::Opax::AsyncResultTerminateCbPolicy>;
  using Activation = std::shared_ptr<::Opax::Core::AsyncActivation>;

  explicit CdromServer(Inventory const& inventory) : devices_(inventory.vms, "CD-ROM", "cdrom-") {}

  void List(std::string const& vm, Activation const&,
            Result<std::list<std::shared_ptr<CdromSvc::Summary const>>> const& result) override;
  void Get(std::string const& vm, std::string const& cdrom, Activation const&,
           Result<std::shared_ptr<CdromSvc::Info const>> const& result) override;
  void Create(std::string const& vm, std::shared_ptr<CdromSvc::CreateSpec const> const& spec,
              Activation const&, Result<std::string> const& result) override;
  void Update(std::string const& vm, std::string const& cdrom,
              std::shared_ptr<CdromSvc::UpdateSpec const> const& spec, Activation const&,
              Result<::Opax::Void> const& result) override;
  void Delete(std::string const& vm, std::string const& cdrom, Activation const&,
              Result<::Opax::Void> const& result) override;
  void Connect(std::string const& vm, std::string const& cdrom, Activation const&,
               Result<::Opax::Void> const& result) override;
  void Disconnect(std::string const& vm, std::string const& cdrom, Activation const&,
                  Result<::Opax::Void> const& result) override;

 private:
  DeviceTable<CdromSvc::Info> devices_;
};

class EthernetServer : public EthernetSvc::AsyncServiceInterface {
 public:
  template <class T>
  using Result = ::Opax::AsyncResult<T, ::Opax::AsyncResultTerminateCbPolicy>;
  using Activation = std::shared_ptr<::Opax::Core::AsyncActivation>;

  explicit EthernetServer(Inventory const& inventory)
      : networks_(inventory.networks), devices_(inventory.vms, "Ethernet adapter", "nic-") {}

  void List(std::string const& vm, Activation const&,
            Result<std::list<std::shared_ptr<EthernetSvc::Summary const>>> const& result) override;
  void Get(std::string const& vm, std::string const& nic, Activation const&,
           Result<std::shared_ptr<EthernetSvc::Info const>> const& result) override;
  void Create(std::string const& vm, std::shared_ptr<EthernetSvc::CreateSpec const> const& spec,
              Activation const&, Result<std::string> const& result) override;
  void Update(std::string const& vm, std::string const& nic,
              std::shared_ptr<EthernetSvc::UpdateSpec const> const& spec, Activation const&,
              Result<::Opax::Void> const& result) override;
  void Delete(std::string const& vm, std::string const& nic, Activation const&,
              Result<::Opax::Void> const& result) override;
  void Connect(std::string const& vm, std::string const& nic, Activation const&,
               Result<::Opax::Void> const& result) override;
  void Disconnect(std::string const& vm, std::string const& nic, Activation const&,
                  Result<::Opax::Void> const& result) override;

 private:
  // The backing a spec asks for, resolved against the known networks, or an error.
  ErrorPtr Resolve(EthernetSvc::BackingSpec const& spec,
                   std::shared_ptr<EthernetSvc::BackingInfo const>& backing) const;

  std::map<std::string, Inventory::Network> const networks_;
  DeviceTable<EthernetSvc::Info> devices_;
  std::atomic<unsigned> nextMac_{1};
};

// Binds both services to new implementations over `inventory` and serves them from `provider`.
void ServeHardware(::Opax::Core::InProcessProvider& provider, Inventory const& inventory);

}  // namespace Demo
