#pragma once

// The operations that every device service has alike (list, get, delete, connect, disconnect),
// written once over the device's Info and Summary types.

#include "common.h"

#include <functional>
#include <type_traits>
#include <utility>

namespace Sim {
namespace Hardware {

template <class Info, class = void>
struct Connectable : std::false_type {};
template <class Info>
struct Connectable<Info, decltype(void(std::declval<Info&>().state(Hw::ConnectionState())))>
    : std::true_type {};

// What a device's connection is as a client sees it: nothing is connected in a machine that is
// not running, whatever its document last recorded.
template <class Info>
Info AsReported(Store& store, std::string const& vm, Info info) {
  if constexpr (Connectable<Info>::value) {
    if (PowerState(store, vm) != PowerSvc::State::POWERED_ON) info.state(Hw::ConnectionState::NOT_CONNECTED);
  }
  return info;
}

// The connection a new device has: connected at once only when it is added to a running machine
// and asked to start connected.
template <class Info>
void SetInitialConnection(Store& store, std::string const& vm, Info& info) {
  bool const on = PowerState(store, vm) == PowerSvc::State::POWERED_ON;
  info.state(on && info.startConnected() ? Hw::ConnectionState::CONNECTED
                                         : Hw::ConnectionState::NOT_CONNECTED);
}

// Decides whether a device may go: null to allow, else the error. Runs inside the transaction.
template <class Info>
using RemovalRule = std::function<ErrorPtr(Store&, std::string const& vm, Info const&)>;

template <class Summary>
void ListDevices(State& state, DeviceKind const& kind, std::string const& vm,
                 Result<std::list<std::shared_ptr<Summary const>>> const& result) {
  ReadOnMachine(state, vm, result,
                [&kind, vm](Store& store, std::list<std::shared_ptr<Summary const>>& out) -> ErrorPtr {
                  for (auto const& row : store.Children(kind.kind, vm))
                    out.push_back(std::make_shared<Summary const>(row.id));
                  return nullptr;
                });
}

template <class Info>
void GetDevice(State& state, DeviceKind const& kind, std::string const& vm, std::string const& id,
               Result<std::shared_ptr<Info const>> const& result) {
  ReadOnMachine(state, vm, result,
                [&kind, vm, id](Store& store, std::shared_ptr<Info const>& out) -> ErrorPtr {
                  auto info = LoadDevice<Info>(store, kind, vm, id);
                  if (!info) return NotFound(kind.what, id);
                  out = std::make_shared<Info const>(AsReported(store, vm, std::move(*info)));
                  return nullptr;
                });
}

template <class Info>
void DeleteDevice(State& state, DeviceKind const& kind, std::string const& vm, std::string const& id,
                  RemovalRule<Info> rule, Result<Void> const& result) {
  RunOnMachine(state, vm, result, [&kind, vm, id, rule](Store& store, Void&) -> ErrorPtr {
    auto info = LoadDevice<Info>(store, kind, vm, id);
    if (!info) return NotFound(kind.what, id);
    if (rule) {
      if (ErrorPtr error = rule(store, vm, *info)) return error;
    }
    store.Remove(kind.kind, id);
    return nullptr;
  });
}

// Connecting is only meaningful while the machine runs; asking for the state a device is in
// already is refused so that a client learns its picture was out of date.
template <class Info>
void SetConnected(State& state, DeviceKind const& kind, std::string const& vm, std::string const& id,
                  bool connect, Result<Void> const& result) {
  RunOnMachine(state, vm, result, [&kind, vm, id, connect](Store& store, Void&) -> ErrorPtr {
    auto info = LoadDevice<Info>(store, kind, vm, id);
    if (!info) return NotFound(kind.what, id);
    if (PowerState(store, vm) != PowerSvc::State::POWERED_ON) {
      return NotAllowedInCurrentState(
          Say("nexar.sim.hardware.connection.not_running",
              "The {0} '{1}' can only be connected or disconnected while its virtual machine runs.",
              {kind.what, id}));
    }
    auto const wanted = connect ? Hw::ConnectionState::CONNECTED : Hw::ConnectionState::NOT_CONNECTED;
    if (info->state() == wanted) {
      return AlreadyInDesiredState(
          Say(connect ? "nexar.sim.hardware.connection.already_connected"
                      : "nexar.sim.hardware.connection.already_disconnected",
              connect ? "The {0} '{1}' is connected already." : "The {0} '{1}' is not connected.",
              {kind.what, id}));
    }
    info->state(wanted);
    SaveDevice(store, kind, vm, id, *info);
    return nullptr;
  });
}

template <class Spec>
using Creator = ErrorPtr (*)(Store&, std::string const&, Spec const&, std::string&);

template <class Spec>
void CreateDevice(State& state, std::string const& vm, std::shared_ptr<Spec const> const& spec,
                  Creator<Spec> create, Result<std::string> const& result) {
  RunOnMachine(state, vm, result, [vm, spec, create](Store& store, std::string& id) -> ErrorPtr {
    return create(store, vm, spec ? *spec : Spec(), id);
  });
}

// Loads the device, lets `change` edit it (or refuse), and stores what it made.
template <class Info, class Change>
void UpdateDevice(State& state, DeviceKind const& kind, std::string const& vm, std::string const& id,
                  Change change, Result<Void> const& result) {
  RunOnMachine(state, vm, result, [&kind, vm, id, change](Store& store, Void&) -> ErrorPtr {
    auto info = LoadDevice<Info>(store, kind, vm, id);
    if (!info) return NotFound(kind.what, id);
    if (ErrorPtr error = change(store, *info)) return error;
    SaveDevice(store, kind, vm, id, *info);
    return nullptr;
  });
}

}  // namespace Hardware
}  // namespace Sim
