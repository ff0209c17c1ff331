#pragma once

// The structure the benchmarks convert, send and print: EthernetSvc::Info of a connected
// adapter, alone and in a list of a hundred.

#include <bindings/vm/hardware/ethernet.h>

#include <cstddef>
#include <list>
#include <memory>
#include <string>

namespace Bench {

using Ethernet = ::Com::Quarn::Nexar::Vm::Hardware::EthernetSvc;
using InfoList = std::list<std::shared_ptr<Ethernet::Info const>>;

constexpr std::size_t kListLength = 100;

// What a get() of a connected VMXNET3 adapter on a distributed switch returns. Every field is
// set that the backing type allows. With libstdc++ a string of up to 15 characters lives inside
// the std::string and a longer one costs a block, so the lengths matter: label, MAC address,
// network and switch uuid are long (17 to 47), the port is short.
inline Ethernet::Info MakeInfo(std::string const& label = "Network adapter 1") {
  auto backing = std::make_shared<Ethernet::BackingInfo>(Ethernet::BackingType::DISTRIBUTED_PORTGROUP);
  backing->network(std::string("dvportgroup-1042"))
      .distributedSwitchUuid(std::string("50 2e 4f 1a 9b 3c 7d 21-8e 44 0c 6f 5a 3b 2d 19"))
      .distributedPort(std::string("1027"))
      .connectionCookie(int64_t{1837465921});
  Ethernet::Info info;
  info.label(label)
      .type(Ethernet::EmulationType::VMXNET3)
      .uptCompatibilityEnabled(true)
      .uptV2CompatibilityEnabled(false)
      .macType(Ethernet::MacAddressType::ASSIGNED)
      .macAddress(std::string("00:50:56:a1:3c:7e"))
      .pciSlotNumber(int64_t{192})
      .wakeOnLanEnabled(true)
      .backing(std::shared_ptr<Ethernet::BackingInfo const>(std::move(backing)))
      .state(::Com::Quarn::Nexar::Vm::Hardware::ConnectionState::CONNECTED)
      .startConnected(true)
      .allowGuestControl(false);
  return info;
}

// A hundred distinct adapters, each with its own backing, as list() followed by get() on each
// would produce them.
inline InfoList MakeInfoList() {
  InfoList infos;
  for (std::size_t i = 0; i < kListLength; ++i) {
    Ethernet::Info info = MakeInfo("Network adapter " + std::to_string(i + 1));
    info.backing(std::make_shared<Ethernet::BackingInfo const>(*info.backing()));
    infos.push_back(std::make_shared<Ethernet::Info const>(std::move(info)));
  }
  return infos;
}

}  // namespace Bench
