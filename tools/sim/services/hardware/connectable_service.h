#pragma once

// The part of a connectable device's service (CD-ROM, floppy, serial, parallel, Ethernet) that is
// the same for all of them; each adds its own create and update.

#include "device_ops.h"

namespace Sim {
namespace Hardware {

template <class Svc>
class ConnectableService : public Svc::AsyncServiceInterface {
 public:
  using Info = typename Svc::Info;
  using Summary = typename Svc::Summary;

  // `removeNeedsPoweredOff`: whether the device is one that cannot leave a running machine.
  ConnectableService(std::shared_ptr<State> state, DeviceKind const& kind, bool removeNeedsPoweredOff)
      : state_(std::move(state)), kind_(kind), removeNeedsPoweredOff_(removeNeedsPoweredOff) {}

  void List(std::string const& vm, Activation const&,
            Result<std::list<std::shared_ptr<Summary const>>> const& result) override {
    ListDevices<Summary>(*state_, kind_, vm, result);
  }
  void Get(std::string const& vm, std::string const& id, Activation const&,
           Result<std::shared_ptr<Info const>> const& result) override {
    GetDevice<Info>(*state_, kind_, vm, id, result);
  }
  void Delete(std::string const& vm, std::string const& id, Activation const&,
              Result<Void> const& result) override {
    RemovalRule<Info> rule;
    if (removeNeedsPoweredOff_) {
      std::string const action = std::string("remove a ") + kind_.what;
      rule = [action](Store& store, std::string const& machine, Info const&) {
        return NeedsPoweredOff(store, machine, action);
      };
    }
    DeleteDevice<Info>(*state_, kind_, vm, id, rule, result);
  }
  void Connect(std::string const& vm, std::string const& id, Activation const&,
               Result<Void> const& result) override {
    SetConnected<Info>(*state_, kind_, vm, id, true, result);
  }
  void Disconnect(std::string const& vm, std::string const& id, Activation const&,
                  Result<Void> const& result) override {
    SetConnected<Info>(*state_, kind_, vm, id, false, result);
  }

 protected:
  std::shared_ptr<State> state_;
  DeviceKind const& kind_;

 private:
  bool removeNeedsPoweredOff_;
};

// The connection settings an update may change on any device.
template <class Info, class Spec>
void ApplyConnectionUpdate(Spec const& spec, Info& info) {
  if (spec.startConnected()) info.startConnected(*spec.startConnected());
  if (spec.allowGuestControl()) info.allowGuestControl(*spec.allowGuestControl());
}

}  // namespace Hardware
}  // namespace Sim
